#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace cvx {

// The GPU H.264 encoder as the CUDA encoder class drives it: create, pick the
// codec and the GPU, push numbered parameters, register four callbacks, create
// the hardware encoder, submit frames. Underneath sits the driver's hardware
// encoder, reached through libraries opened on first use (see
// NvidiaDriverLibraries.h), so a process without them starts and only the
// create calls fail.
//
// Results: 0 for success, a negative value for failure (kNVVEFail and its
// kin). Every operation accepts a null or half-made handle and fails cleanly.
//
// Threads. One thread drives a handle (create, parameters, NVEncodeFrame,
// destroy). Bitstreams come back through the callbacks on a thread of the
// encoder's own, in submission order, per frame: onBeginFrame, acquire,
// release, onEndFrame. A frame the hardware lost is released with 0 bytes,
// so that every submitted frame gets exactly one release. No callback runs
// once NVDestroyEncoder has begun.

using NVEncoder = void*;

enum NVVEStatus : int32_t {
  kNVVEOk = 0,
  kNVVENotImplemented = static_cast<int32_t>(0x80004001u),
  kNVVENullPointer = static_cast<int32_t>(0x80004003u),
  kNVVEFail = static_cast<int32_t>(0x80004005u),
  kNVVEOutOfMemory = static_cast<int32_t>(0x8007000Eu),
  kNVVEInvalidArgument = static_cast<int32_t>(0x80070057u),
};

// The codec NVSetCodec takes; the only one there is.
constexpr int kNVVECodecH264 = 4;

// NVEncodeFrame flag: make this frame an IDR picture, headers before it.
constexpr uint32_t kNVVEFrameForceIDR = 4;

// Parameter numbers. Each value is a 32-bit integer or a short array of them,
// passed by pointer; see NVVEParameterTable for counts and meanings.
enum NVVEParameter : int {
  NVVE_OUT_SIZE = 1,
  NVVE_ASPECT_RATIO = 2,
  NVVE_FIELD_ENC_MODE = 3,
  NVVE_P_INTERVAL = 4,
  NVVE_IDR_PERIOD = 5,
  NVVE_DYNAMIC_GOP = 6,
  NVVE_RC_TYPE = 7,
  NVVE_AVG_BITRATE = 8,
  NVVE_PEAK_BITRATE = 9,
  NVVE_QP_LEVEL_INTRA = 10,
  NVVE_QP_LEVEL_INTER_P = 11,
  NVVE_QP_LEVEL_INTER_B = 12,
  NVVE_FRAME_RATE = 13,
  NVVE_DEBLOCK_MODE = 14,
  NVVE_PROFILE_LEVEL = 15,
  NVVE_FORCE_INTRA = 16,
  NVVE_FORCE_IDR = 17,
  NVVE_CLEAR_STAT = 18,
  NVVE_SET_DEINTERLACE = 19,
  NVVE_PRESETS = 20,
  NVVE_IN_SIZE = 21,
  NVVE_DISABLE_CABAC = 34,
  NVVE_CONFIGURE_NALU_FRAMING_TYPE = 35,
  NVVE_DISABLE_SPS_PPS = 36,
  NVVE_GPU_OFFLOAD_LEVEL = 38,
  NVVE_GPU_OFFLOAD_LEVEL_MAX = 39,
  NVVE_GET_GPU_COUNT = 41,
  NVVE_GET_GPU_ATTRIBUTES = 42,
  NVVE_FORCE_GPU_SELECTION = 43,
};

// The parameter's name for messages ("NVVE_FORCE_IDR   (DS)"), or
// "NVVE_UNKNOWN".
const char* nvveParameterName(int parameter);

// Surface formats of submitted frames. Frames arrive in one block: planes
// follow each other, chroma planes at half the pitch.
enum NVVESurfaceFormat : int {
  kNVVESurfaceUYVY = 0,
  kNVVESurfaceYUY2 = 1,
  kNVVESurfaceYV12 = 2,
  kNVVESurfaceNV12 = 3,
  kNVVESurfaceIYUV = 4,
};

