// SPDX-License-Identifier: MIT
// The reader firmware's CPU card application. Every operation is one exchange
// of reader command 0xC4 through TAMRACPU_Transfer, which also keeps the two
// status words that tell the details of the last failure.
#include "apps/untTamracpu.h"


#include "cards/untCardExchange.h"
#include "link/deadlines.h"

namespace orvex {

static constexpr unsigned char kCardAppCommand = 0xC4;
// The reader talks to the card and the SAM before it answers: long pauses
// between the USB input reports.
static constexpr int kSleep = 200;

// Application status word of the last exchange: 0x9000 from the start of
// every exchange; on a refusal with more than two answer bytes, the two bytes
// after the echoed sub-command, first byte high.
static unsigned short ExeCmdStatus = 0;
// The reader's status byte of the last decoded answer (0 on success).
static unsigned short ExeCmdStep = 0;

enum : unsigned char {
  kSamReset = 0x01,
  kSamInitial = 0x02,
  kSamGetInfo = 0x03,
  kRequest = 0x10,
  kCreateSysFile = 0x11,
  kChangeKey = 0x12,
  kReadPublicFile = 0x13,
  kWritePublicFile = 0x14,
  kReadHolderFile = 0x15,
  kWriteHolderFile = 0x16,
  kReadUserFile = 0x17,
  kWriteUserFile = 0x18,
  kBalance = 0x19,
  kDebit = 0x1A,
  kConsume = 0x1B,
  kRecord = 0x1C,
};

static constexpr int kKeyBytes = 16;
static constexpr int kTerminalBytes = 6;
static constexpr int kDateBytes = 7;
static constexpr int kPublicFileBytes = 50;
static constexpr int kHolderFileBytes = 100;
static constexpr int kUserFileWriteMax = 1024;
// A card number comes back only with a result longer than this.
static constexpr int kCardNoAfter = 7;

int TAMRACPU_Transfer(int ReaderID, unsigned char CMD, int paramlen, unsigned char* param, int* len,
                      unsigned char* data, int DelayTime100ms) {
  // Data that cannot go out in one frame is refused before the exchange
  // starts, so both status words stay as they were.
  if (paramlen < 0 || paramlen > kMaxDataField - 1) return -2;
  ExeCmdStatus = 0x9000;
  Field f;
  f.u8(CMD).bytes(param, paramlen);
  Answer a;
  int rt = Carry(kCardAppCommand, ReaderID, f, CMD, DelayTime100ms, len, data, a, kSleep);
  if (rt < 0) return -1;
  ExeCmdStep = a.status;
  if (rt == 1) return 1;
  if (a.len > 2) ExeCmdStatus = static_cast<unsigned short>(a.at(1) << 8 | a.at(2));
  return -2;
}

unsigned short TAMRACPU_GetStatus(int /*ReaderID*/, int mode) {
  return mode != 0 ? ExeCmdStep : ExeCmdStatus;
}

// Sends the parameters built in f under sub-command sub; the result goes to r.
static int Run(int ReaderID, unsigned char sub, Field& f, int delay, Response& r) {
  return TAMRACPU_Transfer(ReaderID, sub, f.size(), f.data(), &r.len, r.data, delay);
}

// As Run, for a command whose result is not used.
static int RunDiscarding(int ReaderID, unsigned char sub, Field& f, int delay) {
  Response r;
  return Run(ReaderID, sub, f, delay, r);
}

// The card number, all result bytes, when more than 7 came back.
static int RunForCardNo(int ReaderID, unsigned char sub, Field& f, int delay,
                        unsigned char* CardNo) {
  Response r;
  int rt = Run(ReaderID, sub, f, delay, r);
  if (rt == 1 && r.len > kCardNoAfter) r.CopyTo(CardNo, 0, r.len);
  return rt;
}

// A 32-bit value, most significant byte first.
static unsigned int U32be(const unsigned char* p) {
  return static_cast<unsigned int>(p[0]) << 24 | static_cast<unsigned int>(p[1]) << 16 |
         static_cast<unsigned int>(p[2]) << 8 | p[3];
}

// ---- SAM ----------------------------------------------------------------------

int TAMRACPU_SamReset(int ReaderID, unsigned char SamIndex, unsigned char* DataLen,
                      unsigned char* Data) {
  Field f;
  f.u8(SamIndex);
  int len = 0;  // stays 0 on failure, and DataLen is written with it
  int rt = TAMRACPU_Transfer(ReaderID, kSamReset, f.size(), f.data(), &len, Data, deadline::kPurse);
  *DataLen = static_cast<unsigned char>(len);
  return rt;
}

int TAMRACPU_SamInitial(int ReaderID, unsigned char SamIndex, unsigned char SamPrivilege,
                        unsigned char* Teminate, unsigned char* key, unsigned char KeyFrom) {
  Field f;
  f.u8(SamIndex).u8(SamPrivilege).bytes(Teminate, kTerminalBytes).bytes(key, kKeyBytes).u8(KeyFrom);
  return RunDiscarding(ReaderID, kSamInitial, f, deadline::kPurseSamInit);
}

// Terminal number (6 bytes) and order number, when more than 9 bytes came back.
int TAMRACPU_SamGetInfo(int ReaderID, unsigned char SamIndex, unsigned char* Teminate,
                        unsigned int* OrderNo) {
  Field f;
  f.u8(SamIndex);
  Response r;
  int rt = Run(ReaderID, kSamGetInfo, f, deadline::kPurse, r);
  if (rt == 1 && r.len > 9) {
    r.CopyTo(Teminate, 0, kTerminalBytes);
    *OrderNo = U32be(r.data + 6);
  }
  return rt;
}

// ---- Card and keys ---------------------------------------------------------------

int TAMRACPU_Request(int ReaderID, unsigned char* CardNo) {
  Field f;
  return RunForCardNo(ReaderID, kRequest, f, deadline::kPurseRequest, CardNo);
}

int TAMRACPU_CreateSysFile(int ReaderID, unsigned char* key, unsigned char KeyFrom,
                           unsigned char* CardNo) {
  Field f;
  f.bytes(key, kKeyBytes).u8(KeyFrom);
  return RunForCardNo(ReaderID, kCreateSysFile, f, deadline::kPurseCreate, CardNo);
}

// Both keys first, then both key sources.
int TAMRACPU_ChangeKey(int ReaderID, unsigned char* Oldkey, unsigned char OldkeyFrom,
                       unsigned char* Newkey, unsigned char NewkeyFrom, unsigned char* CardNo) {
  Field f;
  f.bytes(Oldkey, kKeyBytes).bytes(Newkey, kKeyBytes).u8(OldkeyFrom).u8(NewkeyFrom);
  return RunForCardNo(ReaderID, kChangeKey, f, deadline::kPurseChangeKey, CardNo);
}

// ---- Files -------------------------------------------------------------------------

int TAMRACPU_ReadPublicFile(int ReaderID, int* len, unsigned char* data) {
  return TAMRACPU_Transfer(ReaderID, kReadPublicFile, 0, nullptr, len, data, deadline::kPurse);
}

int TAMRACPU_WritePublicFile(int ReaderID, unsigned char SamIndex, unsigned char* data) {
  Field f;
  f.u8(SamIndex).bytes(data, kPublicFileBytes);
  return RunDiscarding(ReaderID, kWritePublicFile, f, deadline::kPurse);
}

int TAMRACPU_ReadHolderFile(int ReaderID, unsigned char SamIndex, int* len, unsigned char* data) {
  return TAMRACPU_Transfer(ReaderID, kReadHolderFile, 1, &SamIndex, len, data, deadline::kPurse);
}

int TAMRACPU_WriteHolderFile(int ReaderID, unsigned char SamIndex, unsigned char* data) {
  Field f;
  f.u8(SamIndex).bytes(data, kHolderFileBytes);
  return RunDiscarding(ReaderID, kWriteHolderFile, f, deadline::kPurse);
}

int TAMRACPU_ReadUserFile(int ReaderID, unsigned char SamIndex, int Addr, int Count, int* len,
                          unsigned char* data) {
  Field f;
  f.u8(SamIndex).u16be(Addr).u16be(Count);
  return TAMRACPU_Transfer(ReaderID, kReadUserFile, f.size(), f.data(), len, data, deadline::kPurseUserFile);
}

// At most 1024 bytes in one exchange; more (or a negative count) is refused
// with -2 before anything is sent.
int TAMRACPU_WriteUserFile(int ReaderID, unsigned char SamIndex, int Addr, int Count,
                           unsigned char* data) {
  if (Count < 0 || Count > kUserFileWriteMax) return -2;
  Field f;
  f.u8(SamIndex).u16be(Addr).bytes(data, Count);
  return RunDiscarding(ReaderID, kWriteUserFile, f, deadline::kPurseUserFile);
}

// ---- Purse ----------------------------------------------------------------------------

// The balance, most significant byte first, when more than 3 bytes came back.
int TAMRACPU_Balance(int ReaderID, unsigned int* Value) {
  Field f;
  Response r;
  int rt = Run(ReaderID, kBalance, f, deadline::kPurse, r);
  if (rt == 1 && r.len > 3) *Value = U32be(r.data);
  return rt;
}

// SAM slot, amount (most significant byte first) and 7 bytes of date; the
// result goes to Result, its length is not handed on.
static int Spend(int ReaderID, unsigned char sub, unsigned char SamIndex, unsigned int Value,
                 unsigned char* Date, unsigned char* Result) {
  Field f;
  f.u8(SamIndex).u32be(Value).bytes(Date, kDateBytes);
  int len = 0;
  return TAMRACPU_Transfer(ReaderID, sub, f.size(), f.data(), &len, Result, deadline::kPurse);
}

int TAMRACPU_Debit(int ReaderID, unsigned char SamIndex, unsigned int Value, unsigned char* Date,
                   unsigned char* Result) {
  return Spend(ReaderID, kDebit, SamIndex, Value, Date, Result);
}

int TAMRACPU_Consume(int ReaderID, unsigned char SamIndex, unsigned int Value, unsigned char* Date,
                     unsigned char* Result) {
  return Spend(ReaderID, kConsume, SamIndex, Value, Date, Result);
}

int TAMRACPU_Record(int ReaderID, int& RecordLen, unsigned char* Record) {
  return TAMRACPU_Transfer(ReaderID, kRecord, 0, nullptr, &RecordLen, Record, deadline::kPurse);
}

}  // namespace orvex
