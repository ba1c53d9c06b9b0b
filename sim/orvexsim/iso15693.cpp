// SPDX-License-Identifier: MIT
// The ISO 15693 tag model and the reader's ISO 15693 commands (0x70 to
// 0x7E). The first byte of an addressed command is the ISO 15693 request
// flags byte: 0x20 (address) names the tag by its UID, 0x10 (select) the
// selected tag, neither any tag not kept quiet; 0x40 (option) adds each
// block's security status to a read.
#include "orvexsim/iso15693.h"

#include "orvexsim/families.h"

namespace orvexsim {

VicinityTag::VicinityTag(Bytes uid, int blocks, int block_size)
    : uid_(std::move(uid)), block_size_(block_size) {
  mem_.assign(static_cast<size_t>(blocks * block_size), 0x00);
  locked_.assign(static_cast<size_t>(blocks), false);
}

bool VicinityTag::ReadBlock(int block, Bytes& out) const {
  if (block < 0 || block >= blocks()) return false;
  out = Slice(mem_, static_cast<size_t>(block * block_size_), static_cast<size_t>(block_size_));
  return true;
}

bool VicinityTag::WriteBlock(int block, const Bytes& data) {
  if (block < 0 || block >= blocks() || Locked(block) || data.size() != static_cast<size_t>(block_size_))
    return false;
  std::copy(data.begin(), data.end(), mem_.begin() + block * block_size_);
  Wrote();
  return true;
}

bool VicinityTag::LockBlock(int block) {
  if (block < 0 || block >= blocks() || Locked(block)) return false;
  locked_[static_cast<size_t>(block)] = true;
  return true;
}

bool VicinityTag::WriteAfi(uint8_t v) {
  if (afi_locked_) return false;
  afi = v;
  return true;
}

bool VicinityTag::LockAfi() {
  if (afi_locked_) return false;
  afi_locked_ = true;
  return true;
}

bool VicinityTag::WriteDsfid(uint8_t v) {
  if (dsfid_locked_) return false;
  dsfid = v;
  return true;
}

bool VicinityTag::LockDsfid() {
  if (dsfid_locked_) return false;
  dsfid_locked_ = true;
  return true;
}

// A zero request reaches every tag; otherwise the family (high nibble) and
// the sub-family (low nibble) must match where the request gives them.
bool VicinityTag::MatchesAfi(uint8_t req) const {
  if (req == 0) return true;
  uint8_t rh = req >> 4, rl = req & 0x0F, th = afi >> 4, tl = afi & 0x0F;
  return (rh == 0 || rh == th) && (rl == 0 || rl == tl) && afi != 0;
}

Bytes VicinityTag::SystemInformation() const {
  Bytes r = {0x0F};
  Bytes u = air_uid();
  r.insert(r.end(), u.begin(), u.end());
  r.insert(r.end(), {dsfid, afi, static_cast<uint8_t>(blocks() - 1),
                     static_cast<uint8_t>(block_size_ - 1), 0x01});
  return r;
}

namespace {

constexpr uint8_t kSelectFlag = 0x10;
constexpr uint8_t kAddressFlag = 0x20;
constexpr uint8_t kOptionFlag = 0x40;

class Vicinity : public Family {
 public:
  using Family::Family;

  bool Handle(uint8_t cmd, const Bytes& d, Reply& r) override {
    if (cmd < 0x70 || cmd > 0x7E) return false;
    r = Run(cmd, d);
    return true;
  }

 private:
  static Reply Bad() { return Reply::Fail(status::kBadParameter); }
  static Reply Done(bool ok) { return ok ? Reply::Ok() : Reply::Fail(status::kCardRefused); }

  std::shared_ptr<VicinityTag> ByUid(const Bytes& air_uid) {
    for (auto& t : ctx_.InField<VicinityTag>())
      if (t->air_uid() == air_uid) return t;
    return nullptr;
  }

  // The tag a command with flags and UID reaches.
  std::shared_ptr<VicinityTag> Target(uint8_t flags, const Bytes& air_uid) {
    if (flags & kAddressFlag) return ByUid(air_uid);
    for (auto& t : ctx_.InField<VicinityTag>()) {
      if (flags & kSelectFlag) {
        if (t->state == VicinityTag::State::kSelected) return t;
      } else if (t->state != VicinityTag::State::kQuiet) {
        return t;
      }
    }
    return nullptr;
  }

  static Bytes Record(const VicinityTag& t) { return Concat({t.dsfid}, t.air_uid()); }

