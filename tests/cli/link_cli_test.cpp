// SPDX-License-Identifier: MIT
// The tool's link: --trace, connection strings checked by the library, and
// the port held for one program at a time.
#include "cli_support.h"
#include "orvexsim/serial_server.h"
#include "orvexsim/simulator.h"
#include "orvex.h"

namespace {

using namespace clitest;

TEST_F(Cli, TraceShowsEveryFrameDecoded) {
  Result r = Run({"--device", "sim", "--trace", "info"});
  ASSERT_EQ(r.status, 0) << r.err;
  // Four exchanges: command and answer each, decoded as orvex-sim --trace does.
  const char* lines[] = {
      "-> [0000] 03 GetReaderID\n",
      "<- [0001] 03 GetReaderID  status 00 (ok)  00 01\n",
      "-> [0000] 04 GetReaderVersion\n",
      "<- [0001] 04 GetReaderVersion  status 00 (ok)  01 07\n",
      "-> [0000] 05 GetReaderSerial\n",
      "<- [0001] 05 GetReaderSerial  status 00 (ok)  4F 56 00 00 01 23 45 67\n",
      "-> [0000] 08 GetReaderNo\n",
      "<- [0001] 08 GetReaderNo  status 00 (ok)  4F 56 58 2D 43 31 30 30\n",
  };
  size_t at = 0;
  for (const char* l : lines) {
    size_t found = r.err.find(l, at);
    ASSERT_NE(found, std::string::npos) << l << " in order in:\n" << r.err;
    at = found;
  }
  EXPECT_NE(r.out.find("version:        1.07\n"), std::string::npos) << r.out;
  // Without --trace: nothing of it.
  r = Run({"--device", "sim", "info"});
  EXPECT_EQ(r.err.find("GetReaderID"), std::string::npos) << r.err;
}

TEST_F(Cli, MalformedConnectionStringsAreUsageErrors) {
  struct Case {
    const char* device;
    const char* words;
  };
  const Case cases[] = {
      {"usb:", "give usb:BUS:ADDR"},
      {"usb:1", "give usb:BUS:ADDR"},
      {"ttyS:-1", "ttyS:N needs a port number"},
      {"ttyS:x", "ttyS:N needs a port number"},
      {"/dev/ttyUSB0@115200", "115200 bit/s is not a speed the line offers"},
      {"usb@9600", "a USB reader has no line speed"},
  };
  for (const Case& c : cases) {
    Result r = Run({"--device", c.device, "info"});
    EXPECT_EQ(r.status, 2) << c.device;
    EXPECT_NE(r.err.find(c.words), std::string::npos) << c.device << ": " << r.err;
  }
  Result r = Run({"--device", std::string(5000, '/'), "info"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("too long (5000 bytes"), std::string::npos) << r.err;
}

TEST_F(Cli, APortInUseIsSaidSo) {
  orvexsim::Simulator sim;
  orvexsim::SerialServer server(sim);
  server.Start();
  OrvexLink holder(server.path().c_str());
  ASSERT_TRUE(holder.IsOpen()) << holder.LastFailureText();
  Result r = Run({"--device", server.path(), "info"});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("orvex: " + server.path() + " is in use by another program or link\n"), std::string::npos)
      << r.err;
  holder.Close();
  r = Run({"--device", server.path() + "@19200", "info"});
  EXPECT_EQ(r.status, 0) << r.err;
  server.Stop();
}

}  // namespace
