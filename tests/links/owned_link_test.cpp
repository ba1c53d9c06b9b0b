// SPDX-License-Identifier: MIT
// Links an application owns: opening, line settings, answer matching, the
// per-link options, cancellation, exclusive use, close-on-exec, and scopes.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "fake_reader.h"
#include "link/link.h"
#include "orvex.h"
#include "reader_fixture.h"

namespace {

using orvex_test::Bytes;
using orvex_test::Command;
using orvex_test::ElapsedMs;
using orvex_test::FakeReader;
using orvex_test::Reply;
using orvex_test::SerialAnswerFrame;

// One raw pass-through exchange (command 0xFB) carrying param; the answer
// data lands in out. The result of OV_SendCMD.
int SendCmd(const Bytes& param, Bytes* out = nullptr) {
  Bytes p = param;
  unsigned char answer[ORVEX_MAX_ANSWER];
  int len = -7;
  int r = OV_SendCMD(1, 0x11, 1, static_cast<int>(p.size()), p.data(), &len, answer);
  if (out && r == 1) out->assign(answer, answer + len);
  return r;
}

// The descriptor of the serial port behind link.
int PortOf(OrvexLink& link) {
  OrvexLinkScope scope(link);
  return orvex::CurrentLink().h_Serial;
}

class OwnedLinkTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(1, link.Open(reader.path().c_str())) << link.LastFailureText();
    link.SetFirstByteTimeout(300);
  }
  FakeReader reader;
  OrvexLink link;
};

TEST_F(OwnedLinkTest, OpensAndExchangesInItsScope) {
  EXPECT_TRUE(link.IsOpen());
  EXPECT_EQ(1, link.OpenResult());
  EXPECT_EQ(reader.path(), link.Connection());
  reader.Ok({0x01, 0x07});
  OrvexLinkScope scope(link);
  EXPECT_EQ(0x0107, Orvex().OV_GetReaderVersion(1));
  EXPECT_EQ(2, link.LastAnswerLength());
  EXPECT_EQ(ORVEX_FAIL_NONE, link.LastFailure());
  EXPECT_STREQ("", link.LastFailureText());
}

TEST_F(OwnedLinkTest, TheProcessWideLinkIsUntouchedOutsideTheScope) {
  reader.Ok({0x01, 0x07});
  {
    OrvexLinkScope scope(link);
    EXPECT_EQ(0x0107, Orvex().OV_GetReaderVersion(1));
  }
  EXPECT_EQ(0, orvex::FaceID);
  EXPECT_EQ(-1, Orvex().OV_GetReaderVersion(1));  // the process-wide link is not open
  EXPECT_TRUE(reader.WaitForCommands(1));
  EXPECT_EQ(1u, reader.commands().size());
}

TEST_F(OwnedLinkTest, LineIsFullyRawFromKernelDefaults) {
  link.Close();
  // The kernel's defaults for a new terminal, and 7 bits with parity.
  {
    int fd = open(reader.path().c_str(), O_RDWR | O_NOCTTY);
    ASSERT_GE(fd, 0);
    termios t;
    ASSERT_EQ(0, tcgetattr(fd, &t));
    t.c_iflag = ICRNL | IXON | IXOFF | ISTRIP | INLCR | IGNCR | IMAXBEL;
    t.c_cflag = (t.c_cflag & ~CSIZE) | CS7 | PARENB;
    t.c_lflag |= ICANON | ECHO | ISIG;
    t.c_oflag |= OPOST | ONLCR;
    tcsetattr(fd, TCSANOW, &t);  // a pseudo-terminal may keep its size and parity
    close(fd);
  }
  ASSERT_EQ(1, link.Open(reader.path().c_str()));
  termios t;
  ASSERT_EQ(0, tcgetattr(PortOf(link), &t));
  for (tcflag_t f : {ICRNL, IXON, IXOFF, ISTRIP, INLCR, IGNCR}) EXPECT_EQ(0u, t.c_iflag & f) << f;
  EXPECT_EQ(static_cast<tcflag_t>(CS8), t.c_cflag & CSIZE);
  EXPECT_EQ(0u, t.c_cflag & PARENB);
  EXPECT_EQ(0u, t.c_lflag & (ICANON | ECHO | ISIG));
  EXPECT_EQ(0u, t.c_oflag & OPOST);
  EXPECT_EQ(B19200, cfgetospeed(&t));
  // Bytes a cooked line would change pass both ways intact.
  const Bytes tricky = {0x0D, 0x0A, 0x11, 0x13, 0x7F, 0x80, 0xFE, 0xFF, 0x0D};
  reader.SetResponder([](const Command& c) { return Reply::Ok(c.data); });
  link.SetFirstByteTimeout(1000);
  OrvexLinkScope scope(link);
  Bytes got;
  ASSERT_EQ(1, SendCmd(tricky, &got)) << link.LastFailureText();
  Bytes want = {0x11, 0x01};
  want.insert(want.end(), tricky.begin(), tricky.end());
  EXPECT_EQ(want, got);
  EXPECT_EQ(want, reader.last().data);
}

