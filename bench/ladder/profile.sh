#!/usr/bin/env bash
# Where the ladder's CPU time goes: both sides of the ladder benchmark (see
# run.sh) sampled with perf (cpu-clock: virtual machines often have no
# hardware counters), every shared object's samples put under what it does.
# Prints a Markdown table of CPU seconds per part, side by side.
#
#   bash bench/ladder/profile.sh [INPUT.flv]
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
cd "$here/../.."
[ -f build/cvx-transcoder.jar ] && [ -f build/src/libcvx-transcoder.so ] || bash scripts/build.sh
command -v perf >/dev/null || { echo "profile: perf is missing (bash scripts/setup.sh installs linux-perf)" >&2; exit 1; }

input="${1:-}"
source "$here/commands.sh"
hz=999
for side in ours ffmpeg; do
  if [ $side = ours ]; then cmd=("${host[@]}"); else cmd=("${ffmpeg_cmd[@]}"); fi
  echo "profile: $side" >&2
  perf record -q -e cpu-clock -F $hz -o "$work/$side.perf" -- "${cmd[@]}" >/dev/null 2>&1
  perf report -i "$work/$side.perf" --sort dso -n --stdio 2>/dev/null | awk '$1 ~ /%$/ {print $2, $3}' >"$work/$side.dso"
done

# A shared object's part, by its name.
part() {
  case "$1" in
    libx264*) echo "x264 (H.264 encoding)" ;;
    libavcodec*) echo "libavcodec (H.264 decoding, AAC)" ;;
    libswscale* | libyuv*) echo "scaling (libswscale, libyuv)" ;;
    libvpx*) echo "libvpx (VP8 encoding)" ;;
    libvorbis* | libogg*) echo "Vorbis" ;;
    *kernel*) echo "kernel (page faults, threads, I/O)" ;;
    libc.so*) echo "libc (copies, memory, locks)" ;;
    libjvm* | *JIT* | *perf-*.map | libjava* | libnio* | libzip* | libz.so*) echo "JVM (start-up, compiler, host code)" ;;
    libcvx-transcoder*) echo "libcvx-transcoder" ;;
    *) echo "other" ;;
  esac
}
for side in ours ffmpeg; do
  while read -r samples dso; do printf '%s\t%s\n' "$(part "$dso")" "$samples"; done <"$work/$side.dso" |
    awk -F'\t' -v hz=$hz '{s[$1] += $2} END {for (k in s) printf "%s\t%.2f\n", k, s[k] / hz}' >"$work/$side.parts"
done
echo "| part | reference host + library (CPU s) | ffmpeg (CPU s) |"
echo "|---|---:|---:|"
cut -f1 "$work/ours.parts" "$work/ffmpeg.parts" | sort -u | while read -r p; do
  a=$(awk -F'\t' -v p="$p" '$1 == p {print $2}' "$work/ours.parts")
  b=$(awk -F'\t' -v p="$p" '$1 == p {print $2}' "$work/ffmpeg.parts")
  printf '%s\t| %s | %s | %s |\n' "${a:-0}" "$p" "${a:-0}" "${b:-0}"
done | sort -gr | cut -f2
total() { awk -F'\t' '{t += $2} END {printf "%.2f", t}' "$work/$1.parts"; }
echo "| total | $(total ours) | $(total ffmpeg) |"
