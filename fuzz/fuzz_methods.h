// The table of public methods the command fuzzer drives: each entry calls
// one method with inputs of fixed content and outputs in heap buffers sized
// exactly as orvex.h documents them.
#pragma once

#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "orvex.h"

namespace fuzzmethods {

struct Method {
  const char* name;
  std::function<void(Orvex&)> call;
};

// An output buffer of exactly n bytes on the heap.
struct Out {
  explicit Out(size_t n) : p(new unsigned char[n]), size(n) { memset(p.get(), 0xA5, n); }
  unsigned char* get() { return p.get(); }
  std::unique_ptr<unsigned char[]> p;
  size_t size;
};

// An input buffer of exactly n bytes on the heap.
inline Out In(size_t n, unsigned char fill = 0x11) {
  Out o(n);
  memset(o.get(), fill, n);
  return o;
}

constexpr size_t kAll = ORVEX_MAX_ANSWER;  // "all answer bytes" outputs

inline std::vector<Method> All() {
  std::vector<Method> m;
  auto add = [&](const char* name, std::function<void(Orvex&)> f) { m.push_back({name, std::move(f)}); };

  // ---- Library and reader management ----
  add("OV_ComNewBound", [](Orvex& o) { o.OV_ComNewBound(1, 9600); });
  add("OV_SetReaderID", [](Orvex& o) { o.OV_SetReaderID(1, 2); });
  add("OV_GetReaderID", [](Orvex& o) { o.OV_GetReaderID(1); });
  add("OV_GetReaderVersion", [](Orvex& o) { o.OV_GetReaderVersion(1); });
  add("OV_GetReaderSerial", [](Orvex& o) { Out b(kAll); o.OV_GetReaderSerial(1, b.get()); });
  add("OV_GetReaderNo", [](Orvex& o) { Out b(kAll); o.OV_GetReaderNo(1, b.get()); });
  add("OV_Buzzer", [](Orvex& o) { o.OV_Buzzer(1, 1, 1, 1); });
  add("OV_Led", [](Orvex& o) { o.OV_Led(1, 1, 1, 1, 1, 1); });
  add("OV_LEDDisplay", [](Orvex& o) { char t[] = "12.34"; o.OV_LEDDisplay(1, 3, t); });
  add("OV_AntennaStatus", [](Orvex& o) { o.OV_AntennaStatus(1, true); });
  add("OV_SearchCardMode", [](Orvex& o) { o.OV_SearchCardMode(1, 1); });
  add("OV_SearchCardModeEx", [](Orvex& o) { o.OV_SearchCardModeEx(1, 1, 2); });
  add("OV_LFCard_ReadID", [](Orvex& o) { Out b(kAll); o.OV_LFCard_ReadID(1, b.get()); });
  add("OV_WriteReaderMemory", [](Orvex& o) { Out d = In(16); o.OV_WriteReaderMemory(1, 0, 16, d.get()); });
  add("OV_ReadReaderMemory", [](Orvex& o) { Out b(kAll); o.OV_ReadReaderMemory(1, 0, 16, b.get()); });
  add("OV_SetParam", [](Orvex& o) { Out d = In(4); o.OV_SetParam(1, 1, 4, d.get()); });
  add("OV_GetParam", [](Orvex& o) {
    Out d = In(4), b(kAll);
    int len = 0;
    o.OV_GetParam(1, 1, 4, d.get(), &len, b.get());
  });
  add("OV_Set433ModuleParam", [](Orvex& o) { Out d = In(8); o.OV_Set433ModuleParam(1, d.get()); });
  add("OV_Get433ModuleParam", [](Orvex& o) { Out b(8); o.OV_Get433ModuleParam(1, b.get()); });
  add("OV_HFSelectAntenna", [](Orvex& o) { o.OV_HFSelectAntenna(1, 1); });
  add("OV_SendCMD", [](Orvex&) {
    Out d = In(4), b(kAll);
    int len = 0;
    OV_SendCMD(1, 1, 1, 4, d.get(), &len, b.get());
  });

  // ---- SAM slots ----
  add("OV_SAM_ResetBaud", [](Orvex& o) { o.OV_SAM_ResetBaud(1, 2, 1); });
  add("OV_SAM_PPSBaud", [](Orvex& o) { o.OV_SAM_PPSBaud(1, 2, 1); });
  add("OV_SAM_PPSBaudEx", [](Orvex& o) { o.OV_SAM_PPSBaudEx(1, 3, 1, 1); });
  add("OV_SAM_Reset", [](Orvex& o) {
    Out b(kAll);
    int len = 0;
    o.OV_SAM_Reset(1, 1, &len, b.get());
  });
  add("OV_SAM_ResetEx", [](Orvex& o) {
    Out b(kAll);
    int len = 0;
    o.OV_SAM_ResetEx(1, 1, 3, &len, b.get());
  });
  add("OV_SAM_COS", [](Orvex& o) {
    Out a = In(100), b(kAll);
    int len = 0;
    o.OV_SAM_COS(1, 1, 100, a.get(), &len, b.get());
  });

  // ---- FMCOS ----
  // Inputs are 255 bytes (every length argument is one byte); response
  // buffers hold the documented 998 bytes, 4-byte fields 4, a challenge the
  // count asked for.
  using u8 = unsigned char;
  using Sw = unsigned short;
  constexpr size_t kResponse = 998;
  auto status = [&](const char* name, std::function<void(Orvex&, u8*, Sw*)> f) {
    add(name, [f](Orvex& o) {
      Out in = In(255);
      Sw sw = 0;
      f(o, in.get(), &sw);
    });
  };
  auto response = [&](const char* name, std::function<void(Orvex&, u8*, u8*, u8*, Sw*)> f) {
    add(name, [f](Orvex& o) {
      Out in = In(255), b(kResponse);
      u8 len = 0;
      Sw sw = 0;
      f(o, in.get(), &len, b.get(), &sw);
    });
  };
  auto fields = [&](const char* name, std::function<void(Orvex&, u8*, u8*, u8*, u8*, u8*, Sw*)> f) {
    add(name, [f](Orvex& o) {
      Out in = In(255), a(4), b(4);
      u8 la = 0, lb = 0;
      Sw sw = 0;
      f(o, in.get(), &la, a.get(), &lb, b.get(), &sw);
    });
  };
  add("OV_FM_GetChallenge", [](Orvex& o) {
    Out b(8);
    Sw sw = 0;
    o.OV_FM_GetChallenge(1, 8, b.get(), &sw);
  });
  status("OV_FM_ExternalAuthenticate",
         [](Orvex& o, u8* in, Sw* sw) { o.OV_FM_ExternalAuthenticate(1, 0, 8, in, sw); });
  response("OV_FM_InternalAuthenticate", [](Orvex& o, u8* in, u8* l, u8* b, Sw* sw) {
    o.OV_FM_InternalAuthenticate(1, 0, 1, 8, in, l, b, sw);
  });
  response("OV_FM_Select",
           [](Orvex&, u8* in, u8* l, u8* b, Sw* sw) { OV_FM_Select(1, 0, 2, in, 0, l, b, sw); });
  response("OV_FM_ReadBinary",
           [](Orvex& o, u8*, u8* l, u8* b, Sw* sw) { o.OV_FM_ReadBinary(1, 1, 0, 0, l, b, sw); });
  response("OV_FM_ReadRecord", [](Orvex& o, u8*, u8* l, u8* b, Sw* sw) {
    o.OV_FM_ReadRecord(1, 1, 1, 4, 0, l, b, sw);
  });
  status("OV_FM_UpdateBinary",
         [](Orvex& o, u8* in, Sw* sw) { o.OV_FM_UpdateBinary(1, 1, 0, 16, in, sw); });
  status("OV_FM_UpdaterRecord",
         [](Orvex& o, u8* in, Sw* sw) { o.OV_FM_UpdaterRecord(1, 1, 1, 4, 16, in, sw); });
  status("OV_FM_AppendRecord",
         [](Orvex& o, u8* in, Sw* sw) { o.OV_FM_AppendRecord(1, 1, 16, in, sw); });
  status("OV_FM_VerifyPin", [](Orvex& o, u8* in, Sw* sw) { o.OV_FM_VerifyPin(1, 0, 3, in, sw); });
  status("OV_FM_EraseDF", [](Orvex& o, u8*, Sw* sw) { o.OV_FM_EraseDF(1, sw); });
  status("OV_FM_WriteKey",
         [](Orvex& o, u8* in, Sw* sw) { o.OV_FM_WriteKey(1, 0x39, 0, 21, in, sw); });
  status("OV_FM_CreateFile",
         [](Orvex& o, u8* in, Sw* sw) { o.OV_FM_CreateFile(1, 0xDF01, 7, in, sw); });
  add("OV_FM_ReadBinaryWithProtected", [](Orvex& o) {
    Out in = In(4), b(kResponse);
    short len = 0;
    Sw sw = 0;
    o.OV_FM_ReadBinaryWithProtected(1, 1, 1, 0, 4, in.get(), &len, b.get(), &sw);
  });
  status("OV_FM_CardBlock", [](Orvex& o, u8* in, Sw* sw) { o.OV_FM_CardBlock(1, 4, in, sw); });
  status("OV_FM_ApplicationUnblock",
         [](Orvex& o, u8* in, Sw* sw) { o.OV_FM_ApplicationUnblock(1, 4, in, sw); });
  status("OV_FM_ApplicationBlock",
         [](Orvex& o, u8* in, Sw* sw) { o.OV_FM_ApplicationBlock(1, 1, 4, in, sw); });
  status("OV_FM_PinUnblock",
         [](Orvex& o, u8* in, Sw* sw) { o.OV_FM_PinUnblock(1, 0, 8, in, 4, in, sw); });
  status("OV_FM_ReloadPin",
         [](Orvex& o, u8* in, Sw* sw) { o.OV_FM_ReloadPin(1, 0, 8, in, 4, in, sw); });
  status("OV_FM_ChangePin",
         [](Orvex& o, u8* in, Sw* sw) { o.OV_FM_ChangePin(1, 0, 8, in, 8, in, sw); });
  response("OV_FM_InitializeForLoad", [](Orvex& o, u8* in, u8* l, u8* b, Sw* sw) {
    o.OV_FM_InitializeForLoad(1, 1, 1, 100, 6, in, l, b, sw);
  });
  response("OV_FM_CreditForLoad", [](Orvex& o, u8* in, u8* l, u8* b, Sw* sw) {
    o.OV_FM_CreditForLoad(1, in, in, in, l, b, sw);
  });
  response("OV_FM_InitializeForPurchase", [](Orvex& o, u8* in, u8* l, u8* b, Sw* sw) {
    o.OV_FM_InitializeForPurchase(1, 1, 1, 100, 6, in, l, b, sw);
  });
  fields("OV_FM_DebitForCappPurchase", [](Orvex& o, u8* in, u8* la, u8* a, u8* lb, u8* b, Sw* sw) {
    o.OV_FM_DebitForCappPurchase(1, 1, in, in, in, la, a, lb, b, sw);
  });
  response("OV_FM_InitializeForUnload", [](Orvex& o, u8* in, u8* l, u8* b, Sw* sw) {
    o.OV_FM_InitializeForUnload(1, 1, 1, 100, 6, in, l, b, sw);
  });
  response("OV_FM_CreditForUnload", [](Orvex& o, u8* in, u8* l, u8* b, Sw* sw) {
    o.OV_FM_CreditForUnload(1, in, in, in, l, b, sw);
  });
  response("OV_FM_InitializeForCashWithdraw", [](Orvex& o, u8* in, u8* l, u8* b, Sw* sw) {
    o.OV_FM_InitializeForCashWithdraw(1, 1, 1, 100, 6, in, l, b, sw);
  });
  fields("OV_FM_DebitForCashWithdraw", [](Orvex& o, u8* in, u8* la, u8* a, u8* lb, u8* b, Sw* sw) {
    o.OV_FM_DebitForCashWithdraw(1, 1, in, in, in, la, a, lb, b, sw);
  });
  fields("OV_FM_UpdateOverdrawLimit", [](Orvex& o, u8* in, u8* la, u8* a, u8*, u8*, Sw* sw) {
    o.OV_FM_UpdateOverdrawLimit(1, 100, in, in, in, la, a, sw);
  });
  fields("OV_FM_GetTransactionProve", [](Orvex& o, u8*, u8* la, u8* a, u8* lb, u8* b, Sw* sw) {
    o.OV_FM_GetTransactionProve(1, 6, 1, la, a, lb, b, sw);
  });
  add("OV_FM_GetBalance", [](Orvex& o) {
    int v = 0;
    Sw sw = 0;
    o.OV_FM_GetBalance(1, 1, &v, &sw);
  });
  return m;
}

}  // namespace fuzzmethods
