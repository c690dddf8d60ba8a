#pragma once

#include <jni.h>

namespace cvx {

class IParameterTarget;

// Moves an array of TranscoderNativeParameterValue records into a codec's
// numbered settings, or fills them from it. `target` may be null (no codec,
// bad index): nothing happens. Returns 0, or -1 when an exception stopped the
// loop; elements before it are done. `label` prefixes that line on stdout.
jlong setParameterValues(JNIEnv* env, IParameterTarget* target, jobjectArray values, const char* label);
jlong getParameterValues(JNIEnv* env, IParameterTarget* target, jobjectArray values, const char* label);

// True when the record array has at least one element; the exports answer 0
// before touching the handle otherwise.
bool hasParameterRecords(JNIEnv* env, jobjectArray values);

}  // namespace cvx
