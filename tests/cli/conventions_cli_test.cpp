// SPDX-License-Identifier: MIT
// The tool's conventions: keys from files or standard input (a key on the
// command line is taken with a warning), close names offered for an unknown
// subcommand, -q, colour on a terminal only.
#include <poll.h>

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

namespace {

using namespace clitest;

// Runs orvex with its standard error on a pseudo-terminal (a user's
// terminal), the environment changed by env ("NAME=value", or "NAME" to
// remove it), and returns what the terminal showed.
std::string StderrOnATerminal(const std::vector<std::string>& args, const std::vector<std::string>& env) {
  int master = posix_openpt(O_RDWR | O_NOCTTY);
  if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) return "no pseudo-terminal";
  const std::string slave_path = ptsname(master);
  int slave = open(slave_path.c_str(), O_RDWR | O_NOCTTY);
  // The child's environment and arguments are made before the fork: the
  // child only duplicates descriptors before it execs.
  std::vector<std::string> environment;
  auto changed = [&env](const std::string& v) {
    for (const auto& c : env)
      if (v.rfind(c.substr(0, c.find('=')) + "=", 0) == 0) return true;
    return false;
  };
  for (char** e = environ; *e; ++e)
    if (!changed(*e)) environment.push_back(*e);
  for (const auto& c : env)
    if (c.find('=') != std::string::npos) environment.push_back(c);
  std::vector<char*> envp;
  for (auto& v : environment) envp.push_back(&v[0]);
  envp.push_back(nullptr);
  std::vector<char*> argv{const_cast<char*>(ORVEX_TOOL)};
  for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    dup2(slave, 2);
    int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    execve(ORVEX_TOOL, argv.data(), envp.data());
    _exit(127);
  }
  waitpid(pid, nullptr, 0);
  // The slave stays open here until everything was read.
  std::string shown;
  char buf[4096];
  for (;;) {
    pollfd p{master, POLLIN, 0};
    if (poll(&p, 1, 200) <= 0) break;
    ssize_t n = read(master, buf, sizeof buf);
    if (n <= 0) break;
    shown.append(buf, static_cast<size_t>(n));
  }
  close(slave);
  close(master);
  return shown;
}

TEST_F(Cli, ErrorsAndWarningsAreColouredOnATerminalOnly) {
  const std::vector<std::string> usage = {"scna"};
  const std::vector<std::string> warning = {"des", "--key", "133457799BBCDFF1", "0123456789ABCDEF"};
  // The terminal turns "\n" into "\r\n".
  EXPECT_EQ(StderrOnATerminal(usage, {"NO_COLOR", "TERM=xterm"}),
            "\033[1;31morvex:\033[0m \"scna\" is not a subcommand of orvex; did you mean scan? (orvex --help lists "
            "them)\r\n");
  std::string shown = StderrOnATerminal(warning, {"NO_COLOR", "TERM=xterm"});
  EXPECT_EQ(shown.rfind("\033[1;33morvex: warning:\033[0m the key given with des --key is visible", 0), 0u) << shown;
  // NO_COLOR (any value), a dumb terminal: the plain text.
  EXPECT_EQ(StderrOnATerminal(usage, {"NO_COLOR=1", "TERM=xterm"}),
            "orvex: \"scna\" is not a subcommand of orvex; did you mean scan? (orvex --help lists them)\r\n");
  EXPECT_EQ(StderrOnATerminal(warning, {"NO_COLOR", "TERM=dumb"}), kKeyWarning.substr(0, kKeyWarning.size() - 1) + "\r\n");
  // Not a terminal: no colour whatever the environment says.
  setenv("TERM", "xterm", 1);
  unsetenv("NO_COLOR");
  Result r = Run(usage);
  EXPECT_EQ(r.err, "orvex: \"scna\" is not a subcommand of orvex; did you mean scan? (orvex --help lists them)\n");
}

}  // namespace

namespace {

using namespace clitest;

// A number with a leading zero is decimal (block 10, not octal 8); 0x
// gives hexadecimal.
TEST_F(Cli, NumbersWithALeadingZeroAreDecimal) {
  Result r = Run({"mfc", "read", "010"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.rfind("block  10: ", 0), 0u) << r.out;
  r = Run({"mfc", "read", "0x0A"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.rfind("block  10: ", 0), 0u) << r.out;
  r = Run({"mfc", "read", "000"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.rfind("block   0: ", 0), 0u) << r.out;
  // 0300 is 300 (octal would have been 192, a block of a 4K card).
  r = Run({"--sim-card", "mfc4k", "mfc", "read", "0300"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: block 300: the MIFARE Classic 4K has blocks 0 to 255\n");
}

}  // namespace
