// A reader of the tree block written for the tests straight from the format
// table, independent of the library's own encoder and decoder.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

namespace blk {

enum class Form { Interior, Empty, List, Packed };

inline int32_t WordAt(const void* node, int word) {
  int32_t v;
  std::memcpy(&v, static_cast<const char*>(node) + 4 * word, 4);
  return v;
}
inline int32_t Link(const void* node) { return WordAt(node, 0); }
inline int32_t Data(const void* node) { return WordAt(node, 1); }

inline Form FormOf(const void* node) {
  if (Link(node) >= 0) return Form::Interior;
  if (Data(node) == 0) return Form::Empty;
  if (Data(node) > 0) return Form::List;
  return (Data(node) & 3) == 0 ? Form::Empty : Form::Packed;
}

inline int Axis(const void* node) { return Link(node) & 3; }
inline float Split(const void* node) {
  float f;
  std::memcpy(&f, static_cast<const char*>(node) + 4, 4);
  return f;
}
// Child 0 lies below the plane, child 1 above.
inline const void* Child(const void* node, int which) {
  return static_cast<const char*>(node) + (Link(node) & ~7) + 8 * which;
}

inline std::vector<int32_t> LeafTriangles(const void* node) {
  const int32_t link = Link(node), data = Data(node);
  std::vector<int32_t> out;
  switch (FormOf(node)) {
    case Form::List: {
      const char* list = static_cast<const char*>(node) + (-(int64_t(link) & -4));
      for (int i = 0; i < data; ++i) out.push_back(WordAt(list, i));
      break;
    }
    case Form::Packed: {
      const int32_t low = link & 0x7FFFFFFF;
      const int32_t mid = (data >> 2) & 0x1FFFFFFF;
      const int count = data & 3;
      if (count == 1) out = {low};
      if (count == 2) out = {low, mid};
      if (count == 3) out = {mid - (low >> 16), mid, mid + (link & 0xFFFF)};
      break;
    }
    default:
      break;
  }
  return out;
}

}  // namespace blk
