// SPDX-License-Identifier: MIT
// The connection-string parser on arbitrary bytes (embedded NULs, any
// length): it never crashes, and what it accepts is consistent: a USB form
// names a bus and address in range or a non-empty serial string, a serial
// form names an absolute path and a speed the line offers.
#include <cstdint>
#include <string>

#include "link/connection.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);  // exactly sized
  orvex::Connection c;
  std::string error;
  bool ok = orvex::ParseConnection(text.data(), text.size(), c, error);
  if (ok != error.empty()) __builtin_trap();
  if (!ok) return 0;
  switch (c.kind) {
    case orvex::Connection::Kind::kUsbAt:
      if (c.bus < 1 || c.bus > 255 || c.address < 1 || c.address > 127) __builtin_trap();
      break;
    case orvex::Connection::Kind::kUsbSerial:
      if (c.serial.empty()) __builtin_trap();
      break;
    case orvex::Connection::Kind::kUsbFirst: break;
    case orvex::Connection::Kind::kSerialPath:
    case orvex::Connection::Kind::kSerialPort:
      if (c.path.empty() || c.path[0] != '/') __builtin_trap();
      if (c.baud != 4800 && c.baud != 9600 && c.baud != 19200 && c.baud != 38400) __builtin_trap();
      break;
  }
  return 0;
}
