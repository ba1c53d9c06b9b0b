// SPDX-License-Identifier: MIT
#include "orvexsim/simulator.h"

#include <algorithm>

#include "orvexsim/display.h"
#include "orvexsim/families.h"

namespace orvexsim {

namespace status {
const char* Text(uint8_t s) {
  switch (s) {
    case kOk: return "ok";
    case kNoCard: return "no card";
    case kAuthFailed: return "authentication failed";
    case kCardRefused: return "card refused";
    case kBadParameter: return "bad parameter";
    case kUnknownCommand: return "unknown command";
    case kNotValueBlock: return "not a value block";
    case kNotAuthenticated: return "not authenticated";
    case kWrongState: return "wrong state";
    case kVerifyFailed: return "verification failed";
  }
  return "error";
}
}  // namespace status

std::string ReaderState::LedText() const {
  std::string s;
  for (size_t i = 0; i < led_digits.size(); ++i) {
    s += led_digits[i];
    if (led_points[i]) s += '.';
  }
  return s;
}

void Context::Forget(const Card* card) {
  if (selected.get() == card) selected.reset();
  if (layer4.get() == card) layer4.reset();
}

Simulator::Simulator(ReaderModel model) {
  ctx_.model = model;
  ReaderState& r = ctx_.reader;
  r.serial = {0x4F, 0x56, 0x00, 0x00, 0x01, 0x23, 0x45, 0x67};
  const char* product = model == ReaderModel::kDisplayReader ? "OVX-D210" : "OVX-C100";
  r.product.assign(product, product + 8);
  r.memory.assign(65536, 0x00);
  families_.push_back(MakeReaderManagement(ctx_));
  families_.push_back(MakeTypeA(ctx_));
  families_.push_back(MakeTransparent(ctx_));
  families_.push_back(MakeVicinity(ctx_));
  families_.push_back(MakeTypeB(ctx_));
  families_.push_back(MakeFelica(ctx_));
  families_.push_back(MakeMifarePlus(ctx_));
  families_.push_back(MakeSamSlots(ctx_));
  families_.push_back(MakeCardApplication(ctx_));
  if (model == ReaderModel::kDisplayReader) {
    display_ = std::make_shared<Display>();
    families_.push_back(MakeDisplayCommands(ctx_, display_));
  } else {
    families_.push_back(MakeSleSlot(ctx_));
  }
}

Simulator::~Simulator() = default;

std::optional<Reply> Simulator::Handle(uint16_t reader, uint8_t cmd, const Bytes& data) {
  auto lock = Lock();
  // Number 0 reaches any reader; the line-speed change is always sent so.
  if (reader != 0 && reader != ctx_.reader.number) return std::nullopt;
  Reply reply = Reply::Fail(status::kUnknownCommand);
  for (auto& f : families_)
    if (f->Handle(cmd, data, reply)) break;
  if (reply.data.size() > kMaxAnswerData) reply = Reply::Fail(status::kBadParameter);
  // A card that left during the command (a test's interrupted write) is
  // gone from the field for every command after it.
  for (const auto& card : std::vector<std::shared_ptr<Card>>(ctx_.field))
    if (card->left()) Remove(card);
  if (ctx_.contact && ctx_.contact->left()) ctx_.contact.reset();
  if (commands_left_ > 0 && --commands_left_ == 0) {
    ClearField();
    ctx_.contact.reset();
  }
  NotifyDisplay();
  return reply;
}

uint16_t Simulator::reader_number() const {
  auto lock = Lock();
  return ctx_.reader.number;
}

void Simulator::set_reader_number(uint16_t n) {
  auto lock = Lock();
  ctx_.reader.number = n;
}

int Simulator::line_speed() const {
  auto lock = Lock();
  return ctx_.reader.line_speed;
}

void Simulator::set_line_speed(int bps) {
  auto lock = Lock();
  ctx_.reader.line_speed = bps;
}

bool Simulator::antenna_on() const {
  auto lock = Lock();
  return ctx_.antenna_on;
}

void Simulator::Seed(uint32_t seed) {
  auto lock = Lock();
  ctx_.random.seed(seed);
}

void Simulator::Place(std::shared_ptr<Card> card) {
  auto lock = Lock();
  if (!card) return;
  if (std::find(ctx_.field.begin(), ctx_.field.end(), card) != ctx_.field.end()) return;
  card->PowerUp();
  ctx_.field.push_back(std::move(card));
}

void Simulator::Insert(std::shared_ptr<Card> card) {
  auto lock = Lock();
  auto contact = std::dynamic_pointer_cast<ContactCard>(card);
  if (!contact) {
    Place(std::move(card));
    return;
  }
  if (!contact->sam()) {
    InsertContact(contact);
    return;
  }
  for (int slot = 1; slot <= 3; ++slot)
    if (!ctx_.sam[static_cast<size_t>(slot - 1)]) {
      InsertSam(slot, contact);
      return;
    }
}

bool Simulator::Remove(const std::shared_ptr<Card>& card) {
  auto lock = Lock();
  auto it = std::find(ctx_.field.begin(), ctx_.field.end(), card);
  if (it == ctx_.field.end()) return false;
  ctx_.Forget(card.get());
  ctx_.field.erase(it);
  return true;
}

void Simulator::ClearField() {
  auto lock = Lock();
  for (auto& c : ctx_.field) ctx_.Forget(c.get());
  ctx_.field.clear();
}

void Simulator::LeaveAfterCommands(int n) {
  auto lock = Lock();
  commands_left_ = n;
}

std::vector<std::shared_ptr<Card>> Simulator::cards() const {
  auto lock = Lock();
  return ctx_.field;
}

void Simulator::InsertContact(std::shared_ptr<ContactCard> card) {
  auto lock = Lock();
  if (card) card->PowerUp();
  ctx_.contact = std::move(card);
}

std::shared_ptr<ContactCard> Simulator::contact() const {
  auto lock = Lock();
  return ctx_.contact;
}

void Simulator::InsertSam(int slot, std::shared_ptr<ContactCard> card) {
  auto lock = Lock();
  if (slot < 1 || slot > 3) return;
  if (card) card->PowerUp();
  ctx_.sam[static_cast<size_t>(slot - 1)] = std::move(card);
}

std::shared_ptr<ContactCard> Simulator::sam(int slot) const {
  auto lock = Lock();
  if (slot < 1 || slot > 3) return nullptr;
  return ctx_.sam[static_cast<size_t>(slot - 1)];
}

void Simulator::set_display_listener(std::function<void(const Display&)> f) {
  auto lock = Lock();
  display_listener_ = std::move(f);
  if (display_ && display_listener_) display_listener_(*display_);
}

void Simulator::Tick() {
  auto lock = Lock();
  for (auto& f : families_) f->Tick();
  NotifyDisplay();
}

void Simulator::NotifyDisplay() {
  if (!display_ || display_->generation() == shown_generation_) return;
  shown_generation_ = display_->generation();
  if (display_listener_) display_listener_(*display_);
}

}  // namespace orvexsim
