// A program built against an installed copy of the library.
#include <orvex.h>

#include <cstdio>

int main() {
  Orvex ov;
  int version = ov.OV_GetDLLVersion();
  std::printf("%d\n", version);
  return version == 7 ? 0 : 1;
}
