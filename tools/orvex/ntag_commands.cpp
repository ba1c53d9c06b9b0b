// SPDX-License-Identifier: MIT
// Subcommands on NTAG and Ultralight EV1 tags (NFC Forum Type 2): info,
// read, write, dump and restore, with PWD_AUTH for password-protected tags.
//
// Memory layout shared by the family: pages 0 and 1 and byte 0 of page 2
// hold the UID, bytes 2 and 3 of page 2 the static lock bits, page 3 the
// one-time programmable capability container, then user memory; the tags
// with more than 20 pages keep their dynamic lock bits in the page after
// user memory; the last four pages are CFG0 (AUTH0 in byte 3), CFG1 (ACCESS
// in byte 0), PWD and PACK. PWD and PACK always read as zeros.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <thread>

#include "commands.h"
#include "iso14443a.h"
#include "link/deadlines.h"
#include "ntag.h"
#include "type2_read.h"

namespace orvextool {

namespace {
constexpr size_t kSignatureBytes = 32;

// ACCESS bits.
constexpr uint8_t kProt = 0x80;        // reads need the password too
constexpr uint8_t kCfgLock = 0x40;     // CFG0 and CFG1 locked for good
constexpr uint8_t kCounterOn = 0x10;   // the NFC counter counts the first read of each power-up
constexpr uint8_t kCounterPwd = 0x08;  // reading the counter needs the password

// "4-10, 12, 20-23"
std::string PageList(const std::vector<int>& pages) {
  std::string s;
  for (size_t i = 0; i < pages.size();) {
    size_t j = i;
    while (j + 1 < pages.size() && pages[j + 1] == pages[j] + 1) ++j;
    if (!s.empty()) s += ", ";
    s += std::to_string(pages[i]);
    if (j > i) s += "-" + std::to_string(pages[j]);
    i = j + 1;
  }
  return s.empty() ? "none" : s;
}

std::string PagesWord(const std::vector<int>& pages) {
  return (pages.size() == 1 ? "page " : "pages ") + PageList(pages);
}

// "page 5 of the NTAG215 ... is", "pages 5-7 of the NTAG215 ... are"
std::string PagesOf(const std::vector<int>& pages, const std::string& tag) {
  return PagesWord(pages) + " of the " + tag + (pages.size() == 1 ? " is" : " are");
}

struct PasswordOptions {
  std::string password;  // HEX, @FILE or -
  std::string pack;      // the PACK the tag must answer, in hex
};

void AddPasswordOptions(CLI::App* sub, PasswordOptions& o) {
  sub->add_option("--password", o.password,
                  "the tag's 4-byte password for PWD_AUTH: @FILE, - (standard input) or hex (warned about)");
  sub->add_option("--pack", o.pack, "the 2-byte PACK the tag must answer to the password, in hex");
}

// The tag of a command: selected, its model known, authenticated when a
// password was given, its configuration read when it can be.
//
// A command that reads the whole tag (whole true) gets the configuration
// pages with the last Span() pages of the tag, in one read that its dump
// then needs not make again (tail(), from page tail_from()). Its result
// names the tag, so it does not ask the field for other cards.
class Tag {
 public:
  Tag(Context& ctx, const PasswordOptions& pw, bool whole = false) : ctx_(ctx), reader_(ctx), whole_(whole) {
    if (!pw.password.empty()) {
      password_ = KeyFromOption(pw.password, "--password");
      if (password_.size() != 4) throw Failure("--password: a password has 4 bytes (8 hex digits)", 2);
    }
    if (!pw.pack.empty()) {
      pack_expected_ = ParseHex(pw.pack, "--pack");
      if (pack_expected_.size() != 2) throw Failure("--pack: a PACK has 2 bytes (4 hex digits)", 2);
      if (password_.empty()) throw Failure("--pack: it is checked against the answer to --password; give both", 2);
    }
    ctx.Open();
    Select();
    // Zeroed: a short answer leaves the type and size bytes 0, unknown.
    unsigned char v[ORVEX_MAX_ANSWER] = {};
    CheckCard(ctx.ov.OV_NTag_GetVersion(ctx.reader_id, v), "reading the tag's version",
              "the card " + Hex(card.uid) + " is not an NTAG or Ultralight EV1 tag (no answer to GET_VERSION)");
    version.assign(v, v + 8);
    known = NtagModelOf(v, model);
    if (!known) return;
    Authenticate();
    tail_from_ = model.pages;
    if (whole_) {
      // A tag that refuses these pages may still show its configuration
      // (AUTH0 on PWD or PACK): it is then read alone.
      const int from = std::max(0, model.pages - Span());
      if (auto t = Read(from, model.pages - 1)) {
        tail_from_ = from;
        tail_ = std::move(*t);
        SetConfiguration(Bytes(tail_.begin() + (model.cfg0() - from) * 4, tail_.begin() + (model.cfg1() - from + 1) * 4));
        return;
      }
    }
    if (auto cfg = Read(model.cfg0(), model.cfg1())) SetConfiguration(*cfg);
  }

