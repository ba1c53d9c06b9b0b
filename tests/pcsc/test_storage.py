# SPDX-License-Identifier: MIT
"""Storage cards through the PC/SC Part 3 pseudo-APDUs: a MIFARE Classic 1K
(load keys, authenticate, read, update, read back, a wrong key), an NTAG215
and an ISO 15693 tag read and written."""
import unittest

from smartcard.System import readers as pyscard_readers

import harness
from harness import tx, unhex

FIELD = "Orvex test 00 00"
TRANSPORT_KEY = unhex("FF FF FF FF FF FF")
WRONG_KEY = unhex("A0 A1 A2 A3 A4 A5")


def setUpModule():
    global setup, sim
    setup = harness.Setup({"Orvex test": ["--empty"]})
    sim = setup.sims["Orvex test"]


def tearDownModule():
    setup.stop()



class Storage(unittest.TestCase):
    def card(self, kind):
        sim.place(kind)
        harness.wait_for_state(FIELD, True)
        reader = [r for r in pyscard_readers() if str(r) == FIELD][0]
        c = reader.createConnection()
        c.connect()
        self.addCleanup(self.take_away)
        self.addCleanup(c.disconnect)
        return c

    def take_away(self):
        sim.remove("all")
        harness.wait_for_state(FIELD, False)

    def test_mifare_classic_1k(self):
        c = self.card("mfc1k:A1B2C3D4")
        self.assertEqual(tx(c, unhex("FF CA 00 00 00")), (unhex("A1 B2 C3 D4"), 0x9000))
        # Nothing is readable before an authentication.
        self.assertEqual(tx(c, unhex("FF B0 00 04 10")), ([], 0x6982))
        # LOAD KEYS into volatile slots 00 and 01.
        self.assertEqual(tx(c, unhex("FF 82 00 00 06") + TRANSPORT_KEY), ([], 0x9000))
        self.assertEqual(tx(c, unhex("FF 82 00 01 06") + WRONG_KEY), ([], 0x9000))
        self.assertEqual(tx(c, unhex("FF 82 20 00 06") + TRANSPORT_KEY), ([], 0x6987))  # non-volatile
        self.assertEqual(tx(c, unhex("FF 82 00 02 06") + TRANSPORT_KEY), ([], 0x6988))  # no slot 02
        # GENERAL AUTHENTICATE block 4 with key A in slot 00; read, update,
        # read back.
        self.assertEqual(tx(c, unhex("FF 86 00 00 05 01 00 04 60 00")), ([], 0x9000))
        self.assertEqual(tx(c, unhex("FF B0 00 04 10")), ([0] * 16, 0x9000))
        data = list(range(0x10, 0x20))
        self.assertEqual(tx(c, unhex("FF D6 00 04 10") + data), ([], 0x9000))
        self.assertEqual(tx(c, unhex("FF B0 00 05 10")), ([0] * 16, 0x9000))
        self.assertEqual(tx(c, unhex("FF B0 00 04 10")), (data, 0x9000))
        self.assertEqual(tx(c, unhex("FF B0 00 04 04")), (data[:4], 0x9000))
        self.assertEqual(tx(c, unhex("FF B0 00 04 11")), ([], 0x6C10))
        # Another sector than the one authenticated.
        self.assertEqual(tx(c, unhex("FF B0 00 08 10")), ([], 0x6982))
        self.assertEqual(tx(c, unhex("FF D6 00 08 10") + data), ([], 0x6982))
        # The wrong key: 63 00, and the sector is no longer open.
        self.assertEqual(tx(c, unhex("FF 86 00 00 05 01 00 04 60 01")), ([], 0x6300))
        self.assertEqual(tx(c, unhex("FF B0 00 04 10")), ([], 0x6982))
        # The older AUTHENTICATE with the right key; the data is still there.
        self.assertEqual(tx(c, unhex("FF 88 00 04 60 00")), ([], 0x9000))
        self.assertEqual(tx(c, unhex("FF B0 00 04 10")), (data, 0x9000))
        # Blocks that do not exist, key types that do not, an update of the
        # wrong length.
        self.assertEqual(tx(c, unhex("FF 86 00 00 05 01 00 40 60 00")), ([], 0x6581))
        self.assertEqual(tx(c, unhex("FF B0 00 40 10")), ([], 0x6A82))
        self.assertEqual(tx(c, unhex("FF 86 00 00 05 01 00 04 62 00")), ([], 0x6986))
        self.assertEqual(tx(c, unhex("FF D6 00 04 04 01 02 03 04")), ([], 0x6700))
        # APDUs of another class have nowhere to go on a storage card.
        self.assertEqual(tx(c, unhex("00 A4 04 00 02 3F 00")), ([], 0x6E00))
        self.assertEqual(tx(c, unhex("FF 00 00 00 02 D4 02")), ([], 0x6A81))

    def test_mifare_classic_keys_are_kept_between_cards(self):
        # Volatile slots live as long as the reader's channel, not the card.
        c = self.card("mfc1k")
        self.assertEqual(tx(c, unhex("FF 82 00 00 06") + TRANSPORT_KEY), ([], 0x9000))
        c.reconnect(disposition=1)
        self.assertEqual(tx(c, unhex("FF 86 00 00 05 01 00 08 60 00")), ([], 0x9000))
        self.assertEqual(tx(c, unhex("FF B0 00 0A 10")), ([0] * 16, 0x9000))
        # Key B of a card in transport configuration is readable, so no key:
        # it authenticates, and the card refuses the read (and goes idle; the
        # driver selects it again for the next command).
        self.assertEqual(tx(c, unhex("FF 86 00 00 05 01 00 08 61 00")), ([], 0x9000))
        self.assertEqual(tx(c, unhex("FF B0 00 0A 10")), ([], 0x6982))
        self.assertEqual(tx(c, unhex("FF 86 00 00 05 01 00 08 60 00")), ([], 0x9000))
        self.assertEqual(tx(c, unhex("FF B0 00 0A 10")), ([0] * 16, 0x9000))

    def test_ntag215(self):
        c = self.card("ntag215:04112233445566")
        self.assertEqual(tx(c, unhex("FF CA 00 00 00")), (unhex("04 11 22 33 44 55 66"), 0x9000))
        # READ BINARY: four pages from page 4; UPDATE BINARY: one page.
        data, sw = tx(c, unhex("FF B0 00 04 10"))
        self.assertEqual((len(data), sw), (16, 0x9000))
        self.assertEqual(tx(c, unhex("FF D6 00 05 04 DE AD BE EF")), ([], 0x9000))
        back, sw = tx(c, unhex("FF B0 00 04 10"))
        self.assertEqual(sw, 0x9000)
        self.assertEqual(back[4:8], unhex("DE AD BE EF"))
        self.assertEqual(back[:4] + back[8:], data[:4] + data[8:])
        # Pages 0 to 3 hold the UID: the first three bytes are the UID's.
        data, sw = tx(c, unhex("FF B0 00 00 10"))
        self.assertEqual((data[:3], sw), (unhex("04 11 22"), 0x9000))
        # The NTAG215 has 135 pages (00 to 86).
        self.assertEqual(tx(c, unhex("FF B0 00 87 10")), ([], 0x6A82))
        self.assertEqual(tx(c, unhex("FF D6 00 05 10") + [0] * 16), ([], 0x6700))
        # No keys on this tag.
        self.assertEqual(tx(c, unhex("FF 86 00 00 05 01 00 04 60 00")), ([], 0x6A81))

    def test_iso15693_tag(self):
        c = self.card("iso15693:E004010203040506")
        # The UID as it comes on the air, least significant byte first.
        self.assertEqual(tx(c, unhex("FF CA 00 00 00")), (unhex("06 05 04 03 02 01 04 E0"), 0x9000))
        self.assertEqual(tx(c, unhex("FF B0 00 05 04")), ([0] * 4, 0x9000))
        self.assertEqual(tx(c, unhex("FF D6 00 05 04 11 22 33 44")), ([], 0x9000))
        self.assertEqual(tx(c, unhex("FF B0 00 05 00")), (unhex("11 22 33 44"), 0x9000))
        self.assertEqual(tx(c, unhex("FF B0 00 06 04")), ([0] * 4, 0x9000))
        # 28 blocks (00 to 1B).
        self.assertEqual(tx(c, unhex("FF B0 00 1C 04")), ([], 0x6A82))
        self.assertEqual(tx(c, unhex("FF D6 00 1C 04 11 22 33 44")), ([], 0x6A82))


if __name__ == "__main__":
    unittest.main(verbosity=2)
