#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs a program against a simulated reader: starts orvex-sim with the given
# options, passes the device path it prints to the program, stops the
# simulator afterwards. Exit status: the program's.
#   with_sim.sh ORVEX_SIM "SIM OPTIONS" PROGRAM [ARGS...]
set -u
sim=$1; opts=$2; shift 2
out=$(mktemp); trap 'rm -f "$out"' EXIT
# shellcheck disable=SC2086
"$sim" $opts >"$out" 2>&1 &
pid=$!
for _ in $(seq 100); do
  path=$(head -n 1 "$out")
  [ -n "$path" ] && break
  sleep 0.05
done
if [ -z "${path:-}" ]; then echo "the simulated reader did not start"; kill $pid; exit 1; fi
"$@" "$path"
rc=$?
kill $pid 2>/dev/null; wait $pid 2>/dev/null
exit $rc
