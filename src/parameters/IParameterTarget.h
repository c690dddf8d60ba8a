#pragma once

#include <cstdint>

namespace cvx {

// Data type codes of a numbered setting, as the host's parameter record carries them.
enum ParameterDataType : int {
  kParameterUnknown = 0,
  kParameterLong = 1,
  kParameterLongArray = 2,
  kParameterDouble = 3,
  kParameterDoubleArray = 4,
};

// The nine operations through which the boundary reaches a codec's numbered
// settings without knowing any of them. Every operation returns 0 but
// getParameterType, which returns the data type code. An unknown index is no
// error: setters ignore it, getters write their default. Output pointers may be
// null and are then not written.
class IParameterTarget {
 public:
  // Codec destructors may throw; the session deletes each codec under a
  // handler of its own so that one failure does not stop the rest.
  virtual ~IParameterTarget() noexcept(false) = default;
  virtual int setParameterDoubleArray(uint32_t settingIndex, const double* values, uint32_t count) = 0;
  virtual int setParameterDouble(uint32_t settingIndex, double value) = 0;
  virtual int setParameterLongArray(uint32_t settingIndex, const int64_t* values, uint32_t count) = 0;
  virtual int setParameterLong(uint32_t settingIndex, int64_t value) = 0;
  virtual int getParameterType(uint32_t settingIndex, uint32_t* arrayLength) = 0;
  virtual int getParameterDoubleArray(uint32_t settingIndex, double* values, uint32_t* count) = 0;
  virtual int getParameterDouble(uint32_t settingIndex, double* value) = 0;
  virtual int getParameterLongArray(uint32_t settingIndex, int64_t* values, uint32_t* count) = 0;
  virtual int getParameterLong(uint32_t settingIndex, int64_t* value) = 0;
};

}  // namespace cvx
