// SPDX-License-Identifier: MIT
// orvex ndef: NFC Forum messages on NTAG, MIFARE Classic and ISO 15693 tags
// of the simulated reader, written so that nothing is lost.
#include "cli_support.h"

namespace clitest {
namespace {

constexpr const char* kNtag = "ntag213:04112233445566";
constexpr const char* kNtagName = "NTAG213 04112233445566";

class Ndef : public Cli {
 protected:
  // A factory-fresh tag's memory image (the simulator's, saved).
  std::string FreshNtag(const std::string& card = kNtag) {
    std::string path = Path("fresh.img");
    Result r = Run({"--sim-card", card, "--sim-save", path, "ndef", "read"});
    EXPECT_EQ(r.status, 0) << r.err;
    return path;
  }
  // The tag image after writing the given records to image (saved to out).
  Result WriteTo(const std::string& image, const std::string& out, std::vector<std::string> args) {
    std::vector<std::string> all = {"--sim-load", image, "--sim-save", out, "ndef", "write"};
    all.insert(all.end(), args.begin(), args.end());
    return Run(all);
  }
  Result ReadFrom(const std::string& image, std::vector<std::string> extra = {}) {
    std::vector<std::string> all = {"--sim-load", image, "ndef", "read"};
    all.insert(all.end(), extra.begin(), extra.end());
    return Run(all);
  }
};

std::string Hex(const std::string& bytes) {
  static const char* d = "0123456789ABCDEF";
  std::string s;
  for (unsigned char c : bytes) s += {d[c >> 4], d[c & 15]};
  return s;
}

TEST_F(Ndef, WrittenRecordsReadBackWithTheirTypes) {
  std::string fresh = FreshNtag();
  Result r = WriteTo(fresh, Path("tag.img"),
                     {"--text", "hello", "--uri", "https://example.com/x", "--text", "Gr\xC3\xBC\xC3\x9F" "e",
                      "--lang", "de", "--uri", "geo:47.37,8.54"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, std::string("wrote 4 NDEF record(s) in 63 bytes to the ") + kNtagName +
                       " (63 of 142 bytes), read back and checked (simulated reader)\n");
  r = ReadFrom(Path("tag.img"));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, std::string(kNtagName) +
                       ": NDEF message of 63 bytes, 4 record(s)\n"
                       "record 1: text \"hello\" (de)\n"
                       "record 2: uri \"https://example.com/x\"\n"
                       "record 3: text \"Gr\xC3\xBC\xC3\x9F" "e\" (de)\n"
                       "record 4: uri \"geo:47.37,8.54\"\n");
  r = ReadFrom(Path("tag.img"), {"--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  auto j = r.Json();
  EXPECT_EQ(j["tag"], "NTAG213");
  EXPECT_EQ(j["uid"], "04112233445566");
  ASSERT_EQ(j["records"].size(), 4u);
  EXPECT_EQ(j["records"][1]["kind"], "uri");
  EXPECT_EQ(j["records"][1]["payload"], Hex(std::string("\x04") + "example.com/x"));
  EXPECT_EQ(j["records"][3]["payload"], Hex(std::string("\x00", 1) + "geo:47.37,8.54"));
  EXPECT_EQ(j["records"][2]["lang"], "de");
}

// A message of 255 bytes or more takes the 3-byte TLV length, and a phone
// (any NFC Forum reader) finds it where it belongs: page 4 on.
TEST_F(Ndef, LongMessagesGetTheThreeByteLength) {
  std::string fresh = FreshNtag("ntag215:04112233445566");
  for (size_t text : {247u, 248u, 249u, 400u}) {  // messages of 254, 255, 256 and 410 bytes
    const size_t message = text <= 252 ? text + 7 : text + 10;
    Result r = WriteTo(fresh, Path("tag.img"), {"--text", std::string(text, 'a')});
    ASSERT_EQ(r.status, 0) << r.err;
    std::string image = Slurp(Path("tag.img"));
    ASSERT_EQ(image.size(), 540u);
    if (message < 255) {
      EXPECT_EQ(Hex(image.substr(16, 2)), "03" + Hex(std::string(1, static_cast<char>(message))));
    } else {
      EXPECT_EQ(Hex(image.substr(16, 4)),
                "03FF" + Hex(std::string{static_cast<char>(message >> 8), static_cast<char>(message & 0xFF)}));
    }
    r = ReadFrom(Path("tag.img"), {"--json"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.Json()["records"][0]["text"], std::string(text, 'a'));
  }
}

TEST_F(Ndef, TheWholeCapacityFitsAndOneByteMoreIsRefusedUntouched) {
  std::string fresh = FreshNtag();
  Result r = WriteTo(fresh, Path("old.img"), {"--text", "keep me"});
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string old_image = Slurp(Path("old.img"));
  // 142 bytes: the area of 144 less the 2-byte TLV header (no terminator).
  r = WriteTo(Path("old.img"), Path("full.img"), {"--text", std::string(135, 'f')});
  ASSERT_EQ(r.status, 0) << r.err;
  r = ReadFrom(Path("full.img"), {"--json"});
  EXPECT_EQ(r.Json()["records"][0]["text"], std::string(135, 'f'));
  r = WriteTo(Path("old.img"), Path("after.img"), {"--text", std::string(136, 'f')});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, std::string("orvex: writing the NDEF message to the ") + kNtagName +
                       ": the message is 143 bytes; this tag takes at most 142 (nothing was written)\n");
  EXPECT_EQ(Slurp(Path("after.img")), old_image);
}

// The simulator takes the tag away right after its k-th write, for every
// k: what the tag holds afterwards is the old message or an empty one, and
// the error says so.
TEST_F(Ndef, ATagTakenAwayAfterAnyPageHoldsTheOldOrAnEmptyMessage) {
  std::string fresh = FreshNtag();
  Result r = WriteTo(fresh, Path("old.img"), {"--text", "the old message"});
  ASSERT_EQ(r.status, 0) << r.err;
  const std::vector<std::string> args = {"--text", std::string(100, 'n'), "--uri", "https://example.com/new"};
  // How many pages the whole write takes.
  std::vector<std::string> counted = {"--sim-load", Path("old.img"), "--json", "ndef", "write"};
  counted.insert(counted.end(), args.begin(), args.end());
  r = Run(counted);
  ASSERT_EQ(r.status, 0) << r.err;
  const int pages = r.Json()["units_written"];
  ASSERT_GT(pages, 30);
  for (int k = 1; k < pages; ++k) {
    std::vector<std::string> run = {"--sim-load", Path("old.img"), "--sim-save", Path("cut.img"),
                                    "--sim-leave-after", std::to_string(k), "ndef", "write"};
    run.insert(run.end(), args.begin(), args.end());
    r = Run(run);
    EXPECT_EQ(r.status, 1) << k;
    EXPECT_NE(r.err.find(": the tag left the field; the tag holds "), std::string::npos) << k << r.err;
    Result read = ReadFrom(Path("cut.img"));
    ASSERT_EQ(read.status, 0) << k << read.err;
    EXPECT_TRUE(read.out == std::string(kNtagName) + ": the NDEF message is empty\n" ||
                read.out.find("record 1: text \"the old message\" (en)\n") != std::string::npos)
        << "left after page write " << k << ": " << read.out;
  }
}

TEST_F(Ndef, AMessageLaidOutByAnotherWriterIsReadAndRewrittenAroundItsControlTlv) {
  std::string image = Slurp(FreshNtag());
  // A Lock Control TLV first, then a text record "hi" and a terminator.
  const std::string area = std::string("\x01\x03\xA0\x10\x44", 5) + "\x03\x09\xD1\x01\x05T\x02" "enhi\xFE";
  image.replace(16, area.size(), area);
  Write(Path("other.img"), image);
  Result r = ReadFrom(Path("other.img"));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, std::string(kNtagName) + ": NDEF message of 9 bytes, 1 record(s)\nrecord 1: text \"hi\" (en)\n");
  r = WriteTo(Path("other.img"), Path("new.img"), {"--text", std::string(260, 'x')});
  ASSERT_EQ(r.status, 1);  // 270 bytes do not fit an NTAG213
  r = WriteTo(Path("other.img"), Path("new.img"), {"--uri", "https://example.org"});
  ASSERT_EQ(r.status, 0) << r.err;
  std::string after = Slurp(Path("new.img"));
  EXPECT_EQ(after.substr(16, 5), area.substr(0, 5));  // the control TLV stays
  r = ReadFrom(Path("new.img"));
  EXPECT_EQ(r.out, std::string(kNtagName) +
                       ": NDEF message of 16 bytes, 1 record(s)\nrecord 1: uri \"https://example.org\"\n");
}

TEST_F(Ndef, EraseLeavesAnEmptyMessage) {
  std::string fresh = FreshNtag();
  ASSERT_EQ(WriteTo(fresh, Path("tag.img"), {"--text", "x"}).status, 0);
  Result r = Run({"--sim-load", Path("tag.img"), "--sim-save", Path("erased.img"), "ndef", "erase"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, std::string("erased the NDEF message of the ") + kNtagName +
                       " (0 of 142 bytes), read back and checked (simulated reader)\n");
  EXPECT_EQ(Hex(Slurp(Path("erased.img")).substr(16, 3)), "0300FE");
}

TEST_F(Ndef, ControlCharactersFromATagAreEscaped) {
  std::string fresh = FreshNtag();
  ASSERT_EQ(WriteTo(fresh, Path("tag.img"), {"--text", "\x1b]0;owned\x07\x1b[2J"}).status, 0);
  Result r = ReadFrom(Path("tag.img"));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.find('\x1b'), std::string::npos);
  EXPECT_NE(r.out.find("text \"\\x1B]0;owned\\x07\\x1B[2J\" (en)"), std::string::npos) << r.out;
}

TEST_F(Ndef, FormatPreparesABlankNtagOnlyWithYes) {
  std::string image = Slurp(FreshNtag());
  image.replace(12, 8, std::string(8, '\0'));  // no capability container, no message
  Write(Path("blank.img"), image);
  Result r = ReadFrom(Path("blank.img"));
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("is not formatted for NDEF (capability container 00000000); orvex ndef format"),
            std::string::npos)
      << r.err;
  r = Run({"--sim-load", Path("blank.img"), "--sim-save", Path("still.img"), "ndef", "format"});
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out, "page 3 (capability container, one-time programmable): E1101200\n"
                   "page 4 (an empty NDEF message): 0300FE00\n");
  EXPECT_EQ(Slurp(Path("still.img")), image);
  r = Run({"--sim-load", Path("blank.img"), "--sim-save", Path("formatted.img"), "ndef", "format", "--yes"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("formatted the NTAG213 04112233445566 for NDEF (144 bytes) (simulated reader)\n"),
            std::string::npos);
  r = ReadFrom(Path("formatted.img"));
  EXPECT_EQ(r.out, std::string(kNtagName) + ": the NDEF message is empty\n");
  r = Run({"--sim-load", Path("formatted.img"), "ndef", "format", "--yes"});
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("already formatted for NDEF; orvex ndef erase empties its message"), std::string::npos);
}

// ---- MIFARE Classic ------------------------------------------------------------

TEST_F(Ndef, MifareClassicFormattedWrittenAndReadWithASecretKeyB) {
  Result r = Run({"--sim-card", "mfc1k:11223344", "--sim-save", Path("fmt.mfd"), "ndef", "format", "--yes",
                  "--key", "0102030405A6"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "sector 0 (directory) trailer: A0A1A2A3A4A5787788C10102030405A6\n"
            "NDEF sector trailers: D3F7D3F7D3F77F0788400102030405A6\n"
            "formatted the MIFARE Classic 1K 11223344 for NDEF (15 NDEF sectors, key B 0102030405A6) "
            "(simulated reader)\n");
  // The default key B does not open the sectors: refused before any write.
  const std::string formatted = Slurp(Path("fmt.mfd"));
  r = Run({"--sim-load", Path("fmt.mfd"), "--sim-save", Path("no.mfd"), "ndef", "write", "-t", "x"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: the MIFARE Classic 1K 11223344 cannot be written: key B FFFFFFFFFFFF does not open "
                   "sector 1 (give the tag's key B with --key); nothing was written\n");
  EXPECT_EQ(Slurp(Path("no.mfd")), formatted);
  r = Run({"--sim-load", Path("fmt.mfd"), "--sim-save", Path("card.mfd"), "ndef", "write", "-t",
           std::string(600, 'm'), "--smartposter", "https://example.com", "--title", "Example", "--key",
           "0102030405A6"});
  ASSERT_EQ(r.status, 0) << r.err;
  // Read with the public key A alone.
  r = Run({"--sim-load", Path("card.mfd"), "ndef", "read"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("record 2: smart poster \"https://example.com\", title \"Example\" (en)\n"),
            std::string::npos)
      << r.out;
  // The message's TLV starts at block 4 byte 0, its length in 3 bytes.
  std::string image = Slurp(Path("card.mfd"));
  EXPECT_EQ(Hex(image.substr(64, 2)), "03FF");
}

// A 4K card: the second directory in sector 16, which the message skips.
TEST_F(Ndef, MifareClassic4KMessageAcrossTheSecondDirectory) {
  Result r = Run({"--sim-card", "mfc4k:44332211", "--sim-save", Path("fmt.mfd"), "ndef", "format", "--yes"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("sector 0 and 16 (directory) trailer: A0A1A2A3A4A5787788C2FFFFFFFFFFFF\n"),
            std::string::npos)
      << r.out;
  EXPECT_NE(r.out.find("(38 NDEF sectors, key B FFFFFFFFFFFF)"), std::string::npos) << r.out;
  r = Run({"--sim-load", Path("fmt.mfd"), "--sim-save", Path("card.mfd"), "ndef", "write", "--text",
           std::string(1000, 'k')});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("(1010 of 3356 bytes)"), std::string::npos) << r.out;
  r = Run({"--sim-load", Path("card.mfd"), "ndef", "read", "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.Json()["records"][0]["text"], std::string(1000, 'k'));
  // Sector 16 still holds the directory; the message goes on in sector 17.
  std::string image = Slurp(Path("card.mfd"));
  ASSERT_EQ(image.size(), 4096u);
  EXPECT_EQ(Hex(image.substr(64 * 16 + 2, 2)), "03E1");
  EXPECT_EQ(image.substr(68 * 16, 16), std::string(16, 'k'));
}

TEST_F(Ndef, MifareClassicWithTheTlvBehindNullsAsAnotherWriterLeavesIt) {
  ASSERT_EQ(Run({"--sim-card", "mfc1k:11223344", "--sim-save", Path("fmt.mfd"), "ndef", "format", "--yes"}).status,
            0);
  std::string image = Slurp(Path("fmt.mfd"));
  const std::string tlv = std::string("\x00\x00\x03\x0A\xD1\x01\x06U\x04" "a.org\xFE", 15);
  image.replace(64, tlv.size(), tlv);
  Write(Path("other.mfd"), image);
  Result r = Run({"--sim-load", Path("other.mfd"), "ndef", "read"});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "MIFARE Classic 1K 11223344: NDEF message of 10 bytes, 1 record(s)\n"
                   "record 1: uri \"https://a.org\"\n");
}

TEST_F(Ndef, MifareClassicTakenAwayAfterAnyBlockHoldsTheOldOrAnEmptyMessage) {
  ASSERT_EQ(Run({"--sim-card", "mfc1k:11223344", "--sim-save", Path("fmt.mfd"), "ndef", "format", "--yes"}).status,
            0);
  ASSERT_EQ(Run({"--sim-load", Path("fmt.mfd"), "--sim-save", Path("old.mfd"), "ndef", "write", "-t", "old"}).status,
            0);
  Result all = Run({"--sim-load", Path("old.mfd"), "--json", "ndef", "write", "-t", std::string(90, 'n')});
  ASSERT_EQ(all.status, 0) << all.err;
  const int blocks = all.Json()["units_written"];
  ASSERT_GE(blocks, 7);
  for (int k = 1; k < blocks; ++k) {
    Result r = Run({"--sim-load", Path("old.mfd"), "--sim-save", Path("cut.mfd"), "--sim-leave-after",
                    std::to_string(k), "ndef", "write", "-t", std::string(90, 'n')});
    EXPECT_EQ(r.status, 1) << k;
    EXPECT_NE(r.err.find("left the field"), std::string::npos) << r.err;
    Result read = Run({"--sim-load", Path("cut.mfd"), "ndef", "read"});
    ASSERT_EQ(read.status, 0) << read.err;
    EXPECT_TRUE(read.out == "MIFARE Classic 1K 11223344: the NDEF message is empty\n" ||
                read.out.find("text \"old\"") != std::string::npos)
        << k << ": " << read.out;
  }
}

TEST_F(Ndef, MifareClassicWhoseAccessBitsDenyKeyBIsNotWritten) {
  ASSERT_EQ(Run({"--sim-card", "mfc1k:11223344", "--sim-save", Path("fmt.mfd"), "ndef", "format", "--yes"}).status,
            0);
  // Sector 2's data blocks: read with A or B, never written (C1C2C3 010).
  std::string image = Slurp(Path("fmt.mfd"));
  image.replace(11 * 16 + 6, 3, std::string("\x0F\x07\x8F", 3));
  Write(Path("locked.mfd"), image);
  Result r = Run({"--sim-load", Path("locked.mfd"), "--sim-save", Path("after.mfd"), "ndef", "write", "-t", "x"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: the MIFARE Classic 1K 11223344 cannot be written: the access bits of sector 2 (0F078F) "
                   "do not let key B write its data blocks; nothing was written\n");
  EXPECT_EQ(Slurp(Path("after.mfd")), image);
}

TEST_F(Ndef, MifareClassicInTransportConfigurationIsNotNdef) {
  // Transport configuration: no directory yet.
  Result r = Run({"--sim-card", "mfc1k:11223344", "ndef", "write", "-t", "x"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: the card 11223344 has no MIFARE application directory (sector 0 does not open with "
                   "the directory key A0A1A2A3A4A5): it is not formatted for NDEF; orvex ndef format prepares "
                   "it\n");
}

// ---- ISO 15693 -----------------------------------------------------------------

TEST_F(Ndef, Iso15693TagWithoutACapabilityContainerIsNotNdef) {
  Result r = Run({"--sim-card", "iso15693:E004010011223344", "ndef", "read"});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("the ISO 15693 tag E004010011223344 is not formatted for NDEF (capability container "
                       "00000000)"),
            std::string::npos)
      << r.err;
}

// ---- Without a tag -----------------------------------------------------------------

TEST_F(Ndef, EncodeAndDecodeEveryRecordKind) {
  Write(Path("card.vcf"), "BEGIN:VCARD\nVERSION:3.0\nFN:Ada\nEND:VCARD\n");
  Result r = Run({"ndef", "encode", "--text", "hi", "--uri", "https://example.com", "--smartposter",
                  "https://a.example", "--title", "A", "--vcard", Path("card.vcf"), "--wifi", "home", "--wifi-key",
                  "secret123", "--aar", "com.example.app", "--external", "example.com:t", "CAFE", "--mime",
                  "application/octet-stream", Path("card.vcf")});
  ASSERT_EQ(r.status, 0) << r.err;
  std::string hex = r.out.substr(0, r.out.size() - 1);
  EXPECT_EQ(hex.substr(0, 24), "9101055402656E686911010C");  // text "hi", then a URI record
  r = Run({"ndef", "decode", hex});
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "NDEF message of " + std::to_string(hex.size() / 2) + " bytes, 8 record(s)\n"
            "record 1: text \"hi\" (en)\n"
            "record 2: uri \"https://example.com\"\n"
            "record 3: smart poster \"https://a.example\", title \"A\" (en)\n"
            "record 4: mime \"text/vcard\", 41 bytes: \"BEGIN:VCARD\\nVERSION:3.0\\nFN:Ada\\nEND:VCARD\\n\"\n"
            "record 5: wifi ssid \"home\", WPA2-Personal, AES, key \"secret123\"\n"
            "record 6: android application \"com.example.app\"\n"
            "record 7: external type \"example.com:t\", 2 bytes: CAFE\n"
            "record 8: mime \"application/octet-stream\", 41 bytes: " +
                Hex("BEGIN:VCARD\nVERSION:3.0\nFN:Ada\nEND:VCARD\n") + "\n");
  r = Run({"ndef", "decode", hex, "--json"});
  auto recs = r.Json()["records"];
  EXPECT_EQ(recs[4]["kind"], "wifi");
  EXPECT_EQ(recs[4]["ssid"], "home");
  EXPECT_EQ(recs[5]["package"], "com.example.app");
  EXPECT_EQ(recs[2]["titles"][0]["text"], "A");
}

TEST_F(Ndef, StrictDecodingRefusesWhatRelaxedAccepts) {
  // A byte after the record with the message-end flag.
  Result r = Run({"ndef", "decode", "D10101550068"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: the NDEF message of 6 bytes is malformed: bytes after the record with the message-end "
                   "flag (ME) (at byte 5); --relaxed accepts common deviations\n");
  // No message-end flag on the only record.
  r = Run({"ndef", "decode", "9101015500"});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("no record carries the message-end flag (ME)"), std::string::npos) << r.err;
  r = Run({"ndef", "decode", "9101015500", "--relaxed"});
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "NDEF message of 5 bytes, 1 record(s)\nrecord 1: uri \"\"\n");
}

TEST_F(Ndef, UsageErrorsBeforeAnyReader) {
  struct Case {
    std::vector<std::string> args;
    std::string error;
  };
  Write(Path("card.vcf"), "x");
  const std::vector<Case> cases = {
      {{"ndef", "write"}, "give at least one record"},
      {{"ndef", "write", "--raw", "D1"}, "--raw: not a valid NDEF message: record cut off in its type length"},
      {{"ndef", "write", "--raw", "D10101550068", "-t", "x"}, "--raw gives the whole message"},
      {{"ndef", "write", "--wifi", "n", "--wifi-auth", "wpa3"}, "--wifi-auth: \"wpa3\" is not one of"},
      {{"ndef", "write", "--mime", "text/plain", Path("missing")}, "missing"},
      {{"ndef", "write", "--mime", "plain", Path("card.vcf")}, "\"plain\" is not a MIME type"},
      {{"ndef", "write", "-t", "x", "--lang", ""}, "language code"},
      {{"ndef", "write", "--external", "nocolon", "00"}, "not an external type"},
      {{"ndef", "write", "-t", "x", "--key", "0011"}, "--key: a MIFARE key has 12 hex digits"},
      {{"ndef", "write", "--vcard", Path("")}, "is a directory"},
      {{"ndef", "decode"}, "give the message in HEX or --file"},
      {{"ndef", "encode", "--text", std::string(70000, 'x')}, "a tag holds at most 65534"},
  };
  for (const auto& c : cases) {
    Result r = Run(c.args);
    EXPECT_EQ(r.status, 2) << c.error << ": " << r.err;
    EXPECT_NE(r.err.find(c.error), std::string::npos) << r.err;
  }
}

TEST_F(Ndef, NoTagOrTheWrongCardInWords) {
  Result r = Run({"--sim-empty", "ndef", "read"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: no NDEF tag in the field (looked for ISO 14443-A, ISO 15693 and Topaz tags)\n");
  r = Run({"--sim-card", "cpu:C1020304", "ndef", "write", "-t", "x"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "orvex: the card C1020304 (ISO 14443-4 (CPU card)) holds no NFC Forum NDEF area this tool reads\n");
}

}  // namespace
}  // namespace clitest
