// SPDX-License-Identifier: MIT
/**
 * @file orvex.h
 * orvex.h — host library for Orvex desktop card readers (liborvex.so.1).
 *
 * One reader link per process, over a serial line or USB HID. Open it with
 * OV_ComInitial / OV_ComInitialDevice (serial) or OV_USBHIDInitial (USB),
 * call any command, close it with OV_ComFree / OV_USBHIDFree.
 *
 * Every command is synchronous and returns an int. Unless a method says
 * otherwise:
 *     1   the reader carried the command out
 *    -1   nothing could be sent, nothing came back in time, or the answer
 *         was malformed (bad length or checksum, or larger than the
 *         library's buffers)
 *    -3   the reader answered with a non-zero status (no card, wrong key...)
 * Output parameters are written only on success. The library is never told
 * the size of an output buffer: each method states how many bytes it writes,
 * and the caller provides at least that many. The last sentence of a
 * method's description, "Outputs: ...", gives the size of each of its
 * outputs: "N bytes" are always written in full, "at most N bytes" with the
 * count written going to the method's length output, "1 int" (or another
 * type) a single value. A length output never exceeds the size given for
 * the bytes it counts.
 *
 * ReaderID is the reader number, sent in every frame as 16 bits. Readers
 * leave the factory with number 0 or 1; OV_GetReaderID tells.
 *
 * Orvex objects carry no state: any number of them share the one link.
 * Calls must come from one thread at a time.
 */
#ifndef ORVEX_H
#define ORVEX_H

/** Marks what liborvex.so.1 exports (default visibility under GCC and clang). */
#if defined(__GNUC__)
#define ORVEX_API __attribute__((visibility("default")))
#else
#define ORVEX_API
#endif

/* The library's version: the header an application was compiled with.
 * OrvexVersionString() tells the version of the liborvex.so.1 it runs
 * with. A release changes MINOR when it adds to the interface and PATCH
 * when it only fixes; an incompatible change would need a new SONAME. */
/** Major version of this header: the 1 of liborvex.so.1. */
#define ORVEX_VERSION_MAJOR 1
/** Minor version of this header: raised by releases that add to the interface. */
#define ORVEX_VERSION_MINOR 0
/** Patch version of this header: raised by releases that only fix. */
#define ORVEX_VERSION_PATCH 0
/** The three numbers as one integer, for preprocessor comparisons:
 *  `#if ORVEX_VERSION >= ORVEX_MAKE_VERSION(1, 1, 0)`. */
#define ORVEX_MAKE_VERSION(major, minor, patch) ((major) * 10000 + (minor) * 100 + (patch))
/** This header's version as one integer (ORVEX_MAKE_VERSION). */
#define ORVEX_VERSION \
  ORVEX_MAKE_VERSION(ORVEX_VERSION_MAJOR, ORVEX_VERSION_MINOR, ORVEX_VERSION_PATCH)

/** The version of the library loaded, "MAJOR.MINOR.PATCH" (for this header
 *  "1.0.0"); a static string. OV_GetDLLVersion keeps its fixed 7. */
ORVEX_API const char* OrvexVersionString();

/** The most a single answer can carry, in bytes, and so the most any
 *  "all answer bytes" output can receive. */
#define ORVEX_MAX_ANSWER 1040

/** The reader commands: every method drives the reader or the card in its
 *  field over the link in use on the calling thread (the process-wide one,
 *  or an OrvexLink made current by an OrvexLinkScope). The objects carry
 *  no state; results are as the file's description says unless a method
 *  says otherwise. */
class ORVEX_API Orvex {
 public:
  /** Nothing to set up: any number of objects share the link. */
  Orvex() {}

  /* ==================================================================== */
  /* Library and link                                                      */
  /* ==================================================================== */

  /** Library version. No link needed. Always 7. */
  int OV_GetDLLVersion();

  /** Opens the serial port "/dev/ttyS<PortIndex>" (port 0 is /dev/ttyS0) at
   *  Bound bits per second: 4800, 9600, 19200 or 38400, no parity, one stop
   *  bit, no flow control. The driver asks for 8 data bits with no parity in
   *  a way that leaves the character size at 7 bits (CS7): applications
   *  written for these readers get the line they were written against
   *  (OV_ComInitialDevice sets up a fully raw 8-bit line). Closes a serial
   *  port opened before.
   *  1 opened (the serial link is now the active one), 0 failed. */
  int OV_ComInitial(int PortIndex, int Bound);

  /** As OV_ComInitial, for any serial device path: a USB-serial adapter
   *  ("/dev/ttyUSB0", "/dev/ttyACM0") or a pseudo-terminal such as the
   *  simulated reader's. This library's own addition, set up for a real
   *  UART: the line fully raw at 8 data bits without parity (no CR/LF
   *  translation, no XON/XOFF, bit 7 kept), close-on-exec, and the port
   *  held for exclusive use (TIOCEXCL and an advisory lock: a second opener,
   *  root included, fails) until OV_ComFree. Answers are taken as on every
   *  process-wide link, without comparing their command byte or reader
   *  number (an OrvexLink compares them). 1 opened, 0 failed (also when the
   *  port is in use). */
  int OV_ComInitialDevice(const char* DevicePath, int Bound);

  /** Closes the serial port and ends the use of whichever link was active
   *  (also an open USB link: reopen it with OV_USBHIDInitial). Always 1. */
  int OV_ComFree();

  /** Opens the reader on USB (vendor 0x0471, product 0x114A), detaching the
   *  kernel's HID driver if it holds the interface. 1 opened (the USB link
   *  is now the active one); -1 no such device or interface, or it cannot
   *  be claimed; -2 the device was found but could not be opened. */
  int OV_USBHIDInitial();

  /** Ends the USB link and releases the device. 0. */
  int OV_USBHIDFree();

  /** Switches the reader's line speed (4800, 9600, 14400, 19200, 28800,
   *  38400, 57600 or 115200; any other value selects 19200). The command is
   *  addressed to reader number 0 whatever ReaderID is. The host port keeps
   *  its speed: reopen it with OV_ComInitial at the new speed (the host side
   *  accepts 4800 to 38400 only). Result: the reader's status byte (0 when it
   *  accepted), -1 on a link failure. */
  int OV_ComNewBound(int ReaderID, int NewBound);

  /* ==================================================================== */
  /* Reader management                                                     */
  /* ==================================================================== */

  /** Gives the reader addressed as OldID the number NewID. 1 for any
   *  well-formed answer (its status is not looked at), -1 on a link failure. */
  int OV_SetReaderID(int OldID, int NewID);

  /** Reads the reader's number. The 16-bit number if the reader carried the
   *  command out, 0 if it refused (indistinguishable from number 0), -1 on a
   *  link failure. */
  int OV_GetReaderID(int ReaderID);

  /** Reads the reader's firmware version. The 16-bit version, 0 if the reader
   *  refused, -1 on a link failure. */
  int OV_GetReaderVersion(int ReaderID);

  /** Reads the reader's serial number into ReaderSerial (all answer bytes,
   *  usually 8; at most ORVEX_MAX_ANSWER). Result: the answer length whether
   *  or not the reader carried the command out (ReaderSerial is written only
   *  when it did), -1 on a link failure.
   *  Outputs: ReaderSerial at most ORVEX_MAX_ANSWER bytes. */
  int OV_GetReaderSerial(int ReaderID, unsigned char* ReaderSerial);

  /** Reads the reader's product number into ReaderNo, as OV_GetReaderSerial.
   *  Outputs: ReaderNo at most ORVEX_MAX_ANSWER bytes. */
  int OV_GetReaderNo(int ReaderID, unsigned char* ReaderNo);

  /** Sounds the buzzer Cycle times, Time_ON on and Time_OFF off (firmware
   *  units, one byte each). 1 done; -1 link failure or refused. */
  int OV_Buzzer(int ReaderID, int Time_ON, int Time_OFF, int Cycle);

  /** Blinks lamp LEDIndex Cycle times (Time_ON / Time_OFF), then leaves lamp
   *  LedIndexOn lit. One byte each. 1 done; -1 link failure or refused. */
  int OV_Led(int ReaderID, int LEDIndex, int Time_ON, int Time_OFF, int Cycle, int LedIndexOn);

  /** Shows LEDText (at most 16 characters; a dot after a character is its
   *  decimal point) on the 8-digit LED display. Alignment 3 right, 2 centre,
   *  anything else left. 1 done; -1 link failure or refused. */
  int OV_LEDDisplay(int ReaderID, int Alignment, char* LEDText);

  /** Switches the RF antenna on (true) or off. 1 done; -2 the reader did not
   *  answer; -1 malformed answer or refused. */
  int OV_AntennaStatus(int ReaderID, bool ATStatus);

  /** Sets the reader's card-search mode (one byte, firmware-defined).
   *  1 done; -1 link failure or refused. */
  int OV_SearchCardMode(int ReaderID, int Mode);

  /** Sets the card-search mode with a parameter byte. 1; -1. */
  int OV_SearchCardModeEx(int ReaderID, int Mode, int Param);

  /** Reads the number of the low-frequency (125 kHz) card in the field into
   *  CardID (all answer bytes, usually 5). 1; -1 link failure or refused.
   *  Outputs: CardID at most ORVEX_MAX_ANSWER bytes. */
  int OV_LFCard_ReadID(int ReaderID, unsigned char* CardID);

  /** Writes DataLen bytes of DataToWrite to the reader's memory at AddrBegin
   *  (16-bit address). 1; -1 link failure, refused, or more data than one
   *  command can carry. */
  int OV_WriteReaderMemory(int ReaderID, int AddrBegin, int DataLen, unsigned char* DataToWrite);

  /** Reads DataLen bytes of the reader's memory from AddrBegin into
   *  DataToRead (all answer bytes: DataLen when the reader complies).
   *  1; -1 link failure or refused.
   *  Outputs: DataToRead at most ORVEX_MAX_ANSWER bytes. */
  int OV_ReadReaderMemory(int ReaderID, int AddrBegin, int DataLen, unsigned char* DataToRead);

  /** Sets the reader's parameter Index to the ParamLen bytes of Param.
   *  1; -1 link failure or refused. */
  int OV_SetParam(int ReaderID, int Index, int ParamLen, unsigned char* Param);

  /** Sends parameter request Index with ParamLen bytes of Param and returns
   *  the reader's answer: all answer bytes to OutResult, their count to
   *  OutLen. 1; -1 link failure or refused.
   *  Outputs: OutLen 1 int, OutResult at most ORVEX_MAX_ANSWER bytes. */
  int OV_GetParam(int ReaderID, int Index, int ParamLen, unsigned char* Param, int* OutLen,
                  unsigned char* OutResult);

  /** Sets the 433 MHz module's 8 parameter bytes. 1; -1. */
  int OV_Set433ModuleParam(int ReaderID, unsigned char* Param);

  /** Reads the 433 MHz module's parameters: always 8 bytes to Param. 1; -1.
   *  Outputs: Param 8 bytes. */
  int OV_Get433ModuleParam(int ReaderID, unsigned char* Param);

  /** Chooses the HF antenna AntennaID. 1; -1 link failure or refused. */
  int OV_HFSelectAntenna(int ReaderID, int AntennaID);

  /** Raw pass-through; declared here, provided only as the free function
   *  OV_SendCMD below (call that one).
   *  Outputs: OutLen 1 int, OutResult at most ORVEX_MAX_ANSWER bytes. */
  int OV_SendCMD(int ReaderID, int Mode, int TimeOut, int ParamLen, unsigned char* Param,
                 int* OutLen, unsigned char* OutResult);

  /* ==================================================================== */
  /* Display reader                                                        */
  /* ==================================================================== */
  /* The reader model with a 128 x 64 monochrome LCD, a real-time clock and a
   * flash store of its own. Results of every method in this group:
   *     1      done (also: refused with status 0x01, which cannot be told apart)
   *    -1      nothing could be sent, nothing came back in time, or the answer
   *            was malformed
   *    -2      refused before sending: an image larger than 128 x 64, or data
   *            that does not fit one command (more than 1039 bytes after the
   *            sub-command byte, e.g. a flash write of more than 1035 bytes)
   *     0      the reader answered with status 0 but did not echo the command
   *   other    the reader refused: its status byte read as signed
   *            (0x02..0x7F -> 2..127, 0x80..0xFF -> -128..-1)
   * Flash addresses and counts travel least significant byte first. The
   * "Get" methods write their outputs whenever the result is positive; after
   * a refusal with a status of 0x01..0x7F those outputs are zeros. */

  /** Writes len bytes of Data to the display's flash store at BeginAddr
   *  (at most 1035 bytes in one call). Deadline 5 s. */
  int OV_WriteFlash(int ReaderID, unsigned int BeginAddr, int len, unsigned char* Data);

  /** Reads BytesCount (16 bits) bytes of the display's flash store from
   *  BeginAddr: the bytes the reader sends to Data (at most
   *  ORVEX_MAX_ANSWER - 1, BytesCount when the reader complies), their count
   *  to len. Deadline 5 s.
   *  Outputs: len 1 int, Data at most ORVEX_MAX_ANSWER - 1 bytes. */
  int OV_ReadFlash(int ReaderID, unsigned int BeginAddr, int BytesCount, int* len, unsigned char* Data);

  /** As OV_WriteFlash, into the flash area that holds the display
   *  configuration. */
  int OV_Config_WriteFlashEx(int ReaderID, unsigned int BeginAddr, int len, unsigned char* Data);

  /** As OV_ReadFlash, from the flash area that holds the display
   *  configuration.
   *  Outputs: len 1 int, Data at most ORVEX_MAX_ANSWER - 1 bytes. */
  int OV_Config_ReadFlashEx(int ReaderID, unsigned int BeginAddr, int BytesCount, int* len,
                            unsigned char* Data);

  /** Sets the reader's clock from the 8-byte clock record in Data (layout
   *  defined by the reader firmware). */
  int OV_Config_Clock_Set(int ReaderID, unsigned char* Data);

  /** Reads the reader's clock: the bytes the reader sends (the 8-byte clock
   *  record) to Data. Data is written only when the reader carried the
   *  command out.
   *  Outputs: Data at most ORVEX_MAX_ANSWER bytes. */
  int OV_Config_Clock_Get(int ReaderID, unsigned char* Data);

  /** Shows (Enable non-zero) or hides the time at Line, Column. */
  int OV_Config_TimeDisplay_Set(int ReaderID, unsigned char Enable, unsigned char Line,
                                unsigned char Column);

  /** Reads the time display setting: one byte each to Enable, Line, Column.
   *  Outputs: Enable 1 byte, Line 1 byte, Column 1 byte. */
  int OV_Config_TimeDisplay_Get(int ReaderID, unsigned char* Enable, unsigned char* Line,
                                unsigned char* Column);

  /** Shows (Enable non-zero) or hides the date at Line, Column. */
  int OV_Config_DateDisplay_Set(int ReaderID, unsigned char Enable, unsigned char Line,
                                unsigned char Column);

