// SPDX-License-Identifier: MIT
// MIFARE Classic access conditions (decoding, encoding, validation and the
// self-locking check) and dumps (the .mfd, .eml and .json files, the hex
// listing, value blocks).
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <sstream>

#include "atomic_file.h"
#include "hex_text.h"
#include "key_list.h"
#include "text_lines.h"
#include "mifare_access.h"
#include "mifare_dump.h"

namespace {

using namespace orvexformats;

TEST(HexText, TypedHexReadsWithOrWithoutSeparators) {
  std::vector<uint8_t> out;
  ASSERT_TRUE(ParseHexBytes("04:a1:B2", out));
  EXPECT_EQ(out, (std::vector<uint8_t>{0x04, 0xA1, 0xB2}));
  ASSERT_TRUE(ParseHexBytes("00 A4\t04-00\r", out));
  EXPECT_EQ(out, (std::vector<uint8_t>{0x00, 0xA4, 0x04, 0x00}));
  ASSERT_TRUE(ParseHexBytes("0 4", out));  // a separator may fall between a byte's digits
  EXPECT_EQ(out, std::vector<uint8_t>{0x04});
  ASSERT_TRUE(ParseHexBytes("", out));
  EXPECT_TRUE(out.empty());
}

TEST(HexText, WhatIsNotTypedHexIsRefusedAndNamedOnOneLine) {
  std::vector<uint8_t> out{0x55};
  std::string why;
  EXPECT_FALSE(ParseHexBytes("00G4", out, &why));
  EXPECT_EQ(why, "'G' is not a hex digit");
  EXPECT_FALSE(ParseHexBytes("00A4\n04", out, &why));
  EXPECT_EQ(why, "'\\n' is not a hex digit");
  EXPECT_FALSE(ParseHexBytes(std::string("0\x01", 2), out, &why));
  EXPECT_EQ(why, "'\\x01' is not a hex digit");
  EXPECT_FALSE(ParseHexBytes("\xE9", out, &why));
  EXPECT_EQ(why, "'\\xE9' is not a hex digit");
  HexRefusal refusal = HexRefusal::kNone;
  EXPECT_FALSE(ParseHexBytes("ABC", out, &why, &refusal));
  EXPECT_EQ(why, "odd number of hex digits");
  EXPECT_EQ(refusal, HexRefusal::kOddDigits);
  EXPECT_FALSE(ParseHexBytes("AB-C!", out, nullptr, &refusal));
  EXPECT_EQ(refusal, HexRefusal::kNotADigit);
  EXPECT_EQ(Printable(std::string("a\tb\n\x7F\"")), "a\\tb\\n\\x7F\"");
  EXPECT_FALSE(ParseHexBytes("0x12", out));
  // Refused: the output is as it was.
  EXPECT_EQ(out, std::vector<uint8_t>{0x55});
  EXPECT_EQ(HexText(out.data(), out.size()), "55");
}

TEST(KeyList, KeysInOrderEachOnceCommentsAndBlankLinesSkipped) {
  std::vector<ClassicKey> keys{ClassicKey{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}};
  const int lines = ParseKeyList("# mine\r\nA0A1A2A3A4A5\r\n\n  d3:f7:d3:f7:d3:f7 # another\n"
                                 "ffffffffffff\nA0 A1 A2 A3 A4 A5",
                                 keys);
  EXPECT_EQ(lines, 4);
  ASSERT_EQ(keys.size(), 3u);
  EXPECT_EQ(keys[1], (ClassicKey{0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5}));
  EXPECT_EQ(keys[2], (ClassicKey{0xD3, 0xF7, 0xD3, 0xF7, 0xD3, 0xF7}));
  std::vector<ClassicKey> none;
  EXPECT_EQ(ParseKeyList("# nothing\n\n", none), 0);
  EXPECT_TRUE(none.empty());
}

TEST(TextLines, ContentLinesAreTheLinesThatHoldSomething) {
  const auto lines = ContentLines("# head\n\n  \t\r\n112233 # psc\r\nAABB\n#\nCC");
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].number, 4);
  EXPECT_EQ(lines[0].text, "112233 ");
  EXPECT_EQ(lines[1].number, 5);
  EXPECT_EQ(lines[1].text, "AABB");
  EXPECT_EQ(lines[2].number, 7);
  EXPECT_EQ(lines[2].text, "CC");
  EXPECT_TRUE(ContentLines("").empty());
}

