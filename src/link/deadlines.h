// SPDX-License-Identifier: MIT
// How long the reader is given to answer each command, in the unit the
// link's answer wait takes: 100 ms. Each deadline is stated here once; the
// command functions send with these, and the orvex tool sizes its reads and
// words its messages with the same numbers (Ms() gives milliseconds).
#pragma once

namespace orvex::deadline {

// The unit of every deadline below, in milliseconds.
constexpr int kUnitMs = 100;
constexpr int Ms(int units) { return units * kUnitMs; }

// Reader management (number, version, buzzer, lamps, display digits,
// field, parameters) and the user-defined pass-through.
constexpr int kReader = 1;

// ISO 14443-A: request, anticollision, selection, halt; MIFARE value
// operations and block writes.
constexpr int kTypeA = 1;
// MIFARE Classic key loading and authentication.
constexpr int kMifareKey = 5;
// A MIFARE Classic block read.
constexpr int kMifareBlock = 10;
// Reads and writes of several blocks in one command: this much per block.
constexpr int kPerBlock = 1;
// The ISO 14443-4 CPU card's reset and APDUs.
constexpr int kCpuCard = 4;

// ISO 14443-B: selection and commands of type B tags.
constexpr int kTypeB = 1;
// The request and reset of a type B card.
constexpr int kTypeBActivate = 4;
// The AT88RF020 key check.
constexpr int kAt88Check = 3;
// The identity card's number.
constexpr int kIdCard = 1;

// Every NTAG21x command (the tag's own time-out byte is separate).
constexpr int kNtag = 1;
// Every FeliCa command carried by the reader.
constexpr int kFelica = 1;
// Every Topaz command carried by the reader.
constexpr int kTopaz = 1;
// Every SLE4442 command (the contact card is slow to reset and write).
constexpr int kSle4442 = 5;

// ISO 15693: inventory, selection and the short commands.
constexpr int kVicinityQuery = 1;
// ISO 15693 block reads.
constexpr int kVicinityRead = 2;
// ISO 15693 block writes and locks.
constexpr int kVicinityWrite = 4;

// MIFARE Plus commands other than authentication.
constexpr int kMifarePlus = 1;
// MIFARE Plus AES authentications.
constexpr int kMifarePlusAuth = 5;

// SAM slot speed and protocol selection.
constexpr int kSamSpeed = 1;
// A SAM's reset.
constexpr int kSamReset = 7;
// An APDU to a SAM.
constexpr int kSamApdu = 10;

// The display reader: settings and what is shown at once.
constexpr int kDisplay = 5;
// The display reader: its flash and stored images.
constexpr int kDisplayFlash = 50;

// The purse application on the CPU card: most of its commands.
constexpr int kPurse = 5;
// Its SAM initialisation.
constexpr int kPurseSamInit = 10;
// Its user file, read or written.
constexpr int kPurseUserFile = 50;
// Its card request.
constexpr int kPurseRequest = 40;
// Its system file's creation.
constexpr int kPurseCreate = 500;
// Its key change.
constexpr int kPurseChangeKey = 50;

}  // namespace orvex::deadline
