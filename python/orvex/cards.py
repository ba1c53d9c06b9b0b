# SPDX-License-Identifier: MIT
"""The card families of orvex.Reader: MIFARE Classic, NTAG, ISO 15693, the
ISO 14443-4 (CPU) card with its FMCOS purse, SAM slots and the display
reader's LCD."""
import os
from typing import Any, Dict, Iterable, List, Tuple

from . import _orvex
from .errors import OrvexError, ReaderRefused
from .reader import TypeACard, Card, KEY_A, KEY_B, TRANSPORT_KEY, WUPA, _check_bytes, _check_int


# ---- MIFARE Classic -----------------------------------------------------------

# The sector layout (sectors 0 to 31 of 4 blocks, 32 to 39 of 16) and the
# dump files are the SDK's one C++ reading of them, as the orvex tool uses it.

def first_block(sector):
    return _orvex.mfc_first_block(sector)


def blocks_in(sector):
    return _orvex.mfc_blocks_in(sector)


def sector_of(block):
    return _orvex.mfc_sector_of(block)


def is_trailer(block):
    """Whether block is its sector's trailer."""
    return _orvex.mfc_is_trailer(block)


# The largest dump file read: a 4K card's .json dump is about 30 KB.
_MAX_DUMP_FILE = 1024 * 1024


def access_conditions(trailer: bytes) -> Dict[str, Any]:
    """The access conditions a 16-byte sector trailer gives: 'conditions'
    (C1C2C3 of blocks 0, 1, 2 and the trailer), the rights of each data block
    and of the trailer, in words. ValueError when its access bytes do not
    check (a card takes such a trailer as a sector locked for good)."""
    return _orvex.mfc_access(_check_bytes("trailer", trailer, size=16))


def access_bytes(conditions: Iterable[int]) -> bytes:
    """Trailer bytes 6 to 8 for four access conditions (0 to 7 each)."""
    return _orvex.mfc_access_bytes(list(conditions))


