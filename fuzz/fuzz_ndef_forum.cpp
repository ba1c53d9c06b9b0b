// SPDX-License-Identifier: MIT
// The NFC Forum NDEF layer on hostile bytes: the message decoder (strict
// and relaxed) and every record reader, the TLV layout of a tag area, and a
// write into such an area. Beyond memory safety it checks the layer's
// promises: what strict decoding accepts re-encodes to a message that
// decodes the same, and a write that completes reads back as written.
#include <cstdint>
#include <vector>

#include "ndef/forum/message.h"
#include "ndef/forum/records.h"
#include "ndef/forum/tag.h"

namespace ndef = orvex::ndef;

namespace {

class Area : public ndef::TagMemory {
 public:
  Area(ndef::Bytes b, size_t unit) : bytes_(std::move(b)), unit_(unit) {}
  size_t size() const override { return bytes_.size(); }
  size_t unit() const override { return unit_; }
  long base() const override { return 16; }
  ndef::Bytes Read(size_t offset, size_t length) override {
    if (offset + length > bytes_.size()) __builtin_trap();
    return ndef::Bytes(bytes_.begin() + static_cast<long>(offset), bytes_.begin() + static_cast<long>(offset + length));
  }
  void Write(size_t offset, const ndef::Bytes& data) override {
    if (offset % unit_ || data.size() != unit_ || offset + data.size() > bytes_.size()) __builtin_trap();
    std::copy(data.begin(), data.end(), bytes_.begin() + static_cast<long>(offset));
  }

 private:
  ndef::Bytes bytes_;
  size_t unit_;
};

void Records(const ndef::Message& m) {
  for (const auto& r : m) {
    ndef::Text t;
    std::string uri;
    ndef::SmartPoster sp;
    ndef::Wifi w;
    ndef::ParseText(r, t);
    ndef::ParseUri(r, uri);
    ndef::ParseSmartPoster(r, sp);
    ndef::ParseWifi(r, w);
    if (ndef::Describe(r).find('\x1b') != std::string::npos) __builtin_trap();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<uint8_t> bytes(data, data + size);  // exactly sized: any overread is a finding
  try {
    ndef::Message m = ndef::Decode(bytes.data(), bytes.size());
    Records(m);
    ndef::Bytes again = ndef::Encode(m);
    if (ndef::Decode(again) != m) __builtin_trap();
  } catch (const ndef::Error&) {
  }
  try {
    Records(ndef::Decode(bytes.data(), bytes.size(), ndef::Strictness::kRelaxed));
  } catch (const ndef::Error&) {
  }
  // The input as a tag's area (a whole number of 4-byte pages).
  if (size >= 4) {
    ndef::Bytes area(bytes.begin(), bytes.begin() + static_cast<long>(size / 4 * 4));
    Area memory(area, 4);
    try {
      ndef::ReadMessage(memory);
      const ndef::Bytes message = ndef::Encode({ndef::MakeText({std::string(size % 300, 'x'), "en", false})});
      ndef::WriteReport report;
      ndef::WriteMessage(memory, message, report);
      if (!report.complete || ndef::ReadMessage(memory) != message) __builtin_trap();
    } catch (const ndef::Error&) {
    }
  }
  return 0;
}
