// SPDX-License-Identifier: MIT
// Subcommands on MIFARE Classic cards: dump, restore, blocks, keys and access conditions.
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <iterator>
#include <sstream>

#include "commands.h"
#include "iso14443a.h"
#include "key_list.h"
#include "mifare_access.h"
#include "mifare_classic.h"
#include "mifare_dump.h"

namespace orvextool {

void CheckValueBlockNumber(int block, const std::string& what) {
  if (block == 0)
    throw Failure(what + ": block 0 holds the UID and manufacturer data, never a value. Nothing was written", 2);
  if (IsTrailer(block))
    throw Failure(what + ": block " + std::to_string(block) +
                      " is a sector trailer (keys and access bits), never a value. Nothing was written",
                  2);
}

std::string ValueText(const orvexformats::ValueBlock& v) {
  return std::to_string(v.value) + " (address byte " + Hex(&v.address, 1) + ")";
}

namespace {

// Adds the keys of a key list file (orvexformats::ParseKeyList) that the
// list does not hold yet.
void ReadKeyFile(const std::string& path, std::vector<Key>& keys) {
  constexpr size_t kMaxKeyFileBytes = 1 << 20;
  const Bytes text = ReadInput(path, "key file", kMaxKeyFileBytes);
  const std::string name = path == "-" ? "standard input" : path;
  try {
    if (orvexformats::ParseKeyList(std::string(text.begin(), text.end()), keys) == 0)
      throw Failure("the key file " + name + " holds no key", 2);
  } catch (const orvexformats::KeyListError& e) {
    throw Failure(name + ":" + std::to_string(e.line) + ": " + e.what(), 2);
  }
}

// The keys to try, in order: the key file given, then the key files of the
// configuration file, then (unless with_defaults is false) the publicly
// known default keys the user's files do not hold already. An empty list is
// a usage Failure unless allow_none (a restore also tries the dump's keys).
std::vector<Key> LoadKeys(const Context& ctx, const std::string& path, bool with_defaults, bool allow_none = false) {
  std::vector<Key> keys;
  if (!path.empty()) ReadKeyFile(path, keys);
  for (const std::string& file : ctx.key_files) ReadKeyFile(file, keys);
  if (with_defaults)
    for (const Key& k : DefaultKeys())
      if (std::find(keys.begin(), keys.end(), k) == keys.end()) keys.push_back(k);
  if (keys.empty() && !allow_none) throw Failure("no key to try: give a key file (-k) or leave out --no-default-keys", 2);
  return keys;
}

int Blocks(const TypeACardInfo& card, const std::string& size) {
  if (size == "1k") return 64;
  if (size == "4k") return 256;
  return card.sak == 0x18 ? 256 : 64;
}


TypeACardInfo SelectOrFail(Context& ctx, bool check_others = true) {
  TypeACardInfo card;
  if (!SelectChosenTypeA(ctx, card, check_others)) throw Failure(ctx.NoCard());
  return card;
}

bool AllZero(const uint8_t* p, size_t n) {
  for (size_t i = 0; i < n; ++i)
    if (p[i]) return false;
  return true;
}

struct DumpOptions {
  std::string file = "-", keys, size = "auto", format;
  bool default_keys = true;
  bool partial = false;  // sectors and blocks that cannot be read are recorded as unknown
};

std::string KeyText(bool have, const Key& k) { return have ? Hex(k.data(), 6) : "-"; }

// The format of a dump file: --format when given (hex only where allowed),
// else the file's name (".eml", ".json", anything else raw .mfd).
orvexformats::DumpFormat DumpFormatFor(const std::string& word, const std::string& file, bool hex_allowed) {
  orvexformats::DumpFormat f;
  if (word.empty()) return file == "-" && hex_allowed ? orvexformats::DumpFormat::kHex : orvexformats::FormatOfName(file);
  if (!orvexformats::FormatOfWord(word, f) || (f == orvexformats::DumpFormat::kHex && !hex_allowed))
    throw Failure(std::string("--format: \"") + word + "\" is not one of mfd, eml, json" + (hex_allowed ? ", hex" : ""), 2);
  return f;
}

Bytes TextBytes(const std::string& s) { return Bytes(s.begin(), s.end()); }

void Dump(Context& ctx, const DumpOptions& o) {
  using orvexformats::DumpFormat;
  const DumpFormat format = DumpFormatFor(o.format, o.file, true);
  const bool to_stdout = o.file == "-";
  if (to_stdout && format != DumpFormat::kHex && ctx.json)
    throw Failure("mfc dump: a " + std::string(orvexformats::FormatWord(format)) +
                      " dump and --json cannot share standard output: give a FILE",
                  2);
  std::vector<Key> keys = LoadKeys(ctx, o.keys, o.default_keys);
  // The files hold keys: readable by their owner only, and checked before
  // the card is read.
  std::unique_ptr<OutputFile> file, record;
  if (!to_stdout || format != DumpFormat::kHex) file = std::make_unique<OutputFile>(o.file, "dump file", 0600);
  if (!to_stdout && format == DumpFormat::kMfd)
    record = std::make_unique<OutputFile>(o.file + ".keys", "key record", 0600);
  ctx.Open();
  // The dump names its card (the summary, the listing's first line, the
  // JSON): the field is not asked for others.
  TypeACardInfo card = SelectOrFail(ctx, false);
  if (!card.IsClassic()) throw Failure("the card " + Hex(card.uid) + " is not a MIFARE Classic (SAK " +
                                       Hex(&card.sak, 1) + ")");
  const int blocks = Blocks(card, o.size);
  orvexformats::ClassicDump dump = orvexformats::ClassicDump::Unknown(blocks);
  dump.uid = card.uid;
  dump.atqa = card.atqa;
  dump.sak = card.sak;
  Classic mfc(ctx, card);
  Progress progress("dumping", Sectors(blocks));
  for (int s = 0; s < Sectors(blocks); ++s) {
    Key a{}, b{};
    bool have_a = mfc.FindKey(s, kKeyA, keys, a);
    // The key the card is authenticated with now: one authentication opens
    // every block of the sector that key may read.
    enum class Open { kNone, kA, kB } open = have_a ? Open::kA : Open::kNone;
    bool have_b = false;
    bool b_tried = false;
    auto find_b = [&] {
      if (!b_tried) {
        mfc.Reselect();
        have_b = mfc.FindKey(s, kKeyB, keys, b);
        open = have_b ? Open::kB : Open::kNone;
        b_tried = true;
      }
      return have_b;
    };
    const int first = FirstBlock(s), n = BlocksIn(s);
    if (!have_a && !find_b()) {
      if (!o.partial)
        throw Failure("authentication failed for sector " + std::to_string(s) + ": none of the " +
                      std::to_string(keys.size()) + " key(s) opens it (--partial dumps the other sectors)");
      mfc.Reselect();
    } else {
      auto read_with = [&](Open with, const Key& key, int block, uint8_t* out) {
        if (open != with) {
          mfc.Reselect();
          open = mfc.Auth(s, with == Open::kA ? kKeyA : kKeyB, key) ? with : Open::kNone;
          if (open == Open::kNone) return false;
        }
        if (mfc.Read(block, out)) return true;
        open = Open::kNone;  // a refusal leaves the card idle
        return false;
      };
      for (int i = 0; i < n; ++i) {
        const int block = first + i;
        uint8_t got[16];
        bool ok = have_a && read_with(Open::kA, a, block, got);
        if (!ok && find_b()) ok = read_with(Open::kB, b, block, got);
        if (ok) {
          // A trailer reads back with key A hidden, and key B hidden unless
          // the access conditions show it: the keys found take their places.
          if (i < n - 1) dump.Set(block, 0, got, 16);
          else {
            dump.Set(block, 6, got + 6, 4);
            if (!AllZero(got + 10, 6)) dump.Set(block, 10, got + 10, 6);
          }
          continue;
        }
        if (!o.partial)
          throw Failure("reading block " + std::to_string(block) + " of sector " + std::to_string(s) +
                        ": the card refused it with the keys found");
      }
      // A key B the trailer shows (readable, it is data and reads as
      // itself) is in the dump already; only a hidden one is searched for,
      // so that the record says which keys are known.
      if (!b_tried && !dump.KeyKnown(s, true)) find_b();
      if (have_a) dump.Set(first + n - 1, 0, a.data(), 6);
      if (have_b) dump.Set(first + n - 1, 10, b.data(), 6);
    }
    progress.Step(s + 1);
  }
  Json sectors = Json::array();
  for (int s = 0; s < Sectors(blocks); ++s) {
    const uint8_t* t = dump.block(TrailerOf(s));
    sectors.push_back({{"sector", s},
                       {"key_a", dump.KeyKnown(s, false) ? Json(Hex(t, 6)) : Json(nullptr)},
                       {"key_b", dump.KeyKnown(s, true) ? Json(Hex(t + 10, 6)) : Json(nullptr)}});
  }
  const std::vector<int> unknown = dump.UnknownBlocks();
  switch (format) {
    case DumpFormat::kMfd: file->Commit(orvexformats::ToMfd(dump)); break;
    case DumpFormat::kEml: file->Commit(TextBytes(orvexformats::ToEml(dump))); break;
    case DumpFormat::kJson: file->Commit(TextBytes(orvexformats::ToJson(dump))); break;
    case DumpFormat::kHex:
      if (file) file->Commit(TextBytes(orvexformats::ToListing(dump)));
      else {
        std::istringstream lines(orvexformats::ToListing(dump));
        for (std::string line; std::getline(lines, line);) ctx.out().Line(line);
      }
      break;
  }
  if (record) record->Commit(TextBytes(orvexformats::ToKeyRecord(dump)));
  if (!to_stdout)
    for (const auto& sec : sectors)
      ctx.out().Line("sector " + std::to_string(sec["sector"].get<int>()) + ": key A " +
                     (sec["key_a"].is_null() ? std::string("unknown") : sec["key_a"].get<std::string>()) +
                     ", key B " +
                     (sec["key_b"].is_null() ? std::string("unknown") : sec["key_b"].get<std::string>()));
  Json& d = ctx.out().doc();
  d["uid"] = Hex(card.uid);
  d["type"] = dump.Type();
  d["blocks"] = blocks;
  d["file"] = o.file;
  d["format"] = orvexformats::FormatWord(format);
  d["sectors"] = sectors;
  d["unknown_blocks"] = unknown;
  if (!to_stdout)
    ctx.Done("dumped " + std::to_string(blocks) + " blocks of " + dump.Type() + " " + Hex(card.uid) + " to " +
             o.file + (record ? " (keys found: " + o.file + ".keys)" : ""));
  if (!unknown.empty()) {
    std::string list;
    for (int b : unknown) list += " " + std::to_string(b);
    ctx.Note("partial dump: " + std::to_string(unknown.size()) + " block(s) could not be read and " +
             (format == DumpFormat::kMfd ? "hold zeros:" : "are marked --:") + list);
    ctx.exit_status = kPartialExit;
  }
}

struct BlockOptions {
  int block = 0;
  std::string data, keys;
  bool default_keys = true;
  bool force = false;    // block 0: try it on a card that may take it
  bool trailer = false;  // a sector trailer, with the checks of mfc restore
};

// Selects the MIFARE Classic card in the field and checks that it has the block.
TypeACardInfo SelectClassicWithBlock(Context& ctx, int block) {
  ctx.Open();
  TypeACardInfo card = SelectOrFail(ctx);
  if (!card.IsClassic())
    throw Failure("the card " + Hex(card.uid) + " is not a MIFARE Classic (SAK " + Hex(&card.sak, 1) + ")");
  const int blocks = Blocks(card, "auto");
  if (block < 0 || block >= blocks)
    throw Failure("block " + std::to_string(block) + ": the " + card.Kind() + " has blocks 0 to " +
                      std::to_string(blocks - 1),
                  2);
  return card;
}

std::string KeyLetter(unsigned char mode) { return mode == kKeyA ? "A" : "B"; }

// Whether a right ("A", "B", "A|B", "never") includes the key.
bool Allows(const std::string& right, unsigned char mode) { return right.find(KeyLetter(mode)) != std::string::npos; }

// The access conditions of the block's sector, read from its trailer with
// the key the card is authenticated with. False when that key may not read
// them (the card is then idle).
bool ReadAccess(Classic& mfc, int block, orvexformats::Access& out) {
  uint8_t t[16];
  const int trailer = TrailerOf(SectorOf(block));
  if (!mfc.Read(trailer, t)) return false;
  if (!orvexformats::DecodeAccess(t + 6, out))
    throw Failure("sector " + std::to_string(SectorOf(block)) + "'s trailer holds invalid access bits (" +
                  Hex(t + 6, 3) + "): the sector is locked. Nothing was written");
  return true;
}

// Runs op with the first key (A, then B) of the list that opens the block's
// sector and that the sector's access conditions, read with that key, let
// do it (allowed). permitted: some key was let; false from op is the card's
// refusal, and the next key is tried.
bool WithPermittedKey(Classic& mfc, int block, const std::vector<Key>& keys,
                      const std::function<bool(const orvexformats::Access&, unsigned char mode)>& allowed,
                      const std::function<bool()>& op, bool& permitted, unsigned char& mode, Key& key) {
  permitted = false;
  return mfc.WithKey(
      SectorOf(block), keys,
      [&](unsigned char m, const Key&) {
        orvexformats::Access acc;
        if (!ReadAccess(mfc, block, acc) || !allowed(acc, m)) return false;
        permitted = true;
        return op();
      },
      mode, key);
}

void KeyFields(Json& d, const TypeACardInfo& card, int block, unsigned char mode, const Key& key) {
  d["uid"] = Hex(card.uid);
  d["block"] = block;
  d["key_type"] = KeyLetter(mode);
  d["key"] = Hex(key.data(), 6);
}

// Reads a block with the first key that opens its sector and may read it;
// none is a Failure.
void ReadWithAnyKey(Classic& mfc, int block, const std::vector<Key>& keys, uint8_t* data, unsigned char& mode,
                    Key& key) {
  if (!mfc.WithKey(SectorOf(block), keys, [&](unsigned char, const Key&) { return mfc.Read(block, data); }, mode, key))
    throw Failure("reading block " + std::to_string(block) + " of " + Hex(mfc.card().uid) + ": none of the " +
                  std::to_string(keys.size()) + " key(s) opens sector " + std::to_string(SectorOf(block)) +
                  " for reading it");
}

// Reads one block with the first key that opens its sector and may read it.
void ReadBlock(Context& ctx, const BlockOptions& o) {
  std::vector<Key> keys = LoadKeys(ctx, o.keys, o.default_keys);
  const TypeACardInfo card = SelectClassicWithBlock(ctx, o.block);
  Classic mfc(ctx, card);
  uint8_t data[16];
  unsigned char mode = 0;
  Key key{};
  ReadWithAnyKey(mfc, o.block, keys, data, mode, key);
  Json& d = ctx.out().doc();
  KeyFields(d, card, o.block, mode, key);
  d["data"] = Hex(data, 16);
  char label[32];
  std::snprintf(label, sizeof label, "block %3d: ", o.block);
  ctx.out().Line(label + Hex(data, 16) + "  (key " + KeyLetter(mode) + " " + Hex(key.data(), 6) + ")");
}

// Reads a block just written back, with whichever key may read it, and
// compares it with what was written (trailers: the access bytes only, the
// keys read back hidden).
void ReadBack(Classic& mfc, const std::vector<Key>& keys, int block, const uint8_t* written) {
  uint8_t back[16];
  bool read = mfc.Read(block, back);
  if (!read) {
    unsigned char mode;
    Key k;
    read = mfc.WithKey(SectorOf(block), keys, [&](unsigned char, const Key&) { return mfc.Read(block, back); }, mode, k);
  }
  if (!read)
    throw Failure("block " + std::to_string(block) + " was written but cannot be read back with the keys given");
  const int from = IsTrailer(block) ? 6 : 0, to = IsTrailer(block) ? 10 : 16;
  if (!std::equal(back + from, back + to, written + from))
    throw Failure("block " + std::to_string(block) + " reads back as " + Hex(back, 16) + ", not as written (" +
                  Hex(written, 16) + ")");
}

// The access bits of a trailer about to be written: invalid ones are
// refused before anything is written; what cannot be undone is returned.
std::vector<std::string> CheckTrailer(const uint8_t* t, const std::string& where) {
  orvexformats::Access acc;
  if (!orvexformats::DecodeAccess(t + 6, acc))
    throw Failure(where + " has invalid access bits (" + Hex(t + 6, 3) +
                      "): a card would lock the sector for good. Nothing was written",
                  2);
  return orvexformats::SelfLocking(acc);
}

// Block 0 on a card made to take writes there: the new block must keep the
// card selectable as the same kind of card, and is read back.
void WriteBlock0(Context& ctx, const BlockOptions& o, const Bytes& data) {
  std::vector<Key> keys = LoadKeys(ctx, o.keys, o.default_keys);
  const TypeACardInfo card = SelectClassicWithBlock(ctx, 0);
  if (card.uid.size() != 4)
    throw Failure("mfc write 0: the card " + Hex(card.uid) + " has a " + std::to_string(card.uid.size()) +
                  "-byte UID; this tool writes block 0 only on cards with a 4-byte UID. Nothing was written");
  const uint8_t bcc = data[0] ^ data[1] ^ data[2] ^ data[3];
  if (data[4] != bcc)
    throw Failure("mfc write 0: byte 4 is " + Hex(&data[4], 1) + ", not the check byte of UID " + Hex(data.data(), 4) +
                      " (" + Hex(&bcc, 1) + "): a card with a wrong check byte cannot be selected any more. "
                      "Nothing was written",
                  2);
  const uint8_t answers[3] = {card.sak, static_cast<uint8_t>(card.atqa & 0xFF), static_cast<uint8_t>(card.atqa >> 8)};
  if (!std::equal(answers, answers + 3, data.begin() + 5))
    throw Failure("mfc write 0: bytes 5 to 7 are " + Hex(&data[5], 3) + ", but this card answers with SAK and ATQA " +
                      Hex(answers, 3) + ": a card whose block 0 says otherwise may no longer be taken for a MIFARE "
                      "Classic. Nothing was written",
                  2);
  Classic mfc(ctx, card);
  bool allowed = false;  // some key found may write block 0 under the access conditions
  unsigned char mode = 0;
  Key key{};
  const bool wrote = WithPermittedKey(
      mfc, 0, keys,
      [](const orvexformats::Access& acc, unsigned char m) {
        return Allows(orvexformats::DataBlockRights(acc.c[0]).write, m);
      },
      [&] { return mfc.Write(0, data.data()); }, allowed, mode, key);
  if (!allowed)
    throw Failure("mfc write 0: none of the " + std::to_string(keys.size()) +
                  " key(s) opens sector 0 with the right to write block 0 under its access conditions. "
                  "Nothing was written");
  if (!wrote)
    throw Failure("block 0 of " + Hex(card.uid) +
                  " is read-only on this card: it refused the write (only cards made to have their UID changed "
                  "take one). Nothing was written");
  ReadBack(mfc, keys, 0, data.data());
  Json& d = ctx.out().doc();
  KeyFields(d, card, 0, mode, key);
  d["data"] = Hex(data);
  ctx.Done("wrote block 0 of " + Hex(card.uid) + " with key " + KeyLetter(mode) + ": " + Hex(data) +
           ", read back and checked; the card answers with UID " + Hex(data.data(), 4) + " from its next selection");
}

// A sector trailer, with the checks of mfc restore: valid access bits,
// nothing that cannot be undone (unless --force), and a key that may write
// all of it (keys and access bits) under the sector's present conditions.
void WriteTrailer(Context& ctx, const BlockOptions& o, const Bytes& data) {
  const int sector = SectorOf(o.block);
  const std::vector<std::string> locking =
      CheckTrailer(data.data(), "mfc write: the trailer of sector " + std::to_string(sector));
  if (!locking.empty() && !o.force) {
    std::string list;
    for (const auto& l : locking) list += "\n  " + l;
    throw Failure("mfc write: writing this trailer cannot be undone:" + list +
                      "\nGive --force to write it anyway. Nothing was written",
                  2);
  }
  std::vector<Key> keys = LoadKeys(ctx, o.keys, o.default_keys);
  const TypeACardInfo card = SelectClassicWithBlock(ctx, o.block);
  Classic mfc(ctx, card);
  bool may = false;
  unsigned char mode = 0;
  Key key{};
  const bool wrote = WithPermittedKey(
      mfc, o.block, keys,
      [](const orvexformats::Access& acc, unsigned char m) {
        const orvexformats::TrailerRights r = orvexformats::TrailerBlockRights(acc.c[3]);
        return Allows(r.write_key_a, m) && Allows(r.write_access, m) && Allows(r.write_key_b, m);
      },
      [&] { return mfc.Write(o.block, data.data()); }, may, mode, key);
  if (!wrote)
    throw Failure(may ? "writing block " + std::to_string(o.block) + " of " + Hex(card.uid) +
                            ": the card refused it. Nothing was written"
                      : "mfc write: none of the " + std::to_string(keys.size()) + " key(s) opens sector " +
                            std::to_string(sector) +
                            " with the right to write all of its trailer (key A, access bits, key B). Nothing was "
                            "written");
  ReadBack(mfc, keys, o.block, data.data());
  // The new keys must open the sector.
  Key new_a, new_b;
  std::copy(data.begin(), data.begin() + 6, new_a.begin());
  std::copy(data.begin() + 10, data.end(), new_b.begin());
  mfc.Reselect();
  bool opens = mfc.Auth(sector, kKeyA, new_a);
  if (!opens) {
    mfc.Reselect();
    opens = mfc.Auth(sector, kKeyB, new_b);
  }
  if (!opens)
    throw Failure("block " + std::to_string(o.block) + " was written, but neither of its new keys opens sector " +
                  std::to_string(sector) + " now");
  Json& d = ctx.out().doc();
  KeyFields(d, card, o.block, mode, key);
  d["data"] = Hex(data);
  ctx.Done("wrote the trailer of sector " + std::to_string(sector) + " (block " + std::to_string(o.block) + ") of " +
           Hex(card.uid) + " with key " + KeyLetter(mode) + ": " + Hex(data) +
           ", access bits read back and the new keys checked");
}

// Writes one data block, then reads it back. Block 0 only with --force, a
// trailer only with --trailer.
void WriteBlock(Context& ctx, const BlockOptions& o) {
  Bytes data = ParseHex(o.data, "mfc write");
  if (data.size() != 16)
    throw Failure("mfc write: a block holds 16 bytes (32 hex digits), not " + std::to_string(data.size()), 2);
  if (o.block == 0) {
    if (!o.force)
      throw Failure("mfc write: block 0 holds the UID and manufacturer data; most cards never take a write there. "
                    "Give --force to try it on a card made to take one. Nothing was written",
                    2);
    WriteBlock0(ctx, o, data);
    return;
  }
  if (IsTrailer(o.block) != o.trailer)
    throw Failure(o.trailer ? "mfc write --trailer: block " + std::to_string(o.block) + " is not a sector trailer"
                            : "mfc write: block " + std::to_string(o.block) +
                                  " is a sector trailer (keys and access bits): give --trailer to write it with the "
                                  "checks of mfc restore, or write it with mfc restore. Nothing was written",
                  2);
  if (o.trailer) {
    WriteTrailer(ctx, o, data);
    return;
  }
  std::vector<Key> keys = LoadKeys(ctx, o.keys, o.default_keys);
  const TypeACardInfo card = SelectClassicWithBlock(ctx, o.block);
  Classic mfc(ctx, card);
  const int sector = SectorOf(o.block);
  unsigned char mode = 0;
  Key key{};
  if (!mfc.WithKey(sector, keys, [&](unsigned char, const Key&) { return mfc.Write(o.block, data.data()); }, mode, key))
    throw Failure("writing block " + std::to_string(o.block) + " of " + Hex(card.uid) + ": none of the " +
                  std::to_string(keys.size()) + " key(s) lets sector " + std::to_string(sector) +
                  " be written. Nothing was written");
  ReadBack(mfc, keys, o.block, data.data());
  Json& d = ctx.out().doc();
  KeyFields(d, card, o.block, mode, key);
  d["data"] = Hex(data);
  ctx.Done("wrote block " + std::to_string(o.block) + " of " + Hex(card.uid) + " with key " + KeyLetter(mode) +
           ": " + Hex(data) + ", read back and checked");
}

// ---- Value blocks ------------------------------------------------------------

enum class ValueOp { kGet, kInit, kInc, kDec, kRestore, kTransfer };

struct ValueOptions {
  int block = 0;
  long long amount = 0;
  int to = -1;  // the block the result is transferred to (-1: the block itself)
  std::string keys;
  bool default_keys = true;
};

const char* ValueOpWord(ValueOp op) {
  switch (op) {
    case ValueOp::kGet: return "get";
    case ValueOp::kInit: return "init";
    case ValueOp::kInc: return "inc";
    case ValueOp::kDec: return "dec";
    case ValueOp::kRestore: return "restore";
    default: return "transfer";
  }
}

// Decodes a block read as a value block; not one is a Failure that says
// why (more: what follows, such as "nothing was written").
orvexformats::ValueBlock ReadValue(Classic& mfc, int block, const uint8_t* data, const std::string& more) {
  orvexformats::ValueBlock v;
  const std::string why = orvexformats::DecodeValueBlock(data, v);
  if (!why.empty())
    throw Failure("block " + std::to_string(block) + " of " + Hex(mfc.card().uid) + " is not a value block: " + why +
                  " (it holds " + Hex(data, 16) + ")" + more);
  return v;
}

void Value(Context& ctx, ValueOp op, const ValueOptions& o) {
  const std::string what = std::string("mfc value ") + ValueOpWord(op);
  CheckValueBlockNumber(o.block, what);
  const bool moves = op != ValueOp::kGet && op != ValueOp::kInit;
  const int to = o.to < 0 ? o.block : o.to;
  if (op == ValueOp::kTransfer && (o.to < 0 || o.to == o.block))
    throw Failure(what + ": give --to BLOCK, another block of sector " + std::to_string(SectorOf(o.block)), 2);
  if (moves && o.to >= 0) {
    CheckValueBlockNumber(to, what + " --to");
    if (SectorOf(to) != SectorOf(o.block))
      throw Failure(what + ": --to " + std::to_string(to) + " is in sector " + std::to_string(SectorOf(to)) +
                        ", not in sector " + std::to_string(SectorOf(o.block)) +
                        " with block " + std::to_string(o.block) + ": the card transfers within one sector",
                    2);
  }
  if (op == ValueOp::kInit && (o.amount < INT32_MIN || o.amount > INT32_MAX))
    throw Failure(what + ": a value block holds -2147483648 to 2147483647, not " + std::to_string(o.amount), 2);
  if ((op == ValueOp::kInc || op == ValueOp::kDec) && (o.amount < 0 || o.amount > INT32_MAX))
    throw Failure(what + ": the amount is 0 to 2147483647, not " + std::to_string(o.amount), 2);
  std::vector<Key> keys = LoadKeys(ctx, o.keys, o.default_keys);
  const TypeACardInfo card = SelectClassicWithBlock(ctx, std::max(o.block, to));
  Classic mfc(ctx, card);
  const int sector = SectorOf(o.block);
  Json& d = ctx.out().doc();

  if (op == ValueOp::kGet) {
    uint8_t data[16];
    unsigned char mode = 0;
    Key key{};
    ReadWithAnyKey(mfc, o.block, keys, data, mode, key);
    const orvexformats::ValueBlock v = ReadValue(mfc, o.block, data, "");
    KeyFields(d, card, o.block, mode, key);
    d["value"] = v.value;
    d["address"] = v.address;
    d["data"] = Hex(data, 16);
    char label[32];
    std::snprintf(label, sizeof label, "block %3d: ", o.block);
    ctx.out().Line(std::string(label) + "value " + ValueText(v) + "  (key " + KeyLetter(mode) + " " + Hex(key.data(), 6) + ")");
    return;
  }

  // The access conditions decide which key may do it; they are read first,
  // so that a key that may not is never asked to.
  auto right_of = [](const orvexformats::DataRights& r, ValueOp which) {
    switch (which) {
      case ValueOp::kInit: return r.write;
      case ValueOp::kInc: return r.increment;
      default: return r.decrement;  // decrement, restore and transfer
    }
  };
  bool permitted = false;
  orvexformats::ValueBlock before, after;
  Bytes to_before;
  std::string refusal;
  unsigned char mode = 0;
  Key key{};
  const bool ok = WithPermittedKey(
      mfc, o.block, keys,
      [&](const orvexformats::Access& acc, unsigned char m) {
        return Allows(right_of(orvexformats::DataBlockRights(acc.c[orvexformats::GroupOf(o.block)]), op), m) &&
               (!moves || Allows(orvexformats::DataBlockRights(acc.c[orvexformats::GroupOf(to)]).decrement, m));
      },
      [&] {
        uint8_t data[16];
        if (op == ValueOp::kInit) {
          const int rc = ctx.ov.OV_Purse_Initial(ctx.reader_id, o.block, static_cast<int>(o.amount));
          if (rc == -3) return false;
          CheckCard(rc, "formatting block " + std::to_string(o.block), "");
          return true;
        }
        if (!mfc.Read(o.block, data)) return false;
        before = ReadValue(mfc, o.block, data, ". Nothing was written");
        if (to != o.block) {
          if (!mfc.Read(to, data)) return false;
          to_before.assign(data, data + 16);
        }
        const long long result = op == ValueOp::kInc   ? static_cast<long long>(before.value) + o.amount
                                 : op == ValueOp::kDec ? static_cast<long long>(before.value) - o.amount
                                                       : before.value;
        if (result < INT32_MIN || result > INT32_MAX)
          throw Failure(what + ": " + std::to_string(before.value) + (op == ValueOp::kInc ? " + " : " - ") +
                        std::to_string(o.amount) + " leaves the range of a value block (-2147483648 to "
                        "2147483647). Nothing was written");
        int rc = op == ValueOp::kInc   ? ctx.ov.OV_Purse_Charge(ctx.reader_id, o.block, static_cast<int>(o.amount))
                 : op == ValueOp::kDec ? ctx.ov.OV_Purse_Decrease(ctx.reader_id, o.block, static_cast<int>(o.amount))
                                       : ctx.ov.OV_Restore(ctx.reader_id, o.block);
        if (rc == -3) {
          refusal = std::string("the card refused the ") + (op == ValueOp::kInc ? "increment" : op == ValueOp::kDec ? "decrement" : "restore");
          return false;
        }
        CheckCard(rc, what + " of block " + std::to_string(o.block), "");
        rc = ctx.ov.OV_Transfer(ctx.reader_id, to);
        if (rc == -3) {
          refusal = "the card refused the transfer to block " + std::to_string(to);
          return false;
        }
        CheckCard(rc, "transferring to block " + std::to_string(to), "");
        return true;
      },
      permitted, mode, key);
  if (!ok) {
    if (!permitted)
      throw Failure(what + ": none of the " + std::to_string(keys.size()) + " key(s) opens sector " +
                    std::to_string(sector) + " with the right to do it under the access conditions of block " +
                    std::to_string(o.block) + (moves && to != o.block ? " and block " + std::to_string(to) : "") +
                    ". Nothing was written");
    throw Failure(what + " of block " + std::to_string(o.block) + " of " + Hex(card.uid) + ": " +
                  (refusal.empty() ? "the card refused it" : refusal) + ". Nothing was written");
  }
  // What the block holds now, read in the same authentication.
  uint8_t now[16];
  try {
    if (!mfc.Read(to, now)) {
      unsigned char m;
      Key k;
      if (!mfc.WithKey(sector, keys, [&](unsigned char, const Key&) { return mfc.Read(to, now); }, m, k))
        throw Failure("the keys given may not read it");
    }
  } catch (const Failure& f) {
    throw Failure(std::string("block ") + std::to_string(to) + " of " + Hex(card.uid) +
                  " was written, but reading it back failed: " + f.what());
  }
  const std::string why = orvexformats::DecodeValueBlock(now, after);
  if (!why.empty())
    throw Failure("block " + std::to_string(to) + " was written, but it reads back as no value block: " + why +
                  " (it holds " + Hex(now, 16) + ")");
  KeyFields(d, card, o.block, mode, key);
  if (op == ValueOp::kInit) {
    if (after.value != o.amount)
      throw Failure("block " + std::to_string(o.block) + " reads back with value " + std::to_string(after.value) +
                    ", not " + std::to_string(o.amount));
    d["value"] = after.value;
    d["address"] = after.address;
    d["data"] = Hex(now, 16);
    ctx.Done("block " + std::to_string(o.block) + " of " + Hex(card.uid) + " is now a value block holding " +
             ValueText(after) + ": wrote " + Hex(now, 16) + " with key " + KeyLetter(mode) + ", read back and checked");
    return;
  }
  d["operation"] = ValueOpWord(op);
  if (op == ValueOp::kInc || op == ValueOp::kDec) d["amount"] = o.amount;
  d["to"] = to;
  d["before"] = before.value;
  d["after"] = after.value;
  d["address"] = after.address;
  std::string line = "block " + std::to_string(o.block) + " of " + Hex(card.uid) + ": value " + std::to_string(before.value);
  if (op == ValueOp::kInc) line += " + " + std::to_string(o.amount);
  if (op == ValueOp::kDec) line += " - " + std::to_string(o.amount);
  line += " = " + std::to_string(after.value);
  if (to != o.block) {
    orvexformats::ValueBlock old;
    const bool was_value = orvexformats::DecodeValueBlock(to_before.data(), old).empty();
    line += ", transferred to block " + std::to_string(to) + " (it held " +
            (was_value ? "value " + std::to_string(old.value) : Hex(to_before)) + ")";
  }
  ctx.Done(line + ", with key " + KeyLetter(mode));
}

struct KeysOptions {
  std::string keys;
  bool default_keys = true;
};

// Which key A and key B of the lists open each sector: a table, or JSON.
void Keys(Context& ctx, const KeysOptions& o) {
  std::vector<Key> keys = LoadKeys(ctx, o.keys, o.default_keys);
  ctx.Open();
  TypeACardInfo card = SelectOrFail(ctx);
  if (!card.IsClassic()) throw Failure("the card " + Hex(card.uid) + " is not a MIFARE Classic (SAK " +
                                       Hex(&card.sak, 1) + ")");
  const int sectors = Sectors(Blocks(card, "auto"));
  Classic mfc(ctx, card);
  Json table = Json::array();
  int found = 0;
  ctx.out().Line("sector  key A         key B");
  Progress progress("trying keys", sectors);
  for (int s = 0; s < sectors; ++s) {
    Key a{}, b{};
    bool have_a = mfc.FindKey(s, kKeyA, keys, a);
    mfc.Reselect();
    bool have_b = mfc.FindKey(s, kKeyB, keys, b);
    mfc.Reselect();
    found += (have_a ? 1 : 0) + (have_b ? 1 : 0);
    table.push_back({{"sector", s},
                     {"key_a", have_a ? Json(Hex(a.data(), 6)) : Json(nullptr)},
                     {"key_b", have_b ? Json(Hex(b.data(), 6)) : Json(nullptr)}});
    char line[64];
    std::snprintf(line, sizeof line, "%6d  %-12s  %s", s, KeyText(have_a, a).c_str(), KeyText(have_b, b).c_str());
    ctx.out().Line(line);
    progress.Step(s + 1);
  }
  ctx.out().Line("found " + std::to_string(found) + " of " + std::to_string(2 * sectors) + " keys of " +
                 Hex(card.uid) + ", trying " + std::to_string(keys.size()) + " key(s)" +
                 (ctx.simulated() ? " (simulated reader)" : ""));
  Json& d = ctx.out().doc();
  d["uid"] = Hex(card.uid);
  d["type"] = sectors == 40 ? "MIFARE Classic 4K" : "MIFARE Classic 1K";
  d["keys_tried"] = keys.size();
  d["sectors"] = table;
}

struct RestoreOptions {
  std::string file, keys, format;
  bool default_keys = true;
  bool trailers = true;
  bool force = false;
};

// Reads a dump file in any of its formats (see DumpFormatFor), a .mfd with
// its key record FILE.keys when there is one. Anything malformed is a usage
// Failure naming the file.
orvexformats::ClassicDump ReadDump(const std::string& path, const std::string& format_word) {
  using orvexformats::DumpFormat;
  const DumpFormat f = DumpFormatFor(format_word, path, false);
  // Each format's largest dump (4K), with room for spaces and line ends in
  // the text formats.
  const size_t max = f == DumpFormat::kMfd ? 4096 : f == DumpFormat::kEml ? 64 * 1024 : 1024 * 1024;
  Bytes file = ReadInput(path, "dump file", max);
  std::string record;
  bool have_record = false;
  struct stat st;
  if (f == DumpFormat::kMfd && path != "-" && stat((path + ".keys").c_str(), &st) == 0) {
    Bytes text = ReadInput(path + ".keys", "key record", 64 * 1024);
    record.assign(text.begin(), text.end());
    have_record = true;
  }
  try {
    return orvexformats::ParseDump(file, f, have_record ? &record : nullptr);
  } catch (const orvexformats::DumpError& e) {
    throw Failure(path + ": " + e.what(), 2);
  }
}

// Sectors and blocks written so far, in words.
std::string WrittenSoFar(const std::vector<int>& whole, int partial_sector, const std::vector<int>& partial_blocks) {
  std::string s;
  if (whole.empty()) s = "no sector written";
  else {
    s = "sectors written whole:";
    for (int w : whole) s += " " + std::to_string(w);
  }
  if (!partial_blocks.empty()) {
    s += "; sector " + std::to_string(partial_sector) + " only blocks";
    for (int b : partial_blocks) s += " " + std::to_string(b);
  }
  return s;
}

void Restore(Context& ctx, const RestoreOptions& o) {
  const orvexformats::ClassicDump dump = ReadDump(o.file, o.format);
  std::vector<Key> keys = LoadKeys(ctx, o.keys, o.default_keys, true);
  const int blocks = dump.blocks;
  const int sectors = Sectors(blocks);

  // Blocks a partial dump could not read are left as they are on the card;
  // a sector with none read is not even opened.
  auto unread = [&dump](int block) { return !dump.BlockKnown(block); };
  auto all_unread = [&](int s) {
    for (int i = 0; i < BlocksIn(s); ++i)
      if (!unread(FirstBlock(s) + i)) return false;
    return true;
  };
  // Every trailer is checked before anything is written.
  std::vector<bool> write_trailer(static_cast<size_t>(sectors), o.trailers);
  std::vector<std::string> locking, skipped;
  for (int s = 0; s < sectors && o.trailers; ++s) {
    if (unread(TrailerOf(s))) continue;  // left as it is, see below
    const std::vector<std::string> why =
        CheckTrailer(dump.block(TrailerOf(s)), o.file + ": sector " + std::to_string(s) + "'s trailer");
    if (!dump.KeyKnown(s, false) || !dump.KeyKnown(s, true)) {
      write_trailer[static_cast<size_t>(s)] = false;
      skipped.push_back(std::to_string(s));
      continue;
    }
    for (const std::string& w : why) locking.push_back("sector " + std::to_string(s) + ": " + w);
  }
  if (!locking.empty() && !o.force) {
    std::string list;
    for (const auto& l : locking) list += "\n  " + l;
    throw Failure(o.file + ": writing these trailers cannot be undone:" + list +
                      "\nGive --force to write them anyway, or --no-trailers. Nothing was written",
                  2);
  }

  ctx.Open();
  TypeACardInfo card = SelectOrFail(ctx);
  if (!card.IsClassic()) throw Failure("the card " + Hex(card.uid) + " is not a MIFARE Classic");
  if (Blocks(card, "auto") < blocks)
    throw Failure("the dump holds " + std::to_string(blocks) + " blocks, the card only " +
                  std::to_string(Blocks(card, "auto")) + ". Nothing was written");
  if (!dump.uid.empty() && dump.uid != card.uid)
    ctx.Note("the dump " + o.file + " was made from the card " + Hex(dump.uid) + "; it is written to " +
             Hex(card.uid) + ", whose block 0 stays as it is");
  Classic mfc(ctx, card);

  // The whole card is opened first, sector by sector, with the keys given
  // and the dump's own: a sector no key opens stops the restore before any
  // block is written.
  struct Opened {
    bool have_a = false, have_b = false;
    Key a{}, b{};
    std::vector<Key> tries;
  };
  std::vector<Opened> opened(static_cast<size_t>(sectors));
  for (int s = 0; s < sectors; ++s) {
    if (all_unread(s)) continue;
    Opened& op = opened[static_cast<size_t>(s)];
    op.tries = keys;
    const uint8_t* t = dump.block(TrailerOf(s));
    for (bool key_b : {false, true}) {
      if (!dump.KeyKnown(s, key_b)) continue;
      Key k;
      std::copy(t + (key_b ? 10 : 0), t + (key_b ? 16 : 6), k.begin());
      op.tries.push_back(k);
    }
    op.have_a = mfc.FindKey(s, kKeyA, op.tries, op.a);
    if (!op.have_a) {
      mfc.Reselect();
      op.have_b = mfc.FindKey(s, kKeyB, op.tries, op.b);
    }
    if (!op.have_a && !op.have_b)
      throw Failure("sector " + std::to_string(s) + ": none of the keys given (nor the dump's) opens it. Nothing was written");
    mfc.Reselect();
  }

  std::vector<int> whole, partial, left_unread;
  int current = -1;
  // SIGINT or SIGTERM while it writes: it stops between blocks.
  StopSignals stop;
  Progress progress("restoring", sectors);
  int written = 0;
  try {
    for (int s = 0; s < sectors; ++s) {
      current = s;
      partial.clear();
      Opened& op = opened[static_cast<size_t>(s)];
      bool b_tried = op.have_b;
      auto write = [&](int block) {
        const uint8_t* data = dump.block(block);
        if (op.have_a) {
          mfc.Reselect();
          if (mfc.Auth(s, kKeyA, op.a) && mfc.Write(block, data)) return;
        }
        if (!b_tried) {
          mfc.Reselect();
          op.have_b = mfc.FindKey(s, kKeyB, op.tries, op.b);
          b_tried = true;
        }
        if (op.have_b) {
          mfc.Reselect();
          if (mfc.Auth(s, kKeyB, op.b) && mfc.Write(block, data)) return;
        }
        throw Failure("writing block " + std::to_string(block) + ": the card refused it");
      };
      int first = FirstBlock(s), n = BlocksIn(s);
      for (int i = 0; i < n; ++i) {
        if (StopSignals::Requested()) throw Failure("interrupted");
        int block = first + i;
        if (block == 0) continue;  // the manufacturer block cannot be written
        if (unread(block)) {
          left_unread.push_back(block);
          continue;
        }
        if (i == n - 1 && !write_trailer[static_cast<size_t>(s)]) continue;
        write(block);
        partial.push_back(block);
        ++written;
      }
      whole.push_back(s);
      partial.clear();
      progress.Step(s + 1);
    }
  } catch (const Failure& f) {
    throw Failure(std::string(f.what()) + ". " + WrittenSoFar(whole, current, partial) +
                  "; the other sectors are as they were");
  }
  if (!skipped.empty()) {
    std::string list;
    for (const auto& s : skipped) list += " " + s;
    ctx.out().Line("left the trailers of sectors" + list + " as they were: the dump does not know their keys");
  }
  if (!left_unread.empty()) {
    std::string list;
    for (int b : left_unread) list += " " + std::to_string(b);
    ctx.out().Line("left blocks" + list + " as they were: the dump could not read them");
  }
  ctx.out().doc()["blocks_left_unread"] = left_unread;
  ctx.out().doc()["uid"] = Hex(card.uid);
  ctx.out().doc()["blocks_written"] = written;
  ctx.out().doc()["file"] = o.file;
  Json sk = Json::array();
  for (const auto& s : skipped) sk.push_back(std::stoi(s));
  ctx.out().doc()["trailers_left"] = sk;
  ctx.Done("restored " + std::to_string(written) + " blocks from " + o.file + " to " + Hex(card.uid));
}

struct AclOptions {
  std::string hex;
};

// The access conditions of a trailer given in hex (the 16-byte trailer, or
// its access bytes 6 to 8 alone), in words.
void Acl(Context& ctx, const AclOptions& o) {
  Bytes b = ParseHex(o.hex, "mfc acl");
  const uint8_t* acc = nullptr;
  if (b.size() == 16) acc = b.data() + 6;
  else if (b.size() == 3 || b.size() == 4) acc = b.data();
  else throw Failure("mfc acl: give the 16-byte trailer or its access bytes (3 or 4 bytes), not " +
                     std::to_string(b.size()) + " bytes", 2);
  orvexformats::Access a;
  if (!orvexformats::DecodeAccess(acc, a))
    throw Failure("mfc acl: " + Hex(acc, 3) + " are not valid access bits (the inverted copies disagree): a card "
                  "would lock the sector for good", 2);
  Json groups = Json::array();
  for (const std::string& line : orvexformats::Describe(a)) {
    ctx.out().Line(line);
    groups.push_back(line);
  }
  Json locks = Json::array();
  for (const std::string& why : orvexformats::SelfLocking(a)) {
    ctx.out().Line("writing it cannot be undone: " + why);
    locks.push_back(why);
  }
  ctx.out().doc()["access_bytes"] = Hex(acc, 3);
  ctx.out().doc()["conditions"] = groups;
  ctx.out().doc()["self_locking"] = locks;
}

}  // namespace

void AddMifareCommands(CLI::App& app, Context& ctx) {
  auto* mfc = app.add_subcommand("mfc", "MIFARE Classic 1K/4K: dump, restore, blocks, value blocks and access conditions");
  mfc->require_subcommand(1);

  static DumpOptions dump;
  dump = DumpOptions();
  auto* d = mfc->add_subcommand("dump", "read the whole card into a dump file (.mfd, .eml, .json) or list it in hex");
  d->add_flag("--partial", dump.partial,
              "dump the sectors and blocks that can be read, the others marked unknown (exit status 3)");
  d->add_option("FILE", dump.file,
                "the dump file: .eml and .json by their names, anything else raw .mfd; none or - lists it in hex "
                "on standard output");
  d->add_option("--format", dump.format, "mfd, eml, json or hex, whatever FILE's name")
      ->check(CLI::IsMember({"mfd", "eml", "json", "hex"}));
  d->add_option("-k,--keys", dump.keys,
                "key list file, one 12-hex-digit key a line (tried before the configured key files and the "
                "publicly known default keys)");
  d->add_flag("!--no-default-keys", dump.default_keys, "do not try the built-in publicly known default keys");
  d->add_option("--size", dump.size, "1k, 4k or auto (from the card's SAK; default)")
      ->check(CLI::IsMember({"1k", "4k", "auto"}));
  ctx.Register(d, [&ctx] { Dump(ctx, dump); });

  static BlockOptions read_block;
  read_block = BlockOptions();
  auto* rb = mfc->add_subcommand("read", "read one block");
  rb->add_option("BLOCK", read_block.block, "the block number")->required();
  rb->add_option("-k,--keys", read_block.keys, "key list file (tried before the configured ones and the defaults)");
  rb->add_flag("!--no-default-keys", read_block.default_keys, "do not try the built-in publicly known default keys");
  ctx.Register(rb, [&ctx] { ReadBlock(ctx, read_block); });

  static BlockOptions write_block;
  write_block = BlockOptions();
  auto* wb = mfc->add_subcommand("write", "write one block and read it back (block 0 with --force, a trailer with --trailer)");
  wb->add_option("BLOCK", write_block.block, "the block number")->required();
  wb->add_option("HEX", write_block.data, "the 16 bytes, in hex")->required();
  wb->add_option("-k,--keys", write_block.keys, "key list file (tried before the configured ones and the defaults)");
  wb->add_flag("!--no-default-keys", write_block.default_keys, "do not try the built-in publicly known default keys");
  wb->add_flag("--force", write_block.force,
               "block 0: try it (only cards made to have their UID changed take it); a trailer: also access "
               "conditions that cannot be undone");
  wb->add_flag("--trailer", write_block.trailer,
               "the block is a sector trailer: write it with the checks of mfc restore");
  ctx.Register(wb, [&ctx] { WriteBlock(ctx, write_block); });

  static ValueOptions value;
  value = ValueOptions();
  auto* v = mfc->add_subcommand("value", "value blocks: get, init, inc, dec, restore, transfer");
  v->require_subcommand(1);
  struct ValueCommand {
    ValueOp op;
    const char* help;
  };
  for (const ValueCommand& c :
       {ValueCommand{ValueOp::kGet, "decode a value block: value, inverse and address byte checked"},
        ValueCommand{ValueOp::kInit, "format a data block as a value block holding VALUE"},
        ValueCommand{ValueOp::kInc, "add AMOUNT to a value block, then transfer the result"},
        ValueCommand{ValueOp::kDec, "subtract AMOUNT from a value block, then transfer the result"},
        ValueCommand{ValueOp::kRestore, "load a value block into the card's register and transfer it back (or --to)"},
        ValueCommand{ValueOp::kTransfer, "copy a value block to --to BLOCK of the same sector"}}) {
    auto* sub = v->add_subcommand(ValueOpWord(c.op), c.help);
    sub->add_option("BLOCK", value.block, "the value block's number")->required();
    if (c.op == ValueOp::kInit) sub->add_option("VALUE", value.amount, "the value, -2147483648 to 2147483647")->required();
    if (c.op == ValueOp::kInc || c.op == ValueOp::kDec)
      sub->add_option("AMOUNT", value.amount, "0 to 2147483647")->required();
    if (c.op != ValueOp::kGet && c.op != ValueOp::kInit) {
      auto* to = sub->add_option("--to", value.to, "transfer the result to this block of the same sector");
      if (c.op == ValueOp::kTransfer) to->required();
    }
    sub->add_option("-k,--keys", value.keys, "key list file (tried before the configured ones and the defaults)");
    sub->add_flag("!--no-default-keys", value.default_keys, "do not try the built-in publicly known default keys");
    const ValueOp op = c.op;
    ctx.Register(sub, [&ctx, op] { Value(ctx, op, value); });
  }

  static KeysOptions keys;
  keys = KeysOptions();
  auto* k = mfc->add_subcommand("keys", "which key A and key B of the key lists open each sector");
  k->add_option("-k,--keys", keys.keys,
                "key list file, one 12-hex-digit key a line (tried before the configured key files and the "
                "publicly known default keys)");
  k->add_flag("!--no-default-keys", keys.default_keys, "do not try the built-in publicly known default keys");
  ctx.Register(k, [&ctx] { Keys(ctx, keys); });

  static RestoreOptions restore;
  restore = RestoreOptions();
  auto* r = mfc->add_subcommand("restore", "write a dump (.mfd, .eml or .json) back to a card (all but block 0)");
  r->add_option("FILE", restore.file, "the dump file: .eml and .json by their names, anything else raw .mfd")
      ->required();
  r->add_option("--format", restore.format, "mfd, eml or json, whatever FILE's name")
      ->check(CLI::IsMember({"mfd", "eml", "json"}));
  r->add_option("-k,--keys", restore.keys, "key list file for the card as it is now (its dump's keys are tried too)");
  r->add_flag("!--no-default-keys", restore.default_keys, "do not try the built-in publicly known default keys");
  r->add_flag("!--no-trailers", restore.trailers, "leave the sector trailers (keys, access bits) as they are");
  r->add_flag("--force", restore.force, "also write trailers whose access conditions cannot be undone");
  ctx.Register(r, [&ctx] { Restore(ctx, restore); });

  static AclOptions acl;
  acl = AclOptions();
  auto* c = mfc->add_subcommand("acl", "a sector trailer's access conditions, block by block, in words");
  c->add_option("HEX", acl.hex, "the 16-byte trailer, or its access bytes 6 to 8 (e.g. FF0780)")->required();
  ctx.Register(c, [&ctx] { Acl(ctx, acl); });
}

}  // namespace orvextool
