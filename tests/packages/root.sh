# shellcheck shell=bash
# SPDX-License-Identifier: MIT
# A fresh Debian system with the packages of build/packages beside it, for the scripts that read
# this: makeRoot [BASE] leaves its folder in $root, a folder for notes in $work, and takes both
# away at the end. The script ends with 77 and a reason when no system can be made here.

skip() {
  echo "skipped: $1"
  exit 77
}

# A process that is left keeps the system's folders mounted.
endProcessesInside() {
  local folder
  for folder in /proc/[0-9]*; do
    [ "$(readlink "$folder/root")" != "$root" ] || kill -KILL "${folder#/proc/}" || true
  done 2>/dev/null
}

cleanUp() {
  local process
  for process in "${processes[@]}"; do
    { kill "$process" && wait "$process"; } 2>/dev/null || true
  done
  endProcessesInside
  for _ in 1 2 3 4 5; do # what is killed takes a moment to end
    umount "$root/proc" "$root/dev/pts" "$root/dev" 2>/dev/null || true
    ! mountpoint -q "$root/dev" || sleep 1
  done
  ! mountpoint -q "$root/dev" || { echo "$root/dev is still mounted" >&2; return; }
  ! mountpoint -q "$root" || umount "$root"
  rm -rf --one-file-system "$work"
}

makeRoot() {
  packages=$PWD/build/packages
  [ "$(id -u)" -eq 0 ] || skip "only root can make a system and enter it"
  command -v mmdebstrap >/dev/null ||
    skip "mmdebstrap is missing (scripts/setup-debian.sh packages)"
  ls "$packages"/quillet-agent_*.deb >/dev/null 2>&1 ||
    skip "there are no packages (scripts/package.sh)"
  work=$(mktemp -d)
  root=$work/root
  processes=() # that end with the script
  trap cleanUp EXIT
  mkdir "$root"
  if [ $# -gt 0 ] && [ -d "$1" ]; then # stays as it is
    mkdir "$work/upper" "$work/overlay"
    mount -t overlay overlay "$root" \
      -o "lowerdir=$(realpath "$1"),upperdir=$work/upper,workdir=$work/overlay" ||
      skip "nothing can be mounted"
  elif [ $# -gt 0 ]; then
    tar -xf "$1" -C "$root"
  else
    mmdebstrap --variant=apt bookworm "$root" >"$work/log" 2>&1 ||
      skip "no system could be made: $(tail -1 "$work/log")"
  fi
  { mount --bind /dev "$root/dev" && mount --bind /dev/pts "$root/dev/pts" &&
    mount -t proc proc "$root/proc"; } || skip "nothing can be mounted"
  cp /etc/resolv.conf "$root/etc/resolv.conf"
  printf '127.0.0.1 localhost debian\n::1 localhost\n' >"$root/etc/hosts"
}

# Takes up to a minute for what another process has to do first.
waitFor() {
  for _ in $(seq 600); do
    ! "$@" || return 0
    sleep 0.1
  done
  return 1
}

inside() { unshare --uts sh -c 'hostname debian && exec chroot "$@"' sh "$root" env -i \
  PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"; }
apt() { inside apt-get -qq -y -o Dpkg::Use-Pty=0 --no-install-recommends "$@"; }