class MifareClassic(TypeACard):
    """A MIFARE Classic 1K, 4K or Mini found by a scan."""

    @property
    def blocks(self):
        return 256 if self.sak == 0x18 else (20 if self.sak == 0x09 else 64)

    @property
    def sectors(self):
        return 40 if self.blocks == 256 else self.blocks // 4

    def _raw(self):
        return self.reader.raw, self.reader.reader_id

    def authenticate(self, block: int, key: bytes = TRANSPORT_KEY, key_type: str = "A") -> None:
        """Authenticates the sector of block with a 6-byte key, key A or B.
        Raises ReaderRefused for a wrong key (the card is selected again
        then, ready for the next try)."""
        _check_int("block", block, 0, self.blocks - 1)
        key = _check_bytes("key", key, size=6)
        if key_type not in ("A", "B"):
            raise ValueError('key_type must be "A" or "B"')
        raw, rid = self._raw()
        try:
            raw.OV_KeyAuthorization(rid, KEY_A if key_type == "A" else KEY_B, block, key)
        except ReaderRefused:
            self.select()
            raise

    def read_block(self, block: int) -> bytes:
        """The 16 bytes of block (its sector authenticated)."""
        _check_int("block", block, 0, self.blocks - 1)
        raw, rid = self._raw()
        data = raw.OV_ReadaBlock(rid, block, 16)
        if 0 <= raw.last_answer_length < 16:
            raise OrvexError(f"reading block {block}: the answer was cut short "
                             f"({raw.last_answer_length} of 16 bytes)")
        return data

    def write_block(self, block: int, data: bytes, allow_trailer: bool = False) -> None:
        """Writes 16 bytes to block (its sector authenticated). Block 0 is
        never written; a trailer only with allow_trailer=True and consistent
        access bytes (an inconsistent trailer locks the sector for good)."""
        _check_int("block", block, 0, self.blocks - 1)
        data = _check_bytes("data", data, size=16)
        if block == 0:
            raise ValueError("block 0 (the manufacturer block) is not written")
        if is_trailer(block):
            if not allow_trailer:
                raise ValueError(f"block {block} is a sector trailer: pass allow_trailer=True to write it")
            access_conditions(data)  # raises when the access bytes do not check
        raw, rid = self._raw()
        raw.OV_WriteaBlock(rid, block, 16, data)

    # value blocks
    def value_init(self, block: int, value: int) -> None:
        """Makes block a value block holding value (signed 32 bits)."""
        _check_int("value", value, -2**31, 2**31 - 1)
        self._data_block(block)
        raw, rid = self._raw()
        raw.OV_Purse_Initial(rid, block, value)

    def value_read(self, block: int) -> int:
        self._data_block(block)
        raw, rid = self._raw()
        return raw.OV_Purse_Read(rid, block)

    def increment(self, block: int, amount: int, transfer_to: Any = None) -> None:
        """Adds amount (not negative) to the value of block and stores the
        result in transfer_to (block itself by default)."""
        _check_int("amount", amount, 0, 2**31 - 1)
        self._data_block(block)
        raw, rid = self._raw()
        raw.OV_Purse_Charge(rid, block, amount)
        raw.OV_Transfer(rid, block if transfer_to is None else self._data_block(transfer_to))

    def decrement(self, block: int, amount: int, transfer_to: Any = None) -> None:
        _check_int("amount", amount, 0, 2**31 - 1)
        self._data_block(block)
        raw, rid = self._raw()
        raw.OV_Purse_Decrease(rid, block, amount)
        raw.OV_Transfer(rid, block if transfer_to is None else self._data_block(transfer_to))

    def restore(self, block: int, transfer_to: int) -> None:
        """Copies the value of block to transfer_to (restore, transfer)."""
        self._data_block(block)
        raw, rid = self._raw()
        raw.OV_Restore(rid, block)
        raw.OV_Transfer(rid, self._data_block(transfer_to))

    def _data_block(self, block):
        _check_int("block", block, 1, self.blocks - 1)
        if is_trailer(block):
            raise ValueError(f"block {block} is a sector trailer, not a value block")
        return block

    def _find_key(self, sector, keys, key_type):
        for k in keys:
            try:
                self.authenticate(first_block(sector), k, key_type)
                return k
            except ReaderRefused:
                continue
        return None

    def dump(self, keys: Iterable[bytes] = (TRANSPORT_KEY,)) -> bytes:
        """The whole card as bytes in the .mfd layout (16 bytes a block,
        trailers with the keys found in place of the hidden ones)."""
        keys = [_check_bytes("key", k, size=6) for k in keys]
        image = bytearray(self.blocks * 16)
        for s in range(self.sectors):
            self.select()
            a = self._find_key(s, keys, "A")
            key_type, key = ("A", a)
            if a is None:
                self.select()
                key_type, key = "B", self._find_key(s, keys, "B")
                if key is None:
                    raise ReaderRefused(f"sector {s}: none of the {len(keys)} key(s) opens it")
            self.select()
            self.authenticate(first_block(s), key, key_type)
            for i in range(blocks_in(s)):
                b = first_block(s) + i
                image[b * 16:b * 16 + 16] = self.read_block(b)
            t = (first_block(s) + blocks_in(s) - 1) * 16
            if a is not None:
                image[t:t + 6] = a
            if key_type == "B":
                image[t + 10:t + 16] = key
        return bytes(image)

    def dump_to(self, path: Any, keys: Iterable[bytes] = (TRANSPORT_KEY,)) -> bytes:
        """Dumps the card to a file in the format its name chooses, as orvex
        mfc dump writes them: .eml or .json, anything else a raw .mfd (in
        .eml and .json a trailer key of 000000000000, one hidden and not
        found, is marked not known). Written under a temporary name, then
        renamed, readable by its owner only. Returns the .mfd image."""
        image = self.dump(keys)
        fmt = _orvex.mfc_dump_format(os.fspath(path))
        _orvex.write_file_whole(os.fspath(path), image if fmt == "mfd" else _orvex.mfc_write_dump(image, fmt), 0o600)
        return image

    def restore_image(self, image: bytes, keys: Iterable[bytes] = (TRANSPORT_KEY,)) -> None:
        """Writes a .mfd image (bytes) to the card: every block but block 0,
        each sector's trailer last. Everything is checked first: the size,
        every trailer's access bytes, and that a key opens every sector;
        nothing is written when a check fails."""
        image = _check_bytes("image", image)
        if len(image) not in (1024, 4096, 320):
            raise ValueError(f"a MIFARE Classic image holds 1024 or 4096 bytes, not {len(image)}")
        if len(image) > self.blocks * 16:
            raise ValueError(f"the image holds {len(image) // 16} blocks, the card only {self.blocks}")
        keys = [_check_bytes("key", k, size=6) for k in keys]
        blocks = len(image) // 16
        sectors = 40 if blocks == 256 else blocks // 4
        opened = []
        for s in range(sectors):
            t = (first_block(s) + blocks_in(s) - 1) * 16
            try:
                access_conditions(image[t:t + 16])
            except ValueError as e:
                raise ValueError(f"sector {s}: {e}. Nothing was written") from None
            tries = keys + [image[t:t + 6], image[t + 10:t + 16]]
            self.select()
            k = self._find_key(s, tries, "A")
            kt = "A"
            if k is None:
                self.select()
                k, kt = self._find_key(s, tries, "B"), "B"
            if k is None:
                raise ReaderRefused(f"sector {s}: none of the keys opens it. Nothing was written")
            opened.append((kt, k))
        for s in range(sectors):
            kt, k = opened[s]
            self.select()
            self.authenticate(first_block(s), k, kt)
            for i in range(blocks_in(s)):
                b = first_block(s) + i
                if b == 0:
                    continue
                self.write_block(b, image[b * 16:b * 16 + 16], allow_trailer=True)

    def restore_from(self, path: Any, keys: Iterable[bytes] = (TRANSPORT_KEY,)) -> None:
        """Restores a dump file in the format its name chooses (.eml, .json,
        anything else a .mfd image), read as orvex mfc restore reads it,
        with restore_image. The dump must know every byte, keys included:
        nothing is written otherwise (orvex mfc restore can leave what a
        dump does not know as it is). A .mfd's keys are known from its key
        record FILE.keys (orvex mfc dump writes one); without it a trailer
        key of 000000000000 is one the dump did not find, as a hidden key
        that no key opened is saved, and is not written over the card's.
        A 320-byte MIFARE Mini image is written as it stands."""
        path = os.fspath(path)
        fmt = _orvex.mfc_dump_format(path)
        with open(path, "rb") as f:
            data = f.read(4097 if fmt == "mfd" else _MAX_DUMP_FILE + 1)
        if fmt == "mfd" and len(data) == 320:
            self.restore_image(data, keys)
            return
        if len(data) > _MAX_DUMP_FILE:
            raise ValueError(f"{path}: larger than any MIFARE Classic dump. Nothing was written")
        record = None
        if fmt == "mfd" and os.path.exists(path + ".keys"):
            with open(path + ".keys", "r", encoding="ascii", errors="replace") as f:
                record = f.read(64 * 1024)
        try:
            dump = _orvex.mfc_parse_dump(data, fmt, record)
        except ValueError as e:
            raise ValueError(f"{path}: {e}. Nothing was written") from None
        missing = [f"block {b}" for b in dump["unknown_blocks"]]
        missing += [f"sector {s}'s " + ("keys A and B" if not (a or b) else "key A" if not a else "key B")
                    for s, (a, b) in enumerate(dump["keys_known"]) if not (a and b)]
        if missing:
            raise ValueError(f"{path}: the dump does not know {', '.join(missing)}. Nothing was written")
        self.restore_image(dump["data"], keys)


