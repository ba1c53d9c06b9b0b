// SPDX-License-Identifier: MIT
#include "orvexsim/hid.h"

namespace orvexsim {

std::optional<Bytes> HidExchange(Simulator& sim, const Bytes& command_frame) {
  CommandFrame f;
  if (DecodeCommandBody(command_frame, f) != FrameError::kNone) return std::nullopt;
  auto reply = sim.Handle(f);
  if (!reply) return std::nullopt;
  return EncodeHidAnswer(sim.reader_number(), f.cmd, reply->status, reply->data);
}

}  // namespace orvexsim
