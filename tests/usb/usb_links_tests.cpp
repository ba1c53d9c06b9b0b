// SPDX-License-Identifier: MIT
// Several USB readers in one process: discovery lists every emulated reader,
// links of the application's own open each by its connection string, and
// the process-wide link's first-found rule stays. Runs with
// libumockdev-preload.so.0 preloaded.
#include <libusb.h>
#include <sys/wait.h>
#include <unistd.h>
#include <sys/prctl.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "fake_hid.h"
#include "orvex.h"
#include "orvexsim/serial_server.h"
#include "orvexsim/simulator.h"

using namespace orvex_test;

namespace {

FakeHid::Options At(int bus, int address, const std::string& serial) {
  FakeHid::Options o;
  o.bus = bus;
  o.address = address;
  o.serial = serial;
  return o;
}

// Two readers plugged in: A at 1:2 (serial A1) answers every command with
// 0A 0A, B at 3:5 (serial B2) with 0B 0B.
class TwoUsbReaders : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(bed.mocked()) << "run with LD_PRELOAD=libumockdev-preload.so.0";
    prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
    a.reset(new FakeHid(bed, At(1, 2, "A1")));
    b.reset(new FakeHid(bed, At(3, 5, "B2")));
    a->AnswerEveryFrame({0x0A, 0x0A});
    b->AnswerEveryFrame({0x0B, 0x0B});
  }
  void TearDown() override {
    Orvex().OV_USBHIDFree();
    a.reset();
    b.reset();
  }
  UsbTestbed bed;
  std::unique_ptr<FakeHid> a, b;
};

TEST_F(TwoUsbReaders, DiscoveryListsBoth) {
  OrvexReaderList list;
  int usb = 0;
  for (int i = 0; i < list.Count(); ++i)
    if (std::string("usb") == list.Kind(i)) ++usb;
  ASSERT_EQ(2, usb);
  EXPECT_STREQ("usb:1:2", list.Connection(0));
  EXPECT_EQ(1, list.Bus(0));
  EXPECT_EQ(2, list.Address(0));
  EXPECT_STREQ("A1", list.Serial(0));
  EXPECT_STREQ("/dev/bus/usb/001/002", list.Path(0));
  EXPECT_STREQ("usb:3:5", list.Connection(1));
  EXPECT_STREQ("B2", list.Serial(1));
  EXPECT_STREQ("", list.Target(1));
  EXPECT_STREQ("", list.Connection(99));
  EXPECT_EQ(0, list.Bus(-1));
  // Listing opened nothing.
  EXPECT_EQ(0, a->stats().opens);
  EXPECT_EQ(0, b->stats().opens);
}

TEST_F(TwoUsbReaders, EachOpensByItsConnectionString) {
  OrvexLink la("usb:1:2"), lb("usb:3:5");
  ASSERT_TRUE(la.IsOpen()) << la.LastFailureText();
  ASSERT_TRUE(lb.IsOpen()) << lb.LastFailureText();
  lb.Close();
  OrvexLink ls("usb:serial=B2");
  ASSERT_TRUE(ls.IsOpen()) << ls.LastFailureText();
  Orvex ov;
  {
    OrvexLinkScope scope(la);
    EXPECT_EQ(0x0A0A, ov.OV_GetReaderVersion(1));
  }
  {
    OrvexLinkScope scope(ls);
    EXPECT_EQ(0x0B0B, ov.OV_GetReaderVersion(1));
  }
  EXPECT_EQ(1u, a->frames().size());
  EXPECT_EQ(1u, b->frames().size());
  OrvexLink none("usb:2:9");
  EXPECT_EQ(-1, none.OpenResult());
  EXPECT_STREQ("no USB reader that can be opened at bus 2, address 9", none.LastFailureText());
  OrvexLink nobody("usb:serial=C3");
  EXPECT_EQ(-1, nobody.OpenResult());
  EXPECT_STREQ("no USB reader with the serial string \"C3\"", nobody.LastFailureText());
}

TEST_F(TwoUsbReaders, ProcessWideOpenTakesTheFirstFoundAsBefore) {
  // The first 0471:114A device in libusb's list is the one it opens.
  libusb_context* ctx = nullptr;
  ASSERT_EQ(0, libusb_init(&ctx));
  libusb_device** list = nullptr;
  ssize_t n = libusb_get_device_list(ctx, &list);
  int first_bus = 0;
  for (ssize_t i = 0; i < n && first_bus == 0; ++i) {
    libusb_device_descriptor d;
    libusb_get_device_descriptor(list[i], &d);
    if (d.idVendor == 0x0471 && d.idProduct == 0x114A) first_bus = libusb_get_bus_number(list[i]);
  }
  libusb_free_device_list(list, 1);
  libusb_exit(ctx);
  ASSERT_NE(0, first_bus);
  Orvex ov;
  ASSERT_EQ(1, ov.OV_USBHIDInitial());
  EXPECT_EQ(first_bus == 1 ? 0x0A0A : 0x0B0B, ov.OV_GetReaderVersion(1));
  // An application's link opens the other reader beside it.
  OrvexLink other(first_bus == 1 ? "usb:3:5" : "usb:1:2");
  ASSERT_TRUE(other.IsOpen()) << other.LastFailureText();
  OrvexLinkScope scope(other);
  EXPECT_EQ(first_bus == 1 ? 0x0B0B : 0x0A0A, ov.OV_GetReaderVersion(1));
}

