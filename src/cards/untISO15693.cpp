// SPDX-License-Identifier: MIT
// ISO 15693 commands. Each is one command exchange; commands that address one
// tag send the addressing mode Model and the tag's 8-byte UID as they stand.
// Answers are handed over whole: the reader's tag records, block bytes or
// system information, with their length cut to one byte.
#include "cards/untISO15693.h"

#include "cards/untCardExchange.h"
#include "link/deadlines.h"

namespace orvex {

static constexpr int kUIDLen = 8;
// Block reads wait longer than the other queries, data writes longer still.

// Model, then the UID: the head of every request that addresses one tag.
static Field Addressed(unsigned char Model, const unsigned char* PUID) {
  Field f;
  f.u8(Model).bytes(PUID, kUIDLen);
  return f;
}

int ISO15693_Inventory(int ReaderID, unsigned char* PData, unsigned char* PLen) {
  return ExecuteAll(0x70, ReaderID, Field(), deadline::kVicinityQuery, PLen, PData);
}

int ISO15693_Stay_Quiet(int ReaderID, unsigned char* PUID) {
  return Execute(0x71, ReaderID, Field().bytes(PUID, kUIDLen), deadline::kVicinityQuery);
}

int ISO15693_Select(int ReaderID, unsigned char /*Model*/, unsigned char* PUID) {
  // Select takes Model and does not send it: the UID alone, as Stay Quiet.
  return Execute(0x72, ReaderID, Field().bytes(PUID, kUIDLen), deadline::kVicinityQuery);
}

int ISO15693_Reset_To_Ready(int ReaderID, unsigned char Model, unsigned char* PUID) {
  return Execute(0x73, ReaderID, Addressed(Model, PUID), deadline::kVicinityQuery);
}

int ISO15693_Read(int ReaderID, unsigned char Model, unsigned char* PUID, unsigned char StartBlockID,
                  unsigned char BlockNums, unsigned char* PData, unsigned char* PLen) {
  return ExecuteAll(0x74, ReaderID, Addressed(Model, PUID).u8(StartBlockID).u8(BlockNums),
                    deadline::kVicinityRead,
                    PLen, PData);
}

int ISO15693_Write(int ReaderID, unsigned char Model, unsigned char* PUID, unsigned char BlockID,
                   unsigned char DataLen, unsigned char* PData) {
  // The reader takes the data length from the length of the field.
  return Execute(0x75, ReaderID, Addressed(Model, PUID).u8(BlockID).bytes(PData, DataLen),
                 deadline::kVicinityWrite);
}

int ISO15693_Lock_Block(int ReaderID, unsigned char Model, unsigned char* PUID, unsigned char BlockID) {
  return Execute(0x76, ReaderID, Addressed(Model, PUID).u8(BlockID), deadline::kVicinityQuery);
}

int ISO15693_Write_AFI(int ReaderID, unsigned char Model, unsigned char* PUID, unsigned char AFI) {
  return Execute(0x77, ReaderID, Addressed(Model, PUID).u8(AFI), deadline::kVicinityQuery);
}

int ISO15693_Lock_AFI(int ReaderID, unsigned char Model, unsigned char* PUID) {
  return Execute(0x78, ReaderID, Addressed(Model, PUID), deadline::kVicinityQuery);
}

int ISO15693_Write_DSFID(int ReaderID, unsigned char Model, unsigned char* PUID, unsigned char DSFID) {
  return Execute(0x79, ReaderID, Addressed(Model, PUID).u8(DSFID), deadline::kVicinityQuery);
}

int ISO15693_Lock_DSFID(int ReaderID, unsigned char Model, unsigned char* PUID) {
  return Execute(0x7A, ReaderID, Addressed(Model, PUID), deadline::kVicinityQuery);
}

int ISO15693_Get_System_Information(int ReaderID, unsigned char Model, unsigned char* PUID,
                                    unsigned char* PData, unsigned char* PLen) {
  return ExecuteAll(0x7B, ReaderID, Addressed(Model, PUID), deadline::kVicinityQuery, PLen, PData);
}

int ISO15693_Get_Block_Security(int ReaderID, unsigned char Model, unsigned char* PUID,
                                unsigned char StartBlockID, unsigned char BlockNums,
                                unsigned char* PData, unsigned char* PLen) {
  // The same request as a read, but the short wait of a query.
  return ExecuteAll(0x7C, ReaderID, Addressed(Model, PUID).u8(StartBlockID).u8(BlockNums),
                    deadline::kVicinityQuery, PLen, PData);
}

int ISO15693_Multi_Inventory(int ReaderID, unsigned char AFIEnable, unsigned char AFI,
                             unsigned char* PData, unsigned char* PLen) {
  return ExecuteAll(0x7D, ReaderID, Field().u8(AFIEnable).u8(AFI), deadline::kVicinityQuery, PLen, PData);
}

int ISO15693_MultiWrite(int ReaderID, unsigned char Model, unsigned char* PUID, unsigned char BlockID,
                        unsigned char BlockNums, unsigned char DataLen, unsigned char* PData) {
  return Execute(0x7E, ReaderID,
                 Addressed(Model, PUID).u8(BlockID).u8(BlockNums).bytes(PData, DataLen),
                 deadline::kVicinityWrite);
}

}  // namespace orvex
