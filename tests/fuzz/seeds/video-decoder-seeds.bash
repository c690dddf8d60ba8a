# Shared by the video decoder seed scripts (sourced, not run): tiny clips from
# ffmpeg's test pattern, turned into fuzz records by video_decoder_seeds.py.
set -euo pipefail
SEEDS_DIR="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
OUT="${1:?usage: $0 OUTDIR}"
mkdir -p "$OUT"
WORK="$(mktemp -d)"
trap 'rm -rf "$WORK"' EXIT

# clip NAME SIZE FRAMES FFMPEG-OUTPUT-OPTIONS...: a deterministic clip in $WORK.
clip() {
  local name=$1 size=$2 frames=$3
  shift 3
  ffmpeg -v error -y -f lavfi -i "testsrc2=size=$size:rate=25" -frames:v "$frames" \
    -threads 1 -fflags +bitexact -flags +bitexact "$@" "$WORK/$name"
}

# records SYNTAX CLIP SEED [OPTIONS...]: one seed file in $OUT.
records() {
  local syntax=$1 name=$2 seed=$3
  shift 3
  python3 "$SEEDS_DIR/video_decoder_seeds.py" "$syntax" "$WORK/$name" "$OUT/$seed" "$@"
}
