// SPDX-License-Identifier: MIT
// The FeliCa card model and the reader's command 0xC1: data field 00,
// time-out (2 bytes, low first), the FeliCa command code and its parameters;
// the answer is 00 followed by the card's response.
#include "orvexsim/felica.h"

#include <utility>
#include <vector>

#include "orvexsim/families.h"

namespace orvexsim {

namespace {
constexpr uint16_t kServiceReadWrite = 0x0009;
constexpr uint16_t kServiceReadOnly = 0x000B;
}  // namespace

FelicaCard::FelicaCard(Bytes idm, uint16_t sc, int blocks)
    : pmm({0x01, 0x20, 0x22, 0x04, 0x27, 0x67, 0x4E, 0xFF}), system_code(sc), idm_(std::move(idm)) {
  mem_.assign(static_cast<size_t>(blocks) * 16, 0x00);
}

Bytes FelicaCard::Framed(uint8_t code, const Bytes& idm, const Bytes& rest) {
  Bytes r = Concat(Concat({0x00, code}, idm), rest);
  r[0] = static_cast<uint8_t>(r.size());
  return r;
}

std::optional<Bytes> FelicaCard::Command(const Bytes& f) {
  if (f.empty()) return std::nullopt;
  Bytes p = Slice(f, 1);
  if (f[0] == 0x00) return Polling(p);
  // The other commands name the card by its IDm.
  if (p.size() < 8 || Slice(p, 0, 8) != idm_) return std::nullopt;
  switch (f[0]) {
    case 0x02: return RequestService(Slice(p, 8));
    case 0x04: return p.size() == 8 ? std::optional<Bytes>(Framed(0x05, idm_, {0x00})) : std::nullopt;
    case 0x06: return ReadWrite(Slice(p, 8), false);
    case 0x08: return ReadWrite(Slice(p, 8), true);
  }
  return std::nullopt;
}

// System code (as on the air, high byte first; FF is a wildcard), request
// code (01: the system code follows the PMm), time slot.
std::optional<Bytes> FelicaCard::Polling(const Bytes& p) {
  if (p.size() != 4) return std::nullopt;
  uint8_t hi = static_cast<uint8_t>(system_code >> 8), lo = static_cast<uint8_t>(system_code);
  if ((p[0] != 0xFF && p[0] != hi) || (p[1] != 0xFF && p[1] != lo)) return std::nullopt;
  Bytes rest = pmm;
  if (p[2] == 0x01) rest.insert(rest.end(), {hi, lo});
  return Framed(0x01, idm_, rest);
}

// Node count, node codes (2 bytes each, low first): the key version of each
// service the card has, FF FF for the others.
std::optional<Bytes> FelicaCard::RequestService(const Bytes& p) {
  if (p.empty() || p.size() != 1u + 2u * p[0]) return std::nullopt;
  Bytes rest = {p[0]};
  for (int i = 0; i < p[0]; ++i) {
    uint16_t code = Le16(p, 1 + 2 * static_cast<size_t>(i));
    bool known = code == kServiceReadWrite || code == kServiceReadOnly || code == 0x0000;
    rest.insert(rest.end(), {static_cast<uint8_t>(known ? 0x00 : 0xFF), static_cast<uint8_t>(known ? 0x00 : 0xFF)});
  }
  return Framed(0x03, idm_, rest);
}

// Service count, service codes (low first), block count, block list
// (2-byte elements 8s bb, 3-byte elements 0s bb bb), then for a write the
// 16-byte blocks. The answer carries status flags 1 and 2 (00 00 when done).
std::optional<Bytes> FelicaCard::ReadWrite(const Bytes& p, bool write) {
  auto fail = [&](uint8_t s1, uint8_t s2) {
    return Framed(write ? 0x09 : 0x07, idm_, {s1, s2});
  };
  if (p.empty()) return std::nullopt;
  size_t n = p[0], at = 1;
  if (n == 0 || p.size() < at + 2 * n + 1) return fail(0xFF, 0xA1);
  std::vector<uint16_t> services;
  for (size_t i = 0; i < n; ++i, at += 2) services.push_back(Le16(p, at));
  size_t blocks = p[at++];
  if (blocks == 0) return fail(0xFF, 0xA2);
  std::vector<int> numbers;
  for (size_t i = 0; i < blocks; ++i) {
    if (at >= p.size()) return fail(0xFF, 0xA3);
    uint8_t head = p[at];
    size_t service = head & 0x0F;
    int number;
    if (head & 0x80) {
      if (at + 2 > p.size()) return fail(0xFF, 0xA3);
      number = p[at + 1];
      at += 2;
    } else {
      if (at + 3 > p.size()) return fail(0xFF, 0xA3);
      number = Le16(p, at + 1);
      at += 3;
    }
    if (service >= services.size()) return fail(0xFF, 0xA3);
    uint16_t code = services[service];
    if (code != kServiceReadWrite && code != kServiceReadOnly) return fail(0xFF, 0xA6);
    if (write && code == kServiceReadOnly) return fail(0xFF, 0xA8);
    if (number * 16 >= static_cast<int>(mem_.size())) return fail(0xFF, 0xA8);
    numbers.push_back(number);
  }
  if (write) {
    if (p.size() != at + 16 * blocks) return fail(0xFF, 0xA2);
    for (size_t i = 0; i < blocks; ++i)
      std::copy(p.begin() + static_cast<long>(at + 16 * i), p.begin() + static_cast<long>(at + 16 * i + 16),
                mem_.begin() + numbers[i] * 16);
    Wrote();
    return Framed(0x09, idm_, {0x00, 0x00});
  }
  Bytes rest = {0x00, 0x00, static_cast<uint8_t>(blocks)};
  for (int b : numbers) {
    Bytes blk = Slice(mem_, static_cast<size_t>(b) * 16, 16);
    rest.insert(rest.end(), blk.begin(), blk.end());
  }
  return Framed(0x07, idm_, rest);
}

namespace {

class Felica : public Family {
 public:
  using Family::Family;

