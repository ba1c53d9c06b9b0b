// SPDX-License-Identifier: MIT
#include "config.h"

#include <sys/stat.h>

#include <cstdlib>
#include <sstream>

#include <toml++/toml.h>

#include "device.h"

namespace orvextool {

namespace {

std::string Where(const std::string& path, const toml::source_region& at) {
  return path + ":" + std::to_string(at.begin.line);
}

}  // namespace

std::string ConfigPath() {
  const char* xdg = std::getenv("XDG_CONFIG_HOME");
  if (xdg != nullptr && xdg[0] == '/') return std::string(xdg) + "/orvex/config.toml";
  const char* home = std::getenv("HOME");
  return std::string(home != nullptr ? home : "") + "/.config/orvex/config.toml";
}

Config ReadConfig() {
  Config c;
  const std::string path = ConfigPath();
  struct stat st;
  if (stat(path.c_str(), &st) != 0) return c;
  c.path = path;
  toml::table table;
  try {
    table = toml::parse_file(path);
  } catch (const toml::parse_error& e) {
    throw Failure(Where(path, e.source()) + ": " + std::string(e.description()), 2);
  }
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  for (auto&& [key, value] : table) {
    const std::string name(key.str());
    const std::string where = Where(path, value.source());
    if (name == "device") {
      auto v = value.value<std::string>();
      if (!v || !value.is_string()) throw Failure(where + ": device is a string, such as \"/dev/ttyUSB0\"", 2);
      c.device = *v;
    } else if (name == "baud") {
      auto v = value.value<int64_t>();
      if (!value.is_integer() || !v || (*v != 4800 && *v != 9600 && *v != 19200 && *v != 38400))
        throw Failure(where + ": baud is 4800, 9600, 19200 or 38400", 2);
      c.baud = static_cast<int>(*v);
    } else if (name == "keys") {
      const toml::array* files = value.as_array();
      if (files == nullptr) throw Failure(where + ": keys is a list of key files, such as [\"keys.txt\"]", 2);
      for (auto&& f : *files) {
        auto v = f.value<std::string>();
        if (!f.is_string() || !v || v->empty())
          throw Failure(Where(path, f.source()) + ": keys holds the names of key files", 2);
        c.key_files.push_back((*v)[0] == '/' ? *v : folder + *v);
      }
    } else {
      throw Failure(where + ": unknown setting \"" + name + "\" (known: device, baud, keys)", 2);
    }
  }
  return c;
}

}  // namespace orvextool
