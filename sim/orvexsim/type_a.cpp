// SPDX-License-Identifier: MIT
// ISO 14443-A commands of the reader: request, anticollision and select
// (whole or level by level), halt, MIFARE Classic authentication, block and
// value commands, Ultralight-type pages, and the ISO 14443-4 APDU channel.
#include <algorithm>

#include "orvexsim/families.h"
#include "orvexsim/mifare_classic.h"

namespace orvexsim {
namespace {

using State = TypeACard::State;

constexpr uint8_t kWupa = 0x52;

// The UID part a card answers at one cascade level: a 4-byte UID in one
// level; longer UIDs put the cascade tag 88 before three bytes at each level
// but the last.
Bytes CascadePart(const Bytes& uid, int level) {
  int levels = uid.size() == 4 ? 1 : uid.size() == 7 ? 2 : 3;
  if (level < 1 || level > levels) return {};
  size_t from = static_cast<size_t>(3 * (level - 1));
  if (level < levels) return {0x88, uid[from], uid[from + 1], uid[from + 2]};
  return Slice(uid, from, 4);
}

int CascadeLevels(const Bytes& uid) { return uid.size() == 4 ? 1 : uid.size() == 7 ? 2 : 3; }

class TypeA : public Family {
 public:
  using Family::Family;

  bool Handle(uint8_t cmd, const Bytes& d, Reply& r) override {
    switch (cmd) {
      case 0x22: r = Need(d, 1) ? RequestCard(d[0]) : Bad(); return true;
      case 0x23: r = AntiCollide(); return true;
      case 0x24: r = AntiCollideAndSelect(); return true;
      case 0x25: r = Select(d); return true;
      case 0x26: r = Halt(); return true;
      case 0x27: r = Need(d, 3) ? AuthStored(d) : Bad(); return true;
      case 0x28: r = Need(d, 8) ? Auth(d[0], d[1], Slice(d, 2, 6)) : Bad(); return true;
      case 0x29: r = Need(d, 1) ? ReadBlock(d[0]) : Bad(); return true;
      case 0x2A: r = d.size() >= 2 ? WriteBlock(d[0], Slice(d, 1), false) : Bad(); return true;
      case 0x3F: r = d.size() >= 2 ? WriteBlock(d[0], Slice(d, 1), true) : Bad(); return true;
      case 0x2B: r = Need(d, 5) ? PurseInitial(d[0], static_cast<int32_t>(Le32(d, 1))) : Bad(); return true;
      case 0x2C: r = Need(d, 1) ? PurseRead(d[0]) : Bad(); return true;
      case 0x2D: r = Need(d, 5) ? Value(d[0], -1, static_cast<int32_t>(Le32(d, 1))) : Bad(); return true;
      case 0x2E: r = Need(d, 5) ? Value(d[0], +1, static_cast<int32_t>(Le32(d, 1))) : Bad(); return true;
      case 0x2F: r = Need(d, 1) ? Value(d[0], 0, 0) : Bad(); return true;
      case 0x30: r = Need(d, 1) ? Transfer(d[0]) : Bad(); return true;
      case 0x31: r = Need(d, 2) ? Layer4Reset() : Bad(); return true;
      case 0x32: r = Apdu(d); return true;
      case 0x34: r = Need(d, 5) ? PageWrite(d[0], Slice(d, 1)) : Bad(); return true;
      case 0x35: r = Need(d, 2) ? ReadMulti(d[0], d[1]) : Bad(); return true;
      case 0x36: r = d.size() >= 2 ? WriteMulti(d[0], d[1], Slice(d, 2)) : Bad(); return true;
      case 0x37: r = Need(d, 7) ? DownloadKey(d[0], Slice(d, 1, 6)) : Bad(); return true;
      case 0x38: r = Need(d, 2) ? RequestAntiAndSelect(d[0]) : Bad(); return true;
      case 0x39: r = Need(d, 1) ? AntiCollideLevel(d[0]) : Bad(); return true;
      case 0x3A: r = Need(d, 1) ? SelectLevel(d[0]) : Bad(); return true;
      default: return false;
    }
  }

