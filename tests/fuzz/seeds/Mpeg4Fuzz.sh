#!/usr/bin/env bash
# Seeds for Mpeg4Fuzz: MPEG-4 part 2 with its video object layer as
# configuration, and the other two syntaxes the detection may meet.
source "$(dirname "$0")/video-decoder-seeds.bash"
clip a.m4v 64x48 8 -c:v mpeg4 -q:v 8 -bf 2 -g 4 -f m4v
clip b.263 128x96 4 -c:v h263 -q:v 20 -g 2 -f h263
clip c.flv 64x48 4 -c:v flv1 -q:v 8 -g 2 -f flv
records mpeg4 a.m4v plain
records mpeg4 a.m4v decode-once --decode-once
records mpeg4 a.m4v garbage-first --garbage-first --no-config
records h263 b.263 h263-garbage-first --garbage-first
records spark c.flv spark
