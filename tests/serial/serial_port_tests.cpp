// SPDX-License-Identifier: MIT
// Opening serial ports by number: "/dev/ttyS<N>" is opened under its real
// name, and the test program's own open() hands the library the fake
// reader's pseudo-terminal instead.
#include <errno.h>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "link/untFunction.h"
#include "orvex.h"
#include "reader_fixture.h"
#include "transport/PCComm.h"
#include "ttys_redirect.h"

using namespace orvex_test;
namespace tp = orvex::transport;

namespace {

class ComPortTest : public ::testing::Test {
 protected:
  void SetUp() override {
    tp::g_FirstByteTimeoutMs = kTestFirstByteTimeoutMs;
    RedirectSerialPort(7, reader.path());
  }
  void TearDown() override {
    ov.OV_ComFree();
    orvex::FaceID = 0;
    ClearSerialRedirects();
    tp::g_FirstByteTimeoutMs = 15000;
  }

  SerialOpen LastOpen() {
    auto opens = SerialOpens();
    if (opens.empty()) {
      ADD_FAILURE() << "no serial port was opened";
      return SerialOpen();
    }
    return opens.back();
  }

  FakeReader reader;
  Orvex ov;
};

bool IsOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }

bool IsClosed(int fd) { return fcntl(fd, F_GETFD) == -1 && errno == EBADF; }

}  // namespace

TEST_F(ComPortTest, ComInitialOpensTtySByItsNumberAndCommandsRoundTrip) {
  ASSERT_EQ(1, ov.OV_ComInitial(7, 19200));
  SerialOpen o = LastOpen();
  EXPECT_EQ("/dev/ttyS7", o.path);
  EXPECT_EQ(reader.path(), o.target);
  EXPECT_EQ(O_RDWR | O_NOCTTY | O_NONBLOCK, o.flags);
  EXPECT_EQ(orvex::h_Serial, o.fd);
  EXPECT_EQ(1, orvex::FaceID);
  EXPECT_EQ(7, orvex::CurrPort);

  // Blocking from now on, 19200 bits per second both ways.
  EXPECT_EQ(0, fcntl(orvex::h_Serial, F_GETFL) & O_NONBLOCK);
  termios t;
  ASSERT_EQ(0, tcgetattr(orvex::h_Serial, &t));
  EXPECT_EQ(B19200, cfgetispeed(&t));
  EXPECT_EQ(B19200, cfgetospeed(&t));

  reader.Ok({0x12, 0x34});
  EXPECT_EQ(0x1234, ov.OV_GetReaderVersion(1));
  ASSERT_TRUE(reader.WaitForCommands(1, 100));
  EXPECT_EQ(SerialCommandFrame(1, 0x04, {}), reader.last().raw);

  reader.Ok();
  EXPECT_EQ(1, ov.OV_Buzzer(1, 10, 5, 2));
  ASSERT_TRUE(reader.WaitForCommands(2, 100));
  EXPECT_EQ(SerialCommandFrame(1, 0x06, {10, 5, 2}), reader.last().raw);
}

TEST_F(ComPortTest, PortNumberIsUsedWithoutOffset) {
  RedirectSerialPort(0, reader.path());
  int fd = tp::OpenPort(0, 19200);
  ASSERT_GE(fd, 0);
  EXPECT_EQ("/dev/ttyS0", LastOpen().path);
  EXPECT_EQ(1, tp::ClosePort(fd));

  EXPECT_EQ(0, ov.OV_ComInitial(1, 19200));
  EXPECT_EQ("/dev/ttyS1", LastOpen().path);
}

TEST_F(ComPortTest, TheHostAcceptsFourSpeeds) {
  const struct {
    int bps;
    speed_t code;
  } speeds[] = {{4800, B4800}, {9600, B9600}, {19200, B19200}, {38400, B38400}};
  for (const auto& s : speeds) {
    int fd = tp::OpenPort(7, s.bps);
    ASSERT_GE(fd, 0) << s.bps;
    termios t;
    ASSERT_EQ(0, tcgetattr(fd, &t));
    EXPECT_EQ(s.code, cfgetospeed(&t)) << s.bps;
    tp::ClosePort(fd);
  }
}

TEST_F(ComPortTest, FasterSpeedsFailWithMinusThreeAfterClosingTheDevice) {
  for (int bps : {115200, 57600}) {
    EXPECT_EQ(-3, tp::OpenPort(7, bps)) << bps;
    SerialOpen o = LastOpen();
    ASSERT_GE(o.fd, 0) << "the device itself opened";
    EXPECT_TRUE(IsClosed(o.fd)) << bps;
  }
  // Through the public open: 0, and the failure code is what is held.
  EXPECT_EQ(0, ov.OV_ComInitial(7, 115200));
  EXPECT_EQ(-3, orvex::h_Serial);
  EXPECT_EQ(0, orvex::FaceID);
}

TEST_F(ComPortTest, FailedComInitialLeavesTheLinkKindAsItWas) {
  // No link: stays none. The failure code of the open is what is held.
  EXPECT_EQ(0, ov.OV_ComInitial(8, 19200));
  EXPECT_EQ("/dev/ttyS8", LastOpen().path);
  EXPECT_EQ(0, orvex::FaceID);
  EXPECT_EQ(-1, orvex::h_Serial);

  // The fixed-reader-number serial kind (set by no open) stays too.
  orvex::FaceID = 3;
  EXPECT_EQ(0, ov.OV_ComInitial(8, 19200));
  EXPECT_EQ(3, orvex::FaceID);
  orvex::FaceID = 0;
}

TEST_F(ComPortTest, ComInitialClosesTheOpenSerialPortBeforeTryingAnother) {
  ASSERT_EQ(1, ov.OV_ComInitial(7, 19200));
  int first = orvex::h_Serial;
  EXPECT_EQ(0, ov.OV_ComInitial(8, 19200));
  EXPECT_TRUE(IsClosed(first));
  EXPECT_EQ(0, orvex::FaceID);
  EXPECT_EQ(-1, ov.OV_GetReaderVersion(1));
  EXPECT_TRUE(reader.commands().empty());
}

TEST_F(ComPortTest, ThePortCanBeOpenedAgainAtTheSameSpeed) {
  // The line is then already as the open leaves it; the pseudo-terminal's
  // fixed character size must not make the second open fail.
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(1, ov.OV_ComInitial(7, 19200)) << i;
    reader.Ok({0x00, static_cast<uint8_t>(i)});
    EXPECT_EQ(i, ov.OV_GetReaderVersion(1));
    EXPECT_EQ(1, ov.OV_ComFree());
  }
}

TEST_F(ComPortTest, ComFreeClosesThePort) {
  ASSERT_EQ(1, ov.OV_ComInitial(7, 19200));
  int fd = orvex::h_Serial;
  ASSERT_TRUE(IsOpen(fd));
  EXPECT_EQ(1, ov.OV_ComFree());
  EXPECT_TRUE(IsClosed(fd));
  EXPECT_EQ(0, orvex::h_Serial);
  EXPECT_EQ(0, orvex::FaceID);
  EXPECT_EQ(1, ov.OV_ComFree());  // nothing open: still 1
}