  /** Reads the date display setting: one byte each to Enable, Line, Column.
   *  Outputs: Enable 1 byte, Line 1 byte, Column 1 byte. */
  int OV_Config_DateDisplay_Get(int ReaderID, unsigned char* Enable, unsigned char* Line,
                                unsigned char* Column);

  /** Chooses the display font (firmware-defined number). */
  int OV_Config_Font_Set(int ReaderID, unsigned char Font);

  /** Reads the display font: one byte to Font.
   *  Outputs: Font 1 byte. */
  int OV_Config_Font_Get(int ReaderID, unsigned char* Font);

  /** Sets the frame shown at power-on: config and timespan (firmware-defined),
   *  width in pixels, height in pixels (sent as a count of 8-pixel rows, so
   *  rounded down to a multiple of 8), and its line and column. */
  int OV_Config_FormPowerOn_Set(int ReaderID, unsigned char config, unsigned char timespan,
                                unsigned char width, unsigned char height, unsigned char line,
                                unsigned char column);

  /** Reads the power-on frame: one byte to each output; height in pixels
   *  (the stored row count times 8).
   *  Outputs: config 1 byte, timespan 1 byte, width 1 byte, height 1 byte, line 1 byte, column
   *  1 byte. */
  int OV_Config_FormPowerOn_Get(int ReaderID, unsigned char* config, unsigned char* timespan,
                                unsigned char* width, unsigned char* height, unsigned char* line,
                                unsigned char* column);

  /** As OV_Config_FormPowerOn_Set, for the frame shown while running. */
  int OV_Config_FormRun_Set(int ReaderID, unsigned char config, unsigned char timespan,
                            unsigned char width, unsigned char height, unsigned char line,
                            unsigned char column);

  /** As OV_Config_FormPowerOn_Get, for the frame shown while running.
   *  Outputs: config 1 byte, timespan 1 byte, width 1 byte, height 1 byte, line 1 byte, column
   *  1 byte. */
  int OV_Config_FormRun_Get(int ReaderID, unsigned char* config, unsigned char* timespan,
                            unsigned char* width, unsigned char* height, unsigned char* line,
                            unsigned char* column);

  /** Stores the text shown at power-on: the first len bytes of Data (at most
   *  64), padded with spaces to 64 bytes. */
  int OV_Config_TextPowerOn_Set(int ReaderID, unsigned char len, unsigned char* Data);

  /** Reads the power-on text into Data: 64 bytes in practice (the text up to
   *  the last zero byte of the reader's result, at most 64). len is not
   *  written.
   *  Outputs: Data 64 bytes. */
  int OV_Config_TextPowerOn_Get(int ReaderID, unsigned char* len, unsigned char* Data);

  /** As OV_Config_TextPowerOn_Set, for the text shown while running. */
  int OV_Config_TextRun_Set(int ReaderID, unsigned char len, unsigned char* Data);

  /** As OV_Config_TextPowerOn_Get, for the text shown while running.
   *  Outputs: Data 64 bytes. */
  int OV_Config_TextRun_Get(int ReaderID, unsigned char* len, unsigned char* Data);

  /** Stores the image shown at power-on: width x height / 8 bytes of bitmap
   *  (one bit a pixel), width at most 128, height at most 64, else -2.
   *  Deadline 5 s. */
  int OV_Config_ImagePowerOn_Set(int ReaderID, unsigned char width, unsigned char height,
                                 unsigned char* Data);

  /** As OV_Config_ImagePowerOn_Set, for the image shown while running. */
  int OV_Config_ImageRun_Set(int ReaderID, unsigned char width, unsigned char height,
                             unsigned char* Data);

  /** Shows len bytes of Data (at most 16; more are cut) at line, column;
   *  Config is firmware-defined. */
  int OV_ShowText(int ReaderID, unsigned char Config, unsigned char line, unsigned char column,
                  unsigned char len, unsigned char* Data);

  /** Shows the width x height (pixels) image stored in the display's flash at
   *  FlashAddr, at line, column. */
  int OV_ShowImageFromFlash(int ReaderID, unsigned char config, unsigned char line,
                            unsigned char column, unsigned char width, unsigned char height,
                            unsigned int FlashAddr);

  /** Shows the width x height image of width x height / 8 bytes in Data at
   *  line, column (height sent as 8-pixel rows). Width at most 128, height
   *  at most 64, else -2; a full screen goes in one command. */
  int OV_ShowImage(int ReaderID, unsigned char config, unsigned char line, unsigned char column,
                   unsigned char width, unsigned char height, unsigned char* Data);

  /** As OV_ShowText, through the reader's English-text command. */
  int OV_ShowEnText(int ReaderID, unsigned char Config, unsigned char line, unsigned char column,
                    unsigned char len, unsigned char* Data);

  /** Switches the LCD back light (Config and timespan firmware-defined). */
  int OV_ControlLCDBackLight(int ReaderID, unsigned char Config, unsigned char timespan);

  /** Clears display lines (lines is firmware-defined). */
  int OV_ClearLCDByLine(int ReaderID, unsigned char lines);

  /* ==================================================================== */
  /* ISO 14443-A and MIFARE Classic                                        */
  /* ==================================================================== */
  /* Block numbers, key indices, cascade levels and modes are sent as their
   * low byte (block 256 is block 0). Unless a method says otherwise:
   * 1 done, -1 link failure, -3 the reader refused (no card, wrong key,
   * card error). */

  /** Requests a card in the field with RequestMode (one byte, e.g. 0x26 for
   *  REQA, 0x52 for WUPA). CardType receives the card's answer, its first
   *  byte in the high half (ATQA 0x0004 reads 0x0400).
   *  Outputs: CardType 1 unsigned short. */
  int OV_RequestCard(int ReaderID, unsigned char RequestMode, unsigned short* CardType);

  /** Runs the anticollision loop. LenSNO receives the serial number length,
   *  SNO the serial number (all answer bytes: 4, 7 or 10).
   *  Outputs: LenSNO 1 byte (cut to 8 bits), SNO at most ORVEX_MAX_ANSWER bytes. */
  int OV_AntiCollide(int ReaderID, unsigned char* LenSNO, unsigned char* SNO);

  /** Selects the card with the LenSNO-byte serial number SNO. */
  int OV_CardSelect(int ReaderID, unsigned char LenSNO, unsigned char* SNO);

  /** Stores the 6-byte MIFARE Key in the reader under KeyIndex.
   *  1; -2 the reader did not answer; -1; -3. */
  int OV_DownLoadKey(int ReaderID, int KeyIndex, unsigned char* Key);

  /** Authenticates block BlockAddr's sector with the key the reader holds
   *  under KeyIndex. KeyMode (the key type byte) goes to the reader as it
   *  stands. 1; -2 the reader did not answer; -1; -3 refused. */
  int OV_KeyDown_Authorization(int ReaderID, unsigned char KeyMode, int BlockAddr, unsigned char KeyIndex);

  /** Authenticates block BlockAddr's sector with the 6-byte Key given here.
   *  1; -2 the reader did not answer; -1; -3 refused. */
  int OV_KeyAuthorization(int ReaderID, unsigned char KeyMode, int BlockAddr, unsigned char* Key);

  /** Reads block BlockAddr. pData receives exactly LenData bytes (16 for a
   *  MIFARE block; zeros where the answer is shorter, at most
   *  ORVEX_MAX_ANSWER).
   *  Outputs: pData LenData bytes. */
  int OV_ReadaBlock(int ReaderID, int BlockAddr, int LenData, unsigned char* pData);

  /** Writes the LenData bytes of pData (16 for a MIFARE block) to block
   *  BlockAddr. */
  int OV_WriteaBlock(int ReaderID, int BlockAddr, int LenData, unsigned char* pData);

  /** Makes block BlockAddr a value block holding IniMoney. */
  int OV_Purse_Initial(int ReaderID, int BlockAddr, int IniMoney);

  /** Reads the value of block BlockAddr into Money.
   *  Outputs: Money 1 int. */
  int OV_Purse_Read(int ReaderID, int BlockAddr, int* Money);

  /** Decrements the value of block BlockAddr by Decrement into the card's
   *  value register (OV_Transfer stores it). */
  int OV_Purse_Decrease(int ReaderID, int BlockAddr, int Decrement);

  /** Increments the value of block BlockAddr by Charge into the card's
   *  value register (OV_Transfer stores it). */
  int OV_Purse_Charge(int ReaderID, int BlockAddr, int Charge);

  /** Loads the value of block BlockAddr into the card's value register. */
  int OV_Restore(int ReaderID, int BlockAddr);

  /** Writes the card's value register to block BlockAddr. */
  int OV_Transfer(int ReaderID, int BlockAddr);

  /** Halts the selected card. */
  int OV_CardHalt(int ReaderID);

  /** Anticollision and selection in one step. CardMem receives the card's
   *  memory byte (1 byte), SNLen the serial number length (1 byte), SN the
   *  serial number (the answer's bytes after the first: at most 10 bytes).
   *  Result: the serial number length (positive) when done; -1 also for an
   *  answer without the memory byte or without serial number bytes, or with
   *  more than 10 of them (nothing written); -3.
   *  Outputs: CardMem 1 byte, SNLen 1 byte, SN at most 10 bytes. */
  int OV_AntiCollideAndSelect(int ReaderID, unsigned char ReturnMode, unsigned char* CardMem,
                              unsigned char* SNLen, unsigned char* SN);

  /** Activates the ISO 14443-4 (CPU) card in the field; Mode and MultiMode
   *  go to the reader as they stand. pData receives the whole answer (the
   *  card's answer to select, at most ORVEX_MAX_ANSWER bytes), rtLen its
   *  length.
   *  Outputs: rtLen 1 int, pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_TypeA_Reset(int ReaderID, unsigned char Mode, unsigned char MultiMode, int* rtLen,
                     unsigned char* pData);

  /** Sends the LenCOS-byte command APDU Com_COS to the activated CPU card.
   *  pData receives the response APDU, data then SW1 SW2 (at most
   *  ORVEX_MAX_ANSWER bytes), rtLen its length. 1 whatever SW1 SW2 say.
   *  Outputs: rtLen 1 int, pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_TypeA_COS(int ReaderID, int LenCOS, unsigned char* Com_COS, int* rtLen, unsigned char* pData);

  /** Reads the four Ultralight pages from BlockID on: 16 bytes to pData.
   *  Outputs: pData 16 bytes. */
  int OV_UltraLightRead(int ReaderID, int BlockID, unsigned char* pData);

  /** Writes the first 4 bytes of pData to Ultralight page BlockID. */
  int OV_UltraLightWrite(int ReaderID, int BlockID, unsigned char* pData);

  /** Anticollision at cascade level Leveln (1, 2, 3). LenSNO receives the
   *  answer length (1 byte), SNO the answer bytes.
   *  Outputs: LenSNO 1 byte (cut to 8 bits), SNO at most ORVEX_MAX_ANSWER bytes. */
  int OV_AntiCollide_Level(int ReaderID, int Leveln, unsigned char* LenSNO, unsigned char* SNO);

  /** Selection at cascade level Leveln; SAK receives the card's SAK (1 byte).
   *  Outputs: SAK 1 byte. */
  int OV_SelectCard_Level(int ReaderID, int Leveln, unsigned char* SAK);

  /** Request, anticollision and selection in one step. ATQA receives the
   *  answer's first two bytes, the first in the low half (ATQA 0x0004 reads
   *  0x0004); SAK the SAK (1 byte); LenSNO the serial number length (1 byte);
   *  SNO the serial number (the answer's bytes from the fourth on: at most
   *  10 bytes). 1; -1 also for an answer shorter than 3 bytes or with more
   *  than 10 serial number bytes (nothing written); -3.
   *  Outputs: ATQA 1 unsigned short, SAK 1 byte, LenSNO 1 byte, SNO at most 10 bytes. */
  int OV_RequestAntiandSelect(int ReaderID, int SearchMode, int RetMode, unsigned short* ATQA,
                              unsigned char* SAK, unsigned char* LenSNO, unsigned char* SNO);

  /** Writes the LenData bytes of pData to BlockNums blocks from StartBlock.
   *  The reader gets BlockNums x 100 ms to answer. Result when done: the
   *  reader's first answer byte (0 to 255; 0 is a success too); -1; -3. */
  int OV_WriteM1MultiBlock(int ReaderID, int StartBlock, int BlockNums, int LenData, unsigned char* pData);

  /** Reads BlockNums blocks from StartBlock; the reader gets BlockNums x
   *  100 ms to answer. LenData receives the answer length n (its leading byte
   *  included) and pData n bytes from the answer's second byte on, the last
   *  of them a zero (16 x BlockNums + 1 bytes when the reader complies).
   *  Result when done: the reader's first answer byte (0 to 255; 0 is a
   *  success too); -1, also for an empty answer; -3.
   *  Outputs: LenData 1 int, pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_ReadM1MultiBlock(int ReaderID, int StartBlock, int BlockNums, int* LenData, unsigned char* pData);

  /* ==================================================================== */
  /* ISO 14443-B and memory tags                                           */
  /* ==================================================================== */
  /* Block numbers and block counts are sent as their low byte. Outputs
   * described as "the whole answer" receive every answer byte (at most
   * ORVEX_MAX_ANSWER). Unless a method says otherwise: 1 done, -1 link
   * failure, -3 the reader refused (no card, wrong key, locked block).
   * Nothing is written on failure. */

  /** Requests an ISO 14443-B card: Mode and the 4 ATTRIB parameter bytes of
   *  Attrib go to the reader as they stand. pData receives the whole answer,
   *  rtLen its length. The reader gets 400 ms to answer.
   *  Outputs: rtLen 1 int, pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_TypeB_Request(int ReaderID, unsigned char Mode, unsigned char* Attrib, int* rtLen,
                       unsigned char* pData);

  /** The same command as OV_TypeB_Request, with the same parameters.
   *  Outputs: rtLen 1 int, pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_TypeB_ResetEx(int ReaderID, unsigned char Mode, unsigned char* Attrib, int* rtLen,
                       unsigned char* pData);

  /** Resets an ISO 14443-B card. The reader receives 1 when Mode is 0x53
   *  ('S') and 0 for any other Mode. pData receives the whole answer, rtLen
   *  its length. The reader gets 400 ms to answer.
   *  Outputs: rtLen 1 int, pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_TypeB_Reset(int ReaderID, unsigned char Mode, int* rtLen, unsigned char* pData);

  /** Sends the LenCOS-byte command APDU Com_COS to the activated type B CPU
   *  card, through the same reader command as OV_TypeA_COS. pData receives
   *  the response APDU, data then SW1 SW2 (at most ORVEX_MAX_ANSWER bytes),
   *  rtLen its length. 1 whatever SW1 SW2 say.
   *  Outputs: rtLen 1 int, pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_TypeB_COS(int ReaderID, int LenCOS, unsigned char* Com_COS, int* rtLen, unsigned char* pData);

  /** Puts the card with the 4-byte PUPI to sleep (HLTB). */
  int OV_TypeB_Halt(int ReaderID, unsigned char* PUPI);

