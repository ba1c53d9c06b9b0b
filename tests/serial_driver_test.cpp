// SPDX-License-Identifier: MIT
// The serial line driver on its own: line settings read back from a
// pseudo-terminal, the whole-buffer read and write helpers, and the
// first-byte wait of the serial read with its messages.
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "reader_fixture.h"
#include "transport/PCComm.h"

using namespace orvex_test;
namespace tp = orvex::transport;

// Every tcsetattr() of this program passes here on its way to the C
// library, uart_set's own included (the library is linked into the
// program), so that the tests see the settings it asked for, also those a
// pseudo-terminal does not keep: a pseudo-terminal stays at 8 bits without
// parity whatever it is asked.
namespace {
std::mutex g_applied_mu;
std::vector<std::pair<int, termios>> g_applied;

std::vector<std::pair<int, termios>> AppliedSettings() {
  std::lock_guard<std::mutex> l(g_applied_mu);
  return g_applied;
}
}  // namespace

extern "C" int tcsetattr(int fd, int action, const struct termios* t) __THROW {
  using Fn = int (*)(int, int, const struct termios*);
  static Fn real = reinterpret_cast<Fn>(dlsym(RTLD_NEXT, "tcsetattr"));
  {
    std::lock_guard<std::mutex> l(g_applied_mu);
    g_applied.emplace_back(fd, *t);
  }
  return real(fd, action, t);
}

namespace {

// A pseudo-terminal pair; the tests work on the slave side, as the library
// would on a serial device.
struct Pty {
  int master = -1;
  int slave = -1;
  Pty() {
    master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0)
      slave = open(ptsname(master), O_RDWR | O_NOCTTY);
  }
  ~Pty() {
    if (slave >= 0) close(slave);
    if (master >= 0) close(master);
  }
};

termios Attr(int fd) {
  termios t{};
  EXPECT_EQ(0, tcgetattr(fd, &t));
  return t;
}

// Puts the line into a known state first: 19200 8N1, canonical input with
// echo, output processing, some input flags, no flow control.
// Further control flags may be given.
void Baseline(int fd, tcflag_t cflag = 0) {
  termios t = Attr(fd);
  t.c_iflag = ICRNL | IGNBRK;
  t.c_oflag = OPOST | ONLCR;
  t.c_lflag = ICANON | ECHO | ECHOE | ISIG;
  t.c_cflag = CS8 | CREAD | CLOCAL | cflag;
  cfsetispeed(&t, B19200);
  cfsetospeed(&t, B19200);
  ASSERT_EQ(0, tcsetattr(fd, TCSANOW, &t));
}

class UartSetTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_GE(pty.slave, 0); }
  // The settings uart_set asks the terminal for with these values (which
  // must be accepted). The line starts from the baseline each time, so
  // that a pseudo-terminal always sees a change besides the character size
  // it ignores.
  termios Set(int baud, int flow, int bits, char parity, int stop, tcflag_t cflag = 0) {
    Baseline(pty.slave, cflag);
    size_t before = AppliedSettings().size();
    EXPECT_EQ(0, tp::uart_set(pty.slave, baud, flow, bits, parity, stop))
        << baud << " " << flow << " " << bits << " " << parity << " " << stop;
    auto sets = AppliedSettings();
    if (sets.size() != before + 1 || sets.back().first != pty.slave) {
      ADD_FAILURE() << "uart_set did not apply its settings once";
      return termios{};
    }
    return sets.back().second;
  }
  Pty pty;
};

// A pipe whose ends close with the object.
struct Pipe {
  int rd = -1;
  int wr = -1;
  Pipe() {
    int p[2];
    if (pipe(p) == 0) {
      rd = p[0];
      wr = p[1];
    }
  }
  ~Pipe() {
    CloseRead();
    CloseWrite();
  }
  void CloseRead() {
    if (rd >= 0) close(rd);
    rd = -1;
  }
  void CloseWrite() {
    if (wr >= 0) close(wr);
    wr = -1;
  }
};

