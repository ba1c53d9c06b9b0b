// SPDX-License-Identifier: MIT
// The simulated reader on a serial line: a pseudo-terminal whose slave side
// an application opens like any serial device (OV_ComInitialDevice). The
// server cuts the bytes it receives into command frames, hands each well-
// formed one to the Simulator and writes the answer frame back. Malformed
// frames and frames for another reader number get no answer.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "orvexsim/simulator.h"

namespace orvexsim {

struct SerialOptions {
  // Paced mode: when non-zero, the line runs at this many bits per second
  // (10 bits a byte): no answer byte leaves sooner than such a line would
  // deliver it, counting the command's own time on the wire. The reader's
  // line speed is set to it, and a line-speed change then re-paces the line.
  int baud = 0;
  // Receives one line per frame in and out (see trace.h).
  std::function<void(const std::string&)> trace;
};

class SerialServer {
 public:
  explicit SerialServer(Simulator& sim, SerialOptions options = {});
  ~SerialServer();
  SerialServer(const SerialServer&) = delete;
  SerialServer& operator=(const SerialServer&) = delete;

  // The device to open ("/dev/pts/7").
  const std::string& path() const { return path_; }

  // Serves on a thread of its own until Stop() or destruction.
  void Start();
  void Stop();
  // Serves on the calling thread until Stop() is called (from elsewhere).
  void Serve();

 private:
  using Clock = std::chrono::steady_clock;
  void Answer(const CommandFrame& f, Clock::time_point command_start, size_t command_bytes);
  void WritePaced(const Bytes& bytes, Clock::time_point start, int bps);
  bool WriteAll(const uint8_t* p, size_t n);
  void Trace(const std::string& line);

  Simulator& sim_;
  SerialOptions options_;
  int master_ = -1;
  int keeper_ = -1;  // a slave descriptor held open: the master never sees a hang-up
  int wake_[2] = {-1, -1};
  std::string path_;
  std::thread thread_;
  std::atomic<bool> stop_{false};
};

}  // namespace orvexsim
