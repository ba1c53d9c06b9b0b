#include "device.h"

#include <fstream>
#include <map>

#include "orvex.h"
#include "orvexsim/card_spec.h"
#include "orvexsim/display.h"
#include "orvexsim/mifare_classic.h"
#include "orvexsim/serial_server.h"
#include "orvexsim/simulator.h"

namespace orvextool {

// The simulated reader: the simulator and the pseudo-terminal it answers on,
// served from a thread of its own while the tool talks to it through the
// library like to any serial reader.
struct Link::Sim {
  explicit Sim(bool display)
      : simulator(display ? orvexsim::ReaderModel::kDisplayReader
                          : orvexsim::ReaderModel::kCardReader),
        server(simulator) {}
  orvexsim::Simulator simulator;
  orvexsim::SerialServer server;
};

namespace {

// The simulated field holds a blank MIFARE Classic 1K unless told otherwise.
constexpr const char* kDefaultSimCard = "mfc1k";

void PlaceCards(orvexsim::Simulator& sim, const DeviceOptions& o) {
  std::map<std::string, int> per_kind;  // several cards of one kind get distinct ids
  auto place = [&](const std::string& spec, bool required) {
    std::string kind = spec.substr(0, spec.find(':')), error;
    auto card = orvexsim::MakeCard(spec, per_kind[kind], error);
    if (!card) {
      if (required) throw Failure("--sim-card " + spec + ": " + error, 2);
      return;
    }
    ++per_kind[kind];
    sim.Insert(card);  // a SAM goes into a free SAM slot, a contact card into the slot
  };
  if (!o.sim_load.empty()) {
    std::string error;
    auto card = orvexsim::MifareClassic::LoadMfd(o.sim_load, error);
    if (!card) throw Failure("--sim-load " + o.sim_load + ": " + error, 2);
    sim.Place(card);
  }
  if (!o.sim_cards.empty()) {
    for (const auto& spec : o.sim_cards) place(spec, true);
  } else if (!o.sim_empty && o.sim_load.empty()) {
    // Only when the simulator knows the kind; otherwise the field stays empty.
    place(kDefaultSimCard, false);
  }
}

}  // namespace

Link::Link(const DeviceOptions& o) {
  Orvex ov;
  const std::string& d = o.device;
  if (d == "sim") {
    sim_ = std::make_unique<Sim>(o.sim_display);
    sim_save_ = o.sim_save;
    sim_screen_ = o.sim_screen;
    if (!sim_screen_.empty() && !o.sim_display)
      throw Failure("--sim-screen needs the simulated display reader (--sim-display)", 2);
    PlaceCards(sim_->simulator, o);
    sim_->server.Start();
    if (ov.OV_ComInitialDevice(sim_->server.path().c_str(), o.baud) != 1)
      throw Failure("cannot open the simulated reader's line " + sim_->server.path());
    description_ = "simulated reader on " + sim_->server.path();
  } else if (d == "usb") {
    int rc = ov.OV_USBHIDInitial();
    if (rc == -2)
      throw Failure("the USB reader was found but could not be opened (permissions? see the udev rule)");
    if (rc != 1) throw Failure("no USB reader found (vendor 0471, product 114A), or its interface cannot be claimed");
    usb_ = true;
    description_ = "USB reader";
  } else if (d.rfind("ttyS:", 0) == 0) {
    std::string n = d.substr(5);
    if (n.empty() || n.find_first_not_of("0123456789") != std::string::npos)
      throw Failure("--device ttyS:N needs a port number, e.g. ttyS:0", 2);
    if (ov.OV_ComInitial(std::stoi(n), o.baud) != 1)
      throw Failure("cannot open serial port /dev/ttyS" + n + " at " + std::to_string(o.baud) +
                    " bit/s");
    description_ = "/dev/ttyS" + n;
  } else if (!d.empty() && d[0] == '/') {
    if (ov.OV_ComInitialDevice(d.c_str(), o.baud) != 1)
      throw Failure("cannot open serial device " + d + " at " + std::to_string(o.baud) +
                    " bit/s (does it exist, and may you open it?)");
    description_ = d;
  } else {
    throw Failure("unknown device \"" + d + "\": give sim, usb, ttyS:N or a device path", 2);
  }
}

void Link::Finish() {
  if (!sim_ || (sim_save_.empty() && sim_screen_.empty())) return;
  sim_->server.Stop();
  auto lock = sim_->simulator.Lock();
  if (!sim_screen_.empty()) SaveScreen();
  if (sim_save_.empty()) return;
  for (const auto& c : sim_->simulator.cards()) {
    if (auto m = std::dynamic_pointer_cast<orvexsim::MifareClassic>(c)) {
      std::string error;
      if (!m->SaveMfd(sim_save_, error)) throw Failure("--sim-save " + sim_save_ + ": " + error);
      return;
    }
  }
  throw Failure("--sim-save: no MIFARE Classic card in the simulated field");
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
  Orvex ov;
  if (usb_) ov.OV_USBHIDFree();
  else ov.OV_ComFree();
  if (sim_) sim_->server.Stop();
}

}  // namespace orvextool
