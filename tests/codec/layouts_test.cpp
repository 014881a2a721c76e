// Every layout and depth goes into a file without loss and comes back the same.
#include "support.h"

namespace {

using namespace codec;

struct Case {
  MoxcLayout layout;
  const char* format;
  int bits, sampleSize;
  bool isSigned;
  Rows rows;
};

std::vector<Case> cases() {
  std::vector<Case> all;
  const MoxcLayout coloured[] = {moxcGrey, moxcGreyAlpha, moxcRgb, moxcBgr, moxcRgba, moxcBgra};
  for (const Rows rows : {Rows::tight, Rows::padded, Rows::upward}) {
    for (const MoxcLayout layout : coloured) {
      for (const int bits : {1, 2, 7, 8, 9, 12, 16})
        for (const int size : {1, 2, 4})
          if (8 * size >= bits) all.push_back({layout, "jp2", bits, size, false, rows});
      for (const int bits : {8, 16}) all.push_back({layout, "png", bits, bits / 8, false, rows});
    }
    for (const int bits : {2, 8, 12, 16}) all.push_back({moxcCmyk, "jpg", bits, bits > 8 ? 2 : 1, false, rows});
    for (const int bits : {2, 8, 13, 16}) all.push_back({moxcGrey, "jpg", bits, bits > 8 ? 2 : 1, false, rows});
    for (const int bits : {2, 8, 13, 16}) all.push_back({moxcRgb, "jpg", bits, bits > 8 ? 2 : 1, false, rows});
    for (const int bits : {8, 12, 16})
      for (const int size : {1, 2, 4})
        if (8 * size >= bits) all.push_back({moxcGrey, "jp2", bits, size, true, rows});
    for (const MoxcLayout layout : coloured) all.push_back({layout, "jp2", 11, 2, true, rows});
    for (const int bits : {1, 8, 16}) all.push_back({moxcGrey, "pgm", bits, bits > 8 ? 2 : 1, false, rows});
    for (const int bits : {1, 8, 16}) all.push_back({moxcRgb, "ppm", bits, bits > 8 ? 2 : 1, false, rows});
    all.push_back({moxcBgr, "pnm", 8, 1, false, rows});
    for (const int bits : {8, 16}) all.push_back({moxcGrey, "pgx", bits, bits > 8 ? 2 : 1, bits == 16, rows});
    for (const MoxcLayout words : {moxcRgb565, moxcRgb555})
      for (const char* const format : {"png", "jp2", "ppm"}) all.push_back({words, format, 16, 2, false, rows});
  }
  return all;
}

std::string nameOf(const Case& c) {
  return std::string(c.format) + " layout " + std::to_string(c.layout) + " bits " + std::to_string(c.bits) + " size " +
         std::to_string(c.sampleSize) + (c.isSigned ? " signed" : "") + " rows " +
         std::to_string(static_cast<int>(c.rows));
}

// Words of 555 have no highest bit.
void clearUnused(const Pixels& pixels) {
  if (pixels.pixels.layout != moxcRgb555) return;
  for (int y = 0; y < pixels.pixels.height; ++y)
    for (int x = 0; x < pixels.pixels.width; ++x) store(pixels.at(0, y, x), 2, pixels.value(0, y, x) & 0x7FFF);
}

MoxcWriteOptions lossless(const char* format) {
  MoxcWriteOptions options;
  moxcWriteOptionsInit(&options);
  options.lossless = std::string(format) == "jpg";
  return options;
}

TEST(Layouts, ComeBackFromMemoryOfTheCaller) {
  for (const Case& c : cases()) {
    SCOPED_TRACE(nameOf(c));
    const Pixels original = picture(c.layout, 37, 21, c.bits, c.sampleSize, c.isSigned, c.rows);
    clearUnused(original);
    const Bytes before = original.memory;
    const MoxcWriteOptions options = lossless(c.format);
    const Bytes file = encode(original, c.format, &options);
    EXPECT_EQ(before, original.memory);
    const Pixels back = blank(c.layout, 37, 21, c.bits, c.sampleSize, c.isSigned, c.rows);
    decodeInto(file, back);
    EXPECT_EQ(0, distance(original, back));
  }
}

// The bytes between rows are not touched.
TEST(Layouts, LeaveTheGapsAlone) {
  const Bytes file = encode(picture(moxcRgb, 20, 10), "png");
  const Pixels to = blank(moxcBgra, 20, 10, 8, 1, false, Rows::padded);
  decodeInto(file, to);
  for (int y = 0; y < 9; ++y)
    for (int i = 0; i < 3; ++i) EXPECT_EQ(0xA5, to.at(0, y, 80)[i]);
  EXPECT_EQ(0xA5, to.memory[0]);
}

TEST(Layouts, ComeBackInAPictureOfTheLibrary) {
  for (const Case& c : cases()) {
    if (c.rows != Rows::tight) continue;
    SCOPED_TRACE(nameOf(c));
    const Pixels original = picture(c.layout, 37, 21, c.bits, c.sampleSize, c.isSigned);
    clearUnused(original);
    const MoxcWriteOptions options = lossless(c.format);
    const Bytes file = encode(original, c.format, &options);
    const MoxcSource from = source(file);
    MoxcWanted wanted = sized<MoxcWanted>();
    wanted.layout = c.layout;
    Picture picture;
    const Report report;
    ASSERT_EQ(moxcOk, moxcDecode(&from, nullptr, &wanted, nullptr, &picture.picture, report)) << report.text();
    const MoxcPixels pixels = picture.pixels();
    EXPECT_EQ(c.layout, pixels.layout);
    EXPECT_EQ(c.bits, pixels.planes[0].bits);
    EXPECT_EQ(c.isSigned, pixels.planes[0].isSigned != 0);
    EXPECT_EQ(0, distance(original, viewOf(pixels)));
  }
}

// What a file has decides where the caller does not.
TEST(Layouts, AreThoseOfTheFileByDefault) {
  for (const MoxcLayout layout : {moxcGrey, moxcGreyAlpha, moxcRgb, moxcRgba}) {
    for (const int bits : {8, 12, 16}) {
      const Pixels original = codec::picture(layout, 18, 11, bits);
      const Bytes file = encode(original, "jp2");
      const MoxcSource from = source(file);
      Picture picture;
      ASSERT_EQ(moxcOk, moxcDecode(&from, nullptr, nullptr, nullptr, &picture.picture, nullptr));
      EXPECT_EQ(layout, picture.pixels().layout);
      EXPECT_EQ(bits, picture.pixels().planes[0].bits);
      EXPECT_EQ(0, distance(original, viewOf(picture.pixels())));
    }
  }
}

TEST(Layouts, OpacityIsFullWhereTheFileHasNone) {
  const Bytes file = encode(picture(moxcRgb, 9, 5, 12), "jp2");
  const Pixels rgba = blank(moxcRgba, 9, 5, 12);
  decodeInto(file, rgba);
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 9; ++x) EXPECT_EQ(4095, rgba.value(0, y, 4 * x + 3));
}

