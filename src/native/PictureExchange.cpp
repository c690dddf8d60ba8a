#include "native/PictureExchange.h"

#include <new>

#include "native/JniSupport.h"
#include "video/frames/PictureLimits.h"
#include "video/frames/VideoOverlayFrame.h"

namespace cvx {

namespace {
constexpr jlong kFourCCBGRA = 0x41524742;
}

void readPicture(JNIEnv* env, jobject frame, const PictureRead& read) {
  if (frame == nullptr) return;
  jclass cls = objectClass(env, frame);
  jfieldID fourcc = fieldId(env, cls, "fourcc", "J");
  jfieldID bytes = fieldId(env, cls, "bytes", "[B");
  jfieldID stride = fieldId(env, cls, "stride", "J");
  jfieldID frameStartOffset = fieldId(env, cls, "frameStartOffset", "J");
  jfieldID widthField = fieldId(env, cls, "width", "I");
  jfieldID heightField = fieldId(env, cls, "height", "I");
  jfieldID timecodeField = fieldId(env, cls, "timecode", "J");
  if (cls != nullptr) env->DeleteLocalRef(cls);
  if (!fourcc || !bytes || !stride || !frameStartOffset || !widthField || !heightField) return;

  const jint askedWidth = env->GetIntField(frame, widthField);
  const jint askedHeight = env->GetIntField(frame, heightField);
  uint32_t width = askedWidth > 0 ? static_cast<uint32_t>(askedWidth) : 0;
  uint32_t height = askedHeight > 0 ? static_cast<uint32_t>(askedHeight) : 0;
  uint64_t size = 0;
  int64_t timecode = 0;
  if (read(nullptr, 0, size, width, height, timecode) != 0) return;
  // A Java array is indexed by int, and the stride is width x 4.
  if (size == 0 || width == 0 || height == 0 || size > INT32_MAX || width > INT32_MAX / 4) return;

  jbyteArray array = env->NewByteArray(static_cast<jsize>(size));
  if (array == nullptr) {
    clearPendingException(env);
    return;
  }
  jbyte* elements = env->GetByteArrayElements(array, nullptr);
  if (elements == nullptr) {
    clearPendingException(env);
    env->DeleteLocalRef(array);
    return;
  }
  uint64_t written = 0;
  uint32_t finalWidth = width;
  uint32_t finalHeight = height;
  read(reinterpret_cast<uint8_t*>(elements), size, written, finalWidth, finalHeight, timecode);
  env->ReleaseByteArrayElements(array, elements, 0);

  env->SetLongField(frame, fourcc, kFourCCBGRA);
  env->SetObjectField(frame, bytes, array);
  env->SetLongField(frame, stride, static_cast<jlong>(width) * 4);
  env->SetLongField(frame, frameStartOffset, 0);
  // width and height are int fields: they get an int store, so a neighbouring
  // field of the host's object is never touched.
  env->SetIntField(frame, widthField, static_cast<jint>(width));
  env->SetIntField(frame, heightField, static_cast<jint>(height));
  if (timecodeField != nullptr) env->SetLongField(frame, timecodeField, timecode);
  env->DeleteLocalRef(array);
}

std::unique_ptr<VideoOverlayFrame> readOverlay(JNIEnv* env, jobject overlay) {
  jclass cls = objectClass(env, overlay);
  jfieldID fourcc = fieldId(env, cls, "fourcc", "J");
  jfieldID bytes = fieldId(env, cls, "bytes", "[B");
  jfieldID stride = fieldId(env, cls, "stride", "J");
  jfieldID frameStartOffset = fieldId(env, cls, "frameStartOffset", "J");
  jfieldID width = fieldId(env, cls, "width", "I");
  jfieldID height = fieldId(env, cls, "height", "I");
  jfieldID dstX = fieldId(env, cls, "dstX", "I");
  jfieldID dstY = fieldId(env, cls, "dstY", "I");
  jfieldID dstWidth = fieldId(env, cls, "dstWidth", "I");
  jfieldID dstHeight = fieldId(env, cls, "dstHeight", "I");
  jfieldID dstAlign = fieldId(env, cls, "dstAlign", "I");
  if (cls != nullptr) env->DeleteLocalRef(cls);
  if (!fourcc || !bytes || !stride || !frameStartOffset || !width || !height || !dstX || !dstY || !dstWidth ||
      !dstHeight) {
    return nullptr;
  }

  std::unique_ptr<uint8_t[]> pixels;
  uint32_t byteCount = 0;
  auto array = static_cast<jbyteArray>(env->GetObjectField(overlay, bytes));
  if (array != nullptr) {
    const jsize length = env->GetArrayLength(array);
    // An array past the limit is not copied: the overlay comes without
    // pixels, and the session reports that it cannot be drawn.
    if (length > 0 && static_cast<uint32_t>(length) <= kMaxOverlayBytes) {
      pixels.reset(new (std::nothrow) uint8_t[static_cast<std::size_t>(length)]);
      if (pixels == nullptr) {
        env->DeleteLocalRef(array);
        return nullptr;
      }
      env->GetByteArrayRegion(array, 0, length, reinterpret_cast<jbyte*>(pixels.get()));
      byteCount = static_cast<uint32_t>(length);
    }
    env->DeleteLocalRef(array);
  }

  auto frame = std::make_unique<VideoOverlayFrame>();
  frame->setPlacement(env->GetIntField(overlay, dstX), env->GetIntField(overlay, dstY),
                      static_cast<uint32_t>(env->GetIntField(overlay, dstWidth)),
                      static_cast<uint32_t>(env->GetIntField(overlay, dstHeight)),
                      dstAlign != nullptr ? env->GetIntField(overlay, dstAlign) : 17);
  frame->setFrame(static_cast<uint32_t>(env->GetLongField(overlay, fourcc)), std::move(pixels), byteCount,
                  static_cast<int32_t>(env->GetLongField(overlay, stride)),
                  static_cast<int32_t>(env->GetLongField(overlay, frameStartOffset)),
                  static_cast<uint32_t>(env->GetIntField(overlay, width)),
                  static_cast<uint32_t>(env->GetIntField(overlay, height)));
  return frame;
}

}  // namespace cvx
