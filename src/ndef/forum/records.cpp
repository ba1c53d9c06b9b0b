// SPDX-License-Identifier: MIT
#include "ndef/forum/records.h"

#include <cstdio>

namespace orvex {
namespace ndef {

namespace {

Bytes ToBytes(const std::string& s) { return Bytes(s.begin(), s.end()); }
std::string ToString(const Bytes& b) { return std::string(b.begin(), b.end()); }

bool IsAscii(const std::string& s) {
  for (unsigned char c : s)
    if (c < 0x20 || c > 0x7E) return false;
  return true;
}

// Length of the UTF-8 sequence at s[i], or 0 when it is not a valid one.
size_t Utf8Sequence(const std::string& s, size_t i) {
  const auto b = [&](size_t k) { return static_cast<unsigned char>(s[k]); };
  unsigned char c = b(i);
  if (c < 0x80) return 1;
  size_t n;
  uint32_t cp;
  if ((c & 0xE0) == 0xC0) { n = 2; cp = c & 0x1F; }
  else if ((c & 0xF0) == 0xE0) { n = 3; cp = c & 0x0F; }
  else if ((c & 0xF8) == 0xF0) { n = 4; cp = c & 0x07; }
  else return 0;
  if (s.size() - i < n) return 0;
  for (size_t k = 1; k < n; ++k) {
    if ((b(i + k) & 0xC0) != 0x80) return 0;
    cp = (cp << 6) | (b(i + k) & 0x3F);
  }
  static const uint32_t kMin[] = {0, 0, 0x80, 0x800, 0x10000};
  if (cp < kMin[n] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
  return n;
}

bool ValidUtf8(const std::string& s) {
  for (size_t i = 0; i < s.size();) {
    size_t n = Utf8Sequence(s, i);
    if (n == 0) return false;
    i += n;
  }
  return true;
}

void AppendUtf8(std::string& out, uint32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

// UTF-8 (already validated) to UTF-16 big-endian, no byte order mark.
Bytes Utf16be(const std::string& s) {
  Bytes out;
  auto put = [&](uint32_t u) {
    out.push_back(static_cast<uint8_t>(u >> 8));
    out.push_back(static_cast<uint8_t>(u));
  };
  for (size_t i = 0; i < s.size();) {
    size_t n = Utf8Sequence(s, i);
    uint32_t cp = static_cast<unsigned char>(s[i]) & (n == 1 ? 0x7F : n == 2 ? 0x1F : n == 3 ? 0x0F : 0x07);
    for (size_t k = 1; k < n; ++k) cp = (cp << 6) | (static_cast<unsigned char>(s[i + k]) & 0x3F);
    i += n;
    if (cp >= 0x10000) {
      cp -= 0x10000;
      put(0xD800 | (cp >> 10));
      put(0xDC00 | (cp & 0x3FF));
    } else {
      put(cp);
    }
  }
  return out;
}

// UTF-16 to UTF-8: a byte order mark chooses the order (big-endian without
// one). False for an odd length or an unpaired surrogate.
bool FromUtf16(const uint8_t* p, size_t n, std::string& out) {
  if (n % 2) return false;
  bool big = true;
  size_t i = 0;
  if (n >= 2 && p[0] == 0xFF && p[1] == 0xFE) { big = false; i = 2; }
  else if (n >= 2 && p[0] == 0xFE && p[1] == 0xFF) { i = 2; }
  auto unit = [&](size_t k) -> uint32_t {
    return big ? (static_cast<uint32_t>(p[k]) << 8 | p[k + 1]) : (static_cast<uint32_t>(p[k + 1]) << 8 | p[k]);
  };
  std::string s;
  for (; i < n; i += 2) {
    uint32_t u = unit(i);
    if (u >= 0xD800 && u <= 0xDBFF) {
      if (i + 4 > n) return false;
      uint32_t low = unit(i + 2);
      if (low < 0xDC00 || low > 0xDFFF) return false;
      AppendUtf8(s, 0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00));
      i += 2;
    } else if (u >= 0xDC00 && u <= 0xDFFF) {
      return false;
    } else {
      AppendUtf8(s, u);
    }
  }
  out = std::move(s);
  return true;
}

std::string HexOf(const Bytes& b) {
  static const char* digits = "0123456789ABCDEF";
  std::string s;
  for (uint8_t c : b) {
    s += digits[c >> 4];
    s += digits[c & 15];
  }
  return s;
}

const char* const kUriPrefixes[] = {
    "",           "http://www.", "https://www.", "http://",   "https://",  "tel:",
    "mailto:",    "ftp://anonymous:anonymous@", "ftp://ftp.", "ftps://",   "sftp://",
    "smb://",     "nfs://",      "ftp://",      "dav://",    "news:",     "telnet://",
    "imap:",      "rtsp://",     "urn:",        "pop:",      "sip:",      "sips:",
    "tftp:",      "btspp://",    "btl2cap://",  "btgoep://", "tcpobex://", "irdaobex://",
    "file://",    "urn:epc:id:", "urn:epc:tag:", "urn:epc:pat:", "urn:epc:raw:", "urn:epc:",
    "urn:nfc:",
};
constexpr size_t kUriPrefixCount = sizeof kUriPrefixes / sizeof kUriPrefixes[0];

// Wi-Fi Simple Configuration attribute types.
constexpr uint16_t kWscVersion = 0x104A, kWscCredential = 0x100E, kWscNetworkIndex = 0x1026,
                   kWscSsid = 0x1045, kWscAuth = 0x1003, kWscEncryption = 0x100F, kWscKey = 0x1027,
                   kWscMac = 0x1020;

void PutAttr(Bytes& out, uint16_t type, const Bytes& value) {
  out.push_back(static_cast<uint8_t>(type >> 8));
  out.push_back(static_cast<uint8_t>(type));
  out.push_back(static_cast<uint8_t>(value.size() >> 8));
  out.push_back(static_cast<uint8_t>(value.size()));
  out.insert(out.end(), value.begin(), value.end());
}

Bytes U16(uint16_t v) { return {static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)}; }

// The attributes of a WSC attribute list; false when one runs past the end.
bool Attributes(const Bytes& data, std::vector<std::pair<uint16_t, Bytes>>& out) {
  size_t i = 0;
  while (i < data.size()) {
    if (data.size() - i < 4) return false;
    uint16_t type = static_cast<uint16_t>(data[i] << 8 | data[i + 1]);
    size_t len = static_cast<size_t>(data[i + 2] << 8 | data[i + 3]);
    i += 4;
    if (data.size() - i < len) return false;
    out.emplace_back(type, Bytes(data.begin() + static_cast<long>(i), data.begin() + static_cast<long>(i + len)));
    i += len;
  }
  return true;
}

}  // namespace

std::string Printable(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size();) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    size_t n = Utf8Sequence(text, i);
    // C1 control characters (U+0080 to U+009F) are as dangerous as C0 ones.
    bool c1 = n == 2 && c == 0xC2 && static_cast<unsigned char>(text[i + 1]) < 0xA0;
    if (n == 1 && c >= 0x20 && c != 0x7F && c != '\\' && c != '"') {
      out += static_cast<char>(c);
    } else if (n > 1 && !c1) {
      out.append(text, i, n);
    } else {
      char buf[8];
      switch (c) {
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        case '\\': out += "\\\\"; break;
        case '"': out += "\\\""; break;
        default:
          if (c1) {
            std::snprintf(buf, sizeof buf, "\\u%04X", static_cast<unsigned char>(text[i + 1]));
            out += buf;
            i += 2;
            continue;
          }
          std::snprintf(buf, sizeof buf, "\\x%02X", c);
          out += buf;
      }
      n = 1;
    }
    i += n;
  }
  return out;
}

