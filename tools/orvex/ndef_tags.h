// SPDX-License-Identifier: MIT
// The NDEF areas of the tags in the field, as the NFC Forum lays them out
// on each family: Type 2 (NTAG, Ultralight) after the capability container,
// MIFARE Classic 1K and 4K in the sectors its application directory (MAD)
// marks as NDEF, ISO 15693 (Type 5) after its capability container, and
// Topaz (Type 1, its static memory). The TLVs inside are the NDEF layer's.
#pragma once

#include <array>
#include <memory>
#include <string>

#include "commands.h"
#include "ndef/forum/tag.h"

namespace orvextool {

struct NdefTag {
  std::string kind;  // "NTAG215", "MIFARE Classic 1K", "ISO 15693 tag", "Topaz"
  std::string uid;
  std::unique_ptr<orvex::ndef::TagMemory> memory;
  // Why the tag's message cannot be written (empty when it can).
  std::string read_only;
  std::string Name() const { return kind + " " + uid; }
};

// MIFARE Classic key B of the NDEF sectors (writes); the sectors are read
// with the public NFC Forum key A.
using ClassicKey = std::array<uint8_t, 6>;

// Finds the one tag in the field that holds an NDEF area and opens it.
// With for_write, everything a write needs is checked first (the
// capability container's write access, on a MIFARE Classic every NDEF
// sector opened with key_b and its access bits allowing key B to write);
// a tag that fails a check has read_only set. Throws a Failure when no tag
// is there or it is not formatted for NDEF.
NdefTag OpenNdefTag(Context& ctx, const ClassicKey& key_b, bool for_write);

}  // namespace orvextool
