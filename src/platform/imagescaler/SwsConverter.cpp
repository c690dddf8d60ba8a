#include "platform/imagescaler/SwsConverter.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <vector>

extern "C" {
#include <libavutil/error.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include "platform/imagescaler/ScaleErrors.h"
#include "platform/imagescaler/ScaleImage.h"
#include "platform/imagescaler/SwscaleHandles.h"
#include "platform/libav/LibavLog.h"

namespace cvx {
namespace imagescaler {

namespace {

struct ContextKey {
  AVPixelFormat srcFormat;
  int srcWidth, srcHeight;
  AVPixelFormat dstFormat;
  int dstWidth, dstHeight;
  int filter;
  int srcChroma[2], dstChroma[2];
  bool operator==(const ContextKey& o) const {
    return srcFormat == o.srcFormat && srcWidth == o.srcWidth && srcHeight == o.srcHeight &&
           dstFormat == o.dstFormat && dstWidth == o.dstWidth && dstHeight == o.dstHeight && filter == o.filter &&
           srcChroma[0] == o.srcChroma[0] && srcChroma[1] == o.srcChroma[1] && dstChroma[0] == o.dstChroma[0] &&
           dstChroma[1] == o.dstChroma[1];
  }
};

// Renditions, their black bars, opaque overlays and the BGRA reads each need
// their own key: a session's steady set, up to its 64 renditions, is reused
// frame after frame, and the least recently used one goes first. A context
// holds its filters and a few rows, in proportion to its sides: about
// 0.3 MiB for 1080p into 720p, 3 MiB at the largest pictures. So the cache
// is bounded by bytes as well as by count: 96 contexts of a 1080p ladder fit,
// while a thread that scales huge pictures keeps fewer instead of hundreds of
// MiB.
constexpr size_t kCachedContexts = 96;
constexpr uint64_t kCachedContextBytes = uint64_t{48} << 20;

// What libswscale allocates for a context, from its sides (measured: about
// 64 bytes per pixel of the four sides together, filters and rows included).
uint64_t estimatedContextBytes(const ContextKey& key) {
  return uint64_t{64} * (uint64_t(key.srcWidth) + uint64_t(key.srcHeight) + uint64_t(key.dstWidth) +
                         uint64_t(key.dstHeight));
}

struct CachedContext {
  ContextKey key{};
  SwsContextPtr context;
  uint64_t lastUse = 0;
  uint64_t bytes = 0;
};

struct ContextCache {
  std::array<CachedContext, kCachedContexts> entries;
  uint64_t clock = 0;
  uint64_t bytes = 0;

  // Frees the least recently used contexts until `incoming` more bytes fit,
  // and returns the entry the new context goes into.
  CachedContext& makeRoom(uint64_t incoming) {
    for (;;) {
      CachedContext* oldest = nullptr;
      CachedContext* empty = nullptr;
      for (CachedContext& entry : entries) {
        if (!entry.context) {
          empty = &entry;
        } else if (oldest == nullptr || entry.lastUse < oldest->lastUse) {
          oldest = &entry;
        }
      }
      const bool fits = bytes + incoming <= kCachedContextBytes;
      if (oldest == nullptr || (empty != nullptr && fits)) return *empty;  // nothing kept: all are empty
      release(*oldest);
      if (fits) return *oldest;
    }
  }

  void release(CachedContext& entry) {
    bytes -= entry.bytes;
    entry = CachedContext{};
  }
};

thread_local ContextCache cache;
thread_local uint64_t contextsBuilt = 0;

// The one place where libswscale's results become our status.
int swsStatus(int result, const char* call) {
  if (result >= 0) return kScaleOk;
  char text[AV_ERROR_MAX_STRING_SIZE] = "";
  av_strerror(result, text, sizeof text);
  setScaleError(call, text);
  return kScaleLibraryFailure;
}

int setOption(SwsContext* context, const char* name, int64_t value) {
  return swsStatus(av_opt_set_int(context, name, value, 0), name);
}

int createContext(const ContextKey& key, SwsContextPtr& out) {
  routeLibavLog();
  if (sws_isSupportedInput(key.srcFormat) <= 0 || sws_isSupportedOutput(key.dstFormat) <= 0) {
    setScaleError("sws_isSupported", "format not supported");
    return kScaleUnsupported;
  }
  SwsContextPtr context(sws_alloc_context());
  if (!context) {
    setScaleError("sws_alloc_context", "no memory for a context");
    return kScaleNoMemory;
  }
  const struct {
    const char* name;
    int64_t value;
  } options[] = {
      {"srcw", key.srcWidth},          {"srch", key.srcHeight},        {"src_format", key.srcFormat},
      {"dstw", key.dstWidth},          {"dsth", key.dstHeight},        {"dst_format", key.dstFormat},
      {"sws_flags", key.filter},       {"src_h_chr_pos", key.srcChroma[0]}, {"src_v_chr_pos", key.srcChroma[1]},
      {"dst_h_chr_pos", key.dstChroma[0]}, {"dst_v_chr_pos", key.dstChroma[1]},
  };
  int status = kScaleOk;
  for (const auto& option : options) {
    if ((status = setOption(context.get(), option.name, option.value)) != kScaleOk) return status;
  }
  if (sws_init_context(context.get(), nullptr, nullptr) < 0) {
    setScaleError("sws_init_context", "no context for this conversion");
    return kScaleUnsupported;
  }
  // One matrix both ways: BT.709, limited range on the YUV side. libswscale
  // ignores the range flag of an RGB side.
  const int* bt709 = sws_getCoefficients(SWS_CS_ITU709);
  status = swsStatus(sws_setColorspaceDetails(context.get(), bt709, 0, bt709, 0, 0, 1 << 16, 1 << 16),
                     "sws_setColorspaceDetails");
  if (status != kScaleOk) return status;
  out = std::move(context);
  return kScaleOk;
}

SwsContext* contextFor(const ContextKey& key, int& status) {
  ++cache.clock;
  for (CachedContext& entry : cache.entries) {
    if (entry.context && entry.key == key) {
      entry.lastUse = cache.clock;
      status = kScaleOk;
      return entry.context.get();
    }
  }
  // Room first: the old contexts go before the new one is allocated.
  const uint64_t bytes = estimatedContextBytes(key);
  CachedContext& slot = cache.makeRoom(bytes);
  SwsContextPtr context;
  status = createContext(key, context);
  if (status != kScaleOk) return nullptr;
  ++contextsBuilt;
  slot.key = key;
  slot.context = std::move(context);
  slot.lastUse = cache.clock;
  slot.bytes = bytes;
  cache.bytes += bytes;
  return slot.context.get();
}

// libswscale reads and writes rows in whole vector blocks, past a row's
// last pixel, and some of its converters ignore a negative stride. Inside a
// picture a read past a row's end only reaches the next row, so libswscale
// reads the caller's rows directly and only the last rows of each plane go
// through a staging copy; it writes a plane directly only where each of its
// rows is a whole number of blocks. Everything else goes through staging
// copies with aligned rows and a spare row, and our own loops move the exact
// bytes of each row.
constexpr int kStageAlignment = 64;

// The block libswscale's widest vector stores fill: a destination whose
// rows are whole blocks is never written past. Pinned by the bounds tests.
constexpr int kWriteBlock = 64;

struct PlaneRows {
  int planes = 0;
  int rowBytes[4] = {0, 0, 0, 0};
  int rows[4] = {0, 0, 0, 0};
  int chromaShift = 0;  // log2 of the vertical chroma subsampling
  bool chroma[4] = {false, false, false, false};
};

int planeRows(const SwsImage& picture, PlaneRows& out) {
  const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(picture.format);
  const int planes = av_pix_fmt_count_planes(picture.format);
  if (descriptor == nullptr || planes <= 0 || planes > 4) {
    setScaleError("av_pix_fmt_desc_get", "unknown format");
    return kScaleUnsupported;
  }
  out = PlaneRows{};
  const int status = swsStatus(av_image_fill_linesizes(out.rowBytes, picture.format, picture.width),
                               "av_image_fill_linesizes");
  if (status != kScaleOk) return status;
  out.planes = planes;
  out.chromaShift = descriptor->log2_chroma_h;
  for (int p = 0; p < planes; ++p) {
    out.chroma[p] = (p == 1 || p == 2) && !(descriptor->flags & AV_PIX_FMT_FLAG_RGB);
    out.rows[p] = out.chroma[p] ? -((-picture.height) >> out.chromaShift) : picture.height;
  }
  for (int p = planes; p < 4; ++p) out.rowBytes[p] = 0;
  return kScaleOk;
}

struct Stage {
  std::vector<uint8_t> bytes;
  SwsImage image{};
  PlaneRows layout;
};

thread_local Stage stageIn;
thread_local Stage stageOut;

int prepareStage(const SwsImage& picture, Stage& stage) {
  const int status = planeRows(picture, stage.layout);
  if (status != kScaleOk) return status;
  size_t offsets[4] = {0, 0, 0, 0};
  size_t total = 0;
  stage.image = SwsImage{picture.format, {}, {}, picture.width, picture.height};
  for (int p = 0; p < stage.layout.planes; ++p) {
    stage.image.linesize[p] =
        (stage.layout.rowBytes[p] + kStageAlignment - 1) / kStageAlignment * kStageAlignment;
    offsets[p] = total;
    total += static_cast<size_t>(stage.image.linesize[p]) *
             (static_cast<size_t>(stage.layout.rows[p]) + 1);
  }
  stage.bytes.resize(total + kStageAlignment * 2);
  // Aligned start, so that the vector loads take their fast path.
  const uintptr_t base = reinterpret_cast<uintptr_t>(stage.bytes.data());
  uint8_t* aligned = stage.bytes.data() + (kStageAlignment - base % kStageAlignment) % kStageAlignment;
  for (int p = 0; p < stage.layout.planes; ++p) stage.image.data[p] = aligned + offsets[p];
  return kScaleOk;
}

void copyRows(const uint8_t* from, int fromStride, uint8_t* to, int toStride, int rowBytes, int rows) {
  for (int r = 0; r < rows; ++r) {
    std::memcpy(to + static_cast<ptrdiff_t>(r) * toStride, from + static_cast<ptrdiff_t>(r) * fromStride,
                static_cast<size_t>(rowBytes));
  }
}

void copyIntoStage(const SwsImage& from, Stage& stage) {
  for (int p = 0; p < stage.layout.planes; ++p) {
    copyRows(from.data[p], from.linesize[p], stage.image.data[p], stage.image.linesize[p],
             stage.layout.rowBytes[p], stage.layout.rows[p]);
  }
}

bool stridesPositive(const SwsImage& picture, const PlaneRows& layout) {
  for (int p = 0; p < layout.planes; ++p) {
    if (picture.linesize[p] <= 0) return false;
  }
  return true;
}

int scaleSlice(SwsContext* context, const SwsImage& slice, int sliceTop, const SwsImage& out) {
  return swsStatus(sws_scale(context, slice.data, slice.linesize, sliceTop, slice.height, out.data,
                             out.linesize),
                   "sws_scale");
}

// The source in two slices: all but its last rows straight from the
// caller's planes, the last rows (a whole chroma row pair) from a copy.
int scaleFromRows(SwsContext* context, const SwsImage& src, const PlaneRows& layout,
                  const SwsImage& out) {
  const int tailTop =
      src.height > 2 ? (src.height - 2) >> layout.chromaShift << layout.chromaShift : 0;
  if (tailTop > 0) {
    SwsImage head = src;
    head.height = tailTop;
    const int status = scaleSlice(context, head, 0, out);
    if (status != kScaleOk) return status;
  }
  SwsImage tail = src;
  tail.height = src.height - tailTop;
  for (int p = 0; p < layout.planes; ++p) {
    const int skipped = layout.chroma[p] ? tailTop >> layout.chromaShift : tailTop;
    tail.data[p] = src.data[p] + static_cast<ptrdiff_t>(skipped) * src.linesize[p];
  }
  const int status = prepareStage(tail, stageIn);
  if (status != kScaleOk) return status;
  copyIntoStage(tail, stageIn);
  return scaleSlice(context, stageIn.image, tailTop, out);
}

thread_local Stage stageRgb48;

bool sameSize(const SwsImage& a, const SwsImage& b) { return a.width == b.width && a.height == b.height; }

bool chromaComplete(const SwsImage& picture, const PlaneRows& layout) {
  return picture.chromaColumns == kChromaComplete ||
         (picture.chromaColumns >= layout.rowBytes[1] && picture.chromaRows >= layout.rows[1]);
}

thread_local Stage stageChroma;

// The planes libswscale may write in place: top-down rows of whole blocks,
// and for 4:2:0 chroma every row and column it writes. XYZ12 output is
// converted from RGB48 in place over whole strides, not over the picture's
// width: only our own staging may take it.
int planesInPlace(const SwsImage& picture, const PlaneRows& layout, bool inPlace[4]) {
  const bool allowed = picture.format != AV_PIX_FMT_XYZ12LE && stridesPositive(picture, layout);
  int count = 0;
  for (int p = 0; p < layout.planes; ++p) {
    inPlace[p] = allowed && layout.rowBytes[p] % kWriteBlock == 0 &&
                 (!layout.chroma[p] || chromaComplete(picture, layout));
    count += inPlace[p] ? 1 : 0;
  }
  return count;
}

// A 4:2:0 source whose planes hold one chroma column or row fewer than
// libswscale reads: its chroma is copied with the last sample repeated. A
// rectangle of only the last column (or row) of a picture of odd size holds
// none at all, and takes the one before it, which the picture always has.
int padChroma(const SwsImage& src, const PlaneRows& layout, SwsImage& padded) {
  const int columns = layout.rowBytes[1];
  const int rows = layout.rows[1];
  const int stride = (columns + kStageAlignment - 1) / kStageAlignment * kStageAlignment;
  const size_t planeBytes = static_cast<size_t>(stride) * (static_cast<size_t>(rows) + 1);
  stageChroma.bytes.resize(planeBytes * 2);
  padded = src;
  const int copied = std::max(0, std::min(columns, src.chromaColumns));
  const int lastColumn = src.chromaColumns - 1;  // -1: the column before
  for (int p = 1; p < 3; ++p) {
    uint8_t* out = stageChroma.bytes.data() + planeBytes * static_cast<size_t>(p - 1);
    for (int r = 0; r < rows; ++r) {
      const uint8_t* in = src.data[p] + static_cast<ptrdiff_t>(std::min(r, src.chromaRows - 1)) * src.linesize[p];
      uint8_t* line = out + static_cast<ptrdiff_t>(r) * stride;
      std::memcpy(line, in, static_cast<size_t>(copied));
      std::memset(line + copied, in[copied > 0 ? copied - 1 : lastColumn], static_cast<size_t>(columns - copied));
    }
    padded.data[p] = out;
    padded.linesize[p] = stride;
  }
  padded.chromaColumns = padded.chromaRows = kChromaComplete;
  return kScaleOk;
}

// paddedSource: the source is a staging picture of ours, with aligned rows
// and a spare row, which libswscale may read whole in one slice.
int scaleImages(const SwsImage& src, const SwsImage& dst, bool paddedSource) {
  const ContextKey key{src.format,
                       src.width,
                       src.height,
                       dst.format,
                       dst.width,
                       dst.height,
                       swsFilterFor(src.width, src.height, dst.width, dst.height),
                       {src.chromaPosition[0], src.chromaPosition[1]},
                       {dst.chromaPosition[0], dst.chromaPosition[1]}};
  int status = kScaleOk;
  SwsContext* context = contextFor(key, status);
  if (context == nullptr) return status;
  PlaneRows srcLayout, dstLayout;
  if ((status = planeRows(src, srcLayout)) != kScaleOk) return status;
  if ((status = planeRows(dst, dstLayout)) != kScaleOk) return status;
  SwsImage source = src;
  if (!chromaComplete(src, srcLayout) && (status = padChroma(src, srcLayout, source)) != kScaleOk) return status;
  bool inPlace[4] = {false, false, false, false};
  const bool direct = planesInPlace(dst, dstLayout, inPlace) == dstLayout.planes;
  SwsImage out = dst;
  if (!direct) {
    if ((status = prepareStage(dst, stageOut)) != kScaleOk) return status;
    for (int p = 0; p < dstLayout.planes; ++p) {
      if (inPlace[p]) continue;
      out.data[p] = stageOut.image.data[p];
      out.linesize[p] = stageOut.image.linesize[p];
    }
  }
  if (paddedSource) {
    status = scaleSlice(context, source, 0, out);
  } else if (stridesPositive(source, srcLayout)) {
    status = scaleFromRows(context, source, srcLayout, out);
  } else {
    if ((status = prepareStage(source, stageIn)) != kScaleOk) return status;
    copyIntoStage(source, stageIn);
    status = scaleSlice(context, stageIn.image, 0, out);
  }
  if (status != kScaleOk || direct) return status;
  for (int p = 0; p < dstLayout.planes; ++p) {
    if (inPlace[p]) continue;
    int rowBytes = dstLayout.rowBytes[p], rows = dstLayout.rows[p];
    if (dst.chromaColumns != kChromaComplete && (p == 1 || p == 2)) {
      rowBytes = std::min(rowBytes, dst.chromaColumns);
      rows = std::min(rows, dst.chromaRows);
    }
    copyRows(stageOut.image.data[p], stageOut.image.linesize[p], dst.data[p], dst.linesize[p], rowBytes, rows);
  }
  return kScaleOk;
}

// libswscale turns its RGB48 into XYZ12 in place after scaling, on rows it
// counts in source rows: after a change of size, or over a source in two
// slices, it converts rows past the picture. So XYZ12 is made from RGB48 of
// its own size, in one slice.
int convertThroughRgb48(const SwsImage& src, const SwsImage& dst) {
  int status = prepareStage(SwsImage{AV_PIX_FMT_RGB48LE, {}, {}, dst.width, dst.height}, stageRgb48);
  if (status != kScaleOk) return status;
  if ((status = scaleImages(src, stageRgb48.image, false)) != kScaleOk) return status;
  return scaleImages(stageRgb48.image, dst, true);
}

}  // namespace

// Measured with bench/ScalerQualityBench on libswscale 6.7 (x86-64, AVX2):
// lanczos is the quality every other filter is compared with, but its wider
// filter costs up to twice bicubic's, where it leaves libswscale's 8-tap
// horizontal path (reductions of 1.4 to 2 times across, and every
// enlargement). Only for reductions across of 2.1 to 2.7 times do both take
// the generic path, where lanczos's 16 taps run faster than bicubic's 12 and
// pay for its taller vertical filter: there it costs what bicubic does.
// Everywhere else bicubic, whose 8-tap and 4-tap cases libswscale runs
// fastest. The box filter is not among them: on non-integer ratios it is off
// by two to four levels, and 10 dB and more below bicubic on any picture.
// libswscale's filters widen with the reduction (bicubic 4, lanczos 6 taps a
// step of the ratio), and past some 120 taps it reads through null; the step
// limit of extreme reductions was measured with bilinear's 2. So lanczos only
// where the height shrinks as modestly as the width (a 29:1 reduction down
// at 2.67 across crashed it), and past 8:1 on either axis, the steps of an
// extreme reduction into small pictures, bilinear.
// libswscale's fast vertical filter drifts off a flat colour as its taps
// grow (bicubic: a level at 8:1, three at 32:1 into 4:2:0, eight into 4:2:2);
// its exact rounding does not, and reductions that large go into small
// pictures, where its cost is no matter.
int swsFilterFor(int srcWidth, int srcHeight, int dstWidth, int dstHeight) {
  const int64_t across = int64_t{srcWidth} * 10, down = int64_t{srcHeight} * 10;
  const bool lanczosCostsNoMore = across >= int64_t{dstWidth} * 21 && across <= int64_t{dstWidth} * 27 &&
                                  down >= int64_t{dstHeight} * 10 && down <= int64_t{dstHeight} * 27;
  const bool extreme = srcWidth > dstWidth * 8 || srcHeight > dstHeight * 8;
  const int filter = extreme ? SWS_BILINEAR : lanczosCostsNoMore ? SWS_LANCZOS : SWS_BICUBIC;
  return filter | (srcHeight > dstHeight * 8 ? SWS_ACCURATE_RND : 0);
}

uint64_t swsContextsBuilt() { return contextsBuilt; }

uint64_t swsContextBytesKept() { return cache.bytes; }

int swsConvert(const SwsImage& src, const SwsImage& dst) {
  // XYZ12 into XYZ12 of the same size is a copy, with no conversion.
  if (dst.format == AV_PIX_FMT_XYZ12LE && !(src.format == AV_PIX_FMT_XYZ12LE && sameSize(src, dst))) {
    return convertThroughRgb48(src, dst);
  }
  return scaleImages(src, dst, false);
}

}  // namespace imagescaler
}  // namespace cvx
