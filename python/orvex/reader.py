# SPDX-License-Identifier: MIT
"""orvex.Reader: one reader, on a link of its own, with Python methods for
the work people do with it. Every method of the C++ class Orvex stays
reachable as reader.raw.<name> (orvex.Link)."""
import os
import threading
from typing import Any, Dict, List, Optional, Union

from . import _orvex
from .errors import OrvexError, ReaderClosed, ReaderRefused, LinkError

KEY_A, KEY_B = 0x60, 0x61
TRANSPORT_KEY = b"\xff" * 6
WUPA = 0x52


def _check_bytes(name, value, size=None, min_size=None, max_size=None):
    if isinstance(value, (bytearray, memoryview)):
        value = bytes(value)
    if not isinstance(value, bytes):
        raise TypeError(f"{name} must be bytes, not {type(value).__name__}")
    if size is not None and len(value) != size:
        raise ValueError(f"{name} must be {size} bytes, not {len(value)}")
    if min_size is not None and len(value) < min_size:
        raise ValueError(f"{name} must be at least {min_size} bytes, not {len(value)}")
    if max_size is not None and len(value) > max_size:
        raise ValueError(f"{name} must be at most {max_size} bytes, not {len(value)}")
    return value


def _check_int(name, value, lo, hi):
    if isinstance(value, bool) or not isinstance(value, int):
        raise TypeError(f"{name} must be an int, not {type(value).__name__}")
    if not lo <= value <= hi:
        raise ValueError(f"{name} must be between {lo} and {hi}, not {value}")
    return value


def list_readers() -> List[Dict[str, Any]]:
    """The readers this machine may have (USB readers and serial ports), as
    dicts with 'connection' (what Reader takes), 'kind', 'path', ..."""
    return _orvex.list_readers()


class Card:
    """A card the scan found: family, uid (bytes) and the family's details
    (ATQA/SAK for ISO 14443-A, the ATQB, DSFID, HR bytes, ...)."""

    def __init__(self, reader, family, uid, **details):
        self.reader = reader
        self.family = family
        self.uid = uid
        self.details = details
        for k, v in details.items():
            setattr(self, k, v)

    def __repr__(self):
        extra = " ".join(f"{k}={v:#x}" if isinstance(v, int) else f"{k}={v}" for k, v in self.details.items())
        return f"<{type(self).__name__} {self.family} {self.uid.hex().upper()} {extra}>"


class TypeACard(Card):
    """An ISO 14443-A card: atqa, sak, kind."""

    def select(self):
        """Selects this card again (after a halt or a refusal), halting the
        other cards a request finds first; raises when it left the field."""
        raw, rid = self.reader.raw, self.reader.reader_id
        request = WUPA  # wakes the halted cards once
        for _ in range(16):
            try:
                _, _, uid = raw.OV_RequestAntiandSelect(rid, request, 0)
            except ReaderRefused:
                break
            if uid == self.uid:
                return self
            raw.OV_CardHalt(rid)
            request = 0x26  # REQA: the cards not halted
        raise OrvexError(f"the card {self.uid.hex().upper()} left the field")


SAK_KINDS = {0x08: "MIFARE Classic 1K", 0x18: "MIFARE Classic 4K", 0x09: "MIFARE Mini",
             0x00: "Type 2 tag (Ultralight, NTAG)", 0x10: "MIFARE Plus 2K (level 2)",
             0x11: "MIFARE Plus 4K (level 2)", 0x20: "ISO 14443-4 (CPU card)",
             0x28: "ISO 14443-4 with MIFARE Classic 1K", 0x38: "ISO 14443-4 with MIFARE Classic 4K"}


