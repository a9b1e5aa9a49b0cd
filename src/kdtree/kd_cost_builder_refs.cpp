// The root's box and the first references: one per triangle, or with a
// clip box one per triangle that keeps an area inside it.
#include <cstddef>
#include <cstring>

#include "frame/qelr_internal.h"
#include "kdtree/kd_cost_builder.h"

namespace {

// The bounding box of all vertices, used or not.  With no vertex the first
// point of the array is read all the same.
void VertexBounds(const float* vertices, int32_t vertexCount, float box[6]) {
  for (int a = 0; a < 3; ++a) box[a] = box[a + 3] = vertices[a];
  for (int32_t v = 1; v < vertexCount; ++v) {
    const float* point = vertices + 3 * static_cast<size_t>(v);
    for (int a = 0; a < 3; ++a) {
      if (point[a] < box[a]) box[a] = point[a];
      if (point[a] > box[a + 3]) box[a + 3] = point[a];
    }
  }
}

inline const float* Corner(const float* vertices, const int32_t* triangles, int32_t t, int k) {
  return vertices + 3 * static_cast<ptrdiff_t>(triangles[4 * static_cast<ptrdiff_t>(t) + k]);
}

inline bool Fits(const KDPool<KDTriangleRef>& pool, uint64_t records) {
  return (static_cast<uint64_t>(pool.cursor) + records) * 12u < pool.chargedSize;
}

qelStatus WholeTriangles(KDCostContext* c, const float* vertices, const int32_t* triangles,
                         int32_t triangleCount) {
  KDPool<KDTriangleRef>& pool = c->refPool;
  if (!Fits(pool, static_cast<uint32_t>(triangleCount))) return StatusAllocFailed;
  KDTriangleRef* refs = pool.base + pool.cursor;
  for (int32_t t = 0; t < triangleCount; ++t) {
    qelStatus status = StatusOk;
    const float** polygon = localKDTakePolygon(c, 3, &status);
    if (polygon == nullptr) return status;
    for (int k = 0; k < 3; ++k) polygon[k] = Corner(vertices, triangles, t, k);
    KDSetReference(&refs[t], (static_cast<uint32_t>(t) << kKDIndexShift) | 3u, polygon, 3);
  }
  pool.cursor += static_cast<uint32_t>(triangleCount);
  return StatusOk;
}

qelStatus ClippedTriangles(KDCostContext* c, const float* vertices, const int32_t* triangles,
                           int32_t triangleCount, const float clipBox[6]) {
  KDPool<KDTriangleRef>& pool = c->refPool;
  const float* polygon[kKDMaxPolygon];
  KDPoint made[kKDClipRoom];
  for (int32_t t = 0; t < triangleCount; ++t) {
    const float* corners[3] = {Corner(vertices, triangles, t, 0), Corner(vertices, triangles, t, 1),
                               Corner(vertices, triangles, t, 2)};
    const int32_t count = localKDClipTriangle(corners, clipBox, polygon, made);
    if (count < 3) continue;

    qelStatus status = StatusOk;
    const float** array = localKDTakePolygon(c, count, &status);
    if (array == nullptr) return status;
    // Points of the caller's array are referred to where they are; points
    // made by clipping move to the clip pool.
    for (int32_t k = 0; k < count; ++k) {
      const float* point = polygon[k];
      if (point < c->vertexBase || point >= c->vertexEnd) {
        float* copy = localKDNewPoint(c);
        if (copy == nullptr) return StatusAllocFailed;
        std::memcpy(copy, point, 3 * sizeof(float));
        point = copy;
      }
      array[k] = point;
    }
    if (!Fits(pool, 1)) return StatusAllocFailed;
    KDSetReference(&pool.base[pool.cursor++],
                   (static_cast<uint32_t>(t) << kKDIndexShift) | static_cast<uint32_t>(count), array, count);
  }
  return StatusOk;
}

}  // namespace

qelStatus localKDFirstReferences(KDCostContext* context, const float* vertices,
                                 const int32_t* triangles, int32_t vertexCount,
                                 int32_t triangleCount, const float* clipBox) {
  context->vertexBase = vertices;
  context->vertexEnd = vertices + 3 * static_cast<size_t>(vertexCount);
  context->triangleBase = triangles;
  context->triangleEnd = triangles + 4 * static_cast<size_t>(triangleCount);
  const uint32_t start = context->refPool.cursor;
  qelStatus status;
  if (clipBox == nullptr) {
    VertexBounds(vertices, vertexCount, context->rootBox);
    status = WholeTriangles(context, vertices, triangles, triangleCount);
  } else {
    std::memcpy(context->rootBox, clipBox, 6 * sizeof(float));
    status = ClippedTriangles(context, vertices, triangles, triangleCount, clipBox);
  }
  context->rootCount = static_cast<int32_t>(context->refPool.cursor - start);
  return status;
}
