# SPDX-License-Identifier: MIT
"""SCardControl: the feature request answered honestly, and the raw
reader-command pass-through refused unless the driver's configuration
enables it."""
import os
import unittest

from smartcard.scard import (SCARD_CTL_CODE, SCARD_E_UNSUPPORTED_FEATURE, SCARD_LEAVE_CARD,
                             SCARD_S_SUCCESS, SCARD_SCOPE_USER, SCARD_SHARE_DIRECT, SCardConnect,
                             SCardControl, SCardDisconnect, SCardEstablishContext, SCardReleaseContext)

import harness

FIELD = "Orvex test 00 00"
GET_FEATURE_REQUEST = SCARD_CTL_CODE(3400)
FEATURE_CCID_ESC_COMMAND = 0x13
SERIAL = "0102030405060708"


def control(code, data, reader=FIELD):
    """SCardControl on a direct connection (no card needed): (rc, answer)."""
    rc, ctx = SCardEstablishContext(SCARD_SCOPE_USER)
    assert rc == SCARD_S_SUCCESS
    try:
        rc, card, _ = SCardConnect(ctx, reader, SCARD_SHARE_DIRECT, 0)
        assert rc == SCARD_S_SUCCESS, rc
        try:
            rc, answer = SCardControl(card, code, data)
            return rc, answer
        finally:
            SCardDisconnect(card, SCARD_LEAVE_CARD)
    finally:
        SCardReleaseContext(ctx)


def features():
    rc, answer = control(GET_FEATURE_REQUEST, [])
    assert rc == SCARD_S_SUCCESS, rc
    found = {}
    while len(answer) >= 6:
        tag, length = answer[0], answer[1]
        found[tag] = int.from_bytes(bytes(answer[2:2 + length]), "big")
        answer = answer[2 + length:]
    return found


class PassThroughOffByDefault(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        # The configuration file as installed (pass-through = no), and beside
        # the reader's own file the installed reader.conf.d example, every
        # line of it commented out: pcscd takes it and adds no reader.
        with open(os.path.join(harness.SOURCE, "pcsc.conf")) as f:
            shipped = f.read()
        assert "pass-through = no" in shipped
        cls.setup = harness.Setup({"Orvex test": ["--serial", SERIAL, "--trace"]}, config=shipped,
                                  extra_conf=[os.path.join(harness.SOURCE, "reader.conf.d", "orvex")])

    @classmethod
    def tearDownClass(cls):
        cls.setup.stop()

    def test_feature_request_lists_nothing(self):
        self.assertEqual(features(), {})

    def test_reader_commands_are_refused(self):
        for command in ([0x06, 0x01, 0x01, 0x01], [0x05], [0xB2, 0, 0, 0, 0, 0, 1, 0x55], [0x02, 0x00, 0x07]):
            for reader in (FIELD, "Orvex test 00 01"):
                rc, answer = control(SCARD_CTL_CODE(1), command, reader)
                self.assertEqual(rc, SCARD_E_UNSUPPORTED_FEATURE, command)
                self.assertEqual(answer, [])
        # None of them reached the reader.
        frames = [line for line in self.setup.sims["Orvex test"].output if line.startswith("->")]
        self.assertTrue(frames)  # (the presence checks)
        for line in frames:
            self.assertNotRegex(line, r"^-> \[[0-9A-F]{4}\] (02|05|06|B2) ")

    def test_other_control_codes_are_refused(self):
        self.assertEqual(control(SCARD_CTL_CODE(3500), [1, 2, 3])[0], SCARD_E_UNSUPPORTED_FEATURE)


class PassThroughEnabled(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.setup = harness.Setup({"Orvex test": ["--serial", SERIAL]},
                                  config="# the administrator allows it\npass-through = yes\n")

    @classmethod
    def tearDownClass(cls):
        cls.setup.stop()

    def test_feature_names_the_control_code(self):
        self.assertEqual(features(), {FEATURE_CCID_ESC_COMMAND: SCARD_CTL_CODE(1)})

    def test_reader_commands(self):
        code = features()[FEATURE_CCID_ESC_COMMAND]
        # The reader's serial number (command 05): done, then its 8 bytes.
        self.assertEqual(control(code, [0x05]), (SCARD_S_SUCCESS, [0x00] + list(bytes.fromhex(SERIAL))))
        # The buzzer (06): on, off, cycles.
        self.assertEqual(control(code, [0x06, 0x02, 0x02, 0x01]), (SCARD_S_SUCCESS, [0x00]))
        # Reader memory (B2 then B1): written and read back.
        self.assertEqual(control(code, [0xB2, 0, 0, 0x01, 0x00, 0, 3, 0xAA, 0xBB, 0xCC]), (SCARD_S_SUCCESS, [0x00]))
        self.assertEqual(control(code, [0xB1, 0, 0, 0x01, 0x00, 0, 3]), (SCARD_S_SUCCESS, [0x00, 0xAA, 0xBB, 0xCC]))
        # A parameter the reader does not hold: refused (01).
        self.assertEqual(control(code, [0x0F, 0x42]), (SCARD_S_SUCCESS, [0x01]))
        # The line speed is not offered (the link would lose the reader).
        self.assertEqual(control(code, [0x01, 0x05])[0], SCARD_E_UNSUPPORTED_FEATURE)


if __name__ == "__main__":
    unittest.main(verbosity=2)
