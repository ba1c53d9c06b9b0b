// SPDX-License-Identifier: MIT
// One APDU (GET CHALLENGE, 8 bytes) to the simulated CPU card, in one run:
// through liborvex directly (an OrvexLink on the simulator's pseudo-terminal)
// and through pcscd with the PC/SC driver (SCardTransmit), on the same
// simulated reader. Prints the median time of each and what pcscd adds.
// pcscd must be able to listen on /run/pcscd: run it through bench/pcsc/run,
// which gives it a private /run/pcscd (root).
//   orvex_bench_pcsc PCSCD LIBIFD_ORVEX [APDUS]
#include <fcntl.h>
#include <orvex.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <winscard.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "orvexsim/cpu_card.h"
#include "orvexsim/serial_server.h"
#include "orvexsim/simulator.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

double MedianMs(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

template <class F>
double TimeEach(int n, F&& f) {
  std::vector<double> ms;
  for (int i = 0; i < n; ++i) {
    auto t = Clock::now();
    if (!f()) return -1;
    ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - t).count());
  }
  return MedianMs(ms);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: orvex_bench_pcsc PCSCD LIBIFD_ORVEX [APDUS]\n");
    return 2;
  }
  int n = argc > 3 ? std::atoi(argv[3]) : 2000;
  orvexsim::Simulator sim;
  sim.Place(std::make_shared<orvexsim::CpuCard>(orvexsim::Bytes{0xC1, 0x02, 0x03, 0x04}));
  orvexsim::SerialServer server(sim);
  server.Start();
  unsigned char challenge[] = {0x00, 0x84, 0x00, 0x00, 0x08};

  // Directly: the library on its own link.
  double direct = -1;
  {
    OrvexLink link(server.path().c_str());
    OrvexLinkScope use(link);
    Orvex ov;
    unsigned char out[ORVEX_MAX_ANSWER];
    int len = 0;
    if (!link.IsOpen() || ov.OV_TypeA_Reset(0, 0x52, 0, &len, out) != 1) {
      std::fprintf(stderr, "the simulated card did not activate: %s\n", link.LastFailureText());
      return 1;
    }
    direct = TimeEach(n, [&] { return ov.OV_TypeA_COS(0, 5, challenge, &len, out) == 1 && len == 10; });
  }

  // Through pcscd: a reader.conf.d for the same simulator.
  char dir[] = "/tmp/orvex-bench-pcsc.XXXXXX";
  if (!mkdtemp(dir)) return 1;
  std::string conf = std::string(dir) + "/orvex";
  std::ofstream(conf) << "FRIENDLYNAME \"Orvex bench\"\nDEVICENAME " << server.path() << "\nLIBPATH " << argv[2]
                      << "\nCHANNELID 0\n";
  std::string conf_dir = dir;
  const char* args[] = {argv[1], "--foreground", "--config", conf_dir.c_str(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  pid_t pcscd = 0;
  if (posix_spawn(&pcscd, argv[1], &actions, nullptr, const_cast<char**>(args), environ) != 0) {
    std::fprintf(stderr, "cannot start %s\n", argv[1]);
    return 1;
  }
  double through = -1;
  SCARDCONTEXT ctx = 0;
  SCARDHANDLE card = 0;
  for (int i = 0; i < 200 && through < 0; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    if (!ctx && SCardEstablishContext(SCARD_SCOPE_USER, nullptr, nullptr, &ctx) != SCARD_S_SUCCESS) {
      ctx = 0;
      continue;
    }
    DWORD protocol = 0;
    LONG connected =
        SCardConnect(ctx, "Orvex bench 00 00", SCARD_SHARE_EXCLUSIVE, SCARD_PROTOCOL_T1, &card, &protocol);
    if (connected != SCARD_S_SUCCESS) {
      if (i == 199) std::fprintf(stderr, "SCardConnect: %s\n", pcsc_stringify_error(connected));
      continue;
    }
    BYTE rx[64];
    LONG rc = SCARD_S_SUCCESS;
    DWORD rx_len = 0;
    through = TimeEach(n, [&] {
      rx_len = sizeof rx;
      rc = SCardTransmit(card, SCARD_PCI_T1, challenge, sizeof challenge, nullptr, rx, &rx_len);
      return rc == SCARD_S_SUCCESS && rx_len == 10;
    });
    if (through < 0) std::fprintf(stderr, "SCardTransmit: %s, %lu bytes\n", pcsc_stringify_error(rc), rx_len);
    SCardDisconnect(card, SCARD_LEAVE_CARD);
  }
  if (!ctx) std::fprintf(stderr, "pcscd (%s) did not answer\n", argv[1]);
  if (ctx) SCardReleaseContext(ctx);
  kill(pcscd, SIGTERM);
  waitpid(pcscd, nullptr, 0);
  std::remove(conf.c_str());
  rmdir(dir);
  if (direct < 0 || through < 0) {
    std::fprintf(stderr, "a measurement failed (direct %.3f, through pcscd %.3f)\n", direct, through);
    return 1;
  }
  std::printf("one APDU (GET CHALLENGE, 8 bytes) to the simulated CPU card, median of %d:\n", n);
  std::printf("  liborvex directly      %.3f ms\n", direct);
  std::printf("  through pcscd          %.3f ms\n", through);
  std::printf("  pcscd adds             %.3f ms (x%.2f)\n", through - direct, through / direct);
  return 0;
}
