// SPDX-License-Identifier: MIT
// The link object, its three ports (serial port, USB HID, in-process line),
// the serial answer wait and the command exchange.
#include "link/link.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/eventfd.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

namespace orvex {

namespace {

uint64_t MonotonicNs() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000000000u + static_cast<uint64_t>(ts.tv_nsec);
}

constexpr unsigned char kSetReaderNumber = 0x02;

bool DeviceGone(int err) { return err == EIO || err == ENXIO || err == ENODEV; }

// Ports that speak the serial frame shape share the serial answer wait; they
// differ in how bytes are written and read.
class SerialShaped : public Port {
 public:
  // The first read of an answer (waits the first-byte time) and follow-up
  // reads (what is there within ms): as transport::ReadFirst / ReadWithin.
  virtual int ReadFirst(Link& link, unsigned char* p, int cap) = 0;
  virtual int ReadMore(Link& link, unsigned char* p, int cap, int ms) = 0;
  // False for a shape that reads nothing (the fixed-reader shape).
  virtual bool Reads() const { return true; }
  int Collect(Link& link, unsigned char* In, int DelayTimes, int /*SleepTime*/) override {
    return link.SerialCollect(In, DelayTimes);
  }
};

class SerialPort : public SerialShaped {
 public:
  int Shape() const override { return 1; }
  int Send(Link& link, unsigned char* frame, int n) override {
    link.tmpLength = 0;
    if (link.h_Serial <= 0) return -1;
    link.Settle();
    errno = 0;
    int r = transport::WriteData(link.h_Serial, frame, n);
    if (r < 0) link.wait().last_errno = errno;
    return r;
  }
  int ReadFirst(Link& link, unsigned char* p, int cap) override {
    return transport::ReadFirst(link.h_Serial, p, static_cast<size_t>(cap), link.first_wait_ms(),
                                link.wait());
  }
  int ReadMore(Link& link, unsigned char* p, int cap, int ms) override {
    return transport::ReadWithin(link.h_Serial, p, static_cast<size_t>(cap), ms, link.wait());
  }
};

// The in-process line: fuzzers and benchmarks in place of a port.
class LinePort : public SerialShaped {
 public:
  int Shape() const override { return 1; }
  int Send(Link& link, unsigned char* frame, int n) override {
    link.tmpLength = 0;
    return link.line()->Write(frame, n);
  }
  int ReadFirst(Link& link, unsigned char* p, int cap) override {
    int r = link.line()->Read(p, cap, link.first_wait_ms());
    return r == transport::kLineHungUp ? -1 : r;
  }
  int ReadMore(Link& link, unsigned char* p, int cap, int ms) override {
    return link.line()->Read(p, cap, ms);
  }
};

// FaceID 3: the serial shape with the reader number fixed at 00 01. The
// frame is built and stuffed but not transmitted (the send reports 3), and
// the answer wait reads nothing: no operation of the library selects this
// kind, which exists for the codec.
class FixedReaderShape : public SerialShaped {
 public:
  int Shape() const override { return 3; }
  int Send(Link& /*link*/, unsigned char* /*frame*/, int /*n*/) override { return 3; }
  int ReadFirst(Link&, unsigned char*, int) override { return 0; }
  int ReadMore(Link&, unsigned char*, int, int) override { return 0; }
  bool Reads() const override { return false; }
};

}  // namespace

class HidPort : public Port {
  static constexpr int kMaxStrayAnswers = 4;

