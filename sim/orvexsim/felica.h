// SPDX-License-Identifier: MIT
// A FeliCa card: IDm, PMm, system code, and two services over one area of
// 16-byte blocks: 0009 (read and write without a key) and 000B (read only).
#pragma once

#include "orvexsim/card.h"

namespace orvexsim {

class FelicaCard : public Card {
 public:
  explicit FelicaCard(Bytes idm, uint16_t system_code = 0x88B4, int blocks = 32);
  Tech tech() const override { return Tech::kFelica; }
  std::string kind() const override { return "felica"; }
  Bytes id() const override { return idm_; }

  // A FeliCa command (command code, then its parameters); the response
  // (length byte first), or nullopt for none.
  std::optional<Bytes> Command(const Bytes& frame);

  Bytes pmm;
  uint16_t system_code;
  Bytes& memory() { return mem_; }

 private:
  std::optional<Bytes> Polling(const Bytes& p);
  std::optional<Bytes> RequestService(const Bytes& p);
  std::optional<Bytes> ReadWrite(const Bytes& p, bool write);
  static Bytes Framed(uint8_t code, const Bytes& idm, const Bytes& rest);

  Bytes idm_;
  Bytes mem_;
};

}  // namespace orvexsim
