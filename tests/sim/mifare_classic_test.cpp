// SPDX-License-Identifier: MIT
// The MIFARE Classic card model against the card's published behaviour: the
// access-condition tables and their byte encoding, the value-block format,
// the blank card's layout, key B that may be read, value operations, 4K
// sector geometry and the raw dump format.
#include <cstdio>
#include <fstream>

#include <gtest/gtest.h>

#include "orvexsim/card_kinds.h"
#include "orvexsim/mifare_classic.h"
#include "orvexsim/simulator.h"

using namespace orvexsim;
using mfc::Key;
using mfc::Op;

namespace {

const Bytes kTransport(6, 0xFF);

std::shared_ptr<MifareClassic> ActiveCard(MifareClassic::Size size = MifareClassic::Size::k1K) {
  auto c = std::make_shared<MifareClassic>(size, Bytes{0x11, 0x22, 0x33, 0x44});
  c->set_state(TypeACard::State::kActive);
  return c;
}

Bytes Trailer(const Bytes& key_a, std::array<uint8_t, 3> access, const Bytes& key_b) {
  Bytes t = key_a;
  t.insert(t.end(), access.begin(), access.end());
  t.push_back(0x69);
  t.insert(t.end(), key_b.begin(), key_b.end());
  return t;
}

}  // namespace

TEST(SimMifareClassic, DecodesPublishedAccessBytes) {
  // Transport configuration: data blocks 000, trailer 001.
  const uint8_t transport[] = {0xFF, 0x07, 0x80};
  auto a = mfc::DecodeAccess(transport);
  EXPECT_TRUE(a.valid);
  EXPECT_EQ((std::array<uint8_t, 4>{0, 0, 0, 1}), a.c);
  // The NFC Forum sector trailer: data blocks 000, trailer 011.
  const uint8_t nfc[] = {0x7F, 0x07, 0x88};
  EXPECT_EQ((std::array<uint8_t, 4>{0, 0, 0, 3}), mfc::DecodeAccess(nfc).c);
  // The MAD sector: data blocks 100, trailer 011.
  const uint8_t mad[] = {0x78, 0x77, 0x88};
  EXPECT_EQ((std::array<uint8_t, 4>{4, 4, 4, 3}), mfc::DecodeAccess(mad).c);
  // Value blocks 110 with trailer 011.
  EXPECT_EQ((std::array<uint8_t, 3>{0x08, 0x77, 0x8F}), mfc::EncodeAccess({6, 6, 6, 3}));
  EXPECT_EQ((std::array<uint8_t, 3>{0xFF, 0x07, 0x80}), mfc::EncodeAccess({0, 0, 0, 1}));
  // An inverted copy that disagrees.
  const uint8_t broken[] = {0xFF, 0x07, 0x81};
  EXPECT_FALSE(mfc::DecodeAccess(broken).valid);
}

TEST(SimMifareClassic, DataBlockAccessTable) {
  struct Row {
    uint8_t c;
    const char* read;
    const char* write;
    const char* inc;
    const char* dec;
  };
  // The card's table: which keys may read, write, increment, and
  // decrement/transfer/restore a data block, by C1 C2 C3.
  const Row rows[] = {{0, "AB", "AB", "AB", "AB"}, {2, "AB", "", "", ""},   {4, "AB", "B", "", ""},
                      {6, "AB", "B", "B", "AB"},   {1, "AB", "", "", "AB"}, {3, "B", "B", "", ""},
                      {5, "B", "", "", ""},        {7, "", "", "", ""}};
  auto keys = [](uint8_t c, Op op) {
    std::string s;
    if (mfc::DataAllows(c, op, Key::kA)) s += "A";
    if (mfc::DataAllows(c, op, Key::kB)) s += "B";
    return s;
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(int(r.c));
    EXPECT_EQ(r.read, keys(r.c, Op::kRead));
    EXPECT_EQ(r.write, keys(r.c, Op::kWrite));
    EXPECT_EQ(r.inc, keys(r.c, Op::kIncrement));
    EXPECT_EQ(r.dec, keys(r.c, Op::kDecrement));
  }
}

