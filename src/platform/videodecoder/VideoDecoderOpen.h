#pragma once

#include <cstdint>

#include "platform/bufstream/BufStream.h"

namespace cvx {

// Open entry points of the video decoder streams (libavcodec underneath). Each
// returns a stream driven through copybytes and auxinfo, or null when the codec
// is missing from the library; the arguments are taken for the shape of the
// entry and ignored. The stream is ended with done(0) and destroyed with free().
bufstream_tt* openVideoDecoderStreamH264(void* callbacks, void* settings, void* reserved);
bufstream_tt* openVideoDecoderStreamMpeg2(void* callbacks, void* settings, void* reserved);

// Which syntax an MPEG-4 family stream carries. Detect reads it from the first
// bytes; the others force it (a Spark version 0 stream can pass for H.263).
enum class Mpeg4FamilyHint { Detect, Mpeg4Part2, H263, Spark };
bufstream_tt* openVideoDecoderStreamMpeg4(void* callbacks, void* settings, void* reserved,
                                          Mpeg4FamilyHint hint = Mpeg4FamilyHint::Detect);

// Info codes understood by auxinfo.
namespace decoder_info {
constexpr uint32_t kResetParser = 0x10000;       // drops input, pictures and the known sequence
constexpr uint32_t kResetParserSecond = 0x101B3;  // accepted; the first step did all
constexpr uint32_t kSetOutputFrame = 0x10001;     // frame record (88 bytes) used by kWritePicture given null
constexpr uint32_t kSetParseOptions = 0x10002;    // options in `offset`; kept, no effect here
constexpr uint32_t kWritePicture = 0x10007;       // frame record pointer, 88
constexpr uint32_t kAttachUserData = 0x10008;     // 16-byte record for the bytes that follow
constexpr uint32_t kFetchUserData = 0x10009;      // writes a pointer to the picture's record, or null
constexpr uint32_t kRunParser = 0x10010;          // returns the state bits below
constexpr uint32_t kFetchSequence = 0x10014;      // writes a pointer to 11 int32 (seq_par_set)
constexpr uint32_t kSequenceAnnounced = 0x10202;  // accepted, no effect
// Our own codes.
constexpr uint32_t kSetThreadCount = 0x1F001;  // `offset` = threads, 0 or 1 single-threaded, at most 16
constexpr uint32_t kSetLogger = 0x1F002;       // pointer = ILogger*, `offset` = context index
constexpr uint32_t kFetchLastError = 0x1F003;  // writes a const char* to the library's last error text
constexpr uint32_t kSetMaxPixels = 0x1F004;    // `offset` = largest picture in pixels, below kMaxPicturePixels; at the next key frame
}  // namespace decoder_info

// The largest picture the streams decode: 8192 x 4352 pixels in all, the
// largest frame the H.264 levels allow. A stream's larger pictures are
// refused before anything is allocated for them, and never reported.
constexpr uint32_t kMaxPicturePixels = 8192 * 4352;

// State bits returned by kRunParser. One report per call: a sequence change
// alone, a picture alone, or a sequence change with the first picture after it.
namespace decoder_state {
constexpr uint32_t kReport = 0x1;
constexpr uint32_t kSequence = 0x100;
constexpr uint32_t kPictureDecoded = 0x100000;
constexpr uint32_t kPictureOutput = 0x200000;
constexpr uint32_t kPictureComplete = 0x400000;
// Passed on to the decoder's caller as it stands; our streams never set it.
constexpr uint32_t kPictureBit24 = 0x1000000;
}  // namespace decoder_state

// auxinfo's answers other than state bits.
constexpr uint32_t kDecoderInfoOk = 0;
constexpr uint32_t kDecoderInfoFailed = 0xFFFFFFFFu;

// seq_par_set positions that the decoders fill.
namespace seq_par_set {
constexpr int kCount = 11;
constexpr int kWidth = 0;
constexpr int kHeight = 1;
constexpr int kAspectCode = 2;   // MPEG-2 aspect_ratio_information
constexpr int kAspectNum = 7;    // H.264: shape of the picture; MPEG-4 family: shape of a pixel
constexpr int kAspectDen = 8;
constexpr int kRateNum = 9;      // frame rate from the stream's timing, 0/0 when absent
constexpr int kRateDen = 10;
}  // namespace seq_par_set

}  // namespace cvx
