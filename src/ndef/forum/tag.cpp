// SPDX-License-Identifier: MIT
#include "ndef/forum/tag.h"

#include <algorithm>
#include <cstdio>

namespace orvex {
namespace ndef {

namespace {

constexpr uint8_t kNullTlv = 0x00, kLockControl = 0x01, kMemoryControl = 0x02, kNdefTlv = 0x03,
                  kTerminator = 0xFE;
constexpr size_t kLongestMessage = 0xFFFE;  // the 3-byte length form's limit
constexpr size_t kShortFormLimit = 0xFE;    // 1-byte lengths: 0 to 254

// Stream position to area offset: reserved bytes are not part of the stream.
size_t Physical(const Layout& l, size_t s) {
  size_t p = s;
  for (const auto& r : l.reserved)
    if (r.first <= p) p += r.second - r.first;
  return p;
}

std::string Number(size_t n) { return std::to_string(n); }

std::string HexByte(uint8_t b) {
  char buf[8];
  std::snprintf(buf, sizeof buf, "0x%02X", b);
  return buf;
}

// Where a message of length bytes goes: the stream position of its tag
// byte and its header size. A 3-byte length is placed so that its two
// bytes lie in one unit (NULL TLVs pad up to there): its final value is
// then written in one step.
bool Place(const Layout& l, size_t length, size_t unit, size_t& pos, size_t& header) {
  if (length <= kShortFormLimit) {
    pos = l.ndef_at;
    header = 2;
    return pos + header + length <= l.stream_size;
  }
  header = 4;
  for (pos = l.ndef_at; pos + header <= l.stream_size; ++pos) {
    size_t a = Physical(l, pos + 2), b = Physical(l, pos + 3);
    if (b == a + 1 && a / unit == b / unit) return pos + header + length <= l.stream_size;
  }
  return false;
}

}  // namespace

ControlTlv DecodeControlTlv(bool lock, uint8_t v0, uint8_t v1, uint8_t v2) {
  // The position byte: page (high nibble) and byte within it; the low
  // nibble of the third byte gives the page size as a power of two, its
  // high nibble (Lock Control) the bytes a lock bit locks, likewise.
  ControlTlv c;
  c.lock = lock;
  c.address = (v0 >> 4) * (size_t{1} << (v2 & 0x0F)) + (v0 & 0x0F);
  const size_t size = v1 == 0 ? 256 : v1;
  c.bits = lock ? size : 0;
  c.bytes = lock ? (size + 7) / 8 : size;
  c.bytes_per_bit = lock ? size_t{1} << (v2 >> 4) : 0;
  return c;
}

Layout ParseLayout(const Bytes& area, long base) {
  Layout l;
  l.stream_size = area.size();
  auto at = [&](size_t s) { return area[Physical(l, s)]; };
  size_t s = 0;
  while (s < l.stream_size) {
    const uint8_t tag = at(s);
    if (tag == kNullTlv) {
      ++s;
      continue;
    }
    if (tag == kTerminator) break;
    if (l.stream_size - s < 2) throw Error("TLV " + HexByte(tag) + " at byte " + Number(s) + " is cut off", s);
    size_t length = at(s + 1), header = 2;
    if (length == 0xFF) {
      if (l.stream_size - s < 4) throw Error("TLV " + HexByte(tag) + " at byte " + Number(s) + " is cut off", s);
      length = static_cast<size_t>(at(s + 2)) << 8 | at(s + 3);
      header = 4;
    }
    if (l.stream_size - s - header < length)
      throw Error("TLV " + HexByte(tag) + " at byte " + Number(s) + " claims " + Number(length) +
                      " bytes, past the end of the tag's area",
                  s);
    if (tag == kNdefTlv) {
      l.ndef_found = true;
      l.ndef_at = s;
      l.header = header;
      l.length = length;
      const size_t end = s + header + length;
      l.terminated = end == l.stream_size || at(end) == kTerminator;
      return l;
    }
    if (tag == kLockControl || tag == kMemoryControl) {
      if (length != 3)
        throw Error((tag == kLockControl ? "Lock" : "Memory") + std::string(" Control TLV at byte ") +
                        Number(s) + " has " + Number(length) + " bytes, not 3",
                    s);
      const ControlTlv control =
          DecodeControlTlv(tag == kLockControl, at(s + header), at(s + header + 1), at(s + header + 2));
      l.controls.push_back(control);
      const size_t address = control.address, bytes = control.bytes;
      // Bytes the tag reserves inside the area are not part of the stream.
      // Only what lies ahead can be skipped: the TLVs before are read.
      const size_t next = Physical(l, s + header + length);
      if (base >= 0 && address >= static_cast<size_t>(base)) {
        size_t first = address - static_cast<size_t>(base);
        size_t last = std::min(first + bytes, area.size());
        if (first >= next && first < last) {
          // Only bytes no earlier control TLV reserved: the ranges stay
          // apart, so that each reserved byte is skipped once.
          std::vector<bool> taken(last - first, false);
          for (const auto& r : l.reserved)
            for (size_t b = std::max(r.first, first); b < std::min(r.second, last); ++b) taken[b - first] = true;
          for (size_t b = first; b < last;) {
            if (taken[b - first]) {
              ++b;
              continue;
            }
            size_t e = b;
            while (e < last && !taken[e - first]) ++e;
            l.reserved.emplace_back(b, e);
            l.stream_size -= e - b;
            b = e;
          }
          std::sort(l.reserved.begin(), l.reserved.end());
        }
      }
    }
    s += header + length;  // control, proprietary and unknown TLVs are skipped
  }
  throw Error("the tag holds no NDEF Message TLV (is it formatted for NDEF?)", s);
}

Bytes MessageBytes(const Bytes& area, const Layout& l) {
  Bytes out;
  for (size_t s = l.ndef_at + l.header; s < l.ndef_at + l.header + l.length; ++s)
    out.push_back(area[Physical(l, s)]);
  return out;
}

Bytes ReadMessage(TagMemory& memory) {
  Bytes area = memory.Read(0, memory.size());
  return MessageBytes(area, ParseLayout(area, memory.base()));
}

size_t Capacity(const Layout& l, size_t unit) {
  size_t pos, header;
  // The 3-byte form from its smallest length upwards: its placement does
  // not depend on the length.
  if (Place(l, kShortFormLimit + 1, unit, pos, header))
    return std::min(kLongestMessage, l.stream_size - pos - header);
  if (l.stream_size < l.ndef_at + 2) return 0;
  return std::min(kShortFormLimit, l.stream_size - l.ndef_at - 2);
}

void WriteMessage(TagMemory& memory, const Bytes& message, WriteReport& report,
                  const std::function<void(size_t)>& progress) {
  report = WriteReport();
  report.message_bytes = message.size();
  report.state = "nothing was written; the tag holds its old message";
  const size_t unit = memory.unit(), size = memory.size();
  const Bytes before = memory.Read(0, size);
  const Layout l = ParseLayout(before, memory.base());
  report.capacity = Capacity(l, unit);
  size_t pos = 0, header = 0;
  if (message.size() > report.capacity || !Place(l, message.size(), unit, pos, header))
    throw Error("the message is " + Number(message.size()) + " bytes; this tag takes at most " +
                Number(report.capacity) + " (nothing was written)");

  auto set = [&](Bytes& image, size_t s, uint8_t v) {
    if (s < l.stream_size) image[Physical(l, s)] = v;
  };
  auto set_length = [&](Bytes& image, size_t at, size_t hdr, size_t length) {
    if (hdr == 2) {
      set(image, at + 1, static_cast<uint8_t>(length));
    } else {
      set(image, at + 1, 0xFF);
      set(image, at + 2, static_cast<uint8_t>(length >> 8));
      set(image, at + 3, static_cast<uint8_t>(length));
    }
  };
  // 1: the old message emptied where it is (its length 0, a terminator after).
  Bytes emptied = before;
  if (l.length > 0) {
    if (l.header == 2) set(emptied, l.ndef_at + 1, 0);
    else set(emptied, l.ndef_at + 2, 0), set(emptied, l.ndef_at + 3, 0);
    set(emptied, l.ndef_at + l.header, kTerminator);
  }
  // 2: the new TLV in its place, length 0, a terminator after.
  Bytes opened = emptied;
  for (size_t s = l.ndef_at; s < pos; ++s) set(opened, s, kNullTlv);
  set(opened, pos, kNdefTlv);
  set_length(opened, pos, header, 0);
  set(opened, pos + header, kTerminator);
  // 3: the message behind the still empty TLV, and the terminator after it.
  Bytes filled = opened;
  for (size_t i = 0; i < message.size(); ++i) set(filled, pos + header + i, message[i]);
  set(filled, pos + header + message.size(), kTerminator);
  // 4: the real length.
  Bytes done = filled;
  set_length(done, pos, header, message.size());

  // The units in which from and to differ, written in an order after each
  // write of which the area still parses (address order, else from the
  // end), so that a tag taken away between two writes holds a valid area.
  auto parses = [&](const Bytes& image) {
    try {
      ParseLayout(image, memory.base());
      return true;
    } catch (const Error&) {
      return false;
    }
  };
  auto write_step = [&](const Bytes& from, const Bytes& to) {
    std::vector<size_t> units;
    for (size_t u = 0; u < size; u += unit)
      if (!std::equal(from.begin() + static_cast<long>(u), from.begin() + static_cast<long>(u + unit),
                      to.begin() + static_cast<long>(u)))
        units.push_back(u);
    auto valid_order = [&](const std::vector<size_t>& order) {
      Bytes image = from;
      for (size_t u : order) {
        std::copy(to.begin() + static_cast<long>(u), to.begin() + static_cast<long>(u + unit),
                  image.begin() + static_cast<long>(u));
        if (!parses(image)) return false;
      }
      return true;
    };
    if (!valid_order(units)) {
      std::vector<size_t> reversed(units.rbegin(), units.rend());
      if (valid_order(reversed)) units = reversed;
    }
    for (size_t u : units) {
      memory.Write(u, Bytes(to.begin() + static_cast<long>(u), to.begin() + static_cast<long>(u + unit)));
      ++report.units_written;
      if (progress) progress(report.units_written);
    }
  };
  report.state = "the tag holds its old message or an empty one";
  write_step(before, emptied);
  write_step(emptied, opened);
  report.state = "the tag holds an empty NDEF message; its old message is gone";
  write_step(opened, filled);
  report.state = "the tag holds an empty NDEF message or the new one, not verified";
  write_step(filled, done);
  const Bytes after = memory.Read(0, size);
  if (after != done) {
    size_t i = static_cast<size_t>(std::mismatch(after.begin(), after.end(), done.begin()).first - after.begin());
    report.state = "the tag does not read back as written (from byte " + Number(i) + " of its NDEF area)";
    throw Error("the message read back differs from what was written, from byte " + Number(i) +
                " of the tag's NDEF area");
  }
  report.state = "the tag holds the new message";
  report.complete = true;
}

}  // namespace ndef
}  // namespace orvex
