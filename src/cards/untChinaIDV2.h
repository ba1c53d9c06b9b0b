// SPDX-License-Identifier: MIT
// The card number of a second-generation resident identity card (an ISO
// 14443-B card), read by the reader's sub-functions under command 0xC2.
#pragma once

namespace orvex {

// Runs the reader's sub-function FC2 of command 0xC2; the answer must echo
// FC2 and carry the 8-byte card number then the status word 90 00. On
// success *LengthOfCardNo = 8, CardNo the 8 bytes, result 1. -1 for a link
// failure, or an answer too short or with another status word; the reader's
// status byte itself when it refused (a positive number); 0 when the echo is
// wrong. Nothing is written unless 1.
int ChinaIDV2_COS(int ReaderID, unsigned char FC2, unsigned char* LengthOfCardNo, unsigned char* CardNo);

// Switches the reader to type B search, activates the card and reads its
// number with sub-function 0x00. -5 when the search mode is refused, -4
// when the card does not answer the type B request; otherwise as
// ChinaIDV2_COS.
int ChinaIDV2_RequestCardNo(int ReaderID, unsigned char* LengthOfCardNo, unsigned char* CardNo);

}  // namespace orvex
