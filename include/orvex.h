/*
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
 * and the caller provides at least that many.
 *
 * ReaderID is the reader number, sent in every frame as 16 bits. Readers
 * leave the factory with number 0 or 1; OV_GetReaderID tells.
 *
 * Orvex objects carry no state: any number of them share the one link.
 * Calls must come from one thread at a time.
 */
#ifndef ORVEX_H
#define ORVEX_H

#if defined(__GNUC__)
#define ORVEX_API __attribute__((visibility("default")))
#else
#define ORVEX_API
#endif

/* The most a single answer can carry, in bytes, and so the most any
 * "all answer bytes" output can receive. */
#define ORVEX_MAX_ANSWER 1040

class ORVEX_API Orvex {
 public:
  Orvex() {}

  /* ==================================================================== */
  /* Library and link                                                      */
  /* ==================================================================== */

  /** Library version. No link needed. Always 7. */
  int OV_GetDLLVersion();

  /** Opens the serial port "/dev/ttyS<PortIndex>" (port 0 is /dev/ttyS0) at
   *  Bound bits per second: 4800, 9600, 19200 or 38400, 8 data bits, no
   *  parity, one stop bit. Closes a serial port opened before.
   *  1 opened (the serial link is now the active one), 0 failed. */
  int OV_ComInitial(int PortIndex, int Bound);

