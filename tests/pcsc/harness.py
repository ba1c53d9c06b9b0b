# SPDX-License-Identifier: MIT
"""Simulated Orvex readers and a private pcscd for the PC/SC driver tests.

Run through run_pcscd_test.sh, which gives the script its own /run/pcscd
and kills everything it started when it ends. The environment names the
programs: ORVEX_SIM (orvex-sim), ORVEX_IFD (libifd_orvex.so), PCSCD.
"""
import os
import queue
import shutil
import subprocess
import tempfile
import threading
import time

from smartcard.scard import (SCARD_E_NO_READERS_AVAILABLE, SCARD_S_SUCCESS, SCARD_SCOPE_USER,
                             SCARD_STATE_PRESENT, SCARD_STATE_UNAWARE, SCardEstablishContext,
                             SCardGetStatusChange, SCardListReaders, SCardReleaseContext)

SIM = os.environ.get("ORVEX_SIM", "orvex-sim")
DRIVER = os.environ.get("ORVEX_IFD", "libifd_orvex.so")
# The driver's example files, as the package installs them.
SOURCE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "pcsc")
PCSCD = os.environ.get("PCSCD", "/usr/sbin/pcscd")

WORK = tempfile.mkdtemp(prefix="orvex-pcsc-")
# pcsc_scan's ATR analysis looks in ~/.cache before it tries to download a
# newer list: a fresh copy of the system list there keeps it off the network.
os.environ["HOME"] = WORK
os.makedirs(os.path.join(WORK, ".cache"), exist_ok=True)
shutil.copy("/usr/share/pcsc/smartcard_list.txt", os.path.join(WORK, ".cache", "smartcard_list.txt"))


class Sim:
    """orvex-sim on a pseudo-terminal; its field is scripted through stdin."""

    def __init__(self, *args):
        self.proc = subprocess.Popen([SIM, *args], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     stderr=subprocess.STDOUT, text=True, bufsize=1)
        self.path = self.proc.stdout.readline().strip()
        if not self.path.startswith("/dev/"):
            raise RuntimeError("orvex-sim did not start: " + self.path + self.proc.stdout.read())
        self.lines = queue.Queue()
        self.output = []  # every line after the first (with --trace: every frame)
        threading.Thread(target=self._drain, daemon=True).start()

    def _drain(self):
        for line in self.proc.stdout:
            self.output.append(line.rstrip("\n"))
            if not line.startswith(("->", "<-", "  ")):
                self.lines.put(line.rstrip("\n"))

    def command(self, line):
        """Sends one stdin command and returns once the simulator answered."""
        while not self.lines.empty():
            self.lines.get_nowait()
        self.proc.stdin.write(line + "\n")
        self.proc.stdin.flush()
        answer = [self.lines.get(timeout=5)]
        time.sleep(0.02)
        while not self.lines.empty():
            answer.append(self.lines.get_nowait())
        if answer[0].startswith("error"):
            raise RuntimeError("orvex-sim: " + answer[0])
        return answer

    def place(self, card):
        """Puts a card into the field: "mfc1k", "cpu:C1020304" (orvex-sim --help)."""
        return self.command("place " + card)

    def remove(self, which="all"):
        return self.command("remove " + str(which))

    def stop(self):
        if self.proc.poll() is None:
            self.proc.terminate()
            try:
                self.proc.wait(5)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait()
        self.proc.stdin.close()


def list_readers():
    rc, ctx = SCardEstablishContext(SCARD_SCOPE_USER)
    if rc != SCARD_S_SUCCESS:
        return None
    try:
        rc, readers = SCardListReaders(ctx, [])
        if rc == SCARD_E_NO_READERS_AVAILABLE:
            return []
        return readers if rc == SCARD_S_SUCCESS else None
    finally:
        SCardReleaseContext(ctx)


