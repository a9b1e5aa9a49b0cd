// The two sweeps over the sorted events of one axis.
//
// The cost of a plane at t with l polygons below and h above is
//   C(t, l, h) = l * ((t - low) + r) + h * ((high - t) + r),
// where r = (e1 * e2) / (e1 + e2) from the two other extents; multiplied by
// s = e1 + e2 it is the sum of half-area times count over both boxes.  The
// differences are single precision and the counts pass through single
// precision: a count above 2^24 is rounded, and computing it any other way
// would move planes.
#include <emmintrin.h>

#include <cfloat>

#include "kdtree/kd_split_search.h"

namespace {

struct SweepFrame {
  float low, high;
  float s;   // e1 + e2, single precision
  double r;  // (e1 * e2) / (e1 + e2), or 0 when the product is tiny
};

SweepFrame MakeFrame(const KDSweepInput& in) {
  SweepFrame frame;
  frame.low = in.low;
  frame.high = in.high;
  frame.s = in.extent1 + in.extent2;
  float product = in.extent1 * in.extent2;
  frame.r = static_cast<double>(product) >= 1e-9
                ? static_cast<double>(product) / static_cast<double>(frame.s)
                : 0.0;
  return frame;
}

inline double AsCount(int32_t count) { return static_cast<double>(static_cast<float>(count)); }

inline double PlaneCost(const SweepFrame& frame, float t, int32_t l, int32_t h) {
  return AsCount(l) * (static_cast<double>(t - frame.low) + frame.r) +
         AsCount(h) * (static_cast<double>(frame.high - t) + frame.r);
}

inline void Take(qelrSplitDecision* result, float position, int32_t l, int32_t h, int32_t side) {
  result->position = position;
  result->leftCount = l;
  result->rightCount = h;
  result->flatSide = side;
}

// A box end that is empty over more than 10% of the extent is cut off at
// once, with a bonus, and no event is looked at.  The test is strict: a gap
// of exactly 10% is no candidate.  Returns true when a cut was taken.
bool TakeEndCut(const SweepFrame& frame, int32_t m, float first, float last, int32_t lowCutSide,
                int32_t highCutSide, qelrSplitDecision* result) {
  const float gap = (frame.high - frame.low) * 0.1f;
  bool found = false;
  double best = 0.0;
  if (first - frame.low > gap) {
    best = AsCount(m) * (static_cast<double>(frame.high - first) + frame.r);
    Take(result, first, 0, m, lowCutSide);
    found = true;
  }
  if (frame.high - last > gap) {
    double cost = AsCount(m) * (static_cast<double>(last - frame.low) + frame.r);
    if (!found || cost < best) {
      best = cost;
      Take(result, last, m, 0, highCutSide);
      found = true;
    }
  }
  if (found) result->cost = static_cast<double>(frame.s) * kKDEmptySpaceBonus * best;
  return found;
}

// How many of values[from..count) equal t (the array is sorted).
inline int32_t RunAt(const float* values, int32_t from, int32_t count, float t) {
  int32_t k = from;
  while (k < count && values[k] == t) ++k;
  return k - from;
}

// Index of the first value above t, starting at `from`.
inline int32_t SkipUpTo(const float* values, int32_t from, int32_t count, float t) {
  while (from < count && values[from] <= t) ++from;
  return from;
}

// The planes of one list of starts and ends in event order.  Each run of
// equal values is a plane at its first value (a start if it has one, and
// -0 before +0, as the two-list walk picks it), with the starts before the
// run on the low side and the ends up to the run's last off the high side.
// The runs are found in blocks without a branch on the data (the two-list
// walk branches on every event the way no predictor can guess), then
// their costs are weighed in order.
class EventRuns {
 public:
  EventRuns(const SweepFrame& frame, int32_t n) : frame_(frame), n_(n) {
    runT_[1] = 0.0f;  // n is never 0; this only quiets the compiler
    runL_[1] = 0;
  }

