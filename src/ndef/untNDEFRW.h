// SPDX-License-Identifier: MIT
// NDEF messages on tags: writing and reading a message TLV image on a MIFARE
// Classic 1K or an NTAG (NFC_Write, NFC_Read, exported), and the
// process-wide message buffer behind the OV_NDEF_ methods.
#pragma once

#include "orvex.h"

namespace orvex {

// The message buffer: null until NDEF_Initial_, shared by all Orvex objects.
extern TLV* tlv;

int NDEF_Initial_();
int NDEF_Free_();
int NDEF_SetKey_(unsigned char* Key);
int NDEF_AddRecord_(unsigned char uri, int sLen, unsigned char* s);
int NDEF_GetRecord_(int Index, unsigned char* uri, int* Len, unsigned char* s);
int NDEF_ClearRecords_();
int NDEF_Save_(int ReaderID);
int NDEF_Read_(int ReaderID);

}  // namespace orvex
