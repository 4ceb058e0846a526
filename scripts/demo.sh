#!/bin/sh
# Shows what there is: a data file from birth to the look inside with a plain SQLite tool (made, filled, its program
# killed, reopened), then the analysis of a simulated spectrum beside its truth, and that of a measured one.
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

# Runs a command line of orb and shows both.
show() {
  echo "   \$ orb $1"
  # shellcheck disable=SC2086  # words of a command line
  "$orb" $1 >said 2>&1 || { cat said; exit 1; }
  sed 's/^/   /' said
}

echo
echo "4. The whole analysis of a simulated spectrum (seed 7, so every run shows the same), the truth beside the results:"
show "simulate demo.dat --nuclides Cs-137:500,Co-60:300,Eu-152:2000,K-40:3000,Am-241:800 --live-time 3600 --seed 7"
report="$build/demo-report.html"
show "analyze demo.dat -o analysed.dat --truth demo.dat.json"
show "plot analysed.dat --log --width 100 --height 20"
if "$orb" report analysed.dat -o "$report" --force 2>said; then
  echo "   The report page: $report"
else
  sed 's/^/   /' said
fi

[ -r "$spectrum" ] || exit 0
echo
echo "5. A measured spectrum, brought in, calibrated by its own lines and analysed:"
cp "$spectrum" spectrum.spe
show "import spectrum.spe eu152.dat"
show "calibrate eu152.dat --auto Eu-152"
show "analyze eu152.dat"
show "export eu152.dat eu152.n42"