TEST(SimMifareClassic, TrailerAccessTable) {
  using P = mfc::TrailerPart;
  auto w = [](uint8_t c, P p) {
    std::string s;
    if (mfc::TrailerWriteAllowed(c, p, Key::kA)) s += "A";
    if (mfc::TrailerWriteAllowed(c, p, Key::kB)) s += "B";
    return s;
  };
  auto r = [](uint8_t c, P p) {
    std::string s;
    if (mfc::TrailerReadAllowed(c, p, Key::kA)) s += "A";
    if (mfc::TrailerReadAllowed(c, p, Key::kB)) s += "B";
    return s;
  };
  // Key A is never readable.
  for (uint8_t c = 0; c < 8; ++c) EXPECT_EQ("", r(c, P::kKeyA));
  // 001, the transport configuration: key A rules everything, key B readable.
  EXPECT_EQ("A", w(1, P::kKeyA));
  EXPECT_EQ("A", r(1, P::kAccessBits));
  EXPECT_EQ("A", w(1, P::kAccessBits));
  EXPECT_EQ("A", r(1, P::kKeyB));
  EXPECT_EQ("A", w(1, P::kKeyB));
  // 011: key B writes the keys and the access bits, both keys read the bits.
  EXPECT_EQ("B", w(3, P::kKeyA));
  EXPECT_EQ("AB", r(3, P::kAccessBits));
  EXPECT_EQ("B", w(3, P::kAccessBits));
  EXPECT_EQ("", r(3, P::kKeyB));
  EXPECT_EQ("B", w(3, P::kKeyB));
  // 110 and 111: nothing can be written any more.
  for (uint8_t c : {6, 7})
    for (P p : {P::kKeyA, P::kAccessBits, P::kKeyB}) EXPECT_EQ("", w(c, p));
  // Key B may be read under 000, 010 and 001 only.
  for (uint8_t c = 0; c < 8; ++c) EXPECT_EQ(c == 0 || c == 2 || c == 1, mfc::KeyBReadable(c)) << int(c);
}

TEST(SimMifareClassic, ValueBlockFormat) {
  EXPECT_EQ((Bytes{0x64, 0x00, 0x00, 0x00, 0x9B, 0xFF, 0xFF, 0xFF, 0x64, 0x00, 0x00, 0x00, 0x05, 0xFA,
                   0x05, 0xFA}),
            mfc::ValueBlock(100, 5));
  Bytes neg = mfc::ValueBlock(-2, 9);
  int32_t v = 0;
  uint8_t addr = 0;
  ASSERT_TRUE(mfc::ParseValueBlock(neg.data(), v, addr));
  EXPECT_EQ(-2, v);
  EXPECT_EQ(9, addr);
  neg[5] ^= 1;
  EXPECT_FALSE(mfc::ParseValueBlock(neg.data(), v, addr));
  Bytes zero(16, 0);
  EXPECT_FALSE(mfc::ParseValueBlock(zero.data(), v, addr));
}

TEST(SimMifareClassic, BlankCardLayout) {
  MifareClassic c(MifareClassic::Size::k1K, {0x11, 0x22, 0x33, 0x44});
  const Bytes& m = c.memory();
  ASSERT_EQ(1024u, m.size());
  EXPECT_EQ((Bytes{0x11, 0x22, 0x33, 0x44, 0x44, 0x08, 0x04, 0x00}), Slice(m, 0, 8));
  EXPECT_EQ(Trailer(kTransport, {0xFF, 0x07, 0x80}, kTransport), Slice(m, 16 * 63, 16));
  EXPECT_EQ(Bytes(16, 0), Slice(m, 16 * 1, 16));
  EXPECT_EQ(0x0004, c.atqa());
  EXPECT_EQ(0x08, c.sak());
  MifareClassic big(MifareClassic::Size::k4K, {0x11, 0x22, 0x33, 0x44});
  EXPECT_EQ(4096u, big.memory().size());
  EXPECT_EQ(0x0002, big.atqa());
  EXPECT_EQ(0x18, big.sak());
  MifareClassic seven(MifareClassic::Size::k1K, {1, 2, 3, 4, 5, 6, 7});
  EXPECT_EQ(0x0044, seven.atqa());
}

