// SPDX-License-Identifier: MIT
// DES and triple-DES with the FIPS 46-3 tables. The key schedule is run anew
// for every round of every block so that the only state is one 48-bit subkey;
// a block costs a few thousand table steps, nothing beside a reader exchange.
#include "crypto/DES3.h"

#include <cstring>

namespace orvex {

unsigned char KSD[48];

// The eight S-boxes, each 4 rows of 16: row = outer bits b0 b5, column =
// inner bits b1..b4 of the 6-bit group.
static const unsigned char kSBox[8][4][16] = {
    {{14, 4, 13, 1, 2, 15, 11, 8, 3, 10, 6, 12, 5, 9, 0, 7},
     {0, 15, 7, 4, 14, 2, 13, 1, 10, 6, 12, 11, 9, 5, 3, 8},
     {4, 1, 14, 8, 13, 6, 2, 11, 15, 12, 9, 7, 3, 10, 5, 0},
     {15, 12, 8, 2, 4, 9, 1, 7, 5, 11, 3, 14, 10, 0, 6, 13}},
    {{15, 1, 8, 14, 6, 11, 3, 4, 9, 7, 2, 13, 12, 0, 5, 10},
     {3, 13, 4, 7, 15, 2, 8, 14, 12, 0, 1, 10, 6, 9, 11, 5},
     {0, 14, 7, 11, 10, 4, 13, 1, 5, 8, 12, 6, 9, 3, 2, 15},
     {13, 8, 10, 1, 3, 15, 4, 2, 11, 6, 7, 12, 0, 5, 14, 9}},
    {{10, 0, 9, 14, 6, 3, 15, 5, 1, 13, 12, 7, 11, 4, 2, 8},
     {13, 7, 0, 9, 3, 4, 6, 10, 2, 8, 5, 14, 12, 11, 15, 1},
     {13, 6, 4, 9, 8, 15, 3, 0, 11, 1, 2, 12, 5, 10, 14, 7},
     {1, 10, 13, 0, 6, 9, 8, 7, 4, 15, 14, 3, 11, 5, 2, 12}},
    {{7, 13, 14, 3, 0, 6, 9, 10, 1, 2, 8, 5, 11, 12, 4, 15},
     {13, 8, 11, 5, 6, 15, 0, 3, 4, 7, 2, 12, 1, 10, 14, 9},
     {10, 6, 9, 0, 12, 11, 7, 13, 15, 1, 3, 14, 5, 2, 8, 4},
     {3, 15, 0, 6, 10, 1, 13, 8, 9, 4, 5, 11, 12, 7, 2, 14}},
    {{2, 12, 4, 1, 7, 10, 11, 6, 8, 5, 3, 15, 13, 0, 14, 9},
     {14, 11, 2, 12, 4, 7, 13, 1, 5, 0, 15, 10, 3, 9, 8, 6},
     {4, 2, 1, 11, 10, 13, 7, 8, 15, 9, 12, 5, 6, 3, 0, 14},
     {11, 8, 12, 7, 1, 14, 2, 13, 6, 15, 0, 9, 10, 4, 5, 3}},
    {{12, 1, 10, 15, 9, 2, 6, 8, 0, 13, 3, 4, 14, 7, 5, 11},
     {10, 15, 4, 2, 7, 12, 9, 5, 6, 1, 13, 14, 0, 11, 3, 8},
     {9, 14, 15, 5, 2, 8, 12, 3, 7, 0, 4, 10, 1, 13, 11, 6},
     {4, 3, 2, 12, 9, 5, 15, 10, 11, 14, 1, 7, 6, 0, 8, 13}},
    {{4, 11, 2, 14, 15, 0, 8, 13, 3, 12, 9, 7, 5, 10, 6, 1},
     {13, 0, 11, 7, 4, 9, 1, 10, 14, 3, 5, 12, 2, 15, 8, 6},
     {1, 4, 11, 13, 12, 3, 7, 14, 10, 15, 6, 8, 0, 5, 9, 2},
     {6, 11, 13, 8, 1, 4, 10, 7, 9, 5, 0, 15, 14, 2, 3, 12}},
    {{13, 2, 8, 4, 6, 15, 11, 1, 10, 9, 3, 14, 5, 0, 12, 7},
     {1, 15, 13, 8, 10, 3, 7, 4, 12, 5, 6, 11, 0, 14, 9, 2},
     {7, 11, 4, 1, 9, 12, 14, 2, 0, 6, 10, 13, 15, 3, 5, 8},
     {2, 1, 14, 7, 4, 10, 8, 13, 15, 12, 9, 0, 3, 5, 6, 11}},
};

void unpack8(const unsigned char* packed, unsigned char* binary) {
  for (int i = 0; i < 64; ++i) binary[i] = (packed[i / 8] >> (7 - i % 8)) & 1;
}

void pack8(unsigned char* packed, const unsigned char* binary) {
  for (int i = 0; i < 8; ++i) {
    unsigned char b = 0;
    for (int j = 0; j < 8; ++j) b = static_cast<unsigned char>(b << 1 | binary[i * 8 + j]);
    packed[i] = b;
  }
}

// dst[i] = src[table[i] - 1]: the standard's tables count bits from 1.
static void Permute(unsigned char* dst, const unsigned char* src, const unsigned char* table,
                    int n) {
  for (int i = 0; i < n; ++i) dst[i] = src[table[i] - 1];
}

// One left rotation of a 28-bit register.
static void RotateLeft28(unsigned char* r) {
  unsigned char first = r[0];
  std::memmove(r, r + 1, 27);
  r[27] = first;
}

void DES_setkeySingle(unsigned char sw, const unsigned char* pkey, int line) {
  // clang-format off
  static const unsigned char PC1[56] = {
      57, 49, 41, 33, 25, 17,  9,
       1, 58, 50, 42, 34, 26, 18,
      10,  2, 59, 51, 43, 35, 27,
      19, 11,  3, 60, 52, 44, 36,
      63, 55, 47, 39, 31, 23, 15,
       7, 62, 54, 46, 38, 30, 22,
      14,  6, 61, 53, 45, 37, 29,
      21, 13,  5, 28, 20, 12,  4};
  static const unsigned char PC2[48] = {
      14, 17, 11, 24,  1,  5,
       3, 28, 15,  6, 21, 10,
      23, 19, 12,  4, 26,  8,
      16,  7, 27, 20, 13,  2,
      41, 52, 31, 37, 47, 55,
      30, 40, 51, 45, 33, 48,
      44, 49, 39, 56, 34, 53,
      46, 42, 50, 36, 29, 32};
  static const unsigned char kShifts[16] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};
  // clang-format on

