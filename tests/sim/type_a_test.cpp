// SPDX-License-Identifier: MIT
// The reader's ISO 14443-A commands on the simulator: request, anticollision
// and select (whole and by cascade level), halt, the antenna, several cards,
// and MIFARE Classic through the reader (keys, blocks, purse, multi-block).
#include <gtest/gtest.h>

#include "orvexsim/mifare_classic.h"
#include "orvexsim/simulator.h"

using namespace orvexsim;

namespace {

class TypeATest : public ::testing::Test {
 protected:
  Reply Cmd(uint8_t cmd, const Bytes& data = {}) {
    auto r = sim.Handle(1, cmd, data);
    EXPECT_TRUE(r.has_value());
    return r.value_or(Reply::Fail(0xFF));
  }
  void SelectFirst() {
    ASSERT_EQ(status::kOk, Cmd(0x22, {0x26}).status);
    ASSERT_EQ(status::kOk, Cmd(0x24, {0x00}).status);
  }
  Bytes Key(uint8_t mode, uint8_t block, uint8_t fill = 0xFF) {
    Bytes d = {mode, block};
    d.insert(d.end(), 6, fill);
    return d;
  }
  Simulator sim;
};

}  // namespace

TEST_F(TypeATest, EmptyFieldAnswersNoCard) {
  EXPECT_EQ(status::kNoCard, Cmd(0x22, {0x26}).status);
  EXPECT_EQ(status::kNoCard, Cmd(0x23).status);
}

TEST_F(TypeATest, RequestAnticollideSelect) {
  sim.Place(std::make_shared<MifareClassic>(MifareClassic::Size::k1K, Bytes{0xA1, 0xB2, 0xC3, 0xD4}));
  EXPECT_EQ((Bytes{0x04, 0x00}), Cmd(0x22, {0x26}).data);
  EXPECT_EQ((Bytes{0xA1, 0xB2, 0xC3, 0xD4}), Cmd(0x23).data);
  EXPECT_EQ((Bytes{0x08}), Cmd(0x25, {0xA1, 0xB2, 0xC3, 0xD4}).data);
  // A second request takes the card out of its active state and wakes it again.
  EXPECT_EQ((Bytes{0x04, 0x00}), Cmd(0x22, {0x26}).data);
  EXPECT_EQ((Bytes{0x08, 0xA1, 0xB2, 0xC3, 0xD4}), Cmd(0x24, {0x00}).data);
}

TEST_F(TypeATest, HaltedCardWakesOnlyWithWupa) {
  sim.Place(std::make_shared<MifareClassic>(MifareClassic::Size::k1K, Bytes{1, 2, 3, 4}));
  SelectFirst();
  EXPECT_EQ(status::kOk, Cmd(0x26).status);
  EXPECT_EQ(status::kNoCard, Cmd(0x22, {0x26}).status);
  EXPECT_EQ(status::kOk, Cmd(0x22, {0x52}).status);
}

TEST_F(TypeATest, AntennaOffEmptiesTheField) {
  sim.Place(std::make_shared<MifareClassic>(MifareClassic::Size::k1K, Bytes{1, 2, 3, 4}));
  SelectFirst();
  ASSERT_EQ(status::kOk, Cmd(0x21, {0}).status);
  EXPECT_EQ(status::kNoCard, Cmd(0x28, Key(0x60, 4)).status);
  EXPECT_EQ(status::kNoCard, Cmd(0x22, {0x26}).status);
  ASSERT_EQ(status::kOk, Cmd(0x21, {1}).status);
  EXPECT_EQ(status::kOk, Cmd(0x22, {0x26}).status);
}

TEST_F(TypeATest, RemovedCardNoLongerAnswers) {
  auto card = std::make_shared<MifareClassic>(MifareClassic::Size::k1K, Bytes{1, 2, 3, 4});
  sim.Place(card);
  SelectFirst();
  sim.Remove(card);
  EXPECT_EQ(status::kNoCard, Cmd(0x28, Key(0x60, 4)).status);
  sim.Place(card);
  SelectFirst();
  EXPECT_EQ(status::kOk, Cmd(0x28, Key(0x60, 4)).status);
}

