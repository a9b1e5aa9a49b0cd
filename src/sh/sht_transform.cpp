// shtForward and shtInverse: the block form where it gives the same bits as
// one direction at a time, that form itself otherwise.
//
// The block form cannot serve
//  - a state that the evaluator refuses (a corrupted mode, or an order above
//    15 from a recurrence state built for it): one direction at a time goes
//    on with the work array as it is, and the blocks have no
//    such array;
//  - arrays that overlap where one is written: the blocks read and write in
//    another order than direction by direction, channel by channel, and
//    with overlapping arrays that order shows in the results.
#include <cstddef>

#include "sh/sh_state_layout.h"
#include "sh/sht_blocks.h"
#include "sh/sht_by_direction.h"

namespace {

struct Span {
  uintptr_t begin, end;
};

// `count` floats `stride` apart, from the first to the last.
Span FloatsAt(const float* p, int32_t count, int32_t stride = 1) {
  const uintptr_t begin = reinterpret_cast<uintptr_t>(p);
  return {begin, begin + sizeof(float) * (size_t(count - 1) * size_t(stride) + 1)};
}

bool Overlap(Span a, Span b) {
  return a.begin < b.end && b.begin < a.end;
}

// True when no written span meets another written span or a read one.
bool WritesApart(const Span* written, int writtenCount, const Span* read, int readCount) {
  for (int w = 0; w < writtenCount; ++w) {
    for (int v = w + 1; v < writtenCount; ++v)
      if (Overlap(written[w], written[v]))
        return false;
    for (int r = 0; r < readCount; ++r)
      if (Overlap(written[w], read[r]))
        return false;
  }
  return true;
}

bool StateEvaluates(const qelrSHState* state, uint32_t order) {
  return shModeIsKnown(shReadHeader(state).mode) && order <= kShMaxOrder;
}

int32_t CoefficientCount(uint32_t order) {
  return static_cast<int32_t>((order + 1) * (order + 1));
}

}  // namespace

void shtForward(const ShtForwardJob& job) {
  if (!StateEvaluates(job.state, job.order)) {
    shtForwardByDirection(job);
    return;
  }
  const int32_t n = CoefficientCount(job.order);
  Span written[3], read[6];
  read[0] = FloatsAt(job.x, job.count);
  read[1] = FloatsAt(job.y, job.count);
  read[2] = FloatsAt(job.z, job.count);
  for (int c = 0; c < job.channels; ++c) {
    written[c] = FloatsAt(job.coeffs[c], n);
    read[3 + c] = FloatsAt(job.values[c], job.count, job.valueStride);
  }
  if (WritesApart(written, job.channels, read, 3 + job.channels))
    shtForwardBlocks(job);
  else
    shtForwardByDirection(job);
}

void shtInverse(const ShtInverseJob& job) {
  if (!StateEvaluates(job.state, job.order)) {
    shtInverseByDirection(job);
    return;
  }
  const int32_t n = CoefficientCount(job.order);
  Span written[3], read[6];
  read[0] = FloatsAt(job.x, job.count);
  read[1] = FloatsAt(job.y, job.count);
  read[2] = FloatsAt(job.z, job.count);
  for (int c = 0; c < job.channels; ++c)
    read[3 + c] = FloatsAt(job.coeffs[c], n);
  int writtenCount = job.channels;
  for (int c = 0; c < job.channels; ++c)
    written[c] = FloatsAt(job.dst[c], job.count, job.dstStride);
  if (job.dstStride > 1) {
    // Interleaved channels: one array, in which each value is written once.
    written[0].end = written[job.channels - 1].end;
    writtenCount = 1;
  }
  if (WritesApart(written, writtenCount, read, 3 + job.channels))
    shtInverseBlocks(job);
  else
    shtInverseByDirection(job);
}
