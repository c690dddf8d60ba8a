#pragma once

// Control of the fake Media SDK runtime that the tests build
// (libcvx-fake-mfx.so), selected through CVX_MFX_RUNTIME. Native tests link
// it and script it through these calls; a JVM that loads it gets the
// defaults. Not thread-safe: script it while no session runs.

#ifdef __cplusplus
extern "C" {
#endif

// Everything back to the defaults: counts, scripts, settings.
void fakeMfxReset(void);

// Settings, by name (defaults in brackets):
//   "hardware" [1], "software" [1]  the implementations MFXInit serves
//   "initStatus" [0]                every MFXInit answers this when nonzero
//   "ownDisplay" [1]                GetHandle(VA display) answers a display of
//                                   the runtime's own; 0: not found until one is set
//   "surfacesMin" [2], "surfacesSuggested" [4]  the decoder's surface request
//   "holdSurfaces" [0]              1: every work surface given to the decoder
//                                   stays locked by the runtime; 0 releases them
//   "bufferSizeKB" [0]              the encoder's BufferSizeInKB; 0: from the bit rate
//   "keySeiStartCode" [3]           3 or 4: the start code of a key frame's SEI
//   "omitSei" [0]                   1: frames carry no SEI
//   "delayFrames" [0]               the encoder gives a frame's unit this many
//                                   frames later; a null surface gives out
//                                   those it holds
void fakeMfxSet(const char* name, long long value);
long long fakeMfxGet(const char* name);

// The next call of `function` answers `status` without doing its work (no
// output, no sync point). With `withOutput` it does its work and then
// answers `status` with its output and sync point. Functions by their names
// without the MFXVideo prefixes: "MFXInit", "MFXClose", "DecodeHeader",
// "DecodeFrameAsync", "EncodeFrameAsync", "SyncOperation", "GetVideoParam".
void fakeMfxPush(const char* function, int status, int withOutput);

// How often a function was called (exported name without the MFXVideo
// prefixes, e.g. "MFXInit", "CORE_SetHandle", "DECODE_DecodeFrameAsync").
int fakeMfxCalls(const char* function);
// The runtime session of the last call of any function.
void* fakeMfxLastSession(void);
// Sessions open now.
int fakeMfxOpenSessions(void);
// Values the runtime was given, by name: "MFXInit.impl", "SetHandle.type",
// "DecodeInit.IOPattern", "DecodeFrameAsync.work" (the surface's address),
// "DecodeFrameAsync.TimeStamp" (the bitstream's, when it brought data),
// "EncodeFrameAsync.FrameType". The last one (-1 for none), and the n-th.
long long fakeMfxLast(const char* name);
long long fakeMfxNth(const char* name, int index);
int fakeMfxCount(const char* name);

#ifdef __cplusplus
}
#endif
