// SPDX-License-Identifier: MIT
// FMCOS commands: the APDU inside the reader's APDU command (0x32), the
// status word read little-endian, the response data and output lengths, and
// the oddities of the command set that callers rely on.
#include <cstring>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "apps/untFMCOS.h"
#include "reader_fixture.h"

using namespace orvex;
using namespace orvex_test;

namespace {

constexpr uint8_t kApduCommand = 0x32;
constexpr unsigned short kSwUntouched = 0xBEEF;
constexpr unsigned char kLenUntouched = 0xEE;
constexpr short kLen16Untouched = 0x5EEE;
constexpr int kValueUntouched = 0x5A5A5A5A;
constexpr unsigned char kBufUntouched = 0xCC;

// A malformed answer (bad checksum): the fastest way to a link failure.
Reply Broken() { return Reply::Raw({0x02, 0x00, 0x07, 0x00, 0x01, 0x00, 0x00, 0x99, 0x03}); }

// Every output an FMCOS command can write, prefilled so that untouched ones
// show.
struct Outs {
  unsigned short sw = kSwUntouched;
  unsigned char len1 = kLenUntouched;
  unsigned char len2 = kLenUntouched;
  short len16 = kLen16Untouched;
  int value = kValueUntouched;
  std::vector<unsigned char> buf1 = std::vector<unsigned char>(1100, kBufUntouched);
  std::vector<unsigned char> buf2 = std::vector<unsigned char>(1100, kBufUntouched);
  unsigned char* b1() { return buf1.data(); }
  unsigned char* b2() { return buf2.data(); }
};

// What a command does with the card's answer.
enum class Kind {
  kStatus,      // status word only
  kExtAuth,     // status word only, and only from a bare one
  kResponse,    // response data to buf1, one-byte length to len1
  kResponse16,  // response data to buf1, 16-bit length to len16
  kChallenge,   // a fixed count (8 here) to buf1, no length
  kPair,        // two 4-byte fields: buf1/len1, buf2/len2
  kTac,         // one 4-byte field: buf1/len1
  kBalance,     // 4 bytes, least significant first, to value
};

struct FmCase {
  std::string name;
  Kind kind;
  Bytes apdu;
  std::function<int(Orvex&, Outs&)> call;
};

// Inputs.
unsigned char kAuth[8] = {0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8};
unsigned char kMf[2] = {0x3F, 0x00};
unsigned char kData3[3] = {0x01, 0x02, 0x03};
unsigned char kData2[2] = {0xAA, 0xBB};
unsigned char kPin[3] = {0x12, 0x34, 0x56};
unsigned char kNewPin[3] = {0x65, 0x43, 0x21};
unsigned char kKey[5] = {0x39, 0xF0, 0x02, 0x00, 0x44};
unsigned char kInfo[3] = {0x38, 0x05, 0x20};
unsigned char kMac[4] = {0x4D, 0x41, 0x43, 0x31};
unsigned char kPos[6] = {0x50, 0x51, 0x52, 0x53, 0x54, 0x55};
unsigned char kDate[4] = {0x20, 0x24, 0x05, 0x17};
unsigned char kTime[3] = {0x13, 0x45, 0x09};

Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}
Bytes B(const unsigned char* p, size_t n) { return Bytes(p, p + n); }

const Bytes kStamp = Cat({B(kDate, 4), B(kTime, 3), B(kMac, 4)});

