// SPDX-License-Identifier: MIT
// Frame codec: stuffing, frame building, answer decoding.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "fake_reader.h"
#include "link/untFunction.h"

using namespace orvex;
using orvex_test::Bytes;

namespace {

// Sets the link kind for one test and restores "no link" afterwards.
class Face {
 public:
  explicit Face(int f) { FaceID = f; }
  ~Face() { FaceID = 0; }
};

Bytes Build(int face, unsigned char cmd, int reader, const Bytes& data) {
  unsigned char out[kMaxStuffedFrame];
  int n = BuildFrame(face, cmd, reader, static_cast<int>(data.size()), data.data(), out);
  return n < 0 ? Bytes() : Bytes(out, out + n);
}

struct Decoded {
  int rt;
  int reader = -7;
  unsigned char cmd = 0xEE, status = 0xEE;
  Bytes data;
};

Decoded Decode(Bytes raw) {
  Decoded d;
  unsigned char out[kMaxAnswerData];
  memset(out, 0xEE, sizeof out);
  d.rt = DecodeByte_Receive(d.reader, d.cmd, d.status, static_cast<int>(raw.size()), raw.data(), out);
  if (d.rt > 0) d.data.assign(out, out + d.rt);
  if (d.rt < 0) {
    EXPECT_EQ(0xEE, out[0]) << "data written on a failed decode";
  }
  return d;
}

}  // namespace

TEST(Stuffing, EscapesControlBytesBetweenFirstAndLast) {
  Bytes in = {0x02, 0x01, 0x02, 0x03, 0x10, 0x11, 0x03};
  unsigned char out[32];
  int n = ConvertData(static_cast<int>(in.size()), in.data(), out);
  EXPECT_EQ((Bytes{0x02, 0x01, 0x10, 0x02, 0x10, 0x03, 0x10, 0x10, 0x11, 0x03}), Bytes(out, out + n));
}

TEST(Stuffing, UnstuffingDropsOneEscapeAndKeepsTheNextByte) {
  // 10 10 yields 10, 10 03 yields 03, a 10 before any other byte is dropped.
  Bytes in = {0x02, 0x10, 0x10, 0x10, 0x03, 0x10, 0x41, 0x03};
  unsigned char out[32];
  int n = De_ConvertData(static_cast<int>(in.size()), in.data(), out);
  EXPECT_EQ((Bytes{0x02, 0x10, 0x03, 0x41, 0x03}), Bytes(out, out + n));
}

TEST(Stuffing, UnstuffingTakesTheLastByteAsIs) {
  // The last received byte is the frame's last byte, whatever it is.
  Bytes in = {0x02, 0x05, 0x10};
  unsigned char out[8];
  int n = De_ConvertData(3, in.data(), out);
  EXPECT_EQ((Bytes{0x02, 0x05, 0x10}), Bytes(out, out + n));
}

TEST(Stuffing, RoundTripsEveryByteValue) {
  Bytes in = {0x02};
  for (int i = 0; i < 256; ++i) in.push_back(static_cast<unsigned char>(i));
  in.push_back(0x03);
  std::vector<unsigned char> st(in.size() * 2), back(in.size() * 2);
  int n = ConvertData(static_cast<int>(in.size()), in.data(), st.data());
  EXPECT_EQ(static_cast<int>(in.size()) + 3, n);  // 02, 03 and 10 gain an escape
  int m = De_ConvertData(n, st.data(), back.data());
  EXPECT_EQ(in, Bytes(back.begin(), back.begin() + m));
}

TEST(FrameBuild, EmptyCommandOnSerial) {
  // 02 00 06 R1 R2 K S 03 with S = 00 ^ 06 ^ R1 ^ R2 ^ K.
  Bytes f = Build(1, 0x04, 0x0105, {});
  EXPECT_EQ((Bytes{0x02, 0x00, 0x06, 0x01, 0x05, 0x04, 0x00 ^ 0x06 ^ 0x01 ^ 0x05 ^ 0x04, 0x03}), f);
  EXPECT_EQ(orvex_test::SerialCommandFrame(0x0105, 0x04, {}), f);
}

TEST(FrameBuild, ReaderNumberIsTheLow16BitsBigEndian) {
  Bytes f = Build(1, 0x04, 0x7FFF1234, {});
  EXPECT_EQ(0x12, f[3]);
  EXPECT_EQ(0x34, f[4]);
}