  void Sweep(const float* events, const int32_t* tags, double* best, float* bestT, int32_t* bestL,
             int32_t* bestH) {
    best_ = *best;
    bestT_ = *bestT;
    bestL_ = *bestL;
    bestH_ = *bestH;
    const int32_t total = 2 * n_;
    // Slot 0 is the run still open from the block before (none at first).
    int32_t open = 0;
    float previous = __builtin_nanf("");  // equal to nothing: the first event opens a run
    int32_t starts = 0, ends = 0;
    for (int32_t from = 0; from < total; from += kBlock) {
      const int32_t to = from + kBlock < total ? from + kBlock : total;
      for (int32_t k = from; k < to; ++k) {
        const float value = events[k];
        // Written every time, right once the run closes.
        runH_[open] = n_ - ends;
        const int32_t opens = !(value == previous);
        runT_[open + 1] = value;
        runL_[open + 1] = starts;
        open += opens;
        const int32_t isEnd = static_cast<int32_t>(static_cast<uint32_t>(tags[k]) >> 31);
        starts += 1 - isEnd;
        ends += isEnd;
        previous = value;
      }
      Weigh(1, open);  // the runs closed in this block
      runT_[1] = runT_[open];
      runL_[1] = runL_[open];
      open = open > 0 ? 1 : 0;
    }
    runH_[open] = n_ - ends;  // the last run is the last end's, with h 0
    Weigh(1, open + 1);
    *best = best_;
    *bestT = bestT_;
    *bestL = bestL_;
    *bestH = bestH_;
  }

 private:
  static constexpr int32_t kBlock = 256;

  // Runs [first, end) in order; among equal costs the lowest plane stays.
  // The costs are worked out two at a time, each lane doing the very
  // operations of PlaneCost, then compared in order.
  void Weigh(int32_t first, int32_t end) {
    alignas(16) double costs[kBlock + 2];
    const __m128 low = _mm_set1_ps(frame_.low), high = _mm_set1_ps(frame_.high);
    const __m128d r = _mm_set1_pd(frame_.r);
    int32_t k = first;
    for (; k + 1 < end; k += 2) {
      const __m128 t = _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(runT_ + k)));
      const __m128i l = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(runL_ + k));
      const __m128i h = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(runH_ + k));
      const __m128d below = _mm_add_pd(_mm_cvtps_pd(_mm_sub_ps(t, low)), r);
      const __m128d above = _mm_add_pd(_mm_cvtps_pd(_mm_sub_ps(high, t)), r);
      const __m128d cost = _mm_add_pd(_mm_mul_pd(_mm_cvtps_pd(_mm_cvtepi32_ps(l)), below),
                                      _mm_mul_pd(_mm_cvtps_pd(_mm_cvtepi32_ps(h)), above));
      _mm_store_pd(costs + (k - first), cost);
    }
    if (k < end) costs[k - first] = PlaneCost(frame_, runT_[k], runL_[k], runH_[k]);
    for (int32_t q = first; q < end; ++q) {
      if (costs[q - first] < best_) {
        best_ = costs[q - first];
        bestT_ = runT_[q];
        bestL_ = runL_[q];
        bestH_ = runH_[q];
      }
    }
  }

  const SweepFrame& frame_;
  const int32_t n_;
  double best_;
  float bestT_;
  int32_t bestL_, bestH_;
  float runT_[kBlock + 2];
  int32_t runL_[kBlock + 2], runH_[kBlock + 2];
};

}  // namespace

bool localTakeEndCut(const KDSweepInput& in, float first, float last, qelrSplitDecision* result) {
  // Without flat polygons both cuts leave flatSide 1; with them the high
  // cut puts flats on the plane (there are none: the gap is empty) left.
  return TakeEndCut(MakeFrame(in), in.n + in.f, first, last, 1, in.f == 0 ? 1 : 0, result);
}

void localSweep(const KDSweepInput& in, qelrSplitDecision* result) {
  const SweepFrame frame = MakeFrame(in);
  const float* lows = in.lows;
  const float* highs = in.highs;
  const int32_t n = in.n;

  if (TakeEndCut(frame, n, lows[0], highs[n - 1], 1, 1, result)) return;

  // Visit every distinct event value in ascending order.  A polygon that
  // starts at t is above the plane and one that ends at t is below it; among
  // equal costs the lowest plane stays.  i and j count the starts and the
  // ends at or below the plane.
  double best = DBL_MAX;
  float bestT = lows[0];
  int32_t bestL = 0, bestH = n;
  float t = lows[0];
  int32_t l = 0, h = n;
  int32_t i = 0, j = SkipUpTo(highs, 0, n, t);
  for (;;) {
    const double cost = PlaneCost(frame, t, l, h);
    if (cost < best) {
      best = cost;
      bestT = t;
      bestL = l;
      bestH = h;
    }
    i = SkipUpTo(lows, i, n, t);
    if (j == n) break;  // the last plane was the last end, with h 0
    t = (i < n && lows[i] <= highs[j]) ? lows[i] : highs[j];
    if (t != t) break;  // a NaN event would never be passed
    l = i;
    j = SkipUpTo(highs, j, n, t);
    h = n - j;
  }
  Take(result, bestT, bestL, bestH, 1);
  result->cost = static_cast<double>(frame.s) * best;
}

