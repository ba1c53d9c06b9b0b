#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Lists every card in the reader's field.

    examples/python/scan.py /dev/ttyUSB0      (or "usb", or a simulator's pseudo-terminal)
"""
import sys

import orvex

with orvex.Reader(sys.argv[1] if len(sys.argv) > 1 else "usb") as reader:
    cards = reader.scan()
    for card in cards:
        print(card.family, card.uid.hex().upper(), getattr(card, "kind", ""))
    print(f"{len(cards)} card(s)")
