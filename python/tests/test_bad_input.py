# SPDX-License-Identifier: MIT
# Bad input gives a Python exception with a clear message, never a crash:
# wrong types, wrong lengths, negative numbers, a closed reader, an unknown
# connection string; for the generated layer and the Pythonic one.
import pytest

import orvex


@pytest.fixture
def link(orvex_sim):
    lk = orvex.Link(orvex_sim.path)
    yield lk
    lk.close()


def test_wrong_types(link):
    with pytest.raises(TypeError):
        link.OV_KeyAuthorization(0, 0x60, 4, "ffffffffffff")  # str, not bytes
    with pytest.raises(TypeError):
        link.OV_ReadaBlock(0, "4", 16)
    with pytest.raises(TypeError):
        link.OV_ReadaBlock(0, 4.0, 16)
    with pytest.raises(TypeError):
        link.OV_LEDDisplay(0, 0, 12)
    with pytest.raises(TypeError):
        link.OV_GetReaderVersion()


def test_wrong_lengths(link):
    with pytest.raises(ValueError, match="Key must be exactly 6 bytes, not 5"):
        link.OV_KeyAuthorization(0, 0x60, 4, b"\xff" * 5)
    with pytest.raises(ValueError, match="pData holds 3 bytes, 16 needed"):
        link.OV_WriteaBlock(0, 4, 16, b"abc")
    with pytest.raises(ValueError, match="longer than any command"):
        link.OV_TypeA_COS(0, 5, b"\x00" * 100000)
    with pytest.raises(ValueError, match="NUL"):
        link.OV_LEDDisplay(0, 0, "1\x002")


def test_numbers_out_of_range_and_negative(link):
    with pytest.raises(ValueError, match="KeyMode must be between 0 and 255, not 256"):
        link.OV_KeyAuthorization(0, 256, 4, b"\xff" * 6)
    with pytest.raises(ValueError, match="not -1"):
        link.OV_ISO15693_Read(0, 0x22, bytes(8), -1, 1)
    with pytest.raises(ValueError, match="must not be negative"):
        link.OV_WriteaBlock(0, 4, -16, bytes(16))
    with pytest.raises(ValueError):
        link.OV_ReadaBlock(0, 2**40, 16)
    with pytest.raises(TypeError):
        link.OV_ReadaBlock(0, 2**80, 16)  # beyond any integer the binding takes


def test_negative_lengths_never_reach_the_library(link):
    with pytest.raises(ValueError, match="length of Com_COS must not be negative"):
        link.OV_SAM_COS(0, 1, -5, b"")
    assert link.OV_GetReaderVersion(0) == 0x0107  # nothing was sent, the link is fine


def test_closed_reader(orvex_sim):
    reader = orvex.Reader(orvex_sim)
    reader.close()
    reader.close()  # twice is harmless
    for call in (reader.info, reader.scan, lambda: reader.beep(), lambda: reader.raw.OV_GetReaderVersion(0),
                 lambda: reader.ndef.read()):
        with pytest.raises(orvex.ReaderClosed, match="closed"):
            call()


def test_unknown_connection_strings():
    for bad in ("", "usb:x:y", "ttyS:abc", "serial", "/dev/ttyUSB0@1"):
        with pytest.raises(orvex.UnknownConnection) as e:
            orvex.Link(bad)
        assert repr(bad)[1:-1] in str(e.value)
    with pytest.raises(orvex.UnknownConnection, match="NUL"):
        orvex.Link("/dev/tty\x00S0")


def test_pythonic_layer_checks(orvex_sim):
    with orvex.Reader(orvex_sim) as reader:
        with pytest.raises(ValueError, match="between 0 and 255"):
            reader.beep(on=-1)
        with pytest.raises(TypeError):
            reader.beep(on="1")
        with pytest.raises(TypeError):
            reader.display(12)
        with pytest.raises(ValueError):
            reader.display("x" * 17)
        with pytest.raises(ValueError):
            reader.display("1", align="middle")
        card = [c for c in reader.scan() if isinstance(c, orvex.MifareClassic)][0]
        card.select()
        with pytest.raises(ValueError, match="key must be 6 bytes"):
            card.authenticate(4, b"\xff")
        with pytest.raises(ValueError):
            card.authenticate(64)
        with pytest.raises(ValueError):
            card.read_block(-1)
        with pytest.raises(TypeError):
            card.write_block(4, "sixteen chars!!!")
        with pytest.raises(ValueError):
            card.increment(4, -5)
        with pytest.raises(ValueError):
            card.value_init(3, 1)  # a trailer
        with pytest.raises(TypeError):
            reader.ndef.write("hi")
        with pytest.raises(TypeError):
            orvex.ndef.Text(b"hi")
    with pytest.raises(ValueError):
        orvex.Reader(orvex_sim, reader_id=-1)
