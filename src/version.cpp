// SPDX-License-Identifier: MIT
// The library's own version string, from the header's version macros. The
// build passes CMake's project version too, and refuses to build when the
// two differ, so the header, the library and the packages agree.
#include "orvex.h"

#define ORVEX_STR_(x) #x
#define ORVEX_STR(x) ORVEX_STR_(x)

#if defined(ORVEX_PROJECT_VERSION_MAJOR)
static_assert(ORVEX_PROJECT_VERSION_MAJOR == ORVEX_VERSION_MAJOR &&
                  ORVEX_PROJECT_VERSION_MINOR == ORVEX_VERSION_MINOR &&
                  ORVEX_PROJECT_VERSION_PATCH == ORVEX_VERSION_PATCH,
              "include/orvex.h and the CMake project version differ");
#endif

const char* OrvexVersionString() {
  return ORVEX_STR(ORVEX_VERSION_MAJOR) "." ORVEX_STR(ORVEX_VERSION_MINOR) "." ORVEX_STR(
      ORVEX_VERSION_PATCH);
}
