// SPDX-License-Identifier: MIT
// Links and threads: two readers driven from two threads at once, and one
// link shared by four threads. Built also with ThreadSanitizer.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "fake_reader.h"
#include "orvex.h"
#include "orvexsim/serial_server.h"
#include "orvexsim/simulator.h"

namespace {

using orvex_test::Bytes;
using orvex_test::Command;
using orvex_test::FakeReader;
using orvex_test::Reply;

constexpr int kExchangesPerReader = 10000;

TEST(LinkThreads, TwoSimulatedReadersFromTwoThreads) {
  orvexsim::Simulator sim_a, sim_b;
  sim_a.reader().serial = {'A', 'A', 'A', 'A', '0', '0', '0', '1'};
  sim_b.reader().serial = {'B', 'B', 'B', 'B', '0', '0', '0', '2'};
  orvexsim::SerialServer server_a(sim_a), server_b(sim_b);
  server_a.Start();
  server_b.Start();
  OrvexLink a(server_a.path().c_str()), b(server_b.path().c_str());
  ASSERT_TRUE(a.IsOpen()) << a.LastFailureText();
  ASSERT_TRUE(b.IsOpen()) << b.LastFailureText();
  std::atomic<int> wrong{0}, failed{0};
  auto drive = [&](OrvexLink& link, const Bytes& serial) {
    OrvexLinkScope scope(link);
    Orvex ov;
    for (int i = 0; i < kExchangesPerReader; ++i) {
      unsigned char got[ORVEX_MAX_ANSWER];
      int n = ov.OV_GetReaderSerial(1, got);
      if (n != 8) {
        ++failed;
        continue;
      }
      if (memcmp(got, serial.data(), 8) != 0) ++wrong;
    }
  };
  std::thread ta(drive, std::ref(a), sim_a.reader().serial);
  std::thread tb(drive, std::ref(b), sim_b.reader().serial);
  ta.join();
  tb.join();
  EXPECT_EQ(0, failed.load());
  EXPECT_EQ(0, wrong.load());
  a.Close();
  b.Close();
  server_a.Stop();
  server_b.Stop();
}

TEST(LinkThreads, OneLinkSharedByFourThreads) {
  FakeReader reader;
  reader.SetResponder([](const Command& c) { return Reply::Ok(c.data); });
  OrvexLink link(reader.path().c_str());
  ASSERT_TRUE(link.IsOpen()) << link.LastFailureText();
  link.SetFirstByteTimeout(2000);
  constexpr int kThreads = 4;
  constexpr int kEach = 2500;
  std::atomic<int> wrong{0}, failed{0};
  auto drive = [&](int t) {
    OrvexLinkScope scope(link);
    for (int i = 0; i < kEach; ++i) {
      unsigned char param[3] = {static_cast<unsigned char>(t), static_cast<unsigned char>(i >> 8),
                                static_cast<unsigned char>(i)};
      unsigned char out[ORVEX_MAX_ANSWER];
      int len = 0;
      if (OV_SendCMD(1, 0x22, 5, 3, param, &len, out) != 1) {
        ++failed;
        continue;
      }
      // The answer echoes mode, time-out and this thread's own three bytes.
      if (len != 5 || memcmp(out + 2, param, 3) != 0) ++wrong;
    }
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(drive, t);
  for (auto& th : threads) th.join();
  EXPECT_EQ(0, failed.load());
  EXPECT_EQ(0, wrong.load());
  std::vector<Command> seen = reader.commands();
  EXPECT_EQ(static_cast<size_t>(kThreads * kEach), seen.size());
  for (const Command& c : seen) ASSERT_TRUE(c.valid);
  EXPECT_TRUE(reader.stray().empty()) << "bytes outside whole frames: frames were interleaved";
}

}  // namespace
