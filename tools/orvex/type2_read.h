// SPDX-License-Identifier: MIT
// Reading the pages of an NFC Forum Type 2 tag (NTAG, Ultralight EV1) with
// FAST_READ, in as few reads as the line carries within their deadline;
// shared by the ntag commands and the NDEF layer.
#pragma once

#include <optional>

#include "commands.h"

namespace orvextool {

// The reader reads at most 51 pages in one FAST_READ.
constexpr int kMaxPagesPerFastRead = 51;

class Type2Reader {
 public:
  explicit Type2Reader(Context& ctx) : ctx_(ctx) {}

  // How many pages one FAST_READ asks for now: as many as cross the line
  // within the read's deadline when none of their bytes is escaped; after
  // an answer was cut off, as many as fit even when every byte is.
  int Span();

  // Pages first..last, Span() pages a FAST_READ. Should an answer be cut
  // off by its deadline (pages full of escaped bytes 02, 03, 10), the rest
  // of it is let pass and the same pages are read again, and the rest, in
  // reads that fit in any case. Nothing when the tag refused a read (it has
  // then fallen back to idle); a link failure or a short answer throws.
  std::optional<Bytes> Read(int first, int last);

 private:
  Context& ctx_;
  int span_ = 0;  // pages a FAST_READ asks for (0: not chosen yet)
};

}  // namespace orvextool