  unsigned char key[64];
  unsigned char cd[56];  // C (bits 0-27) and D (bits 28-55)
  unpack8(pkey, key);
  Permute(cd, key, PC1, 56);
  for (int r = 0; r < 16; ++r) {
    for (int s = 0; s < kShifts[r]; ++s) {
      RotateLeft28(cd);
      RotateLeft28(cd + 28);
    }
    // Decryption takes the subkeys in reverse order.
    int target = sw != 0 ? 15 - r : r;
    if (target == line) {
      Permute(KSD, cd, PC2, 48);
      return;
    }
  }
}

void DES_(unsigned char sw, const unsigned char* pkey, const unsigned char* in,
          unsigned char* out) {
  // clang-format off
  static const unsigned char IP[64] = {
      58, 50, 42, 34, 26, 18, 10,  2,
      60, 52, 44, 36, 28, 20, 12,  4,
      62, 54, 46, 38, 30, 22, 14,  6,
      64, 56, 48, 40, 32, 24, 16,  8,
      57, 49, 41, 33, 25, 17,  9,  1,
      59, 51, 43, 35, 27, 19, 11,  3,
      61, 53, 45, 37, 29, 21, 13,  5,
      63, 55, 47, 39, 31, 23, 15,  7};
  // IP^-1 composed with the exchange of the two halves: the round loop
  // leaves L16 || R16, the standard's preoutput is R16 || L16.
  static const unsigned char FP[64] = {
       8, 40, 16, 48, 24, 56, 32, 64,
       7, 39, 15, 47, 23, 55, 31, 63,
       6, 38, 14, 46, 22, 54, 30, 62,
       5, 37, 13, 45, 21, 53, 29, 61,
       4, 36, 12, 44, 20, 52, 28, 60,
       3, 35, 11, 43, 19, 51, 27, 59,
       2, 34, 10, 42, 18, 50, 26, 58,
       1, 33,  9, 41, 17, 49, 25, 57};
  static const unsigned char E[48] = {
      32,  1,  2,  3,  4,  5,
       4,  5,  6,  7,  8,  9,
       8,  9, 10, 11, 12, 13,
      12, 13, 14, 15, 16, 17,
      16, 17, 18, 19, 20, 21,
      20, 21, 22, 23, 24, 25,
      24, 25, 26, 27, 28, 29,
      28, 29, 30, 31, 32,  1};
  static const unsigned char P[32] = {
      16,  7, 20, 21,
      29, 12, 28, 17,
       1, 15, 23, 26,
       5, 18, 31, 10,
       2,  8, 24, 14,
      32, 27,  3,  9,
      19, 13, 30,  6,
      22, 11,  4, 25};
  // clang-format on

  unsigned char bits[64];
  unsigned char lr[64];  // L (bits 0-31) and R (bits 32-63)
  unpack8(in, bits);
  Permute(lr, bits, IP, 64);
  unsigned char* L = lr;
  unsigned char* R = lr + 32;
  for (int round = 0; round < 16; ++round) {
    DES_setkeySingle(sw, pkey, round);
    unsigned char x[48];
    Permute(x, R, E, 48);
    for (int i = 0; i < 48; ++i) x[i] ^= KSD[i];
    unsigned char s[32];
    for (int box = 0; box < 8; ++box) {
      const unsigned char* b = x + 6 * box;
      int row = b[0] << 1 | b[5];
      int col = b[1] << 3 | b[2] << 2 | b[3] << 1 | b[4];
      unsigned char v = kSBox[box][row][col];
      for (int j = 0; j < 4; ++j) s[4 * box + j] = (v >> (3 - j)) & 1;
    }
    unsigned char f[32];
    Permute(f, s, P, 32);
    for (int i = 0; i < 32; ++i) {
      unsigned char newR = L[i] ^ f[i];
      L[i] = R[i];
      R[i] = newR;
    }
  }
  Permute(bits, lr, FP, 64);
  pack8(out, bits);
}

