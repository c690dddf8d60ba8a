#pragma once

#include "session/EncoderWrapper.h"
#include "video/encoders/IVideoEncoder.h"

namespace cvx {

inline constexpr char kVideoEncoderWrapperDestructor[] =
    "TranscoderSessionBase#VideoEncoderWrapper::destructor[videoEncoders]: ";

using VideoEncoderWrapper = EncoderWrapper<IVideoEncoder, kVideoEncoderWrapperDestructor>;

}  // namespace cvx
