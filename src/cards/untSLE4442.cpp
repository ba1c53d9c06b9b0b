// SPDX-License-Identifier: MIT
// SLE4442 commands. The carrier puts a sub-function byte under reader
// command 0xC3 and requires the answer's first data byte to echo it; the
// card's bytes follow the echo. This family counts success as 1000, and the
// reads pass that on, except the main memory read, which returns its byte
// count. The data and PSC writes check themselves by reading back.
#include "cards/untSLE4442.h"

#include <unistd.h>

#include <cstring>

#include "cards/untCardExchange.h"
#include "link/deadlines.h"

namespace orvex {

static constexpr unsigned char kCarrier = 0xC3;
static constexpr int kCarried = 1000;  // the carrier's success value
static constexpr unsigned char kTimeOut = 5;
static constexpr int kPSCLen = 3;
// The card needs time to program its EEPROM before a read-back shows the
// data; the PSC write is read back at once.
static constexpr useconds_t kWritePauseUs = 100000;

// Sub-functions of reader command 0xC3.
static constexpr unsigned char kReset = 0x01;
static constexpr unsigned char kReadMain = 0x02;
static constexpr unsigned char kWriteMain = 0x03;
static constexpr unsigned char kReadProtection = 0x04;
static constexpr unsigned char kWriteProtected = 0x05;
static constexpr unsigned char kReadSecurity = 0x06;
static constexpr unsigned char kWritePSC = 0x07;
static constexpr unsigned char kVerifyPSC = 0x08;

int SLE_Common_(int ReaderID, unsigned char FC2, unsigned char /*TimeOut*/, int DataLen, unsigned char* pData,
                int* DataLenRet, unsigned char* pDataRet, int DelayTime) {
  Field f;
  f.u8(FC2).bytes(pData, DataLen);
  Answer a;
  switch (Carry(kCarrier, ReaderID, f, FC2, DelayTime, DataLenRet, pDataRet, a)) {
    case 1: return kCarried;
    case 0: return -3;  // refused, or the sub-function was not echoed
    default: return -1;
  }
}

static int Send(unsigned char FC2, int ReaderID, unsigned char* params, int n, Response& r) {
  return SLE_Common_(ReaderID, FC2, kTimeOut, n, params, &r.len, r.data, deadline::kSle4442);
}

int SLE_Reset(int ReaderID, unsigned char* pResetInfo) {
  int len = 0;
  return SLE_Common_(ReaderID, kReset, kTimeOut, 0, nullptr, &len, pResetInfo, deadline::kSle4442);
}

int SLE_ReadMainMemory(int ReaderID, unsigned char StartAddr, unsigned char MemLen, unsigned char* MemData) {
  unsigned char range[2] = {StartAddr, MemLen};
  int len = 0;
  int rt = SLE_Common_(ReaderID, kReadMain, kTimeOut, 2, range, &len, MemData, deadline::kSle4442);
  return rt == kCarried ? len : rt;
}

// True when the first `expected` bytes read back equal those sent. A
// read-back shorter than what was written cannot confirm it: a mismatch.
static bool ReadsBack(const unsigned char* got, int gotLen, const unsigned char* sent, int expected) {
  if (gotLen < expected) return false;
  return expected <= 0 || std::memcmp(got, sent, static_cast<size_t>(expected)) == 0;
}

// The two data writes: write under FC2, pause, read main memory back over
// the same range and compare. The write with protection is compared with
// main memory too, which is where its data go.
static int VerifiedWrite(unsigned char FC2, int ReaderID, unsigned char StartAddr, unsigned char MemLen,
                         unsigned char* MemData) {
  Field request;
  request.u8(StartAddr).bytes(MemData, MemLen);
  Response written;
  if (Send(FC2, ReaderID, request.data(), request.size(), written) <= 0) return -1;
  usleep(kWritePauseUs);
  Response back;
  back.len = SLE_ReadMainMemory(ReaderID, StartAddr, MemLen, back.data);
  if (back.len <= 0) return -1;
  return ReadsBack(back.data, back.len, MemData, MemLen) ? 1 : -2;
}

int SLE_WriteMainMemory(int ReaderID, unsigned char StartAddr, unsigned char MemLen, unsigned char* MemData) {
  return VerifiedWrite(kWriteMain, ReaderID, StartAddr, MemLen, MemData);
}

int SLE_ReadPROM(int ReaderID, unsigned char* MemData) {
  int len = 0;
  return SLE_Common_(ReaderID, kReadProtection, kTimeOut, 0, nullptr, &len, MemData, deadline::kSle4442);
}

int SLE_WriteProtectedDataMemory(int ReaderID, unsigned char StartAddr, unsigned char MemLen,
                                 unsigned char* MemData) {
  return VerifiedWrite(kWriteProtected, ReaderID, StartAddr, MemLen, MemData);
}

// The security memory as the card returns it: the error counter, then the
// PSC (which the card shows only after a successful presentation).
static int ReadSecurity(int ReaderID, Response& r) { return Send(kReadSecurity, ReaderID, nullptr, 0, r); }

int SLE_ReadSecurityLogic(int ReaderID, unsigned char* ErrorCounter, unsigned char* PSC) {
  Response r;
  int rt = ReadSecurity(ReaderID, r);
  if (rt != kCarried) return rt;
  if (r.len >= 1) *ErrorCounter = r.data[0];
  // The bytes after the counter, but never more than the 3 of a PSC: a
  // longer answer is not written past the caller's PSC buffer.
  r.CopyTo(PSC, 1, r.len - 1, kPSCLen);
  return kCarried;
}

int SLE_WritePSC(int ReaderID, unsigned char* PSC) {
  Response written;
  if (Send(kWritePSC, ReaderID, PSC, kPSCLen, written) <= 0) return -1;
  Response back;
  if (ReadSecurity(ReaderID, back) <= 0) return -1;
  // The PSC follows the error counter.
  return ReadsBack(back.data + 1, back.len - 1, PSC, kPSCLen) ? 1 : -2;
}

int SLE_VerifyPSC(int ReaderID, unsigned char* PSC, unsigned char* ErrorCounter) {
  Response r;
  int rt = Send(kVerifyPSC, ReaderID, PSC, kPSCLen, r);
  if (rt == kCarried) return 1;
  // On failure ErrorCounter receives the carrier's result cut to 8 bits, not
  // the card's counter: 0xFF for a link failure, 0xFD for a refusal, which is
  // how callers tell a wrong PSC from a broken link. The counter itself is
  // read with SLE_ReadSecurityLogic; on success ErrorCounter is left alone.
  *ErrorCounter = static_cast<unsigned char>(rt);
  return -1;
}

}  // namespace orvex
