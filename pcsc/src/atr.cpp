// SPDX-License-Identifier: MIT
#include "atr.h"

#include <cstdio>

namespace orvex_ifd {

uint8_t Tck(const Bytes& atr) {
  uint8_t x = 0;
  for (size_t i = 1; i < atr.size(); ++i) x ^= atr[i];
  return x;
}

Bytes ContactlessAtr(const Bytes& historical) {
  size_t n = historical.size() > 15 ? 15 : historical.size();
  // TS direct convention; T0 announces TD1 and n historical bytes; TD1
  // announces TD2 (protocol T=0 there, as PC/SC Part 3 writes it); TD2
  // says T=1 and nothing more.
  Bytes atr;
  atr.reserve(n + 5);
  for (uint8_t b : {uint8_t{0x3B}, static_cast<uint8_t>(0x80 | n), uint8_t{0x80}, uint8_t{0x01}}) atr.push_back(b);
  for (size_t i = 0; i < n; ++i) atr.push_back(historical[i]);
  atr.push_back(Tck(atr));
  return atr;
}

Bytes AtsHistoricalBytes(const Bytes& ats) {
  // TL counts the ATS itself; a reader may hand over fewer bytes than TL
  // says (never more are taken).
  if (ats.size() < 2) return {};
  size_t end = ats[0] < ats.size() ? ats[0] : ats.size();
  uint8_t t0 = ats[1];
  size_t pos = 2;
  for (uint8_t bit : {0x10, 0x20, 0x40})
    if (t0 & bit) ++pos;  // TA(1), TB(1), TC(1)
  if (pos >= end) return {};
  return Bytes(ats.begin() + static_cast<long>(pos), ats.begin() + static_cast<long>(end));
}

Bytes TypeBHistoricalBytes(const Bytes& atqb) {
  if (atqb.size() < 12) return {};
  Bytes h(atqb.begin() + 5, atqb.begin() + 12);  // application data, protocol info
  h.push_back(0x00);  // MBLI unknown (high nibble), low nibble RFU
  return h;
}

bool TypeBIsIso14443_4(const Bytes& atqb) {
  // Protocol info byte 2: the low nibble is the protocol type, bit 0 set
  // for a card compliant with ISO 14443-4.
  return atqb.size() >= 12 && (atqb[10] & 0x01) != 0;
}

Bytes StorageCardAtr(uint8_t standard, uint16_t card_name) {
  Bytes atr = {0x3B, 0x8F, 0x80, 0x01,
               0x80,                                 // category indicator: TLV objects follow
               0x4F, 0x0C,                           // application identifier, 12 bytes
               0xA0, 0x00, 0x00, 0x03, 0x06,         // RID of the PC/SC Workgroup
               standard,
               static_cast<uint8_t>(card_name >> 8), static_cast<uint8_t>(card_name),
               0x00, 0x00, 0x00, 0x00};              // RFU
  atr.push_back(Tck(atr));
  return atr;
}

uint16_t TypeACardName(uint8_t sak) {
  switch (sak) {
    case 0x08:
    case 0x88: return card_name::kMifareClassic1K;
    case 0x18: return card_name::kMifareClassic4K;
    case 0x09: return card_name::kMifareMini;
    case 0x00: return card_name::kMifareUltralight;
    default: return card_name::kNotGiven;
  }
}

uint16_t Iso15693CardName(const Bytes& air_uid) {
  // E0, manufacturer code 04, then the ICODE SLI family's type byte 01.
  if (air_uid.size() == 8 && air_uid[7] == 0xE0 && air_uid[6] == 0x04 && air_uid[5] == 0x01)
    return card_name::kIcodeSli;
  return card_name::kNotGiven;
}

std::string Hex(const Bytes& b) {
  std::string s;
  char buf[4];
  for (size_t i = 0; i < b.size(); ++i) {
    std::snprintf(buf, sizeof buf, i ? " %02X" : "%02X", b[i]);
    s += buf;
  }
  return s;
}

}  // namespace orvex_ifd
