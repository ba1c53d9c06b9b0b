# SPDX-License-Identifier: MIT
# The Pythonic layer of orvex.Reader against the simulated reader.
import os

import pytest

import orvex
from orvex import ndef
from orvex.sim import Simulator

KEY = b"\xff" * 6


@pytest.fixture
def reader(orvex_sim):
    with orvex.Reader(orvex_sim) as r:
        yield r


def test_info_beep_led_display(orvex_sim, reader):
    info = reader.info()
    assert info["version"] == 0x0107 and info["version_text"] == "1.07"
    assert len(info["serial"]) == 16
    before = orvex_sim.beeps
    reader.beep(on=2, off=2, cycles=3)
    assert orvex_sim.beeps == before + 3
    reader.led(index=1, on=1, off=1, cycles=1, lit=2)
    reader.display("12.34", align="right")
    assert orvex_sim.led_text.strip() == "12.34"


@pytest.mark.orvex_cards("mfc1k:11223344", "ntag215:04A1B2C3D4E5F6", "iso15693:E0040150AABBCCDD", "cpu",
                         "felica", "sle4442", "topaz", "typeb", "sr512", "lf")
def test_scan_finds_every_family(reader):
    found = reader.scan()
    families = [c.family for c in found]
    for f in ("iso14443a", "topaz", "felica", "iso14443b", "st-memory", "iso15693", "lf-125khz", "sle4442"):
        assert f in families, (f, families)
    mfc = [c for c in found if isinstance(c, orvex.MifareClassic)][0]
    assert (mfc.uid, mfc.atqa, mfc.sak, mfc.kind) == (bytes.fromhex("11223344"), 0x0004, 0x08, "MIFARE Classic 1K")
    ntag = [c for c in found if isinstance(c, orvex.Ntag)][0]
    assert ntag.uid == bytes.fromhex("04A1B2C3D4E5F6") and ntag.atqa == 0x0044 and ntag.sak == 0
    assert [c.uid for c in found if c.family == "iso15693"] == [bytes.fromhex("E0040150AABBCCDD")]
    assert any(isinstance(c, orvex.IsoDepCard) for c in found)


@pytest.mark.orvex_cards("mfc1k:11223344")
def test_mifare_classic_blocks_values_and_keys(reader):
    (card,) = reader.scan()
    card.select()
    card.authenticate(4, KEY, "A")
    card.write_block(5, bytes(range(16)))
    assert card.read_block(5) == bytes(range(16))
    card.value_init(6, 100)
    card.increment(6, 50)
    card.decrement(6, 30)
    assert card.value_read(6) == 120
    card.restore(6, transfer_to=4)
    assert card.value_read(4) == 120
    with pytest.raises(orvex.ReaderRefused):
        card.authenticate(8, b"\x01\x02\x03\x04\x05\x06", "B")
    card.authenticate(8, KEY, "B")  # selected again after the refusal
    with pytest.raises(ValueError, match="trailer"):
        card.write_block(11, bytes(16))
    with pytest.raises(ValueError, match="access bytes"):
        card.write_block(11, bytes(16), allow_trailer=True)  # bytes 6-8 do not check: refused, not written
    with pytest.raises(ValueError, match="block 0"):
        card.write_block(0, bytes(16))


def test_trailer_access_conditions():
    transport = KEY + bytes.fromhex("FF078069") + KEY
    acc = orvex.access_conditions(transport)
    assert acc["conditions"] == [0, 0, 0, 1]
    assert acc["blocks"][0] == {"read": "A|B", "write": "A|B", "increment": "A|B", "decrement": "A|B"}
    assert acc["trailer"]["write_key_a"] == "A"
    # the NFC Forum's NDEF sector conditions: data read A|B, write B
    ndef_bytes = orvex.access_bytes([4, 4, 4, 3])
    assert orvex.access_conditions(KEY + ndef_bytes + b"\x40" + KEY)["conditions"] == [4, 4, 4, 3]
    with pytest.raises(ValueError):
        orvex.access_conditions(bytes(16))  # inconsistent access bytes
    with pytest.raises(ValueError):
        orvex.access_conditions(b"short")


