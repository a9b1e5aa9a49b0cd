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
 *
 * Arrays of plane pointers are `const T* const name[]` for inputs and
 * `T* const name[]` for outputs.  From C, declare an input array with
 * `const T*` elements: C does not add the inner const by itself.
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

/* Scene data shared by this family, the KD-tree and the rays:
 *   vertices   x, y, z floats per vertex, 12 bytes apart;
 *   triangles  four int32_t per triangle, 16 bytes apart; words 0..2 are
 *              vertex indices (A, B, C), word 3 is never read;
 *   box        six floats: minimum x, y, z, then maximum x, y, z. */

/* Per-triangle record of the ray-triangle test, ten 32-bit words (40 bytes).
 * The triangle's plane is written over the two axes u, w left when the axis
 * k on which its normal n = (A - C) x (B - C) is largest is dropped;
 * e1 = A - C, e2 = B - C, and sign is -1 when k is y, +1 otherwise.
 * A record of all zero bits marks a degenerate triangle (`axes` is never 0
 * otherwise). */
typedef struct qelrTriangleAccel {
  uint32_t axes;   /* bits 0-1: w, bits 2-3: u, bits 4-5: k; bit 31 set when
                      n[u] and n[w] are both negligible */
  float normalU;   /* n[u] / n[k] */
  float pointK;    /* C[k] */
  float normalW;   /* n[w] / n[k] */
  float pointU;    /* C[u] */
  float pointW;    /* C[w] */
  float edge2U;    /* e2[u] * sign / n[k] */
  float edge2W;    /* e2[w] * sign / n[k] */
  float edge1U;    /* e1[u] * sign / n[k] */
  float edge1W;    /* e1[w] * sign / n[k] */
} qelrTriangleAccel;

/* Stores the size of one qelrTriangleAccel in bytes (40) in *pSize.
 * Returns StatusNullPointer if pSize is null, else StatusOk. */
QELR_API qelStatus qelrTriangleAccelGetSize(int32_t* pSize);

/* Fills accel[i] for each of the triangleCount triangles, in double
 * precision rounded to float at the end.  A triangle without area gets ten
 * zero words.  The caller allocates accel (triangleCount records).
 * Always returns StatusOk: no pointer is tested, a vertex index out of range
 * is not detected, and a triangle with a NaN coordinate gives a NaN record.
 * triangleCount below 1 reads and writes nothing. */
QELR_API qelStatus qelrTriangleAccelInit(qelrTriangleAccel* accel,
                                         const float* vertices,
                                         const int32_t* triangles,
                                         int32_t triangleCount);

/* Writes to box the bounding box of vertexCount vertices, widened on every
 * axis by 0.0001 times the largest magnitude among its six coordinates (at
 * least the smallest normal float), so the box is never a point.
 * Returns StatusNullPointer if vertices is null; box is not tested.
 * vertexCount below 1 returns StatusOk with the start values
 * (+-3.4028235e38) widened: the minima then stand above the maxima. */
QELR_API qelStatus qelrSetBoundBox_32f(const float* vertices,
                                       int32_t vertexCount, float* box);

/* Writes the unit normal of each triangle, three floats per triangle, to
 * triangleNormals (computed in double precision; a degenerate triangle gets
 * (0, 0, 0)).  Runs on a team of threads.
 * Returns StatusNullPointer if vertices, triangles or triangleNormals is
 * null, else StatusOk; triangleCount below 1 writes nothing. */
QELR_API qelStatus qelrTriangleNormal_32f(const float* vertices,
                                          const int32_t* triangles,
                                          float* triangleNormals,
                                          int32_t triangleCount);

/* For each of length rays, copies the normal of the triangle hits[i] into
 * normals[0..2][i]; a miss (hits[i] negative) gets zeros.
 * Returns StatusNullPointer if triangleNormals or hits is null (normals is
 * not tested), else StatusOk; length below 1 writes nothing. */
QELR_API qelStatus qelrSurfFlatNormal_32f(const float* triangleNormals,
                                          const int32_t* hits,
                                          float* const normals[],
                                          int32_t length);

/* For each of length rays, interpolates the vertex normals of triangle
 * hits[i] with the barycentric weights a = weights[0][i], b = weights[1][i]
 * (c = 1 - a - b) and normalises the result into normals[0..2][i]; a miss,
 * or a sum of near-zero length, gets zeros.  stride is the distance in
 * int32_t words between two triangles' index triples (4 for the triangle
 * layout above, 3 for packed indices).  With all eight arrays 16-byte
 * aligned and length a multiple of 4, the normalisation uses a 12-bit
 * reciprocal square root and one Newton step: the last bits differ from
 * the unaligned path.
 * Returns StatusNullPointer if any of the five pointers is null, else
 * StatusOk; length below 1 writes nothing. */
QELR_API qelStatus qelrSurfSmoothNormal_32f(const float* vertexNormals,
                                            const int32_t* triangles,
                                            const int32_t* hits,
                                            const float* const weights[],
                                            float* const normals[],
                                            int32_t length, int32_t stride);

/* ==== end scene preparation ==== */

/* ==== Family: KD-tree ==== */

/* A KD-tree is one flat block of 8-byte nodes followed by the leaves'
 * triangle lists.  It holds no pointers: every offset is counted in bytes
 * from the node that holds it, so the block may be moved as a whole.  The
 * root is at offset 0; child pairs start at offset 16.
 *
 * Interior node (link >= 0): bits 0-1 of link are the split axis (0 x, 1 y,
 * 2 z), link & ~7 is the byte offset to the child pair (below the plane
 * first, above it 8 bytes later), and data holds the bits of the float
 * split position.
 * Leaf (link < 0), told apart by data:
 *   data == 0   empty leaf;
 *   data > 0    list leaf of data triangles; the list of int32_t indices
 *               starts -(link & -4) bytes after the node;
 *   data < 0    packed leaf of (data & 3) triangles, 1 to 3, with no list:
 *               1: link & 0x7FFFFFFF;
 *               2: link & 0x7FFFFFFF, then mid;
 *               3: mid - ((link & 0x7FFFFFFF) >> 16), mid, mid + (link & 0xFFFF);
 *               where mid is bits 2-30 of data. */
typedef struct qelrKDNode {
  int32_t link;
  int32_t data;
} qelrKDNode;

