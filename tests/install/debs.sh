#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs the Debian packages in build/debs/ (scripts/package) on this
# machine with dpkg -i, uses them as a user would, purges them, and checks
# that they left nothing behind. Needs root; changes /usr while it runs, and
# refuses to start when an orvex package is installed already.
#   tests/install/debs.sh [DEBS_DIR]
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
debs=${1:-$root/build/debs}
packages=(liborvex1 liborvex-dev orvex-tools liborvex-doc
          liborvex1-dbgsym orvex-tools-dbgsym libifd-orvex libifd-orvex-dbgsym
          python3-orvex)
[ "$(id -u)" -eq 0 ] || { echo "debs.sh: needs root (dpkg -i)" >&2; exit 2; }
ls "$debs"/*.deb >/dev/null || { echo "debs.sh: no packages in $debs (run scripts/package)" >&2; exit 2; }
for p in "${packages[@]}"; do
  if dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "installed\|config-files"; then
    echo "debs.sh: $p is already on this machine; remove it first" >&2
    exit 2
  fi
done

work=$(mktemp -d)
sim_pid=""
snapshot() {
  # What packages may leave behind: files and links under these, by path.
  find /usr /etc /var/lib/dpkg/info /var/lib/dpkg/alternatives -xdev 2>/dev/null | LC_ALL=C sort
}
purge() {
  dpkg --purge "${packages[@]}" >/dev/null 2>&1 || true
}
cleanup() {
  [ -z "$sim_pid" ] || kill "$sim_pid" 2>/dev/null || true
  purge
  rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "debs.sh: FAILED: $*" >&2; exit 1; }

snapshot >"$work/before"
echo "== dpkg -i"
dpkg -i "$debs"/*.deb
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}\n' "$p" | grep -q "install ok installed" || fail "$p not installed"
done

multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
libdir=/usr/lib/$multiarch
echo "== files where Debian puts them"
for f in "$libdir/liborvex.so.1" "$libdir/liborvex.so" "$libdir/pkgconfig/orvex.pc" \
         "$libdir/cmake/Orvex/OrvexConfig.cmake" /usr/include/orvex.h /usr/bin/orvex /usr/bin/orvex-sim \
         /usr/share/man/man1/orvex.1.gz /usr/share/man/man1/orvex-sim.1.gz /lib/udev/rules.d/60-orvex.rules \
         /usr/share/bash-completion/completions/orvex \
         /usr/share/doc/liborvex1/copyright /usr/share/doc/liborvex-doc/html/index.html \
         /usr/lib/pcsc/drivers/ifd-orvex.bundle/Contents/Info.plist /usr/lib/pcsc/drivers/serial/libifd_orvex.so \
         /etc/reader.conf.d/orvex /etc/orvex/pcsc.conf; do
  [ -e "$f" ] || fail "$f missing"
done
for b in /usr/bin/orvex /usr/bin/orvex-sim "$(readlink -f "$libdir/liborvex.so.1")"; do
  file -L "$b" | grep -q ", stripped" || fail "$b is not stripped"
done
# The symbols stripped from orvex are in orvex-tools-dbgsym, under its build id.
id=$(readelf -n /usr/bin/orvex | awk '/Build ID:/ { print $3 }')
[ -n "$id" ] || fail "/usr/bin/orvex has no build id"
dbg=/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug
dpkg -S "$dbg" 2>/dev/null | grep -q "^orvex-tools-dbgsym[:]" ||
  fail "$dbg, the debug symbols of /usr/bin/orvex, is not in orvex-tools-dbgsym"
readelf -S "$dbg" | grep -q "\.debug_info" || fail "$dbg holds no debug information"
[ "$(pkg-config --variable=libdir orvex)" = "$libdir" ] || fail "orvex.pc libdir: $(pkg-config --variable=libdir orvex)"
[ "$(pkg-config --variable=includedir orvex)" = /usr/include ] || fail "orvex.pc includedir: $(pkg-config --variable=includedir orvex)"
pkg-config --cflags --libs orvex

echo "== orvex --device sim info"
cd "$work"
orvex --version | tee version.txt
grep -qx "orvex $(dpkg-query -W -f='${Version}' orvex-tools | sed 's/-[^-]*$//')" version.txt ||
  fail "orvex --version does not say the package version"
orvex --device sim info | tee info.txt
[ -s info.txt ] || fail "orvex --device sim info printed nothing"

echo "== programs built against the installed packages talk to orvex-sim"
orvex-sim >sim.out 2>&1 &
sim_pid=$!
for _ in $(seq 100); do
  pty=$(head -n 1 sim.out)
  [ -n "$pty" ] && break
  sleep 0.05
done
[ -n "${pty:-}" ] || fail "orvex-sim did not start: $(cat sim.out)"
consumer=$root/tests/install/consumer
# shellcheck disable=SC2046
c++ "$consumer/main.cpp" $(pkg-config --cflags --libs orvex) -o consumer_pc
cmake -S "$consumer" -B cmake-build >/dev/null
cmake --build cmake-build >/dev/null
for exe in ./consumer_pc ./cmake-build/consumer; do
  # (/lib is /usr/lib on a merged /usr: compare where the paths lead)
  loaded=$(ldd "$exe" | awk '$1 == "liborvex.so.1" { print $3 }')
  [ -n "$loaded" ] && [ "$(readlink -f "$loaded")" = "$(readlink -f "$libdir/liborvex.so.1")" ] ||
    fail "$exe loads '$loaded', not $libdir/liborvex.so.1"
  "$exe" "$pty" | tee out.txt
  grep -q "^reader firmware " out.txt || fail "$exe got no answer from orvex-sim"
done
kill "$sim_pid"; wait "$sim_pid" 2>/dev/null || true; sim_pid=""

echo "== python3 -c 'import orvex' finds the package and its simulated reader"
PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 -c '
import orvex, orvex.sim
assert orvex.__file__.startswith("/usr/lib/python3/dist-packages/orvex/"), orvex.__file__
with orvex.sim.Simulator(cards=["ntag215"]) as sim, orvex.Reader(sim) as reader:
    (tag,) = reader.scan()
    print("python3-orvex:", reader.info()["version_text"], tag)
' | tee py.txt
grep -q "^python3-orvex: " py.txt || fail "the Python package does not work"

echo "== man orvex"
man -w orvex | grep -qx /usr/share/man/man1/orvex.1.gz || fail "man -w orvex: $(man -w orvex)"
MANPAGER=cat MANWIDTH=80 man orvex 2>/dev/null | grep -q -- "--device" || fail "man orvex shows no page"

echo "== the HTML reference"
html=/usr/share/doc/liborvex-doc/html
grep -q "Orvex library" "$html/index.html" || fail "$html/index.html is not the reference"
for page in classOrvex.html classOrvexLink.html orvex_8h.html; do
  [ -s "$html/$page" ] || fail "$html/$page missing"
done
# Every script and style sheet a page names is there (no dangling link).
for f in $(grep -ho 'src="[^"]*\.js"\|href="[^"]*\.css"' "$html"/*.html | sed 's/.*="\(.*\)"/\1/' | sort -u); do
  [ -e "$html/$f" ] || fail "$html/$f, named by the pages, is missing"
done
echo "$html: $(ls "$html" | wc -l) files"

echo "== dpkg --purge"
cd /
dpkg --purge "${packages[@]}"
snapshot >"$work/after"
if ! diff "$work/before" "$work/after" >"$work/diff"; then
  cat "$work/diff"
  fail "the packages left the changes above behind"
fi
echo "debs.sh: installed, used and purged; nothing left behind"
