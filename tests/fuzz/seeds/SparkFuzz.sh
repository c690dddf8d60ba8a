#!/usr/bin/env bash
# Seeds for SparkFuzz: Sorenson Spark frames from FLV tags.
source "$(dirname "$0")/video-decoder-seeds.bash"
clip a.flv 64x48 8 -c:v flv1 -q:v 8 -g 4 -f flv
records spark a.flv plain
records spark a.flv decode-once --decode-once
