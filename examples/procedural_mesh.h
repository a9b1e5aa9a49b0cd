// Procedural triangle meshes for the KD-tree benchmark and demo: a bumpy
// sphere over a ground plane, tessellated to about the requested triangle
// count, in the library's layout (3 floats per vertex, 4 words per
// triangle).
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

struct ProceduralMesh {
  std::vector<float> vertices;
  std::vector<int32_t> triangles;
  int32_t groundFirstTriangle = 0;  // the sphere's triangles come first
  int32_t VertexCount() const { return static_cast<int32_t>(vertices.size() / 3); }
  int32_t TriangleCount() const { return static_cast<int32_t>(triangles.size() / 4); }
};

namespace procedural_detail {

inline void AddGrid(ProceduralMesh* mesh, int32_t columns, int32_t rows, bool wrapColumns,
                    void (*place)(double u, double v, float out[3])) {
  const int32_t first = mesh->VertexCount();
  const int32_t stored = wrapColumns ? columns : columns + 1;
  for (int32_t r = 0; r <= rows; ++r) {
    for (int32_t c = 0; c < stored; ++c) {
      float p[3];
      place(double(c) / columns, double(r) / rows, p);
      mesh->vertices.insert(mesh->vertices.end(), {p[0], p[1], p[2]});
    }
  }
  for (int32_t r = 0; r < rows; ++r) {
    for (int32_t c = 0; c < columns; ++c) {
      const int32_t c1 = wrapColumns ? (c + 1) % columns : c + 1;
      const int32_t a = first + r * stored + c, b = first + r * stored + c1;
      const int32_t d = first + (r + 1) * stored + c, e = first + (r + 1) * stored + c1;
      mesh->triangles.insert(mesh->triangles.end(), {a, b, e, 0, a, e, d, 0});
    }
  }
}

inline void BumpySphere(double u, double v, float out[3]) {
  const double pi = 3.14159265358979323846;
  const double theta = 2 * pi * u, phi = pi * (0.02 + 0.96 * v);
  const double bump = 1.0 + 0.12 * std::sin(9 * theta) * std::sin(7 * phi) +
                      0.05 * std::sin(31 * theta + 3 * phi) * std::cos(23 * phi);
  out[0] = float(bump * std::sin(phi) * std::cos(theta));
  out[1] = float(bump * std::cos(phi) + 1.2);
  out[2] = float(bump * std::sin(phi) * std::sin(theta));
}

inline void Ground(double u, double v, float out[3]) {
  out[0] = float(-4.0 + 8.0 * u);
  out[1] = float(0.05 * std::sin(6 * u) * std::cos(5 * v));
  out[2] = float(-4.0 + 8.0 * v);
}

}  // namespace procedural_detail

// About `triangles` triangles: nine tenths on the sphere, the rest on the
// ground.
inline ProceduralMesh MakeProceduralMesh(int32_t triangles) {
  ProceduralMesh mesh;
  const int32_t sphere = triangles - triangles / 10;
  const int32_t rows = std::max(4, static_cast<int32_t>(std::sqrt(sphere / 4.0)));
  procedural_detail::AddGrid(&mesh, 2 * rows, rows, true, procedural_detail::BumpySphere);
  mesh.groundFirstTriangle = mesh.TriangleCount();
  const int32_t side = std::max(1, static_cast<int32_t>(std::sqrt(triangles / 10 / 2.0)));
  procedural_detail::AddGrid(&mesh, side, side, false, procedural_detail::Ground);
  return mesh;
}
