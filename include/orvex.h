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
   *  rtLen its length. The reader gets 400 ms to answer. */
  int OV_TypeB_Request(int ReaderID, unsigned char Mode, unsigned char* Attrib, int* rtLen,
                       unsigned char* pData);

  /** The same command as OV_TypeB_Request, with the same parameters. */
  int OV_TypeB_ResetEx(int ReaderID, unsigned char Mode, unsigned char* Attrib, int* rtLen,
                       unsigned char* pData);

  /** Resets an ISO 14443-B card. The reader receives 1 when Mode is 0x53
   *  ('S') and 0 for any other Mode. pData receives the whole answer, rtLen
   *  its length. The reader gets 400 ms to answer. */
  int OV_TypeB_Reset(int ReaderID, unsigned char Mode, int* rtLen, unsigned char* pData);

  /** Sends the LenCOS-byte command APDU Com_COS to the activated type B CPU
   *  card, through the same reader command as OV_TypeA_COS. pData receives
   *  the response APDU, data then SW1 SW2 (at most ORVEX_MAX_ANSWER bytes),
   *  rtLen its length. 1 whatever SW1 SW2 say. */
  int OV_TypeB_COS(int ReaderID, int LenCOS, unsigned char* Com_COS, int* rtLen, unsigned char* pData);

  /** Puts the card with the 4-byte PUPI to sleep (HLTB). */
  int OV_TypeB_Halt(int ReaderID, unsigned char* PUPI);

  /** Checks the 8-byte Key of an AT88RF020. The reader gets 300 ms. */
  int OV_AT88RF020_Check(int ReaderID, unsigned char* Key);

  /** Reads AT88RF020 block BlockID: pData receives the whole answer (the
   *  8-byte block). */
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
   *  last of them a zero (pData must hold 8 x BlockNums + 1 bytes, at most
   *  ORVEX_MAX_ANSWER). Result when done: the leading answer byte (0 to 255;
   *  0 is a success too); -1; -3. */
  int OV_AT88RF020_ReadMulti(int ReaderID, int BlockID, int BlockNums, int* LenData, unsigned char* pData);

  /** Writes the LenData bytes of pData to BlockNums AT88RF020 blocks from
   *  BlockID; the reader gets BlockNums x 100 ms. Result when done: the
   *  leading answer byte (0 to 255; 0 is a success too); -1; -3. */
  int OV_AT88RF020_WriteMulti(int ReaderID, int BlockID, int BlockNums, int LenData, unsigned char* pData);

  /** Activates an ST memory tag (SR176, SR512, SRIX4K). ChipID receives the
   *  tag's chip id (1 byte). */
  int OV_ST_Active(int ReaderID, unsigned char* ChipID);

  /** Deactivates the ST tag. */
  int OV_ST_DeActive(int ReaderID);

  /** Reads the SR176's 8-byte identifier from its blocks 3, 2, 1 and 0, in
   *  that order, into UID (8 bytes, highest block first). Stops at the first
   *  failing read and returns its result; the blocks read before it stay in
   *  UID. A block answer that would run past the 8 bytes of UID fails with
   *  -1. */
  int OV_SR176_GetUID(int ReaderID, unsigned char* UID);

  /** Reads SR176 block BlockID: pData receives the whole answer (the 2-byte
   *  block). */
  int OV_SR176_Read(int ReaderID, int BlockID, unsigned char* pData);

  /** Writes the 2 bytes of pData to SR176 block BlockID. */
  int OV_SR176_Write(int ReaderID, int BlockID, unsigned char* pData);

  /** Writes the SR176 lock byte. */
  int OV_SR176_Lock(int ReaderID, unsigned char LockByte);

  /** Reads the SR176 lock byte into LockByte (1 byte). */
  int OV_SR176_LockStatus(int ReaderID, unsigned char* LockByte);

  /** Reads BlockNums SR176 blocks from BlockID; the reader gets BlockNums x
   *  100 ms. LenData receives the number of data bytes (the answer length
   *  less its leading byte) and pData those bytes (2 x BlockNums). Result
   *  when done: the leading answer byte (0 to 255; 0 is a success too). */
  int OV_SR176_ReadMulti(int ReaderID, int BlockID, int BlockNums, int* LenData, unsigned char* pData);

  /** Writes the LenData bytes of pData to BlockNums SR176 blocks from
   *  BlockID; the reader gets BlockNums x 100 ms. Result when done: the
   *  leading answer byte (0 to 255). */
  int OV_SR176_WriteMulti(int ReaderID, int BlockID, int BlockNums, int LenData, unsigned char* pData);

  /** Reads SR512 / SRIX4K block BlockID: pData receives the whole answer
   *  (the 4-byte block). */
  int OV_SR512_Read(int ReaderID, int BlockID, unsigned char* pData);

  /** Writes the 4 bytes of pData to SR512 / SRIX4K block BlockID. */
  int OV_SR512_Write(int ReaderID, int BlockID, unsigned char* pData);

  /** Authenticates an SRIX4K with the 6-byte Key. Signature receives the
   *  whole answer (the tag's signature). */
  int OV_SRIX4K_Check(int ReaderID, unsigned char* Key, unsigned char* Signature);

  /** Reads the SR512 / SRIX4K identifier: UID receives the whole answer
   *  (8 bytes on these tags). */
  int OV_SR512_GetUID(int ReaderID, unsigned char* UID);

  /** Locks SR512 / SRIX4K blocks. The reader receives two flags: 1 when the
   *  high byte of LockByte is non-zero, then 1 when LockByte is non-zero
   *  (0 otherwise). */
  int OV_SR512_Lock(int ReaderID, unsigned short LockByte);

  /** Reads the SR512 / SRIX4K lock bits from block 255: LockByte receives
   *  the block's first byte plus its second byte x 256. An answer longer
   *  than the 4-byte block fails with -1. */
  int OV_SR512_LockStatus(int ReaderID, unsigned short* LockByte);

  /** Reads BlockNums SR512 / SRIX4K blocks from BlockID, as
   *  OV_SR176_ReadMulti (pData receives 4 x BlockNums bytes). */
  int OV_SR512_ReadMulti(int ReaderID, int BlockID, int BlockNums, int* LenData, unsigned char* pData);

  /** Writes the LenData bytes of pData to BlockNums SR512 / SRIX4K blocks
   *  from BlockID, as OV_SR176_WriteMulti. */
  int OV_SR512_WriteMulti(int ReaderID, int BlockID, int BlockNums, int LenData, unsigned char* pData);

  /* ---- ORVEX-GROUP: ISO 15693 ---- */

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
   *  records as they come, PLen their length. */
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
   *  gets 200 ms to answer. */
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
   *  gives it, PLen its length. */
  int OV_ISO15693_Get_System_Information(int ReaderID, unsigned char Model, unsigned char* PUID,
                                         unsigned char* PData, unsigned char* PLen);

  /** Reads the security status of BlockNums blocks from StartBlockID into
   *  PData, its length into PLen. The reader gets 100 ms, not the 200 ms of
   *  a read. */
  int OV_ISO15693_Get_Block_Security(int ReaderID, unsigned char Model, unsigned char* PUID,
                                     unsigned char StartBlockID, unsigned char BlockNums,
                                     unsigned char* PData, unsigned char* PLen);

  /** Inventory of several tags, restricted to application family AFI when
   *  AFIEnable says so (one byte the reader interprets). PData receives the
   *  tag records, PLen their length. */
  int OV_ISO15693_Multi_Inventory(int ReaderID, unsigned char AFIEnable, unsigned char AFI,
                                  unsigned char* PData, unsigned char* PLen);

  /** Writes the DataLen bytes of PData to BlockNums blocks from BlockID. The
   *  reader gets 400 ms to answer. */
  int OV_ISO15693_MultiWrite(int ReaderID, unsigned char Model, unsigned char* PUID,
                             unsigned char BlockID, unsigned char BlockNums, unsigned char DataLen,
                             unsigned char* PData);

  /* ---- ORVEX-GROUP: SAM slots ---- */

  /* ---- ORVEX-GROUP: MIFARE Plus ---- */

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
   *  ORVEX_MAX_ANSWER), DataLen its length. */
  int OV_MFP_L3_Read(int ReaderID, int StartBlock, int BlockNums, int* DataLen, unsigned char* pData);

  /** Writes 16 x BlockNums bytes of pData to BlockNums blocks from
   *  StartBlock; the reader gets BlockNums x 100 ms. More than one command
   *  can carry fails with -1 before anything is sent. */
  int OV_MFP_L3_Write(int ReaderID, int StartBlock, int BlockNums, unsigned char* pData);

  /** Makes block BlockID a value block holding InitialValue. */
  int OV_MFP_L3_Purse_Initial(int ReaderID, int BlockID, int InitialValue);

  /** Reads the value of block BlockID into Value. */
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
   *  bytes, at most ORVEX_MAX_ANSWER), DataLen its length. */
  int OV_MFP_CommonRead(int ReaderID, int BlockID, int BlockNums, int* DataLen, unsigned char* pData);

  /** Writes 16 x BlockNums bytes of pData to BlockNums blocks from block
   *  address BlockID; the reader gets BlockNums x 100 ms. More than one
   *  command can carry fails with -1 before anything is sent. */
  int OV_MFP_CommonWrite(int ReaderID, int BlockID, int BlockNums, unsigned char* pData);

  /* ---- ORVEX-GROUP: FeliCa and ID-card number ---- */

  /* ---- ORVEX-GROUP: Topaz ---- */

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
   *  part), DataLenRet its length (the response length less 2). */
  int OV_TOPAZ_ReadUID(int ReaderID, unsigned char* HR0, unsigned char* HR1, int* DataLenRet,
                       unsigned char* pDataRet);

  /** Reads all memory (RALL): pDataRet receives the response after its two
   *  header ROM bytes (usually 120 bytes), DataLenRet that length. */
  int OV_TOPAZ_ReadAll(int ReaderID, unsigned char* UID, int* DataLenRet, unsigned char* pDataRet);

  /** Reads one byte (READ). When the tag's response is exactly 2 bytes, its
   *  first must be the address sent (else -2) and pDataRet[0] receives the
   *  byte; a response of another length returns 1 and writes nothing. */
  int OV_TOPAZ_ReadByte(int ReaderID, unsigned char* UID, unsigned char BlockID, unsigned char ByteAddr,
                        unsigned char* pDataRet);

  /** Erases and writes one byte (WRITE-E); the byte read back goes to
   *  pDataRet[0] under the rules of OV_TOPAZ_ReadByte. */
  int OV_TOPAZ_WriteByteAfterErase(int ReaderID, unsigned char* UID, unsigned char BlockID,
                                   unsigned char ByteAddr, unsigned char DataWrite, unsigned char* pDataRet);

  /** Writes one byte without erasing (WRITE-NE), as
   *  OV_TOPAZ_WriteByteAfterErase. */
  int OV_TOPAZ_WriteByteWithoutErase(int ReaderID, unsigned char* UID, unsigned char BlockID,
                                     unsigned char ByteAddr, unsigned char DataWrite, unsigned char* pDataRet);

  /** Reads segment Segment (RSEG; 0 to 3, only the low two bits count).
   *  The response's first byte must be the segment address sent (else -2);
   *  pDataRet receives the rest (128 bytes on a segment), DataLenRet its
   *  length. */
  int OV_TOPAZ_ReadSegment(int ReaderID, unsigned char* UID, unsigned char Segment, int* DataLenRet,
                           unsigned char* pDataRet);

  /** Reads 8-byte block BlockID (READ8). The response's first byte must be
   *  BlockID (else -2); pDataRet receives the next 8 bytes (always 8; zeros
   *  where the response is shorter). */
  int OV_TOPAZ_ReadBlock(int ReaderID, unsigned char* UID, unsigned char BlockID, unsigned char* pDataRet);

  /** Erases and writes the 8 bytes of DataWrite to block BlockID (WRITE-E8);
   *  the 8 bytes read back go to pDataRet as in OV_TOPAZ_ReadBlock. */
  int OV_TOPAZ_WriteBlockAfterErase(int ReaderID, unsigned char* UID, unsigned char BlockID,
                                    unsigned char* DataWrite, unsigned char* pDataRet);

  /** Writes the 8 bytes of DataWrite to block BlockID without erasing
   *  (WRITE-NE8), as OV_TOPAZ_WriteBlockAfterErase. */
  int OV_TOPAZ_WriteBlockWithoutErase(int ReaderID, unsigned char* UID, unsigned char BlockID,
                                      unsigned char* DataWrite, unsigned char* pDataRet);

  /* ---- ORVEX-GROUP: NTAG ---- */

  /* ---- ORVEX-GROUP: SLE4442 ---- */

  /* ---- ORVEX-GROUP: FMCOS ---- */

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

