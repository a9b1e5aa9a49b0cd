// The packing step on in-memory trees built by hand: node and leaf forms,
// the block's layout, and what a failed allocation leaves.
#include <algorithm>
#include <deque>
#include <memory>
#include <vector>

#include "block_reader.h"
#include "frame/qelr_internal.h"
#include "kdtree/kd_build_node.h"
#include "standin_core.h"
#include "test_util.h"

namespace {

// Owns the records and lists of a hand-made tree.
class HandTree {
 public:
  KDBuildNode* Leaf(std::vector<int32_t> indices) {
    lists_.push_back(std::move(indices));
    KDBuildNode* n = NewPair();  // a leaf gets a record of its own
    n->kind = kKDLeafKind;
    n->value.count = int32_t(lists_.back().size());
    n->target = lists_.back().data();
    return n;
  }
  // An interior record whose children are copies of the two given records.
  KDBuildNode* Interior(int axis, float split, const KDBuildNode* below, const KDBuildNode* above) {
    KDBuildNode* pair = NewPair();
    pair[0] = *below;
    pair[1] = *above;
    KDBuildNode* n = NewPair();
    n->kind = axis;
    n->value.split = split;
    n->target = pair;
    return n;
  }

 private:
  KDBuildNode* NewPair() {
    pairs_.push_back(std::make_unique<KDBuildNode[]>(2));
    return pairs_.back().get();
  }
  std::deque<std::vector<int32_t>> lists_;
  std::vector<std::unique_ptr<KDBuildNode[]>> pairs_;
};

struct Packed {
  qelrKDNode* tree = nullptr;
  int32_t size = 0;
  ~Packed() { ownFree(tree); }
};

void Pack(const KDBuildNode* root, Packed& out) { ASSERT_EQ(ownKDPackTree(root, &out.tree, &out.size), StatusOk); }

TEST(KDPack, LeafForms) {
  struct Case {
    std::vector<int32_t> in;
    blk::Form form;
    std::vector<int32_t> readBack;
  };
  const Case cases[] = {
      {{}, blk::Form::Empty, {}},
      {{7}, blk::Form::Packed, {7}},
      {{-3}, blk::Form::List, {-3}},                         // negative index: a list
      {{5, 9}, blk::Form::Packed, {9, 5}},                   // reads back second first
      {{0x20000000, 3}, blk::Form::Packed, {0x20000000, 3}}, // first too big for mid: swapped roles
      {{0x20000000, 0x20000001}, blk::Form::List, {0x20000000, 0x20000001}},
      {{9, 5, 7}, blk::Form::Packed, {5, 7, 9}},             // order lost, ascending
      {{1, 40000, 40001}, blk::Form::List, {1, 40000, 40001}},  // low gap 0x8000 or more
      {{0x8001, 0, 0x8000}, blk::Form::List, {0x8001, 0, 0x8000}},
      {{0, 0x7FFF, 0x7FFF + 0xFFFF}, blk::Form::Packed, {0, 0x7FFF, 0x7FFF + 0xFFFF}},
      {{0, 10, 10 + 0x10000}, blk::Form::List, {0, 10, 10 + 0x10000}},  // high gap too big
      {{4, 4, 4}, blk::Form::Packed, {4, 4, 4}},
      {{1, 2, 3, 4}, blk::Form::List, {1, 2, 3, 4}},
  };
  for (const Case& c : cases) {
    HandTree h;
    Packed p;
    Pack(h.Leaf(c.in), p);
    const bool list = c.form == blk::Form::List;
    EXPECT_EQ(p.size, 16 + (list ? 4 * int32_t(c.in.size()) : 0));
    EXPECT_EQ(blk::FormOf(p.tree), c.form) << c.in.size();
    EXPECT_EQ(blk::LeafTriangles(p.tree), c.readBack);
    EXPECT_TRUE(blk::Link(p.tree + 1) == 0 && blk::Data(p.tree + 1) == 0);  // zeroed padding
    if (list || c.form == blk::Form::Empty) {
      EXPECT_EQ(blk::Link(p.tree), -16);
      EXPECT_EQ(blk::Data(p.tree), int32_t(c.in.size()));
    }
  }
}

TEST(KDPack, LayoutOfASmallTree) {
  // x < 1.5: (y < 2: {1} | {2,3,4,5}) | {}
  HandTree h;
  const KDBuildNode* inner = h.Interior(1, 2.0f, h.Leaf({1}), h.Leaf({2, 3, 4, 5}));
  const KDBuildNode* root = h.Interior(0, 1.5f, inner, h.Leaf({}));
  Packed p;
  Pack(root, p);
  ASSERT_EQ(p.size, 64);  // root, padding, two pairs, one list of 4
  const int32_t* w = reinterpret_cast<const int32_t*>(p.tree);
  const int32_t expected[16] = {16 | 0, int32_t(qt::Bits(1.5f)), 0, 0,
                                16 | 1, int32_t(qt::Bits(2.0f)),  // node at 16, its pair at 32
                                24 - 64, 0,                        // empty leaf: points at the end of the lists
                                int32_t(0x80000001u), int32_t(0x80000001u),  // {1} packed
                                40 - 48, 4,                        // list leaf at 40, list at 48
                                2, 3, 4, 5};
  EXPECT_EQ(std::vector<int32_t>(w, w + 16), std::vector<int32_t>(expected, expected + 16));
}

// A random tree and the facts the packed block must reproduce.
KDBuildNode* RandomTree(HandTree& h, qt::Rng& rng, int depth, int& interiors) {
  if (depth == 0 || rng.Chance(0.3)) {
    std::vector<int32_t> list(rng.Int(0, 6));
    for (int32_t& i : list) i = rng.Chance(0.1) ? rng.Int(0, 0x7FFFFFFF) : rng.Int(0, 60000);
    return h.Leaf(list);
  }
  ++interiors;
  const KDBuildNode* below = RandomTree(h, rng, depth - 1, interiors);
  const KDBuildNode* above = RandomTree(h, rng, depth - 1, interiors);
  return h.Interior(rng.Int(0, 2), rng.Uniform(-10, 10), below, above);
}

// Walks both trees together; checks pairs and lists are laid out in
// depth-first order and every leaf reads back its triangles.
void Compare(const KDBuildNode* n, const void* node, const char* base, int32_t& lastPair, int32_t& lastList) {
  if (n->kind != kKDLeafKind) {
    ASSERT_EQ(blk::FormOf(node), blk::Form::Interior);
    EXPECT_EQ(blk::Axis(node), n->kind);
    EXPECT_EQ(qt::Bits(blk::Split(node)), qt::Bits(n->value.split));
    EXPECT_EQ(blk::Link(node) & 4, 0);
    const int32_t pair = int32_t(static_cast<const char*>(blk::Child(node, 0)) - base);
    EXPECT_EQ(pair, lastPair + 16) << "pairs are allotted in walk order";
    lastPair = pair;
    const KDBuildNode* kids = static_cast<const KDBuildNode*>(n->target);
    Compare(&kids[0], blk::Child(node, 0), base, lastPair, lastList);
    Compare(&kids[1], blk::Child(node, 1), base, lastPair, lastList);
    return;
  }
  const int32_t* in = static_cast<const int32_t*>(n->target);
  std::vector<int32_t> expected(in, in + n->value.count);
  std::vector<int32_t> actual = blk::LeafTriangles(node);
  if (blk::FormOf(node) == blk::Form::Packed && expected.size() == 3) std::sort(expected.begin(), expected.end());
  // A packed pair reads back its second index first, unless the first was
  // too large for the middle field.
  if (blk::FormOf(node) == blk::Form::Packed && expected.size() == 2 && expected[0] < 0x20000000)
    std::swap(expected[0], expected[1]);
  if (blk::FormOf(node) == blk::Form::List || blk::FormOf(node) == blk::Form::Empty) {
    const int32_t list = int32_t(static_cast<const char*>(node) - base) - blk::Link(node);
    EXPECT_EQ(list, lastList) << "lists follow one another in walk order";
    lastList = list + 4 * n->value.count;
  }
  EXPECT_EQ(actual, expected);
}

TEST(KDPack, RandomTreesReadBack) {
  qt::Rng rng(21);
  for (int round = 0; round < 60; ++round) {
    HandTree h;
    int interiors = 0;
    const KDBuildNode* root = RandomTree(h, rng, rng.Int(0, 7), interiors);
    Packed p;
    Pack(root, p);
    const char* base = reinterpret_cast<const char*>(p.tree);
    // The first list starts where the pairs end.
    int32_t lastPair = 0, lastList = 16 + 16 * interiors;
    Compare(root, p.tree, base, lastPair, lastList);
    EXPECT_EQ(p.size, lastList) << "the block ends with the last list";
  }
}

TEST(KDPack, FailedAllocationLeavesOutputsAlone) {
  HandTree h;
  const KDBuildNode* root = h.Interior(2, 0.0f, h.Leaf({1, 2, 3, 4, 5}), h.Leaf({6}));
  qelrKDNode* tree = reinterpret_cast<qelrKDNode*>(uintptr_t(0x40));
  int32_t size = -5;
  const int64_t live = standinLiveBlocks();
  standinFailAllocAt(1);
  EXPECT_EQ(ownKDPackTree(root, &tree, &size), StatusNoMemory);
  standinFailAllocAt(0);
  EXPECT_EQ(tree, reinterpret_cast<qelrKDNode*>(uintptr_t(0x40)));
  EXPECT_EQ(size, -5);
  EXPECT_EQ(standinLiveBlocks(), live);
}

}  // namespace