/* Build modes for qelrKDTreeBuildParams.mode. */
enum {
  KDTreeModeSimple = 1235041730, /* 0x499D3DC2: one leaf listing every triangle */
  KDTreeModeCost = 755462235     /* 0x2D07705B: cost-driven, clipping builder */
};

/* Parameters of qelrKDTreeBuildAlloc. */
typedef struct qelrKDTreeBuildParams {
  uint32_t mode;         /* KDTreeModeSimple or KDTreeModeCost */
  uint32_t depthLimit;   /* 0 to 50 splits from the root; checked in both
                            modes, used by KDTreeModeCost only */
  float qualityLevel;    /* 0 to 1; higher splits more readily
                            (KDTreeModeCost only) */
  uint32_t memoryLimit;  /* budget of the whole build in MiB; at least 32
                            (KDTreeModeCost only) */
  const float* clipBox;  /* null, or a box (six floats) to clip the scene to
                            and use as the root's box (KDTreeModeCost only) */
} qelrKDTreeBuildParams;

/* Builds a KD-tree over triangleCount triangles and hands the block to the
 * caller: *tree receives it and *treeSize its size in bytes.  The caller
 * owns the block until it passes it to qelrKDTreeFree.  *tree and *treeSize
 * are written only on success.
 * Checks, in this order:
 *   tree, vertices, triangles or treeSize null      StatusNullPointer
 *   vertexCount or triangleCount negative           StatusBadSize
 *   params null                                     StatusNullPointer
 *   mode neither KDTreeModeSimple nor KDTreeModeCost StatusBadArgument
 *   depthLimit above 50 (unsigned)                  StatusOutOfRange
 *   KDTreeModeCost: qualityLevel below 0 or above 1 StatusOutOfRange
 *                   (a NaN passes)
 *   KDTreeModeCost: memoryLimit too small           StatusNoMemory
 *                   (memoryLimit << 19 in 32 bits below 0x1000000, so
 *                   values whose low 13 bits are below 32 fail too)
 * During the build: StatusNoMemory when the budget is below the scene's
 * need or the final block cannot be allocated, StatusAllocFailed when the
 * budget runs out, StatusBuildMismatch on an inconsistent split.
 * KDTreeModeSimple reads neither vertices nor triangles: its tree is one
 * list leaf of all triangles in the caller's order. */
QELR_API qelStatus qelrKDTreeBuildAlloc(qelrKDNode** tree,
                                        const float* vertices,
                                        const int32_t* triangles,
                                        int32_t vertexCount,
                                        int32_t triangleCount,
                                        int32_t* treeSize,
                                        const qelrKDTreeBuildParams* params);

/* Releases a block from qelrKDTreeBuildAlloc.  The pointer is not tested;
 * null is harmless. */
QELR_API void qelrKDTreeFree(qelrKDNode* tree);

/* ==== end KD-tree ==== */

/* ==== Family: rays ==== */

/* Rays travel in blocks of size.width by size.height, row by row with no
 * gap: ray (row, col) is element row * size.width + col of every plane.
 * Per-ray data is planar; an argument of three planes is an array of three
 * pointers (x, y, z), of two planes an array of two.
 *   pDirection  ray directions, not required to be normalised;
 *   pDist       on entry the largest distance of interest (exclusive), in
 *               units of the direction's length; on exit the nearest hit;
 *   pHit        the first and second barycentric coordinates of the hit;
 *   pTriangle   index of the triangle hit, -1 for none.  It serves as the
 *               mask of the functions that follow.
 * The intersection functions choose a packet path when size.width and
 * size.height are multiples of 4 and their planes are 16-byte aligned, and
 * a single-ray path otherwise.  The two differ in the last bits (the packet
 * path uses a 12-bit reciprocal refined by one Newton step) and in what a
 * miss leaves in pHit, as each function says.  They test no pointer and
 * always return StatusOk: a bad pointer or a bad tree is the caller's fault.
 * The tree's depthLimit (at most 50) keeps their traversal stacks
 * sufficient. */

/* Extent of a ray block. */
typedef struct qelrSize {
  int32_t width;
  int32_t height;
} qelrSize;

/* The scene as the ray functions see it; filled by the caller after the
 * build.  Nothing here is owned by the context. */
typedef struct qelrSceneContext {
  const float* pBound;                /* box from qelrSetBoundBox_32f */
  const qelrTriangleAccel* pAccel;    /* one record per triangle */
  const qelrKDNode* pRootNode;        /* block from qelrKDTreeBuildAlloc */
} qelrSceneContext;

/* Writes the eye-ray directions of one block of a pinhole camera into
 * pDirection.  pOrigin is the image-plane point of pixel (0, 0) relative to
 * the eye, pStepX and pStepY the steps from one pixel to the next in a row
 * and from one row to the next (three floats each).  The block's pixel
 * offset is (blockCol * blockSize.width, blockRow * blockSize.height);
 * size is this block's extent and row stride.  A width that is a multiple
 * of 4 takes a vector form that accumulates the row steps, so its last bits
 * differ from those of other widths.
 * Returns StatusNullPointer if pDirection is null (the other pointers are
 * not tested), else StatusOk; a non-positive width or height writes
 * nothing. */
QELR_API qelStatus qelrCastEye_32f(const float* pOrigin, const float* pStepX,
                                   const float* pStepY, int32_t blockCol,
                                   int32_t blockRow, qelrSize blockSize,
                                   float* const pDirection[], qelrSize size);

/* Nearest hit of every ray of a block, all rays starting at pEye (three
 * floats).  Writes pDist, pHit and pTriangle; pTriangle is -1 for a miss.
 * On a miss pDist is unchanged; pHit is unchanged on the single-ray path
 * and may be set to 0.0 on the packet path.  A hit exactly at the entry
 * pDist is not taken; triangles are hit from either side.  pDist doubles
 * as the limit, so reset it before calling again.  Tests nothing; always
 * StatusOk. */
QELR_API qelStatus qelrIntersectEyeSO_32f(const float* pEye,
                                          const float* const pDirection[],
                                          float* pDist, float* const pHit[],
                                          int32_t* pTriangle,
                                          const qelrSceneContext* pContext,
                                          qelrSize size);

