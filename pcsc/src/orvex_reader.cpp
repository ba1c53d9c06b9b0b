// SPDX-License-Identifier: MIT
#include "orvex_reader.h"

#include <orvex.h>

#include <cstring>

#include "field.h"

namespace orvex_ifd {
namespace {

constexpr int kReaderNumber = 0;  // reaches the reader whatever its number
// How long a SAM slot's last probe stands: SAMs sit inside the reader and
// are rarely changed, and a reset per poll would keep a serial line busy.
constexpr auto kSamProbeInterval = std::chrono::seconds(1);
// The feature TLV: tag, length 4, the control code big-endian.
void AddFeature(Bytes& out, uint8_t tag, unsigned long code) {
  out.insert(out.end(), {tag, 4, static_cast<uint8_t>(code >> 24), static_cast<uint8_t>(code >> 16),
                         static_cast<uint8_t>(code >> 8), static_cast<uint8_t>(code)});
}

Bytes Sw(uint16_t sw) { return {static_cast<uint8_t>(sw >> 8), static_cast<uint8_t>(sw)}; }

}  // namespace

Reader::Reader(Config config) : config_(std::move(config)), link_(std::make_unique<OrvexLink>()) {}

Reader::~Reader() = default;

bool Reader::Open(const std::string& connection, std::string& error) {
  std::lock_guard<std::mutex> lock(mu_);
  char message[256] = "";
  if (OrvexCheckConnection(connection.c_str(), message, sizeof message) != 1) {
    error = "\"" + connection + "\": " + message;
    return false;
  }
  // Every command waits as long as its own deadline and no longer (a
  // missing card must not hold pcscd for the link's default 15 s), and the
  // link's messages stay in LastFailureText rather than on pcscd's stderr.
  link_->SetFirstByteTimeout(1);
  link_->SetQuiet(true);
  if (link_->Open(connection.c_str()) != 1) {
    error = "\"" + connection + "\": " + link_->LastFailureText();
    return false;
  }
  return true;
}

void Reader::Lost(Slot& s) {
  s.powered = false;
  s.used = false;
  s.session.reset();
  s.atr.clear();
  s.absent_until = std::chrono::steady_clock::now() + kAbsentHold;
}

Bytes Reader::Atr(int slot) {
  std::lock_guard<std::mutex> lock(mu_);
  if (slot < 0 || slot >= kSlots || !slots_[slot].powered) return {};
  return slots_[slot].atr;
}

CardInfo Reader::FieldCard() {
  std::lock_guard<std::mutex> lock(mu_);
  return slots_[kField].card;
}

// ---- Presence ---------------------------------------------------------------

RESPONSECODE Reader::Presence(int slot) {
  if (slot < 0 || slot >= kSlots) return IFD_COMMUNICATION_ERROR;
  std::lock_guard<std::mutex> lock(mu_);
  Slot& s = slots_[slot];
  RESPONSECODE rc;
  if (s.pending) {
    rc = *s.pending;
    s.pending.reset();
  } else {
    rc = Sense(slot);
  }
  s.reported = rc;
  s.reported_present = rc == IFD_ICC_PRESENT;
  return rc;
}

RESPONSECODE Reader::Sense(int slot) {
  OrvexLinkScope use(*link_);
  return slot == kField ? FieldPresence() : SamPresence(slot);
}

void Reader::WaitForChange(int slot, int timeout_ms) {
  if (slot < 0 || slot >= kSlots) return;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms < 0 ? 0 : timeout_ms);
  std::unique_lock<std::mutex> lock(mu_);
  Slot& s = slots_[slot];
  for (;;) {
    // A stop asked for while no wait was in progress counts for this one.
    if (s.stop_waiting) {
      s.stop_waiting = false;
      return;
    }
    if (s.pending) return;
    RESPONSECODE rc = Sense(slot);
    if (rc != s.reported) {
      s.pending = rc;
      return;
    }
    auto now = std::chrono::steady_clock::now();
    if (now >= deadline) return;
    auto until = now + kPollInterval < deadline ? now + kPollInterval : deadline;
    wake_.wait_until(lock, until, [&] { return s.stop_waiting; });
  }
}

void Reader::StopWaiting(int slot) {
  if (slot < 0 || slot >= kSlots) return;
  std::lock_guard<std::mutex> lock(mu_);
  slots_[slot].stop_waiting = true;
  wake_.notify_all();
}

