// SPDX-License-Identifier: MIT
// DES (FIPS 46-3) on single 8-byte blocks, two-key triple-DES (EDE) and a
// one-block triple-DES CBC, offered to applications as utilities.
//
// Internally every block, key and intermediate value is held one bit per
// byte (0 or 1), most significant bit of each byte first. The subkey of the
// round being computed lives in the process-wide KSD, so two computations
// must not run at the same time.
#pragma once

namespace orvex {

// The subkey of the round being computed, 48 bit-bytes.
extern unsigned char KSD[48];

// Spreads 8 bytes into 64 bit-bytes (bit 7 of byte 0 first) and back.
void unpack8(const unsigned char* packed, unsigned char* binary);
void pack8(unsigned char* packed, const unsigned char* binary);

// Writes the subkey used in round line (0..15) to KSD: for encryption
// (sw 0) the standard's K(line+1), for decryption (any other sw) K(16-line).
// A line above 15 leaves KSD as it was. Key parity bits are ignored.
void DES_setkeySingle(unsigned char sw, const unsigned char* pkey, int line);

// One DES block: sw 0 encrypts, any other value decrypts. 8-byte key, input
// and output; out may be in.
void DES_(unsigned char sw, const unsigned char* pkey, const unsigned char* in, unsigned char* out);

// Two-key triple-DES, K1 = key bytes 0-7, K2 = bytes 8-15. cModel 0:
// E_K1(D_K2(E_K1(in))); otherwise D_K1(E_K2(D_K1(in))). cpOutData may be
// cpInData.
void DES3_DeOrEncrypt(unsigned char cModel, const unsigned char* cpKey,
                      const unsigned char* cpInData, unsigned char* cpOutData);

// Triple-DES CBC over exactly one 8-byte block with the 16-byte key and the
// 8-byte IV, which is only read. A longer message is chained by the caller,
// who passes the last ciphertext block as the next IV. Always 0.
unsigned int DES3_CBC_DeOrEncrypt(unsigned char cModel, const unsigned char* cpInData,
                                  unsigned char* cpOutData, const unsigned char* cpKey,
                                  const unsigned char* cpIV);

}  // namespace orvex
