#pragma once

#include "audio/encoders/IAudioEncoder.h"
#include "session/EncoderWrapper.h"

namespace cvx {

// The word videoEncoders stands in the audio list's label too: hosts may
// match on it as it is.
inline constexpr char kAudioEncoderWrapperDestructor[] =
    "TranscoderSessionBase#AudioEncoderWrapper::destructor[videoEncoders]: ";

using AudioEncoderWrapper = EncoderWrapper<IAudioEncoder, kAudioEncoderWrapperDestructor>;

}  // namespace cvx
