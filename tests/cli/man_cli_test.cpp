// SPDX-License-Identifier: MIT
// The manual pages document every long option that the programs' own
// --help lists, for orvex (globally and per subcommand) and orvex-sim.
#include <regex>
#include <set>

#include "cli_support.h"

namespace {

using namespace clitest;

// The long options named in a help text.
std::set<std::string> LongOptions(const std::string& help) {
  std::set<std::string> found;
  std::regex option("--[a-z][a-z0-9-]*");
  for (std::sregex_iterator it(help.begin(), help.end(), option), end; it != end; ++it)
    found.insert(it->str());
  return found;
}

// How a roff page spells an option: every "-" escaped.
std::string InRoff(const std::string& option) {
  std::string s;
  for (char c : option) s += c == '-' ? std::string("\\-") : std::string(1, c);
  return s;
}

// The subcommands a help text lists.
std::vector<std::string> Subcommands(const std::string& help) {
  std::vector<std::string> found;
  size_t at = help.find("\nSubcommands:\n");
  if (at == std::string::npos) return found;
  std::istringstream lines(help.substr(at + 14));
  std::string line;
  std::smatch m;
  while (std::getline(lines, line))
    if (std::regex_search(line, m, std::regex("^  ([a-z0-9][a-z0-9-]*)"))) found.push_back(m[1]);
  return found;
}

TEST_F(Cli, ManPageDocumentsEveryOptionOfEverySubcommand) {
  std::string page = Slurp(std::string(ORVEX_MAN_DIR) + "/orvex.1");
  ASSERT_FALSE(page.empty());
  // Every command the program has, found through the help of its parent.
  std::vector<std::vector<std::string>> commands = {{}};
  for (size_t i = 0; i < commands.size(); ++i) {
    std::vector<std::string> args = commands[i];
    args.push_back("--help");
    Result r = Run(args);
    ASSERT_EQ(r.status, 0) << r.err;
    for (const auto& sub : Subcommands(r.out)) {
      commands.push_back(commands[i]);
      commands.back().push_back(sub);
    }
  }
  EXPECT_GT(commands.size(), 30u);
  for (const auto& c : commands) {
    std::vector<std::string> args = c;
    args.push_back("--help");
    Result r = Run(args);
    ASSERT_EQ(r.status, 0) << r.err;
    std::string name = "orvex", words, group;
    for (const auto& w : c) {
      name += " " + w;
      group = words;
      words += (words.empty() ? "" : " ") + InRoff(w);
    }
    // Each subcommand named in the page with its group, in bold (.B or
    // \\fB): "mfc dump", or among its group's alternatives
    // (".B mfc value get\\fR|\\fBinit").
    if (!c.empty()) {
      bool named = page.find(".B " + words) != std::string::npos || page.find("\\fB" + words) != std::string::npos;
      if (!named && !group.empty())
        named = page.find(".B " + group + " ") != std::string::npos &&
                page.find("|\\fB" + InRoff(c.back())) != std::string::npos;
      EXPECT_TRUE(named) << name;
    }
    for (const auto& option : LongOptions(r.out))
      EXPECT_NE(page.find(InRoff(option)), std::string::npos) << name << ": " << option;
  }
}

TEST_F(Cli, SimulatorManPageDocumentsEveryOption) {
  std::string page = Slurp(std::string(ORVEX_MAN_DIR) + "/orvex-sim.1");
  ASSERT_FALSE(page.empty());
  std::string out = Path("sim-help");
  std::string cmd = std::string(ORVEX_SIM_TOOL) + " --help >" + out + " 2>&1";
  ASSERT_EQ(std::system(cmd.c_str()), 0);
  std::set<std::string> options = LongOptions(Slurp(out));
  EXPECT_GT(options.size(), 8u);
  for (const auto& option : options) EXPECT_NE(page.find(InRoff(option)), std::string::npos) << option;
}

}  // namespace
