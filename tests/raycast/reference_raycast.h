// Plain scalar models of the eye-ray functions, written from the documented
// operation order: the eye directions in both forms, the single-ray path,
// and the packet path with its four lanes run one by one.  They read the
// tree through the test's own block reader.
#pragma once

#include <xmmintrin.h>

#include <cmath>
#include <cstdint>
#include <cstring>

#include "../kdtree/block_reader.h"
#include "qelr.h"

namespace ref {

// The processor's minps / maxps: the second operand when either is NaN.
inline float Min(float a, float b) { return a < b ? a : b; }
inline float Max(float a, float b) { return a > b ? a : b; }
inline float Rcp12(float x) { return _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(x))); }
inline float RcpNewton(float d) {
  const float r = Rcp12(d);
  return (r + r) - ((r * r) * d);
}

// ---- Eye directions ----

inline void CastEyeScalar(const float o[3], const float sx[3], const float sy[3], int col0, int row0,
                          int width, int height, float* const out[3]) {
  for (int k = 0; k < 3; ++k)
    for (int row = 0; row < height; ++row)
      for (int col = 0; col < width; ++col)
        out[k][row * width + col] = ((sy[k] * (float(row) + float(row0))) + o[k]) + (sx[k] * (float(col) + float(col0)));
}

inline void CastEyeVector(const float o[3], const float sx[3], const float sy[3], int col0, int row0, int width,
                          int height, float* const out[3]) {
  for (int k = 0; k < 3; ++k) {
    float base = ((sy[k] * float(row0)) + o[k]) + (sx[k] * float(col0));
    for (int row = 0; row < height; ++row) {
      for (int col = 0; col < width; ++col) {
        const float c = float(col % 4) + 4.0f * float(col / 4);
        out[k][row * width + col] = (sx[k] * c) + base;
      }
      base = base + sy[k];
    }
  }
}

// ---- Shared by both paths ----

struct Scene {
  const float* bound;
  const qelrTriangleAccel* accel;
  const void* root;
};

struct Axes {
  int k, u, w;
};
inline Axes AxesOf(const qelrTriangleAccel& a) {
  return Axes{int(a.axes >> 4 & 3), int(a.axes >> 2 & 3), int(a.axes & 3)};
}

// ---- Single-ray path ----

inline void SingleRay(const Scene& s, const float eye[3], const float d[3], float& dist, float& hitU,
                      float& hitV, int32_t& tri) {
  tri = -1;
  float tmin = 0.0f, tmax = dist, inv[3];
  int sign[3];
  for (int k = 0; k < 3; ++k) {
    const float lo = s.bound[k] - eye[k], hi = s.bound[k + 3] - eye[k];
    if (std::fabs(d[k]) <= 1.1920929e-7f) {
      inv[k] = 838860800.0f;
      sign[k] = 0;
      continue;
    }
    const float t1 = hi / d[k], t2 = lo / d[k];
    inv[k] = 1.0f / d[k];
    sign[k] = (0.0f <= d[k]) ? 0 : 1;
    tmin = Max(tmin, Min(t1, t2));
    tmax = Min(tmax, Max(t1, t2));
    if (tmin > tmax) return;
  }
  tmax = tmax + 0.0001f;
  struct Entry {
    const void* node;
    float tmax;
  } stack[50];
  int depth = 0;
  const void* node = s.root;
  for (;;) {
    while (blk::FormOf(node) == blk::Form::Interior) {
      const int k = blk::Axis(node);
      const float t = (blk::Split(node) - eye[k]) * inv[k];
      const void* nearNode = blk::Child(node, sign[k]);
      const void* farNode = blk::Child(node, 1 - sign[k]);
      if (tmin - t > 1e-5f) {
        node = farNode;
      } else if (t - tmax > 1e-5f) {
        node = nearNode;
      } else {
        stack[depth++] = Entry{farNode, tmax};
        tmax = Max(tmin, Min(t, tmax));
        node = nearNode;
      }
    }
    for (int32_t index : blk::LeafTriangles(node)) {
      const qelrTriangleAccel& a = s.accel[index];
      if (a.axes == 0) continue;
      const Axes x = AxesOf(a);
      const float D = ((a.normalU * d[x.u]) + (a.normalW * d[x.w])) + d[x.k];
      const float pu = a.pointU - eye[x.u], pw = a.pointW - eye[x.w];
      const float T = ((a.pointK + (a.normalU * pu)) + (a.normalW * pw)) - eye[x.k];
      const float Xu = (d[x.u] * T) - (pu * D), Xw = (d[x.w] * T) - (pw * D);
      const float P = (a.edge2W * Xu) - (a.edge2U * Xw);
      const float Q = (a.edge1U * Xw) - (a.edge1W * Xu);
      const float R = (D - P) - Q;
      if (!(R * P >= 0.0f && P * Q >= 0.0f && R * Q >= 0.0f)) continue;
      const float t = T / D;
      if (dist > t && t > 0.0f) {
        dist = t;
        hitU = P / D;
        hitV = Q / D;
        tri = index;
      }
    }
    if (depth == 0) return;
    if (tmax >= dist) return;
    tmin = tmax;
    --depth;
    node = stack[depth].node;
    tmax = stack[depth].tmax;
  }
}

