// SPDX-License-Identifier: MIT
// Writes an NDEF message with one URI record to the NTAG in the field, then
// reads it back.
#include "common.h"

int main(int argc, char** argv) {
  Orvex reader;
  int id;
  if (!OpenReader(reader, argc, argv, id)) return 1;
  const char* uri = "orvex.invalid/hello";
  reader.OV_NDEF_Initial();
  reader.OV_NDEF_ClearRecords();
  // URI identifier code 0x04: "https://".
  reader.OV_NDEF_AddRecord(0x04, static_cast<int>(std::strlen(uri)),
                           reinterpret_cast<unsigned char*>(const_cast<char*>(uri)));
  int rt = reader.OV_NDEF_Save(id);
  if (rt != 1) {
    std::fprintf(stderr, "writing the message failed (%d)\n", rt);
    return 1;
  }
  reader.OV_NDEF_ClearRecords();
  int records = reader.OV_NDEF_Read(id);
  if (records < 1) {
    std::fprintf(stderr, "reading the message back failed (%d)\n", records);
    return 1;
  }
  unsigned char code = 0, text[256];
  int len = 0;
  reader.OV_NDEF_GetRecord(0, &code, &len, text);
  std::printf("%d record(s); first: URI code %02X, \"%.*s\"\n", records, code, len, text);
  reader.OV_NDEF_Free();
  reader.OV_ComFree();
  return 0;
}
