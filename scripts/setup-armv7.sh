#!/bin/sh
# Unpacks the armhf libraries that the cross build links into a folder of the build tree. The machine's own package
# lists and architectures are not touched: apt works on lists of its own below that folder.
#   setup-armv7.sh SYSROOT
set -eu

sysroot=${1:?usage: setup-armv7.sh SYSROOT}
packages="libsqlite3-0 libsqlite3-dev libgtest-dev libgmock-dev libpugixml1v5 libpugixml-dev"
stamp="$sysroot/.complete"
if [ -e "$stamp" ] && [ "$(cat "$stamp")" = "$packages" ]; then exit 0; fi

mkdir -p "$sysroot"
sysroot=$(cd "$sysroot" && pwd)
state="$sysroot/apt"
mkdir -p "$state/lists/partial" "$state/cache/archives/partial" "$state/download"
: >"$state/status"

apt="apt-get -q -o APT::Architecture=armhf -o APT::Architectures=armhf -o Dir::State=$state -o Dir::State::lists=$state/lists
  -o Dir::State::status=$state/status -o Dir::Cache=$state/cache -o APT::Sandbox::User=root"
# One list that cannot be had (a mirror just being renewed) does no harm while the packages are found in another.
$apt update >"$state/log" 2>&1 || echo "setup-armv7: not every package list was fetched, going on" >&2
# shellcheck disable=SC2086  # lists of words
(cd "$state/download" && $apt download $packages >>"$state/log" 2>&1) || { cat "$state/log" >&2; exit 1; }
for package in "$state/download"/*.deb; do dpkg-deb -x "$package" "$sysroot"; done
rm -rf "$state"
printf '%s' "$packages" >"$stamp"
