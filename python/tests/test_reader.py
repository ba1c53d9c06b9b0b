# SPDX-License-Identifier: MIT
# orvex.Reader, discovery, the in-process simulated reader, several readers
# from several threads, and Ctrl-C during a long wait.
import os
import signal
import subprocess
import sys
import textwrap
import threading
import time

import pytest

import orvex
from orvex.sim import Simulator


def test_reader_is_a_context_manager_owning_its_link(orvex_sim):
    with orvex.Reader(orvex_sim) as reader:
        assert reader.connection == orvex_sim.path
        assert reader.info()["version"] == 0x0107
        # the link is this reader's own: a second opener of the port is refused
        with pytest.raises(orvex.LinkError) as e:
            orvex.Reader(orvex_sim.path)
        assert "in use" in str(e.value) or "busy" in str(e.value).lower()
    assert reader.closed
    with pytest.raises(orvex.ReaderClosed) as e:
        reader.info()
    assert "closed" in str(e.value)
    # closed, the port is free again
    with orvex.Reader(orvex_sim.path) as again:
        assert again.info()["version"] == 0x0107


def test_unknown_connection_string():
    with pytest.raises(orvex.UnknownConnection) as e:
        orvex.Reader("bluetooth:12")
    # The library's own text, once: it names the string and what is taken.
    assert str(e.value) == ('unknown connection "bluetooth:12": give usb, usb:BUS:ADDR, '
                            'usb:serial=S, ttyS:N or a device path such as /dev/ttyUSB0')
    assert isinstance(e.value, ValueError)
    with pytest.raises(orvex.UnknownConnection):
        orvex.Reader("/dev/ttyUSB0@12345")  # no such line speed
    with pytest.raises(orvex.LinkError):
        orvex.Reader("/dev/orvex-no-such-port")
    with pytest.raises(TypeError):
        orvex.Reader(42)


def test_list_readers_names_what_reader_takes():
    readers = orvex.list_readers()
    assert isinstance(readers, list)
    for r in readers:
        assert r["kind"] in ("usb", "serial")
        assert orvex.check_connection(r["connection"])[0]


def test_simulator_cards_in_and_out_of_the_field():
    with Simulator(cards=["ntag215", "mfc1k:11223344"]) as sim, orvex.Reader(sim) as reader:
        ntag, mfc = sim.cards
        assert [c.family for c in reader.scan()] == ["iso14443a", "iso14443a"]
        assert sim.remove(ntag)
        assert [c.uid.hex() for c in reader.scan()] == ["11223344"]
        sim.insert(ntag)
        assert len(reader.scan()) == 2
        sim.clear()
        assert reader.scan() == []
        placed = sim.place("iso15693")
        assert [c.family for c in reader.scan()] == ["iso15693"]
        assert "iso15693" in placed.describe()
    with pytest.raises(ValueError):
        Simulator(cards=["no-such-card"])
    with pytest.raises(TypeError):
        Simulator(cards="ntag215")


def test_simulator_loads_and_saves_a_mifare_classic_image(tmp_path):
    image = bytearray(1024)
    image[0:16] = bytes.fromhex("11223344 44 080400 00000000000000 00".replace(" ", ""))
    for s in range(16):
        image[s * 64 + 48:s * 64 + 64] = b"\xff" * 6 + bytes.fromhex("FF078069") + b"\xff" * 6
    image[16:32] = b"saved by a test!"
    src = tmp_path / "in.mfd"
    src.write_bytes(bytes(image))
    with Simulator(cards=[]) as sim:
        card = sim.load_mfd(src)
        with orvex.Reader(sim) as reader:
            (found,) = reader.scan()
            found.select()
            found.authenticate(1)
            assert found.read_block(1) == b"saved by a test!"
            found.write_block(2, b"written by test.")
        out = tmp_path / "out.mfd"
        sim.save_mfd(card, out)
    saved = out.read_bytes()
    assert saved[:32] == bytes(image[:32])
    assert saved[32:48] == b"written by test."
    assert saved[48:] == bytes(image[48:])


def test_two_readers_on_two_simulators_from_two_threads():
    errors = []
    counts = {}

    def work(name, kind):
        try:
            with Simulator(cards=[kind]) as sim, orvex.Reader(sim) as reader:
                n = 0
                for _ in range(40):
                    assert reader.raw.OV_GetReaderVersion(0) == 0x0107
                    (card,) = reader.scan()
                    assert card.family == ("iso15693" if kind == "iso15693" else "iso14443a")
                    n += 1
                counts[name] = n
        except BaseException as e:  # reported by the main thread
            errors.append(e)

    threads = [threading.Thread(target=work, args=("a", "ntag215")),
               threading.Thread(target=work, args=("b", "iso15693"))]
    for t in threads:
        t.start()
    for t in threads:
        t.join(60)
    assert errors == []
    assert counts == {"a": 40, "b": 40}


def test_the_gil_is_released_while_a_reader_waits():
    # One thread waits on a silent reader (a reader number the simulated one
    # does not answer to); the other keeps exchanging meanwhile.
    with Simulator(cards=[]) as silent, Simulator(cards=[]) as busy, \
            orvex.Reader(silent, first_byte_timeout_ms=800) as waiting, orvex.Reader(busy) as other:
        done = []

        def wait():
            with pytest.raises(orvex.LinkError):
                waiting.raw.OV_GetReaderVersion(7)
            done.append(time.monotonic())

        t = threading.Thread(target=wait)
        start = time.monotonic()
        t.start()
        n = 0
        while not done and time.monotonic() - start < 5:
            other.raw.OV_GetReaderVersion(0)
            n += 1
        t.join()
        assert done and done[0] - start >= 0.7
        assert n > 20  # exchanges kept going during the wait


CTRL_C_CHILD = textwrap.dedent("""
    import sys, time
    import orvex
    from orvex.sim import Simulator
    with Simulator(cards=[]) as sim, orvex.Reader(sim) as reader:
        print("ready", flush=True)
        start = time.monotonic()
        try:
            reader.raw.OV_GetReaderVersion(7)   # a reader number nobody answers: waits 15 s
            print("no interrupt", flush=True)
        except KeyboardInterrupt:
            print("interrupted %.3f" % (time.monotonic() - start), flush=True)
        print("next %d" % reader.raw.OV_GetReaderVersion(0), flush=True)
""")


def test_ctrl_c_during_a_long_wait():
    child = subprocess.Popen([sys.executable, "-c", CTRL_C_CHILD], stdout=subprocess.PIPE, text=True,
                             env=dict(os.environ))
    try:
        assert child.stdout.readline().strip() == "ready"
        time.sleep(0.5)  # well into the wait
        sent = time.monotonic()
        child.send_signal(signal.SIGINT)
        line = child.stdout.readline().strip()
        reacted = time.monotonic() - sent
        assert line.startswith("interrupted"), line
        assert reacted < 0.5
        assert child.stdout.readline().strip() == "next 263"  # the reader still works
        assert child.wait(10) == 0
    finally:
        if child.poll() is None:
            child.kill()
