// SPDX-License-Identifier: MIT
#include "orvexsim/trace.h"

#include <cstdio>

#include "orvexsim/frame.h"

namespace orvexsim {
namespace {

std::string ReaderCommand(uint8_t cmd) {
  switch (cmd) {
    case 0x01: return "ChangeBound";
    case 0x02: return "SetReaderID";
    case 0x03: return "GetReaderID";
    case 0x04: return "GetReaderVersion";
    case 0x05: return "GetReaderSerial";
    case 0x06: return "Buzzer";
    case 0x07: return "Led";
    case 0x08: return "GetReaderNo";
    case 0x09: return "LEDDisplay";
    case 0x0F: return "Param";
    case 0x20: return "SearchCardMode";
    case 0x21: return "AntennaStatus";
    case 0x22: return "RequestCard";
    case 0x23: return "AntiCollide";
    case 0x24: return "AntiCollideAndSelect";
    case 0x25: return "CardSelect";
    case 0x26: return "CardHalt";
    case 0x27: return "KeyDownAuthorization";
    case 0x28: return "KeyAuthorization";
    case 0x29: return "ReadBlock";
    case 0x2A: return "WriteBlock";
    case 0x2B: return "PurseInitial";
    case 0x2C: return "PurseRead";
    case 0x2D: return "PurseDecrease";
    case 0x2E: return "PurseCharge";
    case 0x2F: return "Restore";
    case 0x30: return "Transfer";
    case 0x31: return "TypeAReset";
    case 0x32: return "CardAPDU";
    case 0x34: return "UltraLightWrite";
    case 0x35: return "ReadMultiBlock";
    case 0x36: return "WriteMultiBlock";
    case 0x37: return "DownLoadKey";
    case 0x38: return "RequestAntiAndSelect";
    case 0x39: return "AntiCollideLevel";
    case 0x3A: return "SelectCardLevel";
    case 0x3F: return "WriteBlock0";
    case 0x40: return "TypeBReset";
    case 0x41: return "TypeBHalt";
    case 0x42: return "AT88RF020Check";
    case 0x43: return "AT88RF020Read";
    case 0x44: return "AT88RF020Write";
    case 0x45: return "AT88RF020Lock";
    case 0x46: return "AT88RF020Count";
    case 0x47: return "AT88RF020DeSel";
    case 0x48: return "AT88RF020ReadMulti";
    case 0x49: return "AT88RF020WriteMulti";
    case 0x4B: return "STActive";
    case 0x4C: return "STDeActive";
    case 0x4D: return "SR176Read";
    case 0x4E: return "SR176Write";
    case 0x4F: return "SR176Lock";
    case 0x50: return "SR176LockStatus";
    case 0x51: return "SR176ReadMulti";
    case 0x52: return "SR176WriteMulti";
    case 0x53: return "SR512Read";
    case 0x54: return "SR512Write";
    case 0x55: return "SRIX4KCheck";
    case 0x56: return "SR512GetUID";
    case 0x57: return "SR512Lock";
    case 0x58: return "SR512ReadMulti";
    case 0x59: return "SR512WriteMulti";
    case 0x5F: return "TypeBRequest";
    case 0x70: return "ISO15693Inventory";
    case 0x71: return "ISO15693StayQuiet";
    case 0x72: return "ISO15693Select";
    case 0x73: return "ISO15693ResetToReady";
    case 0x74: return "ISO15693Read";
    case 0x75: return "ISO15693Write";
    case 0x76: return "ISO15693LockBlock";
    case 0x77: return "ISO15693WriteAFI";
    case 0x78: return "ISO15693LockAFI";
    case 0x79: return "ISO15693WriteDSFID";
    case 0x7A: return "ISO15693LockDSFID";
    case 0x7B: return "ISO15693SystemInformation";
    case 0x7C: return "ISO15693BlockSecurity";
    case 0x7D: return "ISO15693MultiInventory";
    case 0x7E: return "ISO15693MultiWrite";
    case 0x90: return "MFPWritePerso";
    case 0x91: return "MFPCommitPerso";
    case 0x92: return "MFPSwitchToLevel";
    case 0x93: return "MFPL3Authorization";
    case 0x94: return "MFPL3Read";
    case 0x95: return "MFPL3Write";
    case 0x96: return "MFPL3PurseInitial";
    case 0x97: return "MFPL3PurseRead";
    case 0x98: return "MFPL3PurseCharge";
    case 0x99: return "MFPL3PurseDecrease";
    case 0x9A: return "MFPL3PurseBackup";
    case 0x9B: return "MFPAuthorizationFirst";
    case 0x9C: return "MFPAuthorizationFollow";
    case 0x9E: return "MFPCommonRead";
    case 0x9F: return "MFPCommonWrite";
    case 0xB1: return "ReadReaderMemory";
    case 0xB2: return "WriteReaderMemory";
    case 0xC0: return "Transparent";
    case 0xC1: return "FeliCa";
    case 0xC2: return "IDCardNumber";
    case 0xC4: return "CardApplication";
    case 0xFB: return "SendCMD";
    case 0xFC: return "Module433";
    case 0xFD: return "LFCardReadID";
    case 0xFE: return "HFSelectAntenna";
    default: break;
  }
  if (cmd >= 0x10 && cmd <= 0x1B) {
    static const char* kSam[] = {"SetBaud", "Reset", "APDU", "PPS"};
    return "SAM" + std::to_string((cmd - 0x10) / 4 + 1) + kSam[(cmd - 0x10) % 4];
  }
  return "?";
}

const char* TransparentSub(uint8_t sub, const Bytes& d) {
  if (sub == 0x00) {
    if (d.size() < 3) return "Topaz";
    switch (d[2]) {
      case 0x78: return "Topaz RID";
      case 0x00: return "Topaz RALL";
      case 0x01: return "Topaz READ";
      case 0x53: return "Topaz WRITE-E";
      case 0x1A: return "Topaz WRITE-NE";
      case 0x10: return "Topaz RSEG";
      case 0x02: return "Topaz READ8";
      case 0x54: return "Topaz WRITE-E8";
      case 0x1B: return "Topaz WRITE-NE8";
    }
    return "Topaz";
  }
  if (sub == 0x10) {
    if (d.size() < 3) return "NTag";
    switch (d[2]) {
      case 0x60: return "NTag GET_VERSION";
      case 0x30: return "NTag READ";
      case 0x3A: return "NTag FAST_READ";
      case 0xA2: return "NTag WRITE";
      case 0x1B: return "NTag PWD_AUTH";
      case 0x3C: return "NTag READ_SIG";
      case 0x39: return "NTag READ_CNT";
      case 0x50: return "NTag HALT";
    }
    return "NTag";
  }
  if (sub == 0x15) return "NTag CompatibleWrite";
  if (sub == 0x16) return "NTag ReadCounter";
  return nullptr;
}

const char* SleSub(uint8_t sub) {
  static const char* kNames[] = {nullptr,        "SLE Reset",          "SLE ReadMain",
                                 "SLE WriteMain", "SLE ReadProtection", "SLE WriteProtected",
                                 "SLE ReadSecurity", "SLE WritePSC",    "SLE VerifyPSC"};
  return sub >= 1 && sub <= 8 ? kNames[sub] : nullptr;
}

const char* LcdSub(uint8_t sub, size_t len) {
  switch (sub) {
    case 0x00: return "LCD WriteFlash";
    case 0x01: return "LCD ReadFlash";
    case 0x03: return "LCD WriteConfigFlash";
    case 0x04: return "LCD ReadConfigFlash";
    case 0x10: return len > 1 ? "LCD ClockSet" : "LCD ClockGet";
    case 0x20: return len > 1 ? "LCD TimeDisplaySet" : "LCD TimeDisplayGet";
    case 0x21: return len > 1 ? "LCD DateDisplaySet" : "LCD DateDisplayGet";
    case 0x22: return len > 1 ? "LCD FontSet" : "LCD FontGet";
    case 0x23: return len > 1 ? "LCD FormPowerOnSet" : "LCD FormPowerOnGet";
    case 0x24: return len > 1 ? "LCD FormRunSet" : "LCD FormRunGet";
    case 0x25: return len > 1 ? "LCD TextPowerOnSet" : "LCD TextPowerOnGet";
    case 0x26: return len > 1 ? "LCD TextRunSet" : "LCD TextRunGet";
    case 0x27: return "LCD ImagePowerOnSet";
    case 0x28: return "LCD ImageRunSet";
    case 0x29: return "LCD ShowText";
    case 0x2A: return "LCD ShowImageFromFlash";
    case 0x2B: return "LCD ShowImage";
    case 0x2C: return "LCD ShowEnText";
    case 0x2D: return len > 2 ? "LCD BackLight" : "LCD ClearByLine";
  }
  return nullptr;
}

const char* AppSub(uint8_t sub) {
  switch (sub) {
    case 0x01: return "App SamReset";
    case 0x02: return "App SamInitial";
    case 0x03: return "App SamGetInfo";
    case 0x10: return "App Request";
    case 0x11: return "App CreateSysFile";
    case 0x12: return "App ChangeKey";
    case 0x13: return "App ReadPublicFile";
    case 0x14: return "App WritePublicFile";
    case 0x15: return "App ReadHolderFile";
    case 0x16: return "App WriteHolderFile";
    case 0x17: return "App ReadUserFile";
    case 0x18: return "App WriteUserFile";
    case 0x19: return "App Balance";
    case 0x1A: return "App Debit";
    case 0x1B: return "App Consume";
    case 0x1C: return "App Record";
  }
  return nullptr;
}

const char* FelicaSub(uint8_t code) {
  switch (code) {
    case 0x00: return "FeliCa Polling";
    case 0x02: return "FeliCa RequestService";
    case 0x04: return "FeliCa RequestResponse";
    case 0x06: return "FeliCa ReadWithoutEncryption";
    case 0x08: return "FeliCa WriteWithoutEncryption";
  }
  return nullptr;
}

std::string Header(const char* dir, uint16_t reader, uint8_t cmd) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%s [%04X] %02X ", dir, reader, cmd);
  return buf;
}

}  // namespace

