// SPDX-License-Identifier: MIT
// SAM slots: the slot chooses the command code, the data fields, the whole
// answer handed back, the deadlines and the APDU size limit.

#include <cstring>
#include <functional>
#include <vector>

#include "cards/untSAM.h"
#include "reader_fixture.h"

using namespace orvex;
using namespace orvex_test;

namespace {

// A malformed answer (bad checksum): the fastest way to a link failure.
Reply Broken() { return Reply::Raw({0x02, 0x00, 0x07, 0x00, 0x01, 0x00, 0x00, 0x99, 0x03}); }

struct Operation {
  const char* name;
  uint8_t slot1, slot2, slot3;  // command codes
  // Calls the operation for a slot; the answer outputs, where it has them,
  // are len and out.
  std::function<int(Orvex&, int slot, int* len, unsigned char* out)> call;
};

unsigned char kApdu[] = {0x00, 0x84, 0x00, 0x00, 0x08};

std::vector<Operation> Operations() {
  return {
      {"ResetBaud", 0x10, 0x14, 0x18,
       [](Orvex& o, int s, int*, unsigned char*) { return o.OV_SAM_ResetBaud(1, s, 2); }},
      {"Reset", 0x11, 0x15, 0x19,
       [](Orvex& o, int s, int* len, unsigned char* out) {
         return o.OV_SAM_Reset(1, s, len, out);
       }},
      {"ResetEx", 0x11, 0x15, 0x19,
       [](Orvex& o, int s, int* len, unsigned char* out) {
         return o.OV_SAM_ResetEx(1, s, 1, len, out);
       }},
      {"COS", 0x12, 0x16, 0x1A,
       [](Orvex& o, int s, int* len, unsigned char* out) {
         return o.OV_SAM_COS(1, s, 5, kApdu, len, out);
       }},
      {"PPSBaud", 0x13, 0x17, 0x1B,
       [](Orvex& o, int s, int*, unsigned char*) { return o.OV_SAM_PPSBaud(1, s, 2); }},
      {"PPSBaudEx", 0x13, 0x17, 0x1B,
       [](Orvex& o, int s, int*, unsigned char*) { return o.OV_SAM_PPSBaudEx(1, s, 2, 1); }},
  };
}

// Every operation, answered with reply, gives result and writes no output.
void ExpectEachFailsUntouched(FakeReader& reader, Orvex& ov, const Reply& reply, int result) {
  for (const Operation& op : Operations()) {
    SCOPED_TRACE(op.name);
    int len = -7;
    unsigned char out[4] = {0xCC, 0xCC, 0xCC, 0xCC};
    reader.Push(reply);
    EXPECT_EQ(result, op.call(ov, 1, &len, out));
    EXPECT_EQ(-7, len);
    EXPECT_EQ(Bytes(4, 0xCC), Bytes(out, out + 4));
  }
}

}  // namespace

// ---- Slot to command code ------------------------------------------------------

TEST_F(FakeReaderTest, SamEverySlotIndexOfEveryOperationMapsToItsCode) {
  for (const Operation& op : Operations()) {
    const struct {
      int slot;
      uint8_t code;
    } expected[] = {{-1, op.slot1}, {0, op.slot1}, {1, op.slot1}, {2, op.slot2},
                    {3, op.slot3},  {4, op.slot1}, {7, op.slot1}};
    for (const auto& e : expected) {
      SCOPED_TRACE(std::string(op.name) + " slot " + std::to_string(e.slot));
      reader.ClearRecord();
      reader.Ok();
      int len = 0;
      unsigned char out[ORVEX_MAX_ANSWER];
      EXPECT_EQ(1, op.call(ov, e.slot, &len, out));
      ASSERT_TRUE(reader.WaitForCommands(1, 100));
      EXPECT_EQ(e.code, reader.last().cmd);
    }
  }
}

TEST(SamSlotCommand, SlotTwoAddsFourSlotThreeAddsEightOthersUseTheBase) {
  EXPECT_EQ(0x12, SAM_SlotCommand(0x12, 1));
  EXPECT_EQ(0x16, SAM_SlotCommand(0x12, 2));
  EXPECT_EQ(0x1A, SAM_SlotCommand(0x12, 3));
  EXPECT_EQ(0x12, SAM_SlotCommand(0x12, 0));
  EXPECT_EQ(0x12, SAM_SlotCommand(0x12, -5));
  EXPECT_EQ(0x12, SAM_SlotCommand(0x12, 4));
  EXPECT_EQ(0x12, SAM_SlotCommand(0x12, 0x102));  // not the low byte: slot 258
}

