// SPDX-License-Identifier: MIT
#include "orvexsim/ntag.h"

#include <algorithm>

namespace orvexsim {

namespace {
constexpr uint8_t kProt = 0x80;       // ACCESS: reads are protected too
constexpr uint8_t kCfgLock = 0x40;    // ACCESS: configuration locked
constexpr uint8_t kCounterOn = 0x10;  // ACCESS: NFC counter enabled
}  // namespace

Ntag::Ntag(Model model, Bytes uid) : TypeACard(std::move(uid)), model_(model) {
  int pages = model == Model::k213 ? 45 : model == Model::k215 ? 135 : 231;
  uint8_t cc_size = model == Model::k213 ? 0x12 : model == Model::k215 ? 0x3E : 0x6D;
  mem_.assign(static_cast<size_t>(pages) * 4, 0x00);
  const Bytes& u = uid_;
  mem_[0] = u[0];
  mem_[1] = u[1];
  mem_[2] = u[2];
  mem_[3] = static_cast<uint8_t>(0x88 ^ u[0] ^ u[1] ^ u[2]);
  std::copy(u.begin() + 3, u.begin() + 7, mem_.begin() + 4);
  mem_[8] = static_cast<uint8_t>(u[3] ^ u[4] ^ u[5] ^ u[6]);
  mem_[9] = 0x48;
  // Capability container: NDEF magic, version 1.0, data area size, read/write.
  mem_[12] = 0xE1;
  mem_[13] = 0x10;
  mem_[14] = cc_size;
  mem_[15] = 0x00;
  // An empty NDEF message TLV and the terminator.
  mem_[16] = 0x03;
  mem_[17] = 0x00;
  mem_[18] = 0xFE;
  auto at = [&](int page) { return mem_.begin() + page * 4; };
  const uint8_t dynlock[] = {0x00, 0x00, 0x00, 0xBD};
  const uint8_t cfg0[] = {0x04, 0x00, 0x00, 0xFF};  // MIRROR, RFUI, MIRROR_PAGE, AUTH0 (off)
  const uint8_t cfg1[] = {0x00, 0x05, 0x00, 0x00};  // ACCESS, RFUI...
  std::copy(dynlock, dynlock + 4, at(dynlock_page()));
  std::copy(cfg0, cfg0 + 4, at(cfg_page()));
  std::copy(cfg1, cfg1 + 4, at(access_page()));
  std::fill(at(pwd_page()), at(pwd_page()) + 4, 0xFF);
}

std::string Ntag::kind() const {
  return model_ == Model::k213 ? "ntag213" : model_ == Model::k215 ? "ntag215" : "ntag216";
}

void Ntag::PowerUp() {
  TypeACard::PowerUp();
  counted_ = false;
}

std::optional<Bytes> Ntag::Transceive(const Bytes& f) {
  if (state() != State::kActive || f.empty()) return std::nullopt;
  switch (f[0]) {
    case 0x60:  // GET_VERSION: vendor, type, subtype, version, storage size, protocol
      if (f.size() != 1) return std::nullopt;
      return Bytes{0x00, 0x04, 0x04, 0x02, 0x01, 0x00,
                   static_cast<uint8_t>(model_ == Model::k213 ? 0x0F : model_ == Model::k215 ? 0x11 : 0x13),
                   0x03};
    case 0x30:
      if (f.size() != 2) return std::nullopt;
      return Read(f[1]);
    case 0x3A:
      if (f.size() != 3) return std::nullopt;
      return FastRead(f[1], f[2]);
    case 0xA2:
      if (f.size() != 6) return std::nullopt;
      return Write(f[1], Slice(f, 2));
    case 0xA0:  // COMPATIBILITY_WRITE: 16 bytes sent, the first 4 written
      if (f.size() != 18) return std::nullopt;
      return Write(f[1], Slice(f, 2, 4));
    case 0x1B:
      if (f.size() != 5) return std::nullopt;
      return PwdAuth(Slice(f, 1));
    case 0x3C:  // READ_SIG: the 32-byte signature over the UID
      if (f.size() != 2 || f[1] != 0x00) return std::nullopt;
      return Pseudorandom(Concat({0x5A}, uid_), 32);
    case 0x39:
      if (f.size() != 2 || f[1] != 0x02) return std::nullopt;
      return ReadCounter();
    case 0x50:  // HALT
      if (f.size() != 2 || f[1] != 0x00) return std::nullopt;
      set_state(State::kHalt);
      return Bytes{};
  }
  return std::nullopt;
}

bool Ntag::ReadProtected(int page) const {
  return !authenticated_ && (Access() & kProt) && page >= Auth0();
}

bool Ntag::WriteProtected(int page) const { return !authenticated_ && page >= Auth0(); }

// Static lock bits: lock byte 0 bits 3 to 7 lock pages 3 to 7, lock byte 1
// pages 8 to 15. Dynamic lock bits: each locks a run of pages from 16 on
// (two pages on the NTAG213, sixteen on the larger tags). The configuration
// pages lock through CFGLCK.
bool Ntag::Locked(int page) const {
  if (page < 3) return true;
  if (page < 16) {
    uint16_t bits = static_cast<uint16_t>(mem_[10] | mem_[11] << 8);
    return (bits >> page) & 1;
  }
  if (page < dynlock_page()) {
    int span = model_ == Model::k213 ? 2 : 16;
    int bit = (page - 16) / span;
    uint32_t bits = static_cast<uint32_t>(mem_[static_cast<size_t>(dynlock_page()) * 4]) |
                    static_cast<uint32_t>(mem_[static_cast<size_t>(dynlock_page()) * 4 + 1]) << 8 |
                    static_cast<uint32_t>(mem_[static_cast<size_t>(dynlock_page()) * 4 + 2]) << 16;
    return bit < 24 && ((bits >> bit) & 1);
  }
  if (page == cfg_page() || page == access_page()) return (Access() & kCfgLock) != 0;
  return false;
}

void Ntag::AppendPage(Bytes& out, int page) const {
  if (page == pwd_page() || page == pack_page() || ReadProtected(page)) {
    out.insert(out.end(), 4, 0x00);
    return;
  }
  auto p = mem_.begin() + page * 4;
  out.insert(out.end(), p, p + 4);
}

void Ntag::CountRead() {
  if (counted_ || !(Access() & kCounterOn)) return;
  counted_ = true;
  if (counter_ < 0xFFFFFF) ++counter_;
}

// Four pages; past the last page the read rolls over to page 0.
std::optional<Bytes> Ntag::Read(int page) {
  if (page >= pages() || ReadProtected(page)) return std::nullopt;
  CountRead();
  Bytes out;
  for (int i = 0; i < 4; ++i) AppendPage(out, (page + i) % pages());
  return out;
}

std::optional<Bytes> Ntag::FastRead(int start, int end) {
  if (start > end || end >= pages()) return std::nullopt;
  for (int p = start; p <= end; ++p)
    if (ReadProtected(p)) return std::nullopt;
  CountRead();
  Bytes out;
  for (int p = start; p <= end; ++p) AppendPage(out, p);
  return out;
}

std::optional<Bytes> Ntag::Write(int page, const Bytes& d) {
  if (page < 2 || page >= pages() || WriteProtected(page)) return std::nullopt;
  size_t at = static_cast<size_t>(page) * 4;
  if (page == 2) {
    // Only the static lock bytes take the write, and their bits only set.
    mem_[at + 2] |= d[2];
    mem_[at + 3] |= d[3];
    Wrote();
    return Bytes{kAck};
  }
  if (Locked(page)) return std::nullopt;
  if (page == 3 || page == dynlock_page()) {
    // One-time programmable: bits only set.
    for (size_t i = 0; i < 4; ++i) mem_[at + i] |= d[i];
    Wrote();
    return Bytes{kAck};
  }
  std::copy(d.begin(), d.end(), mem_.begin() + static_cast<long>(at));
  Wrote();
  return Bytes{kAck};
}

// AUTHLIM (ACCESS bits 0 to 2) allows 2^AUTHLIM wrong attempts; 0 means no limit.
std::optional<Bytes> Ntag::PwdAuth(const Bytes& pwd) {
  int authlim = Access() & 0x07;
  if (authlim != 0 && failed_auths_ >= (1 << authlim)) return std::nullopt;
  if (!std::equal(pwd.begin(), pwd.end(), mem_.begin() + pwd_page() * 4)) {
    ++failed_auths_;
    return std::nullopt;
  }
  failed_auths_ = 0;
  authenticated_ = true;
  return Slice(mem_, static_cast<size_t>(pack_page()) * 4, 2);
}

std::optional<Bytes> Ntag::ReadCounter() {
  if (!(Access() & kCounterOn)) return std::nullopt;
  return Bytes{static_cast<uint8_t>(counter_), static_cast<uint8_t>(counter_ >> 8),
               static_cast<uint8_t>(counter_ >> 16)};
}

}  // namespace orvexsim
