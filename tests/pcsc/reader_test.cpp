// SPDX-License-Identifier: MIT
// The driver's reader (orvex_ifd::Reader) against the simulated reader on a
// pseudo-terminal, through liborvex: slots, power, transmit, presence (and
// that presence checks leave a powered card alone), the polling thread's
// wait, control; and against a reader that does not answer.
#include <gtest/gtest.h>

#include <orvex.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "fake_reader.h"
#include "orvex_reader.h"
#include "orvexsim/cpu_card.h"
#include "orvexsim/iso15693.h"
#include "orvexsim/mifare_classic.h"
#include "orvexsim/ntag.h"
#include "orvexsim/sam.h"
#include "orvexsim/serial_server.h"
#include "orvexsim/simulator.h"
#include "orvexsim/type_b.h"

namespace orvex_ifd {
namespace {

using Clock = std::chrono::steady_clock;

Bytes H(const std::string& hex) {
  Bytes b;
  for (size_t i = 0; i < hex.size();) {
    if (hex[i] == ' ') {
      ++i;
      continue;
    }
    b.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    i += 2;
  }
  return b;
}

const Bytes kSelectPurse = {0x00, 0xA4, 0x04, 0x00, 0x0D, 'O', 'V', 'X', '.', 'P', 'U', 'R', 'S', 'E', '.', 'A', 'P', 'P'};

class ReaderTest : public ::testing::Test {
 protected:
  void SetUp() override { Start(Config{}); }

  void Start(Config config) {
    orvexsim::SerialOptions options;
    options.trace = [this](const std::string& line) {
      std::lock_guard<std::mutex> lock(trace_mu_);
      if (line.rfind("->", 0) == 0) frames_.push_back(line);
    };
    server_ = std::make_unique<orvexsim::SerialServer>(sim_, options);
    server_->Start();
    reader_ = std::make_unique<Reader>(config);
    std::string error;
    ASSERT_TRUE(reader_->Open(server_->path(), error)) << error;
  }

  void TearDown() override {
    reader_.reset();
    server_.reset();
  }

  // The frames the reader received since the last call ("-> [0000] 38 ...").
  std::vector<std::string> Frames() {
    std::lock_guard<std::mutex> lock(trace_mu_);
    auto f = std::move(frames_);
    frames_.clear();
    return f;
  }

  std::string Tx(const Bytes& apdu, RESPONSECODE expect = IFD_SUCCESS, int slot = 0) {
    Bytes response;
    EXPECT_EQ(reader_->Transmit(slot, apdu, response), expect) << Hex(apdu);
    return Hex(response);
  }
  std::string Tx(const char* apdu) { return Tx(H(apdu)); }

  Bytes PowerUp(int slot = 0) {
    Bytes atr;
    EXPECT_EQ(reader_->Power(slot, IFD_POWER_UP, atr), IFD_SUCCESS);
    return atr;
  }

