// SPDX-License-Identifier: MIT
// MIFARE Classic dumps: the card's blocks with what is known of them, read
// from and written to the dump files the orvex tool handles:
//   .mfd   raw, 1024 or 4096 bytes, blocks in order; what could not be read
//          is zeros, and the key record beside it (FILE.keys) says so;
//   .eml   one line a block, 32 hex digits, "--" for a byte not known;
//   .json  the card's UID, ATQA, SAK and type, the blocks as in .eml, the
//          keys found per sector and each sector's access conditions;
// and a hex listing for people. Pure code: one parser for all three files,
// shared by every program that reads dumps.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace orvexformats {

// Sector geometry: sectors 0-31 have 4 blocks, sectors 32-39 (4K) 16.
inline int FirstBlock(int sector) { return sector < 32 ? sector * 4 : 128 + (sector - 32) * 16; }
inline int BlocksIn(int sector) { return sector < 32 ? 4 : 16; }
inline int TrailerOf(int sector) { return FirstBlock(sector) + BlocksIn(sector) - 1; }
inline int SectorOf(int block) { return block < 128 ? block / 4 : 32 + (block - 128) / 16; }
inline bool IsTrailer(int block) { return block < 128 ? block % 4 == 3 : (block - 128) % 16 == 15; }
inline int Sectors(int blocks) { return blocks == 256 ? 40 : 16; }
// The access group (0 to 2, 3 the trailer) whose conditions govern a block.
inline int GroupOf(int block) {
  if (block < 128) return block % 4;
  const int i = (block - 128) % 16;
  return i == 15 ? 3 : i / 5;
}

enum class DumpFormat { kMfd, kEml, kJson, kHex };

// The format a file name asks for: ".eml" and ".json" (any case), anything
// else is a raw .mfd.
DumpFormat FormatOfName(const std::string& path);
// The format a file's name names when it must name one (a card's memory
// saved whole): ".mfd", ".eml" or ".json" (any case); false for any other
// name.
bool FormatNamed(const std::string& path, DumpFormat& out);
// "mfd", "eml", "json", "hex"; false for any other word.
bool FormatOfWord(const std::string& word, DumpFormat& out);
const char* FormatWord(DumpFormat f);

// A failure to read a dump: the message names the place ("line 3: ...").
struct DumpError : std::runtime_error {
  explicit DumpError(const std::string& what) : std::runtime_error(what) {}
};

struct ClassicDump {
  int blocks = 0;             // 64 (1K) or 256 (4K)
  std::vector<uint8_t> data;  // blocks * 16 bytes; zeros where not known
  std::vector<bool> known;    // one flag a byte
  // What the card answered when it was selected; empty / -1 when the file
  // does not say (a .mfd or .eml holds only the blocks).
  std::vector<uint8_t> uid;
  int atqa = -1, sak = -1;

  // A blank dump of a card of `blocks` blocks, every byte unknown.
  static ClassicDump Unknown(int blocks);

  uint8_t* block(int b) { return data.data() + 16 * b; }
  const uint8_t* block(int b) const { return data.data() + 16 * b; }
  // A data block is known when all its bytes are; a trailer when its access
  // bytes 6 to 9 are (its keys are known or not on their own).
  bool BlockKnown(int b) const;
  // Key A (key_b false) or key B of a sector: known when its 6 bytes are.
  bool KeyKnown(int sector, bool key_b) const;
  // Marks bytes [from, from + n) of block b known, holding p.
  void Set(int b, int from, const uint8_t* p, int n);
  // The blocks not known, in order.
  std::vector<int> UnknownBlocks() const;
  std::string Type() const { return blocks == 256 ? "MIFARE Classic 4K" : "MIFARE Classic 1K"; }
};

// Reads a dump file of format f (not kHex). For a .mfd, key_record is the
// text of its record FILE.keys, or null when it has none: then a trailer key
// of 000000000000 is taken as one that was not found. Throws DumpError.
ClassicDump ParseDump(const std::vector<uint8_t>& file, DumpFormat f, const std::string* key_record);

// The raw .mfd bytes (unknown bytes as zeros) and its key record.
std::vector<uint8_t> ToMfd(const ClassicDump& d);
std::string ToKeyRecord(const ClassicDump& d);
std::string ToEml(const ClassicDump& d);
std::string ToJson(const ClassicDump& d);
// Block number, bytes and ASCII, a heading line a sector.
std::string ToListing(const ClassicDump& d);

// A value block: value, its inverse, value (4 bytes each, least significant
// first), then address, inverse, address, inverse.
struct ValueBlock {
  int32_t value = 0;
  uint8_t address = 0;
};
// Empty when b (16 bytes) is a valid value block; else why not, in words.
std::string DecodeValueBlock(const uint8_t* b, ValueBlock& out);
void EncodeValueBlock(const ValueBlock& v, uint8_t* b);

}  // namespace orvexformats
