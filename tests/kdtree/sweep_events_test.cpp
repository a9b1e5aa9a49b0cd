// The sweep over starts and ends kept as one list in event order against
// the two-list sweep on the same events, bit for bit: zeros of both signs,
// repeated values, values on the box's faces, empty ends wide enough to
// cut off, infinities.
#include <algorithm>
#include <cmath>
#include <limits>

#include "split_search_soup.h"
#include "test_util.h"

namespace {

struct Event {
  float value;
  bool isEnd;
};

// The kept order: by value with both zeros together, a start before an
// end, then -0 before +0.
bool Before(const Event& a, const Event& b) {
  if (a.value != b.value) return a.value < b.value;
  if (a.isEnd != b.isEnd) return !a.isEnd;
  return std::signbit(a.value) && !std::signbit(b.value);
}

// Key order: -0 before +0.
bool KeyBefore(float a, float b) {
  if (a != b) return a < b;
  return std::signbit(a) && !std::signbit(b);
}

TEST(SweepEvents, SameDecisionAsTheTwoListSweep) {
  qt::Rng rng(4242);
  const float inf = std::numeric_limits<float>::infinity();
  for (int trial = 0; trial < 3000; ++trial) {
    const int32_t n = trial < 40 ? 1 + trial % 4 : rng.Int(1, 700);
    const float low = rng.Chance(0.3) ? 0.0f : rng.Uniform(-8.0f, 1.0f);
    const float high = low + rng.Uniform(0.5f, 16.0f);
    const int grid = rng.Int(1, 40);
    // Sometimes all events sit in part of the box, leaving an end to cut.
    const float from = rng.Chance(0.2) ? low + (high - low) * 0.3f : low;
    const float to = rng.Chance(0.2) ? high - (high - low) * 0.3f : high;
    auto coordinate = [&]() {
      switch (rng.Int(0, 6)) {
        case 0: return rng.Chance(0.5) ? from : to;
        case 1: return rng.Chance(0.5) ? 0.0f : -0.0f;
        case 2: return rng.Chance(0.03) ? (rng.Chance(0.5) ? inf : -inf) : rng.Uniform(from, to);
        default: return from + (to - from) * float(rng.Int(0, grid)) / float(grid);
      }
    };
    std::vector<float> lows(n), highs(n);
    for (int32_t k = 0; k < n; ++k) {
      float a = coordinate(), b = coordinate();
      while (a == b) b = coordinate() + 0.25f;  // not flat
      lows[k] = std::min(a, b);
      highs[k] = std::max(a, b);
    }
    std::vector<Event> events;
    for (int32_t k = 0; k < n; ++k) events.push_back({lows[k], false}), events.push_back({highs[k], true});
    std::sort(events.begin(), events.end(), Before);
    std::sort(lows.begin(), lows.end(), KeyBefore);
    std::sort(highs.begin(), highs.end(), KeyBefore);
    std::vector<float> values;
    std::vector<int32_t> tags;
    for (const Event& e : events) {
      values.push_back(e.value);
      tags.push_back(e.isEnd ? kKDEventEnd : 0);
    }

    KDSweepInput in{};
    in.lows = lows.data();
    in.highs = highs.data();
    in.n = n;
    in.low = low;
    in.high = high;
    in.extent1 = rng.Chance(0.1) ? 0.0f : rng.Uniform(0.1f, 9.0f);
    in.extent2 = rng.Uniform(0.1f, 9.0f);
    const double leafCost = 1e30;
    qelrSplitDecision want{leafCost, 0.0f, 0, 0, 0, 0}, got = want;
    localSweep(in, &want);
    localSweepEvents(in, values.data(), tags.data(), &got);
    want.axis = got.axis = 0;
    ASSERT_TRUE(SameDecision(want, got)) << "trial " << trial << " n " << n;
  }
}

}  // namespace
