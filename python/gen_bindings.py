#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes the pybind11 bindings of every method of class Orvex that the
library provides, from the shared reading of include/orvex.h
(scripts/orvex_header.py): one method of orvex._orvex.Link per Orvex method,
with the same name and parameter names. Byte buffers the method reads are
`bytes`; what it writes (buffers, lengths, values) is returned, a tuple when
there are several, sized as the header documents. A result that means
failure raises (see orvex/errors.py). CMake runs it at build time:

    python/gen_bindings.py OUTPUT.cpp [OUTPUT.pyi]

The second file is the type stub of orvex._orvex, for editors and checkers.
"""
import keyword
import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, "scripts"))
import orvex_header  # noqa: E402  (the shared reading of include/orvex.h)

# Output byte buffers whose direction the doc comments do not give in one of
# the phrasings found below.
OUTPUTS = {
    ("OV_LFCard_ReadID", "CardID"), ("OV_ReadReaderMemory", "DataToRead"),
    ("OV_SendCMD", "OutResult"), ("OV_Config_ReadFlashEx", "Data"),
    ("OV_Config_TextRun_Get", "Data"), ("OV_AntiCollide", "SNO"),
    ("OV_AntiCollideAndSelect", "SN"), ("OV_AntiCollide_Level", "SNO"),
    ("OV_RequestAntiandSelect", "SNO"), ("OV_ReadM1MultiBlock", "pData"),
    ("OV_TypeB_ResetEx", "pData"), ("OV_AT88RF020_ReadMulti", "pData"),
    ("OV_SR176_ReadMulti", "pData"), ("OV_Felica_Polling", "PMm"),
    ("OV_Felica_Polling", "RequestData"), ("OV_ChinaIDV2_RequestCardNo", "CardNo"),
    ("OV_TOPAZ_ReadUID", "HR0"), ("OV_TOPAZ_ReadUID", "pDataRet"),
    ("OV_TOPAZ_ReadByte", "pDataRet"), ("OV_TOPAZ_WriteByteAfterErase", "pDataRet"),
    ("OV_TOPAZ_WriteByteWithoutErase", "pDataRet"),
    ("OV_TOPAZ_WriteBlockWithoutErase", "pDataRet"), ("OV_SLE_ReadSecurityLogic", "PSC"),
    ("OV_FM_GetChallenge", "Challenge"), ("OV_FM_Select", "FCI"),
    ("OV_FM_InitializeForUnload", "Result"), ("OV_FM_InitializeForCashWithdraw", "Result"),
    ("OV_FM_DebitForCashWithdraw", "TAC"), ("OV_FM_DebitForCashWithdraw", "MAC2"),
    ("OV_KORU_Consume", "Result"), ("OV_KORU_SamGetInfo", "Teminate"),
    ("DES", "out"), ("DES3", "pOutData"), ("DES3_CBC", "pOutData"),
    ("OV_SAM_ResetEx", "pData"), ("OV_SAM_COS", "pData"),
    ("OV_ISO15693_Get_Block_Security", "PData"),
}
# One-byte outputs the header's tables do not list yet.
SINGLE_BYTE = {("OV_TOPAZ_ReadUID", "HR0"), ("OV_TOPAZ_ReadUID", "HR1")}
# Outputs of all answer bytes without a length output: how many leading
# answer bytes are not copied (the echoed sub-command of these families), or
# the size as a C expression where the doc comment gives it.
ANSWER_SKIP = {"SLE4442": 1, "NTAG": 1}
OUT_SIZE = {("OV_FM_GetChallenge", "Challenge"): "BytesNumber"}
# Buffers that a phrasing below would take for outputs but that the method reads.
INPUTS = {("OV_AT88RF020_Lock", "LockByte"), ("OV_AT88RF020_Count", "Signature")}

# The families whose results differ from "1 done, -1 link failure, -3
# refused", by the title of their header section: the exception class for
# their failures and which results are failures.
FAMILY = {
    "Display reader": ("DisplayError", "not1"),
    "FeliCa and the identity card number": ("FelicaError", "not1"),
    "SLE4442": ("SLE4442Error", "negative"),
    "Card application": ("CardApplicationError", "negative"),
    "NDEF": ("NDEFError", "negative"),
    "Topaz": ("TopazError", "negative"),
}
# Methods whose results follow rules of their own.
RESULT_RULE = {
    "OV_GetDLLVersion": "none", "OV_ComFree": "none", "OV_USBHIDFree": "none",
    "OV_ComInitial": "zero", "OV_ComInitialDevice": "zero", "OV_ComNewBound": "nonzero",
    "DES": "none", "DES3": "none", "DES3_CBC": "none", "OV_NDEF_Initial": "none",
    "OV_NDEF_Free": "none", "OV_NDEF_GetRecord": "notpositive", "OV_KORU_GetStatus": "none",
}
# Sections whose methods use process-wide state (the process-wide link, the
# NDEF message buffer, the DES subkeys, the card application's status):
# their calls take one lock of the module.
PROCESS_WIDE = {"Library and link", "NDEF", "DES", "Card application"}
# Sections whose methods need no link.
NO_LINK = {"DES"}
NO_LINK_METHODS = {"OV_GetDLLVersion", "OV_NDEF_Initial", "OV_NDEF_Free", "OV_NDEF_SetKey",
                   "OV_NDEF_AddRecord", "OV_NDEF_GetRecord", "OV_NDEF_ClearRecords",
                   "OV_KORU_GetStatus"}

INT_RANGE = {
    "int": ("INT32_MIN", "INT32_MAX"), "unsigned char": ("0", "255"),
    "unsigned short": ("0", "65535"), "short": ("-32768", "32767"),
    "unsigned int": ("0", "UINT32_MAX"),
}
SCALAR_OUT = {"int*": "int", "short*": "short", "unsigned short*": "unsigned short",
              "unsigned int*": "unsigned int", "int&": "int"}


def is_len_name(name):
    return re.search(r"len", name, re.I) is not None


def output_by_doc(m, name):
    doc = m.doc
    pats = [rf"\b{name}\b(?: \([^)]*\))? receives?", rf"\bto {name}\b", rf"\binto {name}\b",
            rf"\b{name} and \w+ receive", rf"go(?:es)? to {name}\b"]
    return any(re.search(p, doc) for p in pats)


def classify(m):
    """Each parameter as (kind, param): kind in int, bool, str, in_buf,
    out_buf, out_byte, out_scalar."""
    out = []
    for p in m.params:
        key = (m.name, p.name)
        if p.type in ("char*", "const char*"):
            out.append(("str", p))
        elif p.type == "unsigned char*":
            if key in INPUTS:
                direction = "in"
            elif (orvex_header.output(m.name, p.name) is not None or key in OUTPUTS
                  or key in orvex_header.WIDTH or p.name in orvex_header.ONE_BYTE
                  or is_len_name(p.name) or output_by_doc(m, p.name)):
                direction = "out"
            else:
                direction = "in"
            if direction == "in":
                out.append(("in_buf", p))
            elif orvex_header.buffer_size(m.name, p.name) == "1" or key in SINGLE_BYTE:
                out.append(("out_byte", p))
            else:
                out.append(("out_buf", p))
        elif p.type in SCALAR_OUT:
            out.append(("out_scalar", p))
        elif p.type == "bool":
            out.append(("bool", p))
        elif p.type in INT_RANGE:
            out.append(("int", p))
        else:
            raise SystemExit(f"gen_bindings: {m.name}: parameter type {p.type} not handled")
    return out


def pair_lengths(kinds):
    """Output buffers of all answer bytes: the length output beside them that
    counts them (the one after the buffer first, then the one before)."""
    pairs = {}
    used = set()
    for i, (k, p) in enumerate(kinds):
        if k != "out_buf":
            continue
        for j in (i - 1, i + 1) if i > 0 and kinds[i - 1][0] != "out_buf" else (i + 1, i - 1):
            if 0 <= j < len(kinds) and j not in used:
                k2, p2 = kinds[j]
                if k2 in ("out_byte", "out_scalar") and is_len_name(p2.name):
                    pairs[i] = j
                    used.add(j)
                    break
    return pairs


def input_length(kinds, i):
    """An integer input right before input buffer i that gives its length."""
    if i > 0:
        k, p = kinds[i - 1]
        if k == "int" and (is_len_name(p.name) or p.name in ("Count",)):
            return p.name
    return None


def doc_size(m, name):
    """(N, exact) when the doc comment gives the size of input buffer name."""
    doc = m.doc
    for pat, exact in ((rf"first (\d+) bytes of {name}\b", False),
                       (rf"the (\d+)[- ]byte (?:\w+ )?{name}\b", True),
                       (rf"the (\d+) bytes of {name}\b", True),
                       (rf"\b{name} \((\d+) bytes", True)):
        mm = re.search(pat, doc)
        if mm:
            return int(mm.group(1)), exact
    return None


def c_str(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"').replace("\n", "\\n") + '"'


def meaning(m, code):
    """What the header says result code means for method m ("" if nothing):
    the words after the code where it stands in a list of results (at the
    start, or after punctuation), up to the next result."""
    for text in (m.doc, m.section_doc):
        for mm in re.finditer(rf"(?:^|[;:,.()]\s*|\s\s|Results?:?\s+)({re.escape(str(code))})(?![\w.])[\s:]*([^;]*)",
                              text):
            # up to the next result: a code in a column layout, after a
            # comma, or the end of the sentence
            s = re.split(r"\s+(?:-?\d+|other)\s{2,}|,\s+-?\d+\s|(?<=[\w)])\.\s", mm.group(2))[0]
            s = " ".join(s.split()).strip(" .,")
            if len(s) > 3 and not s[0].isdigit():
                if s.startswith("also"):
                    ref = re.search(r"Results as (\w+)", text)
                    if ref:
                        s = f"as {ref.group(1)}'s {code}; {s}"
                return s
    return ""


def error_table(m):
    """Codes with a meaning in the header, as C++ initialisers."""
    codes = set(int(x) for x in re.findall(r"(?<![\w-])(-[1-9]|0|1000|1)(?![\w])",
                                           m.doc + " " + m.section_doc))
    rows = []
    for c in sorted(codes):
        t = meaning(m, c)
        if t:
            rows.append(f"{{{c}, {c_str(t)}}}")
    return rows


def rule_of(m):
    if m.name in RESULT_RULE:
        return RESULT_RULE[m.name]
    return FAMILY.get(m.section, (None, "negative"))[1]


def family_error(m):
    return FAMILY.get(m.section, ("OrvexError",))[0]


def py_name(name):
    """The Python name of a parameter: its C++ name, with a trailing _ for
    a Python keyword (DES's "in")."""
    return name + "_" if keyword.iskeyword(name) else name


def py_type(kind, p):
    return {"int": "int", "bool": "bool", "str": "str", "in_buf": "bytes"}[kind]


def binding(m):
    kinds = classify(m)
    pairs = pair_lengths(kinds)
    paired = set(pairs.values())
    free = "provided only as the free function" in m.doc
    needs_link = m.section not in NO_LINK and m.name not in NO_LINK_METHODS
    lam_params, py_args, pre, call_args, outs, sig = ["Link& self"], [], [], [], [], []
    for i, (k, p) in enumerate(kinds):
        n = p.name
        if k == "int":
            lo, hi = INT_RANGE[p.type]
            lam_params.append(f"long long {n}_")
            py_args.append(f'py::arg("{py_name(n)}")')
            pre.append(f'{p.type} {n} = CheckInt<{p.type}>("{m.name}", "{n}", {n}_, {lo}, {hi});')
            call_args.append(n)
            sig.append(f"{py_name(n)}: int")
        elif k == "bool":
            lam_params.append(f"bool {n}")
            py_args.append(f'py::arg("{n}")')
            call_args.append(n)
            sig.append(f"{n}: bool")
        elif k == "str":
            lam_params.append(f"const std::string& {n}_")
            py_args.append(f'py::arg("{n}")')
            pre.append(f'std::vector<char> {n} = TextArg("{m.name}", "{n}", {n}_);')
            call_args.append(f"{n}.data()")
            sig.append(f"{n}: str")
        elif k == "in_buf":
            lam_params.append(f"const py::bytes& {n}_")
            py_args.append(f'py::arg("{py_name(n)}")')
            need, exact = "0", "false"
            lp = input_length(kinds, i)
            ds = doc_size(m, n)
            if lp:
                need = f"static_cast<long long>({lp})"
            elif ds:
                need, exact = str(ds[0]), "true" if ds[1] else "false"
            pre.append(f'Buffer {n} = InBuffer("{m.name}", "{n}", {n}_, {need}, {exact});')
            call_args.append(f"{n}.data()")
            sig.append(f"{py_name(n)}: bytes")
        elif k == "out_buf":
            size = orvex_header.buffer_size(m.name, n)
            if size == orvex_header.ALL and (m.name, n) in OUT_SIZE:
                size = OUT_SIZE[(m.name, n)]
            pre.append(f"Buffer {n} = OutBuffer(static_cast<long long>({size}));")
            call_args.append(f"{n}.data()")
            if i in pairs:
                ln = kinds[pairs[i]][1].name
                outs.append((f"{n} ({ln} bytes)", f"Take({n}, static_cast<long long>({ln}), {size})"))
            elif size == orvex_header.ALL:
                skip = ANSWER_SKIP.get(m.section, 0)
                outs.append((n, f"Take({n}, self.AnswerLength() - {skip}, {size})"))
            else:
                outs.append((n, f"Take({n}, static_cast<long long>({size}), {size})"))
        elif k == "out_byte":
            pre.append(f"unsigned char {n} = 0;")
            call_args.append(f"&{n}")
            if i not in paired:
                outs.append((n, f"py::int_(static_cast<int>({n}))"))
        elif k == "out_scalar":
            base = SCALAR_OUT[p.type]
            pre.append(f"{base} {n} = 0;")
            call_args.append(n if p.type.endswith("&") else f"&{n}")
            if i not in paired:
                outs.append((n, f"py::int_({n})"))
    target = f"::{m.name}" if free else f"Orvex().{m.name}"
    ret_unsigned = m.name == "OV_KORU_GetStatus"
    call = f"{target}({', '.join(call_args)})"
    lock = "true" if m.section in PROCESS_WIDE else "false"
    body = []
    body += [f"  {x}" for x in pre]
    body.append(f"  long long r = self.Call({'true' if needs_link else 'false'}, {lock}, [&] {{ return static_cast<long long>({call}); }});")
    table = error_table(m)
    body.append(f"  static const Meaning kMeanings[] = {{{', '.join(table) if table else '{0, nullptr}'}}};")
    body.append(f'  CheckResult(self, "{m.name}", r, Rule::{rule_of(m)}, "{family_error(m)}", kMeanings, '
                f"sizeof kMeanings / sizeof kMeanings[0]);")
    if not outs:
        body.append("  return py::int_(r);")
    elif len(outs) == 1:
        body.append(f"  return {outs[0][1]};")
    else:
        body.append(f"  return py::make_tuple({', '.join(v for _, v in outs)});")
    del ret_unsigned
    if not outs:
        returns = "int (the method's result)"
    else:
        returns = ", ".join(n for n, _ in outs)
        if len(outs) > 1:
            returns = f"({returns})"
    mdoc = " ".join(m.doc.split())
    doc = (f"{m.name}({', '.join(sig)}) -> {returns}\n\n{mdoc}\n\n"
           f"Family: {m.section}. Failure raises {family_error(m) if m.section in FAMILY else 'LinkError, ReaderRefused or OrvexError'}.")
    if m.section_doc:
        doc += f"\n\n{m.section}: {' '.join(m.section_doc.split())}"
    args = "".join(f", {a}" for a in py_args)
    return (f'  cls.def("{m.name}", []({", ".join(lam_params)}) -> py::object {{\n'
            + "\n".join(body) + f"\n  }}{args},\n  {c_str(doc)});")


TEMPLATE = """// SPDX-License-Identifier: MIT
// Generated by python/gen_bindings.py from include/orvex.h: do not edit.
#include "bindings.h"

namespace orvex_py {

void BindMethods(py::class_<Link>& cls) {
@BODY@
}

const char* const kMethodNames[] = {
@NAMES@
    nullptr};

}  // namespace orvex_py
"""


def py_sig(m):
    kinds = classify(m)
    pairs = pair_lengths(kinds)
    paired = set(pairs.values())
    args, outs = [], []
    for i, (k, p) in enumerate(kinds):
        if k in ("int", "bool", "str", "in_buf"):
            args.append(f"{py_name(p.name)}: {py_type(k, p)}")
        elif k == "out_buf":
            outs.append("bytes")
        elif i not in paired:
            outs.append("int")
    if not outs:
        ret = "int"
    elif len(outs) == 1:
        ret = outs[0]
    else:
        ret = f"Tuple[{', '.join(outs)}]"
    return args, ret


STUB_HEAD = """# SPDX-License-Identifier: MIT
# Generated by python/gen_bindings.py from include/orvex.h: do not edit.
from typing import Any, Dict, List, Optional, Tuple

class Link:
    \"\"\"One reader link (OrvexLink); every Orvex method of the header.\"\"\"
    def __init__(self, connection: str = ...) -> None: ...
    def close(self) -> None: ...
    @property
    def is_open(self) -> bool: ...
    @property
    def connection(self) -> str: ...
    def cancel(self) -> int: ...
    def set_first_byte_timeout(self, ms: int) -> None: ...
    def set_answer_matching(self, on: bool) -> None: ...
    @property
    def last_failure(self) -> int: ...
    @property
    def last_failure_text(self) -> str: ...
    @property
    def last_answer_length(self) -> int: ...
    def ntag_read_counter(self, reader_id: int, counter_no: int) -> int: ...
"""

STUB_TAIL = """
class TagMemory:
    def __init__(self) -> None: ...

class Sim:
    def __init__(self, cards: List[str], display: bool = ..., reader_number: int = ...) -> None: ...
    @property
    def path(self) -> str: ...
    def stop(self) -> None: ...
    def place(self, card: str) -> int: ...
    def load_dump(self, path: str, format: str) -> int: ...
    def save_dump(self, handle: int, path: str, format: str) -> None: ...
    def memory(self, handle: int) -> bytes: ...
    def remove(self, handle: int) -> bool: ...
    def reinsert(self, handle: int) -> None: ...
    def clear(self) -> None: ...
    def field(self) -> List[str]: ...
    def describe(self, handle: int) -> str: ...
    def lcd(self) -> bytes: ...
    @property
    def beeps(self) -> int: ...
    @property
    def led_text(self) -> str: ...

def method_names() -> List[str]: ...
def check_connection(connection: str) -> Tuple[bool, str]: ...
def list_readers() -> List[Dict[str, Any]]: ...
def version() -> str: ...
def ndef_encode(records: List[Tuple[int, bytes, bytes, bytes]]) -> bytes: ...
def ndef_decode(data: bytes) -> List[Tuple[int, bytes, bytes, bytes]]: ...
def ndef_text(text: str, lang: str = ...) -> Tuple[int, bytes, bytes, bytes]: ...
def ndef_parse_text(record: Tuple[int, bytes, bytes, bytes]) -> Optional[Tuple[str, str]]: ...
def ndef_uri(uri: str) -> Tuple[int, bytes, bytes, bytes]: ...
def ndef_parse_uri(record: Tuple[int, bytes, bytes, bytes]) -> Optional[str]: ...
def ndef_describe(record: Tuple[int, bytes, bytes, bytes]) -> str: ...
def ndef_read_message(memory: TagMemory) -> bytes: ...
def ndef_write_message(memory: TagMemory, message: bytes) -> Dict[str, Any]: ...
def ndef_parse_mad(mad: bytes) -> List[int]: ...
NDEF_AID: int
MAD_KEY_A: bytes
NFC_FORUM_KEY_A: bytes
def mfc_access(trailer: bytes) -> Dict[str, Any]: ...
def mfc_access_bytes(conditions: List[int]) -> bytes: ...
def mfc_first_block(sector: int) -> int: ...
def mfc_blocks_in(sector: int) -> int: ...
def mfc_sector_of(block: int) -> int: ...
def mfc_is_trailer(block: int) -> bool: ...
def mfc_dump_format(path: str, named: bool = ...) -> Optional[str]: ...
def mfc_parse_dump(file: bytes, format: str, key_record: Optional[str] = ...) -> Dict[str, Any]: ...
def mfc_write_dump(image: bytes, format: str) -> bytes: ...
def write_file_whole(path: str, data: bytes, mode: int = ...) -> None: ...
"""


def stub(ms):
    lines = [STUB_HEAD]
    for m in ms:
        args, ret = py_sig(m)
        lines.append(f"    def {m.name}(self{''.join(', ' + a for a in args)}) -> {ret}: ...")
    return "\n".join(lines) + "\n" + STUB_TAIL


def write(path, text):
    tmp = path + ".tmp"
    with open(tmp, "w", encoding="utf-8") as f:
        f.write(text)
    os.replace(tmp, path)


def main():
    if len(sys.argv) not in (2, 3):
        raise SystemExit("usage: gen_bindings.py OUTPUT.cpp [OUTPUT.pyi]")
    ms = orvex_header.methods()
    if len(sys.argv) == 3:
        write(sys.argv[2], stub(ms))
    body = "\n".join(binding(m) for m in ms)
    names = "\n".join(f'    "{m.name}",' for m in ms)
    write(sys.argv[1], TEMPLATE.replace("@BODY@", body).replace("@NAMES@", names))


if __name__ == "__main__":
    main()
