// SPDX-License-Identifier: MIT
#include "orvexsim/cos.h"

#include <algorithm>

#include "orvexsim/crypto.h"

namespace orvexsim {

using namespace cos;

namespace {

Bytes Sw(uint16_t sw) { return {static_cast<uint8_t>(sw >> 8), static_cast<uint8_t>(sw)}; }
Bytes Resp(Bytes data, uint16_t sw = kOk) {
  data.push_back(static_cast<uint8_t>(sw >> 8));
  data.push_back(static_cast<uint8_t>(sw));
  return data;
}

// The reference of the DF name MF by default.
const char kMfName[] = "1PAY.SYS.DDF01";

uint16_t Tries(uint8_t left) { return static_cast<uint16_t>(0x63C0 | (left & 0x0F)); }

}  // namespace

namespace cos {

File* File::Child(uint16_t id) {
  for (auto& c : children)
    if (c->fid == id) return c.get();
  return nullptr;
}

File* File::ChildBySfi(uint8_t s) {
  for (auto& c : children)
    if (!c->IsDf() && c->sfi() == s) return c.get();
  return nullptr;
}

File* File::ChildOfType(uint8_t t) {
  for (auto& c : children)
    if (c->type == t) return c.get();
  return nullptr;
}

Key* File::FindKey(uint8_t t, uint8_t id) {
  for (auto& k : keys)
    if (k.type == t && k.id == id) return &k;
  return nullptr;
}

}  // namespace cos

Cos::Cos(const Bytes& seed) {
  mf_ = std::make_unique<File>();
  mf_->fid = 0x3F00;
  mf_->type = kDf;
  mf_->name.assign(kMfName, kMfName + sizeof kMfName - 1);
  Bytes s = Pseudorandom(seed, 4);
  rng_.seed(Le32(s, 0));
  Reset();
}

void Cos::Reset() {
  df_ = mf_.get();
  ef_ = nullptr;
  state_ = 0;
  challenge_.clear();
  pending_.reset();
  waiting_.clear();
}

Bytes Cos::Random(size_t n) {
  Bytes r;
  for (size_t i = 0; i < n; ++i) r.push_back(static_cast<uint8_t>(rng_()));
  return r;
}

bool Cos::Parse(const Bytes& b, Apdu& a) {
  if (b.size() < 4) return false;
  a.cla = b[0];
  a.ins = b[1];
  a.p1 = b[2];
  a.p2 = b[3];
  if (b.size() == 4) return true;
  if (b.size() == 5) {
    a.le = b[4] ? b[4] : 256;
    return true;
  }
  size_t lc = b[4];
  if (b.size() != 5 + lc && b.size() != 6 + lc) return false;
  a.data = Slice(b, 5, lc);
  if (b.size() == 6 + lc) a.le = b.back() ? b.back() : 256;
  return true;
}

bool Cos::Allowed(uint8_t ac) const { return (ac & 0x0F) <= state_ && state_ <= (ac >> 4); }

void Cos::SelectDf(File* df) {
  df_ = df;
  ef_ = nullptr;
  state_ = 0;
}

File* Cos::FindDf(const Bytes& name) {
  std::vector<File*> todo = {mf_.get()};
  while (!todo.empty()) {
    File* f = todo.back();
    todo.pop_back();
    if (f->IsDf() && f->name == name) return f;
    for (auto& c : f->children) todo.push_back(c.get());
  }
  return nullptr;
}

// The EF a command names by short identifier (0: the current EF), made current.
File* Cos::EfFor(uint8_t sfi, uint16_t& sw) {
  if (sfi == 0) {
    if (!ef_) sw = kNoCurrentEf;
    return ef_;
  }
  File* f = df_->ChildBySfi(sfi);
  if (!f) {
    sw = kFileNotFound;
    return nullptr;
  }
  ef_ = f;
  return f;
}

Bytes Cos::Process(const Bytes& command) {
  if (command.size() == 5 && command[0] == 0x00 && command[1] == 0xC0) return GetResponse(command);
  waiting_.clear();
  Bytes r = Execute(command);
  if (r.size() <= kResponsePiece + 2) return r;
  waiting_.assign(r.begin(), r.end() - 2);
  waiting_sw_.assign(r.end() - 2, r.end());
  return Piece(kResponsePiece);
}

Bytes Cos::Piece(size_t n) {
  Bytes out(waiting_.begin(), waiting_.begin() + static_cast<long>(n));
  waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<long>(n));
  if (waiting_.empty()) return Concat(out, waiting_sw_);
  return Concat(out, {0x61, static_cast<uint8_t>(std::min(waiting_.size(), kResponsePiece))});
}

