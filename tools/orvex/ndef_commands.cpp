// SPDX-License-Identifier: MIT
// Subcommands on NDEF messages of MIFARE Classic 1K and NTAG tags: ndef
// write (text and URI records, in the order given) and ndef read.
#include <cstring>

#include "commands.h"

namespace orvextool {

namespace {

constexpr int kMaxRecords = 5;
// MIFARE Classic key B, the key the NDEF sectors are opened with.
constexpr unsigned char kKeyB = 0x61;
constexpr int kNtagReadDeadlineMs = 500;
// The longest a record carries: 252 bytes of text, 254 of URI after its
// prefix code.
constexpr size_t kMaxText = 252, kMaxUri = 254;

// URI identifier codes of NDEF URI records and the prefixes they stand for.
// Code 0 ("no prefix") is missing: the library's record API takes code 0
// for a text record.
const std::vector<std::pair<unsigned char, std::string>>& UriPrefixes() {
  static const std::vector<std::pair<unsigned char, std::string>> prefixes = {
      {0x01, "http://www."}, {0x02, "https://www."}, {0x03, "http://"},
      {0x04, "https://"},    {0x05, "tel:"},         {0x06, "mailto:"},
      {0x07, "ftp://anonymous:anonymous@"},          {0x08, "ftp://ftp."},
      {0x09, "ftps://"},     {0x0A, "sftp://"},      {0x0B, "smb://"},
      {0x0C, "nfs://"},      {0x0D, "ftp://"},       {0x0E, "dav://"},
      {0x0F, "news:"},       {0x10, "telnet://"},    {0x11, "imap:"},
      {0x12, "rtsp://"},     {0x13, "urn:"},         {0x14, "pop:"},
      {0x15, "sip:"},        {0x16, "sips:"},        {0x17, "tftp:"},
      {0x18, "btspp://"},    {0x19, "btl2cap://"},   {0x1A, "btgoep://"},
      {0x1B, "tcpobex://"},  {0x1C, "irdaobex://"},  {0x1D, "file://"},
      {0x1E, "urn:epc:id:"}, {0x1F, "urn:epc:tag:"}, {0x20, "urn:epc:pat:"},
      {0x21, "urn:epc:raw:"}, {0x22, "urn:epc:"},    {0x23, "urn:nfc:"},
  };
  return prefixes;
}

// The longest known prefix of uri: its code, and the rest of uri after it.
bool SplitUri(const std::string& uri, unsigned char& code, std::string& rest) {
  size_t best = 0;
  for (const auto& p : UriPrefixes()) {
    if (p.second.size() > best && uri.compare(0, p.second.size(), p.second) == 0) {
      best = p.second.size();
      code = p.first;
    }
  }
  if (best == 0) return false;
  rest = uri.substr(best);
  return true;
}

std::string PrefixOf(unsigned char code) {
  for (const auto& p : UriPrefixes())
    if (p.first == code) return p.second;
  return "";
}

// The library's process-wide message buffer, created for one command and
// always destroyed with its records, also when the command fails.
class MessageBuffer {
 public:
  explicit MessageBuffer(Context& ctx) : ctx_(ctx) { ctx_.ov.OV_NDEF_Initial(); }
  ~MessageBuffer() { ctx_.ov.OV_NDEF_Free(); }
  MessageBuffer(const MessageBuffer&) = delete;
  MessageBuffer& operator=(const MessageBuffer&) = delete;

  void SetKey(const Bytes& key) {
    Bytes copy = key;
    if (ctx_.ov.OV_NDEF_SetKey(copy.data()) != 1) throw Failure("cannot set the NDEF key");
  }