 public:
  int Shape() const override { return 2; }
  int Send(Link& link, unsigned char* frame, int n) override { return link.hid_->Write(frame, n); }
  int Collect(Link& link, unsigned char* In, int /*DelayTimes*/, int SleepTime) override {
    for (int frames = 0;; ++frames) {
      int len = 0;
      int r = link.hid_->Read(In, len, SleepTime, link.owned() ? &link.wait() : nullptr);
      if (r == transport::kWaitCancelled) {
        link.wait().last_errno = ECANCELED;
        return 0;
      }
      if (r <= 0) return 0;  // no device open, or nothing came: nothing collected
      // On a link that matches answers, an answer to another command is
      // dropped and the next one collected (a few at most: a reader that
      // only ever answers otherwise ends as "no answer").
      if (!link.expect().active || !link.Stray(In, r)) return r;
      link.Trace(0, In, r);
      if (frames + 1 >= kMaxStrayAnswers) return 0;
    }
  }
};

// ===========================================================================
// The link
// ===========================================================================

Link::Link(int& face, int& serial, int& port, unsigned long& start, bool& cycle, int& tmp, bool owned)
    : FaceID(face),
      h_Serial(serial),
      CurrPort(port),
      msStart(start),
      bCycle(cycle),
      tmpLength(tmp),
      owned_(owned),
      serial_(new SerialPort),
      line_port_(new LinePort),
      fixed_(new FixedReaderShape),
      hid_port_(new HidPort) {
  if (owned) {
    own_hid_.reset(new transport::HidDevice(true));
    hid_ = own_hid_.get();
    first_byte_ms_ = &own_first_byte_ms_;
    matching_ = true;
    wait_.cancel_fd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  } else {
    hid_ = &transport::DefaultHid();
    first_byte_ms_ = &transport::g_FirstByteTimeoutMs;
  }
}

Link::~Link() {
  CloseAll();
  if (wait_.cancel_fd >= 0) close(wait_.cancel_fd);
}

Port* Link::Active() {
  switch (FaceID) {
    case 1: return line_ ? line_port_.get() : serial_.get();
    case 2: return hid_port_.get();
    case 3: return fixed_.get();
    default: return nullptr;
  }
}

int Link::OpenSerialPort(int PortNumber, int Bound) {
  CurrPort = PortNumber;
  if (h_Serial > 0 || line_) CloseSerial();
  if (owned_) {
    char path[32];
    snprintf(path, sizeof path, "/dev/ttyS%d", PortNumber);
    return OpenSerialDevice(path, Bound);
  }
  matching_ = false;
  raw_serial_ = false;
  h_Serial = transport::OpenPort(PortNumber, Bound);
  if (h_Serial <= 0) {
    Fail(LinkFailure::kCannotOpen, "cannot open the serial port", errno);
    return 0;
  }
  FaceID = 1;
  unsettled_ = true;  // whatever came since the open is nobody's answer
  return 1;
}

int Link::OpenSerialDevice(const char* DevicePath, int Bound) {
  if (h_Serial > 0 || line_) CloseSerial();
  if (DevicePath == nullptr) return 0;
  int err = 0;
  int fd = transport::OpenPortRaw(DevicePath, Bound, &err);
  if (fd < 0) {
    h_Serial = fd;
    char what[300];
    snprintf(what, sizeof what, "cannot open %s", DevicePath);
    if (fd == transport::kPortInUse) {
      snprintf(what, sizeof what, "%s is in use by another program or link", DevicePath);
      Fail(LinkFailure::kInUse, what);
    } else if (fd == transport::kBadSpeed) {
      snprintf(what, sizeof what, "%d bit/s is not a speed the line offers (4800, 9600, 19200, 38400)", Bound);
      Fail(LinkFailure::kCannotOpen, what);
    } else {
      Fail(LinkFailure::kCannotOpen, what, err);
    }
    return 0;
  }
  h_Serial = fd;
  raw_serial_ = true;
  FaceID = 1;
  unsettled_ = true;
  Fail(LinkFailure::kNone);
  return 1;
}

int Link::CloseSerial() {
  line_ = nullptr;
  if (h_Serial > 0) {
    if (raw_serial_) transport::ClosePortRaw(h_Serial);
    else transport::ClosePort(h_Serial);
  }
  raw_serial_ = false;
  h_Serial = 0;
  FaceID = 0;
  return 1;
}

