// SPDX-License-Identifier: MIT
// The emulated USB HID reader: a sysfs record that libusb enumerates, and an
// ioctl handler on the device node that plays the kernel's usbdevfs part.
//
// Transfers are modelled as the kernel does: SUBMITURB queues an URB,
// REAPURBNDELAY hands back a finished one (or EAGAIN), DISCARDURB cancels a
// pending one (libusb's timeout path), and the cancelled URB is reaped with
// -ENOENT. The URB and its buffer live in the client's memory: the handler
// works on copies resolved at submit time, and at reap time points the
// client's URB pointer at the copy, which completing the ioctl writes back.
//
// libusb waits for finished URBs with poll(POLLOUT) on the device node. The
// emulated node is made a FIFO whose one-page buffer is kept full while
// nothing can be reaped, so that the poll blocks instead of spinning.
#include "fake_hid.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/usbdevice_fs.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <umockdev.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <stdexcept>

namespace orvex_test {

// ---- Reports ------------------------------------------------------------------------

Bytes HidReport(const Bytes& carried) {
  Bytes r(kHidReport, 0);
  r[0] = static_cast<uint8_t>(carried.size());
  for (size_t i = 0; i < carried.size() && i + 1 < r.size(); ++i) r[i + 1] = carried[i];
  return r;
}

std::vector<Bytes> HidReports(const Bytes& frame) {
  std::vector<Bytes> out;
  size_t at = 0;
  for (;;) {
    size_t n = frame.size() - at < kHidPayload ? frame.size() - at : kHidPayload;
    out.push_back(HidReport(Bytes(frame.begin() + static_cast<long>(at),
                                  frame.begin() + static_cast<long>(at + n))));
    at += n;
    if (n < kHidPayload) return out;
  }
}

std::vector<Bytes> HidAnswerReports(uint16_t reader, uint8_t cmd, uint8_t status, const Bytes& data) {
  return HidReports(HidAnswerFrame(reader, cmd, status, data));
}

Bytes HidCarried(const std::vector<Bytes>& reports) {
  Bytes out;
  for (const Bytes& r : reports) {
    if (r.empty()) continue;
    size_t n = r[0] > kHidPayload ? kHidPayload : r[0];
    for (size_t i = 1; i <= n && i < r.size(); ++i) out.push_back(r[i]);
  }
  return out;
}

// ---- The testbed ------------------------------------------------------------------------

UsbTestbed::UsbTestbed() { tb_ = umockdev_testbed_new(); }

UsbTestbed::~UsbTestbed() {
  if (tb_) g_object_unref(static_cast<UMockdevTestbed*>(tb_));
}

bool UsbTestbed::mocked() const { return tb_ != nullptr && umockdev_in_mock_environment(); }

// ---- Descriptors and the sysfs record --------------------------------------------------

// Where the device sits: its node and its sysfs folder follow its bus and
// address (bus 1, address 2 unless told otherwise).
static std::string DevNode(const FakeHid::Options& o) {
  char node[40];
  snprintf(node, sizeof node, "/dev/bus/usb/%03d/%03d", o.bus, o.address);
  return node;
}
static std::string SysName(const FakeHid::Options& o) {
  return std::to_string(o.bus) + "-" + std::to_string(o.address - 1);
}
static std::string SysPath(const FakeHid::Options& o) {
  return "/devices/pci0000:00/0000:00:14.0/usb" + std::to_string(o.bus) + "/" + SysName(o);
}

namespace {

struct InterfaceInfo {
  uint8_t number;
  uint8_t cls;
};

void Put(Bytes& d, std::initializer_list<int> bytes) {
  for (int b : bytes) d.push_back(static_cast<uint8_t>(b));
}
void Interface(Bytes& d, int number, int alt, int endpoints, int cls) {
  Put(d, {9, 4, number, alt, endpoints, cls, 0, 0, 0});
}
void HidClass(Bytes& d) { Put(d, {9, 0x21, 0x11, 0x01, 0, 1, 0x22, 34, 0}); }
void Endpoint(Bytes& d, int address, int type) { Put(d, {7, 5, address, type, 64, 0, 1}); }
constexpr int kInterrupt = 3;
constexpr int kBulk = 2;

// Device descriptor followed by the one configuration, as sysfs shows them.
Bytes Descriptors(const FakeHid::Options& o, std::vector<InterfaceInfo>& interfaces) {
  Bytes config;
  switch (o.layout) {
    case FakeHid::Layout::kReader:
      Interface(config, 0, 0, 2, 3);
      HidClass(config);
      Endpoint(config, 0x81, kInterrupt);
      Endpoint(config, 0x01, kInterrupt);
      interfaces = {{0, 3}};
      break;
    case FakeHid::Layout::kHidBehindVendor:
      Interface(config, 0, 0, 2, 0xFF);
      Endpoint(config, 0x81, kInterrupt);
      Endpoint(config, 0x01, kInterrupt);
      Interface(config, 1, 0, 1, 3);
      HidClass(config);
      Endpoint(config, 0x83, kInterrupt);
      Interface(config, 1, 1, 3, 3);
      HidClass(config);
      Endpoint(config, 0x82, kInterrupt);
      Endpoint(config, 0x84, kBulk);
      Endpoint(config, 0x02, kInterrupt);
      interfaces = {{0, 0xFF}, {1, 3}};
      break;
    case FakeHid::Layout::kNoOutEndpoint:
      Interface(config, 0, 0, 1, 3);
      HidClass(config);
      Endpoint(config, 0x81, kInterrupt);
      interfaces = {{0, 3}};
      break;
  }
  const int total = 9 + static_cast<int>(config.size());
  Bytes d;
  Put(d, {18, 1, 0x00, 0x02, 0, 0, 0, 64, o.vendor & 0xFF, o.vendor >> 8, o.product & 0xFF,
          o.product >> 8, 0x00, 0x01, 1, 2, 3, 1});
  Put(d, {9, 2, total & 0xFF, total >> 8, static_cast<int>(interfaces.size()), 1, 0, 0x80, 50});
  d.insert(d.end(), config.begin(), config.end());
  return d;
}

std::string Hex(const Bytes& b) {
  static const char digits[] = "0123456789abcdef";
  std::string s;
  for (uint8_t x : b) {
    s += digits[x >> 4];
    s += digits[x & 15];
  }
  return s;
}

std::string Record(const FakeHid::Options& o, uint8_t& hid_interface) {
  std::vector<InterfaceInfo> interfaces;
  Bytes desc = Descriptors(o, interfaces);
  char ids[64];
  snprintf(ids, sizeof ids, "%x/%x/100", o.vendor, o.product);
  char vid[8], pid[8];
  snprintf(vid, sizeof vid, "%04x", o.vendor);
  snprintf(pid, sizeof pid, "%04x", o.product);
  std::string r;
  char busnum[8], devnum[8];
  snprintf(busnum, sizeof busnum, "%03d", o.bus);
  snprintf(devnum, sizeof devnum, "%03d", o.address);
  r += "P: " + SysPath(o) + "\n";
  r += "N: " + DevNode(o).substr(5) + "\n";
  r += "E: DEVNAME=" + DevNode(o) + "\n";
  r += "E: DEVTYPE=usb_device\nE: DRIVER=usb\nE: SUBSYSTEM=usb\n";
  r += std::string("E: PRODUCT=") + ids + "\n";
  r += std::string("E: TYPE=0/0/0\nE: BUSNUM=") + busnum + "\nE: DEVNUM=" + devnum +
       "\nE: MAJOR=189\nE: MINOR=" + std::to_string(o.address - 1) + "\n";
  r += std::string("E: ID_VENDOR_ID=") + vid + "\nE: ID_MODEL_ID=" + pid + "\n";
  r += "A: busnum=" + std::to_string(o.bus) + "\nA: devnum=" + std::to_string(o.address) + "\nA: speed=12\n";
  r += std::string("A: idVendor=") + vid + "\nA: idProduct=" + pid + "\n";
  r += "A: bcdDevice=0100\nA: bDeviceClass=00\nA: bNumConfigurations=1\n";
  r += "A: bConfigurationValue=1\n";
  r += "A: bNumInterfaces= " + std::to_string(interfaces.size()) + "\n";
  r += "A: bMaxPacketSize0=64\nA: manufacturer=Test\nA: product=Card reader\n";
  if (!o.serial.empty()) r += "A: serial=" + o.serial + "\n";
  r += "A: dev=189:" + std::to_string(o.address - 1) + "\n";
  r += "H: descriptors=" + Hex(desc) + "\n\n";
  hid_interface = 0;
  for (const InterfaceInfo& i : interfaces) {
    char cls[8];
    snprintf(cls, sizeof cls, "%02x", i.cls);
    r += "P: " + SysPath(o) + "/" + SysName(o) + ":1." + std::to_string(i.number) + "\n";
    r += "E: DEVTYPE=usb_interface\nE: SUBSYSTEM=usb\n";
    r += "E: INTERFACE=" + std::to_string(i.cls) + "/0/0\n";
    r += std::string("E: PRODUCT=") + ids + "\n";
    r += "A: bInterfaceNumber=0" + std::to_string(i.number) + "\n";
    r += std::string("A: bInterfaceClass=") + cls + "\n";
    r += "A: bInterfaceSubClass=00\nA: bInterfaceProtocol=00\n\n";
    if (i.cls == 3) hid_interface = i.number;
  }
  return r;
}

// One transfer the library submitted, held until it is reaped.
struct Urb {
  UMockdevIoctlClient* client = nullptr;
  UMockdevIoctlData* urb = nullptr;  // copy of struct usbdevfs_urb
  UMockdevIoctlData* buf = nullptr;  // copy of its buffer (null when empty)
  unsigned long addr = 0;            // the URB's address in the client

