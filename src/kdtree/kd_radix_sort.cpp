// Least-significant-digit radix sort of floats: three passes of 11, 11 and
// 10 bits over order-preserving unsigned keys.
#include <cstring>
#include <utility>

#include "kdtree/kd_float_key.h"
#include "kdtree/kd_split_search.h"

namespace {

typedef uint32_t __attribute__((may_alias)) Word;

constexpr int kDigitCount = 2048;
constexpr int kPrefetchAhead = 64;

inline uint32_t ToKey(uint32_t bits) { return KDFloatKeyFromBits(bits); }
inline uint32_t FromKey(uint32_t key) { return KDFloatBitsFromKey(key); }

inline uint32_t Digit0(uint32_t key) { return key & 0x7FFu; }
inline uint32_t Digit1(uint32_t key) { return (key >> 11) & 0x7FFu; }
inline uint32_t Digit2(uint32_t key) { return key >> 22; }

// Exclusive running sums: each counter becomes its digit's first slot.
void ToStarts(uint32_t* histogram) {
  uint32_t sum = 0;
  for (int d = 0; d < kDigitCount; ++d) {
    uint32_t c = histogram[d];
    histogram[d] = sum;
    sum += c;
  }
}

template <uint32_t (*DigitOf)(uint32_t)>
void Scatter(const Word* from, Word* to, uint32_t* starts, int32_t count) {
  for (int32_t k = 0; k < count; ++k) {
    __builtin_prefetch(from + k + kPrefetchAhead);
    uint32_t key = from[k];
    to[starts[DigitOf(key)]++] = key;
  }
}

// One pass of 8 bits: turns the digit counts into first slots and moves the
// keys to them, in order, so the pass is stable.
void ScatterByByte(const Word* from, Word* to, uint32_t* starts, int32_t count, int shift) {
  uint32_t sum = 0;
  for (int b = 0; b < 256; ++b) {
    const uint32_t c = starts[b];
    starts[b] = sum;
    sum += c;
  }
  for (int32_t k = 0; k < count; ++k) {
    const uint32_t key = from[k];
    to[starts[(key >> shift) & 0xFFu]++] = key;
  }
}

// Sorts keys[begin, end) by their low `bits` bits (the higher ones are all
// equal), in passes of 8 bits through spare[begin, end); leaves the sorted
// keys, turned back into floats, in keys.
void SortBucket(Word* keys, Word* spare, int32_t begin, int32_t end, int bits) {
  const int32_t count = end - begin;
  if (count < 64) {
    // Insertion sort for the many short buckets.
    for (int32_t k = begin + 1; k < end; ++k) {
      const uint32_t key = keys[k];
      int32_t at = k;
      while (at > begin && static_cast<uint32_t>(keys[at - 1]) > key) {
        keys[at] = keys[at - 1];
        --at;
      }
      keys[at] = key;
    }
    for (int32_t k = begin; k < end; ++k) keys[k] = FromKey(keys[k]);
    return;
  }
  Word* from = keys + begin;
  Word* to = spare + begin;
  for (int shift = 0; shift < bits; shift += 8) {
    uint32_t starts[256] = {};
    for (int32_t k = 0; k < count; ++k) ++starts[(from[k] >> shift) & 0xFFu];
    if (starts[(from[0] >> shift) & 0xFFu] == static_cast<uint32_t>(count)) continue;
    ScatterByByte(from, to, starts, count, shift);
    std::swap(from, to);
  }
  Word* out = keys + begin;
  for (int32_t k = 0; k < count; ++k) out[k] = FromKey(from[k]);
}

// Long lists: one scatter by the 11 highest bits in which the keys differ,
// then each bucket, small enough to stay in the cache, on its own.
// Scattering a long list through 2048 far-apart streams three times costs
// more than the extra bookkeeping.
void SortLong(Word* keys, Word* spare, int32_t count) {
  uint32_t least = 0xFFFFFFFFu, greatest = 0;
  for (int32_t k = 0; k < count; ++k) {
    const uint32_t key = ToKey(keys[k]);
    keys[k] = key;
    least = key < least ? key : least;
    greatest = key > greatest ? key : greatest;
  }
  const uint32_t differ = least ^ greatest;
  const int top = differ == 0 ? 0 : 31 - __builtin_clz(differ);  // highest differing bit
  const int shift = top >= 11 ? top - 10 : 0;
  uint32_t starts[kDigitCount];
  std::memset(starts, 0, sizeof starts);
  for (int32_t k = 0; k < count; ++k) ++starts[(static_cast<uint32_t>(keys[k]) >> shift) & 0x7FFu];
  uint32_t bounds[kDigitCount + 1];
  uint32_t sum = 0;
  for (int d = 0; d < kDigitCount; ++d) {
    bounds[d] = sum;
    sum += starts[d];
    starts[d] = bounds[d];
  }
  bounds[kDigitCount] = sum;
  for (int32_t k = 0; k < count; ++k) {
    __builtin_prefetch(keys + k + kPrefetchAhead);
    const uint32_t key = keys[k];
    spare[starts[(key >> shift) & 0x7FFu]++] = key;
  }
  // The buckets now lie in spare, in order; each is sorted back into keys
  // by the bits below the bucket's.
  for (int d = 0; d < kDigitCount; ++d) {
    const int32_t begin = static_cast<int32_t>(bounds[d]), end = static_cast<int32_t>(bounds[d + 1]);
    if (begin == end) continue;
    std::memcpy(keys + begin, spare + begin, sizeof(uint32_t) * static_cast<size_t>(end - begin));
    SortBucket(keys, spare, begin, end, shift);
  }
}

// From this length on the long form pays; below the other bound, passes of
// 8 bits with their small histograms do.
constexpr int32_t kLongSortMinCount = 1 << 16;
constexpr int32_t kWideDigitMinCount = 2048;

}  // namespace

