#include "video/decoders/VideoDecoderStreamBase.h"

#include <cstring>
#include <sstream>

#include "logging/Guarded.h"
#include "logging/LogCollector.h"
#include "platform/videodecoder/VideoDecoderOpen.h"
#include "video/frames/VideoFrameBuffer.h"

namespace cvx {

namespace {
constexpr const char* kMethodNames[] = {"initialize", "close", "decode", "getDecodedFrame", "updateDecodeInfo",
                                        "addFrame", "decodeCodecConfig", "endOfStream"};
}  // namespace

VideoDecoderStreamBase::VideoDecoderStreamBase(const char* name, StreamOpener streamOpener)
    : className(name), opener(streamOpener) {
  static_assert(sizeof(kMethodNames) / sizeof(kMethodNames[0]) == kLabelledMethodCount, "a name per method");
  // Made once: the per-frame methods must not build their labels each call.
  for (int method = 0; method < kLabelledMethodCount; ++method) {
    labels[method] = std::string(name) + "::" + kMethodNames[method] + ": ";
  }
}

VideoDecoderStreamBase::~VideoDecoderStreamBase() noexcept(false) {
  guarded("VideoDecoderBase::destructor[free]: ", [&] { close(); });
}

uint32_t VideoDecoderStreamBase::aux(uint32_t offset, uint32_t infoId, void* infoPtr, uint32_t infoSize) {
  return handle->auxinfo(handle.get(), offset, infoId, infoPtr, infoSize);
}

uint32_t VideoDecoderStreamBase::parse(uint8_t* data, uint32_t length) {
  handle->copybytes(handle.get(), data, length);
  return aux(0, decoder_info::kRunParser, nullptr, 0);
}

int VideoDecoderStreamBase::initialize() {
  return guarded(label(kInitialize), [&] {
    if (handle != nullptr) return 0;
    handle.reset(opener != nullptr ? opener(nullptr, nullptr, nullptr) : nullptr);
    if (handle == nullptr) return -1;
    // What the library refuses in a stream is a fault of the input: it goes to our log.
    aux(0, decoder_info::kSetLogger, loggerOrDefault(logger), 0);
    if (threads > 1) aux(threads, decoder_info::kSetThreadCount, nullptr, 0);
    return 0;
  });
}

int VideoDecoderStreamBase::setGPUID(int) { return 0; }

int VideoDecoderStreamBase::close() {
  return guarded(label(kClose), [&] {
    handle.reset();
    bufferList.clear();
    draining = false;
    return 0;
  });
}

void VideoDecoderStreamBase::setUpParser() {
  aux(0, decoder_info::kResetParser, nullptr, 0);
  aux(0, decoder_info::kResetParserSecond, nullptr, 0);
  uint32_t options = parseOptions == 0 ? 16u : parseOptions == 1 ? (256u | 16u) : (parseOptions | 16u);
  aux(options, decoder_info::kSetParseOptions, nullptr, 0);
}

int VideoDecoderStreamBase::finishFirstConfiguration(uint32_t state) {
  int result = -2;
  if ((state & decoder_state::kSequence) && (state & decoder_state::kReport)) {
    updateDecodeInfo();
    aux(0, decoder_info::kSequenceAnnounced, nullptr, 0);
    if (outputFrame != nullptr) {
      aux(0, decoder_info::kSetOutputFrame, outputFrame, sizeof(FrameRecord));
    } else {
      aux(0, decoder_info::kSetOutputFrame, nullptr, 0);
    }
    result = 0;
  }
  firstConfig = false;
  return result;
}

uint32_t VideoDecoderStreamBase::feedUntilReport() {
  while (!bufferList.empty()) {
    byteBlock block = bufferList.front();
    bufferList.pop_front();
    if (block.frameType > 0) {
      userData = UserData{block.frameType, 0, block.timecode};
      aux(0, decoder_info::kAttachUserData, &userData, sizeof(userData));
      block.frameType = 0;
    }
    uint32_t consumed = handle->copybytes(handle.get(), const_cast<uint8_t*>(block.data), block.length);
    if (consumed > block.length) consumed = block.length;
    if (consumed < block.length) {
      // The rest goes first next round, without the label it already gave.
      bufferList.push_front(byteBlock{block.data + consumed, block.length - consumed, block.timecode, 0});
    }
    const uint32_t state = aux(0, decoder_info::kRunParser, nullptr, 0);
    if (state & decoder_state::kReport) return state;
  }
  return 0;
}

uint32_t VideoDecoderStreamBase::drainReport() {
  // The library may only hear of the end after the last byte before it.
  if (!libraryEnded) {
    handle->done(handle.get(), 0);
    libraryEnded = true;
  }
  const uint32_t state = aux(0, decoder_info::kRunParser, nullptr, 0);
  if (!(state & decoder_state::kReport)) draining = false;
  return state;
}

int VideoDecoderStreamBase::endOfStream() {
  return guarded(label(kEndOfStream), [&] {
    if (inputEnded) return 0;
    inputEnded = true;
    draining = handle != nullptr;
    return 0;
  });
}

uint32_t VideoDecoderStreamBase::flagsOfReport(uint32_t state) {
  uint32_t flags = kDecodeParserStopped;
  if (state & decoder_state::kSequence) {
    flags |= kDecodeSequenceChanged;
    updateDecodeInfo();
  }
  if ((state & decoder_state::kPictureDecoded) && (state & decoder_state::kPictureComplete)) {
    flags |= kDecodePictureReady;
    if (state & decoder_state::kPictureBit24) flags |= kDecodeStateBit24;
    if (!(state & decoder_state::kPictureOutput)) flags |= kDecodePictureSkipped;
    void* pointer = nullptr;
    aux(0, decoder_info::kFetchUserData, &pointer, sizeof(pointer));
    if (pointer != nullptr) {
      // The library keeps the record in its own storage, which need not
      // be aligned for it: copy it out.
      UserData returned;
      std::memcpy(&returned, pointer, sizeof(returned));
      frameType = returned.frameType;
      timecode = returned.timecode;
    }
  }
  return flags;
}

int VideoDecoderStreamBase::decode(uint32_t& flags) {
  return guarded(label(kDecode), [&] {
    flags = 0;
    if (handle == nullptr) {
      bufferList.clear();
      draining = false;
      flags = kDecodeInputEmpty;
      return 0;
    }
    uint32_t state = feedUntilReport();
    if (!(state & decoder_state::kReport) && draining) state = drainReport();
    if (state & decoder_state::kReport) flags |= flagsOfReport(state);
    if (isInputEmpty()) flags |= kDecodeInputEmpty;
    return 0;
  });
}

int VideoDecoderStreamBase::getDecodedFrame(VideoFrameBuffer& frame) {
  return guarded(label(kGetDecodedFrame), [&] {
    if (handle == nullptr) return -1;
    const int result =
        static_cast<int>(aux(0, decoder_info::kWritePicture, frame.getFrameRecord(), sizeof(FrameRecord)));
    frame.setFrameType(static_cast<int32_t>(frameType));
    frame.setTimecode(timecode);
    return result;
  });
}

void VideoDecoderStreamBase::updateDecodeInfo() {
  guarded(label(kUpdateDecodeInfo), [&] {
    void* pointer = nullptr;
    if (aux(0, decoder_info::kFetchSequence, &pointer, seq_par_set::kCount * sizeof(int32_t)) != 0 ||
        pointer == nullptr) {
      return;
    }
    int32_t seq[seq_par_set::kCount];
    std::memcpy(seq, pointer, sizeof(seq));
    const int32_t rateNum = seq[seq_par_set::kRateNum];
    const int32_t rateDen = seq[seq_par_set::kRateDen];
    const double rate = rateDen > 0 ? static_cast<double>(rateNum) / static_cast<double>(rateDen) : 0.0;
    uint32_t newDisplayWidth = 0;
    uint32_t newDisplayHeight = 0;
    const std::string aspect = displaySize(seq, newDisplayWidth, newDisplayHeight);
    const uint32_t newWidth = static_cast<uint32_t>(seq[seq_par_set::kWidth]);
    const uint32_t newHeight = static_cast<uint32_t>(seq[seq_par_set::kHeight]);
    const bool changed = newDisplayWidth != displayWidth || newDisplayHeight != displayHeight || newWidth != width ||
                         newHeight != height || rate != frameRate;
    setDisplayWidth(newDisplayWidth);
    setDisplayHeight(newDisplayHeight);
    setWidth(newWidth);
    setHeight(newHeight);
    setFrameRate(rate);
    if (logDecodeInfo || changed) {
      std::ostringstream line;
      line << className << ".updateDecodeInfo[{context}]: aspect:" << aspect << " frame:" << seq[seq_par_set::kWidth]
           << "x" << seq[seq_par_set::kHeight] << " display:" << newDisplayWidth << "x" << newDisplayHeight
           << " frameRate:" << rate;
      logInfo(line.str());
      logDecodeInfo = false;
    }
  });
}

int VideoDecoderStreamBase::setParameterLong(uint32_t settingIndex, int64_t value) {
  const bool threadSetting = settingIndex == kSettingThreads;
  if (settingIndex != kSettingParseOptions && !threadSetting) return 0;
  const int64_t smallest = threadSetting ? 1 : 0;
  const int64_t largest = threadSetting ? kMaxThreads : int64_t{UINT32_MAX};
  if (value < smallest || value > largest) {
    std::ostringstream line;
    line << className << ".setParameterLong[{context}]: setting " << settingIndex << " takes " << smallest << " to "
         << largest << "; " << value << " ignored";
    logError(line.str());
    return 0;
  }
  (threadSetting ? threads : parseOptions) = static_cast<uint32_t>(value);
  return 0;
}

int VideoDecoderStreamBase::getParameterType(uint32_t settingIndex, uint32_t* arrayLength) {
  if (arrayLength != nullptr) *arrayLength = 0;
  return settingIndex == kSettingParseOptions || settingIndex == kSettingThreads ? kParameterLong : kParameterUnknown;
}

int VideoDecoderStreamBase::getParameterLong(uint32_t settingIndex, int64_t* value) {
  if (value == nullptr) return 0;
  *value = settingIndex == kSettingParseOptions ? parseOptions : settingIndex == kSettingThreads ? threads : 0;
  return 0;
}

}  // namespace cvx
