// SPDX-License-Identifier: MIT
#include "apdu_script.h"

#include <cctype>
#include <stdexcept>

#include "hex_text.h"
#include "text_lines.h"

namespace orvexformats {

namespace {

int Digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::vector<uint8_t> CommandBytes(const std::string& text) {
  std::vector<uint8_t> out;
  std::string why;
  if (!ParseHexBytes(text, out, &why)) throw std::invalid_argument(why);
  return out;
}

std::string Trimmed(const std::string& s) {
  size_t a = s.find_first_not_of(" \t\r");
  if (a == std::string::npos) return "";
  size_t b = s.find_last_not_of(" \t\r");
  return s.substr(a, b - a + 1);
}

}  // namespace

bool ApduLine::Matches(uint8_t sw1, uint8_t sw2) const { return !checked || ((sw1 << 8 | sw2) & sw_mask) == sw; }

bool ParseApduLine(const std::string& text, size_t max_bytes, ApduLine& out) {
  std::string line = text.substr(0, text.find('#'));
  if (Trimmed(line).empty()) return false;
  out.checked = false;
  out.sw = out.sw_mask = 0;
  out.expected.clear();
  size_t eq = line.find('=');
  if (eq != std::string::npos) {
    std::string sw = Trimmed(line.substr(eq + 1));
    if (sw.size() != 4) throw std::invalid_argument("the expected status word \"" + sw + "\" is not 4 hex digits");
    for (char c : sw) {
      int d = Digit(c);
      bool any = c == 'X' || c == 'x';
      if (d < 0 && !any)
        throw std::invalid_argument("the expected status word \"" + sw + "\" is not 4 hex digits (X for any)");
      out.sw = static_cast<uint16_t>(out.sw << 4 | (any ? 0 : d));
      out.sw_mask = static_cast<uint16_t>(out.sw_mask << 4 | (any ? 0 : 0xF));
    }
    out.checked = true;
    for (char& c : sw) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    out.expected = sw;
    line.erase(eq);
  }
  if (Trimmed(line).empty()) throw std::invalid_argument("no command before \"=\"");
  out.command = CommandBytes(line);
  if (out.command.size() < 4) throw std::invalid_argument("shorter than a 4-byte header");
  if (out.command.size() > max_bytes)
    throw std::invalid_argument(std::to_string(out.command.size()) + " bytes: at most " + std::to_string(max_bytes) +
                                " bytes fit in one command");
  return true;
}

std::vector<ApduLine> ParseApduScript(const std::string& text, size_t max_bytes) {
  std::vector<ApduLine> lines;
  for (const ContentLine& c : ContentLines(text)) {
    ApduLine l;
    try {
      if (ParseApduLine(c.text, max_bytes, l)) {
        l.line = c.number;
        lines.push_back(l);
      }
    } catch (const std::invalid_argument& e) {
      throw std::invalid_argument("line " + std::to_string(c.number) + ": " + e.what());
    }
  }
  return lines;
}

std::string StatusWordMeaning(uint8_t sw1, uint8_t sw2) {
  struct Entry {
    uint16_t sw, mask;
    const char* text;
  };
  // The first entry that matches wins: exact words before their groups.
  static const Entry kTable[] = {
      {0x9000, 0xFFFF, "success"},
      {0x6100, 0xFF00, "more response bytes available (GET RESPONSE)"},
      {0x6281, 0xFFFF, "warning: part of the returned data may be corrupted"},
      {0x6282, 0xFFFF, "warning: end of file or record reached before Le bytes"},
      {0x6283, 0xFFFF, "warning: selected file deactivated"},
      {0x6284, 0xFFFF, "warning: file control information not formatted"},
      {0x6285, 0xFFFF, "warning: selected file in termination state"},
      {0x6200, 0xFF00, "warning: memory unchanged"},
      {0x6381, 0xFFFF, "warning: file filled up by the last write"},
      {0x63C0, 0xFFF0, "warning: verification failed, counter in the low digit (tries left)"},
      {0x6300, 0xFF00, "warning: memory changed"},
      {0x6400, 0xFF00, "execution error: memory unchanged"},
      {0x6581, 0xFFFF, "execution error: memory failure"},
      {0x6500, 0xFF00, "execution error: memory changed"},
      {0x6700, 0xFFFF, "wrong length"},
      {0x6881, 0xFFFF, "logical channel not supported"},
      {0x6882, 0xFFFF, "secure messaging not supported"},
      {0x6883, 0xFFFF, "last command of the chain expected"},
      {0x6884, 0xFFFF, "command chaining not supported"},
      {0x6800, 0xFF00, "functions in CLA not supported"},
      {0x6981, 0xFFFF, "command incompatible with file structure"},
      {0x6982, 0xFFFF, "security status not satisfied"},
      {0x6983, 0xFFFF, "authentication method blocked"},
      {0x6984, 0xFFFF, "reference data not usable"},
      {0x6985, 0xFFFF, "conditions of use not satisfied"},
      {0x6986, 0xFFFF, "command not allowed (no current EF)"},
      {0x6987, 0xFFFF, "expected secure messaging data objects missing"},
      {0x6988, 0xFFFF, "incorrect secure messaging data objects"},
      {0x6900, 0xFF00, "command not allowed"},
      {0x6A80, 0xFFFF, "incorrect parameters in the data field"},
      {0x6A81, 0xFFFF, "function not supported"},
      {0x6A82, 0xFFFF, "file or application not found"},
      {0x6A83, 0xFFFF, "record not found"},
      {0x6A84, 0xFFFF, "not enough memory space in the file"},
      {0x6A85, 0xFFFF, "Lc inconsistent with TLV structure"},
      {0x6A86, 0xFFFF, "incorrect parameters P1-P2"},
      {0x6A87, 0xFFFF, "Lc inconsistent with P1-P2"},
      {0x6A88, 0xFFFF, "referenced data not found"},
      {0x6A89, 0xFFFF, "file already exists"},
      {0x6A8A, 0xFFFF, "DF name already exists"},
      {0x6A00, 0xFF00, "wrong parameters P1-P2"},
      {0x6B00, 0xFFFF, "wrong parameters P1-P2 (offset outside the file)"},
      {0x6C00, 0xFF00, "wrong Le: the low byte says how many bytes are available"},
      {0x6D00, 0xFFFF, "instruction code not supported or invalid"},
      {0x6E00, 0xFFFF, "class not supported"},
      {0x6F00, 0xFFFF, "no precise diagnosis"},
  };
  const uint16_t sw = static_cast<uint16_t>(sw1 << 8 | sw2);
  for (const Entry& e : kTable)
    if ((sw & e.mask) == e.sw) return e.text;
  return "unknown status word";
}

std::optional<std::vector<uint8_t>> FollowUpCommand(const std::vector<uint8_t>& command, uint8_t sw1, uint8_t sw2) {
  if (sw1 == 0x61) return std::vector<uint8_t>{0x00, 0xC0, 0x00, 0x00, sw2};
  if (sw1 != 0x6C || command.size() < 4) return std::nullopt;
  // Short APDUs: header; header Le; header Lc data; header Lc data Le.
  std::vector<uint8_t> again = command;
  const size_t n = command.size();
  if (n == 4) {
    again.push_back(sw2);
    return again;
  }
  if (n == 5) {
    again[4] = sw2;
    return again;
  }
  const size_t lc = command[4];
  if (lc == 0) return std::nullopt;  // an extended length: not resent
  if (n == 5 + lc) {
    again.push_back(sw2);
    return again;
  }
  if (n == 6 + lc) {
    again.back() = sw2;
    return again;
  }
  return std::nullopt;
}

}  // namespace orvexformats
