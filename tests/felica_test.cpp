// SPDX-License-Identifier: MIT
// FeliCa commands through the fake reader: the carrier's layout under reader
// command 0xC1 and its results (the reader's status byte passed up, 0 for a
// missing 00), each member's request and the fields it takes from the card's
// response, the response code checks, deadlines, and outputs left alone on
// failure.
#include <cstring>
#include <functional>
#include <vector>

#include "card_test.h"
#include "cards/untFelica.h"
#include "subcommand_cases.h"

using namespace orvex_test;

namespace {

// The IDm the tests use. Its last byte matters: request service and request
// response read their fields one byte early, from there.
unsigned char kIDm[8] = {0x01, 0x2E, 0x4C, 0x5D, 0x6E, 0x7F, 0x80, 0x02};
const Bytes kIDmBytes(kIDm, kIDm + 8);
const Bytes kPMm = {0x01, 0x20, 0x22, 0x04, 0x27, 0x67, 0x4E, 0xFF};

// A card response: its length byte, the response code, the IDm, the fields.
Bytes Response(uint8_t code, const Bytes& fields, const Bytes& idm = kIDmBytes) {
  Bytes r = Cat(Cat({0x00, code}, idm), fields);
  r[0] = static_cast<uint8_t>(r.size());
  return r;
}

// The reader's answer: 00, then the card's response.
Bytes Carried(const Bytes& response) { return Cat({0x00}, response); }

// The data field of command 0xC1: 00, the time-out low byte first, the
// FeliCa command code, its parameters.
Bytes Sent(uint16_t timeOut, uint8_t fc2, const Bytes& params) {
  return Cat({0x00, static_cast<uint8_t>(timeOut), static_cast<uint8_t>(timeOut >> 8), fc2}, params);
}

class FelicaTest : public CardTest {
 protected:
  // Everything a member can write, prefilled with sentinels.
  unsigned char idm[8], pmm[8], requestData[2], mode, status1, status2;
  unsigned char buf[100];

  void SetUp() override {
    CardTest::SetUp();
    Reset();
  }
  void Reset() {
    std::memset(idm, 0xEE, sizeof idm);
    std::memset(pmm, 0xEE, sizeof pmm);
    std::memset(requestData, 0xEE, sizeof requestData);
    mode = status1 = status2 = 0xEE;
    std::memset(buf, 0xEE, sizeof buf);
  }
  bool Untouched() const {
    auto all = [](const unsigned char* p, size_t n) {
      for (size_t i = 0; i < n; ++i)
        if (p[i] != 0xEE) return false;
      return true;
    };
    return all(idm, 8) && all(pmm, 8) && all(requestData, 2) && mode == 0xEE && status1 == 0xEE &&
           status2 == 0xEE && all(buf, sizeof buf);
  }
  // Bytes of buf from i to j (exclusive).
  Bytes Buf(size_t i, size_t j) const { return Bytes(buf + i, buf + j); }

  // Failures every member shares: a status-0 answer that does not begin with
  // 00 gives 0, a malformed answer -1, nothing read -1; nothing is written.
  void ExpectLinkFailures(const Bytes& okResponse, const std::function<int()>& call) {
    reader.Ok(Cat({0x01}, okResponse));
    EXPECT_EQ(0, call()) << "no leading 00";
    reader.Ok();
    EXPECT_EQ(0, call()) << "empty answer";
    reader.Push(Reply::Raw(Malformed(0xC1, Carried(okResponse))));
    EXPECT_EQ(-1, call()) << "malformed answer";
    reader.Push(Reply::Raw({0x02, 0x00, 0x09}));
    EXPECT_EQ(-1, call()) << "cut frame";
    EXPECT_TRUE(Untouched());
  }

  // Polling, request service and request response: a refusal of any status,
  // 1 included, and a response with another code all give -2.
  void ExpectCodeChecked(const Bytes& wrongCodeResponse, const std::function<int()>& call) {
    reader.Refuse(0x01);
    EXPECT_EQ(-2, call()) << "status 1";
    reader.Refuse(0x2A, Carried(wrongCodeResponse));
    EXPECT_EQ(-2, call()) << "status 0x2A";
    reader.Ok(Carried(wrongCodeResponse));
    EXPECT_EQ(-2, call()) << "another response code";
    EXPECT_TRUE(Untouched());
  }
};

}  // namespace

