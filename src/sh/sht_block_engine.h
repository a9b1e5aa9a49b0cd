// The transforms by blocks of eight directions.  Included by one source file
// per instruction set (see sh_lanes.h).
//
// A block's basis is evaluated all at once, as one vector of the eight
// directions per coefficient: by the vector recurrence in recurrence mode
// (every lane does the scalar operations, so the bits are those of
// qelrSH_32f), and otherwise from qelrSH_32f's record of each direction.
// Then, with the same operations in the same order as one direction at a
// time:
//   forward: each coefficient receives the terms of the block's directions
//            in direction order, eight (or four) coefficients per vector,
//            the block's basis turned to rows of one direction;
//   inverse: each direction's dot products run in the lanes, in the order
//            of ownDot32f, for all eight directions at once.
// Blocks follow one another in direction order.  The caller makes sure no
// array is written that another one reads (see sht_transform.cpp): then the
// order in which different arrays are touched is not seen.
#pragma once

#include <cstring>

#include "sh/sh_basis.h"
#include "sh/sh_recurrence_block.h"
#include "sh/sht_jobs.h"

namespace {

constexpr int kBlockDirections = 8;

inline int CoefficientCount(uint32_t order) {
  return int((order + 1) * (order + 1));
}

// Directions in the block from `first`: eight, or fewer in the last block.
inline int BlockLength(int32_t count, int64_t first) {
  return count - first < kBlockDirections ? int(count - first) : kBlockDirections;
}

// ---- The basis of a block ---------------------------------------------------

// The coordinates of the directions first .. first + directions - 1; a
// short last block reads copies padded with zeros, whose lanes are computed
// and never used.
struct BlockCoordinates {
  const float* x;
  const float* y;
  const float* z;
};

inline BlockCoordinates CoordinatesOf(const float* x, const float* y, const float* z, int64_t first, int directions,
                                      float padded[3][kBlockDirections]) {
  if (directions == kBlockDirections)
    return {x + first, y + first, z + first};
  for (int d = 0; d < kBlockDirections; ++d) {
    padded[0][d] = d < directions ? x[first + d] : 0.0f;
    padded[1][d] = d < directions ? y[first + d] : 0.0f;
    padded[2][d] = d < directions ? z[first + d] : 0.0f;
  }
  return {padded[0], padded[1], padded[2]};
}

// Lanes as plain floats: coefficient k of direction d at [k * 8 + d].
template <typename Ops, int K>
inline float* LaneFloats(Lanes<Ops, K>* basis) {
  static_assert(K * Ops::kWidth == kBlockDirections, "a block is eight directions");
  return reinterpret_cast<float*>(basis);
}

// Clears the coefficient vectors from n up to the next multiple of eight:
// the last group of coefficients reads them and throws their results away.
template <typename Ops, int K>
inline void ClearPastLast(Lanes<Ops, K>* basis, int n) {
  const int end = (n + 7) & ~7;
  std::memset(static_cast<void*>(basis + n), 0, sizeof(Lanes<Ops, K>) * size_t(end - n));
}

// The basis of the block's directions; the caller has made sure that the
// state evaluates (a known mode, order 15 or below).
template <typename Ops, int K>
void BlockBasis(const BlockCoordinates& c, int directions, uint32_t order, const qelrSHState* state,
                const qelrSHState& header, Lanes<Ops, K>* basis) {
  if (header.mode == SHModeRecurrence && order >= 1) {
    RecurrenceLanes<Ops, K>(header.recurA, header.recurB, c.x, c.y, c.z, basis, int(order));
    return;
  }
  // Closed forms, and band 0 alone: qelrSH_32f's record of each direction,
  // placed in its lane.
  float* lanes = LaneFloats(basis);
  const int n = CoefficientCount(order);
  alignas(16) float record[kBlockMaxCoefficients];
  for (int d = 0; d < directions; ++d) {
    (void)shBasis(c.x + d, c.y + d, c.z + d, 1, record, order, state);
    for (int k = 0; k < n; ++k)
      lanes[k * kBlockDirections + d] = record[k];
  }
}

// ---- Forward ----------------------------------------------------------------

// The values of a block, one per channel and direction, in every lane.  A
// value of exactly 0 adds +0.0 and exactly 1 adds the basis as it is
// (ownMulC32f clears or copies there instead of multiplying); the masks
// pick that term when the block has such a value:
//   term = (basis * value) & keepProduct | basis & keepBasis.
template <typename Ops>
struct BlockValues {
  using Vec = typename Ops::Vec;
  Vec value[3][kBlockDirections];
  Vec keepProduct[3][kBlockDirections];
  Vec keepBasis[3][kBlockDirections];
  bool anyShortcut;