TEST(SimMifareClassic, FourKSectorGeometry) {
  EXPECT_EQ(31, MifareClassic::SectorOf(127));
  EXPECT_EQ(32, MifareClassic::SectorOf(128));
  EXPECT_EQ(36, MifareClassic::SectorOf(200));
  EXPECT_EQ(207, MifareClassic::TrailerOf(200));
  EXPECT_EQ(255, MifareClassic::TrailerOf(240));
  EXPECT_EQ(1, MifareClassic::GroupOf(200));  // blocks 5 to 9 of a big sector
  EXPECT_EQ(2, MifareClassic::GroupOf(128 + 14));
  EXPECT_EQ(3, MifareClassic::GroupOf(128 + 15));
  auto c = ActiveCard(MifareClassic::Size::k4K);
  EXPECT_EQ(status::kOk, c->Authenticate(Key::kA, 200, kTransport));
  Bytes b;
  EXPECT_EQ(status::kOk, c->Read(207, b));
  EXPECT_EQ((Bytes{0xFF, 0x07, 0x80, 0x69}), Slice(b, 6, 4));
}

TEST(SimMifareClassic, AuthenticationWithTheWrongKeyIdlesTheCard) {
  auto c = ActiveCard();
  EXPECT_EQ(status::kAuthFailed, c->Authenticate(Key::kA, 4, Bytes(6, 0x00)));
  EXPECT_EQ(TypeACard::State::kIdle, c->state());
  Bytes b;
  EXPECT_EQ(status::kNoCard, c->Read(4, b));
}

TEST(SimMifareClassic, ReadNeedsAnAuthenticationOfThatSector) {
  auto c = ActiveCard();
  Bytes b;
  EXPECT_EQ(status::kNotAuthenticated, c->Read(4, b));
  c->set_state(TypeACard::State::kActive);
  ASSERT_EQ(status::kOk, c->Authenticate(Key::kA, 4, kTransport));
  EXPECT_EQ(status::kOk, c->Read(5, b));
  EXPECT_EQ(status::kCardRefused, c->Read(8, b));  // sector 2 was not authenticated
}

TEST(SimMifareClassic, TrailerReadsBackWithKeyAHidden) {
  auto c = ActiveCard();
  ASSERT_EQ(status::kOk, c->Authenticate(Key::kA, 7, kTransport));
  Bytes b;
  ASSERT_EQ(status::kOk, c->Read(7, b));
  // Under 001 key A reads the access bits and key B.
  EXPECT_EQ(Trailer(Bytes(6, 0), {0xFF, 0x07, 0x80}, kTransport), b);
}

TEST(SimMifareClassic, ReadableKeyBAuthenticatesButEveryAccessIsRefused) {
  auto c = ActiveCard();
  // Transport configuration: key B may be read, so it is no key.
  EXPECT_EQ(status::kOk, c->Authenticate(Key::kB, 4, kTransport));
  Bytes b;
  EXPECT_EQ(status::kCardRefused, c->Read(4, b));
  EXPECT_EQ(TypeACard::State::kIdle, c->state());
  c->set_state(TypeACard::State::kActive);
  EXPECT_EQ(status::kOk, c->Authenticate(Key::kB, 4, kTransport));
  EXPECT_EQ(status::kCardRefused, c->Write(4, Bytes(16, 0xAB)));
  EXPECT_EQ(Bytes(16, 0), Slice(c->memory(), 64, 16));
}

TEST(SimMifareClassic, KeyBServesOnceTheTrailerHidesIt) {
  auto c = ActiveCard();
  const Bytes key_b = {1, 2, 3, 4, 5, 6};
  ASSERT_EQ(status::kOk, c->Authenticate(Key::kA, 7, kTransport));
  ASSERT_EQ(status::kOk, c->Write(7, Trailer(kTransport, {0x7F, 0x07, 0x88}, key_b)));
  EXPECT_EQ(status::kAuthFailed, c->Authenticate(Key::kB, 4, kTransport));
  c->set_state(TypeACard::State::kActive);
  ASSERT_EQ(status::kOk, c->Authenticate(Key::kB, 4, key_b));
  EXPECT_EQ(status::kOk, c->Write(4, Bytes(16, 0x5A)));
  Bytes b;
  EXPECT_EQ(status::kOk, c->Read(4, b));
  EXPECT_EQ(Bytes(16, 0x5A), b);
  // Under 011 key A may no longer change the trailer.
  ASSERT_EQ(status::kOk, c->Authenticate(Key::kA, 7, kTransport));
  EXPECT_EQ(status::kCardRefused, c->Write(7, Trailer(kTransport, {0xFF, 0x07, 0x80}, kTransport)));
}

