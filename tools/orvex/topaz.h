// SPDX-License-Identifier: MIT
// Topaz (NFC Forum Type 1) tags for the orvex tool: finding the tag in the
// field and reading its static memory.
#pragma once

#include "commands.h"

namespace orvextool {

// Answer deadline of the library's Topaz commands.

// The tag's identification (RID): its 4-byte UID and header ROM bytes. False
// when no Type 1 tag answers (or the one that answers is no Type 1 tag).
bool FindTopaz(Context& ctx, Bytes& uid, unsigned char* hr0 = nullptr, unsigned char* hr1 = nullptr);

// Blocks 0 to 0E, the static memory (120 bytes), in one RALL.
Bytes ReadTopazStatic(Context& ctx, const Bytes& uid);

}  // namespace orvextool
