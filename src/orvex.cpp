// SPDX-License-Identifier: MIT
// The Orvex class: every method forwards its arguments unchanged to one
// internal function of a command module and returns its result unchanged.
#include "orvex.h"

#include "cards/untChinaIDV2.h"
#include "cards/untFelica.h"
#include "cards/untISO14443.h"
#include "cards/untNTag.h"
#include "apps/untTamracpu.h"
#include "crypto/DES3.h"
#include "apps/untFMCOS.h"
#include "cards/untSAM.h"
#include "cards/untISO14443B.h"
#include "cards/untISO15693.h"
#include "cards/untMifarePlus.h"
#include "cards/untSLE4442.h"
#include "cards/untTopAZ.h"
#include "link/untFunction.h"
#include "ndef/untNDEFRW.h"
#include "reader/untReader.h"
#include "reader/untVela.h"

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
int Orvex::OV_WriteFlash(int ReaderID, unsigned int BeginAddr, int len, unsigned char* Data) {
  return Vela_WriteFlash(ReaderID, BeginAddr, len, Data);
}
int Orvex::OV_ReadFlash(int ReaderID, unsigned int BeginAddr, int BytesCount, int* len,
                        unsigned char* Data) {
  return Vela_ReadFlash(ReaderID, BeginAddr, BytesCount, len, Data);
}
int Orvex::OV_Config_WriteFlashEx(int ReaderID, unsigned int BeginAddr, int len,
                                  unsigned char* Data) {
  return Vela_Config_WriteFlashEx(ReaderID, BeginAddr, len, Data);
}
int Orvex::OV_Config_ReadFlashEx(int ReaderID, unsigned int BeginAddr, int BytesCount, int* len,
                                 unsigned char* Data) {
  return Vela_Config_ReadFlashEx(ReaderID, BeginAddr, BytesCount, len, Data);
}
int Orvex::OV_Config_Clock_Set(int ReaderID, unsigned char* Data) {
  return Vela_Config_Clock_Set(ReaderID, Data);
}
int Orvex::OV_Config_Clock_Get(int ReaderID, unsigned char* Data) {
  return Vela_Config_Clock_Get(ReaderID, Data);
}
int Orvex::OV_Config_TimeDisplay_Set(int ReaderID, unsigned char Enable, unsigned char Line,
                                     unsigned char Column) {
  return Vela_Config_TimeDisplay_Set(ReaderID, Enable, Line, Column);
}
int Orvex::OV_Config_TimeDisplay_Get(int ReaderID, unsigned char* Enable, unsigned char* Line,
                                     unsigned char* Column) {
  return Vela_Config_TimeDisplay_Get(ReaderID, Enable, Line, Column);
}
int Orvex::OV_Config_DateDisplay_Set(int ReaderID, unsigned char Enable, unsigned char Line,
                                     unsigned char Column) {
  return Vela_Config_DateDisplay_Set(ReaderID, Enable, Line, Column);
}
int Orvex::OV_Config_DateDisplay_Get(int ReaderID, unsigned char* Enable, unsigned char* Line,
                                     unsigned char* Column) {
  return Vela_Config_DateDisplay_Get(ReaderID, Enable, Line, Column);
}
int Orvex::OV_Config_Font_Set(int ReaderID, unsigned char Font) {
  return Vela_Config_Font_Set(ReaderID, Font);
}
int Orvex::OV_Config_Font_Get(int ReaderID, unsigned char* Font) {
  return Vela_Config_Font_Get(ReaderID, Font);
}
int Orvex::OV_Config_FormPowerOn_Set(int ReaderID, unsigned char config, unsigned char timespan,
                                     unsigned char width, unsigned char height, unsigned char line,
                                     unsigned char column) {
  return Vela_Config_FormPowerOn_Set(ReaderID, config, timespan, width, height, line, column);
}
int Orvex::OV_Config_FormPowerOn_Get(int ReaderID, unsigned char* config, unsigned char* timespan,
                                     unsigned char* width, unsigned char* height,
                                     unsigned char* line, unsigned char* column) {
  return Vela_Config_FormPowerOn_Get(ReaderID, config, timespan, width, height, line, column);
}
int Orvex::OV_Config_FormRun_Set(int ReaderID, unsigned char config, unsigned char timespan,
                                 unsigned char width, unsigned char height, unsigned char line,
                                 unsigned char column) {
  return Vela_Config_FormRun_Set(ReaderID, config, timespan, width, height, line, column);
}
int Orvex::OV_Config_FormRun_Get(int ReaderID, unsigned char* config, unsigned char* timespan,
                                 unsigned char* width, unsigned char* height, unsigned char* line,
                                 unsigned char* column) {
  return Vela_Config_FormRun_Get(ReaderID, config, timespan, width, height, line, column);
}
int Orvex::OV_Config_TextPowerOn_Set(int ReaderID, unsigned char len, unsigned char* Data) {
  return Vela_Config_TextPowerOn_Set(ReaderID, len, Data);
}
int Orvex::OV_Config_TextPowerOn_Get(int ReaderID, unsigned char* len, unsigned char* Data) {
  return Vela_Config_TextPowerOn_Get(ReaderID, len, Data);
}
int Orvex::OV_Config_TextRun_Set(int ReaderID, unsigned char len, unsigned char* Data) {
  return Vela_Config_TextRun_Set(ReaderID, len, Data);
}
int Orvex::OV_Config_TextRun_Get(int ReaderID, unsigned char* len, unsigned char* Data) {
  return Vela_Config_TextRun_Get(ReaderID, len, Data);
}
int Orvex::OV_Config_ImagePowerOn_Set(int ReaderID, unsigned char width, unsigned char height,
                                      unsigned char* Data) {
  return Vela_Config_ImagePowerOn_Set(ReaderID, width, height, Data);
}
int Orvex::OV_Config_ImageRun_Set(int ReaderID, unsigned char width, unsigned char height,
                                  unsigned char* Data) {
  return Vela_Config_ImageRun_Set(ReaderID, width, height, Data);
}
int Orvex::OV_ShowText(int ReaderID, unsigned char Config, unsigned char line, unsigned char column,
                       unsigned char len, unsigned char* Data) {
  return Vela_ShowText(ReaderID, Config, line, column, len, Data);
}
int Orvex::OV_ShowImageFromFlash(int ReaderID, unsigned char config, unsigned char line,
                                 unsigned char column, unsigned char width, unsigned char height,
                                 unsigned int FlashAddr) {
  return Vela_ShowImageFromFlash(ReaderID, config, line, column, width, height, FlashAddr);
}
int Orvex::OV_ShowImage(int ReaderID, unsigned char config, unsigned char line,
                        unsigned char column, unsigned char width, unsigned char height,
                        unsigned char* Data) {
  return Vela_ShowImage(ReaderID, config, line, column, width, height, Data);
}
int Orvex::OV_ShowEnText(int ReaderID, unsigned char Config, unsigned char line,
                         unsigned char column, unsigned char len, unsigned char* Data) {
  return Vela_ShowEnText(ReaderID, Config, line, column, len, Data);
}
int Orvex::OV_ControlLCDBackLight(int ReaderID, unsigned char Config, unsigned char timespan) {
  return Vela_ControlLCDBackLight(ReaderID, Config, timespan);
}
int Orvex::OV_ClearLCDByLine(int ReaderID, unsigned char lines) {
  return Vela_ClearLCDByLine(ReaderID, lines);
}

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
int Orvex::OV_TypeB_Request(int ReaderID, unsigned char Mode, unsigned char* Attrib, int* rtLen,
                            unsigned char* pData) {
  return TypeB_Request(ReaderID, Mode, Attrib, rtLen, pData);
}
int Orvex::OV_TypeB_ResetEx(int ReaderID, unsigned char Mode, unsigned char* Attrib, int* rtLen,
                            unsigned char* pData) {
  return TypeB_Request(ReaderID, Mode, Attrib, rtLen, pData);
}
int Orvex::OV_TypeB_Reset(int ReaderID, unsigned char Mode, int* rtLen, unsigned char* pData) {
  return TypeB_Reset_(ReaderID, Mode, rtLen, pData);
}
int Orvex::OV_TypeB_COS(int ReaderID, int LenCOS, unsigned char* Com_COS, int* rtLen, unsigned char* pData) {
  return TypeACPU_COS(ReaderID, LenCOS, Com_COS, rtLen, pData);
}
int Orvex::OV_TypeB_Halt(int ReaderID, unsigned char* PUPI) { return TypeB_Sleep_(ReaderID, PUPI); }
int Orvex::OV_AT88RF020_Check(int ReaderID, unsigned char* Key) { return AT88RF020_Check_(ReaderID, Key); }
int Orvex::OV_AT88RF020_Read(int ReaderID, int BlockID, unsigned char* pData) {
  return AT88RF020_Read_(ReaderID, BlockID, pData);
}
int Orvex::OV_AT88RF020_Write(int ReaderID, int BlockID, unsigned char* pData) {
  return AT88RF020_Write_(ReaderID, BlockID, pData);
}
int Orvex::OV_AT88RF020_Lock(int ReaderID, unsigned char* LockByte) {
  return AT88RF020_Lock_(ReaderID, LockByte);
}
int Orvex::OV_AT88RF020_Count(int ReaderID, unsigned char* Signature) {
  return AT88RF020_Count_(ReaderID, Signature);
}
int Orvex::OV_AT88RF020_DeSel(int ReaderID) { return AT88RF020_DeSel_(ReaderID); }
int Orvex::OV_AT88RF020_ReadMulti(int ReaderID, int BlockID, int BlockNums, int* LenData,
                                  unsigned char* pData) {
  return AT88RF020_ReadMulti_(ReaderID, BlockID, BlockNums, LenData, pData);
}
int Orvex::OV_AT88RF020_WriteMulti(int ReaderID, int BlockID, int BlockNums, int LenData,
                                   unsigned char* pData) {
  return AT88RF020_WriteMulti_(ReaderID, BlockID, BlockNums, LenData, pData);
}
int Orvex::OV_ST_Active(int ReaderID, unsigned char* ChipID) { return ST_Active_(ReaderID, ChipID); }
int Orvex::OV_ST_DeActive(int ReaderID) { return ST_DeActive_(ReaderID); }
int Orvex::OV_SR176_GetUID(int ReaderID, unsigned char* UID) { return SR176_GetUID_(ReaderID, UID); }
int Orvex::OV_SR176_Read(int ReaderID, int BlockID, unsigned char* pData) {
  return SR176_Read_(ReaderID, BlockID, pData);
}
int Orvex::OV_SR176_Write(int ReaderID, int BlockID, unsigned char* pData) {
  return SR176_Write_(ReaderID, BlockID, pData);
}
int Orvex::OV_SR176_Lock(int ReaderID, unsigned char LockByte) { return SR176_Lock_(ReaderID, LockByte); }
int Orvex::OV_SR176_LockStatus(int ReaderID, unsigned char* LockByte) {
  return SR176_LockStatus_(ReaderID, LockByte);
}
int Orvex::OV_SR176_ReadMulti(int ReaderID, int BlockID, int BlockNums, int* LenData, unsigned char* pData) {
  return SR176_ReadMulti_(ReaderID, BlockID, BlockNums, LenData, pData);
}
int Orvex::OV_SR176_WriteMulti(int ReaderID, int BlockID, int BlockNums, int LenData, unsigned char* pData) {
  return SR176_WriteMulti_(ReaderID, BlockID, BlockNums, LenData, pData);
}
int Orvex::OV_SR512_Read(int ReaderID, int BlockID, unsigned char* pData) {
  return SR512_Read_(ReaderID, BlockID, pData);
}
int Orvex::OV_SR512_Write(int ReaderID, int BlockID, unsigned char* pData) {
  return SR512_Write_(ReaderID, BlockID, pData);
}
int Orvex::OV_SRIX4K_Check(int ReaderID, unsigned char* Key, unsigned char* Signature) {
  return SRIX4K_Check_(ReaderID, Key, Signature);
}
int Orvex::OV_SR512_GetUID(int ReaderID, unsigned char* UID) { return SR512_GetUID_(ReaderID, UID); }
int Orvex::OV_SR512_Lock(int ReaderID, unsigned short LockByte) { return SR512_Lock_(ReaderID, LockByte); }
int Orvex::OV_SR512_LockStatus(int ReaderID, unsigned short* LockByte) {
  return SR512_LockStatus_(ReaderID, LockByte);
}
int Orvex::OV_SR512_ReadMulti(int ReaderID, int BlockID, int BlockNums, int* LenData, unsigned char* pData) {
  return SR512_ReadMulti_(ReaderID, BlockID, BlockNums, LenData, pData);
}
int Orvex::OV_SR512_WriteMulti(int ReaderID, int BlockID, int BlockNums, int LenData, unsigned char* pData) {
  return SR512_WriteMulti_(ReaderID, BlockID, BlockNums, LenData, pData);
}