TEST_F(OwnedLinkTest, SpeedFromTheConnectionString) {
  ASSERT_EQ(1, link.Open((reader.path() + "@38400").c_str()));
  termios t;
  ASSERT_EQ(0, tcgetattr(PortOf(link), &t));
  EXPECT_EQ(B38400, cfgetospeed(&t));
}

TEST_F(OwnedLinkTest, StrayFrameBeforeTheAnswerIsDropped) {
  Command probe;
  probe.reader = 1;
  probe.cmd = 0x04;
  // A late answer to another command (0x05) and one from another reader
  // (number 9), then the real answer, all in one burst.
  Bytes burst = SerialAnswerFrame(1, 0x05, 0, {0xAA, 0xBB});
  Bytes other = SerialAnswerFrame(9, 0x04, 0, {0x09, 0x09});
  Bytes real = SerialAnswerFrame(1, 0x04, 0, {0x01, 0x07});
  burst.insert(burst.end(), other.begin(), other.end());
  burst.insert(burst.end(), real.begin(), real.end());
  reader.Push(Reply::Raw(burst));
  OrvexLinkScope scope(link);
  EXPECT_EQ(0x0107, Orvex().OV_GetReaderVersion(1));
  // The next exchange gets its own answer, not a leftover.
  reader.Ok({0x02, 0x00});
  EXPECT_EQ(0x0200, Orvex().OV_GetReaderVersion(1));
}

TEST_F(OwnedLinkTest, StrayFrameThenSilenceIsNoAnswer) {
  reader.Push(Reply::Ok({0x01, 0x07}).WithCmd(0x05));
  OrvexLinkScope scope(link);
  EXPECT_EQ(-1, Orvex().OV_GetReaderVersion(1));
  EXPECT_EQ(ORVEX_FAIL_NO_ANSWER, link.LastFailure()) << link.LastFailureText();
}

TEST_F(OwnedLinkTest, AnswerEndingInAnEscapedDleEndsTheWaitAtOnce) {
  reader.SetResponder([](const Command& c) { return Reply::Ok(c.data); });
  // A parameter byte whose echo makes the answer's checksum 0x10, sent as
  // 10 10 03 at the end of the frame.
  int chosen = -1;
  for (int x = 0; x < 256 && chosen < 0; ++x) {
    Command c;
    c.reader = 1;
    c.cmd = 0xFB;
    c.data = {0x11, 0x05, static_cast<uint8_t>(x)};
    Bytes wire = FakeReader::Encode(Reply::Ok(c.data), c);
    if (wire.size() >= 3 && wire[wire.size() - 3] == 0x10 && wire[wire.size() - 2] == 0x10) chosen = x;
  }
  ASSERT_GE(chosen, 0);
  OrvexLinkScope scope(link);
  unsigned char p[1] = {static_cast<unsigned char>(chosen)}, out[ORVEX_MAX_ANSWER];
  int len = 0;
  long ms = ElapsedMs([&] { EXPECT_EQ(1, OV_SendCMD(1, 0x11, 5, 1, p, &len, out)); });
  EXPECT_LT(ms, 100) << "the wait ran on towards its 500 ms deadline";
  EXPECT_EQ(3, len);
  EXPECT_EQ(chosen, out[2]);
}

