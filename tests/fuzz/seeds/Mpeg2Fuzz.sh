#!/usr/bin/env bash
# Seeds for Mpeg2Fuzz: sequence header as configuration, frames with B-frames.
source "$(dirname "$0")/video-decoder-seeds.bash"
clip a.m2v 64x48 8 -c:v mpeg2video -q:v 8 -bf 2 -g 4 -f mpeg2video
records mpeg2 a.m2v plain
records mpeg2 a.m2v decode-once --decode-once
records mpeg2 a.m2v no-config --no-config
