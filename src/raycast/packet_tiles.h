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
// NaN are not below), and, for each code, the lanes of each row that have it.
struct TileOctants {
  int32_t rowLanes[8][4];  // [code][row]: bit j set for lane j
  int32_t lowest;
  int32_t highest;
};

inline TileOctants GroupTileByOctant(const float* const direction[3], int64_t tileStart, int32_t width) {
  TileOctants g = {};
  int32_t count[8] = {};
  const __m128 zero = _mm_setzero_ps();
  for (int32_t row = 0; row < 4; ++row) {
    const int64_t at = tileStart + static_cast<int64_t>(row) * width;
    const int32_t negX = _mm_movemask_ps(_mm_cmplt_ps(_mm_load_ps(direction[0] + at), zero));
    const int32_t negY = _mm_movemask_ps(_mm_cmplt_ps(_mm_load_ps(direction[1] + at), zero));
    const int32_t negZ = _mm_movemask_ps(_mm_cmplt_ps(_mm_load_ps(direction[2] + at), zero));
    for (int32_t lane = 0; lane < 4; ++lane) {
      const int32_t code = ((negX >> lane) & 1) | (((negY >> lane) & 1) << 1) | (((negZ >> lane) & 1) << 2);
      g.rowLanes[code][row] |= 1 << lane;
      ++count[code];
    }
  }
  // Lowest and highest code present; a tile of one code ends the scan at once.
  g.lowest = 0;
  while (count[g.lowest] == 0) ++g.lowest;
  g.highest = g.lowest;
  if (count[g.lowest] != 16)
    for (int32_t code = g.lowest + 1; code < 8; ++code)
      if (count[code] != 0) g.highest = code;
  return g;
}
