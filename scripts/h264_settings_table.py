#!/usr/bin/env python3
"""Prints the Markdown table of the H.264 encoder's settings 10000..10140.

Reads the three sources that decide it, so the table cannot drift from the
code: the setting runs (VideoEncoderSettingsH264.cpp), the record's byte
positions (H264EncoderSettings.h) and the meaning of each field in this build
(kFieldTable in X264ParamMapping.cpp).
"""
import pathlib
import re
import sys

root = pathlib.Path(__file__).resolve().parent.parent / "src"
runs_src = (root / "video/encoders/VideoEncoderSettingsH264.cpp").read_text()
record_src = (root / "platform/h264encoder/H264EncoderSettings.h").read_text()
table_src = (root / "platform/h264encoder/X264ParamMapping.cpp").read_text()

# setting -> (byte, kind, elements)
settings = {}
for first, count, offset, step, kind, elements in re.findall(
        r"\{(\d+), (\d+), (\d+), (\d+), Kind::(\w+), (\d+)\}", runs_src):
    for i in range(int(count)):
        settings[int(first) + i] = (int(offset) + i * int(step), kind, int(elements))

offsets = {name: int(pos) for name, pos in re.findall(
    r"offsetof\(H264EncoderSettings, (\w+)\) == (\d+)", record_src)}

table = table_src[table_src.index("kFieldTable[] = {"):table_src.index("// clang-format on")]
meanings = {}  # byte -> (meaning, preset chooses)
for field, plus, setting, preset, meaning in re.findall(
        r'\{AT\((\w+)\)\s*(?:\+\s*(\d+))?,\s*(\d+),\s*(true|false),.*?"((?:[^"\\]|\\.)*)"\},', table):
    byte = offsets[field] + int(plus or 0)
    meanings[byte] = (meaning, preset == "true")

missing = sorted(set(range(10000, 10141)) - set(settings))
if missing:
    sys.exit(f"setting numbers without a field: {missing}")

NO_EFFECT = "stored and read back, no effect"
NO_EFFECT_ARRAY = "stored, no effect (array contents are never read back)"
type_names = {"Long": "long", "Double": "double", "LongArray": "long array of {n}",
              "ByteArray": "array of {n} bytes"}
rows = []
for number in range(10000, 10141):
    byte, kind, elements = settings[number]
    type_text = type_names[kind].format(n=elements)
    meaning, preset = meanings.get(byte, (None, False))
    if meaning is None:
        meaning = NO_EFFECT if kind in ("Long", "Double") else NO_EFFECT_ARRAY
    elif preset:
        meaning += "; -1 keeps the speed preset's value"
    rows.append([str(number), str(byte), type_text, meaning])

# Runs of fields with no effect collapse into one row.
merged = []
for row in rows:
    prev = merged[-1] if merged else None
    if prev and row[3] == prev[3] and row[3] in (NO_EFFECT, NO_EFFECT_ARRAY) and row[2] == prev[2]:
        prev[0] = prev[0].split(" to ")[0] + " to " + row[0]
        prev[1] = prev[1].split(" to ")[0] + " to " + row[1]
    else:
        merged.append(row)

print("| Setting | Record byte | Type | Meaning in this build |")
print("|---|---|---|---|")
for row in merged:
    print("| " + " | ".join(cell.replace("|", "\\|") for cell in row) + " |")
