// SPDX-License-Identifier: MIT
// The exchange against the simulated reader on a pseudo-terminal.
//
// Every figure is a ratio of two things measured in the same run, so that
// the load of a shared machine falls on both sides alike:
//  - software floor: the library's round trip over the raw write of the same
//    command bytes and blocking read of the same answer bytes, on the same
//    descriptor, against the same simulator, the two interleaved;
//  - wire floor: the library's round trip with the simulator paced at a line
//    speed, over the time the command and answer frames take on that line;
//  - a whole MIFARE Classic 1K dump at 38400 bits per second over the sum of
//    its frames' wire times;
//  - the CPU the calling thread spends per exchange, and while it waits for
//    an answer that takes 500 ms.
// Counters ending in _us are microseconds; each is the median of the run.
#include <benchmark/benchmark.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <fcntl.h>
#include <thread>

#include "link/untFunction.h"
#include "orvexsim/frame.h"
#include "rig.h"

namespace bench {
namespace {

// One typical command, interleaved: each iteration runs it once through the
// library and once raw (write the frame, read exactly the answer's bytes),
// in alternating order so that neither side always goes first.
struct Interleaved {
  const Command& c;
  Bytes command, answer;
  std::vector<double> lib, raw, lib_cpu, raw_cpu;  // seconds, one per exchange

  // Sets the reader up (the card selected for a block read) and learns the
  // answer's bytes from one raw exchange. False (and the run skipped) when
  // that fails.
  Interleaved(benchmark::State& state, Rig& rig, const Command& cmd) : c(cmd) {
    if (!rig.ok() || (c.code == 0x29 && !rig.SelectCard())) {
      state.SkipWithError("the simulated reader could not be set up");
      return;
    }
    command = SerialFrame(c);
    answer = RawExchange(rig.fd(), command);
    if (answer.empty()) state.SkipWithError("no answer to the raw command");
  }
  bool ok() const { return !answer.empty(); }

