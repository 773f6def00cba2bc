#!/usr/bin/env bash
# Boots Debian's kernel for 64-bit ARM in an emulated machine and runs there what `./test aarch64` has built: unit tests,
# acceptance scripts, drivers and examples. Qemu's user mode translates system calls; a kernel answers them.
#   Tools/arm64.sh
# What the machine has is kept in build/arm64; without that folder it is downloaded again.
set -euo pipefail
cd "$(dirname "$0")/.."

machine=build/arm64
mkdir -p $machine
if [[ ! -f $machine/system.cpio ]]; then
  echo "downloading a kernel and a small system"
  rm -rf $machine/root
  mmdebstrap --quiet --variant=extract --architectures=arm64 \
    --include=binutils,busybox-static,iproute2,libc-bin,libc6-dbg,libedit2,libstdc++6,perl-base,python3 \
    --include=python3-pexpect,socat,valgrind,linux-image-arm64 \
    bookworm $machine/root $(ls /etc/apt/sources.list /etc/apt/sources.list.d/*.{list,sources} 2>/dev/null)
  mv $machine/root/boot/vmlinuz-* $machine/kernel
  rm -rf $machine/root/{boot,lib/modules,usr/share/{doc,man,locale},var}
  (cd $machine/root && find . | cpio --quiet -o -H newc) >$machine/system.cpio
fi

# Added to the system: what is tested, where it lies here too, and the program that the kernel starts.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work$PWD" "$work/etc"
cp --parents -r Docs Examples Host/Tests Tests Tools build/aarch64/{unit_tests,vynhost,small_host,libVYN*.so.21016} "$work$PWD"
cp Tools/arm64-init.sh "$work/init"
echo "hosts: files" >"$work/etc/nsswitch.conf"
printf '127.0.0.1 localhost\n::1 localhost\n' >"$work/etc/hosts"
(cd "$work" && find . | cpio --quiet -o -H newc) | cat $machine/system.cpio - >$machine/initrd

timeout 1500 qemu-system-aarch64 -machine virt -cpu cortex-a72 -smp 2 -m 6144 -nographic -no-reboot -net none \
  -kernel $machine/kernel -initrd $machine/initrd \
  -append "console=ttyAMA0 quiet panic=-1 TREE=$PWD" </dev/null | tee $machine/log
grep -q '^arm64: [0-9]* passed, 0 failed' $machine/log
