// SPDX-License-Identifier: MIT
// Simulated MIFARE Classic cards and the dump files of the SDK: a card made
// from a dump and a dump made from a card, read and written by the one
// parser and writer of the dump formats (tools/formats/mifare_dump.h), for
// every program that puts dumps into the simulator or takes them out (the
// orvex tool's --sim-load and --sim-save, orvex-sim's --load and --save, the
// Python package's simulator). The simulator library itself reads no file.
#pragma once

#include <memory>
#include <string>

#include "mifare_dump.h"
#include "orvexsim/mifare_classic.h"

namespace orvexsim {

// A card holding the dump `file` of format f (not kHex). A .mfd is taken
// byte for byte, as the card's memory (a key record beside it is not read:
// its zeros are what the card holds); a .eml or .json dump must know every
// byte, as a card has no byte that is not known. The UID comes from block 0.
// nullptr with error set (the parser's words) when the file is no such dump.
std::shared_ptr<MifareClassic> ClassicFromDump(const Bytes& file, orvexformats::DumpFormat f, std::string& error);

// The card's memory as a dump: every byte known, keys included, with the
// card's UID, ATQA and SAK.
orvexformats::ClassicDump DumpOfClassic(const MifareClassic& card);

// The bytes of the card's dump file in format f (kMfd, kEml or kJson).
Bytes ClassicDumpFile(const MifareClassic& card, orvexformats::DumpFormat f);

// For programs without a file layer of their own (orvex-sim, the Python
// module). The card in the dump file at path, as ClassicFromDump; error
// names what went wrong (not the path).
std::shared_ptr<MifareClassic> LoadClassic(const std::string& path, orvexformats::DumpFormat f, std::string& error);
// Writes the card's dump of format f to path through a temporary file
// beside it, renamed into place once whole, so that a failure leaves any
// previous file as it was; readable by its owner only (it holds keys).
bool SaveClassic(const MifareClassic& card, const std::string& path, orvexformats::DumpFormat f,
                 std::string& error);

}  // namespace orvexsim
