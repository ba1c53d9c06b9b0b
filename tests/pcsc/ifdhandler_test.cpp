// SPDX-License-Identifier: MIT
// libifd_orvex.so as pcscd loads it: dlopen, the IFDH* entry points by name,
// Luns with the reader in the high half and the slot in the low half, two
// readers at once, and nothing exported but the entry points.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "ifd.h"
#include "orvexsim/cpu_card.h"
#include "orvexsim/mifare_classic.h"
#include "orvexsim/serial_server.h"
#include "orvexsim/simulator.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Driver {
  void* handle = nullptr;
  RESPONSECODE (*CreateChannelByName)(DWORD, LPSTR) = nullptr;
  RESPONSECODE (*CreateChannel)(DWORD, DWORD) = nullptr;
  RESPONSECODE (*CloseChannel)(DWORD) = nullptr;
  RESPONSECODE (*GetCapabilities)(DWORD, DWORD, PDWORD, PUCHAR) = nullptr;
  RESPONSECODE (*SetCapabilities)(DWORD, DWORD, DWORD, PUCHAR) = nullptr;
  RESPONSECODE (*SetProtocolParameters)(DWORD, DWORD, UCHAR, UCHAR, UCHAR, UCHAR) = nullptr;
  RESPONSECODE (*PowerICC)(DWORD, DWORD, PUCHAR, PDWORD) = nullptr;
  RESPONSECODE (*TransmitToICC)(DWORD, SCARD_IO_HEADER, PUCHAR, DWORD, PUCHAR, PDWORD, PSCARD_IO_HEADER) = nullptr;
  RESPONSECODE (*Control)(DWORD, DWORD, PUCHAR, DWORD, PUCHAR, DWORD, LPDWORD) = nullptr;
  RESPONSECODE (*ICCPresence)(DWORD) = nullptr;

  Driver() {
    handle = dlopen(ORVEX_IFD_PATH, RTLD_NOW | RTLD_LOCAL);
    if (!handle) return;
    Bind(CreateChannelByName, "IFDHCreateChannelByName");
    Bind(CreateChannel, "IFDHCreateChannel");
    Bind(CloseChannel, "IFDHCloseChannel");
    Bind(GetCapabilities, "IFDHGetCapabilities");
    Bind(SetCapabilities, "IFDHSetCapabilities");
    Bind(SetProtocolParameters, "IFDHSetProtocolParameters");
    Bind(PowerICC, "IFDHPowerICC");
    Bind(TransmitToICC, "IFDHTransmitToICC");
    Bind(Control, "IFDHControl");
    Bind(ICCPresence, "IFDHICCPresence");
  }
  ~Driver() {
    if (handle) dlclose(handle);
  }
  template <class F>
  void Bind(F& f, const char* name) {
    f = reinterpret_cast<F>(dlsym(handle, name));
  }
};

Driver& Lib() {
  static Driver d;
  return d;
}

std::string Hex(const uint8_t* p, size_t n) {
  std::string s;
  char b[4];
  for (size_t i = 0; i < n; ++i) {
    std::snprintf(b, sizeof b, i ? " %02X" : "%02X", p[i]);
    s += b;
  }
  return s;
}

class Sim {
 public:
  Sim() : server_(sim) { server_.Start(); }
  std::string path() const { return server_.path(); }
  orvexsim::Simulator sim;

 private:
  orvexsim::SerialServer server_;
};