/* As qelrIntersectEyeSO_32f, with one origin per ray (pOrigin, three
 * planes).  The single-ray path is stricter: it ignores the triangle that
 * is already the ray's best hit, rejects a triangle seen almost edge-on and
 * needs a new hit to be nearer by more than 1e-5.  Tests nothing; always
 * StatusOk. */
QELR_API qelStatus qelrIntersectMO_32f(const float* const pOrigin[],
                                       const float* const pDirection[],
                                       float* pDist, float* const pHit[],
                                       int32_t* pTriangle,
                                       const qelrSceneContext* pContext,
                                       qelrSize size);

/* The first depth hits along each ray, all rays starting at pEye, in order
 * of distance.  pDist, pHit and pTriangle hold depth layers of
 * size.width * size.height elements each (layer l of ray i at
 * l * width * height + i); pDirection has one layer.  Distances are from
 * pEye.  A layer where a ray found nothing further has pTriangle -1 and
 * pDist 3.4028235e38, and the layers after it keep their pDist and pHit;
 * a miss at layer 0 leaves the caller's limit in pDist.
 * Triangles already hit are remembered in a ring of 8 (single ray) or 4
 * (packet) entries.  Note that pContext comes last here.  depth below 1 is
 * not supported (not tested; one layer is traced).  Tests nothing; always
 * StatusOk. */
QELR_API qelStatus qelrIntersectMultipleSO_32f(const float* pEye,
                                               const float* const pDirection[],
                                               float* pDist,
                                               float* const pHit[],
                                               int32_t* pTriangle,
                                               qelrSize size, int32_t depth,
                                               const qelrSceneContext* pContext);

/* Makes shadow rays from the light pLight (three floats) to the surface
 * points pSurfHit: pCast = pSurfHit - pLight (not normalised) and pDotOut =
 * |pCast . pNormal|.  A point whose pSurfDot (the eye ray's dot product
 * with the normal, as qelrDotChangeNorm_32f_IM gives it) and shadow dot
 * product differ in sign, or whose ray grazes the surface, or that is
 * masked out, gets zeros and pMask -1; in the last len % 4 elements a point
 * already masked out keeps its pMask value.
 * pSurfDot is read with aligned 16-byte loads: it must be 16-byte aligned
 * whenever len is 4 or more.
 * Returns StatusNullPointer if pSurfDot, pNormal, pSurfHit, pMask, pCast or
 * pDotOut is null, tested in this order (pLight is not tested), else
 * StatusOk. */
QELR_API qelStatus qelrCastShadowSO_32f(const float* pLight,
                                        const float* pSurfDot,
                                        const float* const pNormal[],
                                        const float* const pSurfHit[],
                                        int32_t* pMask, float* pDotOut,
                                        float* const pCast[], int32_t len);

/* Any-hit test of shadow rays from pLight (three floats) along pDirection,
 * over the part of each ray between t = 0 and t = 1.  A blocked ray gets
 * pMask -1; pMask is the result.  pOccluder gets -1 for rays not blocked
 * and only a hint for blocked ones: the blocker, or on the packet path
 * possibly 0.  Reads pAccel and pRootNode of the context, not pBound.  On
 * the packet path mask values must be 0, -1 or below 2^24, and an empty
 * block is not supported (row 3 of pMask is read).  Tests nothing; always
 * StatusOk. */
QELR_API qelStatus qelrIntersectAnySO_32f(const float* pLight,
                                          const float* const pDirection[],
                                          int32_t* pOccluder, int32_t* pMask,
                                          qelrSize size,
                                          const qelrSceneContext* pContext);

/* Hit points pOrigin + pDirection * pDist * eps for the active elements,
 * with one origin (three floats); eps slightly below 1 stops the points
 * short of the surface.  Masked-out elements get +0.0 in all three planes.
 * The aligned path (all planes 16-byte aligned, len a multiple of 4)
 * multiplies in another order, so its last bits may differ.
 * Returns StatusNullPointer if pDist, pMask, pDirection or pHitPoint is
 * null, tested in this order (pOrigin is not tested), else StatusOk; len
 * below 1 writes nothing. */
QELR_API qelStatus qelrHitPoint3DEpsS0_32f_M(const float* pOrigin,
                                             const float* const pDirection[],
                                             const float* pDist,
                                             const int32_t* pMask,
                                             float* const pHitPoint[],
                                             int32_t len, float eps);

/* As qelrHitPoint3DEpsS0_32f_M with one origin per element (pOrigin, three
 * planes).  Returns StatusNullPointer if pDist, pMask, pDirection,
 * pHitPoint or pOrigin is null, tested in this order, else StatusOk. */
QELR_API qelStatus qelrHitPoint3DEpsM0_32f_M(const float* const pOrigin[],
                                             const float* const pDirection[],
                                             const float* pDist,
                                             const int32_t* pMask,
                                             float* const pHitPoint[],
                                             int32_t len, float eps);

/* Mirror directions: pReflected = i - n * 2(i . n) for incident i and normal
 * n, neither normalised here.  Masked-out elements get +0.0.  len a
 * multiple of 4 sums the dot product in another order than other lengths.
 * Returns StatusNullPointer if pIncident, pMask, pNormal or pReflected is
 * null, tested in this order, else StatusOk; len below 1 writes nothing. */
QELR_API qelStatus qelrCastReflectionRay_32f(const float* const pIncident[],
                                             const int32_t* pMask,
                                             const float* const pNormal[],
                                             float* const pReflected[],
                                             int32_t len);

/* Distance of each surface point pSurfHit from pPoint (three floats), never
 * below 1.0, into pDist; masked-out elements get 1.0.  A NaN distance gives
 * NaN on the scalar path and 1.0 on the aligned path (pDist, pMask,
 * pSurfHit 16-byte aligned, len a multiple of 4).
 * Returns StatusNullPointer if pSurfHit, pMask or pDist is null, tested in
 * this order (pPoint is not tested), else StatusOk; len below 1 writes
 * nothing. */
QELR_API qelStatus qelrDistAttenuationSO_32f_M(const float* pPoint,
                                               const float* const pSurfHit[],
                                               const int32_t* pMask,
                                               float* pDist, int32_t len);

/* ==== end rays ==== */

/* ==== Family: shading arithmetic ==== */