TEST(KeyList, ALineThatIsNotAKeyIsNamedAndNothingIsAdded) {
  std::vector<ClassicKey> keys;
  struct Case {
    std::string text;
    int line;
    std::string why;
  };
  for (const Case& c : {Case{"A0A1A2A3A4A5\nA0A1A2A3A4\n", 2, "a key has 12 hex digits"},
                        Case{"\n\nA0A1A2A3A4A5A6\n", 3, "a key has 12 hex digits"},
                        Case{"A0A1A2A3A4A5\nzzA1A2A3A4A5\n", 2, "\"zzA1A2A3A4A5\" is not hexadecimal"},
                        Case{"A0A1A2\tA3A4A\x01\n", 1, "\"A0A1A2\\tA3A4A\\x01\" is not hexadecimal"}}) {
    try {
      ParseKeyList(c.text, keys);
      ADD_FAILURE() << c.text;
    } catch (const KeyListError& e) {
      EXPECT_EQ(e.line, c.line) << c.text;
      EXPECT_EQ(std::string(e.what()), c.why) << c.text;
    }
    EXPECT_TRUE(keys.empty()) << c.text;
  }
}

TEST(MifareAccess, TransportConfiguration) {
  const uint8_t b[3] = {0xFF, 0x07, 0x80};
  Access a;
  ASSERT_TRUE(DecodeAccess(b, a));
  EXPECT_EQ(0, a.c[0]);
  EXPECT_EQ(0, a.c[1]);
  EXPECT_EQ(0, a.c[2]);
  EXPECT_EQ(1, a.c[3]);
  EXPECT_TRUE(SelfLocking(a).empty());
  EXPECT_EQ("A|B", DataBlockRights(a.c[0]).write);
  EXPECT_EQ("A", TrailerBlockRights(a.c[3]).write_access);
}

TEST(MifareAccess, EveryPatternRoundTrips) {
  for (int g0 = 0; g0 < 8; ++g0)
    for (int t = 0; t < 8; ++t) {
      Access a;
      a.c[0] = g0;
      a.c[1] = (g0 + 3) & 7;
      a.c[2] = (g0 + 5) & 7;
      a.c[3] = t;
      uint8_t b[3];
      EncodeAccess(a, b);
      Access back;
      ASSERT_TRUE(DecodeAccess(b, back));
      for (int i = 0; i < 4; ++i) EXPECT_EQ(a.c[i], back.c[i]);
    }
}

TEST(MifareAccess, AnyFlippedBitIsInvalid) {
  const uint8_t good[3] = {0xFF, 0x07, 0x80};
  for (int byte = 0; byte < 3; ++byte)
    for (int bit = 0; bit < 8; ++bit) {
      uint8_t b[3] = {good[0], good[1], good[2]};
      b[byte] ^= static_cast<uint8_t>(1 << bit);
      Access a;
      EXPECT_FALSE(DecodeAccess(b, a)) << byte << ":" << bit;
    }
}

TEST(MifareAccess, SelfLockingTrailers) {
  const uint8_t all_never[3] = {0x00, 0xF0, 0xFF};  // C1C2C3 111 everywhere
  Access a;
  ASSERT_TRUE(DecodeAccess(all_never, a));
  auto why = SelfLocking(a);
  ASSERT_EQ(6u, why.size());
  EXPECT_EQ("key A can never be changed again", why[0]);
  EXPECT_EQ("data block group 2 becomes read-only", why[5]);
  // Key B writes everything (trailer 011, data 100): nothing irreversible.
  Access b;
  b.c[0] = b.c[1] = b.c[2] = 4;
  b.c[3] = 3;
  EXPECT_TRUE(SelfLocking(b).empty());
}

}  // namespace

