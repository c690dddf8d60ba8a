#pragma once

#include "session/GuardedDelete.h"

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

}  // namespace cvx
