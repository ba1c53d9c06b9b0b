// SPDX-License-Identifier: MIT
#include "rig.h"

#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "link/untFunction.h"

namespace bench {

const Command& TypicalCommand(int id) {
  static const Command kCommands[] = {
      {"GetReaderVersion", 0x04, {}, 1},
      {"RequestCard", 0x22, {0x26}, 1},
      {"ReadaBlock", 0x29, {0x04}, 10},
  };
  return kCommands[id];
}

int LibraryCall(Orvex& ov, const Command& c) {
  switch (c.code) {
    case 0x04: return ov.OV_GetReaderVersion(kReader) > 0 ? 1 : -1;
    case 0x22: {
      unsigned short type = 0;
      return ov.OV_RequestCard(kReader, c.data[0], &type);
    }
    case 0x28: {
      Bytes key(c.data.begin() + 2, c.data.end());
      return ov.OV_KeyAuthorization(kReader, c.data[0], c.data[1], key.data());
    }
    case 0x29: {
      unsigned char block[16];
      return ov.OV_ReadaBlock(kReader, c.data[0], 16, block);
    }
    default: {
      // Any other command through the exchange every command function uses.
      orvex::Answer a;
      return orvex::Transact(c.code, kReader,
                             orvex::Field().bytes(c.data.data(), static_cast<int>(c.data.size())),
                             c.delay_times, a);
    }
  }
}

Rig::Rig(int baud) {
  // Timers of this thread, and of the server thread that inherits it, fire
  // when due rather than up to the default 50 us late: the paced line then
  // delivers each byte at its time on the wire.
  prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
  card_ = std::make_shared<orvexsim::MifareClassic>(orvexsim::MifareClassic::Size::k1K,
                                                   Bytes{0x4A, 0x1B, 0x2C, 0x3D});
  sim_.Place(card_);
  orvexsim::SerialOptions options;
  options.baud = baud;
  server_ = std::make_unique<orvexsim::SerialServer>(sim_, options);
  server_->Start();
  // The library accepts 9600, 19200 and 38400 on the host side; a
  // pseudo-terminal does not pace, the simulator does.
  ok_ = ov_.OV_ComInitialDevice(server_->path().c_str(), baud > 0 ? baud : 38400) == 1;
}

Rig::~Rig() {
  ov_.OV_ComFree();
  server_->Stop();
}

int Rig::fd() const { return orvex::h_Serial; }

bool Rig::SelectCard() {
  orvex::Answer a;
  if (orvex::Transact(0x22, kReader, orvex::Field().u8(0x26), 1, a) != 1) return false;
  if (orvex::Transact(0x24, kReader, orvex::Field().u8(0x00), 1, a) <= 0) return false;
  return orvex::Transact(0x28, kReader, orvex::Field().u8(0x60).u8(4).fill(0xFF, 6), 5, a) == 1;
}

Bytes SerialFrame(const Command& c) {
  unsigned char out[orvex::kMaxStuffedFrame];
  int n = orvex::BuildFrame(1, c.code, kReader, static_cast<int>(c.data.size()), c.data.data(), out);
  return n < 0 ? Bytes{} : Bytes(out, out + n);
}

static bool WriteAll(int fd, const uint8_t* p, size_t n) {
  while (n > 0) {
    ssize_t w = write(fd, p, n);
    if (w < 0 && errno == EINTR) continue;
    if (w <= 0) return false;
    p += w;
    n -= static_cast<size_t>(w);
  }
  return true;
}

static bool FrameEnds(const Bytes& b) {
  if (b.empty() || b[0] != 0x02) return false;
  bool escaped = false;
  for (size_t i = 1; i < b.size(); ++i) {
    if (escaped) {
      escaped = false;
      continue;
    }
    if (b[i] == 0x10) escaped = true;
    else if (b[i] == 0x03) return true;
  }
  return false;
}

Bytes RawExchange(int fd, const Bytes& command, int timeout_ms) {
  Bytes got;
  if (!WriteAll(fd, command.data(), command.size())) return got;
  uint8_t buf[4096];
  while (!FrameEnds(got)) {
    struct pollfd p = {fd, POLLIN, 0};
    if (poll(&p, 1, timeout_ms) <= 0) break;
    ssize_t n = read(fd, buf, sizeof buf);
    if (n <= 0) break;
    got.insert(got.end(), buf, buf + n);
  }
  return got;
}

bool RawRoundTrip(int fd, const Bytes& command, uint8_t* answer, size_t n) {
  if (!WriteAll(fd, command.data(), command.size())) return false;
  size_t have = 0;
  while (have < n) {
    ssize_t r = read(fd, answer + have, n - have);
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) return false;
    have += static_cast<size_t>(r);
  }
  return true;
}

double Median(std::vector<double> v) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  size_t m = v.size() / 2;
  return v.size() % 2 ? v[m] : (v[m - 1] + v[m]) / 2;
}

}  // namespace bench
