// SPDX-License-Identifier: MIT
// The simpler families through the reader's commands: ISO 14443-B CPU card
// and identity card, ST and AT88RF020 memory tags, FeliCa, MIFARE Plus, the
// SAM slots and the reader's own card application.
#include <gtest/gtest.h>

#include <map>

#include "orvexsim/cpu_card.h"
#include "orvexsim/felica.h"
#include "orvexsim/mifare_plus.h"
#include "orvexsim/sam.h"
#include "orvexsim/simulator.h"
#include "orvexsim/type_b.h"

using namespace orvexsim;

namespace {

class Cards : public ::testing::Test {
 protected:
  Reply Cmd(uint8_t cmd, const Bytes& d = {}) { return sim.Handle(1, cmd, d).value_or(Reply::Fail(0xFF)); }
  Simulator sim;
};

}  // namespace

TEST_F(Cards, TypeBCpuCardTakesApdus) {
  sim.Place(std::make_shared<CpuCardB>(Bytes{0x5B, 1, 2, 3}));
  EXPECT_EQ(status::kNoCard, Cmd(0x32, {0x00, 0x84, 0x00, 0x00, 0x04}).status);
  Reply atqb = Cmd(0x5F, {0x00, 0x00, 0x08, 0x01, 0x08});
  ASSERT_EQ(status::kOk, atqb.status);
  EXPECT_EQ((Bytes{0x50, 0x5B, 1, 2, 3}), Slice(atqb.data, 0, 5));
  EXPECT_EQ(6u, Cmd(0x32, {0x00, 0x84, 0x00, 0x00, 0x04}).data.size());
  EXPECT_EQ(status::kOk, Cmd(0x41, {0x5B, 1, 2, 3}).status);
  EXPECT_EQ(status::kNoCard, Cmd(0x32, {0x00, 0x84, 0x00, 0x00, 0x04}).status);
  EXPECT_EQ(status::kNoCard, Cmd(0x40, {0x00}).status);  // halted: only a wake-up reaches it
  EXPECT_EQ(status::kOk, Cmd(0x40, {0x01}).status);
}

TEST_F(Cards, IdentityCardNumber) {
  const Bytes number = {0x11, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07};
  sim.Place(std::make_shared<IdCard>(number));
  EXPECT_EQ(status::kNoCard, Cmd(0xC2, {0x00}).status);
  ASSERT_EQ(status::kOk, Cmd(0x20, {0x42}).status);
  ASSERT_EQ(status::kOk, Cmd(0x5F, {0x01, 0x00, 0x08, 0x01, 0x08}).status);
  EXPECT_EQ(Concat(Concat({0x00}, number), {0x90, 0x00}), Cmd(0xC2, {0x00}).data);
}

TEST_F(Cards, Sr176BlocksUidAndLock) {
  const Bytes uid = {0xD0, 0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66};
  sim.Place(std::make_shared<StTag>(StTag::Model::kSr176, uid));
  EXPECT_EQ(status::kNoCard, Cmd(0x4D, {4}).status);
  ASSERT_EQ(1u, Cmd(0x4B).data.size());
  // Blocks 3, 2, 1, 0 give the UID highest block first.
  Bytes got;
  for (int b = 3; b >= 0; --b) got = Concat(got, Cmd(0x4D, {static_cast<uint8_t>(b)}).data);
  EXPECT_EQ(uid, got);
  EXPECT_EQ(status::kCardRefused, Cmd(0x4E, {0, 1, 2}).status);  // the UID blocks
  ASSERT_EQ(status::kOk, Cmd(0x4E, {6, 0xAB, 0xCD}).status);
  EXPECT_EQ((Bytes{0xAB, 0xCD}), Cmd(0x4D, {6}).data);
  EXPECT_EQ((Bytes{2, 0xAB, 0xCD, 0xFF, 0xFF}), Cmd(0x51, {6, 2}).data);
  ASSERT_EQ(status::kOk, Cmd(0x4F, {0x08}).status);  // blocks 6 and 7
  EXPECT_EQ((Bytes{0x08}), Cmd(0x50).data);
  EXPECT_EQ(status::kCardRefused, Cmd(0x4E, {7, 0, 0}).status);
  EXPECT_EQ(status::kCardRefused, Cmd(0x53, {6}).status);  // not an SR512 command
  ASSERT_EQ(status::kOk, Cmd(0x4C).status);
  EXPECT_EQ(status::kNoCard, Cmd(0x4D, {6}).status);
}

