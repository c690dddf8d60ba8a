#include "native/ParameterExchange.h"

#include <vector>

#include "parameters/IParameterTarget.h"
#include "native/JniSupport.h"

namespace cvx {

namespace {

constexpr const char* kParameterClass = "com/corvane/cvx/transcoder/model/TranscoderNativeParameterValue";

struct ParameterFields {
  jfieldID dataType = nullptr;
  jfieldID settingIndex = nullptr;
  jfieldID lValue = nullptr;
  jfieldID larValue = nullptr;
  jfieldID dValue = nullptr;
  jfieldID darValue = nullptr;

  bool resolve(JNIEnv* env) {
    jclass cls = findClass(env, kParameterClass);
    if (cls == nullptr) return false;
    dataType = fieldId(env, cls, "dataType", "I");
    settingIndex = fieldId(env, cls, "settingIndex", "I");
    lValue = fieldId(env, cls, "lValue", "J");
    larValue = fieldId(env, cls, "larValue", "[J");
    dValue = fieldId(env, cls, "dValue", "D");
    darValue = fieldId(env, cls, "darValue", "[D");
    env->DeleteLocalRef(cls);
    return dataType && settingIndex && lValue && larValue && dValue && darValue;
  }
};

// A record of another class in the array would be read through foreign field
// ids; only instances of the record class are touched.
bool isRecord(JNIEnv* env, jobject element) {
  jclass cls = findClass(env, kParameterClass);
  if (cls == nullptr) return false;
  const bool ok = env->IsInstanceOf(element, cls);
  env->DeleteLocalRef(cls);
  return ok;
}

void setOne(JNIEnv* env, IParameterTarget* target, const ParameterFields& f, jobject element) {
  const jint type = env->GetIntField(element, f.dataType);
  const uint32_t index = static_cast<uint32_t>(env->GetIntField(element, f.settingIndex));
  switch (type) {
    case kParameterLong:
      target->setParameterLong(index, env->GetLongField(element, f.lValue));
      break;
    case kParameterLongArray: {
      auto array = static_cast<jlongArray>(env->GetObjectField(element, f.larValue));
      if (array == nullptr) break;
      const jsize length = env->GetArrayLength(array);
      if (length > 0) {
        jlong* values = env->GetLongArrayElements(array, nullptr);
        if (values != nullptr) {
          target->setParameterLongArray(index, reinterpret_cast<const int64_t*>(values), static_cast<uint32_t>(length));
          env->ReleaseLongArrayElements(array, values, JNI_ABORT);
        }
      }
      env->DeleteLocalRef(array);
      break;
    }
    case kParameterDouble:
      target->setParameterDouble(index, env->GetDoubleField(element, f.dValue));
      break;
    case kParameterDoubleArray: {
      auto array = static_cast<jdoubleArray>(env->GetObjectField(element, f.darValue));
      if (array == nullptr) break;
      const jsize length = env->GetArrayLength(array);
      if (length > 0) {
        jdouble* values = env->GetDoubleArrayElements(array, nullptr);
        if (values != nullptr) {
          target->setParameterDoubleArray(index, values, static_cast<uint32_t>(length));
          env->ReleaseDoubleArrayElements(array, values, JNI_ABORT);
        }
      }
      env->DeleteLocalRef(array);
      break;
    }
    default:
      break;
  }
}

void getOne(JNIEnv* env, IParameterTarget* target, const ParameterFields& f, jobject element) {
  const uint32_t index = static_cast<uint32_t>(env->GetIntField(element, f.settingIndex));
  uint32_t arrayLength = 0;
  const int type = target->getParameterType(index, &arrayLength);
  if (type == kParameterUnknown) return;
  env->SetIntField(element, f.dataType, type);
  switch (type) {
    case kParameterLong: {
      int64_t value = 0;
      target->getParameterLong(index, &value);
      env->SetLongField(element, f.lValue, value);
      break;
    }
    case kParameterLongArray: {
      if (arrayLength == 0) break;
      jlongArray array = env->NewLongArray(static_cast<jsize>(arrayLength));
      if (array == nullptr) {
        clearPendingException(env);
        break;
      }
      env->SetObjectField(element, f.larValue, array);
      // The getter reports how many elements it wrote and never more than the
      // count it is given, so the scratch is sized to the array itself.
      std::vector<int64_t> scratch(arrayLength);
      uint32_t count = arrayLength;
      target->getParameterLongArray(index, scratch.data(), &count);
      if (count > arrayLength) count = arrayLength;
      if (count > 0) env->SetLongArrayRegion(array, 0, static_cast<jsize>(count), reinterpret_cast<jlong*>(scratch.data()));
      env->DeleteLocalRef(array);
      break;
    }
    case kParameterDouble: {
      double value = 0.0;
      target->getParameterDouble(index, &value);
      env->SetDoubleField(element, f.dValue, value);
      break;
    }
    case kParameterDoubleArray: {
      if (arrayLength == 0) break;
      jdoubleArray array = env->NewDoubleArray(static_cast<jsize>(arrayLength));
      if (array == nullptr) {
        clearPendingException(env);
        break;
      }
      env->SetObjectField(element, f.darValue, array);
      std::vector<double> scratch(arrayLength);
      uint32_t count = arrayLength;
      target->getParameterDoubleArray(index, scratch.data(), &count);
      if (count > arrayLength) count = arrayLength;
      if (count > 0) env->SetDoubleArrayRegion(array, 0, static_cast<jsize>(count), scratch.data());
      env->DeleteLocalRef(array);
      break;
    }
    default:
      break;
  }
}

template <class Apply>
jlong forEachRecord(JNIEnv* env, IParameterTarget* target, jobjectArray values, const char* label, Apply apply) {
  if (target == nullptr) return 0;
  ParameterFields fields;
  if (!fields.resolve(env)) return 0;
  const jsize length = env->GetArrayLength(values);
  for (jsize i = 0; i < length; ++i) {
    try {
      jobject element = env->GetObjectArrayElement(values, i);
      // A null element or a foreign object is skipped: reading fields from it
      // would bring the JVM down.
      if (element != nullptr && isRecord(env, element)) apply(env, target, fields, element);
      if (element != nullptr) env->DeleteLocalRef(element);
    } catch (const std::exception& e) {
      writeStdoutLine(label, e);
      return -1;
    }
  }
  return 0;
}

}  // namespace

bool hasParameterRecords(JNIEnv* env, jobjectArray values) {
  return values != nullptr && env->GetArrayLength(values) >= 1;
}

jlong setParameterValues(JNIEnv* env, IParameterTarget* target, jobjectArray values, const char* label) {
  return forEachRecord(env, target, values, label, setOne);
}

jlong getParameterValues(JNIEnv* env, IParameterTarget* target, jobjectArray values, const char* label) {
  return forEachRecord(env, target, values, label, getOne);
}

}  // namespace cvx
