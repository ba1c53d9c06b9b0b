// SPDX-License-Identifier: MIT
// Soak: 100,000 exchanges against the simulated reader. Open descriptors,
// heap in use and the time per exchange stay flat; under the sanitizer build
// LeakSanitizer checks that nothing leaks.
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include <gtest/gtest.h>

#include "orvex.h"
#include "orvexsim/serial_server.h"
#include "orvexsim/simulator.h"

namespace {

int OpenFds() {
  int n = 0;
  for (int fd = 0; fd < 1024; ++fd)
    if (fcntl(fd, F_GETFD) != -1) ++n;
  return n;
}

size_t HeapInUse() { return mallinfo2().uordblks; }

double MedianUs(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

}  // namespace

TEST(Soak, HundredThousandExchangesStayFlat) {
  orvexsim::Simulator sim;
  orvexsim::SerialServer server(sim);
  server.Start();
  Orvex ov;
  ASSERT_EQ(1, ov.OV_ComInitialDevice(server.path().c_str(), 19200));
  const int version = ov.OV_GetReaderVersion(1);
  ASSERT_GT(version, 0);

  constexpr int kTotal = 100000, kWindow = 10000;
  std::vector<double> first, last;
  int fdsAfterWarmUp = 0;
  size_t heapAfterWarmUp = 0;
  unsigned char serial[ORVEX_MAX_ANSWER];
  for (int i = 0; i < kTotal; ++i) {
    auto t0 = std::chrono::steady_clock::now();
    int rt = (i % 2) ? ov.OV_GetReaderVersion(1) : ov.OV_GetReaderSerial(1, serial);
    double us = std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - t0).count();
    ASSERT_TRUE((i % 2) ? rt == version : rt > 0) << "exchange " << i << " gave " << rt;
    if (i < kWindow) first.push_back(us);
    if (i >= kTotal - kWindow) last.push_back(us);
    if (i == kWindow) {
      fdsAfterWarmUp = OpenFds();
      heapAfterWarmUp = HeapInUse();
    }
  }
  EXPECT_EQ(fdsAfterWarmUp, OpenFds());
  // Allow for allocator noise, not for growth with the number of exchanges.
  EXPECT_LT(HeapInUse(), heapAfterWarmUp + 64 * 1024);
  double a = MedianUs(first), b = MedianUs(last);
  RecordProperty("median_us_first", std::to_string(a));
  RecordProperty("median_us_last", std::to_string(b));
  EXPECT_LT(b, a * 3 + 50) << "per-exchange time grew from " << a << " us to " << b << " us";
  ov.OV_ComFree();
  server.Stop();
}