TEST_F(Cards, Srix4kBlocksLockAndCheck) {
  const Bytes uid = {0xD0, 0x02, 0x1A, 0, 0, 0, 0, 1};
  sim.Place(std::make_shared<StTag>(StTag::Model::kSrix4k, uid));
  ASSERT_EQ(status::kOk, Cmd(0x4B).status);
  EXPECT_EQ(uid, Cmd(0x56).data);
  ASSERT_EQ(status::kOk, Cmd(0x54, {20, 1, 2, 3, 4, 0}).status);
  EXPECT_EQ((Bytes{1, 2, 3, 4}), Cmd(0x53, {20}).data);
  Bytes w = {30, 2, 9, 9, 9, 9, 8, 8, 8, 8};
  EXPECT_EQ((Bytes{2}), Cmd(0x59, w).data);
  EXPECT_EQ((Bytes{2, 9, 9, 9, 9, 8, 8, 8, 8}), Cmd(0x58, {30, 2}).data);
  EXPECT_EQ(3u, Cmd(0x55, {1, 2, 3, 4, 5, 6}).data.size());
  EXPECT_EQ((Bytes{0, 0, 0xFF, 0xFF}), Cmd(0x53, {255}).data);
  ASSERT_EQ(status::kOk, Cmd(0x57, {0x00, 0x01}).status);
  EXPECT_EQ((Bytes{0xFF, 0, 0xFF, 0xFF}), Cmd(0x53, {255}).data);
  EXPECT_EQ(status::kCardRefused, Cmd(0x54, {10, 1, 1, 1, 1, 0}).status);
  EXPECT_EQ(status::kOk, Cmd(0x54, {20, 1, 1, 1, 1, 0}).status);
}

TEST_F(Cards, At88rf020NeedsItsKey) {
  auto tag = std::make_shared<At88rf020>(Bytes{0xA8, 1, 2, 3});
  sim.Place(tag);
  ASSERT_EQ(status::kOk, Cmd(0x5F, {0x00, 0, 0, 0, 0}).status);
  EXPECT_EQ(status::kCardRefused, Cmd(0x43, {4}).status);
  EXPECT_EQ(status::kAuthFailed, Cmd(0x42, Bytes(8, 0x00)).status);
  ASSERT_EQ(status::kOk, Cmd(0x42, Bytes(8, 0xFF)).status);
  ASSERT_EQ(status::kOk, Cmd(0x44, {4, 1, 2, 3, 4, 5, 6, 7, 8}).status);
  EXPECT_EQ((Bytes{1, 2, 3, 4, 5, 6, 7, 8}), Cmd(0x43, {4}).data);
  EXPECT_EQ(Bytes(8, 0), Cmd(0x43, {1}).data);  // the key stays hidden
  Bytes multi = Cmd(0x48, {4, 2}).data;
  EXPECT_EQ(17u, multi.size());
  EXPECT_EQ(2, multi[0]);
  ASSERT_EQ(status::kOk, Cmd(0x45, {0x10, 0, 0, 0}).status);  // page 4
  EXPECT_EQ(status::kCardRefused, Cmd(0x44, {4, 0, 0, 0, 0, 0, 0, 0, 0}).status);
  ASSERT_EQ(status::kOk, Cmd(0x46, {1, 2, 3, 4, 5, 6}).status);
  EXPECT_EQ(0xFFFEu, tag->counter());
  ASSERT_EQ(status::kOk, Cmd(0x47).status);
  EXPECT_EQ(status::kNoCard, Cmd(0x43, {4}).status);
}

