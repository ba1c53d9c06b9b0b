// SPDX-License-Identifier: MIT
// The SLE4442 model and the card reader's command 0xC3, which drives the
// card in its contact slot: the first data byte is the sub-function, echoed
// by the answer: 01 reset, 02 read main memory, 03 write it, 04 read the
// protection memory, 05 write with protection, 06 read the security
// memory, 07 change the PSC, 08 present the PSC.
#include "orvexsim/sle4442.h"

#include "orvexsim/families.h"

namespace orvexsim {

Sle4442::Sle4442(Bytes psc) : psc_(std::move(psc)) {
  main_.fill(0xFF);
  const uint8_t header[] = {0xA2, 0x13, 0x10, 0x91};
  std::copy(header, header + 4, main_.begin());
  protection_ = 0xFFFFFFF0;
}

Bytes Sle4442::ReadMain(int addr, int len) const {
  Bytes out;
  for (int i = addr; i < addr + len && i < 256; ++i) out.push_back(main_[static_cast<size_t>(i)]);
  return out;
}

void Sle4442::UpdateMain(int addr, uint8_t v) {
  if (!verified_ || addr < 0 || addr > 255 || Protected(addr)) return;
  main_[static_cast<size_t>(addr)] = v;
}

void Sle4442::WriteCommand(int addr, const Bytes& data, bool protect) {
  for (size_t i = 0; i < data.size(); ++i) {
    int at = addr + static_cast<int>(i);
    UpdateMain(at, data[i]);
    if (protect) WriteProtection(at, data[i]);
  }
  Wrote();
}

Bytes Sle4442::ReadProtection() const {
  return {static_cast<uint8_t>(protection_), static_cast<uint8_t>(protection_ >> 8),
          static_cast<uint8_t>(protection_ >> 16), static_cast<uint8_t>(protection_ >> 24)};
}

void Sle4442::WriteProtection(int addr, uint8_t v) {
  if (!verified_ || addr < 0 || addr >= 32 || main_[static_cast<size_t>(addr)] != v) return;
  protection_ &= ~(1u << addr);
}

Bytes Sle4442::ReadSecurity() const {
  return Concat({counter_}, verified_ ? psc_ : Bytes(3, 0x00));
}

void Sle4442::UpdatePsc(const Bytes& psc) {
  if (verified_ && psc.size() == 3) psc_ = psc;
}

// One counter bit goes first; the right PSC then sets all three again.
bool Sle4442::Verify(const Bytes& psc) {
  if (counter_ == 0) return false;
  for (int b = 0; b < 3; ++b)
    if (counter_ & (1 << b)) {
      counter_ = static_cast<uint8_t>(counter_ & ~(1 << b));
      break;
    }
  if (psc != psc_) return false;
  counter_ = 0x07;
  verified_ = true;
  return true;
}

namespace {

class SleSlot : public Family {
 public:
  using Family::Family;

  bool Handle(uint8_t cmd, const Bytes& d, Reply& r) override {
    if (cmd != 0xC3) return false;
    if (d.empty()) {
      r = Reply::Fail(status::kBadParameter);
      return true;
    }
    auto card = std::dynamic_pointer_cast<Sle4442>(ctx_.contact);
    if (!card) {
      r = Reply::Fail(status::kNoCard);
      return true;
    }
    uint8_t sub = d[0];
    Bytes p = Slice(d, 1);
    std::optional<Bytes> out;
    uint8_t fail = status::kBadParameter;
    switch (sub) {
      case 0x01:
        if (!p.empty()) break;
        card->PowerUp();
        out = card->atr();
        break;
      case 0x02:  // start, length
        if (p.size() != 2 || p[0] + p[1] > 256) break;
        out = card->ReadMain(p[0], p[1]);
        break;
      case 0x03:  // start, data: a byte the card does not take stays as it was
        if (p.empty() || p[0] + p.size() - 1 > 256) break;
        card->WriteCommand(p[0], Slice(p, 1), false);
        out = Bytes{};
        break;
      case 0x04:
        if (!p.empty()) break;
        out = card->ReadProtection();
        break;
      case 0x05:  // start, data: written, then protected as written
        if (p.empty() || p[0] + p.size() - 1 > 256) break;
        card->WriteCommand(p[0], Slice(p, 1), true);
        out = Bytes{};
        break;
      case 0x06:
        if (!p.empty()) break;
        out = card->ReadSecurity();
        break;
      case 0x07:
        if (p.size() != 3) break;
        card->UpdatePsc(p);
        out = Bytes{};
        break;
      case 0x08:
        if (p.size() != 3) break;
        if (card->Verify(p)) out = Bytes{card->error_counter()};
        else fail = status::kVerifyFailed;
        break;
      default: fail = status::kUnknownCommand; break;
    }
    r = out ? Reply::Ok(Concat({sub}, *out)) : Reply::Fail(fail);
    return true;
  }
};

}  // namespace

std::unique_ptr<Family> MakeSleSlot(Context& ctx) { return std::make_unique<SleSlot>(ctx); }

}  // namespace orvexsim
