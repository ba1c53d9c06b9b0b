// SPDX-License-Identifier: MIT
// orvex: drives an Orvex card reader from the command line.
//
//   orvex [global options] SUBCOMMAND [options] [arguments]
//
// Global options may also follow the subcommand. Every failure is printed in
// words on standard error and ends the program with a non-zero status: 1
// when the reader or card failed, 2 for a usage error.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "commands.h"
#include "config.h"
#include "orvexsim/card_kinds.h"

using namespace orvextool;

namespace {

// The deepest subcommand given on the command line.
CLI::App* Leaf(CLI::App* app) {
  for (CLI::App* sub : app->get_subcommands()) return Leaf(sub);
  return app;
}

// How many single-character edits turn a into b.
size_t EditDistance(const std::string& a, const std::string& b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      size_t above = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[b.size()];
}

// When the command line names a subcommand that does not exist, where a
// subcommand is expected: a message naming it and the subcommands close to
// it ("" when it names none). Option values are stepped over.
std::string UnknownSubcommand(CLI::App& root, int argc, char** argv) {
  CLI::App* at = &root;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--") return "";
    if (arg.size() > 1 && arg[0] == '-') {
      if (arg.find('=') != std::string::npos || (arg[1] != '-' && arg.size() > 2)) continue;
      for (CLI::App* app = at; app != nullptr; app = app->get_parent()) {
        const CLI::Option* o = app->get_option_no_throw(arg);
        if (o == nullptr) continue;
        if (o->get_items_expected_min() > 0) ++i;  // its value
        break;
      }
      continue;
    }
    auto subs = at->get_subcommands([](CLI::App*) { return true; });
    if (subs.empty()) return "";  // an argument of the subcommand
    CLI::App* next = nullptr;
    for (CLI::App* sub : subs)
      if (sub->check_name(arg)) next = sub;
    if (next) {
      at = next;
      continue;
    }
    std::string close;
    for (CLI::App* sub : subs) {
      const std::string& name = sub->get_name();
      bool near = EditDistance(arg, name) <= (name.size() <= 3 ? 1u : 2u) ||
                  (arg.size() >= 2 && name.compare(0, arg.size(), arg) == 0);
      if (near) close += (close.empty() ? "" : ", ") + name;
    }
    std::string where = at == &root ? "orvex" : "orvex " + at->get_name();
    std::string message = "\"" + arg + "\" is not a subcommand of " + where;
    if (!close.empty()) message += "; did you mean " + close + "?";
    return message + " (" + where + " --help lists them)";
  }
  return "";
}

// Numbers on the command line are decimal, or hexadecimal after 0x: a
// leading zero does not make one octal ("010" is block 10, as a person
// writing it means, not block 8). Every integer option and argument of
// every subcommand gets the leading zeros of a decimal number taken off
// before anything else looks at it.
void DecimalNumbers(CLI::App* app) {
  for (CLI::Option* o : app->get_options()) {
    const std::string type = o->get_type_name();
    if (type.rfind("INT", 0) != 0 && type.rfind("UINT", 0) != 0) continue;
    o->transform(CLI::Validator(
        [](std::string& text) {
          size_t digits = text.size() > 1 && (text[0] == '-' || text[0] == '+') ? 1 : 0;
          if (text.find_first_not_of("0123456789", digits) != std::string::npos) return std::string();
          size_t first = text.find_first_not_of('0', digits);
          if (first == std::string::npos) first = text.size() - 1;  // "000" is 0
          text.erase(digits, first - digits);
          return std::string();
        },
        ""));
  }
  for (CLI::App* sub : app->get_subcommands([](CLI::App*) { return true; })) DecimalNumbers(sub);
}

void ReportError(const Context& ctx, const std::string& message) {
  Say(Severity::kError, message);
  if (ctx.json) {
    Json j = {{"error", message}};
    // After a stream of JSON lines (watch), the error is one line too.
    std::printf("%s\n", j.dump(ctx.streamed() ? -1 : 2).c_str());
  }
}

}  // namespace

