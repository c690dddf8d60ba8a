#pragma once

#include <stdint.h>  // the library header needs it first
#include <x264.h>

#include "platform/h264encoder/H264EncoderSettings.h"
#include "platform/h264encoder/H264Messages.h"
#include "platform/h264encoder/X264Handles.h"

namespace cvx {

// The one place where the library's return codes become our status codes:
// a negative result is logged with the operation's name through err_printf
// (the library has already told its own reason through its log hook) and
// answers `failureStatus`; anything else answers kH264Ok.
int checkX264(int result, const char* operation, int failureStatus, const H264Messages& messages);

// Builds the library's parameters from the record: the speed preset and
// tunes first, then every field of the mapping table, then zero latency,
// then the profile. Our own refusals go to `messages`; the library's log
// lines go into our log. Whatever the record held before is released first,
// so one record can be built again. Returns a status code.
int buildX264Params(const H264EncoderSettings& settings, const H264Messages& messages, X264Params& params);

// Points the library's picture at a 4:2:0 block in the frame buffer layout:
// both chroma planes follow the luma plane in memory order at width*height
// and width*height*5/4 with half the stride; YV12 holds V first, which the
// library takes as such. The one place where our picture formats meet the
// library's; nothing is copied.
void pointX264Picture(x264_picture_t& picture, const uint8_t* plane0, int32_t stride, uint32_t width,
                      uint32_t height, uint32_t fourcc);

// The live-stream record described at h264OutVideoDefaults.
void fillLiveDefaults(H264EncoderSettings& settings, uint32_t familyProfile, uint32_t speedPreset);

}  // namespace cvx
