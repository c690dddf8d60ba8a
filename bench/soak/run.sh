#!/usr/bin/env bash
# Soak benchmark through the exports; RSS from /proc/self/status, with a
# fixed, pre-touched Java heap so that growth is native memory.
#   bench/soak/run.sh cycles [N]                 N full session lives (100000): H.264 decoder, VP8 and
#                                                H.264 renditions with overlays, AAC decoder into AAC
#                                                and Vorbis, four frames each; RSS every N/100 cycles
#   bench/soak/run.sh stream [MINUTES] [realtime]  one session fed a looping 10 s clip for MINUTES (60)
#                                                of stream time, as fast as it goes or at real time;
#                                                RSS every stream minute
# Samples go to bench/soak/cycles.csv and bench/soak/stream.csv.
set -euo pipefail
cd "$(dirname "$0")/../.."
[ -f build/cvx-transcoder.jar ] || bash scripts/build.sh
work=build/bench-soak
mkdir -p "$work"
clip=$work/clip.flv
# 10 s of 160x120 H.264 with B-frames and AAC stereo, as a live FLV carries them.
[ -f "$clip" ] || ffmpeg -v error -y -f lavfi -i testsrc2=size=160x120:rate=25 \
  -f lavfi -i sine=frequency=440:sample_rate=44100 -t 10 -c:v libx264 -preset veryfast -bf 2 -g 50 \
  -pix_fmt yuv420p -c:a aac -b:a 128k -ac 2 -f flv "$clip"
javac -d "$work" -cp build/cvx-transcoder.jar bench/java/SessionSoakBench.java
run() {
  java -Xms256m -Xmx256m -XX:+AlwaysPreTouch -Dcvx.transcoder.library="$PWD/build/src/libcvx-transcoder.so" \
    -cp "build/cvx-transcoder.jar:$work" SessionSoakBench "$@"
}
case "${1:-}" in
  cycles) run cycles "${2:-100000}" bench/soak/cycles.csv "$clip" ;;
  stream) run stream "${2:-60}" bench/soak/stream.csv "$clip" "${3:-}" ;;
  *) echo "usage: bench/soak/run.sh cycles [N] | stream [MINUTES] [realtime]" >&2; exit 2 ;;
esac
