#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# fuzz/campaign refuses a malformed count of processes or of seconds before
# it configures, builds or runs anything: usage check_campaign_args.sh CAMPAIGN.
set -u
campaign=$1
failed=0
# A cmake that fails at once stands in for the real one: an argument let
# through ends in status 97 here instead of a build and a campaign.
stub=$(mktemp -d)
trap 'rm -rf "$stub"' EXIT
printf '#!/bin/sh\nexit 97\n' >"$stub/cmake"
chmod +x "$stub/cmake"
export PATH="$stub:$PATH"
# refuses MESSAGE ARGS...: exit status 2, MESSAGE alone on stderr, nothing on stdout.
refuses() {
  local want=$1 out err rc
  shift
  out=$("$campaign" "$@" 2>"$stub/err")
  rc=$?
  err=$(cat "$stub/err")
  if [[ $rc -ne 2 || "$err" != "$want" || -n "$out" ]]; then
    echo "fuzz/campaign $*: status $rc, stderr '$err', stdout '$out'; expected status 2 and '$want'"
    failed=1
  fi
}
jobs_msg="fuzz/campaign: --jobs needs a count of processes, 1 or more"
secs_msg="fuzz/campaign: SECONDS must be a whole number of seconds, 1 or more"
refuses "$jobs_msg" --jobs
refuses "$jobs_msg" --jobs 0
refuses "$jobs_msg" --jobs two 60 sim
refuses "$jobs_msg" --jobs -1 60
refuses "$secs_msg" 0
refuses "$secs_msg" 10s sim
refuses "$secs_msg" --jobs 2 ""
refuses "$secs_msg" --jobs 2 sim
# --totals prints the ledger's table, with cmake never called.
totals=$("$campaign" --totals)
rc=$?
if [[ $rc -ne 0 || "$(head -n 1 <<<"$totals")" != "target"*"executions"* ]]; then
  echo "fuzz/campaign --totals: status $rc, output '$totals'"
  failed=1
fi
exit $failed
