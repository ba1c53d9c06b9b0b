// SPDX-License-Identifier: MIT
// Shared by the examples: opening the reader named on the command line.
//   example CONNECTION [READER_ID]
// CONNECTION is any connection string of the library: a serial device path
// (/dev/ttyUSB0, or the path the simulated reader orvex-sim prints),
// "ttyS:0", "usb", "usb:1:4", "usb:serial=...", optionally "@38400".
#pragma once

#include <orvex.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

// Opens the reader as this program's own link and makes it the one the
// Orvex methods use on this thread until the program ends.
inline bool OpenReader(Orvex& /*reader*/, int argc, char** argv, int& readerId) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s CONNECTION [READER_ID]\n", argv[0]);
    return false;
  }
  readerId = argc > 2 ? std::atoi(argv[2]) : 1;
  static OrvexLink link;
  if (link.Open(argv[1]) != 1) {
    std::fprintf(stderr, "cannot open the reader on %s: %s\n", argv[1], link.LastFailureText());
    return false;
  }
  static OrvexLinkScope scope(link);
  return true;
}

inline void PrintHex(const char* label, const unsigned char* p, int n) {
  std::printf("%s", label);
  for (int i = 0; i < n; ++i) std::printf("%02X", p[i]);
  std::printf("\n");
}
