// SPDX-License-Identifier: MIT
#include "iso14443a.h"

#include <optional>

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

namespace {

// Whether a card other than the selected one is in the field: the selected
// card is halted, so that it keeps quiet, and the idle cards are asked to
// answer a request. The selected card stays halted. Nothing when it did
// not take the halt (it left the field); a link failure throws.
std::optional<bool> AnotherTypeACard(Context& ctx) {
  const int halted = ctx.ov.OV_CardHalt(ctx.reader_id);
  if (halted == -1) CheckCard(halted, "halting the card", "");
  if (halted != 1) return std::nullopt;
  unsigned short atqa = 0;
  const int rc = ctx.ov.OV_RequestCard(ctx.reader_id, 0x26, &atqa);
  if (rc == -3) return false;
  CheckCard(rc, "asking for other ISO 14443-A cards", "");
  return true;
}

void NoteSeveral(Context& ctx, const TypeACardInfo& card) {
  ctx.Note("several cards in the field; acting on " + Hex(card.uid) + " (" + card.Kind() +
           "): --uid chooses another (orvex scan lists them)");
}

}  // namespace

bool SelectChosenTypeA(Context& ctx, TypeACardInfo& card, bool check_others) {
  const Bytes& uid = ctx.uid();
  if (!uid.empty()) {
    if (!SelectTypeAByUid(ctx, uid, card)) return false;
    ctx.Note("acting on card " + Hex(card.uid) + " (" + card.Kind() + "), chosen by --uid");
    return true;
  }
  if (!SelectTypeA(ctx, 0x52, card)) return false;
  if (!check_others || ctx.quiet) return true;
  const auto several = AnotherTypeACard(ctx);
  const Bytes chosen = card.uid;
  if (!SelectTypeAByUid(ctx, chosen, card)) return false;
  if (several.value_or(false)) NoteSeveral(ctx, card);
  return true;
}

}  // namespace orvextool
