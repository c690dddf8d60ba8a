#include "native/PictureExchange.h"

#include <climits>

#include "media/ByteBlocks.h"
#include "media/FourCC.h"
#include "native/JniClassCache.h"
#include "native/JniSupport.h"
#include "video/frames/PictureLimits.h"
#include "video/frames/VideoOverlayFrame.h"

namespace cvx {

namespace {

// The fields that host pictures and overlays share. Their classes are known
// by these fields alone, so every class gets ids of its own.
struct PictureFields {
  jfieldID fourcc = nullptr, bytes = nullptr, stride = nullptr, frameStartOffset = nullptr;
  jfieldID width = nullptr, height = nullptr;

  bool resolve(JNIEnv* env, jclass cls) {
    fourcc = fieldId(env, cls, "fourcc", "J");
    bytes = fieldId(env, cls, "bytes", "[B");
    stride = fieldId(env, cls, "stride", "J");
    frameStartOffset = fieldId(env, cls, "frameStartOffset", "J");
    width = fieldId(env, cls, "width", "I");
    height = fieldId(env, cls, "height", "I");
    return fourcc && bytes && stride && frameStartOffset && width && height;
  }
};

struct FrameIds {
  PictureFields picture;
  jfieldID timecode = nullptr;  // written where the class has it

  bool resolve(JNIEnv* env, jclass cls) {
    const bool found = picture.resolve(env, cls);
    timecode = fieldId(env, cls, "timecode", "J");
    return found;
  }
};

struct OverlayIds {
  PictureFields picture;
  jfieldID dstX = nullptr, dstY = nullptr, dstWidth = nullptr, dstHeight = nullptr;
  jfieldID dstAlign = nullptr;  // left and top where the class has none

  bool resolve(JNIEnv* env, jclass cls) {
    const bool found = picture.resolve(env, cls);
    dstX = fieldId(env, cls, "dstX", "I");
    dstY = fieldId(env, cls, "dstY", "I");
    dstWidth = fieldId(env, cls, "dstWidth", "I");
    dstHeight = fieldId(env, cls, "dstHeight", "I");
    dstAlign = fieldId(env, cls, "dstAlign", "I");
    return found && dstX && dstY && dstWidth && dstHeight;
  }
};

JniClassCache<FrameIds> frameIds;
JniClassCache<OverlayIds> overlayIds;

// The overlay's pixels, copied; none for an absent or empty array, or one
// past the limit, which the session reports as an overlay it cannot draw.
// False when no memory could be had.
bool copyOverlayPixels(JNIEnv* env, jobject overlay, jfieldID field, std::unique_ptr<uint8_t[]>& pixels,
                       uint32_t& byteCount) {
  LocalRef<jbyteArray> array(env, static_cast<jbyteArray>(env->GetObjectField(overlay, field)));
  if (!array) return true;
  const jsize length = env->GetArrayLength(array.get());
  if (length <= 0 || static_cast<uint32_t>(length) > kMaxOverlayBytes) return true;
  pixels = tryAllocateBytes(static_cast<uint64_t>(length));
  if (pixels == nullptr) return false;
  env->GetByteArrayRegion(array.get(), 0, length, reinterpret_cast<jbyte*>(pixels.get()));
  byteCount = static_cast<uint32_t>(length);
  return true;
}

}  // namespace

void readPicture(JNIEnv* env, jobject frame, const PictureRead& read) {
  if (frame == nullptr) return;
  FrameIds ids;
  {
    LocalRef<jclass> cls(env, objectClass(env, frame));
    if (!frameIds.lookup(env, cls.get(), ids)) return;
  }
  const PictureFields& f = ids.picture;
  const jint askedWidth = env->GetIntField(frame, f.width);
  const jint askedHeight = env->GetIntField(frame, f.height);
  uint32_t width = askedWidth > 0 ? static_cast<uint32_t>(askedWidth) : 0;
  uint32_t height = askedHeight > 0 ? static_cast<uint32_t>(askedHeight) : 0;
  uint64_t size = 0;
  int64_t timecode = 0;
  if (read(nullptr, 0, size, width, height, timecode) != 0) return;
  // A Java array is indexed by int, and the stride is width x 4.
  if (size == 0 || width == 0 || height == 0 || size > INT32_MAX || width > INT32_MAX / 4) return;

  LocalRef<jbyteArray> array(env, env->NewByteArray(static_cast<jsize>(size)));
  if (!array) {
    clearPendingException(env);
    return;
  }
  {
    ArrayElements<jbyteArray> elements(env, array.get(), 0);
    if (!elements) return;
    uint64_t written = 0;
    uint32_t finalWidth = width;
    uint32_t finalHeight = height;
    read(reinterpret_cast<uint8_t*>(elements.get()), size, written, finalWidth, finalHeight, timecode);
  }
  env->SetLongField(frame, f.fourcc, static_cast<jlong>(kFourCCBGRA));
  env->SetObjectField(frame, f.bytes, array.get());
  env->SetLongField(frame, f.stride, static_cast<jlong>(width) * 4);
  env->SetLongField(frame, f.frameStartOffset, 0);
  // width and height are int fields: they get an int store, so a neighbouring
  // field of the host's object is never touched.
  env->SetIntField(frame, f.width, static_cast<jint>(width));
  env->SetIntField(frame, f.height, static_cast<jint>(height));
  if (ids.timecode != nullptr) env->SetLongField(frame, ids.timecode, timecode);
}

std::unique_ptr<VideoOverlayFrame> readOverlay(JNIEnv* env, jobject overlay) {
  OverlayIds ids;
  {
    LocalRef<jclass> cls(env, objectClass(env, overlay));
    if (!overlayIds.lookup(env, cls.get(), ids)) return nullptr;
  }
  const PictureFields& f = ids.picture;
  std::unique_ptr<uint8_t[]> pixels;
  uint32_t byteCount = 0;
  if (!copyOverlayPixels(env, overlay, f.bytes, pixels, byteCount)) return nullptr;

  auto frame = std::make_unique<VideoOverlayFrame>();
  frame->setPlacement(env->GetIntField(overlay, ids.dstX), env->GetIntField(overlay, ids.dstY),
                      static_cast<uint32_t>(env->GetIntField(overlay, ids.dstWidth)),
                      static_cast<uint32_t>(env->GetIntField(overlay, ids.dstHeight)),
                      ids.dstAlign != nullptr ? env->GetIntField(overlay, ids.dstAlign)
                                              : kOverlayAlignLeft | kOverlayAlignTop);
  frame->setFrame(static_cast<uint32_t>(env->GetLongField(overlay, f.fourcc)), std::move(pixels), byteCount,
                  static_cast<int32_t>(env->GetLongField(overlay, f.stride)),
                  static_cast<int32_t>(env->GetLongField(overlay, f.frameStartOffset)),
                  static_cast<uint32_t>(env->GetIntField(overlay, f.width)),
                  static_cast<uint32_t>(env->GetIntField(overlay, f.height)));
  return frame;
}

}  // namespace cvx