// ---- MIFARE Classic dumps ------------------------------------------------------

namespace {

using namespace orvexformats;

std::vector<uint8_t> Bytes(const std::string& s) { return std::vector<uint8_t>(s.begin(), s.end()); }

// A 1K dump as the tool makes one: every block known, block 5 a value
// block, sector 3 with its own keys.
ClassicDump Known1K() {
  ClassicDump d = ClassicDump::Unknown(64);
  for (int b = 0; b < 64; ++b) {
    uint8_t block[16];
    for (int i = 0; i < 16; ++i) block[i] = static_cast<uint8_t>(b * 16 + i);
    if (IsTrailer(b)) {
      const uint8_t t[16] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x07, 0x80, 0x69,
                             0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
      std::copy(t, t + 16, block);
      if (b == 15)
        for (int i = 0; i < 6; ++i) block[i] = static_cast<uint8_t>(0xA0 + i), block[10 + i] = static_cast<uint8_t>(0xB0 + i);
    }
    d.Set(b, 0, block, 16);
  }
  EncodeValueBlock({100, 5}, d.block(5));
  d.uid = {0x11, 0x22, 0x33, 0x44};
  d.atqa = 0x0004;
  d.sak = 0x08;
  return d;
}

// The same with sector 2 not opened and key B of sector 3 not found.
ClassicDump Partial1K() {
  ClassicDump d = Known1K();
  for (int b = 8; b < 12; ++b)
    for (int i = 0; i < 16; ++i) {
      d.known[static_cast<size_t>(16 * b + i)] = false;
      d.data[static_cast<size_t>(16 * b + i)] = 0;
    }
  for (int i = 10; i < 16; ++i) {
    d.known[static_cast<size_t>(16 * 15 + i)] = false;
    d.data[static_cast<size_t>(16 * 15 + i)] = 0;
  }
  return d;
}

void ExpectSameBlocks(const ClassicDump& a, const ClassicDump& b) {
  EXPECT_EQ(a.blocks, b.blocks);
  EXPECT_EQ(a.data, b.data);
  EXPECT_EQ(a.known, b.known);
}

TEST(MifareDump, FormatsByNameAndWord) {
  EXPECT_EQ(DumpFormat::kEml, FormatOfName("card.eml"));
  EXPECT_EQ(DumpFormat::kJson, FormatOfName("/tmp/Card.JSON"));
  EXPECT_EQ(DumpFormat::kMfd, FormatOfName("card.mfd"));
  EXPECT_EQ(DumpFormat::kMfd, FormatOfName("card.bin"));
  DumpFormat f;
  ASSERT_TRUE(FormatOfWord("hex", f));
  EXPECT_EQ(DumpFormat::kHex, f);
  EXPECT_FALSE(FormatOfWord("mfc", f));
}

TEST(MifareDump, FormatNamedOnlyByItsThreeNames) {
  DumpFormat f = DumpFormat::kHex;
  ASSERT_TRUE(FormatNamed("card.MFD", f));
  EXPECT_EQ(DumpFormat::kMfd, f);
  ASSERT_TRUE(FormatNamed("/tmp/x.eml", f));
  EXPECT_EQ(DumpFormat::kEml, f);
  ASSERT_TRUE(FormatNamed("a.Json", f));
  EXPECT_EQ(DumpFormat::kJson, f);
  f = DumpFormat::kHex;
  EXPECT_FALSE(FormatNamed("card.bin", f));
  EXPECT_FALSE(FormatNamed("card", f));
  EXPECT_FALSE(FormatNamed("mfd", f));
  EXPECT_FALSE(FormatNamed("card.hex", f));
  EXPECT_EQ(DumpFormat::kHex, f);  // untouched when false
}

TEST(MifareDump, EveryFormatRoundTripsAPartialDump) {
  const ClassicDump d = Partial1K();
  EXPECT_EQ((std::vector<int>{8, 9, 10, 11}), d.UnknownBlocks());
  EXPECT_TRUE(d.KeyKnown(3, false));
  EXPECT_FALSE(d.KeyKnown(3, true));
  const std::string record = ToKeyRecord(d);
  ExpectSameBlocks(d, ParseDump(ToMfd(d), DumpFormat::kMfd, &record));
  ExpectSameBlocks(d, ParseDump(Bytes(ToEml(d)), DumpFormat::kEml, nullptr));
  const ClassicDump j = ParseDump(Bytes(ToJson(d)), DumpFormat::kJson, nullptr);
  ExpectSameBlocks(d, j);
  EXPECT_EQ(d.uid, j.uid);
  EXPECT_EQ(0x0004, j.atqa);
  EXPECT_EQ(0x08, j.sak);
}

TEST(MifareDump, TheKeyRecordSaysWhatWasNotRead) {
  const ClassicDump d = Partial1K();
  const std::string record = ToKeyRecord(d);
  EXPECT_NE(record.find("\n2 - -\n"), std::string::npos) << record;
  EXPECT_NE(record.find("\n3 A0A1A2A3A4A5 -\n"), std::string::npos) << record;
  EXPECT_NE(record.find("\nunknown 8 9 10 11\n"), std::string::npos) << record;
  // Without a record, a key of zeros is one that was not found.
  const ClassicDump bare = ParseDump(ToMfd(d), DumpFormat::kMfd, nullptr);
  EXPECT_FALSE(bare.KeyKnown(3, true));
  EXPECT_TRUE(bare.KeyKnown(3, false));
  EXPECT_TRUE(bare.BlockKnown(9));  // zeros, and nothing says they are not data
}

// A .mfd whose record says blocks or keys were not read: whatever bytes the
// file holds there, the dump knows them as zeros (as .eml and .json say).
TEST(MifareDump, BytesTheRecordCallsUnknownReadAsZeros) {
  std::vector<uint8_t> mfd(1024, 0xAB);
  const std::string record = "0 - FFFFFFFFFFFF\nunknown 1 2\n";
  const ClassicDump d = ParseDump(mfd, DumpFormat::kMfd, &record);
  EXPECT_FALSE(d.KeyKnown(0, false));
  EXPECT_FALSE(d.BlockKnown(1));
  for (int i = 0; i < 16; ++i) EXPECT_EQ(d.block(1)[i], 0) << i;
  for (int i = 0; i < 6; ++i) EXPECT_EQ(d.block(3)[i], 0) << i;
  EXPECT_EQ(d.block(3)[10], 0xAB);  // key B, known
  EXPECT_EQ(d.block(4)[0], 0xAB);
}

TEST(MifareDump, EmlMarksUnknownBytes) {
  const std::string eml = ToEml(Partial1K());
  std::vector<std::string> lines;
  std::istringstream in(eml);
  for (std::string l; std::getline(in, l);) lines.push_back(l);
  ASSERT_EQ(64u, lines.size());
  EXPECT_EQ(std::string(32, '-'), lines[9]);
  EXPECT_EQ("A0A1A2A3A4A5FF078069------------", lines[15]);
  EXPECT_EQ("64000000", lines[5].substr(0, 8));
  // Lower case and a CRLF line end are read as well.
  std::string lower = eml;
  std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
  ExpectSameBlocks(Partial1K(), ParseDump(Bytes(lower), DumpFormat::kEml, nullptr));
}

TEST(MifareDump, MalformedFilesSayWhere) {
  auto error = [](const std::string& text, DumpFormat f) {
    try {
      ParseDump(Bytes(text), f, nullptr);
    } catch (const DumpError& e) {
      return std::string(e.what());
    }
    return std::string("no error");
  };
  std::string eml = ToEml(Known1K());
  EXPECT_EQ("it holds 63 blocks; a MIFARE Classic dump holds 64 (1K) or 256 (4K)",
            error(eml.substr(eml.find('\n') + 1), DumpFormat::kEml));
  std::string bad = eml;
  bad.replace(33 * 2 + 4, 2, "zz");  // line 3, byte 2
  EXPECT_EQ("line 3: byte 2 is \"zz\", neither two hex digits nor \"--\"", error(bad, DumpFormat::kEml));
  bad = eml;
  bad.erase(33, 1);  // line 2 one digit short
  EXPECT_EQ(0u, error(bad, DumpFormat::kEml).find("line 2: a block is 32 hex digits"));
  EXPECT_EQ("a MIFARE Classic dump holds 1024 or 4096 bytes, not 100", error(std::string(100, 'x'), DumpFormat::kMfd));
  EXPECT_EQ(0u, error("{\"blocks\": [", DumpFormat::kJson).find("not JSON: "));
  EXPECT_EQ("a JSON dump is an object with a \"blocks\" array", error("[1, 2]", DumpFormat::kJson));
  // A key that disagrees with its trailer.
  std::string json = ToJson(Known1K());
  json.replace(json.find("A0A1A2A3A4A5\""), 12, "A0A1A2A3A4A6");
  EXPECT_EQ(0u, error(json, DumpFormat::kJson).find("sector 3 key_a A0A1A2A3A4A6 differs from block 15"));
  std::string record = "0 FFFFFFFFFFFF\n";
  try {
    ParseDump(ToMfd(Known1K()), DumpFormat::kMfd, &record);
    ADD_FAILURE() << "no error";
  } catch (const DumpError& e) {
    EXPECT_STREQ("key record: cannot read \"0 FFFFFFFFFFFF\"", e.what());
  }
}

TEST(MifareDump, JsonHoldsKeysAndAccessInWords) {
  const std::string json = ToJson(Partial1K());
  EXPECT_NE(json.find("\"uid\": \"11223344\""), std::string::npos) << json;
  EXPECT_NE(json.find("\"atqa\": \"0004\""), std::string::npos);
  EXPECT_NE(json.find("\"sak\": \"08\""), std::string::npos);
  EXPECT_NE(json.find("\"type\": \"MIFARE Classic 1K\""), std::string::npos);
  EXPECT_NE(json.find("\"key_b\": null"), std::string::npos);
  EXPECT_NE(json.find("\"access_bits\": \"FF0780\""), std::string::npos);
  EXPECT_NE(json.find("trailer (C1C2C3 001): write key A A"), std::string::npos) << json;
}

TEST(MifareDump, ListingShowsSectorsBytesAndText) {
  const std::string l = ToListing(Partial1K());
  EXPECT_EQ(0u, l.find("MIFARE Classic 1K 11223344, 64 blocks (-- a byte that could not be read)\n"
                       "sector 0: key A FFFFFFFFFFFF, key B FFFFFFFFFFFF\n"
                       "  0  00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F  |................|\n"));
  EXPECT_NE(l.find("\n  4  40 41 42 43 44 45 46 47 48 49 4A 4B 4C 4D 4E 4F  |@ABCDEFGHIJKLMNO|\n"), std::string::npos) << l;
  EXPECT_NE(l.find("\nsector 2: key A unknown, key B unknown\n  8  -- -- -- -- -- -- -- -- -- -- -- -- -- -- -- --  |                |\n"),
            std::string::npos) << l;
  EXPECT_NE(l.find("\nsector 3: key A A0A1A2A3A4A5, key B unknown\n"), std::string::npos) << l;
}

TEST(MifareDump, ValueBlocks) {
  uint8_t b[16];
  EncodeValueBlock({-50, 0x05}, b);
  const uint8_t expected[16] = {0xCE, 0xFF, 0xFF, 0xFF, 0x31, 0x00, 0x00, 0x00,
                                0xCE, 0xFF, 0xFF, 0xFF, 0x05, 0xFA, 0x05, 0xFA};
  EXPECT_TRUE(std::equal(b, b + 16, expected));
  ValueBlock v;
  EXPECT_EQ("", DecodeValueBlock(b, v));
  EXPECT_EQ(-50, v.value);
  EXPECT_EQ(0x05, v.address);
  uint8_t c[16];
  std::copy(b, b + 16, c);
  c[5] ^= 1;
  EXPECT_EQ("bytes 4 to 7 are not the inverse of the value in bytes 0 to 3", DecodeValueBlock(c, v));
  std::copy(b, b + 16, c);
  c[9] ^= 1;
  EXPECT_EQ("bytes 8 to 11 do not repeat the value in bytes 0 to 3", DecodeValueBlock(c, v));
  std::copy(b, b + 16, c);
  c[15] = 0x05;
  EXPECT_EQ("bytes 12 to 15 are not an address byte, its inverse, the address, its inverse", DecodeValueBlock(c, v));
  const uint8_t zeros[16] = {};
  EXPECT_NE("", DecodeValueBlock(zeros, v));
}

}  // namespace

