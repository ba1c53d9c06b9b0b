// SPDX-License-Identifier: MIT
// SLE4442 contact memory card: 256 bytes of main memory, the protection
// memory (one bit for each of the first 32 bytes, 0 = protected for good),
// and the security memory: the error counter (three bits, one lost at each
// presentation, all restored by the right PSC) and the 3-byte PSC.
#pragma once

#include <array>

#include "orvexsim/card.h"

namespace orvexsim {

class Sle4442 : public ContactCard {
 public:
  // A card as it leaves the factory: PSC FF FF FF, three tries, the first
  // four bytes (the card's own header) protected.
  explicit Sle4442(Bytes psc = {0xFF, 0xFF, 0xFF});

  std::string kind() const override { return "sle4442"; }
  Bytes id() const override { return Bytes(main_.begin(), main_.begin() + 4); }
  Bytes atr() const override { return {0xA2, 0x13, 0x10, 0x91}; }
  void PowerUp() override { verified_ = false; }

  // Card commands.
  Bytes ReadMain(int addr, int len) const;
  // Writes only after the PSC was presented, and never to a protected byte.
  void UpdateMain(int addr, uint8_t value);
  // One write command of the reader: data from addr, each byte as
  // UpdateMain takes it, and with protect each byte then protected as
  // written. It counts as one write (a card may leave right after it).
  void WriteCommand(int addr, const Bytes& data, bool protect);
  Bytes ReadProtection() const;
  // Protects byte addr (below 32) when value equals what it holds.
  void WriteProtection(int addr, uint8_t value);
  // Error counter, then the PSC, which reads as zeros until presented.
  Bytes ReadSecurity() const;
  void UpdatePsc(const Bytes& psc);
  // Presents the PSC: true when it matched (the counter is restored).
  bool Verify(const Bytes& psc);

  uint8_t error_counter() const { return counter_; }
  bool verified() const { return verified_; }
  bool Protected(int addr) const { return addr < 32 && !((protection_ >> addr) & 1); }
  std::array<uint8_t, 256>& main() { return main_; }

 private:
  std::array<uint8_t, 256> main_{};
  uint32_t protection_ = 0xFFFFFFFF;
  uint8_t counter_ = 0x07;
  Bytes psc_;
  bool verified_ = false;
};

}  // namespace orvexsim
