// SPDX-License-Identifier: MIT
// How much the tool asks of the line: the exchanges a MIFARE Classic dump
// and an NTAG dump make, and scan --wait telling of a card before its scan
// is over.
#include <algorithm>
#include <map>
#include <vector>

#include "cli_support.h"

using namespace clitest;

namespace {

// The commands the tool sent, by name, from its --trace lines
// ("   12.345 -> [0000] 29 ReadBlock  00", "... C0 NTag FAST_READ  10 05 3A 00 27":
// the name ends where two spaces begin its data).
std::map<std::string, int> Sent(const std::string& trace) {
  std::map<std::string, int> sent;
  std::istringstream in(trace);
  std::string line;
  while (std::getline(in, line)) {
    size_t at = line.find(" -> [");
    if (at == std::string::npos) continue;
    size_t name = line.find(' ', line.find(']', at) + 2);  // past the command code
    if (name == std::string::npos) continue;
    ++sent[line.substr(name + 1, line.find("  ", name + 1) - name - 1)];
  }
  return sent;
}

// The commands the tool sent, by name, in order.
std::vector<std::string> SentInOrder(const std::string& trace) {
  std::vector<std::string> sent;
  std::istringstream in(trace);
  std::string line;
  while (std::getline(in, line)) {
    size_t at = line.find(" -> [");
    if (at == std::string::npos) continue;
    size_t name = line.find(' ', line.find(']', at) + 2);
    if (name == std::string::npos) continue;
    sent.push_back(line.substr(name + 1, line.find("  ", name + 1) - name - 1));
  }
  return sent;
}

// The FAST_READs the tool sent, with their first and last page in hex.
std::vector<std::string> FastReads(const std::string& trace) {
  std::vector<std::string> reads;
  std::istringstream in(trace);
  std::string line;
  const std::string mark = "FAST_READ  10 05 3A ";
  while (std::getline(in, line))
    if (line.find(" -> [") != std::string::npos && line.find(mark) != std::string::npos)
      reads.push_back(line.substr(line.find(mark) + mark.size()));
  return reads;
}

// A 1K card: UID 11223344, zero data, the transport keys and access bits
// FF 07 80 (key B readable with key A) in every trailer; sector 5's key B
// is 123456ABCDEF.
std::string Card1K() {
  std::string m(1024, '\0');
  const unsigned char b0[] = {0x11, 0x22, 0x33, 0x44, 0x11 ^ 0x22 ^ 0x33 ^ 0x44, 0x08, 0x04, 0x00};
  std::copy(b0, b0 + 8, m.begin());
  for (int s = 0; s < 16; ++s) {
    unsigned char t[16] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x07, 0x80, 0x69, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    if (s == 5) {
      const unsigned char b[6] = {0x12, 0x34, 0x56, 0xAB, 0xCD, 0xEF};
      std::copy(b, b + 6, t + 10);
    }
    std::copy(t, t + 16, m.begin() + (s * 4 + 3) * 16);
  }
  return m;
}

}  // namespace

TEST_F(Cli, MfcDumpOfABlank1KMakesOneAuthenticationASectorAndOneReadABlock) {
  Result r = Run({"--sim-card", "mfc1k:11223344", "--trace", "mfc", "dump", Path("d.mfd")});
  ASSERT_EQ(r.status, 0) << r.err;
  // One selection (a dump names its card, it does not ask the field for
  // others), then per sector key A and its four blocks.
  const std::map<std::string, int> expected = {{"RequestAntiAndSelect", 1}, {"KeyAuthorization", 16},
                                               {"ReadBlock", 64}};
  EXPECT_EQ(Sent(r.err), expected) << r.err;
  // Key B, which each trailer shows, is still recorded.
  std::string record = Slurp(Path("d.mfd.keys"));
  for (int s = 0; s < 16; ++s)
    EXPECT_NE(record.find("\n" + std::to_string(s) + " FFFFFFFFFFFF FFFFFFFFFFFF\n"), std::string::npos) << record;
}

