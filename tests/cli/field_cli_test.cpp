// SPDX-License-Identifier: MIT
// Looking at the field: scan of every card of every family, an empty field
// told from a reader that does not answer, scan --wait for a card to come,
// and watch reporting cards arriving and leaving until it is interrupted.
#include <regex>

#include "cli_support.h"

namespace {

using namespace clitest;

// Waits up to two seconds for the file to hold text; true when it does.
bool WaitFor(const std::string& path, const std::string& text) {
  for (int i = 0; i < 200; ++i) {
    if (Slurp(path).find(text) != std::string::npos) return true;
    usleep(10000);
  }
  return false;
}

TEST_F(Cli, ScanOfAnEmptyFieldSucceedsAndSaysSo) {
  Result r = Run({"--sim-empty", "scan"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "no card in the field\n");
  EXPECT_EQ(r.err, "");
  r = Run({"--sim-empty", "scan", "--json"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"cards": []})"));
}

TEST_F(Cli, ScanAndWatchOfAReaderThatDoesNotAnswerFail) {
  FakeLine line;
  ASSERT_FALSE(line.path().empty());
  for (std::string command : {"scan", "watch"}) {
    Result r = Run({"--device", line.path(), command});
    EXPECT_EQ(r.status, 1) << command;
    EXPECT_EQ(r.out, "") << command;
    // The tool waits about a second for a silent reader's first byte.
    const std::regex silent("orvex: " + command + ": no answer from the reader on " + line.path() +
                            " within 1[01][0-9][0-9] ms\n");
    EXPECT_TRUE(std::regex_match(r.err, silent)) << r.err;
    r = Run({"--device", line.path(), command, "--json"});
    EXPECT_EQ(r.status, 1) << command;
    EXPECT_TRUE(std::regex_match("orvex: " + r.Json()["error"].get<std::string>() + "\n", silent)) << r.out;
  }
}

TEST_F(Cli, ScanListsEveryStTagAndTheIdentityCardBesideAnotherTypeBCard) {
  Result r = Run({"--sim-card", "sr176:D002000000000001", "--sim-card", "sr512:D002000000000002", "--sim-card",
                  "srix4k:D002000000000003", "--sim-card", "idcard:1122334455667788", "--sim-card",
                  "typeb:5B010203", "scan", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  std::vector<std::pair<std::string, std::string>> got;
  const auto j = r.Json();
  for (const auto& c : j["cards"]) got.emplace_back(c["family"], c["uid"]);
  ASSERT_EQ(got.size(), 6u) << r.out;
  EXPECT_EQ(got[0], std::make_pair(std::string("id-card"), std::string("1122334455667788")));
  EXPECT_EQ(got[1].first, "iso14443b");  // the identity card itself
  EXPECT_EQ(got[2], std::make_pair(std::string("iso14443b"), std::string("5B010203")));
  EXPECT_EQ(got[3], std::make_pair(std::string("st-memory"), std::string("D002000000000001")));
  EXPECT_EQ(got[4], std::make_pair(std::string("st-memory"), std::string("D002000000000002")));
  EXPECT_EQ(got[5], std::make_pair(std::string("st-memory"), std::string("D002000000000003")));
  // The scan leaves every tag to be found again.
  r = Run({"--sim-card", "sr176:D002000000000001", "--sim-card", "sr512:D002000000000002", "scan"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.find("st-memory    D002000000000001  chip id "), 0u) << r.out;
  EXPECT_NE(r.out.find("\nst-memory    D002000000000002  chip id "), std::string::npos) << r.out;
}

TEST_F(Cli, ScanWaitGivesUpAfterItsTimeout) {
  auto start = std::chrono::steady_clock::now();
  Result r = Run({"--sim-empty", "scan", "--wait", "--timeout", "0.3"});
  double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "orvex: scan: no card came into the field within 0.3 s\n");
  EXPECT_GE(took, 0.3);
  EXPECT_LT(took, 3.0);
  r = Run({"--sim-empty", "scan", "-w", "--timeout", "0.2", "--json"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.Json()["error"], "scan: no card came into the field within 0.2 s");
}

TEST_F(Cli, ScanTimeoutWithoutWaitIsAUsageError) {
  Result r = Run({"scan", "--timeout", "2"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("--timeout requires --wait"), std::string::npos) << r.err;
  r = Run({"scan", "--wait", "--timeout", "-1"});
  EXPECT_EQ(r.status, 2);
}

TEST_F(Cli, ScanWaitWithACardAlreadyThereAnswersAtOnce) {
  Result r = Run({"--sim-card", "mfc1k:11223344", "scan", "--wait"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "iso14443a    11223344  ATQA 0004 SAK 08  MIFARE Classic 1K\n");
}

TEST_F(Cli, ScanWaitReportsACardPlacedWhileItWaits) {
  SimProcess sim("--empty", Path("sim.out"));
  ASSERT_FALSE(sim.pty().empty());
  pid_t pid = Spawn({"--device", sim.pty(), "scan", "--wait", "--timeout", "20"});
  usleep(400000);
  auto placed = std::chrono::steady_clock::now();
  sim.Say("place ntag215:04112233445566\n");
  Result r = Collect(pid);
  double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - placed).count();
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "iso14443a    04112233445566  ATQA 0044 SAK 00  Type 2 tag (Ultralight, NTAG)\n");
  EXPECT_EQ(r.err, "");
  EXPECT_LT(took, 5.0);
}

TEST_F(Cli, WatchReportsArrivalsAndDeparturesUntilInterrupted) {
  SimProcess sim("--empty --card mfc1k:11223344", Path("sim.out"));
  ASSERT_FALSE(sim.pty().empty());
  pid_t pid = Spawn({"--device", sim.pty(), "watch"});
  ASSERT_TRUE(WaitFor(Path("stdout"), "11223344")) << Slurp(Path("stderr"));
  sim.Say("place lf:1A2B3C4D5E\n");
  ASSERT_TRUE(WaitFor(Path("stdout"), "1A2B3C4D5E")) << Slurp(Path("stdout"));
  sim.Say("remove 0\n");
  ASSERT_TRUE(WaitFor(Path("stdout"), "left")) << Slurp(Path("stdout"));
  kill(pid, SIGINT);
  Result r = Collect(pid);
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "arrived  iso14443a    11223344  ATQA 0004 SAK 08  MIFARE Classic 1K\n"
            "arrived  lf-125khz    1A2B3C4D5E\n"
            "left     iso14443a    11223344  ATQA 0004 SAK 08  MIFARE Classic 1K\n");
  EXPECT_EQ(r.err, "");
}

TEST_F(Cli, WatchAsJsonLines) {
  SimProcess sim("--empty", Path("sim.out"));
  ASSERT_FALSE(sim.pty().empty());
  pid_t pid = Spawn({"--device", sim.pty(), "watch", "--json"});
  ASSERT_TRUE(WaitFor(Path("stdout"), "watching"));
  sim.Say("place iso15693:E004010011223344\n");
  ASSERT_TRUE(WaitFor(Path("stdout"), "E004010011223344"));
  sim.Say("remove all\n");
  ASSERT_TRUE(WaitFor(Path("stdout"), "left"));
  kill(pid, SIGTERM);
  Result r = Collect(pid);
  EXPECT_EQ(r.status, 0) << r.err;
  std::vector<nlohmann::json> lines;
  std::istringstream in(r.out);
  for (std::string line; std::getline(in, line);) lines.push_back(nlohmann::json::parse(line));
  ASSERT_EQ(lines.size(), 3u) << r.out;
  EXPECT_EQ(lines[0], nlohmann::json::parse(R"({"event": "watching"})"));
  EXPECT_EQ(lines[1], nlohmann::json::parse(R"({"event": "arrived", "card": {"family": "iso15693",
                                                "uid": "E004010011223344", "dsfid": "00"}})"));
  EXPECT_EQ(lines[2], nlohmann::json::parse(R"({"event": "left", "card": {"family": "iso15693",
                                                "uid": "E004010011223344", "dsfid": "00"}})"));
}

TEST_F(Cli, WatchOfAReaderThatGoesAwayFailsWithAnErrorLine) {
  pid_t pid = -1;
  {
    SimProcess sim("--card lf:1122334455", Path("sim.out"));
    ASSERT_FALSE(sim.pty().empty());
    pid = Spawn({"--device", sim.pty(), "watch", "--json"});
    ASSERT_TRUE(WaitFor(Path("stdout"), "1122334455"));
  }  // the reader goes away
  Result r = Collect(pid);
  EXPECT_EQ(r.status, 1);
  std::vector<nlohmann::json> lines;
  std::istringstream in(r.out);
  for (std::string line; std::getline(in, line);) lines.push_back(nlohmann::json::parse(line));
  ASSERT_EQ(lines.size(), 3u) << r.out;
  EXPECT_EQ(lines[1]["event"], "arrived");
  ASSERT_TRUE(lines[2].contains("error")) << r.out;
  EXPECT_EQ("orvex: " + lines[2]["error"].get<std::string>() + "\n", r.err);
}

TEST_F(Cli, WatchEndsAfterItsTimeout) {
  Result r = Run({"--sim-card", "lf:1122334455", "watch", "--timeout", "0.3"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "arrived  lf-125khz    1122334455\n");
}

}  // namespace

namespace {

using namespace clitest;

TEST_F(Cli, UidChoosesTheCardAndSaysSo) {
  Result r = Run({"--sim-card", "mfc1k:11223344", "--sim-card", "mfc1k:55667788", "--uid", "55667788", "mfc",
                  "dump", Path("d.mfd")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "orvex: acting on card 55667788 (MIFARE Classic 1K), chosen by --uid\n");
  EXPECT_NE(r.out.find("dumped 64 blocks of MIFARE Classic 1K 55667788 to "), std::string::npos) << r.out;
  EXPECT_EQ(Slurp(Path("d.mfd")).substr(0, 4), "\x55\x66\x77\x88");
  // -q keeps the note to itself.
  r = Run({"--sim-card", "mfc1k:11223344", "--sim-card", "mfc1k:55667788", "-q", "--uid", "55667788", "mfc", "dump",
           Path("d.mfd"), "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.Json()["uid"], "55667788");
}

TEST_F(Cli, WithoutUidACommandSaysWhichOfSeveralCardsItTook) {
  Result r = Run({"--sim-card", "ntag215:04112233445566", "--sim-card", "mfc1k:11223344", "ntag", "read", "4",
                  "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err,
            "orvex: several cards in the field; acting on 04112233445566 (Type 2 tag (Ultralight, NTAG)): --uid "
            "chooses another (orvex scan lists them)\n");
  EXPECT_EQ(r.Json()["uid"], "04112233445566");
  // One card alone: nothing to say.
  r = Run({"--sim-card", "ntag215:04112233445566", "ntag", "read", "4", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  // A dump's result names the card it read (here its JSON): no note.
  r = Run({"--sim-card", "ntag215:04112233445566", "--sim-card", "mfc1k:11223344", "ntag", "dump", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.Json()["uid"], "04112233445566");
}

TEST_F(Cli, UidOfACardNotInTheField) {
  Result r = Run({"--sim-card", "mfc1k:11223344", "--uid", "01020304", "mfc", "dump", Path("d.mfd")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: no card with UID 01020304 in the field\n");
  EXPECT_EQ(r.out, "");
  r = Run({"--sim-card", "iso15693:E004010011223344", "--uid", "E004010099887766", "iso15693", "read", "--json"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.Json()["error"], "inventory: no ISO 15693 tag with UID E004010099887766 in the field");
  r = Run({"--uid", "11x2", "scan"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: --uid: \"11x2\" is not hexadecimal\n");
  r = Run({"--uid", "11\t22\n33", "scan"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: --uid: \"11\\t22\\n33\" is not hexadecimal\n");
}

TEST_F(Cli, UidChoosesAnIso15693TagAndAnNdefTag) {
  Result r = Run({"--sim-card", "iso15693:E004010011223344", "--sim-card", "iso15693:E004010099887766", "--uid",
                  "E004010099887766", "iso15693", "write", "3", "CAFEF00D"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "orvex: acting on tag E004010099887766, chosen by --uid\n");
  EXPECT_EQ(r.out, "wrote block 3 of tag E004010099887766: CAFEF00D (simulated reader)\n");
  r = Run({"--sim-card", "mfc1k:11223344", "--sim-card", "ntag215:04112233445566", "-u", "04112233445566", "ndef",
           "read"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "NTAG215 04112233445566: the NDEF message is empty\n");
}

}  // namespace
