#pragma once

#include "audio/encoders/IAudioEncoder.h"
#include "session/GuardedDelete.h"

namespace cvx {

// The word videoEncoders stands in the audio list's label too: hosts may
// match on it as it is.
inline constexpr char kAudioEncoderWrapperDestructor[] =
    "TranscoderSessionBase#AudioEncoderWrapper::destructor[videoEncoders]: ";

using AudioEncoderOwner = GuardedOwner<IAudioEncoder, kAudioEncoderWrapperDestructor>;

// One entry of the session's audio encoder list; see VideoEncoderWrapper.
struct AudioEncoderWrapper {
  AudioEncoderOwner encoder;
};

}  // namespace cvx
