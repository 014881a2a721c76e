// The number of threads changes neither bytes nor samples: small code-blocks, so that there is work for several threads
// in each step.
#include <gtest/gtest.h>

#include "j2k/support.h"

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

}  // namespace
}  // namespace moxj::j2k
