// Subcommands on ISO 14443-A cards: the MIFARE Classic dump and restore, and
// APDUs to a CPU card.
#include <array>
#include <fstream>
#include <iterator>

#include "commands.h"
#include "iso14443a.h"

namespace orvextool {

namespace {

constexpr int kAuthDeadlineMs = 500;
constexpr int kReadDeadlineMs = 1000;
constexpr int kApduDeadlineMs = 400;
constexpr unsigned char kKeyA = 0x60, kKeyB = 0x61;

using Key = std::array<uint8_t, 6>;

std::vector<Key> LoadKeys(const std::string& path) {
  std::vector<Key> keys;
  if (path.empty()) {
    keys.push_back({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});  // the transport key
    return keys;
  }
  std::ifstream f(path);
  if (!f) throw Failure("cannot read the key file " + path, 2);
  std::string line;
  int n = 0;
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
    keys.push_back(k);
  }
  if (keys.empty()) throw Failure("the key file " + path + " holds no key", 2);
  return keys;
}

int Blocks(const TypeACardInfo& card, const std::string& size) {
  if (size == "1k") return 64;
  if (size == "4k") return 256;
  return card.sak == 0x18 ? 256 : 64;
}
int FirstBlock(int sector) { return sector < 32 ? sector * 4 : 128 + (sector - 32) * 16; }
int BlocksIn(int sector) { return sector < 32 ? 4 : 16; }
int Sectors(int blocks) { return blocks == 256 ? 40 : 16; }

// A session on one MIFARE Classic card: after a refusal the card falls back
// to idle, so every retry selects it again (and checks it is the same card).
class Classic {
 public:
  Classic(Context& ctx, const TypeACardInfo& card) : ctx_(ctx), card_(card) {}

  void Reselect() {
    TypeACardInfo again;
    if (!SelectTypeA(ctx_, 0x52, again) || again.uid != card_.uid)
      throw Failure("the card " + Hex(card_.uid) + " left the field");
  }

  // Authenticates the sector with the first key of the list that works.
  bool FindKey(int sector, unsigned char mode, const std::vector<Key>& keys, Key& found) {
    for (const Key& k : keys) {
      Key copy = k;
      int rc = ctx_.ov.OV_KeyAuthorization(ctx_.reader_id, mode, FirstBlock(sector), copy.data());
      if (rc == 1) {
        found = k;
        return true;
      }
      if (rc == -1 || rc == -2)
        CheckCard(-1, "authenticating sector " + std::to_string(sector), kAuthDeadlineMs, "");
      Reselect();
    }
    return false;
  }

  bool Auth(int sector, unsigned char mode, const Key& key) {
    Key copy = key;
    int rc = ctx_.ov.OV_KeyAuthorization(ctx_.reader_id, mode, FirstBlock(sector), copy.data());
    if (rc == -1 || rc == -2)
      CheckCard(-1, "authenticating sector " + std::to_string(sector), kAuthDeadlineMs, "");
    return rc == 1;
  }

  // -3 (refused) gives false; a link failure throws.
  bool Read(int block, uint8_t* out) {
    int rc = ctx_.ov.OV_ReadaBlock(ctx_.reader_id, block, 16, out);
    if (rc == -3) return false;
    CheckCard(rc, "reading block " + std::to_string(block), kReadDeadlineMs, "");
    return true;
  }

  bool Write(int block, const uint8_t* data) {
    Bytes copy(data, data + 16);
    int rc = ctx_.ov.OV_WriteaBlock(ctx_.reader_id, block, 16, copy.data());
    if (rc == -3) return false;
    CheckCard(rc, "writing block " + std::to_string(block), kReaderDeadlineMs, "");
    return true;
  }