 private:
  static bool Need(const Bytes& d, size_t n) { return d.size() == n; }
  static Reply Bad() { return Reply::Fail(status::kBadParameter); }
  static Reply Status(uint8_t s) { return s == status::kOk ? Reply::Ok() : Reply::Fail(s); }

  // REQA wakes the idle cards, WUPA the halted ones too. The reader tries
  // twice: a card still active from an earlier exchange takes the first
  // request as an unexpected command and goes idle, then answers the second.
  std::vector<std::shared_ptr<TypeACard>> Wake(uint8_t code) {
    std::vector<std::shared_ptr<TypeACard>> woken;
    ctx_.selected.reset();
    candidate_.reset();
    level_ = 0;
    for (auto& c : ctx_.InField<TypeACard>()) {
      if (c->state() == State::kHalt && code != kWupa) continue;
      c->set_state(State::kReady);
      woken.push_back(c);
    }
    return woken;
  }

  // ATQA as it comes from the air, least significant byte first; cards
  // answering together give the OR of their bits.
  static Bytes Atqa(const std::vector<std::shared_ptr<TypeACard>>& cards) {
    uint16_t a = 0;
    for (auto& c : cards) a |= c->atqa();
    return {static_cast<uint8_t>(a), static_cast<uint8_t>(a >> 8)};
  }

  Reply RequestCard(uint8_t code) {
    auto woken = Wake(code);
    if (woken.empty()) return Reply::Fail(status::kNoCard);
    return Reply::Ok(Atqa(woken));
  }

  // The card the anticollision loop settles on: the first ready one to
  // enter the field.
  std::shared_ptr<TypeACard> Ready() {
    for (auto& c : ctx_.InField<TypeACard>())
      if (c->state() == State::kReady && c->anticollision()) return c;
    return nullptr;
  }

  void Activate(const std::shared_ptr<TypeACard>& c) {
    if (ctx_.selected && ctx_.selected != c && ctx_.selected->state() == State::kActive)
      ctx_.selected->set_state(State::kIdle);
    c->set_state(State::kActive);
    ctx_.selected = c;
  }

  Reply AntiCollide() {
    auto c = Ready();
    if (!c) return Reply::Fail(status::kNoCard);
    return Reply::Ok(c->uid());
  }

  Reply AntiCollideAndSelect() {
    auto c = Ready();
    if (!c) return Reply::Fail(status::kNoCard);
    Activate(c);
    return Reply::Ok(Concat({c->sak()}, c->uid()));
  }

  Reply Select(const Bytes& uid) {
    for (auto& c : ctx_.InField<TypeACard>()) {
      if (c->uid() != uid || c->state() != State::kReady) continue;
      Activate(c);
      return Reply::Ok({c->sak()});
    }
    return Reply::Fail(status::kNoCard);
  }

  Reply RequestAntiAndSelect(uint8_t code) {
    if (Wake(code).empty()) return Reply::Fail(status::kNoCard);
    auto c = Ready();
    if (!c) return Reply::Fail(status::kNoCard);
    Activate(c);
    Bytes r = {static_cast<uint8_t>(c->atqa()), static_cast<uint8_t>(c->atqa() >> 8), c->sak()};
    return Reply::Ok(Concat(r, c->uid()));
  }

  Reply AntiCollideLevel(uint8_t level) {
    if (level == 1 || !candidate_) {
      candidate_ = Ready();
      level_ = 0;
    }
    if (!candidate_ || candidate_->state() != State::kReady) return Reply::Fail(status::kNoCard);
    Bytes part = CascadePart(candidate_->uid(), level);
    if (part.empty()) return Bad();
    return Reply::Ok(part);
  }