// ---- ORVEX-GROUP: ISO 15693 ----
int Orvex::OV_ISO15693_Inventory(int ReaderID, unsigned char* PData, unsigned char* PLen) {
  return ISO15693_Inventory(ReaderID, PData, PLen);
}
int Orvex::OV_ISO15693_Stay_Quiet(int ReaderID, unsigned char* PUID) {
  return ISO15693_Stay_Quiet(ReaderID, PUID);
}
int Orvex::OV_ISO15693_Select(int ReaderID, unsigned char Model, unsigned char* PUID) {
  return ISO15693_Select(ReaderID, Model, PUID);
}
int Orvex::OV_ISO15693_Reset_To_Ready(int ReaderID, unsigned char Model, unsigned char* PUID) {
  return ISO15693_Reset_To_Ready(ReaderID, Model, PUID);
}
int Orvex::OV_ISO15693_Read(int ReaderID, unsigned char Model, unsigned char* PUID,
                            unsigned char StartBlockID, unsigned char BlockNums, unsigned char* PData,
                            unsigned char* PLen) {
  return ISO15693_Read(ReaderID, Model, PUID, StartBlockID, BlockNums, PData, PLen);
}
int Orvex::OV_ISO15693_Write(int ReaderID, unsigned char Model, unsigned char* PUID,
                             unsigned char BlockID, unsigned char DataLen, unsigned char* PData) {
  return ISO15693_Write(ReaderID, Model, PUID, BlockID, DataLen, PData);
}
int Orvex::OV_ISO15693_Lock_Block(int ReaderID, unsigned char Model, unsigned char* PUID,
                                  unsigned char BlockID) {
  return ISO15693_Lock_Block(ReaderID, Model, PUID, BlockID);
}
int Orvex::OV_ISO15693_Write_AFI(int ReaderID, unsigned char Model, unsigned char* PUID,
                                 unsigned char AFI) {
  return ISO15693_Write_AFI(ReaderID, Model, PUID, AFI);
}
int Orvex::OV_ISO15693_Lock_AFI(int ReaderID, unsigned char Model, unsigned char* PUID) {
  return ISO15693_Lock_AFI(ReaderID, Model, PUID);
}
int Orvex::OV_ISO15693_Write_DSFID(int ReaderID, unsigned char Model, unsigned char* PUID,
                                   unsigned char DSFID) {
  return ISO15693_Write_DSFID(ReaderID, Model, PUID, DSFID);
}
int Orvex::OV_ISO15693_Lock_DSFID(int ReaderID, unsigned char Model, unsigned char* PUID) {
  return ISO15693_Lock_DSFID(ReaderID, Model, PUID);
}
int Orvex::OV_ISO15693_Get_System_Information(int ReaderID, unsigned char Model, unsigned char* PUID,
                                              unsigned char* PData, unsigned char* PLen) {
  return ISO15693_Get_System_Information(ReaderID, Model, PUID, PData, PLen);
}
int Orvex::OV_ISO15693_Get_Block_Security(int ReaderID, unsigned char Model, unsigned char* PUID,
                                          unsigned char StartBlockID, unsigned char BlockNums,
                                          unsigned char* PData, unsigned char* PLen) {
  return ISO15693_Get_Block_Security(ReaderID, Model, PUID, StartBlockID, BlockNums, PData, PLen);
}
int Orvex::OV_ISO15693_Multi_Inventory(int ReaderID, unsigned char AFIEnable, unsigned char AFI,
                                       unsigned char* PData, unsigned char* PLen) {
  return ISO15693_Multi_Inventory(ReaderID, AFIEnable, AFI, PData, PLen);
}
int Orvex::OV_ISO15693_MultiWrite(int ReaderID, unsigned char Model, unsigned char* PUID,
                                  unsigned char BlockID, unsigned char BlockNums, unsigned char DataLen,
                                  unsigned char* PData) {
  return ISO15693_MultiWrite(ReaderID, Model, PUID, BlockID, BlockNums, DataLen, PData);
}

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
int Orvex::OV_MFP_L0_WritePerso(int ReaderID, int Address, unsigned char* pData) {
  return MPlus_L0_Write_(ReaderID, Address, pData);
}
int Orvex::OV_MFP_L0_CommitPerso(int ReaderID) { return MPlus_L0_To_L13_(ReaderID); }
int Orvex::OV_MFP_SwitchToLevel(int ReaderID, int DesLevel, unsigned char* SwitchKey) {
  return MPlus_L0_To_L23_(ReaderID, DesLevel, SwitchKey);
}
int Orvex::OV_MFP_L3_Authorization(int ReaderID, int KeyMode, int BlockID, unsigned char* Key) {
  return MPlus_L3_Authorization_(ReaderID, KeyMode, BlockID, Key);
}
int Orvex::OV_MFP_L3_Read(int ReaderID, int StartBlock, int BlockNums, int* DataLen, unsigned char* pData) {
  return MPlus_L3_Read_(ReaderID, StartBlock, BlockNums, DataLen, pData);
}
int Orvex::OV_MFP_L3_Write(int ReaderID, int StartBlock, int BlockNums, unsigned char* pData) {
  return MPlus_L3_Write_(ReaderID, StartBlock, BlockNums, pData);
}
int Orvex::OV_MFP_L3_Purse_Initial(int ReaderID, int BlockID, int InitialValue) {
  return MPlus_L3_Purse_Initial_(ReaderID, BlockID, InitialValue);
}
int Orvex::OV_MFP_L3_Purse_Read(int ReaderID, int BlockID, int* Value) {
  return MPlus_L3_Purse_Read_(ReaderID, BlockID, Value);
}
int Orvex::OV_MFP_L3_Purse_Charge(int ReaderID, int BlockID, int Value) {
  return MPlus_L3_Purse_Charge_(ReaderID, BlockID, Value);
}
int Orvex::OV_MFP_L3_Purse_Decrease(int ReaderID, int BlockID, int Value) {
  return MPlus_L3_Purse_Decrease_(ReaderID, BlockID, Value);
}
int Orvex::OV_MFP_L3_Purse_Backup(int ReaderID, int BlockID, int DesBlockID) {
  return MPlus_L3_Purse_Backup_(ReaderID, BlockID, DesBlockID);
}
int Orvex::OV_MFP_Authorization_First(int ReaderID, int AESKeyAddr, unsigned char* AESKey) {
  return MPlus_Authorization_First_(ReaderID, AESKeyAddr, AESKey);
}
int Orvex::OV_MFP_Authorization_Follow(int ReaderID, int AESKeyAddr, unsigned char* AESKey) {
  return MPlus_Authorization_Follow_(ReaderID, AESKeyAddr, AESKey);
}
int Orvex::OV_MFP_CommonRead(int ReaderID, int BlockID, int BlockNums, int* DataLen, unsigned char* pData) {
  return MPlus_CommonRead_(ReaderID, BlockID, BlockNums, DataLen, pData);
}
int Orvex::OV_MFP_CommonWrite(int ReaderID, int BlockID, int BlockNums, unsigned char* pData) {
  return MPlus_CommonWrite_(ReaderID, BlockID, BlockNums, pData);
}

