// SPDX-License-Identifier: MIT
// The PC/SC Part 3 pseudo-APDUs against a fake card: every status word, and
// that nothing of class FF the layer does not know reaches the card.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <string>

#include "pseudo_apdu.h"

namespace orvex_ifd {
namespace {

Bytes H(const std::string& hex) {
  Bytes b;
  for (size_t i = 0; i < hex.size();) {
    if (hex[i] == ' ') {
      ++i;
      continue;
    }
    b.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    i += 2;
  }
  return b;
}

// A card behind CardIo: memory in read units, a key per sector, refusals
// and failures on demand, and a record of what was asked.
class FakeCard : public CardIo {
 public:
  std::map<int, Bytes> memory;
  Bytes key = H("FFFFFFFFFFFF");
  Result next = Result::kOk;  // forced for the next operation
  bool present = true;
  std::string log;

  Result Authenticate(uint8_t key_type, int block, const uint8_t* k) override {
    log += "auth " + std::to_string(key_type) + " " + std::to_string(block) + ";";
    if (next != Result::kOk) return Take();
    return Bytes(k, k + 6) == key ? Result::kOk : Result::kRefused;
  }
  Result Read(int block, Bytes& out) override {
    log += "read " + std::to_string(block) + ";";
    if (next != Result::kOk) return Take();
    out = memory.count(block) ? memory[block] : Bytes(16, 0);
    return Result::kOk;
  }
  Result Write(int block, const Bytes& data) override {
    log += "write " + std::to_string(block) + ";";
    if (next != Result::kOk) return Take();
    memory[block] = data;
    return Result::kOk;
  }
  bool Recover() override {
    log += "recover;";
    return present;
  }

 private:
  Result Take() {
    Result r = next;
    next = Result::kOk;
    return r;
  }
};

CardInfo Classic1K() {
  CardInfo c;
  c.kind = CardKind::kMifareClassic;
  c.uid = H("A1B2C3D4");
  c.blocks = 64;
  c.block_size = 16;
  return c;
}

class PseudoApduTest : public ::testing::Test {
 protected:
  std::string Run(const char* apdu) { return Run(H(apdu)); }
  std::string Run(const Bytes& apdu) {
    auto o = layer.Handle(apdu, card);
    if (o.status == PseudoApdu::Outcome::Status::kCardGone) return "gone";
    if (o.status == PseudoApdu::Outcome::Status::kLinkFailure) return "link";
    return Hex(o.response);
  }

