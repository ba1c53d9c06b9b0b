// SPDX-License-Identifier: MIT
// Subcommands on the cards in the field: scan.
#include <algorithm>

#include "commands.h"
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

// An ST memory tag (SR176, SR512, SRIX4K): its chip id and 8-byte UID. The
// SR176 keeps its UID in 2-byte blocks, the others in one 4-byte pair.
void ScanStTag(Context& ctx, std::vector<FoundCard>& found) {
  // The SR512 identifier read writes its whole answer: a buffer of the
  // largest answer, and only an 8-byte answer is a UID.
  unsigned char chip = 0, uid[ORVEX_MAX_ANSWER];
  if (ctx.ov.OV_ST_Active(ctx.reader_id, &chip) != 1) return;
  bool have = (ctx.ov.OV_SR512_GetUID(ctx.reader_id, uid) == 1 && LastAnswerLength() == 8) ||
              ctx.ov.OV_SR176_GetUID(ctx.reader_id, uid) == 1;
  std::string id = Hex(&chip, 1);
  found.push_back({"st-memory", have ? Hex(uid, 8) : "", {{"chip_id", id}}, "chip id " + id});
  ctx.ov.OV_ST_DeActive(ctx.reader_id);
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

// A FeliCa card: a polling for any system code gives its IDm and PMm.
void ScanFelica(Context& ctx, std::vector<FoundCard>& found) {
  unsigned char idm[8] = {}, pmm[8] = {}, request_data[2];
  if (ctx.ov.OV_Felica_Polling(ctx.reader_id, 0xFFFF, 0, 0, idm, pmm, request_data) != 1) return;
  std::string p = Hex(pmm, 8);
  found.push_back({"felica", Hex(idm, 8), {{"pmm", p}}, "PMm " + p});
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

void Scan(Context& ctx) {
  ctx.Open();
  CheckReaderAnswers(ctx, "scan");
  std::vector<FoundCard> found;
  ScanTypeA(ctx, found);
  ScanTopaz(ctx, found);
  ScanFelica(ctx, found);
  ScanIdCard(ctx, found);
  ScanTypeB(ctx, found);
  ScanStTag(ctx, found);
  ScanVicinity(ctx, found);
  ScanLowFrequency(ctx, found);
  ScanContactSle(ctx, found);
  // The cards scan halted stay halted as long as they are powered, and a
  // later command's request would not find them.
  ResetField(ctx, "scan");
  if (found.empty()) throw Failure("scan: no card in the field");
  Json cards = Json::array();
  for (const auto& c : found) {
    Json j = {{"family", c.family}, {"uid", c.uid}};
    for (auto it = c.details.begin(); it != c.details.end(); ++it) j[it.key()] = it.value();
    cards.push_back(j);
    std::string line = c.family;
    line.resize(12, ' ');
    ctx.out().Line(line + " " + c.uid + (c.text.empty() ? "" : "  " + c.text));
  }
  ctx.out().doc()["cards"] = cards;
}

}  // namespace

void AddCardCommands(CLI::App& app, Context& ctx) {
  auto* scan = app.add_subcommand("scan", "list the cards in the field, one line each");
  ctx.Register(scan, [&ctx] { Scan(ctx); });
}

}  // namespace orvextool
