// SPDX-License-Identifier: MIT
// The user's settings for the orvex tool: $XDG_CONFIG_HOME/orvex/config.toml
// (~/.config/orvex/config.toml when XDG_CONFIG_HOME is not set).
#pragma once

#include <string>
#include <vector>

namespace orvextool {

struct Config {
  std::string path;                    // the file read ("" when there is none)
  std::string device;                  // device = "..."   (default --device)
  int baud = 0;                        // baud = 38400     (default --baud; 0 not set)
  std::vector<std::string> key_files;  // keys = ["..."]   (MIFARE Classic key lists)
};

// The file's path, whether or not it exists.
std::string ConfigPath();

// Reads the settings. A missing file gives no settings; a file that is not
// TOML, a setting of the wrong type or value, or a setting this tool does
// not know is a usage Failure naming the file and line (exit status 2).
// Key file paths that are not absolute are taken from the file's folder.
Config ReadConfig();

}  // namespace orvextool
