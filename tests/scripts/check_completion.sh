#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The bash completion of orvex, run as bash runs it on a Tab, against the
# orvex built: usage check_completion.sh COMPLETION_FILE ORVEX_DIR.
set -u
source "$1"
PATH="$2:$PATH"
failed=0
# expect WORDS... -- EXPECTED: the completions of the last word.
expect() {
  local args=() want
  while [[ "$1" != "--" ]]; do args+=("$1"); shift; done
  shift
  want="$*"
  COMP_WORDS=("${args[@]}")
  COMP_CWORD=$((${#args[@]} - 1))
  COMPREPLY=()
  _orvex
  if [[ "${COMPREPLY[*]}" != "$want" ]]; then
    echo "completing '${args[*]}': got '${COMPREPLY[*]}', expected '$want'"
    failed=1
  fi
}
expect orvex sc -- scan
expect orvex wa -- watch
expect orvex mfc "" -- dump read write value keys restore acl
expect orvex mfc value "" -- get init inc dec restore transfer
expect orvex mfc write --t -- --trailer
expect orvex --device sim mfc k -- keys
expect orvex scan --w -- --wait
expect orvex mfc dump --no -- --no-default-keys
expect orvex -q --js -- --json
expect orvex ndef re -- read
exit $failed