void DES3_DeOrEncrypt(unsigned char cModel, const unsigned char* cpKey,
                      const unsigned char* cpInData, unsigned char* cpOutData) {
  const unsigned char* k1 = cpKey;
  const unsigned char* k2 = cpKey + 8;
  // Two temporaries, so the output may overwrite the input.
  unsigned char t1[8], t2[8];
  if (cModel == 0) {
    DES_(0, k1, cpInData, t1);
    DES_(1, k2, t1, t2);
    DES_(0, k1, t2, cpOutData);
  } else {
    DES_(1, k1, cpInData, t1);
    DES_(0, k2, t1, t2);
    DES_(1, k1, t2, cpOutData);
  }
}

unsigned int DES3_CBC_DeOrEncrypt(unsigned char cModel, const unsigned char* cpInData,
                                  unsigned char* cpOutData, const unsigned char* cpKey,
                                  const unsigned char* cpIV) {
  // Written for a run of blocks, with the data length fixed at one block.
  const int kBlocks = 1;
  const int kDataLen = 8;
  unsigned char chain[8];
  std::memcpy(chain, cpIV, 8);  // the caller's IV is never written back
  for (int blk = 0; blk < kBlocks; ++blk) {
    unsigned char block[8] = {};  // a short last block is padded with zeros
    int n = kDataLen - blk * 8 < 8 ? kDataLen - blk * 8 : 8;
    std::memcpy(block, cpInData + blk * 8, static_cast<size_t>(n));
    unsigned char result[8];
    if (cModel == 0) {
      for (int i = 0; i < 8; ++i) block[i] ^= chain[i];
      DES3_DeOrEncrypt(0, cpKey, block, result);
      std::memcpy(chain, result, 8);
    } else {
      DES3_DeOrEncrypt(1, cpKey, block, result);
      for (int i = 0; i < 8; ++i) result[i] ^= chain[i];
      std::memcpy(chain, cpInData + blk * 8, 8);
    }
    std::memcpy(cpOutData + blk * 8, result, 8);
  }
  return 0;
}

}  // namespace orvex
