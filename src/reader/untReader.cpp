// SPDX-License-Identifier: MIT
// Reader management commands. Each is one command exchange; in this family a
// reader refusal mostly reads as -1, with the exceptions each function notes.
#include "reader/untReader.h"

#include <cstring>

#include "cards/untCardExchange.h"
#include "link/deadlines.h"

namespace orvex {

static constexpr int kSleep = 20;

// The family's own reading of a command: 1 when carried out, -1 for a link
// failure and also for a reader refusal.
static int Done(int rt) { return rt == 1 ? 1 : -1; }

int GetVersion_() { return 7; }

int ChangeBound_(int /*ReaderID*/, int NewBound) {
  static const int kSpeeds[] = {4800, 9600, 14400, 19200, 28800, 38400, 57600, 115200};
  int index = 3;  // an unknown speed selects 19200
  for (int i = 0; i < 8; ++i)
    if (kSpeeds[i] == NewBound) index = i;
  Answer a;
  // Always addressed to reader number 0; the result is the status itself.
  if (Exchange(0x01, 0, Field().u8(index), deadline::kReader, kSleep, a) != Exchanged::kDecoded) return -1;
  return a.status;
}

int OV_SetReaderID_(int OldID, int NewID) {
  Answer a;
  // Two trailing bytes the reader ignores; sent as zeros.
  Field f;
  f.u16be(NewID).u8(0).u8(0);
  return Exchange(0x02, OldID, f, deadline::kReader, kSleep, a) == Exchanged::kDecoded ? 1 : -1;
}

// A 16-bit number from answer bytes 0-1; 0 when the reader refused.
static int ReadNumber(unsigned char cmd, int ReaderID) {
  Answer a;
  if (Exchange(cmd, ReaderID, Field(), deadline::kReader, kSleep, a) != Exchanged::kDecoded) return -1;
  return a.status == 0 ? a.u16be(0) : 0;
}

int OV_GetReaderID_(int ReaderID) { return ReadNumber(0x03, ReaderID); }
int Get_ReaderVersion_(int ReaderID) { return ReadNumber(0x04, ReaderID); }

// All answer bytes to out when the reader carried the command out; the answer
// length whatever the status.
static int ReadIdentity(unsigned char cmd, int ReaderID, unsigned char* out) {
  Answer a;
  if (Exchange(cmd, ReaderID, Field(), deadline::kReader, kSleep, a) != Exchanged::kDecoded) return -1;
  if (a.status == 0) a.CopyTo(out, 0, a.len);
  return a.len;
}

int LEDPositions(const char* text, int len) {
  int p = 0;
  for (int i = 0; i < len; ++i)
    if (text[i] != '.' || i == 0 || text[i - 1] == '.') ++p;
  return p;
}

}  // namespace orvex

using namespace orvex;

int GetReaderSerial_(int ReaderID, unsigned char* ReaderSerial) {
  return ReadIdentity(0x05, ReaderID, ReaderSerial);
}

int GetReaderNo_(int ReaderID, unsigned char* ReaderNo) {
  return ReadIdentity(0x08, ReaderID, ReaderNo);
}

int Buzzer2_(int ReaderID, int Time_ON, int Time_OFF, int Cycle) {
  return Done(Execute(0x06, ReaderID, Field().u8(Time_ON).u8(Time_OFF).u8(Cycle), deadline::kReader));
}

int LED2_(int ReaderID, int LEDIndex, int Time_ON, int Time_OFF, int Cycle, int LedIndexOn) {
  Field f;
  f.u8(LEDIndex).u8(Time_ON).u8(Time_OFF).u8(Cycle).u8(LedIndexOn);
  return Done(Execute(0x07, ReaderID, f, deadline::kReader));
}

