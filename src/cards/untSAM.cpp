// SPDX-License-Identifier: MIT
// SAM slots. Each function is one command exchange; the slot number picks
// the command code.
#include "cards/untSAM.h"

#include "cards/untCardExchange.h"
#include "link/deadlines.h"

namespace orvex {

// Base codes (slot 1) of the four operations.
static constexpr unsigned char kSetSpeed = 0x10;
static constexpr unsigned char kReset = 0x11;
static constexpr unsigned char kApdu = 0x12;
static constexpr unsigned char kPps = 0x13;

// Deadlines in 100 ms units: a SAM takes longer than a contactless card.

unsigned char SAM_SlotCommand(unsigned char base, int SamIndex) {
  if (SamIndex == 2) return static_cast<unsigned char>(base + 4);
  if (SamIndex == 3) return static_cast<unsigned char>(base + 8);
  return base;
}

int SAM_Bound(int ReaderID, int SamIndex, int BoundIndex) {
  return Execute(SAM_SlotCommand(kSetSpeed, SamIndex), ReaderID, Field().u8(BoundIndex), deadline::kSamSpeed);
}

int SAM_PPSBound(int ReaderID, int SamIndex, int BoundIndex) {
  return Execute(SAM_SlotCommand(kPps, SamIndex), ReaderID, Field().u8(BoundIndex), deadline::kSamSpeed);
}

int SAM_PPSBaud2(int ReaderID, int SamIndex, int BaudIndex, int Protocol) {
  return Execute(SAM_SlotCommand(kPps, SamIndex), ReaderID, Field().u8(BaudIndex).u8(Protocol),
                 deadline::kSamSpeed);
}

// The answer to reset and the response APDU go to the caller whole, with
// their length, when the reader carried the command out.
int SAM_Reset(int ReaderID, int SamIndex, int* rtLen, unsigned char* pData) {
  return ExecuteAll(SAM_SlotCommand(kReset, SamIndex), ReaderID, Field(), deadline::kSamReset, rtLen, pData);
}

int SAM_Reset2(int ReaderID, int SamIndex, unsigned char SAMVoltage, int* rtLen,
               unsigned char* pData) {
  return ExecuteAll(SAM_SlotCommand(kReset, SamIndex), ReaderID, Field().u8(SAMVoltage), deadline::kSamReset,
                    rtLen, pData);
}

int SAM_COS(int ReaderID, int SamIndex, int LenCOS, unsigned char* Com_COS, int* rtLen,
            unsigned char* pData) {
  // The APDU travels in a request buffer of kSamMaxApdu bytes.
  if (LenCOS < 0 || LenCOS > kSamMaxApdu) return -1;
  return ExecuteAll(SAM_SlotCommand(kApdu, SamIndex), ReaderID, Field().bytes(Com_COS, LenCOS),
                    deadline::kSamApdu, rtLen, pData);
}

}  // namespace orvex
