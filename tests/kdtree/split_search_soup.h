// Polygons held the way the builder holds them, for feeding the split
// search directly: points at stable addresses, pointer arrays, references,
// and the twelve event arrays.
#pragma once

#include <deque>
#include <memory>
#include <vector>

#include "kdtree/kd_split_search.h"
#include "reference_split_search.h"

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

  // Event arrays with room for every reference, filled with junk so that
  // nothing can rely on them being cleared.
  KDEventArrays* Events() {
    const size_t n = refs.size() + 1;
    eventStorage.assign(12 * n, -12345.0f);
    for (int a = 0; a < 3; ++a)
      for (int k = 0; k < 4; ++k) events.axis[a][k] = eventStorage.data() + (a * 4 + k) * n;
    localForgetSortedEvents(&events);
    return &events;
  }

  int32_t Count() const { return int32_t(refs.size()); }
};
