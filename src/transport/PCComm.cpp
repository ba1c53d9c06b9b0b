// Serial line and USB HID drivers.
#include "transport/PCComm.h"

#include <errno.h>
#include <fcntl.h>
#include <libusb.h>
#include <stdio.h>
#include <string.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

namespace orvex {
namespace transport {

int g_FirstByteTimeoutMs = 15000;

// ===========================================================================
// Serial line
// ===========================================================================

int OpenPortPath(const char* DevicePath, int Baund) {
  int fd = open(DevicePath, O_RDWR | O_NOCTTY | O_NONBLOCK);
  if (fd < 0) return fd;
  // Clearing every status flag makes later reads and writes blocking.
  if (fcntl(fd, F_SETFL, 0) < 0) {
    close(fd);
    return -2;
  }
  if (uart_set(fd, Baund, 0, 8, 'N', 1) == -1) {
    close(fd);
    return -3;
  }
  return fd;
}

int OpenPort(int PortIndex, int Baund) {
  char name[32];
  snprintf(name, sizeof name, "/dev/ttyS%d", PortIndex);
  return OpenPortPath(name, Baund);
}

// True when the line's settings now are `wanted`, except for the character
// size and the parity enable, which the terminal may have kept as they were.
static bool AppliedButSizeAndParity(int fd, const termios& wanted) {
  termios now;
  if (tcgetattr(fd, &now) != 0) return false;
  const tcflag_t ignore = CSIZE | PARENB;
  return (now.c_cflag & ~ignore) == (wanted.c_cflag & ~ignore) && now.c_iflag == wanted.c_iflag &&
         now.c_oflag == wanted.c_oflag && now.c_lflag == wanted.c_lflag &&
         cfgetispeed(&now) == cfgetispeed(&wanted) && cfgetospeed(&now) == cfgetospeed(&wanted) &&
         now.c_cc[VMIN] == wanted.c_cc[VMIN] && now.c_cc[VTIME] == wanted.c_cc[VTIME];
}

int uart_set(int fd, int baude, int c_flow, int bits, char parity, int stop) {
  struct termios options;
  if (tcgetattr(fd, &options) < 0) return -1;

  speed_t speed;
  switch (baude) {
    case 4800: speed = B4800; break;
    case 9600: speed = B9600; break;
    case 19200: speed = B19200; break;
    case 38400: speed = B38400; break;
    default: return -1;  // the host side accepts these four speeds only
  }
  cfsetispeed(&options, speed);
  cfsetospeed(&options, speed);

  options.c_cflag |= CLOCAL | CREAD;

  switch (c_flow) {
    case 0: options.c_cflag &= ~CRTSCTS; break;
    case 1: options.c_cflag |= CRTSCTS; break;
    // Software flow control is requested with the IXON|IXOFF|IXANY pattern,
    // applied to the control flags as the reader's original host code does.
    case 2: options.c_cflag |= 0x1C00; break;
    default: return -1;
  }

  options.c_cflag &= ~CSIZE;
  switch (bits) {
    case 5: options.c_cflag |= CS5; break;
    case 6: options.c_cflag |= CS6; break;
    case 7: options.c_cflag |= CS7; break;
    case 8: options.c_cflag |= CS8; break;
    default: return -1;
  }

  switch (parity) {
    case 'n': case 'N':
      // Clears the INPCK value (0x10) in the control flags; with CS8 this
      // leaves CS7. Kept as the readers' host software has always done it.
      options.c_cflag &= ~PARENB;
      options.c_cflag &= ~0x10u;
      break;
    case 'o': case 'O':
      options.c_cflag |= PARENB | PARODD | 0x10u | 0x20u;
      break;
    case 'e': case 'E':
      options.c_cflag |= PARENB | 0x10u | 0x20u;
      options.c_cflag &= ~PARODD;
      break;
    case 's': case 'S':
      options.c_cflag &= ~PARENB;
      options.c_cflag &= ~CSTOPB;
      break;
    default: return -1;
  }

  switch (stop) {
    case 1: options.c_cflag &= ~CSTOPB; break;
    case 2: options.c_cflag |= CSTOPB; break;
    default: return -1;
  }

  options.c_oflag &= ~OPOST;
  options.c_lflag &= ~(ICANON | ECHO | ECHOE | ISIG);
  options.c_cc[VTIME] = 0;
  options.c_cc[VMIN] = 1;

  tcflush(fd, TCIFLUSH);
  if (tcsetattr(fd, TCSANOW, &options) != 0) {
    // A pseudo-terminal stays at 8 bits without parity whatever it is asked,
    // and when nothing else changed the C library reports that as EINVAL
    // although every other setting is in force (so reopening the same
    // pseudo-terminal at the same speed would fail). Such a line is taken
    // as it is; any other refusal is a failure.
    if (errno != EINVAL || !AppliedButSizeAndParity(fd, options)) return -1;
  }
  return 0;
}

int safe_read(int fd, unsigned char* vptr, size_t n) {
  size_t left = n;
  unsigned char* p = vptr;
  while (left > 0) {
    ssize_t got = read(fd, p, left);
    if (got < 0) {
      if (errno == EINTR) continue;
      return -1;
    }
    if (got == 0) break;  // end of file
    left -= static_cast<size_t>(got);
    p += got;
  }
  return static_cast<int>(n - left);
}

int safe_write(int fd, const unsigned char* vptr, size_t n) {
  size_t left = n;
  const unsigned char* p = vptr;
  while (left > 0) {
    ssize_t put = write(fd, p, left);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return -1;
    left -= static_cast<size_t>(put);
    p += put;
  }
  return static_cast<int>(n);
}

// Waits for the descriptor to become readable. 1 readable, 0 timed out,
// -1 select failed. A negative timeout waits without limit. A wait
// interrupted by a signal goes on for what is left of it: Linux's select
// leaves the time not yet waited in tv, so signals cannot stretch the wait.
static int WaitReadable(int fd, int timeout_ms) {
  struct timeval tv;
  tv.tv_sec = timeout_ms / 1000;
  tv.tv_usec = (timeout_ms % 1000) * 1000;
  for (;;) {
    fd_set rd;
    FD_ZERO(&rd);
    FD_SET(fd, &rd);
    int r = select(fd + 1, &rd, nullptr, nullptr, timeout_ms < 0 ? nullptr : &tv);
    if (r < 0 && errno == EINTR) continue;
    return r < 0 ? -1 : (r == 0 ? 0 : 1);
  }
}

// One read of whatever is waiting; retried after a signal.
static int ReadOnce(int fd, unsigned char* buf, size_t len) {
  for (;;) {
    ssize_t got = read(fd, buf, len);
    if (got < 0 && errno == EINTR) continue;
    return static_cast<int>(got);
  }
}

// The reader's answer never needs a full 1024-byte read: once the line is
// readable we hand back what one read delivers, and the answer wait of the
// link layer reads on until the frame's ETX has come.
int uart_read(int fd, unsigned char* r_buf, size_t len) {
  int w = WaitReadable(fd, g_FirstByteTimeoutMs);
  if (w < 0) {
    fputs("select error!\n", stderr);
    return -1;
  }
  if (w == 0) {
    fputs("time over!\n", stderr);
    return -1;
  }
  int got = ReadOnce(fd, r_buf, len);
  if (got < 0) {
    fputs("read error!\n", stderr);
    return -1;
  }
  return got;
}

int ReadDataWithin(int hPort, unsigned char* Data, size_t Capacity, int TimeoutMs) {
  if (Capacity == 0) return 0;
  int w = WaitReadable(hPort, TimeoutMs < 0 ? 0 : TimeoutMs);
  if (w < 0) {
    fputs("select error!\n", stderr);
    return -1;
  }
  if (w == 0) return 0;
  int got = ReadOnce(hPort, Data, Capacity);
  if (got < 0) {
    // A pseudo-terminal whose other end went away reports EIO for ever.
    if (errno == EIO) return kLineHungUp;
    fputs("read error!\n", stderr);
    return -1;
  }
  return got == 0 ? kLineHungUp : got;
}

int uart_write(int fd, const unsigned char* w_buf, size_t len) { return safe_write(fd, w_buf, len); }

int uart_close(int fd) {
  close(fd);
  return 0;
}

int ReadData(int hPort, unsigned char* Data) { return uart_read(hPort, Data, 1024); }

int ReadDataInto(int hPort, unsigned char* Data, size_t Capacity) {
  return uart_read(hPort, Data, Capacity);
}

int WriteData(int hPort, unsigned char* Data, int DataLen) {
  if (hPort == 0) return -1;
  if (DataLen < 0) return -1;
  return uart_write(hPort, Data, static_cast<size_t>(DataLen));
}

int ClosePort(int hPort) {
  if (hPort >= 1) uart_close(hPort);
  return 1;
}

// ===========================================================================
// USB HID
// ===========================================================================

static libusb_device_handle* g_usb_handle = nullptr;
static userDevice user_device;
static libusb_device_descriptor dev_desc;

static constexpr unsigned char kOutEndpoint = 0x01;
static constexpr unsigned int kTransferTimeoutMs = 2000;

bool HID_IsOpen() { return g_usb_handle != nullptr; }

int init_libusb() { return libusb_init(nullptr) < 0 ? -1 : 0; }

int match_with_endpoint(const libusb_interface_descriptor* interface, userDevice* ud) {
  bool in = false, out = false;
  for (int i = 0; i < interface->bNumEndpoints; ++i) {
    const libusb_endpoint_descriptor& ep = interface->endpoint[i];
    if ((ep.bmAttributes & 3) != ud->bmAttributes) continue;
    if (ep.bEndpointAddress & 0x80) {
      ud->bInEndpointAddress = ep.bEndpointAddress;
      in = true;
    } else {
      ud->bOutEndpointAddress = ep.bEndpointAddress;
      out = true;
    }
  }
  return (in && out) ? 1 : 0;
}

int get_device_descriptor(libusb_device_descriptor* desc, userDevice* ud) {
  libusb_device** devs = nullptr;
  ssize_t cnt = libusb_get_device_list(nullptr, &devs);
  if (cnt < 0) return static_cast<int>(cnt);
  for (ssize_t i = 0; i < cnt; ++i) {
    libusb_device* d = devs[i];
    if (libusb_get_device_descriptor(d, desc) < 0) {
      libusb_free_device_list(devs, 1);
      return -1;
    }
    if (desc->idProduct == ud->idProduct && desc->idVendor == ud->idVendor) {
      ud->dev = d;
      ud->devs = devs;  // kept until the device is closed
      return 0;
    }
  }
  libusb_free_device_list(devs, 1);
  return -2;
}

int get_device_endpoint(libusb_device_descriptor* desc, userDevice* ud) {
  for (int c = 0; c < desc->bNumConfigurations; ++c) {
    libusb_config_descriptor* config = nullptr;
    if (libusb_get_config_descriptor(ud->dev, static_cast<uint8_t>(c), &config) < 0) return -1;
    for (int i = 0; i < config->bNumInterfaces; ++i) {
      const libusb_interface& itf = config->interface[i];
      for (int a = 0; a < itf.num_altsetting; ++a) {
        const libusb_interface_descriptor* alt = &itf.altsetting[a];
        if (alt->bInterfaceClass == ud->bInterfaceClass && match_with_endpoint(alt, ud)) {
          ud->bInterfaceNumber = alt->bInterfaceNumber;
          libusb_free_config_descriptor(config);
          return 0;
        }
      }
    }
    libusb_free_config_descriptor(config);
  }
  return -2;
}

// An open that found the reader but could not open it (-2) leaves libusb
// initialised and the device list kept, as designed; the next close or open
// gives them back, so repeated failed opens do not pile them up.
static void ReleaseFailedOpen() {
  if (g_usb_handle != nullptr || user_device.devs == nullptr) return;
  libusb_free_device_list(user_device.devs, 1);
  user_device.devs = nullptr;
  user_device.dev = nullptr;
  libusb_exit(nullptr);
}

int HID_OpenPort(int VID, int PID, int /*ReaderID*/) {
  ReleaseFailedOpen();
  memset(&user_device, 0, sizeof user_device);
  user_device.idVendor = static_cast<uint16_t>(VID);
  user_device.idProduct = static_cast<uint16_t>(PID);
  user_device.bInterfaceClass = LIBUSB_CLASS_HID;
  user_device.bInterfaceSubClass = LIBUSB_CLASS_HID;
  user_device.bmAttributes = LIBUSB_TRANSFER_TYPE_INTERRUPT;
  user_device.dev = nullptr;

  init_libusb();

  if (get_device_descriptor(&dev_desc, &user_device) < 0) {
    libusb_exit(nullptr);
    return -1;
  }
  if (get_device_endpoint(&dev_desc, &user_device) < 0) {
    libusb_free_device_list(user_device.devs, 1);
    user_device.devs = nullptr;
    libusb_exit(nullptr);
    return -1;
  }
  g_usb_handle = libusb_open_device_with_vid_pid(nullptr, user_device.idVendor, user_device.idProduct);
  if (g_usb_handle == nullptr) return -2;  // libusb stays initialised

  if (libusb_claim_interface(g_usb_handle, user_device.bInterfaceNumber) < 0) {
    // The kernel's HID driver usually holds the interface: detach it, retry.
    if (libusb_detach_kernel_driver(g_usb_handle, user_device.bInterfaceNumber) < 0 ||
        libusb_claim_interface(g_usb_handle, user_device.bInterfaceNumber) < 0) {
      libusb_close(g_usb_handle);
      g_usb_handle = nullptr;
      libusb_free_device_list(user_device.devs, 1);
      user_device.devs = nullptr;
      libusb_exit(nullptr);
      return -1;
    }
  }
  return 1;
}

int HID_WriteData(unsigned char* Data, int DataLen) {
  if (g_usb_handle == nullptr) return -1;
  if (DataLen < 0) DataLen = 0;
  // A frame of exactly 63 x k bytes is followed by a report carrying 0 bytes:
  // the reader takes a short report as the end of the frame.
  int reports = DataLen / kHidReportPayload + 1;
  for (int r = 0; r < reports; ++r) {
    int count = (r + 1 < reports) ? kHidReportPayload : DataLen - kHidReportPayload * r;
    unsigned char report[kHidReportSize] = {0};
    report[0] = static_cast<unsigned char>(count);
    if (count > 0) memcpy(report + 1, Data + kHidReportPayload * r, static_cast<size_t>(count));
    int transferred = 0;
    if (libusb_interrupt_transfer(g_usb_handle, kOutEndpoint, report, kHidReportSize, &transferred,
                                  kTransferTimeoutMs) < 0)
      return -2;
  }
  return 1;
}

int HID_ReadData(unsigned char* Data, int& DataLen, int /*DelayTimes*/, int SleepTime) {
  if (g_usb_handle == nullptr) return -1;
  if (SleepTime > 0) usleep(static_cast<useconds_t>(SleepTime) * 1000);
  int total = 0;
  for (int attempt = 0; attempt < kHidMaxReportsPerAnswer; ++attempt) {
    unsigned char report[kHidReportSize];
    int transferred = 0;
    // A timed-out report counts as an empty one.
    libusb_interrupt_transfer(g_usb_handle, user_device.bInEndpointAddress, report, kHidReportSize,
                              &transferred, kTransferTimeoutMs);
    int count = 0;
    if (transferred > 0) {
      count = report[0];
      if (count > kHidReportPayload) count = kHidReportPayload;  // a report carries 63 at most
      if (count > transferred - 1) count = transferred - 1;
      memcpy(Data + total, report + 1, static_cast<size_t>(count));
      total += count;
      if (count < kHidReportPayload) break;
    }
    if (SleepTime > 0) usleep(static_cast<useconds_t>(SleepTime) * 1000);
  }
  DataLen = total;
  return total;
}

int HID_ClosePort() {
  if (g_usb_handle == nullptr) {
    ReleaseFailedOpen();
    return 0;
  }
  // The interface is released before the handle is closed: libusb frees the
  // handle in libusb_close, so releasing through it afterwards would touch
  // freed memory.
  libusb_release_interface(g_usb_handle, user_device.bInterfaceNumber);
  libusb_close(g_usb_handle);
  if (user_device.devs) libusb_free_device_list(user_device.devs, 1);
  user_device.devs = nullptr;
  user_device.dev = nullptr;
  libusb_exit(nullptr);
  g_usb_handle = nullptr;
  return 0;
}

}  // namespace transport
}  // namespace orvex
