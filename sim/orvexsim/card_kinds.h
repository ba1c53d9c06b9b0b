// SPDX-License-Identifier: MIT
// Cards named on the command line: "kind[:id]", e.g. "mfc1k",
// "mfc1k:A1B2C3D4", "ntag215", "cpu", "iso15693:E0040150AABBCCDD".
#pragma once

#include <memory>
#include <string>

#include "orvexsim/card.h"

namespace orvexsim {

// A new card from its description ("kind[:id]"). index tells several cards of one kind apart:
// without an id the card gets a default one derived from its kind and index.
// nullptr with error set when the description is not understood.
std::shared_ptr<Card> MakeCard(const std::string& text, int index, std::string& error);

// The kinds MakeCard knows, for the usage text.
const char* CardKindsHelp();

}  // namespace orvexsim
