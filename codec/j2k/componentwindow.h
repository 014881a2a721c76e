// The part of a tile-component that is reconstructed: the coefficients that it needs, and their inverse transform.
#pragma once

#include <cstdint>
#include <vector>

#include "j2k/blockdecoder.h"
#include "j2k/tile.h"
#include "j2k/tileplane.h"

namespace moxj::j2k {

// A whole component has one plane, in which the transform works in place (tile.h). Of a part of it, each resolution has
// a plane of its own, of the samples that the next higher resolution needs and those around them that the filters
// reach: so the samples are the same, bit for bit, as those of the whole.
class ComponentWindow {
 public:
  // Reconstructs the samples in `wanted`, which may be empty: in the coordinates of the highest of the lowest
  // `resolutions` resolutions. The component must outlive the window.
  ComponentWindow(const TileComponent& component, int resolutions, const Rect& wanted);

  const Rect& wanted() const { return wanted_; }
  int resolutions() const { return resolutions_; }

  // The area of a band whose coefficients are needed, in the coordinates of the band.
  Rect areaOf(int resolution, const Band& band) const;

  // The memory of the planes.
  std::uint64_t bytes() const;
  void allocate();

  // After allocate().
  BandPlace placeOf(int resolution, const Band& band);
  // When all coefficients are in their places. False if values of deep samples do not fit 32 bits, which is not checked
  // of a part.
  bool transform();
  // Once, after transform(): the wanted samples.
  TilePlane takeSamples();

 private:
  // A resolution of a part.
  struct Level {
    Rect needed;  // by the next higher resolution
    Rect made;    // with what the filters reach
    TilePlane plane;
  };

  void reconstruct(int resolution);

  const TileComponent& component_;
  int resolutions_;
  Rect wanted_;
  bool whole_;
  TilePlane plane_;            // of the whole
  std::vector<Level> levels_;  // of a part, from the lowest resolution up
};

}  // namespace moxj::j2k
