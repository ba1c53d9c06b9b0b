// SPDX-License-Identifier: MIT
// The exchange over USB HID, through the real libusb-1.0 calls, against the
// emulated reader device of the tests (run with libumockdev-preload.so.0
// preloaded; bench/run and the CTest entry do so).
//
// The library pauses SleepTime ms (20 for the reader commands) before it
// reads the first input report and again between reports; an exchange can
// take no less than those pauses. The figure is the time per exchange over
// the pauses it must make: one pause for a one-report answer, three for an
// answer in three reports.
#include <benchmark/benchmark.h>

#include <chrono>
#include <vector>

#include "fake_hid.h"
#include "orvex.h"

namespace {

double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double Median(std::vector<double> v) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  size_t m = v.size() / 2;
  return v.size() % 2 ? v[m] : (v[m - 1] + v[m]) / 2;
}

// range(0): answer data bytes. 2 (the reader version, one report) or 120
// (a reader memory read: 127 frame bytes, three reports).
void BM_HidExchange(benchmark::State& state) {
  const int data_len = static_cast<int>(state.range(0));
  orvex_test::UsbTestbed testbed;
  if (!testbed.mocked()) {
    state.SkipWithError("run with LD_PRELOAD=libumockdev-preload.so.0");
    return;
  }
  std::vector<double> took;
  {
    orvex_test::FakeHid hid(testbed);
    hid.AnswerEveryFrame(orvex_test::Bytes(static_cast<size_t>(data_len), 0x01));
    Orvex ov;
    if (ov.OV_USBHIDInitial() != 1) {
      state.SkipWithError("the emulated device could not be opened");
      return;
    }
    std::vector<unsigned char> buf(1040);
    for (auto _ : state) {
      double t0 = Now();
      int r = data_len == 2 ? ov.OV_GetReaderVersion(1) : ov.OV_ReadReaderMemory(1, 0, data_len, buf.data());
      took.push_back(Now() - t0);
      if (r <= 0) {
        state.SkipWithError("the exchange failed");
        break;
      }
    }
    ov.OV_USBHIDFree();
  }
  const int frame = data_len + 7;
  const int reports = frame / 63 + 1;
  const double pauses = 0.020 * reports;  // SleepTime 20 before each report read
  state.counters["lib_ms"] = Median(took) * 1e3;
  state.counters["pause_ms"] = pauses * 1e3;
  state.counters["ratio"] = Median(took) / pauses;
  state.counters["reports"] = reports;
}
BENCHMARK(BM_HidExchange)->ArgName("data")->Arg(2)->Arg(120)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
