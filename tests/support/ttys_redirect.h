// SPDX-License-Identifier: MIT
// Serial port redirection for tests. Linked into a test program (with the
// open functions exported from the executable, see tests/serial.cmake), it
// takes over every open of a path beginning with "/dev/ttyS", also the opens
// the shared library makes through its PLT: a port the test redirected opens
// the test's pseudo-terminal instead, any other fails with ENOENT. So
// OpenPort(7, ...) can be exercised on its real device name without root and
// without touching the host's serial ports. Every other path is opened as
// usual.
#pragma once

#include <string>
#include <vector>

namespace orvex_test {

// Opens of "/dev/ttyS<index>" go to target from now on.
void RedirectSerialPort(int index, const std::string& target);
// Forgets every redirection (and every recorded open).
void ClearSerialRedirects();

// One open of a "/dev/ttyS..." path, as the code under test asked for it.
struct SerialOpen {
  std::string path;    // the name asked for
  std::string target;  // what was opened instead ("" when refused)
  int flags = 0;
  int fd = -1;         // the result
};
std::vector<SerialOpen> SerialOpens();

}  // namespace orvex_test
