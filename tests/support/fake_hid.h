// SPDX-License-Identifier: MIT
// An emulated USB HID reader for tests, reached through the real libusb-1.0.
//
// A UsbTestbed gives the process a private, emulated /sys and /dev (the
// program must run with libumockdev-preload.so.0 preloaded); a FakeHid puts
// one USB device into it: vendor 0471, product 114A, one HID interface with
// an interrupt IN endpoint 0x81 and an interrupt OUT endpoint 0x01, 64-byte
// reports. libusb enumerates it from the emulated sysfs, opens its device
// node, and every usbdevfs request it then makes (claim, detach the kernel
// driver, submit, reap and discard transfers) is answered here, on the
// emulation's worker thread, as the kernel would answer it.
//
// The fake records every OUT report and reassembles them into frames (a
// report carrying fewer than 63 bytes ends a frame). A responder, given per
// report or per frame, is called as each arrives and may queue IN reports;
// the next IN transfer the library makes receives the oldest queued report.
// With nothing queued an IN transfer stays pending until libusb's timeout
// discards it, exactly like a silent reader.
//
// Create the testbed before the code under test initialises libusb, and let
// it shut libusb down again before the testbed goes.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "fake_reader.h"

namespace orvex_test {

constexpr int kHidReport = 64;
constexpr int kHidPayload = 63;

// ---- Reports ------------------------------------------------------------------
// One 64-byte report: the count byte, then the bytes carried, zero-filled.
Bytes HidReport(const Bytes& carried);
// The reports a frame travels in: 63 bytes in each, the rest in the last, so
// that a frame of exactly 63 x k bytes ends with a report carrying 0 bytes.
std::vector<Bytes> HidReports(const Bytes& frame);
// The reports of an HID answer frame (see HidAnswerFrame).
std::vector<Bytes> HidAnswerReports(uint16_t reader, uint8_t cmd, uint8_t status, const Bytes& data);
// Joins what a run of reports carries (each report's count byte, capped at 63).
Bytes HidCarried(const std::vector<Bytes>& reports);

// ---- The emulated machine -----------------------------------------------------------
class UsbTestbed {
 public:
  UsbTestbed();
  ~UsbTestbed();
  UsbTestbed(const UsbTestbed&) = delete;
  UsbTestbed& operator=(const UsbTestbed&) = delete;

  // False when the program runs without the umockdev preload library.
  bool mocked() const;
  void* handle() const { return tb_; }  // the UMockdevTestbed

 private:
  void* tb_ = nullptr;
};

// ---- The device -------------------------------------------------------------------------
class FakeHid {
 public:
  // How the device's configuration is laid out.
  enum class Layout {
    // Interface 0, class HID: interrupt IN 0x81, interrupt OUT 0x01.
    kReader,
    // Interface 0 of vendor class with interrupt 0x81/0x01 (not HID); then
    // interface 1, class HID: setting 0 with an interrupt IN 0x83 only,
    // setting 1 with interrupt IN 0x82, bulk IN 0x84 and interrupt OUT 0x02.
    kHidBehindVendor,
    // Interface 0, class HID, with an interrupt IN endpoint 0x81 only.
    kNoOutEndpoint,
  };

  struct Options {
    Layout layout = Layout::kReader;
    uint16_t vendor = 0x0471;
    uint16_t product = 0x114A;
    // The kernel driver bound to the HID interface at first ("" none). While
    // one is bound, claiming the interface fails with EBUSY.
    std::string kernel_driver = "usbhid";
    // False: the kernel driver refuses to be detached.
    bool detachable = true;
    // Where it sits on the machine, and its serial string ("" none).
    int bus = 1;
    int address = 2;
    std::string serial = "0001";
  };

  struct Stats {
    int opens = 0;           // device node opened by libusb
    int claims = 0;          // interface claims granted
    int claims_refused = 0;  // refused because a kernel driver held the interface
    int releases = 0;
    int detaches = 0;        // kernel driver detached
    int submits_in = 0;
    int submits_out = 0;
    int discards = 0;        // transfers cancelled (libusb's timeout)
    int reaps = 0;
  };

  // What one OUT or IN transfer of the library looked like.
  struct Transfer {
    uint8_t endpoint = 0;
    Bytes data;  // OUT: the report sent; IN: the report delivered (empty if none)
  };

  using ReportResponder = std::function<void(FakeHid& hid, const Bytes& report)>;
  using FrameResponder = std::function<void(FakeHid& hid, const Bytes& frame)>;

  explicit FakeHid(UsbTestbed& testbed);
  FakeHid(UsbTestbed& testbed, Options options);
  ~FakeHid();
  FakeHid(const FakeHid&) = delete;
  FakeHid& operator=(const FakeHid&) = delete;

  // Called for every OUT report, on the emulation's thread.
  void OnReport(ReportResponder r);
  // Called for every complete frame joined from the OUT reports.
  void OnFrame(FrameResponder r);
  // Answers every frame with an HID answer frame (status 0, the given data),
  // echoing the command's reader number and command byte.
  void AnswerEveryFrame(const Bytes& data);

  // Queues one IN report (padded with zeros to 64 bytes; longer is sent as is).
  void QueueIn(const Bytes& report);
  void QueueIn(const std::vector<Bytes>& reports);
  // Queues the reports that carry the frame.
  void QueueFrame(const Bytes& frame) { QueueIn(HidReports(frame)); }

  // Every OUT report so far, as sent, and the frames they joined into.
  std::vector<Bytes> out_reports();
  std::vector<Bytes> frames();
  // Every OUT and IN transfer so far, in order of submission (IN: completion).
  std::vector<Transfer> out_transfers();
  std::vector<Transfer> in_transfers();
  // Waits until n frames have come; false on timeout.
  bool WaitForFrames(size_t n, int timeout_ms = 2000);
  void ClearRecord();
  Stats stats();

  // The device is pulled out now: transfers pending and later fail with
  // ENODEV, which libusb reports as LIBUSB_ERROR_NO_DEVICE.
  void Unplug();
  // The device is pulled out right after it has delivered n more IN reports.
  void UnplugAfterIn(int n);
  // OUT transfers stay pending (the reader does not take them) until libusb's
  // timeout discards them.
  void HoldOut(bool hold);
  // Puts a directory where the device node was: the device is listed but
  // cannot be opened.
  void MakeNodeUnopenable();

  // The kernel driver bound now ("" none); whether the library holds the
  // HID interface.
  std::string kernel_driver();
  bool claimed();
  // How many descriptors of this process have the device node open now.
  int open_handles();

  struct State;  // the emulation's state, shared with its worker thread

 private:
  UsbTestbed& testbed_;
  std::unique_ptr<State> s_;
};

}  // namespace orvex_test