RESPONSECODE Reader::FieldPresence() {
  Slot& s = slots_[kField];
  auto now = std::chrono::steady_clock::now();
  if (now < s.absent_until) return IFD_ICC_NOT_PRESENT;
  Field field(*link_);
  if (s.powered) {
    switch (field.CheckPowered(s.card, s.session ? s.session->authenticated_sector() : std::nullopt, s.used)) {
      case Field::Probe::kPresent:
      case Field::Probe::kNotProbed: return IFD_ICC_PRESENT;
      case Field::Probe::kGone: Lost(s); return IFD_ICC_NOT_PRESENT;
      case Field::Probe::kLinkFailure: return IFD_COMMUNICATION_ERROR;
    }
  }
  CardInfo found;
  switch (field.Detect(found)) {
    case Field::Found::kLinkFailure: return IFD_COMMUNICATION_ERROR;
    case Field::Found::kNone:
      s.card = CardInfo{};
      return IFD_ICC_NOT_PRESENT;
    case Field::Found::kCard: break;
  }
  // Another card than the one reported between two polls: absent once, so
  // that pcscd sees a removal and an insertion.
  bool swapped = s.reported_present && !found.Same(s.card);
  s.card = found;
  if (!swapped) return IFD_ICC_PRESENT;
  s.absent_until = now + kAbsentHold;
  return IFD_ICC_NOT_PRESENT;
}

RESPONSECODE Reader::SamPresence(int slot) {
  Slot& s = slots_[slot];
  auto now = std::chrono::steady_clock::now();
  if (now < s.absent_until) return IFD_ICC_NOT_PRESENT;
  // A powered SAM is not reset to see whether it is there: that would undo
  // what its client did. It answers the next APDU, or its absence shows then.
  if (s.powered) return IFD_ICC_PRESENT;
  if (now < s.next_probe) return s.probe_present ? IFD_ICC_PRESENT : IFD_ICC_NOT_PRESENT;
  Orvex ov;
  unsigned char atr[ORVEX_MAX_ANSWER];
  int len = 0;
  int rc = ov.OV_SAM_Reset(kReaderNumber, slot, &len, atr);
  if (rc != 1 && link_->LastFailure() != ORVEX_FAIL_REFUSED) return IFD_COMMUNICATION_ERROR;
  s.probe_present = rc == 1 && len > 0;
  s.next_probe = now + kSamProbeInterval;
  return s.probe_present ? IFD_ICC_PRESENT : IFD_ICC_NOT_PRESENT;
}

// ---- Power ------------------------------------------------------------------

RESPONSECODE Reader::Power(int slot, DWORD action, Bytes& atr) {
  if (slot < 0 || slot >= kSlots) return IFD_COMMUNICATION_ERROR;
  std::lock_guard<std::mutex> lock(mu_);
  OrvexLinkScope use(*link_);
  atr.clear();
  Slot& s = slots_[slot];
  switch (action) {
    case IFD_POWER_DOWN:
      if (slot == kField) {
        FieldPowerDown();
      } else {
        // The reader has no command to switch a SAM off: it is simply no
        // longer used until the next reset.
        s.powered = false;
        s.atr.clear();
      }
      return IFD_SUCCESS;
    case IFD_POWER_UP:
    case IFD_RESET:
      if (slot == kField) {
        if (action == IFD_RESET) FieldPowerDown();
        return FieldPowerUp(atr);
      }
      return SamPowerUp(slot, atr);
    default: return IFD_NOT_SUPPORTED;
  }
}

RESPONSECODE Reader::FieldPowerUp(Bytes& atr) {
  Slot& s = slots_[kField];
  if (s.powered) FieldPowerDown();
  Field field(*link_);
  CardInfo card;
  switch (field.Detect(card)) {
    case Field::Found::kLinkFailure: return IFD_COMMUNICATION_ERROR;
    case Field::Found::kNone: return IFD_ERROR_POWER_ACTION;
    case Field::Found::kCard: break;
  }
  if (!field.Activate(card)) return IFD_ERROR_POWER_ACTION;
  s.card = card;
  s.atr = card.atr;
  s.powered = true;
  s.used = false;
  s.session = std::make_unique<PseudoApdu>(card, keys_);
  atr = s.atr;
  return IFD_SUCCESS;
}

void Reader::FieldPowerDown() {
  Slot& s = slots_[kField];
  if (s.powered) Field(*link_).Halt(s.card);
  s.powered = false;
  s.used = false;
  s.session.reset();
  s.atr.clear();
}

RESPONSECODE Reader::SamPowerUp(int slot, Bytes& atr) {
  Slot& s = slots_[slot];
  Orvex ov;
  unsigned char answer[ORVEX_MAX_ANSWER];
  int len = 0;
  s.powered = false;
  s.atr.clear();
  int rc = ov.OV_SAM_Reset(kReaderNumber, slot, &len, answer);
  if (rc != 1) {
    if (link_->LastFailure() != ORVEX_FAIL_REFUSED) return IFD_COMMUNICATION_ERROR;
    s.probe_present = false;
    return IFD_ERROR_POWER_ACTION;
  }
  if (len <= 0) return IFD_ERROR_POWER_ACTION;
  s.atr.assign(answer, answer + len);
  s.powered = true;
  s.probe_present = true;
  s.next_probe = std::chrono::steady_clock::now() + kSamProbeInterval;
  atr = s.atr;
  return IFD_SUCCESS;
}

