// The block loop of the packet paths: 4 by 4 tiles, and the grouping of a
// tile's rays by the octant of their direction, so that each four-ray kernel
// sees one near-far order.
#pragma once

#include <cstdint>
#include <emmintrin.h>

#include "qelr.h"
#include "raycast/ray_block.h"

// True if any of the tile's 16 rays has a limit above 0.0.
inline bool TileHasPositiveLimit(const float* dist, int32_t width) {
  const __m128 zero = _mm_setzero_ps();
  int32_t bits = 0;
  for (int32_t row = 0; row < 4; ++row)
    bits |= _mm_movemask_ps(_mm_cmpgt_ps(_mm_load_ps(dist + row * width), zero));
  return bits != 0;
}

// Octant code of each ray (bit k: direction below 0.0 on axis k; -0.0 and
// NaN are not below), and, for each code, the rays that have it.
struct TileOctants {
  int32_t lanes[8];  // [code]: bit 4 * row + lane
  int32_t lowest;    // the lowest and highest code present
  int32_t highest;
};

inline TileOctants GroupTileByOctant(const float* const direction[3], int64_t tileStart, int32_t width) {
  // Bit 4 * row + lane of below[k]: the ray's direction is below 0.0 on
  // axis k.
  int32_t below[3] = {0, 0, 0};
  const __m128 zero = _mm_setzero_ps();
  for (int32_t row = 0; row < 4; ++row) {
    const int64_t at = tileStart + static_cast<int64_t>(row) * width;
    for (int32_t k = 0; k < 3; ++k)
      below[k] |= _mm_movemask_ps(_mm_cmplt_ps(_mm_load_ps(direction[k] + at), zero)) << (4 * row);
  }
  TileOctants g;
  int32_t present = 0;  // bit c: some ray has code c
  for (int32_t code = 0; code < 8; ++code) {
    int32_t rays = 0xFFFF;
    for (int32_t k = 0; k < 3; ++k) rays &= ((code >> k) & 1) != 0 ? below[k] : ~below[k];
    g.lanes[code] = rays;
    present |= static_cast<int32_t>(rays != 0) << code;
  }
  // Scanning the codes in rising order finds the same two: a tile of one
  // code has no other.
  g.lowest = __builtin_ctz(static_cast<uint32_t>(present));
  g.highest = 31 - __builtin_clz(static_cast<uint32_t>(present));
  return g;
}