  /** As OV_ComInitial, for any serial device path: a USB-serial adapter
   *  ("/dev/ttyUSB0", "/dev/ttyACM0") or a pseudo-terminal such as the
   *  simulated reader's. 1 opened, 0 failed. */
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
   *  when it did), -1 on a link failure. */
  int OV_GetReaderSerial(int ReaderID, unsigned char* ReaderSerial);

  /** Reads the reader's product number into ReaderNo, as OV_GetReaderSerial. */
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
   *  CardID (all answer bytes, usually 5). 1; -1 link failure or refused. */
  int OV_LFCard_ReadID(int ReaderID, unsigned char* CardID);

  /** Writes DataLen bytes of DataToWrite to the reader's memory at AddrBegin
   *  (16-bit address). 1; -1 link failure, refused, or more data than one
   *  command can carry. */
  int OV_WriteReaderMemory(int ReaderID, int AddrBegin, int DataLen, unsigned char* DataToWrite);

  /** Reads DataLen bytes of the reader's memory from AddrBegin into
   *  DataToRead (all answer bytes: DataLen when the reader complies).
   *  1; -1 link failure or refused. */
  int OV_ReadReaderMemory(int ReaderID, int AddrBegin, int DataLen, unsigned char* DataToRead);

  /** Sets the reader's parameter Index to the ParamLen bytes of Param.
   *  1; -1 link failure or refused. */
  int OV_SetParam(int ReaderID, int Index, int ParamLen, unsigned char* Param);

  /** Sends parameter request Index with ParamLen bytes of Param and returns
   *  the reader's answer: all answer bytes to OutResult, their count to
   *  OutLen. 1; -1 link failure or refused. */
  int OV_GetParam(int ReaderID, int Index, int ParamLen, unsigned char* Param, int* OutLen,
                  unsigned char* OutResult);

  /** Sets the 433 MHz module's 8 parameter bytes. 1; -1. */
  int OV_Set433ModuleParam(int ReaderID, unsigned char* Param);

  /** Reads the 433 MHz module's parameters: always 8 bytes to Param. 1; -1. */
  int OV_Get433ModuleParam(int ReaderID, unsigned char* Param);

  /** Chooses the HF antenna AntennaID. 1; -1 link failure or refused. */
  int OV_HFSelectAntenna(int ReaderID, int AntennaID);

  /** Raw pass-through; declared here, provided only as the free function
   *  OV_SendCMD below (call that one). */
  int OV_SendCMD(int ReaderID, int Mode, int TimeOut, int ParamLen, unsigned char* Param,
                 int* OutLen, unsigned char* OutResult);

  /* ---- ORVEX-GROUP: display reader ---- */

  /* ---- ORVEX-GROUP: ISO 14443-A and MIFARE Classic ---- */

  /* ==================================================================== */
  /* ISO 14443-A and MIFARE Classic                                        */
  /* ==================================================================== */
  /* Block numbers, key indices, cascade levels and modes are sent as their
   * low byte (block 256 is block 0). Unless a method says otherwise:
   * 1 done, -1 link failure, -3 the reader refused (no card, wrong key,
   * card error). */

  /** Requests a card in the field with RequestMode (one byte, e.g. 0x26 for
   *  REQA, 0x52 for WUPA). CardType receives the card's answer, its first
   *  byte in the high half (ATQA 0x0004 reads 0x0400). */
  int OV_RequestCard(int ReaderID, unsigned char RequestMode, unsigned short* CardType);

  /** Runs the anticollision loop. LenSNO receives the serial number length,
   *  SNO the serial number (all answer bytes: 4, 7 or 10). */
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
   *  ORVEX_MAX_ANSWER). */
  int OV_ReadaBlock(int ReaderID, int BlockAddr, int LenData, unsigned char* pData);

  /** Writes the LenData bytes of pData (16 for a MIFARE block) to block
   *  BlockAddr. */
  int OV_WriteaBlock(int ReaderID, int BlockAddr, int LenData, unsigned char* pData);

  /** Makes block BlockAddr a value block holding IniMoney. */
  int OV_Purse_Initial(int ReaderID, int BlockAddr, int IniMoney);

  /** Reads the value of block BlockAddr into Money. */
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
   *  serial number (the answer's bytes after the first). Result: the serial
   *  number length (positive) when done; -1; -3. */
  int OV_AntiCollideAndSelect(int ReaderID, unsigned char ReturnMode, unsigned char* CardMem,
                              unsigned char* SNLen, unsigned char* SN);

  /** Activates the ISO 14443-4 (CPU) card in the field; Mode and MultiMode
   *  go to the reader as they stand. pData receives the whole answer (the
   *  card's answer to select, at most ORVEX_MAX_ANSWER bytes), rtLen its
   *  length. */
  int OV_TypeA_Reset(int ReaderID, unsigned char Mode, unsigned char MultiMode, int* rtLen,
                     unsigned char* pData);

  /** Sends the LenCOS-byte command APDU Com_COS to the activated CPU card.
   *  pData receives the response APDU, data then SW1 SW2 (at most
   *  ORVEX_MAX_ANSWER bytes), rtLen its length. 1 whatever SW1 SW2 say. */
  int OV_TypeA_COS(int ReaderID, int LenCOS, unsigned char* Com_COS, int* rtLen, unsigned char* pData);

  /** Reads the four Ultralight pages from BlockID on: 16 bytes to pData. */
  int OV_UltraLightRead(int ReaderID, int BlockID, unsigned char* pData);

  /** Writes the first 4 bytes of pData to Ultralight page BlockID. */
  int OV_UltraLightWrite(int ReaderID, int BlockID, unsigned char* pData);

  /** Anticollision at cascade level Leveln (1, 2, 3). LenSNO receives the
   *  answer length (1 byte), SNO the answer bytes. */
  int OV_AntiCollide_Level(int ReaderID, int Leveln, unsigned char* LenSNO, unsigned char* SNO);

  /** Selection at cascade level Leveln; SAK receives the card's SAK (1 byte). */
  int OV_SelectCard_Level(int ReaderID, int Leveln, unsigned char* SAK);

  /** Request, anticollision and selection in one step. ATQA receives the
   *  answer's first two bytes, the first in the low half (ATQA 0x0004 reads
   *  0x0004); SAK the SAK (1 byte); LenSNO the serial number length (1 byte);
   *  SNO the serial number (the answer's bytes from the fourth on). */
  int OV_RequestAntiandSelect(int ReaderID, int SearchMode, int RetMode, unsigned short* ATQA,
                              unsigned char* SAK, unsigned char* LenSNO, unsigned char* SNO);

  /** Writes the LenData bytes of pData to BlockNums blocks from StartBlock.
   *  The reader gets BlockNums x 100 ms to answer. Result when done: the
   *  reader's first answer byte (0 to 255; 0 is a success too); -1; -3. */
  int OV_WriteM1MultiBlock(int ReaderID, int StartBlock, int BlockNums, int LenData, unsigned char* pData);

  /** Reads BlockNums blocks from StartBlock; the reader gets BlockNums x
   *  100 ms to answer. LenData receives the answer length n (its leading byte
   *  included) and pData n bytes from the answer's second byte on, the last
   *  of them a zero (so pData must hold 16 x BlockNums + 1 bytes, at most
   *  ORVEX_MAX_ANSWER). Result when done: the reader's first answer byte
   *  (0 to 255; 0 is a success too); -1; -3. */
  int OV_ReadM1MultiBlock(int ReaderID, int StartBlock, int BlockNums, int* LenData, unsigned char* pData);

  /* ---- ORVEX-GROUP: ISO 14443-B and memory tags ---- */

  /* ---- ORVEX-GROUP: ISO 15693 ---- */

  /* ---- ORVEX-GROUP: SAM slots ---- */

  /* ---- ORVEX-GROUP: MIFARE Plus ---- */

  /* ---- ORVEX-GROUP: FeliCa and ID-card number ---- */

  /* ---- ORVEX-GROUP: Topaz ---- */

  /* ---- ORVEX-GROUP: NTAG ---- */

  /* ==================================================================== */
  /* NTAG                                                                  */
  /* ==================================================================== */
  /* NFC Forum Type 2 tags of the NTAG21x kind, selected beforehand as ISO
   * 14443-A cards. Page numbers are sent as their low byte. Unless a method
   * says otherwise: 1 done; -1 link failure; -3 the reader refused, or its
   * answer did not echo the command. */

  /** GET_VERSION: the tag's version bytes to pData (8 on an NTAG21x; all the
   *  reader returns, at most ORVEX_MAX_ANSWER). */
  int OV_NTag_GetVersion(int ReaderID, unsigned char* pData);

  /** READ: four pages from StartPage on. pData receives the bytes (16; all
   *  the reader returns, at most ORVEX_MAX_ANSWER), DataLen their count. */
  int OV_NTag_Read(int ReaderID, int StartPage, int* DataLen, unsigned char* pData);

  /** FAST_READ: pages StartPage to EndPage, at most 51 pages in one call
   *  (EndPage is lowered to StartPage + 50 on the wire, the variable is left
   *  alone). pData receives the bytes (up to 204; all the reader returns, at
   *  most ORVEX_MAX_ANSWER), DataLen their count. */
  int OV_NTag_FastRead(int ReaderID, int StartPage, int EndPage, int* DataLen, unsigned char* pData);

  /** WRITE: the 4 bytes of pData to page PageIndex. */
  int OV_NTag_Write(int ReaderID, int PageIndex, unsigned char* pData);

  /** COMPATIBILITY_WRITE: the 16 bytes of pData to page PageIndex (the tag
   *  keeps the first 4). */
  int OV_NTag_CompatibleWrite(int ReaderID, int PageIndex, unsigned char* pData);

  /** READ_CNT: the tag's 24-bit NFC counter to Counter. */
  int OV_NTag_ReadCounter(int ReaderID, int* Counter);

  /** PWD_AUTH with the 4-byte password PWD. AuthResult receives the tag's
   *  2-byte PACK whenever the tag answered. 1 when the PACK is 00 00; -1 for
   *  any other PACK, or a link failure (AuthResult then untouched); -3. */
  int OV_NTag_Password_Auth(int ReaderID, unsigned char* PWD, unsigned char* AuthResult);

  /** READ_SIG: the tag's signature to Signature (32 bytes on an NTAG21x;
   *  all the reader returns, at most ORVEX_MAX_ANSWER). */
  int OV_NTag_ReadSignature(int ReaderID, unsigned char* Signature);

  /* ---- ORVEX-GROUP: SLE4442 ---- */

  /* ---- ORVEX-GROUP: FMCOS ---- */

  /* ---- ORVEX-GROUP: card application ---- */

  /* ---- ORVEX-GROUP: NDEF ---- */

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
   *  record; -1 no buffer. */
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

  /* ---- ORVEX-GROUP: DES ---- */

  /* ==================================================================== */
  /* Declared for source compatibility with the EPC Gen2 reader line and   */
  /* not provided by this library: a call fails to link.                   */
  /* ==================================================================== */
  int OV_GetPower(int ReaderID);
  int OV_SetPower(int ReaderID, int Power);
  int OV_SetInventoryThreshold(int ReaderID, int Threshold);
  int OV_GetInventoryThreshold(int ReaderID);
  int OV_G2_Inventory(int ReaderID);
  int OV_G2_Read(int ReaderID);
  int OV_G2_Write(int ReaderID);
  int OV_G2_WriteEPC(int ReaderID);
  int OV_G2_KillTag(int ReaderID);
  int OV_G2_SetProtected(int ReaderID);
  int OV_G2_Earse(int ReaderID);
  int OV_G2_SetReadProtectedWithEPC(int ReaderID);
  int OV_G2_SetReadProtected(int ReaderID);
  int OV_G2_SetUnlockReadProtected(int ReaderID);
  int OV_G2_TestReadProtected(int ReaderID);
  int OV_G2_SetEASAlert(int ReaderID);
  int OV_G2_TestEASAlert(int ReaderID);
  int OV_G2_LockUser(int ReaderID);
};

