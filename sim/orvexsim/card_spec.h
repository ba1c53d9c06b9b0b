// SPDX-License-Identifier: MIT
// Cards named on the command line: "kind[:id]", e.g. "mfc1k",
// "mfc1k:A1B2C3D4", "ntag215", "cpu", "iso15693:E0040150AABBCCDD".
#pragma once

#include <memory>
#include <string>

#include "orvexsim/card.h"

namespace orvexsim {

// A new card from its spec. index tells several cards of one kind apart:
// without an id the card gets a default one derived from its kind and index.
// nullptr with error set when the spec is not understood.
std::shared_ptr<Card> MakeCard(const std::string& spec, int index, std::string& error);

// The kinds MakeCard knows, for the usage text.
const char* CardKindsHelp();

}  // namespace orvexsim
