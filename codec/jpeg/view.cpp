// Sizes and MCUs of a view.
#include "jpeg/view.h"

#include <algorithm>
#include <numeric>

#include "pictures/region.h"

namespace moxj::jpeg {

namespace {

constexpr int kBlock = 8;

// The largest block that gives a component no more samples than `samples` for each MCU.
int blockFor(int samples, int blocks) {
  int size = kBlock;
  while (size > 1 && size * blocks > samples) size /= 2;
  return size;
}

// The frame at its reduced size.
Frame reduced(const Frame& whole, int reduce, std::vector<BlockSize>& blocks) {
  Frame frame = whole;
  const int size = kBlock >> reduce;
  frame.unit = 1;
  frame.width = ceilDiv(whole.width, 1 << reduce);
  frame.height = ceilDiv(whole.height, 1 << reduce);
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    FrameComponent& c = frame.components[i];
    blocks[i] = {blockFor(size * whole.maxHorizontal, c.horizontal), blockFor(size * whole.maxVertical, c.vertical)};
    c.horizontal *= blocks[i].width;
    c.vertical *= blocks[i].height;
  }
  frame.layOut();
  return frame;
}

// MCUs around a region whose samples the up-sampling looks at. Up-sampling also depends on whether a component has more
// than two columns.
int marginOf(const Frame& frame) {
  int samples = kBlock;
  for (const FrameComponent& c : frame.components) samples = std::min({samples, frame.unit * c.horizontal});
  return std::max(1, 4 / samples);
}

}  // namespace

View::View(const Frame& whole, const Region& region, int reduce) : blocks(whole.components.size()) {
  frame = reduce == 0 ? whole : reduced(whole, reduce, blocks);
  const int scale = 1 << reduce;
  wanted.x = ceilDiv(region.x, scale);
  wanted.y = ceilDiv(region.y, scale);
  wanted.width = ceilDiv(region.x + region.width, scale) - wanted.x;
  wanted.height = ceilDiv(region.y + region.height, scale) - wanted.y;
  if (wanted.width == 0 || wanted.height == 0) failEmptyRegion();
  const int across = frame.mcuWidth(), down = frame.mcuHeight(), margin = marginOf(frame);
  const int group = kColumnGroup / std::gcd(kColumnGroup, across);
  firstColumn = std::max(wanted.x / across - margin, 0) / group * group;
  firstRow = std::max(wanted.y / down - margin, 0);
  endColumn = std::min(ceilDiv(ceilDiv(wanted.x + wanted.width, across) + margin, group) * group, frame.mcusWide);
  endRow = std::min(ceilDiv(wanted.y + wanted.height, down) + margin, frame.mcusHigh);
  const int left = firstColumn * across, top = firstRow * down;
  frame.width = std::min(frame.width, endColumn * across) - left;
  frame.height = std::min(frame.height, endRow * down) - top;
  frame.layOut();
  wanted.x -= left;
  wanted.y -= top;
}

}  // namespace moxj::jpeg