TEST_F(OwnedLinkTest, MatchingCanBeTurnedOff) {
  link.SetAnswerMatching(false);
  reader.Push(Reply::Ok({0x01, 0x07}).WithCmd(0x05));
  OrvexLinkScope scope(link);
  EXPECT_EQ(0x0107, Orvex().OV_GetReaderVersion(1));
}

TEST_F(OwnedLinkTest, AnyReaderMayAnswerReaderZero) {
  reader.Push(Reply::Ok({0x01, 0x07}).From(0x0203));
  OrvexLinkScope scope(link);
  EXPECT_EQ(0x0107, Orvex().OV_GetReaderVersion(0));
}

TEST_F(OwnedLinkTest, ShortFirstByteWaitOnASilentReader) {
  OrvexLinkScope scope(link);
  long ms = ElapsedMs([] { EXPECT_EQ(-1, Orvex().OV_GetReaderVersion(1)); });
  EXPECT_GE(ms, 290);
  EXPECT_LT(ms, 600);
  EXPECT_EQ(ORVEX_FAIL_NO_ANSWER, link.LastFailure());
  EXPECT_NE(nullptr, strstr(link.LastFailureText(), "no answer from the reader within"));
  EXPECT_EQ(-1, link.LastAnswerLength());
}

TEST_F(OwnedLinkTest, QuietLinkPrintsNothing) {
  OrvexLinkScope scope(link);
  testing::internal::CaptureStderr();
  EXPECT_EQ(-1, Orvex().OV_GetReaderVersion(1));
  EXPECT_EQ("time over!\n", testing::internal::GetCapturedStderr());
  link.SetQuiet(true);
  testing::internal::CaptureStderr();
  EXPECT_EQ(-1, Orvex().OV_GetReaderVersion(1));
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

TEST_F(OwnedLinkTest, EveryFailureKindHasItsOwnText) {
  link.SetQuiet(true);
  OrvexLinkScope scope(link);
  Orvex ov;
  struct Case {
    Reply reply;
    int kind;
    const char* words;
  };
  Bytes whole = SerialAnswerFrame(1, 0x04, 0, {0x01, 0x07});
  Bytes cut(whole.begin(), whole.end() - 3);
  Bytes bad_sum = whole;
  bad_sum[bad_sum.size() - 2] ^= 0x01;
  std::vector<Case> cases = {
      {Reply::Silence(), ORVEX_FAIL_NO_ANSWER, "no answer from the reader within 4"},
      {Reply::Raw(cut), ORVEX_FAIL_CUT_OFF, "the answer was cut off after 8 bytes"},
      {Reply::Raw({0x55, 0x66, 0x77}), ORVEX_FAIL_MALFORMED, "the answer is malformed (3 bytes)"},
      {Reply::Raw(bad_sum), ORVEX_FAIL_CHECKSUM, "the answer's checksum is wrong"},
      {Reply::Frame(0x0A), ORVEX_FAIL_REFUSED, "the reader refused with status 0x0A"},
  };
  for (const Case& c : cases) {
    reader.Push(c.reply);
    ov.OV_GetReaderVersion(1);
    EXPECT_EQ(c.kind, link.LastFailure()) << c.words << " / " << link.LastFailureText();
    EXPECT_NE(nullptr, strstr(link.LastFailureText(), c.words)) << link.LastFailureText();
  }
  reader.Push(Reply::HangUp());
  EXPECT_EQ(-1, ov.OV_GetReaderVersion(1));
  EXPECT_EQ(ORVEX_FAIL_DEVICE_GONE, link.LastFailure()) << link.LastFailureText();
  EXPECT_NE(nullptr, strstr(link.LastFailureText(), "the port is gone")) << link.LastFailureText();
}

struct TraceLog {
  struct Entry {
    int sent;
    Bytes bytes;
    unsigned long long ns;
  };
  std::vector<Entry> entries;
  static void Hook(void* user, int sent, const unsigned char* p, int n, unsigned long long ns) {
    static_cast<TraceLog*>(user)->entries.push_back({sent, Bytes(p, p + n), ns});
  }
};

TEST_F(OwnedLinkTest, TraceSeesExactlyWhatCrossedTheWire) {
  TraceLog log;
  link.SetTrace(&TraceLog::Hook, &log);
  reader.SetResponder([](const Command& c) { return Reply::Ok(c.data); });
  OrvexLinkScope scope(link);
  ASSERT_EQ(1, SendCmd({0x02, 0x03, 0x10}));
  ASSERT_EQ(1, SendCmd({0x44}));
  std::vector<Command> seen = reader.commands();
  ASSERT_EQ(2u, seen.size());
  ASSERT_EQ(4u, log.entries.size());
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(1, log.entries[2 * i].sent);
    EXPECT_EQ(seen[i].raw, log.entries[2 * i].bytes);
    EXPECT_EQ(0, log.entries[2 * i + 1].sent);
    EXPECT_EQ(FakeReader::Encode(Reply::Ok(seen[i].data), seen[i]), log.entries[2 * i + 1].bytes);
  }
  for (size_t i = 1; i < log.entries.size(); ++i) EXPECT_LE(log.entries[i - 1].ns, log.entries[i].ns);
  link.SetTrace(nullptr, nullptr);
  ASSERT_EQ(1, SendCmd({0x01}));
  EXPECT_EQ(4u, log.entries.size());
}

