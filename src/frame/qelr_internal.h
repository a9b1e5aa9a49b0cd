// Internal declarations shared by every part of the library.
#pragma once

#include <cstdint>

#include "qelcore.h"
#include "qelr.h"

// The two builds of the code: v8 for SSSE3 processors, s8 for the low-power
// line that also has MOVBE.  Only seven exports differ between them.
enum class Variant : int32_t { V8 = 0, S8 = 1 };

// Chooses the build from the core's feature mask: s8 needs both the SSSE3
// bit (16) and the MOVBE bit (32); everything else runs v8.
int32_t ownSelectVariant(uint64_t features);

extern "C" {
// The variant of this process, fixed when the library is loaded.
extern int32_t qelrVariant;
// Two code pointers per export, in export order: v8 then s8.
extern const void* const qelrDispatch[104];
}

#include "frame/own_helpers.h"