TEST_F(FakeReaderTest, SamCosSlotTwoIsSixteenSlotsZeroAndSevenAreTwelve) {
  unsigned char apdu[] = {0x00, 0xA4, 0x00, 0x00, 0x02, 0x3F, 0x00};
  int len = 0;
  unsigned char out[ORVEX_MAX_ANSWER];
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_SAM_COS(1, 2, 7, apdu, &len, out));
  ExpectSent(0x16, Bytes(apdu, apdu + 7));
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_SAM_COS(1, 0, 7, apdu, &len, out));
  ExpectSent(0x12, Bytes(apdu, apdu + 7));
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_SAM_COS(1, 7, 7, apdu, &len, out));
  ExpectSent(0x12, Bytes(apdu, apdu + 7));
}

// ---- Data fields ---------------------------------------------------------------------

TEST_F(FakeReaderTest, SamResetSendsNothingResetExSendsTheVoltageUnderTheSameCode) {
  int len = 0;
  unsigned char out[ORVEX_MAX_ANSWER];
  reader.Ok({0x3B});
  EXPECT_EQ(1, ov.OV_SAM_Reset(1, 1, &len, out));
  ExpectSent(0x11, {});
  reader.Ok({0x3B});
  EXPECT_EQ(1, ov.OV_SAM_ResetEx(1, 1, 3, &len, out));
  ExpectSent(0x11, {0x03});
}

TEST_F(FakeReaderTest, SamPpsBaudExInSlotThreeSendsBaudAndProtocol) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_SAM_PPSBaudEx(1, 3, 0x13, 1));
  ExpectSent(0x1B, {0x13, 0x01});
}

TEST_F(FakeReaderTest, SamSpeedCommandsSendTheLowByteOfTheSpeedIndex) {
  reader.Ok();
  EXPECT_EQ(1, ov.OV_SAM_ResetBaud(0x0203, 2, 0x113));
  ExpectSent(0x14, {0x13}, 0x0203);
  reader.Ok();
  EXPECT_EQ(1, ov.OV_SAM_PPSBaud(1, 1, 0x96));
  ExpectSent(0x13, {0x96});
  reader.Ok();
  EXPECT_EQ(1, ov.OV_SAM_PPSBaudEx(1, 2, 0x111, 0x1FF));
  ExpectSent(0x17, {0x11, 0xFF});
}

TEST_F(FakeReaderTest, SamCosSendsTheApduAsItStands) {
  unsigned char apdu[] = {0x80, 0x02, 0x10, 0x03, 0x02};  // bytes the link must escape
  int len = 0;
  unsigned char out[ORVEX_MAX_ANSWER];
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_SAM_COS(1, 3, 5, apdu, &len, out));
  ExpectSent(0x1A, Bytes(apdu, apdu + 5));
}

// ---- Answers ------------------------------------------------------------------------------

TEST_F(FakeReaderTest, SamResetHandsBackTheWholeAnswerToReset) {
  Bytes atr = {0x3B, 0x6C, 0x00, 0x02, 0x86, 0x38, 0x6A, 0x01};
  int len = -7;
  unsigned char out[ORVEX_MAX_ANSWER];
  std::memset(out, 0xCC, sizeof out);
  reader.Ok(atr);
  EXPECT_EQ(1, ov.OV_SAM_Reset(1, 2, &len, out));
  EXPECT_EQ(8, len);
  EXPECT_EQ(atr, Bytes(out, out + 8));
  EXPECT_EQ(0xCC, out[8]);

  len = -7;
  reader.Ok({0x3B, 0x00});
  EXPECT_EQ(1, ov.OV_SAM_ResetEx(1, 2, 5, &len, out));
  EXPECT_EQ(2, len);
  EXPECT_EQ(0x3B, out[0]);
  EXPECT_EQ(0x00, out[1]);
}

TEST_F(FakeReaderTest, SamCosReturnsOneWhateverTheStatusWords) {
  unsigned char apdu[] = {0x00, 0xB0, 0x81, 0x00, 0x10};
  int len = 0;
  unsigned char out[ORVEX_MAX_ANSWER];
  reader.Ok({0x6A, 0x82});
  EXPECT_EQ(1, ov.OV_SAM_COS(1, 1, 5, apdu, &len, out));
  EXPECT_EQ(2, len);
  EXPECT_EQ(0x6A, out[0]);
  EXPECT_EQ(0x82, out[1]);

  reader.Ok({0x01, 0x02, 0x03, 0x90, 0x00});
  EXPECT_EQ(1, ov.OV_SAM_COS(1, 1, 5, apdu, &len, out));
  EXPECT_EQ(5, len);
  EXPECT_EQ(Bytes({0x01, 0x02, 0x03, 0x90, 0x00}), Bytes(out, out + 5));
}

TEST_F(FakeReaderTest, SamLargestAnswerFitsTheDocumentedBuffer) {
  Bytes big(ORVEX_MAX_ANSWER);
  for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<uint8_t>(i * 7);
  unsigned char apdu[] = {0x00, 0xB0, 0x00, 0x00, 0x00};
  int len = 0;
  std::vector<unsigned char> out(ORVEX_MAX_ANSWER);  // exactly as documented
  reader.Ok(big);
  EXPECT_EQ(1, ov.OV_SAM_COS(1, 1, 5, apdu, &len, out.data()));
  EXPECT_EQ(ORVEX_MAX_ANSWER, len);
  EXPECT_EQ(big, Bytes(out.begin(), out.end()));
}

