#pragma once

namespace cvx {

class IAudioEncoder;

// A plain handle in the session's audio encoder list; see VideoEncoderWrapper.
struct AudioEncoderWrapper {
  IAudioEncoder* encoder = nullptr;
};

}  // namespace cvx
