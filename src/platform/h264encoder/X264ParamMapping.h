#pragma once

#include <stdint.h>  // the library header needs it first
#include <x264.h>

#include "platform/h264encoder/H264EncoderSettings.h"
#include "platform/h264encoder/H264Messages.h"

namespace cvx {

// The one place where the library's return codes become our status codes:
// a negative result is logged with the operation's name through err_printf
// (the library has already told its own reason through its log hook) and
// answers `failureStatus`; anything else answers kH264Ok.
int checkX264(int result, const char* operation, int failureStatus, const H264Messages& messages);

// Builds the library's parameters from the record: the speed preset and
// tunes first, then every field of the mapping table, then zero latency,
// then the profile. Log lines of the library go to `messages`, which must
// outlive every encoder opened with `param`. Returns a status code.
int buildX264Params(const H264EncoderSettings& settings, const H264Messages& messages, x264_param_t& param);

// The live-stream record described at h264OutVideoDefaults.
void fillLiveDefaults(H264EncoderSettings& settings, uint32_t familyProfile, uint32_t speedPreset);

}  // namespace cvx
