// SPDX-License-Identifier: MIT
// The answers to reset the driver gives pcscd for cards in the contactless
// field, as PC/SC Part 3 (the PC/SC Workgroup's contactless supplement)
// presents them, and the card names and standards it registers for storage
// cards. Pure functions on bytes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orvex_ifd {

using Bytes = std::vector<uint8_t>;

// The PC/SC Part 3 standard byte (SS) of the storage-card ATR.
namespace standard {
constexpr uint8_t kNone = 0x00;
constexpr uint8_t kIso14443APart3 = 0x03;
constexpr uint8_t kIso14443BPart3 = 0x07;
constexpr uint8_t kIso15693Part3 = 0x0B;
constexpr uint8_t kFelica = 0x11;
}  // namespace standard

// The PC/SC Part 3 card names (NN NN) the driver gives.
namespace card_name {
constexpr uint16_t kNotGiven = 0x0000;
constexpr uint16_t kMifareClassic1K = 0x0001;
constexpr uint16_t kMifareClassic4K = 0x0002;
constexpr uint16_t kMifareUltralight = 0x0003;  // NFC Forum Type 2: Ultralight, NTAG21x
constexpr uint16_t kIcodeSli = 0x0014;
constexpr uint16_t kMifareMini = 0x0026;
constexpr uint16_t kFelica = 0x003B;
}  // namespace card_name

// The check byte TCK: the exclusive-or of every byte from T0 to the last
// historical byte (TS, the first byte, is left out).
uint8_t Tck(const Bytes& atr_without_tck);

// 3B 8n 80 01, the n historical bytes, TCK: how PC/SC Part 3 presents an
// ISO 14443-4 card (at most 15 historical bytes; more are cut).
Bytes ContactlessAtr(const Bytes& historical);

// The historical bytes of an ISO 14443-4 type A card's answer to select
// (ATS: TL, T0, the interface bytes T0 announces, then the historical
// bytes; a CRC is not part of it). Empty for an ATS too short to hold any.
Bytes AtsHistoricalBytes(const Bytes& ats);

// The historical bytes PC/SC Part 3 gives an ISO 14443-4 type B card: the
// four application data bytes and three protocol info bytes of its ATQB
// (50, PUPI, application data, protocol info), then the MBLI byte (0 here:
// the reader does not hand over the card's ATTRIB answer). Empty for an
// ATQB shorter than 12 bytes.
Bytes TypeBHistoricalBytes(const Bytes& atqb);

// True when the ATQB's protocol info says the card speaks ISO 14443-4.
bool TypeBIsIso14443_4(const Bytes& atqb);

// 3B 8F 80 01 80 4F 0C A0 00 00 03 06 SS NN NN 00 00 00 00 TCK: the PC/SC
// Part 3 storage-card ATR.
Bytes StorageCardAtr(uint8_t standard, uint16_t card_name);

// The card name PC/SC Part 3 registers for an ISO 14443-A card that is not
// ISO 14443-4, from its SAK (kNotGiven when it registers none).
uint16_t TypeACardName(uint8_t sak);

// The card name of an ISO 15693 tag, from its UID as it comes on the air
// (least significant byte first: UID[7] is E0, UID[6] the IC manufacturer).
uint16_t Iso15693CardName(const Bytes& air_uid);

// "3B 8F 80 01", for messages.
std::string Hex(const Bytes& b);

}  // namespace orvex_ifd
