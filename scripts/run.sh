#!/usr/bin/env bash
# Builds the library and the command-line tool, and runs the whole factory
# sequence (WLAN, then Bluetooth) through the service on the simulated chip,
# printing each AT command and its result. Exit status 1 when any reply is NG.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/deps.sh >&2
cmake --preset default >/dev/null
cmake --build --preset default -j "${WLBT_JOBS:-2}" --target wlbt >&2

# The lab around the chip: one wlbt option per line.
mapfile -t lab < <(grep -v '^#' tools/sequences/lab.args)
exec build/default/tools/wlbt --sim "${lab[@]}" "$@" -f tools/sequences/factory.at
