// SPDX-License-Identifier: MIT
// FMCOS commands. Every function is one command APDU, built by Apdu, sent
// through the CPU-card APDU channel (reader command 0x32) by Send, and taken
// apart by CardAnswer and one of the answer handlers below. What differs from
// command to command is only the header, the Lc rule, the data field, Le and
// the handler.
#include "apps/untFMCOS.h"

#include <cstdint>
#include <initializer_list>

#include "cards/untCardExchange.h"
#include "cards/untISO14443.h"

namespace orvex {
namespace {

// A command APDU: CLA INS P1 P2, then Lc and the data field, then Le, each
// where the command has them, in the one byte builder over the command APDU
// buffer. Every argument goes in as its low 8 bits. Bytes past the buffer are
// counted but not written; such an APDU is never sent.
class Apdu : public ByteWriter<Apdu, kFmCommandBuffer> {
 public:
  Apdu(int cla, int ins, int p1, int p2) { u8(cla).u8(ins).u8(p1).u8(p2); }

  // An Lc that the command states, whatever the data field that follows.
  Apdu& Lc(int lc) { return u8(lc); }
  // Lc counting the n bytes of p, then the bytes.
  Apdu& Body(const unsigned char* p, int n) { return Lc(n).bytes(p, n); }
  // The purse's transaction stamp: date (4 BCD bytes), time (3 BCD bytes) and
  // the host's MAC (4 bytes).
  Apdu& Stamp(const unsigned char* BCDDate, const unsigned char* BCDTime,
              const unsigned char* Mac) {
    return bytes(BCDDate, 4).bytes(BCDTime, 3).bytes(Mac, 4);
  }
  Apdu& Le(int le) { return u8(le); }
};

// The card's answer as the channel hands it back: response data, then SW1
// SW2. The channel may hand back a whole answer frame, so the buffer is that
// large; bytes beyond len read 0.
struct CardAnswer : Response {
  int rt = -1;  // the channel's result, the result of every FMCOS function

