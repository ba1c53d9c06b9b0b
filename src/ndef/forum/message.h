// SPDX-License-Identifier: MIT
// NFC Forum NDEF messages: records of every TNF, short and long, with or
// without an ID, chunked records joined on decode; encoding and a bounded,
// strict-by-default decoding of untrusted bytes.
//
// This layer is an extension of the SDK, separate from the library's own
// NDEF functions (NDEFRecord, TLV, NFC_Write, NFC_Read), which keep their
// behaviour. It is shared by the orvex tool and the other programs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace orvex {
namespace ndef {

using Bytes = std::vector<uint8_t>;

// The record's type name format.
enum class Tnf : uint8_t {
  kEmpty = 0,
  kWellKnown = 1,    // NFC Forum well-known type ("T", "U", "Sp", ...)
  kMedia = 2,        // a MIME media type ("text/vcard")
  kAbsoluteUri = 3,  // the type is a URI
  kExternal = 4,     // "domain.com:type"
  kUnknown = 5,
  kUnchanged = 6,    // a middle or last chunk; never in a decoded message
  kReserved = 7,
};

struct Record {
  Tnf tnf = Tnf::kEmpty;
  Bytes type;
  Bytes id;
  Bytes payload;

  bool operator==(const Record& o) const {
    return tnf == o.tnf && type == o.type && id == o.id && payload == o.payload;
  }
  bool operator!=(const Record& o) const { return !(*this == o); }
  // The type as text (types are ASCII; other bytes are kept as they are).
  std::string TypeText() const { return std::string(type.begin(), type.end()); }
  bool Is(Tnf t, const char* name) const { return tnf == t && TypeText() == name; }
};

using Message = std::vector<Record>;

// A message that cannot be decoded or encoded: what is wrong, and for
// decoding the offset of the record header where it was found.
class Error : public std::runtime_error {
 public:
  Error(const std::string& what, size_t offset = 0) : std::runtime_error(what), offset_(offset) {}
  size_t offset() const { return offset_; }

 private:
  size_t offset_;
};

enum class Strictness {
  // Every rule of the record layout: MB on the first record only, ME on the
  // last, nothing after it, empty records empty, chunks well formed, no
  // reserved TNF.
  kStrict,
  // Accepts what tags found in the field often carry: flags MB and ME
  // missing or misplaced, bytes after the last record, a reserved TNF
  // (kept as it is). Lengths are still checked against the bytes given.
  kRelaxed,
};

// The bytes of message: MB on the first record, ME on the last, the short
// form (SR) when a payload is under 256 bytes, IL when a record has an ID.
// Throws Error for an empty message, a type or ID over 255 bytes, an empty
// record with a type, ID or payload, or a record of TNF kUnchanged.
Bytes Encode(const Message& message);

// The records of the size bytes at data, chunked records joined into one.
// Throws Error with the offset of the faulty record; never reads outside
// data[0, size).
Message Decode(const uint8_t* data, size_t size, Strictness strictness = Strictness::kStrict);
inline Message Decode(const Bytes& bytes, Strictness strictness = Strictness::kStrict) {
  return Decode(bytes.data(), bytes.size(), strictness);
}

}  // namespace ndef
}  // namespace orvex
