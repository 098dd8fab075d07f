#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Makes packages of this tree in build/packages.
#   package.sh [deb | tar | rpm]...      deb and tar unless told otherwise
#   deb    Debian packages and their debug symbols, looked at by lintian
#   tar    an archive that can be unpacked anywhere, e.g. to /usr/local or /opt/quillet
#   rpm    RPM packages by CPack, from the same rules as the archive
set -euo pipefail
cd "$(dirname "$0")/.."
[ $# -gt 0 ] || set -- deb tar

scripts/setup-debian.sh packages
version=$(sed -n '/CFBundleShortVersionString/{n;s/.*<string>\(.*\)<\/string>.*/\1/p}' resources/Info.plist)
machine=$(uname -m)
out=$PWD/build/packages
work=$PWD/build/package-work
tree=$PWD/build/package-tree # as deep as other builds, so that a compiler cache serves it
mkdir -p "$out" "$work"

makeDeb() {
  local source=$work/deb/quillet-$version
  if [ "$version" != "$(dpkg-parsechangelog -S Version)" ]; then
    echo "package: debian/changelog has another version than resources/Info.plist" >&2
    exit 1
  fi
  rm -rf "$work/deb"
  mkdir -p "$source"
  tar -c --exclude=./build --exclude=./.git --exclude=./demo-output . | tar -x -C "$source"
  # debhelper gives the build another home folder, and so another cache.
  if command -v ccache >/dev/null; then
    CCACHE_DIR=$(ccache -k cache_dir)
    CCACHE_MAXSIZE=$(ccache -k max_size)
    export CCACHE_DIR CCACHE_MAXSIZE
  fi
  (cd "$source" && dpkg-buildpackage -b -us -uc >"$work/deb.log" 2>&1) || {
    tail -40 "$work/deb.log" >&2
    exit 1
  }
  lintian --allow-root --fail-on error,warning "$work"/deb/*.changes
  mv "$work"/deb/*.deb "$out/"
}

# The place of the program is not known, so desktops find it by the PATH.
configureTree() {
  cmake --preset release -B "$tree" -DQUILLET_ENTRY_PROGRAM=ZqMacClient -DQUILLET_TESTS=OFF \
    -DQUILLET_BENCH=OFF >/dev/null
  cmake --build "$tree"
}

makeTar() {
  local name=quillet-$version-linux-$machine
  configureTree
  rm -rf "${work:?}/$name"
  cmake --install "$tree" --prefix "$work/$name" --strip >/dev/null
  cp LICENSE "$work/$name/share/doc/quillet-agent/"
  tar -C "$work" --sort=name --owner=0 --group=0 --numeric-owner -czf "$out/$name.tar.gz" "$name"
}

makeRpm() {
  configureTree
  (cd "$tree" && cpack -G RPM -B "$work/rpm" >"$work/rpm.log") || {
    tail -40 "$work/rpm.log" >&2
    exit 1
  }
  mv "$work"/rpm/*.rpm "$out/"
}

for kind in "$@"; do
  case $kind in
    deb) makeDeb ;;
    tar) makeTar ;;
    rpm) makeRpm ;;
    *)
      sed -n '3,7s/^# \{0,1\}//p' "$0" >&2
      exit 2
      ;;
  esac
done
ls -l "$out"
