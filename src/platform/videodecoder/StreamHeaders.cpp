#include "platform/videodecoder/StreamHeaders.h"

#include <array>

extern "C" {
#include <libavutil/rational.h>
}

#include "platform/videodecoder/BitReader.h"

namespace cvx {
namespace {

struct Ratio {
  int32_t num;
  int32_t den;
};

// aspect_ratio_idc 1..16 of H.264 VUI.
constexpr std::array<Ratio, 17> kH264PixelAspect = {{{0, 0}, {1, 1}, {12, 11}, {10, 11}, {16, 11}, {40, 33}, {24, 11},
                                                     {20, 11}, {32, 11}, {80, 33}, {18, 11}, {15, 11}, {64, 33},
                                                     {160, 99}, {4, 3}, {3, 2}, {2, 1}}};
// aspect_ratio_info 1..5 of an MPEG-4 video object layer; 15 is extended.
constexpr std::array<Ratio, 6> kMpeg4PixelAspect = {{{0, 0}, {1, 1}, {12, 11}, {10, 11}, {16, 11}, {40, 33}}};
// frame_rate_code 1..8 of MPEG-1/2.
constexpr std::array<Ratio, 9> kMpeg2FrameRate = {
    {{0, 0}, {24000, 1001}, {24, 1}, {25, 1}, {30000, 1001}, {30, 1}, {50, 1}, {60000, 1001}, {60, 1}}};

// The largest SPS we read; scaling lists keep real ones far below this.
constexpr size_t kMaxSpsBytes = 1024;

// A pixel shape by table code, or given in full after the extended code.
template <size_t N>
Ratio readPixelAspect(BitReader& reader, uint32_t code, uint32_t extendedCode, int extendedBits,
                      const std::array<Ratio, N>& table) {
  if (code == extendedCode) {
    Ratio sar{};
    sar.num = static_cast<int32_t>(reader.bits(extendedBits));
    sar.den = static_cast<int32_t>(reader.bits(extendedBits));
    return sar;
  }
  return code < table.size() ? table[code] : Ratio{0, 0};
}

void storeSequence(StreamHeaderInfo& info, int64_t width, int64_t height, Ratio sar, Ratio rate) {
  info.valid = true;
  info.width = static_cast<int32_t>(width);
  info.height = static_cast<int32_t>(height);
  info.aspectCode = 0;
  info.sarNum = sar.num;
  info.sarDen = sar.den;
  info.rateNum = rate.num;
  info.rateDen = rate.den;
}

void skipScalingList(BitReader& reader, int size) {
  int last = 8;
  int next = 8;
  for (int j = 0; j < size && !reader.overrun(); ++j) {
    if (next != 0) {
      next = (last + reader.se() + 256) % 256;
    }
    last = next == 0 ? last : next;
  }
}

void setReduced(int32_t& num, int32_t& den, int64_t n, int64_t d) {
  int reducedNum = 0;
  int reducedDen = 0;
  if (n <= 0 || d <= 0) {
    num = 0;
    den = 0;
    return;
  }
  av_reduce(&reducedNum, &reducedDen, n, d, INT32_MAX);
  num = reducedNum;
  den = reducedDen;
}

bool isHighProfile(uint32_t profile) {
  switch (profile) {
    case 100: case 110: case 122: case 244: case 44: case 83: case 86: case 118: case 128: case 138: case 139:
    case 134: case 135:
      return true;
    default:
      return false;
  }
}

// The fields of a high profile's sequence set that come before the frame
// numbering: the chroma format (and separate planes), bit depths, scaling lists.
void readHighProfileFields(BitReader& reader, uint32_t& chromaFormat, bool& separatePlanes) {
  chromaFormat = reader.ue();
  if (chromaFormat == 3) {
    separatePlanes = reader.bit() != 0;
  }
  reader.ue();  // bit depths
  reader.ue();
  reader.bit();  // qpprime_y_zero_transform_bypass
  if (reader.bit() != 0) {
    int lists = chromaFormat != 3 ? 8 : 12;
    for (int i = 0; i < lists; ++i) {
      if (reader.bit() != 0) {
        skipScalingList(reader, i < 6 ? 16 : 64);
      }
    }
  }
}

// The picture order count fields; false for a cycle longer than the syntax allows.
bool skipPictureOrderCount(BitReader& reader) {
  uint32_t pocType = reader.ue();
  if (pocType == 0) {
    reader.ue();
  } else if (pocType == 1) {
    reader.bit();
    reader.se();
    reader.se();
    uint32_t cycle = reader.ue();
    if (cycle > 255) {
      return false;
    }
    for (uint32_t i = 0; i < cycle; ++i) {
      reader.se();
    }
  }
  return true;
}

// The video usability information: the pixel shape and the frame rate from
// the timing fields; what lies between them is passed over.
void readVui(BitReader& reader, Ratio& sar, Ratio& rate) {
  if (reader.bit() != 0) {
    sar = readPixelAspect(reader, reader.bits(8), 255, 16, kH264PixelAspect);
  }
  if (reader.bit() != 0) {
    reader.bit();  // overscan_appropriate_flag
  }
  if (reader.bit() != 0) {
    reader.skip(4);
    if (reader.bit() != 0) {
      reader.skip(24);
    }
  }
  if (reader.bit() != 0) {
    reader.ue();
    reader.ue();
  }
  if (reader.bit() != 0) {
    uint32_t unitsInTick = reader.bits(32);
    uint32_t timeScale = reader.bits(32);
    if (unitsInTick > 0 && timeScale > 0) {
      setReduced(rate.num, rate.den, timeScale, 2 * static_cast<int64_t>(unitsInTick));
    }
  }
}

}  // namespace

size_t unescapeH264Payload(const uint8_t* nal, size_t size, uint8_t* out, size_t capacity) {
  size_t length = 0;
  int zeros = 0;
  for (size_t i = 1; i < size && length < capacity; ++i) {
    if (zeros >= 2 && nal[i] == 3) {
      zeros = 0;
      continue;
    }
    zeros = nal[i] == 0 ? zeros + 1 : 0;
    out[length++] = nal[i];
  }
  return length;
}

int h264ParameterSetId(const uint8_t* nal, size_t size) {
  // The id comes within the first bytes: after profile, flags and level for a
  // sequence set, first thing for a picture set.
  std::array<uint8_t, 16> rbsp{};
  BitReader reader(rbsp.data(), unescapeH264Payload(nal, size, rbsp.data(), rbsp.size()));
  const bool sequence = size > 0 && (nal[0] & 31) == 7;
  if (sequence) {
    reader.skip(24);
  }
  const uint32_t id = reader.ue();
  const uint32_t largest = sequence ? 31 : 255;
  return reader.overrun() || id > largest ? -1 : static_cast<int>(id);
}

bool parseH264SequenceParameterSet(const uint8_t* nal, size_t size, StreamHeaderInfo& info) {
  std::array<uint8_t, kMaxSpsBytes> rbsp{};
  BitReader reader(rbsp.data(), unescapeH264Payload(nal, size, rbsp.data(), rbsp.size()));
  uint32_t profile = reader.bits(8);
  reader.skip(16);  // constraint flags, level
  reader.ue();      // seq_parameter_set_id
  uint32_t chromaFormat = 1;
  bool separatePlanes = false;
  if (isHighProfile(profile)) {
    readHighProfileFields(reader, chromaFormat, separatePlanes);
  }
  reader.ue();  // log2_max_frame_num_minus4
  if (!skipPictureOrderCount(reader)) {
    return false;
  }
  reader.ue();   // max_num_ref_frames
  reader.bit();  // gaps_in_frame_num_value_allowed_flag
  uint32_t widthMbs = reader.ue() + 1;
  uint32_t heightMapUnits = reader.ue() + 1;
  uint32_t frameMbsOnly = reader.bit();
  if (frameMbsOnly == 0) {
    reader.bit();
  }
  reader.bit();  // direct_8x8_inference_flag
  uint32_t crop[4] = {0, 0, 0, 0};
  if (reader.bit() != 0) {
    for (uint32_t& value : crop) {
      value = reader.ue();
    }
  }
  Ratio sar{0, 0};
  Ratio rate{0, 0};
  if (reader.bit() != 0) {
    readVui(reader, sar, rate);
  }
  if (reader.overrun() || widthMbs > 1024 || heightMapUnits > 1024) {
    return false;
  }
  uint32_t arrayType = separatePlanes ? 0 : chromaFormat;
  uint32_t cropUnitX = (arrayType == 1 || arrayType == 2) ? 2 : 1;
  uint32_t cropUnitY = (arrayType == 1 ? 2 : 1) * (2 - frameMbsOnly);
  int64_t width = static_cast<int64_t>(widthMbs) * 16 - static_cast<int64_t>(cropUnitX) * (crop[0] + crop[1]);
  int64_t height =
      static_cast<int64_t>(heightMapUnits) * 16 * (2 - frameMbsOnly) - static_cast<int64_t>(cropUnitY) * (crop[2] + crop[3]);
  if (width <= 0 || height <= 0) {
    return false;
  }
  storeSequence(info, width, height, sar, rate);
  return true;
}

bool parseMpeg2SequenceHeader(const uint8_t* unit, size_t size, StreamHeaderInfo& info) {
  BitReader reader(unit, size);
  reader.skip(8);  // start code id
  int32_t width = static_cast<int32_t>(reader.bits(12));
  int32_t height = static_cast<int32_t>(reader.bits(12));
  int32_t aspect = static_cast<int32_t>(reader.bits(4));
  int32_t rateCode = static_cast<int32_t>(reader.bits(4));
  if (reader.overrun() || width == 0 || height == 0) {
    return false;
  }
  info.valid = true;
  info.width = width;
  info.height = height;
  info.aspectCode = aspect;
  info.sarNum = 0;
  info.sarDen = 0;
  info.mpeg2RateCode = rateCode;
  Ratio rate = rateCode > 0 && static_cast<size_t>(rateCode) < kMpeg2FrameRate.size() ? kMpeg2FrameRate[rateCode]
                                                                                    : Ratio{0, 0};
  info.rateNum = rate.num;
  info.rateDen = rate.den;
  return true;
}

bool parseMpeg2Extension(const uint8_t* unit, size_t size, StreamHeaderInfo& info) {
  BitReader reader(unit, size);
  reader.skip(8);
  if (reader.bits(4) != 1 || !info.valid) {
    return false;  // only the sequence extension refines the sequence header
  }
  reader.skip(8 + 1 + 2);  // profile and level, progressive_sequence, chroma_format
  uint32_t widthExtension = reader.bits(2);
  uint32_t heightExtension = reader.bits(2);
  reader.skip(12 + 1 + 8 + 1);  // bit rate extension, marker, vbv extension, low_delay
  uint32_t rateExtN = reader.bits(2);
  uint32_t rateExtD = reader.bits(5);
  if (reader.overrun()) {
    return false;
  }
  info.width = static_cast<int32_t>((info.width & 0xFFF) | (widthExtension << 12));
  info.height = static_cast<int32_t>((info.height & 0xFFF) | (heightExtension << 12));
  int32_t code = info.mpeg2RateCode;
  if (code > 0 && static_cast<size_t>(code) < kMpeg2FrameRate.size()) {
    setReduced(info.rateNum, info.rateDen, static_cast<int64_t>(kMpeg2FrameRate[code].num) * (rateExtN + 1),
               static_cast<int64_t>(kMpeg2FrameRate[code].den) * (rateExtD + 1));
  }
  return true;
}

bool parseMpeg4VideoObjectLayer(const uint8_t* unit, size_t size, StreamHeaderInfo& info) {
  BitReader reader(unit, size);
  reader.skip(8);
  reader.bit();      // random_accessible_vol
  reader.skip(8);    // video_object_type_indication
  uint32_t verid = 1;
  if (reader.bit() != 0) {
    verid = reader.bits(4);
    reader.skip(3);
  }
  const Ratio sar = readPixelAspect(reader, reader.bits(4), 15, 8, kMpeg4PixelAspect);
  if (reader.bit() != 0) {  // vol_control_parameters
    reader.skip(2 + 1);
    if (reader.bit() != 0) {
      reader.skip(15 + 1 + 15 + 1 + 15 + 1 + 3 + 11 + 1 + 15 + 1);
    }
  }
  uint32_t shape = reader.bits(2);
  if (shape == 3 && verid != 1) {
    reader.skip(4);
  }
  reader.bit();  // marker
  uint32_t resolution = reader.bits(16);
  reader.bit();  // marker
  Ratio rate{0, 0};
  if (reader.bit() != 0) {  // fixed_vop_rate
    int bits = 1;
    while (bits < 16 && (1u << bits) < resolution) {
      ++bits;
    }
    uint32_t increment = reader.bits(bits);
    if (increment > 0 && resolution > 0) {
      setReduced(rate.num, rate.den, resolution, increment);
    }
  }
  if (shape != 0) {
    return false;  // only rectangular video carries a size here
  }
  reader.bit();
  int32_t width = static_cast<int32_t>(reader.bits(13));
  reader.bit();
  int32_t height = static_cast<int32_t>(reader.bits(13));
  if (reader.overrun() || width == 0 || height == 0 || resolution == 0) {
    return false;
  }
  storeSequence(info, width, height, sar, rate);
  return true;
}

}  // namespace cvx
