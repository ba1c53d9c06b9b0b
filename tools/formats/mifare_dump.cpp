// SPDX-License-Identifier: MIT
#include "mifare_dump.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <sstream>

#include <nlohmann/json.hpp>

#include "hex_text.h"
#include "mifare_access.h"

namespace orvexformats {

namespace {

using Json = nlohmann::ordered_json;

int Digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// Plain hex of any even length ("0004"); false for anything else.
bool ParsePlainHex(const std::string& s, std::vector<uint8_t>& out) {
  if (s.size() % 2) return false;
  out.clear();
  for (size_t i = 0; i < s.size(); i += 2) {
    int hi = Digit(s[i]), lo = Digit(s[i + 1]);
    if (hi < 0 || lo < 0) return false;
    out.push_back(static_cast<uint8_t>(hi << 4 | lo));
  }
  return true;
}

// One block as text: 32 characters, each pair two hex digits or "--" for a
// byte not known. `where` names it in the message.
void ParseBlockText(const std::string& text, ClassicDump& d, int b, const std::string& where) {
  if (text.size() != 32)
    throw DumpError(where + ": a block is 32 hex digits (\"--\" for a byte not known), not \"" + text + "\"");
  for (int i = 0; i < 16; ++i) {
    char c0 = text[static_cast<size_t>(2 * i)], c1 = text[static_cast<size_t>(2 * i + 1)];
    if (c0 == '-' && c1 == '-') continue;
    int hi = Digit(c0), lo = Digit(c1);
    if (hi < 0 || lo < 0)
      throw DumpError(where + ": byte " + std::to_string(i) + " is \"" + std::string{c0, c1} +
                      "\", neither two hex digits nor \"--\"");
    uint8_t v = static_cast<uint8_t>(hi << 4 | lo);
    d.Set(b, i, &v, 1);
  }
}

std::string BlockText(const ClassicDump& d, int b) {
  std::string s;
  for (int i = 0; i < 16; ++i)
    s += d.known[static_cast<size_t>(16 * b + i)] ? HexText(d.block(b) + i, 1) : "--";
  return s;
}

void CheckBlockCount(size_t n, const std::string& what) {
  if (n != 64 && n != 256)
    throw DumpError(what + " " + std::to_string(n) + " blocks; a MIFARE Classic dump holds 64 (1K) or 256 (4K)");
}

// What a dump does not know reads as zeros, whatever the file held there.
ClassicDump& ZeroUnknown(ClassicDump& d) {
  for (size_t i = 0; i < d.data.size(); ++i)
    if (!d.known[i]) d.data[i] = 0;
  return d;
}

ClassicDump ParseMfd(const std::vector<uint8_t>& file, const std::string* record) {
  if (file.size() != 1024 && file.size() != 4096)
    throw DumpError("a MIFARE Classic dump holds 1024 or 4096 bytes, not " + std::to_string(file.size()));
  const int blocks = static_cast<int>(file.size() / 16);
  ClassicDump d = ClassicDump::Unknown(blocks);
  for (int b = 0; b < blocks; ++b) d.Set(b, 0, file.data() + 16 * b, 16);
  const int sectors = Sectors(blocks);
  if (!record) {
    // Dumps without a record hold zeros where a key was not found.
    static const uint8_t zeros[6] = {0, 0, 0, 0, 0, 0};
    for (int s = 0; s < sectors; ++s) {
      const int t = TrailerOf(s);
      for (int at : {0, 10})
        if (std::equal(zeros, zeros + 6, d.block(t) + at))
          for (int i = 0; i < 6; ++i) d.known[static_cast<size_t>(16 * t + at + i)] = false;
    }
    return ZeroUnknown(d);
  }
  std::vector<std::pair<bool, bool>> keys(static_cast<size_t>(sectors), {false, false});
  std::vector<bool> unread(static_cast<size_t>(blocks), false);
  std::istringstream in(*record);
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') continue;
    std::istringstream f(line);
    if (line.rfind("unknown", 0) == 0) {
      std::string word;
      f >> word;
      for (int b; f >> b;) {
        if (b < 0 || b >= blocks) throw DumpError("key record: cannot read \"" + line + "\"");
        unread[static_cast<size_t>(b)] = true;
      }
      if (!f.eof()) throw DumpError("key record: cannot read \"" + line + "\"");
      continue;
    }
    int s = -1;
    std::string a, b;
    if (!(f >> s >> a >> b) || s < 0 || s >= sectors) throw DumpError("key record: cannot read \"" + line + "\"");
    keys[static_cast<size_t>(s)] = {a != "-", b != "-"};
  }
  for (int b = 0; b < blocks; ++b) {
    if (!unread[static_cast<size_t>(b)]) continue;
    for (int i = IsTrailer(b) ? 6 : 0; i < (IsTrailer(b) ? 10 : 16); ++i)
      d.known[static_cast<size_t>(16 * b + i)] = false;
  }
  for (int s = 0; s < sectors; ++s) {
    const int t = TrailerOf(s);
    for (int i = 0; i < 6; ++i) {
      if (!keys[static_cast<size_t>(s)].first) d.known[static_cast<size_t>(16 * t + i)] = false;
      if (!keys[static_cast<size_t>(s)].second) d.known[static_cast<size_t>(16 * t + 10 + i)] = false;
    }
  }
  return ZeroUnknown(d);
}

ClassicDump ParseEml(const std::vector<uint8_t>& file) {
  std::istringstream in(std::string(file.begin(), file.end()));
  std::vector<std::pair<int, std::string>> lines;
  std::string line;
  for (int n = 1; std::getline(in, line); ++n) {
    const size_t first = line.find_first_not_of(" \t\r");
    if (first == std::string::npos) continue;
    line = line.substr(first, line.find_last_not_of(" \t\r") - first + 1);
    lines.emplace_back(n, line);
  }
  CheckBlockCount(lines.size(), "it holds");
  ClassicDump d = ClassicDump::Unknown(static_cast<int>(lines.size()));
  for (size_t b = 0; b < lines.size(); ++b)
    ParseBlockText(lines[b].second, d, static_cast<int>(b), "line " + std::to_string(lines[b].first));
  return d;
}

// The key of a sector in a .json dump must say what the trailer says.
void CheckKey(const Json& sector, const char* name, const ClassicDump& d, int s, bool key_b) {
  if (!sector.contains(name)) return;
  const Json& k = sector[name];
  const std::string where = "sector " + std::to_string(s) + " " + name;
  const int t = TrailerOf(s), at = key_b ? 10 : 0;
  if (k.is_null()) {
    if (d.KeyKnown(s, key_b))
      throw DumpError(where + " is null, but block " + std::to_string(t) + " holds it");
    return;
  }
  if (!k.is_string()) throw DumpError(where + ": a key is 12 hex digits or null");
  std::vector<uint8_t> key;
  if (!ParsePlainHex(k.get<std::string>(), key) || key.size() != 6)
    throw DumpError(where + ": a key is 12 hex digits or null, not \"" + k.get<std::string>() + "\"");
  if (!d.KeyKnown(s, key_b) || !std::equal(key.begin(), key.end(), d.block(t) + at))
    throw DumpError(where + " " + k.get<std::string>() + " differs from block " + std::to_string(t) + " (" +
                    BlockText(d, t) + ")");
}

ClassicDump ParseJsonDump(const std::vector<uint8_t>& file) {
  Json j;
  try {
    j = Json::parse(file.begin(), file.end());
  } catch (const nlohmann::json::exception& e) {
    std::string what = e.what();
    // "[json.exception.parse_error.101] parse error at line 1, ..." without its prefix
    const size_t at = what.find("] ");
    throw DumpError("not JSON: " + (at == std::string::npos ? what : what.substr(at + 2)));
  }
  if (!j.is_object() || !j.contains("blocks") || !j["blocks"].is_array())
    throw DumpError("a JSON dump is an object with a \"blocks\" array");
  const Json& blocks = j["blocks"];
  CheckBlockCount(blocks.size(), "\"blocks\" holds");
  ClassicDump d = ClassicDump::Unknown(static_cast<int>(blocks.size()));
  for (size_t b = 0; b < blocks.size(); ++b) {
    const std::string where = "blocks[" + std::to_string(b) + "]";
    if (!blocks[b].is_string()) throw DumpError(where + ": a block is a string of 32 hex digits");
    ParseBlockText(blocks[b].get<std::string>(), d, static_cast<int>(b), where);
  }
  auto hex_field = [&j](const char* name, size_t min, size_t max, std::vector<uint8_t>& out) {
    if (!j.contains(name) || j[name].is_null()) return false;
    if (!j[name].is_string() || !ParsePlainHex(j[name].get<std::string>(), out) || out.size() < min ||
        out.size() > max)
      throw DumpError(std::string("\"") + name + "\" is not " +
                      (min == max ? std::to_string(2 * min) : std::to_string(2 * min) + " to " +
                                                                 std::to_string(2 * max)) +
                      " hex digits");
    return true;
  };
  std::vector<uint8_t> v;
  if (hex_field("uid", 4, 10, v)) d.uid = v;
  if (hex_field("atqa", 2, 2, v)) d.atqa = v[0] << 8 | v[1];
  if (hex_field("sak", 1, 1, v)) d.sak = v[0];
  if (j.contains("sectors")) {
    if (!j["sectors"].is_array()) throw DumpError("\"sectors\" is not an array");
    for (const Json& sector : j["sectors"]) {
      if (!sector.is_object() || !sector.contains("sector") || !sector["sector"].is_number_integer())
        throw DumpError("each of \"sectors\" is an object with its \"sector\" number");
      const int s = sector["sector"].get<int>();
      if (s < 0 || s >= Sectors(d.blocks))
        throw DumpError("sector " + std::to_string(s) + ": the card has sectors 0 to " +
                        std::to_string(Sectors(d.blocks) - 1));
      CheckKey(sector, "key_a", d, s, false);
      CheckKey(sector, "key_b", d, s, true);
    }
  }
  return d;
}

}  // namespace