 private:
  Context& ctx_;
  TypeACardInfo card_;
};

TypeACardInfo SelectOrFail(Context& ctx) {
  TypeACardInfo card;
  if (!SelectTypeA(ctx, 0x52, card)) throw Failure("no card in the field");
  return card;
}

bool AllZero(const uint8_t* p, size_t n) {
  for (size_t i = 0; i < n; ++i)
    if (p[i]) return false;
  return true;
}

struct DumpOptions {
  std::string file, keys, size = "auto";
};

void Dump(Context& ctx, const DumpOptions& o) {
  std::vector<Key> keys = LoadKeys(o.keys);
  ctx.Open();
  TypeACardInfo card = SelectOrFail(ctx);
  if (!card.IsClassic()) throw Failure("the card " + Hex(card.uid) + " is not a MIFARE Classic (SAK " +
                                       Hex(&card.sak, 1) + ")");
  int blocks = Blocks(card, o.size);
  Bytes image(static_cast<size_t>(blocks) * 16, 0);
  Classic mfc(ctx, card);
  Json sectors = Json::array();
  Progress progress("dumping", Sectors(blocks));
  for (int s = 0; s < Sectors(blocks); ++s) {
    Key a{}, b{};
    bool have_a = mfc.FindKey(s, kKeyA, keys, a);
    bool have_b = false;
    bool b_tried = false;
    auto find_b = [&] {
      if (!b_tried) {
        mfc.Reselect();
        have_b = mfc.FindKey(s, kKeyB, keys, b);
        b_tried = true;
      }
      return have_b;
    };
    if (!have_a && !find_b()) throw Failure("authentication failed for sector " + std::to_string(s) +
                                            ": none of the " + std::to_string(keys.size()) +
                                            " key(s) opens it");
    int first = FirstBlock(s), n = BlocksIn(s);
    for (int i = 0; i < n; ++i) {
      uint8_t* out = &image[static_cast<size_t>(first + i) * 16];
      bool ok = false;
      if (have_a) {
        mfc.Reselect();
        ok = mfc.Auth(s, kKeyA, a) && mfc.Read(first + i, out);
      }
      if (!ok && find_b()) {
        mfc.Reselect();
        ok = mfc.Auth(s, kKeyB, b) && mfc.Read(first + i, out);
      }
      if (!ok) throw Failure("reading block " + std::to_string(first + i) + " of sector " +
                             std::to_string(s) + ": the card refused it with the keys found");
    }
    // The trailer reads back with key A hidden and key B hidden unless the
    // access conditions show it: the keys found take their places.
    uint8_t* trailer = &image[static_cast<size_t>(first + n - 1) * 16];
    if (have_a) std::copy(a.begin(), a.end(), trailer);
    if (AllZero(trailer + 10, 6) && find_b()) std::copy(b.begin(), b.end(), trailer + 10);
    sectors.push_back({{"sector", s},
                       {"key_a", have_a ? Json(Hex(a.data(), 6)) : Json(nullptr)},
                       {"key_b", have_b ? Json(Hex(b.data(), 6)) : Json(nullptr)}});
    progress.Step(s + 1);
  }
  std::ofstream f(o.file, std::ios::binary);
  f.write(reinterpret_cast<const char*>(image.data()), static_cast<std::streamsize>(image.size()));
  if (!f.flush()) throw Failure("cannot write the dump file " + o.file);
  Json& d = ctx.out().doc();
  d["uid"] = Hex(card.uid);
  d["type"] = blocks == 256 ? "MIFARE Classic 4K" : "MIFARE Classic 1K";
  d["blocks"] = blocks;
  d["file"] = o.file;
  d["sectors"] = sectors;
  ctx.out().Line("dumped " + std::to_string(blocks) + " blocks of " + d["type"].get<std::string>() +
                 " " + Hex(card.uid) + " to " + o.file);
}

struct RestoreOptions {
  std::string file, keys;
  bool trailers = true;
};

void Restore(Context& ctx, const RestoreOptions& o) {
  std::ifstream f(o.file, std::ios::binary);
  if (!f) throw Failure("cannot read the dump file " + o.file, 2);
  Bytes image((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
  if (image.size() != 1024 && image.size() != 4096)
    throw Failure(o.file + ": a MIFARE Classic dump holds 1024 or 4096 bytes, not " +
                  std::to_string(image.size()), 2);
  std::vector<Key> keys = LoadKeys(o.keys);
  int blocks = static_cast<int>(image.size() / 16);
  ctx.Open();
  TypeACardInfo card = SelectOrFail(ctx);
  if (!card.IsClassic()) throw Failure("the card " + Hex(card.uid) + " is not a MIFARE Classic");
  if (Blocks(card, "auto") < blocks)
    throw Failure("the dump holds " + std::to_string(blocks) + " blocks, the card only " +
                  std::to_string(Blocks(card, "auto")));
  Classic mfc(ctx, card);
  Progress progress("restoring", Sectors(blocks));
  int written = 0;
  for (int s = 0; s < Sectors(blocks); ++s) {
    int first = FirstBlock(s), n = BlocksIn(s);
    // The dump's own keys may already be on the card: try them too.
    std::vector<Key> tries = keys;
    const uint8_t* t = &image[static_cast<size_t>(first + n - 1) * 16];
    Key da, db;
    std::copy(t, t + 6, da.begin());
    std::copy(t + 10, t + 16, db.begin());
    tries.push_back(da);
    tries.push_back(db);
    Key a{}, b{};
    bool have_a = mfc.FindKey(s, kKeyA, tries, a);
    bool have_b = false, b_tried = false;
    auto write = [&](int block) {
      const uint8_t* data = &image[static_cast<size_t>(block) * 16];
      if (have_a) {
        mfc.Reselect();
        if (mfc.Auth(s, kKeyA, a) && mfc.Write(block, data)) return;
      }
      if (!b_tried) {
        mfc.Reselect();
        have_b = mfc.FindKey(s, kKeyB, tries, b);
        b_tried = true;
      }
      if (have_b) {
        mfc.Reselect();
        if (mfc.Auth(s, kKeyB, b) && mfc.Write(block, data)) return;
      }
      throw Failure(have_a || have_b
                        ? "writing block " + std::to_string(block) + ": the card refused it"
                        : "authentication failed for sector " + std::to_string(s) +
                              ": none of the keys opens it");
    };
    for (int i = 0; i < n; ++i) {
      int block = first + i;
      if (block == 0) continue;  // the manufacturer block cannot be written
      if (i == n - 1 && !o.trailers) continue;
      write(block);
      ++written;
    }
    progress.Step(s + 1);
  }
  ctx.out().doc()["uid"] = Hex(card.uid);
  ctx.out().doc()["blocks_written"] = written;
  ctx.out().doc()["file"] = o.file;
  ctx.out().Line("restored " + std::to_string(written) + " blocks from " + o.file + " to " + Hex(card.uid));
}

struct ApduOptions {
  std::vector<std::string> apdus;
};

void Apdu(Context& ctx, const ApduOptions& o) {
  std::vector<Bytes> apdus = ParseApdus(o.apdus, "apdu", 180);
  ctx.Open();
  int len = 0;
  unsigned char answer[ORVEX_MAX_ANSWER];
  CheckCard(ctx.ov.OV_TypeA_Reset(ctx.reader_id, 0x52, 0, &len, answer), "activating the CPU card",
            kApduDeadlineMs, "no CPU card in the field");
  ctx.out().doc()["ats"] = Hex(answer, static_cast<size_t>(len));
  ctx.out().Line("ATS " + Hex(answer, static_cast<size_t>(len)));
  Json results = Json::array();
  for (Bytes& a : apdus) {
    CheckCard(ctx.ov.OV_TypeA_COS(ctx.reader_id, static_cast<int>(a.size()), a.data(), &len, answer),
              "APDU " + Hex(a), kApduDeadlineMs, "the reader could not deliver it to the card");
    results.push_back(ApduResult(ctx, a, answer, len));
  }
  ctx.out().doc()["responses"] = results;
}

}  // namespace

void AddMifareCommands(CLI::App& app, Context& ctx) {
  auto* mfc = app.add_subcommand("mfc", "MIFARE Classic 1K/4K: dump and restore");
  mfc->require_subcommand(1);

  static DumpOptions dump;
  auto* d = mfc->add_subcommand("dump", "read the whole card into a raw .mfd file");
  d->add_option("FILE", dump.file, "the dump file (1024 or 4096 bytes, blocks in order)")->required();
  d->add_option("-k,--keys", dump.keys, "key list file, one 12-hex-digit key a line (default FFFFFFFFFFFF)");
  d->add_option("--size", dump.size, "1k, 4k or auto (from the card's SAK; default)")
      ->check(CLI::IsMember({"1k", "4k", "auto"}));
  ctx.Register(d, [&ctx] { Dump(ctx, dump); });

  static RestoreOptions restore;
  auto* r = mfc->add_subcommand("restore", "write a raw .mfd file back to a card (all but block 0)");
  r->add_option("FILE", restore.file, "the dump file")->required();
  r->add_option("-k,--keys", restore.keys, "key list file for the card as it is now (its dump's keys are tried too)");
  r->add_flag("!--no-trailers", restore.trailers, "leave the sector trailers (keys, access bits) as they are");
  ctx.Register(r, [&ctx] { Restore(ctx, restore); });

  static ApduOptions apdu;
  auto* a = app.add_subcommand("apdu", "activate the CPU card in the field and send it APDUs");
  a->add_option("HEX", apdu.apdus, "one command APDU per argument, in hex")->required();
  ctx.Register(a, [&ctx] { Apdu(ctx, apdu); });
}

}  // namespace orvextool
