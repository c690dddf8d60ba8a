#!/usr/bin/env bash
# 720p H.264 into three VP8 renditions through the exports, sampled with perf:
# the share of CPU time in our own code (libcvx-transcoder.so: boundary,
# session, transfer, stand-in bookkeeping and our pixel loops) against the
# codec and scaling libraries.
set -euo pipefail
cd "$(dirname "$0")/.."
[ -f build/cvx-transcoder.jar ] || bash scripts/build.sh
work=build/bench-video
mkdir -p "$work"
input=$work/720p.flv
[ -f "$input" ] || ffmpeg -y -v error -f lavfi -i testsrc2=size=1280x720:rate=30 -frames:v 300 \
  -c:v libx264 -preset veryfast -bf 2 -g 60 -b:v 3M -pix_fmt yuv420p -f flv "$input"
javac -d "$work" -cp build/cvx-transcoder.jar bench/java/VideoLadderBench.java
lib=$PWD/build/src/libcvx-transcoder.so
perf record -q -e cpu-clock -F 1999 -o "$work/perf.data" -- \
  java -Dcvx.transcoder.library="$lib" -cp "build/cvx-transcoder.jar:$work" VideoLadderBench "$input"
perf report -i "$work/perf.data" --sort dso --stdio 2>/dev/null | grep -v '^#' | grep -v '^$' | head -15