// ---- Packet path: one row of a tile, lanes of one octant ----

struct Row4 {
  float d[3][4];
  float* dist;
  float* hitU;
  float* hitV;
  int32_t* tri;
};

inline void Kernel4(const Scene& s, const float eye[3], Row4& r, const bool inMask[4], int octant) {
  float tmin[4], tmax[4], inv[3][4];
  for (int l = 0; l < 4; ++l) {
    tmin[l] = 0.0f;
    tmax[l] = inMask[l] ? r.dist[l] : 0.0f;
  }
  for (int k = 0; k < 3; ++k) {
    const float lo = s.bound[k] - eye[k], hi = s.bound[k + 3] - eye[k];
    for (int l = 0; l < 4; ++l) {
      const float d = std::fabs(r.d[k][l]) <= 1.1920929e-7f ? 1.1920929e-5f : r.d[k][l];
      inv[k][l] = RcpNewton(d);
      const float t1 = lo * inv[k][l], t2 = hi * inv[k][l];
      tmin[l] = Max(tmin[l], Min(t1, t2));
      tmax[l] = Min(tmax[l], Max(t1, t2));
    }
  }
  bool active[4], any = false;
  for (int l = 0; l < 4; ++l) any |= active[l] = tmin[l] < tmax[l];
  if (!any) return;
  float best[4], u[4] = {0, 0, 0, 0}, v[4] = {0, 0, 0, 0};
  int32_t tri[4];
  for (int l = 0; l < 4; ++l) {
    best[l] = inMask[l] ? r.dist[l] : 0.0f;
    tri[l] = inMask[l] ? r.tri[l] : 0;
    tmax[l] = tmax[l] + 0.0001f;
  }
  struct Entry {
    const void* node;
    float tmax[4];
  } stack[50];
  int depth = 0;
  const void* node = s.root;
  for (;;) {
    while (blk::FormOf(node) == blk::Form::Interior) {
      const int k = blk::Axis(node);
      const int nearIndex = octant >> k & 1;
      float t[4];
      bool anyNear = false, anyCut = false;
      for (int l = 0; l < 4; ++l) {
        t[l] = (blk::Split(node) - eye[k]) * inv[k][l];
        anyNear |= active[l] && tmin[l] <= t[l];
        anyCut |= active[l] && t[l] <= tmax[l];
      }
      if (!anyNear) {
        node = blk::Child(node, 1 - nearIndex);
        continue;
      }
      if (anyCut) {
        Entry& e = stack[depth++];
        e.node = blk::Child(node, 1 - nearIndex);
        for (int l = 0; l < 4; ++l) {
          e.tmax[l] = tmax[l];
          const float m = Min(tmax[l], t[l]);
          active[l] = active[l] && tmin[l] <= m;
          tmax[l] = Max(m, tmin[l]);
        }
      }
      node = blk::Child(node, nearIndex);
    }
    for (int32_t index : blk::LeafTriangles(node)) {
      const qelrTriangleAccel& a = s.accel[index];
      if (a.axes == 0) continue;
      const Axes x = AxesOf(a);
      float t[4], P[4], Q[4], D[4];
      bool pass[4], anyPass = false;
      for (int l = 0; l < 4; ++l) {
        const float du = r.d[x.u][l], dw = r.d[x.w][l], dk = r.d[x.k][l];
        D[l] = ((a.normalU * du) + dk) + (a.normalW * dw);
        const float pu = a.pointU - eye[x.u], pw = a.pointW - eye[x.w];
        const float T = ((a.normalU * pu) + (a.pointK - eye[x.k])) + (a.normalW * pw);
        const float Xu = (du * T) - (pu * D[l]), Xw = (dw * T) - (pw * D[l]);
        P[l] = (a.edge2W * Xu) - (a.edge2U * Xw);
        Q[l] = (a.edge1U * Xw) - (a.edge1W * Xu);
        const float R = (D[l] - P[l]) - Q[l];
        pass[l] = !(R * P[l] < 0.0f) && !(R * Q[l] < 0.0f) && !(P[l] * Q[l] < 0.0f);
        anyPass |= pass[l];
        t[l] = T;
      }
      if (!anyPass) continue;
      for (int l = 0; l < 4; ++l) {
        if (!pass[l]) continue;
        const float rD = RcpNewton(D[l]);
        const float tl = t[l] * rD;
        if (tl < best[l] && 0.0f < tl) {
          best[l] = tl;
          u[l] = P[l] * rD;
          v[l] = Q[l] * rD;
          tri[l] = index;
        }
      }
    }
    if (depth == 0) break;
    bool anyActive = false;
    for (int l = 0; l < 4; ++l) anyActive |= active[l] = tmax[l] < best[l];
    if (!anyActive) break;
    --depth;
    for (int l = 0; l < 4; ++l) {
      tmin[l] = tmax[l];
      tmax[l] = stack[depth].tmax[l];
    }
    node = stack[depth].node;
  }
  for (int l = 0; l < 4; ++l) {
    if (!inMask[l]) continue;
    r.dist[l] = best[l];
    r.hitU[l] = u[l];
    r.hitV[l] = v[l];
    r.tri[l] = tri[l];
  }
}

