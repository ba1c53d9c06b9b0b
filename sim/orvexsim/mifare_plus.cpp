// SPDX-License-Identifier: MIT
// The MIFARE Plus model and the reader's commands 0x90 to 0x9F.
#include "orvexsim/mifare_plus.h"

#include <cstdint>

#include "orvexsim/families.h"
#include "orvexsim/mifare_classic.h"

namespace orvexsim {

MifarePlus::MifarePlus(Bytes uid) : TypeACard(std::move(uid)) {
  mem_.assign(256 * 16, 0x00);
  std::copy(uid_.begin(), uid_.end(), mem_.begin());
}

Bytes MifarePlus::Stored(uint16_t addr) const {
  auto it = perso_.find(addr);
  return it == perso_.end() ? Bytes(16, 0xFF) : it->second;
}

uint8_t MifarePlus::WritePerso(uint16_t addr, const Bytes& data) {
  if (level_ != 0) return status::kWrongState;
  if (data.size() != 16) return status::kBadParameter;
  if (addr < 256) std::copy(data.begin(), data.end(), mem_.begin() + addr * 16);
  else perso_[addr] = data;
  return status::kOk;
}

uint8_t MifarePlus::CommitPerso() {
  if (level_ != 0) return status::kWrongState;
  level_ = 1;
  return status::kOk;
}

uint8_t MifarePlus::SwitchLevel(int level, const Bytes& key) {
  if ((level != 2 && level != 3) || level <= level_ || level_ == 0) return status::kWrongState;
  if (key != Stored(static_cast<uint16_t>(level == 2 ? 0x9001 : 0x9003))) return status::kAuthFailed;
  level_ = level;
  auth_sector_ = -1;
  return status::kOk;
}

uint8_t MifarePlus::Authenticate(uint16_t key_addr, const Bytes& key) {
  if (level_ < 2) return status::kWrongState;
  if (key_addr < 0x4000 || key_addr >= 0x4000 + 2 * 40) return status::kAuthFailed;
  if (key != Stored(key_addr)) {
    auth_sector_ = -1;
    return status::kAuthFailed;
  }
  auth_sector_ = (key_addr - 0x4000) / 2;
  return status::kOk;
}

bool MifarePlus::Usable(int block, int count) const {
  if (level_ < 2 || count <= 0 || block < 0 || block + count > 256) return false;
  for (int b = block; b < block + count; ++b)
    if (SectorOf(b) != auth_sector_) return false;
  return true;
}

uint8_t MifarePlus::Read(int block, int count, Bytes& out) {
  if (!Usable(block, count)) return status::kNotAuthenticated;
  out = Slice(mem_, static_cast<size_t>(block) * 16, static_cast<size_t>(count) * 16);
  return status::kOk;
}

uint8_t MifarePlus::Write(int block, const Bytes& data) {
  int count = static_cast<int>(data.size() / 16);
  if (data.empty() || data.size() % 16) return status::kBadParameter;
  if (!Usable(block, count) || block == 0) return status::kNotAuthenticated;
  std::copy(data.begin(), data.end(), mem_.begin() + block * 16);
  Wrote();
  return status::kOk;
}

namespace {

class Plus : public Family {
 public:
  using Family::Family;

  bool Handle(uint8_t cmd, const Bytes& d, Reply& r) override {
    if (cmd < 0x90 || cmd > 0x9F) return false;
    auto c = std::dynamic_pointer_cast<MifarePlus>(ctx_.selected);
    if (!c || !ctx_.antenna_on || c->state() != TypeACard::State::kActive) {
      r = Reply::Fail(status::kNoCard);
      return true;
    }
    r = Run(*c, cmd, d);
    return true;
  }

 private:
  static Reply Bad() { return Reply::Fail(status::kBadParameter); }
  static Reply Of(uint8_t s, Bytes data = {}) { return s == status::kOk ? Reply::Ok(std::move(data)) : Reply::Fail(s); }

