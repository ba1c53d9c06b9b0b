// SPDX-License-Identifier: MIT
#include "ndef_tags.h"

#include <algorithm>

#include "iso14443a.h"
#include "mifare_access.h"
#include "mifare_classic.h"
#include "ntag.h"
#include "topaz.h"
#include "ndef/forum/mad.h"
#include "type2_read.h"
#include "vicinity.h"

namespace orvextool {

namespace {

namespace ndef = orvex::ndef;

// ---- Type 2: NTAG and Ultralight ---------------------------------------------
// The data area starts at page 4; the capability container on page 3 gives
// its size in units of 8 bytes.
class Type2Memory : public ndef::TagMemory {
 public:
  Type2Memory(Context& ctx, size_t size) : ctx_(ctx), reader_(ctx), size_(size) {}
  size_t size() const override { return size_; }
  size_t unit() const override { return 4; }
  long base() const override { return 16; }

  Bytes Read(size_t offset, size_t length) override {
    const int first = kFirstPage + static_cast<int>(offset / 4);
    const int last = first + static_cast<int>((length + 3) / 4) - 1;
    auto out = reader_.Read(first, last);
    if (!out)
      throw Failure("reading pages " + std::to_string(first) + " to " + std::to_string(last) +
                    ": the tag refused the read (is it protected by a password?)");
    out->resize(length);
    return *out;
  }

  void Write(size_t offset, const Bytes& data) override {
    for (size_t i = 0; i < data.size(); i += 4) {
      const int page = kFirstPage + static_cast<int>((offset + i) / 4);
      unsigned char bytes[4];
      std::copy(data.begin() + static_cast<long>(i), data.begin() + static_cast<long>(i + 4), bytes);
      const std::string what = "writing page " + std::to_string(page);
      const int rc = ctx_.ov.OV_NTag_Write(ctx_.reader_id, page, bytes);
      TypeACardInfo still;
      if (rc == -3 && !SelectTypeA(ctx_, 0x52, still)) throw Failure(what + ": the tag left the field");
      CheckCard(rc, what, "the tag refused the write (is the page locked?)");
    }
  }

  static constexpr int kFirstPage = 4;

 private:
  Context& ctx_;
  Type2Reader reader_;
  size_t size_;
};

NdefTag OpenType2(Context& ctx, const TypeACardInfo& card) {
  unsigned char buf[ORVEX_MAX_ANSWER];
  int len = 0;
  CheckCard(ctx.ov.OV_NTag_Read(ctx.reader_id, 3, &len, buf), "reading the capability container (page 3)", "the tag refused the read");
  if (len < 4) throw Failure("reading the capability container (page 3): " + std::to_string(len) + " bytes came back");
  NdefTag tag;
  tag.kind = "NFC Forum Type 2 tag";
  unsigned char version[ORVEX_MAX_ANSWER] = {};
  if (ctx.ov.OV_NTag_GetVersion(ctx.reader_id, version) == 1) {
    NtagModel model;
    if (NtagModelOf(version, model)) tag.kind = model.name;
  } else {
    // A tag without GET_VERSION falls back to idle: select it again.
    TypeACardInfo again;
    if (!SelectTypeAByUid(ctx, card.uid, again))
      throw Failure("the tag " + Hex(card.uid) + " left the field");
  }
  tag.uid = Hex(card.uid);
  if (buf[0] != 0xE1)
    throw Failure("the " + tag.Name() + " is not formatted for NDEF (capability container " + Hex(buf, 4) +
                  "); orvex ndef format prepares it");
  if ((buf[1] >> 4) != 1)
    throw Failure("the " + tag.Name() + " has NDEF mapping version " + std::to_string(buf[1] >> 4) + "." +
                  std::to_string(buf[1] & 15) + ", which this tool does not know");
  if ((buf[3] & 0x0F) != 0) tag.read_only = "its capability container denies writing (access byte " + Hex(buf + 3, 1) + ")";
  tag.memory = std::make_unique<Type2Memory>(ctx, static_cast<size_t>(buf[2]) * 8);
  return tag;
}

// ---- MIFARE Classic ------------------------------------------------------------
// The data blocks of the NDEF sectors the directory lists, one after the
// other (the directory's own sectors skipped). Read with the public key A,
// written with key B.
class ClassicMemory : public ndef::TagMemory {
 public:
  ClassicMemory(Context& ctx, const TypeACardInfo& card, std::vector<int> sectors, const ClassicKey& key_b)
      : session_(ctx, card), sectors_(std::move(sectors)), key_b_(key_b) {
    for (int s : sectors_)
      for (int i = 0; i < BlocksIn(s) - 1; ++i) blocks_.push_back(FirstBlock(s) + i);
  }
  size_t size() const override { return blocks_.size() * 16; }
  size_t unit() const override { return 16; }
  long base() const override { return -1; }

