// The three forms of each eye-ray path, SSE, AVX and AVX-512 vectors, called
// directly, each against the scalar model of its path: the export runs only
// the forms that the loader chose.
#include <immintrin.h>

#include <vector>

#include "eye_test_scene.h"
#include "raycast/intersect_eye_paths.h"
#include "reference_raycast.h"
#include "test_util.h"

namespace {

using eye_test::RayBlock;
using eye_test::TestScene;

using PathForm = void (*)(const float*, const float* const[3], float*, float* const[2], int32_t*,
                            const qelrSceneContext*, qelrSize);

bool HasAvx2() { return __builtin_cpu_supports("avx2"); }
bool HasAvx512() { return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq"); }

__attribute__((target("avx2"))) void Rcp8(const float* in, float* out) {
  _mm256_storeu_ps(out, _mm256_rcp_ps(_mm256_loadu_ps(in)));
}

// The packet path's AVX forms take their reciprocals eight at a time; they must be the
// rcpps bits of each lane.  Every exponent with a spread of mantissas, both
// signs, and the specials.
TEST(EyePathForms, EightLaneReciprocalIsTheFourLaneOne) {
  if (!HasAvx2()) GTEST_SKIP() << "no AVX2";
  std::vector<uint32_t> bits;
  for (uint32_t x = 0; x < 0x80000000u; x += 4093) bits.push_back(x), bits.push_back(x | 0x80000000u);
  for (uint32_t x : {0x00000000u, 0x80000000u, 0x7F800000u, 0xFF800000u, 0x7FC00000u, 0x00000001u, 0x7F7FFFFFu})
    bits.push_back(x);
  while (bits.size() % 8 != 0) bits.push_back(0x3F800000u);
  float out[8];
  for (size_t i = 0; i < bits.size(); i += 8) {
    float in[8];
    for (int j = 0; j < 8; ++j) in[j] = qt::FromBits(bits[i + j]);
    Rcp8(in, out);
    for (int j = 0; j < 8; ++j) ASSERT_EQ(qt::Bits(out[j]), qt::Bits(ref::Rcp12(in[j]))) << std::hex << bits[i + j];
  }
}

// Random scenes, eyes and blocks through one form and the model of its
// path.  Packet blocks: sides multiples of 4, aligned planes (mixed octants
// put running and idle kernels in one vector).  Single-ray blocks: any
// sides, planes aligned or not (groups cut short at the block's edges).
void CompareForm(PathForm form, bool packet, uint64_t seed) {
  qt::Rng rng(seed);
  int hits = 0;
  for (int round = 0; round < 200; ++round) {
    TestScene s(rng, rng.Int(1, 60), round % 2 == 1, round % 7 == 3 ? 2 : 1);
    float eye[3];
    eye_test::RandomEye(rng, s, eye);
    RayBlock b(packet ? 4 * rng.Int(1, 4) : rng.Int(1, 11), packet ? 4 * rng.Int(1, 3) : rng.Int(1, 9),
               packet ? 0 : 4 * rng.Int(0, 3));
    eye_test::FillRays(rng, b, eye, s.vertices);
    std::vector<float> dist(b.dist.data(), b.dist.data() + b.n), hu(b.hu.data(), b.hu.data() + b.n),
        hv(b.hv.data(), b.hv.data() + b.n);
    std::vector<int32_t> tri(b.tri.data(), b.tri.data() + b.n);
    if (packet) {
      float* hits2[2] = {hu.data(), hv.data()};
      ref::PacketBlock(s.Ref(), eye, b.Dirs(), dist.data(), hits2, tri.data(), b.width, b.height);
    } else {
      for (int i = 0; i < b.n; ++i) {
        const float d[3] = {b.Dirs()[0][i], b.Dirs()[1][i], b.Dirs()[2][i]};
        ref::SingleRay(s.Ref(), eye, d, dist[i], hu[i], hv[i], tri[i]);
      }
    }
    form(eye, b.Dirs(), b.dist.data(), b.Hits(), b.tri.data(), &s.context, qelrSize{b.width, b.height});
    ASSERT_TRUE(b.GuardsIntact()) << "round " << round;
    ASSERT_TRUE(eye_test::SameResults(dist.data(), hu.data(), hv.data(), tri.data(), b)) << "round " << round;
    for (int i = 0; i < b.n; ++i) hits += b.tri[i] >= 0;
  }
  EXPECT_GT(hits, 100);
}

TEST(EyePathForms, PacketSseFormMatchesModel) { CompareForm(IntersectEyePacketsSse, true, 51); }

TEST(EyePathForms, PacketAvxFormMatchesModel) {
  if (!HasAvx2()) GTEST_SKIP() << "no AVX2";
  CompareForm(IntersectEyePacketsAvx2, true, 52);
}

TEST(EyePathForms, PacketAvx512FormMatchesModel) {
  if (!HasAvx512()) GTEST_SKIP() << "no AVX-512";
  CompareForm(IntersectEyePacketsAvx512, true, 53);
}

TEST(EyePathForms, SingleRaySseFormMatchesModel) { CompareForm(IntersectEyeSingleRaysSse, false, 54); }

TEST(EyePathForms, SingleRayAvxFormMatchesModel) {
  if (!HasAvx2()) GTEST_SKIP() << "no AVX2";
  CompareForm(IntersectEyeSingleRaysAvx2, false, 55);
}

TEST(EyePathForms, SingleRayAvx512FormMatchesModel) {
  if (!HasAvx512()) GTEST_SKIP() << "no AVX-512";
  CompareForm(IntersectEyeSingleRaysAvx512, false, 56);
}

}  // namespace
