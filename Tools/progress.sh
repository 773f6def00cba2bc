#!/usr/bin/env bash
# Shows the progress from lines such as "[3/40] Building x" in the input: on a terminal the last line in place of the
# one before, in a log one line for each tenth. Ignores other lines.
#   ... | Tools/progress.sh WHAT
set -euo pipefail

shown=0
while IFS= read -r line; do
  [[ $line =~ ^\[([0-9]+)/([0-9]+)\]\ (.*) ]] || continue
  step=${BASH_REMATCH[1]} steps=${BASH_REMATCH[2]}
  text="$1: $step of $steps: ${BASH_REMATCH[3]##*/}"
  if [[ -t 2 ]]; then
    width=$(tput cols 2>/dev/null || echo 80)
    printf '\r\033[K%s' "${text:0:width-1}" >&2
  elif ((step * 10 / steps > shown)); then
    shown=$((step * 10 / steps))
    echo "$text" >&2
  fi
done
[[ ! -t 2 ]] || printf '\r\033[K' >&2
