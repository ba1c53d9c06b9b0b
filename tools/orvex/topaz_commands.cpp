// SPDX-License-Identifier: MIT
// Subcommands on Topaz (NFC Forum Type 1) tags: topaz read, read-byte,
// write-byte, read-block and write-block. Byte commands reach blocks 00 to
// 0F (addresses 00 to 7F); block commands every block of the tag.
#include <cstdio>

#include "commands.h"
#include "ndef/forum/tag.h"
#include "topaz.h"

namespace orvextool {

bool FindTopaz(Context& ctx, Bytes& uid, unsigned char* hr0_out, unsigned char* hr1_out) {
  unsigned char hr0 = 0, hr1 = 0, buf[ORVEX_MAX_ANSWER];
  int len = 0;
  if (ctx.ov.OV_TOPAZ_ReadUID(ctx.reader_id, &hr0, &hr1, &len, buf) != 1 || len < 4) return false;
  // The header ROM's high nibble 1: an NFC Forum Type 1 tag.
  if ((hr0 & 0xF0) != 0x10) return false;
  uid.assign(buf, buf + 4);
  if (hr0_out) *hr0_out = hr0;
  if (hr1_out) *hr1_out = hr1;
  return true;
}

Bytes ReadTopazStatic(Context& ctx, const Bytes& uid) {
  unsigned char buf[ORVEX_MAX_ANSWER];
  int len = 0;
  Bytes u = uid;
  CheckCard(ctx.ov.OV_TOPAZ_ReadAll(ctx.reader_id, u.data(), &len, buf), "reading the tag's memory (RALL)", "the tag did not answer");
  if (len < 120) throw Failure("reading the tag's memory (RALL): " + std::to_string(len) + " of 120 bytes came back");
  return Bytes(buf, buf + 120);
}

namespace {

// Memory map of the static memory: block 00 holds the UID, 0D and 0F are
// reserved, 0E holds the lock bytes (70, 71) and the one-time programmable
// bytes (72 to 77). Bit i of lock byte 70 locks block i, bit i of 71 block
// 8 + i; a set lock bit can never be cleared.
constexpr int kLockBlock = 0x0E;
constexpr int kLock0 = 0x70, kLock1 = 0x71;
// A header ROM byte 0 of 12 (Topaz 512): 64 blocks, dynamic memory from block
// 10 on. Other Type 1 tags have the static memory only (blocks 00 to 0F).
constexpr unsigned char kHr0Dynamic = 0x12;
constexpr int kSegmentBytes = 128;

struct TopazTag {
  Bytes uid;
  unsigned char hr0 = 0, hr1 = 0;
  int blocks() const { return hr0 == kHr0Dynamic ? 64 : 16; }
};

TopazTag FindTag(Context& ctx) {
  ctx.Open();
  // A Topaz takes no part in the anticollision, but answers only once a
  // request has woken it: the field is switched off and on, then a WUPA
  // wakes every tag (its answer, from whatever cards are in the field, is
  // of no use here).
  ResetField(ctx, "looking for a Topaz tag");
  unsigned short atqa = 0;
  constexpr unsigned char kWupa = 0x52;
  ctx.ov.OV_RequestCard(ctx.reader_id, kWupa, &atqa);
  TopazTag t;
  if (!FindTopaz(ctx, t.uid, &t.hr0, &t.hr1)) throw Failure("no Topaz tag in the field");
  if (!ctx.uid().empty() && ctx.uid() != t.uid)
    throw Failure("no Topaz tag with UID " + Hex(ctx.uid()) + " in the field (the tag in it is " + Hex(t.uid) + ")");
  return t;
}

std::string Hex1(unsigned char b) { return Hex(&b, 1); }

bool LockedBy(const Bytes& static_memory, int block) {
  if (block >= 16) return false;
  int lock = block < 8 ? static_memory[kLock0] : static_memory[kLock1];
  return ((lock >> (block % 8)) & 1) != 0;
}

// The dynamic lock bits of a tag with dynamic memory (from byte 80, block
// 10, on): where its Lock Control TLV puts them, or, without one, where
// the Topaz 512 keeps them: bytes 7A to 7F of block 0F, 48 bits, each
// locking one block.
struct DynamicLocks {
  // The Topaz 512's own Lock Control TLV value: byte 7A, 48 bits, 8 bytes
  // a bit.
  orvex::ndef::ControlTlv tlv = orvex::ndef::DecodeControlTlv(true, 0xF2, 0x30, 0x33);
  bool from_tlv = false;
};

// The Lock Control TLV is the one the NDEF layer finds before the NDEF
// Message TLV in the static memory's data area (bytes 0C to 67, after the
// capability container); a tag not formatted for NDEF has the default.
DynamicLocks DynamicLocksOf(const Bytes& static_memory) {
  DynamicLocks d;
  if (static_memory[8] != 0xE1) return d;
  constexpr long kArea = 12, kEnd = 0x68;  // the data blocks 01 to 0C
  try {
    const auto layout = orvex::ndef::ParseLayout(Bytes(static_memory.begin() + kArea, static_memory.begin() + kEnd), kArea);
    for (const auto& c : layout.controls)
      if (c.lock) {
        d.tlv = c;
        d.from_tlv = true;
        break;
      }
  } catch (const orvex::ndef::Error&) {
  }
  return d;
}

// Whether a dynamic lock bit (lock: the lock bytes) covers a byte of block.
bool DynamicallyLocked(const DynamicLocks& d, const Bytes& lock, int block) {
  for (int byte = block * 8; byte < block * 8 + 8; ++byte) {
    if (byte < 0x80) return false;
    const size_t bit = static_cast<size_t>(byte - 0x80) / d.tlv.bytes_per_bit;
    if (bit < d.tlv.bits && bit / 8 < lock.size() && ((lock[bit / 8] >> (bit % 8)) & 1))
      return true;
  }
  return false;
}

Bytes ReadBlock(Context& ctx, const TopazTag& tag, int block);

// The dynamic lock bytes, read block by block (READ8).
Bytes ReadDynamicLocks(Context& ctx, const TopazTag& tag, const DynamicLocks& d) {
  Bytes blocks;
  const size_t first = d.tlv.address / 8, last = (d.tlv.address + d.tlv.bytes - 1) / 8;
  if (last >= static_cast<size_t>(tag.blocks()))
    throw Failure("the Lock Control TLV of tag " + Hex(tag.uid) + " puts the dynamic lock bits at byte " +
                  std::to_string(d.tlv.address) + ", past the tag's memory; nothing was written");
  for (size_t b = first; b <= last; ++b) {
    Bytes one = ReadBlock(ctx, tag, static_cast<int>(b));
    blocks.insert(blocks.end(), one.begin(), one.end());
  }
  const auto from = blocks.begin() + static_cast<long>(d.tlv.address - first * 8);
  return Bytes(from, from + static_cast<long>(d.tlv.bytes));
}

// "7A-7F"
std::string ByteRange(const DynamicLocks& d) {
  char text[40];
  std::snprintf(text, sizeof text, "%02zX-%02zX", d.tlv.address, d.tlv.address + d.tlv.bytes - 1);
  return text;
}

// Why a write to block is refused without --force, "" when it is not.
std::string Protected(const TopazTag& tag, int block) {
  if (block == 0) return "block 00 holds the UID";
  if (block == kLockBlock) return "block 0E holds the lock bits and the one-time programmable bytes; set bits there cannot be cleared";
  if (block == 0x0F && tag.blocks() > 16)
    return "block 0F holds the dynamic lock bits (bytes 7A-7F); set bits there cannot be cleared";
  if (block == 0x0D || block == 0x0F) return "block " + Hex1(static_cast<unsigned char>(block)) + " is reserved";
  return "";
}

// Before any write: the block is on the tag, not locked (by a static or a
// dynamic lock bit), and not in the UID/lock/reserved area unless forced.
void CheckWritable(Context& ctx, const TopazTag& tag, int block, bool force, const std::string& what) {
  if (block >= tag.blocks())
    throw Failure(what + ": the tag " + Hex(tag.uid) + " has blocks 00 to " +
                  Hex1(static_cast<unsigned char>(tag.blocks() - 1)) + " only");
  Bytes memory = ReadTopazStatic(ctx, tag.uid);
  if (LockedBy(memory, block))
    throw Failure(what + ": block " + Hex1(static_cast<unsigned char>(block)) + " of tag " + Hex(tag.uid) +
                  " is locked (lock bytes " + Hex(memory.data() + kLock0, 2) + "); nothing was written");
  if (block >= 0x10) {
    const DynamicLocks d = DynamicLocksOf(memory);
    const Bytes lock = ReadDynamicLocks(ctx, tag, d);
    if (DynamicallyLocked(d, lock, block))
      throw Failure(what + ": block " + Hex1(static_cast<unsigned char>(block)) + " of tag " + Hex(tag.uid) +
                    " is locked (dynamic lock bytes " + ByteRange(d) + ": " + Hex(lock) +
                    (d.from_tlv ? ", where its Lock Control TLV puts them" : "") + "); nothing was written");
  }
  std::string why = Protected(tag, block);
  if (!why.empty() && !force)
    throw Failure(what + ": " + why + "; nothing was written (give --force to write it anyway)", 2);
}

unsigned char ReadByte(Context& ctx, const TopazTag& tag, int address) {
  Bytes uid = tag.uid;
  unsigned char value = 0;
  const std::string what = "reading byte " + Hex1(static_cast<unsigned char>(address));
  CheckCard(ctx.ov.OV_TOPAZ_ReadByte(ctx.reader_id, uid.data(), static_cast<unsigned char>(address / 8),
                                     static_cast<unsigned char>(address % 8), &value),
            what, "the tag did not answer");
  // The reader's answer: its echo 00, then the tag's address and byte; any
  // other answer leaves the byte unread.
  if (LastAnswerLength() != 3)
    throw Failure(what + ": the answer has " + std::to_string(LastAnswerLength() - 1) + " bytes after the reader's echo, not address and byte");
  return value;
}

Bytes ReadBlock(Context& ctx, const TopazTag& tag, int block) {
  Bytes uid = tag.uid;
  unsigned char data[8];
  const std::string what = "reading block " + Hex1(static_cast<unsigned char>(block));
  CheckCard(ctx.ov.OV_TOPAZ_ReadBlock(ctx.reader_id, uid.data(), static_cast<unsigned char>(block), data), what, "the tag did not answer");
  // The reader's echo 00, the block number and the block's 8 bytes.
  if (LastAnswerLength() != 10)
    throw Failure(what + ": the answer has " + std::to_string(LastAnswerLength() - 1) + " bytes after the reader's echo, not block and 8 bytes");
  return Bytes(data, data + 8);
}

void Describe(Context& ctx, const TopazTag& tag) {
  Json& d = ctx.out().doc();
  d["uid"] = Hex(tag.uid);
  d["hr0"] = Hex1(tag.hr0);
  d["hr1"] = Hex1(tag.hr1);
}

// ---- topaz read ----------------------------------------------------------------

void ReadAllCommand(Context& ctx) {
  TopazTag tag = FindTag(ctx);
  Bytes memory = ReadTopazStatic(ctx, tag.uid);
  if (tag.blocks() > 16) {
    // The static memory's reserved block 0F, then the dynamic memory, by
    // segments of 128 bytes (RSEG); segment 0 is the static memory.
    memory.resize(kSegmentBytes);
    Bytes uid = tag.uid;
    for (int s = 1; s < tag.blocks() * 8 / kSegmentBytes; ++s) {
      unsigned char buf[ORVEX_MAX_ANSWER];
      int len = 0;
      const std::string what = "reading segment " + std::to_string(s);
      CheckCard(ctx.ov.OV_TOPAZ_ReadSegment(ctx.reader_id, uid.data(), static_cast<unsigned char>(s), &len, buf),
                what, "the tag did not answer");
      if (len != kSegmentBytes)
        throw Failure(what + ": " + std::to_string(len) + " of " + std::to_string(kSegmentBytes) + " bytes came back");
      memory.insert(memory.end(), buf, buf + len);
    }
    // Block 0F is not in RALL's answer: read on its own.
    Bytes b = ReadBlock(ctx, tag, 0x0F);
    std::copy(b.begin(), b.end(), memory.begin() + 0x0F * 8);
  } else {
    Bytes b(8);
    for (int i = 0; i < 8; ++i) b[static_cast<size_t>(i)] = ReadByte(ctx, tag, 0x78 + i);
    memory.insert(memory.end(), b.begin(), b.end());
  }
  Describe(ctx, tag);
  ctx.out().Line("Topaz " + Hex(tag.uid) + ", header ROM " + Hex1(tag.hr0) + " " + Hex1(tag.hr1) + ", " +
                 std::to_string(tag.blocks()) + " blocks of 8 bytes, lock bytes " +
                 Hex(memory.data() + kLock0, 2));
  Json blocks = Json::array(), locked = Json::array();
  const DynamicLocks dyn = DynamicLocksOf(memory);
  Bytes dyn_lock;
  if (tag.blocks() > 16 && dyn.tlv.address + dyn.tlv.bytes <= memory.size())
    dyn_lock.assign(memory.begin() + static_cast<long>(dyn.tlv.address),
                    memory.begin() + static_cast<long>(dyn.tlv.address + dyn.tlv.bytes));
  for (int b = 0; b < tag.blocks(); ++b) {
    std::string hex = Hex(memory.data() + b * 8, 8);
    bool is_locked = LockedBy(memory, b) || DynamicallyLocked(dyn, dyn_lock, b);
    if (is_locked) locked.push_back(b);
    blocks.push_back({{"block", b}, {"data", hex}});
    char label[24];
    std::snprintf(label, sizeof label, "block %02X: ", b);
    std::string note = b == 0                                 ? "  UID"
                       : b == kLockBlock                      ? "  lock, OTP"
                       : b == 0x0F && tag.blocks() > 16       ? "  dynamic lock"
                       : (b == 0x0D || b == 0x0F)             ? "  reserved"
                                                              : "";
    ctx.out().Line(label + hex + note + (is_locked ? "  locked" : ""));
  }
  Json& d = ctx.out().doc();
  d["blocks"] = tag.blocks();
  d["locked_blocks"] = locked;
  d["memory"] = blocks;
}

// ---- bytes and blocks ----------------------------------------------------------

struct ByteOptions {
  int address = 0;
  std::string data;
  bool force = false;
};

void ReadByteCommand(Context& ctx, const ByteOptions& o) {
  TopazTag tag = FindTag(ctx);
  unsigned char v = ReadByte(ctx, tag, o.address);
  Describe(ctx, tag);
  ctx.out().doc()["address"] = o.address;
  ctx.out().doc()["data"] = Hex1(v);
  ctx.out().Line("byte " + Hex1(static_cast<unsigned char>(o.address)) + ": " + Hex1(v));
}

// Erases and writes one byte (WRITE-E), then reads it back.
void WriteByteCommand(Context& ctx, const ByteOptions& o) {
  Bytes value = ParseHex(o.data, "topaz write-byte");
  if (value.size() != 1) throw Failure("topaz write-byte: give one byte (2 hex digits), not " + std::to_string(value.size()), 2);
  TopazTag tag = FindTag(ctx);
  const std::string addr = Hex1(static_cast<unsigned char>(o.address));
  CheckWritable(ctx, tag, o.address / 8, o.force, "writing byte " + addr);
  unsigned char before = ReadByte(ctx, tag, o.address), echoed = 0;
  Bytes uid = tag.uid;
  CheckCard(ctx.ov.OV_TOPAZ_WriteByteAfterErase(ctx.reader_id, uid.data(), static_cast<unsigned char>(o.address / 8),
                                                static_cast<unsigned char>(o.address % 8), value[0], &echoed),
            "writing byte " + addr,
            "the tag refused the write or left the field; the byte may hold its old value " + Hex1(before) +
                ", the new one or neither");
  const unsigned char back = ReadBack("byte " + addr, value, [&] { return Bytes{ReadByte(ctx, tag, o.address)}; })[0];
  Describe(ctx, tag);
  Json& d = ctx.out().doc();
  d["address"] = o.address;
  d["previous"] = Hex1(before);
  d["data"] = Hex1(back);
  ctx.Done("wrote byte " + addr + " of Topaz " + Hex(tag.uid) + ": " + Hex1(before) + " -> " + Hex1(back) +
           " (read back)");
}

struct BlockOptions {
  int block = 0;
  std::vector<std::string> data;
  bool force = false;
};

void ReadBlockCommand(Context& ctx, const BlockOptions& o) {
  TopazTag tag = FindTag(ctx);
  if (o.block >= tag.blocks())
    throw Failure("reading block " + Hex1(static_cast<unsigned char>(o.block)) + ": the tag " + Hex(tag.uid) +
                  " has blocks 00 to " + Hex1(static_cast<unsigned char>(tag.blocks() - 1)) + " only");
  Bytes data = ReadBlock(ctx, tag, o.block);
  Describe(ctx, tag);
  ctx.out().doc()["block"] = o.block;
  ctx.out().doc()["data"] = Hex(data);
  ctx.out().Line("block " + Hex1(static_cast<unsigned char>(o.block)) + ": " + Hex(data));
}

// Erases and writes 8 bytes (WRITE-E8), then reads the block back.
void WriteBlockCommand(Context& ctx, const BlockOptions& o) {
  Bytes data = ParseHexArgs(o.data, "topaz write-block");
  if (data.size() != 8) throw Failure("topaz write-block: a block holds 8 bytes; " + std::to_string(data.size()) + " given", 2);
  TopazTag tag = FindTag(ctx);
  const std::string blk = Hex1(static_cast<unsigned char>(o.block));
  CheckWritable(ctx, tag, o.block, o.force, "writing block " + blk);
  Bytes before = ReadBlock(ctx, tag, o.block), uid = tag.uid;
  unsigned char echoed[8];
  CheckCard(ctx.ov.OV_TOPAZ_WriteBlockAfterErase(ctx.reader_id, uid.data(), static_cast<unsigned char>(o.block),
                                                 data.data(), echoed),
            "writing block " + blk,
            "the tag refused the write or left the field; the block may hold its old bytes " + Hex(before) +
                ", the new ones or neither");
  Bytes back = ReadBack("block " + blk, data, [&] { return ReadBlock(ctx, tag, o.block); });
  Describe(ctx, tag);
  Json& d = ctx.out().doc();
  d["block"] = o.block;
  d["previous"] = Hex(before);
  d["data"] = Hex(back);
  ctx.Done("wrote block " + blk + " of Topaz " + Hex(tag.uid) + ": " + Hex(back) + " (read back)");
}

}  // namespace

void AddTopazCommands(CLI::App& app, Context& ctx) {
  auto* t = app.add_subcommand("topaz", "Topaz (NFC Forum Type 1) tags: read and write bytes and blocks");
  t->require_subcommand(1);
  auto* r = t->add_subcommand("read", "header ROM and every block of the tag, with its lock bits");
  ctx.Register(r, [&ctx] { ReadAllCommand(ctx); });

  static ByteOptions rb, wb;
  rb = ByteOptions(); wb = ByteOptions();
  auto* rbc = t->add_subcommand("read-byte", "read one byte of blocks 00 to 0F");
  rbc->add_option("ADDR", rb.address, "byte address, 0 to 127 (0x00 to 0x7F)")->required()->check(CLI::Range(0, 0x7F));
  ctx.Register(rbc, [&ctx] { ReadByteCommand(ctx, rb); });
  auto* wbc = t->add_subcommand("write-byte", "erase and write one byte of blocks 00 to 0F, and read it back");
  wbc->add_option("ADDR", wb.address, "byte address, 0 to 127 (0x00 to 0x7F)")->required()->check(CLI::Range(0, 0x7F));
  wbc->add_option("HEX", wb.data, "the byte, 2 hex digits")->required();
  wbc->add_flag("--force", wb.force, "write the UID, lock/OTP or reserved blocks too");
  ctx.Register(wbc, [&ctx] { WriteByteCommand(ctx, wb); });

  static BlockOptions rk, wk;
  rk = BlockOptions(); wk = BlockOptions();
  auto* rkc = t->add_subcommand("read-block", "read one 8-byte block");
  rkc->add_option("BLOCK", rk.block, "block number, 0 to 63 (0x00 to 0x3F)")->required()->check(CLI::Range(0, 0x3F));
  ctx.Register(rkc, [&ctx] { ReadBlockCommand(ctx, rk); });
  auto* wkc = t->add_subcommand("write-block", "erase and write one 8-byte block, and read it back");
  wkc->add_option("BLOCK", wk.block, "block number, 0 to 63 (0x00 to 0x3F)")->required()->check(CLI::Range(0, 0x3F));
  wkc->add_option("HEX", wk.data, "the block's 8 bytes in hex")->required();
  wkc->add_flag("--force", wk.force, "write the UID, lock/OTP or reserved blocks too");
  ctx.Register(wkc, [&ctx] { WriteBlockCommand(ctx, wk); });
}

}  // namespace orvextool
