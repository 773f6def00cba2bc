#!/bin/busybox sh
# The first process of the machine that Tools/arm64.sh boots: runs the tests, prints what failed, and switches it off.
/bin/busybox --install -s /bin
mkdir -p /proc /sys /dev /run /tmp /var/tmp
mount -t proc none /proc
mount -t sysfs none /sys
mount -t devtmpfs none /dev
mkdir -p /dev/pts
mount -t devpts none /dev/pts
mount -t tmpfs none /tmp
ip link set lo up
ip route add default dev lo
export HOME=/tmp LANG=C.UTF-8 PATH=/bin:/usr/bin:/sbin:/usr/sbin
ulimit -n 20000
cd "$TREE"
ln -s build/aarch64/vynhost build/vynhost
export VYN_HOST=$TREE/build/aarch64/vynhost VYN_LIBRARY=$TREE/build/aarch64/libVYNNetwork.Linux32.so.21016
export VYN_SMALL_HOST=$TREE/build/aarch64/small_host VYN_HOST_CHECK=$TREE/build/aarch64/libVYNHostCheck.Linux32.so.21016
export VYN_PLAIN_BUILD=1 VYN_COMPILER=GNU VYN_EMULATOR= PYTHONPATH=$TREE/Host/Tests:$TREE/Tools

passed=0
failed=0
# Runs one test, named first, and shows what it says when it fails.
try() {
  name=$1
  shift
  if timeout 600 "$@" >/tmp/said 2>&1; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    echo "== $name failed"
    tail -20 /tmp/said
  fi
}

echo "kernel $(uname -r) on $(uname -m), up for $(cut -d. -f1 /proc/uptime) s"
# But for the sweeps of failing calls, which the kernel does not see, and whose waits are too short for this machine.
for test in $(build/aarch64/unit_tests --gtest_list_tests --gtest_filter=-SystemFault.* | awk '/^[^ ]/ { suite = $1 } /^ / { print suite $1 }'); do
  try "$test" build/aarch64/unit_tests --gtest_filter="$test"
done
for script in Tests/Acceptance/*.lua; do
  [ "$script" = Tests/Acceptance/support.lua ] || try "$script" $VYN_HOST "$script"
done
for driver in Tests/Acceptance/test_instructions.py Tests/Acceptance/test_vynhost.py Tests/Acceptance/test_programs.py Host/Tests/test_*.py; do
  try "$driver" python3 -B -m unittest discover -s "${driver%/*}" -p "${driver##*/}"
done
echo "arm64: $passed passed, $failed failed, in $(cut -d. -f1 /proc/uptime) s"
poweroff -f
