// Sizes in samples, blocks and MCUs from the sampling factors.
#include "jpeg/frame.h"

#include <algorithm>

#include "jpeg/markers.h"

namespace moxj::jpeg {

void Frame::layOut() {
  maxHorizontal = maxVertical = 1;
  for (const FrameComponent& c : components) {
    maxHorizontal = std::max(maxHorizontal, c.horizontal);
    maxVertical = std::max(maxVertical, c.vertical);
  }
  mcusWide = ceilDiv(width, mcuWidth());
  mcusHigh = ceilDiv(height, mcuHeight());
  for (FrameComponent& c : components) {
    c.width = ceilDiv(width * c.horizontal, maxHorizontal);
    c.height = ceilDiv(height * c.vertical, maxVertical);
    c.blocksWide = ceilDiv(c.width, unit);
    c.blocksHigh = ceilDiv(c.height, unit);
    c.paddedWide = mcusWide * c.horizontal;
    c.paddedHigh = mcusHigh * c.vertical;
  }
}

bool Frame::wholeRatios() const {
  return std::all_of(components.begin(), components.end(), [&](const FrameComponent& c) {
    return maxHorizontal % c.horizontal == 0 && maxVertical % c.vertical == 0;
  });
}

ScanKind kindOf(const Frame& frame, const ScanHeader& scan) {
  if (!frame.progressive()) return ScanKind::sequential;
  if (scan.spectralStart == 0) return scan.approxHigh == 0 ? ScanKind::dcFirst : ScanKind::dcRefine;
  return scan.approxHigh == 0 ? ScanKind::acFirst : ScanKind::acRefine;
}

ScanGeometry::ScanGeometry(const Frame& frame, const ScanHeader& scan) {
  if (scan.components.size() == 1) {
    const int component = scan.components[0].component;
    mcusWide = frame.components[component].blocksWide;
    mcusHigh = frame.components[component].blocksHigh;
    blocks.push_back({.component = component});
    return;
  }
  mcusWide = frame.mcusWide;
  mcusHigh = frame.mcusHigh;
  for (int selector = 0; selector < static_cast<int>(scan.components.size()); ++selector) {
    const int component = scan.components[selector].component;
    const FrameComponent& c = frame.components[component];
    for (int dy = 0; dy < c.vertical; ++dy) {
      for (int dx = 0; dx < c.horizontal; ++dx) {
        blocks.push_back({component, selector, dx, dy, c.horizontal, c.vertical});
      }
    }
  }
}

}  // namespace moxj::jpeg
