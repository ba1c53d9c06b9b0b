// SPDX-License-Identifier: MIT
// Display reader commands: the reader model with a 128 x 64 monochrome LCD, a
// real-time clock and a flash store of its own. Every operation is reader
// command 0xC3 whose data field starts with a sub-command byte that the
// reader echoes as the first byte of its answer.
//
// Results: 1 when the reader carried the sub-command out; -1 when nothing
// could be sent, nothing came back or the answer did not decode; -2 when
// the data cannot go out in one frame or an image is larger than 128 x 64
// (nothing is sent); otherwise the reader's status byte read as a signed
// 8-bit value (0x01..0x7F -> 1..127, 0x80..0xFF -> -128..-1), and 0 when a
// status-0 answer does not echo the sub-command. A refusal with status 0x01
// therefore reads as success.
#pragma once

namespace orvex {

// The two exchanges every display command goes through. Vela_Write sends
// the sub-command CMD followed by len bytes of data and expects no result;
// Vela_Read sends CMD and paramlen bytes of param and, on success only,
// writes the result (the answer bytes after the echo) to data and its
// length to len.
int Vela_Write(int ReaderID, unsigned char CMD, int len, unsigned char* data, int DelayTime100ms);
int Vela_Read(int ReaderID, unsigned char CMD, int paramlen, unsigned char* param, int* len,
              unsigned char* data, int DelayTime100ms);

// Flash store; addresses and counts go least significant byte first.
int Vela_WriteFlash(int ReaderID, unsigned int BeginAddr, int len, unsigned char* Data);
int Vela_ReadFlash(int ReaderID, unsigned int BeginAddr, int BytesCount, int* len,
                   unsigned char* Data);
int Vela_Config_WriteFlashEx(int ReaderID, unsigned int BeginAddr, int len, unsigned char* Data);
int Vela_Config_ReadFlashEx(int ReaderID, unsigned int BeginAddr, int BytesCount, int* len,
                            unsigned char* Data);

// Clock, time and date display, font.
int Vela_Config_Clock_Set(int ReaderID, unsigned char* Data);
int Vela_Config_Clock_Get(int ReaderID, unsigned char* Data);
int Vela_Config_TimeDisplay_Set(int ReaderID, unsigned char Enable, unsigned char Line,
                                unsigned char Column);
int Vela_Config_TimeDisplay_Get(int ReaderID, unsigned char* Enable, unsigned char* Line,
                                unsigned char* Column);
int Vela_Config_DateDisplay_Set(int ReaderID, unsigned char Enable, unsigned char Line,
                                unsigned char Column);
int Vela_Config_DateDisplay_Get(int ReaderID, unsigned char* Enable, unsigned char* Line,
                                unsigned char* Column);
int Vela_Config_Font_Set(int ReaderID, unsigned char Font);
int Vela_Config_Font_Get(int ReaderID, unsigned char* Font);

// The frames shown at power-on and while running.
int Vela_Config_FormPowerOn_Set(int ReaderID, unsigned char config, unsigned char timespan,
                                unsigned char width, unsigned char height, unsigned char line,
                                unsigned char column);
int Vela_Config_FormPowerOn_Get(int ReaderID, unsigned char* config, unsigned char* timespan,
                                unsigned char* width, unsigned char* height, unsigned char* line,
                                unsigned char* column);
int Vela_Config_FormRun_Set(int ReaderID, unsigned char config, unsigned char timespan,
                            unsigned char width, unsigned char height, unsigned char line,
                            unsigned char column);
int Vela_Config_FormRun_Get(int ReaderID, unsigned char* config, unsigned char* timespan,
                            unsigned char* width, unsigned char* height, unsigned char* line,
                            unsigned char* column);

// The stored texts (64 bytes, space padded) and images.
int Vela_Config_TextPowerOn_Set(int ReaderID, unsigned char len, unsigned char* Data);
int Vela_Config_TextPowerOn_Get(int ReaderID, unsigned char* len, unsigned char* Data);
int Vela_Config_TextRun_Set(int ReaderID, unsigned char len, unsigned char* Data);
int Vela_Config_TextRun_Get(int ReaderID, unsigned char* len, unsigned char* Data);
int Vela_Config_ImagePowerOn_Set(int ReaderID, unsigned char width, unsigned char height,
                                 unsigned char* Data);
int Vela_Config_ImageRun_Set(int ReaderID, unsigned char width, unsigned char height,
                             unsigned char* Data);

// Immediate display.
int Vela_ShowText(int ReaderID, unsigned char Config, unsigned char line, unsigned char column,
                  unsigned char len, unsigned char* Data);
int Vela_ShowImageFromFlash(int ReaderID, unsigned char config, unsigned char line,
                            unsigned char column, unsigned char width, unsigned char height,
                            unsigned int FlashAddr);
int Vela_ShowImage(int ReaderID, unsigned char config, unsigned char line, unsigned char column,
                   unsigned char width, unsigned char height, unsigned char* Data);
int Vela_ShowEnText(int ReaderID, unsigned char Config, unsigned char line, unsigned char column,
                    unsigned char len, unsigned char* Data);
int Vela_ControlLCDBackLight(int ReaderID, unsigned char Config, unsigned char timespan);
int Vela_ClearLCDByLine(int ReaderID, unsigned char lines);

}  // namespace orvex