/* Masked element-wise arithmetic over len rays.  pMask[i] zero or positive
 * marks element i active, negative masked out (the pTriangle output of the
 * intersection functions serves as a mask).  Each function has up to three
 * paths chosen by 16-byte alignment of its operands and len being a
 * multiple of 4; they follow the documented arithmetic exactly but differ in
 * multiplication order and in what a masked-out element receives, as each
 * function says.  len below 1 returns StatusOk after the null checks and
 * touches nothing.  The three pointers inside a plane array are never
 * tested. */

/* pSrcDst[c][i] += pCoef[c] * pSrc2[c][i] * pSrc1[i] for c = 0, 1, 2.
 * Masked-out elements keep their value, except that off the aligned path
 * a masked-out -0.0 may become +0.0.  The aligned path (pSrc1, pMask and the pSrcDst planes
 * 16-byte aligned, len a multiple of 4) multiplies in another order and
 * reads the pSrc2 planes with aligned loads without testing them: they must
 * then be aligned too.
 * Returns StatusNullPointer if pSrc1, pSrc2, pMask or pSrcDst is null,
 * tested in this order (pCoef is not tested), else StatusOk. */
QELR_API qelStatus qelrAddMulMul_32f_AC1P3IM(const float* pCoef,
                                             const float* pSrc1,
                                             const float* const pSrc2[],
                                             const int32_t* pMask,
                                             float* const pSrcDst[],
                                             int32_t len);

/* pSrcDst[i] /= pSrc[i]; masked-out elements get +0.0.  An active zero
 * divisor (either sign) gives +infinity, -infinity or, for a zero or NaN
 * dividend, the NaN 0xFFC00000, and the whole array is still processed.
 * Returns StatusNullPointer if pSrc or pSrcDst is null (pMask is not
 * tested), StatusDivByZero (a warning, after the work) if an active element
 * had a zero divisor, else StatusOk. */
QELR_API qelStatus qelrDiv_32f_C1IM(const float* pSrc, const int32_t* pMask,
                                    float* pSrcDst, int32_t len);

/* Turns normals to face against the rays: d = pSrc . pSrcDst at i; where d
 * is greater than 0 the normal and d change sign; pDot[i] = d.  A d of 0.0
 * or NaN leaves the normal as it is.  Masked-out elements keep their normal
 * and get pDot +0.0.  Unless all eight pointers are 16-byte aligned and len
 * is a multiple of 4, an active normal is multiplied by +1.0 or -1.0, which
 * quiets a signaling NaN; the aligned path flips sign bits instead.
 * Returns StatusNullPointer if pSrc, pMask, pSrcDst or pDot is null, else
 * StatusOk. */
QELR_API qelStatus qelrDotChangeNorm_32f_IM(const float* const pSrc[],
                                            const int32_t* pMask,
                                            float* const pSrcDst[],
                                            float* pDot, int32_t len);

/* pDst[i] = pSrc1 . pSrc2 at i; masked-out elements get +0.0.
 * Returns StatusNullPointer if pSrc1, pSrc2, pMask or pDst is null, else
 * StatusOk. */
QELR_API qelStatus qelrDot_32f_P3C1M(const float* const pSrc1[],
                                     const float* const pSrc2[],
                                     const int32_t* pMask, float* pDst,
                                     int32_t len);

/* pSrcDst[i] *= pSrc[i]; a masked-out element becomes its product times 0.0
 * (so -0.0 or NaN are possible).
 * Tests no pointer: with len above 0 null pointers are dereferenced.
 * Always returns StatusOk. */
QELR_API qelStatus qelrMul_32f_C1IM(const float* pSrc, const int32_t* pMask,
                                    float* pSrcDst, int32_t len);

/* pSrcDst[c][i] *= pSrc[i] for c = 0, 1, 2; a masked-out element becomes
 * its product times 0.0 (so -0.0 or NaN are possible), except on the
 * aligned path (pSrc, pMask and the pSrcDst planes 16-byte aligned, len a
 * multiple of 4), where it becomes +0.0.
 * Returns StatusNullPointer if pSrc, pMask or pSrcDst is null, else
 * StatusOk. */
QELR_API qelStatus qelrMul_32f_C1P3IM(const float* pSrc, const int32_t* pMask,
                                      float* const pSrcDst[], int32_t len);

/* ==== end shading arithmetic ==== */

/* ==== Family: spherical harmonics ==== */

/* Real spherical harmonics up to band 15.
 *
 * Index convention.  Band l (0 <= l <= L, the order) has 2l+1 coefficients,
 * m = -l .. +l; a set of bands 0..L has (L+1)^2 coefficients.  Coefficient
 * (l, m) stands at index l*l + l + m: bands from l = 0 upward, within a band
 * from m = -l up to m = +l.  qelrSH_32f writes direction i's set at
 * i * (L+1)^2; qelrSHBand_32f writes coefficient (L, m) of direction i at
 * i * (2L+1) + L + m.  Coefficient arrays of the transforms use the same
 * l*l + l + m order.
 *
 * Normalisation.  Orthonormal real harmonics with the Condon-Shortley sign,
 * the sine terms at negative m.  With P_l the Legendre polynomial, D(l,m)
 * its m-th derivative in z, C_m + i S_m = (x + iy)^m and
 * K(l,m) = sqrt((2l+1)/(4 pi) * (l-m)!/(l+m)!):
 *   Y(l, 0)  = K(l,0) * P_l(z)
 *   Y(l, +m) = (-1)^m * sqrt(2) * K(l,m) * D(l,m)(z) * C_m
 *   Y(l, -m) = (-1)^m * sqrt(2) * K(l,m) * D(l,m)(z) * S_m
 * so band 0 is 0.28209479 and band 1 is -0.48860251 y, 0.48860251 z,
 * -0.48860251 x.  Directions are x, y, z arrays, meant to be unit vectors
 * but neither normalised nor checked: other vectors give the polynomials'
 * values at that point.
 *
 * The state fixes the highest order it serves and the method: closed-form
 * polynomials, or a single-precision recurrence on tables built at init.
 * The two methods agree up to rounding, not bit for bit. */

/* Evaluation methods for qelrSHState.mode. */
enum {
  SHModeClosedForm = 0,  /* closed-form polynomials; the state has no tables */
  SHModeRecurrence = 1   /* recurrence from the tables in the state */
};

/* Caller-owned evaluation state.  This record is the block's header
 * (32 bytes); in SHModeRecurrence the two tables follow it in the same
 * block, recurA from the block's address rounded up to 16, plus the header
 * size.  The pointers point into the block itself, so a built state must
 * not be moved or copied.  Build it with qelrSHInit_32f; there is nothing
 * to release but the caller's memory. */
