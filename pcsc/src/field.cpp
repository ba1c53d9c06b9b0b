// SPDX-License-Identifier: MIT
#include "field.h"

#include <orvex.h>

#include <cstring>

namespace orvex_ifd {
namespace {

// The reader number the driver addresses: 0 reaches the reader whatever
// number it was given.
constexpr int kReader = 0;

constexpr unsigned char kWupa = 0x52, kReqa = 0x26;
// Type B: Mode 01 wakes halted cards too (WUPB); ATTRIB parameters: default
// timings, frames up to 256 bytes at 106 kbit/s, ISO 14443-4, CID 0.
constexpr unsigned char kWupb = 0x01;
constexpr unsigned char kAttrib[4] = {0x00, 0x08, 0x01, 0x00};
// ISO 15693 request flags for a command addressed to one tag: addressed,
// high data rate.
constexpr unsigned char kAddressed = 0x22;

int Trailer(int sector) { return sector < 32 ? 4 * sector + 3 : 128 + (sector - 32) * 16 + 15; }

// MIFARE Classic sizes in blocks, by SAK.
int ClassicBlocks(uint8_t sak) {
  switch (sak) {
    case 0x09: return 20;
    case 0x18: return 256;
    default: return 64;
  }
}

// NTAG21x and MIFARE Ultralight EV1 pages, by the storage size byte of
// their GET_VERSION answer.
int Type2Pages(uint8_t storage_size) {
  switch (storage_size) {
    case 0x0B: return 20;   // Ultralight EV1 MF0UL11
    case 0x0E: return 41;   // Ultralight EV1 MF0UL21
    case 0x0F: return 45;   // NTAG213
    case 0x11: return 135;  // NTAG215
    case 0x13: return 231;  // NTAG216
    default: return 0;
  }
}

}  // namespace

CardIo::Result Field::Outcome(int rc) const {
  if (rc == 1) return CardIo::Result::kOk;
  return link_.LastFailure() == ORVEX_FAIL_REFUSED ? CardIo::Result::kRefused : CardIo::Result::kFailed;
}

Field::Found Field::Detect(CardInfo& card) {
  for (auto detect : {&Field::DetectTypeA, &Field::DetectTypeB, &Field::DetectVicinity}) {
    card = CardInfo{};
    Found f = (this->*detect)(card);
    if (f != Found::kNone) return f;
  }
  card = CardInfo{};
  return Found::kNone;
}

Field::Found Field::DetectTypeA(CardInfo& card) {
  Orvex ov;
  unsigned short atqa = 0;
  unsigned char sak = 0, len = 0, uid[16];
  int rc = ov.OV_RequestAntiandSelect(kReader, kWupa, 0, &atqa, &sak, &len, uid);
  if (rc != 1) return Outcome(rc) == CardIo::Result::kRefused ? Found::kNone : Found::kLinkFailure;
  if (len == 0 || len > 10) return Found::kNone;
  card.uid.assign(uid, uid + len);
  card.sak = sak;
  if (sak & 0x20) {
    card.kind = CardKind::kIso14443_4A;
  } else if (sak == 0x08 || sak == 0x88 || sak == 0x18 || sak == 0x09) {
    card.kind = CardKind::kMifareClassic;
  } else if (sak == 0x00) {
    card.kind = CardKind::kType2;
  } else {
    card.kind = CardKind::kOtherA;
  }
  return Found::kCard;
}

Field::Found Field::DetectTypeB(CardInfo& card) {
  Orvex ov;
  unsigned char attrib[4], atqb[ORVEX_MAX_ANSWER];
  std::memcpy(attrib, kAttrib, sizeof attrib);
  int len = 0;
  int rc = ov.OV_TypeB_Request(kReader, kWupb, attrib, &len, atqb);
  if (rc != 1) return Outcome(rc) == CardIo::Result::kRefused ? Found::kNone : Found::kLinkFailure;
  // ATQB: 50, PUPI (4), application data (4), protocol info (3 or 4).
  if (len < 12 || atqb[0] != 0x50) return Found::kNone;
  card.activation.assign(atqb, atqb + len);
  card.uid.assign(atqb + 1, atqb + 5);
  card.kind = TypeBIsIso14443_4(card.activation) ? CardKind::kIso14443_4B : CardKind::kOtherB;
  return Found::kCard;
}

Field::Found Field::DetectVicinity(CardInfo& card) {
  Orvex ov;
  unsigned char data[ORVEX_MAX_ANSWER], len = 0;
  int rc = ov.OV_ISO15693_Inventory(kReader, data, &len);
  if (rc != 1) return Outcome(rc) == CardIo::Result::kRefused ? Found::kNone : Found::kLinkFailure;
  // One tag record: DSFID, then the UID as it comes on the air.
  if (len < 9) return Found::kNone;
  card.uid.assign(data + 1, data + 9);
  card.kind = CardKind::kIso15693;
  return Found::kCard;
}

void Field::Type2Size(CardInfo& card) {
  Orvex ov;
  unsigned char version[ORVEX_MAX_ANSWER];
  // The reader's answer: its echo of the sub-function, then the tag's 8
  // bytes, of which the seventh is the storage size.
  if (ov.OV_NTag_GetVersion(kReader, version) == 1 && link_.LastAnswerLength() >= 9) {
    card.blocks = Type2Pages(version[6]);
    return;
  }
  // A tag without GET_VERSION (the first Ultralight) answered NAK and went
  // idle: select it again.
  Reselect(card);
}

void Field::VicinitySize(CardInfo& card) {
  Orvex ov;
  unsigned char uid[8], info[ORVEX_MAX_ANSWER], len = 0;
  std::memcpy(uid, card.uid.data(), 8);
  if (ov.OV_ISO15693_Get_System_Information(kReader, kAddressed, uid, info, &len) != 1 || len < 9) return;
  // Information flags, UID (8), then DSFID, AFI, memory size, IC reference
  // as the flags announce them.
  uint8_t flags = info[0];
  size_t at = 9;
  if (flags & 0x01) ++at;
  if (flags & 0x02) ++at;
  if ((flags & 0x04) && at + 1 < len) {
    card.blocks = info[at] + 1;
    card.block_size = (info[at + 1] & 0x1F) + 1;
  }
}

bool Field::Activate(CardInfo& card) {
  Orvex ov;
  switch (card.kind) {
    case CardKind::kIso14443_4A: {
      unsigned char ats[ORVEX_MAX_ANSWER];
      int len = 0;
      if (ov.OV_TypeA_Reset(kReader, kWupa, 0, &len, ats) != 1 || len < 1) return false;
      card.activation.assign(ats, ats + len);
      card.historical = AtsHistoricalBytes(card.activation);
      card.atr = ContactlessAtr(card.historical);
      return true;
    }
    case CardKind::kIso14443_4B:
      // Detect's ATTRIB activated it: its ATQB is at hand.
      card.historical = TypeBHistoricalBytes(card.activation);
      card.atr = ContactlessAtr(card.historical);
      return true;
    case CardKind::kMifareClassic:
      card.blocks = ClassicBlocks(card.sak);
      card.block_size = 16;
      card.card_name = TypeACardName(card.sak);
      card.atr = StorageCardAtr(standard::kIso14443APart3, card.card_name);
      return true;
    case CardKind::kType2:
      card.block_size = 4;
      Type2Size(card);
      card.card_name = card_name::kMifareUltralight;
      card.atr = StorageCardAtr(standard::kIso14443APart3, card.card_name);
      return true;
    case CardKind::kIso15693:
      card.block_size = 4;
      VicinitySize(card);
      card.card_name = Iso15693CardName(card.uid);
      card.atr = StorageCardAtr(standard::kIso15693Part3, card.card_name);
      return true;
    case CardKind::kOtherA:
      card.card_name = TypeACardName(card.sak);
      card.atr = StorageCardAtr(standard::kIso14443APart3, card.card_name);
      return true;
    case CardKind::kOtherB:
      card.atr = StorageCardAtr(standard::kIso14443BPart3, card_name::kNotGiven);
      return true;
    case CardKind::kNone: break;
  }
  return false;
}

bool Field::Reselect(const CardInfo& card) {
  Orvex ov;
  // The first wake-up brings every card back (idle or halted); a card that
  // is not ours is halted and a request tried again, which halted cards do
  // not answer.
  for (int attempt = 0; attempt < 4; ++attempt) {
    unsigned short atqa = 0;
    unsigned char sak = 0, len = 0, uid[16];
    if (ov.OV_RequestAntiandSelect(kReader, attempt == 0 ? kWupa : kReqa, 0, &atqa, &sak, &len, uid) != 1)
      return false;
    if (len == card.uid.size() && std::memcmp(uid, card.uid.data(), len) == 0) return true;
    if (ov.OV_CardHalt(kReader) != 1) return false;
  }
  return false;
}

bool Field::SameTypeB(const CardInfo& card) {
  CardInfo again;
  return DetectTypeB(again) == Found::kCard && again.uid == card.uid;
}

Field::Probe Field::CheckPowered(const CardInfo& card, std::optional<int> authenticated_sector, bool used) {
  Orvex ov;
  auto verdict = [this](int rc) {
    switch (Outcome(rc)) {
      case CardIo::Result::kOk: return Probe::kPresent;
      case CardIo::Result::kRefused: return Probe::kGone;
      case CardIo::Result::kFailed: break;
    }
    return Probe::kLinkFailure;
  };
  // After a selection or activation that did not bring the card: gone,
  // unless the reader could not be asked.
  auto lost = [this]() {
    int f = link_.LastFailure();
    return f == ORVEX_FAIL_REFUSED || f == ORVEX_FAIL_NONE ? Probe::kGone : Probe::kLinkFailure;
  };
  auto reselected = [&]() { return Reselect(card) ? Probe::kPresent : lost(); };
  unsigned char data[ORVEX_MAX_ANSWER];
  switch (card.kind) {
    case CardKind::kMifareClassic:
      if (authenticated_sector)
        return verdict(ov.OV_ReadaBlock(kReader, Trailer(*authenticated_sector), 16, data));
      return reselected();
    case CardKind::kType2: return verdict(ov.OV_UltraLightRead(kReader, 0, data));
    case CardKind::kIso15693: {
      unsigned char uid[8], len = 0;
      std::memcpy(uid, card.uid.data(), 8);
      return verdict(ov.OV_ISO15693_Get_System_Information(kReader, kAddressed, uid, data, &len));
    }
    case CardKind::kOtherA: return reselected();
    case CardKind::kOtherB: return SameTypeB(card) ? Probe::kPresent : lost();
    case CardKind::kIso14443_4A: {
      if (used) return Probe::kNotProbed;
      CardInfo again = card;
      if (!Reselect(card) || !Activate(again)) return lost();
      return Probe::kPresent;
    }
    case CardKind::kIso14443_4B:
      if (used) return Probe::kNotProbed;
      return SameTypeB(card) ? Probe::kPresent : lost();
    case CardKind::kNone: break;
  }
  return Probe::kGone;
}

void Field::Halt(const CardInfo& card) {
  Orvex ov;
  switch (card.kind) {
    case CardKind::kIso14443_4B:
    case CardKind::kOtherB: {
      unsigned char pupi[4];
      std::memcpy(pupi, card.uid.data(), 4);
      ov.OV_TypeB_Halt(kReader, pupi);
      break;
    }
    case CardKind::kIso15693:
    case CardKind::kNone: break;
    default: ov.OV_CardHalt(kReader); break;
  }
}

CardIo::Result Field::Apdu(const Bytes& command, Bytes& response) {
  Orvex ov;
  Bytes cmd = command;
  unsigned char out[ORVEX_MAX_ANSWER];
  int len = 0;
  // One reader command serves both card types (OV_TypeB_COS is the same).
  int rc = ov.OV_TypeA_COS(kReader, static_cast<int>(cmd.size()), cmd.data(), &len, out);
  CardIo::Result r = Outcome(rc);
  if (r == CardIo::Result::kOk) {
    if (len < 2) return CardIo::Result::kFailed;  // no status word: not a response APDU
    response.assign(out, out + len);
  }
  return r;
}

CardIo::Result Field::StorageIo::Authenticate(uint8_t key_type, int block, const uint8_t* key) {
  Orvex ov;
  unsigned char k[6];
  std::memcpy(k, key, 6);
  return field_.Outcome(ov.OV_KeyAuthorization(kReader, key_type, block, k));
}

CardIo::Result Field::StorageIo::Read(int block, Bytes& out) {
  Orvex ov;
  unsigned char data[ORVEX_MAX_ANSWER];
  switch (card_.kind) {
    case CardKind::kMifareClassic:
    case CardKind::kType2: {
      // A MIFARE block, or READ's four pages from page block.
      int rc = ov.OV_ReadaBlock(kReader, block, 16, data);
      if (rc == 1 && field_.link_.LastAnswerLength() < 16) return CardIo::Result::kFailed;
      if (rc == 1) out.assign(data, data + 16);
      return field_.Outcome(rc);
    }
    case CardKind::kIso15693: {
      unsigned char uid[8], len = 0;
      std::memcpy(uid, card_.uid.data(), 8);
      int rc = ov.OV_ISO15693_Read(kReader, kAddressed, uid, static_cast<unsigned char>(block), 1, data, &len);
      if (rc == 1) out.assign(data, data + len);
      return field_.Outcome(rc);
    }
    default: return CardIo::Result::kRefused;
  }
}

CardIo::Result Field::StorageIo::Write(int block, const Bytes& data) {
  Orvex ov;
  Bytes d = data;
  switch (card_.kind) {
    case CardKind::kMifareClassic:
      return field_.Outcome(ov.OV_WriteaBlock(kReader, block, static_cast<int>(d.size()), d.data()));
    case CardKind::kType2: return field_.Outcome(ov.OV_UltraLightWrite(kReader, block, d.data()));
    case CardKind::kIso15693: {
      unsigned char uid[8];
      std::memcpy(uid, card_.uid.data(), 8);
      return field_.Outcome(ov.OV_ISO15693_Write(kReader, kAddressed, uid, static_cast<unsigned char>(block),
                                                 static_cast<unsigned char>(d.size()), d.data()));
    }
    default: return CardIo::Result::kRefused;
  }
}

bool Field::StorageIo::Recover() {
  if (card_.kind == CardKind::kIso15693) {
    // A tag that refused keeps its state; it only has to be there.
    return field_.CheckPowered(card_, std::nullopt, true) == Probe::kPresent;
  }
  return field_.Reselect(card_);
}

}  // namespace orvex_ifd
