// What each number means: a colour model that every format understands, or a space for the conversion to sRGB.
#include "j2k/colour.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <memory>
#include <optional>

#include "base/bigendian.h"
#include "pictures/colourspace/space.h"
#include "pictures/fit.h"

namespace moxj::j2k {

namespace {

enum : std::uint32_t { kBilevel = 0, kCmy = 11, kRomm = 21 };

using SpaceKind = ColourSpace::Kind;

struct Known {
  std::uint32_t space;
  const char* name;
  Colour colour;
  SpaceKind kind;  // of lab and special
};

constexpr Known kKnown[] = {{kBilevel, "bi-level", Colour::grey, SpaceKind::srgb},
                            {1, "YCbCr 1", Colour::special, SpaceKind::video},
                            {3, "YCbCr 2", Colour::ycbcr, SpaceKind::srgb},
                            {4, "YCbCr 3", Colour::special, SpaceKind::video},
                            {9, "PhotoYCC", Colour::special, SpaceKind::unusable},
                            {kCmy, "CMY", Colour::rgb, SpaceKind::srgb},
                            {cmyk, "CMYK", Colour::cmyk, SpaceKind::srgb},
                            {13, "YCCK", Colour::ycck, SpaceKind::srgb},
                            {14, "CIELab", Colour::lab, SpaceKind::lab},
                            {15, "bi-level 2", Colour::grey, SpaceKind::srgb},
                            {sRgb, "sRGB", Colour::rgb, SpaceKind::srgb},
                            {greyscale, "grey", Colour::grey, SpaceKind::srgb},
                            {sYcc, "sYCC", Colour::ycbcr, SpaceKind::srgb},
                            {19, "CIEJab", Colour::special, SpaceKind::unusable},
                            {20, "e-sRGB", Colour::special, SpaceKind::eSrgb},
                            {kRomm, "ROMM-RGB", Colour::rgb, SpaceKind::calibrated},
                            {22, "YPbPr(1125/60)", Colour::special, SpaceKind::unusable},
                            {23, "YPbPr(1250/50)", Colour::special, SpaceKind::unusable},
                            {24, "e-sYCC", Colour::special, SpaceKind::unusable}};

const Known* knownOf(std::uint32_t space) {
  const auto found = std::ranges::find(kKnown, space, &Known::space);
  return found == std::end(kKnown) ? nullptr : &*found;
}

// The number of colours that a model needs at least.
int coloursOf(Colour colour) {
  switch (colour) {
    case Colour::unknown:
      return INT_MAX;
    case Colour::grey:
      return 1;
    case Colour::cmyk:
    case Colour::ycck:
      return 4;
    default:
      return 3;
  }
}

bool fits(Colour colour, const Picture& picture) {
  const int colours = picture.colours();
  return colour == Colour::grey ? colours < 3 : colours >= coloursOf(colour);
}

Colour guessed(const Picture& picture) { return picture.colours() < 3 ? Colour::grey : Colour::rgb; }

void invert(const Plane& plane) {
  for (int y = 0; y < plane.height; ++y)
    visitRow(plane, y, [&]<class Type>(Type* row) {
      for (std::ptrdiff_t x = 0; x < plane.width; ++x)
        row[x * plane.pixelStep] = static_cast<Type>(plane.maxval + plane.minval() - row[x * plane.pixelStep]);
    });
}

void invert(const Picture& picture, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) invert(picture.planes[i]);
}

// ---- CIELab --------------------------------------------------------------------------------------------------------

struct Illuminant {
  std::uint32_t code;
  Chromaticity white;
};

constexpr std::uint32_t codeOf(const char* text) {
  std::uint32_t code = 0;
  for (; *text; ++text) code = code << 8 | static_cast<unsigned char>(*text);
  return code;
}

constexpr Illuminant kIlluminants[] = {{codeOf("D50"), kD50},
                                       {codeOf("D65"), kD65},
                                       {codeOf("D75"), {0.29902, 0.31485}},
                                       {codeOf("SA"), {0.44757, 0.40745}},
                                       {codeOf("SC"), {0.31006, 0.31616}},
                                       {codeOf("F2"), {0.37208, 0.37529}},
                                       {codeOf("F7"), {0.31292, 0.32933}},
                                       {codeOf("F11"), {0.38052, 0.37713}}};

// Daylight of a temperature in kelvin (CIE 15).
Chromaticity daylight(double t) {
  const double x = t <= 7000 ? -4.6070e9 / (t * t * t) + 2.9678e6 / (t * t) + 99.11 / t + 0.244063
                             : -2.0064e9 / (t * t * t) + 1.9018e6 / (t * t) + 247.48 / t + 0.237040;
  return {x, -3 * x * x + 2.870 * x - 0.275};
}

std::optional<Chromaticity> whiteOf(std::uint32_t code) {
  for (const Illuminant& illuminant : kIlluminants)
    if (illuminant.code == code) return illuminant.white;
  const std::uint32_t temperature = code & 0xFFFF;
  if (code >> 16 == codeOf("CT") && temperature >= 4000 && temperature <= 25000) return daylight(temperature);
  return std::nullopt;
}

// Ranges, offsets and illuminant (ISO/IEC 15444-2 M.11.7.4.1), or their defaults. Signed samples will be moved to 0 and
// above; their default offset is 0.
void readLab(ByteSpan parameters, const Picture& picture, ColourSpace& space) {
  constexpr std::size_t kBytes = 28;
  constexpr double kRanges[] = {100, 170, 200};
  const bool given = parameters.size() >= kBytes;
  ByteReader in(parameters, "a colr box");
  for (std::size_t i = 0; i < 3; ++i) {
    const Plane& plane = picture.planes[i];
    const double half = std::exp2(plane.bits - 1);
    const double offsets[] = {0, half, half / 2 + half / 4};
    space.lab[i] = {kRanges[i], plane.isSigned ? 0 : offsets[i]};
    if (given) {
      space.lab[i].range = in.u32();
      space.lab[i].offset = in.u32();
    }
    if (plane.isSigned) space.lab[i].offset += half;
  }
  const std::optional<Chromaticity> white = given ? whiteOf(in.u32()) : kD50;
  if (white)
    space.white = *white;
  else
    space.kind = SpaceKind::unusable;
}

// ---- Spaces --------------------------------------------------------------------------------------------------------

std::shared_ptr<const ColourSpace> spaceOf(const Known& known, ByteSpan parameters, const Picture& picture) {
  ColourSpace space;
  space.kind = known.kind;
  space.name = known.name;
  if (known.kind == SpaceKind::lab) readLab(parameters, picture, space);
  if (known.space == 1) {  // ITU-R BT.709
    space.redWeight = 0.2126;
    space.blueWeight = 0.0722;
  }
  if (known.space == kRomm) {
    space.note = "the colour space ROMM-RGB is not applied: colours will look different";
    space.white = kD50;
    space.primaries = {{{0.7347, 0.2653}, {0.1596, 0.8404}, {0.0366, 0.0001}}};
    space.curve = kRommCurve;
  }
  return std::make_shared<const ColourSpace>(std::move(space));
}

// For what is shown although it may be wrong.
std::shared_ptr<const ColourSpace> noted(const std::string& note) {
  ColourSpace space;
  space.kind = SpaceKind::unusable;
  space.note = note;
  return std::make_shared<const ColourSpace>(std::move(space));
}

}  // namespace