TEST_F(OwnedLinkTest, CancelEndsTheWaitAtOnceAndTheLinkWorksAfter) {
  link.SetFirstByteTimeout(15000);
  link.SetQuiet(true);
  EXPECT_EQ(1, link.Cancel());  // idle: harmless
  std::atomic<long> cancelled_at{0};
  auto t0 = std::chrono::steady_clock::now();
  std::thread canceller([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    cancelled_at = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - t0).count();
    link.Cancel();
  });
  int r;
  {
    OrvexLinkScope scope(link);
    r = Orvex().OV_GetReaderVersion(1);
  }
  long ended = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - t0).count();
  canceller.join();
  EXPECT_EQ(-1, r);
  EXPECT_EQ(ORVEX_FAIL_CANCELLED, link.LastFailure());
  EXPECT_LT(ended - cancelled_at, 10000) << "ended " << (ended - cancelled_at) << " us after the cancel";
  // The late answer to the cancelled command is dropped before the next one.
  reader.Send(SerialAnswerFrame(1, 0x04, 0, {0x09, 0x09}));
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  reader.Ok({0x01, 0x07});
  OrvexLinkScope scope(link);
  EXPECT_EQ(0x0107, Orvex().OV_GetReaderVersion(1));
}

TEST_F(OwnedLinkTest, CancelFromASignalHandler) {
  static OrvexLink* target = nullptr;
  target = &link;
  link.SetFirstByteTimeout(15000);
  link.SetQuiet(true);
  struct sigaction sa = {}, old = {};
  sa.sa_handler = [](int) { target->Cancel(); };
  sigaction(SIGUSR1, &sa, &old);
  pthread_t self = pthread_self();
  std::thread t([self] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    pthread_kill(self, SIGUSR1);
  });
  OrvexLinkScope scope(link);
  long ms = ElapsedMs([] { EXPECT_EQ(-1, Orvex().OV_GetReaderVersion(1)); });
  t.join();
  sigaction(SIGUSR1, &old, nullptr);
  EXPECT_LT(ms, 1000);
  EXPECT_EQ(ORVEX_FAIL_CANCELLED, link.LastFailure());
}

