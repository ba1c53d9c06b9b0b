// SPDX-License-Identifier: MIT
// The NTAG21x model against the published facts (GET_VERSION bytes, memory
// sizes, capability containers, the UID check bytes, READ rolling over,
// AUTH0/PROT/AUTHLIM, the NFC counter), and the tag through the reader's
// commands (Ultralight-type block commands, the 0xC0 sub-functions).
#include <gtest/gtest.h>

#include "orvexsim/ntag.h"
#include "orvexsim/simulator.h"
#include "orvexsim/topaz.h"

using namespace orvexsim;

namespace {

const Bytes kUid = {0x04, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66};

std::shared_ptr<Ntag> Active(Ntag::Model m = Ntag::Model::k215) {
  auto t = std::make_shared<Ntag>(m, kUid);
  t->set_state(TypeACard::State::kActive);
  return t;
}

}  // namespace

TEST(SimNtag, GetVersionAndSizes) {
  struct Row {
    Ntag::Model m;
    uint8_t storage;
    int pages;
    int user;
    uint8_t cc;
  } rows[] = {{Ntag::Model::k213, 0x0F, 45, 144, 0x12},
              {Ntag::Model::k215, 0x11, 135, 504, 0x3E},
              {Ntag::Model::k216, 0x13, 231, 888, 0x6D}};
  for (const Row& r : rows) {
    auto t = Active(r.m);
    EXPECT_EQ((Bytes{0x00, 0x04, 0x04, 0x02, 0x01, 0x00, r.storage, 0x03}), t->Transceive({0x60}).value());
    EXPECT_EQ(r.pages, t->pages());
    EXPECT_EQ(static_cast<size_t>(r.pages) * 4, t->memory().size());
    EXPECT_EQ(r.user, t->user_bytes());
    EXPECT_EQ((Bytes{0xE1, 0x10, r.cc, 0x00}), Slice(t->memory(), 12, 4));
  }
}

TEST(SimNtag, UidPagesCarryTheirCheckBytes) {
  auto t = Active();
  auto p = t->Transceive({0x30, 0x00}).value();
  EXPECT_EQ((Bytes{0x04, 0x11, 0x22, 0x88 ^ 0x04 ^ 0x11 ^ 0x22}), Slice(p, 0, 4));
  EXPECT_EQ((Bytes{0x33, 0x44, 0x55, 0x66}), Slice(p, 4, 4));
  EXPECT_EQ(0x33 ^ 0x44 ^ 0x55 ^ 0x66, p[8]);
  // A factory tag holds an empty NDEF message.
  EXPECT_EQ((Bytes{0x03, 0x00, 0xFE, 0x00}), Slice(t->Transceive({0x30, 0x04}).value(), 0, 4));
  EXPECT_EQ(0x0044, t->atqa());
  EXPECT_EQ(0x00, t->sak());
}

TEST(SimNtag, ReadRollsOverAndHidesThePassword) {
  auto t = Active();
  auto p = t->Transceive({0x30, 133}).value();  // PWD, PACK, then pages 0 and 1
  EXPECT_EQ(Bytes(8, 0x00), Slice(p, 0, 8));
  EXPECT_EQ(Slice(t->memory(), 0, 8), Slice(p, 8, 8));
  EXPECT_FALSE(t->Transceive({0x30, 135}).has_value());
}

TEST(SimNtag, FastReadGivesTheRange) {
  auto t = Active();
  auto r = t->Transceive({0x3A, 4, 54}).value();
  EXPECT_EQ(204u, r.size());
  EXPECT_FALSE(t->Transceive({0x3A, 130, 135}).has_value());
  EXPECT_FALSE(t->Transceive({0x3A, 5, 4}).has_value());
}

TEST(SimNtag, WriteAndCompatibilityWrite) {
  auto t = Active();
  EXPECT_EQ((Bytes{Ntag::kAck}), t->Transceive({0xA2, 5, 1, 2, 3, 4}).value());
  EXPECT_EQ((Bytes{1, 2, 3, 4}), Slice(t->Transceive({0x30, 5}).value(), 0, 4));
  Bytes compat = {0xA0, 6};
  for (int i = 0; i < 16; ++i) compat.push_back(static_cast<uint8_t>(0x10 + i));
  EXPECT_TRUE(t->Transceive(compat).has_value());
  EXPECT_EQ((Bytes{0x10, 0x11, 0x12, 0x13, 0, 0, 0, 0}), Slice(t->Transceive({0x30, 6}).value(), 0, 8));
  EXPECT_FALSE(t->Transceive({0xA2, 0, 1, 2, 3, 4}).has_value());    // UID page
  EXPECT_FALSE(t->Transceive({0xA2, 135, 1, 2, 3, 4}).has_value());  // past the end
}

