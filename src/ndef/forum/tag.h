// SPDX-License-Identifier: MIT
// An NDEF message inside a tag's TLV area, as the NFC Forum tag types lay it
// out (Type 1, 2 and 5 tags, and MIFARE Classic NDEF sectors): NULL TLVs,
// Lock Control and Memory Control TLVs (their reserved bytes skipped), the
// NDEF Message TLV with a 1- or 3-byte length, proprietary TLVs and the
// terminator. Reading, and a write that an interruption cannot corrupt.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "ndef/forum/message.h"

namespace orvex {
namespace ndef {

// The data area of a tag, as one run of bytes: the bytes after a Type 2
// tag's capability container, the data blocks of a MIFARE Classic's NDEF
// sectors one after the other. Reads and writes go through whole units
// (the tag's page or block). Implementations throw on a failed exchange
// (any exception type; it passes through unchanged).
class TagMemory {
 public:
  virtual ~TagMemory() = default;
  // Bytes in the area, a multiple of unit().
  virtual size_t size() const = 0;
  // Bytes one write covers.
  virtual size_t unit() const = 0;
  // The area's address of its byte 0 on the tag, for the positions Lock
  // and Memory Control TLVs give (16 on a Type 2 tag, whose area starts at
  // page 4). A negative value: the tag has no such addresses (the control
  // TLVs are skipped but nothing is reserved).
  virtual long base() const = 0;
  virtual Bytes Read(size_t offset, size_t length) = 0;
  // offset and data.size() are multiples of unit().
  virtual void Write(size_t offset, const Bytes& data) = 0;
};

// A Lock Control or Memory Control TLV's 3-byte value, decoded: the byte
// address on the tag it gives and the bytes it reserves there; a Lock
// Control TLV also gives its lock bits and how many bytes of the tag each
// of them locks.
struct ControlTlv {
  bool lock = false;         // Lock Control (else Memory Control)
  size_t address = 0;        // the tag's byte address of its first byte
  size_t bits = 0;           // Lock Control: the lock bits
  size_t bytes = 0;          // the bytes it reserves
  size_t bytes_per_bit = 0;  // Lock Control: the tag's bytes one lock bit locks
};
ControlTlv DecodeControlTlv(bool lock, uint8_t v0, uint8_t v1, uint8_t v2);

// Where things are in a TLV area.
struct Layout {
  bool ndef_found = false;  // an NDEF Message TLV is there
  size_t ndef_at = 0;       // its tag byte, in stream positions (see below)
  size_t header = 0;        // 2 (1-byte length) or 4 (3-byte length)
  size_t length = 0;        // its length
  bool terminated = false;  // a terminator TLV, or the end, followed it
  // Stream positions are the area's bytes without the reserved ones; these
  // are area offsets of reserved bytes, sorted.
  std::vector<std::pair<size_t, size_t>> reserved;  // [first, last)
  size_t stream_size = 0;   // bytes of the area that are not reserved
  // The Lock and Memory Control TLVs before the NDEF Message TLV, in order.
  std::vector<ControlTlv> controls;
};

// The layout of area (the whole area's bytes); base as TagMemory::base.
// Throws Error when the TLVs run past the area or a Lock or Memory Control
// TLV is malformed, or when no NDEF Message TLV comes before the
// terminator (the tag is not formatted for NDEF, or holds no message).
Layout ParseLayout(const Bytes& area, long base);

// The message bytes of the NDEF Message TLV (possibly none).
Bytes MessageBytes(const Bytes& area, const Layout& layout);

// Reads the whole area and returns the message bytes it holds.
Bytes ReadMessage(TagMemory& memory);

// What a write did, for the user: the steps done and what the tag holds.
struct WriteReport {
  size_t message_bytes = 0;
  size_t capacity = 0;     // the largest message the tag takes
  size_t units_written = 0;
  bool complete = false;   // written and read back equal
  // After a failure: what the tag holds now, in words.
  std::string state;
};

// Writes message (its encoded bytes; empty for an empty NDEF TLV) into the
// tag's NDEF Message TLV, in steps each of which leaves a valid area: the
// old message is made empty in place, the new TLV is written with length
// 0 and a terminator after it, then the message, then its real length;
// finally everything is read back and compared. A message larger than the
// tag is refused before anything is written. On a failure the exception
// propagates after report.state is set to what the tag holds.
// progress(units written so far) is called after each unit.
void WriteMessage(TagMemory& memory, const Bytes& message, WriteReport& report,
                  const std::function<void(size_t)>& progress = {});

// The largest message the area takes with its present control TLVs, for a
// layout from ParseLayout.
size_t Capacity(const Layout& layout, size_t unit);

}  // namespace ndef
}  // namespace orvex