namespace {

bool EndsWithAnyCase(const std::string& path, const std::string& ext) {
  if (path.size() < ext.size()) return false;
  std::string tail = path.substr(path.size() - ext.size());
  std::transform(tail.begin(), tail.end(), tail.begin(), [](unsigned char c) { return std::tolower(c); });
  return tail == ext;
}

}  // namespace

DumpFormat FormatOfName(const std::string& path) {
  if (EndsWithAnyCase(path, ".eml")) return DumpFormat::kEml;
  if (EndsWithAnyCase(path, ".json")) return DumpFormat::kJson;
  return DumpFormat::kMfd;
}

bool FormatNamed(const std::string& path, DumpFormat& out) {
  for (DumpFormat f : {DumpFormat::kMfd, DumpFormat::kEml, DumpFormat::kJson})
    if (EndsWithAnyCase(path, std::string(".") + FormatWord(f))) {
      out = f;
      return true;
    }
  return false;
}

bool FormatOfWord(const std::string& word, DumpFormat& out) {
  for (DumpFormat f : {DumpFormat::kMfd, DumpFormat::kEml, DumpFormat::kJson, DumpFormat::kHex})
    if (word == FormatWord(f)) {
      out = f;
      return true;
    }
  return false;
}

const char* FormatWord(DumpFormat f) {
  switch (f) {
    case DumpFormat::kMfd: return "mfd";
    case DumpFormat::kEml: return "eml";
    case DumpFormat::kJson: return "json";
    default: return "hex";
  }
}

