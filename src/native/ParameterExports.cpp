// The eight parameter exports: the decoders are the session's, the encoders
// are found by index. Every failure but a caught exception answers 0, so a
// status of 0 does not prove that a value arrived.
#include "audio/decoders/IAudioDecoder.h"
#include "audio/encoders/IAudioEncoder.h"
#include "com_corvane_cvx_transcoder_model_TranscoderSessionNative.h"
#include "native/JniSupport.h"
#include "native/ParameterExchange.h"
#include "video/decoders/IVideoDecoder.h"
#include "video/encoders/IVideoEncoder.h"

using namespace cvx;

namespace {

using Exchange = jlong (*)(JNIEnv*, IParameterTarget*, jobjectArray, const char*);

template <class Lookup>
jlong exchange(JNIEnv* env, jlong handle, jobjectArray values, const char* label, Exchange apply, Lookup lookup) {
  if (!hasParameterRecords(env, values)) return 0;
  TranscoderSession* session = sessionFromHandle(handle);
  if (session == nullptr) return 0;
  return guardExport(label, -1, [&] { return apply(env, lookup(*session), values, label); });
}

}  // namespace

extern "C" {

JNIEXPORT jlong JNICALL Java_com_corvane_cvx_transcoder_model_TranscoderSessionNative_videoDecoderSetParameterValues(
    JNIEnv* env, jobject, jlong handle, jobjectArray values) {
  return exchange(env, handle, values, "TranscoderSessionNative::videoDecoderSetParameterValues: ",
                  setParameterValues, [](TranscoderSession& s) -> IParameterTarget* { return s.getVideoDecoder(); });
}

JNIEXPORT jlong JNICALL Java_com_corvane_cvx_transcoder_model_TranscoderSessionNative_videoDecoderGetParameterValues(
    JNIEnv* env, jobject, jlong handle, jobjectArray values) {
  return exchange(env, handle, values, "TranscoderSessionNative::videoDecoderGetParameterValues: ",
                  getParameterValues, [](TranscoderSession& s) -> IParameterTarget* { return s.getVideoDecoder(); });
}

JNIEXPORT jlong JNICALL Java_com_corvane_cvx_transcoder_model_TranscoderSessionNative_audioDecoderSetParameterValues(
    JNIEnv* env, jobject, jlong handle, jobjectArray values) {
  return exchange(env, handle, values, "TranscoderSessionNative::audioDecoderSetParameterValues: ",
                  setParameterValues, [](TranscoderSession& s) -> IParameterTarget* { return s.getAudioDecoder(); });
}

JNIEXPORT jlong JNICALL Java_com_corvane_cvx_transcoder_model_TranscoderSessionNative_audioDecoderGetParameterValues(
    JNIEnv* env, jobject, jlong handle, jobjectArray values) {
  return exchange(env, handle, values, "TranscoderSessionNative::audioDecoderGetParameterValues: ",
                  getParameterValues, [](TranscoderSession& s) -> IParameterTarget* { return s.getAudioDecoder(); });
}

JNIEXPORT jlong JNICALL Java_com_corvane_cvx_transcoder_model_TranscoderSessionNative_videoEncoderSetParameterValues(
    JNIEnv* env, jobject, jlong handle, jlong index, jobjectArray values) {
  return exchange(env, handle, values, "TranscoderSessionNative::videoEncoderSetParameterValues: ",
                  setParameterValues,
                  [&](TranscoderSession& s) -> IParameterTarget* { return s.getVideoEncoder(low32(index)); });
}

JNIEXPORT jlong JNICALL Java_com_corvane_cvx_transcoder_model_TranscoderSessionNative_videoEncoderGetParameterValues(
    JNIEnv* env, jobject, jlong handle, jlong index, jobjectArray values) {
  return exchange(env, handle, values, "TranscoderSessionNative::videoEncoderGetParameterValues: ",
                  getParameterValues,
                  [&](TranscoderSession& s) -> IParameterTarget* { return s.getVideoEncoder(low32(index)); });
}

JNIEXPORT jlong JNICALL Java_com_corvane_cvx_transcoder_model_TranscoderSessionNative_audioEncoderSetParameterValues(
    JNIEnv* env, jobject, jlong handle, jlong index, jobjectArray values) {
  return exchange(env, handle, values, "TranscoderSessionNative::audioEncoderSetParameterValues: ",
                  setParameterValues,
                  [&](TranscoderSession& s) -> IParameterTarget* { return s.getAudioEncoder(low32(index)); });
}

JNIEXPORT jlong JNICALL Java_com_corvane_cvx_transcoder_model_TranscoderSessionNative_audioEncoderGetParameterValues(
    JNIEnv* env, jobject, jlong handle, jlong index, jobjectArray values) {
  return exchange(env, handle, values, "TranscoderSessionNative::audioEncoderGetParameterValues: ",
                  getParameterValues,
                  [&](TranscoderSession& s) -> IParameterTarget* { return s.getAudioEncoder(low32(index)); });
}

}  // extern "C"
