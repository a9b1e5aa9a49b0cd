// The cost-driven builder: its build context, memory pools and chunk lists,
// and the steps that turn a triangle soup into the in-memory tree.
//
// All working memory is charged against the caller's byte budget in the
// units of 32-bit records (a reference 12 bytes, a node pair 24, a polygon
// array 4 per vertex, a chunk 16 MiB plus a 20-byte item), so that a given
// budget fails at the same points on every platform.  With 64-bit pointers
// the records that hold them are wider; their blocks are sized for the
// wider records, while the charges and the room tests keep the 32-bit
// units.
#pragma once

#include <cstdint>

#include "kdtree/kd_build_node.h"
#include "kdtree/kd_split_search.h"

// Memory of one list of chunks.  A chunk holds a whole number of records;
// `unitCharge` is what one record counts for against the chunk's 16 MiB
// and `unitBytes` its real size.
struct KDChunk {
  KDChunk* next;
  KDChunk* prev;
  uint8_t* base;    // the chunk's records (null in the list head)
  uint32_t end;     // room of the chunk, in charged bytes (0 in the head)
  uint32_t cursor;  // charged bytes handed out so far
};

struct KDChunkList {
  KDChunk head;  // circular; the last item serves requests
  uint32_t unitCharge;
  uint32_t unitBytes;
};

// A stack of records whose room is tested in charged bytes: a reservation
// of n records at the cursor fits when (cursor + n) * unitCharge stays
// below `chargedSize`.
template <typename Record>
struct KDPool {
  Record* base;
  uint32_t chargedSize;
  uint32_t cursor;  // in records
};

struct KDPoint {
  float xyz[3];
};

// The most vertices a polygon can have (5 bits of the key).
constexpr int32_t kKDMaxPolygon = 31;
// Room for the points that clipping one triangle to a box can make.
constexpr int32_t kKDClipRoom = 81;

// The walk's sorted events (kd_sorted_events.h): the working node's, room
// for the next node's, and those of the first children waiting on the
// stack, each at the slots that mirror its list's place in the reference
// pool.  Not charged: they stand in for the event arrays' sorting work.
struct KDKeptEvents {
  bool inUse;  // false: every node gathers and sorts its own events
  KDSortedEvents current;
  KDSortedEvents next;
  float* waitingValues;
  int32_t* waitingTags;
  uint32_t waitingBase;  // the pool index that slot 0 mirrors
  uint32_t* route;       // per reference of a split node
  KDCutParts* cuts;
  KDEventSplitRoom room;
  void* blocks[5];
};

struct KDCostContext {
  uint32_t budgetTotal;
  uint32_t budgetLeft;  // unsigned: the pools may take it below zero, and it wraps
  const float* vertexBase;
  const float* vertexEnd;
  const int32_t* triangleBase;
  const int32_t* triangleEnd;
  KDPool<KDTriangleRef> refPool;
  KDPool<KDPoint> clipPool;
  KDEventArrays events;
  KDChunkList nodeChunks;
  KDChunkList listChunks;
  const float** polygonFree[kKDMaxPolygon + 1];  // by vertex count
  KDChunkList polygonChunks;
  KDKeptEvents kept;
  // What the walk needs besides the memory.
  float qualityScale;
  uint32_t depthLimit;
  bool keepSortedEvents;
  float rootBox[6];
  int32_t rootCount;
  KDBuildNode* root;
};

// The settings of one build, as taken from the parameter record.
struct KDCostSettings {
  uint32_t depthLimit;
  float qualityLevel;
  uint32_t byteLimit;
  const float* clipBox;  // null: the root box is the vertices' bounding box
  // Whether the walk keeps events sorted from node to node; without, every
  // node gathers and sorts its own (the same tree, more slowly).
  bool keepSortedEvents = true;
};

// ---- kd_cost_builder_memory.cpp ----

// The working memory needed for a scene, in 32-bit units.
uint32_t localKDBudgetNeed(int32_t triangleCount, int32_t vertexCount);
// Allocates the context, the event arrays and the two pools and charges
// them.  On failure everything taken is released and *context stays null.
qelStatus localKDCreateContext(uint32_t byteLimit, int32_t triangleCount, int32_t vertexCount,
                               KDCostContext** context);
// Hands out `units` records from a chunk list, or null when the budget
// cannot pay for a new chunk (or no memory is left for one).
void* localKDChunkRequest(KDCostContext* context, KDChunkList* list, uint32_t units,
                          qelStatus* status);
// Polygon arrays of `count` points: from the free list of that size, else
// from the polygon chunks.
const float** localKDTakePolygon(KDCostContext* context, int32_t count, qelStatus* status);
void localKDGivePolygon(KDCostContext* context, const float** polygon, int32_t count);
// Room for the walk's sorted events of the root's references, once these
// stand in the pool; leaves kept.inUse false when a block would be too
// large or the core cannot give one (the walk then sorts node by node).
void localKDKeepEvents(KDCostContext* context);
// One point in the clip pool, or null when it is full.
float* localKDNewPoint(KDCostContext* context);
// Before packing: the polygon chunks, the pools and the event arrays.
void localKDReleaseWorkingMemory(KDCostContext* context);
// Everything that is left, the context included.
void localKDReleaseContext(KDCostContext* context);

// ---- kd_cost_builder_clip.cpp ----

// Clips a triangle to a box, axis by axis.  Writes the point pointers to
// `polygon` (points made by clipping go to `made`) and returns the vertex
// count, under 3 when the triangle is dropped.
int32_t localKDClipTriangle(const float* const corners[3], const float box[6],
                            const float* polygon[kKDMaxPolygon], KDPoint made[kKDClipRoom]);
// A point on the edge from a to b where coordinate `axis` is `plane`.
void localKDEdgePoint(const float* a, const float* b, int axis, float plane, float out[3]);
// Cuts a reference that straddles the plane into its two parts.
qelStatus localKDCutReference(KDCostContext* context, const KDTriangleRef& ref, int axis,
                              float position, KDTriangleRef* left, KDTriangleRef* right);

// ---- kd_cost_builder_refs.cpp ----

// The root box and the first references, one per triangle that survives
// clipping, at the bottom of the reference pool.
qelStatus localKDFirstReferences(KDCostContext* context, const float* vertices,
                                 const int32_t* triangles, int32_t vertexCount,
                                 int32_t triangleCount, const float* clipBox);

// ---- kd_cost_builder_walk.cpp ----

// Takes the root's pair and grows the tree under it.
qelStatus localKDGrowTree(KDCostContext* context);

// ---- kd_cost_builder.cpp ----

// Everything up to the in-memory tree.  On success *context holds it
// (context->root) and must be given to localKDFinishBuild or
// localKDReleaseContext; on failure nothing is left allocated.
qelStatus localKDBuildInMemory(const float* vertices, const int32_t* triangles,
                               int32_t vertexCount, int32_t triangleCount,
                               const KDCostSettings& settings, KDCostContext** context);
// Packs the in-memory tree and releases the context.
qelStatus localKDFinishBuild(KDCostContext* context, qelrKDNode** tree, int32_t* treeSize);
