// SPDX-License-Identifier: MIT
// Reading the number of a second-generation resident identity card: type B
// search mode, the type B request with the card's ATTRIB parameters, then
// the reader's card-number sub-function.
#include "cards/untChinaIDV2.h"

#include "cards/untCardExchange.h"
#include "cards/untISO14443B.h"
#include "link/deadlines.h"
#include "orvex.h"

namespace orvex {

static constexpr unsigned char kCardNumber = 0xC2;
static constexpr unsigned char kReadNumber = 0x00;  // sub-function: read the card number
static constexpr int kCardNoLen = 8;
static constexpr int kTypeBSearch = 0x42;

int ChinaIDV2_COS(int ReaderID, unsigned char FC2, unsigned char* LengthOfCardNo, unsigned char* CardNo) {
  Answer a;
  int len = 0;
  unsigned char response[kMaxAnswerData];
  int rt = Carry(kCardNumber, ReaderID, Field().u8(FC2), FC2, deadline::kIdCard, &len, response, a);
  if (rt < 0) return -1;
  if (rt == 0) return a.status;  // a refusal's status byte; 0 for a wrong echo
  // Answer bytes: the echo, the 8-byte number, the card's status word 90 00.
  if (a.len <= 9 || a.at(9) != 0x90 || a.at(10) != 0x00) return -1;
  *LengthOfCardNo = kCardNoLen;
  a.CopyTo(CardNo, 1, kCardNoLen);
  return 1;
}

int ChinaIDV2_RequestCardNo(int ReaderID, unsigned char* LengthOfCardNo, unsigned char* CardNo) {
  if (::SearchCardMode_(ReaderID, kTypeBSearch) < 0) return -5;
  // The card's ATTRIB parameters; its answer to the request is not needed.
  unsigned char attrib[4] = {0x00, 0x08, 0x01, 0x08};
  int rtLen = 0;
  unsigned char rtData[kMaxAnswerData];
  if (TypeB_Request(ReaderID, 1, attrib, &rtLen, rtData) < 0) return -4;
  return ChinaIDV2_COS(ReaderID, kReadNumber, LengthOfCardNo, CardNo);
}

}  // namespace orvex
