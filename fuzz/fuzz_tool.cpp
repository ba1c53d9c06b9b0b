// SPDX-License-Identifier: MIT
// The orvex tool on hostile files, arguments and reader answers: its command
// line, run whole (the tool's own main, built here under another name), in
// this process, with the simulated reader linked straight into the tool's
// link (orvextool::SetSimConnector: no pseudo-terminal, no serving thread,
// nothing waits on a line).
//
// Input: a selector byte; selector % 9 chooses what runs.
//   0-7: files and arguments of the tool made of the fuzzer's bytes, against
//        the honest simulated reader: up to three parts follow, each a 2-byte
//        length (low byte first) and that many bytes (a part cut short by
//        the input's end takes what is left):
//          0 mfc restore: the dump, the key file and the dump's key record
//          1 mfc dump: the key file (read before the card)
//          2 mfc acl: a sector trailer's access bytes
//          3 ndef decode --file: an NDEF message file
//          4 ndef decode --relaxed: an NDEF message in hex
//          5 apdu: two APDU arguments, to the simulated CPU card
//          6 --sim-load: a memory image in the simulated field, then scan
//          7 lcd image: a PNG image, to the simulated display reader
//   8:   a command line of tests/cli/every_command.h (the one list of every
//        command, shared with the JSON schema and hostile-reader tests), so
//        that a command added there is fuzzed with no change here. Then:
//          2 bytes (low byte first) choosing the command line: the first one,
//            in the order of their hashes, whose hash (FNV-1a of its words,
//            16 bits; the next free value when two share one) is not below
//            this value, else the first; a line added to the list takes over
//            only the inputs that fall between its hash and the one below;
//          a flags byte: bit 0 --json, bit 1 --trace;
//          then one edit for each command frame the tool sends, applied to
//          the simulated reader's answer (the simulator still handles every
//          command; its state moves on as with the honest answer). An edit
//          is an op byte, op % 9:
//            0 the answer as it is      1 status := next byte
//            2 data cut to next byte    3 data stretched by the next 2 bytes
//                                         (low first, at most 1100) of 0xA5
//            4 data[next % len] ^= the byte after it
//            5 no answer at all (the line hangs up)
//            6 the encoded frame cut after next byte bytes
//            7 status, length byte, data from the input (a whole answer)
//            8 a 2-byte length (low first) and that many bytes, put on the
//              line as they are, in place of the frame
//          When the edits run out, the rest of the answers are honest.
// What the tool must do with any of it: end with status 0, 1, 2 or 3; when it
// fails, say so on standard error ("orvex: ..."); with
// --json, standard output is one JSON document. The sanitizers (this build
// has AddressSanitizer on the tool too) catch any buffer the tool passes
// smaller than the size the header documents for it.
//
// ORVEX_FUZZ_TOOL_SEEDS=DIR in the environment writes a seed for each
// command line into DIR at start-up.
//
// Nothing carries over from one input to the next: each run builds the
// tool's commands afresh (their options start from their defaults), a new
// simulator with the line's cards, and the files the command line reads are
// put back to what the honest run at start-up left (or removed when it left
// none). Every file lives in a private directory made for this process;
// nothing outside it is written.
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "device.h"
#include "every_command.h"
#include "link/untFunction.h"
#include "orvexsim/frame.h"
#include "orvexsim/simulator.h"
#include "transport/PCComm.h"

int OrvexToolMain(int argc, char** argv);