// ---- The carrier ------------------------------------------------------------------------------

TEST_F(FelicaTest, CarrierLayoutAndAnswer) {
  unsigned char params[2] = {0x10, 0x02};
  int len = -77;
  reader.Ok({0x00, 0xC1, 0xC2, 0xC3});
  EXPECT_EQ(1, orvex::Felica_Common_(0x0102, 0x06, 0x1234, 2, params, &len, buf, 1));
  ExpectSent(0xC1, {0x00, 0x34, 0x12, 0x06, 0x10, 0x02}, 0x0102);
  EXPECT_EQ(3, len);
  EXPECT_EQ(Bytes({0xC1, 0xC2, 0xC3, 0xEE}), Buf(0, 4));

  // The leading 00 alone: an empty response.
  reader.Ok({0x00});
  EXPECT_EQ(1, orvex::Felica_Common_(1, 0x00, 0x0200, 0, nullptr, &len, buf, 1));
  ExpectSent(0xC1, {0x00, 0x00, 0x02, 0x00});
  EXPECT_EQ(0, len);
}

TEST_F(FelicaTest, CarrierPassesTheStatusByteUp) {
  int len = -77;
  auto call = [&] { return orvex::Felica_Common_(1, 0x04, 0x0200, 8, kIDm, &len, buf, 1); };
  // Status 1 reads as 1, the same number as success, and nothing is copied.
  reader.Refuse(0x01, {0x00, 0x0B, 0x05});
  EXPECT_EQ(1, call());
  reader.Refuse(0x2A);
  EXPECT_EQ(0x2A, call());
  reader.Refuse(0xFF, {0x00});
  EXPECT_EQ(0xFF, call());
  // Status 0 without the leading 00: 0.
  reader.Ok({0x01, 0x0B, 0x05});
  EXPECT_EQ(0, call());
  reader.Ok();
  EXPECT_EQ(0, call());
  EXPECT_EQ(-77, len);
  EXPECT_TRUE(Untouched());
}

TEST_F(FelicaTest, CarrierLinkFailures) {
  int len = -77;
  auto call = [&] { return orvex::Felica_Common_(1, 0x04, 0x0200, 8, kIDm, &len, buf, 1); };
  reader.Push(Reply::Raw(Malformed(0xC1, {0x00, 0x01})));
  EXPECT_EQ(-1, call());
  reader.Push(Reply::Raw({0x55, 0xAA, 0x55}));
  EXPECT_EQ(-1, call());
  reader.Push(Reply::Silence());
  EXPECT_EQ(-1, call());
  EXPECT_EQ(-77, len);
  EXPECT_TRUE(Untouched());
}

TEST_F(FelicaTest, CarrierRefusesParametersLongerThanOneDataField) {
  std::vector<unsigned char> params(orvex::kMaxDataField, 0x33);
  std::vector<unsigned char> out(orvex::kMaxAnswerData, 0xEE);
  int len = -77;
  EXPECT_EQ(-1, orvex::Felica_Common_(1, 0x08, 0x0200, orvex::kMaxDataField - 3, params.data(), &len,
                                      out.data(), 1));
  EXPECT_TRUE(reader.commands().empty());
  EXPECT_EQ(-77, len);
  // Exactly one data field's worth goes out.
  reader.Ok({0x00});
  EXPECT_EQ(1, orvex::Felica_Common_(1, 0x08, 0x0200, orvex::kMaxDataField - 4, params.data(), &len,
                                     out.data(), 1));
  ASSERT_TRUE(reader.WaitForCommands(1, 100));
  EXPECT_EQ(static_cast<size_t>(orvex::kMaxDataField), reader.last().data.size());
}

