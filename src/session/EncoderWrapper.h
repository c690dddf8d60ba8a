#pragma once

#include "audio/encoders/IAudioEncoder.h"
#include "session/GuardedDelete.h"
#include "video/encoders/IVideoEncoder.h"

namespace cvx {

// One entry of one of the session's encoder lists, which owns the encoder
// and deletes it under the list's handler (`kLabel`). The session base
// empties each list front to back before any buffer the encoders may read
// goes away.
template <class Encoder, const char* kLabel>
struct EncoderWrapper {
  using Owner = GuardedOwner<Encoder, kLabel>;
  Owner encoder;
};

inline constexpr char kVideoEncoderWrapperDestructor[] =
    "TranscoderSessionBase#VideoEncoderWrapper::destructor[videoEncoders]: ";
// The word videoEncoders stands in the audio list's label too: hosts may
// match on it as it is.
inline constexpr char kAudioEncoderWrapperDestructor[] =
    "TranscoderSessionBase#AudioEncoderWrapper::destructor[videoEncoders]: ";

using VideoEncoderWrapper = EncoderWrapper<IVideoEncoder, kVideoEncoderWrapperDestructor>;
using AudioEncoderWrapper = EncoderWrapper<IAudioEncoder, kAudioEncoderWrapperDestructor>;

}  // namespace cvx
