# SPDX-License-Identifier: MIT
"""The simulated reader in this process: the card models of orvex-sim,
served on a pseudo-terminal that any Reader (or program) opens.

    from orvex.sim import Simulator
    with Simulator(cards=["ntag215", "mfc1k:11223344"]) as sim, orvex.Reader(sim) as reader:
        tag = sim.cards[0]
        sim.remove(tag)      # out of the field
        sim.insert(tag)      # back in
"""
from typing import Any, Iterable, List, Optional

from . import _orvex


class SimCard:
    """A card the simulator holds (in its field or taken out)."""

    def __init__(self, sim, handle, description):
        self._sim = sim
        self.handle = handle
        self.description = description

    def describe(self):
        return self._sim._sim.describe(self.handle)

    def __repr__(self):
        return f"<SimCard {self.describe()}>"


class Simulator:
    """The simulated reader: `cards` are orvex-sim card descriptions ("kind[:ID]",
    e.g. "mfc1k", "ntag215", "iso15693", "cpu", "sle4442"); display=True
    makes it the display reader. Stop it with stop() or a with block."""

    def __init__(self, cards: Iterable[str] = ("mfc1k",), display: bool = False,
                 reader_number: int = 1) -> None:
        if isinstance(cards, str):
            raise TypeError("cards is a list of card descriptions, not one string")
        cards = list(cards)
        for c in cards:
            if not isinstance(c, str):
                raise TypeError(f"a card description is a string, not {type(c).__name__}")
        self._sim = _orvex.Sim([], bool(display), int(reader_number))
        self.cards = [self.place(c) for c in cards]

    @property
    def path(self) -> str:
        """The pseudo-terminal to open ("/dev/pts/N"): the connection string."""
        return self._sim.path

    def __fspath__(self):
        return self.path

    def __str__(self):
        return self.path

    def place(self, card: str) -> SimCard:
        """A new card so described ("kind[:ID]"), put into the field (contact cards and
        SAMs go to their slots)."""
        if not isinstance(card, str):
            raise TypeError(f"a card description is a string, not {type(card).__name__}")
        return SimCard(self, self._sim.place(card), card)

    def remove(self, card: SimCard) -> bool:
        """Takes the card out of the field; False if it was not there."""
        return self._sim.remove(card.handle)

    def insert(self, card: SimCard) -> None:
        """Puts a card taken out back into the field."""
        self._sim.reinsert(card.handle)

    def clear(self) -> None:
        """Empties the field."""
        self._sim.clear()

    def field(self) -> List[str]:
        """The cards in the field, described ("mfc1k A1 EA 42 AC")."""
        return self._sim.field()

    def load_mfd(self, path: Any) -> SimCard:
        """A MIFARE Classic holding the raw dump in path (1024 or 4096
        bytes), put into the field."""
        return self._load(path, "mfd")

    def load_dump(self, path: Any) -> SimCard:
        """A MIFARE Classic holding the dump in path, put into the field: .eml
        or .json by the name (every byte known), anything else a raw .mfd;
        read as orvex --sim-load reads it."""
        return self._load(path, _orvex.mfc_dump_format(str(path)))

    def _load(self, path, fmt):
        card = SimCard(self, self._sim.load_dump(str(path), fmt), fmt + ":" + str(path))
        self.cards.append(card)
        return card

    def save_mfd(self, card: SimCard, path: Any) -> None:
        """Writes the memory of a simulated MIFARE Classic to path (a raw
        .mfd, under a temporary name renamed into place)."""
        self._sim.save_dump(card.handle, str(path), "mfd")

    def save_dump(self, card: SimCard, path: Any) -> None:
        """Writes the memory of a simulated MIFARE Classic to path in the
        format its name says, as orvex --sim-save does: .mfd, .eml or .json
        (ValueError for another name)."""
        fmt = _orvex.mfc_dump_format(str(path), True)
        if fmt is None:
            raise ValueError(f"{path}: a MIFARE Classic card is saved to a .mfd, .eml or .json file "
                             "(its name chooses the format)")
        self._sim.save_dump(card.handle, str(path), fmt)

    def memory(self, card: SimCard) -> bytes:
        """The memory of a simulated MIFARE Classic, keys included."""
        return self._sim.memory(card.handle)

    def lcd_pixels(self) -> Optional[List[List[bool]]]:
        """The display reader's LCD: 64 rows of 128 pixels, each True when
        dark (None on the card reader)."""
        raw = self._sim.lcd()
        if not raw:
            return None
        return [[bool(raw[y * 128 + x]) for x in range(128)] for y in range(64)]

    @property
    def beeps(self) -> int:
        """How many times the buzzer sounded."""
        return self._sim.beeps

    @property
    def led_text(self) -> str:
        """What the 8-digit LED display shows."""
        return self._sim.led_text

    def stop(self) -> None:
        self._sim.stop()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.stop()
