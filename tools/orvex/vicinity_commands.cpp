// SPDX-License-Identifier: MIT
// Subcommands on ISO 15693 tags: iso15693 read, write, info, security,
// lock, afi and dsfid. Each first takes an inventory, then addresses the
// tag found by its UID.
#include <algorithm>

#include "commands.h"
#include "vicinity.h"
#include "link/deadlines.h"

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

// The blocks a read or security command names (all without BLOCK), checked
// against the tag's.
void BlockRange(const VicinityTag& tag, const ReadOptions& o, int& first, int& count) {
  first = o.first < 0 ? 0 : o.first;
  count = o.first < 0 ? tag.blocks : o.count;
  CheckBlock(tag, first);
  CheckBlock(tag, first + count - 1);
}

void Read(Context& ctx, const ReadOptions& o) {
  ctx.Open();
  VicinityTag tag = FindVicinityTag(ctx);
  int first = 0, count = 0;
  BlockRange(tag, o, first, count);
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
  if (VicinityBlockLocks(ctx, tag, o.block, 1)[0])
    throw Failure(BlockWords(o.block) + " of tag " + tag.Uid() + " is locked; nothing was written");
  WriteVicinityBlock(ctx, tag, o.block, data);
  ReadBack(BlockWords(o.block), data, [&] { return ReadVicinityBlocks(ctx, tag, o.block, 1); });
  Json& d = ctx.out().doc();
  d["uid"] = tag.Uid();
  d["block"] = o.block;
  d["data"] = Hex(data);
  ctx.Done("wrote " + BlockWords(o.block) + " of tag " + tag.Uid() + ": " + Hex(data));
}

std::string OptionalHex(int v) { return v < 0 ? "not given" : Hex(Bytes{static_cast<uint8_t>(v)}); }
Json OptionalJson(int v) { return v < 0 ? Json(nullptr) : Json(Hex(Bytes{static_cast<uint8_t>(v)})); }

// ---- iso15693 info ------------------------------------------------------------------

void Info(Context& ctx) {
  ctx.Open();
  VicinityTag tag = FindVicinityTag(ctx);
  Output& out = ctx.out();
  out.Field("uid", "UID", tag.Uid(), tag.Uid());
  out.Field("dsfid", "DSFID", Hex(&tag.dsfid, 1), Hex(&tag.dsfid, 1));
  out.Field("afi", "AFI", OptionalJson(tag.afi), OptionalHex(tag.afi));
  out.Field("blocks", "blocks", tag.blocks, std::to_string(tag.blocks));
  out.Field("block_size", "block size", tag.block_size, std::to_string(tag.block_size) + " bytes");
  out.Field("ic_reference", "IC reference", OptionalJson(tag.ic_reference), OptionalHex(tag.ic_reference));
}

// ---- iso15693 security --------------------------------------------------------------

void Security(Context& ctx, const ReadOptions& o) {
  ctx.Open();
  VicinityTag tag = FindVicinityTag(ctx);
  int first = 0, count = 0;
  BlockRange(tag, o, first, count);
  std::vector<bool> locked = VicinityBlockLocks(ctx, tag, first, count);
  Json& d = ctx.out().doc();
  d["uid"] = tag.Uid();
  Json blocks = Json::array(), locked_list = Json::array();
  std::string list;
  for (int i = 0; i < count; ++i) {
    blocks.push_back({{"block", first + i}, {"locked", static_cast<bool>(locked[static_cast<size_t>(i)])}});
    if (!locked[static_cast<size_t>(i)]) continue;
    locked_list.push_back(first + i);
    list += (list.empty() ? "" : " ") + std::to_string(first + i);
  }
  d["security"] = blocks;
  d["locked_blocks"] = locked_list;
  ctx.out().Line("tag " + tag.Uid() + ", blocks " + std::to_string(first) + " to " + std::to_string(first + count - 1) +
                 ": " + (list.empty() ? "none locked" : "locked: " + list));
}

// ---- iso15693 lock ------------------------------------------------------------------

