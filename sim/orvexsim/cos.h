// SPDX-License-Identifier: MIT
// A small FMCOS-style card operating system behind ISO 7816-4 APDUs: a tree
// of files (MF, DFs, binary and record EFs, key files, the electronic purse),
// a security state raised by PIN verification and external authentication,
// PINs with retry counters, and purse transactions with session keys, MACs
// and TACs. Errors come back as the status words of ISO 7816-4.
//
// Access conditions are one byte XY: an operation is allowed when the
// security state S of the current DF lies between Y and X (F0 always, F1
// after a PIN or key that sets 1 or more, EF never).
#pragma once

#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "orvexsim/card.h"

namespace orvexsim {

namespace cos {

// Status words.
constexpr uint16_t kOk = 0x9000;
constexpr uint16_t kWrongLength = 0x6700;
constexpr uint16_t kIncompatibleFile = 0x6981;
constexpr uint16_t kSecurityNotSatisfied = 0x6982;
constexpr uint16_t kAuthBlocked = 0x6983;
constexpr uint16_t kConditionsNotSatisfied = 0x6985;
constexpr uint16_t kNoCurrentEf = 0x6986;
constexpr uint16_t kWrongData = 0x6A80;
constexpr uint16_t kFunctionNotSupported = 0x6A81;
constexpr uint16_t kFileNotFound = 0x6A82;
constexpr uint16_t kRecordNotFound = 0x6A83;
constexpr uint16_t kNoSpace = 0x6A84;
constexpr uint16_t kWrongP1P2 = 0x6A86;
constexpr uint16_t kKeyNotFound = 0x6A88;
constexpr uint16_t kFileExists = 0x6A89;
constexpr uint16_t kOffsetOutside = 0x6B00;
constexpr uint16_t kInsNotSupported = 0x6D00;
constexpr uint16_t kClaNotSupported = 0x6E00;
constexpr uint16_t kMacInvalid = 0x9302;
constexpr uint16_t kInsufficientFunds = 0x9401;
constexpr uint16_t kAmountOverflow = 0x9402;
constexpr uint16_t kKeyIndexNotSupported = 0x9403;

// File types (the first byte of CREATE FILE's data).
constexpr uint8_t kDf = 0x38;
constexpr uint8_t kBinary = 0x28;
constexpr uint8_t kFixedRecord = 0x2A;
constexpr uint8_t kVariableRecord = 0x2C;
constexpr uint8_t kCyclicRecord = 0x2E;
constexpr uint8_t kPurse = 0x2F;
constexpr uint8_t kKeyFile = 0x3F;

// Key types (the first byte of WRITE KEY's data).
constexpr uint8_t kKeyInternal = 0x30;
constexpr uint8_t kKeyTac = 0x34;
constexpr uint8_t kKeyReload = 0x37;
constexpr uint8_t kKeyExternal = 0x39;
constexpr uint8_t kKeyPin = 0x3A;
constexpr uint8_t kKeyPurchase = 0x3E;
constexpr uint8_t kKeyLoad = 0x3F;

struct Key {
  uint8_t type = 0;
  uint8_t id = 0;
  uint8_t use_ac = 0xF0;
  uint8_t change_ac = 0xEF;
  uint8_t next_state = 0;  // security state after a successful check
  uint8_t version = 0;     // purse keys: the key version reported at initialise
  uint8_t max_tries = 0;   // 0: no retry counter
  uint8_t tries = 0;
  Bytes value;
};

struct File {
  uint16_t fid = 0;
  uint8_t type = 0;
  uint8_t read_ac = 0xF0;   // DF: the right to create files in it
  uint8_t write_ac = 0xF0;  // DF: the right to erase it
  Bytes data;               // binary EF
  size_t record_len = 0;    // fixed and cyclic: the length; variable: the largest
  size_t record_max = 0;    // how many records fit
  std::vector<Bytes> records;  // record 1 first (for a cyclic file, the newest)
  // DF
  Bytes name;
  File* parent = nullptr;
  std::vector<std::unique_ptr<File>> children;
  bool has_key_file = false;
  uint8_t add_key_ac = 0xF0;
  std::vector<Key> keys;
  // Purse
  uint32_t balance = 0;
  uint16_t online = 0;   // load counter
  uint16_t offline = 0;  // purchase counter
  uint32_t overdraw = 0;

  bool IsDf() const { return type == kDf; }
  bool IsRecord() const { return type == kFixedRecord || type == kVariableRecord || type == kCyclicRecord; }
  uint8_t sfi() const { return fid & 0x1F; }
  File* Child(uint16_t id);
  File* ChildBySfi(uint8_t sfi);
  File* ChildOfType(uint8_t t);
  Key* FindKey(uint8_t type, uint8_t id);
};

}  // namespace cos

class Cos : public ApduProcessor {
 public:
  // A card with an empty MF; seed makes its random numbers repeatable.
  explicit Cos(const Bytes& seed);

