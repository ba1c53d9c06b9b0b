// SPDX-License-Identifier: MIT
// The PC/SC Part 3 pseudo-APDUs of class FF for cards in the contactless
// field: GET DATA (UID, historical bytes), LOAD KEYS (volatile key slots of
// the driver), GENERAL AUTHENTICATE and the older AUTHENTICATE (MIFARE
// Classic), READ BINARY and UPDATE BINARY (MIFARE Classic blocks, Type 2
// pages, ISO 15693 blocks), with the status words PC/SC Part 3 assigns.
// Nothing of class FF ever reaches a card as it stands: what is not one of
// these is refused here.
//
// Status words (SW1 SW2) given:
//   90 00  done
//   62 82  GET DATA: fewer bytes than Le asked for
//   63 00  authentication failed (wrong key)
//   65 81  authentication: the block does not exist; an update the tag refused
//   67 00  wrong length (Lc, or a malformed APDU)
//   69 82  security status not satisfied: the block's sector is not
//          authenticated, or the card refused the read or the update
//   69 83  LOAD KEYS: reader keys are not supported
//   69 84  authentication: the key slot holds no key
//   69 85  LOAD KEYS: secured transmission is not supported
//   69 86  authentication: key type other than A (60) or B (61)
//   69 87  LOAD KEYS: no non-volatile key memory
//   69 88  key number not valid (the driver has slots 00 and 01)
//   69 89  LOAD KEYS: the key is not 6 bytes
//   6A 81  function not supported (unknown instruction, or one this card
//          does not have)
//   6A 82  READ/UPDATE BINARY: the block does not exist
//   6B 00  wrong P1 P2
//   6C XX  wrong Le: XX bytes are available
//   6E 00  a storage card got an APDU of another class (it has no APDUs)
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "card.h"

namespace orvex_ifd {

// The card operations the pseudo-APDUs need (liborvex in the driver, a
// fake in the tests).
class CardIo {
 public:
  enum class Result {
    kOk,
    kRefused,  // the reader refused: the card said no, or there is no card
    kFailed,   // no usable answer from the reader (link failure)
  };
  virtual ~CardIo() = default;
  // MIFARE Classic authentication of block's sector with key type 60 (A)
  // or 61 (B) and the 6-byte key.
  virtual Result Authenticate(uint8_t key_type, int block, const uint8_t* key) = 0;
  // One read unit at block: a MIFARE Classic block (16 bytes), four Type 2
  // pages from page block (16 bytes), one ISO 15693 block.
  virtual Result Read(int block, Bytes& out) = 0;
  // One write unit: a MIFARE Classic block (16), a Type 2 page (4), an ISO
  // 15693 block.
  virtual Result Write(int block, const Bytes& data) = 0;
  // After a refusal: bring the card back into a state for the next command
  // (a MIFARE card that refused went idle). False when it is gone.
  virtual bool Recover() = 0;
};

// The driver's volatile key slots (LOAD KEYS), one set per reader.
struct KeyStore {
  static constexpr int kSlots = 2;
  std::array<std::optional<std::array<uint8_t, 6>>, kSlots> keys;
};

class PseudoApdu {
 public:
  struct Outcome {
    enum class Status { kAnswer, kCardGone, kLinkFailure };
    Status status = Status::kAnswer;
    Bytes response;  // kAnswer: data and SW1 SW2
  };

  // card: the card powered in the field (copied); keys: the reader's key
  // slots.
  PseudoApdu(const CardInfo& card, KeyStore& keys) : card_(card), keys_(keys) {}

  // True for an APDU this layer answers rather than the card: class FF,
  // and every APDU to a storage card.
  bool Handles(const Bytes& apdu) const;
  // Answers apdu (for which Handles is true).
  Outcome Handle(const Bytes& apdu, CardIo& io);

  // The authenticated MIFARE Classic sector, if any.
  std::optional<int> authenticated_sector() const { return auth_sector_; }

 private:
  Outcome GetData(const Bytes& apdu);
  Outcome LoadKey(const Bytes& apdu);
  Outcome Authenticate(int block, uint8_t key_type, int key_number, CardIo& io);
  Outcome ReadBinary(const Bytes& apdu, CardIo& io);
  Outcome UpdateBinary(const Bytes& apdu, CardIo& io);
  // After a refusal: the card recovered (sw) or left.
  Outcome AfterRefusal(CardIo& io, uint16_t sw);
  // The bytes one READ BINARY returns, 0 when this card has none.
  int ReadUnit() const;

  const CardInfo card_;
  KeyStore& keys_;
  std::optional<int> auth_sector_;
};

}  // namespace orvex_ifd
