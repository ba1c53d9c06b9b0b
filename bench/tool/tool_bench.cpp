// SPDX-License-Identifier: MIT
// The orvex program as a user runs it, against orvex-sim on its pseudo-
// terminal: whole commands, as typed (no -q), timed from the start of the
// process to its exit.
//
//  * `orvex mfc dump` of a blank MIFARE Classic 1K and `orvex ntag dump` of
//    an NTAG216, the simulator paced at the line speed, each divided by the
//    wire time of the least exchanges that read the card: for the 1K one
//    selection, 16 authentications and 64 block reads; for the NTAG216 the
//    FAST_READs that cover its pages, each of as many pages as its answer
//    carries within the read's deadline at the line speed (at most 51, the
//    most one FAST_READ carries), and, reported beside it, those reads with
//    the one selection and the GET_VERSION the command needs. Those exchanges are
//    made once through the library on an unpaced simulated reader holding
//    the same card, and their frames counted byte for byte as they crossed
//    the line (the link's trace hook), stuffing included; ten bits a byte.
//  * `orvex scan --wait`: the time from a card being placed into the field
//    (a "place" line on orvex-sim's standard input) to the tool's line about
//    it on standard output.
//
// The programs are the ones built beside this benchmark; ORVEX_TOOL and
// ORVEX_SIM name others.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "link/deadlines.h"
#include "orvex.h"
#include "orvexsim/card_kinds.h"
#include "orvexsim/serial_server.h"
#include "orvexsim/simulator.h"
#include "rig.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::duration d) { return std::chrono::duration<double>(d).count(); }

using bench::Median;

std::string Program(const char* env, const char* built) {
  const char* p = std::getenv(env);
  return p && *p ? p : built;
}

// The tool runs with a configuration directory of its own (empty: no key
// files of the user's are tried before the default keys) and no
// ORVEX_DEVICE of the caller's.
class ToolEnvironment {
 public:
  ToolEnvironment() {
    char dir[] = "/tmp/orvex-bench-tool.XXXXXX";
    if (mkdtemp(dir)) dir_ = dir;
    for (char** e = environ; *e; ++e) {
      std::string v = *e;
      if (v.rfind("XDG_CONFIG_HOME=", 0) == 0 || v.rfind("ORVEX_DEVICE=", 0) == 0) continue;
      vars_.push_back(v);
    }
    vars_.push_back("XDG_CONFIG_HOME=" + dir_);
    for (auto& v : vars_) envp_.push_back(&v[0]);
    envp_.push_back(nullptr);
  }
  ~ToolEnvironment() {
    if (!dir_.empty()) rmdir(dir_.c_str());
  }
  char** envp() { return envp_.data(); }
  const std::string& dir() const { return dir_; }

 private:
  std::string dir_;
  std::vector<std::string> vars_;
  std::vector<char*> envp_;
};

// A child process with its standard input and/or output on pipes of ours
// (-1 where not asked for; /dev/null then), its standard error on /dev/null.
struct Child {
  pid_t pid = -1;
  int in = -1;   // we write, it reads
  int out = -1;  // it writes, we read
};

Child Spawn(const std::vector<std::string>& args, bool pipe_in, bool pipe_out, char** envp) {
  Child c;
  int in[2] = {-1, -1}, out[2] = {-1, -1};
  if ((pipe_in && pipe2(in, O_CLOEXEC) != 0) || (pipe_out && pipe2(out, O_CLOEXEC) != 0)) return c;
  posix_spawn_file_actions_t fa;
  posix_spawn_file_actions_init(&fa);
  if (pipe_in) posix_spawn_file_actions_adddup2(&fa, in[0], 0);
  else posix_spawn_file_actions_addopen(&fa, 0, "/dev/null", O_RDONLY, 0);
  if (pipe_out) posix_spawn_file_actions_adddup2(&fa, out[1], 1);
  else posix_spawn_file_actions_addopen(&fa, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&fa, 2, "/dev/null", O_WRONLY, 0);
  std::vector<char*> argv;
  for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  if (posix_spawn(&c.pid, argv[0], &fa, nullptr, argv.data(), envp) != 0) c.pid = -1;
  posix_spawn_file_actions_destroy(&fa);
  if (pipe_in) {
    close(in[0]);
    c.in = in[1];
  }
  if (pipe_out) {
    close(out[1]);
    c.out = out[0];
  }
  return c;
}

