// SPDX-License-Identifier: MIT
// SLE4442 contact memory cards in the reader's contact slot, driven through
// the card reader's command 0xC3.
#pragma once

namespace orvex {

// Carrier: sub-function FC2 with its DataLen parameter bytes under reader
// command 0xC3 (TimeOut is accepted and not sent). The answer must carry
// status 0 and echo FC2 as its first data byte; then *DataLenRet is the
// count of the bytes behind the echo, pDataRet receives them, and the result
// is 1000. -1 link failure; -3 refused or no echo. Nothing is written unless
// the result is 1000.
int SLE_Common_(int ReaderID, unsigned char FC2, unsigned char TimeOut, int DataLen, unsigned char* pData,
                int* DataLenRet, unsigned char* pDataRet, int DelayTime);

// The card's answer to reset to pResetInfo; 1000, -1, -3.
int SLE_Reset(int ReaderID, unsigned char* pResetInfo);
// MemLen bytes of main memory from StartAddr to MemData; the count of bytes
// returned on success, -1, -3.
int SLE_ReadMainMemory(int ReaderID, unsigned char StartAddr, unsigned char MemLen, unsigned char* MemData);
// Writes MemLen bytes to main memory, waits 100 ms, reads them back and
// compares: 1 equal, -2 different, -1 the write or the read-back failed.
int SLE_WriteMainMemory(int ReaderID, unsigned char StartAddr, unsigned char MemLen, unsigned char* MemData);
// The protection memory to MemData; 1000, -1, -3.
int SLE_ReadPROM(int ReaderID, unsigned char* MemData);
// Writes with protection, then verifies against main memory as
// SLE_WriteMainMemory does; 1, -2, -1.
int SLE_WriteProtectedDataMemory(int ReaderID, unsigned char StartAddr, unsigned char MemLen,
                                 unsigned char* MemData);
// The security memory: the error counter to *ErrorCounter, the bytes after
// it (the PSC) to PSC; 1000, -1, -3.
int SLE_ReadSecurityLogic(int ReaderID, unsigned char* ErrorCounter, unsigned char* PSC);
// Changes the PSC to the 3 bytes of PSC and reads the security memory back
// at once: 1 the PSC reads back as sent, -2 it does not, -1 a failed exchange.
int SLE_WritePSC(int ReaderID, unsigned char* PSC);
// Presents the 3-byte PSC: 1 accepted; otherwise -1 and *ErrorCounter
// receives the carrier's result cut to 8 bits (0xFF link failure, 0xFD
// refused).
int SLE_VerifyPSC(int ReaderID, unsigned char* PSC, unsigned char* ErrorCounter);

}  // namespace orvex
