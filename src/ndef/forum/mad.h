// SPDX-License-Identifier: MIT
// The MIFARE application directory (MAD) of a MIFARE Classic: which
// application each sector holds, in sector 0 (MAD1, sectors 1 to 15) and on
// a 4K card also in sector 16 (MAD2, sectors 17 to 39), each protected by a
// CRC-8. NFC Forum NDEF sectors carry the application identifier 0xE103.
#pragma once

#include <cstdint>
#include <vector>

#include "ndef/forum/message.h"

namespace orvex {
namespace ndef {

constexpr uint16_t kNdefAid = 0xE103;
// The public key A of sector 0 (and 16), and of the NDEF sectors.
extern const uint8_t kMadKeyA[6];
extern const uint8_t kNfcForumKeyA[6];

// The MAD's CRC-8 (polynomial x^8 + x^4 + x^3 + x^2 + 1, preset 0xC7) over
// the info byte and the identifiers.
uint8_t MadCrc(const uint8_t* data, size_t n);

// The identifiers of a MAD: mad is blocks 1 and 2 of sector 0 (32 bytes,
// 15 identifiers for sectors 1 to 15) or blocks 64 to 66 (48 bytes, 23
// identifiers for sectors 17 to 39). Throws Error for another size or a
// CRC that does not match.
std::vector<uint16_t> ParseMad(const Bytes& mad);
// The blocks of a MAD holding aids (15 or 23 identifiers); info: the info
// byte (the sector of the card publisher, or 0).
Bytes BuildMad(const std::vector<uint16_t>& aids, uint8_t info);

}  // namespace ndef
}  // namespace orvex