TEST(SimNtag, StaticLockBitsLockPages) {
  auto t = Active();
  // Lock byte 0 bit 4 locks page 4; the lock bits only ever get set.
  ASSERT_TRUE(t->Transceive({0xA2, 2, 0, 0, 0x10, 0x00}).has_value());
  EXPECT_FALSE(t->Transceive({0xA2, 4, 9, 9, 9, 9}).has_value());
  ASSERT_TRUE(t->Transceive({0xA2, 2, 0, 0, 0x00, 0x00}).has_value());
  EXPECT_EQ(0x10, t->memory()[10]);
  EXPECT_TRUE(t->Transceive({0xA2, 5, 9, 9, 9, 9}).has_value());
  // The capability container is one-time programmable.
  ASSERT_TRUE(t->Transceive({0xA2, 3, 0x00, 0x00, 0x00, 0x0F}).has_value());
  EXPECT_EQ((Bytes{0xE1, 0x10, 0x3E, 0x0F}), Slice(t->memory(), 12, 4));
}

TEST(SimNtag, PasswordProtection) {
  auto t = Active(Ntag::Model::k213);
  // PWD 11 22 33 44, PACK AB CD, AUTH0 page 4, PROT (reads too), AUTHLIM 1.
  ASSERT_TRUE(t->Transceive({0xA2, 43, 0x11, 0x22, 0x33, 0x44}).has_value());
  ASSERT_TRUE(t->Transceive({0xA2, 44, 0xAB, 0xCD, 0, 0}).has_value());
  ASSERT_TRUE(t->Transceive({0xA2, 42, 0x81, 0x05, 0, 0}).has_value());
  ASSERT_TRUE(t->Transceive({0xA2, 41, 0x04, 0x00, 0x00, 0x04}).has_value());
  EXPECT_FALSE(t->Transceive({0x30, 4}).has_value());
  EXPECT_FALSE(t->Transceive({0xA2, 4, 1, 1, 1, 1}).has_value());
  EXPECT_TRUE(t->Transceive({0x30, 0}).has_value());  // below AUTH0
  EXPECT_FALSE(t->Transceive({0x1B, 0, 0, 0, 0}).has_value());
  EXPECT_EQ((Bytes{0xAB, 0xCD}), t->Transceive({0x1B, 0x11, 0x22, 0x33, 0x44}).value());
  EXPECT_TRUE(t->Transceive({0xA2, 4, 1, 1, 1, 1}).has_value());
  EXPECT_EQ(Bytes(4, 0x00), Slice(t->Transceive({0x30, 43}).value(), 0, 4));  // PWD reads as zeros
  // The authentication ends with the card's active state.
  t->set_state(TypeACard::State::kIdle);
  t->set_state(TypeACard::State::kActive);
  EXPECT_FALSE(t->Transceive({0x30, 4}).has_value());
  // AUTHLIM 1: two wrong attempts, then even the right password fails.
  EXPECT_FALSE(t->Transceive({0x1B, 0, 0, 0, 1}).has_value());
  EXPECT_FALSE(t->Transceive({0x1B, 0, 0, 0, 1}).has_value());
  EXPECT_FALSE(t->Transceive({0x1B, 0x11, 0x22, 0x33, 0x44}).has_value());
}

TEST(SimNtag, SignatureIsThirtyTwoFixedBytes) {
  auto t = Active();
  auto s = t->Transceive({0x3C, 0x00}).value();
  EXPECT_EQ(32u, s.size());
  EXPECT_EQ(s, t->Transceive({0x3C, 0x00}).value());
  auto other = std::make_shared<Ntag>(Ntag::Model::k215, Bytes{0x04, 1, 2, 3, 4, 5, 6});
  other->set_state(TypeACard::State::kActive);
  EXPECT_NE(s, other->Transceive({0x3C, 0x00}).value());
}