inline void PacketBlock(const Scene& s, const float eye[3], const float* const dir[3], float* dist,
                        float* const hit[2], int32_t* tri, int width, int height) {
  for (int i = 0; i < width * height; ++i) tri[i] = -1;
  for (int ty = 0; ty < height; ty += 4)
    for (int tx = 0; tx < width; tx += 4) {
      bool anyPositive = false;
      int code[4][4], lowest = 8, highest = -1;
      for (int row = 0; row < 4; ++row)
        for (int col = 0; col < 4; ++col) {
          const int i = (ty + row) * width + tx + col;
          anyPositive |= dist[i] > 0.0f;
          code[row][col] = (dir[0][i] < 0.0f) | (dir[1][i] < 0.0f) << 1 | (dir[2][i] < 0.0f) << 2;
          lowest = std::min(lowest, code[row][col]);
          highest = std::max(highest, code[row][col]);
        }
      if (!anyPositive) continue;
      for (int c = lowest; c <= highest; ++c)
        for (int row = 0; row < 4; ++row) {
          bool inMask[4], any = false;
          for (int col = 0; col < 4; ++col) any |= inMask[col] = code[row][col] == c;
          if (!any) continue;
          const int i = (ty + row) * width + tx;
          Row4 r{{}, dist + i, hit[0] + i, hit[1] + i, tri + i};
          for (int k = 0; k < 3; ++k)
            for (int col = 0; col < 4; ++col) r.d[k][col] = dir[k][i + col];
          Kernel4(s, eye, r, inMask, c);
        }
    }
}

}  // namespace ref
