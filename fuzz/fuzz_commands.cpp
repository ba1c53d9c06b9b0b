// SPDX-License-Identifier: MIT
// Every public method's answer handling, over an in-process line that answers
// each command with fuzzer-chosen bytes.
//
// Input: one byte choosing the method, then the answers: each a 2-byte
// big-endian length and that many bytes, handed out one answer per command
// the method sends (methods that run a sequence of commands get several).
// Output buffers are heap blocks sized exactly as orvex.h documents them, so
// any write past them is an AddressSanitizer finding.
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "fuzz_methods.h"
#include "link/untFunction.h"
#include "transport/PCComm.h"

using namespace orvex;

namespace {

class FuzzLine : public Line {
 public:
  FuzzLine(const uint8_t* data, size_t size) : p_(data), end_(data + size) {}
  int Write(const unsigned char*, int n) override {
    // A new command: its answer is the next chunk of the input.
    chunk_.clear();
    pos_ = 0;
    if (end_ - p_ >= 2) {
      size_t len = static_cast<size_t>(p_[0]) << 8 | p_[1];
      p_ += 2;
      if (len > static_cast<size_t>(end_ - p_)) len = static_cast<size_t>(end_ - p_);
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
  std::vector<uint8_t> chunk_;
  size_t pos_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::vector<fuzzmethods::Method>& methods = fuzzmethods::All();
  if (size < 2) return 0;
  size_t which = (static_cast<size_t>(data[0]) << 8 | data[1]) % methods.size();
  FuzzLine line(data + 2, size - 2);
  AttachLine_(&line);
  Orvex ov;
  methods[which].call(ov);
  AttachLine_(nullptr);
  return 0;
}
