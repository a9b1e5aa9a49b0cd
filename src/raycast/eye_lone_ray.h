// One eye ray walked by itself: the single-ray path's walk and tests for a
// ray that has no partner to share its walk with.
#pragma once

#include <cstdint>

#include "qelr.h"
#include "raycast/walk_single.h"

// `ray` is clipped to [tmin, tmax] (the pad added); `dist`, `hitU`, `hitV`
// and `triangle` are the ray's entries of the planes, written at each hit
// taken.
void TraceLoneEyeRay(const qelrSceneContext* context, const SingleRay& ray, float tmin, float tmax, float* dist,
                     float* hitU, float* hitV, int32_t* triangle);