int Link::OpenUsb(int VID, int PID, int bus, int address) {
  hid_->Close();
  int r = hid_->Open(VID, PID, bus, address);
  if (r > 0) {
    FaceID = 2;
    Fail(LinkFailure::kNone);
  } else if (r == -2) {
    Fail(LinkFailure::kCannotOpen, "the USB reader was found but could not be opened (permissions?)");
  } else {
    Fail(LinkFailure::kCannotOpen, "no USB reader found, or its interface cannot be claimed");
  }
  return r;
}

int Link::CloseUsb() {
  FaceID = 0;
  return hid_->Close();
}

int Link::AttachLine(Line* line) {
  CloseSerial();
  line_ = line;
  if (line) FaceID = 1;
  return 1;
}

void Link::CloseAll() {
  CloseSerial();
  CloseUsb();
}

void Link::Settle() {
  // Whatever still waits on the line after an exchange that went wrong (the
  // tail of a flood, an answer that came after its deadline) belongs to no
  // command: drop it, so the answer collected next is the answer to this
  // command. After a clean exchange the line is left alone: the flush is a
  // system call on every command, a tenth of a round trip on a fast line.
  if (unsettled_ && h_Serial > 0) tcflush(h_Serial, TCIFLUSH);
  unsettled_ = false;
}

int Link::Cancel() {
  if (wait_.cancel_fd < 0) return 0;
  cancelled_.store(true);
  uint64_t one = 1;
  ssize_t r = write(wait_.cancel_fd, &one, sizeof one);
  (void)r;
  return 1;
}

void Link::Trace(int sent, const unsigned char* p, int n) {
  if (trace_ && n > 0) trace_(trace_user_, sent, p, n, MonotonicNs());
}

void Link::Fail(LinkFailure kind, const char* detail, int err) {
  failure_ = kind;
  if (kind == LinkFailure::kNone) {
    failure_text_[0] = '\0';
    return;
  }
  if (err != 0)
    snprintf(failure_text_, sizeof failure_text_, "%s: %s", detail ? detail : "", strerror(err));
  else
    snprintf(failure_text_, sizeof failure_text_, "%s", detail ? detail : "");
}

bool Link::Stray(const unsigned char* p, int len) {
  if (!expect_.active) return false;
  int reader = 0;
  unsigned char cmd = 0, status = 0;
  unsigned char data[kMaxAnswerData];
  if (DecodeAs(FaceID, reader, cmd, status, len, const_cast<unsigned char*>(p), data) < 0) return false;
  if (cmd != expect_.cmd) return true;
  // The reader answers a change of its own number (command 0x02) with its
  // new number.
  return expect_.reader != 0 && reader != expect_.reader && cmd != kSetReaderNumber;
}

// The end of the first whole serial frame in the t bytes collected (the index
// of its ETX), or -1: the bytes start with STX and hold an ETX that is not
// escaped. The process-wide link takes an ETX after any DLE as escaped, as
// its answer wait always has: a frame whose last stuffed byte is an escaped
// DLE (10 10 03) is then not seen as complete, and the wait runs on to its
// deadline, where the frame is decoded normally. A link of the application's
// own counts the DLEs before the ETX (an even run escapes nothing), so such
// an answer ends the wait when it arrives.
static int FrameEnd(const unsigned char* In, int t, bool exact = false) {
  if (t <= 0 || In[0] != STX) return -1;
  for (int i = 1; i < t; ++i) {
    if (In[i] != ETX) continue;
    int run = 0;
    while (i - 1 - run >= 1 && In[i - 1 - run] == DLE) ++run;
    if (exact ? run % 2 == 0 : run == 0) return i;
  }
  return -1;
}

