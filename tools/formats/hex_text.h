// SPDX-License-Identifier: MIT
// Bytes as upper-case hex digits, two a byte, no separator: the way every
// program of the SDK writes bytes for people and in its files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace orvexformats {

std::string HexText(const uint8_t* p, size_t n);

}  // namespace orvexformats
