#!/usr/bin/env bash
# Builds and runs every test: the warning-free (-Werror) build, then the
# AddressSanitizer+UndefinedBehaviorSanitizer build and the ThreadSanitizer
# build of the test suite. Fails on the first build error or failing test.
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
