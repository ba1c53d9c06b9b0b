// SPDX-License-Identifier: MIT
// Simulated MIFARE Classic cards from and to dump files (sim/files): every
// format through the shared parser and writer, and the files on disk.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <dirent.h>

#include "classic_files.h"

namespace {

using orvexformats::DumpFormat;
using orvexsim::Bytes;
using orvexsim::MifareClassic;

// A 4K card with a 7-byte UID, some data and a sector whose key A is zeros.
MifareClassic Sample() {
  MifareClassic c(MifareClassic::Size::k4K, {0x04, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66});
  c.memory()[16 * 9 + 3] = 0x77;
  c.memory()[16 * 200 + 15] = 0xA5;
  for (int i = 0; i < 6; ++i) c.memory()[16 * 7 + i] = 0;  // sector 1's key A
  return c;
}

TEST(SimClassicFiles, EveryFormatGivesTheSameCardBack) {
  const MifareClassic c = Sample();
  for (DumpFormat f : {DumpFormat::kMfd, DumpFormat::kEml, DumpFormat::kJson}) {
    SCOPED_TRACE(orvexformats::FormatWord(f));
    std::string error;
    auto back = orvexsim::ClassicFromDump(orvexsim::ClassicDumpFile(c, f), f, error);
    ASSERT_NE(nullptr, back) << error;
    EXPECT_EQ(c.memory(), back->memory());
    EXPECT_EQ(c.uid(), back->uid());
    EXPECT_EQ("mfc4k", back->kind());
  }
  EXPECT_EQ(c.memory(), orvexsim::ClassicDumpFile(c, DumpFormat::kMfd));
}

TEST(SimClassicFiles, TheDumpSaysWhatTheCardAnswers) {
  const orvexformats::ClassicDump d = orvexsim::DumpOfClassic(Sample());
  EXPECT_EQ(256, d.blocks);
  EXPECT_TRUE(d.UnknownBlocks().empty());
  EXPECT_TRUE(d.KeyKnown(1, false));  // zeros, but the card holds them
  EXPECT_EQ((Bytes{0x04, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66}), d.uid);
  EXPECT_EQ(0x0042, d.atqa);
  EXPECT_EQ(0x18, d.sak);
  const Bytes json = orvexsim::ClassicDumpFile(Sample(), DumpFormat::kJson);
  const std::string text(json.begin(), json.end());
  EXPECT_EQ(0u, text.find("{\n \"uid\": \"04112233445566\",\n \"atqa\": \"0042\",\n \"sak\": \"18\",\n"
                          " \"type\": \"MIFARE Classic 4K\",\n"))
      << text.substr(0, 200);
}

TEST(SimClassicFiles, ADumpThatIsNotWholeIsRefused) {
  std::string eml;
  for (int b = 0; b < 64; ++b) eml += b == 9 ? "00112233445566778899AABBCCDD--FF\n" : std::string(32, '0') + "\n";
  std::string error;
  EXPECT_EQ(nullptr, orvexsim::ClassicFromDump(Bytes(eml.begin(), eml.end()), DumpFormat::kEml, error));
  EXPECT_EQ("block 9 holds bytes that are not known; a card needs every byte", error);
  EXPECT_EQ(nullptr, orvexsim::ClassicFromDump(Bytes(500, 0), DumpFormat::kMfd, error));
  EXPECT_EQ("a MIFARE Classic dump holds 1024 or 4096 bytes, not 500", error);
  EXPECT_EQ(nullptr, orvexsim::ClassicFromDump(Bytes{'{', '}'}, DumpFormat::kJson, error));
  EXPECT_EQ("a JSON dump is an object with a \"blocks\" array", error);
}

TEST(SimClassicFiles, SavedAndLoadedThroughFiles) {
  const std::string dir = ::testing::TempDir() + "/sim_files_unit";
  mkdir(dir.c_str(), 0700);
  const MifareClassic c = Sample();
  for (const char* name : {"card.mfd", "card.eml", "card.json"}) {
    const std::string path = dir + "/" + name;
    DumpFormat f;
    ASSERT_TRUE(orvexformats::FormatNamed(path, f));
    std::string error;
    ASSERT_TRUE(orvexsim::SaveClassic(c, path, f, error)) << error;
    struct stat st;
    ASSERT_EQ(0, stat(path.c_str(), &st));
    EXPECT_EQ(0600u, st.st_mode & 0777u) << name;
    auto back = orvexsim::LoadClassic(path, f, error);
    ASSERT_NE(nullptr, back) << error;
    EXPECT_EQ(c.memory(), back->memory()) << name;
    std::remove(path.c_str());
  }
  // Nothing but the files themselves was left behind (no temporary file).
  DIR* d = opendir(dir.c_str());
  ASSERT_NE(nullptr, d);
  int entries = 0;
  while (readdir(d)) ++entries;
  closedir(d);
  EXPECT_EQ(2, entries);  // . and ..
  std::string error;
  EXPECT_FALSE(orvexsim::SaveClassic(c, dir + "/none/card.mfd", DumpFormat::kMfd, error));
  EXPECT_EQ("cannot be written (No such file or directory)", error);
  EXPECT_EQ(nullptr, orvexsim::LoadClassic(dir + "/none.mfd", DumpFormat::kMfd, error));
  EXPECT_EQ("cannot read it (No such file or directory)", error);
  rmdir(dir.c_str());
}

}  // namespace
