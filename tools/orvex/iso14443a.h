// SPDX-License-Identifier: MIT
// Finding and selecting ISO 14443-A cards, shared by scan and the card
// subcommands.
#pragma once

#include <string>

#include "commands.h"

namespace orvextool {

struct TypeACardInfo {
  Bytes uid;
  unsigned short atqa = 0;  // as the card sends it: first byte low
  unsigned char sak = 0;
  bool IsClassic() const { return sak == 0x08 || sak == 0x18 || sak == 0x09 || sak == 0x88; }
  // What the SAK says the card is, in words.
  std::string Kind() const;
};

// Requests (code 0x26 REQA: idle cards; 0x52 WUPA: halted ones too),
// anticollides and selects one card. False when no card answered; a link
// failure throws.
bool SelectTypeA(Context& ctx, int request_code, TypeACardInfo& card);

// Wakes every card (halted ones too) and selects the one of this UID: each
// other card the anticollision picks first is halted, until the one asked
// for answers. False when it does not answer; a link failure throws.
bool SelectTypeAByUid(Context& ctx, const Bytes& uid, TypeACardInfo& card);

// The card a command acts on: with --uid the one of that UID, else the first
// the anticollision selects. Says on standard error which card it chose
// when it had a choice (--uid given, or several cards answered). False when
// no such card answers; a link failure throws.
//
// Whether several cards answered is found by halting the chosen card,
// asking the others and selecting it again. A command that only reads may
// leave that to its end instead (check_others false): it then calls
// NoteOtherTypeACards when it is done with the card, which spares the
// selection again.
//
// The check's only product is that note: with -q, where nobody is told,
// the field is not asked (a halt, a request and a selection fewer).
bool SelectChosenTypeA(Context& ctx, TypeACardInfo& card, bool check_others = true);

// After a command that selected with check_others false is done with the
// card: halts it and, when another card answers, says so as
// SelectChosenTypeA would have. Nothing to do with --uid or -q.
void NoteOtherTypeACards(Context& ctx, const TypeACardInfo& card);

}  // namespace orvextool
