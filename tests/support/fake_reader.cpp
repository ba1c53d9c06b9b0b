// SPDX-License-Identifier: MIT
#include "fake_reader.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>

#include <gtest/gtest.h>

namespace orvex_test {

static uint8_t Xor(const Bytes& b, size_t from, size_t to) {
  uint8_t x = 0;
  for (size_t i = from; i < to; ++i) x ^= b[i];
  return x;
}

Bytes Stuff(const Bytes& frame) {
  Bytes out;
  for (size_t i = 0; i < frame.size(); ++i) {
    uint8_t b = frame[i];
    bool inner = i > 0 && i + 1 < frame.size();
    if (inner && (b == 0x02 || b == 0x03 || b == 0x10)) out.push_back(0x10);
    out.push_back(b);
  }
  return out;
}

static Bytes Body(size_t length, uint16_t reader, uint8_t cmd, const Bytes& head, const Bytes& data) {
  Bytes b = {static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length),
             static_cast<uint8_t>(reader >> 8), static_cast<uint8_t>(reader), cmd};
  b.insert(b.end(), head.begin(), head.end());
  b.insert(b.end(), data.begin(), data.end());
  b.push_back(Xor(b, 0, b.size()));
  return b;
}

static Bytes Serial(Bytes body) {
  body.insert(body.begin(), 0x02);
  body.push_back(0x03);
  return Stuff(body);
}

Bytes SerialCommandFrame(uint16_t reader, uint8_t cmd, const Bytes& data) {
  return Serial(Body(data.size() + 6, reader, cmd, {}, data));
}
Bytes SerialAnswerFrame(uint16_t reader, uint8_t cmd, uint8_t status, const Bytes& data) {
  return Serial(Body(data.size() + 7, reader, cmd, {status}, data));
}
Bytes HidCommandFrame(uint16_t reader, uint8_t cmd, const Bytes& data) {
  return Body(data.size() + 6, reader, cmd, {}, data);
}
Bytes HidAnswerFrame(uint16_t reader, uint8_t cmd, uint8_t status, const Bytes& data) {
  return Body(data.size() + 7, reader, cmd, {status}, data);
}

// Parses one stuffed serial command frame (STX ... ETX).
static Command ParseCommand(const Bytes& raw) {
  Command c;
  c.raw = raw;
  Bytes u;
  for (size_t i = 1; i + 1 < raw.size(); ++i) {
    if (raw[i] == 0x10 && i + 2 < raw.size()) ++i;
    u.push_back(raw[i]);
  }
  // u: length(2) reader(2) cmd data... checksum
  if (u.size() < 6) return c;
  size_t length = static_cast<size_t>(u[0]) << 8 | u[1];
  c.reader = static_cast<uint16_t>(u[2] << 8 | u[3]);
  c.cmd = u[4];
  c.data.assign(u.begin() + 5, u.end() - 1);
  c.valid = (length == u.size()) && Xor(u, 0, u.size()) == 0;
  return c;
}

FakeReader::FakeReader() {
  master_ = posix_openpt(O_RDWR | O_NOCTTY);
  if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0)
    throw std::runtime_error("no pseudo-terminal");
  path_ = ptsname(master_);
  keeper_ = open(path_.c_str(), O_RDWR | O_NOCTTY);
  struct termios t;
  tcgetattr(keeper_, &t);
  cfmakeraw(&t);
  tcsetattr(keeper_, TCSANOW, &t);
  if (pipe(wake_) != 0) throw std::runtime_error("no pipe");
  thread_ = std::thread([this] { Run(); });
}

FakeReader::~FakeReader() {
  stop_ = true;
  if (wake_[1] >= 0) (void)!write(wake_[1], "x", 1);
  if (thread_.joinable()) thread_.join();
  if (master_ >= 0) close(master_);
  if (keeper_ >= 0) close(keeper_);
  close(wake_[0]);
  close(wake_[1]);
}

void FakeReader::Push(Reply r) {
  std::lock_guard<std::mutex> l(mu_);
  script_.push_back(std::move(r));
}

void FakeReader::SetResponder(std::function<Reply(const Command&)> responder) {
  std::lock_guard<std::mutex> l(mu_);
  responder_ = std::move(responder);
}

std::vector<Command> FakeReader::commands() {
  std::lock_guard<std::mutex> l(mu_);
  return received_;
}

