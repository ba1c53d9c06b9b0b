// SPDX-License-Identifier: MIT
// End-to-end fixture: the simulated reader, and the library (liborvex.so)
// opened on it through its public interface.
//
// Built plainly, the simulator serves a pseudo-terminal on a thread of its
// own and the library opens it as a serial device. Built with ORVEX_E2E_HID,
// the same flows run over USB HID: the simulator answers behind the emulated
// USB reader device (64-byte reports, HID-shape frames) and the library opens
// it with OV_USBHIDInitial through the real libusb calls; the program then
// runs with umockdev's preload library.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "orvex.h"
#include "orvexsim/simulator.h"
#ifdef ORVEX_E2E_HID
#include <sys/prctl.h>

#include <optional>

#include "fake_hid.h"
#include "orvexsim/hid.h"
#else
#include "orvexsim/serial_server.h"
#endif

namespace orvexsim_e2e {

using orvexsim::Bytes;

class SimTest : public ::testing::Test {
 protected:
  explicit SimTest(orvexsim::ReaderModel model = orvexsim::ReaderModel::kCardReader)
      : sim(model) {}
#ifdef ORVEX_E2E_HID
  void SetUp() override {
    ASSERT_TRUE(testbed.mocked()) << "run with LD_PRELOAD=libumockdev-preload.so.0";
    // Every emulated request ends in a short sleep of the preload library;
    // a small timer slack keeps that short.
    prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
    hid = std::make_unique<orvex_test::FakeHid>(testbed);
    // Every command frame the library sends goes to the simulator; its
    // answer, if it gives one, goes back in input reports.
    hid->OnFrame([this](orvex_test::FakeHid& device, const orvex_test::Bytes& frame) {
      std::optional<Bytes> answer = orvexsim::HidExchange(sim, frame);
      if (answer) device.QueueFrame(*answer);
    });
    ASSERT_EQ(1, ov.OV_USBHIDInitial());
  }
  void TearDown() override {
    ov.OV_USBHIDFree();
    hid.reset();
  }

  orvexsim::Simulator sim;
  orvex_test::UsbTestbed testbed;
  std::unique_ptr<orvex_test::FakeHid> hid;
#else
  void SetUp() override {
    server = std::make_unique<orvexsim::SerialServer>(sim);
    server->Start();
    ASSERT_EQ(1, ov.OV_ComInitialDevice(server->path().c_str(), 19200));
  }
  void TearDown() override {
    ov.OV_ComFree();
    server.reset();
  }

  orvexsim::Simulator sim;
  std::unique_ptr<orvexsim::SerialServer> server;
#endif
  Orvex ov;
};

}  // namespace orvexsim_e2e
