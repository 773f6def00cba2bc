#!/usr/bin/env bash
# Installs the missing Debian packages of these groups, and shows the progress. Prints nothing when none is missing.
#   Tools/setup.sh build | test | bench | package | aarch64 ...
set -euo pipefail

declare -A packages=(
  [build]="g++ cmake ninja-build pkg-config liblua5.4-dev libedit-dev"
  [test]="clang clang-format clang-tidy libclang-rt-14-dev libgtest-dev libgmock-dev socat python3 python3-pexpect valgrind binutils iproute2 libbenchmark-dev mount util-linux"
  [bench]="libbenchmark-dev python3 libasio-dev libuv1-dev libdpdk-dev gnuplot-nox"
  [coverage]="gcovr"
  [package]="debhelper dpkg-dev lintian"
  [arm64]="qemu-system-arm mmdebstrap cpio"
  [aarch64]="g++-aarch64-linux-gnu qemu-user liblua5.4-dev:arm64 libedit-dev:arm64 libgtest-dev:arm64"
)

if ! command -v dpkg >/dev/null; then
  echo "setup: this is not Debian; install the equivalents of: $(for group in "$@"; do printf '%s ' "${packages[$group]}"; done)" >&2
  exit 0 # the build says what is missing
fi
native=$(dpkg --print-architecture)

# Whether the package is installed, for this machine unless its name says which.
installed() {
  local architecture=$native
  [[ $1 != *:* ]] || architecture=${1#*:}
  dpkg-query -W -f '${db:Status-Status} ${Architecture}\n' "${1%:*}" 2>/dev/null |
    grep -qxE "installed ($architecture|all)"
}

missing=()
for group in "$@"; do
  if [[ $group == aarch64 ]] && ! dpkg --print-foreign-architectures | grep -qx arm64; then
    foreign=1
  fi
  for package in ${packages[$group]}; do
    installed "$package" || missing+=("$package")
  done
done
((${#missing[@]})) || exit 0

root=()
if [[ $(id -u) != 0 ]]; then
  root=(sudo)
  if ! command -v sudo >/dev/null; then
    echo "setup: packages are missing. As root type:" >&2
    echo "  ${foreign:+dpkg --add-architecture arm64 && }apt-get update && apt-get install --no-install-recommends ${missing[*]}" >&2
    exit 1
  fi
fi
echo "setup: reading the lists of packages, then installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
[[ -z ${foreign:-} ]] || "${root[@]}" dpkg --add-architecture arm64
"${root[@]}" apt-get update -qq
"${root[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}" |
  awk '/newly installed,/ { all = 2 * ($1 + $3) }
    /^Get:/ { print "[" ++n "/" all "] fetching " $5; fflush() }
    /^Setting up/ { print "[" ++n "/" all "] setting up " $3; fflush() }' |
  "$(dirname "$0")/progress.sh" setup
