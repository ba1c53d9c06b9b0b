// SPDX-License-Identifier: MIT
// The orvex tool's subcommands: each group adds its own to the program.
#pragma once

#include <functional>
#include <map>
#include <memory>

#include <CLI/CLI.hpp>

#include "apdu_script.h"
#include "device.h"
#include "orvex.h"
#include "util.h"

namespace orvextool {

// Shared by every subcommand: the global options, the output and the link
// (opened on first use, so that --help and argument errors need no reader).
class Context {
 public:
  DeviceOptions device;
  bool device_given = false;
  int reader_id = 0;
  bool json = false;
  bool quiet = false;        // -q: no notes, no progress
  std::vector<std::string> key_files;  // MIFARE Classic key lists of the configuration file
  int exit_status = 0;       // of a command that did its work, but not all of it
  std::string uid_text;      // --uid as given

  // The card chosen with --uid (empty: none chosen), parsed on first use.
  const Bytes& uid() {
    if (!uid_parsed_) {
      uid_ = ParseHex(uid_text, "--uid");
      uid_parsed_ = true;
    }
    return uid_;
  }
  // A note on standard error ("orvex: ..."), unless -q.
  void Note(const std::string& line) const {
    if (!quiet) Say(Severity::kNote, line);
  }
  // Why no card was found, in words: "no card in the field", or with --uid
  // "no card with UID ... in the field".
  std::string NoCard() {
    return uid().empty() ? "no card in the field" : "no card with UID " + Hex(uid()) + " in the field";
  }

  Output& out() { return *out_; }
  // Whether output was started and went out as a stream of JSON lines.
  bool streamed() const { return out_ && out_->streamed(); }
  void StartOutput() { out_ = std::make_unique<Output>(json); }
  // Opens the link when not yet open.
  void Open() {
    if (link_) return;
    if (!device_given) device.device = ChooseDevice();
    link_ = std::make_unique<Link>(device);
  }
  // The line speed of the open link in bit/s (0 on USB).
  int speed() const { return link_ ? link_->speed() : 0; }
  // Moves the open serial link to another line speed.
  void Reopen(int bits_per_second) { link_->Reopen(bits_per_second); }
  // True when the simulated reader answers (its results are no card's).
  bool simulated() const { return device.device == "sim"; }
  // At the end of a command: finishes the link (see Link::Finish) and closes it.
  void Finish() {
    if (link_) link_->Finish();
    link_.reset();
  }
  void Close() { link_.reset(); }
  Orvex ov;
  // A line saying that an action was done; from the simulated reader it
  // says so, so that nobody takes it for a card's result.
  void Done(const std::string& line) { out().Line(line + (simulated() ? " (simulated reader)" : "")); }

  // A subcommand's action, run after the whole command line was parsed.
  void Register(CLI::App* sub, std::function<void()> action) { actions_[sub] = std::move(action); }
  std::function<void()>* ActionFor(CLI::App* sub) {
    auto it = actions_.find(sub);
    return it == actions_.end() ? nullptr : &it->second;
  }

 private:
  std::unique_ptr<Output> out_;
  std::unique_ptr<Link> link_;
  Bytes uid_;
  bool uid_parsed_ = false;
  std::map<CLI::App*, std::function<void()>> actions_;
};

// The exit status of a command that did part of its work (a partial dump).
constexpr int kPartialExit = 3;

// Each Add...Commands binds its subcommands' options to static variables and
// sets them to their defaults every time it runs: each run of the tool starts
// from the defaults, also when one process runs the tool many times (the fuzz
// target), so that no option of one command line carries over to the next.
void AddReaderCommands(CLI::App& app, Context& ctx);
void AddCardCommands(CLI::App& app, Context& ctx);
void AddMifareCommands(CLI::App& app, Context& ctx);
void AddCryptoCommands(CLI::App& app, Context& ctx);
void AddNtagCommands(CLI::App& app, Context& ctx);
void AddNdefCommands(CLI::App& app, Context& ctx);
void AddVicinityCommands(CLI::App& app, Context& ctx);
void AddFelicaCommands(CLI::App& app, Context& ctx);
void AddTopazCommands(CLI::App& app, Context& ctx);
void AddStCommands(CLI::App& app, Context& ctx);
void AddAt88Commands(CLI::App& app, Context& ctx);
void AddSamCommands(CLI::App& app, Context& ctx);
void AddApduCommands(CLI::App& app, Context& ctx);
void AddLcdCommands(CLI::App& app, Context& ctx);
void AddListCommands(CLI::App& app, Context& ctx);
void AddSle4442Commands(CLI::App& app, Context& ctx);
void AddIdCommands(CLI::App& app, Context& ctx);
void AddMifarePlusCommands(CLI::App& app, Context& ctx);

// Makes sure the reader answers at all (its number), so that a command
// whose result cannot tell "no card" from "no reader" can say which.
void CheckReaderAnswers(Context& ctx, const std::string& what);

// Switches the reader's field off and on again: every card in it powers up
// afresh, idle, whatever an earlier command left it in (halted, selected).
void ResetField(Context& ctx, const std::string& what);

// After a write the card acknowledged: reads `what` ("block 5") back with
// read and compares it with the bytes written. A failed read, or other
// bytes, is a Failure that says the write itself was acknowledged. Returns
// the bytes read.
Bytes ReadBack(const std::string& what, const Bytes& written, const std::function<Bytes()>& read);

// Reads count bytes from addr in pieces of at most span bytes: read(at, n,
// buf) puts the n bytes from at into buf, or throws.
Bytes ReadInPieces(int addr, int count, int span, const std::function<void(int, int, unsigned char*)>& read);

// The APDUs of apdu and sam apdu: as arguments or from a script file (see
// apdu_script.h for the grammar), and whether 61XX and 6CXX are left alone.
struct ApduInput {
  std::vector<std::string> args;
  std::string script;
  bool raw = false;
};
void AddApduOptions(CLI::App* sub, ApduInput& in);

// The APDUs given, each at most max bytes; a usage Failure names the
// argument or the script's line that is malformed.
std::vector<orvexformats::ApduLine> ReadApdus(const ApduInput& in, const std::string& what, size_t max);

// Sends each APDU through send (one exchange: command APDU in, response
// APDU out), follows 61XX with GET RESPONSE and 6CXX with the command again
// with the right Le unless in.raw, and writes every exchange ("> command",
// "< data SW (meaning)") and the JSON "responses". A status word other than
// the one a line expects stops there with a Failure that names the line.
void ExchangeApdus(Context& ctx, const std::vector<orvexformats::ApduLine>& lines, const ApduInput& in,
                   const std::function<Bytes(const Bytes&)>& send);

}  // namespace orvextool
