// SPDX-License-Identifier: MIT
#include "classic_files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "atomic_file.h"

namespace orvexsim {

namespace {

// The largest dump file read: a 4K card's .json dump is about 30 KB.
constexpr size_t kMaxDumpFile = 1024 * 1024;

}  // namespace

std::shared_ptr<MifareClassic> ClassicFromDump(const Bytes& file, orvexformats::DumpFormat f, std::string& error) {
  try {
    const orvexformats::ClassicDump dump = orvexformats::ParseDump(file, f, nullptr);
    if (f != orvexformats::DumpFormat::kMfd)
      for (int b = 0; b < dump.blocks; ++b)
        for (int i = 0; i < 16; ++i)
          if (!dump.known[static_cast<size_t>(16 * b + i)]) {
            error = "block " + std::to_string(b) + " holds bytes that are not known; a card needs every byte";
            return nullptr;
          }
    // A .mfd's bytes not known are its zeros: the memory is the file.
    return MifareClassic::FromDump(orvexformats::ToMfd(dump), error);
  } catch (const orvexformats::DumpError& e) {
    error = e.what();
    return nullptr;
  }
}

orvexformats::ClassicDump DumpOfClassic(const MifareClassic& card) {
  orvexformats::ClassicDump d = orvexformats::ClassicDump::Unknown(card.block_count());
  for (int b = 0; b < card.block_count(); ++b) d.Set(b, 0, card.memory().data() + 16 * b, 16);
  d.uid = card.uid();
  d.atqa = card.atqa();
  d.sak = card.sak();
  return d;
}

Bytes ClassicDumpFile(const MifareClassic& card, orvexformats::DumpFormat f) {
  const orvexformats::ClassicDump d = DumpOfClassic(card);
  std::string text;
  switch (f) {
    case orvexformats::DumpFormat::kEml: text = orvexformats::ToEml(d); break;
    case orvexformats::DumpFormat::kJson: text = orvexformats::ToJson(d); break;
    default: return orvexformats::ToMfd(d);
  }
  return Bytes(text.begin(), text.end());
}

std::shared_ptr<MifareClassic> LoadClassic(const std::string& path, orvexformats::DumpFormat f, std::string& error) {
  FILE* in = std::fopen(path.c_str(), "rb");
  if (!in) {
    error = std::string("cannot read it (") + std::strerror(errno) + ")";
    return nullptr;
  }
  Bytes file(kMaxDumpFile + 1);
  const size_t n = std::fread(file.data(), 1, file.size(), in);
  const bool failed = std::ferror(in) != 0;
  const int why = errno;
  std::fclose(in);
  if (failed) {
    error = std::string("cannot read it (") + std::strerror(why) + ")";
    return nullptr;
  }
  if (n > kMaxDumpFile) {
    error = "it is larger than any MIFARE Classic dump (more than " + std::to_string(kMaxDumpFile) + " bytes)";
    return nullptr;
  }
  file.resize(n);
  return ClassicFromDump(file, f, error);
}

bool SaveClassic(const MifareClassic& card, const std::string& path, orvexformats::DumpFormat f,
                 std::string& error) {
  const Bytes data = ClassicDumpFile(card, f);
  orvexformats::AtomicFile file(path, 0600);
  if (file.ok() && file.Commit(data.data(), data.size())) return true;
  error = file.error();
  return false;
}

}  // namespace orvexsim
