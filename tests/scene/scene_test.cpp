// Scene preparation through the exports: triangle records, the padded box,
// triangle normals and surface normals on both paths, against the scalar
// models in reference_scene.h.
#include <algorithm>
#include <cstring>
#include <vector>

#include "qelr.h"
#include "reference_scene.h"
#include "standin_core.h"
#include "test_util.h"

namespace {

using qt::Bits;
using qt::SameBits;

qelrTriangleAccel AccelOf(const float (&v)[9]) {
  const int32_t tri[4] = {0, 1, 2, 77};
  qelrTriangleAccel a;
  EXPECT_EQ(qelrTriangleAccelInit(&a, v, tri, 1), StatusOk);
  return a;
}

TEST(TriangleAccel, SizeAxisChoiceAndDegenerateCases) {
  int32_t size = 0;
  EXPECT_EQ(qelrTriangleAccelGetSize(nullptr), StatusNullPointer);
  EXPECT_EQ(qelrTriangleAccelGetSize(&size), StatusOk);
  EXPECT_EQ(size, 40);

  // Normal (0,0,1): k 2, u 0, w 1, flagged perpendicular to z.
  const qelrTriangleAccel flat = AccelOf({0, 0, 0, 1, 0, 0, 0, 1, 0});
  EXPECT_EQ(flat.axes, 0x80000000u | (2u << 4) | (0u << 2) | 1u);
  EXPECT_TRUE(Bits(flat.normalU) == 0 && Bits(flat.normalW) == 0);

  // All on one line: ten zero words.
  const qelrTriangleAccel line = AccelOf({0, 0, 0, 1, 1, 1, 2, 2, 2});
  const qelrTriangleAccel zero = {};
  EXPECT_EQ(std::memcmp(&line, &zero, sizeof zero), 0);

  // Normals (1,1,0) and (2,2,2): ties go to x.  (1,2,0): k 1, u 0, w 2.
  EXPECT_EQ((AccelOf({0, 0, 1, 1, -1, 0, 0, 0, 0}).axes >> 4) & 3, 0u);
  EXPECT_EQ((AccelOf({1, -1, 0, 0, 1, -1, 0, 0, 0}).axes >> 4) & 3, 0u);
  EXPECT_EQ(AccelOf({0, 0, 1, 2, -1, 0, 0, 0, 0}).axes, (1u << 4) | (0u << 2) | 2u);

  // A NaN coordinate is not degenerate: axis x and NaNs in the record.
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const qelrTriangleAccel withNan = AccelOf({0, nan, 0, 1, 0, 0, 0, 1, 0});
  EXPECT_EQ((withNan.axes >> 4) & 3, 0u);
  EXPECT_NE(withNan.axes, 0u);
  EXPECT_TRUE(std::isnan(withNan.edge1U));

  // No pointer is tested for a count below 1.
  EXPECT_EQ(qelrTriangleAccelInit(nullptr, nullptr, nullptr, 0), StatusOk);
  EXPECT_EQ(qelrTriangleAccelInit(nullptr, nullptr, nullptr, -3), StatusOk);
}

TEST(TriangleAccel, MatchesReferenceOnRandomTriangles) {
  qt::Rng rng(11);
  const int vertexCount = 60, triangleCount = 400;
  std::vector<float> v(3 * vertexCount);
  for (float& x : v) x = rng.Chance(0.05) ? rng.Special() : rng.Uniform(-10, 10);
  // Some axis-aligned and repeated coordinates make ties and flat planes.
  for (int i = 0; i < vertexCount; i += 5) v[3 * i + rng.Int(0, 2)] = 0.0f;
  std::vector<int32_t> tri(4 * triangleCount);
  for (int t = 0; t < triangleCount; ++t)
    for (int j = 0; j < 4; ++j) tri[4 * t + j] = rng.Int(0, vertexCount - 1);
  std::vector<qelrTriangleAccel> accel(triangleCount + 1);
  std::memset(&accel[triangleCount], 0x5A, sizeof(qelrTriangleAccel));
  ASSERT_EQ(qelrTriangleAccelInit(accel.data(), v.data(), tri.data(), triangleCount), StatusOk);
  for (int t = 0; t < triangleCount; ++t) {
    const qelrTriangleAccel expected =
        ref::TriangleAccel(&v[3 * tri[4 * t]], &v[3 * tri[4 * t + 1]], &v[3 * tri[4 * t + 2]]);
    ASSERT_TRUE(SameBits(&expected.normalU, &accel[t].normalU, 9)) << "triangle " << t;
    ASSERT_EQ(expected.axes, accel[t].axes) << "triangle " << t;
  }
  EXPECT_EQ(accel[triangleCount].axes, 0x5A5A5A5Au);  // nothing past the end
}

TEST(BoundBox, MatchesReference) {
  float box[6], expected[6];
  const float origin[3] = {0, 0, 0};
  EXPECT_EQ(qelrSetBoundBox_32f(nullptr, 1, box), StatusNullPointer);
  // No vertex gives the start values with the margin (minima above maxima);
  // at the origin the margin comes from the smallest normal float.
  ASSERT_EQ(qelrSetBoundBox_32f(origin, 0, box), StatusOk);
  ref::BoundBox(origin, 0, expected);
  EXPECT_TRUE(SameBits(expected, box, 6));
  EXPECT_GT(box[0], box[3]);
  ASSERT_EQ(qelrSetBoundBox_32f(origin, 1, box), StatusOk);
  EXPECT_TRUE(box[0] < 0.0f && box[3] > 0.0f);
  // Every remainder of the eight-vertex rounds.
  qt::Rng rng(12);
  for (int count = 1; count <= 17; ++count) {
    std::vector<float> v(3 * count);
    for (float& x : v) x = rng.Uniform(-1000, 1000);
    ASSERT_EQ(qelrSetBoundBox_32f(v.data(), count, box), StatusOk);
    ref::BoundBox(v.data(), count, expected);
    ASSERT_TRUE(SameBits(expected, box, 6)) << "count " << count;
  }
}

TEST(TriangleNormal, MatchesReferenceForAnyTeamSize) {
  qt::Rng rng(13);
  const int vertexCount = 50, triangleCount = 203;
  std::vector<float> v(3 * vertexCount);
  for (float& x : v) x = rng.Uniform(-5, 5);
  std::vector<int32_t> tri(4 * triangleCount);
  for (int t = 0; t < triangleCount; ++t)
    for (int j = 0; j < 3; ++j) tri[4 * t + j] = rng.Int(0, vertexCount - 1);
  tri[4 * 7 + 1] = tri[4 * 7];  // degenerate: (0, 0, 0), not NaN
  tri[4 * 7 + 2] = tri[4 * 7];
  // Area 5e-17, squared length under the double epsilon: also (0, 0, 0).
  const float tiny[9] = {0, 0, 0, 1e-8f, 0, 0, 0, 1e-8f, 0};
  std::copy(tiny, tiny + 9, v.begin());
  tri[4 * 8] = 0, tri[4 * 8 + 1] = 1, tri[4 * 8 + 2] = 2;
  std::vector<float> expected(3 * triangleCount);
  for (int t = 0; t < triangleCount; ++t)
    ref::TriangleNormal(&v[3 * tri[4 * t]], &v[3 * tri[4 * t + 1]], &v[3 * tri[4 * t + 2]], &expected[3 * t]);
  EXPECT_EQ(Bits(expected[21]), 0u);
  EXPECT_EQ(Bits(expected[24 + 2]), 0u);

  for (int threads : {1, 2, 3, 7, 0}) {
    standinSetNumThreads(threads);
    std::vector<float> n(3 * triangleCount, -9.0f);
    ASSERT_EQ(qelrTriangleNormal_32f(v.data(), tri.data(), n.data(), triangleCount), StatusOk);
    EXPECT_TRUE(SameBits(expected.data(), n.data(), n.size())) << threads << " threads";
  }
  standinSetNumThreads(2);
  float untouched = 5.0f;
  EXPECT_EQ(qelrTriangleNormal_32f(v.data(), tri.data(), &untouched, 0), StatusOk);
  EXPECT_EQ(untouched, 5.0f);
  EXPECT_EQ(qelrTriangleNormal_32f(nullptr, tri.data(), &untouched, 1), StatusNullPointer);
  EXPECT_EQ(qelrTriangleNormal_32f(v.data(), nullptr, &untouched, 1), StatusNullPointer);
  EXPECT_EQ(qelrTriangleNormal_32f(v.data(), tri.data(), nullptr, 1), StatusNullPointer);
}

// Planes for the surface functions at a chosen byte offset from 16.
struct SurfaceBatch {
  qt::GuardedBuffer<int32_t> hits;
  qt::GuardedBuffer<float> w0, w1, nx, ny, nz;
  SurfaceBatch(int n, size_t offset)
      : hits(n, offset), w0(n, offset), w1(n, offset), nx(n, offset), ny(n, offset), nz(n, offset) {}
  float* normals[3] = {nx.data(), ny.data(), nz.data()};
  float* const* Normals() { return normals; }
  bool GuardsIntact() const {
    return hits.GuardsIntact() && w0.GuardsIntact() && w1.GuardsIntact() && nx.GuardsIntact() && ny.GuardsIntact() &&
           nz.GuardsIntact();
  }
};

// Hits that mix misses, lone hits and groups of four on one triangle.
void FillHits(qt::Rng& rng, int32_t* hits, int n, int triangleCount) {
  for (int i = 0; i < n; i += 4) {
    const int kind = rng.Int(0, 3);
    const int32_t same = rng.Int(0, triangleCount - 1);
    for (int j = i; j < n && j < i + 4; ++j) {
      if (kind == 0) hits[j] = -1 - rng.Int(0, 5);
      else if (kind == 1) hits[j] = same;
      else hits[j] = rng.Chance(0.3) ? -1 : rng.Int(0, triangleCount - 1);
    }
  }
}

TEST(SurfFlatNormal, BothPathsCopyOrClear) {
  qt::Rng rng(14);
  const int triangleCount = 9;
  qt::GuardedBuffer<float> triNormals(3 * triangleCount);
  for (int i = 0; i < 3 * triangleCount; ++i) triNormals[i] = rng.Special();
  for (int n : {0, 1, 3, 4, 8, 13, 64}) {
    for (size_t offset : {0, 4, 8}) {
      SurfaceBatch b(n, offset);
      FillHits(rng, b.hits.data(), n, triangleCount);
      float* const* normals = b.Normals();
      ASSERT_EQ(qelrSurfFlatNormal_32f(triNormals.data(), b.hits.data(), normals, n), StatusOk);
      for (int i = 0; i < n; ++i)
        for (int k = 0; k < 3; ++k) {
          const float expected = b.hits[i] >= 0 ? triNormals[3 * b.hits[i] + k] : 0.0f;
          ASSERT_EQ(Bits(expected), Bits(normals[k][i])) << "n " << n << " offset " << offset << " ray " << i;
        }
      EXPECT_TRUE(b.GuardsIntact());
    }
  }
  int32_t hit = 0;
  EXPECT_EQ(qelrSurfFlatNormal_32f(nullptr, &hit, nullptr, 1), StatusNullPointer);
  EXPECT_EQ(qelrSurfFlatNormal_32f(triNormals.data(), nullptr, nullptr, 1), StatusNullPointer);
  float* normals[3] = {nullptr, nullptr, nullptr};
  EXPECT_EQ(qelrSurfFlatNormal_32f(triNormals.data(), &hit, normals, 0), StatusOk);
}

TEST(SurfSmoothNormal, ScalarAndFourWidePathsMatchTheirModels) {
  qt::Rng rng(15);
  const int vertexCount = 12, triangleCount = 10;
  qt::GuardedBuffer<float> vn(3 * vertexCount);
  for (int i = 0; i < 3 * vertexCount; ++i) vn[i] = rng.Chance(0.1) ? rng.Special() : rng.Uniform(-1, 1);
  // Two vertices with tiny normals make lengths near the threshold.
  for (int k = 0; k < 3; ++k) vn[3 * 4 + k] = 1e-4f, vn[3 * 5 + k] = 2e-4f;
  for (int32_t stride : {4, 3}) {
    qt::GuardedBuffer<int32_t> tri(stride * triangleCount);
    for (int i = 0; i < stride * triangleCount; ++i) tri[i] = rng.Int(0, vertexCount - 1);
    tri[0] = tri[1] = 4, tri[2] = 5;  // triangle 0 has tiny normals only
    for (int n : {1, 5, 4, 16, 36}) {
      for (size_t offset : {0, 8}) {
        SurfaceBatch b(n, offset);
        FillHits(rng, b.hits.data(), n, triangleCount);
        for (int i = 0; i < n; ++i) {
          b.w0[i] = rng.Uniform(0, 1);
          b.w1[i] = rng.Uniform(0, 1 - b.w0[i]);
        }
        const float* weights[2] = {b.w0.data(), b.w1.data()};
        float* const* normals = b.Normals();
        ASSERT_EQ(qelrSurfSmoothNormal_32f(vn.data(), tri.data(), b.hits.data(), weights, normals, n, stride),
                  StatusOk);
        const bool fourWide = n % 4 == 0 && offset == 0;
        for (int i = 0; i < n; ++i) {
          float s[3] = {0, 0, 0};
          if (b.hits[i] >= 0) {
            const int32_t* t = &tri[b.hits[i] * stride];
            ref::BlendNormals(&vn[3 * t[0]], &vn[3 * t[1]], &vn[3 * t[2]], b.w0[i], b.w1[i], s);
            fourWide ? ref::NormaliseFourWide(s) : ref::NormaliseScalar(s);
          }
          for (int k = 0; k < 3; ++k)
            ASSERT_EQ(Bits(s[k]), Bits(normals[k][i]))
                << "stride " << stride << " n " << n << " offset " << offset << " ray " << i << " axis " << k;
        }
        EXPECT_TRUE(b.GuardsIntact());
      }
    }
  }
}

TEST(SurfSmoothNormal, ThresholdDiffersBetweenPaths) {
  // One vertex normal of squared length exactly 2^-23 (x = 2^-11.5 is not
  // exact, so use x^2 + y^2 = 2^-24 + 2^-24 with x = y = 2^-12).
  alignas(16) float vn[4] = {0x1p-12f, 0x1p-12f, 0.0f, 0.0f};
  alignas(16) int32_t tri[4] = {0, 0, 0, 0};
  alignas(16) int32_t hits[4] = {0, 0, 0, 0};
  alignas(16) float w0[4] = {1, 1, 1, 1}, w1[4] = {0, 0, 0, 0};
  alignas(16) float out[3][8];
  const float* weights[2] = {w0, w1};
  float* normals[3] = {out[0], out[1], out[2]};
  ASSERT_EQ(qelrSurfSmoothNormal_32f(vn, tri, hits, weights, normals, 4, 4), StatusOk);
  EXPECT_EQ(out[0][0], 0.0f);  // four-wide: cleared
  float* shifted[3] = {out[0] + 1, out[1] + 1, out[2] + 1};
  ASSERT_EQ(qelrSurfSmoothNormal_32f(vn, tri, hits, weights, shifted, 4, 4), StatusOk);
  EXPECT_GT(out[0][1], 0.7f);  // scalar: a unit vector

  for (int missing = 0; missing < 5; ++missing)
    EXPECT_EQ(qelrSurfSmoothNormal_32f(missing == 0 ? nullptr : vn, missing == 1 ? nullptr : tri,
                                       missing == 2 ? nullptr : hits, missing == 3 ? nullptr : weights,
                                       missing == 4 ? nullptr : normals, 1, 4),
              StatusNullPointer)
        << missing;
}

}  // namespace
