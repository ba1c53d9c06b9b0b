// SPDX-License-Identifier: MIT
// The public extension for several readers: OrvexLink, OrvexLinkScope,
// OrvexReaderList and OrvexCheckConnection.
#include <stdio.h>
#include <string.h>

#include <memory>
#include <string>
#include <vector>

#include "link/connection.h"
#include "link/discovery.h"
#include "link/link.h"
#include "orvex.h"

namespace orvex {
namespace {

constexpr int kVendor = 0x0471;
constexpr int kProduct = 0x114A;

// A link of the application's own: its design variables and the link object.
struct OwnedLink {
  LinkVars vars;
  Link link{vars.FaceID, vars.h_Serial, vars.CurrPort, vars.msStart, vars.bCycle, vars.tmpLength, true};
};

struct LinkHandle {
  std::shared_ptr<OwnedLink> owned = std::make_shared<OwnedLink>();
  std::string connection;
  int open_result = 0;
};

// What a scope on a link that has no object behind it (moved from) uses:
// a link that is never open.
Link& NeverOpen() {
  static OwnedLink* closed = new OwnedLink();
  return closed->link;
}

struct ScopeState {
  std::shared_ptr<OwnedLink> keep;  // the link outlives every scope naming it
  Link* previous = nullptr;
};

LinkHandle* H(void* p) { return static_cast<LinkHandle*>(p); }

int OpenOn(Link& link, const Connection& c, std::string& why) {
  switch (c.kind) {
    case Connection::Kind::kSerialPath:
    case Connection::Kind::kSerialPort:
      if (link.OpenSerialDevice(c.path.c_str(), c.baud) == 1) return 1;
      return link.last_failure() == LinkFailure::kInUse ? ORVEX_LINK_IN_USE : -1;
    case Connection::Kind::kUsbFirst: return link.OpenUsb(kVendor, kProduct) == 1 ? 1 : -1;
    case Connection::Kind::kUsbAt: {
      if (link.OpenUsb(kVendor, kProduct, c.bus, c.address) == 1) return 1;
      char what[120];
      snprintf(what, sizeof what, "no USB reader that can be opened at bus %d, address %d", c.bus, c.address);
      link.Fail(LinkFailure::kCannotOpen, what);
      return -1;
    }
    case Connection::Kind::kUsbSerial:
      for (const FoundReader& r : FindReaders()) {
        if (r.kind == "usb" && r.serial == c.serial)
          return link.OpenUsb(kVendor, kProduct, r.bus, r.address) == 1 ? 1 : -1;
      }
      why = "no USB reader with the serial string \"" + c.serial + "\"";
      link.Fail(LinkFailure::kCannotOpen, why.c_str());
      return -1;
  }
  return -1;
}

}  // namespace
}  // namespace orvex

using orvex::H;
using orvex::LinkHandle;

OrvexLink::OrvexLink() noexcept : impl_(nullptr) {}

OrvexLink::OrvexLink(const char* connection) : impl_(nullptr) { Open(connection); }

OrvexLink::~OrvexLink() {
  Close();
  delete H(impl_);
}

OrvexLink::OrvexLink(OrvexLink&& other) noexcept : impl_(other.impl_) { other.impl_ = nullptr; }

OrvexLink& OrvexLink::operator=(OrvexLink&& other) noexcept {
  if (this != &other) {
    Close();
    delete H(impl_);
    impl_ = other.impl_;
    other.impl_ = nullptr;
  }
  return *this;
}

int OrvexLink::Open(const char* connection) {
  Close();
  if (impl_ == nullptr) impl_ = new LinkHandle();
  LinkHandle& h = *H(impl_);
  orvex::Link& link = h.owned->link;
  h.connection = connection ? connection : "";
  orvex::Connection c;
  std::string error;
  std::lock_guard<std::mutex> lock(link.mutex());
  if (!orvex::ParseConnection(connection, connection ? strlen(connection) : 0, c, error)) {
    link.Fail(orvex::LinkFailure::kBadConnection, error.c_str());
    return h.open_result = ORVEX_LINK_BAD_CONNECTION;
  }
  return h.open_result = orvex::OpenOn(link, c, error);
}

int OrvexLink::OpenResult() const { return impl_ ? H(impl_)->open_result : 0; }

bool OrvexLink::IsOpen() const { return impl_ != nullptr && H(impl_)->owned->link.Active() != nullptr; }

void OrvexLink::Close() {
  if (impl_ == nullptr) return;
  orvex::Link& link = H(impl_)->owned->link;
  link.Cancel();  // a wait in progress ends now and gives the mutex back
  std::lock_guard<std::mutex> lock(link.mutex());
  link.CloseAll();
}

const char* OrvexLink::Connection() const { return impl_ ? H(impl_)->connection.c_str() : ""; }