/* ======================================================================== */
/* Exported free functions                                                  */
/* ======================================================================== */

/** Raw pass-through: sends command 0xFB with Mode, TimeOut (one byte each)
 *  and the ParamLen bytes of Param, waits TimeOut x 100 ms on serial, and
 *  hands back all answer bytes in OutResult (at most ORVEX_MAX_ANSWER) with
 *  their count in OutLen. 1; -1 link failure or refused. */
ORVEX_API int OV_SendCMD(int ReaderID, int Mode, int TimeOut, int ParamLen, unsigned char* Param,
                         int* OutLen, unsigned char* OutResult);

/** Milliseconds of the wall clock, in 32-bit arithmetic (the value wraps). */
ORVEX_API int GetTickCount();
/** Opens the USB reader with the given ids; results as OV_USBHIDInitial. */
ORVEX_API int HID_OpenUSBPort_(int VID, int PID);
/** Ends the USB link; as OV_USBHIDFree. */
ORVEX_API int HID_ClosePort_();

/* Reader management commands, as the methods of the same meaning. */
ORVEX_API int GetReaderSerial_(int ReaderID, unsigned char* ReaderSerial);
ORVEX_API int GetReaderNo_(int ReaderID, unsigned char* ReaderNo);
ORVEX_API int Buzzer2_(int ReaderID, int Time_ON, int Time_OFF, int Cycle);
ORVEX_API int LED2_(int ReaderID, int LEDIndex, int Time_ON, int Time_OFF, int Cycle, int LedIndexOn);
ORVEX_API int AntennaStatus_(int ReaderID, bool ATStatus);
ORVEX_API int SearchCardMode_2(int ReaderID, int Mode, int Param);
ORVEX_API int SearchCardMode_(int ReaderID, int Mode);
ORVEX_API int LEDDisplay_(int ReaderID, int Alignment, char* LEDText);
ORVEX_API int LFCard_ReadID_(int ReaderID, unsigned char* CardID);
ORVEX_API int WriteFlash(int ReaderID, int AddrBegin, int DataLen, unsigned char* DataToWrite);
ORVEX_API int ReadFlash(int ReaderID, int AddrBegin, int DataLen, unsigned char* DataToRead);
ORVEX_API int SelectAntenna_(int ReaderID, int AntennaID);
ORVEX_API int SetParam_(int ReaderID, int Index, int ParamLen, unsigned char* Param);
ORVEX_API int GetParam_(int ReaderID, int Index, int ParamLen, unsigned char* Param, int* OutLen,
                        unsigned char* OutResult);