Record MakeText(const Text& t) {
  if (t.lang.empty() || t.lang.size() > 63 || !IsAscii(t.lang))
    throw Error("a text record's language code is 1 to 63 ASCII characters (\"en\", \"de-CH\")");
  if (!ValidUtf8(t.text)) throw Error("the text is not valid UTF-8");
  Record r{Tnf::kWellKnown, {'T'}, {}, {}};
  r.payload.push_back(static_cast<uint8_t>((t.utf16 ? 0x80 : 0x00) | t.lang.size()));
  r.payload.insert(r.payload.end(), t.lang.begin(), t.lang.end());
  Bytes body = t.utf16 ? Utf16be(t.text) : ToBytes(t.text);
  r.payload.insert(r.payload.end(), body.begin(), body.end());
  return r;
}

bool ParseText(const Record& r, Text& out) {
  if (!r.Is(Tnf::kWellKnown, "T") || r.payload.empty()) return false;
  const uint8_t status = r.payload[0];
  const size_t lang_len = status & 0x3F;
  if (r.payload.size() - 1 < lang_len) return false;
  Text t;
  t.utf16 = (status & 0x80) != 0;
  t.lang.assign(r.payload.begin() + 1, r.payload.begin() + 1 + static_cast<long>(lang_len));
  const uint8_t* body = r.payload.data() + 1 + lang_len;
  const size_t n = r.payload.size() - 1 - lang_len;
  if (t.utf16) {
    if (!FromUtf16(body, n, t.text)) return false;
  } else {
    t.text.assign(body, body + n);
  }
  out = std::move(t);
  return true;
}