int LEDDisplay_(int ReaderID, int Alignment, char* LEDText) {
  int L = LEDText ? static_cast<int>(strnlen(LEDText, 16)) : 0;
  int P = LEDPositions(LEDText, L);
  // Text wider than the display gets no fill rather than a negative one.
  int fill = 0;
  if (Alignment == 3) fill = 8 - P;
  if (Alignment == 2) fill = (8 - P) / 2;
  if (fill < 0) fill = 0;
  Field f;
  f.u8(fill + L).fill(0, fill).bytes(reinterpret_cast<const unsigned char*>(LEDText), L);
  return Done(Execute(0x09, ReaderID, f, deadline::kReader));
}

int AntennaStatus_(int ReaderID, bool ATStatus) {
  // The one command of the family that tells "no answer" (-2) apart.
  int rt = Execute(0x21, ReaderID, Field().u8(ATStatus ? 1 : 0), deadline::kReader, -2);
  return rt == 1 || rt == -2 ? rt : -1;
}

int SearchCardMode_(int ReaderID, int Mode) {
  return Done(Execute(0x20, ReaderID, Field().u8(Mode), deadline::kReader));
}

int SearchCardMode_2(int ReaderID, int Mode, int Param) {
  return Done(Execute(0x20, ReaderID, Field().u8(Mode).u8(Param), deadline::kReader));
}

int LFCard_ReadID_(int ReaderID, unsigned char* CardID) {
  return Done(ExecuteAll<int>(0xFD, ReaderID, Field(), deadline::kReader, nullptr, CardID));
}

int WriteFlash(int ReaderID, int AddrBegin, int DataLen, unsigned char* DataToWrite) {
  Field f;
  f.u8(0).u8(0).u16be(AddrBegin).u16be(DataLen).bytes(DataToWrite, DataLen);
  return Done(Execute(0xB2, ReaderID, f, deadline::kReader));
}

int ReadFlash(int ReaderID, int AddrBegin, int DataLen, unsigned char* DataToRead) {
  Field f;
  f.u8(0).u8(0).u16be(AddrBegin).u16be(DataLen);
  return Done(ExecuteAll<int>(0xB1, ReaderID, f, deadline::kReader, nullptr, DataToRead));
}

int SelectAntenna_(int ReaderID, int AntennaID) {
  return Done(Execute(0xFE, ReaderID, Field().u8(AntennaID), deadline::kReader));
}

int SetParam_(int ReaderID, int Index, int ParamLen, unsigned char* Param) {
  return Done(Execute(0x0F, ReaderID, Field().u8(Index).bytes(Param, ParamLen), deadline::kReader));
}

int GetParam_(int ReaderID, int Index, int ParamLen, unsigned char* Param, int* OutLen,
              unsigned char* OutResult) {
  return Done(ExecuteAll(0x0F, ReaderID, Field().u8(Index).bytes(Param, ParamLen), deadline::kReader, OutLen,
                         OutResult));
}

int Set433ModuleParam_(int ReaderID, unsigned char* Param) {
  return Done(Execute(0xFC, ReaderID, Field().u8(1).bytes(Param, 8), deadline::kReader));
}

int Get433ModuleParam_(int ReaderID, unsigned char* Param) {
  Answer a;
  if (Done(Transact(0xFC, ReaderID, Field().u8(0), deadline::kReader, a)) != 1) return -1;
  a.CopyTo(Param, 0, 8);  // always 8 bytes, whatever the answer length
  return 1;
}

int SendCMD_(int ReaderID, int Mode, int TimeOut, int ParamLen, unsigned char* Param, int* OutLen,
             unsigned char* OutResult) {
  // TimeOut is both the byte sent and the answer deadline, in 100 ms units.
  Field f;
  f.u8(Mode).u8(TimeOut).bytes(Param, ParamLen);
  return Done(ExecuteAll(0xFB, ReaderID, f, TimeOut, OutLen, OutResult));
}

int OV_SendCMD(int ReaderID, int Mode, int TimeOut, int ParamLen, unsigned char* Param, int* OutLen,
               unsigned char* OutResult) {
  return SendCMD_(ReaderID, Mode, TimeOut, ParamLen, Param, OutLen, OutResult);
}