class IfdHandler : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(Lib().handle, nullptr) << dlerror();
    ASSERT_TRUE(Lib().CreateChannelByName && Lib().CreateChannel && Lib().CloseChannel && Lib().GetCapabilities &&
                Lib().SetCapabilities && Lib().SetProtocolParameters && Lib().PowerICC && Lib().TransmitToICC &&
                Lib().Control && Lib().ICCPresence);
    unsetenv("ORVEX_PCSC_CONF");
  }

  RESPONSECODE Open(DWORD lun, const std::string& name) {
    std::string copy = name;
    return Lib().CreateChannelByName(lun, copy.data());
  }

  std::string Transmit(DWORD lun, const Bytes& apdu, RESPONSECODE expect = IFD_SUCCESS) {
    Bytes cmd = apdu;
    UCHAR rx[300];
    DWORD rx_len = sizeof rx;
    SCARD_IO_HEADER pci{SCARD_PROTOCOL_T1, sizeof(SCARD_IO_HEADER)}, recv{0, 0};
    EXPECT_EQ(Lib().TransmitToICC(lun, pci, cmd.data(), static_cast<DWORD>(cmd.size()), rx, &rx_len, &recv), expect);
    return Hex(rx, rx_len);
  }

  std::string Capability(DWORD lun, DWORD tag, RESPONSECODE expect = IFD_SUCCESS) {
    UCHAR v[64];
    DWORD len = sizeof v;
    EXPECT_EQ(Lib().GetCapabilities(lun, tag, &len, v), expect) << std::hex << tag;
    return expect == IFD_SUCCESS ? Hex(v, len) : "";
  }
};

TEST_F(IfdHandler, OnlyTheEntryPointsAreExported) {
  // The driver's own functions are hidden: not even the internal library's.
  EXPECT_EQ(dlsym(Lib().handle, "_ZN9orvex_ifd3TckERKSt6vectorIhSaIhEE"), nullptr);
  EXPECT_EQ(dlsym(Lib().handle, "_ZN9orvex_ifd6Reader8PresenceEi"), nullptr);
}

