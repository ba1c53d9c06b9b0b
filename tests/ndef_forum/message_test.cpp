// SPDX-License-Identifier: MIT
#include "ndef/forum/message.h"

#include <gtest/gtest.h>

#include "bytes.h"
#include "ndef/forum/records.h"

namespace orvex {
namespace ndef {
namespace {

using testing::B;
using testing::S;
Bytes Cat(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST(NdefMessage, ShortTextRecordBytes) {
  Bytes encoded = Encode({MakeText({"hello", "en", false})});
  EXPECT_EQ(encoded, Cat(B({0xD1, 0x01, 0x08, 'T', 0x02, 'e', 'n'}), S("hello")));
  Message m = Decode(encoded);
  ASSERT_EQ(m.size(), 1u);
  Text t;
  ASSERT_TRUE(ParseText(m[0], t));
  EXPECT_EQ(t.text, "hello");
  EXPECT_EQ(t.lang, "en");
  EXPECT_FALSE(t.utf16);
}

TEST(NdefMessage, LongRecordHasAFourByteLength) {
  Record r{Tnf::kMedia, S("application/octet-stream"), {}, Bytes(300, 0xAB)};
  Bytes encoded = Encode({r});
  ASSERT_GE(encoded.size(), 6u);
  EXPECT_EQ(encoded[0], 0xC2);  // MB ME, no SR, TNF 2
  EXPECT_EQ(Bytes(encoded.begin() + 2, encoded.begin() + 6), B({0x00, 0x00, 0x01, 0x2C}));
  EXPECT_EQ(Decode(encoded), Message{r});
}

TEST(NdefMessage, TwoFiftyFiveBytePayloadIsLongAndTwoFiftyFiveIsNot) {
  EXPECT_EQ(Encode({Record{Tnf::kUnknown, {}, {}, Bytes(255, 1)}})[0], 0xD5);
  EXPECT_EQ(Encode({Record{Tnf::kUnknown, {}, {}, Bytes(256, 1)}})[0], 0xC5);
}

TEST(NdefMessage, IdFieldAndFlagsOfSeveralRecords) {
  Message m{Record{Tnf::kWellKnown, S("U"), S("id1"), B({0x04, 'a'})}, MakeText({"x", "de", false}),
            MakeUri("tel:123")};
  Bytes e = Encode(m);
  EXPECT_EQ(Bytes(e.begin(), e.begin() + 8), B({0x99, 0x01, 0x02, 0x03, 'U', 'i', 'd', '1'}));
  Message back = Decode(e);
  EXPECT_EQ(back, m);
  EXPECT_EQ(e[10], 0x11);  // middle record: neither MB nor ME
}

TEST(NdefMessage, ChunkedRecordsAreJoined) {
  Bytes e = Cat(Cat(B({0xB1, 0x01, 0x03, 'T', 0x02, 'e', 'n'}), B({0x36, 0x00, 0x02, 'h', 'e'})),
                B({0x56, 0x00, 0x03, 'l', 'l', 'o'}));
  Message m = Decode(e);
  ASSERT_EQ(m.size(), 1u);
  Text t;
  ASSERT_TRUE(ParseText(m[0], t));
  EXPECT_EQ(t.text, "hello");
}

TEST(NdefMessage, BadChunksAreRefused) {
  // A middle chunk with a type; an ME inside chunks; TNF 6 alone.
  EXPECT_THROW(Decode(B({0xB1, 0x01, 0x01, 'T', 0x02, 0x56, 0x01, 0x01, 'T', 'x'})), Error);
  EXPECT_THROW(Decode(B({0xF1, 0x01, 0x01, 'T', 0x02})), Error);
  EXPECT_THROW(Decode(B({0xD6, 0x00, 0x00})), Error);
  EXPECT_THROW(Decode(B({0xB1, 0x01, 0x01, 'T', 0x02})), Error);  // message ends inside
}

TEST(NdefMessage, StrictRulesAndTheirRelaxation) {
  Bytes no_me = B({0x91, 0x01, 0x01, 'U', 0x00});
  EXPECT_THROW(Decode(no_me), Error);
  EXPECT_EQ(Decode(no_me, Strictness::kRelaxed).size(), 1u);
  Bytes trailing = B({0xD1, 0x01, 0x01, 'U', 0x00, 0x00});
  EXPECT_THROW(Decode(trailing), Error);
  EXPECT_EQ(Decode(trailing, Strictness::kRelaxed).size(), 1u);
  Bytes no_mb = B({0x51, 0x01, 0x01, 'U', 0x00});
  EXPECT_THROW(Decode(no_mb), Error);
  EXPECT_NO_THROW(Decode(no_mb, Strictness::kRelaxed));
  Bytes reserved = B({0xD7, 0x00, 0x00});
  EXPECT_THROW(Decode(reserved), Error);
  EXPECT_EQ(Decode(reserved, Strictness::kRelaxed)[0].tnf, Tnf::kReserved);
  EXPECT_THROW(Decode(B({0xD0, 0x01, 0x00, 'x'})), Error);  // empty record with a type
  EXPECT_THROW(Decode(Bytes{}), Error);
}

TEST(NdefMessage, EveryTruncationIsAnErrorNeverARead) {
  Bytes e = Encode({MakeUri("https://a.example"), Record{Tnf::kExternal, S("a.b:c"), S("i"), Bytes(300, 7)}});
  const size_t first_record = Encode({MakeUri("https://a.example")}).size();
  for (size_t n = 0; n < e.size(); ++n) {
    Bytes cut(e.begin(), e.begin() + static_cast<long>(n));
    EXPECT_THROW(Decode(cut.data(), cut.size()), Error) << n;
    // Relaxed, a cut right after the first record leaves that record.
    if (n != first_record) {
      EXPECT_THROW(Decode(cut.data(), cut.size(), Strictness::kRelaxed), Error) << n;
    }
  }
  // A length that claims 4 GB is refused without allocating it.
  EXPECT_THROW(Decode(B({0xC5, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 1, 2})), Error);
}

TEST(NdefMessage, ErrorsCarryTheRecordOffset) {
  Bytes e = Cat(B({0x91, 0x01, 0x01, 'U', 0x00}), B({0x51, 0x01, 0x05, 'U', 0x00}));
  try {
    Decode(e);
    FAIL();
  } catch (const Error& err) {
    EXPECT_EQ(err.offset(), 5u);
  }
}

TEST(NdefMessage, EncodingRefusesWhatCannotBeEncoded) {
  EXPECT_THROW(Encode({}), Error);
  EXPECT_THROW(Encode({Record{Tnf::kUnchanged, {}, {}, {}}}), Error);
  EXPECT_THROW(Encode({Record{Tnf::kMedia, Bytes(256, 'a'), {}, {}}}), Error);
  EXPECT_THROW(Encode({Record{Tnf::kEmpty, {}, {}, B({1})}}), Error);
  EXPECT_THROW(Encode({Record{Tnf::kWellKnown, {}, {}, B({1})}}), Error);
  EXPECT_EQ(Encode({Record{}}), B({0xD0, 0x00, 0x00}));
}

TEST(NdefRecords, TextInUtf16RoundTripsAndReadsEitherByteOrder) {
  Text in{"gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80", "de", true};
  Record r = MakeText(in);
  EXPECT_EQ(r.payload[0], 0x82);
  EXPECT_EQ(Bytes(r.payload.begin() + 3, r.payload.begin() + 5), B({0x00, 'g'}));
  Text out;
  ASSERT_TRUE(ParseText(r, out));
  EXPECT_EQ(out.text, in.text);
  EXPECT_TRUE(out.utf16);
  Record le{Tnf::kWellKnown, S("T"), {}, B({0x82, 'e', 'n', 0xFF, 0xFE, 'h', 0, 'i', 0})};
  ASSERT_TRUE(ParseText(le, out));
  EXPECT_EQ(out.text, "hi");
  Record odd{Tnf::kWellKnown, S("T"), {}, B({0x82, 'e', 'n', 0x00})};
  EXPECT_FALSE(ParseText(odd, out));
  EXPECT_EQ(out.text, "hi");  // untouched
}

TEST(NdefRecords, TextRefusesBadLanguagesAndBadUtf8) {
  EXPECT_THROW(MakeText({"x", "", false}), Error);
  EXPECT_THROW(MakeText({"x", std::string(64, 'a'), false}), Error);
  EXPECT_THROW(MakeText({"\xC3", "en", false}), Error);
  EXPECT_NO_THROW(MakeText({"x", std::string(63, 'a'), false}));
}

TEST(NdefRecords, EveryUriPrefixRoundTrips) {
  for (int code = 1; code <= 0x23; ++code) {
    std::string uri = std::string(UriPrefix(static_cast<uint8_t>(code))) + "rest";
    Record r = MakeUri(uri);
    std::string back;
    ASSERT_TRUE(ParseUri(r, back));
    EXPECT_EQ(back, uri);
    // The longest prefix wins: "urn:epc:id:" over "urn:epc:" over "urn:".
    EXPECT_EQ(r.payload[0], code) << uri;
  }
  EXPECT_EQ(UriPrefix(0x24), nullptr);
  Record geo = MakeUri("geo:47.1,8.5");
  EXPECT_EQ(geo.payload, Cat(B({0x00}), S("geo:47.1,8.5")));
  std::string back;
  EXPECT_FALSE(ParseUri(Record{Tnf::kWellKnown, S("U"), {}, B({0x24, 'x'})}, back));
}

TEST(NdefRecords, SmartPosterWithEveryPart) {
  SmartPoster sp;
  sp.uri = "https://example.com";
  sp.titles = {{"Hello", "en", false}, {"Hallo", "de", false}};
  sp.action = 1;
  sp.size = 70000;
  sp.type = "text/html";
  sp.icon = std::make_pair(std::string("image/png"), B({0x89, 'P', 'N', 'G'}));
  sp.other = {Record{Tnf::kExternal, S("x.org:y"), {}, B({1})}};
  Record r = MakeSmartPoster(sp);
  Message decoded = Decode(Encode({r}));
  SmartPoster back;
  ASSERT_TRUE(ParseSmartPoster(decoded[0], back));
  EXPECT_EQ(back.uri, sp.uri);
  ASSERT_EQ(back.titles.size(), 2u);
  EXPECT_EQ(back.titles[1].text, "Hallo");
  EXPECT_EQ(back.action, std::optional<uint8_t>(1));
  EXPECT_EQ(back.size, std::optional<uint32_t>(70000));
  EXPECT_EQ(back.type, "text/html");
  ASSERT_TRUE(back.icon.has_value());
  EXPECT_EQ(back.icon->second, B({0x89, 'P', 'N', 'G'}));
  EXPECT_EQ(back.other, sp.other);
  EXPECT_EQ(Describe(r),
            "smart poster \"https://example.com\", title \"Hello\" (en), title \"Hallo\" (de), action save, "
            "size 70000, type \"text/html\", icon \"image/png\" of 4 bytes, with [external type \"x.org:y\", 1 "
            "byte: 01]");
}

TEST(NdefRecords, WifiCredentialRoundTripsAndDescribes) {
  Wifi w;
  w.ssid = "home";
  w.key = "secret pass";
  Record r = MakeWifi(w);
  EXPECT_EQ(r.TypeText(), "application/vnd.wfa.wsc");
  // Version attribute first, then the credential.
  EXPECT_EQ(Bytes(r.payload.begin(), r.payload.begin() + 9), B({0x10, 0x4A, 0x00, 0x01, 0x10, 0x10, 0x0E, 0x00, 0x32}));
  Wifi back;
  ASSERT_TRUE(ParseWifi(r, back));
  EXPECT_EQ(back.ssid, "home");
  EXPECT_EQ(back.key, "secret pass");
  EXPECT_EQ(back.auth, 0x0020);
  EXPECT_EQ(back.encryption, 0x0008);
  EXPECT_EQ(Describe(r), "wifi ssid \"home\", WPA2-Personal, AES, key \"secret pass\"");
  Record cut = r;
  cut.payload.resize(cut.payload.size() - 1);
  EXPECT_FALSE(ParseWifi(cut, back));
  EXPECT_THROW(MakeWifi(Wifi{}), Error);
}

TEST(NdefRecords, MimeExternalAndAndroidRecords) {
  Record v = MakeMime("text/vcard", S("BEGIN:VCARD\nEND:VCARD\n"));
  EXPECT_EQ(v.tnf, Tnf::kMedia);
  EXPECT_EQ(Describe(v), "mime \"text/vcard\", 22 bytes: \"BEGIN:VCARD\\nEND:VCARD\\n\"");
  EXPECT_THROW(MakeMime("vcard", {}), Error);
  EXPECT_THROW(MakeExternal("nocolon", {}), Error);
  Record aar = MakeAndroidApp("com.example.app");
  EXPECT_EQ(Encode({aar}), Cat(B({0xD4, 0x0F, 0x0F}), Cat(S("android.com:pkg"), S("com.example.app"))));
  EXPECT_EQ(Describe(aar), "android application \"com.example.app\"");
}

TEST(NdefRecords, UnknownTypesAreKeptAndShownAsBytes) {
  Bytes e = B({0xD5, 0x00, 0x02, 0xCA, 0xFE});
  Message m = Decode(e);
  EXPECT_EQ(Encode(m), e);
  EXPECT_EQ(Describe(m[0]), "unknown type, 2 bytes: CAFE");
  Record wk{Tnf::kWellKnown, S("Hr"), S("7"), B({0x12})};
  EXPECT_EQ(Describe(wk), "well-known type \"Hr\", 1 byte: 12, id \"7\"");
  EXPECT_EQ(Describe(Record{Tnf::kAbsoluteUri, S("urn:x"), {}, {}}), "absolute-uri type \"urn:x\", 0 bytes");
}

TEST(NdefRecords, ControlCharactersFromATagAreEscaped) {
  Record r = MakeText({"\x1b[2J\x07ok\xC2\x9B" "1m\x7F", "en", false});
  EXPECT_EQ(Describe(r), "text \"\\x1B[2J\\x07ok\\u009B1m\\x7F\" (en)");
  Record bad{Tnf::kWellKnown, S("T"), {}, B({0x02, 'e', 'n', 0xFF, 'a'})};
  EXPECT_EQ(Describe(bad), "text \"\\xFFa\" (en)");
}

}  // namespace
}  // namespace ndef
}  // namespace orvex
