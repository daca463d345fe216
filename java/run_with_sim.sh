#!/usr/bin/env bash
# Runs a Java test program against the chip simulator: starts tavo-sim on a
# fresh root, runs the JVM in the environment it prints, then checks that
# the simulated firmware saw the test's requests.
#
# usage: run_with_sim.sh TAVO_SIM JAVA LIBDIR CLASSPATH MAINCLASS
set -euo pipefail
sim=$1 java=$2 libdir=$3 classpath=$4 main=$5

root=$(mktemp -d /tmp/wlbt-java-XXXXXX)
"$sim" --quiet --root "$root" > "$root.env" &
pid=$!
cleanup() {
  kill "$pid" 2>/dev/null || true
  wait "$pid" 2>/dev/null || true
  rm -rf "$root" "$root.env" "$root.out"
}
trap cleanup EXIT

# The simulator prints its environment once it runs; wait for it, bounded.
for _ in $(seq 1 100); do
  grep -q '^export PATH=' "$root.env" 2>/dev/null && break
  kill -0 "$pid" 2>/dev/null || { echo "tavo-sim ended early" >&2; exit 1; }
  sleep 0.1
done
grep -q '^export PATH=' "$root.env" || { echo "tavo-sim did not start" >&2; exit 1; }
eval "$(cat "$root.env")"

# -Xcheck:jni also makes the JVM check, now and then, that nobody replaced
# its signal handlers; the library must never have done so.
"$java" -Xcheck:jni -Djava.library.path="$libdir" -cp "$classpath" "$main" 2>&1 | tee "$root.out"
[ "${PIPESTATUS[0]}" -eq 0 ] || exit 1
if grep -q 'handler modified\|Handler was modified' "$root.out"; then
  echo "FAIL the JVM reports a replaced signal handler" >&2
  exit 1
fi
echo "ok   no replaced signal handler reported"

# What the firmware must have seen of the test's receive and transmit.
log=$root/sim/log
for expected in 'firmware: rk720 -> rk720_t' 'rx_start_req' 'tx_start_req' 'rx_read_req' 'firmware: rk720_t -> rk720'; do
  if ! grep -q "$expected" "$log"; then
    echo "FAIL simulator log has no line with '$expected'" >&2
    cat "$log" >&2
    exit 1
  fi
  echo "ok   simulator log: $expected"
done
