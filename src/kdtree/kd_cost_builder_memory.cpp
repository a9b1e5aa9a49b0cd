// The build's memory: the context, the event arrays, the reference and
// clip pools, the three chunk lists and the free lists of polygon arrays,
// all charged against the caller's budget.
//
// The builder trusts the budget, not the allocations: a limit above the
// memory that can really be had is the caller's error.  Still, a block the
// core cannot give ends the build with StatusNoMemory, so that nothing is
// ever written through a null pointer.
#include <cstring>

#include "frame/qelr_internal.h"
#include "kdtree/kd_cost_builder.h"

namespace {

constexpr uint32_t kContextCharge = 204;        // 51 words
constexpr uint32_t kChunkRoom = 0x1000000;      // 16 MiB of records
constexpr uint32_t kChunkCharge = 0x1000014;    // the block and its 20-byte item
constexpr uint32_t kPoolGranule = 0xFF000000u;  // pools are whole multiples of 16 MiB
constexpr uint32_t kReferenceCharge = 12;
constexpr uint32_t kPointCharge = 12;
constexpr size_t kChunkHeader = 64;  // the item, padded so records stay aligned

void InitList(KDChunkList* list, uint32_t unitCharge, uint32_t unitBytes) {
  list->head.next = list->head.prev = &list->head;
  list->head.base = nullptr;
  list->head.end = list->head.cursor = 0;
  list->unitCharge = unitCharge;
  list->unitBytes = unitBytes;
}

void ReleaseList(KDChunkList* list) {
  KDChunk* item = list->head.next;
  while (item != &list->head) {
    KDChunk* next = item->next;
    ownFree(item);
    item = next;
  }
  list->head.next = list->head.prev = &list->head;
}

// Room for `chargedSize` bytes of records charged `charge` each, in real
// records of `bytes` each; null when that exceeds what one block can hold.
void* AllocPool(uint32_t chargedSize, uint32_t charge, size_t bytes) {
  const uint64_t records = chargedSize / charge + 1;
  const uint64_t total = records * bytes;
  if (total > 0x7FFFFFFFu) return nullptr;
  return ownAllocBytes(static_cast<int32_t>(total));
}

template <typename Record>
bool MakePool(KDPool<Record>* pool, uint32_t chargedSize, uint32_t charge) {
  pool->chargedSize = chargedSize;
  pool->cursor = 0;
  pool->base = static_cast<Record*>(AllocPool(chargedSize, charge, sizeof(Record)));
  return pool->base != nullptr;
}

template <typename Record>
void ReleasePool(KDPool<Record>* pool) {
  ownFree(pool->base);
  pool->base = nullptr;
}

}  // namespace

uint32_t localKDBudgetNeed(int32_t triangleCount, int32_t vertexCount) {
  return 84u * static_cast<uint32_t>(triangleCount) + 12u * static_cast<uint32_t>(vertexCount) +
         33554676u;
}

qelStatus localKDCreateContext(uint32_t byteLimit, int32_t triangleCount, int32_t vertexCount,
                               KDCostContext** context) {
  *context = nullptr;
  KDCostContext* c = static_cast<KDCostContext*>(ownAllocBytes(sizeof(KDCostContext)));
  if (c == nullptr) return StatusNoMemory;
  std::memset(c, 0, sizeof *c);
  InitList(&c->nodeChunks, 24, 2 * sizeof(KDBuildNode));
  InitList(&c->listChunks, 4, 4);
  InitList(&c->polygonChunks, 4, sizeof(const float*));
  c->budgetTotal = byteLimit;
  c->budgetLeft = byteLimit - kContextCharge;

  const uint32_t t = static_cast<uint32_t>(triangleCount);
  bool ok = true;
  for (int axis = 0; axis < 3; ++axis) {
    for (int k = 0; k < 4; ++k) {
      c->events.axis[axis][k] = static_cast<float*>(ownAllocWords(triangleCount));
      c->budgetLeft -= 4u * t;
      if (triangleCount > 0 && c->events.axis[axis][k] == nullptr) ok = false;
    }
  }
  // Three references' worth per triangle and 48 bytes per vertex, rounded
  // down to 16 MiB, plus 16 MiB.  The budget may go "negative" here: it is
  // unsigned and wraps, and then any number of chunks fits.
  const uint32_t refBytes = ((36u * t) & kPoolGranule) + kChunkRoom;
  const uint32_t clipBytes = ((48u * static_cast<uint32_t>(vertexCount)) & kPoolGranule) + kChunkRoom;
  if (ok) ok = MakePool(&c->refPool, refBytes, kReferenceCharge);
  c->budgetLeft -= refBytes;
  if (ok) ok = MakePool(&c->clipPool, clipBytes, kPointCharge);
  c->budgetLeft -= clipBytes;

  if (!ok) {
    localKDReleaseContext(c);
    return StatusNoMemory;
  }
  *context = c;
  return StatusOk;
}

