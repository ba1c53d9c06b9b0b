// SPDX-License-Identifier: MIT
// Contactless CPU cards: an ISO 14443-A card with layer 4 (answer to
// select, APDUs) running the FMCOS-style operating system, personalised with
// the default purse application.
#pragma once

#include "orvexsim/cos.h"

namespace orvexsim {

// What the reader firmware's own card application keeps on a CPU card:
// the card number, the application key, a public file (50 bytes), a holder
// file (100 bytes), a user file, the balance and the last transaction.
struct CardApplicationArea {
  Bytes number;                 // 8 bytes
  Bytes key = Bytes(16, 0xFF);  // the application key
  Bytes public_file = Bytes(50, 0x00);
  Bytes holder_file = Bytes(100, 0x00);
  Bytes user_file = Bytes(4096, 0x00);
  uint32_t balance = 0;
  Bytes last_record;  // empty until the first transaction
};

class CpuCard : public TypeACard {
 public:
  // personalised: the default image (see cos.h); otherwise an empty MF.
  explicit CpuCard(Bytes uid, bool personalised = true);
  std::string kind() const override { return "cpu"; }
  uint16_t atqa() const override { return 0x0008; }
  uint8_t sak() const override { return 0x20; }  // ISO 14443-4 compliant
  Bytes ats() const override;
  ApduProcessor* apdu() override { return &cos_; }
  Cos& cos() { return cos_; }
  CardApplicationArea app;

 protected:
  void Deactivated() override { cos_.Reset(); }

 private:
  Cos cos_;
};

// The answer to select of the simulated CPU cards: FSCI 8 (256 bytes),
// FWI 7, historical bytes "OVXCOS" and the version.
Bytes CpuCardAts();

}  // namespace orvexsim