void OrvexLink::SetFirstByteTimeout(int ms) {
  if (impl_ == nullptr) impl_ = new LinkHandle();
  H(impl_)->owned->link.set_first_byte_ms(ms < 1 ? 1 : ms);
}

void OrvexLink::SetQuiet(bool quiet) {
  if (impl_ == nullptr) impl_ = new LinkHandle();
  orvex::Link& link = H(impl_)->owned->link;
  link.set_quiet(quiet);
  link.wait().quiet = quiet;
}

void OrvexLink::SetAnswerMatching(bool on) {
  if (impl_ == nullptr) impl_ = new LinkHandle();
  H(impl_)->owned->link.set_matching(on);
}

void OrvexLink::SetTrace(OrvexTraceHook hook, void* user) {
  if (impl_ == nullptr) impl_ = new LinkHandle();
  orvex::Link& link = H(impl_)->owned->link;
  std::lock_guard<std::mutex> lock(link.mutex());
  link.set_trace(hook, user);
}

int OrvexLink::Cancel() noexcept {
  if (impl_ == nullptr) return 0;
  orvex::Link& link = H(impl_)->owned->link;
  return link.Cancel();
}

int OrvexLink::LastFailure() const {
  return impl_ ? static_cast<int>(H(impl_)->owned->link.last_failure()) : ORVEX_FAIL_NOT_OPEN;
}

const char* OrvexLink::LastFailureText() const {
  return impl_ ? H(impl_)->owned->link.last_failure_text() : "no link is open";
}

int OrvexLink::LastAnswerLength() const { return impl_ ? H(impl_)->owned->link.last_answer_length() : -1; }

// ---- Scopes ------------------------------------------------------------------------

OrvexLinkScope::OrvexLinkScope(OrvexLink& link) : state_(nullptr) {
  auto* s = new orvex::ScopeState();
  orvex::Link* use = &orvex::NeverOpen();
  if (link.impl_ != nullptr) {
    s->keep = H(link.impl_)->owned;
    use = &s->keep->link;
  }
  s->previous = orvex::SetCurrentLink(use);
  state_ = s;
}

OrvexLinkScope::~OrvexLinkScope() {
  auto* s = static_cast<orvex::ScopeState*>(state_);
  orvex::SetCurrentLink(s->previous);
  delete s;
}

// ---- Discovery -----------------------------------------------------------------------

namespace {
using Found = std::vector<orvex::FoundReader>;
Found* F(void* p) { return static_cast<Found*>(p); }
const orvex::FoundReader* At(void* p, int i) {
  Found* f = F(p);
  if (f == nullptr || i < 0 || i >= static_cast<int>(f->size())) return nullptr;
  return &(*f)[static_cast<size_t>(i)];
}
}  // namespace

OrvexReaderList::OrvexReaderList() : impl_(new Found(orvex::FindReaders())) {}
OrvexReaderList::~OrvexReaderList() { delete F(impl_); }
OrvexReaderList::OrvexReaderList(OrvexReaderList&& other) noexcept : impl_(other.impl_) { other.impl_ = nullptr; }
OrvexReaderList& OrvexReaderList::operator=(OrvexReaderList&& other) noexcept {
  if (this != &other) {
    delete F(impl_);
    impl_ = other.impl_;
    other.impl_ = nullptr;
  }
  return *this;
}
int OrvexReaderList::Count() const { return impl_ ? static_cast<int>(F(impl_)->size()) : 0; }
const char* OrvexReaderList::Connection(int i) const {
  auto* r = At(impl_, i);
  return r ? r->connection.c_str() : "";
}
const char* OrvexReaderList::Kind(int i) const {
  auto* r = At(impl_, i);
  return r ? r->kind.c_str() : "";
}
int OrvexReaderList::Bus(int i) const {
  auto* r = At(impl_, i);
  return r ? r->bus : 0;
}
int OrvexReaderList::Address(int i) const {
  auto* r = At(impl_, i);
  return r ? r->address : 0;
}
const char* OrvexReaderList::Serial(int i) const {
  auto* r = At(impl_, i);
  return r ? r->serial.c_str() : "";
}
const char* OrvexReaderList::Path(int i) const {
  auto* r = At(impl_, i);
  return r ? r->path.c_str() : "";
}
const char* OrvexReaderList::Target(int i) const {
  auto* r = At(impl_, i);
  return r ? r->target.c_str() : "";
}

int OrvexCheckConnection(const char* connection, char* message, int size) {
  orvex::Connection c;
  std::string error;
  bool ok = orvex::ParseConnection(connection, connection ? strlen(connection) : 0, c, error);
  if (message != nullptr && size > 0) snprintf(message, static_cast<size_t>(size), "%s", ok ? "" : error.c_str());
  return ok ? 1 : ORVEX_LINK_BAD_CONNECTION;
}
