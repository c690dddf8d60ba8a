#!/usr/bin/env bash
# Seeds for H263Fuzz: sub-QCIF H.263, one frame per picture start code.
source "$(dirname "$0")/video-decoder-seeds.bash"
clip a.263 128x96 8 -c:v h263 -q:v 20 -g 4 -f h263
records h263 a.263 plain
records h263 a.263 decode-once --decode-once
