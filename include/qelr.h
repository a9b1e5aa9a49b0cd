/* qelr: rendering primitives.
 *
 * KD-tree construction and ray casting in blocks, masked shading arithmetic,
 * real spherical harmonics, and resampling and filtering of 3D volumes of
 * 8-bit, 16-bit and float samples.
 *
 * Every function is stateless: the caller owns all inputs, outputs and
 * scratch buffers.  Every outcome is a qelStatus: 0 is success, a negative
 * value is a failure with nothing written (unless a function says
 * otherwise), a positive value is a warning.  Arguments are checked before
 * any data is read or any memory is taken; the checks each function makes
 * are listed with it, and no others are made.
 *
 * Per-ray data is planar: one array per component, ray (row, col) at index
 * row * width + col.  A mask is an array of int32_t in which a negative
 * value marks an element as masked out; only the sign bit counts.
 */
#ifndef QELR_H
#define QELR_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define QELR_API __attribute__((visibility("default")))
#else
#define QELR_API
#endif

/* ==== Status codes ==== */

typedef int32_t qelStatus;

enum {
  StatusOk = 0,
  StatusNoOverlap = 1,            /* warning: the destination box is empty */
  StatusDivByZero = 6,            /* warning: an active element had a zero divisor */
  StatusRoiOutside = 29,          /* warning: a plane region starts outside the plane */
  StatusNoQuadOverlap = 30,       /* warning: the mapped quadrilateral misses the destination */
  StatusVoiOutside = 40,          /* warning: the source region starts outside the source */
  StatusBuildMismatch = -2,       /* a split's partition did not reproduce its counts */
  StatusNoMemory = -4,            /* memory limit too small, or no memory for the result */
  StatusBadArgument = -5,         /* an unknown build mode */
  StatusBadSize = -6,             /* a size or count out of range */
  StatusBadOrder = -7,            /* spherical-harmonic order or mode out of range */
  StatusNullPointer = -8,         /* a required pointer is null */
  StatusAllocFailed = -9,         /* the build's budget or a pool ran out */
  StatusOutOfRange = -11,         /* a depth limit or quality level out of range */
  StatusBadStep = -14,            /* a row step is not positive */
  StatusBadInterpolation = -22,   /* an unknown interpolation code */
  StatusBadFactor = -23,          /* a resize factor is not positive */
  StatusBadChannels = -53,        /* a channel count is not 1 */
  StatusSingularTransform = -56,  /* the affine map cannot be inverted */
  StatusRegionTooSmall = -57      /* a clipped plane region is under 2 samples wide or high */
};

/* ==== Family: frame ==== */

/* Version of the running build.  `targetCode` tells which code path the
 * library selected at load: "v8" (SSSE3) or "s8" (SSSE3 with MOVBE). */
typedef struct qelrVersionRecord {
  int32_t major;
  int32_t minor;
  int32_t update;
  int32_t revision;
  char targetCode[4];
  const char* name;
  const char* versionText;
  const char* buildDate;
} qelrVersionRecord;

/* The constant version record of the selected build.  Never fails; the same
 * pointer on every call.  The caller must neither write nor free it. */
QELR_API const qelrVersionRecord* qelrGetLibVersion(void);

/* ==== end frame ==== */

/* ==== Family: scene preparation ==== */
/* ==== end scene preparation ==== */

/* ==== Family: KD-tree ==== */
/* ==== end KD-tree ==== */

/* ==== Family: rays ==== */
/* ==== end rays ==== */

/* ==== Family: shading arithmetic ==== */
/* ==== end shading arithmetic ==== */

/* ==== Family: spherical harmonics ==== */
/* ==== end spherical harmonics ==== */

/* ==== Family: volumes (shared descriptors and interpolation codes) ==== */
/* ==== end volumes ==== */

/* ==== Family: volume resize ==== */
/* ==== end volume resize ==== */

/* ==== Family: volume filter ==== */
/* ==== end volume filter ==== */

/* ==== Family: volume remap ==== */
/* ==== end volume remap ==== */

/* ==== Family: volume affine warp ==== */
/* ==== end volume affine warp ==== */

#ifdef __cplusplus
}
#endif

#endif /* QELR_H */