  // The last pages of the tag as a whole-tag command read them with the
  // configuration (from page tail_from(); empty, and tail_from() the number
  // of pages, when they were not read so).
  const Bytes& tail() const { return tail_; }
  int tail_from() const { return tail_from_; }

  // A command on an unknown version stops here.
  void RequireKnown() const {
    if (!known)
      throw Failure("the card " + Hex(card.uid) + " reports an unknown NTAG/Ultralight version " + Hex(version) +
                    " (its size and layout are not known)");
  }

  std::string Name() const { return model.name + " " + Hex(card.uid); }
  uint8_t auth0() const { return cfg0[3]; }
  uint8_t access() const { return cfg1[0]; }
  // The first page PWD_AUTH guards (none: -1).
  int protected_from() const { return config_readable && auth0() < model.pages ? auth0() : (config_readable ? -1 : 0); }

  // Refuses, before anything is sent, an access to pages first..last that
  // the password guards when none was given.
  void CheckAccess(int first, int last, bool write) const {
    std::vector<int> pages;
    for (int p = first; p <= last; ++p) pages.push_back(p);
    CheckAccess(pages, write);
  }
  void CheckAccess(const std::vector<int>& pages, bool write) const {
    if (authenticated || pages.empty()) return;
    // Unknown AUTH0: a read is tried (MustRead says why it failed), a write is not.
    if (!config_readable && !write) return;
    if (!config_readable)
      throw Failure("the " + Name() + " refuses to show its configuration pages: it is protected by a password " +
                    "that guards reads too; give --password. Nothing was written");
    const int from = protected_from();
    if (from < 0 || (!write && !(access() & kProt))) return;
    std::vector<int> hit;
    for (int p : pages)
      if (p >= from) hit.push_back(p);
    if (hit.empty()) return;
    throw Failure(PagesOf(hit, Name()) + " protected by a password (AUTH0 " + std::to_string(from) + ", " +
                  ((access() & kProt) ? "reads and writes" : "writes") + "); give --password" +
                  (write ? ". Nothing was written" : ""));
  }

  // How many pages one read asks for now.
  int Span() { return reader_.Span(); }

  // FAST_READ of pages first..last in the pieces the line carries in time.
  // Nothing when the tag refused (it is then selected, and authenticated,
  // afresh).
  std::optional<Bytes> Read(int first, int last) {
    auto pages = reader_.Read(first, last);
    if (!pages) {
      Select();
      Authenticate();
    }
    return pages;
  }

  // Pages first..last, or a Failure that says why not.
  Bytes MustRead(int first, int last) {
    CheckAccess(first, last, false);
    auto m = Read(first, last);
    if (!m)
      throw Failure("reading pages " + std::to_string(first) + " to " + std::to_string(last) + " of the " + Name() +
                    ": the tag refused" +
                    (authenticated ? "" : " (protected by a password that guards reads too? give --password)"));
    return *m;
  }

  // WRITE of one page, or a Failure.
  void Write(int page, const uint8_t* data) {
    Bytes d(data, data + 4);
    CheckCard(ctx_.ov.OV_NTag_Write(ctx_.reader_id, page, d.data()), "writing page " + std::to_string(page), "the tag did not take it (it left the field, or the page is locked or protected)");
  }

  // The locked pages, from the static lock bits (page 2 bytes 2 and 3) and
  // the dynamic ones (dyn: the dynamic lock page, empty when there is none).
  std::vector<int> LockedPages(const uint8_t* page2, const Bytes& dyn, const Bytes& c1) const {
    std::vector<int> locked;
    const unsigned bits = static_cast<unsigned>(page2[2] | page2[3] << 8);
    for (int p = 3; p < 16 && p <= model.last_user(); ++p)
      if ((bits >> p) & 1) locked.push_back(p);
    if (model.dynamic_lock && dyn.size() >= 3) {
      const unsigned d = static_cast<unsigned>(dyn[0] | dyn[1] << 8 | dyn[2] << 16);
      for (int p = 16; p <= model.last_user(); ++p) {
        int bit = (p - 16) / model.dynamic_span();
        if (bit < 24 && ((d >> bit) & 1)) locked.push_back(p);
      }
    }
    if (!c1.empty() && (c1[0] & kCfgLock)) {
      locked.push_back(model.cfg0());
      locked.push_back(model.cfg1());
    }
    return locked;
  }

  TypeACardInfo card;
  Bytes version;
  NtagModel model;
  bool known = false;
  bool authenticated = false;
  Bytes pack;  // the tag's answer to PWD_AUTH
  bool config_readable = false;
  Bytes cfg0, cfg1;

 private:
  void Select() {
    if (!SelectChosenTypeA(ctx_, card, !whole_)) throw Failure(ctx_.NoCard());
  }

  void SetConfiguration(const Bytes& pages) {
    config_readable = true;
    cfg0.assign(pages.begin(), pages.begin() + 4);
    cfg1.assign(pages.begin() + 4, pages.begin() + 8);
  }

