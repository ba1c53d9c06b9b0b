// SPDX-License-Identifier: MIT
// MIFARE Plus commands: personalisation at security level 0, the switch to a
// higher level, AES authentication and block access with 2-byte block
// addresses, and the L3 commands (authentication, blocks, value blocks) with
// a one-byte block number. Each is one command exchange on a card selected
// with the ISO 14443-A commands.
#include "cards/untMifarePlus.h"

#include "cards/untCardExchange.h"
#include "link/deadlines.h"

using namespace orvex;

namespace {

constexpr int kBlockLen = 16;
constexpr int kAESKeyLen = 16;

// MIFARE authentication codes as applications pass them; the reader wants
// 0 for key A and 1 for key B.
constexpr int kKeyB = 0x61;

// The AES authentications: 2-byte key address, high byte first, then the key.
Field KeyAddressed(int AESKeyAddr, const unsigned char* AESKey) {
  Field f;
  f.u16be(AESKeyAddr).bytes(AESKey, kAESKeyLen);
  return f;
}

}  // namespace

int MPlus_L0_Write_(int ReaderID, int BlockID, unsigned char* pData) {
  return Execute(0x90, ReaderID, Field().u16be(BlockID).bytes(pData, kBlockLen), deadline::kMifarePlus);
}

int MPlus_L0_To_L13_(int ReaderID) { return Execute(0x91, ReaderID, Field(), deadline::kMifarePlus); }

int MPlus_L0_To_L23_(int ReaderID, int DesLevel, unsigned char* SwitchKey) {
  return Execute(0x92, ReaderID, Field().u8(DesLevel).bytes(SwitchKey, kAESKeyLen), deadline::kMifarePlus);
}

int MPlus_L3_Authorization_(int ReaderID, int KeyMode, int BlockID, unsigned char* Key) {
  // The one key-mode translation of the card modules: 0x61 (key B) becomes
  // 1, anything else 0 (key A).
  Field f;
  f.u8(KeyMode == kKeyB ? 1 : 0).u8(BlockID).bytes(Key, kAESKeyLen);
  return Execute(0x93, ReaderID, f, deadline::kMifarePlusAuth);
}

int MPlus_L3_Read_(int ReaderID, int StartBlock, int BlockNums, int* DataLen, unsigned char* pData) {
  return ExecuteAll(0x94, ReaderID, Field().u8(StartBlock).u8(BlockNums),
                    deadline::kPerBlock * BlockNums, DataLen, pData);
}

int MPlus_L3_Write_(int ReaderID, int StartBlock, int BlockNums, unsigned char* pData) {
  return Execute(0x95, ReaderID, Field().u8(StartBlock).u8(BlockNums).bytes(pData, kBlockLen * BlockNums),
                 deadline::kPerBlock * BlockNums);
}

int MPlus_L3_Purse_Initial_(int ReaderID, int BlockID, int InitialValue) {
  return PurseAmount(0x96, ReaderID, BlockID, InitialValue);
}

int MPlus_L3_Purse_Read_(int ReaderID, int BlockID, int* Value) {
  return PurseValue(0x97, ReaderID, BlockID, Value);
}

int MPlus_L3_Purse_Charge_(int ReaderID, int BlockID, int Value) {
  return PurseAmount(0x98, ReaderID, BlockID, Value);
}

int MPlus_L3_Purse_Decrease_(int ReaderID, int BlockID, int Value) {
  return PurseAmount(0x99, ReaderID, BlockID, Value);
}

int MPlus_L3_Purse_Backup_(int ReaderID, int BlockID, int DesBlockID) {
  return Execute(0x9A, ReaderID, Field().u8(BlockID).u8(DesBlockID), deadline::kMifarePlus);
}

int MPlus_Authorization_First_(int ReaderID, int AESKeyAddr, unsigned char* AESKey) {
  return Execute(0x9B, ReaderID, KeyAddressed(AESKeyAddr, AESKey), deadline::kMifarePlusAuth);
}

int MPlus_Authorization_Follow_(int ReaderID, int AESKeyAddr, unsigned char* AESKey) {
  return Execute(0x9C, ReaderID, KeyAddressed(AESKeyAddr, AESKey), deadline::kMifarePlusAuth);
}

int MPlus_CommonRead_(int ReaderID, int BlockID, int BlockNums, int* DataLen, unsigned char* pData) {
  return ExecuteAll(0x9E, ReaderID, Field().u16be(BlockID).u8(BlockNums),
                    deadline::kPerBlock * BlockNums, DataLen, pData);
}

int MPlus_CommonWrite_(int ReaderID, int BlockID, int BlockNums, unsigned char* pData) {
  return Execute(0x9F, ReaderID, Field().u16be(BlockID).u8(BlockNums).bytes(pData, kBlockLen * BlockNums),
                 deadline::kPerBlock * BlockNums);
}
