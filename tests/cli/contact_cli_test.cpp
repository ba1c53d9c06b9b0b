// SPDX-License-Identifier: MIT
// The orvex program's SLE4442, identity card, 125 kHz and MIFARE Plus
// subcommands and the reader group, against the simulated reader: exact
// output, exit statuses and messages, the PSC's error counter going down,
// refusals and interrupted writes.
#include <map>

#include "cli_support.h"

namespace {

using namespace clitest;

constexpr const char* kWarning =
    "orvex: warning: the key given with --psc is visible to other users (ps) and stays in the shell history; "
    "give @FILE or - (standard input) instead\n";

class Contact : public Cli {
 protected:
  void SetUp() override {
    Cli::SetUp();
    Write(Path("psc"), "FF FF FF  # factory PSC\n");
    Write(Path("wrong"), "112233\n");
  }
  std::string Psc() { return "@" + Path("psc"); }
  std::string Wrong() { return "@" + Path("wrong"); }
};

TEST_F(Contact, SleReadListsTheMainMemory) {
  Result r = Run({"--sim-card", "sle4442", "sle4442", "read"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.substr(0, r.out.find('\n') + 1), "0x00: A2131091FFFFFFFFFFFFFFFFFFFFFFFF\n");
  EXPECT_NE(r.out.find("\n0xF0: FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF\n"), std::string::npos) << r.out;
  EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 16);
  r = Run({"--sim-card", "sle4442", "sle4442", "read", "2", "3", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"address": 2, "count": 3, "data": "1091FF"})"));
  r = Run({"--sim-card", "sle4442", "sle4442", "read", "0x10", "4"});
  EXPECT_EQ(r.out, "0x10: FFFFFFFF\n");
}

TEST_F(Contact, SleReadFailures) {
  Result r = Run({"--sim-empty", "sle4442", "read"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: resetting the card: no card in the contact slot (or the reader refused)\n");
  EXPECT_EQ(r.out, "");
  r = Run({"--sim-card", "sle4442", "sle4442", "read", "250", "10"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err,
            "orvex: sle4442 read: the main memory has 256 bytes (addresses 0 to 255); 0xFA-0x103 does not fit\n");
  r = Run({"--sim-card", "sle4442", "sle4442", "read", "256"});
  EXPECT_EQ(r.status, 2);
}

TEST_F(Contact, SleProtectionIsDecoded) {
  Result r = Run({"--sim-card", "sle4442", "sle4442", "protection"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "protection:     F0FFFFFF\n"
            "write-protected: bytes 0-3 (for good)\n"
            "error counter:  3 attempts left\n");
  r = Run({"--sim-card", "sle4442", "sle4442", "protection", "--json"});
  EXPECT_EQ(r.Json(), nlohmann::json::parse(
                          R"({"protection": "F0FFFFFF", "protected": [0, 1, 2, 3], "attempts_left": 3})"));
}

TEST_F(Contact, SlePscShowsTheCounterAndTakesItsSources) {
  Result r = Run({"--sim-card", "sle4442", "sle4442", "psc", "-p", Psc()});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "counter before: 3 attempts left\n"
            "counter after:  3 attempts left\n"
            "PSC accepted: the card can be written until it is reset (simulated reader)\n");
  EXPECT_EQ(r.err, "");
  r = Run({"--sim-card", "sle4442", "sle4442", "psc", "-p", "-", "--json"}, "ff:ff:ff\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"attempts_before": 3, "attempts_after": 3})"));
  r = Run({"--sim-card", "sle4442", "sle4442", "psc", "-p", "FFFFFF"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, kWarning);
  r = Run({"--sim-card", "sle4442", "sle4442", "psc", "-p", "-"}, "FFFF\n");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: --psc: a PSC is 3 bytes (6 hex digits)\n");
  r = Run({"--sim-card", "sle4442", "sle4442", "psc"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("--psc is required"), std::string::npos) << r.err;
}

// A wrong PSC costs an attempt; the tool will not spend the last one unless
// told to, and after it the card takes no PSC at all.
TEST_F(Contact, SleWrongPscCountsDownAndTheLastAttemptNeedsConsent) {
  SimProcess sim("--card sle4442", Path("sim.out"));
  ASSERT_FALSE(sim.pty().empty());
  const std::vector<std::string> wrong = {"--device", sim.pty(), "sle4442", "psc", "-p", Wrong()};
  Result r = Run(wrong);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "counter before: 3 attempts left\n");
  EXPECT_EQ(r.err, "orvex: wrong PSC: the card refused it; 2 attempts left\n");
  r = Run(wrong);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: wrong PSC: the card refused it; 1 attempt left\n");
  // The last attempt: refused before anything is presented, right PSC or not.
  for (const std::string& psc : {Wrong(), Psc()}) {
    r = Run({"--device", sim.pty(), "sle4442", "psc", "-p", psc});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.out, "counter before: 1 attempt left\n");
    EXPECT_EQ(r.err,
              "orvex: only 1 PSC attempt is left, and a wrong PSC now locks the card for good; nothing was "
              "presented. If you are sure of the PSC, add --last-attempt\n");
  }
  r = Run({"--device", sim.pty(), "sle4442", "protection", "--json"});
  EXPECT_EQ(r.Json()["attempts_left"], 1);
  auto last = wrong;
  last.push_back("--last-attempt");
  r = Run(last);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: wrong PSC: the card refused it; 0 attempts left: the card is now locked for good\n");
  r = Run({"--device", sim.pty(), "sle4442", "psc", "-p", Psc(), "--last-attempt"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "counter before: 0 attempts left\n");
  EXPECT_EQ(r.err,
            "orvex: the card is locked for good: its error counter allows no more PSC attempts (it can still "
            "be read)\n");
  r = Run({"--device", sim.pty(), "sle4442", "read", "0", "4"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "0x00: A2131091\n");
}

TEST_F(Contact, SleRightPscRestoresTheAttempts) {
  SimProcess sim("--card sle4442", Path("sim.out"));
  ASSERT_EQ(Run({"--device", sim.pty(), "sle4442", "psc", "-p", Wrong()}).status, 1);
  Result r = Run({"--device", sim.pty(), "sle4442", "psc", "-p", Psc()});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.substr(0, r.out.find("PSC")),
            "counter before: 2 attempts left\n"
            "counter after:  3 attempts left\n");
}

TEST_F(Contact, SleWriteReadsBackAndLasts) {
  SimProcess sim("--card sle4442", Path("sim.out"));
  Result r = Run({"--device", sim.pty(), "sle4442", "write", "0x40", "0011223344556677", "-p", Psc()});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "counter before: 3 attempts left\n"
            "counter after:  3 attempts left\n"
            "wrote 8 bytes at 0x40-0x47 and read them back\n");
  r = Run({"--device", sim.pty(), "sle4442", "read", "0x3F", "10"});
  EXPECT_EQ(r.out, "0x3F: FF0011223344556677FF\n");
  r = Run({"--device", sim.pty(), "sle4442", "write", "255", "AB", "-p", "-", "--json"}, "FFFFFF");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(
                          R"({"attempts_before": 3, "attempts_after": 3, "address": 255, "count": 1, "data": "AB"})"));
}

TEST_F(Contact, SleWriteRefusesProtectedBytesBeforeThePsc) {
  SimProcess sim("--card sle4442", Path("sim.out"));
  Result r = Run({"--device", sim.pty(), "sle4442", "write", "2", "0102", "-p", Wrong()});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "orvex: nothing was written: bytes 2-3 are write-protected for good\n");
  // No attempt was spent on the wrong PSC.
  EXPECT_EQ(Run({"--device", sim.pty(), "sle4442", "protection", "--json"}).Json()["attempts_left"], 3);
}

TEST_F(Contact, SleWriteWithAWrongPscWritesNothing) {
  SimProcess sim("--card sle4442", Path("sim.out"));
  Result r = Run({"--device", sim.pty(), "sle4442", "write", "0x40", "AA", "-p", Wrong()});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: wrong PSC: the card refused it; 2 attempts left\n");
  EXPECT_EQ(Run({"--device", sim.pty(), "sle4442", "read", "0x40", "1"}).out, "0x40: FF\n");
}

TEST_F(Contact, SleWriteBadArguments) {
  Result r = Run({"--sim-card", "sle4442", "sle4442", "write", "250", "00112233445566", "-p", Psc()});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: sle4442 write: 7 bytes from 0xFA go past the end of the 256-byte main memory\n");
  r = Run({"--sim-card", "sle4442", "sle4442", "write", "0x40", "0G", "-p", Psc()});
  EXPECT_EQ(r.status, 2);
  r = Run({"--sim-card", "sle4442", "sle4442", "write", "256", "00", "-p", Psc()});
  EXPECT_EQ(r.status, 2);
  r = Run({"--sim-empty", "sle4442", "write", "0x40", "00", "-p", Psc()});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: resetting the card: no card in the contact slot (or the reader refused)\n");
}

// The write goes out 16 bytes at a time; the card leaves right after its
// second write command: the first piece is written and read back, the
// second landed but could not be read back, the rest was never sent.
TEST_F(Contact, SleCardLeavingMidWriteSaysWhatWasWritten) {
  std::string data;
  for (int i = 0; i < 40; ++i) data += "5A";
  Result r = Run({"--sim-card", "sle4442", "--sim-leave-after", "2", "sle4442", "write", "0x40", data, "-p", Psc()});
  EXPECT_EQ(r.status, 3);
  EXPECT_EQ(r.err,
            "orvex: writing bytes 0x50-0x5F: the card left the contact slot; bytes 0x40-0x4F were written "
            "and read back, bytes 0x50-0x5F may be partly written, bytes 0x60-0x67 were not written\n");
  r = Run({"--sim-card", "sle4442", "--sim-leave-after", "1", "sle4442", "write", "0x40", "AABB", "-p", Psc()});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: writing bytes 0x40-0x41: the card left the contact slot; bytes 0x40-0x41 may be partly "
            "written\n");
}

