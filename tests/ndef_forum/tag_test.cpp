// SPDX-License-Identifier: MIT
#include "ndef/forum/tag.h"

#include <gtest/gtest.h>

#include "bytes.h"
#include "ndef/forum/records.h"

namespace orvex {
namespace ndef {
namespace {

using testing::B;

struct TagGone : std::runtime_error {
  TagGone() : std::runtime_error("the tag left") {}
};

// A tag's area in memory. It can leave the field after a number of writes:
// before the next write (nothing of it lands) or right after it (the write
// landed, its acknowledgement was lost).
class FakeArea : public TagMemory {
 public:
  FakeArea(Bytes bytes, size_t unit, long base) : bytes_(std::move(bytes)), unit_(unit), base_(base) {}
  size_t size() const override { return bytes_.size(); }
  size_t unit() const override { return unit_; }
  long base() const override { return base_; }
  Bytes Read(size_t offset, size_t length) override {
    ++reads;
    if (gone_) throw TagGone();
    return Bytes(bytes_.begin() + static_cast<long>(offset), bytes_.begin() + static_cast<long>(offset + length));
  }
  void Write(size_t offset, const Bytes& data) override {
    if (gone_) throw TagGone();
    EXPECT_EQ(offset % unit_, 0u);
    EXPECT_EQ(data.size(), unit_);
    if (writes_left_ == 0) {
      gone_ = true;
      if (!land_last_) throw TagGone();
    }
    std::copy(data.begin(), data.end(), bytes_.begin() + static_cast<long>(offset));
    ++writes;
    if (writes_left_ > 0) --writes_left_;
    if (gone_) throw TagGone();
  }
  // The tag leaves at write number k+1 (counting from 1); land: that write
  // still reaches the memory.
  void LeaveAfter(int k, bool land) {
    writes_left_ = k;
    land_last_ = land;
  }
  void ComeBack() { gone_ = false, writes_left_ = -1; }
  Bytes& bytes() { return bytes_; }
  int writes = 0, reads = 0;

