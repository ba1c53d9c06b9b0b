#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Sends APDUs (hexadecimal) to the CPU card in the field and prints each
response and status word.

    examples/python/send_apdu.py /dev/ttyUSB0 00A404000D4F56582E50555253452E415050 0084000008
"""
import sys

import orvex

if len(sys.argv) < 3:
    sys.exit("usage: send_apdu.py CONNECTION APDU...")
with orvex.Reader(sys.argv[1]) as reader, reader.iso_dep() as card:
    print("ATS", card.ats.hex().upper())
    for text in sys.argv[2:]:
        data, sw = card.transmit(bytes.fromhex(text))
        print(f"> {text.upper()}\n< {data.hex().upper()} {sw:04X}")
