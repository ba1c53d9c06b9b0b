// SPDX-License-Identifier: MIT
// FeliCa cards, through the reader's transparent FeliCa command 0xC1.
#pragma once

namespace orvex {

// Hands the FeliCa command FC2 with its DataLen parameter bytes to the card:
// the reader gets TimeOut (sent low byte first) as the card's time-out and
// DelayTime x 100 ms to answer. The reader answers 00 followed by the card's
// response (length byte, response code, IDm, fields). On status 0 with that
// leading 00: *DataLenRet = the response length, pDataRet the response
// (up to ORVEX_MAX_ANSWER - 1 bytes), result 1. -1 for a link failure, or
// for parameters that cannot fit one data field (nothing is sent). Otherwise
// the reader's status byte itself: a refusal comes back as a positive number
// (status 1 reads as 1, like success), a missing leading 00 as 0. Nothing is
// written unless the response was handed over.
int Felica_Common_(int ReaderID, unsigned char FC2, unsigned short TimeOut, int DataLen, unsigned char* pData,
                   int* DataLenRet, unsigned char* pDataRet, int DelayTime);

int Felica_Polling(int ReaderID, unsigned short SystemCode, unsigned char RequestCode, unsigned char Slot,
                   unsigned char* IDM, unsigned char* PMm, unsigned char* RequestData);
int Felica_RequestService(int ReaderID, unsigned char* IDM, unsigned char NumbersOfCode, unsigned char* NodeList,
                          unsigned char* NodeKeyList);
int Felica_RequestResponse(int ReaderID, unsigned char* IDM, unsigned char* Mode);
int Felica_ReadWithoutEncryption(int ReaderID, unsigned char* IDM, unsigned char NumberofService,
                                 unsigned char* ServiceCodeList, unsigned char NumberofBlock,
                                 unsigned char LengthofBlockList, unsigned char* BlockList, unsigned char* Status1,
                                 unsigned char* Status2, unsigned char* pBlockData);
int Felica_WriteWithoutEncryption(int ReaderID, unsigned char* IDM, unsigned char NumberofService,
                                  unsigned char* ServiceCodeList, unsigned char NumberofBlock,
                                  unsigned char LengthofBlockList, unsigned char* BlockList,
                                  unsigned char* pBlockData, unsigned char* Status1, unsigned char* Status2);

}  // namespace orvex