  /** Checks the 8-byte Key of an AT88RF020. The reader gets 300 ms. */
  int OV_AT88RF020_Check(int ReaderID, unsigned char* Key);

  /** Reads AT88RF020 block BlockID: pData receives the whole answer (the
   *  8-byte block).
   *  Outputs: pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_AT88RF020_Read(int ReaderID, int BlockID, unsigned char* pData);

  /** Writes the 8 bytes of pData to AT88RF020 block BlockID. */
  int OV_AT88RF020_Write(int ReaderID, int BlockID, unsigned char* pData);

  /** Sends the 4 bytes of LockByte to lock AT88RF020 blocks. */
  int OV_AT88RF020_Lock(int ReaderID, unsigned char* LockByte);

  /** Sends the 6-byte Signature with the AT88RF020 count command. */
  int OV_AT88RF020_Count(int ReaderID, unsigned char* Signature);

  /** Deselects the AT88RF020. */
  int OV_AT88RF020_DeSel(int ReaderID);

  /** Reads BlockNums AT88RF020 blocks from BlockID; the reader gets
   *  BlockNums x 100 ms. LenData receives the answer length n (its leading
   *  byte included) and pData n bytes from the answer's second byte on, the
   *  last of them a zero (8 x BlockNums + 1 bytes when the reader complies).
   *  Result when done: the leading answer byte (0 to 255; 0 is a success
   *  too); -1, also for an empty answer; -3.
   *  Outputs: LenData 1 int, pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_AT88RF020_ReadMulti(int ReaderID, int BlockID, int BlockNums, int* LenData, unsigned char* pData);

  /** Writes the LenData bytes of pData to BlockNums AT88RF020 blocks from
   *  BlockID; the reader gets BlockNums x 100 ms. Result when done: the
   *  leading answer byte (0 to 255; 0 is a success too); -1; -3. */
  int OV_AT88RF020_WriteMulti(int ReaderID, int BlockID, int BlockNums, int LenData, unsigned char* pData);

  /** Activates an ST memory tag (SR176, SR512, SRIX4K). ChipID receives the
   *  tag's chip id (1 byte).
   *  Outputs: ChipID 1 byte. */
  int OV_ST_Active(int ReaderID, unsigned char* ChipID);

  /** Deactivates the ST tag. */
  int OV_ST_DeActive(int ReaderID);

  /** Reads the SR176's 8-byte identifier from its blocks 3, 2, 1 and 0, in
   *  that order, into UID (8 bytes, highest block first). Stops at the first
   *  failing read and returns its result; the blocks read before it stay in
   *  UID. A block answer that would run past the 8 bytes of UID fails with
   *  -1.
   *  Outputs: UID 8 bytes. */
  int OV_SR176_GetUID(int ReaderID, unsigned char* UID);

  /** Reads SR176 block BlockID: pData receives the whole answer (the 2-byte
   *  block).
   *  Outputs: pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_SR176_Read(int ReaderID, int BlockID, unsigned char* pData);

  /** Writes the 2 bytes of pData to SR176 block BlockID. */
  int OV_SR176_Write(int ReaderID, int BlockID, unsigned char* pData);

  /** Writes the SR176 lock byte. */
  int OV_SR176_Lock(int ReaderID, unsigned char LockByte);

  /** Reads the SR176 lock byte into LockByte (1 byte).
   *  Outputs: LockByte 1 byte. */
  int OV_SR176_LockStatus(int ReaderID, unsigned char* LockByte);

  /** Reads BlockNums SR176 blocks from BlockID; the reader gets BlockNums x
   *  100 ms. LenData receives the number of data bytes (the answer length
   *  less its leading byte) and pData those bytes (2 x BlockNums). Result
   *  when done: the leading answer byte (0 to 255; 0 is a success too); -1
   *  also for an empty answer.
   *  Outputs: LenData 1 int, pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_SR176_ReadMulti(int ReaderID, int BlockID, int BlockNums, int* LenData, unsigned char* pData);

  /** Writes the LenData bytes of pData to BlockNums SR176 blocks from
   *  BlockID; the reader gets BlockNums x 100 ms. Result when done: the
   *  leading answer byte (0 to 255). */
  int OV_SR176_WriteMulti(int ReaderID, int BlockID, int BlockNums, int LenData, unsigned char* pData);

  /** Reads SR512 / SRIX4K block BlockID: pData receives the whole answer
   *  (the 4-byte block).
   *  Outputs: pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_SR512_Read(int ReaderID, int BlockID, unsigned char* pData);

  /** Writes the 4 bytes of pData to SR512 / SRIX4K block BlockID. */
  int OV_SR512_Write(int ReaderID, int BlockID, unsigned char* pData);

  /** Authenticates an SRIX4K with the 6-byte Key. Signature receives the
   *  whole answer (the tag's signature).
   *  Outputs: Signature at most ORVEX_MAX_ANSWER bytes. */
  int OV_SRIX4K_Check(int ReaderID, unsigned char* Key, unsigned char* Signature);

  /** Reads the SR512 / SRIX4K identifier: UID receives the whole answer
   *  (8 bytes on these tags).
   *  Outputs: UID at most ORVEX_MAX_ANSWER bytes. */
  int OV_SR512_GetUID(int ReaderID, unsigned char* UID);

  /** Locks SR512 / SRIX4K blocks. The reader receives two flags: 1 when the
   *  high byte of LockByte is non-zero, then 1 when LockByte is non-zero
   *  (0 otherwise). */
  int OV_SR512_Lock(int ReaderID, unsigned short LockByte);

  /** Reads the SR512 / SRIX4K lock bits from block 255: LockByte receives
   *  the block's first byte plus its second byte x 256. An answer longer
   *  than the 4-byte block fails with -1.
   *  Outputs: LockByte 1 unsigned short. */
  int OV_SR512_LockStatus(int ReaderID, unsigned short* LockByte);

  /** Reads BlockNums SR512 / SRIX4K blocks from BlockID, as
   *  OV_SR176_ReadMulti (pData receives 4 x BlockNums bytes).
   *  Outputs: LenData 1 int, pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_SR512_ReadMulti(int ReaderID, int BlockID, int BlockNums, int* LenData, unsigned char* pData);

  /** Writes the LenData bytes of pData to BlockNums SR512 / SRIX4K blocks
   *  from BlockID, as OV_SR176_WriteMulti. */
  int OV_SR512_WriteMulti(int ReaderID, int BlockID, int BlockNums, int LenData, unsigned char* pData);

  /* ==================================================================== */
  /* ISO 15693                                                             */
  /* ==================================================================== */
  /* PUID is the tag's 8-byte UID, sent as it stands in the buffer. Model is
   * the request's addressing mode, one byte the reader interprets. PLen
   * receives an answer length cut to one byte; PData all answer bytes (at
   * most ORVEX_MAX_ANSWER). Unless a method says otherwise: 1 done, -1 link
   * failure, -3 the reader refused (no tag, tag error). Nothing is written on
   * failure. */

  /** Inventory of the tags in the field: PData receives the reader's tag
   *  records as they come, PLen their length.
   *  Outputs: PData at most ORVEX_MAX_ANSWER bytes, PLen 1 byte (cut to 8 bits). */
  int OV_ISO15693_Inventory(int ReaderID, unsigned char* PData, unsigned char* PLen);

  /** Puts the tag PUID into the quiet state. */
  int OV_ISO15693_Stay_Quiet(int ReaderID, unsigned char* PUID);

  /** Selects the tag PUID. Model is accepted and not sent: the request is
   *  the UID alone. */
  int OV_ISO15693_Select(int ReaderID, unsigned char Model, unsigned char* PUID);

  /** Returns the tag PUID to the ready state. */
  int OV_ISO15693_Reset_To_Ready(int ReaderID, unsigned char Model, unsigned char* PUID);

  /** Reads BlockNums blocks from StartBlockID: PData receives the answer
   *  (block bytes as the reader gives them), PLen its length. The reader
   *  gets 200 ms to answer.
   *  Outputs: PData at most ORVEX_MAX_ANSWER bytes, PLen 1 byte (cut to 8 bits). */
  int OV_ISO15693_Read(int ReaderID, unsigned char Model, unsigned char* PUID,
                       unsigned char StartBlockID, unsigned char BlockNums, unsigned char* PData,
                       unsigned char* PLen);

  /** Writes the DataLen bytes of PData to block BlockID (the reader takes
   *  the length from the request). The reader gets 400 ms to answer. */
  int OV_ISO15693_Write(int ReaderID, unsigned char Model, unsigned char* PUID, unsigned char BlockID,
                        unsigned char DataLen, unsigned char* PData);

  /** Locks block BlockID for good. */
  int OV_ISO15693_Lock_Block(int ReaderID, unsigned char Model, unsigned char* PUID,
                             unsigned char BlockID);

  /** Writes the tag's AFI. */
  int OV_ISO15693_Write_AFI(int ReaderID, unsigned char Model, unsigned char* PUID, unsigned char AFI);

  /** Locks the tag's AFI. */
  int OV_ISO15693_Lock_AFI(int ReaderID, unsigned char Model, unsigned char* PUID);

  /** Writes the tag's DSFID. */
  int OV_ISO15693_Write_DSFID(int ReaderID, unsigned char Model, unsigned char* PUID,
                              unsigned char DSFID);

  /** Locks the tag's DSFID. */
  int OV_ISO15693_Lock_DSFID(int ReaderID, unsigned char Model, unsigned char* PUID);

  /** Reads the tag's system information: PData receives it as the reader
   *  gives it, PLen its length.
   *  Outputs: PData at most ORVEX_MAX_ANSWER bytes, PLen 1 byte (cut to 8 bits). */
  int OV_ISO15693_Get_System_Information(int ReaderID, unsigned char Model, unsigned char* PUID,
                                         unsigned char* PData, unsigned char* PLen);

  /** Reads the security status of BlockNums blocks from StartBlockID into
   *  PData, its length into PLen. The reader gets 100 ms, not the 200 ms of
   *  a read.
   *  Outputs: PData at most ORVEX_MAX_ANSWER bytes, PLen 1 byte (cut to 8 bits). */
  int OV_ISO15693_Get_Block_Security(int ReaderID, unsigned char Model, unsigned char* PUID,
                                     unsigned char StartBlockID, unsigned char BlockNums,
                                     unsigned char* PData, unsigned char* PLen);

  /** Inventory of several tags, restricted to application family AFI when
   *  AFIEnable says so (one byte the reader interprets). PData receives the
   *  tag records, PLen their length.
   *  Outputs: PData at most ORVEX_MAX_ANSWER bytes, PLen 1 byte (cut to 8 bits). */
  int OV_ISO15693_Multi_Inventory(int ReaderID, unsigned char AFIEnable, unsigned char AFI,
                                  unsigned char* PData, unsigned char* PLen);

  /** Writes the DataLen bytes of PData to BlockNums blocks from BlockID. The
   *  reader gets 400 ms to answer. */
  int OV_ISO15693_MultiWrite(int ReaderID, unsigned char Model, unsigned char* PUID,
                             unsigned char BlockID, unsigned char BlockNums, unsigned char DataLen,
                             unsigned char* PData);

  /* ==================================================================== */
  /* SAM slots                                                             */
  /* ==================================================================== */

  /* The reader's contact slots for secure access modules, numbered 1 to 3.
   * The slot is chosen by the command code; any other SAMIndex (0, negative,
   * 4 and above) addresses slot 1, without an error. The speed, protocol and
   * voltage codes are the reader's own and are sent unchanged as one byte.
   * Results: 1 done; -1 nothing sent, no answer in time or a malformed
   * answer; -3 the reader refused (no SAM in the slot, reset failed, speed
   * not supported). Outputs are written only on success. */

  /** Sets the slot's line speed to BaudIndex directly. Deadline 100 ms. */
  int OV_SAM_ResetBaud(int ReaderID, int SAMIndex, int BaudIndex);

  /** Changes the slot's line speed to BaudIndex by a protocol and parameter
   *  selection (PPS) exchange with the SAM. Deadline 100 ms. */
  int OV_SAM_PPSBaud(int ReaderID, int SAMIndex, int BaudIndex);

  /** As OV_SAM_PPSBaud, also naming the protocol (the reader's code in
   *  Protocol). Deadline 100 ms. */
  int OV_SAM_PPSBaudEx(int ReaderID, int SAMIndex, int BaudIndex, int Protocol);

  /** Resets the SAM in the slot. Its answer to reset goes to pData (all
   *  answer bytes, at most ORVEX_MAX_ANSWER), its length to rtLen.
   *  Deadline 700 ms.
   *  Outputs: rtLen 1 int, pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_SAM_Reset(int ReaderID, int SAMIndex, int* rtLen, unsigned char* pData);

  /** As OV_SAM_Reset, powering the SAM with the reader's voltage code
   *  SAMVoltage.
   *  Outputs: rtLen 1 int, pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_SAM_ResetEx(int ReaderID, int SAMIndex, unsigned char SAMVoltage, int* rtLen,
                     unsigned char* pData);

  /** Sends the command APDU Com_COS (LenCOS bytes, at most 100) to the SAM
   *  and puts the response APDU, data followed by SW1 SW2, in pData (at most
   *  ORVEX_MAX_ANSWER bytes) with its length in rtLen. The status words are
   *  not looked at: a SAM's error status still returns 1. -1 also for an
   *  APDU longer than 100 bytes or a negative LenCOS (nothing is sent).
   *  Deadline 1 s.
   *  Outputs: rtLen 1 int, pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_SAM_COS(int ReaderID, int SAMIndex, int LenCOS, unsigned char* Com_COS, int* rtLen,
                 unsigned char* pData);

  /* ==================================================================== */
  /* MIFARE Plus                                                           */
  /* ==================================================================== */
  /* Select the card first with the ISO 14443-A methods. Blocks are 16
   * bytes; AES keys are 16 bytes. Addresses of the level 0 write, the AES
   * authentications and the common read and write go out as 2 bytes, high
   * byte first; the L3 methods send a one-byte block number (the low byte).
   * Amounts are signed 32-bit, least significant byte first. Unless a
   * method says otherwise: 1 done, -1 link failure, -3 the reader refused
   * (no card, authentication failed, wrong security level). Nothing is
   * written on failure. */

  /** Security level 0: writes the 16 bytes of pData (configuration or AES
   *  key) to card address Address. */
  int OV_MFP_L0_WritePerso(int ReaderID, int Address, unsigned char* pData);

  /** Security level 0: commits the personalisation written so far. */
  int OV_MFP_L0_CommitPerso(int ReaderID);

  /** Switches the card to security level DesLevel (one byte) with the
   *  16-byte SwitchKey. */
  int OV_MFP_SwitchToLevel(int ReaderID, int DesLevel, unsigned char* SwitchKey);

  /** L3 authentication of block BlockID with the 16-byte Key. KeyMode takes
   *  the MIFARE codes: 0x61 selects key B; any other value key A. The reader
   *  gets 500 ms. */
  int OV_MFP_L3_Authorization(int ReaderID, int KeyMode, int BlockID, unsigned char* Key);