// The exit status of the child, -1 when it did not exit normally.
int Wait(Child& c) {
  int status = 0;
  if (c.pid > 0 && waitpid(c.pid, &status, 0) == c.pid) {
    c.pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  return -1;
}

// Reads one line from fd within timeout_ms; false on end of file or time-out.
bool ReadLine(int fd, std::string& line, int timeout_ms) {
  line.clear();
  const auto until = Clock::now() + std::chrono::milliseconds(timeout_ms);
  for (;;) {
    int left = static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count());
    if (left <= 0) return false;
    struct pollfd p = {fd, POLLIN, 0};
    if (poll(&p, 1, left) <= 0) continue;
    char ch;
    ssize_t n = read(fd, &ch, 1);
    if (n <= 0) return false;
    if (ch == '\n') return true;
    line += ch;
  }
}

// Throws away what fd holds now.
void Drain(int fd) {
  char buf[4096];
  struct pollfd p = {fd, POLLIN, 0};
  while (poll(&p, 1, 0) > 0 && (p.revents & POLLIN) && read(fd, buf, sizeof buf) > 0) {
  }
}

// orvex-sim with the given options, its standard input ours to script the
// field with; the pseudo-terminal it serves on is its first line of output.
class SimProcess {
 public:
  SimProcess(const std::vector<std::string>& options, char** envp) {
    std::vector<std::string> args{Program("ORVEX_SIM", ORVEX_SIM_PROGRAM)};
    args.insert(args.end(), options.begin(), options.end());
    child_ = Spawn(args, true, true, envp);
    if (child_.pid < 0 || !ReadLine(child_.out, path_, 5000)) path_.clear();
  }
  ~SimProcess() {
    if (child_.pid > 0) {
      kill(child_.pid, SIGTERM);
      Wait(child_);
    }
    if (child_.in >= 0) close(child_.in);
    if (child_.out >= 0) close(child_.out);
  }
  const std::string& path() const { return path_; }
  bool Say(const std::string& line) {
    std::string l = line + "\n";
    return write(child_.in, l.data(), l.size()) == static_cast<ssize_t>(l.size());
  }
  void DrainOutput() { Drain(child_.out); }

 private:
  Child child_;
  std::string path_;
};

// The bytes the link's exchanges put on the line and took from it.
struct WireCount {
  bool counting = false;
  size_t bytes = 0;
  int frames = 0;
  int last_answer = 0;  // the bytes of the last frame taken from the line
  static void Hook(void* user, int sent, const unsigned char* /*p*/, int length, unsigned long long /*ns*/) {
    auto* w = static_cast<WireCount*>(user);
    if (!sent) w->last_answer = length;
    if (!w->counting) return;
    w->bytes += static_cast<size_t>(length);
    ++w->frames;
  }
};

// The tool's reader number: 0 reaches any reader.
constexpr int kAnyReader = 0;

// Runs reads (given the counter too) against an unpaced simulated reader
// holding the card `kind` (placed as orvex-sim places its first card of
// that kind, so the same UID and contents), after a selection that is not counted when
// count_selection is false; returns the bytes of the counted frames, or 0
// when an exchange failed.
template <typename Reads>
size_t LeastWireBytes(const std::string& kind, bool count_selection, Reads reads, int* frames) {
  orvexsim::Simulator sim(orvexsim::ReaderModel::kCardReader);
  std::string error;
  auto card = orvexsim::MakeCard(kind, 0, error);
  if (!card) return 0;
  sim.Insert(card);
  orvexsim::SerialServer server(sim);
  server.Start();
  WireCount count;
  OrvexLink link;
  link.SetQuiet(true);
  link.SetTrace(&WireCount::Hook, &count);
  if (link.Open((server.path() + "@19200").c_str()) != 1) return 0;
  OrvexLinkScope scope(link);
  Orvex ov;
  unsigned short atqa = 0;
  unsigned char sak = 0, len = 0, uid[ORVEX_MAX_ANSWER];
  count.counting = count_selection;
  if (ov.OV_RequestAntiandSelect(kAnyReader, 0x52, 0, &atqa, &sak, &len, uid) != 1) return 0;
  count.counting = true;
  if (!reads(ov, count)) return 0;
  if (frames) *frames = count.frames;
  return count.bytes;
}

