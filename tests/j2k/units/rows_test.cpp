// A picture whose rows come one after the other becomes the file of the picture in memory, in less memory.
#include <gtest/gtest.h>

#include <cmath>

#include "formats/formats.h"
#include "j2k/support.h"

namespace moxj::j2k {
namespace {

using test::decoded;
using test::encoded;
using test::equalSamples;
using test::File;
using test::lossless;
using test::picture;

File encodedByRows(const Picture& picture, const EncodeOptions& options, int rows, Work& work) {
  MemoryOutput output;
  RowEncoder encoder(picture, options, work, output);
  for (int y = 0; y < picture.height; y += rows) encoder.rows(picture.band(y, std::min(rows, picture.height - y)));
  encoder.finish();
  return {output.bytes.begin(), output.bytes.end()};
}

File encodedByRows(const Picture& picture, const EncodeOptions& options, int rows) {
  Work work({}, {}, 2);
  return encodedByRows(picture, options, rows, work);
}

void expectSame(const Picture& picture, const EncodeOptions& options) {
  const File whole = encoded(picture, options);
  for (const int rows : {6, 66, 300}) EXPECT_TRUE(whole == encodedByRows(picture, options, rows)) << rows;
}

EncodeOptions to(double ratio) {
  EncodeOptions options;
  options.goals = {Goals::ratio, {ratio}};
  return options;
}

TEST(Jpeg2000Rows, OneTileOfEverySize) {
  for (const auto& [width, height] : {std::pair(1, 1), std::pair(2, 200), std::pair(200, 2), std::pair(67, 65),
                                      std::pair(130, 129), std::pair(61, 301), std::pair(70, 136)})
    for (const int levels : {0, 1, 2, 5, 9}) {
      SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height) + ", " + std::to_string(levels));
      EncodeOptions options = lossless();
      options.levels = levels;
      expectSame(picture(width, height, 3, 8), options);
      if (width * height > 4000) {
        options = to(6);
        options.levels = levels;
        expectSame(picture(width, height, 3, 8), options);
      }
    }
}

TEST(Jpeg2000Rows, OptionsOfOneTile) {
  const Picture original = picture(150, 190, 3, 8);
  const auto check = [&](const std::function<void(EncodeOptions&)>& set) {
    for (EncodeOptions options : {lossless(), to(5)}) {
      set(options);
      expectSame(original, options);
    }
  };
  check([](EncodeOptions& o) { o.blockWidth = 16, o.blockHeight = 8; });
  check([](EncodeOptions& o) { o.blockWidth = 4, o.blockHeight = 1024; });
  check([](EncodeOptions& o) { o.precincts = {{64, 32}, {32, 32}, {16, 8}}; });
  check([](EncodeOptions& o) { o.modes = bypass | termall | segsym; });
  check([](EncodeOptions& o) { o.layers = 4, o.order = Order::rpcl; });
  check([](EncodeOptions& o) { o.tlm = o.plt = o.sop = true, o.tileParts = Division::resolutions; });
  check([](EncodeOptions& o) { o.roi = {30, 20, 50, 60}; });
  check([](EncodeOptions& o) { o.boxes = false, o.visual = true, o.layers = 2; });
}

TEST(Jpeg2000Rows, Tiles) {
  for (const auto& [width, height] : {std::pair(32, 32), std::pair(40, 1000), std::pair(1000, 40), std::pair(7, 90)})
    for (EncodeOptions options : {lossless(), to(3)}) {
      options.tileWidth = width;
      options.tileHeight = height;
      expectSame(picture(150, 190, 3, 8), options);
      options.layers = 3;
      options.tlm = true;
      expectSame(picture(61, 100, 1, 12), options);
    }
}

// Planes apart, of different sizes; the rows of a tile need not be a multiple of the sub-sampling.
TEST(Jpeg2000Rows, SubsampledPlanes) {
  Picture original = picture(97, 150, 3, 8);
  original.planes[1] = Plane::of(49, 75, 8, false, 2, 2);
  original.planes[2] = Plane::of(33, 50, 10, false, 3, 3);
  original.colour = Colour::unknown;
  original.allocate();
  std::mt19937 random(2);
  for (const Plane& plane : original.planes)
    for (int y = 0; y < plane.height; ++y)
      visitRow(plane, y, [&](auto* row) {
        for (int x = 0; x < plane.width; ++x) row[x * plane.pixelStep] = (x + y + random() % 8) & 255;
      });
  for (EncodeOptions options : {lossless(), to(3)})
    for (const int tile : {0, 32, 35, 41}) {
      options.tileWidth = options.tileHeight = tile;
      expectSame(original, options);
    }
}

// The peak of what is charged.
class Peak {
 public:
  static std::uint64_t of(const std::function<void(Work& work)>& run) {
    std::uint64_t fits = std::uint64_t{1} << 30, fails = 0;
    while (fits - fails > (1 << 16)) {
      const std::uint64_t limit = (fits + fails) / 2;
      try {
        Work work({.maxMemory = limit});
        run(work);
        fits = limit;
      } catch (const Problem& problem) {
        EXPECT_EQ(problem.kind, Kind::limit) << problem.what();
        fails = limit;
      }
    }
    return fits;
  }
};

// A drawing, whose file is small.
Picture drawing(int width, int height) {
  Picture made = Picture::bytes(width, height, 3);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < 3 * width; ++x) made.row(y)[x] = (x / 300 + y / 100) % 2 ? 255 : 0;
  return made;
}

