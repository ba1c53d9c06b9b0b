// SPDX-License-Identifier: MIT
// NTAG21x (NFC Forum Type 2) commands, carried under reader command 0xC0.
#pragma once

namespace orvex {

// Carrier of transparent NTAG commands: sub-function 0x10, a time-out byte,
// the NTAG command FC2 and its DataLen parameter bytes. The answer must echo
// 0x10; the bytes behind the echo go to pDataRet, their count to DataLenRet.
// 1; -1 link failure; -3 refused or no echo.
int NTag_Common_(int ReaderID, unsigned char FC2, unsigned char TimeOut, int DataLen, unsigned char* pData,
                 int* DataLenRet, unsigned char* pDataRet, int DelayTime);
// Carrier of the reader's own NTAG sub-function FC2 (TimeOut is not sent);
// the answer must echo FC2. Results as NTag_Common_.
int NTag_Common2_(int ReaderID, unsigned char FC2, unsigned char TimeOut, int DataLen, unsigned char* pData,
                  int* DataLenRet, unsigned char* pDataRet, int DelayTime);

int NTAG_GetVersion(int ReaderID, unsigned char* pData);
int NTAG_Read(int ReaderID, int StartPage, int* DataLen, unsigned char* pData);
int NTag_FastRead(int ReaderID, int StartPage, int EndPage, int* DataLen, unsigned char* pData);
int NTag_Write(int ReaderID, int PageIndex, unsigned char* pData);
int NTag_CompatibleWrite(int ReaderID, int PageIndex, unsigned char* pData);
int NTag_ReadCounter(int ReaderID, int* Counter);
int NTag_ReadCounterOf(int ReaderID, int CounterNo, int* Counter);
int NTag_Password_Auth(int ReaderID, unsigned char* PWD, unsigned char* AuthResult);
int NTag_ReadSignature(int ReaderID, unsigned char* Signature);

}  // namespace orvex
