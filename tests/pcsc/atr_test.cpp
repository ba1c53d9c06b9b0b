// SPDX-License-Identifier: MIT
// ATRs as PC/SC Part 3 presents contactless cards, card names, device
// names and the driver's configuration file.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "atr.h"
#include "config.h"
#include "device_name.h"

namespace orvex_ifd {
namespace {

Bytes H(const char* hex) {
  Bytes b;
  for (const char* p = hex; *p;) {
    if (*p == ' ') {
      ++p;
      continue;
    }
    unsigned v = 0;
    std::sscanf(p, "%2x", &v);
    b.push_back(static_cast<uint8_t>(v));
    p += 2;
  }
  return b;
}

TEST(Atr, CheckByteIsTheXorFromT0On) {
  EXPECT_EQ(Tck(H("3B 8F 80 01 80 4F 0C A0 00 00 03 06 03 00 01 00 00 00 00")), 0x6A);
  EXPECT_EQ(Tck(H("3B 80 80 01")), 0x01);
}

TEST(Atr, StorageCardsCarryTheirStandardAndName) {
  // As smartcard_list.txt lists them ("as per PCSC std part3").
  EXPECT_EQ(Hex(StorageCardAtr(standard::kIso14443APart3, card_name::kMifareClassic1K)),
            "3B 8F 80 01 80 4F 0C A0 00 00 03 06 03 00 01 00 00 00 00 6A");
  EXPECT_EQ(Hex(StorageCardAtr(standard::kIso14443APart3, card_name::kMifareClassic4K)),
            "3B 8F 80 01 80 4F 0C A0 00 00 03 06 03 00 02 00 00 00 00 69");
  EXPECT_EQ(Hex(StorageCardAtr(standard::kIso14443APart3, card_name::kMifareUltralight)),
            "3B 8F 80 01 80 4F 0C A0 00 00 03 06 03 00 03 00 00 00 00 68");
  EXPECT_EQ(Hex(StorageCardAtr(standard::kIso15693Part3, card_name::kIcodeSli)),
            "3B 8F 80 01 80 4F 0C A0 00 00 03 06 0B 00 14 00 00 00 00 77");
  EXPECT_EQ(Hex(StorageCardAtr(standard::kFelica, card_name::kFelica)),
            "3B 8F 80 01 80 4F 0C A0 00 00 03 06 11 00 3B 00 00 00 00 42");
}

TEST(Atr, Iso14443_4TypeAHistoricalBytesFromTheAts) {
  // TL 0D, T0 78 (TA, TB, TC follow; FSCI 8), then 8 historical bytes.
  Bytes ats = H("0D 78 80 70 02 4F 56 58 43 4F 53 01 00");
  Bytes hist = AtsHistoricalBytes(ats);
  EXPECT_EQ(Hex(hist), "4F 56 58 43 4F 53 01 00");
  EXPECT_EQ(Hex(ContactlessAtr(hist)), "3B 88 80 01 4F 56 58 43 4F 53 01 00 16");
  // T0 announcing only TB: one interface byte.
  EXPECT_EQ(Hex(AtsHistoricalBytes(H("05 20 81 C1 C2"))), "C1 C2");
  // No historical bytes, or an ATS cut short.
  EXPECT_TRUE(AtsHistoricalBytes(H("05 78 80 70 02")).empty());
  EXPECT_TRUE(AtsHistoricalBytes(H("01")).empty());
  EXPECT_TRUE(AtsHistoricalBytes({}).empty());
  // TL shorter than what the reader gave: TL counts.
  EXPECT_EQ(Hex(AtsHistoricalBytes(H("04 00 AA BB CC DD"))), "AA BB");
  EXPECT_EQ(Hex(ContactlessAtr({})), "3B 80 80 01 01");
}

TEST(Atr, AtMostFifteenHistoricalBytes) {
  Bytes atr = ContactlessAtr(Bytes(20, 0x11));
  EXPECT_EQ(atr.size(), 4u + 15 + 1);
  EXPECT_EQ(atr[1], 0x8F);
}

TEST(Atr, Iso14443_4TypeBFromTheAtqb) {
  Bytes atqb = H("50 5B 0A 0B 0C 11 22 33 44 00 81 71");
  EXPECT_TRUE(TypeBIsIso14443_4(atqb));
  EXPECT_EQ(Hex(TypeBHistoricalBytes(atqb)), "11 22 33 44 00 81 71 00");
  EXPECT_EQ(Hex(ContactlessAtr(TypeBHistoricalBytes(atqb))), "3B 88 80 01 11 22 33 44 00 81 71 00 BD");
  EXPECT_FALSE(TypeBIsIso14443_4(H("50 5B 0A 0B 0C 11 22 33 44 00 80 71")));
  EXPECT_TRUE(TypeBHistoricalBytes(H("50 5B 0A 0B 0C 11 22")).empty());
}

TEST(Atr, CardNames) {
  EXPECT_EQ(TypeACardName(0x08), card_name::kMifareClassic1K);
  EXPECT_EQ(TypeACardName(0x88), card_name::kMifareClassic1K);
  EXPECT_EQ(TypeACardName(0x18), card_name::kMifareClassic4K);
  EXPECT_EQ(TypeACardName(0x09), card_name::kMifareMini);
  EXPECT_EQ(TypeACardName(0x00), card_name::kMifareUltralight);
  EXPECT_EQ(TypeACardName(0x01), card_name::kNotGiven);
  EXPECT_EQ(Iso15693CardName(H("06 05 04 03 02 01 04 E0")), card_name::kIcodeSli);
  EXPECT_EQ(Iso15693CardName(H("06 05 04 03 02 02 04 E0")), card_name::kNotGiven);
  EXPECT_EQ(Iso15693CardName(H("06 05 04 03 02 01 07 E0")), card_name::kNotGiven);
  EXPECT_EQ(Iso15693CardName(H("01 04 E0")), card_name::kNotGiven);
}

TEST(DeviceName, HotplugNamesGiveBusAndAddress) {
  std::string c, e;
  ASSERT_TRUE(ConnectionFromDeviceName("usb:0471/114a:libudev:0:/dev/bus/usb/001/004", c, e)) << e;
  EXPECT_EQ(c, "usb:1:4");
  ASSERT_TRUE(ConnectionFromDeviceName("usb:0471/114A:libudev:0:/dev/bus/usb/003/127", c, e)) << e;
  EXPECT_EQ(c, "usb:3:127");
  ASSERT_TRUE(ConnectionFromDeviceName("usb:0471/114a:libusb-1.0:2:9:0", c, e)) << e;
  EXPECT_EQ(c, "usb:2:9");
  ASSERT_TRUE(ConnectionFromDeviceName("usb:0471/114a:libusb-1.0:2:9", c, e)) << e;
  EXPECT_EQ(c, "usb:2:9");
  ASSERT_TRUE(ConnectionFromDeviceName("usb:0471/114a", c, e)) << e;
  EXPECT_EQ(c, "usb");
}

TEST(DeviceName, OtherDevicesAndMalformedHotplugNamesAreRefused) {
  std::string c, e;
  EXPECT_FALSE(ConnectionFromDeviceName("usb:072f/2200:libudev:0:/dev/bus/usb/001/004", c, e));
  EXPECT_NE(e.find("072f/2200"), std::string::npos) << e;
  EXPECT_FALSE(ConnectionFromDeviceName("usb:0471/114a:libudev:0:/dev/bus/usb/001", c, e));
  EXPECT_FALSE(ConnectionFromDeviceName("usb:0471/114a:libudev:0:/dev/bus/usb/001/0x4", c, e));
  EXPECT_FALSE(ConnectionFromDeviceName("usb:0471/114a:libudev:0:/dev/bus/usb/000/004", c, e));
  EXPECT_FALSE(ConnectionFromDeviceName("usb:0471/114a:libusb-1.0:1:256:0", c, e));
  EXPECT_FALSE(ConnectionFromDeviceName("usb:0471/114a:something:1:2", c, e));
}

TEST(DeviceName, EveryOtherNameIsTheLibrarysOwn) {
  std::string c, e;
  for (const char* name : {"/dev/ttyUSB0", "/dev/ttyUSB0@38400", "ttyS:0", "ttyS:3@9600", "usb", "usb:1:4",
                           "usb:serial=A1B2", "usb:serial=A/B", "/dev/serial/by-id/usb-Orvex_0123-if00-port0"}) {
    ASSERT_TRUE(ConnectionFromDeviceName(name, c, e)) << name << ": " << e;
    EXPECT_EQ(c, name);
  }
}

TEST(DeviceName, SerialFormCarriesTheSpeedPastPcscdsFileCheck) {
  std::string c, e;
  ASSERT_TRUE(ConnectionFromDeviceName("serial:/dev/ttyUSB0@38400", c, e)) << e;
  EXPECT_EQ(c, "/dev/ttyUSB0@38400");
  ASSERT_TRUE(ConnectionFromDeviceName("serial:/dev/serial/by-id/usb-x-if00-port0", c, e)) << e;
  EXPECT_EQ(c, "/dev/serial/by-id/usb-x-if00-port0");
  EXPECT_FALSE(ConnectionFromDeviceName("serial:", c, e));
  EXPECT_FALSE(ConnectionFromDeviceName("serial:ttyUSB0", c, e));
}

TEST(DeviceName, Channels) {
  std::string c;
  ASSERT_TRUE(ConnectionFromChannel(0x0103F8, c));
  EXPECT_EQ(c, "ttyS:0");
  ASSERT_TRUE(ConnectionFromChannel(0x0102E8, c));
  EXPECT_EQ(c, "ttyS:3");
  ASSERT_TRUE(ConnectionFromChannel(2, c));
  EXPECT_EQ(c, "ttyS:2");
  EXPECT_FALSE(ConnectionFromChannel(0x200000, c));
}

TEST(Config, PassThroughIsOffUnlessSaidSo) {
  EXPECT_FALSE(ParseConfig("").pass_through);
  EXPECT_FALSE(ParseConfig("# pass-through = yes\n").pass_through);
  EXPECT_TRUE(ParseConfig("pass-through = yes\n").pass_through);
  EXPECT_TRUE(ParseConfig("  Pass-Through=ON   # the lab's reader\r\n").pass_through);
  EXPECT_FALSE(ParseConfig("pass-through = yes\npass-through = no\n").pass_through);
  Config c = ParseConfig("pass-through = perhaps\nbuzzer = loud\njunk\n");
  EXPECT_FALSE(c.pass_through);
  EXPECT_EQ(c.problems, "line 1: pass-through takes yes or no; line 2: unknown key \"buzzer\"; line 3: no \"=\"");
}

TEST(Config, ReadFromTheFileTheEnvironmentNames) {
  std::string path = ::testing::TempDir() + "orvex-pcsc-test.conf";
  {
    std::ofstream(path) << "pass-through = yes\n";
  }
  setenv(kConfigPathVariable, path.c_str(), 1);
  Config c = LoadConfig();
  EXPECT_TRUE(c.pass_through);
  EXPECT_EQ(c.source, path);
  std::remove(path.c_str());
  c = LoadConfig();  // gone: the defaults
  EXPECT_FALSE(c.pass_through);
  EXPECT_EQ(c.source, "");
  unsetenv(kConfigPathVariable);
}

}  // namespace
}  // namespace orvex_ifd
