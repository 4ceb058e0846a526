#!/bin/sh
# Runs every fuzz target of a build for a while, each on a growing copy of its seeds, and prints a table.
#   fuzz.sh BUILD-FOLDER [SECONDS [TARGET...]]
# What was found lies in BUILD-FOLDER/finds, with the log of its target. Inputs that reached new code are kept in
# BUILD-FOLDER/corpus/TARGET and are the seeds of the next run. With ORB_RELIABILITY_JSON a line for each target is
# appended to that file.
set -eu
build=${1:?usage: fuzz.sh BUILD-FOLDER [SECONDS [TARGET...]]}
seconds=${2:-60}
[ $# -gt 2 ] && shift 2 || set --
cd "$(dirname "$0")/.."
finds="$build/finds"
mkdir -p "$finds"
"$build/fuzz/make_seeds" "$build/seeds"
export ORB_ENGINES="$build/engines" TMPDIR="${TMPDIR:-$([ -w /dev/shm ] && echo /dev/shm || echo /tmp)}"
[ $# -gt 0 ] || set -- $(find "$build/fuzz" -maxdepth 1 -type f -perm -u+x -name 'fuzz_*' | sed 's/.*fuzz_//' | sort)

number() {  # a figure of libFuzzer's log
  sed -n "s/^stat::$1: *//p" "$2"
}

failed=0
table=""
for target in "$@"; do
  corpus="$build/corpus/$target"
  log="$finds/$target.log"
  mkdir -p "$corpus"
  seeds=""
  for folder in "$build/seeds/$target" "fuzz/corpus/$target"; do
    [ -d "$folder" ] && seeds="$seeds $folder"
  done
  result=0
  # shellcheck disable=SC2086  # a list of folders
  "$build/fuzz/fuzz_$target" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$finds/$target-" "$corpus" $seeds >"$log" 2>&1 || result=1
  failed=$((failed + result))
  [ $result = 0 ] || tail -n 40 "$log"
  inputs=$(number number_of_executed_units "$log")
  covered=$(sed -n 's/.*cov: \([0-9]*\).*/\1/p' "$log" | tail -n 1)
  table="$table$(printf '%-14s %12s %10s %8s MB  %s' "$target" "${inputs:-0}" "${covered:-0}" \
    "$(number peak_rss_mb "$log")" "$([ $result = 0 ] && echo nothing found || echo "FOUND, see $finds")")
"
  if [ -n "${ORB_RELIABILITY_JSON:-}" ]; then
    printf '{"row": "Fuzz target %s", "figure": "%s inputs, %s edges of code reached", "failures": %s, "seconds": %s, "command": "make fuzz FUZZ_TARGETS=%s"}\n' \
      "$target" "${inputs:-0}" "${covered:-0}" "$result" "$seconds" "$target" >>"$ORB_RELIABILITY_JSON"
  fi
done
printf '%-14s %12s %10s %11s  %s\n%s' target inputs edges memory result "$table"
[ $failed = 0 ]
