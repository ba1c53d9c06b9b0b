// SPDX-License-Identifier: MIT
#include "atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

namespace orvexformats {

AtomicFile::AtomicFile(const std::string& path, unsigned mode) : path_(path) {
  std::vector<char> name(path.begin(), path.end());
  const std::string suffix = ".XXXXXX";
  name.insert(name.end(), suffix.begin(), suffix.end());
  name.push_back('\0');
  fd_ = mkostemp(name.data(), O_CLOEXEC);
  if (fd_ < 0) {
    error_ = std::string("cannot be written (") + std::strerror(errno) + ")";
    return;
  }
  temp_ = name.data();
  fchmod(fd_, static_cast<mode_t>(mode));
}

AtomicFile::~AtomicFile() {
  if (fd_ >= 0) close(fd_);
  if (!temp_.empty()) unlink(temp_.c_str());
}

bool AtomicFile::Commit(const uint8_t* data, size_t size) {
  if (fd_ < 0) {
    if (error_.empty()) error_ = "cannot write it (already written)";
    return false;
  }
  int why = 0;
  for (size_t done = 0; why == 0 && done < size;) {
    const ssize_t n = write(fd_, data + done, size - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) why = n < 0 ? errno : EIO;
    else done += static_cast<size_t>(n);
  }
  if (why == 0 && fsync(fd_) != 0) why = errno;
  if (close(fd_) != 0 && why == 0) why = errno;
  fd_ = -1;
  if (why != 0) {
    error_ = std::string("cannot write it (") + std::strerror(why) + "); the previous file, if any, is unchanged";
    return false;
  }
  if (std::rename(temp_.c_str(), path_.c_str()) != 0) {
    error_ = std::string("cannot put it in place (") + std::strerror(errno) + ")";
    return false;
  }
  temp_.clear();
  return true;
}

}  // namespace orvexformats