TEST_F(IfdHandler, OneReaderWithFourSlots) {
  Sim s;
  s.sim.Place(std::make_shared<orvexsim::CpuCard>(Bytes{0xC1, 0x02, 0x03, 0x04}));
  const DWORD lun = 0x30000;
  ASSERT_EQ(Open(lun, s.path()), IFD_SUCCESS);
  for (DWORD slot = 1; slot < 4; ++slot) ASSERT_EQ(Open(lun | slot, s.path()), IFD_SUCCESS);  // shared link
  EXPECT_EQ(Capability(lun, TAG_IFD_SLOTS_NUMBER), "04");
  EXPECT_EQ(Capability(lun, TAG_IFD_SIMULTANEOUS_ACCESS), "10");
  EXPECT_EQ(Capability(lun, TAG_IFD_THREAD_SAFE), "01");
  EXPECT_EQ(Capability(lun, TAG_IFD_SLOT_THREAD_SAFE), "00");
  EXPECT_EQ(Capability(lun, SCARD_ATTR_VENDOR_NAME), "4F 72 76 65 78");
  Capability(lun, TAG_IFD_POLLING_THREAD_KILLABLE, IFD_ERROR_TAG);
  UCHAR one = 1;
  EXPECT_EQ(Lib().SetCapabilities(lun, TAG_IFD_SLOTS_NUMBER, 1, &one), IFD_ERROR_VALUE_READ_ONLY);
  EXPECT_EQ(Lib().SetCapabilities(lun, 0x1234, 1, &one), IFD_ERROR_TAG);

  EXPECT_EQ(Lib().ICCPresence(lun), IFD_ICC_PRESENT);
  EXPECT_EQ(Lib().ICCPresence(lun | 1), IFD_ICC_NOT_PRESENT);  // no SAM in this simulator
  UCHAR atr[MAX_ATR_SIZE];
  DWORD atr_len = sizeof atr;
  ASSERT_EQ(Lib().PowerICC(lun, IFD_POWER_UP, atr, &atr_len), IFD_SUCCESS);
  EXPECT_EQ(Hex(atr, atr_len), "3B 88 80 01 4F 56 58 43 4F 53 01 00 16");
  EXPECT_EQ(Capability(lun, TAG_IFD_ATR), "3B 88 80 01 4F 56 58 43 4F 53 01 00 16");
  EXPECT_EQ(Lib().SetProtocolParameters(lun, SCARD_PROTOCOL_T1, 0, 0, 0, 0), IFD_SUCCESS);
  EXPECT_EQ(Lib().SetProtocolParameters(lun, SCARD_PROTOCOL_RAW, 0, 0, 0, 0), IFD_PROTOCOL_NOT_SUPPORTED);
  EXPECT_EQ(Transmit(lun, {0xFF, 0xCA, 0x00, 0x00, 0x00}), "C1 02 03 04 90 00");
  // A response larger than the caller's buffer.
  {
    Bytes cmd = {0xFF, 0xCA, 0x00, 0x00, 0x00};
    UCHAR rx[3];
    DWORD rx_len = sizeof rx;
    SCARD_IO_HEADER pci{SCARD_PROTOCOL_T1, sizeof(SCARD_IO_HEADER)};
    EXPECT_EQ(Lib().TransmitToICC(lun, pci, cmd.data(), 5, rx, &rx_len, nullptr), IFD_ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(rx_len, 0u);
  }
  UCHAR features[16];
  DWORD got = 99;
  EXPECT_EQ(Lib().Control(lun, CM_IOCTL_GET_FEATURE_REQUEST, nullptr, 0, features, sizeof features, &got),
            IFD_SUCCESS);
  EXPECT_EQ(got, 0u);
  UCHAR beep[] = {0x06, 0x01, 0x01, 0x01};
  EXPECT_EQ(Lib().Control(lun, SCARD_CTL_CODE(1), beep, 4, features, sizeof features, &got), IFD_NOT_SUPPORTED);
  atr_len = sizeof atr;
  EXPECT_EQ(Lib().PowerICC(lun, IFD_POWER_DOWN, atr, &atr_len), IFD_SUCCESS);
  EXPECT_EQ(atr_len, 0u);
  for (DWORD slot = 0; slot < 4; ++slot) EXPECT_EQ(Lib().CloseChannel(lun | slot), IFD_SUCCESS);
  // Closed: the Lun is unknown again.
  EXPECT_EQ(Lib().ICCPresence(lun), IFD_COMMUNICATION_ERROR);
}

TEST_F(IfdHandler, TwoReadersAtOnce) {
  Sim a, b;
  a.sim.Place(std::make_shared<orvexsim::CpuCard>(Bytes{0xC1, 0, 0, 1}));
  b.sim.Place(std::make_shared<orvexsim::MifareClassic>(orvexsim::MifareClassic::Size::k1K, Bytes{0xA1, 0, 0, 2}));
  ASSERT_EQ(Open(0x00000, a.path()), IFD_SUCCESS);
  ASSERT_EQ(Open(0x10000, b.path()), IFD_SUCCESS);
  UCHAR atr[MAX_ATR_SIZE];
  DWORD len = sizeof atr;
  ASSERT_EQ(Lib().PowerICC(0x00000, IFD_POWER_UP, atr, &len), IFD_SUCCESS);
  len = sizeof atr;
  ASSERT_EQ(Lib().PowerICC(0x10000, IFD_POWER_UP, atr, &len), IFD_SUCCESS);
  auto run = [&](DWORD lun, const char* uid) {
    for (int i = 0; i < 200; ++i) EXPECT_EQ(Transmit(lun, {0xFF, 0xCA, 0x00, 0x00, 0x00}), uid);
  };
  std::thread ta(run, 0x00000, "C1 00 00 01 90 00"), tb(run, 0x10000, "A1 00 00 02 90 00");
  ta.join();
  tb.join();
  EXPECT_EQ(Lib().CloseChannel(0x00000), IFD_SUCCESS);
  EXPECT_EQ(Lib().CloseChannel(0x10000), IFD_SUCCESS);
}

TEST_F(IfdHandler, PollingThreadFunctions) {
  Sim s;
  ASSERT_EQ(Open(0x20000, s.path()), IFD_SUCCESS);
  RESPONSECODE (*poll)(DWORD, int) = nullptr;
  RESPONSECODE (*stop)(DWORD) = nullptr;
  DWORD len = sizeof poll;
  ASSERT_EQ(Lib().GetCapabilities(0x20000, TAG_IFD_POLLING_THREAD_WITH_TIMEOUT, &len, reinterpret_cast<PUCHAR>(&poll)),
            IFD_SUCCESS);
  len = sizeof stop;
  ASSERT_EQ(Lib().GetCapabilities(0x20000, TAG_IFD_STOP_POLLING_THREAD, &len, reinterpret_cast<PUCHAR>(&stop)),
            IFD_SUCCESS);
  EXPECT_EQ(Lib().ICCPresence(0x20000), IFD_ICC_NOT_PRESENT);
  std::thread placer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    s.sim.Place(std::make_shared<orvexsim::CpuCard>(Bytes{0xC1, 0, 0, 3}));
  });
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(poll(0x20000, 60000), IFD_SUCCESS);
  placer.join();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(600));
  EXPECT_EQ(Lib().ICCPresence(0x20000), IFD_ICC_PRESENT);
  std::thread stopper([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    stop(0x20000);
  });
  start = std::chrono::steady_clock::now();
  EXPECT_EQ(poll(0x20000, 60000), IFD_SUCCESS);
  stopper.join();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  EXPECT_EQ(Lib().CloseChannel(0x20000), IFD_SUCCESS);
}

