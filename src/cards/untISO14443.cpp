// ISO 14443-A and MIFARE Classic commands.
#include "cards/untISO14443.h"

#include "link/untFunction.h"

namespace orvex {

int TypeACPU_COS(int ReaderID, int LenCOS, unsigned char* Com_COS, int* rtLen, unsigned char* pData) {
  Answer a;
  int rt = Transact(0x32, ReaderID, Field().bytes(Com_COS, LenCOS), 4, a);
  if (rt != 1) return rt;
  *rtLen = a.len;
  a.CopyTo(pData, 0, a.len);
  return 1;
}

}  // namespace orvex
