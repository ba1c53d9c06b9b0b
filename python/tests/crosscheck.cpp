// SPDX-License-Identifier: MIT
// The same calls as test_methods.py's cross-check, made from C++ on a link
// to the reader at argv[1]: one line per call, "name result hex-outputs".
#include <orvex.h>

#include <cstdio>
#include <string>

namespace {

std::string Hex(const unsigned char* p, int n) {
  std::string s;
  char b[3];
  for (int i = 0; i < n; ++i) {
    std::snprintf(b, sizeof b, "%02x", p[i]);
    s += b;
  }
  return s;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  OrvexLink link(argv[1]);
  if (!link.IsOpen()) return 1;
  OrvexLinkScope scope(link);
  Orvex o;
  unsigned char buf[ORVEX_MAX_ANSWER] = {0};
  int r = o.OV_GetReaderVersion(0);
  std::printf("OV_GetReaderVersion %d\n", r);
  r = o.OV_GetReaderSerial(0, buf);
  std::printf("OV_GetReaderSerial %d %s\n", r, Hex(buf, r > 0 ? r : 0).c_str());
  unsigned short atqa = 0;
  unsigned char sak = 0, len = 0;
  r = o.OV_RequestAntiandSelect(0, 0x52, 0, &atqa, &sak, &len, buf);
  std::printf("OV_RequestAntiandSelect %d %d %d %s\n", r, atqa, sak, Hex(buf, len).c_str());
  unsigned char key[6] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  r = o.OV_KeyAuthorization(0, 0x60, 0, key);
  std::printf("OV_KeyAuthorization %d\n", r);
  r = o.OV_ReadaBlock(0, 1, 16, buf);
  std::printf("OV_ReadaBlock %d %s\n", r, Hex(buf, 16).c_str());
  unsigned char bad[6] = {1, 2, 3, 4, 5, 6};
  r = o.OV_KeyAuthorization(0, 0x60, 4, bad);
  std::printf("OV_KeyAuthorization %d\n", r);
  unsigned char des_key[8] = {0x13, 0x34, 0x57, 0x79, 0x9B, 0xBC, 0xDF, 0xF1};
  unsigned char in[8] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};
  r = o.DES(0, des_key, in, buf);
  std::printf("DES %d %s\n", r, Hex(buf, 8).c_str());
  r = o.OV_LFCard_ReadID(0, buf);
  std::printf("OV_LFCard_ReadID %d\n", r);
  return 0;
}
