// The coefficients of some MCU rows, between the thread that decodes them and those that transform them.
#pragma once

#include <cstddef>
#include <cstring>
#include <vector>

#include "base/budget.h"
#include "base/bytes.h"
#include "jpeg/frame.h"
#include "jpeg/view.h"
#include "moxj.h"

namespace moxj::jpeg {

// Only the blocks of a view have a place.
class GroupBlocks {
 public:
  GroupBlocks(const Frame& whole, const View& view, int rows, Budget& budget) {
    std::size_t blocks = 0;
    for (const FrameComponent& c : whole.components) {
      Component& component = components_.emplace_back();
      component.left = view.firstColumn * c.horizontal;
      component.wide = (view.endColumn - view.firstColumn) * c.horizontal;
      component.high = c.vertical;
      component.first = blocks;
      blocks += static_cast<std::size_t>(component.wide) * static_cast<std::size_t>(rows * c.vertical);
    }
    budget.charge(blocks, sizeof(Block));
    memory_.resize(blocks * sizeof(Block) + alignof(Block));
    const auto address = reinterpret_cast<std::uintptr_t>(memory_.data());
    blocks_ = reinterpret_cast<Block*>(memory_.data() + (0 - address) % alignof(Block));
  }

  static std::size_t bytesOfRow(const Frame& whole, const View& view) {
    std::size_t blocks = 0;
    for (const FrameComponent& c : whole.components) blocks += static_cast<std::size_t>(c.horizontal * c.vertical);
    return blocks * static_cast<std::size_t>(view.endColumn - view.firstColumn) * sizeof(Block);
  }

  // The MCU rows begin with this one of the frame.
  void begin(int row) { row_ = row; }

  // A block of the view; null of any other. (x, y) in blocks of the whole component.
  Mox16s* find(int component, int x, int y) const {
    const Component& c = components_[static_cast<std::size_t>(component)];
    if (x < c.left || x >= c.left + c.wide) return nullptr;
    return at(c, x - c.left, y - row_ * c.high);
  }
  // The same, counted from the first block of the view in these rows.
  const Mox16s* block(int component, int x, int y) const {
    return at(components_[static_cast<std::size_t>(component)], x, y);
  }

 private:
  struct alignas(64) Block {
    Mox16s coefficients[64];
  };
  struct Component {
    int left = 0, wide = 0, high = 0;  // high: of an MCU row
    std::size_t first = 0;
  };
  Mox16s* at(const Component& c, int x, int y) const {
    return blocks_[c.first + static_cast<std::size_t>(y) * static_cast<std::size_t>(c.wide) +
                   static_cast<std::size_t>(x)]
        .coefficients;
  }

  std::vector<Component> components_;
  Bytes memory_;
  Block* blocks_ = nullptr;
  int row_ = 0;
};

// Gets the blocks of a scan reader.
struct GroupSink {
  const GroupBlocks& blocks;
  alignas(64) Mox16s outside[64];

  Mox16s* begin(int component, int x, int y) {
    Mox16s* const place = blocks.find(component, x, y);
    return place ? place : outside;
  }
  void end(int component, int x, int y, const Mox16s* coefficients) {
    Mox16s* const place = blocks.find(component, x, y);
    if (place && place != coefficients) std::memcpy(place, coefficients, sizeof outside);
  }
};

// For rows that nobody wants.
struct NoSink {
  alignas(64) Mox16s block[64];
  Mox16s* begin(int, int, int) { return block; }
  void end(int, int, int, const Mox16s*) {}
};

}  // namespace moxj::jpeg
