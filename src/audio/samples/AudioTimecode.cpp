#include "audio/samples/AudioTimecode.h"

namespace cvx {

uint64_t millisecondsToSamplePosition(uint64_t milliseconds, uint32_t sampleRate) {
  return (milliseconds * sampleRate * 10u + 5u) / 10000u;
}

uint64_t samplePositionToMilliseconds(uint64_t position, uint32_t sampleRate) {
  if (sampleRate == 0) return 0;
  return ((position * 10000u + 5u) / sampleRate) / 10u;
}

}  // namespace cvx
