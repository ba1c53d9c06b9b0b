// SPDX-License-Identifier: MIT
// Opening the reader link for the orvex tool: a serial device, a numbered
// serial port, USB HID, or the simulated reader run inside this process.
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "mifare_dump.h"
#include "orvex.h"

namespace orvexsim {
class Card;
class Simulator;
}

namespace orvextool {

class OutputFile;

// A failure the tool reports in words and exits with (1 by default; 2 for a
// usage error).
struct Failure : std::runtime_error {
  explicit Failure(const std::string& what, int exit_code = 1)
      : std::runtime_error(what), code(exit_code) {}
  int code;
};

struct DeviceOptions {
  std::string device;                 // "sim", or a connection string of the library
  int baud = 19200;
  bool trace = false;                 // every frame on stderr, decoded
  std::vector<std::string> sim_cards;  // card descriptions for the simulated field
  bool sim_empty = false;              // the simulated field starts empty
  int sim_leave_after = 0;             // cards leave after their N-th write (0 never)
  bool sim_display = false;            // simulate the display reader model
  std::string sim_load;                // a card holding this memory image or dump
  std::string sim_save;                // where the card's memory goes at the end
  std::string sim_screen;              // where the display reader's LCD goes at the end
};

// With no --device and no ORVEX_DEVICE: the one USB reader attached, found
// by the library's discovery. Anything else (none, or several) is refused
// with a usage Failure that says what was looked for and how to choose.
std::string ChooseDevice();

// Why the last exchange on the tool's open link failed, in words that name
// the device ("no answer from the reader on /dev/ttyUSB0 within 1101 ms",
// "the answer was cut off after 8 bytes (100 ms)", "the reader refused with
// status 0x01"); "" when no link is open or the last exchange went well.
std::string LastLinkFailure();

// What kind of failure that was (an OrvexFailure: ORVEX_FAIL_CUT_OFF for an
// answer cut off by its deadline); ORVEX_FAIL_NONE when none.
int LastLinkFailureKind();

// The data length of the last answer on the tool's open link (-1: none).
int LastAnswerLength();

// For a program that runs the tool inside its own process (the fuzz target):
// when a connector is set, --device sim hands it the simulated reader, its
// cards placed, and the link, not yet open, instead of serving the simulator
// on a pseudo-terminal from a thread; the connector opens the link on a line
// of its own straight into the simulator and returns whether it did. The
// link then reports the --baud speed and changes it without reopening.
using SimConnector = std::function<bool(orvexsim::Simulator&, OrvexLink&)>;
void SetSimConnector(SimConnector connector);

// The open link; closes it when destroyed. With "sim" it owns the simulated
// reader and its serial server.
class Link {
 public:
  explicit Link(const DeviceOptions& options);
  ~Link();
  // Closes the link after a successful run; with sim_save, writes the
  // simulated MIFARE Classic card's memory to that file first, and with
  // sim_screen the simulated LCD (PNG for a .png name, else text).
  void Finish();
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  // What was opened, in words ("simulated reader on /dev/pts/4").
  const std::string& description() const { return description_; }
  // The link itself, for what the library says about its last exchange.
  OrvexLink& link() { return link_; }
  // The line speed in bit/s (0 on USB).
  int speed() const { return speed_; }
  // Closes the serial line and opens it again at bits_per_second (after the
  // reader was told to switch to it).
  void Reopen(int bits_per_second);

 private:
  void SaveScreen();
  static void TraceFrame(void* user, int sent, const unsigned char* bytes, int length,
                         unsigned long long ns);
  struct Sim;
  std::unique_ptr<Sim> sim_;
  OrvexLink link_;
  std::unique_ptr<OrvexLinkScope> scope_;
  struct Tracer;
  std::unique_ptr<Tracer> tracer_;
  int speed_ = 0;
  void PrepareSave(const std::string& path);
  std::shared_ptr<orvexsim::Card> save_card_;
  orvexformats::DumpFormat save_format_ = orvexformats::DumpFormat::kMfd;
  std::unique_ptr<OutputFile> save_file_;
  std::string sim_screen_;
  std::string description_;
  std::string line_;  // the serial connection without its speed

};

}  // namespace orvextool
