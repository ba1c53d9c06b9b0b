// SPDX-License-Identifier: MIT
// Subcommands on MIFARE Classic cards: dump, restore, blocks, keys and access conditions.
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <sstream>

#include "commands.h"
#include "iso14443a.h"
#include "mifare_access.h"
#include "mifare_classic.h"

namespace orvextool {

namespace {

// Adds the keys of a key list file (one 12-hex-digit key a line, "#" starts
// a comment) that the list does not hold yet.
void ReadKeyFile(const std::string& path, std::vector<Key>& keys) {
  std::ifstream f(path);
  if (!f) throw Failure("cannot read the key file " + path, 2);
  std::string line;
  int n = 0, found = 0;
  while (std::getline(f, line)) {
    ++n;
    size_t hash = line.find('#');
    if (hash != std::string::npos) line.erase(hash);
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    Bytes b = ParseHex(line, path + ":" + std::to_string(n));
    if (b.size() != 6)
      throw Failure(path + ":" + std::to_string(n) + ": a key has 12 hex digits", 2);
    Key k;
    std::copy(b.begin(), b.end(), k.begin());
    ++found;
    if (std::find(keys.begin(), keys.end(), k) == keys.end()) keys.push_back(k);
  }
  if (found == 0) throw Failure("the key file " + path + " holds no key", 2);
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


TypeACardInfo SelectOrFail(Context& ctx) {
  TypeACardInfo card;
  if (!SelectChosenTypeA(ctx, card)) throw Failure(ctx.NoCard());
  return card;
}

bool AllZero(const uint8_t* p, size_t n) {
  for (size_t i = 0; i < n; ++i)
    if (p[i]) return false;
  return true;
}

struct DumpOptions {
  std::string file, keys, size = "auto";
  bool default_keys = true;
  bool partial = false;  // sectors and blocks that cannot be read are recorded as unknown
};

std::string KeyText(bool have, const Key& k) { return have ? Hex(k.data(), 6) : "-"; }

// The sector's keys: key A first (the card is left authenticated with it
// when found), then key B; which of them opened it.
struct SectorKeys {
  bool have_a = false, have_b = false;
  Key a{}, b{};
};

void Dump(Context& ctx, const DumpOptions& o) {
  std::vector<Key> keys = LoadKeys(ctx, o.keys, o.default_keys);
  // Both files hold keys: readable by their owner only, and checked before
  // the card is read.
  OutputFile file(o.file, "dump file", 0600);
  std::unique_ptr<OutputFile> record;
  if (o.file != "-") record = std::make_unique<OutputFile>(o.file + ".keys", "key record", 0600);
  std::string keys_found = "# keys found by orvex mfc dump: sector, key A, key B (- not found)\n";
  ctx.Open();
  TypeACardInfo card = SelectOrFail(ctx);
  if (!card.IsClassic()) throw Failure("the card " + Hex(card.uid) + " is not a MIFARE Classic (SAK " +
                                       Hex(&card.sak, 1) + ")");
  int blocks = Blocks(card, o.size);
  Bytes image(static_cast<size_t>(blocks) * 16, 0);
  Classic mfc(ctx, card);
  Json sectors = Json::array(), unknown = Json::array();
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
    int first = FirstBlock(s), n = BlocksIn(s);
    if (!have_a && !find_b()) {
      if (!o.partial)
        throw Failure("authentication failed for sector " + std::to_string(s) + ": none of the " +
                      std::to_string(keys.size()) + " key(s) opens it (--partial dumps the other sectors)");
      for (int i = 0; i < n; ++i) unknown.push_back(first + i);
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
        uint8_t* out = &image[static_cast<size_t>(first + i) * 16];
        bool ok = have_a && read_with(Open::kA, a, first + i, out);
        if (!ok && find_b()) ok = read_with(Open::kB, b, first + i, out);
        if (ok) continue;
        if (!o.partial)
          throw Failure("reading block " + std::to_string(first + i) + " of sector " + std::to_string(s) +
                        ": the card refused it with the keys found");
        unknown.push_back(first + i);
      }
      // The trailer reads back with key A hidden and key B hidden unless the
      // access conditions show it: the keys found take their places.
      uint8_t* trailer = &image[static_cast<size_t>(first + n - 1) * 16];
      if (have_a) std::copy(a.begin(), a.end(), trailer);
      if (AllZero(trailer + 10, 6) && find_b()) std::copy(b.begin(), b.end(), trailer + 10);
      if (!b_tried) find_b();  // the record says which keys are known
    }
    sectors.push_back({{"sector", s},
                       {"key_a", have_a ? Json(Hex(a.data(), 6)) : Json(nullptr)},
                       {"key_b", have_b ? Json(Hex(b.data(), 6)) : Json(nullptr)}});
    keys_found += std::to_string(s) + " " + KeyText(have_a, a) + " " + KeyText(have_b, b) + "\n";
    progress.Step(s + 1);
  }
  if (!unknown.empty()) {
    // Restore leaves these blocks as they are on the card.
    keys_found += "unknown";
    for (const auto& b : unknown) keys_found += " " + std::to_string(b.get<int>());
    keys_found += "\n";
  }
  file.Commit(image);
  if (record) record->Commit(Bytes(keys_found.begin(), keys_found.end()));
  if (o.file != "-")
    for (const auto& sec : sectors)
      ctx.out().Line("sector " + std::to_string(sec["sector"].get<int>()) + ": key A " +
                     (sec["key_a"].is_null() ? std::string("unknown") : sec["key_a"].get<std::string>()) +
                     ", key B " +
                     (sec["key_b"].is_null() ? std::string("unknown") : sec["key_b"].get<std::string>()));
  Json& d = ctx.out().doc();
  d["uid"] = Hex(card.uid);
  d["type"] = blocks == 256 ? "MIFARE Classic 4K" : "MIFARE Classic 1K";
  d["blocks"] = blocks;
  d["file"] = o.file;
  d["sectors"] = sectors;
  d["unknown_blocks"] = unknown;
  if (o.file != "-")
    ctx.Done("dumped " + std::to_string(blocks) + " blocks of " + d["type"].get<std::string>() + " " +
                   Hex(card.uid) + " to " + o.file + " (keys found: " + o.file + ".keys)");
  if (!unknown.empty()) {
    std::string list;
    for (const auto& b : unknown) list += " " + std::to_string(b.get<int>());
    ctx.Note("partial dump: " + std::to_string(unknown.size()) + " block(s) could not be read and hold zeros:" + list);
    ctx.exit_status = kPartialExit;
  }
}

struct BlockOptions {
  int block = 0;
  std::string data, keys;
  bool default_keys = true;
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


// Reads one block with the first key that opens its sector and may read it.
void ReadBlock(Context& ctx, const BlockOptions& o) {
  std::vector<Key> keys = LoadKeys(ctx, o.keys, o.default_keys);
  const TypeACardInfo card = SelectClassicWithBlock(ctx, o.block);
  Classic mfc(ctx, card);
  const int sector = SectorOf(o.block);
  uint8_t data[16];
  for (unsigned char mode : {kKeyA, kKeyB}) {
    Key key{};
    mfc.Reselect();
    if (!mfc.FindKey(sector, mode, keys, key)) continue;
    if (!mfc.Read(o.block, data)) continue;
    const std::string which = mode == kKeyA ? "A" : "B";
    Json& d = ctx.out().doc();
    d["uid"] = Hex(card.uid);
    d["block"] = o.block;
    d["data"] = Hex(data, 16);
    d["key_type"] = which;
    d["key"] = Hex(key.data(), 6);
    char label[32];
    std::snprintf(label, sizeof label, "block %3d: ", o.block);
    ctx.out().Line(label + Hex(data, 16) + "  (key " + which + " " + Hex(key.data(), 6) + ")");
    return;
  }
  throw Failure("reading block " + std::to_string(o.block) + " of " + Hex(card.uid) + ": none of the " +
                std::to_string(keys.size()) + " key(s) opens sector " + std::to_string(sector) +
                " for reading it");
}

// Writes one data block (never block 0, never a trailer), then reads it back.
void WriteBlock(Context& ctx, const BlockOptions& o) {
  Bytes data = ParseHex(o.data, "mfc write");
  if (data.size() != 16)
    throw Failure("mfc write: a block holds 16 bytes (32 hex digits), not " + std::to_string(data.size()), 2);
  if (o.block == 0)
    throw Failure("mfc write: block 0 holds the manufacturer data and UID; this tool does not write it", 2);
  if (IsTrailer(o.block))
    throw Failure("mfc write: block " + std::to_string(o.block) +
                      " is a sector trailer (keys and access bits): write it with mfc restore, which checks "
                      "its access conditions first. Nothing was written",
                  2);
  std::vector<Key> keys = LoadKeys(ctx, o.keys, o.default_keys);
  const TypeACardInfo card = SelectClassicWithBlock(ctx, o.block);
  Classic mfc(ctx, card);
  const int sector = SectorOf(o.block);
  for (unsigned char mode : {kKeyA, kKeyB}) {
    Key key{};
    mfc.Reselect();
    if (!mfc.FindKey(sector, mode, keys, key)) continue;
    if (!mfc.Write(o.block, data.data())) continue;
    // Read back with whichever key may read it.
    uint8_t back[16];
    bool read = mfc.Read(o.block, back);
    for (unsigned char again : {kKeyA, kKeyB}) {
      if (read) break;
      Key k{};
      mfc.Reselect();
      read = mfc.FindKey(sector, again, keys, k) && mfc.Read(o.block, back);
    }
    if (!read)
      throw Failure("block " + std::to_string(o.block) + " was written but cannot be read back with the keys given");
    if (!std::equal(back, back + 16, data.begin()))
      throw Failure("block " + std::to_string(o.block) + " reads back as " + Hex(back, 16) + ", not as written");
    const std::string which = mode == kKeyA ? "A" : "B";
    Json& d = ctx.out().doc();
    d["uid"] = Hex(card.uid);
    d["block"] = o.block;
    d["data"] = Hex(data);
    d["key_type"] = which;
    d["key"] = Hex(key.data(), 6);
    ctx.Done("wrote block " + std::to_string(o.block) + " of " + Hex(card.uid) + " with key " + which +
             ": " + Hex(data) + ", read back and checked");
    return;
  }
  throw Failure("writing block " + std::to_string(o.block) + " of " + Hex(card.uid) + ": none of the " +
                std::to_string(keys.size()) + " key(s) lets sector " + std::to_string(sector) +
                " be written. Nothing was written");
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
  std::string file, keys;
  bool default_keys = true;
  bool trailers = true;
  bool force = false;
};

// The keys a dump's key record says were found: per sector, key A and key B
// known or not. Without a record, a trailer key of 000000000000 is taken as
// one that was not found (what dumps without a record hold there).
struct KeyRecord {
  bool present = false;
  std::vector<std::pair<bool, bool>> known;  // per sector: key A, key B
  std::vector<bool> unknown_blocks;          // blocks a partial dump could not read
};

KeyRecord ReadKeyRecord(const std::string& dump, int sectors) {
  KeyRecord r;
  struct stat st;
  const std::string path = dump + ".keys";
  if (dump == "-" || stat(path.c_str(), &st) != 0) return r;
  Bytes text = ReadInput(path, "key record", 64 * 1024);
  r.present = true;
  r.known.assign(static_cast<size_t>(sectors), {false, false});
  r.unknown_blocks.assign(static_cast<size_t>(sectors == 40 ? 256 : 64), false);
  std::istringstream in(std::string(text.begin(), text.end()));
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream f(line);
    if (line.rfind("unknown", 0) == 0) {
      std::string word;
      f >> word;
      for (int b; f >> b;) {
        if (b < 0 || static_cast<size_t>(b) >= r.unknown_blocks.size())
          throw Failure("key record " + path + ": cannot read \"" + line + "\"", 2);
        r.unknown_blocks[static_cast<size_t>(b)] = true;
      }
      if (!f.eof()) throw Failure("key record " + path + ": cannot read \"" + line + "\"", 2);
      continue;
    }
    int s = -1;
    std::string a, b;
    if (!(f >> s >> a >> b) || s < 0 || s >= sectors)
      throw Failure("key record " + path + ": cannot read \"" + line + "\"", 2);
    r.known[static_cast<size_t>(s)] = {a != "-", b != "-"};
  }
  return r;
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
  Bytes image = ReadInput(o.file, "dump file", 4096);
  if (image.size() != 1024 && image.size() != 4096)
    throw Failure(o.file + ": a MIFARE Classic dump holds 1024 or 4096 bytes, not " +
                  std::to_string(image.size()), 2);
  std::vector<Key> keys = LoadKeys(ctx, o.keys, o.default_keys, true);
  int blocks = static_cast<int>(image.size() / 16);
  const int sectors = Sectors(blocks);
  KeyRecord record = ReadKeyRecord(o.file, sectors);

