# SPDX-License-Identifier: MIT
"""The reader list, each card kind's ATR, pcsc_scan's name for it, and how
soon pcscd reports a card put into the field or taken away."""
import re
import signal
import subprocess
import threading
import time
import unittest

from smartcard.System import readers as pyscard_readers

import harness
from harness import hexs

FIELD = "Orvex test 00 00"

# Card kind in orvex-sim: its ATR (as PC/SC Part 3 presents it), and what
# pcsc_scan must say about it (a name from smartcard_list.txt, or a line of
# its ATR analysis for the CPU cards, whose made-up ATS no list knows).
CARDS = [
    ("mfc1k", "3B 8F 80 01 80 4F 0C A0 00 00 03 06 03 00 01 00 00 00 00 6A",
     "MIFARE Classic 1K (as per PCSC std part3)"),
    ("mfc4k", "3B 8F 80 01 80 4F 0C A0 00 00 03 06 03 00 02 00 00 00 00 69",
     "MIFARE Classic 4K (as per PCSC std part3)"),
    ("ntag215", "3B 8F 80 01 80 4F 0C A0 00 00 03 06 03 00 03 00 00 00 00 68",
     "MIFARE Ultralight (as per PCSC std part3)"),
    ("iso15693", "3B 8F 80 01 80 4F 0C A0 00 00 03 06 0B 00 14 00 00 00 00 77",
     "ICODESLI (as per PCSC std part3)"),
    # ISO 14443-4 type A: 3B 88 80 01, the ATS's historical bytes "OVXCOS" 01 00.
    ("cpu", "3B 88 80 01 4F 56 58 43 4F 53 01 00 16", "Historical bytes: 4F 56 58 43 4F 53 01 00"),
    # Type B: application data 00 00 00 00, protocol info 00 81 71, MBLI 00.
    ("typeb", "3B 88 80 01 00 00 00 00 00 81 71 00 F9", "Historical bytes: 00 00 00 00 00 81 71 00"),
]


def setUpModule():
    global setup, sim
    setup = harness.Setup({"Orvex test": ["--empty", "--serial", "0102030405060708"]})
    sim = setup.sims["Orvex test"]


def tearDownModule():
    setup.stop()


class Cards(unittest.TestCase):
    def test_reader_list_is_the_field_and_three_sam_slots(self):
        names = [str(r) for r in pyscard_readers()]
        self.assertEqual(names, ["Orvex test 00 00", "Orvex test 00 01", "Orvex test 00 02", "Orvex test 00 03"])

    def test_each_card_kind_has_its_atr_and_pcsc_scan_names_it(self):
        scan = subprocess.Popen(["stdbuf", "-oL", "pcsc_scan"], stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, text=True)
        seen = []
        threading.Thread(target=lambda: seen.extend(scan.stdout), daemon=True).start()

        def shown(atr):
            # pcsc_scan printed the card's ATR (its analysis follows on its own)
            deadline = time.monotonic() + 5
            while time.monotonic() < deadline:
                if any(("ATR: " + atr) in line for line in list(seen)):
                    return
                time.sleep(0.05)
            self.fail("pcsc_scan did not show " + atr + "\n" + "".join(seen))

        arrivals, departures = [], []
        try:
            for kind, atr, _ in CARDS:
                start = time.monotonic()
                sim.place(kind)
                harness.wait_for_state(FIELD, True)
                arrivals.append((kind, time.monotonic() - start))
                reader = [r for r in pyscard_readers() if str(r) == FIELD][0]
                connection = reader.createConnection()
                connection.connect()
                self.assertEqual(hexs(connection.getATR()), atr, kind)
                connection.disconnect()
                shown(atr)
                start = time.monotonic()
                sim.remove("all")
                harness.wait_for_state(FIELD, False)
                departures.append((kind, time.monotonic() - start))
        finally:
            time.sleep(1.5)  # the last analysis
            scan.send_signal(signal.SIGINT)
            try:
                scan.wait(timeout=5)
            except subprocess.TimeoutExpired:
                scan.kill()
                scan.wait()
        time.sleep(0.1)
        out = re.sub(r"\x1b\[[0-9;]*m", "", "".join(seen))
        # Each ATR is followed by its analysis.
        for kind, atr, name in CARDS:
            at = out.find("ATR: " + atr)
            self.assertGreaterEqual(at, 0, "%s: pcsc_scan did not show %s\n%s" % (kind, atr, out))
            nxt = out.find("Reader ", at)
            self.assertIn(name, out[at:nxt if nxt > 0 else None], kind)
        for kind, seconds in arrivals:
            self.assertLess(seconds, 0.5, "%s reported %.3f s after it entered the field" % (kind, seconds))
        for kind, seconds in departures:
            self.assertLess(seconds, 1.0, "%s reported gone %.3f s after it left" % (kind, seconds))
        print("arrival (s):", ", ".join("%s %.3f" % a for a in arrivals))
        print("departure (s):", ", ".join("%s %.3f" % d for d in departures))

    def test_sam_slot_gives_the_sams_answer_to_reset(self):
        reader = [r for r in pyscard_readers() if str(r) == "Orvex test 00 01"][0]
        connection = reader.createConnection()
        connection.connect()
        atr = connection.getATR()
        connection.disconnect()
        # The simulated SAM: 3B, historical bytes "OVXSAM" and its serial.
        self.assertEqual(atr[0], 0x3B)
        self.assertIn(bytes(b"OVXSAM"), bytes(atr))

    def test_empty_sam_slots_are_empty(self):
        for name in ("Orvex test 00 02", "Orvex test 00 03"):
            self.assertLess(harness.wait_for_state(name, False), 1.0)


if __name__ == "__main__":
    unittest.main(verbosity=2)
