#include "native/PacketExchange.h"

#include <climits>
#include <cstdlib>
#include <exception>

#include "native/JniClassCache.h"

namespace cvx {

namespace {

struct PacketIds {
  jmethodID init = nullptr;
  jfieldID buffer = nullptr, len = nullptr, type = nullptr, timecode = nullptr, frameType = nullptr;
  jfieldID sampleRate = nullptr, channels = nullptr;

  bool resolve(JNIEnv* env, jclass cls) {
    init = methodId(env, cls, "<init>", "()V");
    buffer = fieldId(env, cls, "buffer", "[B");
    len = fieldId(env, cls, "len", "J");
    type = fieldId(env, cls, "type", "I");
    timecode = fieldId(env, cls, "timecode", "J");
    frameType = fieldId(env, cls, "frameType", "I");
    sampleRate = fieldId(env, cls, "sampleRate", "I");
    channels = fieldId(env, cls, "channels", "I");
    return init && buffer && len && type && timecode && frameType && sampleRate && channels;
  }
};

JniClassCache<PacketIds> packetIds;

// The host's list and the packet class, resolved once per delivery.
class PacketMaker {
 public:
  PacketMaker(JNIEnv* env, jobject list) : env_(env), list_(list) {
    add_ = listAddMethod(env, list);
    usable_ = add_ != nullptr &&
              packetIds.lookupNamed(env, "com/corvane/cvx/transcoder/model/TranscoderPacket", cls_, ids_);
  }

  bool usable() const { return usable_; }

  // Makes one packet with a copy of the bytes; empty (and nothing pending)
  // if the JVM cannot make it.
  LocalRef<jobject> make(const uint8_t* bytes, uint32_t length) {
    LocalRef<jobject> packet(env_, env_->NewObject(cls_.get(), ids_.init));
    if (!packet) {
      clearPendingException(env_);
      return packet;
    }
    LocalRef<jbyteArray> array(env_, env_->NewByteArray(static_cast<jsize>(length)));
    if (!array) {
      clearPendingException(env_);
      return LocalRef<jobject>();
    }
    env_->SetByteArrayRegion(array.get(), 0, static_cast<jsize>(length), reinterpret_cast<const jbyte*>(bytes));
    env_->SetObjectField(packet.get(), ids_.buffer, array.get());
    env_->SetLongField(packet.get(), ids_.len, static_cast<jlong>(length));
    return packet;
  }

  void setKind(jobject packet, jlong time, jint frameKind, jint packetType) {
    env_->SetLongField(packet, ids_.timecode, time);
    env_->SetIntField(packet, ids_.frameType, frameKind);
    env_->SetIntField(packet, ids_.type, packetType);
  }

  void setAudioFormat(jobject packet, uint32_t sampleRate, uint32_t channels) {
    env_->SetIntField(packet, ids_.sampleRate, static_cast<jint>(sampleRate));
    env_->SetIntField(packet, ids_.channels, static_cast<jint>(channels));
  }

  void append(jobject packet) {
    env_->CallBooleanMethod(list_, add_, packet);
    clearPendingException(env_);
  }

 private:
  JNIEnv* env_;
  jobject list_;
  jmethodID add_ = nullptr;
  LocalRef<jclass> cls_;
  PacketIds ids_;
  bool usable_ = false;
};

// Java arrays are indexed by int: a frame longer than that cannot cross.
bool crossable(const EncodedBlock& block) { return block && block.size() > 0 && block.size() <= INT32_MAX; }

// The packet types a host tells video and audio apart by.
constexpr jint kVideoPacket = 9;
constexpr jint kAudioPacket = 8;

// One packet for each frame with bytes, fields in the documented order:
// buffer and length here, the rest by `fill`.
template <class Frame, class Fill>
void deliverFrames(JNIEnv* env, jobject list, const std::vector<Frame>& frames, Fill fill) {
  if (frames.empty()) return;
  PacketMaker packets(env, list);
  if (!packets.usable()) return;
  for (const Frame& frame : frames) {
    if (!crossable(frame.block)) continue;
    LocalRef<jobject> packet = packets.make(frame.block.data(), frame.block.size());
    if (!packet) continue;
    fill(packets, packet.get(), frame);
    packets.append(packet.get());
  }
}

}  // namespace

MallocBlock copyHostBytes(JNIEnv* env, jbyteArray data, jlong offset, jlong length, uint32_t header,
                          uint32_t& total) {
  total = 0;
  if (data == nullptr || offset < 0 || length < 0) return nullptr;
  const jlong arrayLength = env->GetArrayLength(data);
  if (offset > arrayLength || length > arrayLength - offset) return nullptr;
  const uint64_t size = static_cast<uint64_t>(header) + static_cast<uint64_t>(length);
  if (size > UINT32_MAX) return nullptr;
  // A zero-length frame still gets a block, so that the decoder sees an empty span.
  MallocBlock block = allocateMallocBlock(size);
  if (!block) return nullptr;
  env->GetByteArrayRegion(data, static_cast<jsize>(offset), static_cast<jsize>(length),
                          reinterpret_cast<jbyte*>(block.get() + header));
  if (clearPendingException(env)) return nullptr;
  total = static_cast<uint32_t>(size);
  return block;
}

bool freeHostBytes(MallocBlock block, const char* label) {
  return guarded(label, [&] {
    block.reset();
    return true;
  }, false);
}

void deliverPackets(JNIEnv* env, jobject list, const std::vector<VideoFrameEncoded>& frames) {
  deliverFrames(env, list, frames, [](PacketMaker& packets, jobject packet, const VideoFrameEncoded& frame) {
    packets.setKind(packet, frame.timecode, static_cast<jint>(frame.frameType), kVideoPacket);
  });
}

void deliverPackets(JNIEnv* env, jobject list, const std::vector<AudioFrameEncoded>& frames) {
  deliverFrames(env, list, frames, [](PacketMaker& packets, jobject packet, const AudioFrameEncoded& frame) {
    packets.setKind(packet, static_cast<jlong>(frame.timecode), 0, kAudioPacket);
    packets.setAudioFormat(packet, frame.sampleRate, frame.channels);
  });
}

}  // namespace cvx
