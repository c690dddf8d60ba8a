#include "platform/h264encoder/H264OutVideo.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <vector>

#include <stdint.h>  // the library header needs it first
#include <x264.h>

#include "logging/Guarded.h"
#include "platform/h264encoder/H264Messages.h"
#include "platform/h264encoder/X264Handles.h"
#include "platform/h264encoder/X264ParamMapping.h"

namespace cvx {

namespace {

// Access unit delimiter: start code, NAL type 9, then primary_pic_type in
// the top three bits and the stop bit. The output stream reads 0x10 as a
// key frame and 0x50 as a B-frame.
constexpr uint8_t kDelimiterIntra = 0x10;
constexpr uint8_t kDelimiterPredicted = 0x30;
constexpr uint8_t kDelimiterBidirectional = 0x50;
constexpr uint8_t kStartCode[4] = {0, 0, 0, 1};
constexpr uint8_t kNalTypeDelimiter = 9;

// Output buffer reserved up front so that the steady state never grows it.
constexpr size_t kInitialAccessUnitBytes = 256 * 1024;

// Room for pictures that are in the library at once beyond its own count.
constexpr int kStampSlack = 2;

uint8_t delimiterFor(int pictureType) {
  if (IS_X264_TYPE_I(pictureType)) {
    return kDelimiterIntra;
  }
  return IS_X264_TYPE_B(pictureType) ? kDelimiterBidirectional : kDelimiterPredicted;
}

// Payload of one NAL unit from the library without its start code, which is
// three bytes for later slices of a picture and four otherwise.
size_t startCodeLength(const uint8_t* payload, int size) {
  if (size >= 4 && payload[0] == 0 && payload[1] == 0 && payload[2] == 0 && payload[3] == 1) {
    return 4;
  }
  if (size >= 3 && payload[0] == 0 && payload[1] == 0 && payload[2] == 1) {
    return 3;
  }
  return 0;
}

struct PendingStamp {
  uint64_t sequence = 0;
  bool pending = false;  // put and not yet written out
  time_stamp_info info{};
};

}  // namespace

struct H264OutVideo {
  explicit H264OutVideo(H264CallbackResolver resolver) : messages(resolver) {}
  ~H264OutVideo() { finish(1); }
  H264OutVideo(const H264OutVideo&) = delete;
  H264OutVideo& operator=(const H264OutVideo&) = delete;

  int open(const H264EncoderSettings& record);
  int bind(bufstream_tt* output, void** options);
  int put(const uint8_t* plane0, int32_t stride, uint32_t width, uint32_t height, uint32_t fourcc, void** extInfo);
  int finish(int abort);

 private:
  int encode(x264_picture_t* input);
  int writeAccessUnit(const x264_nal_t* nals, int nalCount);
  void growStamps();
  bool keyFrameRequested() const;

