#include "video/encoders/VideoEncoderSettingsH264.h"

#include <cstring>

#include "logging/Guarded.h"
#include "parameters/IParameterTarget.h"
#include "platform/h264encoder/H264OutVideo.h"

namespace cvx {

namespace {

using Kind = VideoEncoderSettingsH264::Kind;

// Runs of consecutive setting numbers: the first number, how many, the byte
// position of the first, the distance between two, and what they hold.
struct Run {
  uint32_t first;
  uint32_t count;
  uint32_t offset;
  uint32_t step;
  Kind kind;
  uint32_t elements;
};

constexpr Run kRuns[] = {
    {10000, 8, 0, 4, Kind::Long, 0},      {10008, 1, 32, 0, Kind::Double, 0},
    {10009, 25, 40, 4, Kind::Long, 0},    {10034, 2, 152, 4, Kind::Long, 0},
    {10036, 1, 160, 0, Kind::LongArray, 4}, {10037, 1, 176, 0, Kind::Long, 0},
    {10038, 1, 180, 0, Kind::LongArray, 4}, {10039, 2, 196, 4, Kind::Long, 0},
    {10041, 4, 256, 4, Kind::Long, 0},    {10045, 2, 1804, 4, Kind::Long, 0},
    {10047, 1, 1932, 0, Kind::Long, 0},   {10048, 2, 2212, 4, Kind::Long, 0},
    {10050, 3, 2244, 4, Kind::Long, 0},   {10053, 15, 2312, 4, Kind::Long, 0},
    {10068, 23, 2836, 4, Kind::Long, 0},  {10091, 7, 2940, 4, Kind::Long, 0},
    {10098, 7, 4100, 4, Kind::Long, 0},   {10105, 4, 4316, 4, Kind::Long, 0},
    {10109, 8, 4716, 4, Kind::Long, 0},   {10117, 4, 5116, 4, Kind::Long, 0},
    {10121, 1, 5492, 0, Kind::LongArray, 8}, {10122, 4, 5524, 4, Kind::Long, 0},
    {10126, 5, 6048, 4, Kind::Long, 0},   {10131, 1, 6468, 0, Kind::Long, 0},
    {10132, 1, 6472, 0, Kind::LongArray, 8}, {10133, 6, 6504, 16, Kind::ByteArray, 16},
    {10139, 1, 6600, 0, Kind::ByteArray, 64}, {10140, 1, 6664, 0, Kind::ByteArray, 64},
};

constexpr uint32_t fieldBytes(const Run& run) {
  return run.kind == Kind::Double      ? 8
         : run.kind == Kind::LongArray ? 4 * run.elements
         : run.kind == Kind::ByteArray ? run.elements
                                       : 4;
}

// Every field of the table lies inside the record.
constexpr bool runsFitTheRecord() {
  for (const Run& run : kRuns) {
    if (run.offset + (run.count - 1) * run.step + fieldBytes(run) > sizeof(H264EncoderSettings)) return false;
  }
  return true;
}
static_assert(runsFitTheRecord(), "a setting's field lies past the settings record");
static_assert(sizeof(H264EncoderSettings) == 6728, "the record ends with the last 64-byte field");

}  // namespace

VideoEncoderSettingsH264::Field VideoEncoderSettingsH264::fieldOf(uint32_t settingIndex) {
  for (const Run& run : kRuns) {
    if (settingIndex >= run.first && settingIndex < run.first + run.count) {
      return Field{run.kind, run.offset + (settingIndex - run.first) * run.step, run.elements};
    }
  }
  return Field{};
}

VideoEncoderSettingsH264::VideoEncoderSettingsH264() { std::memset(&record, 0, sizeof(record)); }

void VideoEncoderSettingsH264::writeInt32(uint32_t offset, int32_t value) {
  std::memcpy(reinterpret_cast<uint8_t*>(&record) + offset, &value, sizeof(value));
}

int32_t VideoEncoderSettingsH264::readInt32(uint32_t offset) const {
  int32_t value;
  std::memcpy(&value, reinterpret_cast<const uint8_t*>(&record) + offset, sizeof(value));
  return value;
}

void VideoEncoderSettingsH264::writeDouble(uint32_t offset, double value) {
  std::memcpy(reinterpret_cast<uint8_t*>(&record) + offset, &value, sizeof(value));
}

double VideoEncoderSettingsH264::readDouble(uint32_t offset) const {
  double value;
  std::memcpy(&value, reinterpret_cast<const uint8_t*>(&record) + offset, sizeof(value));
  return value;
}

int VideoEncoderSettingsH264::setLong(uint32_t settingIndex, int64_t value) {
  const Field field = fieldOf(settingIndex);
  if (field.kind == Kind::Long) writeInt32(field.offset, static_cast<int32_t>(value));
  return 0;
}

int VideoEncoderSettingsH264::setDouble(uint32_t settingIndex, double value) {
  const Field field = fieldOf(settingIndex);
  if (field.kind == Kind::Double) writeDouble(field.offset, value);
  return 0;
}

int VideoEncoderSettingsH264::setLongArray(uint32_t settingIndex, const int64_t* values, uint32_t count) {
  const Field field = fieldOf(settingIndex);
  if (values == nullptr) return 0;
  const uint32_t n = count < field.count ? count : field.count;
  auto* base = reinterpret_cast<uint8_t*>(&record) + field.offset;
  if (field.kind == Kind::LongArray) {
    for (uint32_t i = 0; i < n; ++i) {
      const int32_t v = static_cast<int32_t>(values[i]);
      std::memcpy(base + 4 * i, &v, 4);
    }
  } else if (field.kind == Kind::ByteArray) {
    for (uint32_t i = 0; i < n; ++i) base[i] = static_cast<uint8_t>(values[i]);
  }
  return 0;
}

int VideoEncoderSettingsH264::getType(uint32_t settingIndex, uint32_t* arrayLength) const {
  const Field field = fieldOf(settingIndex);
  if (arrayLength != nullptr) *arrayLength = field.count;
  switch (field.kind) {
    case Kind::Long: return kParameterLong;
    case Kind::Double: return kParameterDouble;
    case Kind::LongArray:
    case Kind::ByteArray: return kParameterLongArray;
    default: return kParameterUnknown;
  }
}

int VideoEncoderSettingsH264::getLong(uint32_t settingIndex, int64_t* value) const {
  if (value == nullptr) return 0;
  const Field field = fieldOf(settingIndex);
  *value = field.kind == Kind::Long ? readInt32(field.offset) : 0;
  return 0;
}

int VideoEncoderSettingsH264::getDouble(uint32_t settingIndex, double* value) const {
  if (value == nullptr) return 0;
  const Field field = fieldOf(settingIndex);
  *value = field.kind == Kind::Double ? readDouble(field.offset) : 0.0;
  return 0;
}

int VideoEncoderSettingsH264::getLongArray(uint32_t settingIndex, int64_t*, uint32_t* count) const {
  // The count is cleared before it is compared with the field's size, so an
  // array's contents never come back: its type and length can be read, its
  // elements cannot. Hosts rely on nothing else.
  if (count == nullptr) return 0;
  *count = 0;
  (void)settingIndex;
  return 0;
}

int VideoEncoderSettingsH264::checkSettings() const {
  return guarded("VideoEncoderSettingsH264::checkSettings: ", [&] {
    return h264OutVideoChkSettings(nullptr, &record, 0, 0);
  });
}

}  // namespace cvx
