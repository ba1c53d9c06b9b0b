// SPDX-License-Identifier: MIT
// FeliCa commands. The carrier puts sub-function 0x00, the card's time-out
// (two bytes, low first) and the FeliCa command code under reader command
// 0xC1; the reader answers 00 and then the card's response: its length byte,
// the response code (the command code + 1), the IDm and the command's fields.
// The members lay out the FeliCa parameters and pick their fields out of the
// response.
#include "cards/untFelica.h"

#include <algorithm>

#include "cards/untCardExchange.h"
#include "link/deadlines.h"

namespace orvex {

static constexpr unsigned char kCarrier = 0xC1;
static constexpr unsigned char kSubFunction = 0x00;
static constexpr unsigned short kTimeOut = 0x0200;
static constexpr int kIDmLen = 8;
static constexpr int kPMmLen = 8;
static constexpr int kBlockLen = 16;

// FeliCa command codes.
static constexpr unsigned char kPolling = 0x00;
static constexpr unsigned char kRequestService = 0x02;
static constexpr unsigned char kRequestResponse = 0x04;
static constexpr unsigned char kReadWithoutEncryption = 0x06;
static constexpr unsigned char kWriteWithoutEncryption = 0x08;

int Felica_Common_(int ReaderID, unsigned char FC2, unsigned short TimeOut, int DataLen, unsigned char* pData,
                   int* DataLenRet, unsigned char* pDataRet, int DelayTime) {
  Field f;
  f.u8(kSubFunction).u16le(TimeOut).u8(FC2).bytes(pData, DataLen);
  Answer a;
  int rt = Carry(kCarrier, ReaderID, f, kSubFunction, DelayTime, DataLenRet, pDataRet, a);
  // A refusal is passed up as the status byte itself, a missing 00 as 0.
  return rt == 0 ? a.status : rt;
}

// Sends a member's request through the carrier; the carrier's result.
static int Send(unsigned char FC2, unsigned short TimeOut, int ReaderID, Field& request, Response& r) {
  if (request.overflowed()) return -1;  // more than one data field can carry
  return Felica_Common_(ReaderID, FC2, TimeOut, request.size(), request.data(), &r.len, r.data,
                        deadline::kFelica);
}

// The response code is looked at only after a carrier result > 0; a refusal
// (any non-zero status, 1 included) leaves it 0, which no response has.
static bool Answered(int rt, const Response& r, unsigned char FC2) {
  return rt > 0 && r.data[1] == FC2 + 1;  // byte 1: the response code
}

// Polling, request service and request response: the carrier's result when
// it is not above 0, -2 when the response code is not the expected one.
static int Query(unsigned char FC2, int ReaderID, Field& request, Response& r) {
  int rt = Send(FC2, kTimeOut, ReaderID, request, r);
  if (rt <= 0) return rt;
  return Answered(rt, r, FC2) ? rt : -2;
}

int Felica_Polling(int ReaderID, unsigned short SystemCode, unsigned char RequestCode, unsigned char Slot,
                   unsigned char* IDM, unsigned char* PMm, unsigned char* RequestData) {
  // The system code goes out low byte first: the caller passes it with its
  // bytes in the order the card expects them on the air.
  Field f;
  f.u16le(SystemCode).u8(RequestCode).u8(Slot);
  Response r;
  int rt = Query(kPolling, ReaderID, f, r);
  if (rt != 1) return rt;
  r.CopyTo(IDM, 2, kIDmLen);
  r.CopyTo(PMm, 10, kPMmLen);
  // Written whether or not the card sent request data (zeros then).
  r.CopyTo(RequestData, 18, 2);
  return 1;
}

int Felica_RequestService(int ReaderID, unsigned char* IDM, unsigned char NumbersOfCode, unsigned char* NodeList,
                          unsigned char* NodeKeyList) {
  Field f;
  f.bytes(IDM, kIDmLen).u8(NumbersOfCode).bytes(NodeList, 2 * NumbersOfCode);
  Response r;
  int rt = Query(kRequestService, ReaderID, f, r);
  if (rt != 1) return rt;
  // The node count is read from byte 9 and the key versions from byte 10
  // on, one byte earlier than the response lays them out. A response to
  // NumbersOfCode nodes carries 2 x NumbersOfCode + 1 bytes from byte 10 on:
  // the caller's buffer holds that much, and no odd count writes more.
  r.CopyTo(NodeKeyList, 10, std::min(2 * r.data[9], r.From(10)), 2 * NumbersOfCode + 1);
  return 1;
}

int Felica_RequestResponse(int ReaderID, unsigned char* IDM, unsigned char* Mode) {
  Field f;
  f.bytes(IDM, kIDmLen);
  Response r;
  int rt = Query(kRequestResponse, ReaderID, f, r);
  if (rt != 1) return rt;
  *Mode = r.data[9];  // one byte earlier than the response lays it out
  return 1;
}

// The read and write requests: the IDm, the services, the blocks. The card
// gets 512 time-out units per block (16 bits).
static Field BlockRequest(unsigned char* IDM, unsigned char NumberofService, unsigned char* ServiceCodeList,
                          unsigned char NumberofBlock, unsigned char LengthofBlockList, unsigned char* BlockList) {
  Field f;
  f.bytes(IDM, kIDmLen).u8(NumberofService).bytes(ServiceCodeList, 2 * NumberofService);
  f.u8(NumberofBlock).bytes(BlockList, LengthofBlockList);
  return f;
}

static unsigned short BlockTimeOut(unsigned char NumberofBlock) {
  return static_cast<unsigned short>(NumberofBlock * 512);
}

// The two status flags, at bytes 10 and 11, whenever the response code is
// right; true when both are 0.
static bool Flags(const Response& r, unsigned char* Status1, unsigned char* Status2) {
  *Status1 = r.data[10];
  *Status2 = r.data[11];
  return *Status1 == 0 && *Status2 == 0;
}

int Felica_ReadWithoutEncryption(int ReaderID, unsigned char* IDM, unsigned char NumberofService,
                                 unsigned char* ServiceCodeList, unsigned char NumberofBlock,
                                 unsigned char LengthofBlockList, unsigned char* BlockList, unsigned char* Status1,
                                 unsigned char* Status2, unsigned char* pBlockData) {
  Field f = BlockRequest(IDM, NumberofService, ServiceCodeList, NumberofBlock, LengthofBlockList, BlockList);
  Response r;
  int rt = Send(kReadWithoutEncryption, BlockTimeOut(NumberofBlock), ReaderID, f, r);
  if (!Answered(rt, r, kReadWithoutEncryption)) return rt;
  // The block count at byte 12, the blocks from byte 13 on; no more blocks
  // than were asked for, which is what the caller's buffer holds.
  if (Flags(r, Status1, Status2))
    r.CopyTo(pBlockData, 13, std::min(kBlockLen * r.data[12], r.From(13)), kBlockLen * NumberofBlock);
  return rt;
}

int Felica_WriteWithoutEncryption(int ReaderID, unsigned char* IDM, unsigned char NumberofService,
                                  unsigned char* ServiceCodeList, unsigned char NumberofBlock,
                                  unsigned char LengthofBlockList, unsigned char* BlockList,
                                  unsigned char* pBlockData, unsigned char* Status1, unsigned char* Status2) {
  Field f = BlockRequest(IDM, NumberofService, ServiceCodeList, NumberofBlock, LengthofBlockList, BlockList);
  f.bytes(pBlockData, kBlockLen * NumberofBlock);
  Response r;
  int rt = Send(kWriteWithoutEncryption, BlockTimeOut(NumberofBlock), ReaderID, f, r);
  if (Answered(rt, r, kWriteWithoutEncryption)) Flags(r, Status1, Status2);  // the caller's to test
  return rt;
}

}  // namespace orvex