TEST(Layouts, WhatIsLostIsNoted) {
  const Bytes file = encode(picture(moxcRgba, 9, 5, 16), "png");
  const MoxcSource from = source(file);
  const Pixels grey = blank(moxcGrey, 9, 5);
  const Report report;
  ASSERT_EQ(moxcOk, moxcDecodeInto(&from, nullptr, &grey.pixels, nullptr, report)) << report.text();
  EXPECT_EQ((std::vector<std::string>{"samples of 16 bits reduced to 8", "transparency dropped", "colour dropped"}),
            notes(report));
}

TEST(Layouts, DepthsAreScaled) {
  const Pixels grey = picture(moxcGrey, 256, 1);
  for (int x = 0; x < 256; ++x) store(grey.at(0, 0, x), 1, x);
  const Bytes file = encode(grey, "pgm");
  const Pixels deep = blank(moxcGrey, 256, 1, 16);
  decodeInto(file, deep);
  for (int x = 0; x < 256; ++x) EXPECT_EQ(257 * x, deep.value(0, 0, x));
  const Pixels shallow = blank(moxcGrey, 256, 1, 4);
  decodeInto(file, shallow);
  for (int x = 0; x < 256; ++x) EXPECT_EQ((x * 15 + 127) / 255, shallow.value(0, 0, x));
}

