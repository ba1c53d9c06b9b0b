// SPDX-License-Identifier: MIT
// The reader's contact slots for secure access modules (SAMs): reset, line
// speed and APDUs. The slot is chosen by the command code, not by a data byte.
#pragma once

namespace orvex {

// The command code of an operation for a slot: slot 1 uses the base code,
// slot 2 base + 4, slot 3 base + 8; any other slot number uses the base code.
unsigned char SAM_SlotCommand(unsigned char base, int SamIndex);

int SAM_Bound(int ReaderID, int SamIndex, int BoundIndex);
int SAM_PPSBound(int ReaderID, int SamIndex, int BoundIndex);
int SAM_PPSBaud2(int ReaderID, int SamIndex, int BaudIndex, int Protocol);
int SAM_Reset(int ReaderID, int SamIndex, int* rtLen, unsigned char* pData);
int SAM_Reset2(int ReaderID, int SamIndex, unsigned char SAMVoltage, int* rtLen,
               unsigned char* pData);
// The APDU request buffer: a longer (or negative-length) APDU is refused
// with -1 before anything is sent.
constexpr int kSamMaxApdu = 100;
int SAM_COS(int ReaderID, int SamIndex, int LenCOS, unsigned char* Com_COS, int* rtLen,
            unsigned char* pData);

}  // namespace orvex