void* localKDChunkRequest(KDCostContext* context, KDChunkList* list, uint32_t units,
                          qelStatus* status) {
  const uint32_t size = units * list->unitCharge;
  KDChunk* last = list->head.prev;
  if (static_cast<uint64_t>(last->cursor) + size < last->end) {
    uint8_t* record = last->base + static_cast<size_t>(last->cursor / list->unitCharge) * list->unitBytes;
    last->cursor += size;
    return record;
  }
  if (context->budgetLeft < kChunkCharge) {
    *status = StatusAllocFailed;
    return nullptr;
  }
  // A fresh chunk.  A request larger than a chunk is charged as one chunk,
  // as before, but gets the room it needs rather than running over.
  uint64_t records = kChunkRoom / list->unitCharge + 1;
  if (units > records) records = units;
  const uint64_t total = kChunkHeader + records * list->unitBytes;
  KDChunk* item = total > 0x7FFFFFFFu ? nullptr : static_cast<KDChunk*>(ownAllocBytes(static_cast<int32_t>(total)));
  if (item == nullptr) {
    *status = StatusNoMemory;
    return nullptr;
  }
  item->base = reinterpret_cast<uint8_t*>(item) + kChunkHeader;
  item->end = kChunkRoom;
  item->cursor = size;
  item->prev = last;
  item->next = &list->head;
  last->next = item;
  list->head.prev = item;
  context->budgetLeft -= kChunkCharge;
  return item->base;
}

const float** localKDTakePolygon(KDCostContext* context, int32_t count, qelStatus* status) {
  const float** polygon = context->polygonFree[count];
  if (polygon != nullptr) {
    // A free array's first slot links to the next free array of its size.
    std::memcpy(&context->polygonFree[count], &polygon[0], sizeof(const float**));
    return polygon;
  }
  return static_cast<const float**>(
      localKDChunkRequest(context, &context->polygonChunks, static_cast<uint32_t>(count), status));
}

void localKDGivePolygon(KDCostContext* context, const float** polygon, int32_t count) {
  std::memcpy(&polygon[0], &context->polygonFree[count], sizeof(const float**));
  context->polygonFree[count] = polygon;
}

float* localKDNewPoint(KDCostContext* context) {
  KDPool<KDPoint>& pool = context->clipPool;
  if (!((static_cast<uint64_t>(pool.cursor) + 1) * kPointCharge < pool.chargedSize)) return nullptr;
  return pool.base[pool.cursor++].xyz;
}

void localKDKeepEvents(KDCostContext* context) {
  KDKeptEvents& kept = context->kept;
  const int32_t roots = context->rootCount;
  const int64_t waitingRefs =
      static_cast<int64_t>(context->refPool.chargedSize / kReferenceCharge + 1) - roots;
  const int64_t nodeSlots = KDSortedEventSlots(roots);
  const int64_t waitingSlots = 6 * waitingRefs + 1;
  const int64_t bytes[5] = {
      8 * nodeSlots, 8 * nodeSlots, 8 * waitingSlots,
      static_cast<int64_t>(sizeof(uint32_t) + sizeof(KDCutParts)) * roots,
      6 * static_cast<int64_t>(sizeof(uint64_t)) * roots};
  for (int64_t b : bytes)
    if (b > 0x7FFFFFFF) return;  // too large a scene: sort node by node
  // The kept events only save time: without their blocks the build sorts
  // node by node and makes the same tree, so a refusal is not an error.
  for (int k = 0; k < 5; ++k) {
    kept.blocks[k] = ownAllocBytes(static_cast<int32_t>(bytes[k]));
    if (kept.blocks[k] == nullptr) {
      for (void*& block : kept.blocks) {
        ownFree(block);
        block = nullptr;
      }
      return;
    }
  }
  auto halves = [](void* block, int64_t slots, float** values, int32_t** tags) {
    *values = static_cast<float*>(block);
    *tags = reinterpret_cast<int32_t*>(*values + slots);
  };
  halves(kept.blocks[0], nodeSlots, &kept.current.values, &kept.current.tags);
  halves(kept.blocks[1], nodeSlots, &kept.next.values, &kept.next.tags);
  halves(kept.blocks[2], waitingSlots, &kept.waitingValues, &kept.waitingTags);
  kept.waitingBase = static_cast<uint32_t>(roots);
  kept.route = static_cast<uint32_t*>(kept.blocks[3]);
  kept.cuts = reinterpret_cast<KDCutParts*>(kept.route + roots);
  uint64_t* room = static_cast<uint64_t*>(kept.blocks[4]);
  kept.room.leftCuts = room;
  kept.room.rightCuts = room + 2 * static_cast<int64_t>(roots);
  kept.room.spare = room + 4 * static_cast<int64_t>(roots);
  kept.inUse = true;
}

void localKDReleaseWorkingMemory(KDCostContext* context) {
  for (void*& block : context->kept.blocks) {
    ownFree(block);
    block = nullptr;
  }
  context->kept.inUse = false;
  ReleaseList(&context->polygonChunks);
  std::memset(context->polygonFree, 0, sizeof context->polygonFree);
  ReleasePool(&context->refPool);
  ReleasePool(&context->clipPool);
  for (int axis = 0; axis < 3; ++axis) {
    for (int k = 0; k < 4; ++k) {
      ownFree(context->events.axis[axis][k]);
      context->events.axis[axis][k] = nullptr;
    }
  }
}

void localKDReleaseContext(KDCostContext* context) {
  // Released parts are null by now, and releasing null is harmless.
  localKDReleaseWorkingMemory(context);
  ReleaseList(&context->nodeChunks);
  ReleaseList(&context->listChunks);
  ownFree(context);
}
