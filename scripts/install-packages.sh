#!/bin/sh
# Installs the Debian packages that are missing for a job; does nothing when all are there.
#   install-packages.sh build|test|bench|fuzz|armv7|format|browser|reliability
# Uses sudo when not run as root.
set -eu

build="g++ cmake ninja-build make ccache pkg-config python3 libsqlite3-dev sqlite3 libeigen3-dev libcli11-dev
  nlohmann-json3-dev libpugixml-dev"
case "${1:-}" in
  build) packages="$build" ;;
  test) packages="$build libgtest-dev libgmock-dev man-db" ;;
  bench) packages="$build libbenchmark-dev liblmdb-dev libhdf5-dev libgsl-dev libgtest-dev libgmock-dev" ;;
  fuzz) packages="$build clang libclang-rt-dev" ;;
  armv7) packages="$build g++-arm-linux-gnueabihf qemu-user" ;;
  format) packages="clang-format clang-tidy" ;;
  reliability) packages="gcovr" ;;
  browser) packages="chromium chromium-driver" ;;
  *) echo "usage: $0 build|test|bench|fuzz|armv7|format|browser|reliability" >&2; exit 2 ;;
esac

missing=""
for package in $packages; do
  dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing="$missing $package"
done
# The HTML pages of orb need npm once, whoever brought it; without it they are left out.
case "$1" in
  build | test | bench) command -v npm >/dev/null || missing="$missing npm" ;;
esac
[ -n "$missing" ] || exit 0

sudo=""
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "needs root or sudo to install:$missing" >&2; exit 1; }
  sudo="sudo"
fi
echo "installing:$missing"
export DEBIAN_FRONTEND=noninteractive
# shellcheck disable=SC2086  # a list of words
$sudo apt-get install -y --no-install-recommends $missing >/dev/null 2>&1 ||
  { $sudo apt-get update -qq && $sudo apt-get install -y -qq --no-install-recommends $missing >/dev/null; }
