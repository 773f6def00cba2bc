#!/usr/bin/env bash
# Runs each fuzzer for some seconds on its seeds, two at a time. Keeps a failing input in build/sanitize.
#   Tools/fuzz.sh [SECONDS]        30 by default
# With FUZZ_KEEP=1, inputs that reach new code become seeds.
set -euo pipefail
cd "$(dirname "$0")/.."

# Runs one fuzzer, and prints how many inputs it tried.
fuzz() {
  local program=$1 seconds=$2
  local name=${program##*/}
  local corpus=$seeds/${name%Fuzz} found log
  found=$(mktemp -d)
  log=$program.log
  if ! "$program" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix=build/sanitize/ "$found" "$corpus" >"$log" 2>&1; then
    tail -40 "$log"
    echo "fuzz: $name has found a fault"
    return 1
  fi
  [[ -z ${FUZZ_KEEP:-} ]] || "$program" -set_cover_merge=1 "$corpus" "$found" >>"$log" 2>&1
  rm -rf "$found"
  echo "$name: $(sed -n 's/stat::number_of_executed_units: *//p' "$log") inputs tried"
}
export -f fuzz

archive=Tests/Fuzz/seeds.tar.gz
export seeds=build/sanitize/seeds
rm -rf $seeds
mkdir $seeds
tar -xf $archive -C $seeds

printf '%s\n' build/sanitize/*Fuzz | xargs -P2 -I{} bash -c "set -euo pipefail; fuzz {} ${1:-30}"
if [[ -n ${FUZZ_KEEP:-} ]]; then
  tar --sort=name --owner=0 --group=0 --numeric-owner --mtime=@0 -czf $archive -C $seeds $(ls $seeds)
fi
