// SPDX-License-Identifier: MIT
// A program built against an installed copy of the library. It prints the
// library's fixed DLL version (7) and checks that the library it loaded
// reports the version of the header it was compiled with; given a device
// (a simulated reader's pseudo-terminal), it also asks that reader for its
// firmware version and prints it.
#include <orvex.h>

#include <cstdio>
#include <cstring>

#define STR_(x) #x
#define STR(x) STR_(x)

int main(int argc, char** argv) {
  Orvex ov;
  int version = ov.OV_GetDLLVersion();
  std::printf("%d\n", version);
  const char* header = STR(ORVEX_VERSION_MAJOR) "." STR(ORVEX_VERSION_MINOR) "." STR(ORVEX_VERSION_PATCH);
  if (std::strcmp(OrvexVersionString(), header) != 0) {
    std::fprintf(stderr, "library %s, header %s\n", OrvexVersionString(), header);
    return 1;
  }
  if (argc > 1) {
    if (ov.OV_ComInitialDevice(argv[1], 19200) != 1) {
      std::fprintf(stderr, "cannot open %s\n", argv[1]);
      return 1;
    }
    int firmware = ov.OV_GetReaderVersion(0);
    ov.OV_ComFree();
    if (firmware < 0) {
      std::fprintf(stderr, "the reader on %s did not answer (%d)\n", argv[1], firmware);
      return 1;
    }
    std::printf("reader firmware %04X\n", firmware);
  }
  return version == 7 ? 0 : 1;
}
