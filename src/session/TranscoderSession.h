#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "audio/samples/AudioFrameEncoded.h"
#include "media/FourCC.h"
#include "session/TranscoderSessionBase.h"
#include "session/VideoDecodeBlocks.h"
#include "video/encoders/VideoFrameEncoded.h"

namespace cvx {

class VideoOverlayFrame;

// One transcoded stream: the settings and every method the boundary calls.
// Calls on one session are serialised by the host, but for the log drain and
// the overlay setters, whose objects lock themselves.
class TranscoderSession : public TranscoderSessionBase {
 public:
  static constexpr uint32_t kDefaultFourCC = kFourCCYV12;
  // The sample format audio decoders are made with unless the host names one.
  static constexpr uint32_t kDefaultAudioSampleFormat = 2;
  // Video encoders one session holds. A ladder has a handful; the bound keeps
  // a host that adds in a loop from exhausting the process.
  static constexpr uint32_t kMaxVideoEncoders = 64;
  // The longest compressed frame and codec configuration a video decoder takes.
  static constexpr uint32_t kMaxVideoFrameLength = 32u << 20;
  static constexpr uint32_t kMaxVideoConfigLength = 1u << 20;

  TranscoderSession();
  ~TranscoderSession() override;

  uint32_t getFrameHeaderSize() const { return audioFrameHeaderSize; }
  uint32_t getFourCC() const { return fourcc; }
  uint32_t getAudioSampleFormat() const { return audioSampleFormat; }
  bool getCUDAAvailable() const { return isCUDAAvailable != 0; }
  bool getQuickSyncAvailable() const { return isQuickSyncAvailable != 0; }

  // Codec selection by number. Each returns 0 when an object was made, -1
  // otherwise; an unknown number logs nothing and leaves `index` alone, an
  // encoder beyond the session's bound is refused with a level-3 line.
  uint32_t videoDecoderCreate(uint32_t codec, uint32_t implementation, uint32_t fourcc);
  uint32_t videoDecoderCreate(uint32_t codec, uint32_t implementation);
  uint32_t videoEncoderAdd(uint32_t codec, uint32_t implementation, uint32_t& index);
  uint32_t audioDecoderCreate(uint32_t codec, uint32_t implementation, uint32_t sampleFormat);
  uint32_t audioDecoderCreate(uint32_t codec, uint32_t implementation);
  uint32_t audioEncoderAdd(uint32_t codec, uint32_t implementation, uint32_t& index);

  // Video decoder and its frames.
  uint32_t videoDecoderBuffersCreate(uint32_t count);
  uint32_t videoDecoderSetGPUID(int gpuId);
  uint32_t videoDecoderInitialize();
  // 0 when the video decoder takes an input of `length` bytes: a frame up to
  // kMaxVideoFrameLength, a configuration up to kMaxVideoConfigLength;
  // otherwise a level-3 line and -1. The boundary asks before it copies.
  uint32_t videoDecoderCheckLength(int64_t length, bool configuration);
  // Reallocates every decoder frame at the decoder's size and passes the
  // stream's frame rate to every encoder; returns the decoder's answer.
  uint32_t videoDecoderDecodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length);
  // Takes the frame's block (`length` bytes), keeps it while the decoder may
  // read it (see VideoDecodeBlocks) and hands it to the decoder. A frame
  // beyond what may wait in the decoder is refused: -1 and a level-3 line.
  uint32_t videoDecoderAddFrame(MallocBlock block, uint32_t length, int64_t timecode, uint32_t frameType);
  // The same over bytes that stay the caller's until the decoder's input has
  // run empty (flag 1 of videoDecoderDecode).
  uint32_t videoDecoderAddFrame(uint8_t* data, uint32_t offset, uint32_t length, int64_t timecode,
                                uint32_t frameType);
  // Runs the decoder once; a ready picture lands in decoder frame `bufferIndex`.
  uint32_t videoDecoderDecode(uint32_t bufferIndex, uint32_t& flags);
  // The host's input has ended: decoding until flag 1 gives out the pictures
  // the decoder still holds; frames after it are refused.
  uint32_t videoDecoderEndOfStream();
  // Draws the decoder overlays into the frame, then fits it into every
  // rendition of set `setIndex` and draws each rendition's overlays.
  uint32_t videoDecoderTransferFrame(uint32_t bufferIndex, uint32_t setIndex);
  // BGRA reads: a null buffer asks for the size only; never more than
  // `capacity` bytes are written.
  uint32_t videoDecoderGetFrameBGRA(uint32_t bufferIndex, uint8_t* buffer, uint64_t capacity, uint64_t& size,
                                    uint32_t& width, uint32_t& height, int64_t& timecode);
  uint32_t videoEncoderGetFrameBGRA(uint32_t setIndex, uint32_t itemIndex, uint8_t* buffer, uint64_t capacity,
                                    uint64_t& size, uint32_t& width, uint32_t& height, int64_t& timecode);
  // Overlays: a frame installs (or replaces) the overlay at `key`, none removes it.
  // May run beside the other calls.
  uint32_t videoDecoderBufferSetOverlayVideoFrame(uint32_t key, std::unique_ptr<VideoOverlayFrame> frame);
  uint32_t videoEncoderBufferSetOverlayVideoFrame(uint32_t key, uint32_t itemIndex,
                                                  std::unique_ptr<VideoOverlayFrame> frame);

