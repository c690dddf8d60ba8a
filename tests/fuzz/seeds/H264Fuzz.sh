#!/usr/bin/env bash
# Seeds for H264Fuzz: configuration record and length-prefixed frames, with
# B-frames, a partial decode, a garbage start and an in-band size change.
source "$(dirname "$0")/video-decoder-seeds.bash"
clip a.flv 64x48 8 -c:v libx264 -preset veryfast -bf 2 -g 4 -pix_fmt yuv420p -f flv
clip b.flv 48x32 4 -c:v libx264 -preset veryfast -bf 0 -g 2 -pix_fmt yuv420p -f flv
records h264 a.flv plain
records h264 a.flv decode-once --decode-once
records h264 a.flv garbage-first --garbage-first
records h264 a.flv size-change --then "$WORK/b.flv"
