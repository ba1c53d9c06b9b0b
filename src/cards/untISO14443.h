// SPDX-License-Identifier: MIT
// ISO 14443-A and MIFARE Classic commands, MIFARE Ultralight, and the APDU
// channel to ISO 14443-4 CPU cards.
#pragma once

namespace orvex {

int RequestCard_(int ReaderID, unsigned char CardMode, unsigned short* CardType);
int AntiCollide_(int ReaderID, unsigned char* LenSNO, unsigned char* SNO);
int CardSelect_(int ReaderID, unsigned char LenSNO, unsigned char* SNO);
int DownLoadKey_(int ReaderID, int KeyIndex, unsigned char* Key);
int KeyDown_Authorization_(int ReaderID, unsigned char KeyMode, int BlockAddr, unsigned char KeyIndex);
int KeyAuthorization_(int ReaderID, unsigned char KeyMode, int BlockAddr, unsigned char* Key);
int ReadaBlock_(int ReaderID, int BlockAddr, int LenData, unsigned char* pData);
int WriteaBlock_(int ReaderID, int BlockAddr, int LenData, unsigned char* pData);
int Purse_Initial_(int ReaderID, int BlockAddr, int IniMoney);
int Purse_Read_(int ReaderID, int BlockAddr, int* Money);
int Purse_Decrease_(int ReaderID, int BlockAddr, int Decrement);
int Purse_Charge_(int ReaderID, int BlockAddr, int Charge);
int Restore_(int ReaderID, int BlockAddr);
int Transfer_(int ReaderID, int BlockAddr);
int CardHalt_(int ReaderID);
int AntiCollideAndSelect(int ReaderID, unsigned char ReturnMode, unsigned char* CardMem,
                         unsigned char* SNLen, unsigned char* SN);
int TypeACPU_Reset(int ReaderID, unsigned char Mode, unsigned char MultiMode, int* rtLen,
                   unsigned char* pData);
// Sends the command APDU as the whole data field and hands back the response
// APDU (data, SW1, SW2) whatever its status words say.
int TypeACPU_COS(int ReaderID, int LenCOS, unsigned char* Com_COS, int* rtLen, unsigned char* pData);
int UltraLightRead(int ReaderID, int BlockID, unsigned char* pData);
int UltraLightWrite(int ReaderID, int BlockID, unsigned char* pData);
int AntiCollide_Level_(int ReaderID, int Leveln, unsigned char* LenSNO, unsigned char* SNO);
int SelectCard_Level_(int ReaderID, int Leveln, unsigned char* SAK);
int RequestAntiandSelect_(int ReaderID, int SearchMode, int ReturnMode, unsigned short* ATQA,
                          unsigned char* SAK, unsigned char* LenSNO, unsigned char* SNO);
int WriteM1MultiBlock_(int ReaderID, int StartBlock, int BlockNums, int LenData, unsigned char* pData);
int ReadM1MultiBlock_(int ReaderID, int StartBlock, int BlockNums, int* LenData, unsigned char* pData);
int WriteaBlock0_(int ReaderID, int BlockAddr, int LenData, unsigned char* pData);

}  // namespace orvex