Bytes Pattern(size_t n) {
  Bytes b(n);
  for (size_t i = 0; i < n; ++i) b[i] = static_cast<uint8_t>(i * 7 + 3);
  return b;
}

// Everything that can be read from fd without blocking.
Bytes Drain(int fd) {
  int flags = fcntl(fd, F_GETFL);
  fcntl(fd, F_SETFL, flags | O_NONBLOCK);
  Bytes out;
  uint8_t buf[4096];
  ssize_t n;
  while ((n = read(fd, buf, sizeof buf)) > 0) out.insert(out.end(), buf, buf + n);
  fcntl(fd, F_SETFL, flags);
  return out;
}

// A signal handler installed without SA_RESTART, so that a blocked read or
// write returns EINTR when the signal arrives.
std::atomic<int> g_signals{0};
void CountSignal(int) { ++g_signals; }

class InterruptingSignal {
 public:
  InterruptingSignal() {
    struct sigaction sa {};
    sa.sa_handler = CountSignal;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = 0;
    sigaction(SIGUSR1, &sa, &old_);
    g_signals = 0;
  }
  ~InterruptingSignal() { sigaction(SIGUSR1, &old_, nullptr); }

 private:
  struct sigaction old_ {};
};

}  // namespace

// ---------------------------------------------------------------------------
// uart_set

TEST_F(UartSetTest, EightBitsWithoutParityEndUpAsSevenBits) {
  termios t = Set(19200, 0, 8, 'N', 1);
  // 'N' also clears the bit 0x10 (INPCK's value) in the control flags,
  // which turns CS8 into CS7. The readers' host software always did this.
  EXPECT_EQ(static_cast<tcflag_t>(CS7), t.c_cflag & CSIZE);
  EXPECT_EQ(0u, t.c_cflag & PARENB);
  EXPECT_EQ(0u, t.c_cflag & CSTOPB);
  EXPECT_EQ(0u, t.c_cflag & CRTSCTS);
  EXPECT_EQ(static_cast<tcflag_t>(CLOCAL | CREAD), t.c_cflag & (CLOCAL | CREAD));
  EXPECT_EQ(B19200, cfgetispeed(&t));
  EXPECT_EQ(B19200, cfgetospeed(&t));
  // Raw output and input, one byte at a time, no wait.
  EXPECT_EQ(0u, t.c_oflag & OPOST);
  EXPECT_EQ(0u, t.c_lflag & (ICANON | ECHO | ECHOE | ISIG));
  EXPECT_EQ(1, t.c_cc[VMIN]);
  EXPECT_EQ(0, t.c_cc[VTIME]);
  // Input flags stay as they were found.
  EXPECT_EQ(static_cast<tcflag_t>(ICRNL | IGNBRK), t.c_iflag);

  // All of it is in force on the line, but for the character size: the
  // pseudo-terminal stays at 8 bits (a serial port would take CS7).
  termios now = Attr(pty.slave);
  EXPECT_EQ(t.c_cflag & ~CSIZE, now.c_cflag & ~CSIZE);
  EXPECT_EQ(static_cast<tcflag_t>(CS8), now.c_cflag & CSIZE);
  EXPECT_EQ(t.c_iflag, now.c_iflag);
  EXPECT_EQ(t.c_oflag, now.c_oflag);
  EXPECT_EQ(t.c_lflag, now.c_lflag);
  EXPECT_EQ(B19200, cfgetospeed(&now));
  EXPECT_EQ(1, now.c_cc[VMIN]);
  EXPECT_EQ(0, now.c_cc[VTIME]);
}

TEST_F(UartSetTest, APseudoTerminalSetTheSameWayTwiceIsAccepted) {
  Baseline(pty.slave);
  EXPECT_EQ(0, tp::uart_set(pty.slave, 19200, 0, 8, 'N', 1));
  // Nothing changes but the character size, which the pseudo-terminal
  // does not take; the line is as asked otherwise.
  EXPECT_EQ(0, tp::uart_set(pty.slave, 19200, 0, 8, 'N', 1));
  EXPECT_EQ(0, tp::uart_set(pty.slave, 19200, 0, 7, 'E', 1));
}

