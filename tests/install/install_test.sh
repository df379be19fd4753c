#!/usr/bin/env bash
# make install and what it promises: into a temporary prefix, the four programs,
# a man page of each written from its --help, the workflow and the examples; the
# installed programs run from there and the installed workflow finds them; make
# uninstall takes it all away again. Also the dependency script: silent on a
# machine that has everything, one line naming the command where it cannot install.
#
#   install_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail
build=$(realpath "$1")
source=$(realpath "$2")
work=$(mktemp -d "${TMPDIR:-/tmp}/kestrova-install.XXXXXX")
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

passes=0 failures=0
check() {  # description, command ...
  local what=$1; shift
  if "$@"; then echo "ok: $what"; passes=$((passes + 1))
  else echo "FAILED: $what"; failures=$((failures + 1)); fi
}

cmake --install "$build" --prefix "$prefix" >"$work/install.log"
programs="kestrova kestrova-prepare kestrova-report kestrova-sim"
for p in $programs; do
  check "$p installed" test -x "$prefix/bin/$p"
  check "$p --version from the prefix" test "$("$prefix/bin/$p" --version)" = "$("$build/$([ $p = kestrova ] || echo tools/)$p" --version)"
  check "$p man page" grep -q -F -- '\-\-help' "$prefix/share/man/man1/$p.1"
done
check "man page holds the options" grep -q -F -- '\-threads' "$prefix/share/man/man1/kestrova.1"
check "workflow installed" test -f "$prefix/share/kestrova/workflow/Snakefile" -a -f "$prefix/share/kestrova/workflow/profiles/slurm/config.yaml"
check "examples installed" test -f "$prefix/share/kestrova/examples/genotype.dat" -a -f "$prefix/share/kestrova/examples/vcf/study.vcf"

# The installed program on the installed example, as from a cluster's module.
cp -r "$prefix/share/kestrova/examples" "$work/run"
(cd "$work/run" && "$prefix/bin/kestrova" -threads 1 >run.log)
(cd "$source/examples" && "$build/kestrova" -threads 1 -ofile "$work/direct" >/dev/null)
check "installed kestrova = built kestrova" cmp -s "$work/run/results_G.out" "$work/direct_G.out"

# The installed workflow, run from a study folder with only the prefix on PATH.
if command -v snakemake >/dev/null; then
  mkdir "$work/study"
  (cd "$work/study" && PATH="$prefix/bin:/usr/bin:/bin" snakemake -s "$prefix/share/kestrova/workflow/Snakefile" \
    --cores 2 -p >smk.log 2>&1) || cat "$work/study/smk.log"
  check "installed workflow ran the installed programs" grep -q "$prefix/bin/kestrova-prepare" "$work/study/smk.log"
  check "installed workflow = kestrova by hand" cmp -s "$work/study/kestrova-out/results/1/results_G.out" \
    <("$build/tools/kestrova-prepare" --vcf "$source/examples/vcf/study.vcf" --phenotypes "$source/examples/vcf/phenotypes.txt" \
        --status STATUS --covariates X1 --panel "$source/examples/vcf/panel.vcf" --pedigree "$source/examples/vcf/panel.fam" \
        --out "$work/by-hand" >/dev/null && cd "$work/by-hand/1" && "$build/kestrova" -ofile "$work/by-hand/r" >/dev/null && cat "$work/by-hand/r_G.out")
fi

# make uninstall removes every installed file and the folders that held them.
make -s -C "$source" uninstall BUILD="$build" PREFIX="$prefix" >/dev/null
check "uninstall leaves nothing" test ! -e "$prefix"

# The dependency script: nothing to do, nothing printed; where it cannot install,
# one line naming the command.
check "deps: silent when nothing is missing" test -z "$(bash "$source/tools/deps.sh" 2>&1)"
if [ "$(id -u)" = 0 ] && command -v setpriv >/dev/null; then
  mkdir "$work/bin" && chmod 755 "$work"
  ln -s "$(command -v bash)" "$(command -v id)" "$(command -v apt-get)" "$work/bin/"
  line=$(setpriv --reuid=65534 --regid=65534 --clear-groups env PATH="$work/bin" bash "$source/tools/deps.sh" 2>&1 || true)
  check "deps: one line with the command when it cannot install" \
    bash -c '[ "$(wc -l <<<"$1")" = 1 ] && [[ "$1" == *"run: sudo apt-get update && sudo apt-get install -y g++ cmake"* ]]' _ "$line"
fi

echo "install: $passes passed, $failures failed"
[ "$failures" = 0 ]