void localRadixSort32f(float* array, float* scratch, int32_t count) {
  if (count >= kLongSortMinCount) {
    SortLong(reinterpret_cast<Word*>(array), reinterpret_cast<Word*>(scratch), count);
    return;
  }
  if (count < kWideDigitMinCount) {
    localRadixSortShort32f(array, scratch, count);
    return;
  }
  uint32_t histograms[3][kDigitCount];
  std::memset(histograms, 0, sizeof histograms);
  Word* keys = reinterpret_cast<Word*>(array);
  Word* spare = reinterpret_cast<Word*>(scratch);

  // Keys and all three histograms in one pass.
  for (int32_t k = 0; k < count; ++k) {
    uint32_t key = ToKey(keys[k]);
    keys[k] = key;
    ++histograms[0][Digit0(key)];
    ++histograms[1][Digit1(key)];
    ++histograms[2][Digit2(key)];
  }

  // A digit that all keys share leaves the order as it is, so its pass is
  // skipped (often the top one, within one node's narrow range).  The
  // result is the same stable order by the whole key either way.
  const uint32_t first = count > 0 ? static_cast<uint32_t>(keys[0]) : 0;
  const bool needed[3] = {histograms[0][Digit0(first)] != static_cast<uint32_t>(count),
                          histograms[1][Digit1(first)] != static_cast<uint32_t>(count),
                          histograms[2][Digit2(first)] != static_cast<uint32_t>(count)};
  Word* from = keys;
  Word* to = spare;
  if (needed[0]) {
    ToStarts(histograms[0]);
    Scatter<Digit0>(from, to, histograms[0], count);
    std::swap(from, to);
  }
  if (needed[1]) {
    ToStarts(histograms[1]);
    Scatter<Digit1>(from, to, histograms[1], count);
    std::swap(from, to);
  }
  if (needed[2]) {
    ToStarts(histograms[2]);
    Scatter<Digit2>(from, to, histograms[2], count);
    std::swap(from, to);
  }

  for (int32_t k = 0; k < count; ++k) keys[k] = FromKey(from[k]);
}

void localRadixSortShort32f(float* array, float* scratch, int32_t count) {
  // Four passes of 8 bits: small histograms suit short lists, and within a
  // node's narrow range the top digits are usually shared and skipped.
  uint32_t histograms[4][256];
  std::memset(histograms, 0, sizeof histograms);
  Word* keys = reinterpret_cast<Word*>(array);
  for (int32_t k = 0; k < count; ++k) {
    const uint32_t key = ToKey(keys[k]);
    keys[k] = key;
    for (int d = 0; d < 4; ++d) ++histograms[d][(key >> (8 * d)) & 0xFFu];
  }
  Word* from = keys;
  Word* to = reinterpret_cast<Word*>(scratch);
  const uint32_t first = count > 0 ? static_cast<uint32_t>(keys[0]) : 0;
  for (int d = 0; d < 4; ++d) {
    uint32_t* starts = histograms[d];
    const int shift = 8 * d;
    if (starts[(first >> shift) & 0xFFu] == static_cast<uint32_t>(count)) continue;
    ScatterByByte(from, to, starts, count, shift);
    std::swap(from, to);
  }
  for (int32_t k = 0; k < count; ++k) keys[k] = FromKey(from[k]);
}