TEST(FrameBuild, ChecksumEqualToAControlByteIsStuffed) {
  // Choose the command so the checksum comes out as 0x02, 0x03, 0x10.
  for (unsigned char want : {0x02, 0x03, 0x10}) {
    unsigned char cmd = static_cast<unsigned char>(want ^ 0x06 ^ 0x00 ^ 0x01);
    Bytes f = Build(1, cmd, 1, {});
    ASSERT_EQ(9u, f.size()) << int(want);
    EXPECT_EQ(0x10, f[6]);
    EXPECT_EQ(want, f[7]);
    EXPECT_EQ(0x03, f[8]);
  }
}

TEST(FrameBuild, LengthBytesAreStuffedToo) {
  // A 10-byte data field gives length 0x0010, sent as 00 10 10.
  Bytes data(10, 0x41);
  Bytes f = Build(1, 0x20, 1, data);
  EXPECT_EQ((Bytes{0x02, 0x00, 0x10, 0x10, 0x00, 0x01, 0x20}), Bytes(f.begin(), f.begin() + 7));
  EXPECT_EQ(orvex_test::SerialCommandFrame(1, 0x20, data), f);
}

TEST(FrameBuild, HidShapeHasNoStxEtxAndNoStuffing) {
  Bytes data = {0x02, 0x03, 0x10};
  Bytes f = Build(2, 0x32, 1, data);
  EXPECT_EQ(orvex_test::HidCommandFrame(1, 0x32, data), f);
  EXPECT_EQ(9u, f.size());
  EXPECT_EQ(0x00, f[0]);
  EXPECT_EQ(0x09, f[1]);
}

TEST(FrameBuild, FixedReaderNumberLinkBuildsButDoesNotSend) {
  Face face(3);
  Bytes f = Build(3, 0x04, 5, {});
  EXPECT_EQ(0x00, f[3]);
  EXPECT_EQ(0x01, f[4]);
  unsigned char d[1] = {0};
  EXPECT_EQ(3, CombineByte_Send(0x04, 5, 0, d));
}

TEST(FrameBuild, NoLinkBuildsNothing) {
  Face face(0);
  unsigned char d[1] = {0};
  EXPECT_EQ(0, CombineByte_Send(0x04, 1, 0, d));
}

TEST(FrameBuild, RefusesADataFieldLargerThanOneFrame) {
  Face face(3);
  std::vector<unsigned char> big(kMaxDataField + 1, 0x55);
  EXPECT_EQ(-1, CombineByte_Send(0x09, 1, static_cast<int>(big.size()), big.data()));
  EXPECT_EQ(-1, CombineByte_Send(0x09, 1, -1, big.data()));
  // The largest field fits, even when every byte doubles when stuffed.
  std::vector<unsigned char> worst(kMaxDataField, 0x10);
  EXPECT_EQ(3, CombineByte_Send(0x09, 1, kMaxDataField, worst.data()));
  Bytes f = Build(1, 0x10, 0x1010, Bytes(kMaxDataField, 0x10));
  EXPECT_EQ(orvex_test::SerialCommandFrame(0x1010, 0x10, Bytes(kMaxDataField, 0x10)), f);
}

TEST(AnswerDecode, SerialAnswer) {
  Face face(1);
  Decoded d = Decode(orvex_test::SerialAnswerFrame(0x0203, 0x22, 0x00, {0x04, 0x00}));
  EXPECT_EQ(2, d.rt);
  EXPECT_EQ(0x0203, d.reader);
  EXPECT_EQ(0x22, d.cmd);
  EXPECT_EQ(0x00, d.status);
  EXPECT_EQ((Bytes{0x04, 0x00}), d.data);
}

TEST(AnswerDecode, EmptyAnswerReturnsZero) {
  Face face(1);
  Decoded d = Decode(orvex_test::SerialAnswerFrame(1, 0x06, 0x00, {}));
  EXPECT_EQ(0, d.rt);
  EXPECT_EQ(0x06, d.cmd);
}

TEST(AnswerDecode, StuffedAnswerIsUnstuffed) {
  Face face(1);
  Bytes data = {0x02, 0x10, 0x03, 0x10, 0x10};
  Decoded d = Decode(orvex_test::SerialAnswerFrame(0x1002, 0x10, 0x03, data));
  EXPECT_EQ(5, d.rt);
  EXPECT_EQ(data, d.data);
  EXPECT_EQ(0x1002, d.reader);
  EXPECT_EQ(0x03, d.status);
}