  KeyStore keys;
  CardInfo info = Classic1K();
  PseudoApdu layer{info, keys};
  FakeCard card;
};

TEST_F(PseudoApduTest, GetDataUid) {
  EXPECT_EQ(Run("FF CA 00 00 00"), "A1 B2 C3 D4 90 00");
  EXPECT_EQ(Run("FF CA 00 00"), "A1 B2 C3 D4 90 00");
  EXPECT_EQ(Run("FF CA 00 00 04"), "A1 B2 C3 D4 90 00");
  EXPECT_EQ(Run("FF CA 00 00 02"), "6C 04");
  EXPECT_EQ(Run("FF CA 00 00 08"), "A1 B2 C3 D4 62 82");
  EXPECT_EQ(Run("FF CA 00 01 00"), "6B 00");
  EXPECT_EQ(Run("FF CA 02 00 00"), "6A 81");
  // A storage card has no historical bytes of its own.
  EXPECT_EQ(Run("FF CA 01 00 00"), "6A 81");
  EXPECT_EQ(card.log, "");
}

TEST_F(PseudoApduTest, GetDataHistoricalBytesOfATypeACard) {
  CardInfo cpu;
  cpu.kind = CardKind::kIso14443_4A;
  cpu.uid = H("C1020304");
  cpu.historical = H("4F5658434F530100");
  PseudoApdu l(cpu, keys);
  EXPECT_FALSE(l.Handles(H("00 A4 04 00 00")));
  EXPECT_TRUE(l.Handles(H("FF CA 01 00 00")));
  EXPECT_EQ(Hex(l.Handle(H("FF CA 01 00 00"), card).response), "4F 56 58 43 4F 53 01 00 90 00");
  // Storage-card commands are not this card's.
  EXPECT_EQ(Hex(l.Handle(H("FF B0 00 04 10"), card).response), "6A 81");
  EXPECT_EQ(Hex(l.Handle(H("FF 86 00 00 05 01 00 04 60 00"), card).response), "6A 81");
  EXPECT_EQ(card.log, "");
}

TEST_F(PseudoApduTest, LoadKeys) {
  EXPECT_EQ(Run("FF 82 00 00 06 FF FF FF FF FF FF"), "90 00");
  EXPECT_EQ(Run("FF 82 00 01 06 A0 A1 A2 A3 A4 A5"), "90 00");
  EXPECT_EQ(Run("FF 82 00 02 06 A0 A1 A2 A3 A4 A5"), "69 88");
  EXPECT_EQ(Run("FF 82 80 00 06 A0 A1 A2 A3 A4 A5"), "69 83");
  EXPECT_EQ(Run("FF 82 40 00 06 A0 A1 A2 A3 A4 A5"), "69 85");
  EXPECT_EQ(Run("FF 82 20 00 06 A0 A1 A2 A3 A4 A5"), "69 87");
  EXPECT_EQ(Run("FF 82 01 00 06 A0 A1 A2 A3 A4 A5"), "6B 00");
  EXPECT_EQ(Run("FF 82 00 00 05 A0 A1 A2 A3 A4"), "69 89");
  EXPECT_EQ(Run("FF 82 00 00 06 A0 A1 A2 A3 A4"), "67 00");
  ASSERT_TRUE(keys.keys[0]);
  EXPECT_EQ(Hex(Bytes(keys.keys[0]->begin(), keys.keys[0]->end())), "FF FF FF FF FF FF");
  EXPECT_EQ(card.log, "");
}

TEST_F(PseudoApduTest, AuthenticateThenReadAndUpdateInTheSector) {
  Run("FF 82 00 00 06 FF FF FF FF FF FF");
  EXPECT_EQ(Run("FF B0 00 04 10"), "69 82");  // not authenticated: the card is not asked
  EXPECT_EQ(card.log, "");
  EXPECT_EQ(Run("FF 86 00 00 05 01 00 04 60 00"), "90 00");
  EXPECT_EQ(layer.authenticated_sector(), 1);
  card.memory[5] = H("00112233445566778899AABBCCDDEEFF");
  EXPECT_EQ(Run("FF B0 00 05 10"), "00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF 90 00");
  EXPECT_EQ(Run("FF B0 00 05 00"), "00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF 90 00");
  EXPECT_EQ(Run("FF B0 00 05 02"), "00 11 90 00");
  EXPECT_EQ(Run("FF B0 00 05 11"), "6C 10");
  EXPECT_EQ(Run("FF D6 00 06 10 0102030405060708090A0B0C0D0E0F10"), "90 00");
  EXPECT_EQ(Hex(card.memory[6]), "01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10");
  EXPECT_EQ(Run("FF D6 00 06 04 01020304"), "67 00");
  // Sector 2 is not open.
  card.log.clear();
  EXPECT_EQ(Run("FF B0 00 08 10"), "69 82");
  EXPECT_EQ(Run("FF D6 00 08 10 0102030405060708090A0B0C0D0E0F10"), "69 82");
  EXPECT_EQ(card.log, "");
  // Out of the card.
  EXPECT_EQ(Run("FF B0 00 40 10"), "6A 82");
  EXPECT_EQ(Run("FF D6 01 00 10 0102030405060708090A0B0C0D0E0F10"), "6A 82");
}

TEST_F(PseudoApduTest, AuthenticateStatusWords) {
  Run("FF 82 00 00 06 A0 A1 A2 A3 A4 A5");  // not the card's key
  EXPECT_EQ(Run("FF 86 00 00 05 01 00 04 60 00"), "63 00");
  EXPECT_EQ(card.log, "auth 96 4;recover;");
  EXPECT_EQ(layer.authenticated_sector(), std::nullopt);
  EXPECT_EQ(Run("FF 86 00 00 05 01 00 04 60 01"), "69 84");  // empty slot
  EXPECT_EQ(Run("FF 86 00 00 05 01 00 04 60 02"), "69 88");
  EXPECT_EQ(Run("FF 86 00 00 05 01 00 04 62 00"), "69 86");
  EXPECT_EQ(Run("FF 86 00 00 05 01 00 40 60 00"), "65 81");
  EXPECT_EQ(Run("FF 86 00 00 05 02 00 04 60 00"), "6A 81");
  EXPECT_EQ(Run("FF 86 00 01 05 01 00 04 60 00"), "6B 00");
  EXPECT_EQ(Run("FF 86 00 00 04 01 00 04 60"), "67 00");
  // The older form: FF 88 00 block key-type key-number.
  card.key = H("A0A1A2A3A4A5");
  EXPECT_EQ(Run("FF 88 00 04 61 00"), "90 00");
  EXPECT_EQ(card.log.substr(card.log.size() - 10), "auth 97 4;");
  EXPECT_EQ(Run("FF 88 00 04 61"), "67 00");
  EXPECT_EQ(Run("FF 88 01 04 61 00"), "6B 00");
}

TEST_F(PseudoApduTest, RefusalsAfterwardsAndCardsThatLeft) {
  Run("FF 82 00 00 06 FF FF FF FF FF FF");
  Run("FF 86 00 00 05 01 00 04 60 00");
  // The card refuses the read (access conditions): 69 82, the card is
  // brought back, and the authentication is gone with its idle state.
  card.next = CardIo::Result::kRefused;
  EXPECT_EQ(Run("FF B0 00 04 10"), "69 82");
  EXPECT_EQ(layer.authenticated_sector(), std::nullopt);
  Run("FF 86 00 00 05 01 00 04 60 00");
  card.next = CardIo::Result::kRefused;
  EXPECT_EQ(Run("FF D6 00 04 10 0102030405060708090A0B0C0D0E0F10"), "69 82");
  // A refusal by a card that is no longer there.
  Run("FF 86 00 00 05 01 00 04 60 00");
  card.present = false;
  card.next = CardIo::Result::kRefused;
  EXPECT_EQ(Run("FF B0 00 04 10"), "gone");
  card.present = true;
  // No answer from the reader at all.
  Run("FF 86 00 00 05 01 00 04 60 00");
  card.next = CardIo::Result::kFailed;
  EXPECT_EQ(Run("FF B0 00 04 10"), "link");
  card.next = CardIo::Result::kFailed;
  EXPECT_EQ(Run("FF 86 00 00 05 01 00 04 60 00"), "link");
}

TEST_F(PseudoApduTest, EverythingElseIsRefusedWithoutReachingTheCard) {
  for (const char* apdu : {"FF 00 00 00 02 D4 02", "FF C2 00 00 02 81 00", "FF D7 00 04 05 01 00 00 00 01",
                           "FF 84 00 00 08", "FF A4 00 00 02 3F 00"})
    EXPECT_EQ(Run(apdu), "6A 81") << apdu;
  // Other classes: a storage card has no APDUs.
  EXPECT_EQ(Run("00 A4 04 00 02 3F 00"), "6E 00");
  EXPECT_EQ(Run("80 CA 00 00 00"), "6E 00");
  // Malformed.
  EXPECT_EQ(Run("FF CA"), "67 00");
  EXPECT_EQ(Run("FF CA 00 00 05 01"), "67 00");
  EXPECT_EQ(card.log, "");
}

TEST_F(PseudoApduTest, Type2Pages) {
  CardInfo tag;
  tag.kind = CardKind::kType2;
  tag.uid = H("04112233445566");
  tag.blocks = 135;
  tag.block_size = 4;
  PseudoApdu l(tag, keys);
  auto run = [&](const char* apdu) { return Hex(l.Handle(H(apdu), card).response); };
  card.memory[4] = H("0102030405060708090A0B0C0D0E0F10");
  EXPECT_EQ(run("FF B0 00 04 10"), "01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 90 00");
  EXPECT_EQ(run("FF B0 00 04 04"), "01 02 03 04 90 00");
  EXPECT_EQ(run("FF D6 00 05 04 DE AD BE EF"), "90 00");
  EXPECT_EQ(Hex(card.memory[5]), "DE AD BE EF");
  EXPECT_EQ(run("FF D6 00 05 10 0102030405060708090A0B0C0D0E0F10"), "67 00");
  EXPECT_EQ(run("FF B0 00 87 10"), "6A 82");
  // A locked page: the tag's refusal.
  card.next = CardIo::Result::kRefused;
  EXPECT_EQ(run("FF D6 00 02 04 00 00 00 00"), "65 81");
  EXPECT_EQ(run("FF 86 00 00 05 01 00 04 60 00"), "6A 81");
}

TEST_F(PseudoApduTest, Iso15693Blocks) {
  CardInfo tag;
  tag.kind = CardKind::kIso15693;
  tag.uid = H("06050403020104E0");
  tag.blocks = 28;
  tag.block_size = 4;
  PseudoApdu l(tag, keys);
  auto run = [&](const char* apdu) { return Hex(l.Handle(H(apdu), card).response); };
  card.memory[5] = H("11223344");
  EXPECT_EQ(run("FF B0 00 05 04"), "11 22 33 44 90 00");
  EXPECT_EQ(run("FF B0 00 05 10"), "6C 04");
  EXPECT_EQ(run("FF D6 00 06 04 55 66 77 88"), "90 00");
  EXPECT_EQ(run("FF D6 00 06 03 55 66 77"), "67 00");
  EXPECT_EQ(run("FF B0 00 1C 04"), "6A 82");
}

TEST_F(PseudoApduTest, KeysAreTheReadersNotTheCards) {
  Run("FF 82 00 01 06 FF FF FF FF FF FF");
  PseudoApdu next(Classic1K(), keys);
  EXPECT_EQ(Hex(next.Handle(H("FF 86 00 00 05 01 00 04 60 01"), card).response), "90 00");
}

}  // namespace
}  // namespace orvex_ifd
