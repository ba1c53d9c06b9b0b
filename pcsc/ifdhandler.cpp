// SPDX-License-Identifier: MIT
// libifd_orvex.so: the pcsc-lite IFD handler (interface version 3) for
// Orvex readers. A thin shell: it keeps one orvex_ifd::Reader per reader
// pcscd opens (the high 16 bits of the Lun; the low 16 are the slot) and
// turns each IFDH* call into a call on it. Only the IFDH* functions are
// exported.
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>

#include "config.h"
#include "device_name.h"
#include "ifd.h"
#include "orvex_reader.h"

#define IFD_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

using orvex_ifd::Bytes;
using orvex_ifd::Reader;

struct Channel {
  std::shared_ptr<Reader> reader;
  int opens = 0;  // one per slot pcscd opened
};

std::mutex g_mu;
std::map<DWORD, Channel> g_channels;

// pcscd's readers: at most this many at once (its PCSCLITE_MAX_READERS_CONTEXTS).
constexpr UCHAR kSimultaneousReaders = 16;

DWORD ReaderOf(DWORD lun) { return lun >> 16; }
int SlotOf(DWORD lun) { return static_cast<int>(lun & 0xFFFF); }

std::shared_ptr<Reader> Find(DWORD lun) {
  std::lock_guard<std::mutex> lock(g_mu);
  auto it = g_channels.find(ReaderOf(lun));
  if (it == g_channels.end() || SlotOf(lun) >= Reader::kSlots) return nullptr;
  return it->second.reader;
}

void Log(const std::string& what) { std::fprintf(stderr, "ifd-orvex: %s\n", what.c_str()); }

RESPONSECODE OpenChannel(DWORD lun, const std::string& connection) {
  if (SlotOf(lun) >= Reader::kSlots) return IFD_COMMUNICATION_ERROR;
  {
    // The SAM slots of a reader already open share its link.
    std::lock_guard<std::mutex> lock(g_mu);
    auto it = g_channels.find(ReaderOf(lun));
    if (it != g_channels.end()) {
      ++it->second.opens;
      return IFD_SUCCESS;
    }
  }
  orvex_ifd::Config config = orvex_ifd::LoadConfig();
  if (!config.problems.empty()) Log(config.source + ": " + config.problems);
  auto reader = std::make_shared<Reader>(config);
  std::string error;
  if (!reader->Open(connection, error)) {
    Log("cannot open the reader " + error);
    return IFD_COMMUNICATION_ERROR;
  }
  std::lock_guard<std::mutex> lock(g_mu);
  Channel& c = g_channels[ReaderOf(lun)];
  if (!c.reader) c.reader = reader;
  ++c.opens;
  return IFD_SUCCESS;
}

RESPONSECODE PutBytes(const Bytes& b, PUCHAR out, PDWORD length) {
  if (b.size() > *length) {
    *length = 0;
    return IFD_ERROR_INSUFFICIENT_BUFFER;
  }
  if (!b.empty()) std::memcpy(out, b.data(), b.size());
  *length = static_cast<DWORD>(b.size());
  return IFD_SUCCESS;
}

RESPONSECODE PutByte(UCHAR v, PUCHAR out, PDWORD length) { return PutBytes(Bytes{v}, out, length); }

template <class F>
RESPONSECODE PutFunction(F* f, PUCHAR out, PDWORD length) {
  if (*length < sizeof f) return IFD_ERROR_INSUFFICIENT_BUFFER;
  std::memcpy(out, &f, sizeof f);
  *length = sizeof f;
  return IFD_SUCCESS;
}

// pcscd's polling thread of a slot calls this (TAG_IFD_POLLING_THREAD_WITH_TIMEOUT)
// and asks the slot's presence when it returns.
RESPONSECODE Polling(DWORD Lun, int timeout_ms) {
  auto reader = Find(Lun);
  if (!reader) return IFD_COMMUNICATION_ERROR;
  reader->WaitForChange(SlotOf(Lun), timeout_ms);
  return IFD_SUCCESS;
}

// ... and this to end it (TAG_IFD_STOP_POLLING_THREAD).
RESPONSECODE StopPolling(DWORD Lun) {
  if (auto reader = Find(Lun)) reader->StopWaiting(SlotOf(Lun));
  return IFD_SUCCESS;
}

}  // namespace

IFD_EXPORT RESPONSECODE IFDHCreateChannelByName(DWORD Lun, LPSTR DeviceName) {
  if (!DeviceName) return IFD_COMMUNICATION_ERROR;
  std::string connection, error;
  if (!orvex_ifd::ConnectionFromDeviceName(DeviceName, connection, error)) {
    Log(error);
    return IFD_NO_SUCH_DEVICE;
  }
  return OpenChannel(Lun, connection);
}

IFD_EXPORT RESPONSECODE IFDHCreateChannel(DWORD Lun, DWORD Channel) {
  std::string connection;
  if (!orvex_ifd::ConnectionFromChannel(Channel, connection)) {
    Log("channel " + std::to_string(Channel) + " is no serial port; give DEVICENAME");
    return IFD_NO_SUCH_DEVICE;
  }
  return OpenChannel(Lun, connection);
}

IFD_EXPORT RESPONSECODE IFDHCloseChannel(DWORD Lun) {
  std::shared_ptr<Reader> last;  // closed outside the lock
  std::lock_guard<std::mutex> lock(g_mu);
  auto it = g_channels.find(ReaderOf(Lun));
  if (it == g_channels.end()) return IFD_SUCCESS;
  if (--it->second.opens <= 0) {
    last = std::move(it->second.reader);
    g_channels.erase(it);
  }
  return IFD_SUCCESS;
}

