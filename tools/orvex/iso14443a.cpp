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
  CheckCard(rc, "selecting an ISO 14443-A card", "");
  card.uid.assign(uid, uid + len);
  card.atqa = atqa;
  card.sak = sak;
  return true;
}

bool SelectTypeAByUid(Context& ctx, const Bytes& uid, TypeACardInfo& card) {
  constexpr int kMaxCards = 16;
  if (!SelectTypeA(ctx, 0x52, card)) return false;
  for (int i = 0; i < kMaxCards; ++i) {
    if (card.uid == uid) return true;
    if (ctx.ov.OV_CardHalt(ctx.reader_id) != 1) return false;
    // Idle cards only: the halted ones stay out of the way.
    if (!SelectTypeA(ctx, 0x26, card)) return false;
  }
  return false;
}

bool SelectChosenTypeA(Context& ctx, TypeACardInfo& card) {
  const Bytes& uid = ctx.uid();
  if (!uid.empty()) {
    if (!SelectTypeAByUid(ctx, uid, card)) return false;
    ctx.Note("acting on card " + Hex(card.uid) + " (" + card.Kind() + "), chosen by --uid");
    return true;
  }
  if (!SelectTypeA(ctx, 0x52, card)) return false;
  // Is it the only one? Halted, it lets an idle card answer the request.
  if (ctx.ov.OV_CardHalt(ctx.reader_id) != 1) return SelectTypeAByUid(ctx, card.uid, card);
  TypeACardInfo other;
  const bool several = SelectTypeA(ctx, 0x26, other);
  const Bytes chosen = card.uid;
  if (!SelectTypeAByUid(ctx, chosen, card)) return false;
  if (several)
    ctx.Note("several cards in the field; acting on " + Hex(card.uid) + " (" + card.Kind() +
             "): --uid chooses another (orvex scan lists them)");
  return true;
}

}  // namespace orvextool