// ---- Transmit ---------------------------------------------------------------

RESPONSECODE Reader::Transmit(int slot, const Bytes& command, Bytes& response) {
  if (slot < 0 || slot >= kSlots) return IFD_COMMUNICATION_ERROR;
  std::lock_guard<std::mutex> lock(mu_);
  OrvexLinkScope use(*link_);
  response.clear();
  if (!slots_[slot].powered) return IFD_ICC_NOT_PRESENT;
  if (command.size() < 4) return IFD_COMMUNICATION_ERROR;
  return slot == kField ? FieldTransmit(command, response) : SamTransmit(slot, command, response);
}

RESPONSECODE Reader::FieldTransmit(const Bytes& command, Bytes& response) {
  Slot& s = slots_[kField];
  s.used = true;
  Field field(*link_);
  if (s.session->Handles(command)) {
    Field::StorageIo io(field, s.card);
    PseudoApdu::Outcome o = s.session->Handle(command, io);
    switch (o.status) {
      case PseudoApdu::Outcome::Status::kAnswer: response = std::move(o.response); return IFD_SUCCESS;
      case PseudoApdu::Outcome::Status::kCardGone: Lost(s); return IFD_ICC_NOT_PRESENT;
      case PseudoApdu::Outcome::Status::kLinkFailure: Lost(s); return IFD_COMMUNICATION_ERROR;
    }
  }
  // An APDU to the ISO 14443-4 card, as it stands; its answer as it comes
  // (61 XX and 6C XX are the application's to follow). One the reader cannot
  // carry fails without the card being taken for gone.
  if (command.size() > kMaxFieldApdu) return IFD_COMMUNICATION_ERROR;
  switch (field.Apdu(command, response)) {
    case CardIo::Result::kOk: return IFD_SUCCESS;
    case CardIo::Result::kRefused: Lost(s); return IFD_ICC_NOT_PRESENT;
    case CardIo::Result::kFailed: break;
  }
  Lost(s);
  return IFD_COMMUNICATION_ERROR;
}

RESPONSECODE Reader::SamTransmit(int slot, const Bytes& command, Bytes& response) {
  Slot& s = slots_[slot];
  // Class FF is the reader's, never the SAM's.
  if (command[0] == 0xFF) {
    response = Sw(0x6E00);
    return IFD_SUCCESS;
  }
  if (command.size() > kMaxSamApdu) return IFD_COMMUNICATION_ERROR;
  s.used = true;
  Orvex ov;
  Bytes cmd = command;
  unsigned char out[ORVEX_MAX_ANSWER];
  int len = 0;
  int rc = ov.OV_SAM_COS(kReaderNumber, slot, static_cast<int>(cmd.size()), cmd.data(), &len, out);
  if (rc == 1 && len >= 2) {
    response.assign(out, out + len);
    return IFD_SUCCESS;
  }
  bool refused = rc != 1 && link_->LastFailure() == ORVEX_FAIL_REFUSED;
  Lost(s);
  s.probe_present = false;
  return refused ? IFD_ICC_NOT_PRESENT : IFD_COMMUNICATION_ERROR;
}

// ---- Control ----------------------------------------------------------------

RESPONSECODE Reader::Control(int slot, DWORD code, const Bytes& in, Bytes& out) {
  if (slot < 0 || slot >= kSlots) return IFD_COMMUNICATION_ERROR;
  out.clear();
  if (code == CM_IOCTL_GET_FEATURE_REQUEST) {
    // The only feature is the pass-through, and only when it is enabled.
    if (config_.pass_through) AddFeature(out, FEATURE_CCID_ESC_COMMAND, kIoctlReaderCommand);
    return IFD_SUCCESS;
  }
  if (code == kIoctlReaderCommand) {
    if (!config_.pass_through) return IFD_NOT_SUPPORTED;
    std::lock_guard<std::mutex> lock(mu_);
    OrvexLinkScope use(*link_);
    return ReaderCommand(in, out);
  }
  return IFD_NOT_SUPPORTED;
}

