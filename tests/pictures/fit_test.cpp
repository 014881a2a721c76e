// What a picture loses on its way into a format: layouts and notes case by case, and samples against their definition,
// one at a time, for a matrix of layouts and formats.
#include "pictures/fit.h"

#include <algorithm>
#include <cmath>

#include "base/problem.h"
#include "pictures/support.h"

namespace moxj {
namespace {

using test::equal;
using test::filled;
using Notes = std::vector<std::string>;

Holds holdsOf(const char* name) { return test::format(name).holds({}); }

Holds bytesOnly() { return {.colours = {Colour::grey, Colour::rgb}, .depths = {8}}; }
Holds anything() {
  return {.opacity = true, .anyMaxval = true, .isSigned = true, .subsampled = true, .mixedDepths = true};
}

// ---- Layouts -------------------------------------------------------------------------------------------------------

Picture layout(Colour colour, int planes, int bits, Opacity opacity = Opacity::none) {
  Picture picture = Picture::layout(13, 7, planes, bits, colour);
  picture.opacity = opacity;
  return picture;
}

Picture withMaxval(Picture picture, std::int32_t maxval) {
  for (Plane& plane : picture.planes) plane.maxval = maxval;
  return picture;
}

Picture withSign(Picture picture) {
  for (Plane& plane : picture.planes) plane = Plane::of(plane.width, plane.height, plane.bits, true);
  return picture;
}

// Planes 1 and 2 at half the size.
Picture subsampled(Picture picture) {
  for (std::size_t i = 1; i < 3; ++i)
    picture.planes[i] =
        Plane::of((picture.width + 1) / 2, (picture.height + 1) / 2, picture.planes[i].bits, false, 2, 2);
  return picture;
}

Picture mixed(Picture picture, std::vector<int> bits) {
  for (std::size_t i = 0; i < bits.size(); ++i) picture.planes[i] = Plane::of(13, 7, bits[i]);
  return picture;
}

struct Case {
  Picture from;
  Holds holds;
  Colour colour;
  int planes;
  Opacity opacity;
  int bits;
  std::int32_t maxval;
  Notes notes;
};

TEST(Fit, LayoutsAndNotes) {
  const auto none = Opacity::none, straight = Opacity::straight;
  const auto grey = Colour::grey, rgb = Colour::rgb, ycbcr = Colour::ycbcr, unknown = Colour::unknown;
  const std::string opaque = "transparency dropped", dull = "colour dropped",
                    guessed = "a component of unknown meaning is taken as opacity";
  const std::vector<Case> cases = {
      // Nothing is lost.
      {layout(rgb, 3, 8), holdsOf("png"), rgb, 3, none, 8, 255, {}},
      {layout(rgb, 4, 16, straight), holdsOf("png"), rgb, 4, straight, 16, 65535, {}},
      {layout(grey, 2, 16, straight), holdsOf("png"), grey, 2, straight, 16, 65535, {}},
      {layout(grey, 1, 12), holdsOf("pgm"), grey, 1, none, 12, 4095, {}},
      {withMaxval(layout(rgb, 3, 7), 100), holdsOf("ppm"), rgb, 3, none, 7, 100, {}},
      {withMaxval(layout(grey, 1, 10), 1000), holdsOf("pnm"), grey, 1, none, 10, 1000, {}},
      {layout(Colour::cmyk, 4, 8), anything(), Colour::cmyk, 4, none, 8, 255, {}},
      {layout(unknown, 7, 3), anything(), unknown, 7, none, 3, 7, {}},
      // Depth.
      {layout(rgb, 3, 16), bytesOnly(), rgb, 3, none, 8, 255, {"samples of 16 bits reduced to 8"}},
      {layout(rgb, 3, 12), holdsOf("png"), rgb, 3, none, 16, 65535, {}},
      {layout(grey, 1, 4), holdsOf("png"), grey, 1, none, 8, 255, {}},
      {layout(grey, 1, 20), holdsOf("pgm"), grey, 1, none, 16, 65535, {"samples of 20 bits reduced to 16"}},
      {mixed(layout(rgb, 3, 8), {8, 5, 9}), holdsOf("ppm"), rgb, 3, none, 9, 511, {}},
      {withMaxval(layout(grey, 1, 7), 100), bytesOnly(), grey, 1, none, 8, 255, {}},
      {withMaxval(layout(grey, 1, 8), 200), bytesOnly(), grey, 1, none, 8, 255, {}},
      {withMaxval(layout(grey, 1, 7), 100),
       Holds{.maxBits = 16},
       grey,
       1,
       none,
       7,
       127,
       {"samples scaled from 0..100 to 0..127"}},
      {withSign(layout(grey, 1, 8)), holdsOf("png"), grey, 1, none, 8, 255, {}},
      // Opacity.
      {layout(rgb, 4, 8, straight), holdsOf("ppm"), rgb, 3, none, 8, 255, {opaque}},
      {layout(rgb, 4, 16, straight), bytesOnly(), rgb, 3, none, 8, 255, {"samples of 16 bits reduced to 8", opaque}},
      {layout(grey, 2, 8, straight), holdsOf("pgm"), grey, 1, none, 8, 255, {opaque}},
      // Colour.
      {layout(rgb, 3, 16), holdsOf("pgm"), grey, 1, none, 16, 65535, {dull}},
      {layout(rgb, 4, 8, straight), holdsOf("pgm"), grey, 1, none, 8, 255, {opaque, dull}},
      {subsampled(layout(ycbcr, 3, 8)), holdsOf("pgm"), grey, 1, none, 8, 255, {dull}},
      {subsampled(layout(ycbcr, 3, 8)), holdsOf("pnm"), rgb, 3, none, 8, 255, {}},
      {layout(grey, 1, 8), holdsOf("ppm"), rgb, 3, none, 8, 255, {}},
      {layout(Colour::cmyk, 4, 8), holdsOf("png"), rgb, 3, none, 8, 255, {kInksByFormula}},
      {layout(Colour::ycck, 4, 8), holdsOf("png"), rgb, 3, none, 8, 255, {kInksByFormula}},
      {layout(Colour::ycck, 4, 8), holdsOf("jp2"), Colour::cmyk, 4, none, 8, 255, {}},
      {layout(Colour::cmyk, 4, 8), holdsOf("jpg"), Colour::cmyk, 4, none, 8, 255, {}},
      {layout(Colour::cmyk, 5, 8, straight), holdsOf("jp2"), Colour::cmyk, 5, straight, 8, 255, {}},
      {layout(Colour::cmyk, 4, 8), holdsOf("j2k"), rgb, 3, none, 8, 255, {kInksByFormula}},
      // Planes without a meaning.
      {layout(unknown, 1, 8), holdsOf("png"), grey, 1, none, 8, 255, {}},
      {layout(unknown, 2, 8), holdsOf("png"), grey, 2, straight, 8, 255, {guessed}},
      {layout(unknown, 2, 8), holdsOf("pgm"), grey, 1, none, 8, 255, {opaque}},
      {layout(unknown, 3, 8), holdsOf("png"), rgb, 3, none, 8, 255, {}},
      {layout(unknown, 4, 8), holdsOf("png"), rgb, 4, straight, 8, 255, {guessed}},
      {layout(unknown, 4, 8), bytesOnly(), rgb, 3, none, 8, 255, {opaque}},
      {layout(unknown, 5, 8),
       holdsOf("png"),
       rgb,
       4,
       straight,
       8,
       255,
       {"only the first 4 of 5 components written", guessed}},
      {layout(unknown, 5, 8), bytesOnly(), rgb, 3, none, 8, 255, {"only the first 3 of 5 components used"}},
      {layout(unknown, 5, 8),
       Holds{.maxPlanes = 4},
       unknown,
       4,
       none,
       8,
       255,
       {"only the first 4 of 5 components written"}},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const Case& c = cases[i];
    Notes notes;
    const Picture to = fit(c.from, c.holds, notes);
    EXPECT_EQ(to.colour, c.colour) << i;
    ASSERT_EQ(static_cast<int>(to.planes.size()), c.planes) << i;
    EXPECT_EQ(to.opacity, c.opacity) << i;
    for (const Plane& plane : to.planes) {
      EXPECT_EQ(plane.bits, c.bits) << i;
      EXPECT_EQ(plane.maxval, c.maxval) << i;
      EXPECT_EQ(plane.element, elementFor(plane.bits, plane.isSigned)) << i;
    }
    EXPECT_EQ(notes, c.notes) << i;
  }
}

// Where a picture says that its last plane is opacity, that is the one, whatever lies between.
TEST(Fit, OpacityAfterPlanesThatAreLeftOut) {
  const Picture picture = filled(layout(Colour::unknown, 6, 8, Opacity::straight));
  Notes notes;
  Budget budget(1 << 20);
  const Picture to = fitted(picture, holdsOf("png"), notes, budget);
  ASSERT_EQ(to.planes.size(), 4u);
  EXPECT_EQ(to.opacity, Opacity::straight);
  for (int x = 0; x < 13; ++x) {
    EXPECT_EQ(to.planes[2].at(x, 3), picture.planes[2].at(x, 3));
    EXPECT_EQ(to.planes[3].at(x, 3), picture.planes[5].at(x, 3));
  }
  EXPECT_EQ(notes, Notes{"only the first 4 of 6 components written"});
}

TEST(Fit, RefusesColoursThatCannotBeShown) {
  for (const Colour colour : {Colour::special, Colour::lab}) {
    Notes notes;
    try {
      fit(layout(colour, 3, 8), holdsOf("png"), notes);
      ADD_FAILURE();
    } catch (const Problem& problem) {
      EXPECT_EQ(problem.kind, Kind::unsupported);
    }
  }
}

// ---- Samples -------------------------------------------------------------------------------------------------------

std::int64_t scaled(std::int64_t value, const Plane& from, const Plane& to) {
  const std::int64_t range = std::int64_t{from.maxval} - from.minval(), toRange = std::int64_t{to.maxval} - to.minval();
  return ((value - from.minval()) * toRange + range / 2) / range + to.minval();
}

std::int32_t sampleAt(const Picture& picture, std::size_t plane, int x, int y) {
  const Plane& p = picture.planes[plane];
  return p.at(std::min(x / p.dx, p.width - 1), std::min(y / p.dy, p.height - 1));
}

// Interleaved bytes: groups of four columns have weights of their own.
std::int32_t luminance(std::int64_t r, std::int64_t g, std::int64_t b, bool group) {
  return static_cast<std::int32_t>(group ? (9798 * r + 19235 * g + 3736 * b + 16266) >> 15
                                         : (19595 * r + 38470 * g + 7471 * b + 32768) >> 16);
}

std::int32_t bounded(double value, std::int32_t max) {
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(std::llround(value), 0, max));
}

// The colours of a pixel, all of one depth, as another colour model.
std::vector<std::int32_t> converted(const Picture& from, std::vector<std::int32_t> c, Colour to, std::int32_t max,
                                    bool group) {
  if (from.colour == to) return c;
  if (from.colour == Colour::ycbcr && to == Colour::grey) return {c[0]};
  if (from.colour == Colour::ycbcr) {
    const double y = c[0], half = static_cast<double>((std::int64_t{max} + 1) / 2), cb = c[1] - half, cr = c[2] - half;
    return {bounded(y + 1.402 * cr, max), bounded(y - 0.344136 * cb - 0.714136 * cr, max),
            bounded(y + 1.772 * cb, max)};
  }
  if (from.colour == Colour::cmyk) {
    std::vector<std::int32_t> rgb;
    for (std::size_t i = 0; i < 4 && !from.inverted; ++i) c[i] = max - c[i];
    for (std::size_t i = 0; i < 3; ++i)
      rgb.push_back(static_cast<std::int32_t>((std::int64_t{c[i]} * c[3] + max / 2) / max));
    if (to == Colour::rgb) return rgb;
    return {luminance(rgb[0], rgb[1], rgb[2], false)};
  }
  if (to == Colour::rgb) return {c[0], c[0], c[0]};
  return {luminance(c[0], c[1], c[2], group)};
}

// The definition of every sample of a result, whose layout is taken from it.
void expectSamples(Picture from, const Picture& to, const std::string& name) {
  if (from.colour == Colour::unknown && to.colour != Colour::unknown) from.colour = Colour::rgb;
  std::size_t colours = static_cast<std::size_t>(from.colours());
  // Colours are converted at the depth that all planes have together.
  Plane common = from.planes[0];
  bool same = true;
  for (const Plane& plane : from.planes) {
    same = same && plane.maxval == common.maxval && plane.bits == common.bits && !plane.isSigned;
    common.bits = std::max(common.bits, plane.bits);
  }
  if (!same) common = Plane::of(1, 1, common.bits);
  const bool inks = from.colour == Colour::cmyk;
  const bool direct = from.colour == to.colour || from.colour == Colour::grey ||
                      (from.colour == Colour::ycbcr && to.colour == Colour::grey);
  const bool bytes = from.uniform() && from.planes[0].element == Element::u8 && common.maxval == 255 && !inks;
  int wrong = 0;
  for (int y = 0; y < to.height && wrong < 3; ++y) {
    for (int x = 0; x < to.width && wrong < 3; ++x) {
      for (std::size_t plane = 0; plane < to.planes.size(); ++plane) {
        std::int64_t expected = 0;
        const bool opacity = to.opacity != Opacity::none && plane + 1 == to.planes.size();
        if (opacity || direct) {
          std::size_t source = opacity && from.opacity != Opacity::none ? from.planes.size() - 1 : plane;
          if (!opacity && from.colour == Colour::grey) source = 0;
          expected = scaled(sampleAt(from, source, x, y), from.planes[source], to.planes[plane]);
        } else {
          std::vector<std::int32_t> pixel;
          for (std::size_t i = 0; i < colours; ++i)
            pixel.push_back(static_cast<std::int32_t>(scaled(sampleAt(from, i, x, y), from.planes[i], common)));
          const bool group = bytes && x < to.width / 4 * 4;
          expected = scaled(converted(from, pixel, to.colour, common.maxval, group)[plane], common, to.planes[plane]);
        }
        if (to.planes[plane].at(x, y) != expected) {
          ADD_FAILURE() << name << ": plane " << plane << " at " << x << ", " << y << ": " << to.planes[plane].at(x, y)
                        << " instead of " << expected;
          ++wrong;
        }
      }
    }
  }
}

// The same samples, not interleaved, or with gaps.
Picture planar(const Picture& picture) {
  Picture apart = picture;
  std::vector<std::uint8_t*> memory;
  std::size_t size = 0;
  for (const Plane& plane : picture.planes)
    size += static_cast<std::size_t>(plane.width * plane.height * sizeOf(plane.element)) + 64;
  const std::shared_ptr<std::vector<std::uint64_t>> owner = std::make_shared<std::vector<std::uint64_t>>(size / 8 + 8);
  std::uint8_t* at = reinterpret_cast<std::uint8_t*>(owner->data());
  for (std::size_t i = 0; i < apart.planes.size(); ++i) {
    Plane& plane = apart.planes[i];
    plane.pixelStep = 1;
    plane.step = plane.width * sizeOf(plane.element);
    plane.samples = at;
    at += (plane.step * plane.height + 7) / 8 * 8;
    for (int y = 0; y < plane.height; ++y)
      for (int x = 0; x < plane.width; ++x) test::set(plane, x, y, picture.planes[i].at(x, y));
  }
  apart.owner = owner;
  return apart;
}

std::vector<Picture> manyLayouts() {
  std::vector<Picture> layouts;
  const auto straight = Opacity::straight;
  for (const int bits : {1, 5, 8, 11, 16, 20, 31}) {
    layouts.push_back(layout(Colour::grey, 1, bits));
    layouts.push_back(layout(Colour::grey, 2, bits, straight));
    layouts.push_back(layout(Colour::rgb, 3, bits));
    layouts.push_back(layout(Colour::rgb, 4, bits, straight));
    if (bits < 31) layouts.push_back(subsampled(layout(Colour::ycbcr, 3, bits)));
    layouts.push_back(subsampled(layout(Colour::ycbcr, 4, bits, straight)));
    layouts.push_back(layout(Colour::unknown, 3, bits));
    if (bits < 31) layouts.push_back(layout(Colour::cmyk, 4, bits));
    if (bits > 1) layouts.push_back(withSign(layout(Colour::grey, 1, bits)));
    if (bits > 1) layouts.push_back(withSign(layout(Colour::rgb, 3, bits)));
  }
  for (const int maxval : {100, 200, 254, 300, 40000, 65534}) {
    int bits = 1;
    while ((1 << bits) <= maxval) ++bits;
    layouts.push_back(withMaxval(layout(Colour::grey, 1, bits), maxval));
    layouts.push_back(withMaxval(layout(Colour::rgb, 3, bits), maxval));
    layouts.push_back(withMaxval(layout(Colour::rgb, 4, bits, straight), maxval));
  }
  layouts.push_back(mixed(layout(Colour::rgb, 3, 8), {8, 5, 12}));
  layouts.push_back(mixed(layout(Colour::rgb, 4, 8, straight), {8, 8, 8, 1}));
  layouts.push_back(mixed(layout(Colour::ycbcr, 3, 8), {8, 7, 6}));
  // Bytes in wider elements, as a caller's pixels can be.
  Picture wide = layout(Colour::rgb, 3, 8);
  for (Plane& plane : wide.planes) plane.element = Element::i32;
  layouts.push_back(wide);
  return layouts;
}

TEST(Fit, EverySampleAsDefined) {
  const std::vector<std::pair<const char*, Holds>> targets = {{"png", holdsOf("png")},
                                                              {"ppm", holdsOf("ppm")},
                                                              {"pgm", holdsOf("pgm")},
                                                              {"pnm", holdsOf("pnm")},
                                                              {"bytes", bytesOnly()},
                                                              {"anything", anything()},
                                                              {"12", Holds{.minBits = 12, .maxBits = 12}}};
  int index = 0;
  for (const Picture& each : manyLayouts()) {
    const Picture interleaved = filled(each, static_cast<unsigned>(++index));
    for (const Picture& from : {interleaved, planar(interleaved)}) {
      for (const auto& [name, holds] : targets) {
        const std::string text = std::string(name) + " from layout " + std::to_string(index);
        Budget budget(1 << 30);
        Notes notes, streamed;
        const Picture to = fitted(from, holds, notes, budget);
        Notes fitNotes;
        EXPECT_TRUE(test::equalLayout(to, fit(from, holds, fitNotes))) << text;
        EXPECT_EQ(notes, fitNotes) << text;
        const bool kept = holds.subsampled && from.planes.size() > 1 && from.planes[1].dx > 1;
        if (!kept) expectSamples(from, to, text);
        for (const int rows : {2, 4, 100}) {
          PictureCollector collector;
          streamed.clear();
          test::pushBands(from, rows, *fitting(collector, holds, streamed, budget));
          EXPECT_TRUE(equal(collector.picture(), to)) << text << ", " << rows << " rows at once";
          EXPECT_EQ(streamed, notes) << text;
        }
      }
    }
  }
}

// The values of all depths, one by one: the reciprocal is exact.
TEST(Fit, EveryValueIsScaledExactly) {
  for (const int from : {1, 2, 100, 255, 256, 1000, 4095, 32768, 65534, 65535}) {
    Picture layout = Picture::layout(256, 256, 1, 16, Colour::grey);
    layout.planes[0].maxval = from;
    Picture picture = filled(layout);
    for (int value = 0; value < 65536; ++value) test::set(picture.planes[0], value % 256, value / 256, value);
    for (const int bits : {1, 8, 10, 12, 16}) {
      Budget budget(1 << 20);
      Notes notes;
      const Picture to = fitted(picture, {.depths = {bits}}, notes, budget);
      const std::int64_t max = to.planes[0].maxval;
      int wrong = 0;
      // Larger ones count as the maximum, where they are not copied.
      const int end = max == from ? from + 1 : 65536;
      for (int value = 0; value < end; ++value)
        wrong += to.planes[0].at(value % 256, value / 256) != (std::min(value, from) * max + from / 2) / from;
      EXPECT_EQ(wrong, 0) << from << " to " << bits << " bits";
    }
  }
}

// ---- Inks ----------------------------------------------------------------------------------------------------------

// Formats differ in what full intensity of an ink means.
TEST(Fit, InksAreInvertedAsTheFormatNeedsThem) {
  for (const int bits : {5, 8, 12, 16, 31}) {
    for (const bool inverted : {false, true}) {
      Picture inks = filled(layout(Colour::cmyk, 5, bits, Opacity::straight));
      inks.inverted = inverted;
      for (const Picture& from : {inks, planar(inks)}) {
        for (const Inks wanted : {Inks::any, Inks::plain, Inks::inverted}) {
          Notes notes;
          Budget budget(1 << 20);
          const Picture to = fitted(from, {.opacity = true, .inks = wanted}, notes, budget);
          const bool made = wanted == Inks::any ? inverted : wanted == Inks::inverted;
          ASSERT_EQ(to.inverted, made);
          const std::int32_t max = to.planes[0].maxval;
          for (std::size_t i = 0; i < 5; ++i) {
            for (int x = 0; x < 13; ++x) {
              const std::int32_t sample = from.planes[i].at(x, 3);
              ASSERT_EQ(to.planes[i].at(x, 3), i < 4 && made != inverted ? max - sample : sample);
            }
          }
        }
      }
    }
  }
}

// Red is the inverse of cyan.
TEST(Fit, YcckBecomesInks) {
  const Picture ycck = filled(layout(Colour::ycck, 4, 8));
  for (const bool inverted : {false, true}) {
    Notes notes;
    Budget budget(1 << 20);
    const Holds holds{.colours = {Colour::cmyk}, .inks = inverted ? Inks::inverted : Inks::plain};
    const Picture to = fitted(ycck, holds, notes, budget);
    for (int y = 0; y < 7; ++y) {
      for (int x = 0; x < 13; ++x) {
        const auto at = [&](std::size_t plane) { return ycck.planes[plane].at(x, y); };
        const double cb = at(1) - 128, cr = at(2) - 128;
        const std::int32_t rgb[] = {bounded(at(0) + 1.402 * cr, 255),
                                    bounded(at(0) - 0.344136 * cb - 0.714136 * cr, 255),
                                    bounded(at(0) + 1.772 * cb, 255)};
        for (std::size_t i = 0; i < 3; ++i) ASSERT_EQ(to.planes[i].at(x, y), inverted ? rgb[i] : 255 - rgb[i]);
        ASSERT_EQ(to.planes[3].at(x, y), inverted ? 255 - at(3) : at(3));
      }
    }
  }
}

// ---- Rows that need no conversion ----------------------------------------------------------------------------------

struct Watcher : RowSink {
  void begin(const Picture&) override {}
  void rows(const Picture& band) override { bands.push_back(band); }
  void end() override {}
  std::vector<Picture> bands;
};

TEST(Fit, RowsThatNeedNoConversionGoThroughUntouched) {
  const Picture picture = filled(layout(Colour::rgb, 3, 8));
  Watcher watcher;
  Notes notes;
  Budget budget(0);  // nothing is allocated
  test::pushBands(picture, 3, *fitting(watcher, holdsOf("ppm"), notes, budget));
  ASSERT_EQ(watcher.bands.size(), 3u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(watcher.bands[static_cast<std::size_t>(i)].row(0), picture.row(3 * i));
  EXPECT_EQ(fitted(picture, holdsOf("ppm"), notes, budget).row(0), picture.row(0));
}

TEST(Fit, PlanesThatAreApartAreLeftOutWithoutACopy) {
  const Picture picture = planar(filled(layout(Colour::rgb, 4, 8, Opacity::straight)));
  Watcher watcher;
  Notes notes;
  Budget budget(0);
  test::pushBands(picture, 100, *fitting(watcher, holdsOf("ppm"), notes, budget));
  ASSERT_EQ(watcher.bands.size(), 1u);
  ASSERT_EQ(watcher.bands[0].planes.size(), 3u);
  EXPECT_EQ(watcher.bands[0].planes[2].samples, picture.planes[2].samples);
}

// Whatever the size of the picture, a conversion needs some rows.
TEST(Fit, MemoryIsThatOfSomeRows) {
  Picture layout = Picture::layout(500, 2000, 4, 16, Colour::rgb);
  layout.opacity = Opacity::straight;
  const Picture picture = filled(layout);
  for (const char* name : {"pgm", "ppm"}) {
    Watcher watcher;
    Notes notes;
    Budget budget(1 << 18);
    test::pushBands(picture, 2000, *fitting(watcher, holdsOf(name), notes, budget));
    EXPECT_GT(watcher.bands.size(), 30u);
  }
}

TEST(Fit, MemoryOfAWholePictureIsChargedFirst) {
  const Picture picture = filled(layout(Colour::rgb, 3, 16));
  Budget budget(13 * 7 * 3 - 1);
  Notes notes;
  try {
    fitted(picture, bytesOnly(), notes, budget);
    ADD_FAILURE();
  } catch (const Problem& problem) {
    EXPECT_EQ(problem.kind, Kind::limit);
    EXPECT_EQ(problem.setting, Setting::maxMemory);
  }
}

// A file can place sub-sampled planes so that they end before the picture does.
TEST(Fit, PlanesWithFewerRowsThanThePicture) {
  Picture layout = Picture::layout(9, 9, 3, 8, Colour::rgb);
  for (std::size_t i = 1; i < 3; ++i) layout.planes[i] = Plane::of(4, 4, 8, false, 2, 2);
  const Picture picture = filled(layout);
  Notes notes;
  Budget budget(1 << 20);
  const Picture to = fitted(picture, holdsOf("ppm"), notes, budget);
  expectSamples(picture, to, "whole");
  PictureCollector collector;
  test::pushBands(picture, 2, *fitting(collector, holdsOf("ppm"), notes, budget));
  EXPECT_TRUE(equal(collector.picture(), to));
}

}  // namespace
}  // namespace moxj
