#pragma once

#include <memory>

#include "platform/mfxruntime/MfxApi.h"

namespace cvx {

// Named deleters for the Media SDK's handles, so that every owner holds a
// unique_ptr and a release runs once.
struct MfxSessionCloser {
  void operator()(mfx::mfxSession session) const { mfx::MFXClose(session); }
};
using MfxSessionPtr = std::unique_ptr<mfx::_mfxSession, MfxSessionCloser>;

}  // namespace cvx
