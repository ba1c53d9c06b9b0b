// SPDX-License-Identifier: MIT
#include "pseudo_apdu.h"

#include <algorithm>

namespace orvex_ifd {
namespace {

using Outcome = PseudoApdu::Outcome;

Outcome Sw(uint16_t sw, Bytes data = {}) {
  Outcome o;
  o.response = std::move(data);
  o.response.push_back(static_cast<uint8_t>(sw >> 8));
  o.response.push_back(static_cast<uint8_t>(sw));
  return o;
}

Outcome Status(Outcome::Status s) {
  Outcome o;
  o.status = s;
  return o;
}

constexpr uint8_t kClassReader = 0xFF;
constexpr uint8_t kInsGetData = 0xCA;
constexpr uint8_t kInsLoadKeys = 0x82;
constexpr uint8_t kInsGeneralAuthenticate = 0x86;
constexpr uint8_t kInsAuthenticate = 0x88;
constexpr uint8_t kInsReadBinary = 0xB0;
constexpr uint8_t kInsUpdateBinary = 0xD6;

constexpr uint8_t kKeyA = 0x60, kKeyB = 0x61;

// A short APDU's parts: Lc data (nc bytes) and Le (ne; 256 for 00; -1 absent).
struct Parsed {
  bool ok = false;
  int nc = 0;
  const uint8_t* data = nullptr;
  int ne = -1;
};

Parsed Parse(const Bytes& a) {
  Parsed p;
  if (a.size() < 4) return p;
  if (a.size() == 4) {
    p.ok = true;
  } else if (a.size() == 5) {
    p.ok = true;
    p.ne = a[4] == 0 ? 256 : a[4];
  } else if (a[4] != 0) {
    size_t nc = a[4];
    if (a.size() == 5 + nc || a.size() == 6 + nc) {
      p.ok = true;
      p.nc = static_cast<int>(nc);
      p.data = a.data() + 5;
      if (a.size() == 6 + nc) p.ne = a.back() == 0 ? 256 : a.back();
    }
  }
  return p;
}

}  // namespace

bool PseudoApdu::Handles(const Bytes& apdu) const {
  return card_.Storage() || (!apdu.empty() && apdu[0] == kClassReader);
}

Outcome PseudoApdu::Handle(const Bytes& apdu, CardIo& io) {
  if (apdu.size() < 4) return Sw(0x6700);
  if (apdu[0] != kClassReader) return Sw(0x6E00);  // a storage card has no APDUs
  uint8_t ins = apdu[1];
  if (ins == kInsAuthenticate) {
    // The older form: FF 88 00 block key-type key-number, six bytes.
    if (apdu.size() != 6) return Sw(0x6700);
    if (apdu[2] != 0x00) return Sw(0x6B00);
    return Authenticate(apdu[3], apdu[4], apdu[5], io);
  }
  switch (ins) {
    case kInsGetData: return GetData(apdu);
    case kInsLoadKeys: return LoadKey(apdu);
    case kInsGeneralAuthenticate: {
      Parsed p = Parse(apdu);
      if (!p.ok || p.nc != 5 || p.ne != -1) return Sw(0x6700);
      if (apdu[2] != 0x00 || apdu[3] != 0x00) return Sw(0x6B00);
      if (p.data[0] != 0x01) return Sw(0x6A81);  // only version 1 of the data object is known
      return Authenticate((p.data[1] << 8) | p.data[2], p.data[3], p.data[4], io);
    }
    case kInsReadBinary: return ReadBinary(apdu, io);
    case kInsUpdateBinary: return UpdateBinary(apdu, io);
    default: return Sw(0x6A81);
  }
}

Outcome PseudoApdu::GetData(const Bytes& apdu) {
  Parsed p = Parse(apdu);
  if (!p.ok || p.nc != 0) return Sw(0x6700);
  if (apdu[3] != 0x00) return Sw(0x6B00);
  Bytes data;
  if (apdu[2] == 0x00) {
    data = card_.uid;
  } else if (apdu[2] == 0x01) {
    // Type A: the historical bytes of the ATS; a type B card's ATTRIB
    // answer is not handed over by the reader, and storage cards have none.
    if (card_.kind != CardKind::kIso14443_4A || card_.historical.empty()) return Sw(0x6A81);
    data = card_.historical;
  } else {
    return Sw(0x6A81);
  }
  // Le 00 (or none): all of it. A shorter Le: the exact length in 6C XX. A
  // longer one: what there is, with the warning 62 82.
  int n = static_cast<int>(data.size());
  if (p.ne == -1 || p.ne == 256) return Sw(0x9000, data);
  if (p.ne < n) return Sw(static_cast<uint16_t>(0x6C00 | n));
  if (p.ne > n) return Sw(0x6282, data);
  return Sw(0x9000, data);
}

Outcome PseudoApdu::LoadKey(const Bytes& apdu) {
  Parsed p = Parse(apdu);
  if (!p.ok || p.ne != -1) return Sw(0x6700);
  uint8_t structure = apdu[2];
  // Key structure: b8 reader key, b7 secured transmission, b6 non-volatile
  // memory; b5 to b1 reserved here. Only plain card keys in volatile slots.
  if (structure & 0x80) return Sw(0x6983);
  if (structure & 0x40) return Sw(0x6985);
  if (structure & 0x20) return Sw(0x6987);
  if (structure & 0x1F) return Sw(0x6B00);
  if (apdu[3] >= KeyStore::kSlots) return Sw(0x6988);
  if (p.nc != 6) return Sw(0x6989);
  std::array<uint8_t, 6> key;
  std::copy(p.data, p.data + 6, key.begin());
  keys_.keys[apdu[3]] = key;
  return Sw(0x9000);
}

Outcome PseudoApdu::Authenticate(int block, uint8_t key_type, int key_number, CardIo& io) {
  if (card_.kind != CardKind::kMifareClassic) return Sw(0x6A81);
  if (key_type != kKeyA && key_type != kKeyB) return Sw(0x6986);
  if (key_number < 0 || key_number >= KeyStore::kSlots) return Sw(0x6988);
  if (!keys_.keys[static_cast<size_t>(key_number)]) return Sw(0x6984);
  if (block < 0 || (card_.blocks > 0 && block >= card_.blocks)) return Sw(0x6581);
  auth_sector_.reset();
  switch (io.Authenticate(key_type, block, keys_.keys[static_cast<size_t>(key_number)]->data())) {
    case CardIo::Result::kOk:
      auth_sector_ = MifareSector(block);
      return Sw(0x9000);
    case CardIo::Result::kRefused: return AfterRefusal(io, 0x6300);
    case CardIo::Result::kFailed: break;
  }
  return Status(Outcome::Status::kLinkFailure);
}

int PseudoApdu::ReadUnit() const {
  switch (card_.kind) {
    case CardKind::kMifareClassic:
    case CardKind::kType2: return 16;
    case CardKind::kIso15693: return card_.block_size;
    default: return 0;
  }
}

Outcome PseudoApdu::ReadBinary(const Bytes& apdu, CardIo& io) {
  Parsed p = Parse(apdu);
  if (!p.ok || p.nc != 0) return Sw(0x6700);
  int unit = ReadUnit();
  if (unit <= 0) return Sw(0x6A81);
  int block = (apdu[2] << 8) | apdu[3];
  if (card_.blocks > 0 && block >= card_.blocks) return Sw(0x6A82);
  int ne = p.ne == -1 || p.ne == 256 ? unit : p.ne;
  if (ne > unit) return Sw(static_cast<uint16_t>(0x6C00 | unit));
  if (card_.kind == CardKind::kMifareClassic && auth_sector_ != MifareSector(block)) return Sw(0x6982);
  Bytes data;
  switch (io.Read(block, data)) {
    case CardIo::Result::kOk:
      if (static_cast<int>(data.size()) < ne) return Status(Outcome::Status::kLinkFailure);
      data.resize(static_cast<size_t>(ne));
      return Sw(0x9000, data);
    case CardIo::Result::kRefused:
      // A MIFARE card that refused went idle: its authentication is gone.
      auth_sector_.reset();
      return AfterRefusal(io, 0x6982);
    case CardIo::Result::kFailed: break;
  }
  return Status(Outcome::Status::kLinkFailure);
}

Outcome PseudoApdu::UpdateBinary(const Bytes& apdu, CardIo& io) {
  Parsed p = Parse(apdu);
  if (!p.ok || p.ne != -1) return Sw(0x6700);
  if (ReadUnit() <= 0) return Sw(0x6A81);
  int block = (apdu[2] << 8) | apdu[3];
  if (card_.blocks > 0 && block >= card_.blocks) return Sw(0x6A82);
  if (p.nc != card_.block_size) return Sw(0x6700);
  if (card_.kind == CardKind::kMifareClassic && auth_sector_ != MifareSector(block)) return Sw(0x6982);
  switch (io.Write(block, Bytes(p.data, p.data + p.nc))) {
    case CardIo::Result::kOk: return Sw(0x9000);
    case CardIo::Result::kRefused:
      // MIFARE Classic: the access conditions (or block 0); a tag: a locked
      // page or block, or one the memory could not take.
      if (card_.kind == CardKind::kMifareClassic) {
        auth_sector_.reset();
        return AfterRefusal(io, 0x6982);
      }
      return AfterRefusal(io, 0x6581);
    case CardIo::Result::kFailed: break;
  }
  return Status(Outcome::Status::kLinkFailure);
}

Outcome PseudoApdu::AfterRefusal(CardIo& io, uint16_t sw) {
  if (!io.Recover()) return Status(Outcome::Status::kCardGone);
  return Sw(sw);
}

}  // namespace orvex_ifd