 private:
  Bytes bytes_;
  size_t unit_;
  long base_;
  int writes_left_ = -1;
  bool land_last_ = false;
  bool gone_ = false;
};

// A formatted Type 2 area of n bytes: an empty NDEF message.
Bytes Formatted(size_t n, Bytes prefix = {}) {
  Bytes b = prefix;
  b.insert(b.end(), {0x03, 0x00, 0xFE});
  b.resize(n, 0x00);
  return b;
}

// A message of one text record ("en") whose encoding is exactly `bytes`
// long: 7 bytes of record around the text when it is short, 10 when long
// (so no such message is 260 to 265 bytes long).
Bytes TextMessage(size_t bytes) {
  size_t text = bytes <= 259 ? bytes - 7 : bytes - 10;
  Bytes e = Encode({MakeText({std::string(text, 'x'), "en", false})});
  EXPECT_EQ(e.size(), bytes);
  return e;
}

TEST(NdefTag, OneAndThreeByteLengthsAroundTheLimit) {
  for (size_t n : {size_t{254}, size_t{255}, size_t{256}}) {
    FakeArea area(Formatted(496), 4, 16);
    Bytes message = TextMessage(n);
    WriteReport report;
    WriteMessage(area, message, report);
    EXPECT_TRUE(report.complete);
    EXPECT_EQ(ReadMessage(area), message);
    if (n < 255) {
      EXPECT_EQ(Bytes(area.bytes().begin(), area.bytes().begin() + 2), B({0x03, static_cast<int>(n)}));
    } else {
      EXPECT_EQ(Bytes(area.bytes().begin(), area.bytes().begin() + 4),
                B({0x03, 0xFF, static_cast<int>(n >> 8), static_cast<int>(n & 0xFF)}));
    }
    EXPECT_EQ(area.bytes()[(n < 255 ? 2 : 4) + n], 0xFE);
    EXPECT_EQ(Decode(ReadMessage(area)), Decode(message));
  }
}

TEST(NdefTag, TheWholeCapacityAndNotOneByteMore) {
  FakeArea area(Formatted(496), 4, 16);
  WriteReport report;
  Layout l = ParseLayout(area.bytes(), 16);
  EXPECT_EQ(Capacity(l, 4), 492u);
  Bytes full = TextMessage(492);
  WriteMessage(area, full, report);
  EXPECT_EQ(ReadMessage(area), full);
  // No room for a terminator: the message ends at the area's end.
  EXPECT_EQ(area.bytes().back(), full.back());

  FakeArea small(Formatted(144), 4, 16);
  Bytes before = small.bytes();
  Bytes big = TextMessage(143);
  try {
    WriteMessage(small, big, report);
    FAIL();
  } catch (const Error& e) {
    EXPECT_STREQ(e.what(), "the message is 143 bytes; this tag takes at most 142 (nothing was written)");
  }
  EXPECT_EQ(small.bytes(), before);
  EXPECT_EQ(small.writes, 0);
  EXPECT_EQ(report.state, "nothing was written; the tag holds its old message");
}

TEST(NdefTag, AnUnformattedTagIsRefused) {
  FakeArea area(Bytes(144, 0x00), 4, 16);
  WriteReport report;
  EXPECT_THROW(WriteMessage(area, TextMessage(20), report), Error);
  EXPECT_EQ(area.writes, 0);
  FakeArea past(B({0x03, 0x09, 0xD1, 0x01}), 4, 16);
  EXPECT_THROW(ReadMessage(past), Error);
}

// The tag leaves at every write of the sequence, with that write lost or
// landed: what it holds reads as the old message or an empty one.
TEST(NdefTag, ATagTakenAwayAtAnyWriteHoldsTheOldOrAnEmptyMessage) {
  for (size_t old_len : {size_t{0}, size_t{30}, size_t{300}}) {
    for (size_t new_len : {size_t{40}, size_t{256}, size_t{400}}) {
      Bytes start = Formatted(496);
      Bytes old_message;
      if (old_len) {
        FakeArea setup(start, 4, 16);
        WriteReport r;
        old_message = TextMessage(old_len);
        WriteMessage(setup, old_message, r);
        start = setup.bytes();
      }
      Bytes message = TextMessage(new_len);
      FakeArea full(start, 4, 16);
      WriteReport report;
      WriteMessage(full, message, report);
      const int total = full.writes;
      for (int k = 0; k < total; ++k) {
        for (bool land : {false, true}) {
          FakeArea area(start, 4, 16);
          area.LeaveAfter(k, land);
          EXPECT_THROW(WriteMessage(area, message, report), TagGone);
          EXPECT_FALSE(report.complete);
          area.ComeBack();
          Bytes now = ReadMessage(area);
          // Only the last write, landed, can leave the new message.
          const bool last_landed = k == total - 1 && land;
          EXPECT_TRUE(now.empty() || now == old_message || (last_landed && now == message))
              << "old " << old_len << " new " << new_len << " left at write " << k << (land ? " (landed)" : "");
          if (!now.empty() && !last_landed) {
            EXPECT_EQ(report.state, "the tag holds its old message or an empty one");
          }
        }
      }
    }
  }
}

TEST(NdefTag, LockControlFirstIsKeptAndTheLongLengthIsAligned) {
  // Lock Control TLV: 48 lock bits at page 0x2C (byte 176 of the tag), then
  // an empty message at stream byte 5.
  Bytes area_bytes = Formatted(496, B({0x01, 0x03, 0xA0, 0x30, 0x44}));
  FakeArea area(area_bytes, 4, 16);
  WriteReport report;
  Bytes message = TextMessage(300);
  WriteMessage(area, message, report);
  EXPECT_EQ(ReadMessage(area), message);
  // The control TLV is untouched; NULL TLVs pad so that the two length
  // bytes share a page.
  // (The TLV would start at byte 5, its length at bytes 7 and 8: one NULL
  // moves them to bytes 8 and 9, page 2.)
  EXPECT_EQ(Bytes(area.bytes().begin(), area.bytes().begin() + 10),
            B({0x01, 0x03, 0xA0, 0x30, 0x44, 0x00, 0x03, 0xFF, 0x01, 0x2C}));
}

TEST(NdefTag, ControlTlvsAreDecodedAndListedInOrder) {
  // A Lock Control TLV (A0 30 44: page A, byte 0, of 2^4 bytes, so byte
  // 160; 48 bits, 2^4 bytes a bit), then a Memory Control TLV (A0 08 02:
  // page A of 2^2 bytes, byte 40, 8 bytes), then the NDEF Message TLV.
  const Bytes area = Formatted(496, B({0x01, 0x03, 0xA0, 0x30, 0x44, 0x02, 0x03, 0xA0, 0x08, 0x02}));
  const Layout l = ParseLayout(area, 16);
  ASSERT_EQ(l.controls.size(), 2u);
  EXPECT_TRUE(l.controls[0].lock);
  EXPECT_EQ(l.controls[0].address, 160u);
  EXPECT_EQ(l.controls[0].bits, 48u);
  EXPECT_EQ(l.controls[0].bytes, 6u);
  EXPECT_EQ(l.controls[0].bytes_per_bit, 16u);
  EXPECT_FALSE(l.controls[1].lock);
  EXPECT_EQ(l.controls[1].address, 40u);
  EXPECT_EQ(l.controls[1].bits, 0u);
  EXPECT_EQ(l.controls[1].bytes, 8u);
  // The Topaz 512's own: byte 7A, 48 bits, 8 bytes a bit; 0 bits is 256.
  const ControlTlv topaz = DecodeControlTlv(true, 0xF2, 0x30, 0x33);
  EXPECT_EQ(topaz.address, 0x7Au);
  EXPECT_EQ(topaz.bits, 48u);
  EXPECT_EQ(topaz.bytes_per_bit, 8u);
  EXPECT_EQ(DecodeControlTlv(true, 0x00, 0x00, 0x00).bits, 256u);
  EXPECT_EQ(DecodeControlTlv(false, 0x00, 0x00, 0x00).bytes, 256u);
}

TEST(NdefTag, BytesAMemoryControlTlvReservesAreSkipped) {
  // 8 reserved bytes at tag byte 16 + 24 = area offset 24 (page 0x0A, offset 0).
  Bytes area_bytes = Formatted(144, B({0x02, 0x03, 0xA0, 0x08, 0x02}));
  for (size_t i = 24; i < 32; ++i) area_bytes[i] = 0x5A;
  FakeArea area(area_bytes, 4, 16);
  WriteReport report;
  Bytes message = TextMessage(60);
  WriteMessage(area, message, report);
  for (size_t i = 24; i < 32; ++i) EXPECT_EQ(area.bytes()[i], 0x5A) << i;
  EXPECT_EQ(ReadMessage(area), message);
  EXPECT_EQ(Capacity(ParseLayout(area.bytes(), 16), 4), 144u - 8 - 5 - 2);
}

TEST(NdefTag, OverlappingReservedAreasAreSkippedOnce) {
  // Two Memory Control TLVs reserving overlapping bytes (area offsets 24 to
  // 31 and 28 to 35), then an empty message: 12 bytes are reserved in all.
  Bytes area_bytes = Formatted(144, B({0x02, 0x03, 0xA0, 0x08, 0x02, 0x02, 0x03, 0xA4, 0x08, 0x02}));
  Layout l = ParseLayout(area_bytes, 16);
  EXPECT_EQ(l.stream_size, 144u - 12);
  FakeArea area(area_bytes, 4, 16);
  WriteReport report;
  Bytes message = TextMessage(100);
  WriteMessage(area, message, report);
  EXPECT_EQ(ReadMessage(area), message);
  for (size_t i = 24; i < 36; ++i) EXPECT_EQ(area.bytes()[i], 0x00) << i;
}

TEST(NdefTag, AMessageWrittenElsewhereIsRead) {
  // A MIFARE Classic area (16-byte blocks, no tag addresses): the TLV at
  // byte 0, a proprietary TLV and NULLs before another layout's message.
  Bytes message = Encode({MakeUri("https://a.example")});
  Bytes area_bytes = B({0xFD, 0x02, 0xAA, 0xBB, 0x00, 0x03, static_cast<int>(message.size())});
  area_bytes.insert(area_bytes.end(), message.begin(), message.end());
  area_bytes.push_back(0xFE);
  area_bytes.resize(48 * 3, 0);
  FakeArea area(area_bytes, 16, -1);
  EXPECT_EQ(ReadMessage(area), message);
  WriteReport report;
  Bytes next = TextMessage(100);
  WriteMessage(area, next, report);
  EXPECT_EQ(ReadMessage(area), next);
  EXPECT_EQ(area.bytes()[0], 0xFD);
}

TEST(NdefTag, AnEmptyMessageErases) {
  FakeArea area(Formatted(144), 4, 16);
  WriteReport report;
  WriteMessage(area, TextMessage(100), report);
  WriteMessage(area, {}, report);
  EXPECT_TRUE(report.complete);
  EXPECT_TRUE(ReadMessage(area).empty());
  EXPECT_EQ(Bytes(area.bytes().begin(), area.bytes().begin() + 3), B({0x03, 0x00, 0xFE}));
}

TEST(NdefTag, AReadBackThatDiffersIsAFailure) {
  class Forgetful : public FakeArea {
   public:
    using FakeArea::FakeArea;
    void Write(size_t offset, const Bytes& data) override {
      Bytes d = data;
      if (offset == 8) d[0] ^= 1;  // one page keeps a wrong bit
      FakeArea::Write(offset, d);
    }
  };
  Forgetful area(Formatted(144), 4, 16);
  WriteReport report;
  EXPECT_THROW(WriteMessage(area, TextMessage(60), report), Error);
  EXPECT_FALSE(report.complete);
  EXPECT_EQ(report.state, "the tag does not read back as written (from byte 8 of its NDEF area)");
}

}  // namespace
}  // namespace ndef
}  // namespace orvex
