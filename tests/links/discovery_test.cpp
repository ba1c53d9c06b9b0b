// SPDX-License-Identifier: MIT
// Reader discovery over a machine laid out in a folder: USB readers from its
// sysfs, serial ports from its /dev; nothing is opened.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "link/discovery.h"

namespace {

class DiscoveryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/orvex-discovery-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(tmpl));
    root = tmpl;
  }
  void TearDown() override { std::system(("rm -rf " + root).c_str()); }
  void Dir(const std::string& p) { std::system(("mkdir -p " + root + p).c_str()); }
  void File(const std::string& p, const std::string& text) {
    std::ofstream(root + p) << text << "\n";
  }
  void UsbDevice(const std::string& name, const char* vid, const char* pid, int bus, int dev, const char* serial) {
    std::string d = "/sys/bus/usb/devices/" + name;
    Dir(d);
    File(d + "/idVendor", vid);
    File(d + "/idProduct", pid);
    File(d + "/busnum", std::to_string(bus));
    File(d + "/devnum", std::to_string(dev));
    if (serial) File(d + "/serial", serial);
  }
  std::string root;
};

TEST_F(DiscoveryTest, ListsReadersAndPortsWithoutOpeningThem) {
  UsbDevice("3-2", "0471", "114a", 3, 9, "B2");
  UsbDevice("1-1", "0471", "114A", 1, 4, "A1");
  UsbDevice("1-1:1.0", "0471", "114a", 1, 4, nullptr);  // an interface: skipped
  UsbDevice("2-1", "1d6b", "0002", 2, 1, "other");      // another device: skipped
  UsbDevice("1-2", "0471", "114a", 1, 7, nullptr);      // no serial string
  Dir("/dev/serial/by-id");
  File("/dev/ttyUSB0", "");
  File("/dev/ttyUSB1", "");
  File("/dev/ttyACM0", "");
  File("/dev/ttyS0", "");
  ASSERT_EQ(0, symlink("../../ttyUSB1", (root + "/dev/serial/by-id/usb-Orvex_Reader_0001-if00-port0").c_str()));

  auto found = orvex::FindReaders(root);
  ASSERT_EQ(6u, found.size());
  EXPECT_EQ("usb:1:4", found[0].connection);
  EXPECT_EQ("A1", found[0].serial);
  EXPECT_EQ("/dev/bus/usb/001/004", found[0].path);
  EXPECT_EQ("usb:1:7", found[1].connection);
  EXPECT_EQ("", found[1].serial);
  EXPECT_EQ("usb:3:9", found[2].connection);
  EXPECT_EQ(3, found[2].bus);
  EXPECT_EQ(9, found[2].address);
  EXPECT_EQ("usb", found[2].kind);
  EXPECT_EQ("serial", found[3].kind);
  EXPECT_EQ("/dev/serial/by-id/usb-Orvex_Reader_0001-if00-port0", found[3].path);
  EXPECT_EQ("/dev/ttyUSB1", found[3].target);
  EXPECT_EQ(found[3].path, found[3].connection);
  // Ports behind a by-id link are listed once, under it.
  EXPECT_EQ("/dev/ttyACM0", found[4].connection);
  EXPECT_EQ("/dev/ttyUSB0", found[5].connection);
  EXPECT_EQ("/dev/ttyUSB0", found[5].target);
}

TEST_F(DiscoveryTest, AnEmptyMachineListsNothing) { EXPECT_TRUE(orvex::FindReaders(root).empty()); }

}  // namespace
