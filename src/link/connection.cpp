// SPDX-License-Identifier: MIT
// The connection-string parser.
#include "link/connection.h"

#include <cstring>

namespace orvex {

namespace {

// A decimal number of 1 to 9 digits, nothing else.
bool Decimal(const std::string& s, int& value) {
  if (s.empty() || s.size() > 9) return false;
  value = 0;
  for (char c : s) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + (c - '0');
  }
  return true;
}

// What a user sees of a string in a message: printable ASCII, the rest as \xNN.
std::string Shown(const std::string& s) {
  std::string out;
  for (unsigned char c : s.substr(0, 64)) {
    if (c >= 0x20 && c < 0x7F) {
      out += static_cast<char>(c);
    } else {
      static const char hex[] = "0123456789abcdef";
      out += "\\x";
      out += hex[c >> 4];
      out += hex[c & 15];
    }
  }
  if (s.size() > 64) out += "...";
  return out;
}

}  // namespace

bool ParseConnection(const char* text, size_t len, Connection& out, std::string& error) {
  if (text == nullptr || len == 0) {
    error = "the connection string is empty (give usb, usb:BUS:ADDR, usb:serial=S, ttyS:N or a device path)";
    return false;
  }
  if (len > kMaxConnectionLength) {
    error = "the connection string is too long (" + std::to_string(len) + " bytes, at most " +
            std::to_string(kMaxConnectionLength) + ")";
    return false;
  }
  std::string s(text, len);
  if (memchr(text, '\0', len) != nullptr) {
    error = "the connection string \"" + Shown(s) + "\" contains a NUL byte";
    return false;
  }
  Connection c;
  // USB forms. They take no speed.
  if (s == "usb" || s.rfind("usb:", 0) == 0 || s.rfind("usb@", 0) == 0) {
    if (s.find('@') != std::string::npos) {
      error = "\"" + Shown(s) + "\": a USB reader has no line speed (drop the @...)";
      return false;
    }
    if (s == "usb") {
      c.kind = Connection::Kind::kUsbFirst;
      out = c;
      return true;
    }
    std::string rest = s.substr(4);
    if (rest.rfind("serial=", 0) == 0) {
      c.kind = Connection::Kind::kUsbSerial;
      c.serial = rest.substr(7);
      if (c.serial.empty()) {
        error = "\"" + Shown(s) + "\": usb:serial= needs the device's serial string";
        return false;
      }
      out = c;
      return true;
    }
    size_t colon = rest.find(':');
    if (rest.empty() || colon == std::string::npos) {
      error = "\"" + Shown(s) + "\": give usb:BUS:ADDR (e.g. usb:1:4, as lsusb shows them) or usb:serial=S";
      return false;
    }
    if (!Decimal(rest.substr(0, colon), c.bus) || !Decimal(rest.substr(colon + 1), c.address) ||
        c.bus < 1 || c.bus > 255 || c.address < 1 || c.address > 127) {
      error = "\"" + Shown(s) + "\": BUS and ADDR are decimal numbers, bus 1 to 255 and address 1 to 127";
      return false;
    }
    c.kind = Connection::Kind::kUsbAt;
    out = c;
    return true;
  }
  // Serial forms, with an optional @BAUD.
  size_t at = s.rfind('@');
  if (at != std::string::npos) {
    std::string speed = s.substr(at + 1);
    if (!Decimal(speed, c.baud)) {
      error = "\"" + Shown(s) + "\": the speed after @ must be a number of bits per second";
      return false;
    }
    if (c.baud != 4800 && c.baud != 9600 && c.baud != 19200 && c.baud != 38400) {
      error = "\"" + Shown(s) + "\": " + speed + " bit/s is not a speed the line offers (4800, 9600, 19200, 38400)";
      return false;
    }
    s = s.substr(0, at);
  }
  if (s.rfind("ttyS:", 0) == 0) {
    if (!Decimal(s.substr(5), c.port) || c.port > 4095) {
      error = "\"" + Shown(s) + "\": ttyS:N needs a port number from 0, e.g. ttyS:0 for /dev/ttyS0";
      return false;
    }
    c.kind = Connection::Kind::kSerialPort;
    c.path = "/dev/ttyS" + std::to_string(c.port);
    out = c;
    return true;
  }
  if (!s.empty() && s[0] == '/') {
    c.kind = Connection::Kind::kSerialPath;
    c.path = s;
    out = c;
    return true;
  }
  error = "unknown connection \"" + Shown(s) + "\": give usb, usb:BUS:ADDR, usb:serial=S, ttyS:N or a device path such as /dev/ttyUSB0";
  return false;
}

}  // namespace orvex
