// Subcommands on the cards in the field: scan.
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

// A low-frequency (125 kHz) card: its number. The reader gives -1 both for
// a link failure and for an empty field, so the caller first makes sure
// the reader answers at all.
void ScanLowFrequency(Context& ctx, std::vector<FoundCard>& found) {
  unsigned char id[ORVEX_MAX_ANSWER];
  if (ctx.ov.OV_LFCard_ReadID(ctx.reader_id, id) != 1) return;
  found.push_back({"lf-125khz", Hex(id, 5), Json::object(), ""});
}

void Scan(Context& ctx) {
  ctx.Open();
  // Is anybody there? Tells "no reader" from "no card".
  if (ctx.ov.OV_GetReaderID(ctx.reader_id) < 0)
    CheckReader(-1, "scan", kReaderDeadlineMs);
  std::vector<FoundCard> found;
  ScanTypeA(ctx, found);
  ScanLowFrequency(ctx, found);
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