// ---- ORVEX-GROUP: FeliCa and ID-card number ----
int Orvex::OV_Felica_Polling(int ReaderID, unsigned short SystemCode, unsigned char RequestCode, unsigned char Slot,
                             unsigned char* IDM, unsigned char* PMm, unsigned char* RequestData) {
  return Felica_Polling(ReaderID, SystemCode, RequestCode, Slot, IDM, PMm, RequestData);
}
int Orvex::OV_Felica_RequestService(int ReaderID, unsigned char* IDM, unsigned char NumbersOfCode,
                                    unsigned char* NodeList, unsigned char* NodeKeyList) {
  return Felica_RequestService(ReaderID, IDM, NumbersOfCode, NodeList, NodeKeyList);
}
int Orvex::OV_Felica_RequestResponse(int ReaderID, unsigned char* IDM, unsigned char* Mode) {
  return Felica_RequestResponse(ReaderID, IDM, Mode);
}
int Orvex::OV_Felica_ReadWithoutEncryption(int ReaderID, unsigned char* IDM, unsigned char NumberofService,
                                           unsigned char* ServiceCodeList, unsigned char NumberofBlock,
                                           unsigned char LengthofBlockList, unsigned char* BlockList,
                                           unsigned char* Status1, unsigned char* Status2,
                                           unsigned char* pBlockData) {
  return Felica_ReadWithoutEncryption(ReaderID, IDM, NumberofService, ServiceCodeList, NumberofBlock,
                                      LengthofBlockList, BlockList, Status1, Status2, pBlockData);
}
int Orvex::OV_Felica_WriteWithoutEncryption(int ReaderID, unsigned char* IDM, unsigned char NumberofService,
                                            unsigned char* ServiceCodeList, unsigned char NumberofBlock,
                                            unsigned char LengthofBlockList, unsigned char* BlockList,
                                            unsigned char* pBlockData, unsigned char* Status1,
                                            unsigned char* Status2) {
  return Felica_WriteWithoutEncryption(ReaderID, IDM, NumberofService, ServiceCodeList, NumberofBlock,
                                       LengthofBlockList, BlockList, pBlockData, Status1, Status2);
}
int Orvex::OV_ChinaIDV2_RequestCardNo(int ReaderID, unsigned char* LengthOfCardNo, unsigned char* CardNo) {
  return ChinaIDV2_RequestCardNo(ReaderID, LengthOfCardNo, CardNo);
}