  orvexsim::Simulator sim_;
  std::unique_ptr<orvexsim::SerialServer> server_;
  std::unique_ptr<Reader> reader_;
  std::mutex trace_mu_;
  std::vector<std::string> frames_;
};

TEST_F(ReaderTest, OpenRefusesWhatIsNoConnection) {
  Reader r{Config{}};
  std::string error;
  EXPECT_FALSE(r.Open("usb:serial=", error));
  EXPECT_NE(error.find("usb:serial="), std::string::npos) << error;
  EXPECT_FALSE(r.Open("/dev/no-such-orvex-reader", error));
  EXPECT_NE(error.find("/dev/no-such-orvex-reader"), std::string::npos) << error;
}

TEST_F(ReaderTest, EmptyFieldAndSamSlots) {
  EXPECT_EQ(reader_->Presence(0), IFD_ICC_NOT_PRESENT);
  sim_.InsertSam(1, std::make_shared<orvexsim::SamCard>(H("5A000001")));
  EXPECT_EQ(reader_->Presence(1), IFD_ICC_PRESENT);
  EXPECT_EQ(reader_->Presence(2), IFD_ICC_NOT_PRESENT);
  EXPECT_EQ(reader_->Presence(3), IFD_ICC_NOT_PRESENT);
  EXPECT_EQ(reader_->Presence(4), IFD_COMMUNICATION_ERROR);
  Bytes atr;
  EXPECT_EQ(reader_->Power(0, IFD_POWER_UP, atr), IFD_ERROR_POWER_ACTION);
  EXPECT_TRUE(atr.empty());
  EXPECT_EQ(Tx(H("00 84 00 00 08"), IFD_ICC_NOT_PRESENT), "");
}

TEST_F(ReaderTest, CpuCard) {
  sim_.Place(std::make_shared<orvexsim::CpuCard>(H("C1020304")));
  EXPECT_EQ(reader_->Presence(0), IFD_ICC_PRESENT);
  EXPECT_EQ(Hex(PowerUp()), "3B 88 80 01 4F 56 58 43 4F 53 01 00 16");
  EXPECT_EQ(Hex(reader_->Atr(0)), "3B 88 80 01 4F 56 58 43 4F 53 01 00 16");
  EXPECT_EQ(reader_->FieldCard().Describe(), "ISO 14443-4 type A card C1020304");
  std::string fci = Tx(kSelectPurse);
  EXPECT_EQ(fci.substr(0, 2), "6F");
  EXPECT_EQ(fci.substr(fci.size() - 5), "90 00");
  EXPECT_EQ(Tx("00 B0 95 00 04"), "4F 56 58 31 90 00");
  EXPECT_EQ(Tx("FF CA 00 00 00"), "C1 02 03 04 90 00");
  EXPECT_EQ(Tx(H("00 B0"), IFD_COMMUNICATION_ERROR), "");  // not an APDU
  Bytes too_long = H("00 D6 00 00 00 04 0D");
  too_long.resize(Reader::kMaxFieldApdu + 1);
  EXPECT_EQ(Tx(too_long, IFD_COMMUNICATION_ERROR), "");  // more than the reader carries
  EXPECT_EQ(Tx("00 B0 95 00 04"), "4F 56 58 31 90 00");  // the card is still there
  Bytes atr;
  EXPECT_EQ(reader_->Power(0, IFD_POWER_DOWN, atr), IFD_SUCCESS);
  EXPECT_TRUE(reader_->Atr(0).empty());
  EXPECT_EQ(Tx(H("00 B0 95 00 04"), IFD_ICC_NOT_PRESENT), "");
}

TEST_F(ReaderTest, TypeBCpuCard) {
  sim_.Place(std::make_shared<orvexsim::CpuCardB>(H("5B0A0B0C")));
  EXPECT_EQ(reader_->Presence(0), IFD_ICC_PRESENT);
  EXPECT_EQ(Hex(PowerUp()), "3B 88 80 01 00 00 00 00 00 81 71 00 F9");
  EXPECT_EQ(Tx(kSelectPurse).substr(0, 2), "6F");
  EXPECT_EQ(Tx("FF CA 00 00 00"), "5B 0A 0B 0C 90 00");
}

TEST_F(ReaderTest, PresenceChecksLeaveAPoweredCpuCardAlone) {
  sim_.Place(std::make_shared<orvexsim::CpuCard>(H("C1020304")));
  PowerUp();
  Tx(kSelectPurse);  // the application is selected: state a re-activation would lose
  Frames();
  for (int i = 0; i < 5; ++i) EXPECT_EQ(reader_->Presence(0), IFD_ICC_PRESENT);
  EXPECT_TRUE(Frames().empty());  // nothing went to the reader
  EXPECT_EQ(Tx("00 B0 95 00 04"), "4F 56 58 31 90 00");  // still in the application
}

TEST_F(ReaderTest, UsedCpuCardThatLeftFailsTheNextCommandThenIsAbsent) {
  auto card = std::make_shared<orvexsim::CpuCard>(H("C1020304"));
  sim_.Place(card);
  PowerUp();
  Tx(kSelectPurse);
  sim_.Remove(card);
  EXPECT_EQ(reader_->Presence(0), IFD_ICC_PRESENT);  // not asked
  EXPECT_EQ(Tx(H("00 B0 95 00 04"), IFD_ICC_NOT_PRESENT), "");
  EXPECT_EQ(reader_->Presence(0), IFD_ICC_NOT_PRESENT);
  EXPECT_EQ(Tx(H("00 B0 95 00 04"), IFD_ICC_NOT_PRESENT), "");
}

TEST_F(ReaderTest, UnusedPoweredCardThatLeftIsAbsent) {
  auto card = std::make_shared<orvexsim::CpuCard>(H("C1020304"));
  sim_.Place(card);
  PowerUp();
  EXPECT_EQ(reader_->Presence(0), IFD_ICC_PRESENT);  // activated again: nothing to lose yet
  sim_.Remove(card);
  EXPECT_EQ(reader_->Presence(0), IFD_ICC_NOT_PRESENT);
}

TEST_F(ReaderTest, AuthenticatedMifareClassicKeepsItsAuthenticationThroughPresenceChecks) {
  auto card = std::make_shared<orvexsim::MifareClassic>(orvexsim::MifareClassic::Size::k1K, H("A1B2C3D4"));
  sim_.Place(card);
  EXPECT_EQ(Hex(PowerUp()), "3B 8F 80 01 80 4F 0C A0 00 00 03 06 03 00 01 00 00 00 00 6A");
  EXPECT_EQ(Tx("FF 82 00 00 06 FF FF FF FF FF FF"), "90 00");
  EXPECT_EQ(Tx("FF 86 00 00 05 01 00 04 60 00"), "90 00");
  Frames();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(reader_->Presence(0), IFD_ICC_PRESENT);
  // Each check read the sector's trailer (block 7), nothing else.
  auto frames = Frames();
  ASSERT_EQ(frames.size(), 3u);
  for (auto& f : frames) EXPECT_NE(f.find("] 29 "), std::string::npos) << f;
  for (auto& f : frames) EXPECT_NE(f.find("  07"), std::string::npos) << f;
  EXPECT_EQ(Tx("FF D6 00 04 10 000102030405060708090A0B0C0D0E0F"), "90 00");
  EXPECT_EQ(Tx("FF B0 00 04 10"), "00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 90 00");
  sim_.Remove(card);
  EXPECT_EQ(reader_->Presence(0), IFD_ICC_NOT_PRESENT);
  EXPECT_EQ(Tx(H("FF B0 00 04 10"), IFD_ICC_NOT_PRESENT), "");
}

TEST_F(ReaderTest, MifareClassicWrongKeyAndItsCardThatLeft) {
  auto card = std::make_shared<orvexsim::MifareClassic>(orvexsim::MifareClassic::Size::k4K, H("A4000001"));
  sim_.Place(card);
  EXPECT_EQ(Hex(PowerUp()), "3B 8F 80 01 80 4F 0C A0 00 00 03 06 03 00 02 00 00 00 00 69");
  EXPECT_EQ(Tx("FF 82 00 01 06 A0 A1 A2 A3 A4 A5"), "90 00");
  EXPECT_EQ(Tx("FF 86 00 00 05 01 00 FF 60 01"), "63 00");
  EXPECT_EQ(Tx("FF 82 00 01 06 FF FF FF FF FF FF"), "90 00");
  EXPECT_EQ(Tx("FF 86 00 00 05 01 00 FF 60 01"), "90 00");  // block 255: sector 39
  EXPECT_EQ(Tx("FF B0 00 F0 10").substr(48), "90 00");
  // The card leaves; the wrong key's refusal finds it gone.
  EXPECT_EQ(Tx("FF 82 00 01 06 A0 A1 A2 A3 A4 A5"), "90 00");
  sim_.Remove(card);
  EXPECT_EQ(Tx(H("FF 86 00 00 05 01 00 04 60 01"), IFD_ICC_NOT_PRESENT), "");
  EXPECT_EQ(reader_->Presence(0), IFD_ICC_NOT_PRESENT);
}

TEST_F(ReaderTest, Ntag) {
  sim_.Place(std::make_shared<orvexsim::Ntag>(orvexsim::Ntag::Model::k213, H("04112233445566")));
  EXPECT_EQ(Hex(PowerUp()), "3B 8F 80 01 80 4F 0C A0 00 00 03 06 03 00 03 00 00 00 00 68");
  CardInfo info = reader_->FieldCard();
  EXPECT_EQ(info.blocks, 45);  // NTAG213, from GET_VERSION
  EXPECT_EQ(Tx("FF D6 00 27 04 01 02 03 04"), "90 00");
  EXPECT_EQ(Tx("FF B0 00 27 04"), "01 02 03 04 90 00");
  EXPECT_EQ(Tx("FF B0 00 2D 10"), "6A 82");
  Frames();
  EXPECT_EQ(reader_->Presence(0), IFD_ICC_PRESENT);
  auto frames = Frames();
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_NE(frames[0].find("] 29 "), std::string::npos) << frames[0];  // a read of page 0
}

TEST_F(ReaderTest, Iso15693Tag) {
  auto tag = std::make_shared<orvexsim::VicinityTag>(H("E004010203040506"));
  sim_.Place(tag);
  EXPECT_EQ(Hex(PowerUp()), "3B 8F 80 01 80 4F 0C A0 00 00 03 06 0B 00 14 00 00 00 00 77");
  CardInfo info = reader_->FieldCard();
  EXPECT_EQ(info.blocks, 28);
  EXPECT_EQ(info.block_size, 4);
  EXPECT_EQ(Tx("FF CA 00 00 00"), "06 05 04 03 02 01 04 E0 90 00");
  EXPECT_EQ(Tx("FF D6 00 1B 04 CA FE BA BE"), "90 00");
  EXPECT_EQ(Tx("FF B0 00 1B 04"), "CA FE BA BE 90 00");
  EXPECT_EQ(reader_->Presence(0), IFD_ICC_PRESENT);
  sim_.Remove(tag);
  EXPECT_EQ(reader_->Presence(0), IFD_ICC_NOT_PRESENT);
}

TEST_F(ReaderTest, SwappedCardIsAbsentFirst) {
  auto a = std::make_shared<orvexsim::MifareClassic>(orvexsim::MifareClassic::Size::k1K, H("11223344"));
  sim_.Place(a);
  EXPECT_EQ(reader_->Presence(0), IFD_ICC_PRESENT);
  sim_.Remove(a);
  sim_.Place(std::make_shared<orvexsim::MifareClassic>(orvexsim::MifareClassic::Size::k1K, H("55667788")));
  // Whoever asks during the hold hears "absent".
  EXPECT_EQ(reader_->Presence(0), IFD_ICC_NOT_PRESENT);
  EXPECT_EQ(reader_->Presence(0), IFD_ICC_NOT_PRESENT);
  std::this_thread::sleep_for(Reader::kAbsentHold);
  EXPECT_EQ(reader_->Presence(0), IFD_ICC_PRESENT);
  PowerUp();
  EXPECT_EQ(Tx("FF CA 00 00 00"), "55 66 77 88 90 00");
}

TEST_F(ReaderTest, Sam) {
  sim_.InsertSam(2, std::make_shared<orvexsim::SamCard>(H("5A000002")));
  Bytes atr = PowerUp(2);
  EXPECT_EQ(atr, sim_.sam(2)->atr());
  std::string challenge = Tx(H("00 84 00 00 08"), IFD_SUCCESS, 2);
  EXPECT_EQ(challenge.size(), 8u * 3 + 5);
  EXPECT_EQ(Tx(H("FF CA 00 00 00"), IFD_SUCCESS, 2), "6E 00");
  Bytes longest = H("00 D6 00 00 FF");
  longest.resize(5 + 255);
  EXPECT_EQ(Tx(longest, IFD_COMMUNICATION_ERROR, 2), "");
  Frames();
  // A powered SAM is not reset to see whether it is there.
  for (int i = 0; i < 3; ++i) EXPECT_EQ(reader_->Presence(2), IFD_ICC_PRESENT);
  EXPECT_TRUE(Frames().empty());
  Bytes again;
  EXPECT_EQ(reader_->Power(2, IFD_RESET, again), IFD_SUCCESS);
  EXPECT_EQ(again, atr);
  // Gone while powered: the next APDU says so, then the slot is empty.
  sim_.InsertSam(2, nullptr);
  EXPECT_EQ(Tx(H("00 84 00 00 08"), IFD_ICC_NOT_PRESENT, 2), "");
  EXPECT_EQ(reader_->Presence(2), IFD_ICC_NOT_PRESENT);
}

TEST_F(ReaderTest, WaitForChangeReturnsSoonAfterACardArrives) {
  EXPECT_EQ(reader_->Presence(0), IFD_ICC_NOT_PRESENT);
  auto start = Clock::now();
  std::thread later([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    sim_.Place(std::make_shared<orvexsim::CpuCard>(H("C1020304")));
  });
  reader_->WaitForChange(0, 5000);
  auto waited = Clock::now() - start;
  later.join();
  EXPECT_LT(waited, std::chrono::milliseconds(100) + 2 * Reader::kPollInterval);
  EXPECT_EQ(reader_->Presence(0), IFD_ICC_PRESENT);
  // Nothing changes: the wait lasts its time-out.
  start = Clock::now();
  reader_->WaitForChange(0, 300);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(300));
}

TEST_F(ReaderTest, StopWaitingEndsAWaitEvenOneNotYetBegun) {
  reader_->Presence(0);
  auto start = Clock::now();
  std::thread stopper([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    reader_->StopWaiting(0);
  });
  reader_->WaitForChange(0, 10000);
  stopper.join();
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(1));
  reader_->StopWaiting(0);
  start = Clock::now();
  reader_->WaitForChange(0, 10000);
  EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(100));
}

