// SPDX-License-Identifier: MIT
// Subcommands on the reader's SAM slots: sam apdu.
#include "commands.h"

namespace orvextool {

namespace {

constexpr int kResetDeadlineMs = 700;
constexpr int kApduDeadlineMs = 1000;
// The SAM channel carries command APDUs of at most 100 bytes.
constexpr size_t kMaxSamApdu = 100;

struct ApduOptions {
  int slot = 1;
  std::vector<std::string> apdus;
};

void Apdu(Context& ctx, const ApduOptions& o) {
  std::vector<Bytes> apdus = ParseApdus(o.apdus, "sam apdu", kMaxSamApdu);
  ctx.Open();
  std::string slot = "slot " + std::to_string(o.slot);
  int len = 0;
  unsigned char answer[ORVEX_MAX_ANSWER];
  CheckCard(ctx.ov.OV_SAM_Reset(ctx.reader_id, o.slot, &len, answer), "resetting the SAM in " + slot,
            kResetDeadlineMs, "no SAM in " + slot + ", or it did not answer the reset");
  std::string atr = Hex(answer, static_cast<size_t>(len));
  ctx.out().doc()["slot"] = o.slot;
  ctx.out().doc()["atr"] = atr;
  ctx.out().Line("ATR " + atr);
  Json results = Json::array();
  for (Bytes& a : apdus) {
    CheckCard(ctx.ov.OV_SAM_COS(ctx.reader_id, o.slot, static_cast<int>(a.size()), a.data(), &len, answer),
              "APDU " + Hex(a) + " to the SAM in " + slot, kApduDeadlineMs,
              "the reader could not deliver it to the SAM");
    results.push_back(ApduResult(ctx, a, answer, len));
  }
  ctx.out().doc()["responses"] = results;
}

}  // namespace

void AddSamCommands(CLI::App& app, Context& ctx) {
  auto* sam = app.add_subcommand("sam", "the reader's SAM slots");
  sam->require_subcommand(1);
  static ApduOptions apdu;
  auto* a = sam->add_subcommand("apdu", "reset the SAM in a slot and send it APDUs");
  a->add_option("-s,--slot", apdu.slot, "SAM slot, 1 to 3 (default 1)")->check(CLI::Range(1, 3));
  a->add_option("HEX", apdu.apdus, "one command APDU per argument, in hex")->required();
  ctx.Register(a, [&ctx] { Apdu(ctx, apdu); });
}

}  // namespace orvextool
