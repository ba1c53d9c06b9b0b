// SPDX-License-Identifier: MIT
// The answer wait on any descriptor number and against wall-clock steps:
// deadlines are measured on the monotonic clock, and the wait polls, so a
// port that is descriptor 1024 or above works like any other.
#include <sys/resource.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

#include "reader_fixture.h"

namespace {

// The wall clock as this program sees it: the real one plus a step the test
// sets. The library's own gettimeofday calls land here too.
std::atomic<long long> g_step_us{0};

}  // namespace

extern "C" int gettimeofday(struct timeval* tv, void* /*tz*/) {
  timespec ts;
  clock_gettime(CLOCK_REALTIME, &ts);
  long long us = static_cast<long long>(ts.tv_sec) * 1000000 + ts.tv_nsec / 1000 + g_step_us.load();
  tv->tv_sec = static_cast<time_t>(us / 1000000);
  tv->tv_usec = static_cast<suseconds_t>(us % 1000000);
  return 0;
}

namespace {

using namespace orvex_test;

// An answer in three pieces 100 ms apart, the wall clock stepped while the
// wait runs: the 500 ms deadline holds whatever the step.
class ClockStep : public FakeReaderTest, public ::testing::WithParamInterface<long long> {};

TEST_P(ClockStep, NeitherStretchesNorCutsTheWait) {
  Reply r = Reply::Ok({0x01, 0x07});
  r.InPieces({3, 6}, 100);
  reader.Push(r);
  g_step_us = 0;
  std::thread stepper([] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    g_step_us = GetParam();
  });
  unsigned char param[1] = {0};
  unsigned char out[ORVEX_MAX_ANSWER];
  int len = 0;
  long ms = ElapsedMs([&] { EXPECT_EQ(1, OV_SendCMD(1, 0, 5, 1, param, &len, out)); });
  stepper.join();
  g_step_us = 0;
  EXPECT_GE(ms, 190);
  EXPECT_LT(ms, 450);
  // A silent reader after a step still fails after the first-byte wait and
  // the 300 ms deadline, not at once and not never.
  g_step_us = GetParam();
  ms = ElapsedMs([&] { EXPECT_EQ(-1, OV_SendCMD(1, 0, 3, 1, param, &len, out)); });
  g_step_us = 0;
  EXPECT_GE(ms, kTestFirstByteTimeoutMs + 290);
  EXPECT_LT(ms, kTestFirstByteTimeoutMs + 600);
}

INSTANTIATE_TEST_SUITE_P(Steps, ClockStep,
                         ::testing::Values(3600LL * 1000000, -3600LL * 1000000, 86400LL * 1000000 * 365));

TEST_F(FakeReaderTest, PortAboveDescriptor1024) {
  rlimit lim;
  ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &lim));
  if (lim.rlim_cur < 2048) {
    lim.rlim_cur = lim.rlim_max < 2048 ? lim.rlim_max : 2048;
    setrlimit(RLIMIT_NOFILE, &lim);
  }
  if (lim.rlim_cur <= 1500) GTEST_SKIP() << "cannot raise the descriptor limit above 1500";
  ASSERT_EQ(1500, dup2(orvex::h_Serial, 1500));
  close(orvex::h_Serial);
  orvex::h_Serial = 1500;
  reader.Ok({0x01, 0x07});
  EXPECT_EQ(0x0107, ov.OV_GetReaderVersion(1));
  // A silent reader is a time-out, not a write past the descriptor set.
  testing::internal::CaptureStderr();
  EXPECT_EQ(-1, ov.OV_GetReaderVersion(1));
  EXPECT_EQ("time over!\n", testing::internal::GetCapturedStderr());
}

}  // namespace
