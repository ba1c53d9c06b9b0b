// SPDX-License-Identifier: MIT
#include "util.h"

#include "device.h"
#include "hex_text.h"
#include "text_lines.h"

#include <errno.h>
#include <signal.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <csignal>
#include <cstring>

namespace orvextool {

Bytes ParseHex(const std::string& text, const std::string& what) {
  Bytes out;
  orvexformats::HexRefusal refusal = orvexformats::HexRefusal::kNone;
  if (!orvexformats::ParseHexBytes(text, out, nullptr, &refusal))
    throw Failure(what + ": \"" + orvexformats::Printable(text) + "\" " +
                      (refusal == orvexformats::HexRefusal::kOddDigits ? "has an odd number of hex digits"
                                                                       : "is not hexadecimal"),
                  2);
  return out;
}

Bytes ParseHexArgs(const std::vector<std::string>& args, const std::string& what) {
  std::string all;
  for (const auto& a : args) all += a + " ";
  return ParseHex(all, what);
}

std::string Hex(const uint8_t* p, size_t n) { return orvexformats::HexText(p, n); }

bool ColourOnStderr() {
  static const bool on = [] {
    const char* no_colour = std::getenv("NO_COLOR");
    const char* term = std::getenv("TERM");
    if (no_colour != nullptr && no_colour[0] != '\0') return false;
    if (term == nullptr || std::strcmp(term, "dumb") == 0) return false;
    return isatty(2) == 1;
  }();
  return on;
}

void Say(Severity severity, const std::string& text) {
  const bool colour = ColourOnStderr();
  const char* paint = severity == Severity::kError ? "\033[1;31m" : severity == Severity::kWarning ? "\033[1;33m" : "";
  std::string prefix = severity == Severity::kWarning ? "orvex: warning:" : "orvex:";
  if (colour && paint[0] != '\0') prefix = paint + prefix + "\033[0m";
  std::fprintf(stderr, "%s %s\n", prefix.c_str(), text.c_str());
}

Bytes KeyFromOption(const std::string& given, const std::string& what) {
  if (given.empty() || (given[0] != '@' && given != "-")) {
    Warn("the key given with " + what +
         " is visible to other users (ps) and stays in the shell history; give @FILE or - (standard input) "
         "instead");
    return ParseHex(given, what);
  }
  const std::string path = given == "-" ? "-" : given.substr(1);
  constexpr size_t kMaxKeyFile = 64 * 1024;
  Bytes text = ReadInput(path, what + " key file", kMaxKeyFile);
  const auto lines = orvexformats::ContentLines(std::string(text.begin(), text.end()));
  if (!lines.empty())
    return ParseHex(lines.front().text, what + " (" + (path == "-" ? std::string("standard input") : path) + ")");
  throw Failure(what + ": " + (path == "-" ? std::string("standard input") : path) + " holds no key", 2);
}

void CheckReader(int rc, const std::string& what) {
  if (rc == 1) return;
  // What the link saw of the last exchange names the real cause.
  if (rc == -1 && !LastLinkFailure().empty()) throw Failure(what + ": " + LastLinkFailure());
  if (rc == -1) throw Failure(what + ": the reader refused the command, or its answer was not one the command takes");
  throw Failure(what + ": failed (result " + std::to_string(rc) + ")");
}

void CheckCard(int rc, const std::string& what, const std::string& refused) {
  if (rc == 1) return;
  if (rc == -1 && !LastLinkFailure().empty()) throw Failure(what + ": " + LastLinkFailure());
  if (rc == -1) throw Failure(what + ": the reader's answer was not one the command takes (malformed or refused)");
  if (rc == -3) throw Failure(what + ": " + refused);
  throw Failure(what + ": failed (result " + std::to_string(rc) + ")");
}

Bytes ReadInput(const std::string& path, const std::string& what, size_t max_bytes) {
  int fd = path == "-" ? 0 : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) throw Failure(what + " " + path + ": " + std::strerror(errno), 2);
  struct stat st;
  if (fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
    if (fd != 0) close(fd);
    throw Failure(what + " " + path + ": is a directory, not a file", 2);
  }
  if (fd != 0) fcntl(fd, F_SETFL, 0);  // blocking reads from here on (a FIFO waits for its writer)
  Bytes data;
  uint8_t buf[4096];
  for (;;) {
    ssize_t n = read(fd, buf, sizeof buf);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      int e = errno;
      if (fd != 0) close(fd);
      throw Failure(what + " " + path + ": " + std::strerror(e), 2);
    }
    if (n == 0) break;
    data.insert(data.end(), buf, buf + n);
    if (data.size() > max_bytes) {
      if (fd != 0) close(fd);
      throw Failure(what + " " + path + ": more than " + std::to_string(max_bytes) +
                        " bytes (not a file of the expected kind)",
                    2);
    }
  }
  if (fd != 0) close(fd);
  return data;
}

