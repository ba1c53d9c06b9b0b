// SPDX-License-Identifier: MIT
// The SAM model and the reader's SAM commands: slot 1 at 0x10 to 0x13, slot
// 2 at 0x14 to 0x17, slot 3 at 0x18 to 0x1B; in each, set speed, reset,
// APDU, PPS.
#include "orvexsim/sam.h"

#include "orvexsim/families.h"

namespace orvexsim {

SamCard::SamCard(Bytes serial) : serial_(std::move(serial)), cos_(serial_) {}

Bytes T0Channel::Process(const Bytes& c) {
  // GET RESPONSE: the SAM's own waiting data first, then the pieces the
  // card operating system still holds.
  if (c.size() == 5 && c[0] == 0x00 && c[1] == 0xC0 && !waiting_.empty()) return GetResponse(c);
  waiting_.clear();
  Bytes r = inner_.Process(c);
  // Command data: a short Lc byte that is not zero, and its bytes.
  const bool carries_data = c.size() > 5 && c[4] != 0 && c.size() >= 5u + c[4];
  if (!carries_data || r.size() <= 2) return r;
  waiting_.assign(r.begin(), r.end() - 2);
  sw_.assign(r.end() - 2, r.end());
  return {0x61, static_cast<uint8_t>(waiting_.size() >= 256 ? 0 : waiting_.size())};
}

Bytes T0Channel::GetResponse(const Bytes& c) {
  if (c[2] != 0x00 || c[3] != 0x00) return {0x6A, 0x86};
  const size_t le = c[4] == 0 ? 256 : c[4];
  if (le > waiting_.size()) return {0x6C, static_cast<uint8_t>(waiting_.size())};
  Bytes out(waiting_.begin(), waiting_.begin() + static_cast<long>(le));
  waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<long>(le));
  if (waiting_.empty()) {
    out.insert(out.end(), sw_.begin(), sw_.end());
  } else {
    out.push_back(0x61);
    out.push_back(static_cast<uint8_t>(waiting_.size() >= 256 ? 0 : waiting_.size()));
  }
  return out;
}

// T=0; TB1 and TC1 zero; historical bytes "OVXSAM" and the serial number,
// as many as T0 announces.
Bytes SamCard::atr() const {
  uint8_t k = static_cast<uint8_t>((6 + serial_.size()) & 0x0F);
  return Concat({0x3B, static_cast<uint8_t>(0x60 | k), 0x00, 0x00, 'O', 'V', 'X', 'S', 'A', 'M'}, serial_);
}

namespace {

class SamSlots : public Family {
 public:
  using Family::Family;

  bool Handle(uint8_t cmd, const Bytes& d, Reply& r) override {
    if (cmd < 0x10 || cmd > 0x1B) return false;
    size_t slot = static_cast<size_t>((cmd - 0x10) / 4);
    auto sam = ctx_.sam[slot];
    if (!sam) {
      r = Reply::Fail(status::kNoCard);
      return true;
    }
    switch ((cmd - 0x10) % 4) {
      case 0:  // speed index
        r = d.size() == 1 ? Set(slot, d) : Reply::Fail(status::kBadParameter);
        break;
      case 3:  // PPS: speed index, and the protocol
        r = d.size() == 1 || d.size() == 2 ? Set(slot, d) : Reply::Fail(status::kBadParameter);
        break;
      case 1:  // reset, optionally with the voltage class
        if (d.size() > 1) {
          r = Reply::Fail(status::kBadParameter);
          break;
        }
        sam->PowerUp();
        powered_[slot] = true;
        r = Reply::Ok(sam->atr());
        break;
      case 2:
        if (!powered_[slot] || !sam->apdu()) {
          r = Reply::Fail(status::kWrongState);
        } else if (d.size() < 4) {
          r = Reply::Fail(status::kBadParameter);
        } else {
          r = Reply::Ok(sam->apdu()->Process(d));
        }
        break;
    }
    return true;
  }

 private:
  // The speed (and protocol) codes are the reader's: kept, not interpreted.
  Reply Set(size_t slot, const Bytes& d) {
    speed_[slot] = d[0];
    return Reply::Ok();
  }

  bool powered_[3] = {false, false, false};
  uint8_t speed_[3] = {0x11, 0x11, 0x11};
};

}  // namespace

std::unique_ptr<Family> MakeSamSlots(Context& ctx) { return std::make_unique<SamSlots>(ctx); }

}  // namespace orvexsim
