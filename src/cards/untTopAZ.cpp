// SPDX-License-Identifier: MIT
// Topaz commands. The carrier puts sub-function 0x00, a time-out byte for
// the tag and the Topaz command code under reader command 0xC0; the reader
// echoes the sub-function before the tag's response. The members lay out the
// Topaz request (address byte, data, the 4 UID bytes) and check the address
// the tag echoes where the command calls for it.
#include "cards/untTopAZ.h"

#include "cards/untCardExchange.h"
#include "link/deadlines.h"

namespace orvex {

static constexpr unsigned char kCarrier = 0xC0;
static constexpr unsigned char kSubFunction = 0x00;
static constexpr unsigned char kTagTimeOut = 5;
static constexpr int kUIDLen = 4;
static constexpr int kBlockLen = 8;

// Topaz command codes.
static constexpr unsigned char kRID = 0x78;
static constexpr unsigned char kRALL = 0x00;
static constexpr unsigned char kREAD = 0x01;
static constexpr unsigned char kWRITE_E = 0x53;
static constexpr unsigned char kWRITE_NE = 0x1A;
static constexpr unsigned char kRSEG = 0x10;
static constexpr unsigned char kREAD8 = 0x02;
static constexpr unsigned char kWRITE_E8 = 0x54;
static constexpr unsigned char kWRITE_NE8 = 0x1B;

int TOPAZ_Common_(int ReaderID, unsigned char FC2, unsigned char TimeOut, int DataLen, unsigned char* pData,
                  int* DataLenRet, unsigned char* pDataRet, int DelayTime) {
  Field f;
  f.u8(kSubFunction).u8(TimeOut).u8(FC2).bytes(pData, DataLen);
  Answer a;
  int rt = Carry(kCarrier, ReaderID, f, kSubFunction, DelayTime, DataLenRet, pDataRet, a);
  return rt == 0 ? -3 : rt;
}

static int Send(unsigned char FC2, int ReaderID, Field& request, Response& r) {
  return TOPAZ_Common_(ReaderID, FC2, kTagTimeOut, request.size(), request.data(), &r.len, r.data,
                       deadline::kTopaz);
}

// The tail of a response from byte `from` on, to the caller: 1. A response
// shorter than `from` bytes lacks bytes the command always returns, so it is
// malformed: -1, nothing written.
static int HandOver(const Response& r, int from, int* DataLenRet, unsigned char* pDataRet) {
  if (r.len < from) return -1;
  *DataLenRet = r.len - from;
  r.CopyTo(pDataRet, from, r.From(from));
  return 1;
}

int TOPAZ_ReadUID(int ReaderID, unsigned char* HR0, unsigned char* HR1, int* DataLenRet, unsigned char* pDataRet) {
  Field f;
  f.fill(0x00, 6);
  Response r;
  int rt = Send(kRID, ReaderID, f, r);
  if (rt != 1) return rt;
  if (r.len < 2) return -1;  // without its two header ROM bytes
  *HR0 = r.data[0];
  *HR1 = r.data[1];
  return HandOver(r, 2, DataLenRet, pDataRet);
}

int TOPAZ_ReadAll(int ReaderID, unsigned char* UID, int* DataLenRet, unsigned char* pDataRet) {
  Field f;
  f.u8(0x00).u8(0x00).bytes(UID, kUIDLen);
  Response r;
  int rt = Send(kRALL, ReaderID, f, r);
  if (rt != 1) return rt;
  return HandOver(r, 2, DataLenRet, pDataRet);  // memory, after the two header-ROM bytes
}

// READ and the two byte writes: ADD = block x 8 + byte (the block shifted
// without masking, the byte's low three bits). The tag answers ADD and the
// byte; only a response of exactly 2 bytes is looked at.
static int ByteCommand(unsigned char FC2, int ReaderID, unsigned char* UID, unsigned char BlockID,
                       unsigned char ByteAddr, unsigned char DataByte, unsigned char* pDataRet) {
  const unsigned char add = static_cast<unsigned char>(BlockID * 8 + (ByteAddr & 7));
  Field f;
  f.u8(add).u8(DataByte).bytes(UID, kUIDLen);
  Response r;
  int rt = Send(FC2, ReaderID, f, r);
  if (rt != 1 || r.len != 2) return rt;
  if (r.data[0] != add) return -2;
  pDataRet[0] = r.data[1];
  return 1;
}

int TOPAZ_ReadByte(int ReaderID, unsigned char* UID, unsigned char BlockID, unsigned char ByteAddr,
                   unsigned char* pDataRet) {
  return ByteCommand(kREAD, ReaderID, UID, BlockID, ByteAddr, 0x00, pDataRet);
}

int TOPAZ_WriteByteAfterErase(int ReaderID, unsigned char* UID, unsigned char BlockID, unsigned char ByteAddr,
                              unsigned char DataWrite, unsigned char* pDataRet) {
  return ByteCommand(kWRITE_E, ReaderID, UID, BlockID, ByteAddr, DataWrite, pDataRet);
}

int TOPAZ_WriteByteWithoutErase(int ReaderID, unsigned char* UID, unsigned char BlockID, unsigned char ByteAddr,
                                unsigned char DataWrite, unsigned char* pDataRet) {
  return ByteCommand(kWRITE_NE, ReaderID, UID, BlockID, ByteAddr, DataWrite, pDataRet);
}

int TOPAZ_ReadSegment(int ReaderID, unsigned char* UID, unsigned char Segment, int* DataLenRet,
                      unsigned char* pDataRet) {
  // Segments 0 to 3: two bits of Segment, in bits 4 and 5.
  const unsigned char adds = static_cast<unsigned char>((Segment * 16) & 0x30);
  Field f;
  f.u8(adds).fill(0x00, kBlockLen).bytes(UID, kUIDLen);
  Response r;
  int rt = Send(kRSEG, ReaderID, f, r);
  if (rt != 1) return rt;
  if (r.len < 1) return -1;  // without the segment address
  if (r.data[0] != adds) return -2;
  return HandOver(r, 1, DataLenRet, pDataRet);
}

// READ8 and the two block writes: the tag answers the block number and the
// 8 bytes of the block. The echo is always tested, the length never; 8
// bytes go to the caller.
static int BlockCommand(unsigned char FC2, int ReaderID, unsigned char* UID, unsigned char BlockID,
                        const unsigned char* DataWrite, unsigned char* pDataRet) {
  Field f;
  f.u8(BlockID);
  if (DataWrite)
    f.bytes(DataWrite, kBlockLen);
  else
    f.fill(0x00, kBlockLen);
  f.bytes(UID, kUIDLen);
  Response r;
  int rt = Send(FC2, ReaderID, f, r);
  if (rt != 1) return rt;
  if (r.data[0] != BlockID) return -2;
  r.CopyTo(pDataRet, 1, kBlockLen);
  return 1;
}

int TOPAZ_ReadBlock(int ReaderID, unsigned char* UID, unsigned char BlockID, unsigned char* pDataRet) {
  return BlockCommand(kREAD8, ReaderID, UID, BlockID, nullptr, pDataRet);
}

int TOPAZ_WriteBlockAfterErase(int ReaderID, unsigned char* UID, unsigned char BlockID, unsigned char* DataWrite,
                               unsigned char* pDataRet) {
  return BlockCommand(kWRITE_E8, ReaderID, UID, BlockID, DataWrite, pDataRet);
}

int TOPAZ_WriteBlockWithoutErase(int ReaderID, unsigned char* UID, unsigned char BlockID,
                                 unsigned char* DataWrite, unsigned char* pDataRet) {
  return BlockCommand(kWRITE_NE8, ReaderID, UID, BlockID, DataWrite, pDataRet);
}

}  // namespace orvex