struct LockOptions {
  int block = 0;
  bool yes = false;
};

void Lock(Context& ctx, const LockOptions& o) {
  if (!o.yes)
    throw Failure("iso15693 lock: locking " + BlockWords(o.block) +
                      " is irreversible (it can never be written again); nothing was locked (give --yes to lock it)",
                  2);
  ctx.Open();
  VicinityTag tag = FindVicinityTag(ctx);
  CheckBlock(tag, o.block);
  if (VicinityBlockLocks(ctx, tag, o.block, 1)[0])
    throw Failure(BlockWords(o.block) + " of tag " + tag.Uid() + " is locked already");
  Bytes uid = tag.air_uid;
  CheckCard(ctx.ov.OV_ISO15693_Lock_Block(ctx.reader_id, kVicinityAddressed, uid.data(),
                                          static_cast<unsigned char>(o.block)),
            "locking " + BlockWords(o.block),
            "the tag refused (or left the field); the block may or may not be locked");
  if (!VicinityBlockLocks(ctx, tag, o.block, 1)[0])
    throw Failure("locking " + BlockWords(o.block) + ": the tag acknowledged, but the block's security status says unlocked");
  Json& d = ctx.out().doc();
  d["uid"] = tag.Uid();
  d["block"] = o.block;
  ctx.Done("locked " + BlockWords(o.block) + " of tag " + tag.Uid() + " for good");
}

// ---- iso15693 afi / dsfid -----------------------------------------------------------

struct ByteOptions {
  std::string value;
  bool lock = false;
  bool yes = false;
};

// Writes the AFI or the DSFID (name), reads it back from the system
// information and, with --lock, locks it.
void WriteByte(Context& ctx, const ByteOptions& o, bool afi) {
  const std::string name = afi ? "AFI" : "DSFID", cmd = afi ? "iso15693 afi" : "iso15693 dsfid";
  Bytes v = ParseHex(o.value, cmd);
  if (v.size() != 1) throw Failure(cmd + ": give one byte (2 hex digits), not " + std::to_string(v.size()), 2);
  if (o.lock && !o.yes)
    throw Failure(cmd + ": locking the " + name + " is irreversible; nothing was written (give --yes with --lock)", 2);
  ctx.Open();
  VicinityTag tag = FindVicinityTag(ctx);
  const int before = afi ? tag.afi : tag.dsfid;
  Bytes uid = tag.air_uid;
  CheckCard(afi ? ctx.ov.OV_ISO15693_Write_AFI(ctx.reader_id, kVicinityAddressed, uid.data(), v[0])
                : ctx.ov.OV_ISO15693_Write_DSFID(ctx.reader_id, kVicinityAddressed, uid.data(), v[0]),
            "writing the " + name, "the tag refused (is the " + name + " locked?)");
  VicinityTag now;
  if (!FindVicinityTag(ctx, now) || now.air_uid != tag.air_uid)
    throw Failure("the " + name + " was written, but the tag " + tag.Uid() + " did not answer afterwards");
  const int after = afi ? now.afi : now.dsfid;
  if (after != v[0])
    throw Failure("the " + name + " reads back as " + OptionalHex(after) + ", not the " + Hex(v) + " written");
  if (o.lock) {
    CheckCard(afi ? ctx.ov.OV_ISO15693_Lock_AFI(ctx.reader_id, kVicinityAddressed, uid.data())
                  : ctx.ov.OV_ISO15693_Lock_DSFID(ctx.reader_id, kVicinityAddressed, uid.data()),
              "locking the " + name + " (it was written: " + Hex(v) + ")",
              "the tag refused (or left the field); the " + name + " may or may not be locked");
  }
  Json& d = ctx.out().doc();
  d["uid"] = tag.Uid();
  d["previous"] = OptionalJson(before);
  d[afi ? "afi" : "dsfid"] = Hex(v);
  d["locked"] = o.lock;
  ctx.Done("wrote the " + name + " of tag " + tag.Uid() + ": " + OptionalHex(before) + " -> " + Hex(v) +
           (o.lock ? ", and locked it for good" : ""));
}

