#!/usr/bin/env bash
# Builds the release preset and runs the ratio benchmarks listed in
# bench/ratios.txt, each program once with every benchmark it needs, so a
# ratio's two sides come from the same run. Prints one line per ratio:
# measured, goal, and whether it holds. Exits 1 when a ratio misses its goal
# by more than 10%, or when a listed benchmark gave no result.
#
# Wall-clock ratios need a quiet machine; the load average is printed first.
# Environment: BENCH_CHECK_REPETITIONS (default 3; the median is used),
# BENCH_CHECK_ONLY (a regular expression over program names).
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
table="$root/bench/ratios.txt"
build="$root/build/release"
repetitions="${BENCH_CHECK_REPETITIONS:-3}"
only="${BENCH_CHECK_ONLY:-.}"
out="$(mktemp -d /tmp/qdx-bench-check-XXXXXX)"
trap 'rm -rf "$out"' EXIT

rows="$(grep -v '^[[:space:]]*#' "$table" | awk 'NF == 5' | awk -v only="$only" '$1 ~ only')"
programs=()
skipped=()
for program in $(echo "$rows" | awk '{print $1}' | awk '!seen[$0]++'); do
  if [ -f "$root/bench/$program.cc" ]; then programs+=("$program"); else skipped+=("$program"); fi
done

cd "$root"
cmake --preset release >/dev/null
cmake --build --preset release --target "${programs[@]}" >/dev/null

echo "bench-check at $(git rev-parse --short HEAD 2>/dev/null || echo '?'), load average $(cut -d' ' -f1-3 /proc/loadavg), $repetitions repetitions, medians"
for program in "${programs[@]}"; do
  # Every benchmark of this program named in the table, as one filter.
  names="$(echo "$rows" | awk -v p="$program" '$1 == p {print $2; if ($3 !~ /^[0-9.]+(ns|us|ms|s)$/) print $3}' |
    awk '!seen[$0]++' | paste -sd'|' -)"
  # Standard output carries the cipher's trace; results go to the CSV file.
  "$build/bench/$program" --benchmark_filter="^($names)(/|\$)" \
    --benchmark_repetitions="$repetitions" --benchmark_report_aggregates_only=true \
    --benchmark_out="$out/$program.csv" --benchmark_out_format=csv >/dev/null 2>"$out/$program.err" ||
    echo "$program: exited with an error (see its output below)" >&2
done

status=0
for program in "${skipped[@]}"; do echo "skipped: bench/$program.cc does not exist yet"; done
echo "$rows" | awk -v dir="$out" -v skipped=" ${skipped[*]} " '
  function ns(value, unit) {
    return value * (unit == "s" ? 1e9 : unit == "ms" ? 1e6 : unit == "us" ? 1e3 : 1)
  }
  # The medians of one program, by name without the run-setting suffixes.
  function load(program,    file, line, f, name, n, parts, i, key) {
    file = dir "/" program ".csv"
    while ((getline line < file) > 0) {
      if (line !~ /^"/) continue
      n = split(line, f, ",")
      name = f[1]; gsub(/"/, "", name)
      if (name !~ /_median$/) continue
      sub(/_median$/, "", name)
      n = split(name, parts, "/"); key = parts[1]
      for (i = 2; i <= n; ++i) if (parts[i] !~ /:/ && parts[i] != "real_time") key = key "/" parts[i]
      real[program, key] = ns(f[3], f[5]); cpu[program, key] = ns(f[4], f[5])
    }
    close(file); loaded[program] = 1
  }
  function lookup(program, name, clock) {
    if ((program, name) in real) return clock == "cpu" ? cpu[program, name] : real[program, name]
    return -1
  }
  {
    program = $1; measured = $2; baseline = $3; clock = $4; goal = $5
    if (index(skipped, " " program " ")) next
    if (!(program in loaded)) load(program)
    top = lookup(program, measured, clock)
    if (match(baseline, /^[0-9.]+(ns|us|ms|s)$/)) {
      unit = baseline; sub(/^[0-9.]+/, "", unit); bottom = ns(baseline + 0, unit)
    } else {
      bottom = lookup(program, baseline, clock)
    }
    label = sprintf("%-18s %-42s / %-34s", program, measured, baseline " (" clock ")")
    if (top < 0 || bottom <= 0) { printf "%s  no result          FAILS\n", label; failed = 1; next }
    ratio = top / bottom
    verdict = ratio <= goal ? "holds" : ratio <= goal * 1.1 ? "misses (within 10%)" : "MISSES"
    if (ratio > goal * 1.1) failed = 1
    printf "%s  %6.2fx  goal %5.2fx  %s\n", label, ratio, goal, verdict
  }
  END { exit failed }
' || status=1
if [ "$status" -ne 0 ]; then
  for err in "$out"/*.err; do [ -s "$err" ] && { echo "--- $(basename "$err" .err):"; tail -5 "$err"; }; done
  echo "bench-check: a ratio misses its goal by more than 10%, or a benchmark gave no result"
fi
exit "$status"