  // Blocks a partial dump could not read are left as they are on the card;
  // a sector with none read is not even opened.
  auto unread = [&record](int block) {
    return record.present && record.unknown_blocks[static_cast<size_t>(block)];
  };
  auto all_unread = [&](int s) {
    for (int i = 0; i < BlocksIn(s); ++i)
      if (!unread(FirstBlock(s) + i)) return false;
    return true;
  };
  // Every trailer is checked before anything is written.
  std::vector<bool> write_trailer(static_cast<size_t>(sectors), o.trailers);
  std::vector<std::string> locking, skipped;
  for (int s = 0; s < sectors && o.trailers; ++s) {
    const uint8_t* t = &image[static_cast<size_t>(FirstBlock(s) + BlocksIn(s) - 1) * 16];
    if (unread(FirstBlock(s) + BlocksIn(s) - 1)) continue;  // left as it is, see below
    orvexformats::Access acc;
    if (!orvexformats::DecodeAccess(t + 6, acc))
      throw Failure(o.file + ": sector " + std::to_string(s) + "'s trailer has invalid access bits (" +
                        Hex(t + 6, 3) + "): a card would lock the sector for good. Nothing was written",
                    2);
    bool key_a = record.present ? record.known[static_cast<size_t>(s)].first : !AllZero(t, 6);
    bool key_b = record.present ? record.known[static_cast<size_t>(s)].second : !AllZero(t + 10, 6);
    if (!key_a || !key_b) {
      write_trailer[static_cast<size_t>(s)] = false;
      skipped.push_back(std::to_string(s));
      continue;
    }
    for (const std::string& why : orvexformats::SelfLocking(acc))
      locking.push_back("sector " + std::to_string(s) + ": " + why);
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
    const uint8_t* t = &image[static_cast<size_t>(FirstBlock(s) + BlocksIn(s) - 1) * 16];
    Key da, db;
    std::copy(t, t + 6, da.begin());
    std::copy(t + 10, t + 16, db.begin());
    op.tries.push_back(da);
    op.tries.push_back(db);
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
        const uint8_t* data = &image[static_cast<size_t>(block) * 16];
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
  auto* mfc = app.add_subcommand("mfc", "MIFARE Classic 1K/4K: dump, restore and access conditions");
  mfc->require_subcommand(1);

  static DumpOptions dump;
  auto* d = mfc->add_subcommand("dump", "read the whole card into a raw .mfd file");
  d->add_flag("--partial", dump.partial,
              "dump the sectors and blocks that can be read, the others as zeros, listed as unknown (exit status 3)");
  d->add_option("FILE", dump.file, "the dump file (1024 or 4096 bytes, blocks in order)")->required();
  d->add_option("-k,--keys", dump.keys,
                "key list file, one 12-hex-digit key a line (tried before the configured key files and the "
                "publicly known default keys)");
  d->add_flag("!--no-default-keys", dump.default_keys, "do not try the built-in publicly known default keys");
  d->add_option("--size", dump.size, "1k, 4k or auto (from the card's SAK; default)")
      ->check(CLI::IsMember({"1k", "4k", "auto"}));
  ctx.Register(d, [&ctx] { Dump(ctx, dump); });

  static BlockOptions read_block;
  auto* rb = mfc->add_subcommand("read", "read one block");
  rb->add_option("BLOCK", read_block.block, "the block number")->required();
  rb->add_option("-k,--keys", read_block.keys, "key list file (tried before the configured ones and the defaults)");
  rb->add_flag("!--no-default-keys", read_block.default_keys, "do not try the built-in publicly known default keys");
  ctx.Register(rb, [&ctx] { ReadBlock(ctx, read_block); });

  static BlockOptions write_block;
  auto* wb = mfc->add_subcommand("write", "write one data block (not block 0, not a trailer) and read it back");
  wb->add_option("BLOCK", write_block.block, "the block number")->required();
  wb->add_option("HEX", write_block.data, "the 16 bytes, in hex")->required();
  wb->add_option("-k,--keys", write_block.keys, "key list file (tried before the configured ones and the defaults)");
  wb->add_flag("!--no-default-keys", write_block.default_keys, "do not try the built-in publicly known default keys");
  ctx.Register(wb, [&ctx] { WriteBlock(ctx, write_block); });

  static KeysOptions keys;
  auto* k = mfc->add_subcommand("keys", "which key A and key B of the key lists open each sector");
  k->add_option("-k,--keys", keys.keys,
                "key list file, one 12-hex-digit key a line (tried before the configured key files and the "
                "publicly known default keys)");
  k->add_flag("!--no-default-keys", keys.default_keys, "do not try the built-in publicly known default keys");
  ctx.Register(k, [&ctx] { Keys(ctx, keys); });

  static RestoreOptions restore;
  auto* r = mfc->add_subcommand("restore", "write a raw .mfd file back to a card (all but block 0)");
  r->add_option("FILE", restore.file, "the dump file")->required();
  r->add_option("-k,--keys", restore.keys, "key list file for the card as it is now (its dump's keys are tried too)");
  r->add_flag("!--no-default-keys", restore.default_keys, "do not try the built-in publicly known default keys");
  r->add_flag("!--no-trailers", restore.trailers, "leave the sector trailers (keys, access bits) as they are");
  r->add_flag("--force", restore.force, "also write trailers whose access conditions cannot be undone");
  ctx.Register(r, [&ctx] { Restore(ctx, restore); });

  static AclOptions acl;
  auto* c = mfc->add_subcommand("acl", "a sector trailer's access conditions, block by block, in words");
  c->add_option("HEX", acl.hex, "the 16-byte trailer, or its access bytes 6 to 8 (e.g. FF0780)")->required();
  ctx.Register(c, [&ctx] { Acl(ctx, acl); });
}

}  // namespace orvextool
