// SPDX-License-Identifier: MIT
#include "device_name.h"

#include <cstdlib>
#include <vector>

namespace orvex_ifd {
namespace {

std::vector<std::string> Split(const std::string& s, char sep) {
  std::vector<std::string> parts;
  size_t start = 0;
  for (;;) {
    size_t at = s.find(sep, start);
    parts.push_back(s.substr(start, at == std::string::npos ? std::string::npos : at - start));
    if (at == std::string::npos) return parts;
    start = at + 1;
  }
}

// A decimal number of 1 to 3 digits, 1 to 255 (USB buses and addresses).
bool UsbNumber(const std::string& s, int& out) {
  if (s.empty() || s.size() > 3) return false;
  int v = 0;
  for (char c : s) {
    if (c < '0' || c > '9') return false;
    v = v * 10 + (c - '0');
  }
  if (v < 1 || v > 255) return false;
  out = v;
  return true;
}

// "VVVV/PPPP": four hex digits, a slash, four hex digits.
bool IsVendorProduct(const std::string& s) {
  if (s.size() != 9 || s[4] != '/') return false;
  for (size_t i = 0; i < s.size(); ++i) {
    char c = s[i];
    bool hex = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    if (i != 4 && !hex) return false;
  }
  return true;
}

bool IsOurDevice(const std::string& ids) {
  // "0471/114a", case as pcscd writes it (lower) or as people do (upper).
  std::string lower;
  for (char c : ids) lower += static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  return lower == "0471/114a";
}

}  // namespace

bool ConnectionFromDeviceName(const std::string& device, std::string& connection, std::string& error) {
  // serial:PATH[@BAUD]: pcscd looks for a DEVICENAME without a colon as a
  // file, which /dev/ttyUSB0@38400 is not; this form carries the speed past it.
  static const std::string kSerial = "serial:";
  if (device.compare(0, kSerial.size(), kSerial) == 0) {
    connection = device.substr(kSerial.size());
    if (connection.empty() || connection[0] != '/') {
      error = "\"" + device + "\" names no device path after serial:";
      return false;
    }
    return true;
  }
  auto parts = Split(device, ':');
  // Only pcscd's hotplug names have a VVVV/PPPP part; every other name is
  // the library's own.
  if (parts.size() < 2 || parts[0] != "usb" || !IsVendorProduct(parts[1])) {
    connection = device;
    return true;
  }
  if (!IsOurDevice(parts[1])) {
    error = "the USB device " + parts[1] + " is not an Orvex reader (0471/114a)";
    return false;
  }
  int bus = 0, address = 0;
  if (parts.size() == 2) {
    connection = "usb";
    return true;
  }
  if (parts[2] == "libudev" && parts.size() == 5) {
    // usb:0471/114a:libudev:0:/dev/bus/usb/001/004
    auto path = Split(parts[4], '/');
    if (path.size() == 6 && path[0].empty() && path[1] == "dev" && path[2] == "bus" && path[3] == "usb" &&
        UsbNumber(path[4], bus) && UsbNumber(path[5], address)) {
      connection = "usb:" + std::to_string(bus) + ":" + std::to_string(address);
      return true;
    }
  } else if (parts[2] == "libusb-1.0" && (parts.size() == 5 || parts.size() == 6)) {
    // usb:0471/114a:libusb-1.0:1:4:0 (bus, address, interface)
    if (UsbNumber(parts[3], bus) && UsbNumber(parts[4], address)) {
      connection = "usb:" + std::to_string(bus) + ":" + std::to_string(address);
      return true;
    }
  }
  error = "cannot tell the USB bus and address from \"" + device + "\"";
  return false;
}

bool ConnectionFromChannel(unsigned long channel, std::string& connection) {
  static const unsigned long kPorts[] = {0x0103F8, 0x0102F8, 0x0103E8, 0x0102E8};
  for (int i = 0; i < 4; ++i) {
    if (channel == kPorts[i]) {
      connection = "ttyS:" + std::to_string(i);
      return true;
    }
  }
  if (channel < 256) {
    connection = "ttyS:" + std::to_string(channel);
    return true;
  }
  return false;
}

}  // namespace orvex_ifd
