// SPDX-License-Identifier: MIT
// Cards as the simulated reader sees them: a common base, the ISO 14443-A
// card with its activation states, contact cards with an answer to reset,
// and the card operating system interface for APDUs.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "orvexsim/bytes.h"

namespace orvexsim {

enum class Tech {
  kTypeA,         // ISO 14443-A
  kTypeB,         // ISO 14443-B and the memory tags on it
  kVicinity,      // ISO 15693
  kFelica,
  kLowFrequency,  // 125 kHz identification card
  kContact,       // contact slot: SLE4442, SAM
};

// A card operating system that answers ISO 7816-4 command APDUs.
class ApduProcessor {
 public:
  virtual ~ApduProcessor() = default;
  // The response APDU: data followed by SW1 SW2.
  virtual Bytes Process(const Bytes& command) = 0;
  // The card was (re)activated: volatile state (current file, security
  // state, pending transaction) starts afresh.
  virtual void Reset() = 0;
};

class Card {
 public:
  virtual ~Card() = default;
  virtual Tech tech() const = 0;
  // Short name of the card model, as the command line names it ("mfc1k").
  virtual std::string kind() const = 0;
  // The card's identifier: UID, PUPI, IDm, card number.
  virtual Bytes id() const = 0;
  // The card enters a powered field (placed, or the antenna switched on):
  // its volatile state is lost.
  virtual void PowerUp() {}
  // The operating system behind the APDU channel, if the card has one.
  virtual ApduProcessor* apdu() { return nullptr; }

  std::string Describe() const;

  // For tests of interrupted writes: the card leaves the field right after
  // its n-th write from now (that write lands and is answered); 0 never.
  void LeaveAfterWrites(int n) { writes_left_ = n; }
  // True once the card has left: the simulator takes it out of the field.
  bool left() const { return left_; }

 protected:
  // Each write to the card's memory that landed.
  void Wrote() {
    if (writes_left_ > 0 && --writes_left_ == 0) left_ = true;
  }

 private:
  int writes_left_ = 0;
  bool left_ = false;
};

class TypeACard : public Card {
 public:
  enum class State { kIdle, kReady, kActive, kHalt };

  Tech tech() const override { return Tech::kTypeA; }
  Bytes id() const override { return uid_; }
  const Bytes& uid() const { return uid_; }
  virtual uint16_t atqa() const = 0;
  virtual uint8_t sak() const = 0;
  // Takes part in the bit-oriented anticollision (Topaz does not).
  virtual bool anticollision() const { return true; }
  // ISO 14443-4: the answer to select (empty for a card without layer 4).
  virtual Bytes ats() const { return {}; }
  // A raw ISO 14443-3 frame to the active card: its response, or nullopt for
  // a NAK or no answer.
  virtual std::optional<Bytes> Transceive(const Bytes& frame);

  State state() const { return state_; }
  void set_state(State s);
  void PowerUp() override;

 protected:
  explicit TypeACard(Bytes uid) : uid_(std::move(uid)) {}
  // The card leaves the active state: authentications are lost.
  virtual void Deactivated() {}

  Bytes uid_;

 private:
  State state_ = State::kIdle;
};

// A card in a contact slot: the reader powers it with a reset.
class ContactCard : public Card {
 public:
  Tech tech() const override { return Tech::kContact; }
  virtual Bytes atr() const = 0;
  // A secure access module (it goes into a SAM slot, not the card slot).
  virtual bool sam() const { return false; }
};

}  // namespace orvexsim
