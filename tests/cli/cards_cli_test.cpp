// SPDX-License-Identifier: MIT
// The orvex program's card subcommands beyond MIFARE Classic: NTAG dump,
// NDEF messages, ISO 15693 blocks, SAM APDUs and the wider scan, against
// the simulated reader built into the program.
#include "cli_support.h"
#include "orvexsim/iso15693.h"
#include "orvexsim/serial_server.h"
#include "orvexsim/simulator.h"

namespace {

using namespace clitest;

constexpr const char* kNtagUid = "04A1B2C3D4E5F6";

TEST_F(Cli, NtagDumpListsEveryPageOfEachSize) {
  struct Model {
    const char* kind;
    const char* name;
    int pages;
  };
  for (const Model& m : {Model{"ntag213", "NTAG213", 45}, Model{"ntag215", "NTAG215", 135},
                         Model{"ntag216", "NTAG216", 231}}) {
    Result r = Run({"--sim-card", std::string(m.kind) + ":" + kNtagUid, "ntag", "dump", "--json"});
    ASSERT_EQ(r.status, 0) << m.kind << r.err;
    auto j = r.Json();
    EXPECT_EQ(j["type"], m.name);
    EXPECT_EQ(j["pages"], m.pages);
    EXPECT_EQ(j["uid"], kNtagUid);
    ASSERT_EQ(j["memory"].size(), static_cast<size_t>(m.pages));
    // UID bytes 0-2 and check byte 88 ^ 04 ^ A1 ^ B2, then the rest.
    EXPECT_EQ(j["memory"][0], "04A1B29F");
    EXPECT_EQ(j["memory"][1], "C3D4E5F6");
    // Capability container: the data area size per model.
    std::string cc = m.pages == 45 ? "E1101200" : m.pages == 135 ? "E1103E00" : "E1106D00";
    EXPECT_EQ(j["memory"][3], cc);
    // The empty NDEF message on page 4.
    EXPECT_EQ(j["memory"][4], "0300FE00");
  }
}

TEST_F(Cli, NtagDumpAsTextAndToAFile) {
  Result r = Run({"--sim-card", std::string("ntag213:") + kNtagUid, "ntag", "dump"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.substr(0, r.out.find('\n') + 1), "NTAG213 " + std::string(kNtagUid) + ", 45 pages\n") << r.out;
  EXPECT_NE(r.out.find("\npage   0: 04A1B29F\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("page  44: "), std::string::npos) << r.out;
  EXPECT_EQ(r.out.find("page  45: "), std::string::npos) << r.out;
  r = Run({"--sim-card", std::string("ntag215:") + kNtagUid, "ntag", "dump", Path("tag.bin")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "dumped 135 pages of NTAG215 " + std::string(kNtagUid) + " to " + Path("tag.bin") +
                       " (simulated reader)\n");
  std::string image = Slurp(Path("tag.bin"));
  ASSERT_EQ(image.size(), 540u);
  EXPECT_EQ(image.substr(12, 4), std::string("\xE1\x10\x3E\x00", 4));
}

TEST_F(Cli, NtagDumpErrorsInWords) {
  Result r = Run({"--sim-empty", "ntag", "dump"});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("orvex: no card in the field\n"), std::string::npos) << r.err;
  r = Run({"--sim-card", "mfc1k:11223344", "ntag", "dump", "--json"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.Json()["error"],
            "reading the tag's version: the card 11223344 is not an NTAG or Ultralight EV1 tag (no answer to "
            "GET_VERSION)");
}

constexpr const char* kVicinityUid = "E004010011223344";

TEST_F(Cli, Iso15693ReadsEveryBlockAfterAnInventory) {
  Result r = Run({"--sim-card", std::string("iso15693:") + kVicinityUid, "iso15693", "read"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.substr(0, r.out.find('\n') + 1), "tag E004010011223344, 28 blocks of 4 bytes\n");
  EXPECT_NE(r.out.find("block   0: 00000000\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("block  27: 00000000\n"), std::string::npos) << r.out;
  EXPECT_EQ(r.out.find("block  28"), std::string::npos) << r.out;
  r = Run({"--sim-card", std::string("iso15693:") + kVicinityUid, "iso15693", "read", "3", "-n", "2",
           "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  EXPECT_EQ(j["uid"], kVicinityUid);
  EXPECT_EQ(j["blocks"], 28);
  EXPECT_EQ(j["block_size"], 4);
  ASSERT_EQ(j["memory"].size(), 2u);
  EXPECT_EQ(j["memory"][0]["block"], 3);
  EXPECT_EQ(j["memory"][1]["block"], 4);
  EXPECT_EQ(j["memory"][1]["data"], "00000000");
}

TEST_F(Cli, Iso15693WriteABlock) {
  Result r = Run({"--sim-card", std::string("iso15693:") + kVicinityUid, "iso15693", "write", "5",
                  "DE AD", "BEEF"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "wrote block 5 of tag E004010011223344: DEADBEEF (simulated reader)\n");
  r = Run({"--sim-card", "iso15693", "iso15693", "write", "27", "01020304", "-j"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["block"], 27);
  EXPECT_EQ(r.Json()["data"], "01020304");
}

TEST_F(Cli, Iso15693ReadsTagsOfLargeBlocksInSeveralReads) {
  // 40 blocks of 32 bytes: a read reports its length in one byte, so the
  // tool asks for at most 7 such blocks at a time.
  orvexsim::Simulator sim(orvexsim::ReaderModel::kCardReader);
  auto tag = std::make_shared<orvexsim::VicinityTag>(orvexsim::Bytes{0x44, 0x33, 0x22, 0x11, 0x00, 0x01, 0x04, 0xE0},
                                                     40, 32);
  orvexsim::Bytes block(32);
  for (int i = 0; i < 32; ++i) block[static_cast<size_t>(i)] = static_cast<uint8_t>(i);
  ASSERT_TRUE(tag->WriteBlock(39, block));
  sim.Place(tag);
  orvexsim::SerialServer server(sim);
  server.Start();
  Result r = Run({"--device", server.path(), "iso15693", "read", "--json"});
  server.Stop();
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  EXPECT_EQ(j["block_size"], 32);
  ASSERT_EQ(j["memory"].size(), 40u);
  EXPECT_EQ(j["memory"][39]["data"], "000102030405060708090A0B0C0D0E0F101112131415161718191A1B1C1D1E1F");
  EXPECT_EQ(j["memory"][0]["data"], std::string(64, '0'));
}

TEST_F(Cli, Iso15693ErrorsInWords) {
  Result r = Run({"iso15693", "read"});  // only a MIFARE Classic in the field
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: inventory: no ISO 15693 tag in the field\n");
  r = Run({"--sim-card", "iso15693", "iso15693", "read", "28", "--json"});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.Json()["error"].get<std::string>().find("block 28 is past the last block (27)"),
            std::string::npos);
  r = Run({"--sim-card", "iso15693", "iso15693", "read", "20", "-n", "9"});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("block 28 is past the last block (27)"), std::string::npos) << r.err;
  r = Run({"--sim-card", "iso15693", "iso15693", "write", "1", "010203"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("hold 4 bytes; 3 given"), std::string::npos) << r.err;
  r = Run({"iso15693", "write", "1", "0G"});
  EXPECT_EQ(r.status, 2);
  r = Run({"iso15693", "write", "1"});
  EXPECT_EQ(r.status, 2);
}

TEST_F(Cli, SamApduResetsTheSlotFirst) {
  Result r = Run({"--sim-card", "sam:01020304", "sam", "apdu", "0084000008", "00CA000000"});
  ASSERT_EQ(r.status, 0) << r.err;
  std::istringstream lines(r.out);
  std::string atr, c1, a1, c2, a2;
  std::getline(lines, atr);
  std::getline(lines, c1);
  std::getline(lines, a1);
  std::getline(lines, c2);
  std::getline(lines, a2);
  // The SAM's answer to reset carries its serial number at the end.
  EXPECT_EQ(atr, "ATR 3B6A00004F565853414D01020304");
  EXPECT_EQ(c1, "> 0084000008");
  // GET CHALLENGE: eight bytes, then 90 00.
  ASSERT_EQ(a1.size(), 2u + 16 + 1 + 4 + 10) << a1;
  EXPECT_EQ(a1.substr(a1.size() - 15), " 9000 (success)");
  EXPECT_EQ(c2, "> 00CA000000");
  EXPECT_EQ(a2.substr(0, 2), "< ");
  r = Run({"--sim-card", "sam:01020304", "sam", "apdu", "--json", "0084000004"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  EXPECT_EQ(j["slot"], 1);
  EXPECT_EQ(j["atr"], "3B6A00004F565853414D01020304");
  ASSERT_EQ(j["responses"].size(), 1u);
  EXPECT_EQ(j["responses"][0]["command"], "0084000004");
  EXPECT_EQ(j["responses"][0]["data"].get<std::string>().size(), 8u);
  EXPECT_EQ(j["responses"][0]["sw"], "9000");
}

TEST_F(Cli, SamApduErrorsInWords) {
  Result r = Run({"sam", "apdu", "--slot", "2", "0084000008"});  // no SAM anywhere
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("resetting the SAM in slot 2: no SAM in slot 2"), std::string::npos) << r.err;
  r = Run({"--sim-card", "sam", "sam", "apdu", "-s", "2", "0084000008", "--json"});  // it sits in slot 1
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.Json()["error"].get<std::string>().find("no SAM in slot 2"), std::string::npos);
  r = Run({"sam", "apdu", "--slot", "4", "0084000008"});
  EXPECT_EQ(r.status, 2);
  r = Run({"sam", "apdu", "00A4"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("shorter than a 4-byte header"), std::string::npos) << r.err;
  r = Run({"sam", "apdu", std::string(202, '0')});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("at most 100 bytes"), std::string::npos) << r.err;
}

TEST_F(Cli, ScanFindsEveryFamilyInTheField) {
  Result r = Run({"--sim-card", "mfc1k:11223344", "--sim-card", "typeb:5B010203", "--sim-card",
                  "sr512:D002112233445566", "--sim-card", std::string("iso15693:") + kVicinityUid,
                  "--sim-card", "iso15693:E004010099887766", "--sim-card", "lf:1A2B3C4D5E", "scan"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("iso14443a    11223344  ATQA 0004 SAK 08  MIFARE Classic 1K\n"), std::string::npos)
      << r.out;
  EXPECT_NE(r.out.find("iso14443b    5B010203  ATQB 505B010203"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("st-memory    D002112233445566  chip id "), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("iso15693     E004010011223344  DSFID 00\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("iso15693     E004010099887766  DSFID 00\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("lf-125khz    1A2B3C4D5E\n"), std::string::npos) << r.out;
  r = Run({"--sim-card", "typeb:5B010203", "--sim-card", "at88rf020:A8000001", "--sim-card",
           "iso15693:E004010011223344", "scan", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto cards = r.Json()["cards"];
  ASSERT_EQ(cards.size(), 3u) << cards.dump();
  EXPECT_EQ(cards[0]["family"], "iso14443b");
  EXPECT_EQ(cards[0]["uid"], "5B010203");
  EXPECT_EQ(cards[1]["family"], "iso14443b");
  EXPECT_EQ(cards[1]["uid"], "A8000001");
  EXPECT_EQ(cards[2]["family"], "iso15693");
  EXPECT_EQ(cards[2]["uid"], "E004010011223344");
  EXPECT_EQ(cards[2]["dsfid"], "00");
}

}  // namespace

namespace {

using namespace clitest;

// orvex-sim serving a field on a pseudo-terminal for the length of a test,
// as a reader on a serial line: the cards keep their state between runs.
class SimServer : public Cli {
 protected:
  void Start(const std::vector<std::string>& args) {
    std::string out = Path("sim.out");
    // Made before the fork: the child only opens and duplicates
    // descriptors before it execs.
    std::vector<char*> argv = {const_cast<char*>(ORVEX_SIM_TOOL)};
    for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
      const int in = open("/dev/null", O_RDONLY), o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      if (in < 0 || o < 0 || dup2(in, 0) < 0 || dup2(o, 1) < 0) _exit(127);
      execv(ORVEX_SIM_TOOL, argv.data());
      _exit(127);
    }
    // Its first line names the device.
    for (int i = 0; i < 100 && pty_.empty(); ++i) {
      std::string text = Slurp(out);
      if (text.find('\n') != std::string::npos) pty_ = text.substr(0, text.find('\n'));
      else usleep(20000);
    }
    ASSERT_EQ(pty_.rfind("/dev/", 0), 0u) << pty_;
  }
  void TearDown() override {
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      waitpid(pid_, nullptr, 0);
    }
    Cli::TearDown();
  }
  Result On(std::vector<std::string> args) {
    args.insert(args.begin(), {"--device", pty_});
    return Run(args);
  }

  pid_t pid_ = -1;
  std::string pty_;
};

TEST_F(SimServer, NdefWrittenAfterAScanReadsBackFromTheSameTag) {
  Start({"--card", "ntag215:04112233445566", "--card", "iso15693:E004010011223344"});
  Result r = On({"scan"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "iso14443a    04112233445566  ATQA 0044 SAK 00  Type 2 tag (Ultralight, NTAG)\n"
            "iso15693     E004010011223344  DSFID 00\n");
  // The scan left the tag idle again, so the write finds it.
  r = On({"ndef", "write", "--text", "hello", "--uri", "https://example.com/x"});
  ASSERT_EQ(r.status, 0) << r.err;
  r = On({"ndef", "read"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "NTAG215 04112233445566: NDEF message of 30 bytes, 2 record(s)\n"
            "record 1: text \"hello\" (en)\nrecord 2: uri \"https://example.com/x\"\n");
  // The message sits on the tag from page 4 on.
  r = On({"ntag", "dump", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["memory"][4].get<std::string>().substr(0, 2), "03");
}

// NDEF on a Topaz (Type 1) and on an ISO 15693 tag (Type 5) once its
// capability container is written, on a field that lasts between runs.
TEST_F(SimServer, NdefOnTopazAndIso15693Tags) {
  Start({"--empty", "--card", "topaz:920C82AE"});
  Result r = On({"ndef", "write", "--text", "hello", "--uri", "https://example.com/t"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "wrote 2 NDEF record(s) in 30 bytes to the Topaz 920C82AE (30 of 90 bytes), read back and checked\n");
  r = On({"ndef", "read"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "Topaz 920C82AE: NDEF message of 30 bytes, 2 record(s)\nrecord 1: text \"hello\" (en)\n"
                   "record 2: uri \"https://example.com/t\"\n");
}

TEST_F(SimServer, NdefOnAnIso15693TagWithItsCapabilityContainer) {
  Start({"--empty", "--card", "iso15693:E004010011223344"});
  // 28 blocks of 4 bytes: the container (E1, version 1.0, 13 x 8 bytes), then an empty message.
  ASSERT_EQ(On({"iso15693", "write", "0", "E1400D00"}).status, 0);
  ASSERT_EQ(On({"iso15693", "write", "1", "0300FE00"}).status, 0);
  Result r = On({"ndef", "write", "--text", std::string(90, 'v')});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "wrote 1 NDEF record(s) in 97 bytes to the ISO 15693 tag E004010011223344 (97 of 102 bytes), "
                   "read back and checked\n");
  r = On({"ndef", "read", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["records"][0]["text"], std::string(90, 'v'));
  r = On({"ndef", "write", "--text", std::string(96, 'v')});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("the message is 103 bytes; this tag takes at most 102 (nothing was written)"),
            std::string::npos)
      << r.err;
}

TEST_F(SimServer, Iso15693BlockWrittenReadsBack) {
  Start({"--card", "iso15693:E004010011223344"});
  Result r = On({"iso15693", "write", "2", "CAFEF00D"});
  ASSERT_EQ(r.status, 0) << r.err;
  r = On({"iso15693", "read", "1", "-n", "3"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "tag E004010011223344, 28 blocks of 4 bytes\n"
            "block   1: 00000000\n"
            "block   2: CAFEF00D\n"
            "block   3: 00000000\n");
}

}  // namespace