TEST(Layouts, MaximumValuesStay) {
  Pixels grey = blank(moxcGrey, 101, 1);
  grey.pixels.maxValue = 100;
  for (int x = 0; x <= 100; ++x) store(grey.at(0, 0, x), 1, x);
  const Bytes file = encode(grey, "pgm");
  EXPECT_EQ("100", std::string(file.begin(), file.end()).substr(9, 3));
  const MoxcSource from = source(file);
  Picture picture;
  ASSERT_EQ(moxcOk, moxcDecode(&from, nullptr, nullptr, nullptr, &picture.picture, nullptr));
  EXPECT_EQ(100u, picture.pixels().maxValue);
  EXPECT_EQ(0, distance(grey, viewOf(picture.pixels())));
  const Pixels full = blank(moxcGrey, 101, 1);
  decodeInto(file, full);
  for (int x = 0; x <= 100; ++x) EXPECT_EQ((x * 255 + 50) / 100, full.value(0, 0, x));
}

TEST(Layouts, SamplesBeyondTheMaximumAreRefused) {
  Pixels grey = picture(moxcGrey, 30, 20, 12);
  store(grey.at(0, 19, 29), 2, 4096);
  void* bytes = nullptr;
  std::size_t count = 0;
  const MoxcTarget target = moxcMemoryTarget(&bytes, &count);
  const Report report;
  for (const char* const format : {"jp2", "png", "pgm"}) {
    EXPECT_EQ(moxcBadArgument, moxcEncode(&grey.pixels, format, nullptr, nullptr, 0, &target, nullptr, report));
    EXPECT_EQ("a sample is not from 0 to 4095", report.text());
    EXPECT_EQ(nullptr, bytes);
  }
}

TEST(Layouts, YCbCrKeepsItsSampling) {
  struct {
    int dx, dy;
  } samplings[] = {{1, 1}, {2, 1}, {2, 2}, {1, 2}, {4, 1}};
  for (const auto& s : samplings) {
    SCOPED_TRACE(std::to_string(s.dx) + "x" + std::to_string(s.dy));
    const Pixels original = ycbcr(61, 35, s.dx, s.dy);
    MoxcWriteOptions options;
    moxcWriteOptionsInit(&options);
    options.quality = 100;
    const Bytes file = encode(original, "jpg", &options);
    const Pixels back = ycbcr(61, 35, s.dx, s.dy, false);
    decodeInto(file, back);
    EXPECT_LE(distance(original, back), 3);
    Pixels upward = original;
    allocate(upward, Rows::upward);
    fill(upward);
    EXPECT_EQ(file, encode(upward, "jpg", &options));
    const Pixels other = ycbcr(61, 35, s.dx == 2 ? 1 : 2, s.dy, false);
    const MoxcSource from = source(file);
    EXPECT_EQ(moxcBadArgument, moxcDecodeInto(&from, nullptr, &other.pixels, nullptr, nullptr));
  }
}

TEST(Layouts, YCbCrIsNotMadeOfOtherPictures) {
  const Bytes file = encode(picture(moxcRgb, 8, 8), "png");
  const MoxcSource from = source(file);
  MoxcWanted wanted = sized<MoxcWanted>();
  wanted.layout = moxcYCbCr;
  Picture picture;
  EXPECT_EQ(moxcUnsupported, moxcDecode(&from, nullptr, &wanted, nullptr, &picture.picture, nullptr));
  wanted.layout = moxcCmyk;
  EXPECT_EQ(moxcUnsupported, moxcDecode(&from, nullptr, &wanted, nullptr, &picture.picture, nullptr));
}

