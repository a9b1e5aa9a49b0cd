// Clipping: a triangle to the scene's clip box, and a reference in two at a
// split plane.  New points are computed in double precision from the edge's
// end points and rounded once; the coordinate on the plane's axis is the
// plane itself, exactly, so that later comparisons with it are exact too.
#include "frame/qelr_internal.h"
#include "kdtree/kd_cost_builder.h"

namespace {

// Working room for polygons while they are clipped.  Geometry bounds a
// clipped triangle to 9 points, but rounding (or NaN coordinates) must not
// be able to run past these.
constexpr int kClipRoom = kKDClipRoom;
constexpr int kCutRoom = 2 * kKDMaxPolygon + 4;

// One axis: keeps the vertices inside [low, high] and adds the crossings of
// each edge with the two planes, in the order the edge meets them.
int ClipAxis(const float* const* in, int count, int axis, float low, float high,
             const float** out, KDPoint* made, int* madeCount) {
  int kept = 0;
  auto cross = [&](const float* a, const float* b, float plane) {
    float* point = made[(*madeCount)++].xyz;
    localKDEdgePoint(a, b, axis, plane, point);
    out[kept++] = point;
  };
  for (int i = 0; i < count; ++i) {
    const float* a = in[i];
    const float* b = in[i + 1 < count ? i + 1 : 0];
    const float p = a[axis], q = b[axis];
    if (p >= low && p <= high) out[kept++] = a;
    if (q > p) {
      if (p < low && low < q) cross(a, b, low);
      if (p < high && high < q) cross(a, b, high);
    } else {
      if (p > high && high > q) cross(a, b, high);
      if (p > low && low > q) cross(a, b, low);
    }
  }
  return kept;
}

inline int Next(int i, int n) { return i + 1 < n ? i + 1 : 0; }
inline int Prev(int i, int n) { return i > 0 ? i - 1 : n - 1; }

}  // namespace

void localKDEdgePoint(const float* a, const float* b, int axis, float plane, float out[3]) {
  const double t = (static_cast<double>(plane) - static_cast<double>(a[axis])) /
                   (static_cast<double>(b[axis]) - static_cast<double>(a[axis]));
  for (int c = 0; c < 3; ++c) {
    if (c == axis) continue;
    const double from = a[c];
    out[c] = static_cast<float>(from + (static_cast<double>(b[c]) - from) * t);
  }
  out[axis] = plane;
}

int32_t localKDClipTriangle(const float* const corners[3], const float box[6],
                            const float* polygon[kKDMaxPolygon], KDPoint made[kClipRoom]) {
  const float* first[kClipRoom];
  const float* second[kClipRoom];
  const float** in = first;
  const float** out = second;
  for (int k = 0; k < 3; ++k) in[k] = corners[k];
  int count = 3;
  int madeCount = 0;
  for (int axis = 0; axis < 3; ++axis) {
    count = ClipAxis(in, count, axis, box[axis], box[axis + 3], out, made, &madeCount);
    if (count < 3) return count;  // nothing with an area is left: dropped
    const float** swap = in;
    in = out;
    out = swap;
  }
  if (count > kKDMaxPolygon) return 0;  // not representable; never reached by real geometry
  for (int k = 0; k < count; ++k) polygon[k] = in[k];
  return count;
}

// Walks the polygon forward from its least vertex on the axis: the chain
// below the plane goes left, the plane is crossed at x, everything up to
// the greatest vertex and the chain above go right, the plane is crossed
// back at y, and the rest goes left.  A vertex exactly on the plane is the
// crossing itself, shared by both parts.
qelStatus localKDCutReference(KDCostContext* context, const KDTriangleRef& ref, int axis,
                              float position, KDTriangleRef* left, KDTriangleRef* right) {
  const int32_t n = KDRefVertexCount(ref);
  const float** p = ref.polygon;
  const int32_t least = KDLeastVertex(ref.extremes, axis);
  const int32_t greatest = KDGreatestVertex(ref.extremes, axis);
  const float* lower[kCutRoom];
  const float* upper[kCutRoom];
  int32_t nl = 0, nu = 0;

  auto crossing = [&](int32_t i, const float** point) -> qelStatus {
    if (p[i][axis] == position) {
      *point = p[i];
      return StatusOk;
    }
    float* made = localKDNewPoint(context);
    if (made == nullptr) return StatusAllocFailed;
    localKDEdgePoint(p[Prev(i, n)], p[i], axis, position, made);
    *point = made;
    return StatusOk;
  };

  int32_t i = least;
  lower[nl++] = p[i];
  i = Next(i, n);
  for (int32_t steps = 0; steps < n && p[i][axis] < position; ++steps) {
    lower[nl++] = p[i];
    i = Next(i, n);
  }
  const float* x;
  qelStatus status = crossing(i, &x);
  if (status != StatusOk) return status;
  if (x == p[i]) i = Next(i, n);
  lower[nl++] = x;
  upper[nu++] = x;

  for (int32_t steps = 0; steps < n; ++steps) {
    upper[nu++] = p[i];
    const bool wasGreatest = i == greatest;
    i = Next(i, n);
    if (wasGreatest) break;
  }
  for (int32_t steps = 0; steps < n && p[i][axis] > position; ++steps) {
    upper[nu++] = p[i];
    i = Next(i, n);
  }
  const float* y;
  status = crossing(i, &y);
  if (status != StatusOk) return status;
  if (y == p[i]) i = Next(i, n);
  lower[nl++] = y;
  upper[nu++] = y;
  for (int32_t steps = 0; steps < n && i != least; ++steps) {
    lower[nl++] = p[i];
    i = Next(i, n);
  }
  // Only NaN coordinates can make a part too large for its 5-bit count.
  if (nl > kKDMaxPolygon || nu > kKDMaxPolygon) return StatusBuildMismatch;

  const float** lowerArray = localKDTakePolygon(context, nl, &status);
  if (lowerArray == nullptr) return status;
  const float** upperArray = localKDTakePolygon(context, nu, &status);
  if (upperArray == nullptr) return status;
  for (int32_t k = 0; k < nl; ++k) lowerArray[k] = lower[k];
  for (int32_t k = 0; k < nu; ++k) upperArray[k] = upper[k];

  const uint32_t index = ref.key & ~kKDVertexCountMask;
  KDSetReference(left, index | static_cast<uint32_t>(nl), lowerArray, nl);
  KDSetReference(right, index | static_cast<uint32_t>(nu), upperArray, nu);
  localKDGivePolygon(context, p, n);
  return StatusOk;
}
