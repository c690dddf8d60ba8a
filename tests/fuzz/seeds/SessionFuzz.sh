#!/usr/bin/env bash
# Seed corpus of SessionFuzz: whole host call sequences in the target's input
# encoding (tests/fuzz/SessionFuzz.cpp, tests/fuzz/support/SessionFuzzInput.h),
# around small real streams made by ffmpeg: an H.263 ladder into VP8 and
# H.264 with overlays, crops and picture reads; H.264 from FLV with its
# configuration record and parameter records; G.711 and AAC into Vorbis and
# AAC; two sessions at once with one destroyed midway.
set -euo pipefail
out=${1:?usage: SessionFuzz.sh OUTDIR}
mkdir -p "$out"
media=$(mktemp -d)
trap 'rm -rf "$media"' EXIT

ff() { ffmpeg -v error -y -nostdin "$@"; }
ff -f lavfi -i testsrc2=size=128x96:rate=25 -frames:v 4 -c:v h263 -qscale:v 24 -g 12 -f h263 "$media/clip.h263"
ff -f lavfi -i testsrc2=size=96x64:rate=25 -frames:v 5 -c:v libx264 -preset ultrafast -bf 2 -g 25 \
  -pix_fmt yuv420p -f flv "$media/clip.flv"
ff -f lavfi -i sine=frequency=440:sample_rate=44100:duration=0.12 -ac 2 -c:a aac -b:a 64k -f adts "$media/clip.aac"

python3 - "$media" "$out" <<'PY'
import math, os, struct, sys

media, out = sys.argv[1], sys.argv[2]

# Call numbers of SessionFuzz.cpp.
(DESTROY, VD_CREATE, VD_BUFFERS, VD_GPU, VD_INIT, VD_CONFIG, VD_ADD, VD_DECODE, VD_TRANSFER, VD_READ,
 VD_OVERLAY, VD_SETP, VD_GETP, SETS_CREATE, BUFFER_ADD, VE_READ, VE_OVERLAY, CROP, SRC_RECT, VE_ADD,
 VE_DEFAULTS, VE_BITRATE, VE_SIZE, VE_FOLLOW, VE_RATE, VE_GPU, VE_INIT, VE_ADD_FRAME, VE_GET, VE_SETP,
 VE_GETP, AD_CREATE, AD_INIT, AD_CONFIG, AD_FIRST_DECODED, AD_FIRST, AD_FRAME, AD_RESET, AD_FORMAT,
 AD_BUFFERS, AD_ALLOCATE, AD_SETP, AD_GETP, AE_ADD, AE_RATE, AE_CHANNELS, AE_QUALITY, AE_BITRATE,
 AE_INIT, AE_HEADERS, AE_ADD_BUFFER, AE_SETP, AE_GETP, LOG, VIDEO_ROUND, AUDIO_ROUND) = range(56)
YV12, I420, BGRA = 0, 1, 8  # fourcc numbers of the target's table


def num(v):
    return bytes([v]) if 0 <= v < 224 else b'\xf0' + struct.pack('<I', v & 0xFFFFFFFF)


def wide(v):
    return bytes([v]) if 0 <= v < 224 else b'\xf0' + struct.pack('<q', v)