  Bytes Read(size_t offset, size_t length) override {
    Bytes out;
    for (size_t i = offset / 16; i * 16 < offset + length; ++i) {
      uint8_t block[16];
      // The public key A reads NDEF sectors; key B where a card differs.
      if (!TryOpen(blocks_[i], kKeyA)) Open(blocks_[i], kKeyB);
      if (!session_.Read(blocks_[i], block))
        throw Failure("reading block " + std::to_string(blocks_[i]) + ": the card refused it");
      out.insert(out.end(), block, block + 16);
    }
    return Bytes(out.begin() + static_cast<long>(offset % 16),
                 out.begin() + static_cast<long>(offset % 16 + length));
  }

  void Write(size_t offset, const Bytes& data) override {
    for (size_t i = 0; i < data.size(); i += 16) {
      const int block = blocks_[(offset + i) / 16];
      Open(block, kKeyB);
      if (!session_.Write(block, data.data() + i)) {
        open_sector_ = -1;
        session_.Reselect();  // throws when the card left the field
        throw Failure("writing block " + std::to_string(block) + ": the card refused it");
      }
    }
  }

  // Opens every NDEF sector with key B and checks that its access bits let
  // key B write its data blocks; the first problem, in words, or "".
  std::string CheckWritable() {
    for (int s : sectors_) {
      const int trailer = FirstBlock(s) + BlocksIn(s) - 1;
      uint8_t t[16];
      Open(FirstBlock(s), kKeyA);
      if (!session_.Read(trailer, t)) return "the trailer of sector " + std::to_string(s) + " cannot be read";
      orvexformats::Access access;
      if (!orvexformats::DecodeAccess(t + 6, access))
        return "sector " + std::to_string(s) + " has invalid access bits " + Hex(t + 6, 3);
      for (int g = 0; g < 3; ++g) {
        const std::string w = orvexformats::DataBlockRights(access.c[g]).write;
        if (w.find('B') == std::string::npos)
          return "the access bits of sector " + std::to_string(s) + " (" + Hex(t + 6, 3) +
                 ") do not let key B write its data blocks";
      }
      if (!TryOpen(FirstBlock(s), kKeyB))
        return "key B " + Hex(key_b_.data(), 6) + " does not open sector " + std::to_string(s) +
               " (give the tag's key B with --key)";
    }
    return "";
  }

 private:
  bool TryOpen(int block, unsigned char mode) {
    const int sector = SectorOf(block);
    if (sector == open_sector_ && mode == open_mode_) return true;
    open_sector_ = -1;
    session_.Reselect();
    Key key;
    if (mode == kKeyA) std::copy(ndef::kNfcForumKeyA, ndef::kNfcForumKeyA + 6, key.begin());
    else key = key_b_;
    if (!session_.Auth(sector, mode, key)) {
      session_.Reselect();
      return false;
    }
    open_sector_ = sector;
    open_mode_ = mode;
    return true;
  }

  void Open(int block, unsigned char mode) {
    if (!TryOpen(block, mode))
      throw Failure("authentication failed for sector " + std::to_string(SectorOf(block)) + " with " +
                    (mode == kKeyA ? "the NFC Forum key A " + Hex(ndef::kNfcForumKeyA, 6)
                                   : "key B " + Hex(key_b_.data(), 6)));
  }

