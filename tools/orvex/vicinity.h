// SPDX-License-Identifier: MIT
// ISO 15693 tags for the orvex tool: finding the tag in the field, reading
// and writing its blocks.
#pragma once

#include <string>
#include <vector>

#include "commands.h"

namespace orvextool {

// Request flags byte of ISO 15693: the command names its tag by UID.
constexpr unsigned char kVicinityAddressed = 0x20;
// Answer deadlines of the library's ISO 15693 commands.

struct VicinityTag {
  Bytes air_uid;  // as the tag sends it, least significant byte first
  unsigned char dsfid = 0;
  int afi = -1;           // -1: the tag does not tell it
  int ic_reference = -1;  // -1: the tag does not tell it
  int blocks = 0;
  int block_size = 0;
  // The UID as it is written, most significant byte (E0) first.
  std::string Uid() const { return Hex(Bytes(air_uid.rbegin(), air_uid.rend())); }
};

// Inventory, then the system information of the tag found. False when no
// tag answers the inventory; a link failure or a tag that does not tell
// its memory size throws.
bool FindVicinityTag(Context& ctx, VicinityTag& tag);
// The same; no tag throws "no ISO 15693 tag in the field".
VicinityTag FindVicinityTag(Context& ctx);

// Blocks [first, first + count), in reads sized to the line's speed.
Bytes ReadVicinityBlocks(Context& ctx, const VicinityTag& tag, int first, int count);
// One block (data: block_size bytes).
void WriteVicinityBlock(Context& ctx, const VicinityTag& tag, int block, const Bytes& data);
// The lock flags of blocks [first, first + count) from their security status.
std::vector<bool> VicinityBlockLocks(Context& ctx, const VicinityTag& tag, int first, int count);

}  // namespace orvextool
