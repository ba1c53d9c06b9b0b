// SPDX-License-Identifier: MIT
// Reads block 4 of the MIFARE Classic card in the field with key A.
#include "common.h"

int main(int argc, char** argv) {
  Orvex reader;
  int id;
  if (!OpenReader(reader, argc, argv, id)) return 1;
  unsigned short cardType = 0;
  if (reader.OV_RequestCard(id, 0x26, &cardType) != 1) {
    std::fprintf(stderr, "no card in the field\n");
    return 1;
  }
  unsigned char mem = 0, uidLen = 0, uid[10];  // the serial number: at most 10 bytes
  if (reader.OV_AntiCollideAndSelect(id, 0, &mem, &uidLen, uid) <= 0) {
    std::fprintf(stderr, "the card could not be selected\n");
    return 1;
  }
  PrintHex("UID ", uid, uidLen);
  unsigned char keyA[6] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  if (reader.OV_KeyAuthorization(id, 0x60, 4, keyA) != 1) {
    std::fprintf(stderr, "authentication failed for sector 1\n");
    return 1;
  }
  unsigned char block[16];
  if (reader.OV_ReadaBlock(id, 4, 16, block) != 1) {
    std::fprintf(stderr, "block 4 could not be read\n");
    return 1;
  }
  PrintHex("block 4 ", block, 16);
  reader.OV_CardHalt(id);
  reader.OV_ComFree();
  return 0;
}
