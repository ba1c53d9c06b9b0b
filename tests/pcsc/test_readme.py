# SPDX-License-Identifier: MIT
"""The README's PC/SC section, as written: its reader.conf.d file (with the
simulated reader's pseudo-terminal for /dev/ttyUSB0 and the built driver
for the installed one), its pyscard example and pcsc_scan."""
import os
import re
import subprocess
import sys
import tempfile
import unittest

import harness

README = os.path.join(harness.SOURCE, "..", "README.md")


def section():
    with open(README) as f:
        text = f.read()
    start = text.index("## Any PC/SC application")
    return text[start:text.index("\n## ", start + 1)]


class Readme(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.text = section()
        cls.sim = harness.Sim("--card", "mfc1k:A1B2C3D4")
        # The indented reader.conf.d example, with the simulator's device.
        conf = [line.strip() for line in cls.text.splitlines() if line.startswith("    ") and line.strip()]
        conf = "\n".join(conf[:4]) + "\n"
        assert "DEVICENAME   serial:/dev/ttyUSB0@38400" in conf, conf
        conf = conf.replace("/dev/ttyUSB0", cls.sim.path)
        conf = conf.replace("/usr/lib/pcsc/drivers/serial/libifd_orvex.so", harness.DRIVER)
        path = os.path.join(tempfile.mkdtemp(dir=harness.WORK), "orvex")
        with open(path, "w") as f:
            f.write(conf)
        try:
            cls.daemon = harness.Pcscd({}, extra_conf=[path], extra_readers=1)
        except BaseException:
            cls.sim.stop()
            raise

    @classmethod
    def tearDownClass(cls):
        cls.daemon.stop()
        cls.sim.stop()

    def test_reader_names(self):
        self.assertEqual(self.daemon.readers, ["Orvex serial reader 00 00", "Orvex serial reader 00 01",
                                               "Orvex serial reader 00 02", "Orvex serial reader 00 03"])

    def test_pyscard_example(self):
        code = re.search(r"```python\n(.*?)```", self.text, re.S).group(1)
        out = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, timeout=30)
        self.assertEqual(out.returncode, 0, out.stderr)
        self.assertEqual(out.stdout.strip(), "([161, 178, 195, 212], 144, 0)")

    def test_pcsc_scan_names_the_card(self):
        harness.wait_for_state("Orvex serial reader 00 00", True)
        out = subprocess.run(["pcsc_scan", "-t", "2"], capture_output=True, text=True, timeout=30).stdout
        out = re.sub(r"\x1b\[[0-9;]*m", "", out)
        for name in ("Orvex serial reader 00 00", "Orvex serial reader 00 01", "Orvex serial reader 00 03",
                     "MIFARE Classic 1K (as per PCSC std part3)"):
            self.assertIn(name, out)


if __name__ == "__main__":
    unittest.main(verbosity=2)