TEST(SimNtag, NfcCounterCountsTheFirstReadOfEachPowerUp) {
  auto t = Active();
  EXPECT_FALSE(t->Transceive({0x39, 0x02}).has_value());  // disabled
  ASSERT_TRUE(t->Transceive({0xA2, 132, 0x10, 0x05, 0, 0}).has_value());
  EXPECT_EQ((Bytes{0, 0, 0}), t->Transceive({0x39, 0x02}).value());
  t->Transceive({0x30, 4});
  t->Transceive({0x30, 8});
  EXPECT_EQ((Bytes{1, 0, 0}), t->Transceive({0x39, 0x02}).value());
  t->PowerUp();
  t->set_state(TypeACard::State::kActive);
  t->Transceive({0x3A, 4, 5});
  EXPECT_EQ((Bytes{2, 0, 0}), t->Transceive({0x39, 0x02}).value());
}

TEST(SimNtag, NfcCounterWithItsPasswordBitAnswersOnlyAfterPwdAuth) {
  auto t = Active();
  // PWD 11 22 33 44, PACK AB CD, AUTH0 FF (no page guarded), ACCESS: the
  // NFC counter on, its reading behind the password.
  ASSERT_TRUE(t->Transceive({0xA2, 133, 0x11, 0x22, 0x33, 0x44}).has_value());
  ASSERT_TRUE(t->Transceive({0xA2, 134, 0xAB, 0xCD, 0, 0}).has_value());
  ASSERT_TRUE(t->Transceive({0xA2, 132, 0x18, 0x05, 0, 0}).has_value());
  EXPECT_FALSE(t->Transceive({0x39, 0x02}).has_value());
  EXPECT_EQ((Bytes{0xAB, 0xCD}), t->Transceive({0x1B, 0x11, 0x22, 0x33, 0x44}).value());
  EXPECT_EQ((Bytes{0, 0, 0}), t->Transceive({0x39, 0x02}).value());
  // A new selection ends the authentication.
  t->set_state(TypeACard::State::kIdle);
  t->set_state(TypeACard::State::kActive);
  EXPECT_FALSE(t->Transceive({0x39, 0x02}).has_value());
}

TEST(SimNtag, SmallerNtagsAndUltralightEv1) {
  struct Row {
    Ntag::Model m;
    const char* kind;
    Bytes version;
    int pages, user, dynlock, cfg0;
    Bytes page3;
  } rows[] = {
      {Ntag::Model::k210, "ntag210", {0x00, 0x04, 0x04, 0x01, 0x01, 0x00, 0x0B, 0x03}, 20, 48, -1, 16, {0xE1, 0x10, 0x06, 0x00}},
      {Ntag::Model::k212, "ntag212", {0x00, 0x04, 0x04, 0x01, 0x01, 0x00, 0x0E, 0x03}, 41, 128, 36, 37, {0xE1, 0x10, 0x10, 0x00}},
      {Ntag::Model::kUltralight48, "ulev1-48", {0x00, 0x04, 0x03, 0x01, 0x01, 0x00, 0x0B, 0x03}, 20, 48, -1, 16, {0, 0, 0, 0}},
      {Ntag::Model::kUltralight128, "ulev1-128", {0x00, 0x04, 0x03, 0x01, 0x01, 0x00, 0x0E, 0x03}, 41, 128, 36, 37, {0, 0, 0, 0}},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.kind);
    auto t = Active(r.m);
    EXPECT_EQ(r.kind, t->kind());
    EXPECT_EQ(r.version, t->Transceive({0x60}).value());
    EXPECT_EQ(r.pages, t->pages());
    EXPECT_EQ(static_cast<size_t>(r.pages) * 4, t->memory().size());
    EXPECT_EQ(r.user, t->user_bytes());
    EXPECT_EQ(r.dynlock, t->dynlock_page());
    EXPECT_EQ(r.cfg0, t->cfg_page());
    EXPECT_EQ(r.page3, Slice(t->memory(), 12, 4));
    EXPECT_EQ(0xFF, t->memory()[static_cast<size_t>(r.cfg0) * 4 + 3]);  // AUTH0: no page protected
    // The last user page takes writes; the page after it is no user page.
    const int last = r.cfg0 - (r.dynlock < 0 ? 1 : 2);
    EXPECT_TRUE(t->Transceive({0xA2, static_cast<uint8_t>(last), 1, 2, 3, 4}).has_value());
    EXPECT_EQ((Bytes{1, 2, 3, 4}), Slice(t->memory(), static_cast<size_t>(last) * 4, 4));
    EXPECT_EQ(32u, t->Transceive({0x3C, 0x00}).value().size());
    // Password protection from page 4: writes refused until PWD_AUTH.
    const uint8_t pwd = static_cast<uint8_t>(r.cfg0 + 2), pack = static_cast<uint8_t>(r.cfg0 + 3);
    ASSERT_TRUE(t->Transceive({0xA2, pwd, 0x11, 0x22, 0x33, 0x44}).has_value());
    ASSERT_TRUE(t->Transceive({0xA2, pack, 0xAB, 0xCD, 0, 0}).has_value());
    ASSERT_TRUE(t->Transceive({0xA2, static_cast<uint8_t>(r.cfg0), 0, 0, 0, 4}).has_value());
    EXPECT_FALSE(t->Transceive({0xA2, 4, 9, 9, 9, 9}).has_value());
    EXPECT_EQ((Bytes{0xAB, 0xCD}), t->Transceive({0x1B, 0x11, 0x22, 0x33, 0x44}).value());
    EXPECT_TRUE(t->Transceive({0xA2, 4, 9, 9, 9, 9}).has_value());
  }
}

