#!/bin/sh
# Runs the benchmarks of a release build; the ratios go to its bench folder.
#   bench.sh BUILD-FOLDER [options of Google Benchmark]
set -eu
build=${1:?usage: bench.sh BUILD-FOLDER}
shift
cd "$build/bench"
./orb_bench --benchmark_repetitions=9 --benchmark_enable_random_interleaving=true --benchmark_min_time=0.1 "$@"
echo "ratios: $build/bench/ratios.csv"
