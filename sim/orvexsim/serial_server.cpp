// SPDX-License-Identifier: MIT
#include "orvexsim/serial_server.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <vector>

#include "orvexsim/frame.h"
#include "orvexsim/trace.h"

namespace orvexsim {

SerialServer::SerialServer(Simulator& sim, SerialOptions options)
    : sim_(sim), options_(std::move(options)) {
  master_ = posix_openpt(O_RDWR | O_NOCTTY);
  if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0)
    throw std::runtime_error("cannot create a pseudo-terminal");
  const char* name = ptsname(master_);
  if (!name) throw std::runtime_error("cannot name the pseudo-terminal");
  path_ = name;
  keeper_ = open(path_.c_str(), O_RDWR | O_NOCTTY);
  if (keeper_ < 0) throw std::runtime_error("cannot open " + path_);
  // Raw until the application sets the line up: no echo, no translation of
  // CR or flow-control bytes in the frames.
  struct termios t;
  if (tcgetattr(keeper_, &t) == 0) {
    cfmakeraw(&t);
    tcsetattr(keeper_, TCSANOW, &t);
  }
  fcntl(master_, F_SETFL, fcntl(master_, F_GETFL) | O_NONBLOCK);
  if (pipe(wake_) != 0) throw std::runtime_error("cannot create a pipe");
  if (options_.baud > 0) sim_.set_line_speed(options_.baud);
}

SerialServer::~SerialServer() {
  Stop();
  if (master_ >= 0) close(master_);
  if (keeper_ >= 0) close(keeper_);
  if (wake_[0] >= 0) close(wake_[0]);
  if (wake_[1] >= 0) close(wake_[1]);
}

void SerialServer::Start() {
  if (thread_.joinable()) return;
  stop_ = false;
  thread_ = std::thread([this] { Serve(); });
}

void SerialServer::Stop() {
  stop_ = true;
  if (wake_[1] >= 0) (void)!write(wake_[1], "x", 1);
  if (thread_.joinable() && thread_.get_id() != std::this_thread::get_id()) thread_.join();
}

void SerialServer::Trace(const std::string& line) {
  if (options_.trace) options_.trace(line);
}

void SerialServer::Serve() {
  SerialFrameParser parser;
  std::vector<SerialFrameParser::Event> events;
  uint8_t buf[4096];
  auto next_tick = Clock::now();
  while (!stop_) {
    struct pollfd p[2] = {{master_, POLLIN, 0}, {wake_[0], POLLIN, 0}};
    int r = poll(p, 2, 100);
    if (stop_) break;
    if (Clock::now() >= next_tick) {
      sim_.Tick();
      next_tick = Clock::now() + std::chrono::milliseconds(100);
    }
    if (r <= 0) continue;
    if (p[1].revents & POLLIN) {
      char c;
      (void)!read(wake_[0], &c, 1);
    }
    if (!(p[0].revents & POLLIN)) continue;
    ssize_t n = read(master_, buf, sizeof buf);
    if (n <= 0) continue;
    events.clear();
    parser.Feed(buf, static_cast<size_t>(n), Clock::now(), events);
    for (auto& e : events) {
      if (e.kind == SerialFrameParser::Event::Kind::kStray) {
        Trace(TraceStray(e.raw));
      } else if (e.kind == SerialFrameParser::Event::Kind::kMalformed) {
        Trace(TraceMalformed(e.raw, e.error));
      } else {
        Answer(e.frame, e.first_byte, e.raw.size());
      }
    }
  }
}

void SerialServer::Answer(const CommandFrame& f, Clock::time_point command_start,
                          size_t command_bytes) {
  const int speed = sim_.line_speed();  // the answer goes out at the speed in force now
  auto reply = sim_.Handle(f);
  if (!reply) {
    Trace(TraceSilent(sim_.model(), f, sim_.reader_number()));
    return;
  }
  Trace(TraceCommand(sim_.model(), f));
  const uint16_t number = sim_.reader_number();
  Trace(TraceAnswer(sim_.model(), f, number, *reply));
  Bytes out = EncodeSerialAnswer(number, f.cmd, reply->status, reply->data);
  if (options_.baud > 0 && speed > 0) {
    // The command itself took this long on a real line.
    auto wire = std::chrono::nanoseconds(static_cast<int64_t>(command_bytes) * 10 * 1000000000LL / speed);
    auto start = std::max(Clock::now(), command_start + wire);
    WritePaced(out, start, speed);
  } else {
    WriteAll(out.data(), out.size());
  }
}

// Byte i leaves no sooner than start + (i + 1) byte times; bytes that are
// due go out together.
void SerialServer::WritePaced(const Bytes& bytes, Clock::time_point start, int bps) {
  const int64_t byte_ns = 10 * 1000000000LL / bps;
  size_t sent = 0;
  while (sent < bytes.size() && !stop_) {
    auto now = Clock::now();
    int64_t elapsed = std::chrono::duration_cast<std::chrono::nanoseconds>(now - start).count();
    size_t due = elapsed < 0 ? 0 : static_cast<size_t>(elapsed / byte_ns);
    if (due > bytes.size()) due = bytes.size();
    if (due > sent) {
      if (!WriteAll(bytes.data() + sent, due - sent)) return;
      sent = due;
      continue;
    }
    std::this_thread::sleep_until(start + std::chrono::nanoseconds(byte_ns * static_cast<int64_t>(sent + 1)));
  }
}

bool SerialServer::WriteAll(const uint8_t* p, size_t n) {
  while (n > 0) {
    ssize_t w = write(master_, p, n);
    if (w > 0) {
      p += w;
      n -= static_cast<size_t>(w);
      continue;
    }
    if (w < 0 && errno == EINTR) continue;
    if (w < 0 && errno == EAGAIN) {
      // Nobody reads the line: wait a while, then drop the rest.
      struct pollfd q = {master_, POLLOUT, 0};
      if (poll(&q, 1, 1000) <= 0) return false;
      continue;
    }
    return false;
  }
  return true;
}

}  // namespace orvexsim
