#!/usr/bin/env bash
# Sourced by run.sh and profile.sh, from the project's root, with `input`
# set: the ladder and the two commands that run it, `host` (the reference
# host driving the library) and `ffmpeg_cmd`, writing into $work/ours and
# $work/ffmpeg. Makes the default input when it is missing.
work="build/bench-ladder"
mkdir -p "$work/ours" "$work/ffmpeg"
input="${input:-$work/source-1080p30.flv}"
if [ ! -s "$input" ]; then
  # A live-style source: B-frames, a key frame every 2 seconds, AAC stereo.
  ffmpeg -v error -y -f lavfi -i testsrc2=size=1920x1080:rate=30 \
    -f lavfi -i "sine=frequency=440:sample_rate=44100" -t 10 \
    -c:v libx264 -preset veryfast -bf 2 -g 60 -pix_fmt yuv420p -b:v 6M \
    -c:a aac -b:a 128k -ac 2 -f flv "$input"
fi

# The ladder: codec, width, height, bit rate (bit/s).
ladder=(
  "h264 1280 720 2500000"
  "h264 854 480 1200000"
  "h264 640 360 800000"
  "vp8 640 360 800000"
)
preset=veryfast
audio_bitrate=128000
stem=$(basename "$input" .flv)
has_audio=$(ffprobe -v error -select_streams a -show_entries stream=codec_name -of csv=p=0 "$input")

host=(java -Dcvx.transcoder.library="$PWD/build/src/libcvx-transcoder.so" -cp build/cvx-transcoder.jar
  com.corvane.cvx.transcoder.host.ReferenceHost -q --preset "$preset" --profile main
  --audio-bitrate "$audio_bitrate" -o "$work/ours")
split="[0:v]split=${#ladder[@]}"
for i in "${!ladder[@]}"; do split+="[s$i]"; done
filters="$split"
ffmpeg_cmd=(ffmpeg -v error -y -i "$input")
ff_out=()
for i in "${!ladder[@]}"; do
  read -r codec w h bps <<<"${ladder[$i]}"
  host+=(-r "$codec:${w}x$h:$bps:stretch")
  filters+=";[s$i]scale=$w:$h,format=yuv420p[v$i]"
  name="$work/ffmpeg/${stem}_${w}x${h}_${codec}"
  if [ "$codec" = h264 ]; then
    max=$((bps * 110 / 100))
    ff_out+=(-map "[v$i]" -c:v libx264 -preset "$preset" -profile:v main -b:v "$bps" -maxrate "$max"
      -bufsize "$max" -force_key_frames source -x264-params keyint=infinite:scenecut=0)
    [ -n "$has_audio" ] && ff_out+=(-map 0:a -c:a aac -b:a "$audio_bitrate")
    ff_out+=(-f flv "$name.flv")
  else
    ff_out+=(-map "[v$i]" -c:v libvpx -deadline realtime -threads 1 -g 45 -b:v "$bps")
    [ -n "$has_audio" ] && ff_out+=(-map 0:a -c:a libvorbis -b:a "$audio_bitrate")
    ff_out+=(-f webm "$name.webm")
  fi
done
host+=("$input")
ffmpeg_cmd+=(-filter_complex "$filters" "${ff_out[@]}")
