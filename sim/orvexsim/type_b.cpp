// SPDX-License-Identifier: MIT
// The ISO 14443-B card models, and the reader's commands for them: type B
// request, reset and halt (0x40, 0x41, 0x5F), the AT88RF020 (0x42 to 0x49),
// the ST tags (0x4B to 0x59) and the identity card number (0xC2).
#include "orvexsim/type_b.h"

#include "orvexsim/cpu_card.h"
#include "orvexsim/families.h"

namespace orvexsim {

Bytes TypeBCard::atqb() const {
  // Application data; bit rates (106 kbit/s both ways), frame size 256 and
  // ISO 14443-4, FWI 7.
  return Concat(Concat({0x50}, pupi_), {0x00, 0x00, 0x00, 0x00, 0x00, 0x81, 0x71});
}

CpuCardB::CpuCardB(Bytes pupi, bool personalised) : TypeBCard(pupi), cos_(pupi) {
  if (personalised) fmcos_card::Personalise(cos_);
}

IdCard::IdCard(Bytes number) : TypeBCard(Slice(Pseudorandom(number, 4), 0, 4)), number_(std::move(number)) {}

StTag::StTag(Model model, Bytes uid) : model_(model), uid_(std::move(uid)) {
  mem_.assign(static_cast<size_t>(blocks() * block_size()), 0xFF);
  if (model_ == Model::kSr176) {
    // The UID lives in blocks 0 to 3, least significant block first.
    for (int b = 0; b < 4; ++b) {
      mem_[static_cast<size_t>(2 * b)] = uid_[static_cast<size_t>(7 - 2 * b - 1)];
      mem_[static_cast<size_t>(2 * b + 1)] = uid_[static_cast<size_t>(7 - 2 * b)];
    }
  }
  chip_id = Pseudorandom(uid_, 1)[0];
}

std::string StTag::kind() const {
  return model_ == Model::kSr176 ? "sr176" : model_ == Model::kSr512 ? "sr512" : "srix4k";
}

bool StTag::Locked(int block) const {
  if (model_ == Model::kSr176) return block < 4 || ((lock_[0] >> (block / 2)) & 1);
  return block < 16 ? lock_[0] != 0 : lock_[1] != 0;
}

bool StTag::Read(int block, Bytes& out) const {
  if (model_ != Model::kSr176 && block == 255) {
    out = {lock_[0], lock_[1], 0xFF, 0xFF};
    return true;
  }
  if (block < 0 || block >= blocks()) return false;
  out = Slice(mem_, static_cast<size_t>(block * block_size()), static_cast<size_t>(block_size()));
  return true;
}

bool StTag::Write(int block, const Bytes& data) {
  if (block < 0 || block >= blocks() || Locked(block) || data.size() != static_cast<size_t>(block_size()))
    return false;
  std::copy(data.begin(), data.end(), mem_.begin() + block * block_size());
  Wrote();
  return true;
}

void StTag::LockSr512(bool high, bool low) {
  if (low) lock_[0] = 0xFF;
  if (high) lock_[1] = 0xFF;
}

Bytes StTag::Authenticate(const Bytes& key) const { return Pseudorandom(Concat(uid_, key), 3); }

At88rf020::At88rf020(Bytes pupi, Bytes key) : TypeBCard(std::move(pupi)) {
  mem_.assign(256, 0x00);
  std::copy(pupi_.begin(), pupi_.end(), mem_.begin());
  std::copy(key.begin(), key.end(), mem_.begin() + 8);
}

bool At88rf020::Check(const Bytes& key) {
  checked = key.size() == 8 && std::equal(key.begin(), key.end(), mem_.begin() + 8);
  return checked;
}

bool At88rf020::Read(int page, Bytes& out) const {
  if (!checked || page < 0 || page >= 32) return false;
  out = Slice(mem_, static_cast<size_t>(page) * 8, 8);
  if (page == 1) out.assign(8, 0x00);  // the key never reads back
  return true;
}

bool At88rf020::Write(int page, const Bytes& data) {
  if (!checked || page < 0 || page >= 32 || Locked(page) || data.size() != 8) return false;
  std::copy(data.begin(), data.end(), mem_.begin() + page * 8);
  Wrote();
  return true;
}

void At88rf020::Lock(const Bytes& bits) {
  for (size_t i = 0; i < 4 && i < bits.size(); ++i) lock_ |= static_cast<uint32_t>(bits[i]) << (8 * i);
}

bool At88rf020::Count(const Bytes& signature) {
  if (!checked || signature.size() != 6 || counter_ == 0) return false;
  --counter_;
  std::copy(signature.begin(), signature.end(), mem_.begin() + 31 * 8);
  return true;
}

namespace {

class TypeB : public Family {
 public:
  using Family::Family;

