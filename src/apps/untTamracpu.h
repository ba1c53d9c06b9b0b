// SPDX-License-Identifier: MIT
// The reader firmware's own CPU card application: a purse card with a public
// file, a card-holder file, a user file, a balance, debit and consume, and a
// transaction record, secured by keys in a SAM inside the reader. The library
// sends no APDUs: every operation is reader command 0xC4 with a sub-command
// byte that the reader echoes, and the reader talks to card and SAM itself.
//
// Results: 1 success; -1 nothing sent, nothing read or an undecodable answer;
// -2 the reader refused (non-zero status, or no echo of the sub-command), or
// the data cannot go out in one frame (nothing sent). After a -2,
// TAMRACPU_GetStatus with mode 1 gives the reader's status byte and with
// mode 0 the application status word.
#pragma once

namespace orvex {

// The one exchange of the card application: sub-command CMD, then paramlen
// bytes of param. On success only, the result (the answer after the echo)
// goes to data and its length to len.
int TAMRACPU_Transfer(int ReaderID, unsigned char CMD, int paramlen, unsigned char* param, int* len,
                      unsigned char* data, int DelayTime100ms);

// ExeCmdStep when mode is non-zero, ExeCmdStatus when it is 0. No exchange;
// ReaderID is not used.
unsigned short TAMRACPU_GetStatus(int ReaderID, int mode);

int TAMRACPU_SamReset(int ReaderID, unsigned char SamIndex, unsigned char* DataLen,
                      unsigned char* Data);
int TAMRACPU_SamInitial(int ReaderID, unsigned char SamIndex, unsigned char SamPrivilege,
                        unsigned char* Teminate, unsigned char* key, unsigned char KeyFrom);
int TAMRACPU_SamGetInfo(int ReaderID, unsigned char SamIndex, unsigned char* Teminate,
                        unsigned int* OrderNo);
int TAMRACPU_Request(int ReaderID, unsigned char* CardNo);
int TAMRACPU_CreateSysFile(int ReaderID, unsigned char* key, unsigned char KeyFrom,
                           unsigned char* CardNo);
int TAMRACPU_ChangeKey(int ReaderID, unsigned char* Oldkey, unsigned char OldkeyFrom,
                       unsigned char* Newkey, unsigned char NewkeyFrom, unsigned char* CardNo);
int TAMRACPU_ReadPublicFile(int ReaderID, int* len, unsigned char* data);
int TAMRACPU_WritePublicFile(int ReaderID, unsigned char SamIndex, unsigned char* data);
int TAMRACPU_ReadHolderFile(int ReaderID, unsigned char SamIndex, int* len, unsigned char* data);
int TAMRACPU_WriteHolderFile(int ReaderID, unsigned char SamIndex, unsigned char* data);
int TAMRACPU_ReadUserFile(int ReaderID, unsigned char SamIndex, int Addr, int Count, int* len,
                          unsigned char* data);
int TAMRACPU_WriteUserFile(int ReaderID, unsigned char SamIndex, int Addr, int Count,
                           unsigned char* data);
int TAMRACPU_Balance(int ReaderID, unsigned int* Value);
int TAMRACPU_Debit(int ReaderID, unsigned char SamIndex, unsigned int Value, unsigned char* Date,
                   unsigned char* Result);
int TAMRACPU_Consume(int ReaderID, unsigned char SamIndex, unsigned int Value, unsigned char* Date,
                     unsigned char* Result);
int TAMRACPU_Record(int ReaderID, int& RecordLen, unsigned char* Record);

}  // namespace orvex