// With --uid, the tag of that UID among all that answer an inventory of
// several tags (DSFID and UID each, the UID least significant byte first).
bool FindChosenVicinityTag(Context& ctx, VicinityTag& t) {
  unsigned char answer[ORVEX_MAX_ANSWER], len = 0;
  int rc = ctx.ov.OV_ISO15693_Multi_Inventory(ctx.reader_id, 0, 0, answer, &len);
  if (rc == -3) return false;
  CheckCard(rc, "inventory", "");
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
    CheckCard(rc, "inventory", "");
    if (len < 9) throw Failure("inventory: the reader's answer has " + std::to_string(len) +
                               " bytes, not DSFID and UID");
    t.dsfid = answer[0];
    t.air_uid.assign(answer + 1, answer + 9);
  }
  unsigned char info[ORVEX_MAX_ANSWER], len = 0;
  CheckCard(ctx.ov.OV_ISO15693_Get_System_Information(ctx.reader_id, kVicinityAddressed, t.air_uid.data(),
                                                      info, &len),
            "reading the system information of tag " + t.Uid(),
            "the tag " + t.Uid() + " did not answer");
  // Information flags, UID, then DSFID, AFI, the memory size (blocks - 1,
  // block size - 1) and the IC reference, each when the flags say it is
  // present.
  if (len < 9 || (info[0] & 0x04) == 0)
    throw Failure("the tag " + t.Uid() + " does not tell its memory size");
  size_t at = 9;
  if ((info[0] & 0x01) && len > at) t.dsfid = info[at++];
  if ((info[0] & 0x02) && len > at) t.afi = info[at++];
  if (len < at + 2) throw Failure("the tag " + t.Uid() + "'s system information is cut short");
  t.blocks = info[at] + 1;
  t.block_size = (info[at + 1] & 0x1F) + 1;
  at += 2;
  if ((info[0] & 0x08) && len > at) t.ic_reference = info[at];
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
  int per_read = UnitsPerRead(ctx.speed(), orvex::deadline::Ms(orvex::deadline::kVicinityRead), tag.block_size,
                              std::min(kBlocksPerRead, kMaxReadBytes / tag.block_size));
  Bytes out, uid = tag.air_uid;
  for (int b = first; b < first + count;) {
    int n = std::min(per_read, first + count - b);
    unsigned char data[ORVEX_MAX_ANSWER], len = 0;
    std::string what = n == 1 ? "reading block " + std::to_string(b)
                              : "reading blocks " + std::to_string(b) + " to " + std::to_string(b + n - 1);
    int rc = ctx.ov.OV_ISO15693_Read(ctx.reader_id, kVicinityAddressed, uid.data(), static_cast<unsigned char>(b),
                                     static_cast<unsigned char>(n), data, &len);
    if (rc == -3 && n > 1) {
      // The read of several blocks is optional: a tag without it refuses.
      ctx.Note("the tag " + tag.Uid() + " refused a read of several blocks: reading them one by one");
      per_read = 1;
      continue;
    }
    CheckCard(rc, what, "the tag refused the read");
    if (len != n * tag.block_size)
      throw Failure(what + ": " + std::to_string(len) + " bytes came back, not " +
                    std::to_string(n * tag.block_size));
    out.insert(out.end(), data, data + len);
    b += n;
  }
  return out;
}

std::vector<bool> VicinityBlockLocks(Context& ctx, const VicinityTag& tag, int first, int count) {
  // One status byte a block; its bit 0 says the block is locked.
  constexpr int kPerRequest = 64;
  std::vector<bool> locked;
  Bytes uid = tag.air_uid;
  for (int b = first; b < first + count; b += kPerRequest) {
    int n = std::min(kPerRequest, first + count - b);
    unsigned char data[ORVEX_MAX_ANSWER], len = 0;
    std::string what = "reading the security status of block" + std::string(n == 1 ? " " : "s ") + std::to_string(b) +
                       (n == 1 ? "" : " to " + std::to_string(b + n - 1));
    CheckCard(ctx.ov.OV_ISO15693_Get_Block_Security(ctx.reader_id, kVicinityAddressed, uid.data(),
                                                    static_cast<unsigned char>(b), static_cast<unsigned char>(n), data,
                                                    &len),
              what, "the tag refused");
    if (len != n) throw Failure(what + ": " + std::to_string(len) + " bytes came back, not " + std::to_string(n));
    for (int i = 0; i < n; ++i) locked.push_back((data[i] & 0x01) != 0);
  }
  return locked;
}

