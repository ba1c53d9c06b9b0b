// SPDX-License-Identifier: MIT
// An ISO 15693 vicinity tag: 8-byte UID, blocks with lock flags, AFI and
// DSFID (each lockable), and the ready / quiet / selected states.
#pragma once

#include <vector>

#include "orvexsim/card.h"

namespace orvexsim {

class VicinityTag : public Card {
 public:
  enum class State { kReady, kQuiet, kSelected };

  // uid as written (most significant byte first, E0 at the start); on the
  // air and in the reader's answers it travels least significant byte first.
  explicit VicinityTag(Bytes uid, int blocks = 28, int block_size = 4);

  Tech tech() const override { return Tech::kVicinity; }
  std::string kind() const override { return "iso15693"; }
  Bytes id() const override { return uid_; }
  void PowerUp() override { state = State::kReady; }

  // The UID in air order (least significant byte first).
  Bytes air_uid() const { return Bytes(uid_.rbegin(), uid_.rend()); }
  int blocks() const { return static_cast<int>(locked_.size()); }
  int block_size() const { return block_size_; }

  // Tag commands; false when the tag refuses (block out of range, locked).
  bool ReadBlock(int block, Bytes& out) const;
  bool WriteBlock(int block, const Bytes& data);
  bool LockBlock(int block);
  bool Locked(int block) const { return block >= 0 && block < blocks() && locked_[static_cast<size_t>(block)]; }
  bool WriteAfi(uint8_t v);
  bool LockAfi();
  bool WriteDsfid(uint8_t v);
  bool LockDsfid();
  // Whether the tag answers an inventory for this AFI.
  bool MatchesAfi(uint8_t requested) const;
  // Information flags (DSFID, AFI, memory size, IC reference present), UID,
  // DSFID, AFI, blocks - 1, block size - 1, IC reference.
  Bytes SystemInformation() const;

  State state = State::kReady;
  // A tag without the optional read of several blocks refuses a read of
  // more than one block (and answers a read of one).
  bool multi_block_read = true;
  uint8_t afi = 0;
  uint8_t dsfid = 0;
  Bytes& memory() { return mem_; }

 private:
  Bytes uid_;
  int block_size_;
  Bytes mem_;
  std::vector<bool> locked_;
  bool afi_locked_ = false;
  bool dsfid_locked_ = false;
};

}  // namespace orvexsim
