// SPDX-License-Identifier: MIT
// The orvex tool's file parsers on hostile files: MIFARE Classic dumps in
// each format (.mfd with and without its key record, .eml, .json), APDU
// scripts and MIFARE Classic key lists. Beyond memory safety, what a parser accepts must hold together:
// a dump has 64 or 256 blocks with a flag a byte, and written again as
// .eml or .json it reads back the same; every APDU of a script has its
// 4-byte header and no more bytes than allowed, and the command that follows
// up 61XX or 6CXX is a well-formed APDU with the same header; a key list
// gives each key once, and its keys written out as a list read back the
// same.
//
// Input: one byte choosing the parser (modulo 7), then the file. For a .mfd
// with its key record, the bytes up to the first zero byte are the record
// and the rest the dump.
#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "apdu_script.h"
#include "hex_text.h"
#include "key_list.h"
#include "mifare_dump.h"

using namespace orvexformats;

namespace {

void Check(bool ok) {
  if (!ok) __builtin_trap();
}

bool Same(const ClassicDump& a, const ClassicDump& b) { return a.blocks == b.blocks && a.data == b.data && a.known == b.known; }

void Dump(const std::vector<uint8_t>& file, DumpFormat f, const std::string* record) {
  ClassicDump d;
  try {
    d = ParseDump(file, f, record);
  } catch (const DumpError&) {
    return;
  }
  Check(d.blocks == 64 || d.blocks == 256);
  Check(d.data.size() == static_cast<size_t>(d.blocks) * 16 && d.known.size() == d.data.size());
  for (size_t i = 0; i < d.data.size(); ++i) Check(d.known[i] || d.data[i] == 0);
  // What the tool writes, it reads back as it was.
  const std::string eml = ToEml(d), json = ToJson(d);
  Check(Same(ParseDump(std::vector<uint8_t>(eml.begin(), eml.end()), DumpFormat::kEml, nullptr), d));
  Check(Same(ParseDump(std::vector<uint8_t>(json.begin(), json.end()), DumpFormat::kJson, nullptr), d));
  (void)ToListing(d);
  (void)ToMfd(d);
  (void)ToKeyRecord(d);
}

void Script(const std::string& text, size_t max) {
  std::vector<ApduLine> lines;
  try {
    lines = ParseApduScript(text, max);
  } catch (const std::invalid_argument&) {
    return;
  }
  int previous = 0;
  for (const ApduLine& l : lines) {
    Check(l.command.size() >= 4 && l.command.size() <= max);
    Check(l.line > previous);
    previous = l.line;
    (void)l.Matches(l.command[2], l.command[3]);
    (void)StatusWordMeaning(l.command[0], l.command[1]);
    auto get_response = FollowUpCommand(l.command, 0x61, l.command[3]);
    Check(get_response && get_response->size() == 5);
    // 6CXX: the same command with the new Le, or nothing for a command it
    // cannot be told of (an extended length).
    auto again = FollowUpCommand(l.command, 0x6C, l.command[3]);
    Check(!again || (again->size() >= 5 && again->size() <= l.command.size() + 1 &&
                     std::equal(again->begin(), again->begin() + 4, l.command.begin())));
  }
}

void Keys(const std::string& text) {
  std::vector<ClassicKey> keys{ClassicKey{}};  // one key held before: never added again
  int lines = 0;
  try {
    lines = ParseKeyList(text, keys);
  } catch (const KeyListError& e) {
    Check(e.line >= 1 && keys.size() == 1);  // a refused list adds nothing
    return;
  }
  Check(keys.size() <= static_cast<size_t>(lines) + 1);
  for (size_t i = 0; i < keys.size(); ++i)
    for (size_t j = i + 1; j < keys.size(); ++j) Check(keys[i] != keys[j]);
  std::string again;
  for (size_t i = 1; i < keys.size(); ++i) again += HexText(keys[i].data(), 6) + "\n";
  std::vector<ClassicKey> reread{ClassicKey{}};
  Check(ParseKeyList(again, reread) == static_cast<int>(keys.size()) - 1 && reread == keys);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const uint8_t* p = data + 1;
  const size_t n = size - 1;
  switch (data[0] % 7) {
    case 0:
      Dump(std::vector<uint8_t>(p, p + n), DumpFormat::kMfd, nullptr);
      break;
    case 1: {
      size_t cut = 0;
      while (cut < n && p[cut] != 0) ++cut;
      const std::string record(reinterpret_cast<const char*>(p), cut);
      const uint8_t* rest = cut < n ? p + cut + 1 : p + n;
      Dump(std::vector<uint8_t>(rest, p + n), DumpFormat::kMfd, &record);
      break;
    }
    case 2:
      Dump(std::vector<uint8_t>(p, p + n), DumpFormat::kEml, nullptr);
      break;
    case 3:
      Dump(std::vector<uint8_t>(p, p + n), DumpFormat::kJson, nullptr);
      break;
    case 4:
      Script(std::string(reinterpret_cast<const char*>(p), n), 261);
      break;
    case 5:
      Script(std::string(reinterpret_cast<const char*>(p), n), 100);
      break;
    default:
      Keys(std::string(reinterpret_cast<const char*>(p), n));
      break;
  }
  return 0;
}