  // A response of more than kResponsePiece data bytes does not fit the
  // card's buffer: it leaves in pieces. The first kResponsePiece bytes come
  // with 61XX (XX: the bytes of the next piece), each GET RESPONSE
  // (00 C0 00 00 XX) brings the next piece, with 61XX again while more is
  // waiting and the command's own status word after the last. A GET
  // RESPONSE for more than the next piece is answered 6CXX, one with nothing
  // waiting 6985; any other command drops what is waiting.
  static constexpr size_t kResponsePiece = 64;
  Bytes Process(const Bytes& command) override;
  void Reset() override;

  cos::File& mf() { return *mf_; }
  cos::File* current_df() { return df_; }
  uint8_t security_state() const { return state_; }
  // The DF with this name anywhere in the tree, or nullptr.
  cos::File* FindDf(const Bytes& name);

 private:
  struct Apdu {
    uint8_t cla = 0, ins = 0, p1 = 0, p2 = 0;
    Bytes data;
    int le = -1;  // -1 when absent; 00 means 256
  };
  // A purse transaction between its initialise and its second command.
  struct Pending {
    uint8_t kind = 0;  // 0x00 load, 0x01 purchase, 0x02 cash withdrawal
    uint8_t key_id = 0;
    cos::File* purse = nullptr;
    Bytes random;
    Bytes session_key;  // load: known at once; purchase: at the debit
    uint32_t amount = 0;
    Bytes terminal;
    uint16_t counter = 0;
  };
  struct Proof {
    uint8_t type = 0;
    uint16_t counter = 0;
    Bytes mac, tac;
  };

  static bool Parse(const Bytes& b, Apdu& a);
  Bytes Execute(const Bytes& command);
  Bytes GetResponse(const Bytes& command);
  // The piece of a response to hand over now, and 61XX or the status word.
  Bytes Piece(size_t n);
  bool Allowed(uint8_t ac) const;
  void SelectDf(cos::File* df);
  cos::File* EfFor(uint8_t sfi, uint16_t& sw);
  Bytes Random(size_t n);

  Bytes Select(const Apdu& a);
  Bytes ReadBinary(const Apdu& a);
  Bytes UpdateBinary(const Apdu& a);
  Bytes ReadRecord(const Apdu& a);
  Bytes UpdateRecord(const Apdu& a);
  Bytes AppendRecord(const Apdu& a);
  Bytes GetChallenge(const Apdu& a);
  Bytes ExternalAuthenticate(const Apdu& a);
  Bytes InternalAuthenticate(const Apdu& a);
  Bytes Verify(const Apdu& a);
  Bytes ChangeOrReloadPin(const Apdu& a);
  Bytes CreateFile(const Apdu& a);
  Bytes WriteKey(const Apdu& a);
  Bytes EraseDf(const Apdu& a);
  Bytes InitializeTransaction(const Apdu& a);
  Bytes CreditForLoad(const Apdu& a);
  Bytes DebitForPurchase(const Apdu& a);
  Bytes GetBalance(const Apdu& a);
  Bytes GetTransactionProof(const Apdu& a);
  // A key check that counts failures: 63 Cx, 69 83 when none are left.
  uint16_t Check(cos::Key& k, bool ok);
  Bytes Tac(const Bytes& data);
  void Log(cos::File* df, uint16_t counter, uint32_t amount, uint8_t type, const Bytes& terminal,
           const Bytes& date_time);

  std::unique_ptr<cos::File> mf_;
  cos::File* df_ = nullptr;  // current DF
  cos::File* ef_ = nullptr;  // current EF
  uint8_t state_ = 0;        // security state of the current DF
  Bytes challenge_;
  std::optional<Pending> pending_;
  std::optional<Proof> proof_;
  std::mt19937 rng_;
  Bytes waiting_;     // response data not yet handed over
  Bytes waiting_sw_;  // the status word that ends it
};

// The default CPU card image: MF "1PAY.SYS.DDF01"; application DF 1001
// ("OVX.PURSE.APP") with its key file, a public binary file (SFI 15), a
// holder file readable after the PIN (SFI 16), a fixed-record file (SFI 17),
// the transaction log (cyclic, SFI 18), a variable-record file (SFI 19) and
// the electronic purse (file 0002) holding 1000.
namespace fmcos_card {
extern const Bytes kAppName;
extern const Bytes kPin;           // PIN 0, three tries, raises the state to 1
extern const Bytes kExternalKey;   // external authentication key 0 (raises the state to 2)
extern const Bytes kInternalKey;   // internal authentication key 0
extern const Bytes kLoadKey;       // load key 1 (version 1)
extern const Bytes kPurchaseKey;   // purchase key 1 (version 1)
extern const Bytes kTacKey;        // TAC key 0
extern const Bytes kReloadKey;     // PIN reload key 0
constexpr uint32_t kInitialBalance = 1000;
void Personalise(Cos& cos);
}  // namespace fmcos_card

}  // namespace orvexsim
