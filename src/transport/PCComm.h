// SPDX-License-Identifier: MIT
// Transport: the serial line driver and the USB HID driver. Both move raw
// bytes; framing is the link layer's business.
#pragma once

#include <cstddef>
#include <cstdint>

#include <libusb.h>

namespace orvex {
namespace transport {

// ---- Serial line ----------------------------------------------------------

// Opens "/dev/ttyS<PortIndex>" at Baund bits per second, no parity, one stop
// bit, no flow control; asking for 8 bits with no parity leaves the character
// size at CS7 (see uart_set): applications that open the port this way get
// the line they always got. OpenPortPath's callers that need every bit use
// OV_ComInitialDevice's fully raw 8-bit line.
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

// ---- Waits of one link -------------------------------------------------------
// Milliseconds of the monotonic clock: deadlines are measured on it, so a step
// of the wall clock during a wait neither stretches nor cuts the wait.
uint64_t MonotonicMs();

// How one link's waits behave. The process-wide link uses the defaults: no
// way to cancel, and the three messages of the serial read on stderr.
struct WaitControl {
  int cancel_fd = -1;  // readable once the link's pending wait is cancelled
  bool quiet = false;  // print nothing on stderr
  int last_errno = 0;  // set by a failed read or wait: why it failed
};
// A wait ended because it was cancelled.
constexpr int kWaitCancelled = -101;

// Waits up to timeout_ms (negative: without limit) for fd to become readable,
// with poll, so any descriptor number works. 1 readable, 0 timed out, -1 poll
// failed, kWaitCancelled when cancel_fd became readable first. A wait
// interrupted by a signal goes on for what is left of it.
int WaitReadable(int fd, int timeout_ms, int cancel_fd = -1);
// The first read of an answer (uart_read, with the link's own first-byte wait
// and controls): the count one read delivers (0 at end of file); -1 on
// time-out or error, with its message unless quiet (w.last_errno says which:
// ETIMEDOUT for the time-out); kWaitCancelled when cancelled.
int ReadFirst(int fd, unsigned char* buf, size_t cap, int timeout_ms, WaitControl& w);
// ReadDataWithin with the link's controls (kWaitCancelled when cancelled).
int ReadWithin(int fd, unsigned char* buf, size_t cap, int timeout_ms, WaitControl& w);

// Opens a serial device for a link of this library's own (not the process-wide
// link's design sequence): close-on-exec, an exclusive advisory lock (a second
// opener, root included, is refused), TIOCEXCL, blocking mode, and the line
// fully raw at 8 data bits, no parity, one stop bit, no flow control, nothing
// translated on input or output. Result: the descriptor; -1 with *err set to
// the errno of the failing step; kPortInUse when another opener holds it;
// kBadSpeed for a speed the host side does not offer.
constexpr int kPortInUse = -5;
constexpr int kBadSpeed = -6;
int OpenPortRaw(const char* DevicePath, int Baund, int* err);
// Releases what OpenPortRaw took (the lock goes with the descriptor).
void ClosePortRaw(int fd);

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

// One USB HID reader: its libusb context, device list, handle and endpoints.
// The process-wide link uses libusb's default context (context() is null);
// a link of the library's own has a context of its own, so that its open,
// close and transfers never touch another link's.
class HidDevice {
 public:
  explicit HidDevice(bool own_context) : own_context_(own_context) {}
  ~HidDevice();
  HidDevice(const HidDevice&) = delete;
  HidDevice& operator=(const HidDevice&) = delete;

  // Opens the first device with VID:PID, or, when bus > 0, the one at
  // bus:address. 1 opened; -1 device or interface not found or not
  // claimable; -2 found but could not be opened.
  int Open(int VID, int PID, int bus = 0, int address = 0);
  // 1 all reports sent; -1 no device open; -2 a transfer failed.
  int Write(const unsigned char* Data, int DataLen);
  // Collects up to five input reports (kHidMaxAnswer bytes) as HID_ReadData.
  // With a WaitControl the 2 s report waits run in short slices, so that a
  // cancel ends them at once (kWaitCancelled); without one they run whole.
  int Read(unsigned char* Data, int& DataLen, int SleepTime, const WaitControl* w = nullptr);
  // 0 (also when nothing was open).
  int Close();
  bool IsOpen() const { return handle_ != nullptr; }
  // The libusb error of the last failed transfer (0 none), e.g. LIBUSB_ERROR_NO_DEVICE.
  int last_error() const { return last_error_; }

 private:
  libusb_context* ctx() const { return ctx_; }
  void ReleaseFailedOpen();
  bool own_context_;
  libusb_context* ctx_ = nullptr;
  libusb_device_handle* handle_ = nullptr;
  userDevice* ud_ = nullptr;
  int last_error_ = 0;
};

// The process-wide link's device (libusb's default context).
HidDevice& DefaultHid();

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
// As get_device_descriptor in the given context; with bus > 0 only the device
// at bus:address matches.
int FindDevice(libusb_context* ctx, libusb_device_descriptor* dev_desc, userDevice* user_device, int bus,
               int address);
int get_device_endpoint(libusb_device_descriptor* dev_desc, userDevice* user_device);
int match_with_endpoint(const libusb_interface_descriptor* interface, userDevice* user_device);

}  // namespace transport
}  // namespace orvex
