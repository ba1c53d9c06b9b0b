// SPDX-License-Identifier: MIT
// The SAM model and the reader's SAM commands: slot 1 at 0x10 to 0x13, slot
// 2 at 0x14 to 0x17, slot 3 at 0x18 to 0x1B; in each, set speed, reset,
// APDU, PPS.
#include "orvexsim/sam.h"

#include "orvexsim/families.h"

namespace orvexsim {

SamCard::SamCard(Bytes serial) : serial_(std::move(serial)), cos_(serial_) {}

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