  Reply Run(MifarePlus& c, uint8_t cmd, const Bytes& d) {
    switch (cmd) {
      case 0x90: return d.size() == 18 ? Of(c.WritePerso(Be16(d, 0), Slice(d, 2))) : Bad();
      case 0x91: return d.empty() ? Of(c.CommitPerso()) : Bad();
      case 0x92: return d.size() == 17 ? Of(c.SwitchLevel(d[0], Slice(d, 1))) : Bad();
      case 0x9B:
      case 0x9C: return d.size() == 18 ? Of(c.Authenticate(Be16(d, 0), Slice(d, 2))) : Bad();
      case 0x93: {  // key B (1) or A (0), block, key
        if (d.size() != 18) return Bad();
        int sector = MifarePlus::SectorOf(d[1]);
        return Of(c.Authenticate(static_cast<uint16_t>(0x4000 + 2 * sector + (d[0] ? 1 : 0)), Slice(d, 2)));
      }
      case 0x9E:
      case 0x94: {  // block (2 or 1 bytes), count
        size_t w = cmd == 0x9E ? 2 : 1;
        if (d.size() != w + 1) return Bad();
        Bytes out;
        int block = cmd == 0x9E ? Be16(d, 0) : d[0];
        uint8_t s = c.Read(block, d[w], out);
        return Of(s, out);
      }
      case 0x9F:
      case 0x95: {  // block, count, data
        size_t w = cmd == 0x9F ? 2 : 1;
        if (d.size() < w + 1 || d.size() != w + 1 + 16u * d[w]) return Bad();
        int block = cmd == 0x9F ? Be16(d, 0) : d[0];
        return Of(c.Write(block, Slice(d, w + 1)));
      }
      case 0x96:  // block, value (4, least significant first)
        if (d.size() != 5) return Bad();
        return Of(c.Write(d[0], mfc::ValueBlock(static_cast<int32_t>(Le32(d, 1)), d[0])));
      case 0x97: {
        if (d.size() != 1) return Bad();
        int32_t v;
        Bytes b;
        uint8_t s = ReadValue(c, d[0], v, b);
        if (s != status::kOk) return Reply::Fail(s);
        Bytes out;
        PutLe32(out, static_cast<uint32_t>(v));
        return Reply::Ok(out);
      }
      case 0x98:
      case 0x99: {
        if (d.size() != 5) return Bad();
        int32_t v;
        Bytes b;
        uint8_t s = ReadValue(c, d[0], v, b);
        if (s != status::kOk) return Reply::Fail(s);
        // A result outside the signed 32-bit range is refused, the block unchanged.
        const int64_t delta = static_cast<int32_t>(Le32(d, 1));
        const int64_t nv = cmd == 0x98 ? int64_t{v} + delta : int64_t{v} - delta;
        if (nv < INT32_MIN || nv > INT32_MAX) return Reply::Fail(status::kCardRefused);
        return Of(c.Write(d[0], mfc::ValueBlock(static_cast<int32_t>(nv), b[12])));
      }
      case 0x9A: {  // copies the value block to another block
        if (d.size() != 2) return Bad();
        int32_t v;
        Bytes b;
        uint8_t s = ReadValue(c, d[0], v, b);
        if (s != status::kOk) return Reply::Fail(s);
        return Of(c.Write(d[1], b));
      }
    }
    return Reply::Fail(status::kUnknownCommand);
  }

  static uint8_t ReadValue(MifarePlus& c, int block, int32_t& v, Bytes& b) {
    uint8_t s = c.Read(block, 1, b);
    if (s != status::kOk) return s;
    uint8_t addr;
    return mfc::ParseValueBlock(b.data(), v, addr) ? status::kOk : status::kNotValueBlock;
  }
};

}  // namespace

std::unique_ptr<Family> MakeMifarePlus(Context& ctx) { return std::make_unique<Plus>(ctx); }

}  // namespace orvexsim