ClassicDump ClassicDump::Unknown(int blocks) {
  ClassicDump d;
  d.blocks = blocks;
  d.data.assign(static_cast<size_t>(blocks) * 16, 0);
  d.known.assign(static_cast<size_t>(blocks) * 16, false);
  return d;
}

bool ClassicDump::BlockKnown(int b) const {
  const int from = IsTrailer(b) ? 6 : 0, to = IsTrailer(b) ? 10 : 16;
  for (int i = from; i < to; ++i)
    if (!known[static_cast<size_t>(16 * b + i)]) return false;
  return true;
}

bool ClassicDump::KeyKnown(int sector, bool key_b) const {
  const int t = TrailerOf(sector), at = key_b ? 10 : 0;
  for (int i = 0; i < 6; ++i)
    if (!known[static_cast<size_t>(16 * t + at + i)]) return false;
  return true;
}

void ClassicDump::Set(int b, int from, const uint8_t* p, int n) {
  for (int i = 0; i < n; ++i) {
    data[static_cast<size_t>(16 * b + from + i)] = p[i];
    known[static_cast<size_t>(16 * b + from + i)] = true;
  }
}

std::vector<int> ClassicDump::UnknownBlocks() const {
  std::vector<int> out;
  for (int b = 0; b < blocks; ++b)
    if (!BlockKnown(b)) out.push_back(b);
  return out;
}

ClassicDump ParseDump(const std::vector<uint8_t>& file, DumpFormat f, const std::string* key_record) {
  switch (f) {
    case DumpFormat::kEml: return ParseEml(file);
    case DumpFormat::kJson: return ParseJsonDump(file);
    case DumpFormat::kMfd: return ParseMfd(file, key_record);
    default: throw DumpError("a hex listing is not read back; give the dump as .mfd, .eml or .json");
  }
}

std::vector<uint8_t> ToMfd(const ClassicDump& d) { return d.data; }

std::string ToKeyRecord(const ClassicDump& d) {
  std::string r = "# keys found by orvex mfc dump: sector, key A, key B (- not found)\n";
  for (int s = 0; s < Sectors(d.blocks); ++s) {
    const uint8_t* t = d.block(TrailerOf(s));
    r += std::to_string(s) + " " + (d.KeyKnown(s, false) ? HexText(t, 6) : "-") + " " +
         (d.KeyKnown(s, true) ? HexText(t + 10, 6) : "-") + "\n";
  }
  std::vector<int> unknown = d.UnknownBlocks();
  if (!unknown.empty()) {
    r += "unknown";
    for (int b : unknown) r += " " + std::to_string(b);
    r += "\n";
  }
  return r;
}

