// SPDX-License-Identifier: MIT
// Reader management on the link-independent simulator: reader number,
// identity, buzzer, lamps, LED display, antenna, search mode, parameters,
// memory, the 433 MHz module, the line speed, the pass-through.
#include <gtest/gtest.h>

#include "orvexsim/lf_card.h"
#include "orvexsim/simulator.h"

using namespace orvexsim;

namespace {

Reply Must(Simulator& sim, uint8_t cmd, const Bytes& data = {}, uint16_t reader = 1) {
  auto r = sim.Handle(reader, cmd, data);
  EXPECT_TRUE(r.has_value()) << "no answer to command " << int(cmd);
  return r.value_or(Reply::Fail(0xFF));
}

}  // namespace

TEST(SimReader, AnswersItsNumberAndNumberZero) {
  Simulator sim;
  EXPECT_EQ((Bytes{0x00, 0x01}), Must(sim, 0x03).data);
  EXPECT_EQ((Bytes{0x00, 0x01}), Must(sim, 0x03, {}, 0).data);
  EXPECT_FALSE(sim.Handle(2, 0x03, {}).has_value());
}

TEST(SimReader, ChangesItsNumber) {
  Simulator sim;
  EXPECT_EQ(status::kOk, Must(sim, 0x02, {0x00, 0x07, 0x00, 0x00}).status);
  EXPECT_EQ(7, sim.reader_number());
  EXPECT_FALSE(sim.Handle(1, 0x03, {}).has_value());
  EXPECT_EQ((Bytes{0x00, 0x07}), Must(sim, 0x03, {}, 7).data);
}

TEST(SimReader, ReportsVersionSerialAndProductNumber) {
  Simulator sim;
  EXPECT_EQ((Bytes{0x01, 0x07}), Must(sim, 0x04).data);
  EXPECT_EQ(8u, Must(sim, 0x05).data.size());
  auto product = Must(sim, 0x08).data;
  EXPECT_EQ(std::string("OVX-C100"), std::string(product.begin(), product.end()));
  Simulator display(ReaderModel::kDisplayReader);
  auto no = Must(display, 0x08).data;
  EXPECT_EQ(std::string("OVX-D210"), std::string(no.begin(), no.end()));
}

TEST(SimReader, ChangesLineSpeedByIndex) {
  Simulator sim;
  EXPECT_EQ(19200, sim.line_speed());
  EXPECT_EQ(status::kOk, Must(sim, 0x01, {6}, 0).status);
  EXPECT_EQ(57600, sim.line_speed());
  EXPECT_EQ(status::kOk, Must(sim, 0x01, {0}, 0).status);
  EXPECT_EQ(4800, sim.line_speed());
  EXPECT_EQ(status::kBadParameter, Must(sim, 0x01, {8}, 0).status);
  EXPECT_EQ(4800, sim.line_speed());
}

TEST(SimReader, CountsBeepsAndKeepsLampState) {
  Simulator sim;
  EXPECT_EQ(status::kOk, Must(sim, 0x06, {10, 5, 3}).status);
  EXPECT_EQ(3, sim.reader().beeps);
  EXPECT_EQ(10, sim.reader().buzzer_on);
  EXPECT_EQ(status::kBadParameter, Must(sim, 0x06, {10, 5}).status);
  EXPECT_EQ(status::kOk, Must(sim, 0x07, {1, 2, 3, 4, 2}).status);
  EXPECT_EQ((Bytes{1, 2, 3, 4}), sim.reader().led_blink);
  EXPECT_EQ(2, sim.reader().led_lit);
}

TEST(SimReader, LedDisplayPlacesDigitsAndPoints) {
  Simulator sim;
  // "1.5" right-aligned: six blanks, then 1 with its point, then 5.
  EXPECT_EQ(status::kOk, Must(sim, 0x09, {9, 0, 0, 0, 0, 0, 0, '1', '.', '5'}).status);
  EXPECT_EQ("      1.5", sim.reader().LedText());
  // Leading dots take digits of their own.
  EXPECT_EQ(status::kOk, Must(sim, 0x09, {3, '.', '.', '8'}).status);
  EXPECT_EQ("..8     ", sim.reader().LedText());
  // The count byte must match.
  EXPECT_EQ(status::kBadParameter, Must(sim, 0x09, {4, '1'}).status);
}

