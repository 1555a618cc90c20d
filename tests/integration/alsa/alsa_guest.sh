#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: alsa_guest.sh [-t SECONDS] [-m MEGABYTES] [-M "MODULE..."] [-e NAME=VALUE]... [-p CPUS] FOLDER COMMAND
#
# Runs a command in a small virtual machine whose kernel has ALSA's sequencer, so that tests of it run on any machine.
# The machine's root is this machine's own file system, read-only: programs and libraries are found where they are here.
# FOLDER alone can be written to, at the same path; it is where COMMAND starts, a line for bash. Its output and its exit
# status come back as this script's own.
#
#   -t  wall-clock limit, 300 seconds unless told; then exit 124
#   -m  memory, 512 megabytes unless told
#   -M  modules to load first, "snd-seq snd-seq-dummy snd-hrtimer snd-seq-midi" unless told
#   -e  a variable of COMMAND's environment
#   -p  processors, in real time. Without it there is one, in virtual time (icount): each instruction takes two
#       nanoseconds and waiting takes none, so that measured times repeat and a loaded machine does not disturb them
#
# In the guest `guest-modprobe` loads and removes modules. The kernel is Debian's linux-image-amd64 (the cloud one has no
# sound), as installed, or as unpacked under $MLOX_GUEST_KERNEL_ROOT. Exit 125: the guest could not run, with the reason.
set -u
program=${0##*/}
limit=300 memory=512 cpus=0 variables=()
modules="snd-seq snd-seq-dummy snd-hrtimer snd-seq-midi"
die() { echo "$program: $*" >&2; exit 125; }

while getopts t:m:M:e:p: option; do
  case $option in
    t) limit=$OPTARG ;;
    m) memory=$OPTARG ;;
    M) modules=$OPTARG ;;
    e) variables+=("$OPTARG") ;;
    p) cpus=$OPTARG ;;
    *) die "see the head of this file" ;;
  esac
done
shift $((OPTIND - 1))
[ $# -eq 2 ] || die "FOLDER and COMMAND are wanted"
folder=$(readlink -f "$1") && [ -d "$folder" ] || die "no folder $1"
case $folder in *,*) die "qemu takes no folder with a comma: $folder" ;; esac
command=$2

PATH=$PATH:/usr/sbin:/sbin
for tool in qemu-system-x86_64 cpio depmod modprobe xz; do
  command -v $tool >/dev/null || die "no ALSA guest without $tool: see packaging/packages.txt"
done
busybox=/bin/busybox
[ -x $busybox ] && ! ldd $busybox >/dev/null 2>&1 || die "no ALSA guest without busybox-static"

# ---- the kernel ----
root=${MLOX_GUEST_KERNEL_ROOT:-}
version=
for module in "$root"/lib/modules/*/kernel/sound/core/seq/snd-seq.ko*; do
  [ -e "$module" ] || continue
  candidate=${module#"$root"/lib/modules/}
  candidate=${candidate%%/*}
  [ -r "$root/boot/vmlinuz-$candidate" ] && version=$candidate
done
[ -n "$version" ] || die "no kernel with ALSA under ${root:-/}: install linux-image-amd64"

work=$(mktemp -d) || die "no temporary folder"
qemu=
finish() {
  [ -n "$qemu" ] && { kill -9 "$qemu"; wait "$qemu"; } 2>/dev/null
  rm -rf "$work"
}
trap finish EXIT
trap 'exit 130' INT TERM

# ---- the first file system: busybox, the modules, and a script that mounts the rest ----
wanted="snd-seq snd-seq-dummy snd-hrtimer snd-seq-midi snd-virmidi snd-usb-audio dummy_hcd libcomposite usb_f_midi
  configfs virtio_pci 9p 9pnet_virtio"

make_initramfs() {  # $1: where it goes
  local tree=$work/tree files module target
  mkdir -p "$tree"/{bin,dev,proc,sys,n,ctl,"lib/modules/$version"} || return 1
  cp $busybox "$tree/bin/busybox" || return 1
  for module in $wanted; do
    modprobe -d "${root:-/}" -S "$version" --show-depends "$module" 2>/dev/null
  done | sed -n 's/^insmod \([^ ]*\).*/\1/p' | sort -u > "$work/modules"
  while read -r module; do
    target=$tree/lib/modules/$version/${module#*"/lib/modules/$version/"}
    mkdir -p "${target%/*}" && cp "$module" "$target" || return 1
    case $target in
      *.xz) xz -d "$target" ;;
      *.gz) gzip -d "$target" ;;
      *.zst) zstd -q -d --rm "$target" ;;
    esac
  done < "$work/modules"
  cp "$root/lib/modules/$version"/modules.{builtin,order}* "$tree/lib/modules/$version/" 2>/dev/null
  depmod -b "$tree" "$version" 2>/dev/null
  cat > "$tree/init" <<'INIT'