// A key B the access conditions make readable is data: the dump records it
// as read, whether or not a key list holds it, and no authentication
// searches for it.
TEST_F(Cli, MfcDumpRecordsAShownKeyBAsReadWithoutSearchingForIt) {
  Write(Path("card.mfd"), Card1K());
  Result r = Run({"--sim-load", Path("card.mfd"), "--trace", "mfc", "dump", Path("d.mfd"), "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = nlohmann::json::parse(r.out);
  EXPECT_EQ(j["sectors"][5]["key_b"], "123456ABCDEF") << r.out;
  EXPECT_EQ(j["sectors"][4]["key_b"], "FFFFFFFFFFFF");
  // Key A of each sector, and nothing else.
  EXPECT_EQ(Sent(r.err)["KeyAuthorization"], 16) << r.err;
  EXPECT_NE(Slurp(Path("d.mfd.keys")).find("\n5 FFFFFFFFFFFF 123456ABCDEF\n"), std::string::npos)
      << Slurp(Path("d.mfd.keys"));
  EXPECT_EQ(Slurp(Path("d.mfd")), Card1K());
}

// A dump beside another card, with a wrong key tried first in every sector:
// no halt and no request before it starts, one selection again (by UID) for
// each wrong key, and the file is the chosen card's memory block for block.
// (The simulated field always lets the first card it holds answer first, so
// this does not show that the UID is checked; Cli.UidChoosesTheCardAndSaysSo
// and the --uid tests do.)
TEST_F(Cli, MfcDumpBesideAnotherCardWithWrongKeysDumpsTheCardItChose) {
  std::string card = Card1K();
  for (int b = 4; b < 64; ++b)
    if (b % 4 != 3) card[static_cast<size_t>(b) * 16] = static_cast<char>(b);  // a mark in every data block
  Write(Path("card.mfd"), card);
  Write(Path("keys"), "112233445566\nFFFFFFFFFFFF\n");  // the first opens no sector
  Result r = Run({"--sim-load", Path("card.mfd"), "--sim-card", "mfc1k:55667788", "--trace", "mfc", "dump",
                  Path("d.mfd"), "-k", Path("keys"), "--no-default-keys"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("dumped 64 blocks of MIFARE Classic 1K 11223344 to "), std::string::npos) << r.out;
  // Each sector: the wrong key, a selection again, the right key.
  EXPECT_EQ(Sent(r.err)["KeyAuthorization"], 32) << r.err;
  EXPECT_EQ(Sent(r.err)["RequestAntiAndSelect"], 1 + 16) << r.err;
  EXPECT_EQ(Sent(r.err).count("CardHalt"), 0u) << r.err;
  EXPECT_EQ(Sent(r.err).count("RequestCard"), 0u) << r.err;
  EXPECT_EQ(Slurp(Path("d.mfd")), card);
}

TEST_F(Cli, ScanWaitTellsOfACardBeforeItHasLookedForTheOtherFamilies) {
  // At 4800 bit/s the families after ISO 14443-A take most of a second.
  SimProcess sim("--empty --baud 4800", Path("sim.out"));
  ASSERT_FALSE(sim.pty().empty());
  pid_t pid = Spawn({"--device", sim.pty() + "@4800", "scan", "--wait", "--timeout", "20"});
  usleep(300000);
  sim.Say("place mfc1k:11223344\n");
  const std::string line = "iso14443a    11223344  ATQA 0004 SAK 08  MIFARE Classic 1K\n";
  bool running_when_told = false;
  for (int i = 0; i < 1000; ++i) {
    if (Slurp(Path("stdout")) == line) {
      running_when_told = waitpid(pid, nullptr, WNOHANG) == 0;
      break;
    }
    usleep(5000);
  }
  Result r = Collect(pid);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_TRUE(running_when_told);
  EXPECT_EQ(r.out, line);
  EXPECT_EQ(r.err, "");
}

TEST_F(Cli, NtagDumpAt19200ReadsFortyPagesAtATime) {
  Result r = Run({"--sim-card", "ntag216:04112233445566", "--trace", "ntag", "dump", Path("t.bin")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "dumped 231 pages of NTAG216 04112233445566 to " + Path("t.bin") + " (simulated reader)\n");
  // The last 40 pages first, with the configuration pages among them
  // (whether a password guards reads), then the rest, 40 pages a read: six
  // reads for 231 pages, the least that fit.
  const std::vector<std::string> expected = {"BF E6", "00 27", "28 4F", "50 77", "78 9F", "A0 BE"};
  EXPECT_EQ(FastReads(r.err), expected) << r.err;
  EXPECT_EQ(Slurp(Path("t.bin")).size(), 924u);
}

TEST_F(Cli, NtagDumpSelectsOnceAndNamesTheTagItRead) {
  Result r = Run({"--sim-card", "ntag216:04112233445566", "--trace", "ntag", "dump", Path("t.bin")});
  ASSERT_EQ(r.status, 0) << r.err;
  // One selection, the version (the tag's size), six reads.
  const std::vector<std::string> expected = {"RequestAntiAndSelect", "NTag GET_VERSION", "NTag FAST_READ",
                                             "NTag FAST_READ",       "NTag FAST_READ",   "NTag FAST_READ",
                                             "NTag FAST_READ",       "NTag FAST_READ"};
  EXPECT_EQ(SentInOrder(r.err), expected) << r.err;
  // The pages in their order: page 0 starts with the UID, the last four are
  // the configuration (AUTH0 FF: no password), PWD and PACK (read as zeros).
  const std::string dump = Slurp(Path("t.bin"));
  ASSERT_EQ(dump.size(), 924u);
  EXPECT_EQ(dump.substr(0, 3), std::string("\x04\x11\x22", 3));
  EXPECT_EQ(static_cast<unsigned char>(dump[227 * 4 + 3]), 0xFF);
  EXPECT_EQ(dump.substr(229 * 4), std::string(8, '\0'));
  // With a second card in the field the dump makes the same exchanges, of
  // the first card, and its summary names the tag it read; no note.
  r = Run({"--sim-card", "ntag216:04112233445566", "--sim-card", "mfc1k:11223344", "--trace", "ntag", "dump",
           Path("u.bin")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(SentInOrder(r.err), expected) << r.err;
  EXPECT_EQ(r.err.find("orvex:"), std::string::npos) << r.err;
  EXPECT_EQ(r.out, "dumped 231 pages of NTAG216 04112233445566 to " + Path("u.bin") + " (simulated reader)\n");
  EXPECT_EQ(Slurp(Path("u.bin")), dump);
  // To standard output the listing names the tag on its first line.
  r = Run({"--sim-card", "ntag216:04112233445566", "--sim-card", "mfc1k:11223344", "ntag", "dump"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out.substr(0, r.out.find('\n') + 1), "NTAG216 04112233445566, 231 pages\n") << r.out;
}

TEST_F(Cli, WithQuietNoCommandAsksTheFieldForOtherCards) {
  // The look for other cards before a write only feeds a note; -q silences
  // notes, so the write selects once and does not halt, ask and select
  // again.
  Result r = Run({"--sim-card", "ntag216:04112233445566", "--sim-card", "mfc1k:11223344", "-q", "--trace", "ntag",
                  "write", "4", "01020304"});
  ASSERT_EQ(r.status, 0) << r.err;
  std::vector<std::string> sent = SentInOrder(r.err);
  ASSERT_FALSE(sent.empty()) << r.err;
  EXPECT_EQ(sent.front(), "RequestAntiAndSelect");
  EXPECT_EQ(std::count(sent.begin(), sent.end(), "RequestAntiAndSelect"), 1) << r.err;
  EXPECT_EQ(std::count(sent.begin(), sent.end(), "CardHalt"), 0) << r.err;
  EXPECT_EQ(std::count(sent.begin(), sent.end(), "RequestCard"), 0) << r.err;
  EXPECT_EQ(r.err.find("orvex:"), std::string::npos) << r.err;
  // Without -q the same field gets the halt, the request and a second
  // selection, and the note.
  r = Run({"--sim-card", "ntag216:04112233445566", "--sim-card", "mfc1k:11223344", "--trace", "ntag", "write", "4",
           "01020304"});
  ASSERT_EQ(r.status, 0) << r.err;
  sent = SentInOrder(r.err);
  EXPECT_EQ(std::count(sent.begin(), sent.end(), "RequestAntiAndSelect"), 2) << r.err;
  EXPECT_EQ(std::count(sent.begin(), sent.end(), "CardHalt"), 1) << r.err;
  EXPECT_EQ(std::count(sent.begin(), sent.end(), "RequestCard"), 1) << r.err;
  EXPECT_NE(r.err.find("orvex: several cards in the field; acting on 04112233445566 (Type 2 tag (Ultralight, NTAG)): "
                       "--uid chooses another (orvex scan lists them)\n"),
            std::string::npos)
      << r.err;
}

TEST_F(Cli, NtagDumpReadsAgainInShorterReadsWhenEscapedBytesCutAnAnswerOff) {
  // On a line paced at 19200 bit/s, pages full of bytes 10 (each sent as
  // two) make the answer to a read of 40 pages longer than its deadline.
  SimProcess sim("--baud 19200 --card ntag216:04112233445566", Path("sim.out"));
  ASSERT_FALSE(sim.pty().empty());
  const std::string device = sim.pty() + "@19200";
  const std::string payload(150, '\x10');
  Write(Path("payload.bin"), payload);
  Result r = Run({"--device", device, "ndef", "write", "--mime", "application/octet-stream", Path("payload.bin")});
  ASSERT_EQ(r.status, 0) << r.err;
  r = Run({"--device", device, "ntag", "dump", Path("t.bin")});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "dumped 231 pages of NTAG216 04112233445566 to " + Path("t.bin") + "\n");
  EXPECT_EQ(r.err, "");
  std::string dump = Slurp(Path("t.bin"));
  EXPECT_EQ(dump.size(), 924u);
  EXPECT_NE(dump.find(payload), std::string::npos);
  // After the last 40 pages (with the configuration), the first read of 40
  // pages is cut off; the same pages and the rest follow 18 at a time,
  // which fit even when every byte is escaped.
  r = Run({"--device", device, "--trace", "ntag", "dump", Path("u.bin")});
  ASSERT_EQ(r.status, 0) << r.err;
  const std::vector<std::string> expected = {"BF E6", "00 27", "00 11", "12 23", "24 27", "28 39", "3A 4B", "4C 5D",
                                             "5E 6F", "70 81", "82 93", "94 A5", "A6 B7", "B8 BE"};
  EXPECT_EQ(FastReads(r.err), expected) << r.err;
  EXPECT_EQ(Slurp(Path("u.bin")), dump);
}

TEST_F(Cli, NdefReadOfAnNtagReadsAgainInShorterReadsWhenEscapedBytesCutAnAnswerOff) {
  // The NDEF layer reads a Type 2 tag as the dump does: on an NTAG213 at
  // 19200 bit/s its data area (pages 4 to 39) in one read, which 100 bytes
  // 10 make too long for its deadline, then in reads of 18 pages.
  SimProcess sim("--baud 19200 --card ntag213:04112233445566", Path("sim.out"));
  ASSERT_FALSE(sim.pty().empty());
  const std::string device = sim.pty() + "@19200";
  Write(Path("payload.bin"), std::string(100, '\x10'));
  Result r = Run({"--device", device, "ndef", "write", "--mime", "application/octet-stream", Path("payload.bin")});
  ASSERT_EQ(r.status, 0) << r.err;
  r = Run({"--device", device, "--trace", "ndef", "read", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  const std::vector<std::string> expected = {"04 27", "04 15", "16 27"};
  EXPECT_EQ(FastReads(r.err), expected) << r.err;
  std::string hex;
  for (int i = 0; i < 100; ++i) hex += "10";
  EXPECT_EQ(r.Json()["records"][0]["payload"], hex) << r.out;
}

TEST_F(Cli, NdefReadOfAnNtagReadsFortyPagesAtATime) {
  Result r = Run({"--sim-card", "ntag216:04112233445566", "--trace", "ndef", "read"});
  ASSERT_EQ(r.status, 0) << r.err;
  // The data area, pages 4 to 221, in the least reads that fit within their
  // deadline at 19200 bit/s when no byte is escaped.
  const std::vector<std::string> expected = {"04 2B", "2C 53", "54 7B", "7C A3", "A4 CB", "CC DD"};
  EXPECT_EQ(FastReads(r.err), expected) << r.err;
}
