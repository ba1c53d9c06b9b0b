// SPDX-License-Identifier: MIT
// What the exchange benchmarks share: the simulated reader served on a
// pseudo-terminal and opened by the library, the typical commands, a raw
// exchange on the library's own descriptor, and a few timing helpers.
#pragma once

#include <time.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "orvex.h"
#include "orvexsim/mifare_classic.h"
#include "orvexsim/serial_server.h"
#include "orvexsim/simulator.h"

namespace bench {

using Bytes = std::vector<uint8_t>;
constexpr int kReader = 1;  // the simulated reader's number

// One typical command: code, data field and answer deadline (100 ms units),
// as the library's command functions send them.
struct Command {
  const char* name;
  uint8_t code;
  Bytes data;
  int delay_times;
};
// The typical commands: the reader's version, a card request (REQA) and a
// 16-byte block read.
enum CommandId { kGetReaderVersion = 0, kRequestCard = 1, kReadaBlock = 2 };
const Command& TypicalCommand(int id);

// Runs the command through the library's public method for it
// (OV_GetReaderVersion, OV_RequestCard, OV_KeyAuthorization, OV_ReadaBlock
// with 16 bytes); returns the method's result (1 on success).
int LibraryCall(Orvex& ov, const Command& c);

// The simulated card reader with a blank MIFARE Classic 1K in its field,
// served on a pseudo-terminal (paced at baud bits per second when baud > 0)
// and opened by the library.
class Rig {
 public:
  explicit Rig(int baud);
  ~Rig();
  Rig(const Rig&) = delete;
  Rig& operator=(const Rig&) = delete;

  bool ok() const { return ok_; }
  Orvex& ov() { return ov_; }
  // The descriptor the library opened.
  int fd() const;
  // Wakes and selects the card (REQA, anticollision and select), then
  // authenticates sector 1 with the transport key A: block 4 is readable.
  bool SelectCard();

 private:
  orvexsim::Simulator sim_;
  std::shared_ptr<orvexsim::MifareClassic> card_;
  std::unique_ptr<orvexsim::SerialServer> server_;
  Orvex ov_;
  bool ok_ = false;
};

// The command frame exactly as the library puts it on the serial line.
Bytes SerialFrame(const Command& c);

// A raw exchange on fd: writes the command bytes, then reads until a whole
// answer frame (STX .. unescaped ETX) has come or timeout_ms pass without a
// byte. Returns the answer bytes.
Bytes RawExchange(int fd, const Bytes& command, int timeout_ms = 2000);
// The floor: writes the command bytes and reads exactly n answer bytes with
// plain blocking reads. False on a line error.
bool RawRoundTrip(int fd, const Bytes& command, uint8_t* answer, size_t n);

// Seconds a frame of n bytes takes on a line of baud bits per second (ten
// bits a byte: start, eight data bits, stop).
inline double WireSeconds(size_t n, int baud) { return static_cast<double>(n) * 10.0 / baud; }

inline double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}
// CPU seconds (user + system) of the calling thread.
inline double ThreadCpu() {
  struct timespec ts;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}
double Median(std::vector<double> v);

}  // namespace bench
