// SPDX-License-Identifier: MIT
// Subcommands on NTAG21x tags: ntag dump.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <thread>

#include "commands.h"
#include "iso14443a.h"

namespace orvextool {

namespace {

constexpr int kNtagDeadlineMs = 500;
// A FAST_READ's answer must arrive within 100 ms; the reader reads at most
// 51 pages at once.
constexpr int kFastReadDeadlineMs = 100;
constexpr int kMaxPagesPerRead = 51;

struct NtagModel {
  const char* name;
  int pages;
};

// From GET_VERSION's storage size byte.
bool ModelOf(const unsigned char* version, NtagModel& m) {
  switch (version[6]) {
    case 0x0F: m = {"NTAG213", 45}; return true;
    case 0x11: m = {"NTAG215", 135}; return true;
    case 0x13: m = {"NTAG216", 231}; return true;
    default: return false;
  }
}

struct DumpOptions {
  std::string file;
};

void Dump(Context& ctx, const DumpOptions& o) {
  std::unique_ptr<OutputFile> file;
  if (!o.file.empty()) file = std::make_unique<OutputFile>(o.file, "dump file", 0644);  // checked first
  ctx.Open();
  TypeACardInfo card;
  if (!SelectChosenTypeA(ctx, card)) throw Failure(ctx.NoCard());
  // Zeroed: a short answer leaves the size byte 0, an unknown size.
  unsigned char version[ORVEX_MAX_ANSWER] = {};
  CheckCard(ctx.ov.OV_NTag_GetVersion(ctx.reader_id, version), "reading the tag's version",
            kNtagDeadlineMs, "the card " + Hex(card.uid) + " is not an NTAG21x (no answer to GET_VERSION)");
  NtagModel model;
  if (!ModelOf(version, model))
    throw Failure("the card " + Hex(card.uid) + " reports an unknown NTAG size (version " +
                  Hex(version, 8) + ")");
  Bytes memory;
  Progress progress("dumping", model.pages);
  // As many pages a read as cross the line within its deadline when none of
  // their bytes is escaped; should the pages hold so many escaped bytes that
  // an answer is cut off, the dump goes on in reads that fit in any case.
  const int safe_span = UnitsPerRead(ctx.speed(), kFastReadDeadlineMs, 4, kMaxPagesPerRead);
  int span = UnitsPerRead(ctx.speed(), kFastReadDeadlineMs, 4, kMaxPagesPerRead, false);
  for (int page = 0; page < model.pages;) {
    int last = std::min(page + span - 1, model.pages - 1), len = 0;
    unsigned char buf[ORVEX_MAX_ANSWER];
    int rc = ctx.ov.OV_NTag_FastRead(ctx.reader_id, page, last, &len, buf);
    if (rc == -1 && span > safe_span && LastLinkFailureKind() == ORVEX_FAIL_CUT_OFF) {
      // The rest of that answer is still on the line: let it pass (the next
      // command drops it), then read the same pages again.
      const int most = 2 * (span * 4 + 12);
      std::this_thread::sleep_for(std::chrono::milliseconds(most * 10 * 1000 / ctx.speed() + 1));
      span = safe_span;
      continue;
    }
    CheckCard(rc, "reading pages " + std::to_string(page) + " to " + std::to_string(last), kNtagDeadlineMs,
              "the tag refused (pages protected by a password?)");
    if (len != (last - page + 1) * 4)
      throw Failure("reading pages " + std::to_string(page) + " to " + std::to_string(last) + ": " +
                    std::to_string(len) + " bytes came back");
    memory.insert(memory.end(), buf, buf + len);
    progress.Step(last + 1);
    page = last + 1;
  }
  Json& d = ctx.out().doc();
  d["uid"] = Hex(card.uid);
  d["type"] = model.name;
  d["pages"] = model.pages;
  if (file) {
    file->Commit(memory);
    d["file"] = o.file;
    ctx.Done("dumped " + std::to_string(model.pages) + " pages of " + model.name + " " +
                   Hex(card.uid) + " to " + o.file);
    return;
  }
  Json pages = Json::array();
  for (int p = 0; p < model.pages; ++p) {
    std::string hex = Hex(&memory[static_cast<size_t>(p) * 4], 4);
    pages.push_back(hex);
    char label[24];
    std::snprintf(label, sizeof label, "page %3d: ", p);
    ctx.out().Line(label + hex);
  }
  d["memory"] = pages;
}

}  // namespace

void AddNtagCommands(CLI::App& app, Context& ctx) {
  auto* ntag = app.add_subcommand("ntag", "NTAG213/215/216 tags");
  ntag->require_subcommand(1);
  static DumpOptions dump;
  auto* d = ntag->add_subcommand("dump", "read every page of the tag (to FILE, or listed)");
  d->add_option("FILE", dump.file, "write the pages, 4 bytes each in order, to this file");
  ctx.Register(d, [&ctx] { Dump(ctx, dump); });
}

}  // namespace orvextool