  /** Reads BlockNums blocks from StartBlock; the reader gets BlockNums x
   *  100 ms. pData receives the whole answer (16 x BlockNums bytes, at most
   *  ORVEX_MAX_ANSWER), DataLen its length.
   *  Outputs: DataLen 1 int, pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_MFP_L3_Read(int ReaderID, int StartBlock, int BlockNums, int* DataLen, unsigned char* pData);

  /** Writes 16 x BlockNums bytes of pData to BlockNums blocks from
   *  StartBlock; the reader gets BlockNums x 100 ms. More than one command
   *  can carry fails with -1 before anything is sent. */
  int OV_MFP_L3_Write(int ReaderID, int StartBlock, int BlockNums, unsigned char* pData);

  /** Makes block BlockID a value block holding InitialValue. */
  int OV_MFP_L3_Purse_Initial(int ReaderID, int BlockID, int InitialValue);

  /** Reads the value of block BlockID into Value.
   *  Outputs: Value 1 int. */
  int OV_MFP_L3_Purse_Read(int ReaderID, int BlockID, int* Value);

  /** Adds Value to the value of block BlockID. */
  int OV_MFP_L3_Purse_Charge(int ReaderID, int BlockID, int Value);

  /** Subtracts Value from the value of block BlockID. */
  int OV_MFP_L3_Purse_Decrease(int ReaderID, int BlockID, int Value);

  /** Copies the value of block BlockID to block DesBlockID. */
  int OV_MFP_L3_Purse_Backup(int ReaderID, int BlockID, int DesBlockID);

  /** First AES authentication on a selected card, with the 16-byte AESKey
   *  for key address AESKeyAddr. The reader gets 500 ms. */
  int OV_MFP_Authorization_First(int ReaderID, int AESKeyAddr, unsigned char* AESKey);

  /** Each further AES authentication while the card stays authenticated.
   *  The reader gets 500 ms. */
  int OV_MFP_Authorization_Follow(int ReaderID, int AESKeyAddr, unsigned char* AESKey);

  /** Reads BlockNums blocks from block address BlockID; the reader gets
   *  BlockNums x 100 ms. pData receives the whole answer (16 x BlockNums
   *  bytes, at most ORVEX_MAX_ANSWER), DataLen its length.
   *  Outputs: DataLen 1 int, pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_MFP_CommonRead(int ReaderID, int BlockID, int BlockNums, int* DataLen, unsigned char* pData);

  /** Writes 16 x BlockNums bytes of pData to BlockNums blocks from block
   *  address BlockID; the reader gets BlockNums x 100 ms. More than one
   *  command can carry fails with -1 before anything is sent. */
  int OV_MFP_CommonWrite(int ReaderID, int BlockID, int BlockNums, unsigned char* pData);

  /* ==================================================================== */
  /* FeliCa and the identity card number                                   */
  /* ==================================================================== */
  /* FeliCa commands go to the card through the reader's transparent FeliCa
   * command; the reader gets 100 ms to answer. IDM is the card's 8-byte
   * IDm. Results differ from the other card groups: 1 done; -1 link
   * failure, or parameters too long for one command; a refusal by the
   * reader comes back as its status byte (a positive number, and status 1
   * reads as 1, like success) or as 0 when the reader's answer does not
   * begin with 00. Polling, request service and request response return
   * -2 instead of a non-zero status byte, and -2 too for a card response
   * other than the one they expect; they too return 0 when the reader's
   * answer does not begin with 00. Nothing is written on failure. */

  /** Polls for a FeliCa card (Polling). SystemCode goes out low byte first,
   *  so pass it with its bytes swapped: 0x12FC for system code 0xFC12 on
   *  the air (0xFFFF matches any). RequestCode and Slot go out as they
   *  stand. IDM receives the IDm (8 bytes), PMm the PMm (8 bytes) and
   *  RequestData 2 bytes, written even when the card sent no request data
   *  (zeros then). 1; 0 answer without its leading 00; -1; -2 refused or
   *  no polling response.
   *  Outputs: IDM 8 bytes, PMm 8 bytes, RequestData 2 bytes. */
  int OV_Felica_Polling(int ReaderID, unsigned short SystemCode, unsigned char RequestCode, unsigned char Slot,
                        unsigned char* IDM, unsigned char* PMm, unsigned char* RequestData);

  /** Asks the card for the key versions of NumbersOfCode nodes (Request
   *  Service); NodeList holds their codes, 2 bytes each as the card expects
   *  them. Note the positions: the count is taken from the IDm's last byte
   *  and the bytes handed over start one byte early, at the card's node
   *  count byte. NodeKeyList receives twice that count in bytes from there,
   *  but no more than the response carries and at most 2 x NumbersOfCode + 1
   *  bytes, which it must hold. 1; 0 answer without its leading 00; -1;
   *  -2 refused or no request service response.
   *  Outputs: NodeKeyList at most 2 x NumbersOfCode + 1 bytes. */
  int OV_Felica_RequestService(int ReaderID, unsigned char* IDM, unsigned char NumbersOfCode,
                               unsigned char* NodeList, unsigned char* NodeKeyList);

  /** Asks the card for its mode (Request Response). Mode receives 1 byte:
   *  note that it is taken one byte early, from the IDm's last byte.
   *  1; 0 answer without its leading 00; -1; -2 refused or no request
   *  response response.
   *  Outputs: Mode 1 byte. */
  int OV_Felica_RequestResponse(int ReaderID, unsigned char* IDM, unsigned char* Mode);

  /** Reads NumberofBlock blocks without encryption (Read Without
   *  Encryption): NumberofService 2-byte service codes in ServiceCodeList,
   *  then the LengthofBlockList bytes of the block list BlockList. The card
   *  gets NumberofBlock x 512 time-out units (16 bits). When the card
   *  answers, Status1 and Status2 receive its two status flags (1 byte
   *  each); when both are 0, pBlockData receives 16 bytes per block the card
   *  returned, no more than its response carries and at most NumberofBlock
   *  blocks (it must hold 16 x NumberofBlock bytes). Result as the group's:
   *  1 also when the flags report an error.
   *  Outputs: Status1 1 byte, Status2 1 byte, pBlockData 16 x NumberofBlock bytes. */
  int OV_Felica_ReadWithoutEncryption(int ReaderID, unsigned char* IDM, unsigned char NumberofService,
                                      unsigned char* ServiceCodeList, unsigned char NumberofBlock,
                                      unsigned char LengthofBlockList, unsigned char* BlockList,
                                      unsigned char* Status1, unsigned char* Status2, unsigned char* pBlockData);

  /** Writes the 16 x NumberofBlock bytes of pBlockData without encryption
   *  (Write Without Encryption), with services and block list as for
   *  OV_Felica_ReadWithoutEncryption. When the card answers, Status1 and
   *  Status2 receive its two status flags (1 byte each; 0 and 0 when
   *  written): test them, since the result is 1 whatever they say.
   *  Outputs: Status1 1 byte, Status2 1 byte. */
  int OV_Felica_WriteWithoutEncryption(int ReaderID, unsigned char* IDM, unsigned char NumberofService,
                                       unsigned char* ServiceCodeList, unsigned char NumberofBlock,
                                       unsigned char LengthofBlockList, unsigned char* BlockList,
                                       unsigned char* pBlockData, unsigned char* Status1, unsigned char* Status2);

  /** Reads the card number of a second-generation resident identity card:
   *  switches the reader to type B search, activates the card, then reads
   *  the number. LengthOfCardNo receives 8 (1 byte) and CardNo the 8-byte
   *  number. 1; -5 the reader refused type B search; -4 the card did not
   *  answer the type B request; -1 link failure, or the card's answer was
   *  too short or did not end in 90 00; a positive number: the reader's
   *  status byte when it refused the read; 0 the reader's answer did not
   *  echo the read.
   *  Outputs: LengthOfCardNo 1 byte, CardNo 8 bytes. */
  int OV_ChinaIDV2_RequestCardNo(int ReaderID, unsigned char* LengthOfCardNo, unsigned char* CardNo);

  /* ==================================================================== */
  /* Topaz                                                                 */
  /* ==================================================================== */
  /* Topaz (NFC Forum Type 1) tags. UID is the tag's 4-byte UID, sent as it
   * stands. A byte address is BlockID x 8 + the low three bits of ByteAddr,
   * one byte. Outputs described as "the response" receive the tag's bytes
   * as they come (at most ORVEX_MAX_ANSWER). Unless a method says
   * otherwise: 1 done, -1 link failure, -3 the reader refused or the tag did
   * not answer, -2 the tag's response names another address than the one
   * sent. Nothing is written on failure. */

  /** Reads the tag's identification (RID). HR0 and HR1 receive the header
   *  ROM bytes (1 byte each), pDataRet the rest of the response (the UID
   *  part), DataLenRet its length (the response length less 2). A response
   *  shorter than the two header ROM bytes fails with -1.
   *  Outputs: HR0 1 byte, HR1 1 byte, DataLenRet 1 int, pDataRet at most ORVEX_MAX_ANSWER
   *  bytes. */
  int OV_TOPAZ_ReadUID(int ReaderID, unsigned char* HR0, unsigned char* HR1, int* DataLenRet,
                       unsigned char* pDataRet);

  /** Reads all memory (RALL): pDataRet receives the response after its two
   *  header ROM bytes (usually 120 bytes), DataLenRet that length. A
   *  response shorter than the two header ROM bytes fails with -1.
   *  Outputs: DataLenRet 1 int, pDataRet at most ORVEX_MAX_ANSWER bytes. */
  int OV_TOPAZ_ReadAll(int ReaderID, unsigned char* UID, int* DataLenRet, unsigned char* pDataRet);

  /** Reads one byte (READ). When the tag's response is exactly 2 bytes, its
   *  first must be the address sent (else -2) and pDataRet[0] receives the
   *  byte; a response of another length returns 1 and writes nothing.
   *  Outputs: pDataRet 1 byte. */
  int OV_TOPAZ_ReadByte(int ReaderID, unsigned char* UID, unsigned char BlockID, unsigned char ByteAddr,
                        unsigned char* pDataRet);

  /** Erases and writes one byte (WRITE-E); the byte read back goes to
   *  pDataRet[0] under the rules of OV_TOPAZ_ReadByte.
   *  Outputs: pDataRet 1 byte. */
  int OV_TOPAZ_WriteByteAfterErase(int ReaderID, unsigned char* UID, unsigned char BlockID,
                                   unsigned char ByteAddr, unsigned char DataWrite, unsigned char* pDataRet);

  /** Writes one byte without erasing (WRITE-NE), as
   *  OV_TOPAZ_WriteByteAfterErase.
   *  Outputs: pDataRet 1 byte. */
  int OV_TOPAZ_WriteByteWithoutErase(int ReaderID, unsigned char* UID, unsigned char BlockID,
                                     unsigned char ByteAddr, unsigned char DataWrite, unsigned char* pDataRet);

  /** Reads segment Segment (RSEG; 0 to 3, only the low two bits count).
   *  The response's first byte must be the segment address sent (else -2;
   *  -1 for an empty response); pDataRet receives the rest (128 bytes on a
   *  segment), DataLenRet its length.
   *  Outputs: DataLenRet 1 int, pDataRet at most ORVEX_MAX_ANSWER bytes. */
  int OV_TOPAZ_ReadSegment(int ReaderID, unsigned char* UID, unsigned char Segment, int* DataLenRet,
                           unsigned char* pDataRet);

  /** Reads 8-byte block BlockID (READ8). The response's first byte must be
   *  BlockID (else -2); pDataRet receives the next 8 bytes (always 8; zeros
   *  where the response is shorter).
   *  Outputs: pDataRet 8 bytes. */
  int OV_TOPAZ_ReadBlock(int ReaderID, unsigned char* UID, unsigned char BlockID, unsigned char* pDataRet);

  /** Erases and writes the 8 bytes of DataWrite to block BlockID (WRITE-E8);
   *  the 8 bytes read back go to pDataRet as in OV_TOPAZ_ReadBlock.
   *  Outputs: pDataRet 8 bytes. */
  int OV_TOPAZ_WriteBlockAfterErase(int ReaderID, unsigned char* UID, unsigned char BlockID,
                                    unsigned char* DataWrite, unsigned char* pDataRet);

  /** Writes the 8 bytes of DataWrite to block BlockID without erasing
   *  (WRITE-NE8), as OV_TOPAZ_WriteBlockAfterErase.
   *  Outputs: pDataRet 8 bytes. */
  int OV_TOPAZ_WriteBlockWithoutErase(int ReaderID, unsigned char* UID, unsigned char BlockID,
                                      unsigned char* DataWrite, unsigned char* pDataRet);

  /* ==================================================================== */
  /* NTAG                                                                  */
  /* ==================================================================== */
  /* NFC Forum Type 2 tags of the NTAG21x kind, selected beforehand as ISO
   * 14443-A cards. Page numbers are sent as their low byte. Unless a method
   * says otherwise: 1 done; -1 link failure; -3 the reader refused, or its
   * answer did not echo the command. */

  /** GET_VERSION: the tag's version bytes to pData (8 on an NTAG21x; all the
   *  reader returns, at most ORVEX_MAX_ANSWER).
   *  Outputs: pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_NTag_GetVersion(int ReaderID, unsigned char* pData);

  /** READ: four pages from StartPage on. pData receives the bytes (16; all
   *  the reader returns, at most ORVEX_MAX_ANSWER), DataLen their count.
   *  Outputs: DataLen 1 int, pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_NTag_Read(int ReaderID, int StartPage, int* DataLen, unsigned char* pData);

  /** FAST_READ: pages StartPage to EndPage, at most 51 pages in one call
   *  (EndPage is lowered to StartPage + 50 on the wire, the variable is left
   *  alone). pData receives the bytes (up to 204; all the reader returns, at
   *  most ORVEX_MAX_ANSWER), DataLen their count.
   *  Outputs: DataLen 1 int, pData at most ORVEX_MAX_ANSWER bytes. */
  int OV_NTag_FastRead(int ReaderID, int StartPage, int EndPage, int* DataLen, unsigned char* pData);

  /** WRITE: the 4 bytes of pData to page PageIndex. */
  int OV_NTag_Write(int ReaderID, int PageIndex, unsigned char* pData);

  /** COMPATIBILITY_WRITE: the 16 bytes of pData to page PageIndex (the tag
   *  keeps the first 4). */
  int OV_NTag_CompatibleWrite(int ReaderID, int PageIndex, unsigned char* pData);

  /** READ_CNT: the tag's 24-bit NFC counter to Counter.
   *  Outputs: Counter 1 int. */
  int OV_NTag_ReadCounter(int ReaderID, int* Counter);

