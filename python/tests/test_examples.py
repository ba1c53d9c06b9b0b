# SPDX-License-Identifier: MIT
# The Python examples, and the README's Python program, run against the
# simulated reader.
import os
import re
import subprocess
import sys

from orvex.sim import Simulator

SOURCE_DIR = os.environ.get("ORVEX_SOURCE_DIR",
                            os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__)))))
EXAMPLES = os.path.join(SOURCE_DIR, "examples", "python")


def run(args, timeout=30):
    return subprocess.run([sys.executable] + args, capture_output=True, text=True, timeout=timeout,
                          check=True).stdout


def test_scan_example():
    with Simulator(cards=["mfc1k:11223344", "ntag215:04A1B2C3D4E5F6"]) as sim:
        out = run([os.path.join(EXAMPLES, "scan.py"), sim.path])
    assert out.splitlines() == ["iso14443a 11223344 MIFARE Classic 1K",
                                "iso14443a 04A1B2C3D4E5F6 Type 2 tag (Ultralight, NTAG)",
                                "2 card(s)"]


def test_read_ndef_example():
    import orvex
    with Simulator(cards=["ntag215"]) as sim:
        with orvex.Reader(sim) as reader:
            reader.ndef.write([orvex.ndef.Text("hi"), orvex.ndef.Uri("https://example.com")])
        out = run([os.path.join(EXAMPLES, "read_ndef.py"), sim.path])
    assert out.splitlines() == ["text (en): hi", "uri: https://example.com", "2 record(s)"]


def test_send_apdu_example():
    with Simulator(cards=["cpu"]) as sim:
        out = run([os.path.join(EXAMPLES, "send_apdu.py"), sim.path,
                   "00A404000D4F56582E50555253452E415050", "0084000004"])
    lines = out.splitlines()
    assert lines[0].startswith("ATS ")
    assert lines[1:3] == ["> 00A404000D4F56582E50555253452E415050", lines[2]]
    assert lines[2].endswith(" 9000")
    assert re.fullmatch(r"< [0-9A-F]{8} 9000", lines[4])


def test_readme_python_program():
    readme = open(os.path.join(SOURCE_DIR, "README.md"), encoding="utf-8").read()
    section = readme[readme.index("## Python"):]
    blocks = re.findall(r"```python\n(.*?)```", section, re.S)
    assert blocks, "the README's Python section has no program"
    for code in blocks:
        out = run(["-c", code])
        assert out.strip(), code
