// SPDX-License-Identifier: MIT
// Two readers driven from two threads at once, each through a link of its
// own: for example a card reader at the till and a second reader holding
// the SAMs.
//   two_readers CONNECTION_A CONNECTION_B [ROUNDS]
#include <orvex.h>

#include <atomic>
#include <initializer_list>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

// Asks one reader for its serial number, rounds times, on the calling thread.
void Poll(OrvexLink& link, const char* name, int rounds, std::atomic<int>& failures) {
  OrvexLinkScope use(link);  // every Orvex call on this thread goes to link
  Orvex reader;
  unsigned char serial[ORVEX_MAX_ANSWER];
  int n = 0;
  for (int i = 0; i < rounds; ++i) {
    n = reader.OV_GetReaderSerial(0, serial);
    if (n < 0) {
      std::fprintf(stderr, "%s: %s\n", name, link.LastFailureText());
      ++failures;
      return;
    }
  }
  std::printf("%s: %d answers, serial ", name, rounds);
  for (int i = 0; i < n; ++i) std::printf("%02X", serial[i]);
  std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s CONNECTION_A CONNECTION_B [ROUNDS]\n", argv[0]);
    return 2;
  }
  int rounds = argc > 3 ? std::atoi(argv[3]) : 100;
  OrvexLink a(argv[1]), b(argv[2]);
  for (OrvexLink* link : {&a, &b}) {
    if (!link->IsOpen()) {
      std::fprintf(stderr, "cannot open %s: %s\n", link->Connection(), link->LastFailureText());
      return 1;
    }
    link->SetFirstByteTimeout(1000);  // a silent reader is reported within a second
  }
  std::atomic<int> failures{0};
  std::thread ta(Poll, std::ref(a), "reader A", rounds, std::ref(failures));
  std::thread tb(Poll, std::ref(b), "reader B", rounds, std::ref(failures));
  ta.join();
  tb.join();
  return failures == 0 ? 0 : 1;
}