Bytes Cos::GetResponse(const Bytes& c) {
  if (c[2] != 0x00 || c[3] != 0x00) return Sw(kWrongP1P2);
  if (waiting_.empty()) return Sw(kConditionsNotSatisfied);
  const size_t next = std::min(waiting_.size(), kResponsePiece);
  const size_t le = c[4] == 0 ? 256 : c[4];
  if (le > next) return Sw(static_cast<uint16_t>(0x6C00 | next));
  return Piece(le);
}

Bytes Cos::Execute(const Bytes& command) {
  Apdu a;
  if (!Parse(command, a)) return Sw(kWrongLength);
  // A purse transaction's second command must follow its initialise.
  bool second = a.cla == 0x80 && (a.ins == 0x52 || a.ins == 0x54);
  if (!second) pending_.reset();
  if (a.cla == 0x00) {
    switch (a.ins) {
      case 0xA4: return Select(a);
      case 0xB0: return ReadBinary(a);
      case 0xD6: return UpdateBinary(a);
      case 0xB2: return ReadRecord(a);
      case 0xDC: return UpdateRecord(a);
      case 0xE2: return AppendRecord(a);
      case 0x84: return GetChallenge(a);
      case 0x82: return ExternalAuthenticate(a);
      case 0x88: return InternalAuthenticate(a);
      case 0x20: return Verify(a);
    }
    return Sw(kInsNotSupported);
  }
  if (a.cla == 0x80) {
    switch (a.ins) {
      case 0x5E: return ChangeOrReloadPin(a);
      case 0xE0: return CreateFile(a);
      case 0xD4: return WriteKey(a);
      case 0x0E: return EraseDf(a);
      case 0x50: return InitializeTransaction(a);
      case 0x52: return CreditForLoad(a);
      case 0x54: return DebitForPurchase(a);
      case 0x5C: return GetBalance(a);
      case 0x5A: return GetTransactionProof(a);
      case 0x58: return Sw(kFunctionNotSupported);  // overdraw limit: not on this card
    }
    return Sw(kInsNotSupported);
  }
  if (a.cla == 0x84 || a.cla == 0x04) return Sw(kInsNotSupported);  // secure messaging: not on this card
  return Sw(kClaNotSupported);
}

// P1 00: by file identifier (the MF, a file of the current DF, the current
// DF, or a DF beside it); P1 04: a DF by name. A DF answers with its FCI.
Bytes Cos::Select(const Apdu& a) {
  File* f = nullptr;
  if (a.p2 != 0x00) return Sw(kFileNotFound);  // no next occurrence
  if (a.p1 == 0x00) {
    if (a.data.size() != 2) return Sw(kWrongLength);
    uint16_t id = Be16(a.data, 0);
    if (id == 0x3F00) f = mf_.get();
    if (!f) f = df_->Child(id);
    if (!f && df_->fid == id) f = df_;
    if (!f && df_->parent) {
      File* s = df_->parent->Child(id);
      if (s && s->IsDf()) f = s;
    }
  } else if (a.p1 == 0x04) {
    if (a.data.empty() || a.data.size() > 16) return Sw(kWrongLength);
    f = FindDf(a.data);
  } else {
    return Sw(kWrongP1P2);
  }
  if (!f) return Sw(kFileNotFound);
  if (!f->IsDf()) {
    ef_ = f;
    return Sw(kOk);
  }
  SelectDf(f);
  // FCI: DF name, and the proprietary template with the DF's short id.
  Bytes prop = {0xA5, 0x03, 0x88, 0x01, static_cast<uint8_t>(f->fid & 0x1F)};
  Bytes fci = {0x84, static_cast<uint8_t>(f->name.size())};
  fci.insert(fci.end(), f->name.begin(), f->name.end());
  fci.insert(fci.end(), prop.begin(), prop.end());
  return Resp(Concat({0x6F, static_cast<uint8_t>(fci.size())}, fci));
}

