// SPDX-License-Identifier: MIT
// The connection-string parser: every documented form, and malformed ones.
#include <gtest/gtest.h>

#include <string>

#include "link/connection.h"
#include "orvex.h"

namespace {

using orvex::Connection;

Connection Parse(const std::string& s) {
  Connection c;
  std::string error;
  EXPECT_TRUE(orvex::ParseConnection(s, c, error)) << s << ": " << error;
  EXPECT_EQ("", error);
  return c;
}

std::string Refused(const std::string& s) {
  Connection c;
  c.path = "untouched";
  std::string error;
  EXPECT_FALSE(orvex::ParseConnection(s, c, error)) << s;
  EXPECT_EQ("untouched", c.path) << "the output is left alone on failure";
  return error;
}

TEST(Connection, SerialPortNumber) {
  Connection c = Parse("ttyS:0");
  EXPECT_EQ(Connection::Kind::kSerialPort, c.kind);
  EXPECT_EQ(0, c.port);
  EXPECT_EQ("/dev/ttyS0", c.path);
  EXPECT_EQ(19200, c.baud);
  c = Parse("ttyS:12@38400");
  EXPECT_EQ(12, c.port);
  EXPECT_EQ("/dev/ttyS12", c.path);
  EXPECT_EQ(38400, c.baud);
}

TEST(Connection, DevicePath) {
  Connection c = Parse("/dev/ttyUSB0");
  EXPECT_EQ(Connection::Kind::kSerialPath, c.kind);
  EXPECT_EQ("/dev/ttyUSB0", c.path);
  EXPECT_EQ(19200, c.baud);
  for (int speed : {4800, 9600, 19200, 38400}) {
    c = Parse("/dev/serial/by-id/usb-Orvex_reader-if00@" + std::to_string(speed));
    EXPECT_EQ("/dev/serial/by-id/usb-Orvex_reader-if00", c.path);
    EXPECT_EQ(speed, c.baud);
  }
}

TEST(Connection, UsbForms) {
  EXPECT_EQ(Connection::Kind::kUsbFirst, Parse("usb").kind);
  Connection c = Parse("usb:3:17");
  EXPECT_EQ(Connection::Kind::kUsbAt, c.kind);
  EXPECT_EQ(3, c.bus);
  EXPECT_EQ(17, c.address);
  c = Parse("usb:serial=A1B2-C3");
  EXPECT_EQ(Connection::Kind::kUsbSerial, c.kind);
  EXPECT_EQ("A1B2-C3", c.serial);
}

TEST(Connection, MalformedStringsSayWhatIsWrong) {
  EXPECT_NE(std::string::npos, Refused("").find("empty"));
  EXPECT_NE(std::string::npos, Refused("usb:").find("usb:BUS:ADDR"));
  EXPECT_NE(std::string::npos, Refused("usb:1").find("usb:BUS:ADDR"));
  EXPECT_NE(std::string::npos, Refused("usb:1:").find("decimal"));
  EXPECT_NE(std::string::npos, Refused("usb:0:4").find("bus 1 to 255"));
  EXPECT_NE(std::string::npos, Refused("usb:1:128").find("address 1 to 127"));
  EXPECT_NE(std::string::npos, Refused("usb:x:y").find("decimal"));
  EXPECT_NE(std::string::npos, Refused("usb:serial=").find("serial string"));
  EXPECT_NE(std::string::npos, Refused("usb@9600").find("no line speed"));
  EXPECT_NE(std::string::npos, Refused("ttyS:-1").find("ttyS:N needs a port number"));
  EXPECT_NE(std::string::npos, Refused("ttyS:x").find("ttyS:N needs a port number"));
  EXPECT_NE(std::string::npos, Refused("ttyS:").find("ttyS:N needs a port number"));
  EXPECT_NE(std::string::npos, Refused("/dev/ttyUSB0@115200").find("115200 bit/s is not a speed"));
  EXPECT_NE(std::string::npos, Refused("/dev/ttyUSB0@fast").find("number of bits per second"));
  EXPECT_NE(std::string::npos, Refused("/dev/ttyUSB0@").find("number of bits per second"));
  EXPECT_NE(std::string::npos, Refused("ttyUSB0").find("unknown connection \"ttyUSB0\""));
  EXPECT_NE(std::string::npos, Refused("sim").find("unknown connection"));
  EXPECT_NE(std::string::npos, Refused(std::string(5000, '/')).find("too long (5000 bytes"));
}

TEST(Connection, EmbeddedNulAndControlBytesAreShownEscaped) {
  std::string with_nul("/dev/tty\0USB0", 13);
  std::string error = Refused(with_nul);
  EXPECT_NE(std::string::npos, error.find("NUL byte")) << error;
  EXPECT_NE(std::string::npos, error.find("\\x00")) << error;
  error = Refused("\x1b[2Jboom");
  EXPECT_NE(std::string::npos, error.find("\\x1b[2Jboom")) << error;
}

TEST(Connection, PublicCheckWritesTheReasonWithinItsBuffer) {
  char message[32];
  memset(message, 'x', sizeof message);
  EXPECT_EQ(1, OrvexCheckConnection("usb:1:2", message, sizeof message));
  EXPECT_STREQ("", message);
  EXPECT_EQ(ORVEX_LINK_BAD_CONNECTION, OrvexCheckConnection("usb:1", message, 16));
  EXPECT_EQ(15u, strlen(message));  // cut to the 16 bytes given, NUL included
  EXPECT_EQ('x', message[16]);
  EXPECT_EQ(ORVEX_LINK_BAD_CONNECTION, OrvexCheckConnection(nullptr, nullptr, 0));
}

}  // namespace
