// One comparison of the six transforms with the scalar models, shared by
// the test of the exports and the test that calls each instruction set's
// block form directly.  The code under test comes in as two calls that take
// the value layout: C1, P3 (separate planes) or C3 (interleaved; channel c
// at values[c] = values[0] + c, stride 3).
#pragma once

#include <deque>
#include <functional>
#include <vector>

#include "reference_sht.h"
#include "sh_test_support.h"

namespace sht {

enum class Layout { C1, P3, C3 };

inline int Channels(Layout l) {
  return l == Layout::C1 ? 1 : 3;
}
inline int Stride(Layout l) {
  return l == Layout::C3 ? 3 : 1;
}

struct Call {
  const Directions* d;
  int count;
  uint32_t order;
  const qelrSHState* state;
};

using ForwardUnderTest = std::function<void(Layout, const Call&, const float* const values[3], float* const coeffs[3])>;
using InverseUnderTest = std::function<void(Layout, const Call&, const float* const coeffs[3], float* const dst[3])>;

// Values with, at the chance given, the shortcut cases 0, -0 and 1; other
// values now and then infinite or NaN.
inline std::vector<float> TransformValues(qt::Rng& rng, size_t n, double shortcutChance) {
  std::vector<float> v(n);
  for (float& f : v) {
    if (rng.Chance(shortcutChance)) {
      const int pick = rng.Int(0, 2);
      f = pick == 0 ? 0.0f : pick == 1 ? -0.0f : 1.0f;
    } else {
      do
        f = rng.Special(-3.0f, 3.0f);
      while (f == 0.0f || f == 1.0f);
    }
  }
  return v;
}

// Coefficients for bands 0..order, mostly finite, NaN after them up to
// band 15 (so a read past the order shows).
inline std::vector<float> StartCoefficients(qt::Rng& rng, int n) {
  std::vector<float> c(256, NAN);
  for (int k = 0; k < n; ++k)
    c[k] = rng.Chance(0.05) ? rng.Special() : rng.Uniform(-1.0f, 1.0f);
  return c;
}

// Every layout of both directions, against the models, from the same
// random inputs; `basisOf` gives the basis the models use.  Outputs sit at
// random 4-byte offsets inside guard words.
inline void CheckTransformsAgainstModel(qt::Rng& rng, const Call& call, const ref::BasisOf& basisOf,
                                        const ForwardUnderTest& forward, const InverseUnderTest& inverse) {
  const int n = Count(call.order), count = call.count;
  for (Layout layout : {Layout::C1, Layout::P3, Layout::C3}) {
    const int channels = Channels(layout), stride = Stride(layout);
    SCOPED_TRACE(::testing::Message() << "layout " << int(layout) << " order " << call.order << " count " << count);

    // Forward: blocks with and without the shortcut values.
    const double shortcutChance = rng.Chance(0.5) ? 0.0 : 0.3;
    std::vector<float> planes[3], interleaved(3 * size_t(count));
    const float* values[3];
    for (int c = 0; c < 3; ++c) {
      planes[c] = TransformValues(rng, count, shortcutChance);
      for (int i = 0; i < count; ++i)
        interleaved[3 * size_t(i) + c] = planes[c][i];
      values[c] = layout == Layout::C3 ? interleaved.data() + c : planes[c].data();
    }
    std::deque<qt::GuardedBuffer<float>> got;
    std::vector<float> want[3];
    float *gotP[3], *wantP[3];
    for (int c = 0; c < channels; ++c) {
      want[c] = StartCoefficients(rng, n);
      got.emplace_back(n, 4 * size_t(rng.Int(0, 7)));
      std::copy_n(want[c].data(), n, got[c].data());
      gotP[c] = got[c].data();
      wantP[c] = want[c].data();
    }
    ref::Forward(basisOf, count, n, channels, values, stride, wantP);
    forward(layout, call, values, gotP);
    for (int c = 0; c < channels; ++c) {
      EXPECT_TRUE(SameValues(want[c].data(), got[c].data(), n)) << "forward, channel " << c;
      EXPECT_TRUE(got[c].GuardsIntact()) << "forward, channel " << c;
    }

    // Inverse.
    const std::vector<float> k[3] = {StartCoefficients(rng, n), StartCoefficients(rng, n), StartCoefficients(rng, n)};
    const float* kp[3] = {k[0].data(), k[1].data(), k[2].data()};
    std::deque<qt::GuardedBuffer<float>> out;
    std::vector<float> expect(size_t(count) * 3);
    float *outP[3], *expectP[3];
    for (int c = 0; c < channels; ++c) {
      if (layout != Layout::C3 || c == 0)
        out.emplace_back(size_t(count) * stride, 4 * size_t(rng.Int(0, 7)));
      outP[c] = layout == Layout::C3 ? out[0].data() + c : out[c].data();
      expectP[c] = layout == Layout::C3 ? expect.data() + c : expect.data() + size_t(c) * count;
    }
    ref::Inverse(basisOf, count, n, channels, kp, expectP, stride);
    inverse(layout, call, kp, outP);
    for (int c = 0; c < channels; ++c)
      for (int i = 0; i < count; ++i)
        EXPECT_TRUE(SameValues(&expectP[c][size_t(i) * stride], &outP[c][size_t(i) * stride], 1))
            << "inverse, channel " << c << " direction " << i;
    for (auto& buffer : out)
      EXPECT_TRUE(buffer.GuardsIntact()) << "inverse";
  }
}

}  // namespace sht
