// SPDX-License-Identifier: MIT
// A 125 kHz identification card: a 5-byte number the reader reads on demand.
#pragma once

#include "orvexsim/card.h"

namespace orvexsim {

class LfCard : public Card {
 public:
  explicit LfCard(Bytes number) : number_(std::move(number)) {}
  Tech tech() const override { return Tech::kLowFrequency; }
  std::string kind() const override { return "lf"; }
  Bytes id() const override { return number_; }

 private:
  Bytes number_;
};

}  // namespace orvexsim