IFD_EXPORT RESPONSECODE IFDHGetCapabilities(DWORD Lun, DWORD Tag, PDWORD Length, PUCHAR Value) {
  if (!Length || !Value) return IFD_COMMUNICATION_ERROR;
  switch (Tag) {
    case TAG_IFD_SLOTS_NUMBER: return PutByte(Reader::kSlots, Value, Length);
    case TAG_IFD_SIMULTANEOUS_ACCESS: return PutByte(kSimultaneousReaders, Value, Length);
    // Readers run in parallel, each on its own link; the slots of one
    // reader share its link and must take turns.
    case TAG_IFD_THREAD_SAFE: return PutByte(1, Value, Length);
    case TAG_IFD_SLOT_THREAD_SAFE: return PutByte(0, Value, Length);
    case TAG_IFD_ATR:
    case SCARD_ATTR_ATR_STRING: {
      auto reader = Find(Lun);
      if (!reader) return IFD_COMMUNICATION_ERROR;
      return PutBytes(reader->Atr(SlotOf(Lun)), Value, Length);
    }
    case TAG_IFD_POLLING_THREAD_WITH_TIMEOUT: return PutFunction(&Polling, Value, Length);
    case TAG_IFD_STOP_POLLING_THREAD: return PutFunction(&StopPolling, Value, Length);
    case SCARD_ATTR_VENDOR_NAME: {
      static const char kVendor[] = "Orvex";
      return PutBytes(Bytes(kVendor, kVendor + sizeof kVendor - 1), Value, Length);
    }
    default: return IFD_ERROR_TAG;
  }
}

IFD_EXPORT RESPONSECODE IFDHSetCapabilities(DWORD /*Lun*/, DWORD Tag, DWORD /*Length*/, PUCHAR /*Value*/) {
  switch (Tag) {
    case TAG_IFD_SLOTS_NUMBER:
    case TAG_IFD_SIMULTANEOUS_ACCESS:
    case TAG_IFD_THREAD_SAFE:
    case TAG_IFD_SLOT_THREAD_SAFE:
    case TAG_IFD_ATR: return IFD_ERROR_VALUE_READ_ONLY;
    default: return IFD_ERROR_TAG;
  }
}

IFD_EXPORT RESPONSECODE IFDHSetProtocolParameters(DWORD Lun, DWORD Protocol, UCHAR /*Flags*/, UCHAR /*PTS1*/,
                                                  UCHAR /*PTS2*/, UCHAR /*PTS3*/) {
  if (!Find(Lun)) return IFD_COMMUNICATION_ERROR;
  // The reader runs the card's protocol itself (ISO 14443-4 in the field,
  // the SAM's in its slot); there is nothing to negotiate from here.
  if (Protocol == SCARD_PROTOCOL_T0 || Protocol == SCARD_PROTOCOL_T1) return IFD_SUCCESS;
  return IFD_PROTOCOL_NOT_SUPPORTED;
}

IFD_EXPORT RESPONSECODE IFDHPowerICC(DWORD Lun, DWORD Action, PUCHAR Atr, PDWORD AtrLength) {
  auto reader = Find(Lun);
  if (!reader) return IFD_COMMUNICATION_ERROR;
  Bytes atr;
  RESPONSECODE rc = reader->Power(SlotOf(Lun), Action, atr);
  if (!Atr || !AtrLength) return rc;
  if (rc != IFD_SUCCESS) {
    *AtrLength = 0;
    return rc;
  }
  if (atr.size() > *AtrLength) atr.resize(*AtrLength);
  return PutBytes(atr, Atr, AtrLength);
}

IFD_EXPORT RESPONSECODE IFDHTransmitToICC(DWORD Lun, SCARD_IO_HEADER SendPci, PUCHAR TxBuffer, DWORD TxLength,
                                          PUCHAR RxBuffer, PDWORD RxLength, PSCARD_IO_HEADER RecvPci) {
  auto reader = Find(Lun);
  if (!reader || !TxBuffer || !RxBuffer || !RxLength) return IFD_COMMUNICATION_ERROR;
  Bytes response;
  RESPONSECODE rc = reader->Transmit(SlotOf(Lun), Bytes(TxBuffer, TxBuffer + TxLength), response);
  if (rc != IFD_SUCCESS) {
    *RxLength = 0;
    return rc;
  }
  if (RecvPci) *RecvPci = SendPci;
  return PutBytes(response, RxBuffer, RxLength);
}

IFD_EXPORT RESPONSECODE IFDHControl(DWORD Lun, DWORD dwControlCode, PUCHAR TxBuffer, DWORD TxLength,
                                    PUCHAR RxBuffer, DWORD RxLength, LPDWORD pdwBytesReturned) {
  auto reader = Find(Lun);
  if (!reader || !pdwBytesReturned) return IFD_COMMUNICATION_ERROR;
  *pdwBytesReturned = 0;
  Bytes in;
  if (TxBuffer && TxLength) in.assign(TxBuffer, TxBuffer + TxLength);
  Bytes out;
  RESPONSECODE rc = reader->Control(SlotOf(Lun), dwControlCode, in, out);
  if (rc != IFD_SUCCESS) return rc;
  if (out.size() > RxLength || (!out.empty() && !RxBuffer)) return IFD_ERROR_INSUFFICIENT_BUFFER;
  if (!out.empty()) std::memcpy(RxBuffer, out.data(), out.size());
  *pdwBytesReturned = static_cast<DWORD>(out.size());
  return IFD_SUCCESS;
}

IFD_EXPORT RESPONSECODE IFDHICCPresence(DWORD Lun) {
  auto reader = Find(Lun);
  if (!reader) return IFD_COMMUNICATION_ERROR;
  return reader->Presence(SlotOf(Lun));
}
