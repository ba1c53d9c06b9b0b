// The Orvex class: every method forwards its arguments unchanged to one
// internal function of a command module and returns its result unchanged.
#include "orvex.h"

#include "apps/untFMCOS.h"
#include "cards/untSAM.h"
#include "link/untFunction.h"
#include "reader/untReader.h"

using namespace orvex;

// ---- Library and link ----
int Orvex::OV_GetDLLVersion() { return GetVersion_(); }
int Orvex::OV_ComInitial(int PortIndex, int Bound) { return OpenPort_(PortIndex, Bound); }
int Orvex::OV_ComInitialDevice(const char* DevicePath, int Bound) {
  return OpenPortDevice_(DevicePath, Bound);
}
int Orvex::OV_ComFree() { return ClosePort_(); }
int Orvex::OV_USBHIDInitial() { return HID_OpenUSBPort_(0x0471, 0x114A); }
int Orvex::OV_USBHIDFree() { return HID_ClosePort_(); }
int Orvex::OV_ComNewBound(int ReaderID, int NewBound) { return ChangeBound_(ReaderID, NewBound); }

// ---- Reader management ----
int Orvex::OV_SetReaderID(int OldID, int NewID) { return OV_SetReaderID_(OldID, NewID); }
int Orvex::OV_GetReaderID(int ReaderID) { return OV_GetReaderID_(ReaderID); }
int Orvex::OV_GetReaderVersion(int ReaderID) { return Get_ReaderVersion_(ReaderID); }
int Orvex::OV_GetReaderSerial(int ReaderID, unsigned char* ReaderSerial) {
  return GetReaderSerial_(ReaderID, ReaderSerial);
}
int Orvex::OV_GetReaderNo(int ReaderID, unsigned char* ReaderNo) {
  return GetReaderNo_(ReaderID, ReaderNo);
}
int Orvex::OV_Buzzer(int ReaderID, int Time_ON, int Time_OFF, int Cycle) {
  return Buzzer2_(ReaderID, Time_ON, Time_OFF, Cycle);
}
int Orvex::OV_Led(int ReaderID, int LEDIndex, int Time_ON, int Time_OFF, int Cycle, int LedIndexOn) {
  return LED2_(ReaderID, LEDIndex, Time_ON, Time_OFF, Cycle, LedIndexOn);
}
int Orvex::OV_LEDDisplay(int ReaderID, int Alignment, char* LEDText) {
  return LEDDisplay_(ReaderID, Alignment, LEDText);
}
int Orvex::OV_AntennaStatus(int ReaderID, bool ATStatus) { return AntennaStatus_(ReaderID, ATStatus); }
int Orvex::OV_SearchCardMode(int ReaderID, int Mode) { return SearchCardMode_(ReaderID, Mode); }
int Orvex::OV_SearchCardModeEx(int ReaderID, int Mode, int Param) {
  return SearchCardMode_2(ReaderID, Mode, Param);
}
int Orvex::OV_LFCard_ReadID(int ReaderID, unsigned char* CardID) { return LFCard_ReadID_(ReaderID, CardID); }
int Orvex::OV_WriteReaderMemory(int ReaderID, int AddrBegin, int DataLen, unsigned char* DataToWrite) {
  return WriteFlash(ReaderID, AddrBegin, DataLen, DataToWrite);
}
int Orvex::OV_ReadReaderMemory(int ReaderID, int AddrBegin, int DataLen, unsigned char* DataToRead) {
  return ReadFlash(ReaderID, AddrBegin, DataLen, DataToRead);
}
int Orvex::OV_SetParam(int ReaderID, int Index, int ParamLen, unsigned char* Param) {
  return SetParam_(ReaderID, Index, ParamLen, Param);
}
int Orvex::OV_GetParam(int ReaderID, int Index, int ParamLen, unsigned char* Param, int* OutLen,
                       unsigned char* OutResult) {
  return GetParam_(ReaderID, Index, ParamLen, Param, OutLen, OutResult);
}
int Orvex::OV_Set433ModuleParam(int ReaderID, unsigned char* Param) {
  return Set433ModuleParam_(ReaderID, Param);
}
int Orvex::OV_Get433ModuleParam(int ReaderID, unsigned char* Param) {
  return Get433ModuleParam_(ReaderID, Param);
}
int Orvex::OV_HFSelectAntenna(int ReaderID, int AntennaID) { return SelectAntenna_(ReaderID, AntennaID); }


// ---- ORVEX-GROUP: display reader ----

// ---- ORVEX-GROUP: ISO 14443-A and MIFARE Classic ----

// ---- ORVEX-GROUP: ISO 14443-B and memory tags ----

// ---- ORVEX-GROUP: ISO 15693 ----

