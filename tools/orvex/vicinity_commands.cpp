// SPDX-License-Identifier: MIT
// Subcommands on ISO 15693 tags: iso15693 read and write. Both first take
// an inventory, then address the tag found by its UID.
#include <algorithm>

#include "commands.h"

namespace orvextool {

namespace {

constexpr int kQueryDeadlineMs = 100;
constexpr int kReadDeadlineMs = 200;
constexpr int kWriteDeadlineMs = 400;
// Request flags byte of ISO 15693: the command names its tag by UID.
constexpr unsigned char kAddressed = 0x20;
// Blocks asked for in one read command, at most: the read reports its
// length in one byte, so a read of large blocks asks for fewer.
constexpr int kBlocksPerRead = 32;
constexpr int kMaxReadBytes = 255;

struct Tag {
  Bytes air_uid;  // as the tag sends it, least significant byte first
  unsigned char dsfid = 0;
  int blocks = 0;
  int block_size = 0;
  // The UID as it is written, most significant byte (E0) first.
  std::string Uid() const { return Hex(Bytes(air_uid.rbegin(), air_uid.rend())); }
};

// Inventory, then the system information of the tag found.
Tag FindTag(Context& ctx) {
  unsigned char answer[ORVEX_MAX_ANSWER], len = 0;
  CheckCard(ctx.ov.OV_ISO15693_Inventory(ctx.reader_id, answer, &len), "inventory", kQueryDeadlineMs,
            "no ISO 15693 tag in the field");
  if (len < 9) throw Failure("inventory: the reader's answer has " + std::to_string(len) +
                             " bytes, not DSFID and UID");
  Tag tag;
  tag.dsfid = answer[0];
  tag.air_uid.assign(answer + 1, answer + 9);
  unsigned char info[ORVEX_MAX_ANSWER];
  CheckCard(ctx.ov.OV_ISO15693_Get_System_Information(ctx.reader_id, kAddressed, tag.air_uid.data(),
                                                      info, &len),
            "reading the system information of tag " + tag.Uid(), kQueryDeadlineMs,
            "the tag " + tag.Uid() + " did not answer");
  // Information flags, UID, then DSFID, AFI and the memory size (blocks - 1,
  // block size - 1) when the flags say they are present.
  if (len < 9 || (info[0] & 0x04) == 0)
    throw Failure("the tag " + tag.Uid() + " does not tell its memory size");
  size_t at = 9 + ((info[0] & 0x01) ? 1 : 0) + ((info[0] & 0x02) ? 1 : 0);
  if (len < at + 2) throw Failure("the tag " + tag.Uid() + "'s system information is cut short");
  tag.blocks = info[at] + 1;
  tag.block_size = (info[at + 1] & 0x1F) + 1;
  return tag;
}

void Describe(Context& ctx, const Tag& tag) {
  Json& d = ctx.out().doc();
  d["uid"] = tag.Uid();
  d["dsfid"] = Hex(&tag.dsfid, 1);
  d["blocks"] = tag.blocks;
  d["block_size"] = tag.block_size;
  ctx.out().Line("tag " + tag.Uid() + ", " + std::to_string(tag.blocks) + " blocks of " +
                 std::to_string(tag.block_size) + " bytes");
}

std::string BlockWords(int block) { return "block " + std::to_string(block); }

void CheckBlock(const Tag& tag, int block) {
  if (block >= tag.blocks)
    throw Failure(BlockWords(block) + " is past the last block (" + std::to_string(tag.blocks - 1) +
                  ") of tag " + tag.Uid());
}

struct ReadOptions {
  int first = -1;  // -1: every block
  int count = 1;
};

void Read(Context& ctx, const ReadOptions& o) {
  ctx.Open();
  Tag tag = FindTag(ctx);
  int first = o.first < 0 ? 0 : o.first;
  int count = o.first < 0 ? tag.blocks : o.count;
  CheckBlock(tag, first);
  CheckBlock(tag, first + count - 1);
  Describe(ctx, tag);
  Json blocks = Json::array();
  const int per_read = std::min(kBlocksPerRead, kMaxReadBytes / tag.block_size);
  for (int b = first; b < first + count; b += per_read) {
    int n = std::min(per_read, first + count - b);
    unsigned char data[ORVEX_MAX_ANSWER], len = 0;
    std::string what = n == 1 ? "reading " + BlockWords(b)
                              : "reading blocks " + std::to_string(b) + " to " + std::to_string(b + n - 1);
    CheckCard(ctx.ov.OV_ISO15693_Read(ctx.reader_id, kAddressed, tag.air_uid.data(),
                                      static_cast<unsigned char>(b), static_cast<unsigned char>(n), data, &len),
              what, kReadDeadlineMs, "the tag refused the read");
    if (len != n * tag.block_size)
      throw Failure(what + ": " + std::to_string(len) + " bytes came back, not " +
                    std::to_string(n * tag.block_size));
    for (int i = 0; i < n; ++i) {
      std::string hex = Hex(data + i * tag.block_size, static_cast<size_t>(tag.block_size));
      blocks.push_back({{"block", b + i}, {"data", hex}});
      char label[24];
      std::snprintf(label, sizeof label, "block %3d: ", b + i);
      ctx.out().Line(label + hex);
    }
  }
  ctx.out().doc()["memory"] = blocks;
}

struct WriteOptions {
  int block = 0;
  std::vector<std::string> data;
};

void Write(Context& ctx, const WriteOptions& o) {
  Bytes data = ParseHexArgs(o.data, "iso15693 write");
  if (data.empty()) throw Failure("iso15693 write: no data given", 2);
  ctx.Open();
  Tag tag = FindTag(ctx);
  CheckBlock(tag, o.block);
  if (data.size() != static_cast<size_t>(tag.block_size))
    throw Failure("the blocks of tag " + tag.Uid() + " hold " + std::to_string(tag.block_size) +
                  " bytes; " + std::to_string(data.size()) + " given", 2);
  CheckCard(ctx.ov.OV_ISO15693_Write(ctx.reader_id, kAddressed, tag.air_uid.data(),
                                     static_cast<unsigned char>(o.block),
                                     static_cast<unsigned char>(data.size()), data.data()),
            "writing " + BlockWords(o.block), kWriteDeadlineMs, "the tag refused it (is the block locked?)");
  Json& d = ctx.out().doc();
  d["uid"] = tag.Uid();
  d["block"] = o.block;
  d["data"] = Hex(data);
  ctx.out().Line("wrote " + BlockWords(o.block) + " of tag " + tag.Uid() + ": " + Hex(data));
}

}  // namespace

void AddVicinityCommands(CLI::App& app, Context& ctx) {
  auto* v = app.add_subcommand("iso15693", "ISO 15693 tags: read and write blocks");
  v->require_subcommand(1);

  static ReadOptions read;
  auto* r = v->add_subcommand("read", "read blocks of the tag in the field (all of them by default)");
  r->add_option("BLOCK", read.first, "the first block to read")->check(CLI::Range(0, 255));
  r->add_option("-n,--count", read.count, "how many blocks from BLOCK (default 1)")
      ->check(CLI::Range(1, 256));
  ctx.Register(r, [&ctx] { Read(ctx, read); });

  static WriteOptions write;
  auto* w = v->add_subcommand("write", "write one block of the tag in the field");
  w->add_option("BLOCK", write.block, "the block number")->required()->check(CLI::Range(0, 255));
  w->add_option("HEX", write.data, "the block's bytes in hex (as many as a block holds)")->required();
  ctx.Register(w, [&ctx] { Write(ctx, write); });
}

}  // namespace orvextool
