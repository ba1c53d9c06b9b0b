// SPDX-License-Identifier: MIT
// Topaz (NFC Forum Type 1) tag: header ROM, 4-byte UID, 8-byte blocks read
// and written by byte, by block and by segment. Memory reads back what was
// written; the UID block and the header are fixed.
#pragma once

#include "orvexsim/card.h"

namespace orvexsim {

class Topaz : public TypeACard {
 public:
  // A Topaz 512: 64 blocks of 8 bytes, 4 segments of 128 bytes. uid is
  // 4 bytes (the card's UID0 to UID3).
  explicit Topaz(Bytes uid);
  std::string kind() const override { return "topaz"; }
  uint16_t atqa() const override { return 0x0C00; }
  uint8_t sak() const override { return 0x00; }
  bool anticollision() const override { return false; }

  // A Topaz command (command code, then its bytes); the response, or
  // nullopt for none (a command for another UID, a bad address).
  std::optional<Bytes> Command(const Bytes& frame);

  Bytes& memory() { return mem_; }
  static constexpr uint8_t kHr0 = 0x12, kHr1 = 0x4C;

 private:
  bool ForMe(const Bytes& frame, size_t uid_at) const;
  // Blocks 01 to 0C of the static memory, the lock block 0E, the dynamic
  // lock bytes in block 0F and the dynamic memory from block 10 on take
  // writes, unless a lock bit is set: of the static memory (bytes 70 and
  // 71: bit i locks block i, resp. 8 + i), or a dynamic one (bytes 7A to
  // 7F: bit i locks block 10 + i).
  bool Writable(int block) const {
    if (block < 16 && ((mem_[block < 8 ? 0x70 : 0x71] >> (block % 8)) & 1)) return false;
    if (block >= 0x10 && block < 64 && ((mem_[static_cast<size_t>(kDynamicLock + (block - 0x10) / 8)] >> ((block - 0x10) % 8)) & 1))
      return false;
    return (block > 0 && block < 0x0D) || block == 0x0E || block == 0x0F || (block >= 0x10 && block < 64);
  }
  // One byte of a write (erase: WRITE-E, else bits only set). In block 0F
  // bytes 78 and 79 are reserved and keep their value; the dynamic lock
  // bytes only ever get bits set.
  void Put(int address, uint8_t value, bool erase);

  static constexpr int kDynamicLock = 0x7A;

  Bytes mem_;  // 512 bytes
};

}  // namespace orvexsim
