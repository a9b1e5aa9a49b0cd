// Weight tables of the four cubic interpolation codes.
//
// Every cubic code weighs four taps per axis, for the source samples
// index - 1, index, index + 1 and index + 2.  A table holds four floats per
// destination coordinate, built from that coordinate's stored fraction.
#pragma once

#include <cstdint>

// Builds `n` groups of four weights from `n` fractions into `table`.
using CubicWeightsFn = void (*)(const float* fractions, int32_t n, float* table);

void CubicWeightsLagrange(const float* fractions, int32_t n, float* table);    // InterCubic
void CubicWeightsBSpline(const float* fractions, int32_t n, float* table);     // InterCubicBSpline
void CubicWeightsCatmullRom(const float* fractions, int32_t n, float* table);  // InterCubicCatmullRom
void CubicWeightsB05C03(const float* fractions, int32_t n, float* table);      // InterCubicB05C03

// The table builder of a cubic code; null for any other code.
CubicWeightsFn CubicWeightsForCode(int32_t interpolation);
