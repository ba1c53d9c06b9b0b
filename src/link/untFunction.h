// SPDX-License-Identifier: MIT
// Reader link: the frame codec, the process-wide link state, the answer wait
// and the command exchange that every reader and card command goes through.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "orvex.h"

namespace orvex {

// ---- Frame limits ----------------------------------------------------------
// The longest data field any command sends: the display reader's full-screen
// image (sub-command + 5 header bytes + 1024 bitmap bytes) and the card
// application's user-file write (1 + 1026) both fit.
constexpr int kMaxDataField = 1040;
// An unstuffed serial frame: STX, length (2), reader (2), command, data,
// checksum, ETX; an answer adds the status byte.
constexpr int kMaxFrame = kMaxDataField + 9;
// Stuffing can double every byte between STX and ETX.
constexpr int kMaxStuffedFrame = 2 * kMaxFrame;
// Raw bytes collected for one answer (DataRead), and decoded answer data.
constexpr int kMaxRawAnswer = kMaxStuffedFrame;
constexpr int kMaxAnswerData = kMaxDataField;
// The header promises every "all answer bytes" output at most
// ORVEX_MAX_ANSWER bytes: that is the decoded answer buffer and the longest
// data field a frame carries either way, and a whole answer frame, stuffed at
// worst, fits the bytes collected for it.
static_assert(ORVEX_MAX_ANSWER == kMaxAnswerData, "ORVEX_MAX_ANSWER is the answer data buffer");
static_assert(ORVEX_MAX_ANSWER == kMaxDataField, "ORVEX_MAX_ANSWER is the longest data field");
static_assert(kMaxRawAnswer >= 2 * (ORVEX_MAX_ANSWER + 9), "a stuffed answer frame fits the raw buffer");

constexpr unsigned char STX = 0x02;
constexpr unsigned char ETX = 0x03;
constexpr unsigned char DLE = 0x10;

// ---- Link state --------------------------------------------------------------
// The process-wide link's variables. Every function below acts on the current
// link (link/link.h): the process-wide one unless the thread made a link of
// the application's own current.
// FaceID: 0 none, 1 serial, 2 USB HID, 3 serial with the reader number fixed
// at 00 01 (understood by the codec and the answer wait, set by no operation).
extern int FaceID;
extern int h_Serial;
extern int CurrPort;
extern unsigned long msStart;
extern bool bCycle;
extern int tmpLength;

// ---- Frame codec -------------------------------------------------------------
// Stuffs In (first and last byte exempt) into Out; returns the stuffed length.
// Out must hold 2 * LenIn bytes.
int ConvertData(int LenIn, unsigned char* In, unsigned char* Out);
// Removes the escapes from In into Out; returns the unstuffed length.
int De_ConvertData(int LenIn, unsigned char* In, unsigned char* Out);
// Frames and transmits one command on the current link. With FaceID 1 the
// bytes written or -1; FaceID 2 the HID write result; FaceID 3 builds the frame
// and returns 3 without sending; FaceID 0 returns 0. A data field longer than
// kMaxDataField (or negative) is refused with -1 and nothing is sent.
int CombineByte_Send(unsigned char Cmd, int ReaderID, int LenData, unsigned char* Data);
// Builds the frame CombineByte_Send would transmit into Out (kMaxStuffedFrame
// bytes) for the given link kind; returns its length, or -1 if refused.
int BuildFrame(int faceId, unsigned char Cmd, int ReaderID, int LenData, const unsigned char* Data,
               unsigned char* Out);
// Decodes the raw answer In[0..LenIn-1] for the current link kind. Data must
// hold kMaxAnswerData bytes. Returns the answer data length, -1 for a length
// mismatch (serial), an answer larger than the buffers or no link, -2 for a
// checksum error. On a negative result no output is written.
int DecodeByte_Receive(int& ReaderID, unsigned char& Cmd, unsigned char& Status, int LenIn,
                       unsigned char* In, unsigned char* Data);
// Decodes as the link kind faceId would (1 or 3 serial, 2 USB HID).
int DecodeAs(int faceId, int& ReaderID, unsigned char& Cmd, unsigned char& Status, int LenIn,
             unsigned char* In, unsigned char* Data);
// The HID-shape decoding alone, whatever the link kind.
int HID_DecodeByte_Receive(int& ReaderID, unsigned char& Cmd, unsigned char& Status, int LenIn,
                           unsigned char* In, unsigned char* Data);

// ---- An in-process serial line ----------------------------------------------------
// Stands in for the serial port without a device: fuzzers feed answers from
// their input, benchmarks measure the library's own cost. Everything above
// the port (framing, the answer wait, decoding) runs unchanged.
class Line {
 public:
  virtual ~Line() = default;
  // Writes a whole command frame: n, or -1.
  virtual int Write(const unsigned char* p, int n) = 0;
  // Delivers answer bytes: what is there within timeout_ms (the first read
  // of an answer waits the first-byte timeout), 0 for nothing yet, -1 for an
  // error, transport::kLineHungUp when nothing more can come.
  virtual int Read(unsigned char* p, int capacity, int timeout_ms) = 0;
};
// Makes line the current link's serial link (FaceID 1), closing an open
// serial port first; nullptr closes it again. Returns 1.
int AttachLine_(Line* line);

// ---- Link operations -----------------------------------------------------------
int OpenPort_(int PortNumber, int Bound);
// Opens a device path with the raw line settings and the exclusive lock (the
// open behind OV_ComInitialDevice). 1 or 0.
int OpenPortDevice_(const char* DevicePath, int Bound);
int ClosePort_();
int SendData_(unsigned char* Out, int LenOut);
// Collects one answer into In (kMaxRawAnswer bytes) within DelayTimes x 100 ms
// on serial (after the first byte), or from up to five HID reports with
// SleepTime ms pauses. Returns the raw byte count.
int ReadData_(int ReaderID, unsigned char* In, int DelayTimes, int SleepTime);

// ---- The command exchange ---------------------------------------------------------

// The one byte builder: bytes appended in order into a buffer of Capacity
// bytes, every value as its low 8 bits. Appends past the capacity are counted
// but not written and mark the bytes as overflowed; overflowed bytes are
// never sent. Self is the builder that derives from it, so that its own
// appenders chain with these.
template <typename Self, int Capacity>
class ByteWriter {
 public:
  Self& u8(int v) {
    if (len_ < Capacity) buf_[len_] = static_cast<unsigned char>(v);
    ++len_;
    return self();
  }
  Self& u16be(int v) { return u8(v >> 8).u8(v); }
  Self& u16le(int v) { return u8(v).u8(v >> 8); }
  Self& u32le(uint32_t v) { return u8(v).u8(v >> 8).u8(v >> 16).u8(v >> 24); }
  Self& u32be(uint32_t v) { return u8(v >> 24).u8(v >> 16).u8(v >> 8).u8(v); }
  // n bytes of p (nothing when n <= 0).
  Self& bytes(const unsigned char* p, int n) {
    for (int i = 0; i < n; ++i) u8(p[i]);
    return self();
  }
  // n copies of v.
  Self& fill(int v, int n) {
    for (int i = 0; i < n; ++i) u8(v);
    return self();
  }
  int size() const { return len_; }
  bool overflowed() const { return len_ > Capacity; }
  unsigned char* data() { return buf_; }
  const unsigned char* data() const { return buf_; }

