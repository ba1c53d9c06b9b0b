# SPDX-License-Identifier: MIT
"""NDEF records and messages (the library's NFC Forum NDEF layer), and the
NDEF message of the tag in the field:

    reader.ndef.write([orvex.ndef.Text("hi"), orvex.ndef.Uri("https://example.com")])
    for record in reader.ndef.read():
        print(record)

Writes never leave a tag unreadable: the capacity is checked before the
first write, the message is written behind an empty one and only then given
its length, and everything is read back."""
from . import _orvex
from .errors import NDEFError, OrvexError, ReaderRefused

TNF_WELL_KNOWN = 1


class Record:
    """Any NDEF record: tnf (0 to 7), type, id, payload (bytes)."""

    def __init__(self, tnf, type=b"", id=b"", payload=b""):
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

    def __init__(self, text, lang="en"):
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

    def __init__(self, uri):
        if not isinstance(uri, str):
            raise TypeError(f"uri must be a str, not {type(uri).__name__}")
        self.uri = uri
        super().__init__(*_orvex.ndef_uri(uri))

    def __repr__(self):
        return f"Uri({self.uri!r})"


def encode(records):
    """The NDEF message of a list of records, as bytes."""
    records = list(records)
    for r in records:
        if not isinstance(r, Record):
            raise TypeError(f"a message holds orvex.ndef records, not {type(r).__name__}")
    if not records:
        return b""
    return _orvex.ndef_encode([r._tuple() for r in records])


def decode(data):
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


class NdefTags:
    """The NDEF message of the tag in the field (an NTAG or another NFC
    Forum Type 2 tag)."""

    def __init__(self, reader):
        self.reader = reader

    def _open(self):
        # The Type 2 tag among the ISO 14443-A cards: each other card is
        # halted, so that the next request finds the next one.
        raw, rid = self.reader.raw, self.reader.reader_id
        request = 0x52  # WUPA: wakes the halted cards once
        for _ in range(16):
            try:
                _, sak, _ = raw.OV_RequestAntiandSelect(rid, request, 0)
            except ReaderRefused:
                break
            if sak == 0x00:
                return _Type2Memory(self.reader)
            raw.OV_CardHalt(rid)
            request = 0x26  # REQA: the cards not halted
        raise NDEFError("no NFC Forum Type 2 tag (NTAG) in the field")

    def read_bytes(self):
        """The message's bytes (b"" for an empty message)."""
        with self.reader._lock:
            return _orvex.ndef_read_message(self._open())

    def read(self):
        """The records of the tag's message (an empty list for an empty one)."""
        return decode(self.read_bytes())

    def write(self, records):
        """Writes the records as the tag's message. A message larger than
        the tag raises NDEFError before anything is written."""
        message = encode(records)
        with self.reader._lock:
            memory = self._open()
            if memory.read_only:
                raise NDEFError(f"the tag is read-only: {memory.read_only}")
            return _orvex.ndef_write_message(memory, message)
