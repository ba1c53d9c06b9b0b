// SPDX-License-Identifier: MIT
// Every public method's answer handling, over an in-process line that answers
// each command with fuzzer-chosen bytes, and what every method promises about
// its buffers (fuzz/output_oracle.h): a broken promise is a finding.
//
// Input: a mode byte, two bytes choosing the method, a count byte and that
// many integer argument bytes (at most 8; arguments that size a buffer keep
// the table's value), then the answers, one per command the method sends
// (methods that run a sequence of commands get several):
//   mode even (raw):    a 2-byte big-endian length and that many bytes, put
//                       on the line as they are;
//   mode odd (framed):  a status byte, a 2-byte big-endian length and that
//                       many data bytes, put on the line as a well-formed
//                       answer frame (length, checksum, stuffing), so every
//                       answer decodes and the method's own handling runs.
// Buffers are sized exactly as orvex.h documents them (a careful caller),
// with guard bytes behind each that the oracle checks.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_methods.h"
#include "link/untFunction.h"
#include "output_oracle.h"
#include "transport/PCComm.h"

using namespace orvex;

namespace {

// A serial answer frame: STX, length (data + 7), reader, command, status,
// data, XOR checksum, ETX, with STX, ETX and DLE inside escaped by DLE.
std::vector<uint8_t> AnswerFrame(uint8_t status, const uint8_t* data, size_t n) {
  std::vector<uint8_t> body = {static_cast<uint8_t>((n + 7) >> 8), static_cast<uint8_t>(n + 7), 0x00, 0x01,
                               0x00, status};
  body.insert(body.end(), data, data + n);
  uint8_t x = 0;
  for (uint8_t b : body) x ^= b;
  body.push_back(x);
  std::vector<uint8_t> frame = {STX};
  for (uint8_t b : body) {
    if (b == STX || b == ETX || b == DLE) frame.push_back(DLE);
    frame.push_back(b);
  }
  frame.push_back(ETX);
  return frame;
}

class FuzzLine : public Line {
 public:
  FuzzLine(const uint8_t* data, size_t size, bool framed) : p_(data), end_(data + size), framed_(framed) {}
  int Write(const unsigned char*, int n) override {
    // A new command: its answer is the next chunk of the input.
    chunk_.clear();
    pos_ = 0;
    uint8_t status = 0;
    if (framed_) {
      if (p_ == end_) return n;
      status = *p_++;
    }
    if (end_ - p_ >= 2) {
      size_t len = static_cast<size_t>(p_[0]) << 8 | p_[1];
      p_ += 2;
      if (len > static_cast<size_t>(end_ - p_)) len = static_cast<size_t>(end_ - p_);
      if (framed_)
        chunk_ = AnswerFrame(status, p_, len);
      else
        chunk_.assign(p_, p_ + len);
      p_ += len;
    }
    return n;
  }
  int Read(unsigned char* out, int capacity, int) override {
    if (pos_ >= chunk_.size()) return transport::kLineHungUp;
    size_t n = std::min(chunk_.size() - pos_, static_cast<size_t>(capacity));
    memcpy(out, chunk_.data() + pos_, n);
    pos_ += n;
    return static_cast<int>(n);
  }

 private:
  const uint8_t* p_;
  const uint8_t* end_;
  bool framed_;
  std::vector<uint8_t> chunk_;
  size_t pos_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::vector<fuzzmethods::Method> methods = fuzzmethods::All();
  if (size < 4) return 0;
  const bool framed = data[0] & 1;
  const fuzzmethods::Method& m = methods[(static_cast<size_t>(data[1]) << 8 | data[2]) % methods.size()];
  size_t ints = std::min<size_t>(data[3], 8);
  data += 4;
  size -= 4;
  if (ints > size) ints = size;
  fuzzmethods::Args args;
  args.ints = data;
  args.ints_left = ints;
  fuzzmethods::Prepare(m, args);
  FuzzLine line(data + ints, size - ints, framed);
  AttachLine_(&line);
  Orvex ov;
  int result = m.call(ov, args);
  AttachLine_(nullptr);
  std::string broken = fuzzmethods::Check(m, args, result);
  if (!broken.empty()) {
    fprintf(stderr, "broken promise: %s\n", broken.c_str());
    abort();
  }
  return 0;
}
