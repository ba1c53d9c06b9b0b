// SPDX-License-Identifier: MIT
// ISO 14443-B and memory-tag commands. Each is one command exchange, except
// the SR176 identifier and the SR512 lock status, which are built from block
// reads. Block numbers and counts go out as their low byte.
#include "cards/untISO14443B.h"

#include <cstring>

#include "cards/untCardExchange.h"
#include "link/deadlines.h"

namespace orvex {


// ---- Shared by the three tag families -------------------------------------------

// The multi-block commands are WriteRun and ReadRun: the SR tags read with
// extra -1, the data behind the leading byte; the AT88RF020 reads with 0 and
// so hands over one byte past the answer's data (a zero).

// A single block read handing over the whole answer, into room bytes.
static int ReadBlock(unsigned char cmd, int ReaderID, int BlockID, unsigned char* pData,
                     int room = kMaxAnswerData) {
  return ExecuteAll<int>(cmd, ReaderID, Field().u8(BlockID), deadline::kTypeB, nullptr, pData, room);
}

// ---- ISO 14443-B cards -----------------------------------------------------------

int TypeB_Request(int ReaderID, unsigned char Mode, unsigned char* Attrib, int* rtLen, unsigned char* pData) {
  return ExecuteAll(0x5F, ReaderID, Field().u8(Mode).bytes(Attrib, 4),
                    deadline::kTypeBActivate, rtLen, pData);
}

int TypeB_Reset_(int ReaderID, unsigned char Mode, int* rtLen, unsigned char* pData) {
  // Only 'S' (0x53) asks for 1; every other mode is sent as 0.
  return ExecuteAll(0x40, ReaderID, Field().u8(Mode == 0x53 ? 1 : 0), deadline::kTypeBActivate, rtLen, pData);
}

int TypeB_Sleep_(int ReaderID, unsigned char* PUPI) {
  return Execute(0x41, ReaderID, Field().bytes(PUPI, 4), deadline::kTypeB);
}

// ---- AT88RF020 ---------------------------------------------------------------------

int AT88RF020_Check_(int ReaderID, unsigned char* Key) {
  return Execute(0x42, ReaderID, Field().bytes(Key, 8), deadline::kAt88Check);
}

int AT88RF020_Read_(int ReaderID, int BlockID, unsigned char* pData) {
  return ReadBlock(0x43, ReaderID, BlockID, pData);
}

int AT88RF020_Write_(int ReaderID, int BlockID, unsigned char* pData) {
  return Execute(0x44, ReaderID, Field().u8(BlockID).bytes(pData, 8), deadline::kTypeB);
}

int AT88RF020_Lock_(int ReaderID, unsigned char* LockByte) {
  return Execute(0x45, ReaderID, Field().bytes(LockByte, 4), deadline::kTypeB);
}

int AT88RF020_Count_(int ReaderID, unsigned char* Signature) {
  return Execute(0x46, ReaderID, Field().bytes(Signature, 6), deadline::kTypeB);
}

int AT88RF020_DeSel_(int ReaderID) { return Execute(0x47, ReaderID, Field(), deadline::kTypeB); }

int AT88RF020_ReadMulti_(int ReaderID, int BlockID, int BlockNums, int* LenData, unsigned char* pData) {
  return ReadRun(0x48, ReaderID, BlockID, BlockNums, 0, LenData, pData);
}

int AT88RF020_WriteMulti_(int ReaderID, int BlockID, int BlockNums, int LenData, unsigned char* pData) {
  return WriteRun(0x49, ReaderID, BlockID, BlockNums, LenData, pData);
}

// ---- ST tags -----------------------------------------------------------------------

int ST_Active_(int ReaderID, unsigned char* ChipID) {
  Answer a;
  int rt = Transact(0x4B, ReaderID, Field(), deadline::kTypeB, a);
  if (rt == 1) *ChipID = a.at(0);
  return rt;
}

int ST_DeActive_(int ReaderID) { return Execute(0x4C, ReaderID, Field(), deadline::kTypeB); }

// ---- SR176 -------------------------------------------------------------------------

static constexpr int kSR176UIDLen = 8;
static constexpr int kSR176BlockLen = 2;

int SR176_GetUID_(int ReaderID, unsigned char* UID) {
  // Blocks 3, 2, 1, 0 in that order, each answer written at 0, 2, 4, 6: the
  // identifier is assembled highest block first. An answer that would run
  // past the 8 bytes of UID fails with -1; the blocks read before a failure
  // stay in UID.
  int rt = -1;
  for (int block = 3; block >= 0; --block) {
    int at = (3 - block) * kSR176BlockLen;
    rt = ReadBlock(0x4D, ReaderID, block, UID + at, kSR176UIDLen - at);
    if (rt < 0) return rt;
  }
  return rt;
}

int SR176_Read_(int ReaderID, int BlockID, unsigned char* pData) {
  return ReadBlock(0x4D, ReaderID, BlockID, pData);
}

int SR176_Write_(int ReaderID, int BlockID, unsigned char* pData) {
  return Execute(0x4E, ReaderID, Field().u8(BlockID).bytes(pData, kSR176BlockLen), deadline::kTypeB);
}

int SR176_Lock_(int ReaderID, unsigned char LockByte) {
  return Execute(0x4F, ReaderID, Field().u8(LockByte), deadline::kTypeB);
}

int SR176_LockStatus_(int ReaderID, unsigned char* LockByte) {
  Answer a;
  int rt = Transact(0x50, ReaderID, Field(), deadline::kTypeB, a);
  if (rt == 1) *LockByte = a.at(0);
  return rt;
}

int SR176_ReadMulti_(int ReaderID, int BlockID, int BlockNums, int* LenData, unsigned char* pData) {
  return ReadRun(0x51, ReaderID, BlockID, BlockNums, -1, LenData, pData);
}

int SR176_WriteMulti_(int ReaderID, int BlockID, int BlockNums, int LenData, unsigned char* pData) {
  return WriteRun(0x52, ReaderID, BlockID, BlockNums, LenData, pData);
}

// ---- SR512 / SRIX4K ------------------------------------------------------------------

static constexpr int kSR512BlockLen = 4;
static constexpr int kSR512LockBlock = 255;

int SR512_Read_(int ReaderID, int BlockID, unsigned char* pData) {
  return ReadBlock(0x53, ReaderID, BlockID, pData);
}

int SR512_Write_(int ReaderID, int BlockID, unsigned char* pData) {
  // Six bytes where the block needs five: the last carries nothing and is 0.
  return Execute(0x54, ReaderID, Field().u8(BlockID).bytes(pData, kSR512BlockLen).u8(0), deadline::kTypeB);
}

int SRIX4K_Check_(int ReaderID, unsigned char* Key, unsigned char* Signature) {
  return ExecuteAll<int>(0x55, ReaderID, Field().bytes(Key, 6), deadline::kTypeB, nullptr, Signature);
}

int SR512_GetUID_(int ReaderID, unsigned char* UID) {
  return ExecuteAll<int>(0x56, ReaderID, Field(), deadline::kTypeB, nullptr, UID);
}

int SR512_Lock_(int ReaderID, unsigned short Lock) {
  // Two flags, not the lock bits: is the high byte set, is anything set.
  return Execute(0x57, ReaderID, Field().u8((Lock >> 8) != 0 ? 1 : 0).u8(Lock != 0 ? 1 : 0),
                 deadline::kTypeB);
}

int SR512_LockStatus_(int ReaderID, unsigned short* Lock) {
  // The lock bits live in block 255, read into one block's worth of room.
  unsigned char block[kSR512BlockLen] = {};
  int rt = ReadBlock(0x53, ReaderID, kSR512LockBlock, block, kSR512BlockLen);
  if (rt >= 0) *Lock = static_cast<unsigned short>(block[0] + block[1] * 256);
  return rt;
}

int SR512_ReadMulti_(int ReaderID, int BlockID, int BlockNums, int* LenData, unsigned char* pData) {
  return ReadRun(0x58, ReaderID, BlockID, BlockNums, -1, LenData, pData);
}

int SR512_WriteMulti_(int ReaderID, int BlockID, int BlockNums, int LenData, unsigned char* pData) {
  return WriteRun(0x59, ReaderID, BlockID, BlockNums, LenData, pData);
}

}  // namespace orvex
