#include "native/JniRefs.h"

namespace cvx {

bool clearPendingException(JNIEnv* env) {
  if (!env->ExceptionCheck()) return false;
  env->ExceptionClear();
  return true;
}

jclass findClass(JNIEnv* env, const char* name) {
  jclass cls = env->FindClass(name);
  if (cls == nullptr) clearPendingException(env);
  return cls;
}

jclass objectClass(JNIEnv* env, jobject object) {
  if (object == nullptr) return nullptr;
  return env->GetObjectClass(object);
}

jfieldID fieldId(JNIEnv* env, jclass cls, const char* name, const char* signature) {
  if (cls == nullptr) return nullptr;
  jfieldID id = env->GetFieldID(cls, name, signature);
  if (id == nullptr) clearPendingException(env);
  return id;
}

jmethodID methodId(JNIEnv* env, jclass cls, const char* name, const char* signature) {
  if (cls == nullptr) return nullptr;
  jmethodID id = env->GetMethodID(cls, name, signature);
  if (id == nullptr) clearPendingException(env);
  return id;
}

}  // namespace cvx