class Pcscd:
    """pcscd in the foreground, with one reader.conf.d file per simulator,
    the files extra_conf names (declaring extra_readers readers between them),
    and the driver configuration given (the text of its pcsc.conf)."""

    def __init__(self, sims, config="", slots=4, extra_conf=(), extra_readers=0):
        self.dir = tempfile.mkdtemp(dir=WORK)
        conf = os.path.join(self.dir, "reader.conf.d")
        os.mkdir(conf)
        for path in extra_conf:
            shutil.copy(path, os.path.join(conf, "extra-" + os.path.basename(path)))
        for i, (name, sim) in enumerate(sims.items()):
            with open(os.path.join(conf, "orvex%d" % i), "w") as f:
                f.write('FRIENDLYNAME "%s"\nDEVICENAME %s\nLIBPATH %s\nCHANNELID 0\n' % (name, sim.path, DRIVER))
        self.config = os.path.join(self.dir, "pcsc.conf")
        with open(self.config, "w") as f:
            f.write(config)
        env = dict(os.environ, ORVEX_PCSC_CONF=self.config)
        self.log_path = os.path.join(self.dir, "pcscd.log")
        self.log_file = open(self.log_path, "w")
        self.proc = subprocess.Popen([PCSCD, "--foreground", "--debug", "--apdu", "--config", conf],
                                     stdout=self.log_file, stderr=subprocess.STDOUT, env=env)
        expected = slots * (len(sims) + extra_readers)
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline:
            if self.proc.poll() is not None:
                raise RuntimeError("pcscd exited:\n" + self.log())
            readers = list_readers()
            if readers is not None and len(readers) == expected:
                self.readers = readers
                return
            time.sleep(0.05)
        raise RuntimeError("pcscd did not list %d readers:\n%s" % (expected, self.log()))

    def log(self):
        with open(self.log_path) as f:
            return f.read()

    def stop(self):
        if self.proc.poll() is None:
            self.proc.terminate()
            try:
                self.proc.wait(5)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait()
        self.log_file.close()


class Setup:
    """Simulators and pcscd for one test module: Setup({"Orvex A": ["--card", "cpu"]})."""

    def __init__(self, readers, config="", extra_conf=(), extra_readers=0):
        self.sims = {}
        self.daemon = None
        try:
            for name, args in readers.items():
                self.sims[name] = Sim(*args)
            self.daemon = Pcscd(self.sims, config, extra_conf=extra_conf, extra_readers=extra_readers)
        except BaseException:
            self.stop()
            raise

    def stop(self):
        if self.daemon:
            self.daemon.stop()
        for sim in self.sims.values():
            sim.stop()


def event_count(reader):
    """pcscd's count of card events (insertions, removals) on reader."""
    rc, ctx = SCardEstablishContext(SCARD_SCOPE_USER)
    assert rc == SCARD_S_SUCCESS
    try:
        rc, states = SCardGetStatusChange(ctx, 0, [(reader, SCARD_STATE_UNAWARE)])
        assert rc == SCARD_S_SUCCESS
        return states[0][1] >> 16
    finally:
        SCardReleaseContext(ctx)


def wait_for_state(reader, present, timeout=3.0, after=None):
    """Seconds until reader's card is (present=True) or is not there, as
    pcscd's SCardGetStatusChange reports it, and (with after) pcscd counted
    more card events than after; raises after timeout."""
    rc, ctx = SCardEstablishContext(SCARD_SCOPE_USER)
    assert rc == SCARD_S_SUCCESS
    try:
        start = time.monotonic()
        states = [(reader, SCARD_STATE_UNAWARE)]
        while True:
            left = timeout - (time.monotonic() - start)
            if left <= 0:
                raise AssertionError("%s: the card did not %s within %.1f s" %
                                     (reader, "arrive" if present else "leave", timeout))
            rc, new = SCardGetStatusChange(ctx, int(left * 1000), states)
            if rc == SCARD_S_SUCCESS:
                event = new[0][1]
                if bool(event & SCARD_STATE_PRESENT) == present and (after is None or (event >> 16) > after):
                    return time.monotonic() - start
                states = [(reader, event & ~0x2)]  # ~SCARD_STATE_CHANGED
    finally:
        SCardReleaseContext(ctx)


def hexs(data):
    return " ".join("%02X" % b for b in data)


def unhex(text):
    return [int(x, 16) for x in text.split()]


# The simulated CPU card's purse application, selected by name.
SELECT_PURSE = unhex("00 A4 04 00 0D") + list(b"OVX.PURSE.APP")


def connect(name):
    """A pyscard connection to the card in the reader called name."""
    from smartcard.System import readers as pyscard_readers
    reader = [r for r in pyscard_readers() if str(r) == name][0]
    c = reader.createConnection()
    c.connect()
    return c


def tx(connection, apdu):
    """(response data, status word) of one APDU."""
    data, sw1, sw2 = connection.transmit(apdu)
    return data, (sw1 << 8) | sw2
