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
// asking the others and selecting it again: a halt, a request and a
// selection. A command whose own result names the card it read (a dump:
// its summary, its listing's first line, its JSON) passes check_others
// false, and the field is not asked.
//
// The check's only product is that note: with -q, where nobody is told,
// the field is not asked either.
bool SelectChosenTypeA(Context& ctx, TypeACardInfo& card, bool check_others = true);

}  // namespace orvextool
