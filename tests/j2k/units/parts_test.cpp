// A file of a requested size does not depend on how much of its code-blocks is coded before the passes are chosen.
#include <gtest/gtest.h>

#include <cmath>

#include "j2k/blockencoder.h"
#include "j2k/support.h"
#include "support/short.h"

namespace moxj::j2k {
namespace {

using test::encoded;
using test::File;

enum Kind { waves, noise, drawing, mixed };

// Pictures whose blocks differ: smooth and busy parts, edges, empty areas.
Picture pictureOf(Kind kind, int width, int height, int planes = 3, int bits = 8) {
  Picture picture = Picture::layout(width, height, planes, bits, planes < 3 ? Colour::grey : Colour::rgb);
  picture.allocate();
  std::mt19937 random(kind + 1);
  for (std::size_t c = 0; c < picture.planes.size(); ++c)
    for (int y = 0; y < height; ++y)
      visitRow(picture.planes[c], y, [&](auto* row) {
        for (int x = 0; x < width; ++x) {
          const double wave = 0.4 + 0.2 * std::sin(x * 0.05 + static_cast<double>(c)) + 0.2 * std::cos(y * x * 0.0007);
          const double grain = static_cast<double>(random() % 1024) / 1024;
          const bool line = (x / 7 + y / 11) % 5 == 0 || (x * y) % 97 < 4;
          const double value = kind == waves     ? wave + 0.05 * grain
                               : kind == noise   ? grain
                               : kind == drawing ? (line ? 0.1 : 0.9)
                               : x > width / 2   ? wave + (y > height / 2 ? 0.3 * (grain - 0.5) : 0)
                                                 : (line ? 0.2 : 0.7);
          row[std::ptrdiff_t{x} * picture.planes[c].pixelStep] = static_cast<std::remove_pointer_t<decltype(row)>>(
              std::clamp(value, 0.0, 1.0) * std::ldexp(1, bits) - (value >= 1));
        }
      });
  return picture;
}

EncodeOptions to(double ratio) {
  EncodeOptions options;
  options.goals = {Goals::ratio, {ratio}};
  return options;
}

void expectSame(const Picture& picture, EncodeOptions options, int threads = 1) {
  options.codeAll = false;
  Work work({}, {}, threads);
  const File parts = encoded(picture, options, work);
  options.codeAll = true;
  EXPECT_TRUE(parts == encoded(picture, options));
}

// What is known of a block that is coded in part is what all of it shows.
void expectPart(const CodedBlock& part, const CodedBlock& all) {
  EXPECT_EQ(part.bitPlanes, all.bitPlanes);
  ASSERT_LE(part.passes.size(), all.passes.size());
  ASSERT_LE(part.data.size(), all.data.size());
  EXPECT_TRUE(std::equal(part.data.begin(), part.data.end(), all.data.begin()));
  for (std::size_t i = 0; i < all.passes.size(); ++i) {
    if (i < part.passes.size()) {
      EXPECT_EQ(part.passes[i].end, all.passes[i].end) << i;
      EXPECT_EQ(part.passes[i].segment, all.passes[i].segment) << i;
      EXPECT_EQ(part.passes[i].distortion, all.passes[i].distortion) << i;
    } else {
      EXPECT_LE(part.bytes, all.passes[i].end) << i;
    }
    if (static_cast<int>(i) < part.codedPasses && !part.isComplete()) {
      EXPECT_LE(all.passes[i].distortion, part.gain);
    }
  }
  const auto choice = [](const CodedBlock& coded, double slope) {
    int passes = 0;
    for (const HullPoint& point : coded.hull)
      if (point.slope >= slope) passes = point.passes;
    return passes;
  };
  for (std::size_t i = 0; i < all.hull.size(); ++i) {
    const HullPoint& point = all.hull[i];
    if (point.slope <= part.floor) continue;
    ASSERT_LT(i, part.hull.size());
    EXPECT_EQ(part.hull[i].passes, point.passes);
    EXPECT_EQ(part.hull[i].slope, point.slope);
    EXPECT_EQ(choice(part, point.slope), choice(all, point.slope)) << point.slope;
  }
}

TEST(Jpeg2000Parts, Blocks) {
  std::mt19937 random(5);
  const auto below = [&](unsigned count) { return static_cast<int>(random() % count); };
  BlockEncoder encoder(64, 64);
  for (int i = 0; i < 10000; ++i) {
    SCOPED_TRACE(i);
    Block block;
    block.width = static_cast<std::int16_t>(1 + below(i % 3 == 0 ? 64 : 8));
    block.height = static_cast<std::int16_t>(1 + below(i % 5 == 0 ? 64 : 8));
    TileComponent component;
    component.coding.reversible = below(2) == 0;
    component.coding.modes = below(3) == 0 ? below(allModes + 1) : 0;
    Band band;
    band.orientation = static_cast<Orientation>(below(4));
    band.bitPlanes = 20;
    const unsigned height = 1u << (1 + below(12)), rare = 1u << below(7);
    std::vector<std::int32_t> values;
    for (int k = 0; k < block.width * block.height; ++k)
      values.push_back((random() % rare == 0 ? below(height) : below(height) >> below(12)) * (below(2) * 2 - 1) *
                       (component.coding.reversible ? 1 : 1 << 13));
    const Coefficients from = {values.data(), std::ptrdiff_t{4} * block.width};
    const CodedBlock all = encoder.encode(from, block, band, component, {.weight = 1.25});
    for (const double slope : {0.1, 3.0, 40.0, 700.0, 9000.0, 3e5}) {
      const CodedBlock part = encoder.encode(from, block, band, component, {.weight = 1.25, .slope = slope});
      EXPECT_LT(part.floor, slope);
      expectPart(part, all);
    }
    if (HasFailure()) return;
  }
}

TEST(Jpeg2000Parts, Pictures) {
  int number = 0;
  for (const Kind kind : {waves, noise, drawing, mixed})
    for (const auto& [width, height] : {std::pair(1, 1), std::pair(40, 30), std::pair(200, 333), std::pair(700, 500)})
      for (const double ratio : {5.0, 6.0, 8.0, 10.0, 17.0, 40.0, 100.0, 300.0}) {
        SCOPED_TRACE(std::to_string(kind) + ", " + std::to_string(width) + ", " + std::to_string(ratio));
        if (width * height * 3 < 1000 * ratio) continue;  // too little for the headers
        if (number++ % ::test::strideOf(3) != 0) continue;
        expectSame(pictureOf(kind, width, height), to(ratio), width % 3);
      }
}

TEST(Jpeg2000Parts, Depths) {
  for (const int bits : {1, 4, 8, 12, 16, 24})
    for (const int planes : {1, 3}) {
      SCOPED_TRACE(std::to_string(bits) + ", " + std::to_string(planes));
      for (const double ratio : {10.0, 40.0}) expectSame(pictureOf(mixed, 300, 280, planes, bits), to(ratio));
      for (const double bpp : {0.1, 0.7}) {
        EncodeOptions options;
        options.goals = {Goals::bitsPerPixel, {bpp}};
        expectSame(pictureOf(waves, 300, 280, planes, bits), options);
      }
    }
}

TEST(Jpeg2000Parts, Options) {
  const Picture busy = pictureOf(mixed, 390, 410), smooth = pictureOf(waves, 390, 410);
  // Each option with a third of the combinations; three options that follow one another have all of them.
  int turn = 0;
  const int apart = 3 * ::test::strideOf(3);
  const auto check = [&](const char* name, const std::function<void(EncodeOptions&)>& set) {
    SCOPED_TRACE(name);
    for (const double ratio : {7.0, 12.0, 50.0})
      for (const bool reversible : {false, true})
        for (const Picture* const picture : {&busy, &smooth}) {
          if (turn++ % apart != 0) continue;
          EncodeOptions options = to(ratio);
          options.lossless = reversible;
          set(options);
          expectSame(*picture, options);
        }
    ++turn;
  };
  check("none", [](EncodeOptions&) {});
  for (const int modes : {int{bypass}, int{reset}, int{termall}, int{causal}, int{pterm}, int{segsym}, bypass | termall,
                          bypass | segsym, reset | causal | pterm, int{allModes}})
    check(("modes " + std::to_string(modes)).c_str(), [=](EncodeOptions& o) { o.modes = modes; });
  for (const int layers : {2, 5, 20})
    check(("layers " + std::to_string(layers)).c_str(), [=](EncodeOptions& o) { o.layers = layers; });
  check("ratios", [](EncodeOptions& o) { o.layers = 3, o.goals.values = {60, 30, 11}; });
  check("to the end", [](EncodeOptions& o) { o.layers = 2, o.goals.values = {30, Goals::kEverything}; });
  for (const auto& [width, height] : {std::pair(4, 4), std::pair(16, 64), std::pair(4, 1024), std::pair(32, 32)})
    check(("blocks " + std::to_string(width)).c_str(),
          [w = width, h = height](EncodeOptions& o) { o.blockWidth = w, o.blockHeight = h; });
  for (const int levels : {0, 1, 8}) check("levels", [=](EncodeOptions& o) { o.levels = levels; });
  check("precincts", [](EncodeOptions& o) { o.precincts = {{64, 64}, {32, 32}}, o.order = Order::pcrl; });
  check("tiles", [](EncodeOptions& o) { o.tileWidth = 128, o.tileHeight = 100; });
  check("wide tiles", [](EncodeOptions& o) { o.tileHeight = 200, o.tlm = o.plt = true; });
  check("markers", [](EncodeOptions& o) { o.sop = o.eph = o.plt = o.tlm = true, o.tileParts = Division::layers; });
  check("region", [](EncodeOptions& o) { o.roi = {100, 90, 77, 120}; });
  check("visual", [](EncodeOptions& o) { o.visual = true; });
}

}  // namespace
}  // namespace moxj::j2k
