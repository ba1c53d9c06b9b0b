// SPDX-License-Identifier: MIT
// orvex mfplus value get, init, inc, dec and backup on a MIFARE Plus at
// security level 3 (every AES key FF x 16), in a field that lasts
// (orvex-sim): the messages, exit statuses and the values the card holds.
#include "cli_support.h"

namespace {

using namespace clitest;

constexpr const char* kUid = "B3020304";
const std::string kKey(32, 'F');

class MfplusValue : public Cli {
 protected:
  void SetUp() override {
    Cli::SetUp();
    Write(Path("aes.key"), kKey + "\n");
    Write(Path("wrong.key"), std::string(32, '0') + "\n");
  }
  // orvex mfplus ARGS against the lasting field.
  Result On(const SimProcess& sim, std::vector<std::string> args) {
    args.insert(args.begin(), {"--device", sim.pty(), "mfplus"});
    return Run(args);
  }
  std::string Key() const { return "@" + Path("aes.key"); }
};

TEST_F(MfplusValue, InitGetIncDecBackup) {
  SimProcess sim(std::string("--card mfplus-sl3:") + kUid, Path("sim.out"));
  ASSERT_FALSE(sim.pty().empty());
  Result r = On(sim, {"value", "init", "5", "100", "-k", Key()});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "block 5 of B3020304 is now a value block holding 100 (address byte 05): wrote "
            "640000009BFFFFFF6400000005FA05FA, read back and checked\n");
  EXPECT_EQ(r.err, "");
  r = On(sim, {"value", "get", "5", "-k", Key(), "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"uid": "B3020304", "block": 5, "value": 100, "address": 5,
                                                "data": "640000009BFFFFFF6400000005FA05FA"})"));
  r = On(sim, {"value", "inc", "5", "25", "-k", Key()});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "block 5 of B3020304: value 100 + 25 = 125, read back\n");
  r = On(sim, {"value", "dec", "5", "30", "-k", Key(), "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"uid": "B3020304", "block": 5, "operation": "dec", "amount": 30,
                                                "to": 5, "before": 125, "after": 95, "address": 5})"));
  r = On(sim, {"value", "backup", "5", "--to", "6", "-k", Key()});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "block 5 of B3020304: value 95 copied to block 6 (it held 00000000000000000000000000000000), "
                   "read back\n");
  r = On(sim, {"value", "get", "6", "-k", Key()});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "block   6: value 95 (address byte 05)\n");
  // The blocks as the card holds them.
  r = On(sim, {"read", "5", "2", "-k", Key()});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "block   5: 5F000000A0FFFFFF5F00000005FA05FA\n"
            "block   6: 5F000000A0FFFFFF5F00000005FA05FA\n");
  // Negative values, and a large sector (blocks from 128 on, 16 a sector).
  r = On(sim, {"value", "init", "200", "-5", "-k", Key()});
  ASSERT_EQ(r.status, 0) << r.err;
  r = On(sim, {"value", "dec", "200", "10", "-k", Key()});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "block 200 of B3020304: value -5 - 10 = -15, read back\n");
}

TEST_F(MfplusValue, Refusals) {
  SimProcess sim(std::string("--card mfplus-sl3:") + kUid, Path("sim.out"));
  ASSERT_FALSE(sim.pty().empty());
  ASSERT_EQ(On(sim, {"value", "init", "5", "2147483600", "-k", Key()}).status, 0);
  ASSERT_EQ(On(sim, {"value", "init", "9", "-2147483600", "-k", Key()}).status, 0);
  // Overflow, either way: refused before anything is sent.
  Result r = On(sim, {"value", "inc", "5", "48", "-k", Key()});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: mfplus value inc: 2147483600 + 48 leaves the range of a value block (-2147483648 to "
                   "2147483647). Nothing was written\n");
  r = On(sim, {"value", "dec", "9", "49", "-k", Key()});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: mfplus value dec: -2147483600 - 49 leaves the range of a value block (-2147483648 to "
                   "2147483647). Nothing was written\n");
  r = On(sim, {"value", "inc", "5", "47", "-k", Key()});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "block 5 of B3020304: value 2147483600 + 47 = 2147483647, read back\n");
  // Not a value block: nothing written.
  r = On(sim, {"value", "inc", "4", "1", "-k", Key()});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.substr(0, r.err.find(':', 8)), "orvex: block 4 of B3020304 is not a value block");
  EXPECT_NE(r.err.find(" (it holds 00000000000000000000000000000000). Nothing was written\n"), std::string::npos)
      << r.err;
  r = On(sim, {"value", "get", "4", "-k", Key()});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("orvex: block 4 of B3020304 is not a value block: "), std::string::npos) << r.err;
  // Not authenticated: the wrong key, or a card at level 0.
  r = On(sim, {"value", "get", "5", "-k", "@" + Path("wrong.key")});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("orvex: authenticating sector 1: wrong key A, or the card is not at level 2 or 3"),
            std::string::npos)
      << r.err;
  r = On(sim, {"value", "inc", "5", "1", "-B", "-k", "@" + Path("wrong.key")});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("orvex: authenticating sector 1: wrong key B, or the card is not at level 2 or 3"),
            std::string::npos)
      << r.err;
  r = Run({"--sim-card", "mfplus", "mfplus", "value", "init", "5", "1", "-k", Key()});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("orvex: authenticating sector 1: wrong key A, or the card is not at level 2 or 3"),
            std::string::npos)
      << r.err;
  // The values stayed.
  r = On(sim, {"value", "get", "5", "-k", Key()});
  EXPECT_EQ(r.out, "block   5: value 2147483647 (address byte 05)\n");
  r = On(sim, {"value", "get", "9", "-k", Key()});
  EXPECT_EQ(r.out, "block   9: value -2147483600 (address byte 09)\n");
}

