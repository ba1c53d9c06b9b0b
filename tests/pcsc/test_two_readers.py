# SPDX-License-Identifier: MIT
"""Two Orvex readers (two simulators) in one pcscd, each with a link of its
own, used by two client processes at the same time."""
import os
import subprocess
import sys
import time
import unittest

from smartcard.System import readers as pyscard_readers

import harness

# One client: N rounds of SELECT, READ BINARY and GET CHALLENGE on the
# card in its reader's field from a given moment (CLOCK_MONOTONIC, the same
# in every process), each answer checked; prints its start and end.
CLIENT = r'''
import sys, time
from smartcard.System import readers
name, rounds, start_at = sys.argv[1], int(sys.argv[2]), float(sys.argv[3])
c = [r for r in readers() if str(r) == name][0].createConnection()
c.connect()
time.sleep(max(0.0, start_at - time.monotonic()))  # both clients begin together
start = time.monotonic()
select = [0x00, 0xA4, 0x04, 0x00, 0x0D] + list(b"OVX.PURSE.APP")
for i in range(rounds):
    r = c.transmit(select)
    assert tuple(r[1:]) == (0x90, 0x00), ("select", i, r)
    data, sw1, sw2 = c.transmit([0x00, 0xB0, 0x95, 0x00, 0x04])
    assert (bytes(data), sw1, sw2) == (b"OVX1", 0x90, 0x00), (data, sw1, sw2)
    data, sw1, sw2 = c.transmit([0x00, 0x84, 0x00, 0x00, 0x08])
    assert (len(data), sw1, sw2) == (8, 0x90, 0x00)
print(start, time.monotonic())
c.disconnect()
'''


def setUpModule():
    global setup
    setup = harness.Setup({"Orvex A": ["--card", "cpu"], "Orvex B": ["--card", "typeb"]})


def tearDownModule():
    setup.stop()


class TwoReaders(unittest.TestCase):
    def test_both_readers_and_their_slots_are_listed(self):
        # pcscd numbers the readers (the first pair of digits) and their
        # slots (the second).
        names = sorted(str(r) for r in pyscard_readers())
        self.assertEqual(names, ["Orvex A 00 00", "Orvex A 00 01", "Orvex A 00 02", "Orvex A 00 03",
                                 "Orvex B 01 00", "Orvex B 01 01", "Orvex B 01 02", "Orvex B 01 03"])

    def test_two_clients_at_once(self):
        script = os.path.join(harness.WORK, "client.py")
        with open(script, "w") as f:
            f.write(CLIENT)
        start_at = "%f" % (time.monotonic() + 1.5)
        clients = [subprocess.Popen([sys.executable, script, name, "200", start_at], stdout=subprocess.PIPE,
                                    stderr=subprocess.STDOUT, text=True)
                   for name in ("Orvex A 00 00", "Orvex B 01 00")]
        windows = []
        for c in clients:
            out = c.communicate(timeout=60)[0]
            self.assertEqual(c.returncode, 0, out)
            windows.append([float(x) for x in out.split()[-2:]])
        # The two ran at the same time, not one after the other.
        (a0, a1), (b0, b1) = windows
        self.assertLess(max(a0, b0), min(a1, b1), windows)
        print("client windows (s): A %.3f-%.3f, B %.3f-%.3f" % (0, a1 - a0, b0 - a0, b1 - a0))

    def test_each_reader_has_its_own_field(self):
        sim_a = setup.sims["Orvex A"]
        sim_a.remove("all")
        harness.wait_for_state("Orvex A 00 00", False)
        time.sleep(0.3)
        self.assertLess(harness.wait_for_state("Orvex B 01 00", True), 0.1)
        sim_a.place("mfc1k")
        harness.wait_for_state("Orvex A 00 00", True)
        c = [r for r in pyscard_readers() if str(r) == "Orvex A 00 00"][0].createConnection()
        c.connect()
        self.assertEqual(c.getATR()[13:15], [0x00, 0x01])  # MIFARE Classic 1K
        c.disconnect()
        sim_a.remove("all")
        harness.wait_for_state("Orvex A 00 00", False)
        sim_a.place("cpu")
        harness.wait_for_state("Orvex A 00 00", True)


if __name__ == "__main__":
    unittest.main(verbosity=2)
