// SPDX-License-Identifier: MIT
// Subcommands on AT88RF020 tags (ISO 14443-B): at88rf020 read, write, lock
// and count. The tag is activated by a type B request, then given its 8-byte
// key; only then does it read or write its 32 pages of 8 bytes. Page 0
// holds the identifier and page 1 the key: neither takes writes.
#include <cstdio>

#include "commands.h"

namespace orvextool {

namespace {
constexpr int kPages = 32, kPageBytes = 8;
constexpr int kFirstWritablePage = 2;

struct KeyOption {
  std::string key;
};

// Activates the type B tag in the field and presents the key. Returns the
// tag's PUPI.
Bytes Open(Context& ctx, const KeyOption& k) {
  if (k.key.empty()) throw Failure("at88rf020: give the tag's key with --key @FILE or --key - (8 bytes in hex)", 2);
  Bytes key = KeyFromOption(k.key, "--key");
  if (key.size() != 8) throw Failure("--key: an AT88RF020 key has 8 bytes; " + std::to_string(key.size()) + " given", 2);
  ctx.Open();
  // The field is switched off and on first, so that cards an earlier
  // command halted answer again; with --uid, the other cards are halted one
  // by one until the one chosen answers the request.
  ResetField(ctx, "looking for an AT88RF020");
  constexpr int kMaxCards = 16;
  Bytes pupi;
  for (int i = 0; i < kMaxCards && pupi.empty(); ++i) {
    unsigned char attrib[4] = {0, 0, 0, 0}, atqb[ORVEX_MAX_ANSWER];
    int len = 0;
    int rc = ctx.ov.OV_TypeB_Request(ctx.reader_id, 0x00, attrib, &len, atqb);
    if (rc == -3) break;
    CheckCard(rc, "activating the tag", "");
    if (len < 5) throw Failure("activating the tag: the answer has " + std::to_string(len) + " bytes, not an ATQB");
    if (ctx.uid().empty() || ctx.uid() == Bytes(atqb + 1, atqb + 5)) {
      pupi.assign(atqb + 1, atqb + 5);
      if (!ctx.uid().empty()) ctx.Note("acting on tag " + Hex(pupi) + ", chosen by --uid");
    } else {
      CheckCard(ctx.ov.OV_TypeB_Halt(ctx.reader_id, atqb + 1), "halting card " + Hex(atqb + 1, 4), "");
    }
  }
  if (pupi.empty())
    throw Failure(ctx.uid().empty() ? "no ISO 14443-B tag in the field"
                                    : "no ISO 14443-B tag with PUPI " + Hex(ctx.uid()) + " in the field");
  CheckCard(ctx.ov.OV_AT88RF020_Check(ctx.reader_id, key.data()), "presenting the key to tag " + Hex(pupi), "the tag refused the key (wrong key, or no AT88RF020)");
  return pupi;
}

Bytes ReadPage(Context& ctx, int page) {
  unsigned char data[ORVEX_MAX_ANSWER];
  const std::string what = "reading page " + std::to_string(page);
  CheckCard(ctx.ov.OV_AT88RF020_Read(ctx.reader_id, page, data), what,
            "the tag refused (or left the field)");
  if (LastAnswerLength() != kPageBytes)
    throw Failure(what + ": " + std::to_string(LastAnswerLength()) + " bytes came back, not 8");
  return Bytes(data, data + kPageBytes);
}

// ---- at88rf020 read ----------------------------------------------------------------

struct ReadOptions : KeyOption {
  int page = -1;  // -1: every page
};

void ReadCommand(Context& ctx, const ReadOptions& o) {
  Bytes pupi = Open(ctx, o);
  const int first = o.page < 0 ? 0 : o.page, count = o.page < 0 ? kPages : 1;
  Json& d = ctx.out().doc();
  d["pupi"] = Hex(pupi);
  ctx.out().Line("AT88RF020 " + Hex(pupi) + ", " + std::to_string(kPages) + " pages of 8 bytes");
  Json memory = Json::array();
  for (int p = first; p < first + count; ++p) {
    Bytes data = ReadPage(ctx, p);
    memory.push_back({{"page", p}, {"data", Hex(data)}});
    char label[24];
    std::snprintf(label, sizeof label, "page %2d: ", p);
    ctx.out().Line(label + Hex(data) + (p == 0 ? "  identifier" : p == 1 ? "  key" : ""));
  }
  d["memory"] = memory;
}

// ---- at88rf020 write ---------------------------------------------------------------

struct WriteOptions : KeyOption {
  int page = 0;
  std::vector<std::string> data;
};

void WriteCommand(Context& ctx, const WriteOptions& o) {
  Bytes data = ParseHexArgs(o.data, "at88rf020 write");
  if (data.size() != kPageBytes)
    throw Failure("at88rf020 write: a page holds 8 bytes; " + std::to_string(data.size()) + " given", 2);
  if (o.page < kFirstWritablePage)
    throw Failure("at88rf020 write: page " + std::to_string(o.page) + " holds the " +
                  (o.page == 0 ? "identifier" : "key") + " and takes no writes; nothing was written", 2);
  Bytes pupi = Open(ctx, o);
  const std::string pg = "page " + std::to_string(o.page);
  Bytes before = ReadPage(ctx, o.page), copy = data;
  CheckCard(ctx.ov.OV_AT88RF020_Write(ctx.reader_id, o.page, copy.data()), "writing " + pg,
            "the tag refused the write (is the page locked?) or left the field; the page may hold its old bytes " +
                Hex(before) + ", the new ones or neither");
  Bytes back = ReadBack(pg, data, [&] { return ReadPage(ctx, o.page); });
  Json& d = ctx.out().doc();
  d["pupi"] = Hex(pupi);
  d["page"] = o.page;
  d["previous"] = Hex(before);
  d["data"] = Hex(back);
  ctx.Done("wrote " + pg + " of AT88RF020 " + Hex(pupi) + ": " + Hex(back) + " (read back)");
}

// ---- at88rf020 lock ----------------------------------------------------------------

struct LockOptions : KeyOption {
  std::vector<int> pages;
  bool yes = false;
};

// Lock bits, one a page (bit p of the 4 bytes, least significant byte
// first): a set bit makes its page read-only for good.
void LockCommand(Context& ctx, const LockOptions& o) {
  uint32_t bits = 0;
  std::string list;
  for (int p : o.pages) {
    if (p < kFirstWritablePage)
      throw Failure("at88rf020 lock: page " + std::to_string(p) + " takes no writes already", 2);
    bits |= 1u << p;
    list += (list.empty() ? "" : ", ") + std::to_string(p);
  }
  if (!o.yes)
    throw Failure("at88rf020 lock: locking page" + std::string(o.pages.size() > 1 ? "s " : " ") + list +
                      " cannot be undone; nothing was locked (give --yes to lock)",
                  2);
  Bytes pupi = Open(ctx, o);
  unsigned char lock[4] = {static_cast<unsigned char>(bits), static_cast<unsigned char>(bits >> 8),
                           static_cast<unsigned char>(bits >> 16), static_cast<unsigned char>(bits >> 24)};
  CheckCard(ctx.ov.OV_AT88RF020_Lock(ctx.reader_id, lock), "locking page" + std::string(o.pages.size() > 1 ? "s " : " ") + list, "the tag refused (or left the field); the pages may or may not be locked");
  Json& d = ctx.out().doc();
  d["pupi"] = Hex(pupi);
  d["locked_pages"] = o.pages;
  d["lock_bits"] = Hex(lock, 4);
  ctx.Done("locked page" + std::string(o.pages.size() > 1 ? "s " : " ") + list + " of AT88RF020 " + Hex(pupi) +
           " for good");
}

// ---- at88rf020 count ---------------------------------------------------------------

struct CountOptions : KeyOption {
  std::vector<std::string> signature;
  bool yes = false;
};

// The count command: the tag counts its counter down by one (for good) and
// keeps the 6-byte signature given with it.
void CountCommand(Context& ctx, const CountOptions& o) {
  Bytes signature = ParseHexArgs(o.signature, "at88rf020 count");
  if (signature.size() != 6)
    throw Failure("at88rf020 count: a signature has 6 bytes; " + std::to_string(signature.size()) + " given", 2);
  if (!o.yes)
    throw Failure("at88rf020 count: the tag's counter counts down for good; nothing was sent (give --yes to count)", 2);
  Bytes pupi = Open(ctx, o);
  CheckCard(ctx.ov.OV_AT88RF020_Count(ctx.reader_id, signature.data()), "counting",
            "the tag refused (counter at its end?) or left the field; it may or may not have counted");
  Json& d = ctx.out().doc();
  d["pupi"] = Hex(pupi);
  d["signature"] = Hex(signature);
  ctx.Done("AT88RF020 " + Hex(pupi) + " counted down once, with signature " + Hex(signature));
}

void AddKey(CLI::App* sub, KeyOption& k) {
  sub->add_option("-k,--key", k.key, "the tag's 8-byte key: @FILE, - (standard input) or hex (with a warning)");
}

}  // namespace

void AddAt88Commands(CLI::App& app, Context& ctx) {
  auto* a = app.add_subcommand("at88rf020", "AT88RF020 tags: read and write pages with the key, lock pages, count");
  a->require_subcommand(1);

  static ReadOptions read;
  read = ReadOptions();
  auto* r = a->add_subcommand("read", "read a page (all 32 by default)");
  r->add_option("PAGE", read.page, "the page number, 0 to 31")->check(CLI::Range(0, kPages - 1));
  AddKey(r, read);
  ctx.Register(r, [&ctx] { ReadCommand(ctx, read); });

  static WriteOptions write;
  write = WriteOptions();
  auto* w = a->add_subcommand("write", "write one page (2 to 31) and read it back");
  w->add_option("PAGE", write.page, "the page number, 2 to 31")->required()->check(CLI::Range(0, kPages - 1));
  w->add_option("HEX", write.data, "the page's 8 bytes in hex")->required();
  AddKey(w, write);
  ctx.Register(w, [&ctx] { WriteCommand(ctx, write); });

  static LockOptions lock;
  lock = LockOptions();
  auto* l = a->add_subcommand("lock", "lock pages for good (read-only); needs --yes");
  l->add_option("PAGE", lock.pages, "page numbers, 2 to 31")->required()->check(CLI::Range(0, kPages - 1));
  l->add_flag("--yes", lock.yes, "lock (it cannot be undone)");
  AddKey(l, lock);
  ctx.Register(l, [&ctx] { LockCommand(ctx, lock); });

  static CountOptions count;
  count = CountOptions();
  auto* c = a->add_subcommand("count", "count the tag's counter down once, with a signature; needs --yes");
  c->add_option("SIGNATURE", count.signature, "the 6-byte signature in hex")->required();
  c->add_flag("--yes", count.yes, "count (it cannot be undone)");
  AddKey(c, count);
  ctx.Register(c, [&ctx] { CountCommand(ctx, count); });
}

}  // namespace orvextool
