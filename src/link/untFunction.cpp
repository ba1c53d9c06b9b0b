// Frame codec, link state, answer wait and the command exchange.
#include "link/untFunction.h"

#include <sys/time.h>
#include <termios.h>

#include "transport/PCComm.h"

namespace orvex {

static Line* g_line = nullptr;  // an in-process line in place of the port
// The serial line may still hold input that belongs to no command: the last
// answer wait did not end on the last byte of a whole frame, or what it
// collected did not decode. Opening the port discards pending input itself.
static bool g_lineUnsettled = false;

int FaceID = 0;
int h_Serial = 0;
int CurrPort = 0;
unsigned long msStart = 0;
bool bCycle = true;
int tmpLength = 0;

// ===========================================================================
// Frame codec
// ===========================================================================

static bool NeedsEscape(unsigned char b) { return b == STX || b == ETX || b == DLE; }

int ConvertData(int LenIn, unsigned char* In, unsigned char* Out) {
  if (LenIn <= 0) return 0;
  int o = 0;
  Out[o++] = In[0];
  for (int i = 1; i < LenIn - 1; ++i) {
    if (NeedsEscape(In[i])) Out[o++] = DLE;
    Out[o++] = In[i];
  }
  if (LenIn > 1) Out[o++] = In[LenIn - 1];
  return o;
}

int De_ConvertData(int LenIn, unsigned char* In, unsigned char* Out) {
  if (LenIn <= 0) return 0;
  int o = 0;
  Out[o++] = In[0];
  bool dropped = false;  // the previous byte was an escape we dropped
  for (int i = 1; i < LenIn - 1; ++i) {
    if (In[i] == DLE && !dropped) {
      dropped = true;
      continue;
    }
    Out[o++] = In[i];
    dropped = false;
  }
  if (LenIn > 1) Out[o++] = In[LenIn - 1];
  return o;
}

int BuildFrame(int faceId, unsigned char Cmd, int ReaderID, int LenData, const unsigned char* Data,
               unsigned char* Out) {
  if (LenData < 0 || LenData > kMaxDataField) return -1;
  unsigned char frame[kMaxFrame];
  const bool serial = (faceId == 1 || faceId == 3);
  int n = 0;
  if (serial) frame[n++] = STX;
  const int lenPos = n;
  n += 2;
  unsigned char r1 = static_cast<unsigned char>(ReaderID >> 8);
  unsigned char r2 = static_cast<unsigned char>(ReaderID);
  if (faceId == 3) {
    r1 = 0x00;
    r2 = 0x01;
  }
  frame[n++] = r1;
  frame[n++] = r2;
  frame[n++] = Cmd;
  unsigned char sum = static_cast<unsigned char>(r1 ^ r2 ^ Cmd);
  for (int i = 0; i < LenData; ++i) {
    frame[n++] = Data[i];
    sum ^= Data[i];
  }
  // The length counts every byte between STX and ETX: length field, reader
  // number, command, data and checksum (n + 6 in both shapes).
  const int length = LenData + 6;
  frame[lenPos] = static_cast<unsigned char>(length >> 8);
  frame[lenPos + 1] = static_cast<unsigned char>(length);
  sum ^= frame[lenPos] ^ frame[lenPos + 1];
  frame[n++] = sum;
  if (!serial) {
    std::memcpy(Out, frame, static_cast<size_t>(n));
    return n;
  }
  frame[n++] = ETX;
  return ConvertData(n, frame, Out);
}

int CombineByte_Send(unsigned char Cmd, int ReaderID, int LenData, unsigned char* Data) {
  if (FaceID != 1 && FaceID != 2 && FaceID != 3) return 0;
  unsigned char out[kMaxStuffedFrame];
  int n = BuildFrame(FaceID, Cmd, ReaderID, LenData, Data, out);
  if (n < 0) return -1;
  switch (FaceID) {
    case 1: return SendData_(out, n);
    case 2: return transport::HID_WriteData(out, n);
    default: return 3;  // built and stuffed, deliberately not transmitted
  }
}

static int XorOf(const unsigned char* p, int n) {
  unsigned char x = 0;
  for (int i = 0; i < n; ++i) x ^= p[i];
  return x;
}

int HID_DecodeByte_Receive(int& ReaderID, unsigned char& Cmd, unsigned char& Status, int LenIn,
                           unsigned char* In, unsigned char* Data) {
  // The length field is read but deliberately not compared with LenIn.
  if (LenIn < 7 || LenIn > kMaxRawAnswer) return -1;
  if (LenIn - 7 > kMaxAnswerData) return -1;
  if (XorOf(In, LenIn) != 0) return -2;
  ReaderID = In[2] << 8 | In[3];
  Cmd = In[4];
  Status = In[5];
  int m = LenIn - 7;
  std::memcpy(Data, In + 6, static_cast<size_t>(m));
  return m;
}

static int SerialDecode(int& ReaderID, unsigned char& Cmd, unsigned char& Status, int LenIn,
                        unsigned char* In, unsigned char* Data) {
  if (LenIn <= 0 || LenIn > kMaxRawAnswer) return -1;
  unsigned char out[kMaxRawAnswer];
  int L = De_ConvertData(LenIn, In, out);
  // Too short to hold a frame, or a length field that disagrees with what
  // arrived (a frame cut short, extra bytes, a stuffing error).
  if (L < 9) return -1;
  if (L != (out[1] << 8 | out[2]) + 2) return -1;
  if (XorOf(out + 1, L - 2) != 0) return -2;
  int m = L - 9;
  if (m > kMaxAnswerData) return -1;
  ReaderID = out[3] << 8 | out[4];
  Cmd = out[5];
  Status = out[6];
  std::memcpy(Data, out + 7, static_cast<size_t>(m));
  return m;
}

int DecodeByte_Receive(int& ReaderID, unsigned char& Cmd, unsigned char& Status, int LenIn,
                       unsigned char* In, unsigned char* Data) {
  switch (FaceID) {
    case 1:
    case 3: return SerialDecode(ReaderID, Cmd, Status, LenIn, In, Data);
    case 2: return HID_DecodeByte_Receive(ReaderID, Cmd, Status, LenIn, In, Data);
    default: return -1;  // no link: nothing to decode
  }
}

// ===========================================================================
// Link state
// ===========================================================================

static int SetSerial(int fd) {
  h_Serial = fd;
  if (h_Serial > 0) {
    FaceID = 1;
    g_lineUnsettled = true;  // whatever came since the open is nobody's answer
    return 1;
  }
  return 0;
}

int OpenPort_(int PortNumber, int Bound) {
  CurrPort = PortNumber;
  if (h_Serial > 0 || g_line) ClosePort_();
  return SetSerial(transport::OpenPort(PortNumber, Bound));
}

int OpenPortDevice_(const char* DevicePath, int Bound) {
  if (h_Serial > 0 || g_line) ClosePort_();
  if (DevicePath == nullptr) return 0;
  return SetSerial(transport::OpenPortPath(DevicePath, Bound));
}

int AttachLine_(Line* line) {
  ClosePort_();
  g_line = line;
  if (line) FaceID = 1;
  return 1;
}

int ClosePort_() {
  g_line = nullptr;
  if (h_Serial > 0) transport::ClosePort(h_Serial);
  h_Serial = 0;
  FaceID = 0;
  return 1;
}

int SendData_(unsigned char* Out, int LenOut) {
  tmpLength = 0;
  if (g_line) return g_line->Write(Out, LenOut);
  if (h_Serial <= 0) return -1;
  // Whatever still waits on the line after an exchange that went wrong (the
  // tail of a flood, an answer that came after its deadline) belongs to no
  // command: drop it, so the answer collected next is the answer to this
  // command. After a clean exchange the line is left alone: the flush is a
  // system call on every command, a tenth of a round trip on a fast line.
  if (g_lineUnsettled) tcflush(h_Serial, TCIFLUSH);
  g_lineUnsettled = false;
  return transport::WriteData(h_Serial, Out, LenOut);
}

// True when the t bytes collected hold a whole serial frame: they start with
// STX and contain an ETX not preceded by DLE. Deliberately this simple test:
// a frame ending in an escaped DLE (10 10 03) is not recognised, and the wait
// runs on to its deadline.
static bool FrameComplete(const unsigned char* In, int t) {
  if (t <= 0 || In[0] != STX) return false;
  for (int i = 1; i < t; ++i)
    if (In[i] == ETX && In[i - 1] != DLE) return true;
  return false;
}

// Milliseconds elapsed since msStart, as the unsigned 64-bit difference of
// the sign-extended 32-bit tick counts (a wrap of the tick count ends a wait).
static uint64_t ElapsedMs() {
  int64_t now = static_cast<int64_t>(GetTickCount());
  return static_cast<uint64_t>(now) - static_cast<uint64_t>(msStart);
}

static int SerialCollect(unsigned char* In, int DelayTimes) {
  int t = 0;
  if (FaceID == 1) {
    t = g_line ? g_line->Read(In, kMaxRawAnswer, transport::g_FirstByteTimeoutMs)
               : transport::ReadDataInto(h_Serial, In, kMaxRawAnswer);
    if (t == transport::kLineHungUp) t = -1;
  }
  bCycle = true;
  msStart = static_cast<unsigned long>(static_cast<int64_t>(GetTickCount()));
  const uint64_t deadline = static_cast<uint64_t>(static_cast<int64_t>(DelayTimes) * 100);
  bool complete = false;
  while (!complete && bCycle) {
    complete = FrameComplete(In, t);
    if (!complete && FaceID != 3) {
      if (t < 0) t = 0;  // a failed read must not move the next one before In
      if (t >= kMaxRawAnswer) break;  // the buffer is full and holds no frame
      // Follow-up reads honour what is left of the deadline (at most the
      // first-byte timeout when the deadline is unbounded).
      uint64_t elapsed = ElapsedMs();
      uint64_t left = elapsed < deadline ? deadline - elapsed : 0;
      if (left > static_cast<uint64_t>(transport::g_FirstByteTimeoutMs))
        left = static_cast<uint64_t>(transport::g_FirstByteTimeoutMs);
      int got = g_line ? g_line->Read(In + t, kMaxRawAnswer - t, static_cast<int>(left))
                       : transport::ReadDataWithin(h_Serial, In + t,
                                                   static_cast<size_t>(kMaxRawAnswer - t),
                                                   static_cast<int>(left));
      if (got == transport::kLineHungUp) break;  // nothing more can arrive
      // With no deadline at all (a negative DelayTimes), a whole first-byte
      // wait without a byte ends the wait rather than running for ever.
      if (got == 0 && DelayTimes < 0) break;
      t += got;  // a failed read returns -1 and so takes one byte back
    }
    bCycle = ElapsedMs() < deadline;
  }
  bCycle = true;
  // Settled only when the collection ended on the frame's own ETX.
  g_lineUnsettled = !(complete && t > 0 && In[t - 1] == ETX);
  return t;
}

int ReadData_(int /*ReaderID*/, unsigned char* In, int DelayTimes, int SleepTime) {
  switch (FaceID) {
    case 2: {
      int len = 0;
      int r = transport::HID_ReadData(In, len, DelayTimes, SleepTime);
      return r < 0 ? 0 : r;  // no device open: nothing collected
    }
    case 1:
    case 3: return SerialCollect(In, DelayTimes);
    default: return FaceID;  // no link: 0
  }
}

// ===========================================================================
// The command exchange
// ===========================================================================

Exchanged Exchange(unsigned char Cmd, int ReaderID, const Field& request, int DelayTimes,
                   int SleepTime, Answer& answer) {
  if (request.overflowed()) return Exchanged::kNotSent;
  if (CombineByte_Send(Cmd, ReaderID, request.size(), const_cast<unsigned char*>(request.data())) <= 0)
    return Exchanged::kNotSent;
  unsigned char raw[kMaxRawAnswer];
  int n = ReadData_(ReaderID, raw, DelayTimes, SleepTime);
  if (n <= 0) return Exchanged::kNothingRead;
  int reader = 0;
  unsigned char cmd = 0, status = 0;
  int m = DecodeByte_Receive(reader, cmd, status, n, raw, answer.data);
  if (m < 0) {
    g_lineUnsettled = true;
    return Exchanged::kUndecodable;
  }
  // data[] beyond m stays zero: callers may read fixed-width fields.
  std::memset(answer.data + m, 0, static_cast<size_t>(kMaxAnswerData - m));
  answer.reader = reader;
  answer.cmd = cmd;
  answer.status = status;
  answer.len = m;
  return Exchanged::kDecoded;
}

int Transact(unsigned char Cmd, int ReaderID, const Field& request, int DelayTimes, Answer& answer,
             int SleepTime, int NoAnswer) {
  switch (Exchange(Cmd, ReaderID, request, DelayTimes, SleepTime, answer)) {
    case Exchanged::kDecoded: return answer.status == 0 ? 1 : -3;
    case Exchanged::kNothingRead: return NoAnswer;
    default: return -1;
  }
}

}  // namespace orvex

// ===========================================================================
// Exported link functions
// ===========================================================================

int GetTickCount() {
  struct timeval tv;
  gettimeofday(&tv, nullptr);
  uint32_t ms = static_cast<uint32_t>(tv.tv_sec) * 1000u + static_cast<uint32_t>(tv.tv_usec / 1000);
  return static_cast<int>(ms);
}

int HID_OpenUSBPort_(int VID, int PID) {
  orvex::transport::HID_ClosePort();
  int r = orvex::transport::HID_OpenPort(VID, PID, -1);
  if (r > 0) orvex::FaceID = 2;
  return r;
}

int HID_ClosePort_() {
  orvex::FaceID = 0;
  return orvex::transport::HID_ClosePort();
}
