// The band recurrence for a block of directions, one direction per vector
// lane (the vectors of sh_lanes.h).
//
// The block is worked column by column: for each m the sectoral pair
// Y(m, ±m), then Y(m+1, ±m), then up the bands, with the two values a step
// needs kept in registers.  Each value comes from the same operands by the
// same operations as in band order; only the order in which independent
// values are produced differs.  Every lane performs exactly the scalar
// recurrence's single-precision operations, so the bits are the same for
// any width.  A block holds K vectors of Ops::kWidth lanes: the K vectors are
// independent chains, which the processor overlaps.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sh/sh_lanes.h"

namespace {

constexpr int kBlockMaxCoefficients = 256;  // bands 0..15

inline int BlockCentre(int l) {
  return l * l + l;
}
inline int BlockRow(int l) {
  return l * (l + 1) / 2;
}

// Y(l, ±m) for l = m+2 .. order, from Y(m, ±m) and Y(m+1, ±m).
template <typename Ops, int K>
inline void ColumnUp(const float* recurA, const float* recurB, Lanes<Ops, K> z, Lanes<Ops, K> olderPlus,
                     Lanes<Ops, K> olderMinus, Lanes<Ops, K> newerPlus, Lanes<Ops, K> newerMinus, int m, int order,
                     Lanes<Ops, K>* out) {
  // Entry (l, m) of the tables and Y(l, ±m), stepped from band to band:
  // row l + 1 starts l + 1 entries after row l, and Y(l + 1, 0) stands
  // 2l + 2 places after Y(l, 0).
  const float* a = recurA + BlockRow(m + 2) + m;
  const float* b = recurB + BlockRow(m + 2) + m;
  Lanes<Ops, K>* plusOut = out + BlockCentre(m + 2) + m;
  Lanes<Ops, K>* minusOut = out + BlockCentre(m + 2) - m;
  for (int l = m + 2; l <= order; ++l) {
    const Lanes<Ops, K> az = Splat<Ops, K>(*a) * z;
    const Lanes<Ops, K> bm = Splat<Ops, K>(*b);
    const Lanes<Ops, K> plus = az * newerPlus + bm * olderPlus;
    const Lanes<Ops, K> minus = az * newerMinus + bm * olderMinus;
    *plusOut = plus;
    *minusOut = minus;
    olderPlus = newerPlus;
    olderMinus = newerMinus;
    newerPlus = plus;
    newerMinus = minus;
    a += l + 1;
    b += l + 1;
    plusOut += 2 * l + 2;
    minusOut += 2 * l + 2;
  }
}

// Bands 0..order (1 <= order <= 15) of K * Ops::kWidth directions, as one
// vector of directions per coefficient: out[l * l + l + m] holds Y(l, m).
template <typename Ops, int K>
void RecurrenceLanes(const float* recurA, const float* recurB, const float* xs, const float* ys, const float* zs,
                     Lanes<Ops, K>* out, int order) {
  using L = Lanes<Ops, K>;
  const L x = LoadLanes<Ops, K>(xs);
  const L y = LoadLanes<Ops, K>(ys);
  const L z = LoadLanes<Ops, K>(zs);

  // Column 0.
  L older = Splat<Ops, K>(recurA[0]);
  L newer = Splat<Ops, K>(recurA[1]) * z;
  out[0] = older;
  out[BlockCentre(1)] = newer;
  for (int l = 2; l <= order; ++l) {
    const L next = Splat<Ops, K>(recurA[BlockRow(l)]) * z * newer + Splat<Ops, K>(recurB[BlockRow(l)]) * older;
    out[BlockCentre(l)] = next;
    older = newer;
    newer = next;
  }

  // Columns 1 .. order.
  const L a11 = Splat<Ops, K>(recurA[2]);
  L plus = a11 * x, minus = a11 * y;
  for (int m = 1; m <= order; ++m) {
    if (m >= 2) {
      const L a = Splat<Ops, K>(recurA[BlockRow(m) + m]);
      const L nextPlus = (plus * x - minus * y) * a;
      minus = (plus * y + minus * x) * a;
      plus = nextPlus;
    }
    out[BlockCentre(m) + m] = plus;
    out[BlockCentre(m) - m] = minus;
    if (m == order)
      break;
    const L az = Splat<Ops, K>(recurA[BlockRow(m + 1) + m]) * z;
    const L upPlus = az * plus, upMinus = az * minus;
    out[BlockCentre(m + 1) + m] = upPlus;
    out[BlockCentre(m + 1) - m] = upMinus;
    ColumnUp<Ops, K>(recurA, recurB, z, plus, minus, upPlus, upMinus, m, order, out);
  }
}

// Writes every lane's values as the record of its direction: member k of
// each of the n coefficient vectors holds Ops::kWidth directions.
template <typename Ops, int K>
void StoreRecords(const Lanes<Ops, K>* y, int n, float* dst) {
  for (int k = 0; k < K; ++k)
    Ops::StoreRecords(&y[0].v[k], K, n, dst + size_t(Ops::kWidth) * k * n);
}

// Bands 0..order (1 <= order <= 15) of K * Ops::kWidth directions, as the
// records of qelrSH_32f.
template <typename Ops, int K>
void RecurrenceBlock(const float* recurA, const float* recurB, const float* xs, const float* ys, const float* zs,
                     float* dst, int order) {
  Lanes<Ops, K> out[kBlockMaxCoefficients];
  RecurrenceLanes<Ops, K>(recurA, recurB, xs, ys, zs, out, order);
  StoreRecords<Ops, K>(out, (order + 1) * (order + 1), dst);
}

// Runs blocks of K * Ops::kWidth directions while they fill; returns how
// many directions were done.
template <typename Ops, int K>
int32_t RecurrenceBlocks(const float* recurA, const float* recurB, const float* x, const float* y, const float* z,
                         int32_t count, float* dst, int order, int32_t done) {
  const int perDirection = (order + 1) * (order + 1);
  constexpr int kBlock = K * Ops::kWidth;
  for (; done + kBlock <= count; done += kBlock)
    RecurrenceBlock<Ops, K>(recurA, recurB, x + done, y + done, z + done, dst + size_t(done) * perDirection, order);
  return done;
}

}  // namespace