std::vector<FmCase> Cases() {
  return {
      {"GetChallenge",
       Kind::kChallenge,
       {0x00, 0x84, 0x00, 0x00, 0x08},
       [](Orvex& o, Outs& x) { return o.OV_FM_GetChallenge(1, 8, x.b1(), &x.sw); }},
      {"ExternalAuthenticate", Kind::kExtAuth, Cat({{0x00, 0x82, 0x00, 0x02, 0x08}, B(kAuth, 8)}),
       [](Orvex& o, Outs& x) { return o.OV_FM_ExternalAuthenticate(1, 2, 8, kAuth, &x.sw); }},
      {"InternalAuthenticate", Kind::kResponse, Cat({{0x00, 0x88, 0x00, 0x01, 0x08}, B(kAuth, 8)}),
       [](Orvex& o, Outs& x) {
         return o.OV_FM_InternalAuthenticate(1, 0x00, 0x01, 8, kAuth, &x.len1, x.b1(), &x.sw);
       }},
      {"Select",
       Kind::kResponse,
       {0x00, 0xA4, 0x00, 0x00, 0x02, 0x3F, 0x00, 0x00},
       [](Orvex&, Outs& x) { return OV_FM_Select(1, 0x00, 2, kMf, 0x00, &x.len1, x.b1(), &x.sw); }},
      {"ReadBinary",
       Kind::kResponse,
       {0x00, 0xB0, 0x95, 0x10, 0x20},
       [](Orvex& o, Outs& x) {
         return o.OV_FM_ReadBinary(1, 0x15, 0x0010, 0x20, &x.len1, x.b1(), &x.sw);
       }},
      {"ReadRecord",
       Kind::kResponse,
       {0x00, 0xB2, 0x02, 0x2C, 0x10},
       [](Orvex& o, Outs& x) {
         return o.OV_FM_ReadRecord(1, 5, 2, 4, 0x10, &x.len1, x.b1(), &x.sw);
       }},
      {"UpdateBinary",
       Kind::kStatus,
       {0x00, 0xD6, 0x01, 0x23, 0x03, 0x01, 0x02, 0x03},
       [](Orvex& o, Outs& x) { return o.OV_FM_UpdateBinary(1, 0, 0x0123, 3, kData3, &x.sw); }},
      {"UpdaterRecord",
       Kind::kStatus,
       {0x00, 0xDC, 0x01, 0x34, 0x02, 0xAA, 0xBB},
       [](Orvex& o, Outs& x) { return o.OV_FM_UpdaterRecord(1, 6, 1, 4, 2, kData2, &x.sw); }},
      {"AppendRecord",
       Kind::kStatus,
       {0x00, 0xE2, 0x00, 0x38, 0x02, 0xAA, 0xBB},
       [](Orvex& o, Outs& x) { return o.OV_FM_AppendRecord(1, 7, 2, kData2, &x.sw); }},
      {"VerifyPin",
       Kind::kStatus,
       {0x00, 0x20, 0x00, 0x01, 0x03, 0x12, 0x34, 0x56},
       [](Orvex& o, Outs& x) { return o.OV_FM_VerifyPin(1, 1, 3, kPin, &x.sw); }},
      {"EraseDF",
       Kind::kStatus,
       {0x80, 0x0E, 0x00, 0x00, 0x00},
       [](Orvex& o, Outs& x) { return o.OV_FM_EraseDF(1, &x.sw); }},
      {"WriteKey", Kind::kStatus, Cat({{0x80, 0xD4, 0x01, 0x00, 0x05}, B(kKey, 5)}),
       [](Orvex& o, Outs& x) { return o.OV_FM_WriteKey(1, 0x01, 0x00, 5, kKey, &x.sw); }},
      {"CreateFile", Kind::kStatus, Cat({{0x80, 0xE0, 0xDF, 0x01, 0x03}, B(kInfo, 3)}),
       [](Orvex& o, Outs& x) { return o.OV_FM_CreateFile(1, 0xDF01, 3, kInfo, &x.sw); }},
      {"ReadBinaryWithProtected", Kind::kResponse16,
       Cat({{0x04, 0xB0, 0x96, 0x04, 0x04}, B(kMac, 4)}),
       [](Orvex& o, Outs& x) {
         return o.OV_FM_ReadBinaryWithProtected(1, 1, 0x16, 0x0004, 4, kMac, &x.len16, x.b1(),
                                                &x.sw);
       }},
      {"CardBlock", Kind::kStatus, Cat({{0x84, 0x16, 0x00, 0x00, 0x04}, B(kMac, 4)}),
       [](Orvex& o, Outs& x) { return o.OV_FM_CardBlock(1, 4, kMac, &x.sw); }},
      {"ApplicationUnblock", Kind::kStatus, Cat({{0x84, 0x18, 0x00, 0x00, 0x04}, B(kMac, 4)}),
       [](Orvex& o, Outs& x) { return o.OV_FM_ApplicationUnblock(1, 4, kMac, &x.sw); }},
      {"ApplicationBlock", Kind::kStatus, Cat({{0x84, 0x1E, 0x00, 0x01, 0x04}, B(kMac, 4)}),
       [](Orvex& o, Outs& x) { return o.OV_FM_ApplicationBlock(1, 1, 4, kMac, &x.sw); }},
      {"PinUnblock", Kind::kStatus, Cat({{0x84, 0x24, 0x02, 0x00, 0x07}, B(kPin, 3), B(kMac, 4)}),
       [](Orvex& o, Outs& x) { return o.OV_FM_PinUnblock(1, 2, 3, kPin, 4, kMac, &x.sw); }},
      {"ReloadPin", Kind::kStatus, Cat({{0x80, 0x5E, 0x00, 0x02, 0x07}, B(kPin, 3), B(kMac, 4)}),
       [](Orvex& o, Outs& x) { return o.OV_FM_ReloadPin(1, 2, 3, kPin, 4, kMac, &x.sw); }},
      {"ChangePin", Kind::kStatus,
       Cat({{0x80, 0x5E, 0x01, 0x02, 0x07}, B(kPin, 3), {0xFF}, B(kNewPin, 3)}),
       [](Orvex& o, Outs& x) { return o.OV_FM_ChangePin(1, 2, 3, kPin, 3, kNewPin, &x.sw); }},
      {"InitializeForLoad", Kind::kResponse,
       Cat({{0x80, 0x50, 0x00, 0x01, 0x0B, 0x01, 0x04, 0x03, 0x02, 0x01}, B(kPos, 6), {0x10}}),
       [](Orvex& o, Outs& x) {
         return o.OV_FM_InitializeForLoad(1, 1, 1, 0x01020304, 6, kPos, &x.len1, x.b1(), &x.sw);
       }},
      {"CreditForLoad", Kind::kResponse, Cat({{0x80, 0x52, 0x00, 0x00, 0x0B}, kStamp, {0x10}}),
       [](Orvex& o, Outs& x) {
         return o.OV_FM_CreditForLoad(1, kDate, kTime, kMac, &x.len1, x.b1(), &x.sw);
       }},
      {"InitializeForPurchase", Kind::kResponse,
       Cat({{0x80, 0x50, 0x01, 0x01, 0x0B, 0x01, 0x04, 0x03, 0x02, 0x01}, B(kPos, 6), {0x0F}}),
       [](Orvex& o, Outs& x) {
         return o.OV_FM_InitializeForPurchase(1, 1, 1, 0x01020304, 6, kPos, &x.len1, x.b1(), &x.sw);
       }},
      {"DebitForCappPurchase", Kind::kPair,
       Cat({{0x80, 0x54, 0x01, 0x00, 0x0F, 0x0D, 0x0C, 0x0B, 0x0A}, kStamp, {0x08}}),
       [](Orvex& o, Outs& x) {
         return o.OV_FM_DebitForCappPurchase(1, 0x0A0B0C0D, kDate, kTime, kMac, &x.len1, x.b1(),
                                             &x.len2, x.b2(), &x.sw);
       }},
      {"InitializeForUnload", Kind::kResponse,
       Cat({{0x80, 0x50, 0x05, 0x01, 0x0B, 0x01, 0x04, 0x03, 0x02, 0x01}, B(kPos, 6), {0x10}}),
       [](Orvex& o, Outs& x) {
         return o.OV_FM_InitializeForUnload(1, 1, 1, 0x01020304, 6, kPos, &x.len1, x.b1(), &x.sw);
       }},
      {"CreditForUnload", Kind::kResponse, Cat({{0x80, 0x54, 0x03, 0x00, 0x0B}, kStamp, {0x04}}),
       [](Orvex& o, Outs& x) {
         return o.OV_FM_CreditForUnload(1, kDate, kTime, kMac, &x.len1, x.b1(), &x.sw);
       }},
      {"InitializeForCashWithdraw", Kind::kResponse,
       Cat({{0x80, 0x50, 0x02, 0x01, 0x0B, 0x01, 0x04, 0x03, 0x02, 0x01}, B(kPos, 6), {0x0F}}),
       [](Orvex& o, Outs& x) {
         return o.OV_FM_InitializeForCashWithdraw(1, 1, 1, 0x01020304, 6, kPos, &x.len1, x.b1(),
                                                  &x.sw);
       }},
      {"DebitForCashWithdraw", Kind::kPair,
       Cat({{0x80, 0x54, 0x01, 0x00, 0x0F, 0x0D, 0x0C, 0x0B, 0x0A}, kStamp, {0x08}}),
       [](Orvex& o, Outs& x) {
         return o.OV_FM_DebitForCashWithdraw(1, 0x0A0B0C0D, kDate, kTime, kMac, &x.len1, x.b1(),
                                             &x.len2, x.b2(), &x.sw);
       }},
      {"UpdateOverdrawLimit", Kind::kTac,
       Cat({{0x80, 0x58, 0x00, 0x00, 0x0E, 0x10, 0x27, 0x00, 0x00}, kStamp, {0x04}}),
       [](Orvex& o, Outs& x) {
         return o.OV_FM_UpdateOverdrawLimit(1, 10000, kDate, kTime, kMac, &x.len1, x.b1(), &x.sw);
       }},
      {"GetTransactionProve",
       Kind::kPair,
       {0x80, 0x5A, 0x00, 0x06, 0x02, 0x34, 0x12, 0x08},
       [](Orvex& o, Outs& x) {
         return o.OV_FM_GetTransactionProve(1, 6, 0x1234, &x.len1, x.b1(), &x.len2, x.b2(), &x.sw);
       }},
      {"GetBalance",
       Kind::kBalance,
       {0x80, 0x5C, 0x00, 0x02, 0x04},
       [](Orvex& o, Outs& x) { return o.OV_FM_GetBalance(1, 2, &x.value, &x.sw); }},
  };
}

