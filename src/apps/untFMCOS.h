// SPDX-License-Identifier: MIT
// FMCOS commands for contactless CPU cards: files, keys, PINs and the
// electronic purse. Each function builds one command APDU, sends it over the
// CPU-card APDU channel and splits the card's answer into response data and
// the status word.
//
// Every function returns the channel's result unchanged (1 the reader
// handed back an answer, -3 the reader refused, -1 link failure) and puts
// the card's status word in ExeStatus, SW1 in the low byte and SW2 in the
// high byte (90 00 reads 0x0090). ExeStatus is written only when the answer
// holds at least the two status bytes. Output lengths are set to 0 right
// after the exchange, whatever its result.
#pragma once

namespace orvex {

// The command APDU buffer; an APDU that would not fit is refused with -1
// before anything is sent.
constexpr int kFmCommandBuffer = 500;
// The answer buffer: response data and SW1 SW2. Response data beyond
// kFmMaxResponse bytes is not handed out.
constexpr int kFmAnswerBuffer = 1000;
constexpr int kFmMaxResponse = kFmAnswerBuffer - 2;
// orvex.h sizes the FMCOS response outputs at 998 bytes ("at most 998").
static_assert(kFmMaxResponse == 998, "orvex.h sizes FMCOS response outputs at 998 bytes");

// ---- Files, keys and PINs ----
int FM_GetChallenge(int ReaderID, unsigned char BytesNumber, unsigned char* Challenge,
                    unsigned short* ExeStatus);
int FM_ExternalAuthenticate(int ReaderID, unsigned char KeyIndex, unsigned char LenOfAuthData,
                            unsigned char* AuthData, unsigned short* ExeStatus);
int FM_InternalAuthenticate(int ReaderID, unsigned char EncodeMode, unsigned char DesKeyNumber,
                            unsigned char LenOfAuthData, unsigned char* AuthData,
                            unsigned char* LenOfAuthResult, unsigned char* AuthResult,
                            unsigned short* ExeStatus);
int FM_Select(int ReaderID, unsigned char FileMode, unsigned char LenOfFileIDName,
              unsigned char* FileIDName, unsigned char NextFile, unsigned char* LenOfFCI,
              unsigned char* FCI, unsigned short* ExeStatus);
int FM_ReadBinary(int ReaderID, unsigned char FileID, short Offset, unsigned char LenForRead,
                  unsigned char* LenOfFileData, unsigned char* FileData, unsigned short* ExeStatus);
int FM_ReadRecord(int ReaderID, unsigned char FileID, unsigned char RecordIndex,
                  unsigned char RecordMode, unsigned char LenForRead, unsigned char* LenOfFileData,
                  unsigned char* FileData, unsigned short* ExeStatus);
int FM_UpdateBinary(int ReaderID, unsigned char FileID, short Offset, unsigned char LenOfFileData,
                    unsigned char* FileData, unsigned short* ExeStatus);
int FM_UpdaterRecord(int ReaderID, unsigned char FileID, unsigned char RecordIndex,
                     unsigned char RecordMode, unsigned char LenOfFileData, unsigned char* FileData,
                     unsigned short* ExeStatus);
int FM_AppendRecord(int ReaderID, unsigned char FileID, unsigned char LenOfFileData,
                    unsigned char* FileData, unsigned short* ExeStatus);
int FM_VerifyPin(int ReaderID, unsigned char KeyIndex, unsigned char LenOfKey, unsigned char* Key,
                 unsigned short* ExeStatus);
int FM_EraseDF(int ReaderID, unsigned short* ExeStatus);
int FM_WriteKey(int ReaderID, unsigned char KeyType, unsigned char KeyID, unsigned char LenOfKey,
                unsigned char* Key, unsigned short* ExeStatus);
int FM_CreateFile(int ReaderID, unsigned short FileID, unsigned char LenOfFileInfo,
                  unsigned char* FileInfo, unsigned short* ExeStatus);
int FM_ReadBinaryWithProtected(int ReaderID, unsigned char WithFileID, unsigned char FileID,
                               short Offset, unsigned char LenOfKeyMAC, unsigned char* KeyMAC,
                               short* LenOfFileData, unsigned char* FileData,
                               unsigned short* ExeStatus);
int FM_CardBlock(int ReaderID, unsigned char LenOfMac, unsigned char* Mac,
                 unsigned short* ExeStatus);
int FM_ApplicationUnblock(int ReaderID, unsigned char LenOfMac, unsigned char* Mac,
                          unsigned short* ExeStatus);
int FM_ApplicationBlock(int ReaderID, unsigned char BlockMode, unsigned char LenOfMac,
                        unsigned char* Mac, unsigned short* ExeStatus);
int FM_PinUnblock(int ReaderID, unsigned char KeyID, unsigned char LenOfKey, unsigned char* Key,
                  unsigned char LenOfMac, unsigned char* Mac, unsigned short* ExeStatus);
int FM_ReloadPin(int ReaderID, unsigned char KeyID, unsigned char LenOfKey, unsigned char* Key,
                 unsigned char LenOfMac, unsigned char* Mac, unsigned short* ExeStatus);
int FM_ChangePin(int ReaderID, unsigned char KeyID, unsigned char LenOfOldKey,
                 unsigned char* OldKey, unsigned char LenOfNewKey, unsigned char* NewKey,
                 unsigned short* ExeStatus);

// ---- Electronic purse ----
int FM_InitializeForLoad(int ReaderID, unsigned char ePursePos, unsigned char KeyID, int Value,
                         unsigned char LenOfPosCode, unsigned char* PosCode,
                         unsigned char* LenOfResult, unsigned char* Result,
                         unsigned short* ExeStatus);
int FM_CreditForLoad(int ReaderID, unsigned char* BCDDate, unsigned char* BCDTime,
                     unsigned char* Mac, unsigned char* LenOfTAC, unsigned char* TAC,
                     unsigned short* ExeStatus);
int FM_InitializeForPurchase(int ReaderID, unsigned char ePursePos, unsigned char KeyID, int Value,
                             unsigned char LenOfPosCode, unsigned char* PosCode,
                             unsigned char* LenOfResult, unsigned char* Result,
                             unsigned short* ExeStatus);
int FM_DebitForCappPurchase(int ReaderID, int OrderNo, unsigned char* BCDDate,
                            unsigned char* BCDTime, unsigned char* Mac, unsigned char* LenOfTAC,
                            unsigned char* TAC, unsigned char* LenOfMac2, unsigned char* Mac2,
                            unsigned short* ExeStatus);
int FM_InitializeForUnload(int ReaderID, unsigned char ePursePos, unsigned char KeyID, int Value,
                           unsigned char LenOfPosCode, unsigned char* PosCode,
                           unsigned char* LenOfResult, unsigned char* Result,
                           unsigned short* ExeStatus);
int FM_CreditForUnload(int ReaderID, unsigned char* BCDDate, unsigned char* BCDTime,
                       unsigned char* Mac, unsigned char* LenOfMAC3, unsigned char* MAC3,
                       unsigned short* ExeStatus);
int FM_InitializeForCashWithdraw(int ReaderID, unsigned char ePursePos, unsigned char KeyID,
                                 int Value, unsigned char LenOfPosCode, unsigned char* PosCode,
                                 unsigned char* LenOfResult, unsigned char* Result,
                                 unsigned short* ExeStatus);
int FM_DebitForCashWithdraw(int ReaderID, int OrderNo, unsigned char* BCDDate,
                            unsigned char* BCDTime, unsigned char* Mac, unsigned char* LenOfTAC,
                            unsigned char* TAC, unsigned char* LenOfMAC2, unsigned char* MAC2,
                            unsigned short* ExeStatus);
int FM_UpdateOverdrawLimit(int ReaderID, int NewLimitValue, unsigned char* BCDDate,
                           unsigned char* BCDTime, unsigned char* Mac, unsigned char* LenOfTAC,
                           unsigned char* TAC, unsigned short* ExeStatus);
int FM_GetTransactionProve(int ReaderID, unsigned char ProveTypeID,
                           unsigned short TranactionOrderNo, unsigned char* LenOfMAC,
                           unsigned char* MAC, unsigned char* LenOfTAC, unsigned char* TAC,
                           unsigned short* ExeStatus);
int FM_GetBalance(int ReaderID, unsigned char ePursePos, int* Value, unsigned short* ExeStatus);

}  // namespace orvex
