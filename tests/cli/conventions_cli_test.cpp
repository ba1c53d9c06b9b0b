// SPDX-License-Identifier: MIT
// The tool's conventions: keys from files or standard input (a key on the
// command line is taken with a warning), close names offered for an unknown
// subcommand, -q.
#include "cli_support.h"

namespace {

using namespace clitest;

const std::string kKeyWarning =
    "orvex: warning: the key given with des --key is visible to other users (ps) and stays in the shell history; "
    "give @FILE or - (standard input) instead\n";

TEST_F(Cli, AKeyOnTheCommandLineIsTakenWithAWarning) {
  Result r = Run({"des", "--key", "133457799BBCDFF1", "0123456789ABCDEF"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "85E813540F0AB405\n");
  EXPECT_EQ(r.err, kKeyWarning);
  // -q does not silence it: it is a warning, not a note.
  r = Run({"-q", "des", "--key", "133457799BBCDFF1", "0123456789ABCDEF"});
  EXPECT_EQ(r.err, kKeyWarning);
}

TEST_F(Cli, AKeyFromAFileOrStandardInputGetsNoWarning) {
  Write(Path("des.key"), "# the test key\n\n  1334 5779 9BBC DFF1  # comment\n");
  Result r = Run({"des", "--key", "@" + Path("des.key"), "0123456789ABCDEF"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "85E813540F0AB405\n");
  EXPECT_EQ(r.err, "");
  r = Run({"des", "-k", "-", "0123456789ABCDEF"}, "133457799BBCDFF1\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "85E813540F0AB405\n");
  EXPECT_EQ(r.err, "");
}

TEST_F(Cli, KeyFilesThatHoldNoKeyOrDoNotExist) {
  Write(Path("empty.key"), "# nothing here\n");
  Result r = Run({"des", "--key", "@" + Path("empty.key"), "0123456789ABCDEF"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: des --key: " + Path("empty.key") + " holds no key\n");
  EXPECT_EQ(r.out, "");
  r = Run({"des", "--key", "@" + Path("missing.key"), "0123456789ABCDEF"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: des --key key file " + Path("missing.key") + ": No such file or directory\n");
  Write(Path("bad.key"), "13345779ZZ\n");
  r = Run({"des", "--key", "@" + Path("bad.key"), "0123456789ABCDEF"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: des --key (" + Path("bad.key") + "): \"13345779ZZ\" is not hexadecimal\n");
}

TEST_F(Cli, TheNdefKeyFromAFile) {
  Write(Path("b.key"), "FFFFFFFFFFFF\n");
  Result r = Run({"--sim-card", "mfc1k", "ndef", "format", "--yes", "--key", "@" + Path("b.key")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  r = Run({"--sim-card", "mfc1k", "ndef", "format", "--key", "FFFFFFFFFFFF"});
  EXPECT_NE(r.err.find("orvex: warning: the key given with --key is visible to other users"), std::string::npos)
      << r.err;
}

}  // namespace

namespace {

using namespace clitest;

TEST_F(Cli, AnUnknownSubcommandNamesTheCloseOnes) {
  struct Case {
    std::vector<std::string> args;
    std::string err;
  };
  const std::vector<Case> cases = {
      {{"scna"}, "orvex: \"scna\" is not a subcommand of orvex; did you mean scan? (orvex --help lists them)\n"},
      {{"--device", "sim", "wach"},
       "orvex: \"wach\" is not a subcommand of orvex; did you mean watch? (orvex --help lists them)\n"},
      {{"mfc", "dumo", "x.mfd"},
       "orvex: \"dumo\" is not a subcommand of orvex mfc; did you mean dump? (orvex mfc --help lists them)\n"},
      {{"-q", "ntag", "du"},
       "orvex: \"du\" is not a subcommand of orvex ntag; did you mean dump? (orvex ntag --help lists them)\n"},
      {{"frobnicate"}, "orvex: \"frobnicate\" is not a subcommand of orvex (orvex --help lists them)\n"},
  };
  for (const Case& c : cases) {
    Result r = Run(c.args);
    EXPECT_EQ(r.status, 2) << c.args.back();
    EXPECT_EQ(r.err, c.err);
    EXPECT_EQ(r.out, "");
  }
  Result r = Run({"--json", "nde", "red"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.Json()["error"], "\"nde\" is not a subcommand of orvex; did you mean ndef? (orvex --help lists them)");
  // A missing subcommand is still said as such.
  r = Run({"mfc"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: A subcommand is required (try --help)\n");
}

}  // namespace