  ~Urb() {
    if (urb) g_object_unref(urb);
    if (buf) g_object_unref(buf);
  }
  usbdevfs_urb* u() const { return reinterpret_cast<usbdevfs_urb*>(urb->data); }
};

}  // namespace

// ---- The emulation's state ------------------------------------------------------------------

struct FakeHid::State {
  FakeHid* owner = nullptr;
  UMockdevTestbed* tb = nullptr;
  UMockdevIoctlBase* handler = nullptr;
  Options opt;
  uint8_t hid_interface = 0;
  int interfaces = 1;

  std::mutex mu;
  std::condition_variable cv;
  std::deque<Urb*> pending_in, pending_out, done;
  std::deque<Bytes> in_queue;
  std::vector<Bytes> out_reports, frames;
  std::vector<Transfer> outs, ins;
  Bytes partial;  // the frame being joined from OUT reports
  std::string driver;
  unsigned claimed = 0;  // bit per interface number
  bool unplugged = false;
  bool hold_out = false;
  int unplug_after_in = 0;
  Stats st;
  ReportResponder on_report;
  FrameResponder on_frame;
  int fifo = -1;
  bool fifo_full = false;

  ~State() {
    for (auto* q : {&pending_in, &pending_out, &done})
      for (Urb* u : *q) delete u;
    if (fifo >= 0) close(fifo);
  }