// The words of a 4:4:4 JPEG file are those of its RGB: the nearest fields.
TEST(Layouts, WordsOfJpegAreThoseOfItsRgb) {
  MoxcWriteOptions options;
  moxcWriteOptionsInit(&options);
  for (const MoxcSample sample : {moxcSample444, moxcSample420}) {
    options.sample = sample;
    const Bytes file = encode(picture(moxcRgb, 45, 30), "jpg", &options);
    const Pixels rgb = blank(moxcRgb, 45, 30), words = blank(moxcRgb565, 45, 30, 16);
    decodeInto(file, rgb);
    decodeInto(file, words);
    const auto nearest = [](std::int64_t value, int max) { return (value * max * 2 + 255) / 510; };
    for (int y = 0; y < 30; ++y) {
      for (int x = 0; x < 45; ++x) {
        const std::int64_t word = words.value(0, y, x);
        EXPECT_LE(std::abs(nearest(rgb.value(0, y, 3 * x), 31) - (word >> 11)), 1);
        EXPECT_LE(std::abs(nearest(rgb.value(0, y, 3 * x + 1), 63) - (word >> 5 & 63)), 1);
        EXPECT_LE(std::abs(nearest(rgb.value(0, y, 3 * x + 2), 31) - (word & 31)), 1);
      }
    }
  }
}

// Whatever is asked for, a region is the cut of the whole.
TEST(Layouts, RegionsAreCutsOfTheWhole) {
  MoxcWriteOptions full;
  moxcWriteOptionsInit(&full);
  full.sample = moxcSample444;
  const Pixels colour = picture(moxcRgb, 45, 30);
  for (const Bytes& file :
       {encode(colour, "jpg", &full), encode(colour, "jpg"), encode(colour, "jp2"), encode(colour, "png")}) {
    for (const MoxcLayout layout : {moxcRgb, moxcBgra, moxcGrey, moxcRgb565, moxcRgb555}) {
      const int bits = layout == moxcRgb565 || layout == moxcRgb555 ? 16 : 8;
      const Pixels whole = blank(layout, 45, 30, bits);
      decodeInto(file, whole);
      for (const auto& [x, y, width, height] :
           {std::tuple(0, 0, 45, 30), {13, 5, 22, 17}, {1, 3, 2, 2}, {43, 29, 2, 1}, {8, 8, 31, 9}}) {
        MoxcReadOptions options;
        moxcReadOptionsInit(&options);
        options.regionX = x;
        options.regionY = y;
        options.regionWidth = width;
        options.regionHeight = height;
        const Pixels part = blank(layout, width, height, bits);
        decodeInto(file, part, &options);
        const int channels = part.samplesInRow(0) / width;
        for (int row = 0; row < height; ++row)
          for (int i = 0; i < width * channels; ++i)
            ASSERT_EQ(part.value(0, row, i), whole.value(0, y + row, x * channels + i)) << layout << ": " << x;
      }
    }
  }
}

// Words become YCbCr directly where the file's is not sub-sampled.
TEST(Layouts, WordsBecomeJpeg) {
  MoxcWriteOptions options;
  moxcWriteOptionsInit(&options);
  options.quality = 100;
  for (const MoxcSample sample : {moxcSample444, moxcSampleDefault}) {
    options.sample = sample;
    const Pixels words = blank(moxcRgb565, 32, 32, 16);
    for (int y = 0; y < 32; ++y)
      for (int x = 0; x < 32; ++x) store(words.at(0, y, x), 2, x << 11 | 2 * y << 5 | (x + y) / 2);
    const Bytes file = encode(words, "jpg", &options);
    const Pixels back = blank(moxcRgb565, 32, 32, 16);
    decodeInto(file, back);
    std::int64_t worst = 0;
    for (int y = 0; y < 32; ++y)
      for (int x = 0; x < 32; ++x)
        worst = std::max(worst, std::abs((words.value(0, y, x) >> 11) - (back.value(0, y, x) >> 11)));
    EXPECT_LE(worst, 4) << sample;
  }
}

