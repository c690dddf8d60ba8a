#!/usr/bin/env bash
# Seed corpus of AudioDecoderMP3Fuzz: ffmpeg-made mp3 streams in the fuzz input layout.
set -euo pipefail
exec python3 "$(dirname "$0")/audio_seeds.py" mp3 "$1"
