// SPDX-License-Identifier: MIT
// orvex list: the readers this machine may have, from the library's
// discovery; with --probe, each serial port listed is asked for the reader
// version.
#include <cstdio>

#include "commands.h"

namespace orvextool {

namespace {

// How long a probed port may take to begin its answer.
constexpr int kProbeFirstByteMs = 300;

void List(Context& ctx, bool probe) {
  OrvexReaderList found;
  Output& out = ctx.out();
  Json readers = Json::array();
  if (probe)
    Warn("--probe writes a version request to every serial port listed; a device that is not a reader may take "
         "it badly");
  if (found.Count() == 0) out.Line("no reader found (USB 0471:114A, /dev/serial/by-id, /dev/ttyUSB*, /dev/ttyACM*)");
  for (int i = 0; i < found.Count(); ++i) {
    const std::string kind = found.Kind(i);
    Json r = {{"kind", kind}, {"connection", found.Connection(i)}};
    std::string line = found.Connection(i);
    if (kind == "usb") {
      r["bus"] = found.Bus(i);
      r["address"] = found.Address(i);
      r["serial"] = found.Serial(i);
      line += std::string("  USB reader, bus ") + std::to_string(found.Bus(i)) + " address " +
              std::to_string(found.Address(i));
      if (*found.Serial(i)) line += std::string(", serial ") + found.Serial(i);
    } else {
      r["path"] = found.Path(i);
      r["target"] = found.Target(i);
      line += "  serial port";
      if (std::string(found.Path(i)) != found.Target(i)) line += std::string(" -> ") + found.Target(i);
      if (probe) {
        OrvexLink link;
        link.SetQuiet(true);
        link.SetFirstByteTimeout(kProbeFirstByteMs);
        std::string result;
        if (link.Open((std::string(found.Connection(i)) + "@" + std::to_string(ctx.device.baud)).c_str()) != 1) {
          result = link.LastFailureText();
          r["probe"] = {{"answered", false}, {"why", result}};
        } else {
          OrvexLinkScope scope(link);
          int version = ctx.ov.OV_GetReaderVersion(0);
          if (version >= 0) {
            char v[16];
            std::snprintf(v, sizeof v, "%d.%02d", version >> 8, version & 0xFF);
            result = std::string("a reader answered, firmware ") + v;
            r["probe"] = {{"answered", true}, {"version", v}};
          } else {
            result = link.LastFailureText();
            r["probe"] = {{"answered", false}, {"why", result}};
          }
        }
        line += ": " + result;
      }
    }
    readers.push_back(r);
    out.Line(line);
  }
  out.doc()["readers"] = readers;
}

}  // namespace

void AddListCommands(CLI::App& app, Context& ctx) {
  auto* sub = app.add_subcommand("list", "the readers this machine may have: USB readers and serial ports (opens nothing unless --probe)");
  auto* probe = sub->add_flag("--probe", "also ask each serial port listed for the reader version (writes to the ports)");
  ctx.Register(sub, [&ctx, probe] { List(ctx, probe->count() > 0); });
}

}  // namespace orvextool
