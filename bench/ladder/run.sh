#!/usr/bin/env bash
# Ladder benchmark: one input through the same four-rung ladder by
#   (a) the reference host driving the library, and
#   (b) one ffmpeg command doing the same work: one decode, split four ways,
#       each stretched to its rung with ffmpeg's default (bicubic) scaler,
#       libx264 with the same preset, profile, bit rate, rate limit, buffer
#       and source-aligned key frames, libvpx in real-time mode (one thread,
#       a key frame every 45 frames), aac for the FLV rungs and libvorbis for
#       the WebM rung.
# Every rung is stretched, so both sides have the same geometry, and both are
# measured against one reference per rung: the source scaled with lanczos to
# the rung's size. Frames are paired by presentation time (each stream from
# its own first frame); PSNR and SSIM are of the luma plane.
#
# The runs alternate, ours then ffmpeg's, BENCH_RUNS times (default 3); wall
# time, CPU time (user + system) and peak RSS are each side's median. The
# machine's load average before each run is recorded: the figures are only
# comparable between runs of one invocation. Writes results.csv, results.md
# and the chart ladder.png beside this script.
#
#   bash bench/ladder/run.sh [INPUT.flv]   (default: 10 s of 1920x1080 30 fps H.264 with B-frames, AAC)
#   BENCH_RUNS=5 bash bench/ladder/run.sh
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
root="$(cd "$here/../.." && pwd)"
cd "$root"
[ -f build/cvx-transcoder.jar ] && [ -f build/src/libcvx-transcoder.so ] || bash scripts/build.sh

input="${1:-}"
source "$here/commands.sh"
runs="${BENCH_RUNS:-3}"
rate=$(ffprobe -v error -select_streams v:0 -show_entries stream=avg_frame_rate -of csv=p=0 "$input")
rm -rf "$work/ours" "$work/ffmpeg" "$work/runs"
mkdir -p "$work/ours" "$work/ffmpeg" "$work/runs"

# One timed run: "wall user sys cpu peak-RSS-KiB load" appended to the side's list.
measure() {
  local side=$1 n=$2; shift 2
  local load
  load=$(cut -d' ' -f1 /proc/loadavg)
  /usr/bin/time -f "%e %U %S %M" -o "$work/runs/$side.$n.time" "$@" >"$work/runs/$side.$n.log" 2>&1
  awk -v l="$load" '{print $1, $2, $3, $2 + $3, $4, l}' "$work/runs/$side.$n.time" >>"$work/runs/$side.all"
}
for n in $(seq "$runs"); do
  echo "ladder: run $n of $runs: reference host + library"
  measure ours "$n" "${host[@]}"
  echo "ladder: run $n of $runs: ffmpeg"
  measure ffmpeg "$n" "${ffmpeg_cmd[@]}"
done
# Each column's median over the runs.
median() {
  awk -v c="$2" '{print $c}' "$work/runs/$1.all" | sort -g | awk '{v[NR]=$1} END {print (NR % 2) ? v[(NR+1)/2] : (v[NR/2]+v[NR/2+1])/2}'
}

# Luma PSNR and SSIM of an output against the source scaled with lanczos to
# the rung, each stream from its first frame; "psnr ssim".
quality() {
  local file=$1 w=$2 h=$3
  ffmpeg -v info -i "$file" -i "$input" -lavfi \
    "[0:v]format=yuv420p,setpts=PTS-STARTPTS,split[o1][o2];[1:v]scale=$w:$h:flags=lanczos,format=yuv420p,setpts=PTS-STARTPTS,split[r1][r2];[o1][r1]psnr=shortest=1;[o2][r2]ssim=shortest=1" \
    -f null - 2>&1 | awk '/PSNR y:/ {for (i=1;i<=NF;i++) if ($i ~ /^y:/) {sub("y:","",$i); p=$i}}
                          /SSIM Y:/ {for (i=1;i<=NF;i++) if ($i ~ /^Y:/) {sub("Y:","",$i); s=$i}}
                          END {print p, s}'
}
frames() { ffprobe -v error -select_streams v -count_frames -show_entries stream=nb_read_frames -of csv=p=0 "$1"; }
kbps() {
  ffprobe -v error -select_streams v -show_entries packet=size -of csv=p=0 "$1" |
    awk -v n="$2" -v r="$rate" 'BEGIN {split(r, f, "/"); fps = f[1] / (f[2] ? f[2] : 1)} {s += $1}
                               END {printf "%.0f", s * 8 / (n / fps) / 1000}'
}

csv="$here/results.csv"
source_frames=$(frames "$input")
{
  echo "side,wall_s,cpu_s,user_s,sys_s,peak_rss_mib,load_before"
  for side in ours ffmpeg; do
    label=$([ $side = ours ] && echo "reference host" || echo ffmpeg)
    rss=$(awk -v k="$(median $side 5)" 'BEGIN {printf "%.0f", k / 1024}')
    echo "$label,$(median $side 1),$(median $side 4),$(median $side 2),$(median $side 3),$rss,$(median $side 6)"
  done
  echo "rendition,source_frames,ours_frames,ours_kbps,ours_psnr,ours_ssim,ffmpeg_frames,ffmpeg_kbps,ffmpeg_psnr,ffmpeg_ssim"
  for rung in "${ladder[@]}"; do
    read -r codec w h bps <<<"$rung"
    ext=flv; [ "$codec" = vp8 ] && ext=webm
    row="$codec ${w}x$h $((bps / 1000))k,$source_frames"
    for side in ours ffmpeg; do
      f="$work/$side/${stem}_${w}x${h}_${codec}.$ext"
      n=$(frames "$f")
      read -r p s < <(quality "$f" "$w" "$h")
      row+=",$n,$(kbps "$f" "$n"),$p,$s"
    done
    echo "$row"
  done
} >"$csv"

machine="$(nproc) vCPUs of $(lscpu | sed -n 's/^Model name: *//p' | head -1), $(free -g | awk '/^Mem:/ {print $2}') GiB"
# Debian's own interpreter: the one python3-matplotlib installs into.
py=python3; [ -x /usr/bin/python3 ] && py=/usr/bin/python3
"$py" "$here/chart.py" "$csv" "$here/ladder.png" "$input" "$work/runs" "$machine" | tee "$here/results.md"
echo "ladder: results in $csv, chart in $here/ladder.png, runs in $work/runs"
