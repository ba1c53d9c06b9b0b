// SPDX-License-Identifier: MIT
// libifd_orvex.so opened by the device names pcscd's USB hotplug gives, on
// the emulated USB reader (umockdev; run with libumockdev-preload.so.0):
// the driver takes bus and address from the name and reaches the simulated
// reader through liborvex's real libusb calls.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "fake_hid.h"
#include "ifd.h"
#include "orvexsim/hid.h"
#include "orvexsim/mifare_classic.h"
#include "orvexsim/simulator.h"

namespace {

struct Driver {
  void* handle = dlopen(ORVEX_IFD_PATH, RTLD_NOW | RTLD_LOCAL);
  template <class F>
  F Get(const char* name) {
    return reinterpret_cast<F>(dlsym(handle, name));
  }
};

class UsbReader : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(testbed_.mocked()) << "run with LD_PRELOAD=libumockdev-preload.so.0";
    ASSERT_NE(driver_.handle, nullptr) << dlerror();
    orvex_test::FakeHid::Options options;
    options.bus = 3;
    options.address = 7;
    hid_ = std::make_unique<orvex_test::FakeHid>(testbed_, options);
    hid_->OnFrame([this](orvex_test::FakeHid& device, const orvex_test::Bytes& frame) {
      std::optional<orvexsim::Bytes> answer = orvexsim::HidExchange(sim_, frame);
      if (answer) device.QueueFrame(*answer);
    });
    sim_.Place(std::make_shared<orvexsim::MifareClassic>(orvexsim::MifareClassic::Size::k1K,
                                                         orvexsim::Bytes{0xA1, 0xB2, 0xC3, 0xD4}));
  }

  // Opens the reader by name, reads the card's UID through the field slot,
  // closes it.
  void UseByName(std::string name) {
    auto create = driver_.Get<RESPONSECODE (*)(DWORD, LPSTR)>("IFDHCreateChannelByName");
    auto power = driver_.Get<RESPONSECODE (*)(DWORD, DWORD, PUCHAR, PDWORD)>("IFDHPowerICC");
    auto transmit = driver_.Get<RESPONSECODE (*)(DWORD, SCARD_IO_HEADER, PUCHAR, DWORD, PUCHAR, PDWORD,
                                                 PSCARD_IO_HEADER)>("IFDHTransmitToICC");
    auto close = driver_.Get<RESPONSECODE (*)(DWORD)>("IFDHCloseChannel");
    ASSERT_EQ(create(0x70000, name.data()), IFD_SUCCESS) << name;
    UCHAR atr[MAX_ATR_SIZE];
    DWORD atr_len = sizeof atr;
    ASSERT_EQ(power(0x70000, IFD_POWER_UP, atr, &atr_len), IFD_SUCCESS);
    EXPECT_EQ(atr_len, 20u);
    EXPECT_EQ(atr[14], 0x01);  // MIFARE Classic 1K
    UCHAR get_uid[] = {0xFF, 0xCA, 0x00, 0x00, 0x00}, rx[16];
    DWORD rx_len = sizeof rx;
    SCARD_IO_HEADER pci{SCARD_PROTOCOL_T1, sizeof(SCARD_IO_HEADER)};
    ASSERT_EQ(transmit(0x70000, pci, get_uid, sizeof get_uid, rx, &rx_len, nullptr), IFD_SUCCESS);
    EXPECT_EQ(std::vector<UCHAR>(rx, rx + rx_len), (std::vector<UCHAR>{0xA1, 0xB2, 0xC3, 0xD4, 0x90, 0x00}));
    EXPECT_EQ(close(0x70000), IFD_SUCCESS);
  }

  orvex_test::UsbTestbed testbed_;
  std::unique_ptr<orvex_test::FakeHid> hid_;
  orvexsim::Simulator sim_;
  Driver driver_;
};

TEST_F(UsbReader, HotplugNameFromLibudev) { UseByName("usb:0471/114a:libudev:0:/dev/bus/usb/003/007"); }

TEST_F(UsbReader, HotplugNameFromLibusb) { UseByName("usb:0471/114a:libusb-1.0:3:7:0"); }

TEST_F(UsbReader, AnotherBusOrAddressIsNoReader) {
  auto create = driver_.Get<RESPONSECODE (*)(DWORD, LPSTR)>("IFDHCreateChannelByName");
  std::string name = "usb:0471/114a:libudev:0:/dev/bus/usb/003/008";
  EXPECT_EQ(create(0x70000, name.data()), IFD_COMMUNICATION_ERROR);
}

}  // namespace
