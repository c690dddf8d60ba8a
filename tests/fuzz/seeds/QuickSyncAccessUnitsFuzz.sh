#!/usr/bin/env bash
# Seeds: the shapes the Media SDK encoder writes, and near misses.
set -euo pipefail
out=$1
mkdir -p "$out"
aud='\x00\x00\x00\x01\x09\x10'
sps='\x00\x00\x00\x01\x67\x42\xc0\x1e\x8c'
pps='\x00\x00\x00\x01\x68\xce\x3c\x80'
sei3='\x00\x00\x01\x06\x05\x01\x42\x80'
sei4='\x00\x00\x00\x01\x06\x05\x01\x42\x80'
idr='\x00\x00\x01\x65\x88\x84\x21\xa0\x55\x66'
slice='\x00\x00\x01\x41\x9a\x11\x22\x33\x44'
printf "$aud$sps$pps$sei3$idr" > "$out/key"
printf "$aud$sps$pps$sei4$idr" > "$out/key-sei4"
printf "$aud$sei4$slice" > "$out/predicted"
printf "$sei4$slice$sei4$slice" > "$out/two-predicted"
printf "$sps$pps$sei3$idr$sei4$slice" > "$out/key-then-predicted"
printf "$aud$sps$pps$idr" > "$out/no-sei"
