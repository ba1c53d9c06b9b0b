// SPDX-License-Identifier: MIT
#include "felica.h"

namespace orvextool {

namespace {

// The polling's request code 01: the card adds its system code.
constexpr unsigned char kRequestSystemCode = 0x01;
// Time slot bytes: one slot, and sixteen (the most a polling offers).
constexpr unsigned char kOneSlot = 0;
constexpr unsigned char kSixteenSlots = 15;

// How long the search goes on. A polling with one slot is answered only
// when exactly one card hears it: two or more answer together and the
// reader hears nothing. With 16 slots each card answers in a slot of its
// own choosing, and the reader passes on the first answer it can read, so
// repeated pollings bring different cards. The search stops after a run of
// pollings that bring no new card:
//  - none found yet: kRunWhileNone pollings. Two cards (the likeliest to
//    stay hidden) both go unheard only when they pick one slot, 1 in 16 a
//    polling: (1/16)^3 = 0.024 %.
//  - n cards found: kRunPerCardFound x (n + 1) pollings. With one card of
//    two found, a polling brings the other unless both share a slot or the
//    found one answers first: 17/32 a polling, (17/32)^12 = 0.05 %. Later
//    runs are longer because each further card answers less often.
// Counted exactly over every way the cards can pick their slots, a card is
// missed with a chance of 0.075 % with two cards in the field, 0.070 % with
// three and 0.11 % with four. At most kMaxPollings in all.
constexpr int kRunWhileNone = 3;
constexpr int kRunPerCardFound = 6;
constexpr int kMaxPollings = 64;

// One polling: true with the card that answered, false when none did.
bool PollOnce(Context& ctx, unsigned system_code, unsigned char slot, FelicaCardInfo& card) {
  unsigned char idm[8] = {}, pmm[8] = {}, request_data[2] = {};
  // The library sends the code low byte first: its bytes swapped here.
  const unsigned short swapped = static_cast<unsigned short>((system_code & 0xFF) << 8 | system_code >> 8);
  const int rc = ctx.ov.OV_Felica_Polling(ctx.reader_id, swapped, kRequestSystemCode, slot, idm, pmm, request_data);
  if (rc == -2) return false;
  if (rc == 0) throw Failure("polling: the reader's answer does not begin with 00");
  CheckCard(rc, "polling", "the reader refused");
  card.idm.assign(idm, idm + 8);
  card.pmm.assign(pmm, pmm + 8);
  card.system_code = static_cast<unsigned>(request_data[0] << 8 | request_data[1]);
  return true;
}

}  // namespace

std::vector<FelicaCardInfo> PollFelicaCards(Context& ctx, unsigned system_code,
                                            const std::function<void(const FelicaCardInfo&)>& found) {
  std::vector<FelicaCardInfo> cards;
  auto is_new = [&cards](const FelicaCardInfo& c) {
    for (const auto& k : cards)
      if (k.idm == c.idm) return false;
    return true;
  };
  auto note = [&](const FelicaCardInfo& c) {
    cards.push_back(c);
    if (found) found(c);
  };
  FelicaCardInfo card;
  if (PollOnce(ctx, system_code, kOneSlot, card)) note(card);
  int run = 0;
  for (int i = 0; i < kMaxPollings; ++i) {
    const int enough = cards.empty() ? kRunWhileNone : kRunPerCardFound * static_cast<int>(cards.size() + 1);
    if (run >= enough) break;
    if (PollOnce(ctx, system_code, kSixteenSlots, card) && is_new(card)) {
      note(card);
      run = 0;
    } else {
      ++run;
    }
  }
  return cards;
}

}  // namespace orvextool