std::string colourSpaceName(std::uint32_t space) {
  const Known* const known = knownOf(space);
  if (space == sRgb || space == greyscale || space == sYcc) return known->name;
  return "colour space " + std::to_string(space) + (known ? std::string(" (") + known->name + ")" : "");
}

Colour colourOf(std::uint32_t space) {
  const Known* const known = knownOf(space);
  return known ? known->colour : Colour::unknown;
}

void applyColourSpace(std::uint32_t space, ByteSpan parameters, Picture& picture) {
  const Known* const known = knownOf(space);
  if (!known || !fits(known->colour, picture)) {
    picture.colour = guessed(picture);
    const bool grey = picture.colour == Colour::grey;
    if (known && grey && (known->colour == Colour::rgb || known->colour == Colour::ycbcr)) return;
    picture.space = noted("the colour space " + (known ? known->name : std::to_string(space)) +
                          (known ? " does not fit the components: they are" : " is not known: it is") + " taken as " +
                          (grey ? "grey" : "RGB"));
    return;
  }
  picture.colour = known->colour;
  if (known->kind != SpaceKind::srgb) picture.space = spaceOf(*known, parameters, picture);
  if (space == kBilevel) invert(picture, 1);  // 0 is white
  if (space != kCmy) return;
  invert(picture, 3);
  picture.space = noted(kInksByFormula);
}

void applyColour(Colour colour, Picture& picture) {
  picture.colour = fits(colour, picture) ? colour : guessed(picture);
}

}  // namespace moxj::j2k
