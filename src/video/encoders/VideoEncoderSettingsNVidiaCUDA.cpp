#include "video/encoders/VideoEncoderSettingsNVidiaCUDA.h"

#include <cstddef>
#include <cstring>

#include "parameters/IParameterTarget.h"

namespace cvx {

namespace {

enum class Kind { None, Long, Float, LongArray };

// Runs of consecutive setting numbers over consecutive fields.
struct Run {
  uint32_t first;
  uint32_t count;
  std::size_t offset;
  Kind kind;
  uint32_t elements;
};

using P = NVCUDAEncoderParams;
constexpr Run kRuns[] = {
    {30000, 11, offsetof(P, word0), Kind::Long, 1},
    {30011, 1, offsetof(P, outputSize), Kind::LongArray, 2},
    {30012, 1, offsetof(P, inputSize), Kind::LongArray, 2},
    {30013, 1, offsetof(P, aspectFloat), Kind::Float, 1},
    {30014, 1, offsetof(P, aspectRatio), Kind::LongArray, 3},
    {30015, 10, offsetof(P, fieldEncMode), Kind::Long, 1},
    {30025, 1, offsetof(P, frameRate), Kind::LongArray, 2},
    {30026, 15, offsetof(P, deblockMode), Kind::Long, 1},
};

// The runs of longs rely on fields without gaps between them.
static_assert(offsetof(P, selectedGPU) == offsetof(P, word0) + 10 * 4, "30000..30010 are eleven words");
static_assert(offsetof(P, qpInterB) == offsetof(P, fieldEncMode) + 9 * 4, "30015..30024 are ten words");
static_assert(offsetof(P, furtherWords) + 2 * 4 == offsetof(P, deblockMode) + 14 * 4,
              "30026..30040 are fifteen words");
static_assert(sizeof(P) == offsetof(P, furtherWords) + 3 * 4, "the further words end the record");

struct Field {
  Kind kind = Kind::None;
  std::size_t offset = 0;
  uint32_t elements = 0;
};

Field fieldOf(uint32_t settingIndex) {
  for (const Run& run : kRuns) {
    if (settingIndex >= run.first && settingIndex < run.first + run.count) {
      return Field{run.kind, run.offset + (settingIndex - run.first) * 4, run.elements};
    }
  }
  return Field{};
}

void writeWord(P& params, std::size_t offset, int32_t value) {
  std::memcpy(reinterpret_cast<uint8_t*>(&params) + offset, &value, sizeof(value));
}

int32_t readWord(const P& params, std::size_t offset) {
  int32_t value;
  std::memcpy(&value, reinterpret_cast<const uint8_t*>(&params) + offset, sizeof(value));
  return value;
}

}  // namespace

int VideoEncoderSettingsNVidiaCUDA::setLong(uint32_t settingIndex, int64_t value) {
  const Field field = fieldOf(settingIndex);
  if (field.kind == Kind::Long) writeWord(params, field.offset, static_cast<int32_t>(value));
  return 0;
}

int VideoEncoderSettingsNVidiaCUDA::setDouble(uint32_t settingIndex, double value) {
  if (fieldOf(settingIndex).kind == Kind::Float) params.aspectFloat = static_cast<float>(value);
  return 0;
}

int VideoEncoderSettingsNVidiaCUDA::setLongArray(uint32_t settingIndex, const int64_t* values, uint32_t count) {
  const Field field = fieldOf(settingIndex);
  if (field.kind != Kind::LongArray || values == nullptr) return 0;
  const uint32_t n = count < field.elements ? count : field.elements;
  for (uint32_t i = 0; i < n; ++i) writeWord(params, field.offset + 4 * i, static_cast<int32_t>(values[i]));
  return 0;
}

int VideoEncoderSettingsNVidiaCUDA::getType(uint32_t settingIndex, uint32_t* arrayLength) const {
  const Field field = fieldOf(settingIndex);
  if (arrayLength != nullptr) *arrayLength = field.kind == Kind::LongArray ? field.elements : 0;
  switch (field.kind) {
    case Kind::Long: return kParameterLong;
    case Kind::Float: return kParameterDouble;
    case Kind::LongArray: return kParameterLongArray;
    default: return kParameterUnknown;
  }
}

int VideoEncoderSettingsNVidiaCUDA::getLong(uint32_t settingIndex, int64_t* value) const {
  if (value == nullptr) return 0;
  const Field field = fieldOf(settingIndex);
  *value = field.kind == Kind::Long ? readWord(params, field.offset) : 0;
  return 0;
}

int VideoEncoderSettingsNVidiaCUDA::getDouble(uint32_t settingIndex, double* value) const {
  if (value != nullptr) *value = fieldOf(settingIndex).kind == Kind::Float ? params.aspectFloat : 0.0;
  return 0;
}

int VideoEncoderSettingsNVidiaCUDA::getLongArray(uint32_t, int64_t*, uint32_t* count) const {
  // The count is cleared before it is compared with the field's size, so no
  // element is ever copied: array settings can be written, not read back.
  if (count != nullptr) *count = 0;
  return 0;
}

}  // namespace cvx
