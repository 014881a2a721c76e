// The encoder: structure of its files, limits, and the picture that a decoder gets back.
#include <cmath>

#include "support.h"

namespace moxj::jpeg {
namespace {

double psnr(const Picture& a, const Picture& b) {
  double sum = 0;
  for (int y = 0; y < a.height; ++y) {
    for (std::size_t i = 0; i < a.rowBytes(); ++i) sum += std::pow(a.row(y)[i] - b.row(y)[i], 2);
  }
  return 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.rowBytes()) * a.height / std::max(sum, 1e-9));
}

TEST(Encode, EverySizeComesBack) {
  for (int size = 1; size <= 40; ++size) {
    const int other = 1 + (size * 17) % 40;
    for (const auto& [width, height] : {std::pair(size, other), std::pair(other, size)}) {
      for (const int channels : {1, 3}) {
        for (const Sampling sampling : {Sampling::s444, Sampling::s422, Sampling::s420}) {
          const Picture picture = testPicture(width, height, channels, 0);
          const Decoded decoded = decodeFile(fileOf(picture, {.quality = 100, .sampling = sampling}));
          EXPECT_TRUE(decoded.complete);
          const double least = channels == 1 ? 45 : sampling == Sampling::s444 ? 40 : 20;
          EXPECT_GT(psnr(picture, decoded.picture), least) << width << "x" << height << " " << channels;
        }
      }
    }
  }
}

TEST(Encode, QualityRaisesSizeAndFidelity) {
  const Picture picture = testPicture(128, 128, 3);
  double lastPsnr = 0;
  std::size_t lastSize = 0;
  for (const int quality : {1, 10, 25, 50, 75, 90, 100}) {
    const File file = fileOf(picture, {.quality = quality, .sampling = Sampling::s444});
    const double reached = psnr(picture, decodeFile(file).picture);
    EXPECT_GT(file.size(), lastSize) << quality;
    EXPECT_GT(reached, lastPsnr) << quality;
    lastSize = file.size();
    lastPsnr = reached;
  }
  EXPECT_GT(lastPsnr, 45);
}

TEST(Encode, SegmentsAreThoseOfABaselineJfifFile) {
  const File colour = fileOf(testPicture(33, 17, 3), {.restart = 3});
  std::vector<std::string> names;
  for (const Segment& segment : inspect(colour).segments) names.push_back(segment.name);
  EXPECT_EQ(names, (std::vector<std::string>{"SOI", "APP0", "DQT", "DQT", "SOF0", "DHT", "DHT", "DHT", "DHT", "DRI",
                                             "SOS", "EOI"}));
  names.clear();
  for (const Segment& segment : inspect(fileOf(testPicture(33, 17, 3), {.grayscale = true})).segments) {
    names.push_back(segment.name);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"SOI", "APP0", "DQT", "SOF0", "DHT", "DHT", "SOS", "EOI"}));
}

TEST(Encode, SamplingAndQualityAreAsAskedFor) {
  const Picture picture = testPicture(33, 17, 3);
  EXPECT_EQ(inspect(fileOf(picture, {.sampling = Sampling::s444})).sampling, "4:4:4");
  EXPECT_EQ(inspect(fileOf(picture, {.sampling = Sampling::s422})).sampling, "4:2:2");
  EXPECT_EQ(inspect(fileOf(picture, {.sampling = Sampling::s420})).sampling, "4:2:0");
  EXPECT_EQ(inspect(fileOf(picture)).sampling, "4:2:0");
  for (int quality = 1; quality <= 100; ++quality) {
    const Info info = inspect(fileOf(picture, {.quality = quality}));
    ASSERT_TRUE(info.qualityExact) << quality;
    // The lowest qualities have the same tables: all steps are 255.
    EXPECT_EQ(info.quality, quality);
    EXPECT_EQ(info.process, "baseline");
    EXPECT_TRUE(info.supported);
    EXPECT_TRUE(info.complete);
  }
}

