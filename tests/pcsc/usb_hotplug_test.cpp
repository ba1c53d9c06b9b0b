// SPDX-License-Identifier: MIT
// pcscd's own USB hotplug finding the emulated USB reader: this program
// holds the emulated device (umockdev's testbed, the simulated reader behind
// it) and starts pcscd as a child under the same preload library, so that
// pcscd's libudev sees the device and the driver's libusb calls reach it.
// In a private mount namespace of its own, the bundle (Info.plist and the
// built driver) is mounted over pcsc-lite's driver folder and a tmpfs over
// /run/pcscd. Needs root; skipped otherwise.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <winscard.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "fake_hid.h"
#include "orvexsim/hid.h"
#include "orvexsim/mifare_classic.h"
#include "orvexsim/simulator.h"

extern char** environ;

namespace {

constexpr const char* kDriverDir = "/usr/lib/pcsc/drivers";

std::string Log(const std::string& path) {
  std::ifstream f(path);
  return std::string(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

TEST(UsbHotplug, PcscdFindsTheEmulatedReader) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root (a private mount namespace)";
  if (access(PCSCD_PATH, X_OK) != 0) GTEST_SKIP() << "needs pcscd";
  if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
    GTEST_SKIP() << "cannot make a private mount namespace here";
  char dir[] = "/tmp/orvex-hotplug.XXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  std::string bundle = std::string(dir) + "/drivers/ifd-orvex.bundle/Contents";
  ASSERT_EQ(system(("mkdir -p " + bundle + "/Linux /run/pcscd").c_str()), 0);
  ASSERT_EQ(system(("cp " ORVEX_IFD_PLIST " " + bundle + "/Info.plist && cp " ORVEX_IFD_PATH " " + bundle +
                    "/Linux/libifd_orvex.so")
                       .c_str()),
            0);
  if (mount((std::string(dir) + "/drivers").c_str(), kDriverDir, nullptr, MS_BIND, nullptr) != 0 ||
      mount("pcscd-test", "/run/pcscd", "tmpfs", 0, "mode=0755") != 0)
    GTEST_SKIP() << "cannot mount over " << kDriverDir << " and /run/pcscd here";

  orvex_test::UsbTestbed testbed;
  ASSERT_TRUE(testbed.mocked()) << "run with LD_PRELOAD=libumockdev-preload.so.0";
  orvexsim::Simulator sim;
  sim.Place(std::make_shared<orvexsim::MifareClassic>(orvexsim::MifareClassic::Size::k1K,
                                                      orvexsim::Bytes{0xA1, 0xB2, 0xC3, 0xD4}));
  orvex_test::FakeHid hid(testbed);
  hid.OnFrame([&sim](orvex_test::FakeHid& device, const orvex_test::Bytes& frame) {
    std::optional<orvexsim::Bytes> answer = orvexsim::HidExchange(sim, frame);
    if (answer) device.QueueFrame(*answer);
  });

  std::string log = std::string(dir) + "/pcscd.log";
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_adddup2(&actions, 1, 2);
  const char* args[] = {PCSCD_PATH, "--foreground", "--debug", nullptr};
  pid_t pcscd = 0;
  ASSERT_EQ(posix_spawn(&pcscd, PCSCD_PATH, &actions, nullptr, const_cast<char**>(args), environ), 0);

  SCARDCONTEXT ctx = 0;
  std::string reader;
  for (int i = 0; i < 100 && reader.empty(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    if (!ctx && SCardEstablishContext(SCARD_SCOPE_USER, nullptr, nullptr, &ctx) != SCARD_S_SUCCESS) ctx = 0;
    if (!ctx) continue;
    char names[1024];
    DWORD len = sizeof names;
    if (SCardListReaders(ctx, nullptr, names, &len) == SCARD_S_SUCCESS && len > 1) reader = names;
  }
  std::string found = reader;
  if (!reader.empty()) {
    SCARDHANDLE card = 0;
    DWORD protocol = 0;
    LONG rc = SCARD_E_NO_SMARTCARD;
    for (int i = 0; i < 30 && rc != SCARD_S_SUCCESS; ++i) {
      rc = SCardConnect(ctx, reader.c_str(), SCARD_SHARE_SHARED, SCARD_PROTOCOL_T1, &card, &protocol);
      if (rc != SCARD_S_SUCCESS) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_EQ(rc, SCARD_S_SUCCESS) << pcsc_stringify_error(rc);
    if (rc == SCARD_S_SUCCESS) {
      BYTE get_uid[] = {0xFF, 0xCA, 0x00, 0x00, 0x00}, rx[16];
      DWORD rx_len = sizeof rx;
      EXPECT_EQ(SCardTransmit(card, SCARD_PCI_T1, get_uid, sizeof get_uid, nullptr, rx, &rx_len), SCARD_S_SUCCESS);
      EXPECT_EQ(std::vector<BYTE>(rx, rx + rx_len), (std::vector<BYTE>{0xA1, 0xB2, 0xC3, 0xD4, 0x90, 0x00}));
      SCardDisconnect(card, SCARD_LEAVE_CARD);
    }
  }
  if (ctx) SCardReleaseContext(ctx);
  kill(pcscd, SIGTERM);
  waitpid(pcscd, nullptr, 0);
  EXPECT_EQ(found.rfind("Orvex USB reader", 0), 0u) << "readers: \"" << found << "\"\n" << Log(log);
  std::printf("pcscd's reader: %s\n", found.c_str());
  umount(kDriverDir);
  system(("rm -rf " + std::string(dir)).c_str());
}

}  // namespace
