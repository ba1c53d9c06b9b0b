// SPDX-License-Identifier: MIT
#include "config.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace orvex_ifd {
namespace {

std::string Trim(const std::string& s) {
  size_t b = s.find_first_not_of(" \t\r");
  if (b == std::string::npos) return "";
  size_t e = s.find_last_not_of(" \t\r");
  return s.substr(b, e - b + 1);
}

std::string Lower(std::string s) {
  for (char& c : s)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return s;
}

bool Boolean(const std::string& v, bool& out) {
  std::string l = Lower(v);
  if (l == "yes" || l == "on" || l == "true" || l == "1") {
    out = true;
    return true;
  }
  if (l == "no" || l == "off" || l == "false" || l == "0") {
    out = false;
    return true;
  }
  return false;
}

}  // namespace

Config ParseConfig(const std::string& text) {
  Config c;
  std::istringstream in(text);
  std::string line;
  int number = 0;
  auto problem = [&](const std::string& what) {
    c.problems += (c.problems.empty() ? "" : "; ") + std::string("line ") + std::to_string(number) + ": " + what;
  };
  while (std::getline(in, line)) {
    ++number;
    size_t hash = line.find('#');
    if (hash != std::string::npos) line.erase(hash);
    line = Trim(line);
    if (line.empty()) continue;
    size_t eq = line.find('=');
    if (eq == std::string::npos) {
      problem("no \"=\"");
      continue;
    }
    std::string key = Lower(Trim(line.substr(0, eq))), value = Trim(line.substr(eq + 1));
    if (key == "pass-through") {
      if (!Boolean(value, c.pass_through)) problem("pass-through takes yes or no");
    } else {
      problem("unknown key \"" + key + "\"");
    }
  }
  return c;
}

Config LoadConfig() {
  const char* env = std::getenv(kConfigPathVariable);
  std::string path = env && *env ? env : kDefaultConfigPath;
  std::ifstream f(path);
  if (!f) return Config{};
  std::stringstream text;
  text << f.rdbuf();
  Config c = ParseConfig(text.str());
  c.source = path;
  return c;
}

}  // namespace orvex_ifd