Bytes Cos::ReadBinary(const Apdu& a) {
  uint16_t sw = kOk;
  bool by_sfi = a.p1 & 0x80;
  File* f = EfFor(by_sfi ? (a.p1 & 0x1F) : 0, sw);
  if (!f) return Sw(sw);
  if (f->type != kBinary) return Sw(kIncompatibleFile);
  if (!Allowed(f->read_ac)) return Sw(kSecurityNotSatisfied);
  size_t offset = by_sfi ? a.p2 : static_cast<size_t>((a.p1 & 0x7F) << 8 | a.p2);
  if (offset >= f->data.size()) return Sw(kOffsetOutside);
  size_t left = f->data.size() - offset;
  size_t n = a.le < 0 || a.le == 256 ? std::min<size_t>(left, 256) : static_cast<size_t>(a.le);
  if (n > left) return Sw(static_cast<uint16_t>(0x6C00 | left));
  return Resp(Slice(f->data, offset, n));
}

Bytes Cos::UpdateBinary(const Apdu& a) {
  uint16_t sw = kOk;
  bool by_sfi = a.p1 & 0x80;
  File* f = EfFor(by_sfi ? (a.p1 & 0x1F) : 0, sw);
  if (!f) return Sw(sw);
  if (f->type != kBinary) return Sw(kIncompatibleFile);
  if (!Allowed(f->write_ac)) return Sw(kSecurityNotSatisfied);
  size_t offset = by_sfi ? a.p2 : static_cast<size_t>((a.p1 & 0x7F) << 8 | a.p2);
  if (offset >= f->data.size()) return Sw(kOffsetOutside);
  if (a.data.empty() || offset + a.data.size() > f->data.size()) return Sw(kWrongLength);
  std::copy(a.data.begin(), a.data.end(), f->data.begin() + static_cast<long>(offset));
  return Sw(kOk);
}

// Only P2 mode 4 (the record numbered P1) is supported.
Bytes Cos::ReadRecord(const Apdu& a) {
  if ((a.p2 & 0x07) != 0x04) return Sw(kWrongP1P2);
  uint16_t sw = kOk;
  File* f = EfFor(a.p2 >> 3, sw);
  if (!f) return Sw(sw);
  if (!f->IsRecord()) return Sw(kIncompatibleFile);
  if (!Allowed(f->read_ac)) return Sw(kSecurityNotSatisfied);
  if (a.p1 == 0 || a.p1 > f->records.size()) return Sw(kRecordNotFound);
  const Bytes& r = f->records[a.p1 - 1u];
  if (a.le < 0 || a.le == 256) return Resp(r);
  if (static_cast<size_t>(a.le) > r.size()) return Sw(static_cast<uint16_t>(0x6C00 | r.size()));
  return Resp(Slice(r, 0, static_cast<size_t>(a.le)));
}

Bytes Cos::UpdateRecord(const Apdu& a) {
  if ((a.p2 & 0x07) != 0x04) return Sw(kWrongP1P2);
  uint16_t sw = kOk;
  File* f = EfFor(a.p2 >> 3, sw);
  if (!f) return Sw(sw);
  if (!f->IsRecord()) return Sw(kIncompatibleFile);
  if (!Allowed(f->write_ac)) return Sw(kSecurityNotSatisfied);
  if (a.p1 == 0 || a.p1 > f->records.size()) return Sw(kRecordNotFound);
  bool fits = f->type == kVariableRecord ? (!a.data.empty() && a.data.size() <= f->record_len)
                                         : a.data.size() == f->record_len;
  if (!fits) return Sw(kWrongLength);
  f->records[a.p1 - 1u] = a.data;
  return Sw(kOk);
}

// A cyclic file takes the new record as record 1 and drops the oldest when
// full; the other record files append at the end while there is room.
Bytes Cos::AppendRecord(const Apdu& a) {
  if (a.p1 != 0 || (a.p2 & 0x07) != 0) return Sw(kWrongP1P2);
  uint16_t sw = kOk;
  File* f = EfFor(a.p2 >> 3, sw);
  if (!f) return Sw(sw);
  if (!f->IsRecord()) return Sw(kIncompatibleFile);
  if (!Allowed(f->write_ac)) return Sw(kSecurityNotSatisfied);
  bool fits = f->type == kVariableRecord ? (!a.data.empty() && a.data.size() <= f->record_len)
                                         : a.data.size() == f->record_len;
  if (!fits) return Sw(kWrongLength);
  if (f->type == kCyclicRecord) {
    f->records.insert(f->records.begin(), a.data);
    if (f->records.size() > f->record_max) f->records.pop_back();
    return Sw(kOk);
  }
  if (f->records.size() >= f->record_max) return Sw(kNoSpace);
  f->records.push_back(a.data);
  return Sw(kOk);
}