// The length outputs a kind has, all expected to read n; the others must
// keep their sentinel.
void ExpectLengths(const Outs& x, Kind kind, int n) {
  bool one = kind == Kind::kResponse || kind == Kind::kPair || kind == Kind::kTac;
  EXPECT_EQ(one ? n : kLenUntouched, x.len1);
  EXPECT_EQ(kind == Kind::kPair ? n : kLenUntouched, x.len2);
  EXPECT_EQ(kind == Kind::kResponse16 ? n : kLen16Untouched, x.len16);
}

void ExpectBuffersUntouched(const Outs& x) {
  EXPECT_EQ(Bytes(x.buf1.size(), kBufUntouched), Bytes(x.buf1.begin(), x.buf1.end()));
  EXPECT_EQ(Bytes(x.buf2.size(), kBufUntouched), Bytes(x.buf2.begin(), x.buf2.end()));
  EXPECT_EQ(kValueUntouched, x.value);
}

// Nothing but the zeroed lengths after an answer without response data or a
// failure.
void ExpectNoData(const Outs& x, Kind kind) {
  ExpectLengths(x, kind, 0);
  ExpectBuffersUntouched(x);
}

void PrintTo(const FmCase& c, std::ostream* os) { *os << c.name; }

class FmcosEach : public FakeReaderTest, public ::testing::WithParamInterface<FmCase> {
 protected:
  int Call(Outs& x) { return GetParam().call(ov, x); }
  Kind kind() const { return GetParam().kind; }
};

// Eight response bytes 10..17 in front of the status word.
const Bytes kResponse = {0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17};

}  // namespace

TEST_P(FmcosEach, SendsItsApduAsTheWholeDataFieldOfTheApduCommand) {
  Outs x;
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, Call(x));
  ExpectSent(kApduCommand, GetParam().apdu);
}

