#pragma once

#include <cstdint>

#include "platform/h264encoder/H264EncoderSettings.h"

namespace cvx {

// The numbered setting space 10000..10140 over the H.264 encoder's settings
// record: each number names a field by its byte position. Longs are written
// cut to the field's 32 bits and read back widened with sign; arrays take at
// most their field's element count (long arrays keep the low 32 bits of each
// element, byte arrays the low byte). Numbers outside the table are ignored.
class VideoEncoderSettingsH264 {
 public:
  static constexpr uint32_t kFirstSetting = 10000;
  static constexpr uint32_t kLastSetting = 10140;

  enum class Kind { None, Long, Double, LongArray, ByteArray };
  struct Field {
    Kind kind = Kind::None;
    uint32_t offset = 0;
    uint32_t count = 0;  // elements of an array field
  };
  // Where a setting number lives in the record; Kind::None for a gap.
  static Field fieldOf(uint32_t settingIndex);

  VideoEncoderSettingsH264();

  H264EncoderSettings* get() { return &record; }
  const H264EncoderSettings* get() const { return &record; }

  void writeInt32(uint32_t offset, int32_t value);
  int32_t readInt32(uint32_t offset) const;
  void writeDouble(uint32_t offset, double value);
  double readDouble(uint32_t offset) const;

  // The parameter operations' view of the record.
  int setLong(uint32_t settingIndex, int64_t value);
  int setDouble(uint32_t settingIndex, double value);
  int setLongArray(uint32_t settingIndex, const int64_t* values, uint32_t count);
  int getType(uint32_t settingIndex, uint32_t* arrayLength) const;
  int getLong(uint32_t settingIndex, int64_t* value) const;
  int getDouble(uint32_t settingIndex, double* value) const;
  int getLongArray(uint32_t settingIndex, int64_t* values, uint32_t* count) const;

  // The library's check of the record: 0 when an encoder can be made.
  int checkSettings() const;

 private:
  H264EncoderSettings record;
};

}  // namespace cvx
