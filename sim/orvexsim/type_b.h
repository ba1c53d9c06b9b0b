// SPDX-License-Identifier: MIT
// ISO 14443-B cards and the memory tags on ISO 14443-B: a CPU card running
// the same operating system as the type A CPU card, the identity card whose
// number the reader reads, the ST tags SR176, SR512 and SRIX4K, and the
// AT88RF020. The memory tags keep what is written, with their locks.
#pragma once

#include "orvexsim/cos.h"

namespace orvexsim {

class TypeBCard : public Card {
 public:
  Tech tech() const override { return Tech::kTypeB; }
  Bytes id() const override { return pupi_; }
  void PowerUp() override {
    halted = false;
    active = false;
  }
  const Bytes& pupi() const { return pupi_; }
  // ATQB: 50, PUPI, application data (4), protocol information (3).
  Bytes atqb() const;

  bool halted = false;
  bool active = false;  // given an ATTRIB

 protected:
  explicit TypeBCard(Bytes pupi) : pupi_(std::move(pupi)) {}
  Bytes pupi_;
};

class CpuCardB : public TypeBCard {
 public:
  explicit CpuCardB(Bytes pupi, bool personalised = true);
  std::string kind() const override { return "typeb"; }
  ApduProcessor* apdu() override { return &cos_; }
  Cos& cos() { return cos_; }

 private:
  Cos cos_;
};

// The identity card: the reader's sub-function 00 of command 0xC2 reads its
// 8-byte card number.
class IdCard : public TypeBCard {
 public:
  explicit IdCard(Bytes number);
  std::string kind() const override { return "idcard"; }
  const Bytes& number() const { return number_; }

 private:
  Bytes number_;
};

// ST memory tags, activated and deactivated by the reader on their own.
class StTag : public Card {
 public:
  enum class Model { kSr176, kSr512, kSrix4k };
  StTag(Model model, Bytes uid);

  Tech tech() const override { return Tech::kTypeB; }
  std::string kind() const override;
  Bytes id() const override { return uid_; }
  void PowerUp() override {
    active = false;
    deactivated = false;
  }

  Model model() const { return model_; }
  int block_size() const { return model_ == Model::kSr176 ? 2 : 4; }
  int blocks() const { return model_ == Model::kSr176 ? 16 : model_ == Model::kSr512 ? 16 : 128; }
  // Block 255 of the SR512 and SRIX4K is the system block: the lock bytes.
  bool Read(int block, Bytes& out) const;
  bool Write(int block, const Bytes& data);
  bool Locked(int block) const;
  // SR176: bit i of the lock byte locks blocks 2i and 2i+1; bits only set.
  void LockSr176(uint8_t bits) { lock_[0] |= bits; }
  // SR512/SRIX4K: the low flag locks blocks 0 to 15, the high flag the rest.
  void LockSr512(bool high, bool low);
  uint8_t lock_byte() const { return lock_[0]; }
  // SRIX4K anti-clone check: the tag's 3-byte answer to a 6-byte key.
  Bytes Authenticate(const Bytes& key) const;

  bool active = false;
  // Deactivated by the reader: it answers no activation until the field
  // powers it up again, so that the next activation finds the next tag.
  bool deactivated = false;
  uint8_t chip_id = 0;
  Bytes& memory() { return mem_; }

 private:
  Model model_;
  Bytes uid_;
  Bytes mem_;
  uint8_t lock_[2] = {0, 0};
};

// AT88RF020: 32 pages of 8 bytes; page 0 holds the identifier, the key
// (page 1) must be presented before pages are read or written, and lock
// bits (32, one a page) make pages read-only. A counter counts down with
// each signature presented.
class At88rf020 : public TypeBCard {
 public:
  At88rf020(Bytes pupi, Bytes key = Bytes(8, 0xFF));
  std::string kind() const override { return "at88rf020"; }
  void PowerUp() override {
    TypeBCard::PowerUp();
    checked = false;
  }

  bool Check(const Bytes& key);
  bool Read(int page, Bytes& out) const;
  bool Write(int page, const Bytes& data);
  void Lock(const Bytes& bits);
  bool Count(const Bytes& signature);
  bool Locked(int page) const { return page < 2 || ((lock_ >> page) & 1); }
  uint32_t counter() const { return counter_; }

  bool checked = false;
  Bytes& memory() { return mem_; }

 private:
  Bytes mem_;
  uint32_t lock_ = 0;
  uint32_t counter_ = 0xFFFF;
};

}  // namespace orvexsim
