#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/FakeNvidiaDriver.h"
#include "platform/gpuencoder/NvCuvEnc.h"

namespace cvx {
namespace {

using testing::FakeNvidiaDriver;

constexpr int kWidth = 64;
constexpr int kHeight = 48;

// Every callback, in the order it came, with the thread it came on.
struct Recorder {
  struct Event {
    char kind;  // b(egin), a(cquire), r(elease), e(nd)
    int frame;
    std::thread::id thread;
    std::vector<uint8_t> bytes;
  };
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<Event> events;
  unsigned char buffer[1 << 16];
  int lastFrame = -1;

  void add(char kind, int frame, std::vector<uint8_t> bytes = {}) {
    std::lock_guard<std::mutex> guard(mutex);
    events.push_back({kind, frame, std::this_thread::get_id(), std::move(bytes)});
    changed.notify_all();
  }
  std::vector<Event> waitForFrames(size_t count) {
    std::unique_lock<std::mutex> guard(mutex);
    changed.wait_for(guard, std::chrono::seconds(20), [&] {
      size_t n = 0;
      for (const Event& e : events) n += e.kind == 'e';
      return n >= count;
    });
    return events;
  }
  std::vector<Event> snapshot() {
    std::lock_guard<std::mutex> guard(mutex);
    return events;
  }

  static unsigned char* acquire(int* size, void* user) {
    auto* r = static_cast<Recorder*>(user);
    r->add('a', r->lastFrame);
    *size = sizeof(r->buffer);
    return r->buffer;
  }
  static void release(int bytes, unsigned char* data, void* user) {
    auto* r = static_cast<Recorder*>(user);
    r->add('r', r->lastFrame, std::vector<uint8_t>(data, data + bytes));
  }
  static void begin(const NVVE_BeginFrameInfo* info, void* user) {
    auto* r = static_cast<Recorder*>(user);
    r->lastFrame = info->nFrameNumber;
    r->add('b', info->nFrameNumber);
  }
  static void end(const NVVE_EndFrameInfo* info, void* user) {
    static_cast<Recorder*>(user)->add('e', info->nFrameNumber);
  }
  NVVE_CallbackParams table() { return {&acquire, &release, &begin, &end}; }
};

class NvCuvEncTest : public ::testing::Test {
 protected:
  void TearDown() override { NVDestroyEncoder(handle); }

  // A created encoder with a picture size and callbacks; the hardware
  // encoder not yet.
  void create() {
    ASSERT_EQ(NVCreateEncoder(&handle), kNVVEOk);
    ASSERT_NE(handle, nullptr);
    int32_t size[2] = {kWidth, kHeight};
    ASSERT_EQ(NVSetParamValue(handle, NVVE_OUT_SIZE, size), kNVVEOk);
    ASSERT_EQ(NVSetParamValue(handle, NVVE_IN_SIZE, size), kNVVEOk);
    ASSERT_EQ(NVRegisterCB(handle, recorder.table(), &recorder), kNVVEOk);
  }
  int encode(int frames, int idrEvery) {
    std::vector<uint8_t> picture(kWidth * kHeight * 3 / 2, 128);
    for (int i = 0; i < frames; ++i) {
      std::memset(picture.data(), 16 + 8 * i, kWidth * kHeight);
      NVVE_EncodeFrameParams f = {};
      f.Width = kWidth;
      f.Height = kHeight;
      f.Pitch = kWidth;
      f.SurfFmt = kNVVESurfaceYV12;
      f.PictureStruc = 3;
      f.picBuf = picture.data();
      const int status = NVEncodeFrame(handle, &f, i % idrEvery == 0 ? kNVVEFrameForceIDR : 0, nullptr);
      if (status != kNVVEOk) return status;
    }
    return kNVVEOk;
  }

