#!/usr/bin/env bash
# Load speed and memory of the input stage: generates a study (default 5,000
# subjects by 100,000 SNPs, about 1 GB of genotypes) and an external panel with
# phased haplotypes, then times Kestrova reading them, once with -ne (study only)
# and once with the panel, under /usr/bin/time -v.
#
#   bash bench/load_bench.sh [build-folder]
#
# Sizes: N (subjects), SNPS (study SNPs), PANEL_SNPS, TRIOS, DUOS, SINGLETONS.
# The data are written to bench/data/ (kept between runs unless the sizes change).
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
program=$build/kestrova
[ -x "$program" ] || { echo "no program at $program; build first" >&2; exit 1; }

N=${N:-5000}
SNPS=${SNPS:-100000}
PANEL_SNPS=${PANEL_SNPS:-100000}
TRIOS=${TRIOS:-100}
DUOS=${DUOS:-50}
SINGLETONS=${SINGLETONS:-200}
data=bench/data
mkdir -p "$data"
stamp="$N $SNPS $PANEL_SNPS $TRIOS $DUOS $SINGLETONS"

if [ "$(cat "$data/sizes" 2>/dev/null)" != "$stamp" ]; then
  echo "generating $N subjects x $SNPS SNPs, panel of $PANEL_SNPS SNPs ..."
  cat >"$data/specification.txt" <<EOF
DESIGN = case-control
CATEGORICAL = SEX
PANEL = $TRIOS $DUOS $SINGLETONS
EFFECT = G AGE SEX
OUTPUT = G
EOF
  awk -v n="$N" 'BEGIN {
    srand(1); print "STATUS AGE SEX"
    for (i = 0; i < n; i++) printf "%d %d %d\n", rand() < 0.5, 30 + int(40 * rand()), 1 + (rand() < 0.5)
  }' >"$data/phenotype.dat"
  # A pool of distinct genotype rows is cycled through: building every one of the
  # codes in awk would take minutes, and the reader's work is the same.
  awk -v n="$N" -v m="$SNPS" 'BEGIN {
    srand(2); pool = 97
    for (r = 0; r < pool; r++) {
      f = 0.05 + 0.9 * rand(); row = ""
      for (i = 0; i < n; i++) {
        u = rand(); g = (u < f * f) ? 2 : (u < f * (2 - f)) ? 1 : 0
        if (rand() < 0.02) g = 9
        row = row " " g
      }
      rows[r] = row
    }
    for (s = 0; s < m; s++) printf "rs%d %d %d A G%s\n", s, 1000 + 100 * s, 0, rows[s % pool]
  }' >"$data/genotype.dat"
  cols=$((3 * TRIOS + 2 * DUOS + SINGLETONS))
  haps=$((4 * TRIOS + 2 * DUOS + 2 * SINGLETONS))
  awk -v c="$cols" -v h="$haps" -v m="$PANEL_SNPS" -v ef="$data/external.dat" -v hf="$data/haplotype.dat" 'BEGIN {
    srand(3); pool = 89
    for (r = 0; r < pool; r++) {
      f = 0.05 + 0.9 * rand(); row = ""; hrow = ""
      for (i = 0; i < c; i++) {
        u = rand(); row = row (((u < f * f) ? 2 : (u < f * (2 - f)) ? 1 : 0))
      }
      for (i = 0; i < h; i++) hrow = hrow " " (rand() < f)
      rows[r] = row; hrows[r] = hrow
    }
    # Every other panel SNP shares a study position; the rest lie between them.
    for (s = 0; s < m; s++) {
      printf "rs%s %d A G %s\n", (s % 2 ? "p" s : s / 2), 1000 + 50 * s, rows[s % pool] >ef
      printf "rs%s%s\n", (s % 2 ? "p" s : s / 2), hrows[s % pool] >hf
    }
  }'
  echo "$stamp" >"$data/sizes"
fi

measure() {
  local label=$1 bytes=$2
  shift 2
  local log
  log=$( (cd "$data" && /usr/bin/time -v "../../$program" "$@" -ofile bench) 2>&1 >/dev/null)
  # Wall time suffers when other work shares the machine; processor time does not.
  awk -F': ' -v l="$label" -v b="$bytes" '
    /User time/ { cpu += $2 }
    /System time/ { cpu += $2 }
    /Elapsed \(wall clock\)/ { n = split($2, t, ":"); for (i = 1; i <= n; i++) wall = 60 * wall + t[i] }
    /Maximum resident set size/ { rss = $2 }
    END {
      printf "%-28s %7.1f MB: wall %5.2f s (%6.1f MB/s), cpu %5.2f s (%6.1f MB/s), peak RSS %6.1f MiB\n",
             l, b / 1e6, wall, (wall > 0 ? b / 1e6 / wall : 0), cpu, (cpu > 0 ? b / 1e6 / cpu : 0), rss / 1024
    }' <<<"$log"
}

size() { stat -c %s "$@" | awk '{ s += $1 } END { print s }'; }

study_bytes=$(size "$data/phenotype.dat" "$data/genotype.dat")
all_bytes=$(size "$data/phenotype.dat" "$data/genotype.dat" "$data/external.dat" "$data/haplotype.dat")
measure "study only (-ne)" "$study_bytes" -ne
measure "study, panel and haplotypes" "$all_bytes"
