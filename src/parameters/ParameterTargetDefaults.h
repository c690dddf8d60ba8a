#pragma once

#include <cstdint>

#include "parameters/IParameterTarget.h"

namespace cvx {

// The defaults of a codec without settings: setters do nothing, getters write
// zeros and count 0, every index is unknown. Codec base classes derive from
// this over their own interface, and a class with a settings table overrides.
template <class Interface>
class ParameterTargetDefaults : public Interface {
 public:
  int setParameterDoubleArray(uint32_t, const double*, uint32_t) override { return 0; }
  int setParameterDouble(uint32_t, double) override { return 0; }
  int setParameterLongArray(uint32_t, const int64_t*, uint32_t) override { return 0; }
  int setParameterLong(uint32_t, int64_t) override { return 0; }
  int getParameterType(uint32_t, uint32_t* arrayLength) override {
    if (arrayLength != nullptr) *arrayLength = 0;
    return kParameterUnknown;
  }
  int getParameterDoubleArray(uint32_t, double*, uint32_t* count) override {
    if (count != nullptr) *count = 0;
    return 0;
  }
  int getParameterDouble(uint32_t, double* value) override {
    if (value != nullptr) *value = 0.0;
    return 0;
  }
  int getParameterLongArray(uint32_t, int64_t*, uint32_t* count) override {
    if (count != nullptr) *count = 0;
    return 0;
  }
  int getParameterLong(uint32_t, int64_t* value) override {
    if (value != nullptr) *value = 0;
    return 0;
  }
};

}  // namespace cvx
