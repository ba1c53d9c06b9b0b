// SPDX-License-Identifier: MIT
// The NDEF record and message TLV codec: the byte images, round trips of
// text and URI records, and hostile images that must never be read past
// their end (each is copied into a heap block of exactly its size, so that
// the address sanitizer sees any overread).
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ndef/untNDEF.h"
#include "orvex.h"

namespace {

using Bytes = std::vector<uint8_t>;

// An exactly-sized heap copy of an image.
struct Exact {
  explicit Exact(const Bytes& b) : n(static_cast<int>(b.size())), p(new unsigned char[b.size() ? b.size() : 1]) {
    if (!b.empty()) std::memcpy(p.get(), b.data(), b.size());
  }
  int n;
  std::unique_ptr<unsigned char[]> p;
};

int Decode(TLV& t, const Bytes& image) {
  Exact e(image);
  return t.DecodeAllBuffer(e.p.get(), e.n);
}

Bytes Image(TLV& t) {
  std::vector<unsigned char> buf(orvex::kMaxMessageImage + 16, 0xEE);
  int n = t.CreateAllBuffer(buf.data());
  EXPECT_EQ(0xEE, buf[static_cast<size_t>(n)]) << "wrote past its length";
  return Bytes(buf.begin(), buf.begin() + n);
}

Bytes Concat(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

unsigned char* U(std::string& s) { return reinterpret_cast<unsigned char*>(&s[0]); }

struct Item {
  unsigned char uri;
  std::string text;
};

Item Read(TLV& t, int i) {
  unsigned char uri = 0xEE;
  int len = -7;
  std::vector<unsigned char> s(300, 0);
  EXPECT_EQ(1, t.GetRecord(i, &uri, &len, s.data()));
  EXPECT_GE(len, 0);
  return Item{uri, std::string(s.begin(), s.begin() + (len > 0 ? len : 0))};
}

}  // namespace

// ---- Records ----------------------------------------------------------------

TEST(NdefRecord, HeaderBitsFromTheLeastSignificantUp) {
  NDEFHeader h;
  EXPECT_EQ(1u, sizeof h);
  h.Value = 0xD1;
  EXPECT_EQ(1, h.Header.TNF);
  EXPECT_EQ(0, h.Header.IL);
  EXPECT_EQ(1, h.Header.SR);
  EXPECT_EQ(0, h.Header.CF);
  EXPECT_EQ(1, h.Header.ME);
  EXPECT_EQ(1, h.Header.MB);
  h.Value = 0x08;
  EXPECT_EQ(1, h.Header.IL);
  EXPECT_EQ(0, h.Header.TNF);
}

TEST(NdefRecord, UriRecordAloneEncodesAsTheExample) {
  std::string abc = "abc";
  NDEFRecord r(0x01, 3, U(abc));
  EXPECT_EQ(3, r.strLen);
  EXPECT_EQ(0x01, r.URI);
  r.MB = 1;
  r.ME = 1;
  unsigned char out[12];
  std::memset(out, 0xEE, sizeof out);
  EXPECT_EQ(8, r.EncodeTo(out));
  EXPECT_EQ(Bytes({0xD1, 0x01, 0x04, 0x55, 0x01, 0x61, 0x62, 0x63}), Bytes(out, out + 8));
  EXPECT_EQ(0xEE, out[8]);
  // The encoder keeps what it wrote in the record.
  EXPECT_EQ(0xD1, r.Header.Value);
  EXPECT_EQ(1, r.TypeLength);
  EXPECT_EQ('U', r.Type[0]);
  EXPECT_EQ(4, r.PayloadLength);
  EXPECT_EQ(Bytes({0x01, 0x61, 0x62, 0x63}), Bytes(r.Payload, r.Payload + 4));
}

TEST(NdefRecord, TextRecordAloneEncodesAsTheExample) {
  std::string hi = "Hi";
  NDEFRecord r(0x00, 2, U(hi));
  r.MB = 1;
  r.ME = 1;
  unsigned char out[12];
  std::memset(out, 0xEE, sizeof out);
  EXPECT_EQ(9, r.EncodeTo(out));
  EXPECT_EQ(Bytes({0xD1, 0x01, 0x05, 0x54, 0x02, 0x65, 0x6E, 0x48, 0x69}), Bytes(out, out + 9));
  EXPECT_EQ(0xEE, out[9]);
  EXPECT_EQ('T', r.Type[0]);
  EXPECT_EQ(5, r.PayloadLength);
}

TEST(NdefRecord, FlagsAreTakenByTheirLowBit) {
  std::string x = "x";
  NDEFRecord r(0x03, 1, U(x));
  r.MB = 2;  // low bit clear
  r.ME = 3;
  unsigned char out[8];
  r.EncodeTo(out);
  EXPECT_EQ(0x51, out[0]);
}

TEST(NdefRecord, DefaultRecordIsEmpty) {
  NDEFRecord r;
  EXPECT_EQ(0, r.TypeLength);
  EXPECT_EQ(0, r.PayloadLength);
  EXPECT_EQ(0, r.IDLength);
  EXPECT_EQ(std::string(255, '\0'), std::string(r.Type, r.Type + 255));
  EXPECT_EQ(Bytes(255, 0), Bytes(r.Payload, r.Payload + 255));
  EXPECT_EQ(Bytes(255, 0), Bytes(r.ID, r.ID + 255));
  EXPECT_EQ(std::string(255, '\0'), std::string(r.string, r.string + 255));
}

TEST(NdefRecord, ContentLongerThanARecordIsCutTo255) {
  std::vector<unsigned char> s(400, 'a');
  NDEFRecord r(0x01, 400, s.data());
  EXPECT_EQ(255, r.strLen);
  NDEFRecord none(0x01, -4, s.data());
  EXPECT_EQ(0, none.strLen);
}

TEST(NdefRecord, EncodeOfAnOverlongContentStaysWithinOneRecord) {
  // 255 URI bytes: the one-byte payload length wraps to 0; nothing is written
  // past the record's bytes or the record's own arrays.
  std::vector<unsigned char> s(255, 'u');
  NDEFRecord uri(0x04, 255, s.data());
  Exact out(Bytes(orvex::kMaxRecordImage, 0));
  EXPECT_EQ(4, uri.EncodeTo(out.p.get()));
  EXPECT_EQ(0, uri.PayloadLength);
  NDEFRecord text(0x00, 255, s.data());
  EXPECT_EQ(4 + 2, text.EncodeTo(out.p.get()));  // 258 & 0xFF
  NDEFRecord longest(0x00, 252, s.data());
  EXPECT_EQ(orvex::kMaxRecordImage, longest.EncodeTo(out.p.get()));
}

TEST(NdefRecord, DecodeUriRecord) {
  Exact e({0xD1, 0x01, 0x04, 0x55, 0x01, 0x61, 0x62, 0x63});
  NDEFRecord r;
  EXPECT_EQ(8, r.DecodeFrom(e.p.get()));
  EXPECT_TRUE(r.NDEFFormat);
  EXPECT_EQ(0x01, r.URI);
  EXPECT_EQ(3, r.strLen);
  EXPECT_EQ("abc", std::string(r.string, r.string + 3));
  EXPECT_EQ(1, r.MB);
  EXPECT_EQ(1, r.ME);
}

TEST(NdefRecord, DecodeTextRecordDropsTheLanguageCode) {
  Exact e({0x11, 0x01, 0x05, 0x54, 0x02, 0x65, 0x6E, 0x48, 0x69});
  NDEFRecord r;
  EXPECT_EQ(9, r.DecodeFrom(e.p.get()));
  EXPECT_EQ(0, r.URI);
  EXPECT_EQ(2, r.strLen);
  EXPECT_EQ("Hi", std::string(r.string, r.string + 2));
  EXPECT_EQ(0, r.MB);
  EXPECT_EQ(0, r.ME);
}

TEST(NdefRecord, TextStatusByteCountsWhole) {
  // Status 0x82: the UTF-16 flag is not masked off, so 130 bytes of language
  // code precede the text.
  Bytes payload = {0x82};
  payload.insert(payload.end(), 130, 'L');
  payload.insert(payload.end(), {'x', 'y', 'z'});
  Bytes rec = {0xD1, 0x01, static_cast<uint8_t>(payload.size()), 'T'};
  rec = Concat(rec, payload);
  Exact e(rec);
  NDEFRecord r;
  EXPECT_EQ(static_cast<int>(rec.size()), r.DecodeFrom(e.p.get()));
  EXPECT_EQ(3, r.strLen);
  EXPECT_EQ("xyz", std::string(r.string, r.string + 3));
}

TEST(NdefRecord, TextStatusByteBeyondThePayloadLeavesAnEmptyText) {
  Exact e({0xD1, 0x01, 0x03, 'T', 0x09, 'e', 'n'});
  NDEFRecord r;
  EXPECT_EQ(7, r.DecodeFrom(e.p.get()));
  EXPECT_TRUE(r.NDEFFormat);
  EXPECT_EQ(0, r.strLen);
}

TEST(NdefRecord, LongFormRecordKeepsTheFirstLengthByte) {
  // SR clear: the lengths 00 00 00 05 give the one-byte field the 00.
  Exact e({0xC1, 0x01, 0x00, 0x00, 0x00, 0x05, 'U', 0x01, 'a', 'b', 'c', 'd'});
  NDEFRecord r;
  EXPECT_EQ(7, r.DecodeFrom(e.p.get()));
  EXPECT_EQ(0, r.PayloadLength);
  EXPECT_EQ(0, r.strLen);
}

TEST(NdefRecord, IdIsReadWhenPresent) {
  Exact e({0xD9, 0x01, 0x02, 0x03, 'U', 0xA, 0xB, 0xC, 0x02, 'q'});
  NDEFRecord r;
  EXPECT_EQ(10, r.DecodeFrom(e.p.get()));
  EXPECT_EQ(3, r.IDLength);
  EXPECT_EQ(Bytes({0xA, 0xB, 0xC}), Bytes(r.ID, r.ID + 3));
  EXPECT_EQ(0x02, r.URI);
  EXPECT_EQ("q", std::string(r.string, r.string + 1));
}

TEST(NdefRecord, OtherTypesAreNotTaken) {
  Exact e({0xD2, 0x0A, 0x01, 't', 'e', 'x', 't', '/', 'p', 'l', 'a', 'i', 'n', 'x'});
  NDEFRecord r;
  EXPECT_EQ(0, r.DecodeFrom(e.p.get()));
  EXPECT_FALSE(r.NDEFFormat);
}

// ---- Message TLV --------------------------------------------------------------

TEST(NdefTlv, ConstructorDefaults) {
  TLV t;
  EXPECT_EQ(0x00, t.TLVBlank);
  EXPECT_EQ(0x03, t.TLVHeader);
  EXPECT_EQ(0xFE, t.TLVTeminate);
  EXPECT_EQ(0, t.RecordCount);
  EXPECT_EQ(Bytes(6, 0xFF), Bytes(t.Key, t.Key + 6));
  for (NDEFRecord* r : t.NFCRecord) EXPECT_EQ(nullptr, r);
}

TEST(NdefTlv, EmptyContainerEncodesAsThreeBytes) {
  TLV t;
  EXPECT_EQ(Bytes({0x03, 0x00, 0xFE}), Image(t));
}

TEST(NdefTlv, EmptyImageDecodesToNoRecords) {
  TLV t;
  std::string a = "a";
  t.AddReacord(1, 1, U(a));
  // The terminator is tried as a record header and reads on into the zeros.
  EXPECT_EQ(0, Decode(t, {0x03, 0x00, 0xFE, 0x00, 0x00, 0x00, 0x00}));
  EXPECT_EQ(0, t.RecordCount);
  // Alone, without the zeros, the terminator cannot be a record either.
  EXPECT_EQ(0, Decode(t, {0x03, 0x00, 0xFE}));
}

TEST(NdefTlv, OneUriRecordImage) {
  TLV t;
  std::string abc = "abc";
  EXPECT_EQ(1, t.AddReacord(0x01, 3, U(abc)));
  EXPECT_EQ(Bytes({0x03, 0x08, 0xD1, 0x01, 0x04, 0x55, 0x01, 0x61, 0x62, 0x63, 0xFE}), Image(t));
}

TEST(NdefTlv, HeadersOfSeveralRecords) {
  TLV t;
  std::string a = "a";
  t.AddReacord(1, 1, U(a));
  t.AddReacord(0, 1, U(a));
  Bytes two = Image(t);
  EXPECT_EQ(0x91, two[2]);
  EXPECT_EQ(0x51, two[2 + 6]);  // after a 6-byte URI record
  t.AddReacord(1, 1, U(a));
  Bytes three = Image(t);
  EXPECT_EQ(0x91, three[2]);
  EXPECT_EQ(0x11, three[2 + 6]);
  EXPECT_EQ(0x51, three[2 + 6 + 8]);  // after an 8-byte text record
  EXPECT_EQ(three.size() - 3, three[1]);
  EXPECT_EQ(0xFE, three.back());
  // The flags are kept in the records.
  EXPECT_EQ(1, t.NFCRecord[0]->MB);
  EXPECT_EQ(0, t.NFCRecord[1]->MB);
  EXPECT_EQ(0, t.NFCRecord[1]->ME);
  EXPECT_EQ(1, t.NFCRecord[2]->ME);
}

TEST(NdefTlv, SixthRecordIsRefused) {
  TLV t;
  std::string a = "a";
  for (int i = 1; i <= 5; ++i) EXPECT_EQ(i, t.AddReacord(1, 1, U(a)));
  EXPECT_EQ(-1, t.AddReacord(1, 1, U(a)));
  EXPECT_EQ(5, t.RecordCount);
}

TEST(NdefTlv, ContentTooLongForItsRecordIsRefused) {
  TLV t;
  std::vector<unsigned char> s(300, 'z');
  EXPECT_EQ(-1, t.AddReacord(0, 253, s.data()));
  EXPECT_EQ(-1, t.AddReacord(1, 255, s.data()));
  EXPECT_EQ(-1, t.AddReacord(1, -1, s.data()));
  EXPECT_EQ(0, t.RecordCount);
  EXPECT_EQ(1, t.AddReacord(0, 252, s.data()));
  EXPECT_EQ(2, t.AddReacord(1, 254, s.data()));
}

TEST(NdefTlv, DecodeTheExampleBehindTwoNullTlvs) {
  TLV t;
  Bytes image = {0x00, 0x00, 0x03, 0x08, 0xD1, 0x01, 0x04, 0x55, 0x01, 0x61, 0x62, 0x63, 0xFE};
  EXPECT_EQ(1, Decode(t, Concat(image, Bytes(16, 0))));
  EXPECT_EQ(1, t.RecordCount);
  EXPECT_EQ(0x01, t.NFCRecord[0]->URI);
  EXPECT_EQ(3, t.NFCRecord[0]->strLen);
  Item it = Read(t, 0);
  EXPECT_EQ(0x01, it.uri);
  EXPECT_EQ("abc", it.text);
  // Without the zeros behind it, too.
  EXPECT_EQ(1, Decode(t, image));
}

TEST(NdefTlv, DecodeFailures) {
  TLV t;
  std::string a = "a";
  Bytes image = {0x00, 0x00, 0x03, 0x08, 0xD1, 0x01, 0x04, 0x55, 0x01, 0x61, 0x62, 0x63, 0xFE};
  Bytes noTerminator = image;
  noTerminator.back() = 0xFF;
  t.AddReacord(1, 1, U(a));
  EXPECT_EQ(-1, Decode(t, Concat(noTerminator, Bytes(4, 0))));
  EXPECT_EQ(0, t.RecordCount);  // emptied all the same
  EXPECT_EQ(-1, Decode(t, {0x00, 0x00, 0xD1, 0x01, 0xFE, 0x00}));
  t.AddReacord(1, 1, U(a));
  Exact e(image);
  EXPECT_EQ(-1, t.DecodeAllBuffer(e.p.get(), 0));
  EXPECT_EQ(0, t.RecordCount);
}

TEST(NdefTlv, NegativeLengthReadsNothing) {
  TLV t;
  Exact e({0x03});
  EXPECT_EQ(-1, t.DecodeAllBuffer(e.p.get(), -1));
  EXPECT_EQ(-1, t.DecodeAllBuffer(e.p.get(), -1000));
}

TEST(NdefTlv, NegativeLengthInsideALargerBufferTakesPositionZeroAsTheTag) {
  // The read functions pass their failure codes on as the length: the tag is
  // then taken at position 0, whatever it holds, and one record at most.
  TLV t;
  Bytes image = {0x77, 0x06, 0xD1, 0x01, 0x02, 0x55, 0x01, 0x61, 0xFE, 0x00, 0x00};
  Exact e(image);
  EXPECT_EQ(1, orvex::DecodeMessage(t, e.p.get(), -6, e.n));
  EXPECT_EQ("a", Read(t, 0).text);
  std::vector<unsigned char> zeros(1000, 0);
  EXPECT_EQ(-1, orvex::DecodeMessage(t, zeros.data(), -4, 1000));
}

TEST(NdefTlv, TextRecordReadsBackWithUriZero) {
  TLV t;
  Bytes image = {0x03, 0x09, 0xD1, 0x01, 0x05, 0x54, 0x02, 0x65, 0x6E, 0x48, 0x69, 0xFE};
  EXPECT_EQ(1, Decode(t, image));
  Item it = Read(t, 0);
  EXPECT_EQ(0, it.uri);
  EXPECT_EQ("Hi", it.text);
}

TEST(NdefTlv, GetRecordOutOfRangeWritesNothing) {
  TLV t;
  std::string a = "ab";
  t.AddReacord(1, 2, U(a));
  unsigned char uri = 0xEE;
  int len = -7;
  unsigned char s[4] = {0xEE, 0xEE, 0xEE, 0xEE};
  EXPECT_EQ(0, t.GetRecord(t.RecordCount, &uri, &len, s));
  EXPECT_EQ(0, t.GetRecord(-1, &uri, &len, s));
  EXPECT_EQ(0xEE, uri);
  EXPECT_EQ(-7, len);
  EXPECT_EQ(Bytes(4, 0xEE), Bytes(s, s + 4));
  EXPECT_EQ(1, t.GetRecord(0, &uri, &len, s));
  EXPECT_EQ(Bytes({'a', 'b', 0xEE, 0xEE}), Bytes(s, s + 4));  // no terminator added
}

TEST(NdefTlv, DecodeStopsAtARecordOfAnotherType) {
  Bytes value = {0x91, 0x01, 0x02, 'U', 0x01, 'a',                 // taken
                 0x12, 0x01, 0x01, 'X', 0x00,                      // ends the walk
                 0x51, 0x01, 0x02, 'U', 0x01, 'b'};                // not reached
  Bytes image = {0x03, static_cast<uint8_t>(value.size())};
  image = Concat(Concat(image, value), {0xFE});
  TLV t;
  EXPECT_EQ(1, Decode(t, image));
}

TEST(NdefTlv, DecodeStopsAtFiveRecords) {
  Bytes value;
  for (int i = 0; i < 7; ++i) value = Concat(value, {0x11, 0x01, 0x02, 'U', 0x01, static_cast<uint8_t>('a' + i)});
  Bytes image = {0x03, static_cast<uint8_t>(value.size())};
  image = Concat(Concat(image, value), {0xFE});
  TLV t;
  EXPECT_EQ(5, Decode(t, image));
  EXPECT_EQ("e", Read(t, 4).text);
}

// ---- Round trips -----------------------------------------------------------------

TEST(NdefTlv, RoundTripsOfOneToFiveRecords) {
  const std::vector<Item> items = {
      {0x00, "Hello"}, {0x04, "example.com/a"}, {0x00, ""}, {0x01, ""}, {0x23, "x"}};
  for (size_t k = 1; k <= items.size(); ++k) {
    TLV out;
    for (size_t i = 0; i < k; ++i) {
      std::string s = items[i].text;
      ASSERT_EQ(static_cast<int>(i + 1), out.AddReacord(items[i].uri, static_cast<int>(s.size()), U(s)));
    }
    Bytes image = Image(out);
    TLV in;
    ASSERT_EQ(static_cast<int>(k), Decode(in, image)) << k << " records";
    for (size_t i = 0; i < k; ++i) {
      Item it = Read(in, static_cast<int>(i));
      EXPECT_EQ(items[i].uri, it.uri);
      EXPECT_EQ(items[i].text, it.text);
    }
  }
}

TEST(NdefRecord, RoundTripsOfTheLongestContents) {
  // 252 bytes of text and 254 of URI fill the one-byte payload length.
  std::string text(252, 'T');
  for (int i = 0; i < 252; ++i) text[static_cast<size_t>(i)] = static_cast<char>(i);
  std::string uri(254, 'U');
  for (int i = 0; i < 254; ++i) uri[static_cast<size_t>(i)] = static_cast<char>(255 - i);
  for (const Item& item : {Item{0x00, text}, Item{0x02, uri}}) {
    std::string s = item.text;
    NDEFRecord out(item.uri, static_cast<int>(s.size()), U(s));
    out.MB = out.ME = 1;
    Exact buf(Bytes(orvex::kMaxRecordImage, 0));
    ASSERT_EQ(orvex::kMaxRecordImage, out.EncodeTo(buf.p.get()));
    EXPECT_EQ(0xFF, buf.p[2]);
    NDEFRecord in;
    ASSERT_EQ(orvex::kMaxRecordImage, in.DecodeFrom(buf.p.get()));
    EXPECT_EQ(item.uri, in.URI);
    EXPECT_EQ(item.text, std::string(in.string, in.string + in.strLen));
  }
}

TEST(NdefTlv, RoundTripsUpToTheOneByteTlvLength) {
  // The TLV value holds at most 255 bytes: one record of 248 bytes of text
  // or 250 of URI.
  std::string text(248, 't');
  std::string uri(250, 'u');
  TLV out;
  out.AddReacord(0, 248, U(text));
  Bytes image = Image(out);
  EXPECT_EQ(0xFF, image[1]);
  TLV in;
  ASSERT_EQ(1, Decode(in, image));
  EXPECT_EQ(text, Read(in, 0).text);
  out.ClearAllRecord();
  out.AddReacord(0x03, 250, U(uri));
  ASSERT_EQ(1, Decode(in, Image(out)));
  EXPECT_EQ(0x03, Read(in, 0).uri);
  EXPECT_EQ(uri, Read(in, 0).text);
}

TEST(NdefTlv, LongerMessagesWrapTheTlvLength) {
  // Only the one-byte length form is written: a 252-byte text (a 259-byte
  // record) gives the length 259 & 0xFF = 3, and the image no longer decodes.
  std::string text(252, 'T');
  TLV out;
  out.AddReacord(0, 252, U(text));
  Bytes image = Image(out);
  EXPECT_EQ(259u + 3, image.size());
  EXPECT_EQ(3, image[1]);
  TLV in;
  EXPECT_EQ(-1, Decode(in, image));
}

TEST(NdefTlv, LargestImageStaysWithinItsDocumentedSize) {
  TLV t;
  std::vector<unsigned char> s(252, 'q');
  for (int i = 0; i < 5; ++i) t.AddReacord(0, 252, s.data());
  Exact out(Bytes(orvex::kMaxMessageImage, 0));
  EXPECT_EQ(orvex::kMaxMessageImage, t.CreateAllBuffer(out.p.get()));
  EXPECT_EQ(0xFE, out.p[orvex::kMaxMessageImage - 1]);
}

// ---- Hostile images ---------------------------------------------------------------

TEST(NdefHostile, LengthBytesPointingPastTheEnd) {
  TLV t;
  EXPECT_EQ(-1, Decode(t, {0x03}));
  EXPECT_EQ(-1, Decode(t, {0x03, 0xFF}));
  EXPECT_EQ(-1, Decode(t, {0x03, 0xFF, 0xD1, 0x01}));
  EXPECT_EQ(-1, Decode(t, {0x00, 0x00, 0x03, 0x05, 0xD1}));
  // A well-terminated TLV whose record claims more than the buffer holds.
  EXPECT_EQ(0, Decode(t, {0x03, 0x02, 0xD1, 0xFE, 0xFE}));
  EXPECT_EQ(0, Decode(t, {0x03, 0x03, 0xD1, 0x01, 0xFF, 0xFE}));
  EXPECT_EQ(0, Decode(t, {0x03, 0x04, 0xD9, 0x01, 0x01, 0xFF, 0xFE}));
  EXPECT_EQ(0, Decode(t, {0x03, 0x03, 0xC1, 0x01, 0x05, 0xFE}));  // long form, lengths cut off
}

TEST(NdefHostile, ThreesEverywhere) {
  TLV t;
  for (size_t n = 0; n <= 300; ++n) {
    int rt = Decode(t, Bytes(n, 0x03));
    EXPECT_EQ(-1, rt) << n;
  }
  // Threes with a terminator where the length points.
  Bytes b(8, 0x03);
  b[5] = 0xFE;
  EXPECT_EQ(0, Decode(t, b));
}

TEST(NdefHostile, FfLengthsEverywhere) {
  TLV t;
  for (size_t n = 2; n <= 300; n += 7) {
    Bytes b(n, 0xFF);
    b[0] = 0x03;
    EXPECT_EQ(-1, Decode(t, b)) << n;
  }
  // A whole 255-byte value of FF records.
  Bytes b(2 + 255 + 1, 0xFF);
  b[0] = 0x03;
  b[257] = 0xFE;
  EXPECT_EQ(0, Decode(t, b));
}

TEST(NdefHostile, LongFormRecords) {
  TLV t;
  // Long-form records whose real lengths would be large, packed end to end.
  Bytes value;
  for (int i = 0; i < 3; ++i) value = Concat(value, {0x01, 0x01, 0x00, 0x00, 0x10, 0x00, 'U'});
  Bytes image = Concat(Concat({0x03, static_cast<uint8_t>(value.size())}, value), {0xFE});
  int rt = Decode(t, image);
  EXPECT_EQ(3, rt);  // each decodes with payload length 0
}

TEST(NdefHostile, RandomImagesNeverReadPastTheirEnd) {
  std::mt19937 rng(20240611u);
  const uint8_t interesting[] = {0x00, 0x03, 0xFE, 0xFF, 0xD1, 0x91, 0x11, 0x51, 0xC1, 0xD9, 'T', 'U', 0x01, 0x02};
  TLV t;
  for (int iter = 0; iter < 4000; ++iter) {
    size_t n = rng() % 64;
    if (iter % 10 == 0) n = rng() % 600;
    Bytes b(n);
    for (auto& x : b) x = (rng() % 3) ? interesting[rng() % sizeof interesting] : static_cast<uint8_t>(rng());
    // Often make the terminator check pass so that the record walk runs.
    if (n >= 3 && rng() % 2) {
      b[0] = 0x03;
      size_t L = rng() % (n - 2);
      b[1] = static_cast<uint8_t>(L);
      b[2 + L] = 0xFE;
    }
    int rt = Decode(t, b);
    ASSERT_GE(rt, -1);
    ASSERT_LE(rt, 5);
    ASSERT_EQ(rt < 0 ? 0 : rt, t.RecordCount);
    for (int i = 0; i < t.RecordCount; ++i) {
      Item it = Read(t, i);
      ASSERT_LE(it.text.size(), 255u);
    }
  }
}