int main(int argc, char** argv) {
  Context ctx;
  CLI::App app{"Drives an Orvex card reader: the reader itself, the cards in its field, and\n"
               "the simulated reader built into this program."};
  app.name("orvex");
  app.fallthrough();  // global options are accepted after the subcommand too
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("orvex ") + OrvexVersionString());

  app.add_option("-d,--device", ctx.device.device,
                 "sim (built-in simulated reader), a device path, ttyS:N, usb, usb:BUS:ADDR or "
                 "usb:serial=S; a serial one may end in @BAUD (default: $ORVEX_DEVICE, else the one USB "
                 "reader attached)")
      ->envname("ORVEX_DEVICE");
  auto* baud = app.add_option("-b,--baud", ctx.device.baud, "serial line speed in bit/s (default 19200)")
      ->check(CLI::IsMember({4800, 9600, 19200, 38400}));
  app.add_option("-r,--reader-id", ctx.reader_id,
                 "reader number to address (default 0, which any reader answers)")
      ->check(CLI::Range(0, 65535));
  app.add_flag("-j,--json", ctx.json, "machine-readable output (one JSON document)");
  app.add_flag("-q,--quiet", ctx.quiet, "no notes and no progress bar on standard error (errors still)");
  app.add_option("-u,--uid", ctx.uid_text,
                 "the card to act on when several are in the field (its UID in hex, as orvex scan shows it)");
  app.add_flag("--trace", ctx.device.trace,
               "every frame exchanged with the reader, decoded, on standard error");
  app.add_option("--sim-card", ctx.device.sim_cards,
                 std::string("card in the simulated field (repeatable; default a blank MIFARE "
                             "Classic 1K). Kinds:\n") + orvexsim::CardKindsHelp());
  app.add_flag("--sim-empty", ctx.device.sim_empty, "start the simulated field empty");
  app.add_option("--sim-load", ctx.device.sim_load,
                 "simulated field: a card holding this memory image: a MIFARE Classic (.mfd, "
                 "1024 or 4096 bytes, or a complete .eml or .json dump) or an NTAG213/215/216 (180, 540 or 924 "
                 "bytes); KIND:FILE names an NTAG or Ultralight EV1 kind (ntag210:FILE, ulev1-48:FILE; "
                 "needed for 80 and 164 bytes)");
  app.add_option("--sim-save", ctx.device.sim_save,
                 "simulated field: at the end (also of a failed command), write the first MIFARE "
                 "Classic's memory to this dump (.mfd, .eml or .json, by its name) or the first NTAG's "
                 "to this raw image");
  app.add_option("--sim-leave-after", ctx.device.sim_leave_after,
                 "simulated field: each card leaves the field right after its N-th write (to try "
                 "interrupted writes)")
      ->check(CLI::Range(1, 100000));
  app.add_flag("--sim-display", ctx.device.sim_display, "simulate the display reader model");
  app.add_option("--sim-screen", ctx.device.sim_screen,
                 "simulated display reader: at the end, write what its LCD shows to this file "
                 "(PNG when it ends in .png, else text: '#' lit, '.' dark)");

  AddReaderCommands(app, ctx);
  AddCardCommands(app, ctx);
  AddMifareCommands(app, ctx);
  AddApduCommands(app, ctx);
  AddCryptoCommands(app, ctx);
  AddNtagCommands(app, ctx);
  AddNdefCommands(app, ctx);
  AddVicinityCommands(app, ctx);
  AddFelicaCommands(app, ctx);
  AddTopazCommands(app, ctx);
  AddStCommands(app, ctx);
  AddAt88Commands(app, ctx);
  AddSamCommands(app, ctx);
  AddLcdCommands(app, ctx);
  AddListCommands(app, ctx);
  DecimalNumbers(&app);
  AddSle4442Commands(app, ctx);
  AddIdCommands(app, ctx);
  AddMifarePlusCommands(app, ctx);

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    std::string unknown = UnknownSubcommand(app, argc, argv);
    ReportError(ctx, unknown.empty() ? e.what() + std::string(" (try --help)") : unknown);
    return 2;
  }

  // The configuration file fills in what neither the command line nor the
  // environment gave.
  try {
    Config config = ReadConfig();
    if (ctx.device.device.empty()) ctx.device.device = config.device;
    if (baud->count() == 0 && config.baud != 0) ctx.device.baud = config.baud;
    ctx.key_files = config.key_files;
  } catch (const Failure& f) {
    ReportError(ctx, f.what());
    return f.code;
  }
  ctx.device_given = !ctx.device.device.empty();
  Progress::Silence(ctx.quiet);
  ctx.StartOutput();
  auto* action = ctx.ActionFor(Leaf(&app));
  if (!action) {
    ReportError(ctx, "missing subcommand (try " + Leaf(&app)->get_name() + " --help)");
    return 2;
  }
  try {
    ctx.uid();  // a malformed --uid is a usage error before anything is sent
    (*action)();
    ctx.Finish();
  } catch (const Failure& f) {
    // The simulated card is saved as the failure left it (--sim-save).
    std::string also;
    try {
      ctx.Finish();
    } catch (const Failure& g) {
      also = "; " + std::string(g.what());
    }
    ctx.Close();
    ReportError(ctx, f.what() + also);
    return f.code;
  }
  ctx.out().Finish();
  return ctx.exit_status;
}
