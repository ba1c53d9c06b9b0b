// SPDX-License-Identifier: MIT
#include "orvexsim/card.h"

namespace orvexsim {

std::string Card::Describe() const { return kind() + " " + Hex(id()); }

std::optional<Bytes> TypeACard::Transceive(const Bytes&) { return std::nullopt; }

void TypeACard::set_state(State s) {
  if (state_ == State::kActive && s != State::kActive) Deactivated();
  state_ = s;
}

void TypeACard::PowerUp() {
  if (state_ == State::kActive) Deactivated();
  state_ = State::kIdle;
}

}  // namespace orvexsim
