// SPDX-License-Identifier: MIT
// What the generated method bindings (python/gen_bindings.py) share with the
// hand-written part of the extension: the Link object each orvex.Reader
// owns, argument checks, output buffers and the translation of result codes
// into exceptions.
#pragma once

#include <pybind11/pybind11.h>

#include <orvex.h>

#include "mifare_dump.h"

#include <signal.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace py = pybind11;

namespace orvex_py {

// Byte buffers handed to the library: never smaller than this, so that no
// method writes or reads past them whatever its arguments.
constexpr size_t kBufferFloor = 4 * ORVEX_MAX_ANSWER;

using Buffer = std::vector<unsigned char>;

// One reader link (an OrvexLink) and the calls made through it.
class Link {
 public:
  Link();
  explicit Link(const std::string& connection);
  ~Link();
  void Close();
  bool IsOpen() const { return link_ && link_->IsOpen(); }
  const std::string& connection() const { return connection_; }
  OrvexLink& link() { return *link_; }
  long long AnswerLength() const { return link_ ? link_->LastAnswerLength() : -1; }
  std::string FailureText() const;

  // Runs one library call with the GIL released: on this link (made current
  // by an OrvexLinkScope) when needs_link, under the module's lock for
  // process-wide state when process_wide. Ctrl-C on the main thread cancels
  // the wait and raises KeyboardInterrupt.
  template <class F>
  long long Call(bool needs_link, bool process_wide, F&& f) {
    if (needs_link && !IsOpen()) ThrowClosed();
    long long r = 0;
    bool interrupted = false;
    {
      py::gil_scoped_release release;
      ProcessLock lock(process_wide);
      if (needs_link) {
        InterruptGuard guard(link_.get());
        OrvexLinkScope scope(*link_);
        r = f();
        interrupted = guard.Fired();
      } else {
        r = f();
      }
    }
    if (interrupted) RaiseInterrupt();
    return r;
  }

 private:
  struct ProcessLock {
    explicit ProcessLock(bool take);
    ~ProcessLock();
    bool taken;
  };
  // Sends SIGINT to the link's cancellation while a call waits on the main
  // thread, then restores the handler that was there.
  class InterruptGuard {
   public:
    explicit InterruptGuard(OrvexLink* link);
    ~InterruptGuard();
    bool Fired() const;

   private:
    bool installed_ = false;
    struct sigaction old_{};
  };
  [[noreturn]] void ThrowClosed() const;
  static void RaiseInterrupt();

  std::unique_ptr<OrvexLink> link_;
  std::string connection_;
};

enum class Rule { none, zero, nonzero, negative, not1, notpositive };

struct Meaning {
  int code;
  const char* text;
};

// Raises the exception of a failed result (nothing when r means success).
void CheckResult(Link& self, const char* method, long long r, Rule rule, const char* family,
                 const Meaning* table, size_t n);

// Raises an exception of orvex.errors by class name.
[[noreturn]] void Raise(const char* cls, const std::string& message, const char* method = nullptr,
                        long long code = 0);

template <class T>
T CheckInt(const char* method, const char* name, long long v, long long lo, long long hi) {
  if (v < lo || v > hi)
    throw py::value_error(std::string(method) + ": " + name + " must be between " +
                          std::to_string(lo) + " and " + std::to_string(hi) + ", not " +
                          std::to_string(v));
  return static_cast<T>(v);
}

Buffer InBuffer(const char* method, const char* name, const py::bytes& b, long long need, bool exact);
Buffer OutBuffer(long long size);
std::vector<char> TextArg(const char* method, const char* name, const std::string& s);
py::bytes Take(const Buffer& b, long long n, long long cap);

// "mfd", "eml" or "json" as a dump format; ValueError for another word.
orvexformats::DumpFormat DumpFormatOf(const std::string& word);

void BindMethods(py::class_<Link>& cls);
void BindLayers(py::module_& m);
extern const char* const kMethodNames[];

}  // namespace orvex_py