// Bytes NVEncodeFrame reads from picBuf for this format, pitch and height;
// 0 for a format it does not know or a pitch too small for the width.
uint64_t nvveFrameBytes(int surfaceFormat, int width, int pitch, int height);

// Offload levels; the hardware always encodes in full.
constexpr int kNVVEOffloadDefault = -1;
constexpr int kNVVEOffloadEstimators = 8;
constexpr int kNVVEOffloadFull = 16;

// Answer of NVVE_GET_GPU_ATTRIBUTES; the caller fills iGpuOrdinal first.
struct NVVE_GPUAttributes {
  int iGpuOrdinal;
  char cName[256];
  unsigned int uiTotalGlobalMem;  // megabytes
  int iMajor;
  int iMinor;
  int iClockRate;  // kHz
  int iMultiProcessorCount;
  int MaxGpuOffloadLevel;
};

struct NVVE_EncodeFrameParams {
  int Width;
  int Height;
  int Pitch;
  int SurfFmt;         // NVVESurfaceFormat
  int PictureStruc;    // 1 top field, 2 bottom field, 3 frame
  int topfieldfirst;
  int repeatFirstField;
  int progressiveFrame;
  int bLast;  // with no picture: the end of the stream (see NVEncodeFrame)
  unsigned char* picBuf;  // borrowed for the call
};

struct NVVE_BeginFrameInfo {
  int nFrameNumber;
  int nPicType;  // 1 I, 2 P, 3 B
};

struct NVVE_EndFrameInfo {
  int nFrameNumber;
  int nPicType;
};

// The four callbacks. acquire returns a buffer and writes its size; the
// encoder writes at most that many bytes of the frame into it and hands it
// back to release with the count written.
struct NVVE_CallbackParams {
  unsigned char* (*pfnacquirebitstream)(int* pBufferSize, void* pUserdata);
  void (*pfnreleasebitstream)(int nBytesInBuffer, unsigned char* cb, void* pUserdata);
  void (*pfnonbeginframe)(const NVVE_BeginFrameInfo* pbfi, void* pUserdata);
  void (*pfnonendframe)(const NVVE_EndFrameInfo* pefi, void* pUserdata);
};

// Opens the driver libraries and the CUDA driver. Writes a handle, or null.
int NVCreateEncoder(NVEncoder* handle);
// Stops delivery, releases the hardware encoder and the handle. Safe on null.
int NVDestroyEncoder(NVEncoder handle);
int NVSetCodec(NVEncoder handle, int codecType);
int NVGetCodec(NVEncoder handle, int* codecType);
// Stores a parameter for NVCreateHWEncoder; the force flags take effect on
// the next frame.
int NVSetParamValue(NVEncoder handle, int parameter, void* value);
int NVGetParamValue(NVEncoder handle, int parameter, void* value);
// The callbacks and user data are kept until the handle goes.
int NVRegisterCB(NVEncoder handle, NVVE_CallbackParams callbacks, void* userData);
// Opens the hardware encoder on the selected GPU with the stored parameters.
int NVCreateHWEncoder(NVEncoder handle);
// Copies the sequence and picture parameter sets as the hardware writes them
// (start codes) into buffer, at most bufferSize bytes, and writes their size.
int NVGetSPSPPS(NVEncoder handle, unsigned char* buffer, int bufferSize, int* neededSize);
// Copies the frame (picBuf must hold nvveFrameBytes) and submits it; waits a
// bounded time when every frame slot is in flight. A frame with bLast set and
// no picture ends the stream instead: the frames the hardware holds are
// finished, and every frame submitted has come back through the callbacks
// when the call returns (or it fails after a bounded wait). Frames after the
// end are refused.
int NVEncodeFrame(NVEncoder handle, NVVE_EncodeFrameParams* frame, uint32_t flags, void* clientData);
// The driver's words for the handle's last failure; "" when there was none.
// Valid until the next call on the handle.
const char* NVGetLastErrorText(NVEncoder handle);

// Named deleter for owners that hold a handle in a std::unique_ptr.
struct NVEncoderDestroyer {
  void operator()(NVEncoder handle) const { NVDestroyEncoder(handle); }
};
using NVEncoderPtr = std::unique_ptr<void, NVEncoderDestroyer>;

}  // namespace cvx
