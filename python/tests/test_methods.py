# SPDX-License-Identifier: MIT
# The generated layer: every Orvex method of the header bound on orvex.Link,
# with its doc comment, and one family at a time through the simulated reader.
import os
import subprocess

import pytest

import orvex
import orvex_header  # the shared reading of include/orvex.h (conftest puts scripts/ on the path)

BLANK_KEY = b"\xff" * 6


@pytest.fixture
def link(orvex_sim):
    lk = orvex.Link(orvex_sim.path)
    yield lk
    lk.close()


def test_every_public_method_has_a_binding():
    declared = [m.name for m in orvex_header.methods()]
    assert len(declared) > 200
    missing = [n for n in declared if not hasattr(orvex.Link, n)]
    assert missing == []
    assert orvex.method_names() == declared


def test_docstrings_come_from_the_header():
    for m in orvex_header.methods():
        doc = getattr(orvex.Link, m.name).__doc__
        assert " ".join(m.doc.split()) in doc, m.name
        for p in m.params:
            # each input parameter by its C++ name, each output in the result
            assert p.name in doc, (m.name, p.name)


@pytest.mark.orvex_cards("mfc1k:11223344")
def test_same_results_as_the_same_calls_from_cpp(orvex_sim, link):
    def hexs(b):
        return b.hex()

    got = [f"OV_GetReaderVersion {link.OV_GetReaderVersion(0)}"]
    serial = link.OV_GetReaderSerial(0)
    got.append(f"OV_GetReaderSerial {len(serial)} {hexs(serial)}")
    atqa, sak, uid = link.OV_RequestAntiandSelect(0, 0x52, 0)
    got.append(f"OV_RequestAntiandSelect 1 {atqa} {sak} {hexs(uid)}")
    got.append(f"OV_KeyAuthorization {link.OV_KeyAuthorization(0, 0x60, 0, BLANK_KEY)}")
    got.append(f"OV_ReadaBlock 1 {hexs(link.OV_ReadaBlock(0, 1, 16))}")
    with pytest.raises(orvex.ReaderRefused) as e:
        link.OV_KeyAuthorization(0, 0x60, 4, bytes([1, 2, 3, 4, 5, 6]))
    got.append(f"OV_KeyAuthorization {e.value.code}")
    des = link.DES(0, bytes.fromhex("133457799BBCDFF1"), bytes.fromhex("0123456789ABCDEF"))
    got.append(f"DES 1 {hexs(des)}")
    with pytest.raises(orvex.ReaderRefused) as e:  # no 125 kHz card: the reader refuses
        link.OV_LFCard_ReadID(0)
    assert e.value.method == "OV_LFCard_ReadID"
    got.append(f"OV_LFCard_ReadID {e.value.code}")
    link.close()

    # The same calls from C++ on a fresh simulated reader holding the same card.
    from orvex.sim import Simulator
    with Simulator(cards=["mfc1k:11223344"]) as fresh:
        out = subprocess.run([os.environ["ORVEX_PY_CROSSCHECK"], fresh.path], capture_output=True,
                             text=True, timeout=30, check=True).stdout
    assert got == out.splitlines()
    assert got[0] == "OV_GetReaderVersion 263"
    assert got[6] == "DES 1 85e813540f0ab405"


def test_reader_management(orvex_sim, link):
    assert link.OV_GetDLLVersion() == 7
    assert link.OV_GetReaderVersion(0) == 0x0107
    assert len(link.OV_GetReaderSerial(0)) == 8
    before = orvex_sim.beeps
    assert link.OV_Buzzer(0, 1, 1, 2) == 1
    assert orvex_sim.beeps > before
    assert link.OV_LEDDisplay(0, 0, "12.34") == 1
    assert "12.34" in orvex_sim.led_text
    assert link.OV_Get433ModuleParam(0) == bytes(8)


@pytest.mark.orvex_cards("mfc1k:11223344")
def test_iso14443a_and_mifare_classic(link):
    assert link.OV_RequestAntiandSelect(0, 0x52, 0) == (0x0004, 0x08, bytes.fromhex("11223344"))
    assert link.OV_KeyAuthorization(0, 0x60, 4, BLANK_KEY) == 1
    assert link.OV_WriteaBlock(0, 5, 16, bytes(range(16))) == 1
    assert link.OV_ReadaBlock(0, 5, 16) == bytes(range(16))
    assert link.OV_Purse_Initial(0, 6, 100) == 1
    assert link.OV_Purse_Charge(0, 6, 25) == 1
    assert link.OV_Transfer(0, 6) == 1
    assert link.OV_Purse_Read(0, 6) == 125
    with pytest.raises(orvex.ReaderRefused) as e:
        link.OV_ReadaBlock(0, 8, 16)  # another sector, not authenticated
    assert e.value.code == -3 and "refused" in str(e.value)


@pytest.mark.orvex_cards("ntag215")
def test_ntag(link):
    atqa, sak, uid = link.OV_RequestAntiandSelect(0, 0x52, 0)
    assert (atqa, sak, len(uid)) == (0x0044, 0, 7)
    assert link.OV_NTag_GetVersion(0) == bytes.fromhex("0004040201001103")
    page0 = link.OV_NTag_Read(0, 0)
    assert len(page0) == 16 and page0[0:3] == uid[0:3]
    assert link.OV_NTag_Write(0, 8, b"abcd") == 1
    assert link.OV_NTag_Read(0, 8)[0:4] == b"abcd"
    assert len(link.OV_NTag_FastRead(0, 4, 7)) == 16


