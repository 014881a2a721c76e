// Turns and mirrors pictures.
#pragma once

#include <memory>

#include "pictures/rows.h"

namespace moxj {

// A sink that turns a picture upright whose Exif orientation is 2 to 8, and passes its rows on. It collects the whole
// picture, charged to the budget, unless the rows are only mirrored (2). Sub-sampled planes must cover the picture
// exactly: their sizes times dx and dy are those of the picture.
std::unique_ptr<RowSink> turning(RowSink& next, int orientation, Budget& budget);

}  // namespace moxj