// ---- Failures ---------------------------------------------------------------------------------

TEST_F(FakeReaderTest, SamRefusalIsMinusThreeAndWritesNothing) {
  ExpectEachFailsUntouched(reader, ov, Reply::Frame(0x01, {0x3B, 0x90, 0x00}), -3);
}

TEST_F(FakeReaderTest, SamMalformedAnswerIsMinusOneAndWritesNothing) {
  ExpectEachFailsUntouched(reader, ov, Broken(), -1);
}

TEST_F(FakeReaderTest, SamSilentReaderIsMinusOneNotMinusTwo) {
  int len = -7;
  unsigned char out[4] = {0xCC, 0xCC, 0xCC, 0xCC};
  reader.Push(Reply::Silence());
  EXPECT_EQ(-1, ov.OV_SAM_Reset(1, 1, &len, out));
  reader.Push(Reply::Silence());
  EXPECT_EQ(-1, ov.OV_SAM_ResetBaud(1, 1, 1));
  EXPECT_EQ(-7, len);
  EXPECT_EQ(Bytes(4, 0xCC), Bytes(out, out + 4));
}

TEST_F(FakeReaderTest, SamCosRefusesAnApduLongerThanItsRequestBuffer) {
  unsigned char apdu[kSamMaxApdu + 1];
  for (int i = 0; i <= kSamMaxApdu; ++i) apdu[i] = static_cast<unsigned char>(i);
  int len = -7;
  unsigned char out[4] = {0xCC, 0xCC, 0xCC, 0xCC};
  EXPECT_EQ(-1, ov.OV_SAM_COS(1, 1, kSamMaxApdu + 1, apdu, &len, out));
  EXPECT_EQ(-1, ov.OV_SAM_COS(1, 1, -1, apdu, &len, out));
  EXPECT_EQ(-7, len);
  EXPECT_EQ(Bytes(4, 0xCC), Bytes(out, out + 4));
  EXPECT_TRUE(reader.commands().empty());

  // The largest one that fits goes out whole.
  reader.Ok({0x90, 0x00});
  EXPECT_EQ(1, ov.OV_SAM_COS(1, 1, kSamMaxApdu, apdu, &len, out));
  ExpectSent(0x12, Bytes(apdu, apdu + kSamMaxApdu));
  EXPECT_EQ(2, len);
}

// ---- Deadlines
// ----------------------------------------------------------------------------------- A reply cut
// in two: the gap fits the deadline or it does not. The late half of a failed reply is dropped by
// the next command's send. The fixture's short first-byte wait would also bound the wait for the
// rest of a frame, so the longer deadlines are tested with a long one.

TEST_F(FakeReaderTest, SamSpeedDeadlineIsOneTenthOfASecond) {
  reader.Push(Reply::Ok().InPieces({3}, 30));
  EXPECT_EQ(1, ov.OV_SAM_ResetBaud(1, 1, 1));
  reader.Push(Reply::Ok().InPieces({3}, 400));
  EXPECT_EQ(-1, ov.OV_SAM_PPSBaud(1, 1, 1));
}

TEST_F(FakeReaderTest, SamResetDeadlineIsSevenTenthsOfASecond) {
  orvex::transport::g_FirstByteTimeoutMs = 3000;
  int len = 0;
  unsigned char out[8];
  reader.Push(Reply::Ok({0x3B, 0x00}).InPieces({3}, 450));
  EXPECT_EQ(1, ov.OV_SAM_Reset(1, 1, &len, out));
  reader.Push(Reply::Ok({0x3B, 0x00}).InPieces({3}, 1200));
  long ms = ElapsedMs([&] { EXPECT_EQ(-1, ov.OV_SAM_ResetEx(1, 1, 1, &len, out)); });
  EXPECT_GE(ms, 650);
  EXPECT_LT(ms, 1150);
}

TEST_F(FakeReaderTest, SamCosDeadlineIsOneSecond) {
  orvex::transport::g_FirstByteTimeoutMs = 3000;
  unsigned char apdu[] = {0x00, 0x84, 0x00, 0x00, 0x04};
  int len = 0;
  unsigned char out[8];
  reader.Push(Reply::Ok({0x90, 0x00}).InPieces({3}, 700));
  EXPECT_EQ(1, ov.OV_SAM_COS(1, 1, 5, apdu, &len, out));
  reader.Push(Reply::Ok({0x90, 0x00}).InPieces({3}, 1600));
  long ms = ElapsedMs([&] { EXPECT_EQ(-1, ov.OV_SAM_COS(1, 1, 5, apdu, &len, out)); });
  EXPECT_GE(ms, 950);
  EXPECT_LT(ms, 1550);
}