class Reader:
    """A reader opened from a connection string ("usb", "usb:serial=...",
    "/dev/ttyUSB0", "/dev/ttyUSB0@38400", "ttyS:0") or a running
    orvex.sim.Simulator; a context manager that closes it. Each Reader owns
    its link: several readers work at once, from several threads."""

    def __init__(self, connection: Union[str, "os.PathLike[str]", Any], reader_id: int = 0,
                 first_byte_timeout_ms: Optional[int] = None) -> None:
        from .sim import Simulator
        if isinstance(connection, Simulator):
            connection = connection.path
        elif isinstance(connection, os.PathLike):
            connection = os.fspath(connection)
        if not isinstance(connection, str):
            raise TypeError(f"connection must be a connection string, not {type(connection).__name__}")
        self.reader_id = _check_int("reader_id", reader_id, 0, 0xFFFF)
        self.raw = _orvex.Link(connection)
        if first_byte_timeout_ms is not None:
            self.raw.set_first_byte_timeout(_check_int("first_byte_timeout_ms", first_byte_timeout_ms, 1, 3600000))
        self._lock = threading.RLock()
        from .ndef import NdefTags
        from .cards import Iso15693, Lcd, Sam
        self.ndef = NdefTags(self)
        self.iso15693 = Iso15693(self)
        self.lcd = Lcd(self)
        self._sam = Sam

    @property
    def connection(self) -> str:
        return self.raw.connection

    @property
    def closed(self) -> bool:
        return not self.raw.is_open

    def close(self) -> None:
        self.raw.close()

    def cancel(self) -> int:
        """Ends a wait for an answer in progress (safe from any thread)."""
        return self.raw.cancel()

    def __enter__(self) -> "Reader":
        return self

    def __exit__(self, *exc: Any) -> None:
        self.close()

    def __repr__(self):
        return f"<orvex.Reader {self.connection!r}{' closed' if self.closed else ''}>"

    # ---- the reader itself ------------------------------------------------
    def info(self) -> Dict[str, Any]:
        """The reader's firmware version, serial number and product number."""
        rid = self.reader_id
        version = self.raw.OV_GetReaderVersion(rid)
        serial = self.raw.OV_GetReaderSerial(rid)
        try:
            product = self.raw.OV_GetReaderNo(rid)
        except ReaderRefused:
            product = b""
        return {"version": version, "version_text": f"{version >> 8}.{version & 0xFF:02d}",
                "serial": serial.hex().upper(),
                "product": product.decode("ascii", "replace").rstrip("\x00"),
                "library": _orvex.version()}

    def beep(self, on: int = 1, off: int = 1, cycles: int = 1) -> None:
        """Sounds the buzzer cycles times (firmware time units, 0 to 255)."""
        for n, v in (("on", on), ("off", off), ("cycles", cycles)):
            _check_int(n, v, 0, 255)
        self.raw.OV_Buzzer(self.reader_id, on, off, cycles)

    def led(self, index: int = 1, on: int = 1, off: int = 1, cycles: int = 1, lit: int = 0) -> None:
        """Blinks lamp index cycles times, then leaves lamp lit on."""
        for n, v in (("index", index), ("on", on), ("off", off), ("cycles", cycles), ("lit", lit)):
            _check_int(n, v, 0, 255)
        self.raw.OV_Led(self.reader_id, index, on, off, cycles, lit)

    def display(self, text: str, align: str = "left") -> None:
        """Shows text (at most 8 digits, '.' after a digit lights its point)
        on the LED display; align "left", "centre" or "right"."""
        if not isinstance(text, str):
            raise TypeError(f"text must be a str, not {type(text).__name__}")
        if len(text) > 16 or not text.isascii():
            raise ValueError("the LED display takes at most 16 ASCII characters")
        modes = {"left": 0, "centre": 2, "center": 2, "right": 3}
        if align not in modes:
            raise ValueError(f"align must be one of {sorted(modes)}")
        self.raw.OV_LEDDisplay(self.reader_id, modes[align], text)

    # ---- the field --------------------------------------------------------
    def scan(self) -> List["Card"]:
        """Every card in the field, every family the reader knows, in the
        order `orvex scan` looks: ISO 14443-A (each selected, noted and
        halted), Topaz, FeliCa, identity card, ISO 14443-B, ST memory tags,
        ISO 15693, 125 kHz, and the SLE4442 in the contact slot."""
        with self._lock:
            found = []
            self._scan_type_a(found)
            self._quietly(self._scan_topaz, found)
            self._quietly(self._scan_felica, found)
            self._quietly(self._scan_id_card, found)
            self._quietly(self._scan_type_b, found)
            self._quietly(self._scan_st, found)
            self._quietly(self._scan_iso15693, found)
            self._quietly(self._scan_lf, found)
            self._quietly(self._scan_sle, found)
            return found

    @staticmethod
    def _quietly(f, found):
        # A family with no card answers with a refusal (or the family's own
        # failure result): nothing found. Link failures still raise.
        try:
            f(found)
        except (ReaderClosed, KeyboardInterrupt):
            raise
        except LinkError as e:
            if e.code == -1 and "refused" not in str(e):
                raise
        except OrvexError:
            pass

    def _scan_type_a(self, found):
        from .cards import MifareClassic, Ntag, IsoDepCard
        rid = self.reader_id
        for _ in range(16):
            try:
                atqa, sak, uid = self.raw.OV_RequestAntiandSelect(rid, 0x26, 0)
            except ReaderRefused:
                break
            kind = SAK_KINDS.get(sak, f"unknown (SAK {sak:02X})")
            cls = {0x08: MifareClassic, 0x18: MifareClassic, 0x09: MifareClassic,
                   0x00: Ntag, 0x20: IsoDepCard}.get(sak, TypeACard)
            found.append(cls(self, "iso14443a", uid, atqa=atqa, sak=sak, kind=kind))
            try:
                self.raw.OV_CardHalt(rid)
            except OrvexError:
                break

    def _scan_topaz(self, found):
        self.raw.OV_RequestCard(self.reader_id, WUPA)
        hr0, hr1, uid = self.raw.OV_TOPAZ_ReadUID(self.reader_id)
        if len(uid) >= 4:
            found.append(Card(self, "topaz", uid[:4], hr0=hr0, hr1=hr1))

    def _scan_felica(self, found):
        idm, pmm, _ = self.raw.OV_Felica_Polling(self.reader_id, 0xFFFF, 0, 0)
        found.append(Card(self, "felica", idm, pmm=pmm.hex().upper()))

    def _scan_id_card(self, found):
        number = self.raw.OV_ChinaIDV2_RequestCardNo(self.reader_id)  # as long as LengthOfCardNo says
        if len(number) == 8:
            found.append(Card(self, "id-card", number))

    def _scan_type_b(self, found):
        for _ in range(16):
            atqb = self.raw.OV_TypeB_Request(self.reader_id, 0, bytes(4))
            if len(atqb) < 5:
                return
            found.append(Card(self, "iso14443b", atqb[1:5], atqb=atqb.hex().upper()))
            self.raw.OV_TypeB_Halt(self.reader_id, atqb[1:5])

    def _scan_st(self, found):
        chip = self.raw.OV_ST_Active(self.reader_id)
        uid = b""
        try:
            uid = self.raw.OV_SR512_GetUID(self.reader_id)
            if len(uid) != 8:
                uid = b""
        except OrvexError:
            pass
        if not uid:
            try:
                uid = self.raw.OV_SR176_GetUID(self.reader_id)
            except OrvexError:
                uid = b""
        found.append(Card(self, "st-memory", uid, chip_id=chip))
        try:
            self.raw.OV_ST_DeActive(self.reader_id)
        except OrvexError:
            pass

    def _scan_iso15693(self, found):
        from .cards import VicinityTag
        for dsfid, uid in self.iso15693.inventory_records():
            found.append(VicinityTag(self, "iso15693", uid, dsfid=dsfid))

    def _scan_lf(self, found):
        card_id = self.raw.OV_LFCard_ReadID(self.reader_id)
        found.append(Card(self, "lf-125khz", card_id[:5]))

    def _scan_sle(self, found):
        atr = self.raw.OV_SLE_Reset(self.reader_id)
        found.append(Card(self, "sle4442", b"", atr=atr.hex().upper()))

    # ---- per family ---------------------------------------------------------
    def iso_dep(self) -> Any:
        """The ISO 14443-4 (CPU) card in the field, activated:
            with reader.iso_dep() as card:
                data, sw = card.transmit(bytes.fromhex("00A4040000"))"""
        from .cards import IsoDepSession
        return IsoDepSession(self)

    def sam(self, slot: int = 1) -> Any:
        """The SAM in contact slot 1, 2 or 3."""
        return self._sam(self, _check_int("slot", slot, 1, 3))