 private:
  Context& ctx_;
};

struct Record {
  unsigned char code;  // 0 text, else the URI prefix code
  std::string value;   // the text, or the URI after its prefix
};

struct NdefOptions {
  std::vector<std::string> texts, uris;
  std::string key;
  CLI::Option* text_option = nullptr;
  CLI::Option* uri_option = nullptr;
};

Bytes NdefKey(const std::string& text) {
  if (text.empty()) return Bytes(6, 0xFF);
  Bytes key = ParseHex(text, "--key");
  if (key.size() != 6) throw Failure("--key: a MIFARE key has 12 hex digits", 2);
  return key;
}

// The card results of the whole-message write and read, in words.
std::string NdefFailure(int rc, const Bytes& key) {
  switch (rc) {
    case -1: return "no card in the field";
    case -2: return "the card did not complete anticollision and selection";
    case -3: return "authentication failed for a sector with key B " + Hex(key);
    case -4:
      return "the card refused a block or page (a MIFARE Classic whose access bits do not let key B "
             "write, as on a card in transport configuration, or a message too large for the tag)";
    case -5: return "the card is neither a MIFARE Classic 1K nor an NTAG";
    case -6: return "the card holds no NDEF message";
    default: return "failed (result " + std::to_string(rc) + ")";
  }
}

// The records from the command line in the order given.
std::vector<Record> RecordsInOrder(CLI::App* sub, const NdefOptions& o) {
  std::vector<Record> records;
  size_t t = 0, u = 0;
  for (CLI::Option* opt : sub->parse_order()) {
    if (opt == o.text_option && t < o.texts.size()) {
      const std::string& text = o.texts[t++];
      if (text.size() > kMaxText)
        throw Failure("--text: a text record holds at most " + std::to_string(kMaxText) + " bytes", 2);
      records.push_back({0, text});
    } else if (opt == o.uri_option && u < o.uris.size()) {
      const std::string& uri = o.uris[u++];
      Record r{0, ""};
      if (!SplitUri(uri, r.code, r.value))
        throw Failure("--uri \"" + uri + "\": a URI record needs a known scheme (http://, https://, "
                      "tel:, mailto:, urn:, file:// ...)", 2);
      if (r.value.size() > kMaxUri)
        throw Failure("--uri: a URI holds at most " + std::to_string(kMaxUri) +
                      " bytes after its scheme", 2);
      records.push_back(r);
    }
  }
  if (records.empty()) throw Failure("ndef write: give at least one --text or --uri", 2);
  if (records.size() > kMaxRecords)
    throw Failure("ndef write: a message holds at most " + std::to_string(kMaxRecords) + " records", 2);
  return records;
}

void Write(Context& ctx, CLI::App* sub, const NdefOptions& o) {
  std::vector<Record> records = RecordsInOrder(sub, o);
  Bytes key = NdefKey(o.key);
  ctx.Open();
  // The message functions look for an idle card: whatever an earlier
  // command left selected or halted is powered up afresh.
  ResetField(ctx, "writing the NDEF message");
  MessageBuffer buffer(ctx);
  buffer.SetKey(key);
  for (const Record& r : records) {
    Bytes bytes(r.value.begin(), r.value.end());
    if (ctx.ov.OV_NDEF_AddRecord(r.code, static_cast<int>(bytes.size()), bytes.data()) < 0)
      throw Failure("the NDEF message cannot take the record \"" + r.value + "\"", 2);
  }
  int rc = ctx.ov.OV_NDEF_Save(ctx.reader_id);
  if (rc != 1) throw Failure("writing the NDEF message: " + NdefFailure(rc, key));
  ctx.out().doc()["records_written"] = records.size();
  ctx.out().Line("wrote " + std::to_string(records.size()) + " NDEF record(s)");
}

// The message TLV as the card holds it. On an NTAG the library's read stops
// once it has as many bytes as the TLV's length byte says, before the tag,
// length and terminator bytes are counted, so a message may come without
// its end: the pages that follow are read here until the terminator is in.
Bytes ReadImage(Context& ctx, const Bytes& key) {
  unsigned char image[ORVEX_MAX_ANSWER] = {};
  Bytes k = key;
  int n = NFC_Read(ctx.reader_id, kKeyB, k.data(), image);
  if (n < 0) throw Failure("reading the NDEF message: " + NdefFailure(n, key));
  Bytes out(image, image + n);
  // An NTAG's image starts with the message tag at page 4; a MIFARE
  // Classic's with the two bytes before it.
  bool ntag = n >= 2 && image[0] == 0x03;
  size_t whole = ntag ? static_cast<size_t>(image[1]) + 3 : 0;
  constexpr int kFirstPage = 4;
  while (ntag && out.size() < whole) {
    int page = kFirstPage + static_cast<int>(out.size() / 4), len = 0;
    unsigned char pages[ORVEX_MAX_ANSWER];
    CheckCard(ctx.ov.OV_NTag_Read(ctx.reader_id, page, &len, pages), "reading page " + std::to_string(page),
              kNtagReadDeadlineMs, "the tag refused the read");
    if (len <= 0) throw Failure("reading page " + std::to_string(page) + ": no data came back");
    out.insert(out.end(), pages, pages + len);
  }
  return out;
}

void Read(Context& ctx, const NdefOptions& o) {
  Bytes key = NdefKey(o.key);
  ctx.Open();
  ResetField(ctx, "reading the NDEF message");
  Bytes image = ReadImage(ctx, key);
  TLV message;
  int n = message.DecodeAllBuffer(image.data(), static_cast<int>(image.size()));
  if (n < 0) throw Failure("reading the NDEF message: the card's message has no end (terminator)");
  Json records = Json::array();
  for (int i = 0; i < n; ++i) {
    unsigned char code = 0, s[ORVEX_MAX_ANSWER];
    int len = 0;
    if (message.GetRecord(i, &code, &len, s) != 1) break;
    std::string value(reinterpret_cast<const char*>(s), static_cast<size_t>(len));
    std::string label = "record " + std::to_string(i + 1) + ": ";
    if (code == 0) {
      records.push_back({{"type", "text"}, {"text", value}});
      ctx.out().Line(label + "text \"" + value + "\"");
    } else {
      std::string uri = PrefixOf(code) + value;
      records.push_back({{"type", "uri"}, {"uri", uri}, {"prefix_code", code}});
      ctx.out().Line(label + "uri " + uri);
    }
  }
  if (n == 0) ctx.out().Line("the NDEF message is empty");
  ctx.out().doc()["records"] = records;
}

}  // namespace

void AddNdefCommands(CLI::App& app, Context& ctx) {
  auto* ndef = app.add_subcommand("ndef", "NDEF messages on MIFARE Classic 1K and NTAG tags");
  ndef->require_subcommand(1);

  static NdefOptions write;
  auto* w = ndef->add_subcommand("write", "write a message of up to five text and URI records");
  write.text_option = w->add_option("-t,--text", write.texts, "a text record (language en); repeatable")
                          ->allow_extra_args(false);
  write.uri_option = w->add_option("-u,--uri", write.uris,
                                   "a URI record, its scheme stored as a prefix code; repeatable")
                         ->allow_extra_args(false);
  w->add_option("-k,--key", write.key, "MIFARE Classic key B of the NDEF sectors (default FFFFFFFFFFFF)");
  ctx.Register(w, [&ctx, w] { Write(ctx, w, write); });

  static NdefOptions read;
  auto* r = ndef->add_subcommand("read", "read the tag's message and print its records");
  r->add_option("-k,--key", read.key, "MIFARE Classic key B of the NDEF sectors (default FFFFFFFFFFFF)");
  ctx.Register(r, [&ctx] { Read(ctx, read); });
}

}  // namespace orvextool