TEST_F(Cards, FelicaPollReadWrite) {
  const Bytes idm = {0x01, 0x2E, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66};
  auto card = std::make_shared<FelicaCard>(idm);
  sim.Place(card);
  // Polling for any system code, asking for the system code.
  Reply r = Cmd(0xC1, {0x00, 0x00, 0x02, 0x00, 0xFF, 0xFF, 0x01, 0x00});
  ASSERT_EQ(status::kOk, r.status);
  ASSERT_EQ(21u, r.data.size());
  EXPECT_EQ(0x00, r.data[0]);
  EXPECT_EQ(0x14, r.data[1]);
  EXPECT_EQ(0x01, r.data[2]);
  EXPECT_EQ(idm, Slice(r.data, 3, 8));
  EXPECT_EQ((Bytes{0x88, 0xB4}), Slice(r.data, 19, 2));
  EXPECT_EQ(status::kNoCard, Cmd(0xC1, {0x00, 0x00, 0x02, 0x00, 0x12, 0xFC, 0x00, 0x00}).status);
  // Write block 3 of service 0009, read it back.
  Bytes wr = Concat({0x00, 0x00, 0x02, 0x08}, idm);
  wr = Concat(wr, {0x01, 0x09, 0x00, 0x01, 0x80, 0x03});
  wr.insert(wr.end(), 16, 0x5A);
  EXPECT_EQ(Concat(Concat({0x00, 0x0C, 0x09}, idm), {0x00, 0x00}), Cmd(0xC1, wr).data);
  Bytes rd = Concat(Concat({0x00, 0x00, 0x02, 0x06}, idm), {0x01, 0x0B, 0x00, 0x01, 0x80, 0x03});
  Reply got = Cmd(0xC1, rd);
  EXPECT_EQ((Bytes{0x00, 0x00, 0x01}), Slice(got.data, 11, 3));
  EXPECT_EQ(Bytes(16, 0x5A), Slice(got.data, 14, 16));
  // The read-only service refuses the write with its status flags.
  wr[13] = 0x0B;
  EXPECT_EQ((Bytes{0xFF, 0xA8}), Slice(Cmd(0xC1, wr).data, 11, 2));
  // Request service: key versions 0000 for the known, FFFF for the unknown.
  Bytes rs = Concat(Concat({0x00, 0x00, 0x02, 0x02}, idm), {0x02, 0x09, 0x00, 0x48, 0x10});
  EXPECT_EQ((Bytes{0x02, 0x00, 0x00, 0xFF, 0xFF}), Slice(Cmd(0xC1, rs).data, 11, 5));
}

TEST_F(Cards, FelicaCardsAnswerPollingsInTimeSlots) {
  const Bytes a = {0x01, 0x2E, 0, 0, 0, 0, 0, 0x0A}, b = {0x01, 0x2E, 0, 0, 0, 0, 0, 0x0B};
  auto poll = [&](uint8_t slot) {
    Reply r = Cmd(0xC1, {0x00, 0x00, 0x02, 0x00, 0xFF, 0xFF, 0x00, slot});
    return r.status == status::kOk ? Slice(r.data, 3, 8) : Bytes{};
  };
  sim.Place(std::make_shared<FelicaCard>(a));
  // One card: it answers whatever the slots.
  EXPECT_EQ(a, poll(0x00));
  EXPECT_EQ(a, poll(0x0F));
  // Two cards and one slot: they collide, and the reader passes on nothing.
  sim.Place(std::make_shared<FelicaCard>(b));
  EXPECT_EQ(Bytes{}, poll(0x00));
  // A slot byte above 15 is no polling the cards answer.
  EXPECT_EQ(Bytes{}, poll(0x10));
  // Sixteen slots: each polling brings one of them, or nothing when both
  // picked the same slot; over many pollings all three outcomes occur, at
  // about the rates 15/32, 15/32 and 1/16.
  auto count = [&] {
    std::map<Bytes, int> seen;
    for (int i = 0; i < 640; ++i) ++seen[poll(0x0F)];
    return seen;
  };
  sim.Seed(7);
  std::map<Bytes, int> seen = count();
  EXPECT_EQ(3u, seen.size());
  EXPECT_GT(seen[a], 240);
  EXPECT_GT(seen[b], 240);
  EXPECT_GT(seen[Bytes{}], 15);
  EXPECT_LT(seen[Bytes{}], 80);
  // The same seed, the same answers.
  sim.Seed(7);
  EXPECT_EQ(seen, count());
}

TEST_F(Cards, MifarePlusLeavesAfterABlockWrite) {
  auto card = std::make_shared<MifarePlus>(Bytes{0xB1, 2, 3, 4});
  sim.Place(card);
  ASSERT_EQ(status::kOk, Cmd(0x22, {0x26}).status);
  ASSERT_EQ(status::kOk, Cmd(0x24, {0}).status);
  const Bytes ff(16, 0xFF);
  ASSERT_EQ(status::kOk, Cmd(0x91).status);
  ASSERT_EQ(status::kOk, Cmd(0x92, Concat({3}, ff)).status);
  ASSERT_EQ(status::kOk, Cmd(0x9B, Concat({0x40, 0x02}, ff)).status);
  card->LeaveAfterWrites(1);
  // The write lands and is answered; the card is gone for the next command.
  ASSERT_EQ(status::kOk, Cmd(0x9F, Concat({0x00, 0x05, 0x01}, Bytes(16, 0x55))).status);
  EXPECT_TRUE(sim.cards().empty());
  EXPECT_EQ(status::kNoCard, Cmd(0x9E, {0x00, 0x05, 0x01}).status);
  EXPECT_EQ(Bytes(16, 0x55), Slice(card->memory(), 5 * 16, 16));
}

