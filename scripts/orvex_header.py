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

    @property
    def outputs(self) -> List["Output"]:
        """The outputs its doc comment sizes, in the order it names them."""
        return _outputs(self.doc)


@dataclass
class Output:
    name: str
    size: str       # a C expression: bytes, or values of the output's type
    unit: str       # "byte", or the output's type ("int", "unsigned short", ...)
    at_most: bool   # "at most N bytes": the count written goes to a length output
    note: str = ""  # what the doc adds in brackets ("cut to 8 bits": a count kept to 8 bits)


_OUTPUTS = re.compile(r"Outputs: (?P<list>.*?)\.(?:\s|$)")
_OUTPUT = re.compile(r"(?P<name>\w+) (?P<most>at most )?(?P<size>.+?) "
                     r"(?P<unit>bytes?|int|short|unsigned short|unsigned int)(?: \((?P<note>[^)]*)\))?$")


def _outputs(doc: str) -> List[Output]:
    """The "Outputs: A 8 bytes, B at most 16 x N bytes, C 1 int, D 1 byte (cut
    to 8 bits)." sentence of a doc comment, each size as a C expression
    ("16 * N")."""
    m = _OUTPUTS.search(doc)
    if not m:
        return []
    found = []
    for item in " ".join(m.group("list").split()).split(", "):
        o = _OUTPUT.match(item)
        if not o:
            raise ValueError("unreadable output size: %r" % item)
        unit = "byte" if o.group("unit").startswith("byte") else o.group("unit")
        found.append(Output(o.group("name"), o.group("size").replace(" x ", " * "), unit,
                            bool(o.group("most")), o.group("note") or ""))
    return found


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
        r"|(?P<doc>/\*\*(?:(?!\*/).)*\*/)\s*int\s+(?P<name>(?:OV_|DES)\w*)\((?P<params>[^)]*)\);"
        r"|\n\s*int\s+(?P<bare>(?:OV_|DES)\w*)\((?P<bparams>[^)]*)\);",
        re.S)
    for m in item.finditer(body):
        if m.group("title"):
            section = m.group("title").strip()
            section_doc = _clean_doc(m.group("preface") or "")
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


# The sizes of the buffers the methods read. Output sizes come from the
# header itself (each method's "Outputs:" sentence); a byte buffer neither
# names may receive a whole answer (ORVEX_MAX_ANSWER).
INPUT_WIDTH = {
    ("OV_AT88RF020_Lock", "LockByte"): "4",  # the 4 lock bytes sent
}
INPUT_SIZE = {"Key": "24", "pkey": "8", "pKey": "24", "in": "8", "pInData": "8", "pIV": "8",
              "IDM": "8", "NodeList": "2", "ServiceCodeList": "2", "BlockList": "1",
              "pBlockData": "16"}
ALL = "ORVEX_MAX_ANSWER"


def _byte_output_tables():
    """Views of the header's output sizes for readers that look a byte
    output up by name: the documented width of every fixed-size byte output
    by method and parameter (the input widths above joined in), and the names
    of the outputs that are a single byte wherever they appear."""
    width, one_byte, wider = dict(INPUT_WIDTH), set(), set()
    for m in methods():
        for o in m.outputs:
            if o.unit != "byte":
                continue
            if o.size == "1":
                one_byte.add(o.name)
            else:
                wider.add(o.name)
                if not o.at_most:
                    width[(m.name, o.name)] = o.size
    return width, one_byte - wider


WIDTH, ONE_BYTE = _byte_output_tables()


_BY_NAME = {}


def output(method: str, param: str) -> Optional[Output]:
    """The size the header gives for an output of a method, if it gives one."""
    if not _BY_NAME:
        _BY_NAME.update((m.name, m) for m in methods())
    m = _BY_NAME.get(method)
    for o in (m.outputs if m else []):
        if o.name == param:
            return o
    return None


def buffer_size(method: str, param: str) -> str:
    """The size of a buffer parameter, as a C expression: for an output the
    size its method's doc comment gives (bytes, or values of its type; it may
    name the method's integer parameters), for an input the bytes it is read
    for, else ORVEX_MAX_ANSWER (a buffer that may receive a whole answer)."""
    o = output(method, param)
    if o is not None:
        return o.size
    return INPUT_WIDTH.get((method, param)) or INPUT_SIZE.get(param) or ALL