TEST(SimMifareClassic, TrailerPartsChangeOnlyWhereAllowed) {
  auto c = ActiveCard();
  ASSERT_EQ(status::kOk, c->Authenticate(Key::kA, 7, kTransport));
  // 100 for the trailer: only key B writes the keys, nobody the access bits.
  ASSERT_EQ(status::kOk, c->Write(7, Trailer(kTransport, mfc::EncodeAccess({0, 0, 0, 4}), kTransport)));
  c->set_state(TypeACard::State::kActive);
  ASSERT_EQ(status::kOk, c->Authenticate(Key::kB, 7, kTransport));
  const Bytes key_a = {9, 9, 9, 9, 9, 9};
  ASSERT_EQ(status::kOk, c->Write(7, Trailer(key_a, {0xFF, 0x07, 0x80}, kTransport)));
  EXPECT_EQ(key_a, Slice(c->memory(), 7 * 16, 6));
  auto bits = mfc::EncodeAccess({0, 0, 0, 4});
  EXPECT_EQ(Bytes(bits.begin(), bits.end()), Slice(c->memory(), 7 * 16 + 6, 3));
}

TEST(SimMifareClassic, ManufacturerBlockIsReadOnly) {
  auto c = ActiveCard();
  ASSERT_EQ(status::kOk, c->Authenticate(Key::kA, 0, kTransport));
  EXPECT_EQ(status::kCardRefused, c->Write(0, Bytes(16, 0)));
  auto magic = ActiveCard();
  magic->set_block0_writable(true);
  ASSERT_EQ(status::kOk, magic->Authenticate(Key::kA, 0, kTransport));
  EXPECT_EQ(status::kCardRefused, magic->Write(0, Bytes(16, 0)));
  magic->set_state(TypeACard::State::kActive);
  ASSERT_EQ(status::kOk, magic->Authenticate(Key::kA, 0, kTransport));
  EXPECT_EQ(status::kOk, magic->Write(0, Bytes(16, 0x01), true));
}

TEST(SimMifareClassic, TheUidChangeableKindTakesOrdinaryBlock0Writes) {
  std::string error;
  auto card = std::dynamic_pointer_cast<MifareClassic>(MakeCard("mfc1k-uid:A2B3C4D5", 0, error));
  ASSERT_TRUE(card) << error;
  EXPECT_EQ("mfc1k-uid", card->kind());
  EXPECT_EQ(0x08, card->sak());
  card->set_state(TypeACard::State::kActive);
  ASSERT_EQ(status::kOk, card->Authenticate(Key::kA, 0, kTransport));
  // UID 01020304, its check byte 04, SAK 08, ATQA 0004, maker data.
  const Bytes block0 = {0x01, 0x02, 0x03, 0x04, 0x04, 0x08, 0x04, 0x00, 1, 2, 3, 4, 5, 6, 7, 8};
  ASSERT_EQ(status::kOk, card->Write(0, block0));
  EXPECT_EQ(block0, Slice(card->memory(), 0, 16));
  EXPECT_EQ((Bytes{0x01, 0x02, 0x03, 0x04}), card->uid());
  // The ordinary kind refuses the same write and keeps its UID.
  auto plain = std::dynamic_pointer_cast<MifareClassic>(MakeCard("mfc1k:A2B3C4D5", 0, error));
  ASSERT_TRUE(plain) << error;
  plain->set_state(TypeACard::State::kActive);
  ASSERT_EQ(status::kOk, plain->Authenticate(Key::kA, 0, kTransport));
  EXPECT_EQ(status::kCardRefused, plain->Write(0, block0));
  EXPECT_EQ((Bytes{0xA2, 0xB3, 0xC4, 0xD5}), plain->uid());
  EXPECT_FALSE(MakeCard("mfc1k-uid:01020304050607", 0, error));
  EXPECT_EQ("mfc1k-uid needs an id of 4 bytes in hex", error);
}

