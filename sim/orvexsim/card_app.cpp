// SPDX-License-Identifier: MIT
// Command 0xC4: the card application the reader firmware runs itself, with
// keys in a SAM. The first data byte is the sub-command, echoed by the
// answer. A refusal carries the echo and a status word (SW1 SW2) after it.
//
// 01 SAM reset, 02 SAM set-up (terminal number, key), 03 SAM information
// (terminal number, order number); 10 request the card (its number);
// 11 create the application, 12 change its key; 13/14 public file, 15/16
// holder file, 17/18 user file; 19 balance; 1A debit and 1B consume (both
// take a value from the balance); 1C the last transaction.
#include "orvexsim/cpu_card.h"
#include "orvexsim/families.h"

namespace orvexsim {
namespace {

class CardApplication : public Family {
 public:
  using Family::Family;

  bool Handle(uint8_t cmd, const Bytes& d, Reply& r) override {
    if (cmd != 0xC4) return false;
    if (d.empty()) {
      r = Reply::Fail(status::kBadParameter);
      return true;
    }
    sub_ = d[0];
    r = Run(Slice(d, 1));
    return true;
  }

 private:
  struct SamSetup {
    bool ready = false;
    Bytes terminal = Bytes(6, 0x00);
    uint32_t order = 0;
  };

  Reply Ok(const Bytes& out = {}) { return Reply::Ok(Concat({sub_}, out)); }
  Reply Refuse(uint8_t st, uint16_t sw) {
    return Reply{st, {sub_, static_cast<uint8_t>(sw >> 8), static_cast<uint8_t>(sw)}};
  }
  Reply Bad() { return Refuse(status::kBadParameter, 0x6700); }

  // The SAM slot a command names, set up.
  SamSetup* Sam(uint8_t index) {
    if (index < 1 || index > 3 || !ctx_.sam[index - 1u] || !setup_[index - 1u].ready) return nullptr;
    return &setup_[index - 1u];
  }

  // The card found by the last request, if it is still in the field.
  CardApplicationArea* Card() {
    for (auto& c : ctx_.InField<CpuCard>())
      if (c == card_) return &c->app;
    return nullptr;
  }

  Reply Run(const Bytes& p) {
    switch (sub_) {
      case 0x01: {
        if (p.size() != 1) return Bad();
        if (p[0] < 1 || p[0] > 3 || !ctx_.sam[p[0] - 1u]) return Refuse(status::kNoCard, 0x6A82);
        ctx_.sam[p[0] - 1u]->PowerUp();
        return Ok(ctx_.sam[p[0] - 1u]->atr());
      }
      case 0x02: {  // slot, privilege, terminal (6), key (16), key source
        if (p.size() != 25) return Bad();
        if (p[0] < 1 || p[0] > 3 || !ctx_.sam[p[0] - 1u]) return Refuse(status::kNoCard, 0x6A82);
        SamSetup& s = setup_[p[0] - 1u];
        s.ready = true;
        s.terminal = Slice(p, 2, 6);
        return Ok();
      }
      case 0x03: {
        if (p.size() != 1) return Bad();
        SamSetup* s = Sam(p[0]);
        if (!s) return Refuse(status::kWrongState, 0x6985);
        Bytes out = s->terminal;
        PutBe32(out, s->order);
        return Ok(out);
      }
      case 0x10: {
        card_.reset();
        auto cards = ctx_.InField<CpuCard>();
        if (cards.empty()) return Refuse(status::kNoCard, 0x6A82);
        card_ = cards[0];
        return Ok(card_->app.number);
      }
      default: break;
    }
    CardApplicationArea* a = Card();
    if (!a) return Refuse(status::kNoCard, 0x6985);
    switch (sub_) {
      case 0x11:  // key (16), key source
        if (p.size() != 17) return Bad();
        {
          CardApplicationArea fresh;
          fresh.number = a->number;
          fresh.key = Slice(p, 0, 16);
          *a = fresh;
        }
        return Ok(a->number);
      case 0x12:  // old key, new key, their sources
        if (p.size() != 34) return Bad();
        if (Slice(p, 0, 16) != a->key) return Refuse(status::kAuthFailed, 0x6982);
        a->key = Slice(p, 16, 16);
        return Ok(a->number);
      case 0x13: return p.empty() ? Ok(a->public_file) : Bad();
      case 0x15: return p.size() == 1 ? Ok(a->holder_file) : Bad();
      case 0x14:
      case 0x16: {  // slot, the file's bytes
        Bytes& file = sub_ == 0x14 ? a->public_file : a->holder_file;
        if (p.size() != 1 + file.size()) return Bad();
        if (!Sam(p[0])) return Refuse(status::kWrongState, 0x6985);
        file = Slice(p, 1);
        return Ok();
      }
      case 0x17: {  // slot, address (2), count (2)
        if (p.size() != 5) return Bad();
        size_t addr = Be16(p, 1), count = Be16(p, 3);
        if (addr + count > a->user_file.size() || count > kMaxAnswerData - 1) return Refuse(status::kCardRefused, 0x6B00);
        return Ok(Slice(a->user_file, addr, count));
      }
      case 0x18: {  // slot, address (2), data
        if (p.size() < 3) return Bad();
        size_t addr = Be16(p, 1);
        if (!Sam(p[0])) return Refuse(status::kWrongState, 0x6985);
        if (addr + p.size() - 3 > a->user_file.size()) return Refuse(status::kCardRefused, 0x6B00);
        std::copy(p.begin() + 3, p.end(), a->user_file.begin() + static_cast<long>(addr));
        return Ok();
      }
      case 0x19: {
        if (!p.empty()) return Bad();
        Bytes out;
        PutBe32(out, a->balance);
        return Ok(out);
      }
      case 0x1A:
      case 0x1B: {  // slot, value (4, most significant first), date (7)
        if (p.size() != 12) return Bad();
        SamSetup* s = Sam(p[0]);
        if (!s) return Refuse(status::kWrongState, 0x6985);
        uint32_t value = Be32(p, 1);
        if (value > a->balance) return Refuse(status::kCardRefused, 0x9401);
        a->balance -= value;
        ++s->order;
        // The record: type, value, balance after, date, order number, terminal.
        Bytes rec = {sub_};
        PutBe32(rec, value);
        PutBe32(rec, a->balance);
        rec = Concat(rec, Slice(p, 5, 7));
        PutBe32(rec, s->order);
        a->last_record = Concat(rec, s->terminal);
        Bytes out;
        PutBe32(out, a->balance);
        PutBe32(out, s->order);
        return Ok(out);
      }
      case 0x1C:
        if (!p.empty()) return Bad();
        if (a->last_record.empty()) return Refuse(status::kCardRefused, 0x6A83);
        return Ok(a->last_record);
    }
    return Refuse(status::kUnknownCommand, 0x6D00);
  }

  uint8_t sub_ = 0;
  std::shared_ptr<CpuCard> card_;
  SamSetup setup_[3];
};

}  // namespace

std::unique_ptr<Family> MakeCardApplication(Context& ctx) { return std::make_unique<CardApplication>(ctx); }

}  // namespace orvexsim
