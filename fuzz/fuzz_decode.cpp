// SPDX-License-Identifier: MIT
// The answer decoder on arbitrary bytes, in both frame shapes, and the
// unstuffing on its own. The first input byte picks the shape.
#include <cstdint>
#include <cstring>
#include <vector>

#include "link/untFunction.h"

using namespace orvex;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const int shape = data[0] % 3;
  std::vector<unsigned char> in(data + 1, data + size);  // exactly sized: ASan sees overreads
  const int len = static_cast<int>(in.size());
  if (shape == 2) {
    if (in.empty()) return 0;
    std::vector<unsigned char> out(in.size());
    int n = De_ConvertData(len, in.data(), out.data());
    if (n > len) __builtin_trap();
    return 0;
  }
  FaceID = shape == 0 ? 1 : 2;
  std::vector<unsigned char> answer(kMaxAnswerData);
  int reader = 0;
  unsigned char cmd = 0, status = 0;
  int m = DecodeByte_Receive(reader, cmd, status, len, in.data(), answer.data());
  if (m > kMaxAnswerData || m > len) __builtin_trap();
  FaceID = 0;
  return 0;
}