TEST(SimMifareClassic, ValueOperationsGoThroughTheRegister) {
  auto c = ActiveCard();
  ASSERT_EQ(status::kOk, c->Authenticate(Key::kA, 4, kTransport));
  ASSERT_EQ(status::kOk, c->Write(4, mfc::ValueBlock(100, 4)));
  // Increment alone changes nothing until the transfer.
  ASSERT_EQ(status::kOk, c->Increment(4, 50));
  EXPECT_EQ(mfc::ValueBlock(100, 4), Slice(c->memory(), 64, 16));
  ASSERT_EQ(status::kOk, c->Transfer(4));
  EXPECT_EQ(mfc::ValueBlock(150, 4), Slice(c->memory(), 64, 16));
  ASSERT_EQ(status::kOk, c->Decrement(4, 200));
  ASSERT_EQ(status::kOk, c->Transfer(4));
  EXPECT_EQ(mfc::ValueBlock(-50, 4), Slice(c->memory(), 64, 16));
  // Restore and transfer copy a value block, address byte included.
  ASSERT_EQ(status::kOk, c->Restore(4));
  ASSERT_EQ(status::kOk, c->Transfer(5));
  EXPECT_EQ(mfc::ValueBlock(-50, 4), Slice(c->memory(), 80, 16));
  // A transfer needs the register loaded just before.
  EXPECT_EQ(status::kWrongState, c->Transfer(5));
}

TEST(SimMifareClassic, ValueOperationsFollowTheAccessConditions) {
  auto c = ActiveCard();
  ASSERT_EQ(status::kOk, c->Authenticate(Key::kA, 4, kTransport));
  ASSERT_EQ(status::kOk, c->Write(4, mfc::ValueBlock(10, 4)));
  ASSERT_EQ(status::kOk, c->Write(5, Bytes(16, 0x00)));
  // Block 4: 001 (decrement only), block 5: 000, trailer 001 stays.
  ASSERT_EQ(status::kOk, c->Write(7, Trailer(kTransport, mfc::EncodeAccess({1, 0, 0, 1}), kTransport)));
  EXPECT_EQ(status::kCardRefused, c->Increment(4, 1));
  c->set_state(TypeACard::State::kActive);
  ASSERT_EQ(status::kOk, c->Authenticate(Key::kA, 4, kTransport));
  EXPECT_EQ(status::kOk, c->Decrement(4, 1));
  EXPECT_EQ(status::kOk, c->Transfer(4));
  // A block that is not in the value format.
  EXPECT_EQ(status::kNotValueBlock, c->Decrement(5, 1));
}

TEST(SimMifareClassic, DumpRoundTrip) {
  std::string error;
  EXPECT_EQ(nullptr, MifareClassic::FromDump(Bytes(500, 0), error));
  EXPECT_NE(std::string::npos, error.find("1024 or 4096"));

  MifareClassic c(MifareClassic::Size::k4K, {0xDE, 0xAD, 0xBE, 0xEF});
  c.memory()[16 * 9 + 3] = 0x77;
  std::string path = ::testing::TempDir() + "/sim_card.mfd";
  ASSERT_TRUE(c.SaveMfd(path, error)) << error;
  auto back = MifareClassic::LoadMfd(path, error);
  ASSERT_NE(nullptr, back) << error;
  EXPECT_EQ(c.memory(), back->memory());
  EXPECT_EQ((Bytes{0xDE, 0xAD, 0xBE, 0xEF}), back->uid());
  EXPECT_EQ("mfc4k", back->kind());
  std::remove(path.c_str());

  MifareClassic seven(MifareClassic::Size::k1K, {1, 2, 3, 4, 5, 6, 7});
  auto back7 = MifareClassic::FromDump(seven.memory(), error);
  ASSERT_NE(nullptr, back7);
  EXPECT_EQ((Bytes{1, 2, 3, 4, 5, 6, 7}), back7->uid());
}
