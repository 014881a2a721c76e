// SIZ, COD, QCD and RGN of the encoder: everything that follows from the options before a sample is seen.
#include "j2k/writeparams.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "base/problem.h"
#include "j2k/norms.h"

namespace moxj::j2k {

namespace {

constexpr int kMaxTiles = 65535;
constexpr int kGuardBits = 2;
// The quantiser step of a band with norm 1, in sample values: fine enough for file sizes close to the lossless one.
constexpr double kBaseStep = 0.5;
// Limits the quantiser steps to 2^-8 (before the gain of the band), because block coders have 31 bits. Deeper samples
// than these get coarser steps for the same reason.
constexpr int kMaxStepBits = 8, kMaxFineBits = 16;
// Of a coefficient with its region-of-interest shift. Some decoders take no more than 24 bits that are not zero.
constexpr int kMaxShiftedBits = 24;
// The smallest precinct of an option, and of what its halves become.
constexpr int kMinPrecinctLog = 2;

bool canTransform(const Picture& picture) {
  if (picture.planes.size() < 3 || picture.colour != Colour::rgb) return false;
  const Plane& first = picture.planes[0];
  if (first.bits > kMaxTransformedBits) return false;
  return std::all_of(picture.planes.begin(), picture.planes.begin() + 3, [&](const Plane& p) {
    return p.width == first.width && p.height == first.height && p.bits == first.bits && p.isSigned == first.isSigned;
  });
}

int gainOf(Orientation orientation) { return orientation == ll ? 0 : orientation == hh ? 2 : 1; }

Quantisation quantisationOf(int bits, bool reversible, bool transformed, int levels, bool shifted) {
  Quantisation quantisation;
  quantisation.guardBits = bits > kMaxTransformedBits ? 1 : kGuardBits;  // nothing is added to samples that are coded
  quantisation.kind = reversible ? Quantisation::none : Quantisation::expounded;
  const double base = std::ldexp(kBaseStep, std::max(bits - kMaxFineBits, 0));
  for (int index = 0; index <= 3 * levels; ++index) {
    const BandPlace place = bandPlace(index, levels);
    const int range = bits + gainOf(place.orientation);
    std::uint16_t& step = quantisation.steps[static_cast<std::size_t>(index)];
    if (reversible) {  // the RCT adds a bit
      step = static_cast<std::uint16_t>((range + transformed) << 11);
      continue;
    }
    double min = std::ldexp(1.0, gainOf(place.orientation) - kMaxStepBits + std::max(bits - kMaxFineBits, 0));
    // A region of interest takes as many bits again.
    if (shifted) min = std::max(min, std::ldexp(1.0, range + kGuardBits - 1 - kMaxShiftedBits / 2));
    const double wanted = std::max(base / bandNorm(false, place.orientation, place.levels), min);
    const int exponent = static_cast<int>(std::floor(std::log2(wanted)));
    const int mantissa = static_cast<int>((std::ldexp(wanted, -exponent) - 1) * 2048);
    step = static_cast<std::uint16_t>((range - exponent) << 11 | mantissa);
  }
  return quantisation;
}

// The largest number of magnitude bits of a band.
int maxBitPlanes(const Quantisation& quantisation, int levels) {
  int exponent = 0;
  for (int index = 0; index <= 3 * levels; ++index)
    exponent = std::max(exponent, quantisation.steps[static_cast<std::size_t>(index)] >> 11);
  return quantisation.guardBits + exponent - 1;
}

// The size for each resolution, of which the options name some from the highest one on.
void setPrecincts(CodingStyle& coding, const std::vector<PrecinctSize>& sizes) {
  if (sizes.empty()) return;
  const auto logOf = [](int size) { return std::countr_zero(static_cast<unsigned>(size)); };
  for (int r = coding.levels, i = 0; r >= 0; --r, ++i) {
    const int named = std::min(i, static_cast<int>(sizes.size()) - 1);
    const PrecinctSize& size = sizes[static_cast<std::size_t>(named)];
    const int width = std::max(logOf(size.width) - (i - named), kMinPrecinctLog);
    const int height = std::max(logOf(size.height) - (i - named), kMinPrecinctLog);
    coding.precincts[static_cast<std::size_t>(r)] = static_cast<std::uint8_t>(width | height << 4);
  }
}

}  // namespace

Siz sizOf(const Picture& layout, const EncodeOptions& options) {
  Siz siz;
  siz.image = {0, 0, layout.width, layout.height};
  siz.tileWidth = options.tileWidth > 0 ? options.tileWidth : layout.width;
  siz.tileHeight = options.tileHeight > 0 ? options.tileHeight : layout.height;
  for (const Plane& p : layout.planes) siz.components.push_back({p.bits, p.isSigned, p.dx, p.dy});
  if (siz.tiles() > kMaxTiles)
    fail(Kind::limit, std::to_string(siz.tiles()) + " tiles: JPEG 2000 allows at most 65535");
  return siz;
}

TileParams paramsFor(const Picture& layout, const EncodeOptions& options) {
  TileParams params;
  params.style.order = options.order;
  params.style.layers = options.layers;
  params.style.transform = canTransform(layout);
  CodingStyle coding;
  coding.levels = options.levels;
  coding.blockWidthLog = std::countr_zero(static_cast<unsigned>(options.blockWidth));
  coding.blockHeightLog = std::countr_zero(static_cast<unsigned>(options.blockHeight));
  coding.modes = options.modes;
  coding.reversible = options.lossless;
  setPrecincts(coding, options.precincts);
  const bool shifted = !options.roi.empty();
  for (std::size_t c = 0; c < layout.planes.size(); ++c) {
    params.coding.push_back(coding);
    const Quantisation quantisation = quantisationOf(layout.planes[c].bits, options.lossless,
                                                     params.style.transform && c < 3, options.levels, shifted);
    const int bits = maxBitPlanes(quantisation, options.levels);
    if (shifted && 2 * bits > kMaxShiftedBits)
      failOption("roi", "without loss needs samples of fewer bits than " + std::to_string(layout.planes[c].bits));
    params.quantisation.push_back(quantisation);
    params.shift.push_back(shifted ? bits : 0);
  }
  return params;
}

}  // namespace moxj::j2k
