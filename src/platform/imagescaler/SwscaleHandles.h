#pragma once

#include <memory>

extern "C" {
#include <libswscale/swscale.h>
}

namespace cvx {
namespace imagescaler {

// Named deleters for libswscale's handles: the conversion context is its only one.
struct SwsContextDeleter {
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};
using SwsContextPtr = std::unique_ptr<SwsContext, SwsContextDeleter>;

}  // namespace imagescaler
}  // namespace cvx
