// Drives whole sessions the way a hostile host can: any call of the exports,
// in any order, with any arguments, on up to three sessions at once, all
// destroyed at the end (what they leak counts). Each call reaches the same
// TranscoderSession method the export forwards to, with what the export's
// marshalling would pass: copied byte blocks (lengths the video decoder
// refuses are not copied, the video frame's block goes to the session, the
// audio decoder's header room sits in front), overlay objects
// built field by field, picture reads asked for their size first, parameter
// records one by one, encoded frames freed after delivery.
//
// Input: a sequence of calls. One byte chooses the call (low six bits, see
// Call) and the session (top two bits; 3 is session 0 again); the call's
// arguments follow in the encoding of SessionFuzzInput. The seed script
// tests/fuzz/seeds/SessionFuzz.sh writes whole pipelines in this encoding and
// must follow the numbers below.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "audio/decoders/IAudioDecoder.h"
#include "audio/encoders/IAudioEncoder.h"
#include "logging/LogCollector.h"
#include "media/ByteBlocks.h"
#include "media/FourCC.h"
#include "parameters/IParameterTarget.h"
#include "session/TranscoderSession.h"
#include "support/ProcessLogDrain.h"
#include "support/SessionFuzzInput.h"
#include "video/decoders/IVideoDecoder.h"
#include "video/encoders/IVideoEncoder.h"
#include "video/frames/VideoOverlayFrame.h"

