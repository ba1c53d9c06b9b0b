// SPDX-License-Identifier: MIT
// Reader command 0xC0, the transparent channel to tags of NFC Forum types 1
// and 2. The first data byte picks the sub-function, which the answer
// echoes: 10 passes a Type 2 (NTAG) command with its time-out byte, 15 is the
// reader's compatibility write, 16 its NFC counter read, 00 passes a Topaz
// (Type 1) command.
#include "orvexsim/families.h"
#include "orvexsim/topaz.h"

namespace orvexsim {
namespace {

using State = TypeACard::State;

class Transparent : public Family {
 public:
  using Family::Family;

  bool Handle(uint8_t cmd, const Bytes& d, Reply& r) override {
    if (cmd != 0xC0) return false;
    if (d.empty()) {
      r = Reply::Fail(status::kBadParameter);
      return true;
    }
    switch (d[0]) {
      case 0x10:  // time-out, command, parameters
        r = d.size() >= 3 ? Pass(0x10, Slice(d, 2)) : Bad();
        return true;
      case 0x15:  // page, 16 bytes
        r = d.size() == 18 ? Pass(0x15, Concat({0xA0}, Slice(d, 1))) : Bad();
        return true;
      case 0x16:
        r = d.size() == 1 ? Pass(0x16, {0x39, 0x02}) : Bad();
        return true;
      case 0x00:
        r = d.size() >= 3 ? TopazCommand(Slice(d, 2)) : Bad();
        return true;
      default: r = Bad(); return true;
    }
  }

 private:
  static Reply Bad() { return Reply::Fail(status::kBadParameter); }

  // The frame goes to the selected card; its response follows the echo.
  // A NAK, or no response, is a refusal.
  Reply Pass(uint8_t sub, const Bytes& frame) {
    auto c = ctx_.selected;
    if (!c || !ctx_.antenna_on || c->state() != State::kActive) return Reply::Fail(status::kNoCard);
    auto resp = c->Transceive(frame);
    if (!resp) return Reply::Fail(status::kCardRefused);
    if (sub != 0x10 && resp->size() == 1 && (*resp)[0] == 0x0A) resp->clear();  // the ACK
    return Reply::Ok(Concat({sub}, *resp));
  }

  // Topaz tags take no part in the anticollision: the reader addresses the
  // one in the field that a request woke.
  Reply TopazCommand(const Bytes& frame) {
    for (auto& t : ctx_.InField<Topaz>()) {
      if (t->state() == State::kIdle || t->state() == State::kHalt) continue;
      auto resp = t->Command(frame);
      if (!resp) return Reply::Fail(status::kCardRefused);
      return Reply::Ok(Concat({0x00}, *resp));
    }
    return Reply::Fail(status::kNoCard);
  }
};

}  // namespace

std::unique_ptr<Family> MakeTransparent(Context& ctx) { return std::make_unique<Transparent>(ctx); }

}  // namespace orvexsim
