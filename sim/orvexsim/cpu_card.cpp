// SPDX-License-Identifier: MIT
#include "orvexsim/cpu_card.h"

namespace orvexsim {

Bytes CpuCardAts() {
  return {0x0D, 0x78, 0x80, 0x70, 0x02, 'O', 'V', 'X', 'C', 'O', 'S', 0x01, 0x00};
}

CpuCard::CpuCard(Bytes uid, bool personalised) : TypeACard(uid), cos_(uid) {
  if (personalised) fmcos_card::Personalise(cos_);
  app.number = Concat({0x20, 0x26}, Pseudorandom(uid_, 6));
}

Bytes CpuCard::ats() const { return CpuCardAts(); }

}  // namespace orvexsim
