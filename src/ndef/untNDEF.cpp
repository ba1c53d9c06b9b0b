// SPDX-License-Identifier: MIT
// NDEF records (short records of well-known type "T" or "U") and the NDEF
// Message TLV that holds up to five of them.
#include "ndef/untNDEF.h"

#include <algorithm>
#include <cstring>

namespace orvex {

// Text records start their payload with a status byte (UTF-8, 2-byte
// language code) and the language code "en".
static const unsigned char kTextPrefix[3] = {0x02, 'e', 'n'};
// The most bytes one record can occupy: header, four length bytes, ID
// length, then type, ID and payload of 255 bytes each.
static constexpr int kMaxRecordSpan = 7 + 3 * 255;

// A read cursor over the bytes of one record that refuses to move past them.
namespace {
struct Cursor {
  const unsigned char* p;
  int avail;
  int pos = 0;
  bool Has(int n) const { return n <= avail - pos; }
  unsigned char Byte() { return p[pos++]; }
  void Take(void* dst, int n) {
    std::memcpy(dst, p + pos, static_cast<size_t>(n));
    pos += n;
  }
};
}  // namespace

int DecodeRecord(NDEFRecord& r, const unsigned char* buffer, int avail) {
  r.NDEFFormat = false;
  Cursor c{buffer, avail};
  if (!c.Has(2)) return 0;
  r.Header.Value = c.Byte();
  r.TypeLength = c.Byte();
  const bool shortRecord = r.Header.Header.SR;
  if (!c.Has(shortRecord ? 1 : 4)) return 0;
  // A long record's four length bytes are combined least significant first
  // into the one-byte field, which keeps the first of them alone.
  r.PayloadLength = c.Byte();
  if (!shortRecord) c.pos += 3;
  const bool hasId = r.Header.Header.IL;
  if (hasId) {
    if (!c.Has(1)) return 0;
    r.IDLength = c.Byte();
  }
  if (!c.Has(r.TypeLength + (hasId ? r.IDLength : 0) + r.PayloadLength)) return 0;
  c.Take(r.Type, r.TypeLength);
  if (hasId) c.Take(r.ID, r.IDLength);
  const int position = c.pos;
  c.Take(r.Payload, r.PayloadLength);
  r.MB = r.Header.Header.MB;
  r.ME = r.Header.Header.ME;

  // Only the first type byte decides; the TNF is not looked at.
  int from;
  if (r.Type[0] == 'T') {
    // The whole status byte counts as the language code length.
    r.URI = 0;
    from = r.Payload[0] + 1;
  } else if (r.Type[0] == 'U') {
    r.URI = r.Payload[0];
    from = 1;
  } else {
    return 0;
  }
  r.NDEFFormat = true;
  // A payload too short for its own prefix leaves an empty string.
  r.strLen = std::max(0, r.PayloadLength - from);
  if (r.strLen > 0) std::memcpy(r.string, r.Payload + from, static_cast<size_t>(r.strLen));
  return position + r.PayloadLength;
}

int DecodeMessage(TLV& tlv, const unsigned char* Buffer, int BufferLen, int Readable) {
  tlv.ClearAllRecord();
  // The first 0x03 byte is the tag: nothing before it is walked as a TLV.
  int p = 0;
  if (BufferLen >= 0) {
    while (p < BufferLen && Buffer[p] != tlv.TLVHeader) ++p;
    if (p == BufferLen) return -1;
  }
  if (p + 1 >= Readable) return -1;
  // The terminator must follow the value at once; the length is one byte.
  const int end = p + 2 + Buffer[p + 1];
  if (end >= Readable || Buffer[end] != tlv.TLVTeminate) return -1;
  // The walk does not stop at the length or at ME: it tries the terminator
  // as a record too, and ends at the first record it cannot take.
  int q = p + 2;
  while (tlv.RecordCount < kMaxNdefRecords) {
    NDEFRecord* r = new NDEFRecord();
    int n = DecodeRecord(*r, Buffer + q, Readable - q);
    if (n == 0) {
      delete r;
      break;
    }
    tlv.NFCRecord[tlv.RecordCount++] = r;
    q += n;
    if (q >= BufferLen) break;
  }
  return tlv.RecordCount;
}

}  // namespace orvex

using namespace orvex;

