#!/usr/bin/env bash
# Seed corpus of AudioDecoderAACFuzz: ffmpeg-made aac streams in the fuzz input layout.
set -euo pipefail
exec python3 "$(dirname "$0")/audio_seeds.py" aac "$1"