  void Authenticate() {
    if (password_.empty()) return;
    unsigned char answer[2] = {0, 0};
    Bytes pwd = password_;
    int rc = ctx_.ov.OV_NTag_Password_Auth(ctx_.reader_id, pwd.data(), answer);
    // -1 with a clean link: the tag accepted the password and answered a PACK other than 00 00.
    if (rc == -3)
      throw Failure("the " + Name() + " refused the password (wrong password); nothing was read or written");
    if (rc != 1 && !(rc == -1 && LastLinkFailure().empty()))
      CheckCard(rc, "authenticating with the password", "the tag refused");
    pack.assign(answer, answer + 2);
    if (!pack_expected_.empty() && pack != pack_expected_)
      throw Failure("the " + Name() + " answered the password with PACK " + Hex(pack) + ", not " + Hex(pack_expected_) +
                    " (--pack): not the tag expected; nothing was read or written");
    authenticated = true;
  }

  Context& ctx_;
  Type2Reader reader_;
  const bool whole_;
  Bytes password_, pack_expected_;
  Bytes tail_;
  int tail_from_ = 0;
};

// ---- ntag info ------------------------------------------------------------------

void Info(Context& ctx, const PasswordOptions& pw) {
  Tag tag(ctx, pw);
  Output& out = ctx.out();
  out.Field("uid", "UID", Hex(tag.card.uid), Hex(tag.card.uid));
  out.Field("version", "version", Hex(tag.version), Hex(tag.version));
  if (!tag.known) {
    out.Field("type", "type", nullptr,
              "unknown (vendor " + Hex(&tag.version[1], 1) + ", product type " + Hex(&tag.version[2], 1) +
                  ", storage size " + Hex(&tag.version[6], 1) + ")");
    return;
  }
  const NtagModel& m = tag.model;
  out.Field("type", "type", m.name, m.name);
  out.Field("pages", "pages", m.pages, std::to_string(m.pages));
  const int user_bytes = (m.last_user() - 3) * 4;
  out.Field("user_bytes", "user memory", user_bytes,
            std::to_string(user_bytes) + " bytes, pages 4-" + std::to_string(m.last_user()));

  // Configuration: AUTH0 and ACCESS.
  const bool cfg = tag.config_readable;
  const int from = tag.protected_from();
  const uint8_t acc = cfg ? tag.access() : 0;
  const int authlim = acc & 0x07;
  out.Field("auth0", "AUTH0", cfg ? Json(tag.auth0()) : Json(nullptr),
            !cfg       ? "unknown (the configuration is read-protected: give --password)"
            : from < 0 ? Hex(&tag.cfg0[3], 1) + " (no page needs the password)"
                       : Hex(&tag.cfg0[3], 1) + " (pages " + std::to_string(from) + "-" + std::to_string(m.pages - 1) +
                             " need the password for " + ((acc & kProt) ? "reads and writes)" : "writes)"));
  out.Field("access", "ACCESS", cfg ? Json(Hex(&acc, 1)) : Json(nullptr),
            !cfg ? "unknown"
                 : Hex(&acc, 1) + " (configuration " + ((acc & kCfgLock) ? "locked" : "not locked") + ", " +
                       (authlim ? "at most " + std::to_string(1 << authlim) + " wrong passwords"
                                : "no limit on wrong passwords") +
                       ")");
  const std::string protection = !cfg ? "unknown" : from < 0 ? "off" : (acc & kProt) ? "reads and writes" : "writes";
  out.Field("password_protection", "password", protection,
            protection + (from < 0 && cfg     ? ""
                          : tag.authenticated ? ", password given"
                                              : ", no password given"));
  out.Field("protected_from", "protected from", from < 0 || !cfg ? Json(nullptr) : Json(from),
            !cfg       ? "unknown"
            : from < 0 ? "no page"
                       : "page " + std::to_string(from));
  out.Field("config_locked", "config locked", cfg ? Json((acc & kCfgLock) != 0) : Json(nullptr),
            !cfg               ? "unknown"
            : (acc & kCfgLock) ? "yes"
                               : "no");
  if (tag.authenticated) out.Field("pack", "PACK", Hex(tag.pack), Hex(tag.pack) + " (the answer to the password)");

  // Lock bits.
  Bytes page2, dyn;
  if (auto p = tag.Read(2, 2)) page2 = *p;
  if (m.dynamic_lock)
    if (auto p = tag.Read(m.dynlock_page(), m.dynlock_page())) dyn = *p;
  out.Field("static_lock", "static lock", page2.empty() ? Json(nullptr) : Json(Hex(&page2[2], 2)),
            page2.empty() ? "unreadable (give --password)" : Hex(&page2[2], 2) + " (page 2 bytes 2-3)");
  if (m.dynamic_lock)
    out.Field("dynamic_lock", "dynamic lock", dyn.empty() ? Json(nullptr) : Json(Hex(&dyn[0], 3)),
              dyn.empty() ? "unreadable (give --password)"
                          : Hex(&dyn[0], 3) + " (page " + std::to_string(m.dynlock_page()) + ")");
  if (page2.empty() || (m.dynamic_lock && dyn.empty())) {
    out.Field("locked_pages", "locked pages", nullptr, "unknown");
  } else {
    std::vector<int> locked = tag.LockedPages(page2.data(), dyn, cfg ? tag.cfg1 : Bytes{});
    out.Field("locked_pages", "locked pages", locked, PageList(locked));
  }

  // The NFC counter of an NTAG213/215/216; the three one-way counters of an
  // Ultralight EV1, which need no password.
  Json counter = nullptr, counters = nullptr;
  std::string state = "absent", text = "none on this tag";
  const bool one_way = m.counter == NtagModel::Counter::kOneWay;
  if (one_way) {
    counters = Json::array();
    std::string list;
    for (int i = 0; i < 3; ++i) {
      int n = 0;
      CheckCard(OrvexNTagReadCounter(ctx.reader_id, i, &n), "reading counter " + std::to_string(i),
                "the tag refused");
      counters.push_back(n);
      list += (i ? ", " : "") + std::to_string(n);
    }
    state = "enabled";
    counter = counters[2];
    text = list + " (one-way counters 0, 1 and 2)";
  } else if (m.counter == NtagModel::Counter::kNfc) {
    if (!cfg) {
      state = "unknown";
      text = "unknown (the configuration is read-protected)";
    } else if (!(acc & kCounterOn)) {
      state = "disabled";
      text = "disabled";
    } else if ((acc & kCounterPwd) && !tag.authenticated) {
      state = "password";
      text = "enabled, its reads need the password (give --password)";
    } else {
      int n = 0;
      CheckCard(ctx.ov.OV_NTag_ReadCounter(ctx.reader_id, &n), "reading the NFC counter",
                "the tag refused");
      state = "enabled";
      counter = n;
      text = std::to_string(n);
    }
  }
  out.Field("counter_state", one_way ? "counters" : "NFC counter", state, text);
  out.doc()["counter"] = counter;
  out.doc()["counters"] = counters;

  // Originality signature.
  unsigned char sig[ORVEX_MAX_ANSWER] = {};
  CheckCard(ctx.ov.OV_NTag_ReadSignature(ctx.reader_id, sig), "reading the originality signature",
            "the tag refused");
  const int sig_len = LastAnswerLength();
  if (sig_len < 0 || static_cast<size_t>(sig_len) < kSignatureBytes)
    throw Failure("reading the originality signature: " + std::to_string(sig_len) + " bytes came back, not 32");
  out.Field("signature", "signature", Hex(sig, kSignatureBytes),
            Hex(sig, kSignatureBytes) + " (not verified: the tool holds no key to check it with)");
  out.doc()["signature_verified"] = false;
}

// ---- ntag read ------------------------------------------------------------------

struct ReadOptions {
  PasswordOptions pw;
  int page = 0;
  int count = 1;
};

void ReadPages(Context& ctx, const ReadOptions& o) {
  Tag tag(ctx, o.pw);
  tag.RequireKnown();
  const int last = o.page + o.count - 1;
  if (o.page >= tag.model.pages || last >= tag.model.pages)
    throw Failure("the " + tag.Name() + " has pages 0 to " + std::to_string(tag.model.pages - 1), 2);
  Bytes m = tag.MustRead(o.page, last);
  Json pages = Json::array();
  for (int p = o.page; p <= last; ++p) {
    std::string hex = Hex(&m[static_cast<size_t>(p - o.page) * 4], 4);
    pages.push_back(hex);
    char label[24];
    std::snprintf(label, sizeof label, "page %3d: ", p);
    std::string note = p == tag.model.pwd() || p == tag.model.pack() ? "  (PWD and PACK always read as zeros)" : "";
    ctx.out().Line(label + hex + note);
  }
  Json& d = ctx.out().doc();
  d["uid"] = Hex(tag.card.uid);
  d["type"] = tag.model.name;
  d["page"] = o.page;
  d["memory"] = pages;
}

// ---- ntag write -----------------------------------------------------------------

// What kind of page a write goes to, and what it does there.
enum class PageKind { kUid, kStaticLock, kOtp, kUser, kDynamicLock, kCfg0, kCfg1, kPwd, kPack };

PageKind KindOf(const NtagModel& m, int page) {
  if (page < 2) return PageKind::kUid;
  if (page == 2) return PageKind::kStaticLock;
  if (page == 3) return PageKind::kOtp;
  if (page <= m.last_user()) return PageKind::kUser;
  if (m.dynamic_lock && page == m.dynlock_page()) return PageKind::kDynamicLock;
  if (page == m.cfg0()) return PageKind::kCfg0;
  if (page == m.cfg1()) return PageKind::kCfg1;
  return page == m.pwd() ? PageKind::kPwd : PageKind::kPack;
}

// Pages whose bits the tag only ever sets: what is written is ORed in.
bool OnlySets(PageKind k) { return k == PageKind::kStaticLock || k == PageKind::kOtp || k == PageKind::kDynamicLock; }

// In the order of PageKind.
std::string Describe(PageKind k) {
  static const char* const kWords[] = {
      "holds the UID and cannot be written",
      "holds the static lock bits, which can only be set, never cleared",
      "is one-time programmable (the capability container): its bits can only be set",
      "is user memory",
      "holds the dynamic lock bits, which can only be set, never cleared",
      "is configuration page CFG0 (AUTH0: which pages need the password)",
      "is configuration page CFG1 (ACCESS: read protection, configuration lock)",
      "holds the password",
      "holds the PACK, the tag's answer to the password",
  };
  return kWords[static_cast<int>(k)];
}

struct WriteOptions {
  PasswordOptions pw;
  int page = 0;
  std::string hex;
  bool force = false;
};

void WritePage(Context& ctx, const WriteOptions& o) {
  Bytes data = ParseHex(o.hex, "HEX");
  if (data.size() != 4) throw Failure("HEX: a page has 4 bytes (8 hex digits)", 2);
  Tag tag(ctx, o.pw);
  tag.RequireKnown();
  const NtagModel& m = tag.model;
  const std::string where = "page " + std::to_string(o.page) + " of the " + tag.Name();
  if (o.page < 0 || o.page >= m.pages)
    throw Failure("the " + tag.Name() + " has pages 0 to " + std::to_string(m.pages - 1), 2);
  const PageKind kind = KindOf(m, o.page);
  if (kind == PageKind::kUid) throw Failure(where + " " + Describe(kind) + "; nothing was written", 2);
  if (kind != PageKind::kUser && !o.force)
    throw Failure(where + " " + Describe(kind) + "; give --force to write it. Nothing was written", 2);
  tag.CheckAccess(o.page, o.page, true);

  // What the page holds now, and the lock state: a locked page is refused
  // before anything is sent.
  const bool hidden = kind == PageKind::kPwd || kind == PageKind::kPack;
  Bytes page2 = tag.MustRead(2, 2), dyn, now;
  if (m.dynamic_lock) dyn = tag.MustRead(m.dynlock_page(), m.dynlock_page());
  std::vector<int> locked = tag.LockedPages(page2.data(), dyn, tag.config_readable ? tag.cfg1 : Bytes{});
  if (std::find(locked.begin(), locked.end(), o.page) != locked.end())
    throw Failure(where + " is locked; nothing was written");
  if (!hidden) now = tag.MustRead(o.page, o.page);

  Bytes expect = data;
  if (OnlySets(kind)) {
    for (size_t i = 0; i < 4; ++i) expect[i] = static_cast<uint8_t>(now[i] | data[i]);
    if (kind == PageKind::kStaticLock) {  // bytes 0 and 1 are the UID's: the tag keeps them
      expect[0] = now[0];
      expect[1] = now[1];
      data[0] = now[0];
      data[1] = now[1];
    }
    if (expect != data) ctx.Note(where + " keeps its set bits: it will read " + Hex(expect) + ", not " + Hex(data));
    // The pages the new lock bits lock.
    Bytes p2 = page2, d2 = dyn;
    if (kind == PageKind::kStaticLock) p2 = expect;
    if (kind == PageKind::kDynamicLock) d2 = expect;
    std::vector<int> after = tag.LockedPages(p2.data(), d2, Bytes{}), newly;
    for (int p : after)
      if (std::find(locked.begin(), locked.end(), p) == locked.end()) newly.push_back(p);
    if (!newly.empty()) ctx.Note("locking " + PagesWord(newly) + " for good");
    // Page 2 byte 2 bits 0 to 2 freeze lock bits themselves: those of page
    // 3, of pages 4-9 and of pages 10-15.
    if (kind == PageKind::kStaticLock) {
      static const char* const kFrozen[] = {"page 3", "pages 4-9", "pages 10-15"};
      for (int bit = 0; bit < 3; ++bit)
        if ((expect[2] >> bit & 1) && !(page2[2] >> bit & 1))
          ctx.Note(std::string("freezing the lock bits of ") + kFrozen[bit] + ": they can no longer be set");
    }
    ctx.out().doc()["newly_locked"] = newly;
  }
  if (kind == PageKind::kCfg1 && (data[0] & kCfgLock) && !(tag.access() & kCfgLock))
    ctx.Note("CFG1 sets the configuration lock: CFG0 and CFG1 can never be written again");
  if (kind == PageKind::kCfg0 && data[3] < m.pages)
    ctx.Note("AUTH0 " + std::to_string(data[3]) + ": pages " + std::to_string(data[3]) + "-" +
             std::to_string(m.pages - 1) + " will need the password");

  tag.Write(o.page, data.data());
  Json& d = ctx.out().doc();
  d["uid"] = Hex(tag.card.uid);
  d["type"] = m.name;
  d["page"] = o.page;
  d["written"] = Hex(data);
  if (hidden) {
    d["verified"] = false;
    ctx.Done("wrote " + Hex(data) + " to " + where + " (it always reads as zeros: not read back)");
    return;
  }
  Bytes back;
  try {
    back = tag.MustRead(o.page, o.page);
  } catch (const Failure& f) {
    throw Failure("wrote " + Hex(data) + " to " + where + ", but could not read it back: " + f.what());
  }
  if (back != expect) throw Failure("wrote " + where + ", but it reads back " + Hex(back) + ", not " + Hex(expect));
  d["verified"] = true;
  ctx.Done("wrote " + Hex(data) + " to " + where + " and read it back" + (expect != data ? " as " + Hex(expect) : ""));
}

// ---- ntag dump ------------------------------------------------------------------

struct DumpOptions {
  PasswordOptions pw;
  std::string file;
};

void Dump(Context& ctx, const DumpOptions& o) {
  std::unique_ptr<OutputFile> file;
  if (!o.file.empty()) file = std::make_unique<OutputFile>(o.file, "dump file", 0644);  // checked first
  Tag tag(ctx, o.pw, true);
  tag.RequireKnown();
  const NtagModel& m = tag.model;
  tag.CheckAccess(0, m.pages - 1, false);
  // The last pages came with the configuration; the others before them.
  Bytes memory;
  Progress progress("dumping", m.pages);
  progress.Step(m.pages - tag.tail_from());
  for (int page = 0; page < tag.tail_from();) {
    int last = std::min(page + tag.Span() - 1, tag.tail_from() - 1);
    Bytes part = tag.MustRead(page, last);
    memory.insert(memory.end(), part.begin(), part.end());
    progress.Step(m.pages - tag.tail_from() + last + 1);
    page = last + 1;
  }
  memory.insert(memory.end(), tag.tail().begin(), tag.tail().end());
  Json& d = ctx.out().doc();
  d["uid"] = Hex(tag.card.uid);
  d["type"] = m.name;
  d["pages"] = m.pages;
  if (file) {
    file->Commit(memory);
    d["file"] = o.file;
    ctx.Done("dumped " + std::to_string(m.pages) + " pages of " + tag.Name() + " to " + o.file);
    return;
  }
  // The listing names the tag first, as the summary of a dump to a file does.
  ctx.out().Line(tag.Name() + ", " + std::to_string(m.pages) + " pages");
  Json pages = Json::array();
  for (int p = 0; p < m.pages; ++p) {
    std::string hex = Hex(&memory[static_cast<size_t>(p) * 4], 4);
    pages.push_back(hex);
    char label[24];
    std::snprintf(label, sizeof label, "page %3d: ", p);
    ctx.out().Line(label + hex);
  }
  d["memory"] = pages;
}

// ---- ntag restore ---------------------------------------------------------------

struct RestoreOptions {
  PasswordOptions pw;
  std::string file;
  bool force = false;
};

// Writes a dump back. By default only user memory (pages 4 to the last user
// page). With --force also page 3 (capability container), the lock bits and
// CFG0/CFG1, under these rules, all checked before the first write:
//  - bits that can only be set (page 3, lock bits) must not be set on the
//    tag and clear in the dump: the tag could not take the dump's value;
//  - the lock bits written are the dump's: they lock exactly the pages the
//    dump's lock bits lock (listed before writing), and they are written
//    after every data page, so that no page is locked before it holds the
//    dump's content;
//  - CFG0 and CFG1 are written last, CFG0 (AUTH0) before CFG1 (which may
//    lock the configuration); a dump whose AUTH0 would guard the pages still
//    to be written needs --password;
//  - PWD and PACK are never written: a dump holds zeros for them.
// Pages that already hold the dump's bytes are not written again.
void Restore(Context& ctx, const RestoreOptions& o) {
  const Bytes image = ReadInput(o.file, "dump file", 231 * 4);
  Tag tag(ctx, o.pw);
  tag.RequireKnown();
  const NtagModel& m = tag.model;
  if (image.size() != static_cast<size_t>(m.pages) * 4)
    throw Failure("the dump " + o.file + " holds " + std::to_string(image.size()) + " bytes; the " + tag.Name() +
                  " has " + std::to_string(m.pages) + " pages (" + std::to_string(m.pages * 4) +
                  " bytes). Nothing was written");
  auto at = [&](int page) { return Bytes(image.begin() + page * 4, image.begin() + page * 4 + 4); };
  Bytes file_uid{image[0], image[1], image[2], image[4], image[5], image[6], image[7]};
  Json& d = ctx.out().doc();
  d["uid"] = Hex(tag.card.uid);
  d["type"] = m.name;
  d["file"] = o.file;
  d["file_uid"] = Hex(file_uid);
  if (file_uid != tag.card.uid)
    ctx.out().Line("the dump is of UID " + Hex(file_uid) + ", the tag is " + Hex(tag.card.uid) +
                   ": its UID pages stay as they are");

  const Bytes current = tag.MustRead(0, m.pages - 1);
  auto now = [&](int page) { return Bytes(current.begin() + page * 4, current.begin() + page * 4 + 4); };
  Bytes dyn_now = m.dynamic_lock ? now(m.dynlock_page()) : Bytes{};
  const std::vector<int> locked = tag.LockedPages(&current[8], dyn_now, tag.config_readable ? tag.cfg1 : Bytes{});
  auto is_locked = [&](int p) { return std::find(locked.begin(), locked.end(), p) != locked.end(); };

  // The plan: the pages in the order they are written, each with its bytes.
  std::vector<std::pair<int, Bytes>> plan;
  std::vector<int> unchanged, refused_locked, refused_bits;
  auto plan_page = [&](int p, Bytes bytes, bool only_sets) {
    Bytes cur = now(p);
    if (only_sets) {
      for (size_t i = 0; i < 4; ++i)
        if (cur[i] & ~bytes[i]) refused_bits.push_back(p);
    }
    if (cur == bytes) {
      unchanged.push_back(p);
      return;
    }
    if (is_locked(p)) refused_locked.push_back(p);
    plan.emplace_back(p, bytes);
  };
  for (int p = 4; p <= m.last_user(); ++p) plan_page(p, at(p), false);
  std::vector<int> newly_locked;
  if (o.force) {
    plan_page(3, at(3), true);
    Bytes p2 = now(2);
    p2[2] = image[10];
    p2[3] = image[11];
    Bytes dyn = m.dynamic_lock ? at(m.dynlock_page()) : Bytes{};
    if (m.dynamic_lock) plan_page(m.dynlock_page(), dyn, true);
    plan_page(2, p2, true);
    for (int p : tag.LockedPages(p2.data(), dyn, Bytes{}))
      if (!is_locked(p)) newly_locked.push_back(p);
    Bytes c0 = at(m.cfg0()), c1 = at(m.cfg1());
    if (c0[3] <= m.cfg1() && !tag.authenticated && c1 != now(m.cfg1()))
      throw Failure("the dump's AUTH0 " + std::to_string(c0[3]) +
                    " guards CFG1, which is written after it: give --password (the tag's current password). "
                    "Nothing was written");
    plan_page(m.cfg0(), c0, false);
    plan_page(m.cfg1(), c1, false);
  }
  std::vector<int> planned;
  for (const auto& step : plan) planned.push_back(step.first);
  std::sort(planned.begin(), planned.end());
  tag.CheckAccess(planned, true);
  std::sort(refused_bits.begin(), refused_bits.end());
  refused_bits.erase(std::unique(refused_bits.begin(), refused_bits.end()), refused_bits.end());
  if (!refused_locked.empty())
    throw Failure(PagesOf(refused_locked, tag.Name()) + " locked and differ" + (refused_locked.size() == 1 ? "s" : "") +
                  " from the dump. Nothing was written");
  if (!refused_bits.empty())
    throw Failure(PagesWord(refused_bits) + " of the " + tag.Name() + (refused_bits.size() == 1 ? " has" : " have") +
                  " bits set that the dump has clear; such bits can only be set, never cleared. Nothing was written");
  if (!newly_locked.empty()) ctx.Note("the dump's lock bits lock " + PagesWord(newly_locked) + " for good");

  std::vector<int> written, differ, unverified;
  // Compares pages with what the plan wrote there. CFG0 and CFG1 come last
  // and are compared one by one: a new AUTH0 may hide them (and the pages
  // behind it) from reads without the password.
  auto verify = [&](size_t from, size_t to) {
    if (from >= to) return;
    const bool config = plan[from].first >= m.cfg0();
    std::optional<Bytes> back = config ? tag.Read(plan[from].first, plan[from].first) : tag.MustRead(0, m.pages - 1);
    for (size_t i = from; i < to; ++i) {
      const auto& [page, bytes] = plan[i];
      if (!back) {
        unverified.push_back(page);
        continue;
      }
      const size_t at = config ? 0 : static_cast<size_t>(page) * 4;
      if (!std::equal(bytes.begin(), bytes.end(), back->begin() + static_cast<long>(at))) differ.push_back(page);
    }
  };
  StopSignals stop;
  Progress progress("restoring", static_cast<int>(plan.size()));
  size_t verified = 0;
  try {
    for (const auto& [page, bytes] : plan) {
      if (StopSignals::Requested()) throw Failure("interrupted");
      if (page >= m.cfg0() && verified < written.size()) {
        verify(0, written.size());
        verified = written.size();
      }
      tag.Write(page, bytes.data());
      written.push_back(page);
      progress.Step(static_cast<int>(written.size()));
      if (page >= m.cfg0()) {
        verify(written.size() - 1, written.size());
        verified = written.size();
      }
    }
    verify(verified, written.size());
  } catch (const Failure& f) {
    std::vector<int> left;
    for (size_t i = written.size(); i < plan.size(); ++i) left.push_back(plan[i].first);
    std::sort(left.begin(), left.end());
    std::vector<int> sorted = written;
    std::sort(sorted.begin(), sorted.end());
    std::string unconfirmed =
        left.empty() ? "" : " (the write of page " + std::to_string(plan[written.size()].first) + " was not confirmed)";
    throw Failure(std::string(f.what()) + ". Written: " + (sorted.empty() ? "no page" : PagesWord(sorted)) +
                  "; not written: " + (left.empty() ? "no page" : PagesWord(left)) + unconfirmed);
  }
  std::sort(written.begin(), written.end());
  d["pages_written"] = written;
  d["pages_unchanged"] = unchanged.size();
  if (!differ.empty())
    throw Failure("written: " + PagesWord(written) + ", but " + PagesWord(differ) + " read back otherwise");
  if (!unverified.empty())
    ctx.Note(PagesWord(unverified) + " written but not read back: the new AUTH0 guards reads without the password");
  ctx.Done(
      "restored " + o.file + " to the " + tag.Name() + ": wrote " + (written.empty() ? "no page" : PagesWord(written)) +
      " (" + std::to_string(unchanged.size()) + " pages already held the dump's bytes)" +
      (o.force ? "; PWD and PACK left as they were" : "; pages 0-3, lock and configuration pages left as they were"));
}

}  // namespace

bool NtagModelOf(const unsigned char* version, NtagModel& m) {
  using C = NtagModel::Counter;
  struct Known {
    int type, size;
    NtagModel model;
  };
  static const Known kKnown[] = {
      {0x04, 0x0B, {"NTAG210", 20, false, C::kNone, 0x06}},
      {0x04, 0x0E, {"NTAG212", 41, true, C::kNone, 0x10}},
      {0x04, 0x0F, {"NTAG213", 45, true, C::kNfc, 0x12}},
      {0x04, 0x11, {"NTAG215", 135, true, C::kNfc, 0x3E}},
      {0x04, 0x13, {"NTAG216", 231, true, C::kNfc, 0x6D}},
      {0x03, 0x0B, {"Ultralight EV1 (48 bytes)", 20, false, C::kOneWay, 0x06}},
      {0x03, 0x0E, {"Ultralight EV1 (128 bytes)", 41, true, C::kOneWay, 0x10}},
  };
  for (const Known& k : kKnown)
    if (version[2] == k.type && version[6] == k.size) {
      m = k.model;
      return true;
    }
  return false;
}

void AddNtagCommands(CLI::App& app, Context& ctx) {
  auto* ntag = app.add_subcommand("ntag", "NTAG21x and Ultralight EV1 tags");
  ntag->require_subcommand(1);

  static PasswordOptions info;
  info = PasswordOptions();
  auto* i = ntag->add_subcommand("info", "type, memory, lock bits, configuration, NFC counter and signature");
  AddPasswordOptions(i, info);
  ctx.Register(i, [&ctx] { Info(ctx, info); });

  static ReadOptions read;
  read = ReadOptions();
  auto* r = ntag->add_subcommand("read", "read pages");
  r->add_option("PAGE", read.page, "the first page")->required()->check(CLI::Range(0, 255));
  r->add_option("COUNT", read.count, "how many pages (default 1)")->check(CLI::Range(1, 256));
  AddPasswordOptions(r, read.pw);
  ctx.Register(r, [&ctx] { ReadPages(ctx, read); });

  static WriteOptions write;
  write = WriteOptions();
  auto* w = ntag->add_subcommand("write", "write one page (user memory; others with --force) and read it back");
  w->add_option("PAGE", write.page, "the page")->required()->check(CLI::Range(0, 255));
  w->add_option("HEX", write.hex, "the 4 bytes, in hex")->required();
  w->add_flag("--force", write.force,
              "also write page 2 (static lock bits), page 3 (one-time programmable), the dynamic lock bits and the "
              "configuration pages");
  AddPasswordOptions(w, write.pw);
  ctx.Register(w, [&ctx] { WritePage(ctx, write); });

  static DumpOptions dump;
  dump = DumpOptions();
  auto* d = ntag->add_subcommand("dump", "read every page of the tag (to FILE, or listed)");
  d->add_option("FILE", dump.file, "write the pages, 4 bytes each in order, to this file");
  AddPasswordOptions(d, dump.pw);
  ctx.Register(d, [&ctx] { Dump(ctx, dump); });

  static RestoreOptions restore;
  restore = RestoreOptions();
  auto* s = ntag->add_subcommand("restore", "write a dump of ntag dump back (user memory; more with --force)");
  s->add_option("FILE", restore.file, "the dump file")->required();
  s->add_flag("--force", restore.force,
              "also page 3, the lock bits (the dump's, after all data) and CFG0/CFG1; never PWD and PACK");
  AddPasswordOptions(s, restore.pw);
  ctx.Register(s, [&ctx] { Restore(ctx, restore); });
}

}  // namespace orvextool