TEST_F(MfplusValue, BadArguments) {
  const std::string key = "@" + Path("aes.key");
  struct Case {
    std::vector<std::string> args;
    int status;
    std::string err;
  };
  for (const Case& c : std::vector<Case>{
           {{"value", "init", "0", "1", "-k", key}, 2,
            "orvex: mfplus value init: block 0 holds the UID and manufacturer data, never a value. Nothing was "
            "written\n"},
           {{"value", "inc", "7", "1", "-k", key}, 2,
            "orvex: mfplus value inc: block 7 is a sector trailer (keys and access bits), never a value. Nothing "
            "was written\n"},
           {{"value", "get", "143", "-k", key}, 2,
            "orvex: mfplus value get: block 143 is a sector trailer (keys and access bits), never a value. Nothing "
            "was written\n"},
           {{"value", "init", "5", "2147483648", "-k", key}, 2,
            "orvex: mfplus value init: a value block holds -2147483648 to 2147483647, not 2147483648\n"},
           {{"value", "dec", "5", "-1", "-k", key}, 2,
            "orvex: mfplus value dec: the amount is 0 to 2147483647, not -1\n"},
           {{"value", "backup", "5", "--to", "5", "-k", key}, 2,
            "orvex: mfplus value backup: --to names block 5 itself; give another block of sector 1\n"},
           {{"value", "backup", "5", "--to", "8", "-k", key}, 2,
            "orvex: mfplus value backup: --to 8 is in sector 2, not in sector 1 with block 5: the card copies a "
            "value within one sector\n"},
           {{"value", "backup", "5", "--to", "7", "-k", key}, 2,
            "orvex: mfplus value backup --to: block 7 is a sector trailer (keys and access bits), never a value. "
            "Nothing was written\n"},
           {{"value", "get", "5", "-k", "0011"}, 2, "orvex: --key: an AES key is 16 bytes (32 hex digits)\n"},
       }) {
    std::vector<std::string> args = {"--sim-card", "mfplus-sl3", "mfplus"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    Result r = Run(args);
    EXPECT_EQ(r.status, c.status) << c.args[1];
    EXPECT_EQ(r.err.substr(r.err.size() >= c.err.size() ? r.err.size() - c.err.size() : 0), c.err) << r.err;
  }
  Result r = Run({"mfplus", "value", "--help"});
  ASSERT_EQ(r.status, 0);
  for (const char* sub : {"get", "init", "inc", "dec", "backup"})
    EXPECT_NE(r.out.find(std::string("\n  ") + sub + " "), std::string::npos) << sub << "\n" << r.out;
}

// The card leaving between the change and its read-back: the change is
// reported as made but unconfirmed.
TEST_F(MfplusValue, CardLeavingMidCommand) {
  Write(Path("aes.key"), kKey + "\n");
  Result r = Run({"--sim-card", "mfplus-sl3", "--sim-leave-after", "1", "mfplus", "value", "init", "5", "100", "-k",
                  "@" + Path("aes.key")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.rfind("orvex: block 5 of ", 0), 0u) << r.err;
  EXPECT_NE(r.err.find(" was written, but reading it back failed: "), std::string::npos) << r.err;
}

}  // namespace