/* MIFARE Plus commands, as the OV_MFP_ methods of the same meaning:
 * MPlus_L0_Write_ is OV_MFP_L0_WritePerso, MPlus_L0_To_L13_
 * OV_MFP_L0_CommitPerso, MPlus_L0_To_L23_ OV_MFP_SwitchToLevel, and every
 * other MPlus_<name>_ is OV_MFP_<name>. */
ORVEX_API int MPlus_L0_Write_(int ReaderID, int BlockID, unsigned char* pData);
ORVEX_API int MPlus_L0_To_L13_(int ReaderID);
ORVEX_API int MPlus_L0_To_L23_(int ReaderID, int DesLevel, unsigned char* SwitchKey);
ORVEX_API int MPlus_L3_Authorization_(int ReaderID, int KeyMode, int BlockID, unsigned char* Key);
ORVEX_API int MPlus_L3_Read_(int ReaderID, int StartBlock, int BlockNums, int* DataLen, unsigned char* pData);
ORVEX_API int MPlus_L3_Write_(int ReaderID, int StartBlock, int BlockNums, unsigned char* pData);
ORVEX_API int MPlus_L3_Purse_Initial_(int ReaderID, int BlockID, int InitialValue);
ORVEX_API int MPlus_L3_Purse_Read_(int ReaderID, int BlockID, int* Value);
ORVEX_API int MPlus_L3_Purse_Charge_(int ReaderID, int BlockID, int Value);
ORVEX_API int MPlus_L3_Purse_Decrease_(int ReaderID, int BlockID, int Value);
ORVEX_API int MPlus_L3_Purse_Backup_(int ReaderID, int BlockID, int DesBlockID);
ORVEX_API int MPlus_Authorization_First_(int ReaderID, int AESKeyAddr, unsigned char* AESKey);
ORVEX_API int MPlus_Authorization_Follow_(int ReaderID, int AESKeyAddr, unsigned char* AESKey);
ORVEX_API int MPlus_CommonRead_(int ReaderID, int BlockID, int BlockNums, int* DataLen, unsigned char* pData);
ORVEX_API int MPlus_CommonWrite_(int ReaderID, int BlockID, int BlockNums, unsigned char* pData);

#endif /* ORVEX_H */
