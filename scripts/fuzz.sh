#!/usr/bin/env bash
# Builds the fuzz preset (clang; the library and the targets with libFuzzer,
# ASan and UBSan) and runs every target under fuzz/ for SECONDS each
# (default 30), one after the other, each on a scratch copy of its seed
# corpus so that the checked-in corpus stays as it is. Prints one line per
# target with its executions per second. Fails on any finding (crash, leak,
# time-out, out of memory, a broken invariant) and prints the reproducer's
# path; replay one with `build/fuzz/fuzz/<target> <file>`.
#
#   scripts/fuzz.sh [SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-30}
case "$seconds" in
  '' | *[!0-9]*) echo "usage: scripts/fuzz.sh [SECONDS]" >&2; exit 2 ;;
esac
jobs=${WLBT_JOBS:-2}

targets=()
for source in fuzz/fuzz_*.cpp; do
  targets+=("$(basename "$source" .cpp)")
done

echo "== fuzz: configure and build ${#targets[@]} targets"
build_start=$(date +%s)
cmake --preset fuzz >/dev/null
cmake --build build/fuzz -j "$jobs" --target "${targets[@]}"
echo "== fuzz: built in $(($(date +%s) - build_start)) s; ${seconds} s per target"

# Findings stay under the build tree, so that their paths still hold after the run.
findings=build/fuzz/findings
mkdir -p "$findings"
scratch=$(mktemp -d "${TMPDIR:-/tmp}/wlbt-fuzz.XXXXXX")
trap 'rm -rf "$scratch"' EXIT

failed=()
summary=()
for target in "${targets[@]}"; do
  corpus="$scratch/$target"
  mkdir -p "$corpus"
  [ -d "fuzz/corpus/$target" ] && cp -R "fuzz/corpus/$target/." "$corpus/"
  log="$findings/$target.log"
  options=(-max_total_time="$seconds" -print_final_stats=1 -timeout=10 -rss_limit_mb=2048
           -artifact_prefix="$findings/$target-")
  [ -f "fuzz/$target.dict" ] && options+=(-dict="fuzz/$target.dict")
  set +e
  "build/fuzz/fuzz/$target" "${options[@]}" "$corpus" >"$log" 2>&1
  status=$?
  set -e
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -n 1)
  line=$(printf '%-24s %8s exec/s  %10s runs' "$target" "${rate:-?}" "${runs:-?}")
  if [ "$status" -ne 0 ]; then
    reproducer=$(sed -n 's/.*Test unit written to \(.*\)$/\1/p' "$log" | tail -n 1)
    line="$line  FAILED (exit $status): ${reproducer:-no reproducer written}, log $log"
    failed+=("$target")
    grep -E '^(==[0-9]+==ERROR|SUMMARY|.*runtime error)' "$log" | head -n 5 || true
  fi
  echo "$line"
  summary+=("$line")
done

echo "== fuzz: summary (${seconds} s per target)"
printf '%s\n' "${summary[@]}"
[ ${#failed[@]} -eq 0 ] || echo "== fuzz: findings in ${failed[*]}" >&2
echo "fuzz: $((${#targets[@]} - ${#failed[@]})) passed, ${#failed[@]} failed"
[ ${#failed[@]} -eq 0 ]