def timecode(ms):
    return bytes([ms // 40]) if ms % 40 == 0 and 0 <= ms // 40 < 224 else b'\xf0' + struct.pack('<q', ms)


def real(v):
    return bytes([int(v)]) if float(v).is_integer() and 0 <= v < 224 else b'\xf0' + struct.pack('<d', v)


def payload(data):
    return struct.pack('<H', len(data)) + data


def call(which, *args, session=0):
    return bytes([which | (session << 6)]) + b''.join(args)


def overlay(width, height, alpha, dst, align):
    pixels = bytes([40, 200, 90, alpha]) * (width * height)
    return (b'\x01' + payload(pixels) + num(BGRA) + num(width * 4) + num(0) + num(width) + num(height)
            + b''.join(num(v) for v in dst) + num(align))


def video_encoder(index, codec, width, height, defaults=(0, 0), follow=False):
    seq = call(VE_ADD, num(codec), num(0))
    seq += call(VE_DEFAULTS, num(index), num(defaults[0]), num(defaults[1]))
    seq += call(VE_SIZE, num(index), num(width), num(height))
    seq += call(VE_RATE, num(index), real(25))
    seq += call(VE_BITRATE, num(index), num(200000))
    if follow:
        seq += call(VE_FOLLOW, num(index), b'\x01')
    if codec == 7:
        # One encoder thread (setting 10013): thread start-up would dominate a run.
        seq += call(VE_SETP, num(index), num(1), b'\x01', b'\x01\x0d', wide(1))
    return seq + call(VE_INIT, num(index))


def h263_pictures(data):
    starts = [i for i in range(len(data) - 2) if data[i] == 0 and data[i + 1] == 0 and data[i + 2] & 0xFC == 0x80]
    return [data[a:b] for a, b in zip(starts, starts[1:] + [len(data)])]


def flv_tags(data):
    at, tags = 13, []
    while at + 11 <= len(data):
        kind, size = data[at], int.from_bytes(data[at + 1:at + 4], 'big')
        stamp = int.from_bytes(data[at + 4:at + 7], 'big') | data[at + 7] << 24
        tags.append((kind, stamp, data[at + 11:at + 11 + size]))
        at += 11 + size + 4
    return tags


def adts_units(data):
    at, units = 0, []
    while at + 7 <= len(data):
        length = ((data[at + 3] & 3) << 11) | (data[at + 4] << 3) | (data[at + 5] >> 5)
        header = 7 if data[at + 1] & 1 else 9
        units.append(data[at + header:at + length])
        at += length
    return units


def alaw(sample):
    pcm, mask = sample >> 3, 0xD5
    if pcm < 0:
        pcm, mask = -pcm - 1, 0x55
    ends = [0x1F, 0x3F, 0x7F, 0xFF, 0x1FF, 0x3FF, 0x7FF, 0xFFF]
    segment = next((i for i, end in enumerate(ends) if pcm <= end), 8)
    if segment == 8:
        return 0x7F ^ mask
    value = segment << 4 | ((pcm >> 1) if segment < 2 else (pcm >> segment)) & 0x0F
    return value ^ mask


def write(name, data):
    with open(os.path.join(out, name), 'wb') as f:
        f.write(data)


def video_rounds(frames, set_count, session=0):
    seq = b''
    for i, (frame, key) in enumerate(frames):
        seq += call(VIDEO_ROUND, payload(frame), timecode(40 * i), num(1 if key else 2), num(i % 2),
                    num(i % set_count), num(0), session=session)
    return seq


with open(os.path.join(media, 'clip.h263'), 'rb') as f:
    h263 = h263_pictures(f.read())

# H.263 into a VP8 and an H.264 rendition, overlays on the decoder and on
# rendition 0, a crop on rendition 1, picture reads of both sides.
seq = call(VD_CREATE, num(9), num(0), b'\x00') + call(VD_BUFFERS, num(2)) + call(VD_INIT)
seq += call(SETS_CREATE, num(2))
seq += call(BUFFER_ADD, num(64), num(48), num(1), b'\x01', num(I420))
seq += call(BUFFER_ADD, num(48), num(48), num(4), b'\x00')
seq += call(CROP, num(1), b'\x04', num(8), num(4), num(8), num(4))
seq += video_encoder(0, 8, 64, 48)
seq += video_encoder(1, 7, 48, 48, defaults=(0, 0), follow=True)
seq += call(VD_OVERLAY, num(1), overlay(8, 8, 128, (4, 4, 16, 16), 1 | 16))
seq += call(VE_OVERLAY, num(0), num(2), overlay(4, 4, 255, (0, 0, 8, 8), 4 | 64))
seq += video_rounds([(p, i == 0) for i, p in enumerate(h263)], 2)
seq += call(VD_READ, num(0), num(0), num(0)) + call(VD_READ, num(1), num(33), num(17))
seq += call(VE_READ, num(1), num(0), num(0), num(0)) + call(VE_READ, num(0), num(1), num(7), num(5))
seq += call(VE_OVERLAY, num(0), num(2), b'\x00') + call(VD_OVERLAY, num(1), b'\x00')
seq += call(SRC_RECT, num(0), b'\x04', num(0), num(0), num(100), num(80))
seq += video_rounds([(h263[1], False)], 2) + call(LOG)
write('h263-ladder', seq)

# H.264 from FLV: configuration record, frames with B-frames, one VP8
# rendition, decoder and encoder parameter records.
with open(os.path.join(media, 'clip.flv'), 'rb') as f:
    tags = [(stamp, body) for kind, stamp, body in flv_tags(f.read()) if kind == 9]
config = next(body[5:] for stamp, body in tags if body[1] == 0)
frames = [(stamp + int.from_bytes(body[2:5], 'big'), body[5:], body[0] >> 4 == 1) for stamp, body in tags
          if body[1] == 1]
seq = call(VD_CREATE, num(7), num(0), b'\x00') + call(VD_BUFFERS, num(1))
seq += call(VD_SETP, num(1), b'\x01', b'\x00\x01', wide(1)) + call(VD_INIT)
seq += call(SETS_CREATE, num(1)) + call(BUFFER_ADD, num(48), num(32), num(3), b'\x00')
seq += video_encoder(0, 8, 48, 32)
seq += call(VE_ADD, num(7), num(0)) + call(VE_DEFAULTS, num(1), num(1), num(0))
seq += call(VE_SETP, num(1), num(3), b'\x01', b'\x01\x10', wide(1), b'\x03', b'\x01\x08', real(30),
            b'\x02', b'\x01\x24', num(4), wide(0), real(0))
seq += call(VE_GETP, num(1), num(3), b'\x01\x00', b'\x01\x24', b'\x01\x79')
seq += call(VD_CONFIG, payload(config))
for stamp, frame, key in frames:
    seq += call(VIDEO_ROUND, payload(frame), timecode(stamp), num(1 if key else 2), num(0), num(0), num(0))
seq += call(VD_GETP, num(2), b'\x00\x00', b'\x00\x01')
write('h264-flv', seq)

# G.711 A-law into Vorbis and AAC, packets of 20 ms.
description = b'\x00' + struct.pack('>II', 8000, 1)
seq = call(AD_CREATE, num(7), num(0), b'\x00') + call(AD_INIT) + call(AD_FIRST, payload(description))
seq += call(AD_FIRST_DECODED) + call(AD_FORMAT) + call(AD_BUFFERS, num(2)) + call(AD_ALLOCATE, num(160), num(1), num(8000))
for index, (codec, bitrate) in enumerate([(9, 16000), (10, 24000)]):
    seq += call(AE_ADD, num(codec), num(0)) + call(AE_RATE, num(index), num(8000))
    seq += call(AE_CHANNELS, num(index), num(1)) + call(AE_BITRATE, num(index), num(bitrate))
    seq += call(AE_INIT, num(index)) + call(AE_HEADERS, num(index))
for p in range(8):
    pcm = bytes(alaw(int(9000 * math.sin(2 * math.pi * 440 * (p * 160 + i) / 8000))) for i in range(160))
    seq += call(AUDIO_ROUND, payload(pcm), timecode(20 * p), num(p % 2))
write('g711-vorbis-aac', seq + call(LOG))

# AAC 44100 stereo into AAC.
with open(os.path.join(media, 'clip.aac'), 'rb') as f:
    units = adts_units(f.read())
seq = call(AD_CREATE, num(10), num(0), b'\x00') + call(AD_INIT) + call(AD_CONFIG, payload(bytes([0x12, 0x10])))
seq += call(AD_FIRST, payload(units[0])) + call(AD_FIRST_DECODED) + call(AD_FORMAT)
seq += call(AD_BUFFERS, num(1)) + call(AD_ALLOCATE, num(2048), num(2), num(44100))
seq += call(AE_ADD, num(10), num(0)) + call(AE_RATE, num(0), num(44100)) + call(AE_CHANNELS, num(0), num(2))
seq += call(AE_BITRATE, num(0), num(64000)) + call(AE_INIT, num(0)) + call(AE_HEADERS, num(0))
for p, unit in enumerate(units[:5]):
    seq += call(AUDIO_ROUND, payload(unit), timecode(23 * p), num(0))
write('aac-aac', seq)

# Two sessions at once: video on session 1 (destroyed midway), audio on
# session 2, logs drained on both.
seq = call(VD_CREATE, num(9), num(0), b'\x00', session=1) + call(VD_BUFFERS, num(1), session=1)
seq += call(VD_INIT, session=1) + call(SETS_CREATE, num(1), session=1)
seq += call(BUFFER_ADD, num(32), num(24), num(0), b'\x00', session=1)
seq += call(AD_CREATE, num(8), num(0), b'\x00', session=2) + call(AD_INIT, session=2)
seq += call(AD_FIRST, payload(description), session=2)
seq += call(AD_BUFFERS, num(1), session=2) + call(AD_ALLOCATE, num(160), num(1), num(8000), session=2)
seq += call(AE_ADD, num(9), num(0), session=2) + call(AE_RATE, num(0), num(8000), session=2)
seq += call(AE_CHANNELS, num(0), num(1), session=2) + call(AE_QUALITY, num(0), real(0.2), session=2)
seq += call(AE_BITRATE, num(0), num(16000), session=2)
seq += call(AE_INIT, num(0), session=2)
for i in range(2):
    seq += call(VIDEO_ROUND, payload(h263[i]), timecode(40 * i), num(2 - (i == 0)), num(0), num(0), num(0), session=1)
seq += call(AUDIO_ROUND, payload(bytes(range(160))), timecode(0), num(0), session=2)
seq += call(LOG, session=1) + call(DESTROY, session=1) + call(LOG, session=2)
seq += call(AUDIO_ROUND, payload(bytes(range(160))), timecode(20), num(0), session=2)
write('two-sessions', seq)
PY
ls -l "$out"
