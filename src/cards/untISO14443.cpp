// SPDX-License-Identifier: MIT
// ISO 14443-A and MIFARE Classic commands. Each function is one command
// exchange; the reader does the radio work. Block numbers, key indices,
// cascade levels and modes go on the wire as their low byte; purse amounts go
// least significant byte first.
#include "cards/untISO14443.h"

#include <cstring>

#include "link/untFunction.h"

namespace orvex {

// A command with nothing to copy out: 1 carried out, -3 refused, -1 link
// failure (NoAnswer when nothing came back).
static int Command(unsigned char cmd, int ReaderID, const Field& f, int delay, int NoAnswer = -1) {
  Answer a;
  return Transact(cmd, ReaderID, f, delay, a, 20, NoAnswer);
}

// A command whose whole answer is a serial number: its length and its bytes.
static int SerialNumber(unsigned char cmd, int ReaderID, const Field& f, unsigned char* LenSNO,
                        unsigned char* SNO) {
  Answer a;
  int rt = Transact(cmd, ReaderID, f, 1, a);
  if (rt != 1) return rt;
  *LenSNO = static_cast<unsigned char>(a.len);
  a.CopyTo(SNO, 0, a.len);
  return 1;
}

// A command whose whole answer goes to the caller with its length.
static int WholeAnswer(unsigned char cmd, int ReaderID, const Field& f, int delay, int* rtLen,
                       unsigned char* pData) {
  Answer a;
  int rt = Transact(cmd, ReaderID, f, delay, a);
  if (rt != 1) return rt;
  *rtLen = a.len;
  a.CopyTo(pData, 0, a.len);
  return 1;
}

int RequestCard_(int ReaderID, unsigned char CardMode, unsigned short* CardType) {
  Answer a;
  int rt = Transact(0x22, ReaderID, Field().u8(CardMode), 1, a);
  if (rt != 1) return rt;
  *CardType = static_cast<unsigned short>(a.u16be(0));  // first answer byte high
  return 1;
}

int AntiCollide_(int ReaderID, unsigned char* LenSNO, unsigned char* SNO) {
  return SerialNumber(0x23, ReaderID, Field(), LenSNO, SNO);
}

// The longest serial number a card has (a triple-size UID).
static constexpr int kMaxUidLength = 10;
static_assert(kMaxUidLength == 10, "orvex.h sizes the serial number outputs at 10 bytes");

int AntiCollideAndSelect(int ReaderID, unsigned char ReturnMode, unsigned char* CardMem,
                         unsigned char* SNLen, unsigned char* SN) {
  Answer a;
  int rt = Transact(0x24, ReaderID, Field().u8(ReturnMode), 1, a);
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
  return Command(0x25, ReaderID, Field().bytes(SNO, LenSNO), 1);
}

int CardHalt_(int ReaderID) { return Command(0x26, ReaderID, Field(), 1); }

// The three key commands tell "no answer" (-2) apart from other failures.
int KeyDown_Authorization_(int ReaderID, unsigned char KeyMode, int BlockAddr, unsigned char KeyIndex) {
  return Command(0x27, ReaderID, Field().u8(KeyMode).u8(BlockAddr).u8(KeyIndex), 5, -2);
}

int KeyAuthorization_(int ReaderID, unsigned char KeyMode, int BlockAddr, unsigned char* Key) {
  return Command(0x28, ReaderID, Field().u8(KeyMode).u8(BlockAddr).bytes(Key, 6), 5, -2);
}

int DownLoadKey_(int ReaderID, int KeyIndex, unsigned char* Key) {
  return Command(0x37, ReaderID, Field().u8(KeyIndex).bytes(Key, 6), 1, -2);
}

int ReadaBlock_(int ReaderID, int BlockAddr, int LenData, unsigned char* pData) {
  Answer a;
  int rt = Transact(0x29, ReaderID, Field().u8(BlockAddr), 10, a);
  if (rt != 1) return rt;
  // Exactly LenData bytes, whatever the answer length: a short answer leaves
  // zeros behind its data.
  a.CopyTo(pData, 0, LenData);
  return 1;
}

static int WriteBlock(unsigned char cmd, int ReaderID, int BlockAddr, int LenData, unsigned char* pData) {
  return Command(cmd, ReaderID, Field().u8(BlockAddr).bytes(pData, LenData), 1);
}

int WriteaBlock_(int ReaderID, int BlockAddr, int LenData, unsigned char* pData) {
  return WriteBlock(0x2A, ReaderID, BlockAddr, LenData, pData);
}

// The same write under the reader's block-0 command.
int WriteaBlock0_(int ReaderID, int BlockAddr, int LenData, unsigned char* pData) {
  return WriteBlock(0x3F, ReaderID, BlockAddr, LenData, pData);
}

// A value-block command carrying an amount (two's complement, LSB first).
static int PurseAmount(unsigned char cmd, int ReaderID, int BlockAddr, int Amount) {
  return Command(cmd, ReaderID, Field().u8(BlockAddr).u32le(static_cast<uint32_t>(Amount)), 1);
}

int Purse_Initial_(int ReaderID, int BlockAddr, int IniMoney) {
  return PurseAmount(0x2B, ReaderID, BlockAddr, IniMoney);
}

int Purse_Read_(int ReaderID, int BlockAddr, int* Money) {
  Answer a;
  int rt = Transact(0x2C, ReaderID, Field().u8(BlockAddr), 1, a);
  if (rt != 1) return rt;
  uint32_t v = static_cast<uint32_t>(a.u16le(0)) | static_cast<uint32_t>(a.u16le(2)) << 16;
  *Money = static_cast<int>(v);
  return 1;
}

int Purse_Decrease_(int ReaderID, int BlockAddr, int Decrement) {
  return PurseAmount(0x2D, ReaderID, BlockAddr, Decrement);
}

int Purse_Charge_(int ReaderID, int BlockAddr, int Charge) {
  return PurseAmount(0x2E, ReaderID, BlockAddr, Charge);
}

int Restore_(int ReaderID, int BlockAddr) { return Command(0x2F, ReaderID, Field().u8(BlockAddr), 1); }

int Transfer_(int ReaderID, int BlockAddr) { return Command(0x30, ReaderID, Field().u8(BlockAddr), 1); }

int TypeACPU_Reset(int ReaderID, unsigned char Mode, unsigned char MultiMode, int* rtLen,
                   unsigned char* pData) {
  return WholeAnswer(0x31, ReaderID, Field().u8(Mode).u8(MultiMode), 4, rtLen, pData);
}

int TypeACPU_COS(int ReaderID, int LenCOS, unsigned char* Com_COS, int* rtLen, unsigned char* pData) {
  // SW1 SW2 come back as the answer's last two bytes and are not judged here.
  return WholeAnswer(0x32, ReaderID, Field().bytes(Com_COS, LenCOS), 4, rtLen, pData);
}

// Four pages from BlockID on, read as one 16-byte block.
int UltraLightRead(int ReaderID, int BlockID, unsigned char* pData) {
  return ReadaBlock_(ReaderID, BlockID, 16, pData);
}

int UltraLightWrite(int ReaderID, int BlockID, unsigned char* pData) {
  return Command(0x34, ReaderID, Field().u8(BlockID).bytes(pData, 4), 1);
}

// The multi-block commands take BlockNums x 100 ms to answer and report the
// reader's first answer byte as their result.
int ReadM1MultiBlock_(int ReaderID, int StartBlock, int BlockNums, int* LenData, unsigned char* pData) {
  Answer a;
  int rt = Transact(0x35, ReaderID, Field().u8(StartBlock).u8(BlockNums), BlockNums, a);
  if (rt != 1) return rt;
  // LenData counts the leading byte too, and as many bytes go out from the
  // answer's second byte on: the last is the zero behind the answer data.
  // The result is the leading byte, so an answer without one is malformed.
  if (a.len < 1) return -1;
  const int copied = a.CopyTo(pData, 1, a.len);
  // The zero past the data of a whole answer buffer lies outside it.
  if (copied < a.len) std::memset(pData + copied, 0, static_cast<size_t>(a.len - copied));
  *LenData = a.len;
  return a.at(0);
}

int WriteM1MultiBlock_(int ReaderID, int StartBlock, int BlockNums, int LenData, unsigned char* pData) {
  Answer a;
  Field f;
  f.u8(StartBlock).u8(BlockNums).bytes(pData, LenData);
  int rt = Transact(0x36, ReaderID, f, BlockNums, a);
  if (rt != 1) return rt;
  return a.at(0);
}

int RequestAntiandSelect_(int ReaderID, int SearchMode, int ReturnMode, unsigned short* ATQA,
                          unsigned char* SAK, unsigned char* LenSNO, unsigned char* SNO) {
  Answer a;
  int rt = Transact(0x38, ReaderID, Field().u8(SearchMode).u8(ReturnMode), 1, a);
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
  return SerialNumber(0x39, ReaderID, Field().u8(Leveln), LenSNO, SNO);
}

int SelectCard_Level_(int ReaderID, int Leveln, unsigned char* SAK) {
  Answer a;
  int rt = Transact(0x3A, ReaderID, Field().u8(Leveln), 1, a);
  if (rt != 1) return rt;
  *SAK = a.at(0);
  return 1;
}

}  // namespace orvex
