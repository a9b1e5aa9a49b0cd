// The two paths of the eye-ray nearest-hit search.  The export chooses one
// by the block's sides and the planes' alignment.
//
// Each path is chosen at load between forms with the same results: SSE
// vectors, AVX vectors where the processor has AVX2, and AVX-512 vectors
// where it has AVX-512F and DQ.  The forms are declared too, for tests.
#pragma once

#include <cstdint>

#include "qelr.h"

// The signature every path and form shares: the export's own.
using IntersectEyePath = void(const float* pEye, const float* const pDirection[3], float* pDist,
                              float* const pHit[2], int32_t* pTriangle, const qelrSceneContext* pContext,
                              qelrSize size);

// Every ray by itself; true divisions, a split epsilon, and a miss leaves
// `pHit` as it was.  Sides of any positive size.
IntersectEyePath IntersectEyeSingleRays;

// 4 by 4 tiles of four-ray kernels; approximate reciprocals, no epsilon, and
// a miss in a kernel's mask gets 0.0 in `pHit`.  Needs sides that are
// multiples of 4 and 16-byte aligned planes.
IntersectEyePath IntersectEyePackets;

IntersectEyePath IntersectEyeSingleRaysSse, IntersectEyeSingleRaysAvx2, IntersectEyeSingleRaysAvx512;
IntersectEyePath IntersectEyePacketsSse, IntersectEyePacketsAvx2, IntersectEyePacketsAvx512;
