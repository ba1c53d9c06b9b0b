// SPDX-License-Identifier: MIT
// Subcommands on MIFARE Plus cards: info, perso, commit, switch-level, read,
// write. A card leaves the factory at security level 0, where it takes its
// personalisation (block data, AES keys); commit moves it to level 1 for
// good, and the level-switch keys move it on to level 2 or 3, where blocks
// are read and written after an AES authentication of their sector, and
// value blocks kept (value get, init, inc, dec, backup).
#include <algorithm>
#include <climits>

#include "commands.h"
#include "iso14443a.h"
#include "mifare_classic.h"

namespace orvextool {

namespace {
constexpr int kBlocks = 256;
// The AES key of sector S: key A at 0x4000 + 2 S, key B one after.
constexpr int kSectorKeys = 0x4000;

// The sectors lie as on a MIFARE Classic 4K: 32 of 4 blocks, then 8 of 16.
// The block after the sector of block.
int SectorEnd(int block) { return FirstBlock(SectorOf(block)) + BlocksIn(SectorOf(block)); }

TypeACardInfo SelectPlus(Context& ctx) {
  ctx.Open();
  TypeACardInfo card;
  if (!SelectChosenTypeA(ctx, card)) throw Failure(ctx.NoCard());
  if (card.sak != 0x20 && card.sak != 0x18)
    throw Failure("the card " + Hex(card.uid) + " (" + card.Kind() + ") is not a MIFARE Plus");
  return card;
}

std::string Refusal(const std::string& why) {
  const std::string link = LastLinkFailure();
  return why + (link.empty() ? "" : " (" + link + ")");
}

Bytes AesKey(const std::string& given, const std::string& what) {
  Bytes key = KeyFromOption(given, what);
  if (key.size() != 16) throw Failure(what + ": an AES key is 16 bytes (32 hex digits)", 2);
  return key;
}

void Info(Context& ctx) {
  TypeACardInfo card = SelectPlus(ctx);
  Output& out = ctx.out();
  out.Field("uid", "UID", Hex(card.uid), Hex(card.uid));
  char atqa[8], sak[8];
  std::snprintf(atqa, sizeof atqa, "%04X", card.atqa);
  std::snprintf(sak, sizeof sak, "%02X", card.sak);
  out.Field("atqa", "ATQA", atqa, atqa);
  out.Field("sak", "SAK", sak, sak);
  // The SAK tells level 1 (where the card acts as a MIFARE Classic 4K) from
  // the others; levels 0, 2 and 3 answer alike.
  Json levels = card.sak == 0x18 ? Json::array({1}) : Json::array({0, 2, 3});
  out.doc()["security_levels"] = levels;
  out.Line(card.sak == 0x18 ? "security level: 1 (acts as a MIFARE Classic 4K)"
                            : "security level: 0, 2 or 3 (the SAK does not tell them apart)");
}

void Perso(Context& ctx, const std::string& addr_text, const std::string& hex) {
  Bytes addr = ParseHex(addr_text, "mfplus perso ADDR");
  if (addr.size() != 2) throw Failure("mfplus perso: ADDR is 2 bytes in hex (e.g. 4000)", 2);
  Bytes data = ParseHex(hex, "mfplus perso");
  if (data.size() != 16) throw Failure("mfplus perso: the data are 16 bytes (32 hex digits)", 2);
  TypeACardInfo card = SelectPlus(ctx);
  int address = addr[0] << 8 | addr[1];
  CheckCard(ctx.ov.OV_MFP_L0_WritePerso(ctx.reader_id, address, data.data()),
            "writing " + Hex(addr) + " at security level 0",
            Refusal("the card refused (not at security level 0?)"));
  ctx.out().doc()["uid"] = Hex(card.uid);
  ctx.out().doc()["address"] = Hex(addr);
  ctx.Done("wrote " + Hex(addr) + " of " + Hex(card.uid) + " (takes effect with orvex mfplus commit)");
}

void Commit(Context& ctx, bool yes) {
  TypeACardInfo card = SelectPlus(ctx);
  if (!yes)
    throw Failure("nothing was committed: commit moves " + Hex(card.uid) +
                      " from security level 0 to level 1 for good (its personalisation can no longer change); "
                      "add --yes to commit",
                  2);
  CheckCard(ctx.ov.OV_MFP_L0_CommitPerso(ctx.reader_id), "committing the personalisation",
            Refusal("the card refused (not at security level 0?)"));
  ctx.out().doc()["uid"] = Hex(card.uid);
  ctx.out().doc()["level"] = 1;
  ctx.Done("committed: " + Hex(card.uid) + " is at security level 1");
}

void SwitchLevel(Context& ctx, int level, const std::string& key_text, bool yes) {
  Bytes key = AesKey(key_text, "--key");
  TypeACardInfo card = SelectPlus(ctx);
  if (!yes)
    throw Failure("nothing was switched: a card never returns to a lower security level; add --yes to switch " +
                      Hex(card.uid) + " to level " + std::to_string(level),
                  2);
  CheckCard(ctx.ov.OV_MFP_SwitchToLevel(ctx.reader_id, level, key.data()),
            "switching to security level " + std::to_string(level),
            Refusal("the card refused (wrong switch key, or not at a lower level)"));
  ctx.out().doc()["uid"] = Hex(card.uid);
  ctx.out().doc()["level"] = level;
  ctx.Done(Hex(card.uid) + " is at security level " + std::to_string(level));
}

struct BlockOptions {
  int block = 0, count = 1;
  std::string key;
  bool key_b = false;
};

// Selects the card and authenticates the sector of o.block; the blocks
// must lie in that one sector.
TypeACardInfo Authenticated(Context& ctx, const BlockOptions& o, int count, const std::string& verb) {
  if (o.block + count > kBlocks || o.block + count > SectorEnd(o.block))
    throw Failure("mfplus " + verb + ": blocks " + std::to_string(o.block) + " to " +
                      std::to_string(o.block + count - 1) + " are not all in sector " +
                      std::to_string(SectorOf(o.block)),
                  2);
  Bytes key = AesKey(o.key, "--key");
  TypeACardInfo card = SelectPlus(ctx);
  int sector = SectorOf(o.block);
  CheckCard(ctx.ov.OV_MFP_Authorization_First(ctx.reader_id, kSectorKeys + 2 * sector + (o.key_b ? 1 : 0),
                                             key.data()),
            "authenticating sector " + std::to_string(sector),
            Refusal(std::string("wrong key ") + (o.key_b ? "B" : "A") + ", or the card is not at level 2 or 3"));
  return card;
}

Bytes ReadBlocks(Context& ctx, int block, int count) {
  int len = 0;
  unsigned char buf[ORVEX_MAX_ANSWER];
  std::string what = "reading blocks " + std::to_string(block) + " to " + std::to_string(block + count - 1);
  CheckCard(ctx.ov.OV_MFP_CommonRead(ctx.reader_id, block, count, &len, buf), what,
            Refusal("the card refused"));
  if (len != 16 * count) throw Failure(what + ": " + std::to_string(len) + " bytes came back");
  return Bytes(buf, buf + len);
}

void Read(Context& ctx, const BlockOptions& o) {
  TypeACardInfo card = Authenticated(ctx, o, o.count, "read");
  Bytes data = ReadBlocks(ctx, o.block, o.count);
  Json blocks = Json::array();
  for (int i = 0; i < o.count; ++i) {
    std::string hex = Hex(&data[static_cast<size_t>(i) * 16], 16);
    blocks.push_back(hex);
    char label[24];
    std::snprintf(label, sizeof label, "block %3d: ", o.block + i);
    ctx.out().Line(label + hex);
  }
  ctx.out().doc()["uid"] = Hex(card.uid);
  ctx.out().doc()["block"] = o.block;
  ctx.out().doc()["blocks"] = blocks;
}

void Write(Context& ctx, const BlockOptions& o, const std::string& hex) {
  Bytes data = ParseHex(hex, "mfplus write");
  if (data.empty() || data.size() % 16)
    throw Failure("mfplus write: the data are whole 16-byte blocks (32 hex digits each)", 2);
  int count = static_cast<int>(data.size() / 16);
  if (o.block == 0) throw Failure("mfplus write: block 0 holds the UID and the manufacturer's data; it cannot be written", 2);
  TypeACardInfo card = Authenticated(ctx, o, count, "write");
  std::string what = "writing blocks " + std::to_string(o.block) + " to " + std::to_string(o.block + count - 1);
  CheckCard(ctx.ov.OV_MFP_CommonWrite(ctx.reader_id, o.block, count, data.data()), what,
            Refusal("the card refused; nothing was written"));
  Bytes back;
  try {
    back = ReadBlocks(ctx, o.block, count);
  } catch (const Failure& f) {
    throw Failure(what + ": the card took them, but the read-back failed (" + f.what() + ")");
  }
  if (back != data) throw Failure(what + ": they read back otherwise");
  ctx.out().doc()["uid"] = Hex(card.uid);
  ctx.out().doc()["block"] = o.block;
  ctx.out().doc()["count"] = count;
  ctx.Done("wrote " + std::to_string(count) + " block(s) from " + std::to_string(o.block) + " of " + Hex(card.uid) +
           " and read them back");
}

// ---- value blocks ---------------------------------------------------------------

enum class ValueOp { kGet, kInit, kInc, kDec, kBackup };

struct ValueOptions {
  BlockOptions at;
  long long amount = 0;
  int to = -1;  // backup: the block the value is copied to
};

const char* ValueOpWord(ValueOp op) {
  switch (op) {
    case ValueOp::kGet: return "get";
    case ValueOp::kInit: return "init";
    case ValueOp::kInc: return "inc";
    case ValueOp::kDec: return "dec";
    default: return "backup";
  }
}

// Block block read and decoded as a value block, or a Failure that says
// why it is none (more: what follows, such as ". Nothing was written").
orvexformats::ValueBlock ReadValue(Context& ctx, const TypeACardInfo& card, int block, Bytes& data,
                                   const std::string& more) {
  data = ReadBlocks(ctx, block, 1);
  orvexformats::ValueBlock v;
  const std::string why = orvexformats::DecodeValueBlock(data.data(), v);
  if (!why.empty())
    throw Failure("block " + std::to_string(block) + " of " + Hex(card.uid) + " is not a value block: " + why +
                  " (it holds " + Hex(data) + ")" + more);
  return v;
}

void Value(Context& ctx, ValueOp op, const ValueOptions& o) {
  const std::string verb = std::string("value ") + ValueOpWord(op), what = "mfplus " + verb;
  const int block = o.at.block;
  CheckValueBlockNumber(block, what);
  const int to = op == ValueOp::kBackup ? o.to : block;
  if (op == ValueOp::kBackup) {
    if (to == block) throw Failure(what + ": --to names block " + std::to_string(block) + " itself; give another block of sector " + std::to_string(SectorOf(block)), 2);
    CheckValueBlockNumber(to, what + " --to");
    if (SectorOf(to) != SectorOf(block))
      throw Failure(what + ": --to " + std::to_string(to) + " is in sector " + std::to_string(SectorOf(to)) +
                        ", not in sector " + std::to_string(SectorOf(block)) + " with block " +
                        std::to_string(block) + ": the card copies a value within one sector",
                    2);
  }
  if (op == ValueOp::kInit && (o.amount < INT32_MIN || o.amount > INT32_MAX))
    throw Failure(what + ": a value block holds -2147483648 to 2147483647, not " + std::to_string(o.amount), 2);
  if ((op == ValueOp::kInc || op == ValueOp::kDec) && (o.amount < 0 || o.amount > INT32_MAX))
    throw Failure(what + ": the amount is 0 to 2147483647, not " + std::to_string(o.amount), 2);
  const TypeACardInfo card = Authenticated(ctx, o.at, 1, verb);
  const std::string of = "block " + std::to_string(block) + " of " + Hex(card.uid);
  Json& d = ctx.out().doc();
  d["uid"] = Hex(card.uid);
  d["block"] = block;
  Bytes data;

  if (op == ValueOp::kGet) {
    const orvexformats::ValueBlock v = ReadValue(ctx, card, block, data, "");
    // The card's own reading of the value must agree with the block's bytes.
    int purse = 0;
    CheckCard(ctx.ov.OV_MFP_L3_Purse_Read(ctx.reader_id, block, &purse), "reading the value of block " + std::to_string(block),
              Refusal("the card refused"));
    if (purse != v.value)
      throw Failure(of + ": the card reads the value " + std::to_string(purse) + ", its bytes hold " +
                    std::to_string(v.value));
    d["value"] = v.value;
    d["address"] = v.address;
    d["data"] = Hex(data);
    char label[32];
    std::snprintf(label, sizeof label, "block %3d: ", block);
    ctx.out().Line(std::string(label) + "value " + ValueText(v));
    return;
  }

  if (op == ValueOp::kInit) {
    CheckCard(ctx.ov.OV_MFP_L3_Purse_Initial(ctx.reader_id, block, static_cast<int>(o.amount)),
              "formatting block " + std::to_string(block), Refusal("the card refused; nothing was written"));
    orvexformats::ValueBlock after;
    try {
      after = ReadValue(ctx, card, block, data, "");
    } catch (const Failure& f) {
      throw Failure(of + " was written, but reading it back failed: " + f.what());
    }
    if (after.value != o.amount)
      throw Failure(of + " reads back with value " + std::to_string(after.value) + ", not " + std::to_string(o.amount));
    d["value"] = after.value;
    d["address"] = after.address;
    d["data"] = Hex(data);
    ctx.Done(of + " is now a value block holding " + ValueText(after) + ": wrote " + Hex(data) +
             ", read back and checked");
    return;
  }

  // inc, dec, backup: the value before, checked; the result must stay in range.
  const orvexformats::ValueBlock before = ReadValue(ctx, card, block, data, ". Nothing was written");
  Bytes to_before;
  if (to != block) to_before = ReadBlocks(ctx, to, 1);
  const long long expect = op == ValueOp::kInc   ? static_cast<long long>(before.value) + o.amount
                           : op == ValueOp::kDec ? static_cast<long long>(before.value) - o.amount
                                                 : before.value;
  if (expect < INT32_MIN || expect > INT32_MAX)
    throw Failure(what + ": " + std::to_string(before.value) + (op == ValueOp::kInc ? " + " : " - ") +
                  std::to_string(o.amount) +
                  " leaves the range of a value block (-2147483648 to 2147483647). Nothing was written");
  const int amount = static_cast<int>(o.amount);
  const int rc = op == ValueOp::kInc   ? ctx.ov.OV_MFP_L3_Purse_Charge(ctx.reader_id, block, amount)
                 : op == ValueOp::kDec ? ctx.ov.OV_MFP_L3_Purse_Decrease(ctx.reader_id, block, amount)
                                       : ctx.ov.OV_MFP_L3_Purse_Backup(ctx.reader_id, block, to);
  CheckCard(rc, what + " of block " + std::to_string(block),
            Refusal(std::string("the card refused the ") +
                    (op == ValueOp::kInc ? "increment" : op == ValueOp::kDec ? "decrement" : "copy") +
                    "; nothing was written"));
  orvexformats::ValueBlock after;
  try {
    after = ReadValue(ctx, card, to, data, "");
  } catch (const Failure& f) {
    throw Failure("block " + std::to_string(to) + " of " + Hex(card.uid) + " was written, but reading it back failed: " + f.what());
  }
  if (after.value != expect)
    throw Failure("block " + std::to_string(to) + " of " + Hex(card.uid) + " reads back with value " +
                  std::to_string(after.value) + ", not " + std::to_string(expect));
  d["operation"] = ValueOpWord(op);
  if (op != ValueOp::kBackup) d["amount"] = o.amount;
  d["to"] = to;
  d["before"] = before.value;
  d["after"] = after.value;
  d["address"] = after.address;
  std::string line = of + ": value " + std::to_string(before.value);
  if (op == ValueOp::kInc) line += " + " + std::to_string(o.amount) + " = " + std::to_string(after.value);
  if (op == ValueOp::kDec) line += " - " + std::to_string(o.amount) + " = " + std::to_string(after.value);
  if (op == ValueOp::kBackup) {
    orvexformats::ValueBlock old;
    const bool was_value = orvexformats::DecodeValueBlock(to_before.data(), old).empty();
    line += " copied to block " + std::to_string(to) + " (it held " +
            (was_value ? "value " + std::to_string(old.value) : Hex(to_before)) + ")";
  }
  ctx.Done(line + ", read back");
}

}  // namespace

void AddMifarePlusCommands(CLI::App& app, Context& ctx) {
  auto* plus = app.add_subcommand("mfplus", "MIFARE Plus cards");
  plus->require_subcommand(1);

  auto* info = plus->add_subcommand("info", "UID, ATQA, SAK and the security level they tell");
  ctx.Register(info, [&ctx] { Info(ctx); });

  static std::string perso_addr, perso_hex;
  perso_addr = std::string(); perso_hex = std::string();
  auto* perso = plus->add_subcommand("perso", "security level 0: write 16 bytes to card address ADDR");
  perso->add_option("ADDR", perso_addr, "2 bytes in hex: a block (0000-00FF), a sector key (4000-404F), "
                                        "a switch key (9001 level 2, 9003 level 3)")
      ->required();
  perso->add_option("HEX", perso_hex, "16 bytes, in hex")->required();
  ctx.Register(perso, [&ctx] { Perso(ctx, perso_addr, perso_hex); });

  static bool commit_yes;
  commit_yes = false;
  auto* commit = plus->add_subcommand("commit", "end the personalisation: level 0 to level 1 (irreversible: --yes)");
  commit->add_flag("--yes", commit_yes, "commit (without it nothing is sent)");
  ctx.Register(commit, [&ctx] { Commit(ctx, commit_yes); });

  static int switch_level;
  switch_level = 3;
  static std::string switch_key;
  switch_key = std::string();
  static bool switch_yes;
  switch_yes = false;
  auto* sw = plus->add_subcommand("switch-level", "move the card up to LEVEL 2 or 3 (irreversible: --yes)");
  sw->add_option("LEVEL", switch_level, "2 or 3")->required()->check(CLI::IsMember({2, 3}));
  sw->add_option("-k,--key", switch_key, "the level's switch key: @FILE, - (standard input) or hex")->required();
  sw->add_flag("--yes", switch_yes, "switch (without it nothing is sent)");
  ctx.Register(sw, [&ctx] { SwitchLevel(ctx, switch_level, switch_key, switch_yes); });

  static BlockOptions read_o, write_o;
  read_o = BlockOptions(); write_o = BlockOptions();
  static std::string write_hex;
  write_hex = std::string();
  auto* read = plus->add_subcommand("read", "level 2 or 3: read blocks of one sector after AES authentication");
  read->add_option("BLOCK", read_o.block, "first block (0 to 255)")->required()->check(CLI::Range(0, 255));
  read->add_option("COUNT", read_o.count, "how many blocks (default 1)")->check(CLI::Range(1, 16));
  read->add_option("-k,--key", read_o.key, "the sector's AES key: @FILE, - (standard input) or hex")->required();
  read->add_flag("-B,--key-b", read_o.key_b, "authenticate with key B (default key A)");
  ctx.Register(read, [&ctx] { Read(ctx, read_o); });

  auto* write = plus->add_subcommand("write", "level 2 or 3: write blocks of one sector, read them back");
  write->add_option("BLOCK", write_o.block, "first block (1 to 255)")->required()->check(CLI::Range(0, 255));
  write->add_option("HEX", write_hex, "whole 16-byte blocks, in hex")->required();
  write->add_option("-k,--key", write_o.key, "the sector's AES key: @FILE, - (standard input) or hex")->required();
  write->add_flag("-B,--key-b", write_o.key_b, "authenticate with key B (default key A)");
  ctx.Register(write, [&ctx] { Write(ctx, write_o, write_hex); });

  static ValueOptions value;
  value = ValueOptions();
  auto* v = plus->add_subcommand("value", "level 2 or 3: value blocks: get, init, inc, dec, backup");
  v->require_subcommand(1);
  struct ValueCommand {
    ValueOp op;
    const char* help;
  };
  for (const ValueCommand& c :
       {ValueCommand{ValueOp::kGet, "decode a value block: value, inverse and address byte checked"},
        ValueCommand{ValueOp::kInit, "format a block as a value block holding VALUE"},
        ValueCommand{ValueOp::kInc, "add AMOUNT to a value block"},
        ValueCommand{ValueOp::kDec, "subtract AMOUNT from a value block"},
        ValueCommand{ValueOp::kBackup, "copy a value block to --to BLOCK of the same sector"}}) {
    auto* sub = v->add_subcommand(ValueOpWord(c.op), c.help);
    sub->add_option("BLOCK", value.at.block, "the value block (1 to 255, no sector trailer)")
        ->required()
        ->check(CLI::Range(0, 255));
    if (c.op == ValueOp::kInit) sub->add_option("VALUE", value.amount, "the value, -2147483648 to 2147483647")->required();
    if (c.op == ValueOp::kInc || c.op == ValueOp::kDec)
      sub->add_option("AMOUNT", value.amount, "0 to 2147483647")->required();
    if (c.op == ValueOp::kBackup)
      sub->add_option("--to", value.to, "the block of the same sector the value is copied to")
          ->required()
          ->check(CLI::Range(0, 255));
    sub->add_option("-k,--key", value.at.key, "the sector's AES key: @FILE, - (standard input) or hex")->required();
    sub->add_flag("-B,--key-b", value.at.key_b, "authenticate with key B (default key A)");
    const ValueOp op = c.op;
    ctx.Register(sub, [&ctx, op] { Value(ctx, op, value); });
  }
}

}  // namespace orvextool
