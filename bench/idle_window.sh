#!/usr/bin/env bash
# The live window at rest: starts qdx-demo --window on a virtual X server
# (Xvfb), waits until its banner is on screen, then measures the CPU time
# the whole demo process (every thread) uses over 5 idle seconds.
#
#   bench/idle_window.sh [path/to/qdx-demo]   (default: build/default's)
#
# Prints the share of one core. The goal is under 2%.
set -euo pipefail
demo="${1:-build/default/tools/qdx-demo/qdx-demo}"
seconds=5
work="$(mktemp -d)"
cleanup() {
  [ -n "${demo_pid:-}" ] && kill "$demo_pid" 2>/dev/null || true
  [ -n "${xvfb_pid:-}" ] && kill "$xvfb_pid" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

exec 3> "$work/display"
Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp -noreset 2>/dev/null &
xvfb_pid=$!
exec 3>&-
for _ in $(seq 100); do [ -s "$work/display" ] && break; sleep 0.1; done
display=":$(head -n1 "$work/display")"

DISPLAY="$display" "$demo" --window --out "$work/out" > "$work/lines" 2>&1 &
demo_pid=$!
for _ in $(seq 300); do
  grep -q '^onADShowedWithADRequest type 1' "$work/lines" 2>/dev/null && break
  sleep 0.1
done
grep -q '^onADShowedWithADRequest type 1' "$work/lines" || { echo "the banner never showed"; cat "$work/lines"; exit 1; }
sleep 2  # the banner's reports and the artwork settle

# CPU ticks (user + system, every thread) of a process.
ticks() { awk '{print $14 + $15}' "/proc/$1/stat"; }
hz=$(getconf CLK_TCK)
before=$(ticks "$demo_pid"); xbefore=$(ticks "$xvfb_pid")
start=$(date +%s.%N)
sleep "$seconds"
after=$(ticks "$demo_pid"); xafter=$(ticks "$xvfb_pid")
end=$(date +%s.%N)
share() {
  awk -v t="$2" -v hz="$hz" -v a="$start" -v b="$end" -v name="$1" \
    'BEGIN { cpu = t / hz; wall = b - a;
             printf "%s: %.3f s of CPU over %.2f s = %.2f%% of one core\n", name, cpu, wall, 100 * cpu / wall }'
}
share "idle window (qdx-demo --window)" $((after - before))
share "the X server in the same run (baseline)" $((xafter - xbefore))