  // Lock held. The node polls writable exactly when an URB can be reaped.
  void UpdateReady() {
    if (fifo < 0) return;
    bool want_full = done.empty();
    if (want_full && !fifo_full) {
      char c = 0;
      if (write(fifo, &c, 1) == 1) fifo_full = true;
    } else if (!want_full && fifo_full) {
      char buf[64];
      while (read(fifo, buf, sizeof buf) > 0) {
      }
      fifo_full = false;
    }
  }

  // Lock held. Ends an URB with a status and no data.
  void Kill(Urb* r, int status) {
    r->u()->status = status;
    r->u()->actual_length = 0;
    done.push_back(r);
  }

  void UnplugLocked() {
    unplugged = true;
    while (!pending_in.empty()) {
      Kill(pending_in.front(), -ENODEV);
      pending_in.pop_front();
    }
    while (!pending_out.empty()) {
      Kill(pending_out.front(), -ENODEV);
      pending_out.pop_front();
    }
  }

  // Lock held. Gives queued IN reports to pending IN URBs.
  void MatchIn() {
    while (!pending_in.empty() && !in_queue.empty() && !unplugged) {
      Urb* r = pending_in.front();
      pending_in.pop_front();
      Bytes report = std::move(in_queue.front());
      in_queue.pop_front();
      int n = static_cast<int>(report.size());
      if (n > r->u()->buffer_length) n = r->u()->buffer_length;
      if (r->buf && n > 0) memcpy(r->buf->data, report.data(), static_cast<size_t>(n));
      r->u()->actual_length = n;
      r->u()->status = 0;
      done.push_back(r);
      ins.push_back({r->u()->endpoint, Bytes(report.begin(), report.begin() + n)});
      if (unplug_after_in > 0 && --unplug_after_in == 0) UnplugLocked();
    }
  }

