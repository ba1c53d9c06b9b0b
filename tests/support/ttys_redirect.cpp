// SPDX-License-Identifier: MIT
// The executable's own open(), open64(), openat(), openat64(), __open_2() and
// __open64_2(). Exported from the test program, they come before the C
// library's in symbol lookup, for the program and for every shared library
// it loads. Paths other than "/dev/ttyS..." go straight on to the next
// definition (the C library's, or a preloaded library's).
#include "ttys_redirect.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <string.h>
#include <sys/stat.h>

#include <map>
#include <mutex>

namespace orvex_test {
namespace {

constexpr char kPrefix[] = "/dev/ttyS";

struct Redirects {
  std::mutex mu;
  std::map<std::string, std::string> targets;  // "/dev/ttyS7" -> pty path
  std::vector<SerialOpen> opens;
};

Redirects& Table() {
  static Redirects* r = new Redirects;  // never destroyed: opens may come late
  return *r;
}

bool IsSerialPath(const char* path) {
  return path != nullptr && strncmp(path, kPrefix, sizeof kPrefix - 1) == 0;
}

// Opens a "/dev/ttyS..." path for the caller: the redirected target through
// real_open, or ENOENT.
template <typename Open>
int OpenSerial(const char* path, int flags, Open real_open) {
  std::string target;
  {
    Redirects& t = Table();
    std::lock_guard<std::mutex> l(t.mu);
    auto it = t.targets.find(path);
    if (it != t.targets.end()) target = it->second;
  }
  int fd = -1;
  int err = ENOENT;
  if (!target.empty()) {
    fd = real_open(target.c_str());
    err = errno;
  }
  {
    Redirects& t = Table();
    std::lock_guard<std::mutex> l(t.mu);
    t.opens.push_back({path, target, flags, fd});
  }
  errno = err;
  return fd;
}

bool NeedsMode(int flags) { return (flags & O_CREAT) || ((flags & O_TMPFILE) == O_TMPFILE); }

template <typename F>
F Next(const char* name) {
  return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void RedirectSerialPort(int index, const std::string& target) {
  Redirects& t = Table();
  std::lock_guard<std::mutex> l(t.mu);
  t.targets[kPrefix + std::to_string(index)] = target;
}

void ClearSerialRedirects() {
  Redirects& t = Table();
  std::lock_guard<std::mutex> l(t.mu);
  t.targets.clear();
  t.opens.clear();
}

std::vector<SerialOpen> SerialOpens() {
  Redirects& t = Table();
  std::lock_guard<std::mutex> l(t.mu);
  return t.opens;
}

}  // namespace orvex_test

using OpenFn = int (*)(const char*, int, ...);
using OpenAtFn = int (*)(int, const char*, int, ...);
using Open2Fn = int (*)(const char*, int);

static int OpenPath(OpenFn real, const char* path, int flags, mode_t mode) {
  if (!orvex_test::IsSerialPath(path)) return real(path, flags, mode);
  return orvex_test::OpenSerial(path, flags, [&](const char* p) { return real(p, flags, mode); });
}

static int OpenAtPath(OpenAtFn real, int dirfd, const char* path, int flags, mode_t mode) {
  if (!orvex_test::IsSerialPath(path)) return real(dirfd, path, flags, mode);
  return orvex_test::OpenSerial(path, flags,
                                [&](const char* p) { return real(dirfd, p, flags, mode); });
}

static int Open2Path(Open2Fn real, const char* path, int flags) {
  if (!orvex_test::IsSerialPath(path)) return real(path, flags);
  return orvex_test::OpenSerial(path, flags, [&](const char* p) { return real(p, flags); });
}

// The mode argument is there only when the flags ask for one.
#define MODE_ARG(flags)                         \
  mode_t mode = 0;                              \
  if (orvex_test::NeedsMode(flags)) {           \
    va_list ap;                                 \
    va_start(ap, flags);                        \
    mode = static_cast<mode_t>(va_arg(ap, int)); \
    va_end(ap);                                 \
  }

extern "C" {

int open(const char* path, int flags, ...) {
  static OpenFn real = orvex_test::Next<OpenFn>("open");
  MODE_ARG(flags)
  return OpenPath(real, path, flags, mode);
}

int open64(const char* path, int flags, ...) {
  static OpenFn real = orvex_test::Next<OpenFn>("open64");
  MODE_ARG(flags)
  return OpenPath(real, path, flags, mode);
}

int openat(int dirfd, const char* path, int flags, ...) {
  static OpenAtFn real = orvex_test::Next<OpenAtFn>("openat");
  MODE_ARG(flags)
  return OpenAtPath(real, dirfd, path, flags, mode);
}

int openat64(int dirfd, const char* path, int flags, ...) {
  static OpenAtFn real = orvex_test::Next<OpenAtFn>("openat64");
  MODE_ARG(flags)
  return OpenAtPath(real, dirfd, path, flags, mode);
}

// The checked entry points a fortified build calls instead of open().
int __open_2(const char* path, int flags) {
  static Open2Fn real = orvex_test::Next<Open2Fn>("__open_2");
  return Open2Path(real, path, flags);
}

int __open64_2(const char* path, int flags) {
  static Open2Fn real = orvex_test::Next<Open2Fn>("__open64_2");
  return Open2Path(real, path, flags);
}

}  // extern "C"