TEST_F(FelicaTest, CarrierDeadlineIsDelayTime) {
  int len = 0;
  ExpectDeadline(3, {0x00, 0x01}, 1,
                 [&] { return orvex::Felica_Common_(1, 0x04, 0x0200, 0, nullptr, &len, buf, 3); });
}

// ---- Polling ----------------------------------------------------------------------------------

TEST_F(FelicaTest, PollingWildcardSystemCodeDataField) {
  reader.Ok(Carried(Response(0x01, kPMm)));
  EXPECT_EQ(1, ov.OV_Felica_Polling(1, 0xFFFF, 1, 0, idm, pmm, requestData));
  ExpectSent(0xC1, {0x00, 0x00, 0x02, 0x00, 0xFF, 0xFF, 0x01, 0x00});
}

TEST_F(FelicaTest, PollingSendsTheSystemCodeLowByteFirst) {
  reader.Ok(Carried(Response(0x01, Cat(kPMm, {0x12, 0xFC}))));
  EXPECT_EQ(1, ov.OV_Felica_Polling(1, 0xFC12, 0x01, 0x03, idm, pmm, requestData));
  ExpectSent(0xC1, Sent(0x0200, 0x00, {0x12, 0xFC, 0x01, 0x03}));
  EXPECT_EQ(kIDmBytes, Bytes(idm, idm + 8));
  EXPECT_EQ(kPMm, Bytes(pmm, pmm + 8));
  EXPECT_EQ(Bytes({0x12, 0xFC}), Bytes(requestData, requestData + 2));
}

TEST_F(FelicaTest, PollingWritesRequestDataEvenWhenTheCardSentNone) {
  reader.Ok(Carried(Response(0x01, kPMm)));
  EXPECT_EQ(1, ov.OV_Felica_Polling(1, 0xFFFF, 0, 0, idm, pmm, requestData));
  EXPECT_EQ(kIDmBytes, Bytes(idm, idm + 8));
  EXPECT_EQ(kPMm, Bytes(pmm, pmm + 8));
  EXPECT_EQ(Bytes({0x00, 0x00}), Bytes(requestData, requestData + 2));
}

TEST_F(FelicaTest, PollingFailures) {
  auto call = [&] { return ov.OV_Felica_Polling(1, 0xFFFF, 1, 0, idm, pmm, requestData); };
  ExpectCodeChecked(Response(0x03, kPMm), call);
  ExpectLinkFailures(Response(0x01, kPMm), call);
}

TEST_F(FelicaTest, PollingDeadline) {
  ExpectDeadline(1, Carried(Response(0x01, kPMm)), 1,
                 [&] { return ov.OV_Felica_Polling(1, 0xFFFF, 1, 0, idm, pmm, requestData); });
}

// ---- Request service --------------------------------------------------------------------------

TEST_F(FelicaTest, RequestServiceTakesItsFieldsOneByteEarly) {
  unsigned char nodes[4] = {0x09, 0x00, 0x0B, 0x00};
  // The card: node count 2, key versions A1 A2 and B1 B2. The count is read
  // from the IDm's last byte (2), the bytes from the node count byte on.
  reader.Ok(Carried(Response(0x03, {0x02, 0xA1, 0xA2, 0xB1, 0xB2})));
  EXPECT_EQ(1, ov.OV_Felica_RequestService(1, kIDm, 2, nodes, buf));
  ExpectSent(0xC1, Sent(0x0200, 0x02, Cat(Cat(kIDmBytes, {0x02}), {0x09, 0x00, 0x0B, 0x00})));
  EXPECT_EQ(Bytes({0x02, 0xA1, 0xA2, 0xB1, 0xEE}), Buf(0, 5));
}

TEST_F(FelicaTest, RequestServiceCopiesNoMoreThanTheResponseCarries) {
  unsigned char nodes[2] = {0x09, 0x00};
  Bytes idmBigCount = kIDmBytes;
  idmBigCount[7] = 0x7F;  // "254 bytes"
  reader.Ok(Carried(Response(0x03, {0x01, 0xA1, 0xA2}, idmBigCount)));
  EXPECT_EQ(1, ov.OV_Felica_RequestService(1, kIDm, 1, nodes, buf));
  EXPECT_EQ(Bytes({0x01, 0xA1, 0xA2, 0xEE}), Buf(0, 4));
}

