# Byte writers for the seeds of the picture-path targets, in the order
# tests/fuzz/support/FramesFuzzInput.h reads them. Sourced, not run.

# One byte per argument, each 0..255.
bytes() { local b; for b in "$@"; do printf "\\x$(printf '%02x' "$b")"; done; }
u16() { bytes $(($1 & 255)) $((($1 >> 8) & 255)); }
u32() { u16 $(($1 & 65535)); u16 $((($1 >> 16) & 65535)); }
# A side of s pixels (1 <= s <= the target's limit for it).
side() { bytes 3; u16 $(($1 - 1)); }
# A code by name, as the reader's table orders them.
code() {
  local names=(I420 YV12 NV12 YUY2 YUYV UYVY BGR3 BGRA BGR4 VUYA XYZ12 v210 H264 YV16) i
  for i in "${!names[@]}"; do [ "${names[$i]}" = "$1" ] && bytes "$i" && return; done
  echo "unknown code $1" >&2; return 1
}
