// SPDX-License-Identifier: MIT
// The driver's configuration: a small file the administrator writes,
// /etc/orvex/pcsc.conf unless the environment of pcscd names another one in
// ORVEX_PCSC_CONF. Lines "key = value"; "#" starts a comment. Keys:
//   pass-through = yes|no   raw reader commands through SCardControl (no)
// A missing file is the defaults; an unreadable or malformed one too, with
// the reason kept for the log.
#pragma once

#include <string>

namespace orvex_ifd {

struct Config {
  bool pass_through = false;
  std::string source;    // the file read ("" when none was)
  std::string problems;  // lines that could not be taken, in words
};

constexpr const char* kDefaultConfigPath = "/etc/orvex/pcsc.conf";
constexpr const char* kConfigPathVariable = "ORVEX_PCSC_CONF";

// Parses the text of a configuration file.
Config ParseConfig(const std::string& text);

// Reads the configuration from ORVEX_PCSC_CONF or the default path.
Config LoadConfig();

}  // namespace orvex_ifd
