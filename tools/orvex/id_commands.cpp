// SPDX-License-Identifier: MIT
// Subcommands that read a card's number and nothing else: idcard read (the
// identity card, type B) and lf read (the 125 kHz identification card).
#include "commands.h"

namespace orvextool {

namespace {

void IdCardRead(Context& ctx) {
  ctx.Open();
  unsigned char length = 0;
  unsigned char number[8];
  int rc = ctx.ov.OV_ChinaIDV2_RequestCardNo(ctx.reader_id, &length, number);
  const std::string what = "reading the identity card's number";
  switch (rc) {
    case 1: break;
    case -5: throw Failure(what + ": the reader refused to search for type B cards");
    case -4: CheckReaderAnswers(ctx, what); throw Failure("no identity card in the field");
    case -1: CheckCard(-1, what, "");
    [[fallthrough]];
    case 0: throw Failure(what + ": the reader's answer did not echo the read");
    default: {
      char status[8];
      std::snprintf(status, sizeof status, "0x%02X", rc & 0xFF);
      throw Failure(what + ": the reader refused with status " + std::string(status) +
                    " (the card in the field is not an identity card?)");
    }
  }
  if (length != sizeof number)
    throw Failure(what + ": the reader gave a length of " + std::to_string(length) + ", not 8");
  std::string hex = Hex(number, sizeof number);
  ctx.out().Field("number", "card number", hex, hex);
}

void LfRead(Context& ctx) {
  ctx.Open();
  unsigned char id[ORVEX_MAX_ANSWER];
  int rc = ctx.ov.OV_LFCard_ReadID(ctx.reader_id, id);
  if (rc != 1) {
    // The read cannot tell "no card" from "no reader": ask the reader.
    CheckReaderAnswers(ctx, "reading the 125 kHz card");
    if (!LastLinkFailure().empty() || rc != -1) CheckCard(rc, "reading the 125 kHz card", "");
    throw Failure("no 125 kHz card in the field");
  }
  int n = LastAnswerLength();
  if (n <= 0 || n > ORVEX_MAX_ANSWER) throw Failure("reading the 125 kHz card: the reader sent no number");
  std::string hex = Hex(id, static_cast<size_t>(n));
  ctx.out().Field("id", "card number", hex, hex);
  ctx.out().doc()["bytes"] = n;
}

}  // namespace

void AddIdCommands(CLI::App& app, Context& ctx) {
  auto* idcard = app.add_subcommand("idcard", "the identity card (type B)");
  idcard->require_subcommand(1);
  auto* read = idcard->add_subcommand(
      "read", "the card's 8-byte number (the reader is left searching for type B cards: see reader search-mode)");
  ctx.Register(read, [&ctx] { IdCardRead(ctx); });

  auto* lf = app.add_subcommand("lf", "125 kHz identification cards");
  lf->require_subcommand(1);
  auto* lf_read = lf->add_subcommand("read", "the card's number, in hex");
  ctx.Register(lf_read, [&ctx] { LfRead(ctx); });
}

}  // namespace orvextool
