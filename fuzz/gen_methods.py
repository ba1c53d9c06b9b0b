#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes fuzz/fuzz_methods.h: one table entry per method of class Orvex that
the library provides, with each of its buffers (the size orvex.h gives it,
whether it is an input or an output, which output is the length of which)
and a call of the method with them. Integer arguments that size a buffer are
fixed; the others come from the caller (the fuzzer's input). Run it again
when the header changes (a test compares):

    fuzz/gen_methods.py > fuzz/fuzz_methods.h
"""
import os
import re
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "scripts"))
import orvex_header  # noqa: E402  (the shared reading of include/orvex.h)

# Methods that open or close the link handle no answer.
SKIP = {"OV_GetDLLVersion", "OV_ComInitial", "OV_ComInitialDevice", "OV_ComFree",
        "OV_USBHIDInitial", "OV_USBHIDFree", "OV_SendCMD", "OV_FM_Select"}

# Methods that need state first: the NDEF message buffer with a record.
PRELUDE = {
    "OV_NDEF_Save": 'o.OV_NDEF_Initial(); unsigned char t[] = "hi"; o.OV_NDEF_AddRecord(0, 2, t);',
    "OV_NDEF_Read": "o.OV_NDEF_Initial();",
    "OV_NDEF_SetKey": "o.OV_NDEF_Initial();",
    "OV_NDEF_AddRecord": "o.OV_NDEF_Initial();",
    "OV_NDEF_ClearRecords": "o.OV_NDEF_Initial();",
    "OV_NDEF_GetRecord": 'o.OV_NDEF_Initial(); unsigned char t[] = "hi"; o.OV_NDEF_AddRecord(1, 2, t);',
}
# Integer arguments: values that keep the call within one frame.
INT_VALUE = {"LenData": "16", "len": "16", "Count": "16", "BytesCount": "16", "DataLen": "16",
             "ParamLen": "4", "LenCOS": "5", "BlockNums": "2", "StartPage": "4", "EndPage": "7",
             "TimeOut": "1", "sLen": "5", "LenOfFileIDName": "2", "LenOfKey": "3",
             "LenOfData": "4", "Len": "4", "DataLength": "4"}


# Outputs the header documents as written on a failure too.
WRITTEN_ON_FAILURE = {
    ("OV_SLE_VerifyPSC", "ErrorCounter"),   # the failure, cut to 8 bits
    ("OV_NTag_Password_Auth", "AuthResult"),  # the PACK of a refused password
    ("OV_SR176_GetUID", "UID"),             # the blocks read before the failing one
    ("OV_KORU_SamReset", "DataLen"),        # 0 on failure
}
# Methods whose result 0 is a success (the reader's leading answer byte, a
# count of bytes read, a fixed 0).
ZERO_IS_SUCCESS = {"OV_WriteM1MultiBlock", "OV_ReadM1MultiBlock", "OV_AT88RF020_ReadMulti",
                   "OV_AT88RF020_WriteMulti", "OV_SR176_ReadMulti", "OV_SR176_WriteMulti",
                   "OV_SR512_ReadMulti", "OV_SR512_WriteMulti", "OV_SLE_ReadMainMemory",
                   "DES3_CBC", "OV_ComNewBound"}
# Methods whose only success is 1 (a positive result else is the reader's
# refusal status).
ONLY_ONE_IS_SUCCESS = {"OV_ChinaIDV2_RequestCardNo"}
# Methods whose result is the count of bytes written to an output.
RESULT_IS_LENGTH = {"OV_GetReaderSerial": "ReaderSerial", "OV_GetReaderNo": "ReaderNo",
                    "OV_AntiCollideAndSelect": "SN", "OV_SLE_ReadMainMemory": "MemData"}
# Length outputs that count another output than the nearest one after them.
LENGTH_OF = {("OV_ISO15693_Inventory", "PLen"): "PData",
             ("OV_ISO15693_Read", "PLen"): "PData",
             ("OV_ISO15693_Get_System_Information", "PLen"): "PData",
             ("OV_ISO15693_Get_Block_Security", "PLen"): "PData",
             ("OV_ISO15693_Multi_Inventory", "PLen"): "PData"}
TYPE_BYTES = {"byte": 1, "int": 4, "short": 2, "unsigned short": 2, "unsigned int": 4}


def size_expr(expr, values):
    """A documented size with the method's integer parameters replaced by the
    values the table calls it with."""
    for name, value in values.items():
        expr = re.sub(r"\b%s\b" % re.escape(name), value, expr)
    return expr


def written_on_failure(m, o):
    # FMCOS length outputs are set to 0 right after the exchange, whatever its result.
    return (m.name, o.name) in WRITTEN_ON_FAILURE or (m.section == "FMCOS" and is_length(o))


def is_length(o):
    return re.search(r"Len", o.name) is not None or o.name == "len"


def entry(m):
    name, params = m.name, m.params
    outs = {o.name: o for o in m.outputs}
    values = {p.name: INT_VALUE.get(p.name, "1") for p in params
              if not (p.is_pointer or p.type.endswith("&"))}
    bufs, args = [], []
    for p in params:
        ptype, pname = p.type, p.name
        if pname in ("ReaderID", "OldID"):
            args.append("1")
        elif ptype == "char*":
            args.append('const_cast<char*>("12.34")')
        elif ptype.endswith("*") or ptype.endswith("&"):
            base = ptype[:-1].strip()
            i = len(bufs)
            o = outs.get(pname)
            if o is not None:
                size = "(%s) * %d" % (size_expr(o.size, values), TYPE_BYTES[o.unit])
            else:
                size = orvex_header.buffer_size(name, pname)
                size = "kAll" if size == orvex_header.ALL else size
            bufs.append([pname, size, o, base])
            if ptype.endswith("&"):
                args.append(f"*reinterpret_cast<{base}*>(a.b({i}))")
            elif base == "unsigned char":
                args.append(f"a.b({i})")
            else:
                args.append(f"reinterpret_cast<{ptype}>(a.b({i}))")
        elif ptype == "bool":
            args.append("true")
        elif (pname in INT_VALUE or re.search(r"Len|len|Num|Count|Bytes", pname)
              or any(re.search(r"\b%s\b" % pname, o.size) for o in m.outputs)):
            args.append(values[pname])   # sizes a buffer: fixed
        else:
            args.append(f"a.n({values[pname]})")
    names = [b[0] for b in bufs]
    rows = []
    for pname, size, o, base in bufs:
        length_of, width = -1, 0
        if o is not None and is_length(o):
            target = LENGTH_OF.get((name, pname))
            if target is None:
                later = [b[0] for b in bufs[names.index(pname) + 1:]
                         if b[2] is not None and b[2].at_most]
                target = later[0] if later else None
            if target is not None:
                length_of, width = names.index(target), TYPE_BYTES[o.unit]
        kind = "kInput" if o is None else ("kWrittenOnFailure" if written_on_failure(m, o)
                                           else "kOutput")
        cut = "true" if o is not None and "cut to 8 bits" in o.note else "false"
        rows.append(f'{{"{pname}", {size}, {kind}, {length_of}, {width}, {cut}}}')
    result_len = names.index(RESULT_IS_LENGTH[name]) if name in RESULT_IS_LENGTH else -1
    prelude = (PRELUDE[name] + " ") if name in PRELUDE else ""
    success = ("kOneIsSuccess" if name in ONLY_ONE_IS_SUCCESS else
               "kZeroOrMoreIsSuccess" if name in ZERO_IS_SUCCESS else
               "kPositiveIsSuccess")
    call = f"o.{name}({', '.join(args)})"
    return (f'  add({{"{name}", {{{", ".join(rows)}}}, {success}, {result_len},\n'
            f'       [](Orvex& o, [[maybe_unused]] Args& a) {{ {prelude}return {call}; }}}});')


def main():
    out = []
    for m in orvex_header.methods():
        if m.name not in SKIP:
            out.append(entry(m))
    text = TEMPLATE.replace("@ENTRIES@", "\n".join(out))
    # OV_FM_Select is a free function: driven when the header declares it.
    if orvex_header.declares_free_function("OV_FM_Select"):
        text = text.replace("@FMSELECT_BEGIN@\n", "").replace("@FMSELECT_END@", "")
    else:
        text = re.sub(r"@FMSELECT_BEGIN@.*?@FMSELECT_END@\n?", "", text, flags=re.S)
    sys.stdout.write(text)


TEMPLATE = """// SPDX-License-Identifier: MIT
// Generated by fuzz/gen_methods.py from include/orvex.h: do not edit.
// The table of public methods the command fuzzer and the output tests drive:
// each entry lists the method's buffers with the size orvex.h documents for
// them (its "Outputs:" sentence; the bytes an input is read for), which of
// them are outputs and which output is the length of which, and calls the
// method with them. Integer arguments that size no buffer come from Args::n.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "orvex.h"

namespace fuzzmethods {

constexpr size_t kAll = ORVEX_MAX_ANSWER;  // "at most ORVEX_MAX_ANSWER bytes"

enum Kind {
  kInput,             // read by the method, never written
  kOutput,            // written only on success
  kWrittenOnFailure,  // an output the header says is written on a failure too
};

struct Buffer {
  const char* param;
  size_t size;     // bytes, as documented
  Kind kind;
  int length_of;   // a length output: the buffer whose bytes it counts, else -1
  int width;       // a length output: the bytes of its value (1, 2 or 4)
  bool cut;        // a length output kept to 8 bits: it counts modulo 256
};

// The buffers of one call (heap blocks of size + kGuard bytes, the guard
// bytes being past the documented size) and the source of integer arguments.
struct Args {
  static constexpr size_t kGuard = 32;
  std::vector<std::vector<unsigned char>> blocks;
  const uint8_t* ints = nullptr;
  size_t ints_left = 0;
  unsigned char* b(size_t i) { return blocks[i].data(); }
  // An integer argument: the next input byte when there is one, else dflt.
  int n(int dflt) {
    if (ints_left == 0) return dflt;
    --ints_left;
    return *ints++;
  }
};

// Which results are a success.
enum Success {
  kPositiveIsSuccess,    // any result > 0
  kZeroOrMoreIsSuccess,  // 0 too (a leading answer byte, a count)
  kOneIsSuccess,         // 1 alone (other positive results are refusals)
};

struct Method {
  const char* name;
  std::vector<Buffer> buffers;
  Success success;
  int result_length_of;  // the result counts the bytes of this buffer, else -1
  int (*call)(Orvex&, Args&);
};

inline std::vector<Method> All() {
  std::vector<Method> m;
  auto add = [&](Method x) { m.push_back(x); };
@ENTRIES@
  // The free functions of the class's groups.
  add({"OV_SendCMD", {{"Param", 4, kInput, -1, 0, false}, {"OutLen", 4, kOutput, 2, 4, false},
                      {"OutResult", kAll, kOutput, -1, 0, false}}, kPositiveIsSuccess, -1,
       [](Orvex&, Args& a) {
         return OV_SendCMD(1, a.n(1), 1, 4, a.b(0), reinterpret_cast<int*>(a.b(1)), a.b(2));
       }});
@FMSELECT_BEGIN@
  add({"OV_FM_Select", {{"FileIDName", 2, kInput, -1, 0, false},
                        {"LenOfFCI", 1, kWrittenOnFailure, 2, 1, true},
                        {"FCI", 998, kOutput, -1, 0, false}, {"ExeStatus", 2, kOutput, -1, 0, false}},
       kPositiveIsSuccess, -1,
       [](Orvex&, Args& a) {
         return OV_FM_Select(1, a.n(0), 2, a.b(0), a.n(0), a.b(1), a.b(2),
                             reinterpret_cast<unsigned short*>(a.b(3)));
       }});@FMSELECT_END@
  // The library's extension beside the methods: any counter of an
  // Ultralight EV1 (3, which no tag has, is refused before it is sent).
  add({"OrvexNTagReadCounter", {{"Counter", 4, kOutput, -1, 0, false}}, kPositiveIsSuccess, -1,
       [](Orvex&, Args& a) { return OrvexNTagReadCounter(1, a.n(0) % 4, reinterpret_cast<int*>(a.b(0))); }});
  return m;
}

}  // namespace fuzzmethods
"""

main()