  // Response data in front of the status word.
  bool WithData() const { return rt > 0 && len >= 3; }
  // The status word alone.
  bool Bare() const { return rt > 0 && len == 2; }
  // The two bytes at i read little-endian: SW1 low, SW2 high.
  unsigned short StatusAt(int i) const {
    return static_cast<unsigned short>(u16le(i));
  }
  // The status word to ExeStatus: the last two bytes of an answer with data,
  // the two bytes of a bare one; a shorter answer or a failure leaves it.
  void StatusTo(unsigned short* ExeStatus) const {
    if (WithData())
      *ExeStatus = StatusAt(len - 2);
    else if (Bare())
      *ExeStatus = StatusAt(0);
  }
  // The length of the response data handed out: len - 2, cut to what the
  // answer buffer would hold.
  int DataLength() const {
    int n = len - 2;
    return n < kFmMaxResponse ? n : kFmMaxResponse;
  }
};

CardAnswer Send(int ReaderID, Apdu& apdu) {
  CardAnswer a;
  if (!apdu.overflowed()) a.rt = TypeACPU_COS(ReaderID, apdu.size(), apdu.data(), &a.len, a.data);
  return a;
}

// ---- Answer handlers --------------------------------------------------------------

// Commands that bring back the status word only.
int StatusOnly(const CardAnswer& a, unsigned short* ExeStatus) {
  a.StatusTo(ExeStatus);
  return a.rt;
}

// Commands that bring back response data: all of it to out, its length to
// length (0 unless the answer had data).
template <typename Length>
int ResponseTo(const CardAnswer& a, Length* length, unsigned char* out, unsigned short* ExeStatus) {
  *length = 0;
  if (a.WithData()) {
    int n = a.DataLength();
    a.CopyTo(out, 0, n);
    *length = static_cast<Length>(n);
  }
  a.StatusTo(ExeStatus);
  return a.rt;
}

// A 4-byte field of a purse answer (TAC, MAC) and its length.
struct FourBytes {
  unsigned char* length;
  unsigned char* out;
};

// Purse answers made of 4-byte fields in a row: field i is answer bytes
// 4i to 4i+3, copied whatever len is once the answer has data.
int FieldsTo(const CardAnswer& a, std::initializer_list<FourBytes> fields,
             unsigned short* ExeStatus) {
  for (const FourBytes& f : fields) *f.length = 0;
  if (a.WithData()) {
    int at = 0;
    for (const FourBytes& f : fields) {
      a.CopyTo(f.out, at, 4);
      *f.length = 4;
      at += 4;
    }
  }
  a.StatusTo(ExeStatus);
  return a.rt;
}

// P1 of the transparent-file commands: a short file identifier (bit 7 set,
// identifier in bits 0-4), or else bits 8-14 of the offset.
int TransparentP1(bool shortId, unsigned char FileID, short Offset) {
  return shortId ? 0x80 | (FileID & 0x1F) : (Offset >> 8) & 0x7F;
}

// The four initialize commands of the purse differ in P1, Lc and Le.
int InitializeFor(int ReaderID, int p1, unsigned char ePursePos, int lc, int le,
                  unsigned char KeyID, int Value, unsigned char LenOfPosCode,
                  unsigned char* PosCode, unsigned char* LenOfResult, unsigned char* Result,
                  unsigned short* ExeStatus) {
  Apdu apdu(0x80, 0x50, p1, ePursePos);
  apdu.Lc(lc).u8(KeyID).u32le(static_cast<uint32_t>(Value)).bytes(PosCode, LenOfPosCode).Le(le);
  return ResponseTo(Send(ReaderID, apdu), LenOfResult, Result, ExeStatus);
}

// The Lc of load and purchase counts the terminal identifier; unload and
// cash withdrawal state 0B, made for a 6-byte one, whatever its length.
int LcOfPosCode(unsigned char LenOfPosCode) { return LenOfPosCode + 5; }
constexpr int kLcForSixBytePosCode = 0x0B;

}  // namespace

// ---- Files, keys and PINs -------------------------------------------------------

int FM_GetChallenge(int ReaderID, unsigned char BytesNumber, unsigned char* Challenge,
                    unsigned short* ExeStatus) {
  Apdu apdu(0x00, 0x84, 0x00, 0x00);
  apdu.Le(BytesNumber);
  CardAnswer a = Send(ReaderID, apdu);
  // The random number is taken as asked for, not as long as the card sent
  // it, and the status word from right behind it.
  if (a.WithData()) {
    a.CopyTo(Challenge, 0, BytesNumber);
    *ExeStatus = a.StatusAt(BytesNumber);
  } else if (a.Bare()) {
    *ExeStatus = a.StatusAt(0);
  }
  return a.rt;
}

int FM_ExternalAuthenticate(int ReaderID, unsigned char KeyIndex, unsigned char LenOfAuthData,
                            unsigned char* AuthData, unsigned short* ExeStatus) {
  Apdu apdu(0x00, 0x82, 0x00, KeyIndex);
  // Lc is always 08, for the 8-byte cryptogram.
  apdu.Lc(0x08).bytes(AuthData, LenOfAuthData);
  CardAnswer a = Send(ReaderID, apdu);
  // Only a bare status word counts as the card's verdict.
  if (a.Bare()) *ExeStatus = a.StatusAt(0);
  return a.rt;
}

int FM_InternalAuthenticate(int ReaderID, unsigned char EncodeMode, unsigned char DesKeyNumber,
                            unsigned char LenOfAuthData, unsigned char* AuthData,
                            unsigned char* LenOfAuthResult, unsigned char* AuthResult,
                            unsigned short* ExeStatus) {
  Apdu apdu(0x00, 0x88, EncodeMode, DesKeyNumber);
  apdu.Body(AuthData, LenOfAuthData);
  return ResponseTo(Send(ReaderID, apdu), LenOfAuthResult, AuthResult, ExeStatus);
}

int FM_Select(int ReaderID, unsigned char FileMode, unsigned char LenOfFileIDName,
              unsigned char* FileIDName, unsigned char NextFile, unsigned char* LenOfFCI,
              unsigned char* FCI, unsigned short* ExeStatus) {
  Apdu apdu(0x00, 0xA4, FileMode, NextFile);
  apdu.Body(FileIDName, LenOfFileIDName).Le(0x00);
  return ResponseTo(Send(ReaderID, apdu), LenOfFCI, FCI, ExeStatus);
}

int FM_ReadBinary(int ReaderID, unsigned char FileID, short Offset, unsigned char LenForRead,
                  unsigned char* LenOfFileData, unsigned char* FileData,
                  unsigned short* ExeStatus) {
  Apdu apdu(0x00, 0xB0, TransparentP1(FileID != 0, FileID, Offset), Offset);
  apdu.Le(LenForRead);
  return ResponseTo(Send(ReaderID, apdu), LenOfFileData, FileData, ExeStatus);
}

int FM_ReadRecord(int ReaderID, unsigned char FileID, unsigned char RecordIndex,
                  unsigned char RecordMode, unsigned char LenForRead, unsigned char* LenOfFileData,
                  unsigned char* FileData, unsigned short* ExeStatus) {
  Apdu apdu(0x00, 0xB2, RecordIndex, FileID == 0 ? RecordMode : FileID << 3 | RecordMode);
  apdu.Le(LenForRead);
  return ResponseTo(Send(ReaderID, apdu), LenOfFileData, FileData, ExeStatus);
}

int FM_UpdateBinary(int ReaderID, unsigned char FileID, short Offset, unsigned char LenOfFileData,
                    unsigned char* FileData, unsigned short* ExeStatus) {
  Apdu apdu(0x00, 0xD6, TransparentP1(FileID != 0, FileID, Offset), Offset);
  apdu.Body(FileData, LenOfFileData);
  return StatusOnly(Send(ReaderID, apdu), ExeStatus);
}

int FM_UpdaterRecord(int ReaderID, unsigned char FileID, unsigned char RecordIndex,
                     unsigned char RecordMode, unsigned char LenOfFileData, unsigned char* FileData,
                     unsigned short* ExeStatus) {
  Apdu apdu(0x00, 0xDC, RecordIndex, FileID << 3 | RecordMode);
  apdu.Body(FileData, LenOfFileData);
  return StatusOnly(Send(ReaderID, apdu), ExeStatus);
}

int FM_AppendRecord(int ReaderID, unsigned char FileID, unsigned char LenOfFileData,
                    unsigned char* FileData, unsigned short* ExeStatus) {
  Apdu apdu(0x00, 0xE2, 0x00, FileID << 3);
  apdu.Body(FileData, LenOfFileData);
  return StatusOnly(Send(ReaderID, apdu), ExeStatus);
}

int FM_VerifyPin(int ReaderID, unsigned char KeyIndex, unsigned char LenOfKey, unsigned char* Key,
                 unsigned short* ExeStatus) {
  Apdu apdu(0x00, 0x20, 0x00, KeyIndex);
  apdu.Body(Key, LenOfKey);
  return StatusOnly(Send(ReaderID, apdu), ExeStatus);
}

int FM_EraseDF(int ReaderID, unsigned short* ExeStatus) {
  Apdu apdu(0x80, 0x0E, 0x00, 0x00);
  apdu.Lc(0x00);
  return StatusOnly(Send(ReaderID, apdu), ExeStatus);
}

int FM_WriteKey(int ReaderID, unsigned char KeyType, unsigned char KeyID, unsigned char LenOfKey,
                unsigned char* Key, unsigned short* ExeStatus) {
  Apdu apdu(0x80, 0xD4, KeyType, KeyID);
  apdu.Body(Key, LenOfKey);
  return StatusOnly(Send(ReaderID, apdu), ExeStatus);
}

int FM_CreateFile(int ReaderID, unsigned short FileID, unsigned char LenOfFileInfo,
                  unsigned char* FileInfo, unsigned short* ExeStatus) {
  Apdu apdu(0x80, 0xE0, FileID >> 8, FileID);
  apdu.Body(FileInfo, LenOfFileInfo);
  return StatusOnly(Send(ReaderID, apdu), ExeStatus);
}

int FM_ReadBinaryWithProtected(int ReaderID, unsigned char WithFileID, unsigned char FileID,
                               short Offset, unsigned char LenOfKeyMAC, unsigned char* KeyMAC,
                               short* LenOfFileData, unsigned char* FileData,
                               unsigned short* ExeStatus) {
  // Secure messaging: the MAC is the data field, and there is no Le.
  Apdu apdu(0x04, 0xB0, TransparentP1(WithFileID != 0, FileID, Offset), Offset);
  apdu.Body(KeyMAC, LenOfKeyMAC);
  return ResponseTo(Send(ReaderID, apdu), LenOfFileData, FileData, ExeStatus);
}

int FM_CardBlock(int ReaderID, unsigned char LenOfMac, unsigned char* Mac,
                 unsigned short* ExeStatus) {
  Apdu apdu(0x84, 0x16, 0x00, 0x00);
  apdu.Body(Mac, LenOfMac);
  return StatusOnly(Send(ReaderID, apdu), ExeStatus);
}

int FM_ApplicationUnblock(int ReaderID, unsigned char LenOfMac, unsigned char* Mac,
                          unsigned short* ExeStatus) {
  Apdu apdu(0x84, 0x18, 0x00, 0x00);
  apdu.Body(Mac, LenOfMac);
  return StatusOnly(Send(ReaderID, apdu), ExeStatus);
}

int FM_ApplicationBlock(int ReaderID, unsigned char BlockMode, unsigned char LenOfMac,
                        unsigned char* Mac, unsigned short* ExeStatus) {
  Apdu apdu(0x84, 0x1E, 0x00, BlockMode);
  apdu.Body(Mac, LenOfMac);
  return StatusOnly(Send(ReaderID, apdu), ExeStatus);
}

int FM_PinUnblock(int ReaderID, unsigned char KeyID, unsigned char LenOfKey, unsigned char* Key,
                  unsigned char LenOfMac, unsigned char* Mac, unsigned short* ExeStatus) {
  // The key number goes in P1 here, in P2 for the other PIN commands.
  Apdu apdu(0x84, 0x24, KeyID, 0x00);
  apdu.Lc(LenOfKey + LenOfMac).bytes(Key, LenOfKey).bytes(Mac, LenOfMac);
  return StatusOnly(Send(ReaderID, apdu), ExeStatus);
}

int FM_ReloadPin(int ReaderID, unsigned char KeyID, unsigned char LenOfKey, unsigned char* Key,
                 unsigned char LenOfMac, unsigned char* Mac, unsigned short* ExeStatus) {
  Apdu apdu(0x80, 0x5E, 0x00, KeyID);
  apdu.Lc(LenOfKey + LenOfMac).bytes(Key, LenOfKey).bytes(Mac, LenOfMac);
  return StatusOnly(Send(ReaderID, apdu), ExeStatus);
}

int FM_ChangePin(int ReaderID, unsigned char KeyID, unsigned char LenOfOldKey,
                 unsigned char* OldKey, unsigned char LenOfNewKey, unsigned char* NewKey,
                 unsigned short* ExeStatus) {
  // Old and new PIN are separated by one byte FF, counted in Lc.
  Apdu apdu(0x80, 0x5E, 0x01, KeyID);
  apdu.Lc(LenOfOldKey + LenOfNewKey + 1)
      .bytes(OldKey, LenOfOldKey)
      .u8(0xFF)
      .bytes(NewKey, LenOfNewKey);
  return StatusOnly(Send(ReaderID, apdu), ExeStatus);
}

// ---- Electronic purse ------------------------------------------------------------------

int FM_InitializeForLoad(int ReaderID, unsigned char ePursePos, unsigned char KeyID, int Value,
                         unsigned char LenOfPosCode, unsigned char* PosCode,
                         unsigned char* LenOfResult, unsigned char* Result,
                         unsigned short* ExeStatus) {
  return InitializeFor(ReaderID, 0x00, ePursePos, LcOfPosCode(LenOfPosCode), 0x10, KeyID, Value,
                       LenOfPosCode, PosCode, LenOfResult, Result, ExeStatus);
}

int FM_CreditForLoad(int ReaderID, unsigned char* BCDDate, unsigned char* BCDTime,
                     unsigned char* Mac, unsigned char* LenOfTAC, unsigned char* TAC,
                     unsigned short* ExeStatus) {
  Apdu apdu(0x80, 0x52, 0x00, 0x00);
  apdu.Lc(0x0B).Stamp(BCDDate, BCDTime, Mac).Le(0x10);
  return ResponseTo(Send(ReaderID, apdu), LenOfTAC, TAC, ExeStatus);
}

int FM_InitializeForPurchase(int ReaderID, unsigned char ePursePos, unsigned char KeyID, int Value,
                             unsigned char LenOfPosCode, unsigned char* PosCode,
                             unsigned char* LenOfResult, unsigned char* Result,
                             unsigned short* ExeStatus) {
  return InitializeFor(ReaderID, 0x01, ePursePos, LcOfPosCode(LenOfPosCode), 0x0F, KeyID, Value,
                       LenOfPosCode, PosCode, LenOfResult, Result, ExeStatus);
}

int FM_DebitForCappPurchase(int ReaderID, int OrderNo, unsigned char* BCDDate,
                            unsigned char* BCDTime, unsigned char* Mac, unsigned char* LenOfTAC,
                            unsigned char* TAC, unsigned char* LenOfMac2, unsigned char* Mac2,
                            unsigned short* ExeStatus) {
  Apdu apdu(0x80, 0x54, 0x01, 0x00);
  apdu.Lc(0x0F).u32le(static_cast<uint32_t>(OrderNo)).Stamp(BCDDate, BCDTime, Mac).Le(0x08);
  return FieldsTo(Send(ReaderID, apdu), {{LenOfTAC, TAC}, {LenOfMac2, Mac2}}, ExeStatus);
}

int FM_InitializeForUnload(int ReaderID, unsigned char ePursePos, unsigned char KeyID, int Value,
                           unsigned char LenOfPosCode, unsigned char* PosCode,
                           unsigned char* LenOfResult, unsigned char* Result,
                           unsigned short* ExeStatus) {
  return InitializeFor(ReaderID, 0x05, ePursePos, kLcForSixBytePosCode, 0x10, KeyID, Value,
                       LenOfPosCode, PosCode, LenOfResult, Result, ExeStatus);
}

int FM_CreditForUnload(int ReaderID, unsigned char* BCDDate, unsigned char* BCDTime,
                       unsigned char* Mac, unsigned char* LenOfMAC3, unsigned char* MAC3,
                       unsigned short* ExeStatus) {
  // Sent with the debit instruction, P1 03.
  Apdu apdu(0x80, 0x54, 0x03, 0x00);
  apdu.Lc(0x0B).Stamp(BCDDate, BCDTime, Mac).Le(0x04);
  return ResponseTo(Send(ReaderID, apdu), LenOfMAC3, MAC3, ExeStatus);
}

int FM_InitializeForCashWithdraw(int ReaderID, unsigned char ePursePos, unsigned char KeyID,
                                 int Value, unsigned char LenOfPosCode, unsigned char* PosCode,
                                 unsigned char* LenOfResult, unsigned char* Result,
                                 unsigned short* ExeStatus) {
  return InitializeFor(ReaderID, 0x02, ePursePos, kLcForSixBytePosCode, 0x0F, KeyID, Value,
                       LenOfPosCode, PosCode, LenOfResult, Result, ExeStatus);
}

int FM_DebitForCashWithdraw(int ReaderID, int OrderNo, unsigned char* BCDDate,
                            unsigned char* BCDTime, unsigned char* Mac, unsigned char* LenOfTAC,
                            unsigned char* TAC, unsigned char* LenOfMAC2, unsigned char* MAC2,
                            unsigned short* ExeStatus) {
  // The same APDU as the purchase debit: the card knows which transaction
  // it initialized.
  return FM_DebitForCappPurchase(ReaderID, OrderNo, BCDDate, BCDTime, Mac, LenOfTAC, TAC, LenOfMAC2,
                                 MAC2, ExeStatus);
}

int FM_UpdateOverdrawLimit(int ReaderID, int NewLimitValue, unsigned char* BCDDate,
                           unsigned char* BCDTime, unsigned char* Mac, unsigned char* LenOfTAC,
                           unsigned char* TAC, unsigned short* ExeStatus) {
  // Lc says 0E although the data field that follows is 15 bytes long.
  Apdu apdu(0x80, 0x58, 0x00, 0x00);
  apdu.Lc(0x0E).u32le(static_cast<uint32_t>(NewLimitValue)).Stamp(BCDDate, BCDTime, Mac).Le(0x04);
  return FieldsTo(Send(ReaderID, apdu), {{LenOfTAC, TAC}}, ExeStatus);
}

int FM_GetTransactionProve(int ReaderID, unsigned char ProveTypeID,
                           unsigned short TranactionOrderNo, unsigned char* LenOfMAC,
                           unsigned char* MAC, unsigned char* LenOfTAC, unsigned char* TAC,
                           unsigned short* ExeStatus) {
  Apdu apdu(0x80, 0x5A, 0x00, ProveTypeID);
  apdu.Lc(0x02).u8(TranactionOrderNo).u8(TranactionOrderNo >> 8).Le(0x08);
  return FieldsTo(Send(ReaderID, apdu), {{LenOfMAC, MAC}, {LenOfTAC, TAC}}, ExeStatus);
}

int FM_GetBalance(int ReaderID, unsigned char ePursePos, int* Value, unsigned short* ExeStatus) {
  Apdu apdu(0x80, 0x5C, 0x00, ePursePos);
  apdu.Le(0x04);
  CardAnswer a = Send(ReaderID, apdu);
  // The balance is read least significant byte first.
  if (a.WithData()) {
    *Value = static_cast<int>(a.u32le(0));
  }
  a.StatusTo(ExeStatus);
  return a.rt;
}

}  // namespace orvex

// The one FMCOS operation that is exported as a free function.
int OV_FM_Select(int ReaderID, unsigned char FileMode, unsigned char LenOfFileIDName,
                 unsigned char* FileIDName, unsigned char NextFile, unsigned char* LenOfFCI,
                 unsigned char* FCI, unsigned short* ExeStatus) {
  return orvex::FM_Select(ReaderID, FileMode, LenOfFileIDName, FileIDName, NextFile, LenOfFCI, FCI,
                          ExeStatus);
}
