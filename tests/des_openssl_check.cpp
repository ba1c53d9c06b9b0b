// SPDX-License-Identifier: MIT
// DES, DES3 and DES3_CBC against OpenSSL's DES for 1,000 random keys and
// blocks each, in both directions.
#define OPENSSL_SUPPRESS_DEPRECATED  // the single-block DES calls are what we compare with
#include <openssl/des.h>

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "orvex.h"

namespace {

constexpr int kRounds = 1000;

struct Random {
  std::mt19937 gen{20240611u};
  void Fill(unsigned char* p, int n) {
    for (int i = 0; i < n; ++i) p[i] = static_cast<unsigned char>(gen() & 0xFF);
  }
};

void Schedule(const unsigned char* key, DES_key_schedule* ks) {
  DES_cblock k;
  std::memcpy(k, key, 8);
  DES_set_key_unchecked(&k, ks);  // parity bits ignored, as ours does
}

TEST(DesAgainstOpenSsl, SingleDesBothWays) {
  Orvex ov;
  Random rnd;
  for (int i = 0; i < kRounds; ++i) {
    unsigned char key[8], in[8], ours[8], theirs[8];
    rnd.Fill(key, 8);
    rnd.Fill(in, 8);
    DES_key_schedule ks;
    Schedule(key, &ks);
    for (int enc : {DES_ENCRYPT, DES_DECRYPT}) {
      ASSERT_EQ(1, ov.DES(enc == DES_ENCRYPT ? 0 : 1, key, in, ours));
      DES_ecb_encrypt(reinterpret_cast<const_DES_cblock*>(in), reinterpret_cast<DES_cblock*>(theirs),
                      &ks, enc);
      ASSERT_EQ(0, std::memcmp(ours, theirs, 8)) << "round " << i << " enc " << enc;
    }
  }
}

TEST(DesAgainstOpenSsl, TwoKeyTripleDesBothWays) {
  Orvex ov;
  Random rnd;
  for (int i = 0; i < kRounds; ++i) {
    unsigned char key[16], in[8], ours[8], theirs[8];
    rnd.Fill(key, 16);
    rnd.Fill(in, 8);
    DES_key_schedule k1, k2;
    Schedule(key, &k1);
    Schedule(key + 8, &k2);
    for (int enc : {DES_ENCRYPT, DES_DECRYPT}) {
      ASSERT_EQ(1, ov.DES3(enc == DES_ENCRYPT ? 0 : 1, key, in, ours));
      DES_ecb3_encrypt(reinterpret_cast<const_DES_cblock*>(in), reinterpret_cast<DES_cblock*>(theirs),
                       &k1, &k2, &k1, enc);
      ASSERT_EQ(0, std::memcmp(ours, theirs, 8)) << "round " << i << " enc " << enc;
    }
  }
}

TEST(DesAgainstOpenSsl, OneBlockCbcBothWays) {
  Orvex ov;
  Random rnd;
  for (int i = 0; i < kRounds; ++i) {
    unsigned char key[16], in[8], iv[8], ivCopy[8], ours[8], theirs[8];
    rnd.Fill(key, 16);
    rnd.Fill(in, 8);
    rnd.Fill(iv, 8);
    std::memcpy(ivCopy, iv, 8);
    DES_key_schedule k1, k2;
    Schedule(key, &k1);
    Schedule(key + 8, &k2);
    for (int enc : {DES_ENCRYPT, DES_DECRYPT}) {
      ASSERT_EQ(0, ov.DES3_CBC(enc == DES_ENCRYPT ? 0 : 1, key, in, ours, iv));
      ASSERT_EQ(0, std::memcmp(iv, ivCopy, 8)) << "the IV must stay as it was";
      DES_cblock chain;
      std::memcpy(chain, iv, 8);
      DES_ede3_cbc_encrypt(in, theirs, 8, &k1, &k2, &k1, &chain, enc);
      ASSERT_EQ(0, std::memcmp(ours, theirs, 8)) << "round " << i << " enc " << enc;
    }
  }
}

// A longer message chained by the caller, who passes the last ciphertext
// block as the next IV, matches CBC over the whole message.
TEST(DesAgainstOpenSsl, CallerChainedCbcMatchesMultiBlockCbc) {
  Orvex ov;
  Random rnd;
  for (int i = 0; i < 100; ++i) {
    unsigned char key[16], iv[8], msg[32], ours[32], theirs[32];
    rnd.Fill(key, 16);
    rnd.Fill(iv, 8);
    rnd.Fill(msg, 32);
    unsigned char chain[8];
    std::memcpy(chain, iv, 8);
    for (int b = 0; b < 4; ++b) {
      ov.DES3_CBC(0, key, msg + 8 * b, ours + 8 * b, chain);
      std::memcpy(chain, ours + 8 * b, 8);
    }
    DES_key_schedule k1, k2;
    Schedule(key, &k1);
    Schedule(key + 8, &k2);
    DES_cblock ivec;
    std::memcpy(ivec, iv, 8);
    DES_ede3_cbc_encrypt(msg, theirs, 32, &k1, &k2, &k1, &ivec, DES_ENCRYPT);
    ASSERT_EQ(0, std::memcmp(ours, theirs, 32)) << "message " << i;
  }
}

}  // namespace