  void Run(benchmark::State& state, Rig& rig) {
    Bytes buf(answer.size());
    bool lib_first = false;
    for (auto _ : state) {
      lib_first = !lib_first;
      for (int side = 0; side < 2; ++side) {
        const bool library = (side == 0) == lib_first;
        double cpu0 = ThreadCpu();
        double t0 = Now();
        bool ok = library ? LibraryCall(rig.ov(), c) == 1
                          : RawRoundTrip(rig.fd(), command, buf.data(), buf.size());
        double t1 = Now();
        double cpu1 = ThreadCpu();
        if (!ok) {
          state.SkipWithError(library ? "the library exchange failed" : "the raw exchange failed");
          return;
        }
        (library ? lib : raw).push_back(t1 - t0);
        (library ? lib_cpu : raw_cpu).push_back(cpu1 - cpu0);
      }
    }
    if (buf != answer) state.SkipWithError("the raw answer changed");
    state.counters["lib_us"] = Median(lib) * 1e6;
    state.counters["raw_us"] = Median(raw) * 1e6;
    state.counters["lib_cpu_us"] = Median(lib_cpu) * 1e6;
    state.counters["raw_cpu_us"] = Median(raw_cpu) * 1e6;
    state.counters["wire_bytes"] = static_cast<double>(command.size() + answer.size());
    state.SetLabel(c.name);
  }
};

void BM_SoftwareFloor(benchmark::State& state) {
  Rig rig(0);
  Interleaved run(state, rig, TypicalCommand(static_cast<int>(state.range(0))));
  if (!run.ok()) return;
  run.Run(state, rig);
  state.counters["ratio"] = Median(run.lib) / Median(run.raw);
}
BENCHMARK(BM_SoftwareFloor)
    ->ArgName("cmd")
    ->DenseRange(0, 2)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);

// The same command through a link of the application's own (OrvexLink, made
// current by a scope around each call) and through the process-wide link,
// interleaved in one run, each to a simulated reader of its own.
void BM_OwnedLinkFloor(benchmark::State& state) {
  Rig rig(0);
  const Command& c = TypicalCommand(static_cast<int>(state.range(0)));
  orvexsim::Simulator other;
  orvexsim::SerialServer server(other);
  server.Start();
  OrvexLink link((server.path() + "@38400").c_str());
  if (!rig.ok() || !link.IsOpen() || c.code == 0x29) {
    state.SkipWithError("the simulated readers could not be set up");
    return;
  }
  std::vector<double> def, own;
  bool own_first = false;
  for (auto _ : state) {
    own_first = !own_first;
    for (int side = 0; side < 2; ++side) {
      const bool owned = (side == 0) == own_first;
      double t0 = Now();
      int r;
      if (owned) {
        OrvexLinkScope scope(link);
        r = LibraryCall(rig.ov(), c);
      } else {
        r = LibraryCall(rig.ov(), c);
      }
      double t1 = Now();
      if (r != 1) {
        state.SkipWithError(owned ? "the owned link's exchange failed" : "the process-wide exchange failed");
        return;
      }
      (owned ? own : def).push_back(t1 - t0);
    }
  }
  state.counters["owned_us"] = Median(own) * 1e6;
  state.counters["default_us"] = Median(def) * 1e6;
  state.counters["ratio"] = Median(own) / Median(def);
  state.SetLabel(c.name);
  link.Close();
  server.Stop();
}
BENCHMARK(BM_OwnedLinkFloor)->ArgName("cmd")->DenseRange(0, 1)->UseRealTime()->Unit(benchmark::kMicrosecond);

void BM_WireFloor(benchmark::State& state) {
  const int baud = static_cast<int>(state.range(1));
  Rig rig(baud);
  Interleaved run(state, rig, TypicalCommand(static_cast<int>(state.range(0))));
  if (!run.ok()) return;
  run.Run(state, rig);
  const double wire = WireSeconds(run.command.size() + run.answer.size(), baud);
  state.counters["wire_us"] = wire * 1e6;
  state.counters["ratio"] = Median(run.lib) / wire;
  state.counters["raw_ratio"] = Median(run.raw) / wire;
  // What the round trip takes beyond 1.02 times the wire time.
  state.counters["excess_us"] = (Median(run.lib) - 1.02 * wire) * 1e6;
}
BENCHMARK(BM_WireFloor)
    ->ArgNames({"cmd", "baud"})
    ->ArgsProduct({{0, 1, 2}, {9600, 19200, 38400}})
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

// A whole MIFARE Classic 1K: for each of the 16 sectors an authentication
// with key A, then its 4 blocks read (the trailer with its keys masked).
Command Authenticate(int sector) {
  Bytes d = {0x60, static_cast<uint8_t>(sector * 4), 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  return Command{"KeyAuthorization", 0x28, d, 5};
}
Command ReadBlock(int block) { return Command{"ReadaBlock", 0x29, {static_cast<uint8_t>(block)}, 10}; }

void BM_Dump1K(benchmark::State& state) {
  const int baud = static_cast<int>(state.range(0));
  Rig rig(baud);
  if (!rig.ok() || !rig.SelectCard()) {
    state.SkipWithError("the simulated reader could not be set up");
    return;
  }
  std::vector<Command> dump;
  for (int s = 0; s < 16; ++s) {
    dump.push_back(Authenticate(s));
    for (int b = 0; b < 4; ++b) dump.push_back(ReadBlock(s * 4 + b));
  }
  // The bytes on the wire, both ways, from one raw dump.
  size_t wire_bytes = 0;
  std::vector<Bytes> frames;
  std::vector<double> wires;  // each exchange's own wire time
  for (const Command& c : dump) {
    frames.push_back(SerialFrame(c));
    Bytes answer = RawExchange(rig.fd(), frames.back());
    if (answer.empty()) {
      state.SkipWithError("no answer to the raw dump");
      return;
    }
    wire_bytes += frames.back().size() + answer.size();
    wires.push_back(WireSeconds(frames.back().size() + answer.size(), baud));
  }
  const double wire = WireSeconds(wire_bytes, baud);
  // Each iteration dumps the card through the library and, for reference,
  // with raw writes and reads on the same line (in alternating order).
  std::vector<double> took, raw, auth_excess, read_excess;
  bool lib_first = false;
  for (auto _ : state) {
    lib_first = !lib_first;
    for (int side = 0; side < 2; ++side) {
      const bool library = (side == 0) == lib_first;
      double t0 = Now();
      for (size_t i = 0; i < frames.size(); ++i) {
        double e0 = Now();
        bool ok = library ? LibraryCall(rig.ov(), dump[i]) == 1 : !RawExchange(rig.fd(), frames[i]).empty();
        if (!ok) {
          state.SkipWithError("a dump command failed");
          return;
        }
        // How long each library exchange took beyond its own wire time.
        if (library) (dump[i].code == 0x28 ? auth_excess : read_excess).push_back(Now() - e0 - wires[i]);
      }
      (library ? took : raw).push_back(Now() - t0);
    }
  }
  state.counters["dump_ms"] = Median(took) * 1e3;
  state.counters["raw_ms"] = Median(raw) * 1e3;
  state.counters["wire_ms"] = wire * 1e3;
  state.counters["ratio"] = Median(took) / wire;
  state.counters["raw_ratio"] = Median(raw) / wire;
  state.counters["auth_excess_us"] = Median(auth_excess) * 1e6;
  state.counters["read_excess_us"] = Median(read_excess) * 1e6;
  state.counters["wire_bytes"] = static_cast<double>(wire_bytes);
}
BENCHMARK(BM_Dump1K)->ArgName("baud")->Arg(38400)->UseRealTime()->Unit(benchmark::kMillisecond);

// A reader that takes its time: a peer on a pseudo-terminal of its own that
// answers the version request 500 ms late, either wholly or after sending the
// first bytes of its answer at once (the answer wait then runs in the
// library's collection loop rather than in its first read).
class SlowPeer {
 public:
  SlowPeer(bool split, int delay_ms) : split_(split), delay_ms_(delay_ms) {
    master_ = posix_openpt(O_RDWR | O_NOCTTY);
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) return;
    path_ = ptsname(master_);
    keeper_ = open(path_.c_str(), O_RDWR | O_NOCTTY);
    struct termios t;
    if (keeper_ >= 0 && tcgetattr(keeper_, &t) == 0) {
      cfmakeraw(&t);
      tcsetattr(keeper_, TCSANOW, &t);
    }
    thread_ = std::thread([this] { Serve(); });
  }
  ~SlowPeer() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    if (keeper_ >= 0) close(keeper_);
    if (master_ >= 0) close(master_);
  }
  const std::string& path() const { return path_; }

