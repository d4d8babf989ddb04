#!/usr/bin/env bash
# fuzz.sh [SECONDS] [NAME...]: builds the fuzzing programs (fuzz/README.md) and runs each of them, or those named,
# for that long (30), as many at a time as there are processors. Ends with a table, and fails when there is a
# finding. Findings are kept in out/fuzz/NAME-*, what raised the coverage in out/fuzz/NAME/ for the next time.
set -euo pipefail
source "$(dirname "$0")/setup.sh" build fuzz

seconds=30
if [[ ${1:-} =~ ^[0-9]+$ ]]; then
  seconds=$1
  shift
fi
names=("$@")
[ ${#names[@]} -gt 0 ] || names=(MemberStream Identifiers Link File Journal Gmsh Medit VtkLegacy VtkXml Xdmf Med)
bin=${PDM_FUZZ_BUILD:-build/fuzz}
brief_of_all=out/log/fuzz-findings.txt # .ci/run ends with it
: >"$brief_of_all"

heading "Build ($bin)"
quietly configure-fuzz cmake --preset fuzz -B "$bin"
quietly build-fuzz cmake --build "$bin" --parallel "$PDM_JOBS" --target "${names[@]/#/fuzz_}"

# Each input of some programs is a file or two: they belong into memory where that can be had.
memory=$(mktemp -d -p "$([ -w /dev/shm ] && echo /dev/shm || echo "${TMPDIR:-/tmp}")" pdm_fuzz.XXXXXX)
trap 'rm -rf "$memory"' EXIT
export TMPDIR=$memory
export LSAN_OPTIONS=suppressions=$PWD/fuzz/hdf5_leaks.txt:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1
mkdir -p out/fuzz

findings() { find out/fuzz -maxdepth 1 -type f -newer "$memory/start" -name "$1-*" ! -name '*-slow-unit-*' | sort; }

run() {
  local name=$1 dictionary=()
  [ ! -f "fuzz/dictionaries/$name" ] || dictionary=("-dict=fuzz/dictionaries/$name")
  mkdir -p "out/fuzz/$name"
  # A finding ends the program and is seen by the file that is left.
  "$bin/bin/fuzz_$name" "-max_total_time=$seconds" -print_final_stats=1 -timeout=30 -rss_limit_mb=4096 \
    "${dictionary[@]}" "-artifact_prefix=out/fuzz/$name-" "out/fuzz/$name" "fuzz/corpus/$name" \
    >"out/log/fuzz-$name.log" 2>&1 || echo "exit $?" >>"out/log/fuzz-$name.log"
}

heading "Run ($seconds s each, $PDM_JOBS at a time)"
touch "$memory/start"
running=0
for name in "${names[@]}"; do
  if [ "$running" -ge "$PDM_JOBS" ]; then
    wait -n
    running=$((running - 1))
  fi
  run "$name" &
  running=$((running + 1))
done
wait

stat_of() { sed -n "s/^stat::$2: *//p" "out/log/fuzz-$1.log" | tail -n 1; }

failed=0
format='%-14s %12s %10s %10s %9s %9s\n'
printf "$format" fuzzer executions 'a second' coverage 'in HDF5' findings
for name in "${names[@]}"; do
  log=out/log/fuzz-$name.log
  mapfile -t found < <(findings "$name")
  count=${#found[@]}
  executions=$(stat_of "$name" number_of_executed_units)
  if [ "$count" -eq 0 ] && { grep -q '^exit ' "$log" || [ "${executions:-0}" -eq 0 ]; }; then
    count=broken # ended by itself and left nothing, or never ran
    { echo "$name ended without a finding:" && tail -n 8 "$log" | cut -c1-160; } >>"$brief_of_all"
  fi
  printf "$format" "$name" "${executions:--}" "$(stat_of "$name" average_exec_per_sec)" \
    "$(sed -n 's/^#.* cov: \([0-9]*\).*/\1/p' "$log" | tail -n 1)" "$(stat_of "$name" inputs_failing_in_hdf5 | grep . || echo -)" "$count"
  [ "$count" = 0 ] || failed=1
done

# What a finding comes to in a few lines: what was said of it, where, and how it differs from the input it came of.
brief() {
  local file=$1 once_more=$2 seed changes
  echo "$file: $(grep -a -m 1 -E 'ERROR: |runtime error: |^== EXPECTED: ' "$once_more" | cut -c1-160)"
  sed -n -E 's/^ +#([0-9]+) 0x[0-9a-f]+ +(in )?/  \1 /p' "$once_more" | grep -v -e __sanitizer -e runChild -e libstdc -e sysdeps/ -e nptl/ -e stdlib/ | head -n 9 | cut -c1-110
  for seed in fuzz/corpus/"$(basename "${file%%-*}")"/*; do
    changes=$(cmp -l "$seed" "$file" 2>/dev/null | awk '{printf "%s:%s ", $1, $3}' | cut -c1-700)
    [ "$(stat -c %s "$seed")" != "$(stat -c %s "$file")" ] || echo "  $seed with (place:octal) $changes"
  done
}

for name in "${names[@]}"; do
  for file in $(findings "$name"); do
    heading "Finding: $file"
    # As it was met; a second run need not end the same.
    grep -a -v -e '^#[0-9]' -e '^INFO:' "out/log/fuzz-$name.log" | tail -n 60 || true
    heading "Once more: $file"
    PDM_FUZZ_HERE=1 ASAN_OPTIONS=symbolize=1:malloc_context_size=30 "$bin/bin/fuzz_$name" -timeout=20 "$file" \
      >"$memory/once-more" 2>&1 || true
    grep -v '^INFO:' "$memory/once-more" | head -n 60 || true
    brief "$file" "$memory/once-more" >>"$brief_of_all" || true
  done
done
exit $failed
