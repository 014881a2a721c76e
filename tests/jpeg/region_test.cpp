// Regions and reduced pictures: a region is exactly the cut of the whole picture, whatever the file and the options.
#include <cmath>
#include <numbers>
#include <random>

#include "jpeg/scaledinverse.h"
#include "pictures/region.h"
#include "support.h"

namespace moxj::jpeg {
namespace {

// A picture in three planes, whose chrominance is sub-sampled.
Picture planes(int width, int height, int dx, int dy) {
  Picture picture;
  picture.width = width;
  picture.height = height;
  picture.colour = Colour::ycbcr;
  std::uint32_t seed = 7;
  for (int i = 0; i < 3; ++i) {
    const int x = i == 0 ? 1 : dx, y = i == 0 ? 1 : dy;
    picture.planes.push_back(Plane::of((width + x - 1) / x, (height + y - 1) / y, 8, false, x, y));
  }
  picture.allocate();
  for (const Plane& plane : picture.planes) {
    for (int y = 0; y < plane.height; ++y) {
      for (int x = 0; x < plane.width; ++x) {
        seed = seed * 1664525 + 1013904223;
        plane.row<std::uint8_t>(y)[x * plane.pixelStep] =
            static_cast<std::uint8_t>(60 + (x * 5 + y * 3) % 120 + static_cast<int>(seed >> 27));
      }
    }
  }
  return picture;
}

// The part of the picture that is wanted.
Decoded decodePart(const File& file, const DecodeOptions& options) {
  Decoded decoded = decodeFile(file, options);
  if (!decoded.picture.wanted.given()) return decoded;
  Budget budget(1 << 24);
  PictureCollector collector;
  Picture layout = decoded.picture;
  layout.wanted = {};
  pushPicture(layout, *cutting(collector, decoded.picture.wanted, budget));
  decoded.picture = collector.picture();
  return decoded;
}

int reducedSize(int size, int reduce) { return (size + (1 << reduce) - 1) >> reduce; }

// The pixels (x, y) of a reduced picture for which (x, y) * 2^reduce lies in the region.
Region reducedRegion(const Region& region, int reduce) {
  const int x = reducedSize(region.x, reduce), y = reducedSize(region.y, reduce);
  return {x, y, reducedSize(region.x + region.width, reduce) - x, reducedSize(region.y + region.height, reduce) - y};
}

// `part` is the cut of the whole at the region.
void expectCut(const Picture& whole, const Region& region, const Picture& part) {
  ASSERT_EQ(part.width, region.width);
  ASSERT_EQ(part.height, region.height);
  ASSERT_EQ(part.planes.size(), whole.planes.size());
  EXPECT_EQ(part.colour, whole.colour);
  for (std::size_t i = 0; i < part.planes.size(); ++i) {
    const Plane &from = whole.planes[i], &plane = part.planes[i];
    // Planes that begin between samples are expanded.
    for (int y = 0; y < plane.height; ++y) {
      for (int x = 0; x < plane.width; ++x) {
        const int fromX = (region.x + x * plane.dx) / from.dx, fromY = (region.y + y * plane.dy) / from.dy;
        ASSERT_EQ(plane.at(x, y), from.at(fromX, fromY)) << "plane " << i << ": " << x << ", " << y;
      }
    }
  }
}

Region randomRegion(std::mt19937& random, int width, int height) {
  const auto below = [&](int count) { return static_cast<int>(random() % static_cast<unsigned>(count)); };
  Region region{below(width), below(height), 0, 0};
  region.width = 1 + below(width - region.x);
  region.height = 1 + below(height - region.y);
  if (below(4) == 0) region.width = std::min(region.width, 2);
  if (below(4) == 0) region.height = std::min(region.height, 2);
  return region;
}

std::string textOf(const Region& region) {
  return std::to_string(region.x) + "," + std::to_string(region.y) + "," + std::to_string(region.width) + "," +
         std::to_string(region.height);
}

// Decodes some regions of a file at each size that the options allow.
void expectRegions(const File& file, DecodeOptions options, std::mt19937& random, int count = 6) {
  for (options.reduce = 0; options.reduce <= (options.fastMcu ? 0 : kMaxReduce); ++options.reduce) {
    options.region = {};
    Decoded whole;
    try {
      whole = decodeFile(file, options);
    } catch (const Problem& problem) {
      EXPECT_EQ(problem.kind, Kind::badOption);
      continue;
    }
    DecodeOptions full = options;
    full.reduce = 0;
    const Picture original = decodeFile(file, full).picture;
    for (int i = 0; i < count; ++i) {
      options.region = randomRegion(random, original.width, original.height);
      const Region region = reducedRegion(options.region, options.reduce);
      SCOPED_TRACE(textOf(options.region) + " reduced " + std::to_string(options.reduce));
      if (region.width == 0 || region.height == 0) {
        expectProblem(Kind::badOption, "region has no pixels at that resolution", [&] { decodeFile(file, options); });
        continue;
      }
      expectCut(whole.picture, region, decodePart(file, options).picture);
      if (testing::Test::HasFailure()) return;
    }
  }
}

std::vector<DecodeOptions> ways() {
  return {{}, {.smooth = false}, {.native = true}, {.inks = true}, {.fastMcu = true}};
}

TEST(Region, IsTheCutOfTheWholeForEverySampling) {
  std::mt19937 random(1);
  for (const auto& [width, height] : {std::pair(83, 61), {20, 33}, {17, 18}, {1, 9}, {130, 40}}) {
    for (const auto& [dx, dy] : {std::pair(1, 1), {2, 1}, {2, 2}, {1, 2}, {4, 1}, {4, 2}, {1, 4}}) {
      const Picture picture = planes(width, height, dx, dy);
      for (const int kind : {0, 1, 2}) {
        EncodeOptions coding{.progressive = kind == 1};
        if (kind == 2) coding.script = parseScript("0; 1; 2;", "scans");
        if (kind == 0 && width > 50) coding.restart = 3;
        const File file = fileOf(picture, coding);
        for (const DecodeOptions& options : ways()) {
          SCOPED_TRACE(testing::Message() << width << " x " << height << ", " << dx << " x " << dy << ", kind " << kind
                                          << (options.native ? " native" : "") << (options.fastMcu ? " fast" : ""));
          expectRegions(file, options, random, 4);
          for (int reduce = 0; reduce <= (options.fastMcu ? 0 : kMaxReduce); ++reduce) {
            DecodeOptions reduced = options;
            reduced.reduce = reduce;
            EXPECT_TRUE(decodeFile(file, reduced).complete) << reduce;
          }
          if (HasFailure()) return;
        }
      }
    }
  }
}

TEST(Region, OfGreyPictures) {
  std::mt19937 random(2);
  for (const bool progressive : {false, true})
    expectRegions(fileOf(testPicture(75, 50, 1), {.progressive = progressive}), {}, random, 20);
}

// The same coefficients as samples of 12 bits.
TEST(Region, OfDeepFiles) {
  std::mt19937 random(6);
  for (const auto& [dx, dy] : {std::pair(1, 1), {2, 1}, {2, 2}, {1, 2}}) {
    File file = fileOf(planes(75, 50, dx, dy));
    const std::size_t frame = Layout(file).find(marker::sof0).offset;
    file[frame + 1] = marker::sof1;
    file[frame + 4] = 12;
    ASSERT_EQ(decodeFile(file).picture.planes[0].bits, 12);
    for (const DecodeOptions& options : {DecodeOptions{}, {.smooth = false}, {.native = true}})
      expectRegions(file, options, random, 8);
  }
}

TEST(Region, OfLosslessFiles) {
  std::mt19937 random(3);
  for (const int channels : {1, 3}) {
    const File file = losslessFileOf(testPicture(61, 45, channels));
    expectRegions(file, {}, random, 20);
    expectProblem(Kind::badOption, "reduce is not for lossless JPEG files", [&] { decodeFile(file, {.reduce = 1}); });
  }
}

// What is missing is grey in both.
TEST(Region, OfTruncatedFiles) {
  std::mt19937 random(4);
  for (const bool progressive : {false, true}) {
    const File file = fileOf(testPicture(90, 140, 3), {.progressive = progressive});
    for (std::size_t length = file.size() / 3; length < file.size(); length += file.size() / 9) {
      const File part(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
      SCOPED_TRACE(length);
      expectRegions(part, {}, random, 8);
    }
  }
}

// What follows the region is not looked at.
TEST(Region, DamageBelowItIsNotMet) {
  for (const bool progressive : {false, true}) {
    const Picture picture = testPicture(64, 320, 3);
    File file = fileOf(picture, {.restart = 1, .restartInRows = true, .progressive = progressive});
    const Layout layout(file);
    if (progressive) {
      // Within the last rows of its first scan.
      for (std::size_t at = layout.dataEnd - 8; at < layout.dataEnd - 4; ++at) file[at] = 0x55;
    } else {
      file.resize(layout.dataBegin + (layout.dataEnd - layout.dataBegin) * 3 / 4);
    }
    const DecodeOptions options{.region = {8, 8, 40, 40}};
    const Decoded part = decodePart(file, options);
    EXPECT_TRUE(part.complete) << part.warning;
    EXPECT_FALSE(decodeFile(file).complete);
    expectCut(decodeFile(file).picture, options.region, part.picture);
  }
}

TEST(Region, TakesMemoryOfItsSize) {
  const Picture picture = testPicture(3000, 1500, 3, 0);
  const auto used = [](const File& file, const DecodeOptions& options) {
    Collector collector;
    Work work;
    decode(file, options, collector, work);
    return work.budget.used();
  };
  for (const bool progressive : {false, true}) {
    const File file = fileOf(picture, {.progressive = progressive});
    const std::uint64_t whole = used(file, {});
    EXPECT_LT(used(file, {.region = {1500, 100, 60, 60}}), whole / 4);
    EXPECT_LT(used(file, {.reduce = 3}), whole);
  }
  const File lossless = losslessFileOf(picture);
  EXPECT_LT(used(lossless, {.region = {1500, 100, 60, 60}}), picture.bytes() / 50);
}

TEST(Region, OutsideThePictureIsRefusedAndBeyondItIsCut) {
  const File file = fileOf(testPicture(50, 40, 3));
  expectProblem(Kind::badOption, "region lies outside the picture of 50 x 40 pixels", [&] {
    decodeFile(file, {.region = {50, 0, 1, 1}});
  });
  expectProblem(Kind::badOption, "region lies outside", [&] { decodeFile(file, {.region = {0, 40, 0, 0}}); });
  const Picture whole = decodeFile(file).picture;
  const Decoded part = decodePart(file, {.region = {30, 20, 100, 5}});
  EXPECT_EQ(part.notes, std::vector<std::string>{"the region reaches beyond the picture and becomes 20 x 5 pixels"});
  expectCut(whole, {30, 20, 20, 5}, part.picture);
  const Decoded toTheEdge = decodePart(file, {.region = {30, 20, 0, 0}});
  EXPECT_TRUE(toTheEdge.notes.empty());
  expectCut(whole, {30, 20, 20, 20}, toTheEdge.picture);
}

// ---- Reduced pictures ---------------------------------------------------------------------------------------------

TEST(Reduce, SizesAreRoundedUp) {
  for (const int width : {1, 7, 8, 9, 16, 17, 33}) {
    for (int reduce = 1; reduce <= kMaxReduce; ++reduce) {
      const Picture made = decodeFile(fileOf(testPicture(width, 21, 3)), {.reduce = reduce}).picture;
      EXPECT_EQ(made.width, reducedSize(width, reduce));
      EXPECT_EQ(made.height, reducedSize(21, reduce));
    }
  }
}

TEST(Reduce, FlatPicturesStayFlat) {
  for (const int value : {0, 1, 77, 128, 254, 255}) {
    Picture flat = Picture::bytes(19, 21, 3);
    std::memset(flat.row(0), value, flat.rowBytes() * 21);
    for (int reduce = 1; reduce <= kMaxReduce; ++reduce) {
      const Picture made = decodeFile(fileOf(flat, {.quality = 100}), {.reduce = reduce}).picture;
      for (int y = 0; y < made.height; ++y)
        for (std::size_t i = 0; i < made.rowBytes(); ++i) ASSERT_EQ(made.row(y)[i], value);
    }
  }
}

// The definition in scaledinverse.h, with the cosines of the library of mathematics.
int definedSample(const Mox16s* coefficients, const Steps& steps, BlockSize size, int x, int y, int bits = 8) {
  const auto basis = [](int n, int at, int u) {
    if (u == 0) return std::int64_t{8192};
    return static_cast<std::int64_t>(
        std::llround(8192 * std::sqrt(2.0) * std::cos((2 * at + 1) * u * std::numbers::pi / (2 * n))));
  };
  std::int64_t sum = 0;
  for (int v = 0; v < size.height; ++v)
    for (int u = 0; u < size.width; ++u) {
      const std::size_t at = static_cast<std::size_t>(8 * v + u);
      const std::int64_t c = std::clamp<std::int64_t>(std::int64_t{coefficients[at]} * steps[at], -32768, 32767);
      sum += c * basis(size.width, x, u) * basis(size.height, y, v);
    }
  const double middle = 1 << (bits - 1);
  const double value = middle + std::floor(static_cast<double>(sum) / (8.0 * 8192 * 8192) + 0.5);
  return static_cast<int>(std::clamp(value, 0.0, 2 * middle - 1));
}

TEST(Reduce, SamplesAreTheDefinedOnes) {
  std::mt19937 random(5);
  const auto between = [&](int low, int high) {
    return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
  };
  for (const int width : {1, 2, 4, 8}) {
    for (const int height : {1, 2, 4, 8}) {
      if (width == 8 && height == 8) continue;
      for (int round = 0; round < 200; ++round) {
        Steps steps;
        Mox16s coefficients[64];
        const int limit = round % 3 == 0 ? 3 : round % 3 == 1 ? 60 : 32767;
        for (std::size_t i = 0; i < 64; ++i) {
          steps[i] = static_cast<std::uint16_t>(between(1, round % 5 == 0 ? 65535 : 20));
          coefficients[i] = static_cast<Mox16s>(between(-limit - (limit == 32767), limit));
        }
        if (round % 4 == 0) std::fill(coefficients + 1, coefficients + 64, Mox16s{0});
        std::uint8_t samples[8 * 10];
        std::memset(samples, 99, sizeof samples);
        BlockInverse(steps, {width, height})(coefficients, samples, 10);
        for (int y = 0; y < 8; ++y)
          for (int x = 0; x < 10; ++x)
            ASSERT_EQ(samples[10 * y + x],
                      x < width && y < height ? definedSample(coefficients, steps, {width, height}, x, y) : 99)
                << width << " x " << height << ": " << x << ", " << y;
      }
    }
  }
}

// A reduced picture is what remains of the whole without its high frequencies: close to the means of its pixels.
TEST(Reduce, IsCloseToTheMeans) {
  for (const auto& [dx, dy] : {std::pair(1, 1), {2, 1}, {2, 2}, {1, 2}}) {
    Picture picture = planes(96, 64, dx, dy);
    for (const Plane& plane : picture.planes)
      for (int y = 0; y < plane.height; ++y)
        for (int x = 0; x < plane.width; ++x)
          plane.row<std::uint8_t>(y)[x * plane.pixelStep] =
              static_cast<std::uint8_t>(128 + 30 * std::sin(x * plane.dx * 0.05) * std::cos(y * plane.dy * 0.04));
    const File file = fileOf(picture, {.quality = 95});
    const Picture whole = decodeFile(file).picture;
    for (int reduce = 1; reduce <= kMaxReduce; ++reduce) {
      const Picture made = decodeFile(file, {.reduce = reduce}).picture;
      const int scale = 1 << reduce;
      for (int y = 0; y < made.height; ++y)
        for (int x = 0; x < made.width; ++x)
          for (std::size_t c = 0; c < 3; ++c) {
            int sum = 0;
            for (int i = 0; i < scale * scale; ++i)
              sum += whole.planes[c].at(x * scale + i % scale, y * scale + i / scale);
            ASSERT_NEAR(made.planes[c].at(x, y), sum / (scale * scale), 4) << reduce << ": " << x << ", " << y;
          }
    }
  }
}

// 4:2:0 at half its size: each pixel has chrominance of its own, so nothing is up-sampled.
TEST(Reduce, ChrominanceIsTakenAtFullSize) {
  const File file = fileOf(planes(64, 48, 2, 2));
  const Picture whole = decodeFile(file, {.native = true}).picture;
  const Picture half = decodeFile(file, {.native = true, .reduce = 1}).picture;
  for (std::size_t i = 1; i < 3; ++i) {
    ASSERT_EQ(half.planes[i].dx, 1);
    ASSERT_EQ(half.planes[i].width, whole.planes[i].width);
    for (int y = 0; y < half.planes[i].height; ++y)
      for (int x = 0; x < half.planes[i].width; ++x) ASSERT_EQ(half.planes[i].at(x, y), whole.planes[i].at(x, y));
  }
}

// The scans of high frequencies are passed over.
TEST(Reduce, DamageInScansThatAreNotNeeded) {
  const File file = fileOf(testPicture(80, 80, 1), {.progressive = true});
  std::size_t scans = 0, last = 0;
  SegmentWalker walker(file);
  while (const auto segment = walker.next()) {
    if (segment->marker != marker::sos) continue;
    ++scans;
    last = segment->end;
    walker.seek(findScanEnd(file, last));
  }
  ASSERT_GT(scans, 3u);
  File damaged = file;
  damaged.resize(last + 20);
  EXPECT_FALSE(decodeFile(damaged).complete);
  const Decoded eighth = decodeFile(damaged, {.reduce = 3});
  EXPECT_TRUE(eighth.complete) << eighth.warning;
  expectSame(eighth.picture, decodeFile(file, {.reduce = 3}).picture);
}

TEST(Reduce, DeepSamplesAreTheDefinedOnes) {
  std::mt19937 random(8);
  Steps steps;
  Mox16s coefficients[64];
  for (int round = 0; round < 100; ++round) {
    for (std::size_t i = 0; i < 64; ++i) {
      steps[i] = static_cast<std::uint16_t>(1 + random() % 4);
      coefficients[i] = static_cast<Mox16s>(static_cast<int>(random() % 801) - 400);
    }
    for (const BlockSize size : {BlockSize{1, 1}, {2, 2}, {4, 4}, {8, 4}, {2, 4}}) {
      std::uint16_t samples[64];
      invertScaled(coefficients, steps, size, 12, samples, 8);
      for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
          ASSERT_EQ(samples[8 * y + x], definedSample(coefficients, steps, size, x, y, 12));
    }
  }
}

TEST(Reduce, WithMcuFunctionsIsRefused) {
  expectProblem(Kind::badOption, "reduce and fastMcu cannot be combined",
                [&] { decodeFile(fileOf(testPicture(20, 20, 3)), {.fastMcu = true, .reduce = 1}); });
}

}  // namespace
}  // namespace moxj::jpeg
