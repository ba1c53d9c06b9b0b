// SPDX-License-Identifier: MIT
// Activates the FMCOS CPU card in the field, selects its purse application
// (DF 1001), verifies the PIN and prints the electronic purse's balance.
#include "common.h"

int main(int argc, char** argv) {
  Orvex reader;
  int id;
  if (!OpenReader(reader, argc, argv, id)) return 1;
  unsigned char ats[ORVEX_MAX_ANSWER];
  int atsLen = 0;
  if (reader.OV_TypeA_Reset(id, 0x52, 0, &atsLen, ats) != 1) {
    std::fprintf(stderr, "no CPU card in the field\n");
    return 1;
  }
  PrintHex("answer to select ", ats, atsLen);
  unsigned short sw = 0;  // the card's status word, SW1 in the low byte: 0x0090 is 90 00
  unsigned char df[2] = {0x10, 0x01}, fci[ORVEX_MAX_ANSWER], fciLen = 0;
  if (OV_FM_Select(id, 0x00, 2, df, 0x00, &fciLen, fci, &sw) != 1 || sw != 0x0090) {
    std::fprintf(stderr, "selecting the purse application failed (SW %02X %02X)\n", sw & 0xFF, sw >> 8);
    return 1;
  }
  unsigned char pin[3] = {0x12, 0x34, 0x56};
  if (reader.OV_FM_VerifyPin(id, 0x00, 3, pin, &sw) != 1 || sw != 0x0090) {
    std::fprintf(stderr, "PIN refused (SW %02X %02X)\n", sw & 0xFF, sw >> 8);
    return 1;
  }
  int raw = 0;
  if (reader.OV_FM_GetBalance(id, 0x02, &raw, &sw) != 1 || sw != 0x0090) {
    std::fprintf(stderr, "reading the balance failed (SW %02X %02X)\n", sw & 0xFF, sw >> 8);
    return 1;
  }
  // The card sends its amounts most significant byte first, and the library
  // hands the four bytes over as they came, least significant first: swap.
  unsigned int v = static_cast<unsigned int>(raw);
  unsigned int balance = (v >> 24) | ((v >> 8) & 0xFF00u) | ((v << 8) & 0xFF0000u) | (v << 24);
  std::printf("purse balance %u\n", balance);
  reader.OV_ComFree();
  return 0;
}
