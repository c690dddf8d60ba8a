#pragma once

#include <cstddef>
#include <cstdint>

namespace cvx {

// What the sequence-level headers of a stream say, before any picture is
// decoded: the decoder must answer the size at configuration time.
struct StreamHeaderInfo {
  bool valid = false;
  int32_t width = 0;   // shown size, after cropping
  int32_t height = 0;
  int32_t aspectCode = 0;  // MPEG-2 aspect_ratio_information
  int32_t sarNum = 0;      // pixel shape; 0:0 when the stream says nothing
  int32_t sarDen = 0;
  int32_t rateNum = 0;  // frame rate from the stream's timing; 0/0 when absent
  int32_t rateDen = 0;
  // MPEG-2 keeps the code-based rate apart so a sequence extension can refine it.
  int32_t mpeg2RateCode = 0;
};

// Each parser reads one header unit's payload (the bytes after the start code
// prefix, the unit's id byte first) and updates `info`. False leaves `info` as
// it was: a damaged header must not disturb a stream already running.
bool parseH264SequenceParameterSet(const uint8_t* nal, size_t size, StreamHeaderInfo& info);
bool parseMpeg2SequenceHeader(const uint8_t* unit, size_t size, StreamHeaderInfo& info);
bool parseMpeg2Extension(const uint8_t* unit, size_t size, StreamHeaderInfo& info);
bool parseMpeg4VideoObjectLayer(const uint8_t* unit, size_t size, StreamHeaderInfo& info);

// The payload of an H.264 NAL unit (header byte first) after its header
// byte, with the emulation prevention bytes taken out (each 03 after two
// zero bytes), into `out`, at most `capacity` bytes; returns how many.
size_t unescapeH264Payload(const uint8_t* nal, size_t size, uint8_t* out, size_t capacity);

// The id of an H.264 sequence (NAL type 7) or picture (type 8) parameter set,
// read from the NAL unit (header byte first); -1 when it cannot be read or is
// beyond the ids the syntax allows (31 and 255).
int h264ParameterSetId(const uint8_t* nal, size_t size);

}  // namespace cvx
