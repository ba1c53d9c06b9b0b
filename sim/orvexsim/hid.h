// SPDX-License-Identifier: MIT
// The simulated reader behind USB HID: one command frame in the HID shape
// (length, reader number, command, data, checksum; no STX, ETX or escaping)
// in, the answer frame in the same shape out. The USB fake of the tests cuts
// it into 64-byte reports.
#pragma once

#include <optional>

#include "orvexsim/simulator.h"

namespace orvexsim {

// The answer frame, or nullopt when the reader does not answer: a frame
// with a wrong length field or checksum, or one addressed to another
// reader number.
std::optional<Bytes> HidExchange(Simulator& sim, const Bytes& command_frame);

}  // namespace orvexsim