void localSweepFlats(const KDSweepInput& in, qelrSplitDecision* result) {
  const SweepFrame frame = MakeFrame(in);
  const float* lows = in.lows;
  const float* highs = in.highs;
  const float* flats = in.flats;
  const int32_t n = in.n, f = in.f, m = n + f;

  // With no sloped polygon the box bounds stand in for the first start and
  // the last end.
  const float firstLow = n > 0 ? lows[0] : in.low;
  const float lastHigh = n > 0 ? highs[n - 1] : in.high;
  const float first = firstLow <= flats[0] ? firstLow : flats[0];
  const float last = lastHigh >= flats[f - 1] ? lastHigh : flats[f - 1];

  Take(result, first, 0, m, 1);
  if (TakeEndCut(frame, m, first, last, 1, 0, result)) return;

  // Flat polygons lying on a face of the box: a plane on that face that
  // keeps them alone on the outer side earns the empty-space bonus.
  double best = DBL_MAX;
  if (flats[0] == in.low) {
    int32_t k = RunAt(flats, 0, f, in.low);
    double cost = kKDEmptySpaceBonus * PlaneCost(frame, in.low, k, m - k);
    if (cost < best) {
      best = cost;
      Take(result, in.low, k, m - k, 0);
    }
  }
  if (flats[f - 1] == in.high) {
    int32_t k = 0;
    while (k < f && flats[f - 1 - k] == in.high) ++k;
    double cost = kKDEmptySpaceBonus * PlaneCost(frame, in.high, m - k, k);
    if (cost < best) {
      best = cost;
      Take(result, in.high, m - k, k, 1);
    }
  }

  // Sweep the three lists together.  At each plane the flat polygons on it
  // are tried on the high side, then on the low side.  Flats beyond the last
  // end are never planes; with no sloped polygon only the first flat is.
  // i, j and g count the starts, ends and flats at or below the plane.
  float bestT = first;
  int32_t bestL = 0, bestH = m, bestSide = 1;
  bool swept = false;
  float t = (n > 0 && lows[0] <= flats[0]) ? lows[0] : flats[0];
  int32_t l = 0, h = m;
  int32_t i = 0, j = SkipUpTo(highs, 0, n, t), g = 0;
  for (;;) {
    const int32_t k = RunAt(flats, g, f, t);
    double cost = PlaneCost(frame, t, l, h);
    if (cost < best) {
      best = cost;
      bestT = t, bestL = l, bestH = h, bestSide = 1;
      swept = true;
    }
    if (k > 0) {
      cost = PlaneCost(frame, t, l + k, h - k);
      if (cost < best) {
        best = cost;
        bestT = t, bestL = l + k, bestH = h - k, bestSide = 0;
        swept = true;
      }
    }
    i = SkipUpTo(lows, i, n, t);
    g = SkipUpTo(flats, g, f, t);
    if (j == n) break;
    t = highs[j];
    if (i < n && lows[i] < t) t = lows[i];
    if (g < f && flats[g] < t) t = flats[g];
    if (t != t) break;  // a NaN event would never be passed
    l = i + g;
    j = SkipUpTo(highs, j, n, t);
    h = m - g - j;
  }
  // A plane of the sweep replaces the face planes only where it is cheaper.
  if (swept) Take(result, bestT, bestL, bestH, bestSide);
  result->cost = static_cast<double>(frame.s) * best;
}

void localSweepEvents(const KDSweepInput& in, const float* events, const int32_t* tags,
                      qelrSplitDecision* result) {
  const SweepFrame frame = MakeFrame(in);
  const int32_t n = in.n;
  // The first event is the first start and the last the last end.
  if (TakeEndCut(frame, n, events[0], events[2 * n - 1], 1, 1, result)) return;
  double best = DBL_MAX;
  float bestT = events[0];
  int32_t bestL = 0, bestH = n;
  EventRuns(frame, n).Sweep(events, tags, &best, &bestT, &bestL, &bestH);
  Take(result, bestT, bestL, bestH, 1);
  result->cost = static_cast<double>(frame.s) * best;
}