TEST_F(UartSetTest, ParityNClearsTheBit0x10WhateverTheSize) {
  EXPECT_EQ(static_cast<tcflag_t>(CS5), Set(9600, 0, 5, 'N', 1).c_cflag & CSIZE);
  EXPECT_EQ(static_cast<tcflag_t>(CS5), Set(9600, 0, 6, 'N', 1).c_cflag & CSIZE);
  EXPECT_EQ(static_cast<tcflag_t>(CS7), Set(9600, 0, 7, 'N', 1).c_cflag & CSIZE);
  EXPECT_EQ(static_cast<tcflag_t>(CS7), Set(9600, 0, 8, 'n', 1).c_cflag & CSIZE);
}

TEST_F(UartSetTest, ParitySKeepsTheCharacterSizeAsAsked) {
  EXPECT_EQ(static_cast<tcflag_t>(CS5), Set(9600, 0, 5, 'S', 1).c_cflag & CSIZE);
  EXPECT_EQ(static_cast<tcflag_t>(CS6), Set(9600, 0, 6, 's', 1).c_cflag & CSIZE);
  EXPECT_EQ(static_cast<tcflag_t>(CS7), Set(9600, 0, 7, 'S', 1).c_cflag & CSIZE);
  EXPECT_EQ(static_cast<tcflag_t>(CS8), Set(9600, 0, 8, 's', 1).c_cflag & CSIZE);
}

TEST_F(UartSetTest, OddAndEvenParitySetTheBits0x10And0x20Too) {
  for (char p : {'O', 'o'}) {
    termios t = Set(4800, 0, 5, p, 1);
    EXPECT_EQ(static_cast<tcflag_t>(PARENB | PARODD), t.c_cflag & (PARENB | PARODD)) << p;
    EXPECT_EQ(0x30u, t.c_cflag & 0x30u) << p;  // so CS8, whatever was asked
  }
  for (char p : {'E', 'e'}) {
    termios t = Set(4800, 0, 7, p, 1, PARODD);  // PARODD set before
    EXPECT_EQ(static_cast<tcflag_t>(PARENB), t.c_cflag & (PARENB | PARODD)) << p;
    EXPECT_EQ(0x30u, t.c_cflag & 0x30u) << p;
  }
}

TEST_F(UartSetTest, StopBitsAreSetAfterTheParity) {
  EXPECT_EQ(static_cast<tcflag_t>(CSTOPB), Set(38400, 0, 8, 'N', 2).c_cflag & CSTOPB);
  EXPECT_EQ(0u, Set(38400, 0, 8, 'N', 1).c_cflag & CSTOPB);
  // 'S' clears CSTOPB, and two stop bits set it again.
  EXPECT_EQ(static_cast<tcflag_t>(CSTOPB), Set(38400, 0, 8, 'S', 2).c_cflag & CSTOPB);
  EXPECT_EQ(0u, Set(38400, 0, 8, 'S', 1).c_cflag & (CSTOPB | PARENB));
}

TEST_F(UartSetTest, FlowControl) {
  EXPECT_EQ(static_cast<tcflag_t>(CRTSCTS), Set(9600, 1, 8, 'N', 1).c_cflag & CRTSCTS);
  EXPECT_EQ(0u, Set(9600, 0, 8, 'N', 1).c_cflag & CRTSCTS);
  // Software flow control: the IXON|IXOFF|IXANY pattern lands in the
  // control flags, the input flags are not touched.
  termios t = Set(9600, 2, 8, 'N', 1);
  EXPECT_EQ(0x1C00u, t.c_cflag & 0x1C00u);
  EXPECT_EQ(0u, t.c_iflag & (IXON | IXOFF | IXANY));
}

