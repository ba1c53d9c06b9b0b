// SPDX-License-Identifier: MIT
#include "orvexsim/frame.h"

namespace orvexsim {

const char* FrameErrorText(FrameError e) {
  switch (e) {
    case FrameError::kNone: return "ok";
    case FrameError::kTooShort: return "too short";
    case FrameError::kLength: return "length field mismatch";
    case FrameError::kChecksum: return "bad checksum";
    case FrameError::kOverlong: return "no end of frame";
    case FrameError::kRestarted: return "cut by a new frame start";
  }
  return "?";
}

static uint8_t XorOf(const Bytes& b, size_t from, size_t to) {
  uint8_t x = 0;
  for (size_t i = from; i < to; ++i) x ^= b[i];
  return x;
}

FrameError DecodeCommandBody(const Bytes& body, CommandFrame& out) {
  if (body.size() < 6) return FrameError::kTooShort;
  if (Be16(body, 0) != body.size()) return FrameError::kLength;
  if (XorOf(body, 0, body.size()) != 0) return FrameError::kChecksum;
  out.reader = Be16(body, 2);
  out.cmd = body[4];
  out.data.assign(body.begin() + 5, body.end() - 1);
  return FrameError::kNone;
}

// length m + 7, reader, command, status, data, checksum.
static Bytes AnswerBody(uint16_t reader, uint8_t cmd, uint8_t status, const Bytes& data) {
  Bytes b;
  PutBe16(b, static_cast<uint16_t>(data.size() + 7));
  PutBe16(b, reader);
  b.push_back(cmd);
  b.push_back(status);
  b.insert(b.end(), data.begin(), data.end());
  b.push_back(XorOf(b, 0, b.size()));
  return b;
}

Bytes Stuff(const Bytes& frame) {
  Bytes out;
  out.reserve(frame.size() * 2);
  for (size_t i = 0; i < frame.size(); ++i) {
    uint8_t c = frame[i];
    bool inner = i > 0 && i + 1 < frame.size();
    if (inner && (c == kStx || c == kEtx || c == kDle)) out.push_back(kDle);
    out.push_back(c);
  }
  return out;
}

Bytes EncodeSerialAnswer(uint16_t reader, uint8_t cmd, uint8_t status, const Bytes& data) {
  Bytes f{kStx};
  Bytes body = AnswerBody(reader, cmd, status, data);
  f.insert(f.end(), body.begin(), body.end());
  f.push_back(kEtx);
  return Stuff(f);
}

Bytes EncodeHidAnswer(uint16_t reader, uint8_t cmd, uint8_t status, const Bytes& data) {
  return AnswerBody(reader, cmd, status, data);
}

void SerialFrameParser::FlushStray(std::vector<Event>& out) {
  if (stray_.empty()) return;
  Event e;
  e.kind = Event::Kind::kStray;
  e.raw.swap(stray_);
  out.push_back(std::move(e));
}

void SerialFrameParser::Feed(const uint8_t* p, size_t n, Clock::time_point now,
                             std::vector<Event>& out) {
  for (size_t i = 0; i < n; ++i) {
    uint8_t c = p[i];
    if (!in_frame_) {
      if (c != kStx) {
        stray_.push_back(c);
        continue;
      }
      FlushStray(out);
      in_frame_ = true;
      escape_ = false;
      raw_.assign(1, c);
      body_.clear();
      first_ = now;
      continue;
    }
    if (!escape_ && c == kStx) {
      // A new frame begins before the last one ended: the first is lost.
      Event e;
      e.kind = Event::Kind::kMalformed;
      e.error = FrameError::kRestarted;
      e.raw.swap(raw_);
      e.first_byte = first_;
      out.push_back(std::move(e));
      raw_.assign(1, c);
      body_.clear();
      first_ = now;
      continue;
    }
    raw_.push_back(c);
    if (escape_) {
      body_.push_back(c);
      escape_ = false;
    } else if (c == kDle) {
      escape_ = true;
    } else if (c == kEtx) {
      Event e;
      e.raw.swap(raw_);
      e.first_byte = first_;
      e.error = DecodeCommandBody(body_, e.frame);
      e.kind = e.error == FrameError::kNone ? Event::Kind::kFrame : Event::Kind::kMalformed;
      out.push_back(std::move(e));
      in_frame_ = false;
      body_.clear();
    } else {
      body_.push_back(c);
    }
    if (in_frame_ && body_.size() > kMaxCommandFrame) {
      Event e;
      e.kind = Event::Kind::kMalformed;
      e.error = FrameError::kOverlong;
      e.raw.swap(raw_);
      e.first_byte = first_;
      out.push_back(std::move(e));
      in_frame_ = false;
      body_.clear();
    }
  }
  FlushStray(out);
}

}  // namespace orvexsim