TEST(Jpeg2000Rows, NeedLessMemory) {
  const Picture original = drawing(600, 1200);
  EncodeOptions tiled = lossless();
  tiled.tileWidth = tiled.tileHeight = 128;
  for (const EncodeOptions& options : {lossless(), tiled}) {
    const std::uint64_t whole = Peak::of([&](Work& work) { encoded(original, options, work); });
    const std::uint64_t byRows = Peak::of([&](Work& work) { encodedByRows(original, options, 16, work); });
    EXPECT_LT(2 * byRows, whole + original.bytes());
  }
}

double squaredError(const Picture& a, const Picture& b) {
  double sum = 0;
  for (std::size_t c = 0; c < a.planes.size(); ++c)
    for (int y = 0; y < a.height; ++y)
      for (int x = 0; x < a.width; ++x) sum += std::pow(a.planes[c].at(x, y) - b.planes[c].at(x, y), 2);
  return sum;
}

// What is charged when all rows have come, without a limit.
std::uint64_t usedByRows(const Picture& picture, const EncodeOptions& options, int rows) {
  Work work({}, {}, 2);
  MemoryOutput output;
  RowEncoder encoder(picture, options, work, output);
  for (int y = 0; y < picture.height; y += rows) encoder.rows(picture.band(y, std::min(rows, picture.height - y)));
  return work.budget.used();
}

// Passes of little use are left out as they come. While the file needs much less memory than there is, the picture is
// as good as that of the whole.
TEST(Jpeg2000Rows, ASizeInLittleMemory) {
  const Picture original = picture(500, 600, 3, 8);
  for (const int tile : {0, 100}) {
    EncodeOptions options = to(20);
    options.tileWidth = options.tileHeight = tile;
    const std::uint64_t needed = Peak::of([&](Work& work) { encodedByRows(original, options, 16, work); });
    const File whole = encoded(original, options);
    const std::uint64_t ample = usedByRows(original, options, 16);
    EXPECT_LT(needed, ample);
    Work work({.maxMemory = (needed + ample) / 2}, {}, 2);
    const File file = encodedByRows(original, options, 16, work);
    EXPECT_LE(file.size(), original.bytes() / 20);
    EXPECT_GT(file.size(), original.bytes() / 20 * 9 / 10);
    EXPECT_LT(squaredError(original, decoded(file)), 1.05 * squaredError(original, decoded(whole)));
  }
}

// The bytes of the code-blocks that do not fit into memory go into a temporary file; the result is the same.
TEST(Jpeg2000Rows, WithoutLossInLittleMemory) {
  constexpr std::uint64_t kLimit = std::uint64_t{7} << 20;
  const Picture original = picture(400, 3000, 3, 8);
  EncodeOptions precincts = lossless(), layers = lossless();
  precincts.precincts = {{256, 128}};
  precincts.plt = precincts.sop = precincts.eph = true;
  layers.goals = {Goals::ratio, {20, 5, Goals::kEverything}};
  layers.layers = 3;
  for (const EncodeOptions& options : {lossless(), precincts, layers}) {
    const File whole = encoded(original, options);
    Work work({.maxMemory = kLimit}, {}, 2);
    EXPECT_TRUE(whole == encodedByRows(original, options, 16, work));
  }
}

// The writer chooses.
TEST(Jpeg2000Rows, TheWriterNeedsNoMoreThanItIsGiven) {
  const Picture original = drawing(1000, 1000);
  WriteOptions single, tiled;
  tiled.tileWidth = tiled.tileHeight = 100;
  for (const WriteOptions& options : {single, tiled}) {
    Work unlimited;
    std::vector<std::string> notes;
    File files[2];
    for (const std::uint64_t limit : {std::uint64_t{1} << 30, std::uint64_t{8} << 20}) {
      Work work({.maxMemory = limit});
      MemoryOutput output;
      const auto writer = formatNamed("jp2")->create(output, options, work, notes);
      writer->begin(original);
      for (int y = 0; y < original.height; y += 50) writer->rows(original.band(y, 50));
      writer->end();
      files[limit < 1 << 30].assign(output.bytes.begin(), output.bytes.end());
    }
    EXPECT_TRUE(files[0] == files[1]);
    EXPECT_TRUE(equalSamples(original, decoded(files[0])));
  }
}

// All planes of a picture with as many components as can be written.
TEST(Jpeg2000Rows, SixteenComponents) {
  Picture original = picture(40, 30, 3, 8);
  const Plane plane = Plane::of(40, 30, 12);
  original.planes.assign(16, plane);
  original.colour = Colour::unknown;
  original.opacity = Opacity::none;
  original.allocate();
  for (std::size_t c = 0; c < 16; ++c)
    for (int y = 0; y < 30; ++y)
      for (int x = 0; x < 40; ++x)
        original.planes[c].row<std::uint16_t>(y)[x * original.planes[c].pixelStep] =
            static_cast<std::uint16_t>((x * y + 300 * c) & 4095);
  EXPECT_TRUE(equalSamples(original, decoded(encoded(original, lossless()))));
  original.planes.push_back(original.planes[0]);
  EXPECT_THROW(encoded(original, lossless()), Problem);
}

}  // namespace
}  // namespace moxj::j2k
