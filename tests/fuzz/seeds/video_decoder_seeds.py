#!/usr/bin/env python3
"""Writes seed inputs for the video decoder fuzz targets from ffmpeg's output.

The records are those of tests/fuzz/support/VideoDecoderFuzzInput.h: a kind
byte (0 configuration, 1 key, 2 inter, 3 disposable frame; +4: decode once
only), a 16-bit big-endian length, the bytes.

  video_decoder_seeds.py SYNTAX INPUT OUTPUT [--decode-once] [--garbage-first]
                         [--no-config] [--then INPUT2]

SYNTAX: h264 or spark (INPUT is FLV), mpeg2, mpeg4 or h263 (INPUT is the
elementary stream). --then appends the frames of a second H.264 FLV, its
parameter sets in band in front of each of its key frames.
"""
import random
import struct
import sys


def flv_video_tags(path):
    """(frame type, is configuration, payload) of each video tag of an FLV file."""
    data = open(path, 'rb').read()
    at = struct.unpack('>I', data[5:9])[0] + 4
    while at + 11 <= len(data):
        kind = data[at]
        size = int.from_bytes(data[at + 1:at + 4], 'big')
        body = data[at + 11:at + 11 + size]
        at += 11 + size + 4
        if kind != 9 or not body:
            continue
        frame_type = body[0] >> 4
        if body[0] & 15 == 7:  # H.264: packet type, composition time
            yield frame_type, body[1] == 0, body[5:]
        else:
            yield frame_type, False, body[1:]


def record_parameter_sets(record):
    """The first SPS and PPS of a decoder configuration record, length-prefixed."""
    sps_length = int.from_bytes(record[6:8], 'big')
    pps_at = 8 + sps_length + 1
    pps_length = int.from_bytes(record[pps_at:pps_at + 2], 'big')
    sps = record[8:8 + sps_length]
    pps = record[pps_at + 2:pps_at + 2 + pps_length]
    return struct.pack('>I', len(sps)) + sps + struct.pack('>I', len(pps)) + pps


def flv_frames(path, in_band=False):
    config, frames = None, []
    for frame_type, is_config, payload in flv_video_tags(path):
        if is_config:
            config = payload
        else:
            key = frame_type == 1
            if key and in_band and config is not None:
                payload = record_parameter_sets(config) + payload
            frames.append((1 if key else 2, payload))
    return config, frames


def split_elementary(data, syntax):
    """Configuration and frames of an MPEG-2, MPEG-4 or H.263 elementary stream."""
    def code(i):
        return data[i + 3] if data[i:i + 3] == b'\x00\x00\x01' else -1
    starts = []
    if syntax == 'h263':
        starts = [i for i in range(len(data) - 3) if data[i] == 0 and data[i + 1] == 0 and data[i + 2] & 0xFC == 0x80]
        config = None
    else:
        picture, headers = (0x00, (0xB3, 0xB8)) if syntax == 'mpeg2' else (0xB6, (0xB3,))
        pending = -1
        for i in range(len(data) - 3):
            c = code(i)
            if c == picture:
                starts.append(pending if pending >= 0 else i)
                pending = -1
            elif i > 0 and c in headers and pending < 0:
                pending = i
        config = data[:starts[0]]
    frames = []
    for n, start in enumerate(starts):
        end = starts[n + 1] if n + 1 < len(starts) else len(data)
        frames.append((1 if n == 0 else 2, data[start:end]))
    return config, frames


def main(argv):
    syntax, source, output = argv[1:4]
    options = argv[4:]
    if syntax in ('h264', 'spark'):
        config, frames = flv_frames(source)
    else:
        config, frames = split_elementary(open(source, 'rb').read(), syntax)
    if '--then' in options:
        _, more = flv_frames(options[options.index('--then') + 1], in_band=True)
        frames += more
    records = []
    if config is not None and '--no-config' not in options:
        records.append((0, config))
    if '--garbage-first' in options:
        noise = random.Random(7)
        records.append((1, bytes(noise.randrange(1, 256) for _ in range(64))))
    for n, (kind, payload) in enumerate(frames):
        once = '--decode-once' in options and n % 3 == 1
        records.append((kind | (4 if once else 0), payload))
    with open(output, 'wb') as out:
        for kind, payload in records:
            out.write(bytes([kind]) + struct.pack('>H', min(len(payload), 0xFFFF)) + payload[:0xFFFF])


if __name__ == '__main__':
    main(sys.argv)