std::string ToEml(const ClassicDump& d) {
  std::string s;
  for (int b = 0; b < d.blocks; ++b) s += BlockText(d, b) + "\n";
  return s;
}

std::string ToJson(const ClassicDump& d) {
  Json j;
  if (!d.uid.empty()) j["uid"] = HexText(d.uid.data(), d.uid.size());
  if (d.atqa >= 0) {
    const uint8_t a[2] = {static_cast<uint8_t>(d.atqa >> 8), static_cast<uint8_t>(d.atqa)};
    j["atqa"] = HexText(a, 2);
  }
  if (d.sak >= 0) {
    const uint8_t s = static_cast<uint8_t>(d.sak);
    j["sak"] = HexText(&s, 1);
  }
  j["type"] = d.Type();
  Json blocks = Json::array();
  for (int b = 0; b < d.blocks; ++b) blocks.push_back(BlockText(d, b));
  j["blocks"] = blocks;
  j["unknown_blocks"] = d.UnknownBlocks();
  Json sectors = Json::array();
  for (int s = 0; s < Sectors(d.blocks); ++s) {
    const int t = TrailerOf(s);
    Json sec;
    sec["sector"] = s;
    sec["key_a"] = d.KeyKnown(s, false) ? Json(HexText(d.block(t), 6)) : Json(nullptr);
    sec["key_b"] = d.KeyKnown(s, true) ? Json(HexText(d.block(t) + 10, 6)) : Json(nullptr);
    Access a;
    const bool valid = d.BlockKnown(t) && DecodeAccess(d.block(t) + 6, a);
    sec["access_bits"] = d.BlockKnown(t) ? Json(HexText(d.block(t) + 6, 3)) : Json(nullptr);
    sec["access"] = valid ? Json(Describe(a)) : Json::array();
    sectors.push_back(sec);
  }
  j["sectors"] = sectors;
  return j.dump(1) + "\n";
}

std::string ToListing(const ClassicDump& d) {
  std::string s = d.Type();
  if (!d.uid.empty()) s += " " + HexText(d.uid.data(), d.uid.size());
  s += ", " + std::to_string(d.blocks) + " blocks (-- a byte that could not be read)\n";
  for (int sec = 0; sec < Sectors(d.blocks); ++sec) {
    const uint8_t* t = d.block(TrailerOf(sec));
    s += "sector " + std::to_string(sec) + ": key A " + (d.KeyKnown(sec, false) ? HexText(t, 6) : "unknown") +
         ", key B " + (d.KeyKnown(sec, true) ? HexText(t + 10, 6) : "unknown") + "\n";
    for (int b = FirstBlock(sec); b <= TrailerOf(sec); ++b) {
      char num[8];
      std::snprintf(num, sizeof num, "%3d ", b);
      std::string hex, ascii;
      for (int i = 0; i < 16; ++i) {
        const bool k = d.known[static_cast<size_t>(16 * b + i)];
        const uint8_t c = d.block(b)[i];
        hex += " " + (k ? HexText(&c, 1) : std::string("--"));
        ascii += !k ? ' ' : (c >= 0x20 && c < 0x7F) ? static_cast<char>(c) : '.';
      }
      s += num + hex + "  |" + ascii + "|\n";
    }
  }
  return s;
}

std::string DecodeValueBlock(const uint8_t* b, ValueBlock& out) {
  for (int i = 0; i < 4; ++i) {
    if (static_cast<uint8_t>(~b[i]) != b[4 + i]) return "bytes 4 to 7 are not the inverse of the value in bytes 0 to 3";
    if (b[i] != b[8 + i]) return "bytes 8 to 11 do not repeat the value in bytes 0 to 3";
  }
  if (b[12] != b[14] || static_cast<uint8_t>(~b[12]) != b[13] || b[13] != b[15])
    return "bytes 12 to 15 are not an address byte, its inverse, the address, its inverse";
  out.value = static_cast<int32_t>(static_cast<uint32_t>(b[0]) | static_cast<uint32_t>(b[1]) << 8 |
                                   static_cast<uint32_t>(b[2]) << 16 | static_cast<uint32_t>(b[3]) << 24);
  out.address = b[12];
  return "";
}

void EncodeValueBlock(const ValueBlock& v, uint8_t* b) {
  const uint32_t u = static_cast<uint32_t>(v.value);
  for (int i = 0; i < 4; ++i) {
    b[i] = b[8 + i] = static_cast<uint8_t>(u >> (8 * i));
    b[4 + i] = static_cast<uint8_t>(~b[i]);
  }
  b[12] = b[14] = v.address;
  b[13] = b[15] = static_cast<uint8_t>(~v.address);
}

}  // namespace orvexformats
