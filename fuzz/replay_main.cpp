// SPDX-License-Identifier: MIT
// Runs a fuzz target's entry point once on each file named on the command
// line, without libFuzzer: the seed corpora as ordinary tests.
#include <cstdint>
#include <cstdio>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    FILE* f = std::fopen(argv[i], "rb");
    if (!f) {
      std::fprintf(stderr, "cannot read %s\n", argv[i]);
      return 1;
    }
    std::vector<uint8_t> input;
    int c;
    while ((c = std::fgetc(f)) != EOF) input.push_back(static_cast<uint8_t>(c));
    std::fclose(f);
    LLVMFuzzerTestOneInput(input.data(), input.size());
  }
  std::printf("%d inputs\n", argc - 1);
  return 0;
}
