// SPDX-License-Identifier: MIT
// APDUs to a contactless CPU card (apdu, type A or type B) and to a SAM
// (sam apdu): the commands from the arguments or a script, one exchange
// machinery for both.
#include <stdexcept>

#include "apdu_script.h"
#include "commands.h"
#include "hex_text.h"

namespace orvextool {

namespace {

// A script is text: a megabyte is far more than any card session needs.
constexpr size_t kMaxScriptBytes = 1024 * 1024;
// 61XX and 6CXX answers followed up for one command, at most: a card that
// keeps asking is cut off.
constexpr int kMaxFollowUps = 32;

}  // namespace

void AddApduOptions(CLI::App* sub, ApduInput& in) {
  sub->add_option("HEX", in.args, "one command APDU per argument, in hex, optionally \"=SW\" (e.g. 00A4040000=9000)");
  sub->add_option("--script", in.script,
                  "read the APDUs from this file (- for standard input): one a line, in hex, optionally followed "
                  "by \"= SW\" (X for any digit) to check the status word; # starts a comment");
  sub->add_flag("--raw", in.raw, "send each APDU as it stands: no GET RESPONSE after 61XX, no resend after 6CXX");
}

std::vector<orvexformats::ApduLine> ReadApdus(const ApduInput& in, const std::string& what, size_t max) {
  if (in.args.empty() == in.script.empty())
    throw Failure(what + ": give the APDUs as arguments or with --script FILE (one of the two)", 2);
  if (!in.script.empty()) {
    Bytes text = ReadInput(in.script, what + " script", kMaxScriptBytes);
    const std::string name = in.script == "-" ? "standard input" : in.script;
    try {
      auto lines = orvexformats::ParseApduScript(std::string(text.begin(), text.end()), max);
      if (lines.empty()) throw Failure(what + ": the script " + name + " holds no APDU", 2);
      return lines;
    } catch (const std::invalid_argument& e) {
      throw Failure(what + ": " + name + ", " + e.what(), 2);
    }
  }
  std::vector<orvexformats::ApduLine> lines;
  for (size_t i = 0; i < in.args.size(); ++i) {
    orvexformats::ApduLine l;
    try {
      if (!orvexformats::ParseApduLine(in.args[i], max, l)) throw std::invalid_argument("no command");
    } catch (const std::invalid_argument& e) {
      throw Failure(what + ": \"" + orvexformats::Printable(in.args[i]) + "\": " + e.what(), 2);
    }
    l.line = static_cast<int>(i + 1);
    lines.push_back(l);
  }
  return lines;
}

void ExchangeApdus(Context& ctx, const std::vector<orvexformats::ApduLine>& lines, const ApduInput& in,
                   const std::function<Bytes(const Bytes&)>& send) {
  const std::string where =
      in.script.empty() ? "argument " : (in.script == "-" ? "standard input" : in.script) + ", line ";
  Json results = Json::array();
  for (const auto& l : lines) {
    Bytes command = l.command, data;
    Json exchanges = Json::array();
    uint8_t sw1 = 0, sw2 = 0;
    for (int round = 0;; ++round) {
      ctx.out().Line("> " + Hex(command));
      Bytes answer = send(command);
      if (answer.size() < 2)
        throw Failure(where + std::to_string(l.line) + ": the answer to " + Hex(command) + " has no status word (" +
                      std::to_string(answer.size()) + " bytes)");
      sw1 = answer[answer.size() - 2];
      sw2 = answer[answer.size() - 1];
      Bytes part(answer.begin(), answer.end() - 2);
      const std::string sw = Hex(&answer[answer.size() - 2], 2);
      ctx.out().Line("< " + (part.empty() ? "" : Hex(part) + " ") + sw + " (" +
                     orvexformats::StatusWordMeaning(sw1, sw2) + ")");
      exchanges.push_back({{"command", Hex(command)}, {"response", Hex(answer)}});
      // Data before a 61XX belongs to the response, and so does every piece
      // GET RESPONSE fetches (even one asked for again after a 6CXX); a 6CXX
      // answer carries none.
      if (sw1 != 0x6C) data.insert(data.end(), part.begin(), part.end());
      auto next = in.raw ? std::nullopt : orvexformats::FollowUpCommand(command, sw1, sw2);
      if (!next || round == kMaxFollowUps) break;
      command = *next;
    }
    const std::string sw = Hex(Bytes{sw1, sw2});
    results.push_back({{"line", l.line},
                       {"command", Hex(l.command)},
                       {"data", Hex(data)},
                       {"sw", sw},
                       {"meaning", orvexformats::StatusWordMeaning(sw1, sw2)},
                       {"exchanges", exchanges}});
    if (!l.Matches(sw1, sw2)) {
      throw Failure(where + std::to_string(l.line) + ": " + Hex(l.command) + " answered " + sw + " (" +
                    orvexformats::StatusWordMeaning(sw1, sw2) + "), expected " + l.expected +
                    "; the APDUs after it were not sent");
    }
  }
  ctx.out().doc()["responses"] = results;
}

namespace {
// What the reader's APDU channel to a contactless card carries at most.
constexpr size_t kMaxCardApdu = 180;

struct CardApduOptions {
  ApduInput in;
  bool type_b = false;
};

void CardApdu(Context& ctx, const CardApduOptions& o) {
  auto lines = ReadApdus(o.in, "apdu", kMaxCardApdu);
  ctx.Open();
  int len = 0;
  unsigned char answer[ORVEX_MAX_ANSWER];
  if (o.type_b) {
    // 'S': the reader wakes the type B card and activates it (ATTRIB).
    CheckCard(ctx.ov.OV_TypeB_Reset(ctx.reader_id, 0x53, &len, answer), "activating the type B CPU card", "no type B CPU card in the field");
    if (len < 0 || len > ORVEX_MAX_ANSWER)
      throw Failure("activating the type B CPU card: the answer's length is " + std::to_string(len));
    ctx.out().doc()["atqb"] = Hex(answer, static_cast<size_t>(len));
    ctx.out().Line("ATQB " + Hex(answer, static_cast<size_t>(len)));
  } else {
    CheckCard(ctx.ov.OV_TypeA_Reset(ctx.reader_id, 0x52, 0, &len, answer), "activating the CPU card",
              "no CPU card in the field");
    if (len < 0 || len > ORVEX_MAX_ANSWER)
      throw Failure("activating the CPU card: the answer's length is " + std::to_string(len));
    ctx.out().doc()["ats"] = Hex(answer, static_cast<size_t>(len));
    ctx.out().Line("ATS " + Hex(answer, static_cast<size_t>(len)));
  }
  ExchangeApdus(ctx, lines, o.in, [&](const Bytes& command) {
    Bytes c = command;
    int n = 0;
    unsigned char r[ORVEX_MAX_ANSWER];
    int rc = o.type_b ? ctx.ov.OV_TypeB_COS(ctx.reader_id, static_cast<int>(c.size()), c.data(), &n, r)
                      : ctx.ov.OV_TypeA_COS(ctx.reader_id, static_cast<int>(c.size()), c.data(), &n, r);
    CheckCard(rc, "APDU " + Hex(c), "the reader could not deliver it to the card");
    if (n < 0 || n > ORVEX_MAX_ANSWER)
      throw Failure("APDU " + Hex(c) + ": the answer's length is " + std::to_string(n));
    return Bytes(r, r + n);
  });
}

}  // namespace

void AddApduCommands(CLI::App& app, Context& ctx) {
  static CardApduOptions apdu;
  apdu = CardApduOptions();
  auto* a = app.add_subcommand("apdu", "activate the CPU card in the field and send it APDUs");
  AddApduOptions(a, apdu.in);
  a->add_flag("-B,--type-b", apdu.type_b, "the card is an ISO 14443-B CPU card (default: type A)");
  ctx.Register(a, [&ctx] { CardApdu(ctx, apdu); });
}

}  // namespace orvextool
