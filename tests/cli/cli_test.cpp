// SPDX-License-Identifier: MIT
// The orvex program, run as a user would run it, against the simulated
// reader it carries inside: output (text and JSON), exit status and the
// error messages.
#include "cli_support.h"

namespace {

using namespace clitest;

TEST_F(Cli, WithoutADeviceNothingGoesToTheSimulatedReader) {
  unsetenv("ORVEX_DEVICE");
  for (auto args : std::vector<std::vector<std::string>>{{"info"}, {"mfc", "dump", Path("x.mfd")},
                                                          {"ndef", "write", "--text", "hi"}}) {
    Result r = Run(args);
    EXPECT_EQ(r.status, 2) << args[0];
    EXPECT_NE(r.err.find("orvex: no --device given and no USB reader attached (looked for USB 0471:114A)"),
              std::string::npos)
        << r.err;
    EXPECT_NE(r.err.find("or --device sim for the simulated reader"), std::string::npos) << r.err;
    EXPECT_EQ(r.out, "");
  }
}

TEST_F(Cli, InfoOnTheSimulatedReader) {
  Result r = Run({"--device", "sim", "info"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_NE(r.out.find("reader number:  1\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("version:        1.07\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("serial:         4F56000001234567\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("product:        OVX-C100\n"), std::string::npos) << r.out;
}

TEST_F(Cli, InfoAsJsonWithTheOptionAfterTheSubcommand) {
  Result r = Run({"--device", "sim", "info", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  EXPECT_EQ(j["reader_number"], 1);
  EXPECT_EQ(j["version"], "1.07");
  EXPECT_EQ(j["serial"], "4F56000001234567");
  EXPECT_EQ(j["product"], "OVX-C100");
}

TEST_F(Cli, DeviceFromTheEnvironment) {
  setenv("ORVEX_DEVICE", "/dev/orvex-no-such-device", 1);
  Result r = Run({"info"});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("orvex: cannot open /dev/orvex-no-such-device: No such file or directory\n"),
            std::string::npos)
      << r.err;
  setenv("ORVEX_DEVICE", "sim", 1);
  r = Run({"--json", "info"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["product"], "OVX-C100");
}

TEST_F(Cli, ScanFindsALowFrequencyCard) {
  Result r = Run({"--sim-card", "lf:1122334455", "scan"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "lf-125khz    1122334455\n");
  r = Run({"--sim-card", "lf:A0B1C2D3E4", "scan", "-j"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  ASSERT_EQ(j["cards"].size(), 1u);
  EXPECT_EQ(j["cards"][0]["family"], "lf-125khz");
  EXPECT_EQ(j["cards"][0]["uid"], "A0B1C2D3E4");
}

TEST_F(Cli, BeepLedAndDisplay) {
  Result r = Run({"beep", "-n", "3"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "beeped 3 time(s) (simulated reader)\n");
  r = Run({"led", "--lamp", "2", "--leave-lit", "1", "--json"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["lamp"], 2);
  EXPECT_EQ(r.Json()["lit"], 1);
  r = Run({"display", "12.34", "--align", "right"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "display shows \"12.34\" (simulated reader)\n");
}

TEST_F(Cli, RawPassThroughEchoesInModeZero) {
  Result r = Run({"raw", "01", "02:03", "a0b0"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "010203A0B0\n");
  r = Run({"raw", "--json", "CAFE"});
  EXPECT_EQ(r.Json()["answer"], "CAFE");
}

TEST_F(Cli, RawToNoSelectedCardFailsInWords) {
  Result r = Run({"--sim-empty", "raw", "-m", "1", "-t", "2", "00"});
  EXPECT_EQ(r.status, 1);
  // The real cause, not a list of possible ones.
  EXPECT_EQ(r.err, "orvex: pass-through command: the reader refused with status 0x01\n");
}

TEST_F(Cli, NoReaderOnTheLineFailsWithinASecondSayingSo) {
  FakeLine silent;  // a pseudo-terminal nobody answers on
  auto t0 = std::chrono::steady_clock::now();
  Result r = Run({"--device", silent.path(), "info"});
  long ms = static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                  std::chrono::steady_clock::now() - t0).count());
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.find("orvex: reading the reader number: no answer from the reader on " + silent.path() +
                       " within 1"),
            0u)
      << r.err;
  EXPECT_EQ(r.err.find("time over!"), std::string::npos) << r.err;
  EXPECT_LT(ms, 2000);
}

TEST_F(Cli, BadArgumentsAreUsageErrors) {
  Result r = Run({});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("subcommand is required"), std::string::npos) << r.err;
  r = Run({"raw", "0G"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("raw: \"0G \" is not hexadecimal"), std::string::npos) << r.err;
  r = Run({"raw", "123"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("odd number of hex digits"), std::string::npos) << r.err;
  r = Run({"beep", "--count", "300"});
  EXPECT_EQ(r.status, 2);
  r = Run({"--device", "floppy", "info"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("--device: unknown connection \"floppy\": give usb, usb:BUS:ADDR, usb:serial=S, ttyS:N or a device path such as /dev/ttyUSB0 (or sim for the simulated reader)"), std::string::npos) << r.err;
  r = Run({"--sim-card", "nosuchkind", "info", "--json"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.Json()["error"].get<std::string>().find("unknown card kind"), std::string::npos);
  r = Run({"--baud", "1234", "info"});
  EXPECT_EQ(r.status, 2);
}

TEST_F(Cli, CardImageRoundTripsThroughTheSimulatedField) {
  Write(Path("in.mfd"), Image1K());
  Result r = Run({"--sim-load", Path("in.mfd"), "--sim-save", Path("out.mfd"), "info"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Slurp(Path("out.mfd")), Image1K());
}

TEST_F(Cli, CardImageOfTheWrongSizeIsRefused) {
  Write(Path("short.mfd"), std::string(1000, '\0'));
  Result r = Run({"--sim-load", Path("short.mfd"), "info"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("--sim-load " + Path("short.mfd")), std::string::npos) << r.err;
}

TEST_F(Cli, ScanListsEveryCardInTheField) {
  Result r = Run({"--sim-card", "mfc1k:11223344", "--sim-card", "mfc4k:55667788", "--sim-card",
                  "ntag215:04112233445566", "--sim-card", "lf:1A2B3C4D5E", "scan"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "iso14443a    11223344  ATQA 0004 SAK 08  MIFARE Classic 1K\n"
            "iso14443a    55667788  ATQA 0002 SAK 18  MIFARE Classic 4K\n"
            "iso14443a    04112233445566  ATQA 0044 SAK 00  Type 2 tag (Ultralight, NTAG)\n"
            "lf-125khz    1A2B3C4D5E\n");
  r = Run({"scan", "--json"});  // the default field: one blank MIFARE Classic 1K
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  ASSERT_EQ(j["cards"].size(), 1u);
  EXPECT_EQ(j["cards"][0]["family"], "iso14443a");
  EXPECT_EQ(j["cards"][0]["atqa"], "0004");
  EXPECT_EQ(j["cards"][0]["sak"], "08");
  EXPECT_EQ(j["cards"][0]["type"], "MIFARE Classic 1K");
  EXPECT_EQ(j["cards"][0]["uid"].get<std::string>().size(), 8u);
}

TEST_F(Cli, ScanFindsTopazFelicaTheIdentityCardAndTheContactCard) {
  Result r = Run({"--sim-card", "topaz:0A0B0C0D", "--sim-card", "felica:0102030405060708", "--sim-card",
                  "idcard:1122334455667788", "--sim-card", "sle4442", "scan", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto cards = r.Json()["cards"];
  ASSERT_EQ(cards.size(), 5u) << r.out;
  EXPECT_EQ(cards[0]["family"], "topaz");
  EXPECT_EQ(cards[0]["uid"], "0A0B0C0D");
  EXPECT_EQ(cards[0]["hr"].get<std::string>().size(), 4u);
  EXPECT_EQ(cards[1]["family"], "felica");
  EXPECT_EQ(cards[1]["uid"], "0102030405060708");
  EXPECT_EQ(cards[1]["pmm"].get<std::string>().size(), 16u);
  EXPECT_EQ(cards[2]["family"], "id-card");
  EXPECT_EQ(cards[2]["uid"], "1122334455667788");
  // The identity card is a type B card as well.
  EXPECT_EQ(cards[3]["family"], "iso14443b");
  EXPECT_EQ(cards[4]["family"], "sle4442");
  EXPECT_EQ(cards[4]["atr"].get<std::string>().size(), 8u);
}

TEST_F(Cli, ScanDoesNotTakeAnyTypeBCardForAnIdentityCard) {
  // The reader refuses the number read with status 1 ("no card"), which the
  // library passes up as 1: the tool must not report a number then.
  Result r = Run({"--sim-card", "typeb:5B010203", "scan"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "iso14443b    5B010203  ATQB 505B01020300000000008171\n");
}

TEST_F(Cli, MfcDumpIsTheCardByteForByteWithTheKeysFound) {
  Write(Path("card.mfd"), Image1K(true));
  Write(Path("keys"), "# transport key, then sector 3's\nFFFFFFFFFFFF\n a0a1a2a3a4a5 \n");
  Result r = Run({"--sim-load", Path("card.mfd"), "mfc", "dump", Path("dump.mfd"), "--keys",
                  Path("keys"), "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Slurp(Path("dump.mfd")), Image1K(true));
  auto j = r.Json();
  EXPECT_EQ(j["uid"], "11223344");
  EXPECT_EQ(j["blocks"], 64);
  ASSERT_EQ(j["sectors"].size(), 16u);
  EXPECT_EQ(j["sectors"][0]["key_a"], "FFFFFFFFFFFF");
  EXPECT_EQ(j["sectors"][3]["key_a"], "A0A1A2A3A4A5");
  // No terminal: no progress bar on standard error.
  EXPECT_EQ(r.err.find("dumping"), std::string::npos) << r.err;
}

TEST_F(Cli, MfcDumpRestoresByteIdentical) {
  Write(Path("card.mfd"), Image1K(true));
  // Both keys of sector 3 known: the dump records them, so its trailer is
  // restored too.
  Write(Path("keys"), "A0A1A2A3A4A5\nB0B1B2B3B4B5\nFFFFFFFFFFFF\n");
  Result r = Run({"--sim-load", Path("card.mfd"), "mfc", "dump", Path("dump.mfd"), "-k", Path("keys")});
  ASSERT_EQ(r.status, 0) << r.err;
  // Onto a blank card with the same manufacturer block: every other block
  // written, the new keys of sector 3 included.
  Write(Path("blank.mfd"), Blank1K());
  r = Run({"--sim-load", Path("blank.mfd"), "--sim-save", Path("after.mfd"), "mfc", "restore",
           Path("dump.mfd")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "restored 63 blocks from " + Path("dump.mfd") + " to 11223344 (simulated reader)\n");
  EXPECT_EQ(Slurp(Path("after.mfd")), Slurp(Path("dump.mfd")));
  EXPECT_EQ(Slurp(Path("after.mfd")), Image1K(true));
}

TEST_F(Cli, MfcDumpOf4KHas4096Bytes) {
  Result r = Run({"--sim-card", "mfc4k", "mfc", "dump", Path("4k.mfd")});
  ASSERT_EQ(r.status, 0) << r.err;
  std::string d = Slurp(Path("4k.mfd"));
  ASSERT_EQ(d.size(), 4096u);
  // The last trailer carries the transport keys found.
  EXPECT_EQ(d.substr(4080, 6), std::string(6, '\xFF'));
  EXPECT_EQ(d.substr(4090, 6), std::string(6, '\xFF'));
}

TEST_F(Cli, MfcDumpTriesThePubliclyKnownDefaultKeys) {
  // Sector 3 opens with the directory key A0A1A2A3A4A5, which no key file gives.
  Write(Path("card.mfd"), Image1K(true));
  Result r = Run({"--sim-load", Path("card.mfd"), "mfc", "dump", Path("dump.mfd"), "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(Slurp(Path("dump.mfd")), Image1K(true));
  auto j = r.Json();
  EXPECT_EQ(j["sectors"][3]["key_a"], "A0A1A2A3A4A5");
  EXPECT_EQ(j["sectors"][0]["key_a"], "FFFFFFFFFFFF");
  // --no-default-keys without a key file leaves nothing to try.
  r = Run({"--sim-load", Path("card.mfd"), "mfc", "dump", Path("dump.mfd"), "--no-default-keys"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: no key to try: give a key file (-k) or leave out --no-default-keys\n");
}

TEST_F(Cli, MfcDumpPartialRecordsTheBlocksItCouldNotRead) {
  Write(Path("card.mfd"), Image1K(true));
  Write(Path("transport.keys"), "FFFFFFFFFFFF\n");
  Result r = Run({"--sim-load", Path("card.mfd"), "mfc", "dump", Path("d.mfd"), "--no-default-keys", "-k",
                  Path("transport.keys"), "--partial", "--json"});
  EXPECT_EQ(r.status, 3);
  EXPECT_EQ(r.err, "orvex: partial dump: 4 block(s) could not be read and hold zeros: 12 13 14 15\n");
  auto j = r.Json();
  EXPECT_EQ(j["unknown_blocks"], nlohmann::json::parse("[12, 13, 14, 15]"));
  EXPECT_TRUE(j["sectors"][3]["key_a"].is_null());
  EXPECT_TRUE(j["sectors"][3]["key_b"].is_null());
  std::string expected = Image1K(true);
  std::fill_n(&expected[12 * 16], 64, '\0');
  EXPECT_EQ(Slurp(Path("d.mfd")), expected);
  std::string record = Slurp(Path("d.mfd.keys"));
  EXPECT_NE(record.find("\n3 - -\n"), std::string::npos) << record;
  EXPECT_NE(record.find("\nunknown 12 13 14 15\n"), std::string::npos) << record;
  // Without --partial the sector stops the dump, and says how to go on.
  r = Run({"--sim-load", Path("card.mfd"), "mfc", "dump", Path("e.mfd"), "--no-default-keys", "-k",
           Path("transport.keys")});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvex: authentication failed for sector 3: none of the 1 key(s) opens it (--partial dumps the other "
            "sectors)\n");
  // A restore of the partial dump leaves the blocks it could not read as
  // they are on the card (the default keys would open the sector).
  r = Run({"--sim-load", Path("card.mfd"), "--sim-save", Path("after.mfd"), "mfc", "restore", Path("d.mfd")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("left blocks 12 13 14 15 as they were: the dump could not read them\n"), std::string::npos)
      << r.out;
  EXPECT_EQ(Slurp(Path("after.mfd")), Image1K(true));
}

TEST_F(Cli, MfcKeysTellsWhichKeyOpensEachSector) {
  Write(Path("card.mfd"), Image1K(true));
  Result r = Run({"--sim-load", Path("card.mfd"), "mfc", "keys"});
  ASSERT_EQ(r.status, 0) << r.err;
  std::string expected = "sector  key A         key B\n";
  for (int s = 0; s < 16; ++s) {
    char line[64];
    std::snprintf(line, sizeof line, "%6d  %s  %s\n", s, s == 3 ? "A0A1A2A3A4A5" : "FFFFFFFFFFFF",
                  s == 3 ? "B0B1B2B3B4B5" : "FFFFFFFFFFFF");
    expected += line;
  }
  expected += "found 32 of 32 keys of 11223344, trying 13 key(s) (simulated reader)\n";
  EXPECT_EQ(r.out, expected);
  EXPECT_EQ(r.err, "");
  r = Run({"--sim-load", Path("card.mfd"), "mfc", "keys", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  EXPECT_EQ(j["uid"], "11223344");
  EXPECT_EQ(j["keys_tried"], 13);
  ASSERT_EQ(j["sectors"].size(), 16u);
  EXPECT_EQ(j["sectors"][3], nlohmann::json::parse(R"({"sector": 3, "key_a": "A0A1A2A3A4A5", "key_b": "B0B1B2B3B4B5"})"));
  // Keys that open nothing: every sector says so, which is no failure.
  Write(Path("wrong.keys"), "123456789ABC\n");
  r = Run({"--sim-load", Path("card.mfd"), "mfc", "keys", "--no-default-keys", "-k", Path("wrong.keys"), "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  j = r.Json();
  EXPECT_TRUE(j["sectors"][0]["key_a"].is_null());
  EXPECT_TRUE(j["sectors"][15]["key_b"].is_null());
  r = Run({"--sim-load", Path("card.mfd"), "mfc", "keys", "--no-default-keys", "-k", Path("wrong.keys")});
  EXPECT_NE(r.out.find("\n     7  -             -\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("found 0 of 32 keys of 11223344, trying 1 key(s)"), std::string::npos) << r.out;
}

TEST_F(Cli, MfcKeysWithoutAClassicCard) {
  Result r = Run({"--sim-empty", "mfc", "keys"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: no card in the field\n");
  EXPECT_EQ(r.out, "");
  r = Run({"--sim-card", "ntag215:04112233445566", "mfc", "keys", "--json"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.Json()["error"], "the card 04112233445566 is not a MIFARE Classic (SAK 00)");
}

TEST_F(Cli, MfcReadAndWriteOneBlock) {
  Write(Path("card.mfd"), Image1K(true));
  Result r = Run({"--sim-load", Path("card.mfd"), "--sim-save", Path("after.mfd"), "mfc", "write", "13",
                  "00112233445566778899AABBCCDDEEFF"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "wrote block 13 of 11223344 with key A: 00112233445566778899AABBCCDDEEFF, read back and checked "
            "(simulated reader)\n");
  std::string expected = Image1K(true);
  for (int i = 0; i < 16; ++i) expected[13 * 16 + i] = static_cast<char>(i * 0x11);
  EXPECT_EQ(Slurp(Path("after.mfd")), expected);
  r = Run({"--sim-load", Path("after.mfd"), "mfc", "read", "13"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "block  13: 00112233445566778899AABBCCDDEEFF  (key A A0A1A2A3A4A5)\n");
  r = Run({"--sim-load", Path("after.mfd"), "mfc", "read", "13", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json(), nlohmann::json::parse(R"({"uid": "11223344", "block": 13, "data": "00112233445566778899AABBCCDDEEFF",
                                                "key_type": "A", "key": "A0A1A2A3A4A5"})"));
}

TEST_F(Cli, MfcReadAndWriteRefusals) {
  Write(Path("card.mfd"), Image1K(true));
  Write(Path("wrong.keys"), "123456789ABC\n");
  const std::string load = Path("card.mfd");
  const std::vector<Refusal> cases = {
      {{"--sim-load", load, "--sim-save", Path("after.mfd"), "mfc", "write", "13", "00112233445566778899AABBCCDDEEFF",
        "--no-default-keys", "-k", Path("wrong.keys")},
       1,
       "writing block 13 of 11223344: none of the 1 key(s) lets sector 3 be written. Nothing was written"},
      {{"--sim-load", load, "mfc", "read", "13", "--no-default-keys", "-k", Path("wrong.keys")},
       1,
       "reading block 13 of 11223344: none of the 1 key(s) opens sector 3 for reading it"},
      {{"--sim-load", load, "mfc", "write", "15", "00112233445566778899AABBCCDDEEFF"},
       2,
       "mfc write: block 15 is a sector trailer (keys and access bits): give --trailer to write it with the checks "
       "of mfc restore, or write it with mfc restore. Nothing was written"},
      {{"--sim-load", load, "mfc", "write", "0", "00112233445566778899AABBCCDDEEFF"},
       2,
       "mfc write: block 0 holds the UID and manufacturer data; most cards never take a write there. Give --force "
       "to try it on a card made to take one. Nothing was written"},
      {{"--sim-load", load, "mfc", "write", "4", "0011"}, 2, "mfc write: a block holds 16 bytes (32 hex digits), not 2"},
      {{"--sim-load", load, "mfc", "read", "64"}, 2, "block 64: the MIFARE Classic 1K has blocks 0 to 63"},
      {{"--sim-empty", "mfc", "read", "4"}, 1, "no card in the field"},
      {{"--sim-card", "ntag215:04112233445566", "mfc", "write", "4", "00112233445566778899AABBCCDDEEFF"},
       1,
       "the card 04112233445566 is not a MIFARE Classic (SAK 00)"},
  };
  for (const Refusal& c : cases) {
    Result r = Run(c.args);
    EXPECT_EQ(r.status, c.status) << c.err;
    EXPECT_EQ(r.err, "orvex: " + c.err + "\n");
    EXPECT_EQ(r.out, "");
  }
  // The refused write left the card as it was.
  EXPECT_EQ(Slurp(Path("after.mfd")), Image1K(true));
}

TEST_F(Cli, MfcDumpWithAWrongKeyNamesTheSector) {
  Write(Path("card.mfd"), Image1K(true));
  Write(Path("transport.keys"), "FFFFFFFFFFFF\n");
  Result r = Run({"--sim-load", Path("card.mfd"), "mfc", "dump", Path("dump.mfd"), "--no-default-keys", "-k",
                  Path("transport.keys")});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("authentication failed for sector 3: none of the 1 key(s) opens it"), std::string::npos)
      << r.err;
  r = Run({"--sim-load", Path("card.mfd"), "--json", "mfc", "restore", Path("card.mfd")});
  // Restoring tries the dump's own keys: this one succeeds.
  EXPECT_EQ(r.status, 0) << r.err;
  Write(Path("other.mfd"), Image1K());
  r = Run({"--sim-load", Path("card.mfd"), "--json", "mfc", "restore", Path("other.mfd"), "--no-default-keys"});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.Json()["error"].get<std::string>().find(
                "sector 3: none of the keys given (nor the dump's) opens it. Nothing was written"),
            std::string::npos);
}

TEST_F(Cli, MfcErrorsInWords) {
  Result r = Run({"--sim-empty", "mfc", "dump", Path("x.mfd")});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("no card in the field"), std::string::npos) << r.err;
  r = Run({"--sim-card", "ntag213:04112233445566", "mfc", "dump", Path("x.mfd")});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("the card 04112233445566 is not a MIFARE Classic"), std::string::npos) << r.err;
  Write(Path("keys"), "FFFFFFFFFF\n");
  r = Run({"mfc", "dump", Path("x.mfd"), "-k", Path("keys")});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find(Path("keys") + ":1: a key has 12 hex digits"), std::string::npos) << r.err;
  // A key list from standard input, and the line that is not a key named.
  r = Run({"mfc", "dump", Path("x.mfd"), "-k", "-"}, "# mine\nA0A1A2A3A4A5\nA0A1A2\n");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "orvex: standard input:3: a key has 12 hex digits\n");
  EXPECT_EQ(r.out, "");
  r = Run({"mfc", "keys", "-k", "-", "--no-default-keys", "--json"}, "FFFFFFFFFFFF\n");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["sectors"][0]["key_a"], "FFFFFFFFFFFF") << r.out;
  Write(Path("short.mfd"), std::string(100, '\0'));
  r = Run({"mfc", "restore", Path("short.mfd")});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("1024 or 4096 bytes, not 100"), std::string::npos) << r.err;
  r = Run({"mfc"});
  EXPECT_EQ(r.status, 2);
}

TEST_F(Cli, ApduWithoutACpuCardSaysSo) {
  Result r = Run({"apdu", "00A4040000"});  // only a MIFARE Classic in the field
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("activating the CPU card: no CPU card in the field"), std::string::npos)
      << r.err;
  r = Run({"apdu", "00A4"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("shorter than a 4-byte header"), std::string::npos) << r.err;
}

TEST_F(Cli, DesKnownAnswerBothWaysWithoutAReader) {
  // The textbook DES example: key 133457799BBCDFF1, 0123456789ABCDEF.
  Result r = Run({"des", "--key", "133457799BBCDFF1", "0123456789ABCDEF"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "85E813540F0AB405\n");
  // No reader opened, so no note about the default one; only the warning
  // that the key was given on the command line.
  EXPECT_EQ(r.err.find("orvex: warning: the key given with des --key is visible"), 0u) << r.err;
  EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << r.err;
  r = Run({"des", "-D", "-k", "133457799BBCDFF1", "85E813540F0AB405", "--json"});
  EXPECT_EQ(r.Json()["result"], "0123456789ABCDEF");
  EXPECT_EQ(r.Json()["operation"], "decrypt");
  // Two-key triple-DES with K1 = K2 is single DES.
  r = Run({"des3", "-k", "133457799BBCDFF1133457799BBCDFF1", "0123456789ABCDEF"});
  EXPECT_EQ(r.out, "85E813540F0AB405\n");
}

TEST_F(Cli, Des3CbcChainsBlocks) {
  const std::string key = "0123456789ABCDEFFEDCBA9876543210";
  Result ecb = Run({"des3", "-k", key, "1111111111111111"});
  ASSERT_EQ(ecb.status, 0) << ecb.err;
  std::string c1 = ecb.out.substr(0, 16);
  // With a zero IV the first CBC block is the plain block cipher; the second
  // is the cipher of (plain XOR c1).
  Result cbc = Run({"des3-cbc", "-k", key, "1111111111111111", "0000000000000000"});
  ASSERT_EQ(cbc.status, 0) << cbc.err;
  EXPECT_EQ(cbc.out.substr(0, 16), c1);
  Result second = Run({"des3", "-k", key, c1});
  EXPECT_EQ(cbc.out.substr(16, 16), second.out.substr(0, 16));
  Result back = Run({"des3-cbc", "-D", "-k", key, cbc.out.substr(0, 32)});
  EXPECT_EQ(back.out, "11111111111111110000000000000000\n");
  Result iv = Run({"des3-cbc", "-k", key, "--iv", "1111111111111111", "0000000000000000"});
  EXPECT_EQ(iv.out.substr(0, 16), c1);
}

TEST_F(Cli, DesArgumentErrors) {
  Result r = Run({"des", "-k", "0011", "0123456789ABCDEF"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("des: the key has 16 hex digits"), std::string::npos) << r.err;
  r = Run({"des3", "-k", "133457799BBCDFF1133457799BBCDFF1", "0123"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("whole number of 8-byte blocks (got 2 bytes)"), std::string::npos) << r.err;
  r = Run({"des", "0123456789ABCDEF"});
  EXPECT_EQ(r.status, 2);
}

TEST_F(Cli, HelpExitsZero) {
  Result r = Run({"--help"});
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("scan"), std::string::npos);
}

}  // namespace
