// SPDX-License-Identifier: MIT
// The simulated reader, independent of any link: it takes one decoded
// command (reader number, command byte, data field) and gives the answer
// (status byte and data), or no answer at all, as the reader would.
//
// Two reader models: the card reader (command 0xC3 drives the SLE4442 in its
// contact slot) and the display reader (command 0xC3 drives its LCD, clock
// and flash). Cards are placed into and removed from the field at any time.
//
// Thread safety: every public member locks the simulator; a test that looks
// into a card it placed holds Lock() while it does.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "orvexsim/bytes.h"
#include "orvexsim/card.h"
#include "orvexsim/frame.h"
#include "orvexsim/status.h"

namespace orvexsim {

class Display;

enum class ReaderModel { kCardReader, kDisplayReader };

// The reader's answer to one command.
struct Reply {
  uint8_t status = status::kOk;
  Bytes data;

  static Reply Ok(Bytes d = {}) { return Reply{status::kOk, std::move(d)}; }
  static Reply Fail(uint8_t s) { return Reply{s, {}}; }
};

// The reader's own stateful parts (all but the cards and the display).
struct ReaderState {
  uint16_t number = 1;         // the reader number it answers to (0 reaches any reader)
  uint16_t version = 0x0107;   // firmware version
  Bytes serial;                // serial number (8 bytes)
  Bytes product;               // product number (ASCII)
  int line_speed = 19200;      // bits per second

  // Buzzer: how many times it sounded, and the last timing asked for.
  int beeps = 0;
  uint8_t buzzer_on = 0, buzzer_off = 0;
  // Lamps: the last blink request (lamp, on, off, cycles) and the lamp left lit.
  Bytes led_blink;
  uint8_t led_lit = 0;
  // The 8-digit LED display: what each digit shows (' ' when blank) and
  // whether its decimal point is lit.
  std::array<char, 8> led_digits{{' ', ' ', ' ', ' ', ' ', ' ', ' ', ' '}};
  std::array<bool, 8> led_points{};

  uint8_t search_mode = 0x41;  // 0x41 ISO 14443-A, 0x42 ISO 14443-B, ...
  std::optional<uint8_t> search_param;
  uint8_t hf_antenna = 0;
  std::map<uint8_t, Bytes> params;  // parameter store
  Bytes memory;                     // reader memory, 64 KiB
  Bytes module433 = Bytes(8, 0);    // the 433 MHz module's parameters

  // "12345678", with a '.' after each digit whose point is lit.
  std::string LedText() const;
};

// Everything a command family reaches: the field, the slots and the
// reader's card-level state.
struct Context {
  ReaderModel model = ReaderModel::kCardReader;
  ReaderState reader;
  bool antenna_on = true;
  std::vector<std::shared_ptr<Card>> field;          // cards in the RF field
  std::shared_ptr<ContactCard> contact;              // the contact slot (SLE4442)
  std::array<std::shared_ptr<ContactCard>, 3> sam;   // SAM slots 1 to 3
  std::shared_ptr<TypeACard> selected;   // the ISO 14443-A card the reader selected
  std::shared_ptr<Card> layer4;          // the card behind the APDU channel
  std::map<uint8_t, Bytes> mifare_keys;  // keys downloaded into the reader
  // Where the cards' chance comes from (the FeliCa time slot each card
  // answers a polling in): seeded, so that a run can be repeated.
  std::mt19937 random{kDefaultSeed};
  static constexpr uint32_t kDefaultSeed = 1;

  // Powered cards of type T in the RF field, in the order they were placed
  // (none while the antenna is off).
  template <class T>
  std::vector<std::shared_ptr<T>> InField() const {
    std::vector<std::shared_ptr<T>> r;
    if (!antenna_on) return r;
    for (const auto& c : field)
      if (auto t = std::dynamic_pointer_cast<T>(c)) r.push_back(t);
    return r;
  }
  // A card left the field or lost power: the reader forgets it.
  void Forget(const Card* card);
};

// A group of reader commands (one family of the protocol).
class Family {
 public:
  explicit Family(Context& ctx) : ctx_(ctx) {}
  virtual ~Family() = default;
  // False when cmd is not a command of this family.
  virtual bool Handle(uint8_t cmd, const Bytes& data, Reply& reply) = 0;
  // Time passed (the display's clock and forms); true when something changed.
  virtual bool Tick() { return false; }

 protected:
  Context& ctx_;
};

class Simulator {
 public:
  explicit Simulator(ReaderModel model = ReaderModel::kCardReader);
  ~Simulator();
  Simulator(const Simulator&) = delete;
  Simulator& operator=(const Simulator&) = delete;

  ReaderModel model() const { return ctx_.model; }

  // One command: the answer, or nullopt when the reader stays silent (the
  // command was addressed to another reader number).
  std::optional<Reply> Handle(uint16_t reader, uint8_t cmd, const Bytes& data);
  std::optional<Reply> Handle(const CommandFrame& f) { return Handle(f.reader, f.cmd, f.data); }

  // ---- The reader ----
  uint16_t reader_number() const;
  void set_reader_number(uint16_t n);
  int line_speed() const;
  void set_line_speed(int bps);
  // The reader's own state (hold Lock() while reading it from another thread).
  ReaderState& reader() { return ctx_.reader; }
  bool antenna_on() const;
  // Seeds the simulator's random source (a new simulator starts from
  // Context::kDefaultSeed): the same seed, the same draws.
  void Seed(uint32_t seed);

  // ---- The field and the slots ----
  // Places a card into the RF field (it powers up).
  void Place(std::shared_ptr<Card> card);
  // Puts any card where it belongs: a contact card into the card slot, a
  // SAM into the first free SAM slot, any other into the field.
  void Insert(std::shared_ptr<Card> card);
  // Takes a card out of the field; false if it was not there.
  bool Remove(const std::shared_ptr<Card>& card);
  // Empties the RF field.
  void ClearField();
  // For tests of a card taken away in the middle of a command sequence: the
  // cards in the field and the contact slot leave right after the reader's
  // n-th command from now (that command is answered); 0 never.
  void LeaveAfterCommands(int n);
  std::vector<std::shared_ptr<Card>> cards() const;
  // The contact slot (nullptr empties it).
  void InsertContact(std::shared_ptr<ContactCard> card);
  std::shared_ptr<ContactCard> contact() const;
  // SAM slot 1 to 3 (nullptr empties it).
  void InsertSam(int slot, std::shared_ptr<ContactCard> card);
  std::shared_ptr<ContactCard> sam(int slot) const;

  // ---- The display reader ----
  // The LCD, clock and flash (nullptr on the card reader).
  Display* display() { return display_.get(); }
  // Called, under the lock, after anything the LCD shows changed (and once
  // when set).
  void set_display_listener(std::function<void(const Display&)> f);
  // Lets time-driven state advance (the clock, the power-on form giving way
  // to the running form); the serial server calls it a few times a second.
  void Tick();

  std::unique_lock<std::recursive_mutex> Lock() const {
    return std::unique_lock<std::recursive_mutex>(mu_);
  }

 private:
  void NotifyDisplay();

  mutable std::recursive_mutex mu_;
  Context ctx_;
  std::shared_ptr<Display> display_;
  std::vector<std::unique_ptr<Family>> families_;
  std::function<void(const Display&)> display_listener_;
  uint64_t shown_generation_ = 0;
  int commands_left_ = 0;  // LeaveAfterCommands
};

}  // namespace orvexsim