TEST_F(Cards, MifarePlusLevelsAndBlocks) {
  sim.Place(std::make_shared<MifarePlus>(Bytes{0xB1, 2, 3, 4}));
  ASSERT_EQ(status::kOk, Cmd(0x22, {0x26}).status);
  ASSERT_EQ(status::kOk, Cmd(0x24, {0}).status);
  const Bytes key(16, 0x3C), ff(16, 0xFF);
  // Personalise: block 4 and the key A of sector 1, then commit.
  ASSERT_EQ(status::kOk, Cmd(0x90, Concat({0x00, 0x04}, Bytes(16, 0x44))).status);
  ASSERT_EQ(status::kOk, Cmd(0x90, Concat({0x40, 0x02}, key)).status);
  EXPECT_EQ(status::kWrongState, Cmd(0x9B, Concat({0x40, 0x02}, key)).status);  // level 0
  ASSERT_EQ(status::kOk, Cmd(0x91).status);
  EXPECT_EQ(status::kAuthFailed, Cmd(0x92, Concat({3}, key)).status);
  ASSERT_EQ(status::kOk, Cmd(0x92, Concat({3}, ff)).status);
  EXPECT_EQ(status::kAuthFailed, Cmd(0x9B, Concat({0x40, 0x02}, ff)).status);
  ASSERT_EQ(status::kOk, Cmd(0x9B, Concat({0x40, 0x02}, key)).status);
  EXPECT_EQ(Bytes(16, 0x44), Cmd(0x9E, {0x00, 0x04, 0x01}).data);
  ASSERT_EQ(status::kOk, Cmd(0x9F, Concat({0x00, 0x05, 0x02}, Bytes(32, 0x55))).status);
  EXPECT_EQ(Bytes(32, 0x55), Cmd(0x94, {5, 2}).data);
  EXPECT_EQ(status::kNotAuthenticated, Cmd(0x94, {8, 1}).status);
  // Value blocks.
  ASSERT_EQ(status::kOk, Cmd(0x96, {6, 100, 0, 0, 0}).status);
  ASSERT_EQ(status::kOk, Cmd(0x98, {6, 5, 0, 0, 0}).status);
  ASSERT_EQ(status::kOk, Cmd(0x99, {6, 1, 0, 0, 0}).status);
  EXPECT_EQ((Bytes{104, 0, 0, 0}), Cmd(0x97, {6}).data);
  ASSERT_EQ(status::kOk, Cmd(0x9A, {6, 5}).status);
  EXPECT_EQ((Bytes{104, 0, 0, 0}), Cmd(0x97, {5}).data);
  // The L3 authentication takes key A (0) or B (1) of the block's sector.
  ASSERT_EQ(status::kOk, Cmd(0x93, Concat({0, 4}, key)).status);
}

TEST_F(Cards, SamSlots) {
  EXPECT_EQ(status::kNoCard, Cmd(0x11).status);
  sim.InsertSam(2, std::make_shared<SamCard>(Bytes{0x5A, 0, 0, 1}));
  EXPECT_EQ(status::kNoCard, Cmd(0x11).status);  // slot 1 is empty
  EXPECT_EQ(status::kWrongState, Cmd(0x16, {0x00, 0x84, 0x00, 0x00, 0x04}).status);  // not reset yet
  Reply atr = Cmd(0x15, {0x03});
  ASSERT_EQ(status::kOk, atr.status);
  EXPECT_EQ(0x3B, atr.data[0]);
  // T0 announces TB1, TC1 and exactly the historical bytes that follow.
  ASSERT_EQ(14u, atr.data.size());
  EXPECT_EQ(0x6A, atr.data[1]);
  EXPECT_EQ(6u, Cmd(0x16, {0x00, 0x84, 0x00, 0x00, 0x04}).data.size());
  EXPECT_EQ((Bytes{0x6A, 0x82}), Cmd(0x16, {0x00, 0xA4, 0x00, 0x00, 0x02, 0x10, 0x01}).data);
  EXPECT_EQ(status::kOk, Cmd(0x14, {0x13}).status);
  EXPECT_EQ(status::kOk, Cmd(0x17, {0x13, 0x01}).status);
}

