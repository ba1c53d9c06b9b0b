// SPDX-License-Identifier: MIT
// A file written whole or not at all: its bytes go to a temporary file
// beside it, are flushed to the disk and renamed into place, so that an
// interruption or a full disk leaves any previous file as it was. Shared by
// every program of the SDK that writes a user's file (the orvex tool,
// orvex-sim, the Python module).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace orvexformats {

class AtomicFile {
 public:
  // Creates the temporary file, with the final file's permissions mode;
  // ok() is false (and error() says why) when it cannot be.
  AtomicFile(const std::string& path, unsigned mode);
  // The temporary file goes unless Commit put it in place.
  ~AtomicFile();
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  bool ok() const { return fd_ >= 0; }
  // Writes the bytes, flushes them and renames the file into place; false
  // with error() on a failure (the previous file, if any, is then as it
  // was). Once only.
  bool Commit(const uint8_t* data, size_t size);
  // What went wrong, in words without the path: "cannot be written (...)",
  // "cannot write it (...); the previous file, if any, is unchanged" or
  // "cannot put it in place (...)".
  const std::string& error() const { return error_; }

 private:
  std::string path_, temp_, error_;
  int fd_ = -1;
};

}  // namespace orvexformats
