#pragma once

#include <cstdint>

#include "platform/gpuencoder/NvCuvEnc.h"

namespace cvx {

// Writes a submitted frame into the hardware encoder's NV12 input: its luma
// rows at dstPitch, then from row dstLumaRows on (height + 1) / 2 rows of
// interleaved U and V. The input must hold dstLumaRows >= height luma rows,
// the chroma rows after them, and dstPitch >= width rounded up to even.
// The source is read within nvveFrameBytes of its format, pitch and height:
// an odd last chroma column or row the source does not hold repeats its
// neighbour; 4:2:2 chroma is averaged over row pairs. The caller has checked
// that nvveFrameBytes is nonzero and that the frame holds that many bytes.
void copyToNV12(const NVVE_EncodeFrameParams& frame, uint8_t* dst, uint32_t dstPitch, uint32_t dstLumaRows);

}  // namespace cvx
