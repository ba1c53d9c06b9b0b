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

TEST_F(Cli, ManPageDocumentsEveryOptionOfEverySubcommand) {
  std::string page = Slurp(std::string(ORVEX_MAN_DIR) + "/orvex.1");
  ASSERT_FALSE(page.empty());
  const std::vector<std::vector<std::string>> commands = {
      {},          {"info"},          {"beep"},         {"led"},           {"display"},
      {"scan"},    {"watch"},         {"raw"},           {"mfc", "dump"},  {"mfc", "restore"}, {"mfc", "keys"}, {"mfc", "read"}, {"mfc", "write"}, {"apdu"},
      {"des"},     {"des3"},          {"des3-cbc"},     {"ntag", "dump"},  {"ndef", "write"},
      {"ndef", "read"}, {"iso15693", "read"}, {"iso15693", "write"}, {"sam", "apdu"},
      {"lcd", "text"}, {"lcd", "image"}, {"lcd", "clock"},
      {"reader", "speed"}, {"reader", "number"}, {"reader", "antenna"}, {"reader", "search-mode"}, {"reader", "param", "get"},
      {"reader", "param", "set"}, {"reader", "module433", "get"}, {"reader", "module433", "set"}, {"reader", "memory", "read"}, {"reader", "memory", "write"},
      {"sle4442", "read"}, {"sle4442", "protection"}, {"sle4442", "psc"}, {"sle4442", "write"},
      {"sle4442", "change-psc"}, {"sle4442", "protect"}, {"idcard", "read"}, {"lf", "read"},
      {"mfplus", "info"}, {"mfplus", "perso"}, {"mfplus", "commit"}, {"mfplus", "switch-level"},
      {"mfplus", "read"}, {"mfplus", "write"}};
  for (const auto& c : commands) {
    std::vector<std::string> args = c;
    args.push_back("--help");
    Result r = Run(args);
    ASSERT_EQ(r.status, 0) << r.err;
    std::string name = c.empty() ? "orvex" : c[0] + (c.size() > 1 ? " " + c[1] : "");
    // Each subcommand named in the page, in bold (.B or \\fB).
    if (!c.empty()) {
      EXPECT_TRUE(page.find(".B " + InRoff(c[0])) != std::string::npos ||
                  page.find("\\fB" + InRoff(c[0])) != std::string::npos)
          << name;
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