// BMP files of words become JPEG as the words do, and JPEG becomes BMP as it becomes words.
TEST(Layouts, WordsOfBmpAreTheCallers) {
  MoxcWriteOptions full, asWords;
  moxcWriteOptionsInit(&full);
  full.sample = moxcSample444;
  for (const auto& [layout, number] : {std::pair(moxcRgb565, 565), std::pair(moxcRgb555, 555)}) {
    moxcWriteOptionsInit(&asWords);
    asWords.words = number;
    const Pixels words = picture(layout, 45, 30, 16);
    clearUnused(words);
    const Bytes file = encode(words, "bmp", &asWords);
    EXPECT_EQ(encode(words, "jpg", &full), convert(file, "jpg", &full));
    EXPECT_EQ(encode(words, "jpg"), convert(file, "jpg"));
    const Pixels back = blank(layout, 45, 30, 16), wanted = blank(layout, 45, 30, 16);
    decodeInto(file, back);
    EXPECT_EQ(0, distance(words, back));
    for (const Bytes& jpeg : {encode(picture(moxcRgb, 45, 30), "jpg", &full), encode(picture(moxcRgb, 45, 30), "jpg"),
                              encode(picture(moxcGrey, 45, 30), "jpg")}) {
      decodeInto(jpeg, wanted);
      decodeInto(convert(jpeg, "bmp", &asWords), back);
      EXPECT_EQ(0, distance(wanted, back));
    }
  }
}

// Pixels with blue first become the same JPEG file as those with red first, from any memory.
TEST(Layouts, JpegOfBlueFirst) {
  MoxcWriteOptions options;
  moxcWriteOptionsInit(&options);
  for (const Rows rows : {Rows::tight, Rows::padded, Rows::upward}) {
    const Pixels rgb = picture(moxcRgb, 45, 30), bgr = blank(moxcBgr, 45, 30, 8, 1, false, rows);
    for (int y = 0; y < 30; ++y)
      for (int x = 0; x < 3 * 45; ++x) store(bgr.at(0, y, x), 1, rgb.value(0, y, x - x % 3 + 2 - x % 3));
    for (const MoxcSample sample : {moxcSampleDefault, moxcSample444, moxcSample411})
      for (const int grayscale : {0, 1})
        for (const int fastMcu : {0, 1}) {
          options.sample = sample;
          options.grayscale = grayscale;
          options.fastMcu = fastMcu;
          EXPECT_EQ(encode(rgb, "jpg", &options), encode(bgr, "jpg", &options)) << sample << grayscale << fastMcu;
        }
  }
}

// Planes of the same size stay apart, whichever way they are copied.
TEST(Layouts, EqualPlanesStayApart) {
  Pixels planes;
  planes.pixels = moxcPixels(moxcPlanes, 33, 14, 0, nullptr, 0);
  planes.pixels.planeCount = 3;
  planes.pixels.sampleSize = 4;
  for (int i = 0; i < 3; ++i) {
    MoxcPlane& plane = planes.pixels.planes[i];
    plane = {};
    plane.bits = 10;
    plane.width = 33;
    plane.height = 14;
  }
  for (const Rows rows : {Rows::tight, Rows::padded, Rows::upward}) {
    allocate(planes, rows);
    fill(planes);
    const Bytes file = encode(planes, "jp2");
    Pixels back = planes;
    allocate(back, rows);
    decodeInto(file, back);
    EXPECT_EQ(0, distance(planes, back));
    const MoxcSource from = source(file);
    MoxcWanted wanted = sized<MoxcWanted>();
    wanted.layout = moxcPlanes;
    Picture picture;
    ASSERT_EQ(moxcOk, moxcDecode(&from, nullptr, &wanted, nullptr, &picture.picture, nullptr));
    ASSERT_EQ(3, picture.pixels().planeCount);
    EXPECT_EQ(0, distance(planes, viewOf(picture.pixels())));
  }
}

