// SPDX-License-Identifier: MIT
// The device names pcscd hands the driver, turned into liborvex connection
// strings.
#pragma once

#include <string>

namespace orvex_ifd {

// pcscd's name for a device (DEVICENAME of a reader.conf.d file, or the
// name its USB hotplug makes up) to the connection string OrvexLink opens:
//   usb:VVVV/PPPP:libudev:IF:/dev/bus/usb/BBB/AAA  ->  usb:BBB:AAA (decimal)
//   usb:VVVV/PPPP:libusb-1.0:B:A:IF                ->  usb:B:A
//   usb:VVVV/PPPP (no place given)                 ->  usb
//   serial:/dev/ttyUSB0@38400                      ->  /dev/ttyUSB0@38400
//   anything else (a serial device, "ttyS:N", "usb:1:4", any "@BAUD")
//                                                  ->  unchanged
// A hotplug name for another vendor or product than 0471:114A, or one whose
// bus or address does not parse, is refused: false, with the reason in
// error. The result is not checked further here (OrvexCheckConnection does).
bool ConnectionFromDeviceName(const std::string& device, std::string& connection, std::string& error);

// The connection string for the old channel-number interface
// (IFDHCreateChannel): the serial port numbers of reader.conf's CHANNELID,
// 0x0103F8, 0x0102F8, 0x0103E8, 0x0102E8 for the first four ports, and a
// small number N for /dev/ttySN. False for anything else.
bool ConnectionFromChannel(unsigned long channel, std::string& connection);

}  // namespace orvex_ifd
