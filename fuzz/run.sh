#!/usr/bin/env bash
# Runs every fuzz target for FUZZ_SECONDS seconds each (default 60) from the seeds
# under fuzz/corpus/<target>/. New inputs collect in build-fuzz/corpus/<target>/;
# an input that crashes, hangs, leaks or breaks a reader's contract is written to
# build-fuzz/findings/ and fails the run.
set -uo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-fuzz}
seconds=${FUZZ_SECONDS:-60}
targets=(specfile phenotype genotype panel haplotype inputs prepare_phenotype prepare_pedigree prepare_model prepare_vcf report)
status=0
mkdir -p "$build/findings"
for t in "${targets[@]}"; do
  mkdir -p "$build/corpus/$t"
  dict=()
  [ -f "fuzz/$t.dict" ] && dict=(-dict="fuzz/$t.dict")
  log="$build/findings/$t.log"
  if "$build/fuzz/fuzz_$t" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=8192 \
      -print_final_stats=1 -artifact_prefix="$build/findings/$t-" "${dict[@]}" \
      "$build/corpus/$t" "fuzz/corpus/$t" >"$log" 2>&1; then
    echo "fuzz_$t: $(grep -m1 -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$') runs, no finding"
  else
    echo "fuzz_$t: FINDING (see $log)"
    tail -n 40 "$log"
    status=1
  fi
done
exit $status
