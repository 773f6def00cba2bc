#!/usr/bin/env bash
# Runs clang-tidy over the sources of the library and the hosts, as Clang compiles them.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset sanitize >/dev/null
git ls-files 'Source/*.cpp' 'Libs/*.cpp' 'Host/*.cpp' 'Examples/*.c' ':!Host/Tests' |
  xargs -P 2 -n 4 clang-tidy -p build/sanitize --quiet 2>&1 | grep -v 'warnings generated' || test "${PIPESTATUS[1]}" = 0