TEST_F(TwoUsbReaders, TwoLinksFromTwoThreads) {
  OrvexLink la("usb:1:2"), lb("usb:3:5");
  ASSERT_TRUE(la.IsOpen() && lb.IsOpen());
  std::atomic<int> wrong{0};
  auto drive = [&](OrvexLink& link, int want) {
    OrvexLinkScope scope(link);
    Orvex ov;
    for (int i = 0; i < 50; ++i)
      if (ov.OV_GetReaderVersion(1) != want) ++wrong;
  };
  std::thread ta(drive, std::ref(la), 0x0A0A), tb(drive, std::ref(lb), 0x0B0B);
  ta.join();
  tb.join();
  EXPECT_EQ(0, wrong.load());
}

TEST(UsbLinks, CancelEndsAUsbWaitWithinTwentyMilliseconds) {
  UsbTestbed bed;
  ASSERT_TRUE(bed.mocked());
  prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
  FakeHid silent(bed);  // answers nothing: every input report times out
  OrvexLink link("usb");
  ASSERT_TRUE(link.IsOpen()) << link.LastFailureText();
  std::atomic<long> cancelled_at{0};
  auto t0 = std::chrono::steady_clock::now();
  auto since = [&] {
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - t0).count());
  };
  std::thread canceller([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    cancelled_at = since();
    link.Cancel();
  });
  int r;
  {
    OrvexLinkScope scope(link);
    r = Orvex().OV_GetReaderVersion(1);
  }
  long ended = since();
  canceller.join();
  EXPECT_EQ(-1, r);
  EXPECT_EQ(ORVEX_FAIL_CANCELLED, link.LastFailure()) << link.LastFailureText();
  EXPECT_LT(ended - cancelled_at.load(), 40);
  link.Close();
}

}  // namespace

namespace {

std::string RunTool(const std::string& cmd, int* status) {
  std::string out;
  FILE* p = popen((cmd + " 2>&1").c_str(), "r");
  char buf[512];
  while (p && fgets(buf, sizeof buf, p)) out += buf;
  int st = p ? pclose(p) : -1;
  *status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  return out;
}

// orvex list, run as a program on the emulated machine (it inherits the
// emulation's preload library and folder), with two simulated readers on
// pseudo-terminals behind by-id links.
TEST_F(TwoUsbReaders, ToolListsUsbReadersAndByIdPorts) {
  orvexsim::Simulator sim_a, sim_b;
  orvexsim::SerialServer server_a(sim_a), server_b(sim_b);
  server_a.Start();
  server_b.Start();
  const char* root = getenv("UMOCKDEV_DIR");
  ASSERT_NE(nullptr, root);
  std::string byid = std::string(root) + "/dev/serial/by-id";
  ASSERT_EQ(0, system(("mkdir -p " + byid).c_str()));
  ASSERT_EQ(0, symlink(server_a.path().c_str(), (byid + "/usb-Orvex_Reader_A-if00-port0").c_str()));
  ASSERT_EQ(0, symlink(server_b.path().c_str(), (byid + "/usb-Orvex_Reader_B-if00-port0").c_str()));
  int status = -1;
  std::string out = RunTool(std::string(ORVEX_TOOL) + " list", &status);
  EXPECT_EQ(0, status) << out;
  EXPECT_NE(std::string::npos, out.find("usb:1:2  USB reader, bus 1 address 2, serial A1\n")) << out;
  EXPECT_NE(std::string::npos, out.find("usb:3:5  USB reader, bus 3 address 5, serial B2\n")) << out;
  EXPECT_NE(std::string::npos,
            out.find("/dev/serial/by-id/usb-Orvex_Reader_A-if00-port0  serial port -> " + server_a.path() + "\n"))
      << out;
  EXPECT_NE(std::string::npos,
            out.find("/dev/serial/by-id/usb-Orvex_Reader_B-if00-port0  serial port -> " + server_b.path() + "\n"))
      << out;
  // Each opens by its by-id path.
  out = RunTool(std::string(ORVEX_TOOL) + " --device /dev/serial/by-id/usb-Orvex_Reader_B-if00-port0 info --json", &status);
  EXPECT_EQ(0, status) << out;
  EXPECT_NE(std::string::npos, out.find("\"version\": \"1.07\"")) << out;
  out = RunTool(std::string(ORVEX_TOOL) + " list --probe", &status);
  EXPECT_EQ(0, status) << out;
  EXPECT_NE(std::string::npos, out.find("writes a version request to every serial port listed")) << out;
  EXPECT_NE(std::string::npos,
            out.find("usb-Orvex_Reader_A-if00-port0  serial port -> " + server_a.path() +
                     ": a reader answered, firmware 1.07"))
      << out;
  server_a.Stop();
  server_b.Stop();
}

}  // namespace

namespace {

// orvex reader speed on a USB reader: HID has no line speed, so the tool
// refuses as a usage error and sends the reader nothing.
TEST_F(TwoUsbReaders, ToolRefusesALineSpeedForAUsbReader) {
  int status = -1;
  std::string out = RunTool(std::string(ORVEX_TOOL) + " --device usb:1:2 reader speed 9600", &status);
  EXPECT_EQ(2, status) << out;
  EXPECT_EQ("orvex: reader speed: a USB reader has no line speed; nothing was changed\n", out);
  EXPECT_TRUE(a->frames().empty());
  // Nor with --json, nor when the speed asked for is the serial default.
  out = RunTool(std::string(ORVEX_TOOL) + " --device usb:1:2 --json reader speed 19200", &status);
  EXPECT_EQ(2, status) << out;
  // Standard error, then the JSON document on standard output.
  EXPECT_EQ("orvex: reader speed: a USB reader has no line speed; nothing was changed\n{\n  \"error\": \"reader "
            "speed: a USB reader has no line speed; nothing was changed\"\n}\n",
            out);
  EXPECT_TRUE(a->frames().empty());
  EXPECT_TRUE(b->frames().empty());
}

}  // namespace
