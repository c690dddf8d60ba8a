#pragma once

#include <jni.h>

#include <cstdint>
#include <utility>

#include "logging/Guarded.h"
#include "logging/StdoutLine.h"
#include "native/JniRefs.h"
#include "session/TranscoderSession.h"

// Spells an export's full name from the Java method name.
#define CVX_EXPORT(method) JNIEXPORT jlong JNICALL Java_com_corvane_cvx_transcoder_model_TranscoderSessionNative_##method

namespace cvx {

// The session behind a host handle; null for a zero handle. A handle that was
// destroyed or made up cannot be told from a live one.
inline TranscoderSession* sessionFromHandle(jlong handle) {
  return reinterpret_cast<TranscoderSession*>(static_cast<intptr_t>(handle));
}

// Session statuses are unsigned 32-bit and widen without sign extension, so a
// session failure reaches the host as 4294967295 while a failure in the export
// itself is -1. A host must treat both as failure.
inline jlong widenStatus(uint32_t status) { return static_cast<jlong>(status); }

// Numeric arguments arrive as Java longs; the session takes their low 32 bits.
inline uint32_t low32(jlong value) { return static_cast<uint32_t>(value); }

// Runs `body` under the export's handler: a std::exception writes
// "<label><what>" on standard output and yields `caught`. Nothing else may
// cross into the JVM either, so any other exception is answered the same way.
template <class Body>
jlong guardExport(const char* label, jlong caught, Body&& body) {
  try {
    return guarded(label, std::forward<Body>(body), caught);
  } catch (...) {
    writeStdoutLine(label, "unknown exception");
    return caught;
  }
}

// The common frame of an export that forwards to one session method: a zero
// handle answers `zeroHandle`; otherwise the call runs under the export's
// handler and its unsigned status is widened for the host.
template <class Call>
jlong callSession(jlong handle, const char* label, jlong zeroHandle, jlong caught, Call&& call) {
  TranscoderSession* session = sessionFromHandle(handle);
  if (session == nullptr) return zeroHandle;
  return guardExport(label, caught, [&] { return widenStatus(call(*session)); });
}

// Writes `value` into the `value` (J) field of a TranscoderLongByReference.
// A null object or one without the field is skipped silently.
void writeLongByReference(JNIEnv* env, jobject reference, jlong value);

// callSession for a method with one out-value, which is written to the
// host's TranscoderLongByReference whatever the status, unless the handle
// is zero. The value starts at 0.
template <class Call>
jlong callSessionWithOut(JNIEnv* env, jlong handle, const char* label, jobject reference, Call&& call) {
  uint32_t value = 0;
  const jlong status = callSession(handle, label, -1, -1, [&](TranscoderSession& s) { return call(s, value); });
  if (sessionFromHandle(handle) != nullptr) writeLongByReference(env, reference, value);
  return status;
}

// Looks up `add(Object)` on a java.util.List; null (exception cleared) if absent.
jmethodID listAddMethod(JNIEnv* env, jobject list);

}  // namespace cvx