  /** PWD_AUTH with the 4-byte password PWD. AuthResult receives the tag's
   *  2-byte PACK whenever the tag answered. 1 when the PACK is 00 00; -1 for
   *  any other PACK, or a link failure (AuthResult then untouched); -3.
   *  Outputs: AuthResult 2 bytes. */
  int OV_NTag_Password_Auth(int ReaderID, unsigned char* PWD, unsigned char* AuthResult);

  /** READ_SIG: the tag's signature to Signature (32 bytes on an NTAG21x;
   *  all the reader returns, at most ORVEX_MAX_ANSWER).
   *  Outputs: Signature at most ORVEX_MAX_ANSWER bytes. */
  int OV_NTag_ReadSignature(int ReaderID, unsigned char* Signature);

  /* ==================================================================== */
  /* SLE4442                                                               */
  /* ==================================================================== */
  /* SLE4442 contact memory cards in the card reader's contact slot: 256
   * bytes of main memory, the protection memory and the security memory
   * (error counter and the 3-byte PSC that unlocks writing). The reader
   * answers each command with its sub-function byte, then the card's bytes.
   * This family's success value is 1000 unless a method says otherwise;
   * -1 link failure; -3 the reader refused or did not echo the command.
   * Outputs described as "the card's bytes" receive what the reader returns
   * (at most ORVEX_MAX_ANSWER - 1). Nothing is written on failure unless a
   * method says so. */

  /** Resets the card: pResetInfo receives its answer to reset (the card's
   *  bytes, 4 on an SLE4442). 1000 on success, not 1.
   *  Outputs: pResetInfo at most ORVEX_MAX_ANSWER bytes. */
  int OV_SLE_Reset(int ReaderID, unsigned char* pResetInfo);

  /** Reads MemLen bytes of main memory from address StartAddr into MemData
   *  (the card's bytes, normally MemLen). Result: the number of bytes read
   *  (not 1000; 0 when the card returned none), or -1, -3.
   *  Outputs: MemData at most ORVEX_MAX_ANSWER bytes. */
  int OV_SLE_ReadMainMemory(int ReaderID, unsigned char StartAddr, unsigned char MemLen,
                            unsigned char* MemData);

  /** Writes the MemLen bytes of MemData to main memory from StartAddr
   *  (the PSC must have been presented), waits 100 ms and reads the range
   *  back. 1 the data read back as written; -2 they differ (or fewer bytes
   *  came back); -1 the write or the read-back failed, refusals included.
   *  With MemLen 0 the read-back yields nothing: -1. Writes nothing. */
  int OV_SLE_WriteMainMemory(int ReaderID, unsigned char StartAddr, unsigned char MemLen,
                             unsigned char* MemData);

  /** Reads the protection memory into MemData (the card's bytes, 4 on an
   *  SLE4442: one bit for each of the first 32 bytes, 0 = protected).
   *  Outputs: MemData at most ORVEX_MAX_ANSWER bytes. */
  int OV_SLE_ReadPROM(int ReaderID, unsigned char* MemData);

  /** Writes the MemLen bytes of MemData from StartAddr and protects them
   *  for good (the first 32 bytes only), waits 100 ms and reads main memory
   *  back. Results as OV_SLE_WriteMainMemory. */
  int OV_SLE_WriteProtectedDataMemory(int ReaderID, unsigned char StartAddr, unsigned char MemLen,
                                      unsigned char* MemData);

  /** Reads the security memory: ErrorCounter (1 byte) receives the error
   *  counter, PSC (3 bytes) the bytes after it, at most 3 (the card shows
   *  the PSC only after it was presented). Bytes the card did not send are
   *  left as they were. 1000 on success, -1, -3.
   *  Outputs: ErrorCounter 1 byte, PSC 3 bytes. */
  int OV_SLE_ReadSecurityLogic(int ReaderID, unsigned char* ErrorCounter, unsigned char* PSC);

  /** Changes the PSC to the 3 bytes of PSC (the old one must have been
   *  presented) and reads the security memory back at once. 1 the new PSC
   *  reads back; -2 it does not; -1 either exchange failed, refusals
   *  included. Writes nothing. */
  int OV_SLE_WritePSC(int ReaderID, unsigned char* PSC);

  /** Presents the 3-byte PSC, which unlocks writing. 1 accepted (the card's
   *  error counter is not reported then; ErrorCounter is left alone);
   *  otherwise -1, and the byte at ErrorCounter receives the failure cut
   *  to 8 bits: 0xFD the reader refused (wrong PSC, no card), 0xFF the link
   *  failed.
   *  Outputs: ErrorCounter 1 byte. */
  int OV_SLE_VerifyPSC(int ReaderID, unsigned char* PSC, unsigned char* ErrorCounter);

  /* ==================================================================== */
  /* FMCOS                                                                 */
  /* ==================================================================== */

  /* FMCOS commands for a contactless CPU card already activated with
   * OV_TypeA_Reset. Each method sends one command APDU to the card over the
   * reader's APDU channel (as OV_TypeA_COS) and splits the card's answer.
   *
   * Result: 1 the reader handed back the card's answer, whatever the card
   * said; -3 the reader refused (no card, card lost); -1 nothing sent, no
   * answer within 400 ms, or a malformed answer. The card's verdict is in
   * ExeStatus: its status word read little-endian, SW1 in the low byte and
   * SW2 in the high byte, so 90 00 (success) reads 0x0090 and 6A 82 reads
   * 0x826A. ExeStatus is written only when the answer holds at least the two
   * status bytes; after a failure, or an answer of one byte or none, it
   * keeps its value.
   *
   * Length outputs are set to 0 right after the exchange, whatever its
   * result, and receive the response length only when the card sent data in
   * front of its status word. Response buffers receive at most 998 bytes
   * (a card sends at most 256 bytes of data to a short APDU, and a one-byte
   * length then reads 0 for 256). Nothing is checked in the arguments; an
   * APDU longer than 500 bytes (long PINs and MACs together) is refused with
   * -1 before anything is sent. The library does no cryptography: the MACs
   * the card needs are computed by the caller. APDU bytes below are
   * hexadecimal. */

  /** GET CHALLENGE (00 84 00 00, Le BytesNumber): the card's random number.
   *  When the card answers with data, exactly BytesNumber bytes are copied to
   *  Challenge and ExeStatus is read from the two answer bytes right behind
   *  them, however long the answer really was (bytes the card did not send
   *  read 0).
   *  Outputs: Challenge BytesNumber bytes, ExeStatus 1 unsigned short. */
  int OV_FM_GetChallenge(int ReaderID, unsigned char BytesNumber, unsigned char* Challenge,
                         unsigned short* ExeStatus);

  /** EXTERNAL AUTHENTICATE (00 82 00 KeyIndex) with the cryptogram AuthData.
   *  Lc is always 08; LenOfAuthData bytes of AuthData follow it. ExeStatus is
   *  written only when the card answers with the status word alone.
   *  Outputs: ExeStatus 1 unsigned short. */
  int OV_FM_ExternalAuthenticate(int ReaderID, unsigned char KeyIndex, unsigned char LenOfAuthData,
                                 unsigned char* AuthData, unsigned short* ExeStatus);

  /** INTERNAL AUTHENTICATE (00 88 EncodeMode DesKeyNumber) of the
   *  LenOfAuthData bytes of AuthData; the card's result goes to AuthResult
   *  (usually 8 bytes), its length to LenOfAuthResult.
   *  Outputs: LenOfAuthResult 1 byte (cut to 8 bits), AuthResult at most 998 bytes, ExeStatus
   *  1 unsigned short. */
  int OV_FM_InternalAuthenticate(int ReaderID, unsigned char EncodeMode, unsigned char DesKeyNumber,
                                 unsigned char LenOfAuthData, unsigned char* AuthData,
                                 unsigned char* LenOfAuthResult, unsigned char* AuthResult,
                                 unsigned short* ExeStatus);

  /** SELECT (00 A4 FileMode NextFile, Le 00) of the file named by the
   *  LenOfFileIDName bytes of FileIDName (a file identifier or a DF name).
   *  Declared here, provided only as the free function OV_FM_Select below
   *  (call that one).
   *  Outputs: LenOfFCI 1 byte (cut to 8 bits), FCI at most 998 bytes, ExeStatus 1 unsigned
   *  short. */
  int OV_FM_Select(int ReaderID, unsigned char FileMode, unsigned char LenOfFileIDName,
                   unsigned char* FileIDName, unsigned char NextFile, unsigned char* LenOfFCI,
                   unsigned char* FCI, unsigned short* ExeStatus);

  /** READ BINARY (00 B0, Le LenForRead) of a transparent file. A non-zero
   *  FileID is a short file identifier (P1 = 80 | FileID, P2 = low byte of
   *  Offset, the offset's high byte is dropped); FileID 0 reads the current
   *  file at Offset (up to 0x7FFF). The data go to FileData, their length to
   *  LenOfFileData.
   *  Outputs: LenOfFileData 1 byte (cut to 8 bits), FileData at most 998 bytes, ExeStatus 1
   *  unsigned short. */
  int OV_FM_ReadBinary(int ReaderID, unsigned char FileID, short Offset, unsigned char LenForRead,
                       unsigned char* LenOfFileData, unsigned char* FileData,
                       unsigned short* ExeStatus);

  /** READ RECORD (00 B2 RecordIndex, Le LenForRead): P2 is RecordMode for
   *  FileID 0 (the current file), else FileID << 3 | RecordMode. The record
   *  goes to FileData, its length to LenOfFileData.
   *  Outputs: LenOfFileData 1 byte (cut to 8 bits), FileData at most 998 bytes, ExeStatus 1
   *  unsigned short. */
  int OV_FM_ReadRecord(int ReaderID, unsigned char FileID, unsigned char RecordIndex,
                       unsigned char RecordMode, unsigned char LenForRead,
                       unsigned char* LenOfFileData, unsigned char* FileData,
                       unsigned short* ExeStatus);

  /** UPDATE BINARY (00 D6) with the LenOfFileData bytes of FileData; FileID
   *  and Offset as for OV_FM_ReadBinary.
   *  Outputs: ExeStatus 1 unsigned short. */
  int OV_FM_UpdateBinary(int ReaderID, unsigned char FileID, short Offset,
                         unsigned char LenOfFileData, unsigned char* FileData,
                         unsigned short* ExeStatus);

  /** UPDATE RECORD (00 DC RecordIndex, P2 FileID << 3 | RecordMode) with the
   *  LenOfFileData bytes of FileData.
   *  Outputs: ExeStatus 1 unsigned short. */
  int OV_FM_UpdaterRecord(int ReaderID, unsigned char FileID, unsigned char RecordIndex,
                          unsigned char RecordMode, unsigned char LenOfFileData,
                          unsigned char* FileData, unsigned short* ExeStatus);

  /** APPEND RECORD (00 E2 00, P2 FileID << 3) with the LenOfFileData bytes of
   *  FileData.
   *  Outputs: ExeStatus 1 unsigned short. */
  int OV_FM_AppendRecord(int ReaderID, unsigned char FileID, unsigned char LenOfFileData,
                         unsigned char* FileData, unsigned short* ExeStatus);

  /** VERIFY (00 20 00 KeyIndex) of the PIN Key (LenOfKey bytes).
   *  Outputs: ExeStatus 1 unsigned short. */
  int OV_FM_VerifyPin(int ReaderID, unsigned char KeyIndex, unsigned char LenOfKey,
                      unsigned char* Key, unsigned short* ExeStatus);

  /** ERASE DF (80 0E 00 00 00): erases the current directory's contents.
   *  Outputs: ExeStatus 1 unsigned short. */
  int OV_FM_EraseDF(int ReaderID, unsigned short* ExeStatus);

  /** WRITE KEY (80 D4 KeyType KeyID) with the LenOfKey bytes of Key (the
   *  key and its attributes, as the card wants them).
   *  Outputs: ExeStatus 1 unsigned short. */
  int OV_FM_WriteKey(int ReaderID, unsigned char KeyType, unsigned char KeyID,
                     unsigned char LenOfKey, unsigned char* Key, unsigned short* ExeStatus);

  /** CREATE FILE (80 E0, P1 P2 = FileID high byte first) with the
   *  LenOfFileInfo bytes of FileInfo (file type, size, access rights...).
   *  Outputs: ExeStatus 1 unsigned short. */
  int OV_FM_CreateFile(int ReaderID, unsigned short FileID, unsigned char LenOfFileInfo,
                       unsigned char* FileInfo, unsigned short* ExeStatus);

  /** READ BINARY with secure messaging (04 B0, no Le): the LenOfKeyMAC bytes
   *  of KeyMAC are the data field. A non-zero WithFileID makes FileID a
   *  short file identifier, as for OV_FM_ReadBinary. The data go to FileData
   *  (at most 998 bytes), their length to LenOfFileData (16-bit).
   *  Outputs: LenOfFileData 1 short, FileData at most 998 bytes, ExeStatus 1 unsigned short. */
  int OV_FM_ReadBinaryWithProtected(int ReaderID, unsigned char WithFileID, unsigned char FileID,
                                    short Offset, unsigned char LenOfKeyMAC, unsigned char* KeyMAC,
                                    short* LenOfFileData, unsigned char* FileData,
                                    unsigned short* ExeStatus);

  /** CARD BLOCK (84 16 00 00) with the MAC (LenOfMac bytes): blocks the
   *  card for good.
   *  Outputs: ExeStatus 1 unsigned short. */
  int OV_FM_CardBlock(int ReaderID, unsigned char LenOfMac, unsigned char* Mac,
                      unsigned short* ExeStatus);

  /** APPLICATION UNBLOCK (84 18 00 00) with the MAC (LenOfMac bytes).
   *  Outputs: ExeStatus 1 unsigned short. */
  int OV_FM_ApplicationUnblock(int ReaderID, unsigned char LenOfMac, unsigned char* Mac,
                               unsigned short* ExeStatus);

  /** APPLICATION BLOCK (84 1E 00 BlockMode) with the MAC (LenOfMac bytes).
   *  Outputs: ExeStatus 1 unsigned short. */
  int OV_FM_ApplicationBlock(int ReaderID, unsigned char BlockMode, unsigned char LenOfMac,
                             unsigned char* Mac, unsigned short* ExeStatus);

  /** PIN UNBLOCK (84 24 KeyID 00): the key number goes in P1. The data field
   *  is the LenOfKey bytes of Key then the LenOfMac bytes of Mac.
   *  Outputs: ExeStatus 1 unsigned short. */
  int OV_FM_PinUnblock(int ReaderID, unsigned char KeyID, unsigned char LenOfKey,
                       unsigned char* Key, unsigned char LenOfMac, unsigned char* Mac,
                       unsigned short* ExeStatus);

  /** RELOAD PIN (80 5E 00 KeyID): the new PIN Key (LenOfKey bytes) then the
   *  MAC (LenOfMac bytes).
   *  Outputs: ExeStatus 1 unsigned short. */
  int OV_FM_ReloadPin(int ReaderID, unsigned char KeyID, unsigned char LenOfKey,
                      unsigned char* Key, unsigned char LenOfMac, unsigned char* Mac,
                      unsigned short* ExeStatus);

