// SPDX-License-Identifier: MIT
// A card the driver found in the field: what it is, how it is named to
// PC/SC, and how its memory is laid out for the storage-card commands.
#pragma once

#include <cstdint>
#include <string>

#include "atr.h"

namespace orvex_ifd {

enum class CardKind {
  kNone,
  kIso14443_4A,    // ISO 14443-4 over type A: APDUs
  kIso14443_4B,    // ISO 14443-4 over type B: APDUs
  kMifareClassic,  // MIFARE Classic (Mini, 1K, 4K): 16-byte blocks behind keys
  kType2,          // NFC Forum Type 2 (MIFARE Ultralight, NTAG21x): 4-byte pages
  kIso15693,       // ISO 15693 vicinity tag: blocks, addressed by UID
  kOtherA,         // an ISO 14443-A card the driver has no commands for
  kOtherB,         // an ISO 14443-B card without ISO 14443-4
};

struct CardInfo {
  CardKind kind = CardKind::kNone;
  Bytes uid;         // type A UID, type B PUPI, ISO 15693 UID as on the air (LSB first)
  Bytes historical;  // ISO 14443-4: the historical bytes in the ATR (type A: of the ATS)
  Bytes activation;  // the card's own answer: ATS (type A), ATQB (type B)
  Bytes atr;         // the ATR given to PC/SC
  uint8_t sak = 0;
  uint16_t card_name = 0;  // storage cards: the PC/SC Part 3 card name
  int blocks = 0;          // memory in read/write units (blocks, pages); 0 unknown
  int block_size = 0;      // bytes per unit an update writes: 16, 4

  bool Storage() const {
    return kind == CardKind::kMifareClassic || kind == CardKind::kType2 || kind == CardKind::kIso15693 ||
           kind == CardKind::kOtherA || kind == CardKind::kOtherB;
  }
  bool Apdu() const { return kind == CardKind::kIso14443_4A || kind == CardKind::kIso14443_4B; }
  // The same card as other (kind and identifier)?
  bool Same(const CardInfo& other) const { return kind == other.kind && uid == other.uid; }
  // "MIFARE Classic 1K 04A1B2C3", for the log.
  std::string Describe() const;
};

// The MIFARE Classic sector a block belongs to (1K/Mini: 4 blocks a sector;
// 4K above block 127: 16).
inline int MifareSector(int block) { return block < 128 ? block / 4 : 32 + (block - 128) / 16; }

}  // namespace orvex_ifd
