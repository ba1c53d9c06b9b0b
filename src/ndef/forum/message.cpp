// SPDX-License-Identifier: MIT
#include "ndef/forum/message.h"

namespace orvex {
namespace ndef {

namespace {

// Record header flags.
constexpr uint8_t kMB = 0x80, kME = 0x40, kCF = 0x20, kSR = 0x10, kIL = 0x08;
constexpr uint8_t kTnfMask = 0x07;

// The header and fields of one record as it lies in the bytes.
struct Raw {
  uint8_t flags = 0;
  Tnf tnf = Tnf::kEmpty;
  Bytes type, id, payload;
  size_t offset = 0;
};

// Reads one record at data[pos, size); pos moves past it.
Raw ReadRaw(const uint8_t* data, size_t size, size_t& pos) {
  Raw r;
  r.offset = pos;
  auto need = [&](size_t n, const char* what) {
    if (size - pos < n) throw Error(std::string("record cut off in its ") + what, r.offset);
  };
  need(1, "header");
  r.flags = data[pos++];
  r.tnf = static_cast<Tnf>(r.flags & kTnfMask);
  need(1, "type length");
  size_t type_len = data[pos++];
  size_t payload_len;
  if (r.flags & kSR) {
    need(1, "payload length");
    payload_len = data[pos++];
  } else {
    need(4, "payload length");
    payload_len = (static_cast<size_t>(data[pos]) << 24) | (static_cast<size_t>(data[pos + 1]) << 16) |
                  (static_cast<size_t>(data[pos + 2]) << 8) | data[pos + 3];
    pos += 4;
  }
  size_t id_len = 0;
  if (r.flags & kIL) {
    need(1, "ID length");
    id_len = data[pos++];
  }
  need(type_len, "type");
  r.type.assign(data + pos, data + pos + type_len);
  pos += type_len;
  need(id_len, "ID");
  r.id.assign(data + pos, data + pos + id_len);
  pos += id_len;
  need(payload_len, "payload");
  r.payload.assign(data + pos, data + pos + payload_len);
  pos += payload_len;
  return r;
}

void PutRecord(Bytes& out, const Record& r, bool first, bool last) {
  if (r.tnf == Tnf::kUnchanged) throw Error("a record of TNF 6 (unchanged) is only a chunk of another");
  if (r.type.size() > 255) throw Error("a record type is at most 255 bytes");
  if (r.id.size() > 255) throw Error("a record ID is at most 255 bytes");
  if (r.payload.size() > 0xFFFFFFFFu) throw Error("a record payload is at most 4294967295 bytes");
  if (r.tnf == Tnf::kEmpty && (!r.type.empty() || !r.id.empty() || !r.payload.empty()))
    throw Error("an empty record (TNF 0) has no type, ID or payload");
  if ((r.tnf == Tnf::kUnknown) && !r.type.empty()) throw Error("a record of unknown type (TNF 5) has no type");
  if ((r.tnf == Tnf::kWellKnown || r.tnf == Tnf::kMedia || r.tnf == Tnf::kAbsoluteUri ||
       r.tnf == Tnf::kExternal) &&
      r.type.empty())
    throw Error("a record of TNF " + std::to_string(static_cast<int>(r.tnf)) + " needs a type");
  const bool short_record = r.payload.size() < 256;
  uint8_t flags = static_cast<uint8_t>(static_cast<uint8_t>(r.tnf) & kTnfMask);
  if (first) flags |= kMB;
  if (last) flags |= kME;
  if (short_record) flags |= kSR;
  if (!r.id.empty()) flags |= kIL;
  out.push_back(flags);
  out.push_back(static_cast<uint8_t>(r.type.size()));
  const size_t n = r.payload.size();
  if (short_record) {
    out.push_back(static_cast<uint8_t>(n));
  } else {
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<uint8_t>(n >> shift));
  }
  if (!r.id.empty()) out.push_back(static_cast<uint8_t>(r.id.size()));
  out.insert(out.end(), r.type.begin(), r.type.end());
  out.insert(out.end(), r.id.begin(), r.id.end());
  out.insert(out.end(), r.payload.begin(), r.payload.end());
}

}  // namespace

Bytes Encode(const Message& message) {
  if (message.empty()) throw Error("an NDEF message holds at least one record");
  Bytes out;
  for (size_t i = 0; i < message.size(); ++i) PutRecord(out, message[i], i == 0, i + 1 == message.size());
  return out;
}

Message Decode(const uint8_t* data, size_t size, Strictness strictness) {
  const bool strict = strictness == Strictness::kStrict;
  if (size == 0) throw Error("no bytes: an NDEF message holds at least one record");
  Message message;
  size_t pos = 0;
  bool in_chunks = false;
  Record chunked;
  while (pos < size) {
    Raw r = ReadRaw(data, size, pos);
    const bool first = r.offset == 0;
    if (strict) {
      if (first && !(r.flags & kMB)) throw Error("the first record lacks the message-begin flag (MB)", r.offset);
      if (!first && (r.flags & kMB)) throw Error("message-begin flag (MB) on a record after the first", r.offset);
      if (r.tnf == Tnf::kReserved) throw Error("reserved TNF 7", r.offset);
      if (r.tnf == Tnf::kEmpty && (!r.type.empty() || !r.id.empty() || !r.payload.empty()))
        throw Error("an empty record (TNF 0) with a type, ID or payload", r.offset);
      if (r.tnf == Tnf::kUnknown && !r.type.empty())
        throw Error("a record of unknown type (TNF 5) with a type", r.offset);
    }
    if (in_chunks) {
      // A middle or last chunk: TNF 6, no type, no ID.
      if (r.tnf != Tnf::kUnchanged || !r.type.empty() || (r.flags & kIL))
        throw Error("a chunk after the first must have TNF 6 (unchanged), no type and no ID", r.offset);
      chunked.payload.insert(chunked.payload.end(), r.payload.begin(), r.payload.end());
      if (!(r.flags & kCF)) {
        in_chunks = false;
        message.push_back(std::move(chunked));
        chunked = Record();
      }
    } else {
      if (r.tnf == Tnf::kUnchanged) throw Error("TNF 6 (unchanged) outside a chunked record", r.offset);
      Record rec{r.tnf, std::move(r.type), std::move(r.id), std::move(r.payload)};
      if (r.flags & kCF) {
        in_chunks = true;
        chunked = std::move(rec);
      } else {
        message.push_back(std::move(rec));
      }
    }
    if (r.flags & kME) {
      if (in_chunks) throw Error("message-end flag (ME) inside a chunked record", r.offset);
      if (pos < size && strict)
        throw Error("bytes after the record with the message-end flag (ME)", pos);
      return message;
    }
  }
  if (in_chunks) throw Error("the message ends inside a chunked record", pos);
  if (strict) throw Error("no record carries the message-end flag (ME)", pos);
  return message;
}

}  // namespace ndef
}  // namespace orvex
