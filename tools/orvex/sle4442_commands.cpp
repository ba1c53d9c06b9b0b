// SPDX-License-Identifier: MIT
// Subcommands on the SLE4442 memory card in the reader's contact slot: read,
// protection, psc, write, change-psc, protect.
//
// Writing needs the card's 3-byte PSC. The card's error counter allows three
// wrong presentations; the third locks the card for good, so the tool shows
// the counter whenever it presents a PSC and will not spend the last attempt
// unless told to (--last-attempt).
#include <algorithm>
#include <cstdio>

#include "commands.h"
#include "link/deadlines.h"

namespace orvextool {

namespace {

// The family's success value.
constexpr int kSleDone = 1000;
constexpr int kMainBytes = 256;
// Only the first 32 bytes can be write-protected.
constexpr int kProtectableBytes = 32;
// A write goes out in pieces of this many bytes, each read back before the
// next, so that an interrupted write leaves whole pieces the tool can name.
constexpr int kWritePiece = 16;

const char* const kNoCardText = "no card in the contact slot (or the reader refused)";

std::string Addr(int a) {
  char b[8];
  std::snprintf(b, sizeof b, "0x%02X", a);
  return b;
}

// "0x40-0x4F" (or "0x40" for one byte).
std::string Range(int first, int count) {
  return count == 1 ? Addr(first) : Addr(first) + "-" + Addr(first + count - 1);
}

// A list of byte numbers as runs: "0-3, 8, 10-11".
std::string Runs(const std::vector<int>& bytes) {
  std::string s;
  for (size_t i = 0; i < bytes.size();) {
    size_t j = i;
    while (j + 1 < bytes.size() && bytes[j + 1] == bytes[j] + 1) ++j;
    s += (s.empty() ? "" : ", ") + std::to_string(bytes[i]);
    if (j > i) s += "-" + std::to_string(bytes[j]);
    i = j + 1;
  }
  return s;
}

// The attempts the error counter allows: one for each bit of its low three.
int AttemptsLeft(uint8_t counter) {
  return (counter & 1) + ((counter >> 1) & 1) + ((counter >> 2) & 1);
}

std::string Attempts(int n) { return std::to_string(n) + (n == 1 ? " attempt" : " attempts") + " left"; }

// Powers the card up; every command starts so.
void ResetCard(Context& ctx) {
  ctx.Open();
  unsigned char atr[ORVEX_MAX_ANSWER];
  int rc = ctx.ov.OV_SLE_Reset(ctx.reader_id, atr);
  if (rc == kSleDone) return;
  CheckCard(rc == -3 ? -3 : -1, "resetting the card", kNoCardText);
}

uint8_t ReadCounter(Context& ctx, const std::string& what) {
  unsigned char counter = 0, psc[3];
  int rc = ctx.ov.OV_SLE_ReadSecurityLogic(ctx.reader_id, &counter, psc);
  if (rc != kSleDone) CheckCard(rc == -3 ? -3 : -1, what, kNoCardText);
  return counter;
}

// The protected bytes among the first 32, from the protection memory (one
// bit a byte, 0 = protected), and the memory's 4 bytes.
std::vector<int> ProtectedBytes(Context& ctx, Bytes* raw = nullptr) {
  unsigned char prom[ORVEX_MAX_ANSWER];
  int rc = ctx.ov.OV_SLE_ReadPROM(ctx.reader_id, prom);
  if (rc != kSleDone)
    CheckCard(rc == -3 ? -3 : -1, "reading the protection memory", kNoCardText);
  int n = LastAnswerLength() - 1;  // less the sub-function's echo
  if (n < 4)
    throw Failure("reading the protection memory: " + std::to_string(std::max(n, 0)) +
                  " bytes came back, not 4");
  if (raw) raw->assign(prom, prom + 4);
  std::vector<int> out;
  for (int i = 0; i < kProtectableBytes; ++i)
    if (!((prom[i / 8] >> (i % 8)) & 1)) out.push_back(i);
  return out;
}

Bytes ReadMain(Context& ctx, int addr, int count) {
  const int span = UnitsPerRead(ctx.speed(), orvex::deadline::Ms(orvex::deadline::kSle4442), 1, 255);
  return ReadInPieces(addr, count, span, [&ctx](int at, int n, unsigned char* buf) {
    int got = ctx.ov.OV_SLE_ReadMainMemory(ctx.reader_id, static_cast<unsigned char>(at),
                                           static_cast<unsigned char>(n), buf);
    std::string what = "reading bytes " + Range(at, n);
    if (got < 0) CheckCard(got, what, kNoCardText);
    if (got != n) throw Failure(what + ": " + std::to_string(got) + " bytes came back");
  });
}

struct PscOptions {
  std::string psc;
  bool last_attempt = false;
};

Bytes PscFrom(const std::string& given, const std::string& what) {
  Bytes psc = KeyFromOption(given, what);
  if (psc.size() != 3) throw Failure(what + ": a PSC is 3 bytes (6 hex digits)", 2);
  return psc;
}

// Presents the PSC, after the error counter shows an attempt may be spent
// on it. The counter before and after goes to the output.
void Present(Context& ctx, const Bytes& psc_given, bool last_attempt) {
  Output& out = ctx.out();
  int before = AttemptsLeft(ReadCounter(ctx, "reading the error counter"));
  out.Field("attempts_before", "counter before", before, Attempts(before));
  if (before == 0)
    throw Failure("the card is locked for good: its error counter allows no more PSC attempts "
                  "(it can still be read)");
  if (before == 1 && !last_attempt)
    throw Failure("only 1 PSC attempt is left, and a wrong PSC now locks the card for good; nothing "
                  "was presented. If you are sure of the PSC, add --last-attempt",
                  2);
  Bytes psc = psc_given;
  unsigned char failure = 0;
  int rc = ctx.ov.OV_SLE_VerifyPSC(ctx.reader_id, psc.data(), &failure);
  if (rc != 1) {
    if (failure != 0xFD) CheckCard(-1, "presenting the PSC", "");
    unsigned char counter = 0, shown[3];
    if (ctx.ov.OV_SLE_ReadSecurityLogic(ctx.reader_id, &counter, shown) != kSleDone)
      throw Failure("presenting the PSC: the card refused it or left the contact slot");
    int after = AttemptsLeft(counter);
    throw Failure("wrong PSC: the card refused it; " + Attempts(after) +
                  (after == 0 ? ": the card is now locked for good" : ""));
  }
  int after = AttemptsLeft(ReadCounter(ctx, "reading the error counter after the PSC"));
  out.Field("attempts_after", "counter after", after, Attempts(after));
}

void ReadCommand(Context& ctx, int addr, int count) {
  if (count < 0) count = kMainBytes - addr;
  if (count < 1 || addr + count > kMainBytes)
    throw Failure("sle4442 read: the main memory has 256 bytes (addresses 0 to 255); " + Range(addr, std::max(count, 1)) +
                      " does not fit",
                  2);
  ResetCard(ctx);
  Bytes data = ReadMain(ctx, addr, count);
  Json& d = ctx.out().doc();
  d["address"] = addr;
  d["count"] = count;
  d["data"] = Hex(data);
  for (int at = 0; at < count; at += 16) {
    int n = std::min(16, count - at);
    ctx.out().Line(Addr(addr + at) + ": " + Hex(&data[static_cast<size_t>(at)], static_cast<size_t>(n)));
  }
}

void ProtectionCommand(Context& ctx) {
  ResetCard(ctx);
  Bytes raw;
  std::vector<int> prot = ProtectedBytes(ctx, &raw);
  Output& out = ctx.out();
  out.Field("protection", "protection", Hex(raw), Hex(raw));
  Json list = Json::array();
  for (int b : prot) list.push_back(b);
  out.doc()["protected"] = list;
  out.Line(prot.empty() ? "write-protected: none of bytes 0-31"
                        : "write-protected: bytes " + Runs(prot) + " (for good)");
  int left = AttemptsLeft(ReadCounter(ctx, "reading the error counter"));
  out.Field("attempts_left", "error counter", left, Attempts(left));
}

void PscCommand(Context& ctx, const PscOptions& o) {
  Bytes psc = PscFrom(o.psc, "--psc");
  ResetCard(ctx);
  Present(ctx, psc, o.last_attempt);
  ctx.Done("PSC accepted: the card can be written until it is reset");
}

void WriteCommand(Context& ctx, int addr, const std::string& hex, const PscOptions& o) {
  Bytes data = ParseHex(hex, "sle4442 write");
  const int count = static_cast<int>(data.size());
  if (count == 0) throw Failure("sle4442 write: no bytes to write", 2);
  if (addr + count > kMainBytes)
    throw Failure("sle4442 write: " + std::to_string(count) + " bytes from " + Addr(addr) +
                      " go past the end of the 256-byte main memory",
                  2);
  Bytes psc = PscFrom(o.psc, "--psc");
  ResetCard(ctx);
  // A protected byte would refuse its new value: write nothing then.
  std::vector<int> hit;
  for (int b : ProtectedBytes(ctx))
    if (b >= addr && b < addr + count) hit.push_back(b);
  if (!hit.empty())
    throw Failure("nothing was written: bytes " + Runs(hit) + " are write-protected for good");
  Present(ctx, psc, o.last_attempt);
  for (int at = 0; at < count; at += kWritePiece) {
    int n = std::min(kWritePiece, count - at);
    int rc = ctx.ov.OV_SLE_WriteMainMemory(ctx.reader_id, static_cast<unsigned char>(addr + at),
                                           static_cast<unsigned char>(n), &data[static_cast<size_t>(at)]);
    if (rc == 1) continue;
    std::string why = rc == -2 ? "the bytes read back differ from those written"
                               : (LastLinkFailure().empty() ? "the card did not take them" : LastLinkFailure());
    // Is the card still there? Reading the security memory changes nothing.
    unsigned char counter = 0, shown[3];
    if (rc == -1 && ctx.ov.OV_SLE_ReadSecurityLogic(ctx.reader_id, &counter, shown) == -3)
      why = "the card left the contact slot";
    std::string state = "bytes " + Range(addr + at, n) + " may be partly written";
    if (at + n < count) state += ", bytes " + Range(addr + at + n, count - at - n) + " were not written";
    if (at == 0) throw Failure("writing bytes " + Range(addr, n) + ": " + why + "; " + state);
    throw Failure("writing bytes " + Range(addr + at, n) + ": " + why + "; bytes " + Range(addr, at) +
                      " were written and read back, " + state,
                  kPartialExit);
  }
  Json& d = ctx.out().doc();
  d["address"] = addr;
  d["count"] = count;
  d["data"] = Hex(data);
  ctx.Done("wrote " + std::to_string(count) + " bytes at " + Range(addr, count) + " and read them back");
}

void ChangePscCommand(Context& ctx, const PscOptions& o, const std::string& new_given) {
  if (o.psc == "-" && new_given == "-")
    throw Failure("sle4442 change-psc: only one of --psc and --new-psc can come from standard input", 2);
  Bytes psc = PscFrom(o.psc, "--psc");
  Bytes fresh = PscFrom(new_given, "--new-psc");
  ResetCard(ctx);
  Present(ctx, psc, o.last_attempt);
  int rc = ctx.ov.OV_SLE_WritePSC(ctx.reader_id, fresh.data());
  if (rc == -2)
    throw Failure("changing the PSC: the card's PSC does not read back as the new one; the old PSC may "
                  "still hold (try it with orvex sle4442 psc)");
  if (rc != 1)
    throw Failure("changing the PSC: " +
                  (LastLinkFailure().empty() ? std::string("the card refused or left the contact slot")
                                             : LastLinkFailure()) +
                  "; the PSC may or may not have changed");
  ctx.Done("PSC changed: from now on the card takes the new PSC only");
}

void ProtectCommand(Context& ctx, int addr, int count, const PscOptions& o, bool yes) {
  if (count < 1 || addr + count > kProtectableBytes)
    throw Failure("sle4442 protect: only bytes 0 to 31 can be protected; " + std::to_string(count) +
                      " bytes from " + std::to_string(addr) + " do not fit",
                  2);
  Bytes psc = PscFrom(o.psc, "--psc");
  ResetCard(ctx);
  Bytes data = ReadMain(ctx, addr, count);
  std::string what = "bytes " + std::to_string(addr) + (count > 1 ? "-" + std::to_string(addr + count - 1) : "");
  ctx.out().Line(what + " hold " + Hex(data));
  if (!yes)
    throw Failure("nothing was protected: protecting " + what +
                      " keeps their present values for good and cannot be undone; add --yes to protect them",
                  2);
  Present(ctx, psc, o.last_attempt);
  int rc = ctx.ov.OV_SLE_WriteProtectedDataMemory(ctx.reader_id, static_cast<unsigned char>(addr),
                                                  static_cast<unsigned char>(count), data.data());
  if (rc != 1)
    throw Failure("protecting " + what + ": " +
                  (rc == -2 ? std::string("the bytes read back differ")
                            : (LastLinkFailure().empty() ? std::string("the card refused or left the contact slot")
                                                         : LastLinkFailure())) +
                  "; some of them may be protected now (orvex sle4442 protection tells)");
  std::vector<int> now = ProtectedBytes(ctx), missing;
  for (int b = addr; b < addr + count; ++b)
    if (std::find(now.begin(), now.end(), b) == now.end()) missing.push_back(b);
  if (!missing.empty())
    throw Failure("protecting " + what + ": bytes " + Runs(missing) + " are still not protected");
  Json& d = ctx.out().doc();
  d["address"] = addr;
  d["count"] = count;
  d["data"] = Hex(data);
  ctx.Done("protected " + what + " for good");
}

}  // namespace

void AddSle4442Commands(CLI::App& app, Context& ctx) {
  auto* sle = app.add_subcommand("sle4442", "SLE4442 memory card in the contact slot");
  sle->require_subcommand(1);
  static PscOptions psc;
  psc = PscOptions();
  auto psc_options = [](CLI::App* sub) {
    sub->add_option("-p,--psc", psc.psc, "the card's 3-byte PSC: @FILE, - (standard input) or hex")
        ->required();
    sub->add_flag("--last-attempt", psc.last_attempt,
                  "present the PSC even when the card allows only one more attempt (a wrong PSC then "
                  "locks the card for good)");
  };

  static int read_addr, read_count;
  read_addr = 0; read_count = -1;
  auto* read = sle->add_subcommand("read", "list the main memory (256 bytes) or COUNT bytes from ADDR");
  read->add_option("ADDR", read_addr, "first address (0 to 255; default 0)")->check(CLI::Range(0, 255));
  read->add_option("COUNT", read_count, "how many bytes (default: to the end)")->check(CLI::Range(1, 256));
  ctx.Register(read, [&ctx] { ReadCommand(ctx, read_addr, read_count); });

  auto* prot = sle->add_subcommand("protection", "which of bytes 0-31 are write-protected, and the error counter");
  ctx.Register(prot, [&ctx] { ProtectionCommand(ctx); });

  auto* present = sle->add_subcommand("psc", "present the PSC; shows the error counter before and after");
  psc_options(present);
  ctx.Register(present, [&ctx] { PscCommand(ctx, psc); });

  static int write_addr;
  write_addr = 0;
  static std::string write_hex;
  write_hex = std::string();
  auto* write = sle->add_subcommand("write", "write HEX to main memory from ADDR (needs the PSC), read back");
  write->add_option("ADDR", write_addr, "first address (0 to 255)")->required()->check(CLI::Range(0, 255));
  write->add_option("HEX", write_hex, "the bytes, in hex")->required();
  psc_options(write);
  ctx.Register(write, [&ctx] { WriteCommand(ctx, write_addr, write_hex, psc); });

  static std::string new_psc;
  new_psc = std::string();
  auto* change = sle->add_subcommand("change-psc", "give the card a new PSC (needs the present one)");
  psc_options(change);
  change->add_option("-n,--new-psc", new_psc, "the new 3-byte PSC: @FILE, - (standard input) or hex")
      ->required();
  ctx.Register(change, [&ctx] { ChangePscCommand(ctx, psc, new_psc); });

  static int protect_addr, protect_count;
  protect_addr = 0; protect_count = 0;
  static bool protect_yes;
  protect_yes = false;
  auto* protect = sle->add_subcommand(
      "protect", "protect COUNT of bytes 0-31 from ADDR for good, as they are (irreversible: --yes)");
  protect->add_option("ADDR", protect_addr, "first byte (0 to 31)")->required()->check(CLI::Range(0, 31));
  protect->add_option("COUNT", protect_count, "how many bytes")->required()->check(CLI::Range(1, 32));
  psc_options(protect);
  protect->add_flag("--yes", protect_yes, "protect (without it the bytes are only shown)");
  ctx.Register(protect, [&ctx] { ProtectCommand(ctx, protect_addr, protect_count, psc, protect_yes); });
}

}  // namespace orvextool
