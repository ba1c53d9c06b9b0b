// SPDX-License-Identifier: MIT
// MIFARE Classic access conditions: the three access bytes of a sector
// trailer (bytes 6 to 8), decoded into the conditions of each block, checked,
// and described in words. Pure code, shared by the orvex tool and the other
// programs of the SDK that handle MIFARE Classic dumps.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orvexformats {

// Access bits C1 C2 C3 of the four block groups of a sector: for a
// 4-block sector block i, for a 16-block sector blocks 5i to 5i+4 (group 3
// is the trailer). Each value is C1 << 2 | C2 << 1 | C3.
struct Access {
  int c[4] = {0, 0, 0, 0};
};

// Decodes the access bytes at b (trailer bytes 6, 7 and 8). False when the
// inverted copies disagree with the bits: a card takes such a trailer as a
// sector locked for good.
bool DecodeAccess(const uint8_t* b, Access& out);
// The three access bytes of a (the inverse of DecodeAccess).
void EncodeAccess(const Access& a, uint8_t* b);

// Which key may do what: "A", "B", "A|B" or "never".
struct DataRights {
  std::string read, write, increment, decrement;
};
struct TrailerRights {
  std::string write_key_a, read_access, write_access, read_key_b, write_key_b;
};
DataRights DataBlockRights(int c);
TrailerRights TrailerBlockRights(int c);

// Why writing a trailer with access a would lock the sector for good (no
// way back with any key): empty when it would not. Reasons are phrases such
// as "key A can never be changed again".
std::vector<std::string> SelfLocking(const Access& a);

// One line per block group, in words.
std::vector<std::string> Describe(const Access& a);

}  // namespace orvexformats
