// SPDX-License-Identifier: MIT
// A secure access module in one of the reader's SAM slots: a contact card
// with an answer to reset, running the same card operating system as the
// CPU cards (empty until personalised through APDUs).
#pragma once

#include "orvexsim/cos.h"

namespace orvexsim {

class SamCard : public ContactCard {
 public:
  explicit SamCard(Bytes serial);
  std::string kind() const override { return "sam"; }
  Bytes id() const override { return serial_; }
  Bytes atr() const override;
  bool sam() const override { return true; }
  ApduProcessor* apdu() override { return &cos_; }
  void PowerUp() override { cos_.Reset(); }
  Cos& cos() { return cos_; }

 private:
  Bytes serial_;
  Cos cos_;
};

}  // namespace orvexsim
