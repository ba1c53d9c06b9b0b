// SPDX-License-Identifier: MIT
// ISO 15693 through the public interface: inventory (single and with AFI),
// addressed write and read, locks, system information.
#include <cstring>

#include "orvexsim/iso15693.h"
#include "sim_fixture.h"

using namespace orvexsim_e2e;

namespace {

class VicinityE2e : public SimTest {
 protected:
  void SetUp() override {
    tag = std::make_shared<orvexsim::VicinityTag>(Bytes{0xE0, 0x04, 0x01, 0x50, 0x0A, 0x0B, 0x0C, 0x0D});
    sim.Place(tag);
    SimTest::SetUp();
    unsigned char len = 0;
    ASSERT_EQ(1, ov.OV_ISO15693_Inventory(1, inv, &len));
    ASSERT_EQ(9, len);
    std::memcpy(uid, inv + 1, 8);
  }
  std::shared_ptr<orvexsim::VicinityTag> tag;
  unsigned char inv[ORVEX_MAX_ANSWER] = {};
  unsigned char uid[8] = {};
};

}  // namespace

TEST_F(VicinityE2e, InventoryGivesTheUid) {
  EXPECT_EQ(0x00, inv[0]);  // DSFID
  const unsigned char air[8] = {0x0D, 0x0C, 0x0B, 0x0A, 0x50, 0x01, 0x04, 0xE0};
  EXPECT_EQ(0, std::memcmp(air, uid, 8));
}

TEST_F(VicinityE2e, WriteAndReadBlocks) {
  unsigned char data[4] = {0x11, 0x22, 0x33, 0x44};
  ASSERT_EQ(1, ov.OV_ISO15693_Write(1, 0x22, uid, 2, 4, data));
  unsigned char more[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  ASSERT_EQ(1, ov.OV_ISO15693_MultiWrite(1, 0x22, uid, 3, 2, 8, more));
  unsigned char out[ORVEX_MAX_ANSWER] = {}, len = 0;
  ASSERT_EQ(1, ov.OV_ISO15693_Read(1, 0x22, uid, 2, 3, out, &len));
  EXPECT_EQ(12, len);
  EXPECT_EQ(0, std::memcmp(data, out, 4));
  EXPECT_EQ(0, std::memcmp(more, out + 4, 8));
  // Locked blocks refuse writes.
  ASSERT_EQ(1, ov.OV_ISO15693_Lock_Block(1, 0x22, uid, 2));
  EXPECT_EQ(-3, ov.OV_ISO15693_Write(1, 0x22, uid, 2, 4, more));
  ASSERT_EQ(1, ov.OV_ISO15693_Get_Block_Security(1, 0x22, uid, 1, 3, out, &len));
  EXPECT_EQ(3, len);
  EXPECT_EQ(0, out[0]);
  EXPECT_EQ(1, out[1]);
}

TEST_F(VicinityE2e, SelectQuietAndAfi) {
  ASSERT_EQ(1, ov.OV_ISO15693_Write_AFI(1, 0x22, uid, 0x42));
  unsigned char out[ORVEX_MAX_ANSWER] = {}, len = 0;
  ASSERT_EQ(1, ov.OV_ISO15693_Multi_Inventory(1, 1, 0x42, out, &len));
  EXPECT_EQ(10, len);
  EXPECT_EQ(1, out[0]);
  EXPECT_EQ(-3, ov.OV_ISO15693_Multi_Inventory(1, 1, 0x43, out, &len));
  ASSERT_EQ(1, ov.OV_ISO15693_Select(1, 0x22, uid));
  unsigned char data[4] = {9, 9, 9, 9};
  EXPECT_EQ(1, ov.OV_ISO15693_Write(1, 0x12, uid, 0, 4, data));  // the selected tag
  ASSERT_EQ(1, ov.OV_ISO15693_Stay_Quiet(1, uid));
  EXPECT_EQ(-3, ov.OV_ISO15693_Inventory(1, out, &len));
  ASSERT_EQ(1, ov.OV_ISO15693_Reset_To_Ready(1, 0x22, uid));
  EXPECT_EQ(1, ov.OV_ISO15693_Inventory(1, out, &len));
}

TEST_F(VicinityE2e, SystemInformation) {
  ASSERT_EQ(1, ov.OV_ISO15693_Write_DSFID(1, 0x22, uid, 0x07));
  unsigned char out[ORVEX_MAX_ANSWER] = {}, len = 0;
  ASSERT_EQ(1, ov.OV_ISO15693_Get_System_Information(1, 0x22, uid, out, &len));
  ASSERT_EQ(14, len);
  EXPECT_EQ(0x0F, out[0]);
  EXPECT_EQ(0, std::memcmp(uid, out + 1, 8));
  EXPECT_EQ(0x07, out[9]);
  EXPECT_EQ(27, out[11]);  // 28 blocks
  EXPECT_EQ(3, out[12]);   // of 4 bytes
  ASSERT_EQ(1, ov.OV_ISO15693_Lock_DSFID(1, 0x22, uid));
  EXPECT_EQ(-3, ov.OV_ISO15693_Write_DSFID(1, 0x22, uid, 0x08));
}
