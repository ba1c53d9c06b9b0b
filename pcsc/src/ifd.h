// SPDX-License-Identifier: MIT
// pcsc-lite's IFD handler interface (Debian's libpcsclite-dev), with C
// linkage: ifdhandler.h declares the IFDH* functions without it.
#pragma once

extern "C" {
#include <ifdhandler.h>
}
#include <reader.h>