OutputFile::OutputFile(const std::string& path, const std::string& what, unsigned mode)
    : path_(path), what_(what) {
  if (path == "-") return;
  struct stat st;
  if (stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode))
    throw Failure(what + " " + path + ": is a directory", 2);
  file_ = std::make_unique<orvexformats::AtomicFile>(path, mode);
  if (!file_->ok()) throw Failure(what + " " + path + ": " + file_->error(), 2);
}

OutputFile::~OutputFile() = default;

void OutputFile::Commit(const Bytes& data) {
  if (path_ == "-") {
    if (fwrite(data.data(), 1, data.size(), stdout) != data.size() || fflush(stdout) != 0)
      throw Failure(what_ + ": cannot write to standard output");
    return;
  }
  if (!file_->Commit(data.data(), data.size())) throw Failure(what_ + " " + path_ + ": " + file_->error());
}

void Output::Field(const std::string& key, const std::string& label, const Json& value,
                   const std::string& text) {
  doc_[key] = value;
  std::string l = label + ":";
  if (l.size() < 16) l.resize(16, ' ');
  Line(l + text);
}

void Output::JsonLine(const Json& j) {
  streamed_ = true;
  std::printf("%s\n", j.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
  std::fflush(stdout);
}

void Output::Finish() {
  // Bytes from a card need not be UTF-8: such text is shown with
  // replacement characters rather than failing the whole document.
  if (json_ && !streamed_) std::printf("%s\n", doc_.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
  std::fflush(stdout);
}

namespace {
volatile std::sig_atomic_t g_stop = 0;
extern "C" void OnStopSignal(int) { g_stop = 1; }
struct sigaction g_old_int, g_old_term;
}  // namespace

StopSignals::StopSignals() {
  g_stop = 0;
  struct sigaction sa = {};
  sa.sa_handler = OnStopSignal;
  sigaction(SIGINT, &sa, &g_old_int);
  sigaction(SIGTERM, &sa, &g_old_term);
}

StopSignals::~StopSignals() {
  sigaction(SIGINT, &g_old_int, nullptr);
  sigaction(SIGTERM, &g_old_term, nullptr);
}

bool StopSignals::Requested() { return g_stop != 0; }

bool Progress::silenced_ = false;

Progress::Progress(const std::string& label, int total)
    : label_(label), total_(total > 0 ? total : 1), tty_(isatty(2) == 1 && !silenced_) {}

Progress::~Progress() {
  if (tty_) std::fprintf(stderr, "\n");
}

void Progress::Step(int done) {
  if (!tty_) return;
  const int width = 40;
  int filled = done * width / total_;
  std::string bar(static_cast<size_t>(filled), '#');
  bar.resize(width, '.');
  std::fprintf(stderr, "\r%s [%s] %d/%d", label_.c_str(), bar.c_str(), done, total_);
  std::fflush(stderr);
}

int UnitsPerRead(int bits_per_second, int deadline_ms, int unit_bytes, int max_units, bool escaped) {
  if (bits_per_second <= 0) return max_units;
  const double bytes_in_time = 0.9 * deadline_ms / 1000.0 * bits_per_second / 10.0;
  int units = static_cast<int>(((escaped ? bytes_in_time / 2.0 : bytes_in_time) - 12.0) / unit_bytes);
  return std::max(1, std::min(max_units, units));
}

}  // namespace orvextool
