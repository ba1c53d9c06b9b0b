// SPDX-License-Identifier: MIT
// Test fixture: a fresh fake reader on a pseudo-terminal, opened as the
// library's serial link. The first-byte wait is shortened so that "no answer"
// cases take a fraction of a second instead of 15 s.
#pragma once

#include <gtest/gtest.h>

#include "fake_reader.h"
#include "link/untFunction.h"
#include "orvex.h"
#include "transport/PCComm.h"

namespace orvex_test {

constexpr int kTestFirstByteTimeoutMs = 300;

class FakeReaderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    orvex::transport::g_FirstByteTimeoutMs = kTestFirstByteTimeoutMs;
    ASSERT_EQ(1, ov.OV_ComInitialDevice(reader.path().c_str(), 19200));
  }
  void TearDown() override {
    ov.OV_ComFree();
    orvex::transport::g_FirstByteTimeoutMs = 15000;
  }

  // The one command the last call sent: its code and data field.
  void ExpectSent(uint8_t cmd, const Bytes& data, uint16_t readerId = 1) {
    ASSERT_TRUE(reader.WaitForCommands(1, 100));
    Command c = reader.last();
    EXPECT_TRUE(c.valid);
    EXPECT_EQ(cmd, c.cmd);
    EXPECT_EQ(data, c.data);
    EXPECT_EQ(readerId, c.reader);
    EXPECT_EQ(SerialCommandFrame(readerId, cmd, data), c.raw);
  }

  FakeReader reader;
  Orvex ov;
};

// Milliseconds taken by f().
template <typename F>
long ElapsedMs(F f) {
  auto t0 = std::chrono::steady_clock::now();
  f();
  return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(
                               std::chrono::steady_clock::now() - t0)
                               .count());
}

}  // namespace orvex_test