typedef struct qelrSHState {
  uint32_t order;   /* highest band L served */
  int32_t mode;     /* SHModeClosedForm or SHModeRecurrence */
  float* recurA;    /* recurrence factors; null in SHModeClosedForm */
  float* recurB;    /* recurrence factors; null in SHModeClosedForm */
#if UINTPTR_MAX > 0xFFFFFFFFu
  uint64_t reserved; /* pads the header to 32 bytes; zero */
#endif
} qelrSHState;

/* Every coefficient of bands 0..order at each of count directions, into
 * dst (count * (order+1)^2 floats), by the state's method.
 * Checks, in this order:
 *   x, y, z, dst or state null                       StatusNullPointer
 *   count equal to 0                                 StatusBadSize
 *   order above state->order                         StatusBadOrder
 *   state->mode not a known method                   StatusBadOrder
 *   order above 15                                   StatusBadOrder
 * A negative count returns StatusOk and writes nothing. */
QELR_API qelStatus qelrSH_32f(const float* x, const float* y, const float* z,
                              int32_t count, float* dst, uint32_t order,
                              const qelrSHState* state);

/* The 2*band+1 coefficients of the one band at each of count directions,
 * into dst (count * (2*band+1) floats), by closed forms; needs no state.
 * Its results need not match the same band of qelrSH_32f bit for bit.
 * Checks, in this order:
 *   x, y, z or dst null      StatusNullPointer
 *   band above 15            StatusBadOrder
 *   count equal to 0         StatusBadSize
 * A negative count returns StatusOk and writes nothing. */
QELR_API qelStatus qelrSHBand_32f(const float* x, const float* y,
                                  const float* z, int32_t count, float* dst,
                                  uint32_t band);

/* Stores in *size the bytes that a state of this order and mode needs:
 * 32 in SHModeClosedForm; in SHModeRecurrence ((8T + 30) & ~31) + 32 with
 * T = (order+1)(order+2)/2, in unsigned 32-bit arithmetic (1120 for
 * order 15).
 * Checks, in this order:
 *   size null                                   StatusNullPointer
 *   mode neither 0 nor 1                        StatusBadOrder
 *   SHModeClosedForm with order above 15        StatusBadSize
 * SHModeRecurrence accepts any order here; orders above 15 are refused
 * only when evaluating. */
QELR_API qelStatus qelrSHGetSize_32f(uint32_t order, int32_t mode,
                                     int32_t* size);

/* Builds a state in the caller's block, which must hold at least the size
 * given by qelrSHGetSize_32f for the same order and mode and should be
 * 16-byte aligned (an unaligned block may be overrun by up to 15 bytes).
 * The whole block is cleared first; init may be repeated.  The size of the
 * block cannot be checked.
 * Checks, in this order:
 *   state null                                  StatusNullPointer
 *   mode neither 0 nor 1                        StatusBadOrder
 *   SHModeClosedForm with order above 15        StatusBadSize
 * The state is read-only afterwards and may be shared by threads. */
QELR_API qelStatus qelrSHInit_32f(qelrSHState* state, uint32_t order,
                                  int32_t mode);

/* Transforms.  Each is a loop over count directions around one basis
 * evaluation of bands 0..order.  Forward functions add value * basis into
 * coeffs ((order+1)^2 floats per channel): they apply no weight and clear
 * nothing, so the caller clears coeffs first and scales at the end, and
 * batches may be accumulated.  Inverse functions store the dot product of
 * basis and coeffs.  Three-channel values are either three planes (P3) or
 * interleaved (C3, channel c of direction i at 3i + c); three-channel
 * coefficients are always three arrays.
 * Checks, in this order, nothing written on failure:
 *   any pointer null, including each of the three in a plane array
 *                                               StatusNullPointer
 *   count equal to 0                            StatusBadSize
 *   order above state->order                    StatusBadOrder
 * A negative count returns StatusOk and does nothing.  The evaluation's own
 * status is not looked at: order must not exceed 15, which is not
 * enforced here. */

/* Forward, one channel: coeffs += values[i] * basis(i). */
QELR_API qelStatus qelrSHTFwd_32f_C1I(const float* x, const float* y,
                                      const float* z, const float* values,
                                      int32_t count, float* coeffs,
                                      uint32_t order,
                                      const qelrSHState* state);

/* Forward, three value planes into three coefficient arrays. */
QELR_API qelStatus qelrSHTFwd_32f_P3I(const float* x, const float* y,
                                      const float* z,
                                      const float* const values[],
                                      int32_t count, float* const coeffs[],
                                      uint32_t order,
                                      const qelrSHState* state);

/* Forward, interleaved three-channel values into three coefficient
 * arrays. */
QELR_API qelStatus qelrSHTFwd_32f_C3P3I(const float* x, const float* y,
                                        const float* z, const float* values,
                                        int32_t count, float* const coeffs[],
                                        uint32_t order,
                                        const qelrSHState* state);

/* Inverse, one channel: dst[i] = basis(i) . coeffs. */
QELR_API qelStatus qelrSHTInv_32f_C1(const float* coeffs, uint32_t order,
                                     const float* x, const float* y,
                                     const float* z, float* dst,
                                     int32_t count, const qelrSHState* state);

/* Inverse, three coefficient arrays into three value planes. */
QELR_API qelStatus qelrSHTInv_32f_P3(const float* const coeffs[],
                                     uint32_t order, const float* x,
                                     const float* y, const float* z,
                                     float* const dst[], int32_t count,
                                     const qelrSHState* state);

/* Inverse, three coefficient arrays into interleaved three-channel
 * values; the same numbers as qelrSHTInv_32f_P3. */
QELR_API qelStatus qelrSHTInv_32f_P3C3(const float* const coeffs[],
                                       uint32_t order, const float* x,
                                       const float* y, const float* z,
                                       float* dst, int32_t count,
                                       const qelrSHState* state);

/* ==== end spherical harmonics ==== */

/* ==== Family: volumes (shared descriptors and interpolation codes) ==== */