TEST_P(FmcosEach, ResponseDataAnd9000) {
  Outs x;
  reader.Ok(Cat({kResponse, {0x90, 0x00}}));
  EXPECT_EQ(1, Call(x));
  switch (kind()) {
    case Kind::kStatus:
      EXPECT_EQ(0x0090, x.sw);
      ExpectNoData(x, kind());
      break;
    case Kind::kExtAuth:  // only a bare status word counts
      EXPECT_EQ(kSwUntouched, x.sw);
      ExpectNoData(x, kind());
      break;
    case Kind::kResponse:
    case Kind::kResponse16:
    case Kind::kChallenge:
      EXPECT_EQ(0x0090, x.sw);
      ExpectLengths(x, kind(), kind() == Kind::kChallenge ? kLenUntouched : 8);
      EXPECT_EQ(kResponse, Bytes(x.buf1.begin(), x.buf1.begin() + 8));
      EXPECT_EQ(kBufUntouched, x.buf1[8]);
      break;
    case Kind::kPair:
      EXPECT_EQ(0x0090, x.sw);
      ExpectLengths(x, kind(), 4);
      EXPECT_EQ(Bytes({0x10, 0x11, 0x12, 0x13}), Bytes(x.buf1.begin(), x.buf1.begin() + 4));
      EXPECT_EQ(Bytes({0x14, 0x15, 0x16, 0x17}), Bytes(x.buf2.begin(), x.buf2.begin() + 4));
      EXPECT_EQ(kBufUntouched, x.buf1[4]);
      EXPECT_EQ(kBufUntouched, x.buf2[4]);
      break;
    case Kind::kTac:
      EXPECT_EQ(0x0090, x.sw);
      ExpectLengths(x, kind(), 4);
      EXPECT_EQ(Bytes({0x10, 0x11, 0x12, 0x13}), Bytes(x.buf1.begin(), x.buf1.begin() + 4));
      EXPECT_EQ(kBufUntouched, x.buf1[4]);
      break;
    case Kind::kBalance:
      EXPECT_EQ(0x0090, x.sw);
      EXPECT_EQ(0x13121110, x.value);
      break;
  }
}

TEST_P(FmcosEach, ResponseDataAnd6A82ReadsLittleEndian) {
  Outs x;
  reader.Ok(Cat({kResponse, {0x6A, 0x82}}));
  EXPECT_EQ(1, Call(x));  // the card's verdict never changes the result
  EXPECT_EQ(kind() == Kind::kExtAuth ? kSwUntouched : 0x826A, x.sw);
}

TEST_P(FmcosEach, BareStatusWord9000) {
  Outs x;
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, Call(x));
  EXPECT_EQ(0x0090, x.sw);
  ExpectNoData(x, kind());
}

TEST_P(FmcosEach, BareStatusWord6A82) {
  Outs x;
  reader.Ok({0x6A, 0x82});
  EXPECT_EQ(1, Call(x));
  EXPECT_EQ(0x826A, x.sw);
  ExpectNoData(x, kind());
}

TEST_P(FmcosEach, OneByteAnswerLeavesTheStatusWord) {
  Outs x;
  reader.Ok({0x90});
  EXPECT_EQ(1, Call(x));
  EXPECT_EQ(kSwUntouched, x.sw);
  ExpectNoData(x, kind());
}

TEST_P(FmcosEach, EmptyAnswerLeavesTheStatusWord) {
  Outs x;
  reader.Ok({});
  EXPECT_EQ(1, Call(x));
  EXPECT_EQ(kSwUntouched, x.sw);
  ExpectNoData(x, kind());
}

TEST_P(FmcosEach, ReaderRefusalIsMinusThreeWithLengthsZeroed) {
  Outs x;
  reader.Refuse(0x01, Cat({kResponse, {0x90, 0x00}}));
  EXPECT_EQ(-3, Call(x));
  EXPECT_EQ(kSwUntouched, x.sw);
  ExpectNoData(x, kind());
}

TEST_P(FmcosEach, MalformedAnswerIsMinusOneWithLengthsZeroed) {
  Outs x;
  reader.Push(Broken());
  EXPECT_EQ(-1, Call(x));
  EXPECT_EQ(kSwUntouched, x.sw);
  ExpectNoData(x, kind());
}

TEST_P(FmcosEach, CutAnswerIsMinusOneWithLengthsZeroed) {
  Outs x;
  Bytes whole = SerialAnswerFrame(1, kApduCommand, 0x00, Cat({kResponse, {0x90, 0x00}}));
  // A frame cut short and ended: its length field does not match.
  Bytes cut(whole.begin(), whole.begin() + 7);  // STX to the status byte
  cut.push_back(0x03);
  reader.Push(Reply::Raw(cut));
  EXPECT_EQ(-1, Call(x));
  EXPECT_EQ(kSwUntouched, x.sw);
  ExpectNoData(x, kind());
}

INSTANTIATE_TEST_SUITE_P(AllCommands, FmcosEach, ::testing::ValuesIn(Cases()),
                         [](const ::testing::TestParamInfo<FmCase>& info) {
                           return info.param.name;
                         });

// ---- A silent reader, for a few -------------------------------------------------------

TEST_F(FakeReaderTest, FmSilentReaderIsMinusOneWithLengthsZeroed) {
  Outs x;
  reader.Push(Reply::Silence());
  EXPECT_EQ(-1, ov.OV_FM_ReadBinary(1, 1, 0, 8, &x.len1, x.b1(), &x.sw));
  EXPECT_EQ(0, x.len1);
  reader.Push(Reply::Silence());
  EXPECT_EQ(-1, ov.OV_FM_DebitForCappPurchase(1, 1, kDate, kTime, kMac, &x.len1, x.b1(), &x.len2,
                                              x.b2(), &x.sw));
  EXPECT_EQ(0, x.len2);
  reader.Push(Reply::Silence());
  EXPECT_EQ(-1, ov.OV_FM_GetBalance(1, 1, &x.value, &x.sw));
  EXPECT_EQ(kSwUntouched, x.sw);
  ExpectBuffersUntouched(x);
}

// ---- The channel's deadline ----------------------------------------------------------------

