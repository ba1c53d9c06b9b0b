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

  // ---- ISO 15693 ----
  add("OV_ISO15693_Inventory", [](Orvex& o) { Out b(kAll), l(1); o.OV_ISO15693_Inventory(1, b.get(), l.get()); });
  add("OV_ISO15693_Stay_Quiet", [](Orvex& o) { Out u = In(8); o.OV_ISO15693_Stay_Quiet(1, u.get()); });
  add("OV_ISO15693_Select", [](Orvex& o) { Out u = In(8); o.OV_ISO15693_Select(1, 0x22, u.get()); });
  add("OV_ISO15693_Reset_To_Ready", [](Orvex& o) {
    Out u = In(8);
    o.OV_ISO15693_Reset_To_Ready(1, 0x22, u.get());
  });
  add("OV_ISO15693_Read", [](Orvex& o) {
    Out u = In(8), b(kAll), l(1);
    o.OV_ISO15693_Read(1, 0x22, u.get(), 0, 4, b.get(), l.get());
  });
  add("OV_ISO15693_Write", [](Orvex& o) {
    Out u = In(8), d = In(4);
    o.OV_ISO15693_Write(1, 0x22, u.get(), 0, 4, d.get());
  });
  add("OV_ISO15693_Lock_Block", [](Orvex& o) { Out u = In(8); o.OV_ISO15693_Lock_Block(1, 0x22, u.get(), 3); });
  add("OV_ISO15693_Write_AFI", [](Orvex& o) { Out u = In(8); o.OV_ISO15693_Write_AFI(1, 0x22, u.get(), 1); });
  add("OV_ISO15693_Lock_AFI", [](Orvex& o) { Out u = In(8); o.OV_ISO15693_Lock_AFI(1, 0x22, u.get()); });
  add("OV_ISO15693_Write_DSFID", [](Orvex& o) { Out u = In(8); o.OV_ISO15693_Write_DSFID(1, 0x22, u.get(), 1); });
  add("OV_ISO15693_Lock_DSFID", [](Orvex& o) { Out u = In(8); o.OV_ISO15693_Lock_DSFID(1, 0x22, u.get()); });
  add("OV_ISO15693_Get_System_Information", [](Orvex& o) {
    Out u = In(8), b(kAll), l(1);
    o.OV_ISO15693_Get_System_Information(1, 0x22, u.get(), b.get(), l.get());
  });
  add("OV_ISO15693_Get_Block_Security", [](Orvex& o) {
    Out u = In(8), b(kAll), l(1);
    o.OV_ISO15693_Get_Block_Security(1, 0x22, u.get(), 0, 4, b.get(), l.get());
  });
  add("OV_ISO15693_Multi_Inventory", [](Orvex& o) {
    Out b(kAll), l(1);
    o.OV_ISO15693_Multi_Inventory(1, 1, 0, b.get(), l.get());
  });
  add("OV_ISO15693_MultiWrite", [](Orvex& o) {
    Out u = In(8), d = In(8);
    o.OV_ISO15693_MultiWrite(1, 0x22, u.get(), 0, 2, 8, d.get());
  });

  // ---- ISO 14443-B and memory tags ----
  add("OV_TypeB_Request", [](Orvex& o) {
    Out a = In(4), b(kAll);
    int len = 0;
    o.OV_TypeB_Request(1, 0, a.get(), &len, b.get());
  });
  add("OV_TypeB_ResetEx", [](Orvex& o) {
    Out a = In(4), b(kAll);
    int len = 0;
    o.OV_TypeB_ResetEx(1, 0, a.get(), &len, b.get());
  });
  add("OV_TypeB_Reset", [](Orvex& o) {
    Out b(kAll);
    int len = 0;
    o.OV_TypeB_Reset(1, 0x53, &len, b.get());
  });
  add("OV_TypeB_COS", [](Orvex& o) {
    Out c = In(5), b(kAll);
    int len = 0;
    o.OV_TypeB_COS(1, 5, c.get(), &len, b.get());
  });
  add("OV_TypeB_Halt", [](Orvex& o) { Out p = In(4); o.OV_TypeB_Halt(1, p.get()); });
  add("OV_AT88RF020_Check", [](Orvex& o) { Out k = In(8); o.OV_AT88RF020_Check(1, k.get()); });
  add("OV_AT88RF020_Read", [](Orvex& o) { Out b(kAll); o.OV_AT88RF020_Read(1, 1, b.get()); });
  add("OV_AT88RF020_Write", [](Orvex& o) { Out d = In(8); o.OV_AT88RF020_Write(1, 1, d.get()); });
  add("OV_AT88RF020_Lock", [](Orvex& o) { Out d = In(4); o.OV_AT88RF020_Lock(1, d.get()); });
  add("OV_AT88RF020_Count", [](Orvex& o) { Out d = In(6); o.OV_AT88RF020_Count(1, d.get()); });
  add("OV_AT88RF020_DeSel", [](Orvex& o) { o.OV_AT88RF020_DeSel(1); });
  add("OV_AT88RF020_ReadMulti", [](Orvex& o) {
    Out b(kAll);
    int len = 0;
    o.OV_AT88RF020_ReadMulti(1, 0, 2, &len, b.get());
  });
  add("OV_AT88RF020_WriteMulti", [](Orvex& o) { Out d = In(16); o.OV_AT88RF020_WriteMulti(1, 0, 2, 16, d.get()); });
  add("OV_ST_Active", [](Orvex& o) { Out b(1); o.OV_ST_Active(1, b.get()); });
  add("OV_ST_DeActive", [](Orvex& o) { o.OV_ST_DeActive(1); });
  add("OV_SR176_GetUID", [](Orvex& o) { Out b(8); o.OV_SR176_GetUID(1, b.get()); });
  add("OV_SR176_Read", [](Orvex& o) { Out b(kAll); o.OV_SR176_Read(1, 1, b.get()); });
  add("OV_SR176_Write", [](Orvex& o) { Out d = In(2); o.OV_SR176_Write(1, 1, d.get()); });
  add("OV_SR176_Lock", [](Orvex& o) { o.OV_SR176_Lock(1, 1); });
  add("OV_SR176_LockStatus", [](Orvex& o) { Out b(1); o.OV_SR176_LockStatus(1, b.get()); });
  add("OV_SR176_ReadMulti", [](Orvex& o) {
    Out b(kAll);
    int len = 0;
    o.OV_SR176_ReadMulti(1, 0, 2, &len, b.get());
  });
  add("OV_SR176_WriteMulti", [](Orvex& o) { Out d = In(4); o.OV_SR176_WriteMulti(1, 0, 2, 4, d.get()); });
  add("OV_SR512_Read", [](Orvex& o) { Out b(kAll); o.OV_SR512_Read(1, 1, b.get()); });
  add("OV_SR512_Write", [](Orvex& o) { Out d = In(4); o.OV_SR512_Write(1, 1, d.get()); });
  add("OV_SRIX4K_Check", [](Orvex& o) { Out k = In(6), b(kAll); o.OV_SRIX4K_Check(1, k.get(), b.get()); });
  add("OV_SR512_GetUID", [](Orvex& o) { Out b(kAll); o.OV_SR512_GetUID(1, b.get()); });
  add("OV_SR512_Lock", [](Orvex& o) { o.OV_SR512_Lock(1, 0x0101); });
  add("OV_SR512_LockStatus", [](Orvex& o) {
    unsigned short lock = 0;
    o.OV_SR512_LockStatus(1, &lock);
  });
  add("OV_SR512_ReadMulti", [](Orvex& o) {
    Out b(kAll);
    int len = 0;
    o.OV_SR512_ReadMulti(1, 0, 2, &len, b.get());
  });
  add("OV_SR512_WriteMulti", [](Orvex& o) { Out d = In(8); o.OV_SR512_WriteMulti(1, 0, 2, 8, d.get()); });

  // ---- MIFARE Plus ----
  add("OV_MFP_L0_WritePerso", [](Orvex& o) { Out d = In(16); o.OV_MFP_L0_WritePerso(1, 0x9000, d.get()); });
  add("OV_MFP_L0_CommitPerso", [](Orvex& o) { o.OV_MFP_L0_CommitPerso(1); });
  add("OV_MFP_SwitchToLevel", [](Orvex& o) { Out k = In(16); o.OV_MFP_SwitchToLevel(1, 3, k.get()); });
  add("OV_MFP_L3_Authorization", [](Orvex& o) { Out k = In(16); o.OV_MFP_L3_Authorization(1, 0x60, 4, k.get()); });
  add("OV_MFP_L3_Read", [](Orvex& o) {
    Out b(kAll);
    int len = 0;
    o.OV_MFP_L3_Read(1, 4, 2, &len, b.get());
  });
  add("OV_MFP_L3_Write", [](Orvex& o) { Out d = In(32); o.OV_MFP_L3_Write(1, 4, 2, d.get()); });
  add("OV_MFP_L3_Purse_Initial", [](Orvex& o) { o.OV_MFP_L3_Purse_Initial(1, 5, 100); });
  add("OV_MFP_L3_Purse_Read", [](Orvex& o) {
    int value = 0;
    o.OV_MFP_L3_Purse_Read(1, 5, &value);
  });
  add("OV_MFP_L3_Purse_Charge", [](Orvex& o) { o.OV_MFP_L3_Purse_Charge(1, 5, 10); });
  add("OV_MFP_L3_Purse_Decrease", [](Orvex& o) { o.OV_MFP_L3_Purse_Decrease(1, 5, 10); });
  add("OV_MFP_L3_Purse_Backup", [](Orvex& o) { o.OV_MFP_L3_Purse_Backup(1, 5, 6); });
  add("OV_MFP_Authorization_First", [](Orvex& o) { Out k = In(16); o.OV_MFP_Authorization_First(1, 0x4000, k.get()); });
  add("OV_MFP_Authorization_Follow", [](Orvex& o) { Out k = In(16); o.OV_MFP_Authorization_Follow(1, 0x4000, k.get()); });
  add("OV_MFP_CommonRead", [](Orvex& o) {
    Out b(kAll);
    int len = 0;
    o.OV_MFP_CommonRead(1, 0x4004, 2, &len, b.get());
  });
  add("OV_MFP_CommonWrite", [](Orvex& o) { Out d = In(32); o.OV_MFP_CommonWrite(1, 0x4004, 2, d.get()); });

  // ---- Topaz ----
  add("OV_TOPAZ_ReadUID", [](Orvex& o) {
    Out h0(1), h1(1), b(kAll);
    int len = 0;
    o.OV_TOPAZ_ReadUID(1, h0.get(), h1.get(), &len, b.get());
  });
  add("OV_TOPAZ_ReadAll", [](Orvex& o) {
    Out u = In(4), b(kAll);
    int len = 0;
    o.OV_TOPAZ_ReadAll(1, u.get(), &len, b.get());
  });
  add("OV_TOPAZ_ReadByte", [](Orvex& o) { Out u = In(4), b(1); o.OV_TOPAZ_ReadByte(1, u.get(), 1, 2, b.get()); });
  add("OV_TOPAZ_WriteByteAfterErase", [](Orvex& o) {
    Out u = In(4), b(1);
    o.OV_TOPAZ_WriteByteAfterErase(1, u.get(), 1, 2, 0x55, b.get());
  });
  add("OV_TOPAZ_WriteByteWithoutErase", [](Orvex& o) {
    Out u = In(4), b(1);
    o.OV_TOPAZ_WriteByteWithoutErase(1, u.get(), 1, 2, 0x55, b.get());
  });
  add("OV_TOPAZ_ReadSegment", [](Orvex& o) {
    Out u = In(4), b(kAll);
    int len = 0;
    o.OV_TOPAZ_ReadSegment(1, u.get(), 1, &len, b.get());
  });
  add("OV_TOPAZ_ReadBlock", [](Orvex& o) { Out u = In(4), b(8); o.OV_TOPAZ_ReadBlock(1, u.get(), 1, b.get()); });
  add("OV_TOPAZ_WriteBlockAfterErase", [](Orvex& o) {
    Out u = In(4), d = In(8), b(8);
    o.OV_TOPAZ_WriteBlockAfterErase(1, u.get(), 1, d.get(), b.get());
  });
  add("OV_TOPAZ_WriteBlockWithoutErase", [](Orvex& o) {
    Out u = In(4), d = In(8), b(8);
    o.OV_TOPAZ_WriteBlockWithoutErase(1, u.get(), 1, d.get(), b.get());
  });
  return m;
}

}  // namespace fuzzmethods
