// Shared by the examples: opening the reader named on the command line.
//   example DEVICE [READER_ID]
// DEVICE is a serial device path (/dev/ttyUSB0, or the path the simulated
// reader orvex-sim prints), or "usb" for a USB reader.
#pragma once

#include <orvex.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

inline bool OpenReader(Orvex& reader, int argc, char** argv, int& readerId) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s DEVICE [READER_ID]\n", argv[0]);
    return false;
  }
  readerId = argc > 2 ? std::atoi(argv[2]) : 1;
  int rt = std::strcmp(argv[1], "usb") == 0 ? reader.OV_USBHIDInitial()
                                             : reader.OV_ComInitialDevice(argv[1], 19200);
  if (rt != 1) {
    std::fprintf(stderr, "cannot open the reader on %s\n", argv[1]);
    return false;
  }
  return true;
}

inline void PrintHex(const char* label, const unsigned char* p, int n) {
  std::printf("%s", label);
  for (int i = 0; i < n; ++i) std::printf("%02X", p[i]);
  std::printf("\n");
}
