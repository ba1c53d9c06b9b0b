# SPDX-License-Identifier: MIT
"""NDEF records and messages (the library's NFC Forum NDEF layer), and the
NDEF message of the tag in the field:

    reader.ndef.write([orvex.ndef.Text("hi"), orvex.ndef.Uri("https://example.com")])
    for record in reader.ndef.read():
        print(record)

Writes never leave a tag unreadable: the capacity is checked before the
first write, the message is written behind an empty one and only then given
its length, and everything is read back."""
from typing import Any, Dict, Iterable, List

from . import _orvex
from .errors import NDEFError, OrvexError, ReaderRefused

TNF_WELL_KNOWN = 1


class Record:
    """Any NDEF record: tnf (0 to 7), type, id, payload (bytes)."""

    def __init__(self, tnf: int, type: bytes = b"", id: bytes = b"", payload: bytes = b"") -> None:
        for n, v in (("type", type), ("id", id), ("payload", payload)):
            if not isinstance(v, bytes):
                raise TypeError(f"{n} must be bytes, not {v.__class__.__name__}")
        if isinstance(tnf, bool) or not isinstance(tnf, int) or not 0 <= tnf <= 7:
            raise ValueError("tnf is an int from 0 to 7")
        self.tnf, self.type, self.id, self.payload = tnf, type, id, payload

    def _tuple(self):
        return (self.tnf, self.type, self.id, self.payload)

    def __eq__(self, other):
        return isinstance(other, Record) and self._tuple() == other._tuple()

    def __hash__(self):
        return hash(self._tuple())

    def __repr__(self):
        return f"<ndef {_orvex.ndef_describe(self._tuple())}>"

    @staticmethod
    def _from_tuple(t):
        text = _orvex.ndef_parse_text(t)
        if text is not None:
            return Text(text[0], lang=text[1])
        uri = _orvex.ndef_parse_uri(t)
        if uri is not None:
            return Uri(uri)
        return Record(*t)


class Text(Record):
    """A text record (UTF-8) in language lang."""

    def __init__(self, text: str, lang: str = "en") -> None:
        if not isinstance(text, str):
            raise TypeError(f"text must be a str, not {type(text).__name__}")
        if not isinstance(lang, str) or not 1 <= len(lang) <= 63 or not lang.isascii():
            raise ValueError("lang is a language code of 1 to 63 ASCII characters")
        self.text, self.lang = text, lang
        super().__init__(*_orvex.ndef_text(text, lang))

    def __repr__(self):
        return f"Text({self.text!r}, lang={self.lang!r})"


class Uri(Record):
    """A URI record (its prefix abbreviated as the NFC Forum codes say)."""

    def __init__(self, uri: str) -> None:
        if not isinstance(uri, str):
            raise TypeError(f"uri must be a str, not {type(uri).__name__}")
        self.uri = uri
        super().__init__(*_orvex.ndef_uri(uri))

    def __repr__(self):
        return f"Uri({self.uri!r})"


def encode(records: Iterable["Record"]) -> bytes:
    """The NDEF message of a list of records, as bytes."""
    records = list(records)
    for r in records:
        if not isinstance(r, Record):
            raise TypeError(f"a message holds orvex.ndef records, not {type(r).__name__}")
    if not records:
        return b""
    return _orvex.ndef_encode([r._tuple() for r in records])


def decode(data: bytes) -> List["Record"]:
    """The records of an NDEF message (bytes): Text, Uri or Record."""
    if not isinstance(data, bytes):
        raise TypeError("data must be bytes")
    if not data:
        return []
    return [Record._from_tuple(t) for t in _orvex.ndef_decode(data)]


