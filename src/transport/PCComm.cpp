// SPDX-License-Identifier: MIT
// Serial line and USB HID drivers.
#include "transport/PCComm.h"

#include <errno.h>
#include <fcntl.h>
#include <libusb.h>
#include <stdio.h>
#include <string.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <time.h>
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
  // Set after the open, so the open's own flags stay those every caller of
  // OV_ComInitial has relied on: a program the application starts must not
  // inherit the reader's line.
  fcntl(fd, F_SETFD, FD_CLOEXEC);
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

static bool SpeedOf(int baud, speed_t& speed) {
  switch (baud) {
    case 4800: speed = B4800; return true;
    case 9600: speed = B9600; return true;
    case 19200: speed = B19200; return true;
    case 38400: speed = B38400; return true;
    default: return false;  // the host side offers these four speeds only
  }
}

int OpenPortRaw(const char* DevicePath, int Baund, int* err) {
  speed_t speed;
  if (!SpeedOf(Baund, speed)) return kBadSpeed;
  int fd = open(DevicePath, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) {
    *err = errno;
    return errno == EBUSY ? kPortInUse : -1;  // EBUSY: another opener set TIOCEXCL
  }
  auto fail = [&](int e) {
    close(fd);
    *err = e;
    return -1;
  };
  // The advisory lock also stops root, whom TIOCEXCL lets through, and a
  // second link of this same process.
  if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    int e = errno;
    close(fd);
    *err = e;
    return e == EWOULDBLOCK ? kPortInUse : -1;
  }
  ioctl(fd, TIOCEXCL);  // refused by some line disciplines; the lock is what counts
  if (fcntl(fd, F_SETFL, 0) < 0) return fail(errno);
  termios t;
  if (tcgetattr(fd, &t) != 0) return fail(errno);
  // Fully raw: every byte value passes both ways untouched (no CR/LF
  // translation, no XON/XOFF, no stripping of bit 7), 8 bits, no parity.
  t.c_iflag &= ~static_cast<tcflag_t>(IGNBRK | BRKINT | PARMRK | ISTRIP | INLCR | IGNCR | ICRNL | IXON |
                                      IXOFF | IXANY | INPCK | IUCLC | IMAXBEL);
  t.c_oflag &= ~static_cast<tcflag_t>(OPOST);
  t.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL | ECHOE | ICANON | ISIG | IEXTEN);
  t.c_cflag &= ~static_cast<tcflag_t>(CSIZE | PARENB | PARODD | CSTOPB | CRTSCTS);
  t.c_cflag |= CS8 | CLOCAL | CREAD;
  t.c_cc[VMIN] = 1;
  t.c_cc[VTIME] = 0;
  cfsetispeed(&t, speed);
  cfsetospeed(&t, speed);
  tcflush(fd, TCIFLUSH);
  if (tcsetattr(fd, TCSANOW, &t) != 0) return fail(errno);
  return fd;
}

void ClosePortRaw(int fd) {
  if (fd < 0) return;
  ioctl(fd, TIOCNXCL);
  close(fd);  // the lock goes with the last descriptor of the open
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
  if (!SpeedOf(baude, speed)) return -1;
  cfsetispeed(&options, speed);
  cfsetospeed(&options, speed);

  options.c_cflag |= CLOCAL | CREAD;

  switch (c_flow) {
    case 0: options.c_cflag &= ~CRTSCTS; break;
    case 1: options.c_cflag |= CRTSCTS; break;
    // Software flow control is requested with the IXON|IXOFF|IXANY pattern,
    // applied to the control flags, not the input flags: the line settings
    // are part of the interface applications were written against, so they
    // stay bit for bit (no caller of this library asks for it).
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
      // leaves CS7. Applications that open the port with OV_ComInitial get
      // the line they were written against; OV_ComInitialDevice sets up a
      // fully raw 8-bit line instead.
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

uint64_t MonotonicMs() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec / 1000000);
}

