// SPDX-License-Identifier: MIT
// The shared library as an application loads it: liborvex.so.1's own call
// of open("/dev/ttyS7", ...) goes through its PLT and reaches the test
// program's open(), which hands it the fake reader's pseudo-terminal.
#include <dlfcn.h>

#include <string>

#include <gtest/gtest.h>

#include "fake_reader.h"
#include "orvex.h"
#include "ttys_redirect.h"

using namespace orvex_test;

TEST(SharedLibrary, IsTheLibraryInUse) {
  Dl_info info;
  ASSERT_NE(0, dladdr(reinterpret_cast<void*>(&HID_OpenUSBPort_), &info));
  EXPECT_NE(std::string::npos, std::string(info.dli_fname).find("liborvex.so"));
}

TEST(SharedLibrary, ComInitialReachesTheTestsOpenThroughThePlt) {
  FakeReader reader;
  RedirectSerialPort(7, reader.path());
  Orvex ov;
  ASSERT_EQ(1, ov.OV_ComInitial(7, 19200));
  auto opens = SerialOpens();
  ASSERT_EQ(1u, opens.size());
  EXPECT_EQ("/dev/ttyS7", opens[0].path);
  EXPECT_EQ(reader.path(), opens[0].target);

  reader.Ok({0x00, 0x07});
  EXPECT_EQ(7, ov.OV_GetReaderVersion(1));
  ASSERT_TRUE(reader.WaitForCommands(1, 100));
  EXPECT_EQ(SerialCommandFrame(1, 0x04, {}), reader.last().raw);

  reader.Ok();
  EXPECT_EQ(1, ov.OV_Buzzer(2, 1, 2, 3));
  ASSERT_TRUE(reader.WaitForCommands(2, 100));
  EXPECT_EQ(SerialCommandFrame(2, 0x06, {1, 2, 3}), reader.last().raw);
  EXPECT_EQ(1, ov.OV_ComFree());

  // A port nobody redirected is refused: the library saw ENOENT.
  EXPECT_EQ(0, ov.OV_ComInitial(5, 19200));
  opens = SerialOpens();
  ASSERT_EQ(2u, opens.size());
  EXPECT_EQ("/dev/ttyS5", opens[1].path);
  EXPECT_EQ(-1, opens[1].fd);
  ClearSerialRedirects();
}