TEST_F(Cards, SamHandsDataOverOnGetResponse) {
  sim.InsertSam(2, std::make_shared<SamCard>(Bytes{0x5A, 0, 0, 1}));
  ASSERT_EQ(status::kOk, Cmd(0x15, {0x03}).status);
  // SELECT with data: the FCI waits behind 61XX.
  Reply select = Cmd(0x16, {0x00, 0xA4, 0x00, 0x00, 0x02, 0x3F, 0x00});
  ASSERT_EQ(status::kOk, select.status);
  ASSERT_EQ(2u, select.data.size());
  EXPECT_EQ(0x61, select.data[0]);
  const uint8_t n = select.data[1];
  ASSERT_GT(n, 4);
  EXPECT_EQ((Bytes{0x6C, n}), Cmd(0x16, {0x00, 0xC0, 0x00, 0x00, static_cast<uint8_t>(n + 1)}).data);
  // In two pieces: the first says how much is left.
  Bytes first = Cmd(0x16, {0x00, 0xC0, 0x00, 0x00, 0x04}).data;
  ASSERT_EQ(6u, first.size());
  EXPECT_EQ(0x6F, first[0]);
  EXPECT_EQ((Bytes{0x61, static_cast<uint8_t>(n - 4)}), Bytes(first.begin() + 4, first.end()));
  Bytes rest = Cmd(0x16, {0x00, 0xC0, 0x00, 0x00, static_cast<uint8_t>(n - 4)}).data;
  ASSERT_EQ(static_cast<size_t>(n - 4 + 2), rest.size());
  EXPECT_EQ((Bytes{0x90, 0x00}), Bytes(rest.end() - 2, rest.end()));
  EXPECT_EQ((Bytes{0x69, 0x85}), Cmd(0x16, {0x00, 0xC0, 0x00, 0x00, 0x04}).data);  // nothing left
  // Without command data the answer comes at once, as before.
  EXPECT_EQ(10u, Cmd(0x16, {0x00, 0x84, 0x00, 0x00, 0x08}).data.size());
}

TEST_F(Cards, CardApplication) {
  auto cpu = std::make_shared<CpuCard>(Bytes{0xC1, 9, 9, 9});
  sim.Place(cpu);
  sim.InsertSam(1, std::make_shared<SamCard>(Bytes{0x5A, 0, 0, 2}));
  auto app = [&](const Bytes& d) { return Cmd(0xC4, d); };
  // Before a request the card operations are refused with a status word.
  Reply r = app({0x19});
  EXPECT_NE(status::kOk, r.status);
  EXPECT_EQ((Bytes{0x19, 0x69, 0x85}), r.data);
  EXPECT_EQ(0x3B, app({0x01, 0x01}).data[1]);
  Bytes setup = {0x02, 0x01, 0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06};
  setup.insert(setup.end(), 17, 0x00);
  ASSERT_EQ(status::kOk, app(setup).status);
  EXPECT_EQ((Bytes{0x03, 1, 2, 3, 4, 5, 6, 0, 0, 0, 0}), app({0x03, 0x01}).data);
  EXPECT_EQ(Concat({0x10}, cpu->app.number), app({0x10}).data);
  // Files.
  Bytes pub = {0x14, 0x01};
  pub.insert(pub.end(), 50, 0x7E);
  ASSERT_EQ(status::kOk, app(pub).status);
  EXPECT_EQ(Concat({0x13}, Bytes(50, 0x7E)), app({0x13}).data);
  ASSERT_EQ(status::kOk, app({0x18, 0x01, 0x01, 0x00, 0xAA, 0xBB}).status);
  EXPECT_EQ((Bytes{0x17, 0xAA, 0xBB, 0x00}), app({0x17, 0x01, 0x01, 0x00, 0x00, 0x03}).data);
  // The balance is empty: a debit is refused with 94 01.
  EXPECT_EQ((Bytes{0x19, 0, 0, 0, 0}), app({0x19}).data);
  Bytes debit = {0x1A, 0x01, 0x00, 0x00, 0x00, 0x05, 0x20, 0x26, 0x11, 0x22, 0x10, 0x30, 0x00};
  EXPECT_EQ((Bytes{0x1A, 0x94, 0x01}), app(debit).data);
  {
    auto lock = sim.Lock();
    cpu->app.balance = 500;
  }
  EXPECT_EQ((Bytes{0x1A, 0, 0, 0x01, 0xEF, 0, 0, 0, 1}), app(debit).data);
  Bytes rec = app({0x1C}).data;
  EXPECT_EQ(0x1A, rec[1]);
  EXPECT_EQ((Bytes{0, 0, 0, 5}), Slice(rec, 2, 4));
  // Changing the key needs the old one.
  Bytes change = {0x12};
  change.insert(change.end(), 16, 0x00);
  change.insert(change.end(), 16, 0x11);
  change.insert(change.end(), {0, 0});
  EXPECT_EQ((Bytes{0x12, 0x69, 0x82}), app(change).data);
  std::fill(change.begin() + 1, change.begin() + 17, 0xFF);
  EXPECT_EQ(status::kOk, app(change).status);
}