# ---- NTAG ---------------------------------------------------------------------

NTAG_PAGES = {0x0F: ("NTAG213", 45), 0x11: ("NTAG215", 135), 0x13: ("NTAG216", 231)}


class Ntag(TypeACard):
    """An NTAG21x (or another Type 2 tag) found by a scan."""

    def version(self):
        self.select()
        return self.reader.raw.OV_NTag_GetVersion(self.reader.reader_id)

    @property
    def model(self):
        v = self.version()
        if len(v) < 8 or v[6] not in NTAG_PAGES:
            raise OrvexError(f"not an NTAG21x (version {v.hex().upper()})")
        return NTAG_PAGES[v[6]]

    def read_pages(self, page: int) -> bytes:
        """Four pages (16 bytes) from page on."""
        _check_int("page", page, 0, 255)
        return self.reader.raw.OV_NTag_Read(self.reader.reader_id, page)

    def write_page(self, page: int, data: bytes) -> None:
        """Writes 4 bytes to page (pages 0 to 3, the UID and the capability
        container, are refused: they would make the tag unusable)."""
        _check_int("page", page, 0, 255)
        data = _check_bytes("data", data, size=4)
        if page < 4:
            raise ValueError(f"page {page} holds the UID, lock bytes or capability container: not written")
        self.reader.raw.OV_NTag_Write(self.reader.reader_id, page, data)

    def counter(self, number: int = 2) -> int:
        """One of the tag's 24-bit counters: an Ultralight EV1 has three
        one-way counters (0, 1, 2); an NTAG213/215/216 has its NFC counter,
        number 2, which it answers for only while it is enabled."""
        _check_int("number", number, 0, 2)
        self.select()
        return self.reader.raw.ntag_read_counter(self.reader.reader_id, number)

    def dump(self) -> bytes:
        """Every page of the tag, as bytes."""
        _, pages = self.model
        out = bytearray()
        for p in range(0, pages, 32):
            last = min(p + 32, pages) - 1
            out += self.reader.raw.OV_NTag_FastRead(self.reader.reader_id, p, last)
        if len(out) != pages * 4:
            raise OrvexError(f"the tag gave {len(out)} bytes, not {pages * 4}")
        return bytes(out)


