#pragma once

#include <jni.h>

#include <utility>

namespace cvx {

// True (and cleared) when the last JNI call raised a Java exception.
bool clearPendingException(JNIEnv* env);

// JNI lookups. A failed lookup leaves a Java exception pending; these clear
// it, so that a missing class, field or method is answered by the status the
// export holds, never by an exception thrown into the host. Each answers
// null for a null class or object.
jclass findClass(JNIEnv* env, const char* name);
jclass objectClass(JNIEnv* env, jobject object);
jfieldID fieldId(JNIEnv* env, jclass cls, const char* name, const char* signature);
jmethodID methodId(JNIEnv* env, jclass cls, const char* name, const char* signature);

// A local reference deleted when it goes out of scope, so that an export
// that makes objects in a loop never fills the JVM's table of local
// references. Null is a valid, empty value.
template <class Ref>
class LocalRef {
 public:
  LocalRef() = default;
  LocalRef(JNIEnv* env, Ref ref) : env_(env), ref_(ref) {}
  ~LocalRef() { reset(); }
  LocalRef(LocalRef&& other) noexcept : env_(other.env_), ref_(std::exchange(other.ref_, nullptr)) {}
  LocalRef& operator=(LocalRef&& other) noexcept {
    if (this != &other) {
      reset();
      env_ = other.env_;
      ref_ = std::exchange(other.ref_, nullptr);
    }
    return *this;
  }
  LocalRef(const LocalRef&) = delete;
  LocalRef& operator=(const LocalRef&) = delete;

  Ref get() const { return ref_; }
  explicit operator bool() const { return ref_ != nullptr; }
  void reset() {
    if (ref_ != nullptr) env_->DeleteLocalRef(ref_);
    ref_ = nullptr;
  }

 private:
  JNIEnv* env_ = nullptr;
  Ref ref_ = nullptr;
};

// The Get/Release pair of each primitive array type the boundary pins.
template <class Array>
struct ArrayAccess;

template <>
struct ArrayAccess<jbyteArray> {
  using Element = jbyte;
  static Element* get(JNIEnv* env, jbyteArray a) { return env->GetByteArrayElements(a, nullptr); }
  static void release(JNIEnv* env, jbyteArray a, Element* e, jint mode) { env->ReleaseByteArrayElements(a, e, mode); }
};

template <>
struct ArrayAccess<jlongArray> {
  using Element = jlong;
  static Element* get(JNIEnv* env, jlongArray a) { return env->GetLongArrayElements(a, nullptr); }
  static void release(JNIEnv* env, jlongArray a, Element* e, jint mode) { env->ReleaseLongArrayElements(a, e, mode); }
};

template <>
struct ArrayAccess<jdoubleArray> {
  using Element = jdouble;
  static Element* get(JNIEnv* env, jdoubleArray a) { return env->GetDoubleArrayElements(a, nullptr); }
  static void release(JNIEnv* env, jdoubleArray a, Element* e, jint mode) {
    env->ReleaseDoubleArrayElements(a, e, mode);
  }
};

// The elements of a Java array, held for one scope and released on every
// path: with mode 0 they are copied back, with JNI_ABORT not. A failed
// fetch leaves no exception pending and gives null.
template <class Array>
class ArrayElements {
 public:
  using Element = typename ArrayAccess<Array>::Element;

  ArrayElements(JNIEnv* env, Array array, jint releaseMode) : env_(env), array_(array), mode_(releaseMode) {
    if (array_ != nullptr) elements_ = ArrayAccess<Array>::get(env_, array_);
    if (elements_ == nullptr) clearPendingException(env_);
  }
  ~ArrayElements() {
    if (elements_ != nullptr) ArrayAccess<Array>::release(env_, array_, elements_, mode_);
  }
  ArrayElements(const ArrayElements&) = delete;
  ArrayElements& operator=(const ArrayElements&) = delete;

  Element* get() const { return elements_; }
  explicit operator bool() const { return elements_ != nullptr; }

 private:
  JNIEnv* env_;
  Array array_;
  jint mode_;
  Element* elements_ = nullptr;
};

}  // namespace cvx
