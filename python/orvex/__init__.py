# SPDX-License-Identifier: MIT
"""Orvex desktop card readers from Python.

    import orvex
    with orvex.Reader("/dev/ttyUSB0") as reader:
        print(reader.info())
        for card in reader.scan():
            print(card)

`orvex.sim.Simulator` runs the simulated reader in this process; the
pytest plugin `orvex.pytest_plugin` gives tests a fresh one (fixture
`orvex_sim`).
"""
from .errors import (OrvexError, LinkError, ReaderRefused, UnknownConnection, ReaderClosed,  # noqa: F401
                     DisplayError, FelicaError, SLE4442Error, CardApplicationError, NDEFError,
                     TopazError)
from . import _orvex  # noqa: F401
from ._orvex import Link, check_connection, method_names  # noqa: F401
from .reader import Reader, Card, list_readers  # noqa: F401,E402
from .cards import (MifareClassic, Ntag, VicinityTag, IsoDepCard, CardStatusError,  # noqa: F401,E402
                    access_conditions, access_bytes, lcd_bitmap)
from . import ndef, sim, crypto  # noqa: F401,E402

__version__ = _orvex.version()

__all__ = ["OrvexError", "LinkError", "ReaderRefused", "UnknownConnection", "ReaderClosed", "DisplayError",
           "FelicaError", "SLE4442Error", "CardApplicationError", "NDEFError", "TopazError", "Link",
           "check_connection", "method_names", "Reader", "Card", "list_readers", "MifareClassic", "Ntag",
           "VicinityTag", "IsoDepCard", "CardStatusError", "access_conditions", "access_bytes", "lcd_bitmap",
           "ndef", "sim", "crypto"]
