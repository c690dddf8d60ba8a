#!/usr/bin/env bash
# Ladder benchmark: the same input and the same four-rung ladder through
#   (a) the reference host driving the library, and
#   (b) the ffmpeg command line with the same encoders and settings: one
#       decode, split and scaled four ways, libx264 (same preset, profile,
#       bit rate, rate limit and source-aligned key frames), libvpx in
#       real-time mode (single thread, key frame every 45 frames), aac and
#       libvorbis when the host transcodes audio.
# Run one after the other on the same machine; reports wall time, CPU time
# (user + system of the process), their ratios and each output's PSNR
# against the source scaled the same way. Writes results.csv, the chart
# ladder.png and a Markdown table in bench/ladder/.
#
#   bash bench/ladder/run.sh [INPUT.flv]     (default: the main job's 1080p sample)
#   BENCH_RUNS=3 bash bench/ladder/run.sh    (best of three wall times)
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
root="$(cd "$here/../.." && pwd)"
cd "$root"
[ -f build/cvx-transcoder.jar ] && [ -f build/src/libcvx-transcoder.so ] || bash scripts/build.sh

input="${1:-build/sample/sample-1080p.flv}"
if [ ! -s "$input" ]; then
  mkdir -p "$(dirname "$input")"
  ffmpeg -v error -y -f lavfi -i testsrc2=size=1920x1080:rate=25 \
    -f lavfi -i "sine=frequency=440:sample_rate=44100" -t 10 \
    -c:v libx264 -preset veryfast -bf 2 -g 50 -pix_fmt yuv420p -b:v 6M \
    -c:a aac -b:a 128k -ac 2 -f flv "$input"
fi
runs="${BENCH_RUNS:-1}"
work="build/bench-ladder"
rm -rf "$work"
mkdir -p "$work/ours" "$work/ffmpeg"

# The ladder, shared by both sides: codec, width, height, bit rate (bit/s).
ladder=(
  "h264 1280 720 2500000"
  "h264 854 480 1200000"
  "h264 640 360 700000"
  "vp8 640 360 700000"
)
preset=veryfast
audio_bitrate=128000

# The picture each rung is made from: the source fitted by letterbox. ffmpeg's
# pipeline uses its own fit; our output is compared against the library's
# geometry (truncating arithmetic, the odd pixel of the bars on the right or
# bottom), built in 4:4:4 because a 4:2:0 picture of odd width is cut short.
# The fit is pinned to 4:2:0, the format the encoders take, since it decides
# whether an odd width survives.
fit_ffmpeg() { echo "scale=$1:$2:force_original_aspect_ratio=decrease,pad=$1:$2:(ow-iw)/2:(oh-ih)/2,format=yuv420p"; }
read -r src_w src_h < <(ffprobe -v error -select_streams v:0 -show_entries stream=width,height -of csv=p=0 "$input" | tr ',' ' ')
fit_ours() {
  local w=$1 h=$2 fit_w fit_h x=0 y=0
  fit_w=$(( h * src_w / src_h )); fit_h=$(( w * src_h / src_w ))
  if [ "$fit_w" -gt "$w" ]; then fit_w=$w; y=$(( (h - fit_h) / 2 )); else fit_h=$h; x=$(( (w - fit_w) / 2 )); fi
  echo "format=yuv444p,scale=$fit_w:$fit_h,pad=$w:$h:$x:$y"
}

host_args=(-q --preset "$preset" --profile main --audio-bitrate "$audio_bitrate" -o "$work/ours")
for rung in "${ladder[@]}"; do
  read -r codec w h rate <<<"$rung"
  host_args+=(-r "$codec:${w}x$h:$rate:letterbox")
done

# Seconds of wall, user and system time of one command, best wall time of $runs.
measure() {
  local out=$1; shift
  local best=""
  for _ in $(seq "$runs"); do
    /usr/bin/time -f "%e %U %S" -o "$out.time" "$@" >"$out.log" 2>&1
    if [ -z "$best" ] || awk -v a="$(cut -d' ' -f1 "$out.time")" -v b="$(cut -d' ' -f1 <<<"$best")" 'BEGIN{exit !(a<b)}'; then
      best=$(cat "$out.time")
    fi
  done
  echo "$best"
}

echo "ladder: reference host + library on $input"
ours=$(measure "$work/ours" java -Dcvx.transcoder.library="$root/build/src/libcvx-transcoder.so" \
  -cp build/cvx-transcoder.jar com.corvane.cvx.transcoder.host.ReferenceHost "${host_args[@]}" "$input")

