#!/bin/sh
# Runs every fuzz target of a build for a while, each on a growing copy of its seeds.
#   fuzz.sh BUILD-FOLDER [SECONDS]
set -eu
build=${1:?usage: fuzz.sh BUILD-FOLDER [SECONDS]}
seconds=${2:-60}
cd "$(dirname "$0")/.."
"$build/fuzz/make_seeds" "$build/seeds"
for target in $(find "$build/fuzz" -type f -executable -name 'fuzz_*' | sort); do
  subject=$(basename "$target" | sed 's/^fuzz_//')
  corpus="$build/corpus/$subject"
  mkdir -p "$corpus"
  seeds=""
  for folder in "$build/seeds/$subject" "fuzz/formats/corpus/$subject"; do
    [ -d "$folder" ] && seeds="$seeds $folder"
  done
  echo "== $subject, $seconds s"
  # shellcheck disable=SC2086  # a list of folders
  "$target" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=4096 -print_final_stats=1 \
    -artifact_prefix="$build/" "$corpus" $seeds >"$build/$subject.log" 2>&1 ||
    { tail -n 60 "$build/$subject.log"; exit 1; }
  grep -E '^stat::|^Done' "$build/$subject.log"
done