  bool Handle(uint8_t cmd, const Bytes& d, Reply& r) override {
    if (cmd == 0xC2) {
      r = IdNumber(d);
      return true;
    }
    if (cmd < 0x40 || cmd > 0x5F) return false;
    switch (cmd) {
      case 0x40: r = d.size() == 1 ? Activate(d[0] != 0, {}) : Bad(); return true;
      case 0x5F: r = d.size() == 5 ? Activate(d[0] == 0x01, Slice(d, 1)) : Bad(); return true;
      case 0x41: r = d.size() == 4 ? Halt(d) : Bad(); return true;
      case 0x4B: r = d.empty() ? StActivate() : Bad(); return true;
      case 0x4C: r = d.empty() ? StDeactivate() : Bad(); return true;
      default: break;
    }
    if (cmd >= 0x42 && cmd <= 0x49) {
      r = At88(cmd, d);
      return true;
    }
    if (cmd >= 0x4D && cmd <= 0x59) {
      r = St(cmd, d);
      return true;
    }
    return false;
  }

 private:
  static Reply Bad() { return Reply::Fail(status::kBadParameter); }
  static Reply Done(bool ok) { return ok ? Reply::Ok() : Reply::Fail(status::kCardRefused); }

  // REQB (or WUPB, which wakes halted cards too), then ATTRIB to the first
  // card: it becomes the card behind the APDU channel. The answer is its
  // ATQB.
  Reply Activate(bool wake_halted, const Bytes& /*attrib*/) {
    for (auto& c : ctx_.InField<TypeBCard>()) {
      if (c->halted && !wake_halted) continue;
      for (auto& o : ctx_.InField<TypeBCard>()) o->active = false;
      c->halted = false;
      c->active = true;
      if (c->apdu()) c->apdu()->Reset();
      ctx_.layer4 = c;
      return Reply::Ok(c->atqb());
    }
    return Reply::Fail(status::kNoCard);
  }

  Reply Halt(const Bytes& pupi) {
    for (auto& c : ctx_.InField<TypeBCard>()) {
      if (c->pupi() != pupi || c->halted) continue;
      c->halted = true;
      c->active = false;
      ctx_.Forget(c.get());
      return Reply::Ok();
    }
    return Reply::Fail(status::kNoCard);
  }

  // Sub-function 00: the echo, the 8-byte number and the status word 90 00.
  Reply IdNumber(const Bytes& d) {
    if (d.size() != 1 || d[0] != 0x00) return Bad();
    for (auto& c : ctx_.InField<IdCard>())
      if (c->active) return Reply::Ok(Concat(Concat({0x00}, c->number()), {0x90, 0x00}));
    return Reply::Fail(status::kNoCard);
  }

  std::shared_ptr<At88rf020> ActiveAt88() {
    for (auto& c : ctx_.InField<At88rf020>())
      if (c->active) return c;
    return nullptr;
  }

  Reply At88(uint8_t cmd, const Bytes& d) {
    auto t = ActiveAt88();
    if (!t) return Reply::Fail(status::kNoCard);
    switch (cmd) {
      case 0x42:
        if (d.size() != 8) return Bad();
        return t->Check(d) ? Reply::Ok() : Reply::Fail(status::kAuthFailed);
      case 0x43: {
        Bytes out;
        if (d.size() != 1) return Bad();
        return t->Read(d[0], out) ? Reply::Ok(out) : Reply::Fail(status::kCardRefused);
      }
      case 0x44:
        if (d.size() != 9) return Bad();
        return Done(t->Write(d[0], Slice(d, 1)));
      case 0x45:
        if (d.size() != 4 || !t->checked) return d.size() != 4 ? Bad() : Reply::Fail(status::kCardRefused);
        t->Lock(d);
        return Reply::Ok();
      case 0x46:
        if (d.size() != 6) return Bad();
        return Done(t->Count(d));
      case 0x47:
        if (!d.empty()) return Bad();
        t->active = false;
        t->checked = false;
        ctx_.Forget(t.get());
        return Reply::Ok();
      case 0x48:
      case 0x49:
        return Multi(cmd == 0x49, d, 8, [&](int b, Bytes& out) { return t->Read(b, out); },
                     [&](int b, const Bytes& in) { return t->Write(b, in); });
    }
    return Reply::Fail(status::kUnknownCommand);
  }