  /** CHANGE PIN (80 5E 01 KeyID): the old PIN, one byte FF, the new PIN;
   *  Lc counts all three.
   *  Outputs: ExeStatus 1 unsigned short. */
  int OV_FM_ChangePin(int ReaderID, unsigned char KeyID, unsigned char LenOfOldKey,
                      unsigned char* OldKey, unsigned char LenOfNewKey, unsigned char* NewKey,
                      unsigned short* ExeStatus);

  /* Electronic purse. A value transaction is two commands in a row to the
   * same card: an initialize command, whose Result carries what the caller
   * needs to compute the MAC of the second (balance, transaction counter,
   * key version, algorithm, card random), then the credit or debit command
   * with date (BCDDate, 4 BCD bytes), time (BCDTime, 3 BCD bytes) and that
   * MAC (Mac, 4 bytes). Amounts and order numbers (int) go to the card as 4
   * bytes least significant byte first: pass them already byte-swapped if
   * the card expects big-endian amounts. ePursePos chooses the purse (P2),
   * KeyID the card's key; PosCode is the terminal number (LenOfPosCode
   * bytes, normally 6). Results and ExeStatus as above. */

  /** INITIALIZE FOR LOAD (80 50 00 ePursePos, Lc LenOfPosCode + 5, Le 10).
   *  The card's answer data go to Result (usually 16 bytes), their length
   *  to LenOfResult.
   *  Outputs: LenOfResult 1 byte (cut to 8 bits), Result at most 998 bytes, ExeStatus 1
   *  unsigned short. */
  int OV_FM_InitializeForLoad(int ReaderID, unsigned char ePursePos, unsigned char KeyID, int Value,
                              unsigned char LenOfPosCode, unsigned char* PosCode,
                              unsigned char* LenOfResult, unsigned char* Result,
                              unsigned short* ExeStatus);

  /** CREDIT FOR LOAD (80 52 00 00, Le 10): the card's TAC goes to TAC
   *  (usually 4 bytes), its length to LenOfTAC.
   *  Outputs: LenOfTAC 1 byte (cut to 8 bits), TAC at most 998 bytes, ExeStatus 1 unsigned
   *  short. */
  int OV_FM_CreditForLoad(int ReaderID, unsigned char* BCDDate, unsigned char* BCDTime,
                          unsigned char* Mac, unsigned char* LenOfTAC, unsigned char* TAC,
                          unsigned short* ExeStatus);

  /** INITIALIZE FOR PURCHASE (80 50 01 ePursePos, Lc LenOfPosCode + 5,
   *  Le 0F). The answer data go to Result (usually 15 bytes), their length
   *  to LenOfResult.
   *  Outputs: LenOfResult 1 byte (cut to 8 bits), Result at most 998 bytes, ExeStatus 1
   *  unsigned short. */
  int OV_FM_InitializeForPurchase(int ReaderID, unsigned char ePursePos, unsigned char KeyID,
                                  int Value, unsigned char LenOfPosCode, unsigned char* PosCode,
                                  unsigned char* LenOfResult, unsigned char* Result,
                                  unsigned short* ExeStatus);

  /** DEBIT FOR PURCHASE (80 54 01 00, Le 08) with the terminal's order
   *  number OrderNo: answer bytes 0-3 go to TAC and 4-7 to Mac2 (4 bytes
   *  each, both lengths set to 4) once the card answered with data.
   *  Outputs: LenOfTAC 1 byte, TAC 4 bytes, LenOfMac2 1 byte, Mac2 4 bytes, ExeStatus 1
   *  unsigned short. */
  int OV_FM_DebitForCappPurchase(int ReaderID, int OrderNo, unsigned char* BCDDate,
                                 unsigned char* BCDTime, unsigned char* Mac,
                                 unsigned char* LenOfTAC, unsigned char* TAC,
                                 unsigned char* LenOfMac2, unsigned char* Mac2,
                                 unsigned short* ExeStatus);

  /** INITIALIZE FOR UNLOAD (80 50 05 ePursePos, Le 10). Lc is 0B, made for a
   *  6-byte PosCode, whatever LenOfPosCode is (the LenOfPosCode bytes are
   *  still sent). Result and LenOfResult as for OV_FM_InitializeForLoad.
   *  Outputs: LenOfResult 1 byte (cut to 8 bits), Result at most 998 bytes, ExeStatus 1
   *  unsigned short. */
  int OV_FM_InitializeForUnload(int ReaderID, unsigned char ePursePos, unsigned char KeyID,
                                int Value, unsigned char LenOfPosCode, unsigned char* PosCode,
                                unsigned char* LenOfResult, unsigned char* Result,
                                unsigned short* ExeStatus);

  /** CREDIT FOR UNLOAD (80 54 03 00, Le 04): the card's MAC3 goes to MAC3
   *  (usually 4 bytes), its length to LenOfMAC3.
   *  Outputs: LenOfMAC3 1 byte (cut to 8 bits), MAC3 at most 998 bytes, ExeStatus 1 unsigned
   *  short. */
  int OV_FM_CreditForUnload(int ReaderID, unsigned char* BCDDate, unsigned char* BCDTime,
                            unsigned char* Mac, unsigned char* LenOfMAC3, unsigned char* MAC3,
                            unsigned short* ExeStatus);

  /** INITIALIZE FOR CASH WITHDRAWAL (80 50 02 ePursePos, Lc 0B whatever
   *  LenOfPosCode is, Le 0F). Result and LenOfResult as for
   *  OV_FM_InitializeForPurchase.
   *  Outputs: LenOfResult 1 byte (cut to 8 bits), Result at most 998 bytes, ExeStatus 1
   *  unsigned short. */
  int OV_FM_InitializeForCashWithdraw(int ReaderID, unsigned char ePursePos, unsigned char KeyID,
                                      int Value, unsigned char LenOfPosCode, unsigned char* PosCode,
                                      unsigned char* LenOfResult, unsigned char* Result,
                                      unsigned short* ExeStatus);

  /** DEBIT FOR CASH WITHDRAWAL (80 54 01 00, Le 08): TAC and MAC2 (4 bytes
   *  each) as for OV_FM_DebitForCappPurchase.
   *  Outputs: LenOfTAC 1 byte, TAC 4 bytes, LenOfMAC2 1 byte, MAC2 4 bytes, ExeStatus 1
   *  unsigned short. */
  int OV_FM_DebitForCashWithdraw(int ReaderID, int OrderNo, unsigned char* BCDDate,
                                 unsigned char* BCDTime, unsigned char* Mac,
                                 unsigned char* LenOfTAC, unsigned char* TAC,
                                 unsigned char* LenOfMAC2, unsigned char* MAC2,
                                 unsigned short* ExeStatus);

  /** UPDATE OVERDRAW LIMIT (80 58 00 00, Le 04) to NewLimitValue. The APDU
   *  states Lc 0E and carries 15 data bytes (limit, date, time, MAC). Answer
   *  bytes 0-3 go to TAC (4 bytes), LenOfTAC becomes 4.
   *  Outputs: LenOfTAC 1 byte, TAC 4 bytes, ExeStatus 1 unsigned short. */
  int OV_FM_UpdateOverdrawLimit(int ReaderID, int NewLimitValue, unsigned char* BCDDate,
                                unsigned char* BCDTime, unsigned char* Mac,
                                unsigned char* LenOfTAC, unsigned char* TAC,
                                unsigned short* ExeStatus);

  /** GET TRANSACTION PROOF (80 5A 00 ProveTypeID, Le 08) of the transaction
   *  TranactionOrderNo (sent low byte first): answer bytes 0-3 go to MAC and
   *  4-7 to TAC (4 bytes each, both lengths set to 4).
   *  Outputs: LenOfMAC 1 byte, MAC 4 bytes, LenOfTAC 1 byte, TAC 4 bytes, ExeStatus 1 unsigned
   *  short. */
  int OV_FM_GetTransactionProve(int ReaderID, unsigned char ProveTypeID,
                                unsigned short TranactionOrderNo, unsigned char* LenOfMAC,
                                unsigned char* MAC, unsigned char* LenOfTAC, unsigned char* TAC,
                                unsigned short* ExeStatus);

  /** GET BALANCE (80 5C 00 ePursePos, Le 04): the purse's balance, answer
   *  bytes 0-3 read least significant byte first, to Value once the card
   *  answered with data; Value keeps its value otherwise.
   *  Outputs: Value 1 int, ExeStatus 1 unsigned short. */
  int OV_FM_GetBalance(int ReaderID, unsigned char ePursePos, int* Value, unsigned short* ExeStatus);

  /* ==================================================================== */
  /* Card application                                                      */
  /* ==================================================================== */
  /* The card application run by the reader firmware: a purse card with a
   * public file (50 bytes), a card-holder file (100 bytes), a user file, a
   * balance, debit, consume and a transaction record, secured by keys in a
   * SAM inside the reader. Results of every method but OV_KORU_GetStatus:
   *     1   done
   *    -1   nothing could be sent, nothing came back in time, or the answer
   *         was malformed
   *    -2   the reader refused (OV_KORU_GetStatus tells why), or the data
   *         was refused before sending
   * Keys are 16 bytes, each with a key-source byte for the reader;
   * terminal numbers 6 bytes; dates 7 bytes; amounts go most significant
   * byte first. Outputs are written only on success. */

  /** Resets the SAM in slot SamIndex: its answer to reset to Data (all the
   *  bytes the reader sends), their count to DataLen (0 on failure).
   *  Outputs: DataLen 1 byte (cut to 8 bits), Data at most ORVEX_MAX_ANSWER bytes. */
  int OV_KORU_SamReset(int ReaderID, unsigned char SamIndex, unsigned char* DataLen, unsigned char* Data);

  /** Sets up the SAM in slot SamIndex with privilege SamPrivilege, the 6-byte
   *  terminal number Teminate and the 16-byte key from source KeyFrom.
   *  Deadline 1 s. */
  int OV_KORU_SamInitial(int ReaderID, unsigned char SamIndex, unsigned char SamPrivilege,
                         unsigned char* Teminate, unsigned char* key, unsigned char KeyFrom);

  /** Reads the SAM's terminal number (6 bytes to Teminate) and order number
   *  (OrderNo); both are written only when the reader sends more than 9
   *  bytes.
   *  Outputs: Teminate 6 bytes, OrderNo 1 unsigned int. */
  int OV_KORU_SamGetInfo(int ReaderID, unsigned char SamIndex, unsigned char* Teminate,
                         unsigned int* OrderNo);

  /** Finds a card: its number (all bytes the reader sends) to CardNo, written
   *  only when more than 7 bytes came. Deadline 4 s.
   *  Outputs: CardNo at most ORVEX_MAX_ANSWER bytes. */
  int OV_KORU_Request(int ReaderID, unsigned char* CardNo);

  /** Replaces key Oldkey (source OldkeyFrom) by Newkey (source NewkeyFrom),
   *  16 bytes each; the card number to CardNo as OV_KORU_Request.
   *  Deadline 5 s.
   *  Outputs: CardNo at most ORVEX_MAX_ANSWER bytes. */
  int OV_KORU_ChangeKey(int ReaderID, unsigned char* Oldkey, unsigned char OldkeyFrom,
                        unsigned char* Newkey, unsigned char NewkeyFrom, unsigned char* CardNo);

  /** Reads the public file: the bytes the reader sends to data (50 for this
   *  file), their count to len.
   *  Outputs: len 1 int, data at most ORVEX_MAX_ANSWER bytes. */
  int OV_KORU_ReadPublicFile(int ReaderID, int* len, unsigned char* data);

  /** Writes the 50 bytes of data to the public file through SAM slot
   *  SamIndex. */
  int OV_KORU_WritePublicFile(int ReaderID, unsigned char SamIndex, unsigned char* data);

  /** Reads the card-holder file: the bytes the reader sends to data (100
   *  for this file), their count to len.
   *  Outputs: len 1 int, data at most ORVEX_MAX_ANSWER bytes. */
  int OV_KORU_ReadHolderFile(int ReaderID, unsigned char SamIndex, int* len, unsigned char* data);

  /** Writes the 100 bytes of data to the card-holder file. */
  int OV_KORU_WriteHolderFile(int ReaderID, unsigned char SamIndex, unsigned char* data);

  /** Reads Count bytes of the user file from Addr (16 bits each): the bytes
   *  the reader sends to data (at most ORVEX_MAX_ANSWER - 1), their count to
   *  len. Deadline 5 s.
   *  Outputs: len 1 int, data at most ORVEX_MAX_ANSWER - 1 bytes. */
  int OV_KORU_ReadUserFile(int ReaderID, unsigned char SamIndex, int Addr, int Count, int* len,
                           unsigned char* data);

  /** Writes Count bytes of data (at most 1024, else -2 with nothing sent) to
   *  the user file at Addr (16 bits). Deadline 5 s. */
  int OV_KORU_WriteUserFile(int ReaderID, unsigned char SamIndex, int Addr, int Count,
                            unsigned char* data);

  /** Reads the purse balance to Value, written only when the reader sends at
   *  least 4 bytes.
   *  Outputs: Value 1 unsigned int. */
  int OV_KORU_Balance(int ReaderID, unsigned int* Value);

  /** Debits Value from the purse through SAM slot SamIndex, dated by the 7
   *  bytes of Date: the bytes the reader sends to Result.
   *  Outputs: Result at most ORVEX_MAX_ANSWER bytes. */
  int OV_KORU_Debit(int ReaderID, unsigned char SamIndex, unsigned int Value, unsigned char* Date,
                    unsigned char* Result);

  /** Consumes Value from the purse, as OV_KORU_Debit.
   *  Outputs: Result at most ORVEX_MAX_ANSWER bytes. */
  int OV_KORU_Consume(int ReaderID, unsigned char SamIndex, unsigned int Value, unsigned char* Date,
                      unsigned char* Result);

  /** Reads the transaction record: the bytes the reader sends to Record,
   *  their count to RecordLen.
   *  Outputs: RecordLen 1 int, Record at most ORVEX_MAX_ANSWER bytes. */
  int OV_KORU_Record(int ReaderID, int& RecordLen, unsigned char* Record);

  /** Why the last command of this group failed (no reader command is sent;
   *  ReaderID is not used). mode non-zero: the reader's status byte of the
   *  last answer (0 when the reader accepted but did not echo the command).
   *  mode 0: the application status word, 0x9000 unless the last refusal
   *  carried one (e.g. 0x9401). Both persist until the next command of this
   *  group. */
  unsigned short OV_KORU_GetStatus(int ReaderID, int mode);

  /* ==================================================================== */
  /* NDEF                                                                  */
  /* ==================================================================== */
  /* One NDEF message buffer per process, shared by all Orvex objects: fill
   * it with up to five text or URI records, save it to the card in the
   * field, or read the card's message into it (see NFC_Write and NFC_Read
   * for the card layouts). */

  /** Creates the message buffer (no records, key FF x 6). 1 created; 0 it
   *  already existed (it keeps its records and key). */
  int OV_NDEF_Initial();

