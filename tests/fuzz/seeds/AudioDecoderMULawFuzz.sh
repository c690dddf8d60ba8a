#!/usr/bin/env bash
# Seed corpus of AudioDecoderMULawFuzz: ffmpeg-made mulaw streams in the fuzz input layout.
set -euo pipefail
exec python3 "$(dirname "$0")/audio_seeds.py" mulaw "$1"
