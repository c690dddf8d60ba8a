#include "platform/imagescaler/SwsConverter.h"

#include <array>
#include <memory>

extern "C" {
#include <libavutil/error.h>
#include <libswscale/swscale.h>
}

#include "platform/imagescaler/ScaleErrors.h"
#include "platform/imagescaler/ScaleImage.h"

namespace cvx {
namespace imagescaler {

namespace {

struct SwsContextDeleter {
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};
using SwsContextPtr = std::unique_ptr<SwsContext, SwsContextDeleter>;

struct ContextKey {
  AVPixelFormat srcFormat;
  int srcWidth, srcHeight;
  AVPixelFormat dstFormat;
  int dstWidth, dstHeight;
  bool operator==(const ContextKey& o) const {
    return srcFormat == o.srcFormat && srcWidth == o.srcWidth && srcHeight == o.srcHeight &&
           dstFormat == o.dstFormat && dstWidth == o.dstWidth && dstHeight == o.dstHeight;
  }
};

// Renditions, overlays and the BGRA reads each need their own key; eight
// covers a session's steady set, and the least recently used one goes first.
constexpr size_t kCachedContexts = 8;

struct CachedContext {
  ContextKey key{};
  SwsContextPtr context;
  uint64_t lastUse = 0;
};

struct ContextCache {
  std::array<CachedContext, kCachedContexts> entries;
  uint64_t clock = 0;
};

thread_local ContextCache cache;

// The one place where libswscale's results become our status.
int swsStatus(int result, const char* call) {
  if (result >= 0) return kScaleOk;
  char text[AV_ERROR_MAX_STRING_SIZE] = "";
  av_strerror(result, text, sizeof text);
  setScaleError(call, text);
  return kScaleLibraryFailure;
}

int createContext(const ContextKey& key, SwsContextPtr& out) {
  if (sws_isSupportedInput(key.srcFormat) <= 0 || sws_isSupportedOutput(key.dstFormat) <= 0) {
    setScaleError("sws_isSupported", "format not supported");
    return kScaleUnsupported;
  }
  SwsContextPtr context(sws_getContext(key.srcWidth, key.srcHeight, key.srcFormat, key.dstWidth,
                                       key.dstHeight, key.dstFormat, SWS_BILINEAR, nullptr,
                                       nullptr, nullptr));
  if (!context) {
    setScaleError("sws_getContext", "no context for this conversion");
    return kScaleUnsupported;
  }
  // One matrix both ways: BT.709, limited range on the YUV side. libswscale
  // ignores the range flag of an RGB side.
  const int* bt709 = sws_getCoefficients(SWS_CS_ITU709);
  const int status = swsStatus(
      sws_setColorspaceDetails(context.get(), bt709, 0, bt709, 0, 0, 1 << 16, 1 << 16),
      "sws_setColorspaceDetails");
  if (status != kScaleOk) return status;
  out = std::move(context);
  return kScaleOk;
}

SwsContext* contextFor(const ContextKey& key, int& status) {
  ++cache.clock;
  CachedContext* oldest = &cache.entries[0];
  for (CachedContext& entry : cache.entries) {
    if (entry.context && entry.key == key) {
      entry.lastUse = cache.clock;
      status = kScaleOk;
      return entry.context.get();
    }
    if (entry.lastUse < oldest->lastUse) oldest = &entry;
  }
  SwsContextPtr context;
  status = createContext(key, context);
  if (status != kScaleOk) return nullptr;
  oldest->key = key;
  oldest->context = std::move(context);
  oldest->lastUse = cache.clock;
  return oldest->context.get();
}

}  // namespace

int swsConvert(const SwsImage& src, const SwsImage& dst) {
  const ContextKey key{src.format, src.width, src.height, dst.format, dst.width, dst.height};
  int status = kScaleOk;
  SwsContext* context = contextFor(key, status);
  if (context == nullptr) return status;
  return swsStatus(sws_scale(context, src.data, src.linesize, 0, src.height, dst.data, dst.linesize),
                   "sws_scale");
}

}  // namespace imagescaler
}  // namespace cvx