  FakeNvidiaDriver driver;
  Recorder recorder;
  NVEncoder handle = nullptr;
};

TEST_F(NvCuvEncTest, CallbacksComeInOrderOnTheEncodersOwnThreadAndStopAtDestroy) {
  // More frames than slots, each slow on the fake GPU: submission waits for
  // delivery and delivery waits for the GPU.
  driver.script("devices=1\nencodeDelayMs=5");
  create();
  ASSERT_EQ(NVCreateHWEncoder(handle), kNVVEOk);
  ASSERT_EQ(encode(12, 5), kNVVEOk);
  const std::vector<Recorder::Event> events = recorder.waitForFrames(12);
  ASSERT_EQ(events.size(), 48u);
  for (size_t i = 0; i < events.size(); ++i) {
    const Recorder::Event& e = events[i];
    const int frame = static_cast<int>(i / 4);
    SCOPED_TRACE("event " + std::to_string(i));
    EXPECT_EQ(e.kind, "bare"[i % 4]);
    EXPECT_EQ(e.frame, frame);
    EXPECT_EQ(e.thread, events[0].thread);
    if (e.kind == 'r') {
      // A four-byte length, the delimiter, its picture type: I on the frames
      // that asked for it, P else.
      ASSERT_GT(e.bytes.size(), 6u);
      EXPECT_EQ(std::vector<uint8_t>(e.bytes.begin(), e.bytes.begin() + 5), (std::vector<uint8_t>{0, 0, 0, 2, 9}));
      EXPECT_EQ(e.bytes[5], frame % 5 == 0 ? 0x10 : 0x30);
    }
  }
  EXPECT_NE(events[0].thread, std::this_thread::get_id());
  for (int frame : {0, 5, 10}) EXPECT_TRUE(driver.traced("idr " + std::to_string(frame))) << frame;

  // Frames still in flight when the encoder goes are dropped without a word.
  ASSERT_EQ(encode(3, 100), kNVVEOk);
  NVDestroyEncoder(handle);
  handle = nullptr;
  const size_t settled = recorder.snapshot().size();
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(recorder.snapshot().size(), settled);
  EXPECT_TRUE(driver.traced("nvEncDestroyEncoder"));
}

TEST_F(NvCuvEncTest, EveryDriverFailureFailsCreationAndLeavesAHandleThatFailsCleanly) {
  const char* calls[] = {"cuDeviceGet",          "cuCtxCreate_v2",         "cuCtxPopCurrent_v2",
                         "NvEncodeAPICreateInstance", "nvEncOpenEncodeSessionEx", "nvEncGetEncodePresetConfigEx",
                         "nvEncInitializeEncoder", "nvEncCreateInputBuffer", "nvEncCreateBitstreamBuffer"};
  for (const char* call : calls) {
    SCOPED_TRACE(call);
    driver.script(std::string("devices=1\nfail=") + call);
    create();
    EXPECT_LT(NVCreateHWEncoder(handle), 0);
    EXPECT_NE(std::string(NVGetLastErrorText(handle)).find(call), std::string::npos) << NVGetLastErrorText(handle);
    EXPECT_LT(encode(1, 1), 0);
    unsigned char headers[64];
    int size = 0;
    EXPECT_LT(NVGetSPSPPS(handle, headers, sizeof(headers), &size), 0);
    NVDestroyEncoder(handle);
    handle = nullptr;
  }
  EXPECT_TRUE(recorder.snapshot().empty());
}

TEST_F(NvCuvEncTest, EveryOperationRefusesANullHandle) {
  NVVE_EncodeFrameParams frame = {};
  int value = 0;
  unsigned char buffer[16];
  EXPECT_EQ(NVCreateEncoder(nullptr), kNVVENullPointer);
  EXPECT_EQ(NVSetCodec(nullptr, kNVVECodecH264), kNVVENullPointer);
  EXPECT_EQ(NVGetCodec(nullptr, &value), kNVVENullPointer);
  EXPECT_EQ(NVSetParamValue(nullptr, NVVE_RC_TYPE, &value), kNVVENullPointer);
  EXPECT_EQ(NVGetParamValue(nullptr, NVVE_RC_TYPE, &value), kNVVENullPointer);
  EXPECT_EQ(NVRegisterCB(nullptr, recorder.table(), &recorder), kNVVENullPointer);
  EXPECT_EQ(NVCreateHWEncoder(nullptr), kNVVENullPointer);
  EXPECT_EQ(NVGetSPSPPS(nullptr, buffer, sizeof(buffer), &value), kNVVENullPointer);
  EXPECT_EQ(NVEncodeFrame(nullptr, &frame, 0, nullptr), kNVVENullPointer);
  EXPECT_EQ(NVDestroyEncoder(nullptr), kNVVEOk);
  EXPECT_STREQ(NVGetLastErrorText(nullptr), "");
}

// The parameters, pushed as the CUDA encoder pushes them, against the
// configuration the hardware encoder was opened with.
TEST_F(NvCuvEncTest, ParametersLandInTheHardwareConfiguration) {
  struct Push { int parameter; int32_t value[3]; };
  struct Case { const char* name; std::vector<Push> pushes; std::vector<const char*> expected; } cases[] = {
      {"defaults", {},
       {"fps 30/1 ", "rc 1 minqp 1 ", "qp 25/28/31 ", "gop 72 idr 72 ", "p 1 field 1 ", "profile main level 0 ",
        "entropy 0 deblock 0 nosps 0 repeatsps 1 aud 0", "dar 64:48 "}},
      {"constant QP, no key frames of its own",
       {{NVVE_RC_TYPE, {0}}, {NVVE_QP_LEVEL_INTRA, {20}}, {NVVE_QP_LEVEL_INTER_P, {22}},
        {NVVE_QP_LEVEL_INTER_B, {24}}, {NVVE_IDR_PERIOD, {0x7fffffff}}},
       {"rc 0 minqp 0 ", "qp 20/22/24 ", "gop 4294967295 idr 4294967295 "}},
      {"constant rate at NTSC speed",
       {{NVVE_RC_TYPE, {2}}, {NVVE_AVG_BITRATE, {800000}}, {NVVE_PEAK_BITRATE, {1000000}},
        {NVVE_FRAME_RATE, {1001, 30000}}},
       {"rc 2 minqp 0 avg 800000 max 1000000 ", "fps 30000/1001 "}},
      {"baseline at 3.1, no deblocking, CAVLC, no headers",
       {{NVVE_PROFILE_LEVEL, {0x1F42}}, {NVVE_DEBLOCK_MODE, {0}}, {NVVE_DISABLE_CABAC, {1}},
        {NVVE_DISABLE_SPS_PPS, {1}}},
       {"profile baseline level 31 ", "entropy 2 deblock 1 nosps 1 repeatsps 0"}},
      {"high, deblocking inside slices, wide picture, fields",
       {{NVVE_PROFILE_LEVEL, {0xFF64}}, {NVVE_DEBLOCK_MODE, {2}}, {NVVE_ASPECT_RATIO, {16, 9, 0}},
        {NVVE_FIELD_ENC_MODE, {1}}},
       {"profile high level 0 ", "deblock 2 ", "dar 16:9 ", "field 2 "}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    driver.script("devices=1");
    create();
    for (const Push& p : c.pushes) {
      int32_t value[3] = {p.value[0], p.value[1], p.value[2]};
      ASSERT_EQ(NVSetParamValue(handle, p.parameter, value), kNVVEOk) << nvveParameterName(p.parameter);
    }
    // The field mode is refused by the fake GPU, as by modern ones; the
    // configuration is traced all the same.
    NVCreateHWEncoder(handle);
    const std::string line = driver.tracedLine("init ");
    for (const char* fragment : c.expected) EXPECT_NE(line.find(fragment), std::string::npos) << fragment << " in " << line;
    NVDestroyEncoder(handle);
    handle = nullptr;
  }
}

TEST_F(NvCuvEncTest, ValuesOutOfRangeAreRefusedAndTheOldValueKept) {
  struct Case { int parameter; int32_t value[3]; } cases[] = {
      {NVVE_RC_TYPE, {4}},          {NVVE_P_INTERVAL, {0}},          {NVVE_P_INTERVAL, {6}},
      {NVVE_IDR_PERIOD, {0}},       {NVVE_QP_LEVEL_INTRA, {52}},     {NVVE_FRAME_RATE, {0, 30}},
      {NVVE_FRAME_RATE, {1, -30}},  {NVVE_PROFILE_LEVEL, {0xFF43}},  {NVVE_PROFILE_LEVEL, {0x354D}},
      {NVVE_DEBLOCK_MODE, {3}},     {NVVE_DISABLE_CABAC, {2}},       {NVVE_CONFIGURE_NALU_FRAMING_TYPE, {2}},
      {NVVE_OUT_SIZE, {0, 48}},     {NVVE_IN_SIZE, {64, 9000}},      {NVVE_FORCE_GPU_SELECTION, {-1}},
      {NVVE_GET_GPU_COUNT, {1}},    {22, {0}},                       {0, {0}},
  };
  driver.script("devices=1");
  create();
  for (const Case& c : cases) {
    SCOPED_TRACE(nvveParameterName(c.parameter) + std::string(" ") + std::to_string(c.value[0]));
    int32_t before[3] = {-7, -7, -7};
    const int readable = NVGetParamValue(handle, c.parameter, before);
    int32_t value[3] = {c.value[0], c.value[1], c.value[2]};
    EXPECT_LT(NVSetParamValue(handle, c.parameter, value), 0);
    int32_t after[3] = {-7, -7, -7};
    EXPECT_EQ(NVGetParamValue(handle, c.parameter, after), readable);
    EXPECT_EQ(std::memcmp(before, after, sizeof(before)), 0);
  }
}

// What the best-GPU rule reads; the rule itself is the CUDA encoder class's test.
TEST_F(NvCuvEncTest, GpuQueriesAnswerFromTheDriver) {
  driver.script("devices=2\ndevice0=A|2|0|1000000|4|1073741824\ndevice1=Big GPU|2|1|1500000|16|3221225472");
  create();
  int count = 0;
  ASSERT_EQ(NVGetParamValue(handle, NVVE_GET_GPU_COUNT, &count), kNVVEOk);
  EXPECT_EQ(count, 2);
  NVVE_GPUAttributes a = {};
  a.iGpuOrdinal = 1;
  ASSERT_EQ(NVGetParamValue(handle, NVVE_GET_GPU_ATTRIBUTES, &a), kNVVEOk);
  EXPECT_STREQ(a.cName, "Big GPU");
  EXPECT_EQ(a.uiTotalGlobalMem, 3072u) << "in MB";
  EXPECT_EQ(a.MaxGpuOffloadLevel, kNVVEOffloadFull);
  a.iGpuOrdinal = 2;
  EXPECT_LT(NVGetParamValue(handle, NVVE_GET_GPU_ATTRIBUTES, &a), 0);
}

TEST_F(NvCuvEncTest, FramesOfAnotherSizeOrFormatAreRefused) {
  driver.script("devices=1");
  create();
  int32_t other[2] = {kWidth, kHeight + 2};
  ASSERT_EQ(NVSetParamValue(handle, NVVE_IN_SIZE, other), kNVVEOk);
  EXPECT_LT(NVCreateHWEncoder(handle), 0);
  EXPECT_NE(std::string(NVGetLastErrorText(handle)).find("NVVE_IN_SIZE"), std::string::npos);
  int32_t same[2] = {kWidth, kHeight};
  ASSERT_EQ(NVSetParamValue(handle, NVVE_IN_SIZE, same), kNVVEOk);
  ASSERT_EQ(NVCreateHWEncoder(handle), kNVVEOk);
  std::vector<uint8_t> picture(kWidth * kHeight * 2, 0);
  struct Case { int width, height, pitch, format; } cases[] = {{kWidth - 2, kHeight, kWidth, kNVVESurfaceYV12},
               {kWidth, kHeight, kWidth - 1, kNVVESurfaceYV12},
               {kWidth, kHeight, kWidth, 9},
               {kWidth, kHeight, kWidth, kNVVESurfaceYUY2}};  // packed rows need twice the width
  for (const Case& c : cases) {
    NVVE_EncodeFrameParams f = {c.width, c.height, c.pitch, c.format, 3, 0, 0, 0, 0, picture.data()};
    EXPECT_EQ(NVEncodeFrame(handle, &f, 0, nullptr), kNVVEInvalidArgument);
  }
  EXPECT_EQ(encode(1, 1), kNVVEOk);
  EXPECT_EQ(recorder.waitForFrames(1).size(), 4u);
}

}  // namespace
}  // namespace cvx
