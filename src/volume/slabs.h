// The one split of a volume's planes among a team of threads.
//
// The master reads the team's size and computes `slice = depth / team` and
// `rest = depth % team`; after a barrier, thread t takes the `slice` planes
// from `slice * t`, and the last thread the `rest` more.  Threads write
// disjoint planes, so nothing else is shared.
#pragma once

#include <omp.h>

#include <cstdint>

struct SlabRange {
  int32_t first;  // first plane, relative to the volume's first
  int32_t count;  // planes; 0 when the team is larger than the depth
};

inline SlabRange SlabOfThread(int32_t slice, int32_t rest, int32_t team, int32_t thread) {
  return {slice * thread, thread == team - 1 ? slice + rest : slice};
}

// Opens a team of `requested` threads.  `masterWork()` runs on the master
// before the barrier (for values that every thread reads after it), then
// every thread runs `slabWork(thread, team, slab)`.  A runtime that starts
// fewer threads just makes bigger slabs; one that starts none runs the
// whole depth on the calling thread.
template <typename MasterWork, typename SlabWork>
void RunPlaneSlabs(int32_t depth, int32_t requested, MasterWork masterWork, SlabWork slabWork) {
  int32_t team = 1;
  int32_t slice = 0;
  int32_t rest = 0;
#pragma omp parallel num_threads(requested)
  {
#pragma omp master
    {
      team = omp_get_num_threads();
      slice = depth / team;
      rest = depth % team;
      masterWork();
    }
#pragma omp barrier
    const int32_t thread = omp_get_thread_num();
    slabWork(thread, team, SlabOfThread(slice, rest, team, thread));
  }
}