int WaitReadable(int fd, int timeout_ms, int cancel_fd) {
  const uint64_t deadline = MonotonicMs() + static_cast<uint64_t>(timeout_ms < 0 ? 0 : timeout_ms);
  for (;;) {
    pollfd p[2] = {{fd, POLLIN, 0}, {cancel_fd, POLLIN, 0}};
    int wait = -1;
    if (timeout_ms >= 0) {
      uint64_t now = MonotonicMs();
      wait = now < deadline ? static_cast<int>(deadline - now) : 0;
    }
    int r = poll(p, cancel_fd >= 0 ? 2 : 1, wait);
    if (r < 0 && errno == EINTR) continue;  // on for what is left of the wait
    if (r < 0) return -1;
    if (r == 0) return 0;
    if (cancel_fd >= 0 && (p[1].revents & POLLIN)) return kWaitCancelled;
    if (p[0].revents & POLLNVAL) {  // not an open descriptor
      errno = EBADF;
      return -1;
    }
    return 1;  // readable, or an error or hang-up the read reports
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

static void Say(const WaitControl& w, const char* message) {
  if (!w.quiet) fputs(message, stderr);
}

int ReadFirst(int fd, unsigned char* buf, size_t cap, int timeout_ms, WaitControl& w) {
  int r = WaitReadable(fd, timeout_ms, w.cancel_fd);
  if (r == kWaitCancelled) return r;
  if (r < 0) {
    w.last_errno = errno;
    Say(w, "select error!\n");
    return -1;
  }
  if (r == 0) {
    w.last_errno = ETIMEDOUT;
    Say(w, "time over!\n");
    return -1;
  }
  int got = ReadOnce(fd, buf, cap);
  if (got < 0) {
    w.last_errno = errno;
    Say(w, "read error!\n");
    return -1;
  }
  return got;
}

// The reader's answer never needs a full 1024-byte read: once the line is
// readable we hand back what one read delivers, and the answer wait of the
// link layer reads on until the frame's ETX has come.
int uart_read(int fd, unsigned char* r_buf, size_t len) {
  WaitControl w;
  return ReadFirst(fd, r_buf, len, g_FirstByteTimeoutMs, w);
}

int ReadWithin(int fd, unsigned char* buf, size_t cap, int timeout_ms, WaitControl& w) {
  if (cap == 0) return 0;
  int r = WaitReadable(fd, timeout_ms < 0 ? 0 : timeout_ms, w.cancel_fd);
  if (r == kWaitCancelled) return r;
  if (r < 0) {
    w.last_errno = errno;
    Say(w, "select error!\n");
    return -1;
  }
  if (r == 0) return 0;
  int got = ReadOnce(fd, buf, cap);
  if (got < 0) {
    w.last_errno = errno;
    // A pseudo-terminal whose other end went away reports EIO for ever.
    if (errno == EIO) return kLineHungUp;
    Say(w, "read error!\n");
    return -1;
  }
  if (got == 0) w.last_errno = EIO;
  return got == 0 ? kLineHungUp : got;
}

int ReadDataWithin(int hPort, unsigned char* Data, size_t Capacity, int TimeoutMs) {
  WaitControl w;
  return ReadWithin(hPort, Data, Capacity, TimeoutMs, w);
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

static constexpr unsigned char kOutEndpoint = 0x01;
static constexpr unsigned int kTransferTimeoutMs = 2000;
// A cancellable wait for an input report runs in slices this long.
static constexpr unsigned int kCancellableSliceMs = 20;

HidDevice& DefaultHid() {
  static HidDevice* device = new HidDevice(false);  // lives as long as the process
  return *device;
}

bool HID_IsOpen() { return DefaultHid().IsOpen(); }

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

int FindDevice(libusb_context* ctx, libusb_device_descriptor* desc, userDevice* ud, int bus, int address) {
  libusb_device** devs = nullptr;
  ssize_t cnt = libusb_get_device_list(ctx, &devs);
  if (cnt < 0) return static_cast<int>(cnt);
  for (ssize_t i = 0; i < cnt; ++i) {
    libusb_device* d = devs[i];
    if (libusb_get_device_descriptor(d, desc) < 0) {
      libusb_free_device_list(devs, 1);
      return -1;
    }
    if (desc->idProduct != ud->idProduct || desc->idVendor != ud->idVendor) continue;
    if (bus > 0 && (libusb_get_bus_number(d) != bus || libusb_get_device_address(d) != address)) continue;
    ud->dev = d;
    ud->devs = devs;  // kept until the device is closed
    return 0;
  }
  libusb_free_device_list(devs, 1);
  return -2;
}

int get_device_descriptor(libusb_device_descriptor* desc, userDevice* ud) {
  return FindDevice(nullptr, desc, ud, 0, 0);
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
// initialised and the device list kept, as the open reports; the next close
// or open gives them back, so repeated failed opens do not pile them up.
void HidDevice::ReleaseFailedOpen() {
  if (handle_ != nullptr || ud_ == nullptr || ud_->devs == nullptr) return;
  libusb_free_device_list(ud_->devs, 1);
  ud_->devs = nullptr;
  ud_->dev = nullptr;
  libusb_exit(ctx_);
  ctx_ = nullptr;
}

int HidDevice::Open(int VID, int PID, int bus, int address) {
  ReleaseFailedOpen();
  if (ud_ == nullptr) ud_ = new userDevice();
  userDevice& ud = *ud_;
  memset(&ud, 0, sizeof ud);
  ud.idVendor = static_cast<uint16_t>(VID);
  ud.idProduct = static_cast<uint16_t>(PID);
  ud.bInterfaceClass = LIBUSB_CLASS_HID;
  ud.bInterfaceSubClass = LIBUSB_CLASS_HID;
  ud.bmAttributes = LIBUSB_TRANSFER_TYPE_INTERRUPT;
  ud.dev = nullptr;
  last_error_ = 0;

  ctx_ = nullptr;
  if (own_context_) {
    if (libusb_init(&ctx_) < 0) return -1;
  } else {
    init_libusb();
  }
  auto give_back = [&] {
    libusb_exit(ctx_);
    ctx_ = nullptr;
    };

  libusb_device_descriptor desc;
  if (FindDevice(ctx_, &desc, &ud, bus, address) < 0) {
    give_back();
    return -1;
  }
  if (get_device_endpoint(&desc, &ud) < 0) {
    libusb_free_device_list(ud.devs, 1);
    ud.devs = nullptr;
    give_back();
    return -1;
  }
  if (bus > 0) {
    if (libusb_open(ud.dev, &handle_) < 0) handle_ = nullptr;
  } else {
    handle_ = libusb_open_device_with_vid_pid(ctx_, ud.idVendor, ud.idProduct);
  }
  if (handle_ == nullptr) return -2;  // libusb stays initialised

  if (libusb_claim_interface(handle_, ud.bInterfaceNumber) < 0) {
    // The kernel's HID driver usually holds the interface: detach it, retry.
    if (libusb_detach_kernel_driver(handle_, ud.bInterfaceNumber) < 0 ||
        libusb_claim_interface(handle_, ud.bInterfaceNumber) < 0) {
      libusb_close(handle_);
      handle_ = nullptr;
      libusb_free_device_list(ud.devs, 1);
      ud.devs = nullptr;
      give_back();
      return -1;
    }
  }
  return 1;
}

int HidDevice::Write(const unsigned char* Data, int DataLen) {
  if (handle_ == nullptr) return -1;
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
    int rc = libusb_interrupt_transfer(handle_, kOutEndpoint, report, kHidReportSize, &transferred,
                                       kTransferTimeoutMs);
    if (rc < 0) {
      last_error_ = rc;
      return -2;
    }
  }
  return 1;
}

// Sleeps ms, or less when the wait is cancelled meanwhile: false then.
static bool PauseUnlessCancelled(int ms, const WaitControl* w) {
  if (ms <= 0) return true;
  if (w == nullptr || w->cancel_fd < 0) {
    usleep(static_cast<useconds_t>(ms) * 1000);
    return true;
  }
  pollfd p = {w->cancel_fd, POLLIN, 0};
  return poll(&p, 1, ms) <= 0;
}

int HidDevice::Read(unsigned char* Data, int& DataLen, int SleepTime, const WaitControl* w) {
  if (handle_ == nullptr) return -1;
  if (!PauseUnlessCancelled(SleepTime, w)) return kWaitCancelled;
  int total = 0;
  const bool sliced = w != nullptr && w->cancel_fd >= 0;
  for (int attempt = 0; attempt < kHidMaxReportsPerAnswer; ++attempt) {
    unsigned char report[kHidReportSize];
    int transferred = 0;
    // A timed-out report counts as an empty one.
    if (!sliced) {
      int rc = libusb_interrupt_transfer(handle_, ud_->bInEndpointAddress, report, kHidReportSize,
                                         &transferred, kTransferTimeoutMs);
      if (rc < 0 && rc != LIBUSB_ERROR_TIMEOUT) last_error_ = rc;
    } else {
      for (unsigned int waited = 0; waited < kTransferTimeoutMs && transferred == 0;
           waited += kCancellableSliceMs) {
        pollfd p = {w->cancel_fd, POLLIN, 0};
        if (poll(&p, 1, 0) > 0) return kWaitCancelled;
        int rc = libusb_interrupt_transfer(handle_, ud_->bInEndpointAddress, report, kHidReportSize,
                                           &transferred, kCancellableSliceMs);
        if (rc < 0 && rc != LIBUSB_ERROR_TIMEOUT) {
          last_error_ = rc;
          break;
        }
      }
    }
    int count = 0;
    if (transferred > 0) {
      count = report[0];
      if (count > kHidReportPayload) count = kHidReportPayload;  // a report carries 63 at most
      if (count > transferred - 1) count = transferred - 1;
      memcpy(Data + total, report + 1, static_cast<size_t>(count));
      total += count;
      if (count < kHidReportPayload) break;
    }
    if (!PauseUnlessCancelled(SleepTime, w)) return kWaitCancelled;
  }
  DataLen = total;
  return total;
}

int HidDevice::Close() {
  if (handle_ == nullptr) {
    ReleaseFailedOpen();
    return 0;
  }
  // The interface is released before the handle is closed: libusb frees the
  // handle in libusb_close, so releasing through it afterwards would touch
  // freed memory.
  libusb_release_interface(handle_, ud_->bInterfaceNumber);
  libusb_close(handle_);
  if (ud_->devs) libusb_free_device_list(ud_->devs, 1);
  ud_->devs = nullptr;
  ud_->dev = nullptr;
  libusb_exit(ctx_);
  ctx_ = nullptr;
  handle_ = nullptr;
  return 0;
}

HidDevice::~HidDevice() {
  Close();
  delete ud_;
}

int HID_OpenPort(int VID, int PID, int /*ReaderID*/) { return DefaultHid().Open(VID, PID); }

int HID_WriteData(unsigned char* Data, int DataLen) { return DefaultHid().Write(Data, DataLen); }

int HID_ReadData(unsigned char* Data, int& DataLen, int /*DelayTimes*/, int SleepTime) {
  return DefaultHid().Read(Data, DataLen, SleepTime);
}

int HID_ClosePort() { return DefaultHid().Close(); }

}  // namespace transport
}  // namespace orvex