Bytes Cos::GetChallenge(const Apdu& a) {
  if (a.le != 4 && a.le != 8) return Sw(kWrongLength);
  challenge_ = Random(static_cast<size_t>(a.le));
  return Resp(challenge_);
}

uint16_t Cos::Check(Key& k, bool ok) {
  if (k.max_tries && k.tries == 0) return kAuthBlocked;
  if (ok) {
    k.tries = k.max_tries;
    state_ = k.next_state & 0x0F;
    return kOk;
  }
  if (!k.max_tries) return kSecurityNotSatisfied;
  --k.tries;
  return k.tries == 0 ? kAuthBlocked : Tries(k.tries);
}

// The host encrypts the challenge (padded with zeros to 8 bytes) under the
// external authentication key.
Bytes Cos::ExternalAuthenticate(const Apdu& a) {
  if (a.p1 != 0x00) return Sw(kWrongP1P2);
  if (a.data.size() != 8) return Sw(kWrongLength);
  Key* k = df_->FindKey(kKeyExternal, a.p2);
  if (!k) return Sw(kKeyNotFound);
  if (!Allowed(k->use_ac)) return Sw(kSecurityNotSatisfied);
  if (challenge_.empty()) return Sw(kConditionsNotSatisfied);
  Bytes c = challenge_;
  c.resize(8, 0x00);
  challenge_.clear();
  return Sw(Check(*k, crypto::Encrypt(k->value, c) == a.data));
}

Bytes Cos::InternalAuthenticate(const Apdu& a) {
  if (a.p1 != 0x00) return Sw(kWrongP1P2);
  if (a.data.size() != 8) return Sw(kWrongLength);
  Key* k = df_->FindKey(kKeyInternal, a.p2);
  if (!k) return Sw(kKeyNotFound);
  if (!Allowed(k->use_ac)) return Sw(kSecurityNotSatisfied);
  return Resp(crypto::Encrypt(k->value, a.data));
}

Bytes Cos::Verify(const Apdu& a) {
  if (a.p1 != 0x00) return Sw(kWrongP1P2);
  if (a.data.empty() || a.data.size() > 8) return Sw(kWrongLength);
  Key* k = df_->FindKey(kKeyPin, a.p2);
  if (!k) return Sw(kKeyNotFound);
  return Sw(Check(*k, a.data == k->value));
}

// P1 01: change (old PIN, FF, new PIN). P1 00: reload (new PIN, then the
// first 4 bytes of the MAC over it under the PIN reload key).
Bytes Cos::ChangeOrReloadPin(const Apdu& a) {
  Key* k = df_->FindKey(kKeyPin, a.p2);
  if (a.p1 == 0x01) {
    auto sep = std::find(a.data.begin(), a.data.end(), 0xFF);
    if (sep == a.data.end()) return Sw(kWrongData);
    Bytes old(a.data.begin(), sep), neu(sep + 1, a.data.end());
    if (neu.empty() || neu.size() > 8) return Sw(kWrongLength);
    if (!k) return Sw(kKeyNotFound);
    uint16_t sw = Check(*k, old == k->value);
    if (sw != kOk) return Sw(sw);
    k->value = neu;
    return Sw(kOk);
  }
  if (a.p1 != 0x00) return Sw(kWrongP1P2);
  if (a.data.size() < 6 || a.data.size() > 12) return Sw(kWrongLength);
  if (!k) return Sw(kKeyNotFound);
  Key* reload = df_->FindKey(kKeyReload, 0x00);
  if (!reload) return Sw(kKeyNotFound);
  Bytes pin = Slice(a.data, 0, a.data.size() - 4);
  if (Slice(crypto::Mac(reload->value, pin), 0, 4) != Slice(a.data, pin.size())) return Sw(kMacInvalid);
  k->value = pin;
  k->tries = k->max_tries;
  return Sw(kOk);
}

