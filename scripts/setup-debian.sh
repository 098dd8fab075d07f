#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs what a task needs on Debian 12; does nothing when all is there.
#   setup-debian.sh [build | demo | tests | corpus | analysis | screenshots | clicks | wayland
#                    | packages]
#                         tests unless told otherwise
#   QUILLET_BOOST=1.83    another version of Boost, for systems that do not have 1.81
set -euo pipefail

boost=${QUILLET_BOOST:-1.81}
build=(
  ca-certificates            # the system's trust, read by the agent
  cmake ninja-build g++ pkg-config
  "libboost$boost-dev" "libboost-json$boost-dev"
  libssl-dev libnss3-dev libp11-kit-dev
  libqpdf-dev libxml2-dev libxmlsec1-dev libexpat1-dev # the signing server's documents
  qt6-base-dev libxcb1-dev   # the desktop shell
  qt6-qpa-plugins fonts-dejavu-core xdg-utils libglib2.0-bin # what it runs on; gio is xdg-open's hand
)
demo=(
  libnss3-tools openssl      # throwaway identities; independent verification
  poppler-utils mupdf-tools xmlsec1 xxd  # the same, of signed documents
)
tests=(
  libgtest-dev libgmock-dev libbenchmark-dev
  softhsm2                   # smart cards in software
  "libboost-url$boost-dev"   # another reader of URLs, to compare with
  binutils                   # tell how a program was built
  qpdf                       # makes and checks PDFs
  nodejs node-ws             # run the sample server
  chromium chromium-driver   # open the signing server's page
  clang-14 libclang-rt-14-dev # the fuzz targets; checks the code of macOS, which is not compiled here
  mount util-linux           # put an administrator's policy in place for one process
  clang-19 libc++-19-dev libc++abi-19-dev lld-19 # compile and link what macOS does
  libclang-rt-19-dev         # sanitizers of tests that the same compiles
  xvfb dbus-daemon libx11-dev libxtst-dev # a display, a session bus, keys and clicks
)
corpus=(default-jdk-headless) # its validator of XML signatures; half a gigabyte
analysis=(lld-14 clang-format-14 clang-tidy-14 llvm-14 gcovr)
screenshots=(openbox)
clicks=(openbox xfwm4 xdotool exo-utils kde-cli-tools firefox-esr) # links clicked by hand, many times
wayland=(mutter weston qt6-wayland) # the same without X11
packages=(
  debhelper fakeroot lintian # Debian packages
  mmdebstrap appstream desktop-file-utils # a fresh system to try them in; judges of their files
  rpm                        # RPM packages
)

case "${1:-tests}" in
  build) wanted=("${build[@]}") ;;
  demo) wanted=("${build[@]}" "${demo[@]}") ;;
  tests) wanted=("${build[@]}" "${demo[@]}" "${tests[@]}") ;;
  corpus) wanted=("${build[@]}" "${demo[@]}" "${tests[@]}" "${corpus[@]}") ;;
  analysis) wanted=("${build[@]}" "${demo[@]}" "${tests[@]}" "${analysis[@]}") ;;
  screenshots) wanted=("${build[@]}" "${demo[@]}" "${tests[@]}" "${screenshots[@]}") ;;
  clicks) wanted=("${build[@]}" "${demo[@]}" "${tests[@]}" "${clicks[@]}") ;;
  wayland) wanted=("${build[@]}" "${demo[@]}" "${tests[@]}" "${clicks[@]}" "${wayland[@]}") ;;
  packages) wanted=("${build[@]}" "${demo[@]}" "${packages[@]}") ;;
  *)
    echo "usage: $0 [build | demo | tests | corpus | analysis | screenshots | clicks | wayland | packages]" >&2
    exit 2
    ;;
esac

missing=()
for package in "${wanted[@]}"; do
  state=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [ "$state" = "install ok installed" ] || missing+=("$package")
done
[ "${#missing[@]}" -gt 0 ] || exit 0

echo "Installing: ${missing[*]}"
asRoot=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "setup: run as root or install sudo" >&2; exit 1; }
  asRoot=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${asRoot[@]}" apt-get update -qq
"${asRoot[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