// Planes that differ in size, depth and sign.
TEST(Layouts, PlanesComeBack) {
  Pixels planes;
  planes.pixels = moxcPixels(moxcPlanes, 40, 30, 0, nullptr, 0);
  planes.pixels.planeCount = 4;
  planes.pixels.sampleSize = 2;
  const int bits[] = {8, 12, 16, 5}, divisors[] = {1, 2, 4, 1};
  for (int i = 0; i < 4; ++i) {
    MoxcPlane& plane = planes.pixels.planes[i];
    plane.bits = bits[i];
    plane.isSigned = i == 2;
    plane.dx = plane.dy = divisors[i];
    plane.width = (40 + divisors[i] - 1) / divisors[i];
    plane.height = (30 + divisors[i] - 1) / divisors[i];
  }
  allocate(planes);
  fill(planes);
  const Bytes file = encode(planes, "j2k");
  Pixels back = planes;
  allocate(back);
  decodeInto(file, back);
  EXPECT_EQ(0, distance(planes, back));

  const MoxcSource from = source(file);
  Picture picture;
  MoxcReadOptions reading;
  moxcReadOptionsInit(&reading);
  reading.components = 1;
  ASSERT_EQ(moxcOk, moxcDecode(&from, &reading, nullptr, nullptr, &picture.picture, nullptr));
  const MoxcPixels found = picture.pixels();
  EXPECT_EQ(moxcPlanes, found.layout);
  ASSERT_EQ(4, found.planeCount);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(bits[i], found.planes[i].bits);
    EXPECT_EQ(i == 2, found.planes[i].isSigned != 0);
    EXPECT_EQ(divisors[i], found.planes[i].dx);
  }
  EXPECT_EQ(0, distance(planes, viewOf(found)));
}

TEST(Layouts, InksComeFromCoders) {
  const Pixels inks = picture(moxcCmyk, 23, 17);
  MoxcWriteOptions options = lossless("jpg");
  const Bytes file = encode(inks, "jpg", &options);
  const MoxcSource from = source(file);
  Picture picture;
  MoxcReadOptions reading;
  moxcReadOptionsInit(&reading);
  reading.components = 1;
  ASSERT_EQ(moxcOk, moxcDecode(&from, &reading, nullptr, nullptr, &picture.picture, nullptr));
  EXPECT_EQ(moxcCmyk, picture.pixels().layout);
  EXPECT_EQ(0, distance(inks, viewOf(picture.pixels())));
}

TEST(Layouts, SizesMustBeThoseOfThePicture) {
  const Bytes file = encode(picture(moxcGrey, 20, 10), "png");
  const MoxcSource from = source(file);
  const Pixels wrong = blank(moxcGrey, 20, 11);
  const Bytes before = wrong.memory;
  const Report report;
  EXPECT_EQ(moxcBadArgument, moxcDecodeInto(&from, nullptr, &wrong.pixels, nullptr, report));
  EXPECT_EQ("the picture has 20 x 10 pixels, not 20 x 11", report.text());
  EXPECT_EQ(before, wrong.memory);
}

TEST(Layouts, ChannelsAreCounted) {
  EXPECT_EQ(1, moxcChannels(moxcGrey));
  EXPECT_EQ(2, moxcChannels(moxcGreyAlpha));
  EXPECT_EQ(3, moxcChannels(moxcBgr));
  EXPECT_EQ(4, moxcChannels(moxcBgra));
  EXPECT_EQ(4, moxcChannels(moxcCmyk));
  EXPECT_EQ(3, moxcChannels(moxcYCbCr));
  EXPECT_EQ(0, moxcChannels(moxcPlanes));
  EXPECT_EQ(1, moxcChannels(moxcRgb565));
}

}  // namespace
