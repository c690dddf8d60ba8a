#!/usr/bin/env bash
# The scaler quality table: each change of size scaled by us, by libswscale's
# bicubic and area filters and by what the scaler used before, each against
# libswscale's lanczos of the same picture (PSNR and SSIM per plane), with the
# best cost per frame of BENCH_REPETITIONS (default 9) repetitions, all
# scalers interleaved at random so they meet the same load. Writes the full
# table and the luma summary to bench/scaler/results.md, with the date and
# the machine. Extra arguments go to the benchmark program, e.g.
# --benchmark_filter=2.25x
set -euo pipefail
cd "$(dirname "$0")/.."
build=${CVX_BUILD_DIR:-build}
[ -d "$build" ] || cmake -S . -B "$build" -DCVX_WERROR=ON > /dev/null
cmake --build "$build" -j2 --target ScalerQualityBench > /dev/null
mkdir -p bench/scaler
out=bench/scaler/results.md
log=$(mktemp)
trap 'rm -f "$log"' EXIT
"$build/bench/ScalerQualityBench" --benchmark_repetitions="${BENCH_REPETITIONS:-9}" \
  --benchmark_enable_random_interleaving=true --benchmark_min_time="${BENCH_MIN_TIME:-0.1}" \
  --benchmark_report_aggregates_only=false "$@" > "$log"
{
  echo "# Scaler quality and cost"
  echo
  echo "Measured $(date -u +%Y-%m-%d) on $(lscpu | sed -n 's/^Model name: *//p'), $(nproc) cores,"
  echo "libswscale $(pkg-config --modversion libswscale); best of ${BENCH_REPETITIONS:-9} repetitions,"
  echo "load average at the end: $(cut -d' ' -f1-3 /proc/loadavg)."
  echo
  echo "## Luma (Y, or B for BGRA output) against lanczos"
  sed -n '/^| case | picture | ours |/,$p' "$log"
  echo
  echo "## Every plane"
  sed -n '/^| case | picture | scaler |/,/^$/p' "$log"
} > "$out"
cat "$out"