/* Volumes of one-channel samples: 8u (uint8_t), 16u (uint16_t), 16s
 * (int16_t), 32f (float).  Two layouts:
 *   C1V   one contiguous volume: a base pointer, a row step and a plane
 *         step in bytes (the plane step may be zero or negative);
 *   C1PV  planes by pointer: an array of one pointer per plane (plane z is
 *         element z) and one row step in bytes.
 * Steps are in bytes and should be whole numbers of samples: 16-bit and
 * float functions may shift them down to samples and drop the low bits.
 * Steps are not examined unless a function says so.
 * A region (qelrCuboid) counts from the first sample that the pointer
 * argument gives; it never shifts the pointer.  No function clears a
 * destination or has a border value: samples that are not produced keep
 * their old values.  Scratch (pBuffer) needs no alignment; its size comes
 * from the family's ...GetBufSize query, which includes a factor of the
 * library's thread count. */

/* Extent of a volume, passed by value. */
typedef struct qelrVolume {
  int32_t width;   /* samples along x */
  int32_t height;  /* samples along y */
  int32_t depth;   /* planes */
} qelrVolume;

/* A box of samples: origin and extent, passed by value (by pointer as a
 * result). */
typedef struct qelrCuboid {
  int32_t x;       /* first sample along x */
  int32_t y;       /* first sample along y */
  int32_t z;       /* first plane */
  int32_t width;   /* samples along x */
  int32_t height;  /* samples along y */
  int32_t depth;   /* planes */
} qelrCuboid;

/* Interpolation codes (3 is not one).  The cubic codes have four taps per
 * axis with weights k(x) for the distance x from tap to position, zero
 * from |x| = 2 on. */
enum {
  InterNearest = 1,         /* nearest sample */
  InterLinear = 2,          /* two taps per axis */
  InterCubic = 4,           /* cubic Lagrange */
  InterCubicBSpline = 5,    /* cubic B-spline, (B, C) = (1, 0); smooths */
  InterCubicCatmullRom = 6, /* Catmull-Rom, (B, C) = (0, 0.5) */
  InterCubicB05C03 = 7      /* (B, C) = (0.5, 0.3) */
};

/* ==== end volumes ==== */

/* ==== Family: volume resize ==== */

/* Separable resize of a region of a source volume.  Along each axis a
 * destination coordinate i maps, for the linear and cubic codes, to the
 * source position (i + 0.5 - shift) / factor - 0.5 (source sample k
 * centred at k); InterNearest takes the sample k whose cell [k, k+1) holds
 * (i + 0.5 - shift) / factor, a cell boundary going to the lower sample.
 * Destination samples whose centres fall inside the scaled source region,
 * clipped to the source volume and to dstVoi, are written.  Interpolation
 * reads neighbours anywhere in srcVolume, also outside srcVoi.  The first
 * sample written is at row y0, column x0 of plane z0 of the destination
 * box; dstVoi has no other effect on where results go, and the size of the
 * destination volume is not known to the function.
 *
 * Workers, checks in this order (nothing is written on any of them):
 *   pSrc, pDst or pBuffer null (for C1PV, the arrays only)
 *                                                   StatusNullPointer
 *   srcVolume extent below 1; srcVoi x, width, y, height, z, depth
 *   negative or below 1; the same for dstVoi        StatusBadSize
 *   a factor not positive (a NaN factor passes)     StatusBadFactor
 *   interpolation not 1, 2, 4, 5, 6 or 7            StatusBadInterpolation
 *   srcVoi starts outside srcVolume (warning)       StatusVoiOutside
 *   the destination box is empty (warning)          StatusNoOverlap
 * Row and plane steps are not examined.  pBuffer must hold at least what
 * qelrResizeGetBufSize reports for the same cuboids and code; a smaller
 * buffer cannot be detected.  qelrResize_32f_C1V runs on a team of threads
 * when the destination box is at least 16 along each axis; the result does
 * not depend on the team.
 * InterLinear keeps the in-plane results near the edges in frames of room
 * for four rows and four columns: an upscale by more than about 4 along x
 * or y overruns them unchecked, which changes samples near the edges and
 * writes past the frames, possibly past the end of pBuffer.
 * The cubic codes weigh four samples per axis with the code's kernel;
 * every intermediate is float and an 8u or 16u result is rounded once and
 * clamped, so overshoot near sharp edges is cut there and kept in 32f.
 * Their edge frames have room for 32 rows and 32 columns: an upscale by
 * more than about 10 along x or y overruns them unchecked in the same way.
 * A source of 1 or 2 samples along an axis is read up to 2 samples beyond
 * either end of that axis, unchecked. */

QELR_API qelStatus qelrResize_8u_C1V(const uint8_t* pSrc, qelrVolume srcVolume,
                                     int32_t srcStep, int32_t srcPlaneStep,
                                     qelrCuboid srcVoi, uint8_t* pDst,
                                     int32_t dstStep, int32_t dstPlaneStep,
                                     qelrCuboid dstVoi, double xFactor,
                                     double yFactor, double zFactor,
                                     double xShift, double yShift,
                                     double zShift, int32_t interpolation,
                                     uint8_t* pBuffer);

QELR_API qelStatus qelrResize_16u_C1V(const uint16_t* pSrc,
                                      qelrVolume srcVolume, int32_t srcStep,
                                      int32_t srcPlaneStep, qelrCuboid srcVoi,
                                      uint16_t* pDst, int32_t dstStep,
                                      int32_t dstPlaneStep, qelrCuboid dstVoi,
                                      double xFactor, double yFactor,
                                      double zFactor, double xShift,
                                      double yShift, double zShift,
                                      int32_t interpolation,
                                      uint8_t* pBuffer);

QELR_API qelStatus qelrResize_32f_C1V(const float* pSrc, qelrVolume srcVolume,
                                      int32_t srcStep, int32_t srcPlaneStep,
                                      qelrCuboid srcVoi, float* pDst,
                                      int32_t dstStep, int32_t dstPlaneStep,
                                      qelrCuboid dstVoi, double xFactor,
                                      double yFactor, double zFactor,
                                      double xShift, double yShift,
                                      double zShift, int32_t interpolation,
                                      uint8_t* pBuffer);

QELR_API qelStatus qelrResize_8u_C1PV(const uint8_t* const pSrc[],
                                      qelrVolume srcVolume, int32_t srcStep,
                                      qelrCuboid srcVoi, uint8_t* const pDst[],
                                      int32_t dstStep, qelrCuboid dstVoi,
                                      double xFactor, double yFactor,
                                      double zFactor, double xShift,
                                      double yShift, double zShift,
                                      int32_t interpolation,
                                      uint8_t* pBuffer);

