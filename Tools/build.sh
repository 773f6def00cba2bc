#!/usr/bin/env bash
# Configures and builds one preset. Shows the progress, and the output of the compiler only when the build fails.
#   Tools/build.sh PRESET [TARGET...]
set -euo pipefail
cd "$(dirname "$0")/.."

preset=$1
shift
log=$(mktemp)
trap 'rm -f "$log"' EXIT
targets=()
(($# == 0)) || targets=(--target "$@")
# A folder that was configured for another build tool is configured afresh.
if ! { { cmake --preset "$preset" || cmake --fresh --preset "$preset"; } &&
  cmake --build --preset "$preset" "${targets[@]}"; } 2>&1 | tee "$log" | Tools/progress.sh "build $preset"; then
  cat "$log"
  exit 1
fi
