#!/usr/bin/env bash
# Seeds of FrameBufferSetFuzz: a session's picture path in a few orders,
# with the renditions and overlays that once crashed it.
# Usage: FrameBufferSetFuzz.sh OUTDIR
set -euo pipefail
out=${1:?usage: $0 OUTDIR}
mkdir -p "$out"
source "$(dirname "$0")/FramesFuzzBytes.sh"

# The decoder frame comes first, without an operation; then operations, as
# the target numbers them.
frame() { side "$2"; side "$3"; code "$1"; u32 $((0xf00d + $2)); }   # size, code, pixels
rendition() { bytes 1 "$1"; shift; frame "$@"; }                     # scale mode first
transfer() { bytes 6; }
readBack() { bytes 7 "$1" 1; side "$2"; side "$3"; }                 # buffer, width, height
readBackOwnSize() { bytes 7 "$1" 0 1; }
# overlay KEY CODE W H ALPHA DSTW DSTH: rows of their own width, placed at 8,8
overlay() {
  bytes 4 "$1" 0; code "$2"; side "$3"; side "$4"; bytes 2; u32 7; bytes "$5"
  bytes 1; u16 40; bytes 1; u16 40; side "$6"; side "$7"; bytes 0 1
}

{ frame YV12 320 180; rendition 1 XYZ12 160 96; rendition 3 I420 16 5; transfer; transfer
  readBackOwnSize 1; readBack 2 3 2; } > "$out/xyz12-and-odd-renditions"
{ frame I420 256 144; rendition 4 BGRA 8 8; overlay 1 UYVY 64 40 0 4 40
  overlay 2 BGRA 32 32 128 48 30; transfer; readBack 0 1 1; } > "$out/overlays-into-narrow-areas"
{ frame YV12 64 48; rendition 1 I420 48 48; bytes 2 1 0; u32 2147483648; bytes 0; u32 2147483648
  bytes 1; u16 0; bytes 1; u16 0; bytes 4; transfer; } > "$out/wrapping-crop"
