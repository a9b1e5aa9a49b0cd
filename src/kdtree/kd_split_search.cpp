// The node decision of the cost-driven builder: leaf cost, threshold, the
// search of the three axes (in parallel on large nodes), the choice of axis
// and the stop rule.
#include "kdtree/kd_split_search.h"

namespace {

// Least cost, ties going y over x and z over either; with equal costs on
// all axes z is taken.
int ChooseAxis(const qelrSplitDecision candidates[3]) {
  const double x = candidates[0].cost, y = candidates[1].cost, z = candidates[2].cost;
  if (y <= x) return y < z ? 1 : 2;
  return z <= x ? 2 : 0;
}

// The stop rule.  The count enters twice, once in the leaf cost and once
// here, so the gain grows with its square while the threshold grows with
// the count alone: that is what makes large nodes split readily.
void Decide(const qelrSplitDecision candidates[3], int32_t count, double leafCost,
            float qualityScale, qelrSplitDecision* decision) {
  const int axis = ChooseAxis(candidates);
  const double threshold = localThreshold(qualityScale, leafCost);
  if (static_cast<double>(count) * (leafCost - candidates[axis].cost) > threshold) {
    *decision = candidates[axis];
    decision->axis = axis;
  } else {
    decision->axis = -1;
  }
}

void StartCandidates(double leafCost, const float box[6], qelrSplitDecision candidates[3]) {
  for (int axis = 0; axis < 3; ++axis) {
    candidates[axis].cost = leafCost;
    candidates[axis].position = box[axis];
    candidates[axis].axis = axis;
    candidates[axis].leftCount = 0;
    candidates[axis].rightCount = 0;
    candidates[axis].flatSide = 0;
  }
}

}  // namespace

float localQualityScale(float qualityLevel) {
  return static_cast<float>((10.0 - static_cast<double>(qualityLevel) * 9.0) * 0.5057569742202759);
}

double localLeafCost(const float box[6], int32_t count) {
  const double dx = box[3] - box[0], dy = box[4] - box[1], dz = box[5] - box[2];
  return (dx * (dy + dz) + dy * dz) * static_cast<double>(count);
}

double localThreshold(float qualityScale, double leafCost) {
  const double scaled = static_cast<double>(qualityScale) * leafCost;
  const double least = kKDFlatExtent;
  return scaled > least ? scaled : least;
}

void localFindBestSplit(KDEventArrays* events, const KDTriangleRef* refs, int32_t count,
                        const float box[6], float qualityScale, bool sameReferences,
                        qelrSplitDecision* decision) {
  if (!sameReferences) localForgetSortedEvents(events);
  decision->cost = localLeafCost(box, count);
  if (count < kKDParallelSearchMinCount)
    localFindBestSplitSortSearch(events, refs, count, box, decision, qualityScale);
  else
    localFindBestSplitSortSearch_MT(events, refs, count, box, decision, qualityScale);
}

void localFindBestSplitSortSearch(KDEventArrays* events, const KDTriangleRef* refs,
                                  int32_t count, const float box[6], qelrSplitDecision* decision,
                                  float qualityScale) {
  const double leafCost = decision->cost;
  qelrSplitDecision candidates[3];
  StartCandidates(leafCost, box, candidates);
  // Small nodes reuse the first axis's arrays for all three axes, so those
  // hold nothing reusable afterwards.
  localForgetSortedEvents(events);
  for (int axis = 0; axis < 3; ++axis) {
    KDAxisEvents held;
    held.lowCount = -1;
    localEvaluateAxis(events->axis[0], events->sorted, refs, count, box, axis, &candidates[axis],
                      &held);
  }
  Decide(candidates, count, leafCost, qualityScale, decision);
}

void localFindBestSplitSortSearch_MT(KDEventArrays* events, const KDTriangleRef* refs,
                                     int32_t count, const float box[6],
                                     qelrSplitDecision* decision, float qualityScale) {
  const double leafCost = decision->cost;
  qelrSplitDecision candidates[3];
  StartCandidates(leafCost, box, candidates);

  // One thread per live axis.  With fewer than two live axes no axis can
  // offer a plane (its two other extents would both be flat), so no team
  // is started and the node stays a leaf.
  int live[3];
  int liveCount = 0;
  for (int axis = 0; axis < 3; ++axis)
    if (box[axis + 3] - box[axis] > kKDFlatExtent) live[liveCount++] = axis;

  if (liveCount >= 2) {
    // Each iteration writes only its own axis's arrays and candidate.
#pragma omp parallel for num_threads(liveCount) schedule(static)
    for (int k = 0; k < liveCount; ++k) {
      const int axis = live[k];
      localEvaluateAxis(events->axis[axis], events->sorted, refs, count, box, axis,
                        &candidates[axis], &events->held[axis]);
    }
  }
  Decide(candidates, count, leafCost, qualityScale, decision);
}