void WriteVicinityBlock(Context& ctx, const VicinityTag& tag, int block, const Bytes& data) {
  Bytes copy = data, uid = tag.air_uid;
  CheckCard(ctx.ov.OV_ISO15693_Write(ctx.reader_id, kVicinityAddressed, uid.data(),
                                     static_cast<unsigned char>(block),
                                     static_cast<unsigned char>(copy.size()), copy.data()),
            "writing block " + std::to_string(block),
            "the tag refused it (is the block locked?)");
}

void AddVicinityCommands(CLI::App& app, Context& ctx) {
  auto* v = app.add_subcommand("iso15693", "ISO 15693 tags: blocks, system information, locks, AFI and DSFID");
  v->require_subcommand(1);

  static ReadOptions read;
  read = ReadOptions();
  auto* r = v->add_subcommand("read", "read blocks of the tag in the field (all of them by default)");
  r->add_option("BLOCK", read.first, "the first block to read")->check(CLI::Range(0, 255));
  r->add_option("-n,--count", read.count, "how many blocks from BLOCK (default 1)")
      ->check(CLI::Range(1, 256));
  ctx.Register(r, [&ctx] { Read(ctx, read); });

  static WriteOptions write;
  write = WriteOptions();
  auto* w = v->add_subcommand("write", "write one block of the tag in the field");
  w->add_option("BLOCK", write.block, "the block number")->required()->check(CLI::Range(0, 255));
  w->add_option("HEX", write.data, "the block's bytes in hex (as many as a block holds)")->required();
  ctx.Register(w, [&ctx] { Write(ctx, write); });

  auto* i = v->add_subcommand("info", "system information: DSFID, AFI, block size and count, IC reference");
  ctx.Register(i, [&ctx] { Info(ctx); });

  static ReadOptions security;
  security = ReadOptions();
  auto* s = v->add_subcommand("security", "block security status: which blocks are locked (all blocks by default)");
  s->add_option("BLOCK", security.first, "the first block")->check(CLI::Range(0, 255));
  s->add_option("-n,--count", security.count, "how many blocks from BLOCK (default 1)")->check(CLI::Range(1, 256));
  ctx.Register(s, [&ctx] { Security(ctx, security); });

  static LockOptions lock;
  lock = LockOptions();
  auto* l = v->add_subcommand("lock", "lock one block for good (irreversible; needs --yes)");
  l->add_option("BLOCK", lock.block, "the block number")->required()->check(CLI::Range(0, 255));
  l->add_flag("--yes", lock.yes, "lock it (it can never be written again)");
  ctx.Register(l, [&ctx] { Lock(ctx, lock); });

  static ByteOptions afi, dsfid;
  afi = ByteOptions(); dsfid = ByteOptions();
  for (auto* o : {&afi, &dsfid}) {
    const bool is_afi = o == &afi;
    auto* c = v->add_subcommand(is_afi ? "afi" : "dsfid",
                                is_afi ? "write the application family identifier (AFI), and read it back"
                                       : "write the data storage format identifier (DSFID), and read it back");
    c->add_option("VALUE", o->value, "the byte, 2 hex digits")->required();
    c->add_flag("--lock", o->lock, "lock it afterwards (irreversible; needs --yes)");
    c->add_flag("--yes", o->yes, "confirm --lock");
    ctx.Register(c, [&ctx, o, is_afi] { WriteByte(ctx, *o, is_afi); });
  }
}

}  // namespace orvextool