QELR_API qelStatus qelrResize_16u_C1PV(const uint16_t* const pSrc[],
                                       qelrVolume srcVolume, int32_t srcStep,
                                       qelrCuboid srcVoi,
                                       uint16_t* const pDst[],
                                       int32_t dstStep, qelrCuboid dstVoi,
                                       double xFactor, double yFactor,
                                       double zFactor, double xShift,
                                       double yShift, double zShift,
                                       int32_t interpolation,
                                       uint8_t* pBuffer);

QELR_API qelStatus qelrResize_32f_C1PV(const float* const pSrc[],
                                       qelrVolume srcVolume, int32_t srcStep,
                                       qelrCuboid srcVoi, float* const pDst[],
                                       int32_t dstStep, qelrCuboid dstVoi,
                                       double xFactor, double yFactor,
                                       double zFactor, double xShift,
                                       double yShift, double zShift,
                                       int32_t interpolation,
                                       uint8_t* pBuffer);

/* Stores in *pSize the scratch bytes a resize worker needs for these
 * cuboids and code, times the library's thread count.  The size depends
 * only on the extents of dstVoi, nChannel and the code; 32-bit arithmetic,
 * overflow not detected.
 * Checks, in this order:
 *   pSize null                                          StatusNullPointer
 *   srcVoi, then dstVoi: x, width, y, height, z, depth
 *   negative or below 1                                 StatusBadSize
 *   nChannel other than 1                               StatusBadChannels
 *   interpolation not 1, 2, 4, 5, 6 or 7                StatusBadInterpolation
 */
QELR_API qelStatus qelrResizeGetBufSize(qelrCuboid srcVoi, qelrCuboid dstVoi,
                                        int32_t nChannel,
                                        int32_t interpolation,
                                        int32_t* pSize);

/* Stores in *pDstCuboid the destination box that srcVoi yields under these
 * factors and shifts when no destination region limits it.  Origins are
 * clamped at 0; the source volume is unknown here, so nothing clips srcVoi.
 * Checks, in this order:
 *   pDstCuboid null                                     StatusNullPointer
 *   srcVoi x, width, y, height, z, depth negative or below 1
 *                                                       StatusBadSize
 *   a factor not positive                               StatusBadFactor
 *   interpolation not 1, 2, 4, 5, 6 or 7                StatusBadInterpolation
 *   the box is empty on some axis (warning; *pDstCuboid unchanged)
 *                                                       StatusNoOverlap
 */
QELR_API qelStatus qelrGetResizeCuboid(qelrCuboid srcVoi,
                                       qelrCuboid* pDstCuboid,
                                       double xFactor, double yFactor,
                                       double zFactor, double xShift,
                                       double yShift, double zShift,
                                       int32_t interpolation);

/* ==== end volume resize ==== */

/* ==== Family: volume filter ==== */

/* A position inside a kernel, passed by value. */
typedef struct qelrPoint3D {
  int32_t x;
  int32_t y;
  int32_t z;
} qelrPoint3D;

/* Convolves a volume of int16_t samples with a kernel of int32_t
 * coefficients (width fastest, then height, then depth) and divides by
 * divisor, writing dstVolume's extent into pDst.  It is a true convolution
 * (the kernel runs reversed) around the anchor; the anchor is not examined.
 * There is no border: the source is read around the processed volume at
 * the offsets the kernel and anchor reach, including plane pointers before
 * pSrc[0] and after the last plane, so the caller passes pSrc and its row
 * pointers such that those neighbours exist.
 * The coefficients choose the arithmetic: when their signed sum is at most
 * 98301, every coefficient lies in -32767..32766 and dstVolume.width is at
 * least 16 (for shapes other than 3x3x3 and 5x5x5, each kernel extent at
 * least 3), sums are 32-bit integers that wrap without notice; otherwise a
 * safe tier runs, whose results may differ in rounding.  Ties round to
 * even.  Runs on a team of threads for large volumes.
 * Checks, in this order:
 *   pSrc, pDst or pKernel null, then pBuffer null        StatusNullPointer
 *   a dstVolume extent below 1                           StatusBadSize
 *   a kernelVolume extent below 1                        StatusBadSize
 *   divisor 0                                            StatusBadSize
 * Steps are in bytes and not examined.  pBuffer must hold at least what
 * qelrFilterGetBufSize reports. */
QELR_API qelStatus qelrFilter_16s_C1PV(const int16_t* const pSrc[],
                                       int32_t srcStep,
                                       int16_t* const pDst[], int32_t dstStep,
                                       qelrVolume dstVolume,
                                       const int32_t* pKernel,
                                       qelrVolume kernelVolume,
                                       qelrPoint3D anchor, int32_t divisor,
                                       uint8_t* pBuffer);

/* Stores in *pSize the scratch bytes qelrFilter_16s_C1PV needs, times the
 * library's thread count.
 * Checks, in this order:
 *   pSize null                                           StatusNullPointer
 *   an extent of dstVolume, then of kernelVolume, below 1 StatusBadSize
 *   nChannel other than 1                                StatusBadChannels
 */
QELR_API qelStatus qelrFilterGetBufSize(qelrVolume dstVolume,
                                        qelrVolume kernelVolume,
                                        int32_t nChannel, int32_t* pSize);

/* ==== end volume filter ==== */

/* ==== Family: volume remap ==== */

/* Resamples a source volume through three coordinate maps: entry (i, j) of
 * plane k of pxMap, pyMap, pzMap is the source position, in absolute
 * coordinates of srcVolume (not relative to srcVoi), of destination sample
 * (i, j, k).  The maps have dstVolume's width and height and share the row
 * step mapStep (bytes).  A position outside srcVoi (clipped to the source)
 * leaves the destination sample as it was.  Sources smaller than 4 on some
 * axis run the cubic codes as InterLinear, smaller than 2 every code as
 * InterNearest.  Runs on a team of threads for large destinations.
 * Checks, in this order (nothing written on any of them):
 *   pSrc or pDst null; then pxMap, pyMap or pzMap null (the arrays only)
 *                                                      StatusNullPointer
 *   srcVolume extent below 1; srcVoi x, width, y, height, z, depth
 *   negative or below 1; dstVolume extent below 1      StatusBadSize
 *   interpolation not 1, 2, 4, 5, 6 or 7               StatusBadInterpolation
 *   srcVoi starts outside srcVolume (warning)          StatusVoiOutside
 * Steps are not examined.
 * A source of depth 1 goes to a plane engine with its own rules: only
 * plane 0 of pDst is written, pzMap is not used, a null element 0 of
 * pSrc, pDst, pxMap or pyMap gives StatusNullPointer, InterCubicBSpline and
 * InterCubicB05C03 give StatusBadInterpolation, a step that is not
 * positive gives StatusBadStep, and a region starting outside the plane
 * gives the warning StatusRoiOutside (instead of StatusVoiOutside). */

