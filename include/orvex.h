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

  /* ---- ORVEX-GROUP: ISO 14443-B and memory tags ---- */

  /* ---- ORVEX-GROUP: ISO 15693 ---- */

  /* ---- ORVEX-GROUP: SAM slots ---- */

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
   *  Deadline 700 ms. */
  int OV_SAM_Reset(int ReaderID, int SAMIndex, int* rtLen, unsigned char* pData);

  /** As OV_SAM_Reset, powering the SAM with the reader's voltage code
   *  SAMVoltage. */
  int OV_SAM_ResetEx(int ReaderID, int SAMIndex, unsigned char SAMVoltage, int* rtLen,
                     unsigned char* pData);

  /** Sends the command APDU Com_COS (LenCOS bytes, at most 100) to the SAM
   *  and puts the response APDU, data followed by SW1 SW2, in pData (at most
   *  ORVEX_MAX_ANSWER bytes) with its length in rtLen. The status words are
   *  not looked at: a SAM's error status still returns 1. -1 also for an
   *  APDU longer than 100 bytes or a negative LenCOS (nothing is sent).
   *  Deadline 1 s. */
  int OV_SAM_COS(int ReaderID, int SAMIndex, int LenCOS, unsigned char* Com_COS, int* rtLen,
                 unsigned char* pData);

  /* ---- ORVEX-GROUP: MIFARE Plus ---- */

  /* ---- ORVEX-GROUP: FeliCa and ID-card number ---- */

  /* ---- ORVEX-GROUP: Topaz ---- */

  /* ---- ORVEX-GROUP: NTAG ---- */

  /* ---- ORVEX-GROUP: SLE4442 ---- */

  /* ---- ORVEX-GROUP: FMCOS ---- */

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
   *  read 0). */
  int OV_FM_GetChallenge(int ReaderID, unsigned char BytesNumber, unsigned char* Challenge,
                         unsigned short* ExeStatus);

  /** EXTERNAL AUTHENTICATE (00 82 00 KeyIndex) with the cryptogram AuthData.
   *  Lc is always 08; LenOfAuthData bytes of AuthData follow it. ExeStatus is
   *  written only when the card answers with the status word alone. */
  int OV_FM_ExternalAuthenticate(int ReaderID, unsigned char KeyIndex, unsigned char LenOfAuthData,
                                 unsigned char* AuthData, unsigned short* ExeStatus);

  /** INTERNAL AUTHENTICATE (00 88 EncodeMode DesKeyNumber) of the
   *  LenOfAuthData bytes of AuthData; the card's result goes to AuthResult
   *  (usually 8 bytes), its length to LenOfAuthResult. */
  int OV_FM_InternalAuthenticate(int ReaderID, unsigned char EncodeMode, unsigned char DesKeyNumber,
                                 unsigned char LenOfAuthData, unsigned char* AuthData,
                                 unsigned char* LenOfAuthResult, unsigned char* AuthResult,
                                 unsigned short* ExeStatus);

  /** SELECT (00 A4 FileMode NextFile, Le 00) of the file named by the
   *  LenOfFileIDName bytes of FileIDName (a file identifier or a DF name).
   *  Declared here, provided only as the free function OV_FM_Select below
   *  (call that one). */
  int OV_FM_Select(int ReaderID, unsigned char FileMode, unsigned char LenOfFileIDName,
                   unsigned char* FileIDName, unsigned char NextFile, unsigned char* LenOfFCI,
                   unsigned char* FCI, unsigned short* ExeStatus);

  /** READ BINARY (00 B0, Le LenForRead) of a transparent file. A non-zero
   *  FileID is a short file identifier (P1 = 80 | FileID, P2 = low byte of
   *  Offset, the offset's high byte is dropped); FileID 0 reads the current
   *  file at Offset (up to 0x7FFF). The data go to FileData, their length to
   *  LenOfFileData. */
  int OV_FM_ReadBinary(int ReaderID, unsigned char FileID, short Offset, unsigned char LenForRead,
                       unsigned char* LenOfFileData, unsigned char* FileData,
                       unsigned short* ExeStatus);

  /** READ RECORD (00 B2 RecordIndex, Le LenForRead): P2 is RecordMode for
   *  FileID 0 (the current file), else FileID << 3 | RecordMode. The record
   *  goes to FileData, its length to LenOfFileData. */
  int OV_FM_ReadRecord(int ReaderID, unsigned char FileID, unsigned char RecordIndex,
                       unsigned char RecordMode, unsigned char LenForRead,
                       unsigned char* LenOfFileData, unsigned char* FileData,
                       unsigned short* ExeStatus);

  /** UPDATE BINARY (00 D6) with the LenOfFileData bytes of FileData; FileID
   *  and Offset as for OV_FM_ReadBinary. */
  int OV_FM_UpdateBinary(int ReaderID, unsigned char FileID, short Offset,
                         unsigned char LenOfFileData, unsigned char* FileData,
                         unsigned short* ExeStatus);

  /** UPDATE RECORD (00 DC RecordIndex, P2 FileID << 3 | RecordMode) with the
   *  LenOfFileData bytes of FileData. */
  int OV_FM_UpdaterRecord(int ReaderID, unsigned char FileID, unsigned char RecordIndex,
                          unsigned char RecordMode, unsigned char LenOfFileData,
                          unsigned char* FileData, unsigned short* ExeStatus);

  /** APPEND RECORD (00 E2 00, P2 FileID << 3) with the LenOfFileData bytes of
   *  FileData. */
  int OV_FM_AppendRecord(int ReaderID, unsigned char FileID, unsigned char LenOfFileData,
                         unsigned char* FileData, unsigned short* ExeStatus);

  /** VERIFY (00 20 00 KeyIndex) of the PIN Key (LenOfKey bytes). */
  int OV_FM_VerifyPin(int ReaderID, unsigned char KeyIndex, unsigned char LenOfKey,
                      unsigned char* Key, unsigned short* ExeStatus);

  /** ERASE DF (80 0E 00 00 00): erases the current directory's contents. */
  int OV_FM_EraseDF(int ReaderID, unsigned short* ExeStatus);

  /** WRITE KEY (80 D4 KeyType KeyID) with the LenOfKey bytes of Key (the
   *  key and its attributes, as the card wants them). */
  int OV_FM_WriteKey(int ReaderID, unsigned char KeyType, unsigned char KeyID,
                     unsigned char LenOfKey, unsigned char* Key, unsigned short* ExeStatus);

  /** CREATE FILE (80 E0, P1 P2 = FileID high byte first) with the
   *  LenOfFileInfo bytes of FileInfo (file type, size, access rights...). */
  int OV_FM_CreateFile(int ReaderID, unsigned short FileID, unsigned char LenOfFileInfo,
                       unsigned char* FileInfo, unsigned short* ExeStatus);

  /** READ BINARY with secure messaging (04 B0, no Le): the LenOfKeyMAC bytes
   *  of KeyMAC are the data field. A non-zero WithFileID makes FileID a
   *  short file identifier, as for OV_FM_ReadBinary. The data go to FileData
   *  (at most 998 bytes), their length to LenOfFileData (16-bit). */
  int OV_FM_ReadBinaryWithProtected(int ReaderID, unsigned char WithFileID, unsigned char FileID,
                                    short Offset, unsigned char LenOfKeyMAC, unsigned char* KeyMAC,
                                    short* LenOfFileData, unsigned char* FileData,
                                    unsigned short* ExeStatus);

  /** CARD BLOCK (84 16 00 00) with the MAC (LenOfMac bytes): blocks the
   *  card for good. */
  int OV_FM_CardBlock(int ReaderID, unsigned char LenOfMac, unsigned char* Mac,
                      unsigned short* ExeStatus);

  /** APPLICATION UNBLOCK (84 18 00 00) with the MAC (LenOfMac bytes). */
  int OV_FM_ApplicationUnblock(int ReaderID, unsigned char LenOfMac, unsigned char* Mac,
                               unsigned short* ExeStatus);

  /** APPLICATION BLOCK (84 1E 00 BlockMode) with the MAC (LenOfMac bytes). */
  int OV_FM_ApplicationBlock(int ReaderID, unsigned char BlockMode, unsigned char LenOfMac,
                             unsigned char* Mac, unsigned short* ExeStatus);

  /** PIN UNBLOCK (84 24 KeyID 00): the key number goes in P1. The data field
   *  is the LenOfKey bytes of Key then the LenOfMac bytes of Mac. */
  int OV_FM_PinUnblock(int ReaderID, unsigned char KeyID, unsigned char LenOfKey,
                       unsigned char* Key, unsigned char LenOfMac, unsigned char* Mac,
                       unsigned short* ExeStatus);

  /** RELOAD PIN (80 5E 00 KeyID): the new PIN Key (LenOfKey bytes) then the
   *  MAC (LenOfMac bytes). */
  int OV_FM_ReloadPin(int ReaderID, unsigned char KeyID, unsigned char LenOfKey,
                      unsigned char* Key, unsigned char LenOfMac, unsigned char* Mac,
                      unsigned short* ExeStatus);

  /** CHANGE PIN (80 5E 01 KeyID): the old PIN, one byte FF, the new PIN;
   *  Lc counts all three. */
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
   *  to LenOfResult. */
  int OV_FM_InitializeForLoad(int ReaderID, unsigned char ePursePos, unsigned char KeyID, int Value,
                              unsigned char LenOfPosCode, unsigned char* PosCode,
                              unsigned char* LenOfResult, unsigned char* Result,
                              unsigned short* ExeStatus);

  /** CREDIT FOR LOAD (80 52 00 00, Le 10): the card's TAC goes to TAC
   *  (usually 4 bytes), its length to LenOfTAC. */
  int OV_FM_CreditForLoad(int ReaderID, unsigned char* BCDDate, unsigned char* BCDTime,
                          unsigned char* Mac, unsigned char* LenOfTAC, unsigned char* TAC,
                          unsigned short* ExeStatus);

  /** INITIALIZE FOR PURCHASE (80 50 01 ePursePos, Lc LenOfPosCode + 5,
   *  Le 0F). The answer data go to Result (usually 15 bytes), their length
   *  to LenOfResult. */
  int OV_FM_InitializeForPurchase(int ReaderID, unsigned char ePursePos, unsigned char KeyID,
                                  int Value, unsigned char LenOfPosCode, unsigned char* PosCode,
                                  unsigned char* LenOfResult, unsigned char* Result,
                                  unsigned short* ExeStatus);

  /** DEBIT FOR PURCHASE (80 54 01 00, Le 08) with the terminal's order
   *  number OrderNo: answer bytes 0-3 go to TAC and 4-7 to Mac2 (4 bytes
   *  each, both lengths set to 4) once the card answered with data. */
  int OV_FM_DebitForCappPurchase(int ReaderID, int OrderNo, unsigned char* BCDDate,
                                 unsigned char* BCDTime, unsigned char* Mac,
                                 unsigned char* LenOfTAC, unsigned char* TAC,
                                 unsigned char* LenOfMac2, unsigned char* Mac2,
                                 unsigned short* ExeStatus);

  /** INITIALIZE FOR UNLOAD (80 50 05 ePursePos, Le 10). Lc is 0B, made for a
   *  6-byte PosCode, whatever LenOfPosCode is (the LenOfPosCode bytes are
   *  still sent). Result and LenOfResult as for OV_FM_InitializeForLoad. */
  int OV_FM_InitializeForUnload(int ReaderID, unsigned char ePursePos, unsigned char KeyID,
                                int Value, unsigned char LenOfPosCode, unsigned char* PosCode,
                                unsigned char* LenOfResult, unsigned char* Result,
                                unsigned short* ExeStatus);

  /** CREDIT FOR UNLOAD (80 54 03 00, Le 04): the card's MAC3 goes to MAC3
   *  (usually 4 bytes), its length to LenOfMAC3. */
  int OV_FM_CreditForUnload(int ReaderID, unsigned char* BCDDate, unsigned char* BCDTime,
                            unsigned char* Mac, unsigned char* LenOfMAC3, unsigned char* MAC3,
                            unsigned short* ExeStatus);

  /** INITIALIZE FOR CASH WITHDRAWAL (80 50 02 ePursePos, Lc 0B whatever
   *  LenOfPosCode is, Le 0F). Result and LenOfResult as for
   *  OV_FM_InitializeForPurchase. */
  int OV_FM_InitializeForCashWithdraw(int ReaderID, unsigned char ePursePos, unsigned char KeyID,
                                      int Value, unsigned char LenOfPosCode, unsigned char* PosCode,
                                      unsigned char* LenOfResult, unsigned char* Result,
                                      unsigned short* ExeStatus);

  /** DEBIT FOR CASH WITHDRAWAL (80 54 01 00, Le 08): TAC and MAC2 (4 bytes
   *  each) as for OV_FM_DebitForCappPurchase. */
  int OV_FM_DebitForCashWithdraw(int ReaderID, int OrderNo, unsigned char* BCDDate,
                                 unsigned char* BCDTime, unsigned char* Mac,
                                 unsigned char* LenOfTAC, unsigned char* TAC,
                                 unsigned char* LenOfMAC2, unsigned char* MAC2,
                                 unsigned short* ExeStatus);

  /** UPDATE OVERDRAW LIMIT (80 58 00 00, Le 04) to NewLimitValue. The APDU
   *  states Lc 0E and carries 15 data bytes (limit, date, time, MAC). Answer
   *  bytes 0-3 go to TAC (4 bytes), LenOfTAC becomes 4. */
  int OV_FM_UpdateOverdrawLimit(int ReaderID, int NewLimitValue, unsigned char* BCDDate,
                                unsigned char* BCDTime, unsigned char* Mac,
                                unsigned char* LenOfTAC, unsigned char* TAC,
                                unsigned short* ExeStatus);

  /** GET TRANSACTION PROOF (80 5A 00 ProveTypeID, Le 08) of the transaction
   *  TranactionOrderNo (sent low byte first): answer bytes 0-3 go to MAC and
   *  4-7 to TAC (4 bytes each, both lengths set to 4). */
  int OV_FM_GetTransactionProve(int ReaderID, unsigned char ProveTypeID,
                                unsigned short TranactionOrderNo, unsigned char* LenOfMAC,
                                unsigned char* MAC, unsigned char* LenOfTAC, unsigned char* TAC,
                                unsigned short* ExeStatus);

  /** GET BALANCE (80 5C 00 ePursePos, Le 04): the purse's balance, answer
   *  bytes 0-3 read least significant byte first, to Value once the card
   *  answered with data; Value keeps its value otherwise. */
  int OV_FM_GetBalance(int ReaderID, unsigned char ePursePos, int* Value, unsigned short* ExeStatus);

  /* ---- ORVEX-GROUP: card application ---- */

  /* ---- ORVEX-GROUP: NDEF ---- */

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

/* FMCOS */
/** SELECT (00 A4 FileMode NextFile, Le 00) of the file named by the
 *  LenOfFileIDName bytes of FileIDName (a file identifier such as 3F 00, or
 *  a DF name). The FCI the card sends goes to FCI (at most 998 bytes), its
 *  length to LenOfFCI (0 after any failure or when the card sent only its
 *  status word). Result and ExeStatus as for the FMCOS methods of Orvex. */
ORVEX_API int OV_FM_Select(int ReaderID, unsigned char FileMode, unsigned char LenOfFileIDName,
                           unsigned char* FileIDName, unsigned char NextFile,
                           unsigned char* LenOfFCI, unsigned char* FCI, unsigned short* ExeStatus);

#endif /* ORVEX_H */