TEST_F(FakeReaderTest, FmAnswerDeadlineIsFourTenthsOfASecond) {
  // The fixture's short first-byte wait would also bound the wait for the
  // rest of a frame; lengthen it so that only the deadline counts.
  orvex::transport::g_FirstByteTimeoutMs = 3000;
  Outs x;
  reader.Push(Reply::Ok({0x01, 0x02, 0x90, 0x00}).InPieces({3}, 200));
  EXPECT_EQ(1, ov.OV_FM_ReadRecord(1, 1, 1, 4, 2, &x.len1, x.b1(), &x.sw));
  EXPECT_EQ(2, x.len1);
  reader.Push(Reply::Ok({0x01, 0x02, 0x90, 0x00}).InPieces({3}, 1000));
  long ms =
      ElapsedMs([&] { EXPECT_EQ(-1, ov.OV_FM_ReadRecord(1, 1, 1, 4, 2, &x.len1, x.b1(), &x.sw)); });
  EXPECT_GE(ms, 350);
  EXPECT_LT(ms, 900);
  EXPECT_EQ(0, x.len1);
}

TEST_F(FakeReaderTest, FmCommandsGoToTheGivenReaderNumber) {
  Outs x;
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_EraseDF(0x0203, &x.sw));
  ExpectSent(kApduCommand, {0x80, 0x0E, 0x00, 0x00, 0x00}, 0x0203);
}

// ---- File, key and PIN commands: the oddities ------------------------------------------------

TEST_F(FakeReaderTest, FmReadBinaryBare9000IsSuccessWithNoData) {
  Outs x;
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_ReadBinary(1, 0, 0, 16, &x.len1, x.b1(), &x.sw));
  EXPECT_EQ(0x0090, x.sw);
  EXPECT_EQ(0, x.len1);
}

TEST_F(FakeReaderTest, FmOneByteAnswerKeepsStatusAndZeroesLength) {
  Outs x;
  reader.Ok({0x6A});
  EXPECT_EQ(1, ov.OV_FM_ReadBinary(1, 0, 0, 16, &x.len1, x.b1(), &x.sw));
  EXPECT_EQ(kSwUntouched, x.sw);
  EXPECT_EQ(0, x.len1);
}

TEST_F(FakeReaderTest, FmGetChallengeCopiesTheCountAskedFor) {
  Outs x;
  reader.Ok({1, 2, 3, 4, 5, 6, 7, 8, 0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_GetChallenge(1, 8, x.b1(), &x.sw));
  EXPECT_EQ(Bytes({1, 2, 3, 4, 5, 6, 7, 8}), Bytes(x.buf1.begin(), x.buf1.begin() + 8));
  EXPECT_EQ(kBufUntouched, x.buf1[8]);
  EXPECT_EQ(0x0090, x.sw);

  // A 6-byte answer: still 8 bytes copied, and the status word read from
  // answer bytes 8 and 9, where the card sent nothing.
  Outs y;
  reader.Ok({1, 2, 3, 4, 0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_GetChallenge(1, 8, y.b1(), &y.sw));
  EXPECT_EQ(Bytes({1, 2, 3, 4, 0x90, 0x00, 0x00, 0x00}), Bytes(y.buf1.begin(), y.buf1.begin() + 8));
  EXPECT_EQ(kBufUntouched, y.buf1[8]);
  EXPECT_EQ(0x0000, y.sw);

  // An answer longer than asked for: the status word behind the count.
  Outs z;
  reader.Ok({1, 2, 3, 4, 0x55, 0x66, 0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_GetChallenge(1, 4, z.b1(), &z.sw));
  EXPECT_EQ(Bytes({1, 2, 3, 4}), Bytes(z.buf1.begin(), z.buf1.begin() + 4));
  EXPECT_EQ(kBufUntouched, z.buf1[4]);
  EXPECT_EQ(0x6655, z.sw);
}

TEST_F(FakeReaderTest, FmReadBinaryShortFileIdentifierAndOffset) {
  Outs x;
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_ReadBinary(1, 0x21, 0, 4, &x.len1, x.b1(), &x.sw));
  ExpectSent(kApduCommand, {0x00, 0xB0, 0x81, 0x00, 0x04});
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_ReadBinary(1, 0, 0x0123, 4, &x.len1, x.b1(), &x.sw));
  ExpectSent(kApduCommand, {0x00, 0xB0, 0x01, 0x23, 0x04});
  // With a short identifier the offset's high byte is dropped.
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_ReadBinary(1, 0x01, 0x0123, 4, &x.len1, x.b1(), &x.sw));
  ExpectSent(kApduCommand, {0x00, 0xB0, 0x81, 0x23, 0x04});
  // Without one, P1 holds bits 8-14 of the offset.
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_UpdateBinary(1, 0, static_cast<short>(0xFF05), 1, kData3, &x.sw));
  ExpectSent(kApduCommand, {0x00, 0xD6, 0x7F, 0x05, 0x01, 0x01});
}

TEST_F(FakeReaderTest, FmReadRecordFileIdentifierInP2) {
  Outs x;
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_ReadRecord(1, 3, 1, 4, 0, &x.len1, x.b1(), &x.sw));
  ExpectSent(kApduCommand, {0x00, 0xB2, 0x01, 0x1C, 0x00});
  // FileID 0: the current file, P2 is the record mode alone.
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_ReadRecord(1, 0, 1, 4, 0, &x.len1, x.b1(), &x.sw));
  ExpectSent(kApduCommand, {0x00, 0xB2, 0x01, 0x04, 0x00});
  // UpdaterRecord computes the same P2 whatever FileID is.
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_UpdaterRecord(1, 0, 1, 4, 2, kData2, &x.sw));
  ExpectSent(kApduCommand, {0x00, 0xDC, 0x01, 0x04, 0x02, 0xAA, 0xBB});
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_AppendRecord(1, 0x1F, 2, kData2, &x.sw));
  ExpectSent(kApduCommand, {0x00, 0xE2, 0x00, 0xF8, 0x02, 0xAA, 0xBB});
}

