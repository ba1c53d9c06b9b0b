// SPDX-License-Identifier: MIT
// The ways a command uses its one exchange, shared by every command module
// (cards, reader management, the display reader, the card application).
// Each is a thin layer over the command exchange (Transact / Exchange): a
// module lays out its data field and picks its fields out of the answer; the
// handling that many commands share lives here once.
#pragma once

#include "link/untFunction.h"

namespace orvex {

// One command whose answer carries nothing for the caller: 1 done, -1 link
// failure, -3 refused; NoAnswer when nothing came back (some commands tell
// that apart as -2).
int Execute(unsigned char Cmd, int ReaderID, const Field& request, int DelayTimes,
            int NoAnswer = -1);

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

// The multi-block commands of the memory cards: the first block and the block
// count lead the data field, the reader gets BlockNums x 100 ms, and its
// leading answer byte is the result (0 to 255, so 0 is a success too).
// A write sends LenData bytes of pData behind the two.
int WriteRun(unsigned char Cmd, int ReaderID, int StartBlock, int BlockNums, int LenData,
             unsigned char* pData);
// A read hands over *LenData = n + extra and that many bytes from the
// answer's second byte on: extra -1 gives the data behind the leading byte,
// extra 0 one byte more (the zero behind the answer's data), as the command
// has it.
int ReadRun(unsigned char Cmd, int ReaderID, int StartBlock, int BlockNums, int extra,
            int* LenData, unsigned char* pData);

// The value-block commands that carry an amount: the block, then the amount
// in two's complement, least significant byte first.
int PurseAmount(unsigned char Cmd, int ReaderID, int BlockAddr, int Amount);
// The value-block read: the block goes out, the value comes back in the
// answer's first four bytes, least significant first (zeros behind a short
// answer). *Value is written only on success.
int PurseValue(unsigned char Cmd, int ReaderID, int BlockAddr, int* Value);

// A command carried under one reader command behind a sub-command byte that
// the reader echoes as the answer's first data byte: the one echo check. On
// status 0 with the echo in place: *DataLenRet = n - 1, pDataRet receives
// answer bytes 1 to n - 1 (the card's or the reader's own response), result
// 1. -1 for a link failure. 0 when the reader refused or the echo is missing
// (answer.status tells which); each family turns that into its own result.
// Nothing is written unless 1.
int Carry(unsigned char Cmd, int ReaderID, const Field& request, unsigned char echo, int DelayTime,
          int* DataLenRet, unsigned char* pDataRet, Answer& answer, int SleepTime = 20);

// A response as a carrier hands it over (the bytes behind the echo), in a
// buffer that holds any answer. It stays all zeros unless a carrier wrote
// it, and bytes past the response read as zero.
using Response = AnswerBytes;

}  // namespace orvex
