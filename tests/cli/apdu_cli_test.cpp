// SPDX-License-Identifier: MIT
// orvex apdu and sam apdu: APDUs from arguments and scripts, expected status
// words, the status words' meanings, 6CXX handled (or not with --raw), type
// B cards, and the errors, against the simulated reader.
#include <tuple>

#include "cli_support.h"

namespace {

using namespace clitest;

constexpr const char* kAts = "ATS 0D788070024F5658434F530100\n";
// The purse application's public file is 30 bytes long.
constexpr const char* kPublic = "4F5658310000000001012026000000001234567820260101203612310000";

class Apdu : public Cli {};

TEST_F(Apdu, WrongLeIsResentWithTheRightOne) {
  Result r = Run({"--sim-card", "cpu", "apdu", "00A40000021001", "00B0950040"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, std::string(kAts) +
                       "> 00A40000021001\n"
                       "< 6F14840D4F56582E50555253452E415050A503880101 9000 (success)\n"
                       "> 00B0950040\n"
                       "< 6C1E (wrong Le: the low byte says how many bytes are available)\n"
                       "> 00B095001E\n"
                       "< " +
                       kPublic + " 9000 (success)\n");
  r = Run({"--sim-card", "cpu", "apdu", "00A40000021001", "00B0950040", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto read = r.Json()["responses"][1];
  EXPECT_EQ(read["line"], 2);
  EXPECT_EQ(read["command"], "00B0950040");
  EXPECT_EQ(read["data"], kPublic);
  EXPECT_EQ(read["sw"], "9000");
  EXPECT_EQ(read["meaning"], "success");
  ASSERT_EQ(read["exchanges"].size(), 2u);
  EXPECT_EQ(read["exchanges"][0]["response"], "6C1E");
  EXPECT_EQ(read["exchanges"][1]["command"], "00B095001E");
  // --raw: the 6C1E stands.
  r = Run({"--sim-card", "cpu", "apdu", "--raw", "00A40000021001", "00B0950040=6CXX"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.substr(r.out.rfind("> ")),
            "> 00B0950040\n< 6C1E (wrong Le: the low byte says how many bytes are "
            "available)\n");
}

TEST_F(Apdu, ScriptChecksStatusWordsAndStopsAtTheFirstMismatch) {
  Write(Path("ok.apdu"),
        "# select the purse application, read its public file\n"
        "\n"
        "00A4 0000 02 1001 = 9000\n"
        "00B0950000   = 90XX   # whole file\n"
        "0084000008=9000\n");
  Result r = Run({"--sim-card", "cpu", "apdu", "--script", Path("ok.apdu"), "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  ASSERT_EQ(j["responses"].size(), 3u);
  EXPECT_EQ(j["responses"][0]["line"], 3);
  EXPECT_EQ(j["responses"][1]["line"], 4);
  EXPECT_EQ(j["responses"][1]["data"], kPublic);
  EXPECT_EQ(j["responses"][2]["line"], 5);
  Write(Path("bad.apdu"),
        "00A40000021001 = 9000\n"
        "00A40000020099 = 9000   # no such file\n"
        "0084000008\n");
  r = Run({"--sim-card", "cpu", "apdu", "--script", Path("bad.apdu")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, std::string(kAts) +
                       "> 00A40000021001\n"
                       "< 6F14840D4F56582E50555253452E415050A503880101 9000 (success)\n"
                       "> 00A40000020099\n"
                       "< 6A82 (file or application not found)\n");
  EXPECT_EQ(r.err, "orvex: " + Path("bad.apdu") +
                       ", line 2: 00A40000020099 answered 6A82 (file or application not "
                       "found), expected 9000; the APDUs after it were not sent\n");
  // From standard input, and from arguments: the same check.
  r = Run({"--sim-card", "cpu", "apdu", "--script", "-"}, "00A40000020099 = 9000\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: standard input, line 1: 00A40000020099 answered 6A82 (file or application not found), "
            "expected 9000; the APDUs after it were not sent\n");
  r = Run({"--sim-card", "cpu", "apdu", "00A40000021001=9000", "00A40000020099=9000", "--json"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.Json()["error"],
            "argument 2: 00A40000020099 answered 6A82 (file or application not found), expected "
            "9000; the APDUs after it were not sent");
}

TEST_F(Apdu, MalformedLinesAreRefusedBeforeAnythingIsSent) {
  struct Case {
    std::string script, err;
  };
  for (const Case& c : {
           Case{"00A4040000\n# fine\n00G4040000\n", "line 3: 'G' is not a hex digit"},
           Case{"00A404000\n", "line 1: odd number of hex digits"},
           Case{"\n00A4 = 9000\n", "line 2: shorter than a 4-byte header"},
           Case{"00A4040000 = 900\n", "line 1: the expected status word \"900\" is not 4 hex digits"},
           Case{"00A4040000 = 90G0\n", "line 1: the expected status word \"90G0\" is not 4 hex digits (X for any)"},
           Case{"= 9000\n", "line 1: no command before \"=\""},
       }) {
    Write(Path("s.apdu"), c.script);
    Result r = Run({"--sim-card", "cpu", "apdu", "--script", Path("s.apdu")});
    EXPECT_EQ(r.status, 2) << c.script;
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "orvex: apdu: " + Path("s.apdu") + ", " + c.err + "\n");
  }
  Write(Path("empty.apdu"), "# nothing\n\n");
  Result r = Run({"--sim-card", "cpu", "apdu", "--script", Path("empty.apdu")});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: apdu: the script " + Path("empty.apdu") + " holds no APDU\n");
  r = Run({"--sim-card", "cpu", "apdu", "--script", Path("missing.apdu")});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("orvex: apdu script " + Path("missing.apdu") + ": "), std::string::npos) << r.err;
  const std::string one_of = "orvex: apdu: give the APDUs as arguments or with --script FILE (one of the two)\n";
  struct Usage {
    std::vector<std::string> args;
    std::string err;
  };
  for (const Usage& u : {
           Usage{{"00A4040000", "--script", Path("empty.apdu")}, one_of},
           Usage{{}, one_of},
           Usage{{"00A4040000=9X"},
                 "orvex: apdu: \"00A4040000=9X\": the expected status word \"9X\" is not 4 hex digits\n"},
           // What a person typed stays on the message's one line.
           Usage{{"00A4\n0400"}, "orvex: apdu: \"00A4\\n0400\": '\\n' is not a hex digit\n"},
       }) {
    std::vector<std::string> args = {"--sim-card", "cpu", "apdu"};
    args.insert(args.end(), u.args.begin(), u.args.end());
    r = Run(args);
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, u.err);
  }
}

TEST_F(Apdu, TypeBCpuCard) {
  Result r = Run({"--sim-card", "typeb:5B010203", "apdu", "--type-b", "0084000004=9000", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  EXPECT_EQ(j["atqb"].get<std::string>().substr(0, 10), "505B010203");
  EXPECT_FALSE(j.contains("ats"));
  EXPECT_EQ(j["responses"][0]["data"].get<std::string>().size(), 8u);
  EXPECT_EQ(j["responses"][0]["sw"], "9000");
  // The other kind of card in the field: none of the kind asked for.
  for (const auto& [card, flags, err] : {
           std::tuple<std::string, std::vector<std::string>, std::string>{
               "cpu", {"-B"}, "orvex: activating the type B CPU card: no type B CPU card in the field\n"},
           {"typeb", {}, "orvex: activating the CPU card: no CPU card in the field\n"},
       }) {
    std::vector<std::string> args = {"--sim-card", card, "apdu", "0084000004"};
    args.insert(args.end(), flags.begin(), flags.end());
    r = Run(args);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, err);
  }
}

TEST_F(Apdu, MoreDataIsFetchedWithGetResponse) {
  // The SAM speaks T=0: SELECT with data answers 61XX, its FCI comes on GET RESPONSE.
  Result r = Run({"--sim-card", "sam:01020304", "sam", "apdu", "00A40000023F00=9000"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "ATR 3B6A00004F565853414D01020304\n"
            "> 00A40000023F00\n"
            "< 6117 (more response bytes available (GET RESPONSE))\n"
            "> 00C0000017\n"
            "< 6F15840E315041592E5359532E4444463031A503880100 9000 (success)\n");
  r = Run({"--sim-card", "sam", "sam", "apdu", "00A40000023F00", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto select = r.Json()["responses"][0];
  EXPECT_EQ(select["data"], "6F15840E315041592E5359532E4444463031A503880100");
  EXPECT_EQ(select["sw"], "9000");
  EXPECT_EQ(select["exchanges"].size(), 2u);
  // --raw: the 61XX is the answer, and a script can expect it.
  r = Run({"--sim-card", "sam", "sam", "apdu", "--raw", "--script", "-"}, "00A40000023F00 = 61XX\n00C0000017 = 9000\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("< 6117 (more response bytes available (GET RESPONSE))\n> 00C0000017\n"), std::string::npos)
      << r.out;
}

std::string FileBytes(int from, int to);

// A blank card (or SAM) given a 256-byte binary file 0001 holding 00 to FF
// (written 64 bytes at a time: a SAM command carries at most 100), selected:
// the script's six lines, then the command whose long answer follows.
std::string LongFileScript(const std::string& then) {
  return "80E0000106280100F0F0FF = 9000\n"  // create binary file 0001: 256 bytes, free to read and write
         "00A40000020001 = 9000\n"
         "00D6000040" + FileBytes(0, 64) + " = 9000\n" +
         "00D6004040" + FileBytes(64, 128) + " = 9000\n" +
         "00D6008040" + FileBytes(128, 192) + " = 9000\n" +
         "00D600C040" + FileBytes(192, 256) + " = 9000\n" + then;
}

// The bytes from..to-1 of that file, in hex.
std::string FileBytes(int from, int to) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string s;
  for (int i = from; i < to; ++i) {
    s += kDigits[(i >> 4) & 0xF];
    s += kDigits[i & 0xF];
  }
  return s;
}

TEST_F(Apdu, ALongAnswerComesInPiecesAndIsAssembled) {
  // The card hands over at most 64 bytes of an answer at a time: the 256
  // bytes of the file come in four pieces, three of them on GET RESPONSE.
  Result r = Run({"--sim-card", "cpu-blank", "apdu", "--script", "-"}, LongFileScript("00B0000000 = 9000\n"));
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string more = " 6140 (more response bytes available (GET RESPONSE))\n";
  const std::string pieces = "> 00B0000000\n< " + FileBytes(0, 64) + more + "> 00C0000040\n< " + FileBytes(64, 128) +
                             more + "> 00C0000040\n< " + FileBytes(128, 192) + more + "> 00C0000040\n< " +
                             FileBytes(192, 256) + " 9000 (success)\n";
  ASSERT_GE(r.out.size(), pieces.size());
  EXPECT_EQ(r.out.substr(r.out.size() - pieces.size()), pieces);
  r = Run({"--sim-card", "cpu-blank", "apdu", "--json", "--script", "-"}, LongFileScript("00B0000000\n"));
  ASSERT_EQ(r.status, 0) << r.err;
  const auto read = r.Json()["responses"][6];
  EXPECT_EQ(read["data"], FileBytes(0, 256));
  EXPECT_EQ(read["sw"], "9000");
  ASSERT_EQ(read["exchanges"].size(), 4u);
  EXPECT_EQ(read["exchanges"][0]["response"], FileBytes(0, 64) + "6140");
  EXPECT_EQ(read["exchanges"][3]["command"], "00C0000040");
  EXPECT_EQ(read["exchanges"][3]["response"], FileBytes(192, 256) + "9000");
  // --raw: the first piece and its 61XX are the answer.
  r = Run({"--sim-card", "cpu-blank", "apdu", "--raw", "--script", "-"}, LongFileScript("00B0000000 = 61XX\n"));
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string first = "> 00B0000000\n< " + FileBytes(0, 64) + more;
  ASSERT_GE(r.out.size(), first.size());
  EXPECT_EQ(r.out.substr(r.out.size() - first.size()), first);
  // A wrong Le is sent again with the right one (6C80), and the answer then
  // comes in two pieces.
  r = Run({"--sim-card", "cpu-blank", "apdu", "--script", "-"}, LongFileScript("00B0008090 = 9000\n"));
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string resent = "> 00B0008090\n< 6C80 (wrong Le: the low byte says how many bytes are available)\n"
                             "> 00B0008080\n< " + FileBytes(128, 192) + more + "> 00C0000040\n< " +
                             FileBytes(192, 256) + " 9000 (success)\n";
  ASSERT_GE(r.out.size(), resent.size());
  EXPECT_EQ(r.out.substr(r.out.size() - resent.size()), resent);
}

TEST_F(Apdu, ALongSamAnswerComesInPiecesAndIsAssembled) {
  Result r = Run({"--sim-card", "sam", "sam", "apdu", "--json", "--script", "-"}, LongFileScript("00B0000000\n"));
  ASSERT_EQ(r.status, 0) << r.err;
  const auto read = r.Json()["responses"][6];
  EXPECT_EQ(read["data"], FileBytes(0, 256));
  EXPECT_EQ(read["sw"], "9000");
  ASSERT_EQ(read["exchanges"].size(), 4u);
  EXPECT_EQ(read["exchanges"][1]["command"], "00C0000040");
  EXPECT_EQ(read["exchanges"][1]["response"], FileBytes(64, 128) + "6140");
  // --raw: the first piece, then a GET RESPONSE asking for more than the
  // next piece is told how much it holds.
  r = Run({"--sim-card", "sam", "sam", "apdu", "--raw", "--script", "-"},
          LongFileScript("00B0000000 = 6140\n00C0000080 = 6C40\n00C0000040 = 6140\n"));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("> 00C0000080\n< 6C40 (wrong Le: the low byte says how many bytes are available)\n> "
                       "00C0000040\n< " + FileBytes(64, 128) + " 6140"),
            std::string::npos)
      << r.out;
}

TEST_F(Apdu, SamTakesTheSameScripts) {
  Write(Path("sam.apdu"), "# a challenge, then an instruction the SAM lacks\n0084000008 = 9000\n00CA000000 = 9000\n");
  Result r = Run({"--sim-card", "sam:01020304", "sam", "apdu", "--script", Path("sam.apdu")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out.substr(0, r.out.find('\n') + 1), "ATR 3B6A00004F565853414D01020304\n");
  EXPECT_NE(r.out.find("> 00CA000000\n< 6D00 (instruction code not supported or invalid)\n"), std::string::npos)
      << r.out;
  EXPECT_EQ(r.err, "orvex: " + Path("sam.apdu") +
                       ", line 3: 00CA000000 answered 6D00 (instruction code not supported "
                       "or invalid), expected 9000; the APDUs after it were not sent\n");
  Write(Path("bad.apdu"), "0084000008 = 9000\n0084 0000 08 zz\n");
  r = Run({"--sim-card", "sam", "sam", "apdu", "--script", Path("bad.apdu")});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: sam apdu: " + Path("bad.apdu") + ", line 2: 'z' is not a hex digit\n");
}

}  // namespace
