// Session lifetime and log drain.
#include <new>
#include <vector>

#include "com_corvane_cvx_transcoder_model_TranscoderSessionNative.h"
#include "logging/LogCollector.h"
#include "native/JniClassCache.h"
#include "native/JniSupport.h"

using namespace cvx;

namespace {

struct LogStatementIds {
  jmethodID init = nullptr;
  // Fields are written where the class has them.
  jfieldID level = nullptr, contextType = nullptr, contextIndex = nullptr, statement = nullptr;

  bool resolve(JNIEnv* env, jclass cls) {
    init = methodId(env, cls, "<init>", "()V");
    level = fieldId(env, cls, "level", "I");
    contextType = fieldId(env, cls, "contextType", "I");
    contextIndex = fieldId(env, cls, "contextIndex", "I");
    statement = fieldId(env, cls, "statement", "Ljava/lang/String;");
    return init != nullptr;
  }
};

JniClassCache<LogStatementIds> logStatementIds;

void setIntIfPresent(JNIEnv* env, jobject object, jfieldID field, jint value) {
  if (field != nullptr) env->SetIntField(object, field, value);
}

// Hands drained statements to the host's list as TranscoderLogStatement
// objects. Returns -1 when the list or the statement class cannot be used;
// the statements are then lost.
jlong deliverStatements(JNIEnv* env, jobject list, const std::vector<LogStatement>& statements) {
  jmethodID add = listAddMethod(env, list);
  LocalRef<jclass> cls;
  LogStatementIds ids;
  if (add == nullptr ||
      !logStatementIds.lookupNamed(env, "com/corvane/cvx/transcoder/model/TranscoderLogStatement", cls, ids)) {
    return -1;
  }
  for (const LogStatement& s : statements) {
    LocalRef<jobject> object(env, env->NewObject(cls.get(), ids.init));
    if (!object) {
      clearPendingException(env);
      continue;
    }
    LocalRef<jstring> text(env, env->NewStringUTF(s.statement.c_str()));
    if (!text) clearPendingException(env);
    setIntIfPresent(env, object.get(), ids.level, s.level);
    setIntIfPresent(env, object.get(), ids.contextType, s.contextType);
    setIntIfPresent(env, object.get(), ids.contextIndex, s.contextIndex);
    if (ids.statement != nullptr) env->SetObjectField(object.get(), ids.statement, text.get());
    env->CallBooleanMethod(list, add, object.get());
    clearPendingException(env);
  }
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

// The host owns a session through its handle: createInstance makes it and
// destroyInstance deletes it, and nothing else does either.
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