// Data by type: DF 38 size(2) create-right erase-right xx xx xx name;
// key file 3F size(2) sfi add-right xx xx; binary 28 size(2) read write xx xx;
// records 2A/2C/2E count length read write xx xx; purse 2F xx xx use xx xx xx.
Bytes Cos::CreateFile(const Apdu& a) {
  const Bytes& d = a.data;
  if (d.size() < 6) return Sw(kWrongLength);
  if (!Allowed(df_->read_ac)) return Sw(kSecurityNotSatisfied);
  uint16_t fid = static_cast<uint16_t>(a.p1 << 8 | a.p2);
  uint8_t type = d[0] & 0x7F;
  if (type == kKeyFile) {
    if (df_->has_key_file) return Sw(kFileExists);
    df_->has_key_file = true;
    df_->add_key_ac = d[4];
    return Sw(kOk);
  }
  if (df_->Child(fid) || fid == 0x3F00) return Sw(kFileExists);
  auto f = std::make_unique<File>();
  f->fid = fid;
  f->type = type;
  f->parent = df_;
  switch (type) {
    case kDf:
      if (d.size() < 9 + 1 || d.size() > 9 + 16) return Sw(kWrongLength);
      f->read_ac = d[3];
      f->write_ac = d[4];
      f->name = Slice(d, 8);
      if (FindDf(f->name)) return Sw(kFileExists);
      break;
    case kBinary:
      f->data.assign(Be16(d, 1), 0x00);
      f->read_ac = d[3];
      f->write_ac = d[4];
      break;
    case kFixedRecord:
    case kVariableRecord:
    case kCyclicRecord:
      if (d[1] == 0 || d[2] == 0) return Sw(kWrongData);
      f->record_max = d[1];
      f->record_len = d[2];
      f->read_ac = d[3];
      f->write_ac = d[4];
      break;
    case kPurse:
      f->read_ac = d[3];
      break;
    default: return Sw(kWrongData);
  }
  File* raw = f.get();
  df_->children.push_back(std::move(f));
  if (raw->IsDf()) SelectDf(raw);
  return Sw(kOk);
}

// P1 01 adds a key: type, use right, change right, next state (or key
// version for purse keys), tries (high nibble: how many), value. Another P1
// names the type of an existing key whose value the data replace.
Bytes Cos::WriteKey(const Apdu& a) {
  if (!df_->has_key_file) return Sw(kFileNotFound);
  const Bytes& d = a.data;
  if (a.p1 == 0x01) {
    if (d.size() < 6) return Sw(kWrongLength);
    if (!Allowed(df_->add_key_ac)) return Sw(kSecurityNotSatisfied);
    Key k;
    k.type = d[0];
    k.id = a.p2;
    k.use_ac = d[1];
    k.change_ac = d[2];
    bool purse = k.type == kKeyLoad || k.type == kKeyPurchase || k.type == kKeyTac;
    (purse ? k.version : k.next_state) = d[3];
    k.max_tries = k.tries = d[4] >> 4;
    k.value = Slice(d, 5);
    if (Key* old = df_->FindKey(k.type, k.id)) {
      *old = k;
    } else {
      df_->keys.push_back(k);
    }
    return Sw(kOk);
  }
  Key* k = df_->FindKey(a.p1, a.p2);
  if (!k) return Sw(kKeyNotFound);
  if (!Allowed(k->change_ac)) return Sw(kSecurityNotSatisfied);
  if (d.empty()) return Sw(kWrongLength);
  k->value = d;
  return Sw(kOk);
}

Bytes Cos::EraseDf(const Apdu&) {
  if (!Allowed(df_->write_ac)) return Sw(kSecurityNotSatisfied);
  df_->children.clear();
  df_->keys.clear();
  df_->has_key_file = false;
  ef_ = nullptr;
  return Sw(kOk);
}