QELR_API qelStatus qelrRemap_8u_C1PV(const uint8_t* const pSrc[],
                                     qelrVolume srcVolume, int32_t srcStep,
                                     qelrCuboid srcVoi,
                                     const float* const pxMap[],
                                     const float* const pyMap[],
                                     const float* const pzMap[],
                                     int32_t mapStep, uint8_t* const pDst[],
                                     int32_t dstStep, qelrVolume dstVolume,
                                     int32_t interpolation);

QELR_API qelStatus qelrRemap_16u_C1PV(const uint16_t* const pSrc[],
                                      qelrVolume srcVolume, int32_t srcStep,
                                      qelrCuboid srcVoi,
                                      const float* const pxMap[],
                                      const float* const pyMap[],
                                      const float* const pzMap[],
                                      int32_t mapStep,
                                      uint16_t* const pDst[], int32_t dstStep,
                                      qelrVolume dstVolume,
                                      int32_t interpolation);

QELR_API qelStatus qelrRemap_32f_C1PV(const float* const pSrc[],
                                      qelrVolume srcVolume, int32_t srcStep,
                                      qelrCuboid srcVoi,
                                      const float* const pxMap[],
                                      const float* const pyMap[],
                                      const float* const pzMap[],
                                      int32_t mapStep, float* const pDst[],
                                      int32_t dstStep, qelrVolume dstVolume,
                                      int32_t interpolation);

/* ==== end volume remap ==== */

/* ==== Family: volume affine warp ==== */

/* Applies the affine map coeffs (12 doubles, three rows of four) from
 * source to destination coordinates,
 *   X = c[0] x + c[1] y + c[2] z + c[3]
 *   Y = c[4] x + c[5] y + c[6] z + c[7]
 *   Z = c[8] x + c[9] y + c[10] z + c[11],
 * by inverse mapping: each sample of dstVoi takes the source position of
 * the inverted map, and a position outside srcVoi (clipped to the source)
 * leaves the destination sample as it was.  Both regions are absolute in
 * their volumes; the caller answers for dstVoi lying inside the
 * destination planes.  Sources smaller than 4 on some axis run the cubic
 * codes as InterLinear, smaller than 2 every code as InterNearest.  Runs
 * on a team of threads for large destination regions.
 * Checks, in this order (nothing written on any of them):
 *   pSrc or pDst null                                 StatusNullPointer
 *   srcVolume extent below 1; srcVoi, then dstVoi, x, width, y, height,
 *   z, depth negative or below 1                      StatusBadSize
 *   the map is degenerate (a quick test)              StatusSingularTransform
 *   interpolation not 1, 2, 4, 5, 6 or 7              StatusBadInterpolation
 *   srcVoi starts outside srcVolume (warning)         StatusVoiOutside
 *   determinant within 1e-10 of 0                     StatusSingularTransform
 * coeffs is not tested for null; steps are not examined; pBuffer is never
 * used and may be null.
 * A source of depth 1 goes to a plane engine with its own rules: it takes
 * c[0], c[1], c[2] and c[4], c[5], c[6] as the 2D map, so c[2] and c[6]
 * are the translation and c[3], c[7] are not used; a null element 0 of
 * pSrc or pDst gives StatusNullPointer; InterCubicBSpline and
 * InterCubicB05C03 give StatusBadInterpolation; it may also return
 * StatusRoiOutside (warning), StatusRegionTooSmall (clipped region under 2
 * samples wide or high), StatusSingularTransform, and StatusNoQuadOverlap
 * (warning: the mapped region misses dstVoi, or its working memory could
 * not be allocated). */

QELR_API qelStatus qelrWarpAffine_8u_C1PV(const uint8_t* const pSrc[],
                                          qelrVolume srcVolume,
                                          int32_t srcStep, qelrCuboid srcVoi,
                                          uint8_t* const pDst[],
                                          int32_t dstStep, qelrCuboid dstVoi,
                                          const double* coeffs,
                                          int32_t interpolation,
                                          uint8_t* pBuffer);

QELR_API qelStatus qelrWarpAffine_16u_C1PV(const uint16_t* const pSrc[],
                                           qelrVolume srcVolume,
                                           int32_t srcStep, qelrCuboid srcVoi,
                                           uint16_t* const pDst[],
                                           int32_t dstStep, qelrCuboid dstVoi,
                                           const double* coeffs,
                                           int32_t interpolation,
                                           uint8_t* pBuffer);

QELR_API qelStatus qelrWarpAffine_32f_C1PV(const float* const pSrc[],
                                           qelrVolume srcVolume,
                                           int32_t srcStep, qelrCuboid srcVoi,
                                           float* const pDst[],
                                           int32_t dstStep, qelrCuboid dstVoi,
                                           const double* coeffs,
                                           int32_t interpolation,
                                           uint8_t* pBuffer);

/* Stores 0 in *pSize: the warp needs no scratch.
 * Checks, in this order:
 *   pSize null                                        StatusNullPointer
 *   srcVoi, then dstVoi: x, width, y, height, z, depth
 *   negative or below 1                               StatusBadSize
 *   nChannel other than 1                             StatusBadChannels
 *   interpolation not 1, 2, 4, 5, 6 or 7              StatusBadInterpolation
 */
QELR_API qelStatus qelrWarpAffineGetBufSize(qelrCuboid srcVoi,
                                            qelrCuboid dstVoi,
                                            int32_t nChannel,
                                            int32_t interpolation,
                                            int32_t* pSize);

/* ==== end volume affine warp ==== */

#ifdef __cplusplus
}
#endif

#endif /* QELR_H */