  H264Messages messages;
  H264EncoderSettings settings{};
  X264Params param;
  X264EncoderPtr encoder;
  bufstream_tt* sink = nullptr;           // borrowed
  const int32_t* keyFrameRequest = nullptr;  // borrowed, rewritten by the caller between pictures
  uint64_t picturesPut = 0;
  std::vector<PendingStamp> stamps;  // ring by picture sequence
  std::vector<uint8_t> accessUnit;
  x264_picture_t pictureIn{};
  x264_picture_t pictureOut{};
  bool finished = false;
  bool dropOutput = false;
};

int H264OutVideo::open(const H264EncoderSettings& record) {
  settings = record;
  const int status = buildX264Params(settings, messages, param);
  if (status != kH264Ok) {
    return status;
  }
  encoder.reset(x264_encoder_open(&param.get()));
  if (checkX264(encoder ? 0 : -1, "x264_encoder_open", kH264LibraryRejected, messages) != kH264Ok) {
    return kH264LibraryRejected;
  }
  // Pictures held for reordering and lookahead, plus those in flight on
  // frame threads; a ring of that size never grows once running.
  x264_param_t actual;
  x264_encoder_parameters(encoder.get(), &actual);
  const int delayed = std::max(0, x264_encoder_maximum_delayed_frames(encoder.get())) + std::max(1, actual.i_threads);
  stamps.assign(static_cast<size_t>(delayed) + kStampSlack, PendingStamp{});
  accessUnit.reserve(kInitialAccessUnitBytes);
  return kH264Ok;
}

int H264OutVideo::bind(bufstream_tt* output, void** options) {
  if (output == nullptr || output->copybytes == nullptr || output->auxinfo == nullptr) {
    messages.error("H.264 encoder: the output stream lacks copybytes or auxinfo");
    return kH264InvalidArgument;
  }
  sink = output;
  keyFrameRequest = options != nullptr ? static_cast<const int32_t*>(options[0]) : nullptr;
  return kH264Ok;
}

bool H264OutVideo::keyFrameRequested() const {
  return keyFrameRequest != nullptr && keyFrameRequest[1] == 0 && keyFrameRequest[0] >= 0 &&
         static_cast<uint64_t>(keyFrameRequest[0]) == picturesPut;
}

int H264OutVideo::put(const uint8_t* plane0, int32_t stride, uint32_t width, uint32_t height, uint32_t fourcc,
                      void** extInfo) {
  if (sink == nullptr || finished) {
    messages.error("H.264 encoder: picture before init or after done");
    return kH264InvalidArgument;
  }
  // Counted before any refusal, so requests by picture number stay in step
  // with the caller's count.
  const bool key = keyFrameRequested();
  const uint64_t sequence = picturesPut++;
  if (plane0 == nullptr || stride < static_cast<int32_t>(width) || (fourcc != kFourCCYV12 && fourcc != kFourCCI420) ||
      width != static_cast<uint32_t>(settings.width) || height != static_cast<uint32_t>(settings.height)) {
    messages.error("H.264 encoder: refused picture %ux%u fourcc 0x%08x stride %d", width, height, fourcc, stride);
    return kH264UnsupportedPicture;
  }
  if (stamps[sequence % stamps.size()].pending) {
    growStamps();
  }
  PendingStamp& slot = stamps[sequence % stamps.size()];
  slot.sequence = sequence;
  slot.pending = true;
  if (extInfo != nullptr && *extInfo != nullptr) {
    std::memcpy(&slot.info, *extInfo, sizeof slot.info);
  } else {
    // No record given: the picture's number stands in for its time.
    slot.info = time_stamp_info{static_cast<int64_t>(sequence), static_cast<int64_t>(sequence), 0, 0};
  }

  x264_picture_init(&pictureIn);
  pictureIn.i_type = !key ? X264_TYPE_AUTO : settings.idrOnRequest != 0 ? X264_TYPE_IDR : X264_TYPE_KEYFRAME;
  pictureIn.i_pts = slot.info.start;
  pictureIn.opaque = reinterpret_cast<void*>(static_cast<uintptr_t>(sequence));
  pointX264Picture(pictureIn, plane0, stride, width, height, fourcc);
  return encode(&pictureIn);
}

// Only if the library holds more pictures than it announced: double the
// ring until every held picture has a slot of its own.
void H264OutVideo::growStamps() {
  for (size_t size = stamps.size() * 2;; size *= 2) {
    std::vector<PendingStamp> grown(size);
    bool collided = false;
    for (const PendingStamp& stamp : stamps) {
      if (stamp.pending) {
        PendingStamp& target = grown[stamp.sequence % size];
        collided = collided || target.pending;
        target = stamp;
      }
    }
    if (!collided) {
      stamps.swap(grown);
      return;
    }
  }
}

int H264OutVideo::encode(x264_picture_t* input) {
  x264_nal_t* nals = nullptr;
  int nalCount = 0;
  const int size = x264_encoder_encode(encoder.get(), &nals, &nalCount, input, &pictureOut);
  const int status = checkX264(size, "x264_encoder_encode", kH264EncodeFailed, messages);
  if (status != kH264Ok || size == 0 || dropOutput) {
    return status;
  }
  return writeAccessUnit(nals, nalCount);
}

int H264OutVideo::writeAccessUnit(const x264_nal_t* nals, int nalCount) {
  accessUnit.clear();
  accessUnit.insert(accessUnit.end(), std::begin(kStartCode), std::end(kStartCode));
  accessUnit.push_back(kNalTypeDelimiter);
  accessUnit.push_back(delimiterFor(pictureOut.i_type));
  for (int i = 0; i < nalCount; ++i) {
    const uint8_t* payload = nals[i].p_payload;
    const size_t skip = startCodeLength(payload, nals[i].i_payload);
    accessUnit.insert(accessUnit.end(), std::begin(kStartCode), std::end(kStartCode));
    accessUnit.insert(accessUnit.end(), payload + skip, payload + nals[i].i_payload);
  }

  const uintptr_t sequence = reinterpret_cast<uintptr_t>(pictureOut.opaque);
  PendingStamp& slot = stamps[sequence % stamps.size()];
  time_stamp_info stamp{pictureOut.i_pts, pictureOut.i_pts, 0, 0};
  if (slot.pending && slot.sequence == sequence) {
    stamp = slot.info;
    slot.pending = false;
  }
  stamp.start = pictureOut.i_pts;

  const auto bytes = static_cast<uint32_t>(accessUnit.size());
  sink->auxinfo(sink, 0, bufstream_info::kFrameStart, nullptr, 0);
  sink->auxinfo(sink, 0, bufstream_info::kTimeStamp, &stamp, sizeof stamp);
  const uint32_t written = sink->copybytes(sink, accessUnit.data(), bytes);
  sink->auxinfo(sink, 0, bufstream_info::kVideoFrameEnd, nullptr, 0);
  if (written != bytes) {
    messages.warning("H.264 encoder: output stream took %u of %u bytes", written, bytes);
    return kH264OutputFailed;
  }
  return kH264Ok;
}

int H264OutVideo::finish(int abort) {
  if (finished || !encoder) {
    finished = true;
    return kH264Ok;
  }
  finished = true;
  // Held pictures are encoded even when they are dropped: closing the
  // library with pictures still in its lookahead can lose their buffers.
  // Dropped output allocates nothing, so the destructor's abort cannot throw.
  dropOutput = abort != 0 || sink == nullptr;
  int status = kH264Ok;
  while (status == kH264Ok && x264_encoder_delayed_frames(encoder.get()) > 0) {
    status = encode(nullptr);
  }
  return status;
}

int h264OutVideoDefaults(H264EncoderSettings* settings, uint32_t familyProfile, uint32_t speedPreset) {
  if (settings == nullptr) {
    return kH264InvalidArgument;
  }
  fillLiveDefaults(*settings, familyProfile, speedPreset);
  return kH264Ok;
}

int h264OutVideoChkSettings(H264CallbackResolver resolver, const H264EncoderSettings* settings, uint32_t, uint32_t) {
  return guarded("h264OutVideoChkSettings: ", [&] {
    const H264Messages messages(resolver);
    if (settings == nullptr) {
      messages.error("H.264 encoder: no settings");
      return static_cast<int>(kH264InvalidArgument);
    }
    X264Params param;
    return buildX264Params(*settings, messages, param);
  }, int{kH264EncodeFailed});
}

H264OutVideo* h264OutVideoNew(H264CallbackResolver resolver, const H264EncoderSettings* settings, uint32_t, uint32_t,
                              uint32_t, void*) {
  if (settings == nullptr) {
    return nullptr;
  }
  std::unique_ptr<H264OutVideo> handle(new (std::nothrow) H264OutVideo(resolver));
  const auto open = [&] { return handle->open(*settings); };
  if (!handle || guarded("h264OutVideoNew: ", open, int{kH264EncodeFailed}) != kH264Ok) {
    return nullptr;
  }
  return handle.release();
}

int h264OutVideoInit(H264OutVideo* handle, bufstream_tt* sink, uint32_t, void** options) {
  return handle == nullptr ? kH264InvalidArgument : handle->bind(sink, options);
}

int h264OutVideoPutFrame(H264OutVideo* handle, const uint8_t* plane0, int32_t stride, uint32_t width, uint32_t height,
                         uint32_t fourcc, uint32_t, void** extInfo) {
  if (handle == nullptr) {
    return kH264InvalidArgument;
  }
  return guarded(
      "h264OutVideoPutFrame: ", [&] { return handle->put(plane0, stride, width, height, fourcc, extInfo); },
      int{kH264EncodeFailed});
}

int h264OutVideoDone(H264OutVideo* handle, int abort) {
  if (handle == nullptr) {
    return kH264InvalidArgument;
  }
  return guarded("h264OutVideoDone: ", [&] { return handle->finish(abort); }, int{kH264EncodeFailed});
}

void h264OutVideoFree(H264OutVideo* handle) { delete handle; }

}  // namespace cvx
