// SPDX-License-Identifier: MIT
// The ISO 15693 tag and the reader's commands for it: inventory (with AFI),
// stay quiet, select, addressed and selected modes, block read and write,
// locks, AFI and DSFID, system information, block security.
#include <gtest/gtest.h>

#include "orvexsim/iso15693.h"
#include "orvexsim/simulator.h"

using namespace orvexsim;

namespace {

const Bytes kUid = {0xE0, 0x04, 0x01, 0x50, 0x11, 0x22, 0x33, 0x44};
const Bytes kAir = {0x44, 0x33, 0x22, 0x11, 0x50, 0x01, 0x04, 0xE0};

class VicinityTest : public ::testing::Test {
 protected:
  VicinityTest() : tag(std::make_shared<VicinityTag>(kUid)) { sim.Place(tag); }
  Reply Cmd(uint8_t cmd, const Bytes& d) { return sim.Handle(1, cmd, d).value_or(Reply::Fail(0xFF)); }
  // Flags 0x22 (addressed, high data rate) and the UID, then p.
  Bytes Addressed(const Bytes& p = {}) { return Concat(Concat({0x22}, kAir), p); }
  Simulator sim;
  std::shared_ptr<VicinityTag> tag;
};

}  // namespace

TEST_F(VicinityTest, InventoryGivesDsfidAndUidInAirOrder) {
  EXPECT_EQ(Concat({0x00}, kAir), Cmd(0x70, {}).data);
  auto second = std::make_shared<VicinityTag>(Bytes{0xE0, 0x04, 0x01, 0x50, 0, 0, 0, 9});
  sim.Place(second);
  Reply r = Cmd(0x7D, {0x00, 0x00});
  ASSERT_EQ(19u, r.data.size());
  EXPECT_EQ(2, r.data[0]);
  EXPECT_EQ(Concat({0x00}, kAir), Slice(r.data, 1, 9));
}

TEST_F(VicinityTest, InventoryWithAfi) {
  ASSERT_EQ(status::kOk, Cmd(0x77, Addressed({0x32})).status);
  EXPECT_EQ(1, Cmd(0x7D, {0x01, 0x32}).data[0]);
  EXPECT_EQ(1, Cmd(0x7D, {0x01, 0x30}).data[0]);  // the whole family 3
  EXPECT_EQ(1, Cmd(0x7D, {0x01, 0x02}).data[0]);  // sub-family 2 of any family
  EXPECT_EQ(status::kNoCard, Cmd(0x7D, {0x01, 0x31}).status);
  EXPECT_EQ(1, Cmd(0x7D, {0x00, 0x31}).data[0]);  // AFI not enabled
}

TEST_F(VicinityTest, QuietTagsAnswerOnlyWhenAddressed) {
  ASSERT_EQ(status::kOk, Cmd(0x71, kAir).status);
  EXPECT_EQ(status::kNoCard, Cmd(0x70, {}).status);
  EXPECT_EQ(status::kNoCard, Cmd(0x74, Concat(Concat({0x02}, kAir), {0, 1})).status);
  EXPECT_EQ(status::kOk, Cmd(0x74, Addressed({0, 1})).status);
  ASSERT_EQ(status::kOk, Cmd(0x73, Addressed()).status);
  EXPECT_EQ(status::kOk, Cmd(0x70, {}).status);
}

TEST_F(VicinityTest, SelectedMode) {
  EXPECT_EQ(status::kNoCard, Cmd(0x74, Concat(Concat({0x12}, Bytes(8, 0)), {0, 1})).status);
  ASSERT_EQ(status::kOk, Cmd(0x72, kAir).status);
  EXPECT_EQ(status::kOk, Cmd(0x74, Concat(Concat({0x12}, Bytes(8, 0)), {0, 1})).status);
  EXPECT_EQ(status::kNoCard, Cmd(0x72, Bytes(8, 0x99)).status);
}

TEST_F(VicinityTest, BlocksReadWriteAndLock) {
  ASSERT_EQ(status::kOk, Cmd(0x75, Addressed({3, 1, 2, 3, 4})).status);
  EXPECT_EQ((Bytes{1, 2, 3, 4, 0, 0, 0, 0}), Cmd(0x74, Addressed({3, 2})).data);
  EXPECT_EQ(status::kCardRefused, Cmd(0x75, Addressed({3, 1, 2})).status);  // not a whole block
  ASSERT_EQ(status::kOk, Cmd(0x7E, Addressed({5, 2, 9, 9, 9, 9, 8, 8, 8, 8})).status);
  EXPECT_EQ((Bytes{9, 9, 9, 9, 8, 8, 8, 8}), Cmd(0x74, Addressed({5, 2})).data);
  ASSERT_EQ(status::kOk, Cmd(0x76, Addressed({3})).status);
  EXPECT_EQ(status::kCardRefused, Cmd(0x75, Addressed({3, 5, 5, 5, 5})).status);
  EXPECT_EQ(status::kCardRefused, Cmd(0x76, Addressed({3})).status);
  EXPECT_EQ((Bytes{0, 1, 0}), Cmd(0x7C, Addressed({2, 3})).data);
  // The option flag adds each block's security status.
  EXPECT_EQ((Bytes{1, 1, 2, 3, 4}), Cmd(0x74, Concat(Concat({0x62}, kAir), {3, 1})).data);
  EXPECT_EQ(status::kCardRefused, Cmd(0x74, Addressed({27, 2})).status);  // past block 27
}

TEST_F(VicinityTest, ATagWithoutMultiBlockReadRefusesReadsOfSeveralBlocks) {
  ASSERT_TRUE(tag->WriteBlock(3, {1, 2, 3, 4}));
  tag->multi_block_read = false;
  EXPECT_EQ(status::kCardRefused, Cmd(0x74, Addressed({2, 2})).status);
  Reply r = Cmd(0x74, Addressed({3, 1}));
  ASSERT_EQ(status::kOk, r.status);
  EXPECT_EQ((Bytes{1, 2, 3, 4}), r.data);
  // The block security status of several blocks is not a read.
  EXPECT_EQ(status::kOk, Cmd(0x7C, Addressed({2, 2})).status);
}

TEST_F(VicinityTest, AfiAndDsfidLock) {
  ASSERT_EQ(status::kOk, Cmd(0x79, Addressed({0x07})).status);
  ASSERT_EQ(status::kOk, Cmd(0x7A, Addressed()).status);
  EXPECT_EQ(status::kCardRefused, Cmd(0x79, Addressed({0x08})).status);
  ASSERT_EQ(status::kOk, Cmd(0x77, Addressed({0x10})).status);
  ASSERT_EQ(status::kOk, Cmd(0x78, Addressed()).status);
  EXPECT_EQ(status::kCardRefused, Cmd(0x77, Addressed({0x20})).status);
  EXPECT_EQ(0x07, Cmd(0x70, {}).data[0]);
}

TEST_F(VicinityTest, SystemInformation) {
  EXPECT_EQ(Concat(Concat({0x0F}, kAir), {0x00, 0x00, 27, 3, 0x01}), Cmd(0x7B, Addressed()).data);
}

TEST_F(VicinityTest, AntennaOffSilencesTheTag) {
  ASSERT_EQ(status::kOk, Cmd(0x21, {0}).status);
  EXPECT_EQ(status::kNoCard, Cmd(0x70, {}).status);
}
