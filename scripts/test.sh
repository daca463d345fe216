#!/usr/bin/env bash
# Builds and runs every test: the warning-free (-Werror) build, then the
# AddressSanitizer+UndefinedBehaviorSanitizer build and the ThreadSanitizer
# build of the test suite, then the fuzz targets for 30 s each (scripts/fuzz.sh)
# when clang is present. Fails on the first build error, failing test or finding.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/deps.sh

jobs=${WLBT_JOBS:-2}
presets=${WLBT_TEST_PRESETS:-"ci asan tsan"}

for preset in $presets; do
  echo "== $preset: configure and build"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  echo "== $preset: test"
  ctest --preset "$preset" -j "$jobs"
done

# Every fuzz target for 30 s (WLBT_FUZZ_SECONDS; 0 skips), where clang is
# there to build them.
fuzz_seconds=${WLBT_FUZZ_SECONDS:-30}
if [ "$fuzz_seconds" = 0 ]; then
  echo "== fuzz: skipped (WLBT_FUZZ_SECONDS=0)"
elif command -v clang++ >/dev/null 2>&1; then
  scripts/fuzz.sh "$fuzz_seconds"
else
  echo "== fuzz: skipped, no clang++"
fi
