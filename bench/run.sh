#!/usr/bin/env bash
# make bench: fixed-seed simulated data sets (case-control with and without the
# panel, a cohort with a categorical covariate, a cross-sectional study with a
# continuous covariate), analysed by kestrova-bench, which reports SNPs per second
# on each analysis path by one thread and by all cores, the speed-up, and peak
# memory; then the load throughput of a genome-wide-sized study (5,000 subjects by
# 100,500 study SNPs); then the conversion rate of kestrova-prepare (MB of
# uncompressed VCF text per second, one core) on a study VCF of 2,000 subjects by
# 20,100 SNPs with its panel. Two cases time the costly paths on one thread:
# typed SNPs with sporadic missing calls and no panel (the tag search), and a
# cohort whose DEPENDENT covariate sits beside a continuous one (a covariate
# pattern per subject) at three study sizes.
#
#   bash bench/run.sh [build-folder]   (LOAD=0 skips the large load test, PREPARE=0 the conversion)
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
  (cd "$dir" && "$bench" "${run_args[@]}" -ofile "$build/bench-$name" | grep -E '^(load|complete|typed|untyped|all paths|dependence|peak)')
}

cc="--seed 11 --cases 1000 --controls 1000 --snps 300 --typed-share 0.67 --missing-share 0.2 --missing-rate 0.05 --trios 30 --duos 10 --singletons 60"
run_case case-control $cc --
run_case case-control $cc -- -ne

common="--snps 300 --typed-share 0.67 --missing-share 0.2 --missing-rate 0.05 --trios 30 --duos 10 --singletons 60"
run_case cohort --seed 13 --design cohort --subjects 2000 --categorical 1 $common --
run_case cross-sectional --seed 14 --design cross-sectional --subjects 2000 --covariates 1 $common --

# No panel, 1,000 subjects, 2,000 typed SNPs each with about 1% missing calls.
run_case ne-missing --seed 21 --cases 500 --controls 500 --snps 2000 --typed-share 1 --missing-share 1 --missing-rate 0.01 -- -ne -threads 1

# EFFECT = G X1 C1 with C1 DEPENDENT and X1 continuous: J is about n.
for n in 500 1000 2000; do
  run_case dependence-$n --seed 23 --design cohort --subjects $n --covariates 1 --categorical 1 --dependent --snps 12 --typed-share 1 --missing-share 0.09 --missing-rate 0.02 -- -threads 1
done

if [ "${LOAD:-1}" != 0 ]; then
  run_case load --seed 12 --cases 2500 --controls 2500 --snps 150000 --typed-share 0.67 --trios 100 --duos 50 --singletons 200 -- --load-only
  run_case load --seed 12 --cases 2500 --controls 2500 --snps 150000 --typed-share 0.67 --trios 100 --duos 50 --singletons 200 -- --load-only -ne
fi

if [ "${PREPARE:-1}" != 0 ]; then
  dir=$data/prepare
  args="--seed 15 --cases 1000 --controls 1000 --snps 30000 --typed-share 0.67 --trios 100 --duos 50 --singletons 200 --vcf"
  if [ ! -f "$dir/study.vcf" ] || [ "$(cat "$dir/args" 2>/dev/null)" != "$args" ]; then
    rm -rf "$dir"
    "$sim" --out "$dir" $args >/dev/null
    echo "$args" >"$dir/args"
  fi
  echo "== prepare (study.vcf and panel.vcf to the five files)"
  studyBytes=$(stat -c %s "$dir/study.vcf")
  bothBytes=$(( studyBytes + $(stat -c %s "$dir/panel.vcf") ))
  # Wall time, CPU time (user + system) and, where /usr/bin/time exists, peak memory.
  measure() {  # label, bytes of VCF text read, kestrova-prepare arguments ...
    local label=$1 bytes=$2; shift 2
    local real user sys mem=0
    rm -rf "$dir/out"
    if [ -x /usr/bin/time ]; then
      read -r real user sys mem < <(/usr/bin/time -f "%e %U %S %M" \
        "$build/tools/kestrova-prepare" "$@" --out "$dir/out" 2>&1 >/dev/null | tail -1)
    else
      local TIMEFORMAT='%R %U %S'
      read -r real user sys < <({ time "$build/tools/kestrova-prepare" "$@" --out "$dir/out" >/dev/null; } 2>&1)
    fi
    awk -v b="$bytes" -v r="$real" -v u="$user" -v s="$sys" -v m="$mem" -v l="$label" 'BEGIN {
      printf "%s: %.1f MB of VCF text, %.2f s wall, %.2f s CPU: %.1f MB/s wall, %.1f MB/s per CPU second", l, b / 1e6, r, u + s, b / 1e6 / r, b / 1e6 / (u + s)
      if (m > 0) printf ", peak memory %d MB", m / 1024
      printf "\n" }'
  }
  common=(--phenotypes "$dir/phenotypes.txt" --status STATUS --panel "$dir/panel.vcf" --pedigree "$dir/panel.fam")
  measure "prepare study and panel VCF" "$bothBytes" --vcf "$dir/study.vcf" "${common[@]}"
  measure "prepare study VCF alone" "$studyBytes" --vcf "$dir/study.vcf" --phenotypes "$dir/phenotypes.txt" --status STATUS
  rm -rf "$dir/out"
fi
