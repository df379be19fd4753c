#!/usr/bin/env bash
# What Kestrova needs on a Debian or Ubuntu machine, in one list used by `make`,
# `.ci/run` and README alike. Installs whatever is missing with apt-get: as root
# directly, otherwise through `sudo -n` where that works without a password,
# otherwise it stops with one line naming the command to run. On a machine that has
# everything it installs and prints nothing.
#
#   tools/deps.sh            build, test and install dependencies
#   tools/deps.sh --ci       the same plus the fuzzing toolchain (clang, libFuzzer)
#   tools/deps.sh --list     print the Debian packages, one a line, and install nothing
set -euo pipefail

# package  how to tell it is there (cmd:NAME on PATH, file:PATH, glob:PATTERN)
NEEDS=(
  # building
  "g++                cmd:g++"
  "cmake              cmd:cmake"
  "make               cmd:make"
  "pkg-config         cmd:pkg-config"
  "libhts-dev         file:/usr/include/htslib/vcf.h"
  # testing
  "libgtest-dev       file:/usr/include/gtest/gtest.h"
  "plink2             cmd:plink2"
  "libxml2-utils      cmd:xmllint"
  "snakemake          cmd:snakemake"
  "tabix              cmd:tabix"
  "chromium           cmd:chromium"
  # installing: man pages written from each program's --help
  "help2man           cmd:help2man"
)
CI_NEEDS=(
  "clang              cmd:clang++"
  "libclang-rt-dev    glob:/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a"
)

list=("${NEEDS[@]}")
mode=install
case "${1:-}" in
  --ci) list+=("${CI_NEEDS[@]}") ;;
  --list) mode=list; list+=("${CI_NEEDS[@]}") ;;
  "") ;;
  *) echo "usage: tools/deps.sh [--ci | --list]" >&2; exit 2 ;;
esac

present() {
  local how=$1
  case "$how" in
    cmd:*) command -v "${how#cmd:}" >/dev/null 2>&1 ;;
    file:*) [ -e "${how#file:}" ] ;;
    glob:*) compgen -G "${how#glob:}" >/dev/null ;;
  esac
}

missing=()
for entry in "${list[@]}"; do
  read -r package how <<<"$entry"
  if [ "$mode" = list ]; then echo "$package"; continue; fi
  present "$how" || missing+=("$package")
done
[ "$mode" = list ] && exit 0
[ ${#missing[@]} -eq 0 ] && exit 0

command_line="apt-get install -y ${missing[*]}"
if ! command -v apt-get >/dev/null 2>&1; then
  echo "kestrova: missing ${missing[*]}; this is not a Debian or Ubuntu machine, so install them (or their equivalents) by hand" >&2
  exit 1
fi
if [ "$(id -u)" -eq 0 ]; then
  run=()
elif command -v sudo >/dev/null 2>&1 && sudo -n true 2>/dev/null; then
  run=(sudo -n)
else
  echo "kestrova: missing ${missing[*]}; run: sudo apt-get update && sudo $command_line" >&2
  exit 1
fi
echo "kestrova: installing ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
"${run[@]}" apt-get update -qq
"${run[@]}" apt-get install -y -qq "${missing[@]}" >/dev/null
