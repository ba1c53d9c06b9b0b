// SPDX-License-Identifier: MIT
// orvex-sim: a simulated Orvex reader on a pseudo-terminal.
//
// Prints the device to open as its first line of output, then serves until
// interrupted. Lines on standard input script the field while it runs:
//   place CARD      put a card into the field
//   remove N|all    take card N (as "list" numbers them) or all cards out
//   eject           take the card out of the contact slot
//   list            show the cards in the field and the slots
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "classic_files.h"
#include "orvexsim/card_kinds.h"
#include "orvexsim/display.h"
#include "orvexsim/mifare_classic.h"
#include "orvexsim/sam.h"
#include "orvexsim/serial_server.h"
#include "orvexsim/simulator.h"

using namespace orvexsim;

namespace {

int g_signal_pipe[2] = {-1, -1};
std::mutex g_out;

void OnSignal(int) { (void)!write(g_signal_pipe[1], "s", 1); }

void Say(const std::string& line) {
  std::lock_guard<std::mutex> l(g_out);
  std::fputs(line.c_str(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

void Usage(FILE* f) {
  std::fprintf(f,
               "usage: orvex-sim [options]\n"
               "A simulated Orvex reader on a pseudo-terminal. The first line of output is the\n"
               "device to open (OV_ComInitialDevice); it serves until interrupted.\n\n"
               "  --display             the display reader (command 0xC3 drives its LCD)\n"
               "  --reader-id N         the reader number (default 1; 0 reaches any reader)\n"
               "  --serial HEX          the reader's serial number, 8 bytes in hex\n"
               "  --card CARD           put a card into the field (repeatable)\n"
               "  --empty               start with nothing in the field\n"
               "  --load FILE           a MIFARE Classic card holding this dump: .eml or .json\n"
               "                        by the name (every byte known), else a raw .mfd of\n"
               "                        1024 or 4096 bytes; the UID comes from its block 0\n"
               "  --save FILE           write that card's memory (or the first MIFARE Classic\n"
               "                        card's) at exit to FILE, a dump in the format its name\n"
               "                        says: .mfd, .eml or .json\n"
               "  --baud N              paced mode: answers no faster than a line at N bit/s\n"
               "  --leave-after N       the cards leave the field (or the contact slot) right\n"
               "                        after their N-th write, as with orvex --sim-leave-after\n"
               "  --leave-after-commands N\n"
               "                        the cards leave the field and the contact slot right\n"
               "                        after the reader answered its N-th command\n"
               "  --trace               print every frame in and out, decoded\n"
               "  --lcd-png FILE        display reader: rewrite FILE as a PNG of the LCD after\n"
               "                        each change\n"
               "  --link PATH           also make PATH a symbolic link to the device\n"
               "  -h, --help            this text\n\n"
               "Without --card, --empty or --display the field holds a blank MIFARE Classic 1K;\n"
               "the card reader has a SAM in slot 1.\n"
               "Card CARDs (IDs in hex):\n%s\n"
               "Standard input: place CARD | remove N|all | eject | list\n",
               CardKindsHelp());
}

struct Options {
  bool display = false;
  int reader_id = 1;
  Bytes serial;
  std::vector<std::string> cards;
  bool empty = false;
  std::string load, save;
  orvexformats::DumpFormat save_format = orvexformats::DumpFormat::kMfd;
  int baud = 0;
  int leave_after = 0, leave_after_commands = 0;
  bool trace = false;
  std::string lcd_png;
  std::string link;
};

bool ParseInt(const char* s, int& out) {
  char* end = nullptr;
  long v = std::strtol(s, &end, 0);
  if (!*s || *end) return false;
  out = static_cast<int>(v);
  return true;
}

bool Parse(int argc, char** argv, Options& o) {
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    auto value = [&](const char*& v) {
      if (i + 1 >= argc) {
        std::fprintf(stderr, "orvex-sim: %s needs a value\n", a.c_str());
        return false;
      }
      v = argv[++i];
      return true;
    };
    const char* v = nullptr;
    if (a == "-h" || a == "--help") {
      Usage(stdout);
      std::exit(0);
    } else if (a == "--display") {
      o.display = true;
    } else if (a == "--empty") {
      o.empty = true;
    } else if (a == "--trace") {
      o.trace = true;
    } else if (a == "--reader-id") {
      if (!value(v) || !ParseInt(v, o.reader_id) || o.reader_id < 0 || o.reader_id > 0xFFFF) {
        std::fprintf(stderr, "orvex-sim: --reader-id takes 0 to 65535\n");
        return false;
      }
    } else if (a == "--serial") {
      if (!value(v) || !ParseHex(v, o.serial) || o.serial.size() != 8) {
        std::fprintf(stderr, "orvex-sim: --serial takes 8 bytes in hex (16 digits)\n");
        return false;
      }
    } else if (a == "--card") {
      if (!value(v)) return false;
      o.cards.push_back(v);
    } else if (a == "--baud") {
      if (!value(v) || !ParseInt(v, o.baud) || o.baud <= 0) {
        std::fprintf(stderr, "orvex-sim: --baud takes a positive number of bits per second\n");
        return false;
      }
    } else if (a == "--leave-after" || a == "--leave-after-commands") {
      int& n = a == "--leave-after" ? o.leave_after : o.leave_after_commands;
      if (!value(v) || !ParseInt(v, n) || n <= 0) {
        std::fprintf(stderr, "orvex-sim: %s takes a positive number\n", a.c_str());
        return false;
      }
    } else if (a == "--load") {
      if (!value(v)) return false;
      o.load = v;
    } else if (a == "--save") {
      if (!value(v)) return false;
      o.save = v;
      if (!orvexformats::FormatNamed(o.save, o.save_format)) {
        std::fprintf(stderr, "orvex-sim: --save %s: a MIFARE Classic card is saved to a .mfd, .eml or .json file "
                     "(its name chooses the format)\n", v);
        return false;
      }
    } else if (a == "--lcd-png") {
      if (!value(v)) return false;
      o.lcd_png = v;
    } else if (a == "--link") {
      if (!value(v)) return false;
      o.link = v;
    } else {
      std::fprintf(stderr, "orvex-sim: unknown option %s (try --help)\n", a.c_str());
      return false;
    }
  }
  return true;
}

// Places a card by its description; counts cards per kind so that default ids differ.
class Placer {
 public:
  explicit Placer(Simulator& sim) : sim_(sim) {}
  bool Place(const std::string& text, std::string& error) {
    std::string kind = text.substr(0, text.find(':'));
    auto card = MakeCard(text, count_[kind], error);
    if (!card) return false;
    ++count_[kind];
    sim_.Insert(card);
    return true;
  }

 private:
  Simulator& sim_;
  std::map<std::string, int> count_;
};

void List(Simulator& sim) {
  auto cards = sim.cards();
  if (cards.empty()) Say("field: empty");
  auto lock = sim.Lock();
  for (size_t i = 0; i < cards.size(); ++i) Say("field " + std::to_string(i) + ": " + cards[i]->Describe());
  if (auto c = sim.contact()) Say("contact slot: " + c->Describe());
  for (int slot = 1; slot <= 3; ++slot)
    if (auto c = sim.sam(slot)) Say("SAM slot " + std::to_string(slot) + ": " + c->Describe());
}

void Script(Simulator& sim, Placer& placer, const std::string& line) {
  std::istringstream in(line);
  std::string verb, arg;
  in >> verb >> arg;
  if (verb.empty()) return;
  std::string error;
  if (verb == "place" && !arg.empty()) {
    if (placer.Place(arg, error)) List(sim);
    else Say("error: " + error);
  } else if (verb == "remove" && arg == "all") {
    sim.ClearField();
    List(sim);
  } else if (verb == "remove" && !arg.empty()) {
    int n = -1;
    auto cards = sim.cards();
    if (!ParseInt(arg.c_str(), n) || n < 0 || static_cast<size_t>(n) >= cards.size()) {
      Say("error: no card " + arg);
      return;
    }
    sim.Remove(cards[static_cast<size_t>(n)]);
    List(sim);
  } else if (verb == "eject") {
    sim.InsertContact(nullptr);
    List(sim);
  } else if (verb == "list") {
    List(sim);
  } else {
    Say("commands: place CARD | remove N|all | eject | list");
  }
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  if (!Parse(argc, argv, o)) return 2;

  Simulator sim(o.display ? ReaderModel::kDisplayReader : ReaderModel::kCardReader);
  sim.set_reader_number(static_cast<uint16_t>(o.reader_id));
  if (!o.serial.empty()) sim.reader().serial = o.serial;
  // The card reader has a SAM in slot 1, as readers leave the factory.
  if (!o.display) sim.InsertSam(1, std::make_shared<SamCard>(Bytes{0x5A, 0x00, 0x00, 0x01}));
  Placer placer(sim);
  std::vector<std::string> cards = o.cards;
  if (cards.empty() && !o.empty && o.load.empty() && !o.display) cards.push_back("mfc1k");
  std::shared_ptr<MifareClassic> dumped;
  if (!o.load.empty()) {
    std::string error;
    dumped = LoadClassic(o.load, orvexformats::FormatOfName(o.load), error);
    if (!dumped) {
      std::fprintf(stderr, "orvex-sim: --load %s: %s\n", o.load.c_str(), error.c_str());
      return 2;
    }
    sim.Place(dumped);
  }
  for (const auto& text : cards) {
    std::string error;
    if (!placer.Place(text, error)) {
      std::fprintf(stderr, "orvex-sim: --card %s: %s\n", text.c_str(), error.c_str());
      return 2;
    }
  }

  if (o.leave_after > 0) {
    for (const auto& card : sim.cards()) card->LeaveAfterWrites(o.leave_after);
    if (sim.contact()) sim.contact()->LeaveAfterWrites(o.leave_after);
  }
  sim.LeaveAfterCommands(o.leave_after_commands);

  if (!o.lcd_png.empty()) {
    if (!sim.display()) {
      std::fprintf(stderr, "orvex-sim: --lcd-png needs --display\n");
      return 2;
    }
    sim.set_display_listener([path = o.lcd_png](const Display& lcd) {
      std::string error;
      if (!lcd.WritePng(path, error)) std::fprintf(stderr, "orvex-sim: %s\n", error.c_str());
    });
  }

  SerialOptions so;
  so.baud = o.baud;
  if (o.trace) so.trace = Say;
  SerialServer server(sim, so);
  Say(server.path());
  if (!o.link.empty()) {
    unlink(o.link.c_str());
    if (symlink(server.path().c_str(), o.link.c_str()) != 0)
      std::fprintf(stderr, "orvex-sim: cannot link %s: %s\n", o.link.c_str(), std::strerror(errno));
  }

  if (pipe(g_signal_pipe) != 0) return 1;
  struct sigaction sa;
  std::memset(&sa, 0, sizeof sa);
  sa.sa_handler = OnSignal;
  sigaction(SIGINT, &sa, nullptr);
  sigaction(SIGTERM, &sa, nullptr);
  signal(SIGPIPE, SIG_IGN);

  server.Start();
  bool stdin_open = true;
  std::string pending;
  for (;;) {
    struct pollfd p[2] = {{g_signal_pipe[0], POLLIN, 0}, {stdin_open ? 0 : -1, POLLIN, 0}};
    if (poll(p, 2, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    if (p[0].revents & POLLIN) break;
    if (p[1].revents & (POLLIN | POLLHUP)) {
      char buf[512];
      ssize_t n = read(0, buf, sizeof buf);
      if (n <= 0) {
        stdin_open = false;
        continue;
      }
      pending.append(buf, static_cast<size_t>(n));
      size_t nl;
      while ((nl = pending.find('\n')) != std::string::npos) {
        Script(sim, placer, pending.substr(0, nl));
        pending.erase(0, nl + 1);
      }
    }
  }
  server.Stop();
  if (!o.link.empty()) unlink(o.link.c_str());
  if (!o.save.empty()) {
    if (!dumped)
      for (auto& c : sim.cards())
        if ((dumped = std::dynamic_pointer_cast<MifareClassic>(c))) break;
    std::string error;
    auto lock = sim.Lock();
    if (!dumped) {
      std::fprintf(stderr, "orvex-sim: --save: no MIFARE Classic card to save\n");
      return 1;
    }
    if (!SaveClassic(*dumped, o.save, o.save_format, error)) {
      std::fprintf(stderr, "orvex-sim: --save %s: %s\n", o.save.c_str(), error.c_str());
      return 1;
    }
  }
  return 0;
}