  // Lock held. Records an OUT report; a report carrying fewer than 63 bytes
  // ends the frame, which is then returned in *frame.
  void RecordOut(uint8_t endpoint, const Bytes& report, Bytes* frame, bool* complete) {
    out_reports.push_back(report);
    outs.push_back({endpoint, report});
    *complete = false;
    if (report.empty()) return;
    size_t n = report[0] > kHidPayload ? kHidPayload : report[0];
    for (size_t i = 1; i <= n && i < report.size(); ++i) partial.push_back(report[i]);
    if (report[0] < kHidPayload) {
      *frame = std::move(partial);
      partial.clear();
      frames.push_back(*frame);
      *complete = true;
    }
    cv.notify_all();
  }

  long Submit(UMockdevIoctlClient* client, UMockdevIoctlData* arg, Bytes* report, Bytes* frame,
              bool* has_report, bool* has_frame, int* err);
  long Ioctl(UMockdevIoctlClient* client, unsigned long request, UMockdevIoctlData* arg,
             Bytes* report, Bytes* frame, bool* has_report, bool* has_frame, int* err);
};

// Control transfers: the library makes none; everything stalls.
long FakeHid::State::Submit(UMockdevIoctlClient* client, UMockdevIoctlData* arg, Bytes* report,
                            Bytes* frame, bool* has_report, bool* has_frame, int* err) {
  auto* r = new Urb;
  r->client = client;
  r->addr = static_cast<unsigned long>(arg->client_addr);
  r->urb = static_cast<UMockdevIoctlData*>(g_object_ref(arg));
  const int len = r->u()->buffer_length;
  if (len > 0) {
    GError* e = nullptr;
    r->buf = umockdev_ioctl_data_resolve(r->urb, offsetof(usbdevfs_urb, buffer),
                                         static_cast<gsize>(len), &e);
    if (e) {
      g_error_free(e);
      delete r;
      *err = EFAULT;
      return -1;
    }
  }
  if (r->u()->type == USBDEVFS_URB_TYPE_CONTROL) {
    Kill(r, -EPIPE);
    return 0;
  }
  if (r->u()->endpoint & 0x80) {
    ++st.submits_in;
    pending_in.push_back(r);
    MatchIn();
    return 0;
  }
  ++st.submits_out;
  Bytes data = r->buf ? Bytes(r->buf->data, r->buf->data + len) : Bytes();
  if (hold_out) {
    pending_out.push_back(r);
    return 0;
  }
  RecordOut(r->u()->endpoint, data, frame, has_frame);
  *report = data;
  *has_report = true;
  r->u()->actual_length = len;
  r->u()->status = 0;
  done.push_back(r);
  return 0;
}

// Runs on the emulation's worker thread with the lock held. Returns the
// ioctl's result and sets *err.
long FakeHid::State::Ioctl(UMockdevIoctlClient* client, unsigned long request,
                           UMockdevIoctlData* arg, Bytes* report, Bytes* frame, bool* has_report,
                           bool* has_frame, int* err) {
  *err = 0;
  if (unplugged && request != USBDEVFS_REAPURBNDELAY && request != USBDEVFS_REAPURB &&
      request != USBDEVFS_DISCARDURB && request != USBDEVFS_RELEASEINTERFACE) {
    *err = ENODEV;
    return -1;
  }
  switch (request) {
    case USBDEVFS_GET_CAPABILITIES:
      *reinterpret_cast<uint32_t*>(arg->data) =
          USBDEVFS_CAP_ZERO_PACKET | USBDEVFS_CAP_BULK_CONTINUATION |
          USBDEVFS_CAP_NO_PACKET_SIZE_LIM | USBDEVFS_CAP_REAP_AFTER_DISCONNECT;
      return 0;
    case USBDEVFS_GET_SPEED:
      return 2;  // full speed
    case USBDEVFS_CONNECTINFO: {
      auto* ci = reinterpret_cast<usbdevfs_connectinfo*>(arg->data);
      ci->devnum = static_cast<unsigned int>(opt.address);
      ci->slow = 0;
      return 0;
    }
    case USBDEVFS_GETDRIVER: {
      auto* gd = reinterpret_cast<usbdevfs_getdriver*>(arg->data);
      if (gd->interface != hid_interface || driver.empty()) {
        *err = ENODATA;
        return -1;
      }
      snprintf(gd->driver, sizeof gd->driver, "%s", driver.c_str());
      return 0;
    }
    case USBDEVFS_IOCTL: {
      auto* io = reinterpret_cast<usbdevfs_ioctl*>(arg->data);
      if (io->ioctl_code == static_cast<int>(USBDEVFS_DISCONNECT)) {
        if (io->ifno != hid_interface || driver.empty()) {
          *err = ENODATA;
          return -1;
        }
        if (!opt.detachable) {
          *err = EPERM;
          return -1;
        }
        driver.clear();
        ++st.detaches;
        return 0;
      }
      if (io->ioctl_code == static_cast<int>(USBDEVFS_CONNECT)) {
        driver = opt.kernel_driver;
        return 0;
      }
      *err = ENOTTY;
      return -1;
    }
    case USBDEVFS_CLAIMINTERFACE: {
      unsigned n = *reinterpret_cast<unsigned*>(arg->data);
      if (n >= static_cast<unsigned>(interfaces)) {
        *err = ENOENT;
        return -1;
      }
      if (n == hid_interface && !driver.empty()) {  // the kernel's driver holds it
        ++st.claims_refused;
        *err = EBUSY;
        return -1;
      }
      claimed |= 1u << n;
      ++st.claims;
      return 0;
    }
    case USBDEVFS_RELEASEINTERFACE: {
      unsigned n = *reinterpret_cast<unsigned*>(arg->data);
      if (n >= 32 || !(claimed & (1u << n))) {
        *err = EINVAL;
        return -1;
      }
      claimed &= ~(1u << n);
      ++st.releases;
      return 0;
    }
    case USBDEVFS_SETINTERFACE:
    case USBDEVFS_SETCONFIGURATION:
    case USBDEVFS_CLEAR_HALT:
    case USBDEVFS_RESETEP:
    case USBDEVFS_RESET:
      return 0;
    case USBDEVFS_SUBMITURB:
      return Submit(client, arg, report, frame, has_report, has_frame, err);
    case USBDEVFS_DISCARDURB: {
      unsigned long addr = *reinterpret_cast<unsigned long*>(umockdev_ioctl_client_get_arg(client)->data);
      for (auto* q : {&pending_in, &pending_out}) {
        for (auto it = q->begin(); it != q->end(); ++it) {
          if ((*it)->client == client && (*it)->addr == addr) {
            Urb* r = *it;
            q->erase(it);
            Kill(r, -ENOENT);  // what the kernel reports for a cancelled URB
            ++st.discards;
            return 0;
          }
        }
      }
      *err = EINVAL;  // already finished
      return -1;
    }
    case USBDEVFS_REAPURB:
    case USBDEVFS_REAPURBNDELAY:
      for (auto it = done.begin(); it != done.end(); ++it) {
        if ((*it)->client != client) continue;
        Urb* r = *it;
        done.erase(it);
        // Point the client's URB pointer at its URB: completing the ioctl
        // writes the URB and its buffer back into the client.
        umockdev_ioctl_data_set_ptr(arg, 0, r->urb);
        ++st.reaps;
        delete r;
        return 0;
      }
      *err = unplugged ? ENODEV : EAGAIN;
      return -1;
    default:
      *err = ENOTTY;
      return -1;
  }
}

static gboolean HandleIoctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer user) {
  auto* s = static_cast<FakeHid::State*>(user);
  unsigned long request = umockdev_ioctl_client_get_request(client);
  gsize size = _IOC_SIZE(request);
  UMockdevIoctlData* arg = nullptr;
  // DISCARDURB carries the URB's address itself as its argument.
  if (size > 0 && request != USBDEVFS_DISCARDURB) {
    GError* e = nullptr;
    arg = umockdev_ioctl_data_resolve(umockdev_ioctl_client_get_arg(client), 0, size, &e);
    if (e) g_error_free(e);
    if (!arg) {
      umockdev_ioctl_client_complete(client, -1, EFAULT);
      return TRUE;
    }
  }
  Bytes report, frame;
  bool has_report = false, has_frame = false;
  int err = 0;
  long res;
  FakeHid::ReportResponder on_report;
  FakeHid::FrameResponder on_frame;
  {
    std::lock_guard<std::mutex> l(s->mu);
    res = s->Ioctl(client, request, arg, &report, &frame, &has_report, &has_frame, &err);
    s->UpdateReady();
    on_report = s->on_report;
    on_frame = s->on_frame;
  }
  if (arg) g_object_unref(arg);
  // The responders run before the OUT transfer completes, so an answer they
  // queue is there when the library starts reading.
  if (has_report && on_report) on_report(*s->owner, report);
  if (has_frame && on_frame) on_frame(*s->owner, frame);
  umockdev_ioctl_client_complete(client, res, err);
  return TRUE;
}

