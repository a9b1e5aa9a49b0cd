// Row kernels of the linear resize.  They run on interior samples only,
// where every tap exists, so they test nothing.  Each sample gets the same
// arithmetic in the vector blocks and in the scalar remainder, so its value
// never depends on its place in the row.
//
// 8u rows hold 16-bit values with 6 fraction bits (value times 64); 16u
// and 32f rows hold floats.  8u weights are 14-bit fixed point: w0 + w1 is
// always 16384.
#pragma once

#include <cstdint>

// The two x weights of an 8u column, laid out for a 16-bit multiply-add.
struct Weight8uPair {
  int16_t w0;
  int16_t w1;
};

// Along x: row[i] from the source samples xIndex[i] and xIndex[i] + 1.
//   8u:       (w0 * s0 + w1 * s1 + 128) >> 8
//   16u, 32f: s0 + (s1 - s0) * f
void LinearRowX(const uint8_t* src, int32_t n, const int32_t* xIndex, const Weight8uPair* xWeight,
                int16_t* row);
void LinearRowX(const uint16_t* src, int32_t n, const int32_t* xIndex, const float* xWeight,
                float* row);
void LinearRowX(const float* src, int32_t n, const int32_t* xIndex, const float* xWeight,
                float* row);

// Along x when the columns read every second source sample: column i reads
// src[2i] and src[2i + 1] (`src` is the first column's left tap), as in a
// halving.  Same results as LinearRowX with that table.
void LinearRowXStep2(const uint8_t* src, int32_t n, const Weight8uPair* xWeight, int16_t* row);
void LinearRowXStep2(const uint16_t* src, int32_t n, const float* xWeight, float* row);
void LinearRowXStep2(const float* src, int32_t n, const float* xWeight, float* row);

// Both rows of a destination row from straight runs along x (srcA and srcB
// are the first columns' left taps in the two source rows), then blended
// along y into `out` as LinearRowY does: the same results as LinearRowXStep2
// into rowA and rowB followed by LinearRowY, which is what this form does.
void LinearRowXYStep2(const uint8_t* srcA, const uint8_t* srcB, int32_t n, const Weight8uPair* xWeight,
                      uint16_t w1, int16_t* rowA, int16_t* rowB, int16_t* out);
void LinearRowXYStep2(const uint16_t* srcA, const uint16_t* srcB, int32_t n, const float* xWeight, float f,
                      float* rowA, float* rowB, float* out);
void LinearRowXYStep2(const float* srcA, const float* srcB, int32_t n, const float* xWeight, float f,
                      float* rowA, float* rowB, float* out);

// True when xIndex[i] = xIndex[0] + 2 * i for the n columns.
bool ColumnsStepBy2(const int32_t* xIndex, int32_t n);

// Along y into an intermediate row (and, for 32f, into the destination):
//   8u:       (w0 * a + w1 * b + 8192) >> 14, still 6 fraction bits
//   16u, 32f: a + (b - a) * f
void LinearRowY(int16_t* out, int32_t n, uint16_t w1, const int16_t* a, const int16_t* b);
void LinearRowY(float* out, int32_t n, float f, const float* a, const float* b);

// Along y straight into a destination row (planes without a z blend):
//   8u:  (w0 * a + w1 * b + 524288) >> 20, saturated to 0..255
//   16u: a + (b - a) * f + 0.5000001, truncated and clamped to 0..65535
void LinearRowY2D(uint8_t* out, int32_t n, uint16_t w1, const int16_t* a, const int16_t* b);
void LinearRowY2D(uint16_t* out, int32_t n, float f, const float* a, const float* b);

// Along z: blends two interior planes (rows `stride` samples apart) into
// hi rows of wi destination samples, dstStep samples apart.
//   8u:  (w0 * a + w1 * b + 524288) >> 20, saturated to 0..255
//   16u: a * (1 - f) + b * f + 0.5000001, truncated and clamped
//   32f: a * (1 - f) + b * f
void LinearBlendInterior(uint8_t* dst, int32_t dstStep, int32_t wi, int32_t hi, uint16_t w1,
                         const int16_t* a, const int16_t* b, int32_t stride);
void LinearBlendInterior(uint16_t* dst, int32_t dstStep, int32_t wi, int32_t hi, float f,
                         const float* a, const float* b, int32_t stride);
void LinearBlendInterior(float* dst, int32_t dstStep, int32_t wi, int32_t hi, float f,
                         const float* a, const float* b, int32_t stride);

// An exact halving of integer samples.  When every interior weight along x,
// y and z is one half (8u: w1 = 8192; 16u: f = 0.5), the three passes above
// lose nothing to rounding until the last one, and the chain comes out, for
// 8u in fixed point and 16u in single precision alike, as the rounded mean
// of the eight taps:
//   (sum of the 2 x 2 x 2 taps + 4) >> 3
// 8u: x gives 32 * (s0 + s1), y 16 * (sum of 4), z (16 * (sum of 8) + 64) >> 7.
// 16u: every value before the rounding constant is a multiple of 1/8 below
// 65536, exact in single precision, and the constant's excess over a half is
// far too small to carry a fraction of at least 1/8 to the next integer.
// Destination row r of the hi rows reads source rows rowOffsets[r] and
// rowOffsets[r] + rowStep of planes a and b (each pointing at the first
// interior column's left tap); column i reads taps 2i and 2i + 1.
// The four source rows that destination row r reads in the two kernels
// below: rows rowOffsets[r] and rowOffsets[r] + rowStep of planes a and b.
template <typename T>
struct FourSourceRows {
  const T* row[4];
  FourSourceRows(const T* a, const T* b, int32_t offset, int32_t rowStep)
      : row{a + offset, a + (offset + rowStep), b + offset, b + (offset + rowStep)} {}
};