@pytest.mark.orvex_cards("iso15693")
def test_iso15693(link):
    inventory = link.OV_ISO15693_Inventory(0)
    assert len(inventory) >= 9
    uid = inventory[-8:]
    assert link.OV_ISO15693_Write(0, 0x22, uid, 3, 4, b"\x01\x02\x03\x04") == 1
    assert link.OV_ISO15693_Read(0, 0x22, uid, 3, 1)[-4:] == b"\x01\x02\x03\x04"


def test_sam(link):
    atr = link.OV_SAM_Reset(0, 1)
    assert len(atr) > 2
    answer = link.OV_SAM_COS(0, 1, 5, bytes.fromhex("0084000008"))
    assert len(answer) == 10 and answer[-2:] == b"\x90\x00"


@pytest.mark.orvex_cards("cpu")
def test_cpu_card_and_fmcos(link):
    ats = link.OV_TypeA_Reset(0, 0x52, 0)
    assert len(ats) > 2
    challenge, status = link.OV_FM_GetChallenge(0, 8)
    assert len(challenge) == 8 and status == 0x0090
    response = link.OV_TypeA_COS(0, 5, bytes.fromhex("0084000004"))
    assert len(response) == 6 and response[-2:] == b"\x90\x00"


@pytest.mark.orvex_cards("sle4442")
def test_sle4442_family_result_codes(link):
    assert len(link.OV_SLE_Reset(0)) == 4
    assert len(link.OV_SLE_ReadMainMemory(0, 0, 16)) == 16


@pytest.mark.orvex_cards("felica")
def test_felica(link):
    idm, pmm, request = link.OV_Felica_Polling(0, 0xFFFF, 0, 0)
    assert len(idm) == 8 and len(pmm) == 8 and request == b"\x00\x00"


@pytest.mark.orvex_cards()
def test_felica_family_error_carries_method_and_code(link):
    with pytest.raises(orvex.FelicaError) as e:
        link.OV_Felica_Polling(0, 0xFFFF, 0, 0)
    assert e.value.method == "OV_Felica_Polling" and e.value.code == -2
    assert "OV_Felica_Polling failed (-2)" in str(e.value)


@pytest.mark.orvex_cards("topaz")
def test_topaz(link):
    with pytest.raises(orvex.ReaderRefused):
        link.OV_TOPAZ_ReadUID(0)  # asleep until a request wakes it
    link.OV_RequestCard(0, 0x52)
    hr0, hr1, uid = link.OV_TOPAZ_ReadUID(0)
    assert hr0 & 0xF0 == 0x10 and len(uid) == 4


@pytest.mark.orvex_display
@pytest.mark.orvex_cards()
def test_display_family(link):
    assert link.OV_ShowText(0, 0, 0, 0, 5, b"hello") == 1
    assert link.OV_Config_Font_Set(0, 1) == 1
    assert link.OV_Config_Font_Get(0) == 1
    with pytest.raises(orvex.DisplayError) as e:
        link.OV_Config_Font_Set(0, 9)  # no such font: the reader refuses with its status
    assert e.value.code > 1
    with pytest.raises(orvex.DisplayError) as e:
        link.OV_ShowImage(0, 0, 0, 0, 200, 64, bytes(1600))  # wider than the LCD
    assert e.value.code == -2 and "refused before sending" in str(e.value)


def test_ndef_family(link):
    assert link.OV_NDEF_Initial() in (0, 1)
    assert link.OV_NDEF_ClearRecords() == 1
    assert link.OV_NDEF_AddRecord(0, 2, b"hi") == 1
    assert link.OV_NDEF_GetRecord(0) == (0, b"hi")
    with pytest.raises(orvex.NDEFError) as e:
        link.OV_NDEF_GetRecord(3)
    assert e.value.code == 0
    assert link.OV_NDEF_Free() == 1


def test_des(link):
    key16 = bytes.fromhex("0123456789ABCDEFFEDCBA9876543210")
    block = bytes.fromhex("0011223344556677")
    enc = link.DES3(0, key16, block)
    assert link.DES3(1, key16, enc) == block
    cbc = link.DES3_CBC(0, key16, block, bytes(8))
    assert cbc == enc  # one block with a zero IV is plain triple-DES


def test_type_stub_declares_every_method_as_bound():
    import ast
    stub = os.path.join(os.path.dirname(orvex.__file__), "_orvex.pyi")
    tree = ast.parse(open(stub, encoding="utf-8").read())
    link = [n for n in tree.body if isinstance(n, ast.ClassDef) and n.name == "Link"][0]
    declared = {f.name: [a.arg for a in f.args.args[1:]] for f in link.body if isinstance(f, ast.FunctionDef)}
    for name in orvex.method_names():
        assert name in declared, name
        # the binding's own signature line (pybind11's first docstring line)
        first = getattr(orvex.Link, name).__doc__.splitlines()[0]
        bound = [a.split(":")[0].strip() for a in first[first.index("(") + 1:first.rindex(")")].split(",")[1:]]
        assert declared[name] == [b for b in bound if b], name