// 80 50 P1 02: P1 00 load, 01 purchase, 02 cash withdrawal; data: key
// index, amount (4, most significant first), terminal number (6).
Bytes Cos::InitializeTransaction(const Apdu& a) {
  if (a.p2 != 0x02) return Sw(kWrongP1P2);
  if (a.p1 > 0x02) return Sw(kFunctionNotSupported);
  if (a.data.size() != 11) return Sw(kWrongLength);
  File* purse = df_->ChildOfType(kPurse);
  if (!purse) return Sw(kFileNotFound);
  bool load = a.p1 == 0x00;
  Key* k = df_->FindKey(load ? kKeyLoad : kKeyPurchase, a.data[0]);
  if (!k) return Sw(kKeyIndexNotSupported);
  Pending p;
  p.kind = a.p1;
  p.key_id = a.data[0];
  p.purse = purse;
  p.amount = Be32(a.data, 1);
  p.terminal = Slice(a.data, 5, 6);
  Bytes balance;
  PutBe32(balance, purse->balance);
  Bytes random = Random(4);
  Bytes out = balance;
  if (load) {
    if (uint64_t(purse->balance) + p.amount > 0x7FFFFFFF) return Sw(kAmountOverflow);
    p.counter = purse->online;
    PutBe16(out, p.counter);
    out.push_back(k->version);
    out.push_back(0x00);  // algorithm: triple DES
    out.insert(out.end(), random.begin(), random.end());
    p.session_key = crypto::Encrypt(k->value, Concat(Concat(random, Slice(out, 4, 2)), {0x80, 0x00}));
    Bytes mac_in = balance;
    PutBe32(mac_in, p.amount);
    mac_in.push_back(0x02);
    mac_in.insert(mac_in.end(), p.terminal.begin(), p.terminal.end());
    Bytes mac1 = Slice(crypto::Mac(p.session_key, mac_in), 0, 4);
    out.insert(out.end(), mac1.begin(), mac1.end());
  } else {
    if (p.amount > purse->balance) return Sw(kInsufficientFunds);
    p.counter = purse->offline;
    PutBe16(out, p.counter);
    out.insert(out.end(), {static_cast<uint8_t>(purse->overdraw >> 16), static_cast<uint8_t>(purse->overdraw >> 8),
                           static_cast<uint8_t>(purse->overdraw)});
    out.push_back(k->version);
    out.push_back(0x00);
    out.insert(out.end(), random.begin(), random.end());
    p.random = random;
  }
  pending_ = p;
  return Resp(out);
}

// 80 52: date (4), time (3), MAC2 over amount, type 02, terminal, date, time.
Bytes Cos::CreditForLoad(const Apdu& a) {
  if (!pending_ || pending_->kind != 0x00) return Sw(kConditionsNotSatisfied);
  Pending p = *pending_;
  pending_.reset();
  if (a.data.size() != 11) return Sw(kWrongLength);
  Bytes date_time = Slice(a.data, 0, 7);
  Bytes mac_in;
  PutBe32(mac_in, p.amount);
  mac_in.push_back(0x02);
  mac_in = Concat(Concat(mac_in, p.terminal), date_time);
  if (Slice(crypto::Mac(p.session_key, mac_in), 0, 4) != Slice(a.data, 7, 4)) return Sw(kMacInvalid);
  p.purse->balance += p.amount;
  ++p.purse->online;
  Bytes tac_in;
  PutBe32(tac_in, p.purse->balance);
  PutBe16(tac_in, p.counter);
  tac_in = Concat(tac_in, mac_in);
  Bytes tac = Tac(tac_in);
  proof_ = Proof{0x02, p.counter, Slice(crypto::Mac(p.session_key, Slice(mac_in, 0, 4)), 0, 4), tac};
  Log(df_, p.counter, p.amount, 0x02, p.terminal, date_time);
  return Resp(tac);
}