const char* UriPrefix(uint8_t code) { return code < kUriPrefixCount ? kUriPrefixes[code] : nullptr; }

Record MakeUri(const std::string& uri) {
  size_t best = 0, best_len = 0;
  for (size_t code = 1; code < kUriPrefixCount; ++code) {
    size_t len = std::char_traits<char>::length(kUriPrefixes[code]);
    if (len > best_len && uri.compare(0, len, kUriPrefixes[code]) == 0) {
      best = code;
      best_len = len;
    }
  }
  Record r{Tnf::kWellKnown, {'U'}, {}, {static_cast<uint8_t>(best)}};
  r.payload.insert(r.payload.end(), uri.begin() + static_cast<long>(best_len), uri.end());
  return r;
}

bool ParseUri(const Record& r, std::string& out) {
  if (!r.Is(Tnf::kWellKnown, "U") || r.payload.empty()) return false;
  const char* prefix = UriPrefix(r.payload[0]);
  if (!prefix) return false;
  out = std::string(prefix) + std::string(r.payload.begin() + 1, r.payload.end());
  return true;
}

Record MakeSmartPoster(const SmartPoster& sp) {
  if (sp.uri.empty()) throw Error("a smart poster needs a URI");
  Message inner{MakeUri(sp.uri)};
  for (const Text& t : sp.titles) inner.push_back(MakeText(t));
  if (sp.action) inner.push_back(Record{Tnf::kWellKnown, {'a', 'c', 't'}, {}, {*sp.action}});
  if (sp.size) {
    uint32_t s = *sp.size;
    inner.push_back(Record{Tnf::kWellKnown, {'s'}, {},
                           {static_cast<uint8_t>(s >> 24), static_cast<uint8_t>(s >> 16),
                            static_cast<uint8_t>(s >> 8), static_cast<uint8_t>(s)}});
  }
  if (!sp.type.empty()) inner.push_back(Record{Tnf::kWellKnown, {'t'}, {}, ToBytes(sp.type)});
  if (sp.icon) inner.push_back(MakeMime(sp.icon->first, sp.icon->second));
  inner.insert(inner.end(), sp.other.begin(), sp.other.end());
  return Record{Tnf::kWellKnown, {'S', 'p'}, {}, Encode(inner)};
}