TEST(AnswerDecode, ExtraBytesAfterEtxFailTheLengthCheck) {
  Face face(1);
  Bytes raw = orvex_test::SerialAnswerFrame(1, 0x06, 0x00, {0x01});
  raw.push_back(0x00);
  EXPECT_EQ(-1, Decode(raw).rt);
}

TEST(AnswerDecode, FrameCutShortFailsTheLengthCheck) {
  Face face(1);
  Bytes raw = orvex_test::SerialAnswerFrame(1, 0x06, 0x00, {0x01, 0x02});
  raw.resize(raw.size() - 2);
  EXPECT_EQ(-1, Decode(raw).rt);
}

TEST(AnswerDecode, BadChecksumIsMinusTwoAndWritesNothing) {
  Face face(1);
  Bytes raw = orvex_test::SerialAnswerFrame(1, 0x06, 0x00, {0x01, 0x02});
  raw[raw.size() - 2] ^= 0x40;
  Decoded d = Decode(raw);
  EXPECT_EQ(-2, d.rt);
  EXPECT_EQ(-7, d.reader);
  EXPECT_EQ(0xEE, d.cmd);
  EXPECT_EQ(0xEE, d.status);
}

TEST(AnswerDecode, HidAnswerWithWrongLengthButRightChecksumIsAccepted) {
  Face face(2);
  Bytes raw = orvex_test::HidAnswerFrame(1, 0x04, 0x00, {0x01, 0x23});
  raw[1] = 0x30;                 // wrong length...
  raw.back() ^= 0x30 ^ 0x09;     // ...with the checksum made right again
  Decoded d = Decode(raw);
  EXPECT_EQ(2, d.rt);
  EXPECT_EQ((Bytes{0x01, 0x23}), d.data);
}

TEST(AnswerDecode, HidChecksumError) {
  Face face(2);
  Bytes raw = orvex_test::HidAnswerFrame(1, 0x04, 0x00, {0x01, 0x23});
  raw[6] ^= 1;
  EXPECT_EQ(-2, Decode(raw).rt);
}

TEST(AnswerDecode, HidDecodingWorksWhateverTheLinkKind) {
  Face face(1);
  Bytes raw = orvex_test::HidAnswerFrame(9, 0x05, 0x01, {0xAA});
  int reader = 0;
  unsigned char cmd = 0, status = 0, out[kMaxAnswerData];
  EXPECT_EQ(1, HID_DecodeByte_Receive(reader, cmd, status, static_cast<int>(raw.size()), raw.data(), out));
  EXPECT_EQ(9, reader);
  EXPECT_EQ(0x01, status);
  EXPECT_EQ(0xAA, out[0]);
}

TEST(AnswerDecode, NoLinkDecodesNothing) {
  Face face(0);
  EXPECT_EQ(-1, Decode(orvex_test::SerialAnswerFrame(1, 0x06, 0x00, {})).rt);
}

TEST(AnswerDecode, AnswerLargerThanTheBuffersIsRefused) {
  Face face(1);
  Bytes big(kMaxAnswerData + 1, 0x41);
  EXPECT_EQ(-1, Decode(orvex_test::SerialAnswerFrame(1, 0x32, 0x00, big)).rt);
  Bytes fits(kMaxAnswerData, 0x41);
  EXPECT_EQ(kMaxAnswerData, Decode(orvex_test::SerialAnswerFrame(1, 0x32, 0x00, fits)).rt);
  FaceID = 2;
  EXPECT_EQ(-1, Decode(orvex_test::HidAnswerFrame(1, 0x32, 0x00, big)).rt);
}

TEST(AnswerDecode, TooShortOrEmptyInputsFail) {
  Face face(1);
  EXPECT_EQ(-1, Decode({}).rt);
  EXPECT_EQ(-1, Decode({0x02}).rt);
  EXPECT_EQ(-1, Decode({0x02, 0x00, 0x02, 0x03}).rt);
  FaceID = 2;
  EXPECT_EQ(-1, Decode({0x00, 0x07, 0x00}).rt);
}

