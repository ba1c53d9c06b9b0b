// SPDX-License-Identifier: MIT
// Topaz (NFC Forum Type 1) tags, through the reader's transparent command
// 0xC0 under sub-function 0x00.
#pragma once

namespace orvex {

// Hands the Topaz command FC2 with its DataLen parameter bytes to the tag.
// On success *DataLenRet is the tag's response length and pDataRet holds the
// response; 1. -1 link failure; -3 refused or no sub-function echo.
int TOPAZ_Common_(int ReaderID, unsigned char FC2, unsigned char TimeOut, int DataLen, unsigned char* pData,
                  int* DataLenRet, unsigned char* pDataRet, int DelayTime);

int TOPAZ_ReadUID(int ReaderID, unsigned char* HR0, unsigned char* HR1, int* DataLenRet, unsigned char* pDataRet);
int TOPAZ_ReadAll(int ReaderID, unsigned char* UID, int* DataLenRet, unsigned char* pDataRet);
int TOPAZ_ReadByte(int ReaderID, unsigned char* UID, unsigned char BlockID, unsigned char ByteAddr,
                   unsigned char* pDataRet);
int TOPAZ_WriteByteAfterErase(int ReaderID, unsigned char* UID, unsigned char BlockID, unsigned char ByteAddr,
                              unsigned char DataWrite, unsigned char* pDataRet);
int TOPAZ_WriteByteWithoutErase(int ReaderID, unsigned char* UID, unsigned char BlockID, unsigned char ByteAddr,
                                unsigned char DataWrite, unsigned char* pDataRet);
int TOPAZ_ReadSegment(int ReaderID, unsigned char* UID, unsigned char Segment, int* DataLenRet,
                      unsigned char* pDataRet);
int TOPAZ_ReadBlock(int ReaderID, unsigned char* UID, unsigned char BlockID, unsigned char* pDataRet);
int TOPAZ_WriteBlockAfterErase(int ReaderID, unsigned char* UID, unsigned char BlockID, unsigned char* DataWrite,
                               unsigned char* pDataRet);
int TOPAZ_WriteBlockWithoutErase(int ReaderID, unsigned char* UID, unsigned char BlockID,
                                 unsigned char* DataWrite, unsigned char* pDataRet);

}  // namespace orvex
