#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs a program against two simulated readers: starts two orvex-sim with the
# given options, passes the two device paths they print to the program, and
# stops them afterwards. Exit status: the program's.
#   with_two_sims.sh ORVEX_SIM "OPTIONS A" "OPTIONS B" PROGRAM [ARGS...]
set -u
sim=$1; opts_a=$2; opts_b=$3; shift 3
out_a=$(mktemp); out_b=$(mktemp); trap 'rm -f "$out_a" "$out_b"' EXIT
# shellcheck disable=SC2086
"$sim" $opts_a >"$out_a" 2>&1 & pid_a=$!
# shellcheck disable=SC2086
"$sim" $opts_b >"$out_b" 2>&1 & pid_b=$!
for _ in $(seq 100); do
  path_a=$(head -n 1 "$out_a"); path_b=$(head -n 1 "$out_b")
  [ -n "$path_a" ] && [ -n "$path_b" ] && break
  sleep 0.05
done
if [ -z "${path_a:-}" ] || [ -z "${path_b:-}" ]; then echo "the simulated readers did not start"; kill $pid_a $pid_b; exit 1; fi
"$1" "$path_a" "$path_b" "${@:2}"
rc=$?
kill $pid_a $pid_b 2>/dev/null; wait $pid_a $pid_b 2>/dev/null
exit $rc
