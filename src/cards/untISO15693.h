// SPDX-License-Identifier: MIT
// ISO 15693 vicinity tags: one reader command per ISO 15693 command, 0x70 to
// 0x7E. The reader does the radio work; these functions lay out the request.
#pragma once

namespace orvex {

int ISO15693_Inventory(int ReaderID, unsigned char* PData, unsigned char* PLen);
int ISO15693_Stay_Quiet(int ReaderID, unsigned char* PUID);
int ISO15693_Select(int ReaderID, unsigned char Model, unsigned char* PUID);
int ISO15693_Reset_To_Ready(int ReaderID, unsigned char Model, unsigned char* PUID);
int ISO15693_Read(int ReaderID, unsigned char Model, unsigned char* PUID, unsigned char StartBlockID,
                  unsigned char BlockNums, unsigned char* PData, unsigned char* PLen);
int ISO15693_Write(int ReaderID, unsigned char Model, unsigned char* PUID, unsigned char BlockID,
                   unsigned char DataLen, unsigned char* PData);
int ISO15693_Lock_Block(int ReaderID, unsigned char Model, unsigned char* PUID, unsigned char BlockID);
int ISO15693_Write_AFI(int ReaderID, unsigned char Model, unsigned char* PUID, unsigned char AFI);
int ISO15693_Lock_AFI(int ReaderID, unsigned char Model, unsigned char* PUID);
int ISO15693_Write_DSFID(int ReaderID, unsigned char Model, unsigned char* PUID, unsigned char DSFID);
int ISO15693_Lock_DSFID(int ReaderID, unsigned char Model, unsigned char* PUID);
int ISO15693_Get_System_Information(int ReaderID, unsigned char Model, unsigned char* PUID,
                                    unsigned char* PData, unsigned char* PLen);
int ISO15693_Get_Block_Security(int ReaderID, unsigned char Model, unsigned char* PUID,
                                unsigned char StartBlockID, unsigned char BlockNums,
                                unsigned char* PData, unsigned char* PLen);
int ISO15693_Multi_Inventory(int ReaderID, unsigned char AFIEnable, unsigned char AFI,
                             unsigned char* PData, unsigned char* PLen);
int ISO15693_MultiWrite(int ReaderID, unsigned char Model, unsigned char* PUID, unsigned char BlockID,
                        unsigned char BlockNums, unsigned char DataLen, unsigned char* PData);

}  // namespace orvex
