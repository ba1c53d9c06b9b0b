// SPDX-License-Identifier: MIT
// Subcommands on the ST memory tags SR176, SRI512 and SRIX4K: srx read,
// write and locks. The tag is activated, then identified: the SRI512 and
// SRIX4K answer the identifier read of their command set (8 bytes), the
// SR176 keeps its identifier in blocks 0 to 3; of the two, only the SRIX4K
// answers the anti-clone authentication.
#include <cstdio>

#include "commands.h"

namespace orvextool {

namespace {
constexpr int kMaxTags = 16;
// The system block of the SRI512 and SRIX4K: the lock bits.
constexpr int kSystemBlock = 255;
// The SR176's block 15 holds its lock byte.
constexpr int kSr176LockBlock = 15;

enum class Chip { kSr176, kSri512, kSrix4k };

struct StTag {
  Chip chip = Chip::kSr176;
  unsigned char chip_id = 0;
  Bytes uid;  // 8 bytes, most significant first
  const char* name() const { return chip == Chip::kSr176 ? "SR176" : chip == Chip::kSri512 ? "SRI512" : "SRIX4K"; }
  int blocks() const { return chip == Chip::kSrix4k ? 128 : 16; }
  int block_size() const { return chip == Chip::kSr176 ? 2 : 4; }
  std::string Name() const { return std::string(name()) + " " + Hex(uid); }
};

// Identifies the activated tag; false when it answers neither identifier
// read.
bool Identify(Context& ctx, StTag& t) {
  unsigned char uid[ORVEX_MAX_ANSWER];
  if (ctx.ov.OV_SR512_GetUID(ctx.reader_id, uid) == 1 && LastAnswerLength() == 8) {
    t.uid.assign(uid, uid + 8);
    // The authentication changes nothing on the tag: its answer is the
    // signature of a challenge.
    unsigned char key[6] = {0, 0, 0, 0, 0, 0}, signature[ORVEX_MAX_ANSWER];
    t.chip = ctx.ov.OV_SRIX4K_Check(ctx.reader_id, key, signature) == 1 ? Chip::kSrix4k : Chip::kSri512;
    return true;
  }
  if (ctx.ov.OV_SR176_GetUID(ctx.reader_id, uid) != 1) return false;
  t.uid.assign(uid, uid + 8);
  t.chip = Chip::kSr176;
  return true;
}

// Activates tags until one (with --uid, the one chosen) is found; the tags
// passed over are deactivated, and silent until the field is switched off.
// The field is switched off and on first, so that an earlier command's
// deactivated tags answer again.
StTag FindTag(Context& ctx) {
  ctx.Open();
  ResetField(ctx, "looking for an ST memory tag");
  bool passed_over = false;
  for (int i = 0; i < kMaxTags; ++i) {
    StTag t;
    int rc = ctx.ov.OV_ST_Active(ctx.reader_id, &t.chip_id);
    if (rc == -3) break;
    CheckCard(rc, "activating an ST memory tag", "");
    if (!Identify(ctx, t)) throw Failure("the tag with chip id " + Hex(&t.chip_id, 1) + " answers no identifier read");
    if (ctx.uid().empty() || ctx.uid() == t.uid) {
      if (passed_over) ctx.Note("acting on tag " + Hex(t.uid) + ", chosen by --uid");
      return t;
    }
    CheckCard(ctx.ov.OV_ST_DeActive(ctx.reader_id), "deactivating tag " + Hex(t.uid), "");
    passed_over = true;
  }
  throw Failure(ctx.uid().empty() ? "no SR176, SRI512 or SRIX4K tag in the field"
                                  : "no SR176, SRI512 or SRIX4K tag with UID " + Hex(ctx.uid()) + " in the field");
}

struct Locks {
  unsigned value = 0;        // the lock byte (SR176) or the two lock bytes
  std::vector<bool> locked;  // one a block
};

// The lock bits as the reader reports them: on the SR176 bit i of the lock
// byte locks blocks 2i and 2i + 1 (blocks 0 to 3, the identifier, are
// read-only from the start); on the SRI512 and SRIX4K the system block's
// first byte locks blocks 0 to 15, its second the blocks from 16 on.
Locks ReadLocks(Context& ctx, const StTag& t) {
  Locks l;
  l.locked.assign(static_cast<size_t>(t.blocks()), false);
  if (t.chip == Chip::kSr176) {
    unsigned char b = 0;
    CheckCard(ctx.ov.OV_SR176_LockStatus(ctx.reader_id, &b), "reading the lock byte",
              "the tag did not answer");
    l.value = b;
    for (int i = 0; i < t.blocks(); ++i) l.locked[static_cast<size_t>(i)] = i < 4 || ((b >> (i / 2)) & 1);
  } else {
    unsigned short w = 0;
    CheckCard(ctx.ov.OV_SR512_LockStatus(ctx.reader_id, &w), "reading the system block",
              "the tag did not answer");
    l.value = w;
    for (int i = 0; i < t.blocks(); ++i) l.locked[static_cast<size_t>(i)] = i < 16 ? (w & 0xFF) != 0 : (w >> 8) != 0;
  }
  return l;
}

Bytes ReadBlock(Context& ctx, const StTag& t, int block) {
  unsigned char data[ORVEX_MAX_ANSWER];
  const std::string what = "reading block " + std::to_string(block);
  int rc = t.chip == Chip::kSr176 ? ctx.ov.OV_SR176_Read(ctx.reader_id, block, data)
                                  : ctx.ov.OV_SR512_Read(ctx.reader_id, block, data);
  CheckCard(rc, what, "the tag refused (or left the field)");
  if (LastAnswerLength() != t.block_size())
    throw Failure(what + ": " + std::to_string(LastAnswerLength()) + " bytes came back, not " +
                  std::to_string(t.block_size()));
  return Bytes(data, data + t.block_size());
}

std::string LockText(const StTag& t, const Locks& l) {
  char v[8];
  std::snprintf(v, sizeof v, t.chip == Chip::kSr176 ? "%02X" : "%04X", l.value);
  return v;
}

void Describe(Context& ctx, const StTag& t) {
  Json& d = ctx.out().doc();
  d["chip"] = t.name();
  d["uid"] = Hex(t.uid);
  d["chip_id"] = Hex(&t.chip_id, 1);
  d["blocks"] = t.blocks();
  d["block_size"] = t.block_size();
}

// ---- srx read --------------------------------------------------------------------

struct ReadOptions {
  int block = -1;  // -1: every block
};

void ReadCommand(Context& ctx, const ReadOptions& o) {
  StTag t = FindTag(ctx);
  if (o.block >= t.blocks())
    throw Failure("block " + std::to_string(o.block) + " is past the last block (" + std::to_string(t.blocks() - 1) +
                  ") of " + t.Name());
  Locks locks = ReadLocks(ctx, t);
  const int first = o.block < 0 ? 0 : o.block, count = o.block < 0 ? t.blocks() : 1;
  Describe(ctx, t);
  ctx.out().Line(t.Name() + ", chip id " + Hex(&t.chip_id, 1) + ", " + std::to_string(t.blocks()) + " blocks of " +
                 std::to_string(t.block_size()) + " bytes");
  Json memory = Json::array();
  Progress progress("reading", count);
  for (int b = first; b < first + count; ++b) {
    Bytes data = ReadBlock(ctx, t, b);
    bool locked = locks.locked[static_cast<size_t>(b)];
    memory.push_back({{"block", b}, {"data", Hex(data)}, {"locked", locked}});
    char label[24];
    std::snprintf(label, sizeof label, "block %3d: ", b);
    ctx.out().Line(label + Hex(data) + (locked ? "  locked" : ""));
    progress.Step(b - first + 1);
  }
  ctx.out().doc()["memory"] = memory;
}

// ---- srx write -------------------------------------------------------------------

struct WriteOptions {
  int block = 0;
  std::vector<std::string> data;
  bool force = false;
};

void WriteCommand(Context& ctx, const WriteOptions& o) {
  Bytes data = ParseHexArgs(o.data, "srx write");
  if (data.empty()) throw Failure("srx write: no data given", 2);
  StTag t = FindTag(ctx);
  const std::string blk = "block " + std::to_string(o.block);
  if (data.size() != static_cast<size_t>(t.block_size()))
    throw Failure("the blocks of " + t.Name() + " hold " + std::to_string(t.block_size()) + " bytes; " +
                  std::to_string(data.size()) + " given", 2);
  const bool system = t.chip == Chip::kSr176 ? o.block == kSr176LockBlock : o.block == kSystemBlock;
  if (!system && o.block >= t.blocks())
    throw Failure(blk + " is past the last block (" + std::to_string(t.blocks() - 1) + ") of " + t.Name());
  if (system && !o.force)
    throw Failure(blk + " of " + t.Name() + " holds the lock bits: what is set there can never be cleared; nothing "
                  "was written (give --force to write it anyway)", 2);
  if (t.chip == Chip::kSr176 && o.block < 4)
    throw Failure(blk + " of " + t.Name() + " holds part of the identifier, which takes no writes; nothing was written");
  Locks locks = ReadLocks(ctx, t);
  if (!system && locks.locked[static_cast<size_t>(o.block)])
    throw Failure(blk + " of " + t.Name() + " is locked (lock bits " + LockText(t, locks) + "); nothing was written");
  Bytes before = system ? Bytes() : ReadBlock(ctx, t, o.block);
  const std::string cautious = "the tag refused the write or left the field" +
                               (before.empty() ? std::string() : "; the block may hold its old bytes " + Hex(before) +
                                                                     ", the new ones or neither");
  int rc = t.chip == Chip::kSr176 ? ctx.ov.OV_SR176_Write(ctx.reader_id, o.block, data.data())
                                  : ctx.ov.OV_SR512_Write(ctx.reader_id, o.block, data.data());
  CheckCard(rc, "writing " + blk, cautious);
  Bytes back = ReadBack(blk, data, [&] { return ReadBlock(ctx, t, o.block); });
  Describe(ctx, t);
  Json& d = ctx.out().doc();
  d["block"] = o.block;
  if (!before.empty()) d["previous"] = Hex(before);
  d["data"] = Hex(back);
  ctx.Done("wrote " + blk + " of " + t.Name() + ": " + Hex(back) + " (read back)");
}

// ---- srx locks -------------------------------------------------------------------

// "0-15" and "16-127" from a list of flags.
std::string Ranges(const std::vector<bool>& flags, bool which) {
  std::string s;
  for (size_t i = 0; i < flags.size(); ++i) {
    if (flags[i] != which || (i > 0 && flags[i - 1] == which)) continue;
    size_t j = i;
    while (j + 1 < flags.size() && flags[j + 1] == which) ++j;
    s += (s.empty() ? "" : ", ") + std::to_string(i) + (j > i ? "-" + std::to_string(j) : "");
  }
  return s.empty() ? "none" : s;
}

void LocksCommand(Context& ctx) {
  StTag t = FindTag(ctx);
  Locks l = ReadLocks(ctx, t);
  Describe(ctx, t);
  Json locked = Json::array();
  for (size_t i = 0; i < l.locked.size(); ++i)
    if (l.locked[i]) locked.push_back(static_cast<int>(i));
  Json& d = ctx.out().doc();
  d["lock_bits"] = LockText(t, l);
  d["locked_blocks"] = locked;
  ctx.out().Line(t.Name() + ", lock bits " + LockText(t, l));
  ctx.out().Line("locked blocks:   " + Ranges(l.locked, true));
  ctx.out().Line("writable blocks: " + Ranges(l.locked, false));
}

}  // namespace

void AddStCommands(CLI::App& app, Context& ctx) {
  auto* s = app.add_subcommand("srx", "ST memory tags SR176, SRI512, SRIX4K: read and write blocks, lock bits");
  s->require_subcommand(1);

  static ReadOptions read;
  read = ReadOptions();
  auto* r = s->add_subcommand("read", "read a block of the tag in the field (all of them by default)");
  r->add_option("BLOCK", read.block, "the block number")->check(CLI::Range(0, 255));
  ctx.Register(r, [&ctx] { ReadCommand(ctx, read); });

  static WriteOptions write;
  write = WriteOptions();
  auto* w = s->add_subcommand("write", "write one block and read it back (locked blocks are refused)");
  w->add_option("BLOCK", write.block, "the block number")->required()->check(CLI::Range(0, 255));
  w->add_option("HEX", write.data, "the block's bytes in hex (2 on an SR176, 4 on the others)")->required();
  w->add_flag("--force", write.force, "write the block of the lock bits too");
  ctx.Register(w, [&ctx] { WriteCommand(ctx, write); });

  auto* l = s->add_subcommand("locks", "the lock bits, decoded: which blocks are locked");
  ctx.Register(l, [&ctx] { LocksCommand(ctx); });
}

}  // namespace orvextool