# ---- ISO 15693 ------------------------------------------------------------------

class VicinityTag(Card):
    """An ISO 15693 tag: uid as written (E0 first)."""

    def read_block(self, block):
        return self.reader.iso15693.read_block(self.uid, block)

    def write_block(self, block, data):
        self.reader.iso15693.write_block(self.uid, block, data)


class Iso15693:
    """ISO 15693 tags: UIDs are given as written, E0 first."""
    ADDRESSED = 0x22

    def __init__(self, reader):
        self.reader = reader

    def inventory_records(self):
        answer = self.reader.raw.OV_ISO15693_Multi_Inventory(self.reader.reader_id, 0, 0)
        out = []
        if answer:
            for i in range(answer[0]):
                rec = answer[1 + i * 9:1 + (i + 1) * 9]
                if len(rec) < 9:
                    break
                out.append((rec[0], bytes(reversed(rec[1:9]))))
        return out

    def inventory(self) -> List[bytes]:
        """The UIDs of the tags in the field."""
        try:
            return [uid for _, uid in self.inventory_records()]
        except ReaderRefused:
            return []

    def read_block(self, uid, block):
        uid = _check_bytes("uid", uid, size=8)
        _check_int("block", block, 0, 255)
        answer = self.reader.raw.OV_ISO15693_Read(self.reader.reader_id, self.ADDRESSED, uid[::-1], block, 1)
        return answer

    def write_block(self, uid, block, data):
        uid = _check_bytes("uid", uid, size=8)
        _check_int("block", block, 0, 255)
        data = _check_bytes("data", data, min_size=1, max_size=32)
        self.reader.raw.OV_ISO15693_Write(self.reader.reader_id, self.ADDRESSED, uid[::-1], block,
                                          len(data), data)


# ---- ISO 14443-4, FMCOS --------------------------------------------------------------

def _split_sw(response):
    if len(response) < 2:
        raise OrvexError(f"a response APDU without its status word ({response.hex().upper()})")
    return response[:-2], (response[-2] << 8) | response[-1]


class IsoDepCard(TypeACard):
    """A card with ISO 14443-4 (SAK 20): use reader.iso_dep()."""


class CardStatusError(OrvexError):
    """The card answered with a status word other than 90 00 (.sw)."""

    def __init__(self, message, method=None, code=None):
        super().__init__(message, method, code)
        self.sw = code


class IsoDepSession:
    """The activated CPU card: transmit(apdu) -> (data, sw); .fmcos for the
    FMCOS commands and purse."""

    def __init__(self, reader):
        self.reader = reader
        self.ats = None

    def __enter__(self):
        self.ats = self.reader.raw.OV_TypeA_Reset(self.reader.reader_id, WUPA, 0)
        return self

    def __exit__(self, *exc):
        try:
            if not self.reader.closed:
                self.reader.raw.OV_CardHalt(self.reader.reader_id)
        except OrvexError:
            pass

    def transmit(self, apdu: bytes) -> Tuple[bytes, int]:
        """Sends a command APDU; the response data and the status word (an
        int, 0x9000 for success)."""
        apdu = _check_bytes("apdu", apdu, min_size=4, max_size=261)
        response = self.reader.raw.OV_TypeA_COS(self.reader.reader_id, len(apdu), apdu)
        return _split_sw(response)

    @property
    def fmcos(self):
        return Fmcos(self)


