#pragma once

#include <cstdint>

#include "media/FourCC.h"
#include "platform/bufstream/BufStream.h"
#include "platform/bufstream/TimeStampInfo.h"
#include "platform/h264encoder/H264EncoderSettings.h"

namespace cvx {

// The software H.264 encoder: seven C-style operations over the settings
// record, writing finished access units into a bufstream_tt sink. Every
// operation is safe on null arguments and answers with a status instead.
//
// Per encoded picture the sink sees, in this order:
//   auxinfo(0, bufstream_info::kFrameStart, null, 0)
//   auxinfo(0, bufstream_info::kTimeStamp, &time_stamp_info, 24)   its own record
//   copybytes(access unit)                             Annex B, see below
//   auxinfo(0, bufstream_info::kVideoFrameEnd, null, 0)
// Pictures leave in decode order. The access unit starts with a delimiter
// (00 00 00 01 09 xx; xx 0x10 intra, 0x30 predicted, 0x50 bidirectional) and
// every NAL unit has a four-byte start code. The whole unit goes in one
// copybytes call, so a sink that refuses it loses the picture, never half.


// Message callbacks the encoder looks up by name through the resolver:
// "err_printf", "wrn_printf", "inf_printf" take a format and arguments,
// "prg_printf" a number first. Unknown names resolve to null.
using H264MessageFunction = void (*)(const char* format, ...);
using H264ProgressFunction = void (*)(int32_t value, const char* format, ...);
using H264GenericFunction = void (*)();
using H264CallbackResolver = H264GenericFunction (*)(const char* name);

// Status codes of check and of the operations below; 0 is success.
enum H264EncoderStatus : int {
  kH264Ok = 0,
  kH264InvalidArgument = 1,   // null record or handle, wrong state
  kH264InvalidSize = 2,       // width/height not positive and even, or above 16384
  kH264InvalidFrameRate = 3,  // frame rate not in (0, 1000]
  kH264InvalidProfile = 4,
  kH264InvalidRateControl = 5,  // unknown mode, or a mode without its number
  kH264InvalidChoice = 6,       // a preset, tune or interlace number out of range
  kH264LibraryRejected = 7,     // the library refused the parameters
  kH264EncodeFailed = 8,
  kH264UnsupportedPicture = 9,  // fourcc or size differs from the record
  kH264OutputFailed = 10,       // sink refused an access unit
};

struct H264OutVideo;

// Fills the record for a live stream.
//   familyProfile: 0 live baseline (baseline profile, zero latency: no
//                  B-frames, no lookahead, sliced threads), 1 main, 2 high
//                  (frame threads, B-frames from the speed preset);
//                  larger values are taken as 2.
//   speedPreset:   0 ultrafast, 1 superfast, 2 veryfast, 3 faster, 4 fast,
//                  5 medium, 6 slow, 7 slower, 8 veryslow, 9 placebo;
//                  larger values are taken as 9.
// The result encodes at 1 Mbit/s average and 1.1 Mbit/s maximum with a one
// second buffer, 30 frames per second, a key frame every two seconds and
// parameter sets before each key frame; width and height are left 0 for the
// host to set. Returns 0, or kH264InvalidArgument for a null record.
int h264OutVideoDefaults(H264EncoderSettings* settings, uint32_t familyProfile, uint32_t speedPreset);

// 0 when an encoder can be made from the record, else a status code; the
// reason goes to err_printf when a resolver is given.
int h264OutVideoChkSettings(H264CallbackResolver resolver, const H264EncoderSettings* settings, uint32_t reserved1,
                            uint32_t reserved2);

// Makes an encoder from a copy of the record; null on failure. The other
// arguments (0, 0xFFFFFFFF, 0, null) are accepted and ignored.
H264OutVideo* h264OutVideoNew(H264CallbackResolver resolver, const H264EncoderSettings* settings, uint32_t reserved1,
                              uint32_t reserved2, uint32_t reserved3, void* reserved4);

// Binds the sink (borrowed, must outlive the encoder, needs copybytes and
// auxinfo) and the options array. options[0], if set, points at a key frame
// request of four 32-bit words that the caller may rewrite between pictures:
// when word 1 is 0 and word 0 equals the number of pictures put before this
// one, this picture becomes a key frame. Words 2 and 3 are not read.
int h264OutVideoInit(H264OutVideo* handle, bufstream_tt* sink, uint32_t optionFlags, void** options);

// Encodes one 4:2:0 picture (fourcc YV12 or I420; planes by the frame buffer
// rule: chroma planes follow the luma plane at width*height and width*height
// * 5/4, with half the stride; YV12 holds V first). extInfo, if set, points
// at a pointer to the picture's time_stamp_info, which comes back with it.
int h264OutVideoPutFrame(H264OutVideo* handle, const uint8_t* plane0, int32_t stride, uint32_t width,
                         uint32_t height, uint32_t fourcc, uint32_t optionFlags, void** extInfo);

// Ends the stream: abort 0 writes out the pictures still held for
// reordering or lookahead, abort 1 drops them. Later puts fail.
int h264OutVideoDone(H264OutVideo* handle, int abort);

// Releases the encoder; null is fine.
void h264OutVideoFree(H264OutVideo* handle);

// Named deleter for owners that hold the handle in a std::unique_ptr.
struct H264OutVideoDeleter {
  void operator()(H264OutVideo* handle) const { h264OutVideoFree(handle); }
};

}  // namespace cvx
