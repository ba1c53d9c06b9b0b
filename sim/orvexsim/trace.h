// SPDX-License-Identifier: MIT
// One-line descriptions of the frames the simulated reader receives and
// sends, for --trace: direction, reader number, command byte and name,
// status, data.
#pragma once

#include <string>

#include "orvexsim/simulator.h"

namespace orvexsim {

// The command's name, with the sub-command of the carriers (0xC0 to 0xC4)
// where the data field starts with one.
std::string CommandName(ReaderModel model, uint8_t cmd, const Bytes& data);

std::string TraceCommand(ReaderModel model, const CommandFrame& f);
std::string TraceAnswer(ReaderModel model, const CommandFrame& command, uint16_t reader,
                        const Reply& reply);
std::string TraceSilent(ReaderModel model, const CommandFrame& f, uint16_t own_number);
std::string TraceMalformed(const Bytes& raw, FrameError e);
std::string TraceStray(const Bytes& raw);

// The host's view of the same frames, for a trace taken at the host end of a
// link (the orvex tool's --trace): the raw bytes of each frame as they
// crossed the wire, command frames (sent) and answer frames (received),
// decoded into the lines above. An answer is named after the last command.
class WireTracer {
 public:
  explicit WireTracer(ReaderModel model = ReaderModel::kCardReader) : model_(model) {}
  // serial: the frame is in the serial shape (stuffed, STX to ETX), else in
  // the USB HID shape.
  std::string Line(bool sent, const Bytes& raw, bool serial);

 private:
  ReaderModel model_;
  CommandFrame last_;
};

}  // namespace orvexsim