// One selection, then each of the 16 sectors authenticated with the
// transport key A and its 4 blocks read.
size_t Mfc1kWireBytes(int* frames) {
  return LeastWireBytes("mfc1k", true, [](Orvex& ov, WireCount&) {
    for (int s = 0; s < 16; ++s) {
      unsigned char key[6] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
      if (ov.OV_KeyAuthorization(kAnyReader, 0x60, s * 4, key) != 1) return false;
      for (int b = 0; b < 4; ++b) {
        unsigned char block[16];
        if (ov.OV_ReadaBlock(kAnyReader, s * 4 + b, 16, block) != 1) return false;
      }
    }
    return true;
  }, frames);
}

// The NTAG216's 231 pages in FAST_READs, each of as many pages as its
// answer carries within the read's deadline on a line at baud, at most 51
// (the most one FAST_READ carries; at 19200 bit/s the answer of 51 pages
// takes 111 ms, past the 100 ms its read waits, so no program reading the
// tag at that speed can make it). Each read is made with the most pages
// first, and with fewer while its answer frame as it crossed the line
// (escaped bytes included) is longer than the deadline lets through; only
// the read kept is counted. With whole_command, also the selection and the
// GET_VERSION that tells the tag's size, without which no tool can know how
// many pages to read.
constexpr int kNtag216Pages = 231;
constexpr int kPagesPerFastRead = 51;
size_t Ntag216WireBytes(bool whole_command, int baud, int* frames) {
  const int in_time = orvex::deadline::Ms(orvex::deadline::kNtag) * baud / 10 / 1000;
  return LeastWireBytes("ntag216", whole_command, [whole_command, in_time](Orvex& ov, WireCount& count) {
    unsigned char version[ORVEX_MAX_ANSWER];
    if (whole_command && ov.OV_NTag_GetVersion(kAnyReader, version) != 1) return false;
    for (int first = 0; first < kNtag216Pages;) {
      int pages = std::min(kPagesPerFastRead, kNtag216Pages - first);
      for (;; --pages) {
        if (pages == 0) return false;
        const WireCount before = count;
        int len = 0;
        unsigned char buf[ORVEX_MAX_ANSWER];
        if (ov.OV_NTag_FastRead(kAnyReader, first, first + pages - 1, &len, buf) != 1 || len != pages * 4)
          return false;
        if (count.last_answer <= in_time) break;
        count = before;
      }
      first += pages;
    }
    return true;
  }, frames);
}

// Times `orvex --device PTY@BAUD <command...>` against orvex-sim paced at
// baud with card in its field; the command must succeed.
void TimeToolCommand(benchmark::State& state, const std::string& card, const std::vector<std::string>& command,
                     size_t wire_bytes, int wire_frames) {
  const int baud = static_cast<int>(state.range(0));
  if (wire_bytes == 0) {
    state.SkipWithError("the least exchanges could not be made on the simulated reader");
    return;
  }
  ToolEnvironment env;
  SimProcess sim({"--baud", std::to_string(baud), "--card", card}, env.envp());
  if (sim.path().empty()) {
    state.SkipWithError("orvex-sim did not start");
    return;
  }
  std::vector<std::string> args{Program("ORVEX_TOOL", ORVEX_TOOL_PROGRAM), "--device",
                                sim.path() + "@" + std::to_string(baud)};
  args.insert(args.end(), command.begin(), command.end());
  const double wire = static_cast<double>(wire_bytes) * 10.0 / baud;
  std::vector<double> took;
  for (auto _ : state) {
    auto t0 = Clock::now();
    Child tool = Spawn(args, false, false, env.envp());
    int status = Wait(tool);
    took.push_back(Seconds(Clock::now() - t0));
    if (status != 0) {
      state.SkipWithError(("orvex exited with status " + std::to_string(status)).c_str());
      return;
    }
  }
  state.counters["tool_ms"] = Median(took) * 1e3;
  state.counters["wire_ms"] = wire * 1e3;
  state.counters["ratio"] = Median(took) / wire;
  state.counters["wire_bytes"] = static_cast<double>(wire_bytes);
  state.counters["wire_frames"] = wire_frames;
}

