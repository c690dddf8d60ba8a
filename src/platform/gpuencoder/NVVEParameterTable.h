#pragma once

#include <cstddef>
#include <cstdint>

#include <ffnvcodec/nvEncodeAPI.h>

namespace cvx {

// What NVCreateHWEncoder opens the hardware encoder with, built from the
// stored parameters over the driver's preset.
struct EncoderSetup {
  NV_ENC_INITIALIZE_PARAMS init;  // encodeConfig points at config
  NV_ENC_CONFIG config;
  int inputWidth;
  int inputHeight;
  int naluFraming;  // 0 start codes, 4 four-byte big-endian lengths
};

constexpr int kNVVEMaxWords = 3;
constexpr int kNVVEParameterSlots = 44;  // parameter numbers run below this

// One parameter: its number, its name in messages, how many 32-bit words
// its value has, the values it takes, and where it lands in the hardware
// encoder's configuration. A row without `apply` has no counterpart there:
// its value is kept and read back, and changes nothing. Query rows are
// answered by the encoder and cannot be set. Defaults are those the CUDA
// encoder class pushes by default, so that a push it stops early still
// leaves a usable encoder.
struct NVVEParameterRow {
  int id;
  const char* name;
  int words;
  bool query;
  bool (*accepts)(const int32_t* value);  // null: any value
  void (*apply)(const int32_t* value, EncoderSetup& setup);
  int32_t defaults[kNVVEMaxWords];
};

// The row of a parameter number, or null.
const NVVEParameterRow* findNVVEParameter(int id);
// All rows, in the order they are applied.
const NVVEParameterRow* nvveParameterRows(std::size_t& count);

}  // namespace cvx
