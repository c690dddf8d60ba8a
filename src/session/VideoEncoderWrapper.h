#pragma once

#include "session/GuardedDelete.h"
#include "video/encoders/IVideoEncoder.h"

namespace cvx {

inline constexpr char kVideoEncoderWrapperDestructor[] =
    "TranscoderSessionBase#VideoEncoderWrapper::destructor[videoEncoders]: ";

using VideoEncoderOwner = GuardedOwner<IVideoEncoder, kVideoEncoderWrapperDestructor>;

// One entry of the session's video encoder list, which owns the encoder.
// The session base empties the list front to back before any buffer the
// encoders may read goes away.
struct VideoEncoderWrapper {
  VideoEncoderOwner encoder;
};

}  // namespace cvx