TEST_F(UartSetTest, EveryUnsupportedValueIsRefusedAndChangesNothing) {
  Baseline(pty.slave);
  const termios before = Attr(pty.slave);
  const size_t applied = AppliedSettings().size();
  struct Case {
    int baud, flow, bits;
    char parity;
    int stop;
  };
  const Case cases[] = {
      {0, 0, 8, 'N', 1},      {1200, 0, 8, 'N', 1},  {2400, 0, 8, 'N', 1},
      {14400, 0, 8, 'N', 1},  {19201, 0, 8, 'N', 1}, {57600, 0, 8, 'N', 1},
      {115200, 0, 8, 'N', 1}, {-19200, 0, 8, 'N', 1}, {19200, -1, 8, 'N', 1},
      {19200, 3, 8, 'N', 1},  {19200, 0, 4, 'N', 1}, {19200, 0, 9, 'N', 1},
      {19200, 0, 0, 'N', 1},  {19200, 0, 8, 'M', 1}, {19200, 0, 8, 'x', 1},
      {19200, 0, 8, '\0', 1}, {19200, 0, 8, '8', 1}, {19200, 0, 8, 'N', 0},
      {19200, 0, 8, 'N', 3},  {19200, 0, 8, 'N', -1},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(-1, tp::uart_set(pty.slave, c.baud, c.flow, c.bits, c.parity, c.stop))
        << c.baud << " " << c.flow << " " << c.bits << " '" << c.parity << "' " << c.stop;
  }
  // Refused before anything was applied.
  EXPECT_EQ(applied, AppliedSettings().size());
  termios now = Attr(pty.slave);
  EXPECT_EQ(before.c_cflag, now.c_cflag);
  EXPECT_EQ(before.c_lflag, now.c_lflag);
  EXPECT_EQ(before.c_oflag, now.c_oflag);
  EXPECT_EQ(cfgetospeed(&before), cfgetospeed(&now));
}

TEST(UartSet, ANonTerminalIsRefused) {
  Pipe p;
  EXPECT_EQ(-1, tp::uart_set(p.rd, 19200, 0, 8, 'N', 1));
  EXPECT_EQ(-1, tp::uart_set(-1, 19200, 0, 8, 'N', 1));
}

// ---------------------------------------------------------------------------
// WriteData, ClosePort

TEST(WriteData, DescriptorZeroIsRefusedWithoutWriting) {
  Pipe p;
  int saved = dup(0);
  ASSERT_GE(saved, 0);
  ASSERT_EQ(0, dup2(p.wr, 0));  // standard input now leads into the pipe
  Bytes data = Pattern(5);
  int r = tp::WriteData(0, data.data(), 5);
  dup2(saved, 0);
  close(saved);
  EXPECT_EQ(-1, r);
  EXPECT_TRUE(Drain(p.rd).empty());
}

TEST(WriteData, WritesTheWholeBuffer) {
  Pipe p;
  Bytes data = Pattern(300);
  EXPECT_EQ(300, tp::WriteData(p.wr, data.data(), 300));
  EXPECT_EQ(data, Drain(p.rd));
}

TEST(WriteData, FailedWriteGivesMinusOne) {
  Pipe p;
  int fd = dup(p.wr);
  close(fd);  // a descriptor number that is not open
  Bytes data = Pattern(5);
  EXPECT_EQ(-1, tp::WriteData(fd, data.data(), 5));
}

TEST(ClosePort, AlwaysOne) {
  Pipe p;
  EXPECT_EQ(1, tp::ClosePort(-3));
  EXPECT_EQ(1, tp::ClosePort(0));
  EXPECT_NE(-1, fcntl(0, F_GETFD));  // descriptor 0 is never closed
  int fd = p.wr;
  p.wr = -1;
  EXPECT_EQ(1, tp::ClosePort(fd));
  EXPECT_EQ(-1, fcntl(fd, F_GETFD));
  EXPECT_EQ(1, tp::ClosePort(fd));  // already closed: still 1
  int fd2 = dup(p.rd);
  EXPECT_EQ(0, tp::uart_close(fd2));
  EXPECT_EQ(-1, fcntl(fd2, F_GETFD));
}

// ---------------------------------------------------------------------------
// safe_read, safe_write

