// SPDX-License-Identifier: MIT
#include "orvexsim/ntag.h"

#include <algorithm>

namespace orvexsim {

namespace {
constexpr uint8_t kProt = 0x80;       // ACCESS: reads are protected too
constexpr uint8_t kCfgLock = 0x40;    // ACCESS: configuration locked
constexpr uint8_t kCounterOn = 0x10;   // ACCESS: NFC counter enabled (NTAG213/215/216)
constexpr uint8_t kCounterPwd = 0x08;  // ACCESS: reading the NFC counter needs PWD_AUTH

// What tells the models apart: GET_VERSION's product type (04 NTAG, 03
// Ultralight EV1), subtype and storage size byte, the pages, the data area
// the capability container announces (in units of 8 bytes; none on an
// Ultralight EV1, which leaves the factory unformatted), and the pages each
// dynamic lock bit locks.
struct Layout {
  const char* kind;
  uint8_t type, subtype, storage;
  int pages;
  uint8_t cc_size;
  int dynamic_span;
};

const Layout& LayoutOf(Ntag::Model m) {
  static const Layout k213{"ntag213", 0x04, 0x02, 0x0F, 45, 0x12, 2};
  static const Layout k215{"ntag215", 0x04, 0x02, 0x11, 135, 0x3E, 16};
  static const Layout k216{"ntag216", 0x04, 0x02, 0x13, 231, 0x6D, 16};
  static const Layout k210{"ntag210", 0x04, 0x01, 0x0B, 20, 0x06, 0};
  static const Layout k212{"ntag212", 0x04, 0x01, 0x0E, 41, 0x10, 2};
  static const Layout ul48{"ulev1-48", 0x03, 0x01, 0x0B, 20, 0x00, 0};
  static const Layout ul128{"ulev1-128", 0x03, 0x01, 0x0E, 41, 0x00, 2};
  switch (m) {
    case Ntag::Model::k213: return k213;
    case Ntag::Model::k215: return k215;
    case Ntag::Model::k216: return k216;
    case Ntag::Model::k210: return k210;
    case Ntag::Model::k212: return k212;
    case Ntag::Model::kUltralight48: return ul48;
    case Ntag::Model::kUltralight128: break;
  }
  return ul128;
}
}  // namespace

Ntag::Ntag(Model model, Bytes uid) : TypeACard(std::move(uid)), model_(model) {
  const Layout& l = LayoutOf(model);
  mem_.assign(static_cast<size_t>(l.pages) * 4, 0x00);
  const Bytes& u = uid_;
  mem_[0] = u[0];
  mem_[1] = u[1];
  mem_[2] = u[2];
  mem_[3] = static_cast<uint8_t>(0x88 ^ u[0] ^ u[1] ^ u[2]);
  std::copy(u.begin() + 3, u.begin() + 7, mem_.begin() + 4);
  mem_[8] = static_cast<uint8_t>(u[3] ^ u[4] ^ u[5] ^ u[6]);
  mem_[9] = 0x48;
  if (!ultralight()) {
    // Capability container: NDEF magic, version 1.0, data area size, read/write.
    mem_[12] = 0xE1;
    mem_[13] = 0x10;
    mem_[14] = l.cc_size;
    mem_[15] = 0x00;
    // An empty NDEF message TLV and the terminator.
    mem_[16] = 0x03;
    mem_[17] = 0x00;
    mem_[18] = 0xFE;
  }
  auto at = [&](int page) { return mem_.begin() + page * 4; };
  const uint8_t dynlock[] = {0x00, 0x00, 0x00, 0xBD};
  // NTAG: MIRROR, RFUI, MIRROR_PAGE, AUTH0 (off); Ultralight EV1: MOD, RFUI, RFUI, AUTH0.
  const uint8_t cfg0[] = {static_cast<uint8_t>(ultralight() ? 0x00 : 0x04), 0x00, 0x00, 0xFF};
  const uint8_t cfg1[] = {0x00, 0x05, 0x00, 0x00};  // ACCESS, RFUI (VCTID on the Ultralight EV1), RFUI, RFUI
  if (dynamic_lock()) std::copy(dynlock, dynlock + 4, at(dynlock_page()));
  std::copy(cfg0, cfg0 + 4, at(cfg_page()));
  std::copy(cfg1, cfg1 + 4, at(access_page()));
  std::fill(at(pwd_page()), at(pwd_page()) + 4, 0xFF);
}

std::string Ntag::kind() const { return LayoutOf(model_).kind; }

bool Ntag::nfc_counter() const {
  return model_ == Model::k213 || model_ == Model::k215 || model_ == Model::k216;
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
    {
      const Layout& l = LayoutOf(model_);
      return Bytes{0x00, 0x04, l.type, l.subtype, 0x01, 0x00, l.storage, 0x03};
    }
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
    case 0x39:  // READ_CNT: counter 2 (the NFC counter), or one-way counter 0 to 2
      if (f.size() != 2 || f[1] > 2 || (!ultralight() && f[1] != 0x02)) return std::nullopt;
      return ReadCounter(f[1]);
    case 0xA5:  // INCR_CNT: the counter, the increment (3 bytes, low first, and one ignored)
      if (!ultralight() || f.size() != 6 || f[1] > 2) return std::nullopt;
      return IncrementCounter(f[1], Slice(f, 2, 3));
    case 0x3E:  // CHECK_TEARING_EVENT: BD while the counter's last increment completed
      if (!ultralight() || f.size() != 2 || f[1] > 2) return std::nullopt;
      return Bytes{0xBD};
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
  if (page == cfg_page() || page == access_page()) return (Access() & kCfgLock) != 0;
  if (page < 16) {
    uint16_t bits = static_cast<uint16_t>(mem_[10] | mem_[11] << 8);
    return (bits >> page) & 1;
  }
  if (dynamic_lock() && page < dynlock_page()) {
    int span = LayoutOf(model_).dynamic_span;
    int bit = (page - 16) / span;
    uint32_t bits = static_cast<uint32_t>(mem_[static_cast<size_t>(dynlock_page()) * 4]) |
                    static_cast<uint32_t>(mem_[static_cast<size_t>(dynlock_page()) * 4 + 1]) << 8 |
                    static_cast<uint32_t>(mem_[static_cast<size_t>(dynlock_page()) * 4 + 2]) << 16;
    return bit < 24 && ((bits >> bit) & 1);
  }
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
  if (counted_ || !nfc_counter() || !(Access() & kCounterOn)) return;
  counted_ = true;
  if (counters_[0] < 0xFFFFFF) ++counters_[0];
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

// The NFC counter answers only while ACCESS enables it, and with its
// password bit set only after PWD_AUTH; the Ultralight EV1's one-way
// counters always do.
std::optional<Bytes> Ntag::ReadCounter(int n) {
  if (!ultralight() && !(Access() & kCounterOn)) return std::nullopt;
  if (!ultralight() && (Access() & kCounterPwd) && !authenticated_) return std::nullopt;
  const uint32_t c = counters_[ultralight() ? n : 0];
  return Bytes{static_cast<uint8_t>(c), static_cast<uint8_t>(c >> 8), static_cast<uint8_t>(c >> 16)};
}

// A one-way counter only grows; an increment past FFFFFF is refused and
// leaves it as it was.
std::optional<Bytes> Ntag::IncrementCounter(int n, const Bytes& by) {
  const uint32_t add = static_cast<uint32_t>(by[0] | by[1] << 8 | by[2] << 16);
  uint32_t& c = counters_[n];
  if (c + add > 0xFFFFFF) return std::nullopt;
  c += add;
  Wrote();
  return Bytes{kAck};
}

}  // namespace orvexsim
