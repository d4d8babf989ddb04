#!/usr/bin/env bash
# The long campaigns against files: what .ci/run does in a minute, here for an hour. Two parts run at a
# time. A part that has passed is not run again until its result is removed, so an interrupted run goes on where it
# was.
#
#   scripts/campaign.sh [BUILD]     BUILD: build directory, default build/dev
#
# Results lie in BUILD/campaigns, one .json a part. PDM_CAMPAIGN_SEED chooses other steps, kills and disks;
# PDM_CAMPAIGN_LIMIT is the time limit of a part in seconds.
#
# The other long run is scripts/mutate.sh: campaigns look for faults in the library, it looks for holes in the tests.
set -uo pipefail
cd "$(dirname "$0")/.." || exit 2
build=${1:-build/dev}
export PDM_CAMPAIGN=$build/bin/campaign PDM_CAMPAIGN_OUT=$build/campaigns
export PDM_CAMPAIGN_SEED=${PDM_CAMPAIGN_SEED:-1} PDM_CAMPAIGN_LIMIT=${PDM_CAMPAIGN_LIMIT:-3600}
export PDM_CAMPAIGN_LIBRARY=$build/breakable/libH5Journal.so
[ -x "$PDM_CAMPAIGN" ] || {
  echo "campaign: no $PDM_CAMPAIGN; build the target 'campaign' first" >&2
  exit 2
}
mkdir -p "$PDM_CAMPAIGN_OUT"

# One part: its name, then the words of the command.
part() {
  local name=$1-$PDM_CAMPAIGN_SEED out=$PDM_CAMPAIGN_OUT/$1-$PDM_CAMPAIGN_SEED.json
  shift
  [ -e "$out" ] && return 0
  timeout "$PDM_CAMPAIGN_LIMIT" "$PDM_CAMPAIGN" "$@" --json --seed "$PDM_CAMPAIGN_SEED" >"$out.part" 2>"$out.log"
  local result=$?
  if [ $result -eq 0 ]; then
    mv "$out.part" "$out"
    echo "passed  $name"
  else
    echo "FAILED  $name, exit code $result: $out.log"
  fi
}
export -f part

parts() {
  local config
  for config in kill-safe durable tiny-limits live-readers live-tiny-journal unmarked old-format; do
    echo "kills-$config kills --config $config --count 1500"
  done
  for config in durable tiny-limits tiny-journal read-live regrown regrown-spilled helped helped-spilled helped-live unmarked old-format; do
    echo "power-$config power --config $config --count 7000"
  done
  for config in kill-safe durable tiny-limits live-readers unmarked; do
    echo "helpers-$config helpers --config $config --count 300"
  done
  for config in kill-safe durable read-live tiny-limits regrown helped; do
    echo "faults-$config faults --config $config"
  done
  echo "allocations allocations --stride 2"
  echo "contention contention --count 100000"
  echo "live live --count 60"
  echo "model model --count 2000"
  [ -e "$PDM_CAMPAIGN_LIBRARY" ] && echo "broken broken --count 5000 --library $PDM_CAMPAIGN_LIBRARY"
}

# xargs ends each line's words itself
parts | xargs -P 2 -L 1 bash -c 'part "$@"' part | tee "$PDM_CAMPAIGN_OUT/summary.txt"
! grep -q '^FAILED' "$PDM_CAMPAIGN_OUT/summary.txt"
