#!/usr/bin/env bash
# The genome-wide workflow end to end on a two-chromosome simulated study:
#  1. sharded results and diagnostics gathered per chromosome equal direct kestrova
#     runs byte for byte, the shard list covers every position once, and a dry run
#     lists the jobs of every chromosome;
#  2. a deleted shard is made again identically, its chromosome gathered again
#     identically, and nothing else is touched;
#  3. a run killed while a shard is running leaves no complete-looking shard, and
#     the next run with --rerun-incomplete completes it to the same results (a
#     shard that fails is removed by snakemake itself);
#  4. with kestrova-prepare: a two-chromosome VCF study through the prepare route
#     equals kestrova-prepare and kestrova run by hand per chromosome;
#  5. with kestrova-report: the workflow's report equals kestrova-report run by hand
#     on the direct runs;
#  6. a new shard size plans and shards afresh in one run, leaves no shard of the
#     old size behind, and going back works the same way.
#
#   workflow_test.sh KESTROVA KESTROVA_SIM SOURCE_DIR [KESTROVA_PREPARE [KESTROVA_REPORT]]
# Exits 77 (skipped) when snakemake is not installed.
set -euo pipefail

kestrova=$(realpath "$1")
sim=$(realpath "$2")
snakefile=$(realpath "$3/workflow/Snakefile")
prepare=${4:+$(realpath "$4")}
report=${5:+$(realpath "$5")}
command -v snakemake >/dev/null || { echo "snakemake not installed: skipped"; exit 77; }