TEST(SimNtag, DynamicLockBitsOfTheNtag212LockTwoPagesEach) {
  auto t = Active(Ntag::Model::k212);
  // Bit 1 of the first dynamic lock byte: pages 18 and 19; the bits only get set.
  ASSERT_TRUE(t->Transceive({0xA2, 36, 0x02, 0, 0, 0}).has_value());
  ASSERT_TRUE(t->Transceive({0xA2, 36, 0x00, 0, 0, 0}).has_value());
  EXPECT_EQ((Bytes{0x02, 0x00, 0x00, 0xBD}), Slice(t->memory(), 36 * 4, 4));
  EXPECT_TRUE(t->Transceive({0xA2, 17, 1, 1, 1, 1}).has_value());
  EXPECT_FALSE(t->Transceive({0xA2, 18, 1, 1, 1, 1}).has_value());
  EXPECT_FALSE(t->Transceive({0xA2, 19, 1, 1, 1, 1}).has_value());
  EXPECT_TRUE(t->Transceive({0xA2, 20, 1, 1, 1, 1}).has_value());
  // No NFC counter on the NTAG212.
  EXPECT_FALSE(t->Transceive({0x39, 0x02}).has_value());
}

TEST(SimNtag, UltralightEv1OneWayCounters) {
  auto t = Active(Ntag::Model::kUltralight48);
  EXPECT_EQ((Bytes{0, 0, 0}), t->Transceive({0x39, 0x00}).value());
  EXPECT_EQ((Bytes{Ntag::kAck}), t->Transceive({0xA5, 0x01, 0x05, 0x01, 0x00, 0x00}).value());
  EXPECT_EQ((Bytes{0x05, 0x01, 0x00}), t->Transceive({0x39, 0x01}).value());
  EXPECT_EQ(0x105u, t->counter(1));
  EXPECT_EQ(0u, t->counter(0));
  // Past FFFFFF: refused, the counter as it was.
  EXPECT_TRUE(t->Transceive({0xA5, 0x02, 0xFF, 0xFF, 0xFF, 0x00}).has_value());
  EXPECT_FALSE(t->Transceive({0xA5, 0x02, 0x01, 0x00, 0x00, 0x00}).has_value());
  EXPECT_EQ((Bytes{0xFF, 0xFF, 0xFF}), t->Transceive({0x39, 0x02}).value());
  EXPECT_FALSE(t->Transceive({0x39, 0x03}).has_value());
  EXPECT_EQ((Bytes{0xBD}), t->Transceive({0x3E, 0x00}).value());
  // Reads do not count on an Ultralight EV1.
  t->Transceive({0x30, 4});
  EXPECT_EQ(0u, t->counter(0));
}