  Classic session_;
  std::vector<int> sectors_, blocks_;
  ClassicKey key_b_;
  int open_sector_ = -1;
  unsigned char open_mode_ = 0;
};

// The NDEF sectors the card's directory lists: the first run of them, in
// order (sector 16 holds the second directory on a 4K card).
std::vector<int> NdefSectors(Context& ctx, const TypeACardInfo& card, bool four_k) {
  Classic session(ctx, card);
  Key mad_key;
  std::copy(ndef::kMadKeyA, ndef::kMadKeyA + 6, mad_key.begin());
  auto read_directory = [&](int sector, int blocks) {
    session.Reselect();
    if (!session.Auth(sector, kKeyA, mad_key))
      throw Failure("the card " + Hex(card.uid) + " has no MIFARE application directory (sector " +
                    std::to_string(sector) + " does not open with the directory key " +
                    Hex(ndef::kMadKeyA, 6) + "): it is not formatted for NDEF; orvex ndef format prepares it");
    Bytes mad;
    const int first = FirstBlock(sector) + (sector == 0 ? 1 : 0);
    for (int b = first; b < first + blocks; ++b) {
      uint8_t block[16];
      if (!session.Read(b, block)) throw Failure("reading directory block " + std::to_string(b) + ": refused");
      mad.insert(mad.end(), block, block + 16);
    }
    uint8_t trailer[16];
    const bool gpb = session.Read(FirstBlock(sector) + 3, trailer);
    try {
      return std::make_pair(ndef::ParseMad(mad), gpb ? trailer[9] : uint8_t{0});
    } catch (const ndef::Error& e) {
      throw Failure("the card " + Hex(card.uid) + ": " + e.what());
    }
  };
  auto mad1 = read_directory(0, 2);
  std::vector<uint16_t> aids = mad1.first;  // sectors 1 to 15
  // The general-purpose byte says whether a second directory exists.
  if (four_k && (mad1.second & 0x03) == 2) {
    auto mad2 = read_directory(16, 3);
    aids.push_back(0x0005);  // sector 16: the directory itself
    aids.insert(aids.end(), mad2.first.begin(), mad2.first.end());
  }
  std::vector<int> sectors;
  for (size_t i = 0; i < aids.size(); ++i) {
    const int sector = static_cast<int>(i) + 1;
    if (aids[i] == ndef::kNdefAid) sectors.push_back(sector);
    else if (sector == 16) continue;
    else if (!sectors.empty()) break;
  }
  if (sectors.empty())
    throw Failure("the card " + Hex(card.uid) + "'s directory lists no NDEF sector: it holds no NDEF message");
  return sectors;
}

NdefTag OpenClassic(Context& ctx, const TypeACardInfo& card, const ClassicKey& key_b, bool for_write) {
  NdefTag tag;
  const bool four_k = card.sak == 0x18;
  tag.kind = four_k ? "MIFARE Classic 4K" : "MIFARE Classic 1K";
  tag.uid = Hex(card.uid);
  auto memory = std::make_unique<ClassicMemory>(ctx, card, NdefSectors(ctx, card, four_k), key_b);
  if (for_write) tag.read_only = memory->CheckWritable();
  tag.memory = std::move(memory);
  return tag;
}

// ---- Type 5: ISO 15693 --------------------------------------------------------
// A 4-byte capability container in block 0 (magic E1, or E2 where the
// area may exceed 2040 bytes), the area after it.
class Type5Memory : public ndef::TagMemory {
 public:
  Type5Memory(Context& ctx, VicinityTag tag, size_t first_block, size_t size)
      : ctx_(ctx), tag_(std::move(tag)), first_(first_block), size_(size) {}
  size_t size() const override { return size_; }
  size_t unit() const override { return static_cast<size_t>(tag_.block_size); }
  long base() const override { return static_cast<long>(first_ * unit()); }
  Bytes Read(size_t offset, size_t length) override {
    const size_t u = unit();
    const int first = static_cast<int>(first_ + offset / u);
    const int count = static_cast<int>((offset % u + length + u - 1) / u);
    Bytes all = ReadVicinityBlocks(ctx_, tag_, first, count);
    return Bytes(all.begin() + static_cast<long>(offset % u), all.begin() + static_cast<long>(offset % u + length));
  }
  void Write(size_t offset, const Bytes& data) override {
    const size_t u = unit();
    for (size_t i = 0; i < data.size(); i += u)
      WriteVicinityBlock(ctx_, tag_, static_cast<int>(first_ + (offset + i) / u),
                         Bytes(data.begin() + static_cast<long>(i), data.begin() + static_cast<long>(i + u)));
  }