  Reply Run(uint8_t cmd, const Bytes& d) {
    switch (cmd) {
      case 0x70: {
        if (!d.empty()) return Bad();
        for (auto& t : ctx_.InField<VicinityTag>())
          if (t->state != VicinityTag::State::kQuiet) return Reply::Ok(Record(*t));
        return Reply::Fail(status::kNoCard);
      }
      case 0x7D: {  // AFI enable, AFI: a count, then DSFID and UID of each tag
        if (d.size() != 2) return Bad();
        Bytes out = {0};
        for (auto& t : ctx_.InField<VicinityTag>()) {
          if (t->state == VicinityTag::State::kQuiet || (d[0] && !t->MatchesAfi(d[1]))) continue;
          Bytes rec = Record(*t);
          out.insert(out.end(), rec.begin(), rec.end());
          ++out[0];
        }
        if (out[0] == 0) return Reply::Fail(status::kNoCard);
        return Reply::Ok(out);
      }
      case 0x71: {  // stay quiet: the tag does not answer, so neither can the reader tell
        if (d.size() != 8) return Bad();
        if (auto t = ByUid(d)) t->state = VicinityTag::State::kQuiet;
        return Reply::Ok();
      }
      case 0x72: {
        if (d.size() != 8) return Bad();
        auto t = ByUid(d);
        if (!t) return Reply::Fail(status::kNoCard);
        for (auto& o : ctx_.InField<VicinityTag>())
          if (o->state == VicinityTag::State::kSelected) o->state = VicinityTag::State::kReady;
        t->state = VicinityTag::State::kSelected;
        return Reply::Ok();
      }
      default: break;
    }
    // Flags and UID first.
    if (d.size() < 9) return Bad();
    uint8_t flags = d[0];
    auto t = Target(flags, Slice(d, 1, 8));
    if (!t) return Reply::Fail(status::kNoCard);
    Bytes p = Slice(d, 9);
    switch (cmd) {
      case 0x73:
        if (!p.empty()) return Bad();
        t->state = VicinityTag::State::kReady;
        return Reply::Ok();
      case 0x74:
      case 0x7C: {  // first block, count
        if (p.size() != 2 || p[1] == 0) return Bad();
        if (cmd == 0x74 && p[1] > 1 && !t->multi_block_read) return Reply::Fail(status::kCardRefused);
        Bytes out;
        for (int b = p[0]; b < p[0] + p[1]; ++b) {
          Bytes block;
          if (!t->ReadBlock(b, block)) return Reply::Fail(status::kCardRefused);
          if (cmd == 0x7C) {
            out.push_back(t->Locked(b) ? 0x01 : 0x00);
            continue;
          }
          if (flags & kOptionFlag) out.push_back(t->Locked(b) ? 0x01 : 0x00);
          out.insert(out.end(), block.begin(), block.end());
        }
        return Reply::Ok(out);
      }
      case 0x75:  // block, data
        if (p.size() < 2) return Bad();
        return Done(t->WriteBlock(p[0], Slice(p, 1)));
      case 0x7E: {  // first block, count, data
        if (p.size() < 3 || p[1] == 0 || p.size() != 2u + static_cast<size_t>(p[1] * t->block_size()))
          return Bad();
        for (int i = 0; i < p[1]; ++i)
          if (p[0] + i >= t->blocks() || t->Locked(p[0] + i)) return Reply::Fail(status::kCardRefused);
        for (int i = 0; i < p[1]; ++i)
          t->WriteBlock(p[0] + i, Slice(p, 2u + static_cast<size_t>(i * t->block_size()),
                                        static_cast<size_t>(t->block_size())));
        return Reply::Ok();
      }
      case 0x76:
        if (p.size() != 1) return Bad();
        return Done(t->LockBlock(p[0]));
      case 0x77:
        if (p.size() != 1) return Bad();
        return Done(t->WriteAfi(p[0]));
      case 0x78:
        if (!p.empty()) return Bad();
        return Done(t->LockAfi());
      case 0x79:
        if (p.size() != 1) return Bad();
        return Done(t->WriteDsfid(p[0]));
      case 0x7A:
        if (!p.empty()) return Bad();
        return Done(t->LockDsfid());
      case 0x7B:
        if (!p.empty()) return Bad();
        return Reply::Ok(t->SystemInformation());
    }
    return Reply::Fail(status::kUnknownCommand);
  }
};

}  // namespace

std::unique_ptr<Family> MakeVicinity(Context& ctx) { return std::make_unique<Vicinity>(ctx); }

}  // namespace orvexsim
