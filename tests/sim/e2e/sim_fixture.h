// End-to-end fixture: the simulated reader serving a pseudo-terminal on a
// thread of its own, and the library (liborvex.so) opened on it through its
// public interface.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "orvex.h"
#include "orvexsim/serial_server.h"
#include "orvexsim/simulator.h"

namespace orvexsim_e2e {

using orvexsim::Bytes;

class SimTest : public ::testing::Test {
 protected:
  explicit SimTest(orvexsim::ReaderModel model = orvexsim::ReaderModel::kCardReader)
      : sim(model) {}
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
  Orvex ov;
};

}  // namespace orvexsim_e2e