TEST_F(FelicaTest, RequestServiceCopiesNoMoreThanTheNodesAskedFor) {
  unsigned char nodes[2] = {0x09, 0x00};
  Bytes idmBigCount = kIDmBytes;
  idmBigCount[7] = 0x7F;
  // One node asked for; the response carries more than 2 x 1 + 1 bytes.
  reader.Ok(Carried(Response(0x03, Pattern(20, 0x40), idmBigCount)));
  EXPECT_EQ(1, ov.OV_Felica_RequestService(1, kIDm, 1, nodes, buf));
  EXPECT_EQ(Bytes({0x40, 0x41, 0x42, 0xEE}), Buf(0, 4));
}

TEST_F(FelicaTest, RequestServiceFailures) {
  unsigned char nodes[2] = {0x09, 0x00};
  auto call = [&] { return ov.OV_Felica_RequestService(1, kIDm, 1, nodes, buf); };
  ExpectCodeChecked(Response(0x05, {0x01, 0x00, 0x00}), call);
  ExpectLinkFailures(Response(0x03, {0x01, 0x00, 0x00}), call);
}

TEST_F(FelicaTest, RequestServiceDeadline) {
  unsigned char nodes[2] = {0x09, 0x00};
  ExpectDeadline(1, Carried(Response(0x03, {0x01, 0x00, 0x00})), 1,
                 [&] { return ov.OV_Felica_RequestService(1, kIDm, 1, nodes, buf); });
}

// ---- Request response -------------------------------------------------------------------------

TEST_F(FelicaTest, RequestResponseTakesModeOneByteEarly) {
  reader.Ok(Carried(Response(0x05, {0x00})));
  EXPECT_EQ(1, ov.OV_Felica_RequestResponse(1, kIDm, &mode));
  ExpectSent(0xC1, Sent(0x0200, 0x04, kIDmBytes));
  EXPECT_EQ(kIDm[7], mode);  // the IDm's last byte, not the card's mode 00
}

TEST_F(FelicaTest, RequestResponseFailures) {
  auto call = [&] { return ov.OV_Felica_RequestResponse(1, kIDm, &mode); };
  ExpectCodeChecked(Response(0x07, {0x00}), call);
  ExpectLinkFailures(Response(0x05, {0x00}), call);
}

TEST_F(FelicaTest, RequestResponseDeadline) {
  ExpectDeadline(1, Carried(Response(0x05, {0x00})), 1,
                 [&] { return ov.OV_Felica_RequestResponse(1, kIDm, &mode); });
}

// ---- Read without encryption ------------------------------------------------------------------

namespace {
unsigned char kService[2] = {0x09, 0x00};
unsigned char kTwoBlocks[4] = {0x80, 0x00, 0x80, 0x01};
const Bytes kReadParams = Cat(Cat(kIDmBytes, {0x01, 0x09, 0x00, 0x02}), {0x80, 0x00, 0x80, 0x01});
}  // namespace

TEST_F(FelicaTest, ReadOfTwoBlocksGivesTheCardTwiceTheTimeOut) {
  const Bytes blocks = Pattern(32, 0x10);
  reader.Ok(Carried(Response(0x07, Cat({0x00, 0x00, 0x02}, blocks))));
  EXPECT_EQ(1, ov.OV_Felica_ReadWithoutEncryption(1, kIDm, 1, kService, 2, 4, kTwoBlocks, &status1, &status2, buf));
  ExpectSent(0xC1, Cat({0x00, 0x00, 0x04, 0x06}, kReadParams));
  EXPECT_EQ(0, status1);
  EXPECT_EQ(0, status2);
  EXPECT_EQ(blocks, Buf(0, 32));
  EXPECT_EQ(0xEE, buf[32]);
}