bool ParseSmartPoster(const Record& r, SmartPoster& out) {
  if (!r.Is(Tnf::kWellKnown, "Sp")) return false;
  Message inner;
  try {
    inner = Decode(r.payload);
  } catch (const Error&) {
    return false;
  }
  SmartPoster sp;
  bool have_uri = false;
  for (const Record& n : inner) {
    Text t;
    std::string uri;
    if (n.Is(Tnf::kWellKnown, "U")) {
      if (have_uri || !ParseUri(n, uri)) return false;  // exactly one URI
      sp.uri = uri;
      have_uri = true;
    } else if (ParseText(n, t)) {
      sp.titles.push_back(t);
    } else if (n.Is(Tnf::kWellKnown, "act") && n.payload.size() == 1) {
      sp.action = n.payload[0];
    } else if (n.Is(Tnf::kWellKnown, "s") && n.payload.size() == 4) {
      sp.size = static_cast<uint32_t>(n.payload[0]) << 24 | static_cast<uint32_t>(n.payload[1]) << 16 |
                static_cast<uint32_t>(n.payload[2]) << 8 | n.payload[3];
    } else if (n.Is(Tnf::kWellKnown, "t")) {
      sp.type = ToString(n.payload);
    } else if (n.tnf == Tnf::kMedia && !sp.icon &&
               (n.TypeText().rfind("image/", 0) == 0 || n.TypeText().rfind("video/", 0) == 0)) {
      sp.icon = std::make_pair(n.TypeText(), n.payload);
    } else {
      sp.other.push_back(n);
    }
  }
  if (!have_uri) return false;
  out = std::move(sp);
  return true;
}

Record MakeMime(const std::string& type, const Bytes& data) {
  size_t slash = type.find('/');
  if (!IsAscii(type) || slash == std::string::npos || slash == 0 || slash + 1 == type.size() ||
      type.find(' ') != std::string::npos || type.size() > 255)
    throw Error("\"" + Printable(type) + "\" is not a MIME type (type/subtype)");
  return Record{Tnf::kMedia, ToBytes(type), {}, data};
}

Record MakeWifi(const Wifi& w) {
  if (w.ssid.empty() || w.ssid.size() > 32) throw Error("a Wi-Fi SSID is 1 to 32 bytes");
  if (w.key.size() > 64) throw Error("a Wi-Fi network key is at most 64 bytes");
  if (w.mac.size() != 6) throw Error("a MAC address is 6 bytes");
  Bytes credential;
  PutAttr(credential, kWscNetworkIndex, {1});
  PutAttr(credential, kWscSsid, ToBytes(w.ssid));
  PutAttr(credential, kWscAuth, U16(w.auth));
  PutAttr(credential, kWscEncryption, U16(w.encryption));
  PutAttr(credential, kWscKey, ToBytes(w.key));
  PutAttr(credential, kWscMac, w.mac);
  Bytes payload;
  PutAttr(payload, kWscVersion, {0x10});
  PutAttr(payload, kWscCredential, credential);
  return MakeMime("application/vnd.wfa.wsc", payload);
}

bool ParseWifi(const Record& r, Wifi& out) {
  if (!r.Is(Tnf::kMedia, "application/vnd.wfa.wsc")) return false;
  std::vector<std::pair<uint16_t, Bytes>> outer, inner;
  if (!Attributes(r.payload, outer)) return false;
  const Bytes* credential = nullptr;
  for (const auto& a : outer)
    if (a.first == kWscCredential) credential = &a.second;
  if (!credential || !Attributes(*credential, inner)) return false;
  Wifi w;
  w.mac.clear();
  bool ssid = false;
  for (const auto& a : inner) {
    const Bytes& v = a.second;
    switch (a.first) {
      case kWscSsid: w.ssid = ToString(v); ssid = true; break;
      case kWscAuth: if (v.size() != 2) return false; w.auth = static_cast<uint16_t>(v[0] << 8 | v[1]); break;
      case kWscEncryption:
        if (v.size() != 2) return false;
        w.encryption = static_cast<uint16_t>(v[0] << 8 | v[1]);
        break;
      case kWscKey: w.key = ToString(v); break;
      case kWscMac: w.mac = v; break;
      default: break;
    }
  }
  if (!ssid) return false;
  out = std::move(w);
  return true;
}

std::string WifiAuthName(uint16_t auth) {
  switch (auth) {
    case 0x0001: return "open";
    case 0x0002: return "WPA-Personal";
    case 0x0004: return "shared";
    case 0x0008: return "WPA-Enterprise";
    case 0x0010: return "WPA2-Enterprise";
    case 0x0020: return "WPA2-Personal";
    case 0x0022: return "WPA/WPA2-Personal";
    default: {
      char buf[24];
      std::snprintf(buf, sizeof buf, "authentication 0x%04X", auth);
      return buf;
    }
  }
}

