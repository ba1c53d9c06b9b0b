// SPDX-License-Identifier: MIT
// Reader management through the public interface against the simulated
// reader: identify it, beep it, drive its lamps, display, antenna and
// parameters, and change its number and line speed.
#include <cstring>

#include "sim_fixture.h"

using namespace orvexsim_e2e;

TEST_F(SimTest, IdentifiesTheReader) {
  EXPECT_EQ(1, ov.OV_GetReaderID(1));
  EXPECT_EQ(1, ov.OV_GetReaderID(0));
  EXPECT_EQ(0x0107, ov.OV_GetReaderVersion(1));
  unsigned char serial[ORVEX_MAX_ANSWER] = {};
  EXPECT_EQ(8, ov.OV_GetReaderSerial(1, serial));
  EXPECT_EQ(0, std::memcmp(serial, sim.reader().serial.data(), 8));
  unsigned char no[ORVEX_MAX_ANSWER] = {};
  EXPECT_EQ(8, ov.OV_GetReaderNo(1, no));
  EXPECT_EQ(0, std::memcmp(no, "OVX-C100", 8));
}

TEST_F(SimTest, BeepsAndBlinks) {
  EXPECT_EQ(1, ov.OV_Buzzer(1, 10, 5, 2));
  EXPECT_EQ(2, sim.reader().beeps);
  EXPECT_EQ(1, ov.OV_Led(1, 1, 3, 3, 4, 2));
  EXPECT_EQ((Bytes{1, 3, 3, 4}), sim.reader().led_blink);
  EXPECT_EQ(2, sim.reader().led_lit);
}

TEST_F(SimTest, ShowsTextOnTheLedDisplay) {
  char right[] = "1.5";
  EXPECT_EQ(1, ov.OV_LEDDisplay(1, 3, right));
  EXPECT_EQ("      1.5", sim.reader().LedText());
  char centre[] = "42";
  EXPECT_EQ(1, ov.OV_LEDDisplay(1, 2, centre));
  EXPECT_EQ("   42   ", sim.reader().LedText());
  char left[] = "12.34.56";
  EXPECT_EQ(1, ov.OV_LEDDisplay(1, 1, left));
  EXPECT_EQ("12.34.56  ", sim.reader().LedText());
}

TEST_F(SimTest, SwitchesAntennaSearchModeAndAntennaChoice) {
  EXPECT_EQ(1, ov.OV_AntennaStatus(1, false));
  EXPECT_FALSE(sim.antenna_on());
  EXPECT_EQ(1, ov.OV_AntennaStatus(1, true));
  EXPECT_TRUE(sim.antenna_on());
  EXPECT_EQ(1, ov.OV_SearchCardMode(1, 0x42));
  EXPECT_EQ(0x42, sim.reader().search_mode);
  EXPECT_EQ(1, ov.OV_SearchCardModeEx(1, 0x41, 7));
  EXPECT_EQ(7, sim.reader().search_param.value_or(0));
  EXPECT_EQ(1, ov.OV_HFSelectAntenna(1, 2));
  EXPECT_EQ(2, sim.reader().hf_antenna);
}

TEST_F(SimTest, KeepsParametersMemoryAndModuleSettings) {
  unsigned char p[] = {0x11, 0x22, 0x33};
  EXPECT_EQ(1, ov.OV_SetParam(1, 9, 3, p));
  int len = 0;
  unsigned char out[ORVEX_MAX_ANSWER] = {};
  EXPECT_EQ(1, ov.OV_GetParam(1, 9, 0, p, &len, out));
  EXPECT_EQ(3, len);
  EXPECT_EQ(0, std::memcmp(out, p, 3));
  EXPECT_EQ(-1, ov.OV_GetParam(1, 10, 0, p, &len, out));  // never set: refused

  unsigned char w[40];
  for (int i = 0; i < 40; ++i) w[i] = static_cast<unsigned char>(0x80 + i);
  EXPECT_EQ(1, ov.OV_WriteReaderMemory(1, 0x0100, 40, w));
  unsigned char r[ORVEX_MAX_ANSWER] = {};
  EXPECT_EQ(1, ov.OV_ReadReaderMemory(1, 0x0100, 40, r));
  EXPECT_EQ(0, std::memcmp(w, r, 40));

  unsigned char m[8] = {8, 7, 6, 5, 4, 3, 2, 1}, mr[8] = {};
  EXPECT_EQ(1, ov.OV_Set433ModuleParam(1, m));
  EXPECT_EQ(1, ov.OV_Get433ModuleParam(1, mr));
  EXPECT_EQ(0, std::memcmp(m, mr, 8));
}

TEST_F(SimTest, PassThroughEchoes) {
  unsigned char p[] = {0x02, 0x03, 0x10, 0xFF};
  int len = 0;
  unsigned char out[ORVEX_MAX_ANSWER] = {};
  EXPECT_EQ(1, OV_SendCMD(1, 0, 5, 4, p, &len, out));
  EXPECT_EQ(4, len);
  EXPECT_EQ(0, std::memcmp(out, p, 4));
}

TEST_F(SimTest, ChangesItsNumber) {
  EXPECT_EQ(1, ov.OV_SetReaderID(1, 0x0203));
  EXPECT_EQ(0x0203, ov.OV_GetReaderID(0x0203));
  EXPECT_EQ(0x0203, ov.OV_GetReaderID(0));
  EXPECT_EQ(0x0203, sim.reader_number());
}

#ifndef ORVEX_E2E_HID  // a serial line only
TEST_F(SimTest, ChangesLineSpeedAndIsReopenedAtIt) {
  EXPECT_EQ(0, ov.OV_ComNewBound(1, 38400));
  EXPECT_EQ(38400, sim.line_speed());
  ASSERT_EQ(1, ov.OV_ComInitialDevice(server->path().c_str(), 38400));
  EXPECT_EQ(1, ov.OV_GetReaderID(1));
}
#endif