TEST_F(FelicaTest, ReadTimeOutIsSixteenBits) {
  unsigned char list[2] = {0x80, 0x00};
  reader.Ok(Carried(Response(0x07, {0xFF, 0xA1})));
  EXPECT_EQ(1, ov.OV_Felica_ReadWithoutEncryption(1, kIDm, 1, kService, 128, 2, list, &status1, &status2, buf));
  ExpectSent(0xC1, Cat({0x00, 0x00, 0x00, 0x06}, Cat(kIDmBytes, {0x01, 0x09, 0x00, 0x80, 0x80, 0x00})));
  reader.Ok(Carried(Response(0x07, {0xFF, 0xA1})));
  EXPECT_EQ(1, ov.OV_Felica_ReadWithoutEncryption(1, kIDm, 1, kService, 129, 2, list, &status1, &status2, buf));
  ExpectSent(0xC1, Cat({0x00, 0x00, 0x02, 0x06}, Cat(kIDmBytes, {0x01, 0x09, 0x00, 0x81, 0x80, 0x00})));
}

TEST_F(FelicaTest, ReadWithErrorFlagsWritesOnlyTheFlags) {
  reader.Ok(Carried(Response(0x07, {0xFF, 0xA6})));
  EXPECT_EQ(1, ov.OV_Felica_ReadWithoutEncryption(1, kIDm, 1, kService, 2, 4, kTwoBlocks, &status1, &status2, buf));
  EXPECT_EQ(0xFF, status1);
  EXPECT_EQ(0xA6, status2);
  EXPECT_EQ(Bytes(sizeof buf, 0xEE), Buf(0, sizeof buf));
  // One flag is enough to keep the blocks back.
  reader.Ok(Carried(Response(0x07, Cat({0x00, 0x01, 0x02}, Pattern(32, 0x10)))));
  EXPECT_EQ(1, ov.OV_Felica_ReadWithoutEncryption(1, kIDm, 1, kService, 2, 4, kTwoBlocks, &status1, &status2, buf));
  EXPECT_EQ(0x00, status1);
  EXPECT_EQ(0x01, status2);
  EXPECT_EQ(Bytes(sizeof buf, 0xEE), Buf(0, sizeof buf));
}

TEST_F(FelicaTest, ReadCopiesNoMoreBlocksThanAskedForOrCarried) {
  unsigned char one[2] = {0x80, 0x00};
  // The card claims three blocks and sends them; one was asked for.
  reader.Ok(Carried(Response(0x07, Cat({0x00, 0x00, 0x03}, Pattern(48, 0x10)))));
  EXPECT_EQ(1, ov.OV_Felica_ReadWithoutEncryption(1, kIDm, 1, kService, 1, 2, one, &status1, &status2, buf));
  EXPECT_EQ(Pattern(16, 0x10), Buf(0, 16));
  EXPECT_EQ(0xEE, buf[16]);
  // The card claims two blocks and sends one and a half.
  Reset();
  reader.Ok(Carried(Response(0x07, Cat({0x00, 0x00, 0x02}, Pattern(24, 0x30)))));
  EXPECT_EQ(1, ov.OV_Felica_ReadWithoutEncryption(1, kIDm, 1, kService, 2, 4, kTwoBlocks, &status1, &status2, buf));
  EXPECT_EQ(Pattern(24, 0x30), Buf(0, 24));
  EXPECT_EQ(0xEE, buf[24]);
}

TEST_F(FelicaTest, ReadPassesTheCarrierResultUpWithoutTestingTheCode) {
  auto call = [&] {
    return ov.OV_Felica_ReadWithoutEncryption(1, kIDm, 1, kService, 2, 4, kTwoBlocks, &status1, &status2, buf);
  };
  // Another response code: 1, and nothing written.
  reader.Ok(Carried(Response(0x09, Cat({0x00, 0x00, 0x02}, Pattern(32, 0x10)))));
  EXPECT_EQ(1, call());
  // Status 1 reads as 1 too, and the (unfilled) code is not the read's.
  reader.Refuse(0x01, Carried(Response(0x07, {0x00, 0x00, 0x00})));
  EXPECT_EQ(1, call());
  reader.Refuse(0x05);
  EXPECT_EQ(5, call());
  EXPECT_TRUE(Untouched());
  ExpectLinkFailures(Response(0x07, {0x00, 0x00, 0x00}), call);
}