// 80 54 01 00: terminal transaction number (4), date (4), time (3), MAC1.
// The session key is the purchase key over the card's random, its offline
// counter and the last two bytes of the terminal's number.
Bytes Cos::DebitForPurchase(const Apdu& a) {
  if (a.p1 != 0x01 || !pending_ || pending_->kind == 0x00) return Sw(kConditionsNotSatisfied);
  Pending p = *pending_;
  pending_.reset();
  if (a.data.size() != 15) return Sw(kWrongLength);
  Bytes serial = Slice(a.data, 0, 4), date_time = Slice(a.data, 4, 7);
  Key* k = df_->FindKey(kKeyPurchase, p.key_id);
  if (!k) return Sw(kKeyNotFound);
  Bytes ctr;
  PutBe16(ctr, p.counter);
  Bytes session = crypto::Encrypt(k->value, Concat(Concat(p.random, ctr), Slice(serial, 2, 2)));
  uint8_t type = p.kind == 0x01 ? 0x06 : 0x05;
  Bytes mac_in;
  PutBe32(mac_in, p.amount);
  mac_in.push_back(type);
  mac_in = Concat(Concat(mac_in, p.terminal), date_time);
  if (Slice(crypto::Mac(session, mac_in), 0, 4) != Slice(a.data, 11, 4)) return Sw(kMacInvalid);
  if (p.amount > p.purse->balance) return Sw(kInsufficientFunds);
  p.purse->balance -= p.amount;
  ++p.purse->offline;
  Bytes amount;
  PutBe32(amount, p.amount);
  Bytes mac2 = Slice(crypto::Mac(session, amount), 0, 4);
  Bytes tac_in = amount;
  tac_in.push_back(type);
  tac_in = Concat(Concat(Concat(tac_in, p.terminal), serial), date_time);
  Bytes tac = Tac(tac_in);
  proof_ = Proof{type, p.counter, mac2, tac};
  Log(df_, p.counter, p.amount, type, p.terminal, date_time);
  return Resp(Concat(tac, mac2));
}

// The TAC: a MAC under the TAC key's halves XOR-ed into one DES key.
Bytes Cos::Tac(const Bytes& data) {
  Key* k = df_->FindKey(kKeyTac, 0x00);
  if (!k || k->value.size() != 16) return Bytes(4, 0x00);
  Bytes key(8);
  for (size_t i = 0; i < 8; ++i) key[i] = k->value[i] ^ k->value[8 + i];
  return Slice(crypto::Mac(key, data), 0, 4);
}

// The transaction log (the cyclic file with SFI 18): counter, overdraw
// limit, amount, type, terminal, date and time; 23 bytes.
void Cos::Log(File* df, uint16_t counter, uint32_t amount, uint8_t type, const Bytes& terminal,
              const Bytes& date_time) {
  File* log = df->ChildBySfi(0x18);
  if (!log || log->type != kCyclicRecord || log->record_len != 23) return;
  Bytes r;
  PutBe16(r, counter);
  r.insert(r.end(), 3, 0x00);
  PutBe32(r, amount);
  r.push_back(type);
  r = Concat(Concat(r, terminal), date_time);
  log->records.insert(log->records.begin(), r);
  if (log->records.size() > log->record_max) log->records.pop_back();
}

// P2 02: the purse's balance, most significant byte first. P2 01 (the
// deposit) is not on this card.
Bytes Cos::GetBalance(const Apdu& a) {
  if (a.p1 != 0x00 || (a.p2 != 0x01 && a.p2 != 0x02)) return Sw(kWrongP1P2);
  if (a.le != 4) return Sw(kWrongLength);
  File* purse = df_->ChildOfType(kPurse);
  if (!purse || a.p2 != 0x02) return Sw(kFileNotFound);
  if (!Allowed(purse->read_ac)) return Sw(kSecurityNotSatisfied);
  Bytes b;
  PutBe32(b, purse->balance);
  return Resp(b);
}

// P2: transaction type; data: its counter (2). MAC2 (or the load's MAC) and TAC.
Bytes Cos::GetTransactionProof(const Apdu& a) {
  if (a.data.size() != 2) return Sw(kWrongLength);
  if (!proof_ || proof_->type != a.p2 || proof_->counter != Be16(a.data, 0)) return Sw(kKeyIndexNotSupported);
  return Resp(Concat(proof_->mac, proof_->tac));
}

namespace fmcos_card {

const Bytes kAppName = {'O', 'V', 'X', '.', 'P', 'U', 'R', 'S', 'E', '.', 'A', 'P', 'P'};
const Bytes kPin = {0x12, 0x34, 0x56};
const Bytes kExternalKey = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88,
                            0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF, 0x00};
const Bytes kInternalKey = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF,
                            0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10};
const Bytes kLoadKey = {0x4C, 0x4F, 0x41, 0x44, 0x4B, 0x45, 0x59, 0x31,
                        0x4C, 0x4F, 0x41, 0x44, 0x4B, 0x45, 0x59, 0x32};
