// SPDX-License-Identifier: MIT
// Opens a reader, prints who it is, and beeps it once.
#include "common.h"

int main(int argc, char** argv) {
  Orvex reader;
  int id;
  if (!OpenReader(reader, argc, argv, id)) return 1;
  int version = reader.OV_GetReaderVersion(id);
  if (version < 0) {
    std::fprintf(stderr, "the reader did not answer\n");
    return 1;
  }
  unsigned char serial[ORVEX_MAX_ANSWER];
  int n = reader.OV_GetReaderSerial(id, serial);
  std::printf("reader number %d, firmware version %04X\n", reader.OV_GetReaderID(id), version);
  if (n > 0) PrintHex("serial number ", serial, n);
  reader.OV_Buzzer(id, 10, 10, 1);
  reader.OV_ComFree();
  return 0;
}
