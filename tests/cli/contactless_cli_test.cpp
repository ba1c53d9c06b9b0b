// SPDX-License-Identifier: MIT
// The orvex program's FeliCa, Topaz, ST memory tag, AT88RF020 and ISO 15693
// subcommands against the simulated reader: text and JSON, writes read back,
// locks honoured, and the failures in words with their exit statuses.
#include <algorithm>
#include <set>
#include <sstream>

#include "cli_support.h"
#include "orvexsim/felica.h"
#include "orvexsim/iso15693.h"
#include "orvexsim/serial_server.h"
#include "orvexsim/simulator.h"
#include "orvexsim/topaz.h"
#include "orvexsim/type_b.h"

namespace {

using namespace clitest;

// A simulated reader in this process, on a pseudo-terminal, whose cards keep
// what one run of the tool did for the next.
class Field : public Cli {
 protected:
  void Serve(std::vector<std::shared_ptr<orvexsim::Card>> cards) {
    for (auto& c : cards) sim_.Place(c);
    server_ = std::make_unique<orvexsim::SerialServer>(sim_);
    server_->Start();
  }
  void TearDown() override {
    if (server_) server_->Stop();
    Cli::TearDown();
  }
  Result On(std::vector<std::string> args, const std::string* input = nullptr) {
    args.insert(args.begin(), {"--device", server_->path()});
    return input ? Run(args, *input) : Run(args);
  }
  orvexsim::Simulator sim_;
  std::unique_ptr<orvexsim::SerialServer> server_;
};

// ---- FeliCa -------------------------------------------------------------------------

constexpr const char* kIdm = "0102030405060780";

TEST_F(Cli, FelicaPollShowsIdmPmmAndSystemCode) {
  Result r = Run({"--sim-card", std::string("felica:") + kIdm, "felica", "poll"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "IDm          0102030405060780\nPMm          0120220427674EFF\nsystem code  88B4\n");
  r = Run({"--sim-card", std::string("felica:") + kIdm, "felica", "poll", "--system-code", "88B4", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(
                          R"({"idm": "0102030405060780", "pmm": "0120220427674EFF", "system_code": "88B4"})"));
  r = Run({"--sim-card", "felica", "felica", "poll", "-s", "FE00"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: polling: no FeliCa card with system code FE00 in the field\n");
  r = Run({"felica", "poll"});  // a MIFARE Classic alone
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: polling: no FeliCa card in the field\n");
  r = Run({"--sim-card", std::string("felica:") + kIdm, "--uid", "0102030405060708", "felica", "poll"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: polling: no FeliCa card with IDm 0102030405060708 in the field (the card that answered is "
            "0102030405060780)\n");
  r = Run({"felica", "poll", "-s", "88"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: --system-code: \"88\" is not a 2-byte code (4 hex digits)\n");
}

TEST_F(Cli, FelicaServicesGiveKeyVersions) {
  Result r = Run({"--sim-card", std::string("felica:") + kIdm, "felica", "services", "0009", "000B", "1234"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "service 0009: key version 0000\nservice 000B: key version 0000\nservice 1234: not on the card\n");
  r = Run({"--sim-card", std::string("felica:") + kIdm, "felica", "services", "000B", "1234", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["services"], nlohmann::json::parse(R"([{"code": "000B", "exists": true, "key_version": "0000"},
                                                            {"code": "1234", "exists": false, "key_version": null}])"));
}

TEST_F(Cli, FelicaServicesTheReaderDoesNotHandOverAreUnknown) {
  // The reader hands over twice the IDm's last byte (01) in bytes from the
  // node count on: the count and one byte, no whole key version.
  Result r = Run({"--sim-card", "felica:0102030405060701", "felica", "services", "0009", "--json"});
  EXPECT_EQ(r.status, 3);
  EXPECT_EQ(r.Json()["services"],
            nlohmann::json::parse(R"([{"code": "0009", "exists": null, "key_version": null}])"));
  EXPECT_EQ(r.err,
            "orvex: the reader hands over as many key versions as the IDm's last byte (01) says: the others are "
            "unknown\n");
}

TEST_F(Field, FelicaBlockWrittenReadsBack) {
  auto card = std::make_shared<orvexsim::FelicaCard>(orvexsim::Bytes{1, 2, 3, 4, 5, 6, 7, 0x80});
  Serve({card});
  Result r = On({"felica", "write", "--service", "0009", "3", "00112233445566778899AABBCCDDEEFF"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "wrote block 3 of service 0009 of FeliCa 0102030405060780: 00112233445566778899AABBCCDDEEFF (read back)\n");
  // The read-only service sees the same area.
  r = On({"felica", "read", "--service", "000B", "2", "3"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "block    2: 00000000000000000000000000000000\nblock    3: 00112233445566778899AABBCCDDEEFF\n");
  EXPECT_EQ(orvexsim::Slice(card->memory(), 48, 2), (orvexsim::Bytes{0x00, 0x11}));
  // More blocks than one command carries.
  std::vector<std::string> args = {"felica", "read", "--service", "0009", "--json"};
  for (int b = 0; b < 12; ++b) args.push_back(std::to_string(b));
  r = On(args);
  ASSERT_EQ(r.status, 0) << r.err;
  ASSERT_EQ(r.Json()["memory"].size(), 12u);
  EXPECT_EQ(r.Json()["memory"][3]["data"], "00112233445566778899AABBCCDDEEFF");
  EXPECT_EQ(r.Json()["memory"][11]["block"], 11);
}

TEST_F(Cli, FelicaWriteFailuresInWords) {
  const std::string card = std::string("felica:") + kIdm, data = "00112233445566778899AABBCCDDEEFF";
  Result r = Run({"--sim-card", card, "felica", "write", "--service", "000B", "3", data});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: writing block 3 of service 000B: the card refused: status flags FF A8 (block number out of "
            "range, or the service does not allow it); nothing was written\n");
  r = Run({"--sim-card", card, "felica", "write", "--service", "0009", "32", data});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: reading block 32 of service 0009: the card refused: status flags FF A8 (block number out of "
            "range, or the service does not allow it)\n");
  r = Run({"--sim-card", card, "--sim-leave-after", "1", "felica", "write", "--service", "0009", "3", data});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: block 3 was written, but reading it back failed: reading block 3 of service 0009: the card did "
            "not answer (has it left the field?)\n");
  r = Run({"--sim-card", card, "felica", "write", "--service", "0009", "3", "0011"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: felica write: a block holds 16 bytes; 2 given\n");
  r = Run({"felica", "read", "3"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: --service is required (try --help)\n");
  r = Run({"felica", "write", "--service", "0009", "3", data});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: polling: no FeliCa card in the field\n");
}

// Several FeliCa cards: the reader passes on one polling response, and
// with one time slot two cards collide; the tool tells them apart with
// pollings of 16 slots (the simulated reader's draws are seeded: the same on
// every run).
constexpr const char* kFelicaA = "012E000000000001";
constexpr const char* kFelicaB = "012E000000000002";
constexpr const char* kFelicaC = "012E000000000003";

orvexsim::Bytes Idm(const char* hex) {
  orvexsim::Bytes b;
  orvexsim::ParseHex(hex, b);
  return b;
}

std::string FelicaLine(const std::string& idm) { return "felica       " + idm + "  PMm 0120220427674EFF\n"; }

TEST_F(Cli, ScanListsEveryFelicaCardInTheField) {
  const std::string a = std::string("felica:") + kFelicaA, b = std::string("felica:") + kFelicaB,
                    c = std::string("felica:") + kFelicaC;
  // Each card in the order a polling brought it.
  Result r = Run({"--sim-card", b, "--sim-card", a, "scan"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, FelicaLine(kFelicaB) + FelicaLine(kFelicaA));
  EXPECT_EQ(r.err, "");
  r = Run({"--sim-card", c, "--sim-card", a, "--sim-card", b, "scan", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"cards": [
      {"family": "felica", "uid": "012E000000000003", "pmm": "0120220427674EFF"},
      {"family": "felica", "uid": "012E000000000001", "pmm": "0120220427674EFF"},
      {"family": "felica", "uid": "012E000000000002", "pmm": "0120220427674EFF"}]})"));
  // Beside cards of other families, and one card alone as ever.
  r = Run({"--sim-card", "mfc1k:11223344", "--sim-card", b, "--sim-card", a, "scan"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "iso14443a    11223344  ATQA 0004 SAK 08  MIFARE Classic 1K\n" + FelicaLine(kFelicaB) +
                       FelicaLine(kFelicaA));
  r = Run({"--sim-card", c, "scan"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, FelicaLine(kFelicaC));
}

// Pollings a --trace shows.
int Pollings(const std::string& trace) {
  int n = 0;
  for (size_t at = trace.find("FeliCa Polling"); at != std::string::npos; at = trace.find("FeliCa Polling", at + 1))
    ++n;
  return n;
}

TEST_F(Field, ScanFindsEveryFelicaCardWhateverSlotsTheyPick) {
  Serve({std::make_shared<orvexsim::FelicaCard>(Idm(kFelicaC)),
         std::make_shared<orvexsim::FelicaCard>(Idm(kFelicaA)),
         std::make_shared<orvexsim::FelicaCard>(Idm(kFelicaB))});
  // Listed in the order the pollings brought them, which the seed decides.
  std::set<std::string> orders;
  for (uint32_t seed = 1; seed <= 6; ++seed) {
    sim_.Seed(seed);
    Result r = On({"scan"});
    ASSERT_EQ(r.status, 0) << r.err;
    std::vector<std::string> lines;
    std::istringstream in(r.out);
    for (std::string line; std::getline(in, line);) lines.push_back(line + "\n");
    orders.insert(r.out);
    std::sort(lines.begin(), lines.end());
    ASSERT_EQ(lines.size(), 3u) << "seed " << seed << "\n" << r.out;
    EXPECT_EQ(lines[0] + lines[1] + lines[2], FelicaLine(kFelicaA) + FelicaLine(kFelicaB) + FelicaLine(kFelicaC))
        << "seed " << seed;
  }
  EXPECT_GT(orders.size(), 1u);
}

TEST_F(Cli, ScanPollsForFelicaCardsOnlyAsLongAsItMust) {
  // No FeliCa card: one polling with one slot, three with 16.
  Result r = Run({"--sim-card", "mfc1k", "--trace", "scan"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Pollings(r.err), 4 * 2) << r.err;
  // One card: it answers the first; twelve pollings with 16 slots bring no other.
  r = Run({"--sim-card", std::string("felica:") + kFelicaA, "--trace", "scan"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Pollings(r.err), 13 * 2) << r.err;
}

TEST_F(Cli, FelicaCommandsChooseAmongSeveralCardsByUid) {
  const std::string a = std::string("felica:") + kFelicaA, b = std::string("felica:") + kFelicaB;
  const std::string data = "00112233445566778899AABBCCDDEEFF";
  // Without --uid: the first found, said on standard error.
  Result r = Run({"--sim-card", b, "--sim-card", a, "felica", "poll"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, std::string("IDm          ") + kFelicaB + "\nPMm          0120220427674EFF\nsystem code  88B4\n");
  EXPECT_EQ(r.err, "orvex: several FeliCa cards in the field (012E000000000002 012E000000000001); acting on "
                   "012E000000000002: --uid chooses another\n");
  // --uid chooses the other.
  r = Run({"--sim-card", b, "--sim-card", a, "--uid", kFelicaB, "felica", "read", "--service", "000B", "0"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "block    0: 00000000000000000000000000000000\n");
  EXPECT_EQ(r.err, "orvex: acting on FeliCa card 012E000000000002, chosen by --uid\n");
  // A card not in the field.
  r = Run({"--sim-card", b, "--sim-card", a, "--uid", kFelicaC, "felica", "poll"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: polling: no FeliCa card with IDm 012E000000000003 in the field (the cards that answered "
                   "are 012E000000000002 012E000000000001)\n");
  EXPECT_EQ(r.out, "");
  // A write does not choose for the user.
  r = Run({"--sim-card", b, "--sim-card", a, "felica", "write", "--service", "0009", "3", data});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: several FeliCa cards in the field (012E000000000002 012E000000000001): --uid chooses the "
                   "one to write; nothing was written\n");
  EXPECT_EQ(r.out, "");
  r = Run({"--sim-card", b, "--sim-card", a, "--trace", "felica", "write", "--service", "0009", "3", data});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("FeliCa Polling"), std::string::npos) << r.err;
  EXPECT_EQ(r.err.find("FeliCa WriteWithoutEncryption"), std::string::npos) << r.err;
  EXPECT_EQ(r.err.find("FeliCa ReadWithoutEncryption"), std::string::npos) << r.err;
  r = Run({"--sim-card", b, "--sim-card", a, "--uid", kFelicaB, "felica", "write", "--service", "0009", "3", data});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, std::string("wrote block 3 of service 0009 of FeliCa ") + kFelicaB + ": " + data +
                       " (read back) (simulated reader)\n");
}

// ---- Topaz --------------------------------------------------------------------------

TEST_F(Cli, TopazReadListsEveryBlock) {
  Result r = Run({"--sim-card", "topaz:920C82AE", "topaz", "read"});
  ASSERT_EQ(r.status, 0) << r.err;
  std::istringstream lines(r.out);
  std::vector<std::string> l;
  for (std::string s; std::getline(lines, s);) l.push_back(s);
  ASSERT_EQ(l.size(), 65u) << r.out;
  EXPECT_EQ(l[0], "Topaz 920C82AE, header ROM 12 4C, 64 blocks of 8 bytes, lock bytes 0000");
  EXPECT_EQ(l[1].substr(0, 18), "block 00: 920C82AE");
  EXPECT_EQ(l[1].substr(26), "  UID");
  EXPECT_EQ(l[2], "block 01: E1103F000300FE00");
  EXPECT_EQ(l[15], "block 0E: 0000000000000000  lock, OTP");
  EXPECT_EQ(l[64], "block 3F: 0000000000000000");
  r = Run({"--sim-card", "topaz:920C82AE", "topaz", "read", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  EXPECT_EQ(j["uid"], "920C82AE");
  EXPECT_EQ(j["hr0"], "12");
  EXPECT_EQ(j["blocks"], 64);
  EXPECT_EQ(j["locked_blocks"], nlohmann::json::array());
  ASSERT_EQ(j["memory"].size(), 64u);
  EXPECT_EQ(j["memory"][1]["data"], "E1103F000300FE00");
}

TEST_F(Field, TopazBytesAndBlocksWrittenReadBack) {
  auto tag = std::make_shared<orvexsim::Topaz>(orvexsim::Bytes{0x92, 0x0C, 0x82, 0xAE});
  Serve({tag});
  Result r = On({"topaz", "write-byte", "0x10", "AB"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "wrote byte 10 of Topaz 920C82AE: 00 -> AB (read back)\n");
  r = On({"topaz", "read-byte", "16"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "byte 10: AB\n");
  r = On({"topaz", "write-block", "0x12", "01 02 03 04", "05060708"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "wrote block 12 of Topaz 920C82AE: 0102030405060708 (read back)\n");
  r = On({"topaz", "read-block", "0x12", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["data"], "0102030405060708");
  EXPECT_EQ(orvexsim::Slice(tag->memory(), 0x12 * 8, 8), (orvexsim::Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
  // The dynamic memory reads back in the whole listing too.
  r = On({"topaz", "read", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["memory"][0x12]["data"], "0102030405060708");
  EXPECT_EQ(r.Json()["memory"][2]["data"], "AB00000000000000");
}

TEST_F(Field, TopazRefusesLockedAndProtectedBlocks) {
  auto tag = std::make_shared<orvexsim::Topaz>(orvexsim::Bytes{0x92, 0x0C, 0x82, 0xAE});
  tag->memory()[0x70] = 0x04;  // block 02 locked
  Serve({tag});
  Result r = On({"topaz", "write-byte", "0x10", "AB"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: writing byte 10: block 02 of tag 920C82AE is locked (lock bytes 0400); nothing was written\n");
  r = On({"topaz", "write-block", "2", "0102030405060708", "--force", "--json"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.Json()["error"],
            "writing block 02: block 02 of tag 920C82AE is locked (lock bytes 0400); nothing was written");
  r = On({"topaz", "write-byte", "0x71", "01"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err,
            "orvex: writing byte 71: block 0E holds the lock bits and the one-time programmable bytes; set bits "
            "there cannot be cleared; nothing was written (give --force to write it anyway)\n");
  r = On({"topaz", "write-block", "0", "0102030405060708"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: writing block 00: block 00 holds the UID; nothing was written (give --force to write it "
                   "anyway)\n");
  EXPECT_EQ(orvexsim::Slice(tag->memory(), 0x10, 8), orvexsim::Bytes(8, 0));
  EXPECT_EQ(tag->memory()[0x71], 0x00);
  r = On({"topaz", "read"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("block 02: 0000000000000000  locked\n"), std::string::npos) << r.out;
}

// The Topaz 512's dynamic lock bits (bytes 7A-7F, bit i locking block
// 10 + i) refuse a write before anything is sent, on the tag too.
TEST_F(Field, TopazDynamicLockBitsRefuseTheirBlocks) {
  auto tag = std::make_shared<orvexsim::Topaz>(orvexsim::Bytes{0x92, 0x0C, 0x82, 0xAE});
  tag->memory()[0x7A] = 0x04;  // block 12 locked
  tag->memory()[0x7F] = 0x80;  // block 3F locked
  Serve({tag});
  Result r = On({"topaz", "write-block", "0x12", "0102030405060708"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: writing block 12: block 12 of tag 920C82AE is locked (dynamic lock bytes 7A-7F: 040000000080); "
            "nothing was written\n");
  EXPECT_EQ(r.out, "");
  r = On({"topaz", "write-block", "0x3F", "0102030405060708", "--force", "--json"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.Json()["error"],
            "writing block 3F: block 3F of tag 920C82AE is locked (dynamic lock bytes 7A-7F: 040000000080); "
            "nothing was written");
  EXPECT_EQ(orvexsim::Slice(tag->memory(), 0x12 * 8, 8), orvexsim::Bytes(8, 0));
  EXPECT_EQ(orvexsim::Slice(tag->memory(), 0x3F * 8, 8), orvexsim::Bytes(8, 0));
  // The blocks next to them take writes.
  r = On({"topaz", "write-block", "0x13", "0102030405060708"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "wrote block 13 of Topaz 920C82AE: 0102030405060708 (read back)\n");
  EXPECT_EQ(orvexsim::Slice(tag->memory(), 0x13 * 8, 8), (orvexsim::Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
  r = On({"topaz", "read", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["locked_blocks"], nlohmann::json::parse("[18, 63]"));
  r = On({"topaz", "read"});
  EXPECT_NE(r.out.find("block 0F: 0000040000000080  dynamic lock\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("block 12: 0000000000000000  locked\n"), std::string::npos) << r.out;
  // Block 0F: the dynamic lock bits only take --force, and only get set.
  r = On({"topaz", "write-byte", "0x7B", "01"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err,
            "orvex: writing byte 7B: block 0F holds the dynamic lock bits (bytes 7A-7F); set bits there cannot be "
            "cleared; nothing was written (give --force to write it anyway)\n");
  EXPECT_EQ(tag->memory()[0x7B], 0x00);
}

// The simulated tag itself refuses a write to a dynamically locked block.
TEST_F(Field, TopazTagKeepsADynamicallyLockedBlock) {
  auto tag = std::make_shared<orvexsim::Topaz>(orvexsim::Bytes{0x92, 0x0C, 0x82, 0xAE});
  Serve({tag});
  // Bit 0 of byte 7A set through the tool (forced): block 10 locked for good.
  Result r = On({"topaz", "write-byte", "0x7A", "01", "--force"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(tag->memory()[0x7A], 0x01);
  r = On({"topaz", "write-byte", "0x7A", "00", "--force"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(tag->memory()[0x7A], 0x01);
  r = On({"topaz", "write-block", "0x10", "0102030405060708"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: writing block 10: block 10 of tag 920C82AE is locked (dynamic lock bytes 7A-7F: 010000000000); "
            "nothing was written\n");
  EXPECT_EQ(orvexsim::Slice(tag->memory(), 0x80, 8), orvexsim::Bytes(8, 0));
}

// The tool looks for the dynamic lock bits where the tag's Lock Control TLV
// puts them (here at byte 68, not where the simulated tag keeps its own).
TEST_F(Field, TopazLockControlTlvPlacesTheDynamicLockBits) {
  auto tag = std::make_shared<orvexsim::Topaz>(orvexsim::Bytes{0x92, 0x0C, 0x82, 0xAE});
  // After the capability container: Lock Control TLV 01 03 D0 30 33 (byte
  // D x 8 + 0 = 68, 48 bits, 8 bytes a bit), then the NDEF message TLV.
  const orvexsim::Bytes tlvs = {0x01, 0x03, 0xD0, 0x30, 0x33, 0x03, 0x00, 0xFE};
  std::copy(tlvs.begin(), tlvs.end(), tag->memory().begin() + 12);
  tag->memory()[0x68] = 0x02;  // block 11
  Serve({tag});
  Result r = On({"topaz", "write-block", "0x11", "0102030405060708"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: writing block 11: block 11 of tag 920C82AE is locked (dynamic lock bytes 68-6D: 020000000000, "
            "where its Lock Control TLV puts them); nothing was written\n");
  EXPECT_EQ(orvexsim::Slice(tag->memory(), 0x11 * 8, 8), orvexsim::Bytes(8, 0));
}

TEST_F(Cli, TopazFailuresInWords) {
  Result r = Run({"topaz", "read"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: no Topaz tag in the field\n");
  r = Run({"--sim-card", "topaz:920C82AE", "--uid", "11223344", "topaz", "read-byte", "0"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: no Topaz tag with UID 11223344 in the field (the tag in it is 920C82AE)\n");
  r = Run({"--sim-card", "topaz", "--sim-leave-after", "1", "topaz", "write-block", "3", "0102030405060708"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: block 03 was written, but reading it back failed: reading block 03: the tag did not answer\n");
  r = Run({"--sim-card", "topaz", "topaz", "write-block", "3", "01020304"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: topaz write-block: a block holds 8 bytes; 4 given\n");
  r = Run({"topaz", "write-byte", "3", "0102"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: topaz write-byte: give one byte (2 hex digits), not 2\n");
  r = Run({"topaz", "read-byte", "128"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: ADDR: Value 128 not in range 0 to 127 (try --help)\n");
}

// ---- ST memory tags -------------------------------------------------------------------

TEST_F(Cli, SrxReadTellsTheChip) {
  struct Chip {
    const char* card;
    const char* name;
    int blocks;
    const char* block0;
  };
  for (const Chip& c : {Chip{"sr176:D002112233445566", "SR176", 16, "5566"},
                        Chip{"sr512:D002112233445566", "SRI512", 16, "FFFFFFFF"},
                        Chip{"srix4k:D002112233445566", "SRIX4K", 128, "FFFFFFFF"}}) {
    Result r = Run({"--sim-card", c.card, "srx", "read", "--json"});
    ASSERT_EQ(r.status, 0) << c.card << ": " << r.err;
    auto j = r.Json();
    EXPECT_EQ(j["chip"], c.name);
    EXPECT_EQ(j["uid"], "D002112233445566");
    EXPECT_EQ(j["blocks"], c.blocks);
    ASSERT_EQ(j["memory"].size(), static_cast<size_t>(c.blocks));
    EXPECT_EQ(j["memory"][0]["data"], c.block0);
  }
  Result r = Run({"--sim-card", "sr176:D002112233445566", "srx", "read", "2"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.substr(r.out.find('\n') + 1), "block   2: 1122  locked\n");
  EXPECT_EQ(r.out.substr(0, 24), "SR176 D002112233445566, ");
}

TEST_F(Field, SrxWritesReadBackAndLocksAreHonoured) {
  auto tag = std::make_shared<orvexsim::StTag>(orvexsim::StTag::Model::kSrix4k,
                                               orvexsim::Bytes{0xD0, 0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66});
  tag->LockSr512(false, true);  // blocks 0 to 15
  Serve({tag});
  Result r = On({"srx", "locks"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "SRIX4K D002112233445566, lock bits 00FF\nlocked blocks:   0-15\nwritable blocks: 16-127\n");
  r = On({"srx", "locks", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["locked_blocks"].size(), 16u);
  r = On({"srx", "write", "3", "DEADBEEF"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: block 3 of SRIX4K D002112233445566 is locked (lock bits 00FF); nothing was written\n");
  r = On({"srx", "write", "20", "DEAD", "BEEF"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "wrote block 20 of SRIX4K D002112233445566: DEADBEEF (read back)\n");
  EXPECT_EQ(orvexsim::Slice(tag->memory(), 80, 4), (orvexsim::Bytes{0xDE, 0xAD, 0xBE, 0xEF}));
  r = On({"srx", "write", "255", "00000000"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err,
            "orvex: block 255 of SRIX4K D002112233445566 holds the lock bits: what is set there can never be "
            "cleared; nothing was written (give --force to write it anyway)\n");
  r = On({"srx", "write", "128", "00000000"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: block 128 is past the last block (127) of SRIX4K D002112233445566\n");
}

TEST_F(Field, SrxTagsPassedOverAnswerTheNextCommand) {
  auto first = std::make_shared<orvexsim::StTag>(orvexsim::StTag::Model::kSr176,
                                                 orvexsim::Bytes{0xD0, 0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66});
  auto second = std::make_shared<orvexsim::StTag>(orvexsim::StTag::Model::kSrix4k,
                                                  orvexsim::Bytes{0xD0, 0x02, 0x99, 0x88, 0x77, 0x66, 0x55, 0x44});
  Serve({first, second});
  Result r = On({"--uid", "D002998877665544", "srx", "read", "0"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.substr(0, 24), "SRIX4K D002998877665544,");
  // The first tag, deactivated above, is found again.
  r = On({"srx", "read", "0"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.substr(0, 23), "SR176 D002112233445566,");
}

TEST_F(Cli, SrxFailuresInWords) {
  const std::string sr176 = "sr176:D002112233445566";
  Result r = Run({"--sim-card", sr176, "srx", "write", "2", "BEEF"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: block 2 of SR176 D002112233445566 holds part of the identifier, which takes no writes; "
                   "nothing was written\n");
  r = Run({"--sim-card", sr176, "srx", "write", "15", "BEEF"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("block 15 of SR176 D002112233445566 holds the lock bits"), std::string::npos) << r.err;
  r = Run({"--sim-card", sr176, "srx", "write", "5", "BEEFAA"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: the blocks of SR176 D002112233445566 hold 2 bytes; 3 given\n");
  r = Run({"--sim-card", sr176, "--sim-leave-after", "1", "srx", "write", "5", "BEEF"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: block 5 was written, but reading it back failed: reading block 5: the tag refused (or "
                   "left the field)\n");
  r = Run({"srx", "read"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: no SR176, SRI512 or SRIX4K tag in the field\n");
  // Of two tags, the one chosen: the other is passed over.
  r = Run({"--sim-card", sr176, "--sim-card", "srix4k:D002998877665544", "--uid", "D002998877665544", "srx", "locks"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.substr(0, r.out.find('\n')), "SRIX4K D002998877665544, lock bits 0000");
  EXPECT_EQ(r.err, "orvex: acting on tag D002998877665544, chosen by --uid\n");
}

// ---- AT88RF020 ------------------------------------------------------------------------

TEST_F(Cli, At88rf020ReadsPagesWithTheKey) {
  Write(Path("key.txt"), "# the tag's key\nFFFFFFFFFFFFFFFF\n");
  Result r = Run({"--sim-card", "at88rf020:A8112233", "at88rf020", "read", "--key", "@" + Path("key.txt")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  std::istringstream lines(r.out);
  std::vector<std::string> l;
  for (std::string s; std::getline(lines, s);) l.push_back(s);
  ASSERT_EQ(l.size(), 33u) << r.out;
  EXPECT_EQ(l[0], "AT88RF020 A8112233, 32 pages of 8 bytes");
  EXPECT_EQ(l[1], "page  0: A811223300000000  identifier");
  EXPECT_EQ(l[2], "page  1: 0000000000000000  key");
  EXPECT_EQ(l[32], "page 31: 0000000000000000");
  r = Run({"--sim-card", "at88rf020:A8112233", "at88rf020", "read", "0", "--key", "FFFFFFFFFFFFFFFF", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"pupi": "A8112233", "memory": [{"page": 0, "data": "A811223300000000"}]})"));
  EXPECT_EQ(r.err,
            "orvex: warning: the key given with --key is visible to other users (ps) and stays in the shell history; "
            "give @FILE or - (standard input) instead\n");
}

TEST_F(Field, At88rf020WriteReadsBackAndLockedPagesAreRefused) {
  auto tag = std::make_shared<orvexsim::At88rf020>(orvexsim::Bytes{0xA8, 0x11, 0x22, 0x33});
  Serve({tag});
  const std::string key = "FFFFFFFFFFFFFFFF\n";
  Result r = On({"at88rf020", "write", "5", "0102030405060708", "--key", "-"}, &key);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "wrote page 5 of AT88RF020 A8112233: 0102030405060708 (read back)\n");
  EXPECT_EQ(orvexsim::Slice(tag->memory(), 40, 8), (orvexsim::Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
  r = On({"at88rf020", "lock", "5", "6", "--key", "-"}, &key);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: at88rf020 lock: locking pages 5, 6 cannot be undone; nothing was locked (give --yes to lock)\n");
  EXPECT_FALSE(tag->Locked(5));
  r = On({"at88rf020", "lock", "5", "6", "--yes", "--key", "-"}, &key);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "locked pages 5, 6 of AT88RF020 A8112233 for good\n");
  EXPECT_TRUE(tag->Locked(5));
  EXPECT_TRUE(tag->Locked(6));
  EXPECT_FALSE(tag->Locked(7));
  r = On({"at88rf020", "write", "6", "0102030405060708", "--key", "-"}, &key);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: writing page 6: the tag refused the write (is the page locked?) or left the field; the page may "
            "hold its old bytes 0000000000000000, the new ones or neither\n");
  EXPECT_EQ(orvexsim::Slice(tag->memory(), 48, 8), orvexsim::Bytes(8, 0));
}

TEST_F(Field, At88rf020CountsDownWithASignature) {
  auto tag = std::make_shared<orvexsim::At88rf020>(orvexsim::Bytes{0xA8, 0x11, 0x22, 0x33});
  Serve({tag});
  const std::string key = "FFFFFFFFFFFFFFFF\n";
  Result r = On({"at88rf020", "count", "010203040506", "--key", "-"}, &key);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: at88rf020 count: the tag's counter counts down for good; nothing was sent (give --yes to "
                   "count)\n");
  EXPECT_EQ(tag->counter(), 0xFFFFu);
  r = On({"at88rf020", "count", "0102030405", "--yes", "--key", "-"}, &key);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: at88rf020 count: a signature has 6 bytes; 5 given\n");
  r = On({"at88rf020", "count", "010203040506", "--yes", "--key", "-"}, &key);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "AT88RF020 A8112233 counted down once, with signature 010203040506\n");
  EXPECT_EQ(tag->counter(), 0xFFFEu);
  r = On({"at88rf020", "read", "31", "--key", "-"}, &key);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "AT88RF020 A8112233, 32 pages of 8 bytes\npage 31: 0102030405060000\n");
}

TEST_F(Cli, At88rf020FailuresInWords) {
  const std::string key = "FFFFFFFFFFFFFFFF\n", wrong = "0011223344556677\n";
  Result r = Run({"--sim-card", "at88rf020:A8112233", "at88rf020", "read", "3", "--key", "-"}, wrong);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: presenting the key to tag A8112233: the tag refused the key (wrong key, or no AT88RF020)\n");
  r = Run({"--sim-card", "at88rf020", "at88rf020", "read"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: at88rf020: give the tag's key with --key @FILE or --key - (8 bytes in hex)\n");
  r = Run({"--sim-card", "at88rf020", "at88rf020", "read", "--key", "-"}, "FFFF\n");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: --key: an AT88RF020 key has 8 bytes; 2 given\n");
  r = Run({"at88rf020", "read", "--key", "-"}, key);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: no ISO 14443-B tag in the field\n");
  // Of a CPU card and two tags, the one chosen.
  r = Run({"--sim-card", "typeb", "--sim-card", "at88rf020:A8112233", "--sim-card", "at88rf020:A8445566", "--uid",
           "A8445566", "at88rf020", "read", "0", "--key", "-"},
          key);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "AT88RF020 A8445566, 32 pages of 8 bytes\npage  0: A844556600000000  identifier\n");
  EXPECT_EQ(r.err, "orvex: acting on tag A8445566, chosen by --uid\n");
  r = Run({"--sim-card", "at88rf020:A8112233", "--uid", "A8445566", "at88rf020", "read", "0", "--key", "-"}, key);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: no ISO 14443-B tag with PUPI A8445566 in the field\n");
  r = Run({"--sim-card", "at88rf020", "at88rf020", "write", "1", "0102030405060708", "--key", "-"}, key);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: at88rf020 write: page 1 holds the key and takes no writes; nothing was written\n");
  r = Run({"--sim-card", "at88rf020", "at88rf020", "write", "4", "01020304", "--key", "-"}, key);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: at88rf020 write: a page holds 8 bytes; 4 given\n");
  r = Run({"--sim-card", "at88rf020:A8112233", "--sim-leave-after", "1", "at88rf020", "write", "4",
           "0102030405060708", "--key", "-"},
          key);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: page 4 was written, but reading it back failed: reading page 4: the tag refused (or left "
                   "the field)\n");
}

// ---- ISO 15693 --------------------------------------------------------------------------

constexpr const char* kVicinity = "iso15693:E004010011223344";

TEST_F(Cli, Iso15693InfoGivesTheSystemInformation) {
  Result r = Run({"--sim-card", kVicinity, "iso15693", "info"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "UID:            E004010011223344\nDSFID:          00\nAFI:            00\nblocks:         28\n"
            "block size:     4 bytes\nIC reference:   01\n");
  r = Run({"--sim-card", kVicinity, "iso15693", "info", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"uid": "E004010011223344", "dsfid": "00", "afi": "00",
                                                "blocks": 28, "block_size": 4, "ic_reference": "01"})"));
  r = Run({"--sim-card", kVicinity, "--sim-card", "iso15693:E004010099887766", "--uid", "E004010099887766",
           "iso15693", "info", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["uid"], "E004010099887766");
  r = Run({"iso15693", "info"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: inventory: no ISO 15693 tag in the field\n");
}

TEST_F(Field, Iso15693LockedBlocksAreShownAndRefused) {
  auto tag = std::make_shared<orvexsim::VicinityTag>(orvexsim::Bytes{0xE0, 0x04, 0x01, 0x00, 0x11, 0x22, 0x33, 0x44});
  Serve({tag});
  ASSERT_EQ(On({"iso15693", "write", "3", "CAFEF00D"}).status, 0);
  Result r = On({"iso15693", "lock", "3"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: iso15693 lock: locking block 3 is irreversible (it can never be written again); nothing "
                   "was locked (give --yes to lock it)\n");
  EXPECT_FALSE(tag->Locked(3));
  r = On({"iso15693", "lock", "3", "--yes"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "locked block 3 of tag E004010011223344 for good\n");
  EXPECT_TRUE(tag->Locked(3));
  r = On({"iso15693", "lock", "3", "--yes"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: block 3 of tag E004010011223344 is locked already\n");
  r = On({"iso15693", "security"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "tag E004010011223344, blocks 0 to 27: locked: 3\n");
  r = On({"iso15693", "security", "2", "-n", "2", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"uid": "E004010011223344",
      "security": [{"block": 2, "locked": false}, {"block": 3, "locked": true}], "locked_blocks": [3]})"));
  r = On({"iso15693", "write", "3", "00000000"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: block 3 of tag E004010011223344 is locked; nothing was written\n");
  EXPECT_EQ(orvexsim::Slice(tag->memory(), 12, 4), (orvexsim::Bytes{0xCA, 0xFE, 0xF0, 0x0D}));
}

TEST_F(Field, Iso15693AfiAndDsfidWrittenAndLocked) {
  auto tag = std::make_shared<orvexsim::VicinityTag>(orvexsim::Bytes{0xE0, 0x04, 0x01, 0x00, 0x11, 0x22, 0x33, 0x44});
  Serve({tag});
  Result r = On({"iso15693", "afi", "07"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "wrote the AFI of tag E004010011223344: 00 -> 07\n");
  EXPECT_EQ(tag->afi, 0x07);
  r = On({"iso15693", "dsfid", "0A", "--lock"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: iso15693 dsfid: locking the DSFID is irreversible; nothing was written (give --yes with "
                   "--lock)\n");
  EXPECT_EQ(tag->dsfid, 0x00);
  r = On({"iso15693", "dsfid", "0A", "--lock", "--yes", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(
                          R"({"uid": "E004010011223344", "previous": "00", "dsfid": "0A", "locked": true})"));
  r = On({"iso15693", "dsfid", "0B"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: writing the DSFID: the tag refused (is the DSFID locked?)\n");
  EXPECT_EQ(tag->dsfid, 0x0A);
  r = On({"iso15693", "info", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["afi"], "07");
  EXPECT_EQ(r.Json()["dsfid"], "0A");
  r = On({"iso15693", "afi", "7"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: iso15693 afi: \"7\" has an odd number of hex digits\n");
}

TEST_F(Field, Iso15693ReadsBlockByBlockFromATagWithoutTheMultiBlockRead) {
  auto tag = std::make_shared<orvexsim::VicinityTag>(orvexsim::Bytes{0xE0, 0x04, 0x01, 0x00, 0x11, 0x22, 0x33, 0x44});
  ASSERT_TRUE(tag->WriteBlock(27, {1, 2, 3, 4}));
  tag->multi_block_read = false;
  Serve({tag});
  Result r = On({"iso15693", "read", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "orvex: the tag E004010011223344 refused a read of several blocks: reading them one by one\n");
  ASSERT_EQ(r.Json()["memory"].size(), 28u);
  EXPECT_EQ(r.Json()["memory"][27]["data"], "01020304");
}

TEST_F(Cli, Iso15693TagLeavingAfterTheWrite) {
  Result r = Run({"--sim-card", kVicinity, "--sim-leave-after", "1", "iso15693", "write", "2", "01020304"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: block 2 was written, but reading it back failed: reading block 2: the tag refused the read\n");
}

}  // namespace
