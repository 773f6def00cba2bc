#!/usr/bin/env bash
# Configures and builds one preset. How far it is is shown, but what the compiler says only when the build fails.
#   Tools/build.sh PRESET [TARGET...]
set -euo pipefail
cd "$(dirname "$0")/.."

preset=$1
shift
log=$(mktemp)
trap 'rm -f "$log"' EXIT
# A folder that was configured by hand for another build tool is configured again.
folder=build/$preset
[[ $preset != release ]] || folder=build
if [[ -f $folder/CMakeCache.txt ]] && ! grep -q '^CMAKE_GENERATOR:INTERNAL=Ninja$' "$folder/CMakeCache.txt"; then
  rm -rf "$folder/CMakeCache.txt" "$folder/CMakeFiles"
fi
targets=()
(($# == 0)) || targets=(--target "$@")
if ! { cmake --preset "$preset" && cmake --build --preset "$preset" "${targets[@]}"; } 2>&1 | tee "$log" |
  Tools/progress.sh "build $preset"; then
  cat "$log"
  exit 1
fi