TEST(SimReader, AntennaAndSearchModeAndAntennaChoice) {
  Simulator sim;
  EXPECT_TRUE(sim.antenna_on());
  EXPECT_EQ(status::kOk, Must(sim, 0x21, {0}).status);
  EXPECT_FALSE(sim.antenna_on());
  EXPECT_EQ(status::kOk, Must(sim, 0x21, {1}).status);
  EXPECT_TRUE(sim.antenna_on());
  EXPECT_EQ(status::kOk, Must(sim, 0x20, {0x42}).status);
  EXPECT_EQ(0x42, sim.reader().search_mode);
  EXPECT_FALSE(sim.reader().search_param.has_value());
  EXPECT_EQ(status::kOk, Must(sim, 0x20, {0x41, 0x03}).status);
  EXPECT_EQ(0x03, sim.reader().search_param.value_or(0));
  EXPECT_EQ(status::kOk, Must(sim, 0xFE, {2}).status);
  EXPECT_EQ(2, sim.reader().hf_antenna);
}

TEST(SimReader, ParameterStoreSetsAndReads) {
  Simulator sim;
  EXPECT_EQ(status::kBadParameter, Must(sim, 0x0F, {5}).status);  // never set
  auto set = Must(sim, 0x0F, {5, 0xAA, 0xBB});
  EXPECT_EQ(status::kOk, set.status);
  EXPECT_EQ((Bytes{0xAA, 0xBB}), set.data);
  EXPECT_EQ((Bytes{0xAA, 0xBB}), Must(sim, 0x0F, {5}).data);
}

TEST(SimReader, ReaderMemoryReadsBackWhatWasWritten) {
  Simulator sim;
  EXPECT_EQ(status::kOk, Must(sim, 0xB2, {0, 0, 0x12, 0x34, 0, 3, 7, 8, 9}).status);
  EXPECT_EQ((Bytes{0, 7, 8, 9, 0}), Must(sim, 0xB1, {0, 0, 0x12, 0x33, 0, 5}).data);
  // The count must match the data; the range must lie in the 64 KiB.
  EXPECT_EQ(status::kBadParameter, Must(sim, 0xB2, {0, 0, 0, 0, 0, 3, 7}).status);
  EXPECT_EQ(status::kBadParameter, Must(sim, 0xB1, {0, 0, 0xFF, 0xFF, 0, 2}).status);
}

TEST(SimReader, Module433ParametersRoundTrip) {
  Simulator sim;
  EXPECT_EQ(status::kOk, Must(sim, 0xFC, {1, 1, 2, 3, 4, 5, 6, 7, 8}).status);
  EXPECT_EQ((Bytes{1, 2, 3, 4, 5, 6, 7, 8}), Must(sim, 0xFC, {0}).data);
}

TEST(SimReader, PassThroughEchoesInModeZero) {
  Simulator sim;
  EXPECT_EQ((Bytes{0x02, 0x03, 0x10}), Must(sim, 0xFB, {0x00, 0x05, 0x02, 0x03, 0x10}).data);
  EXPECT_EQ(status::kBadParameter, Must(sim, 0xFB, {0x07, 0x05, 0x01}).status);
}

TEST(SimReader, LowFrequencyCardNumber) {
  Simulator sim;
  EXPECT_EQ(status::kNoCard, Must(sim, 0xFD).status);
  auto lf = std::make_shared<LfCard>(Bytes{0x1A, 0x00, 0x12, 0x34, 0x56});
  sim.Place(lf);
  EXPECT_EQ((Bytes{0x1A, 0x00, 0x12, 0x34, 0x56}), Must(sim, 0xFD).data);
  sim.Remove(lf);
  EXPECT_EQ(status::kNoCard, Must(sim, 0xFD).status);
}

TEST(SimReader, UnknownCommandIsRefused) {
  Simulator sim;
  EXPECT_EQ(status::kUnknownCommand, Must(sim, 0x33).status);
}