// The reader commands liborvex offers, by their command code: data field
// in, answer out, as on the wire. The line speed (01) is left out: the
// link would lose the reader.
RESPONSECODE Reader::ReaderCommand(const Bytes& in, Bytes& out) {
  if (in.empty()) return IFD_COMMUNICATION_ERROR;
  Orvex ov;
  uint8_t cmd = in[0];
  Bytes d(in.begin() + 1, in.end());
  size_t n = d.size();
  unsigned char answer[ORVEX_MAX_ANSWER];
  int answer_len = 0;
  int rc = -1;
  auto number = [&](int v) {
    answer[0] = static_cast<unsigned char>(v >> 8);
    answer[1] = static_cast<unsigned char>(v);
    answer_len = 2;
    return 1;
  };
  switch (cmd) {
    case 0x02:  // reader number: new number (2 bytes)
      if (n != 2) return IFD_COMMUNICATION_ERROR;
      rc = ov.OV_SetReaderID(kReaderNumber, (d[0] << 8) | d[1]);
      break;
    case 0x03:
      if (n != 0) return IFD_COMMUNICATION_ERROR;
      rc = number(ov.OV_GetReaderID(kReaderNumber));
      break;
    case 0x04:
      if (n != 0) return IFD_COMMUNICATION_ERROR;
      rc = ov.OV_GetReaderVersion(kReaderNumber);
      rc = rc > 0 ? number(rc) : -1;
      break;
    case 0x05:
    case 0x08:
      if (n != 0) return IFD_COMMUNICATION_ERROR;
      rc = cmd == 0x05 ? ov.OV_GetReaderSerial(kReaderNumber, answer) : ov.OV_GetReaderNo(kReaderNumber, answer);
      if (rc >= 0 && link_->LastFailure() == ORVEX_FAIL_NONE) {
        answer_len = link_->LastAnswerLength();
        rc = 1;
      } else {
        rc = -1;
      }
      break;
    case 0x06:  // buzzer: on, off, cycles
      if (n != 3) return IFD_COMMUNICATION_ERROR;
      rc = ov.OV_Buzzer(kReaderNumber, d[0], d[1], d[2]);
      break;
    case 0x07:  // lamps: lamp, on, off, cycles, lamp left lit
      if (n != 5) return IFD_COMMUNICATION_ERROR;
      rc = ov.OV_Led(kReaderNumber, d[0], d[1], d[2], d[3], d[4]);
      break;
    case 0x0F:  // parameter: index, then the value to set (none: read)
      if (n < 1) return IFD_COMMUNICATION_ERROR;
      rc = ov.OV_GetParam(kReaderNumber, d[0], static_cast<int>(n - 1), d.data() + 1, &answer_len, answer);
      break;
    case 0x20:  // search mode: mode, or mode and parameter
      if (n == 1) rc = ov.OV_SearchCardMode(kReaderNumber, d[0]);
      else if (n == 2) rc = ov.OV_SearchCardModeEx(kReaderNumber, d[0], d[1]);
      else return IFD_COMMUNICATION_ERROR;
      break;
    case 0x21:  // antenna on (1) or off (0)
      if (n != 1) return IFD_COMMUNICATION_ERROR;
      rc = ov.OV_AntennaStatus(kReaderNumber, d[0] != 0);
      break;
    case 0xB1:  // read memory: 00 00, address, length (2 bytes each)
      if (n != 6) return IFD_COMMUNICATION_ERROR;
      if (((d[4] << 8) | d[5]) > ORVEX_MAX_ANSWER) return IFD_COMMUNICATION_ERROR;
      rc = ov.OV_ReadReaderMemory(kReaderNumber, (d[2] << 8) | d[3], (d[4] << 8) | d[5], answer);
      if (rc == 1) answer_len = link_->LastAnswerLength();
      break;
    case 0xB2:  // write memory: 00 00, address, length, data
      if (n < 6 || n - 6 != static_cast<size_t>((d[4] << 8) | d[5])) return IFD_COMMUNICATION_ERROR;
      rc = ov.OV_WriteReaderMemory(kReaderNumber, (d[2] << 8) | d[3], (d[4] << 8) | d[5], d.data() + 6);
      break;
    case 0xFB:  // the reader's raw pass-through: mode, time-out, parameters
      if (n < 2) return IFD_COMMUNICATION_ERROR;
      rc = OV_SendCMD(kReaderNumber, d[0], d[1], static_cast<int>(n - 2), d.data() + 2, &answer_len, answer);
      break;
    case 0xFE:  // HF antenna choice
      if (n != 1) return IFD_COMMUNICATION_ERROR;
      rc = ov.OV_HFSelectAntenna(kReaderNumber, d[0]);
      break;
    default: return IFD_NOT_SUPPORTED;
  }
  if (rc != 1) {
    // Refused (the status byte itself is the library's): 01. Nothing back: error.
    int f = link_->LastFailure();
    if (f != ORVEX_FAIL_REFUSED && f != ORVEX_FAIL_NONE) return IFD_COMMUNICATION_ERROR;
    out = {0x01};
    return IFD_SUCCESS;
  }
  out.assign(1, 0x00);
  if (answer_len > 0) out.insert(out.end(), answer, answer + answer_len);
  return IFD_SUCCESS;
}

}  // namespace orvex_ifd