TEST_F(OwnedLinkTest, SecondOpenerOfThePortIsRefused) {
  OrvexLink second;
  EXPECT_EQ(ORVEX_LINK_IN_USE, second.Open(reader.path().c_str()));
  EXPECT_FALSE(second.IsOpen());
  EXPECT_EQ(ORVEX_FAIL_IN_USE, second.LastFailure());
  EXPECT_NE(nullptr, strstr(second.LastFailureText(), "is in use")) << second.LastFailureText();
  // The process-wide link's device open is refused the same way.
  EXPECT_EQ(0, Orvex().OV_ComInitialDevice(reader.path().c_str(), 19200));
  // Closing releases the port.
  link.Close();
  EXPECT_EQ(1, second.Open(reader.path().c_str()));
}

TEST_F(OwnedLinkTest, SecondProcessGetsInUseAndTheFirstGoesOn) {
  reader.SetResponder([](const Command& c) { return Reply::Ok(c.data); });
  // The second process opens the port while this one exchanges on it.
  pid_t child = fork();
  if (child == 0) {
    execl(ORVEX_OPEN_PROBE, ORVEX_OPEN_PROBE, reader.path().c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  OrvexLinkScope scope(link);
  for (int i = 0; i < 20; ++i) ASSERT_EQ(1, SendCmd({static_cast<uint8_t>(i)}));
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(5, WEXITSTATUS(status)) << "the second process was not refused with ORVEX_LINK_IN_USE";
  for (const Command& c : reader.commands()) EXPECT_TRUE(c.valid);
  EXPECT_EQ(20u, reader.commands().size());
}

TEST_F(OwnedLinkTest, ChildProgramsDoNotInheritThePort) {
  const int fd = PortOf(link);
  EXPECT_EQ(FD_CLOEXEC, fcntl(fd, F_GETFD) & FD_CLOEXEC);
  std::string out = testing::TempDir() + "/child_fds";
  std::string cmd = "ls -l /proc/self/fd/ > " + out + " 2>&1";
  pid_t child = fork();
  if (child == 0) {
    execl("/bin/sh", "sh", "-c", cmd.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  FILE* f = fopen(out.c_str(), "r");
  ASSERT_NE(nullptr, f);
  std::string listing;
  char buf[512];
  while (fgets(buf, sizeof buf, f)) listing += buf;
  fclose(f);
  EXPECT_NE(std::string::npos, listing.find("/proc/")) << listing;  // the listing ran
  // (the fake reader keeps a descriptor of its own on the same path)
  const std::string entry = " " + std::to_string(fd) + " -> " + reader.path();
  EXPECT_EQ(std::string::npos, listing.find(entry)) << listing;
  EXPECT_NE(-1, fcntl(fd, F_GETFD)) << "the link's descriptor is open in this process";
}

TEST_F(OwnedLinkTest, TheDesignOpenKeepsItsOwnSettingsOnTheProcessWideLink) {
  // The process-wide link's OV_ComInitial open still leaves 7 bits; the
  // device open gives the raw line, but both leave answers unmatched.
  link.Close();
  Orvex ov;
  ASSERT_EQ(1, ov.OV_ComInitialDevice(reader.path().c_str(), 19200));
  termios t;
  ASSERT_EQ(0, tcgetattr(orvex::h_Serial, &t));
  EXPECT_EQ(0u, t.c_iflag & (ICRNL | IXON));
  EXPECT_EQ(FD_CLOEXEC, fcntl(orvex::h_Serial, F_GETFD) & FD_CLOEXEC);
  reader.Push(Reply::Ok({0x01, 0x07}).WithCmd(0x05));
  orvex::transport::g_FirstByteTimeoutMs = 300;
  EXPECT_EQ(0x0107, ov.OV_GetReaderVersion(1));
  ov.OV_ComFree();
  orvex::transport::g_FirstByteTimeoutMs = 15000;
}

TEST(OwnedLink, BadConnectionStrings) {
  for (const char* s : {"", "usb:", "usb:1", "ttyS:-1", "ttyS:x", "/dev/null@115200", "sim"}) {
    OrvexLink link(s);
    EXPECT_EQ(ORVEX_LINK_BAD_CONNECTION, link.OpenResult()) << s;
    EXPECT_FALSE(link.IsOpen());
    EXPECT_EQ(ORVEX_FAIL_BAD_CONNECTION, link.LastFailure());
    EXPECT_STRNE("", link.LastFailureText());
  }
  OrvexLink none(nullptr);
  EXPECT_EQ(ORVEX_LINK_BAD_CONNECTION, none.OpenResult());
}

TEST(OwnedLink, MissingDeviceSaysWhy) {
  OrvexLink link("/dev/orvex-no-such-device");
  EXPECT_EQ(-1, link.OpenResult());
  EXPECT_EQ(ORVEX_FAIL_CANNOT_OPEN, link.LastFailure());
  EXPECT_STREQ("cannot open /dev/orvex-no-such-device: No such file or directory", link.LastFailureText());
}

TEST(OwnedLink, NeverOpenedOrMovedFromLinksAreSafe) {
  OrvexLink idle;
  EXPECT_FALSE(idle.IsOpen());
  EXPECT_EQ(0, idle.OpenResult());
  EXPECT_EQ(0, idle.Cancel());
  EXPECT_STREQ("", idle.Connection());
  {
    OrvexLinkScope scope(idle);
    EXPECT_EQ(-1, Orvex().OV_GetReaderVersion(1));
  }
  FakeReader reader;
  OrvexLink a(reader.path().c_str());
  ASSERT_TRUE(a.IsOpen());
  OrvexLink b(std::move(a));
  EXPECT_FALSE(a.IsOpen());  // NOLINT(bugprone-use-after-move): moved-from is defined
  EXPECT_TRUE(b.IsOpen());
  {
    OrvexLinkScope scope(a);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(-1, Orvex().OV_GetReaderVersion(1));
  }
  reader.Ok({0x01, 0x07});
  OrvexLinkScope scope(b);
  EXPECT_EQ(0x0107, Orvex().OV_GetReaderVersion(1));
  OrvexLink c;
  c = std::move(b);
  EXPECT_TRUE(c.IsOpen());
}

TEST(OwnedLink, ScopesNest) {
  FakeReader r1, r2;
  OrvexLink one(r1.path().c_str()), two(r2.path().c_str());
  r1.SetResponder([](const Command&) { return Reply::Ok({0x00, 0x01}); });
  r2.SetResponder([](const Command&) { return Reply::Ok({0x00, 0x02}); });
  Orvex ov;
  OrvexLinkScope outer(one);
  EXPECT_EQ(1, ov.OV_GetReaderVersion(1));
  {
    OrvexLinkScope inner(two);
    EXPECT_EQ(2, ov.OV_GetReaderVersion(1));
    {
      OrvexLinkScope again(one);
      EXPECT_EQ(1, ov.OV_GetReaderVersion(1));
    }
    EXPECT_EQ(2, ov.OV_GetReaderVersion(1));
  }
  EXPECT_EQ(1, ov.OV_GetReaderVersion(1));
}

TEST(OwnedLink, ScopeOutlivingItsLinkGetsLinkFailures) {
  FakeReader reader;
  auto* link = new OrvexLink(reader.path().c_str());
  ASSERT_TRUE(link->IsOpen());
  OrvexLinkScope scope(*link);
  delete link;  // the port is closed and released now
  EXPECT_EQ(-1, Orvex().OV_GetReaderVersion(1));
  OrvexLink again(reader.path().c_str());  // nobody holds it any more
  EXPECT_TRUE(again.IsOpen());
}

TEST(OwnedLink, ClosedOnAnotherThreadWhileWaiting) {
  FakeReader reader;
  OrvexLink link(reader.path().c_str());
  link.SetQuiet(true);
  ASSERT_TRUE(link.IsOpen());
  std::thread closer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    link.Close();
  });
  OrvexLinkScope scope(link);
  long ms = ElapsedMs([] { EXPECT_EQ(-1, Orvex().OV_GetReaderVersion(1)); });
  closer.join();
  EXPECT_LT(ms, 1000);
  EXPECT_FALSE(link.IsOpen());
  EXPECT_EQ(-1, Orvex().OV_GetReaderVersion(1));
  EXPECT_EQ(ORVEX_FAIL_NOT_OPEN, link.LastFailure());
}

}  // namespace
