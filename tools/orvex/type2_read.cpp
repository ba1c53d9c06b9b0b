// SPDX-License-Identifier: MIT
#include "type2_read.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "link/deadlines.h"

namespace orvextool {

namespace {
// Pages a FAST_READ's answer carries within its deadline, counting each of
// its bytes once (escaped false) or twice.
int PagesInTime(int bits_per_second, bool escaped) {
  return UnitsPerRead(bits_per_second, orvex::deadline::Ms(orvex::deadline::kNtag), 4, kMaxPagesPerFastRead, escaped);
}
}  // namespace

int Type2Reader::Span() {
  if (span_ == 0) span_ = PagesInTime(ctx_.speed(), false);
  return span_;
}

std::optional<Bytes> Type2Reader::Read(int first, int last) {
  Bytes pages;
  const int safe_span = PagesInTime(ctx_.speed(), true);
  for (int page = first; page <= last;) {
    int end = std::min(page + Span() - 1, last), len = 0;
    unsigned char buf[ORVEX_MAX_ANSWER];
    int rc = ctx_.ov.OV_NTag_FastRead(ctx_.reader_id, page, end, &len, buf);
    if (rc == -1 && span_ > safe_span && LastLinkFailureKind() == ORVEX_FAIL_CUT_OFF) {
      // The rest of that answer is still on the line: let it pass (the
      // next command drops it), then read the same pages again.
      const int most = 2 * ((end - page + 1) * 4 + 12);
      std::this_thread::sleep_for(std::chrono::milliseconds(most * 10 * 1000 / ctx_.speed() + 1));
      span_ = safe_span;
      continue;
    }
    if (rc == -3) return std::nullopt;
    const std::string what = "reading pages " + std::to_string(page) + " to " + std::to_string(end);
    CheckCard(rc, what, "the tag refused");
    if (len != (end - page + 1) * 4)
      throw Failure(what + ": " + std::to_string(len) + " bytes came back, not " + std::to_string((end - page + 1) * 4));
    pages.insert(pages.end(), buf, buf + len);
    page = end + 1;
  }
  return pages;
}

}  // namespace orvextool
