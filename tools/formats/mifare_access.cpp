// SPDX-License-Identifier: MIT
#include "mifare_access.h"

namespace orvexformats {

namespace {

int Bit(uint8_t byte, int i) { return (byte >> i) & 1; }

}  // namespace

bool DecodeAccess(const uint8_t* b, Access& out) {
  // byte 6: ~C2 (high nibble) ~C1 (low); byte 7: C1 (high) ~C3 (low);
  // byte 8: C3 (high) C2 (low); bit i of each nibble is block group i.
  const uint8_t c1 = b[1] >> 4, c2 = b[2] & 0x0F, c3 = b[2] >> 4;
  const uint8_t n1 = b[0] & 0x0F, n2 = b[0] >> 4, n3 = b[1] & 0x0F;
  if ((c1 ^ n1) != 0x0F || (c2 ^ n2) != 0x0F || (c3 ^ n3) != 0x0F) return false;
  for (int i = 0; i < 4; ++i) out.c[i] = Bit(c1, i) << 2 | Bit(c2, i) << 1 | Bit(c3, i);
  return true;
}

void EncodeAccess(const Access& a, uint8_t* b) {
  uint8_t c1 = 0, c2 = 0, c3 = 0;
  for (int i = 0; i < 4; ++i) {
    c1 |= static_cast<uint8_t>(((a.c[i] >> 2) & 1) << i);
    c2 |= static_cast<uint8_t>(((a.c[i] >> 1) & 1) << i);
    c3 |= static_cast<uint8_t>((a.c[i] & 1) << i);
  }
  b[0] = static_cast<uint8_t>((~c2 & 0x0F) << 4 | (~c1 & 0x0F));
  b[1] = static_cast<uint8_t>(c1 << 4 | (~c3 & 0x0F));
  b[2] = static_cast<uint8_t>(c3 << 4 | c2);
}

DataRights DataBlockRights(int c) {
  switch (c & 7) {
    case 0: return {"A|B", "A|B", "A|B", "A|B"};  // transport configuration
    case 2: return {"A|B", "never", "never", "never"};
    case 4: return {"A|B", "B", "never", "never"};
    case 6: return {"A|B", "B", "B", "A|B"};
    case 1: return {"A|B", "never", "never", "A|B"};
    case 3: return {"B", "B", "never", "never"};
    case 5: return {"B", "never", "never", "never"};
    default: return {"never", "never", "never", "never"};
  }
}

TrailerRights TrailerBlockRights(int c) {
  switch (c & 7) {
    case 0: return {"A", "A", "never", "A", "A"};
    case 2: return {"never", "A", "never", "A", "never"};
    case 4: return {"B", "A|B", "never", "never", "B"};
    case 6: return {"never", "A|B", "never", "never", "never"};
    case 1: return {"A", "A", "A", "A", "A"};  // transport configuration
    case 3: return {"B", "A|B", "B", "never", "B"};
    case 5: return {"never", "A|B", "B", "never", "never"};
    default: return {"never", "A|B", "never", "never", "never"};
  }
}

std::vector<std::string> SelfLocking(const Access& a) {
  std::vector<std::string> why;
  TrailerRights t = TrailerBlockRights(a.c[3]);
  if (t.write_key_a == "never") why.push_back("key A can never be changed again");
  if (t.write_key_b == "never") why.push_back("key B can never be changed again");
  if (t.write_access == "never") why.push_back("the access conditions can never be changed again");
  for (int g = 0; g < 3; ++g)
    if (DataBlockRights(a.c[g]).write == "never")
      why.push_back("data block group " + std::to_string(g) + " becomes read-only");
  return why;
}

std::vector<std::string> Describe(const Access& a) {
  std::vector<std::string> lines;
  for (int g = 0; g < 3; ++g) {
    DataRights d = DataBlockRights(a.c[g]);
    lines.push_back("block group " + std::to_string(g) + " (C1C2C3 " + std::to_string(a.c[g] >> 2) +
                    std::to_string((a.c[g] >> 1) & 1) + std::to_string(a.c[g] & 1) + "): read " + d.read +
                    ", write " + d.write + ", increment " + d.increment + ", decrement/transfer/restore " +
                    d.decrement);
  }
  TrailerRights t = TrailerBlockRights(a.c[3]);
  lines.push_back("trailer (C1C2C3 " + std::to_string(a.c[3] >> 2) + std::to_string((a.c[3] >> 1) & 1) +
                  std::to_string(a.c[3] & 1) + "): write key A " + t.write_key_a + ", read access bits " +
                  t.read_access + ", write access bits " + t.write_access + ", read key B " + t.read_key_b +
                  ", write key B " + t.write_key_b);
  return lines;
}

}  // namespace orvexformats
