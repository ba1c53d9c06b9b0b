// SPDX-License-Identifier: MIT
// Reader discovery from sysfs and /dev.
#include "link/discovery.h"

#include <dirent.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

namespace orvex {

namespace {

constexpr const char* kVendor = "0471";
constexpr const char* kProduct = "114a";

std::string Attribute(const std::string& dir, const char* name) {
  std::ifstream f(dir + "/" + name);
  std::string value;
  std::getline(f, value);
  while (!value.empty() && (value.back() == '\n' || value.back() == ' ' || value.back() == '\r'))
    value.pop_back();
  return value;
}

std::string Lower(std::string s) {
  for (char& c : s)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return s;
}

// The path with "." and ".." taken out.
std::string Normal(const std::string& path) {
  std::vector<std::string> parts;
  size_t i = 0;
  while (i <= path.size()) {
    size_t j = path.find('/', i);
    if (j == std::string::npos) j = path.size();
    std::string part = path.substr(i, j - i);
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
    } else if (!part.empty() && part != ".") {
      parts.push_back(part);
    }
    i = j + 1;
  }
  std::string out;
  for (const auto& p : parts) out += "/" + p;
  return out.empty() ? "/" : out;
}

std::vector<std::string> Entries(const std::string& dir) {
  std::vector<std::string> names;
  DIR* d = opendir(dir.c_str());
  if (d == nullptr) return names;
  while (dirent* e = readdir(d)) {
    std::string n = e->d_name;
    if (n != "." && n != "..") names.push_back(n);
  }
  closedir(d);
  std::sort(names.begin(), names.end());
  return names;
}

void FindUsb(const std::string& root, std::vector<FoundReader>& out) {
  const std::string base = root + "/sys/bus/usb/devices";
  std::vector<FoundReader> usb;
  for (const std::string& name : Entries(base)) {
    if (name.find(':') != std::string::npos) continue;  // an interface, not a device
    const std::string dir = base + "/" + name;
    if (Lower(Attribute(dir, "idVendor")) != kVendor || Lower(Attribute(dir, "idProduct")) != kProduct) continue;
    FoundReader r;
    r.kind = "usb";
    r.bus = atoi(Attribute(dir, "busnum").c_str());
    r.address = atoi(Attribute(dir, "devnum").c_str());
    if (r.bus <= 0 || r.address <= 0) continue;
    r.serial = Attribute(dir, "serial");
    r.connection = "usb:" + std::to_string(r.bus) + ":" + std::to_string(r.address);
    char node[32];
    snprintf(node, sizeof node, "/dev/bus/usb/%03d/%03d", r.bus, r.address);
    r.path = node;
    usb.push_back(r);
  }
  std::sort(usb.begin(), usb.end(), [](const FoundReader& a, const FoundReader& b) {
    return a.bus != b.bus ? a.bus < b.bus : a.address < b.address;
  });
  out.insert(out.end(), usb.begin(), usb.end());
}

void FindSerial(const std::string& root, std::vector<FoundReader>& out) {
  std::vector<std::string> targets;
  const std::string byid = root + "/dev/serial/by-id";
  for (const std::string& name : Entries(byid)) {
    FoundReader r;
    r.kind = "serial";
    r.path = "/dev/serial/by-id/" + name;
    char buf[PATH_MAX];
    ssize_t n = readlink((byid + "/" + name).c_str(), buf, sizeof buf - 1);
    if (n > 0) {
      buf[n] = '\0';
      // udev's links are relative ("../../ttyUSB0"); others may be absolute.
      r.target = Normal(buf[0] == '/' ? std::string(buf) : "/dev/serial/by-id/" + std::string(buf));
    } else {
      r.target = r.path;
    }
    r.connection = r.path;
    targets.push_back(r.target);
    out.push_back(r);
  }
  for (const std::string& name : Entries(root + "/dev")) {
    if (name.rfind("ttyUSB", 0) != 0 && name.rfind("ttyACM", 0) != 0) continue;
    std::string dev = "/dev/" + name;
    if (std::find(targets.begin(), targets.end(), dev) != targets.end()) continue;
    FoundReader r;
    r.kind = "serial";
    r.path = dev;
    r.target = dev;
    r.connection = dev;
    out.push_back(r);
  }
}

}  // namespace

std::vector<FoundReader> FindReaders(const std::string& root) {
  std::vector<FoundReader> out;
  FindUsb(root, out);
  FindSerial(root, out);
  return out;
}

}  // namespace orvex