std::string CommandName(ReaderModel model, uint8_t cmd, const Bytes& d) {
  const char* name = nullptr;
  if (!d.empty()) {
    if (cmd == 0xC0) name = TransparentSub(d[0], d);
    if (cmd == 0xC1 && d.size() > 3) name = FelicaSub(d[3]);
    if (cmd == 0xC3) name = model == ReaderModel::kDisplayReader ? LcdSub(d[0], d.size()) : SleSub(d[0]);
    if (cmd == 0xC4) name = AppSub(d[0]);
  }
  if (!name && cmd == 0xC3) name = model == ReaderModel::kDisplayReader ? "LCD" : "SLE";
  return name ? std::string(name) : ReaderCommand(cmd);
}

std::string TraceCommand(ReaderModel model, const CommandFrame& f) {
  std::string s = Header("->", f.reader, f.cmd) + CommandName(model, f.cmd, f.data);
  if (!f.data.empty()) s += "  " + Hex(f.data, 64);
  return s;
}

std::string TraceAnswer(ReaderModel model, const CommandFrame& command, uint16_t reader,
                        const Reply& reply) {
  char st[48];
  std::snprintf(st, sizeof st, "  status %02X (%s)", reply.status, status::Text(reply.status));
  std::string s = Header("<-", reader, command.cmd) + CommandName(model, command.cmd, command.data) + st;
  if (!reply.data.empty()) s += "  " + Hex(reply.data, 64);
  return s;
}