class Fmcos:
    """FMCOS commands of the activated card, by name."""

    def __init__(self, session):
        self.session = session
        self.raw = session.reader.raw
        self.rid = session.reader.reader_id

    @staticmethod
    def _check(what, status):
        sw = ((status & 0xFF) << 8) | (status >> 8)  # ExeStatus holds SW1 in its low byte
        if sw != 0x9000:
            raise CardStatusError(f"{what}: the card answered {sw:04X}", what, sw)

    def select(self, file_or_name):
        """SELECT by file identifier (int) or DF name (bytes): the FCI."""
        if isinstance(file_or_name, int):
            _check_int("file identifier", file_or_name, 0, 0xFFFF)
            data, sw = self.session.transmit(bytes([0, 0xA4, 0, 0, 2, file_or_name >> 8, file_or_name & 0xFF]))
        else:
            name = _check_bytes("name", file_or_name, min_size=1, max_size=16)
            data, sw = self.session.transmit(bytes([0, 0xA4, 4, 0, len(name)]) + name)
        if sw != 0x9000:
            raise CardStatusError(f"SELECT: the card answered {sw:04X}", "SELECT", sw)
        return data

    def get_challenge(self, length=8):
        _check_int("length", length, 1, 255)
        challenge, status = self.raw.OV_FM_GetChallenge(self.rid, length)
        self._check("OV_FM_GetChallenge", status)
        return challenge

    def verify_pin(self, pin, key_index=0):
        pin = _check_bytes("pin", pin, min_size=1, max_size=8)
        _check_int("key_index", key_index, 0, 255)
        self._check("OV_FM_VerifyPin", self.raw.OV_FM_VerifyPin(self.rid, key_index, len(pin), pin))

    def read_binary(self, file_id, offset=0, length=0):
        _check_int("file_id", file_id, 0, 31)
        _check_int("offset", offset, 0, 0x7FFF)
        _check_int("length", length, 0, 255)
        data, status = self.raw.OV_FM_ReadBinary(self.rid, file_id, offset, length)
        self._check("OV_FM_ReadBinary", status)
        return data

    def balance(self, purse=2, byteorder="big"):
        """The purse's balance. The library reads the 4 answer bytes least
        significant first; byteorder says how the card sends them."""
        _check_int("purse", purse, 0, 255)
        if byteorder not in ("big", "little"):
            raise ValueError('byteorder must be "big" or "little"')
        value, status = self.raw.OV_FM_GetBalance(self.rid, purse)
        self._check("OV_FM_GetBalance", status)
        raw = (value & 0xFFFFFFFF).to_bytes(4, "little")
        return int.from_bytes(raw, byteorder)

    def initialize_for_load(self, amount, terminal, key_id=1, purse=2):
        """INITIALIZE FOR LOAD: the card's 16 answer bytes (old balance,
        counter, key version, algorithm, random, MAC1)."""
        _check_int("amount", amount, 0, 2**31 - 1)
        terminal = _check_bytes("terminal", terminal, size=6)
        result, status = self.raw.OV_FM_InitializeForLoad(self.rid, purse, key_id, amount, 6, terminal)
        self._check("OV_FM_InitializeForLoad", status)
        return result


# ---- SAM slots ------------------------------------------------------------------

class Sam:
    """The SAM in one contact slot: reset() -> ATR, transmit(apdu) -> (data, sw)."""

    def __init__(self, reader, slot):
        self.reader = reader
        self.slot = slot

    def reset(self):
        return self.reader.raw.OV_SAM_Reset(self.reader.reader_id, self.slot)

    def transmit(self, apdu):
        apdu = _check_bytes("apdu", apdu, min_size=4, max_size=100)
        return _split_sw(self.reader.raw.OV_SAM_COS(self.reader.reader_id, self.slot, len(apdu), apdu))


# ---- the display reader's LCD ------------------------------------------------------

LCD_WIDTH, LCD_HEIGHT = 128, 64


def lcd_bitmap(image):
    """A PIL image as the LCD's bitmap: scaled to fit 128 x 64, one bit a
    pixel (dithered), for each 8-pixel row from the top one byte per column,
    bit 0 the top pixel, a set bit a dark pixel. (width, height, bytes)."""
    from PIL import Image
    if not isinstance(image, Image.Image):
        raise TypeError(f"image must be a PIL image, not {type(image).__name__}")
    img = image.convert("L")
    if img.width > LCD_WIDTH or img.height > LCD_HEIGHT:
        img.thumbnail((LCD_WIDTH, LCD_HEIGHT))
    mono = img.convert("1")  # Floyd-Steinberg
    w, h = mono.size
    rows = (h + 7) // 8
    out = bytearray(w * rows)
    px = mono.load()
    for y in range(h):
        for x in range(w):
            if px[x, y] == 0:
                out[(y // 8) * w + x] |= 1 << (y % 8)
    return w, rows * 8, bytes(out)


class Lcd:
    """The display reader's 128 x 64 LCD."""

    def __init__(self, reader):
        self.reader = reader

    def show_image(self, image, line=0, column=0, invert=False):
        w, h, data = lcd_bitmap(image)
        _check_int("line", line, 0, 7)
        _check_int("column", column, 0, LCD_WIDTH - 1)
        self.reader.raw.OV_ShowImage(self.reader.reader_id, 0x01 if invert else 0, line, column, w, h, data)

    def text(self, text, line=0, column=0):
        if not isinstance(text, str):
            raise TypeError("text must be a str")
        data = text.encode("ascii", "replace")[:16]
        self.reader.raw.OV_ShowEnText(self.reader.reader_id, 0, line, column, len(data), data)

    def clear(self, lines=0xFF):
        self.reader.raw.OV_ClearLCDByLine(self.reader.reader_id, lines)