 private:
  Context& ctx_;
  VicinityTag tag_;
  size_t first_, size_;
};

NdefTag OpenType5(Context& ctx, const VicinityTag& v) {
  NdefTag tag;
  tag.kind = "ISO 15693 tag";
  tag.uid = v.Uid();
  if (v.block_size != 4 && v.block_size != 8)
    throw Failure("the " + tag.Name() + " has blocks of " + std::to_string(v.block_size) +
                  " bytes; this tool reads NDEF on tags with 4- or 8-byte blocks");
  Bytes cc = ReadVicinityBlocks(ctx, v, 0, v.block_size == 4 ? 2 : 1);
  size_t cc_len = 4, area = 0;
  if (cc[0] == 0xE1 || cc[0] == 0xE2) {
    area = static_cast<size_t>(cc[2]) * 8;
    if (cc[2] == 0) {  // an 8-byte container: the size in bytes 6 and 7
      cc_len = 8;
      area = static_cast<size_t>(cc[6] << 8 | cc[7]) * 8;
    }
  } else {
    throw Failure("the " + tag.Name() + " is not formatted for NDEF (capability container " + Hex(cc.data(), 4) + ")");
  }
  if ((cc[1] >> 6) != 1)
    throw Failure("the " + tag.Name() + " has NDEF mapping version " + std::to_string(cc[1] >> 6) +
                  ", which this tool does not know");
  if ((cc[1] & 0x03) != 0) tag.read_only = "its capability container denies writing";
  // The area begins after the container; with 8-byte blocks and a 4-byte
  // container that is inside block 0, which this tool does not write.
  if (cc_len % static_cast<size_t>(v.block_size) != 0)
    throw Failure("the " + tag.Name() + "'s NDEF area starts inside a block; this tool does not handle that layout");
  const size_t first_block = cc_len / static_cast<size_t>(v.block_size);
  const size_t max = (static_cast<size_t>(v.blocks) - first_block) * static_cast<size_t>(v.block_size);
  area = std::min(area, max) / static_cast<size_t>(v.block_size) * static_cast<size_t>(v.block_size);
  tag.memory = std::make_unique<Type5Memory>(ctx, v, first_block, area);
  return tag;
}

// ---- Type 1: Topaz ------------------------------------------------------------------
// The static memory: the capability container in bytes 8 to 11 of block 1,
// the area from byte 12 to the end of block 0C (92 bytes), read in one RALL
// and written byte by byte (WRITE-E). The dynamic memory of larger tags is
// not used.
class Type1Memory : public ndef::TagMemory {
 public:
  Type1Memory(Context& ctx, Bytes uid) : ctx_(ctx), uid_(std::move(uid)) {}
  size_t size() const override { return kEnd - kStart; }
  size_t unit() const override { return 1; }
  long base() const override { return kStart; }
  Bytes Read(size_t offset, size_t length) override {
    Bytes all = ReadTopazStatic(ctx_, uid_);
    return Bytes(all.begin() + static_cast<long>(kStart + offset),
                 all.begin() + static_cast<long>(kStart + offset + length));
  }
  void Write(size_t offset, const Bytes& data) override {
    for (size_t i = 0; i < data.size(); ++i) {
      const size_t address = kStart + offset + i;
      unsigned char back = 0;
      Bytes uid = uid_;
      const std::string what = "writing byte " + std::to_string(address);
      CheckCard(ctx_.ov.OV_TOPAZ_WriteByteAfterErase(ctx_.reader_id, uid.data(), static_cast<unsigned char>(address / 8),
                                                     static_cast<unsigned char>(address % 8), data[i], &back),
                what, "the tag refused the write (or left the field)");
    }
  }

  static constexpr size_t kStart = 12, kEnd = 0x0D * 8;

 private:
  Context& ctx_;
  Bytes uid_;
};

NdefTag OpenType1(Context& ctx, const Bytes& uid) {
  NdefTag tag;
  tag.kind = "Topaz";
  tag.uid = Hex(uid);
  Bytes all = ReadTopazStatic(ctx, uid);
  if (all[8] != 0xE1)
    throw Failure("the " + tag.Name() + " is not formatted for NDEF (capability container " + Hex(all.data() + 8, 4) + ")");
  if ((all[9] >> 4) != 1)
    throw Failure("the " + tag.Name() + " has NDEF mapping version " + std::to_string(all[9] >> 4) + "." +
                  std::to_string(all[9] & 15) + ", which this tool does not know");
  if ((all[11] & 0x0F) != 0) tag.read_only = "its capability container denies writing (access byte " + Hex(all.data() + 11, 1) + ")";
  tag.memory = std::make_unique<Type1Memory>(ctx, uid);
  return tag;
}

}  // namespace

NdefTag OpenNdefTag(Context& ctx, const ClassicKey& key_b, bool for_write) {
  // Every card powers up afresh, whatever an earlier command left it in.
  ResetField(ctx, "looking for an NDEF tag");
  TypeACardInfo card;
  if (SelectChosenTypeA(ctx, card)) {
    if (card.IsClassic()) return OpenClassic(ctx, card, key_b, for_write);
    if (card.sak == 0x00) return OpenType2(ctx, card);
    throw Failure("the card " + Hex(card.uid) + " (" + card.Kind() + ") holds no NFC Forum NDEF area this tool reads");
  }
  VicinityTag v;
  if (FindVicinityTag(ctx, v)) return OpenType5(ctx, v);
  Bytes topaz;
  if (FindTopaz(ctx, topaz) && (ctx.uid().empty() || topaz == ctx.uid())) return OpenType1(ctx, topaz);
  const std::string which = ctx.uid().empty() ? "" : " with UID " + Hex(ctx.uid());
  throw Failure("no NDEF tag" + which + " in the field (looked for ISO 14443-A, ISO 15693 and Topaz tags)");
}

}  // namespace orvextool
