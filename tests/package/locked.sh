#!/usr/bin/env bash
# locked.sh SETUP: a package manager that is locked is waited for, for as long as was said; no other failure is.
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work"/{bin,scripts}
cp "$1" "$work/scripts/setup.sh"
export PATH=$work/bin:$PATH work
stub() { printf '#!/bin/bash\n%s\n' "$2" >"$work/bin/$1" && chmod +x "$work/bin/$1"; }
stub id 'echo 0'
stub dpkg-query 'exit 1'
stub sleep ''
stub apt-get 'echo "$*" >>"$work/calls"
[ "$(wc -l <"$work/calls")" -gt "$failures" ] || { echo "E: $failure. It is held by process 7 (apt)"; exit 100; }'

# FAILURES FAILURE SECONDS: what the first calls of apt-get say, and for how long it is waited for.
setup() {
  rm -f "$work/calls"
  failures=$1 failure=$2 PDM_LOCK_SECONDS=$3 bash -c 'set -eu; source "$work/scripts/setup.sh" format' 2>&1
}
lock='Could not get lock /var/lib/apt/lists/lock'
said=$(setup 3 "$lock" 60)
[ "$(grep -c 'waiting for the package manager' <<<"$said")" -eq 1 ]
[ "$(grep -c '^update' "$work/calls")" -eq 4 ] && [ "$(tail -n 1 "$work/calls" | grep -c '^install .*clang-format')" -eq 1 ]
if said=$(setup 99 "$lock" 0); then exit 1; fi
grep -q 'still locked after 0 s' <<<"$said"
if said=$(setup 1 'Unable to fetch' 60); then exit 1; fi
[ "$(wc -l <"$work/calls")" -eq 1 ]
