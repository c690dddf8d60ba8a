#include "native/ParameterExchange.h"

#include <vector>

#include "native/JniClassCache.h"
#include "native/JniSupport.h"
#include "parameters/IParameterTarget.h"

namespace cvx {

namespace {

struct ParameterIds {
  jfieldID dataType = nullptr;
  jfieldID settingIndex = nullptr;
  jfieldID lValue = nullptr;
  jfieldID larValue = nullptr;
  jfieldID dValue = nullptr;
  jfieldID darValue = nullptr;

  bool resolve(JNIEnv* env, jclass cls) {
    dataType = fieldId(env, cls, "dataType", "I");
    settingIndex = fieldId(env, cls, "settingIndex", "I");
    lValue = fieldId(env, cls, "lValue", "J");
    larValue = fieldId(env, cls, "larValue", "[J");
    dValue = fieldId(env, cls, "dValue", "D");
    darValue = fieldId(env, cls, "darValue", "[D");
    return dataType && settingIndex && lValue && larValue && dValue && darValue;
  }
};

JniClassCache<ParameterIds> parameterIds;

// What the array settings of one element type need: the record's field, and
// the codec's and the JVM's calls for that type.
struct LongArrays {
  using Array = jlongArray;
  using Value = int64_t;
  static jfieldID field(const ParameterIds& ids) { return ids.larValue; }
  static void set(IParameterTarget& t, uint32_t index, const jlong* values, uint32_t count) {
    t.setParameterLongArray(index, reinterpret_cast<const int64_t*>(values), count);
  }
  static void get(IParameterTarget& t, uint32_t index, int64_t* values, uint32_t* count) {
    t.getParameterLongArray(index, values, count);
  }
  static Array make(JNIEnv* env, jsize length) { return env->NewLongArray(length); }
  static void write(JNIEnv* env, Array array, jsize count, const int64_t* values) {
    env->SetLongArrayRegion(array, 0, count, reinterpret_cast<const jlong*>(values));
  }
};

struct DoubleArrays {
  using Array = jdoubleArray;
  using Value = double;
  static jfieldID field(const ParameterIds& ids) { return ids.darValue; }
  static void set(IParameterTarget& t, uint32_t index, const jdouble* values, uint32_t count) {
    t.setParameterDoubleArray(index, values, count);
  }
  static void get(IParameterTarget& t, uint32_t index, double* values, uint32_t* count) {
    t.getParameterDoubleArray(index, values, count);
  }
  static Array make(JNIEnv* env, jsize length) { return env->NewDoubleArray(length); }
  static void write(JNIEnv* env, Array array, jsize count, const double* values) {
    env->SetDoubleArrayRegion(array, 0, count, values);
  }
};

// An array setting: the record's array, if any and not empty, is lent to
// the codec and released without copying back.
template <class Kind>
void setArray(JNIEnv* env, IParameterTarget& target, const ParameterIds& ids, jobject element, uint32_t index) {
  LocalRef<typename Kind::Array> array(
      env, static_cast<typename Kind::Array>(env->GetObjectField(element, Kind::field(ids))));
  if (!array) return;
  const jsize length = env->GetArrayLength(array.get());
  if (length <= 0) return;
  ArrayElements<typename Kind::Array> values(env, array.get(), JNI_ABORT);
  if (values) Kind::set(target, index, values.get(), static_cast<uint32_t>(length));
}

// An array setting read back: a new array of the setting's length goes into
// the record, and whatever the codec wrote into it.
template <class Kind>
void getArray(JNIEnv* env, IParameterTarget& target, const ParameterIds& ids, jobject element, uint32_t index,
              uint32_t arrayLength) {
  if (arrayLength == 0) return;
  LocalRef<typename Kind::Array> array(env, Kind::make(env, static_cast<jsize>(arrayLength)));
  if (!array) {
    clearPendingException(env);
    return;
  }
  env->SetObjectField(element, Kind::field(ids), array.get());
  // The getter reports how many elements it wrote and never more than the
  // count it is given, so the scratch is sized to the array itself.
  std::vector<typename Kind::Value> scratch(arrayLength);
  uint32_t count = arrayLength;
  Kind::get(target, index, scratch.data(), &count);
  if (count > arrayLength) count = arrayLength;
  if (count > 0) Kind::write(env, array.get(), static_cast<jsize>(count), scratch.data());
}

void setOne(JNIEnv* env, IParameterTarget& target, const ParameterIds& ids, jobject element) {
  const jint type = env->GetIntField(element, ids.dataType);
  const uint32_t index = static_cast<uint32_t>(env->GetIntField(element, ids.settingIndex));
  switch (type) {
    case kParameterLong:
      target.setParameterLong(index, env->GetLongField(element, ids.lValue));
      break;
    case kParameterLongArray:
      setArray<LongArrays>(env, target, ids, element, index);
      break;
    case kParameterDouble:
      target.setParameterDouble(index, env->GetDoubleField(element, ids.dValue));
      break;
    case kParameterDoubleArray:
      setArray<DoubleArrays>(env, target, ids, element, index);
      break;
    default:
      break;
  }
}

void getOne(JNIEnv* env, IParameterTarget& target, const ParameterIds& ids, jobject element) {
  const uint32_t index = static_cast<uint32_t>(env->GetIntField(element, ids.settingIndex));
  uint32_t arrayLength = 0;
  const int type = target.getParameterType(index, &arrayLength);
  if (type == kParameterUnknown) return;
  env->SetIntField(element, ids.dataType, type);
  switch (type) {
    case kParameterLong: {
      int64_t value = 0;
      target.getParameterLong(index, &value);
      env->SetLongField(element, ids.lValue, value);
      break;
    }
    case kParameterLongArray:
      getArray<LongArrays>(env, target, ids, element, index, arrayLength);
      break;
    case kParameterDouble: {
      double value = 0.0;
      target.getParameterDouble(index, &value);
      env->SetDoubleField(element, ids.dValue, value);
      break;
    }
    case kParameterDoubleArray:
      getArray<DoubleArrays>(env, target, ids, element, index, arrayLength);
      break;
    default:
      break;
  }
}

template <class Apply>
jlong forEachRecord(JNIEnv* env, IParameterTarget* target, jobjectArray values, const char* label, Apply apply) {
  if (target == nullptr) return 0;
  LocalRef<jclass> cls;
  ParameterIds ids;
  if (!parameterIds.lookupNamed(env, "com/corvane/cvx/transcoder/model/TranscoderNativeParameterValue", cls, ids)) {
    return 0;
  }
  // An exception stops the loop: the records before it are done.
  return guarded(label, [&]() -> jlong {
    const jsize length = env->GetArrayLength(values);
    for (jsize i = 0; i < length; ++i) {
      LocalRef<jobject> element(env, env->GetObjectArrayElement(values, i));
      // A null element or a foreign object is skipped: reading fields from
      // it would bring the JVM down.
      if (element && env->IsInstanceOf(element.get(), cls.get())) apply(env, *target, ids, element.get());
    }
    return 0;
  });
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