 private:
  void Serve() {
    const Bytes answer = orvexsim::EncodeSerialAnswer(kReader, 0x04, 0x00, {0x01, 0x07});
    const size_t head = split_ ? 3 : 0;
    uint8_t buf[512];
    while (!stop_) {
      struct pollfd p = {master_, POLLIN, 0};
      if (poll(&p, 1, 50) <= 0) continue;
      ssize_t n = read(master_, buf, sizeof buf);
      if (n <= 0 || buf[n - 1] != 0x03) continue;  // one command frame per write
      if (head > 0) (void)!write(master_, answer.data(), head);
      std::this_thread::sleep_for(std::chrono::milliseconds(delay_ms_));
      (void)!write(master_, answer.data() + head, answer.size() - head);
    }
  }

  bool split_;
  int delay_ms_;
  int master_ = -1, keeper_ = -1;
  std::string path_;
  std::thread thread_;
  std::atomic<bool> stop_{false};
};

void BM_SlowAnswer(benchmark::State& state) {
  const bool split = state.range(0) != 0;
  SlowPeer peer(split, 500);
  Orvex ov;
  if (peer.path().empty() || ov.OV_ComInitialDevice(peer.path().c_str(), 38400) != 1) {
    state.SkipWithError("the slow peer could not be set up");
    return;
  }
  std::vector<double> wall, cpu;
  for (auto _ : state) {
    double cpu0 = ThreadCpu();
    double t0 = Now();
    // The split answer needs a deadline beyond 500 ms: 1 s, as a block read.
    orvex::Answer a;
    int r = split ? orvex::Transact(0x04, kReader, orvex::Field(), 10, a)
                  : ov.OV_GetReaderVersion(kReader);
    double t1 = Now();
    double cpu1 = ThreadCpu();
    if (r <= 0) {
      state.SkipWithError("no answer from the slow peer");
      break;
    }
    wall.push_back(t1 - t0);
    cpu.push_back(cpu1 - cpu0);
  }
  ov.OV_ComFree();
  state.counters["wait_ms"] = Median(wall) * 1e3;
  state.counters["cpu_us"] = Median(cpu) * 1e6;
  state.counters["cpu_pct"] = Median(cpu) / Median(wall) * 100.0;
  state.SetLabel(split ? "first bytes at once, the rest 500 ms later" : "whole answer 500 ms late");
}
BENCHMARK(BM_SlowAnswer)->ArgName("split")->Arg(0)->Arg(1)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace bench
