// SPDX-License-Identifier: MIT
// Answer handling shared by the card command modules.
#include "cards/untCardExchange.h"

namespace orvex {

int Execute(unsigned char Cmd, int ReaderID, const Field& request, int DelayTimes) {
  Answer a;
  return Transact(Cmd, ReaderID, request, DelayTimes, a);
}

int Carry(unsigned char Cmd, int ReaderID, const Field& request, unsigned char echo, int DelayTime,
          int* DataLenRet, unsigned char* pDataRet, Answer& answer) {
  if (Exchange(Cmd, ReaderID, request, DelayTime, 20, answer) != Exchanged::kDecoded) return -1;
  if (answer.status != 0 || answer.len < 1 || answer.at(0) != echo) return 0;
  *DataLenRet = answer.len - 1;
  answer.CopyTo(pDataRet, 1, answer.len - 1);
  return 1;
}

}  // namespace orvex