TEST_F(IfdHandler, NamesThatAreNoReader) {
  EXPECT_EQ(Open(0x40000, "usb:072f/2200:libudev:0:/dev/bus/usb/001/004"), IFD_NO_SUCH_DEVICE);
  EXPECT_EQ(Open(0x40000, "usb:serial="), IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(Open(0x40000, "/dev/no-such-orvex-reader"), IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(Lib().CreateChannel(0x40000, 0x7FFFFFFF), IFD_NO_SUCH_DEVICE);
  EXPECT_EQ(Lib().ICCPresence(0x40000), IFD_COMMUNICATION_ERROR);
  EXPECT_EQ(Lib().CloseChannel(0x40000), IFD_SUCCESS);
}

TEST_F(IfdHandler, PassThroughFromTheConfigurationFile) {
  std::string conf = ::testing::TempDir() + "orvex-ifd-test.conf";
  FILE* f = std::fopen(conf.c_str(), "w");
  ASSERT_NE(f, nullptr);
  std::fputs("pass-through = yes\n", f);
  std::fclose(f);
  setenv("ORVEX_PCSC_CONF", conf.c_str(), 1);
  Sim s;
  ASSERT_EQ(Open(0x50000, s.path()), IFD_SUCCESS);
  UCHAR out[16];
  DWORD got = 0;
  EXPECT_EQ(Lib().Control(0x50000, CM_IOCTL_GET_FEATURE_REQUEST, nullptr, 0, out, sizeof out, &got), IFD_SUCCESS);
  EXPECT_EQ(Hex(out, got), "13 04 42 00 00 01");
  EXPECT_EQ(Lib().Control(0x50000, CM_IOCTL_GET_FEATURE_REQUEST, nullptr, 0, out, 3, &got),
            IFD_ERROR_INSUFFICIENT_BUFFER);
  UCHAR beep[] = {0x06, 0x01, 0x01, 0x01};
  EXPECT_EQ(Lib().Control(0x50000, SCARD_CTL_CODE(1), beep, 4, out, sizeof out, &got), IFD_SUCCESS);
  EXPECT_EQ(Hex(out, got), "00");
  EXPECT_EQ(Lib().CloseChannel(0x50000), IFD_SUCCESS);
  std::remove(conf.c_str());
}

}  // namespace