  // Selecting a level short of the last gives SAK 04 (UID not complete).
  Reply SelectLevel(uint8_t level) {
    if (!candidate_ || candidate_->state() != State::kReady) return Reply::Fail(status::kNoCard);
    int levels = CascadeLevels(candidate_->uid());
    if (level < 1 || level > levels || level != level_ + 1) return Reply::Fail(status::kWrongState);
    level_ = level;
    if (level < levels) return Reply::Ok({0x04});
    auto c = candidate_;
    candidate_.reset();
    Activate(c);
    return Reply::Ok({c->sak()});
  }

  Reply Halt() {
    auto c = Active();
    if (!c) return Reply::Fail(status::kNoCard);
    c->set_state(State::kHalt);
    ctx_.Forget(c.get());
    return Reply::Ok();
  }

  // The selected card if it is still active and in the powered field.
  std::shared_ptr<TypeACard> Active() {
    auto c = ctx_.selected;
    if (!c || !ctx_.antenna_on || c->state() != State::kActive) return nullptr;
    return c;
  }

  MifareClassic* Classic() { return dynamic_cast<MifareClassic*>(Active().get()); }

  Reply DownloadKey(uint8_t index, const Bytes& key) {
    ctx_.mifare_keys[index] = key;
    return Reply::Ok();
  }

  // Key mode: an even value (0x60, 0x00) is key A, an odd one (0x61, 0x01) key B.
  static mfc::Key KeyOf(uint8_t mode) { return (mode & 1) ? mfc::Key::kB : mfc::Key::kA; }

  Reply Auth(uint8_t mode, uint8_t block, const Bytes& key) {
    auto c = Active();
    if (!c) return Reply::Fail(status::kNoCard);
    auto* m = dynamic_cast<MifareClassic*>(c.get());
    if (!m) return Reply::Fail(status::kAuthFailed);
    return Status(m->Authenticate(KeyOf(mode), block, key));
  }

  Reply AuthStored(const Bytes& d) {
    auto it = ctx_.mifare_keys.find(d[2]);
    if (it == ctx_.mifare_keys.end()) return Bad();
    return Auth(d[0], d[1], it->second);
  }

  Reply ReadBlock(uint8_t block) {
    auto c = Active();
    if (!c) return Reply::Fail(status::kNoCard);
    if (auto* m = dynamic_cast<MifareClassic*>(c.get())) {
      Bytes out;
      uint8_t s = m->Read(block, out);
      return s == status::kOk ? Reply::Ok(out) : Reply::Fail(s);
    }
    // An Ultralight-type tag: READ gives four pages.
    auto resp = c->Transceive({0x30, block});
    if (!resp || resp->size() != 16) return Reply::Fail(status::kCardRefused);
    return Reply::Ok(*resp);
  }

  Reply WriteBlock(uint8_t block, const Bytes& data, bool block0) {
    auto c = Active();
    if (!c) return Reply::Fail(status::kNoCard);
    if (auto* m = dynamic_cast<MifareClassic*>(c.get())) return Status(m->Write(block, data, block0));
    // An Ultralight-type tag: four bytes are a page WRITE; sixteen a
    // compatibility write of which the tag keeps the first four.
    if (data.size() == 4) return PageWrite(block, data);
    if (data.size() != 16) return Bad();
    auto resp = c->Transceive(Concat({0xA0, block}, data));
    return resp ? Reply::Ok() : Reply::Fail(status::kCardRefused);
  }

  Reply PageWrite(uint8_t page, const Bytes& data) {
    auto c = Active();
    if (!c) return Reply::Fail(status::kNoCard);
    auto resp = c->Transceive(Concat({0xA2, page}, Slice(data, 0, 4)));
    return resp ? Reply::Ok() : Reply::Fail(status::kCardRefused);
  }

  // The reader formats the block as a value block and writes it.
  Reply PurseInitial(uint8_t block, int32_t value) {
    auto* m = Classic();
    if (!m) return Reply::Fail(status::kNoCard);
    return Status(m->Write(block, mfc::ValueBlock(value, block)));
  }

