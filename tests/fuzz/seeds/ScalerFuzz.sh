#!/usr/bin/env bash
# Seeds of ScalerFuzz: the reductions and codes that once crashed the
# libraries, and the rectangles of letterbox, overlay and compositing passes.
# Usage: ScalerFuzz.sh OUTDIR
set -euo pipefail
out=${1:?usage: $0 OUTDIR}
mkdir -p "$out"
source "$(dirname "$0")/FramesFuzzBytes.sh"

# picture CODE WIDTH HEIGHT STRIDE-MODE (4 rows of their own width, 1 bottom-up)
picture() { code "$1"; side "$2"; side "$3"; bytes "$4"; u32 $((0x5eed + $2)); }
# rect L T R B: raw 32-bit coordinates
coords() { local v; for v in "$@"; do bytes 0; u32 $((v & 0xFFFFFFFF)); done; }
noRects() { bytes 0; coords 0 0 0 0 0 0 0 0; }

{ bytes 0; picture I420 640 96 4; picture BGRA 4 4 4; noRects; } > "$out/reduce-640-to-4"
{ bytes 0; picture YUY2 2048 8 4; picture I420 5 2 4; noRects; } > "$out/reduce-2048-to-5x2"
{ bytes 0; picture UYVY 1000 40 4; picture BGRA 4 40 4; noRects; } > "$out/overlay-1000-into-4"
{ bytes 3; picture YV12 320 192 4; picture XYZ12 160 96 4; bytes 1
  coords 0 0 $((319 * 256)) $((191 * 256)) 16 0 143 95; } > "$out/xyz12-letterbox"
{ bytes 0; picture BGR3 16 16 4; picture XYZ12 160 96 4; noRects; } > "$out/xyz12-black-fill"
{ bytes 4; picture VUYA 64 64 4; picture I420 100 100 4; bytes 1
  coords 0 0 $((63 * 256)) $((63 * 256)) 10 10 73 73; } > "$out/vuya-blend"
{ bytes 0; picture BGRA 96 64 1; picture NV12 33 17 4; noRects; } > "$out/bottom-up-into-odd-nv12"
{ bytes 3; picture I420 64 48 4; picture I420 64 48 4; bytes 1
  coords $((-2147483647 - 1)) $((-2147483647 - 1)) 2147483647 2147483647 -5 -5 70 50; } > "$out/wrapping-rectangles"