static void ClientConnected(UMockdevIoctlBase*, UMockdevIoctlClient*, gpointer user) {
  auto* s = static_cast<FakeHid::State*>(user);
  std::lock_guard<std::mutex> l(s->mu);
  ++s->st.opens;
  s->cv.notify_all();
}

// ---- FakeHid --------------------------------------------------------------------------------

FakeHid::FakeHid(UsbTestbed& testbed) : FakeHid(testbed, Options()) {}

FakeHid::FakeHid(UsbTestbed& testbed, Options options) : testbed_(testbed), s_(new State) {
  s_->owner = this;
  s_->opt = options;
  s_->driver = options.kernel_driver;
  s_->tb = static_cast<UMockdevTestbed*>(testbed.handle());
  s_->interfaces = options.layout == Layout::kHidBehindVendor ? 2 : 1;
  std::string record = Record(options, s_->hid_interface);
  GError* e = nullptr;
  if (!umockdev_testbed_add_from_string(s_->tb, record.c_str(), &e)) {
    std::string msg = e ? e->message : "?";
    g_clear_error(&e);
    throw std::runtime_error("cannot add the USB device: " + msg);
  }
  // Replace the regular file umockdev made for the node by a FIFO with a
  // one-page buffer (see UpdateReady).
  gchar* root = umockdev_testbed_get_root_dir(s_->tb);
  std::string node = std::string(root) + DevNode(s_->opt);
  g_free(root);
  unlink(node.c_str());
  if (mkfifo(node.c_str(), 0666) == 0) {
    s_->fifo = open(node.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (s_->fifo >= 0) fcntl(s_->fifo, F_SETPIPE_SZ, 4096);
  }
  if (s_->fifo < 0) throw std::runtime_error("cannot make the device node a FIFO");
  {
    std::lock_guard<std::mutex> l(s_->mu);
    s_->UpdateReady();
  }
  s_->handler = umockdev_ioctl_base_new();
  g_signal_connect(s_->handler, "handle-ioctl", G_CALLBACK(HandleIoctl), s_.get());
  g_signal_connect(s_->handler, "client-connected", G_CALLBACK(ClientConnected), s_.get());
  if (!umockdev_testbed_attach_ioctl(s_->tb, DevNode(s_->opt).c_str(), s_->handler, &e)) {
    std::string msg = e ? e->message : "?";
    g_clear_error(&e);
    g_object_unref(s_->handler);
    throw std::runtime_error("cannot attach the ioctl handler: " + msg);
  }
}

FakeHid::~FakeHid() {
  // The handler may outlive us inside the testbed: cut it off from our state.
  g_signal_handlers_disconnect_by_data(s_->handler, s_.get());
  GError* e = nullptr;
  umockdev_testbed_detach_ioctl(s_->tb, DevNode(s_->opt).c_str(), &e);
  g_clear_error(&e);
  g_object_unref(s_->handler);
}

void FakeHid::OnReport(ReportResponder r) {
  std::lock_guard<std::mutex> l(s_->mu);
  s_->on_report = std::move(r);
}

void FakeHid::OnFrame(FrameResponder r) {
  std::lock_guard<std::mutex> l(s_->mu);
  s_->on_frame = std::move(r);
}

void FakeHid::AnswerEveryFrame(const Bytes& data) {
  OnFrame([data](FakeHid& hid, const Bytes& f) {
    if (f.size() < 5) return;
    hid.QueueFrame(HidAnswerFrame(static_cast<uint16_t>(f[2] << 8 | f[3]), f[4], 0, data));
  });
}

void FakeHid::QueueIn(const Bytes& report) {
  Bytes r = report;
  if (r.size() < kHidReport) r.resize(kHidReport, 0);
  std::lock_guard<std::mutex> l(s_->mu);
  s_->in_queue.push_back(std::move(r));
  s_->MatchIn();
  s_->UpdateReady();
}

void FakeHid::QueueIn(const std::vector<Bytes>& reports) {
  for (const Bytes& r : reports) QueueIn(r);
}

std::vector<Bytes> FakeHid::out_reports() {
  std::lock_guard<std::mutex> l(s_->mu);
  return s_->out_reports;
}

std::vector<Bytes> FakeHid::frames() {
  std::lock_guard<std::mutex> l(s_->mu);
  return s_->frames;
}

std::vector<FakeHid::Transfer> FakeHid::out_transfers() {
  std::lock_guard<std::mutex> l(s_->mu);
  return s_->outs;
}

std::vector<FakeHid::Transfer> FakeHid::in_transfers() {
  std::lock_guard<std::mutex> l(s_->mu);
  return s_->ins;
}

bool FakeHid::WaitForFrames(size_t n, int timeout_ms) {
  std::unique_lock<std::mutex> l(s_->mu);
  return s_->cv.wait_for(l, std::chrono::milliseconds(timeout_ms),
                         [&] { return s_->frames.size() >= n; });
}

void FakeHid::ClearRecord() {
  std::lock_guard<std::mutex> l(s_->mu);
  s_->out_reports.clear();
  s_->frames.clear();
  s_->outs.clear();
  s_->ins.clear();
}

FakeHid::Stats FakeHid::stats() {
  std::lock_guard<std::mutex> l(s_->mu);
  return s_->st;
}

void FakeHid::Unplug() {
  std::lock_guard<std::mutex> l(s_->mu);
  s_->UnplugLocked();
  s_->UpdateReady();
}

void FakeHid::UnplugAfterIn(int n) {
  std::lock_guard<std::mutex> l(s_->mu);
  s_->unplug_after_in = n;
}

void FakeHid::HoldOut(bool hold) {
  std::lock_guard<std::mutex> l(s_->mu);
  s_->hold_out = hold;
}

void FakeHid::MakeNodeUnopenable() {
  gchar* root = umockdev_testbed_get_root_dir(s_->tb);
  std::string node = std::string(root) + DevNode(s_->opt);
  g_free(root);
  unlink(node.c_str());
  mkdir(node.c_str(), 0755);
}

int FakeHid::open_handles() {
  gchar* root = umockdev_testbed_get_root_dir(s_->tb);
  std::string node = std::string(root) + DevNode(s_->opt);
  g_free(root);
  int n = 0;
  DIR* d = opendir("/proc/self/fd");
  if (!d) return -1;
  while (dirent* e = readdir(d)) {
    if (e->d_name[0] == '.') continue;
    int fd = atoi(e->d_name);
    if (fd == s_->fifo || fd == dirfd(d)) continue;
    char target[4096];
    std::string link = std::string("/proc/self/fd/") + e->d_name;
    ssize_t len = readlink(link.c_str(), target, sizeof target - 1);
    if (len <= 0) continue;
    target[len] = 0;
    if (node == target) ++n;
  }
  closedir(d);
  return n;
}

std::string FakeHid::kernel_driver() {
  std::lock_guard<std::mutex> l(s_->mu);
  return s_->driver;
}

bool FakeHid::claimed() {
  std::lock_guard<std::mutex> l(s_->mu);
  return (s_->claimed >> s_->hid_interface) & 1u;
}

}  // namespace orvex_test
