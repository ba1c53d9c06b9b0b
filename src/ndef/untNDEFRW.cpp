// SPDX-License-Identifier: MIT
// NDEF messages on tags. On a MIFARE Classic 1K the message follows the NFC
// Forum mapping: the application directory in sector 0 marks sectors 1 to 15
// as NDEF, and the message TLV starts at byte 2 of block 4, behind two NULL
// TLVs. On an NTAG it starts at page 4.
#include "ndef/untNDEFRW.h"

#include <algorithm>
#include <cstring>

#include "cards/untISO14443.h"
#include "cards/untNTag.h"
#include "link/untFunction.h"
#include "ndef/untNDEF.h"

namespace orvex {

TLV* tlv = nullptr;

// Block images written to a MIFARE Classic 1K.
// Block 1, directory: CRC 0x14, info byte 0x01, sectors 1 to 7 carry the NDEF
// application identifier E1 03 (low byte first).
static const unsigned char kBlockData1[16] = {0x14, 0x01, 0x03, 0xE1, 0x03, 0xE1, 0x03, 0xE1,
                                              0x03, 0xE1, 0x03, 0xE1, 0x03, 0xE1, 0x03, 0xE1};
// Block 2, directory: sectors 8 to 15.
static const unsigned char kBlockData2[16] = {0x03, 0xE1, 0x03, 0xE1, 0x03, 0xE1, 0x03, 0xE1,
                                              0x03, 0xE1, 0x03, 0xE1, 0x03, 0xE1, 0x03, 0xE1};
// Sector 0 trailer: the directory key as key A, access bytes 78 77 88,
// general-purpose byte C1, key B FF x 6.
static const unsigned char kBlockKey1[16] = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0x78, 0x77,
                                             0x88, 0xC1, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
// NDEF sector trailer: the public NDEF key as key A, access bytes 7F 07 88,
// general-purpose byte 40, key B FF x 6.
static const unsigned char kBlockKey2[16] = {0xD3, 0xF7, 0xD3, 0xF7, 0xD3, 0xF7, 0x7F, 0x07,
                                             0x88, 0x40, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

// Card-type words of the request (first answer byte high).
static constexpr unsigned short kClassic1K = 0x0400;
static constexpr unsigned short kNTag = 0x4400;
static constexpr unsigned char kREQA = 0x26;
// Key type byte the message buffer's save and read authenticate with (key B).
static constexpr unsigned char kKeyB = 0x61;
// A READ of an NTAG answers with four pages.
static constexpr int kNTagReadBytes = 16;
// The message buffer's read image; NFC_Read places at most 272 bytes.
static constexpr int kReadImage = 1000;

static bool IsTrailer(int block) { return block % 4 == 3; }

// Request and select the card in the field; its card-type word tells the
// layout. 1, or the failure result of NFC_Write and NFC_Read.
static int FindCard(int ReaderID, unsigned char ReturnMode, unsigned short& cardType) {
  if (RequestCard_(ReaderID, kREQA, &cardType) < 0) return -1;
  unsigned char memory = 0, uidLen = 0;
  unsigned char uid[kMaxAnswerData];
  if (AntiCollideAndSelect(ReaderID, ReturnMode, &memory, &uidLen, uid) < 0) return -2;
  if (cardType != kClassic1K && cardType != kNTag) return -5;
  return 1;
}

static int WriteBlock(int ReaderID, int block, const unsigned char* image) {
  unsigned char copy[16];
  std::memcpy(copy, image, 16);
  return WriteaBlock_(ReaderID, block, 16, copy);
}

static int WriteClassic(int ReaderID, unsigned char KeyMode, unsigned char* Key, const unsigned char* Buffer,
                        int BufferLen) {
  int b = 1;
  int d = 0;
  bool authenticate = true;
  for (;;) {
    unsigned char image[16] = {};
    int count = 0;  // message bytes the block stands for
    if (b == 1) {
      std::memcpy(image, kBlockData1, 16);
    } else if (b == 2) {
      std::memcpy(image, kBlockData2, 16);
    } else if (b == 3) {
      std::memcpy(image, kBlockKey1, 16);
    } else if (IsTrailer(b)) {
      std::memcpy(image, kBlockKey2, 16);
    } else {
      const int offset = b == 4 ? 2 : 0;  // block 4 starts with two NULL TLVs
      count = 16 - offset;
      const int n = std::min(count, BufferLen - d);
      if (n > 0) std::memcpy(image + offset, Buffer + d, static_cast<size_t>(n));
    }
    if (authenticate) {
      if (KeyAuthorization_(ReaderID, KeyMode, b, Key) < 0) return -3;
      authenticate = false;
    }
    if (WriteBlock(ReaderID, b, image) < 0) return -4;
    d += count;
    ++b;
    if (b % 4 == 0) authenticate = true;  // a new sector begins
    if (d >= BufferLen) {
      // The sector just written still lacks its trailer unless it ended
      // with one; the same authentication covers it.
      const int r = b % 4;
      if (r > 0 && WriteBlock(ReaderID, b + 3 - r, kBlockKey2) < 0) return -4;
      return 1;
    }
  }
}

static int WriteNTag(int ReaderID, const unsigned char* Buffer, int BufferLen) {
  int p = 4;
  int d = 0;
  for (;;) {
    unsigned char page[4] = {};
    const int n = std::min(4, BufferLen - d);
    if (n > 0) std::memcpy(page, Buffer + d, static_cast<size_t>(n));
    if (NTag_Write(ReaderID, p, page) < 0) return -4;
    ++p;
    d += 4;
    if (d >= BufferLen) return 1;
  }
}

static int ReadClassic(int ReaderID, unsigned char KeyMode, unsigned char* Key, unsigned char* Buffer) {
  int b = 4;
  int n = 0;
  bool authenticate = true;
  for (;;) {
    if (authenticate) {
      if (KeyAuthorization_(ReaderID, KeyMode, b, Key) < 0) return -3;
      authenticate = false;
    }
    unsigned char block[16];
    if (ReadaBlock_(ReaderID, b, 16, block) < 0) return -4;
    std::memcpy(Buffer + n, block, 16);
    n += 16;
    if (Buffer[2] != 0x03) return -6;
    // Two leading bytes, tag, length and value are in, and at least one
    // byte more: the terminator.
    if (n > Buffer[3] + 4) return n;
    ++b;
    if (IsTrailer(b)) {
      ++b;
      authenticate = true;
    }
  }
}

static int ReadNTag(int ReaderID, unsigned char* Buffer) {
  int p = 4;
  int n = 0;
  for (;;) {
    int len = 0;
    unsigned char answer[kMaxAnswerData];
    if (NTAG_Read(ReaderID, p, &len, answer) < 0) return -4;
    // One READ is four pages; an answer without data is a failed read, and
    // bytes beyond the four pages are not taken.
    if (len <= 0) return -4;
    len = std::min(len, kNTagReadBytes);
    std::memcpy(Buffer + n, answer, static_cast<size_t>(len));
    if (Buffer[0] != 0x03) return -6;
    n += len;
    // Compared with the length byte alone, without the tag, length and
    // terminator bytes the MIFARE Classic path counts: an NTAG message whose
    // value fits the READs done so far is complete, and the read stops
    // there, one READ earlier than counting those bytes would.
    if (n >= Buffer[1]) return n;
    p += 4;
  }
}

// ---- The message buffer ---------------------------------------------------------

int NDEF_Initial_() {
  if (tlv != nullptr) return 0;
  tlv = new TLV();
  return 1;
}

int NDEF_Free_() {
  delete tlv;
  tlv = nullptr;
  return 1;
}

int NDEF_SetKey_(unsigned char* Key) {
  if (tlv == nullptr) return -1;
  std::memcpy(tlv->Key, Key, sizeof tlv->Key);
  return 1;
}

int NDEF_AddRecord_(unsigned char uri, int sLen, unsigned char* s) {
  if (tlv == nullptr) return -1;
  return tlv->AddReacord(uri, sLen, s);
}

int NDEF_GetRecord_(int Index, unsigned char* uri, int* Len, unsigned char* s) {
  if (tlv == nullptr) return -1;
  return tlv->GetRecord(Index, uri, Len, s);
}

int NDEF_ClearRecords_() {
  if (tlv == nullptr) return -1;
  tlv->ClearAllRecord();
  return 1;
}

int NDEF_Save_(int ReaderID) {
  if (tlv == nullptr) return -1;
  // Sized for the largest image the buffer can encode.
  unsigned char image[kMaxMessageImage];
  const int len = tlv->CreateAllBuffer(image);
  return NFC_Write(ReaderID, kKeyB, tlv->Key, image, len);
}

int NDEF_Read_(int ReaderID) {
  if (tlv == nullptr) return -1;
  // Zeroed, so that a read that placed nothing in it decodes to -1.
  unsigned char image[kReadImage] = {};
  const int n = NFC_Read(ReaderID, kKeyB, tlv->Key, image);
  // The read's result goes on as the length unexamined: after a failure the
  // tag is taken at position 0 of whatever was read.
  return DecodeMessage(*tlv, image, n, n >= 0 ? n : kReadImage);
}

}  // namespace orvex

using namespace orvex;

int NFC_Write(int ReaderID, unsigned char KeyMode, unsigned char* Key, unsigned char* Buffer, int BufferLen) {
  unsigned short cardType = 0;
  // Selected with return mode 0 for writing.
  int rt = FindCard(ReaderID, 0, cardType);
  if (rt != 1) return rt;
  if (cardType == kClassic1K) return WriteClassic(ReaderID, KeyMode, Key, Buffer, BufferLen);
  return WriteNTag(ReaderID, Buffer, BufferLen);
}

int NFC_Read(int ReaderID, unsigned char KeyMode, unsigned char* Key, unsigned char* Buffer) {
  unsigned short cardType = 0;
  // Selected with return mode 1 for reading.
  int rt = FindCard(ReaderID, 1, cardType);
  if (rt != 1) return rt;
  if (cardType == kClassic1K) return ReadClassic(ReaderID, KeyMode, Key, Buffer);
  return ReadNTag(ReaderID, Buffer);
}