TEST_F(FakeReaderTest, FmChangePinCountsTheSeparatorInLc) {
  Outs x;
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_ChangePin(1, 0, 3, kPin, 3, kNewPin, &x.sw));
  ExpectSent(kApduCommand,
             {0x80, 0x5E, 0x01, 0x00, 0x07, 0x12, 0x34, 0x56, 0xFF, 0x65, 0x43, 0x21});
}

TEST_F(FakeReaderTest, FmPinUnblockPutsTheKeyInP1ReloadPinInP2) {
  Outs x;
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_PinUnblock(1, 5, 3, kPin, 4, kMac, &x.sw));
  ExpectSent(kApduCommand, Cat({{0x84, 0x24, 0x05, 0x00, 0x07}, B(kPin, 3), B(kMac, 4)}));
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_ReloadPin(1, 5, 3, kPin, 4, kMac, &x.sw));
  ExpectSent(kApduCommand, Cat({{0x80, 0x5E, 0x00, 0x05, 0x07}, B(kPin, 3), B(kMac, 4)}));
}

TEST_F(FakeReaderTest, FmSelectByNameEndsWithLeZero) {
  unsigned char name[14];
  for (int i = 0; i < 14; ++i) name[i] = static_cast<unsigned char>('A' + i);
  Outs x;
  reader.Ok({0x6F, 0x03, 0x84, 0x01, 0x41, 0x90, 0x00});
  EXPECT_EQ(1, OV_FM_Select(1, 0x04, 14, name, 0x00, &x.len1, x.b1(), &x.sw));
  ExpectSent(kApduCommand, Cat({{0x00, 0xA4, 0x04, 0x00, 0x0E}, B(name, 14), {0x00}}));
  EXPECT_EQ(5, x.len1);
  EXPECT_EQ(Bytes({0x6F, 0x03, 0x84, 0x01, 0x41}), Bytes(x.buf1.begin(), x.buf1.begin() + 5));
  EXPECT_EQ(0x0090, x.sw);
}

TEST_F(FakeReaderTest, FmExternalAuthenticateAlwaysSaysLc08) {
  Outs x;
  reader.Ok({0x63, 0xC2});
  EXPECT_EQ(1, ov.OV_FM_ExternalAuthenticate(1, 0, 4, kAuth, &x.sw));
  ExpectSent(kApduCommand, {0x00, 0x82, 0x00, 0x00, 0x08, 0xA1, 0xA2, 0xA3, 0xA4});
  EXPECT_EQ(0xC263, x.sw);
}

TEST_F(FakeReaderTest, FmReadBinaryWithProtectedWithoutIdentifierHasNoLe) {
  Outs x;
  reader.Ok({0xD1, 0xD2, 0xD3, 0x90, 0x00});
  EXPECT_EQ(1,
            ov.OV_FM_ReadBinaryWithProtected(1, 0, 0x16, 0x0205, 4, kMac, &x.len16, x.b1(), &x.sw));
  ExpectSent(kApduCommand, Cat({{0x04, 0xB0, 0x02, 0x05, 0x04}, B(kMac, 4)}));
  EXPECT_EQ(3, x.len16);
  EXPECT_EQ(Bytes({0xD1, 0xD2, 0xD3}), Bytes(x.buf1.begin(), x.buf1.begin() + 3));
}

TEST_F(FakeReaderTest, FmCreateFileSendsTheIdentifierHighByteFirst) {
  Outs x;
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_CreateFile(1, 0x0015, 3, kInfo, &x.sw));
  ExpectSent(kApduCommand, Cat({{0x80, 0xE0, 0x00, 0x15, 0x03}, B(kInfo, 3)}));
}

// ---- Buffers ---------------------------------------------------------------------------------

// The largest answer one frame carries: response data beyond 998 bytes is not
// handed out, the status word is the answer's last two bytes.
TEST_F(FakeReaderTest, FmLongestAnswerIsCutToWhatTheAnswerBufferHolds) {
  Bytes answer(ORVEX_MAX_ANSWER);
  for (size_t i = 0; i < answer.size(); ++i) answer[i] = static_cast<uint8_t>(i * 13 + 1);
  answer[answer.size() - 2] = 0x90;
  answer[answer.size() - 1] = 0x00;

  std::vector<unsigned char> data(kFmMaxResponse);  // exactly as documented
  unsigned char len = kLenUntouched;
  unsigned short sw = kSwUntouched;
  reader.Ok(answer);
  EXPECT_EQ(1, ov.OV_FM_ReadBinary(1, 1, 0, 0, &len, data.data(), &sw));
  EXPECT_EQ(Bytes(answer.begin(), answer.begin() + kFmMaxResponse),
            Bytes(data.begin(), data.end()));
  EXPECT_EQ(static_cast<unsigned char>(kFmMaxResponse), len);  // one byte: 998 reads 0xE6
  EXPECT_EQ(0x0090, sw);

  short len16 = kLen16Untouched;
  std::vector<unsigned char> data16(kFmMaxResponse);
  reader.Ok(answer);
  EXPECT_EQ(1, ov.OV_FM_ReadBinaryWithProtected(1, 0, 0, 0, 4, kMac, &len16, data16.data(), &sw));
  EXPECT_EQ(kFmMaxResponse, len16);
  EXPECT_EQ(Bytes(answer.begin(), answer.begin() + kFmMaxResponse),
            Bytes(data16.begin(), data16.end()));
}

