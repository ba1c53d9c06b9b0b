// SPDX-License-Identifier: MIT
#include "device.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>

#include "classic_files.h"
#include "mifare_dump.h"
#include "orvex.h"
#include "orvexsim/card_kinds.h"
#include "orvexsim/display.h"
#include "orvexsim/mifare_classic.h"
#include "orvexsim/ntag.h"
#include "orvexsim/serial_server.h"
#include "orvexsim/simulator.h"
#include "orvexsim/trace.h"
#include "util.h"

namespace orvextool {

namespace {
const Link* g_open = nullptr;  // the tool's one open link
SimConnector g_sim_connector;
}

void SetSimConnector(SimConnector connector) { g_sim_connector = std::move(connector); }

// The simulated reader: the simulator and the pseudo-terminal it answers on,
// served from a thread of its own while the tool talks to it through the
// library like to any serial reader.
struct Link::Sim {
  explicit Sim(bool display)
      : simulator(display ? orvexsim::ReaderModel::kDisplayReader
                          : orvexsim::ReaderModel::kCardReader) {}
  orvexsim::Simulator simulator;
  std::unique_ptr<orvexsim::SerialServer> server;  // none when a connector links it in
  // The cards placed, kept also when one leaves the field (--sim-save).
  std::vector<std::shared_ptr<orvexsim::Card>> placed;
};

namespace {

// The simulated field holds a blank MIFARE Classic 1K unless told otherwise.
constexpr const char* kDefaultSimCard = "mfc1k";

std::string Joined(const std::vector<std::string>& v, const char* sep) {
  std::string s;
  for (const auto& x : v) s += (s.empty() ? "" : sep) + x;
  return s;
}

// A card from a memory image: a MIFARE Classic 1K or 4K (a dump: .eml or
// .json by the name, else a raw .mfd of 1024 or 4096 bytes) or an NTAG213,
// 215 or 216 (180, 540 or 924 bytes, its UID in pages 0 and 1). The
// NTAG210 and NTAG212 share their sizes (80 and 164 bytes) with the
// Ultralight EV1: their images are named with the kind, "ntag210:FILE" (any
// NTAG or Ultralight EV1 kind may be named so).
std::shared_ptr<orvexsim::Card> LoadImage(const std::string& text, std::string& error) {
  using Model = orvexsim::Ntag::Model;
  std::string path = text, kind;
  std::shared_ptr<orvexsim::Ntag> ntag;  // the kind the image is of, when it is an NTAG's
  const size_t colon = text.find(':');
  if (colon != std::string::npos) {
    std::string unused;
    ntag = std::dynamic_pointer_cast<orvexsim::Ntag>(orvexsim::MakeCard(text.substr(0, colon), 0, unused));
    if (ntag) {
      kind = text.substr(0, colon);
      path = text.substr(colon + 1);
    }
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    error = "cannot read " + path;
    return nullptr;
  }
  orvexsim::Bytes image((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const orvexformats::DumpFormat format = orvexformats::FormatOfName(path);
  if (!ntag) {
    if (format == orvexformats::DumpFormat::kMfd && (image.size() == 80 || image.size() == 164)) {
      error = "an image of " + std::to_string(image.size()) + " bytes is an " +
              (image.size() == 80 ? "NTAG210 or an Ultralight EV1 (48 bytes)" : "NTAG212 or an Ultralight EV1 (128 bytes)") +
              ": name the kind, e.g. " + (image.size() == 80 ? "ntag210:" : "ulev1-128:") + path;
      return nullptr;
    }
    const std::map<size_t, Model> ntags = {{180, Model::k213}, {540, Model::k215}, {924, Model::k216}};
    auto size = ntags.find(image.size());
    if (format != orvexformats::DumpFormat::kMfd || size == ntags.end())
      return orvexsim::ClassicFromDump(image, format, error);
    ntag = std::make_shared<orvexsim::Ntag>(size->second, orvexsim::Bytes{4, 0, 0, 0, 0, 0, 0});
  } else if (image.size() != ntag->memory().size()) {
    error = "the memory of an " + kind + " has " + std::to_string(ntag->memory().size()) + " bytes; " + path +
            " holds " + std::to_string(image.size());
    return nullptr;
  }
  orvexsim::Bytes uid{image[0], image[1], image[2], image[4], image[5], image[6], image[7]};
  auto card = std::make_shared<orvexsim::Ntag>(ntag->model(), uid);
  card->memory() = image;
  return card;
}

void PlaceCards(orvexsim::Simulator& sim, const DeviceOptions& o) {
  std::map<std::string, int> per_kind;  // several cards of one kind get distinct ids
  auto place = [&](const std::string& text, bool required) {
    std::string kind = text.substr(0, text.find(':')), error;
    auto card = orvexsim::MakeCard(text, per_kind[kind], error);
    if (!card) {
      if (required) throw Failure("--sim-card " + text + ": " + error, 2);
      return;
    }
    ++per_kind[kind];
    sim.Insert(card);  // a SAM goes into a free SAM slot, a contact card into the slot
  };
  if (!o.sim_load.empty()) {
    std::string error;
    auto card = LoadImage(o.sim_load, error);
    if (!card) throw Failure("--sim-load " + o.sim_load + ": " + error, 2);
    sim.Place(card);
  }
  if (!o.sim_cards.empty()) {
    for (const auto& text : o.sim_cards) place(text, true);
  } else if (!o.sim_empty && o.sim_load.empty()) {
    // Only when the simulator knows the kind; otherwise the field stays empty.
    place(kDefaultSimCard, false);
  }
  if (o.sim_leave_after > 0) {
    for (const auto& card : sim.cards()) card->LeaveAfterWrites(o.sim_leave_after);
    if (sim.contact()) sim.contact()->LeaveAfterWrites(o.sim_leave_after);
  }
}

}  // namespace

// The trace of --trace: every frame as it crossed the wire, decoded the way
// orvex-sim --trace decodes what it receives and sends, on stderr.
struct Link::Tracer {
  orvexsim::WireTracer wire;
  bool serial = true;
  std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

void Link::TraceFrame(void* user, int sent, const unsigned char* bytes, int length, unsigned long long /*ns*/) {
  auto* t = static_cast<Tracer*>(user);
  double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t->start).count();
  std::string line = t->wire.Line(sent != 0, orvexsim::Bytes(bytes, bytes + length), t->serial);
  std::fprintf(stderr, "%9.3f %s\n", ms, line.c_str());
}

// The tool waits about a second for a reader's first byte (the library's
// process-wide link waits 15 s): a missing or silent reader is reported at
// once, while every command keeps at least its own answer deadline.
constexpr int kToolFirstByteMs = 1000;

Link::Link(const DeviceOptions& o) {
  std::string connection = o.device;
  if (o.device == "sim") {
    sim_ = std::make_unique<Sim>(o.sim_display);
    sim_screen_ = o.sim_screen;
    if (!sim_screen_.empty() && !o.sim_display)
      throw Failure("--sim-screen needs the simulated display reader (--sim-display)", 2);
    PlaceCards(sim_->simulator, o);
    sim_->placed = sim_->simulator.cards();
    if (!o.sim_save.empty()) PrepareSave(o.sim_save);
    if (!g_sim_connector) {
      sim_->server = std::make_unique<orvexsim::SerialServer>(sim_->simulator);
      sim_->server->Start();
      connection = sim_->server->path();
    }
  }
  const bool in_process = sim_ && !sim_->server;  // linked in by the connector below
  const bool usb = !in_process && connection.rfind("usb", 0) == 0;
  if (!in_process) {
    char why[512];
    if (!sim_ && OrvexCheckConnection(connection.c_str(), why, sizeof why) != 1)
      throw Failure("--device: " + std::string(why) + " (or sim for the simulated reader)", 2);
    // --baud (19200 by default) applies to a serial connection that names no
    // speed of its own.
    if (!usb && connection.find('@') == std::string::npos) connection += "@" + std::to_string(o.baud);
    if (OrvexCheckConnection(connection.c_str(), why, sizeof why) != 1)
      throw Failure("--device: " + std::string(why), 2);
  }
  link_.SetQuiet(true);
  link_.SetFirstByteTimeout(kToolFirstByteMs);
  if (o.trace) {
    tracer_ = std::make_unique<Tracer>();
    tracer_->wire = orvexsim::WireTracer(o.sim_display ? orvexsim::ReaderModel::kDisplayReader
                                                       : orvexsim::ReaderModel::kCardReader);
    tracer_->serial = !usb;
    link_.SetTrace(&Link::TraceFrame, tracer_.get());
  }
  int r = in_process ? (g_sim_connector(sim_->simulator, link_) ? 1 : -1) : link_.Open(connection.c_str());
  if (r != 1) {
    if (sim_) throw Failure("cannot open the simulated reader's line: " + std::string(link_.LastFailureText()));
    if (r == ORVEX_LINK_BAD_CONNECTION) throw Failure("--device: " + std::string(link_.LastFailureText()), 2);
    std::string hint = usb ? " (is it plugged in? permissions: see the udev rule)" : "";
    throw Failure(std::string(link_.LastFailureText()) + hint);
  }
  scope_ = std::make_unique<OrvexLinkScope>(link_);
  g_open = this;
  if (in_process) {
    speed_ = o.baud;
    description_ = "simulated reader";
    return;
  }
  size_t at = connection.rfind('@');
  speed_ = usb ? 0 : std::atoi(connection.substr(at + 1).c_str());
  if (!usb) line_ = connection.substr(0, at);
  if (sim_)
    description_ = "simulated reader on " + sim_->server->path();
  else
    description_ = usb ? "USB reader (" + o.device + ")" : connection.substr(0, at);
}

void Link::Reopen(int bits_per_second) {
  if (sim_ && !sim_->server) {  // a connector's line has no device to reopen
    speed_ = bits_per_second;
    return;
  }
  if (line_.empty()) throw Failure("a USB link has no line speed");
  scope_.reset();
  link_.Close();
  std::string connection = line_ + "@" + std::to_string(bits_per_second);
  if (link_.Open(connection.c_str()) != 1)
    throw Failure("reopening " + description_ + " at " + std::to_string(bits_per_second) +
                  " bit/s: " + link_.LastFailureText());
  scope_ = std::make_unique<OrvexLinkScope>(link_);
  speed_ = bits_per_second;
}

std::string LastLinkFailure() {
  if (g_open == nullptr) return "";
  OrvexLink& link = const_cast<Link*>(g_open)->link();
  if (link.LastFailure() == ORVEX_FAIL_NONE) return "";
  std::string text = link.LastFailureText();
  const std::string prefix = "no answer from the reader";
  if (link.LastFailure() == ORVEX_FAIL_NO_ANSWER && text.rfind(prefix, 0) == 0)
    text = prefix + " on " + g_open->description() + text.substr(prefix.size());
  return text;
}

int LastLinkFailureKind() {
  return g_open ? const_cast<Link*>(g_open)->link().LastFailure() : ORVEX_FAIL_NONE;
}

int LastAnswerLength() {
  return g_open ? const_cast<Link*>(g_open)->link().LastAnswerLength() : -1;
}

std::string ChooseDevice() {
  OrvexReaderList found;
  std::vector<std::string> usb, serial;
  for (int i = 0; i < found.Count(); ++i)
    (std::string(found.Kind(i)) == "usb" ? usb : serial).push_back(found.Connection(i));
  if (usb.size() == 1) return usb[0];
  std::string what = usb.empty() ? "no --device given and no USB reader attached (looked for USB 0471:114A)"
                                 : "no --device given and " + std::to_string(usb.size()) +
                                       " USB readers attached: " + Joined(usb, ", ");
  if (!serial.empty()) what += "; serial ports: " + Joined(serial, ", ");
  throw Failure(what + ". Choose one with --device (or ORVEX_DEVICE): a device path, ttyS:N, "
                "usb:BUS:ADDR (see orvex list), or --device sim for the simulated reader",
                2);
}

// The card --sim-save keeps (the first MIFARE Classic or NTAG placed) and
// its file's format, checked before anything is sent: a MIFARE Classic goes
// to a dump file its name chooses (.mfd, .eml or .json, written as mfc dump
// writes them), an NTAG to its raw memory image. The file is opened (to a
// temporary name) now, so that a file that cannot be written is refused
// before the command changes the card.
void Link::PrepareSave(const std::string& path) {
  if (path == "-") throw Failure("--sim-save: give a file (the card is not written to standard output)", 2);
  for (const auto& c : sim_->placed) {
    if (std::dynamic_pointer_cast<orvexsim::MifareClassic>(c)) {
      if (!orvexformats::FormatNamed(path, save_format_))
        throw Failure("--sim-save " + path + ": a MIFARE Classic card is saved to a .mfd, .eml or .json file "
                      "(its name chooses the format)",
                      2);
    } else if (std::dynamic_pointer_cast<orvexsim::Ntag>(c)) {
      if (orvexformats::FormatOfName(path) != orvexformats::DumpFormat::kMfd)
        throw Failure("--sim-save " + path + ": an NTAG is saved as its raw memory image; .eml and .json "
                      "files hold MIFARE Classic dumps",
                      2);
    } else {
      continue;
    }
    save_card_ = c;
    save_file_ = std::make_unique<OutputFile>(path, "--sim-save", 0600);
    return;
  }
  throw Failure("--sim-save: no MIFARE Classic card or NTAG in the simulated field", 2);
}

void Link::Finish() {
  if (!sim_ || (!save_file_ && sim_screen_.empty())) return;
  if (sim_->server) sim_->server->Stop();
  auto lock = sim_->simulator.Lock();
  if (!sim_screen_.empty()) SaveScreen();
  if (!save_file_) return;
  // Written once, also when this is called again after a failure here.
  const std::unique_ptr<OutputFile> file = std::move(save_file_);
  if (auto m = std::dynamic_pointer_cast<orvexsim::MifareClassic>(save_card_))
    file->Commit(orvexsim::ClassicDumpFile(*m, save_format_));
  else
    file->Commit(std::static_pointer_cast<orvexsim::Ntag>(save_card_)->memory());
}

void Link::SaveScreen() {
  const orvexsim::Display* lcd = sim_->simulator.display();
  std::string error;
  const std::string& path = sim_screen_;
  if (path.size() > 4 && path.compare(path.size() - 4, 4, ".png") == 0) {
    if (!lcd->WritePng(path, error)) throw Failure("--sim-screen " + path + ": " + error);
    return;
  }
  std::ofstream f(path);
  f << lcd->Ascii();
  if (!f.flush()) throw Failure("--sim-screen " + path + ": cannot write it");
}

Link::~Link() {
  if (g_open == this) g_open = nullptr;
  scope_.reset();
  link_.Close();
  if (sim_ && sim_->server) sim_->server->Stop();
}

}  // namespace orvextool
