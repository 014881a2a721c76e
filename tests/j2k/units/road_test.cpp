// The road from file to file: options are checked, notes come in order, planes go to files of their own.
#include <gtest/gtest.h>

#include <deque>

#include "formats/convert.h"
#include "j2k/support.h"

namespace moxj::j2k {
namespace {

using test::File;
using test::picture;
using Notes = std::vector<std::string>;

File written(const Picture& picture, const char* format, const WriteOptions& options = {}) {
  Work work;
  MemoryOutput output;
  Notes notes;
  const auto writer = formatNamed(format)->create(output, options, work, notes);
  pushPicture(picture, *writer);
  return {output.bytes.begin(), output.bytes.end()};
}

struct Converted {
  Outcome outcome;
  File file;
};

Converted converted(const File& file, const char* format, const ReadOptions& reading = {},
                    const WriteOptions& writing = {}) {
  Work work;
  Input input = Input::memory(file);
  MemoryOutput output;
  Converted made{convert(input, reading, *formatNamed(format), writing, output, work), {}};
  made.file.assign(output.bytes.begin(), output.bytes.end());
  return made;
}

std::string problemOf(const std::function<void()>& work, Kind kind) {
  try {
    work();
  } catch (const Problem& problem) {
    EXPECT_EQ(problem.kind, kind) << problem.what();
    return problem.what();
  }
  return "";
}

TEST(Road, ThroughEveryFormatAndBack) {
  for (const int planes : {1, 3}) {
    const Picture original = picture(50, 40, planes, 8);
    File file = written(original, "jp2");
    for (const char* format : {"png", "j2k", "pnm", "jp2"}) {
      const Converted made = converted(file, format);
      EXPECT_TRUE(made.outcome.complete);
      EXPECT_EQ(made.outcome.notes, Notes());
      file = made.file;
    }
    EXPECT_EQ(file, written(original, "jp2"));
  }
}

TEST(Road, NotesComeInOrderAndOnce) {
  WriteOptions writing;
  writing.ratio = {1};
  const Converted made = converted(written(picture(50, 40, 4, 16), "jp2"), "jpg");
  EXPECT_EQ(made.outcome.notes, (Notes{"samples of 16 bits reduced to 8", "transparency dropped"}));
  // The reader's file is cut: the picture is incomplete, the writer has a note of its own.
  File file = written(picture(50, 40, 3, 8), "png");
  file.resize(file.size() * 9 / 10);
  const Converted cut = converted(file, "jp2", {}, writing);
  EXPECT_FALSE(cut.outcome.complete);
  EXPECT_EQ(cut.outcome.notes, Notes{"the requested size is larger than the lossless file: written without loss"});
}

TEST(Road, OptionsThatMeanNothingAreRefused) {
  const File jp2 = written(picture(50, 40, 3, 8), "jp2"), png = written(picture(50, 40, 3, 8), "png");
  ReadOptions reduce, smooth;
  reduce.reduce = 1;
  smooth.nosmooth = true;
  WriteOptions quality, predictor, levels;
  quality.quality = 50;
  predictor.predictor = 1;
  levels.levels = 2;
  const auto refused = [&](const File& file, const char* format, const ReadOptions& reading,
                           const WriteOptions& writing) {
    return problemOf([&] { converted(file, format, reading, writing); }, Kind::badOption);
  };
  EXPECT_EQ(refused(png, "jp2", reduce, {}), "reduce is not for PNG files");
  EXPECT_EQ(refused(jp2, "png", smooth, {}), "nosmooth is not for JPEG 2000 files");
  EXPECT_EQ(refused(png, "jp2", {}, quality), "quality is not for JPEG 2000 files");
  EXPECT_EQ(refused(png, "jp2", {}, predictor), "predictor is not for JPEG 2000 files");
  EXPECT_EQ(refused(png, "jpg", {}, levels), "levels is not for JPEG files");
  EXPECT_EQ(refused(jp2, "png", {}, {}), "");
}

TEST(Road, OptionsOutOfTheirRangeAreRefused) {
  const Picture original = picture(50, 40, 3, 8);
  const auto refused = [&](const std::function<void(WriteOptions&)>& set) {
    WriteOptions options;
    set(options);
    return problemOf([&] { written(original, "jp2", options); }, Kind::badOption);
  };
  EXPECT_EQ(refused([](WriteOptions& o) { o.levels = 33; }), "levels 33 is not a whole number from 0 to 32");
  EXPECT_EQ(refused([](WriteOptions& o) { o.layers = 101; }), "layers 101 is not a whole number from 1 to 100");
  EXPECT_EQ(refused([](WriteOptions& o) { o.modes = 64; }), "modes 64 is not a whole number from 0 to 63");
  EXPECT_EQ(refused([](WriteOptions& o) { o.ratio = {0.5}; }), "ratio is not a number from 1 to 1000000");
  EXPECT_EQ(refused([](WriteOptions& o) { o.bpp = {-1}; }), "bpp is not a number from 0.000001 to 1000000");
  EXPECT_EQ(refused([](WriteOptions& o) { o.tileWidth = -5; }), "tile has a negative size");
  for (const auto& [width, height] : {std::pair(3, 4), std::pair(128, 64), std::pair(2048, 2)})
    EXPECT_NE(refused([&, w = width, h = height](WriteOptions& o) { o.blockWidth = w, o.blockHeight = h; }), "");
  const File file = written(original, "jp2");
  ReadOptions reading;
  reading.reduce = 6;
  EXPECT_EQ(problemOf([&] { converted(file, "png", reading); }, Kind::badOption), "reduce 6: the picture has 5 levels");
}

TEST(Road, EachPlaneGetsAFile) {
  Picture original = picture(50, 40, 3, 8);
  original.planes[1] = original.planes[2] = Plane::of(25, 20, 8, false, 2, 2);
  original.colour = Colour::unknown;
  original.allocate();
  original.clear();
  for (int i = 0; i < 3; ++i) original.planes[static_cast<std::size_t>(i)].row<std::uint8_t>(3)[4] = 50 + i;
  Work work;
  const File file = written(original, "j2k");
  Input input = Input::memory(file);
  std::deque<MemoryOutput> outputs;
  const auto open = [&](int index, int count) -> Output& {
    EXPECT_EQ(index, static_cast<int>(outputs.size()));
    EXPECT_EQ(count, 3);
    return outputs.emplace_back();
  };
  const Outcome outcome = convertComponents(input, {}, *formatNamed("pgm"), {}, open, work);
  EXPECT_TRUE(outcome.complete);
  ASSERT_EQ(outputs.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    PictureCollector collector;
    Input plane = Input::memory({outputs[i].bytes.data(), outputs[i].bytes.size()});
    read(plane, {}, {}, collector, work);
    EXPECT_EQ(collector.picture().width, i == 0 ? 50 : 25);
    EXPECT_EQ(collector.picture().planes[0].at(4, 3), 50 + static_cast<int>(i));
  }
  const File png = written(picture(50, 40, 3, 8), "png");
  Input other = Input::memory(png);
  EXPECT_EQ(problemOf([&] { convertComponents(other, {}, *formatNamed("pgm"), {}, open, work); }, Kind::badOption),
            "components is not for PNG files");
}

// Bands of any height, also those of sub-sampled planes.
TEST(Road, TheWriterTakesBands) {
  for (const int bits : {8, 12}) {
    const Picture original = picture(50, 41, 3, bits);
    MemoryOutput output;
    Work work;
    Notes notes;
    const auto writer = formatNamed("j2k")->create(output, {}, work, notes);
    writer->begin(original);
    for (int y = 0; y < 41; y += 7) writer->rows(original.band(y, 7));
    writer->end();
    EXPECT_EQ(File(output.bytes.begin(), output.bytes.end()), written(original, "j2k"));
  }
}

TEST(Road, Descriptions) {
  WriteOptions options;
  options.tileWidth = options.tileHeight = 32;
  options.progression = Order::rpcl;
  options.modes = bypass | segsym;
  const File file = written(picture(64, 50, 3, 12), "jp2", options);
  Work work;
  Input input = Input::memory(file);
  const Description found = recognise(input).describe(input, work);
  EXPECT_EQ(found.format, "JPEG 2000");
  EXPECT_EQ(found.width, 64u);
  EXPECT_EQ(found.height, 50u);
  EXPECT_EQ(found.channels, 3);
  EXPECT_EQ(found.bits, 12);
  EXPECT_TRUE(found.complete);
  for (const char* line : {"format        JPEG 2000, JP2\n", "tiles         4 of 32 x 32, 4 tile-parts\n",
                           "modes         bypass, segsym\n", "progression   RPCL, 1 layer\n"})
    EXPECT_NE(found.text.find(line), std::string::npos) << line << found.text;
  EXPECT_NE(found.json.find("\"progression\": \"RPCL\""), std::string::npos);
}

}  // namespace
}  // namespace moxj::j2k
