# SPDX-License-Identifier: MIT
"""APDUs through pcscd: the simulated CPU card over type A and type B, GET
DATA on them, class FF refused, and the SAM in slot 1 (reset, APDUs)."""
import unittest

from smartcard.Exceptions import CardConnectionException
from smartcard.System import readers as pyscard_readers

import harness
from harness import SELECT_PURSE, connect, hexs, tx, unhex



def setUpModule():
    global setup, sim
    setup = harness.Setup({"Orvex test": ["--empty"]})
    sim = setup.sims["Orvex test"]


def tearDownModule():
    setup.stop()




class CpuCards(unittest.TestCase):
    def tearDown(self):
        sim.remove("all")
        harness.wait_for_state("Orvex test 00 00", False)

    def card(self, kind):
        sim.place(kind)
        harness.wait_for_state("Orvex test 00 00", True)
        return connect("Orvex test 00 00")

    def check_purse_application(self, c):
        data, sw = tx(c, SELECT_PURSE)
        self.assertEqual(sw, 0x9000)
        self.assertEqual(data[0], 0x6F)  # the application's FCI
        # The public file, by short identifier 15: 30 bytes, "OVX1" first.
        data, sw = tx(c, unhex("00 B0 95 00 00"))
        self.assertEqual(sw, 0x9000)
        self.assertEqual(bytes(data[:4]), b"OVX1")
        self.assertEqual(len(data), 30)
        # Le too long: the card's 6C 1E comes back as it is, for the
        # application to repeat the command.
        data, sw = tx(c, unhex("00 B0 95 00 28"))
        self.assertEqual((data, sw), ([], 0x6C1E))
        data, sw = tx(c, unhex("00 84 00 00 08"))
        self.assertEqual((len(data), sw), (8, 0x9000))

    def test_type_a_cpu_card(self):
        c = self.card("cpu:C1020304")
        self.check_purse_application(c)
        # GET DATA: the UID, and the historical bytes of the ATS.
        self.assertEqual(tx(c, unhex("FF CA 00 00 00")), (unhex("C1 02 03 04"), 0x9000))
        self.assertEqual(tx(c, unhex("FF CA 01 00 00")), (list(b"OVXCOS") + [1, 0], 0x9000))
        self.assertEqual(tx(c, unhex("FF CA 00 00 02")), ([], 0x6C04))
        self.assertEqual(tx(c, unhex("FF CA 00 00 06")), (unhex("C1 02 03 04"), 0x6282))
        # The storage-card commands are not this card's; other class FF
        # instructions are refused and never reach it.
        self.assertEqual(tx(c, unhex("FF B0 00 04 10")), ([], 0x6A81))
        self.assertEqual(tx(c, unhex("FF 00 00 00 02 D4 02")), ([], 0x6A81))
        c.disconnect()

    def test_type_b_cpu_card(self):
        c = self.card("typeb:5B0A0B0C")
        self.assertEqual(hexs(c.getATR()), "3B 88 80 01 00 00 00 00 00 81 71 00 F9")
        self.check_purse_application(c)
        self.assertEqual(tx(c, unhex("FF CA 00 00 00")), (unhex("5B 0A 0B 0C"), 0x9000))
        self.assertEqual(tx(c, unhex("FF CA 01 00 00")), ([], 0x6A81))
        c.disconnect()

    def test_reset_starts_the_card_afresh(self):
        c = self.card("cpu")
        tx(c, SELECT_PURSE)
        self.assertEqual(tx(c, unhex("00 B0 95 00 04"))[1], 0x9000)
        c.reconnect(disposition=1)  # SCARD_RESET_CARD
        # After the reset the MF is current again: no file 15 there.
        self.assertNotEqual(tx(c, unhex("00 B0 95 00 04"))[1], 0x9000)
        c.disconnect()


class Sam(unittest.TestCase):
    def test_sam_reset_and_apdus(self):
        c = connect("Orvex test 00 01")
        atr = c.getATR()
        self.assertIn(bytes(b"OVXSAM"), bytes(atr))
        data, sw = tx(c, unhex("00 84 00 00 08"))
        self.assertEqual((len(data), sw), (8, 0x9000))
        c.reconnect(disposition=1)  # a warm reset gives the same answer to reset
        self.assertEqual(c.getATR(), atr)
        data, sw = tx(c, unhex("00 84 00 00 04"))
        self.assertEqual((len(data), sw), (4, 0x9000))
        # Class FF is the reader's, not the SAM's.
        self.assertEqual(tx(c, unhex("FF CA 00 00 00")), ([], 0x6E00))
        c.disconnect()

    def test_empty_sam_slot_cannot_be_connected(self):
        reader = [r for r in pyscard_readers() if str(r) == "Orvex test 00 02"][0]
        with self.assertRaises(Exception):
            reader.createConnection().connect()

    def test_apdu_longer_than_the_sam_channel_fails_cleanly(self):
        c = connect("Orvex test 00 01")
        with self.assertRaises(CardConnectionException):
            c.transmit(unhex("00 D6 00 00 FF") + [0] * 255)
        c.disconnect()


if __name__ == "__main__":
    unittest.main(verbosity=2)
