#!/usr/bin/env bash
# The software H.264 encoder against `ffmpeg -c:v libx264` on the same raw
# frames, side by side in one run: frames per second by wall and CPU time,
# and ffmpeg's time over ours (1.0 = as fast; the aim is at least 0.97).
# Extra arguments go to the benchmark program, e.g. --benchmark_filter=preset:2/threads:1
set -euo pipefail
cd "$(dirname "$0")/.."
build=${CVX_BUILD_DIR:-build}
[ -d "$build" ] || cmake -S . -B "$build" -DCVX_WERROR=ON > /dev/null
cmake --build "$build" -j2 --target H264VsFfmpegBench > /dev/null
CVX_BENCH_TMPDIR=${CVX_BENCH_TMPDIR:-$build} "$build/bench/H264VsFfmpegBench" \
  --benchmark_counters_tabular=true "$@"
