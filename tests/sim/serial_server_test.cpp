// SPDX-License-Identifier: MIT
// The simulated reader on a pseudo-terminal, spoken to byte by byte: answers
// to well-formed frames, silence for malformed ones and for other reader
// numbers, the trace, and the pacing of --baud.
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include "orvexsim/serial_server.h"

using namespace orvexsim;
using Clock = std::chrono::steady_clock;

namespace {

// The application's side of the line.
class Line {
 public:
  explicit Line(const std::string& path) {
    fd_ = open(path.c_str(), O_RDWR | O_NOCTTY);
    struct termios t;
    tcgetattr(fd_, &t);
    cfmakeraw(&t);
    tcsetattr(fd_, TCSANOW, &t);
  }
  ~Line() { close(fd_); }
  bool ok() const { return fd_ >= 0; }
  void Send(const Bytes& b) { ASSERT_EQ(ssize_t(b.size()), write(fd_, b.data(), b.size())); }
  // Bytes until an unescaped ETX after STX, or until timeout_ms pass.
  Bytes Receive(int timeout_ms, Clock::time_point* last = nullptr) {
    Bytes got;
    auto end = Clock::now() + std::chrono::milliseconds(timeout_ms);
    bool esc = false;
    while (Clock::now() < end) {
      struct pollfd p = {fd_, POLLIN, 0};
      int left = int(std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count());
      if (poll(&p, 1, left > 0 ? left : 0) <= 0) continue;
      uint8_t buf[256];
      ssize_t n = read(fd_, buf, sizeof buf);
      if (last) *last = Clock::now();
      for (ssize_t i = 0; i < n; ++i) {
        got.push_back(buf[i]);
        if (got.size() > 1 && !esc && buf[i] == 0x03) return got;
        esc = !esc && got.size() > 1 && buf[i] == 0x10;
      }
    }
    return got;
  }

 private:
  int fd_ = -1;
};

const Bytes kGetReaderId = {0x02, 0x00, 0x06, 0x00, 0x01, 0x10, 0x03, 0x04, 0x03};
const Bytes kReaderIdAnswer = {0x02, 0x00, 0x09, 0x00, 0x01, 0x10, 0x03, 0x00, 0x00, 0x01, 0x0A, 0x03};

}  // namespace

TEST(SimSerial, AnswersAFrameOnThePseudoTerminal) {
  Simulator sim;
  SerialServer server(sim);
  server.Start();
  EXPECT_EQ(0u, server.path().find("/dev/pts/"));
  Line line(server.path());
  ASSERT_TRUE(line.ok());
  line.Send(kGetReaderId);
  EXPECT_EQ(kReaderIdAnswer, line.Receive(2000));
}

TEST(SimSerial, AnswersStuffedData) {
  Simulator sim;
  SerialServer server(sim);
  server.Start();
  Line line(server.path());
  // SendCMD echo of 02 03 10.
  line.Send({0x02, 0x00, 0x0B, 0x00, 0x01, 0xFB, 0x00, 0x01, 0x10, 0x02, 0x10, 0x03, 0x10, 0x10, 0xE1, 0x03});
  EXPECT_EQ((Bytes{0x02, 0x00, 0x0A, 0x00, 0x01, 0xFB, 0x00, 0x10, 0x02, 0x10, 0x03, 0x10, 0x10, 0xE1, 0x03}),
            line.Receive(2000));
}

TEST(SimSerial, StaysSilentForMalformedFramesAndOtherReaders) {
  Simulator sim;
  SerialServer server(sim);
  server.Start();
  Line line(server.path());
  Bytes bad = kGetReaderId;
  bad[7] ^= 0x40;  // checksum
  line.Send(bad);
  EXPECT_TRUE(line.Receive(300).empty());
  // GetReaderID for reader 2.
  line.Send({0x02, 0x00, 0x06, 0x00, 0x02, 0x10, 0x03, 0x07, 0x03});
  EXPECT_TRUE(line.Receive(300).empty());
  // The reader still answers its own number afterwards.
  line.Send(kGetReaderId);
  EXPECT_EQ(kReaderIdAnswer, line.Receive(2000));
}

TEST(SimSerial, TracesEveryFrameOnOneLine) {
  Simulator sim;
  std::mutex mu;
  std::vector<std::string> lines;
  SerialOptions o;
  o.trace = [&](const std::string& s) {
    std::lock_guard<std::mutex> l(mu);
    lines.push_back(s);
  };
  SerialServer server(sim, o);
  server.Start();
  Line line(server.path());
  line.Send(kGetReaderId);
  ASSERT_EQ(kReaderIdAnswer, line.Receive(2000));
  Bytes bad = kGetReaderId;
  bad[7] ^= 0x40;
  line.Send(bad);
  line.Receive(200);
  server.Stop();
  std::lock_guard<std::mutex> l(mu);
  ASSERT_EQ(3u, lines.size());
  EXPECT_EQ("-> [0001] 03 GetReaderID", lines[0]);
  EXPECT_EQ("<- [0001] 03 GetReaderID  status 00 (ok)  00 01", lines[1]);
  EXPECT_NE(std::string::npos, lines[2].find("malformed frame (bad checksum"));
}

TEST(SimSerial, PacedModeDeliversNoFasterThanTheLine) {
  Simulator sim;
  SerialOptions o;
  o.baud = 2400;  // 4.17 ms a byte
  SerialServer server(sim, o);
  server.Start();
  EXPECT_EQ(2400, sim.line_speed());
  Line line(server.path());
  auto t0 = Clock::now();
  line.Send(kGetReaderId);
  Clock::time_point last;
  ASSERT_EQ(kReaderIdAnswer, line.Receive(3000, &last));
  // 9 command bytes and 12 answer bytes: at least 21 byte times (87.5 ms).
  auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(last - t0).count();
  EXPECT_GE(ms, 85);
  EXPECT_LT(ms, 1500);
}

TEST(SimSerial, PacedModeFollowsALineSpeedChange) {
  Simulator sim;
  SerialOptions o;
  o.baud = 38400;
  SerialServer server(sim, o);
  server.Start();
  Line line(server.path());
  // ChangeBound to index 0 (4800), addressed to reader 0.
  line.Send({0x02, 0x00, 0x07, 0x00, 0x00, 0x01, 0x00, 0x06, 0x03});
  ASSERT_FALSE(line.Receive(2000).empty());
  EXPECT_EQ(4800, sim.line_speed());
  auto t0 = Clock::now();
  line.Send(kGetReaderId);
  Clock::time_point last;
  ASSERT_EQ(kReaderIdAnswer, line.Receive(3000, &last));
  // 21 byte times at 4800 bit/s: 43.75 ms.
  EXPECT_GE(std::chrono::duration_cast<std::chrono::milliseconds>(last - t0).count(), 42);
}
