// SPDX-License-Identifier: MIT
// MIFARE Classic sessions of the orvex tool: sector geometry, keys, and one
// card's authentications, reads and writes with their failures in words.
#pragma once

#include <array>
#include <functional>

#include "commands.h"
#include "iso14443a.h"
#include "mifare_dump.h"

namespace orvextool {
constexpr unsigned char kKeyA = 0x60, kKeyB = 0x61;
using Key = std::array<uint8_t, 6>;

// The publicly known default keys, the transport key first: tried after the
// user's own key files unless --no-default-keys.
const std::vector<Key>& DefaultKeys();

using orvexformats::BlocksIn;
using orvexformats::FirstBlock;
using orvexformats::IsTrailer;
using orvexformats::SectorOf;
using orvexformats::Sectors;
using orvexformats::TrailerOf;

// A block a value operation may use (MIFARE Classic or Plus): not block 0,
// not a sector trailer; else a usage Failure (what: the command).
void CheckValueBlockNumber(int block, const std::string& what);
// "100 (address byte 05)"
std::string ValueText(const orvexformats::ValueBlock& v);

// A session on one MIFARE Classic card: after a refusal the card falls back
// to idle, so every retry selects it again (and checks it is the same card).
class Classic {
 public:
  Classic(Context& ctx, const TypeACardInfo& card) : ctx_(ctx), card_(card) {}

  void Reselect() {
    TypeACardInfo again;
    if (!SelectTypeAByUid(ctx_, card_.uid, again))
      throw Failure("the card " + Hex(card_.uid) + " left the field");
  }

  // Authenticates the sector with the first key of the list that works.
  bool FindKey(int sector, unsigned char mode, const std::vector<Key>& keys, Key& found) {
    for (const Key& k : keys) {
      Key copy = k;
      int rc = ctx_.ov.OV_KeyAuthorization(ctx_.reader_id, mode, FirstBlock(sector), copy.data());
      if (rc == 1) {
        found = k;
        return true;
      }
      if (rc == -1 || rc == -2)
        CheckCard(-1, "authenticating sector " + std::to_string(sector), "");
      Reselect();
    }
    return false;
  }

  bool Auth(int sector, unsigned char mode, const Key& key) {
    Key copy = key;
    int rc = ctx_.ov.OV_KeyAuthorization(ctx_.reader_id, mode, FirstBlock(sector), copy.data());
    if (rc == -1 || rc == -2)
      CheckCard(-1, "authenticating sector " + std::to_string(sector), "");
    return rc == 1;
  }

  // -3 (refused) gives false; a link failure throws.
  // A block whose answer comes back short is a failure, never data.
  bool Read(int block, uint8_t* out) {
    uint8_t got[16];
    int rc = ctx_.ov.OV_ReadaBlock(ctx_.reader_id, block, 16, got);
    if (rc == -3) return false;
    CheckCard(rc, "reading block " + std::to_string(block), "");
    if (LastAnswerLength() >= 0 && LastAnswerLength() < 16)
      throw Failure("reading block " + std::to_string(block) + ": the reader's answer was cut short (" +
                    std::to_string(LastAnswerLength()) + " of 16 bytes); nothing was written");
    std::copy(got, got + 16, out);
    return true;
  }

  // Opens the sector with the first key of the list that does, key A before
  // key B, and runs op with it, until op says the card did what was asked
  // (false: the card refused, which leaves it idle). mode and key: the key
  // that did it.
  bool WithKey(int sector, const std::vector<Key>& keys,
               const std::function<bool(unsigned char mode, const Key& key)>& op, unsigned char& mode, Key& key) {
    for (unsigned char m : {kKeyA, kKeyB}) {
      Key k{};
      Reselect();
      if (!FindKey(sector, m, keys, k)) continue;
      if (!op(m, k)) continue;
      mode = m;
      key = k;
      return true;
    }
    return false;
  }

  const TypeACardInfo& card() const { return card_; }

  bool Write(int block, const uint8_t* data) {
    Bytes copy(data, data + 16);
    int rc = ctx_.ov.OV_WriteaBlock(ctx_.reader_id, block, 16, copy.data());
    if (rc == -3) return false;
    CheckCard(rc, "writing block " + std::to_string(block), "");
    return true;
  }

 private:
  Context& ctx_;
  TypeACardInfo card_;
};

}  // namespace orvextool
