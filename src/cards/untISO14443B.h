// SPDX-License-Identifier: MIT
// ISO 14443-B cards and the ISO 14443-B memory tags: AT88RF020, SR176,
// SR512 / SRIX4K. APDUs to a type B CPU card go through TypeACPU_COS, the
// reader's one APDU command for both card types.
#pragma once

namespace orvex {

int TypeB_Request(int ReaderID, unsigned char Mode, unsigned char* Attrib, int* rtLen, unsigned char* pData);
int TypeB_Reset_(int ReaderID, unsigned char Mode, int* rtLen, unsigned char* pData);
int TypeB_Sleep_(int ReaderID, unsigned char* PUPI);

int AT88RF020_Check_(int ReaderID, unsigned char* Key);
int AT88RF020_Read_(int ReaderID, int BlockID, unsigned char* pData);
int AT88RF020_Write_(int ReaderID, int BlockID, unsigned char* pData);
int AT88RF020_Lock_(int ReaderID, unsigned char* LockByte);
int AT88RF020_Count_(int ReaderID, unsigned char* Signature);
int AT88RF020_DeSel_(int ReaderID);
int AT88RF020_ReadMulti_(int ReaderID, int BlockID, int BlockNums, int* LenData, unsigned char* pData);
int AT88RF020_WriteMulti_(int ReaderID, int BlockID, int BlockNums, int LenData, unsigned char* pData);

int ST_Active_(int ReaderID, unsigned char* ChipID);
int ST_DeActive_(int ReaderID);

int SR176_GetUID_(int ReaderID, unsigned char* UID);
int SR176_Read_(int ReaderID, int BlockID, unsigned char* pData);
int SR176_Write_(int ReaderID, int BlockID, unsigned char* pData);
int SR176_Lock_(int ReaderID, unsigned char LockByte);
int SR176_LockStatus_(int ReaderID, unsigned char* LockByte);
int SR176_ReadMulti_(int ReaderID, int BlockID, int BlockNums, int* LenData, unsigned char* pData);
int SR176_WriteMulti_(int ReaderID, int BlockID, int BlockNums, int LenData, unsigned char* pData);

int SR512_Read_(int ReaderID, int BlockID, unsigned char* pData);
int SR512_Write_(int ReaderID, int BlockID, unsigned char* pData);
int SRIX4K_Check_(int ReaderID, unsigned char* Key, unsigned char* Signature);
int SR512_GetUID_(int ReaderID, unsigned char* UID);
int SR512_Lock_(int ReaderID, unsigned short Lock);
int SR512_LockStatus_(int ReaderID, unsigned short* Lock);
int SR512_ReadMulti_(int ReaderID, int BlockID, int BlockNums, int* LenData, unsigned char* pData);
int SR512_WriteMulti_(int ReaderID, int BlockID, int BlockNums, int LenData, unsigned char* pData);

}  // namespace orvex
