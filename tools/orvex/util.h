// SPDX-License-Identifier: MIT
// Small helpers of the orvex tool: hex text, result checks, output.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "atomic_file.h"
#include "device.h"

namespace orvextool {

using Bytes = std::vector<uint8_t>;
using Json = nlohmann::ordered_json;

// "00A4 04:00" -> bytes; separators (space, colon, dash) are skipped. Throws
// a usage Failure naming `what` for anything else or an odd digit count.
Bytes ParseHex(const std::string& text, const std::string& what);
Bytes ParseHexArgs(const std::vector<std::string>& args, const std::string& what);
std::string Hex(const uint8_t* p, size_t n);
inline std::string Hex(const Bytes& b) { return Hex(b.data(), b.size()); }

// Messages on standard error, one line each: "orvex: TEXT" for an error or
// a note, "orvex: warning: TEXT" for a warning. On a terminal the prefix is
// coloured (red for an error, yellow for a warning, plain for a note),
// never when NO_COLOR is set to anything or TERM is "dumb", nor when
// standard error is a file or a pipe.
enum class Severity { kError, kWarning, kNote };
void Say(Severity severity, const std::string& text);
inline void Warn(const std::string& text) { Say(Severity::kWarning, text); }
// Whether the messages on standard error are coloured (see Say).
bool ColourOnStderr();

// Turns a library result into a Failure, in words. `what` names the step
// ("reading the version"). When the link saw the exchange fail (no answer
// within the command's deadline, a malformed frame), its words say so, with
// the time it waited; a -1 the link did not see is the reader's refusal or
// an answer the command could not use. Commands on the reader itself give
// -1 for a refusal too.
void CheckReader(int rc, const std::string& what);

// How many units (pages, blocks) of unit_bytes one read may ask for, at most
// max_units, so that its answer crosses the line within 90 % of the read's
// deadline at the line's speed: 10 bits a byte, every byte possibly escaped
// (twice its size), 12 bytes of framing. With escaped false, the answer's
// bytes are counted once each: the read fits unless its data holds bytes
// that are escaped (02, 03, 10), and a reader of it must be ready for an
// answer cut off by its deadline. Over USB (bits_per_second 0), which the
// line speed does not bound, max_units.
int UnitsPerRead(int bits_per_second, int deadline_ms, int unit_bytes, int max_units, bool escaped = true);

// A key given to an option: "@FILE" reads it from FILE, "-" from standard
// input (in hex; "#" starts a comment; the first key of the text). Anything
// else is the key itself in hex, taken with a warning on standard error:
// the command line is visible to other users (ps) and kept in the shell's
// history.
Bytes KeyFromOption(const std::string& given, const std::string& what);

// ---- Files ---------------------------------------------------------------------
// Reads a whole input file ("-" is standard input) of at most max_bytes. A
// directory, an unreadable file, or input longer than max_bytes (a device or
// pipe that never ends) is a usage Failure naming the file (exit status 2).
Bytes ReadInput(const std::string& path, const std::string& what, size_t max_bytes);

// An output file written so that a failed or interrupted command leaves any
// previous file as it was: the bytes go to a temporary file beside it, which
// replaces it only in Commit. The constructor checks that the file can be
// written at all (before a long read of a card begins). "-" is standard
// output. mode: the new file's permissions (0600 for files that hold keys).
class OutputFile {
 public:
  OutputFile(const std::string& path, const std::string& what, unsigned mode);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  void Commit(const Bytes& data);
  const std::string& path() const { return path_; }

 private:
  std::string path_, what_;
  std::unique_ptr<orvexformats::AtomicFile> file_;  // none for standard output
};

// Card commands, as CheckReader: -1 a failed exchange (the link's words) or
// an answer the command could not use, -3 the reader refused (no card,
// wrong key); `refused` words the refusal for this step.
void CheckCard(int rc, const std::string& what, const std::string& refused);

// Where results go: text lines on standard output, or one JSON document.
class Output {
 public:
  explicit Output(bool json) : json_(json) {}
  bool json() const { return json_; }
  // True once JsonLine has written a line: the output is a stream of lines.
  bool streamed() const { return streamed_; }
  Json& doc() { return doc_; }
  // A text line (dropped in JSON mode).
  void Line(const std::string& s) {
    if (!json_) std::printf("%s\n", s.c_str());
  }
  // Label and value, aligned, in text mode; the value also goes into the
  // JSON document under key.
  void Field(const std::string& key, const std::string& label, const Json& value,
             const std::string& text);
  // One JSON document on a line of its own, sent at once (a stream of
  // events, as watch writes them); the document is then not printed at the
  // end.
  void JsonLine(const Json& j);
  // Text lines written so far reach the reader of standard output now.
  void Flush() { std::fflush(stdout); }
  void Finish();

 private:
  bool json_;
  bool streamed_ = false;
  Json doc_ = Json::object();
};

// While one lives, SIGINT and SIGTERM do not end the program: they ask the
// command to stop at its next safe point (between two block writes, between
// two looks at the field), which it checks with Requested().
class StopSignals {
 public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;
  static bool Requested();
};

// A progress bar on standard error, drawn only when it is a terminal.
class Progress {
 public:
  // -q: no progress bar at all (set for each run of the tool).
  static void Silence(bool silent) { silenced_ = silent; }
  Progress(const std::string& label, int total);
  ~Progress();
  void Step(int done);

 private:
  static bool silenced_;
  std::string label_;
  int total_;
  bool tty_;
};

}  // namespace orvextool
