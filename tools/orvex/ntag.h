// SPDX-License-Identifier: MIT
// The NTAG and Ultralight EV1 models (NFC Forum Type 2) the tool knows, by
// their GET_VERSION answer: the page layout each command works with.
#pragma once

#include <string>

namespace orvextool {

struct NtagModel {
  enum class Counter { kNone, kNfc, kOneWay };
  std::string name;
  int pages = 0;
  bool dynamic_lock = false;  // a dynamic lock page before the configuration pages
  // The NFC counter (NTAG213/215/216, READ_CNT 02, enabled in ACCESS), or
  // three one-way counters (Ultralight EV1; READ_CNT 02 reads counter 2).
  Counter counter = Counter::kNone;
  // The data area a capability container of this model announces, in
  // units of 8 bytes (ndef format writes it).
  int cc_size = 0;
  int dynlock_page() const { return pages - 5; }
  int cfg0() const { return pages - 4; }
  int cfg1() const { return pages - 3; }
  int pwd() const { return pages - 2; }
  int pack() const { return pages - 1; }
  // User memory: page 4 up to the dynamic lock page, or to CFG0 without one.
  int last_user() const { return dynamic_lock ? dynlock_page() - 1 : cfg0() - 1; }
  // Each dynamic lock bit locks this many pages from page 16 on.
  int dynamic_span() const { return pages <= 45 ? 2 : 16; }
};

// The model of a GET_VERSION answer (8 bytes): byte 2 the product type (03
// Ultralight EV1, 04 NTAG), byte 6 the storage size. False for a version
// the tool does not know.
bool NtagModelOf(const unsigned char* version, NtagModel& m);

}  // namespace orvextool