class _Type2Memory(_orvex.TagMemory):
    """The data area of an NFC Forum Type 2 tag (NTAG): the pages after the
    capability container, its size from the container's byte 2."""

    def __init__(self, reader):
        super().__init__()
        self.reader = reader
        cc = reader.raw.OV_NTag_Read(reader.reader_id, 3)[0:4]
        if cc[0] != 0xE1:
            raise NDEFError(f"the tag is not formatted for NDEF (capability container {cc.hex().upper()})")
        if cc[3] & 0xF0:
            self.read_only = "the capability container forbids writing"
        else:
            self.read_only = ""
        self._size = cc[2] * 8

    def size(self):
        return self._size

    def unit(self):
        return 4

    def base(self):
        return 16

    def read(self, offset, length):
        out = bytearray()
        first = 4 + offset // 4
        pages = (length + 3) // 4
        p = first
        while p < first + pages:
            last = min(p + 32, first + pages) - 1
            got = self.reader.raw.OV_NTag_FastRead(self.reader.reader_id, p, last)
            if len(got) != (last - p + 1) * 4:
                raise OrvexError(f"reading pages {p} to {last}: {len(got)} bytes came back")
            out += got
            p = last + 1
        return bytes(out[:length])

    def write(self, offset, data):
        for i in range(0, len(data), 4):
            self.reader.raw.OV_NTag_Write(self.reader.reader_id, 4 + (offset + i) // 4, data[i:i + 4])


class _Type5Memory(_orvex.TagMemory):
    """The data area of an ISO 15693 tag formatted for NDEF (NFC Forum Type
    5): a 4- or 8-byte capability container in the first block(s), the area
    after it."""

    def __init__(self, reader, uid):
        super().__init__()
        self.reader, self.uid = reader, uid
        raw, rid = reader.raw, reader.reader_id
        info = raw.OV_ISO15693_Get_System_Information(rid, 0x20, uid[::-1])
        # flags, UID, DSFID and AFI when flagged, then blocks - 1, block size - 1
        if len(info) < 9 or not info[0] & 0x04:
            raise NDEFError(f"the ISO 15693 tag {uid.hex().upper()} does not tell its memory size")
        at = 9 + (1 if info[0] & 0x01 else 0) + (1 if info[0] & 0x02 else 0)
        if len(info) < at + 2:
            raise NDEFError(f"the ISO 15693 tag {uid.hex().upper()}'s system information is cut short")
        self.blocks, self.block = info[at] + 1, (info[at + 1] & 0x1F) + 1
        if self.block not in (4, 8):
            raise NDEFError(f"the tag's blocks hold {self.block} bytes; NDEF is read on 4- or 8-byte blocks")
        cc = self._read_blocks(0, 2 if self.block == 4 else 1)
        if cc[0] not in (0xE1, 0xE2):
            raise NDEFError(f"the ISO 15693 tag {uid.hex().upper()} is not formatted for NDEF "
                            f"(capability container {cc[:4].hex().upper()})")
        if cc[1] >> 6 != 1:
            raise NDEFError(f"the tag has NDEF mapping version {cc[1] >> 6}, which is not known here")
        cc_len, area = 4, cc[2] * 8
        if cc[2] == 0:
            cc_len, area = 8, ((cc[6] << 8) | cc[7]) * 8
        if cc_len % self.block:
            raise NDEFError("the tag's NDEF area starts inside a block: that layout is not handled")
        self.first = cc_len // self.block
        area = min(area, (self.blocks - self.first) * self.block)
        self._size = area // self.block * self.block
        self.read_only = "the capability container forbids writing" if cc[1] & 0x03 else ""

    def _read_blocks(self, first, count):
        out = bytearray()
        per = max(1, min(32, 255 // self.block))
        for b in range(first, first + count, per):
            n = min(per, first + count - b)
            got = self.reader.raw.OV_ISO15693_Read(self.reader.reader_id, 0x20, self.uid[::-1], b, n)
            if len(got) != n * self.block:
                raise OrvexError(f"reading blocks {b} to {b + n - 1}: {len(got)} bytes came back")
            out += got
        return bytes(out)

    def size(self):
        return self._size

    def unit(self):
        return self.block

    def base(self):
        return self.first * self.block

    def read(self, offset, length):
        u = self.block
        data = self._read_blocks(self.first + offset // u, (offset % u + length + u - 1) // u)
        return data[offset % u:offset % u + length]

    def write(self, offset, data):
        u = self.block
        for i in range(0, len(data), u):
            self.reader.raw.OV_ISO15693_Write(self.reader.reader_id, 0x20, self.uid[::-1],
                                              self.first + (offset + i) // u, u, data[i:i + u])


class _ClassicMemory(_orvex.TagMemory):
    """The data blocks of a MIFARE Classic's NDEF sectors, as its directory
    (MAD) lists them, one after the other: read with the NFC Forum's public
    key A, written with key B."""

    def __init__(self, card, key_b):
        from .cards import first_block, blocks_in
        super().__init__()
        self.card, self.key_b = card, key_b
        four_k = card.sak == 0x18
        aids = self._directory(0, 2)
        if four_k and self._gpb & 0x03 == 2:
            aids = aids + [0x0005] + self._directory(16, 3)
        self.sectors = []
        for i, aid in enumerate(aids):
            sector = i + 1
            if aid == _orvex.NDEF_AID:
                self.sectors.append(sector)
            elif sector != 16 and self.sectors:
                break
        if not self.sectors:
            raise NDEFError(f"the card {card.uid.hex().upper()}'s directory lists no NDEF sector")
        self.blocks = [first_block(s) + i for s in self.sectors for i in range(blocks_in(s) - 1)]
        self._open = None
        self.read_only = ""

    def _directory(self, sector, blocks):
        from .cards import first_block
        card = self.card
        card.select()
        try:
            card.authenticate(first_block(sector), _orvex.MAD_KEY_A, "A")
        except ReaderRefused:
            raise NDEFError(f"the card {card.uid.hex().upper()} has no MIFARE application directory: "
                            "it is not formatted for NDEF") from None
        first = first_block(sector) + (1 if sector == 0 else 0)
        mad = b"".join(card.read_block(b) for b in range(first, first + blocks))
        self._gpb = card.read_block(first_block(sector) + 3)[9]
        return list(_orvex.ndef_parse_mad(mad))

    def _auth(self, block, key_type):
        from .cards import sector_of, first_block
        sector = sector_of(block)
        if self._open == (sector, key_type):
            return
        self._open = None
        self.card.select()
        key = _orvex.NFC_FORUM_KEY_A if key_type == "A" else self.key_b
        self.card.authenticate(first_block(sector), key, key_type)
        self._open = (sector, key_type)

    def check_writable(self):
        """Before a write: every NDEF sector's access bits let key B write
        its data blocks, and key B opens it. Sets read_only to the first
        problem found."""
        from .cards import first_block, blocks_in, access_conditions
        for s in self.sectors:
            trailer = first_block(s) + blocks_in(s) - 1
            self._auth(trailer, "A")
            try:
                acc = access_conditions(self.card.read_block(trailer))
            except ValueError:
                self.read_only = f"sector {s} has invalid access bits"
                return
            if any("B" not in acc["blocks"][g]["write"] for g in range(3)):
                self.read_only = f"the access bits of sector {s} do not let key B write its data blocks"
                return
            try:
                self._auth(first_block(s), "B")
            except ReaderRefused:
                self._open = None
                self.read_only = f"key B {self.key_b.hex().upper()} does not open sector {s}"
                return

    def size(self):
        return len(self.blocks) * 16

    def unit(self):
        return 16

    def base(self):
        return -1

    def read(self, offset, length):
        out = bytearray()
        for i in range(offset // 16, (offset + length + 15) // 16):
            self._auth(self.blocks[i], "A")
            out += self.card.read_block(self.blocks[i])
        return bytes(out[offset % 16:offset % 16 + length])

    def write(self, offset, data):
        for i in range(0, len(data), 16):
            block = self.blocks[(offset + i) // 16]
            self._auth(block, "B")
            self.card.write_block(block, data[i:i + 16])


class NdefTags:
    """The NDEF message of the tag in the field: an NTAG (or another NFC
    Forum Type 2 tag), a MIFARE Classic formatted for NDEF, or an ISO 15693
    tag formatted for NDEF (Type 5). key_b is the MIFARE Classic's key B of
    its NDEF sectors, for writes."""

    def __init__(self, reader):
        self.reader = reader

    def _open(self, key_b):
        from .cards import MifareClassic, Ntag, VicinityTag
        if not isinstance(key_b, bytes) or len(key_b) != 6:
            raise ValueError("key_b is the 6-byte key B of the NDEF sectors")
        for card in self.reader.scan():
            if isinstance(card, Ntag):
                card.select()
                return _Type2Memory(self.reader)
            if isinstance(card, MifareClassic):
                try:
                    return _ClassicMemory(card, key_b)
                except NDEFError:
                    continue
            if isinstance(card, VicinityTag):
                try:
                    return _Type5Memory(self.reader, card.uid)
                except NDEFError:
                    continue
        raise NDEFError("no tag formatted for NDEF in the field")

    def read_bytes(self, key_b: bytes = b"\xff" * 6) -> bytes:
        """The message's bytes (b"" for an empty message)."""
        with self.reader._lock:
            return _orvex.ndef_read_message(self._open(key_b))

    def read(self, key_b: bytes = b"\xff" * 6) -> List[Record]:
        """The records of the tag's message (an empty list for an empty one)."""
        return decode(self.read_bytes(key_b))

    def write(self, records: Iterable[Record], key_b: bytes = b"\xff" * 6) -> Dict[str, Any]:
        """Writes the records as the tag's message. A message larger than
        the tag raises NDEFError before anything is written."""
        message = encode(records)
        with self.reader._lock:
            memory = self._open(key_b)
            if isinstance(memory, _ClassicMemory):
                memory.check_writable()
            if memory.read_only:
                raise NDEFError(f"the tag is read-only: {memory.read_only}")
            return _orvex.ndef_write_message(memory, message)
