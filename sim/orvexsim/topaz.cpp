// SPDX-License-Identifier: MIT
#include "orvexsim/topaz.h"

#include <algorithm>

namespace orvexsim {

Topaz::Topaz(Bytes uid) : TypeACard(std::move(uid)) {
  mem_.assign(512, 0x00);
  std::copy(uid_.begin(), uid_.end(), mem_.begin());
  Bytes rest = Pseudorandom(uid_, 3);
  std::copy(rest.begin(), rest.end(), mem_.begin() + 4);
  // Capability container of an empty Type 1 tag in block 1, and its empty
  // NDEF message right after it.
  const uint8_t cc[] = {0xE1, 0x10, 0x3F, 0x00, 0x03, 0x00, 0xFE};
  std::copy(cc, cc + 7, mem_.begin() + 8);
}

void Topaz::Put(int address, uint8_t value, bool erase) {
  uint8_t& b = mem_[static_cast<size_t>(address)];
  if (address >> 3 == 0x0F) {
    if (address >= kDynamicLock) b = static_cast<uint8_t>(b | value);
    return;
  }
  b = erase ? value : static_cast<uint8_t>(b | value);
}

bool Topaz::ForMe(const Bytes& f, size_t uid_at) const {
  return f.size() == uid_at + 4 && std::equal(uid_.begin(), uid_.end(), f.begin() + static_cast<long>(uid_at));
}

std::optional<Bytes> Topaz::Command(const Bytes& f) {
  if (f.empty()) return std::nullopt;
  switch (f[0]) {
    case 0x78:  // RID: header ROM and the first four UID bytes
      if (f.size() != 7) return std::nullopt;
      return Concat({kHr0, kHr1}, uid_);
    case 0x00:  // RALL: header ROM and the static memory (blocks 0 to 0E)
      if (!ForMe(f, 3)) return std::nullopt;
      return Concat({kHr0, kHr1}, Slice(mem_, 0, 120));
    case 0x01:    // READ: one byte of blocks 0 to 0F
    case 0x53:    // WRITE-E
    case 0x1A: {  // WRITE-NE: bits only set
      if (!ForMe(f, 3)) return std::nullopt;
      uint8_t add = f[1] & 0x7F;
      int block = add >> 3;
      if (f[0] != 0x01) {
        if (!Writable(block)) return std::nullopt;
        Put(add, f[2], f[0] == 0x53);
        Wrote();
      }
      return Bytes{add, mem_[add]};
    }
    case 0x10: {  // RSEG: a 128-byte segment
      if (!ForMe(f, 10)) return std::nullopt;
      uint8_t adds = f[1];
      return Concat({adds}, Slice(mem_, static_cast<size_t>((adds >> 4) & 3) * 128, 128));
    }
    case 0x02:    // READ8
    case 0x54:    // WRITE-E8
    case 0x1B: {  // WRITE-NE8
      if (!ForMe(f, 10)) return std::nullopt;
      int block = f[1];
      if (block >= 64) return std::nullopt;
      if (f[0] != 0x02) {
        if (!Writable(block)) return std::nullopt;
        for (int i = 0; i < 8; ++i) Put(block * 8 + i, f[2 + i], f[0] == 0x54);
        Wrote();
      }
      return Concat({f[1]}, Slice(mem_, static_cast<size_t>(block) * 8, 8));
    }
  }
  return std::nullopt;
}

}  // namespace orvexsim
