// SPDX-License-Identifier: MIT
// Every orvex command against a reader that lies about its answers' length:
// a simulated reader holding the command's cards, whose answers to one
// command code (each code the command uses, in turn, so that the commands
// before it succeed and the tool's handling of that answer is reached) are
// stretched to the longest data field a frame carries, or cut to no byte or
// one. Whatever the reader sends, the tool ends with a result or a failure
// in words, never a crash; in the sanitizer build, where the tool itself is
// built with AddressSanitizer, a buffer the tool passes that is smaller than
// the size the header documents for it shows up here as an overflow.
#include <memory>
#include <set>

#include "classic_files.h"
#include "cli_support.h"
#include "every_command.h"
#include "fake_reader.h"
#include "orvex.h"
#include "orvexsim/card_kinds.h"
#include "orvexsim/mifare_classic.h"
#include "orvexsim/simulator.h"

namespace {

using namespace clitest;

enum class Shape { kLongest, kEmpty, kOneByte };

const char* Name(Shape s) {
  switch (s) {
    case Shape::kLongest: return "answers stretched to the longest data field";
    case Shape::kEmpty: return "answers cut to no data";
    case Shape::kOneByte: return "answers cut to one byte";
  }
  return "";
}

// A simulated reader with the cards an invocation's --sim-* options name,
// behind a fake reader that reshapes every answer to the command code
// `code` that has status 0 (refusals go through as they are, so that a
// command's failure paths run too); code -1 reshapes nothing. It records
// the command codes it was sent.
class LyingReader {
 public:
  LyingReader(const std::vector<std::string>& args, int code, Shape shape, std::vector<std::string>& rest)
      : sim_(Model(args)) {
    bool cards = false, empty = false;
    for (size_t i = 0; i < args.size(); ++i) {
      const std::string& a = args[i];
      if (a == "--sim-card" && i + 1 < args.size()) {
        std::string error;
        auto card = orvexsim::MakeCard(args[++i], 0, error);
        if (card) sim_.Insert(card);
        cards = true;
      } else if (a == "--sim-load" && i + 1 < args.size()) {
        std::string error;
        const std::string& path = args[++i];
        auto card = orvexsim::LoadClassic(path, orvexformats::FormatOfName(path), error);
        EXPECT_TRUE(card) << args[i] << ": " << error;
        if (card) sim_.Place(card);
        cards = true;
      } else if ((a == "--sim-screen" || a == "--sim-save" || a == "--sim-leave-after") && i + 1 < args.size()) {
        ++i;
      } else if (a == "--sim-empty") {
        empty = true;
      } else if (a != "--sim-display") {
        rest.push_back(a);
      }
    }
    if (!cards && !empty && sim_.display() == nullptr) {
      std::string error;
      sim_.Insert(orvexsim::MakeCard("mfc1k", 0, error));
    }
    reader_.SetResponder([this, code, shape](const orvex_test::Command& c) {
      codes_.insert(c.cmd);
      auto answer = sim_.Handle(c.reader, c.cmd, c.data);
      if (!answer) return orvex_test::Reply::Silence();
      orvex_test::Bytes data = answer->data;
      if (answer->status == 0 && c.cmd == code) {
        if (shape == Shape::kLongest) data.resize(ORVEX_MAX_ANSWER, 0xA5);
        if (shape == Shape::kEmpty) data.clear();
        if (shape == Shape::kOneByte) data.resize(1, 0xA5);
      }
      return orvex_test::Reply::Frame(answer->status, data);
    });
  }
  const std::string& path() const { return reader_.path(); }
  // The command codes sent so far (read once the tool has ended).
  const std::set<int>& codes() const { return codes_; }

 private:
  static orvexsim::ReaderModel Model(const std::vector<std::string>& args) {
    for (const auto& a : args)
      if (a == "--sim-display") return orvexsim::ReaderModel::kDisplayReader;
    return orvexsim::ReaderModel::kCardReader;
  }
  orvexsim::Simulator sim_;
  std::set<int> codes_;
  orvex_test::FakeReader reader_;  // last: its thread stops before the rest goes
};

class Hostile : public Cli {
 protected:
  void RunEvery(Shape shape) {
    SCOPED_TRACE(Name(shape));
    // The files some commands read, made first by the honest simulated
    // reader (a dump to restore, a picture to show).
    for (const CommandCase& c : EveryCommand(dir_)) ASSERT_EQ(Run(c.args).status, 0) << c.command;
    size_t runs = 0;
    for (const CommandCase& c : EveryCommand(dir_)) {
      std::set<int> codes;
      {
        std::vector<std::string> args;
        LyingReader honest(c.args, -1, shape, args);
        args.insert(args.begin(), {"--device", honest.path()});
        ASSERT_EQ(Run(args).status, 0) << c.command;
        codes = honest.codes();
      }
      for (int code : codes) {
        std::vector<std::string> args;
        LyingReader reader(c.args, code, shape, args);
        args.insert(args.begin(), {"--device", reader.path()});
        Result r = Run(args);
        ++runs;
        std::string shown = c.command + " (command code " + std::to_string(code) + "):";
        for (const auto& a : args) shown += " " + a;
        // 0 done, 1 the reader or card failed, 3 done in part; never a
        // signal (a sanitizer's report aborts the tool).
        EXPECT_TRUE(r.status == 0 || r.status == 1 || r.status == 3) << shown << ": status " << r.status << "\n"
                                                                       << r.err;
        EXPECT_EQ(r.err.find("Sanitizer"), std::string::npos) << shown << "\n" << r.err;
        EXPECT_EQ(r.err.find("runtime error"), std::string::npos) << shown << "\n" << r.err;
        if (r.status != 0) {
          EXPECT_EQ(r.err.rfind("orvex: ", 0), 0u) << shown << "\n" << r.err;
        }
      }
    }
    // Every command that talks to the reader was run once for each command
    // code it sends.
    EXPECT_GT(runs, 60u);
  }
};

TEST_F(Hostile, EveryCommandWithAnswersStretchedToTheLongestDataField) { RunEvery(Shape::kLongest); }
TEST_F(Hostile, EveryCommandWithAnswersCutToNothing) { RunEvery(Shape::kEmpty); }
TEST_F(Hostile, EveryCommandWithAnswersCutToOneByte) { RunEvery(Shape::kOneByte); }

}  // namespace
