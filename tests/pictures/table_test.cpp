// The table of formats: names, recognition, and options that have no effect.
#include "base/problem.h"
#include "formats/formats.h"
#include "pictures/support.h"

namespace moxj {
namespace {

using namespace std::string_literals;

TEST(Table, Names) {
  EXPECT_EQ(formatNames(true), "jpg, jp2 or j2k");
  EXPECT_EQ(formatNames(false), "png, ppm, pgm, pnm, pam, pbm, pgx, bmp, tif, raw or rawl");
  EXPECT_EQ(formatNamed("JPEG"), formatNamed("jpg"));
  EXPECT_EQ(formatNamed("J2C"), formatNamed("j2k"));
  EXPECT_EQ(formatNamed(""), nullptr);
  EXPECT_EQ(formatNamed("tiff"), formatNamed("tif"));
  EXPECT_EQ(formatNamed("gif"), nullptr);
  EXPECT_EQ(formatOfPath("a.b/c.PNG"), formatNamed("png"));
  EXPECT_EQ(formatOfPath("a.png/c"), nullptr);
  EXPECT_EQ(formatOfPath("png"), nullptr);
  for (const Format* format : formats()) {
    EXPECT_EQ(formatNamed(format->names[0]), format);
    EXPECT_FALSE(format->label.empty());
    EXPECT_TRUE(format->create && format->holds) << format->label;
    const bool isRead = format->label != "raw";
    EXPECT_EQ(isRead, format->describe && format->open) << format->label;
    if (!isRead) {
      EXPECT_EQ(format->sniff, nullptr);
    }
  }
}

const Format* recognised(const std::string& bytes) {
  Input input = Input::memory(test::spanOf(bytes));
  return &recognise(input);
}

TEST(Table, Recognition) {
  EXPECT_EQ(recognised("\xFF\xD8\xFF"), formatNamed("jpg"));
  EXPECT_EQ(recognised("\xFF\x4F\xFF\x51"), formatNamed("j2k"));
  EXPECT_EQ(recognised("\0\0\0\x0CjP  \r\n\x87\n"s), formatNamed("jp2"));
  EXPECT_EQ(recognised("\x89PNG"), formatNamed("png"));
  EXPECT_EQ(recognised("P6\n"), formatNamed("pnm"));
  EXPECT_EQ(recognised("P2#"), formatNamed("pnm"));
  EXPECT_EQ(recognised("P4 "), formatNamed("pbm"));
  EXPECT_EQ(recognised("P1\n"), formatNamed("pbm"));
  EXPECT_EQ(recognised("P7\n"), formatNamed("pam"));
  EXPECT_EQ(recognised("PG ML"), formatNamed("pgx"));
  EXPECT_EQ(recognised("BM\x9a\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0"s), formatNamed("bmp"));
  EXPECT_EQ(recognised("II*\0\x8\0\0\0"s), formatNamed("tif"));
  EXPECT_EQ(recognised("MM\0+\0\x8\0\0"s), formatNamed("tif"));
}

TEST(Table, WhatIsNotRecognised) {
  const std::string unknown = "unrecognised format (not JPEG, JPEG 2000, PNG, PPM, PGM, PAM, PBM, PGX, BMP or TIFF)";
  const std::pair<std::string, std::string> cases[] = {
      {"", "the file is empty"},
      {"P", unknown},
      {"P8 1", unknown},
      {"PX", unknown},
      {"P7 332\n", unknown},
      {std::string(20, '\0'), unknown},
      {"II*\0"s, unknown},
      {"IM*\0\0\0\0\0"s, unknown},
      {"BM\x9a\0\0\0\0\0\0\0\x36\0\0\0\x29\0\0\1"s, unknown},
      {"GIF89a", "GIF files are not supported"},
      {"RIFF\x24\0\0\0WEBPVP8 "s, "WebP files are not supported"},
  };
  for (const auto& [bytes, text] : cases) {
    try {
      recognised(bytes);
      ADD_FAILURE() << text;
    } catch (const Problem& problem) {
      EXPECT_EQ(problem.kind, Kind::notThisFormat);
      EXPECT_EQ(problem.what(), text);
    }
  }
}

// An endless input that is not a picture ends after the bytes that a JPEG picture is looked for in.
TEST(Table, RecognitionReadsFewBytes) {
  std::size_t given = 0;
  Input endless = Input::callback([&](std::uint8_t* to, std::size_t size) {
    std::memset(to, 0, size);
    given += size;
    return size;
  });
  EXPECT_THROW(recognise(endless), Problem);
  EXPECT_EQ(given, kSearched);
}

// Each option, alone: refused by name unless the format lists it.
template <class Options>
void expectChecked(const Format& format, const std::string& name, const Options& options,
                   std::span<const std::string_view> allowed) {
  const bool listed = std::ranges::find(allowed, name) != allowed.end();
  try {
    checkOptions(format, options);
    EXPECT_TRUE(listed) << name << " for " << format.label;
  } catch (const Problem& problem) {
    EXPECT_FALSE(listed) << name << " for " << format.label;
    EXPECT_EQ(problem.kind, Kind::badOption);
    EXPECT_EQ(problem.setting, Setting::option);
    EXPECT_EQ(problem.option, name);
    EXPECT_EQ(problem.what(), name + " is not for " + std::string(format.label) + " files");
  }
}

TEST(Table, OptionsThatHaveNoEffectAreRefused) {
  const std::pair<const char*, ReadOptions> reading[] = {
      {"reduce", {.reduce = 1}},
      {"layers", {.layers = 1}},
      {"nosmooth", {.nosmooth = true}},
      {"fastMcu", {.fastMcu = true}},
      {"components", {.components = true}},
      {"tile", {.tile = 0}},
  };
  std::vector<std::pair<const char*, WriteOptions>> writing(31);
  std::size_t at = 0;
  const auto add = [&](const char* name) -> WriteOptions& {
    writing[at].first = name;
    return writing[at++].second;
  };
  add("quality").quality = 1;
  add("sample").sample = Subsampling::s444;
  add("grayscale").grayscale = true;
  add("progressive").progressive = true;
  add("scans").scans.emplace();
  add("optimize").optimize = true;
  add("fastMcu").fastMcu = true;
  add("restart").restart = 1;
  add("lossless").lossless = true;
  add("predictor").predictor = 1;
  add("point").point = 1;
  add("ratio").ratio = {2};
  add("bpp").bpp = {0.5};
  add("levels").levels = 0;
  add("block").blockWidth = 4;
  add("block").blockHeight = 4;
  add("tile").tileWidth = 1;
  add("tile").tileHeight = 1;
  add("progression").progression = j2k::Order{};
  add("layers").layers = 1;
  add("modes").modes = 1;
  add("psnr").psnr = {40};
  add("precincts").precincts = {{64, 64}};
  add("sop").sop = true;
  add("eph").eph = true;
  add("plt").plt = true;
  add("tlm").tlm = true;
  add("tileParts").tileParts = j2k::Division::layers;
  add("roi").roi = {0, 0, 8, 8};
  add("visual").visual = true;
  add("comment").comment = "text";
  ASSERT_EQ(at, writing.size());
  for (const Format* format : formats()) {
    EXPECT_NO_THROW(checkOptions(*format, ReadOptions{}));
    EXPECT_NO_THROW(checkOptions(*format, ReadOptions{.native = true}));
    EXPECT_NO_THROW(checkOptions(*format, ReadOptions{.region = {1, 1, 1, 1}}));
    EXPECT_NO_THROW(checkOptions(*format, WriteOptions{}));
    for (const auto& [name, options] : reading) expectChecked(*format, name, options, format->readOptions);
    for (const auto& [name, options] : writing) expectChecked(*format, name, options, format->writeOptions);
  }
  EXPECT_TRUE(formatNamed("png")->readOptions.empty());
  EXPECT_TRUE(formatNamed("pgx")->writeOptions.empty());
}

TEST(Table, FileSizes) {
  EXPECT_EQ(maxFileBytes({}), (std::uint64_t{64} << 20) + 18 * std::uint64_t{268435456});
  EXPECT_EQ(maxFileBytes({.maxPixels = UINT64_MAX}), UINT64_MAX);
}

TEST(Table, Descriptions) {
  Work work;
  Picture picture = Picture::layout(3, 2, 2, 16, Colour::grey);
  picture.opacity = Opacity::straight;
  const std::string file = test::fileOf(test::filled(picture), "png");
  Input input = Input::memory(test::spanOf(file));
  const Description png = recognise(input).describe(input, work);
  EXPECT_EQ(png.format, "PNG");
  EXPECT_EQ(png.width, 3u);
  EXPECT_EQ(png.height, 2u);
  EXPECT_EQ(png.channels, 2);
  EXPECT_EQ(png.bits, 16);
  EXPECT_EQ(png.text, "format        PNG, grey, transparent\nsize          3 x 2 pixels, 2 channels of 16 bits, " +
                          std::to_string(file.size()) + " bytes\n");
  const std::string pgm = "P2 1 1 1000\n5";
  Input other = test::dripping(test::spanOf(pgm), 1);
  const Description described = recognise(other).describe(other, work);
  EXPECT_EQ(described.format, "PGM");
  EXPECT_EQ(described.bits, 10);
  EXPECT_EQ(described.json,
            "{\n  \"format\": \"PGM\",\n  \"kind\": \"grey, plain, maximum value 1000\",\n  \"bytes\": 13,\n"
            "  \"width\": 1,\n  \"height\": 1,\n  \"channels\": 1,\n  \"bits\": 10\n}\n");
}

}  // namespace
}  // namespace moxj
