#!/bin/sh
# Fetches the chart library of the HTML pages, uPlot (MIT licence), through npm and unpacks it; does nothing when it is
# there already. What comes must be, byte for byte, what this version was when it was chosen.
#   fetch-uplot.sh DEST      DEST gets uPlot.iife.min.js, uPlot.min.css and LICENSE
set -eu

dest=${1:?usage: fetch-uplot.sh DEST}
version=1.6.32
sums="19c8d4c6ad88929a79f4ae49d6f7161566dfd0ba3d15cc495e974f787eb78f1f  uPlot.iife.min.js
df630c6a8d6f8eeaff264b50f73ce5b114f646ffd9a0bb74f049b0a00135fa04  uPlot.min.css
8f989229699b4fe2f1a0432d0e9edc338a8a911e250e2d1b01ecd770a5f5b1bd  LICENSE"

complete() { (cd "$1" 2>/dev/null && printf '%s\n' "$sums" | sha256sum --check --status 2>/dev/null); }

if complete "$dest"; then exit 0; fi
command -v npm >/dev/null || { echo "fetch-uplot: npm is not installed" >&2; exit 1; }

mkdir -p "$dest"
work=$(mktemp -d "$dest/fetch.XXXXXX")
trap 'rm -rf "$work"' EXIT
# No update check, and no repeated attempts: where there is no network, the build goes on without the page.
(cd "$work" && npm pack --loglevel=error --no-update-notifier --fetch-retries=0 --fetch-timeout=60000 "uplot@$version") \
  >"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
tar -xzf "$work/uplot-$version.tgz" -C "$work"
mv "$work/package/dist/uPlot.iife.min.js" "$work/package/dist/uPlot.min.css" "$work/package/LICENSE" "$dest/"
complete "$dest" || { echo "fetch-uplot: uplot $version is not what it was, its files are left in $dest" >&2; exit 1; }