TEST_F(TypeATest, TwoCardsAreSelectedOneAtATime) {
  sim.Place(std::make_shared<MifareClassic>(MifareClassic::Size::k1K, Bytes{1, 1, 1, 1}));
  sim.Place(std::make_shared<MifareClassic>(MifareClassic::Size::k4K, Bytes{2, 2, 2, 2}));
  // The request answers with the OR of both ATQAs.
  EXPECT_EQ((Bytes{0x06, 0x00}), Cmd(0x22, {0x26}).data);
  EXPECT_EQ((Bytes{0x18}), Cmd(0x25, {2, 2, 2, 2}).data);
  EXPECT_EQ(status::kOk, Cmd(0x28, Key(0x60, 200)).status);  // a 4K block
  EXPECT_EQ(status::kOk, Cmd(0x26).status);
  // The 1K card is still ready.
  EXPECT_EQ((Bytes{0x08}), Cmd(0x25, {1, 1, 1, 1}).data);
  EXPECT_EQ(status::kAuthFailed, Cmd(0x28, Key(0x60, 200)).status);
}

TEST_F(TypeATest, CascadeLevelsOfASevenByteUid) {
  sim.Place(std::make_shared<MifareClassic>(MifareClassic::Size::k1K, Bytes{1, 2, 3, 4, 5, 6, 7}));
  EXPECT_EQ((Bytes{0x44, 0x00}), Cmd(0x22, {0x52}).data);
  EXPECT_EQ((Bytes{0x88, 1, 2, 3}), Cmd(0x39, {1}).data);
  EXPECT_EQ((Bytes{0x04}), Cmd(0x3A, {1}).data);
  EXPECT_EQ((Bytes{4, 5, 6, 7}), Cmd(0x39, {2}).data);
  EXPECT_EQ((Bytes{0x08}), Cmd(0x3A, {2}).data);
  EXPECT_EQ(status::kOk, Cmd(0x28, Key(0x60, 4)).status);
}

TEST_F(TypeATest, RequestAntiAndSelectInOne) {
  sim.Place(std::make_shared<MifareClassic>(MifareClassic::Size::k1K, Bytes{9, 8, 7, 6}));
  EXPECT_EQ((Bytes{0x04, 0x00, 0x08, 9, 8, 7, 6}), Cmd(0x38, {0x52, 0x00}).data);
}

TEST_F(TypeATest, ClassicThroughTheReader) {
  sim.Place(std::make_shared<MifareClassic>(MifareClassic::Size::k1K, Bytes{1, 2, 3, 4}));
  SelectFirst();
  ASSERT_EQ(status::kOk, Cmd(0x28, Key(0x60, 4)).status);
  Bytes w = {4};
  for (int i = 0; i < 16; ++i) w.push_back(static_cast<uint8_t>(i));
  EXPECT_EQ(status::kOk, Cmd(0x2A, w).status);
  EXPECT_EQ(Slice(w, 1), Cmd(0x29, {4}).data);
  EXPECT_EQ(status::kBadParameter, Cmd(0x2A, {4, 1, 2, 3}).status);
  // A wrong key: the card goes idle and must be selected again.
  EXPECT_EQ(status::kAuthFailed, Cmd(0x28, Key(0x60, 8, 0x00)).status);
  EXPECT_EQ(status::kNoCard, Cmd(0x29, {4}).status);
}

