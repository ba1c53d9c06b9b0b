// SPDX-License-Identifier: MIT
// The link object: everything one reader link holds, and the ports that move
// its bytes. The process-wide link is one of these (its fields are the
// process-wide FaceID, h_Serial, ... of untFunction.h); a link an application
// owns (OrvexLink) is another. Every command runs on "the current link": the
// one an OrvexLinkScope made current on the calling thread, else the
// process-wide one.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "link/untFunction.h"
#include "orvex.h"
#include "transport/PCComm.h"

namespace orvex {

class Link;

// One way of moving frames to and from a reader. The link kind is decided
// here, once: how frames are shaped, sent, and collected.
class Port {
 public:
  virtual ~Port() = default;
  // The frame shape this port speaks, as the codec knows it by FaceID:
  // 1 serial, 2 USB HID, 3 serial with the reader number fixed at 00 01.
  virtual int Shape() const = 0;
  // Transmits a built frame; the send result CombineByte_Send reports.
  virtual int Send(Link& link, unsigned char* frame, int n) = 0;
  // Collects one answer's raw bytes into In (kMaxRawAnswer); the count.
  virtual int Collect(Link& link, unsigned char* In, int DelayTimes, int SleepTime) = 0;
};

// How the last exchange of a link ended, when it did not end well.
enum class LinkFailure {
  kNone = 0,
  kNotOpen,     // no link open
  kNotSent,     // the frame could not be written
  kNoAnswer,    // nothing at all came back in time
  kCutOff,      // an answer began but did not end in time
  kMalformed,   // the bytes collected are not a frame
  kChecksum,    // a whole frame with a wrong checksum
  kRefused,     // the reader answered with a non-zero status
  kDeviceGone,  // the port or device went away
  kCancelled,   // the wait was cancelled
  kInUse,       // the port is held by another opener
  kCannotOpen,  // no such reader, or it could not be opened
  kBadConnection,  // a connection string that does not parse
};

// The design's per-link variables.
struct LinkVars {
  int FaceID = 0;
  int h_Serial = 0;
  int CurrPort = 0;
  unsigned long msStart = 0;
  bool bCycle = true;
  int tmpLength = 0;
};

class Link {
 public:
  // A link whose design variables live in vars (the process-wide ones for
  // the process-wide link). owned: a link of an application's own, with its
  // mutex, cancellation and quiet option.
  Link(int& face, int& serial, int& port, unsigned long& start, bool& cycle, int& tmp, bool owned);
  ~Link();
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  int& FaceID;
  int& h_Serial;
  int& CurrPort;
  unsigned long& msStart;
  bool& bCycle;
  int& tmpLength;

  // The port in use, chosen by FaceID; null when no link is open.
  Port* Active();

  // ---- Opening and closing -----------------------------------------------------
  // The design's serial open (OpenPort_) and the device-path open of the
  // process-wide link (OpenPortDevice_: raw line, exclusive, answers matched).
  int OpenSerialPort(int PortNumber, int Bound);
  int OpenSerialDevice(const char* DevicePath, int Bound);
  int CloseSerial();  // ClosePort_
  // USB HID: the first VID:PID device, or the one at bus:address.
  int OpenUsb(int VID, int PID, int bus = 0, int address = 0);
  int CloseUsb();  // HID_ClosePort_
  int AttachLine(Line* line);
  // Closes whatever is open (an application's link going away).
  void CloseAll();

  // ---- The exchange --------------------------------------------------------------
  Exchanged Exchange(unsigned char Cmd, int ReaderID, const Field& request, int DelayTimes, int SleepTime,
                     Answer& answer);
  // Drops the input the line may still hold before a command goes out.
  void Settle();
  void Unsettle() { unsettled_ = true; }

  // ---- Options of an application's link --------------------------------------------
  bool owned() const { return owned_; }
  int first_byte_ms() const { return *first_byte_ms_; }
  // The first-byte wait of the answer being collected: on a link of the
  // application's own never shorter than the command's own deadline.
  int first_wait_ms() const { return first_wait_ms_; }
  void set_first_byte_ms(int ms) { own_first_byte_ms_ = ms; }
  bool quiet() const { return quiet_; }
  void set_quiet(bool q) { quiet_ = q; }
  bool matching() const { return matching_; }
  void set_matching(bool m) { matching_ = m; }
  void set_trace(OrvexTraceHook hook, void* user) {
    trace_ = hook;
    trace_user_ = user;
  }
  void Trace(int sent, const unsigned char* p, int n);
  // Ends the pending wait (async-signal-safe: one write to an eventfd).
  int Cancel();
  transport::WaitControl& wait() { return wait_; }

  // ---- What the last exchange left -------------------------------------------------------
  LinkFailure last_failure() const { return failure_; }
  const char* last_failure_text() const { return failure_text_; }
  int last_answer_length() const { return last_answer_len_; }
  void Fail(LinkFailure kind, const char* detail = nullptr, int err = 0);

  // The serial answer wait shared by the serial port and the in-process line.
  int SerialCollect(unsigned char* In, int DelayTimes);
  // The exchange currently waiting: what a stray answer is told apart by.
  struct Expect {
    bool active = false;
    unsigned char cmd = 0;
    int reader = 0;
  };
  const Expect& expect() const { return expect_; }
  // True when the len bytes at p decode to an answer to another command.
  bool Stray(const unsigned char* p, int len);

  Line* line() const { return line_; }
  std::mutex& mutex() { return mutex_; }

 private:
  bool owned_;
  std::unique_ptr<Port> serial_;  // the port, the in-process line and the
  std::unique_ptr<Port> line_port_;  // fixed-reader serial shape share the
  std::unique_ptr<Port> fixed_;      // serial answer wait
  std::unique_ptr<Port> hid_port_;
  std::unique_ptr<transport::HidDevice> own_hid_;
  transport::HidDevice* hid_ = nullptr;
  Line* line_ = nullptr;
  bool raw_serial_ = false;  // the serial port was opened raw and locked
  bool unsettled_ = false;

  int own_first_byte_ms_ = 15000;
  int* first_byte_ms_;
  int first_wait_ms_ = 15000;
  bool quiet_ = false;
  bool matching_ = false;
  OrvexTraceHook trace_ = nullptr;
  void* trace_user_ = nullptr;
  transport::WaitControl wait_;
  std::atomic<bool> cancelled_{false};
  std::mutex mutex_;

  Expect expect_;
  LinkFailure failure_ = LinkFailure::kNone;
  char failure_text_[512] = "";
  int last_answer_len_ = -1;

  friend class HidPort;
};

// The process-wide link.
Link& DefaultLink();
// The link commands on this thread use now.
Link& CurrentLink();
// Makes link current on this thread (null: the process-wide one); returns the
// one current before.
Link* SetCurrentLink(Link* link);

}  // namespace orvex