@pytest.mark.orvex_cards("mfc1k:11223344")
def test_mifare_classic_dump_restore_round_trip_byte_for_byte(orvex_sim, reader, tmp_path):
    (card,) = reader.scan()
    card.select()
    card.authenticate(4)
    card.write_block(4, b"first data block")
    card.write_block(5, bytes(range(100, 116)))
    # sector 3 gets key B 010203040506 (key A stays the transport key)
    card.authenticate(15)
    card.write_block(15, KEY + bytes.fromhex("FF078069") + bytes.fromhex("010203040506"), allow_trailer=True)
    path = tmp_path / "card.mfd"
    image = card.dump_to(path)
    assert path.read_bytes() == image
    assert image == orvex_sim.memory(orvex_sim.cards[0])  # every byte, keys included
    assert [p.name for p in tmp_path.iterdir()] == ["card.mfd"]  # no temporary file left

    with Simulator(cards=["mfc1k:11223344"]) as blank, orvex.Reader(blank) as other:
        (target,) = other.scan()
        assert blank.memory(blank.cards[0]) != image
        target.restore_from(path)
        assert blank.memory(blank.cards[0]) == path.read_bytes()

    # the same card in the text formats, as orvex mfc dump writes them
    card.dump_to(tmp_path / "card.eml")
    card.dump_to(tmp_path / "card.json")
    eml = (tmp_path / "card.eml").read_text().splitlines()
    assert len(eml) == 64 and eml[4] == b"first data block".hex().upper()
    dump = orvex._orvex.mfc_parse_dump((tmp_path / "card.json").read_bytes(), "json")
    assert dump["data"] == image and dump["unknown_blocks"] == []
    assert dump["uid"] is None  # a card read by the Python layer: the file holds the blocks
    assert os.stat(tmp_path / "card.json").st_mode & 0o777 == 0o600
    for name in ("card.eml", "card.json"):
        with Simulator(cards=["mfc1k:11223344"]) as blank, orvex.Reader(blank) as other:
            (target,) = other.scan()
            target.restore_from(tmp_path / name)
            assert blank.memory(blank.cards[0]) == image, name


def test_sector_layout_is_the_sdks():
    from orvex.cards import first_block, blocks_in, sector_of, is_trailer
    assert [first_block(s) for s in (0, 1, 31, 32, 39)] == [0, 4, 124, 128, 240]
    assert [blocks_in(s) for s in (0, 31, 32, 39)] == [4, 4, 16, 16]
    assert [sector_of(b) for b in (0, 3, 4, 127, 128, 143, 144, 255)] == [0, 0, 1, 31, 32, 32, 33, 39]
    assert [b for b in range(256) if is_trailer(b)] == [4 * s + 3 for s in range(32)] + [
        128 + 16 * s + 15 for s in range(8)]
    with pytest.raises(ValueError, match="sector is 0 to 39, not 40"):
        first_block(40)
    with pytest.raises(ValueError, match="block is 0 to 255, not -1"):
        sector_of(-1)


@pytest.mark.orvex_cards("mfc1k:11223344")
def test_restore_from_refuses_a_dump_that_does_not_know_every_byte(orvex_sim, reader, tmp_path):
    (card,) = reader.scan()
    before = orvex_sim.memory(orvex_sim.cards[0])
    lines = [before[16 * b:16 * b + 16].hex().upper() for b in range(64)]
    lines[5] = lines[5][:30] + "--"
    lines[7] = "-" * 12 + lines[7][12:]
    path = tmp_path / "part.eml"
    path.write_text("\n".join(lines) + "\n")
    with pytest.raises(ValueError, match=r"part.eml: the dump does not know block 5, sector 1's "
                                         r"key A. Nothing was written"):
        card.restore_from(path)
    (tmp_path / "bad.json").write_text('{"blocks": []}')
    with pytest.raises(ValueError, match=r'bad.json: "blocks" holds 0 blocks; a MIFARE Classic dump holds 64 '
                                         r"\(1K\) or 256 \(4K\). Nothing was written"):
        card.restore_from(tmp_path / "bad.json")
    assert orvex_sim.memory(orvex_sim.cards[0]) == before


