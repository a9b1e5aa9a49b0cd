// Split search of the cost-driven builder: for one node, where is the best
// axis-aligned plane, and is it worth splitting at all?
//
// Costs are surface-area costs.  Events are not one list of typed entries
// but separately sorted float arrays (polygon starts, polygon ends, and the
// coordinates of polygons flat on the axis) merged on the fly.
#pragma once

#include <cstdint>

#include "kdtree/kd_sorted_events.h"
#include "kdtree/kd_split_search_reference.h"

// The answer for one axis, and then for the node.
struct qelrSplitDecision {
  double cost;         // starts as the node's leaf cost
  float position;      // the plane's position on the axis
  int32_t axis;        // 0, 1, 2, or -1 for "stay a leaf" (node decision only)
  int32_t leftCount;   // polygons on the low side
  int32_t rightCount;  // polygons on the high side
  int32_t flatSide;    // polygons flat on the plane go left if 0, right if 1
};

// Four arrays of one axis, each with room for every reference of the root.
enum KDEventArray { kKDLows = 0, kKDHighs = 1, kKDFlats = 2, kKDScratch = 3 };

// What one axis's arrays hold: the events of the references last gathered
// into them, sorted or not yet.
struct KDAxisEvents {
  int32_t lowCount;   // -1: nothing usable
  int32_t flatCount;
  bool sorted;
  bool orderSensitive;  // a zero or a NaN among them
  float leastLow, greatestHigh;
};

struct KDEventArrays {
  float* axis[3][4];
  // The node's events kept sorted by the walk, or null.  Axes they serve
  // (localSortedAxisServes) are swept from them without gathering.
  const KDSortedEvents* sorted;
  // After the search of a large node, what each axis's arrays hold.  A node
  // cut off from empty space keeps its parent's references, and so its
  // parent's events.
  KDAxisEvents held[3];
};

// Marks every axis's arrays as holding nothing reusable.
void localForgetSortedEvents(KDEventArrays* events);

// Nodes from this many polygons on search their axes in parallel.
constexpr int32_t kKDParallelSearchMinCount = 76;
// Event lists from this length on are radix-sorted.
constexpr int32_t kKDRadixSortMinCount = 321;
// The single-precision 1e-5 under which an extent counts as flat.
constexpr float kKDFlatExtent = 1e-5f;
// The bonus factor for cutting off empty space or flat polygons on a face.
constexpr double kKDEmptySpaceBonus = 0.699999988079071;

// Once per build: the quality level turned into the threshold's scale.
float localQualityScale(float qualityLevel);
// Half the surface area of `box` times `count`, in double precision.
double localLeafCost(const float box[6], int32_t count);
// The least gain for which a node is split.
double localThreshold(float qualityScale, double leafCost);

// The node decision: fills `decision` (axis -1 when the node stays a leaf).
// Nodes of fewer than 76 polygons are searched on the calling thread.
// `sameReferences` says that the references are those of the last node
// searched, unchanged, so that events sorted then may be used again.
void localFindBestSplit(KDEventArrays* events, const KDTriangleRef* refs, int32_t count,
                        const float box[6], float qualityScale, bool sameReferences,
                        qelrSplitDecision* decision);

// The two forms of the search; `decision->cost` holds the leaf cost on entry.
void localFindBestSplitSortSearch(KDEventArrays* events, const KDTriangleRef* refs,
                                  int32_t count, const float box[6], qelrSplitDecision* decision,
                                  float qualityScale);
void localFindBestSplitSortSearch_MT(KDEventArrays* events, const KDTriangleRef* refs,
                                     int32_t count, const float box[6],
                                     qelrSplitDecision* decision, float qualityScale);

// One axis: sweeps the kept sorted events where they serve, else gathers
// and sorts the events into `arrays` and sweeps those.  `candidate->cost`
// holds the leaf cost on entry and keeps it when the axis has no plane to
// offer.  `held` tells what the arrays hold already (events of these same
// references, or nothing) and is kept up to date.  `sorted` may be null.
void localEvaluateAxis(float* const arrays[4], const KDSortedEvents* sorted,
                       const KDTriangleRef* refs, int32_t count, const float box[6], int axis,
                       qelrSplitDecision* candidate, KDAxisEvents* held);

// The sorted events of one axis and what the sweeps need of the box.
struct KDSweepInput {
  const float* lows;
  const float* highs;
  int32_t n;  // length of lows and highs
  const float* flats;
  int32_t f;  // length of flats
  float low, high;      // the box on the axis
  float extent1, extent2;  // the box's extents on the two other axes
};

// The sweep of an axis without flat polygons (f is 0) and with them.
// Both fill cost, position, leftCount, rightCount and flatSide.
void localSweep(const KDSweepInput& in, qelrSplitDecision* result);
void localSweepFlats(const KDSweepInput& in, qelrSplitDecision* result);
// localSweep with the starts and ends given as one list of 2 * n events in
// the kept order (kd_sorted_events.h) rather than as two lists; for events
// without NaNs.  The same planes in the same order, the same result.
void localSweepEvents(const KDSweepInput& in, const float* events, const int32_t* tags,
                      qelrSplitDecision* result);
// The sweeps' first step on its own: cuts off an empty end of the box when
// one is wide enough, given the sorted lists' first and last values (the
// lows and highs themselves are not read).  True when a cut was taken.
bool localTakeEndCut(const KDSweepInput& in, float first, float last, qelrSplitDecision* result);

// Ascending radix sort of floats, in three passes of 11, 11 and 10 bits
// through `scratch`; -0 comes before +0.
void localRadixSort32f(float* array, float* scratch, int32_t count);
// The same order by passes of 8 bits, for shorter lists.
void localRadixSortShort32f(float* array, float* scratch, int32_t count);
