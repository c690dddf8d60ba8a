#pragma once

#include <memory>

#include "logging/Guarded.h"

namespace cvx {

// Deletes a codec of the session under its own fixed-label handler: codec
// destructors may throw, and one that does must not stop the session from
// deleting the rest. `kLabel` names the list or member the codec is held in.
template <class Codec, const char* kLabel>
struct GuardedDelete {
  void operator()(Codec* codec) const {
    guarded(kLabel, [codec] { delete codec; });
  }
};

template <class Codec, const char* kLabel>
using GuardedOwner = std::unique_ptr<Codec, GuardedDelete<Codec, kLabel>>;

}  // namespace cvx
