#pragma once

namespace cvx {

class IVideoEncoder;

// A plain handle in the session's encoder list. It copies as a pointer and
// deletes nothing: the session base deletes the encoders, each under its own
// handler, before any buffer they may read goes away.
struct VideoEncoderWrapper {
  IVideoEncoder* encoder = nullptr;
};

}  // namespace cvx
