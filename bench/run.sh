#!/usr/bin/env bash
# make bench: fixed-seed simulated data sets (case-control with and without the
# panel, a cohort with a categorical covariate, a cross-sectional study with a
# continuous covariate), analysed by kestrova-bench, which reports SNPs per second
# on each analysis path by one thread and by all cores, the speed-up, and peak
# memory; then the load throughput of a genome-wide-sized study (5,000 subjects by
# 100,500 study SNPs).
#
#   bash bench/run.sh [build-folder]        (LOAD=0 skips the large load test)
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(cd "${1:-build}" && pwd)
sim=$build/tools/kestrova-sim
bench=$build/bench/kestrova-bench
data=bench/data
mkdir -p "$data"

run_case() {  # name, simulator options ..., then -- and kestrova options
  local name=$1; shift
  local sim_args=() run_args=()
  while [ $# -gt 0 ] && [ "$1" != "--" ]; do sim_args+=("$1"); shift; done
  [ $# -gt 0 ] && shift
  run_args=("$@")
  local dir=$data/$name
  if [ ! -f "$dir/genotype.dat" ] || [ "$(cat "$dir/args" 2>/dev/null)" != "${sim_args[*]}" ]; then
    rm -rf "$dir"
    "$sim" --out "$dir" "${sim_args[@]}" >/dev/null
    echo "${sim_args[*]}" >"$dir/args"
  fi
  echo "== $name ${run_args[*]}"
  (cd "$dir" && "$bench" "${run_args[@]}" -ofile "$build/bench-$name" | grep -E '^(load|complete|typed|untyped|all paths|peak)')
}

cc="--seed 11 --cases 1000 --controls 1000 --snps 300 --typed-share 0.67 --missing-share 0.2 --missing-rate 0.05 --trios 30 --duos 10 --singletons 60"
run_case case-control $cc --
run_case case-control $cc -- -ne

common="--snps 300 --typed-share 0.67 --missing-share 0.2 --missing-rate 0.05 --trios 30 --duos 10 --singletons 60"
run_case cohort --seed 13 --design cohort --subjects 2000 --categorical 1 $common --
run_case cross-sectional --seed 14 --design cross-sectional --subjects 2000 --covariates 1 $common --

if [ "${LOAD:-1}" != 0 ]; then
  run_case load --seed 12 --cases 2500 --controls 2500 --snps 150000 --typed-share 0.67 --trios 100 --duos 50 --singletons 200 -- --load-only
  run_case load --seed 12 --cases 2500 --controls 2500 --snps 150000 --typed-share 0.67 --trios 100 --duos 50 --singletons 200 -- --load-only -ne
fi
