#!/usr/bin/env bash
# Smoke run of the fuzz targets: builds the `fuzz` preset (clang, libFuzzer, AddressSanitizer,
# UndefinedBehaviorSanitizer) and runs every target for FUZZ_SECONDS on a scratch copy of its
# seed corpus and reproducers (default: 8 s each, less when the targets would together take
# more than 4 minutes). Any finding (crash, sanitizer report, failed check, allocation over the
# bound, timeout) fails the run, prints the target's log and leaves the input that caused it in
# build/fuzz/findings/.
set -euo pipefail
cd "$(dirname "$0")/.."

# clang and its fuzzer runtime, when a fresh Debian machine lacks them.
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
if ! command -v clang++ >/dev/null 2>&1; then
  $sudo apt-get update
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends clang
fi
if ! clang++ -print-file-name=libclang_rt.fuzzer-x86_64.a | grep -q /; then
  major=$(clang++ -dumpversion | cut -d. -f1)
  $sudo apt-get update
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends \
    "libclang-rt-${major}-dev"
fi

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

classes=$(sed -n '/^set(QV_FUZZ_CLASSES/,/^)/p' fuzz/classes.cmake | sed '1d;$d')
count=$(echo "$classes" | wc -w)
seconds=${FUZZ_SECONDS:-$((240 / count < 8 ? 240 / count : 8))}
findings=build/fuzz/findings
mkdir -p "$findings"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
for class in $classes; do
  lower=$(echo "$class" | tr '[:upper:]' '[:lower:]')
  mkdir -p "$work/$class"
  cp fuzz/corpus/"$class"/* "$work/$class"/
  [ -d fuzz/regressions/"$class" ] && cp fuzz/regressions/"$class"/* "$work/$class"/
  log="$work/$class.log"
  if build/fuzz/fuzz/fuzz_"$lower" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
      -artifact_prefix="$findings/$class-" "$work/$class" >"$log" 2>&1; then
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    cov=$(grep -Eo 'cov: [0-9]+' "$log" | tail -1)
    echo "fuzz_$lower: ok, $runs runs, $cov"
  else
    echo "fuzz_$lower: FINDING"
    tail -n 60 "$log"
    failed=$((failed + 1))
  fi
done
[ "$failed" -eq 0 ] || { echo "$failed fuzz targets reported findings"; exit 1; }
echo "all fuzz targets ran ${seconds}s without findings"
