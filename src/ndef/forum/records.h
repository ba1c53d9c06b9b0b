// SPDX-License-Identifier: MIT
// The NDEF record types people put on tags: building them, and reading them
// back out of a Record. Every Parse function returns false (and leaves its
// output alone) when the record is not of its type or its payload is
// malformed; Describe shows any record, unknown types as raw bytes.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ndef/forum/message.h"

namespace orvex {
namespace ndef {

// ---- Text (well-known "T") ----
struct Text {
  std::string text;        // UTF-8, whatever the record's encoding
  std::string lang = "en"; // IANA language code, 1 to 63 ASCII bytes
  bool utf16 = false;      // stored as UTF-16 (big-endian, as written here)
};
// Throws Error for a language code that is empty, longer than 63 bytes or
// not ASCII, or text that is not valid UTF-8.
Record MakeText(const Text& text);
bool ParseText(const Record& r, Text& out);

// ---- URI (well-known "U") ----
// The longest of the 35 abbreviations that starts uri is stored as its code;
// any other scheme is written in full (code 0).
Record MakeUri(const std::string& uri);
bool ParseUri(const Record& r, std::string& out);
// The abbreviation of an identifier code, or nullptr for an unassigned one.
const char* UriPrefix(uint8_t code);

// ---- Smart Poster (well-known "Sp") ----
struct SmartPoster {
  std::string uri;                       // required
  std::vector<Text> titles;              // one per language
  std::optional<uint8_t> action;         // 0 do, 1 save, 2 open for editing
  std::optional<uint32_t> size;          // of what the URI refers to
  std::string type;                      // its MIME type
  std::optional<std::pair<std::string, Bytes>> icon;  // MIME type and image
  Message other;                         // nested records of other types, kept
};
Record MakeSmartPoster(const SmartPoster& sp);
bool ParseSmartPoster(const Record& r, SmartPoster& out);

// ---- MIME media records (TNF 2), vCard as text/vcard ----
// Throws Error for a type that is not "type/subtype" in ASCII.
Record MakeMime(const std::string& type, const Bytes& data);

// ---- Wi-Fi Simple Configuration credential (application/vnd.wfa.wsc) ----
struct Wifi {
  std::string ssid;            // 1 to 32 bytes
  uint16_t auth = 0x0020;      // authentication type: 0x0001 open, 0x0020 WPA2-Personal, ...
  uint16_t encryption = 0x0008;// encryption type: 0x0001 none, 0x0008 AES, ...
  std::string key;             // the network key, up to 64 bytes
  Bytes mac = Bytes(6, 0xFF);  // the broadcast address: any
};
Record MakeWifi(const Wifi& wifi);
bool ParseWifi(const Record& r, Wifi& out);
// Words for the authentication and encryption types ("WPA2-Personal", "AES").
std::string WifiAuthName(uint16_t auth);
std::string WifiEncryptionName(uint16_t encryption);

// ---- External types (TNF 4) and Android application records ----
// type: "domain:type"; throws Error when it has no ':' or is not ASCII.
Record MakeExternal(const std::string& type, const Bytes& data);
Record MakeAndroidApp(const std::string& package);  // external "android.com:pkg"

// One line for a person: the kind of record and its content, every control
// character and invalid UTF-8 byte escaped (\n, \x1b, ...), so that a tag's
// bytes never reach a terminal raw. Unknown types show their bytes in hex.
std::string Describe(const Record& r);
// text with control characters and invalid UTF-8 escaped, as Describe does.
std::string Printable(const std::string& text);

}  // namespace ndef
}  // namespace orvex
