// SPDX-License-Identifier: MIT
// Subcommands on NFC Forum NDEF messages: ndef read, write, erase and format
// on the tag in the field (NTAG and other Type 2 tags, MIFARE Classic 1K and
// 4K, ISO 15693 tags, Topaz), and ndef encode and decode without a tag.
#include <csignal>

#include "commands.h"
#include "mifare_access.h"
#include "mifare_classic.h"
#include "ndef/forum/mad.h"
#include "ndef/forum/records.h"
#include "ndef_tags.h"
#include "ntag.h"

namespace orvextool {

namespace {

namespace ndef = orvex::ndef;

// The largest message file or --raw message taken (a 3-byte TLV length's limit).
constexpr size_t kMaxMessage = 0xFFFE;

ClassicKey KeyOption(const std::string& text, const std::string& what) {
  ClassicKey key;
  key.fill(0xFF);
  if (text.empty()) return key;
  Bytes b = KeyFromOption(text, what);
  if (b.size() != 6) throw Failure(what + ": a MIFARE key has 12 hex digits", 2);
  std::copy(b.begin(), b.end(), key.begin());
  return key;
}

// ---- Records from the command line -------------------------------------------
struct RecordOptions {
  std::vector<std::string> texts, uris, posters, mimes, vcards, wifis, aars, externals;
  std::string lang = "en", title, wifi_key, wifi_auth, wifi_encryption, raw;
  bool utf16 = false;
  CLI::Option *text = nullptr, *uri = nullptr, *poster = nullptr, *mime = nullptr, *vcard = nullptr,
              *wifi = nullptr, *aar = nullptr, *external = nullptr, *raw_option = nullptr;
};

void AddRecordOptions(CLI::App* sub, RecordOptions& o) {
  o.text = sub->add_option("-t,--text", o.texts, "a text record; repeatable")->allow_extra_args(false);
  sub->add_option("--lang", o.lang, "the language of the text records and titles (default en)");
  sub->add_flag("--utf16", o.utf16, "store text records as UTF-16");
  o.uri = sub->add_option("-u,--uri", o.uris, "a URI record, any scheme; repeatable")->allow_extra_args(false);
  o.poster = sub->add_option("--smartposter", o.posters, "a smart poster of this URI; repeatable")
                 ->allow_extra_args(false);
  sub->add_option("--title", o.title, "the smart posters' title");
  o.mime = sub->add_option("--mime", o.mimes, "a MIME record: TYPE FILE; repeatable")->expected(2)->allow_extra_args(false);
  o.vcard = sub->add_option("--vcard", o.vcards, "a vCard (text/vcard) from FILE; repeatable")->allow_extra_args(false);
  o.wifi = sub->add_option("--wifi", o.wifis, "a Wi-Fi credential for network SSID")->allow_extra_args(false);
  sub->add_option("--wifi-key", o.wifi_key, "the Wi-Fi network key");
  sub->add_option("--wifi-auth", o.wifi_auth, "open, wpa-personal, wpa2-personal (with a key, the default) or wpa/wpa2-personal");
  sub->add_option("--wifi-encryption", o.wifi_encryption, "none, wep, tkip, aes (with a key, the default) or aes/tkip");
  o.aar = sub->add_option("--aar", o.aars, "an Android application record for PACKAGE; repeatable")->allow_extra_args(false);
  o.external = sub->add_option("--external", o.externals, "an external-type record: DOMAIN:TYPE HEX; repeatable")
                   ->expected(2)->allow_extra_args(false);
  o.raw_option = sub->add_option("--raw", o.raw, "a whole NDEF message in hex, checked, instead of records");
}

uint16_t WifiCode(const std::string& name, bool auth) {
  static const std::vector<std::pair<std::string, uint16_t>> auths = {
      {"open", 0x0001}, {"wpa-personal", 0x0002}, {"wpa2-personal", 0x0020}, {"wpa/wpa2-personal", 0x0022}};
  static const std::vector<std::pair<std::string, uint16_t>> encs = {
      {"none", 0x0001}, {"wep", 0x0002}, {"tkip", 0x0004}, {"aes", 0x0008}, {"aes/tkip", 0x000C}};
  for (const auto& p : auth ? auths : encs)
    if (p.first == name) return p.second;
  throw Failure(std::string(auth ? "--wifi-auth" : "--wifi-encryption") + ": \"" + name + "\" is not one of " +
                    (auth ? "open, wpa-personal, wpa2-personal, wpa/wpa2-personal" : "none, wep, tkip, aes, aes/tkip"),
                2);
}

// The message the options describe, records in the order given.
Bytes MessageFromOptions(CLI::App* sub, const RecordOptions& o) {
  if (!o.raw.empty()) {
    if (sub->count("--text") + sub->count("--uri") + sub->count("--smartposter") + sub->count("--mime") +
            sub->count("--vcard") + sub->count("--wifi") + sub->count("--aar") + sub->count("--external") >
        0)
      throw Failure("--raw gives the whole message: no record options with it", 2);
    Bytes raw = ParseHex(o.raw, "--raw");
    if (raw.size() > kMaxMessage) throw Failure("--raw: a message holds at most 65534 bytes", 2);
    try {
      ndef::Decode(raw);
    } catch (const ndef::Error& e) {
      throw Failure("--raw: not a valid NDEF message: " + std::string(e.what()) + " (at byte " +
                        std::to_string(e.offset()) + ")",
                    2);
    }
    return raw;
  }
  ndef::Message message;
  std::map<CLI::Option*, size_t> next;
  try {
    for (CLI::Option* opt : sub->parse_order()) {
      size_t& i = next[opt];
      if (opt == o.text && i < o.texts.size()) {
        message.push_back(ndef::MakeText({o.texts[i++], o.lang, o.utf16}));
      } else if (opt == o.uri && i < o.uris.size()) {
        message.push_back(ndef::MakeUri(o.uris[i++]));
      } else if (opt == o.poster && i < o.posters.size()) {
        ndef::SmartPoster sp;
        sp.uri = o.posters[i++];
        if (!o.title.empty()) sp.titles.push_back({o.title, o.lang, o.utf16});
        message.push_back(ndef::MakeSmartPoster(sp));
      } else if (opt == o.mime && 2 * i + 1 < o.mimes.size()) {
        const std::string& type = o.mimes[2 * i];
        const std::string& file = o.mimes[2 * i + 1];
        ++i;
        message.push_back(ndef::MakeMime(type, ReadInput(file, "--mime file", kMaxMessage)));
      } else if (opt == o.vcard && i < o.vcards.size()) {
        message.push_back(ndef::MakeMime("text/vcard", ReadInput(o.vcards[i++], "--vcard file", kMaxMessage)));
      } else if (opt == o.wifi && i < o.wifis.size()) {
        ndef::Wifi w;
        w.ssid = o.wifis[i++];
        w.key = o.wifi_key;
        w.auth = WifiCode(o.wifi_auth.empty() ? (w.key.empty() ? "open" : "wpa2-personal") : o.wifi_auth, true);
        w.encryption =
            WifiCode(o.wifi_encryption.empty() ? (w.key.empty() ? "none" : "aes") : o.wifi_encryption, false);
        message.push_back(ndef::MakeWifi(w));
      } else if (opt == o.aar && i < o.aars.size()) {
        message.push_back(ndef::MakeAndroidApp(o.aars[i++]));
      } else if (opt == o.external && 2 * i + 1 < o.externals.size()) {
        const std::string& type = o.externals[2 * i];
        Bytes data = ParseHex(o.externals[2 * i + 1], "--external");
        ++i;
        message.push_back(ndef::MakeExternal(type, data));
      }
    }
    if (message.empty())
      throw Failure("give at least one record (--text, --uri, --smartposter, --mime, --vcard, --wifi, --aar, "
                    "--external) or --raw",
                    2);
    Bytes encoded = ndef::Encode(message);
    if (encoded.size() > kMaxMessage)
      throw Failure("the message is " + std::to_string(encoded.size()) + " bytes; a tag holds at most 65534", 2);
    return encoded;
  } catch (const ndef::Error& e) {
    throw Failure(e.what(), 2);
  }
}

// ---- Showing a message -------------------------------------------------------
Json RecordJson(const ndef::Record& r) {
  Json j = {{"tnf", static_cast<int>(r.tnf)},
            {"type", std::string(r.type.begin(), r.type.end())},
            {"id", std::string(r.id.begin(), r.id.end())},
            {"payload", Hex(r.payload)},
            {"description", ndef::Describe(r)}};
  ndef::Text t;
  std::string uri;
  ndef::SmartPoster sp;
  ndef::Wifi w;
  if (ndef::ParseText(r, t)) {
    j["kind"] = "text";
    j["text"] = t.text;
    j["lang"] = t.lang;
    j["encoding"] = t.utf16 ? "UTF-16" : "UTF-8";
  } else if (ndef::ParseUri(r, uri)) {
    j["kind"] = "uri";
    j["uri"] = uri;
  } else if (ndef::ParseSmartPoster(r, sp)) {
    j["kind"] = "smartposter";
    j["uri"] = sp.uri;
    Json titles = Json::array();
    for (const auto& title : sp.titles) titles.push_back({{"text", title.text}, {"lang", title.lang}});
    j["titles"] = titles;
    if (sp.action) j["action"] = *sp.action;
  } else if (ndef::ParseWifi(r, w)) {
    j["kind"] = "wifi";
    j["ssid"] = w.ssid;
    j["authentication"] = ndef::WifiAuthName(w.auth);
    j["encryption"] = ndef::WifiEncryptionName(w.encryption);
    j["key"] = w.key;
  } else if (r.Is(ndef::Tnf::kExternal, "android.com:pkg")) {
    j["kind"] = "android-application";
    j["package"] = std::string(r.payload.begin(), r.payload.end());
  } else if (r.tnf == ndef::Tnf::kMedia) {
    j["kind"] = "mime";
  } else {
    j["kind"] = "other";
  }
  return j;
}

// Prints the records of message (strictly decoded unless relaxed).
void ShowMessage(Context& ctx, const Bytes& bytes, bool relaxed, const std::string& source) {
  Json& d = ctx.out().doc();
  d["message"] = Hex(bytes);
  if (bytes.empty()) {
    d["records"] = Json::array();
    ctx.out().Line(source + "the NDEF message is empty");
    return;
  }
  ndef::Message message;
  try {
    message = ndef::Decode(bytes, relaxed ? ndef::Strictness::kRelaxed : ndef::Strictness::kStrict);
  } catch (const ndef::Error& e) {
    throw Failure(source + "the NDEF message of " + std::to_string(bytes.size()) + " bytes is malformed: " +
                  e.what() + " (at byte " + std::to_string(e.offset()) + ")" +
                  (relaxed ? "" : "; --relaxed accepts common deviations"));
  }
  ctx.out().Line(source + "NDEF message of " + std::to_string(bytes.size()) + " bytes, " +
                 std::to_string(message.size()) + " record(s)");
  Json records = Json::array();
  for (size_t i = 0; i < message.size(); ++i) {
    records.push_back(RecordJson(message[i]));
    ctx.out().Line("record " + std::to_string(i + 1) + ": " + ndef::Describe(message[i]));
  }
  d["records"] = records;
}

// ---- On a tag ---------------------------------------------------------------
struct TagOptions {
  std::string key;  // MIFARE Classic key B
  bool relaxed = false;
};

void Describe(Context& ctx, const NdefTag& tag) {
  Json& d = ctx.out().doc();
  d["tag"] = tag.kind;
  d["uid"] = tag.uid;
  d["area_bytes"] = tag.memory->size();
}

void Read(Context& ctx, const TagOptions& o) {
  ClassicKey key = KeyOption(o.key, "--key");
  ctx.Open();
  NdefTag tag = OpenNdefTag(ctx, key, false);
  Describe(ctx, tag);
  Bytes message;
  try {
    message = ndef::ReadMessage(*tag.memory);
  } catch (const ndef::Error& e) {
    throw Failure("the " + tag.Name() + "'s NDEF area: " + e.what());
  }
  ShowMessage(ctx, message, o.relaxed, tag.Name() + ": ");
}

// Set by SIGINT or SIGTERM while a message is written: the write stops
// between two pages or blocks, each step leaving a valid message.
volatile std::sig_atomic_t g_stop = 0;
extern "C" void OnStopWriting(int) { g_stop = 1; }

struct StopGuard {
  StopGuard() {
    g_stop = 0;
    old_int = std::signal(SIGINT, OnStopWriting);
    old_term = std::signal(SIGTERM, OnStopWriting);
  }
  ~StopGuard() {
    std::signal(SIGINT, old_int);
    std::signal(SIGTERM, old_term);
  }
  void (*old_int)(int);
  void (*old_term)(int);
};

// Writes message to the tag in the field; what did not happen is said.
void WriteToTag(Context& ctx, const Bytes& message, const std::string& key_text, const std::string& verb) {
  ClassicKey key = KeyOption(key_text, "--key");
  ctx.Open();
  NdefTag tag = OpenNdefTag(ctx, key, true);
  Describe(ctx, tag);
  if (!tag.read_only.empty())
    throw Failure("the " + tag.Name() + " cannot be written: " + tag.read_only + "; nothing was written");
  ndef::WriteReport report;
  StopGuard guard;
  try {
    ndef::WriteMessage(*tag.memory, message, report, [](size_t) {
      if (g_stop) throw Failure("interrupted");
    });
  } catch (const ndef::Error& e) {
    throw Failure("writing the NDEF message to the " + tag.Name() + ": " + e.what() +
                  (report.units_written ? "; " + report.state : ""));
  } catch (const Failure& e) {
    throw Failure("writing the NDEF message to the " + tag.Name() + ": " + e.what() + "; " + report.state,
                  e.code);
  }
  Json& d = ctx.out().doc();
  d["message_bytes"] = message.size();
  d["capacity"] = report.capacity;
  d["units_written"] = report.units_written;
  ctx.Done(verb + " the " + tag.Name() + " (" + std::to_string(message.size()) + " of " +
           std::to_string(report.capacity) + " bytes), read back and checked");
}

struct WriteOptions {
  RecordOptions records;
  TagOptions tag;
};

void Write(Context& ctx, CLI::App* sub, const WriteOptions& o) {
  Bytes message = MessageFromOptions(sub, o.records);
  size_t n = ndef::Decode(message).size();
  WriteToTag(ctx, message, o.tag.key,
             "wrote " + std::to_string(n) + " NDEF record(s) in " + std::to_string(message.size()) + " bytes to");
}

void Erase(Context& ctx, const TagOptions& o) { WriteToTag(ctx, {}, o.key, "erased the NDEF message of"); }

// ---- Formatting ------------------------------------------------------------------
struct FormatOptions {
  std::string key, transport_key;
  bool yes = false;
};

// A blank NTAG or Ultralight EV1: the capability container (one-time programmable: its bits
// can never be cleared again) and an empty message.
void FormatType2(Context& ctx, const TypeACardInfo& card, bool yes) {
  unsigned char version[ORVEX_MAX_ANSWER] = {};
  CheckCard(ctx.ov.OV_NTag_GetVersion(ctx.reader_id, version), "reading the tag's version",
            "the card " + Hex(card.uid) + " is not an NTAG or Ultralight EV1 (no answer to GET_VERSION)");
  NtagModel model;
  if (!NtagModelOf(version, model))
    throw Failure("the card " + Hex(card.uid) + " reports an unknown NTAG size (version " + Hex(version, 8) + ")");
  const unsigned char size = static_cast<unsigned char>(model.cc_size);
  const std::string kind = model.name;
  unsigned char cc[ORVEX_MAX_ANSWER];
  int len = 0;
  CheckCard(ctx.ov.OV_NTag_Read(ctx.reader_id, 3, &len, cc), "reading the capability container",
            "the tag refused the read");
  if (len < 8) throw Failure("reading the capability container: " + std::to_string(len) + " bytes came back");
  const std::string name = kind + " " + Hex(card.uid);
  if (cc[0] == 0xE1) throw Failure("the " + name + " is already formatted for NDEF; orvex ndef erase empties its message", 2);
  if (cc[0] | cc[1] | cc[2] | cc[3])
    throw Failure("the " + name + "'s capability container holds " + Hex(cc, 4) +
                  ", not a blank one: it cannot be formatted (its bits cannot be cleared)");
  unsigned char new_cc[4] = {0xE1, 0x10, size, 0x00};
  unsigned char empty[4] = {0x03, 0x00, 0xFE, 0x00};
  ctx.out().Line("page 3 (capability container, one-time programmable): " + Hex(new_cc, 4));
  ctx.out().Line("page 4 (an empty NDEF message): " + Hex(empty, 4));
  if (!yes) throw Failure("nothing was written: add --yes to write these pages to the " + name, 2);
  // The message first: until the container is written, the tag is not NDEF.
  CheckCard(ctx.ov.OV_NTag_Write(ctx.reader_id, 4, empty), "writing page 4", "the tag refused the write");
  CheckCard(ctx.ov.OV_NTag_Write(ctx.reader_id, 3, new_cc), "writing page 3", "the tag refused the write");
  ctx.out().doc()["tag"] = kind;
  ctx.out().doc()["uid"] = Hex(card.uid);
  ctx.Done("formatted the " + name + " for NDEF (" + std::to_string(size * 8) + " bytes)");
}

// A MIFARE Classic in transport configuration: the directory in sector 0
// (and 16 on a 4K card), every other sector an NDEF sector with the public
// NFC Forum key A and the given key B, an empty message in the first.
void FormatClassic(Context& ctx, const TypeACardInfo& card, const ClassicKey& key_b, const ClassicKey& transport,
                   bool yes) {
  const bool four_k = card.sak == 0x18;
  const int sectors = four_k ? 40 : 16;
  const std::string name = std::string(four_k ? "MIFARE Classic 4K " : "MIFARE Classic 1K ") + Hex(card.uid);
  auto trailer = [&](const uint8_t* key_a, const uint8_t access[4]) {
    Bytes t(key_a, key_a + 6);
    t.insert(t.end(), access, access + 4);
    t.insert(t.end(), key_b.begin(), key_b.end());
    return t;
  };
  // The directory: key A reads, key B writes; general-purpose byte C1
  // (a directory present, version 1) or C2 (version 2, on a 4K card).
  const uint8_t mad_access[4] = {0x78, 0x77, 0x88, static_cast<uint8_t>(four_k ? 0xC2 : 0xC1)};
  // NDEF sectors: key A reads, key B reads and writes; byte 40 (mapping
  // version 1.0, read and write granted).
  const uint8_t ndef_access[4] = {0x7F, 0x07, 0x88, 0x40};
  std::vector<std::pair<int, Bytes>> writes;  // block, data; trailers last
  std::vector<uint16_t> aids1(15, ndef::kNdefAid), aids2(23, ndef::kNdefAid);
  Bytes mad1 = ndef::BuildMad(aids1, 0x00);
  writes.push_back({1, Bytes(mad1.begin(), mad1.begin() + 16)});
  writes.push_back({2, Bytes(mad1.begin() + 16, mad1.end())});
  if (four_k) {
    Bytes mad2 = ndef::BuildMad(aids2, 0x00);
    for (int i = 0; i < 3; ++i)
      writes.push_back({64 + i, Bytes(mad2.begin() + 16 * i, mad2.begin() + 16 * (i + 1))});
  }
  Bytes first_block(16, 0);
  first_block[0] = 0x03, first_block[1] = 0x00, first_block[2] = 0xFE;
  writes.push_back({4, first_block});
  const Bytes mad_trailer = trailer(ndef::kMadKeyA, mad_access);
  const Bytes ndef_trailer = trailer(ndef::kNfcForumKeyA, ndef_access);
  for (int s = 0; s < sectors; ++s) {
    bool directory = s == 0 || (four_k && s == 16);
    writes.push_back({FirstBlock(s) + BlocksIn(s) - 1, directory ? mad_trailer : ndef_trailer});
  }
  ctx.out().Line("sector 0" + std::string(four_k ? " and 16" : "") + " (directory) trailer: " + Hex(mad_trailer));
  ctx.out().Line("NDEF sector trailers: " + Hex(ndef_trailer));
  if (!yes) throw Failure("nothing was written: add --yes to format the " + name, 2);

  // Every sector must open with the transport key A and let key A write its
  // trailer, before anything is written.
  Classic session(ctx, card);
  Key tk;
  std::copy(transport.begin(), transport.end(), tk.begin());
  for (int s = 0; s < sectors; ++s) {
    session.Reselect();
    if (!session.Auth(s, kKeyA, tk))
      throw Failure("sector " + std::to_string(s) + " does not open with key A " + Hex(tk.data(), 6) +
                    ": the card is not in transport configuration (--transport-key); nothing was written");
    uint8_t t[16];
    const int tb = FirstBlock(s) + BlocksIn(s) - 1;
    if (!session.Read(tb, t)) throw Failure("reading the trailer of sector " + std::to_string(s) + ": refused; nothing was written");
    orvexformats::Access access;
    if (!orvexformats::DecodeAccess(t + 6, access) ||
        orvexformats::TrailerBlockRights(access.c[3]).write_access.find('A') == std::string::npos)
      throw Failure("sector " + std::to_string(s) + "'s access bits (" + Hex(t + 6, 3) +
                    ") do not let key A rewrite its trailer; nothing was written");
  }
  std::vector<int> done;
  int open_sector = -1;
  for (const auto& w : writes) {
    const int block = w.first;
    const int s = block < 128 ? block / 4 : 32 + (block - 128) / 16;
    if (s != open_sector) {
      session.Reselect();
      if (!session.Auth(s, kKeyA, tk))
        throw Failure("sector " + std::to_string(s) + " no longer opens with the transport key; blocks written: " +
                      std::to_string(done.size()));
      open_sector = s;
    }
    if (!session.Write(block, w.second.data()))
      throw Failure("writing block " + std::to_string(block) + " was refused; blocks written before it: " +
                    std::to_string(done.size()) + " (the card is partly formatted)");
    done.push_back(block);
    // A trailer changes the sector's keys: the next block opens it anew.
    if (block == FirstBlock(s) + BlocksIn(s) - 1) open_sector = -1;
  }
  ctx.out().doc()["tag"] = four_k ? "MIFARE Classic 4K" : "MIFARE Classic 1K";
  ctx.out().doc()["uid"] = Hex(card.uid);
  ctx.out().doc()["mad_trailer"] = Hex(mad_trailer);
  ctx.out().doc()["ndef_trailer"] = Hex(ndef_trailer);
  ctx.Done("formatted the " + name + " for NDEF (" + std::to_string(sectors - (four_k ? 2 : 1)) +
           " NDEF sectors, key B " + Hex(key_b.data(), 6) + ")");
}

void Format(Context& ctx, const FormatOptions& o) {
  ClassicKey key_b = KeyOption(o.key, "--key");
  ClassicKey transport = KeyOption(o.transport_key, "--transport-key");
  ctx.Open();
  ResetField(ctx, "formatting");
  TypeACardInfo card;
  if (!SelectChosenTypeA(ctx, card))
    throw Failure(ctx.uid().empty() ? "no ISO 14443-A card in the field" : ctx.NoCard());
  if (card.IsClassic()) return FormatClassic(ctx, card, key_b, transport, o.yes);
  if (card.sak == 0x00) return FormatType2(ctx, card, o.yes);
  throw Failure("the card " + Hex(card.uid) + " (" + card.Kind() + ") cannot be formatted by this tool");
}

// ---- Without a tag ------------------------------------------------------------------
void Encode(Context& ctx, CLI::App* sub, const RecordOptions& o) {
  Bytes message = MessageFromOptions(sub, o);
  ctx.out().doc()["message"] = Hex(message);
  ctx.out().Line(Hex(message));
}

struct DecodeOptions {
  std::string hex, file;
  bool relaxed = false;
};

void DecodeCommand(Context& ctx, const DecodeOptions& o) {
  if (o.hex.empty() == o.file.empty()) throw Failure("ndef decode: give the message in HEX or --file, one of them", 2);
  Bytes bytes = o.file.empty() ? ParseHex(o.hex, "HEX") : ReadInput(o.file, "message file", kMaxMessage);
  ShowMessage(ctx, bytes, o.relaxed, "");
}

}  // namespace

void AddNdefCommands(CLI::App& app, Context& ctx) {
  auto* n = app.add_subcommand("ndef", "NFC Forum NDEF messages on NTAG, MIFARE Classic and ISO 15693 tags");
  n->require_subcommand(1);
  const char* key_help = "MIFARE Classic key B of the NDEF sectors: @FILE, - (standard input) or hex (default FFFFFFFFFFFF)";

  static TagOptions read;
  read = TagOptions();
  auto* r = n->add_subcommand("read", "read the tag's message and print its records");
  r->add_option("-k,--key", read.key, "MIFARE Classic key B, should the public key A not open a sector: @FILE, - (standard input) or hex");
  r->add_flag("--relaxed", read.relaxed, "accept messages that break the record layout's rules in common ways");
  ctx.Register(r, [&ctx] { Read(ctx, read); });

  static WriteOptions write;
  write = WriteOptions();
  auto* w = n->add_subcommand("write", "write a message of the records given, in their order");
  AddRecordOptions(w, write.records);
  w->add_option("-k,--key", write.tag.key, key_help);
  ctx.Register(w, [&ctx, w] { Write(ctx, w, write); });

  static TagOptions erase;
  erase = TagOptions();
  auto* e = n->add_subcommand("erase", "replace the tag's message by an empty one");
  e->add_option("-k,--key", erase.key, key_help);
  ctx.Register(e, [&ctx] { Erase(ctx, erase); });

  static FormatOptions format;
  format = FormatOptions();
  auto* f = n->add_subcommand("format", "prepare a blank NTAG or a MIFARE Classic in transport configuration");
  f->add_option("-k,--key", format.key, "the key B to give the MIFARE Classic's sectors: @FILE, - (standard input) or hex (default FFFFFFFFFFFF)");
  f->add_option("--transport-key", format.transport_key,
                "the MIFARE Classic's present key A of every sector: @FILE, - or hex (default FFFFFFFFFFFF)");
  f->add_flag("--yes", format.yes, "write (without it the blocks are only shown)");
  ctx.Register(f, [&ctx] { Format(ctx, format); });

  static RecordOptions encode;
  encode = RecordOptions();
  auto* en = n->add_subcommand("encode", "print the message of the records given in hex (no tag needed)");
  AddRecordOptions(en, encode);
  ctx.Register(en, [&ctx, en] { Encode(ctx, en, encode); });

  static DecodeOptions decode;
  decode = DecodeOptions();
  auto* de = n->add_subcommand("decode", "print the records of a message given in hex or in a file");
  de->add_option("HEX", decode.hex, "the message in hex");
  de->add_option("-f,--file", decode.file, "a file holding the message's bytes (- for standard input)");
  de->add_flag("--relaxed", decode.relaxed, "accept messages that break the record layout's rules in common ways");
  ctx.Register(de, [&ctx] { DecodeCommand(ctx, decode); });
}

}  // namespace orvextool
