#include "native/PacketExchange.h"

#include <cstdlib>
#include <exception>

#include "native/JniSupport.h"

namespace cvx {

namespace {

struct PacketClass {
  jclass cls = nullptr;
  jmethodID init = nullptr;
  jmethodID add = nullptr;
  jfieldID buffer = nullptr, len = nullptr, type = nullptr, timecode = nullptr, frameType = nullptr;
  jfieldID sampleRate = nullptr, channels = nullptr;

  bool resolve(JNIEnv* env, jobject list) {
    add = listAddMethod(env, list);
    cls = findClass(env, "com/corvane/cvx/transcoder/model/TranscoderPacket");
    init = methodId(env, cls, "<init>", "()V");
    buffer = fieldId(env, cls, "buffer", "[B");
    len = fieldId(env, cls, "len", "J");
    type = fieldId(env, cls, "type", "I");
    timecode = fieldId(env, cls, "timecode", "J");
    frameType = fieldId(env, cls, "frameType", "I");
    sampleRate = fieldId(env, cls, "sampleRate", "I");
    channels = fieldId(env, cls, "channels", "I");
    return add && cls && init && buffer && len && type && timecode && frameType && sampleRate && channels;
  }

  // Makes one packet with a copy of the bytes; null (and nothing pending) if
  // the JVM cannot make it.
  jobject make(JNIEnv* env, const uint8_t* bytes, uint32_t length, jlong time, jint frameKind, jint packetType) {
    jobject packet = env->NewObject(cls, init);
    if (packet == nullptr) {
      clearPendingException(env);
      return nullptr;
    }
    jbyteArray array = env->NewByteArray(static_cast<jsize>(length));
    if (array == nullptr) {
      clearPendingException(env);
      env->DeleteLocalRef(packet);
      return nullptr;
    }
    env->SetByteArrayRegion(array, 0, static_cast<jsize>(length), reinterpret_cast<const jbyte*>(bytes));
    env->SetObjectField(packet, buffer, array);
    env->SetLongField(packet, len, static_cast<jlong>(length));
    env->SetLongField(packet, timecode, time);
    env->SetIntField(packet, frameType, frameKind);
    env->SetIntField(packet, type, packetType);
    env->DeleteLocalRef(array);
    return packet;
  }

  void append(JNIEnv* env, jobject list, jobject packet) {
    env->CallBooleanMethod(list, add, packet);
    clearPendingException(env);
    env->DeleteLocalRef(packet);
  }

};

// Java arrays are indexed by int: a frame longer than that cannot cross.
bool crossable(const EncodedBlock& block) { return block && block.size() > 0 && block.size() <= INT32_MAX; }

}  // namespace

uint8_t* copyHostBytes(JNIEnv* env, jbyteArray data, jlong offset, jlong length, uint32_t header, uint32_t& total) {
  total = 0;
  if (data == nullptr || offset < 0 || length < 0) return nullptr;
  const jlong arrayLength = env->GetArrayLength(data);
  if (offset > arrayLength || length > arrayLength - offset) return nullptr;
  const uint64_t size = static_cast<uint64_t>(header) + static_cast<uint64_t>(length);
  if (size > UINT32_MAX) return nullptr;
  // A zero-length frame still gets a block, so that the decoder sees an empty span.
  auto* block = static_cast<uint8_t*>(std::malloc(size > 0 ? size : 1));
  if (block == nullptr) return nullptr;
  env->GetByteArrayRegion(data, static_cast<jsize>(offset), static_cast<jsize>(length),
                          reinterpret_cast<jbyte*>(block + header));
  if (clearPendingException(env)) {
    std::free(block);
    return nullptr;
  }
  total = static_cast<uint32_t>(size);
  return block;
}

bool freeHostBytes(uint8_t* block, const char* label) {
  try {
    std::free(block);
    return true;
  } catch (const std::exception& e) {
    writeStdoutLine(label, e);
    return false;
  }
}

void deliverPackets(JNIEnv* env, jobject list, const std::vector<VideoFrameEncoded>& frames) {
  if (frames.empty()) return;
  PacketClass packets;
  if (packets.resolve(env, list)) {
    for (const VideoFrameEncoded& frame : frames) {
      if (!crossable(frame.block)) continue;
      jobject packet = packets.make(env, frame.block.data(), frame.block.size(), frame.timecode,
                                    static_cast<jint>(frame.frameType), 9);
      if (packet != nullptr) packets.append(env, list, packet);
    }
  }
  if (packets.cls != nullptr) env->DeleteLocalRef(packets.cls);
}

void deliverPackets(JNIEnv* env, jobject list, const std::vector<AudioFrameEncoded>& frames) {
  if (frames.empty()) return;
  PacketClass packets;
  if (packets.resolve(env, list)) {
    for (const AudioFrameEncoded& frame : frames) {
      if (!crossable(frame.block)) continue;
      jobject packet =
          packets.make(env, frame.block.data(), frame.block.size(), static_cast<jlong>(frame.timecode), 0, 8);
      if (packet == nullptr) continue;
      env->SetIntField(packet, packets.sampleRate, static_cast<jint>(frame.sampleRate));
      env->SetIntField(packet, packets.channels, static_cast<jint>(frame.channels));
      packets.append(env, list, packet);
    }
  }
  if (packets.cls != nullptr) env->DeleteLocalRef(packets.cls);
}

}  // namespace cvx
