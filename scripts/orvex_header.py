# SPDX-License-Identifier: MIT
"""The one reading of include/orvex.h that the generators share (the fuzz
method table, the Python bindings): the methods of class Orvex that the
library provides, each with its parameters, its doc comment, the section of
the header it sits in, and the size of every buffer it reads or writes.

    import orvex_header
    for m in orvex_header.methods():
        print(m.name, [(p.type, p.name) for p in m.params], m.section)
"""
import os
import re
from dataclasses import dataclass, field
from typing import List, Optional

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
HEADER = os.path.join(ROOT, "include", "orvex.h")


@dataclass
class Param:
    type: str   # "unsigned char*", "int", "int&", ... (spaces normalised)
    name: str

    @property
    def is_pointer(self) -> bool:
        return self.type.endswith("*")


@dataclass
class Method:
    name: str
    params: List[Param]
    doc: str          # the doc comment's text, without the comment markers
    section: str      # the title of the header section it belongs to
    section_doc: str = ""  # the section's preface (results common to its methods)
    extra: List[str] = field(default_factory=list)


def _clean_doc(raw: str) -> str:
    lines = []
    for line in raw.splitlines():
        line = line.strip()
        line = re.sub(r"^/\*\*\s?", "", line)
        line = re.sub(r"\s*\*/$", "", line)
        line = re.sub(r"^\*\s?", "", line)
        lines.append(line)
    return " ".join(x for x in lines if x).strip()


def _params(text: str) -> List[Param]:
    out = []
    for p in [x.strip() for x in text.split(",") if x.strip()]:
        m = re.match(r"(.*?)([A-Za-z_]\w*)$", p)
        out.append(Param(" ".join(m.group(1).split()).replace(" *", "*").replace(" &", "&"),
                         m.group(2)))
    return out


def header_text() -> str:
    with open(HEADER, encoding="utf-8") as f:
        return f.read()


def methods(text: Optional[str] = None) -> List[Method]:
    """The methods of class Orvex that the library provides, in header order."""
    text = header_text() if text is None else text
    start = text.index("class ORVEX_API Orvex {")
    end = text.index("not provided by this library", start)
    body = text[start:end]
    found = []
    section, section_doc = "", ""
    item = re.compile(
        r"/\*\s*=+\s*\*/\s*/\*\s*(?P<title>[^*]+?)\s*\*/\s*/\*\s*=+\s*\*/"   # section banner
        r"(?:\s*/\*(?!\*)(?P<preface>(?:(?!\*/).)*)\*/)?"                       # and its preface
        r"|/\*\s*-+\s*ORVEX-GROUP:\s*(?P<gtitle>[^-*]+?)\s*-+\s*\*/"           # group marker
        r"(?:\s*/\*(?!\*|\s*=)(?P<gpreface>(?:(?!\*/).)*)\*/)?"
        r"|(?P<doc>/\*\*(?:(?!\*/).)*\*/)\s*int\s+(?P<name>(?:OV_|DES)\w*)\((?P<params>[^)]*)\);"
        r"|\n\s*int\s+(?P<bare>(?:OV_|DES)\w*)\((?P<bparams>[^)]*)\);",
        re.S)
    for m in item.finditer(body):
        if m.group("title") or m.group("gtitle"):
            section = (m.group("title") or m.group("gtitle")).strip()
            section_doc = _clean_doc(m.group("preface") or m.group("gpreface") or "")
        elif m.group("name"):
            found.append(Method(m.group("name"), _params(m.group("params")),
                                _clean_doc(m.group("doc")), section, section_doc))
        else:
            found.append(Method(m.group("bare"), _params(m.group("bparams")), "", section,
                                section_doc))
    return found


def declares_free_function(name: str, text: Optional[str] = None) -> bool:
    text = header_text() if text is None else text
    return re.search(r"ORVEX_API int %s\(" % re.escape(name), text) is not None


# The sizes of the buffers the methods read and write. A byte buffer that
# none of these tables names may receive a whole answer (ORVEX_MAX_ANSWER).
# Output widths the documentation gives, by method and parameter.
WIDTH = {
    ("OV_Get433ModuleParam", "Param"): "8",
    ("OV_ReadaBlock", "pData"): "16",
    ("OV_UltraLightRead", "pData"): "16",
    ("OV_Config_TextPowerOn_Get", "Data"): "64",
    ("OV_Config_TextRun_Get", "Data"): "64",
    ("DES", "out"): "8", ("DES3", "pOutData"): "8", ("DES3_CBC", "pOutData"): "8",
    ("OV_Felica_Polling", "PMm"): "8", ("OV_Felica_Polling", "RequestData"): "2",
    ("OV_Felica_RequestService", "NodeKeyList"): "3", ("OV_Felica_RequestResponse", "Mode"): "1",
    ("OV_ChinaIDV2_RequestCardNo", "CardNo"): "8", ("OV_SLE_ReadSecurityLogic", "PSC"): "3",
    ("OV_AT88RF020_Lock", "LockByte"): "4",  # an input: the 4 lock bytes sent
}
# One-byte outputs (unsigned char* that receive a single value).
ONE_BYTE = {"LenSNO", "SAK", "CardMem", "SNLen", "Enable", "Line", "Column", "Font", "config",
            "timespan", "width", "height", "line", "column", "len", "ChipID", "LockByte",
            "PLen", "LenOfFCI", "Status", "uri", "Status1", "Status2", "LengthOfCardNo",
            "ErrorCounter"}
# Inputs: sizes of what the method reads.
INPUT_SIZE = {"Key": "24", "pkey": "8", "pKey": "24", "in": "8", "pInData": "8", "pIV": "8",
              "IDM": "8", "NodeList": "2", "ServiceCodeList": "2", "BlockList": "1",
              "pBlockData": "16"}
ALL = "ORVEX_MAX_ANSWER"


def buffer_size(method: str, param: str) -> str:
    """The size of a byte buffer parameter, as a C expression: its documented
    width, 1 for single-byte outputs, the bytes an input is read for, or
    ORVEX_MAX_ANSWER for outputs that receive every answer byte."""
    width = WIDTH.get((method, param))
    if width is None and param in ONE_BYTE:
        width = "1"
    if width is None:
        width = INPUT_SIZE.get(param) or ALL
    return width
