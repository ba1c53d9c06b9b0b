// The Orvex class: every method forwards its arguments unchanged to one
// internal function of a command module and returns its result unchanged.
#include "orvex.h"

#include "cards/untISO14443.h"
#include "cards/untNTag.h"
#include "link/untFunction.h"
#include "ndef/untNDEFRW.h"
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
int Orvex::OV_RequestCard(int ReaderID, unsigned char RequestMode, unsigned short* CardType) {
  return RequestCard_(ReaderID, RequestMode, CardType);
}
int Orvex::OV_AntiCollide(int ReaderID, unsigned char* LenSNO, unsigned char* SNO) {
  return AntiCollide_(ReaderID, LenSNO, SNO);
}
int Orvex::OV_CardSelect(int ReaderID, unsigned char LenSNO, unsigned char* SNO) {
  return CardSelect_(ReaderID, LenSNO, SNO);
}
int Orvex::OV_DownLoadKey(int ReaderID, int KeyIndex, unsigned char* Key) {
  return DownLoadKey_(ReaderID, KeyIndex, Key);
}
int Orvex::OV_KeyDown_Authorization(int ReaderID, unsigned char KeyMode, int BlockAddr,
                                    unsigned char KeyIndex) {
  return KeyDown_Authorization_(ReaderID, KeyMode, BlockAddr, KeyIndex);
}
int Orvex::OV_KeyAuthorization(int ReaderID, unsigned char KeyMode, int BlockAddr, unsigned char* Key) {
  return KeyAuthorization_(ReaderID, KeyMode, BlockAddr, Key);
}
int Orvex::OV_ReadaBlock(int ReaderID, int BlockAddr, int LenData, unsigned char* pData) {
  return ReadaBlock_(ReaderID, BlockAddr, LenData, pData);
}
int Orvex::OV_WriteaBlock(int ReaderID, int BlockAddr, int LenData, unsigned char* pData) {
  return WriteaBlock_(ReaderID, BlockAddr, LenData, pData);
}
int Orvex::OV_Purse_Initial(int ReaderID, int BlockAddr, int IniMoney) {
  return Purse_Initial_(ReaderID, BlockAddr, IniMoney);
}
int Orvex::OV_Purse_Read(int ReaderID, int BlockAddr, int* Money) {
  return Purse_Read_(ReaderID, BlockAddr, Money);
}
int Orvex::OV_Purse_Decrease(int ReaderID, int BlockAddr, int Decrement) {
  return Purse_Decrease_(ReaderID, BlockAddr, Decrement);
}
int Orvex::OV_Purse_Charge(int ReaderID, int BlockAddr, int Charge) {
  return Purse_Charge_(ReaderID, BlockAddr, Charge);
}
int Orvex::OV_Restore(int ReaderID, int BlockAddr) { return Restore_(ReaderID, BlockAddr); }
int Orvex::OV_Transfer(int ReaderID, int BlockAddr) { return Transfer_(ReaderID, BlockAddr); }
int Orvex::OV_CardHalt(int ReaderID) { return CardHalt_(ReaderID); }
int Orvex::OV_AntiCollideAndSelect(int ReaderID, unsigned char ReturnMode, unsigned char* CardMem,
                                   unsigned char* SNLen, unsigned char* SN) {
  return AntiCollideAndSelect(ReaderID, ReturnMode, CardMem, SNLen, SN);
}
int Orvex::OV_TypeA_Reset(int ReaderID, unsigned char Mode, unsigned char MultiMode, int* rtLen,
                          unsigned char* pData) {
  return TypeACPU_Reset(ReaderID, Mode, MultiMode, rtLen, pData);
}
int Orvex::OV_TypeA_COS(int ReaderID, int LenCOS, unsigned char* Com_COS, int* rtLen,
                        unsigned char* pData) {
  return TypeACPU_COS(ReaderID, LenCOS, Com_COS, rtLen, pData);
}
int Orvex::OV_UltraLightRead(int ReaderID, int BlockID, unsigned char* pData) {
  return UltraLightRead(ReaderID, BlockID, pData);
}
int Orvex::OV_UltraLightWrite(int ReaderID, int BlockID, unsigned char* pData) {
  return UltraLightWrite(ReaderID, BlockID, pData);
}
int Orvex::OV_AntiCollide_Level(int ReaderID, int Leveln, unsigned char* LenSNO, unsigned char* SNO) {
  return AntiCollide_Level_(ReaderID, Leveln, LenSNO, SNO);
}
int Orvex::OV_SelectCard_Level(int ReaderID, int Leveln, unsigned char* SAK) {
  return SelectCard_Level_(ReaderID, Leveln, SAK);
}
int Orvex::OV_RequestAntiandSelect(int ReaderID, int SearchMode, int RetMode, unsigned short* ATQA,
                                   unsigned char* SAK, unsigned char* LenSNO, unsigned char* SNO) {
  return RequestAntiandSelect_(ReaderID, SearchMode, RetMode, ATQA, SAK, LenSNO, SNO);
}
int Orvex::OV_WriteM1MultiBlock(int ReaderID, int StartBlock, int BlockNums, int LenData,
                                unsigned char* pData) {
  return WriteM1MultiBlock_(ReaderID, StartBlock, BlockNums, LenData, pData);
}
int Orvex::OV_ReadM1MultiBlock(int ReaderID, int StartBlock, int BlockNums, int* LenData,
                               unsigned char* pData) {
  return ReadM1MultiBlock_(ReaderID, StartBlock, BlockNums, LenData, pData);
}