// ---- ORVEX-GROUP: Topaz ----
int Orvex::OV_TOPAZ_ReadUID(int ReaderID, unsigned char* HR0, unsigned char* HR1, int* DataLenRet,
                            unsigned char* pDataRet) {
  return TOPAZ_ReadUID(ReaderID, HR0, HR1, DataLenRet, pDataRet);
}
int Orvex::OV_TOPAZ_ReadAll(int ReaderID, unsigned char* UID, int* DataLenRet, unsigned char* pDataRet) {
  return TOPAZ_ReadAll(ReaderID, UID, DataLenRet, pDataRet);
}
int Orvex::OV_TOPAZ_ReadByte(int ReaderID, unsigned char* UID, unsigned char BlockID, unsigned char ByteAddr,
                             unsigned char* pDataRet) {
  return TOPAZ_ReadByte(ReaderID, UID, BlockID, ByteAddr, pDataRet);
}
int Orvex::OV_TOPAZ_WriteByteAfterErase(int ReaderID, unsigned char* UID, unsigned char BlockID,
                                        unsigned char ByteAddr, unsigned char DataWrite, unsigned char* pDataRet) {
  return TOPAZ_WriteByteAfterErase(ReaderID, UID, BlockID, ByteAddr, DataWrite, pDataRet);
}
int Orvex::OV_TOPAZ_WriteByteWithoutErase(int ReaderID, unsigned char* UID, unsigned char BlockID,
                                          unsigned char ByteAddr, unsigned char DataWrite,
                                          unsigned char* pDataRet) {
  return TOPAZ_WriteByteWithoutErase(ReaderID, UID, BlockID, ByteAddr, DataWrite, pDataRet);
}
int Orvex::OV_TOPAZ_ReadSegment(int ReaderID, unsigned char* UID, unsigned char Segment, int* DataLenRet,
                                unsigned char* pDataRet) {
  return TOPAZ_ReadSegment(ReaderID, UID, Segment, DataLenRet, pDataRet);
}
int Orvex::OV_TOPAZ_ReadBlock(int ReaderID, unsigned char* UID, unsigned char BlockID, unsigned char* pDataRet) {
  return TOPAZ_ReadBlock(ReaderID, UID, BlockID, pDataRet);
}
int Orvex::OV_TOPAZ_WriteBlockAfterErase(int ReaderID, unsigned char* UID, unsigned char BlockID,
                                         unsigned char* DataWrite, unsigned char* pDataRet) {
  return TOPAZ_WriteBlockAfterErase(ReaderID, UID, BlockID, DataWrite, pDataRet);
}
int Orvex::OV_TOPAZ_WriteBlockWithoutErase(int ReaderID, unsigned char* UID, unsigned char BlockID,
                                           unsigned char* DataWrite, unsigned char* pDataRet) {
  return TOPAZ_WriteBlockWithoutErase(ReaderID, UID, BlockID, DataWrite, pDataRet);
}

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
int OrvexNTagReadCounter(int ReaderID, int CounterNo, int* Counter) {
  return NTag_ReadCounterOf(ReaderID, CounterNo, Counter);
}

