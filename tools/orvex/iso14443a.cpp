// SPDX-License-Identifier: MIT
#include "iso14443a.h"

namespace orvextool {

std::string TypeACardInfo::Kind() const {
  switch (sak) {
    case 0x08: return "MIFARE Classic 1K";
    case 0x18: return "MIFARE Classic 4K";
    case 0x09: return "MIFARE Mini";
    case 0x00: return "Type 2 tag (Ultralight, NTAG)";
    case 0x10: return "MIFARE Plus 2K (level 2)";
    case 0x11: return "MIFARE Plus 4K (level 2)";
    case 0x20: return "ISO 14443-4 (CPU card)";
    case 0x28: return "ISO 14443-4 with MIFARE Classic 1K";
    case 0x38: return "ISO 14443-4 with MIFARE Classic 4K";
    default: return "unknown (SAK " + Hex(&sak, 1) + ")";
  }
}

bool SelectTypeA(Context& ctx, int request_code, TypeACardInfo& card) {
  unsigned short atqa = 0;
  unsigned char sak = 0, len = 0, uid[ORVEX_MAX_ANSWER];
  int rc = ctx.ov.OV_RequestAntiandSelect(ctx.reader_id, request_code, 0, &atqa, &sak, &len, uid);
  if (rc == -3) return false;
  CheckCard(rc, "selecting an ISO 14443-A card", kReaderDeadlineMs, "");
  card.uid.assign(uid, uid + len);
  card.atqa = atqa;
  card.sak = sak;
  return true;
}

}  // namespace orvextool