void BM_ToolMfcDump(benchmark::State& state) {
  int frames = 0;
  size_t bytes = Mfc1kWireBytes(&frames);
  char out[] = "/tmp/orvex-bench-dump.XXXXXX";
  int fd = mkstemp(out);
  if (fd < 0) {
    state.SkipWithError("no temporary file");
    return;
  }
  close(fd);
  TimeToolCommand(state, "mfc1k", {"mfc", "dump", out}, bytes, frames);
  unlink(out);
  unlink((std::string(out) + ".keys").c_str());
}
BENCHMARK(BM_ToolMfcDump)->ArgName("baud")->Arg(19200)->Arg(38400)->Iterations(3)->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void BM_ToolNtagDump(benchmark::State& state) {
  int frames = 0, all_frames = 0;
  const int baud = static_cast<int>(state.range(0));
  size_t bytes = Ntag216WireBytes(false, baud, &frames);
  size_t all = Ntag216WireBytes(true, baud, &all_frames);
  TimeToolCommand(state, "ntag216", {"ntag", "dump"}, bytes, frames);
  // Beside the reads alone: the least exchanges of the whole command.
  if (all == 0 || !state.counters.count("tool_ms")) return;
  const double wire = static_cast<double>(all) * 10.0 / static_cast<double>(state.range(0));
  state.counters["command_wire_ms"] = wire * 1e3;
  state.counters["command_ratio"] = state.counters["tool_ms"] / 1e3 / wire;
  state.counters["command_frames"] = all_frames;
}
BENCHMARK(BM_ToolNtagDump)->ArgName("baud")->Arg(19200)->Iterations(3)->UseRealTime()
    ->Unit(benchmark::kMillisecond);

// Each iteration starts `orvex scan --wait` on an empty field, lets it look
// at the field for a while (a different while each time, so that the
// placing falls on every phase of its polling), places a card and times the
// tool's first line of output.
void BM_ToolScanWait(benchmark::State& state) {
  const int baud = static_cast<int>(state.range(0));
  ToolEnvironment env;
  SimProcess sim({"--baud", std::to_string(baud), "--empty"}, env.envp());
  if (sim.path().empty()) {
    state.SkipWithError("orvex-sim did not start");
    return;
  }
  const std::vector<std::string> args{Program("ORVEX_TOOL", ORVEX_TOOL_PROGRAM), "--device",
                                      sim.path() + "@" + std::to_string(baud), "scan", "--wait"};
  std::vector<double> took;
  int i = 0;
  for (auto _ : state) {
    Child tool = Spawn(args, false, true, env.envp());
    std::this_thread::sleep_for(std::chrono::milliseconds(400 + (i++ * 37) % 300));
    auto t0 = Clock::now();
    std::string line;
    bool placed = sim.Say("place mfc1k");
    bool reported = placed && ReadLine(tool.out, line, 5000);
    took.push_back(Seconds(Clock::now() - t0));
    if (!reported) kill(tool.pid, SIGTERM);
    int status = Wait(tool);
    close(tool.out);
    if (!reported || status != 0 || line.rfind("iso14443a", 0) != 0) {
      state.SkipWithError(("scan --wait did not report the card (status " + std::to_string(status) + ", \"" +
                           line + "\")").c_str());
      return;
    }
    sim.Say("remove all");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    sim.DrainOutput();
  }
  state.counters["median_ms"] = Median(took) * 1e3;
  state.counters["max_ms"] = *std::max_element(took.begin(), took.end()) * 1e3;
}
BENCHMARK(BM_ToolScanWait)->ArgName("baud")->Arg(19200)->Iterations(9)->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
