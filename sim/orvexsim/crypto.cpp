// SPDX-License-Identifier: MIT
#define OPENSSL_SUPPRESS_DEPRECATED
#include "orvexsim/crypto.h"

#include <openssl/des.h>

#include <cstring>

namespace orvexsim {
namespace crypto {
namespace {

void Schedule(const uint8_t* k, DES_key_schedule& ks) {
  DES_cblock c;
  std::memcpy(c, k, 8);
  DES_set_key_unchecked(&c, &ks);
}

Bytes Run(const Bytes& key, const Bytes& block, int enc) {
  Bytes out(8, 0);
  if (block.size() < 8 || (key.size() != 8 && key.size() != 16)) return out;
  DES_cblock in, res;
  std::memcpy(in, block.data(), 8);
  DES_key_schedule k1, k2;
  Schedule(key.data(), k1);
  if (key.size() == 8) {
    DES_ecb_encrypt(&in, &res, &k1, enc);
  } else {
    Schedule(key.data() + 8, k2);
    DES_ecb3_encrypt(&in, &res, &k1, &k2, &k1, enc);
  }
  std::memcpy(out.data(), res, 8);
  return out;
}

}  // namespace

Bytes Encrypt(const Bytes& key, const Bytes& block) { return Run(key, block, DES_ENCRYPT); }
Bytes Decrypt(const Bytes& key, const Bytes& block) { return Run(key, block, DES_DECRYPT); }

Bytes PadIso(const Bytes& data) {
  Bytes p = data;
  p.push_back(0x80);
  while (p.size() % 8) p.push_back(0x00);
  return p;
}

Bytes Mac(const Bytes& key, const Bytes& data, const Bytes& iv) {
  Bytes p = PadIso(data);
  Bytes left = Slice(key, 0, 8);
  Bytes chain = iv;
  for (size_t i = 0; i < p.size(); i += 8) {
    Bytes block = Slice(p, i, 8);
    for (size_t j = 0; j < 8; ++j) block[j] ^= chain[j];
    bool last = i + 8 == p.size();
    chain = (last && key.size() == 16) ? Encrypt(key, block) : Encrypt(left, block);
  }
  return chain;
}

}  // namespace crypto
}  // namespace orvexsim