TEST(AnswerDecode, RandomBytesNeverDecodeOutsideTheBuffers) {
  Face face(1);
  unsigned seed = 12345;
  for (int round = 0; round < 2000; ++round) {
    seed = seed * 1103515245u + 12345u;
    size_t len = seed % 64;
    Bytes raw(len);
    for (auto& b : raw) {
      seed = seed * 1103515245u + 12345u;
      b = static_cast<unsigned char>(seed >> 16);
    }
    if (!raw.empty()) raw[0] = 0x02;
    Decoded d = Decode(raw);
    if (d.rt >= 0) {
      EXPECT_LE(d.rt, static_cast<int>(len));
    }
  }
}

// ---- The byte builder and the bounded copy shared by every command ----------

namespace {

// A builder over a 4-byte buffer, as the APDU builder is one over its own.
class Small : public ByteWriter<Small, 4> {};

}  // namespace

TEST(ByteBuilder, AppendsLowBytesInTheOrderAsked) {
  Field f;
  f.u8(0x1AB).u16be(0x1234).u16le(0x1234).u32le(0x01020304u).u32be(0x01020304u).fill(7, 2);
  EXPECT_EQ((Bytes{0xAB, 0x12, 0x34, 0x34, 0x12, 4, 3, 2, 1, 1, 2, 3, 4, 7, 7}),
            Bytes(f.data(), f.data() + f.size()));
  EXPECT_FALSE(f.overflowed());
}

TEST(ByteBuilder, CountsPastItsCapacityWithoutWritingAndMarksItself) {
  unsigned char p[6] = {1, 2, 3, 4, 5, 6};
  Small s;
  s.bytes(p, 4);
  EXPECT_FALSE(s.overflowed());
  s.u8(9).bytes(p, -3);
  EXPECT_EQ(5, s.size());
  EXPECT_TRUE(s.overflowed());
  EXPECT_EQ((Bytes{1, 2, 3, 4}), Bytes(s.data(), s.data() + 4));
}

TEST(BoundedCopy, StopsAtRoomAndAtTheEndOfTheBuffer) {
  AnswerBytes a;
  a.len = 3;
  a.data[0] = 0x11;
  a.data[1] = 0x22;
  a.data[2] = 0x33;
  a.data[kMaxAnswerData - 1] = 0x99;
  unsigned char out[8];
  memset(out, 0xEE, sizeof out);
  EXPECT_EQ(2, a.CopyTo(out, 1, 5, 2));  // room 2
  EXPECT_EQ((Bytes{0x22, 0x33, 0xEE}), Bytes(out, out + 3));
  memset(out, 0xEE, sizeof out);
  EXPECT_EQ(4, a.CopyTo(out, 1, 4));  // the zeros behind the answer
  EXPECT_EQ((Bytes{0x22, 0x33, 0, 0, 0xEE}), Bytes(out, out + 5));
  memset(out, 0xEE, sizeof out);
  EXPECT_EQ(1, a.CopyTo(out, kMaxAnswerData - 1, 8));  // the buffer's last byte, no further
  EXPECT_EQ((Bytes{0x99, 0xEE}), Bytes(out, out + 2));
  memset(out, 0xEE, sizeof out);
  EXPECT_EQ(0, a.CopyTo(out, -1, 4));
  EXPECT_EQ(0, a.CopyTo(out, kMaxAnswerData, 4));
  EXPECT_EQ(0, a.CopyTo(out, 0, -2));
  EXPECT_EQ(0, a.CopyTo(out, 0, 4, 0));
  EXPECT_EQ(Bytes(8, 0xEE), Bytes(out, out + 8));
}

TEST(BoundedCopy, FromCountsTheAnswerBytesLeft) {
  AnswerBytes a;
  a.len = 5;
  EXPECT_EQ(5, a.From(0));
  EXPECT_EQ(2, a.From(3));
  EXPECT_EQ(0, a.From(5));
  EXPECT_EQ(0, a.From(9));
}

TEST(BoundedCopy, FieldsReadZeroPastTheBuffer) {
  AnswerBytes a;
  a.data[0] = 0x01;
  a.data[1] = 0x02;
  a.data[2] = 0x03;
  a.data[3] = 0x84;
  EXPECT_EQ(0x84030201u, a.u32le(0));
  EXPECT_EQ(0x0102, a.u16be(0));
  EXPECT_EQ(0x0201, a.u16le(0));
  EXPECT_EQ(0, a.at(-1));
  EXPECT_EQ(0, a.at(kMaxAnswerData));
}
