// SPDX-License-Identifier: MIT
// MIFARE Classic in the orvex program: dumps in every format and their
// restore, the hex listing, value blocks, block 0 and sector trailers, each
// with its refusals, against the simulated reader built into the program.
#include <dirent.h>

#include "cli_support.h"

namespace {

using namespace clitest;

constexpr const char* kData = "00112233445566778899AABBCCDDEEFF";

// Image1K(true) with sector 3 opened by keys no default list holds, and
// block 5 a value block holding 100 (address 05).
std::string CardImage() {
  std::string m = Image1K();
  const std::string a("\x01\x02\x03\x04\x05\x06", 6), b("\x0A\x0B\x0C\x0D\x0E\x0F", 6);
  m.replace(15 * 16, 6, a);
  m.replace(15 * 16 + 10, 6, b);
  m.replace(5 * 16, 16, std::string("\x64\x00\x00\x00\x9B\xFF\xFF\xFF\x64\x00\x00\x00\x05\xFA\x05\xFA", 16));
  return m;
}

class Mfc : public Cli {
 protected:
  void SetUp() override {
    Cli::SetUp();
    Write(Path("card.mfd"), CardImage());
    Write(Path("blank.mfd"), Blank1K());
    Write(Path("sector3.keys"), "010203040506\n0A0B0C0D0E0F\n");
    Write(Path("transport.keys"), "FFFFFFFFFFFF\n");
    Write(Path("wrong.keys"), "123456789ABC\n");
  }
  Result Dump(const std::string& file, std::vector<std::string> more = {}) {
    std::vector<std::string> args = {"--sim-load", Path("card.mfd"), "mfc", "dump", file, "-k", Path("sector3.keys")};
    args.insert(args.end(), more.begin(), more.end());
    return Run(args);
  }
  std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string l; std::getline(in, l);) lines.push_back(l);
    return lines;
  }
};

TEST_F(Mfc, EveryFormatRoundTripsThroughRestore) {
  for (const std::string ext : {"mfd", "eml", "json"}) {
    const std::string dump = Path("dump." + ext), again = Path("again." + ext);
    Result r = Dump(dump);
    ASSERT_EQ(r.status, 0) << ext << r.err;
    EXPECT_EQ(r.out.substr(r.out.rfind("dumped")),
              "dumped 64 blocks of MIFARE Classic 1K 11223344 to " + dump +
                  (ext == "mfd" ? " (keys found: " + dump + ".keys)" : "") + " (simulated reader)\n");
    EXPECT_NE(r.out.find("sector 3: key A 010203040506, key B 0A0B0C0D0E0F\n"), std::string::npos) << r.out;
    // Onto a blank card of the same UID: every block but block 0 written,
    // the keys of sector 3 included; its dump is the same file again.
    r = Run({"--sim-load", Path("blank.mfd"), "--sim-save", Path("after.mfd"), "mfc", "restore", dump});
    ASSERT_EQ(r.status, 0) << ext << r.err;
    EXPECT_EQ(r.out, "restored 63 blocks from " + dump + " to 11223344 (simulated reader)\n");
    EXPECT_EQ(Slurp(Path("after.mfd")), CardImage()) << ext;
    r = Run({"--sim-load", Path("after.mfd"), "mfc", "dump", again, "-k", Path("sector3.keys")});
    ASSERT_EQ(r.status, 0) << ext << r.err;
    EXPECT_EQ(Slurp(again), Slurp(dump)) << ext;
  }
  EXPECT_EQ(Slurp(Path("dump.mfd")), CardImage());
  EXPECT_EQ(Lines(Slurp(Path("dump.eml")))[15], "010203040506FF0780690A0B0C0D0E0F");
  auto j = nlohmann::json::parse(Slurp(Path("dump.json")));
  EXPECT_EQ(j["uid"], "11223344");
  EXPECT_EQ(j["atqa"], "0004");
  EXPECT_EQ(j["sak"], "08");
  EXPECT_EQ(j["type"], "MIFARE Classic 1K");
  EXPECT_EQ(j["blocks"][5], "640000009BFFFFFF6400000005FA05FA");
  EXPECT_EQ(j["unknown_blocks"], nlohmann::json::array());
  EXPECT_EQ(j["sectors"][3]["key_a"], "010203040506");
  EXPECT_EQ(j["sectors"][3]["access_bits"], "FF0780");
  EXPECT_EQ(j["sectors"][3]["access"][3],
            "trailer (C1C2C3 001): write key A A, read access bits A, write access bits A, read key B A, write key B A");
}

