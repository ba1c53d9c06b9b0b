// SPDX-License-Identifier: MIT
// Subcommands on FeliCa cards: felica poll, services, read and write. Every
// command polls first; the card answers with its IDm, by which the others
// address it. Blocks are 16 bytes, read and written without encryption.
#include <cstdio>

#include "commands.h"
#include "felica.h"

namespace orvextool {

namespace {
constexpr int kBlockBytes = 16;
// Blocks one read or write without encryption carries here: its answer
// (12 bytes of header and 16 a block) stays far below the reader's frame.
constexpr int kBlocksPerCommand = 8;

// A service or system code as written (0009, FE00) -> its number.
unsigned ParseCode(const std::string& text, const std::string& what) {
  Bytes b = ParseHex(text, what);
  if (b.size() != 2) throw Failure(what + ": \"" + text + "\" is not a 2-byte code (4 hex digits)", 2);
  return static_cast<unsigned>(b[0] << 8 | b[1]);
}

std::string CodeText(unsigned code) {
  char s[8];
  std::snprintf(s, sizeof s, "%04X", code & 0xFFFF);
  return s;
}

// The card a command acts on, of system_code (FFFF: any): with --uid the
// one of that IDm; else the only one in the field, or, with several, the
// first found, said on standard error. A write (writing) does not choose:
// with several cards and no --uid it writes nothing.
FelicaCardInfo Poll(Context& ctx, unsigned system_code, bool writing = false) {
  ctx.Open();
  const std::vector<FelicaCardInfo> cards = PollFelicaCards(ctx, system_code);
  const std::string which = system_code == 0xFFFF ? "" : " with system code " + CodeText(system_code);
  if (cards.empty()) throw Failure("polling: no FeliCa card" + which + " in the field");
  std::string idms;
  for (const auto& c : cards) idms += (idms.empty() ? "" : " ") + Hex(c.idm);
  if (!ctx.uid().empty()) {
    for (const auto& c : cards)
      if (c.idm == ctx.uid()) {
        if (cards.size() > 1) ctx.Note("acting on FeliCa card " + Hex(c.idm) + ", chosen by --uid");
        return c;
      }
    throw Failure("polling: no FeliCa card with IDm " + Hex(ctx.uid()) + " in the field (" +
                  (cards.size() == 1 ? "the card that answered is " : "the cards that answered are ") + idms + ")");
  }
  if (cards.size() == 1) return cards[0];
  if (writing)
    throw Failure("several FeliCa cards in the field (" + idms + "): --uid chooses the one to write; nothing was written");
  ctx.Note("several FeliCa cards in the field (" + idms + "); acting on " + Hex(cards[0].idm) +
           ": --uid chooses another");
  return cards[0];
}

// Results of the FeliCa commands after polling: -1 link failure, a status
// byte of the reader, 0 for an answer without its leading 00. The reader's
// status 1 (no card) reads like success: only an answer that carries the
// card's response (00, length, response code, IDm and at least two bytes
// more) is one.
void CheckFelica(int rc, const std::string& what) {
  constexpr int kShortestResponse = 1 + 1 + 1 + 8 + 2;
  if (rc == 1 && LastAnswerLength() >= kShortestResponse) return;
  if (rc == 1) throw Failure(what + ": the card did not answer (has it left the field?)");
  if (rc == -1) CheckCard(rc, what, "");
  if (rc == 0) throw Failure(what + ": the reader's answer does not begin with 00");
  throw Failure(what + ": the card did not answer (reader status " + std::to_string(rc) + "; has it left the field?)");
}

// The card's status flags in words.
std::string Flags(unsigned char s1, unsigned char s2) {
  std::string why;
  switch (s2) {
    case 0xA1: why = "illegal number of services"; break;
    case 0xA2: why = "illegal number of blocks"; break;
    case 0xA3: why = "illegal block list"; break;
    case 0xA6: why = "no such service"; break;
    case 0xA7: why = "illegal access mode"; break;
    case 0xA8: why = "block number out of range, or the service does not allow it"; break;
    default: why = "error"; break;
  }
  return "status flags " + Hex(&s1, 1) + " " + Hex(&s2, 1) + " (" + why + ")";
}

// Block list elements of one service (index 0): 2 bytes (80, block) for
// blocks below 256, else 3 (00, block low, block high).
Bytes BlockList(const std::vector<int>& blocks) {
  Bytes list;
  for (int b : blocks) {
    if (b < 256) {
      list.insert(list.end(), {0x80, static_cast<uint8_t>(b)});
    } else {
      list.insert(list.end(), {0x00, static_cast<uint8_t>(b & 0xFF), static_cast<uint8_t>(b >> 8)});
    }
  }
  return list;
}

std::string BlockWords(const std::vector<int>& blocks) {
  std::string s = blocks.size() == 1 ? "block " : "blocks ";
  for (size_t i = 0; i < blocks.size(); ++i) s += (i ? "," : "") + std::to_string(blocks[i]);
  return s;
}

// Blocks of one service, in commands of kBlocksPerCommand.
Bytes ReadBlocks(Context& ctx, const FelicaCardInfo& card, unsigned service, const std::vector<int>& all) {
  Bytes out;
  for (size_t at = 0; at < all.size(); at += kBlocksPerCommand) {
    std::vector<int> blocks(all.begin() + static_cast<long>(at),
                            all.begin() + static_cast<long>(std::min(all.size(), at + kBlocksPerCommand)));
    Bytes idm = card.idm, list = BlockList(blocks);
    unsigned char codes[2] = {static_cast<unsigned char>(service & 0xFF), static_cast<unsigned char>(service >> 8)};
    unsigned char s1 = 0xFF, s2 = 0xFF, data[kBlocksPerCommand * kBlockBytes];
    const std::string what = "reading " + BlockWords(blocks) + " of service " + CodeText(service);
    CheckFelica(ctx.ov.OV_Felica_ReadWithoutEncryption(ctx.reader_id, idm.data(), 1, codes,
                                                       static_cast<unsigned char>(blocks.size()),
                                                       static_cast<unsigned char>(list.size()), list.data(), &s1, &s2,
                                                       data),
                what);
    if (s1 != 0 || s2 != 0) throw Failure(what + ": the card refused: " + Flags(s1, s2));
    // The reader's answer: 00, then length, response code, IDm, the two
    // flags, the block count and the blocks.
    const int expected = 1 + 1 + 1 + 8 + 2 + 1 + static_cast<int>(blocks.size()) * kBlockBytes;
    if (LastAnswerLength() != expected)
      throw Failure(what + ": the answer has " + std::to_string(LastAnswerLength()) + " bytes, not " +
                    std::to_string(expected));
    out.insert(out.end(), data, data + blocks.size() * kBlockBytes);
  }
  return out;
}

void Describe(Context& ctx, const FelicaCardInfo& c) {
  Json& d = ctx.out().doc();
  d["idm"] = Hex(c.idm);
  d["pmm"] = Hex(c.pmm);
  d["system_code"] = CodeText(c.system_code);
}

// ---- felica poll -------------------------------------------------------------------

struct PollOptions {
  std::string system_code = "FFFF";
};

void PollCommand(Context& ctx, const PollOptions& o) {
  unsigned code = ParseCode(o.system_code, "--system-code");
  FelicaCardInfo c = Poll(ctx, code);
  Describe(ctx, c);
  ctx.out().Line("IDm          " + Hex(c.idm));
  ctx.out().Line("PMm          " + Hex(c.pmm));
  ctx.out().Line("system code  " + CodeText(c.system_code));
}

// ---- felica services ---------------------------------------------------------------

struct ServicesOptions {
  std::vector<std::string> codes;
};

void ServicesCommand(Context& ctx, const ServicesOptions& o) {
  std::vector<unsigned> codes;
  for (const auto& t : o.codes) codes.push_back(ParseCode(t, "felica services"));
  // One request service carries at most 32 node codes.
  if (codes.size() > 32) throw Failure("felica services: at most 32 codes at once", 2);
  FelicaCardInfo c = Poll(ctx, 0xFFFF);
  Bytes nodes;
  for (unsigned code : codes) nodes.insert(nodes.end(), {static_cast<uint8_t>(code & 0xFF), static_cast<uint8_t>(code >> 8)});
  // The node count, then the key versions (2 bytes each, low first).
  Bytes answer(2 * codes.size() + 1, 0), idm = c.idm;
  const int n = static_cast<int>(codes.size());
  CheckFelica(ctx.ov.OV_Felica_RequestService(ctx.reader_id, idm.data(), static_cast<unsigned char>(n), nodes.data(),
                                              answer.data()),
              "asking the card for its services");
  // The library hands over twice the IDm's last byte in bytes from the node
  // count on, at most the answer's: key versions past that are unknown.
  const int given = std::min(2 * c.idm[7], 2 * n + 1);
  Describe(ctx, c);
  Json services = Json::array();
  for (int i = 0; i < n; ++i) {
    Json entry = {{"code", CodeText(codes[static_cast<size_t>(i)])}};
    std::string text;
    if (2 + 2 * i >= given) {
      entry["exists"] = nullptr;
      entry["key_version"] = nullptr;
      text = "unknown (the reader did not hand over its key version)";
    } else {
      unsigned v = static_cast<unsigned>(answer[static_cast<size_t>(2 + 2 * i)] << 8 | answer[static_cast<size_t>(1 + 2 * i)]);
      entry["exists"] = v != 0xFFFF;
      entry["key_version"] = v == 0xFFFF ? Json(nullptr) : Json(CodeText(v));
      text = v == 0xFFFF ? "not on the card" : "key version " + CodeText(v);
    }
    if (entry["exists"].is_null()) ctx.exit_status = kPartialExit;
    services.push_back(entry);
    ctx.out().Line("service " + CodeText(codes[static_cast<size_t>(i)]) + ": " + text);
  }
  ctx.out().doc()["services"] = services;
  if (ctx.exit_status == kPartialExit)
    ctx.Note("the reader hands over as many key versions as the IDm's last byte (" + Hex(c.idm.data() + 7, 1) +
             ") says: the others are unknown");
}

// ---- felica read / write -----------------------------------------------------------

struct ReadOptions {
  std::string service;
  std::vector<int> blocks;
};

void ReadCommand(Context& ctx, const ReadOptions& o) {
  unsigned service = ParseCode(o.service, "--service");
  FelicaCardInfo c = Poll(ctx, 0xFFFF);
  Bytes data = ReadBlocks(ctx, c, service, o.blocks);
  Describe(ctx, c);
  ctx.out().doc()["service"] = CodeText(service);
  Json blocks = Json::array();
  for (size_t i = 0; i < o.blocks.size(); ++i) {
    std::string hex = Hex(data.data() + i * kBlockBytes, kBlockBytes);
    blocks.push_back({{"block", o.blocks[i]}, {"data", hex}});
    char label[24];
    std::snprintf(label, sizeof label, "block %4d: ", o.blocks[i]);
    ctx.out().Line(label + hex);
  }
  ctx.out().doc()["memory"] = blocks;
}

struct WriteOptions {
  std::string service;
  int block = 0;
  std::vector<std::string> data;
};

// Reads the block first (the service and block exist and can be read),
// writes it, and reads it back.
void WriteCommand(Context& ctx, const WriteOptions& o) {
  unsigned service = ParseCode(o.service, "--service");
  Bytes data = ParseHexArgs(o.data, "felica write");
  if (data.size() != kBlockBytes)
    throw Failure("felica write: a block holds 16 bytes; " + std::to_string(data.size()) + " given", 2);
  FelicaCardInfo c = Poll(ctx, 0xFFFF, true);
  const std::vector<int> one = {o.block};
  Bytes before = ReadBlocks(ctx, c, service, one);
  Bytes idm = c.idm, list = BlockList(one);
  unsigned char codes[2] = {static_cast<unsigned char>(service & 0xFF), static_cast<unsigned char>(service >> 8)};
  unsigned char s1 = 0xFF, s2 = 0xFF;
  const std::string what = "writing block " + std::to_string(o.block) + " of service " + CodeText(service);
  CheckFelica(ctx.ov.OV_Felica_WriteWithoutEncryption(ctx.reader_id, idm.data(), 1, codes, 1,
                                                      static_cast<unsigned char>(list.size()), list.data(), data.data(),
                                                      &s1, &s2),
              what + " (the block may hold its old bytes " + Hex(before) + ", the new ones or neither)");
  if (s1 != 0 || s2 != 0) throw Failure(what + ": the card refused: " + Flags(s1, s2) + "; nothing was written");
  Bytes back = ReadBack("block " + std::to_string(o.block), data, [&] { return ReadBlocks(ctx, c, service, one); });
  Describe(ctx, c);
  Json& d = ctx.out().doc();
  d["service"] = CodeText(service);
  d["block"] = o.block;
  d["previous"] = Hex(before);
  d["data"] = Hex(back);
  ctx.Done("wrote block " + std::to_string(o.block) + " of service " + CodeText(service) + " of FeliCa " + Hex(c.idm) +
           ": " + Hex(back) + " (read back)");
}

}  // namespace

void AddFelicaCommands(CLI::App& app, Context& ctx) {
  auto* f = app.add_subcommand("felica", "FeliCa cards: polling, services, blocks without encryption");
  f->require_subcommand(1);

  static PollOptions poll;
  poll = PollOptions();
  auto* p = f->add_subcommand("poll", "poll for a card: its IDm, PMm and system code");
  p->add_option("-s,--system-code", poll.system_code, "only a card of this system code, 4 hex digits (default FFFF: any)");
  ctx.Register(p, [&ctx] { PollCommand(ctx, poll); });

  static ServicesOptions services;
  services = ServicesOptions();
  auto* s = f->add_subcommand("services", "which of the given services (or areas) the card has, and their key versions");
  s->add_option("CODE", services.codes, "service or area codes, 4 hex digits each (e.g. 0009)")->required();
  ctx.Register(s, [&ctx] { ServicesCommand(ctx, services); });

  static ReadOptions read;
  read = ReadOptions();
  auto* r = f->add_subcommand("read", "read 16-byte blocks of a service without encryption");
  r->add_option("--service", read.service, "the service code, 4 hex digits (e.g. 000B)")->required();
  r->add_option("BLOCK", read.blocks, "block numbers")->required()->check(CLI::Range(0, 0xFFFF));
  ctx.Register(r, [&ctx] { ReadCommand(ctx, read); });

  static WriteOptions write;
  write = WriteOptions();
  auto* w = f->add_subcommand("write", "write one 16-byte block of a service without encryption, and read it back");
  w->add_option("--service", write.service, "the service code, 4 hex digits (e.g. 0009)")->required();
  w->add_option("BLOCK", write.block, "the block number")->required()->check(CLI::Range(0, 0xFFFF));
  w->add_option("HEX", write.data, "the block's 16 bytes in hex")->required();
  ctx.Register(w, [&ctx] { WriteCommand(ctx, write); });
}

}  // namespace orvextool
