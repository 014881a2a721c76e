// Converts between the samples of a picture and the planes of a tile: level shift and component transforms.
#pragma once

#include <span>
#include <vector>

#include "base/workers.h"
#include "j2k/tile.h"
#include "j2k/tileplane.h"
#include "pictures/picture.h"

namespace moxj::j2k {

// The position of a tile in the components of the picture; it may reach beyond their planes.
struct Window {
  int x = 0, y = 0;
};

// Fills the planes of a tile with samples; those of the irreversible transform get fraction bits (wavelet.h).
void loadTile(const Picture& picture, const Tile& tile, std::span<const Window> windows, std::span<TilePlane> planes,
              Workers& workers);

// The inverse of loadTile(). Overwrites the planes.
void storeTile(std::span<TilePlane> planes, const Tile& tile, std::span<const Window> windows, const Picture& picture,
               Workers& workers);

}  // namespace moxj::j2k
