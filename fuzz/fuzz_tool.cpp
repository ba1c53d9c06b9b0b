// SPDX-License-Identifier: MIT
// The orvex tool on hostile files and arguments: its command line, run
// whole (the tool's own main, built here under another name), with the files
// it reads made of the fuzzer's bytes: MIFARE Classic dumps (.mfd) and their
// key records, key files, NDEF message files, PNG images for the display,
// APDU and access byte arguments, and memory images loaded into the
// simulated reader.
//
// Input: one byte choosing the command line (modulo 16), then
//   0-7:  up to three parts, each a 2-byte length (low byte first) and that
//         many bytes (a part cut short by the input's end takes what is
//         left): the files and arguments of the command. Commands that would
//         talk to a reader are given a device path that does not exist,
//         except the --sim-load line, which runs the tool's simulated reader.
//   8-15: the reader's answers, one after the other: a status byte, a length
//         byte and that many data bytes each. A peer on a pseudo-terminal,
//         run by this process, answers every command frame the tool sends
//         with the next of them in a well-formed frame (the command and
//         reader number echoed, the checksum right), so that every answer
//         reaches the tool's own handling; once they are used up it refuses
//         (status 01). The tool talks to the peer's line as to any reader.
// Every file lives in a private directory made for this process; nothing
// outside it is written.
#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "orvexsim/frame.h"

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

// A reader that answers from the fuzzer's bytes, on the master side of a
// pseudo-terminal; the tool opens the slave side.
class Peer {
 public:
  Peer() {
    master_ = posix_openpt(O_RDWR | O_NOCTTY);
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) std::abort();
    path_ = ptsname(master_);
    thread_ = std::thread([this] { Loop(); });
  }
  const std::string& path() const { return path_; }
  // The answers of the next command line.
  void Script(const uint8_t* p, size_t n) {
    std::lock_guard<std::mutex> lock(mutex_);
    script_.assign(p, p + n);
    at_ = 0;
  }

 private:
  void Loop() {
    orvexsim::SerialFrameParser parser;
    std::vector<orvexsim::SerialFrameParser::Event> events;
    uint8_t buf[4096];
    for (;;) {
      pollfd pfd{master_, POLLIN, 0};
      if (poll(&pfd, 1, 100) <= 0) continue;
      ssize_t n = (pfd.revents & POLLIN) ? read(master_, buf, sizeof buf) : -1;
      if (n <= 0) {  // no slave open between two command lines
        usleep(1000);
        continue;
      }
      events.clear();
      parser.Feed(buf, static_cast<size_t>(n), orvexsim::SerialFrameParser::Clock::now(), events);
      for (const auto& ev : events) {
        if (ev.kind != orvexsim::SerialFrameParser::Event::Kind::kFrame) continue;
        uint8_t status = 0x01;
        orvexsim::Bytes answer;
        {
          std::lock_guard<std::mutex> lock(mutex_);
          if (at_ + 2 <= script_.size()) {
            status = script_[at_];
            size_t len = script_[at_ + 1];
            at_ += 2;
            if (len > script_.size() - at_) len = script_.size() - at_;
            answer.assign(script_.begin() + static_cast<long>(at_), script_.begin() + static_cast<long>(at_ + len));
            at_ += len;
          } else {
            at_ = script_.size();
          }
        }
        orvexsim::Bytes frame = orvexsim::EncodeSerialAnswer(ev.frame.reader, ev.frame.cmd, status, answer);
        if (write(master_, frame.data(), frame.size()) < 0) continue;
      }
    }
  }

  int master_ = -1;
  std::string path_;
  std::thread thread_;
  std::mutex mutex_;
  std::vector<uint8_t> script_;
  size_t at_ = 0;
};

Peer* g_peer = nullptr;

int Run(std::vector<std::string> args) {
  args.insert(args.begin(), "orvex");
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(&a[0]);
  argv.push_back(nullptr);
  return OrvexToolMain(static_cast<int>(args.size()), argv.data());
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  char tmpl[] = "/tmp/orvex-fuzz-tool-XXXXXX";
  if (mkdtemp(tmpl) == nullptr) std::abort();
  g_dir = tmpl;
  std::atexit(RemoveDir);
  // The tool's results are not looked at: its output goes nowhere.
  if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
  g_peer = new Peer;  // lives as long as the process: its thread never ends
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const std::vector<std::string> part = Parts(data + 1, size - 1, 3);
  const std::string dump = g_dir + "/dump.mfd", keys = g_dir + "/keys", file = g_dir + "/input";
  const std::string nowhere = g_dir + "/no-reader";
  int rc = 0;
  if (data[0] % 16 >= 8) {
    g_peer->Script(data + 1, size - 1);
    const std::string& line = g_peer->path();
    std::vector<std::vector<std::string>> commands = {
        {"info"},
        {"scan"},
        {"mfc", "dump", g_dir + "/out.mfd"},
        {"ntag", "dump"},
        {"iso15693", "read"},
        {"apdu", "00A4040007A0000000041010", "0084000008"},
        {"sam", "apdu", "0084000008"},
        {"ndef", "read"},
    };
    std::vector<std::string> args = {"--device", line};
    for (const auto& a : commands[data[0] % 8]) args.push_back(a);
    int rc = Run(args);
    if (rc < 0 || rc > 2) __builtin_trap();
    return 0;
  }
  switch (data[0] % 8) {
    case 0:  // restore: the dump, the key file and the dump's key record
      WriteFile(dump, part[0]);
      WriteFile(keys, part[1]);
      WriteFile(dump + ".keys", part[2]);
      rc = Run({"--device", nowhere, "mfc", "restore", dump, "--keys", keys});
      break;
    case 1:  // dump: the key file is read before the card
      WriteFile(keys, part[0]);
      unlink((dump + ".keys").c_str());
      rc = Run({"--device", nowhere, "mfc", "dump", g_dir + "/out.mfd", "--keys", keys});
      break;
    case 2:  // a sector trailer's access conditions
      rc = Run({"mfc", "acl", "--", Arg(part[0])});
      break;
    case 3:  // an NDEF message from a file
      WriteFile(file, part[0]);
      rc = Run({"ndef", "decode", "--file", file});
      break;
    case 4:  // an NDEF message in hex, relaxed
      rc = Run({"ndef", "decode", "--relaxed", "--", Arg(part[0])});
      break;
    case 5:  // APDUs, parsed before the reader is opened
      rc = Run({"--device", nowhere, "apdu", "--", Arg(part[0]), Arg(part[1])});
      break;
    case 6:  // a memory image in the simulated reader's field
      WriteFile(file, part[0]);
      rc = Run({"--device", "sim", "--sim-empty", "--sim-load", file, "scan"});
      break;
    case 7:  // a PNG image for the display reader, read before the reader is opened
      WriteFile(file, part[0]);
      rc = Run({"--device", nowhere, "lcd", "image", file});
      break;
  }
  // Every run ends with a status the tool documents: 0, 1 or 2.
  if (rc < 0 || rc > 2) __builtin_trap();
  return 0;
}
