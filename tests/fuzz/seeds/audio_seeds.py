#!/usr/bin/env python3
"""Seed corpora of the audio decoder fuzz targets, made with ffmpeg.

    audio_seeds.py KIND OUTDIR      KIND: aac, mp3, mp2, speex, alaw, mulaw

Each seed is the input layout of tests/fuzz/support/AudioDecoderFuzzInput.h:
five bytes of buffer shape and sample format, then records (16-bit big-endian length,
time step in milliseconds, bytes): the configuration record first, then the
packets a host takes from its container. Fractions of a second of a sine, so
that the seeds stay a few KB and the same on every run.
"""
import os
import struct
import subprocess
import sys


def encode(rate, channels, seconds, args):
    command = ["ffmpeg", "-v", "error", "-f", "lavfi", "-i",
               f"sine=frequency=440:sample_rate={rate}:duration={seconds}",
               "-ac", str(channels), "-fflags", "+bitexact", "-flags:a", "+bitexact"] + args + ["-"]
    return subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout


def adts_units(data):
    """Raw access units of an ADTS stream."""
    units, at = [], 0
    while at + 7 <= len(data) and data[at] == 0xFF:
        length = ((data[at + 3] & 3) << 11) | (data[at + 4] << 3) | (data[at + 5] >> 5)
        header = 7 if data[at + 1] & 1 else 9
        if length < header or at + length > len(data):
            break
        units.append(data[at + header:at + length])
        at += length
    return units


MPEG_KBPS = {  # (MPEG-1, layer): table; index 0 free format
    (True, 2): [0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384],
    (True, 3): [0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320],
    (False, 2): [0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160],
    (False, 3): [0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160],
}
MPEG_RATES = {3: [44100, 48000, 32000], 2: [22050, 24000, 16000], 0: [11025, 12000, 8000]}


def mpeg_frames(data):
    """Whole MPEG audio frames, cut by their headers."""
    frames, at = [], 0
    while at + 4 <= len(data):
        if data[at] != 0xFF or data[at + 1] & 0xE0 != 0xE0:
            at += 1
            continue
        version, layer = (data[at + 1] >> 3) & 3, 4 - ((data[at + 1] >> 1) & 3)
        mpeg1 = version == 3
        kbps = MPEG_KBPS[(mpeg1, layer)][data[at + 2] >> 4]
        rate = MPEG_RATES[version][(data[at + 2] >> 2) & 3]
        padding = (data[at + 2] >> 1) & 1
        size = (144 if layer == 2 or mpeg1 else 72) * kbps * 1000 // rate + padding
        frames.append(data[at:at + size])
        at += size
    return frames


def ogg_packets(data, skip):
    """Packets of an Ogg stream, the first `skip` (headers) left out."""
    packets, current, at = [], b"", 0
    while at + 27 <= len(data) and data[at:at + 4] == b"OggS":
        segments = data[at + 26]
        lacing = data[at + 27:at + 27 + segments]
        at += 27 + segments
        for size in lacing:
            current += data[at:at + size]
            at += size
            if size < 255:
                packets.append(current)
                current = b""
    return packets[skip:]


def record(payload, step):
    return struct.pack(">HB", len(payload), step) + payload


def seed(samples, channels, buffers, config, packets, step, reset_at=None):
    shape = struct.pack(">HBBB", samples - 1, channels, buffers - 1, 2)
    body = record(config, 0)
    for i, p in enumerate(packets):
        if i == reset_at:
            body += record(b"", 255)
        body += record(p, step)
    return shape + body


def g711_description(rate, channels):
    return bytes([0]) + struct.pack(">II", rate, channels)


def seeds(kind):
    if kind == "aac":
        stereo = adts_units(encode(44100, 2, 0.15, ["-c:a", "aac", "-b:a", "64k", "-f", "adts"]))
        mono = adts_units(encode(8000, 1, 0.3, ["-c:a", "aac", "-b:a", "16k", "-f", "adts"]))
        yield seed(1024, 0, 1, bytes([0x12, 0x10]), stereo, 23)
        yield seed(2048, 2, 2, bytes([0x12, 0x10]), stereo, 23, reset_at=5)
        yield seed(1024, 0, 1, bytes([0x15, 0x88]), mono, 128)
        yield seed(300, 1, 3, bytes([0x12, 0x10]), stereo[:6], 23)  # buffers too small
    elif kind in ("mp3", "mp2"):
        codec = ["-c:a", "libmp3lame", "-f", "mp3", "-write_xing", "0", "-id3v2_version", "0"] if kind == "mp3" \
            else ["-c:a", "mp2", "-f", "mp2"]
        stereo = mpeg_frames(encode(44100, 2, 0.15, codec + ["-b:a", "128k"]))
        mono = mpeg_frames(encode(22050 if kind == "mp2" else 8000, 1, 0.3, codec + ["-b:a", "32k"]))
        yield seed(1152, 0, 1, b"", stereo, 26)
        yield seed(2304, 2, 2, b"", stereo, 26, reset_at=4)
        yield seed(1152, 0, 1, b"", mono, 52 if kind == "mp2" else 72)
        yield seed(500, 1, 4, b"", stereo[:5], 26)  # buffers too small
    elif kind == "speex":
        one = ogg_packets(encode(16000, 1, 0.2, ["-c:a", "libspeex", "-f", "ogg"]), 2)
        three = ogg_packets(encode(16000, 1, 0.3, ["-c:a", "libspeex", "-frames_per_packet", "3", "-f", "ogg"]), 2)
        yield seed(320, 0, 1, b"", one, 20)
        yield seed(960, 0, 2, b"", three, 60, reset_at=3)
        yield seed(400, 1, 1, b"", three, 60)  # room for one frame of three
    else:
        law = "alaw" if kind == "alaw" else "mulaw"
        for rate, channels, packet, samples in ((8000, 1, 160, 160), (8000, 2, 320, 160), (16000, 1, 320, 4096)):
            pcm = encode(rate, channels, 0.1, ["-c:a", "pcm_" + law, "-f", law])
            packets = [g711_description(rate, channels)] + [pcm[i:i + packet] for i in range(0, len(pcm), packet)]
            yield seed(samples, 0, 2, b"", packets, 20)


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    kind, out = sys.argv[1], sys.argv[2]
    os.makedirs(out, exist_ok=True)
    for i, data in enumerate(seeds(kind)):
        with open(os.path.join(out, f"{kind}-{i}"), "wb") as f:
            f.write(data)


if __name__ == "__main__":
    main()
