// The checks of the six workers and the two queries: which status comes
// first, that nothing is written unless all pass, the scratch size formula,
// and the destination box rules.
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "qelr.h"
#include "standin_core.h"

namespace {

const qelrVolume kVol{4, 4, 4};
const qelrCuboid kVoi{0, 0, 0, 4, 4, 4};

// A 32f C1V call on a 4x4x4 volume whose destination starts as 7s.
struct Call {
  std::vector<float> src = std::vector<float>(64, 1.0f), dst = std::vector<float>(64, 7.0f);
  std::vector<uint8_t> scratch = std::vector<uint8_t>(1 << 16);
  bool noBuffer = false;
  qelrVolume vol = kVol;
  qelrCuboid srcVoi = kVoi, dstVoi = kVoi;
  double f[3] = {1, 1, 1}, s[3] = {0, 0, 0};
  int32_t code = InterLinear;
  qelStatus Run() {
    return qelrResize_32f_C1V(src.data(), vol, 16, 64, srcVoi, dst.data(), 16, 64, dstVoi, f[0], f[1], f[2],
                              s[0], s[1], s[2], code, noBuffer ? nullptr : scratch.data());
  }
};

TEST(ResizeChecks, StatusesComeInTheDocumentedOrderForEveryCode) {
  for (int32_t code : {1, 2, 4, 5, 6, 7}) {
    Call c;
    // Every later check fails too, so each status shows that it comes first.
    c.vol.width = 0;
    c.f[1] = 0;
    c.code = 3;
    c.srcVoi.x = -1;
    c.noBuffer = true;
    EXPECT_EQ(c.Run(), StatusNullPointer);
    c.noBuffer = false;
    EXPECT_EQ(c.Run(), StatusBadSize);
    c.vol.width = 4;
    EXPECT_EQ(c.Run(), StatusBadSize);  // srcVoi.x negative
    c.srcVoi.x = 0;
    c.dstVoi.depth = 0;
    EXPECT_EQ(c.Run(), StatusBadSize);
    c.dstVoi.depth = 4;
    EXPECT_EQ(c.Run(), StatusBadFactor);
    c.f[1] = -1;
    EXPECT_EQ(c.Run(), StatusBadFactor);
    c.f[1] = 1;
    c.srcVoi.z = 4;  // origin on the volume's extent: a warning, after the code
    for (int32_t bad : {0, 3, 8}) {
      c.code = bad;
      EXPECT_EQ(c.Run(), StatusBadInterpolation);
    }
    c.code = code;
    EXPECT_EQ(c.Run(), StatusVoiOutside) << code;
    c.srcVoi.z = 0;
    c.dstVoi.x = 10;  // misses the scaled region
    EXPECT_EQ(c.Run(), StatusNoOverlap) << code;
    // A NaN factor passes the factor test and gives an empty box.
    c.dstVoi.x = 0;
    c.f[0] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(c.Run(), StatusNoOverlap) << code;
    EXPECT_EQ(c.dst, std::vector<float>(64, 7.0f)) << code;
  }
}

TEST(ResizeChecks, NullArraysOfThePlaneWorkersButNotTheirPlanes) {
  std::vector<uint8_t> buffer(4096);
  const uint8_t* srcPlanes[1] = {nullptr};
  uint8_t* dstPlanes[1] = {nullptr};
  const qelrVolume vol{1, 1, 1};
  const qelrCuboid voi{0, 0, 0, 1, 1, 1};
  EXPECT_EQ(qelrResize_8u_C1PV(nullptr, vol, 1, voi, dstPlanes, 1, voi, 1, 1, 1, 0, 0, 0, 1, buffer.data()),
            StatusNullPointer);
  EXPECT_EQ(qelrResize_8u_C1PV(srcPlanes, vol, 1, voi, nullptr, 1, voi, 1, 1, 1, 0, 0, 0, 1, buffer.data()),
            StatusNullPointer);
  // The elements are not looked at: a check that fails later still wins.
  EXPECT_EQ(qelrResize_8u_C1PV(srcPlanes, vol, 1, voi, dstPlanes, 1, voi, 0, 1, 1, 0, 0, 0, 1, buffer.data()),
            StatusBadFactor);
}

TEST(ResizeBufSize, ChecksInOrder) {
  int32_t size = -1;
  const qelrCuboid bad{0, 0, 0, 0, 1, 1};
  EXPECT_EQ(qelrResizeGetBufSize(bad, kVoi, 3, 3, nullptr), StatusNullPointer);
  EXPECT_EQ(qelrResizeGetBufSize(kVoi, bad, 3, 3, &size), StatusBadSize);
  EXPECT_EQ(qelrResizeGetBufSize(kVoi, kVoi, 3, 3, &size), StatusBadChannels);
  EXPECT_EQ(qelrResizeGetBufSize(kVoi, kVoi, 1, 3, &size), StatusBadInterpolation);
  EXPECT_EQ(size, -1);
}

// Worked sizes per thread for nearest, linear and the four cubic codes (one
// size for all four), times the thread count.
TEST(ResizeBufSize, WorkedSizesTimesThreadCount) {
  struct Worked {
    qelrCuboid dst;
    int32_t nearest, linear, cubic;
  };
  const Worked worked[] = {{{0, 0, 0, 1, 1, 1}, 256, 2560, 7936},
                           {{5, 6, 7, 17, 63, 65}, 768, 37376, 114432},
                           {{0, 0, 0, 64, 128, 3}, 896, 74624, 239488}};
  for (int32_t threads : {1, 3}) {
    standinSetNumThreads(threads);
    for (const Worked& w : worked)
      for (int32_t code : {1, 2, 4, 5, 6, 7}) {
        int32_t size = 0;
        ASSERT_EQ(qelrResizeGetBufSize(kVoi, w.dst, 1, code, &size), StatusOk);
        EXPECT_EQ(size, (code == 1 ? w.nearest : code == 2 ? w.linear : w.cubic) * threads) << code;
      }
  }
  standinSetNumThreads(1);
}

TEST(ResizeCuboid, BoxOfCentresInTheClosedScaledRegion) {
  qelrCuboid out{-1, -1, -1, -1, -1, -1};
  // Scaled region [0.5, 3.5]: centres 0.5 .. 3.5 both belong, so 4 samples.
  ASSERT_EQ(qelrGetResizeCuboid({0, 0, 0, 3, 3, 3}, &out, 1, 1, 1, 0.5, 0.5, 0.5, InterLinear), StatusOk);
  EXPECT_EQ(out.x, 0);
  EXPECT_EQ(out.width, 4);
  // 2x from origin 1: region [2, 8] gives samples 2 .. 7.
  ASSERT_EQ(qelrGetResizeCuboid({1, 0, 0, 3, 1, 1}, &out, 2, 1, 1, 0, 0, 0, InterNearest), StatusOk);
  EXPECT_EQ(out.x, 2);
  EXPECT_EQ(out.width, 6);
  // A negative shift is clamped at 0 here.
  ASSERT_EQ(qelrGetResizeCuboid({0, 0, 0, 4, 4, 4}, &out, 1, 1, 1, -2.25, 0, 0, InterCubic), StatusOk);
  EXPECT_EQ(out.x, 0);
  EXPECT_EQ(out.width, 2);
}

TEST(ResizeCuboid, ChecksAndEmptyBoxLeaveTheResult) {
  qelrCuboid out{9, 9, 9, 9, 9, 9};
  EXPECT_EQ(qelrGetResizeCuboid(kVoi, nullptr, 0, 1, 1, 0, 0, 0, 3), StatusNullPointer);
  EXPECT_EQ(qelrGetResizeCuboid({0, -1, 0, 1, 1, 1}, &out, 0, 1, 1, 0, 0, 0, 3), StatusBadSize);
  EXPECT_EQ(qelrGetResizeCuboid(kVoi, &out, 1, 0, 1, 0, 0, 0, 3), StatusBadFactor);
  EXPECT_EQ(qelrGetResizeCuboid(kVoi, &out, 1, 1, 1, 0, 0, 0, 3), StatusBadInterpolation);
  EXPECT_EQ(qelrGetResizeCuboid(kVoi, &out, 1, 1, 1, -10, 0, 0, InterLinear), StatusNoOverlap);
  EXPECT_EQ(out.x, 9);
  EXPECT_EQ(out.depth, 9);
}

}  // namespace
