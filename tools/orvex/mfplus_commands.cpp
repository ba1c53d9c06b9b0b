// SPDX-License-Identifier: MIT
// Subcommands on MIFARE Plus cards: info, perso, commit, switch-level, read,
// write. A card leaves the factory at security level 0, where it takes its
// personalisation (block data, AES keys); commit moves it to level 1 for
// good, and the level-switch keys move it on to level 2 or 3, where blocks
// are read and written after an AES authentication of their sector.
#include <algorithm>

#include "commands.h"
#include "iso14443a.h"

namespace orvextool {

namespace {
constexpr int kBlocks = 256;
// The AES key of sector S: key A at 0x4000 + 2 S, key B one after.
constexpr int kSectorKeys = 0x4000;

int SectorOf(int block) { return block < 128 ? block / 4 : 32 + (block - 128) / 16; }
int SectorEnd(int block) { return block < 128 ? (block / 4 + 1) * 4 : 128 + ((block - 128) / 16 + 1) * 16; }

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
}

}  // namespace orvextool
