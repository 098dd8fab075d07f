#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# A whole signing session on this machine: a throwaway user with a fresh certificate, the signing
# server, the agent. The outcome is a signed PDF and a signed XML file, which pdfsig, openssl and
# xmlsec1 verify.
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
xml=devserver/samples/order.xml
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
step "install what is missing" scripts/setup-debian.sh demo || exit 1
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
build/release/bin/quillet-devserver sign --pdf "$pdf" --out "$out/signed.pdf" \
  --xml "$xml" --out "$out/signed.xml" --certificate first --authority "$work/authority" \
  --log "$out/messages.log" --agent build/release/bin/ZqMacClient </dev/null ||
  fail "the signing session failed"

echo
echo "== Verifying with pdfsig, openssl and xmlsec1"
# The bytes of the last signature's ByteRange, and the CMS signature between them.
splitPdf() {
  read -r _ first second rest < <(grep -ao '/ByteRange \[ [0-9 ]*' "$1" | tail -n 1 | tr -d '/[A-Za-z')
  head -c "$first" "$1" >"$work/data"
  tail -c "+$((second + 1))" "$1" | head -c "$rest" >>"$work/data"
  tail -c "+$((first + 2))" "$1" | head -c "$((second - first - 2))" | xxd -r -p >"$work/cms"
}
verifyPdfByPdfsig() {
  pdfsig -nocert "$1" | tee "$work/pdfsig" && grep -q 'Total document signed' "$work/pdfsig" &&
    [ "$(grep -c 'Signature Validation: Signature is Valid.' "$work/pdfsig")" = \
      "$(grep -c 'Signature Validation:' "$work/pdfsig")" ]
}
verifyPdfByOpenssl() {
  splitPdf "$1" && openssl cms -verify -cades -binary -inform DER -in "$work/cms" \
    -content "$work/data" -CAfile "$work/certificate.pem" -purpose any -out /dev/null
}
verifyXml() { xmlsec1 --verify --trusted-pem "$work/certificate.pem" "$1"; }
# A verification that also accepts other data would prove nothing.
refusesChangedPdf() {
  { cat "$1" && printf '%%x'; } >"$work/other.pdf"
  ! verifyPdfByPdfsig "$work/other.pdf" || return 1
  splitPdf "$1" && printf x >>"$work/data" && ! openssl cms -verify -cades -binary -inform DER \
    -in "$work/cms" -content "$work/data" -CAfile "$work/certificate.pem" -purpose any -out /dev/null
}
refusesChangedXml() {
  sed '0,/>[A-Za-z0-9]/s//>x/' "$1" >"$work/other.xml"
  ! verifyXml "$work/other.xml"
}
step "pdfsig: the PDF's signature is valid" verifyPdfByPdfsig "$out/signed.pdf" || true
step "openssl: the same, by the certificate made" verifyPdfByOpenssl "$out/signed.pdf" || true
step "... and not of a changed PDF" refusesChangedPdf "$out/signed.pdf" || true
step "xmlsec1: the XML's signature is valid" verifyXml "$out/signed.xml" || true
step "... and not of changed XML" refusesChangedXml "$out/signed.xml" || true

echo
echo "The signed files, to be opened with any viewer, and the messages of the session:"
ls "$out"/signed.pdf "$out"/signed.xml "$out"/messages.log
[ "$failed" -eq 0 ] || fail "not everything could be verified"
echo "Everything was verified."
