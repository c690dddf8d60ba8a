#include "video/decoders/VideoDecoderStreamBase.h"

#include <cstring>
#include <exception>
#include <sstream>

#include "logging/LogCollector.h"
#include "logging/StdoutLine.h"
#include "platform/videodecoder/VideoDecoderOpen.h"
#include "video/frames/VideoFrameBuffer.h"

namespace cvx {

namespace {
constexpr uint32_t kStateReport = 0x1;
constexpr uint32_t kStateSequence = 0x100;
constexpr uint32_t kStatePictureDecoded = 0x100000;
constexpr uint32_t kStatePictureOutput = 0x200000;
constexpr uint32_t kStatePictureComplete = 0x400000;
constexpr uint32_t kStateBit24 = 0x1000000;
}  // namespace

VideoDecoderStreamBase::VideoDecoderStreamBase(const char* name, StreamOpener streamOpener)
    : className(name), opener(streamOpener) {}

VideoDecoderStreamBase::~VideoDecoderStreamBase() noexcept(false) {
  try {
    close();
  } catch (const std::exception& e) {
    writeStdoutLine("VideoDecoderBase::destructor[free]: ", e);
  }
}

void VideoDecoderStreamBase::writeLabel(const char* method, const std::exception& e) const {
  const std::string label = std::string(className) + "::" + method + ": ";
  writeStdoutLine(label.c_str(), e);
}

uint32_t VideoDecoderStreamBase::aux(uint32_t offset, uint32_t infoId, void* infoPtr, uint32_t infoSize) {
  return handle->auxinfo(handle, offset, infoId, infoPtr, infoSize);
}

int VideoDecoderStreamBase::initialize() {
  try {
    if (handle != nullptr) return 0;
    handle = opener != nullptr ? opener(nullptr, nullptr, nullptr) : nullptr;
    if (handle == nullptr) return -1;
    // What the library refuses in a stream is a fault of the input: it goes to our log.
    aux(0, decoder_info::kSetLogger, loggerOrDefault(logger), 0);
    if (threads > 1) aux(threads, decoder_info::kSetThreadCount, nullptr, 0);
    return 0;
  } catch (const std::exception& e) {
    writeLabel("initialize", e);
    return -1;
  }
}

int VideoDecoderStreamBase::setGPUID(int) { return 0; }

int VideoDecoderStreamBase::close() {
  try {
    if (handle != nullptr) {
      bufstream_tt* stream = handle;
      handle = nullptr;
      stream->done(stream, 0);
      stream->free(stream);
    }
    bufferList.clear();
    return 0;
  } catch (const std::exception& e) {
    writeLabel("close", e);
    return -1;
  }
}

void VideoDecoderStreamBase::setUpParser() {
  aux(0, 0x10000, nullptr, 0);
  aux(0, 0x101B3, nullptr, 0);
  uint32_t options = parseOptions == 0 ? 16u : parseOptions == 1 ? (256u | 16u) : (parseOptions | 16u);
  aux(options, 0x10002, nullptr, 0);
}

int VideoDecoderStreamBase::finishFirstConfiguration(uint32_t state) {
  int result = -2;
  if ((state & kStateSequence) && (state & kStateReport)) {
    updateDecodeInfo();
    aux(0, 0x10202, nullptr, 0);
    if (outputFrame != nullptr) {
      aux(0, 0x10001, outputFrame, sizeof(FrameRecord));
    } else {
      aux(0, 0x10001, nullptr, 0);
    }
    result = 0;
  }
  firstConfig = false;
  return result;
}

int VideoDecoderStreamBase::decode(uint32_t& flags) {
  try {
    flags = 0;
    if (handle == nullptr) {
      bufferList.clear();
      flags = kDecodeInputEmpty;
      return 0;
    }
    uint32_t state = 0;
    bool reported = false;
    while (!bufferList.empty()) {
      byteBlock block = bufferList.front();
      bufferList.pop_front();
      if (block.frameType > 0) {
        userData = UserData{block.frameType, 0, block.timecode};
        aux(0, 0x10008, &userData, sizeof(userData));
        block.frameType = 0;
      }
      uint32_t consumed = handle->copybytes(handle, const_cast<uint8_t*>(block.data), block.length);
      if (consumed > block.length) consumed = block.length;
      if (consumed < block.length) {
        // The rest goes first next round, without the label it already gave.
        bufferList.push_front(byteBlock{block.data + consumed, block.length - consumed, block.timecode, 0});
      }
      state = aux(0, 0x10010, nullptr, 0);
      if (state & kStateReport) {
        reported = true;
        break;
      }
    }
    if (reported) {
      if (state & kStateSequence) {
        flags |= kDecodeSequenceChanged;
        updateDecodeInfo();
      }
      if ((state & kStatePictureDecoded) && (state & kStatePictureComplete)) {
        flags |= kDecodePictureReady;
        if (state & kStateBit24) flags |= kDecodeStateBit24;
        if (!(state & kStatePictureOutput)) flags |= kDecodePictureSkipped;
        void* pointer = nullptr;
        aux(0, 0x10009, &pointer, sizeof(pointer));
        if (pointer != nullptr) {
          // The library keeps the record in its own storage, which need not
          // be aligned for it: copy it out.
          UserData returned;
          std::memcpy(&returned, pointer, sizeof(returned));
          frameType = returned.frameType;
          timecode = returned.timecode;
        }
      }
      flags |= kDecodeParserStopped;
    }
    if (bufferList.empty()) flags |= kDecodeInputEmpty;
    return 0;
  } catch (const std::exception& e) {
    writeLabel("decode", e);
    return -1;
  }
}

int VideoDecoderStreamBase::getDecodedFrame(VideoFrameBuffer& frame) {
  try {
    if (handle == nullptr) return -1;
    const int result = static_cast<int>(aux(0, 0x10007, frame.getFrameRecord(), sizeof(FrameRecord)));
    frame.setFrameType(static_cast<int32_t>(frameType));
    frame.setTimecode(timecode);
    return result;
  } catch (const std::exception& e) {
    writeLabel("getDecodedFrame", e);
    return -1;
  }
}

void VideoDecoderStreamBase::updateDecodeInfo() {
  try {
    void* pointer = nullptr;
    if (aux(0, 0x10014, &pointer, 44) != 0 || pointer == nullptr) return;
    int32_t seq[11];
    std::memcpy(seq, pointer, sizeof(seq));
    const double rate = seq[10] > 0 ? static_cast<double>(seq[9]) / static_cast<double>(seq[10]) : 0.0;
    uint32_t newDisplayWidth = 0;
    uint32_t newDisplayHeight = 0;
    const std::string aspect = displaySize(seq, newDisplayWidth, newDisplayHeight);
    const uint32_t newWidth = static_cast<uint32_t>(seq[0]);
    const uint32_t newHeight = static_cast<uint32_t>(seq[1]);
    const bool changed = newDisplayWidth != displayWidth || newDisplayHeight != displayHeight || newWidth != width ||
                         newHeight != height || rate != frameRate;
    setDisplayWidth(newDisplayWidth);
    setDisplayHeight(newDisplayHeight);
    setWidth(newWidth);
    setHeight(newHeight);
    setFrameRate(rate);
    if (logDecodeInfo || changed) {
      std::ostringstream line;
      line << className << ".updateDecodeInfo[{context}]: aspect:" << aspect << " frame:" << seq[0] << "x" << seq[1]
           << " display:" << newDisplayWidth << "x" << newDisplayHeight << " frameRate:" << rate;
      logInfo(line.str());
      logDecodeInfo = false;
    }
  } catch (const std::exception& e) {
    writeLabel("updateDecodeInfo", e);
  }
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