  // Runs of blocks: the answer starts with the count of blocks done (and a
  // read then carries them); none done is a refusal.
  template <class R, class W>
  Reply Multi(bool write, const Bytes& d, int size, R read, W put) {
    if (d.size() < 2 || d[1] == 0) return Bad();
    int start = d[0], count = d[1];
    if (write && d.size() != 2u + static_cast<size_t>(count * size)) return Bad();
    if (!write && count * size + 1 > static_cast<int>(kMaxAnswerData)) return Bad();
    Bytes out = {0};
    for (int i = 0; i < count; ++i) {
      if (write) {
        if (!put(start + i, Slice(d, 2u + static_cast<size_t>(i * size), static_cast<size_t>(size)))) break;
      } else {
        Bytes b;
        if (!read(start + i, b)) break;
        out.insert(out.end(), b.begin(), b.end());
      }
      ++out[0];
    }
    if (out[0] == 0) return Reply::Fail(status::kCardRefused);
    return Reply::Ok(out);
  }

  std::shared_ptr<StTag> ActiveSt() {
    for (auto& c : ctx_.InField<StTag>())
      if (c->active) return c;
    return nullptr;
  }

  Reply StActivate() {
    std::shared_ptr<StTag> next;
    for (auto& t : ctx_.InField<StTag>()) {
      t->active = false;
      if (!next && !t->deactivated) next = t;
    }
    if (!next) return Reply::Fail(status::kNoCard);
    next->active = true;
    return Reply::Ok({next->chip_id});
  }

  Reply StDeactivate() {
    auto t = ActiveSt();
    if (!t) return Reply::Fail(status::kNoCard);
    t->active = false;
    t->deactivated = true;
    return Reply::Ok();
  }

  Reply St(uint8_t cmd, const Bytes& d) {
    auto t = ActiveSt();
    if (!t) return Reply::Fail(status::kNoCard);
    bool sr176 = t->model() == StTag::Model::kSr176;
    // Commands 4D to 52 are the SR176's, 53 to 59 the SR512's and SRIX4K's.
    if (sr176 != (cmd <= 0x52)) return Reply::Fail(status::kCardRefused);
    auto read = [&](int b, Bytes& out) { return t->Read(b, out); };
    auto write = [&](int b, const Bytes& in) { return t->Write(b, in); };
    switch (cmd) {
      case 0x4D:
      case 0x53: {
        Bytes out;
        if (d.size() != 1) return Bad();
        return t->Read(d[0], out) ? Reply::Ok(out) : Reply::Fail(status::kCardRefused);
      }
      case 0x4E:
        if (d.size() != 3) return Bad();
        return Done(t->Write(d[0], Slice(d, 1)));
      case 0x54:  // block, 4 bytes, and a sixth byte that carries nothing
        if (d.size() != 6 && d.size() != 5) return Bad();
        return Done(t->Write(d[0], Slice(d, 1, 4)));
      case 0x4F:
        if (d.size() != 1) return Bad();
        t->LockSr176(d[0]);
        return Reply::Ok();
      case 0x50:
        if (!d.empty()) return Bad();
        return Reply::Ok({t->lock_byte()});
      case 0x51:
      case 0x52: return Multi(cmd == 0x52, d, 2, read, write);
      case 0x58:
      case 0x59: return Multi(cmd == 0x59, d, 4, read, write);
      case 0x55:
        if (d.size() != 6) return Bad();
        if (t->model() != StTag::Model::kSrix4k) return Reply::Fail(status::kCardRefused);
        return Reply::Ok(t->Authenticate(d));
      case 0x56:
        if (!d.empty()) return Bad();
        return Reply::Ok(t->id());
      case 0x57:
        if (d.size() != 2) return Bad();
        t->LockSr512(d[0] != 0, d[1] != 0);
        return Reply::Ok();
    }
    return Reply::Fail(status::kUnknownCommand);
  }
};

}  // namespace

std::unique_ptr<Family> MakeTypeB(Context& ctx) { return std::make_unique<TypeB>(ctx); }

}  // namespace orvexsim
