// SPDX-License-Identifier: MIT
// Faults a reader or its line can produce: a line that hangs up before,
// during and after an answer, every single-byte corruption of a valid answer,
// and the library working normally once the line is back.
#include <fcntl.h>
#include <unistd.h>

#include <deque>
#include <memory>

#include "reader_fixture.h"

using namespace orvex;
using namespace orvex_test;

namespace {

int OpenFds() {
  int n = 0;
  for (int fd = 0; fd < 1024; ++fd)
    if (fcntl(fd, F_GETFD) != -1) ++n;
  return n;
}

// Delivers one scripted answer per command, all at once, then hangs up.
class OneShotLine : public Line {
 public:
  Bytes answer;
  bool delivered = false;
  int Write(const unsigned char*, int n) override {
    delivered = false;
    return n;
  }
  int Read(unsigned char* p, int capacity, int) override {
    if (delivered) return transport::kLineHungUp;
    delivered = true;
    int n = std::min<int>(capacity, static_cast<int>(answer.size()));
    std::copy(answer.begin(), answer.begin() + n, p);
    return n;
  }
};

}  // namespace

// Every byte of a valid answer frame replaced by every other value. A change
// anywhere between STX and ETX breaks the length or the checksum: -1 and the
// output untouched. STX and ETX themselves are checked by no one (the reader's
// protocol decodes a frame without looking at them), so a frame with either
// changed still decodes, after the answer wait has run to its deadline.
TEST(Faults, EverySingleByteCorruptionOfAnAnswer) {
  const Bytes serial = {0x10, 0x20, 0x30, 0x40, 0x02, 0x03, 0x70, 0x80};
  const Bytes good = SerialAnswerFrame(1, 0x05, 0x00, serial);
  OneShotLine line;
  AttachLine_(&line);
  Orvex ov;
  int failures = 0, decoded = 0;
  for (size_t pos = 0; pos < good.size(); ++pos) {
    for (int v = 0; v < 256; ++v) {
      if (v == good[pos]) continue;
      line.answer = good;
      line.answer[pos] = static_cast<uint8_t>(v);
      unsigned char out[ORVEX_MAX_ANSWER];
      memset(out, 0xEE, sizeof out);
      int rt = ov.OV_GetReaderSerial(1, out);
      bool edge = pos == 0 || pos + 1 == good.size();
      if (edge) {
        ASSERT_EQ(8, rt) << "pos " << pos << " value " << v;
        EXPECT_EQ(serial, Bytes(out, out + 8));
        ++decoded;
      } else {
        ASSERT_EQ(-1, rt) << "pos " << pos << " value " << v;
        ASSERT_EQ(0xEE, out[0]) << "pos " << pos << " value " << v;
        ++failures;
      }
    }
  }
  AttachLine_(nullptr);
  EXPECT_EQ(static_cast<int>((good.size() - 2) * 255), failures);
  EXPECT_EQ(2 * 255, decoded);
}

// The same over the pseudo-terminal for a sample of corruptions, with the
// time each takes.
TEST_F(FakeReaderTest, CorruptedAnswersOnTheLineFailWithinTheDeadline) {
  const Bytes good = SerialAnswerFrame(1, 0x05, 0x00, {1, 2, 3, 4, 5, 6, 7, 8});
  for (size_t pos = 1; pos + 1 < good.size(); ++pos) {
    Bytes bad = good;
    bad[pos] ^= 0x5A;
    reader.Push(Reply::Raw(bad));
    unsigned char out[ORVEX_MAX_ANSWER];
    memset(out, 0xEE, sizeof out);
    long ms = ElapsedMs([&] { EXPECT_EQ(-1, ov.OV_GetReaderSerial(1, out)) << pos; });
    EXPECT_EQ(0xEE, out[0]);
    EXPECT_LT(ms, 100 + 300) << pos;  // the deadline plus a margin
  }
}

TEST(Faults, LineHungUpBeforeTheAnswer) {
  auto reader = std::make_unique<FakeReader>();
  transport::g_FirstByteTimeoutMs = kTestFirstByteTimeoutMs;
  Orvex ov;
  ASSERT_EQ(1, ov.OV_ComInitialDevice(reader->path().c_str(), 19200));
  reader->HangUp();
  long ms = ElapsedMs([&] { EXPECT_EQ(-1, ov.OV_GetReaderVersion(1)); });
  EXPECT_LT(ms, kTestFirstByteTimeoutMs + 100 + 300);
  ov.OV_ComFree();
  transport::g_FirstByteTimeoutMs = 15000;
}

TEST(Faults, LineHungUpDuringAndAfterTheAnswerThenBack) {
  transport::g_FirstByteTimeoutMs = kTestFirstByteTimeoutMs;
  Orvex ov;
  const int fds = OpenFds();
  {
    // During: half a frame, then the line goes.
    FakeReader reader;
    ASSERT_EQ(1, ov.OV_ComInitialDevice(reader.path().c_str(), 19200));
    Bytes frame = SerialAnswerFrame(1, 0x04, 0x00, {0x01, 0x02});
    reader.Push(Reply::Raw(Bytes(frame.begin(), frame.begin() + 5)));
    reader.Push(Reply::HangUp());
    long ms = ElapsedMs([&] { EXPECT_EQ(-1, ov.OV_GetReaderVersion(1)); });
    EXPECT_LT(ms, 100 + 300);
  }
  {
    // After: a whole answer, then the line goes; the answer counts.
    FakeReader reader;
    ASSERT_EQ(1, ov.OV_ComInitialDevice(reader.path().c_str(), 19200));
    reader.Ok({0x01, 0x02});
    reader.Push(Reply::HangUp());
    EXPECT_EQ(0x0102, ov.OV_GetReaderVersion(1));
    EXPECT_EQ(-1, ov.OV_GetReaderVersion(1));
  }
  {
    // The line comes back (the application reopens it): all is normal.
    FakeReader reader;
    ASSERT_EQ(1, ov.OV_ComInitialDevice(reader.path().c_str(), 19200));
    reader.Ok({0x01, 0x03});
    EXPECT_EQ(0x0103, ov.OV_GetReaderVersion(1));
  }
  ov.OV_ComFree();
  EXPECT_EQ(fds, OpenFds());
  transport::g_FirstByteTimeoutMs = 15000;
}

TEST(Faults, RepeatedOpenAndCloseLeaksNothing) {
  FakeReader reader;
  Orvex ov;
  const int fds = OpenFds();
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(1, ov.OV_ComInitialDevice(reader.path().c_str(), 19200));
    ASSERT_EQ(1, ov.OV_ComFree());
  }
  EXPECT_EQ(fds, OpenFds());
  // Reopening without closing closes the earlier descriptor.
  for (int i = 0; i < 100; ++i) ASSERT_EQ(1, ov.OV_ComInitialDevice(reader.path().c_str(), 19200));
  EXPECT_EQ(fds + 1, OpenFds());
  ov.OV_ComFree();
  EXPECT_EQ(fds, OpenFds());
}
