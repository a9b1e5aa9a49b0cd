// Polygons held the way the builder holds them (points at stable addresses,
// pointer arrays, references, twelve event arrays) for feeding the split
// search directly, and an exact comparison of two decisions.
#pragma once

#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "kdtree/kd_split_search.h"
#include "reference_split_search.h"
#include "test_util.h"

struct PolygonSoup {
  std::deque<ref::Point> points;
  std::vector<std::unique_ptr<const float*[]>> arrays;
  std::vector<KDTriangleRef> refs;
  std::vector<ref::Polygon> polygons;
  std::vector<float> eventStorage;
  KDEventArrays events;

  void Add(const ref::Polygon& polygon) {
    const int32_t n = int32_t(polygon.size());
    arrays.emplace_back(new const float*[n]);
    for (int32_t v = 0; v < n; ++v) {
      points.push_back(polygon[v]);
      arrays.back()[v] = points.back().data();
    }
    KDTriangleRef r;
    KDSetReference(&r, (uint32_t(refs.size()) << kKDIndexShift) | uint32_t(n), arrays.back().get(), n);
    refs.push_back(r);
    polygons.push_back(polygon);
  }

  // Filled with junk so that nothing can rely on them being cleared.
  KDEventArrays* Events() {
    const size_t n = refs.size() + 1;
    eventStorage.assign(12 * n, -12345.0f);
    for (int a = 0; a < 3; ++a)
      for (int k = 0; k < 4; ++k) events.axis[a][k] = eventStorage.data() + (a * 4 + k) * n;
    localForgetSortedEvents(&events);
    events.sorted = nullptr;
    return &events;
  }

  int32_t Count() const { return int32_t(refs.size()); }
};

inline std::string Describe(const qelrSplitDecision& d) {
  char text[160];
  std::snprintf(text, sizeof text, "axis %d cost %.17g pos %s left %d right %d side %d", d.axis,
                d.cost, qt::Show(d.position).c_str(), d.leftCount, d.rightCount, d.flatSide);
  return text;
}

// Bit for bit; a leaf (axis -1) carries nothing else.
inline ::testing::AssertionResult SameDecision(const qelrSplitDecision& want, const qelrSplitDecision& got) {
  const bool same = want.axis == got.axis &&
                    (want.axis < 0 || (std::memcmp(&want.cost, &got.cost, 8) == 0 &&
                                       qt::Bits(want.position) == qt::Bits(got.position) &&
                                       want.leftCount == got.leftCount && want.rightCount == got.rightCount &&
                                       want.flatSide == got.flatSide));
  if (same) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "\n want " << Describe(want) << "\n got  " << Describe(got);
}
