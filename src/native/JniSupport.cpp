#include "native/JniSupport.h"

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

void writeLongByReference(JNIEnv* env, jobject reference, jlong value) {
  if (reference == nullptr) return;
  jclass cls = objectClass(env, reference);
  jfieldID field = fieldId(env, cls, "value", "J");
  if (field != nullptr) env->SetLongField(reference, field, value);
  if (cls != nullptr) env->DeleteLocalRef(cls);
}

jmethodID listAddMethod(JNIEnv* env, jobject list) {
  if (list == nullptr) return nullptr;
  jclass cls = objectClass(env, list);
  jmethodID add = methodId(env, cls, "add", "(Ljava/lang/Object;)Z");
  if (cls != nullptr) env->DeleteLocalRef(cls);
  return add;
}

}  // namespace cvx
