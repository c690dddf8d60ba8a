#include "native/JniSupport.h"

#include "native/JniClassCache.h"

namespace cvx {

namespace {

struct LongByReferenceIds {
  jfieldID value = nullptr;
  bool resolve(JNIEnv* env, jclass cls) {
    value = fieldId(env, cls, "value", "J");
    return value != nullptr;
  }
};

struct ListIds {
  jmethodID add = nullptr;
  bool resolve(JNIEnv* env, jclass cls) {
    add = methodId(env, cls, "add", "(Ljava/lang/Object;)Z");
    return add != nullptr;
  }
};

JniClassCache<LongByReferenceIds> longByReferenceIds;
JniClassCache<ListIds> listIds;

}  // namespace

void writeLongByReference(JNIEnv* env, jobject reference, jlong value) {
  if (reference == nullptr) return;
  LocalRef<jclass> cls(env, objectClass(env, reference));
  LongByReferenceIds ids;
  if (longByReferenceIds.lookup(env, cls.get(), ids)) env->SetLongField(reference, ids.value, value);
}

jmethodID listAddMethod(JNIEnv* env, jobject list) {
  if (list == nullptr) return nullptr;
  LocalRef<jclass> cls(env, objectClass(env, list));
  ListIds ids;
  return listIds.lookup(env, cls.get(), ids) ? ids.add : nullptr;
}

}  // namespace cvx