std::string WifiEncryptionName(uint16_t encryption) {
  switch (encryption) {
    case 0x0001: return "none";
    case 0x0002: return "WEP";
    case 0x0004: return "TKIP";
    case 0x0008: return "AES";
    case 0x000C: return "AES/TKIP";
    default: {
      char buf[24];
      std::snprintf(buf, sizeof buf, "encryption 0x%04X", encryption);
      return buf;
    }
  }
}

Record MakeExternal(const std::string& type, const Bytes& data) {
  size_t colon = type.find(':');
  if (!IsAscii(type) || colon == std::string::npos || colon == 0 || colon + 1 == type.size() ||
      type.size() > 255)
    throw Error("\"" + Printable(type) + "\" is not an external type (domain:type)");
  return Record{Tnf::kExternal, ToBytes(type), {}, data};
}

Record MakeAndroidApp(const std::string& package) {
  if (package.empty() || !IsAscii(package)) throw Error("an Android package name is ASCII, not empty");
  return MakeExternal("android.com:pkg", ToBytes(package));
}

std::string Describe(const Record& r) {
  std::string d;
  Text t;
  std::string uri;
  SmartPoster sp;
  Wifi w;
  auto quoted = [](const std::string& s) { return "\"" + Printable(s) + "\""; };
  auto bytes = [](const Bytes& b) {
    return std::to_string(b.size()) + " byte" + (b.size() == 1 ? "" : "s") + (b.empty() ? "" : ": " + HexOf(b));
  };
  const std::string type = quoted(r.TypeText());
  if (ParseText(r, t)) {
    d = "text " + quoted(t.text) + " (" + Printable(t.lang) + (t.utf16 ? ", UTF-16)" : ")");
  } else if (ParseUri(r, uri)) {
    d = "uri " + quoted(uri);
  } else if (ParseSmartPoster(r, sp)) {
    d = "smart poster " + quoted(sp.uri);
    for (const Text& title : sp.titles) d += ", title " + quoted(title.text) + " (" + Printable(title.lang) + ")";
    if (sp.action) {
      static const char* kActions[] = {"do", "save", "open for editing"};
      d += ", action " + std::string(*sp.action < 3 ? kActions[*sp.action] : std::to_string(*sp.action));
    }
    if (sp.size) d += ", size " + std::to_string(*sp.size);
    if (!sp.type.empty()) d += ", type " + quoted(sp.type);
    if (sp.icon) d += ", icon " + quoted(sp.icon->first) + " of " + std::to_string(sp.icon->second.size()) + " bytes";
    for (const Record& o : sp.other) d += ", with [" + Describe(o) + "]";
  } else if (ParseWifi(r, w)) {
    d = "wifi ssid " + quoted(w.ssid) + ", " + WifiAuthName(w.auth) + ", " + WifiEncryptionName(w.encryption) +
        ", key " + quoted(w.key);
  } else if (r.Is(Tnf::kExternal, "android.com:pkg")) {
    d = "android application " + quoted(ToString(r.payload));
  } else if (r.tnf == Tnf::kMedia) {
    const std::string mime = r.TypeText();
    std::string text = ToString(r.payload);
    if ((mime.rfind("text/", 0) == 0) && ValidUtf8(text))
      d = "mime " + quoted(mime) + ", " + std::to_string(r.payload.size()) + " bytes: " + quoted(text);
    else
      d = "mime " + quoted(mime) + ", " + bytes(r.payload);
  } else {
    switch (r.tnf) {
      case Tnf::kEmpty: d = "empty record"; break;
      case Tnf::kWellKnown: d = "well-known type " + type + ", " + bytes(r.payload); break;
      case Tnf::kAbsoluteUri: d = "absolute-uri type " + type + ", " + bytes(r.payload); break;
      case Tnf::kExternal: d = "external type " + type + ", " + bytes(r.payload); break;
      case Tnf::kUnknown: d = "unknown type, " + bytes(r.payload); break;
      default:
        d = "TNF " + std::to_string(static_cast<int>(r.tnf)) + " type " + type + ", " + bytes(r.payload);
    }
  }
  if (!r.id.empty()) d += ", id " + quoted(ToString(r.id));
  return d;
}

}  // namespace ndef
}  // namespace orvex
