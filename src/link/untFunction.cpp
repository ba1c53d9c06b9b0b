// SPDX-License-Identifier: MIT
// Frame codec, link state, answer wait and the command exchange.
#include "link/untFunction.h"

#include <sys/time.h>

#include "link/link.h"
#include "transport/PCComm.h"

namespace orvex {

// The process-wide link's variables (the process-wide Link object is bound
// to them).
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
  Link& link = CurrentLink();
  Port* port = link.Active();
  if (port == nullptr) return 0;
  unsigned char out[kMaxStuffedFrame];
  int n = BuildFrame(port->Shape(), Cmd, ReaderID, LenData, Data, out);
  if (n < 0) return -1;
  return port->Send(link, out, n);
}

static int XorOf(const unsigned char* p, int n) {
  unsigned char x = 0;
  for (int i = 0; i < n; ++i) x ^= p[i];
  return x;
}

int HID_DecodeByte_Receive(int& ReaderID, unsigned char& Cmd, unsigned char& Status, int LenIn,
                           unsigned char* In, unsigned char* Data) {
  // The length field is not compared with LenIn: LenIn is the byte count
  // the answer's reports declare themselves (each report's first byte), and
  // the checksum over all of it is what tells a damaged answer.
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
  return DecodeAs(CurrentLink().FaceID, ReaderID, Cmd, Status, LenIn, In, Data);
}

int DecodeAs(int faceId, int& ReaderID, unsigned char& Cmd, unsigned char& Status, int LenIn,
             unsigned char* In, unsigned char* Data) {
  switch (faceId) {
    case 1:
    case 3: return SerialDecode(ReaderID, Cmd, Status, LenIn, In, Data);
    case 2: return HID_DecodeByte_Receive(ReaderID, Cmd, Status, LenIn, In, Data);
    default: return -1;  // no link: nothing to decode
  }
}

// ===========================================================================
// Link state and the answer wait, on the current link
// ===========================================================================

int OpenPort_(int PortNumber, int Bound) { return CurrentLink().OpenSerialPort(PortNumber, Bound); }

int OpenPortDevice_(const char* DevicePath, int Bound) {
  return CurrentLink().OpenSerialDevice(DevicePath, Bound);
}

int AttachLine_(Line* line) { return CurrentLink().AttachLine(line); }

int ClosePort_() { return CurrentLink().CloseSerial(); }

int SendData_(unsigned char* Out, int LenOut) {
  Link& link = CurrentLink();
  link.tmpLength = 0;
  Port* port = link.Active();
  if (port == nullptr || port->Shape() == 2) return -1;
  return port->Send(link, Out, LenOut);
}

int ReadData_(int /*ReaderID*/, unsigned char* In, int DelayTimes, int SleepTime) {
  Link& link = CurrentLink();
  Port* port = link.Active();
  if (port == nullptr) return link.FaceID;  // no link: 0
  return port->Collect(link, In, DelayTimes, SleepTime);
}

// ===========================================================================
// The command exchange
// ===========================================================================

Exchanged Exchange(unsigned char Cmd, int ReaderID, const Field& request, int DelayTimes,
                   int SleepTime, Answer& answer) {
  return CurrentLink().Exchange(Cmd, ReaderID, request, DelayTimes, SleepTime, answer);
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

int HID_OpenUSBPort_(int VID, int PID) { return orvex::CurrentLink().OpenUsb(VID, PID); }

int HID_ClosePort_() { return orvex::CurrentLink().CloseUsb(); }
