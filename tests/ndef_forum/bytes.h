// SPDX-License-Identifier: MIT
// Byte strings for the NDEF layer's tests.
#pragma once

#include <initializer_list>
#include <string>

#include "ndef/forum/message.h"

namespace orvex {
namespace ndef {
namespace testing {

// Bytes from a list of values: B({0xD1, 0x01, 'T'}).
inline Bytes B(std::initializer_list<int> v) {
  Bytes b;
  for (int x : v) b.push_back(static_cast<uint8_t>(x));
  return b;
}
// The bytes of a string.
inline Bytes S(const std::string& s) { return Bytes(s.begin(), s.end()); }

}  // namespace testing
}  // namespace ndef
}  // namespace orvex
