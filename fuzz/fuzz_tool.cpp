// SPDX-License-Identifier: MIT
// The orvex tool on hostile files and arguments: its command line, run
// whole (the tool's own main, built here under another name), with the files
// it reads made of the fuzzer's bytes: MIFARE Classic dumps (.mfd) and their
// key records, key files, NDEF message files, PNG images for the display,
// APDU and access byte arguments, and memory images loaded into the
// simulated reader.
//
// Input: one byte choosing the command line, then up to three parts, each a
// 2-byte length (low byte first) and that many bytes (a part cut short by
// the input's end takes what is left). Every file lives in a private
// directory made for this process; nothing outside it is written. Commands
// that would talk to a reader are given a device path that does not exist,
// except the --sim-load line, which runs the tool's simulated reader.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

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
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const std::vector<std::string> part = Parts(data + 1, size - 1, 3);
  const std::string dump = g_dir + "/dump.mfd", keys = g_dir + "/keys", file = g_dir + "/input";
  const std::string nowhere = g_dir + "/no-reader";
  int rc = 0;
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
