// SPDX-License-Identifier: MIT
// The configuration file $XDG_CONFIG_HOME/orvex/config.toml: the default
// device, line speed and MIFARE Classic key files, below the command line
// and the environment; its mistakes are usage errors naming file and line.
#include "cli_support.h"

namespace {

using namespace clitest;

TEST_F(Cli, ConfigurationGivesTheDefaultDevice) {
  unsetenv("ORVEX_DEVICE");
  Configure("# the simulated reader\ndevice = \"sim\"\n");
  Result r = Run({"info", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["product"], "OVX-C100");
  // The environment and the command line come first.
  Configure("device = \"/dev/orvex-no-such-device\"\n");
  setenv("ORVEX_DEVICE", "sim", 1);
  r = Run({"info", "--json"});
  EXPECT_EQ(r.status, 0) << r.err;
  unsetenv("ORVEX_DEVICE");
  r = Run({"--device", "sim", "info", "--json"});
  EXPECT_EQ(r.status, 0) << r.err;
  r = Run({"info"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: cannot open /dev/orvex-no-such-device: No such file or directory\n");
}

// The line speed bounds how many NTAG pages one read asks for: the reads
// on the wire tell the speed the tool took.
int Reads(const std::string& trace) {
  int n = 0;
  for (size_t at = trace.find("FAST_READ"); at != std::string::npos; at = trace.find("FAST_READ", at + 1)) ++n;
  return n;
}

TEST_F(Cli, ConfigurationGivesTheDefaultSpeed) {
  SimProcess sim("--card ntag216:04112233445566", Path("sim.out"));
  ASSERT_FALSE(sim.pty().empty());
  Result fast = Run({"--device", sim.pty(), "--trace", "ntag", "dump"});
  ASSERT_EQ(fast.status, 0) << fast.err;
  Result slow = Run({"--device", sim.pty(), "--baud", "4800", "--trace", "ntag", "dump"});
  ASSERT_EQ(slow.status, 0) << slow.err;
  ASSERT_GT(Reads(slow.err), Reads(fast.err)) << fast.err;
  Configure("baud = 4800\n");
  Result configured = Run({"--device", sim.pty(), "--trace", "ntag", "dump"});
  ASSERT_EQ(configured.status, 0) << configured.err;
  EXPECT_EQ(Reads(configured.err), Reads(slow.err));
  // --baud comes first.
  Result given = Run({"--device", sim.pty(), "--baud", "19200", "--trace", "ntag", "dump"});
  EXPECT_EQ(Reads(given.err), Reads(fast.err));
}

TEST_F(Cli, ConfigurationKeyFilesJoinTheKeysTried) {
  // An NDEF-formatted card: key A A0A1A2A3A4A5 on the directory sector,
  // D3F7D3F7D3F7 on the others.
  ASSERT_EQ(Run({"--sim-save", Path("ndef.mfd"), "ndef", "format", "--yes"}).status, 0);
  Write(Path("transport.keys"), "FFFFFFFFFFFF\n");
  Result r = Run({"--sim-load", Path("ndef.mfd"), "mfc", "dump", Path("d.mfd"), "--json", "--no-default-keys",
                  "-k", Path("transport.keys")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(r.Json()["sectors"][0]["key_a"].is_null()) << r.out;
  Configure("keys = [\"forum.keys\", \"" + Path("mad.keys") + "\"]\n");
  Write(Path("orvex/forum.keys"), "D3F7D3F7D3F7\n");
  Write(Path("mad.keys"), "A0A1A2A3A4A5\n");
  r = Run({"--sim-load", Path("ndef.mfd"), "mfc", "dump", Path("d.mfd"), "--json", "--no-default-keys",
           "-k", Path("transport.keys")});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  EXPECT_EQ(j["sectors"][0]["key_a"], "A0A1A2A3A4A5");
  EXPECT_EQ(j["sectors"][1]["key_a"], "D3F7D3F7D3F7");
  EXPECT_EQ(j["sectors"][1]["key_b"], "FFFFFFFFFFFF");
}

TEST_F(Cli, ConfigurationMistakesAreUsageErrors) {
  const std::string file = Path("orvex/config.toml");
  struct Case {
    std::string toml, err;
  };
  const std::vector<Case> cases = {
      {"baud = 12345\n", file + ":1: baud is 4800, 9600, 19200 or 38400"},
      {"\ndevice = 5\n", file + ":2: device is a string, such as \"/dev/ttyUSB0\""},
      {"speed = 9600\n", file + ":1: unknown setting \"speed\" (known: device, baud, keys)"},
      {"keys = \"k.txt\"\n", file + ":1: keys is a list of key files, such as [\"keys.txt\"]"},
      {"keys = [\"no-such.keys\"]\n", "key file " + Path("orvex/no-such.keys") + ": No such file or directory"},
  };
  for (const Case& c : cases) {
    Configure(c.toml);
    Result r = Run({"mfc", "dump", Path("d.mfd")});
    EXPECT_EQ(r.status, 2) << c.toml;
    EXPECT_EQ(r.err, "orvex: " + c.err + "\n");
    EXPECT_EQ(r.out, "");
  }
  Configure("device = \"sim\n");
  Result r = Run({"info"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err.rfind("orvex: " + file + ":1: ", 0), 0u) << r.err;
}

}  // namespace
