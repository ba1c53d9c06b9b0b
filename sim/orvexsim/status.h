// SPDX-License-Identifier: MIT
// The status byte of the simulated reader's answers. 0 means the reader
// carried the command out; the other values are the simulated firmware's
// own and tell why it did not.
#pragma once

#include <cstdint>

namespace orvexsim {
namespace status {

constexpr uint8_t kOk = 0x00;
constexpr uint8_t kNoCard = 0x01;           // nothing in the field (or the slot) answered
constexpr uint8_t kAuthFailed = 0x02;       // the card's authentication failed
constexpr uint8_t kCardRefused = 0x03;      // the card refused: access conditions, lock, NAK
constexpr uint8_t kBadParameter = 0x04;     // the data field is malformed or out of range
constexpr uint8_t kUnknownCommand = 0x05;   // not a command of this reader model
constexpr uint8_t kNotValueBlock = 0x06;    // the block is not in the value-block format
constexpr uint8_t kNotAuthenticated = 0x07; // memory access without an authentication
constexpr uint8_t kWrongState = 0x08;       // the card is not in a state for this command
constexpr uint8_t kVerifyFailed = 0x09;     // PSC or password did not match

const char* Text(uint8_t s);

}  // namespace status
}  // namespace orvexsim
