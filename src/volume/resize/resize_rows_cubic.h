// Row kernels of the cubic resize: the x pass, the y pass and the z blend of
// the interior, where every tap exists, so none of them tests a bound.
//
// Each kernel computes one fixed formula per sample, and the block loop and
// the remainder loop share it, so a sample's result does not depend on its
// place in the row.  Row buffers and interior planes are 64-byte aligned;
// source and destination rows may have any alignment.
#pragma once

#include <cstdint>

// x pass: row[i] = (s0 * w0 + s1 * w1) + (s2 * w2 + s3 * w3), with s0 to s3
// the four source samples from src[xIndex[i] - 1] on and w0 to w3 the four
// weights of xWeight4 for column i.
void CubicRowX(const uint8_t* src, int32_t n, const int32_t* xIndex, const float* xWeight4,
               float* row);
void CubicRowX(const uint16_t* src, int32_t n, const int32_t* xIndex, const float* xWeight4,
               float* row);
void CubicRowX(const float* src, int32_t n, const int32_t* xIndex, const float* xWeight4,
               float* row);

// y pass: out[i] = (r0[i] * w0 + r1[i] * w1) + (r2[i] * w2 + r3[i] * w3).
void CubicRowY(float* out, int32_t n, const float* weights4, const float* const rows[4]);

// z blend of an interior of `wi` by `hi` samples from four planes whose rows
// lie `planeStride` floats apart, into destination rows `dstStep` samples
// apart: (a * z0 + b * z1) + (c * z2 + e * z3).  The integer types add
// 0.5000001f, truncate, and saturate to the type's range.
void CubicBlendInterior(uint8_t* dst, int32_t dstStep, int32_t wi, int32_t hi,
                        const float* weights4, const float* const planes[4], int32_t planeStride);
void CubicBlendInterior(uint16_t* dst, int32_t dstStep, int32_t wi, int32_t hi,
                        const float* weights4, const float* const planes[4], int32_t planeStride);
void CubicBlendInterior(float* dst, int32_t dstStep, int32_t wi, int32_t hi,
                        const float* weights4, const float* const planes[4], int32_t planeStride);