namespace cvx::fuzz {
namespace {

enum Call : uint8_t {
  kDestroy = 0,
  kVideoDecoderCreate = 1,
  kVideoDecoderBuffersCreate = 2,
  kVideoDecoderSetGPUID = 3,
  kVideoDecoderInitialize = 4,
  kVideoDecoderDecodeCodecConfig = 5,
  kVideoDecoderAddFrame = 6,
  kVideoDecoderDecode = 7,
  kVideoDecoderTransferFrame = 8,
  kVideoDecoderBufferGetVideoFrame = 9,
  kVideoDecoderBufferSetOverlayVideoFrame = 10,
  kVideoDecoderSetParameterValues = 11,
  kVideoDecoderGetParameterValues = 12,
  kVideoEncoderBufferSetsCreate = 13,
  kVideoEncoderBufferAdd = 14,
  kVideoEncoderBufferGetVideoFrame = 15,
  kVideoEncoderBufferSetOverlayVideoFrame = 16,
  kVideoEncoderBufferSetCrop = 17,
  kVideoEncoderBufferSetSourceRect = 18,
  kVideoEncoderAdd = 19,
  kVideoEncoderSetDefaults = 20,
  kVideoEncoderSetBitrate = 21,
  kVideoEncoderSetFrameSize = 22,
  kVideoEncoderSetKeyFrameFollow = 23,
  kVideoEncoderSetFrameRate = 24,
  kVideoEncoderSetGPUID = 25,
  kVideoEncoderInitialize = 26,
  kVideoEncoderAddFrame = 27,
  kVideoEncoderGetEncodedFrames = 28,
  kVideoEncoderSetParameterValues = 29,
  kVideoEncoderGetParameterValues = 30,
  kAudioDecoderCreate = 31,
  kAudioDecoderInitialize = 32,
  kAudioDecoderDecodeCodecConfig = 33,
  kAudioDecoderIsFirstFrameDecoded = 34,
  kAudioDecoderDecodeFirstFrame = 35,
  kAudioDecoderDecodeFrame = 36,
  kAudioDecoderResetDecodedFrameState = 37,
  kAudioDecoderGetFormat = 38,
  kAudioDecoderBuffersCreate = 39,
  kAudioDecoderBuffersAllocate = 40,
  kAudioDecoderSetParameterValues = 41,
  kAudioDecoderGetParameterValues = 42,
  kAudioEncoderAdd = 43,
  kAudioEncoderSetSampleRate = 44,
  kAudioEncoderSetChannels = 45,
  kAudioEncoderSetQuality = 46,
  kAudioEncoderSetBitrate = 47,
  kAudioEncoderInitialize = 48,
  kAudioEncoderGetHeaders = 49,
  kAudioEncoderAddSampleBuffer = 50,
  kAudioEncoderSetParameterValues = 51,
  kAudioEncoderGetParameterValues = 52,
  kGetLogStatements = 53,
  // A host's per-frame round in one call, so that short inputs reach the
  // encoders: add a frame, decode until the decoder asks for more, transfer
  // every picture into a set and hand each item to every encoder.
  kVideoFrameRound = 54,
  // Decode one audio frame into a buffer and hand it to every encoder.
  kAudioFrameRound = 55,
  // The end of the host's input: the decoder and the encoders give out what
  // they hold and refuse what comes after.
  kVideoDecoderEndOfStream = 56,
  kVideoEncoderEndOfStream = 57,
  kAudioEncoderEndOfStream = 58,
  kCallCount = 59,
};

// Bounds of the target's own making, so that it explores calls rather than
// loops. Hostile values still reach the library unchanged.
constexpr int kMaxCalls = 96;
constexpr int kMaxDecodeCalls = 12;
constexpr uint32_t kMaxRecords = 8;
constexpr uint32_t kMaxArrayElements = 65536;
constexpr uint32_t kMaxSynthesizedBytes = 4u << 20;
// A Java array this large would be the JVM's to refuse; the target does not
// spend its memory limit on it.
constexpr uint64_t kMaxPictureRead = 64u << 20;
constexpr int kSessions = 3;

// The low 32 bits of a Java int-typed field, as the boundary reads it.
int32_t asInt(uint32_t value) { return static_cast<int32_t>(value); }

// The export copies the host's array into a malloc block of its own, with
// `header` bytes of room in front.
MallocBlock copyBlock(const uint8_t* bytes, uint32_t length, uint32_t header, uint32_t& total) {
  total = header + length;
  MallocBlock block = allocateMallocBlock(total);
  if (block != nullptr && length > 0) std::memcpy(block.get() + header, bytes, length);
  return block;
}

// Picture codes: the known ones by a small number, anything else as a number.
uint32_t fourcc(SessionFuzzInput& in) {
  static constexpr uint32_t kKnown[] = {kFourCCYV12, kFourCCI420, kFourCCYV16, kFourCCYUY2, kFourCCYUYV,
                                        kFourCCUYVY, kFourCCv210, kFourCCBGR3, kFourCCBGRA, kFourCCBGR4,
                                        kFourCCH264, kFourCCXYZ12, kFourCCVUYA, kFourCCNV12};
  constexpr uint32_t kCount = sizeof(kKnown) / sizeof(kKnown[0]);
  const uint32_t value = in.number();
  return value < kCount ? kKnown[value] : value;
}

uint32_t settingNumber(SessionFuzzInput& in) {
  // Near the numbers codecs know: the decoders' own, then each encoder range.
  static constexpr uint32_t kBases[6] = {0, 10000, 10100, 20000, 30000, 0xFFFFFF80u};
  const uint8_t b = in.byte();
  if (b >= 240) return in.number();
  return kBases[b % 6] + in.byte();
}

// One TranscoderNativeParameterValue record into the codec, as the export's set does.
void setRecord(SessionFuzzInput& in, IParameterTarget& target) {
  const uint8_t type = in.byte() % 6;
  const uint32_t index = settingNumber(in);
  switch (type) {
    case kParameterLong:
      target.setParameterLong(index, in.wide());
      break;
    case kParameterDouble:
      target.setParameterDouble(index, in.real());
      break;
    case kParameterLongArray:
    case kParameterDoubleArray: {
      uint32_t count = in.number();
      if (count == 0) break;  // an empty Java array is not passed on
      if (count > kMaxArrayElements) count = kMaxArrayElements;
      const int64_t first = in.wide();
      const double real = in.real();
      if (type == kParameterLongArray) {
        std::vector<int64_t> values(count, first);
        target.setParameterLongArray(index, values.data(), count);
      } else {
        std::vector<double> values(count, real);
        target.setParameterDoubleArray(index, values.data(), count);
      }
      break;
    }
    default:
      break;  // an unknown type code is skipped
  }
}

// One record read back, as the export's get does: the type and length first,
// then a scratch of exactly that length.
void getRecord(SessionFuzzInput& in, IParameterTarget& target) {
  const uint32_t index = settingNumber(in);
  uint32_t arrayLength = 0;
  const int type = target.getParameterType(index, &arrayLength);
  switch (type) {
    case kParameterLong: {
      int64_t value = 0;
      target.getParameterLong(index, &value);
      break;
    }
    case kParameterDouble: {
      double value = 0;
      target.getParameterDouble(index, &value);
      break;
    }
    case kParameterLongArray: {
      if (arrayLength == 0) break;
      std::vector<int64_t> scratch(arrayLength);
      uint32_t count = arrayLength;
      target.getParameterLongArray(index, scratch.data(), &count);
      break;
    }
    case kParameterDoubleArray: {
      if (arrayLength == 0) break;
      std::vector<double> scratch(arrayLength);
      uint32_t count = arrayLength;
      target.getParameterDoubleArray(index, scratch.data(), &count);
      break;
    }
    default:
      break;
  }
}

void exchangeRecords(SessionFuzzInput& in, IParameterTarget* target, bool set) {
  const uint32_t records = in.number() % (kMaxRecords + 1);
  for (uint32_t i = 0; i < records; ++i) {
    if (target == nullptr) continue;  // the export returns before the records
    if (set) {
      setRecord(in, *target);
    } else {
      getRecord(in, *target);
    }
  }
}

// The host's overlay object, field by field; none at all is a removal.
std::unique_ptr<VideoOverlayFrame> overlay(SessionFuzzInput& in) {
  const uint8_t kind = in.byte() % 4;
  if (kind == 0) return nullptr;
  std::unique_ptr<uint8_t[]> pixels;
  uint32_t byteCount = 0;
  if (kind == 1) {
    const uint8_t* bytes = in.payload(byteCount);
    if (byteCount > 0) {
      pixels.reset(new uint8_t[byteCount]);
      std::memcpy(pixels.get(), bytes, byteCount);
    }
  } else if (kind == 2) {
    // A large picture from a short input: one value repeated, opaque or not.
    byteCount = in.number();
    if (byteCount > kMaxSynthesizedBytes) byteCount = kMaxSynthesizedBytes;
    const uint8_t value = in.byte();
    if (byteCount > 0) {
      pixels.reset(new uint8_t[byteCount]);
      std::memset(pixels.get(), value, byteCount);
    }
  }
  const uint32_t code = fourcc(in);
  const uint32_t stride = in.number();
  const uint32_t frameStartOffset = in.number();
  const uint32_t width = in.number();
  const uint32_t height = in.number();
  const uint32_t dstX = in.number();
  const uint32_t dstY = in.number();
  const uint32_t dstWidth = in.number();
  const uint32_t dstHeight = in.number();
  const uint32_t dstAlign = in.number();
  auto frame = std::make_unique<VideoOverlayFrame>();
  frame->setPlacement(asInt(dstX), asInt(dstY), dstWidth, dstHeight, asInt(dstAlign));
  frame->setFrame(code, std::move(pixels), byteCount, asInt(stride), asInt(frameStartOffset), width, height);
  return frame;
}

// A picture read as the export makes it: the size first, then a buffer of
// exactly that size converted into.
template <class Read>
void readPicture(SessionFuzzInput& in, Read&& read) {
  const int32_t askedWidth = asInt(in.number());
  const int32_t askedHeight = asInt(in.number());
  uint32_t width = askedWidth > 0 ? static_cast<uint32_t>(askedWidth) : 0;
  uint32_t height = askedHeight > 0 ? static_cast<uint32_t>(askedHeight) : 0;
  uint64_t size = 0;
  int64_t timecode = 0;
  if (read(nullptr, 0, size, width, height, timecode) != 0) return;
  if (size == 0 || width == 0 || height == 0 || size > INT32_MAX || width > INT32_MAX / 4) return;
  if (size > kMaxPictureRead) return;
  std::unique_ptr<uint8_t[]> buffer(new uint8_t[size]);
  uint64_t written = 0;
  read(buffer.get(), size, written, width, height, timecode);
}

// The blocks go with their frames.
template <class Frames>
void freeBlocks(Frames& frames) {
  frames.clear();
}

void decodeRound(TranscoderSession& s, uint32_t bufferIndex, uint32_t setIndex, uint32_t hint) {
  std::vector<VideoFrameEncoded> packets;
  for (int i = 0; i < kMaxDecodeCalls; ++i) {
    uint32_t flags = 0;
    s.videoDecoderDecode(bufferIndex, flags);
    if ((flags & 4) != 0 && (flags & 8) == 0) {
      s.videoDecoderTransferFrame(bufferIndex, setIndex);
      const VideoFrameBufferSet* set = s.getEncoderBufferSet(setIndex);
      const uint32_t items = set != nullptr ? set->getCount() : 0;
      for (uint32_t e = 0; e < s.getVideoEncoderCount(); ++e) {
        s.videoEncoderAddFrame(e, setIndex, items > 0 ? e % items : 0, hint);
        s.videoEncoderGetEncodedFrames(e, packets);
        freeBlocks(packets);
      }
    }
    if ((flags & 1) != 0) break;
  }
}

void call(SessionFuzzInput& in, TranscoderSession& s, Call which) {
  uint32_t index = 0;
  switch (which) {
    case kDestroy:
    case kCallCount:
      break;
    case kVideoDecoderCreate: {
      const uint32_t codec = in.number();
      const uint32_t implementation = in.number();
      if (in.flag()) {
        s.videoDecoderCreate(codec, implementation, fourcc(in));
      } else {
        s.videoDecoderCreate(codec, implementation);
      }
      break;
    }
    case kVideoDecoderBuffersCreate: s.videoDecoderBuffersCreate(in.number()); break;
    case kVideoDecoderSetGPUID: s.videoDecoderSetGPUID(asInt(in.number())); break;
    case kVideoDecoderInitialize: s.videoDecoderInitialize(); break;
    case kVideoDecoderDecodeCodecConfig:
    case kVideoDecoderAddFrame:
    case kVideoFrameRound: {
      uint32_t length = 0;
      const uint8_t* bytes = in.payload(length);
      const bool configuration = which == kVideoDecoderDecodeCodecConfig;
      // What the decoder would refuse is not copied.
      if (s.videoDecoderCheckLength(length, configuration) != 0) break;
      uint32_t total = 0;
      MallocBlock block = copyBlock(bytes, length, 0, total);
      if (block == nullptr) break;
      if (configuration) {
        s.videoDecoderDecodeCodecConfig(block.get(), 0, total);
        break;
      }
      // The frame's block goes to the session, which keeps it while the decoder reads.
      const int64_t timecode = in.timecode();
      const uint32_t frameType = in.number();
      s.videoDecoderAddFrame(std::move(block), total, timecode, frameType);
      if (which == kVideoFrameRound) decodeRound(s, in.number(), in.number(), in.number());
      break;
    }
    case kVideoDecoderEndOfStream: s.videoDecoderEndOfStream(); break;
    case kVideoEncoderEndOfStream: s.videoEncoderEndOfStream(in.number()); break;
    case kAudioEncoderEndOfStream: {
      std::vector<AudioFrameEncoded> frames;
      s.audioEncoderEndOfStream(in.number(), frames);
      freeBlocks(frames);
      break;
    }
    case kVideoDecoderDecode: {
      uint32_t flags = 0;
      s.videoDecoderDecode(in.number(), flags);
      break;
    }
    case kVideoDecoderTransferFrame: {
      const uint32_t bufferIndex = in.number();
      s.videoDecoderTransferFrame(bufferIndex, in.number());
      break;
    }
    case kVideoDecoderBufferGetVideoFrame: {
      const uint32_t bufferIndex = in.number();
      readPicture(in, [&](uint8_t* buffer, uint64_t capacity, uint64_t& size, uint32_t& w, uint32_t& h,
                          int64_t& timecode) {
        return s.videoDecoderGetFrameBGRA(bufferIndex, buffer, capacity, size, w, h, timecode);
      });
      break;
    }
    case kVideoDecoderBufferSetOverlayVideoFrame: {
      const uint32_t key = in.number();
      s.videoDecoderBufferSetOverlayVideoFrame(key, overlay(in));
      break;
    }
    case kVideoDecoderSetParameterValues:
    case kVideoDecoderGetParameterValues:
      exchangeRecords(in, s.getVideoDecoder(), which == kVideoDecoderSetParameterValues);
      break;
    case kVideoEncoderBufferSetsCreate: s.videoEncoderBufferSetsCreate(in.number()); break;
    case kVideoEncoderBufferAdd: {
      const uint32_t width = in.number();
      const uint32_t height = in.number();
      const uint32_t scaleMode = in.number();
      if (in.flag()) {
        s.VideoEncoderBufferAdd(width, height, scaleMode, fourcc(in), index);
      } else {
        s.VideoEncoderBufferAdd(width, height, scaleMode, index);
      }
      break;
    }
    case kVideoEncoderBufferGetVideoFrame: {
      const uint32_t setIndex = in.number();
      const uint32_t itemIndex = in.number();
      readPicture(in, [&](uint8_t* buffer, uint64_t capacity, uint64_t& size, uint32_t& w, uint32_t& h,
                          int64_t& timecode) {
        return s.videoEncoderGetFrameBGRA(setIndex, itemIndex, buffer, capacity, size, w, h, timecode);
      });
      break;
    }
    case kVideoEncoderBufferSetOverlayVideoFrame: {
      const uint32_t itemIndex = in.number();
      const uint32_t key = in.number();
      s.videoEncoderBufferSetOverlayVideoFrame(key, itemIndex, overlay(in));
      break;
    }
    case kVideoEncoderBufferSetCrop:
    case kVideoEncoderBufferSetSourceRect: {
      // At most four values cross the boundary; none means no array.
      const uint32_t itemIndex = in.number();
      const std::size_t count = in.byte() % 5;
      uint32_t values[4] = {0, 0, 0, 0};
      for (std::size_t i = 0; i < count; ++i) values[i] = in.number();
      const uint32_t* passed = count > 0 ? values : nullptr;
      if (which == kVideoEncoderBufferSetCrop) {
        s.videoEncoderSetCrop(itemIndex, passed, count);
      } else {
        s.videoEncoderSetSrcRect(itemIndex, passed, count);
      }
      break;
    }
    case kVideoEncoderAdd: {
      const uint32_t codec = in.number();
      s.videoEncoderAdd(codec, in.number(), index);
      break;
    }
    case kVideoEncoderSetDefaults: {
      const uint32_t encoder = in.number();
      const uint32_t first = in.number();
      s.videoEncoderSetDefaults(encoder, first, in.number());
      break;
    }
    case kVideoEncoderSetBitrate: {
      const uint32_t encoder = in.number();
      s.videoEncoderSetBitrate(encoder, in.number());
      break;
    }
    case kVideoEncoderSetFrameSize: {
      const uint32_t encoder = in.number();
      const uint32_t width = in.number();
      s.videoEncoderSetFrameSize(encoder, width, in.number());
      break;
    }
    case kVideoEncoderSetKeyFrameFollow: {
      const uint32_t encoder = in.number();
      s.videoEncoderSetKeyFrameFollow(encoder, in.flag());
      break;
    }
    case kVideoEncoderSetFrameRate: {
      const uint32_t encoder = in.number();
      s.videoEncoderSetFrameRate(encoder, in.real());
      break;
    }
    case kVideoEncoderSetGPUID: {
      const uint32_t encoder = in.number();
      s.videoEncoderSetGPUID(encoder, asInt(in.number()));
      break;
    }
    case kVideoEncoderInitialize: s.videoEncoderInitialize(in.number()); break;
    case kVideoEncoderAddFrame: {
      const uint32_t encoder = in.number();
      const uint32_t setIndex = in.number();
      const uint32_t itemIndex = in.number();
      s.videoEncoderAddFrame(encoder, setIndex, itemIndex, in.number());
      break;
    }
    case kVideoEncoderGetEncodedFrames: {
      std::vector<VideoFrameEncoded> frames;
      s.videoEncoderGetEncodedFrames(in.number(), frames);
      freeBlocks(frames);
      break;
    }
    case kVideoEncoderSetParameterValues:
    case kVideoEncoderGetParameterValues: {
      IParameterTarget* target = s.getVideoEncoder(in.number());
      exchangeRecords(in, target, which == kVideoEncoderSetParameterValues);
      break;
    }
    case kAudioDecoderCreate: {
      const uint32_t codec = in.number();
      const uint32_t implementation = in.number();
      if (in.flag()) {
        s.audioDecoderCreate(codec, implementation, in.number());
      } else {
        s.audioDecoderCreate(codec, implementation);
      }
      break;
    }
    case kAudioDecoderInitialize: s.audioDecoderInitialize(); break;
    case kAudioDecoderDecodeCodecConfig:
    case kAudioDecoderDecodeFirstFrame:
    case kAudioDecoderDecodeFrame:
    case kAudioFrameRound: {
      uint32_t length = 0;
      const uint8_t* bytes = in.payload(length);
      // Frames get the decoder's header room; the configuration does not.
      const uint32_t header = which == kAudioDecoderDecodeCodecConfig ? 0 : s.getFrameHeaderSize();
      uint32_t total = 0;
      MallocBlock block = copyBlock(bytes, length, header, total);
      if (block == nullptr) break;
      if (which == kAudioDecoderDecodeCodecConfig) {
        s.audioDecoderDecodeCodecConfig(block.get(), 0, total);
      } else if (which == kAudioDecoderDecodeFirstFrame) {
        s.audioDecoderDecodeFirstFrame(block.get(), 0, total);
      } else {
        const uint64_t timecode = static_cast<uint64_t>(in.timecode());
        const uint32_t bufferIndex = in.number();
        s.audioDecoderDecodeFrame(block.get(), 0, total, timecode, bufferIndex);
        if (which == kAudioFrameRound) {
          std::vector<AudioFrameEncoded> frames;
          for (uint32_t e = 0; e < s.getAudioEncoderCount(); ++e) {
            s.audioEncoderAddSampleBuffer(e, bufferIndex, frames);
            freeBlocks(frames);
          }
        }
      }
      break;
    }
    case kAudioDecoderIsFirstFrameDecoded: s.audioDecoderIsFirstFrameDecoded(); break;
    case kAudioDecoderResetDecodedFrameState: s.audioDecoderResetDecodedFrameState(); break;
    case kAudioDecoderGetFormat: {
      uint32_t value = 0;
      s.audioDecoderGetSampleRate(value);
      s.audioDecoderGetChannels(value);
      break;
    }
    case kAudioDecoderBuffersCreate: s.audioDecoderBuffersCreate(in.number()); break;
    case kAudioDecoderBuffersAllocate: {
      const uint32_t samples = in.number();
      const uint32_t channels = in.number();
      s.audioDecoderBuffersAllocate(samples, channels, in.number());
      break;
    }
    case kAudioDecoderSetParameterValues:
    case kAudioDecoderGetParameterValues:
      exchangeRecords(in, s.getAudioDecoder(), which == kAudioDecoderSetParameterValues);
      break;
    case kAudioEncoderAdd: {
      const uint32_t codec = in.number();
      s.audioEncoderAdd(codec, in.number(), index);
      break;
    }
    case kAudioEncoderSetSampleRate: {
      const uint32_t encoder = in.number();
      s.audioEncoderSetSampleRate(encoder, in.number());
      break;
    }
    case kAudioEncoderSetChannels: {
      const uint32_t encoder = in.number();
      s.audioEncoderSetChannels(encoder, in.number());
      break;
    }
    case kAudioEncoderSetQuality: {
      const uint32_t encoder = in.number();
      s.audioEncoderSetQuality(encoder, in.real());
      break;
    }
    case kAudioEncoderSetBitrate: {
      const uint32_t encoder = in.number();
      s.audioEncoderSetBitrate(encoder, in.number());
      break;
    }
    case kAudioEncoderInitialize: s.audioEncoderInitialize(in.number()); break;
    case kAudioEncoderGetHeaders: {
      // Header blocks stay the encoder's.
      std::vector<AudioFrameEncoded> headers;
      s.audioEncoderGetHeaders(in.number(), headers);
      break;
    }
    case kAudioEncoderAddSampleBuffer: {
      const uint32_t encoder = in.number();
      std::vector<AudioFrameEncoded> frames;
      s.audioEncoderAddSampleBuffer(encoder, in.number(), frames);
      freeBlocks(frames);
      break;
    }
    case kAudioEncoderSetParameterValues:
    case kAudioEncoderGetParameterValues: {
      IParameterTarget* target = s.getAudioEncoder(in.number());
      exchangeRecords(in, target, which == kAudioEncoderSetParameterValues);
      break;
    }
    case kGetLogStatements: {
      std::vector<LogStatement> statements;
      drainLogStatements(*getDefaultLogger(), s.getLogCollector(), statements);
      break;
    }
  }
}

}  // namespace
}  // namespace cvx::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace cvx;
  using namespace cvx::fuzz;
  getDefaultLogger();  // nativeInitialize, before anything else
  const ProcessLogDrain drain;  // what codecs without a session wrote, at the end
  SessionFuzzInput in(data, size);
  std::unique_ptr<TranscoderSession> sessions[kSessions];
  for (int calls = 0; calls < kMaxCalls && !in.empty(); ++calls) {
    const uint8_t selector = in.byte();
    std::unique_ptr<TranscoderSession>& session = sessions[(selector >> 6) % kSessions];
    const auto which = static_cast<Call>((selector & 63) % kCallCount);
    if (which == kDestroy) {
      session.reset();
      continue;
    }
    if (session == nullptr) session.reset(new (std::nothrow) TranscoderSession());  // createInstance
    if (session == nullptr) continue;
    call(in, *session, which);
  }
  for (std::unique_ptr<TranscoderSession>& session : sessions) session.reset();  // destroyInstance
  return 0;
}