TEST(Encode, RestartMarkersComeInSequence) {
  for (const auto& [interval, rows, wanted] : {std::tuple(1, false, 14),
                                               {2, false, 7},
                                               {4, false, 3},
                                               {1, true, 2},
                                               {2, true, 1},
                                               {3, true, 0},
                                               {15, false, 0},
                                               {16, false, 0}}) {
    const EncodeOptions options{.restart = interval, .restartInRows = rows};
    const File file = fileOf(testPicture(75, 40, 3), options);  // 5 x 3 MCUs
    const Layout layout(file);
    int found = 0;
    for (std::size_t at = findMarker(file, layout.dataBegin); at < layout.dataEnd; at = findMarker(file, at + 2)) {
      EXPECT_EQ(file[at + 1], marker::rst0 + found++ % 8);
    }
    EXPECT_EQ(found, wanted) << interval << rows;
    EXPECT_EQ(inspect(file).restartInterval, rows ? 5 * interval : interval);
  }
}

TEST(Encode, GreyOfAColourPictureIsItsLuminance) {
  const Picture picture = testPicture(40, 40, 3);
  const File grey = fileOf(picture, {.quality = 100, .grayscale = true});
  const Decoded decoded = decodeFile(grey);
  ASSERT_EQ(decoded.picture.channels, 1);
  for (int y = 0; y < 40; ++y) {
    for (int x = 0; x < 40; ++x) {
      const std::uint8_t* const p = picture.row(y) + 3 * x;
      EXPECT_NEAR(decoded.picture.row(y)[x], 0.299 * p[0] + 0.587 * p[1] + 0.114 * p[2], 2.0);
    }
  }
}

TEST(Encode, RowsMayHaveAnyStep) {
  const Picture packed = testPicture(37, 29, 3);
  Picture wide = Picture::make(37, 29, 3, nullptr, 200);
  std::memset(wide.samples, 0xAA, 200 * 29);
  for (int y = 0; y < 29; ++y) std::memcpy(wide.row(y), packed.row(y), packed.rowBytes());
  EXPECT_EQ(fileOf(wide), fileOf(packed));
}

TEST(Encode, BlocksBeyondThePictureCostLittle) {
  // 17 x 17 pixels are 2 x 2 MCUs, in which 7 of 16 luminance blocks lie beyond the picture.
  const File file = fileOf(testPicture(17, 17, 1, 0));
  const File colour = fileOf(testPicture(17, 17, 3, 0));
  EXPECT_LT(Layout(file).dataEnd - Layout(file).dataBegin, 400u);
  EXPECT_LT(Layout(colour).dataEnd - Layout(colour).dataBegin, 1000u);
}

TEST(Encode, LimitsOfTheFormat) {
  Picture wide = testPicture(8, 1, 1);
  wide.width = 65536;
  expectProblem(Kind::limit, "65536 x 1 pixels", [&] { fileOf(wide); });
  std::swap(wide.width, wide.height);
  expectProblem(Kind::limit, "1 x 65536 pixels", [&] { fileOf(wide); });
  const Picture picture = testPicture(48, 16, 3);
  expectProblem(Kind::limit, "65538 MCUs", [&] { fileOf(picture, {.restart = 21846, .restartInRows = true}); });
  EXPECT_NO_THROW(fileOf(picture, {.restart = 21845, .restartInRows = true}));
}

TEST(Encode, LargestSizesComeBack) {
  for (const auto& [width, height] : {std::pair(65535, 9), {9, 65535}}) {
    for (const int channels : {1, 3}) {
      const Picture picture = testPicture(width, height, channels, 0);
      const Decoded decoded = decodeFile(fileOf(picture, {.quality = 95, .sampling = Sampling::s422}));
      EXPECT_TRUE(decoded.complete);
      EXPECT_GT(psnr(picture, decoded.picture), 25);
    }
  }
}

TEST(Encode, ProgressGoesByRows) {
  const Picture picture = testPicture(40, 100, 3);
  std::vector<std::uint64_t> done;
  const Progress progress = [&](std::uint64_t rows, std::uint64_t total) {
    EXPECT_EQ(total, 7u);
    done.push_back(rows);
    return true;
  };
  const Bytes bytes = encode(picture, {}, progress);
  decode({bytes.data(), bytes.size()}, {}, progress);
  EXPECT_EQ(done, (std::vector<std::uint64_t>{1, 2, 3, 4, 5, 6, 7, 1, 2, 3, 4, 5, 6, 7}));
}

}  // namespace
}  // namespace moxj::jpeg