  /** Destroys the message buffer and its records. Always 1. */
  int OV_NDEF_Free();

  /** Sets the 6-byte MIFARE key (key B) that saving and reading
   *  authenticate with. 1; -1 no buffer. */
  int OV_NDEF_SetKey(unsigned char* Key);

  /** Adds a record of the sLen bytes of s: a text (language "en") when uri
   *  is 0, else a URI with identifier code uri (1 "http://www.", 2
   *  "https://www.", 3 "http://", 4 "https://", ...) followed by s. The new
   *  record count (1 to 5); -1 no buffer, five records held already, or sLen
   *  negative or longer than a record carries (252 bytes of text, 254 of
   *  URI). A saved message holds at most 255 bytes of records. */
  int OV_NDEF_AddRecord(unsigned char uri, int sLen, unsigned char* s);

  /** Record Index (from 0): its URI code (0 for a text) to uri, its length
   *  to Len, its Len bytes (at most 255, not terminated) to s. 1; 0 no such
   *  record; -1 no buffer.
   *  Outputs: uri 1 byte, Len 1 int, s at most 255 bytes. */
  int OV_NDEF_GetRecord(int Index, unsigned char* uri, int* Len, unsigned char* s);

  /** Removes every record. 1; -1 no buffer. */
  int OV_NDEF_ClearRecords();

  /** Writes the buffer's message to the card in the field, authenticating
   *  MIFARE Classic sectors with key B and the buffer's key. The records stay.
   *  Results as NFC_Write; -1 also when there is no buffer. */
  int OV_NDEF_Save(int ReaderID);

  /** Reads the card's message into the buffer, replacing its records.
   *  The number of records read (0 to 5); -1 no buffer, no card, or no
   *  message found. A failed card read is not told apart: what was read
   *  before the failure is decoded. */
  int OV_NDEF_Read(int ReaderID);

  /* ==================================================================== */
  /* DES                                                                   */
  /* ==================================================================== */
  /* DES and two-key triple-DES on single 8-byte blocks, for the application's
   * own use; no link needed. Key parity bits are ignored. One computation at
   * a time per process. */

  /** DES of the 8-byte block in with the 8-byte key pkey into the 8 bytes of
   *  out (out may be in): cModel 0 encrypts, any other value decrypts.
   *  Always 1.
   *  Outputs: out 8 bytes. */
  int DES(unsigned char cModel, unsigned char* pkey, unsigned char* in, unsigned char* out);

  /** Two-key triple-DES of one 8-byte block with the 16-byte key pKey
   *  (K1 = bytes 0-7, K2 = bytes 8-15): cModel 0 encrypts E(K1) D(K2) E(K1),
   *  any other value decrypts. pOutData (8 bytes) may be pInData. Always 1.
   *  Outputs: pOutData 8 bytes. */
  int DES3(unsigned char cModel, unsigned char* pKey, unsigned char* pInData, unsigned char* pOutData);

  /** Triple-DES CBC of exactly one 8-byte block with the 16-byte key pKey and
   *  the 8-byte IV pIV, which is left unchanged: cModel 0 encrypts
   *  (in XOR IV), any other value decrypts. Chain a longer message by passing
   *  the last ciphertext block as the next IV. Always 0.
   *  Outputs: pOutData 8 bytes. */
  int DES3_CBC(unsigned char cModel, unsigned char* pKey, unsigned char* pInData,
               unsigned char* pOutData, unsigned char* pIV);

  /* ==================================================================== */
  /* Declared for source compatibility with the EPC Gen2 reader line and   */
  /* not provided by this library: a call fails to link.                   */
  /* ==================================================================== */
  int OV_GetPower(int ReaderID);  /**< not provided: a call fails to link */
  int OV_SetPower(int ReaderID, int Power);  /**< not provided: a call fails to link */
  int OV_SetInventoryThreshold(int ReaderID, int Threshold);  /**< not provided: a call fails to link */
  int OV_GetInventoryThreshold(int ReaderID);  /**< not provided: a call fails to link */
  int OV_G2_Inventory(int ReaderID);  /**< not provided: a call fails to link */
  int OV_G2_Read(int ReaderID);  /**< not provided: a call fails to link */
  int OV_G2_Write(int ReaderID);  /**< not provided: a call fails to link */
  int OV_G2_WriteEPC(int ReaderID);  /**< not provided: a call fails to link */
  int OV_G2_KillTag(int ReaderID);  /**< not provided: a call fails to link */
  int OV_G2_SetProtected(int ReaderID);  /**< not provided: a call fails to link */
  int OV_G2_Earse(int ReaderID);  /**< not provided: a call fails to link */
  int OV_G2_SetReadProtectedWithEPC(int ReaderID);  /**< not provided: a call fails to link */
  int OV_G2_SetReadProtected(int ReaderID);  /**< not provided: a call fails to link */
  int OV_G2_SetUnlockReadProtected(int ReaderID);  /**< not provided: a call fails to link */
  int OV_G2_TestReadProtected(int ReaderID);  /**< not provided: a call fails to link */
  int OV_G2_SetEASAlert(int ReaderID);  /**< not provided: a call fails to link */
  int OV_G2_TestEASAlert(int ReaderID);  /**< not provided: a call fails to link */
  int OV_G2_LockUser(int ReaderID);  /**< not provided: a call fails to link */
};

/* ======================================================================== */
/* Exported free functions                                                  */
/* ======================================================================== */

/** Raw pass-through: sends command 0xFB with Mode, TimeOut (one byte each)
 *  and the ParamLen bytes of Param, waits TimeOut x 100 ms on serial, and
 *  hands back all answer bytes in OutResult (at most ORVEX_MAX_ANSWER) with
 *  their count in OutLen. 1; -1 link failure or refused.
 *  Outputs: OutLen 1 int, OutResult at most ORVEX_MAX_ANSWER bytes. */
ORVEX_API int OV_SendCMD(int ReaderID, int Mode, int TimeOut, int ParamLen, unsigned char* Param,
                         int* OutLen, unsigned char* OutResult);

/** Milliseconds of the wall clock, in 32-bit arithmetic (the value wraps). */
ORVEX_API int GetTickCount();
/** Opens the USB reader with the given ids; results as OV_USBHIDInitial. */
ORVEX_API int HID_OpenUSBPort_(int VID, int PID);
/** Ends the USB link; as OV_USBHIDFree. */
ORVEX_API int HID_ClosePort_();

/* Reader management commands, as the methods of the same meaning. */
/** As Orvex::OV_GetReaderSerial. */
ORVEX_API int GetReaderSerial_(int ReaderID, unsigned char* ReaderSerial);
/** As Orvex::OV_GetReaderNo. */
ORVEX_API int GetReaderNo_(int ReaderID, unsigned char* ReaderNo);
/** As Orvex::OV_Buzzer. */
ORVEX_API int Buzzer2_(int ReaderID, int Time_ON, int Time_OFF, int Cycle);
/** As Orvex::OV_Led. */
ORVEX_API int LED2_(int ReaderID, int LEDIndex, int Time_ON, int Time_OFF, int Cycle, int LedIndexOn);
/** As Orvex::OV_AntennaStatus. */
ORVEX_API int AntennaStatus_(int ReaderID, bool ATStatus);
/** As Orvex::OV_SearchCardModeEx. */
ORVEX_API int SearchCardMode_2(int ReaderID, int Mode, int Param);
/** As Orvex::OV_SearchCardMode. */
ORVEX_API int SearchCardMode_(int ReaderID, int Mode);
/** As Orvex::OV_LEDDisplay. */
ORVEX_API int LEDDisplay_(int ReaderID, int Alignment, char* LEDText);
/** As Orvex::OV_LFCard_ReadID. */
ORVEX_API int LFCard_ReadID_(int ReaderID, unsigned char* CardID);
/** As Orvex::OV_WriteReaderMemory. */
ORVEX_API int WriteFlash(int ReaderID, int AddrBegin, int DataLen, unsigned char* DataToWrite);
/** As Orvex::OV_ReadReaderMemory. */
ORVEX_API int ReadFlash(int ReaderID, int AddrBegin, int DataLen, unsigned char* DataToRead);
/** As Orvex::OV_HFSelectAntenna. */
ORVEX_API int SelectAntenna_(int ReaderID, int AntennaID);
/** As Orvex::OV_SetParam. */
ORVEX_API int SetParam_(int ReaderID, int Index, int ParamLen, unsigned char* Param);
/** As Orvex::OV_GetParam. */
ORVEX_API int GetParam_(int ReaderID, int Index, int ParamLen, unsigned char* Param, int* OutLen,
                        unsigned char* OutResult);
/** As Orvex::OV_Set433ModuleParam. */
ORVEX_API int Set433ModuleParam_(int ReaderID, unsigned char* Param);
/** As Orvex::OV_Get433ModuleParam. */
ORVEX_API int Get433ModuleParam_(int ReaderID, unsigned char* Param);
/** As OV_SendCMD. */
ORVEX_API int SendCMD_(int ReaderID, int Mode, int TimeOut, int ParamLen, unsigned char* Param,
                       int* OutLen, unsigned char* OutResult);

/* ---- ORVEX-FREE: later groups' exported free functions ---- */

/* ---- NDEF message and tags ---- */

/** One NDEF record header byte (NFC Forum): the bit fields from the least
 *  significant bit up, or the whole byte. */
union NDEFHeader {
  /** The header's bits. */
  struct {
    unsigned char TNF : 3; /**< type name format; 1 = NFC Forum well-known type */
    unsigned char IL : 1;  /**< an ID length byte is present */
    unsigned char SR : 1;  /**< short record: one payload length byte */
    unsigned char CF : 1;  /**< chunk flag */
    unsigned char ME : 1;  /**< message end */
    unsigned char MB : 1;  /**< message begin */
  } Header;
  unsigned char Value; /**< the whole header byte */
};

/** One NDEF record carrying a URI or an English text, as a short record of
 *  well-known type "U" or "T". */
class ORVEX_API NDEFRecord {
 public:
  NDEFHeader Header;           /**< the record's header byte */
  unsigned char TypeLength;    /**< bytes of Type in use (1 for "U" or "T") */
  unsigned char PayloadLength; /**< the one payload length the record has */
  unsigned char IDLength;      /**< bytes of ID in use */
  char Type[255];              /**< the record type, "U" or "T"; not terminated */
  unsigned char ID[255];       /**< only ever filled by decoding */
  unsigned char Payload[255];  /**< the payload, PayloadLength bytes */
  unsigned char MB;            /**< message begin, 0 or 1 */
  unsigned char ME;            /**< message end, 0 or 1 */
  unsigned char URI;           /**< URI identifier code; 0 means a text record */
  char string[255];            /**< the URI after its code, or the text; not terminated */
  int strLen;                  /**< bytes of string in use */
  bool NDEFFormat;             /**< decoding recognised a text or URI record */

  /** An item to encode: Len bytes of s (at most 255; a longer Len keeps 255,
   *  a negative one none) and the URI identifier code uri (0 for a text). */
  NDEFRecord(unsigned char uri, int Len, unsigned char* s);
  /** An empty record to decode into (lengths 0, arrays zeroed). */
  NDEFRecord();

  /** Writes the record at buffer (at most 259 bytes) and returns its length:
   *  header, type length 1, payload length, "U" or "T", then the payload
   *  (the URI code and the URI, or 02 "en" and the text). The payload length
   *  is one byte: keep a URI to 254 bytes and a text to 252. */
  int EncodeTo(unsigned char* buffer);
  /** Parses the record at buffer into this object. Returns the bytes it
   *  occupies, or 0 when it is neither a text nor a URI record. */
  int DecodeFrom(unsigned char* buffer);
};

/** An NDEF message of up to five records, as one NDEF Message TLV. */
class ORVEX_API TLV {
 public:
  unsigned char TLVBlank;      /**< NULL TLV tag 0x00 */
  unsigned char TLVHeader;     /**< NDEF Message TLV tag 0x03 */
  unsigned char TLVTeminate;   /**< Terminator TLV tag 0xFE */
  int RecordCount;             /**< records held, 0 to 5 */
  NDEFRecord* NFCRecord[5];    /**< the records in message order, owned */
  unsigned char Key[6];        /**< MIFARE key for saving and reading; FF x 6 */

  /** An empty message with the key FF x 6. */
  TLV();
  /** Deletes the records held. */
  ~TLV();
  TLV(const TLV&) = delete;
  TLV& operator=(const TLV&) = delete;

  /** Adds a record of the Len bytes of s: a URI with identifier code uri,
   *  or a text when uri is 0. Returns the new record count (1 to 5); -1 when
   *  five records are held, or Len is negative or longer than a record
   *  carries (254 bytes of URI, 252 of text); nothing changes then. */
  int AddReacord(unsigned char uri, int Len, unsigned char* s);
  /** Deletes every record. */
  void ClearAllRecord();
  /** Replaces the records by those of the message TLV found in the BufferLen
   *  bytes of Buffer (the first 0x03 byte is taken as its tag; its value must
   *  be followed by 0xFE). Returns the records now held (at most five), or -1
   *  when there is no tag or no terminator. Reads nothing outside Buffer. */
  int DecodeAllBuffer(unsigned char* Buffer, int BufferLen);
  /** Record Index: its URI code (0 for a text) to uri, its length to Len and
   *  its Len bytes (at most 255, not terminated) to s. 1; 0 when there is no
   *  record Index (nothing written). */
  int GetRecord(int Index, unsigned char* uri, int* Len, unsigned char* s);
  /** Writes the message TLV (03, length, the records, FE) at Buffer, at
   *  most 5 x 259 + 3 = 1298 bytes, and returns its length. */
  int CreateAllBuffer(unsigned char* Buffer);
};

/** Writes BufferLen bytes of Buffer (a message TLV image) to the card in the
 *  field. On a MIFARE Classic 1K (ATQA 0x0004) it writes the NDEF directory
 *  to sector 0 and the image from block 4 on, behind two zero bytes, with
 *  the NDEF trailer in every sector it uses, authenticating each sector with
 *  KeyMode and the 6-byte Key. On an NTAG (ATQA 0x0044) it writes the image
 *  from page 4 on. 1 written; -1 no card answered the request; -2
 *  anticollision or selection failed; -3 a sector's authentication failed;
 *  -4 a block or page write failed (the blocks before it stay written);
 *  -5 neither card type. */
ORVEX_API int NFC_Write(int ReaderID, unsigned char KeyMode, unsigned char* Key, unsigned char* Buffer,
                        int BufferLen);
/** Reads the card's message TLV into Buffer, whole blocks or read answers at
 *  a time (at most 272 bytes; on a MIFARE Classic the image starts with the
 *  two bytes before the tag). Returns the bytes placed in Buffer; -1 to -5 as
 *  NFC_Write (-4 a read failed); -6 no 0x03 tag where the message belongs.
 *  Outputs: Buffer at most 272 bytes. */