int Link::SerialCollect(unsigned char* In, int DelayTimes) {
  auto& port = static_cast<SerialShaped&>(*Active());
  first_wait_ms_ = first_byte_ms();
  if (owned_ && DelayTimes * 100 > first_wait_ms_) first_wait_ms_ = DelayTimes * 100;
  int t = 0;
  if (port.Reads()) {
    t = port.ReadFirst(*this, In, kMaxRawAnswer);
    if (t == transport::kWaitCancelled) return 0;
    if (t == transport::kLineHungUp) t = -1;
  }
  bCycle = true;
  msStart = static_cast<unsigned long>(static_cast<int64_t>(GetTickCount()));
  const uint64_t start = transport::MonotonicMs();
  const uint64_t deadline = static_cast<uint64_t>(static_cast<int64_t>(DelayTimes) * 100);
  auto elapsed = [&] { return transport::MonotonicMs() - start; };
  bool complete = false;
  while (!complete && bCycle) {
    int end = FrameEnd(In, t, owned_);
    // On a link that matches answers to commands, a whole frame answering
    // another command (a late answer, a reader speaking unasked) is dropped
    // and the wait goes on for the real answer.
    while (end >= 0 && expect_.active && Stray(In, end + 1)) {
      Trace(0, In, end + 1);
      t -= end + 1;
      memmove(In, In + end + 1, static_cast<size_t>(t));
      end = FrameEnd(In, t, owned_);
    }
    complete = end >= 0;
    // Matching also takes the frame alone, leaving what came after it.
    if (complete && expect_.active && end + 1 < t) {
      t = end + 1;
      unsettled_ = true;
    }
    if (!complete && port.Reads()) {
      if (t < 0) t = 0;  // a failed read must not move the next one before In
      if (t >= kMaxRawAnswer) break;  // the buffer is full and holds no frame
      // Follow-up reads honour what is left of the deadline (at most the
      // first-byte timeout when the deadline is unbounded).
      uint64_t e = elapsed();
      uint64_t left = e < deadline ? deadline - e : 0;
      if (left > static_cast<uint64_t>(first_byte_ms())) left = static_cast<uint64_t>(first_byte_ms());
      int got = port.ReadMore(*this, In + t, kMaxRawAnswer - t, static_cast<int>(left));
      if (got == transport::kWaitCancelled) return 0;
      if (got == transport::kLineHungUp) break;  // nothing more can arrive
      // With no deadline at all (a negative DelayTimes), a whole first-byte
      // wait without a byte ends the wait rather than running for ever.
      if (got == 0 && DelayTimes < 0) break;
      t += got;  // a failed read returns -1 and so takes one byte back
    }
    bCycle = elapsed() < deadline;
  }
  bCycle = true;
  // Settled only when the collection ended on the frame's own ETX.
  if (!(complete && t > 0 && In[t - 1] == ETX)) unsettled_ = true;
  return t;
}

// ===========================================================================
// The command exchange
// ===========================================================================

