// SPDX-License-Identifier: MIT
// NTAG21x commands. Both carriers put a sub-function byte under reader
// command 0xC0 and require the answer's first data byte to echo it; the
// members build their parameters and take what follows the echo.
#include "cards/untNTag.h"

#include "cards/untCardExchange.h"
#include "link/deadlines.h"

namespace orvex {

static constexpr unsigned char kCarrier = 0xC0;
static constexpr unsigned char kTransparent = 0x10;  // sub-function: pass FC2 to the tag

// Both carriers: status 0 and the echo give 1 and the bytes behind the echo;
// a refusal or a missing echo is -3.
static int Carry(int ReaderID, const Field& f, unsigned char echo, int DelayTime, int* DataLenRet,
                 unsigned char* pDataRet) {
  Answer a;
  int rt = orvex::Carry(kCarrier, ReaderID, f, echo, DelayTime, DataLenRet, pDataRet, a);
  return rt == 0 ? -3 : rt;
}

int NTag_Common_(int ReaderID, unsigned char FC2, unsigned char TimeOut, int DataLen, unsigned char* pData,
                 int* DataLenRet, unsigned char* pDataRet, int DelayTime) {
  Field f;
  f.u8(kTransparent).u8(TimeOut).u8(FC2).bytes(pData, DataLen);
  return Carry(ReaderID, f, kTransparent, DelayTime, DataLenRet, pDataRet);
}

int NTag_Common2_(int ReaderID, unsigned char FC2, unsigned char /*TimeOut*/, int DataLen,
                  unsigned char* pData, int* DataLenRet, unsigned char* pDataRet, int DelayTime) {
  Field f;
  f.u8(FC2).bytes(pData, DataLen);
  return Carry(ReaderID, f, FC2, DelayTime, DataLenRet, pDataRet);
}

// NTAG command codes, and the time-out byte the reader gives the tag.
static constexpr unsigned char kGetVersion = 0x60;
static constexpr unsigned char kRead = 0x30;
static constexpr unsigned char kFastRead = 0x3A;
static constexpr unsigned char kWrite = 0xA2;
static constexpr unsigned char kPwdAuth = 0x1B;
static constexpr unsigned char kReadSig = 0x3C;
static constexpr unsigned char kReadCnt = 0x39;
static constexpr unsigned char kTagTimeOut = 5;
static constexpr unsigned char kWriteTimeOut = 15;
// The reader's own sub-functions.
static constexpr unsigned char kCompatibleWrite = 0x15;
static constexpr unsigned char kReadCounter = 0x16;
// One FAST_READ covers at most this many pages past the first.
static constexpr int kFastReadSpan = 50;

int NTAG_GetVersion(int ReaderID, unsigned char* pData) {
  int len = 0;
  return NTag_Common_(ReaderID, kGetVersion, kTagTimeOut, 0, nullptr, &len, pData, deadline::kNtag);
}

int NTAG_Read(int ReaderID, int StartPage, int* DataLen, unsigned char* pData) {
  unsigned char page = static_cast<unsigned char>(StartPage);
  return NTag_Common_(ReaderID, kRead, kTagTimeOut, 1, &page, DataLen, pData, deadline::kNtag);
}

int NTag_FastRead(int ReaderID, int StartPage, int EndPage, int* DataLen, unsigned char* pData) {
  if (EndPage - StartPage > kFastReadSpan) EndPage = StartPage + kFastReadSpan;
  unsigned char range[2] = {static_cast<unsigned char>(StartPage), static_cast<unsigned char>(EndPage)};
  return NTag_Common_(ReaderID, kFastRead, kTagTimeOut, 2, range, DataLen, pData, deadline::kNtag);
}

int NTag_Write(int ReaderID, int PageIndex, unsigned char* pData) {
  unsigned char param[5] = {static_cast<unsigned char>(PageIndex), pData[0], pData[1], pData[2], pData[3]};
  int len = 0;
  unsigned char ret[kMaxAnswerData];
  return NTag_Common_(ReaderID, kWrite, kWriteTimeOut, 5, param, &len, ret, deadline::kNtag);
}

int NTag_CompatibleWrite(int ReaderID, int PageIndex, unsigned char* pData) {
  unsigned char param[17];
  param[0] = static_cast<unsigned char>(PageIndex);
  for (int i = 0; i < 16; ++i) param[1 + i] = pData[i];
  int len = 0;
  unsigned char ret[kMaxAnswerData];
  return NTag_Common2_(ReaderID, kCompatibleWrite, kTagTimeOut, 17, param, &len, ret, deadline::kNtag);
}

// A counter as the tag sends it: 24 bits, low byte first.
static int Counter24(const unsigned char* b) { return b[0] | b[1] << 8 | b[2] << 16; }

int NTag_ReadCounter(int ReaderID, int* Counter) {
  int len = 0;
  unsigned char ret[kMaxAnswerData] = {};
  int rt = NTag_Common2_(ReaderID, kReadCounter, kTagTimeOut, 0, nullptr, &len, ret, deadline::kNtag);
  if (rt != 1) return rt;
  *Counter = Counter24(ret);
  return 1;
}

int NTag_ReadCounterOf(int ReaderID, int CounterNo, int* Counter) {
  // An Ultralight EV1 has counters 0 to 2; a number the tag has no counter
  // for is not worth an exchange.
  if (CounterNo < 0 || CounterNo > 2) return -3;
  unsigned char number = static_cast<unsigned char>(CounterNo);
  int len = 0;
  unsigned char ret[kMaxAnswerData] = {};
  int rt = NTag_Common_(ReaderID, kReadCnt, kTagTimeOut, 1, &number, &len, ret, deadline::kNtag);
  if (rt != 1) return rt;
  if (len != 3) return -3;  // the tag's answer is the counter's three bytes, nothing else
  *Counter = Counter24(ret);
  return 1;
}

int NTag_Password_Auth(int ReaderID, unsigned char* PWD, unsigned char* AuthResult) {
  int len = 0;
  unsigned char ret[kMaxAnswerData] = {};
  int rt = NTag_Common_(ReaderID, kPwdAuth, kTagTimeOut, 4, PWD, &len, ret, deadline::kNtag);
  if (rt != 1) return rt;
  // The tag's PACK goes out whatever it is, but only 00 00 counts as success.
  AuthResult[0] = ret[0];
  AuthResult[1] = ret[1];
  return (ret[0] == 0 && ret[1] == 0) ? 1 : -1;
}

int NTag_ReadSignature(int ReaderID, unsigned char* Signature) {
  unsigned char address = 0x00;
  int len = 0;
  return NTag_Common_(ReaderID, kReadSig, kTagTimeOut, 1, &address, &len, Signature, deadline::kNtag);
}

}  // namespace orvex
