// SPDX-License-Identifier: MIT
// The NDEF decoders on tag images, which are attacker-controlled data: the
// message TLV walk (exactly-sized input, so any overread is a finding) and
// the single-record decoder, then every record taken out into buffers of
// the documented sizes.
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "orvex.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  {
    std::vector<unsigned char> image(data, data + size);
    TLV tlv;
    int n = tlv.DecodeAllBuffer(image.empty() ? nullptr : image.data(), static_cast<int>(image.size()));
    if (n > 5) __builtin_trap();
    for (int i = 0; i < 6; ++i) {
      std::unique_ptr<unsigned char[]> uri(new unsigned char[1]), s(new unsigned char[255]);
      int len = -1;
      if (tlv.GetRecord(i, uri.get(), &len, s.get()) == 1 && (len < 0 || len > 255)) __builtin_trap();
    }
    // What was decoded encodes within the documented maximum.
    std::unique_ptr<unsigned char[]> out(new unsigned char[1298]);
    if (tlv.CreateAllBuffer(out.get()) > 1298) __builtin_trap();
  }
  {
    // A record has no length of its own: it may read as far as its header
    // says, at most 4 + 4 + 255 + 255 + 255 + 255 bytes; the image is
    // padded with zeros up to that.
    constexpr size_t kMaxRecord = 4 + 4 + 4 * 255;
    std::vector<unsigned char> rec(kMaxRecord, 0);
    std::memcpy(rec.data(), data, size < kMaxRecord ? size : kMaxRecord);
    NDEFRecord r;
    int used = r.DecodeFrom(rec.data());
    if (used < 0 || used > static_cast<int>(kMaxRecord)) __builtin_trap();
  }
  return 0;
}