TEST(SafeRead, ReadsUntilAllHaveComeOrTheEnd) {
  Pipe p;
  Bytes data = Pattern(300);
  std::thread writer([&] {
    for (int i = 0; i < 3; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      ASSERT_EQ(100, write(p.wr, data.data() + 100 * i, 100));
    }
    p.CloseWrite();
  });
  unsigned char buf[1024];
  EXPECT_EQ(300, tp::safe_read(p.rd, buf, sizeof buf));  // three pieces, then the end
  writer.join();
  EXPECT_EQ(data, Bytes(buf, buf + 300));
}

TEST(SafeRead, StopsAtTheCountAsked) {
  Pipe p;
  Bytes data = Pattern(500);
  ASSERT_EQ(500, write(p.wr, data.data(), 500));
  unsigned char buf[200];
  EXPECT_EQ(200, tp::safe_read(p.rd, buf, 200));
  EXPECT_EQ(Bytes(data.begin(), data.begin() + 200), Bytes(buf, buf + 200));
  EXPECT_EQ(300u, Drain(p.rd).size());
}

TEST(SafeRead, ARetryFollowsASignal) {
  InterruptingSignal sig;
  Pipe p;
  pthread_t reader = pthread_self();
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    pthread_kill(reader, SIGUSR1);  // interrupts the blocked read
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    ASSERT_EQ(4, write(p.wr, "abcd", 4));
    p.CloseWrite();
  });
  unsigned char buf[64];
  EXPECT_EQ(4, tp::safe_read(p.rd, buf, sizeof buf));
  other.join();
  EXPECT_EQ(1, g_signals.load());
  EXPECT_EQ(Bytes({'a', 'b', 'c', 'd'}), Bytes(buf, buf + 4));
}

TEST(SafeRead, ErrorsGiveMinusOne) {
  unsigned char buf[16];
  Pipe p;
  int fd = dup(p.rd);
  close(fd);
  EXPECT_EQ(-1, tp::safe_read(fd, buf, sizeof buf));
  int dir = open("/", O_RDONLY | O_DIRECTORY);
  ASSERT_GE(dir, 0);
  EXPECT_EQ(-1, tp::safe_read(dir, buf, sizeof buf));  // EISDIR
  close(dir);
  p.CloseWrite();
  EXPECT_EQ(0, tp::safe_read(p.rd, buf, sizeof buf));  // the end at once: 0
}

TEST(SafeWrite, WritesEverythingAcrossAFullPipe) {
  Pipe p;
  Bytes data = Pattern(300000);  // several times a pipe's buffer
  Bytes got;
  std::thread reader([&] {
    uint8_t buf[8192];
    ssize_t n;
    while ((n = read(p.rd, buf, sizeof buf)) > 0) got.insert(got.end(), buf, buf + n);
  });
  EXPECT_EQ(300000, tp::safe_write(p.wr, data.data(), data.size()));
  EXPECT_EQ(300000, tp::uart_write(p.wr, data.data(), data.size()));
  p.CloseWrite();
  reader.join();
  EXPECT_EQ(600000u, got.size());
  EXPECT_EQ(data, Bytes(got.begin(), got.begin() + 300000));
}

TEST(SafeWrite, ARetryFollowsASignal) {
  InterruptingSignal sig;
  Pipe p;
  const int capacity = fcntl(p.wr, F_GETPIPE_SZ);
  ASSERT_GT(capacity, 0);
  Bytes fill(static_cast<size_t>(capacity), 0x55);
  ASSERT_EQ(capacity, write(p.wr, fill.data(), fill.size()));  // full: the next write blocks
  pthread_t writer = pthread_self();
  Bytes got;
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    pthread_kill(writer, SIGUSR1);  // interrupts the blocked write
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    uint8_t buf[8192];
    ssize_t n;
    while ((n = read(p.rd, buf, sizeof buf)) > 0) got.insert(got.end(), buf, buf + n);
  });
  Bytes data = Pattern(1000);
  EXPECT_EQ(1000, tp::safe_write(p.wr, data.data(), data.size()));
  p.CloseWrite();
  other.join();
  EXPECT_EQ(1, g_signals.load());
  ASSERT_EQ(static_cast<size_t>(capacity) + 1000, got.size());
  EXPECT_EQ(data, Bytes(got.end() - 1000, got.end()));
}

