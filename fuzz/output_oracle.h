// SPDX-License-Identifier: MIT
// What every method promises about its buffers, checked around one call:
// before it, every buffer is filled with a known pattern (inputs and outputs
// alike, and the guard bytes past each buffer's documented size); after it,
//   - no guard byte changed (nothing was written past a documented size),
//   - no input byte changed,
//   - on a failure no output byte changed (except outputs the header says a
//     failure writes too),
//   - on a success every length output (and a result that is a length) lies
//     within the documented size of the buffer it counts, and no byte of that
//     buffer past the reported length changed.
// Shared by the command fuzzer and the output tests.
#pragma once

#include <cstdio>
#include <cstring>
#include <string>

#include "fuzz_methods.h"

namespace fuzzmethods {

// The byte every buffer holds at offset i before the call.
inline unsigned char Poison(size_t buffer, size_t i) {
  return static_cast<unsigned char>(0xA5 ^ (i * 0x3B) ^ (buffer * 0x11));
}

// Allocates and fills the buffers of a call to m.
inline void Prepare(const Method& m, Args& a) {
  a.blocks.clear();
  for (size_t b = 0; b < m.buffers.size(); ++b) {
    std::vector<unsigned char> block(m.buffers[b].size + Args::kGuard);
    for (size_t i = 0; i < block.size(); ++i) block[i] = Poison(b, i);
    a.blocks.push_back(std::move(block));
  }
}

inline bool Succeeded(const Method& m, int result) {
  switch (m.success) {
    case kZeroOrMoreIsSuccess: return result >= 0;
    case kOneIsSuccess: return result == 1;
    default: return result > 0;
  }
}

// The first byte of buffer b at or after `from` that the call changed, or -1.
inline long FirstChanged(const Args& a, size_t b, size_t from, size_t to) {
  for (size_t i = from; i < to; ++i)
    if (a.blocks[b][i] != Poison(b, i)) return static_cast<long>(i);
  return -1;
}

// Empty when the call kept every promise, else what it broke.
inline std::string Check(const Method& m, const Args& a, int result) {
  char msg[256];
  const bool ok = Succeeded(m, result);
  auto length_check = [&](long value, size_t target, const char* what) -> std::string {
    const Buffer& t = m.buffers[target];
    if (value < 0 || static_cast<size_t>(value) > t.size) {
      snprintf(msg, sizeof msg, "%s: %s is %ld, %s holds %zu bytes (result %d)", m.name, what, value,
               t.param, t.size, result);
      return msg;
    }
    long at = FirstChanged(a, target, static_cast<size_t>(value), t.size);
    if (at >= 0) {
      snprintf(msg, sizeof msg, "%s: %s byte %ld changed past the %ld reported by %s (result %d)",
               m.name, t.param, at, value, what, result);
      return msg;
    }
    return "";
  };
  for (size_t b = 0; b < m.buffers.size(); ++b) {
    const Buffer& buf = m.buffers[b];
    long at = FirstChanged(a, b, buf.size, buf.size + Args::kGuard);
    if (at >= 0) {
      snprintf(msg, sizeof msg, "%s: wrote %s[%ld], past its %zu documented bytes (result %d)", m.name,
               buf.param, at, buf.size, result);
      return msg;
    }
    bool must_stay = buf.kind == kInput || (buf.kind == kOutput && !ok);
    if (must_stay && (at = FirstChanged(a, b, 0, buf.size)) >= 0) {
      snprintf(msg, sizeof msg, "%s: %s %s[%ld] changed (result %d)", m.name,
               buf.kind == kInput ? "input" : "on a failure, output", buf.param, at, result);
      return msg;
    }
  }
  if (!ok) return "";
  for (size_t b = 0; b < m.buffers.size(); ++b) {
    const Buffer& buf = m.buffers[b];
    if (buf.length_of < 0) continue;
    long value = 0;
    if (buf.width == 1) {
      value = a.blocks[b][0];
    } else if (buf.width == 2) {
      short v;
      memcpy(&v, a.blocks[b].data(), sizeof v);
      value = v;
    } else {
      int v;
      memcpy(&v, a.blocks[b].data(), sizeof v);
      value = v;
    }
    // A length output that still holds its pattern: nothing to check when
    // nothing it counts was written either (some results of 1 hand nothing
    // over); otherwise it is read as the length it spells, since the method
    // may have written that very value, and bytes written without their
    // length are caught when they reach past it.
    if (FirstChanged(a, b, 0, buf.size) < 0 &&
        FirstChanged(a, static_cast<size_t>(buf.length_of), 0, m.buffers[buf.length_of].size) < 0)
      continue;
    if (buf.cut) {
      // A count kept to 8 bits: the bytes written reach at most the largest
      // value + 256 k within the buffer.
      const Buffer& t = m.buffers[buf.length_of];
      size_t written = 0;
      for (size_t i = t.size; i > 0; --i)
        if (a.blocks[buf.length_of][i - 1] != Poison(buf.length_of, i - 1)) {
          written = i;
          break;
        }
      size_t reach = static_cast<size_t>(value);
      while (reach + 256 <= t.size && reach < written) reach += 256;
      if (reach < written) {
        snprintf(msg, sizeof msg, "%s: %s byte %zu changed, %s reads %ld (result %d)", m.name, t.param,
                 written - 1, buf.param, value, result);
        return msg;
      }
      continue;
    }
    std::string e = length_check(value, static_cast<size_t>(buf.length_of), buf.param);
    if (!e.empty()) return e;
  }
  if (m.result_length_of >= 0) {
    std::string e = length_check(result, static_cast<size_t>(m.result_length_of), "the result");
    if (!e.empty()) return e;
  }
  return "";
}

}  // namespace fuzzmethods