  void Load(const ShtForwardJob& job, int channels, int64_t first, int directions) {
    // Past the last direction of a short block: 2, which takes no shortcut.
    alignas(16) float raw[3][kBlockDirections];
    for (int c = 0; c < channels; ++c)
      for (int d = 0; d < kBlockDirections; ++d) {
        raw[c][d] = d < directions ? job.values[c][size_t(first + d) * job.valueStride] : 2.0f;
        value[c][d] = Ops::Splat(raw[c][d]);
      }
    // The tests of a whole block at once, as float comparisons (which also
    // see -0 as 0): bit d of each mask for direction d.
    int zeroOrOne[3], one[3];
    anyShortcut = false;
    for (int c = 0; c < channels; ++c) {
      one[c] = LaneBits(raw[c], 1.0f);
      zeroOrOne[c] = LaneBits(raw[c], 0.0f) | one[c];
      anyShortcut |= zeroOrOne[c] != 0;
    }
    if (!anyShortcut)
      return;
    for (int c = 0; c < channels; ++c)
      for (int d = 0; d < kBlockDirections; ++d) {
        keepProduct[c][d] = Ops::SplatBits((zeroOrOne[c] >> d & 1) ? 0u : ~0u);
        keepBasis[c][d] = Ops::SplatBits((one[c] >> d & 1) ? ~0u : 0u);
      }
  }