@pytest.mark.orvex_cards("mfc1k:11223344")
def test_a_hidden_key_b_that_no_key_opened_is_never_written_over(orvex_sim, reader, tmp_path):
    (card,) = reader.scan()
    card.select()
    card.authenticate(4, KEY)
    # Access bits 7F 07 88: key B can be neither read nor used to read.
    card.write_block(7, KEY + bytes.fromhex("7F078869") + bytes.fromhex("010203040506"), allow_trailer=True)
    path = tmp_path / "card.mfd"
    image = card.dump_to(path)
    assert image[7 * 16 + 10:7 * 16 + 16] == bytes(6)  # the hidden key B, not found: zeros
    with Simulator(cards=["mfc1k:11223344"]) as blank, orvex.Reader(blank) as other:
        (target,) = other.scan()
        before = blank.memory(blank.cards[0])
        with pytest.raises(ValueError, match=r"card.mfd: the dump does not know sector 1's key B. "
                                             r"Nothing was written"):
            target.restore_from(path)
        assert blank.memory(blank.cards[0]) == before


@pytest.mark.orvex_cards("mfc1k:11223344")
def test_dump_to_writes_the_file_whole_or_not_at_all(orvex_sim, reader, tmp_path):
    (card,) = reader.scan()
    path = tmp_path / "card.mfd"
    path.write_bytes(b"previous")
    with pytest.raises(ValueError, match=r"no/card.mfd: cannot be written \(No such file or directory\)"):
        card.dump_to(tmp_path / "no" / "card.mfd")
    image = card.dump_to(path)
    assert path.read_bytes() == image and len(image) == 1024
    assert os.stat(path).st_mode & 0o777 == 0o600
    assert [p.name for p in tmp_path.iterdir()] == ["card.mfd"]


def test_simulator_keeps_a_card_in_every_dump_format(tmp_path):
    with Simulator(cards=["mfc4k:04112233445566"]) as sim:
        card = sim.cards[0]
        memory = sim.memory(card)
        for name in ("card.mfd", "card.eml", "CARD.JSON"):
            sim.save_dump(card, tmp_path / name)
            loaded = sim.load_dump(tmp_path / name)
            assert sim.memory(loaded) == memory, name
            assert loaded.describe() == card.describe()
        with pytest.raises(ValueError, match=r"card.bin: a MIFARE Classic card is saved to a .mfd, .eml or "
                                             r"\.json file \(its name chooses the format\)"):
            sim.save_dump(card, tmp_path / "card.bin")
        (tmp_path / "part.eml").write_text("--" * 16 + "\n" + ("00" * 16 + "\n") * 63)
        with pytest.raises(ValueError, match="block 0 holds bytes that are not known; a card needs every byte"):
            sim.load_dump(tmp_path / "part.eml")
    import json
    saved = json.loads((tmp_path / "CARD.JSON").read_text())
    assert (saved["uid"], saved["atqa"], saved["sak"]) == ("04112233445566", "0042", "18")
    assert sorted(p.name for p in tmp_path.iterdir()) == ["CARD.JSON", "card.eml", "card.mfd", "part.eml"]


@pytest.mark.orvex_cards("mfc1k:11223344")
def test_restore_refuses_a_bad_image_before_writing(orvex_sim, reader):
    (card,) = reader.scan()
    before = orvex_sim.memory(orvex_sim.cards[0])
    image = bytearray(before)
    image[16:32] = b"X" * 16
    image[7 * 16 + 6:7 * 16 + 9] = b"\x00\x00\x00"  # sector 1's trailer: access bytes that do not check
    with pytest.raises(ValueError, match="Nothing was written"):
        card.restore_image(bytes(image))
    with pytest.raises(ValueError):
        card.restore_image(bytes(100))
    assert orvex_sim.memory(orvex_sim.cards[0]) == before


@pytest.mark.orvex_cards("ntag215")
def test_ntag_pages_and_dump(reader):
    (tag,) = reader.scan()
    assert tag.model == ("NTAG215", 135)
    tag.select()
    tag.write_page(10, b"\x01\x02\x03\x04")
    assert tag.read_pages(10)[:4] == b"\x01\x02\x03\x04"
    dump = tag.dump()
    assert len(dump) == 135 * 4
    assert dump[40:44] == b"\x01\x02\x03\x04"
    assert dump[0:3] == tag.uid[0:3]
    with pytest.raises(ValueError):
        tag.write_page(3, b"\x00" * 4)  # the capability container
    with pytest.raises(ValueError):
        tag.write_page(10, b"\x00" * 3)