// ---- ORVEX-GROUP: SAM slots ----
int Orvex::OV_SAM_ResetBaud(int ReaderID, int SAMIndex, int BaudIndex) {
  return SAM_Bound(ReaderID, SAMIndex, BaudIndex);
}
int Orvex::OV_SAM_PPSBaud(int ReaderID, int SAMIndex, int BaudIndex) {
  return SAM_PPSBound(ReaderID, SAMIndex, BaudIndex);
}
int Orvex::OV_SAM_PPSBaudEx(int ReaderID, int SAMIndex, int BaudIndex, int Protocol) {
  return SAM_PPSBaud2(ReaderID, SAMIndex, BaudIndex, Protocol);
}
int Orvex::OV_SAM_Reset(int ReaderID, int SAMIndex, int* rtLen, unsigned char* pData) {
  return SAM_Reset(ReaderID, SAMIndex, rtLen, pData);
}
int Orvex::OV_SAM_ResetEx(int ReaderID, int SAMIndex, unsigned char SAMVoltage, int* rtLen,
                          unsigned char* pData) {
  return SAM_Reset2(ReaderID, SAMIndex, SAMVoltage, rtLen, pData);
}
int Orvex::OV_SAM_COS(int ReaderID, int SAMIndex, int LenCOS, unsigned char* Com_COS, int* rtLen,
                      unsigned char* pData) {
  return SAM_COS(ReaderID, SAMIndex, LenCOS, Com_COS, rtLen, pData);
}

// ---- ORVEX-GROUP: MIFARE Plus ----

// ---- ORVEX-GROUP: FeliCa and ID-card number ----

// ---- ORVEX-GROUP: Topaz ----

// ---- ORVEX-GROUP: NTAG ----

// ---- ORVEX-GROUP: SLE4442 ----

