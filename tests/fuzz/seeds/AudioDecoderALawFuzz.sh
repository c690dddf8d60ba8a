#!/usr/bin/env bash
# Seed corpus of AudioDecoderALawFuzz: ffmpeg-made alaw streams in the fuzz input layout.
set -euo pipefail
exec python3 "$(dirname "$0")/audio_seeds.py" alaw "$1"
