#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs one pcscd test module (pytest, pyscard) in private mount and PID
# namespaces: its own tmpfs on /run/pcscd, so the pcscd it starts never
# meets a system one, and everything it starts (simulators, pcscd, clients)
# is killed with the namespace when the script ends, however it ends.
#   run_pcscd_test.sh TEST.py [PYTEST ARGS...]
# Exit status 77 (skipped) with the reason when the machine cannot run it.
set -u
skip() {
  echo "SKIP: $*"
  exit 77
}
[ "$(id -u)" -eq 0 ] || skip "the pcscd tests need root (a private mount namespace for /run/pcscd)"
command -v unshare >/dev/null || skip "the pcscd tests need unshare (util-linux)"
PCSCD=$(command -v pcscd || echo /usr/sbin/pcscd)
[ -x "$PCSCD" ] || skip "the pcscd tests need pcscd (Debian: pcscd)"
/usr/bin/python3 -c 'import smartcard' 2>/dev/null || skip "the pcscd tests need python3-pyscard"
/usr/bin/python3 -c 'import pytest' 2>/dev/null || skip "the pcscd tests need python3-pytest"
export PCSCD
mkdir -p /run/pcscd
# The same namespaces and mounts as below, once for nothing: where the
# machine does not allow them the test is skipped rather than failed.
unshare --mount --propagation private --pid --fork --kill-child --mount-proc \
  /bin/sh -c 'mount -t tmpfs pcscd-probe /run/pcscd' 2>/dev/null ||
  skip "unshare cannot make private mount and PID namespaces with a tmpfs on /run/pcscd here"
exec unshare --mount --propagation private --pid --fork --kill-child --mount-proc \
  /bin/sh -c 'mount -t tmpfs -o mode=0755 pcscd-test /run/pcscd &&
    exec /usr/bin/python3 -m pytest -p no:cacheprovider -q -s "$@"' sh "$@"
