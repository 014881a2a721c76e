// Lossless files round trip exactly, for every depth, predictor and layout.
#include "pictures/image.h"
#include "support.h"

namespace moxj::jpeg {
namespace {

// Samples from 0 to `max`, including many extremes.
Image testImage(int bits, int components, int max, std::uint32_t seed) {
  Image image;
  image.width = 9;
  image.height = 7;
  const moxj::Component one{.width = image.width, .height = image.height, .bits = bits};
  image.components.assign(static_cast<std::size_t>(components), one);
  image.colour = components == 3 ? Colour::rgb : components == 1 ? Colour::grey : Colour::unknown;
  image.allocate();
  for (const moxj::Component& c : image.components) {
    for (int i = 0; i < c.width * c.height; ++i) {
      seed = seed * 1664525 + 1013904223;
      const int kind = static_cast<int>(seed >> 28), x = i % c.width, y = i / c.width;
      const int value = kind == 0   ? 0
                        : kind == 1 ? max
                                    : static_cast<int>((seed >> 8) % (static_cast<unsigned>(max) + 1));
      if (c.wide)
        c.numbers(y)[std::ptrdiff_t{x} * c.pixelStep] = value;
      else
        c.bytes(y)[std::ptrdiff_t{x} * c.pixelStep] = static_cast<std::uint8_t>(value);
    }
  }
  return image;
}

void expectEqual(const Image& a, const Image& b, int point) {
  ASSERT_EQ(a.components.size(), b.components.size());
  for (std::size_t i = 0; i < a.components.size(); ++i) {
    ASSERT_EQ(a.components[i].bits, b.components[i].bits);
    for (int y = 0; y < a.height; ++y) {
      for (int x = 0; x < a.width; ++x)
        ASSERT_EQ(a.components[i].at(x, y) >> point << point, b.components[i].at(x, y)) << i << ": " << x << ", " << y;
    }
  }
}

TEST(Lossless, EveryPrecisionPredictorPointTransformIntervalAndNumberOfComponents) {
  std::uint32_t seed = 1;
  for (int bits = 2; bits <= 16; ++bits) {
    for (int components = 1; components <= 4; ++components) {
      for (int predictor = 0; predictor <= 7; ++predictor) {
        for (int point = 0; point < bits; point += 1 + bits / 4) {
          for (const int rows : {0, 1, 3}) {
            const int most = (1 << bits) - 1;
            const Image image =
                testImage(bits, components, predictor > 4 && point == 0 ? std::min(most, 32767) : most, ++seed);
            std::vector<std::string> notes;
            const Bytes file = encodeLossless(
                image, {.predictor = predictor, .point = point, .restart = rows, .restartInRows = true}, notes);
            const DecodedImage decoded = decodeImage({file.data(), file.size()}, {}, {}, {.inks = true});
            SCOPED_TRACE(testing::Message() << bits << " bits, " << components << " components, predictor " << predictor
                                            << "," << point << ", intervals of " << rows);
            ASSERT_TRUE(decoded.complete) << decoded.warning;
            ASSERT_EQ(notes.size(), 0u);
            expectEqual(image, decoded.image, point);
          }
        }
      }
    }
  }
}

TEST(Lossless, OpacityIsDroppedWithANote) {
  for (const int components : {2, 4}) {
    Image image = testImage(8, components, 255, 5);
    image.alpha = true;
    std::vector<std::string> notes;
    const Bytes file = encodeLossless(image, {}, notes);
    ASSERT_EQ(notes, std::vector<std::string>{"transparency dropped"});
    image.components.pop_back();
    expectEqual(image, decodeImage({file.data(), file.size()}, {}).image, 0);
  }
}

TEST(Lossless, DepthsThatTheProcessDoesNotHave) {
  std::vector<std::string> notes;
  expectProblem(Kind::unsupported, "samples of 1 bit: ", [&] { encodeLossless(testImage(1, 1, 1, 1), {}, notes); });
  expectProblem(Kind::unsupported, "samples of 17 bits", [&] { encodeLossless(testImage(17, 1, 9, 1), {}, notes); });
  expectProblem(Kind::unsupported, "5 components", [&] { encodeLossless(testImage(8, 5, 9, 1), {}, notes); });
}

}  // namespace
}  // namespace moxj::jpeg