// ---- ORVEX-GROUP: ISO 14443-B and memory tags ----

// ---- ORVEX-GROUP: ISO 15693 ----

// ---- ORVEX-GROUP: SAM slots ----

// ---- ORVEX-GROUP: MIFARE Plus ----

// ---- ORVEX-GROUP: FeliCa and ID-card number ----

// ---- ORVEX-GROUP: Topaz ----

// ---- ORVEX-GROUP: NTAG ----
int Orvex::OV_NTag_GetVersion(int ReaderID, unsigned char* pData) { return NTAG_GetVersion(ReaderID, pData); }
int Orvex::OV_NTag_Read(int ReaderID, int StartPage, int* DataLen, unsigned char* pData) {
  return NTAG_Read(ReaderID, StartPage, DataLen, pData);
}
int Orvex::OV_NTag_FastRead(int ReaderID, int StartPage, int EndPage, int* DataLen, unsigned char* pData) {
  return NTag_FastRead(ReaderID, StartPage, EndPage, DataLen, pData);
}
int Orvex::OV_NTag_Write(int ReaderID, int PageIndex, unsigned char* pData) {
  return NTag_Write(ReaderID, PageIndex, pData);
}
int Orvex::OV_NTag_CompatibleWrite(int ReaderID, int PageIndex, unsigned char* pData) {
  return NTag_CompatibleWrite(ReaderID, PageIndex, pData);
}
int Orvex::OV_NTag_ReadCounter(int ReaderID, int* Counter) { return NTag_ReadCounter(ReaderID, Counter); }
int Orvex::OV_NTag_Password_Auth(int ReaderID, unsigned char* PWD, unsigned char* AuthResult) {
  return NTag_Password_Auth(ReaderID, PWD, AuthResult);
}
int Orvex::OV_NTag_ReadSignature(int ReaderID, unsigned char* Signature) {
  return NTag_ReadSignature(ReaderID, Signature);
}

// ---- ORVEX-GROUP: SLE4442 ----

// ---- ORVEX-GROUP: FMCOS ----

// ---- ORVEX-GROUP: card application ----

// ---- ORVEX-GROUP: NDEF ----
int Orvex::OV_NDEF_Initial() { return NDEF_Initial_(); }
int Orvex::OV_NDEF_Free() { return NDEF_Free_(); }
int Orvex::OV_NDEF_SetKey(unsigned char* Key) { return NDEF_SetKey_(Key); }
int Orvex::OV_NDEF_AddRecord(unsigned char uri, int sLen, unsigned char* s) {
  return NDEF_AddRecord_(uri, sLen, s);
}
int Orvex::OV_NDEF_GetRecord(int Index, unsigned char* uri, int* Len, unsigned char* s) {
  return NDEF_GetRecord_(Index, uri, Len, s);
}
int Orvex::OV_NDEF_ClearRecords() { return NDEF_ClearRecords_(); }
int Orvex::OV_NDEF_Save(int ReaderID) { return NDEF_Save_(ReaderID); }
int Orvex::OV_NDEF_Read(int ReaderID) { return NDEF_Read_(ReaderID); }

// ---- ORVEX-GROUP: DES ----
