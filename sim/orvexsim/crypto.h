// SPDX-License-Identifier: MIT
// DES and two-key triple DES for the simulated cards' cryptography
// (authentication, session keys, MACs).
#pragma once

#include "orvexsim/bytes.h"

namespace orvexsim {
namespace crypto {

// One 8-byte block under an 8-byte key (DES) or a 16-byte key (triple DES,
// encrypt-decrypt-encrypt with K1 K2 K1).
Bytes Encrypt(const Bytes& key, const Bytes& block);
Bytes Decrypt(const Bytes& key, const Bytes& block);
// Pads with 80 and zeros to a multiple of 8 bytes.
Bytes PadIso(const Bytes& data);
// CBC MAC over the padded data (IV zero unless given). An 8-byte key chains
// DES throughout; a 16-byte key chains DES under its left half and finishes
// the last block with triple DES. 8 bytes; cards keep the first 4.
Bytes Mac(const Bytes& key, const Bytes& data, const Bytes& iv = Bytes(8, 0));

}  // namespace crypto
}  // namespace orvexsim
