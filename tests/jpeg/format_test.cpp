// JPEG as an entry of the table of formats: options, what it holds, reading and describing inputs.
#include "formats/formats.h"
#include "support.h"

namespace moxj {

extern const Format kJpegFormat;

namespace jpeg {
namespace {

void expectRefusedOption(const WriteOptions& options, const std::string& option, const std::string& words) {
  MemoryOutput output;
  Work work;
  std::vector<std::string> notes;
  for (const std::function<void()>& action :
       {std::function<void()>([&] { kJpegFormat.create(output, options, work, notes); }),
        std::function<void()>([&] { kJpegFormat.holds(options); })}) {
    try {
      action();
      ADD_FAILURE() << option << " is not refused";
    } catch (const Problem& problem) {
      EXPECT_EQ(problem.kind, Kind::badOption);
      EXPECT_EQ(problem.setting, Setting::option);
      EXPECT_EQ(problem.option, option);
      EXPECT_EQ(problem.what(), option + " " + words);
    }
  }
}

TEST(Format, OptionsOfTheOtherProcessAreRefused) {
  const std::string words = "is not for lossless files";
  WriteOptions options;
  options.lossless = true;
  const auto with = [&](auto member, auto value) {
    WriteOptions changed = options;
    changed.*member = value;
    return changed;
  };
  expectRefusedOption(with(&WriteOptions::quality, 75), "quality", words);
  expectRefusedOption(with(&WriteOptions::sample, Subsampling::s420), "sample", words);
  expectRefusedOption(with(&WriteOptions::grayscale, true), "grayscale", words);
  expectRefusedOption(with(&WriteOptions::progressive, true), "progressive", words);
  expectRefusedOption(with(&WriteOptions::scans, parseScript("0 1 2;", "script")), "scans", words);
  expectRefusedOption(with(&WriteOptions::optimize, true), "optimize", words);
  expectRefusedOption(with(&WriteOptions::fastMcu, true), "fastMcu", words);
  options.lossless = false;
  expectRefusedOption(with(&WriteOptions::predictor, 1), "predictor", "is for lossless files only");
  expectRefusedOption(with(&WriteOptions::point, 1), "point", "is for lossless files only");
}

TEST(Format, ValuesOutOfRangeAreRefused) {
  WriteOptions options;
  options.quality = 101;
  expectRefusedOption(options, "quality", "101 is not a whole number from 0 to 100");
  options.quality = -1;
  expectRefusedOption(options, "quality", "-1 is not a whole number from 0 to 100");
  options = {};
  options.restart = 65536;
  expectRefusedOption(options, "restart", "65536 is not a whole number from 0 to 65535");
  options = {};
  options.lossless = true;
  options.predictor = 8;
  expectRefusedOption(options, "predictor", "8 is not a whole number from 0 to 7");
  options.predictor = 0;
  options.point = 16;
  expectRefusedOption(options, "point", "16 is not a whole number from 0 to 15");
}

TEST(Format, OptionsReachTheEncoder) {
  const Picture picture = testPicture(40, 40, 3);
  const auto written = [&](const WriteOptions& options) {
    MemoryOutput output;
    Work work;
    std::vector<std::string> notes;
    pushPicture(picture, *kJpegFormat.create(output, options, work, notes));
    return bytesOf(output);
  };
  EXPECT_EQ(written({}), fileOf(picture));
  WriteOptions options;
  options.quality = 90;
  options.sample = Subsampling::s422;
  options.fastMcu = options.progressive = options.restartInRows = true;
  options.restart = 1;
  EXPECT_EQ(written(options), fileOf(picture, {.quality = 90,
                                               .sampling = Sampling::s422,
                                               .restart = 1,
                                               .restartInRows = true,
                                               .fastMcu = true,
                                               .progressive = true}));
  options = {};
  options.scans = parseScript("0;1;2;", "script");
  options.optimize = options.grayscale = false;
  EXPECT_EQ(written(options), fileOf(picture, {.script = options.scans}));
  options = {};
  options.optimize = options.grayscale = true;
  EXPECT_EQ(written(options), fileOf(picture, {.grayscale = true, .optimize = true}));
  options = {};
  options.lossless = true;
  options.predictor = 4;
  options.point = 1;
  options.restart = 40;
  EXPECT_EQ(written(options), losslessFileOf(picture, {.predictor = 4, .point = 1, .restart = 40}));
}

TEST(Format, ReadsAndDescribesInputs) {
  const File file = fileOf(testPicture(33, 17, 3));
  Input input = Input::memory(file);
  Work work;
  EXPECT_TRUE(kJpegFormat.sniff(input.first(kSniffed)));
  PictureCollector collector;
  EXPECT_TRUE(kJpegFormat.open(input, {}, work)->push(collector).complete);
  expectSame(collector.picture(), decodeFile(file).picture);
  const Description description = kJpegFormat.describe(input, work);
  EXPECT_EQ(description.format, "JPEG");
  EXPECT_EQ(description.width, 33u);
  EXPECT_EQ(description.height, 17u);
  EXPECT_EQ(description.channels, 3);
  EXPECT_EQ(description.bits, 8);
  EXPECT_TRUE(description.text.starts_with("format        JPEG, baseline\nsize          33 x 17 pixels"))
      << description.text;
  EXPECT_TRUE(description.json.starts_with("{\n  \"format\": \"JPEG\",\n  \"process\": \"baseline\""))
      << description.json;
}

}  // namespace
}  // namespace jpeg
}  // namespace moxj