// ---- ORVEX-GROUP: FMCOS ----
int Orvex::OV_FM_GetChallenge(int ReaderID, unsigned char BytesNumber, unsigned char* Challenge,
                              unsigned short* ExeStatus) {
  return FM_GetChallenge(ReaderID, BytesNumber, Challenge, ExeStatus);
}
int Orvex::OV_FM_ExternalAuthenticate(int ReaderID, unsigned char KeyIndex,
                                      unsigned char LenOfAuthData, unsigned char* AuthData,
                                      unsigned short* ExeStatus) {
  return FM_ExternalAuthenticate(ReaderID, KeyIndex, LenOfAuthData, AuthData, ExeStatus);
}
int Orvex::OV_FM_InternalAuthenticate(int ReaderID, unsigned char EncodeMode,
                                      unsigned char DesKeyNumber, unsigned char LenOfAuthData,
                                      unsigned char* AuthData, unsigned char* LenOfAuthResult,
                                      unsigned char* AuthResult, unsigned short* ExeStatus) {
  return FM_InternalAuthenticate(ReaderID, EncodeMode, DesKeyNumber, LenOfAuthData, AuthData,
                                 LenOfAuthResult, AuthResult, ExeStatus);
}
int Orvex::OV_FM_ReadBinary(int ReaderID, unsigned char FileID, short Offset,
                            unsigned char LenForRead, unsigned char* LenOfFileData,
                            unsigned char* FileData, unsigned short* ExeStatus) {
  return FM_ReadBinary(ReaderID, FileID, Offset, LenForRead, LenOfFileData, FileData, ExeStatus);
}
int Orvex::OV_FM_ReadRecord(int ReaderID, unsigned char FileID, unsigned char RecordIndex,
                            unsigned char RecordMode, unsigned char LenForRead,
                            unsigned char* LenOfFileData, unsigned char* FileData,
                            unsigned short* ExeStatus) {
  return FM_ReadRecord(ReaderID, FileID, RecordIndex, RecordMode, LenForRead, LenOfFileData,
                       FileData, ExeStatus);
}
int Orvex::OV_FM_UpdateBinary(int ReaderID, unsigned char FileID, short Offset,
                              unsigned char LenOfFileData, unsigned char* FileData,
                              unsigned short* ExeStatus) {
  return FM_UpdateBinary(ReaderID, FileID, Offset, LenOfFileData, FileData, ExeStatus);
}
int Orvex::OV_FM_UpdaterRecord(int ReaderID, unsigned char FileID, unsigned char RecordIndex,
                               unsigned char RecordMode, unsigned char LenOfFileData,
                               unsigned char* FileData, unsigned short* ExeStatus) {
  return FM_UpdaterRecord(ReaderID, FileID, RecordIndex, RecordMode, LenOfFileData, FileData,
                          ExeStatus);
}
int Orvex::OV_FM_AppendRecord(int ReaderID, unsigned char FileID, unsigned char LenOfFileData,
                              unsigned char* FileData, unsigned short* ExeStatus) {
  return FM_AppendRecord(ReaderID, FileID, LenOfFileData, FileData, ExeStatus);
}
int Orvex::OV_FM_VerifyPin(int ReaderID, unsigned char KeyIndex, unsigned char LenOfKey,
                           unsigned char* Key, unsigned short* ExeStatus) {
  return FM_VerifyPin(ReaderID, KeyIndex, LenOfKey, Key, ExeStatus);
}
int Orvex::OV_FM_EraseDF(int ReaderID, unsigned short* ExeStatus) {
  return FM_EraseDF(ReaderID, ExeStatus);
}
int Orvex::OV_FM_WriteKey(int ReaderID, unsigned char KeyType, unsigned char KeyID,
                          unsigned char LenOfKey, unsigned char* Key, unsigned short* ExeStatus) {
  return FM_WriteKey(ReaderID, KeyType, KeyID, LenOfKey, Key, ExeStatus);
}
int Orvex::OV_FM_CreateFile(int ReaderID, unsigned short FileID, unsigned char LenOfFileInfo,
                            unsigned char* FileInfo, unsigned short* ExeStatus) {
  return FM_CreateFile(ReaderID, FileID, LenOfFileInfo, FileInfo, ExeStatus);
}
int Orvex::OV_FM_ReadBinaryWithProtected(int ReaderID, unsigned char WithFileID,
                                         unsigned char FileID, short Offset,
                                         unsigned char LenOfKeyMAC, unsigned char* KeyMAC,
                                         short* LenOfFileData, unsigned char* FileData,
                                         unsigned short* ExeStatus) {
  return FM_ReadBinaryWithProtected(ReaderID, WithFileID, FileID, Offset, LenOfKeyMAC, KeyMAC,
                                    LenOfFileData, FileData, ExeStatus);
}
int Orvex::OV_FM_CardBlock(int ReaderID, unsigned char LenOfMac, unsigned char* Mac,
                           unsigned short* ExeStatus) {
  return FM_CardBlock(ReaderID, LenOfMac, Mac, ExeStatus);
}
int Orvex::OV_FM_ApplicationUnblock(int ReaderID, unsigned char LenOfMac, unsigned char* Mac,
                                    unsigned short* ExeStatus) {
  return FM_ApplicationUnblock(ReaderID, LenOfMac, Mac, ExeStatus);
}
int Orvex::OV_FM_ApplicationBlock(int ReaderID, unsigned char BlockMode, unsigned char LenOfMac,
                                  unsigned char* Mac, unsigned short* ExeStatus) {
  return FM_ApplicationBlock(ReaderID, BlockMode, LenOfMac, Mac, ExeStatus);
}
int Orvex::OV_FM_PinUnblock(int ReaderID, unsigned char KeyID, unsigned char LenOfKey,
                            unsigned char* Key, unsigned char LenOfMac, unsigned char* Mac,
                            unsigned short* ExeStatus) {
  return FM_PinUnblock(ReaderID, KeyID, LenOfKey, Key, LenOfMac, Mac, ExeStatus);
}
int Orvex::OV_FM_ReloadPin(int ReaderID, unsigned char KeyID, unsigned char LenOfKey,
                           unsigned char* Key, unsigned char LenOfMac, unsigned char* Mac,
                           unsigned short* ExeStatus) {
  return FM_ReloadPin(ReaderID, KeyID, LenOfKey, Key, LenOfMac, Mac, ExeStatus);
}
int Orvex::OV_FM_ChangePin(int ReaderID, unsigned char KeyID, unsigned char LenOfOldKey,
                           unsigned char* OldKey, unsigned char LenOfNewKey, unsigned char* NewKey,
                           unsigned short* ExeStatus) {
  return FM_ChangePin(ReaderID, KeyID, LenOfOldKey, OldKey, LenOfNewKey, NewKey, ExeStatus);
}
int Orvex::OV_FM_InitializeForLoad(int ReaderID, unsigned char ePursePos, unsigned char KeyID,
                                   int Value, unsigned char LenOfPosCode, unsigned char* PosCode,
                                   unsigned char* LenOfResult, unsigned char* Result,
                                   unsigned short* ExeStatus) {
  return FM_InitializeForLoad(ReaderID, ePursePos, KeyID, Value, LenOfPosCode, PosCode,
                              LenOfResult, Result, ExeStatus);
}
int Orvex::OV_FM_CreditForLoad(int ReaderID, unsigned char* BCDDate, unsigned char* BCDTime,
                               unsigned char* Mac, unsigned char* LenOfTAC, unsigned char* TAC,
                               unsigned short* ExeStatus) {
  return FM_CreditForLoad(ReaderID, BCDDate, BCDTime, Mac, LenOfTAC, TAC, ExeStatus);
}
int Orvex::OV_FM_InitializeForPurchase(int ReaderID, unsigned char ePursePos, unsigned char KeyID,
                                       int Value, unsigned char LenOfPosCode,
                                       unsigned char* PosCode, unsigned char* LenOfResult,
                                       unsigned char* Result, unsigned short* ExeStatus) {
  return FM_InitializeForPurchase(ReaderID, ePursePos, KeyID, Value, LenOfPosCode, PosCode,
                                  LenOfResult, Result, ExeStatus);
}
int Orvex::OV_FM_DebitForCappPurchase(int ReaderID, int OrderNo, unsigned char* BCDDate,
                                      unsigned char* BCDTime, unsigned char* Mac,
                                      unsigned char* LenOfTAC, unsigned char* TAC,
                                      unsigned char* LenOfMac2, unsigned char* Mac2,
                                      unsigned short* ExeStatus) {
  return FM_DebitForCappPurchase(ReaderID, OrderNo, BCDDate, BCDTime, Mac, LenOfTAC, TAC,
                                 LenOfMac2, Mac2, ExeStatus);
}
int Orvex::OV_FM_InitializeForUnload(int ReaderID, unsigned char ePursePos, unsigned char KeyID,
                                     int Value, unsigned char LenOfPosCode, unsigned char* PosCode,
                                     unsigned char* LenOfResult, unsigned char* Result,
                                     unsigned short* ExeStatus) {
  return FM_InitializeForUnload(ReaderID, ePursePos, KeyID, Value, LenOfPosCode, PosCode,
                                LenOfResult, Result, ExeStatus);
}
int Orvex::OV_FM_CreditForUnload(int ReaderID, unsigned char* BCDDate, unsigned char* BCDTime,
                                 unsigned char* Mac, unsigned char* LenOfMAC3,
                                 unsigned char* MAC3, unsigned short* ExeStatus) {
  return FM_CreditForUnload(ReaderID, BCDDate, BCDTime, Mac, LenOfMAC3, MAC3, ExeStatus);
}
int Orvex::OV_FM_InitializeForCashWithdraw(int ReaderID, unsigned char ePursePos,
                                           unsigned char KeyID, int Value,
                                           unsigned char LenOfPosCode, unsigned char* PosCode,
                                           unsigned char* LenOfResult, unsigned char* Result,
                                           unsigned short* ExeStatus) {
  return FM_InitializeForCashWithdraw(ReaderID, ePursePos, KeyID, Value, LenOfPosCode, PosCode,
                                      LenOfResult, Result, ExeStatus);
}
int Orvex::OV_FM_DebitForCashWithdraw(int ReaderID, int OrderNo, unsigned char* BCDDate,
                                      unsigned char* BCDTime, unsigned char* Mac,
                                      unsigned char* LenOfTAC, unsigned char* TAC,
                                      unsigned char* LenOfMAC2, unsigned char* MAC2,
                                      unsigned short* ExeStatus) {
  return FM_DebitForCashWithdraw(ReaderID, OrderNo, BCDDate, BCDTime, Mac, LenOfTAC, TAC,
                                 LenOfMAC2, MAC2, ExeStatus);
}
int Orvex::OV_FM_UpdateOverdrawLimit(int ReaderID, int NewLimitValue, unsigned char* BCDDate,
                                     unsigned char* BCDTime, unsigned char* Mac,
                                     unsigned char* LenOfTAC, unsigned char* TAC,
                                     unsigned short* ExeStatus) {
  return FM_UpdateOverdrawLimit(ReaderID, NewLimitValue, BCDDate, BCDTime, Mac, LenOfTAC, TAC,
                                ExeStatus);
}
int Orvex::OV_FM_GetTransactionProve(int ReaderID, unsigned char ProveTypeID,
                                     unsigned short TranactionOrderNo, unsigned char* LenOfMAC,
                                     unsigned char* MAC, unsigned char* LenOfTAC,
                                     unsigned char* TAC, unsigned short* ExeStatus) {
  return FM_GetTransactionProve(ReaderID, ProveTypeID, TranactionOrderNo, LenOfMAC, MAC, LenOfTAC,
                                TAC, ExeStatus);
}
int Orvex::OV_FM_GetBalance(int ReaderID, unsigned char ePursePos, int* Value,
                            unsigned short* ExeStatus) {
  return FM_GetBalance(ReaderID, ePursePos, Value, ExeStatus);
}

// ---- ORVEX-GROUP: card application ----

// ---- ORVEX-GROUP: NDEF ----

// ---- ORVEX-GROUP: DES ----