@pytest.mark.orvex_cards("ntag215")
def test_ntag_counter(reader):
    (tag,) = reader.scan()
    with pytest.raises(orvex.ReaderRefused):
        tag.counter()  # the NFC counter is off on a new tag: it does not answer
    tag.select()
    tag.write_page(132, b"\x10\x05\x00\x00")  # ACCESS: the NFC counter on
    tag.read_pages(4)  # the first read since the tag powered up counts
    assert tag.counter() == 1
    with pytest.raises(orvex.ReaderRefused):
        tag.counter(0)  # an NTAG has counter 2 only
    with pytest.raises(ValueError):
        tag.counter(3)


@pytest.mark.orvex_cards("ulev1-48")
def test_ultralight_ev1_counters(reader):
    (tag,) = reader.scan()
    assert isinstance(tag, orvex.Ntag)
    assert [tag.counter(n) for n in range(3)] == [0, 0, 0]


def _user_pages(reader):
    (tag,) = [c for c in reader.scan() if isinstance(c, orvex.Ntag)]
    return tag.dump()


@pytest.mark.orvex_cards("ntag213")
def test_ndef_round_trips(reader):
    reader.ndef.write([])
    assert reader.ndef.read() == []
    five = [ndef.Text("one"), ndef.Uri("https://example.com/two"), ndef.Text("drei", lang="de"),
            ndef.Uri("tel:+4412345"), ndef.Record(2, b"text/plain", b"", b"five")]
    reader.ndef.write(five)
    assert reader.ndef.read() == five
    unicode = [ndef.Text("Grüße, 你好, привет ✓")]
    reader.ndef.write(unicode)
    got = reader.ndef.read()
    assert got == unicode and got[0].text == "Grüße, 你好, привет ✓"


@pytest.mark.orvex_cards("ntag213")
def test_ndef_message_too_large_leaves_the_tag_unchanged(reader):
    reader.ndef.write([ndef.Text("kept")])
    before = _user_pages(reader)
    with pytest.raises(orvex.NDEFError) as e:
        reader.ndef.write([ndef.Text("x" * 200)])  # an NTAG213 holds 144 bytes
    assert "207 bytes" in str(e.value) and "at most 142" in str(e.value)
    assert "the tag holds its old message" in str(e.value)
    assert _user_pages(reader) == before
    assert reader.ndef.read() == [ndef.Text("kept")]


def test_ndef_encode_decode_without_a_tag():
    msg = ndef.encode([ndef.Text("hi"), ndef.Uri("https://example.com")])
    assert msg[0] & 0x80  # message begin
    assert ndef.decode(msg) == [ndef.Text("hi"), ndef.Uri("https://example.com")]
    with pytest.raises(orvex.NDEFError):
        ndef.decode(b"\x00\x01")
    with pytest.raises(TypeError):
        ndef.encode(["hi"])


@pytest.mark.orvex_cards("iso15693:E0040150AABBCCDD")
def test_iso15693(reader):
    assert reader.iso15693.inventory() == [bytes.fromhex("E0040150AABBCCDD")]
    (tag,) = reader.scan()
    tag.write_block(2, b"\x0a\x0b\x0c\x0d")
    assert tag.read_block(2)[-4:] == b"\x0a\x0b\x0c\x0d"
    with pytest.raises(ValueError):
        reader.iso15693.read_block(b"\x01", 0)


@pytest.mark.orvex_cards("cpu")
def test_iso_dep_transmit_and_fmcos_purse(reader):
    with reader.iso_dep() as card:
        assert card.ats
        data, sw = card.transmit(bytes.fromhex("0084000008"))
        assert sw == 0x9000 and len(data) == 8
        data, sw = card.transmit(bytes.fromhex("00A4000002DEAD"))
        assert sw == 0x6A82 and data == b""
        fm = card.fmcos
        assert fm.select(b"OVX.PURSE.APP")[0] == 0x6F
        assert len(fm.get_challenge(4)) == 4
        fm.verify_pin(bytes.fromhex("123456"))
        assert fm.balance() == 1000
        with pytest.raises(orvex.CardStatusError) as e:
            fm.verify_pin(bytes.fromhex("000000"))
        assert e.value.sw & 0xFFF0 == 0x63C0


