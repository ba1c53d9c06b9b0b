// SPDX-License-Identifier: MIT
// MIFARE Plus (4K): personalisation at security level 0 (block data, AES
// keys at 4000 + 2 x sector (+1 for key B), level-switch keys at 9001 and
// 9003), commit to level 1, switch to level 2 or 3 with the switch key, AES
// authentication per sector (the key compared, no session cryptography), and
// blocks and value blocks that read back what was written.
#pragma once

#include <map>

#include "orvexsim/card.h"

namespace orvexsim {

class MifarePlus : public TypeACard {
 public:
  explicit MifarePlus(Bytes uid);
  std::string kind() const override { return "mfplus"; }
  uint16_t atqa() const override { return uid_.size() == 4 ? 0x0004 : 0x0044; }
  uint8_t sak() const override { return level_ == 1 ? 0x18 : 0x20; }

  int level() const { return level_; }
  static int SectorOf(int block) { return block < 128 ? block / 4 : 32 + (block - 128) / 16; }

  // Card commands; each returns a reader status byte.
  uint8_t WritePerso(uint16_t addr, const Bytes& data);
  uint8_t CommitPerso();
  uint8_t SwitchLevel(int level, const Bytes& key);
  // Authenticates the key stored at key_addr (4000 + 2 x sector + key B).
  uint8_t Authenticate(uint16_t key_addr, const Bytes& key);
  uint8_t Read(int block, int count, Bytes& out);
  uint8_t Write(int block, const Bytes& data);
  Bytes& memory() { return mem_; }

 protected:
  void Deactivated() override { auth_sector_ = -1; }

 private:
  Bytes Stored(uint16_t addr) const;
  bool Usable(int block, int count) const;

  int level_ = 0;
  Bytes mem_;
  std::map<uint16_t, Bytes> perso_;
  int auth_sector_ = -1;
};

}  // namespace orvexsim
