// SPDX-License-Identifier: MIT
// Answer handling shared by the card command modules. Every function here is
// a thin layer over the one command exchange (Transact / Exchange): the card
// modules lay out their data fields and pick their fields out of the answer,
// the handling that many commands share lives here once.
#pragma once

#include <cstring>

#include "link/untFunction.h"

namespace orvex {

// One command whose answer carries nothing for the caller: 1 done, -1 link
// failure, -3 refused.
int Execute(unsigned char Cmd, int ReaderID, const Field& request, int DelayTimes);

// One command whose whole answer goes to the caller: on success out receives
// the n answer bytes and *len (when len is given) the count n, cut to the
// width of Len. An answer longer than room (the bytes out can take) fails
// with -1. Results otherwise as Execute; nothing is written on failure.
template <typename Len>
int ExecuteAll(unsigned char Cmd, int ReaderID, const Field& request, int DelayTimes, Len* len,
               unsigned char* out, int room = kMaxAnswerData) {
  Answer a;
  int rt = Transact(Cmd, ReaderID, request, DelayTimes, a);
  if (rt != 1) return rt;
  if (a.len > room) return -1;
  a.CopyTo(out, 0, a.len);
  if (len) *len = static_cast<Len>(a.len);
  return 1;
}

// A card command carried under one reader command behind a sub-function byte
// that the reader echoes as the answer's first data byte. On status 0 with
// the echo in place: *DataLenRet = n - 1, pDataRet receives answer bytes 1 to
// n - 1 (the card's own response), result 1. -1 for a link failure. 0 when
// the reader refused or the echo is missing (answer.status tells which);
// each family turns that into its own result. Nothing is written unless 1.
int Carry(unsigned char Cmd, int ReaderID, const Field& request, unsigned char echo, int DelayTime,
          int* DataLenRet, unsigned char* pDataRet, Answer& answer);

// A card's response as a carrier hands it over (the bytes behind the echo),
// in a buffer that holds any answer. It stays all zeros unless a carrier
// wrote it, and bytes past the response read as zero.
struct Response {
  int len = 0;
  unsigned char data[kMaxAnswerData] = {};

  // Copies count bytes from offset on into dst, but never more than room
  // (what dst holds) and never past the end of the response; returns the
  // bytes copied.
  int CopyTo(unsigned char* dst, int offset, int count, int room) const {
    if (count > room) count = room;
    if (count > len - offset) count = len - offset;
    if (offset < 0 || count <= 0) return 0;
    std::memcpy(dst, data + offset, static_cast<size_t>(count));
    return count;
  }
};

}  // namespace orvex