TEST_F(FakeReaderTest, FmFullShortApduResponseLengthReadsZeroInOneByte) {
  Bytes answer(258);
  for (size_t i = 0; i < 256; ++i) answer[i] = static_cast<uint8_t>(i);
  answer[256] = 0x90;
  answer[257] = 0x00;
  std::vector<unsigned char> data(256);
  unsigned char len = kLenUntouched;
  unsigned short sw = kSwUntouched;
  reader.Ok(answer);
  EXPECT_EQ(1, ov.OV_FM_ReadBinary(1, 1, 0, 0, &len, data.data(), &sw));
  EXPECT_EQ(Bytes(answer.begin(), answer.begin() + 256), Bytes(data.begin(), data.end()));
  EXPECT_EQ(0, len);
  EXPECT_EQ(0x0090, sw);
}

TEST_F(FakeReaderTest, FmApduLongerThanTheCommandBufferIsNotSent) {
  std::vector<unsigned char> a(255, 0x11), b(255, 0x22);
  unsigned short sw = kSwUntouched;
  EXPECT_EQ(-1, ov.OV_FM_ChangePin(1, 0, 255, a.data(), 255, b.data(), &sw));   // 516 bytes
  EXPECT_EQ(-1, ov.OV_FM_PinUnblock(1, 0, 255, a.data(), 255, b.data(), &sw));  // 515 bytes
  EXPECT_EQ(-1, ov.OV_FM_ReloadPin(1, 0, 255, a.data(), 242, b.data(), &sw));   // 502 bytes
  EXPECT_EQ(kSwUntouched, sw);
  EXPECT_TRUE(reader.commands().empty());

  // 5 + 255 + 1 + 239 = 500 bytes: the largest that goes.
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_ChangePin(1, 0, 255, a.data(), 239, b.data(), &sw));
  ASSERT_TRUE(reader.WaitForCommands(1, 100));
  Bytes sent = reader.last().data;
  ASSERT_EQ(static_cast<size_t>(kFmCommandBuffer), sent.size());
  // Lc is a byte: 255 + 1 + 239 = 495 goes out as EF.
  EXPECT_EQ(Bytes({0x80, 0x5E, 0x01, 0x00, 0xEF}), Bytes(sent.begin(), sent.begin() + 5));
  EXPECT_EQ(0xFF, sent[5 + 255]);
  EXPECT_EQ(0x22, sent.back());
  EXPECT_EQ(0x0090, sw);
}

// ---- Electronic purse: the oddities
// --------------------------------------------------------------

TEST_F(FakeReaderTest, FmInitializeForLoadSendsTheAmountLeastSignificantByteFirst) {
  Outs x;
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_InitializeForLoad(1, 2, 1, 100, 6, kPos, &x.len1, x.b1(), &x.sw));
  ExpectSent(
      kApduCommand,
      Cat({{0x80, 0x50, 0x00, 0x02, 0x0B, 0x01, 0x64, 0x00, 0x00, 0x00}, B(kPos, 6), {0x10}}));
}

TEST_F(FakeReaderTest, FmInitializeForUnloadKeepsLc0BWhateverThePosCode) {
  Outs x;
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_InitializeForUnload(1, 1, 3, 1, 4, kPos, &x.len1, x.b1(), &x.sw));
  ExpectSent(
      kApduCommand,
      Cat({{0x80, 0x50, 0x05, 0x01, 0x0B, 0x03, 0x01, 0x00, 0x00, 0x00}, B(kPos, 4), {0x10}}));
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_InitializeForCashWithdraw(1, 1, 3, 1, 4, kPos, &x.len1, x.b1(), &x.sw));
  ExpectSent(
      kApduCommand,
      Cat({{0x80, 0x50, 0x02, 0x01, 0x0B, 0x03, 0x01, 0x00, 0x00, 0x00}, B(kPos, 4), {0x0F}}));
  // Load and purchase count the terminal number.
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_InitializeForPurchase(1, 1, 3, 1, 4, kPos, &x.len1, x.b1(), &x.sw));
  ExpectSent(
      kApduCommand,
      Cat({{0x80, 0x50, 0x01, 0x01, 0x09, 0x03, 0x01, 0x00, 0x00, 0x00}, B(kPos, 4), {0x0F}}));
}

TEST_F(FakeReaderTest, FmNegativeAmountGoesInTwosComplement) {
  Outs x;
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_UpdateOverdrawLimit(1, -2, kDate, kTime, kMac, &x.len1, x.b1(), &x.sw));
  Bytes sent = reader.last().data;
  // Lc says 14 bytes, 15 follow, then Le: 21 bytes in all.
  EXPECT_EQ(Cat({{0x80, 0x58, 0x00, 0x00, 0x0E, 0xFE, 0xFF, 0xFF, 0xFF}, kStamp, {0x04}}), sent);
  EXPECT_EQ(21u, sent.size());
}

TEST_F(FakeReaderTest, FmGetTransactionProveSendsTheOrderNumberLowByteFirst) {
  Outs x;
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_GetTransactionProve(1, 9, 0x0102, &x.len1, x.b1(), &x.len2, x.b2(), &x.sw));
  ExpectSent(kApduCommand, {0x80, 0x5A, 0x00, 0x09, 0x02, 0x02, 0x01, 0x08});
}

