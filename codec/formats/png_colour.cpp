// cICP goes before the other chunks, and a profile before gAMA and cHRM (PNG, 4.3).
#include "formats/png_colour.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <string>

namespace moxj::png {

namespace {

using Kind = ColourSpace::Kind;

// Gammas that are sRGB's, and those that look nearly the same.
constexpr double kUsualGamma = 1 / 2.2, kSameGamma = 0.01, kNearGamma = 0.05;
constexpr double kSamePrimaries = 0.002, kNearPrimaries = 0.01;

constexpr const char* kGammaNote = "the gamma of the file is not applied: the brightness will look different";
constexpr const char* kPrimariesNote = "the primaries of the file are not applied: colours will look different";

// ---- Numbers of ITU-T H.273 ----------------------------------------------------------------------------------------

struct Codes {
  int primaries, transfer, matrix, fullRange;
};

std::optional<Codes> codesOf(png_structp png, png_infop info) {
  png_unknown_chunkp chunks = nullptr;
  const int count = png_get_unknown_chunks(png, info, &chunks);
  for (int i = 0; i < count; ++i) {
    const png_unknown_chunk& chunk = chunks[i];
    if (std::memcmp(chunk.name, "cICP", 4) == 0 && chunk.size == 4)
      return Codes{chunk.data[0], chunk.data[1], chunk.data[2], chunk.data[3]};
  }
  return std::nullopt;
}

bool setPrimaries(ColourSpace& space, int code) {
  switch (code) {
    case 1:
      return true;
    case 9:  // ITU-R BT.2020
      space.primaries = {{{0.708, 0.292}, {0.170, 0.797}, {0.131, 0.046}}};
      return true;
    case 12:  // Display P3
      space.primaries = {{{0.680, 0.320}, {0.265, 0.690}, {0.150, 0.060}}};
      return true;
    default:
      return false;
  }
}

bool setCurve(ColourSpace& space, int code) {
  switch (code) {
    case 1:
    case 6:
    case 14:
    case 15:
      space.curve = kBt709Curve;
      return true;
    case 4:
      space.curve = powerOf(2.2);
      return true;
    case 5:
      space.curve = powerOf(2.8);
      return true;
    case 8:
      space.curve = powerOf(1);
      return true;
    case 13:
      return true;
    default:  // such as those of high dynamic range
      return false;
  }
}

std::shared_ptr<const ColourSpace> spaceOf(const Codes& codes) {
  ColourSpace space;
  space.name = "cICP " + std::to_string(codes.primaries) + "/" + std::to_string(codes.transfer);
  space.note = "the colour space of the file (" + space.name + ") is not applied: colours will look different";
  const bool known = setPrimaries(space, codes.primaries) && setCurve(space, codes.transfer) && codes.matrix == 0 &&
                     codes.fullRange == 1;
  if (known && codes.primaries == 1 && codes.transfer == 13) return nullptr;
  space.kind = known ? Kind::calibrated : Kind::unusable;
  return std::make_shared<const ColourSpace>(std::move(space));
}

// ---- Gamma and primaries -------------------------------------------------------------------------------------------

double distance(const Chromaticity& a, const Chromaticity& b) {
  return std::max(std::abs(a.x - b.x), std::abs(a.y - b.y));
}

// The largest difference of white and primaries from those of sRGB.
double distanceFromSrgb(const ColourSpace& space) {
  double largest = distance(space.white, kD65);
  for (std::size_t i = 0; i < 3; ++i) largest = std::max(largest, distance(space.primaries[i], kSrgbPrimaries[i]));
  return largest;
}

// Colours of no light, or primaries on one line.
bool isImpossible(const ColourSpace& space) {
  const auto& p = space.primaries;
  const double area = (p[1].x - p[0].x) * (p[2].y - p[0].y) - (p[2].x - p[0].x) * (p[1].y - p[0].y);
  return space.white.y < 0.01 || std::abs(area) < 1e-4 ||
         std::ranges::any_of(p, [](const Chromaticity& c) { return c.x < 0 || c.x > 1 || c.y < 0 || c.y > 1; });
}

}  // namespace

std::shared_ptr<const ColourSpace> colourSpaceOf(png_structp png, png_infop info) {
  if (const std::optional<Codes> codes = codesOf(png, info)) return spaceOf(*codes);
  if (png_get_valid(png, info, PNG_INFO_iCCP | PNG_INFO_sRGB)) return nullptr;
  ColourSpace space;
  double gamma = kUsualGamma;
  png_get_gAMA(png, info, &gamma);
  auto& [red, green, blue] = space.primaries;
  png_get_cHRM(png, info, &space.white.x, &space.white.y, &red.x, &red.y, &green.x, &green.y, &blue.x, &blue.y);
  if (isImpossible(space)) {
    space.white = kD65;
    space.primaries = kSrgbPrimaries;
  }
  const bool grey = (png_get_color_type(png, info) & PNG_COLOR_MASK_COLOR) == 0;
  const double gammaOff = gamma > 0 ? std::abs(gamma / kUsualGamma - 1) : 0, off = grey ? 0 : distanceFromSrgb(space);
  if (gammaOff < kSameGamma && off < kSamePrimaries) return nullptr;
  if (gammaOff >= kSameGamma) space.curve = powerOf(1 / gamma);
  space.kind = Kind::calibrated;
  space.name = "gAMA and cHRM";
  if (gammaOff > kNearGamma)
    space.note = kGammaNote;
  else if (off > kNearPrimaries)
    space.note = kPrimariesNote;
  return std::make_shared<const ColourSpace>(std::move(space));
}

void setSrgb(png_structp png, png_infop info) { png_set_sRGB(png, info, PNG_sRGB_INTENT_RELATIVE); }

}  // namespace moxj::png
