// The ray-triangle test on the projection record of a triangle: for one ray,
// and for many rays from the eye in vectors of lanes (lanes types SseLanes,
// Avx2Lanes, Avx512Lanes), in the association of the single-ray path or of
// the packet path.
//
// All forms compute the same quantities: D, the ray direction against the
// plane; T, the origin's distance to the plane in the same units; and P, Q,
// R, the three barycentric numerators.  The ray parameter of the hit is
// T / D and the barycentric coordinates are P / D and Q / D.  The two paths
// associate D and T differently on purpose; each keeps its own order.
// What counts as an accepted hit differs between the ray functions, so it
// is left to the callers.
#pragma once

#include <cstdint>
#include <emmintrin.h>

#include "qelr.h"

struct TriangleAxes {
  int32_t k, u, w;  // dominant axis, then the two axes of the projection
};

// A record whose `axes` word is 0 marks a degenerate triangle.
inline bool IsUsableTriangle(const qelrTriangleAccel& accel) { return accel.axes != 0; }

inline TriangleAxes ReadTriangleAxes(const qelrTriangleAccel& accel) {
  const uint32_t axes = accel.axes;
  return TriangleAxes{static_cast<int32_t>((axes >> 4) & 3), static_cast<int32_t>((axes >> 2) & 3),
                      static_cast<int32_t>(axes & 3)};
}

// ---- Single ray ----

struct TriangleCrossing {
  float D, T, P, Q, R;
};

inline TriangleCrossing CrossTriangle(const qelrTriangleAccel& a, const float origin[3],
                                      const float direction[3]) {
  const TriangleAxes ax = ReadTriangleAxes(a);
  TriangleCrossing c;
  c.D = ((a.normalU * direction[ax.u]) + (a.normalW * direction[ax.w])) + direction[ax.k];
  const float pu = a.pointU - origin[ax.u];
  const float pw = a.pointW - origin[ax.w];
  c.T = ((a.pointK + (a.normalU * pu)) + (a.normalW * pw)) - origin[ax.k];
  const float xu = (direction[ax.u] * c.T) - (pu * c.D);
  const float xw = (direction[ax.w] * c.T) - (pw * c.D);
  c.P = (a.edge2W * xu) - (a.edge2U * xw);
  c.Q = (a.edge1U * xw) - (a.edge1W * xu);
  c.R = (c.D - c.P) - c.Q;
  return c;
}

// P, Q and R all of one sign (zeros allowed), so the sign of D needs no
// test of its own.  A NaN fails.
inline bool CrossesInside(const TriangleCrossing& c) {
  return c.R * c.P >= 0.0f && c.P * c.Q >= 0.0f && c.R * c.Q >= 0.0f;
}

// ---- Many rays from the eye, in lanes ----

// The triangle's fields spread over the lanes, with what depends on the
// triangle and the eye alone: every ray starts at the eye, so pu, pw and T
// are the same in all lanes and are formed once, by the lanes' operations.
template <class L>
struct TriangleFromEye {
  using V = typename L::V;
  TriangleAxes ax;
  V T, pu, pw;
  V normalU, normalW, edge1U, edge1W, edge2U, edge2W;
};

namespace triangle_test_detail {

template <class L>
inline TriangleFromEye<L> Spread(const qelrTriangleAccel& a, TriangleAxes ax, float T, float pu, float pw) {
  return TriangleFromEye<L>{ax,
                            L::Set1(T),
                            L::Set1(pu),
                            L::Set1(pw),
                            L::Broadcast(a.normalU),
                            L::Broadcast(a.normalW),
                            L::Broadcast(a.edge1U),
                            L::Broadcast(a.edge1W),
                            L::Broadcast(a.edge2U),
                            L::Broadcast(a.edge2W)};
}

}  // namespace triangle_test_detail

// T = ((pointK + (normalU * pu)) + (normalW * pw)) - o[k], as the single ray
// forms it.
template <class L>
inline TriangleFromEye<L> SingleRayTriangle(const qelrTriangleAccel& a, const float eye[3]) {
  const TriangleAxes ax = ReadTriangleAxes(a);
  const float pu = a.pointU - eye[ax.u], pw = a.pointW - eye[ax.w];
  const float T = ((a.pointK + (a.normalU * pu)) + (a.normalW * pw)) - eye[ax.k];
  return triangle_test_detail::Spread<L>(a, ax, T, pu, pw);
}

// T = ((normalU * pu) + (pointK - o[k])) + (normalW * pw), as the packet
// kernel forms it.
template <class L>
inline TriangleFromEye<L> PacketTriangle(const qelrTriangleAccel& a, const float eye[3]) {
  const TriangleAxes ax = ReadTriangleAxes(a);
  const float pu = a.pointU - eye[ax.u], pw = a.pointW - eye[ax.w];
  const float T = ((a.normalU * pu) + (a.pointK - eye[ax.k])) + (a.normalW * pw);
  return triangle_test_detail::Spread<L>(a, ax, T, pu, pw);
}

template <class L>
struct LaneCrossing {
  typename L::V D, P, Q, R;
};

// P, Q and R of each lane from its D.
template <class L>
inline LaneCrossing<L> CrossFromD(const TriangleFromEye<L>& a, const typename L::V direction[3], typename L::V D) {
  using V = typename L::V;
  const V du = direction[a.ax.u], dw = direction[a.ax.w];
  const V xu = L::Sub(L::Mul(du, a.T), L::Mul(a.pu, D));
  const V xw = L::Sub(L::Mul(dw, a.T), L::Mul(a.pw, D));
  LaneCrossing<L> c;
  c.D = D;
  c.P = L::Sub(L::Mul(a.edge2W, xu), L::Mul(a.edge2U, xw));
  c.Q = L::Sub(L::Mul(a.edge1U, xw), L::Mul(a.edge1W, xu));
  c.R = L::Sub(L::Sub(D, c.P), c.Q);
  return c;
}

// D = ((normalU * d[u]) + (normalW * d[w])) + d[k], as the single ray forms it.
template <class L>
inline LaneCrossing<L> CrossTriangleSingleLanes(const TriangleFromEye<L>& a, const typename L::V direction[3]) {
  const typename L::V D = L::Add(L::Add(L::Mul(a.normalU, direction[a.ax.u]), L::Mul(a.normalW, direction[a.ax.w])),
                                 direction[a.ax.k]);
  return CrossFromD(a, direction, D);
}

// D = ((normalU * d[u]) + d[k]) + (normalW * d[w]), as the packet kernel forms it.
template <class L>
inline LaneCrossing<L> CrossTrianglePacketLanes(const TriangleFromEye<L>& a, const typename L::V direction[3]) {
  const typename L::V D = L::Add(L::Add(L::Mul(a.normalU, direction[a.ax.u]), direction[a.ax.k]),
                                 L::Mul(a.normalW, direction[a.ax.w]));
  return CrossFromD(a, direction, D);
}