TEST(SafeWrite, ErrorsGiveMinusOne) {
  signal(SIGPIPE, SIG_IGN);
  Pipe p;
  p.CloseRead();
  Bytes data = Pattern(10);
  EXPECT_EQ(-1, tp::safe_write(p.wr, data.data(), data.size()));  // EPIPE
  int fd = dup(p.wr);
  close(fd);
  EXPECT_EQ(-1, tp::safe_write(fd, data.data(), data.size()));
  EXPECT_EQ(0, tp::safe_write(p.wr, data.data(), 0));  // nothing to write
}

// ---------------------------------------------------------------------------
// ReadData: the first-byte wait

TEST(ReadData, ReturnsWhatHasArrived) {
  Pty pty;
  ASSERT_GE(pty.slave, 0);
  termios t = Attr(pty.slave);
  cfmakeraw(&t);
  ASSERT_EQ(0, tcsetattr(pty.slave, TCSANOW, &t));
  Bytes data = Pattern(40);
  ASSERT_EQ(40, write(pty.master, data.data(), data.size()));
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  unsigned char buf[1024];
  testing::internal::CaptureStderr();
  int n = tp::ReadData(pty.slave, buf);
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
  ASSERT_EQ(40, n);
  EXPECT_EQ(data, Bytes(buf, buf + 40));
}

TEST(ReadData, SilentPortTimesOutAfterFifteenSeconds) {
  ASSERT_EQ(15000, tp::g_FirstByteTimeoutMs);
  Pty pty;
  ASSERT_GE(pty.slave, 0);
  unsigned char buf[1024];
  testing::internal::CaptureStderr();
  int n = 0;
  long ms = ElapsedMs([&] { n = tp::ReadData(pty.slave, buf); });
  EXPECT_EQ("time over!\n", testing::internal::GetCapturedStderr());
  EXPECT_EQ(-1, n);
  EXPECT_GE(ms, 14950);
  EXPECT_LT(ms, 16500);
}

TEST(ReadData, SignalsDoNotStretchTheWait) {
  // A signal every 100 ms during a 300 ms wait: the wait goes on for what is
  // left of it after each one, and ends on time.
  InterruptingSignal sig;
  Pty pty;
  ASSERT_GE(pty.slave, 0);
  pthread_t waiter = pthread_self();
  std::atomic<bool> done{false};
  std::thread other([&] {
    for (int i = 0; i < 20 && !done; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      if (!done) pthread_kill(waiter, SIGUSR1);
    }
  });
  unsigned char buf[64];
  int n = -5;
  long ms = ElapsedMs([&] { n = tp::ReadDataWithin(pty.slave, buf, sizeof buf, 300); });
  done = true;
  other.join();
  EXPECT_EQ(0, n);  // timed out, nothing read
  EXPECT_GE(g_signals.load(), 2);
  EXPECT_GE(ms, 290);
  EXPECT_LT(ms, 700);
}

TEST(ReadData, SelectErrorIsReported) {
  unsigned char buf[1024];
  testing::internal::CaptureStderr();
  // A descriptor number that is not open, inside the table (select skips
  // numbers beyond it), taken after the capture has opened its file.
  const int fd = dup(2);
  close(fd);
  int n = tp::ReadData(fd, buf);
  EXPECT_EQ("select error!\n", testing::internal::GetCapturedStderr());
  EXPECT_EQ(-1, n);
}

TEST(ReadData, ReadErrorIsReported) {
  int dir = open("/", O_RDONLY | O_DIRECTORY);  // readable at once, read fails
  ASSERT_GE(dir, 0);
  unsigned char buf[1024];
  testing::internal::CaptureStderr();
  int n = tp::ReadData(dir, buf);
  EXPECT_EQ("read error!\n", testing::internal::GetCapturedStderr());
  EXPECT_EQ(-1, n);
  close(dir);
}
