// SPDX-License-Identifier: MIT
#include "card.h"

namespace orvex_ifd {

std::string CardInfo::Describe() const {
  std::string what;
  switch (kind) {
    case CardKind::kNone: return "no card";
    case CardKind::kIso14443_4A: what = "ISO 14443-4 type A card"; break;
    case CardKind::kIso14443_4B: what = "ISO 14443-4 type B card"; break;
    case CardKind::kMifareClassic:
      what = card_name == card_name::kMifareClassic4K ? "MIFARE Classic 4K"
             : card_name == card_name::kMifareMini    ? "MIFARE Mini"
                                                      : "MIFARE Classic 1K";
      break;
    case CardKind::kType2: what = "Type 2 tag (MIFARE Ultralight family, NTAG)"; break;
    case CardKind::kIso15693: what = "ISO 15693 tag"; break;
    case CardKind::kOtherA: what = "ISO 14443-A card"; break;
    case CardKind::kOtherB: what = "ISO 14443-B card"; break;
  }
  std::string id;
  for (uint8_t b : uid) {
    static const char* hex = "0123456789ABCDEF";
    id += hex[b >> 4];
    id += hex[b & 15];
  }
  return what + " " + id;
}

}  // namespace orvex_ifd