TEST_F(Mfc, TheSimulatedFieldLoadsTextDumps) {
  for (const std::string ext : {"eml", "json"}) {
    ASSERT_EQ(Dump(Path("card." + ext)).status, 0);
    Result r = Run({"--sim-load", Path("card." + ext), "--sim-save", Path("saved.mfd"), "info"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(Slurp(Path("saved.mfd")), CardImage()) << ext;
  }
  // A partial dump is no card.
  ASSERT_EQ(Run({"--sim-load", Path("card.mfd"), "mfc", "dump", Path("part.eml"), "--partial"}).status, 3);
  Result r = Run({"--sim-load", Path("part.eml"), "info"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: --sim-load " + Path("part.eml") +
                       ": block 12 holds bytes that are not known; a card needs every byte\n");
}

TEST_F(Mfc, RestoringAJsonDumpToAnotherCardSaysSo) {
  ASSERT_EQ(Dump(Path("card.json")).status, 0);
  Result r = Run({"--sim-card", "mfc1k:55667788", "--sim-save", Path("after.mfd"), "mfc", "restore", Path("card.json")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "orvex: the dump " + Path("card.json") +
                       " was made from the card 11223344; it is written to 55667788, whose block 0 stays as it is\n");
  const std::string after = Slurp(Path("after.mfd"));
  EXPECT_EQ(after.substr(0, 4), "\x55\x66\x77\x88");
  EXPECT_EQ(after.substr(16), CardImage().substr(16));
}

TEST_F(Mfc, FormatOptionOverridesTheName) {
  Result r = Dump(Path("card.txt"), {"--format", "eml", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["format"], "eml");
  EXPECT_EQ(Lines(Slurp(Path("card.txt"))).size(), 64u);
  // Read as a raw dump by its name, it is no dump; --format says what it is.
  r = Run({"--sim-load", Path("blank.mfd"), "mfc", "restore", Path("card.txt")});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: " + Path("card.txt") + ": a MIFARE Classic dump holds 1024 or 4096 bytes, not 2112\n");
  r = Run({"--sim-load", Path("blank.mfd"), "--sim-save", Path("after.mfd"), "mfc", "restore", Path("card.txt"),
           "--format", "eml"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Slurp(Path("after.mfd")), CardImage());
}

TEST_F(Mfc, DumpWithoutAFileListsTheCardInHex) {
  Result r = Run({"--sim-load", Path("card.mfd"), "mfc", "dump", "-k", Path("sector3.keys")});
  ASSERT_EQ(r.status, 0) << r.err;
  std::vector<std::string> lines = Lines(r.out);
  ASSERT_EQ(lines.size(), 1u + 16u * 5u) << r.out;
  EXPECT_EQ(lines[0], "MIFARE Classic 1K 11223344, 64 blocks (-- a byte that could not be read)");
  EXPECT_EQ(lines[1], "sector 0: key A FFFFFFFFFFFF, key B FFFFFFFFFFFF");
  EXPECT_EQ(lines[2], "  0  11 22 33 44 44 08 04 00 00 00 00 00 00 00 00 00  |.\"3DD...........|");
  EXPECT_EQ(lines[7], "  4  40 41 42 43 44 45 46 47 48 49 4A 4B 4C 4D 4E 4F  |@ABCDEFGHIJKLMNO|");
  EXPECT_EQ(lines[16], "sector 3: key A 010203040506, key B 0A0B0C0D0E0F");
  EXPECT_EQ(lines[20], " 15  01 02 03 04 05 06 FF 07 80 69 0A 0B 0C 0D 0E 0F  |.........i......|");
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(Run({"--sim-load", Path("card.mfd"), "mfc", "dump", "-", "-k", Path("sector3.keys")}).out, r.out);
  // The JSON document instead of the listing; another format to standard
  // output cannot share it with the document.
  r = Run({"--sim-load", Path("card.mfd"), "mfc", "dump", "--json", "-k", Path("sector3.keys")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["format"], "hex");
  EXPECT_EQ(r.Json()["file"], "-");
  r = Run({"mfc", "dump", "--format", "json", "--json"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.Json()["error"], "mfc dump: a json dump and --json cannot share standard output: give a FILE");
  r = Run({"--sim-load", Path("card.mfd"), "mfc", "dump", "-", "--format", "eml", "-k", Path("sector3.keys")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Lines(r.out).size(), 64u);
  EXPECT_EQ(Lines(r.out)[15], "010203040506FF0780690A0B0C0D0E0F");
}

TEST_F(Mfc, PartialDumpsMarkUnknownBlocksAndRestoreSkipsThem) {
  for (const std::string ext : {"eml", "json", "mfd"}) {
    const std::string dump = Path("part." + ext);
    Result r = Run({"--sim-load", Path("card.mfd"), "mfc", "dump", dump, "--partial"});
    EXPECT_EQ(r.status, 3) << ext;
    EXPECT_EQ(r.err, std::string("orvex: partial dump: 4 block(s) could not be read and ") +
                         (ext == "mfd" ? "hold zeros" : "are marked --") + ": 12 13 14 15\n");
    EXPECT_NE(r.out.find("sector 3: key A unknown, key B unknown\n"), std::string::npos) << r.out;
    // The card's sector 3 holds other data than the blank card: a restore
    // onto the card leaves it, and says so.
    r = Run({"--sim-load", Path("card.mfd"), "--sim-save", Path("after.mfd"), "mfc", "restore", dump, "--json"});
    ASSERT_EQ(r.status, 0) << ext << r.err;
    EXPECT_EQ(r.Json()["blocks_left_unread"], nlohmann::json::parse("[12, 13, 14, 15]"));
    EXPECT_EQ(r.Json()["blocks_written"], 59);
    EXPECT_EQ(Slurp(Path("after.mfd")), CardImage()) << ext;
    r = Run({"--sim-load", Path("card.mfd"), "mfc", "restore", dump});
    EXPECT_EQ(r.out, "left blocks 12 13 14 15 as they were: the dump could not read them\n"
                     "restored 59 blocks from " + dump + " to 11223344 (simulated reader)\n");
  }
  std::vector<std::string> eml = Lines(Slurp(Path("part.eml")));
  EXPECT_EQ(eml[12], std::string(32, '-'));
  EXPECT_EQ(eml[15], std::string(32, '-'));
  auto j = nlohmann::json::parse(Slurp(Path("part.json")));
  EXPECT_EQ(j["blocks"][13], std::string(32, '-'));
  EXPECT_TRUE(j["sectors"][3]["key_a"].is_null());
  EXPECT_TRUE(j["sectors"][3]["access_bits"].is_null());
  EXPECT_EQ(j["unknown_blocks"], nlohmann::json::parse("[12, 13, 14, 15]"));
}

TEST_F(Mfc, MalformedDumpFilesAreRefusedBeforeTheCardIsTouched) {
  ASSERT_EQ(Dump(Path("good.eml")).status, 0);
  std::string good = Slurp(Path("good.eml"));
  struct Case {
    std::string name, text, err;
  };
  std::string bad_digit = good;
  bad_digit.replace(33 * 4 + 6, 2, "G1");
  std::string short_line = good;
  short_line.erase(33 * 7 + 3, 1);
  const std::vector<Case> cases = {
      {"digit.eml", bad_digit, "line 5: byte 3 is \"G1\", neither two hex digits nor \"--\""},
      {"short.eml", short_line,
       "line 8: a block is 32 hex digits (\"--\" for a byte not known), not \"FFFFFFFFFFFFF078069FFFFFFFFFFFF\""},
      {"few.eml", good.substr(0, 33 * 10), "it holds 10 blocks; a MIFARE Classic dump holds 64 (1K) or 256 (4K)"},
      {"broken.json", "{\"blocks\": [\"00\"", "not JSON: parse error at line 1, column 17: syntax error while parsing array - unexpected end of input; expected ']'"},
      {"list.json", "[]", "a JSON dump is an object with a \"blocks\" array"},
      {"empty.eml", "", "it holds 0 blocks; a MIFARE Classic dump holds 64 (1K) or 256 (4K)"},
  };
  for (const Case& c : cases) {
    Write(Path(c.name), c.text);
    Result r = Run({"--sim-load", Path("blank.mfd"), "--sim-save", Path("after.mfd"), "mfc", "restore", Path(c.name)});
    EXPECT_EQ(r.status, 2) << c.name;
    EXPECT_EQ(r.err, "orvex: " + Path(c.name) + ": " + c.err + "\n");
    EXPECT_EQ(r.out, "");
  }
  // A key record that cannot be read.
  Write(Path("rec.mfd"), CardImage());
  Write(Path("rec.mfd.keys"), "3 010203040506\n");
  Result r = Run({"mfc", "restore", Path("rec.mfd")});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: " + Path("rec.mfd") + ": key record: cannot read \"3 010203040506\"\n");
  // A hex listing is not read back.
  r = Run({"mfc", "restore", Path("good.eml"), "--format", "hex"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("--format: hex not in {mfd,eml,json}"), std::string::npos) << r.err;
}

TEST_F(Mfc, ACardLeavingMidRestoreSaysWhatWasWritten) {
  ASSERT_EQ(Dump(Path("card.eml")).status, 0);
  Result r = Run({"--sim-load", Path("blank.mfd"), "--sim-leave-after", "6", "mfc", "restore", Path("card.eml")});
  EXPECT_EQ(r.status, 1);
  // Sector 0's blocks 1 to 3, then sector 1's 4 to 6: the card leaves after the sixth.
  EXPECT_EQ(r.err, "orvex: the card 11223344 left the field. sectors written whole: 0; sector 1 only blocks 4 5 6; "
                   "the other sectors are as they were\n");
}

TEST_F(Mfc, ACardLeavingMidDumpLeavesNoFileAndIsNoPartialDump) {
  // orvex-sim takes the card out of the field after the reader's 100th
  // command, in the middle of the 4K dump's sectors. Even with --partial,
  // blocks not read because the card left are no unknown blocks of a dump:
  // it fails.
  SimProcess sim("--card mfc4k:44332211 --leave-after-commands 100", Path("sim.out"));
  ASSERT_FALSE(sim.pty().empty());
  Result r = Run({"--device", sim.pty(), "mfc", "dump", Path("gone.eml"), "--partial"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: the card 44332211 left the field\n");
  EXPECT_EQ(r.out, "");
  // Neither the dump nor its temporary file is left behind.
  DIR* dir = opendir(dir_.c_str());
  ASSERT_NE(dir, nullptr);
  for (dirent* e; (e = readdir(dir)) != nullptr;)
    EXPECT_EQ(std::string(e->d_name).find("gone.eml"), std::string::npos) << e->d_name;
  closedir(dir);
}

// ---- Value blocks ---------------------------------------------------------------

TEST_F(Mfc, ValueBlocksInTextAndJson) {
  Result r = Run({"--sim-load", Path("card.mfd"), "mfc", "value", "get", "5"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "block   5: value 100 (address byte 05)  (key A FFFFFFFFFFFF)\n");
  r = Run({"--sim-load", Path("card.mfd"), "mfc", "value", "get", "5", "--json"});
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"uid": "11223344", "block": 5, "key_type": "A", "key": "FFFFFFFFFFFF",
      "value": 100, "address": 5, "data": "640000009BFFFFFF6400000005FA05FA"})"));

  r = Run({"--sim-load", Path("card.mfd"), "--sim-save", Path("a.mfd"), "mfc", "value", "inc", "5", "50"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "block 5 of 11223344: value 100 + 50 = 150, with key A (simulated reader)\n");
  r = Run({"--sim-load", Path("a.mfd"), "--sim-save", Path("b.mfd"), "mfc", "value", "dec", "5", "200", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"uid": "11223344", "block": 5, "key_type": "A", "key": "FFFFFFFFFFFF",
      "operation": "dec", "amount": 200, "to": 5, "before": 150, "after": -50, "address": 5})"));
  EXPECT_EQ(Slurp(Path("b.mfd")).substr(5 * 16, 16),
            std::string("\xCE\xFF\xFF\xFF\x31\x00\x00\x00\xCE\xFF\xFF\xFF\x05\xFA\x05\xFA", 16));
  // A decrement transferred to another block of the sector; block 5 keeps its value.
  r = Run({"--sim-load", Path("b.mfd"), "--sim-save", Path("c.mfd"), "mfc", "value", "dec", "5", "1", "--to", "6"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "block 5 of 11223344: value -50 - 1 = -51, transferred to block 6 (it held "
                   "606162636465666768696A6B6C6D6E6F), with key A (simulated reader)\n");
  std::string c = Slurp(Path("c.mfd"));
  EXPECT_EQ(c.substr(5 * 16, 16), Slurp(Path("b.mfd")).substr(5 * 16, 16));
  EXPECT_EQ(c.substr(6 * 16, 16), std::string("\xCD\xFF\xFF\xFF\x32\x00\x00\x00\xCD\xFF\xFF\xFF\x05\xFA\x05\xFA", 16));
  r = Run({"--sim-load", Path("c.mfd"), "mfc", "value", "restore", "5", "--to", "4"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "block 5 of 11223344: value -50 = -50, transferred to block 4 (it held "
                   "404142434445464748494A4B4C4D4E4F), with key A (simulated reader)\n");
  r = Run({"--sim-load", Path("c.mfd"), "mfc", "value", "transfer", "6", "--to", "5", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["before"], -51);
  EXPECT_EQ(r.Json()["after"], -51);
  EXPECT_EQ(r.Json()["to"], 5);

  r = Run({"--sim-load", Path("card.mfd"), "--sim-save", Path("d.mfd"), "mfc", "value", "init", "4", "-7"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "block 4 of 11223344 is now a value block holding -7 (address byte 04): wrote "
                   "F9FFFFFF06000000F9FFFFFF04FB04FB with key A, read back and checked (simulated reader)\n");
  EXPECT_EQ(Slurp(Path("d.mfd")).substr(4 * 16, 16),
            std::string("\xF9\xFF\xFF\xFF\x06\x00\x00\x00\xF9\xFF\xFF\xFF\x04\xFB\x04\xFB", 16));
  r = Run({"--sim-load", Path("card.mfd"), "mfc", "value", "init", "4", "-7", "--json"});
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"uid": "11223344", "block": 4, "key_type": "A", "key": "FFFFFFFFFFFF",
      "value": -7, "address": 4, "data": "F9FFFFFF06000000F9FFFFFF04FB04FB"})"));
}

TEST_F(Mfc, ValueRefusals) {
  // Sector 1 with block 4 read-only (C1C2C3 010), the trailer as delivered.
  std::string ro = CardImage();
  ro.replace(7 * 16 + 6, 3, std::string("\xEF\x07\x81", 3));
  Write(Path("ro.mfd"), ro);
  ASSERT_EQ(Run({"mfc", "acl", "EF0781"}).out.substr(0, 63),
            "block group 0 (C1C2C3 010): read A|B, write never, increment ne");
  const std::string load = Path("card.mfd");
  const std::vector<Refusal> cases = {
      {{"--sim-load", load, "mfc", "value", "get", "4"},
       1,
       "block 4 of 11223344 is not a value block: bytes 4 to 7 are not the inverse of the value in bytes 0 to 3 (it "
       "holds 404142434445464748494A4B4C4D4E4F)"},
      {{"--sim-load", load, "mfc", "value", "inc", "4", "1"},
       1,
       "block 4 of 11223344 is not a value block: bytes 4 to 7 are not the inverse of the value in bytes 0 to 3 (it "
       "holds 404142434445464748494A4B4C4D4E4F). Nothing was written"},
      {{"--sim-load", load, "mfc", "value", "init", "7", "1"},
       2,
       "mfc value init: block 7 is a sector trailer (keys and access bits), never a value. Nothing was written"},
      {{"--sim-load", load, "mfc", "value", "init", "0", "1"},
       2,
       "mfc value init: block 0 holds the UID and manufacturer data, never a value. Nothing was written"},
      {{"--sim-load", load, "mfc", "value", "inc", "5", "1", "--to", "8"},
       2,
       "mfc value inc: --to 8 is in sector 2, not in sector 1 with block 5: the card transfers within one sector"},
      {{"--sim-load", load, "mfc", "value", "transfer", "5"}, 2, "--to is required (try --help)"},
      {{"--sim-load", load, "mfc", "value", "dec", "5", "-3"}, 2,
       "mfc value dec: the amount is 0 to 2147483647, not -3"},
      {{"--sim-load", load, "mfc", "value", "init", "4", "2147483648"}, 2,
       "mfc value init: a value block holds -2147483648 to 2147483647, not 2147483648"},
      {{"--sim-load", load, "mfc", "value", "inc", "5", "2147483600"}, 1,
       "mfc value inc: 100 + 2147483600 leaves the range of a value block (-2147483648 to 2147483647). Nothing was "
       "written"},
      {{"--sim-load", Path("ro.mfd"), "mfc", "value", "init", "4", "1"},
       1,
       "mfc value init: none of the 13 key(s) opens sector 1 with the right to do it under the access conditions of "
       "block 4. Nothing was written"},
      {{"--sim-load", load, "mfc", "value", "get", "5", "--no-default-keys", "-k", Path("wrong.keys")},
       1,
       "reading block 5 of 11223344: none of the 1 key(s) opens sector 1 for reading it"},
      {{"--sim-load", load, "mfc", "value", "inc", "5", "1", "--no-default-keys", "-k", Path("wrong.keys")},
       1,
       "mfc value inc: none of the 1 key(s) opens sector 1 with the right to do it under the access conditions of "
       "block 5. Nothing was written"},
      {{"--sim-empty", "mfc", "value", "get", "5"}, 1, "no card in the field"},
      {{"--sim-card", "ntag215:04112233445566", "mfc", "value", "get", "5"},
       1,
       "the card 04112233445566 is not a MIFARE Classic (SAK 00)"},
  };
  for (const Refusal& c : cases) {
    // A loaded card is saved at the end, whatever the result: it must be as it was.
    std::vector<std::string> args = c.args;
    const bool loaded = args[0] == "--sim-load";
    if (loaded) args.insert(args.begin(), {"--sim-save", Path("after.mfd")});
    Result r = Run(args);
    EXPECT_EQ(r.status, c.status) << c.err;
    EXPECT_EQ(r.err, "orvex: " + c.err + "\n");
    EXPECT_EQ(r.out, "");
    if (loaded) {
      EXPECT_EQ(Slurp(Path("after.mfd")), c.args[1] == Path("ro.mfd") ? ro : CardImage()) << c.err;
    }
  }
}

TEST_F(Mfc, ACardLeavingRightAfterTheValueIsWrittenSaysSo) {
  Result r = Run({"--sim-load", Path("card.mfd"), "--sim-leave-after", "1", "mfc", "value", "init", "4", "9"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: block 4 of 11223344 was written, but reading it back failed: the card 11223344 left "
                   "the field\n");
  // The transfer is the write of an increment.
  r = Run({"--sim-load", Path("card.mfd"), "--sim-leave-after", "1", "mfc", "value", "inc", "5", "1"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: block 5 of 11223344 was written, but reading it back failed: the card 11223344 left "
                   "the field\n");
}

// ---- Block 0 and trailers ------------------------------------------------------

TEST_F(Mfc, Block0OnlyWithForceAndOnlyOnACardThatTakesIt) {
  const std::string block0 = "0102030404080400C1C2C3C4C5C6C7C8";
  Result r = Run({"--sim-card", "mfc1k-uid:11223344", "mfc", "write", "0", block0});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: mfc write: block 0 holds the UID and manufacturer data; most cards never take a write "
                   "there. Give --force to try it on a card made to take one. Nothing was written\n");
  r = Run({"--sim-load", Path("card.mfd"), "--sim-save", Path("after.mfd"), "mfc", "write", "0", block0, "--force"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: block 0 of 11223344 is read-only on this card: it refused the write (only cards made to "
                   "have their UID changed take one). Nothing was written\n");
  EXPECT_EQ(Slurp(Path("after.mfd")), CardImage());
  r = Run({"--sim-card", "mfc1k-uid:11223344", "--sim-save", Path("uid.mfd"), "mfc", "write", "0", block0, "--force"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "wrote block 0 of 11223344 with key A: " + std::string(block0) +
                       ", read back and checked; the card answers with UID 01020304 from its next selection "
                       "(simulated reader)\n");
  EXPECT_EQ(Slurp(Path("uid.mfd")).substr(0, 16),
            std::string("\x01\x02\x03\x04\x04\x08\x04\x00\xC1\xC2\xC3\xC4\xC5\xC6\xC7\xC8", 16));
  r = Run({"--sim-card", "mfc1k-uid:11223344", "mfc", "write", "0", block0, "--force", "--json"});
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"uid": "11223344", "block": 0, "key_type": "A",
      "key": "FFFFFFFFFFFF", "data": "0102030404080400C1C2C3C4C5C6C7C8"})"));
  // Blocks that would leave the card unusable are refused before the card is touched.
  r = Run({"--sim-card", "mfc1k-uid:11223344", "mfc", "write", "0", "0102030405080400C1C2C3C4C5C6C7C8", "--force"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: mfc write 0: byte 4 is 05, not the check byte of UID 01020304 (04): a card with a wrong "
                   "check byte cannot be selected any more. Nothing was written\n");
  r = Run({"--sim-card", "mfc1k-uid:11223344", "mfc", "write", "0", "0102030404180200C1C2C3C4C5C6C7C8", "--force"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: mfc write 0: bytes 5 to 7 are 180200, but this card answers with SAK and ATQA 080400: a "
                   "card whose block 0 says otherwise may no longer be taken for a MIFARE Classic. Nothing was "
                   "written\n");
  r = Run({"--sim-card", "mfc1k:01020304050607", "mfc", "write", "0", block0, "--force"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: mfc write 0: the card 01020304050607 has a 7-byte UID; this tool writes block 0 only on "
                   "cards with a 4-byte UID. Nothing was written\n");
}

TEST_F(Mfc, TrailersOnlyWithTheChecksOfRestore) {
  const std::string trailer = "A1A2A3A4A5A6FF078069B1B2B3B4B5B6";
  Result r = Run({"--sim-load", Path("card.mfd"), "mfc", "write", "7", trailer});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: mfc write: block 7 is a sector trailer (keys and access bits): give --trailer to write "
                   "it with the checks of mfc restore, or write it with mfc restore. Nothing was written\n");
  r = Run({"--sim-load", Path("card.mfd"), "mfc", "write", "6", kData, "--trailer"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: mfc write --trailer: block 6 is not a sector trailer\n");
  r = Run({"--sim-load", Path("card.mfd"), "mfc", "write", "7", "A1A2A3A4A5A6FF078169B1B2B3B4B5B6", "--trailer"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: mfc write: the trailer of sector 1 has invalid access bits (FF0781): a card would lock "
                   "the sector for good. Nothing was written\n");
  r = Run({"--sim-load", Path("card.mfd"), "mfc", "write", "7", "A1A2A3A4A5A600F0FF69B1B2B3B4B5B6", "--trailer"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err.find("orvex: mfc write: writing this trailer cannot be undone:\n  key A can never be changed again\n"), 0u)
      << r.err;
  EXPECT_NE(r.err.find("\nGive --force to write it anyway. Nothing was written\n"), std::string::npos) << r.err;
  r = Run({"--sim-load", Path("card.mfd"), "mfc", "write", "7", trailer, "--trailer", "--no-default-keys", "-k",
           Path("wrong.keys")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: mfc write: none of the 1 key(s) opens sector 1 with the right to write all of its trailer "
                   "(key A, access bits, key B). Nothing was written\n");
  r = Run({"--sim-load", Path("card.mfd"), "--sim-save", Path("after.mfd"), "mfc", "write", "7", trailer, "--trailer"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "wrote the trailer of sector 1 (block 7) of 11223344 with key A: " + trailer +
                       ", access bits read back and the new keys checked (simulated reader)\n");
  std::string expected = CardImage();
  expected.replace(7 * 16, 16, std::string("\xA1\xA2\xA3\xA4\xA5\xA6\xFF\x07\x80\x69\xB1\xB2\xB3\xB4\xB5\xB6", 16));
  EXPECT_EQ(Slurp(Path("after.mfd")), expected);
  // The sector now opens with the new key only.
  Write(Path("new.keys"), "A1A2A3A4A5A6\n");
  r = Run({"--sim-load", Path("after.mfd"), "mfc", "read", "5", "--no-default-keys", "-k", Path("new.keys")});
  EXPECT_EQ(r.status, 0) << r.err;
}

}  // namespace
