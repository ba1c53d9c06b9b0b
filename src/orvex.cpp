// The Orvex class: every method forwards its arguments unchanged to one
// internal function of a command module and returns its result unchanged.
#include "orvex.h"

#include "cards/untISO14443.h"
#include "cards/untISO14443B.h"
#include "cards/untISO15693.h"
#include "cards/untMifarePlus.h"
#include "cards/untTopAZ.h"
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

// ---- ORVEX-GROUP: SLE4442 ----

// ---- ORVEX-GROUP: FMCOS ----

// ---- ORVEX-GROUP: card application ----

// ---- ORVEX-GROUP: NDEF ----

// ---- ORVEX-GROUP: DES ----
