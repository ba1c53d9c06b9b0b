// SPDX-License-Identifier: MIT
// Connection strings: the one parser of "ttyS:N", device paths, "usb",
// "usb:BUS:ADDR" and "usb:serial=..." (each serial form optionally "@BAUD"),
// shared by OrvexLink, the orvex tool, the PC/SC driver and Python.
#pragma once

#include <cstddef>
#include <string>

namespace orvex {

struct Connection {
  enum class Kind { kSerialPath, kSerialPort, kUsbFirst, kUsbAt, kUsbSerial };
  Kind kind = Kind::kUsbFirst;
  std::string path;    // kSerialPath: the device; kSerialPort: /dev/ttySN
  int port = 0;        // kSerialPort
  int bus = 0;         // kUsbAt
  int address = 0;     // kUsbAt
  std::string serial;  // kUsbSerial
  int baud = 19200;    // serial kinds
};

// The longest connection string taken.
constexpr size_t kMaxConnectionLength = 4096;

// Parses the len bytes at text. True with out filled; false with error saying
// what is wrong, in words that name the offending part.
bool ParseConnection(const char* text, size_t len, Connection& out, std::string& error);
inline bool ParseConnection(const std::string& text, Connection& out, std::string& error) {
  return ParseConnection(text.data(), text.size(), out, error);
}

}  // namespace orvex
