#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs the packages of build/packages in a fresh Debian system (mmdebstrap, chroot), as an
# administrator would, and signs there as a new user would. Takes minutes; run by hand:
#   scripts/package.sh && tests/packages/fresh-root.sh [BASE]
# BASE is a system made before, as an archive or a folder: mmdebstrap --variant=apt bookworm BASE.tar
# Ends with 0 when every step did what it should, 77 with a reason when no system can be made here.
# shellcheck disable=SC2016 # most is expanded inside
set -euo pipefail
cd "$(dirname "$0")/../.."
# shellcheck source=tests/packages/root.sh
. tests/packages/root.sh
makeRoot "$@"

failed=0
# step NAME COMMAND...: shows the output of a command that fails.
step() {
  local name=$1 outcome=ok
  shift
  "$@" >"$work/step" 2>&1 || {
    outcome=FAILED
    failed=1
    sed 's/^/    /' "$work/step"
  }
  printf '%-72s %s\n' "$name" "$outcome"
}
# As a new user, with nothing but a home folder.
user() { inside runuser -u newcomer -- env HOME=/home/newcomer "$@"; }

entry=com.quillet.ZqMacClient.desktop
handler() { user xdg-mime query default x-scheme-handler/quillet; }
isHandler() { [ "$(handler)" = "$entry" ]; }
isGioHandler() { user gio mime x-scheme-handler/quillet | grep "Default application.*$entry"; }
noHomeFiles() { ! find "$root/home/newcomer/.local" "$root/home/newcomer/.config" -type f 2>/dev/null | grep .; }

step "the system is brought up to date" apt update
step "tools of a user are installed" apt install xdg-utils libglib2.0-bin desktop-file-utils \
  libnss3-tools openssl xmlsec1 poppler-utils xvfb sudo
inside useradd -m newcomer
echo 'newcomer ALL=(ALL) NOPASSWD: ALL' >"$root/etc/sudoers.d/newcomer"

mkdir "$root/packages"
cp "$packages"/quillet-*.deb "$root/packages/"
rm -f "$root"/packages/*dbgsym*
step "packages are installed" inside sh -c 'apt-get -qq -y --no-install-recommends install \
  /packages/quillet-agent_*.deb /packages/quillet-agent-desktop_*.deb /packages/quillet-devserver_*.deb'
step "libraries of the desktop module are all there" inside sh -c \
  '! ldd /usr/lib/*/quillet-agent/quillet-desktop.so | grep "not found"'
step "link is found before the first start (xdg-mime)" isHandler
step "link is found before the first start (gio)" isGioHandler
step "manual pages and completions are there" inside test -s /usr/share/man/man1/ZqMacClient.1.gz \
  -a -s /usr/share/man/man1/quillet-devserver.1.gz \
  -a -s /usr/share/bash-completion/completions/quillet-devserver
step "version is printed" user ZqMacClient --version
step "... which registers nothing" noHomeFiles

# The way from nothing to a signature.
makeIdentity() {
  user sh -ec 'cd
    openssl req -x509 -newkey rsa:2048 -nodes -days 30 -keyout key.pem -out certificate.pem \
      -subj "/C=NL/O=Example Org/CN=New Comer"
    openssl pkcs12 -export -inkey key.pem -in certificate.pem -name "New Comer" -out id.p12 -passout pass:x
    mkdir -p -m 700 ~/.pki/nssdb
    certutil -N -d sql:$HOME/.pki/nssdb --empty-password
    pk12util -i id.p12 -d sql:$HOME/.pki/nssdb -W x -K ""'
}
# A copy of the sources that was once started leaves its entry, and that it is the default; the copy
# is gone, or it is there.
olderCopy() {
  user sh -ec "mkdir -p ~/.local/share/applications; printf '%s\n' '[Desktop Entry]' 'Type=Application' \
    'Name=Quillet' 'Exec=$1 --link %u' 'NoDisplay=true' 'MimeType=x-scheme-handler/quillet;' \
    >~/.local/share/applications/$entry
    xdg-mime default $entry x-scheme-handler/quillet"
}
# session OPENER: the server as a user's program, with the system's trust; the link is opened as
# browsers and desktops do.
session() {
  user OPENER="$1" sh -ec 'cd; rm -f *-signed.* link
    examples=/usr/share/doc/quillet-devserver/examples
    quillet-devserver sign --pdf $examples/contract.pdf --out contract-signed.pdf \
      --xml $examples/order.xml --out order-signed.xml --certificate first --timeout 60 >out 2>&1 &
    server=$!
    for i in $(seq 600); do
      link=$(sed -n "s/^link  *//p" out); [ -z "$link" ] || break; sleep 0.1
    done
    DISPLAY=:87 timeout 90 $OPENER "$link" </dev/null
    wait $server || { cat out; exit 1; }
    pdfsig -nocert contract-signed.pdf | grep "Signature is Valid"
    xmlsec1 --verify --trusted-pem certificate.pem order-signed.xml'
}
# A new user of a desktop may use sudo.
trust() { user quillet-devserver "$1" --yes; }
step "certificate is imported by the commands of the manual page" makeIdentity
step "server's authority is trusted" trust trust
chroot --userspec=newcomer "$root" /usr/bin/env -i PATH=/usr/bin:/bin HOME=/home/newcomer \
  Xvfb :87 -noreset -nolisten tcp -screen 0 1024x768x24 >"$work/Xvfb" 2>&1 &
