// SPDX-License-Identifier: MIT
// Finding FeliCa cards, shared by scan and the felica subcommands.
#pragma once

#include <functional>
#include <vector>

#include "commands.h"

namespace orvextool {

struct FelicaCardInfo {
  Bytes idm, pmm;
  unsigned system_code = 0;  // as the card gave it with its polling response
};

// Every FeliCa card of system_code (FFFF: any) in the field, in the order
// the pollings brought them; found (when given) hears of each card as soon
// as it answered, while the search goes on. FeliCa has no halt: the cards
// are told apart by pollings with 16 time slots, repeated (see the comment
// at the definition for how often and the chance of missing a card). Empty
// when none answers; a link failure or an answer that does not begin with
// 00 throws.
std::vector<FelicaCardInfo> PollFelicaCards(Context& ctx, unsigned system_code,
                                            const std::function<void(const FelicaCardInfo&)>& found = nullptr);

}  // namespace orvextool
