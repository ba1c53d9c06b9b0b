// SPDX-License-Identifier: MIT
#include "orvexsim/mifare_classic.h"

#include <algorithm>

#include "orvexsim/status.h"

namespace orvexsim {
namespace mfc {
namespace {

// Rights as a mask: 1 key A, 2 key B.
constexpr uint8_t N = 0, A = 1, B = 2, AB = 3;

// Data blocks, by C1 C2 C3: read, write, increment, decrement/transfer/restore.
constexpr uint8_t kData[8][4] = {
    {AB, AB, AB, AB},  // 000 transport configuration
    {AB, N, N, AB},    // 001 value block
    {AB, N, N, N},     // 010 read/write block
    {B, B, N, N},      // 011 read/write block
    {AB, B, N, N},     // 100 read/write block
    {B, N, N, N},      // 101 read/write block
    {AB, B, B, AB},    // 110 value block
    {N, N, N, N},      // 111 read/write block
};

// Trailers, by C1 C2 C3: key A read/write, access bits read/write, key B read/write.
constexpr uint8_t kTrailer[8][6] = {
    {N, A, A, N, A, A},      // 000 key B may be read
    {N, A, A, A, A, A},      // 001 transport configuration, key B may be read
    {N, N, A, N, A, N},      // 010 key B may be read
    {N, B, AB, B, N, B},     // 011
    {N, B, AB, N, N, B},     // 100
    {N, N, AB, B, N, N},     // 101
    {N, N, AB, N, N, N},     // 110
    {N, N, AB, N, N, N},     // 111
};

uint8_t Mask(Key k) { return k == Key::kA ? A : B; }

}  // namespace

Access DecodeAccess(const uint8_t* b) {
  uint8_t c1 = b[1] >> 4, c2 = b[2] & 0x0F, c3 = b[2] >> 4;
  uint8_t nc1 = b[0] & 0x0F, nc2 = b[0] >> 4, nc3 = b[1] & 0x0F;
  Access a;
  a.valid = ((c1 ^ nc1) == 0x0F) && ((c2 ^ nc2) == 0x0F) && ((c3 ^ nc3) == 0x0F);
  for (int g = 0; g < 4; ++g)
    a.c[static_cast<size_t>(g)] =
        static_cast<uint8_t>(((c1 >> g) & 1) << 2 | ((c2 >> g) & 1) << 1 | ((c3 >> g) & 1));
  return a;
}

std::array<uint8_t, 3> EncodeAccess(const std::array<uint8_t, 4>& c) {
  uint8_t c1 = 0, c2 = 0, c3 = 0;
  for (int g = 0; g < 4; ++g) {
    uint8_t v = c[static_cast<size_t>(g)];
    c1 |= static_cast<uint8_t>(((v >> 2) & 1) << g);
    c2 |= static_cast<uint8_t>(((v >> 1) & 1) << g);
    c3 |= static_cast<uint8_t>((v & 1) << g);
  }
  return {static_cast<uint8_t>((~c2 & 0x0F) << 4 | (~c1 & 0x0F)),
          static_cast<uint8_t>(c1 << 4 | (~c3 & 0x0F)), static_cast<uint8_t>(c3 << 4 | c2)};
}

bool DataAllows(uint8_t c, Op op, Key key) {
  return (kData[c & 7][static_cast<int>(op)] & Mask(key)) != 0;
}

bool TrailerReadAllowed(uint8_t c, TrailerPart part, Key key) {
  return (kTrailer[c & 7][2 * static_cast<int>(part)] & Mask(key)) != 0;
}

bool TrailerWriteAllowed(uint8_t c, TrailerPart part, Key key) {
  return (kTrailer[c & 7][2 * static_cast<int>(part) + 1] & Mask(key)) != 0;
}

bool KeyBReadable(uint8_t trailer_c) { return kTrailer[trailer_c & 7][4] != N; }

Bytes ValueBlock(int32_t value, uint8_t addr) {
  uint32_t v = static_cast<uint32_t>(value);
  Bytes b;
  PutLe32(b, v);
  PutLe32(b, ~v);
  PutLe32(b, v);
  b.insert(b.end(), {addr, static_cast<uint8_t>(~addr), addr, static_cast<uint8_t>(~addr)});
  return b;
}

bool ParseValueBlock(const uint8_t* b, int32_t& value, uint8_t& addr) {
  for (int i = 0; i < 4; ++i) {
    if (b[i] != b[8 + i] || static_cast<uint8_t>(~b[i]) != b[4 + i]) return false;
  }
  if (b[12] != b[14] || b[13] != b[15] || static_cast<uint8_t>(~b[12]) != b[13]) return false;
  Bytes v(b, b + 4);
  value = static_cast<int32_t>(Le32(v, 0));
  addr = b[12];
  return true;
}

}  // namespace mfc

using mfc::Key;
using mfc::Op;

MifareClassic::MifareClassic(Size size, Bytes uid) : TypeACard(std::move(uid)), size_(size) {
  mem_.assign(static_cast<size_t>(block_count()) * 16, 0x00);
  uint8_t* b0 = BlockPtr(0);
  size_t n = 0;
  for (uint8_t c : uid_) b0[n++] = c;
  if (uid_.size() == 4) b0[n++] = static_cast<uint8_t>(uid_[0] ^ uid_[1] ^ uid_[2] ^ uid_[3]);
  b0[n++] = sak();
  b0[n++] = static_cast<uint8_t>(atqa());
  b0[n++] = static_cast<uint8_t>(atqa() >> 8);
  Bytes maker = Pseudorandom(uid_, 16 - n);
  std::copy(maker.begin(), maker.end(), b0 + n);
  for (int b = 0; b < block_count(); ++b) {
    if (TrailerOf(b) != b) continue;
    uint8_t* t = BlockPtr(b);
    std::fill(t, t + 16, 0xFF);
    t[6] = 0xFF;
    t[7] = 0x07;
    t[8] = 0x80;
    t[9] = 0x69;
  }
}

std::shared_ptr<MifareClassic> MifareClassic::FromDump(const Bytes& dump, std::string& error) {
  Size size;
  if (dump.size() == 1024) {
    size = Size::k1K;
  } else if (dump.size() == 4096) {
    size = Size::k4K;
  } else {
    error = "a MIFARE Classic dump holds 1024 or 4096 bytes, not " + std::to_string(dump.size());
    return nullptr;
  }
  // A 4-byte UID is followed by its check byte (the XOR of the four).
  bool four = (dump[0] ^ dump[1] ^ dump[2] ^ dump[3]) == dump[4];
  auto card = std::make_shared<MifareClassic>(size, Slice(dump, 0, four ? 4 : 7));
  card->mem_ = dump;
  return card;
}

uint16_t MifareClassic::atqa() const {
  uint16_t a = size_ == Size::k1K ? 0x0004 : 0x0002;
  return uid_.size() == 4 ? a : static_cast<uint16_t>(a | 0x0040);
}

int MifareClassic::SectorOf(int block) { return block < 128 ? block / 4 : 32 + (block - 128) / 16; }

int MifareClassic::TrailerOf(int block) {
  return block < 128 ? block / 4 * 4 + 3 : 128 + (block - 128) / 16 * 16 + 15;
}

int MifareClassic::GroupOf(int block) {
  if (block < 128) return block % 4;
  int i = (block - 128) % 16;
  return i == 15 ? 3 : i / 5;
}

void MifareClassic::Deactivated() {
  auth_sector_.reset();
  reg_valid_ = false;
}

uint8_t MifareClassic::Refuse(uint8_t st) {
  set_state(State::kIdle);
  return st;
}

uint8_t MifareClassic::Authenticate(Key key, int block, const Bytes& key_value) {
  if (state() != State::kActive) return status::kNoCard;
  reg_valid_ = false;
  if (block < 0 || block >= block_count() || key_value.size() != 6) return Refuse(status::kAuthFailed);
  const uint8_t* t = BlockPtr(TrailerOf(block));
  const uint8_t* stored = key == Key::kA ? t : t + 10;
  if (!mfc::DecodeAccess(t + 6).valid || !std::equal(key_value.begin(), key_value.end(), stored))
    return Refuse(status::kAuthFailed);
  auth_sector_ = SectorOf(block);
  auth_key_ = key;
  return status::kOk;
}

bool MifareClassic::Usable(int block) {
  if (!auth_sector_ || block < 0 || block >= block_count() || SectorOf(block) != *auth_sector_)
    return false;
  mfc::Access a = mfc::DecodeAccess(BlockPtr(TrailerOf(block)) + 6);
  if (!a.valid) return false;
  // Key B that the trailer lets be read is no key: the card refuses every
  // access after an authentication with it.
  return !(auth_key_ == Key::kB && mfc::KeyBReadable(a.c[3]));
}

uint8_t MifareClassic::Read(int block, Bytes& out) {
  if (state() != State::kActive) return status::kNoCard;
  reg_valid_ = false;
  if (!auth_sector_) return Refuse(status::kNotAuthenticated);
  if (!Usable(block)) return Refuse(status::kCardRefused);
  const uint8_t* p = BlockPtr(block);
  mfc::Access a = mfc::DecodeAccess(BlockPtr(TrailerOf(block)) + 6);
  int group = GroupOf(block);
  if (group != 3) {
    if (!mfc::DataAllows(a.c[static_cast<size_t>(group)], Op::kRead, auth_key_)) return Refuse(status::kCardRefused);
    out.assign(p, p + 16);
    return status::kOk;
  }
  // A trailer reads back with key A hidden, and key B and the access bits
  // only where the conditions let them be read.
  out.assign(16, 0x00);
  uint8_t c = a.c[3];
  if (mfc::TrailerReadAllowed(c, mfc::TrailerPart::kAccessBits, auth_key_)) std::copy(p + 6, p + 10, out.begin() + 6);
  if (mfc::TrailerReadAllowed(c, mfc::TrailerPart::kKeyB, auth_key_)) std::copy(p + 10, p + 16, out.begin() + 10);
  return status::kOk;
}

uint8_t MifareClassic::Write(int block, const Bytes& data, bool allow_block0) {
  if (state() != State::kActive) return status::kNoCard;
  reg_valid_ = false;
  if (data.size() != 16) return status::kBadParameter;
  if (!auth_sector_) return Refuse(status::kNotAuthenticated);
  if (!Usable(block)) return Refuse(status::kCardRefused);
  if (block == 0 && !(block0_writable_ && (allow_block0 || block0_plain_write_))) return Refuse(status::kCardRefused);
  uint8_t* p = BlockPtr(block);
  mfc::Access a = mfc::DecodeAccess(BlockPtr(TrailerOf(block)) + 6);
  int group = GroupOf(block);
  if (group != 3) {
    if (!mfc::DataAllows(a.c[static_cast<size_t>(group)], Op::kWrite, auth_key_)) return Refuse(status::kCardRefused);
    std::copy(data.begin(), data.end(), p);
    // A 4-byte UID with its check byte: the card answers with it from its
    // next selection on.
    if (block == 0 && (p[0] ^ p[1] ^ p[2] ^ p[3]) == p[4] && uid_.size() == 4) uid_.assign(p, p + 4);
    Wrote();
    return status::kOk;
  }
  // A trailer: each part changes only where the conditions let this key
  // write it; the byte after the access bits goes with them.
  uint8_t c = a.c[3];
  bool key_a = mfc::TrailerWriteAllowed(c, mfc::TrailerPart::kKeyA, auth_key_);
  bool bits = mfc::TrailerWriteAllowed(c, mfc::TrailerPart::kAccessBits, auth_key_);
  bool key_b = mfc::TrailerWriteAllowed(c, mfc::TrailerPart::kKeyB, auth_key_);
  if (!key_a && !bits && !key_b) return Refuse(status::kCardRefused);
  if (key_a) std::copy(data.begin(), data.begin() + 6, p);
  if (bits) std::copy(data.begin() + 6, data.begin() + 10, p + 6);
  if (key_b) std::copy(data.begin() + 10, data.end(), p + 10);
  Wrote();
  return status::kOk;
}

uint8_t MifareClassic::ValueOp(int block, Op op, int32_t amount) {
  if (state() != State::kActive) return status::kNoCard;
  reg_valid_ = false;
  if (!auth_sector_) return Refuse(status::kNotAuthenticated);
  if (!Usable(block) || GroupOf(block) == 3) return Refuse(status::kCardRefused);
  mfc::Access a = mfc::DecodeAccess(BlockPtr(TrailerOf(block)) + 6);
  if (!mfc::DataAllows(a.c[static_cast<size_t>(GroupOf(block))], op, auth_key_)) return Refuse(status::kCardRefused);
  int32_t value;
  uint8_t addr;
  if (!mfc::ParseValueBlock(BlockPtr(block), value, addr)) return Refuse(status::kNotValueBlock);
  uint32_t v = static_cast<uint32_t>(value), d = static_cast<uint32_t>(amount);
  reg_value_ = static_cast<int32_t>(op == Op::kIncrement ? v + d : v - d);
  reg_addr_ = addr;
  reg_valid_ = true;
  return status::kOk;
}

uint8_t MifareClassic::Increment(int block, int32_t amount) { return ValueOp(block, Op::kIncrement, amount); }
uint8_t MifareClassic::Decrement(int block, int32_t amount) { return ValueOp(block, Op::kDecrement, amount); }
uint8_t MifareClassic::Restore(int block) { return ValueOp(block, Op::kDecrement, 0); }

uint8_t MifareClassic::Transfer(int block) {
  if (state() != State::kActive) return status::kNoCard;
  bool loaded = reg_valid_;
  reg_valid_ = false;
  if (!loaded) return Refuse(status::kWrongState);
  if (!Usable(block) || GroupOf(block) == 3 || block == 0) return Refuse(status::kCardRefused);
  mfc::Access a = mfc::DecodeAccess(BlockPtr(TrailerOf(block)) + 6);
  if (!mfc::DataAllows(a.c[static_cast<size_t>(GroupOf(block))], Op::kDecrement, auth_key_))
    return Refuse(status::kCardRefused);
  Bytes b = mfc::ValueBlock(reg_value_, reg_addr_);
  std::copy(b.begin(), b.end(), BlockPtr(block));
  Wrote();
  return status::kOk;
}

}  // namespace orvexsim