#!/bin/busybox sh
/bin/busybox --install -s /bin
export PATH=/bin
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t devtmpfs dev /dev
give_up() { echo "guest: $*" >/dev/console; poweroff -f; }
for module in virtio_pci 9pnet_virtio 9p; do modprobe $module || give_up "no $module"; done
shared=trans=virtio,version=9p2000.L,msize=262144
mount -t 9p -o ro,$shared,cache=loose root /n || give_up "no root"
mount -t 9p -o rw,$shared,cache=none control /ctl || give_up "no control folder"
. /ctl/settings
for module in $modules; do modprobe $module || give_up "no $module"; done
for folder in proc sys dev; do mount -o bind /$folder /n/$folder; done
mkdir -p /dev/pts /dev/shm
mount -t devpts -o mode=620,ptmxmode=666 pts /n/dev/pts
mount -t tmpfs -o mode=1777 shm /n/dev/shm
mount -t tmpfs -o mode=1777 tmp /n/tmp
mount -t tmpfs -o mode=755 run /n/run
[ -d /sys/kernel/config ] && mount -t configfs config /n/sys/kernel/config
for number in 0 1 2; do ln -sf /proc/self/fd/$number /dev/$(echo stdin stdout stderr | cut -d' ' -f$((number + 1))); done
ln -sf /proc/self/fd /dev/fd
mkdir -p /n/run/guest/bin /n/run/guest/lib /n/run/ctl
cp -a /lib/modules /n/run/guest/lib/
printf '#!/bin/sh\nexec /sbin/modprobe -d /run/guest "$@"\n' > /n/run/guest/bin/guest-modprobe
chmod 755 /n/run/guest/bin/guest-modprobe
mkdir -p "/n$folder_of_work" 2>/dev/null
mount -t 9p -o rw,$shared,cache=mmap work "/n$folder_of_work" || give_up "no work folder"
ifconfig lo 127.0.0.1 up
mount -o bind /ctl /n/run/ctl
chroot /n /bin/bash /run/ctl/command </dev/null >/ctl/stdout 2>/ctl/stderr
echo $? > /ctl/status.new
mv /ctl/status.new /ctl/status
sync
poweroff -f
INIT
  chmod 755 "$tree/init"
  (cd "$tree" && find . -print0 | cpio --null -o -H newc --quiet -R 0:0) | gzip -1 > "$1.$$" && mv "$1.$$" "$1"
}

# Two guests may start at once; the one that comes first makes it.
cache=${MLOX_GUEST_CACHE:-${XDG_CACHE_HOME:-${HOME:-/tmp}/.cache}/mlox}
mkdir -p "$cache" || die "no folder $cache"
stamp=$({ echo "$root $version"; cat "$0"; } | sha256sum | cut -c1-16)
initramfs=$cache/guest-$stamp.gz
exec 9> "$cache/guest.lock"
flock 9
[ -s "$initramfs" ] || { rm -f "$cache"/guest-*.gz; make_initramfs "$initramfs" || die "the initramfs can't be made"; }
flock -u 9

# ---- the machine ----
mkdir -p "$work/ctl"
printf 'folder_of_work=%q\nmodules=%q\n' "$folder" "$modules" > "$work/ctl/settings"
{
  echo "export PATH=/run/guest/bin:/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/tmp TMPDIR=/tmp"
  for variable in ${variables[@]+"${variables[@]}"}; do
    printf 'export %s=%q\n' "${variable%%=*}" "${variable#*=}"
  done
  printf 'cd %q || exit 126\n%s\n' "$folder" "$command"
} > "$work/ctl/command"
touch "$work/ctl/stdout" "$work/ctl/stderr"

if [ "$cpus" -gt 0 ]; then
  speed=(-accel "tcg,thread=multi" -smp "$cpus")
else
  speed=(-accel "tcg,thread=single" -smp 1 -icount "shift=1,sleep=off" -rtc clock=vm)
fi
share() { echo "local,id=$1,path=$2,security_model=none,multidevs=remap$3"; }
qemu-system-x86_64 -M q35 "${speed[@]}" -cpu max,-smap,-smep -m "$memory" -nodefaults -no-user-config -display none \
  -no-reboot -kernel "$root/boot/vmlinuz-$version" -initrd "$initramfs" \
  -append "console=ttyS0 quiet panic=-1 mitigations=off random.trust_cpu=on tsc=reliable" \
  -serial "file:$work/console" -device virtio-rng-pci \
  -fsdev "$(share root / ,readonly=on)" -device virtio-9p-pci,fsdev=root,mount_tag=root \
  -fsdev "$(share work "$folder" "")" -device virtio-9p-pci,fsdev=work,mount_tag=work \
  -fsdev "$(share control "$work/ctl" "")" -device virtio-9p-pci,fsdev=control,mount_tag=control \
  </dev/null > "$work/qemu.log" 2>&1 9>&- &
qemu=$!
end=$((SECONDS + limit))
late=0
while kill -0 "$qemu" 2>/dev/null; do
  sleep 0.1
  [ $SECONDS -lt $end ] || { late=1; kill -9 "$qemu" 2>/dev/null; break; }
done
wait "$qemu" 2>/dev/null
qemu=
cat "$work/ctl/stdout"
cat "$work/ctl/stderr" >&2
[ $late -eq 0 ] || { tail -5 "$work/console" >&2; echo "$program: not ready after $limit seconds" >&2; exit 124; }
[ -s "$work/ctl/status" ] && exit "$(cat "$work/ctl/status")"
cat "$work/qemu.log" "$work/console" >&2 2>/dev/null
die "the guest ended without a word"