TEST_F(ReaderTest, ControlWithoutPassThrough) {
  Bytes out;
  EXPECT_EQ(reader_->Control(0, CM_IOCTL_GET_FEATURE_REQUEST, {}, out), IFD_SUCCESS);
  EXPECT_TRUE(out.empty());
  int beeps = sim_.reader().beeps;
  EXPECT_EQ(reader_->Control(0, kIoctlReaderCommand, H("06 01 01 01"), out), IFD_NOT_SUPPORTED);
  EXPECT_EQ(reader_->Control(1, kIoctlReaderCommand, H("06 01 01 01"), out), IFD_NOT_SUPPORTED);
  EXPECT_EQ(reader_->Control(0, SCARD_CTL_CODE(3500), H("01"), out), IFD_NOT_SUPPORTED);
  EXPECT_EQ(sim_.reader().beeps, beeps);
}

class PassThroughTest : public ReaderTest {
 protected:
  void SetUp() override {
    Config c;
    c.pass_through = true;
    Start(c);
  }
};

TEST_F(PassThroughTest, FeatureAndReaderCommands) {
  Bytes out;
  EXPECT_EQ(reader_->Control(0, CM_IOCTL_GET_FEATURE_REQUEST, {}, out), IFD_SUCCESS);
  EXPECT_EQ(Hex(out), "13 04 42 00 00 01");
  int beeps = sim_.reader().beeps;
  EXPECT_EQ(reader_->Control(0, kIoctlReaderCommand, H("06 01 01 02"), out), IFD_SUCCESS);
  EXPECT_EQ(Hex(out), "00");
  EXPECT_EQ(sim_.reader().beeps, beeps + 2);
  EXPECT_EQ(reader_->Control(0, kIoctlReaderCommand, H("07 01 02 03 04 01"), out), IFD_SUCCESS);
  EXPECT_EQ(Hex(sim_.reader().led_blink), "01 02 03 04");
  EXPECT_EQ(reader_->Control(0, kIoctlReaderCommand, H("04"), out), IFD_SUCCESS);
  EXPECT_EQ(Hex(out), "00 01 07");
  EXPECT_EQ(reader_->Control(0, kIoctlReaderCommand, H("21 00"), out), IFD_SUCCESS);
  EXPECT_FALSE(sim_.antenna_on());
  EXPECT_EQ(reader_->Control(0, kIoctlReaderCommand, H("21 01"), out), IFD_SUCCESS);
  EXPECT_EQ(reader_->Control(0, kIoctlReaderCommand, H("0F 10 AA BB"), out), IFD_SUCCESS);
  EXPECT_EQ(Hex(out), "00 AA BB");
  EXPECT_EQ(reader_->Control(0, kIoctlReaderCommand, H("0F 11"), out), IFD_SUCCESS);
  EXPECT_EQ(Hex(out), "01");  // refused: the reader holds no parameter 11
  EXPECT_EQ(reader_->Control(0, kIoctlReaderCommand, H("FB 00 01 AA BB"), out), IFD_SUCCESS);
  EXPECT_EQ(Hex(out), "00 AA BB");
  // Malformed or not offered.
  EXPECT_EQ(reader_->Control(0, kIoctlReaderCommand, H("06 01"), out), IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(reader_->Control(0, kIoctlReaderCommand, {}, out), IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(reader_->Control(0, kIoctlReaderCommand, H("01 05"), out), IFD_NOT_SUPPORTED);
  // The reader number changes; the driver addresses reader 0 and goes on.
  EXPECT_EQ(reader_->Control(0, kIoctlReaderCommand, H("02 00 09"), out), IFD_SUCCESS);
  EXPECT_EQ(sim_.reader_number(), 9);
  EXPECT_EQ(reader_->Control(0, kIoctlReaderCommand, H("03"), out), IFD_SUCCESS);
  EXPECT_EQ(Hex(out), "00 00 09");
}

TEST(SilentReader, EveryOperationFailsWithinItsOwnDeadline) {
  orvex_test::FakeReader fake;  // answers nothing
  Reader r{Config{}};
  std::string error;
  ASSERT_TRUE(r.Open(fake.path(), error)) << error;
  auto start = Clock::now();
  EXPECT_EQ(r.Presence(0), IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(r.Presence(1), IFD_COMMUNICATION_ERROR);
  Bytes atr;
  EXPECT_EQ(r.Power(0, IFD_POWER_UP, atr), IFD_COMMUNICATION_ERROR);
  // (each command waits its own deadline, 100 to 700 ms, not the link's 15 s)
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(3));
}

}  // namespace
}  // namespace orvex_ifd
