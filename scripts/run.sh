#!/usr/bin/env bash
# Builds the library and the command-line tool, and runs a short factory
# sequence through the service, printing each AT command and its result.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/deps.sh >&2
cmake --preset default >/dev/null
cmake --build --preset default -j "${WLBT_JOBS:-2}" --target wlbt >&2

exec build/default/tools/wlbt --sim "$@" < tools/sequences/factory.at