void LinearHalvingInterior(uint8_t* dst, int32_t dstStep, int32_t wi, int32_t hi, const uint8_t* a,
                           const uint8_t* b, const int32_t* rowOffsets, int32_t rowStep);
void LinearHalvingInterior(uint16_t* dst, int32_t dstStep, int32_t wi, int32_t hi, const uint16_t* a,
                           const uint16_t* b, const int32_t* rowOffsets, int32_t rowStep);

// A float interior straight from its two source planes, where the columns'
// taps run straight (as in LinearRowXStep2) and no two destination rows or
// planes share a source line (a downscale by 0.5 or more): x, y and z of
// each sample one after the other, the same operations as the passes above
// without their round trips through rows and planes.  Destination row r
// reads source rows rowOffsets[r] and rowOffsets[r] + rowStep of planes a
// and b with y weight yWeight[r]; xWeight and yWeight start at the first
// interior column and row.
void LinearDirectInterior(float* dst, int32_t dstStep, int32_t wi, int32_t hi, const float* a, const float* b,
                          const int32_t* rowOffsets, int32_t rowStep, const float* xWeight, const float* yWeight,
                          float zWeight);

// The kernels above are the SSE forms.  Where the processor has AVX2 or
// AVX-512, wider forms of the busiest ones give the same bits (the same
// lane arithmetic, no fused operations); rows shorter than one of their
// blocks go to the SSE forms.  The paths reach the kernels through a table,
// chosen once when the library is loaded.
template <typename T, typename XWeight, typename Weight, typename Inner>
struct LinearRowKernelsOf {
  void (*rowX)(const T* src, int32_t n, const int32_t* xIndex, const XWeight* xWeight, Inner* row);
  void (*rowXStep2)(const T* src, int32_t n, const XWeight* xWeight, Inner* row);
  // The wide forms keep the two x results in registers and leave rowA and
  // rowB alone unless their remainder needs them.
  void (*rowXYStep2)(const T* srcA, const T* srcB, int32_t n, const XWeight* xWeight, Weight w,
                     Inner* rowA, Inner* rowB, Inner* out);
  void (*rowY)(Inner* out, int32_t n, Weight w, const Inner* a, const Inner* b);
  void (*rowY2D)(T* out, int32_t n, Weight w, const Inner* a, const Inner* b);
  void (*blendInterior)(T* dst, int32_t dstStep, int32_t wi, int32_t hi, Weight w, const Inner* a,
                        const Inner* b, int32_t stride);
  // The same results, written past the cache where the processor allows,
  // for destinations far larger than the cache.
  void (*blendInteriorStreaming)(T* dst, int32_t dstStep, int32_t wi, int32_t hi, Weight w,
                                 const Inner* a, const Inner* b, int32_t stride);
  // The exact halving, plain and streaming (integer samples only: floats
  // have no such shortcut, and their entries are null).
  void (*halvingInterior)(T* dst, int32_t dstStep, int32_t wi, int32_t hi, const T* a, const T* b,
                          const int32_t* rowOffsets, int32_t rowStep);
  void (*halvingInteriorStreaming)(T* dst, int32_t dstStep, int32_t wi, int32_t hi, const T* a,
                                   const T* b, const int32_t* rowOffsets, int32_t rowStep);
  // The float interior straight from the source, plain and streaming (null
  // for the integer types).
  void (*directInterior)(T* dst, int32_t dstStep, int32_t wi, int32_t hi, const T* a, const T* b,
                         const int32_t* rowOffsets, int32_t rowStep, const XWeight* xWeight, const Weight* yWeight,
                         Weight zWeight);
  void (*directInteriorStreaming)(T* dst, int32_t dstStep, int32_t wi, int32_t hi, const T* a, const T* b,
                                  const int32_t* rowOffsets, int32_t rowStep, const XWeight* xWeight,
                                  const Weight* yWeight, Weight zWeight);
};

struct LinearRowKernels {
  LinearRowKernelsOf<uint8_t, Weight8uPair, uint16_t, int16_t> u8;
  LinearRowKernelsOf<uint16_t, float, float, float> u16;
  LinearRowKernelsOf<float, float, float, float> f32;
};

inline const auto& KernelsOfType(const LinearRowKernels& k, const uint8_t*) { return k.u8; }
inline const auto& KernelsOfType(const LinearRowKernels& k, const uint16_t*) { return k.u16; }
inline const auto& KernelsOfType(const LinearRowKernels& k, const float*) { return k.f32; }

const LinearRowKernels* LinearRowKernelsSse();
const LinearRowKernels* LinearRowKernelsAvx2();    // only where the processor has AVX2
const LinearRowKernels* LinearRowKernelsAvx512();  // only with AVX-512 F and BW

// The widest set this processor runs (an ifunc: no variable holds the choice).
extern "C" const LinearRowKernels* LinearRowKernelsHere();