namespace {

std::string g_dir;

// The private directory goes when the fuzzer ends.
void RemoveDir() {
  std::error_code ignored;
  std::filesystem::remove_all(g_dir, ignored);
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream f(path, std::ios::binary | std::ios::trunc);
  f.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// The parts of the input after the selector byte.
std::vector<std::string> Parts(const uint8_t* p, size_t n, size_t count) {
  std::vector<std::string> parts;
  size_t i = 0;
  for (size_t k = 0; k < count; ++k) {
    size_t len = 0;
    if (i + 2 <= n) {
      len = static_cast<size_t>(p[i] | p[i + 1] << 8);
      i += 2;
    } else {
      i = n;
    }
    if (len > n - i) len = n - i;
    parts.emplace_back(reinterpret_cast<const char*>(p + i), len);
    i += len;
  }
  return parts;
}

// An argument made of the fuzzer's text: cut at its first NUL (a command
// line cannot carry one).
std::string Arg(const std::string& s) { return s.substr(0, s.find('\0')); }

// The serial line into the simulated reader of one run: every command frame
// the tool writes is handled by the simulator, and its answer, changed by
// the next edit of the input, is what the tool reads.
class EditedLine : public orvex::Line {
 public:
  void Reset(orvexsim::Simulator* sim, const uint8_t* edits, size_t n) {
    sim_ = sim;
    p_ = edits;
    end_ = edits + n;
    out_.clear();
    at_ = 0;
  }
  int Write(const unsigned char* p, int n) override {
    out_.clear();
    at_ = 0;
    events_.clear();
    parser_ = orvexsim::SerialFrameParser();
    parser_.Feed(p, static_cast<size_t>(n), orvexsim::SerialFrameParser::Clock::now(), events_);
    for (const auto& ev : events_) {
      if (ev.kind != orvexsim::SerialFrameParser::Event::Kind::kFrame || sim_ == nullptr) continue;
      std::optional<orvexsim::Reply> reply = sim_->Handle(ev.frame);
      if (reply) Answer(ev.frame, *reply);
    }
    return n;
  }
  int Read(unsigned char* p, int capacity, int) override {
    if (at_ >= out_.size()) return orvex::transport::kLineHungUp;
    size_t n = std::min(out_.size() - at_, static_cast<size_t>(capacity));
    std::copy(out_.begin() + static_cast<long>(at_), out_.begin() + static_cast<long>(at_ + n), p);
    at_ += n;
    return static_cast<int>(n);
  }

 private:
  int Next() { return p_ < end_ ? *p_++ : 0; }
  std::string Take(size_t n) {
    n = std::min(n, static_cast<size_t>(end_ - p_));
    std::string s(reinterpret_cast<const char*>(p_), n);
    p_ += n;
    return s;
  }
  void Answer(const orvexsim::CommandFrame& f, orvexsim::Reply reply) {
    int op = p_ < end_ ? Next() % 9 : 0;
    size_t cut = static_cast<size_t>(-1);
    switch (op) {
      case 1: reply.status = static_cast<uint8_t>(Next()); break;
      case 2: reply.data.resize(std::min(reply.data.size(), static_cast<size_t>(Next()))); break;
      case 3: {
        size_t more = static_cast<size_t>(Next());
        more |= static_cast<size_t>(Next()) << 8;
        reply.data.resize(std::min<size_t>(reply.data.size() + more, 1100), 0xA5);
        break;
      }
      case 4: {
        int at = Next(), x = Next();
        if (!reply.data.empty()) reply.data[static_cast<size_t>(at) % reply.data.size()] ^= static_cast<uint8_t>(x);
        break;
      }
      case 5: return;
      case 6: cut = static_cast<size_t>(Next()); break;
      case 7: {
        reply.status = static_cast<uint8_t>(Next());
        std::string d = Take(static_cast<size_t>(Next()));
        reply.data.assign(d.begin(), d.end());
        break;
      }
      case 8: {
        size_t len = static_cast<size_t>(Next());
        len |= static_cast<size_t>(Next()) << 8;
        std::string raw = Take(len);
        out_.assign(raw.begin(), raw.end());
        return;
      }
      default: break;
    }
    out_ = orvexsim::EncodeSerialAnswer(sim_->reader_number(), f.cmd, reply.status, reply.data);
    if (cut < out_.size()) out_.resize(cut);
  }

  orvexsim::Simulator* sim_ = nullptr;
  const uint8_t* p_ = nullptr;
  const uint8_t* end_ = nullptr;
  orvexsim::SerialFrameParser parser_;
  std::vector<orvexsim::SerialFrameParser::Event> events_;
  orvexsim::Bytes out_;
  size_t at_ = 0;
};

EditedLine g_line;
const uint8_t* g_edits = nullptr;  // the edits of the run about to start
size_t g_edit_count = 0;

bool Connect(orvexsim::Simulator& sim, OrvexLink& link) {
  g_line.Reset(&sim, g_edits, g_edit_count);
  OrvexLinkScope scope(link);
  return orvex::AttachLine_(&g_line) == 1;
}

struct Outcome {
  int status = 0;
  std::string out, err;
};

// One run of the tool, its standard output and error kept.
Outcome Run(std::vector<std::string> args, const uint8_t* edits = nullptr, size_t n = 0) {
  args.insert(args.begin(), "orvex");
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(&a[0]);
  argv.push_back(nullptr);
  g_edits = edits;
  g_edit_count = n;
  char *out_buf = nullptr, *err_buf = nullptr;
  size_t out_len = 0, err_len = 0;
  FILE* real_out = stdout;
  FILE* real_err = stderr;
  stdout = open_memstream(&out_buf, &out_len);
  stderr = open_memstream(&err_buf, &err_len);
  if (stdout == nullptr || stderr == nullptr) std::abort();
  Outcome r;
  r.status = OrvexToolMain(static_cast<int>(args.size()), argv.data());
  std::fclose(stdout);
  std::fclose(stderr);
  stdout = real_out;
  stderr = real_err;
  r.out.assign(out_buf, out_len);
  r.err.assign(err_buf, err_len);
  free(out_buf);
  free(err_buf);
  return r;
}

// A broken promise: what the tool wrote, then the finding.
[[noreturn]] void Broken(const Outcome& r, const char* why) {
  std::fprintf(stderr, "fuzz_tool: %s (status %d)\n-- standard output:\n%s\n-- standard error:\n%s\n", why, r.status,
               r.out.c_str(), r.err.c_str());
  __builtin_trap();
}

// What every run must show, whatever its input.
void Check(const Outcome& r, bool json) {
  if (r.status < 0 || r.status > 3) Broken(r, "an exit status the tool does not document");
  // A failure is said in words on standard error ("orvex: ..."). (Its
  // message may run over several lines: it quotes arguments as given.)
  if (r.status != 0 && r.err.rfind("orvex: ", 0) != 0 && r.err.find("\norvex: ") == std::string::npos)
    Broken(r, "a failure with no message on standard error");
  if (json && !nlohmann::json::accept(r.out)) Broken(r, "--json output that is not one JSON document");
}

// The command lines of every_command.h in the order of their hashes, and the
// files the honest run of each left behind (the fixtures the lines read).
struct CommandLine {
  uint16_t hash;
  std::vector<std::string> args;
};
std::vector<CommandLine> g_lines;
std::map<std::string, std::string> g_fixtures;  // path -> bytes

uint16_t Hash(const std::vector<std::string>& args) {
  uint32_t h = 2166136261u;
  for (std::string a : args) {
    // The private directory's name is not part of the line.
    for (size_t at; (at = a.find(g_dir)) != std::string::npos;) a.replace(at, g_dir.size(), "DIR");
    for (unsigned char c : a + '\x1f') h = (h ^ c) * 16777619u;
  }
  return static_cast<uint16_t>(h ^ (h >> 16));
}

// Puts back every fixture a command line names (and its key record).
void RestoreFixtures(const std::vector<std::string>& args) {
  for (const std::string& a : args) {
    std::string path = a.empty() || a[0] != '@' ? a : a.substr(1);
    if (path.rfind(g_dir + "/", 0) != 0) continue;
    for (const std::string& p : {path, path + ".keys"}) {
      auto f = g_fixtures.find(p);
      if (f != g_fixtures.end())
        WriteFile(p, f->second);
      else
        unlink(p.c_str());
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  char tmpl[] = "/tmp/orvex-fuzz-tool-XXXXXX";
  if (mkdtemp(tmpl) == nullptr) std::abort();
  g_dir = tmpl;
  std::atexit(RemoveDir);
  // No configuration file but none, no colour, no device from outside.
  setenv("XDG_CONFIG_HOME", g_dir.c_str(), 1);
  setenv("NO_COLOR", "1", 1);
  unsetenv("ORVEX_DEVICE");
  // What the tool writes to the descriptor itself goes nowhere.
  if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
  orvextool::SetSimConnector(Connect);
  // Every command line once, honestly and in order: the files later lines
  // read (a dump to restore, a picture) are made as the tests make them.
  for (const clitest::CommandCase& c : clitest::EveryCommand(g_dir)) {
    std::vector<std::string> args = {"--device", "sim"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    Outcome r = Run(args);
    if (r.status != 0) {
      std::fprintf(stderr, "fuzz_tool: %s failed with the honest simulated reader (%d):\n%s", c.command.c_str(),
                   r.status, r.err.c_str());
      std::abort();
    }
    g_lines.push_back({Hash(c.args), c.args});
  }
  std::stable_sort(g_lines.begin(), g_lines.end(), [](const CommandLine& a, const CommandLine& b) { return a.hash < b.hash; });
  // Two lines of one hash: the later one takes the next free value.
  for (size_t i = 1; i < g_lines.size(); ++i)
    if (g_lines[i].hash <= g_lines[i - 1].hash && g_lines[i - 1].hash < 0xFFFF)
      g_lines[i].hash = static_cast<uint16_t>(g_lines[i - 1].hash + 1);
  // ORVEX_FUZZ_TOOL_SEEDS=DIR: writes the seeds of the command lines into
  // DIR, two a line (honest answers, as text and with --json).
  if (const char* seeds = std::getenv("ORVEX_FUZZ_TOOL_SEEDS")) {
    for (const CommandLine& l : g_lines)
      for (uint8_t flags : {0, 1}) {
        const char input[] = {8, static_cast<char>(l.hash & 0xFF), static_cast<char>(l.hash >> 8),
                              static_cast<char>(flags)};
        char name[32];
        std::snprintf(name, sizeof name, "/line-%04x%s", l.hash, flags ? "-json" : "");
        WriteFile(seeds + std::string(name), std::string(input, sizeof input));
      }
  }
  for (const auto& e : std::filesystem::directory_iterator(g_dir)) {
    if (!e.is_regular_file()) continue;
    std::ifstream in(e.path(), std::ios::binary);
    g_fixtures[e.path().string()] = std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const int kind = data[0] % 9;
  if (kind == 8) {
    const uint16_t choice = size >= 3 ? static_cast<uint16_t>(data[1] | data[2] << 8) : 0;
    const uint8_t flags = size >= 4 ? data[3] : 0;
    auto it = std::lower_bound(g_lines.begin(), g_lines.end(), choice,
                               [](const CommandLine& l, uint16_t v) { return l.hash < v; });
    const CommandLine& line = it == g_lines.end() ? g_lines.front() : *it;
    RestoreFixtures(line.args);
    std::vector<std::string> args = {"--device", "sim"};
    if (flags & 1) args.push_back("--json");
    if (flags & 2) args.push_back("--trace");
    args.insert(args.end(), line.args.begin(), line.args.end());
    const size_t skip = std::min<size_t>(size, 4);
    Check(Run(args, data + skip, size - skip), flags & 1);
    return 0;
  }
  const std::vector<std::string> part = Parts(data + 1, size - 1, 3);
  const std::string dump = g_dir + "/dump.mfd", keys = g_dir + "/keys", file = g_dir + "/input";
  std::vector<std::string> args;
  switch (kind) {
    case 0:  // restore: the dump, the key file and the dump's key record
      WriteFile(dump, part[0]);
      WriteFile(keys, part[1]);
      WriteFile(dump + ".keys", part[2]);
      args = {"--device", "sim", "mfc", "restore", dump, "--keys", keys};
      break;
    case 1:  // dump: the key file is read before the card
      WriteFile(keys, part[0]);
      unlink((dump + ".keys").c_str());
      args = {"--device", "sim", "mfc", "dump", g_dir + "/out.mfd", "--keys", keys};
      break;
    case 2:  // a sector trailer's access conditions
      args = {"mfc", "acl", "--", Arg(part[0])};
      break;
    case 3:  // an NDEF message from a file
      WriteFile(file, part[0]);
      args = {"ndef", "decode", "--file", file};
      break;
    case 4:  // an NDEF message in hex, relaxed
      args = {"ndef", "decode", "--relaxed", "--", Arg(part[0])};
      break;
    case 5:  // APDUs, to the simulated CPU card
      args = {"--device", "sim", "--sim-card", "cpu", "apdu", "--", Arg(part[0]), Arg(part[1])};
      break;
    case 6:  // a memory image in the simulated reader's field
      WriteFile(file, part[0]);
      args = {"--device", "sim", "--sim-empty", "--sim-load", file, "scan"};
      break;
    case 7:  // a PNG image for the simulated display reader
      WriteFile(file, part[0]);
      args = {"--device", "sim", "--sim-display", "lcd", "image", file};
      break;
  }
  Check(Run(args), false);
  return 0;
}