Command FakeReader::last() {
  std::lock_guard<std::mutex> l(mu_);
  if (received_.empty()) {
    ADD_FAILURE() << "the fake reader received no command";
    return Command();
  }
  return received_.back();
}

bool FakeReader::WaitForCommands(size_t n, int timeout_ms) {
  std::unique_lock<std::mutex> l(mu_);
  return cv_.wait_for(l, std::chrono::milliseconds(timeout_ms), [&] { return received_.size() >= n; });
}

Bytes FakeReader::stray() {
  std::lock_guard<std::mutex> l(mu_);
  return stray_;
}

void FakeReader::ClearRecord() {
  std::lock_guard<std::mutex> l(mu_);
  received_.clear();
  stray_.clear();
}

void FakeReader::Send(const Bytes& bytes) {
  if (master_ >= 0 && !bytes.empty()) (void)!write(master_, bytes.data(), bytes.size());
}

void FakeReader::HangUp() {
  std::lock_guard<std::mutex> l(mu_);
  if (keeper_ >= 0) close(keeper_);
  keeper_ = -1;
  if (master_ >= 0) close(master_);
  master_ = -1;
}

Bytes FakeReader::Encode(const Reply& r, const Command& c) {
  if (r.kind == Reply::Kind::kRaw) return r.data;
  if (r.kind != Reply::Kind::kFrame) return {};
  uint16_t reader = static_cast<uint16_t>(r.reader >= 0 ? r.reader : c.reader);
  uint8_t cmd = static_cast<uint8_t>(r.cmd >= 0 ? r.cmd : c.cmd);
  return SerialAnswerFrame(reader, cmd, r.status, r.data);
}

void FakeReader::SendReply(const Reply& r, const Command& c) {
  if (r.kind == Reply::Kind::kSilence) return;
  if (r.delay_ms > 0) std::this_thread::sleep_for(std::chrono::milliseconds(r.delay_ms));
  if (r.kind == Reply::Kind::kHangUp) {
    HangUp();
    return;
  }
  Bytes bytes = Encode(r, c);
  size_t from = 0;
  for (size_t cut : r.cuts) {
    if (cut <= from || cut > bytes.size()) continue;
    Send(Bytes(bytes.begin() + static_cast<long>(from), bytes.begin() + static_cast<long>(cut)));
    from = cut;
    std::this_thread::sleep_for(std::chrono::milliseconds(r.gap_ms));
  }
  Send(Bytes(bytes.begin() + static_cast<long>(from), bytes.end()));
}

void FakeReader::HandleFrame(const Bytes& raw) {
  Command c = ParseCommand(raw);
  Reply r;
  {
    std::lock_guard<std::mutex> l(mu_);
    received_.push_back(c);
    if (!script_.empty()) {
      r = std::move(script_.front());
      script_.pop_front();
    } else if (responder_) {
      r = responder_(c);
    }
  }
  cv_.notify_all();
  SendReply(r, c);
}

// Reads the line and cuts it into command frames: STX, then bytes up to an
// ETX that is not escaped by DLE. Bytes outside a frame are kept as stray.
void FakeReader::Run() {
  uint8_t buf[4096];
  while (!stop_) {
    int fd = master_;
    if (fd < 0) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      continue;
    }
    struct pollfd p[2] = {{fd, POLLIN, 0}, {wake_[0], POLLIN, 0}};
    int r = poll(p, 2, 50);
    if (r <= 0 || stop_) continue;
    if (!(p[0].revents & POLLIN)) {
      if (p[0].revents & (POLLHUP | POLLERR)) std::this_thread::sleep_for(std::chrono::milliseconds(2));
      continue;
    }
    ssize_t n = read(fd, buf, sizeof buf);
    if (n <= 0) continue;
    for (ssize_t i = 0; i < n; ++i) {
      uint8_t b = buf[i];
      if (pending_.empty()) {
        if (b == 0x02) {
          pending_.push_back(b);
        } else {
          std::lock_guard<std::mutex> l(mu_);
          stray_.push_back(b);
        }
        continue;
      }
      bool escaped = false;
      // Count the DLEs before this byte inside the frame: an odd run escapes it.
      size_t k = pending_.size();
      while (k > 1 && pending_[k - 1] == 0x10) {
        escaped = !escaped;
        --k;
      }
      pending_.push_back(b);
      if (b == 0x03 && !escaped) {
        Bytes frame;
        frame.swap(pending_);
        HandleFrame(frame);
      }
    }
  }
}

}  // namespace orvex_test
