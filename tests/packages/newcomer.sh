#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Walks the newcomer's way of README.md in a fresh Debian system, with a window manager, a terminal
# and Chromium, from the packages of build/packages to the first signature, and takes a picture of each
# step into docs/screenshots. Needs half a gigabyte of Debian packages; run by hand:
#   scripts/package.sh && tests/packages/newcomer.sh [BASE]
# BASE is as for fresh-root.sh. Ends with 77 and a reason when no system can be made here.
set -euo pipefail
cd "$(dirname "$0")/../.."
# shellcheck source=tests/packages/root.sh
. tests/packages/root.sh
makeRoot "$@"

apt update
apt install xvfb openbox xterm fonts-dejavu-core dbus-daemon xdotool x11-utils python3 chromium \
  chromium-sandbox xdg-utils libglib2.0-bin sudo libnss3-tools openssl bash-completion
inside useradd -m -s /bin/bash anna
echo 'anna ALL=(ALL) NOPASSWD: ALL' >"$root/etc/sudoers.d/anna"
# No first-run pages, and no word on what a system without hardware lacks.
echo 'export CHROMIUM_FLAGS="$CHROMIUM_FLAGS --no-sandbox --test-type --no-first-run --disable-gpu --disable-sync
  --disable-background-networking --disable-component-update --disable-dev-shm-usage
  --password-store=basic --window-size=1000,860 --window-position=0,0"' | tr '\n' ' ' >"$root/etc/chromium.d/pictures"

home=$root/home/anna
mkdir "$home/packages" "$root/pictures"
cp "$packages"/quillet-*.deb "$home/packages/"
rm -f "$home"/packages/*dbgsym*
cp tests/packages/newcomer.py "$root/newcomer.py"
echo "PS1='\$ '" >>"$home/.bashrc"
echo 'set enable-bracketed-paste off' >"$home/.inputrc"
cp devserver/samples/contract.pdf "$home/"
# What an issuer of certificates sends.
inside sh -ec 'cd /tmp
  openssl req -x509 -newkey rsa:2048 -nodes -days 365 -keyout key.pem -out certificate.pem \
    -subj "/C=NL/O=Example Org/CN=Anna Example" 2>/dev/null
  openssl pkcs12 -export -inkey key.pem -in certificate.pem -name "Anna Example" \
    -out /home/anna/identity.p12 -passout pass:from-the-issuer
  rm key.pem certificate.pem
  chown -R anna: /home/anna /pictures'
inside runuser -u anna -- env HOME=/home/anna LANG=C.UTF-8 PATH=/usr/local/bin:/usr/bin:/bin \
  sh -c 'cd && exec timeout 2400 dbus-run-session -- python3 /newcomer.py /pictures' 2>"$work/log" || {
  cp "$root/pictures/last.png" build/packages/ || true
  cat "$work/log" "$root/home/anna/.cache/typed" >&2
  exit 1
}
cp "$root"/pictures/*.png docs/screenshots/
ls -l docs/screenshots