# Like for like: ffmpeg carries audio only where the host did.
stem=$(basename "$input" .flv)
flv_audio=0; webm_audio=0
f0="$work/ours/${stem}_1280x720_h264.flv"
[ -n "$(ffprobe -v error -select_streams a -show_entries stream=codec_name -of csv=p=0 "$f0")" ] && flv_audio=1
w0="$work/ours/${stem}_640x360_vp8.webm"
[ -n "$(ffprobe -v error -select_streams a -show_entries stream=codec_name -of csv=p=0 "$w0")" ] && webm_audio=1

split="[0:v]split=${#ladder[@]}"
for i in "${!ladder[@]}"; do split+="[s$i]"; done
filters="$split"
ff_out=()
for i in "${!ladder[@]}"; do
  read -r codec w h rate <<<"${ladder[$i]}"
  filters+=";[s$i]$(fit_ffmpeg "$w" "$h")[v$i]"
  name="$work/ffmpeg/${stem}_${w}x${h}_${codec}"
  if [ "$codec" = h264 ]; then
    max=$((rate * 110 / 100))
    ff_out+=(-map "[v$i]" -c:v libx264 -preset "$preset" -profile:v main -b:v "$rate" -maxrate "$max"
      -bufsize "$max" -force_key_frames source -x264-params keyint=infinite:scenecut=0)
    if [ $flv_audio = 1 ]; then ff_out+=(-map 0:a -c:a aac -b:a "$audio_bitrate"); fi
    ff_out+=(-f flv "$name.flv")
  else
    ff_out+=(-map "[v$i]" -c:v libvpx -deadline realtime -threads 1 -g 45 -b:v "$rate")
    if [ $webm_audio = 1 ]; then ff_out+=(-map 0:a -c:a libvorbis -b:a "$audio_bitrate"); fi
    ff_out+=(-f webm "$name.webm")
  fi
done
echo "ladder: ffmpeg command line on $input (audio: flv $flv_audio, webm $webm_audio)"
theirs=$(measure "$work/ffmpeg" ffmpeg -v error -y -i "$input" -filter_complex "$filters" "${ff_out[@]}")

# PSNR of each output against the source fitted the same way, frames paired by time.
# Luma PSNR of an output against the source fitted by `$4` (fit_ours or
# fit_ffmpeg), frames paired by time.
psnr() {
  local file=$1 w=$2 h=$3 fit=$4
  ffmpeg -v info -i "$file" -i "$input" -lavfi \
    "[0:v]format=gray,setpts=PTS-STARTPTS[a];[1:v]$($fit "$w" "$h"),format=gray,setpts=PTS-STARTPTS[b];[a][b]psnr=shortest=1" \
    -f null - 2>&1 | sed -n 's/.*PSNR.* average:\([0-9.inf]*\).*/\1/p' | tail -1
}
frames() { ffprobe -v error -select_streams v -count_packets -show_entries stream=nb_read_packets -of csv=p=0 "$1"; }

csv="$here/results.csv"
read -r ow ou os <<<"$ours"
read -r tw tu ts <<<"$theirs"
{
  echo "side,wall_s,user_s,sys_s"
  echo "reference host,$ow,$ou,$os"
  echo "ffmpeg,$tw,$tu,$ts"
  echo "rendition,ours_frames,ours_kbps,ours_psnr,ffmpeg_frames,ffmpeg_kbps,ffmpeg_psnr"
  for rung in "${ladder[@]}"; do
    read -r codec w h rate <<<"$rung"
    ext=flv; [ "$codec" = vp8 ] && ext=webm
    a="$work/ours/${stem}_${w}x${h}_${codec}.$ext"
    b="$work/ffmpeg/${stem}_${w}x${h}_${codec}.$ext"
    kbps() { ffprobe -v error -select_streams v -show_entries packet=size -of csv=p=0 "$1" |
      awk -v n="$2" '{s+=$1} END {printf "%.0f", s*8/(n/25)/1000}'; }
    fa=$(frames "$a"); fb=$(frames "$b")
    echo "$codec ${w}x$h,$fa,$(kbps "$a" "$fa"),$(psnr "$a" "$w" "$h" fit_ours),$fb,$(kbps "$b" "$fb"),$(psnr "$b" "$w" "$h" fit_ffmpeg)"
  done
} >"$csv"

# Debian's own interpreter: the one python3-matplotlib installs into.
py=python3; [ -x /usr/bin/python3 ] && py=/usr/bin/python3
"$py" "$here/chart.py" "$csv" "$here/ladder.png" "$input" | tee "$here/results.md"
echo "ladder: results in $csv, chart in $here/ladder.png"