// ---- files written whole ------------------------------------------------------

namespace {

std::string TempDir() {
  char dir[] = "/tmp/orvex-atomic.XXXXXX";
  return mkdtemp(dir) ? dir : "";
}

std::string Contents(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

std::vector<std::string> Names(const std::string& dir) {
  std::vector<std::string> names;
  if (DIR* d = opendir(dir.c_str())) {
    while (dirent* e = readdir(d))
      if (e->d_name[0] != '.') names.emplace_back(e->d_name);
    closedir(d);
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

TEST(AtomicFile, ReplacesTheFileWholeWithItsModeAndLeavesNoTemporaryFile) {
  const std::string dir = TempDir(), path = dir + "/card.mfd";
  ASSERT_FALSE(dir.empty());
  { std::ofstream(path) << "old"; }
  const uint8_t data[] = {'n', 'e', 'w', 0, 1};
  {
    orvexformats::AtomicFile f(path, 0600);
    ASSERT_TRUE(f.ok()) << f.error();
    EXPECT_EQ(Contents(path), "old");  // nothing changes before Commit
    EXPECT_EQ(Names(dir).size(), 2u);  // the file and the temporary one beside it
    ASSERT_TRUE(f.Commit(data, sizeof data)) << f.error();
    EXPECT_FALSE(f.Commit(data, sizeof data));  // once only
    EXPECT_EQ(f.error(), "cannot write it (already written)");
  }
  EXPECT_EQ(Contents(path), std::string("new\0\1", 5));
  struct stat st;
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
  EXPECT_EQ(Names(dir), std::vector<std::string>{"card.mfd"});
  unlink(path.c_str());
  rmdir(dir.c_str());
}

TEST(AtomicFile, NotCommittedLeavesThePreviousFileAndNoTemporaryFile) {
  const std::string dir = TempDir(), path = dir + "/card.mfd";
  ASSERT_FALSE(dir.empty());
  { std::ofstream(path) << "old"; }
  { orvexformats::AtomicFile f(path, 0600); ASSERT_TRUE(f.ok()); }
  EXPECT_EQ(Contents(path), "old");
  EXPECT_EQ(Names(dir), std::vector<std::string>{"card.mfd"});

  orvexformats::AtomicFile none(dir + "/no/such/dir/card.mfd", 0600);
  EXPECT_FALSE(none.ok());
  EXPECT_EQ(none.error(), "cannot be written (No such file or directory)");
  const uint8_t byte = 0;
  EXPECT_FALSE(none.Commit(&byte, 1));
  EXPECT_EQ(none.error(), "cannot be written (No such file or directory)");
  unlink(path.c_str());
  rmdir(dir.c_str());
}
