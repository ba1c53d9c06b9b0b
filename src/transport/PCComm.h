// Transport: the serial line driver and the USB HID driver. Both move raw
// bytes; framing is the link layer's business.
#pragma once

#include <cstddef>
#include <cstdint>

struct libusb_device;
struct libusb_device_descriptor;
struct libusb_interface_descriptor;

namespace orvex {
namespace transport {

// ---- Serial line ----------------------------------------------------------

// Opens "/dev/ttyS<PortIndex>" at Baund bits per second, no parity, one stop
// bit, no flow control; asking for 8 bits with no parity deliberately leaves
// the character size at CS7.
// Result: descriptor (>= 0); the negative open result; -2 when blocking mode
// cannot be restored; -3 when the line settings are refused.
int OpenPort(int PortIndex, int Baund);
// Same, for any serial device path (USB-serial adapters, pseudo-terminals).
int OpenPortPath(const char* DevicePath, int Baund);
// Writes the whole buffer: DataLen, or -1 (also for descriptor 0).
int WriteData(int hPort, unsigned char* Data, int DataLen);
// Waits up to the first-byte timeout for the line to become readable, then
// returns what one read delivers (at most 1024 bytes); -1 on timeout or error.
int ReadData(int hPort, unsigned char* Data);
// As ReadData, with the buffer's capacity given.
int ReadDataInto(int hPort, unsigned char* Data, size_t Capacity);
// Closes the descriptor if it is >= 1; always 1.
int ClosePort(int hPort);

int uart_set(int fd, int baude, int c_flow, int bits, char parity, int stop);
int uart_read(int fd, unsigned char* r_buf, size_t len);
int uart_write(int fd, const unsigned char* w_buf, size_t len);
int uart_close(int fd);
int safe_read(int fd, unsigned char* vptr, size_t n);
int safe_write(int fd, const unsigned char* vptr, size_t n);

// Follow-up read inside an answer wait: waits at most TimeoutMs for the line
// to become readable and returns what one read delivers. 0 when nothing came
// in time, -1 on a read or select error ("read error!" / "select error!" on
// stderr), kLineHungUp when the line reports end of file.
constexpr int kLineHungUp = -100;
int ReadDataWithin(int hPort, unsigned char* Data, size_t Capacity, int TimeoutMs);

// How long the first read of an answer waits for the first byte, in ms.
// 15 s on a real line; tests shorten it to keep "no answer" cases quick.
extern int g_FirstByteTimeoutMs;

// ---- USB HID --------------------------------------------------------------

struct userDevice {
  uint16_t idVendor;
  uint16_t idProduct;
  uint8_t bInterfaceClass;
  uint8_t bInterfaceSubClass;
  uint8_t bmAttributes;
  libusb_device* dev;
  libusb_device** devs;
  uint8_t bInEndpointAddress;
  uint8_t bOutEndpointAddress;
  uint8_t bInterfaceNumber;
};

constexpr int kHidReportSize = 64;
constexpr int kHidReportPayload = 63;
constexpr int kHidMaxReportsPerAnswer = 5;
constexpr int kHidMaxAnswer = kHidMaxReportsPerAnswer * kHidReportPayload;  // 315

// 1 opened; -1 device or interface not found or not claimable; -2 found but
// could not be opened.
int HID_OpenPort(int VID, int PID, int ReaderID);
// 1 all reports sent; -1 no device open; -2 a transfer failed.
int HID_WriteData(unsigned char* Data, int DataLen);
// Collects up to five 64-byte input reports into Data (which must hold
// kHidMaxAnswer bytes); the count, also stored in DataLen; -1 with no device.
int HID_ReadData(unsigned char* Data, int& DataLen, int DelayTimes, int SleepTime);
// 0 (also when nothing was open).
int HID_ClosePort();
bool HID_IsOpen();

int init_libusb();
int get_device_descriptor(libusb_device_descriptor* dev_desc, userDevice* user_device);
int get_device_endpoint(libusb_device_descriptor* dev_desc, userDevice* user_device);
int match_with_endpoint(const libusb_interface_descriptor* interface, userDevice* user_device);

}  // namespace transport
}  // namespace orvex