TEST_F(Contact, SleChangePsc) {
  SimProcess sim("--card sle4442", Path("sim.out"));
  Write(Path("new"), "A1B2C3\n");
  Result r = Run({"--device", sim.pty(), "sle4442", "change-psc", "-p", Psc(), "--new-psc", "@" + Path("new")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "counter before: 3 attempts left\n"
            "counter after:  3 attempts left\n"
            "PSC changed: from now on the card takes the new PSC only\n");
  r = Run({"--device", sim.pty(), "sle4442", "psc", "-p", Psc()});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: wrong PSC: the card refused it; 2 attempts left\n");
  r = Run({"--device", sim.pty(), "sle4442", "psc", "-p", "-"}, "A1B2C3\n");
  EXPECT_EQ(r.status, 0) << r.err;
  r = Run({"--device", sim.pty(), "sle4442", "change-psc", "-p", "-", "-n", "-"}, "A1B2C3\n");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: sle4442 change-psc: only one of --psc and --new-psc can come from standard input\n");
}

TEST_F(Contact, SleProtectNeedsYesAndProtectsForGood) {
  SimProcess sim("--card sle4442", Path("sim.out"));
  ASSERT_EQ(Run({"--device", sim.pty(), "sle4442", "write", "8", "C0DE", "-p", Psc()}).status, 0);
  Result r = Run({"--device", sim.pty(), "sle4442", "protect", "8", "2", "-p", Psc()});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out, "bytes 8-9 hold C0DE\n");
  EXPECT_EQ(r.err,
            "orvex: nothing was protected: protecting bytes 8-9 keeps their present values for good and cannot "
            "be undone; add --yes to protect them\n");
  EXPECT_EQ(Run({"--device", sim.pty(), "sle4442", "protection", "--json"}).Json()["protected"].size(), 4u);
  r = Run({"--device", sim.pty(), "sle4442", "protect", "8", "2", "-p", Psc(), "--yes"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "bytes 8-9 hold C0DE\n"
            "counter before: 3 attempts left\n"
            "counter after:  3 attempts left\n"
            "protected bytes 8-9 for good\n");
  r = Run({"--device", sim.pty(), "sle4442", "protection"});
  EXPECT_NE(r.out.find("write-protected: bytes 0-3, 8-9 (for good)\n"), std::string::npos) << r.out;
  r = Run({"--device", sim.pty(), "sle4442", "write", "9", "00", "-p", Psc()});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: nothing was written: bytes 9 are write-protected for good\n");
  r = Run({"--device", sim.pty(), "sle4442", "protect", "30", "3", "-p", Psc(), "--yes"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: sle4442 protect: only bytes 0 to 31 can be protected; 3 bytes from 30 do not fit\n");
}

TEST_F(Contact, IdCardReadsTheNumber) {
  Result r = Run({"--sim-card", "idcard:1101020304050607", "idcard", "read"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "card number:    1101020304050607\n");
  r = Run({"--sim-card", "idcard:1101020304050607", "idcard", "read", "--json"});
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"number": "1101020304050607"})"));
  r = Run({"--sim-empty", "idcard", "read"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: no identity card in the field\n");
  r = Run({"--sim-card", "mfc1k", "idcard", "read", "--json"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.Json()["error"], "no identity card in the field");
}

TEST_F(Contact, LfReadsTheNumber) {
  Result r = Run({"--sim-card", "lf:0102030405", "lf", "read"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "card number:    0102030405\n");
  r = Run({"--sim-card", "lf:0102030405", "lf", "read", "--json"});
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"id": "0102030405", "bytes": 5})"));
  r = Run({"--sim-card", "mfc1k", "lf", "read"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: no 125 kHz card in the field\n");
  FakeLine silent;
  r = Run({"--device", silent.path(), "lf", "read"});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("orvex: reading the 125 kHz card: no answer from the reader on "), std::string::npos)
      << r.err;
}

TEST_F(Contact, ReaderSpeedMovesTheLink) {
  SimProcess sim("", Path("sim.out"));
  Result r = Run({"--device", sim.pty(), "reader", "speed", "38400"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "the reader now runs at 38400 bit/s (was 19200); give --baud 38400 from now on\n");
  // The tool's link at 38400 (the simulated line itself answers at any
  // speed: the reader's own speed is checked in the fake reader's test).
  r = Run({"--device", sim.pty(), "--baud", "38400", "reader", "speed", "9600", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"old_speed": 38400, "speed": 9600})"));
  r = Run({"--device", sim.pty(), "--baud", "9600", "reader", "speed", "9600"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "the reader already runs at 9600 bit/s\n");
}

TEST_F(Contact, ReaderSpeedRefusesWhatTheLineCannotFollow) {
  for (const char* bps : {"57600", "115200", "14400", "1200"}) {
    Result r = Run({"reader", "speed", bps});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, std::string("orvex: reader speed: ") + bps +
                         " bit/s is not a speed this host's line offers (4800, 9600, 19200, 38400); the reader "
                         "would be out of reach at it\n");
  }
  Result r = Run({"reader", "speed"});
  EXPECT_EQ(r.status, 2);
}

TEST_F(Contact, ReaderNumberShowsTheOldAndTheNew) {
  SimProcess sim("", Path("sim.out"));
  Result r = Run({"--device", sim.pty(), "reader", "number", "7"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "reader number 1 -> 7 (address it with --reader-id 7 or 0)\n");
  r = Run({"--device", sim.pty(), "-r", "7", "reader", "number", "9", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"old_number": 7, "number": 9})"));
  // Number 7 is gone: a reader addressed so does not answer.
  r = Run({"--device", sim.pty(), "-r", "7", "reader", "number", "3"});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("orvex: reading the reader number: no answer from the reader"), std::string::npos) << r.err;
  r = Run({"reader", "number", "70000"});
  EXPECT_EQ(r.status, 2);
}

TEST_F(Contact, ReaderAntenna) {
  Result r = Run({"reader", "antenna", "off"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "antenna off (simulated reader)\n");
  r = Run({"reader", "antenna", "on", "--json"});
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"antenna": "on"})"));
  r = Run({"reader", "antenna", "up"});
  EXPECT_EQ(r.status, 2);
  // Off, the field holds no card for scan.
  SimProcess sim("--card mfc1k", Path("sim.out"));
  ASSERT_EQ(Run({"--device", sim.pty(), "reader", "antenna", "off"}).status, 0);
  r = Run({"--device", sim.pty(), "scan", "--json"});
  EXPECT_EQ(r.Json()["cards"].size(), 0u) << r.out;
}

TEST_F(Contact, ReaderSearchMode) {
  Result r = Run({"reader", "search-mode", "a"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "the reader searches for ISO 14443-A cards (simulated reader)\n");
  r = Run({"reader", "search-mode", "B", "--json"});
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"search_mode": "B"})"));
  r = Run({"reader", "search-mode", "C"});
  EXPECT_EQ(r.status, 2);
  FakeLine silent;
  r = Run({"--device", silent.path(), "reader", "search-mode", "A"});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("orvex: setting the search mode: no answer from the reader on "), std::string::npos) << r.err;
}

TEST_F(Contact, ReaderParamGetAndSet) {
  SimProcess sim("", Path("sim.out"));
  Result r = Run({"--device", sim.pty(), "reader", "param", "get", "3"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: reading parameter 3: the reader refused (no such parameter, or never set)\n");
  r = Run({"--device", sim.pty(), "reader", "param", "set", "3", "A1B2"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "parameter 3 set to A1B2\n");
  r = Run({"--device", sim.pty(), "reader", "param", "get", "3"});
  EXPECT_EQ(r.out, "parameter 3:    A1B2\n");
  r = Run({"--device", sim.pty(), "reader", "param", "get", "3", "--json"});
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"index": 3, "value": "A1B2"})"));
  r = Run({"reader", "param", "set", "3", ""});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: reader param set: a value is 1 to 64 bytes\n");
  r = Run({"reader", "param", "get", "256"});
  EXPECT_EQ(r.status, 2);
}

TEST_F(Contact, ReaderModule433) {
  SimProcess sim("", Path("sim.out"));
  Result r = Run({"--device", sim.pty(), "reader", "module433", "get"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "433 MHz module: 0000000000000000\n");
  r = Run({"--device", sim.pty(), "reader", "module433", "set", "01 02 03 04 05 06 07 08", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"module433": "0102030405060708"})"));
  r = Run({"--device", sim.pty(), "reader", "module433", "get"});
  EXPECT_EQ(r.out, "433 MHz module: 0102030405060708\n");
  r = Run({"reader", "module433", "set", "0102"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: reader module433 set: the parameters are 8 bytes (16 hex digits)\n");
}

TEST_F(Contact, ReaderMemoryReadAndWrite) {
  SimProcess sim("", Path("sim.out"));
  std::string data;
  for (int i = 0; i < 200; ++i) {
    char b[3];
    std::snprintf(b, sizeof b, "%02X", i);
    data += b;
  }
  Result r = Run({"--device", sim.pty(), "reader", "memory", "write", "0x1000", data});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "wrote 200 bytes of reader memory at 0x1000 and read them back\n");
  r = Run({"--device", sim.pty(), "reader", "memory", "read", "0x10C0", "10"});
  EXPECT_EQ(r.out, "0x10C0: C0C1C2C3C4C5C6C70000\n");
  r = Run({"--device", sim.pty(), "reader", "memory", "read", "0x1000", "200", "--json"});
  EXPECT_EQ(r.Json()["data"], data);
  EXPECT_EQ(r.Json()["address"], 0x1000);
  r = Run({"reader", "memory", "write", "0xFFFE", "001122"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: reader memory write: 3 bytes from 0xFFFE go past the end of the reader's memory (0xFFFF)\n");
  r = Run({"reader", "memory", "read", "0xFFFF", "2"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: reader memory read: the reader's memory ends at 0xFFFF\n");
}

TEST_F(Contact, EachGroupsHelpListsItsSubcommands) {
  const std::map<std::string, std::vector<std::string>> groups = {
      {"reader", {"info", "speed", "number", "antenna", "search-mode", "param", "module433", "memory"}},
      {"sle4442", {"read", "protection", "psc", "write", "change-psc", "protect"}},
      {"mfplus", {"info", "perso", "commit", "switch-level", "read", "write", "value"}},
      {"idcard", {"read"}},
      {"lf", {"read"}}};
  for (const auto& [group, subs] : groups) {
    Result r = Run({group, "--help"});
    ASSERT_EQ(r.status, 0) << group;
    for (const auto& sub : subs)
      EXPECT_NE(r.out.find("\n  " + sub + " "), std::string::npos) << group << " " << sub << "\n" << r.out;
  }
}

// A card through its whole life: personalised at level 0, committed to
// level 1, switched to level 3, then written and read with its AES key.
TEST_F(Contact, MifarePlusFromPersonalisationToLevel3) {
  SimProcess sim("--card mfplus:B1020304", Path("sim.out"));
  const std::string key = "000102030405060708090A0B0C0D0E0F", sw = "A0A1A2A3A4A5A6A7A8A9AAABACADAEAF";
  Write(Path("key"), key + "\n");
  Write(Path("switch"), sw + "\n");
  auto run = [&](std::vector<std::string> args, const std::string* in = nullptr) {
    args.insert(args.begin(), {"--device", sim.pty(), "mfplus"});
    return in ? Run(args, *in) : Run(args);
  };
  Result r = run({"info"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "UID:            B1020304\n"
            "ATQA:           0004\n"
            "SAK:            20\n"
            "security level: 0, 2 or 3 (the SAK does not tell them apart)\n");
  r = run({"perso", "9003", sw});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "wrote 9003 of B1020304 (takes effect with orvex mfplus commit)\n");
  ASSERT_EQ(run({"perso", "4002", key}).status, 0);  // sector 1, key A
  r = run({"commit"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err,
            "orvex: nothing was committed: commit moves B1020304 from security level 0 to level 1 for good (its "
            "personalisation can no longer change); add --yes to commit\n");
  r = run({"commit", "--yes", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"uid": "B1020304", "level": 1})"));
  r = run({"info", "--json"});
  EXPECT_EQ(r.Json()["security_levels"], nlohmann::json::parse("[1]"));
  r = run({"perso", "4003", key});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("orvex: writing 4003 at security level 0: the card refused (not at security level 0?)"),
            std::string::npos)
      << r.err;
  r = run({"switch-level", "3", "-k", "@" + Path("key"), "--yes"});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("orvex: switching to security level 3: the card refused (wrong switch key, or not at a "
                       "lower level)"),
            std::string::npos)
      << r.err;
  r = run({"switch-level", "3", "-k", "@" + Path("switch")});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err,
            "orvex: nothing was switched: a card never returns to a lower security level; add --yes to switch "
            "B1020304 to level 3\n");
  r = run({"switch-level", "3", "-k", "-", "--yes"}, &sw);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "B1020304 is at security level 3\n");
  const std::string block = "00112233445566778899AABBCCDDEEFF";
  r = run({"write", "5", block, "-k", "@" + Path("key")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "wrote 1 block(s) from 5 of B1020304 and read them back\n");
  r = run({"read", "4", "3", "-k", "@" + Path("key")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "block   4: 00000000000000000000000000000000\n"
            "block   5: " + block + "\n"
            "block   6: 00000000000000000000000000000000\n");
  r = run({"read", "5", "-k", "@" + Path("switch")});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("orvex: authenticating sector 1: wrong key A, or the card is not at level 2 or 3"),
            std::string::npos)
      << r.err;
  r = run({"read", "6", "3", "-k", "@" + Path("key")});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: mfplus read: blocks 6 to 8 are not all in sector 1\n");
  r = run({"write", "5", "0011", "-k", "@" + Path("key")});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: mfplus write: the data are whole 16-byte blocks (32 hex digits each)\n");
}

TEST_F(Contact, MifarePlusRefusals) {
  Result r = Run({"--sim-empty", "mfplus", "info"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: no card in the field\n");
  r = Run({"--sim-card", "ntag215:04112233445566", "mfplus", "info"});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("orvex: the card 04112233445566 ("), std::string::npos) << r.err;
  EXPECT_NE(r.err.find(") is not a MIFARE Plus\n"), std::string::npos) << r.err;
  r = Run({"--sim-card", "mfplus", "mfplus", "perso", "40", "00"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: mfplus perso: ADDR is 2 bytes in hex (e.g. 4000)\n");
  r = Run({"--sim-card", "mfplus", "mfplus", "read", "4", "-k", "-"}, "0011\n");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: --key: an AES key is 16 bytes (32 hex digits)\n");
}

}  // namespace
