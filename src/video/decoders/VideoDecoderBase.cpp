#include "video/decoders/VideoDecoderBase.h"

#include <string>
#include <utility>

#include "logging/LogCollector.h"

namespace cvx {

namespace {

uint32_t readBigEndian16(const uint8_t* p) { return (uint32_t{p[0]} << 8) | p[1]; }
uint32_t readBigEndian32(const uint8_t* p) {
  return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}

void storeWithStartCode(std::vector<uint8_t>& out, const uint8_t* data, uint32_t length) {
  out.assign(VideoDecoderBase::kStartCode, VideoDecoderBase::kStartCode + 4);
  out.insert(out.end(), data, data + length);
}

}  // namespace

void VideoDecoderBase::logInfo(const std::string& statement) {
  loggerOrDefault(logger)->logLevel2(kLogContextVideoDecoder, 0, statement);
}

void VideoDecoderBase::logError(const std::string& statement) {
  loggerOrDefault(logger)->logLevel3(kLogContextVideoDecoder, 0, statement);
}

bool VideoDecoderBase::refusedAfterEnd(const char* owner, const char* method) {
  if (inputEnded) logError(std::string(owner) + "." + method + "[{context}]: refused: the stream has ended");
  return inputEnded;
}

bool VideoDecoderBase::readConfigurationRecord(const std::deque<byteBlock>& queue, const uint8_t* data,
                                               uint32_t offset, uint32_t length) {
  if (data == nullptr) return false;
  // Every read is kept inside the block; for a well-formed record the tests
  // below are the record's own.
  const uint64_t p = uint64_t{offset} + 6;
  if (p + 2 > length) return false;
  const uint32_t spsLength = readBigEndian16(data + p);
  if (spsLength == 0 || spsLength > length - (p + 2)) return false;
  const uint64_t ppsAt = p + 2 + spsLength + 1;
  if (ppsAt + 2 > length) return false;
  const uint32_t ppsLength = readBigEndian16(data + ppsAt);
  if (ppsLength == 0 || p + spsLength + 5 > length || ppsLength > length - (p + spsLength + 5)) return false;
  if (ppsAt + 2 + ppsLength > length) return false;
  if (queue.empty()) {
    retiredParameterSets.clear();
  } else if (parameterSetsQueued) {
    retiredParameterSets.push_back(std::move(sps));
    retiredParameterSets.push_back(std::move(pps));
  }
  parameterSetsQueued = false;
  storeWithStartCode(sps, data + p + 2, spsLength);
  storeWithStartCode(pps, data + ppsAt + 2, ppsLength);
  return true;
}

int VideoDecoderBase::queueLengthPrefixedFrame(const char* owner, std::deque<byteBlock>& queue, const uint8_t* data,
                                               uint32_t offset, uint32_t length, int64_t frameTimecode,
                                               uint32_t frameKind) {
  localBufferList.clear();
  if (queue.empty()) retiredParameterSets.clear();
  uint32_t position = 0;
  uint32_t units = 0;
  bool sawAud = false, sawSps = false, sawPps = false;
  int result = 0;
  const uint8_t* frame = data != nullptr ? data + offset : nullptr;
  while (frame != nullptr && length > 0 && position < length) {
    if (length - position < 4) {
      result = -1;
      break;
    }
    const uint32_t nalLength = readBigEndian32(frame + position);
    if (nalLength == 0 || nalLength > length - position - 4) {
      result = -1;
      break;
    }
    if (++units > kMaxNalUnitsPerFrame) {
      logError(std::string(owner) + ".addFrame[{context}]: more than " + std::to_string(kMaxNalUnitsPerFrame) +
               " NAL units in one frame; the rest is dropped");
      result = -1;
      break;
    }
    const uint8_t* nal = frame + position + 4;
    switch (nal[0] & 31) {
      case 9: sawAud = true; break;
      case 7: sawSps = true; break;
      case 8: sawPps = true; break;
      default: break;
    }
    localBufferList.push_back(byteBlock{kStartCode, 4, frameTimecode, 0});
    localBufferList.push_back(byteBlock{nal, nalLength, frameTimecode, 0});
    position += nalLength + 4;
  }
  if (!sawAud) {
    const uint8_t* aud = frameKind == 1 ? kAudKey : frameKind == 3 ? kAudDisposable : kAudInter;
    queue.push_back(byteBlock{aud, 6, frameTimecode, 0});
  }
  if (!sawSps && !sps.empty()) {
    queue.push_back(byteBlock{sps.data(), static_cast<uint32_t>(sps.size()), frameTimecode, 0});
    parameterSetsQueued = true;
  }
  if (!sawPps && !pps.empty()) {
    queue.push_back(byteBlock{pps.data(), static_cast<uint32_t>(pps.size()), frameTimecode, 0});
    parameterSetsQueued = true;
  }
  queue.insert(queue.end(), localBufferList.begin(), localBufferList.end());
  // The label goes on the first queued block: the frame's first byte when
  // the queue was drained, so the decoder carries it to this picture.
  if (!queue.empty()) queue.front().frameType = frameKind;
  return result;
}

}  // namespace cvx
