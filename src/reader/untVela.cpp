// SPDX-License-Identifier: MIT
// Display reader commands. Each operation is one exchange of reader command
// 0xC3 through Vela_Write (no result) or Vela_Read (result bytes); both rest
// on VelaTransfer, which sends the sub-command with its parameters through
// the shared carrier (Carry), which checks that the reader echoed it.
#include "reader/untVela.h"

#include "cards/untCardExchange.h"
#include "link/deadlines.h"

namespace orvex {

static constexpr unsigned char kDisplayCommand = 0xC3;
static constexpr int kSleep = 20;

// Sub-commands. A setting and its reading share one: the reader tells them
// apart by whether parameters follow.
enum : unsigned char {
  kWriteFlash = 0x00,
  kReadFlash = 0x01,
  kConfigWriteFlash = 0x03,
  kConfigReadFlash = 0x04,
  kClock = 0x10,
  kTimeDisplay = 0x20,
  kDateDisplay = 0x21,
  kFont = 0x22,
  kFormPowerOn = 0x23,
  kFormRun = 0x24,
  kTextPowerOn = 0x25,
  kTextRun = 0x26,
  kImagePowerOn = 0x27,
  kImageRun = 0x28,
  kShowText = 0x29,
  kShowImageFromFlash = 0x2A,
  kShowImage = 0x2B,
  kShowEnText = 0x2C,
  kBackLight = 0x2D,  // also clears lines: one parameter byte instead of two
};

static constexpr int kImageMaxWidth = 128;
static constexpr int kImageMaxHeight = 64;
static constexpr int kShownTextMax = 16;
static constexpr int kStoredText = 64;
// The stored-text readers look for the text's end in this many result bytes.
static constexpr int kTextScan = 100;

// The most parameter bytes one frame carries after the sub-command.
static constexpr int kMaxParams = kMaxDataField - 1;

// The display reader's exchange: sub-command CMD, then n bytes of p; the
// result bytes behind the echo go to len and data when the reader carried
// the sub-command out.
static int VelaTransfer(int ReaderID, unsigned char CMD, int n, const unsigned char* p,
                        int DelayTime100ms, int* len, unsigned char* data) {
  if (n < 0 || n > kMaxParams) return -2;  // cannot go out in one frame
  Field f;
  f.u8(CMD).bytes(p, n);
  Answer a;
  int rt = Carry(kDisplayCommand, ReaderID, f, CMD, DelayTime100ms, len, data, a, kSleep);
  if (rt != 0) return rt;
  // Not carried out: the status byte read as signed. A status-0 answer
  // without the echo gives 0, and a refusal with status 0x01 reads like
  // success (with nothing written).
  return static_cast<signed char>(a.status);
}

int Vela_Write(int ReaderID, unsigned char CMD, int len, unsigned char* data, int DelayTime100ms) {
  Response r;  // the result bytes of a write carry nothing for the caller
  return VelaTransfer(ReaderID, CMD, len, data, DelayTime100ms, &r.len, r.data);
}

int Vela_Read(int ReaderID, unsigned char CMD, int paramlen, unsigned char* param, int* len,
              unsigned char* data, int DelayTime100ms) {
  return VelaTransfer(ReaderID, CMD, paramlen, param, DelayTime100ms, len, data);
}

// Sends the parameters built in f under sub-command sub.
// An overflowed field reports a size that Vela_Write refuses with -2.
static int Send(int ReaderID, unsigned char sub, Field& f, int delay = deadline::kDisplay) {
  return Vela_Write(ReaderID, sub, f.size(), f.data(), delay);
}

// A reading of a stored setting goes into a Response. It starts zeroed and
// the Get functions copy their outputs out of it whenever the result is
// positive, so a refusal with status 0x01..0x7F hands back zeros.
static int ReadSetting(int ReaderID, unsigned char sub, Response& s) {
  return Vela_Read(ReaderID, sub, 0, nullptr, &s.len, s.data, deadline::kDisplay);
}

// ---- Flash store -----------------------------------------------------------

static int WriteFlashAt(int ReaderID, unsigned char sub, unsigned int BeginAddr, int len,
                        unsigned char* Data) {
  if (len < 0 || len > kMaxParams - 4) return -2;  // the address takes 4 bytes
  Field f;
  f.u32le(BeginAddr).bytes(Data, len);
  return Send(ReaderID, sub, f, deadline::kDisplayFlash);
}

static int ReadFlashAt(int ReaderID, unsigned char sub, unsigned int BeginAddr, int BytesCount,
                       int* len, unsigned char* Data) {
  Field f;
  f.u32le(BeginAddr).u16le(BytesCount);
  return Vela_Read(ReaderID, sub, f.size(), f.data(), len, Data, deadline::kDisplayFlash);
}

int Vela_WriteFlash(int ReaderID, unsigned int BeginAddr, int len, unsigned char* Data) {
  return WriteFlashAt(ReaderID, kWriteFlash, BeginAddr, len, Data);
}

int Vela_ReadFlash(int ReaderID, unsigned int BeginAddr, int BytesCount, int* len,
                   unsigned char* Data) {
  return ReadFlashAt(ReaderID, kReadFlash, BeginAddr, BytesCount, len, Data);
}

int Vela_Config_WriteFlashEx(int ReaderID, unsigned int BeginAddr, int len, unsigned char* Data) {
  return WriteFlashAt(ReaderID, kConfigWriteFlash, BeginAddr, len, Data);
}

int Vela_Config_ReadFlashEx(int ReaderID, unsigned int BeginAddr, int BytesCount, int* len,
                            unsigned char* Data) {
  return ReadFlashAt(ReaderID, kConfigReadFlash, BeginAddr, BytesCount, len, Data);
}

// ---- Clock, time and date display, font --------------------------------------

int Vela_Config_Clock_Set(int ReaderID, unsigned char* Data) {
  return Vela_Write(ReaderID, kClock, 8, Data, deadline::kDisplay);
}

int Vela_Config_Clock_Get(int ReaderID, unsigned char* Data) {
  int len = 0;  // the result length is not handed on
  return Vela_Read(ReaderID, kClock, 0, nullptr, &len, Data, deadline::kDisplay);
}

static int SetPlace(int ReaderID, unsigned char sub, unsigned char Enable, unsigned char Line,
                    unsigned char Column) {
  Field f;
  f.u8(Enable).u8(Line).u8(Column);
  return Send(ReaderID, sub, f);
}

static int GetPlace(int ReaderID, unsigned char sub, unsigned char* Enable, unsigned char* Line,
                    unsigned char* Column) {
  Response s;
  int rt = ReadSetting(ReaderID, sub, s);
  if (rt > 0) {
    *Enable = s.data[0];
    *Line = s.data[1];
    *Column = s.data[2];
  }
  return rt;
}

int Vela_Config_TimeDisplay_Set(int ReaderID, unsigned char Enable, unsigned char Line,
                                unsigned char Column) {
  return SetPlace(ReaderID, kTimeDisplay, Enable, Line, Column);
}

int Vela_Config_TimeDisplay_Get(int ReaderID, unsigned char* Enable, unsigned char* Line,
                                unsigned char* Column) {
  return GetPlace(ReaderID, kTimeDisplay, Enable, Line, Column);
}

int Vela_Config_DateDisplay_Set(int ReaderID, unsigned char Enable, unsigned char Line,
                                unsigned char Column) {
  return SetPlace(ReaderID, kDateDisplay, Enable, Line, Column);
}

int Vela_Config_DateDisplay_Get(int ReaderID, unsigned char* Enable, unsigned char* Line,
                                unsigned char* Column) {
  return GetPlace(ReaderID, kDateDisplay, Enable, Line, Column);
}

int Vela_Config_Font_Set(int ReaderID, unsigned char Font) {
  Field f;
  f.u8(Font);
  return Send(ReaderID, kFont, f);
}

int Vela_Config_Font_Get(int ReaderID, unsigned char* Font) {
  Response s;
  int rt = ReadSetting(ReaderID, kFont, s);
  if (rt > 0) *Font = s.data[0];
  return rt;
}

// ---- Forms -----------------------------------------------------------------------

// The form's height travels as a count of 8-pixel rows.
static int SetForm(int ReaderID, unsigned char sub, unsigned char config, unsigned char timespan,
                   unsigned char width, unsigned char height, unsigned char line,
                   unsigned char column) {
  Field f;
  f.u8(config).u8(timespan).u8(width).u8(height / 8).u8(line).u8(column);
  return Send(ReaderID, sub, f);
}

static int GetForm(int ReaderID, unsigned char sub, unsigned char* config, unsigned char* timespan,
                   unsigned char* width, unsigned char* height, unsigned char* line,
                   unsigned char* column) {
  Response s;
  int rt = ReadSetting(ReaderID, sub, s);
  if (rt > 0) {
    *config = s.data[0];
    *timespan = s.data[1];
    *width = s.data[2];
    *height = static_cast<unsigned char>(s.data[3] * 8);
    *line = s.data[4];
    *column = s.data[5];
  }
  return rt;
}

int Vela_Config_FormPowerOn_Set(int ReaderID, unsigned char config, unsigned char timespan,
                                unsigned char width, unsigned char height, unsigned char line,
                                unsigned char column) {
  return SetForm(ReaderID, kFormPowerOn, config, timespan, width, height, line, column);
}

int Vela_Config_FormPowerOn_Get(int ReaderID, unsigned char* config, unsigned char* timespan,
                                unsigned char* width, unsigned char* height, unsigned char* line,
                                unsigned char* column) {
  return GetForm(ReaderID, kFormPowerOn, config, timespan, width, height, line, column);
}

int Vela_Config_FormRun_Set(int ReaderID, unsigned char config, unsigned char timespan,
                            unsigned char width, unsigned char height, unsigned char line,
                            unsigned char column) {
  return SetForm(ReaderID, kFormRun, config, timespan, width, height, line, column);
}

int Vela_Config_FormRun_Get(int ReaderID, unsigned char* config, unsigned char* timespan,
                            unsigned char* width, unsigned char* height, unsigned char* line,
                            unsigned char* column) {
  return GetForm(ReaderID, kFormRun, config, timespan, width, height, line, column);
}

// ---- Stored texts and images ------------------------------------------------------

// Always 64 bytes: the first len (at most 64) of Data, then spaces.
static int SetText(int ReaderID, unsigned char sub, unsigned char len, unsigned char* Data) {
  int n = len < kStoredText ? len : kStoredText;
  Field f;
  f.bytes(Data, n).fill(' ', kStoredText - n);
  return Send(ReaderID, sub, f);
}

// The text's length is the index of the last zero byte among the first 100
// result bytes (the result length when there is none), cut to 64. The tail
// of a short result is zero, so this copies 64 bytes in practice; it is kept
// so rather than stopping at the first zero. len is not written.
static int GetText(int ReaderID, unsigned char sub, unsigned char* Data) {
  Response s;
  int rt = ReadSetting(ReaderID, sub, s);
  if (rt > 0) {
    int n = s.len;
    for (int i = 0; i < kTextScan; ++i)
      if (s.data[i] == 0) n = i;
    if (n > kStoredText) n = kStoredText;
    s.CopyTo(Data, 0, n);
  }
  return rt;
}

int Vela_Config_TextPowerOn_Set(int ReaderID, unsigned char len, unsigned char* Data) {
  return SetText(ReaderID, kTextPowerOn, len, Data);
}

int Vela_Config_TextPowerOn_Get(int ReaderID, unsigned char* /*len*/, unsigned char* Data) {
  return GetText(ReaderID, kTextPowerOn, Data);
}

int Vela_Config_TextRun_Set(int ReaderID, unsigned char len, unsigned char* Data) {
  return SetText(ReaderID, kTextRun, len, Data);
}

int Vela_Config_TextRun_Get(int ReaderID, unsigned char* /*len*/, unsigned char* Data) {
  return GetText(ReaderID, kTextRun, Data);
}

static bool ImageFits(unsigned char width, unsigned char height) {
  return width <= kImageMaxWidth && height <= kImageMaxHeight;
}

// One bit a pixel.
static int BitmapBytes(unsigned char width, unsigned char height) { return width * height / 8; }

// The bitmap alone, width x height / 8 bytes.
static int SetImage(int ReaderID, unsigned char sub, unsigned char width, unsigned char height,
                    unsigned char* Data) {
  if (!ImageFits(width, height)) return -2;
  return Vela_Write(ReaderID, sub, BitmapBytes(width, height), Data, deadline::kDisplayFlash);
}

int Vela_Config_ImagePowerOn_Set(int ReaderID, unsigned char width, unsigned char height,
                                 unsigned char* Data) {
  return SetImage(ReaderID, kImagePowerOn, width, height, Data);
}

int Vela_Config_ImageRun_Set(int ReaderID, unsigned char width, unsigned char height,
                             unsigned char* Data) {
  return SetImage(ReaderID, kImageRun, width, height, Data);
}

// ---- Immediate display ------------------------------------------------------------

// Position and at most 16 text bytes.
static int ShowTextWith(int ReaderID, unsigned char sub, unsigned char Config, unsigned char line,
                        unsigned char column, unsigned char len, unsigned char* Data) {
  int n = len < kShownTextMax ? len : kShownTextMax;
  Field f;
  f.u8(Config).u8(line).u8(column).bytes(Data, n);
  return Send(ReaderID, sub, f);
}

int Vela_ShowText(int ReaderID, unsigned char Config, unsigned char line, unsigned char column,
                  unsigned char len, unsigned char* Data) {
  return ShowTextWith(ReaderID, kShowText, Config, line, column, len, Data);
}

int Vela_ShowEnText(int ReaderID, unsigned char Config, unsigned char line, unsigned char column,
                    unsigned char len, unsigned char* Data) {
  return ShowTextWith(ReaderID, kShowEnText, Config, line, column, len, Data);
}

// The height goes in pixels here, unlike the image and form settings.
int Vela_ShowImageFromFlash(int ReaderID, unsigned char config, unsigned char line,
                            unsigned char column, unsigned char width, unsigned char height,
                            unsigned int FlashAddr) {
  Field f;
  f.u8(config).u8(line).u8(column).u8(width).u8(height).u32le(FlashAddr);
  return Send(ReaderID, kShowImageFromFlash, f);
}

// A full-screen image makes 5 + 1024 parameter bytes, one frame.
int Vela_ShowImage(int ReaderID, unsigned char config, unsigned char line, unsigned char column,
                   unsigned char width, unsigned char height, unsigned char* Data) {
  if (!ImageFits(width, height)) return -2;
  Field f;
  f.u8(config).u8(line).u8(column).u8(width).u8(height / 8).bytes(Data, BitmapBytes(width, height));
  return Send(ReaderID, kShowImage, f);
}

int Vela_ControlLCDBackLight(int ReaderID, unsigned char Config, unsigned char timespan) {
  Field f;
  f.u8(Config).u8(timespan);
  return Send(ReaderID, kBackLight, f);
}

int Vela_ClearLCDByLine(int ReaderID, unsigned char lines) {
  Field f;
  f.u8(lines);
  return Send(ReaderID, kBackLight, f);
}

}  // namespace orvex
