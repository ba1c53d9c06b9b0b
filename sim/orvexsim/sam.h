// SPDX-License-Identifier: MIT
// A secure access module in one of the reader's SAM slots: a contact card
// with an answer to reset, running the same card operating system as the
// CPU cards (empty until personalised through APDUs).
#pragma once

#include "orvexsim/cos.h"

namespace orvexsim {

// The SAM's T=0 channel: a command that carries data gets no data back in
// the same exchange. When the card operating system answers such a command
// with data, the SAM answers 61XX (XX bytes waiting, 00 for 256) and hands
// the data over on GET RESPONSE (00 C0 00 00 Le), with the status word the
// command ended with (61XX again when the card operating system holds more
// pieces of a long response: the GET RESPONSEs after go on to it); a GET
// RESPONSE for more than is waiting is answered 6CXX, one with nothing
// waiting 6985.
class T0Channel : public ApduProcessor {
 public:
  explicit T0Channel(ApduProcessor& inner) : inner_(inner) {}
  Bytes Process(const Bytes& command) override;
  void Reset() override {
    waiting_.clear();
    inner_.Reset();
  }

 private:
  Bytes GetResponse(const Bytes& command);
  ApduProcessor& inner_;
  Bytes waiting_;  // data still to hand over
  Bytes sw_;       // the status word the command ended with
};

class SamCard : public ContactCard {
 public:
  explicit SamCard(Bytes serial);
  std::string kind() const override { return "sam"; }
  Bytes id() const override { return serial_; }
  Bytes atr() const override;
  bool sam() const override { return true; }
  ApduProcessor* apdu() override { return &t0_; }
  void PowerUp() override { t0_.Reset(); }
  Cos& cos() { return cos_; }

 private:
  Bytes serial_;
  Cos cos_;
  T0Channel t0_{cos_};
};

}  // namespace orvexsim
