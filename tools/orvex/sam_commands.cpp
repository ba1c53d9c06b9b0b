// SPDX-License-Identifier: MIT
// Subcommands on the reader's SAM slots: sam apdu.
#include "commands.h"

namespace orvextool {

namespace {
// The SAM channel carries command APDUs of at most 100 bytes.
constexpr size_t kMaxSamApdu = 100;

struct ApduOptions {
  int slot = 1;
  ApduInput in;
};

void Apdu(Context& ctx, const ApduOptions& o) {
  auto lines = ReadApdus(o.in, "sam apdu", kMaxSamApdu);
  ctx.Open();
  std::string slot = "slot " + std::to_string(o.slot);
  int len = 0;
  unsigned char answer[ORVEX_MAX_ANSWER];
  CheckCard(ctx.ov.OV_SAM_Reset(ctx.reader_id, o.slot, &len, answer), "resetting the SAM in " + slot,
            "no SAM in " + slot + ", or it did not answer the reset");
  if (len < 0 || len > ORVEX_MAX_ANSWER)
    throw Failure("resetting the SAM in " + slot + ": the answer's length is " + std::to_string(len));
  std::string atr = Hex(answer, static_cast<size_t>(len));
  ctx.out().doc()["slot"] = o.slot;
  ctx.out().doc()["atr"] = atr;
  ctx.out().Line("ATR " + atr);
  ExchangeApdus(ctx, lines, o.in, [&](const Bytes& command) {
    Bytes c = command;
    int n = 0;
    unsigned char r[ORVEX_MAX_ANSWER];
    CheckCard(ctx.ov.OV_SAM_COS(ctx.reader_id, o.slot, static_cast<int>(c.size()), c.data(), &n, r),
              "APDU " + Hex(c) + " to the SAM in " + slot,
              "the reader could not deliver it to the SAM");
    if (n < 0 || n > ORVEX_MAX_ANSWER)
      throw Failure("APDU " + Hex(c) + ": the answer's length is " + std::to_string(n));
    return Bytes(r, r + n);
  });
}

}  // namespace

void AddSamCommands(CLI::App& app, Context& ctx) {
  auto* sam = app.add_subcommand("sam", "the reader's SAM slots");
  sam->require_subcommand(1);
  static ApduOptions apdu;
  apdu = ApduOptions();
  auto* a = sam->add_subcommand("apdu", "reset the SAM in a slot and send it APDUs");
  a->add_option("-s,--slot", apdu.slot, "SAM slot, 1 to 3 (default 1)")->check(CLI::Range(1, 3));
  AddApduOptions(a, apdu.in);
  ctx.Register(a, [&ctx] { Apdu(ctx, apdu); });
}

}  // namespace orvextool
