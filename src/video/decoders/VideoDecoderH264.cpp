#include "video/decoders/VideoDecoderH264.h"

#include <exception>
#include <string>
#include <utility>

#include "platform/videodecoder/VideoDecoderOpen.h"

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

VideoDecoderH264::VideoDecoderH264() : VideoDecoderH264(&openVideoDecoderStreamH264) {}

VideoDecoderH264::VideoDecoderH264(StreamOpener streamOpener) : VideoDecoderStreamBase("VideoDecoderH264", streamOpener) {
  codec = 7;
}

int VideoDecoderH264::decodeCodecConfig(uint8_t* data, uint32_t offset, uint32_t length) {
  try {
    if (handle == nullptr || data == nullptr) return 0;
    // A malformed record changes nothing and is no failure. Every read is
    // kept inside the block; for a well-formed record the tests below are
    // the record's own.
    const uint64_t p = uint64_t{offset} + 6;
    if (p + 2 > length) return 0;
    const uint32_t spsLength = readBigEndian16(data + p);
    if (spsLength == 0 || spsLength > length - (p + 2)) return 0;
    const uint64_t ppsAt = p + 2 + spsLength + 1;
    if (ppsAt + 2 > length) return 0;
    const uint32_t ppsLength = readBigEndian16(data + ppsAt);
    if (ppsLength == 0 || p + spsLength + 5 > length || ppsLength > length - (p + spsLength + 5)) return 0;
    if (ppsAt + 2 + ppsLength > length) return 0;

    if (bufferList.empty()) {
      retiredParameterSets.clear();
    } else if (parameterSetsQueued) {
      retiredParameterSets.push_back(std::move(sps));
      retiredParameterSets.push_back(std::move(pps));
    }
    parameterSetsQueued = false;
    storeWithStartCode(sps, data + p + 2, spsLength);
    storeWithStartCode(pps, data + ppsAt + 2, ppsLength);
    // Later configurations only change what goes in front of frames.
    if (!firstConfig) return 0;

    setUpParser();
    handle->copybytes(handle, sps.data(), static_cast<uint32_t>(sps.size()));
    aux(0, 0x10010, nullptr, 0);
    handle->copybytes(handle, pps.data(), static_cast<uint32_t>(pps.size()));
    return finishFirstConfiguration(aux(0, 0x10010, nullptr, 0));
  } catch (const std::exception& e) {
    writeLabel("decodeCodecConfig", e);
    return -1;
  }
}

int VideoDecoderH264::addFrame(uint8_t* data, uint32_t offset, uint32_t length, int64_t frameTimecode,
                               uint32_t frameKind) {
  try {
    localBufferList.clear();
    if (bufferList.empty()) retiredParameterSets.clear();
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
        logError("VideoDecoderH264.addFrame[{context}]: more than " + std::to_string(kMaxNalUnitsPerFrame) +
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
      bufferList.push_back(byteBlock{aud, 6, frameTimecode, 0});
    }
    if (!sawSps && !sps.empty()) {
      bufferList.push_back(byteBlock{sps.data(), static_cast<uint32_t>(sps.size()), frameTimecode, 0});
      parameterSetsQueued = true;
    }
    if (!sawPps && !pps.empty()) {
      bufferList.push_back(byteBlock{pps.data(), static_cast<uint32_t>(pps.size()), frameTimecode, 0});
      parameterSetsQueued = true;
    }
    bufferList.insert(bufferList.end(), localBufferList.begin(), localBufferList.end());
    // The label goes on the first queued block: the frame's first byte when
    // the queue was drained, so the library carries it to this picture.
    if (!bufferList.empty()) bufferList.front().frameType = frameKind;
    return result;
  } catch (const std::exception& e) {
    writeLabel("addFrame", e);
    return -1;
  }
}

std::string VideoDecoderH264::displaySize(const int32_t* seq, uint32_t& displayW, uint32_t& displayH) {
  if (seq[8] > 0) {
    // The ratio is the shape of the picture, applied to the coded height.
    displayH = static_cast<uint32_t>(seq[1]);
    displayW = static_cast<uint32_t>(static_cast<int32_t>(static_cast<int64_t>(seq[1]) * seq[7] / seq[8]));
  } else {
    // Width and height change places here; hosts read these values as they are.
    displayW = static_cast<uint32_t>(seq[1]);
    displayH = static_cast<uint32_t>(seq[0]);
  }
  return std::to_string(seq[7]) + "x" + std::to_string(seq[8]);
}

}  // namespace cvx
