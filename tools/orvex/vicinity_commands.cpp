// SPDX-License-Identifier: MIT
// Subcommands on ISO 15693 tags: iso15693 read and write. Both first take
// an inventory, then address the tag found by its UID.
#include <algorithm>

#include "commands.h"
#include "vicinity.h"

namespace orvextool {

namespace {

void Describe(Context& ctx, const VicinityTag& tag) {
  Json& d = ctx.out().doc();
  d["uid"] = tag.Uid();
  d["dsfid"] = Hex(&tag.dsfid, 1);
  d["blocks"] = tag.blocks;
  d["block_size"] = tag.block_size;
  ctx.out().Line("tag " + tag.Uid() + ", " + std::to_string(tag.blocks) + " blocks of " +
                 std::to_string(tag.block_size) + " bytes");
}

std::string BlockWords(int block) { return "block " + std::to_string(block); }

void CheckBlock(const VicinityTag& tag, int block) {
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
  VicinityTag tag = FindVicinityTag(ctx);
  int first = o.first < 0 ? 0 : o.first;
  int count = o.first < 0 ? tag.blocks : o.count;
  CheckBlock(tag, first);
  CheckBlock(tag, first + count - 1);
  Describe(ctx, tag);
  Json blocks = Json::array();
  Bytes data = ReadVicinityBlocks(ctx, tag, first, count);
  for (int i = 0; i < count; ++i) {
    std::string hex = Hex(data.data() + i * tag.block_size, static_cast<size_t>(tag.block_size));
    blocks.push_back({{"block", first + i}, {"data", hex}});
    char label[24];
    std::snprintf(label, sizeof label, "block %3d: ", first + i);
    ctx.out().Line(label + hex);
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
  VicinityTag tag = FindVicinityTag(ctx);
  CheckBlock(tag, o.block);
  if (data.size() != static_cast<size_t>(tag.block_size))
    throw Failure("the blocks of tag " + tag.Uid() + " hold " + std::to_string(tag.block_size) +
                  " bytes; " + std::to_string(data.size()) + " given", 2);
  WriteVicinityBlock(ctx, tag, o.block, data);
  Json& d = ctx.out().doc();
  d["uid"] = tag.Uid();
  d["block"] = o.block;
  d["data"] = Hex(data);
  ctx.Done("wrote " + BlockWords(o.block) + " of tag " + tag.Uid() + ": " + Hex(data));
}

// With --uid, the tag of that UID among all that answer an inventory of
// several tags (DSFID and UID each, the UID least significant byte first).
bool FindChosenVicinityTag(Context& ctx, VicinityTag& t) {
  unsigned char answer[ORVEX_MAX_ANSWER], len = 0;
  int rc = ctx.ov.OV_ISO15693_Multi_Inventory(ctx.reader_id, 0, 0, answer, &len);
  if (rc == -3) return false;
  CheckCard(rc, "inventory", kVicinityQueryDeadlineMs, "");
  const Bytes air(ctx.uid().rbegin(), ctx.uid().rend());
  for (int i = 0; len >= 1 && i < answer[0] && 1 + (i + 1) * 9 <= len; ++i) {
    const unsigned char* rec = answer + 1 + i * 9;
    if (Bytes(rec + 1, rec + 9) != air) continue;
    t.dsfid = rec[0];
    t.air_uid = air;
    ctx.Note("acting on tag " + t.Uid() + ", chosen by --uid");
    return true;
  }
  return false;
}

}  // namespace

bool FindVicinityTag(Context& ctx, VicinityTag& tag) {
  VicinityTag t;
  if (!ctx.uid().empty()) {
    if (!FindChosenVicinityTag(ctx, t)) return false;
  } else {
    unsigned char answer[ORVEX_MAX_ANSWER], len = 0;
    int rc = ctx.ov.OV_ISO15693_Inventory(ctx.reader_id, answer, &len);
    if (rc == -3) return false;
    CheckCard(rc, "inventory", kVicinityQueryDeadlineMs, "");
    if (len < 9) throw Failure("inventory: the reader's answer has " + std::to_string(len) +
                               " bytes, not DSFID and UID");
    t.dsfid = answer[0];
    t.air_uid.assign(answer + 1, answer + 9);
  }
  unsigned char info[ORVEX_MAX_ANSWER], len = 0;
  CheckCard(ctx.ov.OV_ISO15693_Get_System_Information(ctx.reader_id, kVicinityAddressed, t.air_uid.data(),
                                                      info, &len),
            "reading the system information of tag " + t.Uid(), kVicinityQueryDeadlineMs,
            "the tag " + t.Uid() + " did not answer");
  // Information flags, UID, then DSFID, AFI and the memory size (blocks - 1,
  // block size - 1) when the flags say they are present.
  if (len < 9 || (info[0] & 0x04) == 0)
    throw Failure("the tag " + t.Uid() + " does not tell its memory size");
  size_t at = 9 + ((info[0] & 0x01) ? 1 : 0) + ((info[0] & 0x02) ? 1 : 0);
  if (len < at + 2) throw Failure("the tag " + t.Uid() + "'s system information is cut short");
  t.blocks = info[at] + 1;
  t.block_size = (info[at + 1] & 0x1F) + 1;
  tag = t;
  return true;
}

VicinityTag FindVicinityTag(Context& ctx) {
  VicinityTag tag;
  if (!FindVicinityTag(ctx, tag))
    throw Failure(ctx.uid().empty() ? "inventory: no ISO 15693 tag in the field"
                                    : "inventory: no ISO 15693 tag with UID " + Hex(ctx.uid()) + " in the field");
  return tag;
}

Bytes ReadVicinityBlocks(Context& ctx, const VicinityTag& tag, int first, int count) {
  // The read reports its length in one byte: a read of large blocks asks
  // for fewer; and its answer must cross the line within its deadline.
  constexpr int kBlocksPerRead = 32, kMaxReadBytes = 255;
  const int per_read = UnitsPerRead(ctx.speed(), kVicinityReadDeadlineMs, tag.block_size,
                                    std::min(kBlocksPerRead, kMaxReadBytes / tag.block_size));
  Bytes out, uid = tag.air_uid;
  for (int b = first; b < first + count; b += per_read) {
    int n = std::min(per_read, first + count - b);
    unsigned char data[ORVEX_MAX_ANSWER], len = 0;
    std::string what = n == 1 ? "reading block " + std::to_string(b)
                              : "reading blocks " + std::to_string(b) + " to " + std::to_string(b + n - 1);
    CheckCard(ctx.ov.OV_ISO15693_Read(ctx.reader_id, kVicinityAddressed, uid.data(),
                                      static_cast<unsigned char>(b), static_cast<unsigned char>(n), data, &len),
              what, kVicinityReadDeadlineMs, "the tag refused the read");
    if (len != n * tag.block_size)
      throw Failure(what + ": " + std::to_string(len) + " bytes came back, not " +
                    std::to_string(n * tag.block_size));
    out.insert(out.end(), data, data + len);
  }
  return out;
}

void WriteVicinityBlock(Context& ctx, const VicinityTag& tag, int block, const Bytes& data) {
  Bytes copy = data, uid = tag.air_uid;
  CheckCard(ctx.ov.OV_ISO15693_Write(ctx.reader_id, kVicinityAddressed, uid.data(),
                                     static_cast<unsigned char>(block),
                                     static_cast<unsigned char>(copy.size()), copy.data()),
            "writing block " + std::to_string(block), kVicinityWriteDeadlineMs,
            "the tag refused it (is the block locked?)");
}

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
