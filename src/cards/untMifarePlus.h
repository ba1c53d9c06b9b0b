// SPDX-License-Identifier: MIT
// MIFARE Plus commands. The fifteen MPlus_ functions are part of the
// library's exported surface and are declared in orvex.h.
#pragma once

#include "orvex.h"