work=$(mktemp -d "${TMPDIR:-/tmp}/kestrova-workflow.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"

passes=0 failures=0
check() {  # description, command ...
  local what=$1; shift
  if "$@"; then echo "ok: $what ($SECONDS s)"; passes=$((passes + 1))
  else echo "FAILED: $what"; failures=$((failures + 1)); fi
}

smk() {  # outdir, then more config values and options; the log goes to smk-<outdir>.log
  local out=$1; shift
  snakemake -s "$snakefile" --cores 2 --configfile "${config:-config.yaml}" --config "outdir=$out" "$@" \
    >"smk-$out.log" 2>&1
}

# Two chromosomes, each with two result files (one with '$' in its name).
"$sim" --out data/chr1 --seed 21 --snps 120 --covariates 1 --interaction 0.3 >/dev/null
"$sim" --out data/chr2 --seed 22 --snps 90 --start 5000 --covariates 1 --interaction 0.3 >/dev/null
for c in 1 2; do
  mkdir -p direct/$c
  (cd data/chr$c && "$kestrova" -tag 3 -ofile "$work/direct/$c/results" -diag "$work/direct/$c/results.diag" >/dev/null)
done

cat >config.yaml <<EOF
input: dat
chromosomes: [1, 2]
dat_folder: "data/chr{chrom}"
options: "-tag 3"
kestrova: "$kestrova"
prefix: results
shard: {snps: 40, threads: 2, mem_mb: 500, runtime: 5}
small_jobs: {mem_mb: 100, runtime: 5}
report: {run: false}
EOF

same_results() {  # gathered folder, direct folder: the same files, byte for byte
  local a=$1 b=$2
  [ "$(cd "$a" && ls)" = "$(cd "$b" && ls)" ] || return 1
  for f in "$b"/*; do cmp -s "$f" "$a/$(basename "$f")" || return 1; done
}

plan_covers() {  # plan file, distinct positions: first open, last open, contiguous, sizes
  awk -v size=40 -v want="$2" -F'\t' '
    NR == 1 { next }
    NR == 2 && $2 != "-" { exit 1 }
    NR > 2 && $2 != prev + 1 { exit 1 }
    $4 > size { exit 1 }
    { prev = $3; last = $3; total += $4; n++ }
    END { exit !(last == "-" && total == want && n >= 3) }' "$1"
}

distinct_positions() {  # folder: positions of the study and panel SNPs, each once
  cat "$1/genotype.dat" "$1/external.dat" | awk '{print $2}' | sort -u | wc -l
}

# 0. The planner alone: CRLF, tabs, blank lines and positions shared by study and
# panel; shards of at most 2 distinct positions, spread evenly; unsorted input refused.
shards_py=$(dirname "$snakefile")/scripts/shards.py
printf 'a 100 0 A C 0 1\r\nb\t250\t0 A C 1 1\r\n\r\nc  400 0 A C 2 9' >g.dat
printf 'a 100 A C 0\nx 180 A C 1\nc 400 A C 2\nz 900 A C 0\n' >e.dat
python3 "$shards_py" plan 2 plan.tsv g.dat e.dat
check "planner: ranges over distinct positions" test "$(cat plan.tsv)" = \
  "$(printf 'shard\tfrom\tto\tsnps\n0000\t-\t179\t1\n0001\t180\t399\t2\n0002\t400\t-\t2')"
printf 'a 100 0 A C 0\nb 90 0 A C 1\n' >unsorted.dat
refused() { ! python3 "$shards_py" plan 2 bad.tsv unsorted.dat 2>refused.txt && [ ! -e bad.tsv ] &&
  [ "$(cat refused.txt)" = "Error: Line 2 of 'unsorted.dat': position 90 is below the previous one (100);\
 shards need SNPs in ascending position." ]; }
check "planner: positions out of order refused" refused

# 1. The whole workflow against direct runs; first a dry run, which asks for every
# chromosome's plan at once.
smk out -n || { cat smk-out.log; exit 1; }
check "dry run lists every chromosome's plan and gather" \
  test "$(grep -E -c '^(checkpoint plan_shards|rule gather):' smk-out.log)" = 4
smk out || { cat smk-out.log; exit 1; }
for c in 1 2; do
  check "chromosome $c gathered = direct run" same_results out/results/$c direct/$c
  check "chromosome $c shards cover the map" plan_covers out/plan/$c/40snps.tsv "$(distinct_positions data/chr$c)"
done
check "two result files per chromosome" test "$(ls direct/1 direct/2 | grep -c out$)" = 4
check "result files carry no time stamp" \
  bash -c "! grep -q -E '[0-9]:[0-9]{2}:[0-9]{2}|(Mon|Tue|Wed|Thu|Fri|Sat|Sun) ' direct/*/*"

# 2. Delete one shard, run again: it alone is made again, and its chromosome gathered.
snapshot() {  # every file the workflow wrote but the deleted shard's log: path, mtime, checksum
  find out -type f ! -path out/logs/1/shard-0001.log -printf '%p %T@ ' -exec md5sum {} \; | sort
}
contents() { find "$@" -type f ! -name '.snakemake_timestamp' -exec md5sum {} \; | sort; }
before=$(snapshot)
shard_before=$(contents out/shards/1/40snps/0001)
gathered_before=$(contents out/results/1)
rm -r out/shards/1/40snps/0001
smk out || { cat smk-out.log; exit 1; }
check "deleted shard made again identically" test "$(contents out/shards/1/40snps/0001)" = "$shard_before"
check "its chromosome gathered again identically" test "$(contents out/results/1)" = "$gathered_before"
check "only that shard and its chromosome's gather ran" \
  test "$(grep -c '^rule ' smk-out.log)" = 2
check "nothing else touched" test \
  "$(echo "$before" | grep -v -e '^out/shards/1/40snps/0001/' -e '^out/results/1/')" = \
  "$(snapshot | grep -v -e '^out/shards/1/40snps/0001/' -e '^out/results/1/')"

# 3. Kill the whole run while a shard is running; resume with --rerun-incomplete.
# The stand-in program finishes kestrova's work, then hangs while the file 'slow' exists.
cat >slow-kestrova <<EOF
#!/usr/bin/env bash
"$kestrova" "\$@" || exit
case " \$* " in *" -from "*) [ -e "$work/slow" ] && { touch "$work/shard-running"; sleep 60; };; esac
exit 0
EOF
chmod +x slow-kestrova
touch slow
killed() { smk killed "kestrova=$work/slow-kestrova" "chromosomes=[2]" "$@"; }
setsid snakemake -s "$snakefile" --cores 1 --configfile config.yaml --config outdir=killed \
  "kestrova=$work/slow-kestrova" "chromosomes=[2]" >smk-killed.log 2>&1 &
leader=$!
for _ in $(seq 1200); do [ -e shard-running ] && break; sleep 0.1; done
kill -KILL -- -"$leader" 2>/dev/null || true
{ wait "$leader"; } 2>/dev/null || true
rm slow
check "killed run was in a shard" test -e shard-running
check "killed shard left no shard folder" test -z "$(find killed/shards -mindepth 3 -maxdepth 3 \
  -type d ! -name '*.part' -newer shard-running)"
check "killed run left no gathered results" test ! -e killed/results/2
finished=$(find killed/shards -mindepth 3 -maxdepth 3 -type d ! -name '*.part' -printf '%p %T@\n' |
  sort || true)
{ killed --unlock && killed --rerun-incomplete; } || { cat smk-killed.log; exit 1; }
check "resumed run = direct run" same_results killed/results/2 direct/2
check "shards finished before the kill were kept" test "$finished" = "$(for d in $(echo "$finished" |
  cut -d' ' -f1); do find "$d" -maxdepth 0 -printf '%p %T@\n'; done)"