TEST_F(FelicaTest, ReadDeadline) {
  ExpectDeadline(1, Carried(Response(0x07, Cat({0x00, 0x00, 0x02}, Pattern(32, 0x10)))), 1, [&] {
    return ov.OV_Felica_ReadWithoutEncryption(1, kIDm, 1, kService, 2, 4, kTwoBlocks, &status1, &status2, buf);
  });
}

// ---- Write without encryption -----------------------------------------------------------------

TEST_F(FelicaTest, WriteSendsTheBlocksAfterTheBlockList) {
  Bytes data = Pattern(32, 0x60);
  reader.Ok(Carried(Response(0x09, {0x00, 0x00})));
  EXPECT_EQ(1, ov.OV_Felica_WriteWithoutEncryption(1, kIDm, 1, kService, 2, 4, kTwoBlocks, data.data(), &status1,
                                                   &status2));
  ExpectSent(0xC1, Cat(Cat({0x00, 0x00, 0x04, 0x08}, kReadParams), data));
  EXPECT_EQ(0, status1);
  EXPECT_EQ(0, status2);

  unsigned char one[2] = {0x80, 0x05};
  reader.Ok(Carried(Response(0x09, {0x00, 0x00})));
  EXPECT_EQ(1, ov.OV_Felica_WriteWithoutEncryption(1, kIDm, 1, kService, 1, 2, one, data.data(), &status1,
                                                   &status2));
  ExpectSent(0xC1, Cat(Cat({0x00, 0x00, 0x02, 0x08}, Cat(kIDmBytes, {0x01, 0x09, 0x00, 0x01, 0x80, 0x05})),
                       Pattern(16, 0x60)));
}

TEST_F(FelicaTest, WriteHandsTheFlagsToTheCaller) {
  Bytes data = Pattern(32, 0x60);
  reader.Ok(Carried(Response(0x09, {0xFF, 0xA8})));
  EXPECT_EQ(1, ov.OV_Felica_WriteWithoutEncryption(1, kIDm, 1, kService, 2, 4, kTwoBlocks, data.data(), &status1,
                                                   &status2));
  EXPECT_EQ(0xFF, status1);
  EXPECT_EQ(0xA8, status2);
}

TEST_F(FelicaTest, WritePassesTheCarrierResultUpWithoutTestingTheCode) {
  Bytes data = Pattern(32, 0x60);
  auto call = [&] {
    return ov.OV_Felica_WriteWithoutEncryption(1, kIDm, 1, kService, 2, 4, kTwoBlocks, data.data(), &status1,
                                               &status2);
  };
  reader.Ok(Carried(Response(0x07, {0x00, 0x00})));
  EXPECT_EQ(1, call());
  reader.Refuse(0x01, Carried(Response(0x09, {0x00, 0x00})));
  EXPECT_EQ(1, call());
  reader.Refuse(0x05);
  EXPECT_EQ(5, call());
  EXPECT_TRUE(Untouched());
  ExpectLinkFailures(Response(0x09, {0x00, 0x00}), call);
}

TEST_F(FelicaTest, WriteTooLongForOneCommandIsNotSent) {
  // 64 blocks: 1024 data bytes behind 140 bytes of parameters.
  std::vector<unsigned char> list(128, 0x80), data(64 * 16, 0x5A);
  EXPECT_EQ(-1, ov.OV_Felica_WriteWithoutEncryption(1, kIDm, 1, kService, 64, 128, list.data(), data.data(),
                                                    &status1, &status2));
  EXPECT_TRUE(reader.commands().empty());
  EXPECT_TRUE(Untouched());
}

TEST_F(FelicaTest, WriteDeadline) {
  Bytes data = Pattern(32, 0x60);
  ExpectDeadline(1, Carried(Response(0x09, {0x00, 0x00})), 1, [&] {
    return ov.OV_Felica_WriteWithoutEncryption(1, kIDm, 1, kService, 2, 4, kTwoBlocks, data.data(), &status1,
                                               &status2);
  });
}
