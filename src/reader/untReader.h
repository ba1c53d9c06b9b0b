// SPDX-License-Identifier: MIT
// Reader management commands: commands addressed to the reader itself.
#pragma once

#include "orvex.h"

namespace orvex {

int GetVersion_();
int ChangeBound_(int ReaderID, int NewBound);
int OV_SetReaderID_(int OldID, int NewID);
int OV_GetReaderID_(int ReaderID);
int Get_ReaderVersion_(int ReaderID);

// Positions a text takes on the 8-digit LED display: a dot shares the
// position of the character before it, unless it leads or follows a dot.
int LEDPositions(const char* text, int len);

}  // namespace orvex
