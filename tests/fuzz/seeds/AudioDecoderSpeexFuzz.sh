#!/usr/bin/env bash
# Seed corpus of AudioDecoderSpeexFuzz: ffmpeg-made speex streams in the fuzz input layout.
set -euo pipefail
exec python3 "$(dirname "$0")/audio_seeds.py" speex "$1"
