#include "support/VideoDecoderFuzzInput.h"

#include <vector>

#include "logging/LogCollector.h"
#include "video/decoders/IVideoDecoder.h"
#include "video/frames/VideoFrameBuffer.h"

namespace cvx::fuzz {
namespace {

constexpr uint32_t kFourccYV12 = 0x32315659;
// A decode call reports one thing; a frame gives few. Far more calls than
// bytes in the input means the decoder no longer makes progress.
constexpr size_t kDecodeCallsPerByte = 64;

}  // namespace

void runVideoDecoderFuzzInput(IVideoDecoder& decoder, const uint8_t* data, size_t size) {
  static LogCollector log;
  decoder.setLogger(&log);
  if (decoder.initialize() != 0) {
    return;
  }
  VideoFrameBuffer picture;
  size_t callsLeft = (size + 1) * kDecodeCallsPerByte;
  // Decodes until the decoder asks for input; `once` stops after one call.
  const auto decodeUntilEmpty = [&](bool once) {
    uint32_t flags = 0;
    do {
      if (callsLeft-- == 0) {
        __builtin_trap();  // a hang: the input queue never runs empty
      }
      decoder.decode(flags);
      if (flags & kDecodeSequenceChanged) {
        picture.allocBuffer(decoder.getWidth(), decoder.getHeight(), kFourccYV12);
      }
      if ((flags & kDecodePictureReady) && !(flags & kDecodePictureSkipped)) {
        decoder.getDecodedFrame(picture);
      }
    } while (!once && (flags & kDecodeInputEmpty) == 0);
  };
  // The records' bytes stay in `data`, which outlives the decoder's queue.
  auto* bytes = const_cast<uint8_t*>(data);
  size_t at = 0;
  while (at + kVideoDecoderRecordHeader <= size) {
    const uint8_t kind = bytes[at];
    size_t length = (size_t{bytes[at + 1]} << 8) | bytes[at + 2];
    at += kVideoDecoderRecordHeader;
    length = length < size - at ? length : size - at;
    const uint32_t frameType = kind & 3;
    if (frameType == 0) {
      decoder.decodeCodecConfig(bytes + at, 0, static_cast<uint32_t>(length));
      at += length;
      continue;
    }
    decoder.addFrame(bytes + at, 0, static_cast<uint32_t>(length), static_cast<int64_t>(at), frameType);
    at += length;
    decodeUntilEmpty((kind & 4) != 0);
  }
  // The host's input ends: every picture the decoder still holds comes out.
  decoder.endOfStream();
  decodeUntilEmpty(false);
  decoder.close();
  std::vector<LogStatement> statements;
  log.getLogStatements(statements);
}

}  // namespace cvx::fuzz
