// SPDX-License-Identifier: MIT
// The ways a command uses its one exchange.
#include "cards/untCardExchange.h"

#include <cstring>

#include "link/deadlines.h"


namespace orvex {

int Execute(unsigned char Cmd, int ReaderID, const Field& request, int DelayTimes, int NoAnswer) {
  Answer a;
  return Transact(Cmd, ReaderID, request, DelayTimes, a, 20, NoAnswer);
}

int WriteRun(unsigned char Cmd, int ReaderID, int StartBlock, int BlockNums, int LenData,
             unsigned char* pData) {
  Answer a;
  Field f;
  f.u8(StartBlock).u8(BlockNums).bytes(pData, LenData);
  int rt = Transact(Cmd, ReaderID, f, deadline::kPerBlock * BlockNums, a);
  return rt == 1 ? a.at(0) : rt;
}

int ReadRun(unsigned char Cmd, int ReaderID, int StartBlock, int BlockNums, int extra,
            int* LenData, unsigned char* pData) {
  Answer a;
  int rt = Transact(Cmd, ReaderID, Field().u8(StartBlock).u8(BlockNums), deadline::kPerBlock * BlockNums, a);
  if (rt != 1) return rt;
  // The result is the leading byte, so an answer without one is malformed:
  // -1, nothing written.
  if (a.len < 1) return -1;
  const int count = a.len + extra;
  const int copied = a.CopyTo(pData, 1, count);
  // The zero past the data of a whole answer buffer lies outside it.
  if (copied < count) std::memset(pData + copied, 0, static_cast<size_t>(count - copied));
  *LenData = count;
  return a.at(0);
}

int PurseAmount(unsigned char Cmd, int ReaderID, int BlockAddr, int Amount) {
  return Execute(Cmd, ReaderID, Field().u8(BlockAddr).u32le(static_cast<uint32_t>(Amount)), deadline::kTypeA);
}

int PurseValue(unsigned char Cmd, int ReaderID, int BlockAddr, int* Value) {
  Answer a;
  int rt = Transact(Cmd, ReaderID, Field().u8(BlockAddr), deadline::kTypeA, a);
  if (rt != 1) return rt;
  *Value = static_cast<int>(a.u32le(0));
  return 1;
}

int Carry(unsigned char Cmd, int ReaderID, const Field& request, unsigned char echo, int DelayTime,
          int* DataLenRet, unsigned char* pDataRet, Answer& answer, int SleepTime) {
  if (Exchange(Cmd, ReaderID, request, DelayTime, SleepTime, answer) != Exchanged::kDecoded)
    return -1;
  if (answer.status != 0 || answer.len < 1 || answer.at(0) != echo) return 0;
  *DataLenRet = answer.len - 1;
  answer.CopyTo(pDataRet, 1, answer.len - 1);
  return 1;
}

}  // namespace orvex
