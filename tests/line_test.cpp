// SPDX-License-Identifier: MIT
// The in-process line: the whole link above the port runs over it.
#include <gtest/gtest.h>

#include <deque>

#include "fake_reader.h"
#include "link/untFunction.h"
#include "orvex.h"
#include "transport/PCComm.h"

using namespace orvex;
using orvex_test::Bytes;

namespace {

// Hands out scripted chunks, one per read; an empty chunk is a read that
// finds nothing.
class ScriptedLine : public Line {
 public:
  std::deque<Bytes> chunks;
  Bytes written;
  int reads = 0;
  int Write(const unsigned char* p, int n) override {
    written.assign(p, p + n);
    return n;
  }
  int Read(unsigned char* p, int capacity, int) override {
    ++reads;
    if (chunks.empty()) return transport::kLineHungUp;
    Bytes c = chunks.front();
    chunks.pop_front();
    int n = std::min<int>(capacity, static_cast<int>(c.size()));
    std::copy(c.begin(), c.begin() + n, p);
    return n;
  }
};

class LineTest : public ::testing::Test {
 protected:
  void SetUp() override { AttachLine_(&line); }
  void TearDown() override { Orvex().OV_ComFree(); }
  ScriptedLine line;
  Orvex ov;
};

}  // namespace

TEST_F(LineTest, CommandGoesOutAsASerialFrame) {
  line.chunks.push_back(orvex_test::SerialAnswerFrame(1, 0x04, 0, {0x01, 0x02}));
  EXPECT_EQ(0x0102, ov.OV_GetReaderVersion(1));
  EXPECT_EQ(orvex_test::SerialCommandFrame(1, 0x04, {}), line.written);
  EXPECT_EQ(1, line.reads);  // complete after the first read: no second one
}

TEST_F(LineTest, AnswerInPiecesIsJoined) {
  Bytes f = orvex_test::SerialAnswerFrame(1, 0x04, 0, {0x01, 0x02});
  line.chunks.push_back(Bytes(f.begin(), f.begin() + 3));
  line.chunks.push_back(Bytes());
  line.chunks.push_back(Bytes(f.begin() + 3, f.end()));
  EXPECT_EQ(0x0102, ov.OV_GetReaderVersion(1));
  EXPECT_EQ(3, line.reads);
}

TEST_F(LineTest, HangUpMidFrameFails) {
  Bytes f = orvex_test::SerialAnswerFrame(1, 0x04, 0, {0x01, 0x02});
  line.chunks.push_back(Bytes(f.begin(), f.begin() + 3));
  EXPECT_EQ(-1, ov.OV_GetReaderVersion(1));
}

TEST_F(LineTest, NothingAtAllFails) { EXPECT_EQ(-1, ov.OV_GetReaderVersion(1)); }

TEST_F(LineTest, ClosingDetachesTheLine) {
  ov.OV_ComFree();
  EXPECT_EQ(0, FaceID);
  line.chunks.push_back(orvex_test::SerialAnswerFrame(1, 0x04, 0, {0x01, 0x02}));
  EXPECT_EQ(-1, ov.OV_GetReaderVersion(1));
  EXPECT_TRUE(line.written.empty());
}
