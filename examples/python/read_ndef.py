#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints the NDEF message of the tag in the field, one record a line.

    examples/python/read_ndef.py /dev/ttyUSB0
"""
import sys

import orvex

with orvex.Reader(sys.argv[1] if len(sys.argv) > 1 else "usb") as reader:
    records = reader.ndef.read()
    for record in records:
        if isinstance(record, orvex.ndef.Text):
            print(f"text ({record.lang}): {record.text}")
        elif isinstance(record, orvex.ndef.Uri):
            print(f"uri: {record.uri}")
        else:
            print(f"record: {record!r}")
    print(f"{len(records)} record(s)")