# 4. The prepare route: chromosome 2 of the VCF files is a second simulated study
# of the same samples.
if [ -n "$prepare" ]; then
  "$sim" --out vcf1 --seed 23 --snps 90 --vcf >/dev/null
  "$sim" --out vcf2 --seed 24 --snps 70 --vcf >/dev/null
  mkdir -p in
  for f in study panel; do
    { sed 's/^##contig=<ID=1>$/&\n##contig=<ID=2>/' vcf1/$f.vcf
      grep -v '^#' vcf2/$f.vcf | awk 'BEGIN { OFS = "\t" } { $1 = "2"; print }'; } >in/$f.vcf
  done
  cp vcf1/phenotypes.txt vcf1/panel.fam in/
  from_vcf=(--vcf in/study.vcf --phenotypes in/phenotypes.txt --status STATUS --panel in/panel.vcf
            --pedigree in/panel.fam)
  for c in 1 2; do
    "$prepare" "${from_vcf[@]}" --chr $c --out by-hand >/dev/null
    mkdir -p by-hand-results/$c
    (cd by-hand/$c && "$kestrova" -tag 3 -ofile "$work/by-hand-results/$c/results" \
      -diag "$work/by-hand-results/$c/results.diag" >/dev/null)
  done
  sed 's/^input: dat$/input: prepare/' config.yaml >prepare.yaml
  cat >>prepare.yaml <<EOF
prepare:
  program: "$prepare"
  vcf: in/study.vcf
  phenotypes: in/phenotypes.txt
  panel: in/panel.vcf
  pedigree: in/panel.fam
  options: "--status STATUS"
EOF
  config=prepare.yaml smk prepared "shard={snps: 50, threads: 1}" || { cat smk-prepared.log; exit 1; }
  for c in 1 2; do
    check "prepare route, chromosome $c = by hand" same_results prepared/results/$c by-hand-results/$c
  done
fi

# 5. The report over both chromosomes: only the report runs.
if [ -n "$report" ]; then
  "$report" --out by-hand-report --chr 1 direct/1/results --chr 2 direct/2/results \
    --data direct/1/results=data/chr1 --data direct/2/results=data/chr2 >/dev/null
  smk out "report={run: true, program: $report, name: gw}" || { cat smk-out.log; exit 1; }
  check "only the report ran" test "$(grep -c '^rule ' smk-out.log)" = 1
  check "report = by hand" test "$(cd out/report && md5sum gw_*.tsv.gz gw_*.svg gw_summary.txt)" = \
    "$(md5sum by-hand-report_*.tsv.gz by-hand-report_*.svg by-hand-report_summary.txt | sed 's/by-hand-report_/gw_/')"
fi

# 6. Another shard size, then back: each plans and shards afresh in one run, and
# the shards of the other size are gone.
for size in 25 40; do
  smk out "shard={snps: $size, threads: 2, mem_mb: 500, runtime: 5}" || { cat smk-out.log; exit 1; }
  for c in 1 2; do check "shards of $size SNPs, chromosome $c = direct run" same_results out/results/$c direct/$c; done
  only_size() { [ "$(ls out/shards/1 out/shards/2 out/plan/2 | sort -u | tr -s '\n' ' ')" = \
    " ${size}snps ${size}snps.tsv out/plan/2: out/shards/1: out/shards/2: " ]; }
  check "only shards of $size SNPs are left" only_size
done

echo "workflow: $passes passed, $failures failed"
[ "$failures" = 0 ]
