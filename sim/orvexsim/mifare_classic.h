// SPDX-License-Identifier: MIT
// MIFARE Classic 1K and 4K: manufacturer block, sector trailers with keys A
// and B and the access conditions they carry, value blocks, and the
// card's internal value register.
#pragma once

#include <array>
#include <optional>

#include "orvexsim/card.h"

namespace orvexsim {
namespace mfc {

enum class Key { kA, kB };

// The access conditions of one sector: for each block group (0, 1, 2 and 3
// = the trailer) the bits C1 C2 C3 as a number C1*4 + C2*2 + C3.
struct Access {
  std::array<uint8_t, 4> c{};
  bool valid = false;  // the inverted copies agree with the plain bits
};
// From trailer bytes 6, 7 and 8.
Access DecodeAccess(const uint8_t* b);
// Trailer bytes 6, 7 and 8 for the four groups' conditions.
std::array<uint8_t, 3> EncodeAccess(const std::array<uint8_t, 4>& c);

// What a data block's conditions allow one key: read, write, increment, and
// decrement (which also covers transfer and restore).
enum class Op { kRead, kWrite, kIncrement, kDecrement };
bool DataAllows(uint8_t c, Op op, Key key);
// What a trailer's conditions allow one key on each part of the trailer.
enum class TrailerPart { kKeyA, kAccessBits, kKeyB };
bool TrailerReadAllowed(uint8_t c, TrailerPart part, Key key);
bool TrailerWriteAllowed(uint8_t c, TrailerPart part, Key key);
// The conditions under which key B can be read, and so cannot serve to
// authenticate: an authentication with it is followed by refusals.
bool KeyBReadable(uint8_t trailer_c);

// A value block: value, its complement, value (4 bytes each, least
// significant byte first), then address, complement, address, complement.
Bytes ValueBlock(int32_t value, uint8_t addr);
bool ParseValueBlock(const uint8_t* block, int32_t& value, uint8_t& addr);

}  // namespace mfc

class MifareClassic : public TypeACard {
 public:
  enum class Size { k1K, k4K };

  // A blank card: transport keys FF FF FF FF FF FF, access bits FF 07 80,
  // data blocks zero. uid is 4 or 7 bytes.
  MifareClassic(Size size, Bytes uid);
  // A card holding a raw dump (1024 or 4096 bytes, the .mfd layout); the
  // UID comes from its block 0. nullptr with error set for another size.
  // (Dump files in every format: sim/files/classic_files.h.)
  static std::shared_ptr<MifareClassic> FromDump(const Bytes& dump, std::string& error);
  // The memory as a raw dump, keys included.
  const Bytes& memory() const { return mem_; }
  Bytes& memory() { return mem_; }

  std::string kind() const override {
    return std::string(size_ == Size::k1K ? "mfc1k" : "mfc4k") + (block0_plain_write_ ? "-uid" : "");
  }
  uint16_t atqa() const override;
  uint8_t sak() const override { return size_ == Size::k1K ? 0x08 : 0x18; }
  Size size() const { return size_; }
  int block_count() const { return size_ == Size::k1K ? 64 : 256; }

  // A card whose manufacturer block can be written (a UID-changeable card):
  // through the reader's manufacturer-block write only, or with plain_write
  // through the ordinary block write too. Its UID then follows block 0.
  void set_block0_writable(bool w, bool plain_write = false) {
    block0_writable_ = w;
    block0_plain_write_ = w && plain_write;
  }

  static int SectorOf(int block);
  static int TrailerOf(int block);
  // Which access group (0 to 3) governs a block.
  static int GroupOf(int block);

  // Card commands on the active card. Each returns a reader status byte.
  // A refusal (NAK) or a failed authentication sends the card back to idle.
  uint8_t Authenticate(mfc::Key key, int block, const Bytes& key_value);
  uint8_t Read(int block, Bytes& out);
  // allow_block0: the reader's manufacturer-block write (it still needs a
  // card that allows it).
  uint8_t Write(int block, const Bytes& data, bool allow_block0 = false);
  uint8_t Increment(int block, int32_t amount);
  uint8_t Decrement(int block, int32_t amount);
  uint8_t Restore(int block);
  uint8_t Transfer(int block);

  // Which sector is authenticated, and with which key.
  std::optional<int> authenticated_sector() const { return auth_sector_; }

 protected:
  void Deactivated() override;

 private:
  uint8_t* BlockPtr(int block) { return mem_.data() + 16 * block; }
  const uint8_t* BlockPtr(int block) const { return mem_.data() + 16 * block; }
  // The rights of the authenticated key on a block; false (and a refusal)
  // when the block lies outside the authenticated sector or key B is
  // readable there.
  bool Usable(int block);
  uint8_t Refuse(uint8_t status);
  uint8_t ValueOp(int block, mfc::Op op, int32_t amount);

  Size size_;
  Bytes mem_;
  bool block0_writable_ = false;
  bool block0_plain_write_ = false;
  std::optional<int> auth_sector_;
  mfc::Key auth_key_ = mfc::Key::kA;
  // The value register: loaded by increment, decrement and restore, written
  // by transfer.
  bool reg_valid_ = false;
  int32_t reg_value_ = 0;
  uint8_t reg_addr_ = 0;
};

}  // namespace orvexsim
