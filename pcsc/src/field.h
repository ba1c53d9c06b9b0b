// SPDX-License-Identifier: MIT
// The reader's contactless field, through liborvex: finding a card,
// activating it, checking that a powered card is still there without
// disturbing it, halting it, APDUs, and the storage-card operations of the
// pseudo-APDU layer. Every call drives the link current on the calling
// thread (the Reader holds an OrvexLinkScope on its own link).
#pragma once

#include <optional>

#include "card.h"
#include "pseudo_apdu.h"

class OrvexLink;

namespace orvex_ifd {

class Field {
 public:
  enum class Found { kCard, kNone, kLinkFailure };
  enum class Probe { kPresent, kGone, kNotProbed, kLinkFailure };

  explicit Field(OrvexLink& link) : link_(link) {}

  // Looks for a card: ISO 14443-A (wake-up, anticollision and selection:
  // the card is left selected), ISO 14443-B (wake-up and ATTRIB) and ISO
  // 15693 (inventory), one reader command each, until one answers. Fills
  // kind, uid, sak, activation.
  Found Detect(CardInfo& card);

  // Makes a card Detect found ready for use and completes its description:
  // the ATS of an ISO 14443-4 type A card, the memory size of a tag, the
  // ATR. False when the card did not take part (or the link failed).
  bool Activate(CardInfo& card);

  // Whether a powered card is still there, asked in a way that leaves it as
  // it is: an authenticated MIFARE Classic reads its sector's trailer, a
  // Type 2 tag its page 0, an ISO 15693 tag answers a system information
  // request addressed to it, a MIFARE Classic without authentication and
  // the other storage cards are selected again (they hold nothing a
  // selection loses). An ISO 14443-4 card is activated again only while
  // nothing has been sent to it (used false); once it has, it is not probed
  // (an activation, or any APDU, would reset the state its client built:
  // selected application, security state, pending response data), and a
  // departure shows at the next command.
  Probe CheckPowered(const CardInfo& card, std::optional<int> authenticated_sector, bool used);

  // Takes the card out of use (HLTA, HLTB); a wake-up brings it back.
  void Halt(const CardInfo& card);

  // One command APDU to the activated ISO 14443-4 card; response with SW1 SW2.
  CardIo::Result Apdu(const Bytes& command, Bytes& response);

  // Selects card (type A) again after it went idle: wake-up and
  // anticollision until its UID comes; false when it does not.
  bool Reselect(const CardInfo& card);

  // The storage-card operations for card.
  class StorageIo : public CardIo {
   public:
    StorageIo(Field& field, const CardInfo& card) : field_(field), card_(card) {}
    Result Authenticate(uint8_t key_type, int block, const uint8_t* key) override;
    Result Read(int block, Bytes& out) override;
    Result Write(int block, const Bytes& data) override;
    bool Recover() override;

   private:
    Field& field_;
    const CardInfo& card_;
  };

 private:
  // The result of the last command: done, refused, or no usable answer.
  CardIo::Result Outcome(int rc) const;
  Found DetectTypeA(CardInfo& card);
  Found DetectTypeB(CardInfo& card);
  Found DetectVicinity(CardInfo& card);
  void Type2Size(CardInfo& card);
  void VicinitySize(CardInfo& card);
  bool SameTypeB(const CardInfo& card);

  OrvexLink& link_;
};

}  // namespace orvex_ifd
