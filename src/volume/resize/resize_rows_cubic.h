// Row kernels of the cubic resize: the x pass, the y pass and the z blend of
// the interior, where every tap exists, so none of them tests a bound.
//
// Each kernel computes one fixed formula per sample, whatever the sample's
// place in the row and whatever the vector width, so the SSE, AVX2 and
// AVX-512 sets give the same bits.  Row buffers and interior planes are
// 64-byte aligned; source and destination rows may have any alignment.
#pragma once

#include <cstdint>
#include <type_traits>

// The x tables of n interior columns.  Column i reads the four source
// samples from src[index[i] - 1] on.
//
// With n >= kCubicGroup the weights are grouped by kCubicGroup (16) columns:
// group g holds the first weights of its sixteen columns, then their second,
// third and fourth weights, sixteen of each.  When n is not a multiple of 16,
// the last sixteen columns n - 16 .. n - 1 form one more group of their own,
// `lastGroup`, which overlaps the group before.  With n < 16 `groups` holds
// four weights per column, column after column.  Groups may lie anywhere;
// on a 64-byte boundary they load fastest.
constexpr int32_t kCubicGroup = 16;

struct CubicXTable {
  int32_t n;
  const int32_t* index;
  const float* groups;
  const float* lastGroup;
  bool stepsByTwo;  // index[i + 1] == index[i] + 2 throughout, as in a 2x downscale
};

// Turns n columns' weights, four per column, into the grouped form: in place,
// and the last group into `lastGroup` (4 kCubicGroup floats).  Leaves
// n < kCubicGroup as it is.
void GroupCubicXWeights(float* weights4, int32_t n, float* lastGroup);

// Whether n >= kCubicGroup indexes grow by exactly 2 from each to the next.
bool CubicIndexStepsByTwo(const int32_t* index, int32_t n);

// The kernels of one sample type.
template <typename T>
struct CubicTypeKernels {
  // x pass of the interior: row[i] = (s0 * w0 + s1 * w1) + (s2 * w2 + s3 * w3)
  // with s0 .. s3 the four source samples of column i and w0 .. w3 its weights.
  void (*rowX)(const T* src, const CubicXTable& x, float* row);
  // x pass of the frame's rows: row[i] = ((s0 * w0 + s1 * w1) + s2 * w2) + s3 * w3.
  void (*rowXInOrder)(const T* src, const CubicXTable& x, float* row);
  // z blend of an interior of wi by hi samples from four planes whose rows
  // lie `planeStride` floats apart, into destination rows `dstStep` samples
  // apart: (a * z0 + b * z1) + (c * z2 + e * z3).  The integer types add
  // 0.5000001f, truncate, and saturate to the type's range.
  void (*blendInterior)(T* dst, int32_t dstStep, int32_t wi, int32_t hi, const float* weights4,
                        const float* const planes[4], int32_t planeStride);
};

struct CubicKernels {
  CubicTypeKernels<uint8_t> u8;
  CubicTypeKernels<uint16_t> u16;
  CubicTypeKernels<float> f32;
  // y pass: out[i] = (r0[i] * w0 + r1[i] * w1) + (r2[i] * w2 + r3[i] * w3).
  void (*rowY)(float* out, int32_t n, const float* weights4, const float* const rows[4]);

  template <typename T>
  const CubicTypeKernels<T>& Of() const {
    if constexpr (std::is_same_v<T, uint8_t>) return u8;
    else if constexpr (std::is_same_v<T, uint16_t>) return u16;
    else return f32;
  }
};

// Four columns or samples a step, SSE up to SSSE3.
const CubicKernels& CubicKernelsSse();

// Eight a step; only on processors with AVX2.
const CubicKernels& CubicKernelsAvx2();

// Sixteen a step; only on processors with AVX-512 F, BW and VL.
const CubicKernels& CubicKernelsAvx512();

// The widest set this processor runs, chosen once when the library is
// loaded (an ifunc, so no variable holds the choice).
extern "C" const CubicKernels* CubicKernelsForCpu();