  // Renditions: sets of frame buffers, one item per rendition in every set.
  uint32_t videoEncoderBufferSetsCreate(uint32_t count);
  uint32_t VideoEncoderBufferAdd(uint32_t width, uint32_t height, uint32_t scaleMode, uint32_t fourcc,
                                 uint32_t& index);
  uint32_t VideoEncoderBufferAdd(uint32_t width, uint32_t height, uint32_t scaleMode, uint32_t& index);
  uint32_t videoEncoderSetCrop(uint32_t itemIndex, const uint32_t* values, std::size_t count);
  uint32_t videoEncoderSetSrcRect(uint32_t itemIndex, const uint32_t* values, std::size_t count);

  // Video encoders, by index.
  uint32_t videoEncoderSetDefaults(uint32_t encoderIndex, uint32_t first, uint32_t second);
  uint32_t videoEncoderSetBitrate(uint32_t encoderIndex, uint32_t bitrate);
  uint32_t videoEncoderSetFrameSize(uint32_t encoderIndex, uint32_t width, uint32_t height);
  uint32_t videoEncoderSetKeyFrameFollow(uint32_t encoderIndex, bool follow);
  uint32_t videoEncoderSetFrameRate(uint32_t encoderIndex, double framesPerSecond);
  uint32_t videoEncoderSetGPUID(uint32_t encoderIndex, int gpuId);
  uint32_t videoEncoderInitialize(uint32_t encoderIndex);
  uint32_t videoEncoderAddFrame(uint32_t encoderIndex, uint32_t setIndex, uint32_t itemIndex, uint32_t hint);
  // Frames appended pass to the caller, who frees their blocks.
  uint32_t videoEncoderGetEncodedFrames(uint32_t encoderIndex, std::vector<VideoFrameEncoded>& frames);
  // The encoder finishes every frame it holds, for the next
  // videoEncoderGetEncodedFrames; frames after it are refused.
  uint32_t videoEncoderEndOfStream(uint32_t encoderIndex);

  // Audio decoder.
  uint32_t audioDecoderInitialize();
  uint32_t audioDecoderDecodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length);
  uint32_t audioDecoderIsFirstFrameDecoded();
  uint32_t audioDecoderDecodeFirstFrame(uint8_t* data, uint32_t offset, uint32_t length);
  uint32_t audioDecoderDecodeFrame(uint8_t* data, uint32_t offset, uint32_t length, uint64_t timecode,
                                   uint32_t bufferIndex);
  uint32_t audioDecoderResetDecodedFrameState();
  uint32_t audioDecoderGetSampleRate(uint32_t& value);
  uint32_t audioDecoderGetChannels(uint32_t& value);

  // Audio sample buffer set.
  uint32_t audioDecoderBuffersCreate(uint32_t count);
  uint32_t audioDecoderBuffersAllocate(uint32_t sampleCount, uint32_t channels, uint32_t sampleRate);

  // Audio encoders, by index.
  uint32_t audioEncoderSetSampleRate(uint32_t encoderIndex, uint32_t sampleRate);
  uint32_t audioEncoderSetChannels(uint32_t encoderIndex, uint32_t channels);
  uint32_t audioEncoderSetQuality(uint32_t encoderIndex, double quality);
  uint32_t audioEncoderSetBitrate(uint32_t encoderIndex, uint32_t bitrate);
  uint32_t audioEncoderInitialize(uint32_t encoderIndex);
  // Header frames stay the encoder's; frames from addSampleBuffer pass to the caller.
  uint32_t audioEncoderGetHeaders(uint32_t encoderIndex, std::vector<AudioFrameEncoded>& frames);
  uint32_t audioEncoderAddSampleBuffer(uint32_t encoderIndex, uint32_t bufferIndex,
                                       std::vector<AudioFrameEncoded>& frames);
  // The encoder finishes the samples it holds and appends its last frames;
  // buffers after it are refused.
  uint32_t audioEncoderEndOfStream(uint32_t encoderIndex, std::vector<AudioFrameEncoded>& frames);

 private:
  // Run `call` on the encoder at `encoderIndex` under the method's handler
  // (`label`); a bad index is a failure.
  template <class Call>
  uint32_t withVideoEncoder(const char* label, uint32_t encoderIndex, Call&& call);
  template <class Call>
  uint32_t withAudioEncoder(const char* label, uint32_t encoderIndex, Call&& call);
  // An audio encoder's setter: an invalid value is refused with one level-3
  // line, which `describe` writes the reason of, and -1; a valid one is set.
  template <class Describe, class Set>
  uint32_t setAudioEncoderValue(const char* method, uint32_t encoderIndex, bool valid, Describe&& describe,
                                Set&& set);
  // Sizes decoder frame `index` for the decoder's picture; a frame left
  // without a block is logged as a fault of `method`.
  void allocDecoderFrame(uint32_t index, const char* method);
  // Installs frame at key, or removes the key for no frame; an overlay that
  // cannot be drawn, or one past the limit, is logged as a fault.
  uint32_t installOverlay(VideoOverlayFrames& overlays, uint32_t key, std::unique_ptr<VideoOverlayFrame> frame,
                          int contextType, int contextIndex);

  uint32_t fourcc = kDefaultFourCC;
  uint32_t audioSampleFormat = kDefaultAudioSampleFormat;
  VideoDecodeBlocks videoDecodeBlocks;
  uint32_t audioFrameHeaderSize = 0;
  uint32_t isCUDAAvailable = 0;
  uint32_t isQuickSyncAvailable = 0;
};

}  // namespace cvx
