#!/usr/bin/env bash
# The main job: set up the machine, build, and run the reference host.
#
#   bash scripts/run.sh                      # a 10-second 1080p H.264 + AAC sample, default ladder, into out/
#   bash scripts/run.sh [options] INPUT.flv  # any FLV input; see --help for the options
#
# Outputs go to out/ unless -o says otherwise.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh

args=("$@")
if [ ${#args[@]} -eq 0 ]; then
  sample=build/sample/sample-1080p.flv
  if [ ! -s "$sample" ]; then
    mkdir -p "$(dirname "$sample")"
    echo "run: making a 10-second 1920x1080 H.264 + AAC sample: $sample"
    # A live-style source: B-frames, a key frame every 2 seconds, AAC stereo.
    ffmpeg -v error -y -f lavfi -i testsrc2=size=1920x1080:rate=25 \
      -f lavfi -i "sine=frequency=440:sample_rate=44100" -t 10 \
      -c:v libx264 -preset veryfast -bf 2 -g 50 -pix_fmt yuv420p -b:v 6M \
      -c:a aac -b:a 128k -ac 2 -f flv "$sample"
  fi
  args=(-o out "$sample")
fi

java -Dcvx.transcoder.library="$PWD/build/src/libcvx-transcoder.so" \
  -cp build/cvx-transcoder.jar com.corvane.cvx.transcoder.host.ReferenceHost "${args[@]}"
