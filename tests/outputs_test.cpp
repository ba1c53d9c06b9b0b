// SPDX-License-Identifier: MIT
// Every method's buffers against a reader that answers every command with
// the same kind of answer: empty, short, exactly a documented size, one byte
// over it, as large as an answer can be and larger, with or without the
// command's leading data bytes echoed, refused with data, or with a bad
// checksum. After each call the output oracle checks that nothing was
// written past a documented size, that a failure left the outputs as they
// were and that every reported length is within its buffer, with nothing
// changed past it.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "output_oracle.h"
#include "reader_fixture.h"

namespace orvex_test {
namespace {

using fuzzmethods::Method;

const std::vector<Method>& Methods() {
  static const std::vector<Method> all = fuzzmethods::All();
  return all;
}

// How the fake reader answers every command of one call.
struct Answer {
  uint8_t status = 0;
  size_t length = 0;   // data bytes
  size_t echo = 0;     // leading data bytes copied from the command's
  bool bad_checksum = false;
  int then = -1;       // the byte after the echo: -1 the pattern, kZero a
                       // zero, else the command's data byte at that index
};
constexpr int kZero = 0x100;

std::string Describe(const Answer& a) {
  if (a.bad_checksum) return "an answer with a bad checksum";
  return "status " + std::to_string(a.status) + ", " + std::to_string(a.length) + " data bytes" +
         (a.echo ? ", " + std::to_string(a.echo) + " echoed" : "") +
         (a.then == kZero ? ", then 00" : a.then >= 0 ? ", then command byte " + std::to_string(a.then) : "");
}

// Empty, short, exact, one over and oversized answers for every documented
// size of the method's buffers.
std::vector<Answer> AnswersFor(const Method& m) {
  std::set<size_t> lengths = {0, 1, 2, 3, 9, 17, 64, 300, ORVEX_MAX_ANSWER, ORVEX_MAX_ANSWER + 60};
  for (const auto& b : m.buffers) {
    if (b.kind == fuzzmethods::kInput || b.size > ORVEX_MAX_ANSWER) continue;
    // Answers one short of, exactly and one over each documented size, and
    // as much again for the answers whose first bytes are not handed out.
    for (size_t extra : {0, 1, 2, 3}) {
      lengths.insert(b.size + extra);
      if (b.size >= 1) lengths.insert(b.size - 1);
    }
  }
  std::vector<Answer> out;
  for (size_t n : lengths) {
    for (size_t echo : {0, 1, 2}) {
      if (echo > n) continue;
      out.push_back({0, n, echo, false, -1});
    }
    // The shapes of carried card responses: an echoed sub-function, then
    // the card's own status byte or an echo of an address sent.
    if (n >= 2) {
      out.push_back({0, n, 0, false, kZero});
      out.push_back({0, n, 1, false, kZero});
      out.push_back({0, n, 1, false, 3});
    }
  }
  out.push_back({1, 8, 0, false, -1});
  out.push_back({1, 20, 1, false, -1});
  out.push_back({0, 16, 1, true, -1});
  return out;
}

Bytes DataFor(const Answer& a, const Command& c) {
  Bytes d(a.length);
  for (size_t i = 0; i < d.size(); ++i) d[i] = static_cast<uint8_t>(0x30 + i * 7);
  for (size_t i = 0; i < a.echo && i < c.data.size() && i < d.size(); ++i) d[i] = c.data[i];
  if (a.then >= 0 && a.echo < d.size()) {
    if (a.then == kZero)
      d[a.echo] = 0;
    else if (static_cast<size_t>(a.then) < c.data.size())
      d[a.echo] = c.data[static_cast<size_t>(a.then)];
  }
  return d;
}

class Outputs : public FakeReaderTest, public ::testing::WithParamInterface<size_t> {};

TEST_P(Outputs, KeepTheirPromisesOnEveryAnswer) {
  const Method& m = Methods()[GetParam()];
  for (const Answer& answer : AnswersFor(m)) {
    reader.SetResponder([answer](const Command& c) {
      if (answer.bad_checksum) {
        Bytes raw = SerialAnswerFrame(c.reader, c.cmd, answer.status, DataFor(answer, c));
        raw[raw.size() - 2] ^= 0x5A;  // checksum byte (no stuffing needed for this data)
        return Reply::Raw(raw);
      }
      return Reply::Frame(answer.status, DataFor(answer, c));
    });
    fuzzmethods::Args args;
    fuzzmethods::Prepare(m, args);
    Orvex o;
    int result = m.call(o, args);
    EXPECT_EQ("", fuzzmethods::Check(m, args, result)) << "answer: " << Describe(answer);
    if (HasFailure()) return;  // one report a method is enough
  }
}

// The oracle itself, on methods made to break each promise once.
std::string Broken(int (*call)(Orvex&, fuzzmethods::Args&), bool cut = false) {
  Method m{"broken",
           {{"in", 4, fuzzmethods::kInput, -1, 0, false},
            {"len", 1, fuzzmethods::kOutput, 2, 1, cut},
            {"out", 300, fuzzmethods::kOutput, -1, 0, false}},
           fuzzmethods::kPositiveIsSuccess, -1, call};
  fuzzmethods::Args args;
  fuzzmethods::Prepare(m, args);
  Orvex o;
  return fuzzmethods::Check(m, args, m.call(o, args));
}

TEST(OutputOracle, TellsEveryBrokenPromise) {
  // Kept: two bytes written and counted.
  EXPECT_EQ("", Broken([](Orvex&, fuzzmethods::Args& a) {
              a.b(1)[0] = 2;
              a.b(2)[0] = a.b(2)[1] = 0;
              return 1;
            }));
  // Past the documented size.
  EXPECT_NE("", Broken([](Orvex&, fuzzmethods::Args& a) {
              a.b(2)[300] = 0;
              return -1;
            }));
  // An output written on a failure.
  EXPECT_NE("", Broken([](Orvex&, fuzzmethods::Args& a) {
              a.b(1)[0] = 0;
              return -3;
            }));
  // An input written.
  EXPECT_NE("", Broken([](Orvex&, fuzzmethods::Args& a) {
              a.b(0)[3] ^= 1;
              return 1;
            }));
  // A length beyond its buffer, and bytes written past the length reported.
  EXPECT_NE("", Broken([](Orvex&, fuzzmethods::Args& a) {
              a.b(1)[0] = 2;
              a.b(2)[5] = 0;
              return 1;
            }));
  // Bytes written without their length, past what the untouched length
  // output would say.
  EXPECT_NE("", Broken([](Orvex&, fuzzmethods::Args& a) {
              a.b(2)[299] = 0;
              return 1;
            }));
  // A count kept to 8 bits: 300 bytes counted as 44 are right, 43 are not.
  EXPECT_EQ("", Broken(
                    [](Orvex&, fuzzmethods::Args& a) {
                      a.b(1)[0] = 44;
                      for (int i = 0; i < 300; ++i) a.b(2)[i] = static_cast<unsigned char>(~fuzzmethods::Poison(2, i));
                      return 1;
                    },
                    true));
  EXPECT_NE("", Broken(
                    [](Orvex&, fuzzmethods::Args& a) {
                      a.b(1)[0] = 43;
                      for (int i = 0; i < 300; ++i) a.b(2)[i] = static_cast<unsigned char>(~fuzzmethods::Poison(2, i));
                      return 1;
                    },
                    true));
}

std::string Name(const ::testing::TestParamInfo<size_t>& info) {
  std::string n = Methods()[info.param].name;
  std::replace(n.begin(), n.end(), '-', '_');
  return n;
}

INSTANTIATE_TEST_SUITE_P(EveryMethod, Outputs,
                         ::testing::Range<size_t>(0, Methods().size()), Name);

}  // namespace
}  // namespace orvex_test