TEST_F(TypeATest, StoredKeysAuthenticate) {
  sim.Place(std::make_shared<MifareClassic>(MifareClassic::Size::k1K, Bytes{1, 2, 3, 4}));
  SelectFirst();
  EXPECT_EQ(status::kBadParameter, Cmd(0x27, {0x60, 4, 3}).status);  // nothing stored there
  ASSERT_EQ(status::kOk, Cmd(0x37, {3, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}).status);
  EXPECT_EQ(status::kOk, Cmd(0x27, {0x60, 4, 3}).status);
  EXPECT_EQ(status::kOk, Cmd(0x29, {5}).status);
}

TEST_F(TypeATest, PurseCommandsThroughTheReader) {
  sim.Place(std::make_shared<MifareClassic>(MifareClassic::Size::k1K, Bytes{1, 2, 3, 4}));
  SelectFirst();
  ASSERT_EQ(status::kOk, Cmd(0x28, Key(0x60, 5)).status);
  ASSERT_EQ(status::kOk, Cmd(0x2B, {5, 0x10, 0x27, 0x00, 0x00}).status);  // 10000
  EXPECT_EQ((Bytes{0x10, 0x27, 0x00, 0x00}), Cmd(0x2C, {5}).data);
  ASSERT_EQ(status::kOk, Cmd(0x2E, {5, 0xE8, 0x03, 0x00, 0x00}).status);  // +1000
  EXPECT_EQ((Bytes{0x10, 0x27, 0x00, 0x00}), Cmd(0x2C, {5}).data);        // not yet transferred
  ASSERT_EQ(status::kOk, Cmd(0x2E, {5, 0xE8, 0x03, 0x00, 0x00}).status);
  ASSERT_EQ(status::kOk, Cmd(0x30, {5}).status);
  EXPECT_EQ((Bytes{0xF8, 0x2A, 0x00, 0x00}), Cmd(0x2C, {5}).data);        // 11000
  ASSERT_EQ(status::kOk, Cmd(0x2D, {5, 0x01, 0x00, 0x00, 0x00}).status);
  ASSERT_EQ(status::kOk, Cmd(0x30, {5}).status);
  EXPECT_EQ((Bytes{0xF7, 0x2A, 0x00, 0x00}), Cmd(0x2C, {5}).data);
  ASSERT_EQ(status::kOk, Cmd(0x2F, {5}).status);
  ASSERT_EQ(status::kOk, Cmd(0x30, {6}).status);
  EXPECT_EQ((Bytes{0xF7, 0x2A, 0x00, 0x00}), Cmd(0x2C, {6}).data);
  EXPECT_EQ(status::kNotValueBlock, Cmd(0x2C, {4}).status);
}

TEST_F(TypeATest, MultiBlockReadAndWrite) {
  sim.Place(std::make_shared<MifareClassic>(MifareClassic::Size::k1K, Bytes{1, 2, 3, 4}));
  SelectFirst();
  ASSERT_EQ(status::kOk, Cmd(0x28, Key(0x60, 4)).status);
  Bytes w = {4, 2};
  w.insert(w.end(), 32, 0x3C);
  EXPECT_EQ((Bytes{2}), Cmd(0x36, w).data);
  // Four blocks asked from 4: 4, 5, 6 and the trailer 7 are in sector 1.
  Reply r = Cmd(0x35, {4, 4});
  ASSERT_EQ(status::kOk, r.status);
  ASSERT_EQ(65u, r.data.size());
  EXPECT_EQ(4, r.data[0]);
  EXPECT_EQ(Bytes(32, 0x3C), Slice(r.data, 1, 32));
  // Past the sector the card refuses: the count tells how far it went.
  ASSERT_EQ(status::kOk, Cmd(0x22, {0x26}).status);
  ASSERT_EQ(status::kOk, Cmd(0x24, {0x00}).status);
  ASSERT_EQ(status::kOk, Cmd(0x28, Key(0x60, 4)).status);
  r = Cmd(0x35, {6, 3});
  ASSERT_EQ(status::kOk, r.status);
  EXPECT_EQ(2, r.data[0]);
  EXPECT_EQ(33u, r.data.size());
}
