// Session lifetime and log drain.
#include <new>
#include <vector>

#include "com_corvane_cvx_transcoder_model_TranscoderSessionNative.h"
#include "logging/LogCollector.h"
#include "native/JniSupport.h"

using namespace cvx;

namespace {

// Hands drained statements to the host's list as TranscoderLogStatement
// objects. Returns -1 when the list or the statement class cannot be used;
// the statements are then lost.
jlong deliverStatements(JNIEnv* env, jobject list, const std::vector<LogStatement>& statements) {
  jmethodID add = listAddMethod(env, list);
  jclass cls = findClass(env, "com/corvane/cvx/transcoder/model/TranscoderLogStatement");
  jmethodID init = methodId(env, cls, "<init>", "()V");
  if (add == nullptr || cls == nullptr || init == nullptr) {
    if (cls != nullptr) env->DeleteLocalRef(cls);
    return -1;
  }
  jfieldID level = fieldId(env, cls, "level", "I");
  jfieldID contextType = fieldId(env, cls, "contextType", "I");
  jfieldID contextIndex = fieldId(env, cls, "contextIndex", "I");
  jfieldID text = fieldId(env, cls, "statement", "Ljava/lang/String;");
  for (const LogStatement& s : statements) {
    jobject object = env->NewObject(cls, init);
    if (object == nullptr) {
      clearPendingException(env);
      continue;
    }
    jstring string = env->NewStringUTF(s.statement.c_str());
    if (string == nullptr) clearPendingException(env);
    if (level != nullptr) env->SetIntField(object, level, s.level);
    if (contextType != nullptr) env->SetIntField(object, contextType, s.contextType);
    if (contextIndex != nullptr) env->SetIntField(object, contextIndex, s.contextIndex);
    if (text != nullptr) env->SetObjectField(object, text, string);
    env->CallBooleanMethod(list, add, object);
    clearPendingException(env);
    if (string != nullptr) env->DeleteLocalRef(string);
    env->DeleteLocalRef(object);
  }
  env->DeleteLocalRef(cls);
  return 0;
}

}  // namespace

extern "C" {

JNIEXPORT jlong JNICALL Java_com_corvane_cvx_transcoder_model_TranscoderSessionNative_nativeInitialize(JNIEnv*,
                                                                                                       jobject) {
  return guardExport("TranscoderSessionNative::nativeInitialize: ", 0, [] {
    getDefaultLogger();
    return jlong{0};
  });
}

JNIEXPORT jlong JNICALL Java_com_corvane_cvx_transcoder_model_TranscoderSessionNative_createInstance(JNIEnv*,
                                                                                                     jobject) {
  return guardExport("TranscoderSessionNative::createInstance: ", 0, [] {
    auto* session = new (std::nothrow) TranscoderSession();
    return static_cast<jlong>(reinterpret_cast<intptr_t>(session));
  });
}

JNIEXPORT jlong JNICALL Java_com_corvane_cvx_transcoder_model_TranscoderSessionNative_destroyInstance(JNIEnv*, jobject,
                                                                                                      jlong handle) {
  return guardExport("TranscoderSessionNative::destroyInstance: ", -1, [&] {
    ITranscoderSession* session = sessionFromHandle(handle);
    delete session;
    return jlong{0};
  });
}

JNIEXPORT jlong JNICALL Java_com_corvane_cvx_transcoder_model_TranscoderSessionNative_getLogStatements(
    JNIEnv* env, jobject, jlong handle, jobject list) {
  return guardExport("TranscoderSessionNative::getLogStatements[delete]: ", -1, [&] {
    TranscoderSession* session = sessionFromHandle(handle);
    if (session == nullptr) return jlong{-1};
    std::vector<LogStatement> localLogStatements;
    drainLogStatements(*getDefaultLogger(), session->getLogCollector(), localLogStatements);
    if (localLogStatements.empty()) return jlong{0};
    return deliverStatements(env, list, localLogStatements);
  });
}

}  // extern "C"