  // The reader reads the block and checks the value format itself.
  Reply PurseRead(uint8_t block) {
    auto* m = Classic();
    if (!m) return Reply::Fail(status::kNoCard);
    Bytes b;
    uint8_t s = m->Read(block, b);
    if (s != status::kOk) return Reply::Fail(s);
    int32_t value;
    uint8_t addr;
    if (!mfc::ParseValueBlock(b.data(), value, addr)) return Reply::Fail(status::kNotValueBlock);
    Bytes r;
    PutLe32(r, static_cast<uint32_t>(value));
    return Reply::Ok(r);
  }

  // Decrement (-1), increment (+1) or restore (0) into the value register.
  Reply Value(uint8_t block, int dir, int32_t amount) {
    auto* m = Classic();
    if (!m) return Reply::Fail(status::kNoCard);
    if (dir < 0) return Status(m->Decrement(block, amount));
    if (dir > 0) return Status(m->Increment(block, amount));
    return Status(m->Restore(block));
  }

  Reply Transfer(uint8_t block) {
    auto* m = Classic();
    if (!m) return Reply::Fail(status::kNoCard);
    return Status(m->Transfer(block));
  }

  // Blocks one after another with the authentication in force; the answer
  // starts with the number of blocks done. Nothing done is a refusal.
  static constexpr int kMaxMultiBlocks = 64;

  Reply ReadMulti(uint8_t start, uint8_t count) {
    auto* m = Classic();
    if (!m) return Reply::Fail(status::kNoCard);
    if (count == 0 || count > kMaxMultiBlocks) return Bad();
    Bytes out = {0};
    uint8_t s = status::kOk;
    for (int i = 0; i < count; ++i) {
      Bytes b;
      s = m->Read(start + i, b);
      if (s != status::kOk) break;
      out.insert(out.end(), b.begin(), b.end());
      ++out[0];
    }
    if (out[0] == 0) return Reply::Fail(s);
    return Reply::Ok(out);
  }

  Reply WriteMulti(uint8_t start, uint8_t count, const Bytes& data) {
    auto* m = Classic();
    if (!m) return Reply::Fail(status::kNoCard);
    if (count == 0 || data.size() != 16u * count) return Bad();
    uint8_t done = 0, s = status::kOk;
    for (int i = 0; i < count; ++i) {
      s = m->Write(start + i, Slice(data, 16u * static_cast<size_t>(i), 16));
      if (s != status::kOk) break;
      ++done;
    }
    if (done == 0) return Reply::Fail(s);
    return Reply::Ok({done});
  }

  // Activates ISO 14443-4 on the selected card, or on the first card in the
  // field that speaks it, and answers with its ATS.
  Reply Layer4Reset() {
    auto c = Active();
    if (!c || c->ats().empty()) {
      c = nullptr;
      for (auto& card : Wake(kWupa)) {
        if (card->ats().empty() || !card->anticollision()) continue;
        c = card;
        break;
      }
      if (!c) return Reply::Fail(status::kNoCard);
      Activate(c);
    }
    if (c->apdu()) c->apdu()->Reset();
    ctx_.layer4 = c;
    return Reply::Ok(c->ats());
  }

  // The APDU channel serves the card activated last, type A or type B.
  Reply Apdu(const Bytes& command) {
    auto c = ctx_.layer4;
    if (!c || !ctx_.antenna_on || !c->apdu()) return Reply::Fail(status::kNoCard);
    if (auto a = std::dynamic_pointer_cast<TypeACard>(c); a && a->state() != State::kActive)
      return Reply::Fail(status::kNoCard);
    if (command.size() < 4) return Bad();
    return Reply::Ok(c->apdu()->Process(command));
  }

  std::shared_ptr<TypeACard> candidate_;  // the card of a level-by-level anticollision
  int level_ = 0;                        // the last cascade level selected
};

}  // namespace

std::unique_ptr<Family> MakeTypeA(Context& ctx) { return std::make_unique<TypeA>(ctx); }

}  // namespace orvexsim
