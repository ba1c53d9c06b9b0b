// SPDX-License-Identifier: MIT
// Opens the connection string given, as a second program would, and exits
// with the negated result of OrvexLink::Open (0 when it opened).
#include <cstdio>

#include "orvex.h"

int main(int argc, char** argv) {
  if (argc != 2) return 100;
  OrvexLink link(argv[1]);
  int r = link.OpenResult();
  if (r != 1) std::fprintf(stderr, "%s\n", link.LastFailureText());
  return r == 1 ? 0 : -r;
}
