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
  ASSERT_EQ(decoded.picture.planes.size(), 1u);
  for (int y = 0; y < 40; ++y) {
    for (int x = 0; x < 40; ++x) {
      const std::uint8_t* const p = picture.row(y) + 3 * x;
      EXPECT_NEAR(decoded.picture.row(y)[x], 0.299 * p[0] + 0.587 * p[1] + 0.114 * p[2], 2.0);
    }
  }
}

TEST(Encode, RowsMayHaveAnyStep) {
  const Picture packed = testPicture(37, 29, 3);
  Picture wide = Picture::layout(37, 29, 3, 8, Colour::rgb);
  wide.allocate(nullptr, 200);
  std::memset(wide.row(0), 0xAA, 200 * 29);
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
  MemoryOutput output;
  Work work;
  const auto begin = [&](int width, int height) {
    encoder(output, {}, work)->begin(Picture::layout(width, height, 1, 8, Colour::grey));
  };
  expectProblem(Kind::limit, "65536 x 1 pixels", [&] { begin(65536, 1); });
  expectProblem(Kind::limit, "1 x 65536 pixels", [&] { begin(1, 65536); });
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

// The rows of `picture`, in bands of these heights, again and again.
File fileOfBands(const Picture& picture, const EncodeOptions& options, const std::vector<int>& heights) {
  MemoryOutput output;
  Work work;
  const std::unique_ptr<RowSink> sink = encoder(output, options, work);
  Picture layout = picture;
  for (Plane& plane : layout.planes) plane.samples = nullptr;
  sink->begin(layout);
  std::size_t next = 0;
  for (int y = 0; y < picture.height;) {
    const int height = std::min(heights[next++ % heights.size()], picture.height - y);
    sink->rows(picture.band(y, height));
    y += height;
  }
  sink->end();
  return bytesOf(output);
}

const std::vector<std::vector<int>> kBandHeights = {{1}, {7}, {8}, {16}, {3, 1, 20, 2, 40}, {15, 1, 33}};

TEST(Encode, BandsOfAnyHeightGiveTheSameFile) {
  const Script script = parseScript("0 1 2; ", "script");
  for (int size = 1; size <= 40; ++size) {
    const int other = 1 + size * 17 % 40;
    for (const int channels : {1, 3}) {
      const Picture picture = testPicture(size, other, channels, 20, static_cast<std::uint32_t>(size));
      for (const Sampling sampling : {Sampling::s444, Sampling::s422, Sampling::s420}) {
        std::vector<EncodeOptions> all(6, EncodeOptions{.sampling = sampling});
        all[1].fastMcu = true;
        all[2].progressive = true;
        all[3].optimize = true;
        all[4].restart = 1;
        all[4].restartInRows = true;
        all[5].grayscale = true;
        for (const EncodeOptions& options : all) {
          const File whole = fileOf(picture, options);
          for (const std::vector<int>& heights : kBandHeights)
            ASSERT_EQ(fileOfBands(picture, options, heights), whole) << size << "x" << other << " " << channels;
        }
      }
    }
  }
}

TEST(Encode, SamplesThatAreNotInterleaved) {
  const Picture picture = testPicture(37, 29, 3);
  Picture apart = picture;
  std::vector<File> planes(3, File(37 * 29));
  for (std::size_t i = 0; i < 3; ++i) {
    for (int at = 0; at < 37 * 29; ++at)
      planes[i][static_cast<std::size_t>(at)] = static_cast<std::uint8_t>(picture.planes[i].at(at % 37, at / 37));
    apart.planes[i].pixelStep = 1;
    apart.planes[i].step = 37;
    apart.planes[i].samples = planes[i].data();
  }
  EXPECT_EQ(fileOf(apart), fileOf(picture));
}

TEST(Encode, RowsFromBottomToTopInMemory) {
  const Picture picture = testPicture(37, 29, 3);
  Picture reversed = Picture::bytes(37, 29, 3);
  for (int y = 0; y < 29; ++y) std::memcpy(reversed.row(28 - y), picture.row(y), picture.rowBytes());
  for (Plane& plane : reversed.planes) {
    plane.samples += 28 * plane.step;
    plane.step = -plane.step;
  }
  for (const bool fast : {false, true})
    EXPECT_EQ(fileOf(reversed, {.fastMcu = fast}), fileOf(picture, {.fastMcu = fast}));
}

// Counts pieces, and keeps nothing.
struct CountingOutput : Output {
  std::size_t pieces = 0, bytes = 0, largest = 0;
  void write(ByteSpan first, ByteSpan second) override {
    ++pieces;
    bytes += first.size() + second.size();
    largest = std::max(largest, first.size() + second.size());
  }
};

TEST(Encode, RowsAreWrittenInPiecesAndTakeLittleMemory) {
  constexpr std::uint64_t kMemory = std::uint64_t{4} << 20;
  constexpr std::size_t kPiece = std::size_t{64} << 10;
  for (const int channels : {1, 3}) {
    const Picture rows = testPicture(12000, 16, channels, 60);
    CountingOutput output;
    Work work(Limits{.maxMemory = kMemory});
    const std::unique_ptr<RowSink> sink = encoder(output, {.quality = 90}, work);
    sink->begin(Picture::layout(12000, 9000, channels, 8, channels == 1 ? Colour::grey : Colour::rgb));
    for (int y = 0; y < 1600; y += 16) {
      const std::size_t before = output.bytes;
      sink->rows(rows);
      EXPECT_GT(output.bytes, before);
    }
    EXPECT_LE(output.largest, kPiece);
    EXPECT_GT(output.bytes / output.pieces, kPiece * 3 / 4);
    EXPECT_LT(work.budget.used(), kMemory);
  }
}

TEST(Encode, WholePicturesAreChargedToTheBudget) {
  for (const EncodeOptions& options : {EncodeOptions{.optimize = true}, EncodeOptions{.progressive = true}}) {
    MemoryOutput output;
    Work work(Limits{.maxMemory = 1 << 20});
    expectProblem(Kind::limit, "bytes of memory are needed",
                  [&] { encoder(output, options, work)->begin(Picture::layout(1000, 1000, 3, 8, Colour::rgb)); });
  }
}

// ---- Planes of YCbCr --------------------------------------------------------------------------------------------

TEST(Encode, PlanesOfYcbcrAreCodedAsTheyAre) {
  for (const auto& [dx, dy] : {std::pair(1, 1), {2, 1}, {2, 2}, {1, 2}, {4, 1}}) {
    for (int size = 1; size <= 40; size += 3) {
      const int other = 1 + size * 17 % 40;
      Picture picture = Picture::layout(size, other, 3, 8, Colour::ycbcr);
      for (std::size_t i = 1; i < 3; ++i)
        picture.planes[i] = Plane::of((size + dx - 1) / dx, (other + dy - 1) / dy, 8, false, dx, dy);
      picture.allocate();
      for (const Plane& plane : picture.planes) {
        for (int y = 0; y < plane.height; ++y) {
          for (int x = 0; x < plane.width; ++x)
            plane.row<std::uint8_t>(y)[std::ptrdiff_t{x} * plane.pixelStep] =
                static_cast<std::uint8_t>(100 + (3 * x + 2 * y + plane.dx) % 60);
        }
      }
      const File file = fileOf(picture, {.quality = 100});
      const Decoded decoded = decodeFile(file, {.native = true});
      ASSERT_EQ(decoded.picture.planes.size(), 3u);
      EXPECT_EQ(decoded.picture.colour, Colour::ycbcr);
      for (std::size_t i = 0; i < 3; ++i) {
        const Plane &from = picture.planes[i], &to = decoded.picture.planes[i];
        ASSERT_EQ(to.width, from.width);
        ASSERT_EQ(to.height, from.height);
        EXPECT_EQ(to.dx, from.dx);
        EXPECT_EQ(to.dy, from.dy);
        for (int y = 0; y < to.height; ++y) {
          for (int x = 0; x < to.width; ++x)
            ASSERT_NEAR(to.at(x, y), from.at(x, y), 2) << dx << dy << ": " << x << "," << y;
        }
      }
      for (const std::vector<int>& heights : {std::vector<int>{2}, {16}, {4, 22, 2, 40}})
        EXPECT_EQ(fileOfBands(picture, {.quality = 100}, heights), file);
    }
  }
}

TEST(Encode, WhatPlanesOfYcbcrDoNotTake) {
  MemoryOutput output;
  Work work;
  const auto begin = [&](const Picture& layout, const EncodeOptions& options = {}) {
    return [&] { encoder(output, options, work)->begin(layout); };
  };
  Picture layout = Picture::layout(16, 16, 3, 8, Colour::ycbcr);
  expectProblem(Kind::badOption, "sample ", begin(layout, {.sampling = Sampling::s444}));
  expectProblem(Kind::badOption, "fastMcu ", begin(layout, {.fastMcu = true}));
  layout.planes[1] = Plane::of(8, 8, 8, false, 2, 2);
  expectProblem(Kind::unsupported, "sub-sampling", begin(layout));
  layout.planes[2] = Plane::of(8, 9, 8, false, 2, 2);
  expectProblem(Kind::unsupported, "sub-sampling", begin(layout));
  expectProblem(Kind::unsupported, "samples of 8 bits", begin(Picture::layout(16, 16, 3, 16, Colour::rgb)));
  expectProblem(Kind::unsupported, "samples of 8 bits", begin(Picture::layout(16, 16, 4, 8, Colour::cmyk)));
}

// ---- Progress ---------------------------------------------------------------------------------------------------

// The number of calls that a piece of work makes, all of them with rising values.
int callsOf(const std::function<void(Work&)>& action) {
  int calls = 0;
  std::uint64_t last = 0;
  Work work({}, [&](std::uint64_t done, std::uint64_t total) {
    EXPECT_LE(done, total);
    EXPECT_GE(done, last);
    last = done;
    ++calls;
    return true;
  });
  action(work);
  return calls;
}

// Cancels at each call.
void expectCancelled(const std::function<void(Work&)>& action) {
  const int calls = callsOf(action);
  EXPECT_GT(calls, 1);
  for (int i = 0; i < calls; ++i) {
    int call = 0;
    Work work({}, [&](std::uint64_t, std::uint64_t) { return call++ != i; });
    expectProblem(Kind::cancelled, "cancelled", [&] { action(work); });
    EXPECT_EQ(call, i + 1);
  }
}

TEST(Progress, ReadingGoesByRowsAndWritingInOnePassReportsNothing) {
  const Picture picture = testPicture(40, 100, 3);
  std::vector<std::uint64_t> done;
  Work work({}, [&](std::uint64_t rows, std::uint64_t total) {
    EXPECT_EQ(total, 7u);
    done.push_back(rows);
    return true;
  });
  MemoryOutput output;
  pushPicture(picture, *encoder(output, {}, work));
  EXPECT_TRUE(done.empty());
  Collector collector;
  decode({output.bytes.data(), output.bytes.size()}, {}, collector, work);
  EXPECT_EQ(done, (std::vector<std::uint64_t>{1, 2, 3, 4, 5, 6, 7}));
}

TEST(Progress, EveryCallCanCancel) {
  const Picture picture = testPicture(40, 100, 3);
  const File baseline = fileOf(picture), progressive = fileOf(picture, {.progressive = true}),
             lossless = losslessFileOf(picture);
  for (const EncodeOptions& options : {EncodeOptions{.optimize = true}, EncodeOptions{.progressive = true}}) {
    expectCancelled([&](Work& work) {
      MemoryOutput output;
      pushPicture(picture, *encoder(output, options, work));
    });
  }
  expectCancelled([&](Work& work) {
    MemoryOutput output;
    pushPicture(picture, *losslessEncoder(output, {}, work));
  });
  expectCancelled([&](Work& work) {
    Collector collector;
    decode(baseline, {}, collector, work);
  });
  const auto cancelEach = [&](const std::function<void(Work&)>& action) {  // reading and writing, one after the other
    int calls = 0;
    Work counting({}, [&](std::uint64_t, std::uint64_t) { return ++calls > 0; });
    action(counting);
    for (int i = 0; i < calls; ++i) {
      int call = 0;
      Work work({}, [&](std::uint64_t, std::uint64_t) { return call++ != i; });
      expectProblem(Kind::cancelled, "cancelled", [&] { action(work); });
    }
  };
  for (const File& file : {progressive, lossless}) {
    cancelEach([&](Work& work) {
      Collector collector;
      decode(file, {}, collector, work);
    });
  }
  cancelEach([&](Work& work) {
    MemoryOutput output;
    transcode(baseline, {.process = TranscodeOptions::Process::progressive}, output, work);
  });
}

}  // namespace
}  // namespace moxj::jpeg