ORVEX_API int Set433ModuleParam_(int ReaderID, unsigned char* Param);
ORVEX_API int Get433ModuleParam_(int ReaderID, unsigned char* Param);
ORVEX_API int SendCMD_(int ReaderID, int Mode, int TimeOut, int ParamLen, unsigned char* Param,
                       int* OutLen, unsigned char* OutResult);

/* ---- ORVEX-FREE: later groups' exported free functions ---- */

/* ---- NDEF message and tags ---- */

/* One NDEF record header byte (NFC Forum): the bit fields from the least
 * significant bit up, or the whole byte. */
union NDEFHeader {
  struct {
    unsigned char TNF : 3; /* type name format; 1 = NFC Forum well-known type */
    unsigned char IL : 1;  /* an ID length byte is present */
    unsigned char SR : 1;  /* short record: one payload length byte */
    unsigned char CF : 1;  /* chunk flag */
    unsigned char ME : 1;  /* message end */
    unsigned char MB : 1;  /* message begin */
  } Header;
  unsigned char Value;
};

/* One NDEF record carrying a URI or an English text, as a short record of
 * well-known type "U" or "T". */
class ORVEX_API NDEFRecord {
 public:
  NDEFHeader Header;
  unsigned char TypeLength;
  unsigned char PayloadLength; /* the one payload length the record has */
  unsigned char IDLength;
  char Type[255];
  unsigned char ID[255];       /* only ever filled by decoding */
  unsigned char Payload[255];
  unsigned char MB;            /* message begin, 0 or 1 */
  unsigned char ME;            /* message end, 0 or 1 */
  unsigned char URI;           /* URI identifier code; 0 means a text record */
  char string[255];            /* the URI after its code, or the text; not terminated */
  int strLen;                  /* bytes of string in use */
  bool NDEFFormat;             /* decoding recognised a text or URI record */

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

/* An NDEF message of up to five records, as one NDEF Message TLV. */
class ORVEX_API TLV {
 public:
  unsigned char TLVBlank;      /* NULL TLV tag 0x00 */
  unsigned char TLVHeader;     /* NDEF Message TLV tag 0x03 */
  unsigned char TLVTeminate;   /* Terminator TLV tag 0xFE */
  int RecordCount;             /* records held, 0 to 5 */
  NDEFRecord* NFCRecord[5];    /* the records in message order, owned */
  unsigned char Key[6];        /* MIFARE key for saving and reading; FF x 6 */

  TLV();
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
 *  NFC_Write (-4 a read failed); -6 no 0x03 tag where the message belongs. */
ORVEX_API int NFC_Read(int ReaderID, unsigned char KeyMode, unsigned char* Key, unsigned char* Buffer);

#endif /* ORVEX_H */
