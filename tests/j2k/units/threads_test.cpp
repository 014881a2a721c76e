// The number of threads changes neither bytes nor samples: small code-blocks, so that there is work for several threads
// in each step.
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>

#include "j2k/support.h"
#include "support/short.h"

namespace moxj::j2k {
namespace {

using test::File;
using test::picture;

EncodeOptions with(Goals goals, int layers) {
  EncodeOptions options;
  options.goals = std::move(goals);
  options.layers = layers;
  options.lossless = !options.goals.given();
  options.blockWidth = options.blockHeight = 8;
  return options;
}

// One tile and several, with all that sizes of packets depend on.
std::vector<EncodeOptions> forms() {
  std::vector<EncodeOptions> made = {with({}, 1),
                                     with({}, 6),
                                     with({Goals::ratio, {9}}, 1),
                                     with({Goals::ratio, {9}}, 8),
                                     with({Goals::ratio, {60, 20, 3}}, 3),
                                     with({Goals::psnr, {30, 38}}, 2)};
  for (std::size_t i = 0; i < 6; ++i) {
    made.push_back(made[i]);
    made.back().tileWidth = 100;
    made.back().tileHeight = 90;
    made.back().plt = i % 2 == 0;
    made.back().tlm = i % 3 == 0;
    made.back().order = static_cast<Order>(i % 5);
    made.back().precincts = {{64, 64}, {32, 32}};
    if (i == 4) made.back().tileParts = Division::resolutions;
  }
  return made;
}

TEST(Jpeg2000Threads, ThePictureIsTheSame) {
  const Picture original = picture(260, 200, 3, 8);
  for (const EncodeOptions& options : forms()) {
    const File expected = test::encoded(original, options);
    const Picture samples = test::decoded(expected);
    for (const int threads : {2, 3, 7}) {
      Work writing({}, {}, threads), reading({}, {}, threads);
      EXPECT_EQ(test::encoded(original, options, writing), expected);
      EXPECT_TRUE(test::equalSamples(decode(expected, {}, reading).picture, samples));
    }
  }
}

// What decoding gives and says, as text.
struct Result {
  Picture picture;
  std::string said;
};

Result decodedBy(int threads, const File& file, const DecodeOptions& options, std::uint64_t memory) {
  Work work({.maxMemory = memory}, {}, threads);
  try {
    Decoded decoded = decode(file, options, work);
    Result result{std::move(decoded.picture), decoded.warning};
    for (const std::string& note : decoded.notes) result.said += "; " + note;
    return result;
  } catch (const Problem& problem) {
    return {{}, problem.what()};
  }
}

// Tiles that are decoded side by side: the first problem is that of the first tile, whichever thread finds one first,
// and a tile that needs more than a thread's share of the memory gets all of it.
TEST(Jpeg2000Threads, ManyTilesAreTheSameWithDamageAndLittleMemory) {
  const Picture original = picture(260, 200, 3, 8);
  EncodeOptions options = with({Goals::ratio, {5}}, 3);
  options.tileWidth = options.tileHeight = 32;
  const File good = test::encoded(original, options);
  std::mt19937 random(7);
  std::set<std::string> said;
  for (int i = 0; i < 60; i += ::test::strideOf(2)) {
    File file = good;
    for (int k = 0; k < i; ++k) file[100 + random() % (file.size() - 100)] = static_cast<std::uint8_t>(random());
    if (i % 10 == 9) file.resize(file.size() * 3 / 4);
    const DecodeOptions how = {.reduce = i % 3 == 2 ? 1 : 0};
    for (const std::uint64_t memory : {std::uint64_t{1} << 30, std::uint64_t{400} << 10, std::uint64_t{200} << 10}) {
      const Result one = decodedBy(1, file, how, memory);
      said.insert(one.said);
      for (const int threads : {2, 3, 7}) {
        const Result several = decodedBy(threads, file, how, memory);
        EXPECT_EQ(several.said, one.said) << i;
        EXPECT_TRUE(test::equalSamples(several.picture, one.picture)) << i;
      }
    }
  }
  EXPECT_GT(said.size(), 20u);  // there is something to compare
}

}  // namespace
}  // namespace moxj::j2k
