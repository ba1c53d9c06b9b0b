# SPDX-License-Identifier: MIT
"""Cards taken away while a client holds them powered: the next command
fails cleanly, the reader reports the card gone, and the next card works."""
import time
import unittest

from smartcard.Exceptions import CardConnectionException

import harness
from harness import SELECT_PURSE, tx, unhex

FIELD = "Orvex test 00 00"


def setUpModule():
    global setup, sim
    setup = harness.Setup({"Orvex test": ["--empty"]})
    sim = setup.sims["Orvex test"]


def tearDownModule():
    setup.stop()


def connect():
    return harness.connect(FIELD)



class Removal(unittest.TestCase):
    def tearDown(self):
        sim.remove("all")
        harness.wait_for_state(FIELD, False)

    def test_cpu_card_taken_away_mid_transaction(self):
        sim.place("cpu")
        harness.wait_for_state(FIELD, True)
        c = connect()
        self.assertEqual(tx(c, SELECT_PURSE)[1], 0x9000)
        sim.remove("all")
        # The card is not asked whether it is still there while its client
        # holds it (that would undo the selection); the next command finds out.
        start = time.monotonic()
        with self.assertRaises(CardConnectionException):
            tx(c, unhex("00 B0 95 00 04"))
        self.assertLess(time.monotonic() - start, 1.0)
        self.assertLess(harness.wait_for_state(FIELD, False), 1.0)
        with self.assertRaises(CardConnectionException):
            tx(c, unhex("00 B0 95 00 04"))
        c.disconnect()
        # Another card: a fresh start.
        sim.place("cpu")
        harness.wait_for_state(FIELD, True)
        c = connect()
        self.assertEqual(tx(c, SELECT_PURSE)[1], 0x9000)
        c.disconnect()

    def test_held_mifare_classic_taken_away_is_reported_gone(self):
        sim.place("mfc1k")
        harness.wait_for_state(FIELD, True)
        c = connect()
        self.assertEqual(tx(c, unhex("FF 82 00 00 06 FF FF FF FF FF FF"))[1], 0x9000)
        self.assertEqual(tx(c, unhex("FF 86 00 00 05 01 00 04 60 00"))[1], 0x9000)
        # Held and authenticated: the presence checks read the sector's
        # trailer, which keeps the authentication...
        time.sleep(0.6)
        self.assertEqual(tx(c, unhex("FF B0 00 04 10"))[1], 0x9000)
        # ...and see it leave without a command from the client.
        start = time.monotonic()
        sim.remove("all")
        harness.wait_for_state(FIELD, False)
        self.assertLess(time.monotonic() - start, 1.0)
        with self.assertRaises(CardConnectionException):
            tx(c, unhex("FF B0 00 04 10"))
        c.disconnect()

    def test_tag_taken_away_before_an_update_fails_it_cleanly(self):
        sim.place("ntag215")
        harness.wait_for_state(FIELD, True)
        c = connect()
        sim.remove("all")
        with self.assertRaises(CardConnectionException):
            tx(c, unhex("FF D6 00 05 04 01 02 03 04"))
        self.assertLess(harness.wait_for_state(FIELD, False), 1.0)
        c.disconnect()

    def test_card_swapped_between_two_looks_is_seen_as_two_cards(self):
        sim.place("mfc1k:11223344")
        harness.wait_for_state(FIELD, True)
        c = connect()
        self.assertEqual(tx(c, unhex("FF CA 00 00 00"))[0], unhex("11 22 33 44"))
        c.disconnect()
        events = harness.event_count(FIELD)
        # Out and another in, faster than a presence check comes round:
        # pcscd sees a removal and an insertion.
        sim.remove("all")
        sim.place("mfc1k:55667788")
        harness.wait_for_state(FIELD, True, after=events + 1)
        c = connect()
        self.assertEqual(tx(c, unhex("FF CA 00 00 00"))[0], unhex("55 66 77 88"))
        c.disconnect()


if __name__ == "__main__":
    unittest.main(verbosity=2)