def test_sam_slot(reader):
    sam = reader.sam(1)
    assert sam.reset()
    data, sw = sam.transmit(bytes.fromhex("0084000008"))
    assert sw == 0x9000 and len(data) == 8
    with pytest.raises(ValueError):
        reader.sam(4)


@pytest.mark.orvex_display
@pytest.mark.orvex_cards()
def test_lcd_from_a_pil_image(orvex_sim, reader):
    from PIL import Image, ImageDraw
    img = Image.new("L", (128, 64), 255)
    ImageDraw.Draw(img).rectangle([10, 8, 29, 23], fill=0)
    reader.lcd.show_image(img)
    px = orvex_sim.lcd_pixels()
    assert px[8][10] and px[23][29] and px[15][20]
    assert not px[7][10] and not px[8][9] and not px[24][29] and not px[40][100]
    with pytest.raises(TypeError):
        reader.lcd.show_image(b"not an image")


def test_des_and_triple_des():
    from orvex import crypto
    key = bytes.fromhex("133457799BBCDFF1")
    plain = bytes.fromhex("0123456789ABCDEF")
    assert crypto.des_encrypt(key, plain).hex() == "85e813540f0ab405"
    assert crypto.des_decrypt(key, bytes.fromhex("85E813540F0AB405")) == plain
    k16 = key + key  # K1 = K2: triple-DES reduces to single DES
    assert crypto.tdes_encrypt(k16, plain) == crypto.des_encrypt(key, plain)
    k16 = bytes.fromhex("0123456789ABCDEFFEDCBA9876543210")
    data = bytes(range(24))
    iv = bytes(8)
    enc = crypto.tdes_encrypt(k16, data, iv=iv)
    assert crypto.tdes_decrypt(k16, enc, iv=iv) == data
    assert enc[8:16] == crypto.tdes_encrypt(k16, bytes(a ^ b for a, b in zip(data[8:16], enc[0:8])))
    with pytest.raises(ValueError):
        crypto.des_encrypt(key, b"123")
    with pytest.raises(ValueError):
        crypto.tdes_encrypt(key, plain)


@pytest.mark.orvex_cards("mfc1k:11223344")
def test_ndef_on_a_mifare_classic_shared_with_the_orvex_tool(orvex_sim):
    import json
    import subprocess
    tool = os.environ["ORVEX_TOOL"]
    subprocess.run([tool, "--device", orvex_sim.path, "ndef", "format", "--yes"], check=True,
                   capture_output=True, timeout=60)
    records = [ndef.Text("on a MIFARE Classic"), ndef.Uri("https://example.com/mfc")]
    with orvex.Reader(orvex_sim) as reader:
        assert reader.ndef.read() == []
        report = reader.ndef.write(records)
        assert report["complete"]
        assert reader.ndef.read() == records
        with pytest.raises(orvex.NDEFError, match="key B 010203040506 does not open sector 1"):
            reader.ndef.write([ndef.Text("lost")], key_b=b"\x01\x02\x03\x04\x05\x06")  # checked first
        assert reader.ndef.read() == records
    out = subprocess.run([tool, "--device", orvex_sim.path, "ndef", "read", "--json"], check=True,
                         capture_output=True, text=True, timeout=60).stdout
    got = json.loads(out)["records"]
    assert [(r["kind"], r.get("text", r.get("uri"))) for r in got] == \
        [("text", "on a MIFARE Classic"), ("uri", "https://example.com/mfc")]


@pytest.mark.orvex_cards("iso15693:E0040150AABBCCDD")
def test_ndef_on_an_iso15693_tag(reader):
    with pytest.raises(orvex.NDEFError, match="no tag formatted for NDEF"):
        reader.ndef.read()
    # a capability container (E1, version 1.0 read/write, 8 x 8 bytes): block 0
    uid = bytes.fromhex("E0040150AABBCCDD")
    reader.iso15693.write_block(uid, 0, bytes.fromhex("E1400800"))
    reader.iso15693.write_block(uid, 1, bytes.fromhex("0300FE00"))
    assert reader.ndef.read() == []
    records = [ndef.Text("vicinity"), ndef.Uri("urn:nfc:ext")]
    reader.ndef.write(records)
    assert reader.ndef.read() == records
    with pytest.raises(orvex.NDEFError, match="at most"):
        reader.ndef.write([ndef.Text("y" * 80)])
    assert reader.ndef.read() == records