 private:
  Self& self() { return static_cast<Self&>(*this); }
  unsigned char buf_[Capacity] = {};
  int len_ = 0;
};

// A request data field under construction: at most kMaxDataField bytes.
class Field : public ByteWriter<Field, kMaxDataField> {};

// Answer bytes: the data of one decoded answer, or the card's response a
// carrier hands over from behind the echo. data[] is zero beyond len, so a
// fixed-width field read from a short answer yields zeros, never bytes of
// another exchange.
struct AnswerBytes {
  int len = 0;  // answer data length m
  unsigned char data[kMaxAnswerData] = {};

  unsigned char at(int i) const { return (i >= 0 && i < kMaxAnswerData) ? data[i] : 0; }
  int u16be(int i) const { return at(i) << 8 | at(i + 1); }
  int u16le(int i) const { return at(i) | at(i + 1) << 8; }
  uint32_t u32le(int i) const {
    return static_cast<uint32_t>(u16le(i)) | static_cast<uint32_t>(u16le(i + 2)) << 16;
  }
  // The count of answer bytes from offset to the end of the answer (0 when
  // the answer ends before offset).
  int From(int offset) const { return len > offset ? len - offset : 0; }
  // The one bounded copy: count bytes starting at offset into dst, but never
  // more than room (what dst holds) and never past the end of the buffer;
  // returns the bytes copied. Bytes between len and the buffer's end are the
  // zeros behind the answer: callers that hand over only what the reader
  // sent pass a count no larger than From(offset).
  int CopyTo(unsigned char* dst, int offset, int count, int room = kMaxAnswerData) const {
    if (offset < 0 || offset >= kMaxAnswerData) return 0;
    if (count > room) count = room;
    if (count > kMaxAnswerData - offset) count = kMaxAnswerData - offset;
    if (count <= 0) return 0;
    std::memcpy(dst, data + offset, static_cast<size_t>(count));
    return count;
  }
};

// A decoded answer: the reader number, command and status byte of the
// frame, and its data.
struct Answer : AnswerBytes {
  int reader = 0;
  unsigned char cmd = 0;
  unsigned char status = 0;
};

// How one exchange ended.
enum class Exchanged {
  kDecoded,      // a well-formed answer came; its status is in Answer::status
  kNotSent,      // no link, the frame could not be sent, or the field overflowed
  kNothingRead,  // the answer wait collected nothing
  kUndecodable,  // the bytes collected did not decode (length, checksum, size)
};

// One command exchange: frame and send Cmd with the data field, collect the
// answer within DelayTimes x 100 ms (SleepTime ms HID pauses), decode it.
Exchanged Exchange(unsigned char Cmd, int ReaderID, const Field& request, int DelayTimes,
                   int SleepTime, Answer& answer);

// The usual result of a command: 1 when the reader carried it out (status 0),
// -3 when it refused (status != 0), -1 for any link failure. NoAnswer is the
// result for "nothing read" (some commands report -2 there).
int Transact(unsigned char Cmd, int ReaderID, const Field& request, int DelayTimes, Answer& answer,
             int SleepTime = 20, int NoAnswer = -1);

}  // namespace orvex