const Bytes kPurchaseKey = {0x50, 0x55, 0x52, 0x43, 0x48, 0x4B, 0x45, 0x59,
                            0x50, 0x55, 0x52, 0x43, 0x48, 0x4B, 0x45, 0x5A};
const Bytes kTacKey = {0x54, 0x41, 0x43, 0x4B, 0x45, 0x59, 0x30, 0x31,
                       0x54, 0x41, 0x43, 0x4B, 0x45, 0x59, 0x30, 0x32};
const Bytes kReloadKey = {0x52, 0x45, 0x4C, 0x4F, 0x41, 0x44, 0x4B, 0x31,
                          0x52, 0x45, 0x4C, 0x4F, 0x41, 0x44, 0x4B, 0x32};

void Personalise(Cos& c) {
  File& mf = c.mf();
  mf.has_key_file = true;
  mf.keys.push_back(Key{kKeyExternal, 0x00, 0xF0, 0xEF, 0x0F, 0, 5, 5, kExternalKey});

  auto df = std::make_unique<File>();
  df->fid = 0x1001;
  df->type = kDf;
  df->name = kAppName;
  df->parent = &mf;
  df->read_ac = 0xF2;  // creating files needs the external key
  df->write_ac = 0xF2;
  df->has_key_file = true;
  df->add_key_ac = 0xF2;
  df->keys = {
      Key{kKeyPin, 0x00, 0xF0, 0xEF, 0x01, 0, 3, 3, kPin},
      Key{kKeyExternal, 0x00, 0xF0, 0xEF, 0x02, 0, 5, 5, kExternalKey},
      Key{kKeyInternal, 0x00, 0xF0, 0xEF, 0x00, 0, 0, 0, kInternalKey},
      Key{kKeyLoad, 0x01, 0xF0, 0xEF, 0x00, 0x01, 0, 0, kLoadKey},
      Key{kKeyPurchase, 0x01, 0xF0, 0xEF, 0x00, 0x01, 0, 0, kPurchaseKey},
      Key{kKeyTac, 0x00, 0xF0, 0xEF, 0x00, 0x01, 0, 0, kTacKey},
      Key{kKeyReload, 0x00, 0xF0, 0xEF, 0x00, 0, 0, 0, kReloadKey},
  };
  auto add = [&](uint16_t fid, uint8_t type, uint8_t read, uint8_t write) -> File& {
    auto f = std::make_unique<File>();
    f->fid = fid;
    f->type = type;
    f->read_ac = read;
    f->write_ac = write;
    f->parent = df.get();
    df->children.push_back(std::move(f));
    return *df->children.back();
  };
  // Public information: issuer, application type and version, card number,
  // validity dates.
  File& pub = add(0x0015, kBinary, 0xF0, 0xF2);
  pub.data = {0x4F, 0x56, 0x58, 0x31, 0x00, 0x00, 0x00, 0x00, 0x01, 0x01, 0x20, 0x26, 0x00, 0x00, 0x00,
              0x00, 0x12, 0x34, 0x56, 0x78, 0x20, 0x26, 0x01, 0x01, 0x20, 0x36, 0x12, 0x31, 0x00, 0x00};
  // The holder: readable after the PIN.
  File& holder = add(0x0016, kBinary, 0xF1, 0xF1);
  holder.data.assign(55, 0x00);
  const char name[] = "SAMPLE HOLDER";
  std::copy(name, name + sizeof name - 1, holder.data.begin() + 2);
  File& fixed = add(0x0017, kFixedRecord, 0xF0, 0xF1);
  fixed.record_len = 16;
  fixed.record_max = 4;
  for (uint8_t i = 1; i <= 2; ++i) fixed.records.push_back(Bytes(16, i));
  File& log = add(0x0018, kCyclicRecord, 0xF0, 0xEF);
  log.record_len = 23;
  log.record_max = 10;
  File& var = add(0x0019, kVariableRecord, 0xF0, 0xF0);
  var.record_len = 32;
  var.record_max = 5;
  File& purse = add(0x0002, kPurse, 0xF0, 0xF0);
  purse.balance = kInitialBalance;
  mf.children.push_back(std::move(df));
}

}  // namespace fmcos_card

}  // namespace orvexsim
