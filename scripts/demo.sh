#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# A whole signing session on this machine: a throwaway user with a fresh certificate, the signing
# server, the agent, a PDF and an XML signed-info block. openssl verifies what comes back.
#   demo.sh [--desktop] [--pdf FILE] [--xml FILE] [--out DIR]
# With --desktop the agent shows its window, if there is a display (DISPLAY, WAYLAND_DISPLAY).
# Ends with 0 only if every step did what it should.
set -euo pipefail
start=$PWD
cd "$(dirname "$0")/.."

usage() {
  sed -n '3,8s/^# \{0,1\}//p' "$0" >&2
  exit 2
}
fail() {
  echo "demo: $1" >&2
  exit 1
}

pdf=devserver/samples/contract.pdf
xml=devserver/samples/signed-info.xml
out=$PWD/demo-output
desktop=
while [ $# -gt 0 ]; do
  if [ "$1" = --desktop ]; then
    desktop=1
    shift
    continue
  fi
  [ $# -ge 2 ] || usage
  value=$2
  case $value in /*) ;; *) value=$start/$value ;; esac
  case $1 in
    --pdf) pdf=$value ;;
    --xml) xml=$value ;;
    --out) out=$value ;;
    *) usage ;;
  esac
  shift 2
done
for file in "$pdf" "$xml"; do
  [ -r "$file" ] && [ ! -d "$file" ] || fail "$file cannot be read"
done

steps=()
failed=0
milliseconds() { echo $(($(date +%s%N) / 1000000)); }
# step NAME COMMAND...: runs a command, notes its outcome and time, shows its output if it fails.
step() {
  local name=$1 began outcome=ok
  shift
  began=$(milliseconds)
  if ! "$@" >"$work/step.log" 2>&1; then
    outcome=FAILED
    failed=1
    sed 's/^/    /' "$work/step.log" >&2
  fi
  steps+=("$(printf '%-44s %-8s %8s ms' "$name" "$outcome" "$(($(milliseconds) - began))")")
  echo "${steps[-1]}"
  [ "$outcome" = ok ]
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if [ -z "$desktop" ]; then
  unset DISPLAY WAYLAND_DISPLAY
elif [ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
  echo "There is no display, so the agent runs in the terminal."
else
  export XAUTHORITY=${XAUTHORITY:-$HOME/.Xauthority} # not the throwaway user's
fi
export HOME=$work/home
mkdir -p "$HOME/.pki/nssdb" "$out"
# The throwaway user has nothing of the real one's desktop or proxies.
unset XDG_DATA_HOME XDG_CONFIG_HOME SSL_CERT_DIR
unset http_proxy https_proxy HTTP_PROXY HTTPS_PROXY all_proxy ALL_PROXY

echo "== Preparing"
step "install what is missing" scripts/setup-debian.sh || exit 1
echo "building (this takes a few minutes the first time) ..."
step "build the agent and the signing server" scripts/build.sh || exit 1

# A certificate for a person who does not exist, in an NSS database without a password.
makeIdentity() {
  openssl req -x509 -newkey rsa:2048 -nodes -days 30 -keyout "$work/key.pem" \
    -out "$work/certificate.pem" -subj "/C=NL/O=Example Org/CN=Example Signer"
  openssl pkcs12 -export -inkey "$work/key.pem" -in "$work/certificate.pem" \
    -name "Example Signer" -out "$work/identity.p12" -passout pass:demo
  certutil -N -d "sql:$HOME/.pki/nssdb" --empty-password
  pk12util -i "$work/identity.p12" -d "sql:$HOME/.pki/nssdb" -W demo -K ""
}
step "make a certificate and its key" makeIdentity || exit 1

echo
echo "== Signing session"
build/release/bin/quillet-devserver sign-demo --pdf "$pdf" --xml "$xml" --out "$out" \
  --agent build/release/bin/ZqMacClient </dev/null || fail "the signing session failed, see $out"

echo
echo "== Verifying with openssl"
samePerson() {
  diff <(openssl x509 -in "$out/certificate.pem" -outform DER | openssl dgst -sha256) \
    <(openssl x509 -in "$work/certificate.pem" -outform DER | openssl dgst -sha256)
}
verify() {
  openssl x509 -in "$out/certificate.pem" -noout -pubkey >"$work/public.pem"
  openssl dgst -sha256 -verify "$work/public.pem" -signature "$1" "$2"
}
# A verification that also accepts other data would prove nothing.
verifyRefusesOther() {
  cp "$2" "$work/other"
  printf 'x' >>"$work/other"
  ! verify "$1" "$work/other"
}
step "the certificate is the one just made" samePerson || true
step "the signature of the PDF" verify "$out/pdf.signature.bin" "$pdf" || true
step "... and of no other PDF" verifyRefusesOther "$out/pdf.signature.bin" "$pdf" || true
step "the signature of the XML signed-info" verify "$out/xml.signature.bin" "$xml" || true
step "... and of no other XML" verifyRefusesOther "$out/xml.signature.bin" "$xml" || true

echo
echo "The files are in $out"
ls "$out"
[ "$failed" -eq 0 ] || fail "not everything could be verified"
echo "Everything was verified."
