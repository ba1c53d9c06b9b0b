// SPDX-License-Identifier: MIT
// Reader discovery: what OrvexReaderList and `orvex list` show. Nothing is
// opened or written: USB readers come from sysfs, serial ports from /dev.
#pragma once

#include <string>
#include <vector>

namespace orvex {

struct FoundReader {
  std::string kind;        // "usb" or "serial"
  std::string connection;  // what OrvexLink::Open takes
  int bus = 0;             // USB
  int address = 0;         // USB
  std::string serial;      // USB serial string
  std::string path;        // serial: the listed path; USB: the device node
  std::string target;      // serial: what a by-id link points to
};

// root is put before /sys and /dev (tests give a folder of their own).
std::vector<FoundReader> FindReaders(const std::string& root = "");

}  // namespace orvex
