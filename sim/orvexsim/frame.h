// SPDX-License-Identifier: MIT
// The reader's side of the frame format: command frames in, answer frames
// out, in the serial shape (STX, length, reader number, command, data, XOR
// checksum, ETX, with STX/ETX/DLE escaped by DLE) and the USB HID shape (the
// same without STX, ETX and escaping).
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "orvexsim/bytes.h"

namespace orvexsim {

constexpr uint8_t kStx = 0x02;
constexpr uint8_t kEtx = 0x03;
constexpr uint8_t kDle = 0x10;

// The most data one answer frame carries (the host's answer buffer).
constexpr size_t kMaxAnswerData = 1040;
// A command frame longer than this (unstuffed) is dropped as line noise.
constexpr size_t kMaxCommandFrame = 4096;

struct CommandFrame {
  uint16_t reader = 0;
  uint8_t cmd = 0;
  Bytes data;
};

enum class FrameError {
  kNone,
  kTooShort,  // fewer bytes than length, reader number, command and checksum
  kLength,    // the length field disagrees with the bytes received
  kChecksum,  // the XOR of the frame is not 0
  kOverlong,  // no ETX within kMaxCommandFrame bytes
  kRestarted, // an unescaped STX began a new frame before this one ended
};
const char* FrameErrorText(FrameError e);

// The unstuffed bytes between STX and ETX of a serial command frame, or a
// whole HID command frame (the two carry the same bytes: length n + 6,
// reader number, command, n data bytes, checksum).
FrameError DecodeCommandBody(const Bytes& body, CommandFrame& out);

// The answer frame in the serial shape, stuffed, STX to ETX.
Bytes EncodeSerialAnswer(uint16_t reader, uint8_t cmd, uint8_t status, const Bytes& data);
// The answer frame in the HID shape.
Bytes EncodeHidAnswer(uint16_t reader, uint8_t cmd, uint8_t status, const Bytes& data);
// Escapes STX, ETX and DLE in every byte but the first and the last.
Bytes Stuff(const Bytes& frame);

// Cuts the bytes arriving on a serial line into command frames. A frame
// starts at STX and ends at an ETX that is not escaped; DLE escapes the byte
// after it. Bytes outside a frame are reported as stray.
class SerialFrameParser {
 public:
  using Clock = std::chrono::steady_clock;
  struct Event {
    enum class Kind { kFrame, kMalformed, kStray };
    Kind kind = Kind::kStray;
    Bytes raw;                 // the bytes as received (stuffed, STX to ETX)
    CommandFrame frame;        // kFrame
    FrameError error = FrameError::kNone;  // kMalformed
    Clock::time_point first_byte;  // when the frame's STX arrived
  };

  void Feed(const uint8_t* p, size_t n, Clock::time_point now, std::vector<Event>& out);

 private:
  void FlushStray(std::vector<Event>& out);

  bool in_frame_ = false;
  bool escape_ = false;
  Bytes raw_;
  Bytes body_;
  Bytes stray_;
  Clock::time_point first_;
};

}  // namespace orvexsim