TEST(SimNtag, ThroughTheReader) {
  Simulator sim;
  sim.Place(std::make_shared<Ntag>(Ntag::Model::k215, kUid));
  auto cmd = [&](uint8_t c, const Bytes& d) { return sim.Handle(1, c, d).value_or(Reply::Fail(0xFF)); };
  EXPECT_EQ((Bytes{0x44, 0x00}), cmd(0x22, {0x26}).data);
  EXPECT_EQ(Concat({0x00}, kUid), cmd(0x24, {0x00}).data);
  EXPECT_EQ((Bytes{0x10, 0x00, 0x04, 0x04, 0x02, 0x01, 0x00, 0x11, 0x03}), cmd(0xC0, {0x10, 5, 0x60}).data);
  EXPECT_EQ(status::kOk, cmd(0xC0, {0x10, 15, 0xA2, 4, 0xDE, 0xAD, 0xBE, 0xEF}).status);
  // Ultralight-type block commands: read four pages, write one.
  EXPECT_EQ((Bytes{0xDE, 0xAD, 0xBE, 0xEF}), Slice(cmd(0x29, {4}).data, 0, 4));
  EXPECT_EQ(16u, cmd(0x29, {4}).data.size());
  EXPECT_EQ(status::kOk, cmd(0x34, {5, 1, 2, 3, 4}).status);
  EXPECT_EQ((Bytes{1, 2, 3, 4}), Slice(cmd(0x29, {5}).data, 0, 4));
  // The reader's own sub-functions echo their code.
  Bytes compat = {0x15, 6};
  compat.insert(compat.end(), 16, 0x77);
  EXPECT_EQ((Bytes{0x15}), cmd(0xC0, compat).data);
  EXPECT_EQ((Bytes{0x77, 0x77, 0x77, 0x77, 0, 0, 0, 0}), Slice(cmd(0x29, {6}).data, 0, 8));
  EXPECT_EQ(status::kCardRefused, cmd(0xC0, {0x16}).status);  // counter disabled
  EXPECT_EQ(status::kCardRefused, cmd(0xC0, {0x10, 5, 0x1B, 1, 2, 3, 4}).status);
  EXPECT_EQ((Bytes{0x10, 0x00, 0x00}), cmd(0xC0, {0x10, 5, 0x1B, 0xFF, 0xFF, 0xFF, 0xFF}).data);
}

TEST(SimTopaz, CommandsThroughTheReader) {
  Simulator sim;
  const Bytes uid = {0x11, 0x22, 0x33, 0x44};
  sim.Place(std::make_shared<Topaz>(uid));
  auto cmd = [&](const Bytes& d) { return sim.Handle(1, 0xC0, d).value_or(Reply::Fail(0xFF)); };
  EXPECT_EQ(status::kNoCard, cmd({0x00, 5, 0x78, 0, 0, 0, 0, 0, 0}).status);
  EXPECT_EQ((Bytes{0x00, 0x0C}), sim.Handle(1, 0x22, {0x26})->data);  // no bit-frame anticollision
  EXPECT_EQ((Bytes{0x00, Topaz::kHr0, Topaz::kHr1, 0x11, 0x22, 0x33, 0x44}),
            cmd({0x00, 5, 0x78, 0, 0, 0, 0, 0, 0}).data);
  // WRITE-E at block 1 byte 2, then READ it back.
  EXPECT_EQ((Bytes{0x00, 0x0A, 0x5A}), cmd(Concat({0x00, 5, 0x53, 0x0A, 0x5A}, uid)).data);
  EXPECT_EQ((Bytes{0x00, 0x0A, 0x5A}), cmd(Concat({0x00, 5, 0x01, 0x0A, 0x00}, uid)).data);
  // WRITE-NE8 sets bits; READ8 gives the block.
  Bytes w8 = {0x00, 5, 0x1B, 0x02, 1, 2, 4, 8, 16, 32, 64, 128};
  EXPECT_EQ(status::kOk, cmd(Concat(w8, uid)).status);
  EXPECT_EQ((Bytes{0x00, 0x02, 1, 2, 4, 8, 16, 32, 64, 128}),
            cmd(Concat({0x00, 5, 0x02, 0x02, 0, 0, 0, 0, 0, 0, 0, 0}, uid)).data);
  // The UID block is read-only; another UID gets no response.
  EXPECT_EQ(status::kCardRefused, cmd(Concat({0x00, 5, 0x53, 0x00, 0x00}, uid)).status);
  EXPECT_EQ(status::kCardRefused, cmd({0x00, 5, 0x01, 0x0A, 0x00, 9, 9, 9, 9}).status);
  auto seg = cmd(Concat({0x00, 5, 0x10, 0x10, 0, 0, 0, 0, 0, 0, 0, 0}, uid));
  EXPECT_EQ(130u, seg.data.size());
  auto all = cmd(Concat({0x00, 5, 0x00, 0x00, 0x00}, uid));
  EXPECT_EQ(123u, all.data.size());
}