ORVEX_API int NFC_Read(int ReaderID, unsigned char KeyMode, unsigned char* Key, unsigned char* Buffer);
/* FMCOS */
/** SELECT (00 A4 FileMode NextFile, Le 00) of the file named by the
 *  LenOfFileIDName bytes of FileIDName (a file identifier such as 3F 00, or
 *  a DF name). The FCI the card sends goes to FCI (at most 998 bytes), its
 *  length to LenOfFCI (0 after any failure or when the card sent only its
 *  status word). Result and ExeStatus as for the FMCOS methods of Orvex.
 *  Outputs: LenOfFCI 1 byte (cut to 8 bits), FCI at most 998 bytes, ExeStatus 1
 *  unsigned short. */
ORVEX_API int OV_FM_Select(int ReaderID, unsigned char FileMode, unsigned char LenOfFileIDName,
                           unsigned char* FileIDName, unsigned char NextFile,
                           unsigned char* LenOfFCI, unsigned char* FCI, unsigned short* ExeStatus);
/* MIFARE Plus commands, as the OV_MFP_ methods of the same meaning:
 * MPlus_L0_Write_ is OV_MFP_L0_WritePerso, MPlus_L0_To_L13_
 * OV_MFP_L0_CommitPerso, MPlus_L0_To_L23_ OV_MFP_SwitchToLevel, and every
 * other MPlus_<name>_ is OV_MFP_<name>. */
/** As Orvex::OV_MFP_L0_WritePerso. */
ORVEX_API int MPlus_L0_Write_(int ReaderID, int BlockID, unsigned char* pData);
/** As Orvex::OV_MFP_L0_CommitPerso. */
ORVEX_API int MPlus_L0_To_L13_(int ReaderID);
/** As Orvex::OV_MFP_SwitchToLevel. */
ORVEX_API int MPlus_L0_To_L23_(int ReaderID, int DesLevel, unsigned char* SwitchKey);
/** As Orvex::OV_MFP_L3_Authorization. */
ORVEX_API int MPlus_L3_Authorization_(int ReaderID, int KeyMode, int BlockID, unsigned char* Key);
/** As Orvex::OV_MFP_L3_Read. */
ORVEX_API int MPlus_L3_Read_(int ReaderID, int StartBlock, int BlockNums, int* DataLen, unsigned char* pData);
/** As Orvex::OV_MFP_L3_Write. */
ORVEX_API int MPlus_L3_Write_(int ReaderID, int StartBlock, int BlockNums, unsigned char* pData);
/** As Orvex::OV_MFP_L3_Purse_Initial. */
ORVEX_API int MPlus_L3_Purse_Initial_(int ReaderID, int BlockID, int InitialValue);
/** As Orvex::OV_MFP_L3_Purse_Read. */
ORVEX_API int MPlus_L3_Purse_Read_(int ReaderID, int BlockID, int* Value);
/** As Orvex::OV_MFP_L3_Purse_Charge. */
ORVEX_API int MPlus_L3_Purse_Charge_(int ReaderID, int BlockID, int Value);
/** As Orvex::OV_MFP_L3_Purse_Decrease. */
ORVEX_API int MPlus_L3_Purse_Decrease_(int ReaderID, int BlockID, int Value);
/** As Orvex::OV_MFP_L3_Purse_Backup. */
ORVEX_API int MPlus_L3_Purse_Backup_(int ReaderID, int BlockID, int DesBlockID);
/** As Orvex::OV_MFP_Authorization_First. */
ORVEX_API int MPlus_Authorization_First_(int ReaderID, int AESKeyAddr, unsigned char* AESKey);
/** As Orvex::OV_MFP_Authorization_Follow. */
ORVEX_API int MPlus_Authorization_Follow_(int ReaderID, int AESKeyAddr, unsigned char* AESKey);
/** As Orvex::OV_MFP_CommonRead. */
ORVEX_API int MPlus_CommonRead_(int ReaderID, int BlockID, int BlockNums, int* DataLen, unsigned char* pData);
/** As Orvex::OV_MFP_CommonWrite. */
ORVEX_API int MPlus_CommonWrite_(int ReaderID, int BlockID, int BlockNums, unsigned char* pData);

/* ====================================================================== */
/* Library extension: several readers in one process                       */
/* ====================================================================== */
/*
 * Beyond the Orvex class's one process-wide link, an application may own
 * links of its own, one per reader, and choose per thread which link the
 * Orvex methods use. An application that never uses what follows sees no
 * change at all: the process-wide link behaves exactly as documented above.
 *
 *     OrvexLink sam("usb:serial=A1B2");          // or "/dev/ttyUSB0@38400"
 *     OrvexLink field("/dev/ttyUSB0");
 *     if (!field.IsOpen()) puts(field.LastFailureText());
 *     {
 *       OrvexLinkScope use(field);               // this thread: the field reader
 *       Orvex().OV_GetReaderVersion(0);
 *     }                                          // back to the process-wide link
 *
 * Connection strings: "ttyS:N" (/dev/ttySN), any absolute device path,
 * "usb" (the first reader found), "usb:BUS:ADDR" (decimal, as lsusb shows
 * them), "usb:serial=STRING" (the device's serial string). A serial one may
 * end in "@BAUD": 4800, 9600, 19200 (the default) or 38400.
 *
 * Per link (for each OrvexLink): the open port or device, the first-byte
 * wait, quiet mode, answer matching, the trace hook, cancellation, the last
 * failure and the last answer's length; its exchanges are serialised by a
 * mutex of its own, so several threads may share one link and two links run
 * in parallel. Process-wide still: the NDEF message buffer, the DES subkey
 * buffer and the card application's status words (see docs/links.md).
 */

/** OrvexLink::Open result: the connection string is malformed or unknown. */
#define ORVEX_LINK_BAD_CONNECTION (-4)
/** OrvexLink::Open result: the port is in use by another program or link. */
#define ORVEX_LINK_IN_USE (-5)

/** Why the last exchange of a link failed (OrvexLink::LastFailure). */
enum OrvexFailure {
  ORVEX_FAIL_NONE = 0,          /**< the last exchange succeeded */
  ORVEX_FAIL_NOT_OPEN = 1,      /**< no link is open */
  ORVEX_FAIL_NOT_SENT = 2,      /**< the command could not be written */
  ORVEX_FAIL_NO_ANSWER = 3,     /**< nothing at all came back in time */
  ORVEX_FAIL_CUT_OFF = 4,       /**< an answer began but did not end in time */
  ORVEX_FAIL_MALFORMED = 5,     /**< what came back is not an answer frame */
  ORVEX_FAIL_CHECKSUM = 6,      /**< an answer frame with a wrong checksum */
  ORVEX_FAIL_REFUSED = 7,       /**< the reader refused (non-zero status) */
  ORVEX_FAIL_DEVICE_GONE = 8,   /**< the port or USB device went away */
  ORVEX_FAIL_CANCELLED = 9,     /**< the wait was cancelled (OrvexLink::Cancel) */
  ORVEX_FAIL_IN_USE = 10,       /**< the port is held by another opener */
  ORVEX_FAIL_CANNOT_OPEN = 11,  /**< no such reader, or it could not be opened */
  ORVEX_FAIL_BAD_CONNECTION = 12 /**< the connection string does not parse */
};

/** Receives every frame a link sends (sent = 1) and the raw bytes of every
 *  answer it collects (sent = 0), exactly as they crossed the wire, with the
 *  time in nanoseconds of CLOCK_MONOTONIC. Called on the thread doing the
 *  exchange, with the link's mutex held: it must not call into the link. */
typedef void (*OrvexTraceHook)(void* user, int sent, const unsigned char* bytes, int length,
                               unsigned long long timestamp_ns);

/** A reader link the application owns: opened from a connection string,
 *  closed when the object goes. Movable, not copyable. Differences from the
 *  process-wide link: a serial port is opened for exclusive use (TIOCEXCL and
 *  an advisory lock: a second opener, in this or another process, root
 *  included, gets ORVEX_LINK_IN_USE), close-on-exec, with the line fully raw
 *  at 8 data bits without parity; an answer whose command byte, or whose
 *  reader number when a reader other than 0 was addressed, is not the one
 *  sent is a stray frame and is dropped while the wait goes on. */
class ORVEX_API OrvexLink {
 public:
  /** A link that is not open. */
  OrvexLink() noexcept;
  /** Opens connection at once; IsOpen() and OpenResult() tell how it went. */
  explicit OrvexLink(const char* connection);
  /** Closes the link (as Close). */
  ~OrvexLink();
  /** Takes over other's link; other is left not open. */
  OrvexLink(OrvexLink&& other) noexcept;
  /** Closes this link, then takes over other's. */
  OrvexLink& operator=(OrvexLink&& other) noexcept;
  OrvexLink(const OrvexLink&) = delete;
  OrvexLink& operator=(const OrvexLink&) = delete;

  /** Closes what this object had open, then opens connection. 1 opened;
   *  -1 it could not be opened (no reader found, no such device, no
   *  permission; LastFailureText says which); ORVEX_LINK_BAD_CONNECTION;
   *  ORVEX_LINK_IN_USE. Options set before stay in force. */
  int Open(const char* connection);
  /** The result of the last Open (0 before any). */
  int OpenResult() const;
  /** True while the link is open. */
  bool IsOpen() const;
  /** Closes the link, releasing the port or device and its lock. A wait in
   *  progress on another thread is cancelled first and its command returns
   *  -1; afterwards every command on this link returns -1. Scopes still
   *  naming the link stay safe to leave. */
  void Close();
  /** The connection string of the last Open ("" before any). */
  const char* Connection() const;

  /** How long the first byte of an answer is waited for, in ms (15000 by
   *  default, as on the process-wide link), and never less than the
   *  command's own answer deadline. Values below 1 are taken as 1. */
  void SetFirstByteTimeout(int ms);
  /** With quiet set, the link prints nothing on stderr ("time over!" and
   *  the other read messages go; the failure stays in LastFailureText). */
  void SetQuiet(bool quiet);
  /** Answer matching, on by default: off accepts any well-formed answer as
   *  the answer to the command sent, for a reader that answers otherwise. */
  void SetAnswerMatching(bool on);
  /** Installs hook (null removes it) with user passed back to it. */
  void SetTrace(OrvexTraceHook hook, void* user);
  /** Ends the wait for an answer in progress at once: its command returns
   *  -1 and LastFailure says ORVEX_FAIL_CANCELLED. Harmless on an idle
   *  link; the next command works normally. Safe from any thread and from a
   *  signal handler (one write to an eventfd). On USB the wait ends within
   *  20 ms. 1, or 0 when not open. */
  int Cancel() noexcept;

  /** Why the last command on this link failed (an OrvexFailure), or
   *  ORVEX_FAIL_NONE after a success. */
  int LastFailure() const;
  /** The last failure in words, with the time waited or the errno text where
   *  there is one ("" after a success). Valid until the next command on the
   *  link. */
  const char* LastFailureText() const;
  /** The data length of the last answer decoded on this link (what followed
   *  the status byte), -1 when the last command got none. Tells a short
   *  answer from a full one where a command copies a fixed width. */
  int LastAnswerLength() const;

 private:
  friend class OrvexLinkScope;
  void* impl_;
};

/** Makes link the one every Orvex method on the calling thread uses, while
 *  the scope lives. Scopes nest; leaving one returns the thread to the link
 *  current before it (in the end, the process-wide link). A scope on a link
 *  that is not open, or that was closed or moved from meanwhile, is safe:
 *  every command in it returns -1. Not copyable. */
class ORVEX_API OrvexLinkScope {
 public:
  /** Makes link current on this thread. */
  explicit OrvexLinkScope(OrvexLink& link);
  /** Returns the thread to the link current before. */
  ~OrvexLinkScope();
  OrvexLinkScope(const OrvexLinkScope&) = delete;
  OrvexLinkScope& operator=(const OrvexLinkScope&) = delete;

 private:
  void* state_;
};

/** The readers this machine may have, found without opening or writing to
 *  any port: USB readers (vendor 0471, product 114A) with their bus, address
 *  and serial string, and the serial ports a reader may sit behind
 *  (/dev/serial/by-id/ links with their targets, /dev/ttyUSB*, /dev/ttyACM*).
 *  The strings stay valid as long as the list. Movable, not copyable. */
class ORVEX_API OrvexReaderList {
 public:
  /** Looks now. */
  OrvexReaderList();
  /** Frees the list. */
  ~OrvexReaderList();
  /** Takes over other's entries; other is left empty. */
  OrvexReaderList(OrvexReaderList&& other) noexcept;
  /** Frees this list's entries, then takes over other's. */
  OrvexReaderList& operator=(OrvexReaderList&& other) noexcept;
  OrvexReaderList(const OrvexReaderList&) = delete;
  OrvexReaderList& operator=(const OrvexReaderList&) = delete;

  /** The number of entries: USB readers first, then serial ports. */
  int Count() const;
  /** What OrvexLink::Open takes for entry i ("usb:1:4", "/dev/ttyUSB0"). */
  const char* Connection(int i) const;
  /** "usb" or "serial". */
  const char* Kind(int i) const;
  /** USB bus number (0 for a serial port). */
  int Bus(int i) const;
  /** USB device address (0 for a serial port). */
  int Address(int i) const;
  /** USB serial string ("" when the device has none, or for a serial port). */
  const char* Serial(int i) const;
  /** Serial port: the path listed (a /dev/serial/by-id/ link, or the device
   *  itself); USB: the device node (/dev/bus/usb/BBB/DDD). */
  const char* Path(int i) const;
  /** Serial port: the device a by-id link points to (the path itself for a
   *  device listed directly); "" for USB. Out-of-range i gives "" or 0. */
  const char* Target(int i) const;

 private:
  void* impl_;
};

/** Checks a connection string without opening anything. 1 well formed;
 *  ORVEX_LINK_BAD_CONNECTION otherwise, with the reason written to message
 *  (at most size bytes, NUL-terminated; message may be null). */
ORVEX_API int OrvexCheckConnection(const char* connection, char* message, int size);

/* ====================================================================== */
/* Library extension: the three counters of an Ultralight EV1              */
/* ====================================================================== */

/** READ_CNT of counter CounterNo (0 to 2) through the reader's channel for
 *  Type 2 tag commands (command C0, sub-function 10: the tag's command 39
 *  and the counter number). An Ultralight EV1 has three one-way counters;
 *  an NTAG213/215/216 answers for counter 2 only, its NFC counter, which
 *  OV_NTag_ReadCounter reads through the reader's own sub-function 16.
 *  Uses the link current on the calling thread, as the Orvex methods do.
 *  1 and Counter the counter's 24-bit value (low byte first on the wire);
 *  -1 link failure; -3 the reader or the tag refused, the answer did not
 *  echo the sub-function or did not hold exactly the counter's 3 bytes, or
 *  CounterNo is not 0 to 2 (nothing is sent then). Counter is untouched on
 *  every failure.
 *  Outputs: Counter 1 int. */
ORVEX_API int OrvexNTagReadCounter(int ReaderID, int CounterNo, int* Counter);

#endif /* ORVEX_H */