// ---- NDEFRecord ----------------------------------------------------------------

NDEFRecord::NDEFRecord(unsigned char uri, int Len, unsigned char* s)
    : Header(), TypeLength(0), PayloadLength(0), IDLength(0), Type(), ID(), Payload(), MB(0), ME(0),
      URI(uri), string(), strLen(std::min(std::max(Len, 0), 255)), NDEFFormat(false) {
  if (strLen > 0) std::memcpy(string, s, static_cast<size_t>(strLen));
}

NDEFRecord::NDEFRecord()
    : Header(), TypeLength(0), PayloadLength(0), IDLength(0), Type(), ID(), Payload(), MB(0), ME(0),
      URI(0), string(), strLen(0), NDEFFormat(false) {}

int NDEFRecord::EncodeTo(unsigned char* buffer) {
  Header.Value = 0;
  Header.Header.MB = MB & 1;
  Header.Header.ME = ME & 1;
  Header.Header.SR = 1;
  Header.Header.TNF = 1;  // NFC Forum well-known type
  TypeLength = 1;
  int prefix;
  if (URI != 0) {
    Type[0] = 'U';
    Payload[0] = URI;
    prefix = 1;
  } else {
    Type[0] = 'T';
    std::memcpy(Payload, kTextPrefix, sizeof kTextPrefix);
    prefix = 3;
  }
  // The payload length is one byte and wraps for a content too long; the
  // copy stays within Payload.
  const int fits = std::min(strLen, static_cast<int>(sizeof Payload) - prefix);
  if (fits > 0) std::memcpy(Payload + prefix, string, static_cast<size_t>(fits));
  PayloadLength = static_cast<unsigned char>(strLen + prefix);
  buffer[0] = Header.Value;
  buffer[1] = TypeLength;
  buffer[2] = PayloadLength;
  buffer[3] = static_cast<unsigned char>(Type[0]);
  std::memcpy(buffer + 4, Payload, PayloadLength);
  return PayloadLength + 4;
}

int NDEFRecord::DecodeFrom(unsigned char* buffer) { return DecodeRecord(*this, buffer, kMaxRecordSpan); }

// ---- TLV ----------------------------------------------------------------------------

TLV::TLV() : TLVBlank(0x00), TLVHeader(0x03), TLVTeminate(0xFE), RecordCount(0), NFCRecord() {
  std::memset(Key, 0xFF, sizeof Key);
}

TLV::~TLV() { ClearAllRecord(); }

int TLV::AddReacord(unsigned char uri, int Len, unsigned char* s) {
  if (RecordCount > kMaxNdefRecords - 1) return -1;
  // The content must fit the one-byte payload length beside its prefix.
  const int most = uri != 0 ? 255 - 1 : 255 - 3;
  if (Len < 0 || Len > most) return -1;
  NFCRecord[RecordCount] = new NDEFRecord(uri, Len, s);
  return ++RecordCount;
}

void TLV::ClearAllRecord() {
  for (int i = 0; i < RecordCount; ++i) {
    delete NFCRecord[i];
    NFCRecord[i] = nullptr;
  }
  RecordCount = 0;
}

int TLV::DecodeAllBuffer(unsigned char* Buffer, int BufferLen) {
  return DecodeMessage(*this, Buffer, BufferLen, std::max(BufferLen, 0));
}

int TLV::GetRecord(int Index, unsigned char* uri, int* Len, unsigned char* s) {
  if (Index < 0 || Index >= RecordCount) return 0;
  const NDEFRecord* r = NFCRecord[Index];
  *uri = r->URI;
  *Len = r->strLen;
  if (r->strLen > 0) std::memcpy(s, r->string, static_cast<size_t>(r->strLen));
  return 1;
}

int TLV::CreateAllBuffer(unsigned char* Buffer) {
  Buffer[0] = TLVHeader;
  int pos = 2;
  for (int i = 0; i < RecordCount; ++i) {
    NFCRecord[i]->MB = (i == 0) ? 1 : 0;
    NFCRecord[i]->ME = (i == RecordCount - 1) ? 1 : 0;
    pos += NFCRecord[i]->EncodeTo(Buffer + pos);
  }
  Buffer[pos] = TLVTeminate;
  Buffer[1] = static_cast<unsigned char>(pos - 2);
  return pos + 1;
}
