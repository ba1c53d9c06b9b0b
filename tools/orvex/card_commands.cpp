// SPDX-License-Identifier: MIT
// Subcommands on the cards in the field: scan and watch.
#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <thread>

#include "commands.h"
#include "felica.h"
#include "iso14443a.h"

namespace orvextool {

namespace {

struct FoundCard {
  std::string family;
  std::string uid;
  Json details = Json::object();  // ATQA/SAK or the family's equivalent
  std::string text;               // the details in words
};

// ISO 14443-A cards: each one is selected, noted and halted, so that the
// next request finds the next card, until none answers.
void ScanTypeA(Context& ctx, std::vector<FoundCard>& found) {
  constexpr int kMaxCards = 16;
  TypeACardInfo card;
  for (int i = 0; i < kMaxCards && SelectTypeA(ctx, 0x26, card); ++i) {
    char atqa[8];
    std::snprintf(atqa, sizeof atqa, "%04X", card.atqa);
    std::string sak = Hex(&card.sak, 1);
    found.push_back({"iso14443a", Hex(card.uid),
                     {{"atqa", atqa}, {"sak", sak}, {"type", card.Kind()}},
                     "ATQA " + std::string(atqa) + " SAK " + sak + "  " + card.Kind()});
    if (ctx.ov.OV_CardHalt(ctx.reader_id) != 1) break;
  }
}

// ISO 14443-B cards (the memory tags of that kind among them): each one is
// activated, noted by its PUPI and halted, until none answers.
void ScanTypeB(Context& ctx, std::vector<FoundCard>& found) {
  constexpr int kMaxCards = 16;
  constexpr unsigned char kReqB = 0x00;
  for (int i = 0; i < kMaxCards; ++i) {
    unsigned char attrib[4] = {0, 0, 0, 0}, atqb[ORVEX_MAX_ANSWER];
    int len = 0;
    if (ctx.ov.OV_TypeB_Request(ctx.reader_id, kReqB, attrib, &len, atqb) != 1 || len < 5) return;
    std::string answer = Hex(atqb, static_cast<size_t>(len));
    found.push_back({"iso14443b", Hex(atqb + 1, 4), {{"atqb", answer}}, "ATQB " + answer});
    if (ctx.ov.OV_TypeB_Halt(ctx.reader_id, atqb + 1) != 1) return;
  }
}

// ST memory tags (SR176, SR512, SRIX4K): each one is activated, noted by
// its chip id and 8-byte UID and deactivated (it then stays silent until the
// field is switched off), until none answers. The SR176 keeps its UID in
// 2-byte blocks, the others in one 4-byte pair.
void ScanStTags(Context& ctx, std::vector<FoundCard>& found) {
  constexpr int kMaxTags = 16;
  for (int i = 0; i < kMaxTags; ++i) {
    // The SR512 identifier read writes its whole answer: a buffer of the
    // largest answer, and only an 8-byte answer is a UID.
    unsigned char chip = 0, uid[ORVEX_MAX_ANSWER];
    if (ctx.ov.OV_ST_Active(ctx.reader_id, &chip) != 1) return;
    bool have = (ctx.ov.OV_SR512_GetUID(ctx.reader_id, uid) == 1 && LastAnswerLength() == 8) ||
                ctx.ov.OV_SR176_GetUID(ctx.reader_id, uid) == 1;
    std::string id = Hex(&chip, 1);
    found.push_back({"st-memory", have ? Hex(uid, 8) : "", {{"chip_id", id}}, "chip id " + id});
    if (ctx.ov.OV_ST_DeActive(ctx.reader_id) != 1) return;
  }
}

// ISO 15693 tags: one inventory lists every tag (DSFID and UID each, the UID
// least significant byte first; shown the way it is written, E0 first).
void ScanVicinity(Context& ctx, std::vector<FoundCard>& found) {
  unsigned char answer[ORVEX_MAX_ANSWER], len = 0;
  if (ctx.ov.OV_ISO15693_Multi_Inventory(ctx.reader_id, 0, 0, answer, &len) != 1 || len < 1) return;
  for (int i = 0; i < answer[0] && 1 + (i + 1) * 9 <= len; ++i) {
    const unsigned char* rec = answer + 1 + i * 9;
    Bytes uid(rec + 1, rec + 9);
    std::reverse(uid.begin(), uid.end());
    std::string dsfid = Hex(rec, 1);
    found.push_back({"iso15693", Hex(uid), {{"dsfid", dsfid}}, "DSFID " + dsfid});
  }
}

// A low-frequency (125 kHz) card: its number. The reader gives -1 both for
// a link failure and for an empty field, so the caller first makes sure
// the reader answers at all.
void ScanLowFrequency(Context& ctx, std::vector<FoundCard>& found) {
  unsigned char id[ORVEX_MAX_ANSWER];
  if (ctx.ov.OV_LFCard_ReadID(ctx.reader_id, id) != 1) return;
  found.push_back({"lf-125khz", Hex(id, 5), Json::object(), ""});
}

// A Topaz (NFC Forum Type 1) tag: its identification answers a RID without
// any anticollision; the header ROM bytes tell the tag's kind.
void ScanTopaz(Context& ctx, std::vector<FoundCard>& found) {
  unsigned char hr0 = 0, hr1 = 0, uid[ORVEX_MAX_ANSWER];
  int len = 0;
  if (ctx.ov.OV_TOPAZ_ReadUID(ctx.reader_id, &hr0, &hr1, &len, uid) != 1 || len < 4) return;
  std::string hr = Hex(&hr0, 1) + Hex(&hr1, 1);
  found.push_back({"topaz", Hex(uid, 4), {{"hr", hr}}, "HR " + hr});
}

// FeliCa cards: pollings for any system code give each one's IDm and PMm.
// The search goes on for a while after a card answered: tell (when given)
// hears of each card at once.
void ScanFelica(Context& ctx, std::vector<FoundCard>& found, const std::function<void()>& tell) {
  PollFelicaCards(ctx, 0xFFFF, [&](const FelicaCardInfo& c) {
    std::string p = Hex(c.pmm);
    found.push_back({"felica", Hex(c.idm), {{"pmm", p}}, "PMm " + p});
    tell();
  });
}

// A resident identity card (ISO 14443-B): the reader reads its card number.
// It switches the reader to type B search; the type B scan follows anyway.
void ScanIdCard(Context& ctx, std::vector<FoundCard>& found) {
  // A refusal comes back as the reader's status byte, and status 1 ("no
  // card") reads like success: only a written length of 8 means a number.
  unsigned char len = 0, number[8] = {};
  if (ctx.ov.OV_ChinaIDV2_RequestCardNo(ctx.reader_id, &len, number) != 1 || len != 8) return;
  found.push_back({"id-card", Hex(number, 8), Json::object(), ""});
}

// An SLE4442 in the contact slot: its answer to reset.
void ScanContactSle(Context& ctx, std::vector<FoundCard>& found) {
  unsigned char atr[ORVEX_MAX_ANSWER] = {};  // a shorter answer shows as zeros
  if (ctx.ov.OV_SLE_Reset(ctx.reader_id, atr) != 1000) return;
  std::string a = Hex(atr, 4);
  found.push_back({"sle4442", "", {{"atr", a}}, "ATR " + a});
}

// Every card of every family in the field, in a fixed order; seen (when
// given) hears of each card as soon as its family's scan found it. The field
// is switched off and on at the end: the cards the scan halted would stay
// halted as long as they are powered, and a later request would not find
// them.
std::vector<FoundCard> ScanField(Context& ctx, const std::function<void(const FoundCard&)>& seen = nullptr) {
  std::vector<FoundCard> found;
  size_t told = 0;
  auto tell = [&] {
    for (; told < found.size(); ++told)
      if (seen) seen(found[told]);
  };
  for (auto scan : {ScanTypeA, ScanTopaz}) {
    scan(ctx, found);
    tell();
  }
  ScanFelica(ctx, found, tell);
  for (auto scan : {ScanIdCard, ScanTypeB, ScanStTags, ScanVicinity, ScanLowFrequency, ScanContactSle}) {
    scan(ctx, found);
    tell();
  }
  ResetField(ctx, "scan");
  return found;
}

Json CardJson(const FoundCard& c) {
  Json j = {{"family", c.family}, {"uid", c.uid}};
  for (auto it = c.details.begin(); it != c.details.end(); ++it) j[it.key()] = it.value();
  return j;
}

// "iso14443a    11223344  ATQA 0004 SAK 08  MIFARE Classic 1K"
std::string CardLine(const FoundCard& c) {
  std::string line = c.family;
  line.resize(12, ' ');
  return line + " " + c.uid + (c.text.empty() ? "" : "  " + c.text);
}

// Tells one card from another between two scans: its family and
// identifier (a contact card has none: its answer to reset).
std::string CardKey(const FoundCard& c) { return c.family + " " + c.uid + " " + c.details.dump(); }

// The pause between two looks at the field while waiting or watching: short
// enough that a card placed is reported within a few tenths of a second, and
// the reader is not kept busy without need.
constexpr auto kPollPause = std::chrono::milliseconds(100);

// Sleeps for kPollPause, or less when a stop was asked for.
void Pause() {
  const auto until = std::chrono::steady_clock::now() + kPollPause;
  while (!StopSignals::Requested() && std::chrono::steady_clock::now() < until)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

struct ScanOptions {
  bool wait = false;
  double timeout = 0;  // seconds; 0 waits for ever
};

std::string Seconds(double s) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%g", s);
  return buf;
}

void Scan(Context& ctx, const ScanOptions& o) {
  ctx.Open();
  CheckReaderAnswers(ctx, "scan");
  // Each card's line goes out as soon as the card is found, not when the
  // other families have been looked for: scan --wait tells at once.
  auto tell = [&ctx](const FoundCard& c) {
    ctx.out().Line(CardLine(c));
    ctx.out().Flush();
  };
  std::vector<FoundCard> found = ScanField(ctx, tell);
  const auto start = std::chrono::steady_clock::now();
  while (o.wait && found.empty()) {
    double waited = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (o.timeout > 0 && waited >= o.timeout)
      throw Failure("scan: no card came into the field within " + Seconds(o.timeout) + " s");
    std::this_thread::sleep_for(kPollPause);
    found = ScanField(ctx, tell);
  }
  Json cards = Json::array();
  for (const auto& c : found) cards.push_back(CardJson(c));
  if (found.empty()) ctx.out().Line("no card in the field");
  ctx.out().doc()["cards"] = cards;
}

struct WatchOptions {
  double timeout = 0;  // seconds; 0 watches until interrupted
};

// Reports each card arriving in the field and leaving it, until SIGINT or
// SIGTERM (or the timeout): a line each ("arrived ..." / "left ..."), or one
// JSON document a line. The cards in the field when it starts are reported
// as arriving.
void Watch(Context& ctx, const WatchOptions& o) {
  StopSignals stop;
  ctx.Open();
  CheckReaderAnswers(ctx, "watch");
  std::map<std::string, FoundCard> present;
  const auto start = std::chrono::steady_clock::now();
  auto report = [&ctx](const char* event, const FoundCard& c) {
    if (ctx.out().json()) {
      ctx.out().JsonLine({{"event", event}, {"card", CardJson(c)}});
      return;
    }
    std::string e = event;
    e.resize(8, ' ');
    ctx.out().Line(e + " " + CardLine(c));
    ctx.out().Flush();
  };
  if (ctx.out().json()) ctx.out().JsonLine({{"event", "watching"}});
  while (!StopSignals::Requested()) {
    std::map<std::string, FoundCard> now;
    for (const auto& c : ScanField(ctx)) now.emplace(CardKey(c), c);
    for (const auto& p : present)
      if (!now.count(p.first)) report("left", p.second);
    for (const auto& p : now)
      if (!present.count(p.first)) report("arrived", p.second);
    present = std::move(now);
    double waited = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (o.timeout > 0 && waited >= o.timeout) break;
    Pause();
  }
}

}  // namespace

void AddCardCommands(CLI::App& app, Context& ctx) {
  static ScanOptions scan_options;
  scan_options = ScanOptions();
  auto* scan = app.add_subcommand("scan", "list the cards in the field, one line each");
  auto* wait = scan->add_flag("-w,--wait", scan_options.wait, "wait until a card is in the field");
  scan->add_option("--timeout", scan_options.timeout,
                   "with --wait: give up after this many seconds (exit status 1; default: wait for ever)")
      ->check(CLI::PositiveNumber)
      ->needs(wait);
  ctx.Register(scan, [&ctx] { Scan(ctx, scan_options); });

  static WatchOptions watch_options;
  watch_options = WatchOptions();
  auto* watch = app.add_subcommand("watch", "report cards arriving in the field and leaving it, until interrupted");
  watch->add_option("--timeout", watch_options.timeout, "stop after this many seconds (default: at Ctrl-C)")
      ->check(CLI::PositiveNumber);
  ctx.Register(watch, [&ctx] { Watch(ctx, watch_options); });
}

}  // namespace orvextool
