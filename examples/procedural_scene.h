// A small procedural scene for the ray-tracing demo and benchmark: a ground
// plane, a sphere and a torus, with analytic vertex normals.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

struct ProceduralScene {
  std::vector<float> vertices;       // x, y, z per vertex
  std::vector<float> vertexNormals;  // x, y, z per vertex
  std::vector<int32_t> triangles;    // A, B, C and an unused word per triangle
  std::vector<float> albedo;         // r, g, b per triangle

  int32_t VertexCount() const { return int32_t(vertices.size() / 3); }
  int32_t TriangleCount() const { return int32_t(triangles.size() / 4); }

  int32_t AddVertex(float x, float y, float z, float nx, float ny, float nz) {
    vertices.insert(vertices.end(), {x, y, z});
    vertexNormals.insert(vertexNormals.end(), {nx, ny, nz});
    return VertexCount() - 1;
  }

  void AddTriangle(int32_t a, int32_t b, int32_t c, const float rgb[3]) {
    triangles.insert(triangles.end(), {a, b, c, 0});
    albedo.insert(albedo.end(), rgb, rgb + 3);
  }

  // A grid of (cells x cells) pairs of triangles in a parametric surface;
  // at(u, v, p, n) gives the point and normal at u, v in [0, 1].
  template <class Surface>
  void AddGrid(int32_t cellsU, int32_t cellsV, Surface at, const float rgb[3], bool checker = false) {
    const int32_t first = VertexCount();
    for (int32_t j = 0; j <= cellsV; ++j)
      for (int32_t i = 0; i <= cellsU; ++i) {
        float p[3], n[3];
        at(float(i) / cellsU, float(j) / cellsV, p, n);
        AddVertex(p[0], p[1], p[2], n[0], n[1], n[2]);
      }
    const float dark[3] = {rgb[0] * 0.35f, rgb[1] * 0.35f, rgb[2] * 0.35f};
    for (int32_t j = 0; j < cellsV; ++j)
      for (int32_t i = 0; i < cellsU; ++i) {
        const int32_t a = first + j * (cellsU + 1) + i;
        const int32_t b = a + 1, c = a + cellsU + 1, d = c + 1;
        const float* colour = checker && ((i + j) & 1) ? dark : rgb;
        AddTriangle(a, b, d, colour);
        AddTriangle(a, d, c, colour);
      }
  }

  static ProceduralScene Make(int32_t detail) {
    const float pi = 3.14159265f;
    ProceduralScene s;
    const float ground[3] = {0.85f, 0.85f, 0.8f};
    s.AddGrid(12, 12, [](float u, float v, float* p, float* n) {
      p[0] = -6 + 12 * u, p[1] = 0, p[2] = -6 + 12 * v;
      n[0] = 0, n[1] = 1, n[2] = 0;
    }, ground, true);
    const float red[3] = {0.9f, 0.25f, 0.2f};
    s.AddGrid(2 * detail, detail, [pi](float u, float v, float* p, float* n) {
      const float phi = 2 * pi * u, theta = pi * v;
      n[0] = std::sin(theta) * std::cos(phi), n[1] = std::cos(theta), n[2] = std::sin(theta) * std::sin(phi);
      p[0] = -1.3f + 1.2f * n[0], p[1] = 1.2f + 1.2f * n[1], p[2] = 0.5f + 1.2f * n[2];
    }, red);
    const float blue[3] = {0.25f, 0.45f, 0.9f};
    s.AddGrid(2 * detail, detail, [pi](float u, float v, float* p, float* n) {
      const float phi = 2 * pi * u, theta = 2 * pi * v, R = 1.1f, r = 0.4f;
      const float cx = std::cos(phi), cz = std::sin(phi), ct = std::cos(theta), st = std::sin(theta);
      n[0] = ct * cx, n[1] = st, n[2] = ct * cz;
      p[0] = 1.6f + (R + r * ct) * cx, p[1] = 0.9f + r * st, p[2] = -0.4f + (R + r * ct) * cz;
    }, blue);
    return s;
  }
};
