// A plain model of the split search, written from its definition rather
// than from the library's merge loops: every candidate plane is listed,
// and the counts on each side are found by counting, not by stepping.
#pragma once

#include <algorithm>
#include <array>
#include <cfloat>
#include <cstdint>
#include <vector>

#include "kdtree/kd_split_search.h"

namespace ref {

using Point = std::array<float, 3>;
using Polygon = std::vector<Point>;

struct AxisEvents {
  std::vector<float> lows, highs, flats;
};

inline AxisEvents Gather(const std::vector<Polygon>& polygons, int axis) {
  AxisEvents e;
  for (const Polygon& p : polygons) {
    float least = p[0][axis], greatest = p[0][axis];
    for (const Point& v : p) least = std::min(least, v[axis]), greatest = std::max(greatest, v[axis]);
    if (least == greatest) {
      e.flats.push_back(least);
    } else {
      e.lows.push_back(least);
      e.highs.push_back(greatest);
    }
  }
  std::sort(e.lows.begin(), e.lows.end());
  std::sort(e.highs.begin(), e.highs.end());
  std::sort(e.flats.begin(), e.flats.end());
  return e;
}

template <typename Pred>
int32_t CountIf(const std::vector<float>& v, Pred pred) {
  return int32_t(std::count_if(v.begin(), v.end(), pred));
}

struct Sweeper {
  float low, high, s;
  double r;
  double Cost(float t, int32_t l, int32_t h) const {
    return double(float(l)) * (double(t - low) + r) + double(float(h)) * (double(high - t) + r);
  }
};

inline void Set(qelrSplitDecision& d, float t, int32_t l, int32_t h, int32_t side) {
  d.position = t, d.leftCount = l, d.rightCount = h, d.flatSide = side;
}

// One axis; `d.cost` holds the leaf cost on entry.
inline void EvaluateAxis(const std::vector<Polygon>& polygons, const float box[6], int axis,
                         qelrSplitDecision& d) {
  const float low = box[axis], high = box[axis + 3];
  if (!(high - low > 1e-5f)) return;
  const int a1 = (axis + 1) % 3, a2 = (axis + 2) % 3;
  const float e1 = box[a1 + 3] - box[a1], e2 = box[a2 + 3] - box[a2];
  if (e1 <= 1e-5f && e2 <= 1e-5f) return;
  AxisEvents e = Gather(polygons, axis);
  const int32_t n = int32_t(e.lows.size()), f = int32_t(e.flats.size()), m = n + f;

  Sweeper w{low, high, e1 + e2, 0.0};
  const float product = e1 * e2;
  if (double(product) >= 1e-9) w.r = double(product) / double(w.s);

  // Empty ends.
  float first, last;
  if (f == 0) {
    first = e.lows[0], last = e.highs[n - 1];
  } else {
    first = std::min(n ? e.lows[0] : low, e.flats[0]);
    last = std::max(n ? e.highs[n - 1] : high, e.flats[f - 1]);
  }
  const float gap = (high - low) * 0.1f;
  bool cut = false;
  double best = 0;
  if (first - low > gap) {
    best = double(float(m)) * (double(high - first) + w.r);
    Set(d, first, 0, m, 1);
    cut = true;
  }
  if (high - last > gap) {
    double c = double(float(m)) * (double(last - low) + w.r);
    if (!cut || c < best) {
      best = c;
      Set(d, last, m, 0, f == 0 ? 1 : 0);
      cut = true;
    }
  }
  if (cut) {
    d.cost = double(w.s) * 0.699999988079071 * best;
    return;
  }

  best = DBL_MAX;
  if (f > 0) {
    if (e.flats[0] == low) {
      int32_t k = CountIf(e.flats, [&](float x) { return x == low; });
      double c = 0.699999988079071 * w.Cost(low, k, m - k);
      if (c < best) best = c, Set(d, low, k, m - k, 0);
    }
    if (e.flats[f - 1] == high) {
      int32_t k = CountIf(e.flats, [&](float x) { return x == high; });
      double c = 0.699999988079071 * w.Cost(high, m - k, k);
      if (c < best) best = c, Set(d, high, m - k, k, 1);
    }
  }

  // Every plane: each distinct event value up to the last end, or only the
  // first flat when nothing is sloped.
  std::vector<float> planes;
  if (n == 0) {
    planes.push_back(e.flats[0]);
  } else {
    for (float v : e.lows) planes.push_back(v);
    for (float v : e.highs) planes.push_back(v);
    for (float v : e.flats)
      if (v <= e.highs[n - 1]) planes.push_back(v);
    std::sort(planes.begin(), planes.end());
    planes.erase(std::unique(planes.begin(), planes.end()), planes.end());
  }
  for (float t : planes) {
    auto below = [t](float x) { return x < t; };
    const int32_t flatsBelow = CountIf(e.flats, below);
    const int32_t l = CountIf(e.lows, below) + flatsBelow;
    const int32_t h = m - CountIf(e.highs, [t](float x) { return x <= t; }) - flatsBelow;
    const int32_t k = CountIf(e.flats, [t](float x) { return x == t; });
    double c = w.Cost(t, l, h);
    if (c < best) best = c, Set(d, t, l, h, 1);
    if (k > 0) {
      c = w.Cost(t, l + k, h - k);
      if (c < best) best = c, Set(d, t, l + k, h - k, 0);
    }
  }
  d.cost = double(w.s) * best;
}

inline qelrSplitDecision Decide(const std::vector<Polygon>& polygons, const float box[6],
                                float qualityLevel) {
  const int32_t count = int32_t(polygons.size());
  const float qualityScale = float((10.0 - double(qualityLevel) * 9.0) * 0.5057569742202759);
  const double dx = box[3] - box[0], dy = box[4] - box[1], dz = box[5] - box[2];
  const double leafCost = (dx * (dy + dz) + dy * dz) * double(count);
  const double threshold = std::max(double(1e-5f), double(qualityScale) * leafCost);

  qelrSplitDecision c[3];
  for (int a = 0; a < 3; ++a) {
    c[a] = qelrSplitDecision{leafCost, 0.0f, a, 0, 0, 0};
    EvaluateAxis(polygons, box, a, c[a]);
  }
  int axis;
  if (c[1].cost <= c[0].cost)
    axis = c[1].cost < c[2].cost ? 1 : 2;
  else
    axis = c[2].cost <= c[0].cost ? 2 : 0;
  qelrSplitDecision d{leafCost, 0.0f, -1, 0, 0, 0};
  if (double(count) * (leafCost - c[axis].cost) > threshold) {
    d = c[axis];
    d.axis = axis;
  }
  return d;
}

}  // namespace ref