 private:
  // Bit d set where eight[d] == f.
  static int LaneBits(const float eight[kBlockDirections], float f) {
    const __m128 low = _mm_cmpeq_ps(_mm_load_ps(eight), _mm_set1_ps(f));
    const __m128 high = _mm_cmpeq_ps(_mm_load_ps(eight + 4), _mm_set1_ps(f));
    return _mm_movemask_ps(low) | _mm_movemask_ps(high) << 4;
  }
};

template <typename Ops, bool kShortcuts>
inline typename Ops::Vec Term(typename Ops::Vec basis, const BlockValues<Ops>& v, int c, int d) {
  const typename Ops::Vec product = Ops::Mul(basis, v.value[c][d]);
  if (!kShortcuts)
    return product;
  return Ops::Or(Ops::And(product, v.keepProduct[c][d]), Ops::And(basis, v.keepBasis[c][d]));
}

// Ops::kWidth coefficients from `group` (float[coefficient][8]) added into
// at[c][0 .. kWidth), direction after direction.
template <typename Ops, int kChannels, bool kShortcuts>
inline void AddGroup(const float* group, const BlockValues<Ops>& v, int directions, float* const at[]) {
  typename Ops::Vec rows[kBlockDirections];
  Ops::Rows(group, rows);
  for (int c = 0; c < kChannels; ++c) {
    typename Ops::Vec sum = Ops::Load(at[c]);
    for (int d = 0; d < directions; ++d)
      sum = Ops::Add(sum, Term<Ops, kShortcuts>(rows[d], v, c, d));
    Ops::Store(at[c], sum);
  }
}

template <typename Ops, int kChannels, bool kShortcuts>
void AddBlock(const float* lanes, const BlockValues<Ops>& v, int directions, float* const coeffs[], int n) {
  constexpr int kGroup = Ops::kWidth;
  float* at[kChannels];
  int k = 0;
  for (; k + kGroup <= n; k += kGroup) {
    for (int c = 0; c < kChannels; ++c)
      at[c] = coeffs[c] + k;
    AddGroup<Ops, kChannels, kShortcuts>(lanes + k * kBlockDirections, v, directions, at);
  }
  if (k == n)
    return;
  // The last n % kGroup coefficients, through a padded copy.
  float padded[kChannels][kGroup] = {};
  for (int c = 0; c < kChannels; ++c) {
    std::memcpy(padded[c], coeffs[c] + k, sizeof(float) * size_t(n - k));
    at[c] = padded[c];
  }
  AddGroup<Ops, kChannels, kShortcuts>(lanes + k * kBlockDirections, v, directions, at);
  for (int c = 0; c < kChannels; ++c)
    std::memcpy(coeffs[c] + k, padded[c], sizeof(float) * size_t(n - k));
}

template <typename Ops, int K, int kChannels>
void ForwardBlocks(const ShtForwardJob& job) {
  const qelrSHState header = shReadHeader(job.state);
  const int n = CoefficientCount(job.order);
  Lanes<Ops, K> basis[kBlockMaxCoefficients];
  ClearPastLast(basis, n);
  BlockValues<Ops> values;
  for (int64_t first = 0; first < job.count; first += kBlockDirections) {
    const int directions = BlockLength(job.count, first);
    float padded[3][kBlockDirections];
    const BlockCoordinates c = CoordinatesOf(job.x, job.y, job.z, first, directions, padded);
    BlockBasis<Ops, K>(c, directions, job.order, job.state, header, basis);
    values.Load(job, kChannels, first, directions);
    if (values.anyShortcut)
      AddBlock<Ops, kChannels, true>(LaneFloats(basis), values, directions, job.coeffs, n);
    else
      AddBlock<Ops, kChannels, false>(LaneFloats(basis), values, directions, job.coeffs, n);
  }
}

// ---- Inverse ----------------------------------------------------------------

// The dot products of the block's directions with each channel's
// coefficients, in the order of ownDot32f: below 32 coefficients one
// running sum from +0.0 in coefficient order; from 32 on four running sums,
// sum j over the products j, j + 4, ... of the first n & ~3, combined as
// (s0 + s1) + (s2 + s3), then the last n % 4 products in order.
template <typename Ops, int K, int kChannels>
void DotBlock(const Lanes<Ops, K>* basis, const float* const coeffs[], int n, Lanes<Ops, K> sums[]) {
  using L = Lanes<Ops, K>;
  const L zero = Splat<Ops, K>(0.0f);
  if (n < 32) {
    for (int c = 0; c < kChannels; ++c)
      sums[c] = zero;
    for (int k = 0; k < n; ++k)
      for (int c = 0; c < kChannels; ++c)
        sums[c] = sums[c] + basis[k] * Splat<Ops, K>(coeffs[c][k]);
    return;
  }
  const int body = n & ~3;
  for (int c = 0; c < kChannels; ++c) {
    L s0 = zero, s1 = zero, s2 = zero, s3 = zero;
    const float* b = coeffs[c];
    for (int k = 0; k < body; k += 4) {
      s0 = s0 + basis[k] * Splat<Ops, K>(b[k]);
      s1 = s1 + basis[k + 1] * Splat<Ops, K>(b[k + 1]);
      s2 = s2 + basis[k + 2] * Splat<Ops, K>(b[k + 2]);
      s3 = s3 + basis[k + 3] * Splat<Ops, K>(b[k + 3]);
    }
    L sum = (s0 + s1) + (s2 + s3);
    for (int k = body; k < n; ++k)
      sum = sum + basis[k] * Splat<Ops, K>(b[k]);
    sums[c] = sum;
  }
}

template <typename Ops, int K, int kChannels>
void InverseBlocks(const ShtInverseJob& job) {
  const qelrSHState header = shReadHeader(job.state);
  const int n = CoefficientCount(job.order);
  Lanes<Ops, K> basis[kBlockMaxCoefficients];
  for (int64_t first = 0; first < job.count; first += kBlockDirections) {
    const int directions = BlockLength(job.count, first);
    float padded[3][kBlockDirections];
    const BlockCoordinates c = CoordinatesOf(job.x, job.y, job.z, first, directions, padded);
    BlockBasis<Ops, K>(c, directions, job.order, job.state, header, basis);
    Lanes<Ops, K> sums[kChannels];
    DotBlock<Ops, K, kChannels>(basis, job.coeffs, n, sums);
    for (int ch = 0; ch < kChannels; ++ch) {
      alignas(32) float result[kBlockDirections];
      StoreLanes<Ops, K>(result, sums[ch]);
      for (int d = 0; d < directions; ++d)
        job.dst[ch][size_t(first + d) * job.dstStride] = result[d];
    }
  }
}

// ---- Entry points for one instruction set -------------------------------------

template <typename Ops, int K>
void ForwardByBlocks(const ShtForwardJob& job) {
  if (job.channels == 1)
    ForwardBlocks<Ops, K, 1>(job);
  else
    ForwardBlocks<Ops, K, 3>(job);
}

template <typename Ops, int K>
void InverseByBlocks(const ShtInverseJob& job) {
  if (job.channels == 1)
    InverseBlocks<Ops, K, 1>(job);
  else
    InverseBlocks<Ops, K, 3>(job);
}

}  // namespace
