#!/bin/sh
# Shows what there is on a real spectrum: brought into a data file, told about, drawn and exported by orb; then a data
# file from birth to the look inside with a plain SQLite tool: made, filled, its program killed, reopened.
#   demo.sh BUILD-FOLDER
# Uses a measured spectrum when ORB_TEST_DATA names the folder of them, otherwise one made here.
set -eu

build=$(cd "${1:?usage: demo.sh BUILD-FOLDER}" && pwd)
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
file="$folder/demo.orb"
spectrum="${ORB_TEST_DATA:-}/spectra/hpge_8k_eu152.Spe"

if [ -r "$spectrum" ]; then
  title="Eu-152 check source, measured"
  awk '/^\$DATA:/ {data = 1; next} data && /^\$/ {exit} data && NF == 1 {print $1 + 0}' "$spectrum" >"$folder/counts"
else
  title="Two lines on a falling continuum, simulated"
  awk 'BEGIN {for (i = 1; i <= 4096; ++i)
    printf "%d\n", 200 * exp(-i / 900) + 900 * exp(-(i - 1323)^2 / 18) + 300 * exp(-(i - 2664)^2 / 32)}' >"$folder/counts"
fi

echo "1. A program makes a data file, writes a spectrum ($title) and flushes."
echo "   Then it changes the title, does not flush, and is killed."
"$build/examples/power_cut" write "$file" "$folder/counts" "$title" >"$folder/said" &
writer=$!
for _ in $(seq 100); do grep -q flushed "$folder/said" 2>/dev/null && break; sleep 0.1; done
kill -9 "$writer"
wait "$writer" 2>/dev/null || true

echo "2. The file is reopened:"
"$build/examples/power_cut" read "$file"

echo "3. Any SQLite tool can look into it:"
echo "   sqlite3 demo.orb 'SELECT code, name, value, unit FROM parameter LIMIT 12'"
sqlite3 -column "$file" "SELECT code, name, value, unit FROM parameter LIMIT 12" | sed 's/^/   /'
echo "   ... $(sqlite3 "$file" 'SELECT count(*) FROM parameter') values in all;" \
  "integrity: $(sqlite3 "$file" 'PRAGMA integrity_check')"

orb="$build/tools/orb/orb"
cd "$folder"
echo
if [ -r "$spectrum" ]; then
  echo "4. orb brings a measured spectrum in, calibrates it by its own lines, finds and fits them, and draws it:"
  cp "$spectrum" spectrum.spe
  first="import spectrum.spe eu152.dat"
else
  echo "4. orb simulates a spectrum (ORB_TEST_DATA names no measured ones), finds and fits its lines, and draws it:"
  first="simulate eu152.dat --nuclides Eu-152:3000,K-40:300 --live-time 600"
fi
for command in "$first" "info eu152.dat" "calibrate eu152.dat --auto Eu-152" "peaks eu152.dat" \
  "plot eu152.dat --log --width 100 --height 20" "plot eu152.dat --log -o eu152.svg" "export eu152.dat eu152.n42"; do
  echo "   \$ orb $command"
  # shellcheck disable=SC2086  # words of a command line
  "$orb" $command >said 2>&1 || { cat said; exit 1; }
  sed 's/^/   /' said
done