  bool Handle(uint8_t cmd, const Bytes& d, Reply& r) override {
    if (cmd != 0xC1) return false;
    if (d.size() < 4 || d[0] != 0x00) {
      r = Reply::Fail(status::kBadParameter);
      return true;
    }
    Bytes frame = Slice(d, 3);
    if (frame.size() == 5 && frame[0] == 0x00) {
      r = Polling(frame);
      return true;
    }
    for (auto& c : ctx_.InField<FelicaCard>()) {
      if (auto resp = c->Command(frame)) {
        r = Reply::Ok(Concat({0x00}, *resp));
        return true;
      }
    }
    r = Reply::Fail(status::kNoCard);
    return true;
  }

 private:
  // A polling with time slot byte n (0 to 15: n + 1 slots): every card of
  // the system code asked for picks a slot in 0..n at random and answers in
  // it. Two cards in one slot garble each other and that slot brings
  // nothing; the reader passes on the answer of the first slot that holds
  // exactly one card, and nothing (no card) when there is none. So with a
  // single slot and several cards the reader hears only a collision and
  // reports no card: a polling with more slots, repeated, tells the cards
  // apart. A slot byte above 15 is no polling a card answers.
  Reply Polling(const Bytes& frame) {
    const int slots = frame[4] + 1;
    std::vector<std::pair<int, Bytes>> answers;  // slot, response
    if (slots <= 16)
      for (auto& c : ctx_.InField<FelicaCard>())
        if (auto resp = c->Command(frame)) {
          const int slot = slots == 1 ? 0 : static_cast<int>(ctx_.random() % static_cast<uint32_t>(slots));
          answers.emplace_back(slot, *resp);
        }
    for (int slot = 0; slot < slots; ++slot) {
      const Bytes* alone = nullptr;
      int in_slot = 0;
      for (const auto& a : answers)
        if (a.first == slot) {
          ++in_slot;
          alone = &a.second;
        }
      if (in_slot == 1) return Reply::Ok(Concat({0x00}, *alone));
    }
    return Reply::Fail(status::kNoCard);
  }
};

}  // namespace

std::unique_ptr<Family> MakeFelica(Context& ctx) { return std::make_unique<Felica>(ctx); }

}  // namespace orvexsim
