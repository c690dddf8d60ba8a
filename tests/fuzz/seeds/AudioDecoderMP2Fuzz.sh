#!/usr/bin/env bash
# Seed corpus of AudioDecoderMP2Fuzz: ffmpeg-made mp2 streams in the fuzz input layout.
set -euo pipefail
exec python3 "$(dirname "$0")/audio_seeds.py" mp2 "$1"
