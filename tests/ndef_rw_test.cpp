// SPDX-License-Identifier: MIT
// NDEF messages on tags through the fake reader: the frames of saving and
// reading on a MIFARE Classic 1K and on an NTAG, every failure from the step
// that causes it, and round trips through a card that keeps what is written.
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ndef/untNDEF.h"
#include "ndef/untNDEFRW.h"
#include "reader_fixture.h"

using namespace orvex_test;

namespace {

// A card in the fake reader's field that answers from its own memory: a
// MIFARE Classic 1K (16-byte blocks 0 to 63, one sector authenticated at a
// time with key B) or an NTAG (4-byte pages). Commands for which `refuse`
// says so are refused.
struct FakeCard {
  uint16_t type = 0x0400;  // card-type word: first request answer byte high
  bool ntag = false;
  Bytes keyB = Bytes(6, 0xFF);
  int sector = -1;  // the sector authenticated, -1 none
  std::map<int, Bytes> memory;
  std::function<bool(const Command&)> refuse;

  Bytes Unit(int n) const {
    auto it = memory.find(n);
    return it != memory.end() ? it->second : Bytes(ntag ? 4 : 16, 0);
  }

  Reply Answer(const Command& c) {
    if (refuse && refuse(c)) return Reply::Frame(0x01);
    const Bytes& d = c.data;
    switch (c.cmd) {
      case 0x22: return Reply::Ok({static_cast<uint8_t>(type >> 8), static_cast<uint8_t>(type)});
      case 0x24: sector = -1; return Reply::Ok({0x08, 0x11, 0x22, 0x33, 0x44});
      case 0x28:
        if (d.size() != 8 || d[1] >= 64 || Bytes(d.begin() + 2, d.end()) != keyB) {
          sector = -1;
          return Reply::Frame(0x02);
        }
        sector = d[1] / 4;
        return Reply::Ok();
      case 0x29:
        if (d.size() != 1 || d[0] / 4 != sector) return Reply::Frame(0x03);
        return Reply::Ok(Unit(d[0]));
      case 0x2A:
        if (d.size() != 17 || d[0] / 4 != sector) return Reply::Frame(0x03);
        memory[d[0]] = Bytes(d.begin() + 1, d.end());
        return Reply::Ok();
      case 0xC0:
        if (d.size() == 4 && d[0] == 0x10 && d[2] == 0x30) {
          Bytes r = {0x10};
          for (int i = 0; i < 4; ++i) {
            Bytes page = Unit(d[3] + i);
            r.insert(r.end(), page.begin(), page.end());
          }
          return Reply::Ok(r);
        }
        if (d.size() == 8 && d[0] == 0x10 && d[1] == 0x0F && d[2] == 0xA2) {
          memory[d[3]] = Bytes(d.begin() + 4, d.end());
          return Reply::Ok({0x10});
        }
        return Reply::Frame(0x04);
      default: return Reply::Frame(0x05);
    }
  }
};

using Frame = std::pair<uint8_t, Bytes>;

const Bytes kFF6 = Bytes(6, 0xFF);
const Bytes kMad1 = {0x14, 0x01, 0x03, 0xE1, 0x03, 0xE1, 0x03, 0xE1, 0x03, 0xE1, 0x03, 0xE1, 0x03, 0xE1, 0x03, 0xE1};
const Bytes kMad2 = {0x03, 0xE1, 0x03, 0xE1, 0x03, 0xE1, 0x03, 0xE1, 0x03, 0xE1, 0x03, 0xE1, 0x03, 0xE1, 0x03, 0xE1};
const Bytes kTrailer0 = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0x78, 0x77, 0x88, 0xC1, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
const Bytes kTrailerNdef = {0xD3, 0xF7, 0xD3, 0xF7, 0xD3, 0xF7, 0x7F, 0x07, 0x88, 0x40, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

Bytes Cat(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}
Bytes Part(const Bytes& b, size_t from, size_t n) {
  Bytes out(n, 0);
  for (size_t i = 0; i < n && from + i < b.size(); ++i) out[i] = b[from + i];
  return out;
}
Bytes Seq(uint8_t first, int n) {
  Bytes b;
  for (int i = 0; i < n; ++i) b.push_back(static_cast<uint8_t>(first + i));
  return b;
}

Frame Req() { return {0x22, {0x26}}; }
Frame Sel(uint8_t mode) { return {0x24, {mode}}; }
Frame Auth(int block, const Bytes& key = kFF6, uint8_t keyMode = 0x61) {
  return {0x28, Cat({keyMode, static_cast<uint8_t>(block)}, key)};
}
Frame Wr(int block, const Bytes& data) { return {0x2A, Cat({static_cast<uint8_t>(block)}, data)}; }
Frame Rd(int block) { return {0x29, {static_cast<uint8_t>(block)}}; }
Frame PageWr(int page, const Bytes& data) { return {0xC0, Cat({0x10, 0x0F, 0xA2, static_cast<uint8_t>(page)}, data)}; }
Frame PageRd(int page) { return {0xC0, {0x10, 0x05, 0x30, static_cast<uint8_t>(page)}}; }

// The message images used below, written out byte by byte.
// 3 bytes: no record.
const Bytes kEmpty = {0x03, 0x00, 0xFE};
// 14 bytes: one URI record, code 01, "abcdef".
const Bytes k14 = {0x03, 0x0B, 0xD1, 0x01, 0x07, 0x55, 0x01, 'a', 'b', 'c', 'd', 'e', 'f', 0xFE};
// 15 bytes: one URI record, code 01, "abcdefg".
const Bytes k15 = {0x03, 0x0C, 0xD1, 0x01, 0x08, 0x55, 0x01, 'a', 'b', 'c', 'd', 'e', 'f', 'g', 0xFE};

// 97 bytes: a text record of 40 't' and a URI record, code 04, of 42 'u'.
Bytes TwoRecordImage() {
  Bytes image = {0x03, 94, 0x91, 0x01, 43, 'T', 0x02, 'e', 'n'};
  image = Cat(image, Bytes(40, 't'));
  image = Cat(image, {0x51, 0x01, 43, 'U', 0x04});
  image = Cat(image, Bytes(42, 'u'));
  image.push_back(0xFE);
  return image;
}

class NdefTagTest : public FakeReaderTest {
 protected:
  void SetUp() override {
    FakeReaderTest::SetUp();
    ov.OV_NDEF_Free();
    std::shared_ptr<FakeCard> c = card;
    reader.SetResponder([c](const Command& cmd) { return c->Answer(cmd); });
  }
  void TearDown() override {
    ov.OV_NDEF_Free();
    FakeReaderTest::TearDown();
  }

  void UseNTag() {
    card->ntag = true;
    card->type = 0x4400;
  }
  // Fills the message buffer with records whose image is `image` (decoded
  // from it, so that the buffer encodes exactly these bytes again).
  void Load(const Bytes& image) {
    ASSERT_EQ(1, ov.OV_NDEF_Initial());
    TLV t;
    Bytes copy = image;
    ASSERT_GE(t.DecodeAllBuffer(copy.data(), static_cast<int>(copy.size())), 0);
    for (int i = 0; i < t.RecordCount; ++i) {
      NDEFRecord* r = t.NFCRecord[i];
      ASSERT_EQ(i + 1, ov.OV_NDEF_AddRecord(r->URI, r->strLen, reinterpret_cast<unsigned char*>(r->string)));
    }
  }
  // Everything the library sent since the last ClearRecord.
  void ExpectFrames(const std::vector<Frame>& expected) {
    std::vector<Frame> got;
    for (const Command& c : reader.commands()) {
      EXPECT_TRUE(c.valid);
      EXPECT_EQ(1, c.reader);
      got.emplace_back(c.cmd, c.data);
    }
    EXPECT_EQ(expected, got);
  }
  // A card holding `image` as saved on a MIFARE Classic 1K: behind two zero
  // bytes from block 4 on, trailers skipped.
  void PutOnClassic(const Bytes& image) {
    Bytes data = Cat({0x00, 0x00}, image);
    int block = 4;
    for (size_t at = 0; at < data.size(); at += 16) {
      card->memory[block] = Part(data, at, 16);
      ++block;
      if (block % 4 == 3) ++block;
    }
  }
  void PutOnNTag(const Bytes& image) {
    for (size_t at = 0; at < image.size(); at += 4) card->memory[4 + static_cast<int>(at / 4)] = Part(image, at, 4);
  }
  // OV_NDEF_Read sends exactly `frames` and finds `records` records.
  void ExpectOvRead(int records, const std::vector<Frame>& frames) {
    if (orvex::tlv == nullptr) {
      ASSERT_EQ(1, ov.OV_NDEF_Initial());
    }
    reader.ClearRecord();
    EXPECT_EQ(records, ov.OV_NDEF_Read(1));
    ExpectFrames(frames);
  }
  // Record i of the message buffer: its URI code and its content.
  std::pair<unsigned char, std::string> RecordAt(int i) {
    unsigned char code = 0xEE;
    int len = -1;
    unsigned char s[256];
    EXPECT_EQ(1, ov.OV_NDEF_GetRecord(i, &code, &len, s));
    return {code, std::string(s, s + (len > 0 ? len : 0))};
  }
  int Read(unsigned char* buf, uint8_t keyMode = 0x61, Bytes key = kFF6) {
    return NFC_Read(1, keyMode, key.data(), buf);
  }

  std::shared_ptr<FakeCard> card = std::make_shared<FakeCard>();
};

}  // namespace

// ---- Saving on a MIFARE Classic 1K ---------------------------------------------------

TEST_F(NdefTagTest, ClassicSaveEmptyMessage) {
  Load(kEmpty);
  EXPECT_EQ(1, ov.OV_NDEF_Save(1));
  Bytes block4 = Cat({0x00, 0x00, 0x03, 0x00, 0xFE}, Bytes(11, 0));
  ExpectFrames({Req(), Sel(0), Auth(1), Wr(1, kMad1), Wr(2, kMad2), Wr(3, kTrailer0), Auth(4), Wr(4, block4),
                Wr(7, kTrailerNdef)});
  EXPECT_EQ(block4, card->memory[4]);
  EXPECT_EQ(kTrailerNdef, card->memory[7]);
}

TEST_F(NdefTagTest, ClassicSaveFourteenBytesFillsBlockFour) {
  Load(k14);
  EXPECT_EQ(1, ov.OV_NDEF_Save(1));
  Bytes block4 = Cat({0x00, 0x00}, k14);
  ExpectFrames({Req(), Sel(0), Auth(1), Wr(1, kMad1), Wr(2, kMad2), Wr(3, kTrailer0), Auth(4), Wr(4, block4),
                Wr(7, kTrailerNdef)});
}

TEST_F(NdefTagTest, ClassicSaveFifteenBytesSpillsIntoBlockFive) {
  Load(k15);
  EXPECT_EQ(1, ov.OV_NDEF_Save(1));
  Bytes block4 = Cat({0x00, 0x00}, Part(k15, 0, 14));
  Bytes block5 = Cat({0xFE}, Bytes(15, 0));
  ExpectFrames({Req(), Sel(0), Auth(1), Wr(1, kMad1), Wr(2, kMad2), Wr(3, kTrailer0), Auth(4), Wr(4, block4),
                Wr(5, block5), Wr(7, kTrailerNdef)});
}

TEST_F(NdefTagTest, ClassicSaveMultiSectorMessage) {
  // Two records, 97 bytes of image: blocks 4 to 6, 8 to 10 and 12.
  ASSERT_EQ(1, ov.OV_NDEF_Initial());
  std::string text(40, 't');
  std::string uri(42, 'u');
  ASSERT_EQ(1, ov.OV_NDEF_AddRecord(0, 40, reinterpret_cast<unsigned char*>(&text[0])));
  ASSERT_EQ(2, ov.OV_NDEF_AddRecord(4, 42, reinterpret_cast<unsigned char*>(&uri[0])));
  const Bytes image = TwoRecordImage();
  EXPECT_EQ(1, ov.OV_NDEF_Save(1));
  ExpectFrames({Req(), Sel(0), Auth(1), Wr(1, kMad1), Wr(2, kMad2), Wr(3, kTrailer0),
                Auth(4), Wr(4, Cat({0, 0}, Part(image, 0, 14))), Wr(5, Part(image, 14, 16)),
                Wr(6, Part(image, 30, 16)), Wr(7, kTrailerNdef),
                Auth(8), Wr(8, Part(image, 46, 16)), Wr(9, Part(image, 62, 16)), Wr(10, Part(image, 78, 16)),
                Wr(11, kTrailerNdef),
                Auth(12), Wr(12, Part(image, 94, 16)), Wr(15, kTrailerNdef)});
  // The records stay, with their flags set by the encoding.
  EXPECT_EQ(std::make_pair(static_cast<unsigned char>(4), uri), RecordAt(1));
  EXPECT_EQ(1, orvex::tlv->NFCRecord[0]->MB);
  EXPECT_EQ(1, orvex::tlv->NFCRecord[1]->ME);
}

TEST_F(NdefTagTest, ClassicSaveEndingOnATrailer) {
  // 46 bytes fill blocks 4 to 6 exactly: the trailer that follows is the last
  // block written.
  Bytes image(46, 0x5A);
  EXPECT_EQ(1, NFC_Write(1, 0x61, Bytes(kFF6).data(), image.data(), 46));
  std::vector<Frame> got;
  for (const Command& c : reader.commands()) got.emplace_back(c.cmd, c.data);
  ASSERT_EQ(11u, got.size());
  EXPECT_EQ(Wr(6, Part(image, 30, 16)), got[9]);
  EXPECT_EQ(Wr(7, kTrailerNdef), got[10]);
}

TEST_F(NdefTagTest, ClassicWriteOfNothingWritesTheDirectoryAndATrailer) {
  Bytes none;
  Bytes key = kFF6;
  EXPECT_EQ(1, NFC_Write(1, 0x61, key.data(), none.data(), 0));
  ExpectFrames({Req(), Sel(0), Auth(1), Wr(1, kMad1), Wr(3, kTrailerNdef)});
}

TEST_F(NdefTagTest, ClassicWriteUsesTheCallersKeyAndKeyType) {
  Bytes key = {1, 2, 3, 4, 5, 6};
  card->keyB = key;
  Bytes image = kEmpty;
  EXPECT_EQ(1, NFC_Write(1, 0x60, key.data(), image.data(), 3));
  std::vector<Command> cmds = reader.commands();
  ASSERT_EQ(9u, cmds.size());
  EXPECT_EQ(Auth(1, key, 0x60).second, cmds[2].data);
  EXPECT_EQ(Auth(4, key, 0x60).second, cmds[6].data);
}

TEST_F(NdefTagTest, SaveAuthenticatesWithTheBuffersKey) {
  Bytes key = {9, 8, 7, 6, 5, 4};
  card->keyB = key;
  Load(kEmpty);
  EXPECT_EQ(-3, ov.OV_NDEF_Save(1));  // still FF x 6
  EXPECT_EQ(1, ov.OV_NDEF_SetKey(key.data()));
  reader.ClearRecord();
  EXPECT_EQ(1, ov.OV_NDEF_Save(1));
  EXPECT_EQ(Auth(1, key).second, reader.commands()[2].data);
  // A new buffer starts with FF x 6 again.
  ov.OV_NDEF_Free();
  Load(kEmpty);
  EXPECT_EQ(Bytes(6, 0xFF), Bytes(orvex::tlv->Key, orvex::tlv->Key + 6));
}

// ---- Failures of saving ---------------------------------------------------------------

TEST_F(NdefTagTest, SaveFailsWithMinusOneWhenTheRequestFails) {
  Load(k14);
  card->refuse = [](const Command& c) { return c.cmd == 0x22; };
  EXPECT_EQ(-1, ov.OV_NDEF_Save(1));
  ExpectFrames({Req()});
}

TEST_F(NdefTagTest, SaveFailsWithMinusTwoWhenSelectionFails) {
  Load(k14);
  card->refuse = [](const Command& c) { return c.cmd == 0x24; };
  EXPECT_EQ(-2, ov.OV_NDEF_Save(1));
  ExpectFrames({Req(), Sel(0)});
}

TEST_F(NdefTagTest, SaveFailsWithMinusFiveOnAnotherCardType) {
  Load(k14);
  card->type = 0x0800;
  EXPECT_EQ(-5, ov.OV_NDEF_Save(1));
  ExpectFrames({Req(), Sel(0)});
}

TEST_F(NdefTagTest, SaveFailsWithMinusThreeWhenSectorZeroRefusesTheKey) {
  Load(k14);
  card->keyB = Bytes(6, 0x00);
  EXPECT_EQ(-3, ov.OV_NDEF_Save(1));
  ExpectFrames({Req(), Sel(0), Auth(1)});
  EXPECT_TRUE(card->memory.empty());
}

TEST_F(NdefTagTest, SaveFailsWithMinusThreeInALaterSectorKeepingWhatWasWritten) {
  Bytes image(80, 0x33);
  image[0] = 0x03;
  card->refuse = [](const Command& c) { return c.cmd == 0x28 && c.data[1] == 8; };
  EXPECT_EQ(-3, NFC_Write(1, 0x61, Bytes(kFF6).data(), image.data(), 80));
  EXPECT_EQ(Auth(8), Frame(reader.last().cmd, reader.last().data));
  for (int b : {1, 2, 3, 4, 5, 6, 7}) EXPECT_EQ(1u, card->memory.count(b)) << b;
  EXPECT_EQ(Cat({0, 0}, Part(image, 0, 14)), card->memory[4]);
  EXPECT_EQ(0u, card->memory.count(8));
}

TEST_F(NdefTagTest, SaveFailsWithMinusFourWhenABlockWriteFailsKeepingWhatWasWritten) {
  Load(k15);
  card->refuse = [](const Command& c) { return c.cmd == 0x2A && c.data[0] == 5; };
  EXPECT_EQ(-4, ov.OV_NDEF_Save(1));
  ExpectFrames({Req(), Sel(0), Auth(1), Wr(1, kMad1), Wr(2, kMad2), Wr(3, kTrailer0), Auth(4),
                Wr(4, Cat({0, 0}, Part(k15, 0, 14))), Wr(5, Cat({0xFE}, Bytes(15, 0)))});
  EXPECT_EQ(Cat({0, 0}, Part(k15, 0, 14)), card->memory[4]);
  EXPECT_EQ(kMad1, card->memory[1]);
  EXPECT_EQ(0u, card->memory.count(5));
}

TEST_F(NdefTagTest, SaveFailsWithMinusFourWhenTheLastTrailerFails) {
  Load(kEmpty);
  card->refuse = [](const Command& c) { return c.cmd == 0x2A && c.data[0] == 7; };
  EXPECT_EQ(-4, ov.OV_NDEF_Save(1));
  EXPECT_EQ(1u, card->memory.count(4));
}

TEST_F(NdefTagTest, MessageLongerThanTheCardEndsAtBlockSixtyFour) {
  // 14 + 16 x 44 = 718 bytes fit in sectors 1 to 15.
  Bytes image(800, 0x44);
  EXPECT_EQ(-3, NFC_Write(1, 0x61, Bytes(kFF6).data(), image.data(), 800));
  EXPECT_EQ(Auth(64), Frame(reader.last().cmd, reader.last().data));
  EXPECT_EQ(Part(image, 14 + 16 * 43, 16), card->memory[62]);
  EXPECT_EQ(kTrailerNdef, card->memory[63]);
}

// ---- Saving on an NTAG ------------------------------------------------------------------

TEST_F(NdefTagTest, NTagSaveEmptyMessage) {
  UseNTag();
  Load(kEmpty);
  EXPECT_EQ(1, ov.OV_NDEF_Save(1));
  ExpectFrames({Req(), Sel(0), PageWr(4, {0x03, 0x00, 0xFE, 0x00})});
}

TEST_F(NdefTagTest, NTagSaveFourteenAndFifteenBytes) {
  UseNTag();
  Load(k14);
  EXPECT_EQ(1, ov.OV_NDEF_Save(1));
  ExpectFrames({Req(), Sel(0), PageWr(4, Part(k14, 0, 4)), PageWr(5, Part(k14, 4, 4)), PageWr(6, Part(k14, 8, 4)),
                PageWr(7, {'f', 0xFE, 0x00, 0x00})});
  ov.OV_NDEF_Free();
  reader.ClearRecord();
  Load(k15);
  EXPECT_EQ(1, ov.OV_NDEF_Save(1));
  ExpectFrames({Req(), Sel(0), PageWr(4, Part(k15, 0, 4)), PageWr(5, Part(k15, 4, 4)), PageWr(6, Part(k15, 8, 4)),
                PageWr(7, {'f', 'g', 0xFE, 0x00})});
}

TEST_F(NdefTagTest, NTagSaveLongerMessage) {
  UseNTag();
  ASSERT_EQ(1, ov.OV_NDEF_Initial());
  std::string text(30, 'x');
  ASSERT_EQ(1, ov.OV_NDEF_AddRecord(0, 30, reinterpret_cast<unsigned char*>(&text[0])));
  // 3 + 4 + 3 + 30 = 40 bytes: pages 4 to 13.
  EXPECT_EQ(1, ov.OV_NDEF_Save(1));
  std::vector<Command> cmds = reader.commands();
  ASSERT_EQ(12u, cmds.size());
  EXPECT_EQ(PageWr(4, {0x03, 37, 0xD1, 0x01}).second, cmds[2].data);
  EXPECT_EQ(PageWr(13, {'x', 'x', 'x', 0xFE}).second, cmds[11].data);
  for (const Command& c : cmds) EXPECT_NE(0x28, c.cmd);  // no authentication on an NTAG
}

TEST_F(NdefTagTest, NTagWriteOfFiveBytesWritesTwoPages) {
  UseNTag();
  Bytes image = {0x03, 0x01, 0x00, 0xFE, 0x77};
  Bytes key = kFF6;
  EXPECT_EQ(1, NFC_Write(1, 0x61, key.data(), image.data(), 5));
  ExpectFrames({Req(), Sel(0), PageWr(4, {0x03, 0x01, 0x00, 0xFE}), PageWr(5, {0x77, 0x00, 0x00, 0x00})});
}

TEST_F(NdefTagTest, NTagWriteOfNothingWritesOneZeroPage) {
  UseNTag();
  Bytes key = kFF6;
  unsigned char none[1] = {0x99};
  EXPECT_EQ(1, NFC_Write(1, 0x61, key.data(), none, 0));
  ExpectFrames({Req(), Sel(0), PageWr(4, {0, 0, 0, 0})});
}

TEST_F(NdefTagTest, NTagSaveFailsWithMinusFourKeepingEarlierPages) {
  UseNTag();
  Load(k15);
  card->refuse = [](const Command& c) { return c.cmd == 0xC0 && c.data[3] == 6; };
  EXPECT_EQ(-4, ov.OV_NDEF_Save(1));
  EXPECT_EQ(PageWr(6, Part(k15, 8, 4)), Frame(reader.last().cmd, reader.last().data));
  EXPECT_EQ(Part(k15, 0, 4), card->memory[4]);
  EXPECT_EQ(Part(k15, 4, 4), card->memory[5]);
  EXPECT_EQ(0u, card->memory.count(6));
}

TEST_F(NdefTagTest, NTagSaveFailuresBeforeTheFirstPage) {
  UseNTag();
  Load(k14);
  card->refuse = [](const Command& c) { return c.cmd == 0x22; };
  EXPECT_EQ(-1, ov.OV_NDEF_Save(1));
  card->refuse = [](const Command& c) { return c.cmd == 0x24; };
  EXPECT_EQ(-2, ov.OV_NDEF_Save(1));
  card->refuse = nullptr;
  card->type = 0x0044;  // the ATQA in the wrong byte order is no NTAG
  EXPECT_EQ(-5, ov.OV_NDEF_Save(1));
  for (const Command& c : reader.commands()) EXPECT_NE(0xC0, c.cmd);
}

// ---- Reading a MIFARE Classic 1K ----------------------------------------------------------

TEST_F(NdefTagTest, ClassicReadOfTheEmptyMessageTakesOneBlock) {
  PutOnClassic(kEmpty);
  unsigned char buf[300];
  EXPECT_EQ(16, Read(buf));  // 16 > 0 + 4
  EXPECT_EQ(Cat({0, 0, 0x03, 0x00, 0xFE}, Bytes(11, 0)), Bytes(buf, buf + 16));
  ExpectOvRead(0, {Req(), Sel(1), Auth(4), Rd(4)});
}

TEST_F(NdefTagTest, ClassicReadFourteenBytes) {
  PutOnClassic(k14);
  unsigned char buf[300];
  EXPECT_EQ(16, Read(buf));  // 16 > 11 + 4
  ExpectOvRead(1, {Req(), Sel(1), Auth(4), Rd(4)});
  EXPECT_EQ(std::make_pair(static_cast<unsigned char>(1), std::string("abcdef")), RecordAt(0));
}

TEST_F(NdefTagTest, ClassicReadFifteenBytes) {
  PutOnClassic(k15);
  unsigned char buf[300];
  EXPECT_EQ(32, Read(buf));  // 16 is not more than 12 + 4
  EXPECT_EQ(Cat({0, 0}, k15), Bytes(buf, buf + 17));
  ExpectOvRead(1, {Req(), Sel(1), Auth(4), Rd(4), Rd(5)});
  EXPECT_EQ(std::make_pair(static_cast<unsigned char>(1), std::string("abcdefg")), RecordAt(0));
}

TEST_F(NdefTagTest, ClassicReadMultiSectorMessageSkipsTrailers) {
  const Bytes image = TwoRecordImage();
  PutOnClassic(image);
  unsigned char buf[300];
  EXPECT_EQ(112, Read(buf));  // the first count above 94 + 4
  EXPECT_EQ(Cat({0, 0}, image), Bytes(buf, buf + 99));
  ExpectOvRead(2, {Req(), Sel(1), Auth(4), Rd(4), Rd(5), Rd(6), Auth(8), Rd(8), Rd(9), Rd(10), Auth(12), Rd(12)});
  EXPECT_EQ(std::make_pair(static_cast<unsigned char>(4), std::string(42, 'u')), RecordAt(1));
}

TEST_F(NdefTagTest, ClassicReadFailures) {
  PutOnClassic(Cat({0x03, 60}, Bytes(61, 0x61)));  // reaches sector 2
  unsigned char buf[300];
  card->refuse = [](const Command& c) { return c.cmd == 0x22; };
  EXPECT_EQ(-1, Read(buf));
  card->refuse = [](const Command& c) { return c.cmd == 0x24; };
  EXPECT_EQ(-2, Read(buf));
  card->refuse = [](const Command& c) { return c.cmd == 0x28; };
  EXPECT_EQ(-3, Read(buf));
  card->refuse = [](const Command& c) { return c.cmd == 0x28 && c.data[1] == 8; };
  EXPECT_EQ(-3, Read(buf));
  card->refuse = [](const Command& c) { return c.cmd == 0x29 && c.data[0] == 5; };
  EXPECT_EQ(-4, Read(buf));
  card->refuse = nullptr;
  card->type = 0x0001;
  EXPECT_EQ(-5, Read(buf));
}

TEST_F(NdefTagTest, ClassicReadWithoutTagWhereItBelongsIsMinusSix) {
  card->memory[4] = Cat({0x03, 0x00, 0x00, 0x00, 0xFE}, Bytes(11, 0));  // tag at byte 0, not 2
  unsigned char buf[300];
  EXPECT_EQ(-6, Read(buf));
  ExpectFrames({Req(), Sel(1), Auth(4), Rd(4)});
}

// ---- Reading an NTAG ----------------------------------------------------------------------------

TEST_F(NdefTagTest, NTagReadOfShortMessagesTakesOneRead) {
  UseNTag();
  unsigned char buf[300];
  int records = 0;
  for (const Bytes& image : {kEmpty, k14, k15}) {
    card->memory.clear();
    PutOnNTag(image);
    EXPECT_EQ(16, Read(buf));
    EXPECT_EQ(image, Bytes(buf, buf + image.size()));
    ExpectOvRead(records, {Req(), Sel(1), PageRd(4)});
    records = 1;
  }
}

TEST_F(NdefTagTest, NTagReadStopsAtTheLengthByteAlone) {
  // A value of 14 bytes: 17 with tag, length and terminator. One read of 16
  // satisfies the length byte, and the terminator is never read.
  UseNTag();
  Bytes image = {0x03, 0x0E, 0xD1, 0x01, 0x0A, 0x55, 0x01, 'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 0xFE};
  PutOnNTag(image);
  unsigned char buf[300];
  EXPECT_EQ(16, Read(buf));
  ExpectOvRead(-1, {Req(), Sel(1), PageRd(4)});
  // So does the two-record message: 96 bytes read, the terminator at 96.
  card->memory.clear();
  PutOnNTag(TwoRecordImage());
  EXPECT_EQ(96, Read(buf));
  ExpectOvRead(-1, {Req(), Sel(1), PageRd(4), PageRd(8), PageRd(12), PageRd(16), PageRd(20), PageRd(24)});
}

TEST_F(NdefTagTest, NTagReadOfALongerMessage) {
  // One text record of 33 bytes: a value of 40 bytes, read in three.
  UseNTag();
  Bytes image = Cat({0x03, 40, 0xD1, 0x01, 36, 'T', 0x02, 'e', 'n'}, Seq(0x40, 33));
  image.push_back(0xFE);
  PutOnNTag(image);
  unsigned char buf[300];
  EXPECT_EQ(48, Read(buf));
  EXPECT_EQ(image, Bytes(buf, buf + 43));
  ExpectOvRead(1, {Req(), Sel(1), PageRd(4), PageRd(8), PageRd(12)});
  const Bytes text = Seq(0x40, 33);
  EXPECT_EQ(std::make_pair(static_cast<unsigned char>(0), std::string(text.begin(), text.end())), RecordAt(0));
}

TEST_F(NdefTagTest, NTagReadFailures) {
  UseNTag();
  PutOnNTag(Cat({0x03, 40}, Bytes(41, 0x61)));
  unsigned char buf[300];
  card->refuse = [](const Command& c) { return c.cmd == 0x22; };
  EXPECT_EQ(-1, Read(buf));
  card->refuse = [](const Command& c) { return c.cmd == 0x24; };
  EXPECT_EQ(-2, Read(buf));
  card->refuse = [](const Command& c) { return c.cmd == 0xC0 && c.data[3] == 8; };
  EXPECT_EQ(-4, Read(buf));
  card->refuse = nullptr;
  card->memory[4] = {0xE1, 0x10, 0x12, 0x00};  // page 4 without the tag
  EXPECT_EQ(-6, Read(buf));
}

TEST_F(NdefTagTest, NTagReadTakesAtMostSixteenBytesAnAnswer) {
  UseNTag();
  reader.SetResponder(nullptr);
  reader.Ok({0x44, 0x00});
  reader.Ok({0x08, 1, 2, 3, 4});
  reader.Ok(Cat({0x10, 0x03, 0x05}, Bytes(40, 0x77)));  // more than four pages
  std::vector<unsigned char> buf(272, 0xEE);
  EXPECT_EQ(16, Read(buf.data()));
  EXPECT_EQ(0xEE, buf[16]);
}

TEST_F(NdefTagTest, NTagReadAnswerWithoutDataIsAFailedRead) {
  UseNTag();
  reader.SetResponder(nullptr);
  reader.Ok({0x44, 0x00});
  reader.Ok({0x08, 1, 2, 3, 4});
  reader.Ok({0x10});
  unsigned char buf[16];
  EXPECT_EQ(-4, Read(buf));
}

// ---- The read result goes on to the decoding unexamined -------------------------------------

TEST_F(NdefTagTest, ReadWithoutCardDecodesNothing) {
  ASSERT_EQ(1, ov.OV_NDEF_Initial());
  std::string a = "a";
  ov.OV_NDEF_AddRecord(1, 1, reinterpret_cast<unsigned char*>(&a[0]));
  card->refuse = [](const Command& c) { return c.cmd == 0x22; };
  EXPECT_EQ(-1, ov.OV_NDEF_Read(1));
  EXPECT_EQ(0, orvex::tlv->RecordCount);
}

TEST_F(NdefTagTest, ReadAfterMinusSixParsesTheBlockRead) {
  // Block 4 has no tag at byte 2, so the card read fails with -6; the block
  // is then parsed with position 0 taken as the tag.
  card->memory[4] = Cat({0x00, 0x06, 0xD1, 0x01, 0x02, 0x55, 0x01, 'a', 0xFE}, Bytes(7, 0));
  unsigned char buf[32];
  EXPECT_EQ(-6, Read(buf));
  ASSERT_EQ(1, ov.OV_NDEF_Initial());
  EXPECT_EQ(1, ov.OV_NDEF_Read(1));
  EXPECT_EQ(std::make_pair(static_cast<unsigned char>(1), std::string("a")), RecordAt(0));
}

// ---- Round trips ---------------------------------------------------------------------------

TEST_F(NdefTagTest, ClassicRoundTrip) {
  ASSERT_EQ(1, ov.OV_NDEF_Initial());
  std::vector<std::pair<unsigned char, std::string>> items = {
      {0x00, "Meeting at noon"}, {0x04, "example.com/agenda"}, {0x00, ""}, {0x02, std::string(60, 'p')},
      {0x00, std::string(100, 'q')}};
  for (auto& it : items)
    ASSERT_GT(ov.OV_NDEF_AddRecord(it.first, static_cast<int>(it.second.size()),
                                   reinterpret_cast<unsigned char*>(&it.second[0])), 0);
  EXPECT_EQ(1, ov.OV_NDEF_Save(1));
  EXPECT_EQ(kMad1, card->memory[1]);
  EXPECT_EQ(kMad2, card->memory[2]);
  EXPECT_EQ(kTrailer0, card->memory[3]);

  ASSERT_EQ(1, ov.OV_NDEF_ClearRecords());
  EXPECT_EQ(5, ov.OV_NDEF_Read(1));
  for (int i = 0; i < 5; ++i) EXPECT_EQ(items[static_cast<size_t>(i)], RecordAt(i));
}

TEST_F(NdefTagTest, NTagRoundTrip) {
  UseNTag();
  ASSERT_EQ(1, ov.OV_NDEF_Initial());
  std::string text = "Hello, tag";
  std::string uri = "example.org";
  ASSERT_EQ(1, ov.OV_NDEF_AddRecord(0, static_cast<int>(text.size()), reinterpret_cast<unsigned char*>(&text[0])));
  ASSERT_EQ(2, ov.OV_NDEF_AddRecord(3, static_cast<int>(uri.size()), reinterpret_cast<unsigned char*>(&uri[0])));
  EXPECT_EQ(1, ov.OV_NDEF_Save(1));
  ov.OV_NDEF_ClearRecords();
  EXPECT_EQ(2, ov.OV_NDEF_Read(1));
  EXPECT_EQ(std::make_pair(static_cast<unsigned char>(0), text), RecordAt(0));
  EXPECT_EQ(std::make_pair(static_cast<unsigned char>(3), uri), RecordAt(1));
}

// ---- The message buffer ---------------------------------------------------------------------

TEST_F(NdefTagTest, BufferLifecycle) {
  std::string a = "a";
  unsigned char* s = reinterpret_cast<unsigned char*>(&a[0]);
  unsigned char key[6] = {1, 2, 3, 4, 5, 6};
  unsigned char code = 0;
  int len = 0;
  unsigned char out[4];
  EXPECT_EQ(-1, ov.OV_NDEF_AddRecord(0, 1, s));
  EXPECT_EQ(-1, ov.OV_NDEF_SetKey(key));
  EXPECT_EQ(-1, ov.OV_NDEF_GetRecord(0, &code, &len, out));
  EXPECT_EQ(-1, ov.OV_NDEF_ClearRecords());
  EXPECT_EQ(-1, ov.OV_NDEF_Save(1));
  EXPECT_EQ(-1, ov.OV_NDEF_Read(1));
  EXPECT_TRUE(reader.commands().empty());
  EXPECT_EQ(1, ov.OV_NDEF_Free());

  EXPECT_EQ(1, ov.OV_NDEF_Initial());
  EXPECT_EQ(1, ov.OV_NDEF_AddRecord(0, 1, s));
  EXPECT_EQ(1, ov.OV_NDEF_SetKey(key));
  EXPECT_EQ(0, ov.OV_NDEF_Initial());  // keeps records and key
  Orvex other;
  EXPECT_EQ(1, other.OV_NDEF_GetRecord(0, &code, &len, out));
  EXPECT_EQ(0, other.OV_NDEF_GetRecord(1, &code, &len, out));
  EXPECT_EQ(Bytes(key, key + 6), Bytes(orvex::tlv->Key, orvex::tlv->Key + 6));
  for (int i = 2; i <= 5; ++i) EXPECT_EQ(i, ov.OV_NDEF_AddRecord(1, 1, s));
  EXPECT_EQ(-1, ov.OV_NDEF_AddRecord(1, 1, s));
  EXPECT_EQ(1, ov.OV_NDEF_ClearRecords());
  EXPECT_EQ(0, ov.OV_NDEF_GetRecord(0, &code, &len, out));
  EXPECT_EQ(1, ov.OV_NDEF_Free());
  EXPECT_EQ(nullptr, orvex::tlv);
  EXPECT_EQ(1, ov.OV_NDEF_Free());
}