processes+=("$!")
waitFor test -e "$root/tmp/.X11-unix/X87"
step "whole session by xdg-open and the system's entry" session xdg-open
step "... in a window" sh -c "grep -q 'Command line parameters' '$root/tmp/Quillet.log' &&
  ! grep 'No window' '$root/tmp/Quillet.log'"
step "... which registers nothing" sh -c "! test -e '$root/home/newcomer/.local/share/applications'"
# Desktops look past an entry of the user's whose program is gone. Without a desktop xdg-open does
# not, and no package may change homes; but the next start takes the entry away.
olderCopy /home/newcomer/gone/ZqMacClient
step "whole session by gio where a copy that is gone has left its entry" session "gio open"
olderCopy /home/newcomer/gone/ZqMacClient
start() { [ "$(user timeout 3 ZqMacClient </dev/null | head -n 1)" = "Starting Quillet version $version." ]; }
version=$(inside dpkg-query -W -f '${Version}' quillet-agent)
step "agent is started where a copy that is gone has left its entry" start
step "whole session by xdg-open after that" session xdg-open
user sh -c 'mkdir ~/older && cp /usr/bin/ZqMacClient ~/older/'
olderCopy /home/newcomer/older/ZqMacClient
step "whole session where a copy that is there has left its entry" session xdg-open
step "... by the installed agent, from that click on" sh -c \
  "grep 'Command line parameters' '$root/tmp/Quillet.log' | tail -n 1 | grep ' /usr/bin/ZqMacClient'"
step "... which is gone after it" sh -c "! test -e '$root/home/newcomer/.local/share/applications/$entry'"
step "server's authority is trusted no more" trust untrust
step "... by nobody" sh -c "! grep -rq quillet '$root/etc/ssl/certs' && ! test -e '$root/usr/local/share/ca-certificates/quillet-devserver.crt'"

echo '{}' >"$root/etc/quillet/policy.json"
upgrade() {
  inside sh -ec 'cd /packages
    for package in *.deb; do
      dpkg-deb -R $package tree
      sed -i "s/^Version: .*/&+later/; s/(= \([^)]*\))/(= \1+later)/" tree/DEBIAN/control
      dpkg-deb --root-owner-group -b tree later-$package
      rm -r tree
    done
    dpkg -i later-*.deb'
}
step "packages are upgraded" upgrade
step "link is still found" isHandler
step "packages are removed" apt remove quillet-agent quillet-agent-desktop quillet-devserver
step "link is found no more" sh -c "! test -e '$root/usr/share/applications/$entry'"
step "administrator's settings outlive a removal" test -e "$root/etc/quillet/policy.json"
step "packages are purged" apt purge quillet-agent quillet-agent-desktop quillet-devserver
step "nothing is left" sh -c "! find '$root/etc' '$root/usr' '$root/var' -xdev \
  -not -path '*/apt/*' -iname '*quillet*' | grep . && ! grep -rl quillet '$root/usr/share/applications'"
[ "$failed" -eq 0 ] || exit 1
echo "Every step did what it should."
