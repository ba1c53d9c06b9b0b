// SPDX-License-Identifier: MIT
// NDEF records and their message TLV: the classes NDEFRecord and TLV are
// public (orvex.h); these are the bounded parsing steps behind them.
#pragma once

#include "orvex.h"

namespace orvex {

constexpr int kMaxNdefRecords = 5;
// A record as encoded: header, type length, payload length, type, payload.
constexpr int kMaxRecordImage = 4 + 255;
// A whole message TLV: tag, length, five records, terminator.
constexpr int kMaxMessageImage = kMaxNdefRecords * kMaxRecordImage + 3;

// Parses one record from the avail bytes at buffer into r. The bytes the
// record occupies; 0 when it is neither text nor URI, or claims more bytes
// than avail.
int DecodeRecord(NDEFRecord& r, const unsigned char* buffer, int avail);

// The message decoding of TLV::DecodeAllBuffer, reading no byte at or past
// Readable. A negative BufferLen skips the search for the tag and takes
// position 0 as the tag (the read functions pass their failure codes on).
int DecodeMessage(TLV& tlv, const unsigned char* Buffer, int BufferLen, int Readable);

}  // namespace orvex
