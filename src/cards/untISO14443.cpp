// SPDX-License-Identifier: MIT
// ISO 14443-A and MIFARE Classic commands. Each function is one command
// exchange; the reader does the radio work. Block numbers, key indices,
// cascade levels and modes go on the wire as their low byte; purse amounts go
// least significant byte first.
#include "cards/untISO14443.h"

#include "cards/untCardExchange.h"
#include "link/deadlines.h"

namespace orvex {

// Deadlines in 100 ms units.

int RequestCard_(int ReaderID, unsigned char CardMode, unsigned short* CardType) {
  Answer a;
  int rt = Transact(0x22, ReaderID, Field().u8(CardMode), deadline::kTypeA, a);
  if (rt != 1) return rt;
  *CardType = static_cast<unsigned short>(a.u16be(0));  // first answer byte high
  return 1;
}

int AntiCollide_(int ReaderID, unsigned char* LenSNO, unsigned char* SNO) {
  return ExecuteAll(0x23, ReaderID, Field(), deadline::kTypeA, LenSNO, SNO);
}

// The longest serial number a card has (a triple-size UID).
static constexpr int kMaxUidLength = 10;
static_assert(kMaxUidLength == 10, "orvex.h sizes the serial number outputs at 10 bytes");

int AntiCollideAndSelect(int ReaderID, unsigned char ReturnMode, unsigned char* CardMem,
                         unsigned char* SNLen, unsigned char* SN) {
  Answer a;
  int rt = Transact(0x24, ReaderID, Field().u8(ReturnMode), deadline::kTypeA, a);
  if (rt != 1) return rt;
  // The memory byte leads; the serial number follows. Success is its length,
  // so callers test for a positive result. An answer without the memory byte
  // or without a serial number, or with more serial number than any card
  // has, is malformed: nothing is written.
  if (a.len < 2 || a.len - 1 > kMaxUidLength) return -1;
  *CardMem = a.at(0);
  *SNLen = static_cast<unsigned char>(a.len - 1);
  a.CopyTo(SN, 1, a.len - 1);
  return a.len - 1;
}

int CardSelect_(int ReaderID, unsigned char LenSNO, unsigned char* SNO) {
  return Execute(0x25, ReaderID, Field().bytes(SNO, LenSNO), deadline::kTypeA);
}

int CardHalt_(int ReaderID) { return Execute(0x26, ReaderID, Field(), deadline::kTypeA); }

// The three key commands tell "no answer" (-2) apart from other failures.
int KeyDown_Authorization_(int ReaderID, unsigned char KeyMode, int BlockAddr, unsigned char KeyIndex) {
  return Execute(0x27, ReaderID, Field().u8(KeyMode).u8(BlockAddr).u8(KeyIndex), deadline::kMifareKey, -2);
}

int KeyAuthorization_(int ReaderID, unsigned char KeyMode, int BlockAddr, unsigned char* Key) {
  return Execute(0x28, ReaderID, Field().u8(KeyMode).u8(BlockAddr).bytes(Key, 6), deadline::kMifareKey, -2);
}

int DownLoadKey_(int ReaderID, int KeyIndex, unsigned char* Key) {
  return Execute(0x37, ReaderID, Field().u8(KeyIndex).bytes(Key, 6), deadline::kTypeA, -2);
}

int ReadaBlock_(int ReaderID, int BlockAddr, int LenData, unsigned char* pData) {
  Answer a;
  int rt = Transact(0x29, ReaderID, Field().u8(BlockAddr), deadline::kMifareBlock, a);
  if (rt != 1) return rt;
  // Exactly LenData bytes, whatever the answer length: a short answer leaves
  // zeros behind its data.
  a.CopyTo(pData, 0, LenData);
  return 1;
}

static int WriteBlock(unsigned char cmd, int ReaderID, int BlockAddr, int LenData, unsigned char* pData) {
  return Execute(cmd, ReaderID, Field().u8(BlockAddr).bytes(pData, LenData), deadline::kTypeA);
}

int WriteaBlock_(int ReaderID, int BlockAddr, int LenData, unsigned char* pData) {
  return WriteBlock(0x2A, ReaderID, BlockAddr, LenData, pData);
}

// The same write under the reader's block-0 command.
int WriteaBlock0_(int ReaderID, int BlockAddr, int LenData, unsigned char* pData) {
  return WriteBlock(0x3F, ReaderID, BlockAddr, LenData, pData);
}

int Purse_Initial_(int ReaderID, int BlockAddr, int IniMoney) {
  return PurseAmount(0x2B, ReaderID, BlockAddr, IniMoney);
}

int Purse_Read_(int ReaderID, int BlockAddr, int* Money) {
  return PurseValue(0x2C, ReaderID, BlockAddr, Money);
}

int Purse_Decrease_(int ReaderID, int BlockAddr, int Decrement) {
  return PurseAmount(0x2D, ReaderID, BlockAddr, Decrement);
}

int Purse_Charge_(int ReaderID, int BlockAddr, int Charge) {
  return PurseAmount(0x2E, ReaderID, BlockAddr, Charge);
}

int Restore_(int ReaderID, int BlockAddr) {
  return Execute(0x2F, ReaderID, Field().u8(BlockAddr), deadline::kTypeA);
}

int Transfer_(int ReaderID, int BlockAddr) {
  return Execute(0x30, ReaderID, Field().u8(BlockAddr), deadline::kTypeA);
}

int TypeACPU_Reset(int ReaderID, unsigned char Mode, unsigned char MultiMode, int* rtLen,
                   unsigned char* pData) {
  return ExecuteAll(0x31, ReaderID, Field().u8(Mode).u8(MultiMode), deadline::kCpuCard, rtLen, pData);
}

int TypeACPU_COS(int ReaderID, int LenCOS, unsigned char* Com_COS, int* rtLen, unsigned char* pData) {
  // SW1 SW2 come back as the answer's last two bytes and are not judged here.
  return ExecuteAll(0x32, ReaderID, Field().bytes(Com_COS, LenCOS), deadline::kCpuCard, rtLen, pData);
}

// Four pages from BlockID on, read as one 16-byte block.
int UltraLightRead(int ReaderID, int BlockID, unsigned char* pData) {
  return ReadaBlock_(ReaderID, BlockID, 16, pData);
}

int UltraLightWrite(int ReaderID, int BlockID, unsigned char* pData) {
  return Execute(0x34, ReaderID, Field().u8(BlockID).bytes(pData, 4), deadline::kTypeA);
}

// The multi-block commands take BlockNums x 100 ms to answer and report the
// reader's first answer byte as their result.
int ReadM1MultiBlock_(int ReaderID, int StartBlock, int BlockNums, int* LenData, unsigned char* pData) {
  // LenData counts the leading byte too (extra 0), and as many bytes go out
  // from the answer's second byte on: the last is the zero behind the data.
  return ReadRun(0x35, ReaderID, StartBlock, BlockNums, 0, LenData, pData);
}

int WriteM1MultiBlock_(int ReaderID, int StartBlock, int BlockNums, int LenData, unsigned char* pData) {
  return WriteRun(0x36, ReaderID, StartBlock, BlockNums, LenData, pData);
}

int RequestAntiandSelect_(int ReaderID, int SearchMode, int ReturnMode, unsigned short* ATQA,
                          unsigned char* SAK, unsigned char* LenSNO, unsigned char* SNO) {
  Answer a;
  int rt = Transact(0x38, ReaderID, Field().u8(SearchMode).u8(ReturnMode), deadline::kTypeA, a);
  if (rt != 1) return rt;
  // ATQA and SAK lead; an answer without them, or with more serial number
  // than any card has, is malformed: nothing is written.
  if (a.len < 3 || a.len - 3 > kMaxUidLength) return -1;
  *ATQA = static_cast<unsigned short>(a.u16le(0));  // first answer byte low
  *SAK = a.at(2);
  *LenSNO = static_cast<unsigned char>(a.len - 3);
  a.CopyTo(SNO, 3, a.len - 3);
  return 1;
}

int AntiCollide_Level_(int ReaderID, int Leveln, unsigned char* LenSNO, unsigned char* SNO) {
  return ExecuteAll(0x39, ReaderID, Field().u8(Leveln), deadline::kTypeA, LenSNO, SNO);
}

int SelectCard_Level_(int ReaderID, int Leveln, unsigned char* SAK) {
  Answer a;
  int rt = Transact(0x3A, ReaderID, Field().u8(Leveln), deadline::kTypeA, a);
  if (rt != 1) return rt;
  *SAK = a.at(0);
  return 1;
}

}  // namespace orvex
