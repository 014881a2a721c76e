// Tag trees (B.10.2): code a value for each code-block of a precinct by its excess over the minimum of its
// neighbourhood.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>
#include <vector>

namespace moxj::j2k {

class TagTree {
 public:
  TagTree() = default;
  TagTree(int width, int height);

  // The number of nodes: each level has half the width and half the height of the level below, rounded up.
  static std::uint64_t maxNodes(std::uint64_t width, std::uint64_t height) {
    std::uint64_t nodes = width * height;
    while (width * height > 1) {
      width = (width + 1) / 2;
      height = (height + 1) / 2;
      nodes += width * height;
    }
    return nodes;
  }

  // Encoder: set the values of all leaves, then call make() once.
  void set(int leaf, int value) { nodes_[static_cast<std::size_t>(leaf)].value = value; }
  void make();

  // Encoder: prepares for other values where they have not been coded.
  void forgetUnknown() {
    for (Node& node : nodes_)
      if (!node.known) node.value = INT_MAX;
  }

  // Encoder: prepares the tree for other values.
  void clear() {
    for (Node& node : nodes_) node.value = INT_MAX, node.low = 0, node.known = false;
  }

  // Codes whether the value of the leaf is below the threshold. Writes bits with put(bit).
  template <class Put>
  void encode(int leaf, int threshold, const Put& put) {
    int low = 0;
    walk(leaf, [&](Node& node) {
      low = std::max(low, node.low);
      while (low < threshold && !node.known) {
        const bool reached = low >= node.value;
        put(reached);
        reached ? void(node.known = true) : void(++low);
      }
      if (node.known) low = std::max(low, node.value);
      node.low = low;
    });
  }

  // Decodes whether the value of the leaf is below the threshold. Reads bits with bit().
  template <class Bit>
  bool decode(int leaf, int threshold, const Bit& bit) {
    int low = 0;
    walk(leaf, [&](Node& node) {
      low = std::max(low, node.low);
      while (low < threshold && !node.known) bit() ? void((node.known = true, node.value = low)) : void(++low);
      if (node.known) low = std::max(low, node.value);
      node.low = low;
    });
    const Node& found = nodes_[static_cast<std::size_t>(leaf)];
    return found.known && found.value < threshold;
  }

  int value(int leaf) const { return nodes_[static_cast<std::size_t>(leaf)].value; }

 private:
  struct Node {
    int parent = -1;
    int value = INT_MAX;
    int low = 0;  // known lower bound of the value
    bool known = false;
  };

  // From the root to the leaf.
  template <class Visit>
  void walk(int leaf, const Visit& visit) {
    int path[kMaxDepth];
    int depth = 0;
    for (int node = leaf; node >= 0; node = nodes_[static_cast<std::size_t>(node)].parent) path[depth++] = node;
    while (depth > 0) visit(nodes_[static_cast<std::size_t>(path[--depth])]);
  }

  static constexpr int kMaxDepth = 33;  // of a tree of width 2^31
  std::vector<Node> nodes_;
};

inline TagTree::TagTree(int width, int height) {
  if (width <= 0 || height <= 0) return;
  nodes_.resize(maxNodes(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height)));
  std::size_t at = 0;
  while (std::int64_t{width} * height > 1) {
    const std::size_t above = at + static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    const int parentsWide = (width + 1) / 2;
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x) nodes_[at++].parent = static_cast<int>(above) + y / 2 * parentsWide + x / 2;
    width = parentsWide;
    height = (height + 1) / 2;
  }
}

inline void TagTree::make() {
  // Parents come after their children.
  for (const Node& node : nodes_) {
    if (node.parent < 0) continue;
    Node& parent = nodes_[static_cast<std::size_t>(node.parent)];
    parent.value = std::min(parent.value, node.value);
  }
}

}  // namespace moxj::j2k
