#pragma once

#include <cstdint>

#include "platform/h264encoder/H264EncoderSettings.h"

namespace cvx {

// What the library is actually given for a settings record, after the speed
// preset, the record's fields, zero latency and the profile have been
// applied in that order. Lets callers see the effect of a field without
// encoding. Rates are in kbit/s, x100 fields in hundredths.
struct H264ParamSummary {
  int32_t width, height;
  uint32_t fpsNum, fpsDen;
  int32_t threads, slicedThreads, lookaheadThreads, sliceCount;
  int32_t levelIdc, interlaced, topFieldFirst;
  int32_t keyIntervalMax, keyIntervalMin, sceneCut, intraRefresh, openGop;
  int32_t bFrames, bAdapt, bBias, bPyramid, refFrames;
  int32_t cabac, cabacInitIdc, deblock, deblockAlpha, deblockBeta, transform8x8;
  int32_t constrainedIntra, weightedPredP, weightedBipred, directMode;
  int32_t rateMethod;  // 0 constant quantiser, 1 rate factor, 2 average bit rate
  int32_t quantiser, rateFactorX100, bitrateKbps, vbvMaxKbps, vbvBufferKbit, vbvInitPercent;
  int32_t rateTolerancePercent, qpMin, qpMax, qpStep, ipRatioX100, pbRatioX100, qCompressX100;
  int32_t aqMode, aqStrengthX100, mbTree, rcLookahead, syncLookahead, nalHrd;
  int32_t meMethod, meRange, subpelRefine, trellis, psy, psyRdX100, psyTrellisX100, fastPSkip;
  int32_t interPartitions, mixedRefs, chromaMe, dctDecimate, noiseReduction;
  int32_t deadzoneInter, deadzoneIntra, chromaQpOffset;
  int32_t vidFormat, fullRange, colourPrimaries, transfer, colourMatrix, sarWidth, sarHeight;
  int32_t repeatHeaders, logLevel, annexB, accessUnitDelimiters, vfrInput;
};

// 0 and the summary filled, or the status code that check would give.
int h264OutVideoDescribe(const H264EncoderSettings* settings, H264ParamSummary* summary);

}  // namespace cvx