// ---- ORVEX-GROUP: SLE4442 ----
int Orvex::OV_SLE_Reset(int ReaderID, unsigned char* pResetInfo) { return SLE_Reset(ReaderID, pResetInfo); }
int Orvex::OV_SLE_ReadMainMemory(int ReaderID, unsigned char StartAddr, unsigned char MemLen,
                                 unsigned char* MemData) {
  return SLE_ReadMainMemory(ReaderID, StartAddr, MemLen, MemData);
}
int Orvex::OV_SLE_WriteMainMemory(int ReaderID, unsigned char StartAddr, unsigned char MemLen,
                                  unsigned char* MemData) {
  return SLE_WriteMainMemory(ReaderID, StartAddr, MemLen, MemData);
}
int Orvex::OV_SLE_ReadPROM(int ReaderID, unsigned char* MemData) { return SLE_ReadPROM(ReaderID, MemData); }
int Orvex::OV_SLE_WriteProtectedDataMemory(int ReaderID, unsigned char StartAddr, unsigned char MemLen,
                                           unsigned char* MemData) {
  return SLE_WriteProtectedDataMemory(ReaderID, StartAddr, MemLen, MemData);
}
int Orvex::OV_SLE_ReadSecurityLogic(int ReaderID, unsigned char* ErrorCounter, unsigned char* PSC) {
  return SLE_ReadSecurityLogic(ReaderID, ErrorCounter, PSC);
}
int Orvex::OV_SLE_WritePSC(int ReaderID, unsigned char* PSC) { return SLE_WritePSC(ReaderID, PSC); }
int Orvex::OV_SLE_VerifyPSC(int ReaderID, unsigned char* PSC, unsigned char* ErrorCounter) {
  return SLE_VerifyPSC(ReaderID, PSC, ErrorCounter);
}

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
int Orvex::OV_KORU_SamReset(int ReaderID, unsigned char SamIndex, unsigned char* DataLen,
                            unsigned char* Data) {
  return TAMRACPU_SamReset(ReaderID, SamIndex, DataLen, Data);
}
int Orvex::OV_KORU_SamInitial(int ReaderID, unsigned char SamIndex, unsigned char SamPrivilege,
                              unsigned char* Teminate, unsigned char* key, unsigned char KeyFrom) {
  return TAMRACPU_SamInitial(ReaderID, SamIndex, SamPrivilege, Teminate, key, KeyFrom);
}
int Orvex::OV_KORU_SamGetInfo(int ReaderID, unsigned char SamIndex, unsigned char* Teminate,
                              unsigned int* OrderNo) {
  return TAMRACPU_SamGetInfo(ReaderID, SamIndex, Teminate, OrderNo);
}
int Orvex::OV_KORU_Request(int ReaderID, unsigned char* CardNo) {
  return TAMRACPU_Request(ReaderID, CardNo);
}
int Orvex::OV_KORU_ChangeKey(int ReaderID, unsigned char* Oldkey, unsigned char OldkeyFrom,
                             unsigned char* Newkey, unsigned char NewkeyFrom,
                             unsigned char* CardNo) {
  return TAMRACPU_ChangeKey(ReaderID, Oldkey, OldkeyFrom, Newkey, NewkeyFrom, CardNo);
}
int Orvex::OV_KORU_ReadPublicFile(int ReaderID, int* len, unsigned char* data) {
  return TAMRACPU_ReadPublicFile(ReaderID, len, data);
}
int Orvex::OV_KORU_WritePublicFile(int ReaderID, unsigned char SamIndex, unsigned char* data) {
  return TAMRACPU_WritePublicFile(ReaderID, SamIndex, data);
}
int Orvex::OV_KORU_ReadHolderFile(int ReaderID, unsigned char SamIndex, int* len,
                                  unsigned char* data) {
  return TAMRACPU_ReadHolderFile(ReaderID, SamIndex, len, data);
}
int Orvex::OV_KORU_WriteHolderFile(int ReaderID, unsigned char SamIndex, unsigned char* data) {
  return TAMRACPU_WriteHolderFile(ReaderID, SamIndex, data);
}
int Orvex::OV_KORU_ReadUserFile(int ReaderID, unsigned char SamIndex, int Addr, int Count, int* len,
                                unsigned char* data) {
  return TAMRACPU_ReadUserFile(ReaderID, SamIndex, Addr, Count, len, data);
}
int Orvex::OV_KORU_WriteUserFile(int ReaderID, unsigned char SamIndex, int Addr, int Count,
                                 unsigned char* data) {
  return TAMRACPU_WriteUserFile(ReaderID, SamIndex, Addr, Count, data);
}
int Orvex::OV_KORU_Balance(int ReaderID, unsigned int* Value) {
  return TAMRACPU_Balance(ReaderID, Value);
}
int Orvex::OV_KORU_Debit(int ReaderID, unsigned char SamIndex, unsigned int Value,
                         unsigned char* Date, unsigned char* Result) {
  return TAMRACPU_Debit(ReaderID, SamIndex, Value, Date, Result);
}
int Orvex::OV_KORU_Consume(int ReaderID, unsigned char SamIndex, unsigned int Value,
                           unsigned char* Date, unsigned char* Result) {
  return TAMRACPU_Consume(ReaderID, SamIndex, Value, Date, Result);
}
int Orvex::OV_KORU_Record(int ReaderID, int& RecordLen, unsigned char* Record) {
  return TAMRACPU_Record(ReaderID, RecordLen, Record);
}
unsigned short Orvex::OV_KORU_GetStatus(int ReaderID, int mode) {
  return TAMRACPU_GetStatus(ReaderID, mode);
}

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
int Orvex::DES(unsigned char cModel, unsigned char* pkey, unsigned char* in, unsigned char* out) {
  DES_(cModel, pkey, in, out);
  return 1;
}
int Orvex::DES3(unsigned char cModel, unsigned char* pKey, unsigned char* pInData,
                unsigned char* pOutData) {
  DES3_DeOrEncrypt(cModel, pKey, pInData, pOutData);
  return 1;
}
int Orvex::DES3_CBC(unsigned char cModel, unsigned char* pKey, unsigned char* pInData,
                    unsigned char* pOutData, unsigned char* pIV) {
  return static_cast<int>(DES3_CBC_DeOrEncrypt(cModel, pInData, pOutData, pKey, pIV));
}
