// The part of a frame that is painted, and its size in the picture.
#pragma once

#include <vector>

#include "jpeg/frame.h"
#include "jpeg/scaledinverse.h"
#include "pictures/picture.h"

namespace moxj::jpeg {

// Whole MCUs are painted: those of the wanted region, and as many around it as the up-sampling reaches, in whole groups
// of columns; these are cut off later. Painted like a separate picture, they give the same pixels as the whole picture.
//
// In a reduced picture, blocks become smaller: those of a sub-sampled component no smaller than needed to give as many
// samples as the picture has pixels, if these are not more than 8.
struct View {
  View() = default;
  // `region` lies in the frame, and has a size. `reduce`: 0 to 3; 0 for lossless frames. Throws Problem (badOption) if
  // the region has no pixels in the reduced picture.
  View(const Frame& whole, const Region& region, int reduce);

  // Of the painted picture. If it is reduced, sampling factors count samples instead of blocks, and the unit is 1.
  Frame frame;
  std::vector<BlockSize> blocks;  // for each component
  // MCUs of the whole frame.
  int firstColumn = 0, firstRow = 0, endColumn = 0, endRow = 0;
  Region wanted;  // in the painted picture

  bool cuts() const { return wanted.width != frame.width || wanted.height != frame.height; }
  bool needsDcOnly(int component) const { return blocks[static_cast<std::size_t>(component)] == BlockSize{1, 1}; }
};

}  // namespace moxj::jpeg