std::string TraceSilent(ReaderModel model, const CommandFrame& f, uint16_t own_number) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "  (for reader %04X, this is %04X: no answer)", f.reader, own_number);
  return TraceCommand(model, f) + buf;
}

std::string TraceMalformed(const Bytes& raw, FrameError e) {
  return std::string("-> malformed frame (") + FrameErrorText(e) + ", no answer)  " + Hex(raw, 64);
}

std::string TraceStray(const Bytes& raw) { return "-> stray bytes outside a frame  " + Hex(raw, 64); }

std::string WireTracer::Line(bool sent, const Bytes& raw, bool serial) {
  CommandFrame f;
  FrameError error = FrameError::kNone;
  if (serial) {
    // The parser cuts the bytes into frames and unstuffs them; an answer has
    // the command frame's layout with the status byte first in its data.
    SerialFrameParser parser;
    std::vector<SerialFrameParser::Event> events;
    parser.Feed(raw.data(), raw.size(), SerialFrameParser::Clock::now(), events);
    if (events.empty()) return std::string(sent ? "->" : "<-") + " incomplete frame  " + Hex(raw, 64);
    const auto& e = events.front();
    if (e.kind == SerialFrameParser::Event::Kind::kStray)
      return std::string(sent ? "->" : "<-") + " bytes outside a frame  " + Hex(raw, 64);
    if (e.kind == SerialFrameParser::Event::Kind::kMalformed) error = e.error;
    f = e.frame;
  } else {
    error = DecodeCommandBody(raw, f);
  }
  if (error != FrameError::kNone)
    return std::string(sent ? "->" : "<-") + " malformed frame (" + FrameErrorText(error) + ")  " + Hex(raw, 64);
  if (sent) {
    last_ = f;
    return TraceCommand(model_, f);
  }
  if (f.data.empty()) return "<- answer without a status byte  " + Hex(raw, 64);
  Reply reply;
  reply.status = f.data[0];
  reply.data.assign(f.data.begin() + 1, f.data.end());
  CommandFrame named = last_;
  named.cmd = f.cmd;  // an answer to another command shows its own code
  if (f.cmd != last_.cmd) named.data.clear();
  return TraceAnswer(model_, named, f.reader, reply);
}

}  // namespace orvexsim
