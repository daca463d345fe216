#!/usr/bin/env bash
# Installs the build into a temporary prefix, builds consumer/main.c against
# it twice (CMake's find_package, then pkg-config) and runs both on the
# installed tavo-sim. Also checks that the installed wlbt loads the installed
# library and links its simulator's stand-ins to the installed tavo-sim.
#
# usage: run_consumer.sh BUILD_DIR CC LIBDIR [SANITIZERS]
#   CC and SANITIZERS are the build's: a sanitized library needs its runtime
#   in the program that loads it, so the consumer is built with the same
#   -fsanitize.
set -euo pipefail
build=$1 cc=$2 libdir=$3 sanitize=${4:-}
here=$(cd "$(dirname "$0")" && pwd)

work=$(mktemp -d /tmp/wlbt-install-XXXXXX)
sim_pid=""
kept_root=""
cleanup() {
  if [ -n "$sim_pid" ]; then
    kill "$sim_pid" 2>/dev/null || true
    wait "$sim_pid" 2>/dev/null || true
  fi
  rm -rf "$work" ${kept_root:+"$kept_root"}
}
trap cleanup EXIT
fail() { echo "FAIL $*" >&2; exit 1; }

prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null

flags=()
[ -z "$sanitize" ] || flags=("-fsanitize=$sanitize")

echo "== find_package"
cmake -S "$here/consumer" -B "$work/cmake-build" -G Ninja -DCMAKE_C_COMPILER="$cc" \
  -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_FLAGS="${flags[*]}" -DCMAKE_EXE_LINKER_FLAGS="${flags[*]}" >/dev/null
cmake --build "$work/cmake-build" >/dev/null

echo "== pkg-config"
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
# shellcheck disable=SC2046 # pkg-config's output is a list of words
"$cc" "${flags[@]}" -o "$work/consumer-pc" "$here/consumer/main.c" $(pkg-config --cflags --libs wlbtfactory) \
  -Wl,-rpath,"$(pkg-config --variable=libdir wlbtfactory)"

for program in "$work/cmake-build/consumer" "$work/consumer-pc"; do
  ldd "$program" | grep -q "libwlbtfactory.so.0 => $prefix/" || fail "$program does not load the installed library"
done
ldd "$prefix/bin/wlbt" | grep -q "libwlbtfactory.so.0 => $prefix/" || fail "the installed wlbt does not load the installed library"

echo "== the consumers on the installed simulator"
root=$work/root
mkdir "$root"
"$prefix/bin/tavo-sim" --quiet --root "$root" > "$work/sim.env" &
sim_pid=$!
# The simulator prints its environment once it runs; wait for it, bounded.
for _ in $(seq 1 100); do
  grep -q '^export PATH=' "$work/sim.env" 2>/dev/null && break
  kill -0 "$sim_pid" 2>/dev/null || fail "tavo-sim ended early"
  sleep 0.1
done
grep -q '^export PATH=' "$work/sim.env" || fail "tavo-sim did not start"
(
  eval "$(cat "$work/sim.env")"
  "$work/cmake-build/consumer"
  "$work/consumer-pc"
)

echo "== the installed wlbt and its simulator"
unset TAVO_SIM_BINARY
"$prefix/bin/wlbt" --sim --keep-root UNIT=99 2> "$work/wlbt.err" || { cat "$work/wlbt.err" >&2; fail "wlbt --sim"; }
kept_root=$(sed -n 's/^wlbt: simulator root kept at //p' "$work/wlbt.err")
[ -n "$kept_root" ] || fail "wlbt did not say where it kept the root"
stand_in=$(readlink "$kept_root/bin/btcli")
[ "$stand_in" = "$prefix/bin/tavo-sim" ] || fail "the stand-in btcli links to $stand_in, not the installed tavo-sim"
echo "ok"