TEST(SimTopaz, StaticLockBitsRefuseWritesToTheirBlocks) {
  Simulator sim;
  const Bytes uid = {0x11, 0x22, 0x33, 0x44};
  auto tag = std::make_shared<Topaz>(uid);
  sim.Place(tag);
  auto cmd = [&](const Bytes& d) { return sim.Handle(1, 0xC0, d).value_or(Reply::Fail(0xFF)); };
  sim.Handle(1, 0x22, {0x26});
  // Bit 2 of lock byte 70 locks block 02, bit 1 of 71 block 09.
  ASSERT_EQ(status::kOk, cmd(Concat({0x00, 5, 0x53, 0x70, 0x04}, uid)).status);
  ASSERT_EQ(status::kOk, cmd(Concat({0x00, 5, 0x53, 0x71, 0x02}, uid)).status);
  EXPECT_EQ(status::kCardRefused, cmd(Concat({0x00, 5, 0x53, 0x10, 0x5A}, uid)).status);
  EXPECT_EQ(status::kCardRefused, cmd(Concat({0x00, 5, 0x54, 0x09, 1, 2, 3, 4, 5, 6, 7, 8}, uid)).status);
  EXPECT_EQ(Bytes(8, 0), Slice(tag->memory(), 0x48, 8));
  // Blocks 03 and 08 still take writes.
  EXPECT_EQ((Bytes{0x00, 0x18, 0x5A}), cmd(Concat({0x00, 5, 0x53, 0x18, 0x5A}, uid)).data);
  EXPECT_EQ(status::kOk, cmd(Concat({0x00, 5, 0x54, 0x08, 1, 2, 3, 4, 5, 6, 7, 8}, uid)).status);
}

TEST(SimTopaz, DynamicLockBitsRefuseWritesToTheirBlocks) {
  Simulator sim;
  const Bytes uid = {0x11, 0x22, 0x33, 0x44};
  auto tag = std::make_shared<Topaz>(uid);
  sim.Place(tag);
  auto cmd = [&](const Bytes& d) { return sim.Handle(1, 0xC0, d).value_or(Reply::Fail(0xFF)); };
  sim.Handle(1, 0x22, {0x26});
  // Block 0F: bytes 78 and 79 reserved, 7A to 7F the dynamic lock bytes,
  // whose bits are only set (even by WRITE-E8). Bit 1 of 7A locks block 11.
  ASSERT_EQ(status::kOk, cmd(Concat({0x00, 5, 0x54, 0x0F, 9, 9, 0x02, 0, 0, 0, 0, 0}, uid)).status);
  ASSERT_EQ(status::kOk, cmd(Concat({0x00, 5, 0x53, 0x7A, 0x00}, uid)).status);
  EXPECT_EQ((Bytes{0, 0, 0x02, 0, 0, 0, 0, 0}), Slice(tag->memory(), 0x78, 8));
  EXPECT_EQ(status::kCardRefused, cmd(Concat({0x00, 5, 0x54, 0x11, 1, 2, 3, 4, 5, 6, 7, 8}, uid)).status);
  EXPECT_EQ(Bytes(8, 0), Slice(tag->memory(), 0x88, 8));
  EXPECT_EQ(status::kOk, cmd(Concat({0x00, 5, 0x54, 0x10, 1, 2, 3, 4, 5, 6, 7, 8}, uid)).status);
  EXPECT_EQ(status::kOk, cmd(Concat({0x00, 5, 0x54, 0x12, 1, 2, 3, 4, 5, 6, 7, 8}, uid)).status);
}
