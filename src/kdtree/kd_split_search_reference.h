// The triangle reference that the cost-driven builder hands around and the
// split search reads: a triangle, or the part of it that lies inside a node,
// as a convex polygon of 3 to 9 points.
#pragma once

#include <cstdint>

struct KDTriangleRef {
  // Triangle index shifted left by 5, with the polygon's vertex count in
  // bits 0-4.  The index is thus limited to 26 bits; that is not checked.
  uint32_t key;
  // Six 5-bit vertex positions in the polygon: bits 0-14 the vertex with the
  // greatest x, y, z, bits 15-29 the one with the least x, y, z.
  uint32_t extremes;
  // `key & 31` points in cyclic order, each three floats, in the caller's
  // vertex array or in the builder's clip pool.
  const float** polygon;
  // The coordinates `extremes` points at: least x, y, z, then greatest x,
  // y, z.  Kept beside it so that the search reads them without going
  // through the polygon's points.
  float bounds[6];
};

constexpr uint32_t kKDVertexCountMask = 31;
constexpr int kKDIndexShift = 5;

inline int32_t KDRefVertexCount(const KDTriangleRef& ref) {
  return static_cast<int32_t>(ref.key & kKDVertexCountMask);
}

inline int32_t KDGreatestVertex(uint32_t extremes, int axis) {
  return static_cast<int32_t>((extremes >> (5 * axis)) & 31u);
}

inline int32_t KDLeastVertex(uint32_t extremes, int axis) {
  return static_cast<int32_t>((extremes >> (15 + 5 * axis)) & 31u);
}

inline float KDRefLeast(const KDTriangleRef& ref, int axis) { return ref.bounds[axis]; }
inline float KDRefGreatest(const KDTriangleRef& ref, int axis) { return ref.bounds[axis + 3]; }

// The extremes word of a polygon.  Among vertices with equal coordinates
// the earliest one wins, for the least as for the greatest, so the
// comparisons are strict.
inline uint32_t KDPolygonExtremes(const float* const* points, int32_t count) {
  uint32_t word = 0;
  for (int axis = 0; axis < 3; ++axis) {
    int32_t least = 0, greatest = 0;
    for (int32_t v = 1; v < count; ++v) {
      float c = points[v][axis];
      if (c < points[least][axis]) least = v;
      if (c > points[greatest][axis]) greatest = v;
    }
    word |= static_cast<uint32_t>(greatest) << (5 * axis);
    word |= static_cast<uint32_t>(least) << (15 + 5 * axis);
  }
  return word;
}

// Fills a reference for `polygon` of `count` points.
inline void KDSetReference(KDTriangleRef* ref, uint32_t key, const float** polygon, int32_t count) {
  ref->key = key;
  ref->polygon = polygon;
  ref->extremes = KDPolygonExtremes(polygon, count);
  for (int axis = 0; axis < 3; ++axis) {
    ref->bounds[axis] = polygon[KDLeastVertex(ref->extremes, axis)][axis];
    ref->bounds[axis + 3] = polygon[KDGreatestVertex(ref->extremes, axis)][axis];
  }
}
