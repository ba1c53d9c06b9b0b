// SPDX-License-Identifier: MIT
// One Orvex reader as pcscd sees it: a link of its own (an OrvexLink), four
// slots (0 the contactless field, 1 to 3 the SAM slots) and the IFD handler
// operations on them. Each operation holds the reader's mutex and makes its
// link the current one on the calling thread, so readers run in parallel and
// the slots of one reader take turns.
#pragma once

#include "ifd.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "card.h"
#include "config.h"
#include "pseudo_apdu.h"

class OrvexLink;

namespace orvex_ifd {

// The control code of the raw reader-command pass-through, listed as
// FEATURE_CCID_ESC_COMMAND when the configuration enables it. Request: the
// reader command code, then its data field; answer: 00 (done) or 01 (the
// reader refused), then the answer data.
constexpr unsigned long kIoctlReaderCommand = SCARD_CTL_CODE(1);

class Reader {
 public:
  static constexpr int kSlots = 4;
  static constexpr int kField = 0;
  // The longest APDU the reader carries to a SAM, and to a card in the field
  // (one command's data field).
  static constexpr size_t kMaxSamApdu = 100;
  static constexpr size_t kMaxFieldApdu = 1040;
  // How often the polling thread looks at a slot: a card put into the field
  // or taken away shows within this (plus one look).
  static constexpr std::chrono::milliseconds kPollInterval{200};
  // How long a departure is reported before the field is looked at again.
  static constexpr std::chrono::milliseconds kAbsentHold{300};

  explicit Reader(Config config);
  ~Reader();
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  // Opens the link to connection (a liborvex connection string). False with
  // the reason in error.
  bool Open(const std::string& connection, std::string& error);

  RESPONSECODE Power(int slot, DWORD action, Bytes& atr);
  // IFD_ICC_PRESENT, IFD_ICC_NOT_PRESENT, or IFD_COMMUNICATION_ERROR when
  // the reader could not be asked. A change WaitForChange saw is answered
  // here first.
  RESPONSECODE Presence(int slot);
  // pcscd's polling thread for slot: returns once the slot's presence
  // differs from the last answer Presence gave (looking every
  // kPollInterval), when timeout_ms have passed, or when StopWaiting is
  // called.
  void WaitForChange(int slot, int timeout_ms);
  void StopWaiting(int slot);
  RESPONSECODE Transmit(int slot, const Bytes& command, Bytes& response);
  RESPONSECODE Control(int slot, DWORD code, const Bytes& in, Bytes& out);
  // The ATR of the card powered in slot (empty when none is).
  Bytes Atr(int slot);
  // The card the field slot holds powered or saw last (for tests and logs).
  CardInfo FieldCard();

  const Config& config() const { return config_; }

 private:
  struct Slot {
    bool powered = false;
    RESPONSECODE reported = IFD_ICC_NOT_PRESENT;  // the last presence answer
    bool reported_present = false;
    std::optional<RESPONSECODE> pending;  // a change WaitForChange saw, for Presence
    bool stop_waiting = false;
    // The card left (or was swapped for another between two looks): every
    // presence answer says absent until then, so that whoever asks first
    // (pcscd's event thread, or its check before a power-up) cannot hide
    // the departure from the other.
    std::chrono::steady_clock::time_point absent_until{};
    bool used = false;              // something was sent to the powered card
    CardInfo card;                  // the field: the card powered, or the one seen last
    Bytes atr;
    std::unique_ptr<PseudoApdu> session;  // the field: the powered card's pseudo-APDUs
    // SAM slots: when to ask again, and what the last probe found.
    std::chrono::steady_clock::time_point next_probe{};
    bool probe_present = false;
  };

  // The slot's presence now (advancing the slot's state).
  RESPONSECODE Sense(int slot);
  RESPONSECODE FieldPresence();
  RESPONSECODE FieldPowerUp(Bytes& atr);
  void FieldPowerDown();
  RESPONSECODE FieldTransmit(const Bytes& command, Bytes& response);
  RESPONSECODE SamPresence(int slot);
  RESPONSECODE SamPowerUp(int slot, Bytes& atr);
  RESPONSECODE SamTransmit(int slot, const Bytes& command, Bytes& response);
  RESPONSECODE ReaderCommand(const Bytes& in, Bytes& out);
  // The powered card left (or stopped answering): not powered any more, and
  // the presence checks of the next kAbsentHold say absent.
  void Lost(Slot& s);

  Config config_;
  std::unique_ptr<OrvexLink> link_;
  std::mutex mu_;
  std::condition_variable wake_;
  Slot slots_[kSlots];
  KeyStore keys_;
};

}  // namespace orvex_ifd