TEST_F(FakeReaderTest, FmGetBalanceReadsLeastSignificantByteFirst) {
  int value = kValueUntouched;
  unsigned short sw = kSwUntouched;
  reader.Ok({0x00, 0x00, 0x01, 0xF4, 0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_GetBalance(1, 2, &value, &sw));
  EXPECT_EQ(static_cast<int>(0xF4010000u), value);
  EXPECT_LT(value, 0);
  EXPECT_EQ(0x0090, sw);
}

TEST_F(FakeReaderTest, FmDebitBare9401IsSuccessWithBothLengthsZero) {
  Outs x;
  reader.Ok({0x94, 0x01});
  EXPECT_EQ(1, ov.OV_FM_DebitForCappPurchase(1, 7, kDate, kTime, kMac, &x.len1, x.b1(), &x.len2,
                                             x.b2(), &x.sw));
  EXPECT_EQ(0x0194, x.sw);
  EXPECT_EQ(0, x.len1);
  EXPECT_EQ(0, x.len2);
  ExpectBuffersUntouched(x);
}

TEST_F(FakeReaderTest, FmFourByteFieldsAreCopiedWhateverTheAnswerLength) {
  Outs x;
  reader.Ok({0xAA, 0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_DebitForCashWithdraw(1, 7, kDate, kTime, kMac, &x.len1, x.b1(), &x.len2,
                                             x.b2(), &x.sw));
  EXPECT_EQ(Bytes({0xAA, 0x90, 0x00, 0x00}), Bytes(x.buf1.begin(), x.buf1.begin() + 4));
  EXPECT_EQ(Bytes({0x00, 0x00, 0x00, 0x00}), Bytes(x.buf2.begin(), x.buf2.begin() + 4));
  EXPECT_EQ(4, x.len1);
  EXPECT_EQ(4, x.len2);
  EXPECT_EQ(0x0090, x.sw);
}

TEST_F(FakeReaderTest, FmCreditLeDiffersBetweenLoadAndUnload) {
  Outs x;
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_CreditForLoad(1, kDate, kTime, kMac, &x.len1, x.b1(), &x.sw));
  EXPECT_EQ(0x10, reader.last().data.back());
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_FM_CreditForUnload(1, kDate, kTime, kMac, &x.len1, x.b1(), &x.sw));
  EXPECT_EQ(0x04, reader.last().data.back());
}

// ---- A purchase against a scripted card -------------------------------------------------------

// The host's MAC for the debit, computed from what the card handed back at
// initialization. Here a stand-in: the card's random number XOR its
// transaction counter and the amount, as a real host would feed them to its
// MAC algorithm.
static Bytes HostMac(const unsigned char* result, int amount) {
  Bytes mac(4);
  for (int i = 0; i < 4; ++i)
    mac[i] = static_cast<uint8_t>(result[11 + i] ^ result[4 + (i & 1)] ^ (amount >> (8 * i)));
  return mac;
}

TEST_F(FakeReaderTest, FmPurchaseInitializeThenDebit) {
  // The card's answer to initialize for purchase: balance (4), transaction
  // counter (2), overdraw limit (3), key version, algorithm, random (4).
  const Bytes init = {0x00, 0x00, 0x27, 0x10, 0x00, 0x05, 0x00, 0x00,
                      0x00, 0x01, 0x00, 0xC1, 0xC2, 0xC3, 0xC4};
  reader.Ok(Cat({init, {0x90, 0x00}}));
  unsigned char lenResult = kLenUntouched;
  unsigned char result[32];
  unsigned short sw = kSwUntouched;
  const int amount = 250;
  ASSERT_EQ(1, ov.OV_FM_InitializeForPurchase(1, 2, 1, amount, 6, kPos, &lenResult, result, &sw));
  ExpectSent(
      kApduCommand,
      Cat({{0x80, 0x50, 0x01, 0x02, 0x0B, 0x01, 0xFA, 0x00, 0x00, 0x00}, B(kPos, 6), {0x0F}}));
  ASSERT_EQ(0x0090, sw);
  ASSERT_EQ(15, lenResult);
  EXPECT_EQ(init, B(result, 15));

  // The debit carries the MAC made from the card's counter and random.
  Bytes mac = HostMac(result, amount);
  reader.ClearRecord();
  reader.Ok({0x7A, 0x7B, 0x7C, 0x7D, 0x3A, 0x3B, 0x3C, 0x3D, 0x90, 0x00});
  unsigned char lenTac = kLenUntouched, lenMac2 = kLenUntouched;
  unsigned char tac[4], mac2[4];
  sw = kSwUntouched;
  ASSERT_EQ(1, ov.OV_FM_DebitForCappPurchase(1, 0x00000006, kDate, kTime, mac.data(), &lenTac, tac,
                                             &lenMac2, mac2, &sw));
  ExpectSent(kApduCommand, Cat({{0x80, 0x54, 0x01, 0x00, 0x0F, 0x06, 0x00, 0x00, 0x00},
                                B(kDate, 4),
                                B(kTime, 3),
                                mac,
                                {0x08}}));
  EXPECT_EQ(Bytes({0xC1 ^ 0x00 ^ 0xFA, 0xC2 ^ 0x05, 0xC3, 0xC4 ^ 0x05}), mac);
  EXPECT_EQ(0x0090, sw);
  EXPECT_EQ(4, lenTac);
  EXPECT_EQ(4, lenMac2);
  EXPECT_EQ(Bytes({0x7A, 0x7B, 0x7C, 0x7D}), B(tac, 4));
  EXPECT_EQ(Bytes({0x3A, 0x3B, 0x3C, 0x3D}), B(mac2, 4));
}