Exchanged Link::Exchange(unsigned char Cmd, int ReaderID, const Field& request, int DelayTimes,
                         int SleepTime, Answer& answer) {
  std::unique_lock<std::mutex> lock;
  if (owned_) {
    lock = std::unique_lock<std::mutex>(mutex_);
    // A cancel meant for an earlier wait, or sent while the link was idle,
    // does not touch this exchange.
    uint64_t drained;
    while (read(wait_.cancel_fd, &drained, sizeof drained) > 0) {
    }
    if (cancelled_.exchange(false)) unsettled_ = true;
  }
  last_answer_len_ = -1;
  wait_.last_errno = 0;
  if (request.overflowed()) {
    Fail(LinkFailure::kNotSent, "the command's data field is longer than a frame carries");
    return Exchanged::kNotSent;
  }
  Port* port = Active();
  if (port == nullptr) {
    Fail(LinkFailure::kNotOpen, "no link is open");
    return Exchanged::kNotSent;
  }
  unsigned char out[kMaxStuffedFrame];
  int n = BuildFrame(port->Shape(), Cmd, ReaderID, request.size(), request.data(), out);
  if (n < 0) {
    Fail(LinkFailure::kNotSent, "the command's data field is longer than a frame carries");
    return Exchanged::kNotSent;
  }
  if (port->Shape() != 3) Trace(1, out, n);
  if (port->Send(*this, out, n) <= 0) {
    int err = wait_.last_errno;
    if (port->Shape() == 2 && hid_->last_error() == LIBUSB_ERROR_NO_DEVICE)
      Fail(LinkFailure::kDeviceGone, "the USB reader is gone");
    else if (DeviceGone(err))
      Fail(LinkFailure::kDeviceGone, "the port is gone", err);
    else
      Fail(LinkFailure::kNotSent, "the command could not be sent", err);
    return Exchanged::kNotSent;
  }
  expect_ = Expect{matching_, Cmd, ReaderID & 0xFFFF};
  const uint64_t t0 = transport::MonotonicMs();
  unsigned char raw[kMaxRawAnswer];
  int got = port->Collect(*this, raw, DelayTimes, SleepTime);
  expect_ = Expect{};
  const unsigned long waited = static_cast<unsigned long>(transport::MonotonicMs() - t0);
  if (got <= 0) {
    char what[160];
    int err = wait_.last_errno;
    if (err == ECANCELED || cancelled_.load()) {
      Fail(LinkFailure::kCancelled, "the wait for the answer was cancelled");
    } else if (port->Shape() == 2 && hid_->last_error() == LIBUSB_ERROR_NO_DEVICE) {
      Fail(LinkFailure::kDeviceGone, "the USB reader is gone");
    } else if (DeviceGone(err)) {
      Fail(LinkFailure::kDeviceGone, "the port is gone", err);
    } else {
      snprintf(what, sizeof what, "no answer from the reader within %lu ms", waited);
      Fail(LinkFailure::kNoAnswer, what);
    }
    return Exchanged::kNothingRead;
  }
  Trace(0, raw, got);
  int reader = 0;
  unsigned char cmd = 0, status = 0;
  int m = DecodeAs(FaceID, reader, cmd, status, got, raw, answer.data);
  if (m < 0) {
    unsettled_ = true;
    char what[160];
    if (m == -2) {
      snprintf(what, sizeof what, "the answer's checksum is wrong (%d bytes)", got);
      Fail(LinkFailure::kChecksum, what);
    } else if (port->Shape() != 2 && got > 0 && raw[0] == STX && FrameEnd(raw, got, owned_) < 0) {
      snprintf(what, sizeof what, "the answer was cut off after %d bytes (%lu ms)", got, waited);
      Fail(LinkFailure::kCutOff, what);
    } else {
      snprintf(what, sizeof what, "the answer is malformed (%d bytes)", got);
      Fail(LinkFailure::kMalformed, what);
    }
    return Exchanged::kUndecodable;
  }
  // data[] beyond m stays zero: callers may read fixed-width fields.
  memset(answer.data + m, 0, static_cast<size_t>(kMaxAnswerData - m));
  answer.reader = reader;
  answer.cmd = cmd;
  answer.status = status;
  answer.len = m;
  last_answer_len_ = m;
  if (status != 0) {
    char what[80];
    snprintf(what, sizeof what, "the reader refused with status 0x%02X", status);
    Fail(LinkFailure::kRefused, what);
  } else {
    Fail(LinkFailure::kNone);
  }
  return Exchanged::kDecoded;
}

// ===========================================================================
// The current link
// ===========================================================================

Link& DefaultLink() {
  // Never destroyed: threads may still use it while the process exits.
  static Link* link = new Link(FaceID, h_Serial, CurrPort, msStart, bCycle, tmpLength, false);
  return *link;
}

static thread_local Link* t_current = nullptr;

Link& CurrentLink() { return t_current ? *t_current : DefaultLink(); }

Link* SetCurrentLink(Link* link) {
  Link* before = t_current;
  t_current = link;
  return before;
}

}  // namespace orvex
