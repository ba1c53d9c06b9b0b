// SPDX-License-Identifier: MIT
#include "ndef/forum/mad.h"

namespace orvex {
namespace ndef {

const uint8_t kMadKeyA[6] = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5};
const uint8_t kNfcForumKeyA[6] = {0xD3, 0xF7, 0xD3, 0xF7, 0xD3, 0xF7};

uint8_t MadCrc(const uint8_t* data, size_t n) {
  uint8_t crc = 0xC7;
  for (size_t i = 0; i < n; ++i) {
    crc ^= data[i];
    for (int bit = 0; bit < 8; ++bit) crc = static_cast<uint8_t>(crc & 0x80 ? (crc << 1) ^ 0x1D : crc << 1);
  }
  return crc;
}

std::vector<uint16_t> ParseMad(const Bytes& mad) {
  if (mad.size() != 32 && mad.size() != 48) throw Error("a MAD is 32 or 48 bytes");
  if (MadCrc(mad.data() + 1, mad.size() - 1) != mad[0])
    throw Error("the MIFARE application directory's CRC does not match its contents");
  std::vector<uint16_t> aids;
  // Each identifier: application code, then function cluster code.
  for (size_t i = 2; i + 1 < mad.size(); i += 2) aids.push_back(static_cast<uint16_t>(mad[i + 1] << 8 | mad[i]));
  return aids;
}

Bytes BuildMad(const std::vector<uint16_t>& aids, uint8_t info) {
  if (aids.size() != 15 && aids.size() != 23) throw Error("a MAD holds 15 or 23 identifiers");
  Bytes mad{0, info};
  for (uint16_t aid : aids) {
    mad.push_back(static_cast<uint8_t>(aid));
    mad.push_back(static_cast<uint8_t>(aid >> 8));
  }
  mad[0] = MadCrc(mad.data() + 1, mad.size() - 1);
  return mad;
}

}  // namespace ndef
}  // namespace orvex
