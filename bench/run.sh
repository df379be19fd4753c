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
# Then, beside the program at the starting commit e4dbe09 (built once from a git
# worktree): the peak memory of a shard of a large chromosome, -ne with 1% missing
# calls, and ten continuous covariates in each design against none; and the
# imputation pipeline (Beagle 5 + plink2 --glm) on the same data.
#
#   bash bench/run.sh [build-folder]   (LOAD=0 skips the large load test, PREPARE=0 the conversion,
#   BASELINE=0 the comparison with the starting commit, SHARD=0 the shard memory test,
#   COVAR=0 the covariate cases, PIPELINE=0 the imputation pipeline)
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(cd "${1:-build}" && pwd)
sim=$build/tools/kestrova-sim
bench=$build/bench/kestrova-bench
data=bench/data
mkdir -p "$data"

simulate() {  # folder, simulator options ...: made again only when the options change
  local dir=$1; shift
  if [ "$(cat "$dir/args" 2>/dev/null)" != "$*" ]; then
    rm -rf "$dir"
    "$sim" --out "$dir" "$@" >/dev/null
    echo "$*" >"$dir/args"
  fi
}

run_case() {  # name, simulator options ..., then -- and kestrova options
  local name=$1; shift
  local sim_args=() run_args=()
  while [ $# -gt 0 ] && [ "$1" != "--" ]; do sim_args+=("$1"); shift; done
  [ $# -gt 0 ] && shift
  run_args=("$@")
  local dir=$data/$name
  simulate "$dir" "${sim_args[@]}"
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
  simulate "$dir" $args
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

# The program at the starting commit of this round of work, built once from a git
# worktree into bench/data/baseline (skipped outside a git checkout or with BASELINE=0).
base_commit=e4dbe09
base_bin=
if [ "${BASELINE:-1}" != 0 ] && git rev-parse --git-dir >/dev/null 2>&1 && git cat-file -e "$base_commit^{commit}" 2>/dev/null; then
  base=$PWD/$data/baseline
  if [ ! -x "$base/build/kestrova" ]; then
    [ -d "$base/src" ] || git worktree add --detach "$base/src" "$base_commit" >/dev/null 2>&1
    cmake -S "$base/src" -B "$base/build" -DCMAKE_BUILD_TYPE=Release -DKESTROVA_TESTS=OFF \
      ${CCACHE_DIR:+-DCMAKE_CXX_COMPILER_LAUNCHER=ccache} >/dev/null
    cmake --build "$base/build" -j2 --target kestrova >/dev/null
  fi
  base_bin=$base/build/kestrova
fi

# Peak memory (kB) and wall seconds of one program run in a folder: "s kB".
peak() {  # folder, program, options ...
  local dir=$1; shift
  (cd "$dir" && /usr/bin/time -f "%e %M" "$@" 2>&1 >/dev/null | tail -1)
}

# A shard of 5,000 SNPs (by position) of a 100,000-SNP chromosome at 20,000
# subjects, without the panel and without missing calls: the peak memory of this
# program and of the starting commit's (SHARD=0 skips; SHARD_SUBJECTS and
# SHARD_SNPS scale it down).
if [ "${SHARD:-1}" != 0 ] && [ -x /usr/bin/time ]; then
  subjects=${SHARD_SUBJECTS:-20000} snps=${SHARD_SNPS:-100000}
  dir=$data/shard
  args="--seed 31 --cases $((subjects / 2)) --controls $((subjects / 2)) --snps $snps --typed-share 1 --missing-share 0 --study-only $((snps - 1))"
  simulate "$dir" $args
  from=$(awk -v k=$((snps / 2)) 'NF && ++i == k {print $2; exit}' "$dir/genotype.dat")
  to=$(awk -v k=$((snps / 2 + snps / 20 - 1)) 'NF && ++i == k {print $2; exit}' "$dir/genotype.dat")
  opts=(-ne -threads 2 -from "$from" -to "$to")
  echo "== shard of $((snps / 20)) SNPs of $snps at $subjects subjects (-ne, 2 threads)"
  read -r t m < <(peak "$dir" "$build/kestrova" "${opts[@]}" -ofile new)
  echo "now: $t s wall, peak memory $((m / 1024)) MiB"
  if [ -n "$base_bin" ]; then
    read -r bt bm < <(peak "$dir" "$base_bin" "${opts[@]}" -ofile base)
    echo "$base_commit: $bt s wall, peak memory $((bm / 1024)) MiB ($(awk -v a="$m" -v b="$bm" 'BEGIN{printf "%.2f", a / b}') of it)"
    cmp -s "$dir/new_G.out" "$dir/base_G.out" && echo "result lines: identical" || echo "result lines: DIFFER"
  fi
fi

# -ne on typed SNPs that each miss 1% of their calls, against the starting commit
# (1,000 subjects by 150 SNPs, so that the starting commit's run stays short).
if [ -n "$base_bin" ]; then
  dir=$data/ne-compare
  args="--seed 22 --cases 500 --controls 500 --snps 150 --typed-share 1 --missing-share 1 --missing-rate 0.01"
  simulate "$dir" $args
  echo "== ne-compare (-ne -threads 1) against $base_commit"
  read -r t m < <(peak "$dir" "$build/kestrova" -ne -threads 1 -ofile new)
  read -r bt bm < <(peak "$dir" "$base_bin" -ne -threads 1 -ofile base)
  awk -v a="$t" -v b="$bt" 'BEGIN{printf "now %.2f s, %s %.2f s: %.2fx faster\n", a, "'$base_commit'", b, b / a}'
  cmp -s "$dir/new_G.out" "$dir/base_G.out" && echo "result lines: identical" || echo "result lines: DIFFER"
fi

# Ten continuous covariates (X1..X10, independent of the genotype) in each design at
# 2,000 subjects, 300 SNPs and a panel of 2,500 singletons, beside the same study
# without covariates, one thread, and against the starting commit (COVAR=0 skips).
if [ "${COVAR:-1}" != 0 ] && [ -x /usr/bin/time ]; then
  for design in case-control cohort cross-sectional; do
    size="--subjects 2000"
    [ $design = case-control ] && size="--cases 1000 --controls 1000"
    dir=$data/covariates-$design
    args="--seed 11 --design $design $size --snps 300 --trios 0 --duos 0 --singletons 2500 --covariates 10"
    if [ "$(cat "$dir/cov/args" 2>/dev/null)" != "$args" ]; then
      rm -rf "$dir"
      simulate "$dir/cov" $args
      mkdir -p "$dir/none"
      cp "$dir"/cov/*.dat "$dir/none/"
      sed 's/^EFFECT = .*/EFFECT = G/' "$dir/cov/specification.txt" >"$dir/none/specification.txt"
    fi
    echo "== $design, ten continuous covariates and without, 2,000 subjects, 2,500 singletons (one thread)"
    read -r tc mc < <(peak "$dir/cov" "$build/kestrova" -threads 1 -ofile new)
    read -r tn mn < <(peak "$dir/none" "$build/kestrova" -threads 1 -ofile new)
    awk -v c="$tc" -v n="$tn" 'BEGIN{printf "now: %.2f s with, %.2f s without: %.2fx\n", c, n, c / n}'
    if [ -n "$base_bin" ]; then
      read -r bc bmc < <(peak "$dir/cov" "$base_bin" -threads 1 -ofile base)
      read -r bn bmn < <(peak "$dir/none" "$base_bin" -threads 1 -ofile base)
      awk -v c="$bc" -v n="$bn" 'BEGIN{printf "'$base_commit': %.2f s with, %.2f s without: %.2fx\n", c, n, c / n}'
      for k in cov none; do
        cmp -s "$dir/$k/new_G.out" "$dir/$k/base_G.out" && echo "$k result lines: identical" || echo "$k result lines: DIFFER"
      done
    fi
  done
fi

# The imputation pipeline a user would otherwise run on the case-control study:
# Beagle 5 imputing the study VCF from the panel VCF (one thread), then plink2 --glm
# on the dosages; beside kestrova on the same data (PIPELINE=0 skips; needs beagle
# and plink2, Debian's packages).
if [ "${PIPELINE:-1}" != 0 ] && command -v beagle >/dev/null && command -v plink2 >/dev/null && [ -x /usr/bin/time ]; then
  dir=$data/pipeline
  args="--seed 11 --cases 1000 --controls 1000 --snps 300 --trios 0 --duos 0 --singletons 2500 --vcf"
  simulate "$dir" $args
  echo "== imputation pipeline (Beagle 5 + plink2 --glm) against kestrova, 2,000 subjects, one thread"
  read -r ti mi < <(peak "$dir" beagle gt=study.vcf ref=panel.vcf out=imputed nthreads=1)
  read -r tg mg < <(peak "$dir" plink2 --vcf imputed.vcf.gz dosage=DS --double-id --pheno phenotypes.txt \
    --pheno-name STATUS --1 --glm allow-no-covars --threads 1 --out glm)
  read -r tk mk < <(peak "$dir" "$build/kestrova" -threads 1 -ofile kestrova)
  awk -v i="$ti" -v g="$tg" -v k="$tk" -v m="$mi" 'BEGIN{printf "Beagle %.2f s (peak %d MiB) + plink2 %.2f s = %.2f s; kestrova %.2f s: %.1fx faster\n", i, m / 1024, g, i + g, k, (i + g) / k}'
fi
